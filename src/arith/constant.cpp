// Arithmetic with a constant and on single images: difference from and to
// a constant, sum, product, in integers and in single precision; square and
// absolute value.
#include "arith/constant.h"

#include "core/frame.h"

namespace zol {

namespace plain {

namespace {

// One block of at most kBlock elements from a private copy: the compiler
// then knows that source and destination don't overlap and vectorizes the
// loop, while s == d stays allowed.
constexpr size_t kBlock = 256;

template <CsOp op, class T>
inline void block(const T* s, T* d, size_t n, CsValue v) {
    if constexpr ((op == CsOp::Sub || op == CsOp::SubRev) && std::is_unsigned_v<T> &&
                  sizeof(T) < 4) {
        // Branch-free saturation: the excess over M becomes a mask by its
        // sign bit and is ORed in; a negative result is ANDed away. The
        // constant is first cut to where an element can still change, so
        // nothing overflows 32 bits.
        constexpr int32_t M = std::numeric_limits<T>::max();
        const int32_t c = op == CsOp::Sub ? clampInt(v.i, -M, M) : clampInt(v.i, 0, 2 * M);
        for (size_t k = 0; k < n; ++k) {
            int32_t r = op == CsOp::Sub ? int32_t(s[k]) - c : c - int32_t(s[k]);
            r &= ~(r >> 31);
            r |= (M - r) >> 31;
            d[k] = T(r);
        }
    } else if constexpr ((op == CsOp::Mul || op == CsOp::Sqr) && sizeof(T) < 4) {
        // 32 bits hold every product once the constant is cut to the
        // largest factor that still changes a result; 16U multiplies
        // unsigned and saturates on any bit above the low 16.
        using W = std::conditional_t<std::is_same_v<T, uint16_t>, uint32_t, int32_t>;
        constexpr int32_t lo = std::numeric_limits<T>::min(), hi = std::numeric_limits<T>::max();
        const W c = W(std::is_unsigned_v<T> ? clampInt(v.i, 0, hi) : clampInt(v.i, lo, -lo));
        for (size_t k = 0; k < n; ++k) {
            const W x = W(s[k]);
            const W p = x * (op == CsOp::Sqr ? x : c);
            if constexpr (std::is_same_v<T, uint16_t>) d[k] = p >> 16 ? T(0xFFFF) : T(p);
            else d[k] = T(p < lo ? lo : p > hi ? hi : p);
        }
    } else {
        for (size_t k = 0; k < n; ++k) d[k] = element<op>(s[k], v);
    }
}

// Full blocks have a count known to the compiler, which its cheapest
// vectorizing (that of -O2) asks for; the rest goes element by element.
template <CsOp op, class T>
void runOf(const T* s, T* d, size_t n, CsValue v) {
    T copy[kBlock];
    size_t i = 0;
    for (; i + kBlock <= n; i += kBlock) {
        std::memcpy(copy, s + i, sizeof copy);
        block<op>(copy, d + i, kBlock, v);
    }
    block<op>(s + i, d + i, n - i, v);
}

}  // namespace

ZOL_CONST_PLAIN_LIST(ZOL_CONST_DEFINE)

}  // namespace plain

namespace {

ConstKernels makeTable(Form form) {
    ConstKernels k{};
#define ZOL_CONST_SET(name, row, op, T) k.run[row][int(CsOp::op)] = plain::name;
    ZOL_CONST_PLAIN_LIST(ZOL_CONST_SET)
#undef ZOL_CONST_SET
    constantSimd(form, k);
    return k;
}

// ---------------------------------------------------------------------
// The frame of every operation but zolAbs

// Single elements for strided and masked shapes, contiguous runs through
// the dispatched kernel.
template <class T, CsOp op>
struct ConstOp : ElementOp<ConstOp<T, op>, T> {
    ConstOp(ConstRunFn f, CsValue v) : fn(f), value(v) {}
    ConstRunFn fn;
    CsValue value;
    T operator()(T a) const { return plain::element<op>(a, value); }
    void run(size_t n, T* d, const T* s) const { fn(s, d, n, value); }
};

// The whole-image test stands in the kernel, so that pieces of the band
// walk covering whole tiles take the flat loop too.
template <class T, CsOp op>
void elementPass(const Frame& f, CsValue v, ZolImage* src, ZolImage* dst, const ZolImage* mask,
                 const Plan& plan) {
    const ConstOp<T, op> e(constKernels().run[csDepthOf<T>()][int(op)], v);
    auto kernel = [&e](const auto& s, ZolImage* d, const ZolImage* m, const Plan& p) {
        if (!m && ownIsWholeImage(s[0], d, p.hasAlpha))
            e.fn(s[0]->imageData, d->imageData, size_t(s[0]->imageSize) / sizeof(T), e.value);
        else
            mapRegion(e, s, d, m, p);
    };
    const ZolImage* const images[1] = {src};
    f.run(kernel, images, dst, mask, plan);
}

// A 1-bit square is the bit itself: whole images word by word, regions
// at their bit offsets.
void bitCopyPass(const Frame& f, ZolImage* src, ZolImage* dst, const ZolImage* mask,
                 const Plan& plan) {
    auto kernel = [](const auto& s, ZolImage* d, const ZolImage* m, const Plan& p) {
        if (!m && ownIsWholeImage(s[0], d, p.hasAlpha)) {
            if (s[0]->imageData != d->imageData)
                std::memcpy(d->imageData, s[0]->imageData, size_t(s[0]->imageSize) / 4 * 4);
        } else {
            mapBitRegion([](unsigned a) { return a; }, s, d, m, p);
        }
    };
    const ZolImage* const images[1] = {src};
    f.run(kernel, images, dst, mask, plan);
}

// The steps of the frame from the header checks to the mask. False when
// the call ends there (reported, or silently for an empty mask region).
bool prepare(const Frame& f, ZolImage* src, ZolImage* dst, Plan& plan, MaskHold& mask,
             bool anyOrderForBits = false) {
    if (!f.headersOk({src, dst})) return false;
    if (!f.depthsMatch({{src, msg::kSrcDepth}}, dst)) return false;
    if (!(anyOrderForBits && dst->depth == ZOL_DEPTH_1U) &&
        !f.ordersMatch({{src, msg::kSrcOrder}}, dst))
        return false;
    if (!f.makePlan(plan, {{src, msg::kNChSrc}}, dst)) return false;
    return mask.combine(f, src->maskROI, dst->maskROI);
}

// The integer depths with the constant as the front end left it.
template <CsOp op>
void integerPass(const Frame& f, int32_t value, ZolImage* src, ZolImage* dst,
                 const ZolImage* mask, const Plan& plan) {
    const CsValue v{value, 0.0f};
    switch (dst->depth) {
        case ZOL_DEPTH_8U: return elementPass<uint8_t, op>(f, v, src, dst, mask, plan);
        case ZOL_DEPTH_8S: return elementPass<int8_t, op>(f, v, src, dst, mask, plan);
        case ZOL_DEPTH_16U: return elementPass<uint16_t, op>(f, v, src, dst, mask, plan);
        case ZOL_DEPTH_16S: return elementPass<int16_t, op>(f, v, src, dst, mask, plan);
        default: return elementPass<int32_t, op>(f, v, src, dst, mask, plan);
    }
}

// Every element of the signed narrow depths saturates alike beyond these
// bounds, so cutting the constant changes no result; it keeps the packed
// kernels' lanes wide enough.
int32_t boundSigned(int depth, int32_t value, int32_t lo8, int32_t hi8, int32_t lo16,
                    int32_t hi16) {
    if (depth == ZOL_DEPTH_8S) return plain::clampInt(value, lo8, hi8);
    if (depth == ZOL_DEPTH_16S) return plain::clampInt(value, lo16, hi16);
    return value;
}

void subtractS(ZolImage* srcImage, ZolImage* dstImage, int value, int flip) {
    const Frame f(msg::kSubtractS);
    if (!srcImage) {
        f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kSrcNull);
        return;
    }
    const int depth = srcImage->depth;
    if (depth == ZOL_DEPTH_32F) {
        f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kUseSubtractSFP);
        return;
    }
    // The saturated difference of bits: a - 0 and 1 - a are logic, the
    // rest is 0.
    if (depth == ZOL_DEPTH_1U) {
        const uint32_t v = uint32_t(value) & 1;
        if ((!flip && v == 0) || (flip && v == 1)) return zolXorS(srcImage, dstImage, v);
        return zolAndS(srcImage, dstImage, 0);
    }
    // Unsigned constants that can only saturate: all ones or all zeros.
    if (depth == ZOL_DEPTH_8U || depth == ZOL_DEPTH_16U) {
        const int m = depth == ZOL_DEPTH_8U ? 255 : 65535;
        if (!flip) {
            if (value <= -m) return zolOrS(srcImage, dstImage, 0xFFFFFFFFu);
            if (value >= m) return zolAndS(srcImage, dstImage, 0);
        } else {
            if (value <= 0) return zolAndS(srcImage, dstImage, 0);
            if (value >= 2 * m) return zolOrS(srcImage, dstImage, 0xFFFFFFFFu);
        }
    }
    Plan plan;
    MaskHold mask;
    if (!prepare(f, srcImage, dstImage, plan, mask)) return;
    if (!flip) {
        value = boundSigned(depth, value, -255, 255, -65535, 65535);
        integerPass<CsOp::Sub>(f, value, srcImage, dstImage, mask.get(), plan);
    } else {
        value = boundSigned(depth, value, -256, 254, -65536, 65534);
        integerPass<CsOp::SubRev>(f, value, srcImage, dstImage, mask.get(), plan);
    }
}

