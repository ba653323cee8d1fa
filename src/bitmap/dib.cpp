// Import of device-independent bitmaps: a row reader per bit count fills
// a row of four-byte units (blue, green, red, alpha), a map works on the
// row, and a writer per depth and channel count stores it. The three are
// chosen once per call. A bitmap carries no length, so every size in the
// header is bounded before any pixel is touched.
#include <cstring>
#include <memory>
#include <utility>

#include "bitmap/bitmap.h"
#include "core/image.h"
#include "core/report.h"

namespace zol {
namespace {

constexpr char kConvertFromDIB[] = "zolConvertFromDIB";
constexpr char kConvertFromDIBSep[] = "zolConvertFromDIBSep";
constexpr char kTranslateDIB[] = "zolTranslateDIB";
constexpr char kTooSmall[] = "Image size is too small";
constexpr char kNoData[] = "Not enough memory to allocate data for destination image";
constexpr char kBadSize[] = "Incorrect size of DIB";
constexpr char kBadColours[] = "Incorrect colour count of DIB";

// The words of the header checks differ between the packed and the separate
// import; the faults are the same.
struct HeaderTexts {
    const char* size;
    const char* planes;
    const char* compression;
    const char* rle8;
    const char* rle4;
    const char* topDown;
};

constexpr HeaderTexts kPacked{
    "(dib->biSize != sizeof(BITMAPINFOHEADER))", "(dib->biPlanes != 1)",
    "(dib->biCompression != 0) && (dib->biCompression != 1) && (dib->biCompression != 2) && "
    "(dib->biCompression != 3)",
    "(dib->biBitCount != 8) && (dib->biCompression == 1)",
    "(dib->biBitCount != 4) && (dib->biCompression == 2)",
    "(dib->biHeight < 0) && ( (dib->biCompression == 1) || (dib->biCompression == 2) )"};
constexpr HeaderTexts kTranslate{
    "( dib->biSize != sizeof(BITMAPINFOHEADER) )", kPacked.planes, kPacked.compression,
    kPacked.rle8, kPacked.rle4, kPacked.topDown};
constexpr HeaderTexts kSep{
    "(dibHeader->biSize != sizeof(BITMAPINFOHEADER))", "(dibHeader->biPlanes != 1)",
    "( ( dibHeader->biCompression != 0 ) && ( dibHeader->biCompression != 1 ) && ( "
    "dibHeader->biCompression != 2 ) && ( dibHeader->biCompression != 3 ) )",
    "(dibHeader->biBitCount != 8) && (dibHeader->biCompression == 1)",
    "(dibHeader->biBitCount != 4) && (dibHeader->biCompression == 2)",
    "(dibHeader->biHeight < 0) && ( (dibHeader->biCompression == 1) || (dibHeader->biCompression "
    "== 2) )"};

// Entries of the colour table behind the header.
int64_t colourCount(const ZolBitmapInfoHeader* h) {
    const int b = h->biBitCount;
    if (b == 1 || b == 4 || b == 8) return h->biClrUsed ? int64_t(h->biClrUsed) : int64_t(1) << b;
    if (b == 16 || b == 32) {
        if (h->biCompression == ZOL_BI_RGB) return 0;
        if (h->biCompression == ZOL_BI_BITFIELDS) return 3;
    }
    return h->biClrUsed;
}

// The header's own checks, in the order they are reported; the context of
// the first fault or nullptr.
const char* headerFault(const ZolBitmapInfoHeader* h, const HeaderTexts& t) {
    if (h->biSize != sizeof(ZolBitmapInfoHeader)) return t.size;
    if (h->biPlanes != 1) return t.planes;
    if (h->biCompression > 3) return t.compression;
    if (h->biBitCount != 8 && h->biCompression == ZOL_BI_RLE8) return t.rle8;
    if (h->biBitCount != 4 && h->biCompression == ZOL_BI_RLE4) return t.rle4;
    if (h->biHeight < 0 && (h->biCompression == ZOL_BI_RLE8 || h->biCompression == ZOL_BI_RLE4))
        return t.topDown;
    return nullptr;
}

// Sizes no real bitmap has: a table longer than the pixels can index, or
// pixels whose byte count does not fit an int.
int boundsFault(const ZolBitmapInfoHeader* h, const char** context) {
    const int64_t height = h->biHeight < 0 ? -int64_t(h->biHeight) : int64_t(h->biHeight);
    const int64_t entries = colourCount(h);
    const int64_t maxEntries = h->biBitCount <= 8 ? int64_t(1) << (h->biBitCount & 15) : 256;
    if (h->biWidth <= 0 || height == 0 || dibRowSize(h->biWidth, h->biBitCount) * height > INT32_MAX) {
        *context = kBadSize;
        return ZOL_STATUS_BAD_SIZE;
    }
    if (entries > maxEntries) {
        *context = kBadColours;
        return ZOL_STATUS_BAD_ARGUMENT;
    }
    return 0;
}

// An exact ramp 0..255 over all entries; one entry is not a ramp.
bool isGrayTable(const ZolRGBQuad* t, int64_t n) {
    if (n < 2) return false;
    for (int64_t i = 0; i < n; ++i) {
        const int v = int(i * 255 / (n - 1));
        if (t[i].rgbBlue != v || t[i].rgbGreen != v || t[i].rgbRed != v) return false;
    }
    return true;
}

struct Field {
    uint32_t mask;
    int shift;
    int width;
};

Field makeField(uint32_t mask) {
    if (!mask) return {0, 0, 0};
    const int shift = __builtin_ctz(mask);
    int width = 0;
    while (width + shift < 32 && (mask >> (shift + width) & 1)) ++width;
    return {mask, shift, width};
}

inline uint8_t fieldValue(uint32_t word, const Field& f) {
    const uint32_t v = (word & f.mask) >> f.shift;
    return uint8_t(f.width >= 8 ? v >> (f.width - 8) : v << (8 - f.width));
}

// Everything the row walk needs, decided once.
struct Pipeline {
    int bits = 0;
    int64_t width = 0, rows = 0;
    uint8_t table[256][4] = {};  // indices past the table give black
    Field f[4] = {};             // blue, green, red, alpha
    int map = 0;                 // 0 none, 1 gray, 2 swap
};

void readRow(const Pipeline& p, const uint8_t* s, uint8_t* u) {
    const int64_t w = p.width;
    switch (p.bits) {
        case 1:
            for (int64_t x = 0; x < w; ++x) std::memcpy(u + 4 * x, p.table[(s[x >> 3] >> (7 - (x & 7))) & 1], 4);
            break;
        case 4:
            for (int64_t x = 0; x < w; ++x)
                std::memcpy(u + 4 * x, p.table[(x & 1) ? s[x >> 1] & 15 : s[x >> 1] >> 4], 4);
            break;
        case 8:
            for (int64_t x = 0; x < w; ++x) std::memcpy(u + 4 * x, p.table[s[x]], 4);
            break;
        case 16:
            for (int64_t x = 0; x < w; ++x) {
                const uint32_t v = uint32_t(s[2 * x]) | uint32_t(s[2 * x + 1]) << 8;
                u[4 * x] = fieldValue(v, p.f[0]);
                u[4 * x + 1] = fieldValue(v, p.f[1]);
                u[4 * x + 2] = fieldValue(v, p.f[2]);
                u[4 * x + 3] = 255;
            }
            break;
        case 24:
            for (int64_t x = 0; x < w; ++x) {
                u[4 * x] = s[3 * x];
                u[4 * x + 1] = s[3 * x + 1];
                u[4 * x + 2] = s[3 * x + 2];
                u[4 * x + 3] = 255;
            }
            break;
        default:
            for (int64_t x = 0; x < w; ++x) {
                uint32_t v;
                std::memcpy(&v, s + 4 * x, 4);
                for (int k = 0; k < 4; ++k) u[4 * x + k] = fieldValue(v, p.f[k]);
            }
            break;
    }
    if (p.map == 1) {
        for (int64_t x = 0; x < w; ++x)
            u[4 * x + 2] = uint8_t((28 * u[4 * x] + 151 * u[4 * x + 1] + 77 * u[4 * x + 2]) >> 8);
    } else if (p.map == 2) {
        for (int64_t x = 0; x < w; ++x) std::swap(u[4 * x], u[4 * x + 2]);
    }
}

template <class T, int Scale>
void writeChannels(const uint8_t* u, char* row, int64_t w, int nCh, int64_t pix, int64_t plane) {
    for (int c = 0; c < nCh; ++c) {
        char* o = row + c * plane;
        for (int64_t x = 0; x < w; ++x) *reinterpret_cast<T*>(o + x * pix) = T(u[4 * x + c] * Scale);
    }
}

void writeRow(const uint8_t* u, const ZolImage* image, char* row, int64_t w, int64_t planeBytes) {
    const int nCh = image->nChannels;
    const bool planar = image->dataOrder == ZOL_DATA_ORDER_PLANE;
    if (image->depth == ZOL_DEPTH_1U) {
        auto* o = reinterpret_cast<uint8_t*>(row);
        for (int64_t x = 0; x < w; ++x) {
            const uint8_t m = uint8_t(0x80u >> (x & 7));
            o[x >> 3] = u[4 * x + 2] > 127 ? uint8_t(o[x >> 3] | m) : uint8_t(o[x >> 3] & ~m);
        }
        return;
    }
    const int es = image->depth == ZOL_DEPTH_8U ? 1 : 2;
    const int64_t pix = planar ? es : int64_t(es) * nCh;
    const int64_t plane = planar ? planeBytes : es;
    if (nCh == 1) {
        // One channel takes the red byte (the gray value after the map).
        if (es == 1)
            for (int64_t x = 0; x < w; ++x) row[x] = char(u[4 * x + 2]);
        else
            for (int64_t x = 0; x < w; ++x) reinterpret_cast<uint16_t*>(row)[x] = uint16_t(u[4 * x + 2] * 256);
        return;
    }
    if (es == 1)
        writeChannels<uint8_t, 1>(u, row, w, nCh, pix, plane);
    else
        writeChannels<uint16_t, 256>(u, row, w, nCh, pix, plane);
}

// Row kernels for the common kinds into a pixel-order 8U image in BGR(A)
// order; they give what the unit pipeline gives, without the unit row.
using FastRow = void (*)(const Pipeline&, const uint8_t*, uint8_t*);

void fast24to3(const Pipeline& p, const uint8_t* s, uint8_t* o) { std::memcpy(o, s, size_t(3 * p.width)); }
void fast24to4(const Pipeline& p, const uint8_t* s, uint8_t* o) {
    for (int64_t x = 0; x < p.width; ++x)
        o[4 * x] = s[3 * x], o[4 * x + 1] = s[3 * x + 1], o[4 * x + 2] = s[3 * x + 2], o[4 * x + 3] = 255;
}
void fast32to4(const Pipeline& p, const uint8_t* s, uint8_t* o) { std::memcpy(o, s, size_t(4 * p.width)); }
void fast555to3(const Pipeline& p, const uint8_t* s, uint8_t* o) {
    for (int64_t x = 0; x < p.width; ++x) {
        const uint32_t v = uint32_t(s[2 * x]) | uint32_t(s[2 * x + 1]) << 8;
        o[3 * x] = uint8_t(v << 3), o[3 * x + 1] = uint8_t((v >> 5) << 3), o[3 * x + 2] = uint8_t((v >> 10) << 3);
    }
}
void fast8to3(const Pipeline& p, const uint8_t* s, uint8_t* o) {
    for (int64_t x = 0; x < p.width; ++x) std::memcpy(o + 3 * x, p.table[s[x]], 3);
}

FastRow fastRow(const Pipeline& p, const ZolBitmapInfoHeader* h, const ZolImage* m) {
    if (p.map != 0 || m->depth != ZOL_DEPTH_8U || m->dataOrder != ZOL_DATA_ORDER_PIXEL) return nullptr;
    const bool plain = h->biCompression == ZOL_BI_RGB;
    if (p.bits == 24 && m->nChannels == 3) return fast24to3;
    if (p.bits == 24 && m->nChannels == 4) return fast24to4;
    if (p.bits == 32 && plain && m->nChannels == 4) return fast32to4;
    if (p.bits == 16 && plain && m->nChannels == 3) return fast555to3;
    if (p.bits == 8 && m->nChannels == 3) return fast8to3;
    return nullptr;
}

bool writerExists(const ZolImage* image) {
    const int n = image->nChannels, d = image->depth;
    if (n == 1) return d == ZOL_DEPTH_1U || d == ZOL_DEPTH_8U || d == ZOL_DEPTH_16U;
    return (n == 3 || n == 4) && (d == ZOL_DEPTH_8U || d == ZOL_DEPTH_16U);
}

// 0 none, 1 gray, 2 swap, -1 unknown.
int channelMap(const ZolImage* image) {
    const char* s = image->channelSeq;
    auto is = [&](const char* w) { return std::strncmp(s, w, 4) == 0; };
    // Four bytes are read: a shorter name is followed by a NUL.
    if (is("G") || is("GRAY")) return 1;
    if (is("BGR") || is("BGRA")) return 0;
    if (is("RGB") || is("RGBA")) return 2;
    return -1;
}

// The checks of the image itself, in order: context and the status the
// separate import returns.
struct ImageCheck {
    const char* context;
    int ret;
};

const ImageCheck* imageFault(const ZolImage* m, bool sep) {
    static const ImageCheck packed[] = {
        {"( image->alphaChannel < 0 )", -18},
        {"( image->nChannels < image->alphaChannel )", -18},
        {"( (image->dataOrder != 0) && (image->dataOrder != 1) )", -19},
        {"( (image->origin != 0 ) && (image->origin != 1 ) )", -20},
        {"( (image->align != 4 ) && (image->align != 8 ) )", -21},
        {"(image->height <= 0)", -10},
        {"(image->width <= 0)", -10},
        {"(image->imageSize <= 0)", -10},
        {"(image->widthStep <= 0)", -13}};
    static const ImageCheck separate[] = {
        packed[0], packed[1], packed[2],
        {"( (image->origin != 0) && (image->origin != 1) )", -20},
        {"( (image->align != 4) && (image->align != 8) )", -21},
        packed[5], packed[6], packed[7], packed[8]};
    const ImageCheck* c = sep ? separate : packed;
    const bool bad[] = {m->alphaChannel < 0,
                        m->nChannels < m->alphaChannel,
                        m->dataOrder != 0 && m->dataOrder != 1,
                        m->origin != 0 && m->origin != 1,
                        m->align != 4 && m->align != 8,
                        m->height <= 0,
                        m->width <= 0,
                        m->imageSize <= 0,
                        m->widthStep <= 0};
    for (int i = 0; i < 9; ++i)
        if (bad[i]) return &c[i];
    return nullptr;
}

// The pipeline after the header checks: reports under func and returns the
// status (0 when done). `data` is the pixels, or nullptr for the packed
// form (they then follow the table).
int importPixels(const char* func, const ZolBitmapInfoHeader* h, const uint8_t* data, ZolImage* image) {
    const char* context = nullptr;
    if (int st = boundsFault(h, &context)) return report(st, func, context);
    const int64_t height = h->biHeight < 0 ? -int64_t(h->biHeight) : int64_t(h->biHeight);
    if (image->width < h->biWidth || image->height < height)
        return report(ZOL_STATUS_BAD_SIZE, func, kTooSmall);
    const int bits = h->biBitCount;
    const bool known = bits == 1 || bits == 4 || bits == 8 || bits == 16 || bits == 24 || bits == 32;
    const bool masked = bits == 16 || bits == 32;
    if (!known || (masked && h->biCompression != ZOL_BI_RGB && h->biCompression != ZOL_BI_BITFIELDS)) {
        if (zolGetErrStatus() >= 0) report(ZOL_STATUS_INTERNAL, func, "");
        return ZOL_STATUS_INTERNAL;
    }
    auto p = std::make_unique<Pipeline>();
    p->map = channelMap(image);
    if (p->map < 0) return report(ZOL_STATUS_BAD_MODEL, func, "image->channelSeq unsupport");
    if (!writerExists(image)) {
        if (zolGetErrStatus() >= 0) report(ZOL_STATUS_INTERNAL, func, "");
        return ZOL_STATUS_INTERNAL;
    }
    // The image's own layout must hold what the writers address.
    const int64_t step = ownCalcStep(image->dataOrder, image->depth, image->align, image->nChannels, image->width);
    if (ownCalcSize(image->dataOrder, image->nChannels, image->height, step) > image->imageSize)
        return report(ZOL_STATUS_BAD_SIZE, func, kTooSmall);
    if (!image->imageData) {
        zolAllocateImage(image, 0, 0);
        if (!image->imageData) return report(ZOL_STATUS_NO_MEMORY, func, kNoData);
    }
    const int64_t entries = colourCount(h);
    const auto* table = reinterpret_cast<const uint8_t*>(h) + h->biSize;
    const uint8_t* pixels = data ? data : table + 4 * entries;
    p->bits = bits;
    p->width = h->biWidth;
    p->rows = height;
    if (bits <= 8) {
        std::memcpy(p->table, table, size_t(4 * entries));
    } else if (h->biCompression == ZOL_BI_BITFIELDS) {
        uint32_t m[3];
        std::memcpy(m, table, 12);
        p->f[0] = makeField(m[2]);
        p->f[1] = makeField(m[1]);
        p->f[2] = makeField(m[0]);
        const uint32_t colour = m[0] | m[1] | m[2];
        p->f[3] = makeField(colour ? ~((2u << (31 - __builtin_clz(colour))) - 1) : 0);
        if (colour >> 31) p->f[3] = makeField(0);
    } else if (bits == 16) {
        p->f[0] = makeField(0x001F), p->f[1] = makeField(0x03E0), p->f[2] = makeField(0x7C00);
    } else {
        p->f[0] = makeField(0xFF), p->f[1] = makeField(0xFF00), p->f[2] = makeField(0xFF0000);
        p->f[3] = makeField(0xFF000000u);
    }
    int64_t srcStride = dibRowSize(h->biWidth, bits);
    uint8_t* decoded = nullptr;
    if (h->biCompression == ZOL_BI_RLE8 || h->biCompression == ZOL_BI_RLE4) {
        // The stream is no longer than biSizeImage, nor than the longest
        // stream an image of this size can need.
        size_t length = size_t(2) * size_t(h->biWidth) * size_t(height) + size_t(2) * size_t(height) + 2;
        if (h->biSizeImage && h->biSizeImage < length) length = h->biSizeImage;
        RleResult r = ownDecompressRLE(pixels, length, h->biWidth, int(height), bits);
        if (!r.block) {
            report(r.status, kConvertFromDIB, r.context);
            return report(ZOL_STATUS_INTERNAL, func, "Impossible to decompress RLE DIB");
        }
        decoded = r.block;
        pixels = decoded;
    }
    auto* units = p->width <= INT32_MAX / 4 ? static_cast<uint8_t*>(zolMalloc(int(4 * p->width))) : nullptr;
    if (!units) {
        zolFree(decoded);
        return report(ZOL_STATUS_NO_MEMORY, func, kNoData);
    }
    const int64_t planeBytes = step * image->height;
    const FastRow fast = fastRow(*p, h, image);
    for (int64_t i = 0; i < height; ++i) {
        const int64_t sRow = h->biHeight > 0 ? height - 1 - i : i;
        const int64_t dRow = image->origin == ZOL_ORIGIN_TL ? i : image->height - 1 - i;
        if (fast) {
            fast(*p, pixels + sRow * srcStride, reinterpret_cast<uint8_t*>(image->imageData + dRow * step));
            continue;
        }
        readRow(*p, pixels + sRow * srcStride, units);
        writeRow(units, image, image->imageData + dRow * step, p->width, planeBytes);
    }
    zolFree(units);
    zolFree(decoded);
    return 0;
}

}  // namespace
}  // namespace zol

