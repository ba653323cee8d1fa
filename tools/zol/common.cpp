// Helpers shared by the zol tool's command files.
#include <strings.h>

#include <cctype>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tool.h"

namespace zoltool {

// ---- messages ----------------------------------------------------------

int fail(const std::string& message) {
    std::fprintf(stderr, "zol: %s\n", message.c_str());
    return kExitFailure;
}

namespace {

std::string fullName(const CLI::App* command) {
    std::string name = command->get_name();
    for (const CLI::App* p = command->get_parent(); p; p = p->get_parent())
        name = p->get_name() + " " + name;
    return name;
}

}  // namespace

std::string usageLine(const CLI::App* command) {
    // Every command shares the app's formatter, a CLI::Formatter.
    const auto* formatter = dynamic_cast<const CLI::Formatter*>(command->get_formatter().get());
    return formatter ? formatter->make_usage(command, fullName(command))
                     : "usage: " + fullName(command) + "\n";
}

int usageFail(const CLI::App* command, const std::string& message) {
    const std::string name = fullName(command);
    std::fprintf(stderr, "%s: %s\n%sRun '%s --help' for more information.\n", name.c_str(),
                 message.c_str(), usageLine(command).c_str(), name.c_str());
    return kExitUsage;
}

bool libraryFailed(const char* call) {
    const int status = zolGetErrStatus();
    if (status >= 0) return false;
    std::fprintf(stderr, "zol: %s failed: %s (status %d)\n", call, zolErrorStr(status), status);
    return true;
}

// ---- option values -----------------------------------------------------

int depthOfName(const std::string& name) {
    static const struct {
        const char* name;
        int depth;
    } kDepths[] = {{"1u", ZOL_DEPTH_1U},   {"8u", ZOL_DEPTH_8U},   {"8s", ZOL_DEPTH_8S},
                   {"16u", ZOL_DEPTH_16U}, {"16s", ZOL_DEPTH_16S}, {"32s", ZOL_DEPTH_32S},
                   {"32f", ZOL_DEPTH_32F}};
    for (const auto& d : kDepths)
        if (strcasecmp(name.c_str(), d.name) == 0) return d.depth;
    return 0;
}

namespace {

// Decimal digits only, within [low, high].
bool parseField(const std::string& text, long long low, long long high, int* out) {
    if (text.empty() || text.size() > 10) return false;
    long long v = 0;
    for (char c : text) {
        if (c < '0' || c > '9') return false;
        v = v * 10 + (c - '0');
    }
    if (v < low || v > high) return false;
    *out = int(v);
    return true;
}

}  // namespace

bool parseSize(const std::string& text, int* width, int* height) {
    const size_t x = text.find_first_of("xX");
    return x != std::string::npos && parseField(text.substr(0, x), 1, INT32_MAX, width) &&
           parseField(text.substr(x + 1), 1, INT32_MAX, height);
}

bool parseNumber(const std::string& text, double* value) {
    if (text.empty() || std::isspace(static_cast<unsigned char>(text[0]))) return false;
    char* end = nullptr;
    const char* s = text.c_str();
    const bool negative = *s == '-';
    const char* digits = negative || *s == '+' ? s + 1 : s;
    if (digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X')) {
        const unsigned long long v = std::strtoull(digits + 2, &end, 16);
        if (end == digits + 2 || *end || v > 0xFFFFFFFFull) return false;
        *value = negative ? -double(v) : double(v);
        return true;
    }
    *value = std::strtod(s, &end);
    return end != s && !*end && std::isfinite(*value);
}

std::string checkDepth(const std::string& text) {
    return depthOfName(text) ? "" : "unknown depth '" + text + "' (1u, 8u, 8s, 16u, 16s, 32s, 32f)";
}

std::string checkSize(const std::string& text) {
    int w, h;
    return parseSize(text, &w, &h) ? ""
                                   : "bad size '" + text + "': expected WIDTHxHEIGHT, e.g. 640x480";
}

namespace {

bool parseRoi(const std::string& text, int r[4]) {
    size_t start = 0;
    for (int i = 0; i < 4; ++i) {
        const size_t comma = i < 3 ? text.find(',', start) : text.size();
        if (comma == std::string::npos ||
            !parseField(text.substr(start, comma - start), i < 2 ? 0 : 1, INT32_MAX, &r[i]))
            return false;
        start = comma + 1;
    }
    return true;
}

}  // namespace

std::string checkRoi(const std::string& text) {
    int r[4];
    return parseRoi(text, r) ? ""
                             : "bad region '" + text +
                                   "': expected X,Y,WIDTH,HEIGHT with WIDTH and HEIGHT positive";
}

// ---- options -----------------------------------------------------------

void addOutputOptions(CLI::App* command, ImageOptions& o) {
    command
        ->add_option("--format", o.format,
                     "png, jpeg, pnm or bmp (default: from OUT's name, else png)")
        ->type_name("FMT")
        ->check([](const std::string& t) {
            return formatOfWord(t) == Format::None
                       ? "unknown format '" + t + "' (png, jpeg, pnm, bmp)"
                       : std::string();
        });
    command->add_option("--quality", o.quality, "JPEG quality, 1 to 100 (default 90)")
        ->check(CLI::Range(1, 100).description(""))
        ->type_name("Q");
    if (!command->get_option_no_throw("--bits"))
        command
            ->add_option("--bits", o.bits,
                         "BMP bits per pixel: 1, 4, 8, 24 or 32 (default 1 for 1u, 8 for gray, "
                         "24 for RGB, 32 for RGBA)")
            ->check(CLI::IsMember(std::vector<int>{1, 4, 8, 24, 32}).description(""))
            ->type_name("N");
    command->add_flag("--rle", o.rle, "BMP: run-length code a 4- or 8-bit file");
    command
        ->add_option("--palette", o.palette,
                     "BMP table below 24 bits: linear (fixed; default for gray) or median "
                     "(median cut of the image's colours; default for colour)")
        ->check(CLI::IsMember(std::vector<std::string>{"linear", "median"}).description(""))
        ->type_name("P");
}

void addRegionOptions(CLI::App* command, ImageOptions& o) {
    command->add_option("--roi", o.roi, "work on the region X,Y,WIDTH,HEIGHT of every image")
        ->check(checkRoi)
        ->type_name("X,Y,W,H");
    command->add_option("--coi", o.coi, "work on channel N alone (1 = first)")
        ->check(CLI::Range(1, 4).description(""))
        ->type_name("N");
    command
        ->add_option("--mask", o.mask,
                     "change only pixels set in this mask (1-bit, or cut at half scale)")
        ->type_name("FILE");
}

void addImageOptions(CLI::App* command, ImageOptions& o) {
    addRegionOptions(command, o);
    command
        ->add_option("--depth", o.depth,
                     "first convert the inputs to 8u, 8s, 16u, 16s, 32s or 32f")
        ->check(checkDepth)
        ->type_name("D");
    addOutputOptions(command, o);
}

// ---- images ------------------------------------------------------------

ImagePtr loadImage(const std::string& path) {
    std::string error;
    ImagePtr image = readImage(path, &error);
    if (!image) fail(error);
    return image;
}

int saveImage(const std::string& path, const ZolImage* image, const ImageOptions& options) {
    WriteOptions w;
    w.format = options.format.empty() ? Format::None : formatOfWord(options.format);
    w.quality = options.quality;
    w.bmp.bits = options.bits;
    w.bmp.rle = options.rle;
    if (!options.palette.empty())
        w.bmp.palette = options.palette == "linear" ? ZOL_PALETTE_LINEAR : ZOL_PALETTE_MEDIAN_CUT;
    std::string error;
    const int rc = writeImage(path, image, w, &error);
    if (rc) std::fprintf(stderr, "zol: %s\n", error.c_str());
    return rc;
}

namespace {

double readElement(const unsigned char* row, int depth, int i) {
    switch (depth) {
        case ZOL_DEPTH_8U: return row[i];
        case ZOL_DEPTH_8S: return reinterpret_cast<const int8_t*>(row)[i];
        case ZOL_DEPTH_16U: return reinterpret_cast<const uint16_t*>(row)[i];
        case ZOL_DEPTH_16S: return reinterpret_cast<const int16_t*>(row)[i];
        case ZOL_DEPTH_32S: return reinterpret_cast<const int32_t*>(row)[i];
        default: return reinterpret_cast<const float*>(row)[i];
    }
}

template <typename T>
void store(unsigned char* row, int i, double v, double low, double high) {
    v = std::isnan(v) ? 0 : std::nearbyint(std::fmin(std::fmax(v, low), high));
    reinterpret_cast<T*>(row)[i] = static_cast<T>(v);
}

void writeElement(unsigned char* row, int depth, int i, double v) {
    switch (depth) {
        case ZOL_DEPTH_8U: return store<uint8_t>(row, i, v, 0, 255);
        case ZOL_DEPTH_8S: return store<int8_t>(row, i, v, -128, 127);
        case ZOL_DEPTH_16U: return store<uint16_t>(row, i, v, 0, 65535);
        case ZOL_DEPTH_16S: return store<int16_t>(row, i, v, -32768, 32767);
        case ZOL_DEPTH_32S: return store<int32_t>(row, i, v, INT32_MIN, INT32_MAX);
        default: reinterpret_cast<float*>(row)[i] = static_cast<float>(v);
    }
}

}  // namespace

ImagePtr convertDepth(const ZolImage* src, int depth) {
    std::string error;
    ImagePtr dst(newImage(depth, src->nChannels, src->width, src->height, &error));
    if (!dst) {
        fail(error);
        return nullptr;
    }
    if (src->depth != ZOL_DEPTH_32F && depth != ZOL_DEPTH_32F) {
        zolSetErrStatus(0);
        zolConvert(const_cast<ZolImage*>(src), dst.get());
        return libraryFailed("zolConvert") ? nullptr : std::move(dst);
    }
    const int n = src->width * src->nChannels;
    for (int y = 0; y < src->height; ++y) {
        const unsigned char* in = fileRow(src, y);
        unsigned char* out = fileRow(dst.get(), y);
        for (int i = 0; i < n; ++i) writeElement(out, depth, i, readElement(in, src->depth, i));
    }
    return dst;
}

ImagePtr loadMask(const std::string& path) {
    ImagePtr image = loadImage(path);
    if (!image || image->depth == ZOL_DEPTH_1U) return image;
    if (image->depth != ZOL_DEPTH_8U && image->depth != ZOL_DEPTH_16U) {
        fail(path + ": a mask must be a 1u, 8u or 16u image");
        return nullptr;
    }
    std::string error;
    ImagePtr mask(newImage(ZOL_DEPTH_1U, 1, image->width, image->height, &error));
    if (!mask) {
        fail(path + ": " + error);
        return nullptr;
    }
    std::memset(mask->imageData, 0, size_t(mask->imageSize));
    const int channels = image->nChannels - (image->alphaChannel ? 1 : 0);
    const double half = image->depth == ZOL_DEPTH_8U ? 128 : 32768;
    for (int y = 0; y < image->height; ++y) {
        const unsigned char* in = fileRow(image.get(), y);
        unsigned char* out = fileRow(mask.get(), y);
        for (int x = 0; x < image->width; ++x) {
            double sum = 0;
            for (int c = 0; c < channels; ++c)
                sum += readElement(in, image->depth, x * image->nChannels + c);
            if (sum >= half * channels) out[x / 8] |= static_cast<unsigned char>(0x80 >> (x % 8));
        }
    }
    return mask;
}

bool setRegion(ZolImage* image, const ImageOptions& options, bool withCoi) {
    int r[4] = {0, 0, image->width, image->height};
    if (!options.roi.empty()) parseRoi(options.roi, r);
    const int coi = withCoi ? options.coi : 0;
    if (options.roi.empty() && coi == 0) return true;
    zolSetErrStatus(0);
    if (image->roi)
        zolSetROI(image->roi, coi, r[0], r[1], r[2], r[3]);
    else
        image->roi = zolCreateROI(coi, r[0], r[1], r[2], r[3]);
    if (!image->roi) {
        fail("out of memory for a region record");
        return false;
    }
    return !libraryFailed("zolCreateROI");
}

int runImageCommand(const CLI::App* command, const ImageOptions& options,
                    const std::vector<std::string>& inputs, const std::string& output,
                    const std::string& callName,
                    const std::function<void(std::vector<ZolImage*>&, ZolImage*)>& call,
                    const std::function<int(const ZolImage*)>& check) {
    std::vector<ImagePtr> images;
    for (const std::string& path : inputs) {
        images.push_back(loadImage(path));
        if (!images.back()) return kExitFailure;
    }
    const int fileDepth = images[0]->depth;
    if (!options.depth.empty()) {
        const int depth = depthOfName(options.depth);
        for (size_t i = 0; i < images.size(); ++i) {
            if (images[i]->depth == depth) continue;
            if (depth == ZOL_DEPTH_1U || images[i]->depth == ZOL_DEPTH_1U)
                return usageFail(command, "--depth converts between 8u, 8s, 16u, 16s, 32s and "
                                          "32f; " + inputs[i] + " is " +
                                              depthName(images[i]->depth) + " and --depth " +
                                              depthName(depth));
            images[i] = convertDepth(images[i].get(), depth);
            if (!images[i]) return kExitFailure;
        }
    }
    if (check) {
        const int rc = check(images[0].get());
        if (rc) return rc;
    }
    ImagePtr mask;
    if (!options.mask.empty() && !(mask = loadMask(options.mask))) return kExitFailure;

    zolSetErrStatus(0);
    ImagePtr dst(zolCloneImage(images[0].get()));
    if (libraryFailed("zolCloneImage") || !dst) return kExitFailure;
    std::vector<ZolImage*> sources;
    for (ImagePtr& image : images) {
        if (!setRegion(image.get(), options, true)) return kExitFailure;
        sources.push_back(image.get());
    }
    if (!setRegion(dst.get(), options, true)) return kExitFailure;
    if (mask) {
        if (!setRegion(mask.get(), options, false)) return kExitFailure;
        dst->maskROI = mask.get();
    }
    zolSetErrStatus(0);
    call(sources, dst.get());
    dst->maskROI = nullptr;  // the mask is freed with its own pointer
    if (libraryFailed(callName.c_str())) return kExitFailure;

    const int depth = dst->depth;
    if (depth == ZOL_DEPTH_1U || depth == ZOL_DEPTH_8U || depth == ZOL_DEPTH_16U)
        return saveImage(output, dst.get(), options);
    ImagePtr back = convertDepth(dst.get(), fileDepth);
    return back ? saveImage(output, back.get(), options) : kExitFailure;
}

// ---- the shapes of most commands -----------------------------------------

namespace {

struct Files {
    ImageOptions options;
    std::vector<std::string> inputs;
    std::string output, value;
    bool flip = false;
};

// The positional arguments IN... OUT in order, each required.
void addFiles(CLI::App* command, Files& f, std::vector<std::string> names) {
    f.inputs.resize(names.size() - 1);
    for (size_t i = 0; i + 1 < names.size(); ++i)
        command->add_option(names[i], f.inputs[i], i ? "the second input" : "the input")
            ->required()
            ->type_name("");
    command->add_option(names.back(), f.output, "the output file")->required()->type_name("");
}

// The VALUE of a constant command, or a message in *error.
bool readValue(const std::string& text, ValueKind kind, int depth, double* value,
               std::string* error) {
    double v;
    if (!parseNumber(text, &v)) {
        *error = "VALUE '" + text + "' is not a number";
        return false;
    }
    const bool whole = std::floor(v) == v;
    if (kind == ValueKind::Arithmetic && depth != ZOL_DEPTH_32F &&
        (!whole || v < INT32_MIN || v > INT32_MAX)) {
        *error = "VALUE must be a whole number from -2147483648 to 2147483647 on " +
                 std::string(depthName(depth)) + " images (fractions need --depth 32f)";
        return false;
    }
    if (kind == ValueKind::Bits && (!whole || v < INT32_MIN || v > UINT32_MAX)) {
        *error = "VALUE must be a whole number from -2147483648 to 4294967295 (or 0x...)";
        return false;
    }
    if (kind == ValueKind::Count && (!whole || v < 0 || v > UINT32_MAX)) {
        *error = "COUNT must be a whole number from 0 to 4294967295";
        return false;
    }
    *value = v;
    return true;
}

}  // namespace

void addDyadicCommand(CLI::App& app, const std::string& group, const std::string& name,
                      const std::string& description, const char* callName, DyadicCall call) {
    auto f = std::make_shared<Files>();
    CLI::App* c = addCommand(app, group, name, description, [f, callName, call](const CLI::App* c) {
        return runImageCommand(c, f->options, f->inputs, f->output, callName,
                               [call](std::vector<ZolImage*>& s, ZolImage* d) {
                                   call(s[0], s[1], d);
                               });
    });
    addImageOptions(c, f->options);
    addFiles(c, *f, {"A", "B", "OUT"});
}

void addMonadicCommand(CLI::App& app, const std::string& group, const std::string& name,
                       const std::string& description, const char* callName, MonadicCall call) {
    auto f = std::make_shared<Files>();
    CLI::App* c = addCommand(app, group, name, description, [f, callName, call](const CLI::App* c) {
        return runImageCommand(c, f->options, f->inputs, f->output, callName,
                               [call](std::vector<ZolImage*>& s, ZolImage* d) { call(s[0], d); });
    });
    addImageOptions(c, f->options);
    addFiles(c, *f, {"IN", "OUT"});
}

void addConstantCommand(CLI::App& app, const std::string& group, const std::string& name,
                        const std::string& description, const ConstantCall& call) {
    auto f = std::make_shared<Files>();
    auto called = std::make_shared<std::string>();
    CLI::App* c = addCommand(app, group, name, description, [f, call, called](const CLI::App* c) {
        double value = 0;
        auto check = [&](const ZolImage* first) {
            std::string error;
            return readValue(f->value, call.kind, first->depth, &value, &error)
                       ? 0
                       : usageFail(c, error);
        };
        // The function actually called (zolAddS or zolAddSFP, ...) names a
        // failure.
        return runImageCommand(
            c, f->options, f->inputs, f->output, *called,
            [&](std::vector<ZolImage*>& s, ZolImage* d) {
                *called = call.call(s[0], d, value, f->flip);
            },
            check);
    });
    addImageOptions(c, f->options);
    if (call.hasFlip) c->add_flag("--flip", f->flip, "compute VALUE - IN instead of IN - VALUE");
    addFiles(c, *f, {"IN", "OUT"});
    c->add_option(call.kind == ValueKind::Count ? "COUNT" : "VALUE", f->value,
                  call.kind == ValueKind::Count  ? "the number of bits to shift by"
                  : call.kind == ValueKind::Bits ? "the bit pattern, decimal or 0x..."
                                                 : "the constant")
        ->required()
        ->type_name("");
}

}  // namespace zoltool
