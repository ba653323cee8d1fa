// SIMD forms of the dyadic arithmetic kernels, written once over Highway
// and compiled for every target of the build by foreach_target.h.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "arith/dyadic_simd.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "arith/dyadic.h"
#include "core/simd.h"

#if ZOL_SIMD_FORM_TARGET
HWY_BEFORE_NAMESPACE();
namespace zol {
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

// 8-bit products in 16-bit lanes, even and odd bytes apart, so that no
// shuffle is needed: each product is exact there, clamped, and put back
// in its byte.
template <class D, class V>
HWY_INLINE V mul8u(D d8, V a, V b) {
    const hn::Repartition<uint16_t, D> d16;
    const auto low = hn::Set(d16, 0xFF);
    const auto a16 = hn::BitCast(d16, a), b16 = hn::BitCast(d16, b);
    const auto even = hn::Min(hn::Mul(hn::And(a16, low), hn::And(b16, low)), low);
    const auto odd = hn::Min(hn::Mul(hn::ShiftRight<8>(a16), hn::ShiftRight<8>(b16)), low);
    return hn::BitCast(d8, hn::Or(even, hn::ShiftLeft<8>(odd)));
}

template <class D, class V>
HWY_INLINE V mul8s(D d8, V a, V b) {
    const hn::Repartition<int16_t, D> d16;
    const auto a16 = hn::BitCast(d16, a), b16 = hn::BitCast(d16, b);
    const auto lo = hn::Set(d16, -128), hi = hn::Set(d16, 127);
    auto even = hn::Mul(hn::ShiftRight<8>(hn::ShiftLeft<8>(a16)),
                        hn::ShiftRight<8>(hn::ShiftLeft<8>(b16)));
    auto odd = hn::Mul(hn::ShiftRight<8>(a16), hn::ShiftRight<8>(b16));
    even = hn::Min(hn::Max(even, lo), hi);
    odd = hn::Min(hn::Max(odd, lo), hi);
    return hn::BitCast(d8, hn::Or(hn::And(even, hn::Set(d16, 0xFF)), hn::ShiftLeft<8>(odd)));
}

// 16U: any bit in the high half of the 32-bit product saturates.
template <class D, class V>
HWY_INLINE V mul16u(D d, V a, V b) {
    const auto high = hn::MulHigh(a, b);
    return hn::Or(hn::Mul(a, b), hn::VecFromMask(d, hn::Ne(high, hn::Zero(d))));
}

// 16S: the 32-bit product fits when its high half is the low half's sign;
// otherwise the bound on the product's side.
template <class D, class V>
HWY_INLINE V mul16s(D d, V a, V b) {
    const auto low = hn::Mul(a, b), high = hn::MulHigh(a, b);
    const auto bound = hn::Xor(hn::ShiftRight<15>(high), hn::Set(d, 0x7FFF));
    return hn::IfThenElse(hn::Eq(high, hn::ShiftRight<15>(low)), low, bound);
}

// 32S sum and difference wrap, and where the sign shows an overflow the
// result is the bound on a's side.
template <DyOp op, class D, class V>
HWY_INLINE V addSub32(D d, V a, V b) {
    const auto r = op == DyOp::Add ? hn::Add(a, b) : hn::Sub(a, b);
    const auto over = op == DyOp::Add ? hn::And(hn::Xor(a, r), hn::Xor(b, r))
                                      : hn::And(hn::Xor(a, b), hn::Xor(a, r));
    const auto bound = hn::Xor(hn::ShiftRight<31>(a), hn::Set(d, 0x7FFFFFFF));
    return hn::IfNegativeThenElse(over, bound, r);
}

// 32S product in doubles: exact wherever it fits 32 bits, and rounding
// can't carry a product across a bound, so clamping there is exact too.
template <class D, class V>
HWY_INLINE V mul32(D d, V a, V b) {
    const hn::Half<D> dh;
    const hn::Rebind<double, decltype(dh)> dd;
    auto half = [&](auto x, auto y) {
        auto p = hn::Mul(hn::PromoteTo(dd, x), hn::PromoteTo(dd, y));
        p = hn::Min(hn::Max(p, hn::Set(dd, -2147483648.0)), hn::Set(dd, 2147483647.0));
        return hn::DemoteTo(dh, p);
    };
    return hn::Combine(d, half(hn::UpperHalf(dh, a), hn::UpperHalf(dh, b)),
                       half(hn::LowerHalf(dh, a), hn::LowerHalf(dh, b)));
}

template <DyOp op, class D, class V>
HWY_INLINE V vec(D d, V a, V b) {
    using T = hn::TFromD<D>;
    if constexpr (std::is_same_v<T, float>) {
        const V r = op == DyOp::Add ? hn::Add(a, b) : op == DyOp::Sub ? hn::Sub(a, b)
                                                                      : hn::Mul(a, b);
        // A NaN in a wins, quieted, as in the plain form.
        const hn::RebindToUnsigned<D> du;
        const V quietA = hn::Or(a, hn::BitCast(d, hn::Set(du, 0x00400000u)));
        return hn::IfThenElse(hn::IsNaN(a), quietA, r);
    } else if constexpr (op == DyOp::Add && sizeof(T) <= 2) {
        return hn::SaturatedAdd(a, b);
    } else if constexpr (op == DyOp::Sub && sizeof(T) <= 2) {
        return hn::SaturatedSub(a, b);
    } else if constexpr (std::is_same_v<T, uint8_t>) {
        return mul8u(d, a, b);
    } else if constexpr (std::is_same_v<T, int8_t>) {
        return mul8s(d, a, b);
    } else if constexpr (std::is_same_v<T, uint16_t>) {
        return mul16u(d, a, b);
    } else if constexpr (std::is_same_v<T, int16_t>) {
        return mul16s(d, a, b);
    } else if constexpr (op == DyOp::Mul) {
        return mul32(d, a, b);
    } else {
        return addSub32<op>(d, a, b);
    }
}

template <DyOp op, class T>
void runOf(const void* pa, const void* pb, void* pd, size_t n) {
    const T* a = static_cast<const T*>(pa);
    const T* b = static_cast<const T*>(pb);
    T* d = static_cast<T*>(pd);
    const hn::ScalableTag<T> dt;
    const size_t lanes = hn::Lanes(dt);
    size_t i = 0;
    for (; i + 2 * lanes <= n; i += 2 * lanes) {
        const auto x = vec<op>(dt, hn::LoadU(dt, a + i), hn::LoadU(dt, b + i));
        const auto y = vec<op>(dt, hn::LoadU(dt, a + i + lanes), hn::LoadU(dt, b + i + lanes));
        hn::StoreU(x, dt, d + i);
        hn::StoreU(y, dt, d + i + lanes);
    }
    for (; i + lanes <= n; i += lanes)
        hn::StoreU(vec<op>(dt, hn::LoadU(dt, a + i), hn::LoadU(dt, b + i)), dt, d + i);
    // The last elements go to the plain form, which owns the element arithmetic.
    if (i < n) kPlainDyadic[dyDepthOf<T>()][int(op)](a + i, b + i, d + i, n - i);
}

void andNot(const uint32_t* a, const uint32_t* b, uint32_t* d, size_t n) {
    const hn::ScalableTag<uint32_t> du;
    const size_t lanes = hn::Lanes(du);
    size_t i = 0;
    for (; i + lanes <= n; i += lanes)
        hn::StoreU(hn::AndNot(hn::LoadU(du, b + i), hn::LoadU(du, a + i)), du, d + i);
    if (i < n) plain::andNot(a + i, b + i, d + i, n - i);
}

template <class T>
void setRow(DyadicKernels& k) {
    DyadicRunFn* row = k.run[dyDepthOf<T>()];
    row[int(DyOp::Add)] = runOf<DyOp::Add, T>;
    row[int(DyOp::Sub)] = runOf<DyOp::Sub, T>;
    row[int(DyOp::Mul)] = runOf<DyOp::Mul, T>;
}

}  // namespace

void fillDyadic(DyadicKernels& k) {
    setRow<uint8_t>(k);
    setRow<int8_t>(k);
    setRow<uint16_t>(k);
    setRow<int16_t>(k);
    setRow<int32_t>(k);
    setRow<float>(k);
    k.andNot = andNot;
}

}  // namespace HWY_NAMESPACE
}  // namespace zol
HWY_AFTER_NAMESPACE();
#endif

#if HWY_ONCE
namespace zol {
ZOL_SIMD_FILL(dyadicSimd, fillDyadic, DyadicKernels)
}  // namespace zol
#endif
