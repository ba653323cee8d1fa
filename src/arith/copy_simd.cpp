// SIMD forms of the fill and swap row kernels, written once over Highway
// and compiled for every target of the build by foreach_target.h.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "arith/copy_simd.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "arith/copy.h"
#include "core/simd.h"

#if ZOL_SIMD_FORM_TARGET
ZOL_SIMD_BEGIN
namespace {

// A pattern of one repeated byte is the C library's memset, which has
// the store paths for large blocks; wider patterns are stored here.
void fillRow(uint8_t* d, size_t n, uint64_t pattern) {
    if (pattern == (pattern & 0xFFu) * 0x0101010101010101ull) return copyk::fillRow(d, n, pattern);
    const hn::ScalableTag<uint8_t> d8;
    const hn::Repartition<uint64_t, decltype(d8)> d64;
    const auto p = hn::BitCast(d8, hn::Set(d64, pattern));
    const size_t lanes = hn::Lanes(d8);
    size_t i = 0;
    for (; i + 2 * lanes <= n; i += 2 * lanes) {
        hn::StoreU(p, d8, d + i);
        hn::StoreU(p, d8, d + i + lanes);
    }
    for (; i + lanes <= n; i += lanes) hn::StoreU(p, d8, d + i);
    // A vector holds whole 64-bit words, so the tail keeps the pattern's phase.
    if (i < n) copyk::fillRow(d + i, n - i, pattern);
}

void swapRow(uint8_t* a, uint8_t* b, size_t n) {
    const hn::ScalableTag<uint8_t> d8;
    const size_t lanes = hn::Lanes(d8);
    size_t i = 0;
    for (; i + 2 * lanes <= n; i += 2 * lanes) {
        const auto x0 = hn::LoadU(d8, a + i), x1 = hn::LoadU(d8, a + i + lanes);
        const auto y0 = hn::LoadU(d8, b + i), y1 = hn::LoadU(d8, b + i + lanes);
        hn::StoreU(y0, d8, a + i);
        hn::StoreU(y1, d8, a + i + lanes);
        hn::StoreU(x0, d8, b + i);
        hn::StoreU(x1, d8, b + i + lanes);
    }
    if (i < n) copyk::swapRow(a + i, b + i, n - i);
}

}  // namespace

void fillCopy(CopyKernels& k) {
    k.fillRow = fillRow;
    k.swapRow = swapRow;
}

ZOL_SIMD_END
#endif

#if HWY_ONCE
ZOL_SIMD_EXPORT(copySimd, fillCopy, CopyKernels)
#endif
