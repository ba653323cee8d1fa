// Arbitrary bytes as a packed bitmap (info header, table, pixels), through
// the three imports and the run-length decoder. A bitmap carries no length,
// so the block handed over is padded with zeros to exactly what its own
// header implies: any read past that is a fault the sanitizers catch.
// biXPelsPerMeter, which no import looks at, chooses the image's depth,
// channels, order and origin; biYPelsPerMeter the pixels' offset for the
// separate-block import.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "bitmap/bitmap.h"
#include "zol.h"

namespace {

int quiet(int, const char*, const char*, const char*, int) { return 0; }

// Table entries the header implies (0 when it claims more than any bit
// count allows: the imports refuse those before reading the table).
int64_t entries(const ZolBitmapInfoHeader& h) {
    const int b = h.biBitCount;
    int64_t n = h.biClrUsed;
    if (b == 1 || b == 4 || b == 8) n = h.biClrUsed ? int64_t(h.biClrUsed) : int64_t(1) << b;
    if ((b == 16 || b == 32) && h.biCompression == ZOL_BI_RGB) n = 0;
    if ((b == 16 || b == 32) && h.biCompression == ZOL_BI_BITFIELDS) n = 3;
    return n <= 256 ? n : 0;
}

// Pixel bytes the header implies, or -1 when too large to try.
int64_t pixelBytes(const ZolBitmapInfoHeader& h) {
    const int64_t w = h.biWidth, rows = h.biHeight < 0 ? -int64_t(h.biHeight) : int64_t(h.biHeight);
    if (w <= 0 || rows == 0 || w > 4096 || rows > 4096 || w * rows > (1 << 20)) return -1;
    if (h.biCompression == ZOL_BI_RLE8 || h.biCompression == ZOL_BI_RLE4) {
        const int64_t bound = 2 * w * rows + 2 * rows + 2;
        return h.biSizeImage && h.biSizeImage < bound ? int64_t(h.biSizeImage) : bound;
    }
    return zol::dibRowSize(w, h.biBitCount > 32 ? 32 : h.biBitCount) * rows;
}

ZolImage* target(const ZolBitmapInfoHeader& h, int64_t rows) {
    static const int depths[] = {ZOL_DEPTH_8U, ZOL_DEPTH_16U, ZOL_DEPTH_1U, ZOL_DEPTH_8U};
    static const char* seqs[] = {"BGR", "RGB", "GRAY", "BGRA"};
    const uint32_t c = uint32_t(h.biXPelsPerMeter);
    const int ch = (c >> 2 & 3) == 2 ? 1 : (c >> 2 & 3) == 3 ? 4 : 3;
    const int depth = depths[c & 3];
    const int nch = depth == ZOL_DEPTH_1U ? 1 : ch;
    const char* seq = nch == 1 ? "GRAY" : nch == 4 ? "BGRA" : seqs[c >> 2 & 1];
    ZolImage* im = zolCreateImageHeader(nch, nch == 4 ? 4 : 0, depth, nch == 1 ? "GRAY" : "RGB", seq,
                                        depth != ZOL_DEPTH_1U && (c >> 4 & 1) ? ZOL_DATA_ORDER_PLANE
                                                                             : ZOL_DATA_ORDER_PIXEL,
                                        c >> 5 & 1, (c >> 6 & 1) ? ZOL_ALIGN_QWORD : ZOL_ALIGN_DWORD,
                                        h.biWidth, int(rows), nullptr, nullptr, nullptr, nullptr);
    return im;
}

void release(ZolImage* im) {
    if (im) zolDeallocate(im, ZOL_FREE_HEADER | ZOL_FREE_DATA);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const bool once = (zolRedirectError(quiet), true);
    (void)once;
    if (size < sizeof(ZolBitmapInfoHeader)) {
        // Short streams still go to the decoder.
        zol::RleResult r = zol::ownDecompressRLE(data, size, 7, 3, size & 1 ? 4 : 8);
        zolFree(r.block);
        return 0;
    }
    ZolBitmapInfoHeader h;
    std::memcpy(&h, data, sizeof h);
    const int64_t pixels = pixelBytes(h);
    if (pixels < 0) return 0;
    const int64_t rows = h.biHeight < 0 ? -int64_t(h.biHeight) : int64_t(h.biHeight);
    const size_t head = sizeof h + size_t(4 * entries(h));

    // Packed: header, table and pixels in one block of the implied length.
    std::vector<uint8_t> packed(head + size_t(pixels), 0);
    std::memcpy(packed.data(), data, size < packed.size() ? size : packed.size());
    const auto* ph = reinterpret_cast<const ZolBitmapInfoHeader*>(packed.data());

    zolSetErrStatus(0);
    ZolImage* im = target(h, rows);
    zolSetErrStatus(0);
    if (im) zolConvertFromDIB(ph, im);
    release(im);

    // Separate: the pixels from an offset the data chooses.
    const size_t offset = size_t(uint32_t(h.biYPelsPerMeter)) % (size + 1);
    std::vector<uint8_t> sep(size_t(pixels) + 1, 0);
    std::memcpy(sep.data(), data + offset, size - offset < size_t(pixels) ? size - offset : size_t(pixels));
    std::vector<uint8_t> header(packed.begin(), packed.begin() + head);
    zolSetErrStatus(0);
    im = target(h, rows);
    zolSetErrStatus(0);
    if (im) zolConvertFromDIBSep(reinterpret_cast<const ZolBitmapInfoHeader*>(header.data()), sep.data(), im);
    release(im);

    zolSetErrStatus(0);
    int clone = 0;
    if (ZolImage* t = zolTranslateDIB(ph, &clone))
        zolDeallocate(t, clone ? ZOL_FREE_HEADER | ZOL_FREE_DATA : ZOL_FREE_HEADER);

    // The decoder alone, on whatever follows the header.
    if (h.biBitCount == 4 || h.biBitCount == 8) {
        zol::RleResult r = zol::ownDecompressRLE(data + (head < size ? head : size),
                                                 head < size ? size - head : 0, h.biWidth, int(rows),
                                                 h.biBitCount);
        zolFree(r.block);
    }
    zolSetErrStatus(0);
    return 0;
}
