// SIMD forms of the 8-bit compositing rows of the packed and integer
// routes and of 8-bit scaled multiplication, written once over Highway.
// Every value of these formulas fits 16 bits, products of two 8-bit values
// and the sums in div included, so each row runs in 16-bit lanes.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "arith/alpha_simd.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "arith/alpha.h"
#include "core/simd.h"

#if ZOL_SIMD_FORM_TARGET
HWY_BEFORE_NAMESPACE();
namespace zol {
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;
using D16 = hn::ScalableTag<uint16_t>;
using D8 = hn::Rebind<uint8_t, D16>;  // as many bytes as D16 has lanes
using V = hn::Vec<D16>;

enum { kOver = 0, kIn = 1, kOut = 2, kAtop = 3, kXor = 4, kPlus = 5 };

// x / 255 truncated, for x up to 255 * 255.
HWY_INLINE V div(V x) {
    const D16 d;
    return hn::ShiftRight<8>(hn::Add(hn::Add(x, hn::ShiftRight<8>(x)), hn::Set(d, 1)));
}
HWY_INLINE V top() { return hn::Set(D16(), 255); }
HWY_INLINE V cap(V x) { return hn::Min(x, top()); }
HWY_INLINE V load(const uint8_t* p) { return hn::PromoteTo(D16(), hn::LoadU(D8(), p)); }
// Results are at most 255, so the signed demotion keeps them as they are.
HWY_INLINE void store(V v, uint8_t* p) {
    const hn::RebindToSigned<D16> di;
    hn::StoreU(hn::DemoteTo(D8(), hn::BitCast(di, v)), D8(), p);
}

// The integer route: every operator as written.
template <int Op>
HWY_INLINE V intColour(V A, V B, V a, V b) {
    if constexpr (Op == kOver) return cap(hn::Sub(hn::Add(A, B), div(hn::Mul(B, a))));
    else if constexpr (Op == kIn) return div(hn::Mul(A, b));
    else if constexpr (Op == kOut) return hn::Sub(A, div(hn::Mul(A, b)));
    else if constexpr (Op == kAtop)
        return cap(hn::Sub(hn::Add(div(hn::Mul(A, b)), B), div(hn::Mul(B, a))));
    else if constexpr (Op == kXor)
        return cap(hn::Sub(hn::Add(hn::Sub(A, div(hn::Mul(A, b))), B), div(hn::Mul(B, a))));
    else return cap(hn::Add(A, B));
}
template <int Op>
HWY_INLINE V intAlpha(V a, V b) {
    const V ab = div(hn::Mul(a, b));
    if constexpr (Op == kOver) return cap(hn::Sub(hn::Add(a, b), ab));
    else if constexpr (Op == kIn) return ab;
    else if constexpr (Op == kOut) return hn::Sub(a, ab);
    else if constexpr (Op == kAtop) return b;
    else if constexpr (Op == kXor) return cap(hn::Sub(hn::Add(a, b), hn::Add(ab, ab)));
    else return cap(hn::Add(a, b));
}

template <int Op, bool Packed>
HWY_INLINE V colour(V A, V B, V a, V b) {
    const V M = top();
    if constexpr (!Packed) {
        return intColour<Op>(A, B, a, b);
    } else if constexpr (Op == kOver) {
        return cap(hn::Add(A, div(hn::Mul(hn::Sub(M, a), B))));
    } else if constexpr (Op == kIn) {
        return div(hn::Mul(b, A));
    } else if constexpr (Op == kOut) {
        return div(hn::Mul(hn::Sub(M, b), A));
    } else if constexpr (Op == kAtop) {
        return cap(hn::Add(div(hn::Mul(b, A)), div(hn::Mul(hn::Sub(M, a), B))));
    } else if constexpr (Op == kXor) {
        return cap(hn::Add(div(hn::Mul(hn::Sub(M, b), A)), div(hn::Mul(hn::Sub(M, a), B))));
    } else {
        return cap(hn::Add(A, B));
    }
}

template <int Op, bool Packed>
HWY_INLINE V alpha(V a, V b) {
    const V M = top();
    if constexpr (!Packed) {
        return intAlpha<Op>(a, b);
    } else if constexpr (Op == kOver) {
        return cap(hn::Add(a, div(hn::Mul(hn::Sub(M, a), b))));
    } else if constexpr (Op == kIn) {
        return div(hn::Mul(a, b));
    } else if constexpr (Op == kOut) {
        return div(hn::Mul(hn::Sub(M, b), a));
    } else if constexpr (Op == kAtop) {
        return b;
    } else if constexpr (Op == kXor) {
        return cap(hn::Add(div(hn::Mul(hn::Sub(M, b), a)), div(hn::Mul(hn::Sub(M, a), b))));
    } else {
        return cap(hn::Add(a, b));
    }
}

constexpr int kRoute(bool packed) {
    return int(packed ? CompositeRoute::Packed : CompositeRoute::Integer);
}

// Saturating byte sums, for PLUS where it needs no alpha.
HWY_INLINE int addBytes(int n, const uint8_t* A, const uint8_t* B, uint8_t* out) {
    const hn::ScalableTag<uint8_t> d8;
    const int lanes = int(hn::Lanes(d8));
    int i = 0;
    for (; i + lanes <= n; i += lanes)
        hn::StoreU(hn::SaturatedAdd(hn::LoadU(d8, A + i), hn::LoadU(d8, B + i)), d8, out + i);
    return i;
}

template <int Op, bool Packed, bool Premul>
void colourRow8(int n, const uint8_t* A, const uint8_t* B, const uint8_t* a, const uint8_t* b,
                uint8_t* out) {
    const int lanes = int(hn::Lanes(D16()));
    int i = Op == kPlus && Premul ? addBytes(n, A, B, out) : 0;
    for (; i + lanes <= n; i += lanes) {
        const V va = load(a + i), vb = load(b + i);
        V vA = load(A + i), vB = load(B + i);
        if (!Premul) vA = div(hn::Mul(vA, va)), vB = div(hn::Mul(vB, vb));
        store(colour<Op, Packed>(vA, vB, va, vb), out + i);
    }
    if (i < n)
        plainAlphaKernels().colour8[kRoute(Packed)][Op][Premul](n - i, A + i, B + i, a + i, b + i,
                                                                 out + i);
}

template <int Op, bool Packed>
void alphaRow8(int n, const uint8_t* a, const uint8_t* b, uint8_t* out) {
    const int lanes = int(hn::Lanes(D16()));
    int i = Op == kPlus ? addBytes(n, a, b, out) : 0;
    for (; i + lanes <= n; i += lanes) store(alpha<Op, Packed>(load(a + i), load(b + i)), out + i);
    if (i < n) plainAlphaKernels().alpha8[kRoute(Packed)][Op](n - i, a + i, b + i, out + i);
}

// Whole RGBA pixels, four 16-bit lanes each: the alpha lane is spread over
// its pixel by shifts of the 64-bit lane, and the alpha result replaces
// the colour result in the alpha lanes.
template <int Op, bool Packed, bool Premul>
void rgbaRow8(int n, const uint8_t* A, const uint8_t* B, uint8_t* D, const RgbaAlphas& how) {
    const D16 d16;
    const hn::Repartition<uint64_t, D16> d64;
    const int pixels = int(hn::Lanes(d16)) / 4;
    const V M = top();
    const auto alphaLane = hn::Eq(hn::And(hn::Iota(d16, 0), hn::Set(d16, 3)), hn::Set(d16, 3));
    auto spread = [&](V v) {
        auto x = hn::ShiftRight<48>(hn::BitCast(d64, v));
        x = hn::Or(x, hn::ShiftLeft<16>(x));
        return hn::BitCast(d16, hn::Or(x, hn::ShiftLeft<32>(x)));
    };
    const V ca = hn::Set(d16, how.aConst), cb = hn::Set(d16, how.bConst);
    int p = 0;
    // PLUS of premultiplied pixels whose alphas are their own: every byte a sum.
    if (Op == kPlus && Premul && how.aFrom == 0 && how.bFrom == 0 && how.writeAlpha)
        p = addBytes(4 * n, A, B, D) / 4;
    for (; p + pixels <= n; p += pixels) {
        const V vA = load(A + 4 * p), vB = load(B + 4 * p);
        const V a = how.aFrom == 0 ? spread(vA) : ca;
        const V b = how.bFrom == 0 ? spread(vB) : how.bFrom == 1 ? cb : hn::Sub(M, a);
        V cA = vA, cB = vB;
        if (!Premul) cA = div(hn::Mul(vA, a)), cB = div(hn::Mul(vB, b));
        const V c = colour<Op, Packed>(cA, cB, a, b);
        const V al = how.writeAlpha ? alpha<Op, Packed>(a, b) : load(D + 4 * p);
        store(hn::IfThenElse(alphaLane, al, c), D + 4 * p);
    }
    if (p < n)
        plainAlphaKernels().rgba8[kRoute(Packed)][Op][Premul](n - p, A + 4 * p, B + 4 * p,
                                                               D + 4 * p, how);
}

// Scaled multiplication; each vector is loaded whole before its store, so
// d may be a or b.
void mul8(uint8_t* d, const uint8_t* a, const uint8_t* b, size_t n) {
    const size_t lanes = hn::Lanes(D16());
    size_t i = 0;
    for (; i + lanes <= n; i += lanes) store(div(hn::Mul(load(a + i), load(b + i))), d + i);
    if (i < n) plainAlphaKernels().mul8(d + i, a + i, b + i, n - i);
}

void mulS8(uint8_t* d, const uint8_t* a, uint32_t v, size_t n) {
    const size_t lanes = hn::Lanes(D16());
    const V f = hn::Set(D16(), uint16_t(v));
    size_t i = 0;
    for (; i + lanes <= n; i += lanes) store(div(hn::Mul(load(a + i), f)), d + i);
    if (i < n) plainAlphaKernels().mulS8(d + i, a + i, v, n - i);
}

template <int Op>
void fillOp(AlphaKernels& k) {
    constexpr int packed = int(CompositeRoute::Packed), integer = int(CompositeRoute::Integer);
    k.colour8[packed][Op][0] = colourRow8<Op, true, false>;
    k.colour8[packed][Op][1] = colourRow8<Op, true, true>;
    k.alpha8[packed][Op] = alphaRow8<Op, true>;
    k.rgba8[packed][Op][0] = rgbaRow8<Op, true, false>;
    k.rgba8[packed][Op][1] = rgbaRow8<Op, true, true>;
    k.rgba8[integer][Op][0] = rgbaRow8<Op, false, false>;
    k.rgba8[integer][Op][1] = rgbaRow8<Op, false, true>;
    k.colour8[integer][Op][0] = colourRow8<Op, false, false>;
    k.colour8[integer][Op][1] = colourRow8<Op, false, true>;
    k.alpha8[integer][Op] = alphaRow8<Op, false>;
}

}  // namespace

void fillAlpha(AlphaKernels& k) {
    fillOp<kOver>(k);
    fillOp<kIn>(k);
    fillOp<kOut>(k);
    fillOp<kAtop>(k);
    fillOp<kXor>(k);
    fillOp<kPlus>(k);
    k.mul8 = mul8;
    k.mulS8 = mulS8;
}

}  // namespace HWY_NAMESPACE
}  // namespace zol
HWY_AFTER_NAMESPACE();
#endif

#if HWY_ONCE
namespace zol {
ZOL_SIMD_FILL(alphaSimd, fillAlpha, AlphaKernels)
}  // namespace zol
#endif
