// Border modes and the fetchers that read beyond an image's edges: one
// element, a run of one row, or a rectangle of any position and size, read
// from plain pixels or through tiles by the per-side rules of the header.
//
// Outside means outside width x height; the ROI plays no part. The
// per-element and per-row fetchers expect a checked header (width and
// height above 0); ownGetRect checks the layout itself. Mode values above
// 3 act by their lowest two bits in every fetcher.
#pragma once

#include <cstdint>

#include "zol.h"

namespace zol {

// Zone of (x, y): bit 0 for y < 0, bit 1 for y >= height, bit 2 for x < 0,
// bit 3 for x >= width; 0 inside.
int ownBorderZone(const ZolImage* image, int x, int y);

// The side (0 top .. 3 right) whose mode and constant rule an outer zone.
// Zones above or below the image, corners included, follow the top or
// bottom side, and that mode then maps both coordinates.
int ownZoneSide(int zone);

// Coordinate c (any value) mapped into 0..n-1 by mode & 3: replicate
// clamps, reflect mirrors with the edge repeated (period 2n), wrap repeats
// (period n). Constant leaves c as it is. Coordinates inside stay.
int64_t ownFoldCoord(int64_t c, int n, int mode);

// Element `channel` (from 1) of (x, y) in a plain image, (x, y) inside:
// 8U and 16U zero-extended, 8S and 16S sign-extended, 32S whole, 1U 0 or 1.
// For 32F the float's bits are returned as they are.
int32_t ownGetPixel(const ZolImage* image, int x, int y, int channel);

// ownGetPixel on an image that may be tiled, asking for the one tile that
// holds (x, y). A tile that does not come reads as 0 and gets no release:
// nothing was handed over, so there is nothing to give back.
int32_t ownGetTiledPixel(const ZolImage* image, int x, int y, int channel);

// The element at any (x, y) by the border rules: an outer zone in constant
// mode gives the side's borderConst unconverted; otherwise the coordinates
// are mapped and the element is read (through tiles if needed).
int32_t ownGetBorderPixel(const ZolImage* image, int x, int y, int channel);

// Copies count elements of row y, channel `channel` (from 1), of a plain
// image from column x rightwards (forward) or leftwards, into buffer from
// element index start on, rightwards, at the elements' own width. For 1U
// images start and x are bit positions. The columns read lie inside.
void ownGetRow(const ZolImage* image, int x, int y, int channel, void* buffer, int start,
               int count, int forward);

// ownGetRow on an image that may be tiled: the run is cut at tile borders
// in its direction, each piece read between a READ and a RELEASE. A piece
// whose tile does not come is stored as zeros, without a release, and the
// run goes on, so that each element agrees with ownGetTiledPixel.
void ownGetTiledRow(const ZolImage* image, int x, int y, int channel, void* buffer, int start,
                    int count, int forward);

// count elements of row y of the infinite plane from column x, in rising
// x, into buffer from element 0 (bit 0 for 1U). Constant runs store the raw
// borderConst at the element's width (for 32F its bits; for 1U any
// non-zero value gives ones).
void ownGetBorderRow(const ZolImage* image, int x, int y, int channel, void* buffer, int count);

// Copies the rectangle between the corners (xFrom, yFrom) and (xTo, yTo),
// both included and both inside the image, into block at pixel (blockX,
// blockY), walking from the From corner to the To corner: reversed corners
// give a mirrored copy. pixelBytes is one pixel in the block's layout, 0
// for 1U. A tiled image is read one tile at a time (READ, copy, RELEASE),
// tile rows outside, in the walk's direction: never two tiles held, so an
// application may serve every tile from one buffer. Returns 0, or 1 when a
// tile did not come (nothing is then held).
int ownCopyRect(const ZolImage* image, int xFrom, int yFrom, int xTo, int yTo, void* block,
                int blockX, int blockY, int stride, int planeStep, int pixelBytes, int planes);

// The rectangle at (x, y) of width x height of the infinite plane, all
// channels, in a block of the image's layout: stride (stored in *stride) is
// the row's bytes rounded up to align, planes of stride x height follow
// each other in plane order, and 16 spare bytes follow the last plane.
// Constants are taken by depth: the low bit (1U), byte or 16 bits, the
// value (32S), or the value converted to float (32F). The caller frees the
// block with zolFree. NULL for a bad layout, a negative size, a block too
// large for an int, no memory, or a tile that did not come.
void* ownGetRect(const ZolImage* image, int x, int y, int width, int height, int* stride);

// ownGetRect with the four side constants taken from borderConst instead of
// the header: a family that reads its constants differently (clamped to the
// depth, say) still hands the application's own header to the callback.
void* ownGetRectWith(const ZolImage* image, const int32_t* borderConst, int x, int y, int width,
                     int height, int* stride);

}  // namespace zol
