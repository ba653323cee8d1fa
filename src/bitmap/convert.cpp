// Depth conversion by value with saturation, and the expansion of 1-bit
// images. Both walk the source and the destination at once, each by its own
// tile size, and turn the picture over when the origins differ.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>

#include "core/frame.h"
#include "core/image.h"

namespace zol {
namespace {

constexpr char kConvert[] = "zolConvert";
constexpr char kBitonal[] = "zolBitonalToGray";

// One side of a part: its first element (row 0, channel 0 of the part),
// its steps in bytes, and the bit offset of its first pixel in 1-bit rows.
struct Side {
    char* p;
    ptrdiff_t row, pix, chan;
    int bit;
};

struct Part {
    Side s, d;
    int w, h, nCh;
};

// The bounds are those of D within S's range, so a widening pair compiles
// to a plain move.
template <class D, class S>
inline D clampTo(S v) {
    using L = std::numeric_limits<D>;
    using M = std::numeric_limits<S>;
    constexpr int32_t lo = int64_t(L::min()) > int64_t(M::min()) ? int32_t(L::min()) : int32_t(M::min());
    constexpr int32_t hi = int64_t(L::max()) < int64_t(M::max()) ? int32_t(L::max()) : int32_t(M::max());
    // Clamped in the source type, so that a narrowing pair widens to
    // saturating vector code.
    return D(std::min(S(hi), std::max(S(lo), v)));
}

// Mode 1: every element of every channel, clamped to D's range.
template <class S, class D>
void depthPart(const Part& part, const void*) {
    // A local copy: byte stores could alias the part and keep the loops scalar.
    const Part q = part;
    const int w = q.w;
    for (int y = 0; y < q.h; ++y) {
        const char* sr = q.s.p + y * q.s.row;
        char* dr = q.d.p + y * q.d.row;
        for (int c = 0; c < q.nCh; ++c) {
            const char* si = sr + c * q.s.chan;
            char* di = dr + c * q.d.chan;
            if (q.s.pix == ptrdiff_t(sizeof(S)) && q.d.pix == ptrdiff_t(sizeof(D))) {
                const S* sv = reinterpret_cast<const S*>(si);
                D* dv = reinterpret_cast<D*>(di);
                for (int x = 0; x < w; ++x) dv[x] = clampTo<D>(sv[x]);
            } else {
                for (int x = 0; x < q.w; ++x)
                    *reinterpret_cast<D*>(di + x * q.d.pix) = clampTo<D>(*reinterpret_cast<const S*>(si + x * q.s.pix));
            }
        }
    }
}

// Mode 2: one channel to bits, set where the value is above 0.
template <class S>
void bitsPart(const Part& q, const void*) {
    for (int y = 0; y < q.h; ++y) {
        const char* si = q.s.p + y * q.s.row;
        auto* o = reinterpret_cast<uint8_t*>(q.d.p + y * q.d.row);
        for (int x = 0; x < q.w; ++x) {
            const int b = q.d.bit + x;
            const uint8_t m = uint8_t(0x80u >> (b & 7));
            o[b >> 3] = *reinterpret_cast<const S*>(si + x * q.s.pix) > 0 ? uint8_t(o[b >> 3] | m)
                                                                          : uint8_t(o[b >> 3] & ~m);
        }
    }
}

// Mode 3: whole bytes, bits past the width included.
void bitCopyPart(const Part& q, const void*) {
    for (int y = 0; y < q.h; ++y)
        std::memcpy(q.d.p + y * q.d.row + (q.d.bit >> 3), q.s.p + y * q.s.row + (q.s.bit >> 3), size_t(q.w + 7) / 8);
}

struct Scales {
    int32_t zero, one;
    int nCh;  // channels written: alpha stays
};

template <class D>
void expandPart(const Part& q, const void* context) {
    const Scales& k = *static_cast<const Scales*>(context);
    const D v[2] = {D(k.zero), D(k.one)};
    for (int y = 0; y < q.h; ++y) {
        const auto* s = reinterpret_cast<const uint8_t*>(q.s.p + y * q.s.row);
        char* dr = q.d.p + y * q.d.row;
        for (int c = 0; c < k.nCh; ++c) {
            char* di = dr + c * q.d.chan;
            for (int x = 0; x < q.w; ++x) {
                const int b = q.s.bit + x;
                *reinterpret_cast<D*>(di + x * q.d.pix) = v[(s[b >> 3] >> (7 - (b & 7))) & 1];
            }
        }
    }
}

using PartFn = void (*)(const Part&, const void*);

// Where an image's pixels are: the whole image, or the tile held.
struct Walker {
    ZolImage* img;
    const char* missing;  // context when a tile does not come
    int tw, th;           // tile size (the image's size when untiled)
    ptrdiff_t row, pix, chan;
    int first;            // first channel of the part (the coi in mode 2)
    int heldX = -1, heldY = -1;
    bool tiled;

