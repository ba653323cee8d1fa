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
#include "core/cpu.h"
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
    std::memcpy(&u, &f, 4);
    return u;
}
float floatOf(int64_t bits) {
    const uint32_t u = uint32_t(bits);
    float f;
    std::memcpy(&f, &u, 4);
    return f;
}

// Values as kit::get gives them: bits for 32F, 0/1 for 1U.
int64_t model(DyOp op, int depth, int64_t a, int64_t b) {
    if (depth == ZOL_DEPTH_1U) return op == DyOp::Add ? a | b : op == DyOp::Sub ? a & ~b & 1 : a & b;
    if (depth == ZOL_DEPTH_32F) {
        const float x = floatOf(a), y = floatOf(b);
        if (std::isnan(x)) return bitsOf(x) | 0x00400000u;
        if (std::isnan(y)) return bitsOf(y) | 0x00400000u;
        // Double holds products exactly, and sums closely enough that the
        // second rounding to float gives the single-precision result.
        const double r = op == DyOp::Add   ? double(x) + double(y)
                         : op == DyOp::Sub ? double(x) - double(y)
                                           : double(x) * double(y);
        return bitsOf(float(r));
    }
    const int bits = depth & 0xFF;
    const int64_t lo = depth < 0 ? -(int64_t(1) << (bits - 1)) : 0;
    const int64_t hi = depth < 0 ? -lo - 1 : (int64_t(1) << bits) - 1;
    const int64_t r = op == DyOp::Add ? a + b : op == DyOp::Sub ? a - b : a * b;
    return std::min(hi, std::max(lo, r));
}

template <class T>
int64_t raw(T v) {
    if constexpr (std::is_same_v<T, float>) return bitsOf(v);
    else return v;
}

// Every operation over the pairs (a[i], b[i]), by the plain kernels and by
// those of the active form.
template <class T>
void checkPairs(int depth, const std::vector<T>& a, const std::vector<T>& b) {
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

// All pairs of the boundary values, then random pairs.
template <class T>
void checkWide(int depth, std::vector<T> edges, uint32_t seed) {
    std::vector<T> a, b;
    for (T x : edges)
        for (T y : edges) a.push_back(x), b.push_back(y);
    std::mt19937 g(seed);
    for (int i = 0; i < 20000; ++i) {
        const uint32_t u[2] = {uint32_t(g()), uint32_t(g())};
        a.emplace_back(), b.emplace_back();
        std::memcpy(&a.back(), &u[0], sizeof(T));
        std::memcpy(&b.back(), &u[1], sizeof(T));
    }
    checkPairs(depth, a, b);
}

}  // namespace

// Every pair of 8-bit values; the wider depths at all pairs of their
// boundary values and at random pairs.
TEST(DyadicElements, MatchModel) {
    std::vector<uint8_t> a(65536), b(65536);
    for (size_t i = 0; i < a.size(); ++i) a[i] = uint8_t(i), b[i] = uint8_t(i >> 8);
    checkPairs(ZOL_DEPTH_8U, a, b);
    checkPairs(ZOL_DEPTH_8S, std::vector<int8_t>(a.begin(), a.end()),
               std::vector<int8_t>(b.begin(), b.end()));
    checkWide<uint16_t>(ZOL_DEPTH_16U, {0, 1, 2, 255, 256, 257, 32767, 32768, 65534, 65535}, 1);
    checkWide<int16_t>(ZOL_DEPTH_16S, {-32768, -32767, -182, -181, -1, 0, 1, 181, 182, 32767}, 2);
    checkWide<int32_t>(ZOL_DEPTH_32S, {INT_MIN, INT_MIN + 1, -46341, -46340, -1, 0, 1, 2, 46340,
                                       46341, 65536, INT_MAX - 1, INT_MAX}, 3);
    std::vector<float> f = {0.0f, -0.0f, 1.0f, -1.0f, 0.1f, 3.0f, 16777216.0f, 1e20f, 1e-20f,
                            FLT_MAX, -FLT_MAX, FLT_MIN, FLT_TRUE_MIN, -FLT_TRUE_MIN, INFINITY,
                            -INFINITY};
    for (uint32_t nan : {0x7FC00001u, 0x7F800001u, 0xFFC00002u, 0xFF812345u}) f.push_back(floatOf(nan));
    checkWide<float>(ZOL_DEPTH_32F, f, 4);
}

