// Internals of the bitmap family: the run-length codec and the layout
// arithmetic of bitmaps, shared by import, the codec and their tests.
#pragma once

#include <cstddef>
#include <cstdint>

#include "zol.h"

namespace zol {

static_assert(sizeof(ZolBitmapInfoHeader) == 40, "ZolBitmapInfoHeader layout");
static_assert(offsetof(ZolBitmapInfoHeader, biPlanes) == 12 &&
                  offsetof(ZolBitmapInfoHeader, biCompression) == 16 &&
                  offsetof(ZolBitmapInfoHeader, biClrUsed) == 32,
              "ZolBitmapInfoHeader field offsets");
static_assert(sizeof(ZolRGBQuad) == 4, "ZolRGBQuad layout");

// Bytes of one bitmap row, 32-bit aligned, in 64-bit.
inline int64_t dibRowSize(int64_t width, int bits) { return ((width * bits + 31) & ~int64_t(31)) / 8; }

// Outcome of a decode: 0, or the context of the fault (the caller reports).
struct RleResult {
    uint8_t* block;       // zolMalloc'd rows in file order, or nullptr
    const char* context;  // fault text when block is nullptr
    int status;
};

// Decodes an RLE8 (bits 8) or RLE4 (bits 4) stream of at most `length`
// bytes into rows of dibRowSize(width, bits) bytes, `height` of them.
// Every read stays inside the stream and every write inside the block.
RleResult ownDecompressRLE(const uint8_t* stream, size_t length, int width, int height, int bits);

// The longest stream `height` rows of `width` pixels can need: two bytes a
// pixel plus the end codes.
size_t ownRleBound(int width, int height);

// Encodes `height` rows of `width` pixels (`stride` bytes apart, 8 or 4
// bits) into `stream` (ownRleBound bytes): each row alone, ended by 0,0,
// then 0,1. Returns the stream's length.
size_t ownEncodeRLE(const uint8_t* rows, ptrdiff_t stride, int width, int height, int bits, uint8_t* stream);

// Compresses a finished packed bitmap in place (biCompression 1 or 2):
// keeps the stream if shorter than the rows, else marks it uncompressed.
int ownCompressRLE(ZolBitmapInfoHeader* dib);

}  // namespace zol
