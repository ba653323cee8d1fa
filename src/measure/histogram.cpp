// Histogram and lookup: counting into piecewise records, and the map that
// runs a full table per channel over a region. Curves are evaluated once
// per level into the table, so a pixel costs one table load.
#include <algorithm>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstring>

#include "core/border.h"
#include "core/image.h"
#include "core/messages.h"
#include "core/parts.h"
#include "core/rect.h"
#include "core/report.h"

namespace zol {
namespace {

// The record is shared with applications: its LP64 layout is interface.
static_assert(sizeof(ZolLUT) == 40 && offsetof(ZolLUT, key) == 8 &&
                  offsetof(ZolLUT, value) == 16 && offsetof(ZolLUT, factor) == 24 &&
                  offsetof(ZolLUT, interpolateType) == 32,
              "ZolLUT layout");

int histSizeOf(int depth) {
    return depth == ZOL_DEPTH_1U ? 2 : depth == ZOL_DEPTH_8U ? 256 : 65536;
}

// A block of the call from zolMalloc, freed on every way out.
struct Block {
    void* p = nullptr;
    Block() = default;
    Block(const Block&) = delete;
    Block& operator=(const Block&) = delete;
    ~Block() { zolFree(p); }
    // bytes in 64-bit: a size beyond int counts as memory that isn't there.
    bool get(int64_t bytes) {
        p = bytes >= 0 && bytes <= INT_MAX ? zolMalloc(int(bytes)) : nullptr;
        return p != nullptr;
    }
};

// ---------------------------------------------------------------------
// Counting

// Set bits among count bits of s from its bit offset, each bit taken only
// where the mask (if any) is set; *taken receives the number of pixels the
// mask lets through.
uint64_t countBits(const uint8_t* s, int64_t sBit, const MaskPart* m, const uint8_t* mRow,
                   int64_t count, uint64_t* taken) {
    const BitSrc src{s + (sBit >> 3), sBit & 7};
    const int64_t lastS = (src.bit + count - 1) >> 3;
    BitSrc msk{nullptr, 0};
    int64_t lastM = 0;
    if (m) {
        msk = BitSrc{mRow + (m->bit >> 3), m->bit & 7};
        lastM = (msk.bit + count - 1) >> 3;
    }
    uint64_t ones = 0, all = 0;
    for (int64_t pos = 0; pos < count; pos += 8) {
        const int64_t left = count - pos;
        const unsigned edge = left >= 8 ? 0xFFu : (0xFFu << (8 - left)) & 0xFFu;
        unsigned v = detail::fetch8(src, pos, lastS) & edge;
        unsigned sel = edge;
        if (m) sel &= detail::fetch8(msk, pos, lastM);
        ones += unsigned(__builtin_popcount(v & sel));
        all += unsigned(__builtin_popcount(sel));
    }
    *taken = all;
    return ones;
}

// Four interleaved tables, so that runs of equal levels don't wait on
// their own increments.
struct Sub8 {
    uint32_t t[4][256] = {};
    void run(const uint8_t* s, int w) {
        int x = 0;
        for (; x + 8 <= w; x += 8) {
            ++t[0][s[x]], ++t[1][s[x + 1]], ++t[2][s[x + 2]], ++t[3][s[x + 3]];
            ++t[0][s[x + 4]], ++t[1][s[x + 5]], ++t[2][s[x + 6]], ++t[3][s[x + 7]];
        }
        for (; x < w; ++x) ++t[0][s[x]];
    }
    void addTo(uint32_t* hist) const {
        for (int i = 0; i < 256; ++i) hist[i] += t[0][i] + t[1][i] + t[2][i] + t[3][i];
    }
};

template <class T>
void countPart(const Part& p, const MaskPart* m, int w, int h, int n, int hs, uint32_t* counts) {
    if (!m && p.pix == 1) {
        // One channel's levels lie side by side in a row.
        for (int c = 0; c < n; ++c) {
            uint32_t* hist = counts + ptrdiff_t(c) * hs;
            const uint8_t* r = p.row + c * p.chan * ptrdiff_t(sizeof(T));
            Sub8 sub;
            for (int y = 0; y < h; ++y, r += p.step) {
                const T* s = reinterpret_cast<const T*>(r);
                if (sizeof(T) == 1) {
                    sub.run(reinterpret_cast<const uint8_t*>(s), w);
                } else {
                    for (int x = 0; x < w; ++x) ++hist[s[x]];
                }
            }
            if (sizeof(T) == 1) sub.addTo(hist);
        }
        return;
    }
    // Pixel by pixel; in plane order the mask runs anew for each channel.
    const int passes = p.pix == 1 ? n : 1;
    const int per = p.pix == 1 ? 1 : n;
    for (int c0 = 0; c0 < passes; ++c0) {
        const uint8_t* r = p.row + c0 * p.chan * ptrdiff_t(sizeof(T));
        for (int y = 0; y < h; ++y, r += p.step) {
            const T* s = reinterpret_cast<const T*>(r);
            const uint8_t* mr = m ? m->row + ptrdiff_t(y) * m->step : nullptr;
            for (int x = 0; x < w; ++x) {
                if (mr && !bitAt(mr, m->bit + x)) continue;
                const T* px = s + x * p.pix;
                for (int c = 0; c < per; ++c) ++counts[ptrdiff_t(c0 + c) * hs + px[c * p.chan]];
            }
        }
    }
}

void countAny(int depth, const Part& p, const MaskPart* m, int w, int h, int n,
              uint32_t* counts) {
    if (w <= 0 || h <= 0) return;
    switch (depth) {
        case ZOL_DEPTH_1U: {
            // One channel: levels 0 and 1.
            for (int y = 0; y < h; ++y) {
                uint64_t taken = 0;
                const uint64_t ones =
                    countBits(p.row + ptrdiff_t(y) * p.step, p.bit, m,
                              m ? m->row + ptrdiff_t(y) * m->step : nullptr, w, &taken);
                counts[1] += uint32_t(ones);
                counts[0] += uint32_t(taken - ones);
            }
            return;
        }
        case ZOL_DEPTH_8U: return countPart<uint8_t>(p, m, w, h, n, 256, counts);
        default: return countPart<uint16_t>(p, m, w, h, n, 65536, counts);
    }
}

// ---------------------------------------------------------------------
// Records

// Checks the records of n channels from lut[first]; the first fault
// reports and ends the call.
bool recordsOk(const char* func, ZolLUT** lut, int first, int n, int hs) {
    for (int k = first; k < first + n; ++k) {
        const ZolLUT* r = lut[k];
        const char* fault = nullptr;
        if (!r) fault = msg::kLutK;
        else if (!r->key) fault = msg::kLutKey;
        else if (!r->value) fault = msg::kLutValue;
        else if (r->num < 2) fault = msg::kLutNum;
        else if (r->key[0] < 0) fault = msg::kLutFirstKey;
        else if (r->key[r->num - 1] > hs) fault = msg::kLutLastKey;
        else
            for (int i = 0; i + 1 < r->num && !fault; ++i)
                if (r->key[i] > r->key[i + 1]) fault = msg::kLutKeyOrder;
        if (fault) {
            report(ZOL_STATUS_BAD_ARGUMENT, func, fault);
            return false;
        }
    }
    return true;
}

// value[j] = the counts of levels key[j] .. key[j+1]-1, for j < num-1.
template <class C>
void intervalSums(ZolLUT* r, const C* counts) {
    for (int j = 0; j + 1 < r->num; ++j) {
        int64_t sum = 0;
        for (int i = r->key[j]; i < r->key[j + 1]; ++i) sum += counts[i];
        r->value[j] = int32_t(sum);
    }
}

// The table of a stretch curve, of hs entries of T.
template <class T>
void stretchTable(const ZolLUT* r, int hs, T* map) {
    const int k0 = std::min(r->key[0], hs);
    for (int i = 0; i < k0; ++i) map[i] = T(i);
    int j = -1;
    for (int i = k0; i < hs; ++i) {
        if (j < r->num - 1 && i == r->key[j + 1]) ++j;
        // The low bits of the 64-bit line are those of any wrapped 32-bit one.
        int64_t v = r->value[j];
        if (r->interpolateType && r->factor) v += int64_t(i - r->key[j]) * r->factor[j];
        map[i] = T(uint64_t(v));
    }
}

// The per-level counts a record holds: each interval's count spread over
// its levels, the remainder on the last one.
void expandRecord(const ZolLUT* r, int hs, int64_t* h) {
    std::fill(h, h + hs, 0);
    for (int j = 0; j + 1 < r->num; ++j) {
        const int a = r->key[j], w = r->key[j + 1] - a;
        const int64_t v = r->value[j];
        if (w > 1) {
            for (int i = a; i < a + w; ++i) h[i] = v / w;
            h[a + w - 1] += v % w;
        } else if (a < hs) {
            // A zero-width interval takes its level as one of width 1; at
            // the top there is no such level.
            h[a] = v;
        }
    }
}

// ---------------------------------------------------------------------
// The map

struct MapShape {
    int w, h, n;
    bool line;  // on both sides one channel's elements lie side by side
};

// One table load per element, four independent ones a step.
void mapRun8(const uint8_t* s, uint8_t* d, int n, const uint8_t* map) {
    int x = 0;
    for (; x + 4 <= n; x += 4) {
        const uint8_t a = map[s[x]], b = map[s[x + 1]], c = map[s[x + 2]], e = map[s[x + 3]];
        d[x] = a, d[x + 1] = b, d[x + 2] = c, d[x + 3] = e;
    }
    for (; x < n; ++x) d[x] = map[s[x]];
}

template <class T>
void mapPart(const Part& d, const Part& s, const MaskPart* m, const MapShape& sh, const T* map,
             int hs) {
    constexpr ptrdiff_t b = sizeof(T);
    if (!m && sh.line) {
        for (int c = 0; c < sh.n; ++c) {
            const T* mc = map + ptrdiff_t(c) * hs;
            const uint8_t* sr = s.row + c * s.chan * b;
            uint8_t* dr = d.row + c * d.chan * b;
            for (int y = 0; y < sh.h; ++y, sr += s.step, dr += d.step) {
                const T* sp = reinterpret_cast<const T*>(sr);
                T* dp = reinterpret_cast<T*>(dr);
                if (b == 1) {
                    mapRun8(sr, dr, sh.w, reinterpret_cast<const uint8_t*>(mc));
                } else {
                    for (int x = 0; x < sh.w; ++x) dp[x] = mc[sp[x]];
                }
            }
        }
        return;
    }
    // Pixel by pixel, each side with its own steps; a clear mask bit keeps
    // every channel of the pixel.
    const uint8_t* sr = s.row;
    uint8_t* dr = d.row;
    for (int y = 0; y < sh.h; ++y, sr += s.step, dr += d.step) {
        const T* sp = reinterpret_cast<const T*>(sr);
        T* dp = reinterpret_cast<T*>(dr);
        const uint8_t* mr = m ? m->row + ptrdiff_t(y) * m->step : nullptr;
        for (int x = 0; x < sh.w; ++x) {
            if (mr && !bitAt(mr, m->bit + x)) continue;
            const T* si = sp + x * s.pix;
            T* di = dp + x * d.pix;
            for (int c = 0; c < sh.n; ++c) di[c * d.chan] = map[ptrdiff_t(c) * hs + si[c * s.chan]];
        }
    }
}

void mapAny(int depth, const Part& d, const Part& s, const MaskPart* m, const MapShape& sh,
            const void* map) {
    if (sh.w <= 0 || sh.h <= 0) return;
    if (depth == ZOL_DEPTH_8U) mapPart(d, s, m, sh, static_cast<const uint8_t*>(map), 256);
    else mapPart(d, s, m, sh, static_cast<const uint16_t*>(map), 65536);
}

MapShape shapeOf(const ZolImage* s, const ZolImage* d, const Chans& cd, int w, int h) {
    auto single = [](const ZolImage* im) {
        return im->dataOrder == ZOL_DATA_ORDER_PLANE || im->nChannels == 1;
    };
    return MapShape{w, h, cd.n, single(s) && single(d)};
}

// Every element of the channel sets in the common region of src and dst
// becomes map[its position in the set][element]. Reports as "zolMap".
void ownMap(ZolImage* src, ZolImage* dst, const void* map) {
    const char* func = msg::kMap;
    EffectiveMask em;
    if (!em.make(func, src->maskROI, dst->maskROI)) return;
    const ZolImage* mask = em.get();
    const Rect rs = clipped(src), rd = clipped(dst);
    int w = std::min(rs.w, rd.w), h = std::min(rs.h, rd.h);
    Rect rm{0, 0, 0, 0};
    if (mask) {
        rm = clipped(mask);
        w = std::min(w, rm.w);
        h = std::min(h, rm.h);
    }
    if (w < 1 || h < 1) return;
    const Chans cs = channelsOf(src), cd = channelsOf(dst);
    if (cs.n != cd.n) {
        report(ZOL_STATUS_BAD_COI, func, msg::kCoiMismatch);
        return;
    }
    if (cs.n == 0) return;
    const int depth = dst->depth;
    MaskPart mp;
    if (!src->tileInfo && !dst->tileInfo) {
        mapAny(depth, plainPart(dst, rd.x, rd.y, cd.first), plainPart(src, rs.x, rs.y, cs.first),
               maskPartAt(mask, rm.x, rm.y, mp), shapeOf(src, dst, cd, w, h), map);
        return;
    }
    if (dst->tileInfo) {
        forCells(dst, rd.x, rd.y, w, h, [&](int c, int r, int ox, int oy, int pw, int ph) {
            char* tile = requestTile(dst, c, r, ZOL_TILE_WRITE);
            if (!tile) {
                report(ZOL_STATUS_FAILED, func, msg::kGetTileWrite);
                return false;
            }
            const Part d = tilePart(dst, tile, c, r, rd.x + ox, rd.y + oy, cd.first);
            Part s;
            Block block;
            if (src == dst) {
                s = d;
            } else if (src->tileInfo) {
                int stride = 0;
                block.p = ownGetRect(src, rs.x + ox, rs.y + oy, pw, ph, &stride);
                if (!block.p || zolGetErrStatus() < 0) {
                    releaseTile(dst, c, r);
                    return report(ZOL_STATUS_BACKTRACE, func, msg::kNoContext) == 0;
                }
                s = partAt(src, static_cast<char*>(block.p), stride, ph, 0, 0, cs.first);
            } else {
                s = plainPart(src, rs.x + ox, rs.y + oy, cs.first);
            }
            mapAny(depth, d, s, maskPartAt(mask, rm.x + ox, rm.y + oy, mp),
                   shapeOf(src, dst, cd, pw, ph), map);
            releaseTile(dst, c, r);
            return true;
        });
        return;
    }
    forCells(src, rs.x, rs.y, w, h, [&](int c, int r, int ox, int oy, int pw, int ph) {
        char* tile = requestTile(src, c, r, ZOL_TILE_READ);
        if (!tile) {
            report(ZOL_STATUS_FAILED, func, msg::kGetTileRead);
            return false;
        }
        mapAny(depth, plainPart(dst, rd.x + ox, rd.y + oy, cd.first),
               tilePart(src, tile, c, r, rs.x + ox, rs.y + oy, cs.first),
               maskPartAt(mask, rm.x + ox, rm.y + oy, mp), shapeOf(src, dst, cd, pw, ph),
               map);
        releaseTile(src, c, r);
        return true;
    });
}

// The checks shared by the stretch and the equalisation; false when the
// call ends. cs is the source's channel set.
bool mapChecks(const char* func, ZolImage* src, ZolImage* dst, ZolLUT** lut, Chans& cs) {
    if (zolCheckImageHeader(src) != 0 || zolCheckImageHeader(dst) != 0) {
        report(zolGetErrStatus(), func, msg::kIncorrectImage);
        return false;
    }
    // These report and go on; the last one stands.
    if (src->depth != dst->depth) report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kCopyDepth);
    if (src->origin != dst->origin) report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kCopyOrigin);
    if (src->depth != ZOL_DEPTH_1U && !(src->nChannels == 1 && dst->nChannels == 1) &&
        src->dataOrder != dst->dataOrder)
        report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kCopyOrder);
    if (src->depth != ZOL_DEPTH_8U && src->depth != ZOL_DEPTH_16U)
        report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kMapDepth);
    if (!lut) report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kLutNull);
    if (zolGetErrStatus() < 0) return false;
    cs = channelsOf(src);
    if (cs.n == 0) return false;
    if (cs.n != channelsOf(dst).n) {
        report(ZOL_STATUS_BAD_COI, func, msg::kCoiMismatch);
        return false;
    }
    return recordsOk(func, lut, cs.first, cs.n, histSizeOf(src->depth));
}

}  // namespace
}  // namespace zol

