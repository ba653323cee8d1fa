// CPU detection. Compiled with baseline flags only, so nothing here can
// execute an instruction the CPU lacks.
#include "core/cpu.h"

#include <atomic>

namespace zol {

namespace {
Form detect() {
#if defined(__x86_64__) || defined(__i386__)
#if defined(ZOL_HAVE_AVX2)
    __builtin_cpu_init();
    if (__builtin_cpu_supports("avx2")) return Form::AVX2;
#endif
#if defined(ZOL_HAVE_SSE2)
    return Form::SSE2;
#endif
#endif
    return Form::Plain;
}

std::atomic<int> gCap{int(Form::AVX2)};
}  // namespace

Form cpuForm() {
    static const Form form = detect();
    return form;
}

void setFormCap(Form cap) { gCap.store(int(cap), std::memory_order_relaxed); }
Form formCap() { return Form(gCap.load(std::memory_order_relaxed)); }

Form activeForm() {
    const Form cpu = cpuForm();
    const Form cap = formCap();
    return int(cap) < int(cpu) ? cap : cpu;
}

const char* formName(Form form) {
    switch (form) {
        case Form::AVX2: return "avx2";
        case Form::SSE2: return "sse2";
        default: return "plain";
    }
}

}  // namespace zol
