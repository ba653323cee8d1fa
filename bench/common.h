// What the benchmarks of every family share: 1920x1080 images of random
// contents made with the library's own calls, and timing by thread CPU time.
#pragma once

#include <benchmark/benchmark.h>
#include <time.h>

#include <cstdio>
#include <functional>
#include <map>
#include <random>
#include <string>

#include "zol.h"

namespace bench {

constexpr int kW = 1920, kH = 1080;

// A new pixel-order image of w x h whose region is its whole, or NULL;
// zeroed when clear is set, of whatever the allocator left otherwise.
inline ZolImage* newImage(int depth, int channels, int w, int h, bool clear = false) {
    static const char kModel[4] = {'B', 'E', 'N', 'C'};
    ZolImage* im = zolCreateImageHeader(channels, 0, depth, kModel, kModel, ZOL_DATA_ORDER_PIXEL,
                                        ZOL_ORIGIN_TL, ZOL_ALIGN_DWORD, w, h, nullptr, nullptr,
                                        nullptr, nullptr);
    if (!im) return nullptr;
    if (depth == ZOL_DEPTH_32F) zolAllocateImageFP(im, clear, 0.0f);
    else zolAllocateImage(im, clear, 0);
    if (!im->imageData) {
        zolDeallocate(im, ZOL_FREE_HEADER);
        return nullptr;
    }
    return im;
}

// A new kW x kH image of random contents, or NULL. Float images get
// ordinary numbers: random bits would bring denormals and their slow paths
// into the timing.
inline ZolImage* randomImage(int depth, int channels, unsigned seed) {
    ZolImage* im = newImage(depth, channels, kW, kH);
    if (!im) return nullptr;
    std::mt19937 g(seed);
    if (depth == ZOL_DEPTH_32F) {
        std::uniform_real_distribution<float> u(-1000.0f, 1000.0f);
        auto* p = reinterpret_cast<float*>(im->imageData);
        for (int i = 0; i < im->imageSize / 4; ++i) p[i] = u(g);
    } else {
        for (int i = 0; i < im->imageSize; ++i) im->imageData[i] = char(g());
    }
    return im;
}

// Runs the benchmark loop and stores the thread CPU seconds per iteration
// of this run under name: on a shared machine less disturbed than the wall
// clock.
template <class Body>
void timed(benchmark::State& state, std::map<std::string, double>& into,
           const std::string& name, Body body) {
    auto now = [] {
        timespec t;
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
        return double(t.tv_sec) + 1e-9 * double(t.tv_nsec);
    };
    const double start = now();
    for (auto _ : state) {
        body();
        benchmark::ClobberMemory();
    }
    if (state.iterations() > 0) into[name] = (now() - start) / double(state.iterations());
}

// Thread CPU seconds per iteration, by run name.
using Times = std::map<std::string, double>;

namespace {
// The table of times of the source that includes this: each family has its
// own, so one family's run names never reach another's summary.
inline Times& times() {
    static Times t;
    return t;
}
}  // namespace

// Registers a benchmark reported in milliseconds.
template <class Fn, class... Args>
void add(const std::string& name, Fn fn, Args... args) {
    benchmark::RegisterBenchmark(name.c_str(), fn, args...)->Unit(benchmark::kMillisecond);
}

// Runs print when the program ends, after the benchmark run. Takes the
// family's table of times so that the table is made first and outlives it.
class AtEnd {
public:
    AtEnd(const Times& t, std::function<void(const Times&)> print) : t_(t), print_(std::move(print)) {}
    ~AtEnd() {
        print_(t_);
        std::fflush(stdout);
    }

private:
    const Times& t_;
    std::function<void(const Times&)> print_;
};

// Seconds stored under name, or -1 when that run did not happen.
inline double seconds(const Times& t, const std::string& name) {
    const auto i = t.find(name);
    return i == t.end() ? -1.0 : i->second;
}

// Time of run x over time of run y, or -1 when either is missing.
inline double ratio(const Times& t, const std::string& x, const std::string& y) {
    const auto i = t.find(x), j = t.find(y);
    return i == t.end() || j == t.end() || j->second <= 0 ? -1.0 : i->second / j->second;
}

// One right-aligned cell of a ratio column: "-" for a missing value.
inline void cell(double v, int width) {
    if (v < 0) std::printf(" %*s", width, "-");
    else std::printf(" %*.2f", width, v);
}

// A table of library times beside a peer's, in milliseconds, with the
// ratio library / peer; "-" where the peer did not run.
struct RatioTable {
    int label, width, digits, ratioWidth;

    void head(const char* zol, const char* peer) const {
        std::printf("%-*s %*s %*s %*s\n", label, "case", width, zol, width, peer, ratioWidth, "ratio");
    }
    // Seconds in, negative for a run that did not happen.
    void row(const std::string& name, double zol, double peer) const {
        if (zol < 0) std::printf("%-*s %*s", label, name.c_str(), width, "-");
        else std::printf("%-*s %*.*f", label, name.c_str(), width, digits, zol * 1e3);
        if (peer > 0 && zol > 0)
            std::printf(" %*.*f %*.2f\n", width, digits, peer * 1e3, ratioWidth, zol / peer);
        else
            std::printf(" %*s %*s\n", width, "-", ratioWidth, "-");
    }
};

}  // namespace bench
