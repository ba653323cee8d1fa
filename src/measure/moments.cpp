// Moments up to order 3 of one channel, in one pass: the powers of x stay
// inside a row, the powers of y are applied once per row to its sums.
//
// The sums are defined as doubles added in order of x. Where every partial
// sum of a row is an integer of magnitude below 2^53, each double addition
// is exact, so exact integer sums converted once per row give the very same
// doubles; that is the fast route, and the double route runs otherwise.
#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstddef>
#include <type_traits>
#include <cstring>

#include "measure/moments.h"

#include "core/image.h"
#include "core/messages.h"
#include "core/parts.h"
#include "core/rect.h"
#include "core/report.h"

// The record is shared with applications: its LP64 layout is interface.
static_assert(sizeof(ZolMomentState) == 256 && offsetof(ZolMomentState, entry[1][2].value) == 104,
              "ZolMomentState layout");

namespace zol {

namespace plain {
// Blocks of 64 pixels are summed in 32 bits around the block's first
// coordinate (p * k^3 < 255 * 63^3, and 64 of them below 2^31), then
// expanded in 64 bits; every partial stays below the caller's bound.
void momentRow8(const uint8_t* s, size_t n, int64_t x, int64_t out[4]) {
    size_t i = 0;
    for (; i + 64 <= n; i += 64) {
        uint32_t s0 = 0, t1 = 0, t2 = 0, t3 = 0;
        for (uint32_t k = 0; k < 64; ++k) {
            const uint32_t p = s[i + k];
            s0 += p, t1 += p * k, t2 += p * k * k, t3 += p * k * k * k;
        }
        addBlock(x + int64_t(i), s0, t1, t2, t3, out);
    }
    for (; i < n; ++i) addBlock(x + int64_t(i), s[i], 0, 0, 0, out);
}
}  // namespace plain

namespace {
MomentKernels makeTable(Form form) {
    MomentKernels k{plain::momentRow8};
    momentsSimd(form, k);
    return k;
}
}  // namespace

const MomentKernels& momentKernels() { return tableForActiveForm(makeTable); }
Form momentsForm() { return activeForm(); }

namespace {

// The ten moments in the order M00, M10, M01, M20, M11, M02, M30, M21, M12, M03.
constexpr int kM[10][2] = {{0, 0}, {1, 0}, {0, 1}, {2, 0}, {1, 1},
                           {0, 2}, {3, 0}, {2, 1}, {1, 2}, {0, 3}};

int slotOf(int m, int n) {
    for (int i = 0; i < 10; ++i)
        if (kM[i][0] == m && kM[i][1] == n) return i;
    return -1;
}

bool orderOk(int m, int n) { return m >= 0 && n >= 0 && m <= 3 && n <= 3 && m + n <= 3; }

// Row sums S[k] = sum of p * x^k for the sums named in `which` (bit k).
using RowSums = double[4];

// Largest |p| a depth can hold.
double maxSample(int depth) {
    switch (depth) {
        case ZOL_DEPTH_1U: return 1.0;
        case ZOL_DEPTH_8U: return 255.0;
        case ZOL_DEPTH_8S: return 128.0;
        case ZOL_DEPTH_16U: return 65535.0;
        case ZOL_DEPTH_16S: return 32768.0;
        default: return 2147483648.0;
    }
}

// True when every partial sum of p * x^k over a row of w pixels with x
// below xEnd stays below 2^53 for each k up to kMax: then |p| * w *
// xEnd^kMax bounds them all, and each term and partial is an exact integer.
// The bound is formed in long double, exact for these magnitudes well past
// 2^53.
bool exactRows(int depth, int64_t w, int64_t xEnd, int kMax) {
    if (depth == ZOL_DEPTH_32F) return false;
    long double b = (long double)maxSample(depth) * (long double)w;
    for (int k = 0; k < kMax; ++k) b *= (long double)std::max<int64_t>(xEnd, 1);
    return b < 9007199254740992.0L;
}

template <class T>
inline T loadAt(const uint8_t* p) {
    T v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

// One row of an element depth. Exact: int64 sums; otherwise the defined
// double order.
template <class T, bool Exact>
void rowSums(const uint8_t* row, ptrdiff_t pix, int w, double x0, const uint8_t* mrow,
             int64_t mbit, unsigned which, RowSums& S) {
    const T* s = reinterpret_cast<const T*>(row);
    if (Exact) {
        int64_t a0 = 0, a1 = 0, a2 = 0, a3 = 0;
        int64_t x = int64_t(x0);
        if (!mrow && pix == 1 && which == 15u && std::is_same_v<T, uint8_t>) {
            int64_t r[4] = {};
            momentKernels().rows8(reinterpret_cast<const uint8_t*>(s), size_t(w), x, r);
            a0 = r[0], a1 = r[1], a2 = r[2], a3 = r[3];
        } else if (!mrow && pix == 1 && which == 15u) {
            for (int i = 0; i < w; ++i, ++x) {
                const int64_t p = int64_t(s[i]);
                const int64_t px = p * x, pxx = px * x;
                a0 += p;
                a1 += px;
                a2 += pxx;
                a3 += pxx * x;
            }
        } else {
            for (int i = 0; i < w; ++i, ++x) {
                if (mrow && !bitAt(mrow, mbit + i)) continue;
                const int64_t p = int64_t(s[i * pix]);
                if (which & 1u) a0 += p;
                if (which & 2u) a1 += p * x;
                if (which & 4u) a2 += p * x * x;
                if (which & 8u) a3 += p * x * x * x;
            }
        }
        S[0] = double(a0), S[1] = double(a1), S[2] = double(a2), S[3] = double(a3);
        return;
    }
    double s0 = 0, s1 = 0, s2 = 0, s3 = 0, x = x0;
    for (int i = 0; i < w; ++i, x += 1.0) {
        if (mrow && !bitAt(mrow, mbit + i)) continue;
        const double p = double(s[i * pix]);
        if (which & 1u) s0 += p;
        if (which & 2u) s1 += p * x;
        if (which & 4u) s2 += p * x * x;
        if (which & 8u) s3 += p * x * x * x;
    }
    S[0] = s0, S[1] = s1, S[2] = s2, S[3] = s3;
}

// Per byte value: set bits, and the sums of k, k^2, k^3 over its set bits
// (k = 0 for bit 7).
struct BitTables {
    int64_t t[256][4];
    BitTables() {
        for (int b = 0; b < 256; ++b) {
            for (int j = 0; j < 4; ++j) t[b][j] = 0;
            for (int k = 0; k < 8; ++k)
                if (b & (0x80 >> k)) {
                    t[b][0] += 1;
                    t[b][1] += k;
                    t[b][2] += k * k;
                    t[b][3] += k * k * k;
                }
        }
    }
};

// One row of a 1-bit image: a byte at a time from tables, (X + k)^m
// expanded around the byte's first coordinate X.
template <bool Exact>
void bitRowSums(const uint8_t* row, int64_t bit, int w, double x0, const uint8_t* mrow,
                int64_t mbit, RowSums& S) {
    if (!Exact) {
        double s0 = 0, s1 = 0, s2 = 0, s3 = 0, x = x0;
        for (int i = 0; i < w; ++i, x += 1.0) {
            if (mrow && !bitAt(mrow, mbit + i)) continue;
            const double p = double(bitAt(row, bit + i));
            s0 += p;
            s1 += p * x;
            s2 += p * x * x;
            s3 += p * x * x * x;
        }
        S[0] = s0, S[1] = s1, S[2] = s2, S[3] = s3;
        return;
    }
    static const BitTables tables;
    const BitSrc src{row + (bit >> 3), bit & 7};
    const int64_t last = (src.bit + w - 1) >> 3;
    BitSrc msk{nullptr, 0};
    int64_t lastM = 0;
    if (mrow) {
        msk = BitSrc{mrow + (mbit >> 3), mbit & 7};
        lastM = (msk.bit + w - 1) >> 3;
    }
    int64_t a0 = 0, a1 = 0, a2 = 0, a3 = 0;
    const int64_t xs = int64_t(x0);
    for (int64_t pos = 0; pos < w; pos += 8) {
        const int64_t left = w - pos;
        unsigned v = detail::fetch8(src, pos, last);
        if (left < 8) v &= (0xFFu << (8 - left)) & 0xFFu;
        if (mrow) v &= detail::fetch8(msk, pos, lastM);
        if (!v) continue;
        const int64_t* t = tables.t[v];
        const int64_t X = xs + pos;
        a0 += t[0];
        a1 += t[0] * X + t[1];
        a2 += t[0] * X * X + 2 * X * t[1] + t[2];
        a3 += t[0] * X * X * X + 3 * X * X * t[1] + 3 * X * t[2] + t[3];
    }
    S[0] = double(a0), S[1] = double(a1), S[2] = double(a2), S[3] = double(a3);
}

// A part to measure: its rows, the mask's rows, and the image coordinates
// of its first pixel.
struct Piece {
    const uint8_t* row;
    ptrdiff_t step;
    ptrdiff_t pix;
    int64_t bit;
    const uint8_t* mrow;  // NULL without a mask to apply
    ptrdiff_t mstep;
    int64_t mbit;
    int x0, y0, w, h;
};

// Adds the moments of a piece into acc; only the slots in `slots` (bit i
// for slot i) are formed, each from the row sum it needs.
void measure(int depth, const Piece& p, unsigned slots, double* acc) {
    unsigned which = 0;
    for (int i = 0; i < 10; ++i)
        if (slots & (1u << i)) which |= 1u << kM[i][0];
    int kMax = 0;
    for (int k = 0; k < 4; ++k)
        if (which & (1u << k)) kMax = k;
    const bool exact = exactRows(depth, p.w, int64_t(p.x0) + p.w, kMax);
    auto rows = [&](auto kernel) {
        double y = double(p.y0);
        const uint8_t* r = p.row;
        const uint8_t* mr = p.mrow;
        for (int j = 0; j < p.h; ++j, r += p.step, y += 1.0) {
            RowSums S;
            kernel(r, mr, S);
            if (mr) mr += p.mstep;
            const double yy = y * y, yyy = y * y * y;
            if (slots & 0x001u) acc[0] += S[0];
            if (slots & 0x002u) acc[1] += S[1];
            if (slots & 0x004u) acc[2] += y * S[0];
            if (slots & 0x008u) acc[3] += S[2];
            if (slots & 0x010u) acc[4] += y * S[1];
            if (slots & 0x020u) acc[5] += yy * S[0];
            if (slots & 0x040u) acc[6] += S[3];
            if (slots & 0x080u) acc[7] += y * S[2];
            if (slots & 0x100u) acc[8] += yy * S[1];
            if (slots & 0x200u) acc[9] += yyy * S[0];
        }
    };
    const double x0 = double(p.x0);
    auto elems = [&](auto tag, auto ex) {
        using T = decltype(tag);
        rows([&](const uint8_t* r, const uint8_t* mr, RowSums& S) {
            rowSums<T, decltype(ex)::value>(r, p.pix, p.w, x0, mr, p.mbit, which, S);
        });
    };
    using Yes = std::true_type;
    using No = std::false_type;
    switch (depth) {
        case ZOL_DEPTH_1U:
            if (exact)
                rows([&](const uint8_t* r, const uint8_t* mr, RowSums& S) {
                    bitRowSums<true>(r, p.bit, p.w, x0, mr, p.mbit, S);
                });
            else
                rows([&](const uint8_t* r, const uint8_t* mr, RowSums& S) {
                    bitRowSums<false>(r, p.bit, p.w, x0, mr, p.mbit, S);
                });
            return;
        case ZOL_DEPTH_8U: return exact ? elems(uint8_t(), Yes()) : elems(uint8_t(), No());
        case ZOL_DEPTH_8S: return exact ? elems(int8_t(), Yes()) : elems(int8_t(), No());
        case ZOL_DEPTH_16U: return exact ? elems(uint16_t(), Yes()) : elems(uint16_t(), No());
        case ZOL_DEPTH_16S: return exact ? elems(int16_t(), Yes()) : elems(int16_t(), No());
        case ZOL_DEPTH_32S: return exact ? elems(int32_t(), Yes()) : elems(int32_t(), No());
        default: return elems(float(), No());
    }
}

// The image's region, channel and mask, checked; false after a report.
struct Job {
    ZolImage* image;
    int channel;  // from 1
    Rect r;       // x0, y0, w, h
    const ZolImage* mask;
    Rect rm;
    bool applyMask;
};

bool prepare(const char* func, ZolImage* image, Job& j) {
    if (zolCheckImageHeader(image) != 0) {
        report(zolGetErrStatus(), func, msg::kIncorrectImage);
        return false;
    }
    if (image->nChannels != 1 && (!image->roi || image->roi->coi == 0)) {
        report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kOneChannel);
        return false;
    }
    j.image = image;
    j.channel = image->nChannels == 1 ? 1 : image->roi->coi;
    j.r = clipped(image);
    j.mask = image->maskROI;
    j.rm = Rect{0, 0, 0, 0};
    j.applyMask = false;
    if (j.mask) {
        j.rm = clipped(j.mask);
        j.r.w = std::min(j.r.w, j.rm.w);
        j.r.h = std::min(j.r.h, j.rm.h);
        // A mask without pixels limits the size and selects nothing away.
        j.applyMask = j.mask->imageData != nullptr;
    }
    if (j.r.w < 1 || j.r.h < 1) j.r.w = j.r.h = 0;
    return true;
}

// The region's moments of the slots asked for, plain or tile by tile (each
// tile's sums added to the total). False when a tile did not come.
bool runJob(const char* func, const Job& j, unsigned slots, double* acc) {
    ZolImage* im = j.image;
    // The image carries a region record of the call for its length.
    ZolROI lent{j.channel, j.r.x, j.r.y, j.r.w, j.r.h};
    Restore<ZolROI*> keep(im->roi);
    im->roi = &lent;

    auto pieceAt = [&](const Part& pt, int ox, int oy, int w, int h) {
        Piece p{pt.row, pt.step, pt.pix, pt.bit, nullptr, 0, 0, j.r.x + ox, j.r.y + oy, w, h};
        if (j.applyMask) {
            const ZolImage* m = j.mask;
            p.mrow = reinterpret_cast<const uint8_t*>(m->imageData) +
                     ptrdiff_t(j.rm.y + oy) * m->widthStep;
            p.mstep = m->widthStep;
            p.mbit = j.rm.x + ox;
        }
        return p;
    };
    std::fill(acc, acc + 10, 0.0);
    if (!im->tileInfo) {
        measure(im->depth, pieceAt(plainPart(im, j.r.x, j.r.y, j.channel - 1), 0, 0, j.r.w, j.r.h),
                slots, acc);
        return true;
    }
    bool ok = true;
    forCells(im, j.r.x, j.r.y, j.r.w, j.r.h, [&](int c, int r, int ox, int oy, int w, int h) {
        char* tile = requestTile(im, c, r, ZOL_TILE_READ);
        if (!tile) {
            report(ZOL_STATUS_FAILED, func, msg::kGetTileRead);
            return ok = false;
        }
        double local[10] = {};
        measure(im->depth,
                pieceAt(tilePart(im, tile, c, r, j.r.x + ox, j.r.y + oy, j.channel - 1), ox, oy,
                        w, h),
                slots, local);
        for (int i = 0; i < 10; ++i) acc[i] += local[i];
        releaseTile(im, c, r);
        return true;
    });
    return ok;
}

// zolMoments without its own name: true when state was filled.
bool momentsInto(const char* func, ZolImage* image, ZolMomentState* state) {
    Job j;
    if (!prepare(func, image, j)) return false;
    if (!state) {
        report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kStateNull);
        return false;
    }
    if (j.r.w == 0) return false;
    double acc[10];
    if (!runJob(func, j, 0x3FFu, acc)) return false;
    const double a = 1.0 / j.r.w, b = 1.0 / j.r.h;
    for (int i = 0; i < 10; ++i) {
        double am = 1.0, bn = 1.0;
        for (int k = 0; k < kM[i][0]; ++k) am *= a;
        for (int k = 0; k < kM[i][1]; ++k) bn *= b;
        state->entry[kM[i][0]][kM[i][1]].scale = am * bn;
        state->entry[kM[i][0]][kM[i][1]].value = acc[i];
    }
    state->entry[0][0].scale = 1.0;
    return true;
}

double central(const ZolMomentState* s, int m, int n) {
    auto M = [s](int p, int q) { return s->entry[p][q].value; };
    double xc, yc;
    if (std::fabs(M(0, 0)) > DBL_MIN) {
        const double inv = 1.0 / M(0, 0);
        xc = M(1, 0) * inv;
        yc = M(0, 1) * inv;
    } else {
        xc = 0.5 / s->entry[1][0].scale;
        yc = 0.5 / s->entry[0][1].scale;
    }
    switch (m * 4 + n) {
        case 0: return M(0, 0);
        case 1:
        case 4: return 0.0;
        case 2: return M(0, 2) - yc * M(0, 1);
        case 8: return M(2, 0) - xc * M(1, 0);
        case 5: return M(1, 1) - xc * M(0, 1);
        case 3: return M(0, 3) - 3 * yc * M(0, 2) + 2 * yc * yc * M(0, 1);
        case 12: return M(3, 0) - 3 * xc * M(2, 0) + 2 * xc * xc * M(1, 0);
        case 6: return M(1, 2) - 2 * yc * M(1, 1) - xc * M(0, 2) + 2 * yc * yc * M(1, 0);
        default: return M(2, 1) - 2 * xc * M(1, 1) - yc * M(2, 0) + 2 * xc * xc * M(0, 1);
    }
}

// The reader's checks; false after a report.
bool readerOk(const char* func, const ZolMomentState* state, int m, int n) {
    if (!orderOk(m, n)) {
        report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kMomentOrder);
        return false;
    }
    if (!state) {
        report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kStateNull);
        return false;
    }
    return true;
}

