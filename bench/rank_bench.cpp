// Rank filters, morphology, blur and fixed filters on 1920x1080 8U images
// of one and three channels: median 3x3 and 5x5, max and min 3x3 and 7x7,
// dilate and erode 3x3, blur 5x5, Sobel and the Gaussians. With OpenCV's
// imgproc module installed, cv::medianBlur, cv::dilate, cv::erode,
// cv::blur, cv::Sobel and cv::GaussianBlur run beside them on one thread,
// and the summary gives the ratio zol / OpenCV.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <functional>
#include <map>
#include <string>

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

enum Kind { kMedian, kMax, kMin, kDilate, kErode, kBlur, kSobel, kGauss };

struct Case {
    const char* name;
    Kind kind;
    int size;
};

const Case kCases[] = {
    {"median3", kMedian, 3}, {"median5", kMedian, 5}, {"max3", kMax, 3},     {"max7", kMax, 7},
    {"min3", kMin, 3},       {"min7", kMin, 7},       {"dilate3", kDilate, 3}, {"erode3", kErode, 3},
    {"blur5", kBlur, 5},     {"sobel3", kSobel, 3},   {"gauss3", kGauss, 3},   {"gauss5", kGauss, 5},
};

struct Images {
    ZolImage* src[2] = {bench::randomImage(ZOL_DEPTH_8U, 1, 11), bench::randomImage(ZOL_DEPTH_8U, 3, 12)};
    ZolImage* dst[2] = {bench::randomImage(ZOL_DEPTH_8U, 1, 13), bench::randomImage(ZOL_DEPTH_8U, 3, 14)};
    bool ok() const { return src[0] && src[1] && dst[0] && dst[1]; }
};

Images& data() {
    static Images d;
    return d;
}

std::string caseName(const Case& c, int ch) { return std::string(c.name) + "/c" + std::to_string(ch); }

void benchZol(benchmark::State& state, const Case* c, int i) {
    zolSetErrMode(ZOL_ErrModeParent);
    if (!data().ok()) return state.SkipWithError("cannot allocate the images");
    ZolImage* s = data().src[i];
    ZolImage* d = data().dst[i];
    zolSetBorderMode(s, ZOL_BORDER_REPLICATE, 15, 0);
    const int n = c->size, a = n / 2;
    zolSetErrStatus(0);
    bench::timed(state, times(), "zol/" + caseName(*c, i ? 3 : 1), [&] {
        switch (c->kind) {
            case kMedian: zolMedianFilter(s, d, n, n, a, a); break;
            case kMax: zolMaxFilter(s, d, n, n, a, a); break;
            case kMin: zolMinFilter(s, d, n, n, a, a); break;
            case kDilate: zolDilate(s, d, a); break;
            case kErode: zolErode(s, d, a); break;
            case kBlur: zolBlur(s, d, n, n, a, a); break;
            case kSobel: zolFixedFilter(s, d, ZOL_FILTER_SOBEL_V); break;
            case kGauss: zolFixedFilter(s, d, n == 3 ? ZOL_FILTER_GAUSSIAN3 : ZOL_FILTER_GAUSSIAN5); break;
        }
    });
    if (zolGetErrStatus() < 0) state.SkipWithError(zolErrorStr(zolGetErrStatus()));
}

#ifdef ZOL_BENCH_OPENCV_IMGPROC
void benchOpenCv(benchmark::State& state, const Case* c, int i) {
    if (!data().ok()) return state.SkipWithError("cannot allocate the images");
    cv::setNumThreads(1);
    auto mat = [&](ZolImage* im) {
        return cv::Mat(kH, kW, CV_8UC(im->nChannels), im->imageData, size_t(im->widthStep));
    };
    cv::Mat s = mat(data().src[i]), d = mat(data().dst[i]);
    const cv::Mat k = cv::getStructuringElement(cv::MORPH_RECT, cv::Size(c->size, c->size));
    bench::timed(state, times(), "opencv/" + caseName(*c, i ? 3 : 1), [&] {
        switch (c->kind) {
            case kMedian: cv::medianBlur(s, d, c->size); break;
            case kMax:
            case kDilate: cv::dilate(s, d, k, cv::Point(-1, -1), 1, cv::BORDER_REPLICATE); break;
            case kBlur: cv::blur(s, d, cv::Size(c->size, c->size), cv::Point(-1, -1), cv::BORDER_REPLICATE); break;
            case kSobel: cv::Sobel(s, d, -1, 1, 0, 3, 1, 0, cv::BORDER_REPLICATE); break;
            case kGauss: cv::GaussianBlur(s, d, cv::Size(c->size, c->size), 0, 0, cv::BORDER_REPLICATE); break;
            default: cv::erode(s, d, k, cv::Point(-1, -1), 1, cv::BORDER_REPLICATE); break;
        }
    });
}
#endif

struct Registrar {
    Registrar() {
        for (const Case& c : kCases)
            for (int i = 0; i < 2; ++i) {
                const std::string n = "rank/" + caseName(c, i ? 3 : 1);
                bench::add(n + "/zol", benchZol, &c, i);
#ifdef ZOL_BENCH_OPENCV_IMGPROC
                bench::add(n + "/opencv", benchOpenCv, &c, i);
#endif
            }
    }
};
const Registrar registrar;

const bench::AtEnd summary(times(), [](const bench::Times& t) {
    if (t.empty()) return;
    std::printf("\nNeighbourhood filters, 1920x1080 8U, thread CPU ms; ratio = zol / OpenCV\n");
    const bench::RatioTable table{12, 10, 2, 8};
    table.head("zol", "opencv");
    for (const Case& c : kCases)
        for (int ch : {1, 3}) {
            const std::string n = caseName(c, ch);
            const double z = bench::seconds(t, "zol/" + n);
            if (z >= 0) table.row(n, z, bench::seconds(t, "opencv/" + n));
        }
});

}  // namespace
