// SIMD forms of the colour family's hot rows, written once over Highway and
// compiled for every target of the build. Pixels are split into channels by
// interleaved loads and the arithmetic runs in 32-bit lanes (16-bit for
// gray, whose sums fit), so every lane computes the plain form's integers.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "colour/colour_simd.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "colour/kernels.h"
#include "core/simd.h"

#if ZOL_SIMD_FORM_TARGET
HWY_BEFORE_NAMESPACE();
namespace zol {
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

// 32-bit lanes, and bytes as many as those lanes.
using D32 = hn::ScalableTag<int32_t>;
using D8q = hn::Rebind<uint8_t, D32>;

void ycc8(const uint8_t* s, uint8_t* d, size_t n, bool bgr) {
    const D32 di;
    const D8q d8;
    const size_t lanes = hn::Lanes(di);
    const auto k255 = hn::Set(di, 255), round = hn::Set(di, 8192), half = hn::Set(di, 0x200000);
    const auto wr = hn::Set(di, 4898), wg = hn::Set(di, 9617), wb = hn::Set(di, 1867);
    const auto w1 = hn::Set(di, 9246), w2 = hn::Set(di, 11686);
    size_t i = 0;
    for (; i + lanes <= n; i += lanes) {
        hn::Vec<D8q> c0, c1, c2;
        hn::LoadInterleaved3(d8, s + 3 * i, c0, c1, c2);
        const auto r = hn::PromoteTo(di, bgr ? c2 : c0), g = hn::PromoteTo(di, c1),
                   b = hn::PromoteTo(di, bgr ? c0 : c2);
        auto y = hn::Add(hn::Add(hn::Mul(wr, r), hn::Mul(wg, g)), hn::Add(hn::Mul(wb, b), round));
        y = hn::And(hn::ShiftRight<14>(y), k255);
        const auto cb = hn::And(hn::ShiftRight<14>(hn::Add(hn::Mul(w1, hn::Sub(b, y)), half)), k255);
        const auto cr = hn::And(hn::ShiftRight<14>(hn::Add(hn::Mul(w2, hn::Sub(r, y)), half)), k255);
        hn::StoreInterleaved3(hn::DemoteTo(d8, y), hn::DemoteTo(d8, cb), hn::DemoteTo(d8, cr), d8,
                              d + 3 * i);
    }
    if (i < n) plain::ycc8(s + 3 * i, d + 3 * i, n - i, bgr);
}

void gray8(const uint8_t* s, uint8_t* d, size_t n, bool bgr) {
    const hn::ScalableTag<uint16_t> du;
    const hn::Rebind<uint8_t, decltype(du)> d8;
    const size_t lanes = hn::Lanes(du);
    const auto wr = hn::Set(du, 54), wg = hn::Set(du, 183), wb = hn::Set(du, 18);
    size_t i = 0;
    for (; i + lanes <= n; i += lanes) {
        hn::Vec<decltype(d8)> c0, c1, c2;
        hn::LoadInterleaved3(d8, s + 3 * i, c0, c1, c2);
        const auto r = hn::PromoteTo(du, bgr ? c2 : c0), g = hn::PromoteTo(du, c1),
                   b = hn::PromoteTo(du, bgr ? c0 : c2);
        // At most 255 * 255: the sum fits 16 bits.
        const auto sum = hn::Add(hn::Add(hn::Mul(wr, r), hn::Mul(wg, g)), hn::Mul(wb, b));
        const hn::RebindToSigned<decltype(du)> ds;  // the shifted sum is below 256
        hn::StoreU(hn::DemoteTo(d8, hn::BitCast(ds, hn::ShiftRight<8>(sum))), d8, d + i);
    }
    if (i < n) plain::gray8(s + 3 * i, d + i, n - i, bgr);
}

// Weights of 16 bits take pairs of products by multiply-adds.
bool fits16(const Twist8& t) {
    for (const auto& row : t.m)
        for (int c = 0; c < 3; ++c)
            if (row[c] < -32768 || row[c] > 32767) return false;
    return true;
}

// 16-bit weights: sixteen-bit lanes hold the pixels; pairs (channel 0,
// channel 1) and (channel 2, 0) are formed by interleaving within blocks,
// the sums of each pair's products come from multiply-adds into 32-bit
// lanes, and narrowing the two halves packs them back by the same blocks.
void twist8Pairs(const uint8_t* s, uint8_t* d, size_t n, const Twist8& t) {
    const hn::ScalableTag<int16_t> d16;
    const hn::Rebind<uint8_t, decltype(d16)> d8;
    const hn::Repartition<int32_t, decltype(d16)> di;
    const size_t lanes = hn::Lanes(d16);
    const auto zero = hn::Zero(di), top = hn::Set(di, 255), off = hn::Set(di, t.offset);
    const auto z16 = hn::Zero(d16);
    hn::Vec<decltype(d16)> w01[3], w2[3];
    hn::Vec<decltype(di)> add[3];
    for (int r = 0; r < 3; ++r) {
        const uint32_t lo = uint16_t(t.m[r][0]), hi = uint16_t(t.m[r][1]);
        w01[r] = hn::BitCast(d16, hn::Set(di, int32_t(lo | (hi << 16))));
        w2[r] = hn::BitCast(d16, hn::Set(di, int32_t(uint16_t(t.m[r][2]))));
        add[r] = hn::Set(di, t.m[r][3]);
    }
    const int sh = t.shift;
    auto finish = [&](hn::Vec<decltype(d16)> a, hn::Vec<decltype(d16)> b, int r) {
        auto odd = zero;
        auto sum = hn::ReorderWidenMulAccumulate(di, a, w01[r], zero, odd);
        sum = hn::ReorderWidenMulAccumulate(di, b, w2[r], sum, odd);
        sum = hn::Add(hn::RearrangeToOddPlusEven(sum, odd), add[r]);
        sum = hn::Min(hn::Max(hn::ShiftRightSame(sum, sh), zero), top);
        return hn::Min(hn::Max(hn::Add(sum, off), zero), top);
    };
    size_t i = 0;
    for (; i + lanes <= n; i += lanes) {
        hn::Vec<decltype(d8)> c0, c1, c2;
        hn::LoadInterleaved3(d8, s + 3 * i, c0, c1, c2);
        const auto p0 = hn::BitCast(d16, hn::PromoteTo(hn::RebindToUnsigned<decltype(d16)>(), c0));
        const auto p1 = hn::BitCast(d16, hn::PromoteTo(hn::RebindToUnsigned<decltype(d16)>(), c1));
        const auto p2 = hn::BitCast(d16, hn::PromoteTo(hn::RebindToUnsigned<decltype(d16)>(), c2));
        const auto aLo = hn::InterleaveLower(d16, p0, p1), aHi = hn::InterleaveUpper(d16, p0, p1);
        const auto bLo = hn::InterleaveLower(d16, p2, z16), bHi = hn::InterleaveUpper(d16, p2, z16);
        hn::Vec<decltype(d8)> o[3];
        for (int r = 0; r < 3; ++r)
            o[r] = hn::DemoteTo(d8, hn::ReorderDemote2To(d16, finish(aLo, bLo, r), finish(aHi, bHi, r)));
        hn::StoreInterleaved3(o[0], o[1], o[2], d8, d + 3 * i);
    }
    if (i < n) plain::twist8(s + 3 * i, d + 3 * i, n - i, t);
}

// Wider weights: the products in 32-bit lanes.
void twist8(const uint8_t* s, uint8_t* d, size_t n, const Twist8& t) {
    if (fits16(t)) return twist8Pairs(s, d, n, t);
    const D32 di;
    const D8q d8;
    const size_t lanes = hn::Lanes(di);
    const auto zero = hn::Zero(di), top = hn::Set(di, 255), off = hn::Set(di, t.offset);
    hn::Vec<D32> m[3][4];
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 4; ++c) m[r][c] = hn::Set(di, t.m[r][c]);
    const int sh = t.shift;
    size_t i = 0;
    for (; i + lanes <= n; i += lanes) {
        hn::Vec<D8q> c0, c1, c2;
        hn::LoadInterleaved3(d8, s + 3 * i, c0, c1, c2);
        const auto p0 = hn::PromoteTo(di, c0), p1 = hn::PromoteTo(di, c1), p2 = hn::PromoteTo(di, c2);
        hn::Vec<D8q> o[3];
        for (int r = 0; r < 3; ++r) {
            auto sum = hn::Add(hn::Add(hn::Mul(m[r][0], p0), hn::Mul(m[r][1], p1)),
                               hn::Add(hn::Mul(m[r][2], p2), m[r][3]));
            sum = hn::Min(hn::Max(hn::ShiftRightSame(sum, sh), zero), top);
            sum = hn::Min(hn::Max(hn::Add(sum, off), zero), top);
            o[r] = hn::DemoteTo(d8, sum);
        }
        hn::StoreInterleaved3(o[0], o[1], o[2], d8, d + 3 * i);
    }
    if (i < n) plain::twist8(s + 3 * i, d + 3 * i, n - i, t);
}

