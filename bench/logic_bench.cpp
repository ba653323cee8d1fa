// zolNot on a 1920x1080 8U image, one and three channels, over the whole
// image, a ROI with odd sizes and a random 1-bit mask; each with the best
// kernel form of this CPU and with the plain form. memcpy of the same number
// of bytes is the reference: a summary after the run gives zolNot / memcpy.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "core/simd.h"
#include "zol.h"

#ifdef ZOL_BENCH_OPENCV
#include <opencv2/core.hpp>
#endif

namespace {

constexpr int kWidth = 1920, kHeight = 1080;
constexpr int kRoiX = 3, kRoiY = 5, kRoiWidth = 1911, kRoiHeight = 1071;

enum class Region { Whole, Roi, Mask };
const char* regionName(Region r) {
    return r == Region::Whole ? "whole" : r == Region::Roi ? "roi" : "mask";
}

ZolImage* makeImage(int depth, int channels, unsigned seed) {
    static const char kGray[4] = {'G', 'R', 'A', 'Y'};
    static const char kRgb[4] = {'R', 'G', 'B', '\0'};
    const char* model = channels == 3 ? kRgb : kGray;
    ZolImage* image = zolCreateImageHeader(channels, 0, depth, model, model, ZOL_DATA_ORDER_PIXEL,
                                           ZOL_ORIGIN_TL, ZOL_ALIGN_DWORD, kWidth, kHeight,
                                           nullptr, nullptr, nullptr, nullptr);
    if (!image) return nullptr;
    zolAllocateImage(image, 0, 0);
    if (!image->imageData) {
        zolDeallocate(image, ZOL_FREE_HEADER);
        return nullptr;
    }
    std::mt19937 random(seed);
    for (int i = 0; i < image->imageSize; ++i) image->imageData[i] = char(random());
    return image;
}

// The images of every case, made once.
struct Data {
    ZolImage* src[2] = {};  // 1 and 3 channels
    ZolImage* dst[2] = {};
    ZolImage* mask = nullptr;
    ZolROI* roi = nullptr;
    std::vector<char> copyFrom, copyTo;
    bool ok = false;

    Data() {
        for (int i = 0; i < 2; ++i) {
            src[i] = makeImage(ZOL_DEPTH_8U, i ? 3 : 1, 10 + i);
            dst[i] = makeImage(ZOL_DEPTH_8U, i ? 3 : 1, 20 + i);
        }
        mask = makeImage(ZOL_DEPTH_1U, 1, 30);
        roi = zolCreateROI(0, kRoiX, kRoiY, kRoiWidth, kRoiHeight);
        copyFrom.assign(size_t(kWidth) * kHeight * 3, 1);
        copyTo.assign(copyFrom.size(), 2);
        ok = src[0] && src[1] && dst[0] && dst[1] && mask && roi;
    }
    ~Data() {
        for (int i = 0; i < 2; ++i) {
            zolDeallocate(src[i], ZOL_FREE_HEADER | ZOL_FREE_DATA);
            zolDeallocate(dst[i], ZOL_FREE_HEADER | ZOL_FREE_DATA);
        }
        zolDeallocate(mask, ZOL_FREE_HEADER | ZOL_FREE_DATA);
        zolDeleteROI(roi);
    }
};

Data& data() {
    static Data d;
    return d;
}

int64_t bytesOf(Region region, int channels) {
    const int64_t pixels =
        region == Region::Roi ? int64_t(kRoiWidth) * kRoiHeight : int64_t(kWidth) * kHeight;
    return pixels * channels;
}

// Hangs the case's ROI or mask on the images for the benchmark's lifetime.
struct Setup {
    ZolImage* src;
    ZolImage* dst;
    Setup(Region region, int c) : src(data().src[c]), dst(data().dst[c]) {
        if (region == Region::Roi) src->roi = dst->roi = data().roi;
        if (region == Region::Mask) src->maskROI = data().mask;
    }
    ~Setup() {
        src->roi = dst->roi = nullptr;
        src->maskROI = nullptr;
    }
};

void benchNot(benchmark::State& state, Region region, int c, bool plain) {
    if (!data().ok) return state.SkipWithError("cannot allocate the images");
    Setup s(region, c);
    zol::setFormCap(plain ? zol::Form::Plain : zol::cpuForm());
    zolSetErrStatus(0);
    for (auto _ : state) {
        zolNot(s.src, s.dst);
        benchmark::ClobberMemory();
    }
    zol::setFormCap(zol::cpuForm());
    if (zolGetErrStatus() < 0) state.SkipWithError(zolErrorStr(zolGetErrStatus()));
    state.SetBytesProcessed(state.iterations() * bytesOf(region, c ? 3 : 1));
}

void benchMemcpy(benchmark::State& state, Region region, int c) {
    const size_t bytes = size_t(bytesOf(region, c ? 3 : 1));
    char* from = data().copyFrom.data();
    char* to = data().copyTo.data();
    for (auto _ : state) {
        std::memcpy(to, from, bytes);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * int64_t(bytes));
}

#ifdef ZOL_BENCH_OPENCV
void benchOpenCv(benchmark::State& state, Region region, int c) {
    if (!data().ok) return state.SkipWithError("cannot allocate the images");
    const int type = CV_8UC(c ? 3 : 1);
    cv::Mat src(kHeight, kWidth, type, data().src[c]->imageData, size_t(data().src[c]->widthStep));
    cv::Mat dst(kHeight, kWidth, type, data().dst[c]->imageData, size_t(data().dst[c]->widthStep));
    // The same random bits as the 1-bit mask, one byte per pixel.
    cv::Mat mask(kHeight, kWidth, CV_8UC1);
    const ZolImage* m = data().mask;
    for (int y = 0; y < kHeight; ++y)
        for (int x = 0; x < kWidth; ++x)
            mask.at<uint8_t>(y, x) =
                (uint8_t(m->imageData[y * m->widthStep + x / 8]) >> (7 - x % 8)) & 1 ? 255 : 0;
    const cv::Rect roi(kRoiX, kRoiY, kRoiWidth, kRoiHeight);
    for (auto _ : state) {
        if (region == Region::Whole) cv::bitwise_not(src, dst);
        else if (region == Region::Roi) {
            cv::Mat d = dst(roi);
            cv::bitwise_not(src(roi), d);
        } else cv::bitwise_not(src, dst, mask);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * bytesOf(region, c ? 3 : 1));
}
#endif

std::string caseName(Region region, int c) {
    return std::string(c ? "8u_c3/" : "8u_c1/") + regionName(region);
}

// Keeps the real time of every run for the summary.
class CollectingReporter : public benchmark::ConsoleReporter {
public:
    CollectingReporter() : ConsoleReporter(isatty(STDOUT_FILENO) ? OO_ColorTabular : OO_Tabular) {}
    std::map<std::string, double> realTime;
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs)
            if (run.run_type == Run::RT_Iteration)
                realTime[run.benchmark_name()] = run.GetAdjustedRealTime();
        ConsoleReporter::ReportRuns(runs);
    }
};

