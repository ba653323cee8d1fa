// Resize, zoom, decimate, mirror, the affine warps and the mapping helpers.
// Source and destination differ in size here, so roi= places the source
// and dst_roi= the destination (and its mask); coi= names the channel on
// both sides. A new destination starts as zeros: these functions leave
// pixels outside what they map untouched.
#include <algorithm>
#include <cstring>
#include <string>
#include <utility>

#include "bind.h"

namespace zolpy {

namespace {

enum class Interp { NEAREST = ZOL_INTER_NN, LINEAR, CUBIC, SUPER };

int interpMode(py::handle mode) {
    if (py::isinstance<py::str>(mode)) {
        const std::string s = mode.cast<std::string>();
        static const char* const kNames[] = {"nearest", "linear", "cubic", "super", "area"};
        for (int i = 0; i < 5; ++i)
            if (s == kNames[i]) return i < 4 ? i : ZOL_INTER_SUPER;
        throw py::value_error("interp: one of nearest, linear, cubic, super (area), not '" + s +
                              "'");
    }
    return py::int_(mode.attr("__int__")()).cast<int>();
}

// The n numbers of a sequence into v.
template <class T>
void numbers(py::handle obj, T* v, size_t n, const char* name) {
    py::sequence s = py::reinterpret_borrow<py::object>(obj).cast<py::sequence>();
    if (py::len(s) != n)
        throw py::value_error(std::string(name) + ": give " + std::to_string(n) + " numbers");
    for (size_t i = 0; i < n; ++i) v[i] = s[i].cast<T>();
}

// A matrix of doubles of the given shape, laid out as C reads double[r][c].
py::array_t<double, py::array::c_style> matrix(py::handle obj, int rows, int cols,
                                               const char* name) {
    auto a = py::array_t<double, py::array::c_style | py::array::forcecast>::ensure(obj);
    if (!a || a.ndim() != 2 || a.shape(0) != rows || a.shape(1) != cols)
        throw py::value_error(std::string(name) + ": a " + std::to_string(rows) + "x" +
                              std::to_string(cols) + " matrix of numbers");
    return a;
}

template <int R, int C>
const double (*rows(const py::array_t<double, py::array::c_style>& a))[C] {
    return reinterpret_cast<const double(*)[C]>(a.data());
}

// The images of one geometric call: the source placed at roi with the
// coi, the destination (out=, or zeros of width x height) at dst_roi with
// the coi and the mask.
struct Geo {
    Geo(const char* cfunc, py::object out, py::object dstRoi, py::object coi, py::object mask)
        : where{std::move(out), std::move(dstRoi), std::move(coi), std::move(mask)},
          call(cfunc, where) {}

    ZolImage* source(py::handle src, py::handle roi) {
        ZolImage* s = call.source(src, "src", false);
        // out=src: one header on both sides, which the library refuses as
        // in place, rather than two over the same pixels.
        if (!where.out.is_none() && where.out.is(src)) same = s;
        const int coi = where.coi.is_none() ? 0 : where.coi.cast<int>() + 1;
        if (!roi.is_none()) {
            numbers(roi, srcRect, 4, "roi");
            call.image(0).setRoi(srcRect[0], srcRect[1], srcRect[2], srcRect[3], coi);
        } else {
            srcRect[2] = s->width;
            srcRect[3] = s->height;
            if (coi) call.image(0).setRoi(0, 0, s->width, s->height, coi);
        }
        return s;
    }

    // The destination; width and height matter only without out=.
    ZolImage* target(int width, int height) {
        if (same) return same;
        const py::array& a = call.image(0).array();
        ZolImage* d = call.target(height, width, a.ndim() == 3 ? int(a.shape(2)) : 0, a.dtype());
        call.apart();  // another view of the source's memory is read from a copy
        if (where.out.is_none()) {
            py::array fresh = call.image(1).array();
            std::memset(fresh.mutable_data(), 0, size_t(fresh.nbytes()));
        }
        return d;
    }

    // The destination: dsize=(width, height), or the source's size.
    ZolImage* target(py::handle dsize) {
        int wh[2] = {call.image(0).width(), call.image(0).height()};
        if (!dsize.is_none()) numbers(dsize, wh, 2, "dsize");
        return target(wh[0], wh[1]);
    }

    py::object result() { return same ? where.out : call.result(); }