// Channels of n pixels as 32-bit lanes, red first, and the three results
// stored as bytes: the frame of the linear rows below.
template <class O, class F>
void linear8(const uint8_t* s, uint8_t* d, size_t n, bool bgr, Conv8Run tail, F f) {
    const D32 di;
    const D8q d8;
    const hn::Rebind<O, D32> dout;
    const size_t lanes = hn::Lanes(di);
    size_t i = 0;
    for (; i + lanes <= n; i += lanes) {
        hn::Vec<D8q> c0, c1, c2;
        hn::LoadInterleaved3(d8, s + 3 * i, c0, c1, c2);
        hn::Vec<D32> o0, o1, o2;
        f(hn::PromoteTo(di, bgr ? c2 : c0), hn::PromoteTo(di, c1), hn::PromoteTo(di, bgr ? c0 : c2), o0, o1, o2);
        // Saturating narrowing: the clamps of the results.
        hn::StoreInterleaved3(hn::DemoteTo(dout, o0), hn::DemoteTo(dout, o1), hn::DemoteTo(dout, o2), dout,
                              reinterpret_cast<O*>(d + 3 * i));
    }
    if (i < n) tail(s + 3 * i, d + 3 * i, n - i, bgr);
}

template <class V>
HWY_INLINE V weigh(V r, V g, V b, int32_t wr, int32_t wg, int32_t wb, int32_t add) {
    const D32 di;
    return hn::Add(hn::Add(hn::Mul(hn::Set(di, wr), r), hn::Mul(hn::Set(di, wg), g)),
                   hn::Add(hn::Mul(hn::Set(di, wb), b), hn::Set(di, add)));
}

