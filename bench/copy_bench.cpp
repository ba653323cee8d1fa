// zolCopy, zolSet, zolSetFP and zolExchange on 1920x1080 images: 8U three
// channels over the whole image, a ROI, a random mask and one channel of
// interest; fills of 8U and 32F; the exchange. Each stands beside memcpy or
// memset of the same bytes, so the ratio to copy speed can be read off;
// with OpenCV's core installed, copyTo and setTo of the same images too.
#include <benchmark/benchmark.h>

#include <cstring>
#include <random>
#include <vector>

#include "common.h"
#include "zol.h"

#ifdef ZOL_BENCH_OPENCV
#include <opencv2/core.hpp>
#endif

namespace {

using bench::kH;
using bench::kW;
constexpr int kRoiX = 3, kRoiY = 5, kRoiW = 1911, kRoiH = 1071;

ZolImage* image(int depth, int channels, unsigned seed) {
    return bench::randomImage(depth, channels, seed);
}

struct Images {
    ZolImage* src3 = image(ZOL_DEPTH_8U, 3, 1);
    ZolImage* dst3 = image(ZOL_DEPTH_8U, 3, 2);
    ZolImage* dst1 = image(ZOL_DEPTH_8U, 1, 3);
    ZolImage* f32 = image(ZOL_DEPTH_32F, 1, 4);
    ZolImage* mask = image(ZOL_DEPTH_1U, 1, 5);
    ZolROI* roi = zolCreateROI(0, kRoiX, kRoiY, kRoiW, kRoiH);
    ZolROI* coi = zolCreateROI(2, 0, 0, kW, kH);
    std::vector<char> from = std::vector<char>(size_t(kW) * kH * 4, 1);
    std::vector<char> to = std::vector<char>(size_t(kW) * kH * 4, 2);
    bool ok() const { return src3 && dst3 && dst1 && f32 && mask && roi && coi; }
};

Images& data() {
    static Images d;
    return d;
}

enum Case { Whole, Roi, Mask, Coi };

int64_t bytesOf(Case c) {
    return c == Roi   ? int64_t(kRoiW) * kRoiH * 3
           : c == Coi ? int64_t(kW) * kH
                      : int64_t(kW) * kH * 3;
}

void BM_copy(benchmark::State& state, Case c) {
    zolSetErrMode(ZOL_ErrModeParent);
    Images& d = data();
    if (!d.ok()) return state.SkipWithError("cannot allocate the images");
    ZolImage* dst = c == Coi ? d.dst1 : d.dst3;
    if (c == Roi) d.src3->roi = d.dst3->roi = d.roi;
    if (c == Mask) d.src3->maskROI = d.mask;
    if (c == Coi) d.src3->roi = d.coi;
    zolSetErrStatus(0);
    for (auto _ : state) {
        zolCopy(d.src3, dst);
        benchmark::ClobberMemory();
    }
    d.src3->roi = d.dst3->roi = nullptr;
    d.src3->maskROI = nullptr;
    if (zolGetErrStatus() < 0) state.SkipWithError(zolErrorStr(zolGetErrStatus()));
    state.SetBytesProcessed(state.iterations() * bytesOf(c));
}

void BM_memcpy(benchmark::State& state, int64_t bytes) {
    Images& d = data();
    for (auto _ : state) {
        std::memcpy(d.to.data(), d.from.data(), size_t(bytes));
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * bytes);
}

void BM_memset(benchmark::State& state, int64_t bytes) {
    Images& d = data();
    for (auto _ : state) {
        std::memset(d.to.data(), 77, size_t(bytes));
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * bytes);
}

void BM_set8u(benchmark::State& state) {
    zolSetErrMode(ZOL_ErrModeParent);
    if (!data().ok()) return state.SkipWithError("cannot allocate the images");
    for (auto _ : state) {
        zolSet(data().dst3, 77);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * bytesOf(Whole));
}

void BM_set32f(benchmark::State& state) {
    zolSetErrMode(ZOL_ErrModeParent);
    if (!data().ok()) return state.SkipWithError("cannot allocate the images");
    for (auto _ : state) {
        zolSetFP(data().f32, 1.5f);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * int64_t(kW) * kH * 4);
}

void BM_exchange(benchmark::State& state) {
    zolSetErrMode(ZOL_ErrModeParent);
    if (!data().ok()) return state.SkipWithError("cannot allocate the images");
    for (auto _ : state) {
        zolExchange(data().src3, data().dst3);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * bytesOf(Whole));
}

#ifdef ZOL_BENCH_OPENCV
cv::Mat matOf(ZolImage* im, int type) {
    return cv::Mat(im->height, im->width, type, im->imageData, size_t(im->widthStep));
}

void BM_opencv_copyTo(benchmark::State& state, Case c) {
    Images& d = data();
    if (!d.ok()) return state.SkipWithError("cannot allocate the images");
    cv::Mat s = matOf(d.src3, CV_8UC3), t = matOf(d.dst3, CV_8UC3);
    if (c == Roi) {
        s = s(cv::Rect(kRoiX, kRoiY, kRoiW, kRoiH));
        t = t(cv::Rect(kRoiX, kRoiY, kRoiW, kRoiH));
    }
    for (auto _ : state) {
        s.copyTo(t);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * bytesOf(c));
}

void BM_opencv_setTo(benchmark::State& state, int type) {
    Images& d = data();
    if (!d.ok()) return state.SkipWithError("cannot allocate the images");
    cv::Mat m = type == CV_8UC3 ? matOf(d.dst3, type) : matOf(d.f32, type);
    const cv::Scalar v = type == CV_8UC3 ? cv::Scalar::all(77) : cv::Scalar::all(1.5);
    for (auto _ : state) {
        m.setTo(v);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * int64_t(m.total() * m.elemSize()));
}

BENCHMARK_CAPTURE(BM_opencv_copyTo, 8u_c3_whole, Whole)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_opencv_copyTo, 8u_c3_roi, Roi)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_opencv_setTo, 8u_c3, CV_8UC3)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_opencv_setTo, 32f_c1, CV_32FC1)->Unit(benchmark::kMicrosecond);
#endif

BENCHMARK_CAPTURE(BM_memcpy, 8u_c3_whole, bytesOf(Whole))->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_copy, 8u_c3_whole, Whole)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_memcpy, 8u_c3_roi, bytesOf(Roi))->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_copy, 8u_c3_roi, Roi)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_copy, 8u_c3_mask, Mask)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_memcpy, 8u_c1, bytesOf(Coi))->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_copy, 8u_c3_coi2_to_c1, Coi)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_memset, 8u_c3, bytesOf(Whole))->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_set8u)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_memset, 32f_c1, int64_t(kW) * kH * 4)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_set32f)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_exchange)->Unit(benchmark::kMicrosecond);

}  // namespace
