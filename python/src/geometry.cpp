// Resize, zoom, decimate, mirror and the warps.
#include "bind.h"

namespace zolpy {

void bindGeometry(py::module_&) {}

}  // namespace zolpy
