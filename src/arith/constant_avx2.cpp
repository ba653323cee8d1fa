// AVX2 forms of the constant and monadic arithmetic kernels.
#include <immintrin.h>

#include "arith/constant.h"

namespace zol {
namespace avx2 {

namespace {

inline __m256i load(const void* p) {
    return _mm256_loadu_si256(static_cast<const __m256i*>(p));
}
inline void store(void* p, __m256i v) { _mm256_storeu_si256(static_cast<__m256i*>(p), v); }

inline int32_t cut(int32_t v, int32_t lo, int32_t hi) { return v < lo ? lo : v > hi ? hi : v; }

// Unpacking and packing both stay inside 128-bit lanes, so widened
// elements come back in order.
//
// One vector of results for a run's constant. The constant is first cut to
// where an element can still change (the results are the same), so that
// it fits the lanes.
template <CsOp op, class T>
struct Kern {
    __m256i p = _mm256_setzero_si256(), q = _mm256_setzero_si256();
    __m256 f = _mm256_setzero_ps();

    explicit Kern(CsValue v) {
        if constexpr (std::is_same_v<T, float>) {
            f = _mm256_set1_ps(v.f);
        } else if constexpr (std::is_unsigned_v<T> && (op == CsOp::Sub || op == CsOp::SubRev)) {
            // Two saturating steps, one of them by zero: a - c is a + (-c)
            // for c < 0; c - a above M is (M - a) + (c - M).
            constexpr int32_t m = sizeof(T) == 1 ? 255 : 65535;
            int32_t up, down;
            if constexpr (op == CsOp::Sub) {
                const int32_t c = cut(v.i, -m, m);
                up = c < 0 ? -c : 0;
                down = c > 0 ? c : 0;
            } else {
                const int32_t c = cut(v.i, 0, 2 * m);
                down = c < m ? c : m;  // the minuend of the first step
                up = c - down;
            }
            p = splat(up);
            q = splat(down);
        } else if constexpr (op == CsOp::Mul || op == CsOp::Sqr) {
            // 8U: 16-bit products, then at most 255.
            p = _mm256_set1_epi16(short(op == CsOp::Mul ? cut(v.i, 0, 255) : 0));
            q = _mm256_set1_epi16(255);
        } else if constexpr (sizeof(T) == 1 && op != CsOp::Abs) {
            // 8S in 16-bit lanes.
            p = _mm256_set1_epi16(
                short(op == CsOp::Sub ? cut(v.i, -255, 255) : cut(v.i, -256, 256)));
        } else if constexpr (sizeof(T) == 2 && op != CsOp::Abs) {
            // 16S in 32-bit lanes.
            p = _mm256_set1_epi32(cut(v.i, -65536, 65536));
        }
    }

    static __m256i splat(int32_t c) {
        if constexpr (sizeof(T) == 1) return _mm256_set1_epi8(char(uint8_t(c)));
        else return _mm256_set1_epi16(short(uint16_t(c)));
    }

