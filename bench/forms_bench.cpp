// The compute-heavy kernels in every form this CPU runs, side by side:
// 16S and 32S products, absolute values, 32F sums and products, and two
// 8U cases for scale. Each time is over memcpy's of the destination bytes
// (1.0 = copy speed); the summary prints one column per form.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "common.h"
#include "core/simd.h"
#include "zol.h"

namespace {

enum class Op { Add, Mul, MulS, Abs, AddS, MulSFP, AddSFP, And };

struct Case {
    const char* name;
    Op op;
    int depth;
};

const Case kCases[] = {
    {"zolMultiply/16s", Op::Mul, ZOL_DEPTH_16S},   {"zolMultiply/32s", Op::Mul, ZOL_DEPTH_32S},
    {"zolAbs/16s", Op::Abs, ZOL_DEPTH_16S},        {"zolAbs/32s", Op::Abs, ZOL_DEPTH_32S},
    {"zolAdd/32f", Op::Add, ZOL_DEPTH_32F},        {"zolMultiply/32f", Op::Mul, ZOL_DEPTH_32F},
    {"zolAddSFP/32f", Op::AddSFP, ZOL_DEPTH_32F},  {"zolMultiplySFP/32f", Op::MulSFP, ZOL_DEPTH_32F},
    {"zolAdd/8u", Op::Add, ZOL_DEPTH_8U},          {"zolMultiplyS/8u", Op::MulS, ZOL_DEPTH_8U},
    {"zolAnd/8u", Op::And, ZOL_DEPTH_8U},
};
constexpr int kDepths[] = {ZOL_DEPTH_8U, ZOL_DEPTH_16S, ZOL_DEPTH_32S, ZOL_DEPTH_32F};

int depthIndex(int depth) {
    for (int i = 0; i < 4; ++i)
        if (kDepths[i] == depth) return i;
    return 0;
}

int64_t bytesOf(int depth) { return int64_t(bench::kW) * bench::kH * (depth & 0xFF) / 8; }

struct Data {
    ZolImage* a[4] = {};
    ZolImage* b[4] = {};
    ZolImage* d[4] = {};
    std::vector<char> from, to;
    bool ok = true;
    Data() {
        for (int i = 0; i < 4; ++i) {
            a[i] = bench::randomImage(kDepths[i], 1, 100 + i);
            b[i] = bench::randomImage(kDepths[i], 1, 200 + i);
            d[i] = bench::randomImage(kDepths[i], 1, 300 + i);
            ok = ok && a[i] && b[i] && d[i];
        }
        from.assign(size_t(bytesOf(ZOL_DEPTH_32F)), 1);
        to.assign(from.size(), 2);
    }
};

Data& data() {
    static Data d;
    return d;
}

using bench::times;

void run(Op op, ZolImage* a, ZolImage* b, ZolImage* d) {
    switch (op) {
        case Op::Add: return zolAdd(a, b, d);
        case Op::Mul: return zolMultiply(a, b, d);
        case Op::MulS: return zolMultiplyS(a, d, 3);
        case Op::Abs: return zolAbs(a, d);
        case Op::AddS: return zolAddS(a, d, 37);
        case Op::MulSFP: return zolMultiplySFP(a, d, 1.5f);
        case Op::AddSFP: return zolAddSFP(a, d, 1.5f);
        case Op::And: return zolAnd(a, b, d);
    }
}

void benchForm(benchmark::State& state, int c, zol::Form form) {
    zolSetErrMode(ZOL_ErrModeParent);
    if (!data().ok) return state.SkipWithError("cannot allocate the images");
    const int i = depthIndex(kCases[c].depth);
    zol::setFormCap(form);
    zolSetErrStatus(0);
    bench::timed(state, times(), std::string(kCases[c].name) + "/" + zol::formName(form),
                 [&] { run(kCases[c].op, data().a[i], data().b[i], data().d[i]); });
    zol::setFormCap(zol::cpuForm());
    if (zolGetErrStatus() < 0) state.SkipWithError(zolErrorStr(zolGetErrStatus()));
    state.SetBytesProcessed(state.iterations() * bytesOf(kCases[c].depth));
}

void benchMemcpy(benchmark::State& state, int depth) {
    if (!data().ok) return state.SkipWithError("cannot allocate the images");  // made untimed
    const size_t bytes = size_t(bytesOf(depth));
    bench::timed(state, times(), std::string("memcpy/") + std::to_string(depth & 0xFF),
                 [&] { std::memcpy(data().to.data(), data().from.data(), bytes); });
    state.SetBytesProcessed(state.iterations() * int64_t(bytes));
}

std::vector<zol::Form> formsHere() {
    std::vector<zol::Form> f;
    for (int i = 0; i < zol::kForms; ++i)
        if (zol::formRuns(zol::Form(i))) f.push_back(zol::Form(i));
    return f;
}

struct Registrar {
    Registrar() {
        for (int bits : {8, 16, 32})
            benchmark::RegisterBenchmark(("forms/memcpy/" + std::to_string(bits)).c_str(),
                                         benchMemcpy, bits)
                ->Unit(benchmark::kMicrosecond);
        for (int c = 0; c < int(std::size(kCases)); ++c)
            for (zol::Form f : formsHere())
                benchmark::RegisterBenchmark(
                    (std::string("forms/") + kCases[c].name + "/" + zol::formName(f)).c_str(),
                    benchForm, c, f)
                    ->Unit(benchmark::kMicrosecond);
    }
};
const Registrar registrar;

const bench::AtEnd summary(times(), [](const bench::Times& t) {
    bool any = false;
    for (const auto& [name, time] : t) any = any || name.rfind("memcpy/", 0) != 0;
    if (!any) return;
    const std::vector<zol::Form> forms = formsHere();
    std::printf("\nKernel forms side by side, thread CPU time / memcpy's of the destination"
                " bytes (1.0 = copy speed)\n%-22s", "case");
    for (zol::Form f : forms) std::printf(" %8s", zol::formName(f));
    std::printf("\n");
    for (const Case& c : kCases) {
        std::printf("%-22s", c.name);
        const std::string m = "memcpy/" + std::to_string(c.depth & 0xFF);
        for (zol::Form f : forms)
            bench::cell(bench::ratio(t, std::string(c.name) + "/" + zol::formName(f), m), 8);
        std::printf("\n");
    }
});

}  // namespace
