// The real Fourier transform against a direct double model, round trips per
// route and depth, the integer writers, faults and the thread's tables.
#include <gtest/gtest.h>

#include <algorithm>

#include "core/simd.h"
#include "transform.h"
#include "transform/fft.h"

namespace {

using kit::Image;

std::vector<double> samples(const ZolImage* im, int W, int H, int c = 0) {
    std::vector<double> f;
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x) f.push_back(tkit::value(im, x, y, c));
    return f;
}

struct Size {
    int w, h;
};
const Size kSizes[] = {{1, 1}, {2, 2}, {4, 4}, {8, 2}, {5, 3}, {3, 5}, {16, 8}, {6, 4}, {4, 6},
                       {12, 16}, {7, 7}, {1, 8}, {8, 1}, {1, 5}, {6, 1}, {32, 4}, {2, 16}};

// Float route, 32S in, 32F out: the packed layout and the kernel's sign,
// within single-precision rounding of sums of |f|.
TEST(Fft, FloatSpectrumMatchesDirectSum) {
    kit::Recorder rec;
    for (const Size s : kSizes)
        for (int flags : {ZOL_FFT_FORWARD, ZOL_FFT_INVERSE | ZOL_FFT_NO_SCALE}) {
            Image src(ZOL_DEPTH_32S, 1, s.w, s.h), dst(ZOL_DEPTH_32F, 1, s.w, s.h);
            tkit::fill(src, uint32_t(s.w * 100 + s.h), -100, 100);
            zolRealFft2D(src, dst, flags);
            ASSERT_TRUE(rec.none());
            const int sign = flags & ZOL_FFT_FORWARD ? 1 : -1;
            const auto want = tkit::packedSpectrum(samples(src, s.w, s.h), s.w, s.h, sign);
            const double tol = 100.0 * s.w * s.h * 4e-6;
            for (int y = 0; y < s.h; ++y)
                for (int x = 0; x < s.w; ++x)
                    ASSERT_NEAR(want[size_t(y) * s.w + x], tkit::value(dst, x, y), tol)
                        << s.w << "x" << s.h << " flags " << flags << " at " << x << "," << y;
        }
}

// Forward then inverse restores the image; without scaling it gives W*H
// times it. Both operations on every shape, regions with offsets, two
// channels in plane order, and the image used in place.
TEST(Fft, FloatRoundTrip) {
    kit::Recorder rec;
    for (const Size s : kSizes)
        for (int order : {ZOL_DATA_ORDER_PIXEL, ZOL_DATA_ORDER_PLANE}) {
            Image src(ZOL_DEPTH_16S, 2, s.w + 3, s.h + 2, order);
            Image freq(ZOL_DEPTH_32F, 2, s.w + 1, s.h + 1, order), back(ZOL_DEPTH_32F, 2, s.w, s.h, order);
            tkit::fill(src, 7, -3000, 3000);
            src.setRoi(0, 2, 1, s.w, s.h);
            freq.setRoi(0, 1, 1, s.w, s.h);
            zolRealFft2D(src, freq, ZOL_FFT_FORWARD | ZOL_FFT_USE_INT);  // 32F: float route
            zolCcsFft2D(freq, back, ZOL_FFT_INVERSE);
            zolCcsFft2D(freq, freq, ZOL_FFT_INVERSE | ZOL_FFT_NO_SCALE);
            ASSERT_TRUE(rec.none());
            for (int c = 0; c < 2; ++c)
                for (int y = 0; y < s.h; ++y)
                    for (int x = 0; x < s.w; ++x) {
                        const double v = tkit::value(src, x + 2, y + 1, c);
                        ASSERT_NEAR(v, tkit::value(back, x, y, c), 0.02)
                            << s.w << "x" << s.h << " at " << x << "," << y;
                        ASSERT_NEAR(v * s.w * s.h, tkit::value(freq, x + 1, y + 1, c),
                                    0.02 * s.w * s.h);
                    }
        }
}

