// Logic on the bits of elements and shifts: and, or, exclusive or of two
// images or with a constant, inversion, left and right shifts.
#include "arith/logic.h"

#include <cstring>

#include "core/frame.h"

namespace zol {

namespace plain {

namespace {

template <BitOp op, class U>
inline U apply(U a, U b) {
    if constexpr (op == BitOp::And) return U(a & b);
    else if constexpr (op == BitOp::Or) return U(a | b);
    else return U(a ^ b);
}

template <BitOp op>
void constRun(const uint8_t* s, uint8_t* d, size_t n, uint32_t pattern) {
    const uint64_t p64 = uint64_t(pattern) | uint64_t(pattern) << 32;
    size_t i = 0;
    for (; i + 8 <= n; i += 8) {
        uint64_t v;
        std::memcpy(&v, s + i, 8);
        v = apply<op>(v, p64);
        std::memcpy(d + i, &v, 8);
    }
    for (; i < n; ++i) d[i] = uint8_t(apply<op>(unsigned(s[i]), pattern >> (8 * (i & 3))));
}

template <BitOp op>
void pairRun(const uint8_t* a, const uint8_t* b, uint8_t* d, size_t n) {
    size_t i = 0;
    for (; i + 8 <= n; i += 8) {
        uint64_t u, v;
        std::memcpy(&u, a + i, 8);
        std::memcpy(&v, b + i, 8);
        u = apply<op>(u, v);
        std::memcpy(d + i, &u, 8);
    }
    for (; i < n; ++i) d[i] = apply<op>(a[i], b[i]);
}

// Left shifts run on unsigned types only, so nothing overflows a sign.
template <class T, bool Left>
void shiftRun(const T* s, T* d, size_t n, unsigned count) {
    for (size_t i = 0; i < n; ++i) {
        if constexpr (Left) d[i] = T(s[i] << count);
        else d[i] = T(s[i] >> count);
    }
}

}  // namespace

ZOL_LOGIC_NAMED_KERNELS

}  // namespace plain

namespace {

// Every entry of one form, in the table's order.
#define ZOL_LOGIC_TABLE(ns)                                                            \
    LogicKernels {                                                                     \
        ns::andConstRun, ns::orConstRun, ns::xorConstRun, ns::andRun, ns::orRun,       \
        ns::xorRun, ns::shl8, ns::shl16, ns::shl32, ns::shr8u, ns::shr8s, ns::shr16u,  \
        ns::shr16s, ns::shr32s                                                         \
    }

LogicKernels makeTable(Form form) {
    LogicKernels k = ZOL_LOGIC_TABLE(plain);
    logicSimd(form, k);
    return k;
}

#undef ZOL_LOGIC_TABLE

template <BitOp op, class F>
F byOp(F forAnd, F forOr, F forXor) {
    return op == BitOp::And ? forAnd : op == BitOp::Or ? forOr : forXor;
}

// The constant as a 32-bit pattern: bit 0 spread for 1-bit images, the low
// byte four times, the low 16 bits twice, or the value itself.
uint32_t logicPattern(int depth, uint32_t value) {
    switch (depthBits(depth)) {
        case 1: return (value & 1) ? 0xFFFFFFFFu : 0u;
        case 8: return (value & 0xFFu) * 0x01010101u;
        case 16: return (value & 0xFFFFu) * 0x00010001u;
        default: return value;
    }
}

// Element operations: single elements for strided and masked shapes,
// contiguous runs through the dispatched kernel.
template <class T, BitOp op>
struct ConstOp : ElementOp<ConstOp<T, op>, T> {
    ConstOp(uint32_t p, PatternRunFn f) : pattern(p), fn(f) {}
    uint32_t pattern;
    PatternRunFn fn;
    T operator()(T a) const { return plain::apply<op>(a, T(pattern)); }
    void run(size_t n, T* d, const T* s) const {
        fn(reinterpret_cast<const uint8_t*>(s), reinterpret_cast<uint8_t*>(d), n * sizeof(T),
           pattern);
    }
};

template <class T, BitOp op>
struct PairOp : ElementOp<PairOp<T, op>, T> {
    explicit PairOp(PairRunFn f) : fn(f) {}
    PairRunFn fn;
    T operator()(T a, T b) const { return plain::apply<op>(a, b); }
    void run(size_t n, T* d, const T* a, const T* b) const {
        fn(reinterpret_cast<const uint8_t*>(a), reinterpret_cast<const uint8_t*>(b),
           reinterpret_cast<uint8_t*>(d), n * sizeof(T));
    }
};

template <class T, bool Left>
struct ShiftOp : ElementOp<ShiftOp<T, Left>, T> {
    ShiftOp(ShiftRunFn<T> f, unsigned c) : fn(f), count(c) {}
    ShiftRunFn<T> fn;
    unsigned count;
    T operator()(T a) const {
        if constexpr (Left) return T(a << count);
        else return T(a >> count);
    }
    void run(size_t n, T* d, const T* s) const { fn(s, d, n, count); }
};

// True when one flat pass over the blocks does the region path's work:
// nothing tiled or masked, and every source whole and alike with dst.
template <size_t NS>
bool wholeImages(const ZolImage* const (&src)[NS], const ZolImage* dst, const ZolImage* mask,
                 const Plan& plan) {
    if (mask || dst->tileInfo) return false;
    for (const ZolImage* s : src)
        if (s->tileInfo || !ownIsWholeImage(s, dst, plan.hasAlpha)) return false;
    return true;
}

// The flat pass over the first `bytes` bytes of every block, padding and
// all planes included.
template <class Op, size_t NS>
void flatPass(const Op& op, const ZolImage* const (&src)[NS], ZolImage* dst, size_t bytes) {
    using T = typename Op::T;
    auto data = [](const ZolImage* im) { return reinterpret_cast<const T*>(im->imageData); };
    T* d = reinterpret_cast<T*>(dst->imageData);
    if constexpr (NS == 1) op.run(bytes / sizeof(T), d, data(src[0]));
    else op.run(bytes / sizeof(T), d, data(src[0]), data(src[1]));
}

// The region path, piece by piece over tiles.
template <class Op, size_t NS>
void regionPass(const Frame& f, const Op& op, const ZolImage* const (&src)[NS], ZolImage* dst,
                const ZolImage* mask, const Plan& plan) {
    f.run([&op](auto&... a) { mapRegion(op, a...); }, src, dst, mask, plan);
}

template <BitOp op, size_t NS>
void bitPass(const Frame& f, unsigned constBits, const ZolImage* const (&src)[NS],
             ZolImage* dst, const ZolImage* mask, const Plan& plan) {
    auto bits = [constBits](unsigned a, auto... b) {
        if constexpr (sizeof...(b) == 0) return plain::apply<op>(a, constBits);
        else return plain::apply<op>(a, unsigned(b)...);
    };
    f.run([bits](auto&... a) { mapBitRegion(bits, a...); }, src, dst, mask, plan);
}

template <BitOp op>
void logicPair(const char* func, ZolImage* srcImageA, ZolImage* srcImageB, ZolImage* dstImage) {
    const Frame f(func);
    if (!f.headersOk({srcImageA, srcImageB, dstImage})) return;
    if (!f.depthsMatch({{srcImageA, msg::kSrcADepth}, {srcImageB, msg::kSrcBDepth}}, dstImage))
        return;
    if (dstImage->depth != ZOL_DEPTH_1U &&
        !f.ordersMatch({{srcImageA, msg::kSrcAOrder}, {srcImageB, msg::kSrcBOrder}}, dstImage))
        return;
    Plan plan;
    if (!f.makePlan(plan, {{srcImageA, msg::kNChSrcA}, {srcImageB, msg::kNChSrcB}}, dstImage))
        return;
    MaskHold mask;
    if (!mask.combine(f, srcImageA->maskROI, srcImageB->maskROI, dstImage->maskROI)) return;
    if (dstImage->depth == ZOL_DEPTH_32F) {
        f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kNo32F);
        return;
    }
    const LogicKernels& k = logicKernels();
    const PairRunFn fn = byOp<op>(k.andRun, k.orRun, k.xorRun);
    const ZolImage* const src[2] = {srcImageA, srcImageB};