// One spatial moment from the image, and the region's size.
bool spatial(const char* func, ZolImage* image, int m, int n, double* v, Job& j) {
    *v = 0.0;
    if (!prepare(func, image, j)) return false;
    if (!orderOk(m, n)) {
        report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kMomentOrder);
        return false;
    }
    if (j.r.w == 0) return true;
    // Untiled, only the one sum is formed; tiles run the whole walk.
    const unsigned slots = image->tileInfo ? 0x3FFu : 1u << slotOf(m, n);
    double acc[10];
    if (!runJob(func, j, slots, acc)) return false;
    *v = acc[slotOf(m, n)];
    return true;
}

double centralFrom(const char* func, ZolImage* image, int m, int n, bool normalized) {
    Job j;
    if (!prepare(func, image, j)) return 0.0;
    if (!orderOk(m, n)) {
        report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kMomentOrder);
        return 0.0;
    }
    ZolMomentState s;
    if (!momentsInto(func, image, &s)) return 0.0;
    const double c = central(&s, m, n);
    return normalized ? c * s.entry[m][n].scale : c;
}

}  // namespace
}  // namespace zol

using namespace zol;

extern "C" {

ZOL_API void zolMoments(ZolImage* image, ZolMomentState* state) {
    momentsInto(msg::kMoments, image, state);
}

ZOL_API double zolSpatialMoment(ZolImage* image, int m, int n) {
    double v;
    Job j;
    spatial(msg::kSpatialMoment, image, m, n, &v, j);
    return v;
}

ZOL_API double zolNormalizedSpatialMoment(ZolImage* image, int m, int n) {
    double v;
    Job j;
    if (!spatial(msg::kNormalizedSpatialMoment, image, m, n, &v, j) || j.r.w == 0) return 0.0;
    double wm = 1.0, hn = 1.0;
    for (int k = 0; k < m; ++k) wm *= double(j.r.w);
    for (int k = 0; k < n; ++k) hn *= double(j.r.h);
    return v / (wm * hn);
}

ZOL_API double zolCentralMoment(ZolImage* image, int m, int n) {
    return centralFrom(msg::kCentralMoment, image, m, n, false);
}

ZOL_API double zolNormalizedCentralMoment(ZolImage* image, int m, int n) {
    return centralFrom(msg::kNormalizedCentralMoment, image, m, n, true);
}

ZOL_API double zolGetSpatialMoment(ZolMomentState* state, int m, int n) {
    if (!readerOk(msg::kGetSpatialMoment, state, m, n)) return 0.0;
    return state->entry[m][n].value;
}

ZOL_API double zolGetNormalizedSpatialMoment(ZolMomentState* state, int m, int n) {
    if (!readerOk(msg::kGetSpatialMoment, state, m, n)) return 0.0;
    return state->entry[m][n].value * state->entry[m][n].scale;
}

ZOL_API double zolGetCentralMoment(ZolMomentState* state, int m, int n) {
    if (!readerOk(msg::kGetCentralMoment, state, m, n)) return 0.0;
    return central(state, m, n);
}

ZOL_API double zolGetNormalizedCentralMoment(ZolMomentState* state, int m, int n) {
    if (!readerOk(msg::kGetNormalizedCentralMoment, state, m, n)) return 0.0;
    return central(state, m, n) * state->entry[m][n].scale;
}

}  // extern "C"
