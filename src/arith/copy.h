// Row kernels of the copy, set and exchange family: block copy, fill and
// swap of byte runs at memory bandwidth, and their 1-bit counterparts.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/simd.h"

namespace zol {
namespace copyk {

// The 64-bit fill pattern of an element value of 1, 2 or 4 bytes: the
// low bytes of value repeated.
uint64_t fillPattern(int bytes, uint32_t value);

// n bytes from s to d; overlapping runs are allowed.
void copyRow(const uint8_t* s, uint8_t* d, size_t n);
// n bytes of d from the pattern, byte i taking byte (i mod 8) of pattern
// (little-endian): d must start on an element border.
void fillRow(uint8_t* d, size_t n, uint64_t pattern);
// Swaps n bytes of a and b; the runs must not overlap.
void swapRow(uint8_t* a, uint8_t* b, size_t n);

// count bits from bit aBit of a with count bits from bit bBit of b (most
// significant bit first); the bits around the runs keep their values.
void swapBitRow(uint8_t* a, int64_t aBit, uint8_t* b, int64_t bBit, int64_t count);
// Sets (value != 0) or clears count bits from bit dBit of d.
void fillBitRow(uint8_t* d, int64_t dBit, int64_t count, bool value);

}  // namespace copyk

// The row kernels that have a SIMD form (copy_simd.cpp): the patterned
// fill and the swap. The copy itself stays the C library's move.
using FillRowFn = void (*)(uint8_t* d, size_t n, uint64_t pattern);
using SwapRowFn = void (*)(uint8_t* a, uint8_t* b, size_t n);
struct CopyKernels {
    FillRowFn fillRow;
    SwapRowFn swapRow;
};

// Lets the SIMD form override the entries of k it covers (copy_simd.cpp).
void copySimd(Form form, CopyKernels& k);

// The kernels for the active form, and which form that is.
const CopyKernels& copyKernels();
Form copyForm();

}  // namespace zol
