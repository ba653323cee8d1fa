// Judges the zol tool's output files for tests/tool_test.sh.
//
//   tool_check near A B TOL
//       A and B hold images of one shape whose elements differ by TOL at most.
//   tool_check dib OUT IN BITS PALETTE RLE
//       OUT is IN written as BMP; see dib() below.
//   tool_check op OUT COMMAND VALUE ROI COI MASK A [B]
//       OUT is what `zol COMMAND` made of A (and B) with VALUE, --roi ROI,
//       --coi COI and --mask MASK ("-" where absent). The library is called
//       here on the whole 8u images, and the expected picture is put
//       together independently of the tool: the result where region, channel
//       and mask select an element, A elsewhere.
// Exits 0 when the files agree, 1 with the first difference otherwise.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "files.h"

using namespace zoltool;

namespace {

ImagePtr load(const std::string& path) {
    std::string error;
    ImagePtr image = readImage(path, &error);
    if (!image) {
        std::fprintf(stderr, "tool_check: %s\n", error.c_str());
        std::exit(2);
    }
    return image;
}

int element(const ZolImage* image, int x, int y, int c) {
    const unsigned char* row = fileRow(image, y);
    if (image->depth == ZOL_DEPTH_1U) return row[x / 8] >> (7 - x % 8) & 1;
    if (image->depth == ZOL_DEPTH_16U) {
        uint16_t v;
        std::memcpy(&v, row + 2 * (x * image->nChannels + c), 2);
        return v;
    }
    return row[x * image->nChannels + c];
}

bool sameShape(const ZolImage* a, const ZolImage* b) {
    return a->width == b->width && a->height == b->height && a->nChannels == b->nChannels &&
           a->depth == b->depth && a->alphaChannel == b->alphaChannel;
}

// Equalises a through its own histogram into d (shape == nullptr), or maps
// it through the curve `shape` writes into every channel's record.
void curves(ZolImage* a, ZolImage* d, const std::function<void(ZolLUT*)>& shape) {
    static int32_t keys[4][257], values[4][257];
    ZolLUT records[4];
    ZolLUT* table[4];
    for (int c = 0; c < 4; ++c) {
        for (int i = 0; i <= 256; ++i) keys[c][i] = i;
        records[c] = {257, keys[c], values[c], nullptr, 0};
        table[c] = &records[c];
        if (shape) shape(table[c]);
    }
    if (shape) return zolContrastStretch(a, d, table);
    zolComputeHisto(a, table);
    zolHistoEqualize(a, d, table);
}

using Call = std::function<void(ZolImage* a, ZolImage* b, ZolImage* dst, int value)>;

const std::map<std::string, Call>& calls() {
    static const std::map<std::string, Call> table = {
        {"add", [](ZolImage* a, ZolImage* b, ZolImage* d, int) { zolAdd(a, b, d); }},
        {"subtract", [](ZolImage* a, ZolImage* b, ZolImage* d, int) { zolSubtract(a, b, d); }},
        {"multiply", [](ZolImage* a, ZolImage* b, ZolImage* d, int) { zolMultiply(a, b, d); }},
        {"and", [](ZolImage* a, ZolImage* b, ZolImage* d, int) { zolAnd(a, b, d); }},
        {"or", [](ZolImage* a, ZolImage* b, ZolImage* d, int) { zolOr(a, b, d); }},
        {"xor", [](ZolImage* a, ZolImage* b, ZolImage* d, int) { zolXor(a, b, d); }},
        {"adds", [](ZolImage* a, ZolImage*, ZolImage* d, int v) { zolAddS(a, d, v); }},
        {"subs", [](ZolImage* a, ZolImage*, ZolImage* d, int v) { zolSubtractS(a, d, v, 0); }},
        {"subs-flip", [](ZolImage* a, ZolImage*, ZolImage* d, int v) { zolSubtractS(a, d, v, 1); }},
        {"muls", [](ZolImage* a, ZolImage*, ZolImage* d, int v) { zolMultiplyS(a, d, v); }},
        {"ands", [](ZolImage* a, ZolImage*, ZolImage* d, int v) { zolAndS(a, d, uint32_t(v)); }},
        {"ors", [](ZolImage* a, ZolImage*, ZolImage* d, int v) { zolOrS(a, d, uint32_t(v)); }},
        {"xors", [](ZolImage* a, ZolImage*, ZolImage* d, int v) { zolXorS(a, d, uint32_t(v)); }},
        {"shl", [](ZolImage* a, ZolImage*, ZolImage* d, int v) { zolLShiftS(a, d, uint32_t(v)); }},
        {"shr", [](ZolImage* a, ZolImage*, ZolImage* d, int v) { zolRShiftS(a, d, uint32_t(v)); }},
        {"abs", [](ZolImage* a, ZolImage*, ZolImage* d, int) { zolAbs(a, d); }},
        {"square", [](ZolImage* a, ZolImage*, ZolImage* d, int) { zolSquare(a, d); }},
        {"not", [](ZolImage* a, ZolImage*, ZolImage* d, int) { zolNot(a, d); }},
        {"set", [](ZolImage*, ZolImage*, ZolImage* d, int v) { zolSet(d, v); }},
        {"mulscale", [](ZolImage* a, ZolImage* b, ZolImage* d, int) { zolMultiplyScale(a, b, d); }},
        {"convolve", [](ZolImage* a, ZolImage*, ZolImage* d, int) {
             const int v[2][9] = {{-1, 0, 1, -2, 0, 2, -1, 0, 1}, {-1, -2, -1, 0, 0, 0, 1, 2, 1}};
             ZolConvKernel* k[2] = {zolCreateConvKernel(3, 3, 1, 1, v[0], 1),
                                    zolCreateConvKernel(3, 3, 1, 1, v[1], 1)};
             zolConvolve2D(a, d, k, 2, ZOL_COMBINE_MAX);
             zolDeleteConvKernel(k[0]);
             zolDeleteConvKernel(k[1]);
         }},
        {"sepconvolve", [](ZolImage* a, ZolImage*, ZolImage* d, int) {
             const int x[3] = {1, 2, 1}, y[2] = {1, 3};
             ZolConvKernel* kx = zolCreateConvKernel(3, 1, 1, 0, x, 3);
             ZolConvKernel* ky = zolCreateConvKernel(1, 2, 0, 1, y, 0);
             zolConvolveSep2D(a, d, kx, ky);
             zolDeleteConvKernel(kx);
             zolDeleteConvKernel(ky);
         }},
        {"median:3x3", [](ZolImage* a, ZolImage*, ZolImage* d, int) { zolMedianFilter(a, d, 3, 3, 1, 1); }},
        {"max:5x3", [](ZolImage* a, ZolImage*, ZolImage* d, int) { zolMaxFilter(a, d, 5, 3, 1, 2); }},
        {"min:3x3", [](ZolImage* a, ZolImage*, ZolImage* d, int) { zolMinFilter(a, d, 3, 3, 1, 1); }},
        {"dilate:1", [](ZolImage* a, ZolImage*, ZolImage* d, int) { zolDilate(a, d, 1); }},
        {"erode:2", [](ZolImage* a, ZolImage*, ZolImage* d, int) { zolErode(a, d, 2); }},
        {"open:1", [](ZolImage* a, ZolImage*, ZolImage* d, int) { zolOpen(a, d, 1); }},
        {"close:2", [](ZolImage* a, ZolImage*, ZolImage* d, int) { zolClose(a, d, 2); }},
        {"blur:4x3", [](ZolImage* a, ZolImage*, ZolImage* d, int) { zolBlur(a, d, 4, 3, 0, 1); }},
        {"filter:sobel-v", [](ZolImage* a, ZolImage*, ZolImage* d, int) { zolFixedFilter(a, d, ZOL_FILTER_SOBEL_V); }},
        {"filter:gauss5", [](ZolImage* a, ZolImage*, ZolImage* d, int) { zolFixedFilter(a, d, ZOL_FILTER_GAUSSIAN5); }},
        {"threshold", [](ZolImage* a, ZolImage*, ZolImage* d, int v) { zolThreshold(a, d, v); }},
        {"equalize", [](ZolImage* a, ZolImage*, ZolImage* d, int) { curves(a, d, nullptr); }},
        {"stretch", [](ZolImage* a, ZolImage*, ZolImage* d, int) {
             const int32_t keys[] = {0, 100, 200, 256}, values[] = {30, 120, 250, 255};
             curves(a, d, [&](ZolLUT* l) { l->num = 4; std::memcpy(l->key, keys, sizeof keys); std::memcpy(l->value, values, sizeof values); });
         }},
    };
    return table;
}

int near(const std::string& pathA, const std::string& pathB, int tolerance) {
    ImagePtr a = load(pathA), b = load(pathB);
    if (!sameShape(a.get(), b.get())) {
        std::fprintf(stderr, "tool_check: %s and %s differ in shape\n", pathA.c_str(),
                     pathB.c_str());
        return 1;
    }
    for (int y = 0; y < a->height; ++y)
        for (int x = 0; x < a->width; ++x)
            for (int c = 0; c < a->nChannels; ++c)
                if (std::abs(element(a.get(), x, y, c) - element(b.get(), x, y, c)) > tolerance) {
                    std::fprintf(stderr, "tool_check: (%d,%d) channel %d: %d against %d\n", x, y,
                                 c, element(a.get(), x, y, c), element(b.get(), x, y, c));
                    return 1;
                }
    return 0;
}

int op(char** argv, int argc) {
    const std::string out = argv[2], command = argv[3], value = argv[4], roi = argv[5],
                      mask = argv[7];
    const int coi = std::atoi(argv[6]);
    ImagePtr a = load(argv[8]);
    ImagePtr b = argc > 9 ? load(argv[9]) : nullptr;
    ImagePtr got = load(out);
    ImagePtr m = mask == "-" ? nullptr : load(mask);
    ImagePtr full(zolCloneImage(a.get()));
    const auto call = calls().find(command);
    if (call == calls().end() || a->depth != ZOL_DEPTH_8U) {
        std::fprintf(stderr, "tool_check: no check for %s on these images\n", command.c_str());
        return 2;
    }
    zolSetErrStatus(0);
    call->second(a.get(), b.get(), full.get(), value == "-" ? 0 : int(std::strtol(value.c_str(), nullptr, 0)));
    if (zolGetErrStatus() < 0 || !sameShape(a.get(), got.get())) {
        std::fprintf(stderr, "tool_check: %s failed or %s has another shape\n", command.c_str(),
                     out.c_str());
        return 1;
    }
    int r[4] = {0, 0, a->width, a->height};
    if (roi != "-") std::sscanf(roi.c_str(), "%d,%d,%d,%d", &r[0], &r[1], &r[2], &r[3]);
    for (int y = 0; y < a->height; ++y)
        for (int x = 0; x < a->width; ++x) {
            const bool inside = x >= r[0] && x < r[0] + r[2] && y >= r[1] && y < r[1] + r[3] &&
                                (!m || (fileRow(m.get(), y)[x / 8] & (0x80 >> (x % 8))));
            for (int c = 0; c < a->nChannels; ++c) {
                const bool chosen = coi ? c == coi - 1 : c + 1 != a->alphaChannel;
                const int want = element(inside && chosen ? full.get() : a.get(), x, y, c);
                if (element(got.get(), x, y, c) != want) {
                    std::fprintf(stderr, "tool_check: %s (%d,%d) channel %d: %d, expected %d\n",
                                 out.c_str(), x, y, c, element(got.get(), x, y, c), want);
                    return 1;
                }
            }
        }
    return 0;
}

// `tool_check made OUT COMMAND IN`: OUT is what the scaling and colour
// commands of tests/tool_test.sh's second table made of IN; each entry
// makes the expected picture with its own library call.
using Make = std::function<ZolImage*(ZolImage* in, ZolImage* b)>;

ZolImage* blank(int depth, int channels, int width, int height) {
    std::string error;
    ZolImage* image = newImage(depth, channels, width, height, &error);
    if (image) std::memset(image->imageData, 0, size_t(image->imageSize));
    return image;
}

const std::map<std::string, Make>& makers() {
    static const std::map<std::string, Make> table = {
        {"resize", [](ZolImage* a, ZolImage*) {
             ZolImage* d = blank(a->depth, a->nChannels, 20, 9);
             zolResize(a, d, 20, a->width, 9, a->height, ZOL_INTER_CUBIC);
             return d;
         }},
        {"zoom", [](ZolImage* a, ZolImage*) {
             ZolImage* d = blank(a->depth, a->nChannels, a->width * 5 / 2, a->height * 5 / 2);
             zolZoom(a, d, 5, 2, 5, 2, ZOL_INTER_LINEAR);
             return d;
         }},
        {"decimate", [](ZolImage* a, ZolImage*) {
             ZolImage* d = blank(a->depth, a->nChannels, a->width / 3, a->height / 3);
             zolDecimate(a, d, 1, 3, 1, 3, ZOL_INTER_SUPER);
             return d;
         }},
        {"convert", [](ZolImage* a, ZolImage*) {
             ZolImage* d = blank(a->depth, 3, a->width, a->height);
             zolRGB2HLS(a, d);
             return d;
         }},
        {"gray", [](ZolImage* a, ZolImage*) {
             ZolImage* d = blank(a->depth, 1, a->width, a->height);
             zolColorToGray(a, d);
             return d;
         }},
        {"colorize", [](ZolImage* a, ZolImage*) {
             ZolImage* d = blank(a->depth, 3, a->width, a->height);
             zolGrayToColor(a, d, 0.25f, 1, 0.5f);
             return d;
         }},
        {"reduce", [](ZolImage* a, ZolImage*) {
             ZolImage* d = blank(ZOL_DEPTH_8U, a->nChannels, a->width, a->height);
             zolReduceBits(a, d, 0, ZOL_DITHER_STUCKI, 3);
             return d;
         }},
        {"composite", [](ZolImage* a, ZolImage* b) {
             ZolImage* d = zolCloneImage(a);
             zolAlphaComposite(a, b, d, ZOL_COMPOSITE_XOR, nullptr, nullptr, nullptr, 0, 0);
             return d;
         }},
        {"premultiply", [](ZolImage* a, ZolImage*) {
             ZolImage* d = zolCloneImage(a);
             zolPreMultiplyAlpha(d, -1);
             return d;
         }},
        {"dct", [](ZolImage* a, ZolImage*) {
             ZolImage* d = zolCloneImage(a);
             zolDCT2D(a, d, ZOL_DCT_FORWARD);
             return d;
         }},
        {"rotate", [](ZolImage* a, ZolImage*) {
             ZolImage* d = blank(a->depth, a->nChannels, a->width, a->height);
             double xs = 0, ys = 0;
             zolGetRotateShift((a->width - 1) / 2.0, (a->height - 1) / 2.0, 30, &xs, &ys);
             zolRotate(a, d, 30, xs, ys, ZOL_INTER_CUBIC);
             return d;
         }},
        {"affine", [](ZolImage* a, ZolImage*) {
             ZolImage* d = blank(a->depth, a->nChannels, a->width, a->height);
             const double m[2][3] = {{0.9, 0.2, 1}, {-0.1, 1.1, 2}};
             zolWarpAffine(a, d, m, ZOL_INTER_LINEAR);
             return d;
         }},
        {"perspective", [](ZolImage* a, ZolImage*) {
             // Straightened (nearest) without alpha, laid onto the quadrangle (linear) with.
             ZolImage* d = blank(a->depth, a->nChannels, a->width, a->height);
             const double q[4][2] = {{3, 1}, {33, 2}, {36, 22}, {0, 19}};
             const int onto = a->alphaChannel != 0;
             zolWarpPerspectiveQ(a, d, q, onto ? ZOL_WARP_TO_QUAD : ZOL_WARP_FROM_QUAD, onto);
             if (onto) {
                 a->roi = zolCreateROI(a->alphaChannel, 0, 0, a->width, a->height);
                 d->roi = zolCreateROI(a->alphaChannel, 0, 0, a->width, a->height);
                 zolWarpPerspectiveQ(a, d, q, ZOL_WARP_TO_QUAD, ZOL_INTER_LINEAR);
                 zolDeleteROI(d->roi);
                 d->roi = nullptr;
             }
             return d;
         }},
        {"mirror", [](ZolImage* a, ZolImage*) {
             ZolImage* d = blank(a->depth, a->nChannels, a->width, a->height);
             zolMirror(a, d, -1);
             return d;
         }},
        {"depth", [](ZolImage* a, ZolImage*) {
             ZolImage* d = blank(ZOL_DEPTH_8U, a->nChannels, a->width, a->height);
             zolConvert(a, d);
             return d;
         }},
        {"twist", [](ZolImage* a, ZolImage*) {
             ZolImage* d = zolCloneImage(a);
             const int32_t m[16] = {0, 3, 1, 5, 2, 0, 2, -9, 1, 1, 2, 0};
             ZolColorTwist* t = zolCreateColorTwist(m, 2);
             zolApplyColorTwist(a, d, t, 7);
             zolDeleteColorTwist(t);
             return d;
         }},
    };
    return table;
}

int made(const std::string& out, const std::string& command, const std::string& in,
         const char* second) {
    ImagePtr a = load(in), got = load(out), b = second ? load(second) : nullptr;
    const auto make = makers().find(command);
    if (make == makers().end()) return 2;
    zolSetErrStatus(0);
    ImagePtr want(make->second(a.get(), b.get()));
    if (!want || zolGetErrStatus() < 0) {
        std::fprintf(stderr, "tool_check: the library refused %s\n", command.c_str());
        return 1;
    }
    std::string error;
    WriteOptions png;
    png.format = Format::Png;
    const std::string wantPath = out + ".want.png";
    if (writeImage(wantPath, want.get(), png, &error)) return 2;
    return near(out, wantPath, 0);
}

// dib OUT IN BITS PALETTE RLE: OUT, a BMP file the tool wrote from IN, reads
// back as IN does through a bitmap the library lays out in memory
// (zolConvertToDIB, then zolConvertFromDIB into an image of OUT's shape).
int dib(char** argv) {
    ImagePtr a = load(argv[3]), got = load(argv[2]);
    const int bits = std::atoi(argv[4]), palette = std::atoi(argv[5]);
    const int64_t row = (int64_t(a->width) * bits + 31) / 32 * 4;
    std::vector<uint32_t> block(size_t((40 + 1024 + row * a->height) / 4));
    auto* h = reinterpret_cast<ZolBitmapInfoHeader*>(block.data());
    *h = {40, a->width, a->height, 1, uint16_t(bits), 0, 0, 0, 0, 0, 0};
    if (std::atoi(argv[6])) h->biCompression = bits == 8 ? ZOL_BI_RLE8 : ZOL_BI_RLE4;
    zolSetErrStatus(0);
    zolConvertToDIB(a.get(), h, ZOL_DITHER_NONE, palette);
    ImagePtr want(blank(got->depth, got->nChannels, got->width, got->height));
    zolConvertFromDIB(h, want.get());
    if (zolGetErrStatus() < 0) return 1;
    std::string error;
    WriteOptions png;
    png.format = Format::Png;
    const std::string wantPath = std::string(argv[2]) + ".want.png";
    if (writeImage(wantPath, want.get(), png, &error)) return 2;
    return near(argv[2], wantPath, 0);
}

// moment IN COI X,Y,W,H M N: the library's spatial moment of that region.
int moment(char** argv) {
    ImagePtr a = load(argv[2]);
    int r[4];
    std::sscanf(argv[4], "%d,%d,%d,%d", &r[0], &r[1], &r[2], &r[3]);
    a->roi = zolCreateROI(std::atoi(argv[3]), r[0], r[1], r[2], r[3]);
    std::printf("%.17g\n", zolSpatialMoment(a.get(), std::atoi(argv[5]), std::atoi(argv[6])));
    return 0;
}

// norm A B|- TYPE: the library's norm.
int norm(char** argv) {
    ImagePtr a = load(argv[2]);
    ImagePtr b = std::strcmp(argv[3], "-") ? load(argv[3]) : nullptr;
    std::printf("%.17g\n", zolNorm(a.get(), b.get(), std::atoi(argv[4])));
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if ((argc == 5 || argc == 6) && std::strcmp(argv[1], "made") == 0) {
        zolSetErrMode(ZOL_ErrModeParent);
        return made(argv[2], argv[3], argv[4], argc == 6 ? argv[5] : nullptr);
    }
    zolSetErrMode(ZOL_ErrModeParent);
    if (argc == 5 && std::strcmp(argv[1], "near") == 0) return near(argv[2], argv[3], std::atoi(argv[4]));
    if ((argc == 9 || argc == 10) && std::strcmp(argv[1], "op") == 0) return op(argv, argc);
    if (argc == 7 && std::strcmp(argv[1], "moment") == 0) return moment(argv);
    if (argc == 5 && std::strcmp(argv[1], "norm") == 0) return norm(argv);
    if (argc == 7 && std::strcmp(argv[1], "dib") == 0) return dib(argv);
    std::fprintf(stderr, "usage: tool_check near A B TOL | op OUT COMMAND VALUE ROI COI MASK A [B]\n");
    return 2;
}
