// Separable convolution: a column kernel, then a row kernel, over 32-bit
// integer lines that wrap on overflow; one shift and one clamp at the end.
#include <algorithm>
#include <cstring>

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
    int64_t lo, hi;
    Reach reach;
    NbLane lane;
    int pix, srcPix, nLanes;
    int srcCh[64], dstCh[64];
    NbSink sink;
};

// Column pass over n elements: t = sum of sy[j] * row j, modulo 2^32.
template <class T, class RowOf>
void columnPass(uint32_t* t, int64_t n, const int32_t* sy, int ny, RowOf rowOf) {
    const T* s = rowOf(0);
    const uint32_t c0 = uint32_t(sy[0]);
    for (int64_t u = 0; u < n; ++u) t[u] = c0 * uint32_t(int32_t(s[u]));
    for (int j = 1; j < ny; ++j) {
        const uint32_t c = uint32_t(sy[j]);
        if (c == 0) continue;
        s = rowOf(j);
        if (c == 1)
            for (int64_t u = 0; u < n; ++u) t[u] += uint32_t(int32_t(s[u]));
        else
            for (int64_t u = 0; u < n; ++u) t[u] += c * uint32_t(int32_t(s[u]));
    }
}

template <class T>
bool drive(void* context, const NbPiece& p) {
    const Call& c = *static_cast<const Call*>(context);
    const int P = c.pix;
    const int64_t count = (int64_t(p.w) + c.nx - 1) * P;
    const int n = p.w * P;
    NbScratch lineMem, sumMem, outMem;
    uint32_t* line = lineMem.get<uint32_t>(count);
    uint32_t* sum = sumMem.get<uint32_t>(n);
    T* out = outMem.get<T>(n);
    if (!line || !sum || !out) return false;
    const int sh = c.shift & 31;
    for (int l = 0; l < c.nLanes; ++l) {
        NbRows<T> rows;
        const int ch = c.lane == NbLane::Flat || c.lane == NbLane::Bits ? 0 : c.srcCh[l];
        if (!rows.init(p.src, c.lane, ch, c.srcPix, count, c.ny)) return false;
        NbSink sink = c.sink;
        sink.channel = c.dstCh[l];
        for (int y = 0; y < p.h; ++y) {
            columnPass<T>(line, count, c.sy, c.ny, [&](int j) { return rows.row(y + j); });
            const uint32_t c0 = uint32_t(c.sx[0]);
            for (int e = 0; e < n; ++e) sum[e] = c0 * line[e];
            for (int i = 1; i < c.nx; ++i) {
                const uint32_t k = uint32_t(c.sx[i]);
                const uint32_t* t = line + int64_t(i) * P;
                if (k == 1) for (int e = 0; e < n; ++e) sum[e] += t[e];
                else if (k) for (int e = 0; e < n; ++e) sum[e] += k * t[e];
            }
            for (int e = 0; e < n; ++e) {
                const int64_t v = int32_t(sum[e]) >> sh;
                out[e] = T(v < c.lo ? c.lo : v > c.hi ? c.hi : v);
            }
            nbStoreRow(p, sink, y, out);
        }
    }
    return true;
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
    switch (src->depth) {
        case ZOL_DEPTH_1U: drv = &drive<uint8_t>; break;
        case ZOL_DEPTH_8U: drv = &drive<uint8_t>, hi = 255; break;
        case ZOL_DEPTH_8S: drv = &drive<int8_t>, lo = -128, hi = 127; break;
        case ZOL_DEPTH_16U: drv = &drive<uint16_t>, hi = 65535; break;
        case ZOL_DEPTH_16S: drv = &drive<int16_t>, lo = -32768, hi = 32767; break;
        case ZOL_DEPTH_32S: drv = &drive<int32_t>, lo = INT32_MIN, hi = INT32_MAX; break;
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
