// Histograms and look-up tables, thresholds, norms and moments.
#include "bind.h"

namespace zolpy {

void bindMeasure(py::module_&) {}

}  // namespace zolpy
