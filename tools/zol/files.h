// Images in files for the zol tool: PNM, PNG, JPEG and BMP, read by content and
// written by name. Every reader refuses a malformed or truncated file with a
// message naming it; none of them crashes or leaves a partial image behind.
//
//   PNM  P4 <-> 1U gray; P5 <-> 8U or 16U gray; P6 <-> 8U or 16U RGB
//   PNG  1-bit gray <-> 1U; 8- and 16-bit gray, RGB, RGBA <-> 8U, 16U with
//        1, 3 or 4 channels (alphaChannel 4); palettes, 2- and 4-bit gray and
//        transparency are expanded to 8-bit gray, RGB or RGBA on reading
//   JPEG 8-bit gray or RGB <-> 8U with 1 or 3 channels
//   BMP  whatever the library's bitmap import takes: a black-and-white
//        1-bit table -> 1U, other gray tables -> 8U gray, 32 bits -> RGBA
//        (RGB when every alpha byte is 0), the rest -> 8U RGB; written from
//        1U, 8U, 16U (high bytes) at 1, 4, 8, 24 or 32 bits, 4 and 8 bits
//        with a palette and optionally run-length coded
#pragma once

#include <cstdio>
#include <memory>
#include <string>

#include "zol.h"

namespace zoltool {

enum class Format { None, Pnm, Png, Jpeg, Bmp };

// "1u", "8u", "8s", "16u", "16s", "32s" or "32f".
const char* depthName(int depth);

// True when an image of this shape can be made: its bytes, row padding
// included, must fit an int like every size in an image header. Otherwise
// false with the reason in *error.
bool imageFits(int depth, int channels, int width, int height, std::string* error);

// A new pixel-order, top-left image, its pixels allocated but not set, or
// NULL with the reason in *error. One channel is GRAY, three RGB, four RGBA
// with the fourth the alpha channel.
ZolImage* newImage(int depth, int channels, int width, int height, std::string* error);

// Frees an image of newImage, a reader or the library; NULL is allowed.
void freeImage(ZolImage* image);

struct ImageDeleter {
    void operator()(ZolImage* image) const { freeImage(image); }
};
using ImagePtr = std::unique_ptr<ZolImage, ImageDeleter>;

// The first byte of row n in file order: bottom-left images keep their top
// row last.
unsigned char* fileRow(const ZolImage* image, int n);

// Removes a partly written regular file, never a device such as /dev/full.
void removePartial(const std::string& path);

// The format a file name's extension names (.pbm .pgm .ppm .pnm, .png, .jpg
// .jpeg, .bmp, any case), or None.
Format formatOfName(const std::string& path);
// "pnm", "png", "jpeg" (also "jpg"), "bmp", any case, or None.
Format formatOfWord(const std::string& word);
const char* formatName(Format format);

// Reads a file of any of the four formats, told apart by their first
// bytes. NULL with a message naming the file in *error.
ImagePtr readImage(const std::string& path, std::string* error);

// How a BMP file is written.
struct BmpOptions {
    int bits = 0;      // 1, 4, 8, 24 or 32; 0: 1 for 1U, 8 for gray, 24 for RGB, 32 for RGBA
    bool rle = false;  // run-length code 4- and 8-bit files
    int palette = -1;  // ZOL_PALETTE_LINEAR or _MEDIAN_CUT; -1: linear for gray, else median cut
};

struct WriteOptions {
    Format format = Format::None;  // None: from the file name, PNG when it names none
    int quality = 90;              // JPEG quality, 1..100
    BmpOptions bmp;
};

// Writes the whole image (not its ROI). Returns 0, or 1 when the file
// cannot be written (a partly written one is removed), or 2 when the format
// chosen cannot hold the image or a PNM name names another kind; *error then
// has a message naming the file.
int writeImage(const std::string& path, const ZolImage* image, const WriteOptions& options,
                std::string* error);

// The format readers take an open stream at the start of the file and name
// `path` in their messages.
ZolImage* readPnm(FILE* in, const std::string& path, std::string* error);
ZolImage* readPng(FILE* in, const std::string& path, std::string* error);
ZolImage* readJpeg(FILE* in, const std::string& path, std::string* error);
ZolImage* readBmp(FILE* in, const std::string& path, std::string* error);

// The writers check that their format can hold the image before opening
// anything; *error then has no file name, so the caller can say what to do.
bool pnmCanHold(const ZolImage* image, std::string* error);
bool pngCanHold(const ZolImage* image, std::string* error);
bool jpegCanHold(const ZolImage* image, std::string* error);
// Also refuses options that do not go together (--rle at 1, 24 or 32 bits).
bool bmpCanHold(const ZolImage* image, const BmpOptions& bmp, std::string* error);
int bmpDefaultBits(const ZolImage* image);
bool writePnm(FILE* out, const ZolImage* image);
bool writePng(FILE* out, const ZolImage* image, std::string* error);
bool writeJpeg(FILE* out, const ZolImage* image, int quality, std::string* error);
bool writeBmp(FILE* out, const ZolImage* image, const BmpOptions& bmp, std::string* error);

}  // namespace zoltool
