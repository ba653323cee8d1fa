// What the binding files share: image headers over NumPy arrays, the
// keyword arguments every image call takes, and the call itself (the GIL
// released, the thread's report handler caught, a failure raised as
// zol.Error). Each family of library functions has one <family>.cpp with
// one bind<Family> function; docs/python.md tells how to add one.
#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <cstdint>
#include <utility>

#include "zol.h"

namespace zolpy {

namespace py = pybind11;
using namespace pybind11::literals;

// ---- the keyword arguments of image calls -----------------------------

// roi=(x, y, w, h), coi=channel counted from 0, mask=boolean array of the
// destination's height and width: each applies to every image of the call
// the binding says it does (for most calls: all of them).
struct Where {
    py::object out;
    py::object roi;
    py::object coi;
    py::object mask;
    bool any() const { return !roi.is_none() || !coi.is_none() || !mask.is_none(); }
};

// Used in m.def(...) after an operation's own arguments:
//   m.def("add", fn, "a"_a, "b"_a, ZOLPY_WHERE);
// with fn taking (..., py::object out, py::object roi, py::object coi, py::object mask).
#define ZOLPY_WHERE                                                                      \
    py::kw_only(), "out"_a = py::none(), "roi"_a = py::none(), "coi"_a = py::none(),     \
        "mask"_a = py::none()

// ---- images over arrays -----------------------------------------------

// A library header over an array's own memory: shape (h, w) or (h, w, c),
// rows anywhere (widthStep from the first stride), pixels packed. A
// boolean array becomes a 1-bit image through a packed copy, unpacked into
// the array again by finish() when the library wrote it.
class Image {
public:
    Image() = default;
    Image(const Image&) = delete;
    Image& operator=(const Image&) = delete;

    // Wraps obj, which the library reads (copied into a packed array only
    // when its elements are not laid out as a header can describe). Raises
    // TypeError for a dtype without a depth, ValueError for a shape.
    void source(py::handle obj, const char* name);
    // Wraps an array the library writes: it must be a writable ndarray
    // whose elements a header can describe.
    void target(py::handle obj, const char* name);
    // A new array of the given shape (channels 0 for (h, w)) and dtype.
    void fresh(int height, int width, int channels, const py::dtype& dtype);

    void setRoi(int x, int y, int w, int h, int coi);
    void setMask(Image* mask) { h_.maskROI = mask ? &mask->h_ : nullptr; }
    void setAlpha(bool on) { h_.alphaChannel = on ? h_.nChannels : 0; }
    void setBorder(int mode, int value);

    ZolImage* get() { return &h_; }
    py::array array() const { return py::reinterpret_borrow<py::array>(arr_); }
    int width() const { return h_.width; }
    int height() const { return h_.height; }
    int channels() const { return h_.nChannels; }
    // Unpacks the library's bits into a boolean array it wrote.
    void finish();
    // Whether the pixels of the two images share memory.
    bool overlaps(const Image& other) const;
    // Moves a source onto a private contiguous copy of its pixels.
    void detach();

private:
    void wrap(const py::array& a, const char* name, bool packed, bool written);

    ZolImage h_{};
    ZolROI roi_{};
    // Plain objects: a default py::array would make an empty array.
    py::object arr_;   // the caller's array
    py::object bits_;  // the packed bits of a boolean array
    bool bitsOf_ = false;   // a boolean array over bits_
    bool written_ = false;  // the library writes it
};

// The dtype of a depth (ZOL_DEPTH_*); bool for 1U.
py::dtype dtypeOf(int depth);
// The depth of a dtype, or 0.
int depthOf(const py::dtype& dtype);

// ---- one call ----------------------------------------------------------

// The images of one library call and the keyword arguments that place
// them. Images live here so that headers can point at each other.
class Call {
public:
    static constexpr int kMaxImages = 6;

    Call(const char* cfunc, const Where& where);

    // A source image; roi and coi apply to it unless placed is false.
    ZolImage* source(py::handle obj, const char* name, bool placed = true);
    // The destination: out= when given (checked against nothing: the
    // library cuts regions), else a new array of this shape and dtype,
    // starting as a copy of likeSource when a region, channel or mask
    // leaves part of it untouched and shapes agree.
    ZolImage* target(int height, int width, int channels, const py::dtype& dtype,
                     const Image* likeSource = nullptr, bool placed = true);
    // An image the call writes in place: the caller's own array, never a
    // copy (a boolean one is packed and unpacked again); roi and coi apply.
    ZolImage* inPlace(py::handle obj, const char* name);
    // The destination shaped like source i.
    ZolImage* targetLike(int i);
    // The mask= argument on the image (normally the destination).
    void applyMask(ZolImage* onto);
    Image& image(int i) { return images_[i]; }

    // Runs fn with the GIL released and this thread's handler catching
    // reports; raises zol.Error when the library's status is negative.
    template <class F>
    void run(F&& fn) {
        begin();
        {
            py::gil_scoped_release nogil;
            fn();
        }
        end();
    }
    // For operations whose output pixels read other input pixels
    // (neighbourhoods, geometry, transforms): a source sharing memory with
    // the destination is read from a copy, so that out= may be a source.
    void apart() { apart_ = true; }
    // The destination array.
    py::object result();

private:
    Image& add();
    void place(Image& im);
    void begin();
    void end();

    const char* cfunc_;
    const Where& where_;
    int n_ = 0;
    int target_ = -1;
    bool hasRoi_ = false;
    int roi_[4] = {0, 0, 0, 0};
    int coi_ = 0;
    bool apart_ = false;
    Image images_[kMaxImages];
    Image mask_;
    ZolReportHandler oldHandler_ = nullptr;
    int oldMode_ = 0;
};

// Raises zol.Error for a status the library left (for functions called
// outside Call::run).
[[noreturn]] void raiseStatus(int status, const char* cfunc);

// Maps border names and enum values: zol.Border.REPLICATE or "replicate".
int borderMode(py::handle mode);

// ---- shapes of common operations ----------------------------------------

// dst = f(src): the destination shaped like the source.
template <class F>
py::object unary(const char* cfunc, py::handle src, const Where& w, F&& f) {
    Call c(cfunc, w);
    ZolImage* s = c.source(src, "src");
    ZolImage* d = c.targetLike(0);
    c.run([&] { f(s, d); });
    return c.result();
}

// dst = f(a, b): the destination shaped like a.
template <class F>
py::object binary(const char* cfunc, py::handle a, py::handle b, const Where& w, F&& f) {
    Call c(cfunc, w);
    ZolImage* sa = c.source(a, "a");
    ZolImage* sb = c.source(b, "b");
    ZolImage* d = c.targetLike(0);
    c.run([&] { f(sa, sb, d); });
    return c.result();
}

// The family binders, one per file.
void bindCore(py::module_& m);
void bindArith(py::module_& m);
void bindFilter(py::module_& m);
void bindTransform(py::module_& m);
void bindGeometry(py::module_& m);
void bindColour(py::module_& m);
void bindMeasure(py::module_& m);
void bindBitmap(py::module_& m);
void bindAlpha(py::module_& m);

}  // namespace zolpy
