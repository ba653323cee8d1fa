// Transform commands: fft (a picture of the spectrum), dct, and
// convolve-fft (a blur made by multiplying spectra).
#include <cmath>
#include <complex>
#include <cstring>
#include <memory>

#include "tool.h"

namespace zoltool {

namespace {

float* fp(const ZolImage* image, int x, int y, int c) {
    return reinterpret_cast<float*>(fileRow(image, y)) + x * image->nChannels + c;
}

// F(v, u) of channel c from the packed spectrum of zolRealFft2D, for any u
// and v, by the symmetry F(-v, -u) = conj F(v, u) of real input.
std::complex<double> coefficient(const ZolImage* p, int u, int v, int c) {
    const int w = p->width, h = p->height;
    u = ((u % w) + w) % w;
    v = ((v % h) + h) % h;
    if (u > w / 2) return std::conj(coefficient(p, -u, -v, c));
    if (u == 0 || (w % 2 == 0 && u == w / 2)) {
        // A column in the one-dimensional packing along y.
        const int x = u == 0 ? 0 : w - 1;
        if (v == 0) return *fp(p, x, 0, c);
        if (h % 2 == 0 && v == h / 2) return *fp(p, x, h - 1, c);
        if (v > h / 2) return std::conj(coefficient(p, u, -v, c));
        return {*fp(p, x, 2 * v - 1, c), *fp(p, x, 2 * v, c)};
    }
    return {*fp(p, 2 * u - 1, v, c), *fp(p, 2 * u, v, c)};
}

struct Args {
    ImageOptions options;
    std::string input, output;
    bool inverse = false;
    double radius = 3;
};

// IN as a 32f image, or NULL after a message.
ImagePtr loadFloat(const std::string& path) {
    ImagePtr src = loadImage(path);
    if (!src) return nullptr;
    if (src->depth == ZOL_DEPTH_1U) {
        fail(path + ": a transform needs an 8u or 16u picture");
        return nullptr;
    }
    return convertDepth(src.get(), ZOL_DEPTH_32F);
}

int runFft(const Args& a) {
    ImagePtr src = loadFloat(a.input);
    if (!src) return kExitFailure;
    const int channels = src->nChannels - (src->alphaChannel ? 1 : 0);
    std::string error;
    ImagePtr spectrum(newImage(ZOL_DEPTH_32F, src->nChannels, src->width, src->height, &error));
    ImagePtr out(newImage(ZOL_DEPTH_8U, channels, src->width, src->height, &error));
    if (!spectrum || !out) return fail(error);
    zolSetErrStatus(0);
    zolRealFft2D(src.get(), spectrum.get(), ZOL_FFT_FORWARD);
    if (libraryFailed("zolRealFft2D")) return kExitFailure;
    // log(1 + |F|), frequency 0 in the centre, the largest value white.
    std::vector<double> level(size_t(src->width) * size_t(src->height) * size_t(channels));
    double top = 0;
    for (int y = 0; y < src->height; ++y)
        for (int x = 0; x < src->width; ++x)
            for (int c = 0; c < channels; ++c) {
                const double l = std::log1p(
                    std::abs(coefficient(spectrum.get(), x - src->width / 2, y - src->height / 2, c)));
                level[(size_t(y) * size_t(src->width) + size_t(x)) * size_t(channels) + size_t(c)] = l;
                top = std::fmax(top, l);
            }
    for (int y = 0; y < src->height; ++y) {
        unsigned char* row = fileRow(out.get(), y);
        for (int i = 0; i < src->width * channels; ++i)
            row[i] = static_cast<unsigned char>(
                std::lround(top > 0 ? 255 * level[size_t(y) * size_t(src->width) * size_t(channels) + size_t(i)] / top : 0));
    }
    return saveImage(a.output, out.get(), a.options);
}

int runConvolveFft(const CLI::App* c, const Args& a) {
    if (!(a.radius > 0 && a.radius <= 1000)) return usageFail(c, "--radius must be above 0, at most 1000");
    ImagePtr src = loadFloat(a.input);
    if (!src) return kExitFailure;
    const int w = src->width, h = src->height, n = src->nChannels;
    std::string error;
    ImagePtr kernel(newImage(ZOL_DEPTH_32F, n, w, h, &error));
    if (!kernel) return fail(error);
    // A Gaussian of standard deviation --radius around (0, 0), wrapping, of
    // sum 1: the product of spectra is a convolution that wraps too.
    double sum = 0;
    for (int pass = 0; pass < 2; ++pass)
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                const double dx = std::min(x, w - x), dy = std::min(y, h - y);
                const double g = std::exp(-(dx * dx + dy * dy) / (2 * a.radius * a.radius));
                if (pass == 0) sum += g;
                else for (int k = 0; k < n; ++k) *fp(kernel.get(), x, y, k) = float(g / sum);
            }
    zolSetErrStatus(0);
    zolRealFft2D(src.get(), src.get(), ZOL_FFT_FORWARD);
    if (libraryFailed("zolRealFft2D")) return kExitFailure;
    zolRealFft2D(kernel.get(), kernel.get(), ZOL_FFT_FORWARD);
    if (libraryFailed("zolRealFft2D")) return kExitFailure;
    zolMpyRCPack2D(src.get(), kernel.get(), src.get());
    if (libraryFailed("zolMpyRCPack2D")) return kExitFailure;
    zolCcsFft2D(src.get(), src.get(), ZOL_FFT_INVERSE);
    if (libraryFailed("zolCcsFft2D")) return kExitFailure;
    ImagePtr back = convertDepth(src.get(), ZOL_DEPTH_8U);
    return back ? saveImage(a.output, back.get(), a.options) : kExitFailure;
}

void addInOut(CLI::App* c, Args& a) {
    c->add_option("IN", a.input, "the input")->required()->type_name("");
    c->add_option("OUT", a.output, "the output file")->required()->type_name("");
}

}  // namespace

void addTransformCommands(CLI::App& app) {
    const char* group = "Transforms";
    auto f = std::make_shared<Args>();
    CLI::App* c = addCommand(app, group, "fft",
                             "OUT = a picture of IN's spectrum, log(1 + |F|), centred (zolRealFft2D)",
                             [f](const CLI::App*) { return runFft(*f); });
    addOutputOptions(c, f->options);
    addInOut(c, *f);

    auto d = std::make_shared<Args>();
    c = addCommand(app, group, "dct", "OUT = the cosine transform of IN, or with --inverse its inverse (zolDCT2D)",
                   [d](const CLI::App* c) {
                       return runImageCommand(c, d->options, {d->input}, d->output, "zolDCT2D",
                                              [d](std::vector<ZolImage*>& s, ZolImage* dst) {
                                                  zolDCT2D(s[0], dst, d->inverse ? ZOL_DCT_INVERSE
                                                                                 : ZOL_DCT_FORWARD);
                                              });
                   });
    addImageOptions(c, d->options);
    c->add_flag("--inverse", d->inverse, "the inverse transform");
    addInOut(c, *d);

    auto v = std::make_shared<Args>();
    c = addCommand(app, group, "convolve-fft",
                   "OUT = IN blurred by a Gaussian through the product of spectra "
                   "(zolRealFft2D, zolMpyRCPack2D, zolCcsFft2D)",
                   [v](const CLI::App* c) { return runConvolveFft(c, *v); });
    addOutputOptions(c, v->options);
    c->add_option("--radius", v->radius, "the Gaussian's standard deviation in pixels (default 3)")
        ->type_name("R");
    addInOut(c, *v);
}

}  // namespace zoltool
