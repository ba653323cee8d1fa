// The warp engine: the inverse affine, bilinear and perspective mappings,
// quadrangle clipping, the scan table (or every pixel, for a quadrangle in
// the source), the tile walk and the samplers: 16.16 fixed point for affine
// 8U, 1U and 16U nearest and for the bilinear map of the destination onto
// a source quadrangle; doubles with round(x + 1e-7) everywhere else.
#include "geometry/warp.h"

#include <algorithm>
#include <cmath>
#include <climits>
#include <cstring>
#include <type_traits>

#include "core/border.h"
#include "core/image.h"
#include "core/messages.h"
#include "core/rect.h"
#include "core/report.h"
#include "geometry/resample.h"
#include "geometry/scratch.h"

namespace zol {
namespace geo {

bool ownClippedRect(const ZolImage* im, int& x0, int& y0, int& x1, int& y1) {
    x0 = 0, y0 = 0, x1 = im->width - 1, y1 = im->height - 1;
    if (const ZolROI* r = im->roi) {
        x0 = std::max(r->xOffset, 0), y0 = std::max(r->yOffset, 0);
        x1 = int(std::min<int64_t>(int64_t(r->xOffset) + r->width - 1, im->width - 1));
        y1 = int(std::min<int64_t>(int64_t(r->yOffset) + r->height - 1, im->height - 1));
    }
    return x0 <= x1 && y0 <= y1;
}

int ownWarpSampler(const ZolImage* src, int interpolate) {
    int x0, y0, x1, y1;
    ownClippedRect(src, x0, y0, x1, y1);
    if (src->depth == ZOL_DEPTH_1U || x1 == x0 || y1 == y0) return kInterNN;
    if (interpolate == kInterCubic && (x1 - x0 < 3 || y1 - y0 < 3)) return kInterLinear;
    return interpolate;
}

int ownQuadCheck(const double q[4][2]) {
    const double* p = &q[0][0];
    const double c1 = (p[6] - p[4]) * (p[1] - p[7]) - (p[0] - p[6]) * (p[7] - p[5]);
    const double c2 = (p[0] - p[6]) * (p[3] - p[1]) - (p[1] - p[7]) * (p[2] - p[0]);
    const double c3 = (p[2] - p[0]) * (p[5] - p[3]) - (p[4] - p[2]) * (p[3] - p[1]);
    const double c4 = (p[7] - p[5]) * (p[4] - p[2]) - (p[6] - p[4]) * (p[5] - p[3]);
    if (c1 == 0.0 || c2 == 0.0 || c3 == 0.0 || c4 == 0.0) return ZOL_STATUS_BAD_ARGUMENT;
    const bool pos = c1 > 0;
    if ((c2 > 0) != pos || (c3 > 0) != pos || (c4 > 0) != pos) return ZOL_STATUS_NO_MEMORY;
    return pos ? 1 : 0;
}

namespace {

constexpr double kTol = 1e-07;

// A source or destination region: first element of the first channel
// taking part, and the byte steps.
struct Plane {
    char* p;
    ptrdiff_t row, pix, ch;
    int64_t bit;  // 1U: bit of the region's first column
};

// Pixels of im's layout in data with rows rowStep bytes apart and planes
// of `height` rows, from pixel (x, y) of them.
Plane planeIn(const ZolImage* im, char* data, ptrdiff_t rowStep, int height, int x, int y, int first) {
    Plane v;
    const int es = elemSize(im->depth);
    const bool pixel = im->dataOrder == ZOL_DATA_ORDER_PIXEL || es == 0;
    v.row = rowStep;
    v.pix = pixel ? ptrdiff_t(im->nChannels) * es : es;
    v.ch = pixel ? es : rowStep * height;
    v.bit = es == 0 ? x : 0;
    v.p = data + v.row * y + (es ? ptrdiff_t(x) * v.pix : 0) + ptrdiff_t(first) * v.ch;
    return v;
}

// The inverse affine mapping from destination image coordinates to the
// source rectangle's own: u = A x' + B y' + C, v = E x' + F y' + G.
struct Mapping {
    double A, B, C, E, F, G;
};

Mapping affineBack(const double q[4][2], int sw, int sh) {
    const double* p = &q[0][0];
    const double D = (p[2] - p[0]) * (p[5] - p[3]) - (p[4] - p[2]) * (p[3] - p[1]);
    Mapping m;
    m.A = (p[5] - p[3]) * (sw - 1) / D;
    m.B = -(p[4] - p[2]) * (sw - 1) / D;
    m.E = -(p[3] - p[1]) * (sh - 1) / D;
    m.F = (p[2] - p[0]) * (sh - 1) / D;
    m.C = -m.A * p[0] - m.B * p[1];
    m.G = -m.E * p[0] - m.F * p[1];
    return m;
}

struct Pt {
    double x, y;
};

// One half-plane pass of the clip: keeps the side where sign * (coord -
// limit) >= 0 on the axis (0 x, 1 y).
int clipPass(const Pt* in, int n, Pt* out, int axis, double limit, double sign) {
    int m = 0;
    auto val = [&](const Pt& p) { return sign * ((axis ? p.y : p.x) - limit); };
    for (int i = 0; i < n; ++i) {
        const Pt& a = in[i];
        const Pt& b = in[(i + 1) % n];
        const double va = val(a), vb = val(b);
        if (va >= 0) out[m++] = a;
        if ((va >= 0) != (vb >= 0)) {
            const double t = va / (va - vb);
            Pt c{a.x + (b.x - a.x) * t, a.y + (b.y - a.y) * t};
            if (axis) c.y = limit;
            else c.x = limit;
            out[m++] = c;
        }
    }
    return m;
}

// Elements of the samplers by depth.
template <class T>
inline int64_t at(const Plane& s, int64_t i, int64_t j, int c) {
    T v;
    std::memcpy(&v, s.p + s.row * j + s.pix * i + s.ch * c, sizeof(T));
    return v;
}
template <class T>
inline void put(const Plane& d, int x, int y, int c, int64_t v) {
    const T t = T(v);
    std::memcpy(d.p + d.row * y + d.pix * x + d.ch * c, &t, sizeof(T));
}

// The cubic of the 8-bit sampler in 4 fractional bits, t in 16.16.
inline int64_t cubic8(int64_t y0, int64_t y1, int64_t y2, int64_t y3, int64_t t) {
    const int64_t a3 = ((11 * (y3 - y0) * 63550) >> 18) + 8 * (y1 - y2);
    const int64_t a2 = 8 * (y0 + y2) - 16 * y1;
    const int64_t a1 = ((-1398101 * y0 - 11 * y3 * 63550) >> 18) + 16 * y2 - 8 * y1;
    return ((((((a3 * t) >> 16) + a2) * t >> 16) + a1) * t >> 16) + 16 * y1;
}

// The inverse bilinear mapping: one of four cases (chosen once per run) and
// the numbers Q0..Q9 of the square-root form.
struct BilinearBack {
    int kase = 3;
    double sign = 1;  // of the square root in case 0
    double Q[10] = {};
};

struct Job {
    Plane s, d;       // source at its rectangle's start; destination at pixel (dx, dy)
    int dx = 0, dy = 0;
    int iw, ih;       // sampling limits from the rectangle's start
    int sw, sh;       // the rectangle
    int ch;
    int mode;
    int ox = 0, oy = 0;  // source positions minus these are the rectangle's own (quadrangle in the source)
    int xo = 0, yo = 0;  // destination positions minus these feed the mapping (quadrangle in the source)
    Mapping m;        // affine
    double P[9];      // perspective: numerators of u and v, denominator, per destination x, y, 1
    BilinearBack bq;  // bilinear, quadrangle in the destination
    int64_t bf[2][4];  // bilinear, quadrangle in the source: 16.16 coefficients
    int anchor;       // the row whose start is rounded; others step from it
    int colAnchor;    // the column where the double chains of an affine row start
    // The scan table of the whole destination rectangle, and the part of it
    // to write now (a tile, or all of it).
    int first, last;
    const int32_t* left;
    const int32_t* right;
    int xLo, xHi, yLo, yHi;
    ptrdiff_t avail = 0;  // bytes from s.p a vector pass may read (0: none)
};

// Calls f(y, l, x0, x1) for each row of the table meeting the part: l is the
// row's first column in the whole table (where double chains start), x0..x1
// the columns to write.
template <class F>
inline void forRows(const Job& j, F f) {
    const int y0 = std::max(j.first, j.yLo), y1 = std::min(j.last, j.yHi);
    for (int y = y0; y <= y1; ++y) {
        const int l = j.left[y - j.first], r = j.right[y - j.first];
        const int x0 = std::max(l, j.xLo), x1 = std::min(r, j.xHi);
        if (x0 <= x1) f(y, l, x0, x1);
    }
}

// Fixed-point samplers: 8U nearest, linear and cubic; 16U nearest.
template <class T>
inline int32_t ld(const char* p) {
    return int32_t(*reinterpret_cast<const T*>(p));
}

// The 8U cubic from the 4 x 4 samples at s, fractions t and tv in 16.16.
template <class T>
inline int64_t cubicAt(const char* s, ptrdiff_t sr, ptrdiff_t sp, int64_t t, int64_t tv) {
    int64_t r[4];
    for (int q = 0; q < 4; ++q) {
        const char* e = s + sr * q;
        r[q] = (cubic8(ld<T>(e), ld<T>(e + sp), ld<T>(e + 2 * sp), ld<T>(e + 3 * sp), t) + 8) >> 4;
    }
    return std::clamp<int64_t>((cubic8(r[0], r[1], r[2], r[3], tv) + 8) >> 4, 0, 255);
}

// The linear taps of a 16.16 position over n samples: the first sample's
// index (held back one at the last pair) and the next one's 14-bit weight.
inline void linearTap(int64_t u, int n, int64_t* i, int32_t* w) {
    const int64_t c = std::clamp<int64_t>(u, 0, int64_t(n - 1) << 16);
    *i = c >> 16;
    if (*i > n - 2) --*i;
    *w = int32_t((c - (*i << 16)) >> 2);
}
// The 2^14 fixed-point blend of a 2x2 block: rows first, then columns.
inline int64_t linearBlend(int64_t a, int64_t b, int64_t c, int64_t d, int32_t wx, int32_t wy) {
    const int64_t h0 = (a * (16384 - wx) + b * wx) >> 8;
    const int64_t h1 = (c * (16384 - wx) + d * wx) >> 8;
    return (h0 * (16384 - wy) + h1 * wy) >> 20;
}
// The first of the four cubic taps of a 16.16 position, held inside n samples.
inline int64_t cubicTap(int64_t u, int n) {
    return u < 65536 ? 0 : (u >> 16) >= n - 2 ? n - 4 : (u >> 16) - 1;
}

// One destination pixel d from the 16.16 position (u, v) relative to the
// rectangle (nearest: already offset by one half). Test: an index outside
// the rectangle leaves the pixel; otherwise nearest indices are clamped.
template <class T, int Mode, int Ch, bool Test>
inline void fixedPixel(const Job& j, int64_t u, int64_t v, char* d) {
    const int ch = Ch ? Ch : j.ch;
    const ptrdiff_t sr = j.s.row, sp = j.s.pix, sc = j.s.ch, dc = j.d.ch;
    if (Test && ((u >> 16) < 0 || (u >> 16) >= j.sw || (v >> 16) < 0 || (v >> 16) >= j.sh)) return;
    if (Mode == kInterNN) {
        const int64_t i = std::clamp<int64_t>(u >> 16, 0, j.sw - 1);
        const int64_t k = std::clamp<int64_t>(v >> 16, 0, j.sh - 1);
        const char* s = j.s.p + sr * k + sp * i;
        for (int c = 0; c < ch; ++c) *reinterpret_cast<T*>(d + dc * c) = *reinterpret_cast<const T*>(s + sc * c);
    } else if (Mode == kInterLinear) {
        int64_t i, k;
        int32_t wx, wy;
        linearTap(u, j.iw, &i, &wx);
        linearTap(v, j.ih, &k, &wy);
        const char* s0 = j.s.p + sr * k + sp * i;
        const char* s1 = s0 + sr;
        for (int c = 0; c < ch; ++c) {
            const ptrdiff_t o = sc * c;
            *reinterpret_cast<T*>(d + dc * c) = T(linearBlend(ld<T>(s0 + o), ld<T>(s0 + o + sp),
                                                              ld<T>(s1 + o), ld<T>(s1 + o + sp), wx, wy));
        }
    } else {
        const int64_t ib = cubicTap(u, j.iw), jb = cubicTap(v, j.ih);
        const char* s = j.s.p + sr * jb + sp * ib;
        for (int c = 0; c < ch; ++c)
            *reinterpret_cast<T*>(d + dc * c) = T(cubicAt<T>(s + sc * c, sr, sp, u - (ib << 16) - 65536, v - (jb << 16) - 65536));
    }
}

// Round to nearest, ties to even, as the processor does by default; adding
// and taking away 1.5 * 2^52 does it without a call into the maths library.
inline double rne(double x) {
    constexpr double kMagic = 6755399441055744.0;
    return (x + kMagic) - kMagic;
}
// A sample index from a double position: far or undefined positions become
// a far index, so the conversion is always defined.
inline int64_t indexOf(double x) {
    x = x > 1e15 ? 1e15 : x >= -1e15 ? x : -1e15;
    return int64_t(rne(x));
}
// A cubic fraction (within -1 .. 2 inside the rectangle) held to -4 .. 4,
// where far or undefined positions leave it.
inline double hold(double t) { return t > 4 ? 4 : t >= -4 ? t : -4; }
template <class T>
inline T saturate(double p) {
    constexpr double hi = sizeof(T) == 1 ? 255.0 : 65535.0;
    return p >= hi ? T(hi) : p > 0 ? T(p) : T(0);
}

// One destination pixel from the double position (u, v), the rectangle
// starting at source position (ox, oy): indices round(u + 1e-7) for
// nearest, round(u + 1e-7 - 0.5) for linear and cubic. Test: an index
// outside the rectangle leaves the pixel; otherwise indices are clamped
// into the samples that exist.
template <class T, int Mode, bool Test>
inline void doublePixel(const Job& j, double u, double v, int ox, int oy, char* d) {
    const ptrdiff_t sr = j.s.row, sp = j.s.pix, sc = j.s.ch, dc = j.d.ch;
    const double half = Mode == kInterNN ? 0.0 : 0.5;
    int64_t i = indexOf(u + kTol - half) - ox, k = indexOf(v + kTol - half) - oy;
    if (Test && (i < 0 || i >= j.sw || k < 0 || k >= j.sh)) return;
    if (Mode == kInterNN) {
        i = std::clamp<int64_t>(i, 0, j.sw - 1), k = std::clamp<int64_t>(k, 0, j.sh - 1);
        const char* s = j.s.p + sr * k + sp * i;
        for (int c = 0; c < j.ch; ++c) *reinterpret_cast<T*>(d + dc * c) = *reinterpret_cast<const T*>(s + sc * c);
    } else if (Mode == kInterLinear) {
        i = std::clamp<int64_t>(i, 0, j.iw - 2), k = std::clamp<int64_t>(k, 0, j.ih - 2);
        const double fx = u - double(i + ox), fy = v - double(k + oy);
        const char* s0 = j.s.p + sr * k + sp * i;
        for (int c = 0; c < j.ch; ++c) {
            const char* e = s0 + sc * c;
            const double s00 = ld<T>(e), s01 = ld<T>(e + sp), s10 = ld<T>(e + sr), s11 = ld<T>(e + sr + sp);
            const double a = s00 + (s01 - s00) * fx, b = s10 + (s11 - s10) * fx;
            *reinterpret_cast<T*>(d + dc * c) = saturate<T>(rne(a + (b - a) * fy + kTol));
        }
    } else {
        const int64_t ib = i >= j.iw - 2 ? j.iw - 4 : i < 1 ? 0 : i - 1;
        const int64_t jb = k >= j.ih - 2 ? j.ih - 4 : k < 1 ? 0 : k - 1;
        const double t = u - double(ib + ox) - 1.0, w = v - double(jb + oy) - 1.0;
        const char* s = j.s.p + sr * jb + sp * ib;
        if (sizeof(T) == 1) {
            // 16.16 fractions, far ones held where the cubic stays in 64 bits.
            const int64_t t16 = int64_t(rne(hold(t) * 65536.0)), w16 = int64_t(rne(hold(w) * 65536.0));
            for (int c = 0; c < j.ch; ++c) *reinterpret_cast<T*>(d + dc * c) = T(cubicAt<T>(s + sc * c, sr, sp, t16, w16));
        } else {
            const CubicFactors fu = cubicFactors(float(hold(t))), fv = cubicFactors(float(hold(w)));
            for (int c = 0; c < j.ch; ++c) {
                float r[4];
                for (int q = 0; q < 4; ++q) {
                    const char* e = s + sc * c + sr * q;
                    r[q] = cubic(float(ld<T>(e)), float(ld<T>(e + sp)), float(ld<T>(e + 2 * sp)), float(ld<T>(e + 3 * sp)), fu);
                }
                *reinterpret_cast<T*>(d + dc * c) = saturate<T>(rne(double(cubic(r[0], r[1], r[2], r[3], fv)) + kTol));
            }
        }
    }
}

// 1U: nearest, bit by bit, at column x of the destination row.
template <bool Test>
inline void bitPixel(const Job& j, int64_t i, int64_t k, uint8_t* drow, int64_t x) {
    if (Test && (i < 0 || i >= j.sw || k < 0 || k >= j.sh)) return;
    i = std::clamp<int64_t>(i, 0, j.sw - 1), k = std::clamp<int64_t>(k, 0, j.sh - 1);
    setBitAt(drow, j.d.bit + x, bitAt(reinterpret_cast<const uint8_t*>(j.s.p + j.s.row * k), j.s.bit + i));
}

// Affine scans in 16.16: row starts rounded at the anchor row, then whole
// steps; within a row one addition per pixel.
template <class T, int Mode, int Ch>
void scanFixedMode(const Job& j) {
    const int64_t A = std::llround(j.m.A * 65536), E = std::llround(j.m.E * 65536);
    const int64_t B = std::llround(j.m.B * 65536), F = std::llround(j.m.F * 65536);
    int64_t u00 = std::llround((j.anchor * j.m.B + j.m.C) * 65536);
    int64_t v00 = std::llround((j.anchor * j.m.F + j.m.G) * 65536);
    if (Mode == kInterNN) u00 += 32768, v00 += 32768;
    const ptrdiff_t dp = j.d.pix;
    forRows(j, [&](int y, int, int x0, int x1) {
        int64_t u = u00 + B * (y - j.anchor) + A * x0, v = v00 + F * (y - j.anchor) + E * x0;
        char* d = j.d.p + j.d.row * (y - j.dy) + dp * (x0 - j.dx);
        for (int x = x0; x <= x1; ++x, u += A, v += E, d += dp) fixedPixel<T, Mode, Ch, false>(j, u, v, d);
    });
}

// 8U linear and cubic of 1 or 3 interleaved channels: the same positions,
// each row handed to the form's row kernel.
void scanAffineRows8(const Job& j, AffineRow pass) {
    const int64_t A = std::llround(j.m.A * 65536), E = std::llround(j.m.E * 65536);
    const int64_t B = std::llround(j.m.B * 65536), F = std::llround(j.m.F * 65536);
    const int64_t u00 = std::llround((j.anchor * j.m.B + j.m.C) * 65536);
    const int64_t v00 = std::llround((j.anchor * j.m.F + j.m.G) * 65536);
    const auto* s = reinterpret_cast<const uint8_t*>(j.s.p);
    forRows(j, [&](int y, int, int x0, int x1) {
        const int64_t u = u00 + B * (y - j.anchor) + A * x0, v = v00 + F * (y - j.anchor) + E * x0;
        auto* out = reinterpret_cast<uint8_t*>(j.d.p + j.d.row * (y - j.dy)) + (x0 - j.dx) * j.ch;
        pass(u, v, A, E, x1 - x0 + 1, s, j.s.row, j.ch, j.iw, j.ih, j.avail, out);
    });
}

template <class T, int Mode>
void scanFixedCh(const Job& j) {
    if (j.ch == 1) scanFixedMode<T, Mode, 1>(j);
    else if (j.ch == 3) scanFixedMode<T, Mode, 3>(j);
    else scanFixedMode<T, Mode, 0>(j);
}

// The sampling mode and channel count as template arguments: no
// per-pixel test of either.
template <class T>
void scanFixed(const Job& j) {
    if (std::is_same_v<T, uint8_t> && j.mode != kInterNN && (j.ch == 1 || j.ch == 3) && j.s.pix == j.ch &&
        j.d.pix == j.ch && (j.ch == 1 || (j.s.ch == 1 && j.d.ch == 1))) {
        scanAffineRows8(j, j.mode == kInterLinear ? warpKernels().affineLinear8 : warpKernels().affineCubic8);
        return;
    }
    if (j.mode == kInterNN) scanFixedCh<T, kInterNN>(j);
    else if (j.mode == kInterLinear) scanFixedCh<T, kInterLinear>(j);
    else scanFixedCh<T, kInterCubic>(j);
}

void scanBits(const Job& j) {
    const int64_t A = std::llround(j.m.A * 65536), E = std::llround(j.m.E * 65536);
    const int64_t B = std::llround(j.m.B * 65536), F = std::llround(j.m.F * 65536);
    const int64_t u00 = std::llround((j.anchor * j.m.B + j.m.C) * 65536) + 32768;
    const int64_t v00 = std::llround((j.anchor * j.m.F + j.m.G) * 65536) + 32768;
    forRows(j, [&](int y, int, int x0, int x1) {
        int64_t u = u00 + B * (y - j.anchor) + A * x0, v = v00 + F * (y - j.anchor) + E * x0;
        uint8_t* drow = reinterpret_cast<uint8_t*>(j.d.p + j.d.row * (y - j.dy));
        for (int x = x0; x <= x1; ++x, u += A, v += E) bitPixel<false>(j, u >> 16, v >> 16, drow, x - j.dx);
    });
}

// Double chains: row(y, x) forms the position at column x of row y,
// step() moves it one column, uv() gives it.
struct AffineChain {
    const Job& j;
    double u = 0, v = 0;
    // Affine rows start at the rectangle's left column, whatever the table.
    int start(int) const { return j.colAnchor; }
    void row(int y, int x) { u = j.m.A * x + j.m.B * y + j.m.C, v = j.m.E * x + j.m.F * y + j.m.G; }
    void step() { u += j.m.A, v += j.m.E; }
    void uv(double& uu, double& vv) const { uu = u, vv = v; }
};
struct PerspectiveChain {
    const Job& j;
    double nu = 0, nv = 0, dn = 0;
    int start(int l) const { return l; }
    void row(int y, int x) {
        const double X = x - j.xo, Y = y - j.yo;
        nu = j.P[0] * X + j.P[1] * Y + j.P[2];
        nv = j.P[3] * X + j.P[4] * Y + j.P[5];
        dn = j.P[6] * X + j.P[7] * Y + j.P[8];
    }
    void step() { nu += j.P[0], nv += j.P[3], dn += j.P[6]; }
    void uv(double& u, double& v) const {
        const double r = 1.0 / dn;
        u = nu * r, v = nv * r;
    }
};
template <int Case>
struct BilinearChain {
    const Job& j;
    double L = 0, N = 0, M = 0;
    int start(int l) const { return l; }
    void row(int y, int x) {
        const double* Q = j.bq.Q;
        L = Q[0] * x + Q[1] * y + Q[2], N = Q[4] * x + Q[6] * y + Q[8], M = Q[5] * x + Q[7] * y + Q[9];
    }
    void step() { L += j.bq.Q[0], N += j.bq.Q[4], M += j.bq.Q[5]; }
    void uv(double& u, double& v) const {
        if (Case == 0) {
            // Rounding can take the radicand just below 0 inside the quadrangle.
            const double r = L * L - N;
            u = L + j.bq.sign * std::sqrt(r > 0 ? r : 0.0);
            v = j.bq.Q[3] * u + M;
        } else if (Case == 1) {
            u = N / L, v = M;
        } else if (Case == 2) {
            u = N, v = M / L;
        } else {
            u = N, v = M;
        }
    }
};

// A scan with double positions: each row's chain starts at the same column
// on every tile (its first in the whole table), so tiles give the bits of
// the untiled run.
template <class T, int Mode, bool Test, class Chain>
void scanDoubleWith(const Job& j, Chain g, int ox, int oy) {
    const ptrdiff_t dp = j.d.pix;
    forRows(j, [&](int y, int l, int x0, int x1) {
        const int s = g.start(l);
        g.row(y, s);
        for (int x = s; x < x0; ++x) g.step();
        char* drow = j.d.p + j.d.row * (y - j.dy);
        for (int x = x0; x <= x1; ++x, g.step()) {
            double u, v;
            g.uv(u, v);
            if constexpr (std::is_same_v<T, bool>)
                bitPixel<Test>(j, indexOf(u + kTol) - ox, indexOf(v + kTol) - oy, reinterpret_cast<uint8_t*>(drow), x - j.dx);
            else
                doublePixel<T, Mode, Test>(j, u, v, ox, oy, drow + dp * (x - j.dx));
        }
    });
}

template <class T, bool Test, class Chain>
void scanDoubleMode(const Job& j, Chain g, int ox, int oy) {
    if constexpr (std::is_same_v<T, bool>) scanDoubleWith<T, kInterNN, Test>(j, g, ox, oy);
    else if (j.mode == kInterNN) scanDoubleWith<T, kInterNN, Test>(j, g, ox, oy);
    else if (j.mode == kInterLinear) scanDoubleWith<T, kInterLinear, Test>(j, g, ox, oy);
    else scanDoubleWith<T, kInterCubic, Test>(j, g, ox, oy);
}

template <bool Test, class Chain>
void scanDouble(const Job& j, Chain g, int depth, int ox, int oy) {
    if (depth == ZOL_DEPTH_1U) scanDoubleMode<bool, Test>(j, g, ox, oy);
    else if (depth == ZOL_DEPTH_8U) scanDoubleMode<uint8_t, Test>(j, g, ox, oy);
    else scanDoubleMode<uint16_t, Test>(j, g, ox, oy);
}

// The perspective scan of 8U pixels of 1 or 3 interleaved channels,
// linear, without the test: the chains run here, pixel by pixel as
// everywhere, into short buffers that the form's row pass samples.
void scanPerspectiveLinear8(const Job& j, int ox, int oy) {
    constexpr int kChunk = 256;
    double nu[kChunk], nv[kChunk], dn[kChunk];
    const PerspectiveRow pass = warpKernels().perspectiveLinear8;
    const auto* s = reinterpret_cast<const uint8_t*>(j.s.p);
    forRows(j, [&](int y, int l, int x0, int x1) {
        PerspectiveChain g{j};
        g.row(y, l);
        for (int x = l; x < x0; ++x) g.step();
        auto* out = reinterpret_cast<uint8_t*>(j.d.p + j.d.row * (y - j.dy)) + (x0 - j.dx) * j.ch;
        for (int x = x0; x <= x1; x += kChunk) {
            const int n = std::min(kChunk, x1 - x + 1);
            for (int k = 0; k < n; ++k, g.step()) nu[k] = g.nu, nv[k] = g.nv, dn[k] = g.dn;
            pass(nu, nv, dn, n, s, j.s.row, j.ch, j.iw, j.ih, ox, oy, j.avail, out + (x - x0) * j.ch);
        }
    });
}

// The bilinear mapping of the destination rectangle onto a quadrangle of
// the source, in 16.16 throughout: the second difference lives in the
// column step, so no multiplication is made per pixel.
template <class T, int Mode>
void scanBilinearFixed(const Job& j) {
    const int64_t(&c)[2][4] = j.bf;
    const int64_t half = Mode == kInterNN ? 32768 : 0;
    const int64_t ou = int64_t(j.ox) << 16, ov = int64_t(j.oy) << 16;
    const ptrdiff_t dp = j.d.pix;
    forRows(j, [&](int y, int l, int x0, int x1) {
        // Sums of whole 16.16 steps: the same numbers the chain from the
        // rectangle's first row and column reaches.
        const int64_t r = y - j.yo;
        const int64_t du = c[0][1] + r * c[0][0], dv = c[1][1] + r * c[1][0];
        int64_t u = c[0][3] + r * c[0][2] + (x0 - l) * du + half - ou;
        int64_t v = c[1][3] + r * c[1][2] + (x0 - l) * dv + half - ov;
        char* drow = j.d.p + j.d.row * (y - j.dy);
        for (int x = x0; x <= x1; ++x, u += du, v += dv) {
            if constexpr (std::is_same_v<T, bool>) {
                bitPixel<true>(j, u >> 16, v >> 16, reinterpret_cast<uint8_t*>(drow), x - j.dx);
            } else if constexpr (sizeof(T) == 1 || Mode == kInterNN) {
                fixedPixel<T, Mode, 0, true>(j, u, v, drow + dp * (x - j.dx));
            } else {
                // 16U: the same test on the 16.16 indices, then the double samplers.
                if ((u >> 16) < 0 || (u >> 16) >= j.sw || (v >> 16) < 0 || (v >> 16) >= j.sh) continue;
                doublePixel<T, Mode, false>(j, double(u) * (1.0 / 65536), double(v) * (1.0 / 65536), 0, 0,
                                            drow + dp * (x - j.dx));
            }
        }
    });
}

template <class T>
void scanBilinearFixedMode(const Job& j) {
    if constexpr (std::is_same_v<T, bool>) scanBilinearFixed<T, kInterNN>(j);
    else if (j.mode == kInterNN) scanBilinearFixed<T, kInterNN>(j);
    else if (j.mode == kInterLinear) scanBilinearFixed<T, kInterLinear>(j);
    else scanBilinearFixed<T, kInterCubic>(j);
}

struct Chans {
    int first = 0, n = 0;
};
Chans chansOf(const ZolImage* im) {
    if (im->roi && im->roi->coi) return {im->roi->coi - 1, 1};
    return {0, im->nChannels - (im->alphaChannel ? 1 : 0)};
}

// The scan table over the rows first..last: per row the first and last
// column to write. With a quadrangle in the destination, the quadrangle
// clipped to the rectangle [x0, x1] x [y0, y1] of pixel centres; with one
// in the source, every pixel of the rectangle. False when it could not be
// had; first > last when no row is left.
bool buildTable(Job& j, Scratch& scratch, const double quad[4][2], bool everyPixel, double x0, double x1,
                double y0, double y1) {
    j.first = 1, j.last = 0;
    if (everyPixel) {
        j.first = int(y0), j.last = int(y1);
        int32_t* left = scratch.take<int32_t>(j.last - j.first + 1);
        int32_t* right = scratch.take<int32_t>(j.last - j.first + 1);
        if (!scratch.ok()) return false;
        std::fill(left, left + (j.last - j.first + 1), int32_t(x0));
        std::fill(right, right + (j.last - j.first + 1), int32_t(x1));
        j.left = left, j.right = right;
        return true;
    }
    Pt a[16], b[16];
    int n = 4;
    for (int i = 0; i < 4; ++i) a[i] = {quad[i][0], quad[i][1]};
    n = clipPass(a, n, b, 0, x0, 1);
    n = clipPass(b, n, a, 0, x1, -1);
    n = clipPass(a, n, b, 1, y0, 1);
    n = clipPass(b, n, a, 1, y1, -1);
    if (n == 0) return true;
    double minY = a[0].y, maxY = a[0].y;
    for (int i = 1; i < n; ++i) minY = std::min(minY, a[i].y), maxY = std::max(maxY, a[i].y);
    const int firstRow = int(std::max(std::ceil(minY), y0));
    const int lastRow = int(std::min(std::floor(maxY), y1));
    if (lastRow < firstRow) return true;
    int32_t* left = scratch.take<int32_t>(lastRow - firstRow + 1);
    int32_t* right = scratch.take<int32_t>(lastRow - firstRow + 1);
    if (!scratch.ok()) return false;
    for (int y = firstRow; y <= lastRow; ++y) {
        double lo = 1e300, hi = -1e300;
        for (int i = 0; i < n; ++i) {
            const Pt& p = a[i];
            const Pt& q = a[(i + 1) % n];
            if (std::fabs(q.y - p.y) <= kTol) {
                if (std::fabs(p.y - y) <= kTol) lo = std::min({lo, p.x, q.x}), hi = std::max({hi, p.x, q.x});
                continue;
            }
            if ((y < std::min(p.y, q.y)) || (y > std::max(p.y, q.y))) continue;
            const double x = p.x + (q.x - p.x) * ((y - p.y) / (q.y - p.y));
            lo = std::min(lo, x), hi = std::max(hi, x);
        }
        int l = 1, r = 0;  // empty unless the row meets the polygon
        if (lo <= hi) {
            l = int(std::max(std::ceil(lo), x0));
            r = int(std::min(std::floor(hi), x1));
        }
        left[y - firstRow] = l;
        right[y - firstRow] = r;
    }
    j.first = firstRow, j.last = lastRow;
    j.left = left, j.right = right;
    return true;
}

// Runs the kernel of the kind over the part of the table in j.
void runKernel(const Job& j, WarpKind kind, bool fromQuad, bool test, int depth) {
    if (kind == kWarpAffine) {
        switch (depth) {
            case ZOL_DEPTH_1U: scanBits(j); break;
            case ZOL_DEPTH_8U: scanFixed<uint8_t>(j); break;
            default:
                if (j.mode == kInterNN) scanFixed<uint16_t>(j);
                else scanDouble<false>(j, AffineChain{j}, depth, 0, 0);
        }
    } else if (kind == kWarpPerspective) {
        if (!test && depth == ZOL_DEPTH_8U && j.mode == kInterLinear && (j.ch == 1 || j.ch == 3) &&
            j.s.pix == j.ch && j.d.pix == j.ch && (j.ch == 1 || (j.s.ch == 1 && j.d.ch == 1)))
            scanPerspectiveLinear8(j, j.ox, j.oy);
        else if (test) scanDouble<true>(j, PerspectiveChain{j}, depth, j.ox, j.oy);
        else scanDouble<false>(j, PerspectiveChain{j}, depth, j.ox, j.oy);
    } else if (fromQuad) {
        if (depth == ZOL_DEPTH_1U) scanBilinearFixedMode<bool>(j);
        else if (depth == ZOL_DEPTH_8U) scanBilinearFixedMode<uint8_t>(j);
        else scanBilinearFixedMode<uint16_t>(j);
    } else {
        switch (j.bq.kase) {
            case 0: scanDouble<false>(j, BilinearChain<0>{j}, depth, 0, 0); break;
            case 1: scanDouble<false>(j, BilinearChain<1>{j}, depth, 0, 0); break;
            case 2: scanDouble<false>(j, BilinearChain<2>{j}, depth, 0, 0); break;
            default: scanDouble<false>(j, BilinearChain<3>{j}, depth, 0, 0);
        }
    }
}

// The inverse of the bilinear map of the local source rectangle (W = sw - 1,
// H = sh - 1) onto the quadrangle.
BilinearBack bilinearBack(const double quad[4][2], int sw, int sh) {
    const double* q = &quad[0][0];
    const double W = sw - 1, H = sh - 1;
    const double Sx = (q[6] - q[4]) + (q[2] - q[0]), Sy = (q[7] - q[5]) + (q[3] - q[1]);
    const double A = (q[6] - q[4]) * (q[3] - q[1]) - (q[2] - q[0]) * (q[7] - q[5]);
    const double B = (q[4] - q[2]) * (q[1] - q[7]) - (q[0] - q[6]) * (q[5] - q[3]);
    const double E = (q[3] - q[1]) * (q[0] - q[6]) - (q[2] - q[0]) * (q[1] - q[7]);
    const bool o = (q[1] - q[7]) * (q[6] - q[4]) - (q[0] - q[6]) * (q[7] - q[5]) > 0;
    const bool aNz = std::fabs(A) > 1e-10, bNz = std::fabs(B) > 1e-10;
    BilinearBack r;
    double* Q = r.Q;
    if (aNz && bNz) {
        r.kase = 0;
        r.sign = (o && A > 0) || (!o && A < 0) ? 1.0 : -1.0;
        const double m = 1.0 / (2.0 * A / W);
        Q[0] = -Sy * m, Q[1] = Sx * m;
        Q[2] = -E * m - (Q[0] * q[0] + Q[1] * q[1]);
        Q[3] = -(A / W) / (B / H);
        Q[4] = (q[1] - q[7]) * W * W / A, Q[6] = -(q[0] - q[6]) * W * W / A;
        Q[5] = -Sy / (B / H), Q[7] = Sx / (B / H);
    } else if (bNz) {
        r.kase = 1;
        Q[0] = Sy, Q[1] = -Sx;
        Q[2] = E - (Sy * q[0] - Sx * q[1]);
        Q[4] = -(q[1] - q[7]) * W, Q[6] = (q[0] - q[6]) * W;
        Q[5] = -Sy * H / B, Q[7] = Sx * H / B;
    } else if (aNz) {
        r.kase = 2;
        Q[0] = Sy, Q[1] = -Sx;
        Q[2] = -E - (Sy * q[0] - Sx * q[1]);
        Q[4] = -Sy * W / A, Q[6] = Sx * W / A;
        Q[5] = (q[3] - q[1]) * H, Q[7] = -(q[2] - q[0]) * H;
    } else {
        r.kase = 3;
        Q[4] = -(q[1] - q[7]) * W / E, Q[6] = (q[0] - q[6]) * W / E;
        Q[5] = -(q[3] - q[1]) * H / E, Q[7] = (q[2] - q[0]) * H / E;
    }
    Q[8] = -(Q[4] * q[0] + Q[6] * q[1]);
    Q[9] = -(Q[5] * q[0] + Q[7] * q[1]);
    return r;
}

}  // namespace

void perspectiveLinear8(const double* nu, const double* nv, const double* dn, int count, const uint8_t* s,
                        ptrdiff_t row, int n, int iw, int ih, int ox, int oy, ptrdiff_t, uint8_t* out) {
    for (int k = 0; k < count; ++k) {
        const double r = 1.0 / dn[k], u = nu[k] * r, v = nv[k] * r;
        const int64_t i = std::clamp<int64_t>(indexOf(u + kTol - 0.5) - ox, 0, iw - 2);
        const int64_t j = std::clamp<int64_t>(indexOf(v + kTol - 0.5) - oy, 0, ih - 2);
        const double fx = u - double(i + ox), fy = v - double(j + oy);
        for (int c = 0; c < n; ++c) {
            const uint8_t* e = s + row * j + i * n + c;
            const double s00 = e[0], s01 = e[n], s10 = e[row], s11 = e[row + n];
            const double a = s00 + (s01 - s00) * fx, b = s10 + (s11 - s10) * fx;
            out[k * n + c] = saturate<uint8_t>(rne(a + (b - a) * fy + kTol));
        }
    }
}

// fixedPixel's linear branch for interleaved bytes, a row at a time.
void affineLinear8(int64_t u, int64_t v, int64_t A, int64_t E, int count, const uint8_t* s, ptrdiff_t row,
                   int n, int iw, int ih, ptrdiff_t, uint8_t* out) {
    for (int x = 0; x < count; ++x, u += A, v += E) {
        int64_t i, k;
        int32_t wx, wy;
        linearTap(u, iw, &i, &wx);
        linearTap(v, ih, &k, &wy);
        const uint8_t* s0 = s + row * k + n * i;
        const uint8_t* s1 = s0 + row;
        for (int c = 0; c < n; ++c)
            out[x * n + c] = uint8_t(linearBlend(s0[c], s0[c + n], s1[c], s1[c + n], wx, wy));
    }
}

// fixedPixel's cubic branch for interleaved bytes, a row at a time.
void affineCubic8(int64_t u, int64_t v, int64_t A, int64_t E, int count, const uint8_t* s, ptrdiff_t row,
                  int n, int iw, int ih, ptrdiff_t, uint8_t* out) {
    for (int x = 0; x < count; ++x, u += A, v += E) {
        const int64_t ib = cubicTap(u, iw), jb = cubicTap(v, ih);
        const char* e = reinterpret_cast<const char*>(s + row * jb + n * ib);
        for (int c = 0; c < n; ++c)
            out[x * n + c] = uint8_t(cubicAt<uint8_t>(e + c, row, n, u - (ib << 16) - 65536, v - (jb << 16) - 65536));
    }
}

namespace {
WarpKernels makeTable(Form form) {
    WarpKernels k;
    k.perspectiveLinear8 = perspectiveLinear8;
    k.affineLinear8 = affineLinear8;
    k.affineCubic8 = affineCubic8;
    warpSimd(form, k);
    return k;
}
}  // namespace

const WarpKernels& warpKernels() { return tableForActiveForm(makeTable); }
Form warpForm() { return activeForm(); }

bool warpChecks(const char* func, const ZolImage* src, const ZolImage* dst, const int* warpFlag) {
    if (zolCheckImageHeader(src) != 0 || zolCheckImageHeader(dst) != 0) {
        report(zolGetErrStatus(), func, msg::kIncorrectImage);
        return false;
    }
    bool ok = true;
    if (src->depth != dst->depth) ok = false, report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kWarpDepth);
    if (src->origin != dst->origin) ok = false, report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kWarpOrigin);
    if (src->depth != ZOL_DEPTH_1U && !(src->nChannels == 1 && dst->nChannels == 1) &&
        src->dataOrder != dst->dataOrder)
        ok = false, report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kWarpOrder);
    if ((src->depth & ZOL_DEPTH_SIGN) || src->depth == ZOL_DEPTH_32F)
        ok = false, report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kWarpSigned);
    if (warpFlag && *warpFlag != 0 && *warpFlag != 1) ok = false, report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kWarpFlag);
    if (src == dst) ok = false, report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kWarpInPlace);
    return ok;
}