void addS(ZolImage* srcImage, ZolImage* dstImage, int value) {
    const Frame f(msg::kAddS);
    if (!srcImage) {
        f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kSrcNull);
        return;
    }
    const int depth = srcImage->depth;
    if (depth == ZOL_DEPTH_1U) return zolOrS(srcImage, dstImage, uint32_t(value));
    // The narrow depths add as a difference; a constant below -65535
    // saturates every element anyway, and its negation could overflow.
    if (depth == ZOL_DEPTH_8U || depth == ZOL_DEPTH_8S || depth == ZOL_DEPTH_16U ||
        depth == ZOL_DEPTH_16S)
        return subtractS(srcImage, dstImage, value < -65535 ? 65535 : -value, 0);
    if (depth == ZOL_DEPTH_32F) {
        f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kUseAddSFP);
        return;
    }
    Plan plan;
    MaskHold mask;
    if (!prepare(f, srcImage, dstImage, plan, mask)) return;
    elementPass<int32_t, CsOp::Add>(f, CsValue{value, 0.0f}, srcImage, dstImage, mask.get(),
                                    plan);
}

void multiplyS(ZolImage* srcImage, ZolImage* dstImage, int value) {
    const Frame f(msg::kMultiplyS);
    if (!srcImage) {
        f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kSrcNull);
        return;
    }
    const int depth = srcImage->depth;
    if (depth == ZOL_DEPTH_32F) {
        f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kUseMultiplySFP);
        return;
    }
    if (depth == ZOL_DEPTH_1U) return zolAndS(srcImage, dstImage, uint32_t(value));
    if (depth == ZOL_DEPTH_8U || depth == ZOL_DEPTH_16U) {
        const int m = depth == ZOL_DEPTH_8U ? 255 : 65535;
        if (value <= 0) return zolAndS(srcImage, dstImage, 0);
        if (value > m) value = m;
    }
    Plan plan;
    MaskHold mask;
    if (!prepare(f, srcImage, dstImage, plan, mask)) return;
    value = boundSigned(depth, value, -128, 128, -32768, 32768);
    integerPass<CsOp::Mul>(f, value, srcImage, dstImage, mask.get(), plan);
}

