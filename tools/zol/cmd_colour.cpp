// Colour commands: convert (between RGB and another colour space), gray,
// colorize, reduce (fewer bits, with dither) and twist (a 3x4 matrix).
// Each makes a new picture and fills it with one library call.
#include <cmath>
#include <cstring>
#include <memory>

#include "tool.h"

namespace zoltool {

namespace {

struct Space {
    const char* name;
    const char* model;  // the colorModel a conversion from RGB writes
    void (*from)(ZolImage*, ZolImage*);
    void (*to)(ZolImage*, ZolImage*);
    const char* fromName;
    const char* toName;
};

const Space kSpaces[] = {
    {"hsv", "HSV", zolRGB2HSV, zolHSV2RGB, "zolRGB2HSV", "zolHSV2RGB"},
    {"hls", "HLS", zolRGB2HLS, zolHLS2RGB, "zolRGB2HLS", "zolHLS2RGB"},
    {"xyz", "XYZ", zolRGB2XYZ, zolXYZ2RGB, "zolRGB2XYZ", "zolXYZ2RGB"},
    {"yuv", "YUV", zolRGB2YUV, zolYUV2RGB, "zolRGB2YUV", "zolYUV2RGB"},
    {"ycrcb", "YCr", zolRGB2YCrCb, zolYCrCb2RGB, "zolRGB2YCrCb", "zolYCrCb2RGB"},
};

const Space* spaceOfName(const std::string& name) {
    for (const Space& s : kSpaces)
        if (name == s.name) return &s;
    return nullptr;
}

ImagePtr blank(int depth, int channels, int width, int height) {
    std::string error;
    ImagePtr image(newImage(depth, channels, width, height, &error));
    if (!image) {
        fail(error);
        return nullptr;
    }
    std::memset(image->imageData, 0, size_t(image->imageSize));
    return image;
}

// YUV from 8u or 16u is signed samples of the same width (Y too, saturated
// to the signed range); files hold them offset by half scale, which is
// their top bit flipped.
void flipSigns(ZolImage* image) {
    const bool wide = image->depth == ZOL_DEPTH_16U;
    for (int y = 0; y < image->height; ++y) {
        unsigned char* row = fileRow(image, y);
        for (int x = 0; x < image->width; ++x)
            for (int c = 0; c < 3; ++c) {
                const int i = x * image->nChannels + c;
                if (wide)
                    reinterpret_cast<uint16_t*>(row)[i] ^= 0x8000;
                else
                    row[i] ^= 0x80;
            }
    }
}

// The three channels as gray pictures OUT-1, OUT-2, OUT-3 (before the
// extension).
int savePlanes(const std::string& out, const ZolImage* image, const ImageOptions& options) {
    const size_t dot = out.find_last_of('.');
    const size_t slash = out.find_last_of('/');
    const bool hasExt = dot != std::string::npos && (slash == std::string::npos || dot > slash);
    const std::string stem = hasExt ? out.substr(0, dot) : out, ext = hasExt ? out.substr(dot) : "";
    const int size = image->depth == ZOL_DEPTH_16U ? 2 : 1;
    for (int c = 0; c < 3; ++c) {
        ImagePtr plane = blank(image->depth, 1, image->width, image->height);
        if (!plane) return kExitFailure;
        for (int y = 0; y < image->height; ++y) {
            const unsigned char* in = fileRow(image, y);
            unsigned char* o = fileRow(plane.get(), y);
            for (int x = 0; x < image->width; ++x)
                std::memcpy(o + x * size, in + (x * image->nChannels + c) * size, size_t(size));
        }
        const int rc = saveImage(stem + "-" + std::to_string(c + 1) + ext, plane.get(), options);
        if (rc) return rc;
    }
    return 0;
}

struct ConvertArgs {
    ImageOptions options;
    std::string input, output, to, from;
    bool planes = false;
};

int runConvert(const CLI::App* c, const ConvertArgs& a) {
    if (a.to.empty() == a.from.empty()) return usageFail(c, "give one of --to and --from");
    const Space* space = spaceOfName(a.to.empty() ? a.from : a.to);
    if (!space)
        return usageFail(c, "unknown colour space '" + (a.to.empty() ? a.from : a.to) +
                                "' (hsv, hls, xyz, yuv, ycrcb)");
    ImagePtr src = loadImage(a.input);
    if (!src) return kExitFailure;
    if (src->nChannels < 3) return fail(a.input + ": a colour conversion needs three channels");
    ImagePtr dst = blank(src->depth, 3, src->width, src->height);
    if (!dst) return kExitFailure;
    const bool yuv = std::strcmp(space->name, "yuv") == 0;
    zolSetErrStatus(0);
    if (!a.to.empty()) {
        space->from(src.get(), dst.get());
        if (libraryFailed(space->fromName)) return kExitFailure;
        if (yuv) flipSigns(dst.get());
    } else {
        std::memcpy(src->colorModel, space->model, 4);
        std::memcpy(src->channelSeq, space->model, 4);
        if (yuv) {
            if (src->depth != ZOL_DEPTH_8U && src->depth != ZOL_DEPTH_16U)
                return fail(a.input + ": YUV files are 8u or 16u");
            flipSigns(src.get());
            // The same samples, read as the signed ones they stand for.
            src->depth = src->depth == ZOL_DEPTH_8U ? ZOL_DEPTH_8S : ZOL_DEPTH_16S;
        }
        space->to(src.get(), dst.get());
        if (libraryFailed(space->toName)) return kExitFailure;
    }
    return a.planes ? savePlanes(a.output, dst.get(), a.options)
                    : saveImage(a.output, dst.get(), a.options);
}

struct GrayArgs {
    ImageOptions options;
    std::string input, output, weights, dither = "none";
    int bits = 8;
    bool oneBit = false;
};

int runGray(const CLI::App*, const GrayArgs& a) {
    ImagePtr src = loadImage(a.input);
    if (!src) return kExitFailure;
    ImagePtr dst = blank(a.oneBit ? ZOL_DEPTH_1U : src->depth, 1, src->width, src->height);
    if (!dst) return kExitFailure;
    zolSetErrStatus(0);
    zolColorToGray(src.get(), dst.get());
    return libraryFailed("zolColorToGray") ? kExitFailure : saveImage(a.output, dst.get(), a.options);
}

int runColorize(const CLI::App* c, const GrayArgs& a) {
    float w[3] = {0, 0, 0};
    if (!a.weights.empty()) {
        std::vector<std::vector<double>> m;
        std::string error;
        if (!parseMatrix(a.weights, &m, &error) || m.size() != 1 || m[0].size() != 3)
            return usageFail(c, "--weights '" + a.weights + "': expected R,G,B");
        for (int i = 0; i < 3; ++i) w[i] = float(m[0][size_t(i)]);
    }
    ImagePtr src = loadImage(a.input);
    if (!src) return kExitFailure;
    ImagePtr dst = blank(src->depth == ZOL_DEPTH_1U ? ZOL_DEPTH_8U : src->depth, 3, src->width,
                         src->height);
    if (!dst) return kExitFailure;
    zolSetErrStatus(0);
    zolGrayToColor(src.get(), dst.get(), w[0], w[1], w[2]);
    return libraryFailed("zolGrayToColor") ? kExitFailure : saveImage(a.output, dst.get(), a.options);
}

int runReduce(const CLI::App* c, const GrayArgs& a) {
    static const struct {
        const char* name;
        int type;
    } kDithers[] = {{"none", ZOL_DITHER_NONE},
                    {"fs", ZOL_DITHER_FS},
                    {"jjn", ZOL_DITHER_JJN},
                    {"stucki", ZOL_DITHER_STUCKI},
                    {"bayer", ZOL_DITHER_BAYER}};
    int dither = -1;
    for (const auto& d : kDithers)
        if (a.dither == d.name) dither = d.type;
    if (dither < 0) return usageFail(c, "bad --dither '" + a.dither + "' (none, fs, jjn, stucki, bayer)");
    ImagePtr src = loadImage(a.input);
    if (!src) return kExitFailure;
    if (a.bits > 8 && !a.oneBit) return usageFail(c, "--bits is 1 to 8: the result is 8u");
    if (src->depth == ZOL_DEPTH_8U && !a.oneBit) {
        // The library lowers the depth as it dithers, so 8u input goes in
        // as 16u, each sample v as v * 257 (255 to 65535).
        ImagePtr wide = blank(ZOL_DEPTH_16U, src->nChannels, src->width, src->height);
        if (!wide) return kExitFailure;
        for (int y = 0; y < src->height; ++y) {
            const unsigned char* in = fileRow(src.get(), y);
            uint16_t* out = reinterpret_cast<uint16_t*>(fileRow(wide.get(), y));
            for (int i = 0; i < src->width * src->nChannels; ++i) out[i] = uint16_t(in[i] * 257);
        }
        src = std::move(wide);
    }
    const int depth = a.oneBit ? ZOL_DEPTH_1U : ZOL_DEPTH_8U;
    ImagePtr dst = blank(depth, a.oneBit ? 1 : src->nChannels, src->width, src->height);
    if (!dst) return kExitFailure;
    zolSetErrStatus(0);
    zolReduceBits(src.get(), dst.get(), 0, dither, a.bits);
    return libraryFailed("zolReduceBits") ? kExitFailure : saveImage(a.output, dst.get(), a.options);
}

struct TwistArgs {
    ImageOptions options;
    std::string input, output, matrix;
    int shift = 0, offset = 0;
};

int runTwist(const CLI::App* c, const TwistArgs& a) {
    std::vector<std::vector<double>> m;
    std::string error;
    if (!parseMatrix(a.matrix, &m, &error)) return usageFail(c, "--matrix: " + error);
    if (m.size() != 3 || m[0].size() != 4)
        return usageFail(c, "--matrix must have 3 rows of 4 numbers: three weights and an added term");
    int32_t data[16] = {};
    for (int r = 0; r < 3; ++r)
        for (int k = 0; k < 4; ++k) {
            const double v = m[size_t(r)][size_t(k)];
            if (std::floor(v) != v || std::fabs(v) > 2147483647.0)
                return usageFail(c, "--matrix values must be whole numbers");
            data[4 * r + k] = int32_t(v);
        }
    return runImageCommand(c, a.options, {a.input}, a.output, "zolApplyColorTwist",
                           [&](std::vector<ZolImage*>& s, ZolImage* d) {
                               ZolColorTwist* twist = zolCreateColorTwist(data, a.shift);
                               if (!twist) return;
                               zolApplyColorTwist(s[0], d, twist, a.offset);
                               zolDeleteColorTwist(twist);
                           });
}

void addInOut(CLI::App* c, std::string& in, std::string& out) {
    c->add_option("IN", in, "the input")->required()->type_name("");
    c->add_option("OUT", out, "the output file")->required()->type_name("");
}

}  // namespace

void addColourCommands(CLI::App& app) {
    const char* group = "Colour";
    auto cv = std::make_shared<ConvertArgs>();
    CLI::App* c = addCommand(app, group, "convert",
                             "OUT = IN converted from RGB --to a colour space, or --from one to RGB "
                             "(zolRGB2HSV ... zolYCrCb2RGB)",
                             [cv](const CLI::App* c) { return runConvert(c, *cv); });
    addOutputOptions(c, cv->options);
    c->add_option("--to", cv->to, "hsv, hls, xyz, yuv or ycrcb")->type_name("SPACE");
    c->add_option("--from", cv->from, "the space IN's three channels hold")->type_name("SPACE");
    c->add_flag("--planes", cv->planes, "write the channels as gray pictures OUT-1, OUT-2, OUT-3");
    addInOut(c, cv->input, cv->output);

    auto g = std::make_shared<GrayArgs>();
    c = addCommand(app, group, "gray", "OUT = IN's RGB as gray (zolColorToGray)",
                   [g](const CLI::App* c) { return runGray(c, *g); });
    addOutputOptions(c, g->options);
    c->add_flag("--1u", g->oneBit, "a 1-bit picture, set above half scale");
    addInOut(c, g->input, g->output);

    auto z = std::make_shared<GrayArgs>();
    c = addCommand(app, group, "colorize", "OUT = gray IN spread over R, G, B by --weights (zolGrayToColor)",
                   [z](const CLI::App* c) { return runColorize(c, *z); });
    addOutputOptions(c, z->options);
    c->add_option("--weights", z->weights, "the fractions of IN in R, G and B (default: fixed weights)")
        ->type_name("R,G,B");
    addInOut(c, z->input, z->output);

    auto r = std::make_shared<GrayArgs>();
    c = addCommand(app, group, "reduce", "OUT = IN with --bits bits per sample, dithered (zolReduceBits)",
                   [r](const CLI::App* c) { return runReduce(c, *r); });
    // Its own --bits comes first: a BMP file of reduce takes the usual bit count.
    c->add_option("--bits", r->bits, "the bits kept per sample")
        ->check(CLI::Range(1, 8).description(""))
        ->type_name("N");
    addOutputOptions(c, r->options);
    c->add_option("--dither", r->dither, "none (default), fs, jjn, stucki or bayer")->type_name("D");
    c->add_flag("--1u", r->oneBit, "a 1-bit gray picture");
    addInOut(c, r->input, r->output);

    auto t = std::make_shared<TwistArgs>();
    c = addCommand(app, group, "twist",
                   "OUT = a 3x4 matrix applied to IN's R, G, B, divided by 2^--shift (zolApplyColorTwist)",
                   [t](const CLI::App* c) { return runTwist(c, *t); });
    addImageOptions(c, t->options);
    c->add_option("--matrix", t->matrix, "three rows of four whole numbers, rows split by ';'")
        ->required()
        ->type_name("M");
    c->add_option("--shift", t->shift, "the scale: entries are divided by 2^N")
        ->check(CLI::Range(0, 31).description(""))
        ->type_name("N");
    c->add_option("--offset", t->offset, "added to each result")->type_name("V");
    addInOut(c, t->input, t->output);
}

}  // namespace zoltool
