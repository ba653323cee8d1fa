// Colour twist: a fixed-point 3x3 matrix with additive terms on channels 0..2.
//
// Every route computes the one result
//   y = clamp(floor((m0 p0 + m1 p1 + m2 p2 + m3) / 2^s), 0, MAX)
//   out = clamp(y + offset, 0, MAX)
// exactly. The kernels differ only in the width of the accumulator: 32 bits
// when no sum of the call can pass it, 64 bits otherwise, so that weights
// beyond 16 bits, scales up to 31 and offsets of any size all give the
// formula's value.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "colour/kernels.h"
#include "core/cellwalk.h"
#include "core/frame.h"
#include "core/image.h"

static_assert(sizeof(ZolColorTwist) == 68 && offsetof(ZolColorTwist, scalingValue) == 64,
              "ZolColorTwist layout");

namespace zol {
namespace {

constexpr char kCreate[] = "zolCreateColorTwist";
constexpr char kSet[] = "zolSetColorTwist";
constexpr char kApply[] = "zolApplyColorTwist";

struct Twist {
    int32_t m[3][4];  // weights of channels 0..2 and the additive term, per output
    int s;
    int offset;
    int max;
    ptrdiff_t srcPix, dstPix;  // elements from pixel to pixel (1 in plane order)
    int32_t table[3][3][256];  // m[r][c] * p for 8-bit samples (32-bit route only)
    Twist8 fast;               // the same for the table's kernel
};

template <class Acc>
inline int finish(Acc sum, int s, int offset, int max) {
    Acc y = sum >> s;  // arithmetic shift: floor
    y = y < 0 ? 0 : (y > max ? max : y);
    const int64_t z = int64_t(y) + offset;
    return int(z < 0 ? 0 : (z > max ? max : z));
}

// The sum of row r for the pixel (p0, p1, p2), from the products table at
// 8 bits or by multiplication.
template <class T, class Acc, bool Table>
inline Acc sumOf(const Twist& t, const Acc (&m)[3][4], int r, unsigned p0, unsigned p1, unsigned p2) {
    if (Table) return Acc(t.table[r][0][p0]) + t.table[r][1][p1] + t.table[r][2][p2] + m[r][3];
    return m[r][0] * Acc(p0) + m[r][1] * Acc(p1) + m[r][2] * Acc(p2) + m[r][3];
}

template <class T, class Acc, bool Table, bool Plane, bool Masked>
void twistRow(void* context, const CellRow& row) {
    const Twist& t = *static_cast<const Twist*>(context);
    const T* s = reinterpret_cast<const T*>(row.src);
    T* d = reinterpret_cast<T*>(row.dst);
    const ptrdiff_t sp = Plane ? row.srcPlane / ptrdiff_t(sizeof(T)) : 1;
    const ptrdiff_t dp = Plane ? row.dstPlane / ptrdiff_t(sizeof(T)) : 1;
    const ptrdiff_t sx = t.srcPix, dx = t.dstPix;
    const int sh = t.s, off = t.offset, max = t.max;
    Acc m[3][4];  // in locals: byte stores may alias the record
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 4; ++c) m[r][c] = Acc(t.m[r][c]);
    for (int x = 0; x < row.width; ++x) {
        if (Masked) {
            const int64_t b = row.maskBit + x;
            if (!((row.mask[b >> 3] >> (7 - (b & 7))) & 1)) continue;
        }
        const T* p = s + x * sx;
        const unsigned p0 = p[0], p1 = p[sp], p2 = p[2 * sp];
        // All three outputs before any store: the destination may be the source.
        const int o0 = finish(sumOf<T, Acc, Table>(t, m, 0, p0, p1, p2), sh, off, max);
        const int o1 = finish(sumOf<T, Acc, Table>(t, m, 1, p0, p1, p2), sh, off, max);
        const int o2 = finish(sumOf<T, Acc, Table>(t, m, 2, p0, p1, p2), sh, off, max);
        T* q = d + x * dx;
        q[0] = T(o0);
        q[dp] = T(o1);
        q[2 * dp] = T(o2);
    }
}

// Three-channel pixels at 8 bits with 32-bit sums: the table's row kernel.
void twist8Row(void* context, const CellRow& row) {
    const Twist& t = *static_cast<const Twist*>(context);
    colourKernels().twist8(reinterpret_cast<const uint8_t*>(row.src), reinterpret_cast<uint8_t*>(row.dst),
                           size_t(row.width), t.fast);
}

template <class T, class Acc, bool Table>
CellRowKernel pick(bool plane, bool masked) {
    if (plane) return masked ? twistRow<T, Acc, Table, true, true> : twistRow<T, Acc, Table, true, false>;
    return masked ? twistRow<T, Acc, Table, false, true> : twistRow<T, Acc, Table, false, false>;
}

}  // namespace
}  // namespace zol

using namespace zol;

