// Dyadic arithmetic: the element functions against a 64-bit and double
// model, every kernel form against the plain one, the whole call frame,
// the 1-bit diversions, the checks and their messages.
#include <gtest/gtest.h>

#include <cfloat>
#include <climits>
#include <cmath>
#include <cstring>
#include <random>

#include "arith/dyadic.h"
#include "core/simd.h"
#include "frames.h"
#include "kit.h"

namespace {

using kit::Image;
using zol::DyOp;
using PairFn = void (*)(ZolImage*, ZolImage*, ZolImage*);
const std::pair<PairFn, DyOp> kOps[] = {
    {zolAdd, DyOp::Add}, {zolSubtract, DyOp::Sub}, {zolMultiply, DyOp::Mul}};

uint32_t bitsOf(float f) {
    uint32_t u;
    return std::memcpy(&u, &f, 4), u;
}
float floatOf(int64_t bits) {
    const uint32_t u = uint32_t(bits);
    float f;
    return std::memcpy(&f, &u, 4), f;
}
template <class T>
int64_t raw(T v) {
    if constexpr (std::is_same_v<T, float>) return bitsOf(v);
    else return v;
}

// Values as kit::get gives them: bits for 32F, 0/1 for 1U. Double holds
// products exactly, and sums closely enough that the second rounding to
// float gives the single-precision result; a NaN comes out quieted, A's first.
int64_t model(DyOp op, int depth, int64_t a, int64_t b) {
    if (depth == ZOL_DEPTH_1U) return op == DyOp::Add ? a | b : op == DyOp::Sub ? a & ~b & 1 : a & b;
    if (depth == ZOL_DEPTH_32F) {
        const double x = floatOf(a), y = floatOf(b);
        if (std::isnan(x) || std::isnan(y)) return (std::isnan(x) ? a : b) | 0x00400000;
        return bitsOf(float(op == DyOp::Add ? x + y : op == DyOp::Sub ? x - y : x * y));
    }
    const int bits = depth & 0xFF;
    const int64_t lo = depth < 0 ? -(int64_t(1) << (bits - 1)) : 0;
    const int64_t hi = depth < 0 ? -lo - 1 : (int64_t(1) << bits) - 1;
    return std::clamp(op == DyOp::Add ? a + b : op == DyOp::Sub ? a - b : a * b, lo, hi);
}

// Every operation, by the plain kernels and those of the active form, over
// all pairs of the given values and then `randoms` random pairs.
template <class T>
void checkPairs(int depth, const std::vector<T>& values, int randoms, uint32_t seed) {
    std::vector<T> a, b;
    for (T x : values)
        for (T y : values) a.push_back(x), b.push_back(y);
    std::mt19937 g(seed);
    for (int i = 0; i < randoms; ++i) {
        const uint32_t u[2] = {uint32_t(g()), uint32_t(g())};
        std::memcpy(&a.emplace_back(), &u[0], sizeof(T)), std::memcpy(&b.emplace_back(), &u[1], sizeof(T));
    }
    const int row = zol::dyDepthOf<T>();
    for (int op = 0; op < zol::kDyOps; ++op)
        for (auto fn : {zol::kPlainDyadic[row][op], zol::dyadicKernels().run[row][op]}) {
            std::vector<T> d(a.size());
            fn(a.data(), b.data(), d.data(), a.size());
            for (size_t i = 0; i < a.size(); ++i)
                ASSERT_EQ(model(DyOp(op), depth, raw(a[i]), raw(b[i])), raw(d[i]))
                    << kit::depthName(depth) << " op " << op << ": " << raw(a[i]) << ", " << raw(b[i]);
        }
}

}  // namespace

// Every pair of 8-bit values; the wider depths at all pairs of their
// boundary values and at random pairs.
TEST(DyadicElements, MatchModel) {
    std::vector<uint8_t> all(256);
    for (int i = 0; i < 256; ++i) all[size_t(i)] = uint8_t(i);
    checkPairs(ZOL_DEPTH_8U, all, 0, 0);
    checkPairs(ZOL_DEPTH_8S, std::vector<int8_t>(all.begin(), all.end()), 0, 0);
    checkPairs<uint16_t>(ZOL_DEPTH_16U, {0, 1, 2, 255, 256, 257, 32767, 32768, 65534, 65535}, 20000, 1);
    checkPairs<int16_t>(ZOL_DEPTH_16S, {-32768, -32767, -182, -181, -1, 0, 1, 181, 182, 32767}, 20000, 2);
    checkPairs<int32_t>(ZOL_DEPTH_32S, {INT_MIN, INT_MIN + 1, -46341, -46340, -1, 0, 1, 2, 46340, 46341,
                                        65536, INT_MAX - 1, INT_MAX}, 20000, 3);
    std::vector<float> f = {0.0f, -0.0f, 1.0f, -1.0f, 0.1f, 3.0f, 16777216.0f, 1e20f, 1e-20f, FLT_MAX,
                            -FLT_MAX, FLT_MIN, FLT_TRUE_MIN, -FLT_TRUE_MIN, INFINITY, -INFINITY};
    for (uint32_t nan : {0x7FC00001u, 0x7F800001u, 0xFFC00002u, 0xFF812345u}) f.push_back(floatOf(nan));
    checkPairs<float>(ZOL_DEPTH_32F, f, 20000, 4);
}

