// Rank filters: the largest, smallest or median element of a rectangular
// window, per channel.
//
// Max and min are separable: a vertical pass over the window's rows, then a
// horizontal pass over its columns (van Herk's block prefix and suffix for
// wide windows), so a pixel costs about nCols + nRows comparisons. The
// median of a 3x3 window sorts each column once per row and shares the
// sorted columns between the three windows that use them; larger 8-bit
// windows keep a running histogram along the row; everything else selects
// in a gathered copy of the window. Every path returns the same order
// statistic, so the results do not depend on the path.
#include "filter/rank.h"

#include <algorithm>
#include <cstring>
#include <type_traits>

#include "core/frame.h"
#include "core/image.h"
#include "core/messages.h"
#include "core/neighbour.h"
#include "core/rect.h"
#include "core/report.h"

namespace zol {

namespace rank {

template <class T, bool Max>
inline T pick(T a, T b) {
    if constexpr (Max) return a > b ? a : b;
    else return a < b ? a : b;
}

// v[e] = pick over the nr rows of rows[j][e].
template <class T, bool Max>
void vertical(T* __restrict v, const T* const* rows, int nr, int64_t count) {
    std::memcpy(v, rows[0], size_t(count) * sizeof(T));
    for (int j = 1; j < nr; ++j) {
        const T* __restrict r = rows[j];
        for (int64_t e = 0; e < count; ++e) v[e] = pick<T, Max>(v[e], r[e]);
    }
}

// out[e] = pick over i < nc of v[e + i * P], e < n. Wide windows take the
// running pick within blocks of nc pixels from the left (g) and from the
// right (h): a window meets at most two blocks, the tail of one and the
// head of the next.
template <class T, bool Max>
void horizontal(T* __restrict out, const T* __restrict v, int nc, int P, int n, T* __restrict g,
                T* __restrict h) {
    if (nc <= 8) {
        std::memcpy(out, v, size_t(n) * sizeof(T));
        for (int i = 1; i < nc; ++i) {
            const T* __restrict s = v + int64_t(i) * P;
            for (int e = 0; e < n; ++e) out[e] = pick<T, Max>(out[e], s[e]);
        }
        return;
    }
    const int64_t count = int64_t(n) + int64_t(nc - 1) * P;
    const int64_t pixels = count / P;
    for (int64_t x = 0; x < pixels; x += nc) {
        const int64_t end = std::min<int64_t>(pixels, x + nc);
        for (int c = 0; c < P; ++c) {
            T run = v[x * P + c];
            g[x * P + c] = run;
            for (int64_t u = x + 1; u < end; ++u) g[u * P + c] = run = pick<T, Max>(run, v[u * P + c]);
            run = v[(end - 1) * P + c];
            h[(end - 1) * P + c] = run;
            for (int64_t u = end - 2; u >= x; --u) h[u * P + c] = run = pick<T, Max>(run, v[u * P + c]);
        }
    }
    const T* tail = g + int64_t(nc - 1) * P;
    for (int e = 0; e < n; ++e) out[e] = pick<T, Max>(h[e], tail[e]);
}

template <class T>
inline T lo2(T a, T b) { return a < b ? a : b; }
template <class T>
inline T hi2(T a, T b) { return a > b ? a : b; }
template <class T>
inline T mid3(T a, T b, T c) { return hi2(lo2(a, b), lo2(hi2(a, b), c)); }

// The median of 3x3 windows: each column sorted once (lo <= mi <= hi),
// then the median of nine is the middle of the largest low, the middle
// middle and the smallest high of the window's three columns.
template <class T>
void median3x3(T* __restrict out, const T* const* rows, int P, int n, T* __restrict lo,
               T* __restrict mi, T* __restrict hi) {
    const int64_t count = int64_t(n) + 2 * int64_t(P);
    const T* __restrict a = rows[0];
    const T* __restrict b = rows[1];
    const T* __restrict c = rows[2];
    for (int64_t e = 0; e < count; ++e) {
        const T x = a[e], y = b[e], z = c[e];
        const T l = lo2(x, y), m = hi2(x, y);
        lo[e] = lo2(l, z);
        const T m2 = hi2(l, z);
        mi[e] = lo2(m, m2);
        hi[e] = hi2(m, m2);
    }
    for (int e = 0; e < n; ++e) {
        const T l = hi2(hi2(lo[e], lo[e + P]), lo[e + 2 * P]);
        const T h = lo2(lo2(hi[e], hi[e + P]), hi[e + 2 * P]);
        const T m = mid3(mi[e], mi[e + P], mi[e + 2 * P]);
        out[e] = mid3(l, m, h);
    }
}

// The median of 5x5 windows, each window's 25 values through the exchanges
// in registers; the loop over the row runs many windows side by side.
template <class T>
void median5x5(T* __restrict out, const T* const* rows, int P, int n) {
    const T* __restrict r0 = rows[0];
    const T* __restrict r1 = rows[1];
    const T* __restrict r2 = rows[2];
    const T* __restrict r3 = rows[3];
    const T* __restrict r4 = rows[4];
    for (int e = 0; e < n; ++e) {
        T v[25];
#pragma GCC unroll 5
        for (int i = 0; i < 5; ++i) {
            v[i] = r0[e + i * P];
            v[5 + i] = r1[e + i * P];
            v[10 + i] = r2[e + i * P];
            v[15 + i] = r3[e + i * P];
            v[20 + i] = r4[e + i * P];
        }
#pragma GCC unroll 128
        for (const auto& x : kMid25) {
            const T a = v[x[0]], b = v[x[1]];
            v[x[0]] = lo2(a, b);
            v[x[1]] = hi2(a, b);
        }
        out[e] = v[12];
    }
}

// The k-th smallest (from 1) of each window, by selection in a copy.
template <class T>
void medianSelect(T* out, const T* const* rows, int nr, int nc, int P, int n, int64_t k, T* buf) {
    for (int e = 0; e < n; ++e) {
        int64_t q = 0;
        for (int j = 0; j < nr; ++j) {
            const T* r = rows[j] + e;
            for (int i = 0; i < nc; ++i) buf[q++] = r[int64_t(i) * P];
        }
        std::nth_element(buf, buf + (k - 1), buf + q);
        out[e] = buf[k - 1];
    }
}

// The k-th smallest of 8-bit windows by a running histogram along the row,
// one channel of the pixel at a time: 2 * nr updates per pixel, and the
// median moves a few steps from its place at the last pixel.
template <class T>
void medianHistogram(T* out, const T* const* rows, int nr, int nc, int P, int w, int64_t k,
                     uint32_t* table) {
    constexpr int off = std::is_signed_v<T> ? 128 : 0;
    for (int c = 0; c < P; ++c) {
        for (int j = 0; j < nr; ++j)
            for (int i = 0; i < nc; ++i) ++table[rows[j][int64_t(i) * P + c] + off];
        int m = 0;
        int64_t below = 0;  // elements at or below m
        while (below + table[m] < k) below += table[m++];
        below += table[m];
        out[c] = T(m - off);
        for (int x = 1; x < w; ++x) {
            for (int j = 0; j < nr; ++j) {
                const int gone = rows[j][int64_t(x - 1) * P + c] + off;
                const int come = rows[j][int64_t(x + nc - 1) * P + c] + off;
                --table[gone];
                ++table[come];
                below += (come <= m) - (gone <= m);
            }
            if (below >= k) {
                while (below >= k) below -= table[m--];
                below += table[++m];
            } else {
                while (below < k) below += table[++m];
            }
            out[int64_t(x) * P + c] = T(m - off);
        }
        for (int j = 0; j < nr; ++j)
            for (int64_t i = 0; i < int64_t(w + nc - 1); ++i) table[rows[j][i * P + c] + off] = 0;
    }
}

}  // namespace rank

namespace rankk::plain {
void median3(uint8_t* out, const uint8_t* const* rows, int P, int n, uint8_t* lo, uint8_t* mi,
             uint8_t* hi) {
    rank::median3x3(out, rows, P, n, lo, mi, hi);
}
void median5(uint8_t* out, const uint8_t* const* rows, int P, int n) { rank::median5x5(out, rows, P, n); }
void vmax(uint8_t* v, const uint8_t* const* rows, int nr, int64_t count) {
    rank::vertical<uint8_t, true>(v, rows, nr, count);
}
void vmin(uint8_t* v, const uint8_t* const* rows, int nr, int64_t count) {
    rank::vertical<uint8_t, false>(v, rows, nr, count);
}
void hmax(uint8_t* out, const uint8_t* v, int nc, int P, int n) {
    rank::horizontal<uint8_t, true>(out, v, nc, P, n, nullptr, nullptr);
}
void hmin(uint8_t* out, const uint8_t* v, int nc, int P, int n) {
    rank::horizontal<uint8_t, false>(out, v, nc, P, n, nullptr, nullptr);
}
}  // namespace rankk::plain

namespace {
RankKernels makeTable(Form form) {
    namespace p = rankk::plain;
    RankKernels k{p::median3, p::median5, p::vmax, p::vmin, p::hmax, p::hmin};
    rankSimd(form, k);
    return k;
}
}  // namespace

const RankKernels& rankKernels() { return tableForActiveForm(makeTable); }
Form rankForm() { return activeForm(); }

namespace rank {

template <class T>
bool drive(void* context, const NbPiece& p) {
    const RankCall& c = *static_cast<const RankCall*>(context);
    const RankJob& J = c.job;
    constexpr bool u8 = std::is_same_v<T, uint8_t>;
    const RankKernels& K8 = rankKernels();
    const int P = c.pix;
    const int64_t count = (int64_t(p.w) + J.nCols - 1) * P;
    const int n = p.w * P;
    const int64_t area = int64_t(J.nCols) * J.nRows;
    const int64_t k = (area >> 1) + 1;
    const bool eight = sizeof(T) == 1;
    const bool net = J.op == kRankMedian && J.nCols == 3 && J.nRows == 3;
    const bool net5 = J.op == kRankMedian && J.nCols == 5 && J.nRows == 5;
    const bool hist = J.op == kRankMedian && !net && !net5 && eight && area > 9;
    NbScratch outMem, aMem, bMem, cMem, rowMem;
    T* out = outMem.get<T>(n);
    const T** rowPtr = rowMem.get<const T*>(J.nRows);
    T *a = nullptr, *b = nullptr, *d = nullptr;
    uint32_t* table = nullptr;
    if (J.op != kRankMedian) {
        a = aMem.get<T>(count);
        b = J.nCols > 8 ? bMem.get<T>(count) : nullptr;
        d = J.nCols > 8 ? cMem.get<T>(count) : nullptr;
        if (!a || (J.nCols > 8 && (!b || !d))) return false;
    } else if (net) {
        a = aMem.get<T>(count);
        b = bMem.get<T>(count);
        d = cMem.get<T>(count);
        if (!a || !b || !d) return false;
    } else if (net5) {
    } else if (hist) {
        table = aMem.get<uint32_t>(256);
        if (!table) return false;
        std::fill(table, table + 256, 0u);
    } else {
        a = aMem.get<T>(area);
        if (!a) return false;
    }
    if (!out || !rowPtr) return false;
    for (int l = 0; l < c.nLanes; ++l) {
        NbRows<T> rows;
        NbSink sink;
        if (!nbLane(rows, sink, p, c, l, count, J.nRows)) return false;
        for (int y = 0; y < p.h; ++y) {
            for (int j = 0; j < J.nRows; ++j) rowPtr[j] = rows.row(y + j);
            switch (J.op) {
                case kRankMax:
                    if constexpr (u8) K8.vmax(a, rowPtr, J.nRows, count);
                    else vertical<T, true>(a, rowPtr, J.nRows, count);
                    if (u8 && J.nCols <= 8) K8.hmax(reinterpret_cast<uint8_t*>(out), reinterpret_cast<const uint8_t*>(a), J.nCols, P, n);
                    else horizontal<T, true>(out, a, J.nCols, P, n, b, d);
                    break;
                case kRankMin:
                    if constexpr (u8) K8.vmin(a, rowPtr, J.nRows, count);
                    else vertical<T, false>(a, rowPtr, J.nRows, count);
                    if (u8 && J.nCols <= 8) K8.hmin(reinterpret_cast<uint8_t*>(out), reinterpret_cast<const uint8_t*>(a), J.nCols, P, n);
                    else horizontal<T, false>(out, a, J.nCols, P, n, b, d);
                    break;
                default:
                    if constexpr (u8) {
                        if (net) K8.median3(out, rowPtr, P, n, a, b, d);
                        else if (net5) K8.median5(out, rowPtr, P, n);
                        else if (hist) medianHistogram(out, rowPtr, J.nRows, J.nCols, P, p.w, k, table);
                        else medianSelect(out, rowPtr, J.nRows, J.nCols, P, n, k, a);
                        break;
                    }
                    if (net) median3x3(out, rowPtr, P, n, a, b, d);
                    else if (net5) median5x5(out, rowPtr, P, n);
                    else if (hist) medianHistogram(out, rowPtr, J.nRows, J.nCols, P, p.w, k, table);
                    else medianSelect(out, rowPtr, J.nRows, J.nCols, P, n, k, a);
                    break;
            }
            nbStoreRow(p, sink, y, out);
        }
    }
    return true;
}

}  // namespace rank

bool ownRankRun(const RankJob& J) {
    RankCall c{};
    c.job = J;
    c.reach = Reach{J.ax, J.ay, J.nCols - J.ax, J.nRows - J.ay};
    const ZolImage* src = J.src;
    const bool plane = src->dataOrder == ZOL_DATA_ORDER_PLANE;
    const bool coi = J.srcCoi > 0 || J.dstCoi > 0;
    if (src->depth == ZOL_DEPTH_1U) c.lane = NbLane::Bits;
    else if (plane) c.lane = NbLane::Plane;
    else if (coi) c.lane = NbLane::Channel;
    else c.lane = NbLane::Flat;
    c.pix = c.lane == NbLane::Flat ? src->nChannels : 1;
    c.srcPix = plane ? 1 : src->nChannels;
    c.nLanes = 1;
    c.srcCh[0] = coi ? std::max(J.srcCoi, 1) - 1 : 0;
    c.dstCh[0] = coi ? std::max(J.dstCoi, 1) - 1 : 0;
    if (c.lane == NbLane::Plane && !coi) {
        c.nLanes = std::min(J.colours, 64);
        for (int l = 0; l < c.nLanes; ++l) c.srcCh[l] = c.dstCh[l] = l;
    }
    c.sink = NbSink{c.lane, c.pix, plane ? 1 : J.dst->nChannels,
                    c.lane == NbLane::Flat ? J.colours : 1, 0};
    NbCall call{src, J.borderConst, J.sx, J.sy, J.dst, J.dx, J.dy, J.mask, J.w, J.h, c.reach};
    NbDriver d;
    if (J.op == kRankFixed) d = ownFixedDriver(src->depth);
    else switch (src->depth) {
        case ZOL_DEPTH_1U:
        case ZOL_DEPTH_8U: d = &rank::drive<uint8_t>; break;
        case ZOL_DEPTH_8S: d = &rank::drive<int8_t>; break;
        case ZOL_DEPTH_16U: d = &rank::drive<uint16_t>; break;
        case ZOL_DEPTH_16S: d = &rank::drive<int16_t>; break;
        default: d = &rank::drive<int32_t>; break;
    }
    return ownNeighbourWalk(call, d, &c) == kNbOk;
}

RankColours ownRankColours(const Frame& f, const ZolImage* src, const ZolImage* dst) {
    const int sCoi = src->roi ? src->roi->coi : 0;
    const int dCoi = dst->roi ? dst->roi->coi : 0;
    const int sCount = (sCoi ? 1 : src->nChannels) - (src->alphaChannel ? 1 : 0);
    const int dCount = (dCoi ? 1 : dst->nChannels) - (dst->alphaChannel ? 1 : 0);
    if (sCoi > src->nChannels) f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kRankSrcCoi);
    if (dCoi > dst->nChannels) f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kRankDstCoi);
    if (sCount != dCount) f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kRankCounts);
    return {sCoi, dCoi, sCount};
}

