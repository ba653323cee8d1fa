// The walk of the neighbourhood operations over plain and tiled images.
#include "core/neighbour.h"

#include <algorithm>

#include "core/border.h"
#include "core/image.h"

namespace zol {

namespace {

// Bytes of one pixel in a plane of the image's layout; 0 for 1-bit pixels.
int pixelBytes(const ZolImage* im) {
    const int es = elemSize(im->depth);
    return im->dataOrder == ZOL_DATA_ORDER_PIXEL ? es * im->nChannels : es;
}

template <class P>
P moved(P p, int64_t dx, int64_t dy, int pb) {
    p.data += dy * p.step;
    if (pb) p.data += dx * pb;
    else p.bit += dx;
    return p;
}

// A pixel block (an image's pixels or a fetched rectangle) as a window
// whose corner is pixel (x, y) of the block.
NbPlane windowAt(const char* data, ptrdiff_t step, ptrdiff_t planeStep, int pb, int64_t x,
                 int64_t y) {
    return moved(NbPlane{data, step, planeStep, 0}, x, y, pb);
}

class Walk {
public:
    Walk(const NbCall& c, NbDriver d, void* ctx) : c_(c), drv_(d), ctx_(ctx) {
        spb_ = pixelBytes(c.src);
        dpb_ = pixelBytes(c.dst);
        bw_ = int64_t(c.w) + c.reach.left + c.reach.right - 1;
        bh_ = int64_t(c.h) + c.reach.top + c.reach.bottom - 1;
        if (c.mask) {
            int mw, mh, mx;
            mask_ = reinterpret_cast<const uint8_t*>(ownRoiData(c.mask, &mw, &mh, 0, &mx));
            maskStep_ = c.mask->widthStep;
            maskBit_ = mx;
        }
    }

    int run() {
        const bool copyFirst = c_.src == c_.dst || c_.src->tileInfo || c_.wholeBlock;
        if (!copyFirst) return overDst();
        if (bw_ > 0x7FFFFFFF || bh_ > 0x7FFFFFFF) return kNbNoMemory;
        int stride = 0;
        block_ = static_cast<char*>(ownGetRectWith(c_.src, c_.borderConst, c_.sx - c_.reach.left,
                                                   c_.sy - c_.reach.top, int(bw_), int(bh_),
                                                   &stride));
        if (!block_) return kNbNoMemory;
        blockStep_ = stride;
        blockPlane_ = ptrdiff_t(stride) * bh_;
        const int r = overDst();
        zolFree(block_);
        return r;
    }

private:
    // The destination whole, or tile by tile.
    int overDst() {
        const ZolImage* d = c_.dst;
        if (!d->tileInfo) {
            const NbOut o = moved(NbOut{d->imageData, d->widthStep,
                                        ptrdiff_t(d->widthStep) * d->height, 0},
                                  c_.dx, c_.dy, dpb_);
            return area(0, 0, c_.w, c_.h, o);
        }
        ZolTileInfo* t = d->tileInfo;
        const int tw = t->width, th = t->height;
        const ptrdiff_t step = ownTileStep(d);
        for (int ty = c_.dy / th; int64_t(ty) * th < int64_t(c_.dy) + c_.h; ++ty) {
            for (int tx = c_.dx / tw; int64_t(tx) * tw < int64_t(c_.dx) + c_.w; ++tx) {
                const int64_t x0 = std::max<int64_t>(c_.dx, int64_t(tx) * tw);
                const int64_t y0 = std::max<int64_t>(c_.dy, int64_t(ty) * th);
                const int64_t x1 = std::min<int64_t>(int64_t(c_.dx) + c_.w, int64_t(tx + 1) * tw);
                const int64_t y1 = std::min<int64_t>(int64_t(c_.dy) + c_.h, int64_t(ty + 1) * th);
                t->callBack(d, tx, ty, ZOL_TILE_WRITE);
                if (!t->tileData) return kNbNoTile;
                const NbOut o = moved(NbOut{static_cast<char*>(t->tileData), step, step * th, 0},
                                      x0 - int64_t(tx) * tw, y0 - int64_t(ty) * th, dpb_);
                const int r = area(int(x0 - c_.dx), int(y0 - c_.dy), int(x1 - x0), int(y1 - y0), o);
                t->callBack(d, tx, ty, ZOL_TILE_RELEASE);
                if (r != kNbOk) return r;
            }
        }
        return kNbOk;
    }

