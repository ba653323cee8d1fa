// Convolution, rank, morphology, blur and the fixed filters.
#include "bind.h"

namespace zolpy {

void bindFilter(py::module_&) {}

}  // namespace zolpy