// Fixed route: the spectrum within the 14-bit twiddles' error of the direct
// sum, and the normalised inverse back to the image within a few units.
TEST(Fft, FixedRouteSpectrumAndRoundTrip) {
    kit::Recorder rec;
    for (const Size s : kSizes) {
        Image src(ZOL_DEPTH_8U, 1, s.w, s.h), freq(ZOL_DEPTH_32S, 1, s.w, s.h);
        Image back(ZOL_DEPTH_16S, 1, s.w, s.h);
        tkit::fill(src, 3, 0, 255);
        zolRealFft2D(src, freq, ZOL_FFT_FORWARD | ZOL_FFT_USE_INT);
        zolCcsFft2D(freq, back, ZOL_FFT_INVERSE | ZOL_FFT_USE_INT);
        ASSERT_TRUE(rec.none());
        const auto want = tkit::packedSpectrum(samples(src, s.w, s.h), s.w, s.h, 1);
        const double tol = 2.0 + 255.0 * s.w * s.h * 3e-4;
        for (int y = 0; y < s.h; ++y)
            for (int x = 0; x < s.w; ++x) {
                ASSERT_NEAR(want[size_t(y) * s.w + x], tkit::value(freq, x, y), tol)
                    << s.w << "x" << s.h << " at " << x << "," << y;
                ASSERT_NEAR(tkit::value(src, x, y), tkit::value(back, x, y), 3.0)
                    << s.w << "x" << s.h << " at " << x << "," << y;
            }
    }
}

// The exact arithmetic of the fixed route on cases small enough to follow:
// a length-4 row and a 4x4 block, where every twiddle is 0, +-1 or +-i.
TEST(Fft, FixedRouteExactValues) {
    kit::Recorder rec;
    struct Case {
        int w, h, flags;
        std::vector<int> in, out;
    };
    const Case cases[] = {
        // X = (10, -2, 2, -2): 4 + 2i at k = 1 shown as (-2, 2).
        {4, 1, ZOL_FFT_FORWARD, {1, 2, 3, 4}, {10, -2, 2, -2}},
        // Normalised inverse of that spectrum: a shift by 6 + 2.
        {4, 1, ZOL_FFT_INVERSE, {10, -2, 2, -2}, {1, 2, 3, 4}},
        // -1/4 would be -0.25: the open interval below zero gives 0, not -1.
        {4, 1, ZOL_FFT_INVERSE, {-1, 0, 0, 0}, {0, 0, 0, 0}},
        // Length 2 takes no shift: 1/2 by float, ties to even.
        {2, 1, ZOL_FFT_INVERSE, {5, 0}, {2, 2}},
        {2, 1, ZOL_FFT_INVERSE, {7, 0}, {4, 4}},
        // In two dimensions a length of 2 takes the shift: 1.5 -> 1, not 2.
        {2, 2, ZOL_FFT_INVERSE, {6, 0, 0, 0}, {1, 1, 1, 1}},
    };
    for (const Case& c : cases) {
        Image src(ZOL_DEPTH_32S, 1, c.w, c.h), dst(ZOL_DEPTH_32S, 1, c.w, c.h);
        for (int i = 0; i < c.w * c.h; ++i) kit::set(src, i % c.w, i / c.w, 0, c.in[size_t(i)]);
        const bool fwd = c.flags & ZOL_FFT_FORWARD;
        (fwd ? zolRealFft2D : zolCcsFft2D)(src, dst, c.flags | ZOL_FFT_USE_INT);
        ASSERT_TRUE(rec.none());
        for (int i = 0; i < c.w * c.h; ++i)
            EXPECT_EQ(c.out[size_t(i)], kit::get(dst, i % c.w, i / c.w, 0))
                << c.w << "x" << c.h << " flags " << c.flags << " element " << i;
    }
}

// The writers: the two-dimensional spectrum rounds to nearest even and
// saturates, one-dimensional and unpacking outputs truncate after clamping.
TEST(Fft, IntegerWritersRoundOrTruncate) {
    kit::Recorder rec;
    struct Case {
        int w, h, depth;
        bool unpack;
        float v;  // every sample of the 32F source
        int dc;   // element (0, 0) of the result
    };
    const Case cases[] = {
        {2, 2, ZOL_DEPTH_8S, false, 0.625f, 2},     // 2.5 -> 2
        {2, 2, ZOL_DEPTH_8S, false, 0.875f, 4},     // 3.5 -> 4
        {2, 2, ZOL_DEPTH_8S, false, -0.875f, -4},
        {4, 1, ZOL_DEPTH_8S, false, 0.875f, 3},     // one row: 3.5 -> 3
        {4, 1, ZOL_DEPTH_8S, false, -0.875f, -3},
        {2, 2, ZOL_DEPTH_8U, false, 100.0f, 255},   // 400 saturates
        {2, 2, ZOL_DEPTH_8S, false, -100.0f, -128},
        {2, 2, ZOL_DEPTH_16U, false, -1.0f, 0},
        {2, 2, ZOL_DEPTH_8S, true, 3.5f, 3},        // unpacking truncates
        {2, 2, ZOL_DEPTH_16S, true, -3.5f, -3},
        {2, 2, ZOL_DEPTH_32S, false, 1e10f, 2147483647},
    };
    for (const Case& c : cases) {
        Image src(ZOL_DEPTH_32F, 1, c.w, c.h), dst(c.depth, 1, c.w, c.h);
        for (int y = 0; y < c.h; ++y)
            for (int x = 0; x < c.w; ++x) tkit::setValue(src, x, y, 0, x + y == 0 ? c.v * c.w * c.h : 0);
        if (!c.unpack) {
            for (int y = 0; y < c.h; ++y)
                for (int x = 0; x < c.w; ++x) tkit::setValue(src, x, y, 0, c.v);
            zolRealFft2D(src, dst, ZOL_FFT_FORWARD);
        } else {
            // A spectrum of v*W*H at (0, 0) alone unpacks to v everywhere.
            zolCcsFft2D(src, dst, ZOL_FFT_INVERSE);
        }
        ASSERT_TRUE(rec.none());
        EXPECT_EQ(c.dc, kit::get(dst, 0, 0, 0)) << c.w << "x" << c.h << " v " << c.v;
    }
}

