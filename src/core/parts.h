// Pieces shared by the operations that work in the manner of a copy: a
// source's and a destination's region clipped to their images, their
// channel sets, the effective mask of two masked images, held images and
// fields, and the walk over the cells of a tile grid.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "core/image.h"
#include "core/messages.h"
#include "core/report.h"
#include "zol.h"

namespace zol {

struct Rect {
    int x, y, w, h;
};

// The image's rectangle with clipping: a negative offset shortens it and
// moves it to 0, the image's edges cut it, and a size below 1 empties it.
inline Rect clipped(const ZolImage* im) {
    const ZolROI* roi = im->roi;
    if (!roi) return {0, 0, im->width, im->height};
    int64_t x = roi->xOffset, y = roi->yOffset, w = roi->width, h = roi->height;
    if (x < 0) w += x, x = 0;
    if (y < 0) h += y, y = 0;
    w = std::min(w, int64_t(im->width) - x);
    h = std::min(h, int64_t(im->height) - y);
    if (w < 1 || h < 1) return {0, 0, 0, 0};
    return {int(x), int(y), int(w), int(h)};
}

// The channels an image takes part with; n 0 when the set is the alpha
// channel alone.
struct Chans {
    int first;  // from 0
    int n;
    bool all;  // every channel of the image
};

inline Chans channelsOf(const ZolImage* im) {
    const int coi = im->roi ? im->roi->coi : 0;
    const int nc = im->nChannels;
    if (im->alphaChannel) {
        if (coi == nc || (coi == 0 && nc == 1)) return {0, 0, false};
        if (coi > 0) return {coi - 1, 1, false};
        return {0, nc - 1, false};
    }
    if (coi > 0) return {coi - 1, 1, nc == 1};
    return {0, nc, true};
}

// An image the call made, released with its pixels on every way out.
struct ImageHold {
    ZolImage* image = nullptr;
    ImageHold() = default;
    ImageHold(const ImageHold&) = delete;
    ImageHold& operator=(const ImageHold&) = delete;
    ~ImageHold() {
        if (image) zolDeallocate(image, ZOL_FREE_HEADER | ZOL_FREE_DATA);
    }
};

// A field of a caller's record changed for the length of a call.
template <class T>
class Restore {
public:
    explicit Restore(T& field) : field_(field), saved_(field) {}
    Restore(const Restore&) = delete;
    Restore& operator=(const Restore&) = delete;
    ~Restore() { field_ = saved_; }

private:
    T& field_;
    T saved_;
};

inline constexpr char kGray[4] = {'G', 'R', 'A', 'Y'};

// A new 1-bit image of w x h with allocated pixels, or NULL.
inline ZolImage* newBitImage(const char (&seq)[4], int order, int origin, int align, int w, int h) {
    ZolImage* im = zolCreateImageHeader(1, 0, ZOL_DEPTH_1U, kGray, seq, order, origin, align, w, h,
                                        nullptr, nullptr, nullptr, nullptr);
    if (im) zolAllocateImage(im, 0, 0);
    if (im && !im->imageData) {
        zolDeallocate(im, ZOL_FREE_HEADER);
        im = nullptr;
    }
    return im;
}

// The mask of a two-image call: the destination's, the source's, or the
// AND of both when they differ.
class EffectiveMask {
public:
    // False when the call ends here: the masks have no common size
    // (silently) or the product could not be made (reported).
    bool make(const char* func, ZolImage* srcMask, ZolImage* dstMask) {
        if (!srcMask || !dstMask || srcMask == dstMask) {
            mask_ = dstMask ? dstMask : srcMask;
            return true;
        }
        const Rect a = clipped(srcMask), b = clipped(dstMask);
        const int w = std::min(a.w, b.w), h = std::min(a.h, b.h);
        if (w < 1 || h < 1) return false;
        static const char kSeq[4] = {'G', ' ', ' ', ' '};
        made_.image =
            newBitImage(kSeq, ZOL_DATA_ORDER_PLANE, srcMask->origin, ZOL_ALIGN_DWORD, w, h);
        if (!made_.image) {
            // Nothing to go on with, whatever the handler says.
            report(ZOL_STATUS_BACKTRACE, func, msg::kNoContext);
            return false;
        }
        zolAnd(srcMask, dstMask, made_.image);
        if (zolGetErrStatus() < 0 && report(ZOL_STATUS_BACKTRACE, func, msg::kNoContext) != 0)
            return false;
        mask_ = made_.image;
        return true;
    }
    const ZolImage* get() const { return mask_; }

private:
    const ZolImage* mask_ = nullptr;
    ImageHold made_;
};

inline char* requestTile(const ZolImage* im, int column, int row, int mode) {
    im->tileInfo->callBack(im, column, row, mode);
    // Read anew after each request: the application may move the tile.
    return static_cast<char*>(im->tileInfo->tileData);
}

inline void releaseTile(const ZolImage* im, int column, int row) {
    im->tileInfo->callBack(im, column, row, ZOL_TILE_RELEASE);
}

// Calls f(column, row, ox, oy, w, h) for each cell of g's grid that meets
// the rectangle at (gx, gy) of w x h, rows of cells outside, with the
// part's offset in the region and its size; stops when f returns false.
template <class F>
void forCells(const ZolImage* g, int gx, int gy, int w, int h, F&& f) {
    const int64_t tw = g->tileInfo->width, th = g->tileInfo->height;
    const int64_t xEnd = int64_t(gx) + w, yEnd = int64_t(gy) + h;
    for (int64_t top = gy / th * th; top < yEnd; top += th) {
        const int64_t y0 = std::max<int64_t>(top, gy), y1 = std::min(top + th, yEnd);
        for (int64_t left = gx / tw * tw; left < xEnd; left += tw) {
            const int64_t x0 = std::max<int64_t>(left, gx), x1 = std::min(left + tw, xEnd);
            if (!f(int(left / tw), int(top / th), int(x0 - gx), int(y0 - gy), int(x1 - x0),
                   int(y1 - y0)))
                return;
        }
    }
}

// Where a part of an image lies, in elements of its depth.
struct Part {
    uint8_t* row = nullptr;  // first element of the first channel of the set (1U: the row)
    ptrdiff_t step = 0;      // bytes from row to row
    ptrdiff_t pix = 0;       // elements from pixel to pixel
    ptrdiff_t chan = 0;      // elements from one channel of the set to the next
    int64_t bit = 0;         // 1U: the part's first bit in its row
};

struct MaskPart {
    const uint8_t* row;
    ptrdiff_t step;
    int64_t bit;
};

// Pixel (x, y) of a block in im's layout whose planes hold planeRows rows.
inline Part partAt(const ZolImage* im, char* base, ptrdiff_t step, ptrdiff_t planeRows, int x,
                   int y, int first) {
    Part p;
    const ptrdiff_t b = elemSize(im->depth);
    p.step = step;
    uint8_t* r = reinterpret_cast<uint8_t*>(base) + ptrdiff_t(y) * step;
    if (b == 0) {
        p.row = r;
        p.bit = x;
    } else if (im->dataOrder == ZOL_DATA_ORDER_PIXEL) {
        p.pix = im->nChannels;
        p.chan = 1;
        p.row = r + (x * p.pix + first) * b;
    } else {
        p.pix = 1;
        p.chan = step * planeRows / b;
        p.row = r + first * step * planeRows + x * b;
    }
    return p;
}

inline Part plainPart(const ZolImage* im, int x, int y, int first) {
    return partAt(im, im->imageData, im->widthStep, im->height, x, y, first);
}

inline Part tilePart(const ZolImage* im, char* tile, int column, int row, int x, int y,
                     int first) {
    const ZolTileInfo* t = im->tileInfo;
    return partAt(im, tile, ownTileStep(im), t->height, x - column * t->width,
                  y - row * t->height, first);
}

inline const MaskPart* maskPartAt(const ZolImage* m, int x, int y, MaskPart& mp) {
    if (!m) return nullptr;
    mp = MaskPart{reinterpret_cast<const uint8_t*>(m->imageData) + ptrdiff_t(y) * m->widthStep,
                  m->widthStep, x};
    return &mp;
}

}  // namespace zol
