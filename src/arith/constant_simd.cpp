// SIMD forms of the constant and monadic arithmetic kernels, written once
// over Highway and compiled for every target of the build by
// foreach_target.h.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "arith/constant_simd.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "arith/constant.h"
#include "core/simd.h"

#if ZOL_SIMD_FORM_TARGET
HWY_BEFORE_NAMESPACE();
namespace zol {
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

inline int32_t cut(int32_t v, int32_t lo, int32_t hi) { return v < lo ? lo : v > hi ? hi : v; }

// Narrow elements are widened in place: the even and the odd elements of
// a vector each fill the lanes of twice the width (logically for unsigned
// elements, arithmetically for signed ones), are worked on there and put
// back in their halves, so that no shuffle is needed.
template <class DW, class VW>
HWY_INLINE VW evenOf(DW, VW w) {
    constexpr int half = 8 * sizeof(hn::TFromD<DW>) / 2;
    return hn::ShiftRight<half>(hn::ShiftLeft<half>(w));
}
template <class DW, class VW>
HWY_INLINE VW oddOf(DW, VW w) {
    constexpr int half = 8 * sizeof(hn::TFromD<DW>) / 2;
    return hn::ShiftRight<half>(w);
}
template <class DW, class VW>
HWY_INLINE VW joined(DW dw, VW even, VW odd) {
    using TW = hn::TFromD<DW>;
    constexpr int half = 8 * sizeof(TW) / 2;
    const hn::RebindToUnsigned<DW> du;
    const auto lowHalf = hn::Set(du, hwy::MakeUnsigned<TW>((1u << half) - 1));
    return hn::Or(hn::BitCast(dw, hn::And(hn::BitCast(du, even), lowHalf)),
                  hn::ShiftLeft<half>(odd));
}

// The vector of results for a run's constant. The constant is first cut
// to where an element can still change (the results are the same), so
// that it fits the lanes.
template <CsOp op, class T>
struct Kern {
    using D = hn::ScalableTag<T>;
    using V = hn::Vec<D>;
    // Twice the width, for the narrow forms that widen.
    using W = hwy::MakeWide<T>;
    using DW = hn::Repartition<W, D>;
    using VW = hn::Vec<DW>;

    D d;
    DW dw;
    V up, down;  // unsigned Sub and SubRev
    VW c;        // the constant, widened
    V f;         // 32F

    explicit Kern(CsValue v) : up(hn::Zero(d)), down(hn::Zero(d)), c(hn::Zero(dw)), f(hn::Zero(d)) {
        if constexpr (std::is_same_v<T, float>) {
            f = hn::Set(d, v.f);
        } else if constexpr (std::is_unsigned_v<T> && (op == CsOp::Sub || op == CsOp::SubRev)) {
            // Two saturating steps, one of them by zero: a - c is a + (-c)
            // for c < 0; c - a above M is (M - a) + (c - M).
            constexpr int32_t m = sizeof(T) == 1 ? 255 : 65535;
            int32_t u, dn;
            if constexpr (op == CsOp::Sub) {
                const int32_t k = cut(v.i, -m, m);
                u = k < 0 ? -k : 0;
                dn = k > 0 ? k : 0;
            } else {
                const int32_t k = cut(v.i, 0, 2 * m);
                dn = k < m ? k : m;  // the minuend of the first step
                u = k - dn;
            }
            up = hn::Set(d, T(u));
            down = hn::Set(d, T(dn));
        } else if constexpr (op == CsOp::Mul) {
            c = hn::Set(dw, W(cut(v.i, 0, 255)));  // 8U only
        } else if constexpr (op == CsOp::Sub) {
            constexpr int32_t m = sizeof(T) == 1 ? 255 : 65535;
            c = hn::Set(dw, W(cut(v.i, -m, m)));
        } else if constexpr (op == CsOp::SubRev) {
            constexpr int32_t m = sizeof(T) == 1 ? 256 : 65536;
            c = hn::Set(dw, W(cut(v.i, -m, m)));
        }
    }

