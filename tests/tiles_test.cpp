// The band walk over tiled images: results equal to the plain images', the
// order of tile requests, in-place use and tiles that do not come.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "core/frame.h"
#include "kit.h"
#include "tiles.h"

namespace {

using kit::Image;
using kit::TileRequest;
using kit::TileServer;

constexpr int R = ZOL_TILE_READ, W = ZOL_TILE_WRITE, X = ZOL_TILE_RELEASE;

// The plain image inverted, the reference for the tiled walks.
Image inverted(const ZolImage* im) {
    Image c(im->depth, im->nChannels, im->width, im->height, im->dataOrder, im->align);
    std::memcpy(c->imageData, im->imageData, size_t(im->imageSize));
    zolNot(c, c);
    return c;
}

std::vector<std::pair<int, TileRequest>> sequenceBy(const std::vector<const TileServer*>& who) {
    std::vector<std::pair<int, TileRequest>> out;
    for (const auto& [s, r] : TileServer::sequence())
        for (size_t i = 0; i < who.size(); ++i)
            if (who[i] == s) out.push_back({int(i), r});
    return out;
}

}  // namespace

// Tiles 16 and 24 wide: pieces end at 16, 24, 32; the wider tile stays held
// while the narrow one moves on; a source's tile comes before the
// destination's, and releases close each band in the same order.
TEST(Tiles, RequestOrderAcrossDifferentGrids) {
    Image a(ZOL_DEPTH_8U, 1, 40, 8), b(ZOL_DEPTH_8U, 1, 40, 8);
    TileServer sa(a, 16, 8), sb(b, 24, 8);
    TileServer::sequence().clear();
    zolNot(sa.image(), sb.image());
    const std::vector<std::pair<int, TileRequest>> want = {
        {0, {0, 0, R}}, {1, {0, 0, W}}, {0, {0, 0, X}}, {0, {1, 0, R}},  // start; x = 16
        {1, {0, 0, X}}, {1, {1, 0, W}}, {0, {1, 0, X}}, {0, {2, 0, R}},  // x = 24; x = 32
        {0, {2, 0, X}}, {1, {1, 0, X}}};                                 // band end
    EXPECT_EQ(want, sequenceBy({&sa, &sb}));

    // A band ends at the nearest tile bottom of any image, so a tall tile
    // is requested once per band.
    Image c(ZOL_DEPTH_16S, 2, 8, 16, ZOL_DATA_ORDER_PLANE), e(ZOL_DEPTH_16S, 2, 8, 16, 1);
    TileServer sc(c, 8, 8), se(e, 8, 16);
    TileServer::sequence().clear();
    zolNot(sc.image(), se.image());
    const std::vector<std::pair<int, TileRequest>> bands = {
        {0, {0, 0, R}}, {1, {0, 0, W}}, {0, {0, 0, X}}, {1, {0, 0, X}},
        {0, {0, 1, R}}, {1, {0, 0, W}}, {0, {0, 1, X}}, {1, {0, 0, X}}};
    EXPECT_EQ(bands, sequenceBy({&sc, &se}));
}

// In place: one view, write requests only, row-major from the ROI's corner
// (from (70, 10) on a 64 x 64 grid: tile column 1, row 0).
TEST(Tiles, InPlaceAndRoiCorner) {
    Image a(ZOL_DEPTH_8U, 3, 100, 100), big(ZOL_DEPTH_8U, 1, 150, 80);
    Image out(ZOL_DEPTH_8U, 1, 150, 80);
    a.randomize(1);
    const Image want = inverted(a);
    {
        TileServer sa(a, 64, 64);
        zolNot(sa.image(), sa.image());
        const std::vector<TileRequest> log = {{0, 0, W}, {0, 0, X}, {1, 0, W}, {1, 0, X},
                                              {0, 1, W}, {0, 1, X}, {1, 1, W}, {1, 1, X}};
        EXPECT_EQ(log, sa.log());
    }
    EXPECT_EQ(want.bytes(), a.bytes());
    TileServer sb(big, 64, 64);
    sb.image()->roi = zolCreateROI(0, 70, 10, 20, 20);
    zolNot(sb.image(), out);
    ASSERT_FALSE(sb.log().empty());
    EXPECT_EQ((TileRequest{1, 0, R}), sb.log().front());
}

