// SIMD forms of the convolutions' hot row kernels, written once over
// Highway and compiled for every target of the build by foreach_target.h.
// 8-bit samples widen to 16-bit lanes for the 16-bit class and the
// separable column pass (their sums never leave 16 bits), to 32-bit lanes
// for the separable row pass (which wraps modulo 2^32, as vector adds do);
// the float class widens to double lanes and rounds to float after each
// tap, as the plain form does.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "filter/convolve_simd.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include <limits>

#include "core/simd.h"
#include "filter/convolve.h"

#if ZOL_SIMD_FORM_TARGET
HWY_BEFORE_NAMESPACE();
namespace zol {
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

using D16 = hn::ScalableTag<int16_t>;
using D8h = hn::Rebind<uint8_t, D16>;  // as many bytes as 16-bit lanes

HWY_INLINE hn::Vec<D16> widen(const uint8_t* p) { return hn::PromoteTo(D16(), hn::LoadU(D8h(), p)); }

template <int KW, int KH>
void whole(int16_t* acc, const uint8_t* const* rows, int x0, const int32_t* c, int P, int n) {
    const D16 d;
    const int N = int(hn::Lanes(d));
    hn::Vec<D16> k[KW * KH];
    for (int i = 0; i < KW * KH; ++i) k[i] = hn::Set(d, int16_t(c[i]));
    const uint8_t* r[KH];
    for (int j = 0; j < KH; ++j) r[j] = rows[j] + x0;
    int e = 0;
    for (; e + N <= n; e += N) {
        auto v = hn::Zero(d);
        for (int j = 0; j < KH; ++j)
            for (int i = 0; i < KW; ++i) v = hn::Add(v, hn::Mul(k[j * KW + i], widen(r[j] + e + i * P)));
        hn::StoreU(v, d, acc + e);
    }
    if (e < n) {
        if (KW == 3) convk::plain::whole3x3(acc + e, rows, x0 + e, c, P, n - e);
        else convk::plain::whole5x5(acc + e, rows, x0 + e, c, P, n - e);
    }
}

void whole3x3(int16_t* acc, const uint8_t* const* rows, int x0, const int32_t* c, int P, int n) {
    whole<3, 3>(acc, rows, x0, c, P, n);
}
void whole5x5(int16_t* acc, const uint8_t* const* rows, int x0, const int32_t* c, int P, int n) {
    whole<5, 5>(acc, rows, x0, c, P, n);
}

void row(int16_t* acc, const uint8_t* s, const int32_t* c, int kw, int P, int n, bool first) {
    const D16 d;
    const int N = int(hn::Lanes(d));
    int e = 0;
    for (; e + N <= n; e += N) {
        auto v = first ? hn::Zero(d) : hn::LoadU(d, acc + e);
        for (int i = 0; i < kw; ++i)
            v = hn::Add(v, hn::Mul(hn::Set(d, int16_t(c[i])), widen(s + e + i * P)));
        hn::StoreU(v, d, acc + e);
    }
    if (e < n) convk::plain::row(acc + e, s + e, c, kw, P, n - e, first);
}

void store(uint8_t* out, const int16_t* a, int n, int lo, int hi) {
    const D16 d;
    const int N = int(hn::Lanes(d));
    const auto l = hn::Set(d, int16_t(lo)), h = hn::Set(d, int16_t(hi));
    int e = 0;
    for (; e + N <= n; e += N)
        hn::StoreU(hn::DemoteTo(D8h(), hn::Min(hn::Max(hn::LoadU(d, a + e), l), h)), D8h(), out + e);
    if (e < n) convk::plain::store(out + e, a + e, n - e, lo, hi);
}

void tap(float* acc, const float* s, double c, int n) {
    const hn::ScalableTag<double> dd;
    const hn::Rebind<float, decltype(dd)> df;
    const int N = int(hn::Lanes(dd));
    const auto k = hn::Set(dd, c);
    const float nan = std::numeric_limits<float>::quiet_NaN();
    int e = 0;
    for (; e + N <= n; e += N) {
        const auto sum = hn::Add(hn::PromoteTo(dd, hn::LoadU(df, acc + e)),
                                 hn::Mul(k, hn::PromoteTo(dd, hn::LoadU(df, s + e))));
        const auto f = hn::DemoteTo(df, sum);
        hn::StoreU(hn::IfThenElse(hn::IsNaN(f), hn::Set(df, nan), f), df, acc + e);
    }
    if (e < n) convk::plain::tap(acc + e, s + e, c, n - e);
}

void sepColumn(int16_t* t, const uint8_t* const* rows, const int32_t* c, int ny, int64_t n) {
    const D16 d;
    const int64_t N = int64_t(hn::Lanes(d));
    int64_t u = 0;
    // All the column's taps in one pass while they fit the registers.
    if (ny <= 8) {
        hn::Vec<D16> k[8];
        for (int j = 0; j < ny; ++j) k[j] = hn::Set(d, int16_t(c[j]));
        for (; u + N <= n; u += N) {
            auto v = hn::Mul(k[0], widen(rows[0] + u));
            for (int j = 1; j < ny; ++j) v = hn::Add(v, hn::Mul(k[j], widen(rows[j] + u)));
            hn::StoreU(v, d, t + u);
        }
    } else {
        for (int j = 0; j < ny; ++j) {
            const auto k = hn::Set(d, int16_t(c[j]));
            for (u = 0; u + N <= n; u += N) {
                auto v = hn::Mul(k, widen(rows[j] + u));
                if (j) v = hn::Add(v, hn::LoadU(d, t + u));
                hn::StoreU(v, d, t + u);
            }
        }
    }
    if (u < n) {
        const uint8_t* rest[64];
        if (ny > 64) return convk::plain::sepColumn(t, rows, c, ny, n);
        for (int j = 0; j < ny; ++j) rest[j] = rows[j] + u;
        convk::plain::sepColumn(t + u, rest, c, ny, n - u);
    }
}

void sepRow(uint8_t* out, const int16_t* t, const int32_t* c, int nx, int P, int n, int sh, int lo,
            int hi) {
    const hn::ScalableTag<int32_t> d;
    const hn::Rebind<int16_t, decltype(d)> dh;
    const hn::Rebind<uint8_t, decltype(d)> d8;
    const int N = int(hn::Lanes(d));
    hn::Vec<decltype(d)> k[7];
    for (int i = 0; i < nx; ++i) k[i] = hn::Set(d, int16_t(c[i]));
    const auto l = hn::Set(d, lo), h = hn::Set(d, hi);
    int e = 0;
    for (; e + N <= n; e += N) {
        auto v = hn::Zero(d);
        for (int i = 0; i < nx; ++i)
            v = hn::Add(v, hn::Mul(k[i], hn::PromoteTo(d, hn::LoadU(dh, t + e + i * P))));
        v = hn::Min(hn::Max(hn::ShiftRightSame(v, sh), l), h);
        hn::StoreU(hn::DemoteTo(d8, v), d8, out + e);
    }
    if (e < n) convk::plain::sepRow(out + e, t + e, c, nx, P, n - e, sh, lo, hi);
}

// The same in 16-bit lanes: no partial sum leaves 16 bits, so the result is
// that of the 32-bit sums; a shift of 15 or more leaves only the sign.
void sepRowShort(uint8_t* out, const int16_t* t, const int32_t* c, int nx, int P, int n, int sh,
                 int lo, int hi) {
    const D16 d;
    const int N = int(hn::Lanes(d));
    hn::Vec<D16> k[7];
    for (int i = 0; i < nx; ++i) k[i] = hn::Set(d, int16_t(c[i]));
    const auto l = hn::Set(d, int16_t(lo)), h = hn::Set(d, int16_t(hi));
    const int s = sh < 15 ? sh : 15;
    int e = 0;
    for (; e + N <= n; e += N) {
        auto v = hn::Mul(k[0], hn::LoadU(d, t + e));
        for (int i = 1; i < nx; ++i) v = hn::Add(v, hn::Mul(k[i], hn::LoadU(d, t + e + i * P)));
        v = hn::Min(hn::Max(hn::ShiftRightSame(v, s), l), h);
        hn::StoreU(hn::DemoteTo(D8h(), v), D8h(), out + e);
    }
    if (e < n) convk::plain::sepRow(out + e, t + e, c, nx, P, n - e, sh, lo, hi);
}

}  // namespace

void fillConv(ConvKernels& k) {
    k.sepRowShort = sepRowShort;
    k.whole3x3 = whole3x3;
    k.whole5x5 = whole5x5;
    k.row = row;
    k.store = store;
    k.tap = tap;
    k.sepColumn = sepColumn;
    k.sepRow = sepRow;
}

}  // namespace HWY_NAMESPACE
}  // namespace zol
HWY_AFTER_NAMESPACE();
#endif

#if HWY_ONCE
namespace zol {
ZOL_SIMD_FILL(convSimd, fillConv, ConvKernels)
}  // namespace zol
#endif
