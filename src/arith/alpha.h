// Row kernels of alpha compositing. Each route has its own formulas and
// its own exact results; the kernels work on contiguous rows of a chunk:
// colours A and B, alphas a and b, and write a row of results.
#pragma once

#include <cstdint>

#include "arith/alphaframe.h"

namespace zol {

enum class CompositeRoute { Floating = 0, Integer = 1, Packed = 2 };

template <class T>
using ColourRow = void (*)(int n, const T* A, const T* B, const T* a, const T* b, T* out);
template <class T>
using AlphaRow = void (*)(int n, const T* a, const T* b, T* out);

// The kernels for a depth, operator (0..5), route and premultiplication.
template <class T>
ColourRow<T> colourRow(int op, CompositeRoute route, bool premul);
template <class T>
AlphaRow<T> alphaRow(int op, CompositeRoute route);

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
