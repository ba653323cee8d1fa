// Separable convolution: a column kernel, then a row kernel, over 32-bit
// integer lines that wrap on overflow; one shift and one clamp at the end.
#include <algorithm>
#include <cstring>
#include <type_traits>

#include "core/frame.h"
#include "core/image.h"
#include "core/messages.h"
#include "core/rect.h"
#include "core/report.h"
#include "filter/convolve.h"

namespace zol {

namespace sep {

struct Call {
    const int32_t* sx;  // the first nCols stored values of the row kernel
    const int32_t* sy;  // the first nRows stored values of the column kernel
    int nx, ny, shift;
    bool shortRows;  // every partial row sum fits 16 bits
    int64_t lo, hi;
    Reach reach;
    NbLane lane;
    int pix, srcPix, nLanes;
    int srcCh[64], dstCh[64];
    NbSink sink;
};

// Lines hold the column sums. They are 32-bit integers that wrap, as the
// operation defines them; when the column kernel and the depth bound every
// column sum within 16 bits (and the row kernel's values fit 16 bits), the
// lines are 16-bit instead, which gives the same numbers at twice the speed.
template <class L>
struct LineMath;
template <>
struct LineMath<uint32_t> {
    using K = uint32_t;  // coefficients
    using M = uint32_t;  // column sums: wrap like the defined arithmetic
    using P = uint32_t;  // products of the row pass
};
template <>
struct LineMath<int16_t> {
    using K = int16_t;
    using M = int16_t;  // every partial column sum is bounded within 16 bits
    using P = int32_t;  // products of two 16-bit values
};

// t[u] (+)= k * s[u]: one tap of the column pass.
template <class L, class T>
void columnTap(L* __restrict t, const T* __restrict s, int32_t c, int64_t n, bool first) {
    using M = typename LineMath<L>::M;
    const M k = M(typename LineMath<L>::K(c));
    if (first)
        for (int64_t u = 0; u < n; ++u) t[u] = L(M(k * M(s[u])));
    else
        for (int64_t u = 0; u < n; ++u) t[u] = L(M(M(t[u]) + M(k * M(s[u]))));
}

// The whole row pass of up to seven taps with the shift and the clamp, the
// sum staying in a register.
template <class T, class L, int NX>
void rowFinal(T* __restrict out, const L* __restrict t, const int32_t* c, int P, int n, int sh,
              int lo, int hi) {
    using K = typename LineMath<L>::K;
    using Q = typename LineMath<L>::P;
    K k[NX];
    for (int i = 0; i < NX; ++i) k[i] = K(c[i]);
    for (int e = 0; e < n; ++e) {
        uint32_t s = 0;
#pragma GCC unroll 8
        for (int i = 0; i < NX; ++i) s += uint32_t(Q(k[i]) * Q(t[e + i * P]));
        int v = int32_t(s) >> sh;
        v = v < lo ? lo : v;
        v = v > hi ? hi : v;
        out[e] = T(v);
    }
}

// The shift and the clamp of a row of sums.
template <class T>
void clampRow(T* __restrict out, const uint32_t* __restrict sum, int n, int sh, int lo, int hi) {
    for (int e = 0; e < n; ++e) {
        int v = int32_t(sum[e]) >> sh;
        v = v < lo ? lo : v;
        v = v > hi ? hi : v;
        out[e] = T(v);
    }
}

// sum[e] (+)= sum over i < NX of c[i] * t[e + i * P], modulo 2^32.
template <class L, int NX>
void rowTaps(uint32_t* __restrict sum, const L* __restrict t, const int32_t* c, int P, int n,
             bool first) {
    using K = typename LineMath<L>::K;
    using Q = typename LineMath<L>::P;
    K k[NX];
    for (int i = 0; i < NX; ++i) k[i] = K(c[i]);
    if (first)
        for (int e = 0; e < n; ++e) sum[e] = 0;
    for (int e = 0; e < n; ++e) {
        uint32_t v = sum[e];
#pragma GCC unroll 8
        for (int i = 0; i < NX; ++i) v += uint32_t(Q(k[i]) * Q(t[e + i * P]));
        sum[e] = v;
    }
}

// Either pass for any kernel length, in pieces of up to seven taps.
template <class F>
void inPieces(int len, F f) {
    for (int i = 0; i < len;) {
        const int t = std::min(len - i, 7);
        switch (t) {
            case 1: f(i, std::integral_constant<int, 1>{}); break;
            case 2: f(i, std::integral_constant<int, 2>{}); break;
            case 3: f(i, std::integral_constant<int, 3>{}); break;
            case 4: f(i, std::integral_constant<int, 4>{}); break;
            case 5: f(i, std::integral_constant<int, 5>{}); break;
            case 6: f(i, std::integral_constant<int, 6>{}); break;
            default: f(i, std::integral_constant<int, 7>{}); break;
        }
        i += t;
    }
}

}  // namespace sep

namespace convk::plain {
void sepColumn(int16_t* t, const uint8_t* const* rows, const int32_t* c, int ny, int64_t n) {
    for (int j = 0; j < ny; ++j) sep::columnTap(t, rows[j], c[j], n, j == 0);
}
void sepRow(uint8_t* out, const int16_t* t, const int32_t* c, int nx, int P, int n, int sh, int lo,
            int hi) {
    sep::inPieces(nx, [&](int, auto k) {
        sep::rowFinal<uint8_t, int16_t, decltype(k)::value>(out, t, c, P, n, sh, lo, hi);
    });
}
}  // namespace convk::plain

namespace sep {

template <class T, class L>
bool drive(void* context, const NbPiece& p) {
    const Call& c = *static_cast<const Call*>(context);
    const int P = c.pix;
    const int64_t count = (int64_t(p.w) + c.nx - 1) * P;
    const int n = p.w * P;
    NbScratch lineMem, sumMem, outMem, rowMem;
    L* line = lineMem.get<L>(count);
    uint32_t* sum = sumMem.get<uint32_t>(n);
    T* out = outMem.get<T>(n);
    const T** r = rowMem.get<const T*>(c.ny);
    if (!line || !sum || !out || !r) return false;
    const int sh = c.shift & 31;
    for (int l = 0; l < c.nLanes; ++l) {
        NbRows<T> rows;
        NbSink sink;
        if (!nbLane(rows, sink, p, c, l, count, c.ny)) return false;
        for (int y = 0; y < p.h; ++y) {
            for (int j = 0; j < c.ny; ++j) r[j] = rows.row(y + j);
            constexpr bool fast = std::is_same_v<T, uint8_t> && std::is_same_v<L, int16_t>;
            const ConvKernels& K = convKernels();
            if constexpr (fast)
                K.sepColumn(line, r, c.sy, c.ny, count);
            else
                for (int j = 0; j < c.ny; ++j) columnTap(line, r[j], c.sy[j], count, j == 0);
            const bool small = c.lo >= -32768 && c.hi <= 32767;
            if (small && c.nx <= 7) {
                if constexpr (fast) {
                    (c.shortRows ? K.sepRowShort : K.sepRow)(out, line, c.sx, c.nx, P, n, sh,
                                                             int(c.lo), int(c.hi));
                } else {
                    inPieces(c.nx, [&](int, auto k) {
                        rowFinal<T, L, decltype(k)::value>(out, line, c.sx, P, n, sh, int(c.lo),
                                                           int(c.hi));
                    });
                }
                nbStoreRow(p, sink, y, out);
                continue;
            }
            inPieces(c.nx, [&](int i, auto k) {
                rowTaps<L, decltype(k)::value>(sum, line + int64_t(i) * P, c.sx + i, P, n, i == 0);
            });
            if (small) {
                clampRow(out, sum, n, sh, int(c.lo), int(c.hi));
            } else {
                for (int e = 0; e < n; ++e) {
                    const int64_t v = int32_t(sum[e]) >> sh;
                    out[e] = T(v < c.lo ? c.lo : v > c.hi ? c.hi : v);
                }
            }
            nbStoreRow(p, sink, y, out);
        }
    }
    return true;
}

// Whether 16-bit lines hold every column sum exactly (and, in *rows,
// whether every partial row sum fits 16 bits too).
bool narrowLines(const ZolConvKernel* xk, const ZolConvKernel* yk, int64_t maxAbs, bool* rows) {
    int64_t total = 0, across = 0;
    for (int j = 0; j < yk->nRows; ++j) {
        const int64_t v = yk->values[j];
        if (v < -32768 || v > 32767) return false;
        total += (v < 0 ? -v : v) * maxAbs;
    }
    for (int i = 0; i < xk->nCols; ++i) {
        const int64_t v = xk->values[i];
        if (v < -32768 || v > 32767) return false;
        across += v < 0 ? -v : v;
    }
    *rows = total <= 32767 && across * total <= 32767;
    return total <= 32767;
}

// The region's size for one image: the ROI's size (not cut at the edges),
// the image's size, and the mask's region.
void limit(const ZolImage* im, int& w, int& h) {
    w = std::min(w, im->width);
    h = std::min(h, im->height);
    if (im->roi) {
        w = std::min(w, im->roi->width);
        h = std::min(h, im->roi->height);
    }
    if (im->maskROI) {
        int mw, mh, mx;
        ownRoiData(im->maskROI, &mw, &mh, 0, &mx);
        w = std::min(w, mw);
        h = std::min(h, mh);
    }
}

void front(ZolImage* src, ZolImage* dst, ZolConvKernel* xk, ZolConvKernel* yk) {
    const Frame f(msg::kConvolveSep2D);
    const auto bad = [&](const char* context) { f.fail(ZOL_STATUS_BAD_ARGUMENT, context); };
    if (!f.headersOk({src, dst})) return;
    if (!xk) bad(msg::kXKernelNull);
    if (!yk) bad(msg::kYKernelNull);
    if (zolGetErrStatus() < 0) return;
    if (src->depth != dst->depth) return bad(msg::kCopyDepth);
    if (src->origin != dst->origin) return bad(msg::kCopyOrigin);
    if (src->dataOrder != dst->dataOrder) return bad(msg::kCopyOrder);
    const int nCs = src->nChannels - (src->alphaChannel ? 1 : 0);
    const int nCd = dst->nChannels - (dst->alphaChannel ? 1 : 0);
    if (nCs != nCd) return bad(msg::kSepNC);
    const int coiS = src->roi && src->roi->coi > 0 ? src->roi->coi : 0;
    const int coiD = dst->roi && dst->roi->coi > 0 ? dst->roi->coi : 0;
    if ((src->nChannels > 1 && coiS && !coiD) || (coiD && !coiS)) bad(msg::kSepCoi);
    if (xk->nCols <= 0) return bad(msg::kXCols);
    if (yk->nRows <= 0) return bad(msg::kYRows);
    if (zolGetErrStatus() < 0) return;
    // Anchors are not checked by the records' own rules here; one outside
    // its kernel would read outside the window.
    if (xk->anchorX < 0 || xk->anchorX >= xk->nCols || yk->anchorY < 0 || yk->anchorY >= yk->nRows)
        return bad(msg::kBadKernel);

    ownRect rs, rd;
    ownRoiRect(src, &rs);
    ownRoiRect(dst, &rd);
    int w = 0x7FFFFFFF, h = 0x7FFFFFFF;
    limit(src, w, h);
    limit(dst, w, h);
    w = std::min(w, rd.width);  // nothing past the destination's edge
    h = std::min(h, rd.height);
    if (w <= 0 || h <= 0) return;

    Call c{};
    c.sx = xk->values;
    c.sy = yk->values;
    c.nx = xk->nCols;
    c.ny = yk->nRows;
    c.shift = int(uint32_t(xk->nShiftR) + uint32_t(yk->nShiftR));
    c.reach = Reach{xk->anchorX, yk->anchorY, xk->nCols - xk->anchorX, yk->nRows - yk->anchorY};
    int ch = std::min(src->nChannels, dst->nChannels);
    if (coiS || coiD) ch = 1;
    else if (src->alphaChannel && dst->alphaChannel && ch >= 2) ch -= 1;
    const bool plane = src->dataOrder == ZOL_DATA_ORDER_PLANE;
    const bool coi = coiS || coiD;
    if (src->depth == ZOL_DEPTH_1U) c.lane = NbLane::Bits;
    else if (plane) c.lane = NbLane::Plane;
    else if (coi) c.lane = NbLane::Channel;
    else c.lane = NbLane::Flat;
    c.pix = c.lane == NbLane::Flat ? src->nChannels : 1;
    c.srcPix = plane ? 1 : src->nChannels;
    c.nLanes = c.lane == NbLane::Plane && !coi ? std::min(ch, 64) : 1;
    for (int l = 0; l < c.nLanes; ++l) c.srcCh[l] = c.dstCh[l] = l;
    if (coi) {
        c.srcCh[0] = (coiS ? coiS : coiD) - 1;
        c.dstCh[0] = (coiD ? coiD : coiS) - 1;
    }
    c.sink = NbSink{c.lane, c.pix, plane ? 1 : dst->nChannels, c.lane == NbLane::Flat ? ch : 1, 0};

    NbDriver drv = nullptr;
    int64_t lo = 0, hi = 1;
    auto pick = [&](int64_t maxAbs, NbDriver narrow, NbDriver wide) {
        drv = narrowLines(xk, yk, maxAbs, &c.shortRows) ? narrow : wide;
    };
    switch (src->depth) {
        case ZOL_DEPTH_1U: pick(1, &drive<uint8_t, int16_t>, &drive<uint8_t, uint32_t>); break;
        case ZOL_DEPTH_8U:
            pick(255, &drive<uint8_t, int16_t>, &drive<uint8_t, uint32_t>), hi = 255;
            break;
        case ZOL_DEPTH_8S:
            pick(128, &drive<int8_t, int16_t>, &drive<int8_t, uint32_t>), lo = -128, hi = 127;
            break;
        case ZOL_DEPTH_16U: drv = &drive<uint16_t, uint32_t>, hi = 65535; break;
        case ZOL_DEPTH_16S:
            pick(32768, &drive<int16_t, int16_t>, &drive<int16_t, uint32_t>), lo = -32768, hi = 32767;
            break;
        case ZOL_DEPTH_32S: drv = &drive<int32_t, uint32_t>, lo = INT32_MIN, hi = INT32_MAX; break;
        default: return bad(msg::kUnknownDepth);
    }
    c.lo = lo;
    c.hi = hi;

    int state = 0;
    ZolImage* made = ownCombineMasks(src->maskROI, dst->maskROI, nullptr, &state);
    if (state == kMaskNoMemory || state == kMaskEmpty) return;
    const ZolImage* mask = made ? made : src->maskROI ? src->maskROI : dst->maskROI;
    const NbCall call{src, src->borderConst, rs.x, rs.y, dst, rd.x, rd.y, mask, w, h, c.reach};
    ownNeighbourWalk(call, drv, &c);  // scratch or tiles that do not come end the call silently
    if (state == kMaskMade) zolDeallocate(made, ZOL_FREE_HEADER | ZOL_FREE_DATA);
}

}  // namespace sep

}  // namespace zol

void zolConvolveSep2D(ZolImage* srcImage, ZolImage* dstImage, ZolConvKernel* Xkernel,
                      ZolConvKernel* Ykernel) {
    zol::sep::front(srcImage, dstImage, Xkernel, Ykernel);
}