using namespace zol;

extern "C" {

ZOL_API void zolComputeHisto(ZolImage* srcImage, ZolLUT** lut) {
    const char* func = msg::kComputeHisto;
    if (zolCheckImageHeader(srcImage) != 0) {
        report(zolGetErrStatus(), func, msg::kIncorrectImage);
        return;
    }
    if (!lut) report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kLutNull);
    if ((srcImage->depth & ZOL_DEPTH_SIGN) || srcImage->depth == ZOL_DEPTH_32F)
        report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kHistoDepth);
    if (zolGetErrStatus() < 0) return;
    const Chans cs = channelsOf(srcImage);
    if (cs.n == 0) return;
    const int hs = histSizeOf(srcImage->depth);
    if (!recordsOk(func, lut, cs.first, cs.n, hs)) return;

    Block counts;
    const int64_t bytes = int64_t(cs.n) * hs * 4;
    if (!counts.get(bytes)) {
        report(ZOL_STATUS_NO_MEMORY, func, msg::kNoContext);
        return;
    }
    auto* cnt = static_cast<uint32_t*>(counts.p);
    std::memset(cnt, 0, size_t(bytes));

    const ZolImage* mask = srcImage->maskROI;
    const Rect rs = clipped(srcImage);
    int w = rs.w, h = rs.h;
    Rect rm{0, 0, 0, 0};
    if (mask) {
        rm = clipped(mask);
        w = std::min(w, rm.w);
        h = std::min(h, rm.h);
    }
    MaskPart mp;
    if (w > 0 && h > 0) {
        if (!srcImage->tileInfo) {
            countAny(srcImage->depth, plainPart(srcImage, rs.x, rs.y, cs.first),
                     maskPartAt(mask, rm.x, rm.y, mp), w, h, cs.n, cnt);
        } else {
            bool ok = true;
            forCells(srcImage, rs.x, rs.y, w, h,
                     [&](int c, int r, int ox, int oy, int pw, int ph) {
                         char* tile = requestTile(srcImage, c, r, ZOL_TILE_READ);
                         if (!tile) {
                             report(ZOL_STATUS_FAILED, func, msg::kGetTileRead);
                             return ok = false;
                         }
                         countAny(srcImage->depth,
                                  tilePart(srcImage, tile, c, r, rs.x + ox, rs.y + oy, cs.first),
                                  maskPartAt(mask, rm.x + ox, rm.y + oy, mp), pw, ph, cs.n, cnt);
                         releaseTile(srcImage, c, r);
                         return true;
                     });
            if (!ok) return;
        }
    }
    for (int k = 0; k < cs.n; ++k) {
        ZolLUT* r = lut[cs.first + k];
        intervalSums(r, cnt + ptrdiff_t(k) * hs);
        r->interpolateType = 0;
    }
}

