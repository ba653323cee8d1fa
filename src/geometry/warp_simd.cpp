// Highway form of the perspective row pass, compiled for every target of
// the build by foreach_target.h. It gives the bytes of the plain pass: the
// same double operations in the same order (no fused multiply-add), the
// same rounding by adding and taking away 1.5 * 2^52.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "geometry/warp_simd.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "core/simd.h"
#include "geometry/warp.h"

#if ZOL_SIMD_FORM_TARGET
HWY_BEFORE_NAMESPACE();
namespace zol {
namespace geo {
namespace HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;

// Lanes of doubles; each channel's pair of samples comes as one 32-bit
// word gathered at the first (the second is byte n of it).
void perspectiveLinear8(const double* nu, const double* nv, const double* dn, int count, const uint8_t* s,
                        ptrdiff_t row, int n, int iw, int ih, int ox, int oy, ptrdiff_t avail, uint8_t* out) {
    const hn::ScalableTag<double> dd;
    const hn::Rebind<int32_t, decltype(dd)> di;
    const hn::Rebind<uint8_t, decltype(dd)> d8;
    const int lanes = int(hn::Lanes(dd));
    const auto one = hn::Set(dd, 1.0), tol = hn::Set(dd, 1e-07), half = hn::Set(dd, 0.5);
    const auto magic = hn::Set(dd, 6755399441055744.0), far = hn::Set(dd, 1e15), nfar = hn::Set(dd, -1e15);
    const auto zero = hn::Zero(dd), top = hn::Set(dd, 255.0);
    const auto uHi = hn::Set(dd, double(iw - 2)), vHi = hn::Set(dd, double(ih - 2));
    const auto oxd = hn::Set(dd, double(ox)), oyd = hn::Set(dd, double(oy));
    const auto byte = hn::Set(di, 0xFF), rowv = hn::Set(di, int32_t(row)), nv32 = hn::Set(di, n);
    const auto last = hn::Set(di, n - 1);  // the last channel's word starts here
    const int shift = 8 * n;
    const auto* base = reinterpret_cast<const int32_t*>(s);
    // Offsets stay in 32 bits; a vector whose furthest word would leave
    // avail goes to the plain pass.
    const bool small = avail <= INT32_MAX;
    const auto limit = hn::Set(di, int32_t(small ? avail - 3 : 0));  // words start below it
    using V = hn::Vec<decltype(dd)>;
    auto index = [&](V x) {
        const V held = hn::IfThenElse(hn::Gt(x, far), far, hn::IfThenElse(hn::Ge(x, nfar), x, nfar));
        return hn::Sub(hn::Add(held, magic), magic);
    };
    int k = 0;
    if (small)
        for (; k + lanes <= count; k += lanes) {
            const auto r = hn::Div(one, hn::LoadU(dd, dn + k));
            const auto u = hn::Mul(hn::LoadU(dd, nu + k), r), v = hn::Mul(hn::LoadU(dd, nv + k), r);
            const auto i = hn::Min(hn::Max(hn::Sub(index(hn::Sub(hn::Add(u, tol), half)), oxd), zero), uHi);
            const auto j = hn::Min(hn::Max(hn::Sub(index(hn::Sub(hn::Add(v, tol), half)), oyd), zero), vHi);
            const auto fx = hn::Sub(u, hn::Add(i, oxd)), fy = hn::Sub(v, hn::Add(j, oyd));
            const auto off = hn::Add(hn::Mul(hn::DemoteTo(di, j), rowv), hn::Mul(hn::DemoteTo(di, i), nv32));
            if (!hn::AllTrue(di, hn::Lt(hn::Add(hn::Add(off, rowv), last), limit))) {
                geo::perspectiveLinear8(nu + k, nv + k, dn + k, lanes, s, row, n, iw, ih, ox, oy, avail, out + k * n);
                continue;
            }
            for (int c = 0; c < n; ++c) {
                const auto oc = hn::Add(off, hn::Set(di, c));
                const auto w0 = hn::GatherOffset(di, base, oc), w1 = hn::GatherOffset(di, base, hn::Add(oc, rowv));
                const auto s00 = hn::PromoteTo(dd, hn::And(w0, byte)), s01 = hn::PromoteTo(dd, hn::And(hn::ShiftRightSame(w0, shift), byte));
                const auto s10 = hn::PromoteTo(dd, hn::And(w1, byte)), s11 = hn::PromoteTo(dd, hn::And(hn::ShiftRightSame(w1, shift), byte));
                const auto a = hn::Add(s00, hn::Mul(hn::Sub(s01, s00), fx)), b = hn::Add(s10, hn::Mul(hn::Sub(s11, s10), fx));
                auto p = hn::Sub(hn::Add(hn::Add(hn::Add(a, hn::Mul(hn::Sub(b, a), fy)), tol), magic), magic);
                p = hn::IfThenElse(hn::Ge(p, top), top, hn::IfThenElse(hn::Gt(p, zero), p, zero));
                const auto bytes = hn::DemoteTo(d8, hn::DemoteTo(di, p));
                if (n == 1) {
                    hn::StoreU(bytes, d8, out + k);
                } else {
                    uint8_t lane[64];  // more than any target's lanes
                    hn::StoreU(bytes, d8, lane);
                    for (int q = 0; q < lanes; ++q) out[(k + q) * n + c] = lane[q];
                }
            }
        }
    if (k < count) geo::perspectiveLinear8(nu + k, nv + k, dn + k, count - k, s, row, n, iw, ih, ox, oy, avail, out + k * n);
}

}  // namespace

void fillWarp(WarpKernels& k) { k.perspectiveLinear8 = perspectiveLinear8; }

}  // namespace HWY_NAMESPACE
}  // namespace geo
}  // namespace zol
HWY_AFTER_NAMESPACE();
#endif

#if HWY_ONCE
namespace zol {
namespace geo {
ZOL_SIMD_FILL(warpSimd, fillWarp, WarpKernels)
}  // namespace geo
}  // namespace zol
#endif
