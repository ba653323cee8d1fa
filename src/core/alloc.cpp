// Aligned allocators, image headers and their pixels, ROI and tile records,
// and the complete header check.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "core/heap.h"
#include "core/image.h"
#include "core/messages.h"
#include "core/report.h"

namespace zol {

bool isKnownDepth(int depth) {
    switch (depth) {
        case ZOL_DEPTH_1U: case ZOL_DEPTH_8U: case ZOL_DEPTH_8S: case ZOL_DEPTH_16U:
        case ZOL_DEPTH_16S: case ZOL_DEPTH_32S: case ZOL_DEPTH_32F:
            return true;
        default:
            return false;
    }
}

int64_t ownCalcStep(int dataOrder, int depth, int align, int nChannels, int width) {
    // width x bits fits in 37 bits; with the channels it may not, and a step
    // past INT64_MAX / 16 is as unusable as any that overflows an int.
    const int64_t rowBits = int64_t(width) * depthBits(depth);
    const int64_t n = dataOrder == ZOL_DATA_ORDER_PLANE ? 1 : int64_t(nChannels);
    int64_t bits;
    if (__builtin_mul_overflow(rowBits, n, &bits) || bits > INT64_MAX / 16) return INT64_MAX / 16;
    const int64_t a = int64_t(align) * 8;
    return ((bits + a - 1) & ~(a - 1)) >> 3;
}

int64_t ownCalcSize(int dataOrder, int nChannels, int height, int64_t step) {
    int64_t rows, size;
    if (__builtin_mul_overflow(int64_t(height),
                               int64_t(dataOrder == ZOL_DATA_ORDER_PLANE ? nChannels : 1), &rows) ||
        __builtin_mul_overflow(rows, step, &size))
        return INT64_MAX;
    return size;
}

int ownTileStep(const ZolImage* image) {
    if (!image || !image->tileInfo || image->tileInfo->width <= 0 || image->nChannels <= 0 ||
        !isKnownDepth(image->depth) || (image->align != 4 && image->align != 8) ||
        (image->dataOrder != 0 && image->dataOrder != 1))
        return 0;
    const int64_t step = ownCalcStep(image->dataOrder, image->depth, image->align,
                                     image->nChannels, image->tileInfo->width);
    return step > INT32_MAX ? 0 : int(step);
}

namespace {
thread_local int tFailIn = 0;
}  // namespace

void* heapAlloc(size_t bytes) {
    if (tFailIn > 0 && --tFailIn == 0) return nullptr;
    return std::malloc(bytes);
}
void heapFree(void* p) { std::free(p); }
void setHeapFailure(int n) { tFailIn = n > 0 ? n : 0; }

namespace {

constexpr size_t kAlignment = 32;

void* alignedMalloc(int length, size_t elementSize) {
    if (length < 0) return nullptr;
    const size_t bytes = size_t(length) * elementSize + kAlignment + sizeof(void*);
    char* raw = static_cast<char*>(heapAlloc(bytes));
    if (!raw) return nullptr;
    const uintptr_t at = (reinterpret_cast<uintptr_t>(raw) + sizeof(void*) + kAlignment - 1) &
                         ~uintptr_t(kAlignment - 1);
    char* result = raw + (at - reinterpret_cast<uintptr_t>(raw));
    std::memcpy(result - sizeof(void*), &raw, sizeof raw);
    return result;
}

// Deepest mask-of-mask chain that is followed; a longer one (a cycle) is
// refused rather than recursed into without end.
constexpr int kMaxMaskChain = 32;

// Checks 10 to 12 of header creation and 14 to 16 of the header check.
int checkMaskOf(const ZolImage* mask, int chain);

// The shape checks shared by creation and allocation: size, channels,
// depth, alpha, order, origin, align (models are checked by the caller).
int checkLayout(int nChannels, int alphaChannel, int depth, int dataOrder, int origin, int align,
                int width, int height, bool models) {
    if (height <= 0 || width <= 0) return ZOL_STATUS_BAD_SIZE;
    if (nChannels <= 0) return ZOL_STATUS_BAD_CHANNELS;
    if (nChannels != 1 && depth == ZOL_DEPTH_1U) return ZOL_STATUS_BAD_1U_CHANNELS;
    if (!models) return ZOL_STATUS_BAD_MODEL;
    if (!isKnownDepth(depth)) return ZOL_STATUS_BAD_DEPTH;
    if (alphaChannel != 0 && alphaChannel != nChannels) return ZOL_STATUS_BAD_ALPHA;
    if (dataOrder != ZOL_DATA_ORDER_PIXEL && dataOrder != ZOL_DATA_ORDER_PLANE)
        return ZOL_STATUS_BAD_ORDER;
    if (origin != ZOL_ORIGIN_TL && origin != ZOL_ORIGIN_BL) return ZOL_STATUS_BAD_ORIGIN;
    if (align != ZOL_ALIGN_DWORD && align != ZOL_ALIGN_QWORD) return ZOL_STATUS_BAD_ALIGN;
    return 0;
}

// Step and size of the formulas, or false when they do not fit an int.
bool layoutSizes(int dataOrder, int depth, int align, int nChannels, int width, int height,
                 int* step, int* size) {
    const int64_t s = ownCalcStep(dataOrder, depth, align, nChannels, width);
    const int64_t n = ownCalcSize(dataOrder, nChannels, height, s);
    if (s <= 0 || s > INT32_MAX || n <= 0 || n > INT32_MAX) return false;
    *step = int(s);
    *size = int(n);
    return true;
}

int checkHeader(const ZolImage* image, int chain) {
    if (!image) return ZOL_STATUS_NULL_HEADER;
    const bool tiled = image->tileInfo != nullptr;
    if (!image->imageData && !tiled) return ZOL_STATUS_BAD_DATA_POINTERS;
    if (image->imageData && tiled) return ZOL_STATUS_BAD_DATA_POINTERS;
    if (image->imageSize <= 0 && !tiled) return ZOL_STATUS_BAD_SIZE;
    if (image->widthStep <= 0 && !tiled) return ZOL_STATUS_BAD_WIDTH_STEP;
    if (image->width <= 0 || image->height <= 0) return ZOL_STATUS_BAD_SIZE;
    if (image->nChannels <= 0) return ZOL_STATUS_BAD_CHANNELS;
    if (image->nChannels != 1 && image->depth == ZOL_DEPTH_1U) return ZOL_STATUS_BAD_1U_CHANNELS;
    if (!isKnownDepth(image->depth)) return ZOL_STATUS_BAD_DEPTH;
    if (image->alphaChannel != 0 && image->alphaChannel != image->nChannels)
        return ZOL_STATUS_BAD_ALPHA;
    if (image->dataOrder != ZOL_DATA_ORDER_PIXEL && image->dataOrder != ZOL_DATA_ORDER_PLANE)
        return ZOL_STATUS_BAD_ORDER;
    if (image->origin != ZOL_ORIGIN_TL && image->origin != ZOL_ORIGIN_BL)
        return ZOL_STATUS_BAD_ORIGIN;
    if (image->align != ZOL_ALIGN_DWORD && image->align != ZOL_ALIGN_QWORD)
        return ZOL_STATUS_BAD_ALIGN;
    if (int r = checkMaskOf(image->maskROI, chain)) return r;
    if (tiled) {
        const ZolTileInfo* t = image->tileInfo;
        if (!t->callBack) return ZOL_STATUS_NULL_CALLBACK;
        if (t->width <= 0 || t->height <= 0 || t->width % 8 != 0 || t->height % 8 != 0)
            return ZOL_STATUS_BAD_TILE_SIZE;
    }
    if (const ZolROI* roi = image->roi) {
        if (roi->coi < 0 || roi->coi > image->nChannels) return ZOL_STATUS_BAD_COI;
        if (roi->height <= 0 || roi->width <= 0) return ZOL_STATUS_BAD_ROI_SIZE;
        if (roi->xOffset < 0 || roi->yOffset < 0) return ZOL_STATUS_BAD_ROI_OFFSET;
    }
    return 0;
}

int checkMaskOf(const ZolImage* mask, int chain) {
    if (!mask) return 0;
    if (mask->depth != ZOL_DEPTH_1U) return ZOL_STATUS_BAD_DEPTH - ZOL_MASK_STATUS_OFFSET;
    if (mask->tileInfo) return ZOL_STATUS_MASK_TILED;
    if (chain >= kMaxMaskChain) return ZOL_STATUS_BAD_ARGUMENT - ZOL_MASK_STATUS_OFFSET;
    // The mask's own check stores its own status, which the caller's
    // status then overwrites.
    const int r = checkHeader(mask, chain + 1);
    if (r != 0) {
        zolSetErrStatus(r);
        return r - ZOL_MASK_STATUS_OFFSET;
    }
    return 0;
}

uint32_t fillPattern(int depth, int fillValue) {
    const uint32_t v = uint32_t(fillValue);
    switch (depthBits(depth)) {
        case 1: return (v & 1) ? 0xFFFFFFFFu : 0u;
        case 8: return (v & 0xFF) * 0x01010101u;
        case 16: return (v & 0xFFFF) * 0x00010001u;
        default: return v;
    }
}

// Steps 5 to 9 of pixel allocation, after the function's own checks.
void allocatePixels(ZolImage* image, const char* func, bool doFill, uint32_t pattern) {
    int r = checkLayout(image->nChannels, image->alphaChannel, image->depth, image->dataOrder,
                        image->origin, image->align, image->width, image->height, true);
    if (!r) r = checkMaskOf(image->maskROI, 0);
    int step = 0, size = 0;
    if (!r && !layoutSizes(image->dataOrder, image->depth, image->align, image->nChannels,
                           image->width, image->height, &step, &size))
        r = ZOL_STATUS_BAD_SIZE;
    if (r) {
        report(r, func, msg::kIncorrectDataIns);
        return;
    }
    char* base = static_cast<char*>(heapAlloc(size_t(size) + size_t(image->align) - 1));
    image->dataBase = base;
    if (!base) return;
    image->imageSize = size;
    image->widthStep = step;
    const uintptr_t a = uintptr_t(image->align) - 1;
    image->imageData = base + (((reinterpret_cast<uintptr_t>(base) + a) & ~a) -
                               reinterpret_cast<uintptr_t>(base));
    if (doFill) {
        char* p = image->imageData;
        for (int i = 0; i + 4 <= size; i += 4) std::memcpy(p + i, &pattern, 4);
    }
}

}  // namespace
}  // namespace zol

