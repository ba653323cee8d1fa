// Copy, set and exchange: the block movers every other family builds on.
// Nothing converts here: elements move at their own width, so 32S and 32F
// are the same 4-byte words and every bit of a float survives.
#include "arith/copy.h"

#include <algorithm>
#include <climits>
#include <cstring>

#include "core/border.h"
#include "core/image.h"
#include "core/messages.h"
#include "core/parts.h"
#include "core/rect.h"
#include "core/report.h"

namespace zol {

namespace copyk {

uint64_t fillPattern(int bytes, uint32_t value) {
    switch (bytes) {
        case 1: return uint64_t(value & 0xFFu) * 0x0101010101010101ull;
        case 2: return uint64_t(value & 0xFFFFu) * 0x0001000100010001ull;
        default: return uint64_t(value) * 0x0000000100000001ull;
    }
}

// The C library's move runs at memory bandwidth and allows overlap, which
// two headers over the same pixels may bring.
void copyRow(const uint8_t* s, uint8_t* d, size_t n) { std::memmove(d, s, n); }

void fillRow(uint8_t* d, size_t n, uint64_t pattern) {
    if (pattern == (pattern & 0xFFu) * 0x0101010101010101ull) {
        std::memset(d, int(pattern & 0xFFu), n);
        return;
    }
    // 64 bytes a turn from a block the compiler keeps in vector registers;
    // unaligned stores cost nothing on the targets.
    uint8_t block[64];
    for (int i = 0; i < 64; i += 8) std::memcpy(block + i, &pattern, 8);
    size_t i = 0;
    for (; i + 64 <= n; i += 64) std::memcpy(d + i, block, 64);
    for (; i + 8 <= n; i += 8) std::memcpy(d + i, &pattern, 8);
    for (; i < n; ++i) d[i] = uint8_t(pattern >> (8 * (i & 7)));
}

void swapRow(uint8_t* a, uint8_t* b, size_t n) {
    size_t i = 0;
    for (; i + 64 <= n; i += 64) {
        uint8_t t[64], u[64];
        std::memcpy(t, a + i, 64);
        std::memcpy(u, b + i, 64);
        std::memcpy(a + i, u, 64);
        std::memcpy(b + i, t, 64);
    }
    for (; i + 8 <= n; i += 8) {
        uint64_t t, u;
        std::memcpy(&t, a + i, 8);
        std::memcpy(&u, b + i, 8);
        std::memcpy(a + i, &u, 8);
        std::memcpy(b + i, &t, 8);
    }
    for (; i < n; ++i) std::swap(a[i], b[i]);
}

void swapBitRow(uint8_t* a, int64_t aBit, uint8_t* b, int64_t bBit, int64_t count) {
    // Through a bounce buffer with the bit-run copy, which merges the edges.
    constexpr int64_t kBits = 4096;
    uint8_t t[kBits / 8] = {};
    while (count > 0) {
        a += aBit >> 3;
        aBit &= 7;
        b += bBit >> 3;
        bBit &= 7;
        const int64_t k = std::min(count, kBits);
        ownCopyBitRow(b, t, int(bBit), 0, k);
        ownCopyBitRow(a, b, int(aBit), int(bBit), k);
        ownCopyBitRow(t, a, 0, int(aBit), k);
        aBit += k;
        bBit += k;
        count -= k;
    }
}

void fillBitRow(uint8_t* d, int64_t dBit, int64_t count, bool value) {
    if (count <= 0) return;
    d += dBit >> 3;
    const int b0 = int(dBit & 7);
    const int64_t last = (b0 + count - 1) >> 3;
    const unsigned v = value ? 0xFFu : 0u;
    const unsigned head = 0xFFu >> b0;
    const unsigned tail = (0xFFu << (7 - int((b0 + count - 1) & 7))) & 0xFFu;
    auto merge = [v](uint8_t& byte, unsigned m) { byte = uint8_t((byte & ~m) | (v & m)); };
    if (last == 0) return merge(d[0], head & tail);
    merge(d[0], head);
    std::memset(d + 1, int(v), size_t(last - 1));
    merge(d[last], tail);
}

}  // namespace copyk

namespace {

CopyKernels makeTable(Form form) {
    CopyKernels k{copyk::fillRow, copyk::swapRow};
    copySimd(form, k);
    return k;
}

}  // namespace

const CopyKernels& copyKernels() { return tableForActiveForm(makeTable); }

Form copyForm() { return activeForm(); }

namespace {

using namespace copyk;

// ---------------------------------------------------------------------
// Parts and how they are moved

// Where one image's part of the region lies in memory.
struct Side {
    uint8_t* row = nullptr;  // first selected element of the first row (1U: the row)
    ptrdiff_t step = 0;      // bytes from row to row
    ptrdiff_t pix = 0;       // bytes from pixel to pixel
    ptrdiff_t chan = 0;      // bytes from one channel of the set to the next
    int64_t bit = 0;         // 1U: the part's first bit in its row
};

struct MaskSide {
    const uint8_t* row;
    ptrdiff_t step;
    int64_t bit;
};

// What both sides of a part share.
struct Shape {
    int w, h;
    int n;      // channels of the set
    int bytes;  // element size; 0 for 1U
    bool line;  // on both sides one channel's elements lie side by side in a row
    bool fold;  // on both sides whole pixels do: a row is one run of w x n elements
};

// The part at pixel (x, y) of a block of pixels in im's layout, whose
// planes hold planeRows rows; first is the set's first channel, from 0.
Side sideAt(const ZolImage* im, char* base, ptrdiff_t step, ptrdiff_t planeRows, int x, int y,
            int first) {
    Side s;
    const ptrdiff_t b = elemSize(im->depth);
    s.step = step;
    uint8_t* r = reinterpret_cast<uint8_t*>(base) + ptrdiff_t(y) * step;
    if (b == 0) {
        s.row = r;
        s.bit = x;
    } else if (im->dataOrder == ZOL_DATA_ORDER_PIXEL) {
        s.pix = b * im->nChannels;
        s.chan = b;
        s.row = r + x * s.pix + first * b;
    } else {
        s.pix = b;
        s.chan = step * planeRows;
        s.row = r + first * s.chan + x * b;
    }
    return s;
}

MaskSide maskAt(const ZolImage* m, int x, int y) {
    return MaskSide{reinterpret_cast<const uint8_t*>(m->imageData) + ptrdiff_t(y) * m->widthStep,
                    m->widthStep, x};
}

template <class T>
inline T load(const uint8_t* p) {
    T v;
    std::memcpy(&v, p, sizeof v);
    return v;
}
template <class T>
inline void store(uint8_t* p, T v) {
    std::memcpy(p, &v, sizeof v);
}

// The three movers: a run of bytes and a single element each.
template <class T>
struct Copy {
    void block(uint8_t* d, uint8_t* s, size_t n) const { copyRow(s, d, n); }
    void elem(uint8_t* d, const uint8_t* s) const { store<T>(d, load<T>(s)); }
    void select(uint8_t* d, const uint8_t* s, bool on) const {
        const T a = load<T>(d), b = load<T>(s);
        store<T>(d, on ? b : a);
    }
    void blend(uint8_t* d, const uint8_t* s, uint64_t m) const {
        store<uint64_t>(d, (load<uint64_t>(d) & ~m) | (load<uint64_t>(s) & m));
    }
};

// The destination's element is read first, so that one element shared by
// both images comes out as it was.
template <class T>
struct Swap {
    SwapRowFn swapRun;
    void block(uint8_t* d, uint8_t* s, size_t n) const { swapRun(d, s, n); }
    void elem(uint8_t* d, uint8_t* s) const {
        const T t = load<T>(d);
        store<T>(d, load<T>(s));
        store<T>(s, t);
    }
    void select(uint8_t* d, uint8_t* s, bool on) const {
        const T a = load<T>(d), b = load<T>(s);
        store<T>(d, on ? b : a);
        store<T>(s, on ? a : b);
    }
    void blend(uint8_t* d, uint8_t* s, uint64_t m) const {
        const uint64_t a = load<uint64_t>(d), b = load<uint64_t>(s), t = (a ^ b) & m;
        store<uint64_t>(d, a ^ t);
        store<uint64_t>(s, b ^ t);
    }
};

template <class T>
struct Fill {
    FillRowFn fillRun;
    uint64_t pattern;
    T value;
    void block(uint8_t* d, uint8_t*, size_t n) const { fillRun(d, n, pattern); }
    void elem(uint8_t* d, const uint8_t*) const { store<T>(d, value); }
    void select(uint8_t* d, const uint8_t*, bool on) const {
        const T a = load<T>(d);
        store<T>(d, on ? value : a);
    }
    void blend(uint8_t* d, const uint8_t*, uint64_t m) const {
        store<uint64_t>(d, (load<uint64_t>(d) & ~m) | (pattern & m));
    }
};

// Byte masks of eight pixels of p bytes (p from 1 to 8) for each mask
// byte b: p words whose bytes of pixel k are 0xFF when bit 7 - k of b is
// set. Built once, on first use.
const uint64_t* expandedMasks(int p) {
    // All eight tables in one array: table q starts at 256 x q(q-1)/2.
    // Plain storage, so that no container code joins the exported names.
    struct Tables {
        uint64_t words[256 * 36];
        Tables() {
            for (int q = 1; q <= 8; ++q)
                for (int b = 0; b < 256; ++b) {
                    auto* bytes = reinterpret_cast<uint8_t*>(words + 128 * q * (q - 1) + b * q);
                    for (int i = 0; i < 8 * q; ++i) bytes[i] = (b >> (7 - i / q)) & 1 ? 0xFF : 0;
                }
        }
    };
    static const Tables tables;
    return tables.words + 128 * p * (p - 1);
}

// len pixels from pixel x of a row, the channels of the set one after
// another, each side stepping by its own pixel size.
template <class T, class M>
inline void pixels(const M& mv, uint8_t* d, const Side& ds, uint8_t* s, const Side& ss, int n,
                   int x, int len) {
    d += x * ds.pix;
    s += x * ss.pix;
    const ptrdiff_t dp = ds.pix, sp = ss.pix, dc = ds.chan, sc = ss.chan;
    switch (n) {
        case 1:
            for (int i = 0; i < len; ++i, d += dp, s += sp) mv.elem(d, s);
            break;
        case 3:
            for (int i = 0; i < len; ++i, d += dp, s += sp) {
                mv.elem(d, s);
                mv.elem(d + dc, s + sc);
                mv.elem(d + 2 * dc, s + 2 * sc);
            }
            break;
        default:
            for (int i = 0; i < len; ++i, d += dp, s += sp)
                for (int c = 0; c < n; ++c) mv.elem(d + c * dc, s + c * sc);
    }
}

// Calls px(x) for each pixel whose mask bit is set, run(x, len) for runs
// of whole mask bytes that are all set and mixed(x, bits) for the eight
// pixels of any other whole mask byte but 0. Reads only the mask bytes
// that hold bits of the row.
template <class Px, class Run, class Mixed>
inline void maskedRow(const uint8_t* m, int64_t bit, int w, Px&& px, Run&& run, Mixed&& mixed) {
    int x = 0;
    for (; x < w && ((bit + x) & 7); ++x)
        if (bitAt(m, bit + x)) px(x);
    const uint8_t* byte = m + ((bit + x) >> 3);
    int runStart = x, runLen = 0;
    for (; x + 8 <= w; x += 8, ++byte) {
        const unsigned b = *byte;
        if (b == 0xFFu) {
            if (!runLen) runStart = x;
            runLen += 8;
            continue;
        }
        if (runLen) run(runStart, runLen), runLen = 0;
        if (b) mixed(x, b);
    }
    if (runLen) run(runStart, runLen);
    for (; x < w; ++x)
        if (bitAt(m, bit + x)) px(x);
}

// The routes for elements of 1, 2 and 4 bytes: line (one block per row and
// channel, or per row when pixels fold into the width), pixel, masked pixel
// and masked plane (the pixel route with the plane step between channels).
template <class T, class M>
void moveElems(const M& mv, const Side& d, const Side& s, const MaskSide* m, const Shape& sh) {
    constexpr size_t b = sizeof(T);
    if (!m) {
        if (sh.line || sh.fold) {
            const int planes = sh.fold ? 1 : sh.n;
            const size_t rowBytes = size_t(sh.w) * b * size_t(sh.fold ? sh.n : 1);
            for (int p = 0; p < planes; ++p) {
                uint8_t* dr = d.row + p * d.chan;
                uint8_t* sr = s.row + p * s.chan;
                // Rows without gaps between them are one block.
                if (d.step == s.step && size_t(d.step) == rowBytes) {
                    mv.block(dr, sr, rowBytes * size_t(sh.h));
                    continue;
                }
                for (int y = 0; y < sh.h; ++y, dr += d.step, sr += s.step)
                    mv.block(dr, sr, rowBytes);
            }
            return;
        }
        uint8_t* dr = d.row;
        uint8_t* sr = s.row;
        for (int y = 0; y < sh.h; ++y, dr += d.step, sr += s.step)
            pixels<T>(mv, dr, d, sr, s, sh.n, 0, sh.w);
        return;
    }
    // Whole pixels (fold), or one channel's elements (line), lie side by
    // side: wordsPerByte words hold the eight pixels of a mask byte.
    const bool contiguous = sh.fold || sh.line;
    const int planes = sh.fold ? 1 : sh.n;
    const int wordsPerByte = int(contiguous ? d.pix : 0);
    const uint64_t* words = contiguous && wordsPerByte <= 8 ? expandedMasks(wordsPerByte) : nullptr;
    uint8_t* dr = d.row;
    uint8_t* sr = s.row;
    const uint8_t* mr = m->row;
    for (int y = 0; y < sh.h; ++y, dr += d.step, sr += s.step, mr += m->step) {
        auto px = [&](int x) { pixels<T>(mv, dr, d, sr, s, sh.n, x, 1); };
        auto run = [&](int x, int len) {
            if (sh.fold || (sh.line && sh.n == 1)) {
                mv.block(dr + x * d.pix, sr + x * s.pix, size_t(len) * size_t(d.pix));
            } else if (sh.line) {
                for (int p = 0; p < sh.n; ++p)
                    mv.block(dr + p * d.chan + x * d.pix, sr + p * s.chan + x * s.pix,
                             size_t(len) * b);
            } else {
                pixels<T>(mv, dr, d, sr, s, sh.n, x, len);
            }
        };
        // A random mask defeats branch prediction, so the eight pixels of
        // a mask byte are selected without branches; the others are
        // written back unchanged. Contiguous pixels blend as 64-bit words.
        auto mixed = [&](int x, unsigned bits) {
            if (words) {
                const uint64_t* mw = words + bits * unsigned(wordsPerByte);
                for (int p = 0; p < planes; ++p) {
                    uint8_t* dp = dr + p * d.chan + x * d.pix;
                    uint8_t* sp = sr + p * s.chan + x * s.pix;
                    for (int k = 0; k < wordsPerByte; ++k) mv.blend(dp + 8 * k, sp + 8 * k, mw[k]);
                }
                return;
            }
            uint8_t* dp = dr + x * d.pix;
            uint8_t* sp = sr + x * s.pix;
            for (int k = 0; k < 8; ++k, dp += d.pix, sp += s.pix) {
                const bool on = (bits >> (7 - k)) & 1u;
                for (int c = 0; c < sh.n; ++c) mv.select(dp + c * d.chan, sp + c * s.chan, on);
            }
        };
        maskedRow(mr, m->bit, sh.w, px, run, mixed);
    }
}

enum class Op { Copy, Swap, Fill };

// 1-bit parts: runs of bits without a mask, bit by bit (and whole mask
// bytes as runs) with one.
void moveBits(Op op, bool value, const Side& d, const Side& s, const MaskSide* m, const Shape& sh) {
    auto runAt = [&](uint8_t* dr, uint8_t* sr, int x, int len) {
        switch (op) {
            case Op::Copy: return ownCopyBitRow(sr, dr, int(s.bit + x), int(d.bit + x), len);
            case Op::Swap: return swapBitRow(dr, d.bit + x, sr, s.bit + x, len);
            case Op::Fill: return fillBitRow(dr, d.bit + x, len, value);
        }
    };
    uint8_t* dr = d.row;
    uint8_t* sr = s.row;
    for (int y = 0; y < sh.h; ++y, dr += d.step, sr += s.step) {
        if (!m) {
            runAt(dr, sr, 0, sh.w);
            continue;
        }
        auto px = [&](int x) {
            switch (op) {
                case Op::Copy: return setBitAt(dr, d.bit + x, bitAt(sr, s.bit + x));
                case Op::Swap: {
                    const int t = bitAt(dr, d.bit + x);
                    setBitAt(dr, d.bit + x, bitAt(sr, s.bit + x));
                    return setBitAt(sr, s.bit + x, t);
                }
                case Op::Fill: return setBitAt(dr, d.bit + x, value);
            }
        };
        auto mixed = [&](int x, unsigned bits) {
            for (int k = 0; k < 8; ++k)
                if (bits & (0x80u >> k)) px(x + k);
        };
        maskedRow(
            m->row + ptrdiff_t(y) * m->step, m->bit, sh.w, px,
            [&](int x, int len) { runAt(dr, sr, x, len); }, mixed);
    }
}

template <class T>
void moveTyped(Op op, uint32_t value, const Side& d, const Side& s, const MaskSide* m,
               const Shape& sh) {
    switch (op) {
        case Op::Copy: return moveElems<T>(Copy<T>{}, d, s, m, sh);
        case Op::Swap: return moveElems<T>(Swap<T>{copyKernels().swapRow}, d, s, m, sh);
        case Op::Fill:
            return moveElems<T>(
                Fill<T>{copyKernels().fillRow, fillPattern(int(sizeof(T)), value), T(value)}, d,
                d, m, sh);
    }
}

// One part, by depth; value is the fill's clamped value.
void movePart(Op op, uint32_t value, const Side& d, const Side& s, const MaskSide* m,
              const Shape& sh) {
    if (sh.w <= 0 || sh.h <= 0) return;
    switch (sh.bytes) {
        case 0: return moveBits(op, value != 0, d, s, m, sh);
        case 1: return moveTyped<uint8_t>(op, value, d, s, m, sh);
        case 2: return moveTyped<uint16_t>(op, value, d, s, m, sh);
        default: return moveTyped<uint32_t>(op, value, d, s, m, sh);
    }
}

// ---------------------------------------------------------------------
// Regions, channel sets, masks

// One call's work: the images, where the region starts in each (and in
// the mask), its size and the channel sets.
struct Job {
    ZolImage* src = nullptr;
    ZolImage* dst = nullptr;
    const ZolImage* mask = nullptr;
    int sx = 0, sy = 0, dx = 0, dy = 0, mx = 0, my = 0;
    int w = 0, h = 0;
    Chans cs{}, cd{};
};

Shape shapeOf(const Job& j, int w, int h) {
    const ZolImage* s = j.src;
    const ZolImage* d = j.dst;
    const int b = elemSize(d->depth);
    auto pix = [b](const ZolImage* im) {
        return im->dataOrder == ZOL_DATA_ORDER_PIXEL ? b * im->nChannels : b;
    };
    Shape sh{w, h, j.cd.n, b, false, false};
    sh.line = pix(s) == b && pix(d) == b;
    sh.fold = !sh.line && s->dataOrder == ZOL_DATA_ORDER_PIXEL &&
              d->dataOrder == ZOL_DATA_ORDER_PIXEL && s->nChannels == d->nChannels && j.cs.all &&
              j.cd.all;
    return sh;
}

// Region and channel sets of src, dst and mask; false when the call ends
// here: silently for an empty region or an alpha-only set, with -24 for
// sets of different sizes. Both sets are settled before any tile is asked
// for, so a tiled call reports a mismatch once and fetches nothing.
bool prepare(Job& j, const char* func, ZolImage* src, ZolImage* dst, const ZolImage* mask) {
    j.src = src;
    j.dst = dst;
    j.mask = mask;
    const Rect rs = clipped(src), rd = clipped(dst);
    j.sx = rs.x, j.sy = rs.y, j.dx = rd.x, j.dy = rd.y;
    j.w = std::min(rs.w, rd.w);
    j.h = std::min(rs.h, rd.h);
    if (mask) {
        const Rect rm = clipped(mask);
        j.mx = rm.x, j.my = rm.y;
        j.w = std::min(j.w, rm.w);
        j.h = std::min(j.h, rm.h);
    }
    if (j.w < 1 || j.h < 1) return false;
    j.cs = channelsOf(src);
    j.cd = channelsOf(dst);
    if (j.cs.n == 0 || j.cd.n == 0) return false;
    if (j.cs.n != j.cd.n) {
        report(ZOL_STATUS_BAD_COI, func, msg::kCoiMismatch);
        return false;
    }
    return true;
}

void movePlain(Op op, uint32_t value, const Job& j) {
    const Side d =
        sideAt(j.dst, j.dst->imageData, j.dst->widthStep, j.dst->height, j.dx, j.dy, j.cd.first);
    const Side s =
        sideAt(j.src, j.src->imageData, j.src->widthStep, j.src->height, j.sx, j.sy, j.cs.first);
    MaskSide ms{};
    if (j.mask) ms = maskAt(j.mask, j.mx, j.my);
    movePart(op, value, d, s, j.mask ? &ms : nullptr, shapeOf(j, j.w, j.h));
}

// The checks of zolCopy and zolExchange, in order: a header fault ends the
// call; the depth, origin and order checks report and go on, so the last
// one stands; then any negative status, even one left by an earlier call,
// or one image given twice, ends it silently.
bool pairChecks(const char* func, ZolImage* src, ZolImage* dst) {
    if (zolCheckImageHeader(src) != 0) {
        report(zolGetErrStatus(), func, msg::kIncorrectImage);
        return false;
    }
    if (zolCheckImageHeader(dst) != 0) {
        report(zolGetErrStatus(), func, msg::kIncorrectImage);
        return false;
    }
    if (src->depth != dst->depth) report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kCopyDepth);
    if (src->origin != dst->origin) report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kCopyOrigin);
    if (src->depth != ZOL_DEPTH_1U && !(src->nChannels == 1 && dst->nChannels == 1) &&
        src->dataOrder != dst->dataOrder)
        report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kCopyOrder);
    return zolGetErrStatus() >= 0 && src != dst;
}

