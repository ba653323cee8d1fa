// Highway form of the mirror's reversed 8-bit rows: a vector of pixels is
// loaded from the row's end and its bytes reversed pixel by pixel.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "geometry/mirror_simd.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "core/simd.h"
#include "geometry/mirror.h"

#if ZOL_SIMD_FORM_TARGET
HWY_BEFORE_NAMESPACE();
namespace zol {
namespace geo {
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

void reverse8(const uint8_t* s, uint8_t* d, int w, int ch) {
    // Sixteen bytes reversed by one byte shuffle.
    const hn::FixedTag<uint8_t, 16> d8;
    alignas(16) static constexpr uint8_t kBack[16] = {15, 14, 13, 12, 11, 10, 9, 8,
                                                      7,  6,  5,  4,  3,  2,  1, 0};
    const auto back = hn::Load(d8, kBack);
    int x = 0;  // destination pixels done
    if (ch == 1) {
        for (; x + 16 <= w; x += 16)
            hn::StoreU(hn::TableLookupBytes(hn::LoadU(d8, s + (w - x - 16)), back), d8, d + x);
    } else if (ch == 3) {
        // Sixteen 3-byte pixels split into planes, each plane reversed.
        for (; x + 16 <= w; x += 16) {
            hn::Vec<decltype(d8)> a, b, c;
            hn::LoadInterleaved3(d8, s + ptrdiff_t(w - x - 16) * 3, a, b, c);
            hn::StoreInterleaved3(hn::TableLookupBytes(a, back), hn::TableLookupBytes(b, back),
                                  hn::TableLookupBytes(c, back), d8, d + ptrdiff_t(x) * 3);
        }
    } else if (ch == 4) {
        const hn::ScalableTag<uint32_t> d32;
        const int l32 = int(hn::Lanes(d32));
        const auto* s32 = reinterpret_cast<const uint8_t*>(s);
        for (; x + l32 <= w; x += l32) {
            const auto v = hn::LoadU(d32, reinterpret_cast<const uint32_t*>(s32 + ptrdiff_t(w - x - l32) * 4));
            hn::StoreU(hn::Reverse(d32, v), d32, reinterpret_cast<uint32_t*>(d + ptrdiff_t(x) * 4));
        }
    }
    if (x < w) reverseRow8(s, d + ptrdiff_t(x) * ch, w - x, ch);
}

}  // namespace

void fillMirror(MirrorKernels& k) { k.reverse8 = reverse8; }

}  // namespace HWY_NAMESPACE
}  // namespace geo
}  // namespace zol
HWY_AFTER_NAMESPACE();
#endif

#if HWY_ONCE
namespace zol {
namespace geo {
ZOL_SIMD_FILL(mirrorSimd, fillMirror, MirrorKernels)
}  // namespace geo
}  // namespace zol
#endif