    __m256i operator()(__m256i a) const {
        if constexpr (std::is_same_v<T, float>) {
            const __m256 x = _mm256_castsi256_ps(a);
            __m256 r;
            if constexpr (op == CsOp::Sub) r = _mm256_sub_ps(x, f);
            else if constexpr (op == CsOp::SubRev) r = _mm256_sub_ps(f, x);
            else if constexpr (op == CsOp::Add) r = _mm256_add_ps(x, f);
            else if constexpr (op == CsOp::Mul) r = _mm256_mul_ps(x, f);
            else r = _mm256_mul_ps(x, x);
            // A NaN element wins, quieted, as in the plain form.
            const __m256 nan = _mm256_cmp_ps(x, x, _CMP_UNORD_Q);
            const __m256 qx =
                _mm256_or_ps(x, _mm256_castsi256_ps(_mm256_set1_epi32(0x00400000)));
            return _mm256_castps_si256(
                _mm256_or_ps(_mm256_andnot_ps(nan, r), _mm256_and_ps(nan, qx)));
        } else if constexpr (op == CsOp::Abs) {
            // The most negative value stays itself, as (a + s) ^ s gives it.
            if constexpr (sizeof(T) == 1) return _mm256_abs_epi8(a);
            else if constexpr (sizeof(T) == 2) return _mm256_abs_epi16(a);
            else return _mm256_abs_epi32(a);
        } else if constexpr (std::is_unsigned_v<T> && sizeof(T) == 1 &&
                             (op == CsOp::Mul || op == CsOp::Sqr)) {
            const __m256i z = _mm256_setzero_si256();
            const __m256i lo = _mm256_unpacklo_epi8(a, z), hi = _mm256_unpackhi_epi8(a, z);
            __m256i x = _mm256_mullo_epi16(lo, op == CsOp::Mul ? p : lo);
            __m256i y = _mm256_mullo_epi16(hi, op == CsOp::Mul ? p : hi);
            x = _mm256_min_epu16(x, q);
            y = _mm256_min_epu16(y, q);
            return _mm256_packus_epi16(x, y);
        } else if constexpr (std::is_unsigned_v<T> && sizeof(T) == 1) {
            if constexpr (op == CsOp::Sub) return _mm256_subs_epu8(_mm256_adds_epu8(a, p), q);
            else return _mm256_adds_epu8(_mm256_subs_epu8(q, a), p);
        } else if constexpr (std::is_unsigned_v<T>) {
            if constexpr (op == CsOp::Sub)
                return _mm256_subs_epu16(_mm256_adds_epu16(a, p), q);
            else return _mm256_adds_epu16(_mm256_subs_epu16(q, a), p);
        } else if constexpr (sizeof(T) == 1) {
            const __m256i lo = _mm256_srai_epi16(_mm256_unpacklo_epi8(a, a), 8);
            const __m256i hi = _mm256_srai_epi16(_mm256_unpackhi_epi8(a, a), 8);
            if constexpr (op == CsOp::Sub)
                return _mm256_packs_epi16(_mm256_sub_epi16(lo, p), _mm256_sub_epi16(hi, p));
            else
                return _mm256_packs_epi16(_mm256_sub_epi16(p, lo), _mm256_sub_epi16(p, hi));
        } else {
            const __m256i lo = _mm256_srai_epi32(_mm256_unpacklo_epi16(a, a), 16);
            const __m256i hi = _mm256_srai_epi32(_mm256_unpackhi_epi16(a, a), 16);
            if constexpr (op == CsOp::Sub)
                return _mm256_packs_epi32(_mm256_sub_epi32(lo, p), _mm256_sub_epi32(hi, p));
            else
                return _mm256_packs_epi32(_mm256_sub_epi32(p, lo), _mm256_sub_epi32(p, hi));
        }
    }
};

template <CsOp op, class T>
void runOf(const T* s, T* d, size_t n, CsValue v, ConstRunFn tail) {
    constexpr size_t lanes = 32 / sizeof(T);
    const Kern<op, T> k(v);
    size_t i = 0;
    for (; i + 2 * lanes <= n; i += 2 * lanes) {
        const __m256i x = k(load(s + i));
        const __m256i y = k(load(s + i + lanes));
        store(d + i, x);
        store(d + i + lanes, y);
    }
    for (; i + lanes <= n; i += lanes) store(d + i, k(load(s + i)));
    // The last elements go to the plain form, which owns the element arithmetic.
    if (i < n) tail(s + i, d + i, n - i, v);
}

}  // namespace

#define ZOL_CONST_SIMD_DEFINE(name, row, op, T)                                             \
    void name(const void* s, void* d, size_t n, CsValue v) {                                \
        runOf<CsOp::op, T>(static_cast<const T*>(s), static_cast<T*>(d), n, v, plain::name); \
    }
ZOL_CONST_SIMD_LIST(ZOL_CONST_SIMD_DEFINE)
#undef ZOL_CONST_SIMD_DEFINE

}  // namespace avx2
}  // namespace zol
