// Mirror, rotation and a perspective keystone on 1920x1080 8U images, 1
// and 3 channels. With OpenCV's imgproc at hand, its flip and warps run on
// the same buffers and the summary prints the ratio.
#include <cmath>
#include <cstdio>
#include <map>
#include <string>

#include "common.h"

#ifdef ZOL_BENCH_OPENCV_IMGPROC
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

namespace {

std::map<std::string, double>& times() {
    static std::map<std::string, double> t;
    return t;
}

struct Pair {
    ZolImage* src = nullptr;
    ZolImage* dst = nullptr;
};
Pair& pair(int channels) {
    static Pair p[5];
    if (!p[channels].src) {
        p[channels].src = bench::randomImage(ZOL_DEPTH_8U, channels, 11);
        p[channels].dst = bench::randomImage(ZOL_DEPTH_8U, channels, 12);
    }
    return p[channels];
}

const char* const kAxisNames[] = {"both", "rows", "columns"};
std::string mirrorName(int channels, int axis) {
    return std::string("mirror/8u_c") + char('0' + channels) + "/" + kAxisNames[axis + 1];
}

void benchMirror(benchmark::State& state, int channels, int axis) {
    Pair& p = pair(channels);
    if (!p.src || !p.dst) return state.SkipWithError("cannot allocate the images");
    bench::timed(state, times(), "zol/" + mirrorName(channels, axis),
                 [&] { zolMirror(p.src, p.dst, axis); });
}

// Rotation by 30 degrees about the centre.
[[maybe_unused]] void rotation(double c[2][3]) {
    double xs = 0, ys = 0;
    zolGetRotateShift(bench::kW / 2.0, bench::kH / 2.0, 30.0, &xs, &ys);
    const double r = 30.0 / 180.0 * 3.14159265358979323846;
    c[0][0] = std::cos(r), c[0][1] = std::sin(r), c[0][2] = xs;
    c[1][0] = -std::sin(r), c[1][1] = std::cos(r), c[1][2] = ys;
}
const char* const kInterNames[] = {"nn", "linear", "cubic"};
std::string rotateName(int channels, int interp) {
    return std::string("rotate30/8u_c") + char('0' + channels) + "/" + kInterNames[interp];
}

void benchRotate(benchmark::State& state, int channels, int interp) {
    Pair& p = pair(channels);
    if (!p.src || !p.dst) return state.SkipWithError("cannot allocate the images");
    double xs = 0, ys = 0;
    zolGetRotateShift(bench::kW / 2.0, bench::kH / 2.0, 30.0, &xs, &ys);
    bench::timed(state, times(), "zol/" + rotateName(channels, interp),
                 [&] { zolRotate(p.src, p.dst, 30.0, xs, ys, interp); });
}

// A keystone: the image onto a trapezium-like quadrangle, linear.
const double kKeystone[4][2] = {{160, 40}, {1780, 0}, {1919, 1079}, {0, 1020}};
std::string keystoneName(int channels) { return std::string("perspective/8u_c") + char('0' + channels) + "/linear"; }

void benchPerspective(benchmark::State& state, int channels) {
    Pair& p = pair(channels);
    if (!p.src || !p.dst) return state.SkipWithError("cannot allocate the images");
    bench::timed(state, times(), "zol/" + keystoneName(channels),
                 [&] { zolWarpPerspectiveQ(p.src, p.dst, kKeystone, ZOL_WARP_TO_QUAD, ZOL_INTER_LINEAR); });
}

#ifdef ZOL_BENCH_OPENCV_IMGPROC
// The peer's view of an 8-bit interleaved image, run on one thread.
cv::Mat asMat(const ZolImage* im) {
    cv::setNumThreads(1);
    return cv::Mat(im->height, im->width, CV_MAKETYPE(CV_8U, im->nChannels), im->imageData,
                   size_t(im->widthStep));
}

void benchPerspectiveCv(benchmark::State& state, int channels) {
    Pair& p = pair(channels);
    if (!p.src || !p.dst) return state.SkipWithError("cannot allocate the images");
    cv::Mat s = asMat(p.src), d = asMat(p.dst);
    double f[3][3];
    zolGetPerspectiveTransform(p.src, f, kKeystone);
    cv::Mat m(3, 3, CV_64F, &f[0][0]);
    bench::timed(state, times(), "opencv/" + keystoneName(channels), [&] {
        cv::warpPerspective(s, d, m, d.size(), cv::INTER_LINEAR, cv::BORDER_TRANSPARENT);
    });
}

void benchWarpCv(benchmark::State& state, int channels, int interp) {
    Pair& p = pair(channels);
    if (!p.src || !p.dst) return state.SkipWithError("cannot allocate the images");
    cv::Mat s = asMat(p.src), d = asMat(p.dst);
    double c[2][3];
    rotation(c);
    cv::Mat m(2, 3, CV_64F, &c[0][0]);
    const int flags[] = {cv::INTER_NEAREST, cv::INTER_LINEAR, cv::INTER_CUBIC};
    bench::timed(state, times(), "opencv/" + rotateName(channels, interp), [&] {
        cv::warpAffine(s, d, m, d.size(), flags[interp], cv::BORDER_TRANSPARENT);
    });
}

void benchFlip(benchmark::State& state, int channels, int axis) {
    Pair& p = pair(channels);
    if (!p.src || !p.dst) return state.SkipWithError("cannot allocate the images");
    cv::Mat s = asMat(p.src), d = asMat(p.dst);
    bench::timed(state, times(), "opencv/" + mirrorName(channels, axis),
                 [&] { cv::flip(s, d, axis); });
}
#endif

struct Registrar {
    Registrar() {
        for (int channels : {1, 3})
            for (int axis : {0, 1, -1}) {
                const std::string n = mirrorName(channels, axis);
                benchmark::RegisterBenchmark(n.c_str(), benchMirror, channels, axis)
                    ->Unit(benchmark::kMillisecond);
#ifdef ZOL_BENCH_OPENCV_IMGPROC
                benchmark::RegisterBenchmark((n + "/opencv").c_str(), benchFlip, channels, axis)
                    ->Unit(benchmark::kMillisecond);
#endif
            }
        for (int channels : {1, 3})
            for (int interp = 0; interp < 3; ++interp) {
                const std::string n = rotateName(channels, interp);
                benchmark::RegisterBenchmark(n.c_str(), benchRotate, channels, interp)
                    ->Unit(benchmark::kMillisecond);
#ifdef ZOL_BENCH_OPENCV_IMGPROC
                benchmark::RegisterBenchmark((n + "/opencv").c_str(), benchWarpCv, channels, interp)
                    ->Unit(benchmark::kMillisecond);
#endif
            }
        for (int channels : {1, 3}) {
            const std::string n = keystoneName(channels);
            benchmark::RegisterBenchmark(n.c_str(), benchPerspective, channels)->Unit(benchmark::kMillisecond);
#ifdef ZOL_BENCH_OPENCV_IMGPROC
            benchmark::RegisterBenchmark((n + "/opencv").c_str(), benchPerspectiveCv, channels)
                ->Unit(benchmark::kMillisecond);
#endif
        }
    }
};
const Registrar registrar;

struct Summary {
    Summary() { times(); }
    ~Summary() {
        const auto& t = times();
        bool any = false;
        for (const auto& e : t) any = any || e.first.rfind("zol/", 0) == 0;
        if (!any) return;
        std::printf("\nMirror and warps on 1920x1080, thread CPU ms; ratio = zol / OpenCV\n");
        std::printf("%-30s %9s %9s %7s\n", "case", "zol", "opencv", "ratio");
        for (const auto& e : t) {
            if (e.first.rfind("zol/", 0) != 0) continue;
            const std::string c = e.first.substr(4);
            const auto o = t.find("opencv/" + c);
            std::printf("%-30s %9.3f", c.c_str(), e.second * 1e3);
            if (o == t.end()) std::printf(" %9s %7s\n", "-", "-");
            else std::printf(" %9.3f %7.2f\n", o->second * 1e3, e.second / o->second);
        }
        std::fflush(stdout);
    }
};
const Summary summary;

}  // namespace
