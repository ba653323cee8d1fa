// The fixed filters: eleven hard-wired 3x3 and 5x5 kernels, each with its
// own exact rounding, run by the rank filters' neighbourhood driver.
//
// Integer depths sum the weights exactly in 64 bits and round by the
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

inline int64_t floorDiv(int64_t a, int64_t b) {
    const int64_t q = a / b;
    return q * b > a ? q - 1 : q;
}

// The integer result of sum s by the filter's rule.
template <class T>
T storeInt(int64_t s, int filter, bool bits) {
    if (bits) return T(s > kShapes[filter].threshold);
    constexpr Range r = rangeOf<T>();
    int64_t v;
    switch (filter) {
        case ZOL_FILTER_GAUSSIAN3: v = (s + 7 + ((s & 16) >> 4)) >> 4; break;
        case ZOL_FILTER_GAUSSIAN5: v = floorDiv(2 * s + 571, 1142); break;
        case ZOL_FILTER_SHARPEN: v = (s + 3 + ((s & 8) >> 3)) >> 3; break;
        default: v = s; break;
    }
    return T(std::clamp(v, r.lo, r.hi));
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
    const bool viaFloat = f32 || (std::is_same_v<T, int32_t> && filter == ZOL_FILTER_GAUSSIAN5);
    NbScratch outMem;
    T* out = outMem.get<T>(n);
    if (!out) return false;
    const T* rows[5];
    for (int l = 0; l < c.nLanes; ++l) {
        NbRows<T> rr;
        const int ch = c.lane == NbLane::Flat || bits ? 0 : c.srcCh[l];
        if (!rr.init(p.src, c.lane, ch, c.srcPix, count, K)) return false;
        NbSink sink = c.sink;
        sink.channel = c.dstCh[l];
        for (int y = 0; y < p.h; ++y) {
            for (int j = 0; j < K; ++j) rows[j] = rr.row(y + j);
            for (int e = 0; e < n; ++e) {
                if (viaFloat) {
                    const float f = floatSum(filter, [&](int j, int i) {
                        return double(float(rows[j][e + int64_t(i) * P]));
                    });
                    if constexpr (f32) out[e] = f;
                    else out[e] = T(f >= 2147483648.0f ? INT32_MAX : f <= -2147483648.0f ? INT32_MIN : std::llrint(f));
                } else if constexpr (!f32) {
                    int64_t s = 0;
                    for (int j = 0; j < K; ++j)
                        for (int i = 0; i < K; ++i) s += int64_t(sh.w[j * K + i]) * rows[j][e + int64_t(i) * P];
                    out[e] = storeInt<T>(s, filter, bits);
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
    const int sCoi = src->roi ? src->roi->coi : 0;
    const int dCoi = dst->roi ? dst->roi->coi : 0;
    const int sCount = (sCoi ? 1 : src->nChannels) - (src->alphaChannel ? 1 : 0);
    const int dCount = (dCoi ? 1 : dst->nChannels) - (dst->alphaChannel ? 1 : 0);
    if (sCoi > src->nChannels) f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kRankSrcCoi);
    if (dCoi > dst->nChannels) f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kRankDstCoi);
    if (sCount != dCount) f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kRankCounts);
    if (zolGetErrStatus() < 0) return -1;
    if (sCount <= 0) return 0;
    if (uint32_t(filter) > 10u) return f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kUnknowFilter), -1;
    if (filter == ZOL_FILTER_SHARPEN && src->depth == ZOL_DEPTH_1U) return zolCopy(src, dst), 0;

    ownRect r[2];
    ownRoiRect(src, &r[0]);
    ownRoiRect(dst, &r[1]);
    int w = std::min(r[0].width, r[1].width), h = std::min(r[0].height, r[1].height);
    for (const ZolImage* im : {src, dst})
        if (const ZolImage* m = im->maskROI) {
            int mw, mh, mx;
            ownRoiData(m, &mw, &mh, 0, &mx);
            w = std::min(w, mw);
            h = std::min(h, mh);
        }
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
