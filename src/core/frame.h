// The call frame of the element-wise operations, as reusable steps:
//
//   Frame f(msg::kXorS);
//   if (!f.headersOk({src, dst})) return;
//   if (!f.depthsMatch({{src, msg::kSrcDepth}}, dst)) return;
//   ...
//   Plan plan;
//   if (!f.makePlan(plan, {{src, msg::kNChSrc}}, dst)) return;
//   MaskHold mask;
//   if (!mask.combine(f, src->maskROI, dst->maskROI)) return;
//   ... choose the kernel by depth, then f.run(kernel, {src}, dst, mask.get(), plan)
//
// Each step reports with the front end's own name and file and the line it
// was called from. Kernels see only prepared images and the plan; the
// region walkers below own every loop over rows, planes and pixels.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <type_traits>
#include <utility>

#include "core/image.h"
#include "core/messages.h"
#include "core/rect.h"
#include "core/report.h"
#include "core/tiles.h"

namespace zol {

constexpr int kMaxFrameImages = 3;

// The channel plan of one call: which channels take part, decided once by
// the front end and obeyed by every kernel.
struct Plan {
    int first[kMaxFrameImages];  // first channel per image: sources in order, then dst
    int nCh;                     // channels per pixel that take part
    bool noCoi;                  // no image selects a single channel
    bool hasAlpha;               // some image carries an alpha channel
};

// An image with the context reported when it disagrees with the destination.
struct Named {
    const ZolImage* image;
    const char* context;
};

class Frame {
public:
    explicit Frame(const char* func, const char* file = __builtin_FILE())
        : func_(func), file_(file) {}

    const char* func() const { return func_; }

    int fail(int status, const char* context, int line = __builtin_LINE()) const {
        return zolError(status, func_, context, file_, line);
    }

    // Header check of each image in argument order; "Incorrect Image".
    bool headersOk(std::initializer_list<const ZolImage*> images,
                   int line = __builtin_LINE()) const;
    bool depthsMatch(std::initializer_list<Named> sources, const ZolImage* dst,
                     int line = __builtin_LINE()) const;
    bool ordersMatch(std::initializer_list<Named> sources, const ZolImage* dst,
                     int line = __builtin_LINE()) const;
    // Channel counts of the sources against the destination's.
    bool makePlan(Plan& plan, std::initializer_list<Named> sources, const ZolImage* dst,
                  int line = __builtin_LINE()) const;

    // Runs the kernel once on the images, or piece by piece over their
    // tiles. False when a tile did not come (reported).
    template <size_t NS, class Kernel>
    bool run(Kernel&& kernel, const ZolImage* const (&src)[NS], ZolImage* dst,
             const ZolImage* mask, const Plan& plan, const WalkOptions& options = WalkOptions(),
             int line = __builtin_LINE()) const {
        static_assert(NS >= 1 && NS < kMaxFrameImages, "one or two sources");
        bool tiled = dst->tileInfo != nullptr;
        for (const ZolImage* s : src) tiled = tiled || s->tileInfo != nullptr;
        if (!tiled) {
            kernel(src, dst, mask, plan);
            return true;
        }
        using K = std::remove_reference_t<Kernel>;
        auto piece = [](void* k, const ZolImage* const* views, ZolImage* d, const ZolImage* m,
                        const Plan& p) {
            const ZolImage* v[NS];
            for (size_t i = 0; i < NS; ++i) v[i] = views[i];
            (*static_cast<K*>(k))(v, d, m, p);
        };
        return ownBandWalk(*this, int(NS), src, dst, mask, plan, piece,
                           const_cast<void*>(static_cast<const void*>(&kernel)), options, line);
    }

private:
    const char* func_;
    const char* file_;
};

// The combined mask of a call, released on every way out.
class MaskHold {
public:
    MaskHold() = default;
    MaskHold(const MaskHold&) = delete;
    MaskHold& operator=(const MaskHold&) = delete;
    ~MaskHold();

    // False when the operation ends here: nothing is selected (silently) or
    // the mask could not be made (reported).
    bool combine(const Frame& f, const ZolImage* a, const ZolImage* b,
                 const ZolImage* c = nullptr, int line = __builtin_LINE());
    const ZolImage* get() const { return mask_; }

private:
    const ZolImage* mask_ = nullptr;
    ZolImage* made_ = nullptr;
};

// ---------------------------------------------------------------------
// Region walkers

// Where each image's region starts and how a walk moves through it; the
// destination is the last image.
template <size_t N>
struct Region {
    char* row[N];
    ptrdiff_t step[N];       // bytes from row to row
    ptrdiff_t planeSkip[N];  // bytes from the end of a plane's rows to the next plane's
    ptrdiff_t pix[N];        // elements from pixel to pixel in PIXEL order
    int64_t bit[N];          // left offset of 1-bit regions
    const uint8_t* maskRow = nullptr;
    ptrdiff_t maskStep = 0;
    int64_t maskBit = 0;
    int w = 0, h = 0;