// Faults: the exact status and context, in the order of the checks, with
// the destination untouched.
TEST(Fft, FaultsReportExactContexts) {
    Image a(ZOL_DEPTH_8U, 1, 8, 8), b(ZOL_DEPTH_32F, 1, 8, 8), bit(ZOL_DEPTH_1U, 1, 8, 8);
    Image three(ZOL_DEPTH_8U, 3, 8, 8), alpha(ZOL_DEPTH_8U, 1, 8, 8, ZOL_DATA_ORDER_PIXEL,
                                                  ZOL_ALIGN_DWORD, true);
    Image coi(ZOL_DEPTH_8U, 3, 8, 8), roi(ZOL_DEPTH_32F, 3, 8, 8), empty(ZOL_DEPTH_32F, 1, 8, 8);
    coi.setRoi(2, 0, 0, 8, 8);
    roi.setRoi(0, 0, 0, 8, 8);
    empty.setRoi(0, 8, 0, 4, 4);
    // A tiled image passes the header check without pixels in memory.
    ZolTileInfo tiles{[](const ZolImage*, int, int, int) {}, 0, nullptr, 8, 8};
    ZolImage noData = *a.get();
    noData.imageData = nullptr;
    noData.tileInfo = &tiles;
    ZolImage bad = *a.get();
    bad.nChannels = 0;
    struct Case {
        ZolImage *src, *dst;
        int flags, status;
        const char* context;
    };
    const Case cases[] = {
        {a, b, 0, -5, "(flags & 1) == 0 && (flags & 2 ) == 0"},
        {a, b, 3, -5, "(flags & 1) != 0 && (flags & 2 ) != 0"},
        {a, b, 1 | 16 | 32, -5, "(flags & 32) != 0 && (flags & 16 ) != 0"},
        {nullptr, b, 1, -5, "srcImage==0"},
        {&bad, b, 1, -15, "Incorrect Image"},
        {bit, b, 1, -5, "srcImage->depth == 1"},
        {&noData, b, 1, -5, "srcImage->imageData == ((void*)(0))"},
        {a, nullptr, 1, -5, "dstImage==0"},
        {a, bit, 1, -5, "dstImage->depth == 1"},
        {a, &noData, 1, -5, "dstImage->imageData == ((void*)(0))"},
        {three, coi, 1, -5, "dstImage->roi->coi > 0 && srcImage->roi == 0"},
        {roi, coi, 1, -5, "dstImage->roi->coi > 0 && srcImage->roi->coi == 0"},
        {coi, three, 1, -5, "srcImage->roi->coi > 0 && dstImage->roi == 0"},
        {coi, roi, 1, -5, "srcImage->roi->coi > 0 && dstImage->roi->coi == 0"},
        {three, b, 1, -5,
         "(srcImage->nChannels - (srcImage->alphaChannel != 0)) != "
         "(dstImage->nChannels - (dstImage->alphaChannel != 0))"},
        {a, empty, 1, -4, "No working memory"},
    };
    for (const Case& c : cases)
        for (auto fn : {zolRealFft2D, zolCcsFft2D}) {
            if (c.dst && c.dst != &noData) tkit::fill(c.dst, 1, 0, 0);
            kit::Recorder rec;
            fn(c.src, c.dst, c.flags);
            EXPECT_TRUE(rec.only(c.status, fn == zolRealFft2D ? "zolRealFft2D" : "zolCcsFft2D",
                                 c.context))
                << c.context << " got " << (rec.none() ? "nothing" : rec.reports()[0].context);
            if (c.dst && c.dst != &noData && c.dst->depth != ZOL_DEPTH_1U) {
                EXPECT_EQ(0, kit::get(c.dst, 0, 0, 0)) << c.context;
            }
        }
    // Silent ends: an alpha-only channel set, and the free flag with nothing.
    kit::Recorder rec;
    tkit::fill(b, 1, 0, 0);
    tkit::fill(alpha, 2, 1, 9);
    zolRealFft2D(alpha, b, ZOL_FFT_FORWARD);
    zolRealFft2D(nullptr, nullptr, ZOL_FFT_FREE | 3);
    zolCcsFft2D(nullptr, nullptr, ZOL_FFT_FREE);
    EXPECT_TRUE(rec.none());
    EXPECT_EQ(0, kit::get(b, 0, 0, 0));
}

