// SIMD form of the threshold's 8U run kernel, written once over Highway:
// a compare gives the mask, which is the result.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "measure/threshold_simd.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "core/simd.h"
#include "measure/threshold.h"

#if ZOL_SIMD_FORM_TARGET
HWY_BEFORE_NAMESPACE();
namespace zol {
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

void run8(const uint8_t* s, uint8_t* d, size_t n, uint8_t t) {
    const hn::ScalableTag<uint8_t> d8;
    const size_t lanes = hn::Lanes(d8);
    const auto tv = hn::Set(d8, t);
    size_t i = 0;
    // v >= t exactly when max(v, t) == v.
    for (; i + lanes <= n; i += lanes) {
        const auto v = hn::LoadU(d8, s + i);
        hn::StoreU(hn::VecFromMask(d8, hn::Eq(hn::Max(v, tv), v)), d8, d + i);
    }
    if (i < n) plain::thresholdRun8(s + i, d + i, n - i, t);
}

}  // namespace

void fillThreshold(ThresholdKernels& k) { k.run8 = run8; }

}  // namespace HWY_NAMESPACE
}  // namespace zol
HWY_AFTER_NAMESPACE();
#endif

#if HWY_ONCE
namespace zol {
ZOL_SIMD_FILL(thresholdSimd, fillThreshold, ThresholdKernels)
}  // namespace zol
#endif