void ownWarpEngine(const char* func, const ZolImage* src, ZolImage* dst, const double quad[4][2],
                   int interpolate, WarpKind kind, bool fromQuad) {
    ownRect rs, rd;
    ownRoiRect(src, &rs);
    ownRoiRect(dst, &rd);
    if (fromQuad) {
        // Every pixel of the destination rectangle is computed.
        if (rd.width <= 0 || rd.height <= 0) return;
        if (rd.width <= 1 || rd.height <= 1) {
            report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kDstRectDegenerate);
            return;
        }
        if (rs.width <= 0 || rs.height <= 0) return;
    } else {
        if (rs.width <= 0 || rs.height <= 0) return;
        if (rs.width <= 1 || rs.height <= 1) {
            report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kSrcRectDegenerate);
            return;
        }
        if (rd.width <= 0 || rd.height <= 0) return;
    }
    // Positions stay far inside 64 bits (16.16) and doubles, whatever the
    // rectangle: a mapping beyond these bounds (or not finite) can place no
    // source pixel usefully and writes nothing.
    const double kStep = 1e9, kStart = 1e12;
    for (int i = 0; i < 4; ++i)
        if (!(std::fabs(quad[i][0]) < kStart && std::fabs(quad[i][1]) < kStart)) return;
    Job j;
    if (kind == kWarpAffine) {
        j.m = affineBack(quad, rs.width, rs.height);
        if (!(std::fabs(j.m.A) < kStep && std::fabs(j.m.B) < kStep && std::fabs(j.m.E) < kStep &&
              std::fabs(j.m.F) < kStep && std::fabs(j.m.C) < kStart && std::fabs(j.m.G) < kStart))
            return;
    }
    const Chans cs = chansOf(src), cd = chansOf(dst);
    if (cs.n <= 0 || cd.n <= 0) return;
    if (cs.n != cd.n) {
        report(ZOL_STATUS_BAD_COI, func, msg::kWarpCoi);
        return;
    }

    j.iw = src->width - std::max(rs.x, 0);
    j.ih = src->height - std::max(rs.y, 0);
    j.sw = rs.width;
    j.sh = rs.height;
    j.ch = cs.n;
    j.mode = interpolate;
    bool test = false;
    if (kind == kWarpPerspective) {
        double F[3][3];
        if (fromQuad) {
            // The destination rectangle onto the quadrangle in source
            // coordinates; a quadrangle inside the source rectangle needs no
            // test per pixel.
            perspectiveTransform(0, 0, rd.width - 1, rd.height - 1, quad, F);
            std::copy(&F[0][0], &F[0][0] + 9, j.P);
            j.xo = rd.x, j.yo = rd.y, j.ox = rs.x, j.oy = rs.y;
            for (int i = 0; i < 4; ++i)
                test = test || !(quad[i][0] >= rs.x && quad[i][0] <= rs.x + rs.width - 1 && quad[i][1] >= rs.y &&
                                 quad[i][1] <= rs.y + rs.height - 1);
        } else {
            // The adjugate of the forward map: u and v are quotients, so the
            // determinant is never needed.
            perspectiveTransform(0, 0, rs.width - 1, rs.height - 1, quad, F);
            const double* f = &F[0][0];
            const double adj[9] = {f[8] * f[4] - f[5] * f[7], f[2] * f[7] - f[8] * f[1], f[5] * f[1] - f[2] * f[4],
                                   f[5] * f[6] - f[8] * f[3], f[8] * f[0] - f[6] * f[2], f[2] * f[3] - f[0] * f[5],
                                   f[3] * f[7] - f[6] * f[4], f[6] * f[1] - f[7] * f[0], f[4] * f[0] - f[1] * f[3]};
            std::copy(adj, adj + 9, j.P);
        }
    } else if (kind == kWarpBilinear) {
        if (fromQuad) {
            double c[2][4];
            bilinearTransform(0, 0, rd.width - 1, rd.height - 1, quad, c);
            for (int r = 0; r < 2; ++r)
                for (int k = 0; k < 4; ++k) j.bf[r][k] = std::llround(c[r][k] * 65536.0);
            j.xo = rd.x, j.yo = rd.y, j.ox = rs.x, j.oy = rs.y;
        } else {
            j.bq = bilinearBack(quad, rs.width, rs.height);
        }
    }
    // A tiled source is read once, from its rectangle to the image's far
    // edges (the samplers may read past the rectangle there).
    void* block = nullptr;
    if (src->tileInfo) {
        int stride = 0;
        block = ownGetRect(src, rs.x, rs.y, j.iw, j.ih, &stride);
        if (!block) {
            report(ZOL_STATUS_NO_MEMORY, func, msg::kOutOfMemory);
            return;
        }
        j.s = planeIn(src, static_cast<char*>(block), stride, j.ih, 0, 0, cs.first);
    } else {
        j.s = planeIn(src, src->imageData, src->widthStep, src->height, rs.x, rs.y, cs.first);
        j.avail = src->imageData + src->imageSize - j.s.p;
    }
    // One table for the whole destination rectangle: tiles take their part
    // of it, and row starts are rounded at its first row, so tiles give the
    // untiled bytes.
    const double x0 = rd.x, x1 = rd.x + rd.width - 1.0, y0 = rd.y, y1 = rd.y + rd.height - 1.0;
    Scratch scratch;
    if (!buildTable(j, scratch, quad, fromQuad, x0, x1, y0, y1)) {
        report(ZOL_STATUS_NO_MEMORY, func, msg::kOutOfMemory);
        zolFree(block);
        return;
    }
    if (j.first > j.last) {
        zolFree(block);
        return;
    }
    j.anchor = j.first;
    j.colAnchor = rd.x;
    if (!dst->tileInfo) {
        j.d = planeIn(dst, dst->imageData, dst->widthStep, dst->height, 0, 0, cd.first);
        j.xLo = rd.x, j.xHi = int(x1), j.yLo = rd.y, j.yHi = int(y1);
        runKernel(j, kind, fromQuad, test, src->depth);
        zolFree(block);
        return;
    }
    ZolTileInfo* ti = dst->tileInfo;
    const int tw = ti->width, th = ti->height, step = ownTileStep(dst);
    for (int row = j.first / th; row <= j.last / th; ++row)
        for (int col = rd.x / tw; col <= (rd.x + rd.width - 1) / tw; ++col) {
            ti->tileData = nullptr;
            ti->callBack(dst, col, row, ZOL_TILE_WRITE);
            char* tile = static_cast<char*>(ti->tileData);
            if (!tile) {
                report(ZOL_STATUS_FAILED, func, msg::kWarpTileWrite);
                zolFree(block);
                return;
            }
            j.d = planeIn(dst, tile, step, th, 0, 0, cd.first);
            j.dx = col * tw, j.dy = row * th;
            j.xLo = std::max(rd.x, j.dx), j.xHi = std::min(int(x1), j.dx + tw - 1);
            j.yLo = std::max(rd.y, j.dy), j.yHi = std::min(int(y1), j.dy + th - 1);
            runKernel(j, kind, fromQuad, test, src->depth);
            ti->callBack(dst, col, row, ZOL_TILE_RELEASE);
        }
    zolFree(block);
}

}  // namespace geo
}  // namespace zol
