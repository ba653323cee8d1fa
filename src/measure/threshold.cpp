// Threshold: each element of the channel set at or above the threshold
// becomes the destination depth's largest value, every other its smallest.
// Source and destination depths may differ, a 1-bit destination included;
// the walk over rectangle, mask and tile cells is the colour twist's.
#include <cstdint>
#include <type_traits>

#include "measure/threshold.h"

#include "core/cellwalk.h"
#include "core/frame.h"
#include "core/image.h"
#include "core/rect.h"

namespace zol {

namespace plain {
void thresholdRun8(const uint8_t* s, uint8_t* d, size_t n, uint8_t t) {
    for (size_t i = 0; i < n; ++i) d[i] = s[i] >= t ? 255 : 0;
}
}  // namespace plain

namespace {
ThresholdKernels makeTable(Form form) {
    ThresholdKernels k{plain::thresholdRun8};
    thresholdSimd(form, k);
    return k;
}
}  // namespace

const ThresholdKernels& thresholdKernels() { return tableForActiveForm(makeTable); }
Form thresholdForm() { return activeForm(); }

namespace {

constexpr char kThreshold[] = "zolThreshold";

// The 1-bit destination's element type.
struct Bit {};

struct Thr {
    int32_t t;
    int n;                  // channels of each set
    int firstS, firstD;     // first channel of each set, from 0
    bool planeS, planeD;
    ptrdiff_t pixS, pixD;   // elements from pixel to pixel
    int64_t lo, hi;
};

template <class S, class D, bool Masked>
void thresholdRow(void* context, const CellRow& row) {
    const Thr& k = *static_cast<const Thr*>(context);
    const ptrdiff_t cs = k.planeS ? row.srcPlane / ptrdiff_t(sizeof(S)) : 1;
    const S* s = reinterpret_cast<const S*>(row.src) + k.firstS * cs;
    const int32_t t = k.t;
    auto on = [&](int x) {
        const int64_t b = row.maskBit + x;
        return !Masked || ((row.mask[b >> 3] >> (7 - (b & 7))) & 1);
    };
    if constexpr (std::is_same_v<D, Bit>) {
        // One channel; only the bits of the row change.
        auto* d = reinterpret_cast<uint8_t*>(row.dst);
        for (int x = 0; x < row.width; ++x)
            if (on(x)) setBitAt(d, row.dstBit + x, int32_t(s[x * k.pixS]) >= t);
    } else {
        const ptrdiff_t cd = k.planeD ? row.dstPlane / ptrdiff_t(sizeof(D)) : 1;
        if constexpr (std::is_same_v<S, uint8_t> && std::is_same_v<D, uint8_t> && !Masked) {
            // Whole pixels side by side, or one plane's elements: one run.
            const bool run = k.pixS == k.pixD && (k.pixS == 1 || (k.pixS == k.n && cs == 1 && cd == 1));
            if (run && t >= 0) {  // t is in 0..255 for an 8U source
                thresholdKernels().run8(reinterpret_cast<const uint8_t*>(s),
                                        reinterpret_cast<uint8_t*>(row.dst) + k.firstD * cd,
                                        size_t(row.width) * size_t(k.pixS == 1 ? 1 : k.n),
                                        uint8_t(t));
                if (k.pixS == 1)
                    for (int c = 1; c < k.n; ++c)
                        thresholdKernels().run8(reinterpret_cast<const uint8_t*>(s + c * cs),
                                                reinterpret_cast<uint8_t*>(row.dst) + (k.firstD + c) * cd,
                                                size_t(row.width), uint8_t(t));
                return;
            }
        }
        D* d = reinterpret_cast<D*>(row.dst) + k.firstD * cd;
        const D lo = D(k.lo), hi = D(k.hi);
        for (int x = 0; x < row.width; ++x) {
            if (!on(x)) continue;
            for (int c = 0; c < k.n; ++c)
                d[x * k.pixD + c * cd] = int32_t(s[x * k.pixS + c * cs]) >= t ? hi : lo;
        }
    }
}

template <class S, class D>
CellRowKernel pickMask(bool masked) {
    return masked ? thresholdRow<S, D, true> : thresholdRow<S, D, false>;
}

template <class S>
CellRowKernel pickDst(int depth, bool masked) {
    switch (depth) {
        case ZOL_DEPTH_1U: return pickMask<S, Bit>(masked);
        case ZOL_DEPTH_8U: return pickMask<S, uint8_t>(masked);
        case ZOL_DEPTH_8S: return pickMask<S, int8_t>(masked);
        case ZOL_DEPTH_16U: return pickMask<S, uint16_t>(masked);
        case ZOL_DEPTH_16S: return pickMask<S, int16_t>(masked);
        default: return pickMask<S, int32_t>(masked);
    }
}

CellRowKernel pick(int src, int dst, bool masked) {
    switch (src) {
        case ZOL_DEPTH_8U: return pickDst<uint8_t>(dst, masked);
        case ZOL_DEPTH_8S: return pickDst<int8_t>(dst, masked);
        case ZOL_DEPTH_16U: return pickDst<uint16_t>(dst, masked);
        case ZOL_DEPTH_16S: return pickDst<int16_t>(dst, masked);
        default: return pickDst<int32_t>(dst, masked);
    }
}

// The first failed check's words, in order, or NULL.
const char* fault(const ZolImage* s, const ZolImage* d, int T) {
    const int sd = s->depth;
    if (sd == ZOL_DEPTH_32F) return "(srcImage->depth == 32)";
    if (d->depth == ZOL_DEPTH_32F) return "(dstImage->depth == 32)";
    if (sd == ZOL_DEPTH_1U) return "(srcImage->depth == 1)";
    if (s->dataOrder != d->dataOrder && s->nChannels != 1 && d->nChannels != 1)
        return "((srcImage->dataOrder != dstImage->dataOrder)&& ((srcImage->nChannels != 1)&&"
               "(dstImage->nChannels != 1)))";
    if (s->origin != d->origin) return "(srcImage->origin != dstImage->origin)";
    if (s->maskROI && s->origin != s->maskROI->origin)
        return "(srcImage->origin != srcImage->maskROI->origin)";
    if (d->maskROI && d->origin != d->maskROI->origin)
        return "(dstImage->origin != dstImage->maskROI->origin)";
    if (sd == ZOL_DEPTH_8S && T > 127) return "((srcImage->depth == (0x80000000| 8)) && (Threshold > 127))";
    if (sd == ZOL_DEPTH_8S && T < -128) return "((srcImage->depth == (0x80000000| 8)) && (Threshold < -128))";
    if (sd == ZOL_DEPTH_8U && T > 255) return "((srcImage->depth == 8) && (Threshold > 255))";
    if (sd == ZOL_DEPTH_8U && T < 0) return "((srcImage->depth == 8) && (Threshold < 0))";
    if (sd == ZOL_DEPTH_16S && T > 32767) return "((srcImage->depth == (0x80000000|16)) && (Threshold > 32767))";
    if (sd == ZOL_DEPTH_16S && T < -32768) return "((srcImage->depth == (0x80000000|16)) && (Threshold < -32768))";
    if (sd == ZOL_DEPTH_16U && T > 65535) return "((srcImage->depth == 16) && (Threshold > 65535))";
    if (sd == ZOL_DEPTH_16U && T < 0) return "((srcImage->depth == 16) && (Threshold < 0))";
    return nullptr;
}

// Channels taking part and the first of them; false for an alpha channel alone.
bool channels(const ZolImage* im, int& n, int& first) {
    const int coi = im->roi ? im->roi->coi : 0;
    if (im->alphaChannel && (im->nChannels == 1 || coi == im->nChannels)) return false;
    n = coi > 0 ? 1 : im->nChannels - (im->alphaChannel ? 1 : 0);
    first = coi > 0 ? coi - 1 : 0;
    return true;
}

}  // namespace
}  // namespace zol

