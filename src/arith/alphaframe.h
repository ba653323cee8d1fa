// The frame shared by scaled multiplication and alpha compositing: the
// destination is checked first, every image's region cuts one common size,
// images are addressed through plane descriptors (so data orders may
// differ), masks are combined by zolAnd, and tiled images go through the
// tile group.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>

#include "core/messages.h"
#include "core/tilegroup.h"
#include "zol.h"

namespace zol {

// Where one channel of an image's region lies, in elements (bits for 1-bit
// images) from base. The steps come from the layout formulas, not from
// widthStep.
struct ownPlaneDescriptor {
    char* base;
    int32_t depth;
    int64_t offset;
    int64_t planeStep;
    int64_t rowStep;
    int64_t pixelStep;
};

// channel counted from 1; roi may be NULL (region at 0, 0).
void ownPlaneInit(const ZolImage* image, const ZolROI* roi, int channel, ownPlaneDescriptor* d);

// The top value of a depth, 255 or 65535, taken as 1.0.
template <class T>
constexpr uint32_t kTop = T(~T(0));

// The exact quotient x / M, truncated, for x up to M * M: two shifts and
// two additions.
inline uint32_t div255(uint32_t x) { return (x + (x >> 8) + 1) >> 8; }
inline uint32_t div65535(uint32_t x) { return (x + (x >> 16) + 1) >> 16; }
template <class T>
inline uint32_t divTop(uint32_t x) {
    return sizeof(T) == 1 ? div255(x) : div65535(x);
}

// Typed walking of one channel: the element at (x, y) of the region.
template <class T>
struct Plane {
    T* p = nullptr;        // the region's first element in this channel
    ptrdiff_t row = 0;     // elements from row to row
    ptrdiff_t px = 0;      // elements from pixel to pixel
    ptrdiff_t plane = 0;   // elements from channel to channel

    static Plane of(const ZolImage* image, int channel) {
        ownPlaneDescriptor d;
        ownPlaneInit(image, image->roi, channel, &d);
        Plane q;
        q.p = reinterpret_cast<T*>(d.base) + d.offset;
        q.row = ptrdiff_t(d.rowStep);
        q.px = ptrdiff_t(d.pixelStep);
        q.plane = ptrdiff_t(d.planeStep);
        return q;
    }
    T* at(int y, int k = 0) const { return p + ptrdiff_t(y) * row + ptrdiff_t(k) * plane; }
};

// A 1-bit mask walked from its region's corner.
struct MaskPlane {
    const uint8_t* base = nullptr;
    int64_t offset = 0, row = 0;

    static MaskPlane of(const ZolImage* mask);
    // Bits x0 .. x0 + n - 1 of row y as 0/1 bytes; returns how many are set.
    int bits(int y, int x0, int n, uint8_t* out) const;
};

// The front-end steps of the family. Reports carry func and the file and
// line of the calling site.
class AlphaFrame {
public:
    explicit AlphaFrame(const char* func, const char* file = __builtin_FILE())
        : func_(func), file_(file) {}
    ~AlphaFrame();
    AlphaFrame(const AlphaFrame&) = delete;
    AlphaFrame& operator=(const AlphaFrame&) = delete;

    const char* func() const { return func_; }
    int fail(int status, const char* context, int line = __builtin_LINE()) const {
        return zolError(status, func_, context, file_, line);
    }

    // NULL test (when t.null is given), header check, alpha channel other
    // than the last; the image's region then cuts the common size.
    bool check(const ZolImage* image, const msg::ImageTexts& t, int line = __builtin_LINE());
    // The image carries alpha and has one channel, or its coi selects the
    // alpha channel: the call ends without a report.
    static bool silentEnd(const ZolImage* image);
    // The four coi rules of a source against the destination.
    bool coiAgree(const ZolImage* src, const ZolImage* dst, const msg::ImageTexts& t,
                  int line = __builtin_LINE()) const;
    // Colour channel counts, when the destination has no coi.
    bool channelsAgree(const ZolImage* src, const ZolImage* dst, const msg::ImageTexts& t,
                       int line = __builtin_LINE()) const;
    // Gathers, in order, the masks of the images given (NULLs skipped) and
    // checks each; false after a report.
    bool gatherMasks(std::initializer_list<const ZolImage*> images, int line = __builtin_LINE());
    // The effective mask: the one mask, or the AND of all of them over the
    // common size. False when the call ends here (reported, or nothing to do).
    bool combineMasks(int line = __builtin_LINE());
    const ZolImage* mask() const { return mask_; }

    int width() const { return w_; }
    int height() const { return h_; }
    bool empty() const { return w_ <= 0 || h_ <= 0; }

    // Runs fn once on the images themselves, or window by window through a
    // tile group when any image of gridOrder is tiled; a failed walk is
    // reported in func's name.
    void run(const TileGroupImage* images, int nImages, const ZolImage* const* gridOrder,
             int nGrid, int capacity, WindowFn fn, void* context, int line = __builtin_LINE());

private:
    const char* func_;
    const char* file_;
    int w_ = 0x7FFFFFFF, h_ = 0x7FFFFFFF;
    const ZolImage* masks_[6] = {};
    int nMasks_ = 0;
    const ZolImage* mask_ = nullptr;
    ZolImage* made_ = nullptr;
};

}  // namespace zol
