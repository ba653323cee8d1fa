// The colour twist against a 64-bit model of its formula over random
// matrices, scales, offsets, regions, masks, tiles of unrelated grids and
// in-place use; the record's calls and the order of the checks.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <random>

#include "kit.h"
#include "tiles.h"

namespace {

using kit::Image;
int pick(std::mt19937& g, int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(g); }

struct Rect { int x, y, w, h; };
Rect regionOf(const ZolImage* im) {
    const ZolROI* r = im->roi;
    if (!r) return {0, 0, im->width, im->height};
    return {r->xOffset, r->yOffset, std::max(0, std::min(r->width, im->width - r->xOffset)),
            std::max(0, std::min(r->height, im->height - r->yOffset))};
}

int64_t model(const int32_t* m, int s, int offset, int64_t max, const int64_t* p) {
    const int64_t sum = m[0] * p[0] + m[1] * p[1] + m[2] * p[2] + int64_t(m[3]);
    // floor division by 2^s written without shifts
    const int64_t q = sum >= 0 ? sum / (int64_t(1) << s)
                               : -((-sum + (int64_t(1) << s) - 1) / (int64_t(1) << s));
    int64_t y = std::min(std::max<int64_t>(q, 0), max);
    return std::min(std::max<int64_t>(y + offset, 0), max);
}

int32_t entry(std::mt19937& g, int kind) {
    switch (kind) {
        case 0: return pick(g, -300, 300);
        case 1: return pick(g, -32768, 32767);
        default: return int32_t(g());  // beyond 16 bits
    }
}

struct Side {
    Image img;
    std::unique_ptr<kit::TileServer> tiles;
    ZolImage* arg() const { return tiles ? tiles->image() : img.get(); }
};

void build(Side& side, std::mt19937& g, int depth, int order, int nCh, bool alpha) {
    const int w = pick(g, 1, 40), h = pick(g, 1, 20);
    side.img = Image(depth, nCh, w, h, order, pick(g, 0, 1) ? 4 : 8, alpha);
    side.img.randomize(g());
    if (pick(g, 0, 1)) side.img.setRoi(pick(g, 0, 3), pick(g, 0, w - 1), pick(g, 0, h - 1),
                                       pick(g, 1, w + 2), pick(g, 1, h + 2));
    if (!pick(g, 0, 2)) {
        side.tiles = std::make_unique<kit::TileServer>(side.img, 8 * pick(g, 1, 3), 8 * pick(g, 1, 2));
        if (const ZolROI* r = side.img->roi)
            side.tiles->image()->roi = zolCreateROI(r->coi, r->xOffset, r->yOffset, r->width, r->height);
    }
}

Image randomMask(std::mt19937& g) {
    Image m(ZOL_DEPTH_1U, 1, pick(g, 1, 45), pick(g, 1, 22));
    m.randomize(g());
    if (pick(g, 0, 1)) m.setRoi(0, pick(g, 0, 5), pick(g, 0, 3), pick(g, 1, 45), pick(g, 1, 22));
    return m;
}

TEST(Twist, MatchesModelOverFramesRoutesAndTiles) {
    const int shifts[] = {0, 7, 15, 16, 31};
    for (uint32_t seed = 0; seed < 600; ++seed) {
        std::mt19937 g(seed);
        const int depth = pick(g, 0, 1) ? ZOL_DEPTH_8U : ZOL_DEPTH_16U;
        const int64_t max = depth == ZOL_DEPTH_8U ? 255 : 65535;
        const int order = pick(g, 0, 1);
        const int ns = pick(g, 3, 5), nd = pick(g, 0, 2) ? ns : pick(g, 3, 5);
        Side s, d;
        build(s, g, depth, order, ns, ns > 3 && pick(g, 0, 1));
        build(d, g, depth, order, nd, nd > 3 && pick(g, 0, 1));
        const bool inPlace = !pick(g, 0, 5);
        Image masks[2];
        const int mk = pick(g, 0, 5);  // 0 src, 1 dst, 2 both, 3 shared, else none
        if (mk <= 3) masks[0] = randomMask(g);
        if (mk == 2) masks[1] = randomMask(g);
        ZolImage* ma = mk == 0 || mk == 2 || mk == 3 ? masks[0].get() : nullptr;
        ZolImage* mb = mk == 1 || mk == 3 ? masks[0].get() : mk == 2 ? masks[1].get() : nullptr;
        s.img->maskROI = s.arg()->maskROI = ma;
        d.img->maskROI = d.arg()->maskROI = inPlace ? ma : mb;

        int32_t m[16];
        const int kind = pick(g, 0, 2);
        for (int& v : m) v = entry(g, kind);
        const int sh = shifts[pick(g, 0, 4)];
        const int offsets[] = {0, pick(g, -int(max), int(max)), int(max), -int(max), 1000, -1000,
                               int(max) - 1, -int(max) + 1, 127, -128, 32767, -32768};
        const int offset = offsets[pick(g, 0, 11)];
        ZolColorTwist* t = zolCreateColorTwist(m, sh);
        ASSERT_NE(t, nullptr);

        Side& dd = inPlace ? s : d;
        const ZolImage* sv = s.img.get();
        ZolImage* dv = dd.img.get();
        Image expect(depth, dv->nChannels, dv->width, dv->height, order, dv->align, dv->alphaChannel != 0);
        std::memcpy(expect->imageData, dv->imageData, size_t(dv->imageSize));
        const Rect rs = regionOf(sv), rd = regionOf(dv);
        int w = std::min(rs.w, rd.w), h = std::min(rs.h, rd.h);
        const ZolImage* m1 = sv->maskROI ? sv->maskROI : dv->maskROI;
        const ZolImage* m2 = sv->maskROI && dv->maskROI && sv->maskROI != dv->maskROI ? dv->maskROI : nullptr;
        Rect r1{}, r2{};
        if (m1) r1 = regionOf(m1), w = std::min(w, r1.w), h = std::min(h, r1.h);
        if (m2) r2 = regionOf(m2), w = std::min(w, r2.w), h = std::min(h, r2.h);
        for (int j = 0; j < h; ++j)
            for (int i = 0; i < w; ++i) {
                if (m1 && !kit::get(m1, r1.x + i, r1.y + j, 0)) continue;
                if (m2 && !kit::get(m2, r2.x + i, r2.y + j, 0)) continue;
                int64_t p[3];
                for (int c = 0; c < 3; ++c) p[c] = kit::get(sv, rs.x + i, rs.y + j, c);
                for (int r = 0; r < 3; ++r)
                    kit::set(expect, rd.x + i, rd.y + j, r, model(m + 4 * r, sh, offset, max, p));
            }

        kit::Recorder rec;
        zolApplyColorTwist(s.arg(), dd.arg(), t, offset);
        zolDeleteColorTwist(t);
        ASSERT_TRUE(rec.none()) << "seed " << seed;
        for (Side* x : {&s, &d})
            if (x->tiles) { ASSERT_TRUE(x->tiles->breaches().empty() && !x->tiles->held()) << seed; }
        ASSERT_EQ(dd.img.bytes(), expect.bytes()) << "seed " << seed << " shift " << sh
                                                   << " offset " << offset << " kind " << kind;
    }
}

// Data and scale doubled together change the route, never the result; the
// documented example of the two clamps.
TEST(Twist, PinnedResults) {
    Image src(ZOL_DEPTH_8U, 3, 2, 1), dst(ZOL_DEPTH_8U, 3, 2, 1);
    const uint8_t px[6] = {100, 200, 0, 255, 255, 255};
    std::memcpy(src->imageData, px, 6);
    int32_t m[16] = {3, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, -1000};  // 300, 200, 0
    ZolColorTwist* t = zolCreateColorTwist(m, 0);
    zolApplyColorTwist(src, dst, t, -100);
    EXPECT_EQ(kit::get(dst, 0, 0, 0), 155);
    EXPECT_EQ(kit::get(dst, 0, 0, 1), 100);
    EXPECT_EQ(kit::get(dst, 0, 0, 2), 0);
    EXPECT_EQ(kit::get(dst, 1, 0, 0), 155);
    for (int& v : m) v *= 65536;  // weights beyond 16 bits, scale 16
    zolSetColorTwist(t, m, 16);
    std::vector<uint8_t> before = dst.bytes();
    zolApplyColorTwist(src, dst, t, -100);
    EXPECT_EQ(dst.bytes(), before);
    zolDeleteColorTwist(t);
}

TEST(Twist, FailuresInOrder) {
    int32_t m[16] = {1};
    ZolColorTwist* t = zolCreateColorTwist(m, 0);
    Image a(ZOL_DEPTH_8U, 3, 4, 4), b(ZOL_DEPTH_8U, 3, 4, 4), two(ZOL_DEPTH_8U, 2, 4, 4),
        s16(ZOL_DEPTH_16S, 3, 4, 4), u16(ZOL_DEPTH_16U, 3, 4, 4),
        plane(ZOL_DEPTH_8U, 3, 4, 4, ZOL_DATA_ORDER_PLANE), bl(ZOL_DEPTH_8U, 3, 4, 4),
        mask(ZOL_DEPTH_1U, 1, 4, 4);
    bl->origin = ZOL_ORIGIN_BL;
    struct Row { ZolImage* s; ZolImage* d; const ZolColorTwist* t; const char* context; };
    const Row rows[] = {
        {nullptr, b, t, "Incorrect Image"},
        {a, nullptr, t, "Incorrect Image"},
        {a, b, nullptr, "cTwist==0"},
        {two, b, t, "(srcImage->nChannels < 3)"},
        {a, two, t, "(dstImage->nChannels < 3)"},
        {a, u16, t, "(srcImage->depth != dstImage->depth)"},
        {s16, s16, t, "((srcImage->depth != 8) && (srcImage->depth != 16))"},
        {a, plane, t, "(srcImage->dataOrder != dstImage->dataOrder)"},
        {a, bl, t, "(srcImage->origin != dstImage->origin)"},
    };
    for (const Row& r : rows) {
        const auto before = b.bytes();
        kit::Recorder rec;
        zolApplyColorTwist(r.s, r.d, r.t, 0);
        ASSERT_EQ(rec.reports().size(), 1u) << r.context;
        EXPECT_EQ(rec.reports()[0].func, "zolApplyColorTwist");
        EXPECT_EQ(rec.reports()[0].context, r.context);
        EXPECT_EQ(b.bytes(), before);
    }
    {
        mask->origin = ZOL_ORIGIN_BL;
        a->maskROI = mask;
        kit::Recorder rec;
        zolApplyColorTwist(a, b, t, 0);
        EXPECT_TRUE(rec.only(-5, "zolApplyColorTwist", "(srcImage->origin != srcImage->maskROI->origin)"));
        a->maskROI = nullptr;
    }
    struct SetRow { ZolColorTwist* t; const int32_t* d; int s; const char* context; };
    const SetRow sets[] = {{nullptr, m, 0, "cTwist==0"}, {t, nullptr, 0, "(data == 0)"},
                           {t, m, -1, "(scalingValue < 0)"}, {t, m, 32, "(scalingValue > 31)"}};
    for (const SetRow& r : sets) {
        kit::Recorder rec;
        zolSetColorTwist(r.t, r.d, r.s);
        EXPECT_TRUE(rec.only(-5, "zolSetColorTwist", r.context)) << r.context;
        EXPECT_EQ(t->scalingValue, 0);
    }
    for (int s : {-1, 32}) {
        kit::Recorder rec;
        EXPECT_EQ(zolCreateColorTwist(m, s), nullptr);
        EXPECT_TRUE(rec.only(-5, "zolCreateColorTwist", "bad_argument"));
    }
    {
        kit::Recorder rec;
        EXPECT_EQ(zolCreateColorTwist(nullptr, 0), nullptr);
        ZolColorTwist* t31 = zolCreateColorTwist(m, 31);
        EXPECT_NE(t31, nullptr);
        zolDeleteColorTwist(t31);
        kit::HeapFailure fail(1);
        EXPECT_EQ(zolCreateColorTwist(m, 0), nullptr);
        ASSERT_EQ(rec.reports().size(), 2u);
        EXPECT_EQ(rec.reports()[1].context, "matrix_is_not_allocated");
        EXPECT_EQ(rec.reports()[1].status, -4);
    }
    zolDeleteColorTwist(t);
    zolDeleteColorTwist(nullptr);
}

}  // namespace
