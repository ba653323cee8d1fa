// The tile group and its window walk.
#include "core/tilegroup.h"

#include <algorithm>
#include <cstring>

#include "core/heap.h"
#include "core/image.h"
#include "core/messages.h"

namespace zol {

namespace {

// A header of the image's format over other pixels: no ROI of the image's,
// no mask, no tiles.
ZolImage formatOf(const ZolImage* image, int width, int height, int64_t step) {
    ZolImage h = *image;
    h.width = width;
    h.height = height;
    h.roi = nullptr;
    h.maskROI = nullptr;
    h.imageTag = nullptr;
    h.tileInfo = nullptr;
    h.widthStep = int32_t(step);
    h.imageSize = int32_t(ownCalcSize(image->dataOrder, image->nChannels, height, step));
    h.imageData = nullptr;
    h.dataBase = nullptr;
    return h;
}

int coiOf(const ZolImage* image) { return image->roi ? image->roi->coi : 0; }

// Bytes of one pixel in one row of a plane (all channels in PIXEL order).
size_t pixelBytes(const ZolImage* h) {
    return size_t(elemSize(h->depth)) *
           size_t(h->dataOrder == ZOL_DATA_ORDER_PIXEL ? h->nChannels : 1);
}

// Copies the rectangle (x, y, w, h) of a into (bx, by) of b, or back, all
// channels (the alpha channel too).
void copyRect(const ZolImage* tile, int tx, int ty, const ZolImage* block, int bx, int by, int w,
              int h, bool toBlock) {
    const size_t pb = pixelBytes(tile);
    const int planes = tile->dataOrder == ZOL_DATA_ORDER_PLANE ? tile->nChannels : 1;
    for (int p = 0; p < planes; ++p) {
        char* t = tile->imageData + (size_t(p) * size_t(tile->height) + size_t(ty)) *
                                        size_t(tile->widthStep) + size_t(tx) * pb;
        char* b = block->imageData + (size_t(p) * size_t(block->height) + size_t(by)) *
                                         size_t(block->widthStep) + size_t(bx) * pb;
        for (int r = 0; r < h; ++r) {
            if (toBlock) std::memcpy(b, t, size_t(w) * pb);
            else std::memcpy(t, b, size_t(w) * pb);
            t += tile->widthStep;
            b += block->widthStep;
        }
    }
}

void releaseEntry(const ownTileGroup* g, ownTileGroupEntry& e) {
    if (!e.image->tileInfo || !e.view) return;
    ZolTileInfo* info = e.image->tileInfo;
    if (e.view == &e.tileHeader) {
        if (e.tileHeader.imageData) {
            info->tileData = e.tileHeader.imageData;
            info->callBack(e.image, e.firstColumn, e.firstRow, ZOL_TILE_RELEASE);
        }
        e.tileHeader.imageData = nullptr;
        e.view = nullptr;
        return;
    }
    // The window took several tiles: write each part back, then release.
    const int px = g->x + (e.image->roi ? e.image->roi->xOffset : 0);
    const int py = g->y + (e.image->roi ? e.image->roi->yOffset : 0);
    for (int r = e.firstRow; r <= e.lastRow; ++r) {
        for (int c = e.firstColumn; c <= e.lastColumn; ++c) {
            char*& slot = e.tileList[(r - e.firstRow) * e.tileListStride + (c - e.firstColumn)];
            if (!slot) {
                e.view = nullptr;
                return;
            }
            if (e.mode == ZOL_TILE_WRITE && g->status == 0) {
                const int x0 = std::max(px, c * e.tileWidth);
                const int x1 = std::min(px + g->width, (c + 1) * e.tileWidth);
                const int y0 = std::max(py, r * e.tileHeight);
                const int y1 = std::min(py + g->height, (r + 1) * e.tileHeight);
                e.tileHeader.imageData = slot;
                copyRect(&e.tileHeader, x0 - c * e.tileWidth, y0 - r * e.tileHeight,
                         &e.blockHeader, x0 - px, y0 - py, x1 - x0, y1 - y0, false);
                e.tileHeader.imageData = nullptr;
            }
            info->tileData = slot;
            info->callBack(e.image, c, r, ZOL_TILE_RELEASE);
            slot = nullptr;
        }
    }
    e.view = nullptr;
}

}  // namespace

ownTileGroup* ownTileGroupCreate(int capacity, int blockWidth, int blockHeight) {
    if (capacity <= 0) return nullptr;
    auto* g = static_cast<ownTileGroup*>(heapAlloc(sizeof(ownTileGroup)));
    if (!g) return nullptr;
    auto* e =
        static_cast<ownTileGroupEntry*>(heapAlloc(sizeof(ownTileGroupEntry) * size_t(capacity)));
    if (!e) {
        heapFree(g);
        return nullptr;
    }
    std::memset(static_cast<void*>(e), 0, sizeof(ownTileGroupEntry) * size_t(capacity));
    *g = ownTileGroup{capacity, blockWidth, blockHeight, 0, 0, 0, 0, 0, 0, e};
    return g;
}

int ownTileGroupAdd(ownTileGroup* g, const ZolImage* image, int mode) {
    if (!g || g->status) return -1;
    if (!image) return 0;
    for (int i = 0; i < g->count; ++i)
        if (g->entries[i].image == image) return i + 1;
    if (g->count >= g->capacity) return 0;
    ownTileGroupEntry& e = g->entries[g->count];
    e.image = image;
    e.useCount = 0;
    e.mode = mode;
    if (const ZolTileInfo* info = image->tileInfo) {
        e.tileWidth = info->width;
        e.tileHeight = info->height;
        e.tileHeader = formatOf(image, info->width, info->height, ownTileStep(image));
        e.tileHeader.roi = &e.tileRoi;
    } else {
        e.blockHeader = *image;
        e.blockHeader.roi = &e.blockRoi;
        e.blockHeader.maskROI = nullptr;
        e.blockHeader.imageTag = nullptr;
    }
    return ++g->count;
}

void ownTileGroupSetWindow(ownTileGroup* g, int x, int y, int width, int height) {
    if (!g) return;
    g->x = x;
    g->y = y;
    g->width = width;
    g->height = height;
}

ZolImage* ownTileGroupView(ownTileGroup* g, int handle) {
    if (!g || g->status || handle < 1 || handle > g->count) return nullptr;
    ownTileGroupEntry& e = g->entries[handle - 1];
    if (e.useCount > 0) {
        ++e.useCount;
        return e.view;
    }
    ++e.useCount;
    const int coi = coiOf(e.image);
    const int px = g->x + (e.image->roi ? e.image->roi->xOffset : 0);
    const int py = g->y + (e.image->roi ? e.image->roi->yOffset : 0);
    if (!e.image->tileInfo) {
        zolSetROI(&e.blockRoi, coi, px, py, g->width, g->height);
        e.view = &e.blockHeader;
        return e.view;
    }
    ZolTileInfo* info = e.image->tileInfo;
    e.firstColumn = px / e.tileWidth;
    e.firstRow = py / e.tileHeight;
    e.lastColumn = (px + g->width - 1) / e.tileWidth;
    e.lastRow = (py + g->height - 1) / e.tileHeight;
    if (e.firstColumn == e.lastColumn && e.firstRow == e.lastRow) {
        e.view = &e.tileHeader;
        info->callBack(e.image, e.firstColumn, e.firstRow, e.mode);
        e.tileHeader.imageData = static_cast<char*>(info->tileData);
        if (!e.tileHeader.imageData) {
            g->status = ZOL_STATUS_FAILED;
            return nullptr;
        }
        zolSetROI(&e.tileRoi, coi, px - e.firstColumn * e.tileWidth,
                  py - e.firstRow * e.tileHeight, g->width, g->height);
        return e.view;
    }
    if (!e.hasBlock) {
        const int64_t step = ownCalcStep(e.image->dataOrder, e.image->depth, e.image->align,
                                         e.image->nChannels, g->blockWidth);
        e.blockHeader = formatOf(e.image, g->blockWidth, g->blockHeight, step);
        e.blockHeader.roi = &e.blockRoi;
        e.tileListStride = (g->blockWidth + e.tileWidth - 1) / e.tileWidth + 1;
        const int rows = (g->blockHeight + e.tileHeight - 1) / e.tileHeight + 1;
        const int64_t bytes =
            ownCalcSize(e.image->dataOrder, e.image->nChannels, g->blockHeight, step);
        e.blockHeader.imageData = static_cast<char*>(heapAlloc(size_t(bytes)));
        e.tileList =
            static_cast<char**>(heapAlloc(sizeof(char*) * size_t(e.tileListStride * rows)));
        if (!e.blockHeader.imageData || !e.tileList) {
            heapFree(e.blockHeader.imageData);
            heapFree(e.tileList);
            e.blockHeader.imageData = nullptr;
            e.tileList = nullptr;
            e.view = nullptr;
            g->status = ZOL_STATUS_NO_MEMORY;
            return nullptr;
        }
        std::memset(e.tileList, 0, sizeof(char*) * size_t(e.tileListStride * rows));
        e.hasBlock = true;
    }
    if (g->width > g->blockWidth || g->height > g->blockHeight) {
        // A window larger than the block: the walk never asks for one.
        e.view = nullptr;
        g->status = ZOL_STATUS_INTERNAL;
        return nullptr;
    }
    e.view = &e.blockHeader;
    for (int r = e.firstRow; r <= e.lastRow; ++r) {
        for (int c = e.firstColumn; c <= e.lastColumn; ++c) {
            info->callBack(e.image, c, r, e.mode);
            char* tile = static_cast<char*>(info->tileData);
            if (!tile) {
                g->status = ZOL_STATUS_FAILED;
                return nullptr;
            }
            e.tileList[(r - e.firstRow) * e.tileListStride + (c - e.firstColumn)] = tile;
            // Written windows are read too: pixels a mask leaves out keep their values.
            const int x0 = std::max(px, c * e.tileWidth);
            const int x1 = std::min(px + g->width, (c + 1) * e.tileWidth);
            const int y0 = std::max(py, r * e.tileHeight);
            const int y1 = std::min(py + g->height, (r + 1) * e.tileHeight);
            e.tileHeader.imageData = tile;
            copyRect(&e.tileHeader, x0 - c * e.tileWidth, y0 - r * e.tileHeight, &e.blockHeader,
                     x0 - px, y0 - py, x1 - x0, y1 - y0, true);
            e.tileHeader.imageData = nullptr;
        }
    }
    zolSetROI(&e.blockRoi, coi, 0, 0, g->width, g->height);
    return e.view;
}

void ownTileGroupReleaseAll(ownTileGroup* g) {
    if (!g) return;
    for (int i = 0; i < g->count; ++i) {
        ownTileGroupEntry& e = g->entries[i];
        if (e.useCount <= 0) continue;
        e.useCount = 0;
        releaseEntry(g, e);
    }
}

int ownTileGroupStatus(const ownTileGroup* g) {
    if (!g || g->count == 0) return ZOL_STATUS_NO_MEMORY;
    return g->status;
}

void ownTileGroupDelete(ownTileGroup* g) {
    if (!g) return;
    ownTileGroupReleaseAll(g);
    for (int i = 0; i < g->count; ++i) {
        ownTileGroupEntry& e = g->entries[i];
        if (e.hasBlock) {
            heapFree(e.blockHeader.imageData);
            heapFree(e.tileList);
        }
    }
    heapFree(g->entries);
    heapFree(g);
}

int ownTileGroupWalk(const TileGroupImage* images, int nImages, const ZolImage* const* gridOrder,
                     int nGrid, int capacity, int w, int h, WindowFn fn, void* context) {
    const ZolImage* grid = nullptr;
    for (int i = 0; i < nGrid && !grid; ++i)
        if (gridOrder[i] && gridOrder[i]->tileInfo) grid = gridOrder[i];
    if (!grid || w <= 0 || h <= 0) return 0;
    const int tw = grid->tileInfo->width, th = grid->tileInfo->height;
    const int x0 = grid->roi ? grid->roi->xOffset : 0;
    const int y0 = grid->roi ? grid->roi->yOffset : 0;
    ownTileGroup* g = ownTileGroupCreate(capacity, tw, th);
    if (!g) return ZOL_STATUS_NO_MEMORY;
    constexpr int kMax = 8;
    int handle[kMax] = {};
    ZolImage* views[kMax] = {};
    for (int i = 0; i < nImages && i < kMax; ++i)
        if (images[i].image) handle[i] = ownTileGroupAdd(g, images[i].image, images[i].mode);
    // Windows follow the grid image's tiles from its region's corner, so
    // that image is served by one tile per window.
    bool stop = false;
    for (int y = 0, wh = (y0 / th + 1) * th - y0; y < h && !stop; y += wh, wh = th) {
        wh = std::min(wh, h - y);
        for (int x = 0, ww = (x0 / tw + 1) * tw - x0; x < w; x += ww, ww = tw) {
            ww = std::min(ww, w - x);
            ownTileGroupSetWindow(g, x, y, ww, wh);
            for (int i = 0; i < nImages && i < kMax; ++i)
                views[i] = images[i].image ? ownTileGroupView(g, handle[i]) : nullptr;
            if (ownTileGroupStatus(g) != 0) {
                ownTileGroupReleaseAll(g);
                stop = true;
                break;
            }
            fn(context, views, ww, wh);
            ownTileGroupReleaseAll(g);
        }
    }
    const int status = ownTileGroupStatus(g);
    ownTileGroupDelete(g);
    return status;
}

bool ownTileGroupReport(int groupStatus, const char* func, const char* file, int line) {
    switch (groupStatus) {
    case 0:
        return true;
    case ZOL_STATUS_FAILED:
        zolError(ZOL_STATUS_FAILED, func, msg::kTilingCallBack, file, line);
        return false;
    case ZOL_STATUS_NO_MEMORY:
        zolError(ZOL_STATUS_NO_MEMORY, func, msg::kNoWorkingMemory, file, line);
        return false;
    default:
        zolError(zolGetErrStatus() < 0 ? ZOL_STATUS_BACKTRACE : ZOL_STATUS_INTERNAL, func,
                 msg::kInternalTiling, file, line);
        return false;
    }
}

}  // namespace zol
