// SSE2 forms of the logic kernels.
#include <emmintrin.h>

#include <type_traits>

#include "arith/logic.h"

namespace zol {
namespace sse2 {

namespace {

template <BitOp op>
inline __m128i apply(__m128i a, __m128i b) {
    if constexpr (op == BitOp::And) return _mm_and_si128(a, b);
    else if constexpr (op == BitOp::Or) return _mm_or_si128(a, b);
    else return _mm_xor_si128(a, b);
}

template <BitOp op>
inline unsigned applyByte(unsigned a, unsigned b) {
    if constexpr (op == BitOp::And) return a & b;
    else if constexpr (op == BitOp::Or) return a | b;
    else return a ^ b;
}

inline __m128i load(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }
inline void store(void* p, __m128i v) { _mm_storeu_si128(static_cast<__m128i*>(p), v); }

template <BitOp op>
void constRun(const uint8_t* s, uint8_t* d, size_t n, uint32_t pattern) {
    const __m128i p = _mm_set1_epi32(int(pattern));
    size_t i = 0;
    for (; i + 16 <= n; i += 16) store(d + i, apply<op>(load(s + i), p));
    // i is a multiple of 16, so the tail keeps the pattern's phase.
    for (; i < n; ++i) d[i] = uint8_t(applyByte<op>(s[i], pattern >> (8 * (i & 3))));
}

template <BitOp op>
void pairRun(const uint8_t* a, const uint8_t* b, uint8_t* d, size_t n) {
    size_t i = 0;
    for (; i + 32 <= n; i += 32) {
        const __m128i x = apply<op>(load(a + i), load(b + i));
        const __m128i y = apply<op>(load(a + i + 16), load(b + i + 16));
        store(d + i, x);
        store(d + i + 16, y);
    }
    for (; i + 16 <= n; i += 16) store(d + i, apply<op>(load(a + i), load(b + i)));
    for (; i < n; ++i) d[i] = uint8_t(applyByte<op>(a[i], b[i]));
}

// 8-bit lanes don't exist for shifts: 8-bit runs shift 16-bit lanes and
// keep only the bits that stayed inside their byte; the signed right shift
// restores the sign from the logical one, (t ^ s) - s with s the shifted
// sign bit.
struct ShiftConsts {
    __m128i count;
    __m128i keep, sign;
};

template <class T, bool Left>
inline ShiftConsts shiftConsts(unsigned count) {
    const unsigned keep = Left ? 0xFFu << count : 0xFFu >> count;
    return {_mm_cvtsi32_si128(int(count)), _mm_set1_epi8(char(uint8_t(keep))),
            _mm_set1_epi8(char(0x80u >> count))};
}

template <class T, bool Left>
inline __m128i shift(__m128i v, const ShiftConsts& k) {
    constexpr bool arithmetic = std::is_signed_v<T>;
    if constexpr (sizeof(T) == 1) {
        if constexpr (Left) return _mm_and_si128(_mm_sll_epi16(v, k.count), k.keep);
        const __m128i t = _mm_and_si128(_mm_srl_epi16(v, k.count), k.keep);
        if constexpr (!arithmetic) return t;
        else return _mm_sub_epi8(_mm_xor_si128(t, k.sign), k.sign);
    } else if constexpr (sizeof(T) == 2) {
        if constexpr (Left) return _mm_sll_epi16(v, k.count);
        else if constexpr (arithmetic) return _mm_sra_epi16(v, k.count);
        else return _mm_srl_epi16(v, k.count);
    } else {
        if constexpr (Left) return _mm_sll_epi32(v, k.count);
        else if constexpr (arithmetic) return _mm_sra_epi32(v, k.count);
        else return _mm_srl_epi32(v, k.count);
    }
}

template <class T, bool Left>
void shiftRun(const T* s, T* d, size_t n, unsigned count) {
    constexpr size_t lanes = 16 / sizeof(T);
    const ShiftConsts k = shiftConsts<T, Left>(count);
    size_t i = 0;
    for (; i + lanes <= n; i += lanes) store(d + i, shift<T, Left>(load(s + i), k));
    for (; i < n; ++i) {
        if constexpr (Left) d[i] = T(s[i] << count);
        else d[i] = T(s[i] >> count);
    }
}

}  // namespace

ZOL_LOGIC_NAMED_KERNELS

}  // namespace sse2
}  // namespace zol
