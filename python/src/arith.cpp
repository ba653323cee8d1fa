// Logic, arithmetic, copy and fill. Functions the library splits by depth
// (zolAddS / zolAddSFP, zolSet / zolSetFP) are one Python function each,
// chosen by the array's dtype.
#include "bind.h"

namespace zolpy {

namespace {

using Dyadic = void (*)(ZolImage*, ZolImage*, ZolImage*);
using Monadic = void (*)(ZolImage*, ZolImage*);
using WithBits = void (*)(ZolImage*, ZolImage*, uint32_t);

bool isFloat(py::handle a) {
    return py::isinstance<py::array>(a) &&
           py::reinterpret_borrow<py::array>(a).dtype().kind() == 'f';
}

void defDyadic(py::module_& m, const char* name, const char* cfunc, Dyadic fn, const char* doc) {
    m.def(
        name,
        [cfunc, fn](py::handle a, py::handle b, py::object out, py::object roi, py::object coi,
                    py::object mask) {
            return binary(cfunc, a, b, Where{out, roi, coi, mask},
                          [fn](ZolImage* x, ZolImage* y, ZolImage* d) { fn(x, y, d); });
        },
        "a"_a, "b"_a, ZOLPY_WHERE, doc);
}

void defMonadic(py::module_& m, const char* name, const char* cfunc, Monadic fn, const char* doc) {
    m.def(
        name,
        [cfunc, fn](py::handle src, py::object out, py::object roi, py::object coi,
                    py::object mask) {
            return unary(cfunc, src, Where{out, roi, coi, mask},
                         [fn](ZolImage* s, ZolImage* d) { fn(s, d); });
        },
        "src"_a, ZOLPY_WHERE, doc);
}

void defWithBits(py::module_& m, const char* name, const char* cfunc, WithBits fn,
                 const char* arg, const char* doc) {
    m.def(
        name,
        [cfunc, fn](py::handle src, uint32_t value, py::object out, py::object roi,
                    py::object coi, py::object mask) {
            return unary(cfunc, src, Where{out, roi, coi, mask},
                         [fn, value](ZolImage* s, ZolImage* d) { fn(s, d, value); });
        },
        "src"_a, py::arg(arg), ZOLPY_WHERE, doc);
}

// src op value: the integer function, or the float one for float32 arrays.
template <class I, class F>
void defConstant(py::module_& m, const char* name, const char* cfunc, const char* cfuncFP, I intFn,
                 F floatFn, const char* doc) {
    m.def(
        name,
        [=](py::handle src, double value, py::object out, py::object roi, py::object coi,
            py::object mask) {
            const Where w{out, roi, coi, mask};
            if (isFloat(src))
                return unary(cfuncFP, src, w, [&](ZolImage* s, ZolImage* d) {
                    floatFn(s, d, float(value));
                });
            const int v = py::int_(py::float_(value)).cast<int>();
            return unary(cfunc, src, w, [&](ZolImage* s, ZolImage* d) { intFn(s, d, v); });
        },
        "src"_a, "value"_a, ZOLPY_WHERE, doc);
}

}  // namespace

void bindArith(py::module_& m) {
    defDyadic(m, "and_", "zolAnd", zolAnd, "a AND b on the bits of each element (zolAnd).");
    defDyadic(m, "or_", "zolOr", zolOr, "a OR b on the bits of each element (zolOr).");
    defDyadic(m, "xor", "zolXor", zolXor, "a XOR b on the bits of each element (zolXor).");
    defWithBits(m, "and_s", "zolAndS", zolAndS, "value", "src AND value (zolAndS).");
    defWithBits(m, "or_s", "zolOrS", zolOrS, "value", "src OR value (zolOrS).");
    defWithBits(m, "xor_s", "zolXorS", zolXorS, "value", "src XOR value (zolXorS).");
    defWithBits(m, "lshift", "zolLShiftS", zolLShiftS, "n", "src << n, bits lost (zolLShiftS).");
    defWithBits(m, "rshift", "zolRShiftS", zolRShiftS, "n",
                "src >> n, arithmetic on signed types (zolRShiftS).");
    defMonadic(m, "not_", "zolNot", zolNot, "Every bit inverted (zolNot).");

    defDyadic(m, "add", "zolAdd", zolAdd, "a + b, saturated to the type's range (zolAdd).");
    defDyadic(m, "subtract", "zolSubtract", zolSubtract,
              "a - b, saturated to the type's range (zolSubtract).");
    defDyadic(m, "multiply", "zolMultiply", zolMultiply,
              "a * b without scaling, saturated (zolMultiply).");
    defMonadic(m, "square", "zolSquare", zolSquare, "src * src, saturated (zolSquare).");
    defMonadic(m, "abs_", "zolAbs", zolAbs, "|src| in two's complement (zolAbs).");
    defConstant(m, "add_s", "zolAddS", "zolAddSFP", zolAddS, zolAddSFP,
                "src + value, saturated (zolAddS; zolAddSFP for float32).");
    defConstant(m, "multiply_s", "zolMultiplyS", "zolMultiplySFP", zolMultiplyS, zolMultiplySFP,
                "src * value, saturated (zolMultiplyS; zolMultiplySFP for float32).");
    m.def(
        "subtract_s",
        [](py::handle src, double value, bool flip, py::object out, py::object roi,
           py::object coi, py::object mask) {
            const Where w{out, roi, coi, mask};
            if (isFloat(src))
                return unary("zolSubtractSFP", src, w, [&](ZolImage* s, ZolImage* d) {
                    zolSubtractSFP(s, d, float(value), flip);
                });
            const int v = py::int_(py::float_(value)).cast<int>();
            return unary("zolSubtractS", src, w,
                         [&](ZolImage* s, ZolImage* d) { zolSubtractS(s, d, v, flip); });
        },
        "src"_a, "value"_a, "flip"_a = false, ZOLPY_WHERE,
        "src - value, or value - src with flip=True, saturated (zolSubtractS; zolSubtractSFP "
        "for float32).");

    defMonadic(m, "copy", "zolCopy", zolCopy, "A copy of src's region into out (zolCopy).");
    m.def(
        "set",
        [](py::handle image, double value, py::object roi, py::object coi, py::object mask) {
            Call c(isFloat(image) ? "zolSetFP" : "zolSet",
                   Where{py::none(), roi, coi, mask});
            ZolImage* im = c.inPlace(image, "image");
            c.applyMask(im);
            if (im->depth == ZOL_DEPTH_32F)
                c.run([&] { zolSetFP(im, float(value)); });
            else {
                const int v = py::int_(py::float_(value)).cast<int>();
                c.run([&] { zolSet(im, v); });
            }
        },
        "image"_a, "value"_a, py::kw_only(), "roi"_a = py::none(), "coi"_a = py::none(),
        "mask"_a = py::none(), "Fills image's region with value, in place (zolSet, zolSetFP).");
    m.def(
        "exchange",
        [](py::handle a, py::handle b, py::object roi, py::object coi, py::object mask) {
            Call c("zolExchange", Where{py::none(), roi, coi, mask});
            ZolImage* x = c.inPlace(a, "a");
            ZolImage* y = c.inPlace(b, "b");
            c.applyMask(y);
            c.run([&] { zolExchange(x, y); });
        },
        "a"_a, "b"_a, py::kw_only(), "roi"_a = py::none(), "coi"_a = py::none(),
        "mask"_a = py::none(), "Swaps the regions of a and b, in place (zolExchange).");
}

}  // namespace zolpy
