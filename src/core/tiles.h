// Tiled images: the cursor over a tile grid, views, and the band walk that
// runs a kernel piece by piece over the tiles of up to three images.
#pragma once

#include <cstdint>

#include "core/rect.h"
#include "zol.h"

namespace zol {

class Frame;
struct Plan;

// Position of a walk in one image's tile grid. left/right bound the current
// tile in x, top/bottom in y; the first* fields are the values at the start
// of a band.
struct ownTileCursor {
    int32_t tiled, firstLeft, left, firstRight, right, top, bottom, firstColumn, column, row,
        tileHeight, tileWidth;
};

// Prepares view and cursor for the rectangle rect of image. An untiled
// image keeps its pixels in the view; a tiled one gets a view of tile size
// with the tiles' row step, and a cursor on the tile holding rect's corner.
void ownTileSetup(const ZolImage* image, ZolImage* view, const ownRect* rect,
                  ownTileCursor* cursor);

// A kernel called once per piece, with views of the sources (in order), of
// the destination and of the mask.
using PieceKernel = void (*)(void* context, const ZolImage* const* src, ZolImage* dst,
                             const ZolImage* mask, const Plan& plan);

struct WalkOptions {
    // A source that is the destination shares its view and tiles.
    bool inPlace = true;
    // After each release the callback must have cleared tileData.
    bool requireCleared = false;
};

// Runs kernel over the common rectangle of the images in bands of rows and
// pieces of columns, each piece lying in one tile of every tiled image.
// Returns false after reporting a tile that did not come; pieces done stay
// written.
bool ownBandWalk(const Frame& frame, int nSrc, const ZolImage* const* src, ZolImage* dst,
                 const ZolImage* mask, const Plan& plan, PieceKernel kernel, void* context,
                 const WalkOptions& options, int line);

}  // namespace zol
