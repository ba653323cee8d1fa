// The frequency transforms, one thread: the real Fourier transform forward
// and inverse (32F to 32F) at 256x256, 1024x1024, 2048x1024 and on a whole
// 1920x1080 image (direct sums: no power of two), the fixed route at
// 1024x1024, the cosine transform of 8x8 blocks over 1024x1024 and of a
// 512x512 region, and the spectrum product at 1024x1024. Beside them, when
// installed: FFTW (single-precision r2c 2-D, FFTW_ESTIMATE, plan made
// outside the loop) and OpenCV (cv::dft, cv::dct, cv::mulSpectrums). A
// summary at exit gives each time and its ratio to the peers.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>

#include "common.h"
#include "zol.h"

#ifdef ZOL_BENCH_FFTW
#include <fftw3.h>
#endif
#ifdef ZOL_BENCH_OPENCV
#include <opencv2/core.hpp>
#endif

namespace {

using bench::times;

// A pixel-order image of w x h whose region is its whole; float samples.
ZolImage* image(int depth, int w, int h, unsigned seed) {
    ZolImage* im = bench::newImage(depth, 1, w, h);
    if (!im) return nullptr;
    unsigned s = seed;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            s = s * 1103515245u + 12345u;
            const int v = int((s >> 16) & 255);
            char* p = im->imageData + size_t(y) * im->widthStep;
            if (depth == ZOL_DEPTH_32F) reinterpret_cast<float*>(p)[x] = float(v);
            else if (depth == ZOL_DEPTH_8U) reinterpret_cast<uint8_t*>(p)[x] = uint8_t(v);
            else if (depth == ZOL_DEPTH_16S) reinterpret_cast<int16_t*>(p)[x] = int16_t(v - 128);
            else reinterpret_cast<int32_t*>(p)[x] = v;
        }
    return im;
}

void release(ZolImage* a, ZolImage* b) {
    zolDeallocate(a, ZOL_FREE_HEADER | ZOL_FREE_DATA);
    zolDeallocate(b, ZOL_FREE_HEADER | ZOL_FREE_DATA);
}

std::string sizeName(int w, int h) { return std::to_string(w) + "x" + std::to_string(h); }

void BM_fft(benchmark::State& state, int w, int h, bool inverse, bool fixed) {
    zolSetErrMode(ZOL_ErrModeParent);
    const int depth = fixed ? ZOL_DEPTH_32S : ZOL_DEPTH_32F;
    ZolImage *src = image(depth, w, h, 1), *dst = image(depth, w, h, 2);
    if (!src || !dst) return state.SkipWithError("cannot allocate the images");
    const int flags = (inverse ? ZOL_FFT_INVERSE : ZOL_FFT_FORWARD) | (fixed ? ZOL_FFT_USE_INT : 0);
    zolSetErrStatus(0);
    const std::string name = std::string(inverse ? "fft inverse " : "fft forward ") +
                             (fixed ? "fixed " : "") + sizeName(w, h);
    bench::timed(state, times(), name, [&] {
        if (inverse) zolCcsFft2D(src, dst, flags);
        else zolRealFft2D(src, dst, flags);
    });
    if (zolGetErrStatus() < 0) state.SkipWithError(zolErrorStr(zolGetErrStatus()));
    release(src, dst);
}

// n x n blocks over a w x h 8U image into 16S, one call a block.
void BM_dctBlocks(benchmark::State& state, int n, int w, int h) {
    zolSetErrMode(ZOL_ErrModeParent);
    ZolImage *src = image(ZOL_DEPTH_8U, w, h, 3), *dst = image(ZOL_DEPTH_16S, w, h, 4);
    if (!src || !dst) return state.SkipWithError("cannot allocate the images");
    ZolROI rs{0, 0, 0, n, n}, rd{0, 0, 0, n, n};
    src->roi = &rs;
    dst->roi = &rd;
    zolSetErrStatus(0);
    bench::timed(state, times(), "dct blocks " + std::to_string(n) + " over " + sizeName(w, h), [&] {
        for (int y = 0; y < h; y += n)
            for (int x = 0; x < w; x += n) {
                rs.xOffset = rd.xOffset = x;
                rs.yOffset = rd.yOffset = y;
                zolDCT2D(src, dst, ZOL_DCT_FORWARD);
            }
    });
    if (zolGetErrStatus() < 0) state.SkipWithError(zolErrorStr(zolGetErrStatus()));
    src->roi = dst->roi = nullptr;
    release(src, dst);
}

