// The cell walk of the colour twist and the threshold.
#include "core/cellwalk.h"

#include <algorithm>

#include "core/frame.h"
#include "core/image.h"
#include "core/rect.h"

namespace zol {

const CellWalkTexts kTwistWalkTexts = {
    "(srcImage->tileInfo->tileData == ((void *)0))",
    "(dstImage->tileInfo->tileData == ((void *)0))",
    "(msk == ((void *)0))",
    "(msk->imageData == ((void *)0))",
    "error_zolAnd",
};

namespace {

// The temporary 1-bit image through which the walk reads the mask bits. It
// borrows the caller's pixels for a single mask and owns the conjunction of
// two.
class TempMask {
public:
    ~TempMask() {
        if (!msk_) return;
        if (own_) zolDeallocate(msk_, ZOL_FREE_DATA);
        zolDeallocate(msk_, ZOL_FREE_HEADER);
    }
    // 1: ready or none needed; 0: nothing to do (empty); -1: stop (reported).
    int make(const Frame& f, const ZolImage* a, const ZolImage* b, const CellWalkTexts& t,
             int line) {
        if (!a && !b) return 1;
        static const char kGrey[4] = {'G', 'R', 'E', 'Y'};
        const bool one = !a || !b || a == b;
        const ZolImage* m = a ? a : b;
        int w = 1, h = 1;
        if (!one) {
            ownRect ra, rb;
            ownRoiRect(a, &ra);
            ownRoiRect(b, &rb);
            w = std::min(ra.width, rb.width);
            h = std::min(ra.height, rb.height);
            if (w <= 0 || h <= 0) return 0;
        }
        msk_ = zolCreateImageHeader(1, 0, ZOL_DEPTH_1U, kGrey, kGrey, ZOL_DATA_ORDER_PLANE,
                                    one ? 0 : a->origin, ZOL_ALIGN_QWORD, w, h,
                                    one ? &roi_ : nullptr, nullptr, nullptr, nullptr);
        if (!msk_) {
            f.fail(ZOL_STATUS_BAD_ARGUMENT, t.maskHeader, line);
            return -1;
        }
        if (one) {
            msk_->width = m->width;
            msk_->height = m->height;
            msk_->imageData = m->imageData;
            msk_->widthStep = m->widthStep;
            msk_->imageSize = m->imageSize;
            roi_ = m->roi ? ZolROI{0, m->roi->xOffset, m->roi->yOffset, m->roi->width,
                                   m->roi->height}
                          : ZolROI{0, 0, 0, m->width, m->height};
            return 1;
        }
        zolAllocateImage(msk_, 1, 0);
        if (!msk_->imageData) {
            f.fail(ZOL_STATUS_BAD_ARGUMENT, t.maskData, line);
            return -1;
        }
        own_ = true;
        // zolAnd's own status decides; the caller's earlier status is kept.
        const int before = zolGetErrStatus();
        zolSetErrStatus(0);
        zolAnd(const_cast<ZolImage*>(a), const_cast<ZolImage*>(b), msk_);
        if (zolGetErrStatus() < 0) {
            if (f.fail(ZOL_STATUS_BACKTRACE, t.andFailed, line) < 0) return -1;
        } else {
            zolSetErrStatus(before);
        }
        return 1;
    }
    const ZolImage* get() const { return msk_; }

private:
    ZolImage* msk_ = nullptr;
    ZolROI roi_{};
    bool own_ = false;
};

// One image of the walk: where its region starts and which tile it holds.
struct Side {
    const ZolImage* image;
    ownRect rect;
    bool tiled;
    int tw = 0, th = 0, step = 0;
    int col = -1, row = -1;  // the tile held, -1 for none
    char* data = nullptr;
    int mode;
    const char* missing;
    ptrdiff_t pixBytes;

