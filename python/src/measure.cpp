// Histograms and look-up tables, thresholds, norms and moments. Curves and
// histograms are zol.LUT objects owning the library's record; a moment
// state is a zol.Moments object; norms and single moments are floats.
#include <algorithm>
#include <string>
#include <vector>

#include "bind.h"

namespace zolpy {

namespace {

using IntArray = py::array_t<int32_t, py::array::c_style | py::array::forcecast>;

// One channel's step curve, polyline or histogram: keys, a value per
// interval and slopes, held here and lent to the library for a call.
class Lut {
public:
    Lut(IntArray keys, py::object values, py::object factors, bool interpolate)
        : key_(keys.data(), keys.data() + keys.size()), interpolate_(interpolate) {
        value_ = fill(values, "values");
        factor_ = fill(factors, "factors");
    }

    ZolLUT* get() {
        rec_.num = int32_t(key_.size());
        rec_.key = key_.data();
        rec_.value = value_.data();
        rec_.factor = factor_.data();
        rec_.interpolateType = interpolate_ ? 1 : 0;
        return &rec_;
    }

    // The arrays are views of the record's own memory, kept alive by it.
    static py::array view(std::vector<int32_t>& v, py::handle owner) {
        return IntArray(py::ssize_t(v.size()), v.data(), owner);
    }

    std::vector<int32_t> key_, value_, factor_;
    bool interpolate_;

private:
    std::vector<int32_t> fill(py::object values, const char* name) {
        if (values.is_none()) return std::vector<int32_t>(key_.size(), 0);
        IntArray a = values.cast<IntArray>();
        if (size_t(a.size()) != key_.size())
            throw py::value_error(std::string(name) + ": one per key");
        return std::vector<int32_t>(a.data(), a.data() + a.size());
    }

