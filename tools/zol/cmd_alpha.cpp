// Alpha commands: composite (two RGBA pictures by an operator), premultiply
// and mulscale (products scaled so that the top of the depth stands for 1).
#include <memory>

#include "tool.h"

namespace zoltool {

namespace {

struct CompositeArgs {
    ImageOptions options;
    std::string a, b, output, op = "over";
    bool premultiplied = false;
    int alpha = -1;
};

int runComposite(const CLI::App* c, const CompositeArgs& a) {
    static const char* kOps[] = {"over", "in", "out", "atop", "xor", "plus"};
    int op = -1;
    for (int i = 0; i < 6; ++i)
        if (a.op == kOps[i]) op = i;  // ZOL_COMPOSITE_OVER ... ZOL_COMPOSITE_PLUS
    if (op < 0) return usageFail(c, "bad --op '" + a.op + "' (over, in, out, atop, xor, plus)");
    // The result's alpha goes to the output's alpha channel (the first
    // input's copy).
    return runImageCommand(c, a.options, {a.a, a.b}, a.output, "zolAlphaComposite",
                           [&](std::vector<ZolImage*>& s, ZolImage* d) {
                               zolAlphaComposite(s[0], s[1], d, op, nullptr, nullptr, nullptr,
                                                 a.premultiplied, 0);
                           });
}

int runPremultiply(const CLI::App* c, const CompositeArgs& a) {
    return runImageCommand(c, a.options, {a.a}, a.output, "zolPreMultiplyAlpha",
                           [&](std::vector<ZolImage*>&, ZolImage* d) {
                               zolPreMultiplyAlpha(d, a.alpha);
                           });
}

}  // namespace

void addAlphaCommands(CLI::App& app) {
    const char* group = "Alpha";
    auto o = std::make_shared<CompositeArgs>();
    CLI::App* c = addCommand(app, group, "composite",
                             "OUT = A --op B by their alpha channels (zolAlphaComposite)",
                             [o](const CLI::App* c) { return runComposite(c, *o); });
    addRegionOptions(c, o->options);
    addOutputOptions(c, o->options);
    c->add_option("--op", o->op, "over (default), in, out, atop, xor or plus")->type_name("OP");
    c->add_flag("--premultiplied", o->premultiplied,
                "the colours are already multiplied by their alpha");
    c->add_option("A", o->a, "the first input, with an alpha channel")->required()->type_name("");
    c->add_option("B", o->b, "the second input")->required()->type_name("");
    c->add_option("OUT", o->output, "the output file")->required()->type_name("");

    auto p = std::make_shared<CompositeArgs>();
    c = addCommand(app, group, "premultiply",
                   "OUT = IN's colours multiplied by its alpha, or by --alpha (zolPreMultiplyAlpha)",
                   [p](const CLI::App* c) { return runPremultiply(c, *p); });
    addRegionOptions(c, p->options);
    addOutputOptions(c, p->options);
    c->add_option("--alpha", p->alpha, "a constant alpha, also written to the alpha channel")
        ->check(CLI::Range(0, 65535).description(""))
        ->type_name("V");
    c->add_option("IN", p->a, "the input")->required()->type_name("");
    c->add_option("OUT", p->output, "the output file")->required()->type_name("");

    addDyadicCommand(app, group, "mulscale", "OUT = A * B / 255 (65535 at 16u) (zolMultiplyScale)",
                     "zolMultiplyScale", zolMultiplyScale);
}

}  // namespace zoltool
