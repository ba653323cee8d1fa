// SIMD forms of the logic kernels, written once over Highway and compiled
// for every target of the build by foreach_target.h.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "arith/logic_simd.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "arith/logic.h"
#include "core/simd.h"

#if ZOL_SIMD_FORM_TARGET
HWY_BEFORE_NAMESPACE();
namespace zol {
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

template <BitOp op, class V>
HWY_INLINE V apply(V a, V b) {
    if constexpr (op == BitOp::And) return hn::And(a, b);
    else if constexpr (op == BitOp::Or) return hn::Or(a, b);
    else return hn::Xor(a, b);
}

template <BitOp op, class F>
constexpr F byOp(F forAnd, F forOr, F forXor) {
    return op == BitOp::And ? forAnd : op == BitOp::Or ? forOr : forXor;
}

template <BitOp op>
void constRun(const uint8_t* s, uint8_t* d, size_t n, uint32_t pattern) {
    const hn::ScalableTag<uint8_t> d8;
    const hn::Repartition<uint32_t, decltype(d8)> d32;
    const auto p = hn::BitCast(d8, hn::Set(d32, pattern));
    const size_t lanes = hn::Lanes(d8);
    size_t i = 0;
    for (; i + lanes <= n; i += lanes) hn::StoreU(apply<op>(hn::LoadU(d8, s + i), p), d8, d + i);
    // A vector holds whole 32-bit words, so the tail keeps the pattern's phase.
    if (i < n)
        byOp<op>(plain::andConstRun, plain::orConstRun, plain::xorConstRun)(s + i, d + i, n - i,
                                                                            pattern);
}

template <BitOp op>
void pairRun(const uint8_t* a, const uint8_t* b, uint8_t* d, size_t n) {
    const hn::ScalableTag<uint8_t> d8;
    const size_t lanes = hn::Lanes(d8);
    size_t i = 0;
    for (; i + 2 * lanes <= n; i += 2 * lanes) {
        const auto x = apply<op>(hn::LoadU(d8, a + i), hn::LoadU(d8, b + i));
        const auto y = apply<op>(hn::LoadU(d8, a + i + lanes), hn::LoadU(d8, b + i + lanes));
        hn::StoreU(x, d8, d + i);
        hn::StoreU(y, d8, d + i + lanes);
    }
    for (; i + lanes <= n; i += lanes)
        hn::StoreU(apply<op>(hn::LoadU(d8, a + i), hn::LoadU(d8, b + i)), d8, d + i);
    if (i < n) byOp<op>(plain::andRun, plain::orRun, plain::xorRun)(a + i, b + i, d + i, n - i);
}

// Unsigned types shift logically, signed ones arithmetically; Highway
// builds the 8-bit shifts the instruction sets lack.
template <class T, bool Left>
void shiftRun(const T* s, T* d, size_t n, unsigned count, ShiftRunFn<T> tail) {
    const hn::ScalableTag<T> dt;
    const size_t lanes = hn::Lanes(dt);
    const int c = int(count);
    size_t i = 0;
    for (; i + lanes <= n; i += lanes) {
        const auto v = hn::LoadU(dt, s + i);
        hn::StoreU(Left ? hn::ShiftLeftSame(v, c) : hn::ShiftRightSame(v, c), dt, d + i);
    }
    if (i < n) tail(s + i, d + i, n - i, count);
}

#define ZOL_LOGIC_SHIFT(name, T, left)                                \
    void name(const T* s, T* d, size_t n, unsigned c) {               \
        shiftRun<T, left>(s, d, n, c, plain::name);                   \
    }
ZOL_LOGIC_SHIFT(shl8, uint8_t, true)
ZOL_LOGIC_SHIFT(shl16, uint16_t, true)
ZOL_LOGIC_SHIFT(shl32, uint32_t, true)
ZOL_LOGIC_SHIFT(shr8u, uint8_t, false)
ZOL_LOGIC_SHIFT(shr8s, int8_t, false)
ZOL_LOGIC_SHIFT(shr16u, uint16_t, false)
ZOL_LOGIC_SHIFT(shr16s, int16_t, false)
ZOL_LOGIC_SHIFT(shr32s, int32_t, false)
#undef ZOL_LOGIC_SHIFT

}  // namespace

void fillLogic(LogicKernels& k) {
    k.andConstRun = constRun<BitOp::And>;
    k.orConstRun = constRun<BitOp::Or>;
    k.xorConstRun = constRun<BitOp::Xor>;
    k.andRun = pairRun<BitOp::And>;
    k.orRun = pairRun<BitOp::Or>;
    k.xorRun = pairRun<BitOp::Xor>;
    k.shl8 = shl8;
    k.shl16 = shl16;
    k.shl32 = shl32;
    k.shr8u = shr8u;
    k.shr8s = shr8s;
    k.shr16u = shr16u;
    k.shr16s = shr16s;
    k.shr32s = shr32s;
}

}  // namespace HWY_NAMESPACE
}  // namespace zol
HWY_AFTER_NAMESPACE();
#endif

#if HWY_ONCE
namespace zol {
ZOL_SIMD_FILL(logicSimd, fillLogic, LogicKernels)
}  // namespace zol
#endif
