// Highway forms of the perspective and affine row passes, compiled for
// every target of the build by foreach_target.h. They give the bytes of the
// plain passes: the same double operations in the same order (no fused
// multiply-add), the same rounding by adding and taking away 1.5 * 2^52;
// the same 32-bit integer sums with truncating shifts.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "geometry/warp_simd.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include <climits>
#include <cstdlib>

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

// 16.16 positions in 32-bit lanes: a vector whose first and last positions
// lie within 2^30 of the plane has all of them there (they are in step),
// so lane arithmetic cannot overflow; other vectors go to the plain pass.
// Of each pixel's two rows, one gathered word (c1) or two (c3, the second
// two bytes on) hold both columns.
void affineLinear8(int64_t u, int64_t v, int64_t A, int64_t E, int count, const uint8_t* s, ptrdiff_t row,
                   int n, int iw, int ih, ptrdiff_t avail, uint8_t* out) {
    const hn::ScalableTag<int32_t> di;
    const hn::Rebind<uint8_t, decltype(di)> d8;
    const int lanes = int(hn::Lanes(di));
    constexpr int64_t kFar = int64_t(1) << 30;
    int k = 0;
    // Offsets in 32 bits, whole steps well inside the lanes' range.
    if (avail > 0 && avail <= INT32_MAX && iw < 16384 && ih < 16384 && std::abs(A) < kFar / 64 &&
        std::abs(E) < kFar / 64 && (n == 1 || n == 3)) {
        const auto iota = hn::Iota(di, 0);
        const auto stepU = hn::Mul(iota, hn::Set(di, int32_t(A))), stepV = hn::Mul(iota, hn::Set(di, int32_t(E)));
        const auto zero = hn::Zero(di), byte = hn::Set(di, 0xFF), full = hn::Set(di, 16384);
        const auto uHi = hn::Set(di, int32_t(iw - 1) << 16), vHi = hn::Set(di, int32_t(ih - 1) << 16);
        const auto iLast = hn::Set(di, iw - 2), kLast = hn::Set(di, ih - 2);
        const auto rowv = hn::Set(di, int32_t(row)), nv = hn::Set(di, n), two = hn::Set(di, 2);
        const auto limit = hn::Set(di, int32_t(avail - 3 - 3 * (n == 3)));  // words start below it
        const auto* base = reinterpret_cast<const int32_t*>(s);
        const int64_t spanU = A * (lanes - 1), spanV = E * (lanes - 1);
        auto inside = [&](int64_t p, int64_t span) {
            return p > -kFar && p < kFar && p + span > -kFar && p + span < kFar;
        };
        // (a (16384 - w) + b w) >> Shift, all in 32 bits.
        auto mix = [&](auto a, auto b, auto w, auto wc, int shift) {
            return hn::ShiftRightSame(hn::Add(hn::Mul(a, wc), hn::Mul(b, w)), shift);
        };
        for (; k + lanes <= count; k += lanes) {
            const int64_t uk = u + k * A, vk = v + k * E;
            if (!inside(uk, spanU) || !inside(vk, spanV)) {
                geo::affineLinear8(uk, vk, A, E, lanes, s, row, n, iw, ih, avail, out + k * n);
                continue;
            }
            const auto uc = hn::Min(hn::Max(hn::Add(hn::Set(di, int32_t(uk)), stepU), zero), uHi);
            const auto vc = hn::Min(hn::Max(hn::Add(hn::Set(di, int32_t(vk)), stepV), zero), vHi);
            const auto i = hn::Min(hn::ShiftRight<16>(uc), iLast), j = hn::Min(hn::ShiftRight<16>(vc), kLast);
            const auto wx = hn::ShiftRight<2>(hn::Sub(uc, hn::ShiftLeft<16>(i)));
            const auto wy = hn::ShiftRight<2>(hn::Sub(vc, hn::ShiftLeft<16>(j)));
            const auto wxc = hn::Sub(full, wx), wyc = hn::Sub(full, wy);
            const auto off = hn::Add(hn::Mul(j, rowv), hn::Mul(i, nv)), off1 = hn::Add(off, rowv);
            if (!hn::AllTrue(di, hn::Lt(off1, limit))) {
                geo::affineLinear8(uk, vk, A, E, lanes, s, row, n, iw, ih, avail, out + k * n);
                continue;
            }
            const auto w0 = hn::GatherOffset(di, base, off), w1 = hn::GatherOffset(di, base, off1);
            if (n == 1) {
                const auto h0 = mix(hn::And(w0, byte), hn::And(hn::ShiftRight<8>(w0), byte), wx, wxc, 8);
                const auto h1 = mix(hn::And(w1, byte), hn::And(hn::ShiftRight<8>(w1), byte), wx, wxc, 8);
                hn::StoreU(hn::DemoteTo(d8, mix(h0, h1, wy, wyc, 20)), d8, out + k);
                continue;
            }
            // Bytes 0..3 of each row in the first word, 2..5 in the second.
            const auto x0 = hn::GatherOffset(di, base, hn::Add(off, two));
            const auto x1 = hn::GatherOffset(di, base, hn::Add(off1, two));
            auto at = [&](decltype(w0) w, int b) { return hn::And(hn::ShiftRightSame(w, 8 * b), byte); };
            auto channel = [&](int c) {
                // Channel c of the left pixel is byte c, of the right pixel byte c + 3.
                const auto l0 = at(w0, c), l1 = at(w1, c);
                const auto r0 = c == 0 ? at(w0, 3) : at(x0, c + 1), r1 = c == 0 ? at(w1, 3) : at(x1, c + 1);
                const auto h0 = mix(l0, r0, wx, wxc, 8), h1 = mix(l1, r1, wx, wxc, 8);
                return hn::DemoteTo(d8, mix(h0, h1, wy, wyc, 20));
            };
            hn::StoreInterleaved3(channel(0), channel(1), channel(2), d8, out + k * 3);
        }
    }
    if (k < count) geo::affineLinear8(u + k * A, v + k * E, A, E, count - k, s, row, n, iw, ih, avail, out + k * n);
}