    Where where;
    Call call;
    int srcRect[4] = {0, 0, 0, 0};
    ZolImage* same = nullptr;
};

// ---- resize, zoom, decimate ----------------------------------------------

// One factor as num/den: an int, a (num, den) pair, or a float taken by its
// shortest decimal form (0.5 -> 1/2, 0.3 -> 3/10).
void factor(py::handle f, int& num, int& den) {
    if (py::isinstance<py::sequence>(f)) {
        int v[2];
        numbers(f, v, 2, "factors");
        num = v[0], den = v[1];
        return;
    }
    if (py::isinstance<py::int_>(f)) {
        num = f.cast<int>(), den = 1;
        return;
    }
    static py::handle fraction =
        py::object(py::module_::import("fractions").attr("Fraction")).release();
    py::object q = fraction(py::repr(py::float_(py::reinterpret_borrow<py::object>(f))));
    q = q.attr("limit_denominator")(1 << 20);
    num = q.attr("numerator").cast<int>();
    den = q.attr("denominator").cast<int>();
}

using ScaleFn = void (*)(ZolImage*, ZolImage*, int, int, int, int, int);

py::object scale(const char* cfunc, ScaleFn fn, py::handle src, py::object size, py::handle interp,
                 py::object factors, py::object out, py::object roi, py::object dstRoi,
                 py::object coi, py::object mask) {
    const int mode = interpMode(interp);
    Geo g(cfunc, out, dstRoi, coi, mask);
    ZolImage* s = g.source(src, roi);
    int xd = 0, xs = 1, yd = 0, ys = 1;
    if (!factors.is_none()) {
        if (py::isinstance<py::sequence>(factors) && py::len(factors) == 2) {
            factor(factors[py::int_(0)], xd, xs);
            factor(factors[py::int_(1)], yd, ys);
        } else {
            factor(factors, xd, xs);
            yd = xd, ys = xs;
        }
    }
    int wh[2] = {0, 0};
    if (!size.is_none()) {
        numbers(size, wh, 2, "size");
    } else if (!factors.is_none()) {
        // Factors the library refuses give an empty array and its report.
        const auto scaled = [](int n, int num, int den) {
            if (den <= 0 || num <= 0 || n <= 0) return 0;
            return int(std::min<int64_t>(int64_t(n) * num / den, 1 << 30));
        };
        wh[0] = scaled(g.srcRect[2], xd, xs), wh[1] = scaled(g.srcRect[3], yd, ys);
    } else if (out.is_none()) {
        throw py::type_error(std::string(cfunc) + ": give the size, factors or out");
    }
    ZolImage* d = g.target(wh[0], wh[1]);
    if (factors.is_none()) {
        // The factors that take the source region onto the destination's.
        const ZolROI* r = d->roi;
        xd = r ? r->width : d->width, xs = g.srcRect[2];
        yd = r ? r->height : d->height, ys = g.srcRect[3];
    }
    g.call.run([&] { fn(s, d, xd, xs, yd, ys, mode); });
    return g.result();
}

void defScale(py::module_& m, const char* name, const char* cfunc, ScaleFn fn, const char* doc) {
    m.def(
        name,
        [cfunc, fn](py::handle src, py::object size, py::handle interp, py::object factors,
                    py::object out, py::object roi, py::object dstRoi, py::object coi,
                    py::object mask) {
            return scale(cfunc, fn, src, size, interp, factors, out, roi, dstRoi, coi, mask);
        },
        "src"_a, "size"_a = py::none(), "interp"_a = "linear", py::kw_only(),
        "factors"_a = py::none(), "out"_a = py::none(), "roi"_a = py::none(),
        "dst_roi"_a = py::none(), "coi"_a = py::none(), "mask"_a = py::none(), doc);
}

// ---- warps -----------------------------------------------------------------

#define ZOLPY_GEO_WHERE                                                                   \
    py::kw_only(), "dsize"_a = py::none(), "out"_a = py::none(), "roi"_a = py::none(),    \
        "dst_roi"_a = py::none(), "coi"_a = py::none()

py::object warpAffine(py::handle src, py::handle coeffs, py::handle interp, py::handle dsize,
                      py::object out, py::object roi, py::object dstRoi, py::object coi) {
    auto c = matrix(coeffs, 2, 3, "matrix");
    const int mode = interpMode(interp);
    Geo g("zolWarpAffine", out, dstRoi, coi, py::none());
    ZolImage* s = g.source(src, roi);
    ZolImage* d = g.target(dsize);
    const auto* m = rows<2, 3>(c);
    g.call.run([&] { zolWarpAffine(s, d, m, mode); });
    return g.result();
}

// The bilinear and perspective warps: by coefficients (R x C) or by a
// quadrangle; from_quad picks ZOL_WARP_FROM_QUAD.
template <int R, int C, class F>
void defProjective(py::module_& m, const char* name, const char* cfunc, F fn, const char* what,
                   const char* doc) {
    m.def(
        name,
        [cfunc, fn, what](py::handle src, py::handle coeffs, py::handle interp, bool fromQuad,
                          py::handle dsize, py::object out, py::object roi, py::object dstRoi,
                          py::object coi) {
            auto c = matrix(coeffs, R, C, what);
            const int mode = interpMode(interp);
            Geo g(cfunc, out, dstRoi, coi, py::none());
            ZolImage* s = g.source(src, roi);
            ZolImage* d = g.target(dsize);
            const auto* k = rows<R, C>(c);
            const int flag = fromQuad ? ZOL_WARP_FROM_QUAD : ZOL_WARP_TO_QUAD;
            g.call.run([&] { fn(s, d, k, flag, mode); });
            return g.result();
        },
        "src"_a, py::arg(what), "interp"_a = "linear", py::kw_only(), "from_quad"_a = false,
        "dsize"_a = py::none(), "out"_a = py::none(), "roi"_a = py::none(),
        "dst_roi"_a = py::none(), "coi"_a = py::none(), doc);
}

py::object rotate(py::handle src, double angle, py::handle shift, py::handle interp,
                  py::object center, py::handle dsize, py::object out, py::object roi,
                  py::object dstRoi, py::object coi) {
    double sh[2], ctr[2];
    numbers(shift, sh, 2, "shift");
    if (!center.is_none()) numbers(center, ctr, 2, "center");
    const int mode = interpMode(interp);
    Geo g("zolRotate", out, dstRoi, coi, py::none());
    ZolImage* s = g.source(src, roi);
    ZolImage* d = g.target(dsize);
    const bool turn = !center.is_none();
    g.call.run([&] {
        if (turn) zolGetRotateShift(ctr[0], ctr[1], angle, &sh[0], &sh[1]);
        zolRotate(s, d, angle, sh[0], sh[1], mode);
    });
    return g.result();
}

py::object shear(py::handle src, py::handle amount, py::handle shift, py::handle interp,
                 py::handle dsize, py::object out, py::object roi, py::object dstRoi,
                 py::object coi) {
    double k[2], sh[2];
    numbers(amount, k, 2, "shear");
    numbers(shift, sh, 2, "shift");
    const int mode = interpMode(interp);
    Geo g("zolShear", out, dstRoi, coi, py::none());
    ZolImage* s = g.source(src, roi);
    ZolImage* d = g.target(dsize);
    g.call.run([&] { zolShear(s, d, k[0], k[1], sh[0], sh[1], mode); });
    return g.result();
}

// ---- helpers over an image's region ------------------------------------

// fn(image, coeffs, result) for the Quad and Bound helpers: an array of
// shape (N, 2).
template <int R, int C, int N, class F>
void defMapped(py::module_& m, const char* name, const char* cfunc, F fn, const char* doc) {
    m.def(
        name,
        [cfunc, fn](py::handle image, py::handle coeffs, py::object roi) {
            auto c = matrix(coeffs, R, C, "matrix");
            py::array_t<double> out({N, 2});
            auto* o = reinterpret_cast<double(*)[2]>(out.mutable_data());
            Where w{py::none(), roi, py::none(), py::none()};
            Call call(cfunc, w);
            ZolImage* im = call.source(image, "image");
            const auto* m = rows<R, C>(c);
            call.run([&] { fn(im, m, o); });
            return out;
        },
        "image"_a, "matrix"_a, py::kw_only(), "roi"_a = py::none(), doc);
}

// fn(image, coeffs, quad): the R x C matrix taking the region onto quad.
template <int R, int C, class F>
void defTransform(py::module_& m, const char* name, const char* cfunc, F fn, const char* doc) {
    m.def(
        name,
        [cfunc, fn](py::handle image, py::handle quad, py::object roi) {
            auto q = matrix(quad, 4, 2, "quad");
            py::array_t<double> out({R, C});
            std::memset(out.mutable_data(), 0, sizeof(double) * R * C);
            auto* o = reinterpret_cast<double(*)[C]>(out.mutable_data());
            Where w{py::none(), roi, py::none(), py::none()};
            Call call(cfunc, w);
            ZolImage* im = call.source(image, "image");
            const auto* corners = rows<4, 2>(q);
            call.run([&] { fn(im, o, corners); });
            return out;
        },
        "image"_a, "quad"_a, py::kw_only(), "roi"_a = py::none(), doc);
}

}  // namespace

void bindGeometry(py::module_& m) {
    py::enum_<Interp>(m, "Interp", "How geometric functions sample the source.")
        .value("NEAREST", Interp::NEAREST)
        .value("LINEAR", Interp::LINEAR)
        .value("CUBIC", Interp::CUBIC)
        .value("SUPER", Interp::SUPER);

    defScale(m, "resize", "zolResize",
             [](ZolImage* s, ZolImage* d, int xd, int xs, int yd, int ys, int i) {
                 zolResize(s, d, xd, xs, yd, ys, i);
             },
             "Scales src's region onto the destination's (zolResize). size=(width, height) "
             "makes a new destination; the factors are the two regions' ratio unless "
             "factors=(fx, fy) gives them (each an int, a float or a (num, den) pair).");
    defScale(m, "zoom", "zolZoom", zolZoom,
             "resize for enlargements only (zolZoom).");
    defScale(m, "decimate", "zolDecimate",
             [](ZolImage* s, ZolImage* d, int xd, int xs, int yd, int ys, int i) {
                 zolDecimate(s, d, xd, xs, yd, ys, i);
             },
             "resize for reductions only, with 1/256-pixel positions (zolDecimate).");

    m.def(
        "mirror",
        [](py::handle src, py::object axis, py::object out, py::object roi, py::object coi,
           py::object mask) {
            const int flip = axis.is_none() ? -1 : axis.cast<int>();
            const Where w{out, roi, coi, mask};
            if (!out.is_none() && out.is(src)) {
                // One header on both sides: the library flips in place.
                Call c("zolMirror", w);
                ZolImage* im = c.inPlace(src, "src");
                c.applyMask(im);
                c.run([&] { zolMirror(im, im, flip); });
                return out;
            }
            return unary("zolMirror", src, w,
                         [flip](ZolImage* s, ZolImage* d) { zolMirror(s, d, flip); });
        },
        "src"_a, "axis"_a, ZOLPY_WHERE,
        "src's region flipped (zolMirror): axis 0 reverses the rows, 1 the columns, -1 or "
        "None both. out=src flips in place.");

    m.def("warp_affine", &warpAffine, "src"_a, "matrix"_a, "interp"_a = "linear",
          ZOLPY_GEO_WHERE,
          "Maps src's region by the 2x3 matrix (x' = m00 x + m01 y + m02, ...) into the "
          "destination, pixels outside the mapped quadrangle untouched (zolWarpAffine).");
    defProjective<2, 4>(m, "warp_bilinear", "zolWarpBilinear",
                        [](ZolImage* s, ZolImage* d, const double (*k)[4], int f, int i) {
                            zolWarpBilinear(s, d, k, f, i);
                        },
                        "matrix",
                        "Maps src's region by the 2x4 bilinear coefficients (x' = c00 xy + c01 x + "
                        "c02 y + c03, ...) onto the destination; from_quad=True maps the "
                        "destination region from that quadrangle of the source instead "
                        "(zolWarpBilinear).");
    defProjective<3, 3>(m, "warp_perspective", "zolWarpPerspective",
                        [](ZolImage* s, ZolImage* d, const double (*k)[3], int f, int i) {
                            zolWarpPerspective(s, d, k, f, i);
                        },
                        "matrix",
                        "Maps src's region by the 3x3 perspective matrix onto the destination; "
                        "from_quad=True computes every destination pixel from the source "
                        "quadrangle instead (zolWarpPerspective).");
    defProjective<4, 2>(m, "warp_bilinear_q", "zolWarpBilinearQ", zolWarpBilinearQ, "quad",
                        "src's region onto the quadrangle (4x2, clockwise from top-left) of "
                        "the destination by a bilinear map; from_quad=True takes that "
                        "quadrangle of the source onto the destination region "
                        "(zolWarpBilinearQ).");
    defProjective<4, 2>(m, "warp_perspective_q", "zolWarpPerspectiveQ", zolWarpPerspectiveQ,
                        "quad",
                        "src's region onto the quadrangle (4x2, clockwise from top-left) of "
                        "the destination by a perspective map; from_quad=True straightens "
                        "that quadrangle of the source into the destination region "
                        "(zolWarpPerspectiveQ).");
    m.def("rotate", &rotate, "src"_a, "angle"_a, "shift"_a = py::make_tuple(0.0, 0.0),
          "interp"_a = "linear", py::kw_only(), "center"_a = py::none(), "dsize"_a = py::none(),
          "out"_a = py::none(), "roi"_a = py::none(), "dst_roi"_a = py::none(),
          "coi"_a = py::none(),
          "Turns src's region by angle degrees, then moves it by shift (zolRotate); "
          "center=(x, y) adds the shift that keeps that point in place (zolGetRotateShift).");
    m.def("shear", &shear, "src"_a, "shear"_a, "shift"_a = py::make_tuple(0.0, 0.0),
          "interp"_a = "linear", ZOLPY_GEO_WHERE,
          "warp_affine by [[1, xshear, xshift], [yshear, 1, yshift]] (zolShear).");

    defMapped<2, 3, 4>(m, "get_affine_quad", "zolGetAffineQuad", zolGetAffineQuad,
                       "The corners of the image's region mapped by the 2x3 matrix, clockwise "
                       "from top-left: an array (4, 2) of (x, y) (zolGetAffineQuad).");
    defMapped<2, 3, 2>(m, "get_affine_bound", "zolGetAffineBound", zolGetAffineBound,
                       "[[min x, min y], [max x, max y]] of get_affine_quad (zolGetAffineBound).");
    defTransform<2, 3>(m, "get_affine_transform", "zolGetAffineTransform",
                       zolGetAffineTransform,
                       "The 2x3 matrix taking the image's region onto the parallelogram quad "
                       "(4, 2) (zolGetAffineTransform).");
    m.def(
        "get_rotate_shift",
        [](double xc, double yc, double angle, double xs, double ys) {
            const Where none{py::none(), py::none(), py::none(), py::none()};
            Call c("zolGetRotateShift", none);
            c.run([&] { zolGetRotateShift(xc, yc, angle, &xs, &ys); });
            return py::make_tuple(xs, ys);
        },
        "x_center"_a, "y_center"_a, "angle"_a, "x_shift"_a = 0.0, "y_shift"_a = 0.0,
        "(x_shift, y_shift) plus the shift that makes rotate by angle turn about the centre "
        "(zolGetRotateShift).");
    defMapped<2, 4, 4>(m, "get_bilinear_quad", "zolGetBilinearQuad", zolGetBilinearQuad,
                       "The image's region mapped by the 2x4 bilinear matrix "
                       "(zolGetBilinearQuad).");
    defMapped<2, 4, 2>(m, "get_bilinear_bound", "zolGetBilinearBound", zolGetBilinearBound,
                       "The bound of get_bilinear_quad (zolGetBilinearBound).");
    defTransform<2, 4>(m, "get_bilinear_transform", "zolGetBilinearTransform",
                       zolGetBilinearTransform,
                       "The 2x4 bilinear matrix taking the image's region onto the convex "
                       "quad (zolGetBilinearTransform).");
    defMapped<3, 3, 4>(m, "get_perspective_quad", "zolGetPerspectiveQuad", zolGetPerspectiveQuad,
                       "The image's region mapped by the 3x3 perspective matrix "
                       "(zolGetPerspectiveQuad).");
    defMapped<3, 3, 2>(m, "get_perspective_bound", "zolGetPerspectiveBound",
                       zolGetPerspectiveBound,
                       "The bound of get_perspective_quad (zolGetPerspectiveBound).");
    defTransform<3, 3>(m, "get_perspective_transform", "zolGetPerspectiveTransform",
                       zolGetPerspectiveTransform,
                       "The 3x3 perspective matrix taking the image's region onto the convex "
                       "quad (zolGetPerspectiveTransform).");
}

}  // namespace zolpy