    // Element borders don't matter to the bits: any depth is bytes here.
    if (wholeImages(src, dstImage, mask.get(), plan))
        return flatPass(PairOp<uint8_t, op>(fn), src, dstImage, size_t(srcImageA->imageSize));
    auto region = [&](const auto& elementOp) {
        regionPass(f, elementOp, src, dstImage, mask.get(), plan);
    };
    switch (depthBits(dstImage->depth)) {
        case 1: return bitPass<op>(f, 0, src, dstImage, mask.get(), plan);
        case 8: return region(PairOp<uint8_t, op>(fn));
        case 16: return region(PairOp<uint16_t, op>(fn));
        default: return region(PairOp<uint32_t, op>(fn));
    }
}

template <BitOp op>
void logicConst(const char* func, ZolImage* srcImage, ZolImage* dstImage, uint32_t value) {
    const Frame f(func);
    if (!f.headersOk({srcImage, dstImage})) return;
    if (!f.depthsMatch({{srcImage, msg::kSrcDepth}}, dstImage)) return;
    if (dstImage->depth != ZOL_DEPTH_1U &&
        !f.ordersMatch({{srcImage, msg::kSrcOrder}}, dstImage))
        return;
    Plan plan;
    if (!f.makePlan(plan, {{srcImage, msg::kNChSrc}}, dstImage)) return;
    MaskHold mask;
    if (!mask.combine(f, srcImage->maskROI, dstImage->maskROI)) return;
    if (dstImage->depth == ZOL_DEPTH_32F) {
        f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kNo32F);
        return;
    }
    const uint32_t pattern = logicPattern(dstImage->depth, value);
    const LogicKernels& k = logicKernels();
    const PatternRunFn fn = byOp<op>(k.andConstRun, k.orConstRun, k.xorConstRun);
    const ZolImage* const src[1] = {srcImage};

