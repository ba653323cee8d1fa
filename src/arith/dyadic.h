// Kernels of the dyadic arithmetic family: saturating sum, difference and
// product of two runs of elements: the plain forms and the table for the
// active form, picked per call; the SIMD forms are in dyadic_simd.cpp.
#pragma once

#include <cstddef>
#include <cstdint>
#include <algorithm>
#include <cstring>
#include <limits>
#include <type_traits>

#include "core/simd.h"

namespace zol {

enum class DyOp { Add = 0, Sub = 1, Mul = 2 };
constexpr int kDyOps = 3;

// Rows of the kernel table, one per depth that has element arithmetic.
enum DyDepth { kDy8U, kDy8S, kDy16U, kDy16S, kDy32S, kDy32F, kDyDepths };

// d[i] = a[i] op b[i] over n elements of the row's sample type; any of the
// three runs may be the same.
using DyadicRunFn = void (*)(const void* a, const void* b, void* d, size_t n);
// d[i] = a[i] AND NOT b[i] over n 32-bit words: the 1-bit difference.
using AndNotRunFn = void (*)(const uint32_t* a, const uint32_t* b, uint32_t* d, size_t n);

struct DyadicKernels {
    DyadicRunFn run[kDyDepths][kDyOps];
    AndNotRunFn andNot;
};

#define ZOL_DYADIC_KERNELS                                                         \
    void add8u(const void* a, const void* b, void* d, size_t n);                   \
    void sub8u(const void* a, const void* b, void* d, size_t n);                   \
    void mul8u(const void* a, const void* b, void* d, size_t n);                   \
    void add8s(const void* a, const void* b, void* d, size_t n);                   \
    void sub8s(const void* a, const void* b, void* d, size_t n);                   \
    void mul8s(const void* a, const void* b, void* d, size_t n);                   \
    void add16u(const void* a, const void* b, void* d, size_t n);                  \
    void sub16u(const void* a, const void* b, void* d, size_t n);                  \
    void mul16u(const void* a, const void* b, void* d, size_t n);                  \
    void add16s(const void* a, const void* b, void* d, size_t n);                  \
    void sub16s(const void* a, const void* b, void* d, size_t n);                  \
    void mul16s(const void* a, const void* b, void* d, size_t n);                  \
    void add32s(const void* a, const void* b, void* d, size_t n);                  \
    void sub32s(const void* a, const void* b, void* d, size_t n);                  \
    void mul32s(const void* a, const void* b, void* d, size_t n);                  \
    void add32f(const void* a, const void* b, void* d, size_t n);                  \
    void sub32f(const void* a, const void* b, void* d, size_t n);                  \
    void mul32f(const void* a, const void* b, void* d, size_t n);                  \
    void andNot(const uint32_t* a, const uint32_t* b, uint32_t* d, size_t n);

namespace plain {
ZOL_DYADIC_KERNELS
}

#undef ZOL_DYADIC_KERNELS

// Defines the named plain kernels from the template runOf<op, T>.
#define ZOL_DYADIC_NAMED_KERNEL(name, op, T)                                        \
    void name(const void* a, const void* b, void* d, size_t n) {                    \
        runOf<op, T>(static_cast<const T*>(a), static_cast<const T*>(b),            \
                     static_cast<T*>(d), n);                                        \
    }
#define ZOL_DYADIC_NAMED_KERNELS                                 \
    ZOL_DYADIC_NAMED_KERNEL(add8u, DyOp::Add, uint8_t)           \
    ZOL_DYADIC_NAMED_KERNEL(sub8u, DyOp::Sub, uint8_t)           \
    ZOL_DYADIC_NAMED_KERNEL(mul8u, DyOp::Mul, uint8_t)           \
    ZOL_DYADIC_NAMED_KERNEL(add8s, DyOp::Add, int8_t)            \
    ZOL_DYADIC_NAMED_KERNEL(sub8s, DyOp::Sub, int8_t)            \
    ZOL_DYADIC_NAMED_KERNEL(mul8s, DyOp::Mul, int8_t)            \
    ZOL_DYADIC_NAMED_KERNEL(add16u, DyOp::Add, uint16_t)         \
    ZOL_DYADIC_NAMED_KERNEL(sub16u, DyOp::Sub, uint16_t)         \
    ZOL_DYADIC_NAMED_KERNEL(mul16u, DyOp::Mul, uint16_t)         \
    ZOL_DYADIC_NAMED_KERNEL(add16s, DyOp::Add, int16_t)          \
    ZOL_DYADIC_NAMED_KERNEL(sub16s, DyOp::Sub, int16_t)          \
    ZOL_DYADIC_NAMED_KERNEL(mul16s, DyOp::Mul, int16_t)          \
    ZOL_DYADIC_NAMED_KERNEL(add32s, DyOp::Add, int32_t)          \
    ZOL_DYADIC_NAMED_KERNEL(sub32s, DyOp::Sub, int32_t)          \
    ZOL_DYADIC_NAMED_KERNEL(mul32s, DyOp::Mul, int32_t)          \
    ZOL_DYADIC_NAMED_KERNEL(add32f, DyOp::Add, float)            \
    ZOL_DYADIC_NAMED_KERNEL(sub32f, DyOp::Sub, float)            \
    ZOL_DYADIC_NAMED_KERNEL(mul32f, DyOp::Mul, float)

// The table's row for a sample type.
template <class T>
constexpr DyDepth dyDepthOf() {
    if constexpr (std::is_same_v<T, uint8_t>) return kDy8U;
    else if constexpr (std::is_same_v<T, int8_t>) return kDy8S;
    else if constexpr (std::is_same_v<T, uint16_t>) return kDy16U;
    else if constexpr (std::is_same_v<T, int16_t>) return kDy16S;
    else if constexpr (std::is_same_v<T, int32_t>) return kDy32S;
    else return kDy32F;
}

// The plain forms by row and operation. SIMD forms hand their tails to
// these, so that each element's arithmetic has one definition.
inline constexpr DyadicRunFn kPlainDyadic[kDyDepths][kDyOps] = {
    {plain::add8u, plain::sub8u, plain::mul8u},    {plain::add8s, plain::sub8s, plain::mul8s},
    {plain::add16u, plain::sub16u, plain::mul16u}, {plain::add16s, plain::sub16s, plain::mul16s},
    {plain::add32s, plain::sub32s, plain::mul32s}, {plain::add32f, plain::sub32f, plain::mul32f}};

namespace plain {

// The element functions: integer results exact, then clamped to the
// depth's range; floats in single precision. Only the plain form and the
// tests instantiate these (a SIMD file that did could lend its copy,
// compiled for its target, to the plain path at link time).

// Clamps in the wide type as min/max, which compile without branches:
// saturation is common in image data and would defeat a predictor.
template <class T, class W>
inline T clampTo(W v) {
    constexpr W lo = std::numeric_limits<T>::min(), hi = std::numeric_limits<T>::max();
    return T(std::min(std::max(v, lo), hi));
}

// A NaN operand comes out quieted; when both are NaN, a's. Hardware picks
// by operand order, which the compiler may swap, so the rule is explicit.
inline float nanOf(float a) {
    uint32_t u;
    std::memcpy(&u, &a, 4);
    u |= 0x00400000u;
    std::memcpy(&a, &u, 4);
    return a;
}

template <DyOp op, class T>
inline T element(T a, T b) {
    if constexpr (std::is_same_v<T, float>) {
        const float r = op == DyOp::Add ? a + b : op == DyOp::Sub ? a - b : a * b;
        return a != a ? nanOf(a) : r;
    } else if constexpr (std::is_same_v<T, uint16_t> && op == DyOp::Mul) {
        // The 32-bit unsigned product; any bit above the low 16 saturates.
        const uint32_t p = uint32_t(a) * uint32_t(b);
        return p >> 16 ? uint16_t(0xFFFF) : uint16_t(p);
    } else {
        // 32 bits hold every 8- and 16-bit result; 32S needs 64.
        using W = std::conditional_t<sizeof(T) == 4, int64_t, int32_t>;
        const W x = a, y = b;
        return clampTo<T>(op == DyOp::Add ? x + y : op == DyOp::Sub ? x - y : x * y);
    }
}

}  // namespace plain

// Lets the SIMD form override the entries of k it covers (dyadic_simd.cpp).
void dyadicSimd(Form form, DyadicKernels& k);

// The kernels for the active form, and which form that is.
const DyadicKernels& dyadicKernels();
Form dyadicForm();

}  // namespace zol