void yuv8(const uint8_t* s, uint8_t* d, size_t n, bool bgr) {
    linear8<int8_t>(s, d, n, bgr, plain::yuv8, [](auto r, auto g, auto b, auto& y, auto& u, auto& v) {
        y = hn::ShiftRight<14>(weigh(r, g, b, 4899, 9617, 1868, 0));
        u = hn::Sub(b, y);
        v = hn::Sub(r, y);
    });
}

void xyz8(const uint8_t* s, uint8_t* d, size_t n, bool bgr) {
    linear8<uint8_t>(s, d, n, bgr, plain::xyz8, [](auto r, auto g, auto b, auto& x, auto& y, auto& z) {
        x = hn::ShiftRight<14>(weigh(r, g, b, 6758, 5859, 2956, 8192));
        y = hn::ShiftRight<14>(weigh(r, g, b, 3484, 11717, 1182, 8192));
        z = hn::ShiftRight<14>(weigh(r, g, b, 317, 1953, 15569, 8192));
    });
}

// The quotients of HSV in single precision: numerators below 2^17 and
// divisors below 256 make every truncated quotient exact (a quotient that
// is not an integer lies at least 1/255 from one, the float error of a
// quotient below 361 is under 2.2e-5).
void hsv8(const uint8_t* s, uint8_t* d, size_t n, bool bgr) {
    linear8<uint8_t>(s, d, n, bgr, plain::hsv8, [](auto r, auto g, auto b, auto& h, auto& sat, auto& v) {
        const D32 di;
        const hn::Rebind<float, D32> df;
        const auto one = hn::Set(di, 1);
        const auto mx = hn::Max(hn::Max(r, g), b), mn = hn::Min(hn::Min(r, g), b), dd = hn::Sub(mx, mn);
        auto quot = [&](auto num, auto den) {
            return hn::ConvertTo(di, hn::Div(hn::ConvertTo(df, num), hn::ConvertTo(df, hn::Max(den, one))));
        };
        sat = quot(hn::Mul(hn::Set(di, 255), dd), mx);
        const auto k60 = hn::Set(di, 60);
        auto nr = hn::Mul(k60, hn::Sub(g, b));
        nr = hn::IfThenElse(hn::Lt(nr, hn::Zero(di)), hn::Add(nr, hn::Mul(hn::Set(di, 360), dd)), nr);
        const auto ng = hn::Add(hn::Mul(k60, hn::Sub(b, r)), hn::Mul(hn::Set(di, 120), dd));
        const auto nb = hn::Add(hn::Mul(k60, hn::Sub(r, g)), hn::Mul(hn::Set(di, 240), dd));
        const auto num = hn::IfThenElse(hn::Eq(r, mx), nr, hn::IfThenElse(hn::Eq(g, mx), ng, nb));
        h = hn::ShiftRight<1>(hn::IfThenZeroElse(hn::Eq(sat, hn::Zero(di)), quot(num, dd)));
        v = mx;
    });
}

