// The product of two packed spectra, element by element in the complex
// sense: with the Fourier pair it makes circular convolution.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "core/image.h"
#include "core/messages.h"
#include "core/rect.h"
#include "core/report.h"

namespace zol {
namespace {

// Products by depth: 8S and 16S in 32 bits then clamped, 32S wrapping,
// 32F exactly, rounded once to single precision at the store.
template <class S>
struct Arith;

template <class S, int64_t Lo, int64_t Hi>
struct SmallInt {
    using W = uint32_t;  // wrapping 32-bit sums
    static W load(const S* p) { return W(int32_t(*p)); }
    static W mul(W a, W b) { return W(int64_t(int32_t(a)) * int32_t(b)); }
    static W add(W a, W b) { return a + b; }
    static W sub(W a, W b) { return a - b; }
    static S store(W v) { return S(std::min<int64_t>(std::max<int64_t>(int32_t(v), Lo), Hi)); }
};
template <>
struct Arith<int8_t> : SmallInt<int8_t, -128, 127> {};
template <>
struct Arith<int16_t> : SmallInt<int16_t, -32768, 32767> {};
template <>
struct Arith<int32_t> {
    using W = uint32_t;
    static W load(const int32_t* p) { return W(*p); }
    static W mul(W a, W b) { return a * b; }
    static W add(W a, W b) { return a + b; }
    static W sub(W a, W b) { return a - b; }
    static int32_t store(W v) { return int32_t(v); }
};
template <>
struct Arith<float> {
    using W = double;  // a product of two floats is exact here
    static W load(const float* p) { return W(*p); }
    static W mul(W a, W b) { return a * b; }
    static float store(W v) { return float(v); }
};

// p + q rounded once to single precision: the double sum is made
// round-to-odd from its exact error, which leaves the final rounding to
// float the only one.
inline float roundOnce(double p, double q) {
    double s = p + q;
    if (!std::isfinite(s)) return float(s);
    const double bq = s - p;
    const double e = (p - (s - bq)) + (q - bq);
    if (e != 0.0) {
        uint64_t bits;
        std::memcpy(&bits, &s, 8);
        if (!(bits & 1)) {
            bits += ((e > 0) == (s > 0)) ? 1 : uint64_t(-1);
            std::memcpy(&s, &bits, 8);
        }
    }
    return float(s);
}

struct View {
    char* base;
    ptrdiff_t xs, ys;
};

template <class S>
struct Product {
    using A = Arith<S>;
    View a, b, d;
    S* at(const View& v, int x, int y) const {
        return reinterpret_cast<S*>(v.base + y * v.ys + x * v.xs);
    }
    void real(int x, int y) const {
        *at(d, x, y) = A::store(A::mul(A::load(at(a, x, y)), A::load(at(b, x, y))));
    }
    // A pair: real parts at the first pointers, imaginary at the second.
    // Both results are formed before either is stored, so any image may
    // be the output.
    static void pairAt(const S* par, const S* pai, const S* pbr, const S* pbi, S* pdr, S* pdi) {
        const auto ar = A::load(par), ai = A::load(pai), br = A::load(pbr), bi = A::load(pbi);
        if constexpr (std::is_same_v<S, float>) {
            const float dr = roundOnce(ar * br, -(ai * bi)), di = roundOnce(ai * br, ar * bi);
            *pdr = dr;
            *pdi = di;
        } else {
            const auto dr = A::sub(A::mul(ar, br), A::mul(ai, bi));
            const auto di = A::add(A::mul(ai, br), A::mul(ar, bi));
            *pdr = A::store(dr);
            *pdi = A::store(di);
        }
    }
    void pair(int x0, int y0, int x1, int y1) const {
        pairAt(at(a, x0, y0), at(a, x1, y1), at(b, x0, y0), at(b, x1, y1), at(d, x0, y0),
               at(d, x1, y1));
    }
    // Pairs along x: columns (1, 2), (3, 4) ... short of the last column of
    // an even width, which holds the real frequency W/2.
    void rowPairs(int y, int W) const {
        const int end = (W & 1) ? W : W - 1;
        const S *pa = at(a, 1, y), *pb = at(b, 1, y);
        S* pd = at(d, 1, y);
        const ptrdiff_t sa = a.xs / ptrdiff_t(sizeof(S)), sb = b.xs / ptrdiff_t(sizeof(S)),
                        sd = d.xs / ptrdiff_t(sizeof(S));
        for (int x = 1; x < end; x += 2, pa += 2 * sa, pb += 2 * sb, pd += 2 * sd)
            pairAt(pa, pa + sa, pb, pb + sb, pd, pd + sd);
    }
    // Row 0, the row pairs with the pairs of the edge columns, the last row.
    void run(int W, int H) const {
        const bool evenW = !(W & 1), evenH = !(H & 1);
        real(0, 0);
        rowPairs(0, W);
        if (evenW) real(W - 1, 0);
        for (int y = 1; y < H - 1; y += 2) {
            pair(0, y, 0, y + 1);
            rowPairs(y, W);
            if (evenW) pair(W - 1, y, W - 1, y + 1);
            rowPairs(y + 1, W);
        }
        if (evenH) {
            real(0, H - 1);
            rowPairs(H - 1, W);
            if (evenW) real(W - 1, H - 1);
        }
    }
};

int channelsOf(const ZolImage* im) {
    if (im->roi && im->roi->coi > 0) return 1;
    return im->nChannels - (im->alphaChannel != 0);
}

// Channel ch of an image's rectangle, addressed in the order of srcA.
View viewOf(const ZolImage* im, const ownRect& r, int ch, int order) {
    const ptrdiff_t size = elemSize(im->depth);
    View v;
    v.ys = im->widthStep;
    if (order == ZOL_DATA_ORDER_PIXEL) {
        v.xs = size * im->nChannels;
        v.base = im->imageData + r.y * v.ys + r.x * v.xs + ch * size;
    } else {
        v.xs = size;
        v.base = im->imageData + (ptrdiff_t(ch) * im->height + r.y) * v.ys + r.x * size;
    }
    return v;
}

template <class S>
void multiply(const ZolImage* const (&im)[3], const ownRect (&r)[3], int W, int H, int nch) {
    const int order = im[0]->dataOrder;
    for (int c = 0; c < nch; ++c) {
        View v[3];
        for (int i = 0; i < 3; ++i) {
            const int first = im[i]->roi && im[i]->roi->coi > 0 ? im[i]->roi->coi - 1 : 0;
            v[i] = viewOf(im[i], r[i], first + c, order);
        }
        Product<S>{v[0], v[1], v[2]}.run(W, H);
    }
}

}  // namespace
}  // namespace zol