// ---------------------------------------------------------------------
// Tiles

Side plainSide(const ZolImage* im, int x, int y, int first) {
    return sideAt(im, im->imageData, im->widthStep, im->height, x, y, first);
}

Side tileSide(const ZolImage* im, char* tile, int column, int row, int x, int y, int first) {
    const ZolTileInfo* t = im->tileInfo;
    return sideAt(im, tile, ownTileStep(im), t->height, x - column * t->width, y - row * t->height,
                  first);
}

const MaskSide* maskFor(const Job& j, int ox, int oy, MaskSide& ms) {
    if (!j.mask) return nullptr;
    ms = maskAt(j.mask, j.mx + ox, j.my + oy);
    return &ms;
}

// The copy over the destination's grid, or the source's when only it is
// tiled. A tiled source is gathered cell by cell with the rectangle fetch.
void copyTiled(const char* func, const Job& j) {
    if (j.dst->tileInfo) {
        forCells(j.dst, j.dx, j.dy, j.w, j.h, [&](int c, int r, int ox, int oy, int w, int h) {
            char* tile = requestTile(j.dst, c, r, ZOL_TILE_WRITE);
            if (!tile) {
                report(ZOL_STATUS_FAILED, func, msg::kGetTileWrite);
                return false;
            }
            const Side d = tileSide(j.dst, tile, c, r, j.dx + ox, j.dy + oy, j.cd.first);
            Side s;
            void* block = nullptr;
            if (j.src->tileInfo) {
                int stride = 0;
                block = ownGetRect(j.src, j.sx + ox, j.sy + oy, w, h, &stride);
                if (!block || zolGetErrStatus() < 0) {
                    // The tile goes back unchanged; a handler that returns 0
                    // lets the walk go on with the next cell.
                    releaseTile(j.dst, c, r);
                    zolFree(block);
                    return report(ZOL_STATUS_BACKTRACE, func, msg::kNoContext) == 0;
                }
                s = sideAt(j.src, static_cast<char*>(block), stride, h, 0, 0, j.cs.first);
            } else {
                s = plainSide(j.src, j.sx + ox, j.sy + oy, j.cs.first);
            }
            MaskSide ms;
            movePart(Op::Copy, 0, d, s, maskFor(j, ox, oy, ms), shapeOf(j, w, h));
            releaseTile(j.dst, c, r);
            zolFree(block);
            return true;
        });
        return;
    }
    forCells(j.src, j.sx, j.sy, j.w, j.h, [&](int c, int r, int ox, int oy, int w, int h) {
        char* tile = requestTile(j.src, c, r, ZOL_TILE_READ);
        if (!tile) {
            report(ZOL_STATUS_FAILED, func, msg::kGetTileRead);
            return false;
        }
        const Side s = tileSide(j.src, tile, c, r, j.sx + ox, j.sy + oy, j.cs.first);
        const Side d = plainSide(j.dst, j.dx + ox, j.dy + oy, j.cd.first);
        MaskSide ms;
        movePart(Op::Copy, 0, d, s, maskFor(j, ox, oy, ms), shapeOf(j, w, h));
        releaseTile(j.src, c, r);
        return true;
    });
}

