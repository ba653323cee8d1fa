// Neighbourhood commands: median, max, min; dilate, erode, open, close;
// blur; the fixed filters; and noise, which makes pictures for them to clean.
#include <cstdint>
#include <cstring>
#include <memory>
#include <random>

#include "tool.h"

namespace zoltool {

namespace {

struct Window {
    ImageOptions options;
    std::string input, output, size, anchor, name;
    int iterations = 1;
    double amount = 0.05;
    bool white = false;
};

void addInOut(CLI::App* c, Window& w) {
    c->add_option("IN", w.input, "the input")->required()->type_name("");
    c->add_option("OUT", w.output, "the output file")->required()->type_name("");
}

// "X,Y" with decimal fields from 0.
bool parseAnchor(const std::string& text, int* x, int* y) {
    unsigned long long v[2];
    size_t at = 0;
    for (int i = 0; i < 2; ++i) {
        const size_t end = i ? text.size() : text.find(',');
        if (end == std::string::npos || end == at || end - at > 10) return false;
        v[i] = 0;
        for (size_t k = at; k < end; ++k) {
            if (text[k] < '0' || text[k] > '9') return false;
            v[i] = v[i] * 10 + unsigned(text[k] - '0');
        }
        if (v[i] > INT32_MAX) return false;
        at = end + 1;
    }
    *x = int(v[0]);
    *y = int(v[1]);
    return true;
}

// The window's size and anchor (its centre when --anchor is absent), or a
// usage message.
int readWindow(const CLI::App* c, const Window& w, int r[4]) {
    parseSize(w.size, &r[0], &r[1]);
    r[2] = r[0] / 2;
    r[3] = r[1] / 2;
    if (!w.anchor.empty() &&
        (!parseAnchor(w.anchor, &r[2], &r[3]) || r[2] >= r[0] || r[3] >= r[1]))
        return usageFail(c, "--anchor: bad anchor '" + w.anchor +
                                "': expected X,Y inside the window, from 0,0 to " +
                                std::to_string(r[0] - 1) + "," + std::to_string(r[1] - 1));
    return 0;
}

using WindowCall = void (*)(ZolImage*, ZolImage*, int, int, int, int);

// NAME IN OUT --size WxH [--anchor X,Y].
void addWindowCommand(CLI::App& app, const std::string& name, const std::string& description,
                      const char* callName, WindowCall call) {
    auto w = std::make_shared<Window>();
    CLI::App* c = addCommand(app, "Neighbourhood", name, description, [=](const CLI::App* c) {
        int r[4];
        if (const int rc = readWindow(c, *w, r)) return rc;
        return runImageCommand(c, w->options, {w->input}, w->output, callName,
                               [&](std::vector<ZolImage*>& s, ZolImage* d) {
                                   call(s[0], d, r[0], r[1], r[2], r[3]);
                               });
    });
    addImageOptions(c, w->options);
    addInOut(c, *w);
    c->add_option("--size", w->size, "the window, WIDTHxHEIGHT")
        ->required()
        ->check(checkSize)
        ->type_name("WxH");
    c->add_option("--anchor", w->anchor, "the window's pixel over the output pixel (default: centre)")
        ->type_name("X,Y");
}

using MorphCall = void (*)(ZolImage*, ZolImage*, int);

// NAME IN OUT [--iterations N].
void addMorphCommand(CLI::App& app, const std::string& name, const std::string& description,
                     const char* callName, MorphCall call) {
    auto w = std::make_shared<Window>();
    CLI::App* c = addCommand(app, "Neighbourhood", name, description, [=](const CLI::App* c) {
        return runImageCommand(c, w->options, {w->input}, w->output, callName,
                               [&](std::vector<ZolImage*>& s, ZolImage* d) {
                                   call(s[0], d, w->iterations);
                               });
    });
    addImageOptions(c, w->options);
    addInOut(c, *w);
    c->add_option("--iterations", w->iterations,
                  "N: the square is 2N+1 pixels wide (default 1)")
        ->check(CLI::Range(1, 1 << 20).description(""))
        ->type_name("N");
}

const struct {
    const char* name;
    int filter;
    const char* kernel;
} kFilters[] = {
    {"prewitt-v", ZOL_FILTER_PREWITT_V, "[1 0 -1; 1 0 -1; 1 0 -1]"},
    {"prewitt-h", ZOL_FILTER_PREWITT_H, "[-1 -1 -1; 0 0 0; 1 1 1]"},
    {"sobel-v", ZOL_FILTER_SOBEL_V, "[1 0 -1; 2 0 -2; 1 0 -1]"},
    {"sobel-h", ZOL_FILTER_SOBEL_H, "[-1 -2 -1; 0 0 0; 1 2 1]"},
    {"laplace3", ZOL_FILTER_LAPLACIAN3, "3x3, 8 at the centre, -1 around"},
    {"laplace5", ZOL_FILTER_LAPLACIAN5, "5x5, 20 at the centre"},
    {"gauss3", ZOL_FILTER_GAUSSIAN3, "[1 2 1; 2 4 2; 1 2 1] / 16"},
    {"gauss5", ZOL_FILTER_GAUSSIAN5, "5x5 / 571"},
    {"highpass3", ZOL_FILTER_HIGHPASS3, "as laplace3"},
    {"highpass5", ZOL_FILTER_HIGHPASS5, "5x5, 24 at the centre, -1 around"},
    {"sharpen", ZOL_FILTER_SHARPEN, "(16 at the centre, -1 around) / 8"},
};

int filterOfName(const std::string& name) {
    for (const auto& f : kFilters)
        if (name == f.name) return f.filter;
    return -1;
}

std::string filterNames() {
    std::string names;
    for (const auto& f : kFilters) names += std::string(names.empty() ? "" : ", ") + f.name;
    return names;
}

// Salt and pepper (salt alone with --white): a share `amount` of the pixels, chosen with a fixed
// seed so that pictures repeat, become black or white in every channel but
// alpha.
int addNoise(const CLI::App* c, const Window& w) {
    if (!(w.amount >= 0 && w.amount <= 1)) return usageFail(c, "--amount must lie in 0 to 1");
    ImagePtr image = loadImage(w.input);
    if (!image) return kExitFailure;
    if (image->depth != ZOL_DEPTH_8U && image->depth != ZOL_DEPTH_16U)
        return fail(w.input + ": noise takes 8u and 16u images");
    std::mt19937 random(20261123);
    std::uniform_real_distribution<double> share(0, 1);
    const int channels = image->nChannels - (image->alphaChannel ? 1 : 0);
    for (int y = 0; y < image->height; ++y) {
        unsigned char* row = fileRow(image.get(), y);
        for (int x = 0; x < image->width; ++x) {
            if (share(random) >= w.amount) continue;
            const bool white = (random() & 1) || w.white;
            for (int ch = 0; ch < channels; ++ch) {
                const int i = x * image->nChannels + ch;
                if (image->depth == ZOL_DEPTH_8U)
                    row[i] = white ? 255 : 0;
                else
                    reinterpret_cast<uint16_t*>(row)[i] = white ? 65535 : 0;
            }
        }
    }
    return saveImage(w.output, image.get(), w.options);
}

}  // namespace

void addRankCommands(CLI::App& app) {
    addWindowCommand(app, "median", "OUT = the median of each window (zolMedianFilter)",
                     "zolMedianFilter", zolMedianFilter);
    addWindowCommand(app, "max", "OUT = the largest element of each window (zolMaxFilter)",
                     "zolMaxFilter", zolMaxFilter);
    addWindowCommand(app, "min", "OUT = the smallest element of each window (zolMinFilter)",
                     "zolMinFilter", zolMinFilter);
    addMorphCommand(app, "dilate", "grow bright areas by a square (zolDilate)", "zolDilate",
                    zolDilate);
    addMorphCommand(app, "erode", "shrink bright areas by a square (zolErode)", "zolErode",
                    zolErode);
    addMorphCommand(app, "open", "erode, then dilate: removes bright specks (zolOpen)", "zolOpen",
                    zolOpen);
    addMorphCommand(app, "close", "dilate, then erode: fills dark specks (zolClose)", "zolClose",
                    zolClose);
    addWindowCommand(app, "blur", "OUT = the mean of each window (zolBlur)", "zolBlur", zolBlur);

    auto w = std::make_shared<Window>();
    CLI::App* c = addCommand(
        app, "Neighbourhood", "filter", "a built-in 3x3 or 5x5 kernel (zolFixedFilter)",
        [w](const CLI::App* c) {
            const int filter = filterOfName(w->name);
            return runImageCommand(c, w->options, {w->input}, w->output, "zolFixedFilter",
                                   [filter](std::vector<ZolImage*>& s, ZolImage* d) {
                                       zolFixedFilter(s[0], d, filter);
                                   });
        });
    addImageOptions(c, w->options);
    addInOut(c, *w);
    std::string list = "the kernel:";
    for (const auto& f : kFilters) list += std::string("\n  ") + f.name + ": " + f.kernel;
    c->add_option("NAME", w->name, list)
        ->required()
        ->type_name("")
        ->check([](const std::string& t) {
            return filterOfName(t) < 0 ? "unknown filter '" + t + "' (" + filterNames() + ")"
                                       : std::string();
        });

    auto n = std::make_shared<Window>();
    c = addCommand(app, "Neighbourhood", "noise",
                   "set a share of the pixels to black or white (fixed seed)",
                   [n](const CLI::App* c) { return addNoise(c, *n); });
    addOutputOptions(c, n->options);
    addInOut(c, *n);
    c->add_option("--amount", n->amount, "the share of pixels changed, 0 to 1 (default 0.05)")
        ->type_name("P");
    c->add_flag("--white", n->white, "white specks only, for an opening to remove");
}

}  // namespace zoltool
