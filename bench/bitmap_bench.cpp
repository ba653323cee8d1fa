// Depth conversion and bitmap import on 1920x1080 images. With OpenCV
// installed each stands beside Mat::convertTo or cv::cvtColor on one
// thread; a summary at exit gives the times and the ratio to the peer.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
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

std::map<std::string, double>& times() {
    static std::map<std::string, double> t;
    return t;
}

struct Pair {
    const char* name;
    int src, dst, channels;
#ifdef ZOL_BENCH_OPENCV_IMGPROC
    int cvSrc, cvDst;
#endif
};

#ifdef ZOL_BENCH_OPENCV_IMGPROC
#define CV(a, b) , a, b
#else
#define CV(a, b)
#endif

const Pair kPairs[] = {
    {"8u->16u", ZOL_DEPTH_8U, ZOL_DEPTH_16U, 1 CV(CV_8U, CV_16U)},
    {"16s->8u", ZOL_DEPTH_16S, ZOL_DEPTH_8U, 1 CV(CV_16S, CV_8U)},
    {"8u->32s", ZOL_DEPTH_8U, ZOL_DEPTH_32S, 1 CV(CV_8U, CV_32S)},
    {"16u->8u", ZOL_DEPTH_16U, ZOL_DEPTH_8U, 1 CV(CV_16U, CV_8U)},
    {"8u->16s", ZOL_DEPTH_8U, ZOL_DEPTH_16S, 1 CV(CV_8U, CV_16S)},
};

void benchConvert(benchmark::State& state, const Pair& p) {
    ZolImage* s = bench::randomImage(p.src, p.channels, 1);
    ZolImage* d = bench::randomImage(p.dst, p.channels, 2);
    if (!s || !d) return state.SkipWithError("no memory");
    bench::timed(state, times(), std::string("zol/") + p.name, [&] { zolConvert(s, d); });
    zolDeallocate(s, ZOL_FREE_HEADER | ZOL_FREE_DATA);
    zolDeallocate(d, ZOL_FREE_HEADER | ZOL_FREE_DATA);
}

// A packed bitmap of random pixels: header, masks or nothing, rows.
std::vector<uint64_t> randomDib(int bits) {
    const size_t row = size_t((kW * bits + 31) / 32 * 4);
    std::vector<uint64_t> store((40 + row * kH + 7) / 8);
    auto* h = reinterpret_cast<ZolBitmapInfoHeader*>(store.data());
    *h = ZolBitmapInfoHeader{40, kW, kH, 1, uint16_t(bits), ZOL_BI_RGB, uint32_t(row * kH), 0, 0, 0, 0};
    std::mt19937 g(7);
    auto* p = reinterpret_cast<uint8_t*>(store.data()) + 40;
    for (size_t i = 0; i < row * kH; ++i) p[i] = uint8_t(g());
    return store;
}

const char* const kImports[] = {"dib24->bgra", "dib16->bgr"};

void benchImport(benchmark::State& state, int which) {
    std::vector<uint64_t> dib = randomDib(which == 0 ? 24 : 16);
    ZolImage* d = bench::randomImage(ZOL_DEPTH_8U, which == 0 ? 4 : 3, 2);
    if (!d) return state.SkipWithError("no memory");
    std::memcpy(d->channelSeq, which == 0 ? "BGRA" : "BGR\0", 4);
    const auto* h = reinterpret_cast<const ZolBitmapInfoHeader*>(dib.data());
    bench::timed(state, times(), std::string("zol/") + kImports[which], [&] { zolConvertFromDIB(h, d); });
    zolDeallocate(d, ZOL_FREE_HEADER | ZOL_FREE_DATA);
}

#ifdef ZOL_BENCH_OPENCV_IMGPROC
void benchCvConvert(benchmark::State& state, const Pair& p) {
    cv::setNumThreads(1);
    cv::Mat s(kH, kW, p.cvSrc), d;
    cv::randu(s, 0, 255);
    bench::timed(state, times(), std::string("cv/") + p.name, [&] { s.convertTo(d, p.cvDst); });
}
void benchCvImport(benchmark::State& state, int which) {
    cv::setNumThreads(1);
    cv::Mat s(kH, kW, which == 0 ? CV_8UC3 : CV_8UC2), d;
    cv::randu(s, 0, 255);
    bench::timed(state, times(), std::string("cv/") + kImports[which], [&] {
        cv::cvtColor(s, d, which == 0 ? cv::COLOR_BGR2BGRA : cv::COLOR_BGR5552BGR);
    });
}
#endif

struct Registrar {
    Registrar() {
        for (const Pair& p : kPairs) {
            const std::string n = std::string("bitmap/convert/") + p.name;
            benchmark::RegisterBenchmark(n.c_str(), benchConvert, p)->Unit(benchmark::kMillisecond);
#ifdef ZOL_BENCH_OPENCV_IMGPROC
            benchmark::RegisterBenchmark((n + "/opencv").c_str(), benchCvConvert, p)->Unit(benchmark::kMillisecond);
#endif
        }
        for (int i = 0; i < 2; ++i) {
            const std::string n = std::string("bitmap/import/") + kImports[i];
            benchmark::RegisterBenchmark(n.c_str(), benchImport, i)->Unit(benchmark::kMillisecond);
#ifdef ZOL_BENCH_OPENCV_IMGPROC
            benchmark::RegisterBenchmark((n + "/opencv").c_str(), benchCvImport, i)->Unit(benchmark::kMillisecond);
#endif
        }
    }
};
const Registrar registrar;

struct Summary {
    Summary() { times(); }
    ~Summary() {
        const auto& t = times();
        if (t.empty()) return;
        std::printf("\nBitmaps and depth conversion, 1920x1080, thread CPU ms (ratio = libzol / OpenCV)\n");
        std::printf("%-12s %9s %9s %7s\n", "case", "libzol", "opencv", "ratio");
        std::vector<std::string> names;
        for (const Pair& p : kPairs) names.push_back(p.name);
        for (const char* n : kImports) names.push_back(n);
        for (const std::string& n : names) {
            const auto z = t.find("zol/" + n), c = t.find("cv/" + n);
            if (z == t.end()) continue;
            std::printf("%-12s %9.3f", n.c_str(), z->second * 1e3);
            if (c != t.end() && c->second > 0)
                std::printf(" %9.3f %7.2f\n", c->second * 1e3, z->second / c->second);
            else
                std::printf(" %9s %7s\n", "-", "-");
        }
        std::fflush(stdout);
    }
};
const Summary summary;

}  // namespace