void BM_dct(benchmark::State& state, int w, int h) {
    zolSetErrMode(ZOL_ErrModeParent);
    ZolImage *src = image(ZOL_DEPTH_16S, w, h, 5), *dst = image(ZOL_DEPTH_32S, w, h, 6);
    if (!src || !dst) return state.SkipWithError("cannot allocate the images");
    zolSetErrStatus(0);
    bench::timed(state, times(), "dct " + sizeName(w, h),
                 [&] { zolDCT2D(src, dst, ZOL_DCT_FORWARD); });
    if (zolGetErrStatus() < 0) state.SkipWithError(zolErrorStr(zolGetErrStatus()));
    release(src, dst);
}

void BM_mpy(benchmark::State& state, int w, int h) {
    zolSetErrMode(ZOL_ErrModeParent);
    ZolImage *a = image(ZOL_DEPTH_32F, w, h, 7), *b = image(ZOL_DEPTH_32F, w, h, 8);
    ZolImage* d = image(ZOL_DEPTH_32F, w, h, 9);
    if (!a || !b || !d) return state.SkipWithError("cannot allocate the images");
    zolSetErrStatus(0);
    bench::timed(state, times(), "mpy " + sizeName(w, h), [&] { zolMpyRCPack2D(a, b, d); });
    if (zolGetErrStatus() < 0) state.SkipWithError(zolErrorStr(zolGetErrStatus()));
    release(a, b);
    zolDeallocate(d, ZOL_FREE_HEADER | ZOL_FREE_DATA);
}

#ifdef ZOL_BENCH_FFTW
void BM_fftw(benchmark::State& state, int w, int h, bool inverse) {
    float* re = fftwf_alloc_real(size_t(w) * h);
    fftwf_complex* sp = fftwf_alloc_complex(size_t(w / 2 + 1) * h);
    for (size_t i = 0; i < size_t(w) * h; ++i) re[i] = float(i % 251);
    fftwf_plan p = inverse ? fftwf_plan_dft_c2r_2d(h, w, sp, re, FFTW_ESTIMATE)
                           : fftwf_plan_dft_r2c_2d(h, w, re, sp, FFTW_ESTIMATE);
    if (inverse)
        for (size_t i = 0; i < size_t(w / 2 + 1) * h; ++i) sp[i][0] = sp[i][1] = float(i % 7);
    bench::timed(state, times(),
                 std::string(inverse ? "fftw inverse " : "fftw forward ") + sizeName(w, h),
                 [&] { fftwf_execute(p); });
    fftwf_destroy_plan(p);
    fftwf_free(re);
    fftwf_free(sp);
}
#endif

#ifdef ZOL_BENCH_OPENCV
void BM_cv(benchmark::State& state, const std::string& what, int w, int h) {
    cv::Mat a(h, w, CV_32F), b(h, w, CV_32F), c, o8(8, 8, CV_32F);
    cv::randu(a, 0, 255);
    cv::randu(b, 0, 255);
    bench::timed(state, times(), "cv " + what + " " + sizeName(w, h), [&] {
        if (what == "dft") cv::dft(a, c);
        else if (what == "dct") cv::dct(a, c);
        else if (what == "mulSpectrums") cv::mulSpectrums(a, b, c, 0);
        else if (what == "dct8") {
            for (int y = 0; y < h; y += 8)
                for (int x = 0; x < w; x += 8) {
                    cv::dct(a(cv::Rect(x, y, 8, 8)), o8);
                }
        }
    });
}
#endif

