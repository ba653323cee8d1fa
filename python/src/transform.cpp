// Fourier and cosine transforms and the spectrum product. The flags become
// keyword booleans; the destination's dtype is the source's unless dtype=
// or out= chooses another, and the library converts to it by its own
// rounding and saturation. Masks are not honoured by these functions, so
// they take out=, roi= and coi= only.
#include "bind.h"

namespace zolpy {

namespace {

using Transform = void (*)(ZolImage*, ZolImage*, int);

#define ZOLPY_PLACE py::kw_only(), "out"_a = py::none(), "roi"_a = py::none(), "coi"_a = py::none()

// dst = fn(src, flags), dst of the source's shape in dtype (None: src's).
py::object transform(const char* cfunc, Transform fn, py::handle src, int flags,
                     py::object dtype, py::object out, py::object roi, py::object coi) {
    const Where w{out, roi, coi, py::none()};
    Call c(cfunc, w);
    ZolImage* s = c.source(src, "src");
    const Image& im = c.image(0);
    const py::array& a = im.array();
    const py::dtype dt = dtype.is_none() ? a.dtype() : py::dtype::from_args(dtype);
    ZolImage* d = c.target(im.height(), im.width(), a.ndim() == 3 ? int(a.shape(2)) : 0, dt, &im);
    c.apart();
    c.run([&] { fn(s, d, flags); });
    return c.result();
}

void defFft(py::module_& m, const char* name, const char* cfunc, Transform fn, bool inverse,
            const char* doc) {
    m.def(
        name,
        [cfunc, fn](py::handle src, py::object out, py::object roi, py::object coi,
                    bool inverse, bool scale, bool fixed, py::object dtype) {
            const int flags = (inverse ? ZOL_FFT_INVERSE : ZOL_FFT_FORWARD) |
                              (scale ? 0 : ZOL_FFT_NO_SCALE) | (fixed ? ZOL_FFT_USE_INT : 0);
            return transform(cfunc, fn, src, flags, dtype, out, roi, coi);
        },
        "src"_a, ZOLPY_PLACE, "inverse"_a = inverse, "scale"_a = true, "fixed"_a = false,
        "dtype"_a = py::none(), doc);
}

}  // namespace

void bindTransform(py::module_& m) {
    defFft(m, "fft2", "zolRealFft2D", zolRealFft2D, false,
           "Real pixels to the packed spectrum (zolRealFft2D). inverse=True takes the "
           "kernel's positive sign and divides by W*H unless scale=False; fixed=True runs "
           "the 32-bit fixed-point route (integer images only).");
    defFft(m, "ifft2", "zolCcsFft2D", zolCcsFft2D, true,
           "A packed spectrum to real pixels (zolCcsFft2D), the inverse by default, divided "
           "by W*H unless scale=False; inverse=False takes the kernel's negative sign.");
    m.def(
        "dct2",
        [](py::handle src, py::object out, py::object roi, py::object coi, bool inverse,
           py::object dtype) {
            return transform("zolDCT2D", zolDCT2D, src,
                             inverse ? ZOL_DCT_INVERSE : ZOL_DCT_FORWARD, dtype, out, roi, coi);
        },
        "src"_a, ZOLPY_PLACE, "inverse"_a = false, "dtype"_a = py::none(),
        "The orthonormal cosine transform, or with inverse=True its inverse, of integer "
        "images (zolDCT2D).");
    m.def(
        "multiply_packed",
        [](py::handle a, py::handle b, py::object out, py::object roi, py::object coi) {
            return binary("zolMpyRCPack2D", a, b, Where{out, roi, coi, py::none()},
                          [](ZolImage* x, ZolImage* y, ZolImage* d) { zolMpyRCPack2D(x, y, d); });
        },
        "a"_a, "b"_a, ZOLPY_PLACE,
        "The complex product of two packed spectra, element pair by pair (zolMpyRCPack2D).");
    m.def(
        "free_transform_tables",
        [] {
            Where w{py::none(), py::none(), py::none(), py::none()};
            Call c("zolRealFft2D", w);
            c.run([] {
                zolRealFft2D(nullptr, nullptr, ZOL_FFT_FREE);
                zolDCT2D(nullptr, nullptr, ZOL_DCT_FREE);
            });
        },
        "Releases the calling thread's Fourier and cosine tables and buffers "
        "(ZOL_FFT_FREE, ZOL_DCT_FREE); the next transform makes them again.");
}

}  // namespace zolpy