// Back from HSV: the sector and its remainder by a multiply (exact for
// hues to 510), the four candidates, and a choice per sector.
void hsvBack8(const uint8_t* s, uint8_t* d, size_t n, bool bgr) {
    const D32 di;
    const D8q d8;
    const size_t lanes = hn::Lanes(di);
    const auto k255 = hn::Set(di, 255), k60 = hn::Set(di, 60), k34 = hn::Set(di, 34), zero = hn::Zero(di);
    size_t i = 0;
    for (; i + lanes <= n; i += lanes) {
        hn::Vec<D8q> c0, c1, c2;
        hn::LoadInterleaved3(d8, s + 3 * i, c0, c1, c2);
        const auto H = hn::PromoteTo(di, c0), S = hn::PromoteTo(di, c1), V = hn::PromoteTo(di, c2);
        const auto h = hn::Add(H, H);
        auto sector = hn::ShiftRight<16>(hn::Mul(h, hn::Set(di, 1093)));
        const auto f = hn::Sub(h, hn::Mul(sector, k60));  // 0 at h = 360
        sector = hn::IfThenZeroElse(hn::Eq(h, hn::Set(di, 360)), sector);
        const auto t = hn::ShiftRight<8>(hn::Mul(S, V));
        const auto p = hn::Sub(V, t);
        const auto q = hn::Sub(V, hn::ShiftRight<11>(hn::Mul(hn::Mul(t, f), k34)));
        const auto u = hn::Sub(V, hn::ShiftRight<11>(hn::Mul(hn::Mul(t, hn::Sub(k60, f)), k34)));
        const auto s0 = hn::Eq(sector, zero), s1 = hn::Eq(sector, hn::Set(di, 1)),
                   s2 = hn::Eq(sector, hn::Set(di, 2)), s3 = hn::Eq(sector, hn::Set(di, 3)),
                   s4 = hn::Eq(sector, hn::Set(di, 4));
        auto R = hn::IfThenElse(s1, q, hn::IfThenElse(hn::Or(s2, s3), p, hn::IfThenElse(s4, u, V)));
        auto G = hn::IfThenElse(s0, u, hn::IfThenElse(hn::Or(s1, s2), V, hn::IfThenElse(s3, q, p)));
        auto B = hn::IfThenElse(hn::Or(s0, s1), p, hn::IfThenElse(s2, u, hn::IfThenElse(hn::Or(s3, s4), V, q)));
        const auto grey = hn::Eq(S, zero);
        R = hn::And(hn::IfThenElse(grey, V, R), k255);
        G = hn::And(hn::IfThenElse(grey, V, G), k255);
        B = hn::And(hn::IfThenElse(grey, V, B), k255);
        const auto r8 = hn::DemoteTo(d8, R), g8 = hn::DemoteTo(d8, G), b8 = hn::DemoteTo(d8, B);
        if (bgr) hn::StoreInterleaved3(b8, g8, r8, d8, d + 3 * i);
        else hn::StoreInterleaved3(r8, g8, b8, d8, d + 3 * i);
    }
    if (i < n) plain::hsvBack8(s + 3 * i, d + 3 * i, n - i, bgr);
}

}  // namespace

void fillColour(ColourKernels& k) {
    k.ycc8 = ycc8;
    k.gray8 = gray8;
    k.twist8 = twist8;
    k.yuv8 = yuv8;
    k.xyz8 = xyz8;
    k.hsv8 = hsv8;
    k.hsvBack8 = hsvBack8;
}

}  // namespace HWY_NAMESPACE
}  // namespace zol
HWY_AFTER_NAMESPACE();
#endif

#if HWY_ONCE
namespace zol {
ZOL_SIMD_FILL(colourSimd, fillColour, ColourKernels)
}  // namespace zol
#endif
