// Colour to gray by fixed integer weights, and gray to colour by fractions.
#include <cstdint>
#include <cstdio>

#include "colour/colour.h"
#include "colour/kernels.h"
#include "core/image.h"

namespace zol {
namespace {

constexpr char kToGray[] = "zolColorToGray";
constexpr char kToColor[] = "zolGrayToColor";

// One output row of the gray conversion: R, G, B rows in, gray row out.
template <class S>
struct RgbRows {
    const char* c[3];
    ptrdiff_t pix[3];
    S at(int k, int x) const { return *reinterpret_cast<const S*>(c[k] + x * pix[k]); }
};

template <class S, class D, class F>
void grayPiece(const Chan (&in)[3], char* out, ptrdiff_t outPix, ptrdiff_t outStep, int w, int h,
               F f) {
    for (int y = 0; y < h; ++y) {
        const RgbRows<S> r{{in[0].p + y * in[0].row, in[1].p + y * in[1].row, in[2].p + y * in[2].row},
                           {in[0].pix, in[1].pix, in[2].pix}};
        char* o = out + y * outStep;
        for (int x = 0; x < w; ++x)
            *reinterpret_cast<D*>(o + x * outPix) = D(f(r.at(0, x), r.at(1, x), r.at(2, x), x, w));
    }
}

// A 1-bit row from bit 7 of its first byte; bits past the row keep theirs.
template <class S, class F>
void bitPiece(const Chan (&in)[3], char* out, ptrdiff_t outStep, int w, int h, F f) {
    for (int y = 0; y < h; ++y) {
        const RgbRows<S> r{{in[0].p + y * in[0].row, in[1].p + y * in[1].row, in[2].p + y * in[2].row},
                           {in[0].pix, in[1].pix, in[2].pix}};
        auto* o = reinterpret_cast<uint8_t*>(out + y * outStep);
        for (int x = 0; x < w; ++x) {
            const uint8_t m = uint8_t(0x80u >> (x & 7));
            o[x >> 3] = f(r.at(0, x), r.at(1, x), r.at(2, x)) ? uint8_t(o[x >> 3] | m)
                                                              : uint8_t(o[x >> 3] & ~m);
        }
    }
}

inline int64_t w8(int64_t r, int64_t g, int64_t b) { return 54 * r + 183 * g + 18 * b; }
inline int32_t w32(int32_t r, int32_t g, int32_t b, int sh) {
    return 109 * (r >> sh) + 366 * (g >> sh) + 37 * (b >> sh);
}

void ownColorToGray(void*, const ZolImage* s, ZolImage* d, const ColourPiece& p) {
    Chan in[3];
    char sink[8];
    rgbChannels(s, const_cast<char*>(p.src), p.srcStep, p.srcPlane, in, sink);
    const ptrdiff_t op = elemSize(d->depth);
    const int w = p.width, h = p.height;
    const bool planar = s->dataOrder == ZOL_DATA_ORDER_PLANE;
    const int sd = s->depth, dd = d->depth;
    if (sd == 8 && dd == 8 && !planar && s->nChannels == 3) {
        const Gray8Run run = colourKernels().gray8;
        for (int y = 0; y < h; ++y)
            run(reinterpret_cast<const uint8_t*>(p.src + y * p.srcStep),
                reinterpret_cast<uint8_t*>(p.dst + y * p.dstStep), size_t(w), s->channelSeq[0] != 'R');
    } else if (sd == 8 && dd == 8) {
        grayPiece<uint8_t, uint8_t>(in, p.dst, op, p.dstStep, w, h,
                                    [](int32_t r, int32_t g, int32_t b, int, int) { return gray8Pixel(r, g, b); });
    } else if (sd == 8 && dd == 16) {
        grayPiece<uint8_t, uint16_t>(in, p.dst, op, p.dstStep, w, h,
                                     [](int64_t r, int64_t g, int64_t b, int, int) { return w8(r, g, b); });
    } else if (sd == 8 && dd == 1) {
        bitPiece<uint8_t>(in, p.dst, p.dstStep, w, h,
                          [](int64_t r, int64_t g, int64_t b) { return (w8(r, g, b) >> 8) > 127; });
    } else if (sd == 16 && dd == 16) {
        grayPiece<uint16_t, uint16_t>(in, p.dst, op, p.dstStep, w, h,
                                      [](int64_t r, int64_t g, int64_t b, int, int) { return w8(r, g, b) >> 8; });
    } else if (sd == 16 && dd == 8 && !planar) {
        grayPiece<uint16_t, uint8_t>(in, p.dst, op, p.dstStep, w, h,
                                     [](int64_t r, int64_t g, int64_t b, int, int) { return w8(r, g, b) >> 16; });
    } else if (sd == 16 && dd == 8) {
        // Plane order goes by pairs of pixels with 9-bit weights; an odd
        // last pixel of a row is weighed in one sum.
        grayPiece<uint16_t, uint8_t>(in, p.dst, op, p.dstStep, w, h,
                                     [](int64_t r, int64_t g, int64_t b, int x, int width) {
                                         if ((width & 1) && x == width - 1)
                                             return (109 * r + 366 * g + 37 * b) >> 17;
                                         return (((109 * r) >> 16) + ((366 * g) >> 16) + ((37 * b) >> 16)) >> 1;
                                     });
    } else if (sd == 16 && dd == 1) {
        bitPiece<uint16_t>(in, p.dst, p.dstStep, w, h,
                           [](int64_t r, int64_t g, int64_t b) { return (w8(r, g, b) >> 8) > 32767; });
    } else if (sd == ZOL_DEPTH_32S && dd == 16) {
        grayPiece<int32_t, uint16_t>(in, p.dst, op, p.dstStep, w, h, [](int32_t r, int32_t g, int32_t b, int, int) {
            return w32(r, g, b, 11) >> 13;
        });
    } else if (sd == ZOL_DEPTH_32S && dd == 8) {
        grayPiece<int32_t, uint8_t>(in, p.dst, op, p.dstStep, w, h, [](int32_t r, int32_t g, int32_t b, int, int) {
            return w32(r, g, b, 11) >> 21;
        });
    } else if (sd == ZOL_DEPTH_32S && dd == 1) {
        bitPiece<int32_t>(in, p.dst, p.dstStep, w, h,
                          [](int32_t r, int32_t g, int32_t b) { return w32(r, g, b, 10) > 0x1FFFFFFF; });
    } else {
        Frame("ownColorToGray")
            .fail(ZOL_STATUS_BAD_ARGUMENT, "Error in-out depth. 32S,16U,8U=> 16U,8U,1U are valid now");
    }
}

struct GrayWeights {
    uint32_t w[3];
    int s;
};

template <class S, class D, class F>
void colourPiece(const ColourPiece& p, const Chan (&out)[3], ptrdiff_t inPix, F f) {
    for (int y = 0; y < p.height; ++y) {
        const char* i = p.src + y * p.srcStep;
        for (int x = 0; x < p.width; ++x) {
            const S v = *reinterpret_cast<const S*>(i + x * inPix);
            for (int k = 0; k < 3; ++k)
                *reinterpret_cast<D*>(out[k].p + y * out[k].row + x * out[k].pix) = D(f(v, k));
        }
    }
}

void ownGrayToColor(void* context, const ZolImage* s, ZolImage* d, const ColourPiece& p) {
    const GrayWeights& g = *static_cast<const GrayWeights*>(context);
    Chan out[3];
    alignas(8) char sink[8];
    rgbChannels(d, p.dst, p.dstStep, p.dstPlane, out, sink);
    const ptrdiff_t ip = elemSize(s->depth) * (s->dataOrder == ZOL_DATA_ORDER_PIXEL ? s->nChannels : 1);
    const uint32_t* w = g.w;
    const int sh = g.s;
    switch (s->depth) {
        case ZOL_DEPTH_8U:
            return colourPiece<uint8_t, uint8_t>(p, out, ip, [&](uint32_t v, int k) { return (v * w[k]) >> sh; });
        case ZOL_DEPTH_16U:
            return colourPiece<uint16_t, uint16_t>(
                p, out, ip, [&](uint64_t v, int k) { return (v * w[k]) >> sh; });
        case ZOL_DEPTH_32S:
            // 32-bit arithmetic that wraps, with arithmetic shifts.
            return colourPiece<int32_t, int32_t>(p, out, ip, [&](int32_t v, int k) {
                const int32_t lo = int32_t(uint32_t(v & 0xFFFF) * w[k]) >> 15;
                const uint32_t hi = uint32_t(v >> 16) * w[k] * 2u;
                return int32_t(uint32_t(lo) + hi);
            });
        case ZOL_DEPTH_1U: {
            const uint8_t on[3] = {uint8_t((w[0] * 255u) >> sh), uint8_t((w[1] * 255u) >> sh),
                                   uint8_t((w[2] * 255u) >> sh)};
            for (int y = 0; y < p.height; ++y) {
                const auto* i = reinterpret_cast<const uint8_t*>(p.src + y * p.srcStep);
                for (int x = 0; x < p.width; ++x) {
                    const bool set = (i[x >> 3] >> (7 - (x & 7))) & 1;
                    for (int k = 0; k < 3; ++k)
                        *reinterpret_cast<uint8_t*>(out[k].p + y * out[k].row + x * out[k].pix) =
                            set ? on[k] : 0;
                }
            }
            return;
        }
        default:
            Frame("ownGrayToColor").fail(ZOL_STATUS_BAD_ARGUMENT, "Error input depth. 32S,16U,8U are valid now");
    }
}

bool grayNamed(const Frame& f, const ZolImage* im) {
    char text[64];
    if (!modelIs(im->colorModel, "Gra") && !modelIs(im->colorModel, "GRA")) {
        std::snprintf(text, sizeof text, "colorModel must be GRAY instead of %.4s ", im->colorModel);
        f.fail(ZOL_STATUS_BAD_ARGUMENT, text);
        return false;
    }
    if (im->channelSeq[0] != 'G') {
        std::snprintf(text, sizeof text, "channelSeq must be G instead of %.4s ", im->channelSeq);
        f.fail(ZOL_STATUS_BAD_ARGUMENT, text);
        return false;
    }
    return true;
}

bool rgbNamed(const Frame& f, const ZolImage* im) {
    char text[64];
    if (!modelIs(im->colorModel, "RGB")) {
        std::snprintf(text, sizeof text, "colorModel must be RGB instead of %.4s ", im->colorModel);
        f.fail(ZOL_STATUS_BAD_ARGUMENT, text);
        return false;
    }
    if (!modelIs(im->channelSeq, "RGB") && !modelIs(im->channelSeq, "BGR")) {
        std::snprintf(text, sizeof text, "channelSeq must be RGB or BGR instead of %.4s ", im->channelSeq);
        f.fail(ZOL_STATUS_BAD_ARGUMENT, text);
        return false;
    }
    return true;
}

// Fractions to weights: truncation toward zero, saturated where a float is
// beyond 32 bits.
int32_t weightOf(float fract, double scale) { return truncToI32(double(fract) * scale); }

}  // namespace
}  // namespace zol