template <CsOp op>
void floatForm(const char* func, const char* useInteger, ZolImage* srcImage, ZolImage* dstImage,
               float value) {
    const Frame f(func);
    if (!srcImage) {
        f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kSrcNull);
        return;
    }
    if (srcImage->depth != ZOL_DEPTH_32F) {
        f.fail(ZOL_STATUS_BAD_ARGUMENT, useInteger);
        return;
    }
    Plan plan;
    MaskHold mask;
    if (!prepare(f, srcImage, dstImage, plan, mask)) return;
    elementPass<float, op>(f, CsValue{0, value}, srcImage, dstImage, mask.get(), plan);
}

void square(ZolImage* srcImage, ZolImage* dstImage) {
    const Frame f(msg::kSquare);
    Plan plan;
    MaskHold mask;
    if (!prepare(f, srcImage, dstImage, plan, mask, true)) return;
    const ZolImage* m = mask.get();
    const CsValue none{0, 0.0f};
    switch (dstImage->depth) {
        case ZOL_DEPTH_1U: return bitCopyPass(f, srcImage, dstImage, m, plan);
        case ZOL_DEPTH_32F:
            return elementPass<float, CsOp::Sqr>(f, none, srcImage, dstImage, m, plan);
        default: return integerPass<CsOp::Sqr>(f, 0, srcImage, dstImage, m, plan);
    }
}

