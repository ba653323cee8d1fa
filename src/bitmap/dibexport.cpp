// Export of an image into a bitmap the caller laid out: a reader per image
// kind fills a row of four-byte units, a map works on it, and a writer per
// bit count stores it. Palettes are fixed tables or a median cut of the
// image's colours; 4 and 8-bit results may then be run-length coded.
#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>

#include "bitmap/bitmap.h"
#include "core/image.h"
#include "core/report.h"

namespace zol {
namespace {

constexpr char kToDIB[] = "zolConvertToDIB";

int64_t tableEntries(const ZolBitmapInfoHeader* h) {
    const int b = h->biBitCount;
    if (b == 1 || b == 4 || b == 8) return h->biClrUsed ? int64_t(h->biClrUsed) : int64_t(1) << b;
    if (b == 16 || b == 32) {
        if (h->biCompression == ZOL_BI_RGB) return 0;
        if (h->biCompression == ZOL_BI_BITFIELDS) return 3;
    }
    return h->biClrUsed;
}

void setEntry(uint8_t* t, int i, uint32_t rgb) {
    t[4 * i] = uint8_t(rgb), t[4 * i + 1] = uint8_t(rgb >> 8), t[4 * i + 2] = uint8_t(rgb >> 16), t[4 * i + 3] = 0;
}

void linearPalette(ZolBitmapInfoHeader* h, bool gray) {
    uint8_t* t = reinterpret_cast<uint8_t*>(h) + h->biSize;
    static const uint32_t kSixteen[16] = {0x000000, 0x800000, 0x008000, 0x808000, 0x000080, 0x800080,
                                          0x008080, 0x808080, 0xC0C0C0, 0xFF0000, 0x00FF00, 0xFFFF00,
                                          0x0000FF, 0xFF00FF, 0x00FFFF, 0xFFFFFF};
    static const uint32_t kLevel8[8] = {0, 32, 64, 96, 128, 160, 192, 255}, kLevel4[4] = {0, 64, 128, 255};
    switch (tableEntries(h)) {
        case 2:
            setEntry(t, 0, 0), setEntry(t, 1, 0xFFFFFF);
            break;
        case 16:
            for (uint32_t i = 0; i < 16; ++i) setEntry(t, int(i), gray ? (255 * i / 15) * 0x010101u : kSixteen[i]);
            break;
        case 256:
            for (uint32_t i = 0; i < 256; ++i)
                setEntry(t, int(i), gray ? i * 0x010101u
                                         : kLevel8[i >> 5] << 16 | kLevel8[(i >> 2) & 7] << 8 | kLevel4[i & 3]);
            break;
        default:
            break;
    }
}

struct Box {
    uint32_t state;
    int32_t lo[3], hi[3];  // red, green, blue in bin-number terms
    uint32_t count;
};
constexpr int32_t kStep[3] = {1, 64, 4096};

// Brings the bounds in to the non-empty bins; an empty box keeps them.
void shrinkBox(Box& b, const uint32_t* hist) {
    int32_t lo[3] = {INT32_MAX, INT32_MAX, INT32_MAX}, hi[3] = {-1, -1, -1};
    for (int32_t bb = b.lo[2]; bb <= b.hi[2]; bb += 4096)
        for (int32_t g = b.lo[1]; g <= b.hi[1]; g += 64)
            for (int32_t r = b.lo[0]; r <= b.hi[0]; ++r)
                if (hist[r + g + bb]) {
                    const int32_t v[3] = {r, g, bb};
                    for (int k = 0; k < 3; ++k) lo[k] = std::min(lo[k], v[k]), hi[k] = std::max(hi[k], v[k]);
                }
    if (hi[0] < 0) return;
    for (int k = 0; k < 3; ++k) b.lo[k] = lo[k], b.hi[k] = hi[k];
}

// Sum of the counters of the box's plane `v` on axis `a`.
uint32_t planeSum(const Box& b, int a, int32_t v, const uint32_t* hist) {
    int32_t lo[3] = {b.lo[0], b.lo[1], b.lo[2]}, hi[3] = {b.hi[0], b.hi[1], b.hi[2]};
    lo[a] = hi[a] = v;
    uint32_t s = 0;
    for (int32_t bb = lo[2]; bb <= hi[2]; bb += 4096)
        for (int32_t g = lo[1]; g <= hi[1]; g += 64)
            for (int32_t r = lo[0]; r <= hi[0]; ++r) s += hist[r + g + bb];
    return s;
}

// Channel offsets of red, green, blue in a colour image, or false.
bool colourOrder(const ZolImage* im, int (&ch)[3]) {
    const char* s = im->channelSeq;
    if (!std::strncmp(s, "BGR", 4) || !std::strncmp(s, "BGRA", 4)) return ch[0] = 2, ch[1] = 1, ch[2] = 0, true;
    if (!std::strncmp(s, "RGB", 4) || !std::strncmp(s, "RGBA", 4)) return ch[0] = 0, ch[1] = 1, ch[2] = 2, true;
    return false;
}

bool medianCut(ZolBitmapInfoHeader* h, const ZolImage* im) {
    if (h->biBitCount > 8) return false;
    uint8_t* t = reinterpret_cast<uint8_t*>(h) + h->biSize;
    if (im->depth == ZOL_DEPTH_1U) {
        setEntry(t, 0, 0), setEntry(t, 1, 0xFFFFFF);
        h->biClrUsed = 2;
        return true;
    }
    const bool gray = im->nChannels == 1;
    int ch[3] = {0, 0, 0};
    if (!gray && ((im->nChannels != 3 && im->nChannels != 4) || !colourOrder(im, ch))) return false;
    const uint32_t K = 1u << h->biBitCount;
    const size_t bins = gray ? 256 : size_t(1) << 18;
    auto* hist = static_cast<uint32_t*>(zolMalloc(int(bins * 4)));
    if (!hist) return false;
    std::memset(hist, 0, bins * 4);
    const int es = elemSize(im->depth), hiByte = im->depth >> 4;
    const bool planar = im->dataOrder == ZOL_DATA_ORDER_PLANE;
    const ptrdiff_t pix = planar ? es : es * im->nChannels, plane = planar ? ptrdiff_t(im->widthStep) * im->height : es;
    uint32_t distinct = 0;
    for (int y = 0; y < im->height; ++y) {
        const auto* row = reinterpret_cast<const uint8_t*>(im->imageData) + ptrdiff_t(y) * im->widthStep + hiByte;
        for (int x = 0; x < im->width; ++x) {
            const uint8_t* p = row + x * pix;
            const size_t bin = gray ? p[0]
                                    : size_t(p[ch[0] * plane] >> 2) + 64 * size_t(p[ch[1] * plane] >> 2) +
                                          4096 * size_t(p[ch[2] * plane] >> 2);
            distinct += hist[bin]++ == 0;
        }
    }
    auto coord = [&](size_t bin, int k) { return int(gray ? bin : (bin / kStep[k]) % 64 * 4); };
    if (distinct <= K) {
        int n = 0;
        for (size_t bin = 0; bin < bins; ++bin)
            if (hist[bin]) {
                t[4 * n] = uint8_t(coord(bin, 2)), t[4 * n + 1] = uint8_t(coord(bin, 1));
                t[4 * n + 2] = uint8_t(coord(bin, 0)), t[4 * n + 3] = 0;
                ++n;
            }
        h->biClrUsed = distinct;
        zolFree(hist);
        return true;
    }
    auto* boxes = static_cast<Box*>(zolMalloc(int(32 * K)));
    if (!boxes) return zolFree(hist), false;
    // The gray route is the red axis alone.
    Box& b0 = boxes[0];
    b0 = {0, {0, 0, 0}, {gray ? 255 : 63, gray ? 0 : 0xFC0, gray ? 0 : 0x3F000}, uint32_t(im->width) * uint32_t(im->height)};
    shrinkBox(b0, hist);
    uint32_t n = 1;
    while (n < K) {
        const uint32_t atStart = n;
        bool split = false;
        for (uint32_t i = 0; i < atStart && n < K; ++i) {
            Box& b = boxes[i];
            if (b.state == 255) continue;
            int a = 0;
            if (!gray) {
                const int32_t eR = b.hi[0] - b.lo[0], eG = (b.hi[1] - b.lo[1]) / 64, eB = (b.hi[2] - b.lo[2]) / 4096;
                a = eR >= eG && eR >= eB ? 0 : eG >= eB ? 1 : 2;
            }
            const uint32_t half = b.count / 2;
            uint32_t s = 0, p = 0;
            int32_t cut = b.hi[a];  // the last plane of the lower part
            uint32_t lower = b.count;
            for (int32_t v = b.lo[a]; v <= b.hi[a]; v += kStep[a]) {
                p = s;
                s += planeSum(b, a, v, hist);
                if (s > half) {
                    if (half - p < s - half)
                        cut = v - kStep[a], lower = p;
                    else
                        cut = v, lower = s;
                    break;
                }
            }
            // A cut that would leave a part empty moves by the one plane.
            if (cut < b.lo[a]) cut = b.lo[a], lower = planeSum(b, a, b.lo[a], hist);
            if (cut >= b.hi[a]) cut = b.hi[a] - kStep[a], lower = b.count - planeSum(b, a, b.hi[a], hist);
            if (cut < b.lo[a]) {
                b.state = 255;  // one plane holds the box: it cannot split
                continue;
            }
            Box up = b;
            up.lo[a] = cut + kStep[a];
            up.count = b.count - lower;
            b.hi[a] = cut;
            b.count = lower;
            shrinkBox(up, hist);
            shrinkBox(b, hist);
            for (Box* q : {&b, &up})
                q->state = q->lo[0] == q->hi[0] && q->lo[1] == q->hi[1] && q->lo[2] == q->hi[2] ? 255 : 0;
            boxes[n++] = up;
            split = true;
        }
        if (!split) break;
    }
    for (uint32_t i = 0; i < K; ++i) {
        uint32_t sum[3] = {0, 0, 0};
        if (i < n && boxes[i].count) {
            const Box& b = boxes[i];
            for (int32_t bb = b.lo[2]; bb <= b.hi[2]; bb += 4096)
                for (int32_t g = b.lo[1]; g <= b.hi[1]; g += 64)
                    for (int32_t r = b.lo[0]; r <= b.hi[0]; ++r) {
                        const size_t bin = size_t(r + g + bb);
                        for (int k = 0; k < 3; ++k) sum[k] += uint32_t(gray ? r : coord(bin, k)) * hist[bin];
                    }
            for (int k = 0; k < 3; ++k) sum[k] /= b.count;
        }
        t[4 * i] = uint8_t(gray ? sum[0] : sum[2]), t[4 * i + 1] = uint8_t(gray ? sum[0] : sum[1]);
        t[4 * i + 2] = uint8_t(sum[0]), t[4 * i + 3] = 0;
    }
    h->biClrUsed = K;
    zolFree(boxes);
    zolFree(hist);
    return true;
}

// Nearest entry by squared distance; the first of equals, an exact hit
// ends the search. Remembered per distinct colour within a call.
struct Nearest {
    const uint8_t* t;
    int n;
    // A direct-mapped cache of colour (+1, so 0 is empty) and index.
    uint32_t keys[65536] = {};
    int32_t values[65536] = {};
    int operator()(const uint8_t* u) {
        const uint32_t key = (uint32_t(u[0]) | uint32_t(u[1]) << 8 | uint32_t(u[2]) << 16) + 1;
        const size_t slot = (key * 2654435761u) >> 16;
        if (keys[slot] == key) return values[slot];
        int best = 0;
        int64_t bd = INT64_MAX;
        for (int i = 0; i < n; ++i) {
            const int64_t db = u[0] - t[4 * i], dg = u[1] - t[4 * i + 1], dr = u[2] - t[4 * i + 2];
            const int64_t d = db * db + dg * dg + dr * dr;
            if (d < bd) bd = d, best = i;
            if (d == 0) break;
        }
        keys[slot] = key;
        return values[slot] = best;
    }
};

struct Field {
    uint32_t mask;
    int shift, width;
};
Field field(uint32_t mask) {
    if (!mask) return {0, 0, 0};
    const int shift = __builtin_ctz(mask);
    int width = 0;
    while (width + shift < 32 && (mask >> (shift + width) & 1)) ++width;
    return {mask, shift, width};
}

}  // namespace
}  // namespace zol

