// Row kernels of the norms over runs of 8U elements, where whole rows run
// contiguously: exact integer sums and maxima of a run, of |a| or |a - b|.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/simd.h"

namespace zol {

using NormRunFn = uint64_t (*)(const uint8_t* a, size_t n);
using NormPairFn = uint64_t (*)(const uint8_t* a, const uint8_t* b, size_t n);

struct NormKernels {
    NormRunFn sum8, sumSq8, max8;              // of a
    NormPairFn sumDiff8, sumSqDiff8, maxDiff8;  // of |a - b|
};

namespace plain {
uint64_t sum8(const uint8_t* a, size_t n);
uint64_t sumSq8(const uint8_t* a, size_t n);
uint64_t max8(const uint8_t* a, size_t n);
uint64_t sumDiff8(const uint8_t* a, const uint8_t* b, size_t n);
uint64_t sumSqDiff8(const uint8_t* a, const uint8_t* b, size_t n);
uint64_t maxDiff8(const uint8_t* a, const uint8_t* b, size_t n);
}  // namespace plain

// Lets the SIMD form of `form` override the entries it covers.
void normSimd(Form form, NormKernels& k);
const NormKernels& normKernels();
Form normForm();

}  // namespace zol