using namespace zol;

ZOL_API void zolColorToGray(ZolImage* src, ZolImage* dst) {
    Frame f(kToGray);
    if (!f.headersOk({src, dst}) || !rgbNamed(f, src) || !grayNamed(f, dst)) return;
    if (dst->dataOrder == ZOL_DATA_ORDER_PIXEL && dst->nChannels != 1) {
        f.fail(ZOL_STATUS_BAD_ARGUMENT, "(dst-> dataOrder == ZOL_DATA_ORDER_PIXEL) && (dst-> nChannels != 1)");
        return;
    }
    if (src->origin != dst->origin) {
        f.fail(ZOL_STATUS_BAD_ARGUMENT, "src->origin != dst->origin");
        return;
    }
    ownColourWalk(f, src, dst, ownColorToGray, nullptr);
}

ZOL_API void zolGrayToColor(ZolImage* src, ZolImage* dst, float fractR, float fractG, float fractB) {
    Frame f(kToColor);
    if (!f.headersOk({src, dst}) || !rgbNamed(f, dst) || !grayNamed(f, src)) return;
    const char* fault =
        src->depth != dst->depth && src->depth != 1 ? "src-> depth != dst-> depth && src-> depth != 1U"
        : src->depth == 1 && dst->depth != 8        ? "src-> depth == dst-> depth && dst-> depth != 8U"
        : src->dataOrder == ZOL_DATA_ORDER_PIXEL && src->nChannels != 1
            ? "(src-> dataOrder == ZOL_DATA_ORDER_PIXEL) && (src-> nChannels != 1)"
        : src->origin != dst->origin ? "(src->origin != dst->origin)"
                                     : nullptr;
    if (fault) {
        f.fail(ZOL_STATUS_BAD_ARGUMENT, fault);
        return;
    }
    GrayWeights g;
    const float fr[3] = {fractR, fractG, fractB};
    const bool wide = dst->depth == ZOL_DEPTH_32S || dst->depth == ZOL_DEPTH_16U;
    bool zero = true;
    for (int k = 0; k < 3; ++k) {
        const int32_t v = weightOf(fr[k], wide ? 32768.0 : 256.0);
        g.w[k] = dst->depth == ZOL_DEPTH_32S ? uint32_t(v) : uint32_t(v) & 0xFFFFu;
        zero = zero && (uint32_t(v) & 0xFFFFu) == 0;
    }
    g.s = wide ? 15 : 8;
    if (zero) {
        static const uint32_t k32[3] = {6968, 23434, 2364}, k16[3] = {109, 366, 37}, k8[3] = {54, 183, 18};
        const uint32_t* k = dst->depth == ZOL_DEPTH_32S ? k32 : dst->depth == ZOL_DEPTH_16U ? k16 : k8;
        for (int i = 0; i < 3; ++i) g.w[i] = k[i];
        if (dst->depth == ZOL_DEPTH_16U) g.s = 9;
    }
    ownColourWalk(f, src, dst, ownGrayToColor, &g);
}