    Walker(ZolImage* image, const char* missingContext, int channel) : img(image), missing(missingContext), first(channel) {
        tiled = image->tileInfo != nullptr && image->imageData == nullptr;
        tw = tiled ? image->tileInfo->width : image->width;
        th = tiled ? image->tileInfo->height : image->height;
        row = tiled ? ownTileStep(image) : image->widthStep;
        const ptrdiff_t es = elemSize(image->depth);
        const bool planar = image->dataOrder == ZOL_DATA_ORDER_PLANE;
        pix = planar ? es : es * image->nChannels;
        chan = planar ? row * th : es;
    }
    // Holds the tile of (x, y); false when it did not come (reported).
    bool hold(const Frame& f, int x, int y, int mode) {
        if (!tiled) return true;
        const int tx = x / tw, ty = y / th;
        if (tx == heldX && ty == heldY) return true;
        release();
        img->tileInfo->callBack(img, tx, ty, mode);
        heldX = tx, heldY = ty;
        if (!img->tileInfo->tileData) {
            f.fail(ZOL_STATUS_BAD_ARGUMENT, missing);
            return false;
        }
        return zolGetErrStatus() >= 0;
    }
    void release() {
        if (tiled && heldX >= 0) img->tileInfo->callBack(img, heldX, heldY, ZOL_TILE_RELEASE);
        heldX = heldY = -1;
    }
    Side at(int x, int y) const {
        char* base = tiled ? static_cast<char*>(img->tileInfo->tileData) : img->imageData;
        const int lx = tiled ? x % tw : x, ly = tiled ? y % th : y;
        if (img->depth == ZOL_DEPTH_1U) return {base + ly * row, row, 0, 0, lx};
        return {base + ly * row + lx * pix + first * chan, row, pix, chan, 0};
    }
};

// Walks the destination in parts that each lie in one tile of each image.
void walk(const Frame& f, ZolImage* src, ZolImage* dst, int srcChannel, int nCh, PartFn fn,
          const void* context) {
    Walker s(src, "(srcImage->tileInfo->tileData == ((void *)0))", srcChannel);
    Walker d(dst, "(dstImage->tileInfo->tileData == ((void *)0))", 0);
    const bool flip = src->origin != dst->origin;
    const int W = dst->width, H = dst->height;
    for (int y = 0; y < H;) {
        int ph = 0;
        for (int x = 0; x < W;) {
            const int sy = flip ? H - 1 - y : y;
            if (!d.hold(f, x, y, ZOL_TILE_WRITE) || !s.hold(f, x, sy, ZOL_TILE_READ)) {
                s.release(), d.release();
                return;
            }
            const int pw = std::min({d.tw - x % d.tw, s.tw - x % s.tw, W - x});
            const int sLeft = flip ? sy % s.th + 1 : s.th - sy % s.th;
            ph = std::min({d.th - y % d.th, sLeft, H - y});
            Part q{s.at(x, sy), d.at(x, y), pw, ph, nCh};
            if (flip) q.s.row = -q.s.row;
            fn(q, context);
            x += pw;
        }
        y += ph;
    }
    s.release(), d.release();
}

int depthIndex(int depth) {
    switch (depth) {
        case ZOL_DEPTH_8U: return 0;
        case ZOL_DEPTH_8S: return 1;
        case ZOL_DEPTH_16U: return 2;
        case ZOL_DEPTH_16S: return 3;
        case ZOL_DEPTH_32S: return 4;
        default: return -1;
    }
}

template <class S>
constexpr PartFn kRow[5] = {depthPart<S, uint8_t>, depthPart<S, int8_t>, depthPart<S, uint16_t>,
                            depthPart<S, int16_t>, depthPart<S, int32_t>};
constexpr const PartFn* kDepthTable[5] = {kRow<uint8_t>, kRow<int8_t>, kRow<uint16_t>, kRow<int16_t>, kRow<int32_t>};
constexpr PartFn kBits[5] = {bitsPart<uint8_t>, bitsPart<int8_t>, bitsPart<uint16_t>, bitsPart<int16_t>,
                             bitsPart<int32_t>};
constexpr PartFn kExpand[5] = {expandPart<uint8_t>, expandPart<int8_t>, expandPart<uint16_t>,
                               expandPart<int16_t>, expandPart<int32_t>};

}  // namespace
}  // namespace zol

using namespace zol;

