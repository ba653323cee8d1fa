// The warp engine: mapping back, quadrangle clipping, scan table and the
// samplers of the affine mapping (16.16 fixed-point steps for 8U, 1U and
// 16U nearest; doubles for 16U linear and cubic).
#include "geometry/warp.h"

#include <algorithm>
#include <cmath>
#include <climits>
#include <cstring>

#include "core/border.h"
#include "core/image.h"
#include "core/messages.h"
#include "core/rect.h"
#include "core/report.h"
#include "geometry/resample.h"
#include "geometry/scratch.h"

namespace zol {
namespace geo {

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

struct Job {
    Plane s, d;       // source at its rectangle's start; destination at pixel (dx, dy)
    int dx = 0, dy = 0;
    int iw, ih;       // sampling limits from the rectangle's start
    int sw, sh;       // the rectangle
    int ch;
    int mode;
    Mapping m;
    int anchor;       // the row whose start is rounded; others step from it
    int colAnchor;    // the column where the double chains of a row start
    int firstRow, lastRow;
    const int32_t* left;
    const int32_t* right;
};

// Fixed-point scans: 8U nearest, linear and cubic; 16U nearest; 1U nearest.
template <class T>
inline int32_t ld(const char* p) {
    return int32_t(*reinterpret_cast<const T*>(p));
}

// Ch channels (0: j.ch at run time), each pixel's taps addressed once.
template <class T, int Mode, int Ch>
void scanFixedMode(const Job& j) {
    const int64_t A = std::llround(j.m.A * 65536), E = std::llround(j.m.E * 65536);
    const int64_t B = std::llround(j.m.B * 65536), F = std::llround(j.m.F * 65536);
    int64_t u0 = std::llround((j.anchor * j.m.B + j.m.C) * 65536) + B * (j.firstRow - j.anchor);
    int64_t v0 = std::llround((j.anchor * j.m.F + j.m.G) * 65536) + F * (j.firstRow - j.anchor);
    const int64_t uMax = int64_t(j.iw - 1) << 16, vMax = int64_t(j.ih - 1) << 16;
    const int ch = Ch ? Ch : j.ch;
    const ptrdiff_t sr = j.s.row, sp = j.s.pix, sc = j.s.ch, dp = j.d.pix, dc = j.d.ch;
    const char* const sbase = j.s.p;
    if (Mode == kInterNN) u0 += 32768, v0 += 32768;
    for (int y = j.firstRow; y <= j.lastRow; ++y, u0 += B, v0 += F) {
        const int x0 = j.left[y - j.firstRow], x1 = j.right[y - j.firstRow];
        int64_t u = u0 + A * x0, v = v0 + E * x0;
        char* d = j.d.p + j.d.row * (y - j.dy) + dp * (x0 - j.dx);
        for (int x = x0; x <= x1; ++x, u += A, v += E, d += dp) {
            if (Mode == kInterNN) {
                const int64_t i = std::clamp<int64_t>(u >> 16, 0, j.sw - 1);
                const int64_t k = std::clamp<int64_t>(v >> 16, 0, j.sh - 1);
                const char* s = sbase + sr * k + sp * i;
                for (int c = 0; c < ch; ++c) *reinterpret_cast<T*>(d + dc * c) = *reinterpret_cast<const T*>(s + sc * c);
            } else if (Mode == kInterLinear) {
                const int64_t uc = std::clamp<int64_t>(u, 0, uMax), vc = std::clamp<int64_t>(v, 0, vMax);
                int64_t i = uc >> 16, k = vc >> 16;
                if (i > j.iw - 2) --i;
                if (k > j.ih - 2) --k;
                const int32_t wx = int32_t((uc - (i << 16)) >> 2), wy = int32_t((vc - (k << 16)) >> 2);
                const char* s0 = sbase + sr * k + sp * i;
                const char* s1 = s0 + sr;
                for (int c = 0; c < ch; ++c) {
                    const ptrdiff_t o = sc * c;
                    const int64_t h0 = (int64_t(ld<T>(s0 + o)) * (16384 - wx) + int64_t(ld<T>(s0 + o + sp)) * wx) >> 8;
                    const int64_t h1 = (int64_t(ld<T>(s1 + o)) * (16384 - wx) + int64_t(ld<T>(s1 + o + sp)) * wx) >> 8;
                    *reinterpret_cast<T*>(d + dc * c) = T((h0 * (16384 - wy) + h1 * wy) >> 20);
                }
            } else {
                const int64_t ib = u < 65536 ? 0 : (u >> 16) >= j.iw - 2 ? j.iw - 4 : (u >> 16) - 1;
                const int64_t jb = v < 65536 ? 0 : (v >> 16) >= j.ih - 2 ? j.ih - 4 : (v >> 16) - 1;
                const int64_t t = u - (ib << 16) - 65536, tv = v - (jb << 16) - 65536;
                const char* s = sbase + sr * jb + sp * ib;
                for (int c = 0; c < ch; ++c) {
                    int64_t r[4];
                    for (int q = 0; q < 4; ++q) {
                        const char* e = s + sr * q + sc * c;
                        r[q] = (cubic8(ld<T>(e), ld<T>(e + sp), ld<T>(e + 2 * sp), ld<T>(e + 3 * sp), t) + 8) >> 4;
                    }
                    const int64_t p = (cubic8(r[0], r[1], r[2], r[3], tv) + 8) >> 4;
                    *reinterpret_cast<T*>(d + dc * c) = T(std::clamp<int64_t>(p, 0, 255));
                }
            }
        }
    }
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
    if (j.mode == kInterNN) scanFixedCh<T, kInterNN>(j);
    else if (j.mode == kInterLinear) scanFixedCh<T, kInterLinear>(j);
    else scanFixedCh<T, kInterCubic>(j);
}

void scanBits(const Job& j) {
    const int64_t A = std::llround(j.m.A * 65536), E = std::llround(j.m.E * 65536);
    const int64_t B = std::llround(j.m.B * 65536), F = std::llround(j.m.F * 65536);
    int64_t u0 = std::llround((j.anchor * j.m.B + j.m.C) * 65536) + B * (j.firstRow - j.anchor) + 32768;
    int64_t v0 = std::llround((j.anchor * j.m.F + j.m.G) * 65536) + F * (j.firstRow - j.anchor) + 32768;
    for (int y = j.firstRow; y <= j.lastRow; ++y, u0 += B, v0 += F) {
        const int x0 = j.left[y - j.firstRow], x1 = j.right[y - j.firstRow];
        int64_t u = u0 + A * x0, v = v0 + E * x0;
        uint8_t* drow = reinterpret_cast<uint8_t*>(j.d.p + j.d.row * (y - j.dy));
        for (int x = x0; x <= x1; ++x, u += A, v += E) {
            const int64_t i = std::clamp<int64_t>(u >> 16, 0, j.sw - 1);
            const int64_t k = std::clamp<int64_t>(v >> 16, 0, j.sh - 1);
            const auto* srow = reinterpret_cast<const uint8_t*>(j.s.p + j.s.row * k);
            setBitAt(drow, j.d.bit + x - j.dx, bitAt(srow, j.s.bit + i));
        }
    }
}

// 16U linear and cubic: u and v in doubles, one addition per pixel.
void scanDouble16(const Job& j) {
    const double A = j.m.A, E = j.m.E;
    auto index = [](double u) { return int64_t(std::nearbyint(u + kTol - 0.5)); };
    for (int y = j.firstRow; y <= j.lastRow; ++y) {
        const int x0 = j.left[y - j.firstRow], x1 = j.right[y - j.firstRow];
        // The chain starts at the rectangle's left column on every tile,
        // so tiles give the untiled bits.
        double u = A * j.colAnchor + j.m.B * y + j.m.C, v = E * j.colAnchor + j.m.F * y + j.m.G;
        for (int x = j.colAnchor; x < x0; ++x) u += A, v += E;
        for (int x = x0; x <= x1; ++x, u += A, v += E) {
            int64_t i = index(u), k = index(v);
            if (j.mode == kInterLinear) {
                i = std::clamp<int64_t>(i, 0, j.iw - 2);
                k = std::clamp<int64_t>(k, 0, j.ih - 2);
                const double fx = u - double(i), fy = v - double(k);
                for (int c = 0; c < j.ch; ++c) {
                    const double s00 = double(at<uint16_t>(j.s, i, k, c));
                    const double s01 = double(at<uint16_t>(j.s, i + 1, k, c));
                    const double s10 = double(at<uint16_t>(j.s, i, k + 1, c));
                    const double s11 = double(at<uint16_t>(j.s, i + 1, k + 1, c));
                    const double a = s00 + (s01 - s00) * fx, b = s10 + (s11 - s10) * fx;
                    const double p = std::nearbyint(a + (b - a) * fy + kTol);
                    put<uint16_t>(j.d, x - j.dx, y - j.dy, c, int64_t(std::clamp(p, 0.0, 65535.0)));
                }
            } else {
                const int64_t ib = i < 1 ? 0 : i >= j.iw - 2 ? j.iw - 4 : i - 1;
                const int64_t jb = k < 1 ? 0 : k >= j.ih - 2 ? j.ih - 4 : k - 1;
                const CubicFactors fu = cubicFactors(float(u - double(ib) - 1.0));
                const CubicFactors fv = cubicFactors(float(v - double(jb) - 1.0));
                for (int c = 0; c < j.ch; ++c) {
                    float r[4];
                    for (int q = 0; q < 4; ++q)
                        r[q] = cubic(float(at<uint16_t>(j.s, ib, jb + q, c)),
                                     float(at<uint16_t>(j.s, ib + 1, jb + q, c)),
                                     float(at<uint16_t>(j.s, ib + 2, jb + q, c)),
                                     float(at<uint16_t>(j.s, ib + 3, jb + q, c)), fu);
                    const double p = std::nearbyint(double(cubic(r[0], r[1], r[2], r[3], fv)) + kTol);
                    put<uint16_t>(j.d, x - j.dx, y - j.dy, c, int64_t(std::clamp(p, 0.0, 65535.0)));
                }
            }
        }
    }
}

struct Chans {
    int first = 0, n = 0;
};
Chans chansOf(const ZolImage* im) {
    if (im->roi && im->roi->coi) return {im->roi->coi - 1, 1};
    return {0, im->nChannels - (im->alphaChannel ? 1 : 0)};
}

}  // namespace

// Clips the quadrangle to the rectangle [x0, x1] x [y0, y1] of pixel
// centres, builds the scan table and runs the sampler. False when the
// table could not be had.
// The first row of the scan of the quadrangle clipped to the rectangle;
// INT32_MIN when nothing is left.
static int firstScanRow(const double quad[4][2], double x0, double x1, double y0, double y1) {
    Pt a[16], b[16];
    int n = 4;
    for (int i = 0; i < 4; ++i) a[i] = {quad[i][0], quad[i][1]};
    n = clipPass(a, n, b, 0, x0, 1);
    n = clipPass(b, n, a, 0, x1, -1);
    n = clipPass(a, n, b, 1, y0, 1);
    n = clipPass(b, n, a, 1, y1, -1);
    if (n == 0) return INT32_MIN;
    double minY = a[0].y;
    for (int i = 1; i < n; ++i) minY = std::min(minY, a[i].y);
    return int(std::max(std::ceil(minY), y0));
}

static bool runScan(Job& j, const double quad[4][2], double x0, double x1, double y0, double y1,
             int depth) {
    // The quadrangle clipped to the destination rectangle's pixel centres.
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

    Scratch scratch;
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

    if (j.anchor == INT32_MIN) j.anchor = firstRow;
    j.firstRow = firstRow;
    j.lastRow = lastRow;
    j.left = left;
    j.right = right;
    switch (depth) {
        case ZOL_DEPTH_1U: scanBits(j); break;
        case ZOL_DEPTH_8U: scanFixed<uint8_t>(j); break;
        default:
            if (j.mode == kInterNN) scanFixed<uint16_t>(j);
            else scanDouble16(j);
    }
    return true;
}

void ownWarpEngine(const char* func, const ZolImage* src, ZolImage* dst, const double quad[4][2],
                   int interpolate, WarpKind kind) {
    (void)kind;
    ownRect rs, rd;
    ownRoiRect(src, &rs);
    ownRoiRect(dst, &rd);
    if (rs.width <= 0 || rs.height <= 0) return;
    if (rs.width <= 1 || rs.height <= 1) {
        report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kSrcRectDegenerate);
        return;
    }
    if (rd.width <= 0 || rd.height <= 0) return;
    const Mapping m = affineBack(quad, rs.width, rs.height);
    // 16.16 steps and row starts stay far inside 64 bits, whatever the
    // rectangle: a mapping beyond these bounds (or not finite) can place no
    // source pixel usefully and writes nothing.
    const double kStep = 1e9, kStart = 1e12;
    if (!(std::fabs(m.A) < kStep && std::fabs(m.B) < kStep && std::fabs(m.E) < kStep &&
          std::fabs(m.F) < kStep && std::fabs(m.C) < kStart && std::fabs(m.G) < kStart))
        return;
    for (int i = 0; i < 4; ++i)
        if (!(std::fabs(quad[i][0]) < kStart && std::fabs(quad[i][1]) < kStart)) return;
    const Chans cs = chansOf(src), cd = chansOf(dst);
    if (cs.n <= 0 || cd.n <= 0) return;
    if (cs.n != cd.n) {
        report(ZOL_STATUS_BAD_COI, func, msg::kWarpCoi);
        return;
    }