// A tile that does not come (the source's at its first and third request,
// the destination's at its first): the report names the image, the pieces
// before it stay written, nothing after it, a combined mask is released (LSan).
TEST(Tiles, MissingTileStopsTheWalk) {
    Image src(ZOL_DEPTH_8U, 1, 32, 16), dst(ZOL_DEPTH_8U, 1, 32, 16);
    Image m1(ZOL_DEPTH_1U, 1, 32, 16, ZOL_DATA_ORDER_PIXEL, 4), m2(ZOL_DEPTH_1U, 1, 32, 16);
    m1.randomize(3);
    std::memset(m2->imageData, 0xFF, size_t(m2->imageSize));
    for (int k = 0; k < 3; ++k) {
        std::memset(dst->imageData, 0, size_t(dst->imageSize));
        TileServer ts(src, 16, 8), td(dst, 8, 16);
        (k < 2 ? ts : td).failAt(k == 1 ? 3 : 1);
        ts.image()->maskROI = m1, td.image()->maskROI = m2;
        kit::Recorder rec;
        zolNot(ts.image(), td.image());
        EXPECT_TRUE(rec.only(ZOL_STATUS_BAD_ARGUMENT, "zolXorS",
                             k < 2 ? "(srcImage->tileInfo->tileData == ((void*)(0)))"
                                   : "(dstImage->tileInfo->tileData == ((void*)(0)))"));
        ts.image()->maskROI = td.image()->maskROI = nullptr;
        // The third request is the source's first of the second band: the
        // first band's pieces (rows 0..7) stay written, nothing after.
        for (int y = 0; y < 16; ++y)
            for (int x = 0; x < 32; ++x) {
                const bool done = k == 1 && y < 8 && kit::get(m1, x, y, 0);
                EXPECT_EQ(done ? (kit::get(src, x, y, 0) ^ 0xFF) : 0, kit::get(dst, x, y, 0))
                    << k << " at " << x << "," << y;
            }
    }
}

// The walk's variant without the in-place test and with the check that the
// callback cleared tileData at release (the absolute-value walk).
TEST(Tiles, WalkVariantForSeparateViews) {
    struct Neg : zol::ElementOp<Neg, uint8_t> {
        uint8_t operator()(uint8_t a) const { return uint8_t(~a); }
    };
    auto kernel = [](const ZolImage* const (&s)[1], ZolImage* d, const ZolImage* m,
                     const zol::Plan& p) { zol::mapRegion(Neg{}, s, d, m, p); };
    zol::WalkOptions variant;
    variant.inPlace = false, variant.requireCleared = true;
    zol::Plan plan{{0, 0, 0}, 1, true, false};
    const zol::Frame f("zolAbs");
    Image a(ZOL_DEPTH_8U, 1, 16, 8), b(ZOL_DEPTH_8U, 1, 16, 8);
    a.randomize(9);
    const Image want = inverted(a);
    {
        // One image as source and destination: a read and a write of the
        // same tile, each released.
        TileServer sa(a, 16, 8);
        const ZolImage* src[1] = {sa.image()};
        EXPECT_TRUE(f.run(kernel, src, sa.image(), nullptr, plan, variant));
        EXPECT_EQ((std::vector<TileRequest>{{0, 0, R}, {0, 0, W}, {0, 0, X}, {0, 0, X}}), sa.log());
    }
    EXPECT_EQ(want.bytes(), a.bytes());
    // A callback that leaves tileData set at release fails after the first
    // piece; the ordinary walk takes the same callback.
    TileServer sb(b, 8, 8);
    sb.keepTileDataAtRelease(true);
    const ZolImage* src[1] = {a.get()};
    kit::Recorder rec;
    EXPECT_FALSE(f.run(kernel, src, sb.image(), nullptr, plan, variant));
    EXPECT_TRUE(rec.only(ZOL_STATUS_BAD_ARGUMENT, "zolAbs",
                         "(dstImage->tileInfo->tileData != ((void*)(0)))"));
    EXPECT_EQ(2u, sb.log().size());  // the write and the release that failed
    rec.clear(), zolSetErrStatus(0);
    EXPECT_TRUE(f.run(kernel, src, sb.image(), nullptr, plan));
    EXPECT_TRUE(rec.none());
}
