// SIMD form of the moments' 8U row kernel, written once over Highway:
// blocks of 64 pixels summed in 32-bit lanes against the powers of the
// offset in the block, then expanded in 64 bits like the plain form.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "measure/moments_simd.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "core/simd.h"
#include "measure/moments.h"

#if ZOL_SIMD_FORM_TARGET
HWY_BEFORE_NAMESPACE();
namespace zol {
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

// k and k^2 for the 64 offsets of a block, as 16-bit lanes.
struct Powers {
    HWY_ALIGN int16_t k[2][64];
    Powers() {
        for (int i = 0; i < 64; ++i) k[0][i] = int16_t(i), k[1][i] = int16_t(i * i);
    }
};

// Products widened pairwise into 32-bit lanes: p, p * k, p * k^2 and
// (p * k) * k^2, each factor within 16 bits (p * k <= 255 * 63).
void momentRow8(const uint8_t* s, size_t n, int64_t x, int64_t out[4]) {
    static const Powers pw;
    const hn::ScalableTag<int16_t> d16;
    const hn::Rebind<uint8_t, decltype(d16)> d8;
    const hn::Repartition<int32_t, decltype(d16)> d32;
    const size_t lanes = hn::Lanes(d16);
    const auto one = hn::Set(d16, int16_t(1));
    size_t i = 0;
    if (64 % lanes == 0) {
        for (; i + 64 <= n; i += 64) {
            auto a0 = hn::Zero(d32), a1 = a0, a2 = a0, a3 = a0;
            auto b0 = a0, b1 = a0, b2 = a0, b3 = a0;
            for (size_t j = 0; j < 64; j += lanes) {
                const auto p = hn::PromoteTo(d16, hn::LoadU(d8, s + i + j));
                const auto k = hn::Load(d16, pw.k[0] + j), k2 = hn::Load(d16, pw.k[1] + j);
                a0 = hn::ReorderWidenMulAccumulate(d32, p, one, a0, b0);
                a1 = hn::ReorderWidenMulAccumulate(d32, p, k, a1, b1);
                a2 = hn::ReorderWidenMulAccumulate(d32, p, k2, a2, b2);
                a3 = hn::ReorderWidenMulAccumulate(d32, hn::Mul(p, k), k2, a3, b3);
            }
            // Each block sum is below 2^31.
            auto sum = [d32](decltype(a0) u, decltype(a0) v) {
                return uint64_t(hn::GetLane(hn::SumOfLanes(d32, hn::Add(u, v))));
            };
            plain::addBlock(x + int64_t(i), sum(a0, b0), sum(a1, b1), sum(a2, b2), sum(a3, b3),
                            out);
        }
    }
    if (i < n) plain::momentRow8(s + i, n - i, x + int64_t(i), out);
}

}  // namespace

void fillMoments(MomentKernels& k) { k.rows8 = momentRow8; }

}  // namespace HWY_NAMESPACE
}  // namespace zol
HWY_AFTER_NAMESPACE();
#endif

#if HWY_ONCE
namespace zol {
ZOL_SIMD_FILL(momentsSimd, fillMoments, MomentKernels)
}  // namespace zol
#endif
