// Highway forms of the resampling row passes, compiled for every target of
// the build by foreach_target.h. They give the bytes of the plain passes:
// the same 32-bit integer sums and the same single-precision operations in
// the same order, with no fused multiply-add.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "geometry/resample_simd.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "core/simd.h"
#include "geometry/resample.h"

#if ZOL_SIMD_FORM_TARGET
HWY_BEFORE_NAMESPACE();
namespace zol {
namespace geo {
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

// Single 8-bit elements: a 32-bit word gathered at each first tap holds
// both samples where the second tap is the next byte (or its weight is 0),
// else a second gather brings it. Words must not be read past avail; the
// rest goes to the plain pass.
void linearH8(const uint8_t* s, const int32_t* x0, const int32_t* x1, const int16_t* w,
              int count, int n, uint16_t* out, ptrdiff_t avail) {
    int i = 0;
    if (n == 1) {
        const hn::ScalableTag<int32_t> d32;
        const hn::Rebind<int16_t, decltype(d32)> dw;
        const hn::Rebind<uint16_t, decltype(d32)> d16;
        const auto byte = hn::Set(d32, 0xFF), full = hn::Set(d32, 16384);
        const int lanes = int(hn::Lanes(d32));
        const auto* base = reinterpret_cast<const int32_t*>(s);
        const auto one = hn::Set(d32, 1), zero = hn::Zero(d32);
        for (; i + lanes <= count && x0[i + lanes - 1] + 4 <= avail && x1[i + lanes - 1] + 4 <= avail;
             i += lanes) {
            const auto o = hn::LoadU(d32, x0 + i), o1 = hn::LoadU(d32, x1 + i);
            const auto wb = hn::PromoteTo(d32, hn::LoadU(dw, w + i));
            const auto v = hn::GatherOffset(d32, base, o);
            const auto a = hn::And(v, byte);
            // Taps of one channel among several are not adjacent bytes: a
            // second gather brings the second sample.
            const bool adjacent = hn::AllTrue(d32, hn::Or(hn::Eq(hn::Sub(o1, o), one), hn::Eq(wb, zero)));
            const auto b = adjacent ? hn::And(hn::ShiftRight<8>(v), byte)
                                    : hn::And(hn::GatherOffset(d32, base, o1), byte);
            const auto r = hn::ShiftRight<8>(hn::Add(hn::Mul(a, hn::Sub(full, wb)), hn::Mul(b, wb)));
            hn::StoreU(hn::DemoteTo(d16, r), d16, out + i);
        }
    }
    if (i < count) linearRowH(s, x0 + i, x1 + i, w + i, count - i, n, out + i * n, avail);
}

// 8U cubic element by element: one gathered word holds the four taps of
// an element of a single-channel row, else four gathers bring them.
void cubicH8(const uint8_t* s, const int32_t* t0, int step, const float* fa, const float* fb,
             const float* fc, int count, float* out, ptrdiff_t avail) {
    const hn::ScalableTag<int32_t> d32;
    const hn::ScalableTag<float> df;
    const auto byte = hn::Set(d32, 0xFF);
    const auto two = hn::Set(df, 2.0f);
    const auto* base = reinterpret_cast<const int32_t*>(s);
    const int lanes = int(hn::Lanes(d32));
    int i = 0;
    for (; i + lanes <= count && t0[i + lanes - 1] + 3 * ptrdiff_t(step) + 4 <= avail; i += lanes) {
        const auto o = hn::LoadU(d32, t0 + i);
        hn::Vec<decltype(d32)> v0, v1, v2, v3;
        if (step == 1) {
            const auto v = hn::GatherOffset(d32, base, o);
            v0 = hn::And(v, byte), v1 = hn::And(hn::ShiftRight<8>(v), byte);
            v2 = hn::And(hn::ShiftRight<16>(v), byte), v3 = hn::And(hn::ShiftRight<24>(v), byte);
        } else {
            const auto st = hn::Set(d32, step);
            v0 = hn::And(hn::GatherOffset(d32, base, o), byte);
            v1 = hn::And(hn::GatherOffset(d32, base, hn::Add(o, st)), byte);
            v2 = hn::And(hn::GatherOffset(d32, base, hn::Add(o, hn::Add(st, st))), byte);
            v3 = hn::And(hn::GatherOffset(d32, base, hn::Add(o, hn::Add(st, hn::Add(st, st)))), byte);
        }
        const auto y0 = hn::ConvertTo(df, v0), y1 = hn::ConvertTo(df, v1);
        const auto y2 = hn::ConvertTo(df, v2), y3 = hn::ConvertTo(df, v3);
        const auto d1 = hn::Sub(y1, y0);
        const auto d2 = hn::Sub(hn::Sub(y2, y1), d1);
        const auto d3 = hn::Sub(hn::Add(hn::Sub(y3, hn::Mul(two, y2)), y1), d2);
        const auto a = hn::LoadU(df, fa + i), b = hn::LoadU(df, fb + i), c = hn::LoadU(df, fc + i);
        hn::StoreU(hn::Add(hn::Add(hn::Add(y0, hn::Mul(a, d1)), hn::Mul(b, d2)), hn::Mul(c, d3)), df,
                   out + i);
    }
    if (i < count) cubicRowH8(s, t0 + i, step, fa + i, fb + i, fc + i, count - i, out + i, avail);
}

// (h0 (16384 - v) + h1 v) >> Shift on 32-bit lanes; h below 2^15.
template <int Shift, class T>
void linearV(const uint16_t* h0, const uint16_t* h1, int v, int count, T* out) {
    const hn::ScalableTag<int32_t> d32;
    const hn::Rebind<uint16_t, decltype(d32)> d16;
    const hn::Rebind<T, decltype(d32)> dt;
    const auto w0 = hn::Set(d32, 16384 - v), w1 = hn::Set(d32, v);
    const int lanes = int(hn::Lanes(d32));
    int i = 0;
    for (; i + lanes <= count; i += lanes) {
        const auto a = hn::PromoteTo(d32, hn::LoadU(d16, h0 + i));
        const auto b = hn::PromoteTo(d32, hn::LoadU(d16, h1 + i));
        const auto r = hn::ShiftRight<Shift>(hn::Add(hn::Mul(a, w0), hn::Mul(b, w1)));
        hn::StoreU(hn::DemoteTo(dt, r), dt, out + i);
    }
    if (i < count) linearRowV(h0 + i, h1 + i, v, count - i, out + i);
}

void linearV8(const uint16_t* h0, const uint16_t* h1, int v, int count, uint8_t* out) {
    linearV<20>(h0, h1, v, count, out);
}
void linearV16(const uint16_t* h0, const uint16_t* h1, int v, int count, uint16_t* out) {
    linearV<13>(h0, h1, v, count, out);
}

// The cubic of the plain pass, lane by lane, then rounded by the magic
// number and clamped.
template <class T>
void cubicV(const float* const* h, CubicFactors f, int count, T* out) {
    const hn::ScalableTag<float> df;
    const hn::RebindToSigned<decltype(df)> di;
    const hn::Rebind<T, decltype(df)> dt;
    const auto a = hn::Set(df, f.a), b = hn::Set(df, f.b), c = hn::Set(df, f.c);
    const auto two = hn::Set(df, 2.0f), eps = hn::Set(df, 0.00001f), half = hn::Set(df, 0.5f);
    const auto magic = hn::Set(df, 12582912.0f);
    const auto lo = hn::Zero(di), hi = hn::Set(di, sizeof(T) == 1 ? 255 : 65535);
    const int lanes = int(hn::Lanes(df));
    int i = 0;
    for (; i + lanes <= count; i += lanes) {
        const auto y0 = hn::LoadU(df, h[0] + i), y1 = hn::LoadU(df, h[1] + i);
        const auto y2 = hn::LoadU(df, h[2] + i), y3 = hn::LoadU(df, h[3] + i);
        const auto d1 = hn::Sub(y1, y0);
        const auto d2 = hn::Sub(hn::Sub(y2, y1), d1);
        const auto d3 = hn::Sub(hn::Add(hn::Sub(y3, hn::Mul(two, y2)), y1), d2);
        const auto p = hn::Add(hn::Add(hn::Add(y0, hn::Mul(a, d1)), hn::Mul(b, d2)), hn::Mul(c, d3));
        const auto q = hn::Sub(hn::Add(hn::Sub(hn::Add(p, eps), half), magic), magic);
        const auto r = hn::Min(hn::Max(hn::ConvertTo(di, q), lo), hi);
        hn::StoreU(hn::DemoteTo(dt, r), dt, out + i);
    }
    if (i < count) {
        const float* rest[4] = {h[0] + i, h[1] + i, h[2] + i, h[3] + i};
        cubicRowV(rest, f, count - i, out + i);
    }
}

void cubicV8(const float* const* h, CubicFactors f, int count, uint8_t* out) { cubicV(h, f, count, out); }
void cubicV16(const float* const* h, CubicFactors f, int count, uint16_t* out) { cubicV(h, f, count, out); }

}  // namespace

void fillResample(ResampleKernels& k) {
    k.linearH8 = linearH8;
    k.cubicH8 = cubicH8;
    k.linearV8 = linearV8;
    k.linearV16 = linearV16;
    k.cubicV8 = cubicV8;
    k.cubicV16 = cubicV16;
}

}  // namespace HWY_NAMESPACE
}  // namespace geo
}  // namespace zol
HWY_AFTER_NAMESPACE();
#endif

#if HWY_ONCE
namespace zol {
namespace geo {
ZOL_SIMD_FILL(resampleSimd, fillResample, ResampleKernels)
}  // namespace geo
}  // namespace zol
#endif
