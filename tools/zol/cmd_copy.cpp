// Copy and set: copy, set.
#include <algorithm>
#include <cstring>
#include <memory>

#include "tool.h"

namespace zoltool {
namespace {

struct CopyOptions {
    ImageOptions options;
    std::string input, output;
};

// The region of IN, in a new image of the region's size: with --coi one
// channel of it. Pixels the mask leaves out are 0.
int copy(const CLI::App* command, const CopyOptions& o) {
    ImagePtr src = loadImage(o.input);
    if (!src) return kExitFailure;
    int x = 0, y = 0, w = src->width, h = src->height;
    if (!o.options.roi.empty()) {
        if (!setRegion(src.get(), o.options, false)) return kExitFailure;
        x = src->roi->xOffset, y = src->roi->yOffset;
        w = std::min(src->roi->width, src->width - x);
        h = std::min(src->roi->height, src->height - y);
        if (w <= 0 || h <= 0) return usageFail(command, "the region lies outside " + o.input);
    }
    if (o.options.coi > src->nChannels)
        return usageFail(command, o.input + " has no channel " + std::to_string(o.options.coi));
    ImagePtr mask;
    if (!o.options.mask.empty() && !(mask = loadMask(o.options.mask))) return kExitFailure;
    std::string error;
    ImagePtr dst(newImage(src->depth, o.options.coi ? 1 : src->nChannels, w, h, &error));
    if (!dst) return fail(error);
    std::memset(dst->imageData, 0, size_t(dst->imageSize));

    if (!setRegion(src.get(), o.options, true)) return kExitFailure;
    if (mask) {
        if (!setRegion(mask.get(), o.options, false)) return kExitFailure;
        src->maskROI = mask.get();
    }
    // zolCopy leaves the alpha channel alone unless a coi selects it; a
    // copy of whole pixels takes it along, so for the call the alpha
    // channel is an ordinary one.
    const int srcAlpha = src->alphaChannel, dstAlpha = dst->alphaChannel;
    if (!o.options.coi) src->alphaChannel = dst->alphaChannel = 0;
    zolSetErrStatus(0);
    zolCopy(src.get(), dst.get());
    src->alphaChannel = srcAlpha;
    dst->alphaChannel = dstAlpha;
    src->maskROI = nullptr;
    if (libraryFailed("zolCopy")) return kExitFailure;
    return saveImage(o.output, dst.get(), o.options);
}

}  // namespace

void addCopyCommands(CLI::App& app) {
    const char* group = "Copy and set";
    auto co = std::make_shared<CopyOptions>();
    CLI::App* c = addCommand(
        app, group, "copy",
        "copy the region of IN, or one channel of it, into a new image OUT (zolCopy)",
        [co](const CLI::App* command) { return copy(command, *co); });
    addRegionOptions(c, co->options);
    addOutputOptions(c, co->options);
    c->add_option("IN", co->input, "the input")->required()->type_name("");
    c->add_option("OUT", co->output, "the output file")->required()->type_name("");

    addConstantCommand(app, group, "set", "OUT = IN with its region set to VALUE (zolSet, zolSetFP)",
                       {[](ZolImage*, ZolImage* d, double v, bool) {
                            if (d->depth == ZOL_DEPTH_32F) return zolSetFP(d, float(v)), "zolSetFP";
                            return zolSet(d, int(v)), "zolSet";
                        },
                        ValueKind::Arithmetic});
}

}  // namespace zoltool