// The 8-bit cubic of 4 fractional bits at t in 16.16, grouped as the plain
// one. In 32 bits: with t in [-1, 2] and samples within -418..418 (bytes,
// or the rows the first pass makes of them) no product passes 1.5 * 2^30.
template <class V>
V cubic8(V y0, V y1, V y2, V y3, V t) {
    const hn::DFromV<V> di;
    const auto k11 = hn::Set(di, 11 * 63550), k3 = hn::Set(di, -1398101);
    const auto a3 = hn::Add(hn::ShiftRight<18>(hn::Mul(hn::Sub(y3, y0), k11)), hn::ShiftLeft<3>(hn::Sub(y1, y2)));
    const auto a2 = hn::Sub(hn::ShiftLeft<3>(hn::Add(y0, y2)), hn::ShiftLeft<4>(y1));
    const auto a1 = hn::Sub(hn::Add(hn::ShiftRight<18>(hn::Sub(hn::Mul(y0, k3), hn::Mul(y3, k11))), hn::ShiftLeft<4>(y2)),
                            hn::ShiftLeft<3>(y1));
    auto p = hn::ShiftRight<16>(hn::Mul(a3, t));
    p = hn::ShiftRight<16>(hn::Mul(hn::Add(p, a2), t));
    p = hn::ShiftRight<16>(hn::Mul(hn::Add(p, a1), t));
    return hn::Add(p, hn::ShiftLeft<4>(y1));
}

