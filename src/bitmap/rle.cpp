// The run-length codec of 8 and 4-bit bitmaps. The decoder trusts nothing
// in the stream: a code that would read past the stream, or write past the
// row it is in, ends the decode before anything is written.
#include <cstring>
#include <initializer_list>

#include "bitmap/bitmap.h"
#include "core/report.h"

namespace zol {
namespace {

struct Texts {
    const char* sizes;
    const char* width;
    const char* height;
    const char* delta;
    const char* memory;
};

constexpr Texts kRle8{"Incorrect format of BI_RLE8 DIB (mismatch biHeight or biWidth)",
                      "Incorrect format of BI_RLE8 DIB (mismatch biWidth)",
                      "Incorrect format of BI_RLE8 DIB (mismatch biHeight)",
                      "Incorrect format of BI_RLE8 DIB (bad Delta command)",
                      "Not enough memory to decompress BI_RLE8 DIB at DIB"};
constexpr Texts kRle4{"Incorrect format of BI_RLE4 DIB (mismatch biHeight or biWidth)",
                      "Incorrect format of BI_RLE4 DIB (mismatch biWidth)",
                      "Incorrect format of BI_RLE4 DIB (mismatch biHeight)",
                      "Incorrect format of BI_RLE4 DIB (bad Delta command)",
                      "Not enough memory to decompress BI_RLE4 DIB at DIB"};

inline void putNibble(uint8_t* row, int x, unsigned v) {
    uint8_t& b = row[x >> 1];
    b = (x & 1) ? uint8_t((b & 0xF0) | (v & 15)) : uint8_t((b & 0x0F) | (v << 4));
}

}  // namespace

RleResult ownDecompressRLE(const uint8_t* s, size_t length, int width, int height, int bits) {
    const Texts& t = bits == 8 ? kRle8 : kRle4;
    const int64_t stride = dibRowSize(width, bits);
    const int64_t total = stride * height;
    if (width <= 0 || height <= 0 || total > INT32_MAX) return {nullptr, t.sizes, ZOL_STATUS_BAD_ARGUMENT};
    auto* block = static_cast<uint8_t*>(zolMalloc(int(total)));
    if (!block) return {nullptr, t.memory, ZOL_STATUS_NO_MEMORY};
    // Pixels a delta passes over are left zero rather than undefined.
    std::memset(block, 0, size_t(total));
    const int64_t w = width, h = height;
    int64_t x = 0, y = 0;
    size_t pos = 0;
    auto fail = [&](const char* context) {
        zolFree(block);
        return RleResult{nullptr, context, ZOL_STATUS_BAD_ARGUMENT};
    };
    for (;;) {
        if (y > h || x > w || length - pos < 2 || pos > length) return fail(t.sizes);
        const unsigned n = s[pos], v = s[pos + 1];
        pos += 2;
        if (n != 0) {
            if (y >= h || x + n > w) return fail(t.sizes);
            uint8_t* row = block + y * stride;
            if (bits == 8) {
                std::memset(row + x, int(v), n);
            } else {
                for (unsigned i = 0; i < n; ++i) putNibble(row, int(x + i), (i & 1) ? v & 15 : v >> 4);
            }
            x += n;
            continue;
        }
        switch (v) {
            case 0:
                if (x != w) return fail(t.width);
                ++y;
                x = 0;
                break;
            case 1:
                if (y == h || y == h - 1) return {block, nullptr, 0};
                return fail(t.height);
            case 2:
                if (length - pos < 2) return fail(t.sizes);
                x += s[pos];
                y += s[pos + 1];
                pos += 2;
                if (x > w || y > h) return fail(t.delta);
                break;
            default: {
                const size_t bytes = bits == 8 ? v : (v + 1) / 2;
                if (y >= h || x + v > w || length - pos < bytes) return fail(t.sizes);
                uint8_t* row = block + y * stride;
                const uint8_t* in = s + pos;
                if (bits == 8) {
                    std::memcpy(row + x, in, v);
                } else {
                    for (unsigned i = 0; i < v; ++i)
                        putNibble(row, int(x + i), (i & 1) ? in[i >> 1] & 15 : in[i >> 1] >> 4);
                }
                x += v;
                pos += (bytes + 1) & ~size_t(1);
                if (pos > length) pos = length;
                break;
            }
        }
    }
}

namespace {

// The encoder's output, sized for the worst case by the caller.
struct Out {
    uint8_t* p;
    size_t n = 0;
    void push_back(uint8_t v) { p[n++] = v; }
    void insert(std::initializer_list<uint8_t> v) {
        for (uint8_t b : v) p[n++] = b;
    }
    size_t size() const { return n; }
    uint8_t& operator[](size_t i) { return p[i]; }
};

void encodeRow8(const uint8_t* p, int w, Out& out) {
    // Past the row every pixel reads as a value no byte has.
    auto at = [&](int i) { return i < w ? int(p[i]) : 256 + i - w; };
    int x = 0;
    while (x < w - 3) {
        const int p0 = p[x], p1 = p[x + 1], p2 = p[x + 2], p3 = p[x + 3];
        if (p0 == p1) {
            int n = 2;
            x += 2;
            while (x < w && n < 255 && p[x] == p0) ++n, ++x;
            out.push_back(uint8_t(n));
            out.push_back(uint8_t(p0));
        } else if (p1 == p2) {
            out.insert({1, uint8_t(p0)});
            x += 1;
        } else if (p2 == p3) {
            out.insert({1, uint8_t(p0), 1, uint8_t(p1)});
            x += 2;
        } else {
            out.push_back(0);
            const size_t count = out.size();
            out.insert({0, uint8_t(p0), uint8_t(p1), uint8_t(p2)});
            int n = 3;
            x += 3;
            while (x < w && n < 255) {
                if (at(x) == at(x + 1) && at(x + 1) == at(x + 2)) break;
                out.push_back(p[x]);
                ++n, ++x;
            }
            out[count] = uint8_t(n);
            if (n & 1) out.push_back(0);
        }
    }
    for (; x < w; ++x) out.insert({1, p[x]});
    out.insert({0, 0});
}

void encodeRow4(const uint8_t* row, int w, Out& out) {
    // Pixels past the row read as 16, which no nibble equals.
    auto at = [&](int i) { return i < w ? int((row[i >> 1] >> ((i & 1) ? 0 : 4)) & 15) : 16; };
    auto pair = [](int a, int b) { return uint8_t((a << 4) | (b & 15)); };
    int x = 0;
    while (x < w - 5) {
        const int p0 = at(x), p1 = at(x + 1), p2 = at(x + 2), p3 = at(x + 3), p4 = at(x + 4);
        if (p1 == p3 && p0 == p2) {
            int n = 4;
            x += 4;
            while (x < w && n < 255) {
                if (at(x) == p0 && at(x + 1) == p1) {
                    n += 2, x += 2;
                } else {
                    if (at(x) == p0) ++n, ++x;
                    break;
                }
            }
            if (x > w || n == 256) --n, --x;
            out.insert({uint8_t(n), pair(p0, p1)});
        } else if (p1 == p3 && p2 == p4) {
            out.insert({1, pair(p0, 0)});
            x += 1;
        } else if (p1 == p3) {
            out.insert({2, pair(p0, p1), 1, pair(p2, 0)});
            x += 3;
        } else if (p2 == p4) {
            out.insert({2, pair(p0, p1)});
            x += 2;
        } else {
            out.push_back(0);
            const size_t count = out.size();
            out.push_back(0);
            uint8_t px[258] = {uint8_t(p0), uint8_t(p1), uint8_t(p2)};
            size_t np = 3;
            int n = 3;
            x += 3;
            while (x < w && n < 255) {
                const bool same = at(x + 1) == at(x + 3) && at(x + 2) == at(x + 4);
                if (!same) {
                    px[np++] = uint8_t(at(x));
                    px[np++] = uint8_t(at(x + 1));
                    n += 2, x += 2;
                } else {
                    if (at(x) != at(x + 2)) px[np++] = uint8_t(at(x)), ++n, ++x;
                    break;
                }
            }
            if (x > w || n == 256) --n, --x, --np;
            out[count] = uint8_t(n);
            const size_t bytes = size_t(n + 1) / 2;
            for (size_t i = 0; i < bytes; ++i)
                out.push_back(pair(px[2 * i], 2 * i + 1 < np ? px[2 * i + 1] : 0));
            if (bytes & 1) out.push_back(0);
        }
    }
    for (; x + 1 < w; x += 2) out.insert({2, pair(at(x), at(x + 1))});
    if (x < w) out.insert({1, pair(at(x), 0)});
    out.insert({0, 0});
}

}  // namespace

size_t ownRleBound(int width, int height) {
    return size_t(2) * size_t(width) * size_t(height) + size_t(2) * size_t(height) + 2;
}

size_t ownEncodeRLE(const uint8_t* rows, ptrdiff_t stride, int width, int height, int bits, uint8_t* stream) {
    Out out{stream};
    for (int y = 0; y < height; ++y) {
        if (bits == 8)
            encodeRow8(rows + y * stride, width, out);
        else
            encodeRow4(rows + y * stride, width, out);
    }
    out.insert({0, 1});
    return out.size();
}

int ownCompressRLE(ZolBitmapInfoHeader* dib) {
    const int bits = dib->biCompression == ZOL_BI_RLE8 ? 8 : 4;
    const uint32_t entries = dib->biClrUsed ? dib->biClrUsed : (1u << bits);
    uint8_t* data = reinterpret_cast<uint8_t*>(dib) + dib->biSize + 4 * size_t(entries);
    const int64_t stride = dibRowSize(dib->biWidth, bits);
    const int64_t u = stride * dib->biHeight;
    const size_t bound = ownRleBound(dib->biWidth, dib->biHeight);
    auto* s = bound <= size_t(INT32_MAX) ? static_cast<uint8_t*>(zolMalloc(int(bound))) : nullptr;
    if (!s) {
        report(ZOL_STATUS_NO_MEMORY, "zolConvertToDIB",
               bits == 8 ? "Not enough memory to compress DIB at BI_RLE8 DIB"
                         : "Not enough memory to compress DIB at BI_RLE4 DIB");
        return 0;
    }
    const size_t n = ownEncodeRLE(data, ptrdiff_t(stride), dib->biWidth, dib->biHeight, bits, s);
    if (int64_t(n) < u) {
        std::memcpy(data, s, n);
        dib->biSizeImage = uint32_t(n);
    } else {
        dib->biCompression = ZOL_BI_RGB;
    }
    zolFree(s);
    return 1;
}

}  // namespace zol
