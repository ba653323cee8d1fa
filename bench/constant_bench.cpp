// The constant and monadic arithmetic on whole 1920x1080 images, one
// thread: zolAddS, zolSubtractS with flip and zolMultiplyS on 8U with one
// and three channels, the float forms on 32F, zolAbs on 16S; each with the
// best kernel form and with the plain one, beside memcpy of the
// destination's bytes. A summary at exit gives each time over memcpy's and
// the plain form's over the best's.
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

struct Kind {
    const char* name;
    int depth, channels;
};
enum KindIndex { k8u1, k8u3, k16s1, k32f1, kNumKinds };
const Kind kKinds[kNumKinds] = {{"8u_c1", ZOL_DEPTH_8U, 1},
                                {"8u_c3", ZOL_DEPTH_8U, 3},
                                {"16s_c1", ZOL_DEPTH_16S, 1},
                                {"32f_c1", ZOL_DEPTH_32F, 1}};

// The constants keep every call off the short cuts: 300 with flip is the
// 8U difference whose result can reach both limits.
enum class Op { AddS, SubSFlip, MulS, AddSFP, SubSFP, MulSFP, Abs };
const struct {
    Op op;
    const char* name;
    int kinds[2];  // -1: none
} kCases[] = {
    {Op::AddS, "zolAddS", {k8u1, k8u3}},        {Op::SubSFlip, "zolSubtractS_flip", {k8u1, k8u3}},
    {Op::MulS, "zolMultiplyS", {k8u1, k8u3}},   {Op::AddSFP, "zolAddSFP", {k32f1, -1}},
    {Op::SubSFP, "zolSubtractSFP", {k32f1, -1}}, {Op::MulSFP, "zolMultiplySFP", {k32f1, -1}},
    {Op::Abs, "zolAbs", {k16s1, -1}},
};

ZolImage* image(const Kind& k, unsigned seed) { return bench::randomImage(k.depth, k.channels, seed); }

struct Data {
    ZolImage* src[kNumKinds] = {};
    ZolImage* dst[kNumKinds] = {};
    std::vector<char> from = std::vector<char>(size_t(kW) * kH * 4, 1);
    std::vector<char> to = std::vector<char>(size_t(kW) * kH * 4, 2);
    bool ok = true;

    Data() {
        for (int i = 0; i < kNumKinds; ++i) {
            src[i] = image(kKinds[i], 40 + unsigned(i));
            dst[i] = image(kKinds[i], 50 + unsigned(i));
            ok = ok && src[i] && dst[i];
        }
    }
    ~Data() {
        for (int i = 0; i < kNumKinds; ++i)
            for (ZolImage* im : {src[i], dst[i]}) zolDeallocate(im, ZOL_FREE_HEADER | ZOL_FREE_DATA);
    }
};

Data& data() {
    static Data d;
    return d;
}

// Thread CPU seconds per iteration of each benchmark's last run: on a
// shared machine less disturbed than the wall clock.
using bench::times;

int64_t bytesOf(int kind) {
    const Kind& k = kKinds[kind];
    return int64_t(kW) * kH * k.channels * ((k.depth & 0xFF) / 8);
}

std::string caseName(const char* op, int kind) { return std::string(op) + "/" + kKinds[kind].name; }

void run(Op op, ZolImage* s, ZolImage* d) {
    switch (op) {
        case Op::AddS: return zolAddS(s, d, 37);
        case Op::SubSFlip: return zolSubtractS(s, d, 300, 1);
        case Op::MulS: return zolMultiplyS(s, d, 3);
        case Op::AddSFP: return zolAddSFP(s, d, 1.5f);
        case Op::SubSFP: return zolSubtractSFP(s, d, 1.5f, 0);
        case Op::MulSFP: return zolMultiplySFP(s, d, 1.5f);
        case Op::Abs: return zolAbs(s, d);
    }
}

void benchOp(benchmark::State& state, int c, int kind, bool plain) {
    zolSetErrMode(ZOL_ErrModeParent);
    if (!data().ok) return state.SkipWithError("cannot allocate the images");
    zol::setFormCap(plain ? zol::Form::Plain : zol::cpuForm());
    zolSetErrStatus(0);
    ZolImage* s = data().src[kind];
    ZolImage* d = data().dst[kind];
    bench::timed(state, times(), caseName(kCases[c].name, kind) + (plain ? "/plain" : "/best"),
          [&] { run(kCases[c].op, s, d); });
    zol::setFormCap(zol::cpuForm());
    if (zolGetErrStatus() < 0) state.SkipWithError(zolErrorStr(zolGetErrStatus()));
    state.SetBytesProcessed(state.iterations() * bytesOf(kind));
}

