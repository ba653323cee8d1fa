// Geometry commands: resize, zoom (enlarge) and decimate (reduce); rotate,
// affine and perspective warps; mirror. Each makes a new picture and fills
// it with one library call over the whole input; an alpha channel is
// scaled or warped by a second call on that channel alone, since the
// library leaves it out of the colour channels.
#include <cmath>
#include <cstring>
#include <functional>
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

// Runs call, which maps src's colour channels into dst; the library leaves
// an alpha channel to a coi, so call runs again on that channel alone.
// Then saves dst.
int callAndSave(ZolImage* src, ZolImage* dst, const std::function<bool()>& call,
                const std::string& output, const ImageOptions& options) {
    if (!call()) return kExitFailure;
    if (src->alphaChannel) {
        ImageOptions alpha;
        alpha.coi = src->alphaChannel;
        if (!setRegion(src, alpha, true) || !setRegion(dst, alpha, true) || !call())
            return kExitFailure;
    }
    return saveImage(output, dst, options);
}

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
    return callAndSave(src.get(), dst.get(), call, a.output, a.options);
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

// ---- warps and mirror ------------------------------------------------

enum class Warp { Rotate, Affine, Perspective, Mirror };

struct WarpArgs {
    ImageOptions options;
    std::string input, output, interp = "linear", center, matrix, quad, size, axis;
    double angle = 0;
    bool onto = false;
};

// "X,Y" as two numbers.
bool parsePoint(const std::string& text, double* x, double* y) {
    const size_t comma = text.find(',');
    return comma != std::string::npos && parseNumber(text.substr(0, comma), x) &&
           parseNumber(text.substr(comma + 1), y);
}

int runWarp(const CLI::App* c, const WarpArgs& a, Warp kind) {
    const int interp = interpOfName(a.interp, false);
    if (interp < 0) return usageFail(c, "bad --interp '" + a.interp + "' (nn, linear, cubic)");
    double coeffs[2][3] = {}, quad[4][2] = {}, cx = 0, cy = 0;
    int flip = 0;
    std::vector<std::vector<double>> m;
    std::string error;
    if (kind == Warp::Rotate && !a.center.empty() && !parsePoint(a.center, &cx, &cy))
        return usageFail(c, "bad --center '" + a.center + "': expected X,Y");
    if (kind == Warp::Affine) {
        if (!parseMatrix(a.matrix, &m, &error)) return usageFail(c, "--matrix: " + error);
        if (m.size() != 2 || m[0].size() != 3) return usageFail(c, "--matrix needs 2 rows of 3: \"a b c; d e f\"");
        for (int i = 0; i < 6; ++i) coeffs[i / 3][i % 3] = m[size_t(i / 3)][size_t(i % 3)];
    }
    if (kind == Warp::Perspective) {
        if (!parseMatrix(a.quad, &m, &error)) return usageFail(c, "--quad: " + error);
        if (m.size() != 1 || m[0].size() != 8) return usageFail(c, "--quad needs four corners: \"x0,y0 x1,y1 x2,y2 x3,y3\"");
        for (int i = 0; i < 8; ++i) quad[i / 2][i % 2] = m[0][size_t(i)];
    }
    if (kind == Warp::Mirror) {
        if (a.axis == "x") flip = 0;
        else if (a.axis == "y") flip = 1;
        else if (a.axis == "both") flip = -1;
        else return usageFail(c, "bad --axis '" + a.axis + "' (x, y, both)");
    }
    ImagePtr src = loadImage(a.input);
    if (!src) return kExitFailure;
    int width = src->width, height = src->height;
    if (!a.size.empty() && !parseSize(a.size, &width, &height))
        return usageFail(c, "bad size '" + a.size + "': expected WIDTHxHEIGHT, e.g. 640x480");
    ImagePtr dst(newImage(src->depth, src->nChannels, width, height, &error));
    if (!dst) return fail(error);
    std::memset(dst->imageData, 0, size_t(dst->imageSize));
    if (kind == Warp::Rotate && a.center.empty()) cx = (src->width - 1) / 2.0, cy = (src->height - 1) / 2.0;
    const char* names[] = {"zolRotate", "zolWarpAffine", "zolWarpPerspectiveQ", "zolMirror"};
    auto call = [&] {
        zolSetErrStatus(0);
        if (kind == Warp::Rotate) {
            double xs = 0, ys = 0;
            zolGetRotateShift(cx, cy, a.angle, &xs, &ys);
            zolRotate(src.get(), dst.get(), a.angle, xs, ys, interp);
        } else if (kind == Warp::Affine) {
            zolWarpAffine(src.get(), dst.get(), coeffs, interp);
        } else if (kind == Warp::Perspective) {
            zolWarpPerspectiveQ(src.get(), dst.get(), quad, a.onto ? ZOL_WARP_TO_QUAD : ZOL_WARP_FROM_QUAD, interp);
        } else {
            zolMirror(src.get(), dst.get(), flip);
        }
        return !libraryFailed(names[int(kind)]);
    };
    return callAndSave(src.get(), dst.get(), call, a.output, a.options);
}

void addWarp(CLI::App& app, const char* name, const char* description, Warp kind) {
    auto a = std::make_shared<WarpArgs>();
    CLI::App* c = addCommand(app, "Geometry", name, description,
                             [a, kind](const CLI::App* c) { return runWarp(c, *a, kind); });
    addOutputOptions(c, a->options);
    if (kind == Warp::Rotate) {
        c->add_option("--angle", a->angle, "degrees, counter-clockwise as seen on screen")->required()->type_name("DEG");
        c->add_option("--center", a->center, "the point turned about (default: the centre)")->type_name("X,Y");
    } else if (kind == Warp::Affine) {
        c->add_option("--matrix", a->matrix, "x' = a x + b y + c, y' = d x + e y + f")->required()->type_name("\"a b c; d e f\"");
    } else if (kind == Warp::Perspective) {
        c->add_option("--quad", a->quad, "four corners of IN (top-left, top-right, bottom-right, bottom-left) that become OUT's corners")
            ->required()
            ->type_name("\"x0,y0 x1,y1 x2,y2 x3,y3\"");
        c->add_flag("--onto", a->onto, "the corners are where IN's corners go in OUT instead");
    } else {
        c->add_option("--axis", a->axis, "x (upside down), y (left to right) or both")->required()->type_name("A");
    }
    if (kind != Warp::Mirror) {
        c->add_option("--interp", a->interp, "nn, linear (default) or cubic")->type_name("I");
        c->add_option("--size", a->size, "the size of OUT (default: IN's)")->type_name("WxH");
    }
    c->add_option("IN", a->input, "the input")->required()->type_name("");
    c->add_option("OUT", a->output, "the output file")->required()->type_name("");
}

}  // namespace

void addGeometryCommands(CLI::App& app) {
    addScale(app, "resize", "OUT = IN scaled to --size or by --scale (zolResize)", Kind::Resize);
    addScale(app, "zoom", "OUT = IN enlarged by --factor (zolZoom)", Kind::Zoom);
    addScale(app, "decimate", "OUT = IN reduced by --factor (zolDecimate)", Kind::Decimate);
    addWarp(app, "rotate", "OUT = IN turned by --angle about --center (zolRotate)", Warp::Rotate);
    addWarp(app, "affine", "OUT = IN through an affine --matrix (zolWarpAffine)", Warp::Affine);
    addWarp(app, "perspective", "OUT = the --quad of IN straightened (zolWarpPerspectiveQ)", Warp::Perspective);
    addWarp(app, "mirror", "OUT = IN flipped about --axis (zolMirror)", Warp::Mirror);
}

}  // namespace zoltool
