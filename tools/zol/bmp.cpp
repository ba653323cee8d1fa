// BMP files through the library's bitmap functions: the tool parses the
// 14-byte file header and hands the info header, its colour table and the
// pixels to zolConvertFromDIBSep, and has zolConvertToDIB lay out what it
// writes. A bitmap carries no length of its own, so every size the header
// claims is checked against the bytes the file holds before the library
// sees it.
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstring>
#include <vector>

#include "files.h"

namespace zoltool {
namespace {

constexpr int64_t kFileHeader = 14, kInfoHeader = 40;

uint32_t get32(const unsigned char* p) {
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}

void put32(unsigned char* p, uint32_t v) {
    for (int i = 0; i < 4; ++i) p[i] = static_cast<unsigned char>(v >> (8 * i));
}

int64_t rowBytes(int64_t width, int bits) { return (width * bits + 31) / 32 * 4; }

// Entries of the colour table as the library counts them.
int64_t tableEntries(const ZolBitmapInfoHeader& h) {
    const int b = h.biBitCount;
    if (b == 1 || b == 4 || b == 8) return h.biClrUsed ? int64_t(h.biClrUsed) : int64_t(1) << b;
    if (b == 16 || b == 32) return h.biCompression == ZOL_BI_BITFIELDS ? 3 : 0;
    return h.biClrUsed;
}

// Reads the whole stream: pipes have no size to ask for.
bool slurp(FILE* in, std::vector<unsigned char>* bytes) {
    unsigned char chunk[65536];
    size_t n;
    while ((n = std::fread(chunk, 1, sizeof chunk, in)) > 0)
        bytes->insert(bytes->end(), chunk, chunk + n);
    return !std::ferror(in);
}

// The image a bitmap is read into: 1U for a black-and-white table, 8U gray
// for a table of grays, RGBA for 32 bits, RGB otherwise.
void chooseImage(const ZolBitmapInfoHeader& h, const unsigned char* table, int64_t entries,
                 int* depth, int* channels) {
    *depth = ZOL_DEPTH_8U;
    *channels = h.biBitCount == 32 ? 4 : 3;
    if (h.biBitCount > 8 || entries == 0) return;
    bool gray = true;
    for (int64_t i = 0; i < entries && gray; ++i)
        gray = table[4 * i] == table[4 * i + 1] && table[4 * i + 1] == table[4 * i + 2];
    if (!gray) return;
    *channels = 1;
    // The library sets a 1U pixel where the entry's red is above 127, so
    // only one dark and one bright entry keep the picture whole.
    if (h.biBitCount == 1 && entries == 2 && (table[2] > 127) != (table[6] > 127))
        *depth = ZOL_DEPTH_1U;
}

bool alphaAllZero(const ZolImage* image) {
    for (int y = 0; y < image->height; ++y) {
        const unsigned char* row = fileRow(image, y);
        for (int x = 0; x < image->width; ++x)
            if (row[4 * x + 3]) return false;
    }
    return true;
}

}  // namespace

ZolImage* readBmp(FILE* in, const std::string& path, std::string* error) {
    auto fail = [&](const std::string& why) -> ZolImage* {
        *error = path + ": " + why;
        return nullptr;
    };
    std::vector<unsigned char> file;
    if (!slurp(in, &file)) return fail(std::strerror(errno));
    const int64_t size = int64_t(file.size());
    if (size < 2 || file[0] != 'B' || file[1] != 'M') return fail("not a BMP file");
    if (size < kFileHeader + 4) return fail("truncated: the headers are cut short");
    const int64_t infoSize = get32(&file[14]);
    if (infoSize != 40 && infoSize != 108 && infoSize != 124)
        return fail("info headers of " + std::to_string(infoSize) +
                    " bytes are not supported, only 40, 108 and 124");
    if (size < kFileHeader + infoSize) return fail("truncated: the headers are cut short");

    // Copied to an aligned block with the table behind it, as the library
    // reads them. The longer headers start with the 40-byte one, and their
    // bit-field masks sit where the short header's table would.
    ZolBitmapInfoHeader h;
    std::memcpy(&h, &file[14], sizeof h);
    h.biSize = uint32_t(kInfoHeader);
    const int64_t entries = tableEntries(h);
    const int64_t maxEntries = h.biBitCount <= 8 ? int64_t(1) << (h.biBitCount & 15) : 256;
    const bool masks = h.biCompression == ZOL_BI_BITFIELDS;
    const int64_t tableAt = masks ? kFileHeader + kInfoHeader : kFileHeader + infoSize;
    // Too many entries: the library refuses the header before reading any.
    const int64_t copied = entries <= maxEntries ? entries : 0;
    if (tableAt + 4 * copied > size) return fail("truncated: the colour table is cut short");
    std::vector<uint32_t> block(size_t(kInfoHeader / 4 + (copied ? copied : 1)));
    std::memcpy(block.data(), &h, sizeof h);
    if (copied)
        std::memcpy(block.data() + kInfoHeader / 4, &file[size_t(tableAt)], size_t(4 * copied));
    auto* header = reinterpret_cast<ZolBitmapInfoHeader*>(block.data());

    const int64_t offset = get32(&file[10]);
    const int64_t width = h.biWidth, height = h.biHeight < 0 ? -int64_t(h.biHeight) : h.biHeight;
    if (width <= 0 || height == 0 || height > INT_MAX)
        return fail("bad size " + std::to_string(width) + "x" + std::to_string(h.biHeight));
    if (offset > size) return fail("truncated: the pixels would start past the end of the file");
    const int64_t left = size - offset;
    if (h.biCompression == ZOL_BI_RLE8 || h.biCompression == ZOL_BI_RLE4) {
        // The decoder stays within biSizeImage bytes: never more than are here.
        if (left == 0) return fail("truncated: no pixel data");
        if (header->biSizeImage == 0 || header->biSizeImage > left)
            header->biSizeImage = uint32_t(left);
    } else {
        const int64_t row = rowBytes(width, h.biBitCount ? h.biBitCount : 1);
        if (height > left / row)
            return fail("truncated: " + std::to_string(row) + " x " + std::to_string(height) +
                        " bytes of pixels expected, " + std::to_string(left) + " present");
    }

    int depth, channels;
    chooseImage(h, reinterpret_cast<const unsigned char*>(block.data() + kInfoHeader / 4), copied,
                &depth, &channels);
    std::string why;
    for (;;) {
        ZolImage* image = newImage(depth, channels, int(width), int(height), &why);
        if (!image) return fail(why);
        zolSetErrStatus(0);
        const int status = zolConvertFromDIBSep(header, &file[size_t(offset)], image);
        if (status != 0 || zolGetErrStatus() < 0) {
            freeImage(image);
            const int code = status ? status : zolGetErrStatus();
            return fail(std::string("bad BMP file: zolConvertFromDIBSep failed: ") +
                        zolErrorStr(code) + " (status " + std::to_string(code) + ")");
        }
        // 32-bit bitmaps often leave the fourth byte 0: no alpha, not a
        // transparent picture.
        if (channels == 4 && alphaAllZero(image)) {
            freeImage(image);
            channels = 3;
            continue;
        }
        return image;
    }
}

bool bmpCanHold(const ZolImage* image, const BmpOptions& bmp, std::string* error) {
    const int depth = image->depth;
    if (depth != ZOL_DEPTH_1U && depth != ZOL_DEPTH_8U && depth != ZOL_DEPTH_16U) {
        *error = std::string("BMP files cannot hold ") + depthName(depth) +
                 " samples (only 1u, 8u and 16u)";
        return false;
    }
    if ((depth == ZOL_DEPTH_1U && image->nChannels != 1) ||
        (image->nChannels != 1 && image->nChannels != 3 && image->nChannels != 4)) {
        *error = "BMP files cannot hold " + std::to_string(image->nChannels) + " channels of " +
                 depthName(depth) + " samples";
        return false;
    }
    const int bits = bmp.bits ? bmp.bits : bmpDefaultBits(image);
    if (bmp.rle && bits != 4 && bits != 8) {
        *error = "--rle needs --bits 4 or 8";
        return false;
    }
    if (int64_t(rowBytes(image->width, bits)) * image->height > INT_MAX - 2048) {
        *error = "the image is too large for a BMP file";
        return false;
    }
    return true;
}

int bmpDefaultBits(const ZolImage* image) {
    if (image->depth == ZOL_DEPTH_1U) return 1;
    return image->nChannels == 1 ? 8 : image->nChannels == 3 ? 24 : 32;
}

bool writeBmp(FILE* out, const ZolImage* image, const BmpOptions& bmp, std::string* error) {
    const int bits = bmp.bits ? bmp.bits : bmpDefaultBits(image);
    const int64_t pixels = rowBytes(image->width, bits) * image->height;
    // Room for the largest table and the uncompressed rows; the library
    // codes runs in place.
    std::vector<uint32_t> block(size_t((kInfoHeader + 4 * 256 + pixels) / 4));
    auto* h = reinterpret_cast<ZolBitmapInfoHeader*>(block.data());
    h->biSize = uint32_t(kInfoHeader);
    h->biWidth = image->width;
    h->biHeight = image->height;
    h->biPlanes = 1;
    h->biBitCount = uint16_t(bits);
    h->biCompression = !bmp.rle ? ZOL_BI_RGB : bits == 8 ? ZOL_BI_RLE8 : ZOL_BI_RLE4;
    h->biXPelsPerMeter = h->biYPelsPerMeter = 2835;  // 72 dots an inch
    const int palette = bmp.palette >= 0 ? bmp.palette
                        : image->nChannels == 1 ? ZOL_PALETTE_LINEAR
                                                : ZOL_PALETTE_MEDIAN_CUT;
    zolSetErrStatus(0);
    zolConvertToDIB(image, h, ZOL_DITHER_NONE, palette);
    if (zolGetErrStatus() < 0) {
        *error = std::string("zolConvertToDIB failed: ") + zolErrorStr(zolGetErrStatus());
        return false;
    }
    const bool coded = h->biCompression == ZOL_BI_RLE8 || h->biCompression == ZOL_BI_RLE4;
    if (!coded) h->biSizeImage = uint32_t(pixels);
    const int64_t table = 4 * tableEntries(*h);
    const int64_t start = kFileHeader + kInfoHeader + table;
    unsigned char file[kFileHeader] = {'B', 'M'};
    put32(file + 2, uint32_t(start + h->biSizeImage));
    put32(file + 10, uint32_t(start));
    const size_t body = size_t(kInfoHeader + table + h->biSizeImage);
    return std::fwrite(file, 1, sizeof file, out) == sizeof file &&
           std::fwrite(block.data(), 1, body, out) == body;
}

}  // namespace zoltool