    // One widened half of a signed Sub or SubRev, clamped to T's range.
    HWY_INLINE VW signedHalf(VW x) const {
        const VW r = op == CsOp::Sub ? hn::Sub(x, c) : hn::Sub(c, x);
        return hn::Min(hn::Max(r, hn::Set(dw, W(hwy::LimitsMin<T>()))),
                       hn::Set(dw, W(hwy::LimitsMax<T>())));
    }

    // One widened half of an 8U product (exact in 16 bits), at most 255.
    HWY_INLINE VW productHalf(VW x) const {
        const VW top = hn::Set(dw, W(255));
        return hn::Min(hn::Mul(x, op == CsOp::Mul ? c : x), top);
    }

    HWY_INLINE V operator()(V a) const {
        if constexpr (std::is_same_v<T, float>) {
            V r;
            if constexpr (op == CsOp::Sub) r = hn::Sub(a, f);
            else if constexpr (op == CsOp::SubRev) r = hn::Sub(f, a);
            else if constexpr (op == CsOp::Add) r = hn::Add(a, f);
            else if constexpr (op == CsOp::Mul) r = hn::Mul(a, f);
            else r = hn::Mul(a, a);
            // A NaN element wins, quieted, as in the plain form.
            const hn::RebindToUnsigned<D> du;
            const V quiet = hn::Or(a, hn::BitCast(d, hn::Set(du, 0x00400000u)));
            return hn::IfThenElse(hn::IsNaN(a), quiet, r);
        } else if constexpr (op == CsOp::Abs) {
            // The most negative value stays itself, as (a + s) ^ s gives it.
            return hn::Abs(a);
        } else if constexpr (std::is_unsigned_v<T> && (op == CsOp::Sub || op == CsOp::SubRev)) {
            if constexpr (op == CsOp::Sub) return hn::SaturatedSub(hn::SaturatedAdd(a, up), down);
            else return hn::SaturatedAdd(hn::SaturatedSub(down, a), up);
        } else {
            // Widened: the 8U products, and signed Sub and SubRev.
            const VW w = hn::BitCast(dw, a);
            VW even = evenOf(dw, w), odd = oddOf(dw, w);
            if constexpr (op == CsOp::Mul || op == CsOp::Sqr) {
                even = productHalf(even);
                odd = productHalf(odd);
            } else {
                even = signedHalf(even);
                odd = signedHalf(odd);
            }
            return hn::BitCast(d, joined(dw, even, odd));
        }
    }
};

template <CsOp op, class T>
void runOf(const T* s, T* d, size_t n, CsValue v, ConstRunFn tail) {
    const Kern<op, T> k(v);
    const size_t lanes = hn::Lanes(k.d);
    size_t i = 0;
    for (; i + 2 * lanes <= n; i += 2 * lanes) {
        const auto x = k(hn::LoadU(k.d, s + i));
        const auto y = k(hn::LoadU(k.d, s + i + lanes));
        hn::StoreU(x, k.d, d + i);
        hn::StoreU(y, k.d, d + i + lanes);
    }
    for (; i + lanes <= n; i += lanes) hn::StoreU(k(hn::LoadU(k.d, s + i)), k.d, d + i);
    // The last elements go to the plain form, which owns the element arithmetic.
    if (i < n) tail(s + i, d + i, n - i, v);
}

#define ZOL_CONST_SIMD_DEFINE(name, row, op, T)                                              \
    void name(const void* s, void* d, size_t n, CsValue v) {                                 \
        runOf<CsOp::op, T>(static_cast<const T*>(s), static_cast<T*>(d), n, v, plain::name); \
    }
ZOL_CONST_SIMD_LIST(ZOL_CONST_SIMD_DEFINE)
#undef ZOL_CONST_SIMD_DEFINE

}  // namespace

void fillConstant(ConstKernels& k) {
#define ZOL_CONST_SET(name, row, op, T) k.run[row][int(CsOp::op)] = name;
    ZOL_CONST_SIMD_LIST(ZOL_CONST_SET)
#undef ZOL_CONST_SET
}

}  // namespace HWY_NAMESPACE
}  // namespace zol
HWY_AFTER_NAMESPACE();
#endif

#if HWY_ONCE
namespace zol {
ZOL_SIMD_FILL(constantSimd, fillConstant, ConstKernels)
}  // namespace zol
#endif
