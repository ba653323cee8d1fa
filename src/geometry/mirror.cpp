// zolMirror: a region copied flipped about its horizontal axis, its
// vertical axis or both. No sampling; the care goes into in-place flips
// (a scratch row, rows swapped in pairs), masks read at the source and the
// destination pixel, 1-bit rows, and tiles on either side.
#include <algorithm>
#include <cstring>

#include "core/border.h"
#include "core/image.h"
#include "core/messages.h"
#include "core/rect.h"
#include "core/report.h"
#include "geometry/mirror.h"
#include "geometry/scratch.h"

namespace zol {
namespace geo {
namespace {

// The element step of an image (or block, or tile) whose rows are rowStep
// bytes apart and whose planes hold `height` rows.
MirrorView viewOf(const ZolImage* im, char* data, ptrdiff_t rowStep, int height, int x, int y,
                  int first) {
    MirrorView v;
    const int es = elemSize(im->depth);
    const bool pixel = im->dataOrder == ZOL_DATA_ORDER_PIXEL || es == 0;
    v.row = rowStep;
    v.pix = pixel ? ptrdiff_t(im->nChannels) * es : es;
    v.ch = pixel ? es : rowStep * height;
    v.bit = es == 0 ? x : 0;
    v.p = data + rowStep * y + (es == 0 ? 0 : ptrdiff_t(x) * v.pix) + ptrdiff_t(first) * v.ch;
    return v;
}

MirrorMask maskOf(const ZolImage* m, int x, int y) {
    MirrorMask k;
    if (!m) return k;
    k.p = reinterpret_cast<const uint8_t*>(m->imageData) + ptrdiff_t(m->widthStep) * y;
    k.row = m->widthStep;
    k.bit = x;
    return k;
}

// The same views moved by (x, y) pixels.
MirrorView at(MirrorView v, int x, int y) {
    v.p += v.row * y;
    if (v.bit >= 0 && v.pix == 0) v.bit += x;
    else v.p += v.pix * x;
    return v;
}
MirrorMask at(MirrorMask m, int x, int y) {
    if (!m.p) return m;
    m.p += m.row * y;
    m.bit += x;
    return m;
}

bool maskBit(const MirrorMask& m, int x, int y) {
    return !m.p || bitAt(m.p + m.row * y, m.bit + x);
}

// Elements of one row gathered pixel by pixel, channel by channel.
template <class T>
void gather(const MirrorView& s, int y, int w, int ch, T* out) {
    const char* row = s.p + s.row * y;
    if (s.pix == ptrdiff_t(ch * sizeof(T)) && s.ch == ptrdiff_t(sizeof(T))) {
        std::memcpy(out, row, size_t(w) * size_t(ch) * sizeof(T));
        return;
    }
    for (int x = 0; x < w; ++x)
        for (int c = 0; c < ch; ++c)
            std::memcpy(out + ptrdiff_t(x) * ch + c, row + s.pix * x + s.ch * c, sizeof(T));
}

// Writes row y of d from a gathered source row (sy its row in the source),
// columns reversed when asked, through the masks.
template <class T>
void scatter(const T* in, const MirrorView& d, int y, int sy, int w, int ch, bool reverse,
             const MirrorMask& sm, const MirrorMask& dm) {
    char* row = d.p + d.row * y;
    const bool masked = sm.p || dm.p;
    if (!masked && d.pix == ptrdiff_t(ch * sizeof(T)) && d.ch == ptrdiff_t(sizeof(T))) {
        T* o = reinterpret_cast<T*>(row);
        if (!reverse) {
            std::memcpy(o, in, size_t(w) * size_t(ch) * sizeof(T));
        } else if (ch == 1) {
            for (int x = 0; x < w; ++x) o[x] = in[w - 1 - x];
        } else {
            for (int x = 0; x < w; ++x)
                std::memcpy(o + ptrdiff_t(x) * ch, in + ptrdiff_t(w - 1 - x) * ch, ch * sizeof(T));
        }
        return;
    }
    for (int x = 0; x < w; ++x) {
        const int sx = reverse ? w - 1 - x : x;
        if (masked && !(maskBit(sm, sx, sy) && maskBit(dm, x, y))) continue;
        for (int c = 0; c < ch; ++c)
            std::memcpy(row + d.pix * x + d.ch * c, in + ptrdiff_t(sx) * ch + c, sizeof(T));
    }
}

// 1-bit rows: gathered into bit 0 on, written bit by bit. With a mask every
// bit is written, 0 where the mask is clear.
void gatherBits(const MirrorView& s, int y, int w, uint8_t* out) {
    ownCopyBitRow(reinterpret_cast<const uint8_t*>(s.p + s.row * y), out, int(s.bit), 0, w);
}
void scatterBits(const uint8_t* in, const MirrorView& d, int y, int sy, int w, bool reverse,
                 const MirrorMask& sm, const MirrorMask& dm) {
    uint8_t* row = reinterpret_cast<uint8_t*>(d.p + d.row * y);
    const bool masked = sm.p || dm.p;
    if (!masked && !reverse) {
        ownCopyBitRow(in, row, 0, int(d.bit), w);
        return;
    }
    for (int x = 0; x < w; ++x) {
        const int sx = reverse ? w - 1 - x : x;
        int v = bitAt(in, sx);
        if (masked && !(maskBit(sm, sx, sy) && maskBit(dm, x, y))) v = 0;
        setBitAt(row, d.bit + x, v);
    }
}

template <class T>
void runRows(const MirrorView& s, const MirrorView& d, const MirrorMask& sm, const MirrorMask& dm,
             int ch, int w, int h, int axis, bool inPlace, void* scratch, void* scratch2) {
    const bool flipRows = axis != 1, reverse = axis != 0;
    T* a = static_cast<T*>(scratch);
    T* b = static_cast<T*>(scratch2);
    if (!inPlace) {
        for (int y = 0; y < h; ++y) {
            const int sy = flipRows ? h - 1 - y : y;
            gather(s, sy, w, ch, a);
            scatter(a, d, y, sy, w, ch, reverse, sm, dm);
        }
        return;
    }
    // Rows in pairs, first and last inward; both are read before either
    // is written.
    const int pairs = flipRows ? (h + 1) / 2 : h;
    for (int y = 0; y < pairs; ++y) {
        const int yb = flipRows ? h - 1 - y : y;
        gather(s, y, w, ch, a);
        if (yb != y) {
            gather(s, yb, w, ch, b);
            scatter(b, d, y, yb, w, ch, reverse, sm, dm);
        }
        scatter(a, d, yb, y, w, ch, reverse, sm, dm);
    }
}

void runBitRows(const MirrorView& s, const MirrorView& d, const MirrorMask& sm,
                const MirrorMask& dm, int w, int h, int axis, bool inPlace, void* scratch,
                void* scratch2) {
    const bool flipRows = axis != 1, reverse = axis != 0;
    uint8_t* a = static_cast<uint8_t*>(scratch);
    uint8_t* b = static_cast<uint8_t*>(scratch2);
    const int pairs = inPlace && flipRows ? (h + 1) / 2 : h;
    for (int y = 0; y < pairs; ++y) {
        const int yb = flipRows ? h - 1 - y : y;
        if (!inPlace) {
            gatherBits(s, yb, w, a);
            scatterBits(a, d, y, yb, w, reverse, sm, dm);
            continue;
        }
        gatherBits(s, y, w, a);
        if (yb != y) {
            gatherBits(s, yb, w, b);
            scatterBits(b, d, y, yb, w, reverse, sm, dm);
        }
        scatterBits(a, d, yb, y, w, reverse, sm, dm);
    }
}

}  // namespace

void ownMirrorRegion(const MirrorView& s, const MirrorView& d, const MirrorMask& sm,
                     const MirrorMask& dm, int depth, int ch, int w, int h, int axis, bool inPlace,
                     const MirrorKernels& k) {
    if (w <= 0 || h <= 0) return;
    const int es = elemSize(depth);
    const int64_t rowBytes = es ? int64_t(w) * ch * es : (int64_t(w) + 7) / 8;
    Scratch scratch;
    void* a = scratch.take<uint8_t>(rowBytes);
    void* b = scratch.take<uint8_t>(rowBytes);
    if (!scratch.ok()) return;  // no scratch row: the work is skipped
    const bool plain = !sm.p && !dm.p;
    const bool contiguous = s.pix == ptrdiff_t(ch) * es && s.ch == es && d.pix == s.pix &&
                            d.ch == s.ch;
    switch (es) {
        case 0: runBitRows(s, d, sm, dm, w, h, axis, inPlace, a, b); return;
        case 1:
            if (plain && contiguous && !inPlace && axis != 0 && (ch == 1 || ch == 3 || ch == 4)) {
                for (int y = 0; y < h; ++y) {
                    const int sy = axis == 1 ? y : h - 1 - y;
                    k.reverse8(reinterpret_cast<const uint8_t*>(s.p + s.row * sy),
                               reinterpret_cast<uint8_t*>(d.p + d.row * y), w, ch);
                }
                return;
            }
            runRows<uint8_t>(s, d, sm, dm, ch, w, h, axis, inPlace, a, b);
            return;
        case 2: runRows<uint16_t>(s, d, sm, dm, ch, w, h, axis, inPlace, a, b); return;
        default: runRows<uint32_t>(s, d, sm, dm, ch, w, h, axis, inPlace, a, b); return;
    }
}

void reverseRow8(const uint8_t* s, uint8_t* d, int w, int ch) {
    if (ch == 1) {
        for (int x = 0; x < w; ++x) d[x] = s[w - 1 - x];
        return;
    }
    for (int x = 0; x < w; ++x)
        for (int c = 0; c < ch; ++c) d[ptrdiff_t(x) * ch + c] = s[ptrdiff_t(w - 1 - x) * ch + c];
}

namespace {

// Channel count of an image as the flip sees it.
int channelsOf(const ZolImage* im) {
    if (im->roi && im->roi->coi) return 1;
    return im->nChannels - (im->alphaChannel ? 1 : 0);
}
int firstOf(const ZolImage* im) { return im->roi && im->roi->coi ? im->roi->coi - 1 : 0; }

// Mask rectangle: its ROI or the whole mask image, cut at the mask's
// edges so that no bit outside it is ever read.
void maskRect(const ZolImage* m, int& x, int& y, int& w, int& h) {
    int mx;
    ownRoiData(m, &w, &h, 0, &mx);
    x = m->roi ? m->roi->xOffset : 0;
    y = m->roi ? m->roi->yOffset : 0;
}

}  // namespace

}  // namespace geo
}  // namespace zol

