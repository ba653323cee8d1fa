// Plain forms of the colour family's table.
#include "colour/kernels.h"

namespace zol {
namespace plain {

void ycc8(const uint8_t* s, uint8_t* d, size_t n, bool bgr) {
    const int ri = bgr ? 2 : 0, bi = 2 - ri;
    for (size_t i = 0; i < n; ++i, s += 3, d += 3) ycc8Pixel(s[ri], s[1], s[bi], d);
}

void gray8(const uint8_t* s, uint8_t* d, size_t n, bool bgr) {
    const int ri = bgr ? 2 : 0, bi = 2 - ri;
    for (size_t i = 0; i < n; ++i, s += 3) d[i] = gray8Pixel(s[ri], s[1], s[bi]);
}

void twist8(const uint8_t* s, uint8_t* d, size_t n, const Twist8& t) {
    const Twist8 k = t;  // in locals: byte stores may alias the record
    for (size_t i = 0; i < n; ++i, s += 3, d += 3) {
        const int32_t p0 = s[0], p1 = s[1], p2 = s[2];
        uint8_t o[3];
        for (int r = 0; r < 3; ++r)
            o[r] = twist8Out(k.m[r][0] * p0 + k.m[r][1] * p1 + k.m[r][2] * p2 + k.m[r][3], k.shift,
                             k.offset);
        d[0] = o[0];
        d[1] = o[1];
        d[2] = o[2];
    }
}

}  // namespace plain

namespace {
ColourKernels makeTable(Form form) {
    ColourKernels k{plain::ycc8, plain::gray8, plain::twist8, plain::yuv8, plain::xyz8, plain::hsv8, plain::hsvBack8};
    colourSimd(form, k);
    return k;
}
}  // namespace

const ColourKernels& colourKernels() { return tableForActiveForm(makeTable); }
Form colourForm() { return activeForm(); }

}  // namespace zol
