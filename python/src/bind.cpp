#include "bind.h"

#include <cstring>
#include <string>

namespace zolpy {

namespace {

constexpr int64_t kIntMax = 0x7FFFFFFF;

// The first report of a call on this thread: the library reports where a
// fault is found, and outer functions may report again in their own name.
struct Report {
    bool set = false;
    int status = 0;
    std::string func;
    std::string context;
};
thread_local Report tReport;

int catchReport(int status, const char* func, const char* context, const char*, int) {
    if (!tReport.set) {
        tReport.set = true;
        tReport.status = status;
        tReport.func = func ? func : "";
        tReport.context = context ? context : "";
    }
    return 0;
}

py::module_& numpy() {
    // Held to the end of the process: a static destroyed after the
    // interpreter would release it too late.
    static py::module_* np = new py::module_(py::module_::import("numpy"));
    return *np;
}

void setModel(ZolImage& h) {
    static const char* const kModels[][2] = {
        {"GRAY", "G   "}, {"GRAY", "GA  "}, {"RGB ", "RGB "}, {"RGBA", "RGBA"}};
    const int i = h.nChannels >= 1 && h.nChannels <= 4 ? h.nChannels - 1 : 0;
    std::memcpy(h.colorModel, kModels[i][0], 4);
    std::memcpy(h.channelSeq, kModels[i][1], 4);
}

}  // namespace

py::dtype dtypeOf(int depth) {
    switch (depth) {
        case ZOL_DEPTH_1U: return py::dtype::of<bool>();
        case ZOL_DEPTH_8U: return py::dtype::of<uint8_t>();
        case ZOL_DEPTH_8S: return py::dtype::of<int8_t>();
        case ZOL_DEPTH_16U: return py::dtype::of<uint16_t>();
        case ZOL_DEPTH_16S: return py::dtype::of<int16_t>();
        case ZOL_DEPTH_32S: return py::dtype::of<int32_t>();
        default: return py::dtype::of<float>();
    }
}

int depthOf(const py::dtype& dt) {
    const char kind = dt.kind();
    const auto size = dt.itemsize();
    if (kind == 'b' && size == 1) return ZOL_DEPTH_1U;
    if (kind == 'u' && size == 1) return ZOL_DEPTH_8U;
    if (kind == 'i' && size == 1) return ZOL_DEPTH_8S;
    if (kind == 'u' && size == 2) return ZOL_DEPTH_16U;
    if (kind == 'i' && size == 2) return ZOL_DEPTH_16S;
    if (kind == 'i' && size == 4) return ZOL_DEPTH_32S;
    if (kind == 'f' && size == 4) return ZOL_DEPTH_32F;
    return 0;
}

// ---- Image ---------------------------------------------------------------

namespace {

// Whether a header can describe the array's elements: rows at a positive
// step, pixels and channels packed inside a row.
bool describable(const py::array& a) {
    const auto n = a.ndim();
    if (n != 2 && n != 3) return true;  // refused later with the shape
    const auto item = a.itemsize();
    const auto h = a.shape(0), w = a.shape(1), c = n == 3 ? a.shape(2) : 1;
    if (n == 3 && c > 1 && a.strides(2) != item) return false;
    if (w > 1 && a.strides(1) != item * c) return false;
    return h <= 1 || a.strides(0) > 0;
}

[[noreturn]] void typeError(const std::string& text) { throw py::type_error(text); }
[[noreturn]] void valueError(const std::string& text) { throw py::value_error(text); }

void checkShape(const py::array& a, const char* name) {
    if (a.ndim() != 2 && a.ndim() != 3)
        valueError(std::string(name) + ": an image is an array of shape (h, w) or (h, w, c), not " +
                   std::to_string(a.ndim()) + " dimensions");
    if (depthOf(a.dtype()) == 0)
        typeError(std::string(name) + ": " + std::string(py::str(a.dtype())) +
                  " is not an image type (uint8, int8, uint16, int16, int32, float32 or bool)");
}

}  // namespace

void Image::wrap(const py::array& a, const char* name, bool packed, bool written) {
    checkShape(a, name);
    const int depth = depthOf(a.dtype());
    if (depth == ZOL_DEPTH_1U && a.ndim() != 2)
        valueError(std::string(name) + ": a boolean image has shape (h, w)");
    arr_ = a;
    const int64_t h = a.shape(0), w = a.shape(1), c = a.ndim() == 3 ? a.shape(2) : 1;
    int64_t row, step;
    const char* data;
    bitsOf_ = depth == ZOL_DEPTH_1U;
    if (bitsOf_) {
        // Eight pixels to a byte, the first in the highest bit; rows padded
        // to whole 32-bit words as the library's 1-bit rows are.
        row = (w + 7) / 8;
        step = (row + 3) / 4 * 4;
        py::array bits(py::dtype::of<uint8_t>(), {h, step});
        std::memset(bits.mutable_data(), 0, size_t(bits.nbytes()));
        bits_ = bits;
        if (packed && h > 0 && w > 0)
            bits[py::make_tuple(py::ellipsis(), py::slice(0, row, 1))] =
                numpy().attr("packbits")(a, "axis"_a = 1);
        row = step;
        data = static_cast<const char*>(bits.data());
    } else {
        row = w * c * a.itemsize();
        step = h > 1 ? a.strides(0) : row;
        data = static_cast<const char*>(a.data());
    }
    if (h > kIntMax || w > kIntMax || c > kIntMax || step > kIntMax ||
        (h > 0 && step * (h - 1) + row > kIntMax))
        valueError(std::string(name) + ": the image holds more than 2 GiB");
    h_ = ZolImage{};
    h_.headerSize = int32_t(sizeof(ZolImage));
    h_.nChannels = int32_t(c);
    h_.depth = depth;
    h_.dataOrder = ZOL_DATA_ORDER_PIXEL;
    h_.origin = ZOL_ORIGIN_TL;
    h_.align = ZOL_ALIGN_DWORD;
    h_.width = int32_t(w);
    h_.height = int32_t(h);
    h_.widthStep = int32_t(step);
    h_.imageData = const_cast<char*>(data);
    // Element-wise operations treat images that are whole and alike as one
    // run of imageSize bytes taken in 32-bit words, row gaps included. An
    // array's rows may have gaps that belong to other arrays (a view), or a
    // length that is no whole number of words: then its size is its exact
    // span, and a written array's one byte more, so that it is never alike
    // the images it is computed from and the library walks rows.
    const bool flat = step == row && step % 4 == 0 && reinterpret_cast<uintptr_t>(data) % 4 == 0;
    h_.imageSize = int32_t(h > 0 ? step * (h - 1) + row : 0) + (written && !flat ? 1 : 0);
    setModel(h_);
    written_ = written;
}

void Image::source(py::handle obj, const char* name) {
    py::array a = py::isinstance<py::array>(obj) ? py::reinterpret_borrow<py::array>(obj)
                                                 : py::array(numpy().attr("asarray")(obj));
    if (!describable(a) || !(a.flags() & py::detail::npy_api::NPY_ARRAY_ALIGNED_))
        a = numpy().attr("ascontiguousarray")(a);
    wrap(a, name, true, false);
}

void Image::target(py::handle obj, const char* name) {
    if (!py::isinstance<py::array>(obj))
        typeError(std::string(name) + ": the destination must be a NumPy array");
    py::array a = py::reinterpret_borrow<py::array>(obj);
    if (!a.writeable()) valueError(std::string(name) + ": the array is read-only");
    if (!describable(a) || !(a.flags() & py::detail::npy_api::NPY_ARRAY_ALIGNED_))
        valueError(std::string(name) +
                   ": the destination's rows must each hold their pixels side by side");
    // A boolean destination is packed from its own values, so that bits the
    // library leaves keep them.
    wrap(a, name, true, true);
}

void Image::fresh(int height, int width, int channels, const py::dtype& dtype) {
    py::array a = channels > 0 ? py::array(dtype, {height, width, channels})
                               : py::array(dtype, {height, width});
    if (dtype.kind() == 'b') a = numpy().attr("zeros_like")(a);
    wrap(a, "out", false, true);
}

bool Image::overlaps(const Image& other) const {
    const char* a = h_.imageData;
    const char* b = other.h_.imageData;
    return a && b && a < b + other.h_.imageSize && b < a + h_.imageSize;
}

void Image::detach() {
    py::array copy = numpy().attr("array")(arr_, "order"_a = "C");
    arr_ = copy;
    h_.imageData = static_cast<char*>(copy.mutable_data());
    h_.widthStep = int32_t(copy.ndim() > 1 ? copy.strides(0) : copy.nbytes());
    h_.imageSize = int32_t(copy.nbytes());
}

void Image::setRoi(int x, int y, int w, int h, int coi) {
    roi_ = ZolROI{coi, x, y, w, h};
    h_.roi = &roi_;
}

void Image::setBorder(int mode, int value) {
    zolSetBorderMode(&h_, mode, ZOL_SIDE_TOP | ZOL_SIDE_BOTTOM | ZOL_SIDE_LEFT | ZOL_SIDE_RIGHT,
                     value);
}

void Image::finish() {
    if (bitsOf_ && written_) {
        py::object unpacked = numpy().attr("unpackbits")(bits_, "axis"_a = 1,
                                                         "count"_a = h_.width);
        numpy().attr("copyto")(arr_, unpacked, "casting"_a = "unsafe");
    }
}

// ---- Call ----------------------------------------------------------------

Call::Call(const char* cfunc, const Where& where) : cfunc_(cfunc), where_(where) {
    if (!where.roi.is_none()) {
        py::sequence r = where.roi.cast<py::sequence>();
        if (py::len(r) != 4) valueError("roi: give (x, y, width, height)");
        for (int i = 0; i < 4; ++i) roi_[i] = r[i].cast<int>();
        hasRoi_ = true;
    }
    if (!where.coi.is_none()) {
        const int k = where.coi.cast<int>();
        if (k < 0) valueError("coi: a channel counted from 0");
        coi_ = k + 1;
    }
}

Image& Call::add() {
    if (n_ == kMaxImages) throw std::logic_error("too many images in one call");
    return images_[n_++];
}

void Call::place(Image& im) {
    if (hasRoi_)
        im.setRoi(roi_[0], roi_[1], roi_[2], roi_[3], coi_);
    else if (coi_)
        im.setRoi(0, 0, im.width(), im.height(), coi_);
}

ZolImage* Call::source(py::handle obj, const char* name, bool placed) {
    Image& im = add();
    im.source(obj, name);
    if (placed) place(im);
    return im.get();
}

ZolImage* Call::target(int height, int width, int channels, const py::dtype& dtype,
                       const Image* likeSource, bool placed) {
    target_ = n_;
    Image& im = add();
    if (!where_.out.is_none()) {
        im.target(where_.out, "out");
    } else if (likeSource && where_.any() && likeSource->height() == height &&
               likeSource->width() == width && likeSource->array().dtype().is(dtype) &&
               likeSource->array().ndim() == (channels > 0 ? 3 : 2)) {
        // What the region, channel or mask leaves keeps the source's values.
        im.target(likeSource->array().attr("copy")(), "out");
    } else {
        im.fresh(height, width, channels, dtype);
        if (where_.any() && dtype.kind() != 'b') {
            py::array a = im.array();
            std::memset(a.mutable_data(), 0, size_t(a.nbytes()));
        }
    }
    if (placed) place(im);
    applyMask(im.get());
    return im.get();
}

ZolImage* Call::targetLike(int i) {
    const Image& s = images_[i];
    const py::array& a = s.array();
    return target(s.height(), s.width(), a.ndim() == 3 ? int(a.shape(2)) : 0, a.dtype(), &s);
}

void Call::applyMask(ZolImage* onto) {
    if (where_.mask.is_none()) return;
    mask_.source(where_.mask, "mask");
    if (mask_.get()->depth != ZOL_DEPTH_1U) typeError("mask: a boolean array of shape (h, w)");
    if (hasRoi_) mask_.setRoi(roi_[0], roi_[1], roi_[2], roi_[3], 0);
    onto->maskROI = mask_.get();
}

void Call::begin() {
    if (apart_ && target_ >= 0)
        for (int i = 0; i < n_; ++i)
            if (i != target_ && images_[i].overlaps(images_[target_])) images_[i].detach();
    tReport = Report();
    oldMode_ = zolGetErrMode();
    zolSetErrMode(ZOL_ErrModeParent);
    oldHandler_ = zolRedirectError(catchReport);
    zolSetErrStatus(0);
}

void Call::end() {
    const int status = zolGetErrStatus();
    zolRedirectError(oldHandler_);
    zolSetErrMode(oldMode_);
    if (status < 0) raiseStatus(status, cfunc_);
    for (int i = 0; i < n_; ++i) images_[i].finish();
}

py::object Call::result() { return images_[target_].array(); }

ZolImage* Call::inPlace(py::handle obj, const char* name) {
    Image& im = add();
    im.target(obj, name);
    place(im);
    return im.get();
}

void raiseStatus(int status, const char* cfunc) {
    static py::handle errorType =
        py::object(py::module_::import("zol._errors").attr("Error")).release();
    const bool reported = tReport.set && tReport.status == status;
    py::tuple args = py::make_tuple(status, reported ? tReport.func : std::string(cfunc),
                                    reported ? tReport.context : std::string(),
                                    std::string(zolErrorStr(status)), std::string(cfunc));
    PyErr_SetObject(errorType.ptr(), args.ptr());
    throw py::error_already_set();
}

int borderMode(py::handle mode) {
    if (py::isinstance<py::str>(mode)) {
        const std::string s = mode.cast<std::string>();
        static const char* const kNames[] = {"constant", "replicate", "reflect", "wrap"};
        for (int i = 0; i < 4; ++i)
            if (s == kNames[i]) return i;
        valueError("border: one of constant, replicate, reflect, wrap, not '" + s + "'");
    }
    if (!py::hasattr(mode, "__int__")) throw py::type_error("border: zol.Border or its name");
    return py::int_(mode.attr("__int__")()).cast<int>();
}

}  // namespace zolpy
