// What the benchmarks of every family share: 1920x1080 images of random
// contents made with the library's own calls, and timing by thread CPU time.
#pragma once

#include <benchmark/benchmark.h>
#include <time.h>

#include <map>
#include <random>
#include <string>

#include "zol.h"

namespace bench {

constexpr int kW = 1920, kH = 1080;

// A new pixel-order image of random contents, or NULL. Float images get
// ordinary numbers: random bits would bring denormals and their slow paths
// into the timing.
inline ZolImage* randomImage(int depth, int channels, unsigned seed) {
    static const char kModel[4] = {'B', 'E', 'N', 'C'};
    ZolImage* im = zolCreateImageHeader(channels, 0, depth, kModel, kModel, ZOL_DATA_ORDER_PIXEL,
                                        ZOL_ORIGIN_TL, ZOL_ALIGN_DWORD, kW, kH, nullptr, nullptr,
                                        nullptr, nullptr);
    if (!im) return nullptr;
    if (depth == ZOL_DEPTH_32F) zolAllocateImageFP(im, 0, 0.0f);
    else zolAllocateImage(im, 0, 0);
    if (!im->imageData) {
        zolDeallocate(im, ZOL_FREE_HEADER);
        return nullptr;
    }
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

}  // namespace bench
