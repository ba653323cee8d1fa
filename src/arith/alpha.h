// Row kernels of alpha compositing. Each route has its own formulas and
// its own exact results; the kernels work on contiguous rows of a chunk:
// colours A and B, alphas a and b, and write a row of results.
#pragma once

#include <cstdint>

#include "arith/alphaframe.h"
#include "core/simd.h"

namespace zol {

enum class CompositeRoute { Floating = 0, Integer = 1, Packed = 2 };

template <class T>
using ColourRow = void (*)(int n, const T* A, const T* B, const T* a, const T* b, T* out);
template <class T>
using AlphaRow = void (*)(int n, const T* a, const T* b, T* out);

constexpr int kRoutes = 3, kOperators = 6;

// How a row of 8-bit RGBA pixels (alpha last, in pixel order) takes its
// alphas.
struct RgbaAlphas {
    int aFrom;  // 0: srcA's alpha byte, 1: aConst
    int bFrom;  // 0: srcB's alpha byte, 1: bConst, 2: M - a
    uint8_t aConst, bConst;
    bool writeAlpha;  // else the destination's alpha byte stays
};
// n pixels; D may be A or B.
using RgbaRow = void (*)(int n, const uint8_t* A, const uint8_t* B, uint8_t* D,
                         const RgbaAlphas& how);

// The row kernels of the family, by route, operator and premultiplication,
// and the runs of scaled multiplication (d may be a or b exactly).
struct AlphaKernels {
    ColourRow<uint8_t> colour8[kRoutes][kOperators][2];
    AlphaRow<uint8_t> alpha8[kRoutes][kOperators];
    ColourRow<uint16_t> colour16[kRoutes][kOperators][2];
    AlphaRow<uint16_t> alpha16[kRoutes][kOperators];
    RgbaRow rgba8[kRoutes][kOperators][2];  // NULL on the floating route
    void (*mul8)(uint8_t* d, const uint8_t* a, const uint8_t* b, size_t n);
    void (*mulS8)(uint8_t* d, const uint8_t* a, uint32_t v, size_t n);
    void (*mul16)(uint16_t* d, const uint16_t* a, const uint16_t* b, size_t n);
    void (*mulS16)(uint16_t* d, const uint16_t* a, uint32_t v, size_t n);
};

// The table of the active form, and the plain one (tails of SIMD rows).
const AlphaKernels& alphaKernels();
const AlphaKernels& plainAlphaKernels();
Form alphaForm();
// Lets the SIMD form of a target override the entries it covers.
void alphaSimd(Form form, AlphaKernels& k);

template <class T>
inline ColourRow<T> colourRow(const AlphaKernels& k, int op, CompositeRoute route, bool premul) {
    if constexpr (sizeof(T) == 1) return k.colour8[int(route)][op][premul];
    else return k.colour16[int(route)][op][premul];
}
template <class T>
inline AlphaRow<T> alphaRow(const AlphaKernels& k, int op, CompositeRoute route) {
    if constexpr (sizeof(T) == 1) return k.alpha8[int(route)][op];
    else return k.alpha16[int(route)][op];
}

// out = div(c * p) for a row of colours and alphas (p NULL: the constant).
template <class T>
void premultiplyRow(int n, const T* c, const T* p, uint32_t constant, T* out);

// The floating route's rounding: add 2^23 in double, round to single
// precision, keep the mantissa; capped at M.
template <class T>
inline uint32_t roundFloating(double v) {
    const float f = float(v + 8388608.0);
    uint32_t bits;
    __builtin_memcpy(&bits, &f, 4);
    bits &= 0x7FFFFF;
    return bits > kTop<T> ? kTop<T> : bits;
}

}  // namespace zol
