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

// k, k^2, k^3 for the 64 offsets of a block.
struct Powers {
    HWY_ALIGN uint32_t k[3][64];
    Powers() {
        for (uint32_t i = 0; i < 64; ++i) k[0][i] = i, k[1][i] = i * i, k[2][i] = i * i * i;
    }
};

void momentRow8(const uint8_t* s, size_t n, int64_t x, int64_t out[4]) {
    static const Powers pw;
    const hn::ScalableTag<uint32_t> d32;
    const hn::Rebind<uint8_t, decltype(d32)> d8;
    const size_t lanes = hn::Lanes(d32);
    size_t i = 0;
    if (64 % lanes == 0) {
        for (; i + 64 <= n; i += 64) {
            auto a0 = hn::Zero(d32), a1 = a0, a2 = a0, a3 = a0;
            for (size_t j = 0; j < 64; j += lanes) {
                const auto p = hn::PromoteTo(d32, hn::LoadU(d8, s + i + j));
                a0 = hn::Add(a0, p);
                a1 = hn::Add(a1, hn::Mul(p, hn::Load(d32, pw.k[0] + j)));
                a2 = hn::Add(a2, hn::Mul(p, hn::Load(d32, pw.k[1] + j)));
                a3 = hn::Add(a3, hn::Mul(p, hn::Load(d32, pw.k[2] + j)));
            }
            plain::addBlock(x + int64_t(i), hn::GetLane(hn::SumOfLanes(d32, a0)),
                            hn::GetLane(hn::SumOfLanes(d32, a1)),
                            hn::GetLane(hn::SumOfLanes(d32, a2)),
                            hn::GetLane(hn::SumOfLanes(d32, a3)), out);
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