// ---------------------------------------------------------------------
// zolAbs: a frame of its own

// A coi counts only on an image of more than one channel.
bool coiCounts(const ZolImage* image) {
    return image->roi && image->roi->coi > 0 && image->nChannels != 1;
}

// The mask of a zolAbs call: none, the one given, or a new image of the
// AND of both, released on every way out.
class AbsMask {
public:
    AbsMask() = default;
    AbsMask(const AbsMask&) = delete;
    AbsMask& operator=(const AbsMask&) = delete;
    ~AbsMask() {
        if (made_) zolDeallocate(made_, ZOL_FREE_HEADER | ZOL_FREE_DATA);
    }

    // False when the call ends: an empty region (silently) or no memory.
    bool combine(const Frame& f, const ZolImage* a, const ZolImage* b) {
        if (!a || !b) {
            mask_ = a ? a : b;
            return true;
        }
        int wa, ha, xa, wb, hb, xb;
        const auto* ra = reinterpret_cast<const uint8_t*>(ownRoiData(a, &wa, &ha, 0, &xa));
        const auto* rb = reinterpret_cast<const uint8_t*>(ownRoiData(b, &wb, &hb, 0, &xb));
        const int w = wa < wb ? wa : wb, h = ha < hb ? ha : hb;
        if (w == 0 || h == 0) return false;
        static const char kGray[4] = {'G', 'R', 'A', 'Y'};
        made_ = zolCreateImageHeader(1, 0, ZOL_DEPTH_1U, kGray, kGray, ZOL_DATA_ORDER_PIXEL,
                                     ZOL_ORIGIN_TL, ZOL_ALIGN_DWORD, w, h, nullptr, nullptr,
                                     nullptr, nullptr);
        if (made_) zolAllocateImage(made_, 1, 0);
        if (!made_ || !made_->imageData) {
            zolDeallocate(made_, ZOL_FREE_HEADER);
            made_ = nullptr;
            f.fail(ZOL_STATUS_NO_MEMORY, msg::kOutOfMemory);
            return false;
        }
        auto* out = reinterpret_cast<uint8_t*>(made_->imageData);
        for (int y = 0; y < h; ++y) {
            uint8_t* row = out + ptrdiff_t(y) * made_->widthStep;
            const uint8_t* rowA = ra + ptrdiff_t(y) * a->widthStep;
            const uint8_t* rowB = rb + ptrdiff_t(y) * b->widthStep;
            for (int x = 0; x < w; ++x)
                if (bitAt(rowA, xa + x) && bitAt(rowB, xb + x)) setBitAt(row, x, 1);
        }
        mask_ = made_;
        return true;
    }
    const ZolImage* get() const { return mask_; }

private:
    const ZolImage* mask_ = nullptr;
    ZolImage* made_ = nullptr;
};

// Bytes from the start of a region's channel 0 to its channel c.
ptrdiff_t channelOffset(const ZolImage* image, int c) {
    if (image->dataOrder == ZOL_DATA_ORDER_PIXEL) return ptrdiff_t(c) * elemSize(image->depth);
    return ptrdiff_t(c) * image->height * image->widthStep;
}

