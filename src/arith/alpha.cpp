// Alpha compositing: zolPreMultiplyAlpha, zolAlphaComposite and
// zolAlphaCompositeC, with their floating, integer and packed routes.
#include "arith/alpha.h"

#include "arith/mulscale.h"

#include <algorithm>
#include <cstring>

namespace zol {

namespace {

enum { kOver = 0, kIn = 1, kOut = 2, kAtop = 3, kXor = 4, kPlus = 5 };

template <class T>
inline uint32_t cap(uint32_t v) {
    return v > kTop<T> ? kTop<T> : v;
}

// Integer route: each operator as written, products truncated, sums
// capped at M.
template <class T, int Op>
inline uint32_t intColour(uint32_t A, uint32_t B, uint32_t a, uint32_t b) {
    if constexpr (Op == kOver) return cap<T>(A + B - divTop<T>(B * a));
    else if constexpr (Op == kIn) return divTop<T>(A * b);
    else if constexpr (Op == kOut) return A - divTop<T>(A * b);
    else if constexpr (Op == kAtop) return cap<T>(divTop<T>(A * b) + B - divTop<T>(B * a));
    else if constexpr (Op == kXor) return cap<T>(A - divTop<T>(A * b) + B - divTop<T>(B * a));
    else return cap<T>(A + B);
}
template <class T, int Op>
inline uint32_t intAlpha(uint32_t a, uint32_t b) {
    if constexpr (Op == kOver) return cap<T>(a + b - divTop<T>(a * b));
    else if constexpr (Op == kIn) return divTop<T>(a * b);
    else if constexpr (Op == kOut) return a - divTop<T>(a * b);
    else if constexpr (Op == kAtop) return b;
    else if constexpr (Op == kXor) return cap<T>(a + b - 2 * divTop<T>(a * b));
    else return cap<T>(a + b);
}

// Packed route: every product by the complement taken by itself.
template <class T, int Op>
inline uint32_t packedColour(uint32_t A, uint32_t B, uint32_t a, uint32_t b) {
    constexpr uint32_t M = kTop<T>;
    if constexpr (Op == kOver) return cap<T>(A + divTop<T>((M - a) * B));
    else if constexpr (Op == kIn) return divTop<T>(b * A);
    else if constexpr (Op == kOut) return divTop<T>((M - b) * A);
    else if constexpr (Op == kAtop) return cap<T>(divTop<T>(b * A) + divTop<T>((M - a) * B));
    else if constexpr (Op == kXor) return cap<T>(divTop<T>((M - b) * A) + divTop<T>((M - a) * B));
    else return cap<T>(A + B);
}
template <class T, int Op>
inline uint32_t packedAlpha(uint32_t a, uint32_t b) {
    constexpr uint32_t M = kTop<T>;
    if constexpr (Op == kOver) return cap<T>(a + divTop<T>((M - a) * b));
    else if constexpr (Op == kIn) return divTop<T>(a * b);
    else if constexpr (Op == kOut) return divTop<T>((M - b) * a);
    else if constexpr (Op == kAtop) return b;
    else if constexpr (Op == kXor) return cap<T>(divTop<T>((M - b) * a) + divTop<T>((M - a) * b));
    else return cap<T>(a + b);
}

// Floating route: unit alphas from the depth's scale, in double.
template <class T>
constexpr double kScale = sizeof(T) == 1 ? double(1.0f / 255.0f) : 1.0 / 65535.0;
// Half the scale squared: a smaller resulting alpha leaves the colour undivided.
template <class T>
constexpr double kThreshold =
    sizeof(T) == 1 ? double(7.689351150474977e-06f) : 1.1641887462193043e-10;

template <class T, int Op>
inline void floating(double A, double B, double a1, double b1, double& C, double& Ca) {
    if constexpr (Op == kOver) C = A + B * (1 - a1), Ca = a1 + (1 - a1) * b1;
    else if constexpr (Op == kIn) C = A * b1, Ca = a1 * b1;
    else if constexpr (Op == kOut) C = A * (1 - b1), Ca = a1 * (1 - b1);
    else if constexpr (Op == kAtop) C = A * b1 + B * (1 - a1), Ca = b1;
    else if constexpr (Op == kXor)
        C = A * (1 - b1) + B * (1 - a1), Ca = (1 - b1) * a1 + (1 - a1) * b1;
    else C = A + B, Ca = a1 + b1;
}

template <class T, int Op, bool Premul>
void floatingColourRow(int n, const T* __restrict A, const T* __restrict B, const T* __restrict a,
                       const T* __restrict b, T* __restrict out) {
    constexpr double s = kScale<T>, M = double(kTop<T>);
    for (int i = 0; i < n; ++i) {
        const double a1 = a[i] * s, b1 = b[i] * s;
        const double Ap = Premul ? double(A[i]) : a1 * A[i];
        const double Bp = Premul ? double(B[i]) : b1 * B[i];
        double C, Ca;
        floating<T, Op>(Ap, Bp, a1, b1, C, Ca);
        if (Ca > kThreshold<T>) {
            C = C / Ca;
            if (C > M) C = M;
        }
        out[i] = T(roundFloating<T>(C));
    }
}

template <class T, int Op>
void floatingAlphaRow(int n, const T* __restrict a, const T* __restrict b, T* __restrict out) {
    constexpr double s = kScale<T>;
    for (int i = 0; i < n; ++i) {
        double C, Ca;
        floating<T, Op>(0, 0, a[i] * s, b[i] * s, C, Ca);
        out[i] = T(roundFloating<T>(Ca * double(kTop<T>)));
    }
}

template <class T, int Op, bool Premul, bool Packed>
void intColourRow(int n, const T* __restrict A, const T* __restrict B, const T* __restrict a,
                  const T* __restrict b, T* __restrict out) {
    for (int i = 0; i < n; ++i) {
        const uint32_t ai = a[i], bi = b[i];
        const uint32_t Ap = Premul ? uint32_t(A[i]) : divTop<T>(A[i] * ai);
        const uint32_t Bp = Premul ? uint32_t(B[i]) : divTop<T>(B[i] * bi);
        out[i] = T(Packed ? packedColour<T, Op>(Ap, Bp, ai, bi) : intColour<T, Op>(Ap, Bp, ai, bi));
    }
}

template <class T, int Op, bool Packed>
void intAlphaRow(int n, const T* __restrict a, const T* __restrict b, T* __restrict out) {
    for (int i = 0; i < n; ++i)
        out[i] = T(Packed ? packedAlpha<T, Op>(a[i], b[i]) : intAlpha<T, Op>(a[i], b[i]));
}

// Whole RGBA pixels; each pixel is read before it is written.
template <int Op, bool Packed, bool Premul>
void rgbaRow(int n, const uint8_t* A, const uint8_t* B, uint8_t* D, const RgbaAlphas& how) {
    using T = uint8_t;
    for (int p = 0; p < n; ++p) {
        const uint32_t a = how.aFrom == 0 ? A[4 * p + 3] : how.aConst;
        const uint32_t b = how.bFrom == 0 ? B[4 * p + 3] : how.bFrom == 1 ? how.bConst : 255 - a;
        uint8_t out[4];
        for (int c = 0; c < 3; ++c) {
            const uint32_t Ap = Premul ? uint32_t(A[4 * p + c]) : divTop<T>(A[4 * p + c] * a);
            const uint32_t Bp = Premul ? uint32_t(B[4 * p + c]) : divTop<T>(B[4 * p + c] * b);
            out[c] = T(Packed ? packedColour<T, Op>(Ap, Bp, a, b) : intColour<T, Op>(Ap, Bp, a, b));
        }
        out[3] = how.writeAlpha ? T(Packed ? packedAlpha<T, Op>(a, b) : intAlpha<T, Op>(a, b))
                                : D[4 * p + 3];
        std::memcpy(D + 4 * p, out, 4);
    }
}

template <class T, int Op>
ColourRow<T> colourOf(CompositeRoute route, bool premul) {
    switch (route) {
    case CompositeRoute::Floating:
        return premul ? floatingColourRow<T, Op, true> : floatingColourRow<T, Op, false>;
    case CompositeRoute::Integer:
        return premul ? intColourRow<T, Op, true, false> : intColourRow<T, Op, false, false>;
    default:
        return premul ? intColourRow<T, Op, true, true> : intColourRow<T, Op, false, true>;
    }
}

template <class T, int Op>
AlphaRow<T> alphaOf(CompositeRoute route) {
    switch (route) {
    case CompositeRoute::Floating: return floatingAlphaRow<T, Op>;
    case CompositeRoute::Integer: return intAlphaRow<T, Op, false>;
    default: return intAlphaRow<T, Op, true>;
    }
}

}  // namespace

namespace {

template <class T, int Op>
void fillOp(ColourRow<T> (&colour)[kRoutes][kOperators][2],
            AlphaRow<T> (&alpha)[kRoutes][kOperators]) {
    for (int r = 0; r < kRoutes; ++r) {
        colour[r][Op][0] = colourOf<T, Op>(CompositeRoute(r), false);
        colour[r][Op][1] = colourOf<T, Op>(CompositeRoute(r), true);
        alpha[r][Op] = alphaOf<T, Op>(CompositeRoute(r));
    }
}

template <int Op>
void fillRgba(RgbaRow (&rgba)[kRoutes][kOperators][2]) {
    constexpr int integer = int(CompositeRoute::Integer), packed = int(CompositeRoute::Packed);
    rgba[integer][Op][0] = rgbaRow<Op, false, false>;
    rgba[integer][Op][1] = rgbaRow<Op, false, true>;
    rgba[packed][Op][0] = rgbaRow<Op, true, false>;
    rgba[packed][Op][1] = rgbaRow<Op, true, true>;
}

template <class T>
void fillDepth(ColourRow<T> (&colour)[kRoutes][kOperators][2],
               AlphaRow<T> (&alpha)[kRoutes][kOperators]) {
    fillOp<T, kOver>(colour, alpha);
    fillOp<T, kIn>(colour, alpha);
    fillOp<T, kOut>(colour, alpha);
    fillOp<T, kAtop>(colour, alpha);
    fillOp<T, kXor>(colour, alpha);
    fillOp<T, kPlus>(colour, alpha);
}

AlphaKernels plainTable() {
    AlphaKernels k{};
    fillDepth<uint8_t>(k.colour8, k.alpha8);
    fillDepth<uint16_t>(k.colour16, k.alpha16);
    fillRgba<kOver>(k.rgba8);
    fillRgba<kIn>(k.rgba8);
    fillRgba<kOut>(k.rgba8);
    fillRgba<kAtop>(k.rgba8);
    fillRgba<kXor>(k.rgba8);
    fillRgba<kPlus>(k.rgba8);
    k.mul8 = mulScaleRun<uint8_t>;
    k.mulS8 = mulScaleRunS<uint8_t>;
    k.mul16 = mulScaleRun<uint16_t>;
    k.mulS16 = mulScaleRunS<uint16_t>;
    return k;
}

AlphaKernels makeTable(Form form) {
    AlphaKernels k = plainTable();
    alphaSimd(form, k);
    return k;
}

}  // namespace

const AlphaKernels& alphaKernels() { return tableForActiveForm(makeTable); }
const AlphaKernels& plainAlphaKernels() {
    static const AlphaKernels k = plainTable();
    return k;
}
Form alphaForm() { return activeForm(); }

template <class T>
void premultiplyRow(int n, const T* __restrict c, const T* __restrict p, uint32_t constant,
                    T* __restrict out) {
    if (p) {
        for (int i = 0; i < n; ++i) out[i] = T(divTop<T>(uint32_t(c[i]) * p[i]));
    } else {
        for (int i = 0; i < n; ++i) out[i] = T(divTop<T>(uint32_t(c[i]) * constant));
    }
}

template void premultiplyRow<uint8_t>(int, const uint8_t*, const uint8_t*, uint32_t, uint8_t*);
template void premultiplyRow<uint16_t>(int, const uint16_t*, const uint16_t*, uint32_t,
                                       uint16_t*);

namespace {

// Views of a compositing call, in the order the group serves them.
enum { kDst = 0, kAlphaDst = 1, kSrcA = 2, kSrcB = 3, kAlphaA = 4, kAlphaB = 5, kMask = 6,
       kViews = 7 };

// Where an alpha comes from: a view's channel, or a constant.
struct AlphaSource {
    int view = -1;  // -1: the constant (or, for b with none, M - a)
    int channel = 0;
    uint32_t constant = 0;
    bool complement = false;  // b = M - a
};

struct CompositeCall {
    int op;
    bool premul;
    CompositeRoute route;
    AlphaSource a, b;
    int outView = -1, outChannel = 0;  // alpha destination
};

constexpr int kChunk = 1024;

// Gathers n elements from p by step into out. Steps of whole pixels of up
// to four channels get loops of their own, which the compiler vectorises.
template <class T, int S>
inline void gatherBy(const T* __restrict p, int n, T* __restrict out) {
    for (int i = 0; i < n; ++i) out[i] = p[i * S];
}
template <class T>
inline void gather(const T* p, ptrdiff_t step, int n, T* out) {
    switch (step) {
    case 1: std::memcpy(out, p, sizeof(T) * size_t(n)); return;
    case 2: return gatherBy<T, 2>(p, n, out);
    case 3: return gatherBy<T, 3>(p, n, out);
    case 4: return gatherBy<T, 4>(p, n, out);
    default: for (int i = 0; i < n; ++i) out[i] = p[i * step];
    }
}

template <class T, int S>
inline void scatterBy(T* __restrict p, int n, const T* __restrict r) {
    for (int i = 0; i < n; ++i) p[i * S] = r[i];
}
// Stores n results into p by step, where the mask (if any) lets it.
template <class T>
inline void scatter(T* p, ptrdiff_t step, int n, const T* r, const uint8_t* bits) {
    if (bits) {
        for (int i = 0; i < n; ++i)
            if (bits[i]) p[i * step] = r[i];
        return;
    }
    switch (step) {
    case 1: std::memcpy(p, r, sizeof(T) * size_t(n)); return;
    case 2: return scatterBy<T, 2>(p, n, r);
    case 3: return scatterBy<T, 3>(p, n, r);
    case 4: return scatterBy<T, 4>(p, n, r);
    default: for (int i = 0; i < n; ++i) p[i * step] = r[i];
    }
}

// Fills one row's chunk of an alpha.
template <class T>
void alphaChunk(const AlphaSource& s, const Plane<T>& p, int y, int x0, int n, const T* other,
                T* out) {
    if (s.view >= 0) gather(p.at(y) + ptrdiff_t(x0) * p.px, p.px, n, out);
    else if (s.complement) for (int i = 0; i < n; ++i) out[i] = T(kTop<T> - other[i]);
    else std::fill(out, out + n, T(s.constant));
}

// Pixel-order images of N channels, alpha last, unmasked, alphas from the
// sources' own channels (or constants) and written to the destination's: a
// row is one run of interleaved elements. Each pixel's alphas are spread
// over its N elements so that the colour kernel runs over the whole run
// (its results at the alpha positions are replaced), and the run is stored
// whole.
template <class T, int N>
void interleavedRegion(const CompositeCall& call, ZolImage* const* v, int w, int h,
                       ColourRow<T> colour, AlphaRow<T> alpha) {
    const Plane<T> pd = Plane<T>::of(v[kDst], 1);
    const Plane<T> pA = Plane<T>::of(v[kSrcA], 1);
    const Plane<T> pB = Plane<T>::of(v[kSrcB], 1);
    const Plane<T> pa = call.a.view >= 0 ? Plane<T>::of(v[call.a.view], N) : Plane<T>();
    const Plane<T> pb = call.b.view >= 0 ? Plane<T>::of(v[call.b.view], N) : Plane<T>();
    constexpr int kPixels = kChunk / 4;
    T a[kPixels], b[kPixels], ra[kPixels], ea[kPixels * N], eb[kPixels * N], r[kPixels * N];
    for (int y = 0; y < h; ++y) {
        for (int x0 = 0; x0 < w; x0 += kPixels) {
            const int len = std::min(kPixels, w - x0);
            alphaChunk(call.a, pa, y, x0, len, b, a);
            alphaChunk(call.b, pb, y, x0, len, a, b);
            for (int p = 0; p < len; ++p)
                for (int c = 0; c < N; ++c) ea[p * N + c] = a[p], eb[p * N + c] = b[p];
            T* d = pd.at(y) + ptrdiff_t(x0) * N;
            colour(len * N, pA.at(y) + ptrdiff_t(x0) * N, pB.at(y) + ptrdiff_t(x0) * N, ea, eb, r);
            if (call.outView >= 0) {
                alpha(len, a, b, ra);
                for (int p = 0; p < len; ++p) r[p * N + N - 1] = ra[p];
            } else {
                for (int p = 0; p < len; ++p) r[p * N + N - 1] = d[p * N + N - 1];
            }
            std::memcpy(d, r, sizeof(T) * size_t(len) * N);
        }
    }
}

// 8-bit RGBA on the integer and packed routes: one kernel per row does
// whole pixels.
void rgbaRegion(const CompositeCall& call, ZolImage* const* v, int w, int h, RgbaRow row) {
    const Plane<uint8_t> pd = Plane<uint8_t>::of(v[kDst], 1);
    const Plane<uint8_t> pA = Plane<uint8_t>::of(v[kSrcA], 1);
    const Plane<uint8_t> pB = Plane<uint8_t>::of(v[kSrcB], 1);
    RgbaAlphas how{};
    how.aFrom = call.a.view >= 0 ? 0 : 1;
    how.bFrom = call.b.view >= 0 ? 0 : call.b.complement ? 2 : 1;
    how.aConst = uint8_t(call.a.constant);
    how.bConst = uint8_t(call.b.constant);
    how.writeAlpha = call.outView >= 0;
    for (int y = 0; y < h; ++y) row(w, pA.at(y), pB.at(y), pd.at(y), how);
}

// True when interleavedRegion serves the call.
bool interleaved(const CompositeCall& call, ZolImage* const* v) {
    const ZolImage* d = v[kDst];
    const int n = d->nChannels;
    if (v[kMask] || (d->roi && d->roi->coi > 0) || n < 2 || n > 4) return false;
    for (const ZolImage* im :
         {d, static_cast<const ZolImage*>(v[kSrcA]), static_cast<const ZolImage*>(v[kSrcB])})
        if (im->dataOrder != ZOL_DATA_ORDER_PIXEL || im->nChannels != n || im->alphaChannel != n)
            return false;
    return (call.a.view == kSrcA || call.a.view < 0) && (call.b.view == kSrcB || call.b.view < 0) &&
           (call.outView == kDst || call.outView < 0);
}

// Alphas are read for a chunk before any of its elements is written, so an
// alpha destination that is also an alpha source (or a colour destination
// that holds one) gives the result of separate images.
template <class T>
void compositeRegion(const CompositeCall& call, ZolImage* const* v, int w, int h) {
    ZolImage* dst = v[kDst];
    const ZolImage* A = v[kSrcA];
    const ZolImage* B = v[kSrcB];
    const bool coi = dst->roi && dst->roi->coi > 0;
    const int n = coi ? 1 : dst->nChannels;
    const int skip = coi ? 0 : dst->alphaChannel;
    auto first = [&](const ZolImage* im) { return coi ? im->roi->coi : 1; };
    const Plane<T> pd = Plane<T>::of(dst, first(dst));
    const Plane<T> pA = Plane<T>::of(A, first(A));
    const Plane<T> pB = Plane<T>::of(B, first(B));
    const Plane<T> pa =
        call.a.view >= 0 ? Plane<T>::of(v[call.a.view], call.a.channel) : Plane<T>();
    const Plane<T> pb =
        call.b.view >= 0 ? Plane<T>::of(v[call.b.view], call.b.channel) : Plane<T>();
    const Plane<T> po =
        call.outView >= 0 ? Plane<T>::of(v[call.outView], call.outChannel) : Plane<T>();
    const ZolImage* mask = v[kMask];
    const MaskPlane pm = mask ? MaskPlane::of(mask) : MaskPlane();
    const AlphaKernels& kernels = alphaKernels();
    const ColourRow<T> colour = colourRow<T>(kernels, call.op, call.route, call.premul);
    const AlphaRow<T> alpha = alphaRow<T>(kernels, call.op, call.route);
    if (interleaved(call, v)) {
        if constexpr (sizeof(T) == 1)
            if (n == 4 && call.route != CompositeRoute::Floating)
                return rgbaRegion(call, v, w, h,
                                  kernels.rgba8[int(call.route)][call.op][call.premul]);
        switch (n) {
        case 2: return interleavedRegion<T, 2>(call, v, w, h, colour, alpha);
        case 3: return interleavedRegion<T, 3>(call, v, w, h, colour, alpha);
        default: return interleavedRegion<T, 4>(call, v, w, h, colour, alpha);
        }
    }

    T a[kChunk], b[kChunk], sA[kChunk], sB[kChunk], r[kChunk];
    uint8_t bits[kChunk];
    for (int y = 0; y < h; ++y) {
        for (int x0 = 0; x0 < w; x0 += kChunk) {
            const int len = std::min(kChunk, w - x0);
            if (mask && pm.bits(y, x0, len, bits) == 0) continue;
            const uint8_t* m = mask ? bits : nullptr;
            alphaChunk(call.a, pa, y, x0, len, b, a);
            alphaChunk(call.b, pb, y, x0, len, a, b);
            for (int k = 0; k < n; ++k) {
                if (k + 1 == skip) continue;
                const T* rowA = pA.at(y, k) + ptrdiff_t(x0) * pA.px;
                const T* rowB = pB.at(y, k) + ptrdiff_t(x0) * pB.px;
                if (pA.px != 1) gather(rowA, pA.px, len, sA), rowA = sA;
                if (pB.px != 1) gather(rowB, pB.px, len, sB), rowB = sB;
                colour(len, rowA, rowB, a, b, r);
                scatter(pd.at(y, k) + ptrdiff_t(x0) * pd.px, pd.px, len, r, m);
            }
            if (call.outView >= 0) {
                alpha(len, a, b, r);
                scatter(po.at(y) + ptrdiff_t(x0) * po.px, po.px, len, r, m);
            }
        }
    }
}

void compositeWindow(void* context, ZolImage* const* views, int w, int h) {
    const CompositeCall& call = *static_cast<const CompositeCall*>(context);
    if (views[kDst]->depth == ZOL_DEPTH_8U) compositeRegion<uint8_t>(call, views, w, h);
    else compositeRegion<uint16_t>(call, views, w, h);
}

uint32_t topOf(const ZolImage* im) {
    return im->depth == ZOL_DEPTH_8U ? kTop<uint8_t> : kTop<uint16_t>;
}

// Steps 1 to 6 of both compositing front ends.
bool commonChecks(AlphaFrame& f, ZolImage* a, ZolImage* b, ZolImage* dst) {
    if (!f.check(dst, msg::kDstImageTexts)) return false;
    if (!f.check(a, msg::kSrcImageATexts)) return false;
    if (!f.check(b, msg::kSrcImageBTexts)) return false;
    if (f.silentEnd(a) || f.silentEnd(b) || f.silentEnd(dst)) return false;
    const char* bad = nullptr;
    if (dst->depth != ZOL_DEPTH_8U && dst->depth != ZOL_DEPTH_16U) bad = msg::kDstDepth8or16;
    else if (a->depth != dst->depth) bad = msg::kSrcImageATexts.depth;
    else if (b->depth != dst->depth) bad = msg::kSrcImageBTexts.depth;
    if (bad) {
        f.fail(ZOL_STATUS_BAD_ARGUMENT, bad);
        return false;
    }
    return f.coiAgree(a, dst, msg::kSrcImageATexts) && f.coiAgree(b, dst, msg::kSrcImageBTexts) &&
           f.channelsAgree(a, dst, msg::kSrcImageATexts) &&
           f.channelsAgree(b, dst, msg::kSrcImageBTexts);
}

// An image read for its alpha channel must have one.
bool hasAlphaChannel(AlphaFrame& f, const ZolImage* im, const msg::ImageTexts& t) {
    if (im->alphaChannel < 1) {
        f.fail(ZOL_STATUS_BAD_ARGUMENT, t.alphaLow);
        return false;
    }
    if (im->alphaChannel > im->nChannels) {
        f.fail(ZOL_STATUS_BAD_ARGUMENT, t.alphaHigh);
        return false;
    }
    return true;
}

// A given alpha image: checked like the others, of the destination's depth.
bool alphaImageOk(AlphaFrame& f, const ZolImage* im, const ZolImage* dst,
                  const msg::ImageTexts& t) {
    if (!f.check(im, t)) return false;
    if (im->depth != dst->depth) {
        f.fail(ZOL_STATUS_BAD_ARGUMENT, t.depth);
        return false;
    }
    return true;
}

bool modesOk(AlphaFrame& f, int compositeType, int premulAlpha, int divideMode) {
    const char* bad = nullptr;
    if (compositeType < 0 || compositeType > 5) bad = msg::kBadCompositeType;
    else if (premulAlpha != 0 && premulAlpha != 1) bad = msg::kBadPremul;
    else if (divideMode != 0 && divideMode != 1) bad = msg::kBadDivideMode;
    if (bad) f.fail(ZOL_STATUS_BAD_ARGUMENT, bad);
    return !bad;
}

int alphaChannelOf(const ZolImage* im) { return im->alphaChannel ? im->alphaChannel : 1; }

bool plane(const ZolImage* im) { return !im || im->dataOrder == ZOL_DATA_ORDER_PLANE; }

void composite(ZolImage* srcA, ZolImage* srcB, ZolImage* dst, int compositeType,
               ZolImage* alphaA, ZolImage* alphaB, ZolImage* alphaDst, int premulAlpha,
               int divideMode) {
    AlphaFrame f(msg::kAlphaComposite);
    if (!commonChecks(f, srcA, srcB, dst)) return;
    CompositeCall call{};
    if (!alphaA) {
        if (!hasAlphaChannel(f, srcA, msg::kSrcImageATexts)) return;
        call.a.view = kSrcA;
        call.a.channel = srcA->alphaChannel;
    } else {
        if (!alphaImageOk(f, alphaA, dst, msg::kAlphaImageATexts)) return;
        call.a.view = kAlphaA;
        call.a.channel = alphaChannelOf(alphaA);
    }
    if (alphaB) {
        if (!alphaImageOk(f, alphaB, dst, msg::kAlphaImageBTexts)) return;
        call.b.view = kAlphaB;
        call.b.channel = alphaChannelOf(alphaB);
    } else if (!alphaA && srcB->alphaChannel) {
        call.b.view = kSrcB;
        call.b.channel = srcB->alphaChannel;
    } else {
        call.b.complement = true;
    }
    if (alphaDst) {
        if (!alphaImageOk(f, alphaDst, dst, msg::kAlphaImageDstTexts)) return;
        if (!hasAlphaChannel(f, alphaDst, msg::kAlphaImageDstTexts)) return;
        call.outView = kAlphaDst;
        call.outChannel = alphaDst->alphaChannel;
    } else if (dst->alphaChannel) {
        call.outView = kDst;
        call.outChannel = dst->alphaChannel;
    }
    if (!modesOk(f, compositeType, premulAlpha, divideMode)) return;
    if (!f.gatherMasks({dst, srcA, srcB, alphaDst, alphaA, alphaB})) return;
    if (!f.combineMasks()) return;

    call.op = compositeType;
    call.premul = premulAlpha == 1;
    if (divideMode == 1) {
        call.route = CompositeRoute::Floating;
    } else if (plane(srcA) && plane(srcB) && plane(dst) && plane(alphaA) && plane(alphaB) &&
               plane(alphaDst) && !f.mask()) {
        call.route = CompositeRoute::Packed;
    } else {
        call.route = CompositeRoute::Integer;
    }
    const TileGroupImage images[kViews] = {
        {dst, ZOL_TILE_WRITE},   {alphaDst, ZOL_TILE_WRITE}, {srcA, ZOL_TILE_READ},
        {srcB, ZOL_TILE_READ},   {alphaA, ZOL_TILE_READ},    {alphaB, ZOL_TILE_READ},
        {f.mask(), ZOL_TILE_READ}};
    const ZolImage* grid[6] = {dst, alphaDst, srcA, srcB, alphaA, alphaB};
    f.run(images, kViews, grid, 6, 7, compositeWindow, &call);
}

void compositeC(ZolImage* srcA, ZolImage* srcB, ZolImage* dst, int compositeType, int aA, int aB,
                int premulAlpha, int divideMode) {
    AlphaFrame f(msg::kAlphaCompositeC);
    if (!commonChecks(f, srcA, srcB, dst)) return;
    if (aA < 0 && !hasAlphaChannel(f, srcA, msg::kSrcImageATexts)) return;
    if (aB < 0 && !hasAlphaChannel(f, srcB, msg::kSrcImageBTexts)) return;
    if (!modesOk(f, compositeType, premulAlpha, divideMode)) return;
    if (!f.gatherMasks({dst, srcA, srcB})) return;
    if (!f.combineMasks()) return;

    CompositeCall call{};
    call.op = compositeType;
    call.premul = premulAlpha == 1;
    call.route = divideMode == 1 ? CompositeRoute::Floating : CompositeRoute::Integer;
    const uint32_t top = topOf(dst);
    if (aA < 0) call.a.view = kSrcA, call.a.channel = srcA->alphaChannel;
    else call.a.constant = std::min(uint32_t(aA), top);
    if (aB < 0) call.b.view = kSrcB, call.b.channel = srcB->alphaChannel;
    else call.b.constant = std::min(uint32_t(aB), top);
    const TileGroupImage images[kViews] = {
        {dst, ZOL_TILE_WRITE}, {nullptr, 0},          {srcA, ZOL_TILE_READ}, {srcB, ZOL_TILE_READ},
        {nullptr, 0},          {nullptr, 0},          {f.mask(), ZOL_TILE_READ}};
    const ZolImage* grid[3] = {dst, srcA, srcB};
    f.run(images, kViews, grid, 3, 4, compositeWindow, &call);
}

// zolPreMultiplyAlpha: views are the image and the mask.
struct PremulCall {
    int alphaValue;  // negative: each pixel's own alpha; else already cut to M
};

template <class T>
void premulRegion(const PremulCall& call, ZolImage* const* v, int w, int h) {
    ZolImage* im = v[0];
    const bool coi = im->roi && im->roi->coi > 0;
    const int n = coi ? 1 : im->nChannels;
    const int skip = im->alphaChannel;
    const Plane<T> pc = Plane<T>::of(im, coi ? im->roi->coi : 1);
    const Plane<T> pa = im->alphaChannel ? Plane<T>::of(im, im->alphaChannel) : Plane<T>();
    const ZolImage* mask = v[1];
    const MaskPlane pm = mask ? MaskPlane::of(mask) : MaskPlane();
    const bool fromPixel = call.alphaValue < 0;
    T p[kChunk], c[kChunk], r[kChunk];
    uint8_t bits[kChunk];
    for (int y = 0; y < h; ++y) {
        for (int x0 = 0; x0 < w; x0 += kChunk) {
            const int len = std::min(kChunk, w - x0);
            if (mask && pm.bits(y, x0, len, bits) == 0) continue;
            const uint8_t* m = mask ? bits : nullptr;
            if (fromPixel) gather(pa.at(y) + ptrdiff_t(x0) * pa.px, pa.px, len, p);
            for (int k = 0; k < n; ++k) {
                // The walked channel is the coi's, whose number is not the alpha's.
                if (!coi && k + 1 == skip) continue;
                const T* row = pc.at(y, k) + ptrdiff_t(x0) * pc.px;
                if (pc.px != 1) gather(row, pc.px, len, c), row = c;
                premultiplyRow<T>(len, row, fromPixel ? p : nullptr, uint32_t(call.alphaValue), r);
                scatter(pc.at(y, k) + ptrdiff_t(x0) * pc.px, pc.px, len, r, m);
            }
            if (!fromPixel && im->alphaChannel) {
                std::fill(r, r + len, T(call.alphaValue));
                scatter(pa.at(y) + ptrdiff_t(x0) * pa.px, pa.px, len, r, m);
            }
        }
    }
}

void premulWindow(void* context, ZolImage* const* views, int w, int h) {
    const PremulCall& call = *static_cast<const PremulCall*>(context);
    if (views[0]->depth == ZOL_DEPTH_8U) premulRegion<uint8_t>(call, views, w, h);
    else premulRegion<uint16_t>(call, views, w, h);
}

void premultiply(ZolImage* image, int alphaValue) {
    AlphaFrame f(msg::kPreMultiplyAlpha);
    if (!f.check(image, msg::kImageTexts)) return;
    if (f.silentEnd(image)) return;
    if (image->depth != ZOL_DEPTH_8U && image->depth != ZOL_DEPTH_16U) {
        f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kImageDepth8or16);
        return;
    }
    if (alphaValue < 0 && !hasAlphaChannel(f, image, msg::kImageTexts)) return;
    if (image->maskROI && !f.check(image->maskROI, msg::kMROITexts)) return;
    if (f.empty()) return;
    PremulCall call{alphaValue < 0 ? -1 : int(std::min(uint32_t(alphaValue), topOf(image)))};
    const TileGroupImage images[2] = {{image, ZOL_TILE_WRITE}, {image->maskROI, ZOL_TILE_READ}};
    const ZolImage* grid[1] = {image};
    f.run(images, 2, grid, 1, 2, premulWindow, &call);
}

}  // namespace
}  // namespace zol

using namespace zol;

extern "C" {

ZOL_API void zolPreMultiplyAlpha(ZolImage* image, int alphaValue) {
    premultiply(image, alphaValue);
}

ZOL_API void zolAlphaComposite(ZolImage* srcImageA, ZolImage* srcImageB, ZolImage* dstImage,
                               int compositeType, ZolImage* alphaImageA, ZolImage* alphaImageB,
                               ZolImage* alphaImageDst, int premulAlpha, int divideMode) {
    composite(srcImageA, srcImageB, dstImage, compositeType, alphaImageA, alphaImageB,
              alphaImageDst, premulAlpha, divideMode);
}

ZOL_API void zolAlphaCompositeC(ZolImage* srcImageA, ZolImage* srcImageB, ZolImage* dstImage,
                                int compositeType, int aA, int aB, int premulAlpha,
                                int divideMode) {
    compositeC(srcImageA, srcImageB, dstImage, compositeType, aA, aB, premulAlpha, divideMode);
}

}  // extern "C"