namespace rank {

// Blocks the walk may fetch at once are held below this size: a window
// far larger than the image ends the call like scratch that cannot be had,
// instead of asking for gigabytes.
constexpr int64_t kMaxBlockBytes = int64_t(1) << 29;

void front(const char* func, ZolImage* src, ZolImage* dst, int nCols, int nRows, int ax, int ay,
           int op) {
    const Frame f(func);
    if (!f.headersOk({src, dst})) return;
    if (ax >= nCols || ax < 0) return void(f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kRankAnchorX));
    if (ay >= nRows || ay < 0) return void(f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kRankAnchorY));
    if (src == dst) return void(f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kRankSame));
    if (src->depth != dst->depth) return void(f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kRankDepths));
    if (src->depth == 32) return void(f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kRankDepth32));
    if (src->nChannels != dst->nChannels)
        return void(f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kRankChannels));
    if (src->alphaChannel != dst->alphaChannel)
        return void(f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kRankAlphas));
    if (src->alphaChannel != 0 && src->alphaChannel != src->nChannels)
        return void(f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kRankAlphaLast));
    if (src->depth != ZOL_DEPTH_1U && src->dataOrder != dst->dataOrder)
        return void(f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kRankOrders));
    const auto [sCoi, dCoi, sCount] = ownRankColours(f, src, dst);
    if (zolGetErrStatus() < 0 || sCount <= 0) return;

    ownRect r[2];
    int w, h;
    commonSize(src, dst, r, &w, &h);
    if (w <= 0 || h <= 0) return;
    const int64_t pixBytes = src->depth == ZOL_DEPTH_1U ? 1 : elemSize(src->depth) * src->nChannels;
    if ((int64_t(w) + nCols) * (int64_t(h) + nRows) * pixBytes > kMaxBlockBytes) return;
    int state = 0;
    ZolImage* made = ownCombineMasks(src->maskROI, dst->maskROI, nullptr, &state);
    if (state == kMaskNoMemory || state == kMaskEmpty) return;
    const ZolImage* mask = made ? made : src->maskROI ? src->maskROI : dst->maskROI;
    RankJob J{src, src->borderConst, r[0].x, r[0].y, dst, r[1].x, r[1].y, mask, w, h,
              nCols, nRows, ax, ay, op, 0, sCoi, dCoi, sCount};
    ownRankRun(J);
    if (state == kMaskMade) zolDeallocate(made, ZOL_FREE_HEADER | ZOL_FREE_DATA);
}

}  // namespace rank

}  // namespace zol

using namespace zol;

void zolMaxFilter(ZolImage* srcImage, ZolImage* dstImage, int nCols, int nRows, int anchorX,
                  int anchorY) {
    rank::front(msg::kMaxFilter, srcImage, dstImage, nCols, nRows, anchorX, anchorY, kRankMax);
}

void zolMinFilter(ZolImage* srcImage, ZolImage* dstImage, int nCols, int nRows, int anchorX,
                  int anchorY) {
    rank::front(msg::kMinFilter, srcImage, dstImage, nCols, nRows, anchorX, anchorY, kRankMin);
}

void zolMedianFilter(ZolImage* srcImage, ZolImage* dstImage, int nCols, int nRows, int anchorX,
                     int anchorY) {
    rank::front(msg::kMedianFilter, srcImage, dstImage, nCols, nRows, anchorX, anchorY,
                kRankMedian);
}