    Job j;
    j.iw = src->width - std::max(rs.x, 0);
    j.ih = src->height - std::max(rs.y, 0);
    j.sw = rs.width;
    j.sh = rs.height;
    j.ch = cs.n;
    j.mode = interpolate;
    j.m = m;
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
    }
    const double x0 = rd.x, x1 = rd.x + rd.width - 1.0, y0 = rd.y, y1 = rd.y + rd.height - 1.0;
    // Row starts are rounded at the first row of the whole destination
    // rectangle's scan, on tiles too, so that tiles give the untiled bytes.
    j.anchor = INT32_MIN;
    j.colAnchor = rd.x;
    if (!dst->tileInfo) {
        j.d = planeIn(dst, dst->imageData, dst->widthStep, dst->height, 0, 0, cd.first);
        if (!runScan(j, quad, x0, x1, y0, y1, src->depth)) report(ZOL_STATUS_NO_MEMORY, func, msg::kOutOfMemory);
        zolFree(block);
        return;
    }
    j.anchor = firstScanRow(quad, x0, x1, y0, y1);
    if (j.anchor == INT32_MIN) {
        zolFree(block);
        return;
    }
    ZolTileInfo* ti = dst->tileInfo;
    const int tw = ti->width, th = ti->height, step = ownTileStep(dst);
    for (int row = rd.y / th; row <= (rd.y + rd.height - 1) / th; ++row)
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
            const bool ok = runScan(j, quad, std::max(x0, double(j.dx)), std::min(x1, double(j.dx + tw - 1)),
                                    std::max(y0, double(j.dy)), std::min(y1, double(j.dy + th - 1)),
                                    src->depth);
            ti->callBack(dst, col, row, ZOL_TILE_RELEASE);
            if (!ok) {
                report(ZOL_STATUS_NO_MEMORY, func, msg::kOutOfMemory);
                zolFree(block);
                return;
            }
        }
    zolFree(block);
}

}  // namespace geo
}  // namespace zol
