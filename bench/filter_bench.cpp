// zolConvolve2D and zolConvolveSep2D on 1920x1080 8U images of one and
// three channels: 3x3 and 5x5 kernels, separable 3, 5 and 7 taps. With
// OpenCV's imgproc module installed, cv::filter2D and cv::sepFilter2D run
// beside them on one thread with the same kernels (scaled to float, as that
// module takes them), and the summary gives the ratio zol / OpenCV.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "common.h"
#include "zol.h"

#ifdef ZOL_BENCH_OPENCV_IMGPROC
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

namespace {

using bench::kH;
using bench::kW;

using bench::times;

struct Filter {
    const char* name;
    bool separable;
    int size;                // taps per side
    std::vector<int> taps;   // the 1-D taps; 2-D kernels are their outer product
    int shift;               // per pass for the separable filter, total for 2-D
};

const Filter kFilters[] = {
    {"conv3x3", false, 3, {1, 2, 1}, 4},
    {"conv5x5", false, 5, {1, 2, 3, 2, 1}, 6},
    {"sep3", true, 3, {1, 2, 1}, 2},
    {"sep5", true, 5, {1, 4, 6, 4, 1}, 4},
    {"sep7", true, 7, {1, 6, 15, 20, 15, 6, 1}, 6},
};

struct Images {
    ZolImage* src[2] = {bench::randomImage(ZOL_DEPTH_8U, 1, 1), bench::randomImage(ZOL_DEPTH_8U, 3, 2)};
    ZolImage* dst[2] = {bench::randomImage(ZOL_DEPTH_8U, 1, 3), bench::randomImage(ZOL_DEPTH_8U, 3, 4)};
    bool ok() const { return src[0] && src[1] && dst[0] && dst[1]; }
};

Images& data() {
    static Images d;
    return d;
}

std::string caseName(const Filter& f, int ch) { return std::string(f.name) + "/c" + std::to_string(ch); }

void benchZol(benchmark::State& state, const Filter* f, int c) {
    zolSetErrMode(ZOL_ErrModeParent);
    if (!data().ok()) return state.SkipWithError("cannot allocate the images");
    ZolImage* s = data().src[c];
    ZolImage* d = data().dst[c];
    zolSetBorderMode(s, ZOL_BORDER_REPLICATE, 15, 0);
    const int n = f->size;
    std::vector<int> outer(size_t(n * n));
    for (int j = 0; j < n; ++j)
        for (int i = 0; i < n; ++i) outer[size_t(j * n + i)] = f->taps[size_t(j)] * f->taps[size_t(i)];
    ZolConvKernel* k2 = zolCreateConvKernel(n, n, n / 2, n / 2, outer.data(), f->shift);
    ZolConvKernel* kx = zolCreateConvKernel(n, 1, n / 2, 0, f->taps.data(), f->shift);
    ZolConvKernel* ky = zolCreateConvKernel(1, n, 0, n / 2, f->taps.data(), f->shift);
    zolSetErrStatus(0);
    bench::timed(state, times(), "zol/" + caseName(*f, c ? 3 : 1), [&] {
        if (f->separable) zolConvolveSep2D(s, d, kx, ky);
        else zolConvolve2D(s, d, &k2, 1, ZOL_COMBINE_SUM);
    });
    if (zolGetErrStatus() < 0) state.SkipWithError(zolErrorStr(zolGetErrStatus()));
    zolDeleteConvKernel(k2);
    zolDeleteConvKernel(kx);
    zolDeleteConvKernel(ky);
}

#ifdef ZOL_BENCH_OPENCV_IMGPROC
void benchOpenCv(benchmark::State& state, const Filter* f, int c) {
    if (!data().ok()) return state.SkipWithError("cannot allocate the images");
    cv::setNumThreads(1);
    auto mat = [&](ZolImage* im) {
        return cv::Mat(kH, kW, CV_8UC(im->nChannels), im->imageData, size_t(im->widthStep));
    };
    cv::Mat s = mat(data().src[c]), d = mat(data().dst[c]);
    const int n = f->size;
    cv::Mat k1(1, n, CV_32F);
    const float scale = 1.0f / float(1 << f->shift);
    for (int i = 0; i < n; ++i) k1.at<float>(0, i) = float(f->taps[size_t(i)]) * scale;
    cv::Mat k2 = k1.t() * k1 * float(1 << f->shift);
    if (!f->separable) k2 *= 1.0f / float(1 << f->shift);
    bench::timed(state, times(), "opencv/" + caseName(*f, c ? 3 : 1), [&] {
        if (f->separable) cv::sepFilter2D(s, d, -1, k1, k1, cv::Point(-1, -1), 0, cv::BORDER_REPLICATE);
        else cv::filter2D(s, d, -1, k2, cv::Point(-1, -1), 0, cv::BORDER_REPLICATE);
    });
}
#endif

struct Registrar {
    Registrar() {
        for (const Filter& f : kFilters)
            for (int c = 0; c < 2; ++c) {
                const std::string n = "filter/" + caseName(f, c ? 3 : 1);
                bench::add(n + "/zol", benchZol, &f, c);
#ifdef ZOL_BENCH_OPENCV_IMGPROC
                bench::add(n + "/opencv", benchOpenCv, &f, c);
#endif
            }
    }
};
const Registrar registrar;

const bench::AtEnd summary(times(), [](const bench::Times& t) {
    if (t.empty()) return;
    std::printf("\nConvolution, 1920x1080 8U, thread CPU ms; ratio = zol / OpenCV\n");
    const bench::RatioTable table{12, 10, 2, 8};
    table.head("zol", "opencv");
    for (const Filter& f : kFilters)
        for (int ch : {1, 3}) {
            const std::string c = caseName(f, ch);
            const double z = bench::seconds(t, "zol/" + c);
            if (z >= 0) table.row(c, z, bench::seconds(t, "opencv/" + c));
        }
});

}  // namespace