void printSummary(const CollectingReporter& reporter) {
    const std::string best = zol::formName(zol::cpuForm());
    auto find = [&](const std::string& name) {
        auto it = reporter.realTime.find(name);
        return it == reporter.realTime.end() ? 0.0 : it->second;
    };
    std::printf("\nzolNot / memcpy of the same bytes (real time; 1.0 = copy speed)\n");
    std::printf("%-16s %10s %10s", "case", best.c_str(), "plain");
#ifdef ZOL_BENCH_OPENCV
    std::printf(" %10s", "opencv");
#endif
    std::printf("\n");
    for (int c = 0; c < 2; ++c)
        for (Region region : {Region::Whole, Region::Roi, Region::Mask}) {
            const std::string name = caseName(region, c);
            const double copy = find("memcpy/" + name);
            if (copy <= 0) continue;
            std::printf("%-16s", name.c_str());
            for (const char* form : {"best", "plain"}) {
                const double t = find("zolNot/" + name + "/" + form);
                if (t > 0) std::printf(" %10.2f", t / copy);
                else std::printf(" %10s", "-");
            }
#ifdef ZOL_BENCH_OPENCV
            const double cv = find("opencv_not/" + name);
            if (cv > 0) std::printf(" %10.2f", cv / copy);
            else std::printf(" %10s", "-");
#endif
            std::printf("\n");
        }
}

}  // namespace

int main(int argc, char** argv) {
    // A failed call must show in the results, not end the run.
    zolSetErrMode(ZOL_ErrModeParent);
    for (int c = 0; c < 2; ++c)
        for (Region region : {Region::Whole, Region::Roi, Region::Mask}) {
            const std::string name = caseName(region, c);
            benchmark::RegisterBenchmark(("memcpy/" + name).c_str(), benchMemcpy, region, c)
                ->Unit(benchmark::kMicrosecond);
            benchmark::RegisterBenchmark(("zolNot/" + name + "/best").c_str(), benchNot, region,
                                         c, false)
                ->Unit(benchmark::kMicrosecond);
            benchmark::RegisterBenchmark(("zolNot/" + name + "/plain").c_str(), benchNot, region,
                                         c, true)
                ->Unit(benchmark::kMicrosecond);
#ifdef ZOL_BENCH_OPENCV
            benchmark::RegisterBenchmark(("opencv_not/" + name).c_str(), benchOpenCv, region, c)
                ->Unit(benchmark::kMicrosecond);
#endif
        }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    CollectingReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    printSummary(reporter);
    benchmark::Shutdown();
    return 0;
}
