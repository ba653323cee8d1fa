// Border modes and the fetchers that read beyond an image's edges.
#include "core/border.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>

#include "core/image.h"
#include "core/rect.h"

namespace zol {

namespace {

int64_t floorMod(int64_t a, int64_t n) {
    const int64_t r = a % n;
    return r < 0 ? r + n : r;
}

// A stretch of coordinates whose images under a fold are consecutive too:
// the first maps to src, the next ones to src + dir, src + 2 * dir, ...
// (dir 0: all to src).
struct Run {
    int64_t src, len;
    int dir;
    int64_t last() const { return dir ? src + dir * (len - 1) : src; }
};

// The longest run from c, at most `left` long, under mode & 3 for an axis
// of n pixels. O(1) at any distance: one modulo, no stepping by periods.
Run foldRun(int64_t c, int64_t left, int n, int mode) {
    switch (mode & 3) {
        case ZOL_BORDER_REPLICATE:
            if (c < 0) return {0, std::min(left, -c), 0};
            if (c >= n) return {n - 1, left, 0};
            return {c, std::min(left, n - c), 1};
        case ZOL_BORDER_REFLECT: {
            const int64_t p = floorMod(c, 2 * int64_t(n));
            if (p < n) return {p, std::min(left, n - p), 1};
            return {2 * int64_t(n) - 1 - p, std::min(left, 2 * int64_t(n) - p), -1};
        }
        case ZOL_BORDER_WRAP: {
            const int64_t p = floorMod(c, n);
            return {p, std::min(left, n - p), 1};
        }
        default:
            return {c, left, 1};
    }
}

int zoneOf(const ZolImage* im, int64_t x, int64_t y) {
    return int(y < 0) | int(y >= im->height) << 1 | int(x < 0) << 2 | int(x >= im->width) << 3;
}

template <class T>
T load(const char* p) {
    T v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

// Calls f with a value of the unsigned type of an element of es bytes.
template <class F>
void byElemSize(int es, F f) {
    switch (es) {
        case 1: f(uint8_t{}); break;
        case 2: f(uint16_t{}); break;
        default: f(uint32_t{}); break;
    }
}

// Row y of channel `channel` (from 1): its address, the element index of
// column 0 and the step between columns, in elements (bits for 1U).
struct RowAt {
    const char* row;
    int64_t first;
    int step;
};

RowAt rowOf(const ZolImage* im, int64_t y, int channel) {
    const int64_t ws = im->widthStep;
    if (im->dataOrder == ZOL_DATA_ORDER_PLANE)
        return {im->imageData + ((channel - 1) * int64_t(im->height) + y) * ws, 0, 1};
    return {im->imageData + y * ws, channel - 1, im->nChannels};
}

// Four bytes of repeated elements of value v, in memory order.
using Pattern = std::array<uint8_t, 4>;

Pattern elemPattern(int depth, int32_t v) {
    Pattern p{};
    if (depth == ZOL_DEPTH_1U) {
        p.fill(v ? 0xFF : 0);
        return p;
    }
    byElemSize(elemSize(depth), [&](auto t) {
        const auto e = decltype(t)(v);
        for (size_t k = 0; k < 4; k += sizeof e) std::memcpy(p.data() + k, &e, sizeof e);
    });
    return p;
}

// Byte k of the n bytes at p gets byte k & 3 of the pattern; p lies on an
// element border, so every element gets the value.
void fillPattern(char* p, int64_t n, const Pattern& pat) {
    int64_t k = 0;
    for (; k + 4 <= n; k += 4) std::memcpy(p + k, pat.data(), 4);
    for (; k < n; ++k) p[k] = char(pat[size_t(k & 3)]);
}

// Sets (on) or clears count bits of row from bit `at`.
void fillBits(char* row, int64_t at, int64_t count, bool on) {
    if (count <= 0) return;
    auto* p = reinterpret_cast<uint8_t*>(row);
    for (; count > 0 && (at & 7); ++at, --count) setBitAt(p, at, on);
    std::memset(p + (at >> 3), on ? 0xFF : 0, size_t(count >> 3));
    for (at += count & ~int64_t(7), count &= 7; count > 0; ++at, --count) setBitAt(p, at, on);
}

// count elements from index at of buffer set to v (1U: ones if v != 0).
void fillElems(int depth, void* buffer, int64_t at, int64_t count, int32_t v) {
    char* b = static_cast<char*>(buffer);
    if (depth == ZOL_DEPTH_1U) fillBits(b, at, count, v != 0);
    else fillPattern(b + at * elemSize(depth), count * elemSize(depth), elemPattern(depth, v));
}

// Copies count elements, source index i, i + step, ... (step may be
// negative) to destination index at, at + 1, ...
void gather(int depth, const char* row, int64_t i, int64_t step, void* buffer, int64_t at,
            int64_t count) {
    char* d = static_cast<char*>(buffer);
    if (depth == ZOL_DEPTH_1U) {
        const auto* s = reinterpret_cast<const uint8_t*>(row);
        auto* t = reinterpret_cast<uint8_t*>(d);
        if (step == 1) ownCopyBitRow(s, t, int(i), int(at), count);
        else for (int64_t k = 0; k < count; ++k) setBitAt(t, at + k, bitAt(s, i + k * step));
        return;
    }
    const int es = elemSize(depth);
    if (step == 1) {
        std::memcpy(d + at * es, row + i * es, size_t(count * es));
        return;
    }
    byElemSize(es, [&](auto t) {
        using T = decltype(t);
        for (int64_t k = 0; k < count; ++k)
            std::memcpy(d + (at + k) * es, row + (i + k * step) * es, sizeof(T));
    });
}

// Asks for tile (col, row) for reading and makes *view a plain image of
// tile size over it. False when the tile did not come.
bool readTile(const ZolImage* im, int64_t col, int64_t row, ZolImage* view) {
    ZolTileInfo* t = im->tileInfo;
    t->callBack(im, int(col), int(row), ZOL_TILE_READ);
    *view = *im;
    view->roi = nullptr;
    view->maskROI = nullptr;
    view->tileInfo = nullptr;
    view->imageData = static_cast<char*>(t->tileData);
    view->width = t->width;
    view->height = t->height;
    view->widthStep = ownTileStep(im);  // imageSize is left: no fetcher reads it
    return view->imageData != nullptr;
}

void releaseTile(const ZolImage* im, int64_t col, int64_t row) {
    im->tileInfo->callBack(im, int(col), int(row), ZOL_TILE_RELEASE);
}

// The part of a walk from c in direction dir (+1 or -1), at most `left`
// long, that stays inside one tile of size t.
struct Piece {
    int64_t tile, pos, len;
};

Piece tilePiece(int64_t c, int dir, int64_t left, int t) {
    const int64_t pos = c % t;
    return {c / t, pos, std::min(left, dir > 0 ? t - pos : pos + 1)};
}

// Pixel rows of a plain source (an image or a tile view) and of a block.
struct Src {
    const char* data;
    int64_t step, planeStep;
};
struct Dst {
    char* data;
    int64_t stride, planeStep;
    int pixelBytes, planes;  // pixelBytes 0: one bit per pixel
    char* row(int p, int64_t i) const { return data + p * planeStep + i * stride; }
};

// n pixels from column x0 in direction dx to the block row from pixel bx.
void copyRun(const char* s, int64_t x0, int dx, int64_t n, char* d, int64_t bx, int pb) {
    if (pb == 0) {
        gather(ZOL_DEPTH_1U, s, x0, dx, d, bx, n);
    } else if (dx > 0) {
        std::memcpy(d + bx * pb, s + x0 * pb, size_t(n * pb));
    } else {
        for (int64_t k = 0; k < n; ++k)
            std::memcpy(d + (bx + k) * pb, s + (x0 - k) * pb, size_t(pb));
    }
}

// m rows from y0 in direction dy, each of n pixels from x0 in direction dx.
void copyPlain(const Src& s, int64_t x0, int dx, int64_t n, int64_t y0, int dy, int64_t m,
               const Dst& d, int64_t bx, int64_t by) {
    for (int p = 0; p < d.planes; ++p)
        for (int64_t i = 0; i < m; ++i)
            copyRun(s.data + p * s.planeStep + (y0 + dy * i) * s.step, x0, dx, n, d.row(p, by + i),
                    bx, d.pixelBytes);
}

// Spreads the pixel at `at` of a block row over the count - 1 pixels after
// it, doubling the copied stretch each time.
void ownFillRowFromPixel(char* row, int64_t at, int64_t count, int pb) {
    if (pb == 0) {
        fillBits(row, at + 1, count - 1, bitAt(reinterpret_cast<uint8_t*>(row), at));
        return;
    }
    char* p = row + at * pb;
    for (int64_t done = 1; done < count;) {
        const int64_t n = std::min(done, count - done);
        std::memcpy(p + done * pb, p, size_t(n * pb));
        done += n;
    }
}

// Copies pixels j0..j1-1 of block row i, in every plane, to the count - 1
// rows below it.
void ownFillFromRow(const Dst& d, int64_t i, int64_t count, int64_t j0, int64_t j1) {
    for (int p = 0; p < d.planes; ++p)
        for (int64_t k = 1; k < count; ++k)
            copyRun(d.row(p, i), j0, 1, j1 - j0, d.row(p, i + k), j0, d.pixelBytes);
}

// The constant of a side as ownGetRect stores it.
int32_t rectConst(int depth, int32_t c) {
    if (depth == ZOL_DEPTH_1U) return c & 1;
    if (depth != ZOL_DEPTH_32F) return c;  // the pattern keeps the low bits
    const float f = float(c);
    return load<int32_t>(reinterpret_cast<const char*>(&f));
}

// Fills a block of the infinite plane part by part: the band above the
// image, the left strip, the centre and the right strip of the rows inside,
// the band below.
class RectFetch {
public:
    RectFetch(const ZolImage* im, const int32_t* consts, const Dst& d, int x, int y, int w, int h)
        : im_(im), consts_(consts), d_(d), x_(x), y_(y), w_(w), h_(h) {}

    bool run() {
        const int64_t top = std::clamp<int64_t>(-y_, 0, h_);
        const int64_t bottom = std::clamp<int64_t>(im_->height - y_, top, h_);
        const int64_t left = std::clamp<int64_t>(-x_, 0, w_);
        const int64_t right = std::clamp<int64_t>(im_->width - x_, left, w_);
        // The centre lies inside, where wrap maps every coordinate to itself.
        return part(kTop, 0, top, 0, w_, true) && part(kLeft, top, bottom, 0, left, false) &&
               mapped(ZOL_BORDER_WRAP, top, bottom, left, right) &&
               part(kRight, top, bottom, right, w_, false) &&
               part(kBottom, bottom, h_, 0, w_, true);
    }

private:
    enum { kTop, kBottom, kLeft, kRight };

    // Block rows i0..i1-1, columns j0..j1-1 by the rule of one side. Bands
    // fill constant rows whole, padding included.
    bool part(int side, int64_t i0, int64_t i1, int64_t j0, int64_t j1, bool band) {
        if (i0 >= i1 || j0 >= j1) return true;
        const int mode = im_->borderMode[side] & 3;
        if (mode != ZOL_BORDER_CONSTANT) return mapped(mode, i0, i1, j0, j1);
        const Pattern pat = elemPattern(im_->depth, rectConst(im_->depth, consts_[side]));
        const int pb = d_.pixelBytes;
        for (int p = 0; p < d_.planes; ++p)
            for (int64_t i = i0; i < i1; ++i) {
                char* row = d_.row(p, i);
                if (band) fillPattern(row, d_.stride, pat);
                else if (pb == 0) fillBits(row, j0, j1 - j0, pat[0] != 0);
                else fillPattern(row + j0 * pb, (j1 - j0) * pb, pat);
            }
        return true;
    }

    // The same part by a folding mode: each axis is cut into runs that map
    // monotonically, each pair of runs is one ownCopyRect (one pixel, row or
    // column for replicated runs, spread afterwards). Any distance works.
    bool mapped(int mode, int64_t i0, int64_t i1, int64_t j0, int64_t j1) {
        for (int64_t i = i0; i < i1;) {
            const Run r = foldRun(y_ + i, i1 - i, im_->height, mode);
            for (int64_t j = j0; j < j1;) {
                const Run c = foldRun(x_ + j, j1 - j, im_->width, mode);
                if (ownCopyRect(im_, int(c.src), int(r.src), int(c.last()), int(r.last()), d_.data,
                                int(j), int(i), int(d_.stride), int(d_.planeStep), d_.pixelBytes,
                                d_.planes))
                    return false;
                if (c.dir == 0)
                    for (int64_t k = 0; k < (r.dir ? r.len : 1); ++k)
                        for (int p = 0; p < d_.planes; ++p)
                            ownFillRowFromPixel(d_.row(p, i + k), j, c.len, d_.pixelBytes);
                j += c.len;
            }
            if (r.dir == 0) ownFillFromRow(d_, i, r.len, j0, j1);
            i += r.len;
        }
        return true;
    }

    const ZolImage* im_;
    const int32_t* consts_;
    Dst d_;
    int64_t x_, y_, w_, h_;
};

}  // namespace

int ownBorderZone(const ZolImage* image, int x, int y) { return zoneOf(image, x, y); }

int ownZoneSide(int zone) { return zone & 1 ? 0 : zone & 2 ? 1 : zone & 4 ? 2 : 3; }

int64_t ownFoldCoord(int64_t c, int n, int mode) { return foldRun(c, 1, n, mode).src; }

int32_t ownGetPixel(const ZolImage* image, int x, int y, int channel) {
    const RowAt r = rowOf(image, y, channel);
    const int64_t i = r.first + int64_t(x) * r.step;
    switch (image->depth) {
        case ZOL_DEPTH_1U: return bitAt(reinterpret_cast<const uint8_t*>(r.row), i);
        case ZOL_DEPTH_8U: return load<uint8_t>(r.row + i);
        case ZOL_DEPTH_8S: return load<int8_t>(r.row + i);
        case ZOL_DEPTH_16U: return load<uint16_t>(r.row + 2 * i);
        case ZOL_DEPTH_16S: return load<int16_t>(r.row + 2 * i);
        default: return load<int32_t>(r.row + 4 * i);
    }
}

int32_t ownGetTiledPixel(const ZolImage* image, int x, int y, int channel) {
    const ZolTileInfo* t = image->tileInfo;
    if (!t) return ownGetPixel(image, x, y, channel);
    ZolImage view;
    if (!readTile(image, x / t->width, y / t->height, &view)) return 0;
    const int32_t v = ownGetPixel(&view, x % t->width, y % t->height, channel);
    releaseTile(image, x / t->width, y / t->height);
    return v;
}

int32_t ownGetBorderPixel(const ZolImage* image, int x, int y, int channel) {
    const int zone = zoneOf(image, x, y);
    if (!zone) return ownGetTiledPixel(image, x, y, channel);
    const int side = ownZoneSide(zone), mode = image->borderMode[side] & 3;
    if (mode == ZOL_BORDER_CONSTANT) return image->borderConst[side];
    return ownGetTiledPixel(image, int(ownFoldCoord(x, image->width, mode)),
                            int(ownFoldCoord(y, image->height, mode)), channel);
}

void ownGetRow(const ZolImage* image, int x, int y, int channel, void* buffer, int start,
               int count, int forward) {
    if (count <= 0) return;
    const RowAt r = rowOf(image, y, channel);
    gather(image->depth, r.row, r.first + int64_t(x) * r.step, forward ? r.step : -r.step, buffer,
           start, count);
}

void ownGetTiledRow(const ZolImage* image, int x, int y, int channel, void* buffer, int start,
                    int count, int forward) {
    const ZolTileInfo* t = image->tileInfo;
    if (!t) return ownGetRow(image, x, y, channel, buffer, start, count, forward);
    const int dir = forward ? 1 : -1;
    const int64_t row = y / t->height;
    int64_t cx = x;
    for (int64_t at = start, end = int64_t(start) + count; at < end;) {
        const Piece pc = tilePiece(cx, dir, end - at, t->width);
        ZolImage view;
        if (readTile(image, pc.tile, row, &view)) {
            ownGetRow(&view, int(pc.pos), y % t->height, channel, buffer, int(at), int(pc.len),
                      forward);
            releaseTile(image, pc.tile, row);
        } else {
            fillElems(image->depth, buffer, at, pc.len, 0);
        }
        cx += dir * pc.len;
        at += pc.len;
    }
}

void ownGetBorderRow(const ZolImage* image, int x, int y, int channel, void* buffer, int count) {
    const int W = image->width;
    int64_t cx = x;
    for (int64_t at = 0; at < count;) {
        // A run keeps one zone: it stops at x = 0 and x = W.
        const int zone = zoneOf(image, cx, y);
        const int side = ownZoneSide(zone);
        const int mode = zone ? image->borderMode[side] & 3 : ZOL_BORDER_WRAP;  // inside: identity
        const int64_t edge = cx < 0 ? -cx : cx < W ? W - cx : INT64_MAX;
        const int64_t left = std::min(count - at, edge);
        int64_t n = left;
        if (mode == ZOL_BORDER_CONSTANT) {
            fillElems(image->depth, buffer, at, n, image->borderConst[side]);
        } else {
            const Run r = foldRun(cx, left, W, mode);
            const int ym = int(ownFoldCoord(y, image->height, mode));
            n = r.len;
            if (r.dir == 0)
                fillElems(image->depth, buffer, at, n,
                          ownGetTiledPixel(image, int(r.src), ym, channel));
            else
                ownGetTiledRow(image, int(r.src), ym, channel, buffer, int(at), int(n), r.dir > 0);
        }
        cx += n;
        at += n;
    }
}

int ownCopyRect(const ZolImage* image, int xFrom, int yFrom, int xTo, int yTo, void* block,
                int blockX, int blockY, int stride, int planeStep, int pixelBytes, int planes) {
    const int dx = xTo < xFrom ? -1 : 1, dy = yTo < yFrom ? -1 : 1;
    const int64_t n = (int64_t(xTo) - xFrom) * dx + 1, m = (int64_t(yTo) - yFrom) * dy + 1;
    const Dst d{static_cast<char*>(block), stride, planeStep, pixelBytes, planes};
    if (image->imageData) {
        const Src s{image->imageData, image->widthStep, int64_t(image->widthStep) * image->height};
        copyPlain(s, xFrom, dx, n, yFrom, dy, m, d, blockX, blockY);
        return 0;
    }
    const ZolTileInfo* t = image->tileInfo;
    if (!t) return 1;
    for (int64_t i = 0; i < m;) {
        const Piece rp = tilePiece(yFrom + dy * i, dy, m - i, t->height);
        for (int64_t j = 0; j < n;) {
            const Piece cp = tilePiece(xFrom + dx * j, dx, n - j, t->width);
            ZolImage v;
            if (!readTile(image, cp.tile, rp.tile, &v)) return 1;
            const Src s{v.imageData, v.widthStep, int64_t(v.widthStep) * t->height};
            copyPlain(s, cp.pos, dx, cp.len, rp.pos, dy, rp.len, d, blockX + j, blockY + i);
            releaseTile(image, cp.tile, rp.tile);
            j += cp.len;
        }
        i += rp.len;
    }
    return 0;
}

void* ownGetRect(const ZolImage* image, int x, int y, int width, int height, int* stride) {
    return image ? ownGetRectWith(image, image->borderConst, x, y, width, height, stride) : nullptr;
}

void* ownGetRectWith(const ZolImage* image, const int32_t* borderConst, int x, int y, int width,
                     int height, int* stride) {
    if (!image || (image->dataOrder != ZOL_DATA_ORDER_PIXEL &&
                   image->dataOrder != ZOL_DATA_ORDER_PLANE) ||
        !isKnownDepth(image->depth) || (image->align != 4 && image->align != 8))
        return nullptr;
    const int nCh = image->nChannels;
    if (image->width <= 0 || image->height <= 0 || nCh <= 0 ||
        (image->depth == ZOL_DEPTH_1U && nCh != 1) || width < 0 || height < 0)
        return nullptr;
    if (image->tileInfo && (image->tileInfo->width <= 0 || image->tileInfo->height <= 0))
        return nullptr;
    const bool plane = image->dataOrder == ZOL_DATA_ORDER_PLANE;
    // Row bits within an int's bytes, so that the step arithmetic cannot overflow.
    const int64_t rowBits = int64_t(width) * depthBits(image->depth);
    if (!plane && rowBits > int64_t(INT_MAX) * 8 / nCh) return nullptr;
    Dst d{};
    d.stride = ownCalcStep(image->dataOrder, image->depth, image->align, nCh, width);
    d.planeStep = d.stride * height;
    d.planes = plane ? nCh : 1;
    d.pixelBytes = elemSize(image->depth) * (plane ? 1 : nCh);
    if (d.stride > INT_MAX || d.planeStep > INT_MAX || d.planes * d.planeStep > INT_MAX - 16)
        return nullptr;
    const int64_t bytes = d.planes * d.planeStep;
    d.data = static_cast<char*>(zolMalloc(int(bytes + 16)));
    if (!d.data) return nullptr;
    // 1-bit padding bits stay clear.
    if (image->depth == ZOL_DEPTH_1U) std::memset(d.data, 0, size_t(bytes));
    if (!RectFetch(image, borderConst, d, x, y, width, height).run()) {
        zolFree(d.data);
        return nullptr;
    }
    if (stride) *stride = int(d.stride);
    return d.data;
}

}  // namespace zol
