// Norms of one image or of the difference of two, in one pass and without
// a difference image.
//
// The sums are defined as follows: bytes summed per row in integers and
// added to a double after each row; 16-bit magnitudes likewise, 16-bit
// squares and everything of 32S added to a double element by element, in
// walk order (channel, row, pixel in plane order; row, pixel, channel in
// pixel order). Whenever every partial sum is an integer below 2^53 all of
// these additions are exact, and one exact integer sum converted at the
// end gives the same double; that is the route taken then. The bound is
// the element count times the largest term the depth allows.
#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstring>
#include <type_traits>

#include "measure/norm.h"

#include "core/border.h"
#include "core/image.h"
#include "core/messages.h"
#include "core/parts.h"
#include "core/rect.h"
#include "core/report.h"

namespace zol {

namespace plain {
// 32-bit sums over pieces short enough not to wrap, then 64-bit.
template <class F>
uint64_t chunked(size_t n, size_t piece, F f) {
    uint64_t total = 0;
    for (size_t i = 0; i < n; i += piece) {
        uint32_t s = 0;
        const size_t end = std::min(n, i + piece);
        for (size_t k = i; k < end; ++k) s += f(k);
        total += s;
    }
    return total;
}
inline uint32_t absDiff(uint8_t x, uint8_t y) { return x > y ? uint32_t(x - y) : uint32_t(y - x); }

uint64_t sum8(const uint8_t* a, size_t n) {
    return chunked(n, 1 << 24, [a](size_t k) { return uint32_t(a[k]); });
}
uint64_t sumSq8(const uint8_t* a, size_t n) {
    return chunked(n, 1 << 16, [a](size_t k) { return uint32_t(a[k]) * a[k]; });
}
uint64_t max8(const uint8_t* a, size_t n) {
    uint8_t m = 0;
    for (size_t k = 0; k < n; ++k) m = std::max(m, a[k]);
    return m;
}
uint64_t sumDiff8(const uint8_t* a, const uint8_t* b, size_t n) {
    return chunked(n, 1 << 24, [a, b](size_t k) { return absDiff(a[k], b[k]); });
}
uint64_t sumSqDiff8(const uint8_t* a, const uint8_t* b, size_t n) {
    return chunked(n, 1 << 16, [a, b](size_t k) {
        const uint32_t d = absDiff(a[k], b[k]);
        return d * d;
    });
}
uint64_t maxDiff8(const uint8_t* a, const uint8_t* b, size_t n) {
    uint32_t m = 0;
    for (size_t k = 0; k < n; ++k) m = std::max(m, absDiff(a[k], b[k]));
    return m;
}
}  // namespace plain

namespace {
NormKernels makeTable(Form form) {
    NormKernels k{plain::sum8,     plain::sumSq8,     plain::max8,
                  plain::sumDiff8, plain::sumSqDiff8, plain::maxDiff8};
    normSimd(form, k);
    return k;
}
}  // namespace

const NormKernels& normKernels() { return tableForActiveForm(makeTable); }
Form normForm() { return activeForm(); }

namespace {

bool typeKnown(int t, bool two) {
    if (t == ZOL_NORM_MAX || t == ZOL_NORM_L1 || t == ZOL_NORM_L2) return true;
    return two && (t == (ZOL_NORM_MAX | ZOL_NORM_RELATIVE) ||
                   t == (ZOL_NORM_L1 | ZOL_NORM_RELATIVE) ||
                   t == (ZOL_NORM_L2 | ZOL_NORM_RELATIVE));
}

// Channels of the set: the coi alone, else all but alpha.
struct Set {
    int first, n;
};
Set setOf(const ZolImage* im) {
    const int coi = im->roi ? im->roi->coi : 0;
    if (coi > 0) return {coi - 1, 1};
    return {0, im->nChannels - (im->alphaChannel ? 1 : 0)};
}

// The running measures of a scan: of a (or a - b), and of b alone.
struct Measures {
    // Exact route.
    uint64_t maxD = 0, maxB = 0;
    uint64_t sumD = 0, sumB = 0;  // magnitudes or squares, by the kind
    // Double route.
    double dD = 0.0, dB = 0.0;
};

enum Kind { kMax = 1, kL1 = 2, kL2 = 4 };

// One row of w pixels, n channels each, in walk order; with a mask only
// the pixels whose bit is set.
template <class T, bool Two, int K, bool Rel, bool Exact>
void scanRow(const T* a, const T* b, ptrdiff_t pa, ptrdiff_t pb, ptrdiff_t ca, ptrdiff_t cb,
             int w, int n, const uint8_t* mrow, Measures& m) {
    uint64_t maxD = m.maxD, maxB = m.maxB, sumD = 0, sumB = 0;
    double dD = m.dD, dB = m.dB;
    for (int x = 0; x < w; ++x) {
        if (mrow && !bitAt(mrow, x)) continue;
        for (int c = 0; c < n; ++c) {
            const int64_t va = int64_t(a[x * pa + c * ca]);
            const int64_t vb = Two ? int64_t(b[x * pb + c * cb]) : 0;
            // Differences in 64-bit: exact for 32S too.
            const uint64_t d = uint64_t(va >= vb ? va - vb : vb - va);
            const uint64_t mb = uint64_t(vb >= 0 ? vb : -vb);
            if (K == kMax) {
                maxD = std::max(maxD, d);
                if (Rel) maxB = std::max(maxB, mb);
            } else if (Exact) {
                sumD += K == kL1 ? d : d * d;
                if (Rel) sumB += K == kL1 ? mb : mb * mb;
            } else {
                dD += K == kL1 ? double(d) : double(d) * double(d);
                if (Rel) dB += K == kL1 ? double(mb) : double(mb) * double(mb);
            }
        }
    }
    m.maxD = maxD, m.maxB = maxB;
    m.sumD += sumD, m.sumB += sumB;
    m.dD = dD, m.dB = dB;
}

// A tight form of the commonest case: one contiguous run, no mask, no b;
// 8U goes through the family's table.
template <class T, int K>
void scanRunOne(const T* a, size_t count, Measures& m) {
    if constexpr (std::is_same_v<T, uint8_t>) {
        const NormKernels& k = normKernels();
        const auto* p = reinterpret_cast<const uint8_t*>(a);
        if (K == kMax) m.maxD = std::max(m.maxD, k.max8(p, count));
        else m.sumD += K == kL1 ? k.sum8(p, count) : k.sumSq8(p, count);
        return;
    }
    uint64_t acc = 0, mx = m.maxD;
    for (size_t i = 0; i < count; ++i) {
        const int64_t v = int64_t(a[i]);
        const uint64_t d = uint64_t(v >= 0 ? v : -v);
        if (K == kMax) mx = std::max(mx, d);
        else acc += K == kL1 ? d : d * d;
    }
    m.maxD = mx;
    m.sumD += acc;
}

template <class T, bool Two, int K, bool Rel>
void scanRunTwo(const T* a, const T* b, size_t count, Measures& m) {
    if constexpr (std::is_same_v<T, uint8_t>) {
        const NormKernels& k = normKernels();
        const auto* p = reinterpret_cast<const uint8_t*>(a);
        const auto* q = reinterpret_cast<const uint8_t*>(b);
        if (K == kMax) {
            m.maxD = std::max(m.maxD, k.maxDiff8(p, q, count));
            if (Rel) m.maxB = std::max(m.maxB, k.max8(q, count));
        } else {
            m.sumD += K == kL1 ? k.sumDiff8(p, q, count) : k.sumSqDiff8(p, q, count);
            if (Rel) m.sumB += K == kL1 ? k.sum8(q, count) : k.sumSq8(q, count);
        }
        return;
    }
    uint64_t acc = 0, accB = 0, mx = m.maxD, mxB = m.maxB;
    for (size_t i = 0; i < count; ++i) {
        const int64_t va = int64_t(a[i]), vb = int64_t(b[i]);
        const uint64_t d = uint64_t(va >= vb ? va - vb : vb - va);
        const uint64_t mb = uint64_t(vb >= 0 ? vb : -vb);
        if (K == kMax) {
            mx = std::max(mx, d);
            if (Rel) mxB = std::max(mxB, mb);
        } else {
            acc += K == kL1 ? d : d * d;
            if (Rel) accB += K == kL1 ? mb : mb * mb;
        }
    }
    m.maxD = mx, m.maxB = mxB;
    m.sumD += acc, m.sumB += accB;
}

struct Scan {
    Part a, b;
    bool two;
    const uint8_t* mask;  // the call's mask of w x h from bit 0, or NULL
    ptrdiff_t mstep;
    int w, h, n;
    bool plane;
};

template <class T, bool Two, int K, bool Rel, bool Exact>
void scanTyped(const Scan& s, Measures& m) {
    constexpr ptrdiff_t e = sizeof(T);
    // Plane order: channel by channel, the mask run anew each time.
    const int passes = s.plane ? s.n : 1;
    const int per = s.plane ? 1 : s.n;
    for (int c = 0; c < passes; ++c) {
        const uint8_t* ra = s.a.row + c * s.a.chan * e;
        const uint8_t* rb = Two ? s.b.row + c * s.b.chan * e : nullptr;
        const uint8_t* mr = s.mask;
        for (int y = 0; y < s.h; ++y, ra += s.a.step) {
            const T* pa = reinterpret_cast<const T*>(ra);
            const T* pb = Two ? reinterpret_cast<const T*>(rb) : nullptr;
            const bool run = Exact && !mr && s.a.pix == per && (!Two || s.b.pix == per) &&
                             (per == 1 || (s.a.chan == 1 && (!Two || s.b.chan == 1)));
            if (run && !Two) scanRunOne<T, K>(pa, size_t(s.w) * size_t(per), m);
            else if (run) scanRunTwo<T, Two, K, Rel>(pa, pb, size_t(s.w) * size_t(per), m);
            else
                scanRow<T, Two, K, Rel, Exact>(pa, pb, s.a.pix, Two ? s.b.pix : 0, s.a.chan,
                                               Two ? s.b.chan : 0, s.w, per, mr, m);
            if (Two) rb += s.b.step;
            if (mr) mr += s.mstep;
        }
    }
}

// Largest term of a sum by depth, kind and number of images.
double maxTerm(int depth, int kind, bool two) {
    double v;
    switch (depth) {
        case ZOL_DEPTH_8U:
        case ZOL_DEPTH_8S: v = 255.0; break;
        case ZOL_DEPTH_16U:
        case ZOL_DEPTH_16S: v = 65535.0; break;
        default: v = two ? 4294967295.0 : 2147483648.0;
    }
    return kind == kL2 ? v * v : v;
}

template <class T>
void scanDepth(const Scan& s, int kind, bool rel, Measures& m, int depth) {
    const double count = double(s.w) * double(s.h) * double(s.n);
    const bool exact = count * maxTerm(depth, kind, s.two) < 9007199254740992.0;
    auto go = [&](auto two, auto k, auto r, auto ex) {
        scanTyped<T, decltype(two)::value, decltype(k)::value, decltype(r)::value,
                  decltype(ex)::value>(s, m);
    };
    using Y = std::true_type;
    using N = std::false_type;
    using KM = std::integral_constant<int, kMax>;
    using K1 = std::integral_constant<int, kL1>;
    using K2 = std::integral_constant<int, kL2>;
    auto byKind = [&](auto two, auto r, auto ex) {
        if (kind == kMax) go(two, KM(), r, Y());
        else if (kind == kL1) go(two, K1(), r, ex);
        else go(two, K2(), r, ex);
    };
    auto byExact = [&](auto two, auto r) { exact ? byKind(two, r, Y()) : byKind(two, r, N()); };
    if (!s.two) byExact(N(), N());
    else if (rel) byExact(Y(), Y());
    else byExact(Y(), N());
}

// 1-bit images: set bits (of a XOR b under the mask), and of b alone.
void scanBits(const Scan& s, Measures& m) {
    for (int y = 0; y < s.h; ++y) {
        const BitSrc a{s.a.row + ptrdiff_t(y) * s.a.step + (s.a.bit >> 3), s.a.bit & 7};
        const BitSrc b = s.two ? BitSrc{s.b.row + ptrdiff_t(y) * s.b.step + (s.b.bit >> 3),
                                        s.b.bit & 7}
                               : BitSrc{nullptr, 0};
        const uint8_t* mr = s.mask ? s.mask + ptrdiff_t(y) * s.mstep : nullptr;
        const int64_t lastA = (a.bit + s.w - 1) >> 3, lastB = (b.bit + s.w - 1) >> 3;
        for (int64_t pos = 0; pos < s.w; pos += 8) {
            const int64_t left = s.w - pos;
            unsigned sel = left >= 8 ? 0xFFu : (0xFFu << (8 - left)) & 0xFFu;
            if (mr) sel &= mr[pos >> 3];
            const unsigned va = detail::fetch8(a, pos, lastA);
            const unsigned vb = s.two ? detail::fetch8(b, pos, lastB) : 0u;
            m.sumD += unsigned(__builtin_popcount((va ^ vb) & sel));
            m.sumB += unsigned(__builtin_popcount(vb & sel));
        }
    }
}

// The result of a scan, or -1.0 for a denominator too small.
double finish(const Measures& m, int depth, int kind, bool rel) {
    double num, den;
    if (depth == ZOL_DEPTH_1U) {
        if (kind == kMax) num = m.sumD ? 1.0 : 0.0, den = m.sumB ? 1.0 : 0.0;
        else num = double(m.sumD), den = double(m.sumB);
    } else if (kind == kMax) {
        num = double(m.maxD), den = double(m.maxB);
    } else {
        // Exactly one of the routes ran.
        num = double(m.sumD) + m.dD;
        den = double(m.sumB) + m.dB;
    }
    if (kind == kL2) num = std::sqrt(num), den = std::sqrt(den);
    if (!rel) return num;
    if (!(den > DBL_MIN)) return -1.0;
    return num / den;
}

// An image's part for the scan: its own pixels, or a block of the whole
// region fetched through its tiles (freed with the hold).
struct Fetched {
    void* block = nullptr;
    Fetched() = default;
    Fetched(const Fetched&) = delete;
    Fetched& operator=(const Fetched&) = delete;
    ~Fetched() { zolFree(block); }
};

bool partOf(const ZolImage* im, const ownRect& r, int w, int h, int first, Fetched& f, Part& p) {
    if (!im->tileInfo) {
        p = plainPart(im, r.x, r.y, first);
        return true;
    }
    int stride = 0;
    f.block = ownGetRect(im, r.x, r.y, w, h, &stride);
    if (!f.block) return false;
    p = partAt(im, static_cast<char*>(f.block), stride, h, 0, 0, first);
    return true;
}

// The temporary mask of w x h: the AND of the masks' regions (or the one
// mask's), bits beyond a mask's region clear.
ZolImage* maskFor(const ZolImage* ma, const ZolImage* mb, int w, int h) {
    const ZolImage* first = ma ? ma : mb;
    ZolImage* t = zolCreateImageHeader(1, 0, ZOL_DEPTH_1U, "GRAY", "GRAY", first->dataOrder,
                                       first->origin, first->align, w, h, nullptr, nullptr,
                                       nullptr, nullptr);
    if (!t) return nullptr;
    zolAllocateImage(t, 1, 0);
    if (!t->imageData) return t;
    const Rect ra = ma ? clipped(ma) : Rect{}, rb = mb ? clipped(mb) : Rect{};
    const int cw = std::min(w, std::min(ma ? ra.w : w, mb ? rb.w : w));
    const int ch = std::min(h, std::min(ma ? ra.h : h, mb ? rb.h : h));
    auto rowOf = [](const ZolImage* m, const Rect& r, int y) {
        return reinterpret_cast<const uint8_t*>(m->imageData) + ptrdiff_t(r.y + y) * m->widthStep;
    };
    for (int y = 0; y < ch && cw > 0; ++y) {
        auto* d = reinterpret_cast<uint8_t*>(t->imageData) + ptrdiff_t(y) * t->widthStep;
        if (ma && mb)
            mapBitRow(d, 0, cw, [](unsigned x, unsigned z) { return x & z; },
                      BitSrc{rowOf(ma, ra, y), ra.x}, BitSrc{rowOf(mb, rb, y), rb.x});
        else
            ownCopyBitRow(rowOf(first, ma ? ra : rb, y), d, (ma ? ra : rb).x, 0, cw);
    }
    return t;
}

double norm(ZolImage* A, ZolImage* B, int normType) {
    const char* func = msg::kNorm;
    if (zolCheckImageHeader(A) != 0) {
        report(zolGetErrStatus(), func, msg::kIncorrectImage);
        return 0.0;
    }
    if (A->depth == ZOL_DEPTH_32F || (B && B->depth == ZOL_DEPTH_32F)) {
        report(ZOL_STATUS_BAD_DEPTH, func, msg::kNormDepth32F);
        return 0.0;
    }
    if (B && A->dataOrder != B->dataOrder) {
        report(ZOL_STATUS_BAD_ORDER, func, msg::kNormOrder);
        return 0.0;
    }
    if (!B && !typeKnown(normType, false)) {
        report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kNormType);
        if (zolGetErrStatus() < 0) return 0.0;
    }
    if (B) {
        if (zolCheckImageHeader(B) != 0) {
            report(zolGetErrStatus(), func, msg::kIncorrectImage);
            return 0.0;
        }
        if (A->depth != B->depth) {
            report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kNormDepths);
            return 0.0;
        }
        if (!typeKnown(normType, true)) {
            report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kNormType);
            if (zolGetErrStatus() < 0) return 0.0;
        }
    }
    auto coiOf = [](const ZolImage* im) { return im->roi ? im->roi->coi : 0; };
    if (A->alphaChannel != 0 && A->alphaChannel != A->nChannels) {
        report(ZOL_STATUS_BAD_ALPHA, func, msg::kNormAlphaA);
        return 0.0;
    }
    if (coiOf(A) < 0 || coiOf(A) > A->nChannels) {
        report(ZOL_STATUS_BAD_COI, func, msg::kNormCoiA);
        return 0.0;
    }
    const Set sa = setOf(A);
    Set sb{0, 0};
    if (B) {
        if (B->alphaChannel != 0 && B->alphaChannel != B->nChannels) {
            report(ZOL_STATUS_BAD_ALPHA, func, msg::kNormAlphaB);
            return 0.0;
        }
        if (coiOf(B) < 0 || coiOf(B) > B->nChannels) {
            report(ZOL_STATUS_BAD_COI, func, msg::kNormCoiB);
            return 0.0;
        }
        sb = setOf(B);
        if (sa.n != sb.n) {
            report(ZOL_STATUS_BAD_CHANNELS, func, msg::kNoContext);
            return 0.0;
        }
    }
    const int kind = normType & 7;
    const bool rel = (normType & ZOL_NORM_RELATIVE) != 0;
    if (kind != kMax && kind != kL1 && kind != kL2) return 0.0;  // let through by a handler

    // The common size; each image keeps its corner.
    ownRect ra, rb{};
    ownRoiRect(A, &ra);
    int w = ra.width, h = ra.height;
    if (B) {
        ownRoiRect(B, &rb);
        w = std::min(w, rb.width);
        h = std::min(h, rb.height);
    }
    const ZolImage* ma = A->maskROI;
    const ZolImage* mb = B ? B->maskROI : nullptr;
    for (const ZolImage* m : {ma, mb}) {
        // With one image only a mask without a ROI cuts the size.
        if (m && (B || !m->roi)) {
            const Rect r = clipped(m);
            w = std::min(w, r.w);
            h = std::min(h, r.h);
        }
    }
    w = std::max(w, 0);
    h = std::max(h, 0);

    ImageHold tmp;
    if (ma || mb) {
        tmp.image = maskFor(ma, mb, std::max(w, 1), std::max(h, 1));
        if (!tmp.image) {
            report(ZOL_STATUS_NULL_HEADER, func, msg::kNormMaskNull);
            return 0.0;
        }
        if (!tmp.image->imageData) {
            if (B) report(ZOL_STATUS_NULL_HEADER, func, msg::kNormMaskNull);
            else report(-(ZOL_MASK_STATUS_OFFSET + 12), func, msg::kBlank);
            return 0.0;
        }
    }

    Scan s{};
    s.two = B != nullptr;
    s.w = w, s.h = h, s.n = sa.n;
    s.plane = A->dataOrder == ZOL_DATA_ORDER_PLANE;
    if (tmp.image) {
        s.mask = reinterpret_cast<const uint8_t*>(tmp.image->imageData);
        s.mstep = tmp.image->widthStep;
    }
    Measures m;
    if (w > 0 && h > 0 && s.n > 0) {
        Fetched fa, fb;
        if (!partOf(A, ra, w, h, sa.first, fa, s.a) ||
            (B && !partOf(B, rb, w, h, sb.first, fb, s.b))) {
            report(ZOL_STATUS_BAD_DATA_POINTERS, func, msg::kBlank);
            return 0.0;
        }
        switch (A->depth) {
            case ZOL_DEPTH_1U: scanBits(s, m); break;
            case ZOL_DEPTH_8U: scanDepth<uint8_t>(s, kind, rel, m, A->depth); break;
            case ZOL_DEPTH_8S: scanDepth<int8_t>(s, kind, rel, m, A->depth); break;
            case ZOL_DEPTH_16U: scanDepth<uint16_t>(s, kind, rel, m, A->depth); break;
            case ZOL_DEPTH_16S: scanDepth<int16_t>(s, kind, rel, m, A->depth); break;
            default: scanDepth<int32_t>(s, kind, rel, m, A->depth); break;
        }
    }
    const double r = finish(m, A->depth, kind, rel);
    if (r < 0.0) {
        report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kZeroDivided);
        return 0.0;
    }
    return r;
}

}  // namespace
}  // namespace zol

extern "C" ZOL_API double zolNorm(ZolImage* srcImageA, ZolImage* srcImageB, int normType) {
    return zol::norm(srcImageA, srcImageB, normType);
}
