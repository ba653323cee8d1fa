// Regions of interest, masks and bit runs: the pieces every front end and
// kernel uses to find its rectangle.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

#include "zol.h"

namespace zol {

// The working rectangle of the tiled walks.
struct ownRect {
    int32_t x, xEnd, y, yEnd, height, width;
};

// x, y, width, height of an image's region: the ROI cut at the image's
// right and bottom edges (possibly to zero or below), or the whole image.
void ownRoiRect(const ZolImage* image, ownRect* rect);

// Address of the region's first element in `channel` (from 0), with the
// region's size (never below 0) and its left offset (the bit position for
// 1-bit images, else 0).
char* ownRoiData(const ZolImage* image, int* width, int* height, int channel, int* xOffset);

// True when one flat loop over imageSize bytes of both images does the same
// work as the region path.
bool ownIsWholeImage(const ZolImage* a, const ZolImage* b, bool hasAlpha);

// Result states of ownCombineMasks.
enum MaskState { kMaskNone = 0, kMaskMade = 1, kMaskNoMemory = 2, kMaskEmpty = 3 };

// The mask to use for up to three masks (any may be NULL): none, the only
// one, or a new image holding the AND of their regions (state kMaskMade; the
// caller frees it with ZOL_FREE_HEADER | ZOL_FREE_DATA).
ZolImage* ownCombineMasks(const ZolImage* maskA, const ZolImage* maskB, const ZolImage* maskC,
                          int* state);

// Copies count bits from bit srcBit of src to bit dstBit of dst, most
// significant bit first. Only those bits of dst change, and no source byte
// without a bit of the run is read.
void ownCopyBitRow(const uint8_t* src, uint8_t* dst, int srcBit, int dstBit, int64_t count);

// A run of bits in a source row.
struct BitSrc {
    const uint8_t* p;
    int64_t bit;
};

namespace detail {
inline int64_t floorDiv8(int64_t v) { return v >= 0 ? v >> 3 : -((7 - v) >> 3); }

// Eight bits of s starting at run position pos (may be negative), reading
// only bytes 0..last of the run.
inline uint8_t fetch8(const BitSrc& s, int64_t pos, int64_t last) {
    const int64_t p = s.bit + pos;
    const int64_t k = floorDiv8(p);
    const int sh = int(p - k * 8);
    unsigned v = 0;
    if (k >= 0 && k <= last) v = unsigned(s.p[k]) << sh;
    if (sh && k + 1 >= 0 && k + 1 <= last) v |= unsigned(s.p[k + 1]) >> (8 - sh);
    return uint8_t(v);
}
template <class F, size_t... I>
uint8_t applyBits(F& f, const BitSrc* s, const int64_t* last, int64_t pos,
                  std::index_sequence<I...>) {
    return uint8_t(f(fetch8(s[I], pos, last[I])...));
}
}  // namespace detail

// Writes f(bits of the sources...) over count bits of dst from bit dstBit;
// f works on eight bits at a time. The sources' bit offsets may differ from
// the destination's and from each other. dst bits outside the run keep
// their values.
template <class F, class... S>
void mapBitRow(uint8_t* dst, int64_t dstBit, int64_t count, F f, const S&... srcs) {
    if (count <= 0) return;
    dst += dstBit >> 3;
    const int d0 = int(dstBit & 7);
    const int64_t lastDst = (d0 + count - 1) >> 3;
    // Last byte index of each source run, relative to its own start byte.
    BitSrc s[] = {BitSrc{srcs.p + (srcs.bit >> 3), srcs.bit & 7}...};
    int64_t last[sizeof...(S)];
    for (size_t i = 0; i < sizeof...(S); ++i) last[i] = (s[i].bit + count - 1) >> 3;
    for (int64_t j = 0; j <= lastDst; ++j) {
        unsigned m = 0xFF;
        if (j == 0) m &= 0xFFu >> d0;
        if (j == lastDst) m &= 0xFFu << (7 - int((d0 + count - 1) & 7));
        const int64_t pos = j * 8 - d0;  // run position of this byte's first bit
        const uint8_t v =
            detail::applyBits(f, s, last, pos, std::index_sequence_for<S...>{});
        dst[j] = uint8_t((dst[j] & ~m) | (v & m));
    }
}

// Bit i of a 1-bit row.
inline int bitAt(const uint8_t* row, int64_t i) { return (row[i >> 3] >> (7 - (i & 7))) & 1; }
inline void setBitAt(uint8_t* row, int64_t i, int v) {
    const uint8_t m = uint8_t(0x80u >> (i & 7));
    row[i >> 3] = uint8_t(v ? (row[i >> 3] | m) : (row[i >> 3] & ~m));
}

}  // namespace zol
