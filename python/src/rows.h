// Rows as the header's own layout has them. The alpha and scaled
// multiplication family and the bitmap functions step from row to row by
// the row's bytes rounded up to the header's align (4), not by widthStep:
// arrays given to them are used as they are when laid out so, else through
// a copy that is (written back into the caller's array when the library
// writes it).
#pragma once

#include <cstring>
#include <vector>

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

inline py::module_& numpyModule() {
    // Held to the end of the process, as the interpreter may outlive a static.
    static py::module_* np = new py::module_(py::module_::import("numpy"));
    return *np;
}

// A new array with rows at that step: shape (h, w) for channels 0, else
// (h, w, channels). The padding is zeros; the pixels are not set.
inline py::array alignedArray(int64_t height, int64_t width, int64_t channels,
                              const py::dtype& dt) {
    const int64_t ch = channels > 0 ? channels : 1, item = dt.itemsize();
    if (dt.kind() == 'b')
        return numpyModule().attr("zeros")(channels > 0 ? py::make_tuple(height, width, channels)
                                                        : py::make_tuple(height, width), dt);
    const int64_t step = alignedRow(width, ch, item);
    py::array_t<uint8_t> block(py::ssize_t(height * step));
    if (step != width * ch * item) std::memset(block.mutable_data(), 0, size_t(height * step));
    std::vector<py::ssize_t> shape{height, width}, strides{step, ch * item};
    if (channels > 0) shape.push_back(channels), strides.push_back(item);
    return py::array(dt, shape, strides, block.mutable_data(), block);
}

// obj as an array with aligned rows: itself, or a copy when copy is true
// or its rows lie otherwise.
inline py::array alignedCopy(py::handle obj, bool copy = true) {
    py::array a = py::isinstance<py::array>(obj) ? py::reinterpret_borrow<py::array>(obj)
                                                 : py::array(numpyModule().attr("asarray")(obj));
    if ((!copy && alignedRows(a)) || depthOf(a.dtype()) == 0 || (a.ndim() != 2 && a.ndim() != 3))
        return a;
    const int64_t h = a.shape(0), w = a.shape(1), ch = a.ndim() == 3 ? a.shape(2) : 0;
    py::array c = alignedArray(h, w, ch, a.dtype());
    const int64_t item = a.itemsize(), row = w * (ch > 0 ? ch : 1) * item;
    if (a.dtype().kind() == 'b' || (ch > 1 && a.strides(2) != item) ||
        (w > 1 && a.strides(1) != row / w)) {
        numpyModule().attr("copyto")(c, a);
        return c;
    }
    // Pixels side by side in each row: a row is one block.
    for (int64_t y = 0; y < h; ++y)
        std::memcpy(static_cast<char*>(c.mutable_data()) + y * c.strides(0),
                    static_cast<const char*>(a.data()) + y * a.strides(0), size_t(row));
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
        if (!use_.is(user_)) numpyModule().attr("copyto")(user_, use_);
        return user_;
    }

private:
    py::object user_, use_;
};

}  // namespace zolpy