    ZolLUT rec_{};
};

// The library's table of records by absolute channel: one LUT for every
// channel, or a sequence with one (or None) per channel.
std::vector<ZolLUT*> lutTable(py::handle luts, int channels) {
    std::vector<ZolLUT*> t;
    if (py::isinstance<Lut>(luts)) {
        t.assign(size_t(std::max(channels, 1)), luts.cast<Lut&>().get());
    } else {
        for (py::handle item : luts) t.push_back(item.is_none() ? nullptr : item.cast<Lut&>().get());
        if (t.size() < size_t(channels)) t.resize(size_t(channels), nullptr);
    }
    return t;
}

Where noWhere() { return Where{py::none(), py::none(), py::none(), py::none()}; }

enum class Norm { MAX = ZOL_NORM_MAX, L1 = ZOL_NORM_L1, L2 = ZOL_NORM_L2 };

int normType(py::handle kind) {
    if (py::isinstance<py::str>(kind)) {
        const std::string s = kind.cast<std::string>();
        if (s == "max" || s == "inf") return ZOL_NORM_MAX;
        if (s == "l1") return ZOL_NORM_L1;
        if (s == "l2") return ZOL_NORM_L2;
        throw py::value_error("kind: one of max, l1, l2, not '" + s + "'");
    }
    return py::int_(kind.attr("__int__")()).cast<int>();
}

// A filled moment state.
struct Moments {
    ZolMomentState state{};
};

using StateMoment = double (*)(ZolMomentState*, int, int);
using ImageMoment = double (*)(ZolImage*, int, int);

double stateMoment(const char* cfunc, StateMoment fn, Moments& mo, int m, int n) {
    const Where w = noWhere();
    Call c(cfunc, w);
    double r = 0;
    c.run([&] { r = fn(&mo.state, m, n); });
    return r;
}

void defImageMoment(py::module_& m, const char* name, const char* cfunc, ImageMoment fn,
                    const char* doc) {
    m.def(
        name,
        [cfunc, fn](py::handle src, int mo, int n, py::object roi, py::object coi,
                    py::object mask) {
            const Where w{py::none(), roi, coi, mask};
            Call c(cfunc, w);
            ZolImage* s = c.source(src, "src");
            c.applyMask(s);
            double r = 0;
            c.run([&] { r = fn(s, mo, n); });
            return r;
        },
        "src"_a, "m"_a, "n"_a, py::kw_only(), "roi"_a = py::none(), "coi"_a = py::none(),
        "mask"_a = py::none(), doc);
}

// dst = f(src, table of records): contrast stretch and equalisation.
using LutMap = void (*)(ZolImage*, ZolImage*, ZolLUT**);

void defLutMap(py::module_& m, const char* name, const char* cfunc, LutMap fn, const char* doc) {
    m.def(
        name,
        [cfunc, fn](py::handle src, py::handle lut, py::object out, py::object roi,
                    py::object coi, py::object mask) {
            const Where w{out, roi, coi, mask};
            Call c(cfunc, w);
            ZolImage* s = c.source(src, "src");
            ZolImage* d = c.targetLike(0);
            std::vector<ZolLUT*> t = lutTable(lut, s->nChannels);
            c.run([&] { fn(s, d, t.data()); });
            return c.result();
        },
        "src"_a, "lut"_a, ZOLPY_WHERE, doc);
}

}  // namespace

void bindMeasure(py::module_& m) {
    py::class_<Lut>(m, "LUT",
                    "A curve or histogram over the levels of one channel: keys (rising interval "
                    "bounds), a value per interval, slopes used when interpolate is True.")
        .def(py::init<IntArray, py::object, py::object, bool>(), "keys"_a,
             "values"_a = py::none(), "factors"_a = py::none(), "interpolate"_a = false)
        .def_property_readonly(
            "keys", [](py::object self) { return Lut::view(self.cast<Lut&>().key_, self); })
        .def_property_readonly(
            "values", [](py::object self) { return Lut::view(self.cast<Lut&>().value_, self); },
            "Values per interval, writable; compute_histo writes counts into it.")
        .def_property_readonly(
            "factors",
            [](py::object self) { return Lut::view(self.cast<Lut&>().factor_, self); })
        .def_readwrite("interpolate", &Lut::interpolate_);

    m.def(
        "compute_histo",
        [](py::handle src, py::handle lut, py::object roi, py::object coi, py::object mask) {
            const Where w{py::none(), roi, coi, mask};
            Call c("zolComputeHisto", w);
            ZolImage* s = c.source(src, "src");
            c.applyMask(s);
            std::vector<ZolLUT*> t = lutTable(lut, s->nChannels);
            c.run([&] { zolComputeHisto(s, t.data()); });
            return py::reinterpret_borrow<py::object>(lut);
        },
        "src"_a, "lut"_a, py::kw_only(), "roi"_a = py::none(), "coi"_a = py::none(),
        "mask"_a = py::none(),
        "Counts the region's pixels per interval of lut.keys into lut.values (the last "
        "value stays); lut is one LUT or one per channel. Returns lut (zolComputeHisto).");
    defLutMap(m, "contrast_stretch", "zolContrastStretch", zolContrastStretch,
              "Maps levels through each channel's curve (zolContrastStretch).");
    defLutMap(m, "histo_equalize", "zolHistoEqualize", zolHistoEqualize,
              "Equalises through the counts held in lut (as compute_histo left them) and "
              "writes the mapped image's counts back into it (zolHistoEqualize).");

    m.def(
        "threshold",
        [](py::handle src, int value, py::object dtype, py::object out, py::object roi,
           py::object coi, py::object mask) {
            const Where w{out, roi, coi, mask};
            Call c("zolThreshold", w);
            ZolImage* s = c.source(src, "src");
            ZolImage* d;
            if (dtype.is_none()) {
                d = c.targetLike(0);
            } else {
                const py::dtype dt = py::dtype::from_args(dtype);
                const Image& si = c.image(0);
                const int ch = dt.kind() == 'b' || si.array().ndim() == 2 ? 0 : si.channels();
                d = c.target(si.height(), si.width(), ch, dt, &si);
            }
            c.run([&] { zolThreshold(s, d, value); });
            return c.result();
        },
        "src"_a, "threshold"_a, "dtype"_a = py::none(), ZOLPY_WHERE,
        "The type's largest value where src >= threshold, else its smallest; dtype (or out) "
        "chooses the destination's type, bool for a 1-bit image (zolThreshold).");

    py::enum_<Norm>(m, "Norm", "What zol.norm measures.")
        .value("MAX", Norm::MAX)
        .value("L1", Norm::L1)
        .value("L2", Norm::L2);
    m.def(
        "norm",
        [](py::handle a, py::object b, py::handle kind, bool relative, py::object roi,
           py::object coi, py::object mask) {
            const Where w{py::none(), roi, coi, mask};
            Call c("zolNorm", w);
            ZolImage* x = c.source(a, "a");
            ZolImage* y = b.is_none() ? nullptr : c.source(b, "b");
            c.applyMask(x);
            const int type = normType(kind) | (relative ? ZOL_NORM_RELATIVE : 0);
            double r = 0;
            c.run([&] { r = zolNorm(x, y, type); });
            return r;
        },
        "a"_a, "b"_a = py::none(), "kind"_a = "l2", "relative"_a = false, py::kw_only(),
        "roi"_a = py::none(), "coi"_a = py::none(), "mask"_a = py::none(),
        "The max, l1 or l2 norm of a, or of a - b; relative=True divides by b's (zolNorm).");

    py::class_<Moments>(m, "Moments", "The ten moments of order up to 3 of one channel.")
        .def(
            "spatial",
            [](Moments& mo, int m_, int n) {
                return stateMoment("zolGetSpatialMoment", zolGetSpatialMoment, mo, m_, n);
            },
            "m"_a, "n"_a, "Sum of p * x^m * y^n (zolGetSpatialMoment).")
        .def(
            "normalized_spatial",
            [](Moments& mo, int m_, int n) {
                return stateMoment("zolGetNormalizedSpatialMoment", zolGetNormalizedSpatialMoment,
                                   mo, m_, n);
            },
            "m"_a, "n"_a, "The spatial moment over w^m * h^n (zolGetNormalizedSpatialMoment).")
        .def(
            "central",
            [](Moments& mo, int m_, int n) {
                return stateMoment("zolGetCentralMoment", zolGetCentralMoment, mo, m_, n);
            },
            "m"_a, "n"_a, "About the centroid (zolGetCentralMoment).")
        .def(
            "normalized_central",
            [](Moments& mo, int m_, int n) {
                return stateMoment("zolGetNormalizedCentralMoment", zolGetNormalizedCentralMoment,
                                   mo, m_, n);
            },
            "m"_a, "n"_a, "The central moment over w^m * h^n (zolGetNormalizedCentralMoment).");
    m.def(
        "moments",
        [](py::handle src, py::object roi, py::object coi, py::object mask) {
            const Where w{py::none(), roi, coi, mask};
            Call c("zolMoments", w);
            ZolImage* s = c.source(src, "src");
            c.applyMask(s);
            Moments mo;
            c.run([&] { zolMoments(s, &mo.state); });
            return mo;
        },
        "src"_a, py::kw_only(), "roi"_a = py::none(), "coi"_a = py::none(),
        "mask"_a = py::none(),
        "The moments of the region of one channel (coi= on several channels) (zolMoments).");
    defImageMoment(m, "spatial_moment", "zolSpatialMoment", zolSpatialMoment,
                   "One spatial moment straight from the image (zolSpatialMoment).");
    defImageMoment(m, "normalized_spatial_moment", "zolNormalizedSpatialMoment",
                   zolNormalizedSpatialMoment, "(zolNormalizedSpatialMoment)");
    defImageMoment(m, "central_moment", "zolCentralMoment", zolCentralMoment,
                   "(zolCentralMoment)");
    defImageMoment(m, "normalized_central_moment", "zolNormalizedCentralMoment",
                   zolNormalizedCentralMoment, "(zolNormalizedCentralMoment)");
}

}  // namespace zolpy
