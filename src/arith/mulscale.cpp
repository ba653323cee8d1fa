// zolMultiplyScale and zolMultiplySScale: products scaled so that the top
// of the depth is 1.0.
#include "arith/mulscale.h"

#include "arith/alpha.h"

#include <algorithm>

namespace zol {

namespace {

// Separate loops for the in-place cases: with restrict-qualified distinct
// pointers the compiler vectorises them without a run-time overlap test
// that in-place calls would fail.
template <class T>
void runDistinct(T* d, const T* a, const T* b, size_t n) {
    for (size_t i = 0; i < n; ++i) d[i] = mulScale<T>(a[i], b[i]);
}
template <class T>
void runInPlace(T* __restrict d, const T* __restrict b, size_t n) {
    for (size_t i = 0; i < n; ++i) d[i] = mulScale<T>(d[i], b[i]);
}
template <class T>
void runSquare(T* __restrict d, size_t n) {
    for (size_t i = 0; i < n; ++i) d[i] = mulScale<T>(d[i], d[i]);
}
template <class T>
void runConst(T* __restrict d, const T* __restrict a, uint32_t v, size_t n) {
    for (size_t i = 0; i < n; ++i) d[i] = mulScale<T>(a[i], v);
}
template <class T>
void runConstInPlace(T* __restrict d, uint32_t v, size_t n) {
    for (size_t i = 0; i < n; ++i) d[i] = mulScale<T>(d[i], v);
}

}  // namespace

template <class T>
void mulScaleRun(T* d, const T* a, const T* b, size_t n) {
    if (d == a && d == b) runSquare(d, n);
    else if (d == a) runInPlace(d, b, n);
    else if (d == b) runInPlace(d, a, n);
    else runDistinct(d, a, b, n);
}

template <class T>
void mulScaleRunS(T* d, const T* a, uint32_t v, size_t n) {
    if (d == a) runConstInPlace(d, v, n);
    else runConst(d, a, v, n);
}

template void mulScaleRun<uint8_t>(uint8_t*, const uint8_t*, const uint8_t*, size_t);
template void mulScaleRun<uint16_t>(uint16_t*, const uint16_t*, const uint16_t*, size_t);
template void mulScaleRunS<uint8_t>(uint8_t*, const uint8_t*, uint32_t, size_t);
template void mulScaleRunS<uint16_t>(uint16_t*, const uint16_t*, uint32_t, size_t);

namespace {

// What one call multiplies: views are dst, srcA, srcB (NULL for the
// constant form), mask.
struct MulCall {
    bool constant;
    uint32_t value;
};

template <class T>
void mulRegion(const MulCall& call, ZolImage* const* v, int w, int h) {
    ZolImage* dst = v[0];
    const ZolImage* a = v[1];
    const ZolImage* b = call.constant ? nullptr : v[2];
    const ZolImage* mask = v[3];
    const bool coi = dst->roi && dst->roi->coi > 0;
    const int n = coi ? 1 : dst->nChannels;
    int alpha = std::max(dst->alphaChannel, a->alphaChannel);
    if (b) alpha = std::max(alpha, b->alphaChannel);
    auto first = [&](const ZolImage* im) { return coi ? im->roi->coi : 1; };
    const Plane<T> pd = Plane<T>::of(dst, first(dst));
    const Plane<T> pa = Plane<T>::of(a, first(a));
    const Plane<T> pb = b ? Plane<T>::of(b, first(b)) : Plane<T>();
    const int order = dst->dataOrder;
    const bool sameOrder = a->dataOrder == order && (!b || b->dataOrder == order);
    const AlphaKernels& k = alphaKernels();
    auto run = [&](T* d, const T* x, const T* y, size_t len) {
        if constexpr (sizeof(T) == 1) {
            if (call.constant) k.mulS8(d, x, call.value, len);
            else k.mul8(d, x, y, len);
        } else {
            if (call.constant) k.mulS16(d, x, call.value, len);
            else k.mul16(d, x, y, len);
        }
    };

    if (!mask && sameOrder) {
        const bool plane = order == ZOL_DATA_ORDER_PLANE;
        if ((plane && n == 1) || (!plane && n == dst->nChannels && alpha == 0)) {
            const size_t len = size_t(w) * size_t(plane ? 1 : n);
            for (int y = 0; y < h; ++y) run(pd.at(y), pa.at(y), b ? pb.at(y) : nullptr, len);
            return;
        }
        if (plane) {
            for (int k = 0; k < n; ++k) {
                if (k + 1 == alpha) continue;
                for (int y = 0; y < h; ++y)
                    run(pd.at(y, k), pa.at(y, k), b ? pb.at(y, k) : nullptr, size_t(w));
            }
            return;
        }
    }
    // Element by element, each image by its own steps; a clear mask bit
    // leaves the pixel alone.
    const MaskPlane pm = mask ? MaskPlane::of(mask) : MaskPlane();
    constexpr int kChunk = 256;
    uint8_t bits[kChunk];
    for (int y = 0; y < h; ++y) {
        for (int x0 = 0; x0 < w; x0 += kChunk) {
            const int len = std::min(kChunk, w - x0);
            if (mask && pm.bits(y, x0, len, bits) == 0) continue;
            for (int k = 0; k < n; ++k) {
                if (k + 1 == alpha) continue;
                T* d = pd.at(y, k) + x0 * pd.px;
                const T* s = pa.at(y, k) + x0 * pa.px;
                const T* t = b ? pb.at(y, k) + x0 * pb.px : nullptr;
                for (int i = 0; i < len; ++i) {
                    if (mask && !bits[i]) continue;
                    const uint32_t f = b ? uint32_t(t[i * pb.px]) : call.value;
                    d[i * pd.px] = mulScale<T>(s[i * pa.px], f);
                }
            }
        }
    }
}

void mulWindow(void* context, ZolImage* const* views, int w, int h) {
    const MulCall& call = *static_cast<const MulCall*>(context);
    if (views[0]->depth == ZOL_DEPTH_8U) mulRegion<uint8_t>(call, views, w, h);
    else mulRegion<uint16_t>(call, views, w, h);
}

// The checks of both front ends, in their order; b is NULL for the
// constant form.
void mulFront(const char* func, ZolImage* a, ZolImage* b, ZolImage* dst, bool constant,
              int value) {
    AlphaFrame f(func);
    const msg::ImageTexts& ta = constant ? msg::kSrcImageTexts : msg::kSrcImageATexts;
    if (!f.check(dst, msg::kDstImageTexts)) return;
    if (!f.check(a, ta)) return;
    if (!constant && !f.check(b, msg::kSrcImageBTexts)) return;
    if (f.silentEnd(a) || (b && f.silentEnd(b)) || f.silentEnd(dst)) return;
    if (dst->depth != ZOL_DEPTH_8U && dst->depth != ZOL_DEPTH_16U) {
        f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kDstDepth8or16);
        return;
    }
    if (a->depth != dst->depth) {
        f.fail(ZOL_STATUS_BAD_ARGUMENT, ta.depth);
        return;
    }
    if (b && b->depth != dst->depth) {
        f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kSrcImageBTexts.depth);
        return;
    }
    if (!f.coiAgree(a, dst, ta)) return;
    if (b && !f.coiAgree(b, dst, msg::kSrcImageBTexts)) return;
    if (!f.channelsAgree(a, dst, ta)) return;
    if (b && !f.channelsAgree(b, dst, msg::kSrcImageBTexts)) return;
    if (!f.gatherMasks({dst, a, b})) return;
    if (!f.combineMasks()) return;

    MulCall call{constant, 0};
    if (constant) {
        const int top = int(dst->depth == ZOL_DEPTH_8U ? kTop<uint8_t> : kTop<uint16_t>);
        call.value = uint32_t(std::clamp(value, 0, top));
    }
    const TileGroupImage images[4] = {{dst, ZOL_TILE_WRITE},
                                      {a, ZOL_TILE_READ},
                                      {b, ZOL_TILE_READ},
                                      {f.mask(), ZOL_TILE_READ}};
    const ZolImage* grid[3] = {dst, a, b};
    f.run(images, 4, grid, 3, constant ? 3 : 4, mulWindow, &call);
}

}  // namespace
}  // namespace zol

using namespace zol;

extern "C" {

ZOL_API void zolMultiplyScale(ZolImage* srcImageA, ZolImage* srcImageB, ZolImage* dstImage) {
    mulFront(msg::kMultiplyScale, srcImageA, srcImageB, dstImage, false, 0);
}

ZOL_API void zolMultiplySScale(ZolImage* srcImage, ZolImage* dstImage, int value) {
    mulFront(msg::kMultiplySScale, srcImage, nullptr, dstImage, true, value);
}

}  // extern "C"
