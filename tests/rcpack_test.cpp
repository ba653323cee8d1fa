// The packed spectrum product: circular convolution through the Fourier
// pair, the integer depths against the float product, saturation and
// wrapping, and the faults.
#include <gtest/gtest.h>

#include "transform.h"

namespace {

using kit::Image;

struct Size {
    int w, h;
};
const Size kSizes[] = {{1, 1}, {1, 5}, {5, 1}, {1, 4}, {4, 1}, {2, 2}, {2, 3}, {3, 2},
                       {4, 4}, {5, 3}, {8, 2}, {6, 7}, {7, 6}, {16, 8}, {9, 9}};

// Spectrum product then inverse equals the circular convolution computed
// directly: every real element and every pair in its place.
TEST(MpyRCPack, ProductIsCircularConvolution) {
    kit::Recorder rec;
    for (const Size s : kSizes) {
        Image a(ZOL_DEPTH_8S, 1, s.w, s.h), b(ZOL_DEPTH_8S, 1, s.w, s.h);
        Image fa(ZOL_DEPTH_32F, 1, s.w, s.h), fb(ZOL_DEPTH_32F, 2, s.w + 1, s.h,
                                                   ZOL_DATA_ORDER_PIXEL);
        Image out(ZOL_DEPTH_32F, 1, s.w, s.h);
        tkit::fill(a, 1, -20, 20);
        tkit::fill(b, 2, -20, 20);
        fb.setRoi(2, 1, 0, s.w, s.h);
        b.setRoi(1, 0, 0, s.w, s.h);
        zolRealFft2D(a, fa, ZOL_FFT_FORWARD);
        zolRealFft2D(b, fb, ZOL_FFT_FORWARD);
        zolMpyRCPack2D(fa, fb, fa);
        zolCcsFft2D(fa, out, ZOL_FFT_INVERSE);
        ASSERT_TRUE(rec.none());
        for (int y = 0; y < s.h; ++y)
            for (int x = 0; x < s.w; ++x) {
                double want = 0;
                for (int j = 0; j < s.h; ++j)
                    for (int i = 0; i < s.w; ++i)
                        want += tkit::value(a, i, j) *
                                tkit::value(b, (x - i + s.w) % s.w, (y - j + s.h) % s.h);
                ASSERT_NEAR(want, tkit::value(out, x, y), 0.05)
                    << s.w << "x" << s.h << " at " << x << "," << y;
            }
    }
}

// Integer depths give the float product exactly while nothing saturates;
// planes and channels in step.
TEST(MpyRCPack, IntegerDepthsAgreeWithFloat) {
    kit::Recorder rec;
    for (int depth : {ZOL_DEPTH_8S, ZOL_DEPTH_16S, ZOL_DEPTH_32S})
        for (const Size s : kSizes) {
            Image a(depth, 2, s.w, s.h, ZOL_DATA_ORDER_PLANE), b(depth, 2, s.w, s.h, ZOL_DATA_ORDER_PLANE);
            Image d(depth, 2, s.w, s.h, ZOL_DATA_ORDER_PLANE);
            Image fa(ZOL_DEPTH_32F, 2, s.w, s.h, ZOL_DATA_ORDER_PLANE),
                fb(ZOL_DEPTH_32F, 2, s.w, s.h, ZOL_DATA_ORDER_PLANE),
                fd(ZOL_DEPTH_32F, 2, s.w, s.h, ZOL_DATA_ORDER_PLANE);
            tkit::fill(a, 3, -7, 7);
            tkit::fill(b, 4, -7, 7);
            for (int c = 0; c < 2; ++c)
                for (int y = 0; y < s.h; ++y)
                    for (int x = 0; x < s.w; ++x) {
                        tkit::setValue(fa, x, y, c, tkit::value(a, x, y, c));
                        tkit::setValue(fb, x, y, c, tkit::value(b, x, y, c));
                    }
            zolMpyRCPack2D(a, b, d);
            zolMpyRCPack2D(fa, fb, fd);
            ASSERT_TRUE(rec.none());
            for (int c = 0; c < 2; ++c)
                for (int y = 0; y < s.h; ++y)
                    for (int x = 0; x < s.w; ++x)
                        ASSERT_EQ(tkit::value(fd, x, y, c), tkit::value(d, x, y, c))
                            << kit::depthName(depth) << " " << s.w << "x" << s.h << " at " << x
                            << "," << y << " ch " << c;
        }
}

// Saturation, wrapping and the float product's single rounding, on a 3x1
// row: (0,0) real, (1,0)-(2,0) a pair.
TEST(MpyRCPack, SaturationWrapAndRounding) {
    kit::Recorder rec;
    struct Case {
        int depth;
        double a[3], b[3], d[3];
    };
    const Case cases[] = {
        {ZOL_DEPTH_8S, {20, 100, 0}, {-7, 2, 0}, {-128, 127, 0}},
        {ZOL_DEPTH_8S, {1, 100, 100}, {1, 1, 1}, {1, 0, 127}},
        // The imaginary sum reaches 2^31 and wraps before the clamp.
        {ZOL_DEPTH_16S, {-32768, -32768, -32768}, {-32768, -32768, -32768}, {32767, 0, -32768}},
        {ZOL_DEPTH_32S, {65536, 65536, 0}, {65536, 3, 0}, {0, 196608, 0}},
        {ZOL_DEPTH_32S, {2147483647, 2147483647, 0}, {2, 1, 1}, {-2, 2147483647, 2147483647}},
        // 4097^2 - 4096^2 = 8193 only if the products are not rounded to
        // single precision first (that would give 8192).
        {ZOL_DEPTH_32F, {3, 4097, 4096}, {0.5, 4097, 4096}, {1.5, 8193, 33562624}},
    };
    for (const Case& c : cases) {
        Image a(c.depth, 1, 3, 1), b(c.depth, 1, 3, 1), d(c.depth, 1, 3, 1);
        for (int x = 0; x < 3; ++x) {
            tkit::setValue(a, x, 0, 0, c.a[x]);
            tkit::setValue(b, x, 0, 0, c.b[x]);
        }
        zolMpyRCPack2D(a, b, d);
        ASSERT_TRUE(rec.none());
        for (int x = 0; x < 3; ++x)
            EXPECT_EQ(float(c.d[x]), float(tkit::value(d, x, 0)))
                << kit::depthName(c.depth) << " element " << x;
    }
}

TEST(MpyRCPack, FaultsReportExactContexts) {
    Image a(ZOL_DEPTH_16S, 2, 4, 4), u(ZOL_DEPTH_16U, 2, 4, 4), f(ZOL_DEPTH_32F, 2, 4, 4);
    Image s(ZOL_DEPTH_32S, 2, 4, 4), one(ZOL_DEPTH_16S, 1, 4, 4), coi(ZOL_DEPTH_16S, 2, 4, 4);
    coi.setRoi(1, 0, 0, 4, 4);
    struct Case {
        ZolImage *a, *b, *d;
        int status;
        const char* context;
    };
    const Case cases[] = {
        {nullptr, a, a, -9, "Incorrect Image"},
        {a, a, nullptr, -9, "Incorrect Image"},
        {u, a, a, -17, "srcA->depth || srcB->depth == 8U||16U||1U"},
        {a, u, a, -17, "srcA->depth || srcB->depth == 8U||16U||1U"},
        {f, s, f, -5, "(srcA->depth != srcB->depth)"},
        {a, a, u, -5, "(srcA->depth != dst->depth)"},
        {a, one, a, -15, ""},
        {coi, a, one, -15, ""},
    };
    for (const Case& c : cases) {
        if (c.d) tkit::fill(c.d, 9, 0, 0);
        tkit::fill(a, 9, 1, 5);
        kit::Recorder rec;
        zolMpyRCPack2D(c.a, c.b, c.d);
        EXPECT_TRUE(rec.only(c.status, "zolMpyRCPack2D", c.context)) << c.context;
        if (c.d && c.d != a.get()) {
            EXPECT_EQ(0, kit::get(c.d, 1, 1, 0)) << c.context;
        }
    }
}

}  // namespace
