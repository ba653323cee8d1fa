// Bit reduction: the plain cut, the cut with random jitter, and dithering by
// error diffusion (Floyd-Steinberg, Jarvis-Judice-Ninke, Stucki) or by an
// ordered 4x4 matrix. Diffusion works in place on the destination and clamps
// after every addition; over tiles a second pass carries the errors across
// tile borders so that the values equal those of the untiled image.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <mutex>

#include "colour/colour.h"
#include "core/border.h"
#include "core/image.h"
#include "core/messages.h"

namespace zol {
namespace {

constexpr char kReduce[] = "zolReduceBits";

// The three jitter tables, refilled by each call with jitter. The lock keeps
// a call's fill and use together when threads reduce at once.
int32_t ownJitterRandom[1024];
double ownJitterUnit[1024];
int32_t ownJitterIndex[1024];
std::mutex jitterLock;

void fillJitter() {
    for (int i = 0; i < 1024; ++i) {
        const int r = std::rand() & 0x3FF;
        ownJitterRandom[i] = r;
        ownJitterUnit[i] = r * 0.0009765625;
    }
    for (int i = 0; i < 1024; ++i) ownJitterIndex[i] = std::rand() & 0x3FF;
}

// ---------------------------------------------------------------------
// The cut

// The depth pair's fault, or nullptr when the pair is served.
const char* pairFault(int sd, int dd) {
    if (sd == 8) return dd == 1 ? nullptr : "Error out depth. 8U to 1U conversion is valid now";
    if (sd == 16)
        return dd == 8 || dd == 1 ? nullptr : "Error out depth. 16U to 8U,1U conversion is valid now";
    if (sd == ZOL_DEPTH_32S)
        return dd == 16 || dd == 8 || dd == 1 ? nullptr
                                              : "Error out depth. 32S to 16U,8U,1U conversion is valid now";
    return "Error input depth. 32S,16U,8U input is valid now";
}

// Rows of n elements per plane; f maps a source element to the stored one.
template <class S, class D, class F>
void cutRows(const ColourPiece& p, int n, int planes, F f) {
    for (int k = 0; k < planes; ++k)
        for (int y = 0; y < p.height; ++y) {
            const S* s = reinterpret_cast<const S*>(p.src + k * p.srcPlane + y * p.srcStep);
            D* d = reinterpret_cast<D*>(p.dst + k * p.dstPlane + y * p.dstStep);
            for (int x = 0; x < n; ++x) d[x] = D(f(s[x]));
        }
}

template <class S, class F>
void cutBits(const ColourPiece& p, int n, F f) {
    for (int y = 0; y < p.height; ++y) {
        const S* s = reinterpret_cast<const S*>(p.src + y * p.srcStep);
        auto* d = reinterpret_cast<uint8_t*>(p.dst + y * p.dstStep);
        for (int x = 0; x < n; ++x) {
            const uint8_t m = uint8_t(0x80u >> (x & 7));
            d[x >> 3] = f(s[x]) ? uint8_t(d[x >> 3] | m) : uint8_t(d[x >> 3] & ~m);
        }
    }
}

// The cut of a piece; false after reporting an unserved depth pair.
bool ownReduceBits(const char* func, const ZolImage* s, const ZolImage* d, const ColourPiece& p) {
    if (const char* fault = pairFault(s->depth, d->depth)) {
        Frame(func).fail(ZOL_STATUS_BAD_ARGUMENT, fault);
        return false;
    }
    const bool pixel = s->dataOrder == ZOL_DATA_ORDER_PIXEL;
    const int n = pixel ? p.width * s->nChannels : p.width, planes = pixel ? 1 : s->nChannels;
    switch (depthBits(s->depth) * 64 + d->depth) {
        case 8 * 64 + 1: cutBits<uint8_t>(p, n, [](uint8_t v) { return v > 127; }); break;
        case 16 * 64 + 8: cutRows<uint16_t, uint8_t>(p, n, planes, [](uint16_t v) { return v >> 8; }); break;
        case 16 * 64 + 1: cutBits<uint16_t>(p, n, [](uint16_t v) { return v > 32767; }); break;
        case 32 * 64 + 16:
            cutRows<int32_t, uint16_t>(p, n, planes, [](int32_t v) { return (v >> 16) + 32768; });
            break;
        case 32 * 64 + 8:
            cutRows<int32_t, uint8_t>(p, n, planes, [](int32_t v) { return (v >> 24) + 128; });
            break;
        default: cutBits<int32_t>(p, n, [](int32_t v) { return v > 0; }); break;
    }
    return true;
}

// ---------------------------------------------------------------------
// Jitter, written into the private block before the cut

struct JitterInt {
    int64_t limit, tMul, up, step, top;
    bool fromV;  // c formed from v rather than v'
};

template <class S>
void jitterInt(char* block, ptrdiff_t stride, ptrdiff_t planeBytes, int n, int h, int planes, int a,
               const JitterInt& j) {
    for (int k = 0; k < planes; ++k)
        for (int y = 0; y < h; ++y) {
            S* row = reinterpret_cast<S*>(block + k * planeBytes + y * stride);
            for (int x = 0; x < n; ++x) {
                const int64_t v = row[x];
                if (v >= j.limit) continue;
                const int i1 = (x + 4 * y + ownJitterIndex[x & 0x3FF]) & 0x3FF;
                const int i2 = (y + 4 * x + ownJitterIndex[y & 0x3FF]) & 0x3FF;
                const int64_t noise = ((2 * a * ownJitterRandom[i2] + 512) >> 10) - a;
                const int64_t t = (ownJitterRandom[i1] * j.tMul) >> 10;
                const int64_t v2 = (v & j.up) <= t ? v + j.up : v;
                const int64_t c = (j.fromV ? v : v2) + j.step * noise;
                row[x] = S(c >= 0 && c <= j.top ? c : v2);
            }
        }
}

void jitterBits32(char* block, ptrdiff_t stride, int n, int h, int a) {
    const double M = 2147483647.0;
    for (int y = 0; y < h; ++y) {
        int32_t* row = reinterpret_cast<int32_t*>(block + y * stride);
        for (int x = 0; x < n; ++x) {
            const int i1 = (x + 4 * y + ownJitterIndex[x & 0x3FF]) & 0x3FF;
            const int i2 = (y + 4 * x + ownJitterIndex[y & 0x3FF]) & 0x3FF;
            const double v = row[x];
            const double t = M * ownJitterUnit[i1];
            const double w = t >= v ? v + M : v;
            const double s = w + M * (2 * a * ownJitterUnit[i2] + 0.5 - a);
            if (s >= -2147483648.0 && s <= M) row[x] = int32_t(s);
        }
    }
}

bool ownjitter_rect(const ZolImage* s, const ZolImage* d, ColourPiece p, char* block, int a) {
    if (const char* fault = pairFault(s->depth, d->depth)) {
        Frame("ownjitter_rect").fail(ZOL_STATUS_BAD_ARGUMENT, fault);
        return false;
    }
    const bool pixel = s->dataOrder == ZOL_DATA_ORDER_PIXEL;
    const int n = pixel ? p.width * s->nChannels : p.width, planes = pixel ? 1 : s->nChannels;
    if (s->depth == 8) {
        jitterInt<uint8_t>(block, p.srcStep, p.srcPlane, n, p.height, planes, a, {240, 17, 16, 16, 255, false});
    } else if (s->depth == 16) {
        jitterInt<uint16_t>(block, p.srcStep, p.srcPlane, n, p.height, planes, a,
                            {65280, 257, 256, 256, 65535, false});
    } else if (d->depth == 16) {
        jitterInt<int32_t>(block, p.srcStep, p.srcPlane, n, p.height, planes, a,
                           {0x7FFF0000, 0x10001, 65535, 65536, 2147483647, true});
    } else if (d->depth == 8) {
        jitterInt<int32_t>(block, p.srcStep, p.srcPlane, n, p.height, planes, a,
                           {0x7F000000, 0x1000001, 0xFFFFFF, 1 << 24, 2147483647, true});
    } else {
        jitterBits32(block, p.srcStep, n, p.height, a);
    }
    return ownReduceBits("ownjitter_rect", s, d, p);
}

// ---------------------------------------------------------------------
// Dither

// The channels of a dithered destination, as byte offsets from a pixel:
// three of an RGB image, the first of a gray one.
struct DitherChannels {
    int count = 0;
    ptrdiff_t planeIndex[3];  // plane order: plane per channel; pixel order: channel
};

bool ditherChannels(const ZolImage* d, DitherChannels& c) {
    if (isGrayImage(d)) {
        c.count = 1;
        c.planeIndex[0] = 0;
        return true;
    }
    if (!isRgbImage(d)) return false;
    c.count = 0;
    if (d->dataOrder == ZOL_DATA_ORDER_PIXEL) {
        for (int k = 0; k < 3; ++k) c.planeIndex[c.count++] = k;
        return true;
    }
    for (int i = 0; i < 4 && i < d->nChannels; ++i)
        if (d->channelSeq[i] == 'R' || d->channelSeq[i] == 'G' || d->channelSeq[i] == 'B')
            c.planeIndex[c.count++] = i;
    return true;
}

const char* ditherFault(int depth, int type) {
    if (depth != 8 && depth != 16) return "errDepthForDithering";
    if (type != 2 && type != 4 && type != 8 && type != 16) return "errDitherOption";
    return nullptr;
}

struct Quant {
    int32_t n, top, bits, level;
    int32_t q(int32_t v) const { return (v & ~n) + ((v & n) > (n >> 1) ? n : 0); }
};

Quant quantOf(int bits, int level) {
    int32_t n = ((1 << bits) - 1) >> level;
    return Quant{n ? n : 1, (1 << bits) - 1, bits, level};
}

struct Tap { int dx, dy, c; };
constexpr Tap kFs[] = {{1, 0, 7}, {-1, 1, 3}, {0, 1, 5}, {1, 1, 1}};
constexpr Tap kStucki[] = {{1, 0, 1560}, {2, 0, 780},  {-2, 1, 390}, {-1, 1, 780}, {0, 1, 1560}, {1, 1, 780},
                           {2, 1, 390},  {-2, 2, 195}, {-1, 2, 390}, {0, 2, 780},  {1, 2, 390},  {2, 2, 195}};
constexpr Tap kJjn[] = {{1, 0, 1197}, {2, 0, 855},  {-2, 1, 513}, {-1, 1, 855}, {0, 1, 1197}, {1, 1, 855},
                        {2, 1, 513},  {-2, 2, 171}, {-1, 2, 513}, {0, 2, 855},  {1, 2, 513},  {2, 2, 171}};

// One element of error diffusion at (x, y); at(x, y) gives the element or
// nullptr where there is none (outside the piece, or the image).
template <class T, class At>
inline void diffuse(const At& at, int x, int y, int type, const Quant& qz) {
    T* p = at(x, y);
    const int32_t v = *p, q = qz.q(v), e = v - q;
    *p = T(q);
    const Tap* taps = type == 2 ? kFs : type == 4 ? kJjn : kStucki;
    const int nt = type == 2 ? 4 : 12, sh = type == 2 ? 4 : 13;
    for (int i = 0; i < nt; ++i) {
        T* t = at(x + taps[i].dx, y + taps[i].dy);
        if (!t) continue;
        const int32_t r = ((int32_t(*t) << sh) + taps[i].c * e) >> sh;
        *t = T(r < 0 ? 0 : (r > qz.top ? qz.top : r));
    }
}

constexpr int32_t kBayer[16] = {0,    1928, 482,  2410, 2892, 964,  3374, 1446,
                                723,  2651, 241,  2169, 3615, 1687, 3133, 1205};

template <class T>
void ditherPiece(const ZolImage* d, const ColourPiece& p, const DitherChannels& ch, int type,
                 const Quant& qz) {
    const bool pixel = d->dataOrder == ZOL_DATA_ORDER_PIXEL;
    const ptrdiff_t pix = ptrdiff_t(sizeof(T)) * (pixel ? d->nChannels : 1);
    for (int k = 0; k < ch.count; ++k) {
        char* base = p.dst + (pixel ? ptrdiff_t(sizeof(T)) * ch.planeIndex[k] : p.dstPlane * ch.planeIndex[k]);
        const int w = p.width, h = p.height;
        const ptrdiff_t step = p.dstStep;
        auto at = [&](int x, int y) -> T* {
            if (x < 0 || x >= w || y >= h) return nullptr;
            return reinterpret_cast<T*>(base + y * step + x * pix);
        };
        if (type == 16) {
            for (int y = 0; y < h; ++y)
                for (int x = 0; x < w; ++x) {
                    T* e = at(x, y);
                    const int32_t t = (kBayer[(x & 3) * 4 + ((p.y0 + y) & 3)] << (qz.bits - qz.level)) >> 12;
                    *e = T((*e & ~qz.n) + ((*e & qz.n) > t ? qz.n : 0));
                }
            continue;
        }
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) diffuse<T>(at, x, y, type, qz);
    }
}

void own_dither_rect(const ZolImage* d, const ColourPiece& p, int type, int level) {
    DitherChannels ch;
    if (!ditherChannels(d, ch)) return;
    if (const char* fault = ditherFault(d->depth, type)) {
        Frame("own_dither_rect").fail(ZOL_STATUS_BAD_ARGUMENT, fault);
        return;
    }
    const Quant qz = quantOf(d->depth, level);
    if (d->depth == 8) ditherPiece<uint8_t>(d, p, ch, type, qz);
    else ditherPiece<uint16_t>(d, p, ch, type, qz);
}

// Up to four tiles held around tile (c, r): itself, right, below, below right.
struct TileQuad {
    char* data[2][2] = {{nullptr, nullptr}, {nullptr, nullptr}};  // [dy][dx]
    int c, r, tw, th, width, height;
    ptrdiff_t step, plane, pix;
};

template <class T>
void errpropRow(const TileQuad& tq, const DitherChannels& ch, bool pixel, int y, int type,
                const Quant& qz) {
    const int lead = type == 2 ? 1 : 2;
    const int X0 = tq.c * tq.tw, Y = tq.r * tq.th + y;
    for (int k = 0; k < ch.count; ++k) {
        const ptrdiff_t off = pixel ? ptrdiff_t(sizeof(T)) * ch.planeIndex[k] : tq.plane * ch.planeIndex[k];
        auto at = [&](int x, int yy) -> T* {
            if (x < 0 || x >= tq.width || yy >= tq.height) return nullptr;
            const int dx = x / tq.tw - tq.c, dy = yy / tq.th - tq.r;
            if (dx < 0 || dx > 1 || dy < 0 || dy > 1 || !tq.data[dy][dx]) return nullptr;
            return reinterpret_cast<T*>(tq.data[dy][dx] + off + (yy % tq.th) * tq.step + (x % tq.tw) * tq.pix);
        };
        int end = std::min(X0 + tq.tw, tq.width);
        if (tq.data[0][1]) end = std::min(X0 + tq.tw + lead, tq.width);
        for (int x = X0 + (tq.c > 0 ? lead : 0); x < end; ++x) diffuse<T>(at, x, Y, type, qz);
    }
}

// The second pass of diffusion over a tiled destination.
void ditherTiles(ZolImage* d, int type, int level) {
    const ZolTileInfo* info = d->tileInfo;
    const int tw = info->width, th = info->height;
    const int nc = (d->width + tw - 1) / tw, nr = (d->height + th - 1) / th;
    DitherChannels ch;
    const bool named = ditherChannels(d, ch);
    const Quant qz = quantOf(d->depth, level);
    const bool pixel = d->dataOrder == ZOL_DATA_ORDER_PIXEL;
    TileQuad tq;
    tq.tw = tw, tq.th = th, tq.width = d->width, tq.height = d->height;
    tq.step = ownTileStep(d);
    tq.plane = ptrdiff_t(th) * tq.step;
    tq.pix = elemSize(d->depth) * (pixel ? d->nChannels : 1);
    auto ask = [&](int c, int r) -> char* {
        info->callBack(d, c, r, ZOL_TILE_WRITE);
        return static_cast<char*>(info->tileData);
    };
    auto give = [&](int c, int r) { info->callBack(d, c, r, ZOL_TILE_RELEASE); };
    for (int r = 0; r < nr; ++r)
        for (int y = 0; y < th; ++y)
            for (int c = 0; c < nc; ++c) {
                char* self = ask(c, r);
                if (!self) continue;
                const int h = std::min(th, d->height - r * th);
                tq.c = c, tq.r = r;
                tq.data[0][0] = self;
                tq.data[0][1] = ask(c + 1, r);
                tq.data[1][0] = tq.data[1][1] = nullptr;
                if ((type != 2 && y >= h - 2) || (type == 2 && y == h - 1)) {
                    tq.data[1][0] = ask(c, r + 1);
                    tq.data[1][1] = ask(c + 1, r + 1);
                }
                if (y < h && named) {
                    if (const char* fault = ditherFault(d->depth, type))
                        Frame("own_dither_tiled_errprop").fail(ZOL_STATUS_BAD_ARGUMENT, fault);
                    else if (d->depth == 8) errpropRow<uint8_t>(tq, ch, pixel, y, type, qz);
                    else errpropRow<uint16_t>(tq, ch, pixel, y, type, qz);
                }
                give(c, r);
                if (tq.data[0][1]) give(c + 1, r);
                if (tq.data[1][0]) give(c, r + 1);
                if (tq.data[1][1]) give(c + 1, r + 1);
            }
}

// The cut (with jitter or not) and the dither, over the destination's
// pieces; the source rectangle of each piece comes through a private block.
bool reducePieces(const Frame& f, const ZolImage* src, ZolImage* dst, int jitter, int type,
                  int level, bool dither) {
    DstTiles t(dst);
    while (t.next()) {
        if (t.width > 0 && t.height > 0) {
            int stride = 0;
            void* block = ownGetRect(src, t.x, t.y, t.width, t.height, &stride);
            if (!block) {
                t.release();
                f.fail(ZOL_STATUS_NO_MEMORY, msg::kOutOfMemory);
                return false;
            }
            ColourPiece p{static_cast<const char*>(block), stride, ptrdiff_t(stride) * t.height,
                          t.data, t.step, t.plane, t.width, t.height, t.y};
            if (jitter) ownjitter_rect(src, dst, p, static_cast<char*>(block), jitter);
            else ownReduceBits("ownReduceBits", src, dst, p);
            if (dither && type != 1) own_dither_rect(dst, p, type, level);
            zolFree(block);
        }
        t.release();
    }
    return true;
}

}  // namespace
}  // namespace zol

