// Row kernel of the moments: the four exact sums of p * x^k (k = 0..3)
// over a contiguous 8U row whose first pixel lies at x. The caller takes
// it only where every partial sum stays below 2^53.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/simd.h"

namespace zol {

using MomentRowFn = void (*)(const uint8_t* s, size_t n, int64_t x, int64_t out[4]);

struct MomentKernels {
    MomentRowFn rows8;
};

namespace plain {
void momentRow8(const uint8_t* s, size_t n, int64_t x, int64_t out[4]);
// Adds block sums s0 = sum p, t_m = sum p * k^m (k from 0 at X) into out
// as the sums of p * (X + k)^m.
inline void addBlock(int64_t X, uint64_t s0, uint64_t t1, uint64_t t2, uint64_t t3,
                     int64_t out[4]) {
    const int64_t a = int64_t(s0), b = int64_t(t1), c = int64_t(t2), d = int64_t(t3);
    out[0] += a;
    out[1] += a * X + b;
    out[2] += (a * X + 2 * b) * X + c;
    out[3] += ((a * X + 3 * b) * X + 3 * c) * X + d;
}
}  // namespace plain

void momentsSimd(Form form, MomentKernels& k);
const MomentKernels& momentKernels();
Form momentsForm();

}  // namespace zol
