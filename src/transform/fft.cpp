// The two-dimensional real Fourier transform: real pixels to the packed
// spectrum (zolRealFft2D) and back (zolCcsFft2D), in single precision or
// in 32-bit fixed point with 6 fractional bits.
//
// A power-of-two length of at least 4 runs a radix-4 decimation-in-frequency
// transform of half the length followed by a split; any other length runs
// the direct sum in extended precision. Every table lives in the calling
// thread's context and is built once per length.
#include "transform/fft.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>

#include "core/context.h"
#include "core/heap.h"
#include "core/image.h"
#include "core/messages.h"
#include "core/rect.h"
#include "core/report.h"

namespace zol {
namespace fft {

namespace {

constexpr int kSlots = 32;
constexpr int kMaxLog = 31;

// The thread's cache: work buffers handed out one slot per request within
// a call, tables by log2 of the length, and direct-sum tables by length.
struct Cache {
    void* buf[2][kSlots];
    size_t cap[2][kSlots];
    int used[2];
    int32_t* rev[kMaxLog];
    Cplx* tw[kMaxLog];
    Cplx* split[kMaxLog];
    FixTw* twI[kMaxLog];
    int dLen[2][kSlots];
    void* dTab[2][kSlots];
};

Cache* cacheOf(ZolThreadContext* ctx, bool create) {
    if (!ctx->fftCache.tables && create) {
        void* p = heapAlloc(sizeof(Cache));
        if (!p) return nullptr;
        std::memset(p, 0, sizeof(Cache));
        ctx->fftCache.tables = p;
    }
    return static_cast<Cache*>(ctx->fftCache.tables);
}

// Work buffers: kind 0 fixed point, kind 1 floating point.
void* workBuffer(Cache* c, int kind, size_t bytes) {
    if (c->used[kind] >= kSlots) return nullptr;
    const int s = c->used[kind]++;
    if (c->cap[kind][s] < bytes) {
        heapFree(c->buf[kind][s]);
        c->buf[kind][s] = heapAlloc(bytes);
        c->cap[kind][s] = c->buf[kind][s] ? bytes : 0;
    }
    return c->buf[kind][s];
}

// Twiddles exp(-2 pi i k / 2^L), k = 0 .. 2^L - 1, in both number forms.
// The first octant comes from the angle of pi/4 halved, by angle addition
// in double precision, and is mirrored into the rest of the circle.
bool makeTwiddles(Cache* c, int L) {
    const int64_t m = int64_t(1) << L;
    Cplx* tf = static_cast<Cplx*>(heapAlloc(sizeof(Cplx) * size_t(m)));
    FixTw* ti = static_cast<FixTw*>(heapAlloc(sizeof(FixTw) * size_t(m)));
    const int64_t q = std::max<int64_t>(m / 4, 1);
    double* cs = static_cast<double*>(heapAlloc(sizeof(double) * 2 * size_t(q + 1)));
    if (!tf || !ti || !cs) {
        heapFree(tf);
        heapFree(ti);
        heapFree(cs);
        return false;
    }
    // cs[2k], cs[2k+1]: cos and sin of 2 pi k / m in the first quadrant.
    if (m >= 4) {
        cs[0] = 1.0;
        cs[1] = 0.0;
        const int64_t e = m / 8;
        if (e >= 1) {
            double a = std::atan(1.0);  // pi / 4
            for (int i = 3; i < L; ++i) a *= 0.5;
            const double c1 = std::cos(a), s1 = std::sin(a);
            for (int64_t k = 1; k <= e; ++k) {
                const double pc = cs[2 * k - 2], ps = cs[2 * k - 1];
                cs[2 * k] = pc * c1 - ps * s1;
                cs[2 * k + 1] = ps * c1 + pc * s1;
            }
        }
        for (int64_t k = e + 1; k <= q; ++k) {
            cs[2 * k] = cs[2 * (q - k) + 1];
            cs[2 * k + 1] = cs[2 * (q - k)];
        }
    }
    for (int64_t k = 0; k < m; ++k) {
        double cr, si;
        if (m < 4) {
            cr = k == 0 ? 1.0 : -1.0;
            si = 0.0;
        } else {
            const int64_t r = k % q;
            const double a = cs[2 * r], b = cs[2 * r + 1];
            switch (k / q) {
                case 0: cr = a, si = b; break;
                case 1: cr = -b, si = a; break;
                case 2: cr = -a, si = -b; break;
                default: cr = b, si = -a; break;
            }
        }
        tf[k] = Cplx{float(cr), float(-si)};
        const int16_t ic = int16_t(cr * 16384.0), is = int16_t(-si * 16384.0);
        ti[k] = FixTw{ic, is, int16_t(-is), ic};
    }
    heapFree(cs);
    c->tw[L] = tf;
    c->twI[L] = ti;
    return true;
}

bool makeRev(Cache* c, int L) {
    const int64_t m = int64_t(1) << L;
    int32_t* r = static_cast<int32_t*>(heapAlloc(sizeof(int32_t) * size_t(m)));
    if (!r) return false;
    // A counter with its bits reversed: add one at the top bit, carry down.
    uint32_t v = 0;
    for (int64_t k = 0; k < m; ++k) {
        r[k] = int32_t(v);
        uint32_t bit = L > 0 ? uint32_t(1) << (L - 1) : 0;
        while (bit && (v & bit)) {
            v ^= bit;
            bit >>= 1;
        }
        v |= bit;
    }
    c->rev[L] = r;
    return true;
}

// Split coefficients for complex length M = 2^L: (0.5 cos t, 0.5 (1 - sin t))
// with t = pi (k+1) / M, by repeated rotation in double precision.
bool makeSplit(Cache* c, int L) {
    const int64_t m = int64_t(1) << L;
    const int64_t n = std::max<int64_t>(m / 2, 1);
    Cplx* s = static_cast<Cplx*>(heapAlloc(sizeof(Cplx) * size_t(n)));
    if (!s) return false;
    const double a = 4.0 * std::atan(1.0) / double(m);
    const double c1 = std::cos(a), s1 = std::sin(a);
    double cr = c1, si = s1;
    for (int64_t k = 0; k < n; ++k) {
        s[k] = Cplx{float(0.5 * cr), float(0.5 * (1.0 - si))};
        const double nc = cr * c1 - si * s1;
        si = si * c1 + cr * s1;
        cr = nc;
    }
    c->split[L] = s;
    return true;
}

// Direct-sum table of length n: kind 1 (cos, -sin) floats, kind 0 the
// fixed-point words.
void* directTable(Cache* c, int kind, int n) {
    for (int s = 0; s < kSlots; ++s) {
        if (c->dLen[kind][s] == n) return c->dTab[kind][s];
        if (c->dLen[kind][s] != 0) continue;
        const double step = 8.0 * std::atan(1.0) / double(n);
        void* t = heapAlloc(size_t(n) * (kind ? sizeof(Cplx) : sizeof(FixTw)));
        if (!t) return nullptr;
        for (int k = 0; k < n; ++k) {
            const double cr = std::cos(step * k), si = -std::sin(step * k);
            if (kind) {
                static_cast<Cplx*>(t)[k] = Cplx{float(cr), float(si)};
            } else {
                const int16_t ic = int16_t(cr * 16384.0), is = int16_t(si * 16384.0);
                static_cast<FixTw*>(t)[k] = FixTw{ic, is, int16_t(-is), ic};
            }
        }
        c->dLen[kind][s] = n;
        c->dTab[kind][s] = t;
        return t;
    }
    return nullptr;  // all slots taken: met like a lack of memory
}

void freeCache(Cache* c) {
    for (int k = 0; k < 2; ++k)
        for (int s = 0; s < kSlots; ++s) {
            heapFree(c->buf[k][s]);
            heapFree(c->dTab[k][s]);
        }
    for (int l = 0; l < kMaxLog; ++l) {
        heapFree(c->rev[l]);
        heapFree(c->tw[l]);
        heapFree(c->split[l]);
        heapFree(c->twI[l]);
    }
    std::memset(c, 0, sizeof(Cache));
}

// ---------------------------------------------------------------------
// Arithmetic of the two routes.

// Float route: plain single-precision operations.
struct FloatOps {
    using T = float;
    using C = Cplx;
    using Tw = Cplx;
    static T add(T a, T b) { return a + b; }
    static T sub(T a, T b) { return a - b; }
    static T neg(T a) { return -a; }
    static C mul(C a, Tw w) { return C{a.re * w.re - a.im * w.im, a.re * w.im + a.im * w.re}; }
    // Times exp(-i pi / 4) with the constant in place of the table entry.
    static C mulEighth(C a) {
        const float s = 0.7071067781186547f;
        return C{s * (a.re + a.im), s * (a.im - a.re)};
    }
    // Times exp(-3 i pi / 4).
    static C mulThreeEighths(C a) {
        const float s = 0.7071067781186547f;
        return C{s * (a.im - a.re), -(s * (a.re + a.im))};
    }
};

// Fixed route: 32-bit sums that wrap, products by 14-bit twiddles through
// the high and low halves of the sample.
inline int32_t wrap(uint32_t v) { return int32_t(v); }
inline int32_t wadd(int32_t a, int32_t b) { return wrap(uint32_t(a) + uint32_t(b)); }
inline int32_t wsub(int32_t a, int32_t b) { return wrap(uint32_t(a) - uint32_t(b)); }
inline int32_t lowHalf(int32_t s) { return int32_t((uint32_t(s) & 0xFFFFu) >> 1); }
inline int32_t highHalf(int32_t s) { return int32_t(s) >> 16; }
// s * t / 2^14 as the 16x16 multiply-add forms it.
inline int32_t fixMul(int32_t s, int32_t t) {
    const int32_t lo = (lowHalf(s) * t) >> 13;
    return wadd(lo, wrap(uint32_t(highHalf(s) * t) * 4u));
}
// a * t + b * u / 2^14, the two products summed in each half first.
inline int32_t fixMul2(int32_t a, int32_t t, int32_t b, int32_t u) {
    const int32_t lo = wrap(uint32_t(lowHalf(a) * t) + uint32_t(lowHalf(b) * u)) >> 13;
    const uint32_t hi = uint32_t(highHalf(a) * t) + uint32_t(highHalf(b) * u);
    return wadd(lo, wrap(hi * 4u));
}

struct FixOps {
    using T = int32_t;
    using C = CplxI;
    using Tw = FixTw;
    static T add(T a, T b) { return wadd(a, b); }
    static T sub(T a, T b) { return wsub(a, b); }
    static T neg(T a) { return wsub(0, a); }
    static C mul(C a, const Tw& w) {
        return C{fixMul2(a.re, w.c, a.im, w.ns), fixMul2(a.re, w.s, a.im, w.c2)};
    }
};

template <class O>
inline typename O::C cadd(typename O::C a, typename O::C b) {
    return {O::add(a.re, b.re), O::add(a.im, b.im)};
}
template <class O>
inline typename O::C csub(typename O::C a, typename O::C b) {
    return {O::sub(a.re, b.re), O::sub(a.im, b.im)};
}

// The radix-4 butterfly at position j of a group with quarter q; w1, w2,
// w3 are w^j, w^2j, w^3j. Shared by the single transforms and the blocked
// column pass so that both do the same operations in the same order.
enum class Bf { None, Eighth, General };

template <class O, Bf kind>
inline void butterfly(typename O::C& pa, typename O::C& pb, typename O::C& pc, typename O::C& pd,
                      const typename O::Tw& w1, const typename O::Tw& w2,
                      const typename O::Tw& w3) {
    using C = typename O::C;
    const C a = pa, b = pb, c = pc, d = pd;
    const C t0 = cadd<O>(a, c), t1 = csub<O>(a, c);
    const C t2 = cadd<O>(b, d), t3 = csub<O>(b, d);
    const C s0 = cadd<O>(t0, t2), s1 = csub<O>(t0, t2);
    // t1 -/+ i t3
    const C s2{O::add(t1.re, t3.im), O::sub(t1.im, t3.re)};
    const C s3{O::sub(t1.re, t3.im), O::add(t1.im, t3.re)};
    pa = s0;
    if constexpr (kind == Bf::None) {
        pb = s1, pc = s2, pd = s3;
    } else if constexpr (kind == Bf::Eighth) {
        pb = C{s1.im, -s1.re};
        pc = O::mulEighth(s2);
        pd = O::mulThreeEighths(s3);
    } else {
        pb = O::mul(s1, w2);
        pc = O::mul(s2, w1);
        pd = O::mul(s3, w3);
    }
}

// The butterflies of one position j of a stage over n transforms side by
// side go through the kernel table of the active form, fetched once per
// call.
thread_local const FftKernels* tKernels = nullptr;

template <class O>
void position(typename O::C* pa, typename O::C* pb, typename O::C* pc, typename O::C* pd,
              int64_t n, const typename O::Tw* tw, int64_t j, int64_t q, int64_t step) {
    if constexpr (std::is_same_v<O, FloatOps>) {
        const FftKernels& k = *tKernels;
        if (j == 0) k.none(pa, pb, pc, pd, n);
        else if (2 * j == q) k.eighth(pa, pb, pc, pd, n);
        else k.general(pa, pb, pc, pd, n, tw[j * step], tw[2 * j * step], tw[3 * j * step]);
        return;
    } else {
        const FftKernels& k = *tKernels;
        if (j == 0) k.noneI(pa, pb, pc, pd, n);
        else k.generalI(pa, pb, pc, pd, n, tw[j * step], tw[2 * j * step], tw[3 * j * step]);
    }
}

// Element i of a line of complex numbers whose elements lie stride
// scalars apart.
template <class O>
inline typename O::C* elem(typename O::C* x, int64_t i, int64_t stride) {
    return reinterpret_cast<typename O::C*>(reinterpret_cast<typename O::T*>(x) + i * stride);
}

// Complex transform of length 2^L, kernel exp(-2 pi i k n / M), in place,
// output in bit-reversed order; n transforms side by side, element i of
// transform k at elem(x, i, stride)[k].
template <class O>
void radix4(typename O::C* x, int L, const typename O::Tw* tw, int64_t n = 1, int64_t stride = 2) {
    using C = typename O::C;
    const int64_t m = int64_t(1) << L;
    int64_t len = m;
    for (; len >= 4; len >>= 2) {
        const int64_t q = len / 4, step = m / len;
        for (int64_t g = 0; g < m; g += len)
            for (int64_t j = 0; j < q; ++j)
                position<O>(elem<O>(x, g + j, stride), elem<O>(x, g + j + q, stride),
                            elem<O>(x, g + j + 2 * q, stride), elem<O>(x, g + j + 3 * q, stride),
                            n, tw, j, q, step);
    }
    if (len == 2) {
        for (int64_t g = 0; g < m; g += 2) {
            C* a = elem<O>(x, g, stride);
            C* b = elem<O>(x, g + 1, stride);
            for (int64_t k = 0; k < n; ++k) {
                const C u = a[k], v = b[k];
                a[k] = cadd<O>(u, v);
                b[k] = csub<O>(u, v);
            }
        }
    }
}

// Complex transforms of length 2^L in natural order down n columns side by
// side, element i of column k at elem(x, i, stride)[k], in blocks of
// columns that stay in cache. Each column gets exactly the operations of a
// single transform.
template <class O>
void columnsFast(typename O::C* x, int64_t n, int64_t stride, int L, int sign,
                 const typename O::Tw* tw, const int32_t* rev) {
    using C = typename O::C;
    constexpr int64_t kBlock = 32;
    const int64_t m = int64_t(1) << L;
    auto conj = [&](C* b, int64_t nb) {
        for (int64_t i = 0; i < m; ++i) {
            C* r = elem<O>(b, i, stride);
            if constexpr (std::is_same_v<O, FloatOps>) {
                tKernels->conj(r, nb);
            } else {
                for (int64_t k = 0; k < nb; ++k) r[k].im = O::neg(r[k].im);
            }
        }
    };
    for (int64_t c0 = 0; c0 < n; c0 += kBlock) {
        const int64_t nb = std::min(kBlock, n - c0);
        C* b = x + c0;
        if (sign < 0) conj(b, nb);
        radix4<O>(b, L, tw, nb, stride);
        for (int64_t i = 0; i < m; ++i) {
            const int64_t r = rev[i];
            if (i < r) std::swap_ranges(elem<O>(b, i, stride), elem<O>(b, i, stride) + nb,
                                        elem<O>(b, r, stride));
        }
        if (sign < 0) conj(b, nb);
    }
}

template <class C>
void bitReverse(C* x, int64_t m, const int32_t* rev) {
    for (int64_t k = 0; k < m; ++k) {
        const int64_t r = rev[k];
        if (k < r) std::swap(x[k], x[r]);
    }
}

template <class O>
void conjugate(typename O::C* x, int64_t m) {
    for (int64_t k = 0; k < m; ++k) x[k].im = O::neg(x[k].im);
}

// Complex transform in natural order; sign +1 the negative exponent, -1 the
// positive one by conjugating input and output.
template <class O>
void complexFast(typename O::C* x, int L, int sign, const typename O::Tw* tw, const int32_t* rev) {
    const int64_t m = int64_t(1) << L;
    if (sign < 0) conjugate<O>(x, m);
    radix4<O>(x, L, tw);
    bitReverse(x, m, rev);
    if (sign < 0) conjugate<O>(x, m);
}

}  // namespace

namespace plain {
void bflyNone(Cplx* a, Cplx* b, Cplx* c, Cplx* d, int64_t n) {
    for (int64_t k = 0; k < n; ++k) butterfly<FloatOps, Bf::None>(a[k], b[k], c[k], d[k], {}, {}, {});
}
void bflyEighth(Cplx* a, Cplx* b, Cplx* c, Cplx* d, int64_t n) {
    for (int64_t k = 0; k < n; ++k) butterfly<FloatOps, Bf::Eighth>(a[k], b[k], c[k], d[k], {}, {}, {});
}
void bflyGeneral(Cplx* a, Cplx* b, Cplx* c, Cplx* d, int64_t n, Cplx w1, Cplx w2, Cplx w3) {
    for (int64_t k = 0; k < n; ++k) butterfly<FloatOps, Bf::General>(a[k], b[k], c[k], d[k], w1, w2, w3);
}
void conj(Cplx* z, int64_t n) {
    for (int64_t k = 0; k < n; ++k) z[k].im = -z[k].im;
}
void bflyNoneI(CplxI* a, CplxI* b, CplxI* c, CplxI* d, int64_t n) {
    for (int64_t k = 0; k < n; ++k) butterfly<FixOps, Bf::None>(a[k], b[k], c[k], d[k], {}, {}, {});
}
void bflyGeneralI(CplxI* a, CplxI* b, CplxI* c, CplxI* d, int64_t n, FixTw w1, FixTw w2,
                  FixTw w3) {
    for (int64_t k = 0; k < n; ++k)
        butterfly<FixOps, Bf::General>(a[k], b[k], c[k], d[k], w1, w2, w3);
}
}  // namespace plain

namespace {
FftKernels makeTable(Form form) {
    FftKernels k{plain::bflyNone,  plain::bflyEighth,   plain::bflyGeneral,
                 plain::conj,      plain::bflyNoneI,    plain::bflyGeneralI};
    fftSimd(form, k);
    return k;
}
}  // namespace

const FftKernels& fftKernels() { return tableForActiveForm(makeTable); }
Form fftForm() { return activeForm(); }

// ---------------------------------------------------------------------
// One-dimensional transforms on a dimension the plan has prepared.

namespace {

// Forward real fast way, float: after the half-length complex transform
// of the row viewed as n/2 complex numbers, the split to its packing.
void splitPack(float* x, const Dim& d, int sign) {
    const int64_t n = d.n, m = n / 2;
    Cplx* z = reinterpret_cast<Cplx*>(x);
    const float a = z[0].re, b = z[0].im;
    x[0] = a + b;
    const Cplx* T = d.split;
    for (int64_t k = 1; k < m / 2; ++k) {
        const Cplx t = T[k - 1];
        float ar, ai, br, bi;
        if (sign > 0) ar = t.im, ai = -t.re, br = 1.0f - t.im, bi = t.re;
        else ar = 1.0f - t.im, ai = -t.re, br = t.im, bi = t.re;
        const float zr = z[k].re, zi = z[k].im, mr = z[m - k].re, mi = z[m - k].im;
        z[k].re = zr * ar - zi * ai + mr * br + mi * bi;
        z[k].im = zr * ai + zi * ar + mr * bi - mi * br;
        z[m - k].re = mr * ar + mi * ai + zr * br - zi * bi;
        z[m - k].im = -(mr * ai - mi * ar + zr * bi + zi * br);
    }
    if (sign > 0) z[m / 2].im = -z[m / 2].im;
    std::memmove(x + 1, x + 2, sizeof(float) * size_t(n - 2));
    x[n - 1] = a - b;
}

void realFwdFast(float* x, const Dim& d, int sign) {
    complexFast<FloatOps>(reinterpret_cast<Cplx*>(x), d.L - 1, sign, d.twHalf, d.revHalf);
    splitPack(x, d, sign);
}

// Packing to n reals (times n), float: the inverse split, which leaves the
// half-length complex transform to do.
void unpackSplit(float* x, const Dim& d, int sign) {
    const int64_t n = d.n, m = n / 2;
    const float a = x[0], b = x[n - 1];
    std::memmove(x + 2, x + 1, sizeof(float) * size_t(n - 2));
    Cplx* z = reinterpret_cast<Cplx*>(x);
    for (int64_t k = 1; k < m / 2; ++k) {
        Cplx w = d.twFull[k];
        if (sign < 0) w.im = -w.im;
        const float xr = z[k].re, xi = z[k].im, mr = z[m - k].re, mi = z[m - k].im;
        const float sr = xr + mr, si = xi - mi, dr = xr - mr, di = xi + mi;
        const float pr = w.re * dr - w.im * di, pi = w.re * di + w.im * dr;
        z[k] = Cplx{sr - pi, si + pr};
        z[m - k] = Cplx{sr + pi, pr - si};
    }
    Cplx& h = z[m / 2];
    h.re = 2.0f * h.re;
    h.im = sign > 0 ? 2.0f * h.im : -(2.0f * h.im);
    z[0] = Cplx{a + b, a - b};
}

void realInvFast(float* x, const Dim& d, int sign) {
    unpackSplit(x, d, sign);
    complexFast<FloatOps>(reinterpret_cast<Cplx*>(x), d.L - 1, sign, d.twHalf, d.revHalf);
}

void splitPack(int32_t* x, const Dim& d, int sign) {
    const int64_t n = d.n, m = n / 2;
    CplxI* z = reinterpret_cast<CplxI*>(x);
    const int32_t a = z[0].re, b = z[0].im;
    x[0] = wadd(a, b);
    for (int64_t k = 1; k < m / 2; ++k) {
        const FixTw& w = d.twIFull[k];
        const int32_t ws = sign > 0 ? w.s : w.ns;
        const CplxI p = z[k], q = z[m - k];
        const int32_t sr = wadd(p.re, q.re) >> 1, si = wsub(p.im, q.im) >> 1;
        const int32_t dr = wsub(p.re, q.re) >> 1, di = wadd(p.im, q.im) >> 1;
        // o = w d with w the twiddle of the direction; X[k] = s - i o and
        // X[M-k] = conj(s + i o).
        const int32_t orr = fixMul2(dr, w.c, di, -ws), oi = fixMul2(dr, ws, di, w.c);
        z[k] = CplxI{wadd(sr, oi), wsub(si, orr)};
        z[m - k] = CplxI{wsub(sr, oi), wsub(0, wadd(si, orr))};
    }
    if (sign > 0) z[m / 2].im = wsub(0, z[m / 2].im);
    std::memmove(x + 1, x + 2, sizeof(int32_t) * size_t(n - 2));
    x[n - 1] = wsub(a, b);
}

void realFwdFastI(int32_t* x, const Dim& d, int sign) {
    complexFast<FixOps>(reinterpret_cast<CplxI*>(x), d.L - 1, sign, d.twIHalf, d.revHalf);
    splitPack(x, d, sign);
}

void unpackSplit(int32_t* x, const Dim& d, int sign) {
    const int64_t n = d.n, m = n / 2;
    const int32_t a = x[0], b = x[n - 1];
    std::memmove(x + 2, x + 1, sizeof(int32_t) * size_t(n - 2));
    CplxI* z = reinterpret_cast<CplxI*>(x);
    for (int64_t k = 1; k < m / 2; ++k) {
        const FixTw& w = d.twIFull[k];
        const int32_t ws = sign > 0 ? w.s : w.ns;
        const CplxI p = z[k], q = z[m - k];
        const int32_t sr = wadd(p.re, q.re), si = wsub(p.im, q.im);
        const int32_t dr = wsub(p.re, q.re), di = wadd(p.im, q.im);
        const int32_t pr = fixMul2(dr, w.c, di, -ws), pi = fixMul2(dr, ws, di, w.c);
        z[k] = CplxI{wsub(sr, pi), wadd(si, pr)};
        z[m - k] = CplxI{wadd(sr, pi), wsub(pr, si)};
    }
    CplxI& h = z[m / 2];
    h.re = wadd(h.re, h.re);
    h.im = sign > 0 ? wadd(h.im, h.im) : wsub(0, wadd(h.im, h.im));
    z[0] = CplxI{wadd(a, b), wsub(a, b)};
}

void realInvFastI(int32_t* x, const Dim& d, int sign) {
    unpackSplit(x, d, sign);
    complexFast<FixOps>(reinterpret_cast<CplxI*>(x), d.L - 1, sign, d.twIHalf, d.revHalf);
}

// Direct sums, float: products and sums in extended precision. tmp holds
// n elements of the output's type.
using LD = long double;

// Extended-precision scratch after the first elements of tmp, aligned.
template <class P>
LD* wideScratch(P* p) {
    constexpr uintptr_t kAlign = alignof(LD);
    const uintptr_t a = (reinterpret_cast<uintptr_t>(p) + kAlign - 1) & ~(kAlign - 1);
    return reinterpret_cast<LD*>(a);
}

// The samples n and N-n meet the same cosine and opposite sines, so each
// sum runs over their sum and difference, formed exactly in extended
// precision: half the products.
void realFwdDirect(float* x, const Dim& d, int sign, float* tmp) {
    const int n = d.n;
    const Cplx* t = d.dirF;
    LD s0 = 0.0L, sh = 0.0L;
    for (int i = 0; i < n; ++i) {
        s0 += LD(x[i]);
        sh += (i & 1) ? -LD(x[i]) : LD(x[i]);
    }
    const int K = (n & 1) ? (n - 1) / 2 : n / 2 - 1;
    LD* ps = wideScratch(tmp + n);
    for (int i = 1; i <= n / 2; ++i) {
        ps[2 * i - 2] = LD(x[i]) + (i == n - i ? 0.0L : LD(x[n - i]));
        ps[2 * i - 1] = LD(x[i]) - (i == n - i ? LD(x[i]) : LD(x[n - i]));
    }
    tmp[0] = float(s0);
    for (int k = 1; k <= K; ++k) {
        LD re = LD(x[0]), im = 0.0L;
        int idx = 0;
        for (int i = 1; i <= n / 2; ++i) {
            idx += k;
            if (idx >= n) idx -= n;
            re += ps[2 * i - 2] * LD(t[idx].re);
            im += ps[2 * i - 1] * LD(t[idx].im);
        }
        tmp[2 * k - 1] = float(re);
        tmp[2 * k] = float(sign > 0 ? im : -im);
    }
    if (!(n & 1)) tmp[n - 1] = float(sh);
    std::memcpy(x, tmp, sizeof(float) * size_t(n));
}

void realInvDirect(float* x, const Dim& d, int sign, float* tmp) {
    const int n = d.n;
    const Cplx* t = d.dirF;
    const int K = (n & 1) ? (n - 1) / 2 : n / 2 - 1;
    for (int i = 0; i < n; ++i) {
        LD acc = 0.0L;
        int idx = 0;
        for (int k = 1; k <= K; ++k) {
            idx += i;
            if (idx >= n) idx -= n;
            // Re(X e^{-i phi}) = Xr cos - Xi (-sin)... with t.im = -sin.
            const LD xr = x[2 * k - 1], xi = x[2 * k];
            acc += sign > 0 ? xr * LD(t[idx].re) - xi * LD(t[idx].im)
                            : xr * LD(t[idx].re) + xi * LD(t[idx].im);
        }
        LD v = LD(x[0]) + 2.0L * acc;
        if (!(n & 1)) v += (i & 1) ? -LD(x[n - 1]) : LD(x[n - 1]);
        tmp[i] = float(v);
    }
    std::memcpy(x, tmp, sizeof(float) * size_t(n));
}

// Pairs n and N-n as in the real sum: w^(v(N-n)) is the conjugate of
// w^(vn).
void complexDirect(Cplx* z, const Dim& d, int sign, Cplx* tmp) {
    const int n = d.n;
    const Cplx* t = d.dirF;
    // Sums and differences of the pairs, exact in extended precision.
    LD* ps = wideScratch(tmp + n);
    const int h = n / 2;
    for (int i = 1; i <= h; ++i) {
        const bool mid = i == n - i;
        const LD mr = mid ? 0.0L : LD(z[n - i].re), mi = mid ? 0.0L : LD(z[n - i].im);
        ps[4 * i - 4] = LD(z[i].re) + mr;
        ps[4 * i - 3] = LD(z[i].im) + mi;
        ps[4 * i - 2] = LD(z[i].re) - mr;
        ps[4 * i - 1] = LD(z[i].im) - mi;
    }
    for (int k = 0; k < n; ++k) {
        LD re = LD(z[0].re), im = LD(z[0].im);
        int idx = 0;
        for (int i = 1; i <= h; ++i) {
            idx += k;
            if (idx >= n) idx -= n;
            const LD c = t[idx].re, s = sign > 0 ? LD(t[idx].im) : -LD(t[idx].im);
            const LD* p = ps + 4 * (i - 1);
            // (a + b) c - (ai - bi) s, (ai + bi) c + (a - b) s
            re += p[0] * c - p[3] * s;
            im += p[1] * c + p[2] * s;
        }
        tmp[k] = Cplx{float(re), float(im)};
    }
    std::memcpy(z, tmp, sizeof(Cplx) * size_t(n));
}

// Direct sums, fixed point: wrapping sums of twiddle products.
void realFwdDirectI(int32_t* x, const Dim& d, int sign, int32_t* tmp) {
    const int n = d.n;
    const FixTw* t = d.dirI;
    int32_t s0 = 0, sh = 0;
    for (int i = 0; i < n; ++i) {
        s0 = wadd(s0, x[i]);
        sh = (i & 1) ? wsub(sh, x[i]) : wadd(sh, x[i]);
    }
    tmp[0] = s0;
    const int K = (n & 1) ? (n - 1) / 2 : n / 2 - 1;
    for (int k = 1; k <= K; ++k) {
        int32_t re = 0, im = 0;
        int idx = 0;
        for (int i = 0; i < n; ++i) {
            re = wadd(re, fixMul(x[i], t[idx].c));
            im = wadd(im, fixMul(x[i], sign > 0 ? t[idx].s : t[idx].ns));
            idx += k;
            if (idx >= n) idx -= n;
        }
        tmp[2 * k - 1] = re;
        tmp[2 * k] = im;
    }
    if (!(n & 1)) tmp[n - 1] = sh;
    std::memcpy(x, tmp, sizeof(int32_t) * size_t(n));
}

void realInvDirectI(int32_t* x, const Dim& d, int sign, int32_t* tmp) {
    const int n = d.n;
    const FixTw* t = d.dirI;
    const int K = (n & 1) ? (n - 1) / 2 : n / 2 - 1;
    for (int i = 0; i < n; ++i) {
        int32_t acc = 0;
        int idx = 0;
        for (int k = 1; k <= K; ++k) {
            idx += i;
            if (idx >= n) idx -= n;
            // Re(X w) with w = exp(-/+ i phi): Xr c - Xi s.
            const int32_t s = sign > 0 ? t[idx].s : t[idx].ns;
            acc = wadd(acc, fixMul2(x[2 * k - 1], t[idx].c, x[2 * k], -s));
        }
        int32_t v = wadd(x[0], wadd(acc, acc));
        if (!(n & 1)) v = (i & 1) ? wsub(v, x[n - 1]) : wadd(v, x[n - 1]);
        tmp[i] = v;
    }
    std::memcpy(x, tmp, sizeof(int32_t) * size_t(n));
}

void complexDirectI(CplxI* z, const Dim& d, int sign, CplxI* tmp) {
    const int n = d.n;
    const FixTw* t = d.dirI;
    for (int k = 0; k < n; ++k) {
        int32_t re = 0, im = 0;
        int idx = 0;
        for (int i = 0; i < n; ++i) {
            const int32_t s = sign > 0 ? t[idx].s : t[idx].ns;
            re = wadd(re, fixMul2(z[i].re, t[idx].c, z[i].im, -s));
            im = wadd(im, fixMul2(z[i].re, s, z[i].im, t[idx].c));
            idx += k;
            if (idx >= n) idx -= n;
        }
        tmp[k] = CplxI{re, im};
    }
    std::memcpy(z, tmp, sizeof(CplxI) * size_t(n));
}

}  // namespace

void realForward(float* x, const Dim& d, int sign, float* tmp) {
    if (d.fast) realFwdFast(x, d, sign);
    else realFwdDirect(x, d, sign, tmp);
}
void realInverse(float* x, const Dim& d, int sign, float* tmp) {
    if (d.fast) realInvFast(x, d, sign);
    else realInvDirect(x, d, sign, tmp);
}
void complexTransform(Cplx* z, const Dim& d, int sign, Cplx* tmp) {
    if (d.fast) complexFast<FloatOps>(z, d.L, sign, d.twFull, d.revFull);
    else complexDirect(z, d, sign, tmp);
}
void realForward(int32_t* x, const Dim& d, int sign, int32_t* tmp) {
    if (d.fast) realFwdFastI(x, d, sign);
    else realFwdDirectI(x, d, sign, tmp);
}
void realInverse(int32_t* x, const Dim& d, int sign, int32_t* tmp) {
    if (d.fast) realInvFastI(x, d, sign);
    else realInvDirectI(x, d, sign, tmp);
}
void complexTransform(CplxI* z, const Dim& d, int sign, CplxI* tmp) {
    if (d.fast) complexFast<FixOps>(z, d.L, sign, d.twIFull, d.revFull);
    else complexDirectI(z, d, sign, tmp);
}

// Tables of one dimension; false when any cannot be had.
static bool prepareDim(Cache* c, Dim& d, int n, bool fixed) {
    d = Dim{};
    d.n = n;
    int L = 0;
    while ((int64_t(1) << L) < n) ++L;
    d.pow2 = n >= 2 && (int64_t(1) << L) == n;
    d.log = d.pow2 ? L : 0;
    d.fast = n >= 4 && d.pow2;
    d.L = d.fast ? L : 0;
    if (!d.fast) {
        void* t = directTable(c, fixed ? 0 : 1, n);
        if (!t) return false;
        if (fixed) d.dirI = static_cast<const FixTw*>(t);
        else d.dirF = static_cast<const Cplx*>(t);
        return true;
    }
    for (int l : {L - 1, L}) {
        if (!c->tw[l] && !makeTwiddles(c, l)) return false;
        if (!c->rev[l] && !makeRev(c, l)) return false;
    }
    if (!c->split[L - 1] && !makeSplit(c, L - 1)) return false;
    d.twHalf = c->tw[L - 1];
    d.twFull = c->tw[L];
    d.twIHalf = c->twI[L - 1];
    d.twIFull = c->twI[L];
    d.revHalf = c->rev[L - 1];
    d.revFull = c->rev[L];
    d.split = c->split[L - 1];
    return true;
}

// ---------------------------------------------------------------------
// Readers and writers of one line of samples.

namespace {

template <class S>
void readFloat(const char* p, ptrdiff_t st, int n, void* out) {
    float* o = static_cast<float*>(out);
    for (int i = 0; i < n; ++i) o[i] = float(*reinterpret_cast<const S*>(p + i * st));
}
template <class S>
void readFixed(const char* p, ptrdiff_t st, int n, void* out) {
    int32_t* o = static_cast<int32_t*>(out);
    for (int i = 0; i < n; ++i)
        o[i] = int32_t(uint32_t(int32_t(*reinterpret_cast<const S*>(p + i * st))) * 64u);
}

template <class S>
constexpr double lo() {
    return double(std::numeric_limits<S>::lowest());
}
template <class S>
constexpr double hi() {
    return double(std::numeric_limits<S>::max());
}

// Saturating; NaN gives 0. Round: nearest, ties to even; else clamp, then
// truncate toward zero.
template <class S, bool Round>
void writeFloat(char* p, ptrdiff_t st, int n, const void* in) {
    const float* v = static_cast<const float*>(in);
    for (int i = 0; i < n; ++i) {
        const double x = Round ? std::nearbyint(double(v[i])) : double(v[i]);
        S r;
        if constexpr (std::is_same_v<S, float>) r = S(v[i]);
        else if (x <= lo<S>()) r = std::numeric_limits<S>::lowest();
        else if (x >= hi<S>()) r = std::numeric_limits<S>::max();
        else if (x == x) r = S(x);
        else r = 0;
        *reinterpret_cast<S*>(p + i * st) = r;
    }
}

template <class S>
void writeFixed(char* p, ptrdiff_t st, int n, const void* in) {
    const int32_t* v = static_cast<const int32_t*>(in);
    for (int i = 0; i < n; ++i) {
        int64_t x = v[i];
        if constexpr (!std::is_same_v<S, int32_t>)
            x = std::min<int64_t>(std::max<int64_t>(x, int64_t(lo<S>())), int64_t(hi<S>()));
        *reinterpret_cast<S*>(p + i * st) = S(x);
    }
}

using LineIO = void (*)(char*, ptrdiff_t, int, const void*);
using LineRead = void (*)(const char*, ptrdiff_t, int, void*);

struct IOTable {
    LineRead readF, readI;
    LineIO trunc, round, fixed;
};

template <class S>
constexpr IOTable ioFor() {
    return {readFloat<S>, readFixed<S>, writeFloat<S, false>, writeFloat<S, true>, writeFixed<S>};
}

const IOTable* ioTable(int depth) {
    static constexpr IOTable t8u = ioFor<uint8_t>(), t8s = ioFor<int8_t>(),
                             t16u = ioFor<uint16_t>(), t16s = ioFor<int16_t>(),
                             t32s = ioFor<int32_t>();
    static const IOTable t32f = {readFloat<float>, nullptr, writeFloat<float, false>,
                                 writeFloat<float, true>, nullptr};
    switch (depth) {
        case ZOL_DEPTH_8U: return &t8u;
        case ZOL_DEPTH_8S: return &t8s;
        case ZOL_DEPTH_16U: return &t16u;
        case ZOL_DEPTH_16S: return &t16s;
        case ZOL_DEPTH_32S: return &t32s;
        case ZOL_DEPTH_32F: return &t32f;
        default: return nullptr;
    }
}

// One channel of an image's rectangle: the address of its (0, 0) and the
// steps between neighbours.
struct Plane {
    char* base;
    ptrdiff_t xs, ys;
    char* at(int x, int y) const { return base + y * ys + x * xs; }
};

Plane planeOf(const ZolImage* im, const ownRect& r, int ch) {
    const ptrdiff_t size = elemSize(im->depth);
    Plane p;
    p.ys = im->widthStep;
    if (im->dataOrder == ZOL_DATA_ORDER_PIXEL) {
        p.xs = size * im->nChannels;
        p.base = im->imageData + ptrdiff_t(r.y) * p.ys + ptrdiff_t(r.x) * p.xs + ch * size;
    } else {
        p.xs = size;
        p.base = im->imageData + (ptrdiff_t(ch) * im->height + r.y) * p.ys + ptrdiff_t(r.x) * size;
    }
    return p;
}

// ---------------------------------------------------------------------
// The call: one record per call, the work buffers, the walk over channels.

struct Call {
    Plane src, dst;
    const IOTable* in;
    const IOTable* out;
    int W, H;
    Dim dw, dh;
    int sign;
    bool normalise;
    bool fixed;
    void* block;  // W * H elements, row-major
    void* line;   // max(W, H) + 2 elements, a real line or H complex numbers
    void* tmp;    // scratch of the direct sums
    void* group;  // kRows rows side by side
};

// The descaling of the fixed route's results, by the shift s with
// (-2^s, 0) taken to 0, then, where no power of two serves, by 1/N in
// single precision rounded to even.
struct Descale {
    int shift;
    bool byFloat;
    float factor;
    int32_t operator()(int32_t v) const {
        const int s = std::min(shift, 62);
        int32_t r = (v < 0 && int64_t(v) > -(int64_t(1) << s)) ? 0 : int32_t(int64_t(v) >> s);
        if (byFloat) {
            const double f = std::nearbyint(double(float(float(r) * factor)));
            r = f >= 2147483647.0 ? INT32_MAX : f <= -2147483648.0 ? INT32_MIN : int32_t(f);
        }
        return r;
    }
};

Descale descaleFor(const Call& c, int64_t points, bool powers, int logs) {
    Descale d{6, false, 1.0f};
    if (!c.normalise) return d;
    if (powers) d.shift = 6 + logs;
    else d.byFloat = true, d.factor = float(1.0 / double(points));
    return d;
}

template <class T>
void scaleLine(T* v, int n, const Call& c, const Descale& ds, float f) {
    if constexpr (std::is_same_v<T, float>) {
        if (c.normalise)
            for (int i = 0; i < n; ++i) v[i] = v[i] * f;
        (void)ds;
    } else {
        for (int i = 0; i < n; ++i) v[i] = ds(v[i]);
        (void)f;
    }
}

// The number forms by sample type.
template <class T>
using OpsFor = std::conditional_t<std::is_same_v<T, float>, FloatOps, FixOps>;

template <class T>
const typename OpsFor<T>::Tw* twiddlesOf(const Dim& d) {
    if constexpr (std::is_same_v<T, float>) return d.twFull;
    else return d.twIFull;
}

template <class T>
const typename OpsFor<T>::Tw* halfTwiddlesOf(const Dim& d) {
    if constexpr (std::is_same_v<T, float>) return d.twHalf;
    else return d.twIHalf;
}

constexpr int kRows = 16;

// The half-length complex transforms of nr <= kRows rows of the block at
// once: each row, viewed as W/2 complex numbers, is interleaved into grp
// (element n of row r at n nr + r), transformed side by side with exactly
// the operations of a single transform, and put back.
template <class T, class C>
void rowsComplex(const Call& c, T* rows, int nr, C* grp) {
    const int64_t m = c.W / 2;
    for (int r = 0; r < nr; ++r) {
        const C* z = reinterpret_cast<const C*>(rows + int64_t(r) * c.W);
        for (int64_t n = 0; n < m; ++n) grp[n * nr + r] = z[n];
    }
    columnsFast<OpsFor<T>>(grp, nr, 2 * nr, c.dw.L - 1, c.sign, halfTwiddlesOf<T>(c.dw),
                           c.dw.revHalf);
    for (int r = 0; r < nr; ++r) {
        C* z = reinterpret_cast<C*>(rows + int64_t(r) * c.W);
        for (int64_t n = 0; n < m; ++n) z[n] = grp[n * nr + r];
    }
}

// The column pass over a row-major W x H block: the real columns 0 and,
// for even W, W-1 by the real transform (forward or inverse), the complex
// columns (2k-1, 2k) by the complex transform, many at a time on the fast
// way.
template <class T, class C>
void columnPass(const Call& c, T* blk, bool toSpectrum) {
    const int W = c.W, H = c.H, K = (W & 1) ? (W - 1) / 2 : W / 2 - 1;
    T* line = static_cast<T*>(c.line);
    T* tmp = static_cast<T*>(c.tmp);
    for (int x : {0, W - 1}) {
        if (x == W - 1 && (W & 1)) break;
        for (int y = 0; y < H; ++y) line[y] = blk[int64_t(y) * W + x];
        if (toSpectrum) realForward(line, c.dh, c.sign, tmp);
        else realInverse(line, c.dh, c.sign, tmp);
        for (int y = 0; y < H; ++y) blk[int64_t(y) * W + x] = line[y];
    }
    if (K < 1) return;
    C* cols = reinterpret_cast<C*>(blk + 1);
    if (c.dh.fast) {
        columnsFast<OpsFor<T>>(cols, K, W, c.dh.L, c.sign, twiddlesOf<T>(c.dh), c.dh.revFull);
        return;
    }
    C* z = reinterpret_cast<C*>(line);
    for (int k = 0; k < K; ++k) {
        for (int y = 0; y < H; ++y) z[y] = elem<OpsFor<T>>(cols, y, W)[k];
        complexTransform(z, c.dh, c.sign, reinterpret_cast<C*>(tmp));
        for (int y = 0; y < H; ++y) elem<OpsFor<T>>(cols, y, W)[k] = z[y];
    }
}

// Real pixels to the packed spectrum, in two dimensions: each row to its
// packing in place in a row-major block, then the columns; the block is
// then the packed layout row by row.
template <class T, class C>
void forward2D(const Call& c) {
    const int W = c.W, H = c.H;
    T* blk = static_cast<T*>(c.block);
    T* tmp = static_cast<T*>(c.tmp);
    const bool fixed = std::is_same_v<T, int32_t>;
    for (int y = 0; y < H; ++y)
        (fixed ? c.in->readI : c.in->readF)(c.src.at(0, y), c.src.xs, W, blk + int64_t(y) * W);
    for (int y0 = 0; y0 < H; y0 += kRows) {
        const int nr = std::min(kRows, H - y0);
        T* rows = blk + int64_t(y0) * W;
        if (c.dw.fast) rowsComplex<T, C>(c, rows, nr, static_cast<C*>(c.group));
        for (int r = 0; r < nr; ++r) {
            if (c.dw.fast) splitPack(rows + int64_t(r) * W, c.dw, c.sign);
            else realForward(rows + int64_t(r) * W, c.dw, c.sign, tmp);
        }
    }
    columnPass<T, C>(c, blk, true);
    const float f = float(1.0 / (double(W) * double(H)));
    const Descale ds = descaleFor(c, int64_t(W) * H, c.dw.pow2 && c.dh.pow2, c.dw.log + c.dh.log);
    for (int y = 0; y < H; ++y) {
        T* row = blk + int64_t(y) * W;
        scaleLine(row, W, c, ds, f);
        (fixed ? c.out->fixed : c.out->round)(c.dst.at(0, y), c.dst.xs, W, row);
    }
}

// The packed spectrum to real pixels, in two dimensions: all rows read
// into the block, the columns, then each row unpacked and written.
template <class T, class C>
void inverse2D(const Call& c) {
    const int W = c.W, H = c.H;
    T* blk = static_cast<T*>(c.block);
    T* tmp = static_cast<T*>(c.tmp);
    const bool fixed = std::is_same_v<T, int32_t>;
    for (int y = 0; y < H; ++y)
        (fixed ? c.in->readI : c.in->readF)(c.src.at(0, y), c.src.xs, W, blk + int64_t(y) * W);
    columnPass<T, C>(c, blk, false);
    const float f = float(1.0 / (double(W) * double(H)));
    const Descale ds = descaleFor(c, int64_t(W) * H, c.dw.pow2 && c.dh.pow2, c.dw.log + c.dh.log);
    for (int y0 = 0; y0 < H; y0 += kRows) {
        const int nr = std::min(kRows, H - y0);
        T* rows = blk + int64_t(y0) * W;
        for (int r = 0; r < nr; ++r) {
            if (c.dw.fast) unpackSplit(rows + int64_t(r) * W, c.dw, c.sign);
            else realInverse(rows + int64_t(r) * W, c.dw, c.sign, tmp);
        }
        if (c.dw.fast) rowsComplex<T, C>(c, rows, nr, static_cast<C*>(c.group));
    }
    for (int y = 0; y < H; ++y) {
        T* row = blk + int64_t(y) * W;
        scaleLine(row, W, c, ds, f);
        (fixed ? c.out->fixed : c.out->trunc)(c.dst.at(0, y), c.dst.xs, W, row);
    }
}

// One line (a row when H is 1, else a column).
template <class T>
void oneD(const Call& c, bool toSpectrum) {
    const bool rows = c.H == 1;
    const Dim& d = rows ? c.dw : c.dh;
    const int n = d.n;
    const int lines = rows ? c.H : c.W;
    T* line = static_cast<T*>(c.line);
    T* tmp = static_cast<T*>(c.tmp);
    const bool fixed = std::is_same_v<T, int32_t>;
    const float f = float(1.0 / double(n));
    const Descale ds = descaleFor(c, n, d.fast, d.log);
    for (int i = 0; i < lines; ++i) {
        const char* sp = rows ? c.src.at(0, i) : c.src.at(i, 0);
        char* dp = rows ? c.dst.at(0, i) : c.dst.at(i, 0);
        const ptrdiff_t ss = rows ? c.src.xs : c.src.ys, ds2 = rows ? c.dst.xs : c.dst.ys;
        (fixed ? c.in->readI : c.in->readF)(sp, ss, n, line);
        if (toSpectrum) realForward(line, d, c.sign, tmp);
        else realInverse(line, d, c.sign, tmp);
        scaleLine(line, n, c, ds, f);
        (fixed ? c.out->fixed : c.out->trunc)(dp, ds2, n, line);
    }
}

void freeAll(ZolThreadContext* ctx) {
    if (Cache* c = cacheOf(ctx, false)) {
        freeCache(c);
        heapFree(c);
        ctx->fftCache.tables = nullptr;
    }
}

// Tables and buffers for the call; false for want of memory.
bool prepare(ZolThreadContext* ctx, Call& call) {
    Cache* c = cacheOf(ctx, true);
    if (!c) return false;
    c->used[0] = c->used[1] = 0;
    if (call.W < 1 || call.H < 1) return false;
    if (!prepareDim(c, call.dw, call.W, call.fixed)) return false;
    if (!prepareDim(c, call.dh, call.H, call.fixed)) return false;
    const int kind = call.fixed ? 0 : 1;
    const size_t e = 4;  // both element types are 32-bit
    const int64_t mx = std::max(call.W, call.H);
    call.block = workBuffer(c, kind, e * size_t(int64_t(call.W) * call.H));
    call.line = workBuffer(c, kind, e * size_t(2 * mx + 2));
    // 2 n scalars, then 2 n + 4 extended values for the direct sums.
    call.tmp = workBuffer(c, kind, e * size_t(2 * mx + 2) + sizeof(long double) * size_t(2 * mx + 6));
    call.group = workBuffer(c, kind, e * size_t(kRows) * size_t(call.W + 2));
    return call.block && call.line && call.tmp && call.group;
}

int channelsOf(const ZolImage* im) {
    if (im->roi && im->roi->coi > 0) return 1;
    return im->nChannels - (im->alphaChannel != 0);
}

void transform(const char* name, ZolImage* src, ZolImage* dst, int flags, bool toSpectrum) {
    ZolThreadContext* ctx = ownGetContext();
    if (flags & ZOL_FFT_FREE) {
        freeAll(ctx);
        return;
    }
    tKernels = &fftKernels();
    auto fail = [&](int status, const char* context, int line = __builtin_LINE()) {
        report(status, name, context, __builtin_FILE(), line);
    };
    if (!(flags & 1) && !(flags & 2)) return fail(-5, msg::kFftNoDirection);
    if ((flags & 1) && (flags & 2)) return fail(-5, msg::kFftTwoDirections);
    if ((flags & 32) && (flags & 16)) return fail(-5, msg::kFftTwoRoutes);
    struct Side {
        const ZolImage* im;
        const char *null, *alpha, *depth, *data;
    };
    const Side sides[2] = {
        {src, msg::kSrcNull, msg::kFftSrcAlpha, msg::kFftSrcDepth1, msg::kFftSrcData},
        {dst, msg::kDstNull, msg::kFftDstAlpha, msg::kFftDstDepth1, msg::kFftDstData}};
    for (const Side& s : sides) {
        if (!s.im) return fail(-5, s.null);
        if (const int st = zolCheckImageHeader(s.im)) return fail(st, msg::kIncorrectImage);
        if (s.im->alphaChannel > 0 && s.im->alphaChannel != s.im->nChannels)
            return fail(-5, s.alpha);
        if (s.im->depth == ZOL_DEPTH_1U) return fail(-5, s.depth);
        if (!s.im->imageData) return fail(-5, s.data);
    }
    for (const ZolImage* im : {src, dst})
        if (im->alphaChannel &&
            (im->nChannels == 1 || (im->roi && im->roi->coi == im->alphaChannel)))
            return;
    const int srcCoi = src->roi ? src->roi->coi : 0, dstCoi = dst->roi ? dst->roi->coi : 0;
    if (dstCoi > 0 && !src->roi) return fail(-5, msg::kFftDstCoiNoSrcRoi);
    if (dstCoi > 0 && srcCoi == 0) return fail(-5, msg::kFftDstCoiSrcNoCoi);
    if (srcCoi > 0 && !dst->roi) return fail(-5, msg::kFftSrcCoiNoDstRoi);
    if (srcCoi > 0 && dstCoi == 0) return fail(-5, msg::kFftSrcCoiDstNoCoi);
    if (srcCoi <= 0 && (src->nChannels - (src->alphaChannel != 0)) !=
                           (dst->nChannels - (dst->alphaChannel != 0)))
        return fail(-5, msg::kFftChannels);

    Call call{};
    call.fixed = (flags & ZOL_FFT_USE_INT) && src->depth != ZOL_DEPTH_32F &&
                 dst->depth != ZOL_DEPTH_32F;
    call.in = ioTable(src->depth);
    call.out = ioTable(dst->depth);
    const int nch = channelsOf(src);
    auto orderOk = [](const ZolImage* im) {
        return im->dataOrder == ZOL_DATA_ORDER_PIXEL || im->dataOrder == ZOL_DATA_ORDER_PLANE;
    };
    if (nch != channelsOf(dst) || !call.in || !call.out || !orderOk(src) || !orderOk(dst))
        return fail(-5, msg::kFftInputData);
    ownRect rs, rd;
    ownRoiRect(src, &rs);
    ownRoiRect(dst, &rd);
    call.W = std::min(rs.width, rd.width);
    call.H = std::min(rs.height, rd.height);
    call.sign = (flags & ZOL_FFT_FORWARD) ? 1 : -1;
    call.normalise = (flags & ZOL_FFT_INVERSE) && !(flags & ZOL_FFT_NO_SCALE);

    bool ready = prepare(ctx, call);
    if (!ready && call.W >= 1 && call.H >= 1) {
        // Empty the cache and try once more from nothing.
        freeAll(ctx);
        ready = prepare(ctx, call);
    }
    if (!ready) return fail(-4, msg::kFftNoMemory);

    const int c0s = srcCoi > 0 ? srcCoi - 1 : 0, c0d = dstCoi > 0 ? dstCoi - 1 : 0;
    for (int ch = 0; ch < nch; ++ch) {
        call.src = planeOf(src, rs, c0s + ch);
        call.dst = planeOf(dst, rd, c0d + ch);
        if (call.H == 1 || call.W == 1) {
            if (call.fixed) oneD<int32_t>(call, toSpectrum);
            else oneD<float>(call, toSpectrum);
        } else if (toSpectrum) {
            if (call.fixed) forward2D<int32_t, CplxI>(call);
            else forward2D<float, Cplx>(call);
        } else {
            if (call.fixed) inverse2D<int32_t, CplxI>(call);
            else inverse2D<float, Cplx>(call);
        }
    }
}

}  // namespace
}  // namespace fft

void ownFftFreeTables(ZolThreadContext* ctx) { fft::freeAll(ctx); }

}  // namespace zol

using namespace zol;

ZOL_API void zolRealFft2D(ZolImage* srcImage, ZolImage* dstImage, int flags) {
    fft::transform(msg::kRealFft2D, srcImage, dstImage, flags, true);
}

ZOL_API void zolCcsFft2D(ZolImage* srcImage, ZolImage* dstImage, int flags) {
    fft::transform(msg::kCcsFft2D, srcImage, dstImage, flags, false);
}
