// The cell walk: one source and one destination, each from the corner of its
// own region, cut to the common size, optionally limited by the masks of both
// (combined into a temporary 1-bit image), and walked through tiles in cells
// that each lie in one tile of every tiled image. The operation supplies a
// row kernel; the walk owns every loop over tiles, cells and rows.
#pragma once

#include <cstddef>
#include <cstdint>

#include "zol.h"

namespace zol {

class Frame;

// One row of a cell, as a kernel sees it.
struct CellRow {
    const char* src;        // the row's first pixel (channel 0, or plane 0)
    char* dst;
    ptrdiff_t srcPlane;     // bytes from a plane to the next (plane order)
    ptrdiff_t dstPlane;
    const uint8_t* mask;    // mask row, nullptr when the walk is unmasked
    int64_t maskBit;        // bit of the row's first pixel, from bit 7 of mask[0]
    int64_t dstBit;         // 1-bit destination: bit of the row's first pixel in dst
    int width;              // pixels
};

using CellRowKernel = void (*)(void* context, const CellRow& row);

// Contexts of the failures during the walk, in the caller's words.
struct CellWalkTexts {
    const char* srcTile;    // a source tile whose tileData stayed null
    const char* dstTile;
    const char* maskHeader; // the temporary mask header could not be made
    const char* maskData;   // its pixels could not be had
    const char* andFailed;  // the conjunction of two masks failed
};

// The texts of the colour twist, which the threshold shares.
extern const CellWalkTexts kTwistWalkTexts;

// Whether the walk of these images will be limited by a mask.
inline bool cellWalkMasked(const ZolImage* src, const ZolImage* dst) {
    return src->maskROI != nullptr || dst->maskROI != nullptr;
}

// Runs kernel over every row of every cell. Images are checked headers of
// depth 8 or more, but for a destination of depth 1 (dst then points at
// the byte row and dstBit gives the first pixel's bit). src may be dst: it
// then shares the destination's tiles.
// A failure is reported through frame; the walk stops when the status is
// negative afterwards. Returns false when it stopped that way.
bool ownCellWalk(const Frame& frame, const ZolImage* src, ZolImage* dst, CellRowKernel kernel,
                 void* context, const CellWalkTexts& texts = kTwistWalkTexts,
                 int line = __builtin_LINE());

}  // namespace zol
