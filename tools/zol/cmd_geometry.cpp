// Geometry commands: resize, zoom (enlarge) and decimate (reduce). Each
// makes a new picture of the scaled size and fills it with one library call
// over the whole input; an alpha channel is scaled by a second call on that
// channel alone, since the library leaves it out of the colour channels.
#include <cmath>
#include <cstring>
#include <memory>
#include <numeric>

#include "tool.h"

namespace zoltool {

namespace {

// "N", "N/D" or a decimal fraction, as a ratio of positive ints.
bool parseFactor(const std::string& text, int* num, int* den) {
    const size_t slash = text.find('/');
    double a, b = 1;
    if (slash != std::string::npos) {
        if (!parseNumber(text.substr(0, slash), &a) || !parseNumber(text.substr(slash + 1), &b))
            return false;
    } else {
        if (!parseNumber(text, &a)) return false;
        if (std::floor(a) != a) a *= 1000, b = 1000;
    }
    if (std::floor(a) != a || std::floor(b) != b || a < 1 || b < 1 || a > 65536 || b > 65536)
        return false;
    const long g = std::gcd(long(a), long(b));
    *num = int(a / g);
    *den = int(b / g);
    return true;
}

int interpOfName(const std::string& name, bool area) {
    if (name == "nn") return ZOL_INTER_NN;
    if (name == "linear") return ZOL_INTER_LINEAR;
    if (name == "cubic") return ZOL_INTER_CUBIC;
    if (area && name == "area") return ZOL_INTER_SUPER;
    return -1;
}

enum class Kind { Resize, Zoom, Decimate };

struct ScaleArgs {
    ImageOptions options;
    std::string input, output, size, factor, interp = "linear";
};

int runScale(const CLI::App* c, const ScaleArgs& a, Kind kind) {
    const int interp = interpOfName(a.interp, kind != Kind::Zoom);
    if (interp < 0)
        return usageFail(c, "bad --interp '" + a.interp + "' (nn, linear, cubic" +
                                (kind != Kind::Zoom ? ", area)" : ")"));
    ImagePtr src = loadImage(a.input);
    if (!src) return kExitFailure;
    int width = 0, height = 0;
    // The library scales by xDst/xSrc; with --size the ratio is the sizes'.
    int xDst, xSrc, yDst, ySrc;
    if (!a.size.empty()) {
        if (!parseSize(a.size, &width, &height))
            return usageFail(c, "bad size '" + a.size + "': expected WIDTHxHEIGHT, e.g. 640x480");
        xDst = width, xSrc = src->width, yDst = height, ySrc = src->height;
    } else if (!a.factor.empty()) {
        int num, den;
        if (!parseFactor(a.factor, &num, &den))
            return usageFail(c, "bad factor '" + a.factor + "': expected N, N/D or a decimal");
        const double w = std::floor(double(src->width) * num / den);
        const double h = std::floor(double(src->height) * num / den);
        if (w < 1 || h < 1 || w > 1e9 || h > 1e9)
            return usageFail(c, "factor '" + a.factor + "' gives no picture of a usable size");
        width = int(w), height = int(h);
        xDst = yDst = num, xSrc = ySrc = den;
    } else {
        return usageFail(c, kind == Kind::Resize ? "give --size or --scale" : "give --factor");
    }
    std::string error;
    ImagePtr dst(newImage(src->depth, src->nChannels, width, height, &error));
    if (!dst) return fail(error);
    std::memset(dst->imageData, 0, size_t(dst->imageSize));
    const char* name = kind == Kind::Decimate ? "zolDecimate" : kind == Kind::Zoom ? "zolZoom" : "zolResize";
    auto call = [&] {
        zolSetErrStatus(0);
        if (kind == Kind::Decimate)
            zolDecimate(src.get(), dst.get(), xDst, xSrc, yDst, ySrc, interp);
        else if (kind == Kind::Zoom)
            zolZoom(src.get(), dst.get(), xDst, xSrc, yDst, ySrc, interp);
        else
            zolResize(src.get(), dst.get(), xDst, xSrc, yDst, ySrc, interp);
        return !libraryFailed(name);
    };
    if (!call()) return kExitFailure;
    if (src->alphaChannel) {
        ImageOptions alpha;
        alpha.coi = src->alphaChannel;
        if (!setRegion(src.get(), alpha, true) || !setRegion(dst.get(), alpha, true) || !call())
            return kExitFailure;
    }
    return saveImage(a.output, dst.get(), a.options);
}

void addScale(CLI::App& app, const char* name, const char* description, Kind kind) {
    auto a = std::make_shared<ScaleArgs>();
    CLI::App* c = addCommand(app, "Geometry", name, description,
                             [a, kind](const CLI::App* c) { return runScale(c, *a, kind); });
    addOutputOptions(c, a->options);
    if (kind == Kind::Resize) {
        c->add_option("--size", a->size, "the new size")->type_name("WxH");
        c->add_option("--scale", a->factor, "the scale factor: N, N/D or a decimal")->type_name("F");
    } else {
        c->add_option("--factor", a->factor,
                      kind == Kind::Zoom ? "the enlargement: N, N/D or a decimal, at least 1"
                                         : "the reduction: N/D or a decimal, at most 1")
            ->required()
            ->type_name("F");
    }
    c->add_option("--interp", a->interp,
                  kind == Kind::Zoom ? "nn, linear (default) or cubic"
                                     : "nn, linear (default), cubic or area")
        ->type_name("I");
    c->add_option("IN", a->input, "the input")->required()->type_name("");
    c->add_option("OUT", a->output, "the output file")->required()->type_name("");
}

}  // namespace

void addGeometryCommands(CLI::App& app) {
    addScale(app, "resize", "OUT = IN scaled to --size or by --scale (zolResize)", Kind::Resize);
    addScale(app, "zoom", "OUT = IN enlarged by --factor (zolZoom)", Kind::Zoom);
    addScale(app, "decimate", "OUT = IN reduced by --factor (zolDecimate)", Kind::Decimate);
}

}  // namespace zoltool
