// The frame of the scaled-multiplication and compositing families.
#include "arith/alphaframe.h"

#include <algorithm>

#include "core/image.h"
#include "core/rect.h"

namespace zol {

void ownPlaneInit(const ZolImage* image, const ZolROI* roi, int channel, ownPlaneDescriptor* d) {
    const int bits = depthBits(image->depth);
    const bool pixel = image->dataOrder == ZOL_DATA_ORDER_PIXEL;
    const int64_t r = int64_t(image->width) * (pixel ? image->nChannels : 1);
    int64_t bytes = bits == 1 ? (r + 7) >> 3 : r * (bits >> 3);
    const int64_t a = image->align > 0 ? image->align : 1;
    bytes = (bytes + a - 1) / a * a;
    d->base = image->imageData;
    d->depth = image->depth;
    d->rowStep = bits == 1 ? bytes * 8 : bytes / (bits >> 3);
    d->planeStep = pixel ? 1 : int64_t(image->height) * d->rowStep;
    d->pixelStep = pixel ? image->nChannels : 1;
    const int64_t x = roi ? roi->xOffset : 0, y = roi ? roi->yOffset : 0;
    d->offset = int64_t(channel - 1) * d->planeStep + y * d->rowStep + x * d->pixelStep;
}

MaskPlane MaskPlane::of(const ZolImage* mask) {
    ownPlaneDescriptor d;
    ownPlaneInit(mask, mask->roi, 1, &d);
    MaskPlane m;
    m.base = reinterpret_cast<const uint8_t*>(d.base);
    m.offset = d.offset;
    m.row = d.rowStep;
    return m;
}

int MaskPlane::bits(int y, int x0, int n, uint8_t* out) const {
    int set = 0;
    const int64_t start = offset + int64_t(y) * row + x0;
    for (int i = 0; i < n; ++i) {
        const int64_t b = start + i;
        out[i] = uint8_t((base[b >> 3] >> (7 - (b & 7))) & 1);
        set += out[i];
    }
    return set;
}

AlphaFrame::~AlphaFrame() {
    if (made_) zolDeallocate(made_, ZOL_FREE_HEADER | ZOL_FREE_DATA);
}

bool AlphaFrame::check(const ZolImage* image, const msg::ImageTexts& t, int line) {
    if (!image) {
        fail(ZOL_STATUS_BAD_ARGUMENT, t.null, line);
        return false;
    }
    if (zolCheckImageHeader(image) != 0) {
        fail(zolGetErrStatus(), msg::kIncorrectImage, line);
        return false;
    }
    if (image->alphaChannel > 0 && image->alphaChannel != image->nChannels) {
        fail(ZOL_STATUS_BAD_ARGUMENT, t.alpha, line);
        return false;
    }
    ownRect r;
    ownRoiRect(image, &r);
    w_ = std::min(w_, r.width);
    h_ = std::min(h_, r.height);
    return true;
}

bool AlphaFrame::silentEnd(const ZolImage* image) {
    if (!image->alphaChannel) return false;
    return image->nChannels == 1 || (image->roi && image->roi->coi == image->alphaChannel);
}

bool AlphaFrame::coiAgree(const ZolImage* src, const ZolImage* dst, const msg::ImageTexts& t,
                          int line) const {
    const char* bad = nullptr;
    if (dst->roi && dst->roi->coi > 0) {
        if (!src->roi) bad = t.coi[0];
        else if (src->roi->coi == 0) bad = t.coi[1];
    }
    if (!bad && src->roi && src->roi->coi > 0) {
        if (!dst->roi) bad = t.coi[2];
        else if (dst->roi->coi == 0) bad = t.coi[3];
    }
    if (bad) fail(ZOL_STATUS_BAD_ARGUMENT, bad, line);
    return !bad;
}

bool AlphaFrame::channelsAgree(const ZolImage* src, const ZolImage* dst, const msg::ImageTexts& t,
                               int line) const {
    if (dst->roi && dst->roi->coi > 0) return true;
    if (src->nChannels - (src->alphaChannel != 0) == dst->nChannels - (dst->alphaChannel != 0))
        return true;
    fail(ZOL_STATUS_BAD_ARGUMENT, t.channels, line);
    return false;
}

bool AlphaFrame::gatherMasks(std::initializer_list<const ZolImage*> images, int line) {
    for (const ZolImage* im : images)
        if (im && im->maskROI) masks_[nMasks_++] = im->maskROI;
    for (int i = 0; i < nMasks_; ++i)
        if (!check(masks_[i], msg::kMasksTexts, line)) return false;
    return true;
}

bool AlphaFrame::combineMasks(int line) {
    if (nMasks_ == 0) return !empty();
    if (nMasks_ == 1) {
        mask_ = masks_[0];
        return !empty();
    }
    // An empty common size does nothing: no mask is made for it.
    if (empty()) return false;
    const ZolImage* f = masks_[0];
    made_ = zolCreateImageHeader(f->nChannels, f->alphaChannel, f->depth, f->colorModel,
                                 f->channelSeq, f->dataOrder, f->origin, f->align, w_, h_, nullptr,
                                 nullptr, nullptr, nullptr);
    if (!made_) {
        fail(ZOL_STATUS_NO_MEMORY, msg::kNoWorkingMemory, line);
        return false;
    }
    zolAllocateImage(made_, 0, -1);
    if (!made_->imageData) {
        fail(ZOL_STATUS_NO_MEMORY, msg::kNoWorkingMemory, line);
        return false;
    }
    zolAnd(const_cast<ZolImage*>(masks_[0]), const_cast<ZolImage*>(masks_[1]), made_);
    for (int k = 2; k < nMasks_; ++k) zolAnd(const_cast<ZolImage*>(masks_[k]), made_, made_);
    // The status may also be one left by an earlier call: the product is
    // then not to be trusted either.
    if (zolGetErrStatus() < 0 && fail(ZOL_STATUS_BACKTRACE, msg::kBadMasks, line) != 0)
        return false;
    mask_ = made_;
    return true;
}

void AlphaFrame::run(const TileGroupImage* images, int nImages, const ZolImage* const* gridOrder,
                     int nGrid, int capacity, WindowFn fn, void* context, int line) {
    bool tiled = false;
    for (int i = 0; i < nGrid; ++i) tiled = tiled || (gridOrder[i] && gridOrder[i]->tileInfo);
    if (!tiled) {
        ZolImage* views[8] = {};
        for (int i = 0; i < nImages && i < 8; ++i)
            views[i] = const_cast<ZolImage*>(images[i].image);
        fn(context, views, w_, h_);
        return;
    }
    const int status =
        ownTileGroupWalk(images, nImages, gridOrder, nGrid, capacity, w_, h_, fn, context);
    ownTileGroupReport(status, func_, file_, line);
}

}  // namespace zol