    // The part of the region at (px, py) of pw x ph, whose destination
    // starts at o: from the block, or from the image with edge strips.
    int area(int px, int py, int pw, int ph, const NbOut& o) {
        if (block_) return piece(windowAt(block_, blockStep_, blockPlane_, spb_, px, py), o, px, py, pw, ph);
        const Reach& R = c_.reach;
        const ZolImage* s = c_.src;
        const int64_t X = int64_t(c_.sx) + px, Y = int64_t(c_.sy) + py;
        // Output rows and columns whose window lies inside the source.
        const int t = int(std::clamp<int64_t>(R.top - Y, 0, ph));
        const int b = int(std::clamp<int64_t>(s->height - R.bottom + 1 - Y, t, ph));
        const int l = int(std::clamp<int64_t>(R.left - X, 0, pw));
        const int r = int(std::clamp<int64_t>(s->width - R.right + 1 - X, l, pw));
        int st = fetched(0, 0, pw, t, o, px, py);
        if (st == kNbOk) st = fetched(0, b, pw, ph - b, o, px, py);
        if (st == kNbOk) st = fetched(0, t, l, b - t, o, px, py);
        if (st == kNbOk) st = fetched(r, t, pw - r, b - t, o, px, py);
        if (st == kNbOk && r > l && b > t) {
            const NbPlane w = windowAt(s->imageData, s->widthStep,
                                       ptrdiff_t(s->widthStep) * s->height, spb_,
                                       X + l - R.left, Y + t - R.top);
            st = piece(w, moved(o, l, t, dpb_), px + l, py + t, r - l, b - t);
        }
        return st;
    }

    // A strip at (qx, qy) of the area, from a block fetched by the border rules.
    int fetched(int qx, int qy, int qw, int qh, const NbOut& o, int px, int py) {
        if (qw <= 0 || qh <= 0) return kNbOk;
        const Reach& R = c_.reach;
        const int64_t w = int64_t(qw) + R.left + R.right - 1, h = int64_t(qh) + R.top + R.bottom - 1;
        if (w > 0x7FFFFFFF || h > 0x7FFFFFFF) return kNbNoMemory;
        int stride = 0;
        char* blk = static_cast<char*>(
            ownGetRectWith(c_.src, c_.borderConst, int(int64_t(c_.sx) + px + qx - R.left),
                           int(int64_t(c_.sy) + py + qy - R.top), int(w), int(h), &stride));
        if (!blk) return kNbNoMemory;
        const int st = piece(windowAt(blk, stride, ptrdiff_t(stride) * h, spb_, 0, 0),
                             moved(o, qx, qy, dpb_), px + qx, py + qy, qw, qh);
        zolFree(blk);
        return st;
    }

    int piece(const NbPlane& w, const NbOut& o, int px, int py, int pw, int ph) {
        NbPiece p{w, o, nullptr, maskStep_, 0, pw, ph};
        if (mask_) {
            p.mask = mask_ + int64_t(py) * maskStep_;
            p.maskBit = maskBit_ + px;
        }
        return drv_(ctx_, p) ? kNbOk : kNbDriverFailed;
    }

    const NbCall& c_;
    NbDriver drv_;
    void* ctx_;
    int spb_ = 0, dpb_ = 0;
    int64_t bw_ = 0, bh_ = 0;
    const uint8_t* mask_ = nullptr;
    ptrdiff_t maskStep_ = 0;
    int64_t maskBit_ = 0;
    char* block_ = nullptr;
    ptrdiff_t blockStep_ = 0, blockPlane_ = 0;
};

}  // namespace

int ownNeighbourWalk(const NbCall& call, NbDriver driver, void* context) {
    if (call.w <= 0 || call.h <= 0) return kNbOk;
    return Walk(call, driver, context).run();
}

}  // namespace zol
