// Convolution, rank, morphology, blur and the fixed filters. Kernels are
// classes owning the library's record; every neighbourhood function reads
// the source through border= / border_value=.
#include <cctype>
#include <climits>
#include <cstdint>
#include <new>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "bind.h"

namespace zolpy {

namespace {

enum class Combine {
    SUM = ZOL_COMBINE_SUM,
    SUM_SQUARES = ZOL_COMBINE_SUM_SQUARES,
    SQRT_SUM_SQUARES = ZOL_COMBINE_SQRT_SUM_SQUARES,
    MAX = ZOL_COMBINE_MAX,
    MIN = ZOL_COMBINE_MIN,
};

enum class Filter {
    PREWITT_V = ZOL_FILTER_PREWITT_V,
    PREWITT_H = ZOL_FILTER_PREWITT_H,
    SOBEL_V = ZOL_FILTER_SOBEL_V,
    SOBEL_H = ZOL_FILTER_SOBEL_H,
    LAPLACIAN3 = ZOL_FILTER_LAPLACIAN3,
    LAPLACIAN5 = ZOL_FILTER_LAPLACIAN5,
    GAUSSIAN3 = ZOL_FILTER_GAUSSIAN3,
    GAUSSIAN5 = ZOL_FILTER_GAUSSIAN5,
    HIGHPASS3 = ZOL_FILTER_HIGHPASS3,
    HIGHPASS5 = ZOL_FILTER_HIGHPASS5,
    SHARPEN = ZOL_FILTER_SHARPEN,
};

Where nowhere() { return Where{py::none(), py::none(), py::none(), py::none()}; }

// An enum member, its value, or its name in any case ("sobel_v").
template <class E>
int choice(py::handle v, const char* what) {
    if (py::isinstance<py::str>(v)) {
        std::string s = v.cast<std::string>();
        for (char& ch : s) ch = char(std::toupper(static_cast<unsigned char>(ch)));
        py::dict members = py::type::of<E>().attr("__members__");
        if (!members.contains(s.c_str()))
            throw py::value_error(std::string(what) + ": no such name '" +
                                  v.cast<std::string>() + "'");
        v = members[s.c_str()];
    }
    return py::int_(py::reinterpret_borrow<py::object>(v)).cast<int>();
}

// (cols, rows) from a pair, or n for n x n.
std::pair<int, int> windowSize(py::handle size) {
    if (py::isinstance<py::int_>(size)) return {size.cast<int>(), size.cast<int>()};
    py::sequence s = size.cast<py::sequence>();
    if (py::len(s) != 2) throw py::value_error("size: give (cols, rows) or one number");
    return {s[0].cast<int>(), s[1].cast<int>()};
}

// The anchor as (x, y), the window's centre (cols/2, rows/2) by default.
std::pair<int, int> anchorOf(py::handle anchor, int cols, int rows) {
    if (anchor.is_none()) return {cols / 2, rows / 2};
    py::sequence s = anchor.cast<py::sequence>();
    if (py::len(s) != 2) throw py::value_error("anchor: give (x, y)");
    return {s[0].cast<int>(), s[1].cast<int>()};
}

// Kernel values as a (rows, cols) array of T; one row for a flat sequence.
// Integer kernels take integers that fit in 32 bits, float kernels any
// numbers; the library itself refuses an empty one.
template <class T>
py::array_t<T> matrix(py::array a) {
    constexpr bool fp = std::is_floating_point<T>::value;
    if (a.ndim() == 1) a = a.attr("reshape")(1, -1);
    if (a.ndim() != 2) throw py::value_error("values: a kernel is a 2-D array");
    const char kind = a.dtype().kind();
    if (a.size() > 0 && kind != 'b' && kind != 'i' && kind != 'u' && !(fp && kind == 'f'))
        throw py::type_error(fp ? "values: numbers"
                                : "values: integers (ConvKernelFP takes floats)");
    if (!fp && a.size() > 0 && kind != 'b' && a.itemsize() >= 4 &&
        (a.attr("min")().cast<double>() < INT32_MIN || a.attr("max")().cast<double>() > INT32_MAX))
        throw py::value_error("values: integers of 32 bits");
    return py::array_t<T, py::array::c_style | py::array::forcecast>::ensure(a);
}

py::array asArray(py::handle values) {
    return py::module_::import("numpy").attr("asarray")(values);
}

// ---- kernels ---------------------------------------------------------------

// A library kernel record, made, read and freed only through the library.
template <class K, void (*Delete)(K*)>
struct Owned {
    K* k = nullptr;
    Owned() = default;
    Owned(const Owned&) = delete;
    Owned& operator=(const Owned&) = delete;
    ~Owned() {
        if (k) Delete(k);
    }
};
using IntKernel = Owned<ZolConvKernel, zolDeleteConvKernel>;
using FloatKernel = Owned<ZolConvKernelFP, zolDeleteConvKernelFP>;

// A kernel as the library gives it back: the values in row order as the
// caller gave them, the anchor unmirrored, the shift.
struct State {
    py::array values;
    int ax = 0, ay = 0, shift = 0;
};

template <class Out, class K, class Get>
State readBack(const char* cfunc, const K* k, Get get) {
    State st;
    py::array_t<Out> v({k->nRows, k->nCols});
    Out* p = v.mutable_data();
    int cols = 0, rows = 0;
    Where w = nowhere();
    Call c(cfunc, w);
    c.run([&] { get(k, &cols, &rows, &st.ax, &st.ay, &p, &st.shift); });
    st.values = v;
    return st;
}

State intState(const IntKernel& self) {
    return readBack<int32_t>("zolGetConvKernel", self.k, zolGetConvKernel);
}

State floatState(const FloatKernel& self) {
    return readBack<float>("zolGetConvKernelFP", self.k,
                           [](const ZolConvKernelFP* k, int* c, int* r, int* x, int* y,
                              float** v, int*) { zolGetConvKernelFP(k, c, r, x, y, v); });
}

// Makes a record through create(cols, rows, ax, ay, values) in a call.
template <class T, class H, class Create>
std::unique_ptr<H> make(const char* cfunc, const py::array& a, py::handle anchor,
                        Create create) {
    py::array_t<T> v = matrix<T>(a);
    const int rows = int(v.shape(0)), cols = int(v.shape(1));
    const auto anc = anchorOf(anchor, cols, rows);
    const T* p = v.data();
    auto out = std::make_unique<H>();
    Where w = nowhere();
    Call c(cfunc, w);
    c.run([&] { out->k = create(cols, rows, anc.first, anc.second, p); });
    if (!out->k) throw std::bad_alloc();
    return out;
}

std::unique_ptr<IntKernel> makeKernel(py::handle values, py::handle anchor, int shift) {
    const py::array a = asArray(values);
    if (a.dtype().kind() == 'i' && a.itemsize() == 1)
        return make<int8_t, IntKernel>(
            "zolCreateConvKernelChar", a, anchor, [shift](int c, int r, int x, int y, auto p) {
                return zolCreateConvKernelChar(c, r, x, y,
                                               reinterpret_cast<const signed char*>(p), shift);
            });
    return make<int32_t, IntKernel>("zolCreateConvKernel", a, anchor,
                                    [shift](int c, int r, int x, int y, const int32_t* p) {
                                        return zolCreateConvKernel(c, r, x, y, p, shift);
                                    });
}

std::unique_ptr<FloatKernel> makeKernelFP(py::handle values, py::handle anchor) {
    return make<float, FloatKernel>("zolCreateConvKernelFP", asArray(values), anchor,
                                    zolCreateConvKernelFP);
}

std::string reprOf(const char* cls, const State& st, bool shift) {
    std::string s = std::string(cls) + "(" +
                    py::str(st.values.attr("tolist")()).cast<std::string>() +
                    ", anchor=(" + std::to_string(st.ax) + ", " + std::to_string(st.ay) + ")";
    if (shift) s += ", shift=" + std::to_string(st.shift);
    return s + ")";
}

void defKernels(py::module_& m) {
    py::class_<IntKernel>(m, "ConvKernel",
                          "An integer convolution kernel (zolCreateConvKernel; "
                          "zolCreateConvKernelChar for int8 values).")
        .def(py::init(&makeKernel), "values"_a, "anchor"_a = py::none(), "shift"_a = 0,
             "values: 2-D integers (a flat sequence is one row); anchor: (x, y), the "
             "centre by default; shift: right shift of each sum.")
        .def_property_readonly("values", [](const IntKernel& k) { return intState(k).values; })
        .def_property_readonly(
            "char_values",
            [](const IntKernel& k) {
                return readBack<int8_t>("zolGetConvKernelChar", k.k, zolGetConvKernelChar).values;
            },
            "The values' low 8 bits (zolGetConvKernelChar).")
        .def_property_readonly("anchor",
                               [](const IntKernel& k) {
                                   const State st = intState(k);
                                   return py::make_tuple(st.ax, st.ay);
                               })
        .def_property_readonly("shift", [](const IntKernel& k) { return intState(k).shift; })
        .def("__repr__",
             [](const IntKernel& k) { return reprOf("ConvKernel", intState(k), true); });

    py::class_<FloatKernel>(m, "ConvKernelFP",
                            "A float convolution kernel, for float32 images "
                            "(zolCreateConvKernelFP).")
        .def(py::init(&makeKernelFP), "values"_a, "anchor"_a = py::none(),
             "values: 2-D numbers (a flat sequence is one row); anchor: (x, y), the centre "
             "by default.")
        .def_property_readonly("values",
                               [](const FloatKernel& k) { return floatState(k).values; })
        .def_property_readonly("anchor",
                               [](const FloatKernel& k) {
                                   const State st = floatState(k);
                                   return py::make_tuple(st.ax, st.ay);
                               })
        .def("__repr__",
             [](const FloatKernel& k) { return reprOf("ConvKernelFP", floatState(k), false); });
}

// ---- neighbourhood calls ---------------------------------------------------

// The keyword arguments after ZOLPY_WHERE.
#define ZOLPY_BORDER "border"_a = py::none(), "border_value"_a = 0

void setBorder(Image& src, py::handle border, int value) {
    if (border.is_none() && value == 0) return;  // the header's own: constant 0
    src.setBorder(border.is_none() ? ZOL_BORDER_CONSTANT : borderMode(border), value);
}

// dst = f(src, dst) with the source read through the border rules.
template <class F>
py::object around(const char* cfunc, py::handle src, py::handle border, int value,
                  const Where& w, F&& f) {
    Call c(cfunc, w);
    ZolImage* s = c.source(src, "src");
    setBorder(c.image(0), border, value);
    ZolImage* d = c.targetLike(0);
    c.apart();
    c.run([&] { f(s, d); });
    return c.result();
}

using Rank = void (*)(ZolImage*, ZolImage*, int, int, int, int);
using Morph = void (*)(ZolImage*, ZolImage*, int);

void defWindow(py::module_& m, const char* name, const char* cfunc, Rank fn, const char* doc) {
    m.def(
        name,
        [cfunc, fn](py::handle src, py::handle size, py::handle anchor, py::object out,
                    py::object roi, py::object coi, py::object mask, py::handle border,
                    int value) {
            const auto size2 = windowSize(size);
            const int cols = size2.first, rows = size2.second;
            const auto anc = anchorOf(anchor, cols, rows);
            const int ax = anc.first, ay = anc.second;
            return around(cfunc, src, border, value, Where{out, roi, coi, mask},
                          [&, fn](ZolImage* s, ZolImage* d) { fn(s, d, cols, rows, ax, ay); });
        },
        "src"_a, "size"_a, "anchor"_a = py::none(), ZOLPY_WHERE, ZOLPY_BORDER, doc);
}

void defMorph(py::module_& m, const char* name, const char* cfunc, Morph fn, const char* doc) {
    m.def(
        name,
        [cfunc, fn](py::handle src, int iterations, py::object out, py::object roi,
                    py::object coi, py::object mask, py::handle border, int value) {
            return around(cfunc, src, border, value, Where{out, roi, coi, mask},
                          [&, fn](ZolImage* s, ZolImage* d) { fn(s, d, iterations); });
        },
        "src"_a, "iterations"_a = 1, ZOLPY_WHERE, ZOLPY_BORDER, doc);
}

py::object convolve(py::handle src, py::handle kernels, py::handle combine, py::object out,
                    py::object roi, py::object coi, py::object mask, py::handle border,
                    int value) {
    std::vector<ZolConvKernel*> ints;
    std::vector<ZolConvKernelFP*> floats;
    auto take = [&](py::handle k) {
        if (py::isinstance<IntKernel>(k))
            ints.push_back(k.cast<const IntKernel&>().k);
        else if (py::isinstance<FloatKernel>(k))
            floats.push_back(k.cast<const FloatKernel&>().k);
        else
            throw py::type_error("kernels: a ConvKernel, a ConvKernelFP or a sequence of them");
    };
    // Held here, so that the kernels outlive the call whatever becomes of
    // the caller's sequence meanwhile.
    py::tuple held;
    if (py::isinstance<IntKernel>(kernels) || py::isinstance<FloatKernel>(kernels))
        held = py::make_tuple(kernels);
    else if (py::isinstance<py::iterable>(kernels))
        held = py::tuple(py::reinterpret_borrow<py::object>(kernels));
    else
        take(kernels);  // refused
    for (py::handle k : held) take(k);
    if (!ints.empty() && !floats.empty())
        throw py::type_error("kernels: ConvKernel and ConvKernelFP do not mix");
    const int method = choice<Combine>(combine, "combine");
    const Where w{out, roi, coi, mask};
    if (!floats.empty())
        return around("zolConvolve2DFP", src, border, value, w, [&](ZolImage* s, ZolImage* d) {
            zolConvolve2DFP(s, d, floats.data(), int(floats.size()), method);
        });
    return around("zolConvolve2D", src, border, value, w, [&](ZolImage* s, ZolImage* d) {
        zolConvolve2D(s, d, ints.data(), int(ints.size()), method);
    });
}

}  // namespace

void bindFilter(py::module_& m) {
    py::enum_<Combine>(m, "Combine", "How convolve() combines the results of several kernels.")
        .value("SUM", Combine::SUM)
        .value("SUM_SQUARES", Combine::SUM_SQUARES)
        .value("SQRT_SUM_SQUARES", Combine::SQRT_SUM_SQUARES)
        .value("MAX", Combine::MAX)
        .value("MIN", Combine::MIN);
    py::enum_<Filter>(m, "Filter", "The built-in kernels of fixed_filter().")
        .value("PREWITT_V", Filter::PREWITT_V)
        .value("PREWITT_H", Filter::PREWITT_H)
        .value("SOBEL_V", Filter::SOBEL_V)
        .value("SOBEL_H", Filter::SOBEL_H)
        .value("LAPLACIAN3", Filter::LAPLACIAN3)
        .value("LAPLACIAN5", Filter::LAPLACIAN5)
        .value("GAUSSIAN3", Filter::GAUSSIAN3)
        .value("GAUSSIAN5", Filter::GAUSSIAN5)
        .value("HIGHPASS3", Filter::HIGHPASS3)
        .value("HIGHPASS5", Filter::HIGHPASS5)
        .value("SHARPEN", Filter::SHARPEN);
    defKernels(m);

    m.def("convolve", &convolve, "src"_a, "kernels"_a, "combine"_a = Combine::SUM, ZOLPY_WHERE,
          ZOLPY_BORDER,
          "Convolution with one kernel or several combined per pixel (zolConvolve2D; "
          "zolConvolve2DFP for ConvKernelFP kernels on float32 images).");
    m.def(
        "convolve_sep",
        [](py::handle src, const IntKernel& x, const IntKernel& y, py::object out,
           py::object roi, py::object coi, py::object mask, py::handle border, int value) {
            return around("zolConvolveSep2D", src, border, value, Where{out, roi, coi, mask},
                          [&](ZolImage* s, ZolImage* d) { zolConvolveSep2D(s, d, x.k, y.k); });
        },
        "src"_a, "xkernel"_a, "ykernel"_a, ZOLPY_WHERE, ZOLPY_BORDER,
        "Convolution with a row kernel (xkernel's first row) and a column kernel (ykernel's "
        "first column), shifted right by the sum of their shifts (zolConvolveSep2D).");
    m.def(
        "fixed_filter",
        [](py::handle src, py::handle filter, py::object out, py::object roi, py::object coi,
           py::object mask, py::handle border, int value) {
            const int f = choice<Filter>(filter, "filter");
            return around("zolFixedFilter", src, border, value, Where{out, roi, coi, mask},
                          [&](ZolImage* s, ZolImage* d) { zolFixedFilter(s, d, f); });
        },
        "src"_a, "filter"_a, ZOLPY_WHERE, ZOLPY_BORDER,
        "One of the built-in kernels, zol.Filter or its name (zolFixedFilter).");
    defWindow(m, "median_filter", "zolMedianFilter", zolMedianFilter,
              "The median of each window, the upper middle of an even one (zolMedianFilter).");
    defWindow(m, "max_filter", "zolMaxFilter", zolMaxFilter,
              "The largest element of each window (zolMaxFilter).");
    defWindow(m, "min_filter", "zolMinFilter", zolMinFilter,
              "The smallest element of each window (zolMinFilter).");
    defWindow(m, "blur", "zolBlur", zolBlur, "The average of each window (zolBlur).");
    defMorph(m, "dilate", "zolDilate", zolDilate,
             "The largest element of each (2n+1) x (2n+1) window, n = iterations (zolDilate).");
    defMorph(m, "erode", "zolErode", zolErode,
             "The smallest element of each (2n+1) x (2n+1) window, n = iterations (zolErode).");
    defMorph(m, "open_", "zolOpen", zolOpen, "Erosion, then dilation (zolOpen).");
    defMorph(m, "close", "zolClose", zolClose, "Dilation, then erosion (zolClose).");
}

}  // namespace zolpy
