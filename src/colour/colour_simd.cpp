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

void twist8(const uint8_t* s, uint8_t* d, size_t n, const Twist8& t) {
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

}  // namespace

void fillColour(ColourKernels& k) {
    k.ycc8 = ycc8;
    k.gray8 = gray8;
    k.twist8 = twist8;
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
