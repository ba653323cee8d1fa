// Commands about the library and its test pictures: version, info,
// pattern, chart, demo.
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>

#include "tool.h"

#ifndef ZOL_TOOL_VERSION
#define ZOL_TOOL_VERSION "unknown"
#endif

namespace zoltool {
namespace {

int version() {
    const ZolLibVersion* v = zolGetLibVersion();
    auto text = [](const char* s) { return s ? s : "(none)"; };
    std::printf("library:  %s %d.%d.%d\n", text(v->libraryName), v->major, v->minor, v->build);
    std::printf("version:  %s\n", text(v->versionText));
    std::printf("internal: %s\n", text(v->internalVersion));
    std::printf("built:    %s\n", text(v->buildDate));
    std::printf("tool:     zol %s\n", ZOL_TOOL_VERSION);
    return 0;
}

int info(const std::string& path, const ImageOptions& o) {
    ImagePtr image = loadImage(path);
    if (!image) return kExitFailure;
    const ZolImage& im = *image;
    std::printf("file:     %s\n", path.c_str());
    std::printf("size:     %dx%d\n", im.width, im.height);
    std::printf("depth:    %s\n", depthName(im.depth));
    std::printf("channels: %d (%.4s)", im.nChannels, im.channelSeq);
    if (im.alphaChannel) std::printf(", channel %d is alpha", im.alphaChannel);
    std::printf("\n");
    if (!o.roi.empty()) {
        // The library's rule: the region keeps its corner and is cut at the
        // right and bottom edges of the image.
        if (!setRegion(image.get(), o, false)) return kExitFailure;
        const ZolROI& r = *im.roi;
        const int w = std::min(r.width, im.width - r.xOffset);
        const int h = std::min(r.height, im.height - r.yOffset);
        if (w <= 0 || h <= 0)
            std::printf("region:   empty (the corner %d,%d lies outside the image)\n", r.xOffset,
                        r.yOffset);
        else
            std::printf("region:   %dx%d at %d,%d\n", w, h, r.xOffset, r.yOffset);
    } else {
        std::printf("region:   the whole image\n");
    }
    if (o.coi) {
        if (o.coi > im.nChannels)
            std::printf("channel:  none: channel %d does not exist\n", o.coi);
        else
            std::printf("channel:  %d (%c)\n", o.coi, im.channelSeq[o.coi - 1]);
    }
    return 0;
}

// The ring pattern of the given depth and size, or NULL after a message.
ImagePtr makePattern(int depth, int width, int height) {
    zolSetErrStatus(0);
    ImagePtr image(zolCreateImageJaehne(depth, width, height));
    if (libraryFailed("zolCreateImageJaehne")) return nullptr;
    if (!image) fail("zolCreateImageJaehne returned no image");
    return image;
}

struct PatternOptions {
    ImageOptions out;
    std::string depth = "8u", size = "640x480", file;
};

int pattern(const CLI::App* command, const PatternOptions& o) {
    int width, height;
    parseSize(o.size, &width, &height);
    const int depth = depthOfName(o.depth);
    std::string error;
    if (depth != ZOL_DEPTH_1U && depth != ZOL_DEPTH_8U && depth != ZOL_DEPTH_16U)
        return usageFail(command, std::string("files cannot hold ") + depthName(depth) +
                                      " samples; use --depth 1u, 8u or 16u");
    if (!imageFits(depth, 1, width, height, &error)) return usageFail(command, error);
    ImagePtr image = makePattern(depth, width, height);
    return image ? saveImage(o.file, image.get(), o.out) : kExitFailure;
}

// ---- the colour chart -----------------------------------------------------

struct Rgb {
    double r, g, b;
};

Rgb mix(Rgb a, Rgb b, double t) {
    return {a.r + (b.r - a.r) * t, a.g + (b.g - a.g) * t, a.b + (b.b - a.b) * t};
}

// A fully saturated hue, h in [0, 1).
Rgb hue(double h) {
    auto ramp = [](double x) { return std::fmin(1.0, std::fmax(0.0, std::fabs(x * 6 - 3) - 1)); };
    return {ramp(std::fmod(h, 1.0)), ramp(std::fmod(h + 2.0 / 3, 1.0)),
            ramp(std::fmod(h + 1.0 / 3, 1.0))};
}

// A test chart: eight colour bars, a gray ramp, a hue sweep fading to
// white and then to black, and a disc of the primaries.
Rgb chartPixel(double u, double v) {
    static const Rgb kBars[8] = {{1, 1, 1}, {1, 1, 0}, {0, 1, 1}, {0, 1, 0},
                                 {1, 0, 1}, {1, 0, 0}, {0, 0, 1}, {0, 0, 0}};
    const double dx = u - 0.8, dy = (v - 0.72) * 0.75;
    if (dx * dx + dy * dy < 0.015) {
        const double angle = std::atan2(dy, dx) / (2 * M_PI) + 0.5;
        static const int kPrimaries[3] = {5, 3, 6};  // red, green, blue
        return kBars[kPrimaries[int(angle * 3) % 3]];
    }
    if (v < 0.4) return kBars[std::min(7, int(u * 8))];
    if (v < 0.5) return mix({0, 0, 0}, {1, 1, 1}, std::floor(u * 32) / 31);
    const double t = (v - 0.5) / 0.5;
    const Rgb c = hue(u);
    return t < 0.5 ? mix({1, 1, 1}, c, t * 2) : mix(c, {0, 0, 0}, (t - 0.5) * 2);
}

// Value noise on a lattice, smoothly interpolated, in [0, 1).
double noise(double x, double y) {
    auto lattice = [](int i, int j) {
        uint32_t h = uint32_t(i) * 374761393u + uint32_t(j) * 668265263u;
        h = (h ^ (h >> 13)) * 1274126177u;
        return double((h ^ (h >> 16)) & 0xFFFF) / 65536.0;
    };
    const int i = int(std::floor(x)), j = int(std::floor(y));
    double fx = x - i, fy = y - j;
    fx = fx * fx * (3 - 2 * fx);
    fy = fy * fy * (3 - 2 * fy);
    return (lattice(i, j) * (1 - fx) + lattice(i + 1, j) * fx) * (1 - fy) +
           (lattice(i, j + 1) * (1 - fx) + lattice(i + 1, j + 1) * fx) * fy;
}

double fractal(double x, double y) {
    double sum = 0, scale = 1;
    for (int k = 0; k < 5; ++k, scale *= 0.5) sum += noise(x / scale, y / scale) * scale;
    return sum / 1.9375;
}

// A landscape: sky with a sun, two ranges of hills, a lake mirroring them.
Rgb scenePixel(double u, double v) {
    const double horizon = 0.62;
    const double shore = horizon + 0.08 * fractal(u * 2, 7.3) + 0.04;
    const bool lake = v > shore;
    if (lake) v = 2 * shore - v + 0.006 * std::sin(v * 180);  // the mirror image, rippled
    const double sun = std::hypot(u - 0.7, (v - 0.25) * 0.7);
    Rgb c = mix({0.35, 0.55, 0.95}, {0.95, 0.8, 0.6}, std::fmin(1.0, std::fmax(0.0, v / horizon)));
    c = mix(c, {1, 0.95, 0.7}, std::exp(-sun * 18));
    if (sun < 0.05) c = {1, 0.97, 0.85};
    const double far = 0.42 + 0.12 * fractal(u * 3, 1.7);
    if (v > far) c = mix({0.45, 0.5, 0.65}, {0.3, 0.38, 0.5}, fractal(u * 20, v * 20));
    const double near = 0.5 + 0.1 * fractal(u * 4 + 5, 3.1);
    if (v > near) {
        const double grass = fractal(u * 40, v * 60);
        c = mix({0.15, 0.4, 0.12}, {0.45, 0.6, 0.2}, grass);
    }
    if (lake) c = mix(c, {0.1, 0.2, 0.35}, 0.4);
    return c;
}

struct ChartOptions {
    ImageOptions out;
    std::string size = "512x384", file;
    bool alpha = false, scene = false;
    std::string shape;
};

// A translucent shape on a clear ground, for the compositing commands: a
// red disc on the left ("disc") or a blue square on the right ("square").
bool shapePixel(const std::string& shape, double u, double v, unsigned char* p) {
    const bool disc = shape == "disc";
    const bool inside = disc ? std::hypot(u - 0.4, v - 0.5) < 0.3
                             : std::fabs(u - 0.62) < 0.25 && std::fabs(v - 0.5) < 0.3;
    p[0] = disc ? 230 : 40;
    p[1] = disc ? 40 : 90;
    p[2] = disc ? 40 : 230;
    p[3] = inside ? (disc ? 190 : 150) : 0;
    return true;
}

int chart(const CLI::App* command, const ChartOptions& o) {
    int width, height;
    parseSize(o.size, &width, &height);
    if (!o.shape.empty() && o.shape != "disc" && o.shape != "square")
        return usageFail(command, "bad --shape '" + o.shape + "' (disc, square)");
    const int channels = o.alpha || !o.shape.empty() ? 4 : 3;
    std::string error;
    if (!imageFits(ZOL_DEPTH_8U, channels, width, height, &error))
        return usageFail(command, error);
    ImagePtr image(newImage(ZOL_DEPTH_8U, channels, width, height, &error));
    if (!image) return fail(error);
    for (int y = 0; y < height; ++y) {
        unsigned char* row = fileRow(image.get(), y);
        for (int x = 0; x < width; ++x) {
            const double u = (x + 0.5) / width, v = (y + 0.5) / height;
            unsigned char* p = row + x * channels;
            if (!o.shape.empty() && shapePixel(o.shape, u, v, p)) continue;
            const Rgb c = o.scene ? scenePixel(u, v) : chartPixel(u, v);
            p[0] = static_cast<unsigned char>(std::lround(c.r * 255));
            p[1] = static_cast<unsigned char>(std::lround(c.g * 255));
            p[2] = static_cast<unsigned char>(std::lround(c.b * 255));
            // Opaque in the middle, fading out towards the corners.
            if (o.alpha) {
                const double r = std::hypot(u - 0.5, v - 0.5) / std::hypot(0.5, 0.5);
                p[3] = static_cast<unsigned char>(std::lround(255 * std::fmin(1.0, 2 - 2 * r)));
            }
        }
    }
    return saveImage(o.file, image.get(), o.out);
}

int demo() {
    const char* kPattern = "zol-demo-pattern.pgm";
    const char* kInverse = "zol-demo-inverse.pgm";
    ImagePtr pattern = makePattern(ZOL_DEPTH_8U, 640, 480);
    if (!pattern) return kExitFailure;
    const ImageOptions plain;
    int rc = saveImage(kPattern, pattern.get(), plain);
    if (rc) return rc;
    std::string error;
    ImagePtr inverse(newImage(ZOL_DEPTH_8U, 1, 640, 480, &error));
    if (!inverse) return fail(error);
    zolSetErrStatus(0);
    zolNot(pattern.get(), inverse.get());
    if (libraryFailed("zolNot")) return kExitFailure;
    if ((rc = saveImage(kInverse, inverse.get(), plain))) return rc;
    std::error_code ec;
    for (const char* name : {kPattern, kInverse}) {
        const std::filesystem::path full = std::filesystem::absolute(name, ec);
        std::printf("%s\n", ec ? name : full.c_str());
    }
    return 0;
}

}  // namespace

void addCoreCommands(CLI::App& app) {
    const char* group = "Information";
    addCommand(app, group, "version", "print the library's version record and the tool's",
               [](const CLI::App*) { return version(); });

    auto io = std::make_shared<ImageOptions>();
    auto file = std::make_shared<std::string>();
    CLI::App* c = addCommand(app, group, "info", "print an image's size, depth and channels",
                             [io, file](const CLI::App*) { return info(*file, *io); });
    c->add_option("FILE", *file, "the image")->required()->type_name("");
    c->add_option("--roi", io->roi, "also print the region X,Y,WIDTH,HEIGHT selects")
        ->check(checkRoi)
        ->type_name("X,Y,W,H");
    c->add_option("--coi", io->coi, "also print which channel N selects")
        ->check(CLI::Range(1, 4).description(""))
        ->type_name("N");

    group = "Pictures";
    auto po = std::make_shared<PatternOptions>();
    c = addCommand(app, group, "pattern", "write the ring test pattern of zolCreateImageJaehne",
                   [po](const CLI::App* command) { return pattern(command, *po); });
    c->add_option("--depth", po->depth, "1u, 8u or 16u (default 8u)")
        ->check(checkDepth)
        ->type_name("D");
    c->add_option("--size", po->size, "width and height (default 640x480)")
        ->check(checkSize)
        ->type_name("WxH");
    addOutputOptions(c, po->out);
    c->add_option("OUT", po->file, "the output file")->required()->type_name("");

    auto co = std::make_shared<ChartOptions>();
    c = addCommand(app, group, "chart", "write a colour test chart, or with --scene a landscape",
                   [co](const CLI::App* command) { return chart(command, *co); });
    c->add_option("--size", co->size, "width and height (default 512x384)")
        ->check(checkSize)
        ->type_name("WxH");
    c->add_flag("--alpha", co->alpha, "add an alpha channel, opaque in the middle");
    c->add_flag("--scene", co->scene, "draw a landscape instead of the chart");
    c->add_option("--shape", co->shape,
                  "draw a translucent red disc or blue square on a clear ground instead (RGBA)")
        ->type_name("disc|square");
    addOutputOptions(c, co->out);
    c->add_option("OUT", co->file, "the output file")->required()->type_name("");

    addCommand(app, group, "demo",
               "write the ring pattern and its inverse as PGM files here",
               [](const CLI::App*) { return demo(); });
}

}  // namespace zoltool
