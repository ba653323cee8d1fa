// Which forms this build has and this CPU runs. Compiled with baseline
// flags only: the CPU is asked through Highway's detection, so nothing here
// can execute an instruction the CPU lacks.
#include <hwy/targets.h>

#include <atomic>
#include <cstdint>
#include <cstring>

#include "core/simd.h"

namespace zol {

namespace {

// The Highway target of each form; 0 for Plain.
constexpr int64_t kTarget[kForms] = {0, HWY_SSE4, HWY_AVX2, HWY_AVX3, HWY_AVX3_DL, HWY_NEON};
constexpr const char* kName[kForms] = {"plain", "sse4", "avx2", "avx3", "avx3_dl", "neon"};

std::atomic<int> gCap{kForms - 1};

// Bit f set when form f runs here. Asked once: the CPU's answer can't
// change, and asking it may trap in a virtual machine.
unsigned runnable() {
    static const unsigned bits = [] {
        const int64_t supported = hwy::SupportedTargets();
        unsigned b = 1;
        for (int f = 1; f < kForms; ++f)
            if ((HWY_TARGETS & kTarget[f]) && (supported & kTarget[f])) b |= 1u << f;
        return b;
    }();
    return bits;
}

}  // namespace

bool formCompiled(Form form) {
    const int f = int(form);
    return f == 0 || (f > 0 && f < kForms && (HWY_TARGETS & kTarget[f]) != 0);
}

bool formRuns(Form form) {
    const int f = int(form);
    return f >= 0 && f < kForms && (runnable() >> f & 1u);
}

Form cpuForm() {
    int best = 0;
    for (int f = 1; f < kForms; ++f)
        if (runnable() >> f & 1u) best = f;
    return Form(best);
}

void setFormCap(Form cap) { gCap.store(int(cap), std::memory_order_relaxed); }
Form formCap() { return Form(gCap.load(std::memory_order_relaxed)); }

Form activeForm() {
    const unsigned bits = runnable();
    for (int f = gCap.load(std::memory_order_relaxed); f > 0; --f)
        if (f < kForms && (bits >> f & 1u)) return Form(f);
    return Form::Plain;
}

const char* formName(Form form) {
    const int f = int(form);
    return f >= 0 && f < kForms ? kName[f] : "unknown";
}

bool formFromName(const char* name, Form& form) {
    for (int f = 0; f < kForms; ++f)
        if (name && std::strcmp(name, kName[f]) == 0) {
            form = Form(f);
            return true;
        }
    return false;
}

}  // namespace zol