// Random frames: ROIs, coi, alpha, up to three masks, tiles, in-place use;
// 1-bit sums and products go through zolOr and zolAnd. Then whole, alike,
// unmasked images, which run one loop over the blocks, padding included
// (the harness compares pixels only): rows of 5 pixels (13 bits) on 8-byte
// steps give every depth padding.
TEST(DyadicFrames, MatchModelAndFlatPassCoversPadding) {
    kit::FrameOptions o;
    o.depths = kit::allDepths();
    o.cases = 350;
    for (const auto& [fn, op] : kOps) {
        o.seed += 1000;
        kit::checkFrames(kit::BinaryOp(fn), [op = op](int depth, const int64_t* v) {
            return model(op, depth, v[0], v[1]);
        }, o);
        for (const int depth : kit::allDepths()) {
            if (depth == ZOL_DEPTH_1U && op != DyOp::Sub) continue;
            SCOPED_TRACE(testing::Message() << kit::depthName(depth) << " op " << int(op));
            const int w = depth == ZOL_DEPTH_1U ? 13 : 5, q = ZOL_ALIGN_QWORD, p = ZOL_DATA_ORDER_PIXEL;
            Image im[3] = {{depth, 1, w, 3, p, q}, {depth, 1, w, 3, p, q}, {depth, 1, w, 3, p, q}};
            for (Image& i : im) i.randomize(++o.seed);
            fn(im[0], im[1], im[2]);
            ZolImage flat[3];  // the blocks as one row of elements (bytes, for 1U)
            for (int i = 0; i < 3; ++i) {
                flat[i] = *im[i].get();
                flat[i].depth = depth == ZOL_DEPTH_1U ? ZOL_DEPTH_8U : depth;
                flat[i].width = im[i]->imageSize / std::max(1, (depth & 0xFF) / 8);
            }
            for (int i = 0; i < flat[2].width; ++i) {
                const int64_t x = kit::get(&flat[0], i, 0, 0), y = kit::get(&flat[1], i, 0, 0);
                ASSERT_EQ(depth == ZOL_DEPTH_1U ? (x & ~y & 0xFF) : model(op, depth, x, y),
                          kit::get(&flat[2], i, 0, 0)) << "element " << i;
            }
        }
    }
}

// Faults are reported before anything is written: A before B at each step,
// in the function's own name, or in that of zolOr / zolAnd for 1-bit sums
// and products; a null A is refused before the diversion. Status 0: silent.
TEST(DyadicChecks, ReportInOrderAndWriteNothing) {
    Image a(ZOL_DEPTH_8U, 3, 4, 4), b(ZOL_DEPTH_8U, 3, 4, 4), d(ZOL_DEPTH_8U, 3, 4, 4);
    Image a16(ZOL_DEPTH_16U, 3, 4, 4), plane(ZOL_DEPTH_8U, 3, 4, 4, ZOL_DATA_ORDER_PLANE);
    Image gray(ZOL_DEPTH_8U, 1, 4, 4), bits(ZOL_DEPTH_1U, 1, 9, 2), bitsOut(ZOL_DEPTH_1U, 1, 9, 2),
        bitsPlane(ZOL_DEPTH_1U, 1, 9, 2, ZOL_DATA_ORDER_PLANE);
    d.randomize(1);
    bitsOut.randomize(2);
    const char *const kInc = "Incorrect Image", *const kAdd = "zolAdd", *const kSub = "zolSubtract",
                      *const kMul = "zolMultiply";
    const int kNull = ZOL_STATUS_NULL_HEADER, kBad = ZOL_STATUS_BAD_ARGUMENT;
    const struct {
        PairFn fn;
        ZolImage *a, *b, *d;
        int status;
        const char *func, *context;
    } rows[] = {
        {zolAdd, nullptr, b, d, kBad, kAdd, "srcImageA==0"},
        {zolSubtract, nullptr, b, d, kNull, kSub, kInc},
        {zolMultiply, nullptr, b, d, kBad, kMul, "srcImageA==0"},
        {zolAdd, a, nullptr, d, kNull, kAdd, kInc},
        {zolSubtract, a, b, nullptr, kNull, kSub, kInc},
        {zolMultiply, a16, a16, d, kBad, kMul, "(srcImageA->depth != dstImage->depth)"},
        {zolAdd, a, a16, d, kBad, kAdd, "(srcImageB->depth != dstImage->depth)"},
        {zolSubtract, plane, plane, d, kBad, kSub, "(srcImageA->dataOrder != dstImage->dataOrder)"},
        {zolMultiply, a, plane, d, kBad, kMul, "(srcImageB->dataOrder != dstImage->dataOrder)"},
        {zolAdd, gray, gray, d, kBad, kAdd, "(nChSrcA != nChDst)"},
        {zolSubtract, a, gray, d, kBad, kSub, "(nChSrcB != nChDst)"},
        {zolAdd, bits, nullptr, bitsOut, kNull, "zolOr", kInc},
        {zolAdd, bits, bits, nullptr, kNull, "zolOr", kInc},
        {zolSubtract, bits, nullptr, bitsOut, kNull, kSub, kInc},
        {zolMultiply, bits, nullptr, bitsOut, kNull, "zolAnd", kInc},
        {zolMultiply, bits, bits, nullptr, kNull, "zolAnd", kInc},
        {zolSubtract, bits, bitsPlane, bitsOut, 0, "", ""},  // 1-bit orders may differ
    };
    for (size_t i = 0; i < std::size(rows); ++i) {
        const auto& r = rows[i];
        const auto before = d.bytes(), bitsBefore = bitsOut.bytes();
        kit::Recorder rec;
        r.fn(r.a, r.b, r.d);
        EXPECT_TRUE(r.status ? rec.only(r.status, r.func, r.context) : rec.none()) << "row " << i;
        if (r.status) {
            EXPECT_EQ(before, d.bytes()) << "row " << i;
            EXPECT_EQ(bitsBefore, bitsOut.bytes()) << "row " << i;
        }
    }
}
