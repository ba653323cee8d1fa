// Device-independent bitmaps and depth conversion.
#include "bind.h"

namespace zolpy {

void bindBitmap(py::module_&) {}

}  // namespace zolpy
