// Dyadic arithmetic: saturating sum, difference and product of two images.
#include "arith/dyadic.h"

#include "core/frame.h"

namespace zol {

namespace plain {

namespace {

template <DyOp op, class T>
void runOf(const T* a, const T* b, T* d, size_t n) {
    for (size_t i = 0; i < n; ++i) d[i] = element<op>(a[i], b[i]);
}

}  // namespace

ZOL_DYADIC_NAMED_KERNELS

void andNot(const uint32_t* a, const uint32_t* b, uint32_t* d, size_t n) {
    for (size_t i = 0; i < n; ++i) d[i] = a[i] & ~b[i];
}

}  // namespace plain

namespace {

#define ZOL_DYADIC_TABLE(ns)                                                                  \
    DyadicKernels {                                                                           \
        {{ns::add8u, ns::sub8u, ns::mul8u},    {ns::add8s, ns::sub8s, ns::mul8s},             \
         {ns::add16u, ns::sub16u, ns::mul16u}, {ns::add16s, ns::sub16s, ns::mul16s},          \
         {ns::add32s, ns::sub32s, ns::mul32s}, {ns::add32f, ns::sub32f, ns::mul32f}},         \
            ns::andNot                                                                        \
    }

DyadicKernels makeTable(Form form) {
    DyadicKernels k = ZOL_DYADIC_TABLE(plain);
    dyadicSimd(form, k);
    return k;
}

#undef ZOL_DYADIC_TABLE

// Single elements for strided and masked shapes, contiguous runs through
// the dispatched kernel.
template <class T, DyOp op>
struct DyadicOp : ElementOp<DyadicOp<T, op>, T> {
    explicit DyadicOp(DyadicRunFn f) : fn(f) {}
    DyadicRunFn fn;
    T operator()(T a, T b) const { return plain::element<op>(a, b); }
    void run(size_t n, T* d, const T* a, const T* b) const { fn(a, b, d, n); }
};

// One flat loop over the blocks does the region path's work. Asked inside
// the kernel, so that pieces of the band walk covering whole tiles take it.
bool wholePair(const ZolImage* const* src, const ZolImage* dst, const ZolImage* mask,
               const Plan& plan) {
    return !mask && ownIsWholeImage(src[0], dst, plan.hasAlpha) &&
           ownIsWholeImage(src[1], dst, plan.hasAlpha);
}

template <class T, DyOp op>
void elementPass(const Frame& f, const DyadicKernels& k, const ZolImage* const (&src)[2],
                 ZolImage* dst, const ZolImage* mask, const Plan& plan) {
    const DyadicOp<T, op> e(k.run[dyDepthOf<T>()][int(op)]);
    auto kernel = [&e](const auto& s, ZolImage* d, const ZolImage* m, const Plan& p) {
        if (wholePair(s, d, m, p))
            e.fn(s[0]->imageData, s[1]->imageData, d->imageData,
                 size_t(s[0]->imageSize) / sizeof(T));
        else
            mapRegion(e, s, d, m, p);
    };
    f.run(kernel, src, dst, mask, plan);
}

// 1-bit difference, a AND NOT b: whole images word by word, regions at
// their bit offsets.
void bitDifference(const Frame& f, const DyadicKernels& k, const ZolImage* const (&src)[2],
                   ZolImage* dst, const ZolImage* mask, const Plan& plan) {
    auto kernel = [&k](const auto& s, ZolImage* d, const ZolImage* m, const Plan& p) {
        if (wholePair(s, d, m, p))
            k.andNot(reinterpret_cast<const uint32_t*>(s[0]->imageData),
                     reinterpret_cast<const uint32_t*>(s[1]->imageData),
                     reinterpret_cast<uint32_t*>(d->imageData), size_t(s[0]->imageSize) / 4);
        else
            mapBitRegion([](unsigned a, unsigned b) { return a & ~b; }, s, d, m, p);
    };
    f.run(kernel, src, dst, mask, plan);
}

// The frame from the header checks on; the family pre-checks stand in
// the exported functions.
template <DyOp op>
void dyadic(const char* func, ZolImage* srcImageA, ZolImage* srcImageB, ZolImage* dstImage) {
    const Frame f(func);
    if (!f.headersOk({srcImageA, srcImageB, dstImage})) return;
    if (!f.depthsMatch({{srcImageA, msg::kSrcADepth}, {srcImageB, msg::kSrcBDepth}}, dstImage))
        return;
    if (dstImage->depth != ZOL_DEPTH_1U &&
        !f.ordersMatch({{srcImageA, msg::kSrcAOrder}, {srcImageB, msg::kSrcBOrder}}, dstImage))
        return;
    Plan plan;
    if (!f.makePlan(plan, {{srcImageA, msg::kNChSrcA}, {srcImageB, msg::kNChSrcB}}, dstImage))
        return;
    MaskHold mask;
    if (!mask.combine(f, srcImageA->maskROI, srcImageB->maskROI, dstImage->maskROI)) return;

    const DyadicKernels& k = dyadicKernels();
    const ZolImage* const src[2] = {srcImageA, srcImageB};
    const ZolImage* m = mask.get();
    switch (dstImage->depth) {
        case ZOL_DEPTH_8U: return elementPass<uint8_t, op>(f, k, src, dstImage, m, plan);
        case ZOL_DEPTH_8S: return elementPass<int8_t, op>(f, k, src, dstImage, m, plan);
        case ZOL_DEPTH_16U: return elementPass<uint16_t, op>(f, k, src, dstImage, m, plan);
        case ZOL_DEPTH_16S: return elementPass<int16_t, op>(f, k, src, dstImage, m, plan);
        case ZOL_DEPTH_32S: return elementPass<int32_t, op>(f, k, src, dstImage, m, plan);
        case ZOL_DEPTH_32F: return elementPass<float, op>(f, k, src, dstImage, m, plan);
        default:
            // Only the difference gets here with 1-bit images; the sum and
            // the product went to zolOr and zolAnd.
            if constexpr (op == DyOp::Sub) bitDifference(f, k, src, dstImage, m, plan);
            return;
    }
}

}  // namespace

const DyadicKernels& dyadicKernels() { return tableForActiveForm(makeTable); }

Form dyadicForm() { return activeForm(); }

}  // namespace zol