// Both images tiled: over the second image's grid, with a buffer of one of
// its tiles. The tile's old pixels go to the buffer, the first image's part
// (gathered) over the tile, and then the buffer into the first image
// through its own tiles.
void swapBothTiled(const char* func, const Job& j) {
    const ZolTileInfo* ti = j.dst->tileInfo;
    const int64_t step = ownTileStep(j.dst);
    const int planes = j.dst->dataOrder == ZOL_DATA_ORDER_PLANE ? j.dst->nChannels : 1;
    const int64_t bytes = step * ti->height * planes;
    struct BlockHold {
        void* p;
        ~BlockHold() { zolFree(p); }
    } buffer{bytes <= INT_MAX ? zolMalloc(int(bytes)) : nullptr};
    if (!buffer.p) {
        report(ZOL_STATUS_BACKTRACE, func, msg::kNoContext);
        return;
    }
    ZolImage held = *j.dst;  // the buffer as a plain image of one tile
    held.roi = nullptr;
    held.maskROI = nullptr;
    held.tileInfo = nullptr;
    held.imageData = static_cast<char*>(buffer.p);
    held.width = ti->width;
    held.height = ti->height;
    held.widthStep = int(step);
    held.imageSize = int(bytes);

    forCells(j.dst, j.dx, j.dy, j.w, j.h, [&](int c, int r, int ox, int oy, int w, int h) {
        char* tile = requestTile(j.dst, c, r, ZOL_TILE_WRITE);
        if (!tile) {
            report(ZOL_STATUS_FAILED, func, msg::kGetTileWrite);
            return false;
        }
        int stride = 0;
        void* block = ownGetRect(j.src, j.sx + ox, j.sy + oy, w, h, &stride);
        if (!block || zolGetErrStatus() < 0) {
            releaseTile(j.dst, c, r);
            zolFree(block);
            return report(ZOL_STATUS_BACKTRACE, func, msg::kNoContext) == 0;
        }
        const int lx = j.dx + ox - c * ti->width, ly = j.dy + oy - r * ti->height;
        for (int p = 0; p < planes; ++p) {
            const ptrdiff_t at = (ptrdiff_t(p) * ti->height + ly) * step;
            std::memcpy(held.imageData + at, tile + at, size_t(h) * size_t(step));
        }
        const Side d = sideAt(j.dst, tile, step, ti->height, lx, ly, j.cd.first);
        const Side s = sideAt(j.src, static_cast<char*>(block), stride, h, 0, 0, j.cs.first);
        MaskSide ms;
        movePart(Op::Copy, 0, d, s, maskFor(j, ox, oy, ms), shapeOf(j, w, h));
        zolFree(block);
        releaseTile(j.dst, c, r);

        Job back;
        back.src = &held;
        back.dst = j.src;
        back.mask = j.mask;
        back.sx = lx, back.sy = ly;
        back.dx = j.sx + ox, back.dy = j.sy + oy;
        back.mx = j.mx + ox, back.my = j.my + oy;
        back.w = w, back.h = h;
        back.cs = j.cd, back.cd = j.cs;
        copyTiled(msg::kCopy, back);
        return !(zolGetErrStatus() < 0 && report(ZOL_STATUS_BACKTRACE, func, msg::kNoContext) != 0);
    });
}

