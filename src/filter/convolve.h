// Convolution kernels: the checks and the reach shared by the 2-D and the
// separable convolution.
#pragma once

#include <cstddef>

#include "core/neighbour.h"
#include "zol.h"

namespace zol {

static_assert(sizeof(ZolConvKernel) == 32 && offsetof(ZolConvKernel, values) == 16 &&
                  offsetof(ZolConvKernel, nShiftR) == 24,
              "ZolConvKernel layout");
static_assert(sizeof(ZolConvKernelFP) == 24 && offsetof(ZolConvKernelFP, values) == 16,
              "ZolConvKernelFP layout");

// Non-zero when the record's size or stored anchor cannot describe a kernel.
template <class K>
int ownBadKernel(const K* k) {
    return k->nRows < 1 || k->nCols < 1 || k->anchorX < 0 || k->anchorY < 0 ||
           k->nRows <= k->anchorY || k->nCols <= k->anchorX;
}

// The reach of n kernels by their stored anchors: left/top the largest
// stored anchor, right/bottom the largest size less stored anchor.
template <class K>
Reach ownKernelReach(K* const* kernels, int n) {
    Reach r{0, 0, 0, 0};
    for (int i = 0; i < n; ++i) {
        const K* k = kernels[i];
        if (k->anchorX > r.left) r.left = k->anchorX;
        if (k->anchorY > r.top) r.top = k->anchorY;
        if (k->nCols - k->anchorX > r.right) r.right = k->nCols - k->anchorX;
        if (k->nRows - k->anchorY > r.bottom) r.bottom = k->nRows - k->anchorY;
    }
    return r;
}

}  // namespace zol
