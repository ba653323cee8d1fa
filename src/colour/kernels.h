// The hot rows of the colour family as a kernel table: 8-bit RGB to YCrCb,
// YUV, XYZ, HSV and gray, and the 8-bit colour twist, on three-channel
// pixels. The
// plain forms are the reference; the SIMD forms (colour_simd.cpp) override
// the entries and give the same bytes.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/simd.h"

namespace zol {

// The 2^14 weights of 8-bit YCrCb; Y is taken as a byte before the
// differences, and every result is stored in its low 8 bits.
inline void ycc8Pixel(int32_t r, int32_t g, int32_t b, uint8_t* o) {
    const int32_t y = ((4898 * r + 9617 * g + 1867 * b + 8192) >> 14) & 0xFF;
    o[0] = uint8_t(y);
    o[1] = uint8_t((9246 * (b - y) + 0x200000) >> 14);
    o[2] = uint8_t((11686 * (r - y) + 0x200000) >> 14);
}

inline uint8_t gray8Pixel(int32_t r, int32_t g, int32_t b) {
    return uint8_t((54 * r + 183 * g + 18 * b) >> 8);
}

// A twist whose sums all fit 32 bits (the caller checked the bound).
struct Twist8 {
    int32_t m[3][4];
    int shift;
    int32_t offset;  // cut to -512..512, which changes no result
};

inline uint8_t twist8Out(int32_t sum, int shift, int32_t offset) {
    int32_t y = sum >> shift;
    y = y < 0 ? 0 : (y > 255 ? 255 : y);
    y += offset;
    return uint8_t(y < 0 ? 0 : (y > 255 ? 255 : y));
}

// n pixels of three bytes; bgr: red is the third byte of a source pixel.
using Ycc8Run = void (*)(const uint8_t* s, uint8_t* d, size_t n, bool bgr);
using Gray8Run = void (*)(const uint8_t* s, uint8_t* d, size_t n, bool bgr);
using Twist8Run = void (*)(const uint8_t* s, uint8_t* d, size_t n, const Twist8& t);

using Conv8Run = void (*)(const uint8_t* s, uint8_t* d, size_t n, bool bgr);

struct ColourKernels {
    Ycc8Run ycc8;
    Gray8Run gray8;
    Twist8Run twist8;
    Conv8Run yuv8;  // into signed bytes
    Conv8Run xyz8;
    Conv8Run hsv8;
    Conv8Run hsvBack8;  // bgr: red is the third byte of a destination pixel
};

namespace plain {
// In convert.cpp, beside the formulas they share with the other layouts.
void yuv8(const uint8_t* s, uint8_t* d, size_t n, bool bgr);
void xyz8(const uint8_t* s, uint8_t* d, size_t n, bool bgr);
void hsv8(const uint8_t* s, uint8_t* d, size_t n, bool bgr);
void hsvBack8(const uint8_t* s, uint8_t* d, size_t n, bool bgr);
void ycc8(const uint8_t* s, uint8_t* d, size_t n, bool bgr);
void gray8(const uint8_t* s, uint8_t* d, size_t n, bool bgr);
void twist8(const uint8_t* s, uint8_t* d, size_t n, const Twist8& t);
}  // namespace plain

void colourSimd(Form form, ColourKernels& k);
const ColourKernels& colourKernels();
Form colourForm();

}  // namespace zol