// The exchange over the grid of its tiled image, or as above for two.
void swapTiled(const char* func, const Job& j) {
    if (j.src->tileInfo && j.dst->tileInfo) return swapBothTiled(func, j);
    const bool dstTiled = j.dst->tileInfo != nullptr;
    const ZolImage* g = dstTiled ? j.dst : j.src;
    forCells(g, dstTiled ? j.dx : j.sx, dstTiled ? j.dy : j.sy, j.w, j.h,
             [&](int c, int r, int ox, int oy, int w, int h) {
                 char* tile = requestTile(g, c, r, ZOL_TILE_WRITE);
                 if (!tile) {
                     report(ZOL_STATUS_FAILED, func, msg::kGetTileWrite);
                     return false;
                 }
                 const int x = j.dx + ox, y = j.dy + oy, sx = j.sx + ox, sy = j.sy + oy;
                 const Side d = dstTiled ? tileSide(j.dst, tile, c, r, x, y, j.cd.first)
                                         : plainSide(j.dst, x, y, j.cd.first);
                 const Side s = dstTiled ? plainSide(j.src, sx, sy, j.cs.first)
                                         : tileSide(j.src, tile, c, r, sx, sy, j.cs.first);
                 MaskSide ms;
                 movePart(Op::Swap, 0, d, s, maskFor(j, ox, oy, ms), shapeOf(j, w, h));
                 releaseTile(g, c, r);
                 return true;
             });
}

