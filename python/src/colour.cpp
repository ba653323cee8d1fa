// Colour conversions, gray and colour, colour twist, bit reduction.
#include "bind.h"

namespace zolpy {

void bindColour(py::module_&) {}

}  // namespace zolpy
