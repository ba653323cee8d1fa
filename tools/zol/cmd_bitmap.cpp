// Bitmap commands: depth (a picture at another depth through zolConvert,
// or zolBitonalToGray from 1u). BMP files themselves are a file format
// (bmp.cpp): every command reads them and writes them by name.
#include <memory>

#include "tool.h"

namespace zoltool {
namespace {

struct DepthArgs {
    ImageOptions options;
    std::string input, output, to;
};

int runDepth(const CLI::App* c, const DepthArgs& a) {
    const int depth = depthOfName(a.to);
    // Files hold 1u, 8u and 16u samples only; the other depths are working
    // depths of the other commands' --depth.
    if (depth != ZOL_DEPTH_1U && depth != ZOL_DEPTH_8U && depth != ZOL_DEPTH_16U)
        return usageFail(c, std::string("files cannot hold ") + depthName(depth) +
                                " samples; --to takes 1u, 8u or 16u (other commands take "
                                "--depth " + depthName(depth) + " to work in it)");
    ImagePtr src = loadImage(a.input);
    if (!src) return kExitFailure;
    const bool fromBits = src->depth == ZOL_DEPTH_1U;
    const int channels = depth == ZOL_DEPTH_1U ? 1 : src->nChannels;
    if (depth == ZOL_DEPTH_1U && !fromBits && src->nChannels > 1) {
        if (!a.options.coi)
            return usageFail(c, "IN has " + std::to_string(src->nChannels) +
                                    " channels: --coi N picks the one that becomes 1u");
        if (!setRegion(src.get(), a.options, true)) return kExitFailure;
    }
    std::string error;
    ImagePtr dst(newImage(depth, channels, src->width, src->height, &error));
    if (!dst) return fail(error);
    zolSetErrStatus(0);
    const char* call = "zolConvert";
    if (fromBits && depth != ZOL_DEPTH_1U) {
        // A bit becomes the top of the depth, so the picture looks the same.
        call = "zolBitonalToGray";
        zolBitonalToGray(src.get(), dst.get(), 0, depth == ZOL_DEPTH_8U ? 255 : 65535);
    } else {
        zolConvert(src.get(), dst.get());
    }
    if (libraryFailed(call)) return kExitFailure;
    return saveImage(a.output, dst.get(), a.options);
}

}  // namespace

void addBitmapCommands(CLI::App& app) {
    const char* group = "Bitmaps";
    auto d = std::make_shared<DepthArgs>();
    CLI::App* c = addCommand(app, group, "depth",
                             "OUT = IN at depth --to, values clamped, not scaled (zolConvert); "
                             "1u to 0 and 255 or 65535 (zolBitonalToGray)",
                             [d](const CLI::App* c) { return runDepth(c, *d); });
    c->add_option("--to", d->to, "1u, 8u or 16u (8s, 16s, 32s and 32f are refused: no file "
                                 "holds them)")
        ->required()
        ->check(checkDepth)
        ->type_name("D");
    c->add_option("--coi", d->options.coi, "the channel of a colour IN that becomes 1u")
        ->check(CLI::Range(1, 4).description(""))
        ->type_name("N");
    addOutputOptions(c, d->options);
    c->add_option("IN", d->input, "the input")->required()->type_name("");
    c->add_option("OUT", d->output, "the output file")->required()->type_name("");
}

}  // namespace zoltool