using namespace zol;
using namespace zol::geo;

extern "C" ZOL_API void zolMirror(ZolImage* srcImage, ZolImage* dstImage, int flipAxis) {
    const char* func = msg::kMirror;
    ZolImage* src = srcImage;
    ZolImage* dst = dstImage;
    if (zolCheckImageHeader(src) != 0 || zolCheckImageHeader(dst) != 0) {
        report(zolGetErrStatus(), func, msg::kIncorrectImage);
        return;
    }
    if (src->depth == ZOL_DEPTH_32F || dst->depth == ZOL_DEPTH_32F) {
        report(ZOL_STATUS_BAD_DEPTH, func, msg::kMirror32F);
        return;
    }
    if (src->depth != dst->depth) {
        report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kMirrorDepth);
        return;
    }
    if (flipAxis > 1 || flipAxis < -1) {
        report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kMirrorAxis);
        return;
    }
    const ZolImage* both[2] = {src, dst};
    const char* const alphaCtx[2] = {msg::kSrcAlpha, msg::kDstAlpha};
    const char* const coiCtx[2] = {msg::kSrcCoi, msg::kDstCoi};
    for (int i = 0; i < 2; ++i)
        if (both[i]->depth == ZOL_DEPTH_1U && both[i]->alphaChannel != 0) {
            report(ZOL_STATUS_BAD_1U_CHANNELS, func, alphaCtx[i]);
            return;
        }
    for (int i = 0; i < 2; ++i)
        if (both[i]->alphaChannel != 0 && both[i]->alphaChannel != both[i]->nChannels) {
            report(ZOL_STATUS_BAD_ALPHA, func, alphaCtx[i]);
            return;
        }
    for (int i = 0; i < 2; ++i)
        if (both[i]->roi && (both[i]->roi->coi < 0 || both[i]->roi->coi > both[i]->nChannels)) {
            report(ZOL_STATUS_BAD_COI, func, coiCtx[i]);
            return;
        }
    const int ch = channelsOf(src);
    if (ch != channelsOf(dst)) {
        report(ZOL_STATUS_BAD_CHANNELS, func, msg::kNoContext);
        return;
    }
    if (ch <= 0) return;

    ownRect rs, rd;
    ownRoiRect(src, &rs);
    ownRoiRect(dst, &rd);
    int w = std::min(rs.width, rd.width), h = std::min(rs.height, rd.height);
    int smx = 0, smy = 0, dmx = 0, dmy = 0;
    const ZolImage* sMask = src->maskROI;
    const ZolImage* dMask = dst->maskROI;
    if (sMask) {
        int mw, mh;
        maskRect(sMask, smx, smy, mw, mh);
        w = std::min(w, mw), h = std::min(h, mh);
    }
    if (dMask) {
        int mw, mh;
        maskRect(dMask, dmx, dmy, mw, mh);
        w = std::min(w, mw), h = std::min(h, mh);
    }
    if (w <= 0 || h <= 0) return;
    const bool same = src == dst;
    const bool masked = sMask || dMask;
    const MirrorKernels& k = mirrorKernels();

    if (!src->tileInfo && !dst->tileInfo) {
        if (same && masked) return;  // a masked flip in place changes nothing
        ownMirrorRegion(viewOf(src, src->imageData, src->widthStep, src->height, rs.x, rs.y,
                               firstOf(src)),
                        viewOf(dst, dst->imageData, dst->widthStep, dst->height, rd.x, rd.y,
                               firstOf(dst)),
                        at(maskOf(sMask, smx, smy), 0, 0), maskOf(dMask, dmx, dmy), src->depth,
                        ch, w, h, flipAxis, same, k);
        return;
    }

    // Tiles. A tiled source, or a source that is the tiled destination, is
    // read once into a block of the region; the flip then runs from the
    // block into the destination or into each of its tiles.
    void* block = nullptr;
    MirrorView s;
    if (src->tileInfo || same) {
        int stride = 0;
        block = ownGetRect(src, rs.x, rs.y, w, h, &stride);
        if (!block) return;
        s = viewOf(src, static_cast<char*>(block), stride, h, 0, 0, firstOf(src));
    } else {
        s = viewOf(src, src->imageData, src->widthStep, src->height, rs.x, rs.y, firstOf(src));
    }
    const MirrorMask sm = maskOf(sMask, smx, smy), dm = maskOf(dMask, dmx, dmy);
    if (!dst->tileInfo) {
        ownMirrorRegion(s, viewOf(dst, dst->imageData, dst->widthStep, dst->height, rd.x, rd.y,
                                  firstOf(dst)),
                        sm, dm, src->depth, ch, w, h, flipAxis, false, k);
        zolFree(block);
        return;
    }
    // The destination's tiles over the region, in an order that follows
    // the flip: the tile whose source comes first in memory is done first.
    ZolTileInfo* ti = dst->tileInfo;
    const int tw = ti->width, th = ti->height;
    const int c0 = rd.x / tw, c1 = (rd.x + w - 1) / tw;
    const int r0 = rd.y / th, r1 = (rd.y + h - 1) / th;
    const int nc = c1 - c0 + 1, nr = r1 - r0 + 1;
    const bool colsOuter = flipAxis != 1;
    const int outer = colsOuter ? nc : nr, inner = colsOuter ? nr : nc;
    for (int o = 0; o < outer; ++o) {
        for (int i = 0; i < inner; ++i) {
            int col, row;
            if (flipAxis == 0) col = c0 + o, row = r1 - i;
            else if (flipAxis == 1) row = r0 + o, col = c1 - i;
            else col = c1 - o, row = r1 - i;
            const int tx0 = std::max(rd.x, col * tw), tx1 = std::min(rd.x + w, (col + 1) * tw);
            const int ty0 = std::max(rd.y, row * th), ty1 = std::min(rd.y + h, (row + 1) * th);
            const int px = tx0 - rd.x, py = ty0 - rd.y, pw = tx1 - tx0, ph = ty1 - ty0;
            const int sx = flipAxis == 0 ? px : w - px - pw;
            const int sy = flipAxis == 1 ? py : h - py - ph;
            ti->tileData = nullptr;
            ti->callBack(dst, col, row, ZOL_TILE_WRITE);
            char* tile = static_cast<char*>(ti->tileData);
            if (!tile) continue;  // a tile that does not come is left out
            const MirrorView d =
                viewOf(dst, tile, ownTileStep(dst), th, tx0 - col * tw, ty0 - row * th, firstOf(dst));
            ownMirrorRegion(at(s, sx, sy), d, at(sm, sx, sy), at(dm, px, py), src->depth, ch, pw,
                            ph, flipAxis, false, k);
            ti->callBack(dst, col, row, ZOL_TILE_RELEASE);
        }
    }
    zolFree(block);
}

namespace zol {
namespace geo {
namespace {
MirrorKernels makeTable(Form form) {
    MirrorKernels k{reverseRow8};
    mirrorSimd(form, k);
    return k;
}
}  // namespace
const MirrorKernels& mirrorKernels() { return tableForActiveForm(makeTable); }
Form mirrorForm() { return activeForm(); }
}  // namespace geo
}  // namespace zol
