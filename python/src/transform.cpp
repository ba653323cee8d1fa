// Fourier and cosine transforms and the spectrum product.
#include "bind.h"

namespace zolpy {

void bindTransform(py::module_&) {}

}  // namespace zolpy