// Memory: a failed table or buffer empties the cache and starts over; an
// exhausted set of 32 direct-sum lengths is met the same way.
TEST(Fft, TablesRetryAndManyLengths) {
    kit::Recorder rec;
    zolRealFft2D(nullptr, nullptr, ZOL_FFT_FREE);
    Image src(ZOL_DEPTH_32F, 1, 40, 8), dst(ZOL_DEPTH_32F, 1, 40, 8), ref(ZOL_DEPTH_32F, 1, 40, 8);
    tkit::fill(src, 5, -9, 9);
    zolRealFft2D(src, ref, ZOL_FFT_FORWARD);
    for (int n = 1; n <= 6; ++n) {
        zolRealFft2D(nullptr, nullptr, ZOL_FFT_FREE);
        kit::HeapFailure fail(n);
        zolRealFft2D(src, dst, ZOL_FFT_FORWARD);
        ASSERT_TRUE(rec.none()) << n;
        ASSERT_EQ(ref.bytes(), dst.bytes()) << n;
    }
    for (int w = 3; w < 3 + 40; w += 1) {
        src.setRoi(0, 0, 0, w, 1);
        zolRealFft2D(src, dst, ZOL_FFT_FORWARD);
    }
    src.setRoi(0, 0, 0, 40, 8);
    zolRealFft2D(src, dst, ZOL_FFT_FORWARD);
    EXPECT_TRUE(rec.none());
    EXPECT_EQ(ref.bytes(), dst.bytes());
}

// Every SIMD form this CPU runs gives the plain form's bytes, on column
// blocks of every width around the vector and block sizes, both operations
// and both routes (32F takes the float route whatever the flag).
TEST(Fft, SimdFormsEqualPlain) {
    const zol::Form saved = zol::formCap();
    kit::Recorder rec;
    const Size sizes[] = {{64, 16}, {66, 32}, {4, 64}, {70, 12}, {256, 8}, {8, 4}};
    for (int f = 0; f < zol::kForms; ++f) {
        if (!zol::formRuns(zol::Form(f))) continue;
        for (const Size s : sizes)
            for (int depth : {ZOL_DEPTH_32F, ZOL_DEPTH_32S}) {
            Image src(depth, 1, s.w, s.h), freq(depth, 1, s.w, s.h);
            Image back(depth, 1, s.w, s.h);
            tkit::fill(src, uint32_t(s.w), -999, 999);
            std::vector<uint8_t> want[2];
            for (int pass = 0; pass < 2; ++pass) {
                zol::setFormCap(pass ? zol::Form(f) : zol::Form::Plain);
                zolRealFft2D(src, freq, ZOL_FFT_FORWARD | ZOL_FFT_USE_INT);
                zolCcsFft2D(freq, back, ZOL_FFT_INVERSE | ZOL_FFT_USE_INT);
                if (pass == 0) {
                    want[0] = freq.bytes();
                    want[1] = back.bytes();
                } else {
                    EXPECT_EQ(zol::Form(f), zol::fft::fftForm());
                    EXPECT_EQ(want[0], freq.bytes()) << zol::formName(zol::Form(f)) << " " << s.w;
                    EXPECT_EQ(want[1], back.bytes()) << zol::formName(zol::Form(f)) << " " << s.w;
                }
            }
        }
    }
    zol::setFormCap(saved);
    EXPECT_TRUE(rec.none());
}

// Two threads at once on different lengths keep their own tables, which go
// with the thread (the sanitizer build reports any leak).
TEST(Fft, ThreadsKeepTheirOwnTables) {
    auto work = [](int w, int h) {
        zolSetErrMode(ZOL_ErrModeSilent);
        Image src(ZOL_DEPTH_16S, 1, w, h), freq(ZOL_DEPTH_32F, 1, w, h);
        tkit::fill(src, 11, -50, 50);
        for (int i = 0; i < 20; ++i) zolRealFft2D(src, freq, ZOL_FFT_FORWARD);
        zolRealFft2D(src, freq, ZOL_FFT_FORWARD | ZOL_FFT_USE_INT);
        return freq.bytes();
    };
    tkit::expectThreadsAgree(work, 64, 32, 24, 10);
}

}  // namespace
