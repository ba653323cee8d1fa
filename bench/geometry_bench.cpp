// zolResize on 1920x1080 8U images of one and three channels, down to
// 960x540 (a whole factor: linear and cubic select samples there) and
// 1280x720, up to 2880x1620 and 3840x2160, by each interpolation; area
// averaging on the reductions. With OpenCV's imgproc at hand, cv::resize
// of the same images on one thread stands beside each, and a summary gives
// the ratio. The two round differently; only the times compare.
#include <benchmark/benchmark.h>

#include <cstdio>
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

struct Size {
    const char* name;
    int w, h;
};
const Size kSizes[] = {{"960x540", 960, 540}, {"1280x720", 1280, 720}, {"2880x1620", 2880, 1620},
                       {"3840x2160", 3840, 2160}};
const char* const kInterNames[] = {"nn", "linear", "cubic", "area"};

using bench::times;

ZolImage* image(int channels, int w, int h) { return bench::newImage(ZOL_DEPTH_8U, channels, w, h, true); }

// Source and destination per channel count and size, made on first use.
struct Pair {
    ZolImage* src = nullptr;
    ZolImage* dst = nullptr;
};
Pair& pair(int channels, int size) {
    static Pair p[2][4];
    Pair& q = p[channels == 3][size];
    if (!q.src) {
        q.src = bench::randomImage(ZOL_DEPTH_8U, channels, 11u + unsigned(channels));
        q.dst = image(channels, kSizes[size].w, kSizes[size].h);
    }
    return q;
}

std::string caseName(int channels, int size, int interp) {
    return std::string("8u_c") + char('0' + channels) + "/" + kSizes[size].name + "/" +
           kInterNames[interp];
}

void benchZol(benchmark::State& state, int channels, int size, int interp) {
    zolSetErrMode(ZOL_ErrModeParent);
    Pair& p = pair(channels, size);
    if (!p.src || !p.dst) return state.SkipWithError("cannot allocate the images");
    zolSetErrStatus(0);
    bench::timed(state, times(), "zol/" + caseName(channels, size, interp), [&] {
        zolResize(p.src, p.dst, kSizes[size].w, kW, kSizes[size].h, kH, interp);
    });
    if (zolGetErrStatus() < 0) state.SkipWithError(zolErrorStr(zolGetErrStatus()));
}

#ifdef ZOL_BENCH_OPENCV_IMGPROC
void benchOpenCv(benchmark::State& state, int channels, int size, int interp) {
    Pair& p = pair(channels, size);
    if (!p.src || !p.dst) return state.SkipWithError("cannot allocate the images");
    cv::setNumThreads(1);
    const int type = CV_MAKETYPE(CV_8U, channels);
    cv::Mat s(kH, kW, type, p.src->imageData, size_t(p.src->widthStep));
    cv::Mat d(kSizes[size].h, kSizes[size].w, type, p.dst->imageData, size_t(p.dst->widthStep));
    const int flags[] = {cv::INTER_NEAREST, cv::INTER_LINEAR, cv::INTER_CUBIC, cv::INTER_AREA};
    bench::timed(state, times(), "opencv/" + caseName(channels, size, interp),
                 [&] { cv::resize(s, d, d.size(), 0, 0, flags[interp]); });
}
#endif

struct Registrar {
    Registrar() {
        for (int channels : {1, 3})
            for (int size = 0; size < 4; ++size)
                for (int interp = 0; interp < 4; ++interp) {
                    if (interp == ZOL_INTER_SUPER && kSizes[size].w > kW) continue;
                    const std::string c = caseName(channels, size, interp);
                    bench::add("resize/" + c, benchZol, channels, size, interp);
#ifdef ZOL_BENCH_OPENCV_IMGPROC
                    bench::add("resize/" + c + "/opencv", benchOpenCv, channels, size, interp);
#endif
                }
    }
};
const Registrar registrar;

const bench::AtEnd summary(times(), [](const bench::Times& t) {
    bool any = false;
    for (const auto& e : t) any = any || e.first.rfind("zol/8u", 0) == 0;
    if (!any) return;
    std::printf("\nResize from 1920x1080, thread CPU ms; ratio = zol / OpenCV\n");
    const bench::RatioTable table{26, 9, 3, 7};
    table.head("zol", "opencv");
    for (const auto& e : t) {
        if (e.first.rfind("zol/", 0) != 0) continue;
        const std::string c = e.first.substr(4);
        table.row(c, e.second, bench::seconds(t, "opencv/" + c));
    }
});

}  // namespace
