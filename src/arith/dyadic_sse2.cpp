// SSE2 forms of the dyadic arithmetic kernels.
#include <emmintrin.h>

#include "arith/dyadic.h"

namespace zol {
namespace sse2 {

namespace {

inline __m128i load(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }
inline void store(void* p, __m128i v) { _mm_storeu_si128(static_cast<__m128i*>(p), v); }

// 16 products of 8-bit elements: widened to 16 bits, where they are exact,
// then narrowed with saturation. 8U clamps first, packus being signed.
template <class T>
inline __m128i mul8(__m128i a, __m128i b) {
    if constexpr (std::is_unsigned_v<T>) {
        const __m128i z = _mm_setzero_si128(), top = _mm_set1_epi16(255);
        __m128i lo = _mm_mullo_epi16(_mm_unpacklo_epi8(a, z), _mm_unpacklo_epi8(b, z));
        __m128i hi = _mm_mullo_epi16(_mm_unpackhi_epi8(a, z), _mm_unpackhi_epi8(b, z));
        lo = _mm_sub_epi16(lo, _mm_subs_epu16(lo, top));  // min(p, 255)
        hi = _mm_sub_epi16(hi, _mm_subs_epu16(hi, top));
        return _mm_packus_epi16(lo, hi);
    } else {
        const __m128i lo = _mm_mullo_epi16(_mm_srai_epi16(_mm_unpacklo_epi8(a, a), 8),
                                           _mm_srai_epi16(_mm_unpacklo_epi8(b, b), 8));
        const __m128i hi = _mm_mullo_epi16(_mm_srai_epi16(_mm_unpackhi_epi8(a, a), 8),
                                           _mm_srai_epi16(_mm_unpackhi_epi8(b, b), 8));
        return _mm_packs_epi16(lo, hi);
    }
}

// 16U: any bit in the high half of the 32-bit product saturates. 16S: the
// 32-bit products, narrowed with saturation.
template <class T>
inline __m128i mul16(__m128i a, __m128i b) {
    const __m128i lo = _mm_mullo_epi16(a, b);
    if constexpr (std::is_unsigned_v<T>) {
        const __m128i fits = _mm_cmpeq_epi16(_mm_mulhi_epu16(a, b), _mm_setzero_si128());
        return _mm_or_si128(lo, _mm_andnot_si128(fits, _mm_set1_epi32(-1)));
    } else {
        const __m128i hi = _mm_mulhi_epi16(a, b);
        return _mm_packs_epi32(_mm_unpacklo_epi16(lo, hi), _mm_unpackhi_epi16(lo, hi));
    }
}

// 32S sum and difference wrap, and where the sign shows an overflow the
// result is the bound on a's side.
template <DyOp op>
inline __m128i addSub32(__m128i a, __m128i b) {
    const __m128i r = op == DyOp::Add ? _mm_add_epi32(a, b) : _mm_sub_epi32(a, b);
    const __m128i over = op == DyOp::Add
                             ? _mm_and_si128(_mm_xor_si128(a, r), _mm_xor_si128(b, r))
                             : _mm_and_si128(_mm_xor_si128(a, b), _mm_xor_si128(a, r));
    const __m128i m = _mm_srai_epi32(over, 31);
    const __m128i bound = _mm_xor_si128(_mm_srai_epi32(a, 31), _mm_set1_epi32(0x7FFFFFFF));
    return _mm_or_si128(_mm_andnot_si128(m, r), _mm_and_si128(m, bound));
}

// 32S product in doubles: exact wherever it fits 32 bits, and rounding
// can't carry a product across a bound, so clamping there is exact too.
inline __m128i mul32Half(__m128i a, __m128i b) {
    __m128d p = _mm_mul_pd(_mm_cvtepi32_pd(a), _mm_cvtepi32_pd(b));
    p = _mm_min_pd(_mm_max_pd(p, _mm_set1_pd(-2147483648.0)), _mm_set1_pd(2147483647.0));
    return _mm_cvttpd_epi32(p);
}

inline __m128i mul32(__m128i a, __m128i b) {
    return _mm_unpacklo_epi64(mul32Half(a, b),
                              mul32Half(_mm_srli_si128(a, 8), _mm_srli_si128(b, 8)));
}

template <DyOp op, class T>
inline __m128i vec(__m128i a, __m128i b) {
    constexpr bool u = std::is_unsigned_v<T>;
    if constexpr (sizeof(T) == 1) {
        if constexpr (op == DyOp::Add) return u ? _mm_adds_epu8(a, b) : _mm_adds_epi8(a, b);
        else if constexpr (op == DyOp::Sub) return u ? _mm_subs_epu8(a, b) : _mm_subs_epi8(a, b);
        else return mul8<T>(a, b);
    } else if constexpr (sizeof(T) == 2) {
        if constexpr (op == DyOp::Add) return u ? _mm_adds_epu16(a, b) : _mm_adds_epi16(a, b);
        else if constexpr (op == DyOp::Sub) return u ? _mm_subs_epu16(a, b) : _mm_subs_epi16(a, b);
        else return mul16<T>(a, b);
    } else if constexpr (std::is_same_v<T, int32_t>) {
        if constexpr (op == DyOp::Mul) return mul32(a, b);
        else return addSub32<op>(a, b);
    } else {
        const __m128 x = _mm_castsi128_ps(a), y = _mm_castsi128_ps(b);
        const __m128 r = op == DyOp::Add ? _mm_add_ps(x, y)
                         : op == DyOp::Sub ? _mm_sub_ps(x, y)
                                           : _mm_mul_ps(x, y);
        // A NaN in a wins, quieted, as in the plain form.
        const __m128 nan = _mm_cmpunord_ps(x, x);
        const __m128 qa = _mm_or_ps(x, _mm_castsi128_ps(_mm_set1_epi32(0x00400000)));
        return _mm_castps_si128(_mm_or_ps(_mm_andnot_ps(nan, r), _mm_and_ps(nan, qa)));
    }
}

template <DyOp op, class T>
void runOf(const T* a, const T* b, T* d, size_t n) {
    constexpr size_t lanes = 16 / sizeof(T);
    size_t i = 0;
    for (; i + 2 * lanes <= n; i += 2 * lanes) {
        const __m128i x = vec<op, T>(load(a + i), load(b + i));
        const __m128i y = vec<op, T>(load(a + i + lanes), load(b + i + lanes));
        store(d + i, x);
        store(d + i + lanes, y);
    }
    for (; i + lanes <= n; i += lanes) store(d + i, vec<op, T>(load(a + i), load(b + i)));
    // The last elements go to the plain form, which owns the element arithmetic.
    if (i < n) kPlainDyadic[dyDepthOf<T>()][int(op)](a + i, b + i, d + i, n - i);
}

}  // namespace

ZOL_DYADIC_NAMED_KERNELS

void andNot(const uint32_t* a, const uint32_t* b, uint32_t* d, size_t n) {
    size_t i = 0;
    for (; i + 4 <= n; i += 4) store(d + i, _mm_andnot_si128(load(b + i), load(a + i)));
    for (; i < n; ++i) d[i] = a[i] & ~b[i];
}

}  // namespace sse2
}  // namespace zol
