// SIMD forms of the norms' 8U run kernels, written once over Highway.
// Magnitudes are summed eight bytes at a time into 64-bit lanes, squares
// as widened products into 32-bit lanes flushed before they could wrap:
// exact integers, as in the plain form.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "measure/norm_simd.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "core/simd.h"
#include "measure/norm.h"

#if ZOL_SIMD_FORM_TARGET
HWY_BEFORE_NAMESPACE();
namespace zol {
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

// |a - b| of bytes.
template <class V>
HWY_INLINE V absDiff(V a, V b) {
    return hn::Or(hn::SaturatedSub(a, b), hn::SaturatedSub(b, a));
}

template <class D, class V>
HWY_INLINE uint64_t laneSum(D d, V v) {
    return uint64_t(hn::GetLane(hn::SumOfLanes(d, v)));
}

template <bool Pair>
uint64_t sumRun(const uint8_t* a, const uint8_t* b, size_t n) {
    const hn::ScalableTag<uint8_t> d8;
    const hn::Repartition<uint64_t, decltype(d8)> d64;
    const size_t lanes = hn::Lanes(d8);
    auto acc = hn::Zero(d64);
    size_t i = 0;
    for (; i + lanes <= n; i += lanes) {
        auto v = hn::LoadU(d8, a + i);
        if (Pair) v = absDiff(v, hn::LoadU(d8, b + i));
        acc = hn::Add(acc, hn::SumsOf8(v));
    }
    uint64_t s = laneSum(d64, acc);
    if (i < n) s += Pair ? plain::sumDiff8(a + i, b + i, n - i) : plain::sum8(a + i, n - i);
    return s;
}

template <bool Pair>
uint64_t sumSqRun(const uint8_t* a, const uint8_t* b, size_t n) {
    const hn::ScalableTag<int16_t> d16;
    const hn::Rebind<uint8_t, decltype(d16)> d8;
    const hn::Repartition<int32_t, decltype(d16)> d32;
    const size_t lanes = hn::Lanes(d16);
    uint64_t s = 0;
    size_t i = 0;
    // Each 32-bit lane gains at most 2 * 255^2 a step.
    constexpr size_t kSteps = 16384;
    while (i + lanes <= n) {
        auto acc0 = hn::Zero(d32), acc1 = hn::Zero(d32);
        for (size_t k = 0; k < kSteps && i + lanes <= n; ++k, i += lanes) {
            auto v = hn::LoadU(d8, a + i);
            if (Pair) v = absDiff(v, hn::LoadU(d8, b + i));
            const auto w = hn::PromoteTo(d16, v);
            acc0 = hn::ReorderWidenMulAccumulate(d32, w, w, acc0, acc1);
        }
        // Each lane below 2^31; their total may not be, so it adds in 64 bits.
        HWY_ALIGN int32_t lane[HWY_MAX_BYTES / 4];
        hn::Store(hn::Add(acc0, acc1), d32, lane);
        for (size_t k = 0; k < hn::Lanes(d32); ++k) s += uint64_t(uint32_t(lane[k]));
    }
    if (i < n) s += Pair ? plain::sumSqDiff8(a + i, b + i, n - i) : plain::sumSq8(a + i, n - i);
    return s;
}

template <bool Pair>
uint64_t maxRun(const uint8_t* a, const uint8_t* b, size_t n) {
    const hn::ScalableTag<uint8_t> d8;
    const size_t lanes = hn::Lanes(d8);
    auto m = hn::Zero(d8);
    size_t i = 0;
    for (; i + lanes <= n; i += lanes) {
        auto v = hn::LoadU(d8, a + i);
        if (Pair) v = absDiff(v, hn::LoadU(d8, b + i));
        m = hn::Max(m, v);
    }
    HWY_ALIGN uint8_t lane[HWY_MAX_BYTES];
    hn::Store(m, d8, lane);
    uint64_t r = 0;
    for (size_t k = 0; k < lanes; ++k) r = lane[k] > r ? lane[k] : r;
    if (i < n) {
        const uint64_t t = Pair ? plain::maxDiff8(a + i, b + i, n - i) : plain::max8(a + i, n - i);
        r = t > r ? t : r;
    }
    return r;
}

uint64_t sum8(const uint8_t* a, size_t n) { return sumRun<false>(a, nullptr, n); }
uint64_t sumSq8(const uint8_t* a, size_t n) { return sumSqRun<false>(a, nullptr, n); }
uint64_t max8(const uint8_t* a, size_t n) { return maxRun<false>(a, nullptr, n); }
uint64_t sumDiff8(const uint8_t* a, const uint8_t* b, size_t n) { return sumRun<true>(a, b, n); }
uint64_t sumSqDiff8(const uint8_t* a, const uint8_t* b, size_t n) {
    return sumSqRun<true>(a, b, n);
}
uint64_t maxDiff8(const uint8_t* a, const uint8_t* b, size_t n) { return maxRun<true>(a, b, n); }

}  // namespace

void fillNorm(NormKernels& k) {
    k.sum8 = sum8;
    k.sumSq8 = sumSq8;
    k.max8 = max8;
    k.sumDiff8 = sumDiff8;
    k.sumSqDiff8 = sumSqDiff8;
    k.maxDiff8 = maxDiff8;
}

}  // namespace HWY_NAMESPACE
}  // namespace zol
HWY_AFTER_NAMESPACE();
#endif

#if HWY_ONCE
namespace zol {
ZOL_SIMD_FILL(normSimd, fillNorm, NormKernels)
}  // namespace zol
#endif
