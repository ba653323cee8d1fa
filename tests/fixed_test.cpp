// Fixed filters against the weighted sum with each filter's rounding rule,
// over random frames of every depth; known values of the rules; the checks
// and results.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "kit.h"
#include "nbcase.h"

namespace {

using kit::Image;
using namespace nbcase;

const int kW[11][25] = {
    {1, 0, -1, 1, 0, -1, 1, 0, -1},
    {-1, -1, -1, 0, 0, 0, 1, 1, 1},
    {1, 0, -1, 2, 0, -2, 1, 0, -1},
    {-1, -2, -1, 0, 0, 0, 1, 2, 1},
    {-1, -1, -1, -1, 8, -1, -1, -1, -1},
    {-1, -3, -4, -3, -1, -3, 0, 6, 0, -3, -4, 6, 20, 6, -4, -3, 0, 6, 0, -3, -1, -3, -4, -3, -1},
    {1, 2, 1, 2, 4, 2, 1, 2, 1},
    {2, 7, 12, 7, 2, 7, 31, 52, 31, 7, 12, 52, 127, 52, 12, 7, 31, 52, 31, 7, 2, 7, 12, 7, 2},
    {-1, -1, -1, -1, 8, -1, -1, -1, -1},
    {-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 24, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1},
    {-1, -1, -1, -1, 16, -1, -1, -1, -1},
};

int64_t rounded(int64_t s, int f) {
    switch (f) {
        case ZOL_FILTER_GAUSSIAN3: return int64_t(std::nearbyint(double(s) / 16));  // ties to even
        case ZOL_FILTER_GAUSSIAN5: return int64_t(std::floor(double(s) / 571 + 0.5));
        case ZOL_FILTER_SHARPEN: return int64_t(std::nearbyint(double(s) / 8));
        default: return s;
    }
}

int64_t clampTo(int depth, int64_t v) {
    int64_t lo = INT32_MIN, hi = INT32_MAX;
    if (depth == ZOL_DEPTH_8U) lo = 0, hi = 255;
    if (depth == ZOL_DEPTH_8S) lo = -128, hi = 127;
    if (depth == ZOL_DEPTH_16U) lo = 0, hi = 65535;
    if (depth == ZOL_DEPTH_16S) lo = -32768, hi = 32767;
    return std::min(std::max(v, lo), hi);
}

void runFixed(uint32_t seed) {
    Case k(seed);
    const int depth = kit::allDepths()[size_t(k.pick(int(kit::allDepths().size())))];
    k.frame(depth, true, false);
    int f = k.pick(11);
    const bool floaty = depth == ZOL_DEPTH_32F || depth == ZOL_DEPTH_32S;
    if ((floaty && f == ZOL_FILTER_GAUSSIAN5) || (depth == ZOL_DEPTH_1U && f == ZOL_FILTER_SHARPEN)) f = 0;
    ZolImage* s = k.s.img;
    if (floaty) smallIntegers(k, s);  // exact float stages
    k.why << " filter " << f;
    const ZolImage* d = k.d.img;
    int w = 1 << 30, h = w;
    region(s, false, w, h);
    region(d, false, w, h);
    const int cs = coiOf(s), cd = coiOf(d);
    const int ns = (cs ? 1 : s->nChannels) - (s->alphaChannel ? 1 : 0);
    const int nd = (cd ? 1 : d->nChannels) - (d->alphaChannel ? 1 : 0);
    Chan ch{ns, 0, 0, 1};
    if (cs || cd) ch = Chan{1, std::max(cs, 1) - 1, std::max(cd, 1) - 1, 1};
    if (ns != nd || ns <= 0) w = 0;
    double cst[4];
    for (int i = 0; i < 4; ++i) cst[i] = lowBits(depth, s->borderConst[i]);
    const int n = (f == 5 || f == 7 || f == 9) ? 5 : 3, a = n / 2;
    const auto want = expected(k, std::max(w, 0), std::max(h, 0), ch, [&](const ZolImage* im, int x, int y, int c) -> int64_t {
        int64_t sum = 0;
        for (int j = 0; j < n; ++j)
            for (int i = 0; i < n; ++i) sum += kW[f][j * n + i] * int64_t(sample(im, x - a + i, y - a + j, c, cst));
        if (depth == ZOL_DEPTH_1U) return sum > (f == 6 ? 7 : f == 7 ? 285 : 0);
        if (depth == ZOL_DEPTH_32F) {
            const double div = f == 6 ? 16 : f == 10 ? 8 : 1;
            const float r = float(double(sum) / div);
            uint32_t b;
            std::memcpy(&b, &r, 4);
            return b;
        }
        return clampTo(depth, rounded(sum, f));
    });
    kit::Recorder rec;
    const int result = zolFixedFilter(k.s.arg(), k.d.arg(), f);
    EXPECT_EQ(result, ns != nd ? -1 : 0) << k.why.str();
    if (ns == nd) {
        EXPECT_TRUE(rec.none()) << k.why.str() << ": " << (rec.none() ? "" : rec.reports()[0].context);
    }
    compare(k, want);
}

TEST(Fixed, RandomFramesMatchTheWeightedSum) {
    for (uint32_t seed = 1; seed <= 700; ++seed) runFixed(seed);
}

TEST(Fixed, FloatGaussianAndChecks) {
    Image a(ZOL_DEPTH_8U, 1, 4, 3), b(ZOL_DEPTH_8U, 1, 4, 3);
    // The 5x5 Gaussian of a constant is the constant, through floats on 32F and 32S too.
    for (int depth : {ZOL_DEPTH_8U, ZOL_DEPTH_16U, ZOL_DEPTH_32S, ZOL_DEPTH_32F}) {
        Image p(depth, 1, 7, 7), q(depth, 1, 7, 7);
        zolSetBorderMode(p, ZOL_BORDER_REPLICATE, 15, 0);
        float fv = 200.0f;
        uint32_t bits;
        std::memcpy(&bits, &fv, 4);
        for (int y = 0; y < 7; ++y)
            for (int x = 0; x < 7; ++x) kit::set(p, x, y, 0, depth == ZOL_DEPTH_32F ? int64_t(bits) : 200);
        zolFixedFilter(p, q, ZOL_FILTER_GAUSSIAN5);
        const int64_t got = kit::get(q, 3, 3, 0);
        if (depth == ZOL_DEPTH_32F) {
            float g;
            const uint32_t gb = uint32_t(got);
            std::memcpy(&g, &gb, 4);
            EXPECT_NEAR(g, 200.0f, 1e-3f);
        } else {
            EXPECT_EQ(got, 200) << kit::depthName(depth);
        }
    }
    // The checks: -1 with the context, and 0 when there is nothing to do.
    Image c(ZOL_DEPTH_8U, 1, 4, 3), s16(ZOL_DEPTH_16U, 1, 4, 3), al(ZOL_DEPTH_8U, 1, 4, 3, 0, 4, true);
    struct Row {
        ZolImage *s, *d;
        int f;
        int result;
        const char* context;
    } rows[] = {
        {nullptr, b, 0, -1, "Incorrect Image"},
        {a, a, 0, -1, "(srcImage==dstImage)"},
        {a, s16, 0, -1, "srcImage->depth!=dstImage->depth"},
        {a, c, 11, -1, "Unknow filter."},
        {a, c, -1, -1, "Unknow filter."},
        {al, al, 0, -1, "(srcImage==dstImage)"},
    };
    for (const Row& r : rows) {
        kit::Recorder rec;
        EXPECT_EQ(zolFixedFilter(r.s, r.d, r.f), r.result) << r.context;
        ASSERT_EQ(rec.reports().size(), 1u) << r.context;
        EXPECT_EQ(rec.reports()[0].context, r.context);
    }
    Image al2(ZOL_DEPTH_8U, 1, 4, 3, 0, 4, true);
    kit::Recorder rec;
    EXPECT_EQ(zolFixedFilter(al, al2, 0), 0);  // a lone alpha channel: nothing to do
    EXPECT_TRUE(rec.none());
    zolSetErrStatus(-3);
    EXPECT_EQ(zolFixedFilter(a, b, 0), -1);
    zolSetErrStatus(0);
}

}  // namespace
