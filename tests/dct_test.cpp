// The cosine transform against the orthonormal definition in double, per
// route, with round trips, the clipping of the fixed route, and the faults.
#include <gtest/gtest.h>

#include "transform.h"

namespace {

using kit::Image;

// The orthonormal transform of a W x H block in double (forward or its
// transpose).
std::vector<double> model(const ZolImage* im, int x0, int y0, int W, int H, bool fwd) {
    const double pi = std::acos(-1.0);
    std::vector<double> out(size_t(W) * H);
    auto c = [](int k) { return k ? 1.0 : 1.0 / std::sqrt(2.0); };
    for (int a = 0; a < H; ++a)
        for (int b = 0; b < W; ++b) {
            double s = 0;
            for (int y = 0; y < H; ++y)
                for (int x = 0; x < W; ++x) {
                    const double f = tkit::value(im, x0 + x, y0 + y);
                    // forward: (a, b) frequency, (y, x) sample; inverse swaps.
                    s += fwd ? f * c(a) * c(b) * std::cos((2 * x + 1) * b * pi / (2 * W)) *
                                   std::cos((2 * y + 1) * a * pi / (2 * H))
                             : f * c(y) * c(x) * std::cos((2 * b + 1) * x * pi / (2 * W)) *
                                   std::cos((2 * a + 1) * y * pi / (2 * H));
                }
            out[size_t(a) * W + b] = 2.0 / std::sqrt(double(W) * H) * s;
        }
    return out;
}

struct Size {
    int w, h;
};
const Size kSizes[] = {{1, 1}, {1, 5}, {5, 1}, {2, 2}, {2, 3}, {3, 3}, {6, 6}, {4, 4}, {8, 8},
                       {16, 16}, {32, 8}, {7, 16}, {16, 12}, {64, 4}, {4, 8}, {9, 2}};

// The single-precision route (32S images) rounds the exact transform to
// the nearest integer, on every size, forward and inverse, with regions.
TEST(Dct, FloatRouteMatchesDefinition) {
    kit::Recorder rec;
    for (const Size s : kSizes)
        for (int dir : {ZOL_DCT_FORWARD, ZOL_DCT_INVERSE}) {
            Image src(ZOL_DEPTH_32S, 2, s.w + 2, s.h + 1), dst(ZOL_DEPTH_32S, 2, s.w + 2, s.h + 1);
            tkit::fill(src, uint32_t(s.w * 31 + s.h), -1000, 1000);
            src.setRoi(0, 1, 1, s.w, s.h);
            dst.setRoi(0, 2, 0, 1, 1);  // only its offsets count
            zolDCT2D(src, dst, dir);
            ASSERT_TRUE(rec.none());
            const auto want = model(src, 1, 1, s.w, s.h, dir == ZOL_DCT_FORWARD);
            for (int y = 0; y < s.h; ++y)
                for (int x = 0; x < s.w; ++x)
                    ASSERT_NEAR(want[size_t(y) * s.w + x], tkit::value(dst, x + 2, y), 0.52)
                        << s.w << "x" << s.h << " dir " << dir << " at " << x << "," << y;
        }
}

// Forward and back through 16S coefficients restores 16S and 8U images:
// exactly on the single-precision route, within a unit or two on the
// fixed one (4x4, 8x8).
TEST(Dct, RoundTripPerRoute) {
    kit::Recorder rec;
    for (const Size s : kSizes)
        for (int depth : {ZOL_DEPTH_8U, ZOL_DEPTH_16S}) {
            const bool fixed = s.w == s.h && (s.w == 4 || s.w == 8);
            const auto pow2 = [](int n) { return n >= 4 && (n & (n - 1)) == 0; };
            if (!fixed && pow2(s.w) && pow2(s.h)) continue;  // the recursion: below
            Image src(depth, 1, s.w, s.h, ZOL_DATA_ORDER_PLANE), mid(ZOL_DEPTH_16S, 1, s.w, s.h, ZOL_DATA_ORDER_PLANE);
            Image back(depth, 1, s.w, s.h, ZOL_DATA_ORDER_PLANE);
            tkit::fill(src, 5, depth == ZOL_DEPTH_8U ? 0 : -4000, depth == ZOL_DEPTH_8U ? 255 : 4000);
            zolDCT2D(src, mid, ZOL_DCT_FORWARD | ZOL_DCT_WORK_IN_SRC);
            zolDCT2D(mid, back, ZOL_DCT_INVERSE);
            ASSERT_TRUE(rec.none());
            const auto want = model(src, 0, 0, s.w, s.h, true);
            for (int y = 0; y < s.h; ++y)
                for (int x = 0; x < s.w; ++x) {
                    ASSERT_NEAR(want[size_t(y) * s.w + x], tkit::value(mid, x, y), fixed ? 1.5 : 0.52)
                        << s.w << "x" << s.h << " at " << x << "," << y;
                    ASSERT_NEAR(tkit::value(src, x, y), tkit::value(back, x, y), fixed ? 2.0 : 1.0)
                        << s.w << "x" << s.h << " at " << x << "," << y;
                }
        }
}

// The fixed route's recursion on other powers of two: within a few units of
// the exact transform while the sums stay inside 16 bits (rounded secant
// products and truncating shifts, each worth well under a unit after the
// final division), a constant block gives its exact DC term and nothing else,
// and a round trip restores the block.
TEST(Dct, FixedRecursionMatchesDefinition) {
    kit::Recorder rec;
    for (const Size s : {Size{16, 16}, Size{32, 16}, Size{64, 64}, Size{4, 32}, Size{128, 8}}) {
        const int hi = std::min(255, 30000 / (s.w * s.h));
        Image src(ZOL_DEPTH_8U, 1, s.w, s.h), mid(ZOL_DEPTH_16S, 1, s.w, s.h);
        Image back(ZOL_DEPTH_16S, 1, s.w, s.h), flat(ZOL_DEPTH_8U, 1, s.w, s.h);
        tkit::fill(src, uint32_t(s.w + s.h), 0, hi);
        zolDCT2D(src, mid, ZOL_DCT_FORWARD);
        zolDCT2D(mid, back, ZOL_DCT_INVERSE);
        const auto want = model(src, 0, 0, s.w, s.h, true);
        double worst = 0, sum = 0;
        for (int y = 0; y < s.h; ++y)
            for (int x = 0; x < s.w; ++x) {
                ASSERT_NEAR(want[size_t(y) * s.w + x], tkit::value(mid, x, y), 2.5)
                    << s.w << "x" << s.h << " at " << x << "," << y;
                const double e = std::abs(tkit::value(src, x, y) - tkit::value(back, x, y));
                worst = std::max(worst, e);
                sum += e;
            }
        // The truncated shifts bias every coefficient down by up to a unit,
        // which the inverse gathers at the corner sample, and the large
        // secants next to the middle of a row magnify its roundings.
        EXPECT_LE(sum / (s.w * s.h), 1.0) << s.w << "x" << s.h;
        EXPECT_LE(worst, std::sqrt(double(s.w) * s.h) / 2) << s.w << "x" << s.h;
        tkit::fill(flat, 1, hi, hi);
        zolDCT2D(flat, mid, ZOL_DCT_FORWARD);
        for (int y = 0; y < s.h; ++y)
            for (int x = 0; x < s.w; ++x)
                ASSERT_EQ(x || y ? 0 : std::lround(hi * std::sqrt(double(s.w) * s.h)),
                          kit::get(mid, x, y, 0))
                    << s.w << "x" << s.h << " at " << x << "," << y;
    }
    EXPECT_TRUE(rec.none());
}

// A 16U sample above 32767 is read as 32767 by the fixed route only (a 32S
// destination sends the block by floats); from 256 points on, the block
// goes by floats whatever the depths.
TEST(Dct, FixedRouteLimits) {
    kit::Recorder rec;
    Image a(ZOL_DEPTH_16U, 1, 16, 16), w(ZOL_DEPTH_16S, 1, 16, 16), f(ZOL_DEPTH_32S, 1, 16, 16);
    tkit::fill(a, 1, 0, 0);
    kit::set(a, 3, 5, 0, 40000);
    zolDCT2D(a, w, ZOL_DCT_FORWARD);
    zolDCT2D(a, f, ZOL_DCT_FORWARD);
    EXPECT_EQ(32767 / 16, kit::get(w, 0, 0, 0));
    EXPECT_EQ(40000 / 16, kit::get(f, 0, 0, 0));
    for (const Size s : {Size{256, 4}, Size{8, 256}}) {
        Image src(ZOL_DEPTH_8U, 1, s.w, s.h), w16(ZOL_DEPTH_16S, 1, s.w, s.h);
        Image w32(ZOL_DEPTH_32S, 1, s.w, s.h);
        tkit::fill(src, 3, 0, 255);
        zolDCT2D(src, w16, ZOL_DCT_FORWARD);
        zolDCT2D(src, w32, ZOL_DCT_FORWARD);
        for (int y = 0; y < s.h; ++y)
            for (int x = 0; x < s.w; ++x)
                ASSERT_EQ(kit::get(w32, x, y, 0), kit::get(w16, x, y, 0)) << s.w << "x" << s.h;
    }
    EXPECT_TRUE(rec.none());
}

// Bright 8x8 blocks of 16-bit data keep their transform: nothing is
// clipped between the passes, only the result saturates to 16 bits. 16U
// above 32767 is read as 32767 on the fixed route alone.
TEST(Dct, FixedRouteRangeAndClipping) {
    kit::Recorder rec;
    Image src(ZOL_DEPTH_16S, 1, 8, 8), dst(ZOL_DEPTH_16S, 1, 8, 8);
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x) kit::set(src, x, y, 0, (y & 1) ? -30000 : 30000);
    zolDCT2D(src, dst, ZOL_DCT_FORWARD);
    const auto want = model(src, 0, 0, 8, 8, true);
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x)
            EXPECT_NEAR(std::clamp(want[size_t(y) * 8 + x], -32768.0, 32767.0),
                        tkit::value(dst, x, y), 1.0)
                << x << "," << y;
    struct Case {
        int n, want;
    };
    for (const Case c : {Case{4, 8192}, Case{2, 20000}, Case{8, 4096}}) {
        Image a(ZOL_DEPTH_16U, 1, c.n, c.n), b(ZOL_DEPTH_16U, 1, c.n, c.n);
        tkit::fill(a, 1, 0, 0);
        kit::set(a, 0, 0, 0, 40000);
        zolDCT2D(a, b, ZOL_DCT_INVERSE);
        EXPECT_EQ(c.want, kit::get(b, c.n - 1, c.n - 1, 0)) << c.n;
    }
    EXPECT_TRUE(rec.none());
}

