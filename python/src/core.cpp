// The module's own surface: version, border modes, bit packing, the test
// pattern, and the table of family binders.
#include <algorithm>
#include <cstring>
#include <new>

#include "bind.h"

namespace zolpy {

namespace {

enum class Border { CONSTANT = ZOL_BORDER_CONSTANT, REPLICATE, REFLECT, WRAP };

py::dict version() {
    const ZolLibVersion* v = zolGetLibVersion();
    py::dict d;
    d["major"] = v->major;
    d["minor"] = v->minor;
    d["build"] = v->build;
    d["name"] = v->libraryName;
    d["version"] = v->versionText;
    d["internal"] = v->internalVersion;
    d["date"] = v->buildDate;
    return d;
}

// A library-owned image copied into a new array and freed.
py::array adopt(ZolImage* im) {
    Image out;
    out.fresh(im->height, im->width, im->nChannels > 1 ? im->nChannels : 0, dtypeOf(im->depth));
    ZolImage* d = out.get();
    const size_t row = std::min(size_t(d->widthStep), size_t(im->widthStep));
    for (int y = 0; y < im->height; ++y)
        std::memcpy(d->imageData + ptrdiff_t(y) * d->widthStep,
                    im->imageData + ptrdiff_t(y) * im->widthStep, row);
    zolDeallocate(im, ZOL_FREE_HEADER | ZOL_FREE_DATA);
    out.finish();
    return out.array();
}

py::array jaehne(int width, int height, py::object dtype) {
    const int depth = depthOf(py::dtype::from_args(dtype));
    if (depth == 0) throw py::type_error("dtype: not an image type");
    ZolImage* im = nullptr;
    Where none{py::none(), py::none(), py::none(), py::none()};
    Call c("zolCreateImageJaehne", none);
    c.run([&] { im = zolCreateImageJaehne(depth, width, height); });
    if (!im) throw std::bad_alloc();
    return adopt(im);
}

// Whether this thread held the GIL inside a call's run: the tests ask.
bool releasedDuringCall() {
    Where none{py::none(), py::none(), py::none(), py::none()};
    Call c("zolGetErrStatus", none);
    int held = 1;
    c.run([&] { held = PyGILState_Check(); });
    return held == 0;
}

}  // namespace

void bindCore(py::module_& m) {
    py::enum_<Border>(m, "Border", "How pixels beyond an image's edge are made.")
        .value("CONSTANT", Border::CONSTANT)
        .value("REPLICATE", Border::REPLICATE)
        .value("REFLECT", Border::REFLECT)
        .value("WRAP", Border::WRAP);
    m.def("version", &version, "The library's version record as a dict.");
    m.def("jaehne", &jaehne, "width"_a, "height"_a, "dtype"_a = py::dtype::of<uint8_t>(),
          "Concentric rings whose frequency rises with the distance from the centre "
          "(zolCreateImageJaehne).");
    m.def("_released_during_call", &releasedDuringCall);
}

}  // namespace zolpy

PYBIND11_MODULE(_zol, m) {
    m.doc() = "Image-processing primitives over NumPy arrays.";
    zolpy::bindCore(m);
    zolpy::bindArith(m);
    zolpy::bindFilter(m);
    zolpy::bindTransform(m);
    zolpy::bindGeometry(m);
    zolpy::bindColour(m);
    zolpy::bindMeasure(m);
    zolpy::bindBitmap(m);
    zolpy::bindAlpha(m);
}
