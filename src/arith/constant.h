// Kernels of the constant and monadic arithmetic family: an element and a
// constant (difference either way, sum, product), or an element alone
// (square, absolute value): the plain forms and the table for the active
// form, picked per call; the SIMD forms are in constant_simd.cpp.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>

#include "core/simd.h"

namespace zol {

// Sub: a - v, SubRev: v - a, Add: a + v, Mul: a * v, Sqr: a * a, Abs: |a|.
enum class CsOp { Sub = 0, SubRev = 1, Add = 2, Mul = 3, Sqr = 4, Abs = 5 };
constexpr int kCsOps = 6;

// Rows of the kernel table.
enum CsDepth { kCs8U, kCs8S, kCs16U, kCs16S, kCs32S, kCs32F, kCsDepths };

// The constant of a run: integer depths read i, 32F reads f, the monadic
// operations neither.
struct CsValue {
    int32_t i;
    float f;
};

// d[k] = op(s[k], value) over n elements of the row's sample type; s may
// equal d. Every integer constant is accepted: beyond the range where an
// element can still change, all elements saturate alike.
using ConstRunFn = void (*)(const void* s, void* d, size_t n, CsValue value);

// Null where the family has no such element function: the narrow depths
// add through Sub with the negated constant, and 32F has no Abs.
struct ConstKernels {
    ConstRunFn run[kCsDepths][kCsOps];
};

// (name, row, op, sample type) of every plain kernel.
#define ZOL_CONST_PLAIN_LIST(X)                                                         \
    X(sub8u, kCs8U, Sub, uint8_t) X(subRev8u, kCs8U, SubRev, uint8_t)                   \
    X(mul8u, kCs8U, Mul, uint8_t) X(sqr8u, kCs8U, Sqr, uint8_t)                         \
    X(abs8u, kCs8U, Abs, uint8_t)                                                       \
    X(sub8s, kCs8S, Sub, int8_t) X(subRev8s, kCs8S, SubRev, int8_t)                     \
    X(mul8s, kCs8S, Mul, int8_t) X(sqr8s, kCs8S, Sqr, int8_t)                           \
    X(abs8s, kCs8S, Abs, int8_t)                                                        \
    X(sub16u, kCs16U, Sub, uint16_t) X(subRev16u, kCs16U, SubRev, uint16_t)             \
    X(mul16u, kCs16U, Mul, uint16_t) X(sqr16u, kCs16U, Sqr, uint16_t)                   \
    X(abs16u, kCs16U, Abs, uint16_t)                                                    \
    X(sub16s, kCs16S, Sub, int16_t) X(subRev16s, kCs16S, SubRev, int16_t)               \
    X(mul16s, kCs16S, Mul, int16_t) X(sqr16s, kCs16S, Sqr, int16_t)                     \
    X(abs16s, kCs16S, Abs, int16_t)                                                     \
    X(sub32s, kCs32S, Sub, int32_t) X(subRev32s, kCs32S, SubRev, int32_t)               \
    X(add32s, kCs32S, Add, int32_t) X(mul32s, kCs32S, Mul, int32_t)                     \
    X(sqr32s, kCs32S, Sqr, int32_t) X(abs32s, kCs32S, Abs, int32_t)                     \
    X(sub32f, kCs32F, Sub, float) X(subRev32f, kCs32F, SubRev, float)                   \
    X(add32f, kCs32F, Add, float) X(mul32f, kCs32F, Mul, float)                         \
    X(sqr32f, kCs32F, Sqr, float)

// The kernels that the SIMD forms have: the hot ones.
#define ZOL_CONST_SIMD_LIST(X)                                                          \
    X(sub8u, kCs8U, Sub, uint8_t) X(subRev8u, kCs8U, SubRev, uint8_t)                   \
    X(mul8u, kCs8U, Mul, uint8_t) X(sqr8u, kCs8U, Sqr, uint8_t)                         \
    X(sub8s, kCs8S, Sub, int8_t) X(subRev8s, kCs8S, SubRev, int8_t)                     \
    X(abs8s, kCs8S, Abs, int8_t)                                                        \
    X(sub16u, kCs16U, Sub, uint16_t) X(subRev16u, kCs16U, SubRev, uint16_t)             \
    X(sub16s, kCs16S, Sub, int16_t) X(subRev16s, kCs16S, SubRev, int16_t)               \
    X(abs16s, kCs16S, Abs, int16_t)                                                     \
    X(abs32s, kCs32S, Abs, int32_t)                                                     \
    X(sub32f, kCs32F, Sub, float) X(subRev32f, kCs32F, SubRev, float)                   \
    X(add32f, kCs32F, Add, float) X(mul32f, kCs32F, Mul, float)                         \
    X(sqr32f, kCs32F, Sqr, float)

#define ZOL_CONST_DECLARE(name, row, op, T) void name(const void* s, void* d, size_t n, CsValue v);

namespace plain {
ZOL_CONST_PLAIN_LIST(ZOL_CONST_DECLARE)
}

#undef ZOL_CONST_DECLARE

// Defines a named plain kernel from the template runOf<op, T>.
#define ZOL_CONST_DEFINE(name, row, op, T)                                        \
    void name(const void* s, void* d, size_t n, CsValue v) {                      \
        runOf<CsOp::op, T>(static_cast<const T*>(s), static_cast<T*>(d), n, v);   \
    }

// The table's row for a sample type.
template <class T>
constexpr CsDepth csDepthOf() {
    if constexpr (std::is_same_v<T, uint8_t>) return kCs8U;
    else if constexpr (std::is_same_v<T, int8_t>) return kCs8S;
    else if constexpr (std::is_same_v<T, uint16_t>) return kCs16U;
    else if constexpr (std::is_same_v<T, int16_t>) return kCs16S;
    else if constexpr (std::is_same_v<T, int32_t>) return kCs32S;
    else return kCs32F;
}

namespace plain {

// The element functions. Only the plain form and the tests instantiate
// these (a SIMD file that did could lend its copy, compiled for its
// target, to the plain path at link time); SIMD forms hand their tails to
// the plain kernels.
inline int32_t clampInt(int32_t v, int32_t lo, int32_t hi) { return v < lo ? lo : v > hi ? hi : v; }

template <class T>
inline T clampTo(int64_t v) {
    constexpr int64_t lo = std::numeric_limits<T>::min(), hi = std::numeric_limits<T>::max();
    return T(v < lo ? lo : v > hi ? hi : v);
}

// A NaN comes out quieted; when element and constant are both NaN, the
// element's. Hardware picks by operand order, which the compiler may swap.
inline float quieted(float a) {
    uint32_t u;
    std::memcpy(&u, &a, 4);
    u |= 0x00400000u;
    std::memcpy(&a, &u, 4);
    return a;
}

template <CsOp op, class T>
inline T element(T a, CsValue v) {
    if constexpr (std::is_same_v<T, float>) {
        const float c = v.f;
        const float r = op == CsOp::Sub      ? a - c
                        : op == CsOp::SubRev ? c - a
                        : op == CsOp::Add    ? a + c
                        : op == CsOp::Mul    ? a * c
                                             : a * a;
        return a != a ? quieted(a) : r;
    } else if constexpr (op == CsOp::Abs) {
        // (a + s) ^ s in the element's width, s the sign spread: the most
        // negative value stays itself. Unsigned elements are copied.
        if constexpr (std::is_unsigned_v<T>) {
            return a;
        } else {
            using U = std::make_unsigned_t<T>;
            const U s = a < 0 ? U(~U(0)) : U(0);
            return T(U(U(U(a) + s) ^ s));
        }
    } else {
        // Exact in 64 bits at every depth, then clamped to the range.
        const int64_t x = a, c = v.i;
        return clampTo<T>(op == CsOp::Sub      ? x - c
                          : op == CsOp::SubRev ? c - x
                          : op == CsOp::Add    ? x + c
                          : op == CsOp::Mul    ? x * c
                                               : x * x);
    }
}

}  // namespace plain

// Lets the SIMD form override the entries of k it covers (constant_simd.cpp).
void constantSimd(Form form, ConstKernels& k);

// The kernels for the active form, and which form that is.
const ConstKernels& constKernels();
Form constForm();

}  // namespace zol