// The kernel works out its channels from the images alone and runs once
// per channel; there is no whole-image path. Runs of a row that hold
// every channel in both images go through the dispatched kernel at once.
template <class T>
void absKernel(ConstRunFn fn, const ZolImage* src, ZolImage* dst, const ZolImage* mask) {
    const bool coiS = coiCounts(src), coiD = coiCounts(dst);
    int n = src->nChannels < dst->nChannels ? src->nChannels : dst->nChannels;
    if (src->alphaChannel && dst->alphaChannel) n = src->nChannels - 1;
    if (coiS) n = 1;
    const ZolImage* const img[2] = {src, dst};
    const Plan plan{{0, 0, 0}, n, !coiS, false};
    Region<2> r;
    if (!prepareRegion(r, img, plan, mask)) return;
    const bool pixel = dst->dataOrder == ZOL_DATA_ORDER_PIXEL;
    const ptrdiff_t ps = pixel ? src->nChannels : 1, pd = pixel ? dst->nChannels : 1;
    const CsValue none{0, 0.0f};
    if (!mask && !coiS && (!pixel || (ps == n && pd == n))) {
        const int planes = pixel ? 1 : n;
        const size_t run = size_t(r.w) * size_t(pixel ? n : 1);
        for (int c = 0; c < planes; ++c) {
            const char* s = r.row[0] + channelOffset(src, c);
            char* d = r.row[1] + channelOffset(dst, c);
            for (int y = 0; y < r.h; ++y, s += r.step[0], d += r.step[1]) fn(s, d, run, none);
        }
        return;
    }
    for (int c = 0; c < n; ++c) {
        const char* s = r.row[0] + channelOffset(src, coiS ? src->roi->coi - 1 : c);
        char* d = r.row[1] + channelOffset(dst, coiD ? dst->roi->coi - 1 : c);
        const uint8_t* m = r.maskRow;
        for (int y = 0; y < r.h; ++y, s += r.step[0], d += r.step[1], m += r.maskStep) {
            const T* a = reinterpret_cast<const T*>(s);
            T* b = reinterpret_cast<T*>(d);
            for (int x = 0; x < r.w; ++x)
                if (!mask || bitAt(m, r.maskBit + x))
                    b[x * pd] = plain::element<CsOp::Abs>(a[x * ps], none);
        }
    }
}

// 1-bit images: rows copied; under a mask each bit alone, written only
// where it differs.
void absBits(const ZolImage* src, ZolImage* dst, const ZolImage* mask) {
    const ZolImage* const img[2] = {src, dst};
    const Plan plan{{0, 0, 0}, 1, true, false};
    Region<2> r;
    if (!prepareRegion(r, img, plan, mask)) return;
    for (int y = 0; y < r.h; ++y) {
        const auto* s = reinterpret_cast<const uint8_t*>(r.row[0]);
        auto* d = reinterpret_cast<uint8_t*>(r.row[1]);
        if (!mask) {
            ownCopyBitRow(s, d, int(r.bit[0]), int(r.bit[1]), r.w);
        } else {
            for (int x = 0; x < r.w; ++x) {
                const int v = bitAt(s, r.bit[0] + x);
                if (bitAt(r.maskRow, r.maskBit + x) && bitAt(d, r.bit[1] + x) != v)
                    setBitAt(d, r.bit[1] + x, v);
            }
        }
        r.nextRow();
    }
}

