// Box blur: the average over an nCols x nRows window, by running sums.
//
// A table of column sums slides down the region and a running sum of
// nCols of them slides along each row, so a pixel costs a few additions
// whatever the window. Integer results round S times the float scale
// 1/(nCols nRows) to nearest, ties to even, computed exactly in integers:
// the scale is m 2^-q with a 24-bit m. 32S and 32F keep float column sums
// that round at every update, as their results are defined by.
#include <algorithm>
#include <cmath>
#include <type_traits>

#include "core/frame.h"
#include "core/image.h"
#include "core/messages.h"
#include "core/neighbour.h"
#include "core/rect.h"
#include "core/report.h"

namespace zol {

namespace blur {

struct Call {
    int nCols, nRows;
    float scale;
    int64_t m;  // scale = m 2^-q
    int q;
    const int32_t* table;  // 8-bit depths, small windows: the result of each S
    int64_t tableLow;      // the S of table[0]
    NbLane lane;
    int pix, srcPix, nLanes;
    int srcCh[64], dstCh[64];
    NbSink sink;
};

// S m 2^-q to nearest, ties to even.
inline int64_t roundScaled(int64_t S, const Call& c) {
    const __int128 v = (__int128)S * c.m;
    __int128 fl = v >> c.q;
    const __int128 rem = v - fl * ((__int128)1 << c.q), half = (__int128)1 << (c.q - 1);
    if (rem > half || (rem == half && (fl & 1))) ++fl;
    return int64_t(fl);
}

template <class T>
bool drive(void* context, const NbPiece& p) {
    const Call& c = *static_cast<const Call*>(context);
    constexpr bool isFloat = std::is_same_v<T, float>;
    constexpr bool floatSums = isFloat || std::is_same_v<T, int32_t>;
    using Col = std::conditional_t<floatSums, float, int64_t>;
    const int P = c.pix;
    const int64_t count = (int64_t(p.w) + c.nCols - 1) * P;
    const int n = p.w * P;
    const bool bits = c.lane == NbLane::Bits;
    NbScratch colMem, outMem, sumMem;
    Col* col = colMem.get<Col>(count);
    T* out = outMem.get<T>(int64_t(p.w) * P);
    int64_t* hs = floatSums ? nullptr : sumMem.get<int64_t>(int64_t(p.w) * P);
    if (!col || !out || (!floatSums && !hs)) return false;
    for (int l = 0; l < c.nLanes; ++l) {
        NbRows<T> rows;
        const int ch = c.lane == NbLane::Flat || bits ? 0 : c.srcCh[l];
        if (!rows.init(p.src, c.lane, ch, c.srcPix, count, c.nRows + 1)) return false;
        NbSink sink = c.sink;
        sink.channel = c.dstCh[l];
        std::fill(col, col + count, Col(0));
        for (int j = 0; j < c.nRows; ++j) {
            const T* r = rows.row(j);
            for (int64_t e = 0; e < count; ++e) {
                if constexpr (floatSums) col[e] = float(double(col[e]) + double(r[e]));
                else col[e] += r[e];
            }
        }
        for (int y = 0; y < p.h; ++y) {
            for (int k = 0; floatSums && k < P; ++k) {
                if constexpr (floatSums) {
                    long double S = 0;
                    for (int i = 0; i < c.nCols; ++i) S += col[int64_t(i) * P + k];
                    for (int x = 0; x < p.w; ++x) {
                        const long double v = S * (long double)c.scale;
                        if constexpr (isFloat) out[int64_t(x) * P + k] = float(v);
                        else out[int64_t(x) * P + k] = int32_t(uint32_t(uint64_t(int64_t(std::nearbyint(v)))));
                        if (x + 1 < p.w) {
                            S += col[int64_t(x + c.nCols) * P + k];
                            S -= col[int64_t(x) * P + k];
                        }
                    }
                }
            }
            if constexpr (!floatSums) {
                // S of every element: nCols column sums added across the row,
                // or slid along it for wide windows.
                if (c.nCols <= 16) {
                    std::copy(col, col + n, hs);
                    for (int i = 1; i < c.nCols; ++i) {
                        const int64_t* __restrict s = col + int64_t(i) * P;
                        for (int e = 0; e < n; ++e) hs[e] += s[e];
                    }
                } else {
                    for (int k = 0; k < P; ++k) {
                        int64_t S = 0;
                        for (int i = 0; i < c.nCols; ++i) S += col[int64_t(i) * P + k];
                        for (int x = 0; x < p.w; ++x) {
                            hs[int64_t(x) * P + k] = S;
                            if (x + 1 < p.w) S += col[int64_t(x + c.nCols) * P + k] - col[int64_t(x) * P + k];
                        }
                    }
                }
                if (c.table) {
                    const int32_t* t = c.table - c.tableLow;
                    for (int e = 0; e < n; ++e) out[e] = T(t[hs[e]]);
                } else if (bits) {
                    for (int e = 0; e < n; ++e) out[e] = T(double(hs[e]) * double(c.scale) >= 0.5);
                } else {
                    for (int e = 0; e < n; ++e) out[e] = T(roundScaled(hs[e], c));
                }
            }
            nbStoreRow(p, sink, y, out);
            if (y + 1 == p.h) break;
            const T* in = rows.row(y + c.nRows);
            const T* gone = rows.row(y);
            for (int64_t e = 0; e < count; ++e) {
                if constexpr (isFloat) col[e] = float(((long double)in[e] - (long double)gone[e]) + col[e]);
                else if constexpr (floatSums) col[e] = col[e] + float(int32_t(uint32_t(in[e]) - uint32_t(gone[e])));
                else col[e] += int64_t(in[e]) - int64_t(gone[e]);
            }
        }
    }
    return true;
}

// An image's region and channels; false when the alpha channel is in the way.
struct Region {
    int x, y, w, h, first, last;
};

bool regionOf(const ZolImage* im, Region& r) {
    ownRect rc;
    ownRoiRect(im, &rc);
    const int coi = im->roi ? im->roi->coi : 0;
    r = Region{rc.x, rc.y, rc.width, rc.height, coi ? coi : 1, coi ? coi : im->nChannels};
    if (const int a = im->alphaChannel) {
        if (r.last > a) return false;
        if (r.last == a) --r.last;
        if (r.last < r.first) return false;
    }
    return true;
}

void front(ZolImage* src, ZolImage* dst, int nCols, int nRows, int ax, int ay) {
    const Frame f(msg::kBlur);
    if (!f.headersOk({src, dst})) return;
    if (src->depth != dst->depth) return void(f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kBlurDepths));
    if (nRows < 0 || nCols < 0) return void(f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kBlurSize));
    if (ax < 0 || ay < 0) return void(f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kBlurAnchorLow));
    if (ax >= nCols || ay >= nRows) return void(f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kBlurAnchorHigh));
    if (nCols == 1 && nRows == 1) return zolCopy(src, dst);
    Call c{};
    c.nCols = nCols;
    c.nRows = nRows;
    c.scale = float(1.0 / (double(nCols) * double(nRows)));
    int e = 0;
    const float mant = std::frexp(c.scale, &e);
    c.m = int64_t(std::ldexp(double(mant), 24));
    c.q = 24 - e;
    // 8-bit results of every possible S, when the windows are small enough.
    NbScratch tableMem;
    const int64_t area = int64_t(nCols) * nRows;
    if (elemSize(src->depth) <= 1 && area <= 1024) {
        int32_t* t = tableMem.get<int32_t>(256 * area);
        if (t) {
            c.tableLow = src->depth == ZOL_DEPTH_8S ? -128 * area : 0;
            for (int64_t i = 0; i < 256 * area; ++i) {
                const int64_t S = c.tableLow + i;
                t[i] = src->depth == ZOL_DEPTH_1U ? int32_t(double(S) * double(c.scale) >= 0.5)
                                                  : int32_t(roundScaled(S, c));
            }
            c.table = t;
        }
    }
    Region rs, rd;
    if (!regionOf(dst, rd) || !regionOf(src, rs)) return void(f.fail(ZOL_STATUS_BAD_ALPHA, msg::kBlurAlpha));
    int w = std::min(rs.w, rd.w), h = std::min(rs.h, rd.h);
    const int nCh = rs.last - rs.first + 1;
    if (nCh != rd.last - rd.first + 1) return void(f.fail(ZOL_STATUS_BAD_CHANNELS, msg::kBlurChannels));
    for (const ZolImage* im : {src, dst})
        if (const ZolImage* m = im->maskROI) {
            Region rm;
            if (!regionOf(m, rm)) return void(f.fail(ZOL_STATUS_BAD_ALPHA, msg::kBlurAlpha));
            w = std::min(w, rm.w);
            h = std::min(h, rm.h);
        }
    if (w <= 0 || h <= 0) return;
    const int64_t pixBytes = src->depth == ZOL_DEPTH_1U ? 1 : elemSize(src->depth) * src->nChannels;
    if ((int64_t(w) + nCols) * (int64_t(h) + nRows) * pixBytes > (int64_t(1) << 29))
        return void(f.fail(ZOL_STATUS_NO_MEMORY, msg::kAllocationFailure));
    int state = 0;
    ZolImage* made = ownCombineMasks(src->maskROI, dst->maskROI, nullptr, &state);
    if (state == kMaskNoMemory) return void(f.fail(ZOL_STATUS_NO_MEMORY, msg::kAllocationFailure));
    if (state == kMaskEmpty) return;
    const ZolImage* mask = made ? made : src->maskROI ? src->maskROI : dst->maskROI;

    const bool plane = src->dataOrder == ZOL_DATA_ORDER_PLANE;
    const bool whole = rs.first == 1 && rd.first == 1 && nCh == src->nChannels - (src->alphaChannel ? 1 : 0) &&
                       src->nChannels == dst->nChannels && !(src->roi && src->roi->coi) &&
                       !(dst->roi && dst->roi->coi);
    if (src->depth == ZOL_DEPTH_1U) c.lane = NbLane::Bits;
    else if (plane) c.lane = NbLane::Plane;
    else if (whole) c.lane = NbLane::Flat;
    else c.lane = NbLane::Channel;
    c.pix = c.lane == NbLane::Flat ? src->nChannels : 1;
    c.srcPix = plane ? 1 : src->nChannels;
    c.nLanes = c.lane == NbLane::Flat || c.lane == NbLane::Bits ? 1 : std::min(nCh, 64);
    for (int l = 0; l < c.nLanes; ++l) {
        c.srcCh[l] = rs.first - 1 + l;
        c.dstCh[l] = rd.first - 1 + l;
    }
    c.sink = NbSink{c.lane, c.pix, plane ? 1 : dst->nChannels, c.lane == NbLane::Flat ? nCh : 1, 0};
    NbCall call{src, src->borderConst, rs.x, rs.y, dst, rd.x, rd.y, mask, w, h,
                Reach{ax, ay, nCols - ax, nRows - ay}};
    call.wholeBlock = true;
    NbDriver d;
    switch (src->depth) {
        case ZOL_DEPTH_1U:
        case ZOL_DEPTH_8U: d = &drive<uint8_t>; break;
        case ZOL_DEPTH_8S: d = &drive<int8_t>; break;
        case ZOL_DEPTH_16U: d = &drive<uint16_t>; break;
        case ZOL_DEPTH_16S: d = &drive<int16_t>; break;
        case ZOL_DEPTH_32S: d = &drive<int32_t>; break;
        default: d = &drive<float>; break;
    }
    const int st = ownNeighbourWalk(call, d, &c);
    if (state == kMaskMade) zolDeallocate(made, ZOL_FREE_HEADER | ZOL_FREE_DATA);
    if (st == kNbNoMemory || st == kNbDriverFailed) f.fail(ZOL_STATUS_NO_MEMORY, msg::kAllocationFailure);
}

}  // namespace blur

}  // namespace zol

void zolBlur(ZolImage* srcImage, ZolImage* dstImage, int nCols, int nRows, int anchorX,
             int anchorY) {
    zol::blur::front(srcImage, dstImage, nCols, nRows, anchorX, anchorY);
}