    if (wholeImages(src, dstImage, mask.get(), plan)) {
        // In whole 64-bit words for 8-byte aligned rows, else 32-bit ones.
        const size_t unit = dstImage->align == ZOL_ALIGN_QWORD ? 8 : 4;
        return flatPass(ConstOp<uint8_t, op>(pattern, fn), src, dstImage,
                        size_t(srcImage->imageSize) / unit * unit);
    }
    auto region = [&](const auto& elementOp) {
        regionPass(f, elementOp, src, dstImage, mask.get(), plan);
    };
    switch (depthBits(dstImage->depth)) {
        case 1: return bitPass<op>(f, pattern & 0xFFu, src, dstImage, mask.get(), plan);
        case 8: return region(ConstOp<uint8_t, op>(pattern, fn));
        case 16: return region(ConstOp<uint16_t, op>(pattern, fn));
        default: return region(ConstOp<uint32_t, op>(pattern, fn));
    }
}


// The element type follows from the kernel: unsigned for left shifts and
// unsigned depths, signed where the sign comes in.
template <bool Left, class T>
void shiftPass(const Frame& f, ShiftRunFn<T> fn, unsigned count, const ZolImage* const (&src)[1],
               ZolImage* dst, const ZolImage* mask, const Plan& plan) {
    const ShiftOp<T, Left> op(fn, count);
    if (wholeImages(src, dst, mask, plan))
        return flatPass(op, src, dst, size_t(src[0]->imageSize));
    regionPass(f, op, src, dst, mask, plan);
}

