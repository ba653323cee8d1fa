// Premultiplied alpha, compositing and scaled multiplication. An image of
// two or four channels carries alpha in its last channel (gray-alpha,
// RGBA) unless the call says alpha=False; separate alpha images are read
// and written in their last channel. Rows go through rows.h.
#include <string>
#include <vector>

#include "bind.h"
#include "rows.h"

namespace zolpy {

namespace {

enum class Composite {
    OVER = ZOL_COMPOSITE_OVER,
    IN = ZOL_COMPOSITE_IN,
    OUT = ZOL_COMPOSITE_OUT,
    ATOP = ZOL_COMPOSITE_ATOP,
    XOR = ZOL_COMPOSITE_XOR,
    PLUS = ZOL_COMPOSITE_PLUS
};

int compositeType(py::handle op) {
    if (py::isinstance<py::str>(op)) {
        const std::string s = op.cast<std::string>();
        static const char* const kNames[] = {"over", "in", "out", "atop", "xor", "plus"};
        for (int i = 0; i < 6; ++i)
            if (s == kNames[i]) return i;
        throw py::value_error("op: one of over, in, out, atop, xor, plus, not '" + s + "'");
    }
    return py::int_(op.attr("__int__")()).cast<int>();
}

bool carriesAlpha(const Image& im) {
    return im.array().ndim() == 3 && (im.channels() == 2 || im.channels() == 4);
}

void markAlpha(Image& im, bool alpha) {
    if (alpha && carriesAlpha(im)) im.setAlpha(true);
}

// A new destination laid out for the family. Where the call leaves part
// of it (a region, a channel, a mask, the alpha channel) it starts as a
// copy of src, so that those parts hold src's values.
py::object newTarget(const py::array& src, const Where& w, bool alpha) {
    if ((src.ndim() != 2 && src.ndim() != 3) || depthOf(src.dtype()) == 0) return py::none();
    const int64_t ch = src.ndim() == 3 ? src.shape(2) : 0;
    if (w.any() || (alpha && (ch == 2 || ch == 4))) return alignedCopy(src);
    return alignedArray(src.shape(0), src.shape(1), ch, src.dtype());
}

// dst = f(a[, b]) with the images in im (sources, destination, then what
// more(call, im) adds); the destination shaped like a.
template <class More, class F>
py::object scaled(const char* cfunc, std::initializer_list<py::handle> srcs, bool alpha,
                  const Where& where, More&& more, F&& f) {
    std::vector<py::array> in;
    for (py::handle s : srcs) in.push_back(alignedCopy(s, false));
    const Written out(where.out.is_none() ? newTarget(in[0], where, alpha) : where.out);
    const Where w{out.use(), where.roi, where.coi, where.mask};
    Call c(cfunc, w);
    ZolImage* im[Call::kMaxImages] = {};
    const int n = int(in.size());
    for (int i = 0; i < n; ++i) im[i] = c.source(in[size_t(i)], i ? "b" : "a");
    im[n] = c.targetLike(0);
    for (int i = 0; i <= n; ++i) markAlpha(c.image(i), alpha);
    more(c, im);
    c.run([&] { f(im); });
    return out.back();
}

void nothingMore(Call&, ZolImage**) {}

py::object composite(py::handle a, py::handle b, py::handle op, py::object alphaA,
                     py::object alphaB, py::object alphaOut, bool premultiplied, bool divide,
                     bool alpha, const Where& where) {
    const int type = compositeType(op);
    if (py::isinstance<py::int_>(alphaA) || py::isinstance<py::int_>(alphaB)) {
        // Constants stand for both sources; None reads a source's own alpha.
        if (!alphaOut.is_none() || (!alphaA.is_none() && !py::isinstance<py::int_>(alphaA)) ||
            (!alphaB.is_none() && !py::isinstance<py::int_>(alphaB)))
            throw py::type_error(
                "alpha constants go with each other or None, and write no alpha_out");
        const int ka = alphaA.is_none() ? -1 : alphaA.cast<int>();
        const int kb = alphaB.is_none() ? -1 : alphaB.cast<int>();
        return scaled("zolAlphaCompositeC", {a, b}, alpha, where, nothingMore, [&](ZolImage** im) {
            zolAlphaCompositeC(im[0], im[1], im[2], type, ka, kb, premultiplied, divide);
        });
    }
    // Alpha images are read and written in their last channel.
    const Written xd(alphaOut);
    auto more = [&](Call& c, ZolImage** im) {
        const py::object given[3] = {alphaA, alphaB, xd.use()};
        static const char* const kNames[3] = {"alpha_a", "alpha_b", "alpha_out"};
        for (int i = 0; i < 3; ++i) {
            if (given[i].is_none()) continue;
            ZolImage* x = i < 2 ? c.source(alignedCopy(given[i], false), kNames[i])
                                : c.inPlace(given[i], kNames[i]);
            x->alphaChannel = x->nChannels;
            im[3 + i] = x;
        }
    };
    py::object out = scaled("zolAlphaComposite", {a, b}, alpha, where, more, [&](ZolImage** im) {
        zolAlphaComposite(im[0], im[1], im[2], type, im[3], im[4], im[5], premultiplied, divide);
    });
    xd.back();
    return out;
}

}  // namespace

void bindAlpha(py::module_& m) {
    py::enum_<Composite>(m, "Composite", "Compositing operators of zol.alpha_composite.")
        .value("OVER", Composite::OVER)
        .value("IN", Composite::IN)
        .value("OUT", Composite::OUT)
        .value("ATOP", Composite::ATOP)
        .value("XOR", Composite::XOR)
        .value("PLUS", Composite::PLUS);

    m.def(
        "pre_multiply_alpha",
        [](py::handle image, int value, bool alpha, py::object roi, py::object coi,
           py::object mask) {
            const Where w{py::none(), roi, coi, mask};
            const Written rows(py::reinterpret_borrow<py::object>(image));
            Call c("zolPreMultiplyAlpha", w);
            ZolImage* im = c.inPlace(rows.use(), "image");
            markAlpha(c.image(0), alpha);
            c.applyMask(im);
            c.run([&] { zolPreMultiplyAlpha(im, value); });
            rows.back();
        },
        "image"_a, "value"_a = -1, py::kw_only(), "alpha"_a = true, "roi"_a = py::none(),
        "coi"_a = py::none(), "mask"_a = py::none(),
        "Multiplies the colour channels by the pixel's own alpha (value=-1) or by value, "
        "which then fills the alpha channel; in place (zolPreMultiplyAlpha).");

    m.def(
        "alpha_composite",
        [](py::handle a, py::handle b, py::handle op, py::object alphaA, py::object alphaB,
           py::object alphaOut, bool premultiplied, bool divide, bool alpha, py::object out,
           py::object roi, py::object coi, py::object mask) {
            return composite(a, b, op, alphaA, alphaB, alphaOut, premultiplied, divide, alpha,
                             Where{out, roi, coi, mask});
        },
        "a"_a, "b"_a, "op"_a = "over", py::kw_only(), "alpha_a"_a = py::none(),
        "alpha_b"_a = py::none(), "alpha_out"_a = py::none(), "premultiplied"_a = false,
        "divide"_a = false, "alpha"_a = true, "out"_a = py::none(), "roi"_a = py::none(),
        "coi"_a = py::none(), "mask"_a = py::none(),
        "a op b per colour channel (zol.Composite or its name). alpha_a, alpha_b: None (the "
        "source's alpha channel), an alpha image (zolAlphaComposite) or an int constant "
        "(zolAlphaCompositeC); alpha_out receives the resulting alpha, in place.");

    m.def(
        "multiply_scale",
        [](py::handle a, py::handle b, bool alpha, py::object out, py::object roi,
           py::object coi, py::object mask) {
            return scaled("zolMultiplyScale", {a, b}, alpha, Where{out, roi, coi, mask},
                          nothingMore,
                          [](ZolImage** im) { zolMultiplyScale(im[0], im[1], im[2]); });
        },
        "a"_a, "b"_a, py::kw_only(), "alpha"_a = true, "out"_a = py::none(),
        "roi"_a = py::none(), "coi"_a = py::none(), "mask"_a = py::none(),
        "a * b / M with M the type's largest value, 8U and 16U (zolMultiplyScale).");
    m.def(
        "multiply_s_scale",
        [](py::handle src, int value, bool alpha, py::object out, py::object roi,
           py::object coi, py::object mask) {
            return scaled("zolMultiplySScale", {src}, alpha, Where{out, roi, coi, mask},
                          nothingMore,
                          [value](ZolImage** im) { zolMultiplySScale(im[0], im[1], value); });
        },
        "src"_a, "value"_a, py::kw_only(), "alpha"_a = true, "out"_a = py::none(),
        "roi"_a = py::none(), "coi"_a = py::none(), "mask"_a = py::none(),
        "src * value / M, value cut to 0..M (zolMultiplySScale).");
}

}  // namespace zolpy
