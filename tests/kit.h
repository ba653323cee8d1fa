// The shared test kit: a recording report handler, owned images with
// random contents, per-element access for reference models, and the heap
// failure switch.
#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "core/heap.h"
#include "zol.h"

namespace kit {

struct Report {
    int status;
    std::string func;
    std::string context;
};

// Records every report of the calling thread while alive; the handler
// returns the status like the library's own handlers. Clears the status on
// entry and restores the previous handler on exit.
class Recorder {
public:
    Recorder();
    ~Recorder();
    const std::vector<Report>& reports() const;
    // The one report expected: its status, func and context.
    bool only(int status, const std::string& func, const std::string& context) const;
    bool none() const { return reports().empty(); }
    void clear();

private:
    ZolReportHandler previous_;
};

// An image owned by the test, released with everything hanging on it
// except masks (which the test owns through their own Image).
class Image {
public:
    Image() = default;
    Image(int depth, int nChannels, int width, int height, int order = ZOL_DATA_ORDER_PIXEL,
          int align = ZOL_ALIGN_DWORD, bool alpha = false);
    Image(Image&& o) noexcept : img_(o.img_) { o.img_ = nullptr; }
    Image& operator=(Image&& o) noexcept;
    Image(const Image&) = delete;
    ~Image();

    ZolImage* get() const { return img_; }
    ZolImage* operator->() const { return img_; }
    operator ZolImage*() const { return img_; }

    void setRoi(int coi, int x, int y, int w, int h);
    // Fills every byte of the block (padding included) from a seeded generator.
    void randomize(uint32_t seed);
    // All bytes of the block.
    std::vector<uint8_t> bytes() const;

private:
    ZolImage* img_ = nullptr;
};

// Element c of pixel (x, y) as a wide integer (the bits for 32F, the bit
// for 1U), addressed by the layout formulas.
int64_t get(const ZolImage* image, int x, int y, int c);
void set(ZolImage* image, int x, int y, int c, int64_t v);
// Byte offset of an element inside the block (bit images: of its byte).
size_t offsetOf(const ZolImage* image, int x, int y, int c);

// Makes the n-th heap request of this thread fail while alive.
struct HeapFailure {
    explicit HeapFailure(int n) { zol::setHeapFailure(n); }
    ~HeapFailure() { zol::setHeapFailure(0); }
};

const std::vector<int>& allDepths();
const char* depthName(int depth);

}  // namespace kit
