// zolAdd, zolSubtract, zolMultiply, zolAnd and zolLShiftS on 1920x1080
// images, one thread: 8U with one and three channels, 16S and 32F with one,
// over the whole image and over a ROI of odd size and offset. Beside each
// image and region, memcpy of the destination's bytes; zolAdd and
// zolSubtract also run with the plain kernels. A summary at exit gives each
// operation's time over memcpy's and the plain form's time over the best's.
#include <benchmark/benchmark.h>
#include <time.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "core/simd.h"
#include "common.h"
#include "zol.h"

#ifdef ZOL_BENCH_OPENCV
#include <opencv2/core.hpp>
#endif

namespace {

using bench::kH;
using bench::kW;
constexpr int kRoiX = 3, kRoiY = 5, kRoiW = 1911, kRoiH = 1071;

struct Kind {
    const char* name;
    int depth, channels;
};
const Kind kKinds[] = {{"8u_c1", ZOL_DEPTH_8U, 1},
                       {"8u_c3", ZOL_DEPTH_8U, 3},
                       {"16s_c1", ZOL_DEPTH_16S, 1},
                       {"32f_c1", ZOL_DEPTH_32F, 1}};
constexpr int kNumKinds = 4;

enum class Op { Add, Sub, Mul, And, LShift };
const char* const kOpNames[] = {"zolAdd", "zolSubtract", "zolMultiply", "zolAnd", "zolLShiftS"};

ZolImage* image(const Kind& k, unsigned seed) { return bench::randomImage(k.depth, k.channels, seed); }

// Three images per kind, made on first use.
struct Data {
    ZolImage* a[kNumKinds] = {};
    ZolImage* b[kNumKinds] = {};
    ZolImage* d[kNumKinds] = {};
    ZolROI* roi = zolCreateROI(0, kRoiX, kRoiY, kRoiW, kRoiH);
    std::vector<char> from = std::vector<char>(size_t(kW) * kH * 4, 1);
    std::vector<char> to = std::vector<char>(size_t(kW) * kH * 4, 2);
    bool ok = roi != nullptr;

