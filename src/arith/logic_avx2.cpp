// AVX2 forms of the logic kernels.
#include <immintrin.h>

#include "arith/logic.h"

namespace zol {
namespace avx2 {

void xorConstRun(const uint8_t* s, uint8_t* d, size_t n, uint32_t pattern) {
    const __m256i p = _mm256_set1_epi32(int(pattern));
    size_t i = 0;
    for (; i + 64 <= n; i += 64) {
        const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(s + i));
        const __m256i b = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(s + i + 32));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + i), _mm256_xor_si256(a, p));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + i + 32), _mm256_xor_si256(b, p));
    }
    for (; i + 32 <= n; i += 32) {
        const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(s + i));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + i), _mm256_xor_si256(a, p));
    }
    plain::xorConstRun(s + i, d + i, n - i, pattern);
}

}  // namespace avx2
}  // namespace zol
