// SIMD form of the float route's radix-4 butterflies, written once over
// Highway: the lanes hold the interleaved (re, im) pairs of transforms side
// by side, each lane doing the plain butterfly's operations in its order.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "transform/fft_simd.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "core/simd.h"
#include "transform/fft.h"

#if ZOL_SIMD_FORM_TARGET
HWY_BEFORE_NAMESPACE();
namespace zol {
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;
using fft::Cplx;

using D = hn::ScalableTag<float>;

// -0.0 in the odd (imaginary) or even (real) lanes: a sign flip there.
template <bool odd>
HWY_INLINE hn::Vec<D> signMask(D d) {
    const hn::RebindToUnsigned<D> du;
    const auto lane = hn::Iota(du, 0);
    const auto isOdd = hn::Eq(hn::And(lane, hn::Set(du, 1u)), hn::Set(du, 1u));
    const auto bit = hn::Set(du, 0x80000000u);
    return hn::BitCast(d, odd ? hn::IfThenElseZero(isOdd, bit) : hn::IfThenZeroElse(isOdd, bit));
}

struct Consts {
    hn::Vec<D> oddSign, evenSign, eighth;
};

// (re, im) times w: (re wr - im wi, im wr + re wi), the plain products
// with the same roundings (the odd lane's sum only commuted).
HWY_INLINE hn::Vec<D> mulTw(D d, hn::Vec<D> a, Cplx w, const Consts& k) {
    const auto p1 = hn::Mul(a, hn::Set(d, w.re));
    const auto p2 = hn::Mul(hn::Reverse2(d, a), hn::Set(d, w.im));
    return hn::Add(p1, hn::Xor(p2, k.evenSign));
}

template <int kind>  // 0 none, 1 eighth, 2 general
HWY_INLINE void bfly(D d, float* pa, float* pb, float* pc, float* pd, const Consts& k, Cplx w1,
                     Cplx w2, Cplx w3) {
    const auto a = hn::LoadU(d, pa), b = hn::LoadU(d, pb), c = hn::LoadU(d, pc),
               e = hn::LoadU(d, pd);
    const auto t0 = hn::Add(a, c), t1 = hn::Sub(a, c);
    const auto t2 = hn::Add(b, e), t3 = hn::Sub(b, e);
    const auto s0 = hn::Add(t0, t2), s1 = hn::Sub(t0, t2);
    const auto u = hn::Reverse2(d, t3);  // (t3.im, t3.re)
    const auto s2 = hn::Add(t1, hn::Xor(u, k.oddSign));   // (t1.re + t3.im, t1.im - t3.re)
    const auto s3 = hn::Add(t1, hn::Xor(u, k.evenSign));  // (t1.re - t3.im, t1.im + t3.re)
    hn::StoreU(s0, d, pa);
    if constexpr (kind == 0) {
        hn::StoreU(s1, d, pb);
        hn::StoreU(s2, d, pc);
        hn::StoreU(s3, d, pd);
    } else if constexpr (kind == 1) {
        hn::StoreU(hn::Xor(hn::Reverse2(d, s1), k.oddSign), d, pb);  // (im, -re)
        // s (re + im), s (im - re)
        const auto v2 = hn::Add(s2, hn::Xor(hn::Reverse2(d, s2), k.oddSign));
        hn::StoreU(hn::Mul(k.eighth, v2), d, pc);
        // s (im - re), -(s (re + im))
        const auto v3 = hn::Add(hn::Reverse2(d, s3), hn::Xor(s3, k.evenSign));
        hn::StoreU(hn::Xor(hn::Mul(k.eighth, v3), k.oddSign), d, pd);
    } else {
        hn::StoreU(mulTw(d, s1, w2, k), d, pb);
        hn::StoreU(mulTw(d, s2, w1, k), d, pc);
        hn::StoreU(mulTw(d, s3, w3, k), d, pd);
    }
}

template <int kind>
void run(Cplx* a, Cplx* b, Cplx* c, Cplx* e, int64_t n, Cplx w1, Cplx w2, Cplx w3) {
    const D d;
    const int64_t per = int64_t(hn::Lanes(d) / 2);
    const Consts k{signMask<true>(d), signMask<false>(d), hn::Set(d, 0.7071067781186547f)};
    int64_t i = 0;
    for (; i + per <= n; i += per)
        bfly<kind>(d, &a[i].re, &b[i].re, &c[i].re, &e[i].re, k, w1, w2, w3);
    if (i < n) {
        if constexpr (kind == 0) fft::plain::bflyNone(a + i, b + i, c + i, e + i, n - i);
        else if constexpr (kind == 1) fft::plain::bflyEighth(a + i, b + i, c + i, e + i, n - i);
        else fft::plain::bflyGeneral(a + i, b + i, c + i, e + i, n - i, w1, w2, w3);
    }
}

void none(Cplx* a, Cplx* b, Cplx* c, Cplx* d, int64_t n) { run<0>(a, b, c, d, n, {}, {}, {}); }
void eighth(Cplx* a, Cplx* b, Cplx* c, Cplx* d, int64_t n) { run<1>(a, b, c, d, n, {}, {}, {}); }

// The fixed route: int32 lanes, sums that wrap, twiddle products from the
// halves of each sample as the plain form makes them.
using DI = hn::ScalableTag<int32_t>;
using fft::CplxI;
using fft::FixTw;

// a times (c + i s): per lane lo(a) t1 + lo(swap a) t2, shifted by 13,
// plus (hi(a) t1 + hi(swap a) t2) times 4, with t1 = (c, c), t2 = (-s, s).
HWY_INLINE hn::Vec<DI> mulTwI(DI d, hn::Vec<DI> a, const FixTw& w) {
    const auto t1 = hn::Set(d, int32_t(w.c));
    const auto t2 = hn::OddEven(hn::Set(d, int32_t(w.s)), hn::Set(d, int32_t(w.ns)));
    const auto sw = hn::Reverse2(d, a);
    const auto mask = hn::Set(d, 0xFFFF);
    const auto loA = hn::ShiftRight<1>(hn::And(a, mask)), loS = hn::ShiftRight<1>(hn::And(sw, mask));
    const auto hiA = hn::ShiftRight<16>(a), hiS = hn::ShiftRight<16>(sw);
    const auto lo = hn::ShiftRight<13>(hn::Add(hn::Mul(loA, t1), hn::Mul(loS, t2)));
    const auto hi = hn::Add(hn::Mul(hiA, t1), hn::Mul(hiS, t2));
    return hn::Add(lo, hn::ShiftLeft<2>(hi));
}

template <bool tw>
void runI(CplxI* a, CplxI* b, CplxI* c, CplxI* e, int64_t n, FixTw w1, FixTw w2, FixTw w3) {
    const DI d;
    const int64_t per = int64_t(hn::Lanes(d) / 2);
    int64_t i = 0;
    for (; i + per <= n; i += per) {
        int32_t *pa = &a[i].re, *pb = &b[i].re, *pc = &c[i].re, *pd = &e[i].re;
        const auto va = hn::LoadU(d, pa), vb = hn::LoadU(d, pb), vc = hn::LoadU(d, pc),
                   ve = hn::LoadU(d, pd);
        const auto t0 = hn::Add(va, vc), t1 = hn::Sub(va, vc);
        const auto t2 = hn::Add(vb, ve), t3 = hn::Sub(vb, ve);
        const auto u = hn::Reverse2(d, t3);  // (t3.im, t3.re)
        const auto plus = hn::Add(t1, u), minus = hn::Sub(t1, u);
        const auto s2 = hn::OddEven(minus, plus);  // (t1.re + t3.im, t1.im - t3.re)
        const auto s3 = hn::OddEven(plus, minus);  // (t1.re - t3.im, t1.im + t3.re)
        hn::StoreU(hn::Add(t0, t2), d, pa);
        if constexpr (tw) {
            hn::StoreU(mulTwI(d, hn::Sub(t0, t2), w2), d, pb);
            hn::StoreU(mulTwI(d, s2, w1), d, pc);
            hn::StoreU(mulTwI(d, s3, w3), d, pd);
        } else {
            hn::StoreU(hn::Sub(t0, t2), d, pb);
            hn::StoreU(s2, d, pc);
            hn::StoreU(s3, d, pd);
        }
    }
    if (i < n) {
        if constexpr (tw) fft::plain::bflyGeneralI(a + i, b + i, c + i, e + i, n - i, w1, w2, w3);
        else fft::plain::bflyNoneI(a + i, b + i, c + i, e + i, n - i);
    }
}

void noneI(CplxI* a, CplxI* b, CplxI* c, CplxI* d, int64_t n) {
    runI<false>(a, b, c, d, n, {}, {}, {});
}

void conj(Cplx* z, int64_t n) {
    const D d;
    const int64_t per = int64_t(hn::Lanes(d) / 2);
    const auto odd = signMask<true>(d);
    int64_t i = 0;
    for (; i + per <= n; i += per) hn::StoreU(hn::Xor(hn::LoadU(d, &z[i].re), odd), d, &z[i].re);
    if (i < n) fft::plain::conj(z + i, n - i);
}

}  // namespace

void fillFft(fft::FftKernels& k) {
    k.conj = conj;
    k.noneI = noneI;
    k.generalI = runI<true>;
    k.none = none;
    k.eighth = eighth;
    k.general = run<2>;
}

}  // namespace HWY_NAMESPACE
}  // namespace zol
HWY_AFTER_NAMESPACE();
#endif

#if HWY_ONCE
namespace zol {
namespace fft {
ZOL_SIMD_FILL(fftSimd, fillFft, FftKernels)
}  // namespace fft
}  // namespace zol
#endif