using namespace zol;

extern "C" {

ZOL_API void* zolMalloc(int length) { return alignedMalloc(length, 1); }
ZOL_API void* zolwMalloc(int length) { return alignedMalloc(length, 2); }
ZOL_API void* zoliMalloc(int length) { return alignedMalloc(length, 4); }
ZOL_API void* zolsMalloc(int length) __attribute__((alias("zoliMalloc")));
ZOL_API void* zoldMalloc(int length) { return alignedMalloc(length, 8); }

ZOL_API void zolFree(void* pointer) {
    if (!pointer) return;
    void* raw;
    std::memcpy(&raw, static_cast<char*>(pointer) - sizeof(void*), sizeof raw);
    heapFree(raw);
}

ZOL_API ZolImage* zolCreateImageHeader(int nChannels, int alphaChannel, int depth,
                                       const char* colorModel, const char* channelSeq,
                                       int dataOrder, int origin, int align, int width,
                                       int height, ZolROI* roi, ZolImage* maskROI,
                                       void* imageTag, ZolTileInfo* tileInfo) {
    int r = checkLayout(nChannels, alphaChannel, depth, dataOrder, origin, align, width, height,
                        colorModel && channelSeq);
    if (!r) r = checkMaskOf(maskROI, 0);
    int step = 0, size = 0;
    if (!r && !layoutSizes(dataOrder, depth, align, nChannels, width, height, &step, &size))
        r = ZOL_STATUS_BAD_SIZE;
    if (r) {
        report(r, msg::kCreateImageHeader, msg::kIncorrectDataIns);
        return nullptr;
    }
    auto* image = static_cast<ZolImage*>(zolMalloc(sizeof(ZolImage)));
    if (!image) return nullptr;
    std::memset(image, 0, sizeof *image);
    image->headerSize = sizeof(ZolImage);
    image->headerVersion = 0;
    image->nChannels = nChannels;
    image->alphaChannel = alphaChannel;
    image->depth = depth;
    std::memcpy(image->colorModel, colorModel, 4);
    std::memcpy(image->channelSeq, channelSeq, 4);
    image->dataOrder = dataOrder;
    image->origin = origin;
    image->align = align;
    image->width = width;
    image->height = height;
    image->roi = roi;
    image->maskROI = maskROI;
    image->imageTag = imageTag;
    image->tileInfo = tileInfo;
    image->widthStep = step;
    image->imageSize = size;
    zolSetBorderMode(image, ZOL_BORDER_CONSTANT, ZOL_SIDE_TOP | ZOL_SIDE_BOTTOM | ZOL_SIDE_LEFT |
                                                    ZOL_SIDE_RIGHT, 0);
    return image;
}

ZOL_API void zolAllocateImage(ZolImage* image, int doFill, int fillValue) {
    if (!image) { report(ZOL_STATUS_BAD_ARGUMENT, msg::kAllocateImage, msg::kImageNull); return; }
    if (image->imageData) {
        report(ZOL_STATUS_BAD_ARGUMENT, msg::kAllocateImage, msg::kImageDataNotNull);
        return;
    }
    if (image->tileInfo) {
        report(ZOL_STATUS_BAD_ARGUMENT, msg::kAllocateImage, msg::kTileInfoNotNull);
        return;
    }
    if (image->depth == ZOL_DEPTH_32F) {
        report(ZOL_STATUS_BAD_ARGUMENT, msg::kAllocateImage, msg::kDepthIs32);
        return;
    }
    allocatePixels(image, msg::kAllocateImage, doFill != 0, fillPattern(image->depth, fillValue));
}

ZOL_API void zolAllocateImageFP(ZolImage* image, int doFill, float fillValue) {
    if (!image) {
        report(ZOL_STATUS_BAD_ARGUMENT, msg::kAllocateImageFP, msg::kImageNull);
        return;
    }
    if (image->imageData) {
        report(ZOL_STATUS_BAD_ARGUMENT, msg::kAllocateImageFP, msg::kImageDataNotNull);
        return;
    }
    if (image->tileInfo) {
        report(ZOL_STATUS_BAD_ARGUMENT, msg::kAllocateImageFP, msg::kTileInfoNotNull);
        return;
    }
    if (image->depth != ZOL_DEPTH_32F) {
        report(ZOL_STATUS_BAD_ARGUMENT, msg::kAllocateImageFP, msg::kDepthIsNot32);
        return;
    }
    uint32_t pattern;
    std::memcpy(&pattern, &fillValue, 4);
    allocatePixels(image, msg::kAllocateImageFP, doFill != 0, pattern);
}

ZOL_API void zolDeallocateImage(ZolImage* image) {
    if (!image) return;  // documented as not allowed; refusing costs nothing
    heapFree(image->dataBase);
    image->imageData = nullptr;
    image->dataBase = nullptr;
}

ZOL_API void zolDeallocate(ZolImage* image, int flag) {
    if (!image) return;
    if ((flag & ZOL_FREE_ROI) && image->roi) {
        zolFree(image->roi);
        image->roi = nullptr;
    }
    if ((flag & ZOL_FREE_MASK) && image->maskROI) {
        zolDeallocate(image->maskROI,
                      ZOL_FREE_HEADER | ZOL_FREE_DATA | ZOL_FREE_ROI | ZOL_FREE_TILE);
        image->maskROI = nullptr;
    }
    if ((flag & ZOL_FREE_TILE) && image->tileInfo) {
        zolFree(image->tileInfo);
        image->tileInfo = nullptr;
    }
    if (flag & ZOL_FREE_DATA) zolDeallocateImage(image);
    if (flag & ZOL_FREE_HEADER) zolFree(image);
}

ZOL_API void zolDeallocateHeader(ZolImage* image) { zolDeallocate(image, ZOL_FREE_HEADER); }

ZOL_API ZolImage* zolCloneImage(const ZolImage* image) {
    if (zolCheckImageHeader(image) != 0) {
        report(zolGetErrStatus(), msg::kCloneImage, msg::kIncorrectImage);
        return nullptr;
    }
    ZolImage* clone = zolCreateImageHeader(
        image->nChannels, image->alphaChannel, image->depth, image->colorModel, image->channelSeq,
        image->dataOrder, image->origin, image->align, image->width, image->height, nullptr,
        nullptr, nullptr, nullptr);
    if (!clone) {
        report(ZOL_STATUS_NO_MEMORY, msg::kCloneImage, msg::kCloneNoHeader);
        return nullptr;
    }
    std::memcpy(clone, image, sizeof(ZolImage));
    clone->tileInfo = nullptr;
    clone->maskROI = nullptr;
    clone->imageTag = nullptr;
    clone->headerVersion = 0;
    clone->imageData = nullptr;
    clone->dataBase = nullptr;  // the source's block is not the clone's
    if (image->roi) {
        const ZolROI* r = image->roi;
        clone->roi = zolCreateROI(r->coi, r->xOffset, r->yOffset, r->width, r->height);
        if (!clone->roi) {
            report(ZOL_STATUS_NO_MEMORY, msg::kCloneImage, msg::kCloneNoRoi);
            zolDeallocate(clone, ZOL_FREE_HEADER);
            return nullptr;
        }
    }
    if (clone->depth == ZOL_DEPTH_32F) zolAllocateImageFP(clone, 0, 0.0f);
    else zolAllocateImage(clone, 0, 0);
    if (!clone->imageData) {
        report(ZOL_STATUS_NO_MEMORY, msg::kCloneImage, msg::kCloneNoData);
        zolDeallocate(clone, ZOL_FREE_HEADER | ZOL_FREE_ROI);
        return nullptr;
    }
    if (image->tileInfo) return clone;
    if (image->widthStep == clone->widthStep && image->imageSize == clone->imageSize) {
        std::memcpy(clone->imageData, image->imageData, size_t(clone->imageSize));
        return clone;
    }
    // A source with a step of its own: copy row by row into the formula
    // layout, each row up to the shorter step, never reading past the
    // source's imageSize nor writing past the clone's block.
    const int64_t rows =
        int64_t(clone->height) * (clone->dataOrder == ZOL_DATA_ORDER_PLANE ? clone->nChannels : 1);
    const int64_t n = std::min<int64_t>(image->widthStep, clone->widthStep);
    for (int64_t r = 0; r < rows; ++r) {
        const int64_t from = r * image->widthStep;
        const int64_t take = std::min<int64_t>(n, int64_t(image->imageSize) - from);
        if (take <= 0) break;
        std::memcpy(clone->imageData + r * clone->widthStep, image->imageData + from, size_t(take));
    }
    return clone;
}

ZOL_API int zolCheckImageHeader(const ZolImage* image) {
    const int r = checkHeader(image, 0);
    if (r) zolSetErrStatus(r);
    return r;
}

ZOL_API ZolROI* zolCreateROI(int coi, int xOffset, int yOffset, int width, int height) {
    auto* roi = static_cast<ZolROI*>(zolMalloc(sizeof(ZolROI)));
    if (roi) zolSetROI(roi, coi, xOffset, yOffset, width, height);
    return roi;
}

ZOL_API void zolSetROI(ZolROI* roi, int coi, int xOffset, int yOffset, int width, int height) {
    if (!roi) return;
    roi->coi = coi;
    roi->xOffset = xOffset;
    roi->yOffset = yOffset;
    roi->width = width;
    roi->height = height;
}

ZOL_API void zolDeleteROI(void* record) {
    if (record) zolFree(record);
}
ZOL_API void zolDeleteTileInfo(void* record) __attribute__((alias("zolDeleteROI")));
ZOL_API void zolDeleteColorTwist(void* record) __attribute__((alias("zolDeleteROI")));

ZOL_API ZolTileInfo* zolCreateTileInfo(ZolTileCallBack callBack, int tileId, int width,
                                       int height) {
    auto* info = static_cast<ZolTileInfo*>(zolMalloc(sizeof(ZolTileInfo)));
    if (info) {
        std::memset(info, 0, sizeof *info);
        zolSetTileInfo(info, callBack, tileId, width, height);
    }
    return info;
}

ZOL_API void zolSetTileInfo(ZolTileInfo* tileInfo, ZolTileCallBack callBack, int tileId,
                            int width, int height) {
    if (!tileInfo) return;
    tileInfo->callBack = callBack;
    tileInfo->tileId = tileId;
    tileInfo->tileData = nullptr;
    tileInfo->width = width;
    tileInfo->height = height;
}

ZOL_API void zolSetBorderMode(ZolImage* image, int mode, int sides, int constVal) {
    if (!image) return;
    for (int side = 0; side < 4; ++side) {
        if (sides & (1 << side)) {
            image->borderMode[side] = mode;
            image->borderConst[side] = constVal;
        }
    }
}

}  // extern "C"