// Lanes as in the linear row, for vectors whose positions all lie inside
// the plane (fractions then within -1 .. 2); others go to the plain pass.
// The 4 x 4 block is four rows of one gathered word (c1) or three (c3).
void affineCubic8(int64_t u, int64_t v, int64_t A, int64_t E, int count, const uint8_t* s, ptrdiff_t row,
                  int n, int iw, int ih, ptrdiff_t avail, uint8_t* out) {
    const hn::ScalableTag<int32_t> di;
    const hn::Rebind<uint8_t, decltype(di)> d8;
    using V = hn::Vec<decltype(di)>;
    const int lanes = int(hn::Lanes(di));
    constexpr int64_t kFar = int64_t(1) << 30;
    int k = 0;
    if (avail > 0 && avail <= INT32_MAX && iw >= 4 && ih >= 4 && iw < 16384 && ih < 16384 &&
        std::abs(A) < kFar / 64 && std::abs(E) < kFar / 64 && (n == 1 || n == 3)) {
        const auto iota = hn::Iota(di, 0);
        const auto stepU = hn::Mul(iota, hn::Set(di, int32_t(A))), stepV = hn::Mul(iota, hn::Set(di, int32_t(E)));
        const auto zero = hn::Zero(di), one = hn::Set(di, 1), byte = hn::Set(di, 0xFF), eight = hn::Set(di, 8);
        const auto unit = hn::Set(di, 65536), ibHi = hn::Set(di, iw - 4), jbHi = hn::Set(di, ih - 4);
        const auto rowv = hn::Set(di, int32_t(row)), nv = hn::Set(di, n);
        const auto limit = hn::Set(di, int32_t(avail - 3 * row - 4 * n + 1));  // blocks start below it
        const auto* base = reinterpret_cast<const int32_t*>(s);
        const int64_t uMax = int64_t(iw - 1) << 16, vMax = int64_t(ih - 1) << 16;
        const int64_t spanU = A * (lanes - 1), spanV = E * (lanes - 1);
        auto inside = [](int64_t p, int64_t span, int64_t hi) {
            return p >= 0 && p <= hi && p + span >= 0 && p + span <= hi;
        };
        auto rowOf = [&](V y0, V y1, V y2, V y3, V t) { return hn::ShiftRight<4>(hn::Add(cubic8(y0, y1, y2, y3, t), eight)); };
        auto at = [&](V w, int b) { return hn::And(hn::ShiftRightSame(w, 8 * b), byte); };
        for (; k + lanes <= count; k += lanes) {
            const int64_t uk = u + k * A, vk = v + k * E;
            if (!inside(uk, spanU, uMax) || !inside(vk, spanV, vMax)) {
                geo::affineCubic8(uk, vk, A, E, lanes, s, row, n, iw, ih, avail, out + k * n);
                continue;
            }
            const auto uu = hn::Add(hn::Set(di, int32_t(uk)), stepU), vv = hn::Add(hn::Set(di, int32_t(vk)), stepV);
            const auto ib = hn::Min(hn::Max(hn::Sub(hn::ShiftRight<16>(uu), one), zero), ibHi);
            const auto jb = hn::Min(hn::Max(hn::Sub(hn::ShiftRight<16>(vv), one), zero), jbHi);
            const auto t = hn::Sub(hn::Sub(uu, hn::ShiftLeft<16>(ib)), unit);
            const auto tv = hn::Sub(hn::Sub(vv, hn::ShiftLeft<16>(jb)), unit);
            const auto off = hn::Add(hn::Mul(jb, rowv), hn::Mul(ib, nv));
            if (!hn::AllTrue(di, hn::Lt(off, limit))) {
                geo::affineCubic8(uk, vk, A, E, lanes, s, row, n, iw, ih, avail, out + k * n);
                continue;
            }
            // The down pass's result saturates to a byte as the plain clamp does.
            if (n == 1) {
                V r[4];
                for (int q = 0; q < 4; ++q) {
                    const auto w = hn::GatherOffset(di, base, hn::Add(off, hn::Set(di, int32_t(q * row))));
                    r[q] = rowOf(at(w, 0), at(w, 1), at(w, 2), at(w, 3), t);
                }
                hn::StoreU(hn::DemoteTo(d8, rowOf(r[0], r[1], r[2], r[3], tv)), d8, out + k);
                continue;
            }
            V r[3][4];
            for (int q = 0; q < 4; ++q) {
                const auto o = hn::Add(off, hn::Set(di, int32_t(q * row)));
                const V g[3] = {hn::GatherOffset(di, base, o), hn::GatherOffset(di, base, hn::Add(o, hn::Set(di, 4))),
                                hn::GatherOffset(di, base, hn::Add(o, hn::Set(di, 8)))};
                // Channel c of the block's four pixels: bytes c, c + 3, c + 6, c + 9.
                for (int c = 0; c < 3; ++c)
                    r[c][q] = rowOf(at(g[c / 4], c % 4), at(g[(c + 3) / 4], (c + 3) % 4), at(g[(c + 6) / 4], (c + 6) % 4),
                                    at(g[(c + 9) / 4], (c + 9) % 4), t);
            }
            hn::StoreInterleaved3(hn::DemoteTo(d8, rowOf(r[0][0], r[0][1], r[0][2], r[0][3], tv)),
                                  hn::DemoteTo(d8, rowOf(r[1][0], r[1][1], r[1][2], r[1][3], tv)),
                                  hn::DemoteTo(d8, rowOf(r[2][0], r[2][1], r[2][2], r[2][3], tv)), d8, out + k * 3);
        }
    }
    if (k < count) geo::affineCubic8(u + k * A, v + k * E, A, E, count - k, s, row, n, iw, ih, avail, out + k * n);
}

}  // namespace

void fillWarp(WarpKernels& k) {
    k.perspectiveLinear8 = perspectiveLinear8;
    k.affineLinear8 = affineLinear8;
    k.affineCubic8 = affineCubic8;
}

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