TEST(Dct, FaultsAndSilentEnds) {
    Image a(ZOL_DEPTH_8U, 2, 8, 8), b(ZOL_DEPTH_16S, 2, 8, 8), f(ZOL_DEPTH_32F, 2, 8, 8);
    Image bit(ZOL_DEPTH_1U, 1, 8, 8), three(ZOL_DEPTH_16S, 3, 8, 8), wide(ZOL_DEPTH_16S, 2, 9, 8);
    Image plane(ZOL_DEPTH_16S, 2, 8, 8, ZOL_DATA_ORDER_PLANE), ra(ZOL_DEPTH_8U, 2, 8, 8);
    Image rb(ZOL_DEPTH_16S, 2, 8, 8), out(ZOL_DEPTH_8U, 2, 8, 8), over(ZOL_DEPTH_16S, 2, 8, 8);
    Image coi(ZOL_DEPTH_16S, 2, 8, 8), alpha(ZOL_DEPTH_8U, 2, 8, 8, ZOL_DATA_ORDER_PIXEL,
                                             ZOL_ALIGN_DWORD, true);
    Image single(ZOL_DEPTH_8U, 1, 8, 8, ZOL_DATA_ORDER_PIXEL, ZOL_ALIGN_DWORD, true);
    ra.setRoi(0, 0, 0, 8, 8);
    rb.setRoi(0, 0, 0, 8, 8);
    out.setRoi(0, 4, 4, 8, 8);
    over.setRoi(0, 4, 0, 4, 4);  // the 8-wide source region would run past it
    coi.setRoi(0, 0, 0, 8, 8);
    ZolImage alphaOne = *a.get();
    alphaOne.alphaChannel = 1;
    Image alphaCoi(ZOL_DEPTH_8U, 2, 8, 8, ZOL_DATA_ORDER_PIXEL, ZOL_ALIGN_DWORD, true);
    alphaCoi.setRoi(2, 0, 0, 8, 8);
    Image srcCoi(ZOL_DEPTH_8U, 2, 8, 8);
    srcCoi.setRoi(1, 0, 0, 8, 8);
    const char* compat = "Images are not compatible";
    struct Case {
        ZolImage *src, *dst;
        const char* context;
    };
    const Case cases[] = {
        {a, a, "\nFunction does not support inplace operation"},
        {bit, b, "\nImages with 1u depth are not processed"},
        {a, f, "\nImages with 32F depth are not processed, sorry"},
        {&alphaOne, b, "\nAlpha channel may be 0 or equal to number of channels"},
        {single, b, "\nBad combination of alpha, COI and number of channels"},
        {alphaCoi, rb, "\nBad combination of alpha, COI and number of channels"},
        {three, b, compat},
        {wide, b, compat},
        {a, plane, compat},
        {ra, b, compat},
        {ra, out, compat},
        {rb, over, compat},
        {srcCoi, coi, compat},  // a source coi needs a destination coi
    };
    for (const Case& c : cases) {
        tkit::fill(c.dst, 1, 0, 0);
        kit::Recorder rec;
        zolDCT2D(c.src, c.dst, ZOL_DCT_FORWARD);
        EXPECT_TRUE(rec.only(-5, "zolDCT2D", c.context)) << c.context;
        EXPECT_EQ(0, kit::get(c.dst, 0, 0, 0)) << c.context;
    }
    kit::Recorder rec;
    zolDCT2D(nullptr, nullptr, ZOL_DCT_FORWARD);
    ASSERT_EQ(2u, rec.reports().size());
    EXPECT_EQ("src==0", rec.reports()[0].context);
    EXPECT_EQ("dst==0", rec.reports()[1].context);
    // A negative status, even an old one, stops the next call silently.
    tkit::fill(a, 2, 1, 9);
    tkit::fill(b, 1, 0, 0);
    rec.clear();
    zolDCT2D(a, b, ZOL_DCT_FORWARD);
    zolSetErrStatus(0);
    zolDCT2D(a, b, ZOL_DCT_FORWARD | ZOL_DCT_INVERSE);
    zolDCT2D(a, b, 0);
    zolDCT2D(nullptr, nullptr, ZOL_DCT_FREE);
    EXPECT_TRUE(rec.none());
    EXPECT_EQ(0, kit::get(b, 0, 0, 0));
    zolDCT2D(a, b, ZOL_DCT_FORWARD);
    EXPECT_NE(0, kit::get(b, 0, 0, 0));
}

// Tables are per thread and go with it (the sanitizer build reports leaks).
TEST(Dct, ThreadsKeepTheirOwnTables) {
    auto work = [](int w, int h) {
        zolSetErrMode(ZOL_ErrModeSilent);
        Image src(ZOL_DEPTH_16S, 1, w, h), dst(ZOL_DEPTH_32S, 1, w, h);
        tkit::fill(src, 11, -50, 50);
        for (int i = 0; i < 10; ++i) zolDCT2D(src, dst, ZOL_DCT_FORWARD);
        return dst.bytes();
    };
    tkit::expectThreadsAgree(work, 64, 12, 10, 32);
}

}  // namespace
