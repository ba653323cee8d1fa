// The fixed filters: eleven hard-wired 3x3 and 5x5 kernels, each with its
// own exact rounding, run by the rank filters' neighbourhood driver.
//
// Integer depths sum the weights exactly, in 16, 32 or 64 bits as the
// depth and the weights need, tap by tap across the row, and round by the
// filter's rule; 32F (and the 5x5 Gaussian on 32S) sums in stages with a
// float stored between them, which is what fixes its float results.
#include <algorithm>
#include <cmath>
#include <limits>
#include <type_traits>

#include "core/frame.h"
#include "core/image.h"
#include "core/messages.h"
#include "core/rect.h"
#include "core/report.h"
#include "filter/rank.h"

namespace zol {

namespace fixed {

struct Shape {
    int size;
    int w[25];
    int threshold;  // 1U: the bit is set above it
};

const Shape kShapes[11] = {
    {3, {1, 0, -1, 1, 0, -1, 1, 0, -1}, 0},
    {3, {-1, -1, -1, 0, 0, 0, 1, 1, 1}, 0},
    {3, {1, 0, -1, 2, 0, -2, 1, 0, -1}, 0},
    {3, {-1, -2, -1, 0, 0, 0, 1, 2, 1}, 0},
    {3, {-1, -1, -1, -1, 8, -1, -1, -1, -1}, 0},
    {5, {-1, -3, -4, -3, -1, -3, 0, 6, 0, -3, -4, 6, 20, 6, -4, -3, 0, 6, 0, -3, -1, -3, -4, -3, -1}, 0},
    {3, {1, 2, 1, 2, 4, 2, 1, 2, 1}, 7},
    {5, {2, 7, 12, 7, 2, 7, 31, 52, 31, 7, 12, 52, 127, 52, 12, 7, 31, 52, 31, 7, 2, 7, 12, 7, 2}, 285},
    {3, {-1, -1, -1, -1, 8, -1, -1, -1, -1}, 0},
    {5, {-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 24, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1}, 0},
    {3, {-1, -1, -1, -1, 16, -1, -1, -1, -1}, 0},
};

struct Range {
    int64_t lo, hi;
};

template <class T>
constexpr Range rangeOf() {
    if constexpr (std::is_same_v<T, float>) return {0, 0};
    else return {int64_t(std::numeric_limits<T>::min()), int64_t(std::numeric_limits<T>::max())};
}

// One element of the float route: v(j, i) reads window row j, column i.
template <class V>
float floatSum(int filter, V v) {
    switch (filter) {
        case ZOL_FILTER_PREWITT_V:
        case ZOL_FILTER_SOBEL_V: {
            float r[3];
            for (int j = 0; j < 3; ++j) r[j] = float(v(j, 0) - v(j, 2));
            if (filter == ZOL_FILTER_PREWITT_V) return float(double(r[0]) + r[1] + r[2]);
            return float(2.0 * r[1] + (double(r[0]) + r[2]));
        }
        case ZOL_FILTER_PREWITT_H:
        case ZOL_FILTER_SOBEL_H: {
            const double m = filter == ZOL_FILTER_SOBEL_H ? 2.0 : 1.0;
            const float a = float(v(0, 0) + m * v(0, 1) + v(0, 2));
            const float c = float(v(2, 0) + m * v(2, 1) + v(2, 2));
            return float(double(c) - a);
        }
        case ZOL_FILTER_GAUSSIAN3: {
            float h[3];
            for (int j = 0; j < 3; ++j) h[j] = float(v(j, 0) + 2.0 * v(j, 1) + v(j, 2));
            return float(double(float(double(h[0]) + 2.0 * h[1] + h[2])) * 0.0625);
        }
        case ZOL_FILTER_GAUSSIAN5:
        case ZOL_FILTER_LAPLACIAN5: {
            const Shape& s = kShapes[filter];
            double t = 0;
            for (int j = 0; j < 5; ++j) {
                const int kr = std::min(j, 4 - j);
                double h = 0;
                for (int i = 0; i < 5; ++i) {
                    const double wt = filter == ZOL_FILTER_GAUSSIAN5 ? double(float(s.w[kr * 5 + i] / 571.0))
                                                                     : double(s.w[kr * 5 + i]);
                    h += wt * v(j, i);
                }
                t += double(float(h));
            }
            return float(t);
        }
        default: {
            const int n = kShapes[filter].size, a = n / 2;
            double b = 0;
            for (int j = 0; j < n; ++j)
                for (int i = 0; i < n; ++i) b += v(j, i);
            const double c = v(a, a);
            if (filter == ZOL_FILTER_SHARPEN) return float((17.0 * c - b) * 0.125);
            return float((n == 3 ? 9.0 : 25.0) * c - b);
        }
    }
}

constexpr int kChunk = 1024;

// s over n elements of a row, tap by tap across a chunk (flat loops the
// compiler vectorises), exact in A for the depth, then the filter's rule.
template <class A, class T>
void sumRow(T* out, const T* const* rows, const Shape& sh, int K, int P, int n, int filter, bool bits,
            A* pairs) {
    alignas(32) A acc[kChunk];
    for (int e0 = 0; e0 < n; e0 += kChunk) {
        const int m = std::min(kChunk, n - e0);
        std::fill(acc, acc + m, A(0));
        if (K == 5 && pairs) {
            // The 5x5 kernels are symmetric both ways: rows 0 and 4, 1 and 3
            // are added first, then columns likewise, nine products a pixel.
            const int64_t span = m + 4 * int64_t(P);
            for (int j = 0; j < 3; ++j) {
                const T* __restrict a = rows[j] + e0;
                const T* __restrict b = rows[4 - j] + e0;
                A* __restrict t = pairs + j * span;
                if (j < 2) for (int64_t e = 0; e < span; ++e) t[e] = A(A(a[e]) + A(b[e]));
                else for (int64_t e = 0; e < span; ++e) t[e] = A(a[e]);
                const A w0 = A(sh.w[j * 5]), w1 = A(sh.w[j * 5 + 1]), w2 = A(sh.w[j * 5 + 2]);
                const A* __restrict t1 = t + P;
                const A* __restrict t2 = t + 2 * P;
                const A* __restrict t3 = t + 3 * P;
                const A* __restrict t4 = t + 4 * P;
                for (int e = 0; e < m; ++e)
                    acc[e] = A(acc[e] + A(w0 * A(t[e] + t4[e])) + A(w1 * A(t1[e] + t3[e])) + A(w2 * t2[e]));
            }
        } else {
            for (int j = 0; j < K; ++j)
                for (int i = 0; i < K; ++i) {
                    const A wt = A(sh.w[j * K + i]);
                    if (!wt) continue;
                    const T* __restrict src = rows[j] + e0 + int64_t(i) * P;
                    for (int e = 0; e < m; ++e) acc[e] = A(acc[e] + A(wt * A(src[e])));
                }
        }
        T* o = out + e0;
        if (bits) {
            const A t = A(sh.threshold);
            for (int e = 0; e < m; ++e) o[e] = T(acc[e] > t);
            continue;
        }
        constexpr Range r = rangeOf<T>();
        const A lo = A(std::max<int64_t>(r.lo, std::numeric_limits<A>::min()));
        const A hi = A(std::min<int64_t>(r.hi, std::numeric_limits<A>::max()));
        switch (filter) {
            case ZOL_FILTER_GAUSSIAN3:
                for (int e = 0; e < m; ++e) {
                    const A s = acc[e];
                    o[e] = T(A(s + 7 + ((s & 16) >> 4)) >> 4);
                }
                break;
            case ZOL_FILTER_GAUSSIAN5:
                // floor((2s + 571) / 1142) with 1142 * 32768 added: positive for
                // every 8-bit and 16-bit sum, so an unsigned division.
                for (int e = 0; e < m; ++e)
                    o[e] = T(int32_t(uint32_t(2 * int32_t(acc[e]) + 571 + 1142 * 32768) / 1142u) - 32768);
                break;
            case ZOL_FILTER_SHARPEN:
                for (int e = 0; e < m; ++e) {
                    const A s = acc[e];
                    A v = A(A(s + 3 + ((s & 8) >> 3)) >> 3);
                    v = v < lo ? lo : v;
                    o[e] = T(v > hi ? hi : v);
                }
                break;
            default:
                for (int e = 0; e < m; ++e) {
                    A v = acc[e];
                    v = v < lo ? lo : v;
                    o[e] = T(v > hi ? hi : v);
                }
                break;
        }
    }
}

template <class T>
bool drive(void* context, const NbPiece& p) {
    const RankCall& c = *static_cast<const RankCall*>(context);
    const int filter = c.job.filter;
    const Shape& sh = kShapes[filter];
    const int K = sh.size, P = c.pix;
    const int64_t count = (int64_t(p.w) + K - 1) * P;
    const int n = p.w * P;
    const bool bits = c.lane == NbLane::Bits;
    constexpr bool f32 = std::is_same_v<T, float>;
    // 16-bit sums where the filter's weights bound them (8-bit samples).
    const bool narrow = sizeof(T) == 1 && filter != ZOL_FILTER_GAUSSIAN5;
    const bool viaFloat = f32 || (std::is_same_v<T, int32_t> && filter == ZOL_FILTER_GAUSSIAN5);
    NbScratch outMem, pairMem;
    T* out = outMem.get<T>(n);
    if (!out) return false;
    int32_t* pairs = nullptr;
    if (K == 5 && !narrow && sizeof(T) < 4 && !viaFloat) {
        pairs = pairMem.get<int32_t>(3 * (int64_t(kChunk) + 4 * int64_t(P)));
        if (!pairs) return false;
    }
    const T* rows[5];
    for (int l = 0; l < c.nLanes; ++l) {
        NbRows<T> rr;
        const int ch = c.lane == NbLane::Flat || bits ? 0 : c.srcCh[l];
        if (!rr.init(p.src, c.lane, ch, c.srcPix, count, K)) return false;
        NbSink sink = c.sink;
        sink.channel = c.dstCh[l];
        for (int y = 0; y < p.h; ++y) {
            for (int j = 0; j < K; ++j) rows[j] = rr.row(y + j);
            for (int e = 0; viaFloat && e < n; ++e) {
                {
                    const float f = floatSum(filter, [&](int j, int i) {
                        return double(float(rows[j][e + int64_t(i) * P]));
                    });
                    if constexpr (f32) out[e] = f;
                    else out[e] = T(f >= 2147483648.0f ? INT32_MAX : f <= -2147483648.0f ? INT32_MIN : std::llrint(f));
                }
            }
            if constexpr (!f32) {
                if (!viaFloat) {
                    if (narrow) sumRow<int16_t>(out, rows, sh, K, P, n, filter, bits, nullptr);
                    else if (sizeof(T) == 4) sumRow<int64_t>(out, rows, sh, K, P, n, filter, bits, nullptr);
                    else sumRow<int32_t>(out, rows, sh, K, P, n, filter, bits, pairs);
                }
            }
            nbStoreRow(p, sink, y, out);
        }
    }
    return true;
}

int front(ZolImage* src, ZolImage* dst, int filter) {
    const Frame f(msg::kFixedFilter);
    if (!f.headersOk({src, dst})) return -1;
    if (src == dst) return f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kRankSame), -1;
    if (src->depth != dst->depth) return f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kRankDepths), -1;
    if (src->nChannels != dst->nChannels) return f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kRankChannels), -1;
    if (src->alphaChannel != dst->alphaChannel) return f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kRankAlphas), -1;
    if (src->alphaChannel != 0 && src->alphaChannel != src->nChannels)
        return f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kRankAlphaLast), -1;
    if (src->depth != ZOL_DEPTH_1U && src->dataOrder != dst->dataOrder)
        return f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kRankOrders), -1;
    const auto [sCoi, dCoi, sCount] = ownRankColours(f, src, dst);
    if (zolGetErrStatus() < 0) return -1;
    if (sCount <= 0) return 0;
    if (uint32_t(filter) > 10u) return f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kUnknowFilter), -1;
    if (filter == ZOL_FILTER_SHARPEN && src->depth == ZOL_DEPTH_1U) return zolCopy(src, dst), 0;

    ownRect r[2];
    int w, h;
    commonSize(src, dst, r, &w, &h);
    if (w <= 0 || h <= 0) return 0;
    int state = 0;
    ZolImage* made = ownCombineMasks(src->maskROI, dst->maskROI, nullptr, &state);
    if (state == kMaskNoMemory || state == kMaskEmpty) return 0;
    const ZolImage* mask = made ? made : src->maskROI ? src->maskROI : dst->maskROI;
    const int K = kShapes[filter].size;
    RankJob J{src, src->borderConst, r[0].x, r[0].y, dst, r[1].x, r[1].y, mask, w, h,
              K, K, K / 2, K / 2, kRankFixed, filter, sCoi, dCoi, sCount};
    ownRankRun(J);
    if (state == kMaskMade) zolDeallocate(made, ZOL_FREE_HEADER | ZOL_FREE_DATA);
    return 0;
}

}  // namespace fixed

NbDriver ownFixedDriver(int depth) {
    switch (depth) {
        case ZOL_DEPTH_1U:
        case ZOL_DEPTH_8U: return &fixed::drive<uint8_t>;
        case ZOL_DEPTH_8S: return &fixed::drive<int8_t>;
        case ZOL_DEPTH_16U: return &fixed::drive<uint16_t>;
        case ZOL_DEPTH_16S: return &fixed::drive<int16_t>;
        case ZOL_DEPTH_32S: return &fixed::drive<int32_t>;
        default: return &fixed::drive<float>;
    }
}

}  // namespace zol

int zolFixedFilter(ZolImage* srcImage, ZolImage* dstImage, int filter) {
    return zol::fixed::front(srcImage, dstImage, filter);
}
