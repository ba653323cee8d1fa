// zolMirror against a per-pixel model on random layouts, regions, channel
// sets, masks, tiles and in-place calls; flipping twice; the bad calls.
#include <gtest/gtest.h>

#include <memory>
#include <random>

#include "kit.h"
#include "tiles.h"

namespace {

using kit::Image;

int pick(std::mt19937& g, int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(g); }

struct Box { int x, y, w, h; };
Box regionOf(const ZolImage* im) {
    const ZolROI* r = im->roi;
    if (!r) return {0, 0, im->width, im->height};
    return {r->xOffset, r->yOffset, std::min(r->width, im->width - r->xOffset),
            std::min(r->height, im->height - r->yOffset)};
}
std::vector<int> channelsOf(const ZolImage* im) {
    if (im->roi && im->roi->coi) return {im->roi->coi - 1};
    std::vector<int> c;
    for (int k = 0; k < im->nChannels - (im->alphaChannel ? 1 : 0); ++k) c.push_back(k);
    return c;
}

// What the destination must hold: model of the flip on the backing images.
void model(const ZolImage* src, const ZolImage* pixels, ZolImage* want, const ZolImage* dstHeader,
           int axis) {
    const Box rs = regionOf(src), rd = regionOf(dstHeader);
    int w = std::min(rs.w, rd.w), h = std::min(rs.h, rd.h);
    const ZolImage* sm = src->maskROI;
    const ZolImage* dm = dstHeader->maskROI;
    Box bs{}, bd{};
    if (sm) bs = regionOf(sm), w = std::min(w, bs.w), h = std::min(h, bs.h);
    if (dm) bd = regionOf(dm), w = std::min(w, bd.w), h = std::min(h, bd.h);
    const std::vector<int> cs = channelsOf(src), cd = channelsOf(dstHeader);
    for (int j = 0; j < h; ++j)
        for (int i = 0; i < w; ++i) {
            const int x = axis == 0 ? i : w - 1 - i, y = axis == 1 ? j : h - 1 - j;
            bool on = !sm || kit::get(sm, bs.x + i, bs.y + j, 0);
            on = on && (!dm || kit::get(dm, bd.x + x, bd.y + y, 0));
            for (size_t c = 0; c < cs.size(); ++c) {
                if (on)
                    kit::set(want, rd.x + x, rd.y + y, cd[c], kit::get(pixels, rs.x + i, rs.y + j, cs[c]));
                else if (src->depth == ZOL_DEPTH_1U)
                    kit::set(want, rd.x + x, rd.y + y, cd[c], 0);
            }
        }
}

Image copyOf(const ZolImage* im) {
    Image c(im->depth, im->nChannels, im->width, im->height, im->dataOrder, im->align,
            im->alphaChannel != 0);
    std::copy(im->imageData, im->imageData + im->imageSize, c->imageData);
    return c;
}

struct Side {
    Image img, mask;
    std::unique_ptr<kit::TileServer> tiles;
    ZolImage* header() const { return tiles ? tiles->image() : img.get(); }
};

void makeSide(Side& s, std::mt19937& g, int depth, int nCh, int order, bool alpha, int coi,
              bool tiled) {
    s.img = Image(depth, nCh, pick(g, 1, 40), pick(g, 1, 30), order,
                  g() % 2 ? ZOL_ALIGN_DWORD : ZOL_ALIGN_QWORD, alpha);
    s.img.randomize(g());
    if (g() % 3) {
        const int x = pick(g, 0, s.img->width - 1), y = pick(g, 0, s.img->height - 1);
        s.img.setRoi(coi, x, y, pick(g, 1, s.img->width - x + 2), pick(g, 1, s.img->height - y + 2));
    } else if (coi) {
        s.img.setRoi(coi, 0, 0, s.img->width, s.img->height);
    }
    if (g() % 4 == 0) {
        s.mask = Image(ZOL_DEPTH_1U, 1, pick(g, 1, 45), pick(g, 1, 35));
        s.mask.randomize(g());
        if (g() % 2) s.mask.setRoi(0, pick(g, 0, 3), pick(g, 0, 3), pick(g, 5, 45), pick(g, 5, 35));
        s.img->maskROI = s.mask.get();
    }
    if (!tiled) return;
    s.tiles = std::make_unique<kit::TileServer>(s.img, 8 * pick(g, 1, 3), 8 * pick(g, 1, 2));
    ZolImage* t = s.tiles->image();
    if (const ZolROI* r = s.img->roi) t->roi = zolCreateROI(r->coi, r->xOffset, r->yOffset, r->width, r->height);
    t->maskROI = s.img->maskROI;
}

TEST(Mirror, MatchesModelOnLayoutsMasksTilesAndInPlace) {
    std::mt19937 g(16);
    const int depths[] = {ZOL_DEPTH_1U,  ZOL_DEPTH_8U,  ZOL_DEPTH_8S,
                          ZOL_DEPTH_16U, ZOL_DEPTH_16S, ZOL_DEPTH_32S};
    for (int round = 0; round < 1500; ++round) {
        const int depth = depths[round % 6];
        const int axis = pick(g, -1, 1);
        const bool bits = depth == ZOL_DEPTH_1U;
        const int nCh = bits ? 1 : pick(g, 1, 4);
        const bool alpha = !bits && nCh > 1 && g() % 3 == 0;
        const int coi = !bits && g() % 3 == 0 ? pick(g, 1, nCh - (alpha ? 1 : 0)) : 0;
        const bool inPlace = g() % 4 == 0;
        Side s, d;
        makeSide(s, g, depth, nCh, g() % 2 ? ZOL_DATA_ORDER_PLANE : ZOL_DATA_ORDER_PIXEL, alpha,
                 coi, g() % 4 == 0);
        if (!inPlace)
            makeSide(d, g, depth, nCh, g() % 2 ? ZOL_DATA_ORDER_PLANE : ZOL_DATA_ORDER_PIXEL,
                     alpha, coi, g() % 4 == 0);
        const Side& dd = inPlace ? s : d;
        SCOPED_TRACE(testing::Message() << "round " << round << " depth " << depth << " axis "
                                        << axis << " inPlace " << inPlace);
        const Image before = copyOf(s.img);
        Image want = copyOf(dd.img);
        const bool unchanged = inPlace && !s.tiles && s.img->maskROI;
        if (!unchanged) model(s.img, before, want, dd.img, axis);
        kit::Recorder rec;
        zolMirror(s.header(), dd.header(), axis);
        EXPECT_TRUE(rec.none());
        ASSERT_EQ(want.bytes(), dd.img.bytes());
        for (const Side* x : {&s, &d}) {
            if (!x->tiles) continue;
            EXPECT_TRUE(x->tiles->breaches().empty() && !x->tiles->held());
        }
    }
}

TEST(Mirror, TwiceIsIdentityAndInPlaceEqualsOutOfPlace) {
    std::mt19937 g(7);
    for (int depth : {ZOL_DEPTH_1U, ZOL_DEPTH_8U, ZOL_DEPTH_16S, ZOL_DEPTH_32S})
        for (int axis : {-1, 0, 1})
            for (int nCh : {1, 3}) {
                if (depth == ZOL_DEPTH_1U && nCh > 1) continue;
                Image a(depth, nCh, 37, 11);
                a.randomize(g());
                Image b = copyOf(a), c = copyOf(a);  // the same row padding
                const auto orig = a.bytes();
                zolMirror(a, b, axis);
                zolMirror(a, a, axis);
                EXPECT_EQ(a.bytes(), b.bytes()) << depth << " " << axis;
                zolMirror(b, c, axis);
                zolMirror(a, a, axis);
                EXPECT_EQ(c.bytes(), orig);
                EXPECT_EQ(a.bytes(), orig);
            }
}

TEST(Mirror, BadCallsReportAndWriteNothing) {
    Image a8(ZOL_DEPTH_8U, 3, 8, 8), b8(ZOL_DEPTH_8U, 3, 8, 8), c16(ZOL_DEPTH_16U, 3, 8, 8);
    Image f(ZOL_DEPTH_32F, 1, 8, 8), g1(ZOL_DEPTH_8U, 1, 8, 8), alpha(ZOL_DEPTH_8U, 4, 8, 8,
                                                                      ZOL_DATA_ORDER_PIXEL,
                                                                      ZOL_ALIGN_DWORD, true);
    Image bit(ZOL_DEPTH_1U, 1, 8, 8);
    Image bitAlpha(ZOL_DEPTH_1U, 1, 8, 8);
    bitAlpha->alphaChannel = 1;
    struct Case { ZolImage* s; ZolImage* d; int axis; int status; const char* ctx; };
    const Case cases[] = {
        {nullptr, b8, 0, -1, "Incorrect Image"},
        {a8, f, 0, ZOL_STATUS_BAD_DEPTH, "srcImage->depth = 32F"},
        {a8, c16, 0, -5, "(srcImage->depth!=dstImage->depth)"},
        {a8, b8, 2, -5, "((flipAxis>1)||(flipAxis<-1))"},
        {a8, b8, -2, -5, "((flipAxis>1)||(flipAxis<-1))"},
        {bitAlpha, bit, 0, -16, "srcImage->alphaChannel"},
        {bit, bitAlpha, 0, -16, "dstImage->alphaChannel"},
        {a8, g1, 0, -15, ""},
        {alpha, g1, 0, -15, ""},
    };
    b8.randomize(3);
    for (const Case& c : cases) {
        const auto before = b8.bytes();
        kit::Recorder rec;
        zolMirror(c.s, c.d, c.axis);
        ASSERT_EQ(rec.reports().size(), 1u) << c.ctx;
        EXPECT_EQ(rec.reports()[0].func, "zolMirror");
        EXPECT_EQ(rec.reports()[0].context, c.ctx);
        if (c.status != -1) {
            EXPECT_EQ(rec.reports()[0].status, c.status) << c.ctx;
        }
        EXPECT_EQ(before, b8.bytes());
    }
}

}  // namespace
