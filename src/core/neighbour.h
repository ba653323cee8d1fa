// The shared machinery of the neighbourhood operations (convolution, and
// the rank, morphology, blur and geometry families after it): an output
// pixel depends on a window of source pixels around it, read beyond the
// source's edges by its border rules.
//
// A family describes its call (regions, mask, reach) in an NbCall and hands
// ownNeighbourWalk a driver. The walk cuts the region into pieces and calls
// the driver once per piece with a plain source window and the destination
// at the piece's corner:
//  - plain images, not the same: the interior reads the source rows
//    straight from the image; only the edge strips, where the window
//    crosses an edge, come from blocks fetched through the border rules;
//  - the source tiled, or the same image as the destination: the whole
//    region with its margin is fetched into one block first, which is also
//    what makes in-place use safe;
//  - the destination tiled: the pieces follow its tiles, each written
//    between a WRITE request and a RELEASE.
// Inside a piece the driver reads source rows through NbRows (straight
// pointers, or a ring of gathered rows for one channel of interleaved
// pixels and for 1-bit pixels) and writes each computed row with
// nbStoreRow, which applies the mask, the channel choice and bit packing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "core/rect.h"
#include "zol.h"

namespace zol {

// Output pixel (x, y) reads columns x - left .. x + right - 1 and rows
// y - top .. y + bottom - 1 (right and bottom at least 1).
struct Reach {
    int left, top, right, bottom;
};

// A window of samples in an image's own layout.
struct NbPlane {
    const char* data;     // the corner pixel's first element (1U: its row)
    ptrdiff_t step;       // bytes from row to row
    ptrdiff_t planeStep;  // bytes from plane to plane in plane order
    int64_t bit;          // 1U: the corner pixel's bit in its row
};

struct NbOut {
    char* data;
    ptrdiff_t step, planeStep;
    int64_t bit;
};

// One piece of the region: w x h output pixels.
struct NbPiece {
    NbPlane src;            // at (x0 - left, y0 - top) for the first output pixel (x0, y0)
    NbOut dst;              // at the first output pixel
    const uint8_t* mask;    // the mask row of the piece's first row, or NULL
    ptrdiff_t maskStep;
    int64_t maskBit;        // the first output pixel's bit in it
    int w, h;
};

// Called once per piece; false ends the walk (the driver ran out of memory).
using NbDriver = bool (*)(void* context, const NbPiece& piece);

struct NbCall {
    const ZolImage* src;         // as the application passed it: tile callbacks get it
    const int32_t* borderConst;  // the four side constants to read with
    int sx, sy;                  // the source region's corner
    ZolImage* dst;
    int dx, dy;                  // the destination region's corner
    const ZolImage* mask;        // 1-bit, placed by its own region's corner; or NULL
    int w, h;                    // the common region's size, above 0
    Reach reach;
    // Fetch the region with its margin into one block first even for plain
    // images: a driver whose running sums must start at the region's top
    // row (float sums round along the way) then sees the region whole, or
    // cut only by the destination's tiles.
    bool wholeBlock = false;
};

enum NbStatus { kNbOk = 0, kNbNoMemory = 1, kNbNoTile = 2, kNbDriverFailed = 3 };

// Runs driver over the region; returns an NbStatus. Pieces done before a
// failure stay written.
int ownNeighbourWalk(const NbCall& call, NbDriver driver, void* context);

// ---------------------------------------------------------------------
// Inside a piece

// How a lane of samples lies in the window: all channels of interleaved
// pixels side by side, one plane, one channel of interleaved pixels, or
// 1-bit pixels.
enum class NbLane { Flat, Plane, Channel, Bits };

// Scratch from zolMalloc for one call, released by the destructor.
class NbScratch {
public:
    NbScratch() = default;
    NbScratch(const NbScratch&) = delete;
    NbScratch& operator=(const NbScratch&) = delete;
    ~NbScratch() { zolFree(p_); }
    // n elements of T, 32-byte aligned, 64 spare bytes behind; NULL on failure.
    template <class T>
    T* get(int64_t n) {
        zolFree(p_);
        p_ = nullptr;
        const int64_t bytes = n * int64_t(sizeof(T)) + 64;
        if (n >= 0 && bytes <= 0x7FFFFFFF) p_ = zolMalloc(int(bytes));
        return static_cast<T*>(p_);
    }

private:
    void* p_ = nullptr;
};

// Window rows of one lane as contiguous samples of type T: straight
// pointers where the lane is contiguous in memory, else a ring of `rows`
// gathered rows (1-bit pixels become T 0 or 1), each window row gathered
// once as the rows move down.
template <class T>
class NbRows {
public:
    // count: samples of a row; channel: the plane or channel of the lane;
    // pix: elements per pixel in the window (nChannels of interleaved data).
    bool init(const NbPlane& w, NbLane lane, int channel, int pix, int64_t count, int rows) {
        w_ = w;
        lane_ = lane;
        pix_ = pix;
        count_ = count;
        rows_ = rows;
        if (lane == NbLane::Plane) w_.data += channel * w.planeStep;
        if (lane == NbLane::Channel) w_.data += channel * int64_t(sizeof(T));
        if (lane == NbLane::Flat || lane == NbLane::Plane) return true;
        ring_ = mem_.get<T>(int64_t(rows) * count);
        tags_ = tagMem_.get<int>(rows);
        if (!ring_ || !tags_) return false;
        for (int i = 0; i < rows; ++i) tags_[i] = -1;
        return true;
    }

