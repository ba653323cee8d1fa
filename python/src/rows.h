// Rows as the header's own layout has them. The alpha and scaled
// multiplication family and the bitmap functions step from row to row by
// the row's bytes rounded up to the header's align (4), not by widthStep:
// arrays given to them are used as they are when laid out so, else through
// a copy that is (written back into the caller's array when the library
// writes it).
#pragma once

#include "bind.h"

namespace zolpy {

inline int64_t alignedRow(int64_t width, int64_t channels, int64_t itemsize) {
    return (width * channels * itemsize + 3) / 4 * 4;
}

// Whether a's rows lie at that step (booleans are packed so by Image).
inline bool alignedRows(const py::array& a) {
    if ((a.ndim() != 2 && a.ndim() != 3) || a.dtype().kind() == 'b') return true;
    const int64_t item = a.itemsize(), ch = a.ndim() == 3 ? a.shape(2) : 1;
    return (ch == 1 || a.strides(2) == item) && (a.shape(1) <= 1 || a.strides(1) == ch * item) &&
           (a.shape(0) <= 1 || a.strides(0) == alignedRow(a.shape(1), ch, item)) &&
           reinterpret_cast<uintptr_t>(a.data()) % item == 0;
}

// A new array of zeros with rows at that step: shape (h, w) for channels
// 0, else (h, w, channels).
inline py::array alignedArray(int64_t height, int64_t width, int64_t channels,
                              const py::dtype& dt) {
    py::module_ np = py::module_::import("numpy");
    if (dt.kind() == 'b') return np.attr("zeros")(py::make_tuple(height, width), dt);
    const int64_t ch = channels > 0 ? channels : 1;
    const int64_t row = width * ch * dt.itemsize();
    py::object base = np.attr("zeros")(py::make_tuple(height, alignedRow(width, ch, dt.itemsize())),
                                       "uint8");
    py::object a = base[py::make_tuple(py::slice(0, height, 1), py::slice(0, row, 1))].attr("view")(dt);
    return channels > 0 ? a.attr("reshape")(height, width, channels) : a;
}

// obj as an array with aligned rows: itself, or a copy when copy is true
// or its rows lie otherwise.
inline py::array alignedCopy(py::handle obj, bool copy = true) {
    py::module_ np = py::module_::import("numpy");
    py::array a = np.attr("asarray")(obj);
    if ((!copy && alignedRows(a)) || depthOf(a.dtype()) == 0 || (a.ndim() != 2 && a.ndim() != 3))
        return a;
    py::array c = alignedArray(a.shape(0), a.shape(1), a.ndim() == 3 ? a.shape(2) : 0, a.dtype());
    np.attr("copyto")(c, a);
    return c;
}

// An array the library writes: the caller's, or an aligned copy of it that
// back() writes into the caller's after the call.
class Written {
public:
    explicit Written(py::object user) : user_(std::move(user)) {
        const bool array = py::isinstance<py::array>(user_);
        use_ = array && !alignedRows(py::reinterpret_borrow<py::array>(user_)) ? alignedCopy(user_)
                                                                              : user_;
    }
    const py::object& use() const { return use_; }
    const py::object& back() const {
        if (!use_.is(user_)) py::module_::import("numpy").attr("copyto")(user_, use_);
        return user_;
    }

private:
    py::object user_, use_;
};

}  // namespace zolpy
