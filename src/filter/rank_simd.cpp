// SIMD forms of the rank filters' 8-bit row kernels, written once over
// Highway and compiled for every target of the build by foreach_target.h:
// each vector holds as many neighbouring windows as it has lanes, and the
// order statistics come from lane-wise minima and maxima only, so every
// form gives the bits of the plain one.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "filter/rank_simd.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "core/simd.h"
#include "filter/rank.h"

#if ZOL_SIMD_FORM_TARGET
HWY_BEFORE_NAMESPACE();
namespace zol {
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

using D8 = hn::ScalableTag<uint8_t>;
using V8 = hn::Vec<D8>;

HWY_INLINE V8 mid3(V8 a, V8 b, V8 c) { return hn::Max(hn::Min(a, b), hn::Min(hn::Max(a, b), c)); }

void median3(uint8_t* out, const uint8_t* const* rows, int P, int n, uint8_t* lo, uint8_t* mi,
             uint8_t* hi) {
    const D8 d;
    const int N = int(hn::Lanes(d));
    int e = 0;
    for (; e + N <= n; e += N) {
        V8 L[3], M[3], H[3];
        for (int i = 0; i < 3; ++i) {
            const V8 x = hn::LoadU(d, rows[0] + e + i * P), y = hn::LoadU(d, rows[1] + e + i * P);
            const V8 z = hn::LoadU(d, rows[2] + e + i * P);
            const V8 l = hn::Min(x, y), m = hn::Max(x, y);
            L[i] = hn::Min(l, z);
            const V8 m2 = hn::Max(l, z);
            M[i] = hn::Min(m, m2);
            H[i] = hn::Max(m, m2);
        }
        const V8 l = hn::Max(hn::Max(L[0], L[1]), L[2]);
        const V8 h = hn::Min(hn::Min(H[0], H[1]), H[2]);
        hn::StoreU(mid3(l, mid3(M[0], M[1], M[2]), h), d, out + e);
    }
    if (e < n) {
        const uint8_t* r[3] = {rows[0] + e, rows[1] + e, rows[2] + e};
        rankk::plain::median3(out + e, r, P, n - e, lo, mi, hi);
    }
}

void median5(uint8_t* out, const uint8_t* const* rows, int P, int n) {
    const D8 d;
    const int N = int(hn::Lanes(d));
    int e = 0;
    for (; e + N <= n; e += N) {
        V8 v[25];
        for (int j = 0; j < 5; ++j)
            for (int i = 0; i < 5; ++i) v[j * 5 + i] = hn::LoadU(d, rows[j] + e + i * P);
        for (const auto& x : kMid25) {
            const V8 a = v[x[0]], b = v[x[1]];
            v[x[0]] = hn::Min(a, b);
            v[x[1]] = hn::Max(a, b);
        }
        hn::StoreU(v[12], d, out + e);
    }
    if (e < n) {
        const uint8_t* r[5] = {rows[0] + e, rows[1] + e, rows[2] + e, rows[3] + e, rows[4] + e};
        rankk::plain::median5(out + e, r, P, n - e);
    }
}

template <bool Max>
HWY_INLINE V8 pick(V8 a, V8 b) {
    if constexpr (Max) return hn::Max(a, b);
    else return hn::Min(a, b);
}

template <bool Max>
void vertical(uint8_t* v, const uint8_t* const* rows, int nr, int64_t count) {
    const D8 d;
    const int64_t N = int64_t(hn::Lanes(d));
    int64_t e = 0;
    for (; e + N <= count; e += N) {
        V8 t = hn::LoadU(d, rows[0] + e);
        for (int j = 1; j < nr; ++j) t = pick<Max>(t, hn::LoadU(d, rows[j] + e));
        hn::StoreU(t, d, v + e);
    }
    if (e < count) {
        const uint8_t* r[64];
        // Rows beyond 64 are rare; they take the plain form whole.
        if (nr > 64) return Max ? rankk::plain::vmax(v, rows, nr, count) : rankk::plain::vmin(v, rows, nr, count);
        for (int j = 0; j < nr; ++j) r[j] = rows[j] + e;
        if (Max) rankk::plain::vmax(v + e, r, nr, count - e);
        else rankk::plain::vmin(v + e, r, nr, count - e);
    }
}

template <bool Max>
void horizontal(uint8_t* out, const uint8_t* v, int nc, int P, int n) {
    const D8 d;
    const int N = int(hn::Lanes(d));
    int e = 0;
    for (; e + N <= n; e += N) {
        V8 t = hn::LoadU(d, v + e);
        for (int i = 1; i < nc; ++i) t = pick<Max>(t, hn::LoadU(d, v + e + i * P));
        hn::StoreU(t, d, out + e);
    }
    if (e < n) {
        if (Max) rankk::plain::hmax(out + e, v + e, nc, P, n - e);
        else rankk::plain::hmin(out + e, v + e, nc, P, n - e);
    }
}

}  // namespace

void fillRank(RankKernels& k) {
    k.median3 = median3;
    k.median5 = median5;
    k.vmax = vertical<true>;
    k.vmin = vertical<false>;
    k.hmax = horizontal<true>;
    k.hmin = horizontal<false>;
}

}  // namespace HWY_NAMESPACE
}  // namespace zol
HWY_AFTER_NAMESPACE();
#endif

#if HWY_ONCE
namespace zol {
ZOL_SIMD_FILL(rankSimd, fillRank, RankKernels)
}  // namespace zol
#endif