void absolute(ZolImage* srcImage, ZolImage* dstImage) {
    const Frame f(msg::kAbs);
    if (!f.headersOk({srcImage, dstImage})) return;
    if (!f.depthsMatch({{srcImage, msg::kSrcDepth}}, dstImage)) return;
    if (!f.ordersMatch({{srcImage, msg::kSrcOrder}}, dstImage)) return;
    const bool alphaS = srcImage->alphaChannel != 0, alphaD = dstImage->alphaChannel != 0;
    if (alphaS == alphaD && srcImage->nChannels != dstImage->nChannels) {
        f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kNChSrc);
        return;
    }
    const bool coiS = coiCounts(srcImage), coiD = coiCounts(dstImage);
    if (coiS != coiD) {
        f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kNChCoi);
        return;
    }
    if (!coiS && srcImage->nChannels == dstImage->nChannels && alphaS != alphaD) {
        f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kAlphaCh);
        return;
    }
    AbsMask mask;
    if (!mask.combine(f, srcImage->maskROI, dstImage->maskROI)) return;
    if (dstImage->depth == ZOL_DEPTH_32F) {
        f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kNo32F);
        return;
    }
    const ConstKernels& k = constKernels();
    ConstRunFn fn = nullptr;
    switch (dstImage->depth) {
        case ZOL_DEPTH_8U: fn = k.run[kCs8U][int(CsOp::Abs)]; break;
        case ZOL_DEPTH_8S: fn = k.run[kCs8S][int(CsOp::Abs)]; break;
        case ZOL_DEPTH_16U: fn = k.run[kCs16U][int(CsOp::Abs)]; break;
        case ZOL_DEPTH_16S: fn = k.run[kCs16S][int(CsOp::Abs)]; break;
        case ZOL_DEPTH_32S: fn = k.run[kCs32S][int(CsOp::Abs)]; break;
        default: break;
    }
    auto kernel = [fn](const auto& s, ZolImage* d, const ZolImage* m, const Plan&) {
        switch (d->depth) {
            case ZOL_DEPTH_1U: return absBits(s[0], d, m);
            case ZOL_DEPTH_8U: return absKernel<uint8_t>(fn, s[0], d, m);
            case ZOL_DEPTH_8S: return absKernel<int8_t>(fn, s[0], d, m);
            case ZOL_DEPTH_16U: return absKernel<uint16_t>(fn, s[0], d, m);
            case ZOL_DEPTH_16S: return absKernel<int16_t>(fn, s[0], d, m);
            default: return absKernel<int32_t>(fn, s[0], d, m);
        }
    };
    // The stricter walk: no in-place sharing, and released tiles must be
    // cleared by the callback. The plan is unused: the kernel reads the
    // channels from the views.
    WalkOptions strict;
    strict.inPlace = false;
    strict.requireCleared = true;
    const Plan plan{{0, 0, 0}, 0, true, false};
    const ZolImage* const images[1] = {srcImage};
    f.run(kernel, images, dstImage, mask.get(), plan, strict);
}

}  // namespace

const ConstKernels& constKernels() { return tableForActiveForm(makeTable); }

Form constForm() { return activeForm(); }

}  // namespace zol

using namespace zol;

extern "C" {

ZOL_API void zolAddS(ZolImage* srcImage, ZolImage* dstImage, int value) {
    addS(srcImage, dstImage, value);
}

ZOL_API void zolSubtractS(ZolImage* srcImage, ZolImage* dstImage, int value, int flip) {
    subtractS(srcImage, dstImage, value, flip);
}

ZOL_API void zolMultiplyS(ZolImage* srcImage, ZolImage* dstImage, int value) {
    multiplyS(srcImage, dstImage, value);
}

ZOL_API void zolAddSFP(ZolImage* srcImage, ZolImage* dstImage, float value) {
    floatForm<CsOp::Add>(msg::kAddSFP, msg::kUseAddS, srcImage, dstImage, value);
}

ZOL_API void zolSubtractSFP(ZolImage* srcImage, ZolImage* dstImage, float value, int flip) {
    if (flip)
        floatForm<CsOp::SubRev>(msg::kSubtractSFP, msg::kUseSubtractS, srcImage, dstImage, value);
    else
        floatForm<CsOp::Sub>(msg::kSubtractSFP, msg::kUseSubtractS, srcImage, dstImage, value);
}

ZOL_API void zolMultiplySFP(ZolImage* srcImage, ZolImage* dstImage, float value) {
    floatForm<CsOp::Mul>(msg::kMultiplySFP, msg::kUseMultiplyS, srcImage, dstImage, value);
}

ZOL_API void zolSquare(ZolImage* srcImage, ZolImage* dstImage) { square(srcImage, dstImage); }

ZOL_API void zolAbs(ZolImage* srcImage, ZolImage* dstImage) { absolute(srcImage, dstImage); }

}  // extern "C"