    const T* row(int r) {
        const char* src = w_.data + r * w_.step;
        if (lane_ == NbLane::Flat || lane_ == NbLane::Plane) return reinterpret_cast<const T*>(src);
        T* slot = ring_ + int64_t(r % rows_) * count_;
        if (tags_[r % rows_] == r) return slot;
        tags_[r % rows_] = r;
        if (lane_ == NbLane::Channel) {
            const T* s = reinterpret_cast<const T*>(src);
            for (int64_t k = 0; k < count_; ++k) slot[k] = s[k * pix_];
        } else {
            const auto* s = reinterpret_cast<const uint8_t*>(src);
            for (int64_t k = 0; k < count_; ++k) slot[k] = T(bitAt(s, w_.bit + k));
        }
        return slot;
    }

private:
    NbPlane w_{};
    NbLane lane_ = NbLane::Flat;
    int pix_ = 1, rows_ = 1;
    int64_t count_ = 0;
    T* ring_ = nullptr;
    int* tags_ = nullptr;
    NbScratch mem_, tagMem_;
};

// Where a lane's results go: nc channels per pixel from out (pixel step
// outPix) to the destination (pixel step dstPix, first channel `channel`).
struct NbSink {
    NbLane lane;
    int outPix, dstPix, nc, channel;
};

// Rows and sink of lane l of a driver's call c (lane, srcCh, dstCh, srcPix,
// sink as the drivers keep them), with rows of a window nRows high.
template <class T, class Call>
bool nbLane(NbRows<T>& rows, NbSink& sink, const NbPiece& p, const Call& c, int l, int64_t count,
            int nRows) {
    const int ch = c.lane == NbLane::Flat || c.lane == NbLane::Bits ? 0 : c.srcCh[l];
    sink = c.sink;
    sink.channel = c.dstCh[l];
    return rows.init(p.src, c.lane, ch, c.srcPix, count, nRows);
}

// Writes row r of the piece from out: w pixels; where the piece has a mask,
// only pixels whose bit is set. 1-bit results are 0 or 1 in out, packed
// into the destination's bits; the bits around the region stay.
template <class T>
void nbStoreRow(const NbPiece& p, const NbSink& s, int r, const T* out) {
    const uint8_t* m = p.mask ? p.mask + r * p.maskStep : nullptr;
    const int w = p.w;
    char* row = p.dst.data + r * p.dst.step;
    if (s.lane == NbLane::Bits) {
        auto* d = reinterpret_cast<uint8_t*>(row);
        for (int x = 0; x < w; ++x)
            if (!m || bitAt(m, p.maskBit + x)) setBitAt(d, p.dst.bit + x, out[x] != 0);
        return;
    }
    if (s.lane == NbLane::Plane) row += s.channel * p.dst.planeStep;
    T* d = reinterpret_cast<T*>(row) + (s.lane == NbLane::Channel ? s.channel : 0);
    if (!m && s.outPix == s.nc && s.dstPix == s.nc) {
        std::memcpy(d, out, size_t(w) * size_t(s.nc) * sizeof(T));
        return;
    }
    for (int x = 0; x < w; ++x) {
        if (m && !bitAt(m, p.maskBit + x)) continue;
        for (int c = 0; c < s.nc; ++c) d[int64_t(x) * s.dstPix + c] = out[int64_t(x) * s.outPix + c];
    }
}

}  // namespace zol