using namespace zol;

extern "C" {

ZOL_API void zolAdd(ZolImage* srcImageA, ZolImage* srcImageB, ZolImage* dstImage) {
    if (!srcImageA) {
        Frame(msg::kAdd).fail(ZOL_STATUS_BAD_ARGUMENT, msg::kSrcANull);
        return;
    }
    // The saturated sum of two bits is their union.
    if (srcImageA->depth == ZOL_DEPTH_1U) return zolOr(srcImageA, srcImageB, dstImage);
    dyadic<DyOp::Add>(msg::kAdd, srcImageA, srcImageB, dstImage);
}

ZOL_API void zolSubtract(ZolImage* srcImageA, ZolImage* srcImageB, ZolImage* dstImage) {
    dyadic<DyOp::Sub>(msg::kSubtract, srcImageA, srcImageB, dstImage);
}

ZOL_API void zolMultiply(ZolImage* srcImageA, ZolImage* srcImageB, ZolImage* dstImage) {
    if (!srcImageA) {
        Frame(msg::kMultiply).fail(ZOL_STATUS_BAD_ARGUMENT, msg::kSrcANull);
        return;
    }
    // The product of two bits is their intersection.
    if (srcImageA->depth == ZOL_DEPTH_1U) return zolAnd(srcImageA, srcImageB, dstImage);
    dyadic<DyOp::Mul>(msg::kMultiply, srcImageA, srcImageB, dstImage);
}

}  // extern "C"
