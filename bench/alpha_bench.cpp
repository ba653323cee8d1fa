// Scaled multiplication and compositing on 1920x1080 images, one thread.
// zolAlphaComposite runs in place (dst = A op dst) on premultiplied RGBA
// 8U: in plane order (the packed route) and in pixel order (the integer
// route); zolAlphaCompositeC with a constant source alpha; zolMultiplyScale
// on 8U with one channel. When pixman or OpenCV's core are installed, the
// matching operation runs beside each, and the summary at exit gives the
// ratio of times.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <random>
#include <string>

#include "common.h"
#include "zol.h"

#ifdef ZOL_BENCH_OPENCV
#include <opencv2/core.hpp>
#endif
#ifdef ZOL_BENCH_PIXMAN
#include <pixman.h>
#endif

namespace {

using bench::kH;
using bench::kW;

const char* const kOps[] = {"over", "in", "out", "atop", "xor", "plus"};

ZolImage* rgba(int order, unsigned seed) {
    static const char kModel[4] = {'R', 'G', 'B', 'A'};
    ZolImage* im = zolCreateImageHeader(4, 4, ZOL_DEPTH_8U, kModel, kModel, order, ZOL_ORIGIN_TL,
                                        ZOL_ALIGN_QWORD, kW, kH, nullptr, nullptr, nullptr,
                                        nullptr);
    if (!im) return nullptr;
    zolAllocateImage(im, 0, 0);
    std::mt19937 g(seed);
    for (int i = 0; im->imageData && i < im->imageSize; ++i) im->imageData[i] = char(g());
    return im;
}

struct Data {
    ZolImage* a[2] = {rgba(ZOL_DATA_ORDER_PIXEL, 1), rgba(ZOL_DATA_ORDER_PLANE, 2)};
    ZolImage* d[2] = {rgba(ZOL_DATA_ORDER_PIXEL, 3), rgba(ZOL_DATA_ORDER_PLANE, 4)};
    ZolImage* m[3] = {bench::randomImage(ZOL_DEPTH_8U, 1, 5),
                      bench::randomImage(ZOL_DEPTH_8U, 1, 6),
                      bench::randomImage(ZOL_DEPTH_8U, 1, 7)};
    bool ok() const { return a[0] && a[1] && d[0] && d[1] && m[0] && m[1] && m[2]; }
    ~Data() {
        for (ZolImage* im : {a[0], a[1], d[0], d[1], m[0], m[1], m[2]})
            if (im) zolDeallocate(im, ZOL_FREE_HEADER | ZOL_FREE_DATA);
    }
};

Data& data() {
    static Data d;
    return d;
}

using bench::times;

// bench::timed, keeping the least time over repetitions: the machine is
// shared, and the least is the run least disturbed.
template <class Body>
void timedMin(benchmark::State& state, const std::string& name, Body body) {
    std::map<std::string, double> one;
    bench::timed(state, one, name, body);
    auto& t = times();
    if (one.count(name) && (!t.count(name) || one[name] < t[name])) t[name] = one[name];
}

// plane: 1 plane order (packed route), 0 pixel order (integer route).
void benchComposite(benchmark::State& state, int op, int plane) {
    zolSetErrMode(ZOL_ErrModeParent);
    if (!data().ok()) return state.SkipWithError("cannot allocate the images");
    ZolImage* a = data().a[plane];
    ZolImage* d = data().d[plane];
    zolSetErrStatus(0);
    timedMin(state, std::string(kOps[op]) + (plane ? "/plane" : "/pixel"),
                 [&] { zolAlphaComposite(a, d, d, op, nullptr, nullptr, nullptr, 1, 0); });
    if (zolGetErrStatus() < 0) state.SkipWithError(zolErrorStr(zolGetErrStatus()));
}

void benchCompositeC(benchmark::State& state) {
    zolSetErrMode(ZOL_ErrModeParent);
    if (!data().ok()) return state.SkipWithError("cannot allocate the images");
    ZolImage* a = data().a[0];
    ZolImage* d = data().d[0];
    timedMin(state, "overC/pixel", [&] {
        zolAlphaCompositeC(a, d, d, ZOL_COMPOSITE_OVER, 128, -1, 1, 0);
    });
}

void benchMulScale(benchmark::State& state) {
    zolSetErrMode(ZOL_ErrModeParent);
    if (!data().ok()) return state.SkipWithError("cannot allocate the images");
    timedMin(state, "mulscale",
                 [&] { zolMultiplyScale(data().m[0], data().m[1], data().m[2]); });
}

#ifdef ZOL_BENCH_PIXMAN
const pixman_op_t kPixmanOps[] = {PIXMAN_OP_OVER, PIXMAN_OP_IN,  PIXMAN_OP_OUT,
                                  PIXMAN_OP_ATOP, PIXMAN_OP_XOR, PIXMAN_OP_ADD};

// op 6: OVER through a solid mask, beside zolAlphaCompositeC.
void benchPixman(benchmark::State& state, int op) {
    if (!data().ok()) return state.SkipWithError("cannot allocate the images");
    auto wrap = [](ZolImage* im) {
        return pixman_image_create_bits(PIXMAN_a8r8g8b8, kW, kH,
                                        reinterpret_cast<uint32_t*>(im->imageData), im->widthStep);
    };
    pixman_image_t* src = wrap(data().a[0]);
    pixman_image_t* dst = wrap(data().d[0]);
    pixman_color_t half = {0x8080, 0x8080, 0x8080, 0x8080};
    pixman_image_t* mask = op == 6 ? pixman_image_create_solid_fill(&half) : nullptr;
    const pixman_op_t pop = op == 6 ? PIXMAN_OP_OVER : kPixmanOps[op];
    timedMin(state, std::string("pixman/") + (op == 6 ? "overC" : kOps[op]), [&] {
        pixman_image_composite32(pop, src, mask, dst, 0, 0, 0, 0, 0, 0, kW, kH);
    });
    if (mask) pixman_image_unref(mask);
    pixman_image_unref(src);
    pixman_image_unref(dst);
}
#endif

#ifdef ZOL_BENCH_OPENCV
void benchOpenCv(benchmark::State& state) {
    if (!data().ok()) return state.SkipWithError("cannot allocate the images");
    auto mat = [](ZolImage* im) {
        return cv::Mat(kH, kW, CV_8UC1, im->imageData, size_t(im->widthStep));
    };
    cv::Mat a = mat(data().m[0]), b = mat(data().m[1]), d = mat(data().m[2]);
    timedMin(state, "opencv/mulscale", [&] { cv::multiply(a, b, d, 1.0 / 255); });
}
#endif

struct Registrar {
    Registrar() {
        for (int op = 0; op < 6; ++op) {
            for (int plane : {1, 0})
                benchmark::RegisterBenchmark((std::string("alpha/zolAlphaComposite/") + kOps[op] +
                                              (plane ? "/plane" : "/pixel"))
                                                 .c_str(),
                                             benchComposite, op, plane)
                    ->Unit(benchmark::kMicrosecond);
#ifdef ZOL_BENCH_PIXMAN
            benchmark::RegisterBenchmark((std::string("alpha/pixman/") + kOps[op]).c_str(),
                                         benchPixman, op)
                ->Unit(benchmark::kMicrosecond);
#endif
        }
        benchmark::RegisterBenchmark("alpha/zolAlphaCompositeC/over", benchCompositeC)
            ->Unit(benchmark::kMicrosecond);
#ifdef ZOL_BENCH_PIXMAN
        benchmark::RegisterBenchmark("alpha/pixman/over_solid_mask", benchPixman, 6)
            ->Unit(benchmark::kMicrosecond);
#endif
        benchmark::RegisterBenchmark("alpha/zolMultiplyScale/8u_c1", benchMulScale)
            ->Unit(benchmark::kMicrosecond);
#ifdef ZOL_BENCH_OPENCV
        benchmark::RegisterBenchmark("alpha/opencv/multiply_scaled", benchOpenCv)
            ->Unit(benchmark::kMicrosecond);
#endif
    }
};
const Registrar registrar;

const bench::AtEnd summary(times(), [](const bench::Times& t) {
    if (t.find("mulscale") == t.end() && t.find("over/plane") == t.end()) return;
    const bench::RatioTable table{28, 9, 3, 7};
    auto row = [&](const char* name, const std::string& zol, const std::string& peer) {
        table.row(name, bench::seconds(t, zol), bench::seconds(t, peer));
    };
    std::printf("\nCompositing and scaled multiplication, ms of thread CPU time per call,"
                " 1920x1080, in place;\npeer: pixman on a8r8g8b8, OpenCV cv::multiply;"
                " ratio = zol / peer\n");
    table.head("zol ms", "peer ms");
    for (int op = 0; op < 6; ++op) {
        const std::string o = kOps[op];
        row(("composite " + o + " plane").c_str(), o + "/plane", "pixman/" + o);
        row(("composite " + o + " pixel").c_str(), o + "/pixel", "pixman/" + o);
    }
    row("compositeC over pixel", "overC/pixel", "pixman/overC");
    row("multiplyScale 8u_c1", "mulscale", "opencv/mulscale");
});

}  // namespace
