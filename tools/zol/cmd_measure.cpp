// Measurement commands: histogram, stretch, equalize, threshold, moments,
// norm.
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <sstream>

#include "tool.h"

namespace zoltool {

namespace {

struct Measure {
    ImageOptions options;
    std::string input, second, output, keys, type, plot, depth;
    int threshold = 0;
    bool relative = false;
};

int levelsOf(int depth) {
    return depth == ZOL_DEPTH_1U ? 2 : depth == ZOL_DEPTH_8U ? 256 : 65536;
}

// One curve record per channel, as the histogram and lookup calls take
// them: an array indexed by absolute channel.
struct Curves {
    std::vector<std::vector<int32_t>> keys, values;
    std::vector<ZolLUT> records;
    std::vector<ZolLUT*> pointers;

    Curves(int channels, const std::vector<int32_t>& key, const std::vector<int32_t>& value)
        : keys(size_t(channels), key), values(size_t(channels), value),
          records(size_t(channels)), pointers(size_t(channels)) {
        for (int c = 0; c < channels; ++c) {
            records[size_t(c)] = {int32_t(key.size()), keys[size_t(c)].data(),
                                  values[size_t(c)].data(), nullptr, 0};
            pointers[size_t(c)] = &records[size_t(c)];
        }
    }
    // Every level its own interval: counts per level.
    static Curves perLevel(int channels, int levels) {
        std::vector<int32_t> key(size_t(levels) + 1);
        for (int i = 0; i <= levels; ++i) key[size_t(i)] = i;
        return Curves(channels, key, std::vector<int32_t>(key.size(), 0));
    }
};

// The channels a call touches: the coi alone, else all but alpha.
std::vector<int> channelSet(const ZolImage* image, int coi) {
    std::vector<int> set;
    for (int c = 0; c < image->nChannels; ++c)
        if (coi ? c == coi - 1 : c + 1 != image->alphaChannel) set.push_back(c);
    return set;
}

// Reads an image and gives it the --roi, --coi and --mask of the options.
// The mask must outlive the image's use.
ImagePtr loadRegion(const std::string& path, const ImageOptions& o, ImagePtr* mask) {
    ImagePtr image = loadImage(path);
    if (!image || !setRegion(image.get(), o, true)) return nullptr;
    if (!o.mask.empty()) {
        *mask = loadMask(o.mask);
        if (!*mask || !setRegion(mask->get(), o, false)) return nullptr;
        image->maskROI = mask->get();
    }
    return image;
}

// Bars of the counts of each channel, one band of 128 rows per channel,
// 256 columns (16u levels are summed in groups of 256).
int plotHistogram(const std::string& path, const Curves& h, const std::vector<int>& set,
                  int levels, const ImageOptions& o) {
    std::string error;
    const int height = 128;
    ImagePtr plot(newImage(ZOL_DEPTH_8U, 1, 256, height * int(set.size()), &error));
    if (!plot) return fail(error);
    for (size_t band = 0; band < set.size(); ++band) {
        const int32_t* counts = h.values[size_t(set[band])].data();
        const int group = levels > 256 ? levels / 256 : 1;
        double bins[256] = {}, top = 0;
        for (int i = 0; i < levels; ++i) bins[i / group * (levels < 256 ? 256 / levels : 1)] += counts[i];
        for (double b : bins) top = b > top ? b : top;
        for (int y = 0; y < height; ++y) {
            unsigned char* row = fileRow(plot.get(), int(band) * height + y);
            for (int x = 0; x < 256; ++x) {
                const double bar = top > 0 ? bins[x] * (height - 2) / top : 0;
                row[x] = y == height - 1 ? 128 : (height - 1 - y <= bar && bins[x] > 0 ? 255 : 0);
            }
        }
    }
    return saveImage(path, plot.get(), o);
}

int histogram(const CLI::App*, const Measure& m) {
    ImagePtr mask, image = loadRegion(m.input, m.options, &mask);
    if (!image) return kExitFailure;
    if (image->depth != ZOL_DEPTH_1U && image->depth != ZOL_DEPTH_8U &&
        image->depth != ZOL_DEPTH_16U)
        return fail(m.input + ": histograms take 1u, 8u and 16u images");
    const int levels = levelsOf(image->depth);
    Curves h = Curves::perLevel(image->nChannels, levels);
    zolSetErrStatus(0);
    zolComputeHisto(image.get(), h.pointers.data());
    if (libraryFailed("zolComputeHisto")) return kExitFailure;
    const std::vector<int> set = channelSet(image.get(), m.options.coi);
    std::printf("# level, then the count of each channel:");
    for (int c : set) std::printf(" %d", c + 1);
    std::printf("\n");
    // Levels no channel has are left out.
    for (int i = 0; i < levels; ++i) {
        bool any = false;
        for (int c : set) any = any || h.values[size_t(c)][size_t(i)] != 0;
        if (!any) continue;
        std::printf("%d", i);
        for (int c : set) std::printf(" %" PRId32, h.values[size_t(c)][size_t(i)]);
        std::printf("\n");
    }
    return m.plot.empty() ? 0 : plotHistogram(m.plot, h, set, levels, m.options);
}

// "K0 K1 ...;V0 V1 ...": whole numbers split by spaces or commas, as many
// values as keys.
bool parseKeys(const std::string& text, std::vector<int32_t>* keys, std::vector<int32_t>* values) {
    const size_t semi = text.find(';');
    if (semi == std::string::npos) return false;
    auto list = [](std::string part, std::vector<int32_t>* out) {
        for (char& ch : part)
            if (ch == ',') ch = ' ';
        std::istringstream in(part);
        std::string word;
        while (in >> word) {
            char* end = nullptr;
            const long long v = std::strtoll(word.c_str(), &end, 10);
            if (*end || v < INT32_MIN || v > INT32_MAX) return false;
            out->push_back(int32_t(v));
        }
        return true;
    };
    return list(text.substr(0, semi), keys) && list(text.substr(semi + 1), values) &&
           keys->size() == values->size() && keys->size() >= 2;
}

int moments(const CLI::App*, const Measure& m) {
    ImagePtr mask, image = loadRegion(m.input, m.options, &mask);
    if (!image) return kExitFailure;
    ZolMomentState state{};
    zolSetErrStatus(0);
    zolMoments(image.get(), &state);
    if (libraryFailed("zolMoments")) return kExitFailure;
    for (int order = 0; order <= 3; ++order)
        for (int mm = order; mm >= 0; --mm)
            std::printf("m%d%d %.17g\n", mm, order - mm,
                        zolGetSpatialMoment(&state, mm, order - mm));
    const double m00 = zolGetSpatialMoment(&state, 0, 0);
    if (m00 != 0)
        std::printf("centre %.17g %.17g\n", zolGetSpatialMoment(&state, 1, 0) / m00,
                    zolGetSpatialMoment(&state, 0, 1) / m00);
    else
        std::printf("centre none (m00 is 0)\n");
    return 0;
}

int norm(const CLI::App* c, const Measure& m) {
    const int type = m.type == "l1" ? ZOL_NORM_L1 : m.type == "l2" ? ZOL_NORM_L2 : ZOL_NORM_MAX;
    if (m.relative && m.second.empty()) return usageFail(c, "--relative needs B");
    ImagePtr maskA, maskB, a = loadRegion(m.input, m.options, &maskA), b;
    if (!a) return kExitFailure;
    if (!m.second.empty() && !(b = loadRegion(m.second, m.options, &maskB))) return kExitFailure;
    zolSetErrStatus(0);
    const double value = zolNorm(a.get(), b.get(), type | (m.relative ? ZOL_NORM_RELATIVE : 0));
    if (libraryFailed("zolNorm")) return kExitFailure;
    std::printf("%.17g\n", value);
    return 0;
}

void addInOut(CLI::App* c, Measure& m) {
    c->add_option("IN", m.input, "the input")->required()->type_name("");
    c->add_option("OUT", m.output, "the output file")->required()->type_name("");
}

}  // namespace

void addMeasureCommands(CLI::App& app) {
    const char* group = "Measurement";
    auto m = std::make_shared<Measure>();
    CLI::App* c = addCommand(app, group, "histogram",
                             "print the count of each level per channel (zolComputeHisto)",
                             [m](const CLI::App* c) { return histogram(c, *m); });
    addRegionOptions(c, m->options);
    addOutputOptions(c, m->options);
    c->add_option("IN", m->input, "the input")->required()->type_name("");
    c->add_option("--plot", m->plot, "also draw the counts, one band per channel")
        ->type_name("OUT");

    m = std::make_shared<Measure>();
    c = addCommand(app, group, "stretch", "map levels through a step curve (zolContrastStretch)",
                   [m](const CLI::App* c) {
                       std::vector<int32_t> keys, values;
                       if (!parseKeys(m->keys, &keys, &values))
                           return usageFail(c, "--keys: bad curve '" + m->keys +
                                                   "': expected 'K0 K1 ...;V0 V1 ...', at "
                                                   "least two keys and one value per key");
                       return runImageCommand(c, m->options, {m->input}, m->output,
                                              "zolContrastStretch",
                                              [&](std::vector<ZolImage*>& s, ZolImage* d) {
                                                  Curves curve(s[0]->nChannels, keys, values);
                                                  zolContrastStretch(s[0], d,
                                                                     curve.pointers.data());
                                              });
                   });
    addImageOptions(c, m->options);
    addInOut(c, *m);
    c->add_option("--keys", m->keys,
                  "the curve: levels KEY[j] to KEY[j+1]-1 become VALUE[j]; levels below K0 stay")
        ->required()
        ->type_name("\"K0 K1 ...;V0 V1 ...\"");

    m = std::make_shared<Measure>();
    c = addCommand(app, group, "equalize",
                   "spread the levels evenly (zolComputeHisto, zolHistoEqualize)",
                   [m](const CLI::App* c) {
                       return runImageCommand(
                           c, m->options, {m->input}, m->output, "zolHistoEqualize",
                           [&](std::vector<ZolImage*>& s, ZolImage* d) {
                               Curves h = Curves::perLevel(s[0]->nChannels, levelsOf(s[0]->depth));
                               zolComputeHisto(s[0], h.pointers.data());
                               if (zolGetErrStatus() >= 0) zolHistoEqualize(s[0], d, h.pointers.data());
                           });
                   });
    addImageOptions(c, m->options);
    addInOut(c, *m);

    m = std::make_shared<Measure>();
    c = addCommand(app, group, "threshold", "OUT = full scale where IN >= T, else 0 (zolThreshold)",
                   [m](const CLI::App* c) {
                       if (m->depth.empty())
                           return runImageCommand(c, m->options, {m->input}, m->output,
                                                  "zolThreshold",
                                                  [&](std::vector<ZolImage*>& s, ZolImage* d) {
                                                      zolThreshold(s[0], d, m->threshold);
                                                  });
                       ImagePtr mask, src = loadRegion(m->input, m->options, &mask);
                       if (!src) return kExitFailure;
                       src->maskROI = nullptr;
                       const int depth = depthOfName(m->depth);
                       const int channels = depth == ZOL_DEPTH_1U ? 1 : src->nChannels;
                       if (depth == ZOL_DEPTH_1U && channels != int(channelSet(src.get(), m->options.coi).size()))
                           return usageFail(c, "--depth 1u needs a gray image or --coi");
                       std::string error;
                       ImagePtr dst(newImage(depth, channels, src->width, src->height, &error));
                       if (!dst) return fail(error);
                       std::memset(dst->imageData, 0, size_t(dst->imageSize));
                       ImageOptions region = m->options;
                       if (depth == ZOL_DEPTH_1U) region.coi = 0;
                       if (!setRegion(dst.get(), region, true)) return kExitFailure;
                       if (mask) dst->maskROI = mask.get();
                       zolSetErrStatus(0);
                       zolThreshold(src.get(), dst.get(), m->threshold);
                       dst->maskROI = nullptr;
                       if (libraryFailed("zolThreshold")) return kExitFailure;
                       return saveImage(m->output, dst.get(), m->options);
                   });
    addRegionOptions(c, m->options);
    addOutputOptions(c, m->options);
    addInOut(c, *m);
    c->add_option("T", m->threshold, "the threshold")->required()->type_name("");
    c->add_option("--depth", m->depth, "write a 1u or 8u image instead of IN's depth")
        ->check(CLI::IsMember({"1u", "8u"}).description(""))
        ->type_name("D");

    m = std::make_shared<Measure>();
    c = addCommand(app, group, "moments",
                   "print the spatial moments up to order 3 and the centre (zolMoments)",
                   [m](const CLI::App* c) { return moments(c, *m); });
    addRegionOptions(c, m->options);
    c->add_option("IN", m->input, "the input: one channel, or --coi")->required()->type_name("");

    m = std::make_shared<Measure>();
    c = addCommand(app, group, "norm", "print the norm of A, or of A - B (zolNorm)",
                   [m](const CLI::App* c) { return norm(c, *m); });
    addRegionOptions(c, m->options);
    c->add_option("A", m->input, "the first image")->required()->type_name("");
    c->add_option("B", m->second, "the image subtracted from A")->type_name("");
    c->add_option("--type", m->type, "l1, l2 or max")
        ->required()
        ->check(CLI::IsMember({"l1", "l2", "max"}).description(""))
        ->type_name("T");
    c->add_flag("--relative", m->relative, "divide by the same norm of B");
}

}  // namespace zoltool
