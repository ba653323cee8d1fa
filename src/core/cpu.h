// Kernel forms and the run-time choice between them.
#pragma once

namespace zol {

// The forms a kernel family may come in, from the plain reference upwards.
enum class Form { Plain = 0, SSE2 = 1, AVX2 = 2 };

// The best form this CPU and this build can run.
Form cpuForm();
// Caps the forms used by every family (tests run the suite capped to Plain).
void setFormCap(Form cap);
Form formCap();
// The form families pick now: the lower of the CPU's and the cap.
Form activeForm();
const char* formName(Form form);

// The kernel table of a family for the active form. make(form) builds the
// table of each form once; each family has a table type of its own, which
// is what keeps the tables apart.
template <class Table>
const Table& tableForActiveForm(Table (*make)(Form)) {
    static const Table tables[3] = {make(Form::Plain), make(Form::SSE2), make(Form::AVX2)};
    return tables[int(activeForm())];
}

}  // namespace zol