ZOL_API void zolContrastStretch(ZolImage* srcImage, ZolImage* dstImage, ZolLUT** lut) {
    const char* func = msg::kContrastStretch;
    Chans cs;
    if (!mapChecks(func, srcImage, dstImage, lut, cs)) return;
    const int hs = histSizeOf(srcImage->depth);
    const int b = elemSize(srcImage->depth);
    Block map;
    if (!map.get(int64_t(cs.n) * hs * b)) {
        report(ZOL_STATUS_NO_MEMORY, func, msg::kNoContext);
        return;
    }
    for (int k = 0; k < cs.n; ++k) {
        const ZolLUT* r = lut[cs.first + k];
        if (b == 1) stretchTable(r, hs, static_cast<uint8_t*>(map.p) + ptrdiff_t(k) * hs);
        else stretchTable(r, hs, static_cast<uint16_t*>(map.p) + ptrdiff_t(k) * hs);
    }
    ownMap(srcImage, dstImage, map.p);
    if (zolGetErrStatus() < 0) report(ZOL_STATUS_BACKTRACE, func, msg::kNoContext);
}

ZOL_API void zolHistoEqualize(ZolImage* srcImage, ZolImage* dstImage, ZolLUT** lut) {
    const char* func = msg::kHistoEqualize;
    Chans cs;
    if (!mapChecks(func, srcImage, dstImage, lut, cs)) return;
    const int hs = histSizeOf(srcImage->depth);
    const int b = elemSize(srcImage->depth);
    // The destination's records receive the new counts: checked before
    // anything is written, like the source's.
    const Chans cd = channelsOf(dstImage);
    if (cd.first != cs.first && !recordsOk(func, lut, cd.first, cd.n, hs)) return;

    // Running sums in 64-bit: 255 * H[i] passes 32 bits beyond 8421504
    // pixels, and the record's counts may add up past 2^31.
    Block sums, map;
    if (!sums.get(int64_t(cs.n + 1) * hs * 8) || !map.get(int64_t(cs.n) * hs * b)) {
        report(ZOL_STATUS_NO_MEMORY, func, msg::kNoContext);
        return;
    }
    auto* H = static_cast<int64_t*>(sums.p);
    for (int k = 0; k < cs.n; ++k) {
        int64_t* h = H + ptrdiff_t(k) * hs;
        expandRecord(lut[cs.first + k], hs, h);
        for (int i = 1; i < hs; ++i) h[i] += h[i - 1];
        const int64_t total = h[hs - 1];
        if (total == 0) {
            report(ZOL_STATUS_INTERNAL, func, msg::kHistoZero);
            return;
        }
        for (int i = 0; i < hs; ++i) {
            if (b == 1) {
                static_cast<uint8_t*>(map.p)[ptrdiff_t(k) * hs + i] = uint8_t(255 * h[i] / total);
            } else {
                const double q = std::trunc(double(h[i]) * 65535.0 / double(total));
                // Counts that a caller made negative give a level outside
                // 16 bits; its low bits are kept, as everywhere in the map.
                const int64_t v = std::fabs(q) < 9.2e18 ? int64_t(q) : 0;
                static_cast<uint16_t*>(map.p)[ptrdiff_t(k) * hs + i] = uint16_t(uint64_t(v));
            }
        }
    }
    ownMap(srcImage, dstImage, map.p);
    if (zolGetErrStatus() < 0) {
        report(ZOL_STATUS_BACKTRACE, func, msg::kNoContext);
        return;
    }
    // The counts of the mapped image as far as the records knew them.
    int64_t* N = H + ptrdiff_t(cs.n) * hs;
    for (int k = 0; k < cs.n && k < cd.n; ++k) {
        const int64_t* h = H + ptrdiff_t(k) * hs;
        std::fill(N, N + hs, 0);
        for (int i = 0; i < hs; ++i) {
            const unsigned to = b == 1 ? static_cast<uint8_t*>(map.p)[ptrdiff_t(k) * hs + i]
                                       : static_cast<uint16_t*>(map.p)[ptrdiff_t(k) * hs + i];
            N[to] += i ? h[i] - h[i - 1] : h[0];
        }
        intervalSums(lut[cd.first + k], N);
    }
}

}  // extern "C"
