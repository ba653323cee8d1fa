// Convolution kernels: the checks and the reach shared by the 2-D and the
// separable convolution.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/neighbour.h"
#include "core/simd.h"
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

// The hot row kernels of both convolutions, in a table per form: the plain
// forms below, overridden by the SIMD forms of filter/convolve_simd.cpp.
// Every form gives the same bits; SIMD forms leave tails to the plain ones.
namespace convk {
// acc[e] = sum of a 3x3 (5x5) kernel over 8-bit rows: rows[j] + x0 + e + i * P
// is the sample under tap (i, j); 16-bit sums that the class bounds.
using WholeFn = void (*)(int16_t* acc, const uint8_t* const* rows, int x0, const int32_t* c,
                         int P, int n);
// acc[e] (first: 0) + sum over i < kw of c[i] * s[e + i * P], 16-bit sums.
using RowFn = void (*)(int16_t* acc, const uint8_t* s, const int32_t* c, int kw, int P, int n,
                       bool first);
// out[e] = a[e] clamped to lo..hi, 0 <= lo <= hi <= 255 (8U and 1U).
using StoreFn = void (*)(uint8_t* out, const int16_t* a, int n, int lo, int hi);
// acc[e] = float(double(acc[e]) + c * double(s[e])): one tap of the float class.
using TapFn = void (*)(float* acc, const float* s, double c, int n);
// The separable column pass on 16-bit lines: t[u] = sum over j < ny of
// c[j] * rows[j][u].
using SepColumnFn = void (*)(int16_t* t, const uint8_t* const* rows, const int32_t* c, int ny,
                             int64_t n);
// The separable row pass of up to seven taps with its shift and clamp:
// out[e] = clamp((sum over i of c[i] * t[e + i * P], modulo 2^32) >> sh), the
// clamp's bounds within 0..255 (8U and 1U).
using SepRowFn = void (*)(uint8_t* out, const int16_t* t, const int32_t* c, int nx, int P, int n,
                          int sh, int lo, int hi);

namespace plain {
void whole3x3(int16_t* acc, const uint8_t* const* rows, int x0, const int32_t* c, int P, int n);
void whole5x5(int16_t* acc, const uint8_t* const* rows, int x0, const int32_t* c, int P, int n);
void row(int16_t* acc, const uint8_t* s, const int32_t* c, int kw, int P, int n, bool first);
void store(uint8_t* out, const int16_t* a, int n, int lo, int hi);
void tap(float* acc, const float* s, double c, int n);
void sepColumn(int16_t* t, const uint8_t* const* rows, const int32_t* c, int ny, int64_t n);
void sepRow(uint8_t* out, const int16_t* t, const int32_t* c, int nx, int P, int n, int sh, int lo,
            int hi);
}  // namespace plain
}  // namespace convk

struct ConvKernels {
    convk::WholeFn whole3x3, whole5x5;
    convk::RowFn row;
    convk::StoreFn store;
    convk::TapFn tap;
    convk::SepColumnFn sepColumn;
    convk::SepRowFn sepRow;
    // sepRow where the caller knows every partial row sum fits 16 bits.
    convk::SepRowFn sepRowShort;
};

const ConvKernels& convKernels();
void convSimd(Form form, ConvKernels& k);
// The form the table of the convolutions follows now.
Form convForm();

}  // namespace zol
