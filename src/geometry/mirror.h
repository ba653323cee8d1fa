// The flip core behind zolMirror and its kernel table.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/simd.h"
#include "zol.h"

namespace zol {
namespace geo {

// A region's first selected element and how to move from it: bytes per
// row, per pixel and per channel (a plane's size in plane order). For
// 1-bit images pix is 0 and bit the region's first bit in the row.
struct MirrorView {
    char* p = nullptr;
    ptrdiff_t row = 0, pix = 0, ch = 0;
    int64_t bit = 0;
};
// A mask's first bit of the region; p NULL for no mask.
struct MirrorMask {
    const uint8_t* p = nullptr;
    ptrdiff_t row = 0;
    int64_t bit = 0;
};

// Rows of ch-channel 8-bit pixels (1, 3 or 4 channels) copied with the
// pixel order reversed.
void reverseRow8(const uint8_t* s, uint8_t* d, int w, int ch);

struct MirrorKernels {
    void (*reverse8)(const uint8_t* s, uint8_t* d, int w, int ch);
};
void mirrorSimd(Form form, MirrorKernels& k);
const MirrorKernels& mirrorKernels();
// The form the family picks now.
Form mirrorForm();

// Flips a w x h region of ch channels from s to d (the same memory when
// inPlace; masks are then not allowed). 1-bit regions with a mask have
// every bit written, 0 where a mask bit is clear.
void ownMirrorRegion(const MirrorView& s, const MirrorView& d, const MirrorMask& sm,
                     const MirrorMask& dm, int depth, int ch, int w, int h, int axis, bool inPlace,
                     const MirrorKernels& k);

}  // namespace geo
}  // namespace zol