// The documented results, which anchor the model as much as the code.
TEST(DyadicElements, DocumentedValues) {
    using zol::plain::element;
    EXPECT_EQ(255, element<DyOp::Add>(uint8_t(200), uint8_t(100)));
    EXPECT_EQ(-128, element<DyOp::Add>(int8_t(-100), int8_t(-100)));
    EXPECT_EQ(-32768, element<DyOp::Add>(int16_t(-32768), int16_t(-1)));
    EXPECT_EQ(INT_MAX, element<DyOp::Add>(INT_MAX, 1));
    EXPECT_EQ(0, element<DyOp::Sub>(uint8_t(3), uint8_t(5)));
    EXPECT_EQ(127, element<DyOp::Sub>(int8_t(127), int8_t(-1)));
    EXPECT_EQ(255, element<DyOp::Mul>(uint8_t(200), uint8_t(2)));
    EXPECT_EQ(65535, element<DyOp::Mul>(uint16_t(256), uint16_t(256)));
    EXPECT_EQ(65535, element<DyOp::Mul>(uint16_t(255), uint16_t(257)));
    EXPECT_EQ(INT_MAX, element<DyOp::Mul>(46341, 46341));
    EXPECT_EQ(INFINITY, element<DyOp::Add>(FLT_MAX, FLT_MAX));
    EXPECT_TRUE(std::isnan(element<DyOp::Add>(INFINITY, -INFINITY)));
    EXPECT_EQ(0x7FC00005u, bitsOf(element<DyOp::Mul>(floatOf(0x7F800005), floatOf(0xFFC00000))));
}

// Every entry of the dispatched table equals the plain form at all lengths
// and alignments, in place on either source, and writes nothing past its run.
// The row after the depths is the 1-bit difference on words.
TEST(DyadicKernels, FormsAgree) {
    const size_t sizes[zol::kDyDepths + 1] = {1, 1, 2, 2, 4, 4, 4};
    std::mt19937 g(11);
    std::vector<uint8_t> a(1024), b(1024), junk(1024);
    for (auto* v : {&a, &b, &junk})
        for (auto& x : *v) x = uint8_t(g());
    const zol::Form saved = zol::formCap();
    zol::setFormCap(zol::Form::Plain);
    const zol::DyadicKernels plain = zol::dyadicKernels();
    for (int form = 1; form <= int(zol::cpuForm()); ++form) {
        zol::setFormCap(zol::Form(form));
        ASSERT_EQ(zol::Form(form), zol::dyadicForm());
        const zol::DyadicKernels k = zol::dyadicKernels();
        for (int row = 0; row <= zol::kDyDepths; ++row)
            for (int op = 0; op < (row < zol::kDyDepths ? zol::kDyOps : 1); ++op)
                for (size_t off = 0; off < 4; ++off)
                    for (size_t n = 0; n <= 200; ++n) {
                        SCOPED_TRACE(testing::Message() << zol::formName(zol::Form(form)) << " row "
                                                        << row << " op " << op << " offset " << off
                                                        << " n " << n);
                        auto call = [&](const zol::DyadicKernels& t, uint8_t* x, uint8_t* y,
                                        uint8_t* d) {
                            if (row < zol::kDyDepths) return t.run[row][op](x, y, d, n);
                            auto w = [](uint8_t* p) { return reinterpret_cast<uint32_t*>(p); };
                            t.andNot(w(x), w(y), w(d), n);
                        };
                        const size_t at = off * sizes[row], bytes = n * sizes[row];
                        std::vector<uint8_t> want(junk), got(junk), onA(a), onB(b);
                        call(plain, &a[at], &b[at], &want[at]);
                        call(k, &a[at], &b[at], &got[at]);
                        ASSERT_EQ(want, got);
                        call(k, &onA[at], &b[at], &onA[at]);
                        call(k, &a[at], &onB[at], &onB[at]);
                        ASSERT_EQ(0, std::memcmp(&want[at], &onA[at], bytes));
                        ASSERT_EQ(0, std::memcmp(&want[at], &onB[at], bytes));
                    }
    }
    zol::setFormCap(saved);
}

// Random frames: ROIs, coi, alpha, up to three masks, tiles, in-place use;
// 1-bit sums and products go through zolOr and zolAnd.
TEST(DyadicFrames, MatchModelAtEveryDepth) {
    kit::FrameOptions o;
    o.depths = kit::allDepths();
    o.cases = 350;
    for (const auto& [fn, op] : kOps) {
        o.seed += 1000;
        kit::checkFrames(kit::BinaryOp(fn),
                         [op = op](int depth, const int64_t* v) { return model(op, depth, v[0], v[1]); },
                         o);
    }
}