const bench::AtEnd summary(times(), [](const bench::Times& t) {
    if (t.empty()) return;
    auto get = [&](const std::string& n) { return t.count(n) ? t.at(n) : 0.0; };
    std::printf("\n%-34s %10s %10s %10s %8s %8s\n", "transform (one thread)", "zol ms",
                "fftw ms", "cv ms", "/fftw", "/cv");
    auto row = [&](const std::string& label, const std::string& z, const std::string& f,
                   const std::string& c) {
        const double tz = get(z), tf = get(f), tc = get(c);
        if (tz <= 0) return;
        std::printf("%-34s %10.3f %10.3f %10.3f %8.2f %8.2f\n", label.c_str(), tz * 1e3,
                    tf * 1e3, tc * 1e3, tf > 0 ? tz / tf : 0.0, tc > 0 ? tz / tc : 0.0);
    };
    for (auto [w, h] : {std::pair{256, 256}, {1024, 1024}, {2048, 1024}, {1920, 1080}}) {
        const std::string s = sizeName(w, h);
        row("fft forward " + s, "fft forward " + s, "fftw forward " + s, "cv dft " + s);
        row("fft inverse " + s, "fft inverse " + s, "fftw inverse " + s, "");
    }
    row("fft forward fixed 1024x1024", "fft forward fixed 1024x1024", "fftw forward 1024x1024",
        "cv dft 1024x1024");
    row("dct 8x8 blocks over 1024x1024", "dct blocks 8 over 1024x1024", "",
        "cv dct8 1024x1024");
    row("dct 512x512", "dct 512x512", "", "cv dct 512x512");
    row("dct 1024x1024", "dct 1024x1024", "", "cv dct 1024x1024");
    row("mpy 1024x1024", "mpy 1024x1024", "", "cv mulSpectrums 1024x1024");
});

BENCHMARK_CAPTURE(BM_fft, fwd_256, 256, 256, false, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_fft, inv_256, 256, 256, true, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_fft, fwd_1024, 1024, 1024, false, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_fft, inv_1024, 1024, 1024, true, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_fft, fwd_2048x1024, 2048, 1024, false, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_fft, inv_2048x1024, 2048, 1024, true, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_fft, fwd_fixed_1024, 1024, 1024, false, true)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_fft, fwd_1920x1080, 1920, 1080, false, false)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1);
BENCHMARK_CAPTURE(BM_dctBlocks, 8_over_1024, 8, 1024, 1024)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_dct, 512, 512, 512)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_dct, 1024, 1024, 1024)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_mpy, 1024, 1024, 1024)->Unit(benchmark::kMillisecond);
#ifdef ZOL_BENCH_FFTW
BENCHMARK_CAPTURE(BM_fftw, fwd_256, 256, 256, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_fftw, inv_256, 256, 256, true)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_fftw, fwd_1024, 1024, 1024, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_fftw, inv_1024, 1024, 1024, true)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_fftw, fwd_2048x1024, 2048, 1024, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_fftw, inv_2048x1024, 2048, 1024, true)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_fftw, fwd_1920x1080, 1920, 1080, false)->Unit(benchmark::kMillisecond);
#endif
#ifdef ZOL_BENCH_OPENCV
BENCHMARK_CAPTURE(BM_cv, dft_256, "dft", 256, 256)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_cv, dft_1024, "dft", 1024, 1024)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_cv, dft_2048x1024, "dft", 2048, 1024)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_cv, dft_1920x1080, "dft", 1920, 1080)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_cv, dct8_1024, "dct8", 1024, 1024)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_cv, dct_512, "dct", 512, 512)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_cv, dct_1024, "dct", 1024, 1024)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_cv, mulSpectrums_1024, "mulSpectrums", 1024, 1024)
    ->Unit(benchmark::kMillisecond);
#endif

}  // namespace