extern "C" {

void zolConvert(ZolImage* srcImage, ZolImage* dstImage) {
    const Frame f(kConvert);
    if (!f.headersOk({srcImage, dstImage})) return;
    if (srcImage == dstImage) return;
    if (srcImage->depth == ZOL_DEPTH_32F) return void(f.fail(ZOL_STATUS_BAD_ARGUMENT, "(srcImage->depth == 32)"));
    if (dstImage->depth == ZOL_DEPTH_32F) return void(f.fail(ZOL_STATUS_BAD_ARGUMENT, "(dstImage->depth == 32)"));
    if (srcImage->height != dstImage->height)
        return void(f.fail(ZOL_STATUS_BAD_ARGUMENT, "(srcImage->height != dstImage->height)"));
    if (srcImage->width != dstImage->width)
        return void(f.fail(ZOL_STATUS_BAD_ARGUMENT, "(srcImage->width != dstImage->width)"));
    const bool srcBits = srcImage->depth == ZOL_DEPTH_1U;
    if (dstImage->depth == ZOL_DEPTH_1U && !srcBits) {
        int channel = 0;
        if (srcImage->nChannels > 1) {
            if (!srcImage->roi) return void(f.fail(ZOL_STATUS_BAD_ARGUMENT, "(srcImage->roi == 0)"));
            if (srcImage->roi->coi == 0) return void(f.fail(ZOL_STATUS_BAD_ARGUMENT, "(srcImage->roi->coi == 0)"));
            channel = srcImage->roi->coi - 1;
        }
        return walk(f, srcImage, dstImage, channel, 1, kBits[depthIndex(srcImage->depth)], nullptr);
    }
    if (srcImage->nChannels != dstImage->nChannels)
        return void(f.fail(ZOL_STATUS_BAD_ARGUMENT, "srcImage->nChannels != dstImage->nChannels"));
    if (srcBits && dstImage->depth != ZOL_DEPTH_1U)
        return void(f.fail(ZOL_STATUS_BAD_ARGUMENT,
                           "((srcImage->depth == 1) && (srcImage->depth != dstImage->depth))"));
    if (srcBits) return walk(f, srcImage, dstImage, 0, 1, bitCopyPart, nullptr);
    walk(f, srcImage, dstImage, 0, srcImage->nChannels,
         kDepthTable[depthIndex(srcImage->depth)][depthIndex(dstImage->depth)], nullptr);
}

void zolBitonalToGray(ZolImage* srcImage, ZolImage* dstImage, int32_t ZeroScale, int32_t OneScale) {
    const Frame f(kBitonal);
    if (!f.headersOk({srcImage, dstImage})) return;
    if (srcImage->height != dstImage->height)
        return void(f.fail(ZOL_STATUS_BAD_ARGUMENT, "(srcImage->height != dstImage->height)"));
    if (srcImage->width != dstImage->width)
        return void(f.fail(ZOL_STATUS_BAD_ARGUMENT, "(srcImage->width != dstImage->width)"));
    const int dd = dstImage->depth;
    struct Check {
        bool bad;
        const char* context;
    };
    const int64_t z = ZeroScale, o = OneScale;
    const Check checks[] = {
        {srcImage->nChannels != 1, "(srcImage->nChannels != 1)"},
        {srcImage->depth != ZOL_DEPTH_1U, "(srcImage->depth != 1)"},
        {dd == ZOL_DEPTH_32F, "(dstImage->depth == 32)"},
        {dd == ZOL_DEPTH_1U, "(dstImage->depth == 1)"},
        {dd == ZOL_DEPTH_8S && z > 127, "((dstImage->depth == (0x80000000| 8)) && (ZeroScale > 127))"},
        {dd == ZOL_DEPTH_8S && z < -128, "((dstImage->depth == (0x80000000| 8)) && (ZeroScale < -128))"},
        {dd == ZOL_DEPTH_8S && o > 127, "((dstImage->depth == (0x80000000| 8)) && (OneScale > 127))"},
        {dd == ZOL_DEPTH_8S && o < -128, "((dstImage->depth == (0x80000000| 8)) && (OneScale < -128))"},
        {dd == ZOL_DEPTH_8U && z > 255, "((dstImage->depth == 8) && (ZeroScale > 255))"},
        {dd == ZOL_DEPTH_8U && z < 0, "((dstImage->depth == 8) && (ZeroScale < 0))"},
        {dd == ZOL_DEPTH_8U && o > 255, "((dstImage->depth == 8) && (OneScale > 255))"},
        {dd == ZOL_DEPTH_8U && o < 0, "((dstImage->depth == 8) && (OneScale < 0))"},
        {dd == ZOL_DEPTH_16S && z > 32767, "((dstImage->depth == (0x80000000|16)) && (ZeroScale > 32767))"},
        {dd == ZOL_DEPTH_16S && z < -32768, "((dstImage->depth == (0x80000000|16)) && (ZeroScale < -32768))"},
        {dd == ZOL_DEPTH_16S && o > 32767, "((dstImage->depth == (0x80000000|16)) && (OneScale > 32767))"},
        {dd == ZOL_DEPTH_16S && o < -32768, "((dstImage->depth == (0x80000000|16)) && (OneScale < -32768))"},
        {dd == ZOL_DEPTH_16U && z > 65535, "((dstImage->depth == 16) && (ZeroScale > 65535))"},
        {dd == ZOL_DEPTH_16U && z < 0, "((dstImage->depth == 16) && (ZeroScale < 0))"},
        {dd == ZOL_DEPTH_16U && o > 65535, "((dstImage->depth == 16) && (OneScale > 65535))"},
        {dd == ZOL_DEPTH_16U && o < 0, "((dstImage->depth == 16) && (OneScale < 0))"},
    };
    for (const Check& c : checks)
        if (c.bad) return void(f.fail(ZOL_STATUS_BAD_ARGUMENT, c.context));
    const Scales k{ZeroScale, OneScale, dstImage->nChannels - (dstImage->alphaChannel ? 1 : 0)};
    walk(f, srcImage, dstImage, 0, k.nCh, kExpand[depthIndex(dd)], &k);
}

}  // extern "C"
