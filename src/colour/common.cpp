// The common frame of the colour family: name checks, channel addressing and
// the destination-led tile walk.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "colour/colour.h"
#include "core/border.h"
#include "core/image.h"
#include "core/messages.h"

namespace zol {

namespace {
constexpr char kLong[] =
    "(src->nChannels < 3 ) || (dst->nChannels != 3 ) || (src->depth != dst->depth) || "
    "(src->dataOrder != dst->dataOrder) || (src->origin != dst->origin)";
constexpr char kRoi[] = "src & dst roi must be NULL";

bool shapeOk(const Frame& f, const ZolImage* src, const ZolImage* dst, bool checkDepth) {
    if (src->roi || dst->roi) {
        f.fail(ZOL_STATUS_BAD_ARGUMENT, kRoi);
        return false;
    }
    if (src->nChannels < 3 || dst->nChannels != 3 || (checkDepth && src->depth != dst->depth) ||
        src->dataOrder != dst->dataOrder || src->origin != dst->origin) {
        f.fail(ZOL_STATUS_BAD_ARGUMENT, kLong);
        return false;
    }
    return true;
}
}  // namespace

bool modelIs(const char* field, const char* name) { return std::strncmp(field, name, 3) == 0; }

bool isRgbImage(const ZolImage* im) {
    return modelIs(im->colorModel, "RGB") &&
           (modelIs(im->channelSeq, "RGB") || modelIs(im->channelSeq, "BGR"));
}

bool isGrayImage(const ZolImage* im) {
    return (modelIs(im->colorModel, "Gra") || modelIs(im->colorModel, "GRA")) &&
           im->channelSeq[0] == 'G';
}

bool colourFromRgbChecks(const Frame& f, const ZolImage* src, const ZolImage* dst,
                         bool checkDepth) {
    if (!f.headersOk({src, dst})) return false;
    char text[96];
    if (!modelIs(src->colorModel, "RGB")) {
        std::snprintf(text, sizeof text, "colorModel must be RGB instead of %.4s ", src->colorModel);
        f.fail(ZOL_STATUS_BAD_ARGUMENT, text);
        return false;
    }
    if (!modelIs(src->channelSeq, "RGB") && !modelIs(src->channelSeq, "BGR")) {
        std::snprintf(text, sizeof text, "channelSeq must be RGB or BGR instead of %.4s ",
                      src->channelSeq);
        f.fail(ZOL_STATUS_BAD_ARGUMENT, text);
        return false;
    }
    return shapeOk(f, src, dst, checkDepth);
}

bool colourToRgbChecks(const Frame& f, const ZolImage* src, const ZolImage* dst,
                       const char* name, bool checkDepth) {
    if (!f.headersOk({src, dst})) return false;
    char text[96];
    if (!modelIs(src->colorModel, name)) {
        std::snprintf(text, sizeof text, "src-> colorModel must be %.4s instead of %.4s", name,
                      src->colorModel);
        f.fail(ZOL_STATUS_BAD_ARGUMENT, text);
        return false;
    }
    if (!modelIs(src->channelSeq, name)) {
        std::snprintf(text, sizeof text, "src-> channelSeq must be %.4s instead of %.4s", name,
                      src->channelSeq);
        f.fail(ZOL_STATUS_BAD_ARGUMENT, text);
        return false;
    }
    return shapeOk(f, src, dst, checkDepth);
}

void rgbChannels(const ZolImage* im, char* base, ptrdiff_t step, ptrdiff_t plane, Chan out[3],
                 char* sink) {
    const ptrdiff_t es = elemSize(im->depth);
    if (im->dataOrder == ZOL_DATA_ORDER_PIXEL) {
        const ptrdiff_t pix = es * im->nChannels;
        const bool red0 = im->channelSeq[0] == 'R';
        for (int k = 0; k < 3; ++k) out[k] = Chan{base + es * (red0 ? k : 2 - k), pix, step};
        return;
    }
    static const char kLetters[3] = {'R', 'G', 'B'};
    for (int k = 0; k < 3; ++k) {
        out[k] = Chan{sink, 0, 0};
        for (int i = 0; i < 4 && i < im->nChannels; ++i)
            if (im->channelSeq[i] == kLetters[k]) {
                out[k] = Chan{base + plane * i, es, step};
                break;
            }
    }
}

void plainChannels(const ZolImage* im, char* base, ptrdiff_t step, ptrdiff_t plane,
                   Chan out[3]) {
    const ptrdiff_t es = elemSize(im->depth);
    const bool pixel = im->dataOrder == ZOL_DATA_ORDER_PIXEL;
    for (int k = 0; k < 3; ++k)
        out[k] = pixel ? Chan{base + es * k, es * im->nChannels, step}
                       : Chan{base + plane * k, es, step};
}

DstTiles::DstTiles(ZolImage* dst) : dst_(dst), tiled_(dst->imageData == nullptr) {
    x = y = width = height = 0;
    column = row = -1;
    data = nullptr;
    step = plane = 0;
}

bool DstTiles::next() {
    if (!tiled_) {
        if (done_) return false;
        done_ = true;
        x = y = 0;
        width = dst_->width;
        height = dst_->height;
        data = dst_->imageData;
        step = dst_->widthStep;
        plane = ptrdiff_t(dst_->height) * step;
        return true;
    }
    const ZolTileInfo* info = dst_->tileInfo;
    if (done_) return false;
    if (column < 0) column = row = 0;
    else column += 1;
    info->callBack(dst_, column, row, ZOL_TILE_WRITE);
    if (!info->tileData) {
        column = 0;
        row += 1;
        info->callBack(dst_, column, row, ZOL_TILE_WRITE);
        if (!info->tileData) {
            done_ = true;
            return false;
        }
    }
    data = static_cast<char*>(info->tileData);
    x = column * info->width;
    y = row * info->height;
    width = std::max(0, std::min(info->width, dst_->width - x));
    height = std::max(0, std::min(info->height, dst_->height - y));
    step = ownTileStep(dst_);
    plane = ptrdiff_t(info->height) * step;
    return true;
}

void DstTiles::release() {
    if (tiled_) dst_->tileInfo->callBack(dst_, column, row, ZOL_TILE_RELEASE);
}

bool ownColourWalk(const Frame& f, const ZolImage* src, ZolImage* dst, ColourKernel kernel,
                   void* context, int line) {
    if (!src->tileInfo && !dst->tileInfo) {
        ColourPiece p{src->imageData, src->widthStep, ptrdiff_t(src->height) * src->widthStep,
                      dst->imageData, dst->widthStep, ptrdiff_t(dst->height) * dst->widthStep,
                      std::min(src->width, dst->width), std::min(src->height, dst->height), 0};
        kernel(context, src, dst, p);
        return true;
    }
    DstTiles t(dst);
    while (t.next()) {
        if (t.width > 0 && t.height > 0) {
            int stride = 0;
            void* block = ownGetRect(src, t.x, t.y, t.width, t.height, &stride);
            if (!block) {
                t.release();
                f.fail(ZOL_STATUS_NO_MEMORY, msg::kOutOfMemory, line);
                return false;
            }
            ColourPiece p{static_cast<const char*>(block), stride, ptrdiff_t(stride) * t.height,
                          t.data, t.step, t.plane, t.width, t.height, t.y};
            kernel(context, src, dst, p);
            zolFree(block);
        }
        t.release();
    }
    return true;
}

}  // namespace zol