using namespace zol;

ZOL_API void zolMpyRCPack2D(ZolImage* srcA, ZolImage* srcB, ZolImage* dst) {
    const char* name = msg::kMpyRCPack2D;
    auto fail = [&](int status, const char* context, int line = __builtin_LINE()) {
        report(status, name, context, __builtin_FILE(), line);
    };
    for (const ZolImage* im : {srcA, srcB, dst})
        if (const int st = zolCheckImageHeader(im)) return fail(st, msg::kIncorrectImage);
    for (const ZolImage* im : {srcA, srcB})
        if (im->depth == ZOL_DEPTH_8U || im->depth == ZOL_DEPTH_16U || im->depth == ZOL_DEPTH_1U)
            return fail(ZOL_STATUS_BAD_DEPTH, msg::kMpyDepth);
    if (srcA->depth != srcB->depth) return fail(ZOL_STATUS_BAD_ARGUMENT, msg::kMpyDepthAB);
    if (srcA->depth != dst->depth) return fail(ZOL_STATUS_BAD_ARGUMENT, msg::kMpyDepthDst);
    const struct {
        const ZolImage* im;
        const char *alpha, *coi;
    } sides[3] = {{srcA, msg::kMpyAlphaA, msg::kMpyCoiA},
                  {srcB, msg::kMpyAlphaB, msg::kMpyCoiB},
                  {dst, msg::kMpyAlphaD, msg::kMpyCoiD}};
    for (const auto& s : sides) {
        if (s.im->alphaChannel != 0 && s.im->alphaChannel != s.im->nChannels)
            return fail(ZOL_STATUS_BAD_ALPHA, s.alpha);
        if (s.im->roi && (s.im->roi->coi < 0 || s.im->roi->coi > s.im->nChannels))
            return fail(ZOL_STATUS_BAD_COI, s.coi);
    }
    const int nch = channelsOf(srcA);
    if (nch != channelsOf(srcB) || nch != channelsOf(dst))
        return fail(ZOL_STATUS_BAD_CHANNELS, msg::kNoContext);
    // Tiled images have no pixels in memory to multiply.
    if (!srcA->imageData || !srcB->imageData || !dst->imageData) return;

    const ZolImage* const im[3] = {srcA, srcB, dst};
    ownRect r[3];
    int W = 0, H = 0;
    for (int i = 0; i < 3; ++i) {
        ownRoiRect(im[i], &r[i]);
        W = i ? std::min(W, r[i].width) : r[i].width;
        H = i ? std::min(H, r[i].height) : r[i].height;
    }
    if (W < 1 || H < 1) return;
    switch (srcA->depth) {
        case ZOL_DEPTH_8S: return multiply<int8_t>(im, r, W, H, nch);
        case ZOL_DEPTH_16S: return multiply<int16_t>(im, r, W, H, nch);
        case ZOL_DEPTH_32S: return multiply<int32_t>(im, r, W, H, nch);
        case ZOL_DEPTH_32F: return multiply<float>(im, r, W, H, nch);
        default: return;
    }
}
