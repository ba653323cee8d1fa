// The tile group: serves windows of one size from several images whose tile
// grids differ, each window as one plain view per image. A window that lies
// in one tile is served in that tile; one that crosses tile borders is
// copied into a block of the group's, and copied back on release when the
// image is written. Used by the scaled-multiplication and compositing
// families, whose region functions want one plain view of each image.
#pragma once

#include <cstdint>

#include "zol.h"

namespace zol {

struct ownTileGroupEntry {
    const ZolImage* image;  // NULL: the entry is free
    int32_t useCount;       // views handed out for the current window
    int32_t mode;           // ZOL_TILE_READ or ZOL_TILE_WRITE
    ZolImage blockHeader;   // untiled image: the image itself; tiled: the block
    ZolROI blockRoi;
    ZolImage tileHeader;    // one tile of a tiled image
    ZolROI tileRoi;
    ZolImage* view;         // what the current window is served in
    int32_t tileWidth, tileHeight;  // 0 for an untiled image
    char** tileList;        // tiles under a window that needs the block
    int32_t tileListStride;
    int32_t firstColumn, lastColumn, firstRow, lastRow;
    bool hasBlock;          // block pixels and tile list allocated
};

struct ownTileGroup {
    int32_t capacity;
    int32_t blockWidth, blockHeight;
    int32_t status;  // 0, or the first failure: -2 tile refused, -4 memory, -1 copy
    int32_t x, y, width, height;  // the window, relative to each image's region
    int32_t count;                // entries in use
    ownTileGroupEntry* entries;
};

// NULL when memory is short.
ownTileGroup* ownTileGroupCreate(int capacity, int blockWidth, int blockHeight);
// 1-based handle of image's entry (an image added twice keeps its first
// entry and mode); -1 for no group or a group with a status, 0 for NULL
// image or a full group.
int ownTileGroupAdd(ownTileGroup* group, const ZolImage* image, int mode);
void ownTileGroupSetWindow(ownTileGroup* group, int x, int y, int width, int height);
// The window of the entry's image, as an image whose ROI is the window
// (with the image's coi); NULL for a bad handle, a group with a status, or a
// failure, which then becomes the group's status. Asking again before the
// release gives the same view.
ZolImage* ownTileGroupView(ownTileGroup* group, int handle);
// Releases every entry's tiles, writing written blocks back first.
void ownTileGroupReleaseAll(ownTileGroup* group);
// status, or -4 for no group or an empty one.
int ownTileGroupStatus(const ownTileGroup* group);
void ownTileGroupDelete(ownTileGroup* group);

// The walk of the families that use the group: the images, their modes and
// the region function to run on each window's views.
struct TileGroupImage {
    const ZolImage* image;  // may be NULL: takes no part
    int mode;
};

// Runs fn(views, width, height) over the common size w x h in windows
// aligned to the grid of the first tiled image among gridOrder; views come
// in the order of images (NULL where an image is NULL). Returns the group's
// final status (0, -2, -4, -1); the caller turns it into its report.
using WindowFn = void (*)(void* context, ZolImage* const* views, int width, int height);
int ownTileGroupWalk(const TileGroupImage* images, int nImages, const ZolImage* const* gridOrder,
                     int nGrid, int capacity, int w, int h, WindowFn fn, void* context);

// Reports a failed walk in func's name by the group's status; true when
// the walk succeeded.
bool ownTileGroupReport(int groupStatus, const char* func, const char* file, int line);

}  // namespace zol
