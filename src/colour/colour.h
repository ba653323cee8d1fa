// What the colour conversions, the gray conversions and the bit reduction
// share: the model-name checks, the channel addressing by channelSeq, and
// the destination-led tile walk that fetches each source rectangle.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>

#include "core/frame.h"
#include "zol.h"

namespace zol {

// One piece of a colour walk: a rectangle of the source (in its layout) and
// the destination's memory of the same size.
struct ColourPiece {
    const char* src;
    ptrdiff_t srcStep, srcPlane;  // bytes from row to row, and from plane to plane
    char* dst;
    ptrdiff_t dstStep, dstPlane;
    int width, height;
    int y0;  // the piece's first row in the destination's coordinates
};

using ColourKernel = void (*)(void* context, const ZolImage* src, ZolImage* dst,
                              const ColourPiece& piece);

// Whole images when neither has tiles (the smaller width and height);
// otherwise piece by piece over the destination's tiles, each source
// rectangle fetched through tiles and borders into a private block. False
// after a failure that ended the walk (reported).
bool ownColourWalk(const Frame& f, const ZolImage* src, ZolImage* dst, ColourKernel kernel,
                   void* context, int line = __builtin_LINE());

// The iterator of the destination-led walk, for walks that do more per tile.
// next() asks the callback for the next tile (or gives the whole of an
// untiled image once); release() gives it back.
class DstTiles {
public:
    explicit DstTiles(ZolImage* dst);
    bool next();
    void release();
    bool tiled() const { return tiled_; }
    int x, y, width, height, column, row;
    char* data;
    ptrdiff_t step, plane;

private:
    ZolImage* dst_;
    bool tiled_, done_ = false;
};

// Checks of the family, reported by f. fromRgb: the source must be RGB or
// BGR and dst have 3 channels. toRgb: the source must be of model `name`.
// checkDepth false for the YUV pair, whose depths differ.
bool colourFromRgbChecks(const Frame& f, const ZolImage* src, const ZolImage* dst,
                         bool checkDepth);
bool colourToRgbChecks(const Frame& f, const ZolImage* src, const ZolImage* dst,
                       const char* name, bool checkDepth);
bool modelIs(const char* field, const char* name);  // first 3 characters
bool isRgbImage(const ZolImage* im);   // colorModel "RGB", channelSeq "RGB" or "BGR"
bool isGrayImage(const ZolImage* im);  // colorModel "Gra"/"GRA", channelSeq "G"

// A channel of a piece: its first element and its steps, in bytes. A
// channel that a destination lacks points at a sink with steps of 0.
struct Chan {
    char* p;
    ptrdiff_t pix, row;
};

// Channels R, G, B (in this order) of the RGB side of a conversion: in
// pixel order by the first letter of channelSeq, in plane order by the
// plane each letter names.
void rgbChannels(const ZolImage* im, char* base, ptrdiff_t step, ptrdiff_t plane, Chan out[3],
                 char* sink);
// Channels 0, 1, 2 of the other side.
void plainChannels(const ZolImage* im, char* base, ptrdiff_t step, ptrdiff_t plane,
                   Chan out[3]);

// Truncation toward zero into 32 bits; values beyond the range saturate and
// NaN gives 0, so that no conversion is undefined.
inline int32_t truncToI32(double v) {
    if (!(v == v)) return 0;
    if (v >= 2147483647.0) return 2147483647;
    if (v <= -2147483648.0) return -2147483647 - 1;
    return int32_t(v);
}

}  // namespace zol
