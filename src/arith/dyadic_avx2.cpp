// AVX2 forms of the dyadic arithmetic kernels. Unpacking and packing work
// within 128-bit lanes, so a widen-then-narrow pair keeps element order.
#include <immintrin.h>

#include "arith/dyadic.h"

namespace zol {
namespace avx2 {

namespace {

inline __m256i load(const void* p) { return _mm256_loadu_si256(static_cast<const __m256i*>(p)); }
inline void store(void* p, __m256i v) { _mm256_storeu_si256(static_cast<__m256i*>(p), v); }

// 8-bit products widened to 16 bits, where they are exact, then narrowed
// with saturation; 8U clamps first, packus being signed.
template <class T>
inline __m256i mul8(__m256i a, __m256i b) {
    if constexpr (std::is_unsigned_v<T>) {
        const __m256i z = _mm256_setzero_si256(), top = _mm256_set1_epi16(255);
        const __m256i lo =
            _mm256_mullo_epi16(_mm256_unpacklo_epi8(a, z), _mm256_unpacklo_epi8(b, z));
        const __m256i hi =
            _mm256_mullo_epi16(_mm256_unpackhi_epi8(a, z), _mm256_unpackhi_epi8(b, z));
        return _mm256_packus_epi16(_mm256_min_epu16(lo, top), _mm256_min_epu16(hi, top));
    } else {
        const __m256i lo =
            _mm256_mullo_epi16(_mm256_srai_epi16(_mm256_unpacklo_epi8(a, a), 8),
                               _mm256_srai_epi16(_mm256_unpacklo_epi8(b, b), 8));
        const __m256i hi =
            _mm256_mullo_epi16(_mm256_srai_epi16(_mm256_unpackhi_epi8(a, a), 8),
                               _mm256_srai_epi16(_mm256_unpackhi_epi8(b, b), 8));
        return _mm256_packs_epi16(lo, hi);
    }
}

// 16U: any bit in the high half of the 32-bit product saturates. 16S: the
// 32-bit products, narrowed with saturation.
template <class T>
inline __m256i mul16(__m256i a, __m256i b) {
    const __m256i lo = _mm256_mullo_epi16(a, b);
    if constexpr (std::is_unsigned_v<T>) {
        const __m256i fits = _mm256_cmpeq_epi16(_mm256_mulhi_epu16(a, b), _mm256_setzero_si256());
        return _mm256_or_si256(lo, _mm256_andnot_si256(fits, _mm256_set1_epi32(-1)));
    } else {
        const __m256i hi = _mm256_mulhi_epi16(a, b);
        return _mm256_packs_epi32(_mm256_unpacklo_epi16(lo, hi), _mm256_unpackhi_epi16(lo, hi));
    }
}

// 32S sum and difference wrap, and where the sign shows an overflow the
// result is the bound on a's side.
template <DyOp op>
inline __m256i addSub32(__m256i a, __m256i b) {
    const __m256i r = op == DyOp::Add ? _mm256_add_epi32(a, b) : _mm256_sub_epi32(a, b);
    const __m256i over =
        op == DyOp::Add ? _mm256_and_si256(_mm256_xor_si256(a, r), _mm256_xor_si256(b, r))
                        : _mm256_and_si256(_mm256_xor_si256(a, b), _mm256_xor_si256(a, r));
    const __m256i bound =
        _mm256_xor_si256(_mm256_srai_epi32(a, 31), _mm256_set1_epi32(0x7FFFFFFF));
    return _mm256_blendv_epi8(r, bound, _mm256_srai_epi32(over, 31));
}

// 32S product in doubles: exact wherever it fits 32 bits, and rounding
// can't carry a product across a bound, so clamping there is exact too.
inline __m128i mul32Half(__m128i a, __m128i b) {
    __m256d p = _mm256_mul_pd(_mm256_cvtepi32_pd(a), _mm256_cvtepi32_pd(b));
    p = _mm256_min_pd(_mm256_max_pd(p, _mm256_set1_pd(-2147483648.0)),
                      _mm256_set1_pd(2147483647.0));
    return _mm256_cvttpd_epi32(p);
}

inline __m256i mul32(__m256i a, __m256i b) {
    const __m128i lo = mul32Half(_mm256_castsi256_si128(a), _mm256_castsi256_si128(b));
    const __m128i hi = mul32Half(_mm256_extracti128_si256(a, 1), _mm256_extracti128_si256(b, 1));
    return _mm256_inserti128_si256(_mm256_castsi128_si256(lo), hi, 1);
}

template <DyOp op, class T>
inline __m256i vec(__m256i a, __m256i b) {
    constexpr bool u = std::is_unsigned_v<T>;
    if constexpr (sizeof(T) == 1) {
        if constexpr (op == DyOp::Add) return u ? _mm256_adds_epu8(a, b) : _mm256_adds_epi8(a, b);
        else if constexpr (op == DyOp::Sub)
            return u ? _mm256_subs_epu8(a, b) : _mm256_subs_epi8(a, b);
        else return mul8<T>(a, b);
    } else if constexpr (sizeof(T) == 2) {
        if constexpr (op == DyOp::Add)
            return u ? _mm256_adds_epu16(a, b) : _mm256_adds_epi16(a, b);
        else if constexpr (op == DyOp::Sub)
            return u ? _mm256_subs_epu16(a, b) : _mm256_subs_epi16(a, b);
        else return mul16<T>(a, b);
    } else if constexpr (std::is_same_v<T, int32_t>) {
        if constexpr (op == DyOp::Mul) return mul32(a, b);
        else return addSub32<op>(a, b);
    } else {
        const __m256 x = _mm256_castsi256_ps(a), y = _mm256_castsi256_ps(b);
        const __m256 r = op == DyOp::Add ? _mm256_add_ps(x, y)
                         : op == DyOp::Sub ? _mm256_sub_ps(x, y)
                                           : _mm256_mul_ps(x, y);
        // A NaN in a wins, quieted, as in the plain form.
        const __m256 nan = _mm256_cmp_ps(x, x, _CMP_UNORD_Q);
        const __m256 qa = _mm256_or_ps(x, _mm256_castsi256_ps(_mm256_set1_epi32(0x00400000)));
        return _mm256_castps_si256(_mm256_blendv_ps(r, qa, nan));
    }
}

template <DyOp op, class T>
void runOf(const T* a, const T* b, T* d, size_t n) {
    constexpr size_t lanes = 32 / sizeof(T);
    size_t i = 0;
    for (; i + 2 * lanes <= n; i += 2 * lanes) {
        const __m256i x = vec<op, T>(load(a + i), load(b + i));
        const __m256i y = vec<op, T>(load(a + i + lanes), load(b + i + lanes));
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
    for (; i + 8 <= n; i += 8) store(d + i, _mm256_andnot_si256(load(b + i), load(a + i)));
    for (; i < n; ++i) d[i] = a[i] & ~b[i];
}

}  // namespace avx2
}  // namespace zol
