// Colour: conversions between RGB and other spaces, gray, bit reduction
// and dither, and the colour twist as a class owning its record.
// Conversions, gray and bit reduction work on whole images (the library
// takes no region there), so they take out= only; the twist takes roi= and
// mask= as well.
#include <cstring>
#include <new>
#include <string>
#include <utility>

#include "bind.h"

namespace zolpy {

namespace {

enum class Dither {
    NONE = ZOL_DITHER_NONE,
    FS = ZOL_DITHER_FS,
    JJN = ZOL_DITHER_JJN,
    STUCKI = ZOL_DITHER_STUCKI,
    BAYER = ZOL_DITHER_BAYER
};

int ditherMode(py::handle mode) {
    if (py::isinstance<py::str>(mode)) {
        const std::string s = mode.cast<std::string>();
        static const char* const kNames[] = {"none", "fs", "jjn", "stucki", "bayer"};
        for (int i = 0; i < 5; ++i)
            if (s == kNames[i]) return 1 << i;
        throw py::value_error("dither: one of none, fs, jjn, stucki, bayer, not '" + s + "'");
    }
    return py::int_(mode.attr("__int__")()).cast<int>();
}

// The name of the RGB side's channel order: red first or blue first.
const char* rgbOrder(const std::string& order) {
    if (order == "RGB") return "RGB";
    if (order == "BGR") return "BGR";
    throw py::value_error("order: RGB or BGR, not '" + order + "'");
}

// Names an image of three or more channels (three letters and their
// terminating zero). Fewer channels keep their gray names, which the
// library refuses where it wants colour: it reads three channels from an
// image called RGB without counting them.
void name(ZolImage* im, const char* model, const char* seq) {
    if (im->nChannels < 3) return;
    std::memcpy(im->colorModel, model, 4);
    std::memcpy(im->channelSeq, seq, 4);
}

Where outOnly(py::object out) { return Where{std::move(out), py::none(), py::none(), py::none()}; }

// ---- conversions -------------------------------------------------------------

using Convert = void (*)(ZolImage*, ZolImage*);

// The destination's dtype: YUV holds differences, signed at 8 and 16 bits.
py::dtype convertedType(const py::dtype& src, int toYuv) {
    const int depth = depthOf(src);
    if (toYuv > 0 && (depth == ZOL_DEPTH_8U || depth == ZOL_DEPTH_16U))
        return dtypeOf(depth | ZOL_DEPTH_SIGN);
    if (toYuv < 0 && (depth == ZOL_DEPTH_8S || depth == ZOL_DEPTH_16S))
        return dtypeOf(depth & ~ZOL_DEPTH_SIGN);
    return src;
}

// model: the other space's name; fromRgb: the direction; yuv: +1 into
// YUV, -1 out of it.
void defConvert(py::module_& m, const char* pyName, const char* cfunc, Convert fn,
                const char* model, bool fromRgb, int yuv, const char* doc) {
    m.def(
        pyName,
        [=](py::handle src, const std::string& order, py::object out) {
            const char* seq = rgbOrder(order);
            const Where w = outOnly(std::move(out));
            Call c(cfunc, w);
            ZolImage* s = c.source(src, "src", false);
            const Image& si = c.image(0);
            ZolImage* d = c.target(si.height(), si.width(), 3,
                                   convertedType(si.array().dtype(), yuv), nullptr, false);
            // YUV rows are written at the source's sample width, whatever
            // the destination's depth: a narrower out= would be overrun.
            if (yuv && (d->depth & 0xFF) < (s->depth & 0xFF))
                throw py::type_error("out: samples as wide as src's");
            if (fromRgb)
                name(s, "RGB", seq);
            else
                name(s, model, model), name(d, "RGB", seq);
            c.run([&] { fn(s, d); });
            return c.result();
        },
        "src"_a, py::kw_only(), "order"_a = "RGB", "out"_a = py::none(), doc);
}

// ---- colour twist ----------------------------------------------------------

// Sixteen int32 entries from a 3x4 or 4x4 matrix of integers.
void twistData(py::handle matrix, int32_t data[16]) {
    py::array a = py::module_::import("numpy").attr("asarray")(matrix);
    if (a.dtype().kind() != 'i' && a.dtype().kind() != 'u' && a.dtype().kind() != 'b')
        throw py::type_error("matrix: integers, weights scaled by 2**scale");
    if (a.ndim() != 2 || (a.shape(0) != 3 && a.shape(0) != 4) || a.shape(1) != 4)
        throw py::value_error("matrix: 3x4 or 4x4");
    auto v = py::array_t<int64_t, py::array::c_style | py::array::forcecast>::ensure(a);
    std::memset(data, 0, 16 * sizeof(int32_t));
    for (py::ssize_t i = 0; i < v.size(); ++i) {
        const int64_t x = v.data()[i];
        if (x < INT32_MIN || x > INT32_MAX) throw py::value_error("matrix: entries are int32");
        data[i] = int32_t(x);
    }
}

class Twist {
public:
    Twist(py::handle matrix, int scale) {
        int32_t data[16];
        twistData(matrix, data);
        const Where none = outOnly(py::none());
        Call c("zolCreateColorTwist", none);
        c.run([&] { p_ = zolCreateColorTwist(data, scale); });
        if (!p_) throw std::bad_alloc();
    }
    ~Twist() { zolDeleteColorTwist(p_); }
    Twist(const Twist&) = delete;
    Twist& operator=(const Twist&) = delete;

