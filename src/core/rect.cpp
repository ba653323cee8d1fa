// Region arithmetic, the whole-image test, mask combining and bit-run copy.
#include "core/rect.h"

#include <algorithm>

#include "core/image.h"

namespace zol {

namespace {
// Size of a region along one axis: the ROI cut at the image's far edge. In
// 64-bit, since offset and extent may both be near INT_MAX.
int32_t cutExtent(int32_t imageExtent, int32_t offset, int32_t extent) {
    return int32_t(std::min<int64_t>(extent, int64_t(imageExtent) - offset));
}
}  // namespace

void ownRoiRect(const ZolImage* image, ownRect* rect) {
    if (const ZolROI* roi = image->roi) {
        rect->x = roi->xOffset;
        rect->y = roi->yOffset;
        rect->width = cutExtent(image->width, roi->xOffset, roi->width);
        rect->height = cutExtent(image->height, roi->yOffset, roi->height);
    } else {
        rect->x = 0;
        rect->y = 0;
        rect->width = image->width;
        rect->height = image->height;
    }
}

char* ownRoiData(const ZolImage* image, int* width, int* height, int channel, int* xOffset) {
    const ZolROI* roi = image->roi;
    if (!roi) {
        *width = image->width;
        *height = image->height;
        *xOffset = 0;
        return image->imageData;
    }
    ownRect r;
    ownRoiRect(image, &r);
    *width = std::max(0, r.width);
    *height = std::max(0, r.height);
    *xOffset = roi->xOffset;
    // An empty region is never addressed; its start stays inside the block.
    if (*width == 0 || *height == 0 || !image->imageData) return image->imageData;
    const ptrdiff_t b = elemSize(image->depth);
    const ptrdiff_t step = image->widthStep;
    ptrdiff_t off = step * roi->yOffset;
    if (image->dataOrder == ZOL_DATA_ORDER_PIXEL)
        off += (ptrdiff_t(roi->xOffset) * image->nChannels + channel) * b;
    else
        off += ptrdiff_t(image->height) * step * channel + b * roi->xOffset;
    return image->imageData + off;
}

bool ownIsWholeImage(const ZolImage* a, const ZolImage* b, bool hasAlpha) {
    if (hasAlpha) return false;
    if (a->height != b->height || a->width != b->width || a->imageSize != b->imageSize ||
        a->align != b->align)
        return false;
    auto whole = [](const ZolImage* im) {
        const ZolROI* r = im->roi;
        if (!r) return true;
        return r->xOffset == 0 && r->yOffset == 0 && r->width >= im->width &&
               r->height >= im->height && (r->coi == 0 || (r->coi == 1 && im->nChannels == 1));
    };
    return whole(a) && whole(b);
}

ZolImage* ownCombineMasks(const ZolImage* maskA, const ZolImage* maskB, const ZolImage* maskC,
                          int* state) {
    const ZolImage* masks[3];
    int n = 0;
    for (const ZolImage* m : {maskA, maskB, maskC})
        if (m) masks[n++] = m;
    *state = kMaskNone;
    if (n == 0) return nullptr;
    if (n == 1) return const_cast<ZolImage*>(masks[0]);

    *state = kMaskMade;
    const uint8_t* rows[3];
    int64_t offsets[3];
    int W = 0, H = 0;
    for (int i = 0; i < n; ++i) {
        int w, h, x;
        rows[i] = reinterpret_cast<const uint8_t*>(ownRoiData(masks[i], &w, &h, 0, &x));
        offsets[i] = x;
        W = i ? std::min(W, w) : w;
        H = i ? std::min(H, h) : h;
    }
    if (W == 0 || H == 0) {
        *state = kMaskEmpty;
        return nullptr;
    }
    static const char kGray[4] = {'G', 'R', 'A', 'Y'};
    static const char kSeq[4] = {'G', 0, 0, 0};
    ZolImage* out = zolCreateImageHeader(1, 0, ZOL_DEPTH_1U, kGray, kSeq, ZOL_DATA_ORDER_PLANE,
                                         masks[0]->origin, ZOL_ALIGN_QWORD, W, H, nullptr,
                                         nullptr, nullptr, nullptr);
    if (out) zolAllocateImage(out, 0, 0);
    if (!out || !out->imageData) {
        zolDeallocate(out, ZOL_FREE_HEADER);
        *state = kMaskNoMemory;
        return nullptr;
    }
    auto and2 = [](unsigned a, unsigned b) { return a & b; };
    auto and3 = [](unsigned a, unsigned b, unsigned c) { return a & b & c; };
    for (int r = 0; r < H; ++r) {
        auto* dst = reinterpret_cast<uint8_t*>(out->imageData) + ptrdiff_t(r) * out->widthStep;
        auto src = [&](int i) {
            return BitSrc{rows[i] + ptrdiff_t(r) * masks[i]->widthStep, offsets[i]};
        };
        if (n == 2) mapBitRow(dst, 0, W, and2, src(0), src(1));
        else mapBitRow(dst, 0, W, and3, src(0), src(1), src(2));
    }
    return out;
}

void ownCopyBitRow(const uint8_t* src, uint8_t* dst, int srcBit, int dstBit, int64_t count) {
    mapBitRow(dst, dstBit, count, [](unsigned v) { return v; }, BitSrc{src, srcBit});
}

}  // namespace zol
