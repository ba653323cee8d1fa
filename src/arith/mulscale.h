// Row kernels of scaled multiplication: the full range of the depth is
// 1.0, so the top value leaves the other factor unchanged.
#pragma once

#include <cstddef>
#include <cstdint>

#include "arith/alphaframe.h"

namespace zol {

template <class T>
inline T mulScale(uint32_t a, uint32_t b) {
    return T(divTop<T>(a * b));
}

// d[i] = a[i] * b[i] / M. d may be a or b exactly; other overlaps are not
// allowed.
template <class T>
void mulScaleRun(T* d, const T* a, const T* b, size_t n);
// d[i] = a[i] * v / M, v already within 0..M. d may be a.
template <class T>
void mulScaleRunS(T* d, const T* a, uint32_t v, size_t n);

}  // namespace zol
