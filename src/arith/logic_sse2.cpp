// SSE2 forms of the logic kernels.
#include <emmintrin.h>

#include "arith/logic.h"

namespace zol {
namespace sse2 {

void xorConstRun(const uint8_t* s, uint8_t* d, size_t n, uint32_t pattern) {
    const __m128i p = _mm_set1_epi32(int(pattern));
    size_t i = 0;
    for (; i + 16 <= n; i += 16) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + i));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d + i), _mm_xor_si128(v, p));
    }
    // i is a multiple of 16, so the tail keeps the pattern's phase.
    plain::xorConstRun(s + i, d + i, n - i, pattern);
}

}  // namespace sse2
}  // namespace zol