void benchMemcpy(benchmark::State& state, int kind) {
    const size_t bytes = size_t(bytesOf(kind));
    char* from = data().from.data();
    char* to = data().to.data();
    bench::timed(state, times(), caseName("memcpy", kind), [&] { std::memcpy(to, from, bytes); });
    state.SetBytesProcessed(state.iterations() * int64_t(bytes));
}

#ifdef ZOL_BENCH_OPENCV
// The nearest operations of OpenCV's core (its rounding and saturation
// differ in places; only the time is compared).
void benchOpenCv(benchmark::State& state, int c, int kind) {
    if (!data().ok) return state.SkipWithError("cannot allocate the images");
    const Kind& k = kKinds[kind];
    const int depth = k.depth == ZOL_DEPTH_8U ? CV_8U : k.depth == ZOL_DEPTH_16S ? CV_16S : CV_32F;
    const int type = CV_MAKETYPE(depth, k.channels);
    cv::Mat s(kH, kW, type, data().src[kind]->imageData, size_t(data().src[kind]->widthStep));
    cv::Mat d(kH, kW, type, data().dst[kind]->imageData, size_t(data().dst[kind]->widthStep));
    const Op op = kCases[c].op;
    const double v = op == Op::AddS ? 37 : op == Op::SubSFlip ? 300 : op == Op::MulS ? 3 : 1.5;
    bench::timed(state, times(), "opencv_" + caseName(kCases[c].name, kind), [&] {
        switch (op) {
            case Op::AddS:
            case Op::AddSFP: return cv::add(s, cv::Scalar::all(v), d);
            case Op::SubSFlip: return cv::subtract(cv::Scalar::all(v), s, d);
            case Op::SubSFP: return cv::subtract(s, cv::Scalar::all(v), d);
            case Op::MulS:
            case Op::MulSFP: return cv::multiply(s, cv::Scalar::all(v), d);
            case Op::Abs: d = cv::abs(s); return;
        }
    });
    state.SetBytesProcessed(state.iterations() * bytesOf(kind));
}
#endif

struct Registrar {
    Registrar() {
        for (int kind = 0; kind < kNumKinds; ++kind)
            benchmark::RegisterBenchmark(("constant/" + caseName("memcpy", kind)).c_str(),
                                         benchMemcpy, kind)
                ->Unit(benchmark::kMicrosecond);
        for (int c = 0; c < int(std::size(kCases)); ++c)
            for (const int kind : kCases[c].kinds) {
                if (kind < 0) continue;
                const std::string n = "constant/" + caseName(kCases[c].name, kind);
                for (const bool plain : {false, true})
                    benchmark::RegisterBenchmark((n + (plain ? "/plain" : "/best")).c_str(),
                                                 benchOp, c, kind, plain)
                        ->Unit(benchmark::kMicrosecond);
#ifdef ZOL_BENCH_OPENCV
                benchmark::RegisterBenchmark((n + "/opencv").c_str(), benchOpenCv, c, kind)
                    ->Unit(benchmark::kMicrosecond);
#endif
            }
    }
};
const Registrar registrar;

// Printed when the program ends, after the benchmark run.
const bench::AtEnd summary(times(), [](const bench::Times& t) {
    if (t.empty()) return;
    auto cell = [&](const std::string& x, const std::string& y) { bench::cell(bench::ratio(t, x, y), 10); };
    std::printf("\nConstant arithmetic, thread CPU time / memcpy's of the destination bytes"
                " (1.0 = copy speed), best form %s\n",
                zol::formName(zol::cpuForm()));
    std::printf("%-26s %10s %10s %10s", "case", "best", "plain", "plain/best");
#ifdef ZOL_BENCH_OPENCV
    std::printf(" %10s", "opencv");
#endif
    std::printf("\n");
    for (const auto& c : kCases)
        for (const int kind : c.kinds) {
            if (kind < 0) continue;
            const std::string n = caseName(c.name, kind), copy = caseName("memcpy", kind);
            std::printf("%-26s", n.c_str());
            cell(n + "/best", copy);
            cell(n + "/plain", copy);
            cell(n + "/plain", n + "/best");
#ifdef ZOL_BENCH_OPENCV
            cell("opencv_" + n, copy);
#endif
            std::printf("\n");
        }
});

}  // namespace
