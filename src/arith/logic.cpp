// Logic on the bits of elements: exclusive or with a constant, and the
// inversion built on it.
#include "arith/logic.h"

#include <cstring>

#include "core/frame.h"

namespace zol {

namespace plain {
void xorConstRun(const uint8_t* s, uint8_t* d, size_t n, uint32_t pattern) {
    const uint64_t p64 = uint64_t(pattern) | uint64_t(pattern) << 32;
    size_t i = 0;
    for (; i + 8 <= n; i += 8) {
        uint64_t v;
        std::memcpy(&v, s + i, 8);
        v ^= p64;
        std::memcpy(d + i, &v, 8);
    }
    for (; i < n; ++i) d[i] = uint8_t(s[i] ^ (pattern >> (8 * (i & 3))));
}
}  // namespace plain

namespace {

LogicKernels makeTable(Form form) {
    LogicKernels k{plain::xorConstRun};
#if defined(ZOL_HAVE_SSE2)
    if (form >= Form::SSE2) k.xorConstRun = sse2::xorConstRun;
#endif
#if defined(ZOL_HAVE_AVX2)
    if (form >= Form::AVX2) k.xorConstRun = avx2::xorConstRun;
#endif
    (void)form;
    return k;
}

// The constant as a 32-bit pattern: bit 0 spread for 1-bit images, the low
// byte four times, the low 16 bits twice, or the value itself.
uint32_t logicPattern(int depth, uint32_t value) {
    switch (depthBits(depth)) {
        case 1: return (value & 1) ? 0xFFFFFFFFu : 0u;
        case 8: return (value & 0xFFu) * 0x01010101u;
        case 16: return (value & 0xFFFFu) * 0x00010001u;
        default: return value;
    }
}

// One element against the constant, with contiguous runs through the
// dispatched byte kernel.
template <class T>
struct XorConst : ElementOp<XorConst<T>, T> {
    uint32_t pattern;
    ConstRunFn runFn;
    T operator()(T a) const { return T(a ^ T(pattern)); }
    void run(size_t n, T* d, const T* s) const {
        runFn(reinterpret_cast<const uint8_t*>(s), reinterpret_cast<uint8_t*>(d), n * sizeof(T),
              pattern);
    }
};

template <class T>
void xorRegion(const ZolImage* const (&src)[1], ZolImage* dst, const ZolImage* mask,
               const Plan& plan, uint32_t pattern) {
    XorConst<T> op;
    op.pattern = pattern;
    op.runFn = logicKernels().xorConstRun;
    mapRegion(op, src, dst, mask, plan);
}

}  // namespace

const LogicKernels& logicKernels() {
    static const LogicKernels tables[3] = {makeTable(Form::Plain), makeTable(Form::SSE2),
                                           makeTable(Form::AVX2)};
    return tables[int(logicForm())];
}

Form logicForm() { return activeForm(); }

}  // namespace zol

using namespace zol;

extern "C" {

ZOL_API void zolXorS(ZolImage* srcImage, ZolImage* dstImage, uint32_t value) {
    const Frame f(msg::kXorS);
    if (!f.headersOk({srcImage, dstImage})) return;
    if (!f.depthsMatch({{srcImage, msg::kSrcDepth}}, dstImage)) return;
    if (dstImage->depth != ZOL_DEPTH_1U &&
        !f.ordersMatch({{srcImage, msg::kSrcOrder}}, dstImage))
        return;
    Plan plan;
    if (!f.makePlan(plan, {{srcImage, msg::kNChSrc}}, dstImage)) return;
    MaskHold mask;
    if (!mask.combine(f, srcImage->maskROI, dstImage->maskROI)) return;
    if (dstImage->depth == ZOL_DEPTH_32F) {
        f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kNo32F);
        return;
    }
    const uint32_t pattern = logicPattern(dstImage->depth, value);

    if (!srcImage->tileInfo && !dstImage->tileInfo && !mask.get() &&
        ownIsWholeImage(srcImage, dstImage, plan.hasAlpha)) {
        // One flat pass over every word of the block, row padding included.
        const size_t unit = dstImage->align == ZOL_ALIGN_QWORD ? 8 : 4;
        const size_t bytes = size_t(srcImage->imageSize) / unit * unit;
        logicKernels().xorConstRun(reinterpret_cast<const uint8_t*>(srcImage->imageData),
                                   reinterpret_cast<uint8_t*>(dstImage->imageData), bytes,
                                   pattern);
        return;
    }

    const ZolImage* const src[1] = {srcImage};
    switch (dstImage->depth) {
        case ZOL_DEPTH_1U: {
            const unsigned bits = pattern & 0xFFu;
            f.run([bits](auto&... a) { mapBitRegion([bits](unsigned v) { return v ^ bits; }, a...); },
                  src, dstImage, mask.get(), plan);
            break;
        }
        case ZOL_DEPTH_8U:
        case ZOL_DEPTH_8S:
            f.run([pattern](auto&... a) { xorRegion<uint8_t>(a..., pattern); }, src, dstImage,
                  mask.get(), plan);
            break;
        case ZOL_DEPTH_16U:
        case ZOL_DEPTH_16S:
            f.run([pattern](auto&... a) { xorRegion<uint16_t>(a..., pattern); }, src, dstImage,
                  mask.get(), plan);
            break;
        default:  // 32S
            f.run([pattern](auto&... a) { xorRegion<uint32_t>(a..., pattern); }, src, dstImage,
                  mask.get(), plan);
            break;
    }
}

ZOL_API void zolNot(ZolImage* srcImage, ZolImage* dstImage) {
    zolXorS(srcImage, dstImage, 0xFFFFFFFFu);
}

}  // extern "C"