    void nextRow() {
        for (size_t k = 0; k < N; ++k) row[k] += step[k];
        maskRow += maskStep;
    }
};

// Fills the region of the images (sources, then dst) and of the mask; false
// when the common rectangle is empty.
template <size_t N>
bool prepareRegion(Region<N>& r, const ZolImage* const (&img)[N], const Plan& plan,
                   const ZolImage* mask) {
    int w = 0x7FFFFFFF, h = 0x7FFFFFFF;
    for (size_t k = 0; k < N; ++k) {
        int iw, ih, x;
        r.row[k] = ownRoiData(img[k], &iw, &ih, plan.first[k], &x);
        r.step[k] = img[k]->widthStep;
        r.bit[k] = x;
        r.pix[k] = img[k]->dataOrder == ZOL_DATA_ORDER_PIXEL ? img[k]->nChannels : 1;
        w = iw < w ? iw : w;
        h = ih < h ? ih : h;
    }
    if (mask) {
        int mw, mh, mx;
        r.maskRow = reinterpret_cast<const uint8_t*>(ownRoiData(mask, &mw, &mh, 0, &mx));
        r.maskStep = mask->widthStep;
        r.maskBit = mx;
        w = mw < w ? mw : w;
        h = mh < h ? mh : h;
    }
    r.w = w;
    r.h = h;
    for (size_t k = 0; k < N; ++k) r.planeSkip[k] = ptrdiff_t(img[k]->height - h) * r.step[k];
    return w > 0 && h > 0;
}

// Base of element operations: Derived supplies T operator()(T...) and may
// replace run() by a faster form over contiguous elements.
template <class Derived, class Sample>
struct ElementOp {
    using T = Sample;
    template <class... S>
    void run(size_t n, T* d, const S*... s) const {
        const Derived& self = static_cast<const Derived&>(*this);
        for (size_t i = 0; i < n; ++i) d[i] = self(s[i]...);
    }
};

namespace detail {

template <class Op, size_t N, size_t... I>
inline void runRow(const Op& op, char* const* row, size_t n, std::index_sequence<I...>) {
    using T = typename Op::T;
    op.run(n, reinterpret_cast<T*>(row[N - 1]), reinterpret_cast<const T*>(row[I])...);
}

// A row of pixels, g elements each, every image stepped by its own pixel
// stride; with a mask, only pixels whose bit is set. Empty and full bytes of
// the mask are passed whole. Pointers and the operation are held in locals:
// stores of 8-bit elements may alias anything, and would force reloads.
template <bool Masked, class Op, size_t N, size_t... I>
inline void pixelRow(const Op& op, const Region<N>& r, int g, std::index_sequence<I...>) {
    using T = typename Op::T;
    const Op o = op;
    T* const d = reinterpret_cast<T*>(r.row[N - 1]);
    const ptrdiff_t dp = r.pix[N - 1];
    const T* const src[N] = {reinterpret_cast<const T*>(r.row[I])...};
    const ptrdiff_t sp[N] = {r.pix[I]...};
    const int w = r.w;
    auto at = [&](int x) {
        for (int c = 0; c < g; ++c) d[x * dp + c] = o(src[I][x * sp[I] + c]...);
    };
    if (!Masked) {
        for (int x = 0; x < w; ++x) at(x);
        return;
    }
    // Runs of set mask bits; where every image holds its pixels' elements
    // side by side, a long run goes through the operation's row kernel.
    const uint8_t* const mrow = r.maskRow;
    const int64_t mbit = r.maskBit;
    bool packed = dp == g;
    for (size_t k = 0; k + 1 < N; ++k) packed = packed && sp[k] == g;
    auto runOf = [&](int x, unsigned bit) {  // end of the run of equal bits from x
        while (x < w) {
            const int64_t b = mbit + x;
            const unsigned byte = mrow[b >> 3];
            const unsigned v = (((bit ? byte : ~byte) & 0xFFu) << (b & 7)) & 0xFFu;
            const int avail = 8 - int(b & 7);
            const int ones = __builtin_clz(~(v << 24));  // leading set bits, at most 8
            if (ones < avail) return x + ones < w ? x + ones : w;
            x += avail;
        }
        return w;
    };
    int x = 0;
    while (x < w) {
        const int start = runOf(x, 0);
        x = runOf(start, 1);
        if (packed && x - start >= 16) {
            o.run(size_t(x - start) * size_t(g), d + start * dp, (src[I] + start * sp[I])...);
        } else {
            for (int k = start; k < x; ++k) at(k);
        }
    }
}

template <class F, size_t N, size_t... I>
inline unsigned bitsAt(F& f, const Region<N>& r, int x, std::index_sequence<I...>) {
    return unsigned(f(unsigned(bitAt(reinterpret_cast<const uint8_t*>(r.row[I]), r.bit[I] + x))...));
}

template <class F, size_t N, size_t... I>
inline void bitRow(F& f, const Region<N>& r, std::index_sequence<I...>) {
    mapBitRow(reinterpret_cast<uint8_t*>(r.row[N - 1]), r.bit[N - 1], r.w, f,
              BitSrc{reinterpret_cast<const uint8_t*>(r.row[I]), r.bit[I]}...);
}

}  // namespace detail

// Element-wise kernel over the common region: dst = op(sources...) for
// every element that the plan and the mask select. Rows of contiguous
// elements go through op.run; everything else element by element.
template <class Op, size_t NS>
void mapRegion(const Op& op, const ZolImage* const (&src)[NS], ZolImage* dst,
               const ZolImage* mask, const Plan& plan) {
    constexpr size_t N = NS + 1;
    const ZolImage* img[N];
    for (size_t k = 0; k < NS; ++k) img[k] = src[k];
    img[NS] = dst;
    Region<N> r;
    if (!prepareRegion(r, img, plan, mask)) return;
    const auto seq = std::make_index_sequence<NS>{};
    const bool plane = dst->dataOrder == ZOL_DATA_ORDER_PLANE;
    const int planes = plane ? plan.nCh : 1;

    enum class Shape { Run, Pixels } shape = Shape::Run;
    size_t runLength = size_t(r.w);
    int group = 1;
    if (mask) {
        shape = Shape::Pixels;
        if (plane) {
            for (size_t k = 0; k < N; ++k) r.pix[k] = 1;
        } else if (plan.nCh >= 2 || plan.hasAlpha) {
            group = plan.nCh;
        }
    } else if (!plane) {
        if (!plan.noCoi) shape = Shape::Pixels;
        else if (plan.hasAlpha) shape = Shape::Pixels, group = plan.nCh;
        else runLength = size_t(r.w) * size_t(plan.nCh);
    }

    for (int p = 0; p < planes; ++p) {
        for (int y = 0; y < r.h; ++y) {
            if (shape == Shape::Run) detail::runRow<Op, N>(op, r.row, runLength, seq);
            else if (mask) detail::pixelRow<true>(op, r, group, seq);
            else detail::pixelRow<false>(op, r, group, seq);
            r.nextRow();
        }
        for (size_t k = 0; k < N; ++k) r.row[k] += r.planeSkip[k];
        r.maskRow -= r.maskStep * r.h;  // each plane runs through the mask anew
    }
}

// The same for 1-bit images: f works on eight bits at once and must treat
// each bit alone (logic of the bits). Without a mask rows go by bytes; with
// one, bit by bit.
template <class F, size_t NS>
void mapBitRegion(F f, const ZolImage* const (&src)[NS], ZolImage* dst, const ZolImage* mask,
                  const Plan& plan) {
    constexpr size_t N = NS + 1;
    const ZolImage* img[N];
    for (size_t k = 0; k < NS; ++k) img[k] = src[k];
    img[NS] = dst;
    Region<N> r;
    if (!prepareRegion(r, img, plan, mask)) return;
    const auto seq = std::make_index_sequence<NS>{};
    for (int y = 0; y < r.h; ++y) {
        if (mask) {
            auto* d = reinterpret_cast<uint8_t*>(r.row[N - 1]);
            for (int x = 0; x < r.w; ++x)
                if (bitAt(r.maskRow, r.maskBit + x))
                    setBitAt(d, r.bit[N - 1] + x, int(detail::bitsAt(f, r, x, seq) & 1));
        } else {
            detail::bitRow(f, r, seq);
        }
        r.nextRow();
    }
}

}  // namespace zol