    Data() {
        for (int i = 0; i < kNumKinds; ++i) {
            a[i] = image(kKinds[i], 10 + unsigned(i));
            b[i] = image(kKinds[i], 20 + unsigned(i));
            d[i] = image(kKinds[i], 30 + unsigned(i));
            ok = ok && a[i] && b[i] && d[i];
        }
    }
    ~Data() {
        for (int i = 0; i < kNumKinds; ++i)
            for (ZolImage* im : {a[i], b[i], d[i]}) zolDeallocate(im, ZOL_FREE_HEADER | ZOL_FREE_DATA);
        zolDeleteROI(roi);
    }
};

Data& data() {
    static Data d;
    return d;
}

// CPU seconds of this thread per iteration, of the last run of each
// benchmark: on a shared machine less disturbed than the wall clock.
using bench::times;

int64_t bytesOf(int kind, bool roi) {
    const Kind& k = kKinds[kind];
    const int64_t pixels = roi ? int64_t(kRoiW) * kRoiH : int64_t(kW) * kH;
    return pixels * k.channels * ((k.depth & 0xFF) / 8);
}

std::string caseName(int kind, bool roi) {
    return std::string(kKinds[kind].name) + (roi ? "/roi" : "/whole");
}

// The case's ROI on all three images while alive.
struct Region {
    ZolImage *a, *b, *d;
    Region(int kind, bool roi) : a(data().a[kind]), b(data().b[kind]), d(data().d[kind]) {
        if (roi) a->roi = b->roi = d->roi = data().roi;
    }
    ~Region() { a->roi = b->roi = d->roi = nullptr; }
};

void benchOp(benchmark::State& state, Op op, int kind, bool roi, bool plain) {
    zolSetErrMode(ZOL_ErrModeParent);
    if (!data().ok) return state.SkipWithError("cannot allocate the images");
    Region r(kind, roi);
    zol::setFormCap(plain ? zol::Form::Plain : zol::cpuForm());
    zolSetErrStatus(0);
    const std::string name = std::string(kOpNames[int(op)]) + "/" + caseName(kind, roi) +
                             (plain ? "/plain" : "/best");
    bench::timed(state, times(), name, [&] {
        switch (op) {
            case Op::Add: return zolAdd(r.a, r.b, r.d);
            case Op::Sub: return zolSubtract(r.a, r.b, r.d);
            case Op::Mul: return zolMultiply(r.a, r.b, r.d);
            case Op::And: return zolAnd(r.a, r.b, r.d);
            case Op::LShift: return zolLShiftS(r.a, r.d, 1);
        }
    });
    zol::setFormCap(zol::cpuForm());
    if (zolGetErrStatus() < 0) state.SkipWithError(zolErrorStr(zolGetErrStatus()));
    state.SetBytesProcessed(state.iterations() * bytesOf(kind, roi));
}

void benchMemcpy(benchmark::State& state, int kind, bool roi) {
    const size_t bytes = size_t(bytesOf(kind, roi));
    char* from = data().from.data();
    char* to = data().to.data();
    bench::timed(state, times(), "memcpy/" + caseName(kind, roi),
                 [&] { std::memcpy(to, from, bytes); });
    state.SetBytesProcessed(state.iterations() * int64_t(bytes));
}

#ifdef ZOL_BENCH_OPENCV
void benchOpenCv(benchmark::State& state, Op op, int kind, bool roi) {
    if (!data().ok) return state.SkipWithError("cannot allocate the images");
    const Kind& k = kKinds[kind];
    const int depth = k.depth == ZOL_DEPTH_8U ? CV_8U : k.depth == ZOL_DEPTH_16S ? CV_16S : CV_32F;
    const int type = CV_MAKETYPE(depth, k.channels);
    auto mat = [&](ZolImage* im) {
        cv::Mat m(kH, kW, type, im->imageData, size_t(im->widthStep));
        return roi ? m(cv::Rect(kRoiX, kRoiY, kRoiW, kRoiH)) : m;
    };
    cv::Mat a = mat(data().a[kind]), b = mat(data().b[kind]), d = mat(data().d[kind]);
    const std::string name = std::string("opencv_") + kOpNames[int(op)] + "/" + caseName(kind, roi);
    bench::timed(state, times(), name, [&] {
        if (op == Op::Add) cv::add(a, b, d);
        else if (op == Op::Sub) cv::subtract(a, b, d);
        else cv::bitwise_and(a, b, d);
    });
    state.SetBytesProcessed(state.iterations() * bytesOf(kind, roi));
}
#endif

struct Registrar {
    Registrar() {
        for (int kind = 0; kind < kNumKinds; ++kind)
            for (bool roi : {false, true}) {
                const std::string c = caseName(kind, roi);
                benchmark::RegisterBenchmark(("arith/memcpy/" + c).c_str(), benchMemcpy, kind, roi)
                    ->Unit(benchmark::kMicrosecond);
                for (Op op : {Op::Add, Op::Sub, Op::Mul, Op::And, Op::LShift}) {
                    // The logic operations refuse 32F.
                    if (kKinds[kind].depth == ZOL_DEPTH_32F && (op == Op::And || op == Op::LShift))
                        continue;
                    const std::string n = std::string("arith/") + kOpNames[int(op)] + "/" + c;
                    benchmark::RegisterBenchmark((n + "/best").c_str(), benchOp, op, kind, roi,
                                                 false)
                        ->Unit(benchmark::kMicrosecond);
                    if (op == Op::Add || op == Op::Sub)
                        benchmark::RegisterBenchmark((n + "/plain").c_str(), benchOp, op, kind,
                                                     roi, true)
                            ->Unit(benchmark::kMicrosecond);
#ifdef ZOL_BENCH_OPENCV
                    if (op == Op::Add || op == Op::Sub || op == Op::And)
                        benchmark::RegisterBenchmark((n + "/opencv").c_str(), benchOpenCv, op,
                                                     kind, roi)
                            ->Unit(benchmark::kMicrosecond);
#endif
                }
            }
    }
};
const Registrar registrar;

// Printed when the program ends, after the benchmark run.
const bench::AtEnd summary(times(), [](const bench::Times& t) {
    if (t.empty()) return;
    std::printf("\nArithmetic, thread CPU time / memcpy's of the destination bytes (1.0 ="
                " copy speed), best form %s;\nplain/best = time of the plain form / time of"
                " the best\n",
                zol::formName(zol::cpuForm()));
    std::printf("%-14s %8s %8s %8s %8s %8s | %10s %10s\n", "case", "add", "sub", "mul",
                "and", "lshift", "add p/b", "sub p/b");
    for (int kind = 0; kind < kNumKinds; ++kind)
        for (bool roi : {false, true}) {
            const std::string c = caseName(kind, roi);
            std::printf("%-14s", c.c_str());
            for (const char* op : kOpNames)
                bench::cell(bench::ratio(t, std::string(op) + "/" + c + "/best", "memcpy/" + c), 8);
            std::printf(" |");
            for (const char* op : {"zolAdd", "zolSubtract"}) {
                const std::string n = std::string(op) + "/" + c;
                bench::cell(bench::ratio(t, n + "/plain", n + "/best"), 10);
            }
            std::printf("\n");
        }
#ifdef ZOL_BENCH_OPENCV
    std::printf("\nOpenCV core: time / memcpy of the destination bytes\n");
    std::printf("%-14s %8s %8s %8s\n", "case", "add", "sub", "and");
    for (int kind = 0; kind < kNumKinds; ++kind)
        for (bool roi : {false, true}) {
            const std::string c = caseName(kind, roi);
            std::printf("%-14s", c.c_str());
            for (const char* op : {"zolAdd", "zolSubtract", "zolAnd"})
                bench::cell(bench::ratio(t, std::string("opencv_") + op + "/" + c, "memcpy/" + c), 8);
            std::printf("\n");
        }
#endif
});

}  // namespace