using namespace zol;

extern "C" {

void zolConvertFromDIB(const ZolBitmapInfoHeader* dib, ZolImage* image) {
    if (!dib) report(ZOL_STATUS_BAD_ARGUMENT, kConvertFromDIB, "dib==0");
    if (!image) report(ZOL_STATUS_BAD_ARGUMENT, kConvertFromDIB, "image==0");
    if (zolGetErrStatus() < 0) return;
    if (const ImageCheck* c = imageFault(image, false)) {
        report(ZOL_STATUS_BAD_ARGUMENT, kConvertFromDIB, c->context);
        return;
    }
    if (const char* c = headerFault(dib, kPacked)) {
        report(ZOL_STATUS_BAD_ARGUMENT, kConvertFromDIB, c);
        return;
    }
    importPixels(kConvertFromDIB, dib, nullptr, image);
}

int zolConvertFromDIBSep(const ZolBitmapInfoHeader* dibHeader, const void* dibData, ZolImage* image) {
    const char* f = kConvertFromDIBSep;
    if (!dibHeader) return report(ZOL_STATUS_BAD_ARGUMENT, f, "( ((void *)0) == dibHeader )"), -5;
    if (!dibData) return report(ZOL_STATUS_BAD_ARGUMENT, f, "( ((void *)0) == dibData )"), -5;
    if (!image) return report(ZOL_STATUS_BAD_ARGUMENT, f, "( ((void *)0) == image )"), -9;
    if (const ImageCheck* c = imageFault(image, true)) return report(ZOL_STATUS_BAD_ARGUMENT, f, c->context), c->ret;
    if (const char* c = headerFault(dibHeader, kSep)) return report(ZOL_STATUS_BAD_ARGUMENT, f, c), -5;
    return importPixels(f, dibHeader, static_cast<const uint8_t*>(dibData), image);
}

ZolImage* zolTranslateDIB(const ZolBitmapInfoHeader* dib, int* cloneData) {
    const char* f = kTranslateDIB;
    if (!dib) return report(ZOL_STATUS_BAD_ARGUMENT, f, "( dib == ((void *)0) )"), nullptr;
    if (!cloneData) return report(ZOL_STATUS_BAD_ARGUMENT, f, "( cloneData == ((void *)0) )"), nullptr;
    if (const char* c = headerFault(dib, kTranslate)) return report(ZOL_STATUS_BAD_ARGUMENT, f, c), nullptr;
    const char* context = nullptr;
    if (int st = boundsFault(dib, &context)) return report(st, f, context), nullptr;
    const int64_t entries = colourCount(dib);
    const auto* table = reinterpret_cast<const ZolRGBQuad*>(reinterpret_cast<const uint8_t*>(dib) + dib->biSize);
    const bool gray = dib->biBitCount <= 8 && isGrayTable(table, entries);
    int nCh = 3, alpha = 0, depth = ZOL_DEPTH_8U, clone = 1;
    const char *model = "RGB\0", *seq = "BGR\0";
    switch (dib->biBitCount) {
        case 1:
            if (gray) nCh = 1, depth = ZOL_DEPTH_1U, clone = 0;
            break;
        case 4:
            if (gray) nCh = 1;
            break;
        case 8:
            if (gray) nCh = 1, clone = dib->biCompression == ZOL_BI_RLE8;
            break;
        case 16:
            break;
        case 24:
            clone = 0;
            break;
        case 32:
            nCh = 4, alpha = 4, model = "RGBA", seq = "BGRA";
            clone = dib->biCompression == ZOL_BI_BITFIELDS;
            break;
        default:
            return report(ZOL_STATUS_BAD_ARGUMENT, f, "dib->biBitCount is bad"), nullptr;
    }
    if (nCh == 1) model = "GRAY", seq = "G\0\0\0";
    const int64_t rowSize = dibRowSize(dib->biWidth, dib->biBitCount);
    const int height = dib->biHeight < 0 ? -dib->biHeight : dib->biHeight;
    const uint8_t* pixels = reinterpret_cast<const uint8_t*>(table) + 4 * entries;
    int align = 8;
    if (!clone && ((reinterpret_cast<uintptr_t>(dib) + 4 * entries) % 8 != 0 || rowSize % 8 != 0)) align = 4;
    ZolImage* image = zolCreateImageHeader(nCh, alpha, depth, model, seq,
                                           clone ? ZOL_DATA_ORDER_PLANE : ZOL_DATA_ORDER_PIXEL,
                                           dib->biHeight < 0 ? ZOL_ORIGIN_TL : ZOL_ORIGIN_BL, align,
                                           dib->biWidth, height, nullptr, nullptr, nullptr, nullptr);
    if (!image)
        return report(ZOL_STATUS_NO_MEMORY, f, "Not enough memory to allocate header for destination image"),
               nullptr;
    if (!clone) {
        image->widthStep = int(rowSize);
        image->imageSize = int(rowSize * height);
        image->imageData = const_cast<char*>(reinterpret_cast<const char*>(pixels));
    } else {
        zolAllocateImage(image, 0, 0);
        if (!image->imageData) {
            report(ZOL_STATUS_NO_MEMORY, f, kNoData);
            zolDeallocateHeader(image);
            return nullptr;
        }
        if (importPixels(kConvertFromDIB, dib, nullptr, image) != 0) {
            zolDeallocate(image, ZOL_FREE_HEADER | ZOL_FREE_DATA);
            return nullptr;
        }
    }
    *cloneData = clone;
    return image;
}

}  // extern "C"
