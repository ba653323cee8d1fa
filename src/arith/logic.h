// Kernels of the logic family. Each form lives in its own namespace with
// the same names; the table for the active form is picked once per call.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/cpu.h"

namespace zol {

// Applies a 32-bit pattern to n bytes; byte i of the run meets byte i % 4
// of the pattern (little-endian), so a run that starts on an element keeps
// the pattern's phase for 8-, 16- and 32-bit elements. s may equal d.
using ConstRunFn = void (*)(const uint8_t* s, uint8_t* d, size_t n, uint32_t pattern);

struct LogicKernels {
    ConstRunFn xorConstRun;
};

namespace plain {
void xorConstRun(const uint8_t* s, uint8_t* d, size_t n, uint32_t pattern);
}
namespace sse2 {
void xorConstRun(const uint8_t* s, uint8_t* d, size_t n, uint32_t pattern);
}
namespace avx2 {
void xorConstRun(const uint8_t* s, uint8_t* d, size_t n, uint32_t pattern);
}

// The kernels for the active form, and which form that is.
const LogicKernels& logicKernels();
Form logicForm();

}  // namespace zol