void fillTiled(const char* func, const Job& j, uint32_t value) {
    forCells(j.dst, j.dx, j.dy, j.w, j.h, [&](int c, int r, int ox, int oy, int w, int h) {
        char* tile = requestTile(j.dst, c, r, ZOL_TILE_WRITE);
        if (!tile) {
            report(ZOL_STATUS_FAILED, func, msg::kGetTileWrite);
            return false;
        }
        const Side d = tileSide(j.dst, tile, c, r, j.dx + ox, j.dy + oy, j.cd.first);
        MaskSide ms;
        movePart(Op::Fill, value, d, d, maskFor(j, ox, oy, ms), shapeOf(j, w, h));
        releaseTile(j.dst, c, r);
        return true;
    });
}

// ---------------------------------------------------------------------
// 1-bit images under a mask go through image logic

// dst = (dst AND NOT M) OR (src AND M) over the region, M being the mask's
// region copied into an image of the region's size.
void copyBitsMasked(const char* func, const Job& j) {
    {
        Restore<ZolImage*> keepSrc(j.src->maskROI), keepDst(j.dst->maskROI);
        const ZolImage* m = j.mask;
        static const char kSeq[4] = {'G', 0, 0, 0};
        ImageHold t;  // released before the masks are put back
        t.image = newBitImage(kSeq, m->dataOrder, m->origin, m->align, j.w, j.h);
        if (!t.image) {
            report(ZOL_STATUS_BACKTRACE, func, msg::kNoContext);
            return;
        }
        if (zolGetErrStatus() < 0) return;
        const MaskSide ms = maskAt(m, j.mx, j.my);
        for (int y = 0; y < j.h; ++y)
            ownCopyBitRow(
                ms.row + ptrdiff_t(y) * ms.step,
                reinterpret_cast<uint8_t*>(t.image->imageData) + ptrdiff_t(y) * t.image->widthStep,
                int(ms.bit), 0, j.w);
        j.src->maskROI = nullptr;
        j.dst->maskROI = t.image;
        zolSet(j.dst, 0);
        // The OR adds nothing where T is clear, so it needs no mask.
        j.dst->maskROI = nullptr;
        zolAnd(j.src, t.image, t.image);
        zolOr(j.dst, t.image, j.dst);
    }
    if (zolGetErrStatus() < 0) report(ZOL_STATUS_BACKTRACE, func, msg::kNoContext);
}