using namespace zol;

ZOL_API void zolReduceBits(ZolImage* src, ZolImage* dst, int jitterType, int ditherType, int levelBits) {
    Frame f(kReduce);
    if (jitterType < 0 || jitterType >= 9) {
        f.fail(ZOL_STATUS_BAD_ARGUMENT, "(jitterType<0)||( jitterType >= 9)");
        return;
    }
    if (!f.headersOk({src, dst})) return;
    if (src->roi || dst->roi) {
        f.fail(ZOL_STATUS_BAD_ARGUMENT, "src & dst roi must be NULL");
        return;
    }
    if (src->nChannels != dst->nChannels || src->dataOrder != dst->dataOrder || src->origin != dst->origin) {
        f.fail(ZOL_STATUS_BAD_ARGUMENT,
               "(src->nChannels != dst->nChannels)||(src->dataOrder != dst->dataOrder)||(src->origin != "
               "dst->origin)");
        return;
    }
    if (ditherType != 1 && !isRgbImage(src) && !isGrayImage(src)) {
        f.fail(ZOL_STATUS_BAD_ARGUMENT,
               "colorModel, (channelSeq)  must be RGB,(RGB,BGR) or GRAY,(G) when dithering mode is set on");
        return;
    }
    const bool tiled = src->imageData == nullptr || dst->imageData == nullptr;
    if (!tiled && ditherType == 1 && jitterType == 0) {
        ColourPiece p{src->imageData, src->widthStep, ptrdiff_t(src->height) * src->widthStep,
                      dst->imageData, dst->widthStep, ptrdiff_t(dst->height) * dst->widthStep,
                      std::min(src->width, dst->width), std::min(src->height, dst->height), 0};
        ownReduceBits("ownReduceBits", src, dst, p);
        return;
    }
    const int bits = depthBits(dst->depth);
    if (levelBits < 0) levelBits = 0;
    if (levelBits > bits) levelBits = bits >> 1;
    std::unique_lock<std::mutex> hold(jitterLock, std::defer_lock);
    if (jitterType) {
        hold.lock();
        fillJitter();
    }
    const bool diffusion = ditherType == 2 || ditherType == 4 || ditherType == 8;
    if (diffusion && dst->imageData == nullptr) {
        if (reducePieces(f, src, dst, jitterType, ditherType, levelBits, false))
            ditherTiles(dst, ditherType, levelBits);
        return;
    }
    reducePieces(f, src, dst, jitterType, ditherType, levelBits, true);
}