using namespace zol;

extern "C" ZOL_API void zolThreshold(ZolImage* srcImage, ZolImage* dstImage, int Threshold) {
    const Frame f(kThreshold);
    if (!f.headersOk({srcImage, dstImage})) return;
    if (const char* words = fault(srcImage, dstImage, Threshold)) {
        f.fail(ZOL_STATUS_BAD_ARGUMENT, words);
        return;
    }
    Thr k{};
    int nd = 0;
    if (!channels(srcImage, k.n, k.firstS) || !channels(dstImage, nd, k.firstD)) return;
    if (k.n != nd) {
        f.fail(ZOL_STATUS_BAD_ARGUMENT, "(srcChannels != dstChannels)");
        return;
    }
    k.t = Threshold;
    k.planeS = srcImage->dataOrder == ZOL_DATA_ORDER_PLANE;
    k.planeD = dstImage->dataOrder == ZOL_DATA_ORDER_PLANE;
    k.pixS = k.planeS ? 1 : srcImage->nChannels;
    k.pixD = k.planeD ? 1 : dstImage->nChannels;
    switch (dstImage->depth) {
        case ZOL_DEPTH_8U: k.lo = 0, k.hi = 255; break;
        case ZOL_DEPTH_8S: k.lo = -128, k.hi = 127; break;
        case ZOL_DEPTH_16U: k.lo = 0, k.hi = 65535; break;
        case ZOL_DEPTH_16S: k.lo = -32768, k.hi = 32767; break;
        default: k.lo = INT32_MIN, k.hi = INT32_MAX; break;
    }
    ownCellWalk(f, srcImage, dstImage,
                pick(srcImage->depth, dstImage->depth, cellWalkMasked(srcImage, dstImage)), &k);
}
