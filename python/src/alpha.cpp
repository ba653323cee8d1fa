// Premultiplied alpha, compositing and scaled multiplication.
#include "bind.h"

namespace zolpy {

void bindAlpha(py::module_&) {}

}  // namespace zolpy