ZOL_API ZolColorTwist* zolCreateColorTwist(const int32_t* data, int scalingValue) {
    if (!data || scalingValue < 0 || scalingValue > 31) {
        report(ZOL_STATUS_BAD_ARGUMENT, kCreate, "bad_argument");
        return nullptr;
    }
    auto* t = static_cast<ZolColorTwist*>(zolMalloc(int(sizeof(ZolColorTwist))));
    if (!t) {
        report(ZOL_STATUS_NO_MEMORY, kCreate, "matrix_is_not_allocated");
        return nullptr;
    }
    std::memcpy(t->data, data, sizeof(t->data));
    t->scalingValue = scalingValue;
    return t;
}

ZOL_API void zolSetColorTwist(ZolColorTwist* cTwist, const int32_t* data, int scalingValue) {
    const char* fault = !cTwist             ? "cTwist==0"
                        : !data             ? "(data == 0)"
                        : scalingValue < 0  ? "(scalingValue < 0)"
                        : scalingValue > 31 ? "(scalingValue > 31)"
                                            : nullptr;
    if (fault) {
        report(ZOL_STATUS_BAD_ARGUMENT, kSet, fault);
        return;
    }
    std::memcpy(cTwist->data, data, sizeof(cTwist->data));
    cTwist->scalingValue = scalingValue;
}

ZOL_API void zolApplyColorTwist(ZolImage* srcImage, ZolImage* dstImage,
                                const ZolColorTwist* cTwist, int offset) {
    Frame f(kApply);
    if (!f.headersOk({srcImage, dstImage})) return;
    const ZolImage* s = srcImage;
    const ZolImage* d = dstImage;
    const char* fault =
        !cTwist ? "cTwist==0"
        : s->nChannels < 3 ? "(srcImage->nChannels < 3)"
        : s->alphaChannel != 0 && s->nChannels < 4
            ? "((srcImage->alphaChannel != 0) && (srcImage->nChannels < 4))"
        : d->nChannels < 3 ? "(dstImage->nChannels < 3)"
        : d->alphaChannel != 0 && d->nChannels < 4
            ? "((dstImage->alphaChannel != 0) && (dstImage->nChannels < 4))"
        : s->depth != d->depth ? "(srcImage->depth != dstImage->depth)"
        : s->depth != 8 && s->depth != 16 ? "((srcImage->depth != 8) && (srcImage->depth != 16))"
        : s->dataOrder != d->dataOrder ? "(srcImage->dataOrder != dstImage->dataOrder)"
        : s->origin != d->origin ? "(srcImage->origin != dstImage->origin)"
        : s->maskROI && s->origin != s->maskROI->origin
            ? "(srcImage->origin != srcImage->maskROI->origin)"
        : d->maskROI && d->origin != d->maskROI->origin
            ? "(dstImage->origin != dstImage->maskROI->origin)"
            : nullptr;
    if (fault) {
        f.fail(ZOL_STATUS_BAD_ARGUMENT, fault);
        return;
    }

    Twist t;
    const bool eight = s->depth == ZOL_DEPTH_8U;
    t.max = eight ? 255 : 65535;
    t.s = cTwist->scalingValue & 31;
    t.offset = offset;
    const bool plane = s->dataOrder == ZOL_DATA_ORDER_PLANE;
    t.srcPix = plane ? 1 : s->nChannels;
    t.dstPix = plane ? 1 : d->nChannels;
    int64_t bound = 0;  // largest |sum| of any row over every pixel
    for (int r = 0; r < 3; ++r) {
        int64_t a = 0;
        for (int c = 0; c < 4; ++c) t.m[r][c] = cTwist->data[4 * r + c];
        for (int c = 0; c < 3; ++c) a += std::llabs(int64_t(t.m[r][c]));
        a = a * t.max + std::llabs(int64_t(t.m[r][3]));
        if (a > bound) bound = a;
    }
    const bool narrow = bound < 0x7FFFFFFF;
    const bool masked = cellWalkMasked(s, d);
    CellRowKernel k;
    if (eight && narrow && !masked && !plane && t.srcPix == 3 && t.dstPix == 3) {
        for (int r = 0; r < 3; ++r)
            for (int c = 0; c < 4; ++c) t.fast.m[r][c] = t.m[r][c];
        t.fast.shift = t.s;
        t.fast.offset = offset < -512 ? -512 : (offset > 512 ? 512 : offset);
        k = twist8Row;
    } else if (eight && narrow) {
        for (int r = 0; r < 3; ++r)
            for (int c = 0; c < 3; ++c)
                for (int p = 0; p < 256; ++p) t.table[r][c][p] = t.m[r][c] * p;
        k = pick<uint8_t, int32_t, true>(plane, masked);
    } else if (eight) {
        k = pick<uint8_t, int64_t, false>(plane, masked);
    } else if (narrow) {
        k = pick<uint16_t, int32_t, false>(plane, masked);
    } else {
        k = pick<uint16_t, int64_t, false>(plane, masked);
    }
    ownCellWalk(f, s, dstImage, k, &t);
}
