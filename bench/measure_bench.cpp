// Histogram, lookup, equalisation, threshold, moments and norms on 1920x1080 8U
// images of one channel, one thread. With OpenCV installed each row stands
// beside its OpenCV counterpart, and the summary at exit gives the ratio
// (libzol time / OpenCV time: below 1.0 is faster).
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

// A record with one interval per level: counts per level, or a lookup
// table from its values.
struct Levels {
    std::vector<int32_t> key, value;
    ZolLUT lut{};
    ZolLUT* ptr[1] = {&lut};
    Levels() {
        for (int i = 0; i <= 256; ++i) key.push_back(i), value.push_back((i * 7 + 3) & 255);
        lut = ZolLUT{257, key.data(), value.data(), nullptr, 0};
    }
};

struct Data {
    ZolImage* a = bench::randomImage(ZOL_DEPTH_8U, 1, 1);
    ZolImage* b = bench::randomImage(ZOL_DEPTH_8U, 1, 2);
    ZolImage* d = bench::randomImage(ZOL_DEPTH_8U, 1, 3);
    bool ok() const { return a && b && d; }
#ifdef ZOL_BENCH_OPENCV_IMGPROC
    cv::Mat ma() const { return cv::Mat(kH, kW, CV_8UC1, a->imageData, size_t(a->widthStep)); }
    cv::Mat mb() const { return cv::Mat(kH, kW, CV_8UC1, b->imageData, size_t(b->widthStep)); }
    cv::Mat md() const { return cv::Mat(kH, kW, CV_8UC1, d->imageData, size_t(d->widthStep)); }
#endif
};

Data& data() {
    static Data d;
    return d;
}

template <class Body>
void run(benchmark::State& state, const std::string& name, Body body) {
    zolSetErrMode(ZOL_ErrModeParent);
    zolSetErrStatus(0);
    if (!data().ok()) return state.SkipWithError("cannot allocate the images");
    bench::timed(state, times(), name, body);
    if (zolGetErrStatus() < 0) state.SkipWithError(zolErrorStr(zolGetErrStatus()));
    state.SetBytesProcessed(state.iterations() * int64_t(kW) * kH);
}

double sink;

void BM_zol(benchmark::State& state, const std::string& op) {
    Data& d = data();
    Levels lv;
    if (op == "histogram") run(state, op, [&] { zolComputeHisto(d.a, lv.ptr); });
    if (op == "lookup") run(state, op, [&] { zolContrastStretch(d.a, d.d, lv.ptr); });
    if (op == "equalize")
        run(state, op, [&] {
            zolComputeHisto(d.a, lv.ptr);
            zolHistoEqualize(d.a, d.d, lv.ptr);
        });
    if (op == "threshold") run(state, op, [&] { zolThreshold(d.a, d.d, 128); });
    if (op == "moments") {
        ZolMomentState st;
        run(state, op, [&] { zolMoments(d.a, &st); });
    }
    if (op == "norm_l1") run(state, op, [&] { sink = zolNorm(d.a, nullptr, ZOL_NORM_L1); });
    if (op == "norm_l2") run(state, op, [&] { sink = zolNorm(d.a, nullptr, ZOL_NORM_L2); });
    if (op == "norm_max") run(state, op, [&] { sink = zolNorm(d.a, nullptr, ZOL_NORM_MAX); });
    if (op == "norm_l2_diff") run(state, op, [&] { sink = zolNorm(d.a, d.b, ZOL_NORM_L2); });
    if (op == "norm_l1_rel") run(state, op, [&] {
        sink = zolNorm(d.a, d.b, ZOL_NORM_L1 | ZOL_NORM_RELATIVE);
    });
}

#ifdef ZOL_BENCH_OPENCV_IMGPROC
void BM_opencv(benchmark::State& state, const std::string& op) {
    cv::setNumThreads(1);
    Data& d = data();
    const cv::Mat a = d.ma(), b = d.mb();
    cv::Mat dst = d.md(), hist, table(1, 256, CV_8UC1);
    for (int i = 0; i < 256; ++i) table.at<uint8_t>(i) = uint8_t((i * 7 + 3) & 255);
    const int channels[] = {0}, sizes[] = {256};
    const float range[] = {0, 256};
    const float* ranges[] = {range};
    const std::string name = "opencv_" + op;
    if (op == "histogram")
        run(state, name, [&] { cv::calcHist(&a, 1, channels, cv::Mat(), hist, 1, sizes, ranges); });
    if (op == "lookup") run(state, name, [&] { cv::LUT(a, table, dst); });
    if (op == "equalize") run(state, name, [&] { cv::equalizeHist(a, dst); });
    if (op == "threshold")  // > 127 is >= 128
        run(state, name, [&] { cv::threshold(a, dst, 127, 255, cv::THRESH_BINARY); });
    if (op == "moments") run(state, name, [&] { sink = cv::moments(a, false).m30; });
    if (op == "norm_l1") run(state, name, [&] { sink = cv::norm(a, cv::NORM_L1); });
    if (op == "norm_l2") run(state, name, [&] { sink = cv::norm(a, cv::NORM_L2); });
    if (op == "norm_max") run(state, name, [&] { sink = cv::norm(a, cv::NORM_INF); });
    if (op == "norm_l2_diff") run(state, name, [&] { sink = cv::norm(a, b, cv::NORM_L2); });
    if (op == "norm_l1_rel")
        run(state, name, [&] { sink = cv::norm(a, b, cv::NORM_L1 | cv::NORM_RELATIVE); });
}
#endif

const char* const kOps[] = {"histogram", "lookup",  "equalize",     "threshold", "moments",
                            "norm_l1",   "norm_l2", "norm_max",     "norm_l2_diff",
                            "norm_l1_rel"};

struct Registrar {
    Registrar() {
        for (const char* op : kOps) {
            benchmark::RegisterBenchmark((std::string("measure/zol/") + op).c_str(), BM_zol,
                                         std::string(op))
                ->Unit(benchmark::kMicrosecond);
#ifdef ZOL_BENCH_OPENCV_IMGPROC
            benchmark::RegisterBenchmark((std::string("measure/opencv/") + op).c_str(),
                                         BM_opencv, std::string(op))
                ->Unit(benchmark::kMicrosecond);
#endif
        }
    }
};
const Registrar registrar;

const bench::AtEnd summary(times(), [](const bench::Times& t) {
    bool any = false;
    for (const char* op : kOps) any = any || t.count(op);
    if (!any) return;
    std::printf("\nMeasurement, 1920x1080 8U, one thread: microseconds per call%s\n",
#ifdef ZOL_BENCH_OPENCV_IMGPROC
                ", and libzol / OpenCV"
#else
                ""
#endif
    );
    for (const char* op : kOps) {
        if (!t.count(op)) continue;
        std::printf("%-14s %9.1f", op, t.at(op) * 1e6);
        const std::string o = std::string("opencv_") + op;
        if (t.count(o) && t.at(o) > 0)
            std::printf(" %9.1f  %5.2fx", t.at(o) * 1e6, t.at(op) / t.at(o));
        std::printf("\n");
    }
});

}  // namespace