// Whole, alike, unmasked images run one loop over the blocks, padding
// included (the frame harness compares pixels only in that case).
TEST(DyadicWhole, FlatPassCoversPadding) {
    uint32_t seed = 0;
    for (const int depth : kit::allDepths())
        for (const auto& [fn, op] : kOps) {
            if (depth == ZOL_DEPTH_1U && op != DyOp::Sub) continue;
            SCOPED_TRACE(testing::Message() << kit::depthName(depth) << " op " << int(op));
            // Rows of 5 pixels (13 bits) on 8-byte steps: every depth has padding.
            const int w = depth == ZOL_DEPTH_1U ? 13 : 5, q = ZOL_ALIGN_QWORD, p = ZOL_DATA_ORDER_PIXEL;
            Image a(depth, 1, w, 3, p, q), b(depth, 1, w, 3, p, q), d(depth, 1, w, 3, p, q);
            for (Image* im : {&a, &b, &d}) im->randomize(++seed);
            fn(a, b, d);
            // The blocks as one row of elements (bytes, for 1U).
            const int size = std::max(1, (depth & 0xFF) / 8);
            auto flat = [&](const Image& im) {
                ZolImage v = *im.get();
                v.depth = depth == ZOL_DEPTH_1U ? ZOL_DEPTH_8U : depth;
                v.width = im->imageSize / size;
                return v;
            };
            const ZolImage fa = flat(a), fb = flat(b), fd = flat(d);
            for (int i = 0; i < fd.width; ++i) {
                const int64_t x = kit::get(&fa, i, 0, 0), y = kit::get(&fb, i, 0, 0);
                ASSERT_EQ(depth == ZOL_DEPTH_1U ? (x & ~y & 0xFF) : model(op, depth, x, y),
                          kit::get(&fd, i, 0, 0)) << "element " << i;
            }
        }
}

// Faults are reported before anything is written: A before B at each step,
// in the function's own name, or in that of zolOr / zolAnd for 1-bit sums
// and products.
TEST(DyadicChecks, ReportInOrderAndWriteNothing) {
    Image a(ZOL_DEPTH_8U, 3, 4, 4), b(ZOL_DEPTH_8U, 3, 4, 4), d(ZOL_DEPTH_8U, 3, 4, 4);
    Image a16(ZOL_DEPTH_16U, 3, 4, 4), plane(ZOL_DEPTH_8U, 3, 4, 4, ZOL_DATA_ORDER_PLANE);
    Image gray(ZOL_DEPTH_8U, 1, 4, 4), bits(ZOL_DEPTH_1U, 1, 9, 2), bitsOut(ZOL_DEPTH_1U, 1, 9, 2);
    d.randomize(1);
    bitsOut.randomize(2);
    const char* const kIncorrect = "Incorrect Image";
    const int kNull = ZOL_STATUS_NULL_HEADER, kBad = ZOL_STATUS_BAD_ARGUMENT;
    const struct {
        ZolImage *a, *b, *d;
        int status;
        const char* context;
    } common[] = {
        {a, nullptr, d, kNull, kIncorrect},
        {a, b, nullptr, kNull, kIncorrect},
        {a16, a16, d, kBad, "(srcImageA->depth != dstImage->depth)"},
        {a, a16, d, kBad, "(srcImageB->depth != dstImage->depth)"},
        {plane, plane, d, kBad, "(srcImageA->dataOrder != dstImage->dataOrder)"},
        {a, plane, d, kBad, "(srcImageB->dataOrder != dstImage->dataOrder)"},
        {gray, gray, d, kBad, "(nChSrcA != nChDst)"},
        {a, gray, d, kBad, "(nChSrcB != nChDst)"},
    };
    const struct {
        PairFn fn;
        const char *name, *bitName;  // bitName reports for 1-bit sources
        int nullStatus;
        const char* nullContext;
    } fns[] = {{zolAdd, "zolAdd", "zolOr", kBad, "srcImageA==0"},
               {zolSubtract, "zolSubtract", "zolSubtract", kNull, kIncorrect},
               {zolMultiply, "zolMultiply", "zolAnd", kBad, "srcImageA==0"}};
    const auto before = d.bytes(), bitsBefore = bitsOut.bytes();
    for (const auto& f : fns) {
        kit::Recorder rec;
        for (const auto& r : common) {
            rec.clear();
            f.fn(r.a, r.b, r.d);
            EXPECT_TRUE(rec.only(r.status, f.name, r.context)) << f.name << " " << r.context;
        }
        rec.clear();
        f.fn(nullptr, b, d);
        EXPECT_TRUE(rec.only(f.nullStatus, f.name, f.nullContext)) << f.name;
        for (ZolImage* out : {static_cast<ZolImage*>(nullptr), bitsOut.get()}) {
            rec.clear();
            f.fn(bits, out ? nullptr : bits.get(), out);
            EXPECT_TRUE(rec.only(kNull, f.bitName, kIncorrect)) << f.name;
        }
        EXPECT_EQ(before, d.bytes());
        EXPECT_EQ(bitsBefore, bitsOut.bytes());
    }
    // 1-bit images may differ in data order.
    Image bitsPlane(ZOL_DEPTH_1U, 1, 9, 2, ZOL_DATA_ORDER_PLANE);
    kit::Recorder rec;
    zolSubtract(bits, bitsPlane, bitsOut);
    EXPECT_TRUE(rec.none());
}