    void init(const ZolImage* im, int m, const char* miss) {
        image = im;
        ownRoiRect(im, &rect);
        tiled = im->imageData == nullptr && im->tileInfo != nullptr;
        mode = m;
        missing = miss;
        const int es = elemSize(im->depth);
        pixBytes = im->dataOrder == ZOL_DATA_ORDER_PIXEL ? ptrdiff_t(es) * im->nChannels : es;
        if (tiled) {
            tw = im->tileInfo->width;
            th = im->tileInfo->height;
            step = ownTileStep(im);
        } else {
            data = im->imageData;
            step = im->widthStep;
        }
    }
    // Rows left in the tile holding region row y (all of them if untiled).
    int rowsLeft(int y, int h) const { return tiled ? std::min(h - y, th - (rect.y + y) % th) : h - y; }
    int colsLeft(int x, int w) const { return tiled ? std::min(w - x, tw - (rect.x + x) % tw) : w - x; }
    void release() {
        if (tiled && row >= 0) image->tileInfo->callBack(image, col, row, ZOL_TILE_RELEASE);
        row = col = -1;
        data = nullptr;
    }
    // Holds the tile of region pixel (x, y); false when it did not come.
    bool hold(const Frame& f, int x, int y, int line) {
        if (!tiled) return true;
        const int c = (rect.x + x) / tw, r = (rect.y + y) / th;
        if (c == col && r == row && data) return true;
        release();
        image->tileInfo->callBack(image, c, r, mode);
        data = static_cast<char*>(image->tileInfo->tileData);
        if (!data) {
            f.fail(ZOL_STATUS_BAD_ARGUMENT, missing, line);
            return false;
        }
        col = c;
        row = r;
        return true;
    }
    // Bit position of region column x in the row held (1-bit images).
    int64_t bitOf(int x) const { return rect.x + int64_t(x) - (tiled ? int64_t(col) * tw : 0); }
    // Address of region pixel (x, y) in the memory held, and the plane size.
    char* at(int x, int y, ptrdiff_t* plane) const {
        int64_t X = rect.x + x, Y = rect.y + y, rows = image->height;
        if (tiled) {
            X -= int64_t(col) * tw;
            Y -= int64_t(row) * th;
            rows = th;
        }
        *plane = ptrdiff_t(rows) * step;
        return data + ptrdiff_t(Y) * step + ptrdiff_t(X) * pixBytes;
    }
};

}  // namespace

bool ownCellWalk(const Frame& frame, const ZolImage* src, ZolImage* dst, CellRowKernel kernel,
                 void* context, const CellWalkTexts& texts, int line) {
    TempMask tm;
    const int made = tm.make(frame, src->maskROI, dst->maskROI, texts, line);
    if (made <= 0) return made == 0;
    const ZolImage* msk = tm.get();

    Side d, s;
    d.init(dst, ZOL_TILE_WRITE, texts.dstTile);
    const bool inPlace = src == dst;
    if (!inPlace) s.init(src, ZOL_TILE_READ, texts.srcTile);
    Side& sv = inPlace ? d : s;
    int w = std::min(d.rect.width, sv.rect.width), h = std::min(d.rect.height, sv.rect.height);
    ownRect mr{};
    if (msk) {
        ownRoiRect(msk, &mr);
        w = std::min(w, mr.width);
        h = std::min(h, mr.height);
    }
    if (w <= 0 || h <= 0) return true;

    bool ok = true;
    CellRow row{};
    for (int y = 0; y < h && ok;) {
        int band = d.rowsLeft(y, h);
        if (!inPlace) band = std::min(band, s.rowsLeft(y, h));
        for (int x = 0; x < w;) {
            int cell = d.colsLeft(x, w);
            if (!inPlace) cell = std::min(cell, s.colsLeft(x, w));
            bool have = d.hold(frame, x, y, line);
            if (!have && zolGetErrStatus() < 0) { ok = false; break; }
            if (have && !inPlace) {
                have = s.hold(frame, x, y, line);
                if (!have && zolGetErrStatus() < 0) { ok = false; break; }
            }
            if (have) {
                row.width = cell;
                for (int j = 0; j < band; ++j) {
                    row.src = sv.at(x, y + j, &row.srcPlane);
                    row.dst = d.at(x, y + j, &row.dstPlane);
                    row.dstBit = d.bitOf(x);
                    if (msk) {
                        row.mask = reinterpret_cast<const uint8_t*>(msk->imageData) +
                                   ptrdiff_t(mr.y + y + j) * msk->widthStep;
                        row.maskBit = int64_t(mr.x) + x;
                    }
                    kernel(context, row);
                }
            }
            x += cell;
        }
        y += band;
    }
    d.release();
    if (!inPlace) s.release();
    return ok;
}

}  // namespace zol