// Set or clear the bits of the image that the mask selects; the mask is
// inverted in place and back to clear them.
void setBitsMasked(const char* func, ZolImage* image, int value) {
    {
        ZolImage* mask = image->maskROI;
        Restore<ZolImage*> keep(image->maskROI);
        image->maskROI = nullptr;
        if (value) {
            zolOr(image, mask, image);
        } else {
            zolXorS(mask, mask, 1);
            zolAnd(image, mask, image);
            zolXorS(mask, mask, 1);
        }
    }
    if (zolGetErrStatus() < 0) report(ZOL_STATUS_BACKTRACE, func, msg::kNoContext);
}

int32_t clampFill(int depth, int32_t v) {
    switch (depth) {
        case ZOL_DEPTH_1U: return std::clamp(v, 0, 1);
        case ZOL_DEPTH_8U: return std::clamp(v, 0, 255);
        case ZOL_DEPTH_8S: return std::clamp(v, -128, 127);
        case ZOL_DEPTH_16U: return std::clamp(v, 0, 65535);
        case ZOL_DEPTH_16S: return std::clamp(v, -32768, 32767);
        default: return v;
    }
}

}  // namespace
}  // namespace zol

using namespace zol;

extern "C" {

ZOL_API void zolCopy(ZolImage* srcImage, ZolImage* dstImage) {
    const char* func = msg::kCopy;
    if (!pairChecks(func, srcImage, dstImage)) return;
    EffectiveMask mask;
    if (!mask.make(func, srcImage->maskROI, dstImage->maskROI)) return;
    Job j;
    if (!prepare(j, func, srcImage, dstImage, mask.get())) return;
    if (j.mask && dstImage->depth == ZOL_DEPTH_1U) return copyBitsMasked(func, j);
    if (srcImage->tileInfo || dstImage->tileInfo) return copyTiled(func, j);
    movePlain(Op::Copy, 0, j);
}

ZOL_API void zolExchange(ZolImage* srcImage, ZolImage* dstImage) {
    const char* func = msg::kExchange;
    if (!pairChecks(func, srcImage, dstImage)) return;
    EffectiveMask mask;
    if (!mask.make(func, srcImage->maskROI, dstImage->maskROI)) return;
    Job j;
    if (!prepare(j, func, srcImage, dstImage, mask.get())) return;
    if (srcImage->tileInfo || dstImage->tileInfo) return swapTiled(func, j);
    movePlain(Op::Swap, 0, j);
}

ZOL_API void zolSet(ZolImage* image, int fillValue) {
    const char* func = msg::kSet;
    if (zolCheckImageHeader(image) != 0) {
        report(zolGetErrStatus(), func, msg::kIncorrectImage);
        return;
    }
    if (image->depth == ZOL_DEPTH_32F) {
        report(ZOL_STATUS_BAD_DEPTH, func, msg::kUseSetFP);
        return;
    }
    const int32_t value = clampFill(image->depth, fillValue);
    Job j;
    if (!prepare(j, func, image, image, image->maskROI)) return;
    if (j.mask && image->depth == ZOL_DEPTH_1U) return setBitsMasked(func, image, value);
    if (image->tileInfo) return fillTiled(func, j, uint32_t(value));
    movePlain(Op::Fill, uint32_t(value), j);
}

ZOL_API void zolSetFP(ZolImage* image, float fillValue) {
    const char* func = msg::kSetFP;
    if (!image) {
        report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kDstNull);
        return;
    }
    if (image->depth != ZOL_DEPTH_32F) {
        report(ZOL_STATUS_BAD_DEPTH, func, msg::kUseSet);
        return;
    }
    {
        // As 32S nothing is clamped: the float's bits reach the pixels.
        Restore<int32_t> keep(image->depth);
        image->depth = ZOL_DEPTH_32S;
        int32_t bits;
        std::memcpy(&bits, &fillValue, sizeof bits);
        zolSet(image, bits);
    }
    if (zolGetErrStatus() < 0) report(ZOL_STATUS_BACKTRACE, func, msg::kNoContext);
}

}  // extern "C"