    void set(py::handle matrix, int scale) {
        int32_t data[16];
        twistData(matrix, data);
        const Where none = outOnly(py::none());
        Call c("zolSetColorTwist", none);
        c.run([&] { zolSetColorTwist(p_, data, scale); });
    }
    py::array_t<int32_t> matrix() const {
        py::array_t<int32_t> a({4, 4});
        std::memcpy(a.mutable_data(), p_->data, sizeof(p_->data));
        return a;
    }
    int scale() const { return p_->scalingValue; }

    py::object apply(py::handle src, int offset, py::object out, py::object roi,
                     py::object mask) const {
        const bool inPlace = !out.is_none() && out.is(src);
        // A new destination starts as the source: channels past the third
        // and pixels outside the region or mask keep its values.
        if (out.is_none()) out = py::module_::import("numpy").attr("array")(src);
        const Where w{out, roi, py::none(), mask};
        Call c("zolApplyColorTwist", w);
        ZolImage* s = inPlace ? c.inPlace(src, "src") : c.source(src, "src");
        ZolImage* d = s;
        if (inPlace)
            c.applyMask(d);
        else
            d = c.targetLike(0);
        const ZolColorTwist* t = p_;
        c.run([&] { zolApplyColorTwist(s, d, t, offset); });
        return out;
    }

private:
    ZolColorTwist* p_ = nullptr;
};

}  // namespace

void bindColour(py::module_& m) {
    defConvert(m, "rgb_to_hsv", "zolRGB2HSV", zolRGB2HSV, "HSV", true, 0,
               "RGB to hue, saturation, value (zolRGB2HSV); uint8 hue in half degrees.");
    defConvert(m, "hsv_to_rgb", "zolHSV2RGB", zolHSV2RGB, "HSV", false, 0,
               "HSV back to RGB (zolHSV2RGB).");
    defConvert(m, "rgb_to_hls", "zolRGB2HLS", zolRGB2HLS, "HLS", true, 0,
               "RGB to hue, lightness, saturation (zolRGB2HLS).");
    defConvert(m, "hls_to_rgb", "zolHLS2RGB", zolHLS2RGB, "HLS", false, 0,
               "HLS back to RGB (zolHLS2RGB).");
    defConvert(m, "rgb_to_xyz", "zolRGB2XYZ", zolRGB2XYZ, "XYZ", true, 0,
               "RGB to CIE XYZ (zolRGB2XYZ).");
    defConvert(m, "xyz_to_rgb", "zolXYZ2RGB", zolXYZ2RGB, "XYZ", false, 0,
               "CIE XYZ back to RGB (zolXYZ2RGB).");
    defConvert(m, "rgb_to_yuv", "zolRGB2YUV", zolRGB2YUV, "YUV", true, 1,
               "RGB to Y, B - Y, R - Y (zolRGB2YUV): uint8 gives int8, uint16 int16.");
    defConvert(m, "yuv_to_rgb", "zolYUV2RGB", zolYUV2RGB, "YUV", false, -1,
               "YUV back to RGB (zolYUV2RGB): int8 gives uint8, int16 uint16.");
    defConvert(m, "rgb_to_ycrcb", "zolRGB2YCrCb", zolRGB2YCrCb, "YCr", true, 0,
               "RGB to Y and the blue and red differences, offset to unsigned "
               "(zolRGB2YCrCb).");
    defConvert(m, "ycrcb_to_rgb", "zolYCrCb2RGB", zolYCrCb2RGB, "YCr", false, 0,
               "YCrCb back to RGB (zolYCrCb2RGB).");
    defConvert(m, "ycc_to_rgb", "zolYCC2RGB", zolYCC2RGB, "YCC", false, 0,
               "Photo YCC (uint8) to RGB (zolYCC2RGB).");
    defConvert(m, "rgb_to_luv", "zolRGB2LUV", zolRGB2LUV, "LUV", true, 0,
               "RGB to CIE LUV, float32 (zolRGB2LUV).");
    defConvert(m, "luv_to_rgb", "zolLUV2RGB", zolLUV2RGB, "LUV", false, 0,
               "CIE LUV back to RGB, float32 (zolLUV2RGB).");

    m.def(
        "color_to_gray",
        [](py::handle src, py::object dtype, const std::string& order, py::object out) {
            const char* seq = rgbOrder(order);
            const Where w = outOnly(std::move(out));
            Call c("zolColorToGray", w);
            ZolImage* s = c.source(src, "src", false);
            const Image& si = c.image(0);
            // int32 has no gray of its own depth: its deepest is uint16.
            py::dtype dt = dtype.is_none()
                               ? (s->depth == ZOL_DEPTH_32S ? dtypeOf(ZOL_DEPTH_16U)
                                                            : si.array().dtype())
                               : py::dtype::from_args(dtype);
            ZolImage* d = c.target(si.height(), si.width(), 0, dt, nullptr, false);
            name(s, "RGB", seq);
            c.run([&] { zolColorToGray(s, d); });
            return c.result();
        },
        "src"_a, "dtype"_a = py::none(), py::kw_only(), "order"_a = "RGB",
        "out"_a = py::none(),
        "Weighs R, G, B by 54, 183, 18 into one channel (zolColorToGray). dtype: uint8, "
        "uint16 or bool; by default src's (uint16 for int32).");
    m.def(
        "gray_to_color",
        [](py::handle src, py::handle weights, const std::string& order, py::object out) {
            const char* seq = rgbOrder(order);
            py::sequence ws = py::reinterpret_borrow<py::object>(weights).cast<py::sequence>();
            if (py::len(ws) != 3) throw py::value_error("weights: (red, green, blue)");
            const float r = ws[0].cast<float>(), g = ws[1].cast<float>(), b = ws[2].cast<float>();
            const Where w = outOnly(std::move(out));
            Call c("zolGrayToColor", w);
            ZolImage* s = c.source(src, "src", false);
            const Image& si = c.image(0);
            const py::dtype dt =
                s->depth == ZOL_DEPTH_1U ? dtypeOf(ZOL_DEPTH_8U) : si.array().dtype();
            ZolImage* d = c.target(si.height(), si.width(), 3, dt, nullptr, false);
            name(d, "RGB", seq);
            c.run([&] { zolGrayToColor(s, d, r, g, b); });
            return c.result();
        },
        "src"_a, "weights"_a = py::make_tuple(0.0, 0.0, 0.0), py::kw_only(), "order"_a = "RGB",
        "out"_a = py::none(),
        "Spreads a gray image into R, G, B by the weights' shares (zolGrayToColor); all 0, "
        "the default, gives the fixed weights 54, 183, 18 /256. bool gives uint8.");

    py::enum_<Dither>(m, "Dither", "How reduce_bits spreads the error of fewer levels.")
        .value("NONE", Dither::NONE)
        .value("FS", Dither::FS)
        .value("JJN", Dither::JJN)
        .value("STUCKI", Dither::STUCKI)
        .value("BAYER", Dither::BAYER);
    m.def(
        "reduce_bits",
        [](py::handle src, py::object bits, py::object levels, py::handle dither, int jitter,
           py::object out) {
            const int mode = ditherMode(dither);
            if (bits.is_none() && out.is_none())
                throw py::type_error("reduce_bits: give the bits or out");
            const Where w = outOnly(std::move(out));
            Call c("zolReduceBits", w);
            ZolImage* s = c.source(src, "src", false);
            const Image& si = c.image(0);
            const py::array& a = si.array();
            int depth = 0;
            if (!bits.is_none()) {
                const int b = bits.cast<int>();
                if (b != 1 && b != 8 && b != 16) throw py::value_error("bits: 1, 8 or 16");
                depth = b;
            }
            ZolImage* d = c.target(si.height(), si.width(), a.ndim() == 3 ? int(a.shape(2)) : 0,
                                   dtypeOf(depth), nullptr, false);
            const int keep = levels.is_none() ? d->depth & 0xFF : levels.cast<int>();
            c.run([&] { zolReduceBits(s, d, jitter, mode, keep); });
            return c.result();
        },
        "src"_a, "bits"_a = py::none(), py::kw_only(), "levels"_a = py::none(),
        "dither"_a = "none", "jitter"_a = 0, "out"_a = py::none(),
        "Lowers the depth to bits (1: bool, 8: uint8, 16: uint16) by cutting, after jitter "
        "of amplitude 0..8, then dithers to levels bits (default: all of the destination's) "
        "(zolReduceBits).");

    py::class_<Twist>(m, "ColorTwist",
                      "A colour twist record: a 3x4 (or 4x4) integer matrix whose entries are "
                      "divided by 2**scale; column 3 holds the additive terms.")
        .def(py::init<py::handle, int>(), "matrix"_a, "scale"_a = 0)
        .def("set", &Twist::set, "matrix"_a, "scale"_a = 0,
             "Overwrites the entries and the scale (zolSetColorTwist).")
        .def_property_readonly("matrix", &Twist::matrix, "The 4x4 entries, a copy.")
        .def_property_readonly("scale", &Twist::scale)
        .def("apply", &Twist::apply, "src"_a, "offset"_a = 0, py::kw_only(),
             "out"_a = py::none(), "roi"_a = py::none(), "mask"_a = py::none(),
             "Channels 0..2 of src through the twist, plus offset (zolApplyColorTwist).");
    m.def(
        "apply_color_twist",
        [](py::handle src, const Twist& t, int offset, py::object out, py::object roi,
           py::object mask) { return t.apply(src, offset, out, roi, mask); },
        "src"_a, "twist"_a, "offset"_a = 0, py::kw_only(), "out"_a = py::none(),
        "roi"_a = py::none(), "mask"_a = py::none(),
        "twist.apply(src, offset) (zolApplyColorTwist).");
}

}  // namespace zolpy
