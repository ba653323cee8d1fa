// Layout arithmetic of image headers, shared by the core and the families.
#pragma once

#include <cstddef>
#include <cstdint>

#include "zol.h"

namespace zol {

static_assert(sizeof(ZolImage) == 144, "ZolImage layout");
static_assert(offsetof(ZolImage, colorModel) == 20 && offsetof(ZolImage, roi) == 48 &&
                  offsetof(ZolImage, imageSize) == 80 && offsetof(ZolImage, imageData) == 88 &&
                  offsetof(ZolImage, widthStep) == 96 && offsetof(ZolImage, borderMode) == 100 &&
                  offsetof(ZolImage, borderConst) == 116 && offsetof(ZolImage, dataBase) == 136,
              "ZolImage field offsets");
static_assert(sizeof(ZolROI) == 20, "ZolROI layout");
static_assert(sizeof(ZolTileInfo) == 32 && offsetof(ZolTileInfo, tileData) == 16,
              "ZolTileInfo layout");

// Bits per channel value, without the sign flag.
inline int depthBits(int depth) { return depth & 0x7FFFFFFF; }
// Bytes per channel value; 0 for 1-bit images.
inline int elemSize(int depth) { return depthBits(depth) >> 3; }

bool isKnownDepth(int depth);

// Row step of the layout formulas, in 64-bit so that no argument overflows.
int64_t ownCalcStep(int dataOrder, int depth, int align, int nChannels, int width);
// Bytes of pixel data for a step, in 64-bit.
int64_t ownCalcSize(int dataOrder, int nChannels, int height, int64_t step);
// Row step of the tiles of a valid tiled image; 0 for anything else.
int ownTileStep(const ZolImage* image);

}  // namespace zol
