// Kernel forms: the plain reference form and each Highway target compiled
// in, the run-time choice between them, and the glue a family's SIMD file
// uses to hand its kernels to the family's table.
//
// How a family gets a SIMD form (logic is the worked example:
// src/arith/logic_simd.cpp):
//
//  1. The family keeps its plain kernels and a table of function pointers
//     (src/arith/<family>.h). The table for a form starts as the plain one;
//     the SIMD form overrides the entries it covers:
//
//        void logicSimd(Form form, LogicKernels& k);   // in <family>.h
//
//        LogicKernels makeTable(Form form) {           // in <family>.cpp
//            LogicKernels k = <plain entries>;
//            logicSimd(form, k);
//            return k;
//        }
//        const LogicKernels& logicKernels() { return tableForActiveForm(makeTable); }
//
//  2. src/arith/<family>_simd.cpp, listed in ZOL_SIMD_SOURCES, is compiled
//     once per target by Highway's foreach_target.h. The kernels live in
//     zol::HWY_NAMESPACE, written over Highway ops, and one function of
//     that namespace fills the table:
//
//        #undef HWY_TARGET_INCLUDE
//        #define HWY_TARGET_INCLUDE "arith/logic_simd.cpp"
//        #include <hwy/foreach_target.h>  // IWYU pragma: keep
//        #include <hwy/highway.h>
//        #include "arith/logic.h"
//
//        #if ZOL_SIMD_FORM_TARGET
//        HWY_BEFORE_NAMESPACE();
//        namespace zol { namespace HWY_NAMESPACE {
//        namespace hn = hwy::HWY_NAMESPACE;
//        ... kernels ...
//        void fillLogic(LogicKernels& k) { k.andRun = pairRun<BitOp::And>; ... }
//        }}  // namespace zol::HWY_NAMESPACE
//        HWY_AFTER_NAMESPACE();
//        #endif
//
//        #if HWY_ONCE
//        namespace zol { ZOL_SIMD_FILL(logicSimd, fillLogic, LogicKernels) }
//        #endif
//
//  3. Tails shorter than a vector go to the plain kernel, so that each
//     element's arithmetic has one definition. tests/simd_test.cpp runs
//     every table entry of every form this CPU runs against the plain
//     entry, byte for byte: a new family adds its table there.
#pragma once

namespace zol {

// Ranked from the plain form upwards. Only the forms of the build's
// architecture are compiled in: x86-64 SSE4 to AVX3_DL, aarch64 NEON.
enum class Form { Plain = 0, SSE4, AVX2, AVX3, AVX3_DL, NEON, Count };
constexpr int kForms = int(Form::Count);

// Compiled into this build.
bool formCompiled(Form form);
// Compiled in, and this CPU runs it.
bool formRuns(Form form);
// The best form this CPU and this build can run.
Form cpuForm();
// Caps the forms used by every family (tests run the suite capped to Plain).
void setFormCap(Form cap);
Form formCap();
// The form families pick now: the best one that runs and is not above the cap.
Form activeForm();
const char* formName(Form form);
// The form of a name from formName; false for an unknown name.
bool formFromName(const char* name, Form& form);

// The kernel table of a family for the active form. make(form) builds the
// table of each compiled form once; each family has a table type of its
// own, which is what keeps the tables apart.
template <class Table>
const Table& tableForActiveForm(Table (*make)(Form)) {
    struct Tables {
        Table byForm[kForms];
        explicit Tables(Table (*m)(Form)) {
            for (int f = 0; f < kForms; ++f)
                byForm[f] = f == 0 || !formCompiled(Form(f)) ? m(Form::Plain) : m(Form(f));
        }
    };
    static const Tables tables(make);
    return tables.byForm[int(activeForm())];
}

}  // namespace zol

// True in the passes of foreach_target.h whose target is a form: the
// fallback target Highway always compiles (scalar or 128-bit emulation) is
// no form, the plain kernels being the fallback, so it is skipped.
#define ZOL_SIMD_FORM_TARGET \
    ((HWY_TARGET & (HWY_SSE4 | HWY_AVX2 | HWY_AVX3 | HWY_AVX3_DL | HWY_NEON)) != 0)

// The per-form fill functions of a family's SIMD file, indexed by Form;
// null where the target is not compiled. Used after the last target pass
// (#if HWY_ONCE), inside namespace zol.
#define ZOL_SIMD_FORMS(FILL)                                                             \
    {                                                                                    \
        nullptr, HWY_CHOOSE_SSE4(FILL), HWY_CHOOSE_AVX2(FILL), HWY_CHOOSE_AVX3(FILL),    \
            HWY_CHOOSE_AVX3_DL(FILL), HWY_CHOOSE_NEON(FILL)                              \
    }

// Defines void NAME(Form form, TABLE& table): lets the target of form
// override the entries of table it covers; no change for Plain or a form
// not compiled in.
#define ZOL_SIMD_FILL(NAME, FILL, TABLE)                                                 \
    void NAME(Form form, TABLE& table) {                                                 \
        static void (*const forms[kForms])(TABLE&) = ZOL_SIMD_FORMS(FILL);               \
        if (int(form) > 0 && int(form) < kForms && forms[int(form)])                     \
            forms[int(form)](table);                                                     \
    }
