// Kernels of the logic family: the plain forms, and the table for the
// active form, picked once per call; the SIMD forms are in logic_simd.cpp.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/simd.h"

namespace zol {

// The bit operation of a kernel. Only a tag here: each form keeps its own
// inline helpers, so no SIMD-compiled copy of one can reach the plain path.
enum class BitOp { And, Or, Xor };

// Applies a 32-bit pattern to n bytes; byte i of the run meets byte i % 4
// of the pattern (little-endian), so a run that starts on an element keeps
// the pattern's phase for 8-, 16- and 32-bit elements. s may equal d.
using PatternRunFn = void (*)(const uint8_t* s, uint8_t* d, size_t n, uint32_t pattern);
// d[i] = a[i] op b[i] over n bytes; any of the three may be the same run.
using PairRunFn = void (*)(const uint8_t* a, const uint8_t* b, uint8_t* d, size_t n);
// Shifts n elements by count, 0 < count < the element's width; s may equal d.
// Unsigned types shift logically, signed ones arithmetically (right only).
template <class T>
using ShiftRunFn = void (*)(const T* s, T* d, size_t n, unsigned count);

struct LogicKernels {
    PatternRunFn andConstRun, orConstRun, xorConstRun;
    PairRunFn andRun, orRun, xorRun;
    ShiftRunFn<uint8_t> shl8;
    ShiftRunFn<uint16_t> shl16;
    ShiftRunFn<uint32_t> shl32;
    ShiftRunFn<uint8_t> shr8u;
    ShiftRunFn<int8_t> shr8s;
    ShiftRunFn<uint16_t> shr16u;
    ShiftRunFn<int16_t> shr16s;
    ShiftRunFn<int32_t> shr32s;
};

// The plain kernels; the SIMD forms hand their tails to these.
#define ZOL_LOGIC_KERNELS                                                          \
    void andConstRun(const uint8_t* s, uint8_t* d, size_t n, uint32_t pattern);    \
    void orConstRun(const uint8_t* s, uint8_t* d, size_t n, uint32_t pattern);     \
    void xorConstRun(const uint8_t* s, uint8_t* d, size_t n, uint32_t pattern);    \
    void andRun(const uint8_t* a, const uint8_t* b, uint8_t* d, size_t n);         \
    void orRun(const uint8_t* a, const uint8_t* b, uint8_t* d, size_t n);          \
    void xorRun(const uint8_t* a, const uint8_t* b, uint8_t* d, size_t n);         \
    void shl8(const uint8_t* s, uint8_t* d, size_t n, unsigned count);             \
    void shl16(const uint16_t* s, uint16_t* d, size_t n, unsigned count);          \
    void shl32(const uint32_t* s, uint32_t* d, size_t n, unsigned count);          \
    void shr8u(const uint8_t* s, uint8_t* d, size_t n, unsigned count);            \
    void shr8s(const int8_t* s, int8_t* d, size_t n, unsigned count);              \
    void shr16u(const uint16_t* s, uint16_t* d, size_t n, unsigned count);         \
    void shr16s(const int16_t* s, int16_t* d, size_t n, unsigned count);           \
    void shr32s(const int32_t* s, int32_t* d, size_t n, unsigned count);

namespace plain {
ZOL_LOGIC_KERNELS
}

#undef ZOL_LOGIC_KERNELS

// Defines the named plain kernels from the templates constRun<op>,
// pairRun<op> and shiftRun<T, left>.
#define ZOL_LOGIC_NAMED_KERNELS                                                     \
    void andConstRun(const uint8_t* s, uint8_t* d, size_t n, uint32_t p) {          \
        constRun<BitOp::And>(s, d, n, p);                                           \
    }                                                                               \
    void orConstRun(const uint8_t* s, uint8_t* d, size_t n, uint32_t p) {           \
        constRun<BitOp::Or>(s, d, n, p);                                            \
    }                                                                               \
    void xorConstRun(const uint8_t* s, uint8_t* d, size_t n, uint32_t p) {          \
        constRun<BitOp::Xor>(s, d, n, p);                                           \
    }                                                                               \
    void andRun(const uint8_t* a, const uint8_t* b, uint8_t* d, size_t n) {         \
        pairRun<BitOp::And>(a, b, d, n);                                            \
    }                                                                               \
    void orRun(const uint8_t* a, const uint8_t* b, uint8_t* d, size_t n) {          \
        pairRun<BitOp::Or>(a, b, d, n);                                             \
    }                                                                               \
    void xorRun(const uint8_t* a, const uint8_t* b, uint8_t* d, size_t n) {         \
        pairRun<BitOp::Xor>(a, b, d, n);                                            \
    }                                                                               \
    void shl8(const uint8_t* s, uint8_t* d, size_t n, unsigned c) {                 \
        shiftRun<uint8_t, true>(s, d, n, c);                                        \
    }                                                                               \
    void shl16(const uint16_t* s, uint16_t* d, size_t n, unsigned c) {              \
        shiftRun<uint16_t, true>(s, d, n, c);                                       \
    }                                                                               \
    void shl32(const uint32_t* s, uint32_t* d, size_t n, unsigned c) {              \
        shiftRun<uint32_t, true>(s, d, n, c);                                       \
    }                                                                               \
    void shr8u(const uint8_t* s, uint8_t* d, size_t n, unsigned c) {                \
        shiftRun<uint8_t, false>(s, d, n, c);                                       \
    }                                                                               \
    void shr8s(const int8_t* s, int8_t* d, size_t n, unsigned c) {                  \
        shiftRun<int8_t, false>(s, d, n, c);                                        \
    }                                                                               \
    void shr16u(const uint16_t* s, uint16_t* d, size_t n, unsigned c) {             \
        shiftRun<uint16_t, false>(s, d, n, c);                                      \
    }                                                                               \
    void shr16s(const int16_t* s, int16_t* d, size_t n, unsigned c) {               \
        shiftRun<int16_t, false>(s, d, n, c);                                       \
    }                                                                               \
    void shr32s(const int32_t* s, int32_t* d, size_t n, unsigned c) {               \
        shiftRun<int32_t, false>(s, d, n, c);                                       \
    }

// Lets the SIMD form override the entries of k it covers (logic_simd.cpp).
void logicSimd(Form form, LogicKernels& k);

// The kernels for the active form, and which form that is.
const LogicKernels& logicKernels();
Form logicForm();

}  // namespace zol
