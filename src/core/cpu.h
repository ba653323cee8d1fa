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

}  // namespace zol