template <bool Left>
void logicShift(const char* func, ZolImage* srcImage, ZolImage* dstImage, uint32_t nShift) {
    const Frame f(func);
    if (!srcImage) {
        f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kSrcNull);
        return;
    }
    // A count of 0 is a copy; one at or past the width leaves nothing but
    // zeros, or, shifting a signed element right, its sign.
    if (nShift == 0) return zolXorS(srcImage, dstImage, 0);
    const uint32_t width = uint32_t(depthBits(srcImage->depth));
    const bool isSigned = (srcImage->depth & ZOL_DEPTH_SIGN) != 0;
    if (nShift >= width) {
        if (Left || !isSigned) return zolAndS(srcImage, dstImage, 0);
        nShift = width - 1;
    }
    if (!f.headersOk({srcImage, dstImage})) return;
    if (!f.depthsMatch({{srcImage, msg::kSrcDepth}}, dstImage)) return;
    if (!f.ordersMatch({{srcImage, msg::kSrcOrder}}, dstImage)) return;
    Plan plan;
    if (!f.makePlan(plan, {{srcImage, msg::kNChSrc}}, dstImage)) return;
    MaskHold mask;
    if (!mask.combine(f, srcImage->maskROI, dstImage->maskROI)) return;
    if (dstImage->depth == ZOL_DEPTH_32F) {
        f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kNo32F);
        return;
    }
    const LogicKernels& k = logicKernels();
    const ZolImage* const src[1] = {srcImage};
    auto pass = [&](auto fn) { shiftPass<Left>(f, fn, nShift, src, dstImage, mask.get(), plan); };
    if constexpr (Left) {
        switch (width) {
            case 8: return pass(k.shl8);
            case 16: return pass(k.shl16);
            default: return pass(k.shl32);
        }
    } else {
        switch (dstImage->depth) {
            case ZOL_DEPTH_8U: return pass(k.shr8u);
            case ZOL_DEPTH_8S: return pass(k.shr8s);
            case ZOL_DEPTH_16U: return pass(k.shr16u);
            case ZOL_DEPTH_16S: return pass(k.shr16s);
            default: return pass(k.shr32s);
        }
    }
}

}  // namespace

const LogicKernels& logicKernels() { return tableForActiveForm(makeTable); }

Form logicForm() { return activeForm(); }

}  // namespace zol

using namespace zol;

extern "C" {

ZOL_API void zolAnd(ZolImage* srcImageA, ZolImage* srcImageB, ZolImage* dstImage) {
    logicPair<BitOp::And>(msg::kAnd, srcImageA, srcImageB, dstImage);
}

ZOL_API void zolOr(ZolImage* srcImageA, ZolImage* srcImageB, ZolImage* dstImage) {
    logicPair<BitOp::Or>(msg::kOr, srcImageA, srcImageB, dstImage);
}

ZOL_API void zolXor(ZolImage* srcImageA, ZolImage* srcImageB, ZolImage* dstImage) {
    logicPair<BitOp::Xor>(msg::kXor, srcImageA, srcImageB, dstImage);
}

ZOL_API void zolAndS(ZolImage* srcImage, ZolImage* dstImage, uint32_t value) {
    logicConst<BitOp::And>(msg::kAndS, srcImage, dstImage, value);
}

ZOL_API void zolOrS(ZolImage* srcImage, ZolImage* dstImage, uint32_t value) {
    logicConst<BitOp::Or>(msg::kOrS, srcImage, dstImage, value);
}

ZOL_API void zolXorS(ZolImage* srcImage, ZolImage* dstImage, uint32_t value) {
    logicConst<BitOp::Xor>(msg::kXorS, srcImage, dstImage, value);
}

ZOL_API void zolNot(ZolImage* srcImage, ZolImage* dstImage) {
    zolXorS(srcImage, dstImage, 0xFFFFFFFFu);
}

ZOL_API void zolLShiftS(ZolImage* srcImage, ZolImage* dstImage, uint32_t nShift) {
    logicShift<true>(msg::kLShiftS, srcImage, dstImage, nShift);
}

ZOL_API void zolRShiftS(ZolImage* srcImage, ZolImage* dstImage, uint32_t nShift) {
    logicShift<false>(msg::kRShiftS, srcImage, dstImage, nShift);
}

}  // extern "C"
