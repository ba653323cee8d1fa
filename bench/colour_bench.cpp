// Colour conversions on 1920x1080 8U RGB images: to YCrCb, YUV, XYZ, HSV
// and back from HSV, to gray, and a 3x4 colour twist. With OpenCV's imgproc
// installed each stands beside cv::cvtColor or cv::transform on one thread;
// a summary at exit gives the times and the ratio to the peer.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
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

void setName(ZolImage* im, const char* model, const char* seq) {
    std::memcpy(im->colorModel, model, 4);
    std::memcpy(im->channelSeq, seq, 4);
}

struct Images {
    ZolImage* rgb = bench::randomImage(ZOL_DEPTH_8U, 3, 1);
    ZolImage* out = bench::randomImage(ZOL_DEPTH_8U, 3, 2);
    ZolImage* gray = bench::randomImage(ZOL_DEPTH_8U, 1, 3);
    ZolColorTwist* twist = nullptr;
    bool ok = false;
    Images() {
        ok = rgb && out && gray;
        if (!ok) return;
        setName(rgb, "RGB", "RGB");
        setName(gray, "GRA", "G\0\0");
        // A hue rotation in 2^14 units, with a bias.
        const int32_t m[16] = {11000, 6000, -600, 2000, -600, 11000, 6000, 0, 6000, -600, 11000, -2000,
                               0, 0, 0, 0};
        twist = zolCreateColorTwist(m, 14);
        ok = twist != nullptr;
    }
};

Images& data() {
    static Images d;
    return d;
}

enum Op { YCrCb, Yuv, Xyz, Hsv, HsvBack, Gray, Twist, kOps };
const char* const kNames[kOps] = {"RGB2YCrCb", "RGB2YUV", "RGB2XYZ", "RGB2HSV", "HSV2RGB", "ColorToGray", "Twist"};

void benchZol(benchmark::State& state, Op op) {
    zolSetErrMode(ZOL_ErrModeParent);
    Images& d = data();
    if (!d.ok) return state.SkipWithError("cannot allocate the images");
    zolSetErrStatus(0);
    if (op == HsvBack) setName(d.out, "HSV", "HSV");
    bench::timed(state, times(), std::string("zol/") + kNames[op], [&] {
        switch (op) {
            case YCrCb: return zolRGB2YCrCb(d.rgb, d.out);
            case Yuv: return zolRGB2YUV(d.rgb, d.out);
            case Xyz: return zolRGB2XYZ(d.rgb, d.out);
            case Hsv: return zolRGB2HSV(d.rgb, d.out);
            case HsvBack: return zolHSV2RGB(d.out, d.rgb);
            case Gray: return zolColorToGray(d.rgb, d.gray);
            default: return zolApplyColorTwist(d.rgb, d.out, d.twist, 0);
        }
    });
    setName(d.rgb, "RGB", "RGB");
    if (zolGetErrStatus() < 0) state.SkipWithError(zolErrorStr(zolGetErrStatus()));
}

#ifdef ZOL_BENCH_OPENCV_IMGPROC
void benchCv(benchmark::State& state, Op op) {
    cv::setNumThreads(1);
    Images& d = data();
    if (!d.ok) return state.SkipWithError("cannot allocate the images");
    cv::Mat rgb(kH, kW, CV_8UC3, d.rgb->imageData, size_t(d.rgb->widthStep));
    cv::Mat out(kH, kW, CV_8UC3, d.out->imageData, size_t(d.out->widthStep));
    cv::Mat gray(kH, kW, CV_8UC1, d.gray->imageData, size_t(d.gray->widthStep));
    const cv::Matx34f m(11000 / 16384.f, 6000 / 16384.f, -600 / 16384.f, 2000 / 16384.f,
                        -600 / 16384.f, 11000 / 16384.f, 6000 / 16384.f, 0.f,
                        6000 / 16384.f, -600 / 16384.f, 11000 / 16384.f, -2000 / 16384.f);
    bench::timed(state, times(), std::string("cv/") + kNames[op], [&] {
        switch (op) {
            case YCrCb: return cv::cvtColor(rgb, out, cv::COLOR_RGB2YCrCb);
            case Yuv: return cv::cvtColor(rgb, out, cv::COLOR_RGB2YUV);
            case Xyz: return cv::cvtColor(rgb, out, cv::COLOR_RGB2XYZ);
            case Hsv: return cv::cvtColor(rgb, out, cv::COLOR_RGB2HSV);
            case HsvBack: return cv::cvtColor(out, rgb, cv::COLOR_HSV2RGB);
            case Gray: return cv::cvtColor(rgb, gray, cv::COLOR_RGB2GRAY);
            default: return cv::transform(rgb, out, m);
        }
    });
}
#endif

struct Registrar {
    Registrar() {
        for (int op = 0; op < kOps; ++op) {
            const std::string n = std::string("colour/") + kNames[op];
            bench::add(n, benchZol, Op(op));
#ifdef ZOL_BENCH_OPENCV_IMGPROC
            bench::add(n + "/opencv", benchCv, Op(op));
#endif
        }
    }
};
const Registrar registrar;

const bench::AtEnd summary(times(), [](const bench::Times& t) {
    if (t.empty()) return;
    std::printf("\nColour, 1920x1080 8U, thread CPU ms (ratio = libzol / OpenCV)\n");
    const bench::RatioTable table{12, 9, 3, 7};
    table.head("libzol", "opencv");
    for (const char* n : kNames) {
        const double z = bench::seconds(t, std::string("zol/") + n);
        if (z >= 0) table.row(n, z, bench::seconds(t, std::string("cv/") + n));
    }
});

}  // namespace
