// SSE2 forms of the constant and monadic arithmetic kernels.
#include <emmintrin.h>

#include "arith/constant.h"

namespace zol {
namespace sse2 {

namespace {

inline __m128i load(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }
inline void store(void* p, __m128i v) { _mm_storeu_si128(static_cast<__m128i*>(p), v); }

inline int32_t cut(int32_t v, int32_t lo, int32_t hi) { return v < lo ? lo : v > hi ? hi : v; }

// One vector of results for a run's constant. The constant is first cut to
// where an element can still change (the results are the same), so that
// it fits the lanes.
template <CsOp op, class T>
struct Kern {
    __m128i p = _mm_setzero_si128(), q = _mm_setzero_si128();
    __m128 f = _mm_setzero_ps();

    explicit Kern(CsValue v) {
        if constexpr (std::is_same_v<T, float>) {
            f = _mm_set1_ps(v.f);
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
            p = _mm_set1_epi16(short(op == CsOp::Mul ? cut(v.i, 0, 255) : 0));
            q = _mm_set1_epi16(255);
        } else if constexpr (sizeof(T) == 1 && op != CsOp::Abs) {
            // 8S in 16-bit lanes.
            p = _mm_set1_epi16(short(op == CsOp::Sub ? cut(v.i, -255, 255) : cut(v.i, -256, 256)));
        } else if constexpr (sizeof(T) == 2 && op != CsOp::Abs) {
            // 16S in 32-bit lanes.
            p = _mm_set1_epi32(cut(v.i, -65536, 65536));
        }
    }

    static __m128i splat(int32_t c) {
        if constexpr (sizeof(T) == 1) return _mm_set1_epi8(char(uint8_t(c)));
        else return _mm_set1_epi16(short(uint16_t(c)));
    }

    __m128i operator()(__m128i a) const {
        if constexpr (std::is_same_v<T, float>) {
            const __m128 x = _mm_castsi128_ps(a);
            __m128 r;
            if constexpr (op == CsOp::Sub) r = _mm_sub_ps(x, f);
            else if constexpr (op == CsOp::SubRev) r = _mm_sub_ps(f, x);
            else if constexpr (op == CsOp::Add) r = _mm_add_ps(x, f);
            else if constexpr (op == CsOp::Mul) r = _mm_mul_ps(x, f);
            else r = _mm_mul_ps(x, x);
            // A NaN element wins, quieted, as in the plain form.
            const __m128 nan = _mm_cmpunord_ps(x, x);
            const __m128 qx = _mm_or_ps(x, _mm_castsi128_ps(_mm_set1_epi32(0x00400000)));
            return _mm_castps_si128(_mm_or_ps(_mm_andnot_ps(nan, r), _mm_and_ps(nan, qx)));
        } else if constexpr (op == CsOp::Abs) {
            __m128i s;
            if constexpr (sizeof(T) == 1) s = _mm_cmpgt_epi8(_mm_setzero_si128(), a);
            else if constexpr (sizeof(T) == 2) s = _mm_srai_epi16(a, 15);
            else s = _mm_srai_epi32(a, 31);
            if constexpr (sizeof(T) == 1) return _mm_xor_si128(_mm_add_epi8(a, s), s);
            else if constexpr (sizeof(T) == 2) return _mm_xor_si128(_mm_add_epi16(a, s), s);
            else return _mm_xor_si128(_mm_add_epi32(a, s), s);
        } else if constexpr (std::is_unsigned_v<T> && sizeof(T) == 1 &&
                             (op == CsOp::Mul || op == CsOp::Sqr)) {
            const __m128i z = _mm_setzero_si128();
            const __m128i lo = _mm_unpacklo_epi8(a, z), hi = _mm_unpackhi_epi8(a, z);
            __m128i x = _mm_mullo_epi16(lo, op == CsOp::Mul ? p : lo);
            __m128i y = _mm_mullo_epi16(hi, op == CsOp::Mul ? p : hi);
            x = _mm_sub_epi16(x, _mm_subs_epu16(x, q));  // min(x, 255)
            y = _mm_sub_epi16(y, _mm_subs_epu16(y, q));
            return _mm_packus_epi16(x, y);
        } else if constexpr (std::is_unsigned_v<T> && sizeof(T) == 1) {
            if constexpr (op == CsOp::Sub) return _mm_subs_epu8(_mm_adds_epu8(a, p), q);
            else return _mm_adds_epu8(_mm_subs_epu8(q, a), p);
        } else if constexpr (std::is_unsigned_v<T>) {
            if constexpr (op == CsOp::Sub) return _mm_subs_epu16(_mm_adds_epu16(a, p), q);
            else return _mm_adds_epu16(_mm_subs_epu16(q, a), p);
        } else if constexpr (sizeof(T) == 1) {
            const __m128i lo = _mm_srai_epi16(_mm_unpacklo_epi8(a, a), 8);
            const __m128i hi = _mm_srai_epi16(_mm_unpackhi_epi8(a, a), 8);
            if constexpr (op == CsOp::Sub)
                return _mm_packs_epi16(_mm_sub_epi16(lo, p), _mm_sub_epi16(hi, p));
            else
                return _mm_packs_epi16(_mm_sub_epi16(p, lo), _mm_sub_epi16(p, hi));
        } else {
            const __m128i lo = _mm_srai_epi32(_mm_unpacklo_epi16(a, a), 16);
            const __m128i hi = _mm_srai_epi32(_mm_unpackhi_epi16(a, a), 16);
            if constexpr (op == CsOp::Sub)
                return _mm_packs_epi32(_mm_sub_epi32(lo, p), _mm_sub_epi32(hi, p));
            else
                return _mm_packs_epi32(_mm_sub_epi32(p, lo), _mm_sub_epi32(p, hi));
        }
    }
};

template <CsOp op, class T>
void runOf(const T* s, T* d, size_t n, CsValue v, ConstRunFn tail) {
    constexpr size_t lanes = 16 / sizeof(T);
    const Kern<op, T> k(v);
    size_t i = 0;
    for (; i + 2 * lanes <= n; i += 2 * lanes) {
        const __m128i x = k(load(s + i));
        const __m128i y = k(load(s + i + lanes));
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

}  // namespace sse2
}  // namespace zol