using namespace zol;

extern "C" void zolConvertToDIB(const ZolImage* image, ZolBitmapInfoHeader* dib, int dither, int paletteConversion) {
    auto bad = [](const char* c) { report(ZOL_STATUS_BAD_ARGUMENT, kToDIB, c); };
    if (zolCheckImageHeader(image) != 0) return void(report(zolGetErrStatus(), kToDIB, "Incorrect Image"));
    if (!dib) return bad("dib==0");
    if (image->nChannels <= 0 || image->nChannels > 4) return bad("(image->nChannels <= 0 || image->nChannels > 4)");
    if (image->depth & ZOL_DEPTH_SIGN) return bad("(image->depth & 0x80000000)");
    if (image->alphaChannel != 0 && image->alphaChannel != 4) return bad("(image->alphaChannel != 0 && image->alphaChannel != 4)");
    if (image->alphaChannel != 0 && image->nChannels != 4) return bad("(image->nChannels != 4)");
    if (image->alphaChannel == 0 && image->nChannels != 3 && image->nChannels != 1)
        return bad("(image->nChannels != 3 && image->nChannels != 1)");
    if (image->width != dib->biWidth || int64_t(image->height) != std::llabs(int64_t(dib->biHeight)))
        return bad("(image->width != dib->biWidth || image->height != abs(dib->biHeight))");
    if (dib->biSize != sizeof(ZolBitmapInfoHeader)) return bad("(dib->biSize != sizeof(BITMAPINFOHEADER))");
    if (dib->biPlanes != 1) return bad("(dib->biPlanes != 1)");
    if (dib->biCompression > 3)
        return bad("(dib->biCompression != 0) && (dib->biCompression != 1) && (dib->biCompression != 2) && (dib->biCompression != 3)");
    if (dib->biBitCount != 8 && dib->biCompression == 1) return bad("(dib->biBitCount != 8) && (dib->biCompression == 1)");
    if (dib->biBitCount != 4 && dib->biCompression == 2) return bad("(dib->biBitCount != 4) && (dib->biCompression == 2)");
    if (dib->biHeight < 0 && (dib->biCompression == 1 || dib->biCompression == 2))
        return bad("(dib->biHeight < 0) && ( (dib->biCompression == 1) || (dib->biCompression == 2) )");
    if (dither != 8 && dither != 1) return bad("(dither != 8 && dither != 1 )");
    if (paletteConversion != 0 && paletteConversion != 1 && paletteConversion != 2)
        return bad("(paletteConversion != 0 && paletteConversion != 1 && paletteConversion != 2 )");
    const int bits = dib->biBitCount;
    if (bits < 16 && paletteConversion == 1) linearPalette(dib, image->nChannels == 1);
    if (bits < 16 && paletteConversion == 2 && !medianCut(dib, image))
        return void(report(ZOL_STATUS_INTERNAL, kToDIB, "Error of creating medcut palette"));
    ZolImage* temp = nullptr;
    auto failExit = [&] {
        if (temp) zolDeallocate(temp, 0x1F);
        if (zolGetErrStatus() >= 0) report(ZOL_STATUS_INTERNAL, kToDIB, "");
    };
    const ZolImage* im = image;
    if (depthBits(image->depth) > 8 && dither != ZOL_DITHER_NONE) {
        temp = zolCreateImageHeader(image->nChannels, image->alphaChannel, ZOL_DEPTH_8U, image->colorModel,
                                    image->channelSeq, image->dataOrder, image->origin, image->align,
                                    image->width, image->height, nullptr, nullptr, nullptr, nullptr);
        if (!temp) return void(report(ZOL_STATUS_NO_MEMORY, kToDIB, "Not enough memory to allocate header for temporal image"));
        zolAllocateImage(temp, 0, 0);
        if (!temp->imageData) {
            zolDeallocateHeader(temp);
            return void(report(ZOL_STATUS_NO_MEMORY, kToDIB, "Not enough memory to allocate data for temporal image"));
        }
        zolReduceBits(const_cast<ZolImage*>(image), temp, 0, dither, 1);
        if (zolGetErrStatus() != 0) return failExit();
        im = temp;
    }
    const int d = im->depth, nCh = im->nChannels;
    if (!(d == ZOL_DEPTH_8U || d == ZOL_DEPTH_16U || (d == ZOL_DEPTH_1U && nCh == 1))) return failExit();
    const char* seq = im->channelSeq;
    auto is = [&](const char* w) { return std::strncmp(seq, w, 4) == 0; };
    const int map = is("G") || is("GRAY") ? 1 : is("BGR") || is("BGRA") ? 0 : is("RGB") || is("RGBA") ? 2 : -1;
    if (map < 0) {
        report(ZOL_STATUS_BAD_MODEL, kToDIB, "image->channelSeq unsupport");
        return failExit();
    }
    if (bits != 1 && bits != 4 && bits != 8 && bits != 16 && bits != 24 && bits != 32) {
        report(ZOL_STATUS_BAD_ARGUMENT, kToDIB, "dib->biBitCount is bad");
        return failExit();
    }
    const int64_t entries = tableEntries(dib);
    uint8_t* table = reinterpret_cast<uint8_t*>(dib) + dib->biSize;
    uint8_t* pixels = table + 4 * entries;
    const int64_t rowSize = dibRowSize(dib->biWidth, bits);
    const int64_t step = ownCalcStep(im->dataOrder, d, im->align, nCh, im->width);
    const bool planar = im->dataOrder == ZOL_DATA_ORDER_PLANE;
    const int es = elemSize(d);
    const ptrdiff_t chan = planar ? ptrdiff_t(step * im->height) : es, pix = planar ? es : es * nCh;
    Field f[4] = {};
    if (bits == 16 || bits == 32) {
        uint32_t m[3] = {0x7C00, 0x03E0, 0x001F};
        if (bits == 32) m[0] = 0xFF0000, m[1] = 0xFF00, m[2] = 0xFF;
        if (dib->biCompression == ZOL_BI_BITFIELDS) std::memcpy(m, table, 12);
        if (bits == 16)
            for (uint32_t& v : m) v &= 0xFFFF;
        f[0] = field(m[2]), f[1] = field(m[1]), f[2] = field(m[0]);
        f[3] = bits == 32 ? (dib->biCompression == ZOL_BI_BITFIELDS ? Field{0, 0, 0} : field(0xFF000000u)) : Field{0, 0, 0};
        if (bits == 32 && dib->biCompression == ZOL_BI_BITFIELDS) {
            const uint32_t c = m[0] | m[1] | m[2];
            if (c && !(c >> 31)) f[3] = field(~((2u << (31 - __builtin_clz(c))) - 1));
        }
    }
    std::unique_ptr<Nearest> nearest;
    if (bits <= 8) nearest.reset(new Nearest{table, int(entries)});
    auto* u = im->width <= INT32_MAX / 4 ? static_cast<uint8_t*>(zolMalloc(4 * im->width)) : nullptr;
    if (!u) return failExit();
    const int H = im->height, W = im->width;
    for (int i = 0; i < H; ++i) {
        const int64_t dRow = dib->biHeight > 0 ? H - 1 - i : i;
        const int64_t sRow = im->origin == ZOL_ORIGIN_TL ? i : H - 1 - i;
        const char* s = im->imageData + sRow * step;
        uint8_t* o = pixels + dRow * rowSize;
        for (int x = 0; x < W; ++x) {
            uint8_t* q = &u[4 * size_t(x)];
            if (d == ZOL_DEPTH_1U) {
                q[0] = q[1] = q[2] = (s[x >> 3] >> (7 - (x & 7))) & 1 ? 255 : 0;
                q[3] = 0;
                continue;
            }
            const int off = es - 1;  // the high byte of a 16-bit sample
            for (int c = 0; c < 4; ++c) q[c] = c < nCh ? uint8_t(s[x * pix + c * chan + off]) : 0;
            if (nCh == 1) q[1] = q[2] = q[0];
        }
        for (int x = 0; x < W; ++x) {
            uint8_t* q = &u[4 * size_t(x)];
            if (map == 1) q[0] = q[1] = q[2], q[3] = 0;
            else if (map == 2) std::swap(q[0], q[2]);
        }
        for (int x = 0; x < W; ++x) {
            const uint8_t* q = &u[4 * size_t(x)];
            switch (bits) {
                case 1: {
                    const uint8_t m = uint8_t(0x80u >> (x & 7));
                    o[x >> 3] = (*nearest)(q) ? uint8_t(o[x >> 3] | m) : uint8_t(o[x >> 3] & ~m);
                    break;
                }
                case 4: {
                    const unsigned v = unsigned((*nearest)(q)) & 15;
                    o[x >> 1] = (x & 1) ? uint8_t((o[x >> 1] & 0xF0) | v) : uint8_t((o[x >> 1] & 0x0F) | v << 4);
                    break;
                }
                case 8: o[x] = uint8_t((*nearest)(q)); break;
                case 16: {
                    uint32_t w = 0;
                    for (int k = 0; k < 3; ++k) {
                        const uint32_t v = f[k].width < 8 ? q[k] >> (8 - f[k].width) : uint32_t(q[k]) << (f[k].width - 8);
                        w |= (v << f[k].shift) & f[k].mask;
                    }
                    o[2 * x] = uint8_t(w), o[2 * x + 1] = uint8_t(w >> 8);
                    break;
                }
                case 24: o[3 * x] = q[0], o[3 * x + 1] = q[1], o[3 * x + 2] = q[2]; break;
                default: {
                    uint32_t w = 0;
                    for (int k = 0; k < 4; ++k) w |= (uint32_t(q[k]) << f[k].shift) & f[k].mask;
                    std::memcpy(o + 4 * x, &w, 4);
                    break;
                }
            }
        }
    }
    zolFree(u);
    if (temp) zolDeallocate(temp, 0x1F);
    if (dib->biCompression == ZOL_BI_RLE8 || dib->biCompression == ZOL_BI_RLE4) ownCompressRLE(dib);
}
