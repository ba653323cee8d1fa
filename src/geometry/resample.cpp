// The resampling engine: tables of source positions built once per call,
// a horizontal pass once per source row into a small ring of rows, and a
// vertical pass that combines them. Pieces (tiles of the destination, or
// bands when only the source is tiled) use slices of the same tables, so a
// tiled run gives the same pixels as a plain one.
#include "geometry/resample.h"

#include <algorithm>
#include <climits>
#include <cstring>

#include "core/border.h"
#include "core/image.h"
#include "core/messages.h"
#include "core/rect.h"
#include "core/report.h"
#include "geometry/scratch.h"

namespace zol {
namespace geo {

// ---------------------------------------------------------------------
// Tables

int64_t Axis::bytesFor(int mode, int64_t n) {
    const int k = mode == kInterNN ? 1 : mode == kInterLinear ? 2 : 4;
    int64_t b = n * k * 4;
    if (mode == kInterLinear) b += n * 4;
    if (mode == kInterCubic) b += n * int64_t(sizeof(CubicFactors));
    return b;
}

void buildAxis(Axis& a, void* memory, int mode, int n, double step, int origin, int extent,
               int imageExtent) {
    a.mode = mode;
    a.count = n;
    const int k = a.taps();
    a.tap = static_cast<int32_t*>(memory);
    a.w = mode == kInterLinear ? reinterpret_cast<int16_t*>(a.tap + int64_t(n) * k) : nullptr;
    a.f = mode == kInterCubic ? reinterpret_cast<CubicFactors*>(a.tap + int64_t(n) * k) : nullptr;
    const int last = extent - 1;
    long double u = 0;
    for (int i = 0; i < n; ++i, u += step) {
        // Accumulated positions may pass the last sample by a hair.
        const int64_t idx = std::clamp<int64_t>(sampleIndex(u), 0, last);
        int32_t* tp = a.tap + int64_t(i) * k;
        if (mode == kInterNN) {
            tp[0] = int32_t(origin + idx);
        } else if (mode == kInterLinear) {
            int base = int(idx), w;
            if (last == 0) {  // a single sample: stay on it
                base = 0, w = 0;
            } else if (idx == last) {
                base = last - 1, w = 16384;
            } else {
                w = std::clamp(linearWeight(u - idx), 0, 16384);
            }
            tp[0] = origin + base;
            tp[1] = origin + std::min(base + 1, last);
            a.w[2 * i] = int16_t(16384 - w);
            a.w[2 * i + 1] = int16_t(w);
        } else {
            // Bases in image coordinates: the samples around the rectangle
            // are read, and the image's last sample is held.
            const int64_t at = origin + idx;
            int64_t base = at;
            float t;
            if (at == 0) base = 1;
            else if (at >= imageExtent - 2) base = imageExtent - 3;
            if (at == imageExtent - 1) t = 2.0f;
            else t = float(u - (long double)(base - origin));
            for (int j = 0; j < 4; ++j) tp[j] = int32_t(base - 1 + j);
            a.f[i] = cubicFactors(t);
        }
    }
}

// ---------------------------------------------------------------------
// Row kernels

namespace {

template <class T>
inline void nnRowT(const T* s, const int32_t* xo, int count, int n, T* out) {
    switch (n) {
        case 1:
            for (int x = 0; x < count; ++x) out[x] = s[xo[x]];
            return;
        case 3:
            for (int x = 0; x < count; ++x, out += 3) {
                const T* p = s + xo[x];
                out[0] = p[0], out[1] = p[1], out[2] = p[2];
            }
            return;
        default:
            for (int x = 0; x < count; ++x, out += n)
                for (int c = 0; c < n; ++c) out[c] = s[xo[x] + c];
    }
}

template <int N, class T>
inline void linearHN(const T* s, const int32_t* x0, const int32_t* x1, const int16_t* w, int count,
                     int n, uint16_t* out) {
    const int nn = N ? N : n;
    for (int x = 0; x < count; ++x, out += nn) {
        const T* a = s + x0[x];
        const T* b = s + x1[x];
        const int wb = w[x];
        for (int c = 0; c < nn; ++c) out[c] = uint16_t(linearH(a[c], b[c], wb));
    }
}

template <class T>
inline void linearRowHT(const T* s, const int32_t* x0, const int32_t* x1, const int16_t* w,
                        int count, int n, uint16_t* out) {
    switch (n) {
        case 1: return linearHN<1>(s, x0, x1, w, count, n, out);
        case 3: return linearHN<3>(s, x0, x1, w, count, n, out);
        case 4: return linearHN<4>(s, x0, x1, w, count, n, out);
        default: return linearHN<0>(s, x0, x1, w, count, n, out);
    }
}

template <int N, class T>
inline void cubicHN(const T* s, const int32_t* xo, const CubicFactors* f, int count, int n,
                    float* out) {
    const int nn = N ? N : n;
    for (int x = 0; x < count; ++x, out += nn) {
        const int32_t* o = xo + 4 * x;
        for (int c = 0; c < nn; ++c)
            out[c] = cubic(float(s[o[0] + c]), float(s[o[1] + c]), float(s[o[2] + c]),
                           float(s[o[3] + c]), f[x]);
    }
}

template <class T>
inline void cubicRowHT(const T* s, const int32_t* xo, const CubicFactors* f, int count, int n,
                       float* out) {
    switch (n) {
        case 1: return cubicHN<1>(s, xo, f, count, n, out);
        case 3: return cubicHN<3>(s, xo, f, count, n, out);
        default: return cubicHN<0>(s, xo, f, count, n, out);
    }
}

template <class T>
inline void cubicRowVT(const float* const* h, CubicFactors f, int count, T* out) {
    const float* __restrict h0 = h[0];
    const float* __restrict h1 = h[1];
    const float* __restrict h2 = h[2];
    const float* __restrict h3 = h[3];
    T* __restrict o = out;
    for (int i = 0; i < count; ++i) o[i] = cubicSample<T>(cubic(h0[i], h1[i], h2[i], h3[i], f));
}

}  // namespace

void nnRow(const uint8_t* s, const int32_t* xo, int count, int n, uint8_t* out) {
    nnRowT(s, xo, count, n, out);
}
void nnRow(const uint16_t* s, const int32_t* xo, int count, int n, uint16_t* out) {
    nnRowT(s, xo, count, n, out);
}
void linearRowH(const uint8_t* s, const int32_t* x0, const int32_t* x1, const int16_t* w,
                int count, int n, uint16_t* out, ptrdiff_t) {
    linearRowHT(s, x0, x1, w, count, n, out);
}
void linearRowH(const uint16_t* s, const int32_t* x0, const int32_t* x1, const int16_t* w,
                int count, int n, uint16_t* out, ptrdiff_t) {
    linearRowHT(s, x0, x1, w, count, n, out);
}
// The vertical passes run over rows that never overlap their output, which
// lets the compiler widen them.
void linearRowV(const uint16_t* h0, const uint16_t* h1, int v, int count, uint8_t* out) {
    const uint16_t* __restrict a = h0;
    const uint16_t* __restrict b = h1;
    uint8_t* __restrict o = out;
    for (int i = 0; i < count; ++i) o[i] = linearV<uint8_t>(a[i], b[i], v);
}
void linearRowV(const uint16_t* h0, const uint16_t* h1, int v, int count, uint16_t* out) {
    const uint16_t* __restrict a = h0;
    const uint16_t* __restrict b = h1;
    uint16_t* __restrict o = out;
    for (int i = 0; i < count; ++i) o[i] = linearV<uint16_t>(a[i], b[i], v);
}
void cubicRowH(const uint8_t* s, const int32_t* xo, const CubicFactors* f, int count, int n,
               float* out) {
    cubicRowHT(s, xo, f, count, n, out);
}
void cubicRowH(const uint16_t* s, const int32_t* xo, const CubicFactors* f, int count, int n,
               float* out) {
    cubicRowHT(s, xo, f, count, n, out);
}
void cubicRowH8(const uint8_t* s, const int32_t* t0, int step, const float* a, const float* b,
                const float* c, int count, float* out, ptrdiff_t) {
    for (int e = 0; e < count; ++e) {
        const uint8_t* p = s + t0[e];
        out[e] = cubic(float(p[0]), float(p[step]), float(p[2 * step]), float(p[3 * step]),
                       CubicFactors{a[e], b[e], c[e]});
    }
}
void cubicRowV(const float* const* h, CubicFactors f, int count, uint8_t* out) {
    cubicRowVT(h, f, count, out);
}
void cubicRowV(const float* const* h, CubicFactors f, int count, uint16_t* out) {
    cubicRowVT(h, f, count, out);
}

namespace {
ResampleKernels makeTable(Form form) {
    ResampleKernels k;
    k.linearH8 = linearRowH;
    k.cubicH8 = cubicRowH8;
    k.linearV8 = linearRowV;
    k.linearV16 = linearRowV;
    k.cubicV8 = cubicRowV;
    k.cubicV16 = cubicRowV;
    resampleSimd(form, k);
    return k;
}
}  // namespace

const ResampleKernels& resampleKernels() { return tableForActiveForm(makeTable); }
Form resampleForm() { return activeForm(); }

// ---------------------------------------------------------------------
// The engine

namespace {

// The channels an image takes part with; silent when the call must end
// without a word (the set would be the alpha channel, or nothing).
struct Chans {
    int first = 0, n = 0;
    bool silent = false;
};

Chans chansOf(const ZolImage* im) {
    Chans c;
    const int coi = im->roi ? im->roi->coi : 0;
    if (im->alphaChannel && (coi == im->nChannels || im->nChannels == 1)) c.silent = true;
    if (coi > 0) c.first = coi - 1, c.n = 1;
    else c.n = im->nChannels - (im->alphaChannel ? 1 : 0);
    return c;
}

// An image's rectangle: its ROI cut at the image, then at its mask's size.
ownRect rectOf(const ZolImage* im) {
    ownRect r;
    ownRoiRect(im, &r);
    if (im->maskROI) {
        ownRect m;
        ownRoiRect(im->maskROI, &m);
        r.width = std::min(r.width, m.width);
        r.height = std::min(r.height, m.height);
    }
    r.width = std::max(r.width, 0);
    r.height = std::max(r.height, 0);
    return r;
}

// Written extent along one axis.
int writtenExtent(int dExtent, int sExtent, double step) {
    if (sampleIndex((long double)(dExtent - 1) * step) <= sExtent - 1) return dExtent;
    const int64_t n = sampleIndex((long double)sExtent / step);
    return int(std::clamp<int64_t>(n, 0, dExtent));
}

// Where the source samples of a piece lie: element (x, y) of the image, x
// and y in image coordinates, is at data + (y - by) * step + (x - bx) * pix
// elements (bits from bit0 for 1U), planes plane bytes apart.
struct Source {
    const uint8_t* data;
    ptrdiff_t step, plane;
    int bx, by;
    const uint8_t* end;  // one past the last byte that may be read
};

// The piece of the destination: data is its first pixel's row (channel 0
// of the image); 1U pixels start at bit bit0 of it.
struct Target {
    uint8_t* data;
    ptrdiff_t step, plane;
    int64_t bit0;
};

struct Job {
    const char* func;
    ZolImage* src;
    ZolImage* dst;
    int mode;
    ownRect rs, rd;
    int ww, wh;
    Chans cs, cd;
    Axis cols, rows;
    const ZolImage* mask = nullptr;
    int mx = 0, my = 0;  // mask pixel of written pixel (0, 0)
};

bool maskBit(const Job& j, int x, int y) {
    const auto* row = reinterpret_cast<const uint8_t*>(j.mask->imageData) +
                      ptrdiff_t(j.my + y) * j.mask->widthStep;
    return bitAt(row, int64_t(j.mx) + x);
}

// Nearest neighbour on bits, one bit at a time.
void runBits(const Job& j, const Source& s, const Target& d, int ox, int oy, int pw, int ph) {
    for (int y = 0; y < ph; ++y) {
        const uint8_t* srow = s.data + ptrdiff_t(j.rows.tap[oy + y] - s.by) * s.step;
        uint8_t* drow = d.data + ptrdiff_t(y) * d.step;
        for (int x = 0; x < pw; ++x) {
            if (j.mask && !maskBit(j, ox + x, oy + y)) continue;
            setBitAt(drow, d.bit0 + x, bitAt(srow, int64_t(j.cols.tap[ox + x]) - s.bx));
        }
    }
}

// Rows of the ring: which source row each buffer holds.
template <class R>
struct Ring {
    R* buf[4];
    int tag[4];
    int k;
    void reset() {
        for (int i = 0; i < 4; ++i) tag[i] = INT_MIN;
    }
    // Points rows[i] at the buffers of source rows need[i], filling those
    // not held with fill(row, buffer).
    template <class F>
    void get(const int32_t* need, R** rows, F&& fill) {
        bool used[4] = {false, false, false, false};
        bool have[4] = {false, false, false, false};
        for (int i = 0; i < k; ++i)
            for (int b = 0; b < k; ++b)
                if (tag[b] == need[i]) {
                    rows[i] = buf[b], used[b] = true, have[i] = true;
                    break;
                }
        for (int i = 0; i < k; ++i) {
            if (have[i]) continue;
            // A row needed twice (a single-row source) fills one buffer.
            bool dup = false;
            for (int p = 0; p < i; ++p)
                if (need[p] == need[i]) rows[i] = rows[p], dup = true;
            if (dup) continue;
            int b = 0;
            while (used[b]) ++b;
            used[b] = true;
            tag[b] = need[i];
            fill(need[i], buf[b]);
            rows[i] = buf[b];
        }
    }
};

template <class T>
void runPiece(const Job& j, const Source& s, const Target& d, int ox, int oy, int pw, int ph,
              Scratch& scratch) {
    const ZolImage* src = j.src;
    const ZolImage* dst = j.dst;
    const bool pixelOrder = src->dataOrder == ZOL_DATA_ORDER_PIXEL;
    const int sp = pixelOrder ? src->nChannels : 1;
    const int dp = pixelOrder ? dst->nChannels : 1;
    const int n = pixelOrder ? j.cs.n : 1;
    const int planes = pixelOrder ? 1 : j.cs.n;
    const int k = j.cols.taps();
    const int64_t elems = int64_t(pw) * n;
    const ResampleKernels& kernels = resampleKernels();

    int32_t* xo = scratch.take<int32_t>(int64_t(pw) * k);
    int32_t* yr = scratch.take<int32_t>(int64_t(ph) * k);
    T* row = scratch.take<T>(elems);
    Ring<uint16_t> lring;
    Ring<float> cring;
    lring.k = 2, cring.k = 4;
    if (j.mode == kInterLinear)
        for (int i = 0; i < 2; ++i) lring.buf[i] = scratch.take<uint16_t>(elems);
    if (j.mode == kInterCubic)
        for (int i = 0; i < 4; ++i) cring.buf[i] = scratch.take<float>(elems);
    if (!scratch.ok()) return;
    for (int64_t i = 0; i < int64_t(pw) * k; ++i)
        xo[i] = (j.cols.tap[int64_t(ox) * k + i] - s.bx) * sp;
    for (int64_t i = 0; i < int64_t(ph) * k; ++i) yr[i] = j.rows.tap[int64_t(oy) * k + i] - s.by;
    // Linear taps and weights side by side per destination pixel.
    const int32_t* lx0 = xo;
    const int32_t* lx1 = xo;
    const int16_t* lw = nullptr;
    // 8U pixels of several channels go element by element, each with its
    // own taps, so that one row kernel serves every channel count.
    const bool perElement = sizeof(T) == 1 && n > 1;
    const int64_t hcount = perElement ? elems : pw;
    if (j.mode == kInterLinear) {
        int32_t* planar = scratch.take<int32_t>(3 * hcount);
        if (!planar) return;
        auto* w = reinterpret_cast<int16_t*>(planar + 2 * hcount);
        for (int64_t e = 0; e < hcount; ++e) {
            const int64_t x = perElement ? e / n : e, c = perElement ? e % n : 0;
            planar[e] = int32_t(xo[2 * x] + c);
            planar[hcount + e] = int32_t(xo[2 * x + 1] + c);
            w[e] = j.cols.w[2 * (int64_t(ox) + x) + 1];
        }
        lx0 = planar, lx1 = planar + hcount, lw = w;
    }
    // 8U cubic: first taps and factors per element.
    int32_t* ct0 = nullptr;
    float* cf = nullptr;
    if (j.mode == kInterCubic && sizeof(T) == 1) {
        ct0 = scratch.take<int32_t>(elems);
        cf = scratch.take<float>(3 * elems);
        if (!ct0 || !cf) return;
        for (int64_t e = 0; e < elems; ++e) {
            const int64_t x = e / n;
            const CubicFactors f = j.cols.f[ox + x];
            ct0[e] = int32_t(xo[4 * x] + e % n);
            cf[e] = f.a, cf[elems + e] = f.b, cf[2 * elems + e] = f.c;
        }
    }

    for (int p = 0; p < planes; ++p) {
        const T* sb = reinterpret_cast<const T*>(s.data + (pixelOrder ? 0 : (j.cs.first + p) * s.plane)) +
                      (pixelOrder ? j.cs.first : 0);
        T* db = reinterpret_cast<T*>(d.data + (pixelOrder ? 0 : (j.cd.first + p) * d.plane)) +
                (pixelOrder ? j.cd.first : 0);
        auto srow = [&](int r) {
            return reinterpret_cast<const T*>(reinterpret_cast<const uint8_t*>(sb) + ptrdiff_t(r) * s.step);
        };
        lring.reset();
        cring.reset();
        for (int y = 0; y < ph; ++y) {
            const int32_t* need = yr + int64_t(y) * k;
            const int gy = oy + y;
            T* drow = reinterpret_cast<T*>(reinterpret_cast<uint8_t*>(db) + ptrdiff_t(y) * d.step);
            const bool direct = !j.mask && dp == n;
            T* out = direct ? drow : row;
            if (j.mode == kInterNN) {
                nnRow(srow(need[0]), xo, pw, n, out);
            } else if (j.mode == kInterLinear) {
                uint16_t* h[2];
                lring.get(need, h, [&](int r, uint16_t* b) {
                    const T* row = srow(r);
                    const ptrdiff_t avail = (s.end - reinterpret_cast<const uint8_t*>(row)) / ptrdiff_t(sizeof(T));
                    if constexpr (sizeof(T) == 1)
                        kernels.linearH8(row, lx0, lx1, lw, int(hcount), perElement ? 1 : n, b, avail);
                    else linearRowH(row, lx0, lx1, lw, pw, n, b, avail);
                });
                const int v = j.rows.w[2 * int64_t(gy) + 1];
                if constexpr (sizeof(T) == 1) kernels.linearV8(h[0], h[1], v, int(elems), out);
                else kernels.linearV16(h[0], h[1], v, int(elems), out);
            } else {
                float* h[4];
                cring.get(need, h, [&](int r, float* b) {
                    const T* row = srow(r);
                    if constexpr (sizeof(T) == 1) {
                        const ptrdiff_t avail = s.end - reinterpret_cast<const uint8_t*>(row);
                        kernels.cubicH8(row, ct0, sp, cf, cf + elems, cf + 2 * elems, int(elems), b, avail);
                    } else {
                        cubicRowH(row, xo, j.cols.f + ox, pw, n, b);
                    }
                });
                const float* hc[4] = {h[0], h[1], h[2], h[3]};
                if constexpr (sizeof(T) == 1) kernels.cubicV8(hc, j.rows.f[gy], int(elems), out);
                else kernels.cubicV16(hc, j.rows.f[gy], int(elems), out);
            }
            if (direct) continue;
            for (int x = 0; x < pw; ++x) {
                if (j.mask && !maskBit(j, ox + x, gy)) continue;
                for (int c = 0; c < n; ++c) drow[ptrdiff_t(x) * dp + c] = out[x * n + c];
            }
        }
    }
}

void runAny(const Job& j, const Source& s, const Target& d, int ox, int oy, int pw, int ph) {
    if (j.dst->depth == ZOL_DEPTH_1U) return runBits(j, s, d, ox, oy, pw, ph);
    Scratch scratch;
    if (j.dst->depth == ZOL_DEPTH_8U) runPiece<uint8_t>(j, s, d, ox, oy, pw, ph, scratch);
    else runPiece<uint16_t>(j, s, d, ox, oy, pw, ph, scratch);
    if (!scratch.ok()) report(ZOL_STATUS_NO_MEMORY, j.func, msg::kOutOfMemory);
}

// The piece's pixels in a plain image or a tile buffer, (x, y) being the
// piece's corner in that buffer's own coordinates.
Target targetAt(const ZolImage* im, char* base, ptrdiff_t step, ptrdiff_t planeRows, int x, int y) {
    Target t;
    t.step = step;
    t.plane = step * planeRows;
    t.data = reinterpret_cast<uint8_t*>(base) + ptrdiff_t(y) * step;
    t.bit0 = 0;
    const int b = elemSize(im->depth);
    if (b == 0) t.bit0 = x;
    else t.data += ptrdiff_t(x) * b * (im->dataOrder == ZOL_DATA_ORDER_PIXEL ? im->nChannels : 1);
    return t;
}

// Runs the pieces: the destination's tiles, bands of it when only the
// source is tiled, or the whole written rectangle at once.
void walk(const Job& j) {
    ZolImage* dst = j.dst;
    const ZolImage* src = j.src;
    const int k = j.cols.taps();
    int cw = j.ww, ch = j.wh, gx = 0, gy = 0;
    if (dst->tileInfo) cw = dst->tileInfo->width, ch = dst->tileInfo->height, gx = j.rd.x, gy = j.rd.y;
    else if (src->tileInfo) cw = 512, ch = 64;
    // Cells of the grid anchored at -gx, -gy in written coordinates.
    const int64_t x0 = gx / cw * cw, y0 = gy / ch * ch;
    for (int64_t top = y0; top < int64_t(gy) + j.wh; top += ch) {
        const int oy = int(std::max<int64_t>(top, gy) - gy);
        const int ph = int(std::min<int64_t>(top + ch, int64_t(gy) + j.wh) - gy) - oy;
        for (int64_t left = x0; left < int64_t(gx) + j.ww; left += cw) {
            const int ox = int(std::max<int64_t>(left, gx) - gx);
            const int pw = int(std::min<int64_t>(left + cw, int64_t(gx) + j.ww) - gx) - ox;
            Target d;
            const int col = int(left / cw), row = int(top / ch);
            if (dst->tileInfo) {
                dst->tileInfo->callBack(dst, col, row, ZOL_TILE_WRITE);
                char* tile = static_cast<char*>(dst->tileInfo->tileData);
                if (!tile) {
                    report(ZOL_STATUS_FAILED, j.func, msg::kGetTileWrite);
                    return;
                }
                d = targetAt(dst, tile, ownTileStep(dst), dst->tileInfo->height,
                             j.rd.x + ox - int(left), j.rd.y + oy - int(top));
            } else {
                d = targetAt(dst, dst->imageData, dst->widthStep, dst->height, j.rd.x + ox,
                             j.rd.y + oy);
            }
            Source s{reinterpret_cast<const uint8_t*>(src->imageData), src->widthStep,
                     ptrdiff_t(src->widthStep) * src->height, 0, 0,
                     reinterpret_cast<const uint8_t*>(src->imageData) + src->imageSize};
            void* block = nullptr;
            if (src->tileInfo) {
                // Taps rise with the position: the first and last entries bound them.
                const int xl = j.cols.tap[int64_t(ox) * k], xh = j.cols.tap[int64_t(ox + pw) * k - 1];
                const int yl = j.rows.tap[int64_t(oy) * k], yh = j.rows.tap[int64_t(oy + ph) * k - 1];
                int stride = 0;
                block = ownGetRect(src, xl, yl, xh - xl + 1, yh - yl + 1, &stride);
                if (!block) {
                    if (dst->tileInfo) dst->tileInfo->callBack(dst, col, row, ZOL_TILE_RELEASE);
                    report(ZOL_STATUS_FAILED, j.func, msg::kGetTileRead);
                    return;
                }
                const ptrdiff_t plane = ptrdiff_t(stride) * (yh - yl + 1);
                const int planes = src->dataOrder == ZOL_DATA_ORDER_PLANE ? src->nChannels : 1;
                s = Source{static_cast<const uint8_t*>(block), stride, plane, xl, yl,
                           static_cast<const uint8_t*>(block) + plane * planes};
            }
            runAny(j, s, d, ox, oy, pw, ph);
            zolFree(block);
            if (dst->tileInfo) dst->tileInfo->callBack(dst, col, row, ZOL_TILE_RELEASE);
            if (zolGetErrStatus() < 0) return;
        }
    }
}

ZolImage* newMaskImage(int w, int h, int order) {
    static const char kGray[4] = {'G', 'R', 'A', 'Y'};
    static const char kSeq[4] = {'G', 0, 0, 0};
    ZolImage* im = zolCreateImageHeader(1, 0, ZOL_DEPTH_1U, kGray, kSeq, order,
                                        ZOL_ORIGIN_TL, ZOL_ALIGN_QWORD, w, h, nullptr, nullptr,
                                        nullptr, nullptr);
    // Cleared: bits the scaled mask does not reach select nothing.
    if (im) zolAllocateImage(im, 1, 0);
    if (im && !im->imageData) {
        zolDeallocate(im, ZOL_FREE_HEADER);
        im = nullptr;
    }
    return im;
}

}  // namespace

void ownResizeEngine(const char* func, ZolImage* src, ZolImage* dst, int xDst, int xSrc,
                     int yDst, int ySrc, int interpolate) {
    if (zolCheckImageHeader(src) != 0 || zolCheckImageHeader(dst) != 0) {
        report(zolGetErrStatus(), func, msg::kIncorrectImage);
        return;
    }
    // These report and go on; the status then decides.
    if (interpolate != kInterNN && interpolate != kInterLinear && interpolate != kInterCubic)
        report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kResizeInterp);
    if (src->depth != dst->depth) report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kCopyDepth);
    if (src->depth != ZOL_DEPTH_1U && src->depth != ZOL_DEPTH_8U && src->depth != ZOL_DEPTH_16U)
        report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kResizeDepths);
    if (src->dataOrder != dst->dataOrder) report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kCopyOrder);
    if (xDst <= 0 || xSrc <= 0) report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kResizeX);
    if (yDst <= 0 || ySrc <= 0) report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kResizeY);
    if (zolGetErrStatus() < 0) return;
    if (src == dst) {
        report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kNotInPlace);
        return;
    }
    Job j;
    j.func = func;
    j.src = src;
    j.dst = dst;
    if (src->depth == ZOL_DEPTH_1U) {
        j.cs = Chans{0, 1, false};
        j.cd = j.cs;
    } else {
        j.cs = chansOf(src);
        j.cd = chansOf(dst);
        if (j.cs.silent || j.cd.silent) return;
        if (j.cs.n != j.cd.n) {
            report(ZOL_STATUS_FAILED, func, msg::kCoiMismatch);
            return;
        }
    }

    int mode = interpolate;
    if (src->depth == ZOL_DEPTH_1U || src->width < 2 || src->height < 2) mode = kInterNN;
    if ((src->width < 4 || src->height < 4) && mode == kInterCubic) mode = kInterLinear;
    if (mode != kInterNN && xDst <= xSrc && yDst <= ySrc && xSrc % xDst == 0 && ySrc % yDst == 0)
        mode = kInterNN;
    j.mode = mode;

    j.rs = rectOf(src);
    j.rd = rectOf(dst);
    if (j.rs.width <= 0 || j.rs.height <= 0 || j.rd.width <= 0 || j.rd.height <= 0) return;
    const double xs = double(xSrc) / double(xDst), ys = double(ySrc) / double(yDst);
    j.ww = writtenExtent(j.rd.width, j.rs.width, xs);
    j.wh = writtenExtent(j.rd.height, j.rs.height, ys);
    if (j.ww <= 0 || j.wh <= 0) return;

    Scratch tables;
    void* cm = tables.take<uint8_t>(Axis::bytesFor(mode, j.ww));
    void* rm = tables.take<uint8_t>(Axis::bytesFor(mode, j.wh));
    if (!tables.ok()) {
        report(ZOL_STATUS_NO_MEMORY, func, msg::kOutOfMemory);
        return;
    }
    buildAxis(j.cols, cm, mode, j.ww, xs, j.rs.x, j.rs.width, src->width);
    buildAxis(j.rows, rm, mode, j.wh, ys, j.rs.y, j.rs.height, src->height);

    // The source's mask, scaled to the written size by nearest neighbour,
    // and the destination's on top of it.
    ZolImage* made = nullptr;
    if (src->maskROI) {
        made = newMaskImage(j.ww, j.wh, src->maskROI->dataOrder);
        bool ok = made != nullptr;
        if (ok) {
            auto scaled = [](int n, double step) {
                return int(std::clamp<long double>(std::nearbyint((long double)n * step), 1, INT_MAX));
            };
            ownResizeEngine(msg::kZoom, src->maskROI, made, j.ww, scaled(j.ww, xs), j.wh,
                            scaled(j.wh, ys), kInterNN);
            if (zolGetErrStatus() >= 0 && dst->maskROI) zolAnd(made, dst->maskROI, made);
            ok = zolGetErrStatus() >= 0;
        }
        if (!ok) {
            // A Backtrace report leaves the status as it is: a mask image that
            // could not be had must show in it.
            if (!made) report(ZOL_STATUS_NO_MEMORY, func, msg::kOutOfMemory);
            else zolDeallocate(made, ZOL_FREE_HEADER | ZOL_FREE_DATA);
            report(ZOL_STATUS_BACKTRACE, func, msg::kNoContext);
            return;
        }
        j.mask = made;
    } else if (dst->maskROI) {
        ownRect m;
        ownRoiRect(dst->maskROI, &m);
        j.mask = dst->maskROI;
        j.mx = m.x, j.my = m.y;
    }
    walk(j);
    if (made) zolDeallocate(made, ZOL_FREE_HEADER | ZOL_FREE_DATA);
}

}  // namespace geo
}  // namespace zol
