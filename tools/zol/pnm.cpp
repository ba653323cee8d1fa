// Binary PNM reading and writing for the zol tool. Every size taken from a
// file is checked before it is used: a hostile header yields a message, never
// a huge allocation or an overrun.
#include "pnm.h"

#include <sys/stat.h>

#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

namespace zoltool {
namespace {

const char kGray[4] = {'G', 'R', 'A', 'Y'};
const char kRgb[4] = {'R', 'G', 'B', '\0'};

// Bytes of one row on disk, which is also the packed row in memory.
int64_t diskRowBytes(int depth, int channels, int width) {
    if (depth == ZOL_DEPTH_1U) return (int64_t(width) + 7) / 8;
    return int64_t(width) * channels * (depth == ZOL_DEPTH_16U ? 2 : 1);
}

bool isSpace(int c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}

// The next character of the header that is neither white space nor part of
// a comment (from '#' to the end of the line).
int skipSpaceAndComments(FILE* f) {
    for (;;) {
        int c = std::getc(f);
        if (c == '#') {
            do c = std::getc(f);
            while (c != '\n' && c != '\r' && c != EOF);
            if (c == EOF) return EOF;
            continue;
        }
        if (!isSpace(c)) return c;
    }
}

// Reads one decimal header field. The last field must be followed by exactly
// one white-space character, after which the pixels start; earlier fields
// may be followed by a comment.
bool readField(FILE* f, const char* what, bool last, int* out, std::string* why) {
    int c = skipSpaceAndComments(f);
    if (c == EOF) {
        *why = std::string("header ends before the ") + what;
        return false;
    }
    if (!std::isdigit(c)) {
        *why = std::string("the ") + what + " is not a decimal number";
        return false;
    }
    int64_t v = 0;
    while (std::isdigit(c)) {
        v = v * 10 + (c - '0');
        if (v > INT_MAX) {
            *why = std::string("the ") + what + " is too large";
            return false;
        }
        c = std::getc(f);
    }
    if (c == EOF) {
        *why = std::string("header ends after the ") + what;
        return false;
    }
    if (!isSpace(c) && (last || c != '#')) {
        *why = std::string("the ") + what + " is not a decimal number";
        return false;
    }
    if (!last) std::ungetc(c, f);
    *out = int(v);
    return true;
}

// Bytes left in a regular file from the current position, or -1 when the
// stream cannot tell (a pipe, a device).
int64_t bytesLeft(FILE* f) {
    struct stat st;
    if (fstat(fileno(f), &st) != 0 || !S_ISREG(st.st_mode)) return -1;
    const long at = std::ftell(f);
    if (at < 0) return -1;
    return int64_t(st.st_size) - at;
}

// The n-th row in file order: bottom-left images keep their top row last.
char* fileRow(const ZolImage* image, int n) {
    const int y = image->origin == ZOL_ORIGIN_BL ? image->height - 1 - n : n;
    return image->imageData + ptrdiff_t(y) * image->widthStep;
}

// Clears the bits of a 1-bit row past its last pixel.
void clearPadBits(unsigned char* row, int width) {
    if (width % 8) row[width / 8] &= static_cast<unsigned char>(0xFF00 >> (width % 8));
}

struct FileCloser {
    FILE* f;
    ~FileCloser() {
        if (f) std::fclose(f);
    }
};

}  // namespace

const char* depthName(int depth) {
    switch (depth) {
        case ZOL_DEPTH_1U: return "1u";
        case ZOL_DEPTH_8U: return "8u";
        case ZOL_DEPTH_8S: return "8s";
        case ZOL_DEPTH_16U: return "16u";
        case ZOL_DEPTH_16S: return "16s";
        case ZOL_DEPTH_32S: return "32s";
        case ZOL_DEPTH_32F: return "32f";
        default: return "unknown";
    }
}

const char* pnmKindName(PnmKind kind) {
    switch (kind) {
        case PnmKind::Pbm: return "PBM";
        case PnmKind::Pgm: return "PGM";
        case PnmKind::Ppm: return "PPM";
        default: return "none";
    }
}

PnmKind pnmKindOfName(const std::string& path) {
    const size_t dot = path.rfind('.');
    if (dot == std::string::npos || path.size() - dot != 4) return PnmKind::None;
    std::string ext = path.substr(dot + 1);
    for (char& c : ext) c = char(std::tolower(static_cast<unsigned char>(c)));
    if (ext == "pbm") return PnmKind::Pbm;
    if (ext == "pgm") return PnmKind::Pgm;
    if (ext == "ppm") return PnmKind::Ppm;
    return PnmKind::None;
}

PnmKind pnmKindOfImage(const ZolImage* image, std::string* error) {
    if (!image || !image->imageData || image->tileInfo) {
        *error = "only images held in memory can be written";
        return PnmKind::None;
    }
    if (image->dataOrder != ZOL_DATA_ORDER_PIXEL) {
        *error = "only pixel-order images can be written";
        return PnmKind::None;
    }
    const int depth = image->depth;
    if (depth == ZOL_DEPTH_1U) return PnmKind::Pbm;
    if (depth != ZOL_DEPTH_8U && depth != ZOL_DEPTH_16U) {
        *error = std::string("PNM files cannot hold ") + depthName(depth) +
                 " samples (only 1u, 8u and 16u)";
        return PnmKind::None;
    }
    if (image->nChannels == 1) return PnmKind::Pgm;
    if (image->nChannels == 3) return PnmKind::Ppm;
    *error = "PNM files hold 1 or 3 channels, not " + std::to_string(image->nChannels);
    return PnmKind::None;
}

bool imageFits(int depth, int channels, int width, int height, std::string* error) {
    if (width <= 0 || height <= 0) {
        *error = "width and height must be positive";
        return false;
    }
    // Rows of the tool's images are padded to 4 bytes.
    const int64_t bits = int64_t(width) * channels * (depth == ZOL_DEPTH_1U ? 1 : depth & 0xFF);
    const int64_t step = (bits + 31) / 32 * 4;
    if (step * height > INT_MAX) {
        *error = "an image of " + std::to_string(width) + "x" + std::to_string(height) + "x" +
                 std::to_string(channels) + " " + depthName(depth) +
                 " samples is too large (more than 2 GiB)";
        return false;
    }
    return true;
}

ZolImage* newImage(int depth, int channels, int width, int height, std::string* error) {
    if (!imageFits(depth, channels, width, height, error)) return nullptr;
    const char* model = channels == 3 ? kRgb : kGray;
    zolSetErrStatus(0);
    ZolImage* image = zolCreateImageHeader(channels, 0, depth, model, model, ZOL_DATA_ORDER_PIXEL,
                                           ZOL_ORIGIN_TL, ZOL_ALIGN_DWORD, width, height, nullptr,
                                           nullptr, nullptr, nullptr);
    if (!image || zolGetErrStatus() < 0) {
        *error = std::string("cannot create an image header: ") + zolErrorStr(zolGetErrStatus());
        freeImage(image);
        return nullptr;
    }
    zolAllocateImage(image, 0, 0);
    if (!image->imageData || zolGetErrStatus() < 0) {
        *error = "out of memory for " + std::to_string(image->imageSize) + " bytes of pixels";
        freeImage(image);
        return nullptr;
    }
    return image;
}

void freeImage(ZolImage* image) {
    if (image) zolDeallocate(image, ZOL_FREE_HEADER | ZOL_FREE_DATA);
}

ZolImage* readPnm(const std::string& path, std::string* error) {
    FileCloser in{std::fopen(path.c_str(), "rb")};
    if (!in.f) {
        *error = path + ": " + std::strerror(errno);
        return nullptr;
    }
    auto fail = [&](const std::string& why) -> ZolImage* {
        *error = path + ": " + why;
        return nullptr;
    };

    const int p = std::getc(in.f), n = std::getc(in.f);
    if (std::ferror(in.f)) return fail(std::strerror(errno));
    if (p != 'P' || n < '1' || n > '7') return fail("not a PNM file");
    if (n <= '3') return fail("plain (text) PNM files are not supported, only P4, P5 and P6");
    if (n == '7') return fail("PAM files are not supported, only P4, P5 and P6");
    const int after = std::getc(in.f);
    if (!isSpace(after) && after != '#') return fail("not a PNM file");
    std::ungetc(after, in.f);

    const bool bitmap = n == '4';
    const int channels = n == '6' ? 3 : 1;
    int width = 0, height = 0, maxval = 1;
    std::string why;
    if (!readField(in.f, "width", false, &width, &why) ||
        !readField(in.f, "height", bitmap, &height, &why) ||
        (!bitmap && !readField(in.f, "maxval", true, &maxval, &why)))
        return fail(why);
    if (width == 0 || height == 0) return fail("width and height must be positive");
    if (!bitmap && maxval != 255 && maxval != 65535)
        return fail("maxval " + std::to_string(maxval) + " is not supported, only 255 and 65535");
    const int depth = bitmap ? ZOL_DEPTH_1U : maxval == 255 ? ZOL_DEPTH_8U : ZOL_DEPTH_16U;

    if (!imageFits(depth, channels, width, height, &why)) return fail(why);
    // Refuse a short regular file before allocating for it.
    const int64_t rowBytes = diskRowBytes(depth, channels, width);
    const int64_t left = bytesLeft(in.f);
    if (left >= 0 && left < rowBytes * height)
        return fail("truncated: " + std::to_string(rowBytes * height) +
                    " bytes of pixels expected, " + std::to_string(left) + " present");

    ZolImage* image = newImage(depth, channels, width, height, &why);
    if (!image) return fail(why);
    for (int y = 0; y < height; ++y) {
        auto* row = reinterpret_cast<unsigned char*>(fileRow(image, y));
        if (std::fread(row, 1, size_t(rowBytes), in.f) != size_t(rowBytes)) {
            freeImage(image);
            return fail(std::ferror(in.f) ? std::string("read error") : "truncated pixel data");
        }
        if (depth == ZOL_DEPTH_1U) {
            for (int64_t i = 0; i < rowBytes; ++i) row[i] = static_cast<unsigned char>(~row[i]);
            clearPadBits(row, width);
        } else if (depth == ZOL_DEPTH_16U) {
            for (int64_t i = 0; i < rowBytes; i += 2) {
                const uint16_t v = uint16_t(row[i] << 8 | row[i + 1]);
                std::memcpy(row + i, &v, 2);
            }
        }
    }
    return image;
}

bool writePnm(const std::string& path, const ZolImage* image, std::string* error) {
    std::string why;
    const PnmKind kind = pnmKindOfImage(image, &why);
    if (kind == PnmKind::None) {
        *error = path + ": " + why;
        return false;
    }
    FILE* out = std::fopen(path.c_str(), "wb");
    if (!out) {
        *error = path + ": " + std::strerror(errno);
        return false;
    }
    const int depth = image->depth;
    const int64_t rowBytes = diskRowBytes(depth, image->nChannels, image->width);
    std::vector<unsigned char> buffer(size_t(rowBytes) + 1);
    bool ok;
    if (kind == PnmKind::Pbm)
        ok = std::fprintf(out, "P4\n%d %d\n", image->width, image->height) > 0;
    else
        ok = std::fprintf(out, "P%c\n%d %d\n%d\n", kind == PnmKind::Pgm ? '5' : '6', image->width,
                          image->height, depth == ZOL_DEPTH_8U ? 255 : 65535) > 0;
    for (int y = 0; ok && y < image->height; ++y) {
        const auto* row = reinterpret_cast<const unsigned char*>(fileRow(image, y));
        const unsigned char* data = row;
        if (depth == ZOL_DEPTH_1U) {
            for (int64_t i = 0; i < rowBytes; ++i)
                buffer[size_t(i)] = static_cast<unsigned char>(~row[i]);
            clearPadBits(buffer.data(), image->width);
            data = buffer.data();
        } else if (depth == ZOL_DEPTH_16U) {
            for (int64_t i = 0; i < rowBytes; i += 2) {
                uint16_t v;
                std::memcpy(&v, row + i, 2);
                buffer[size_t(i)] = static_cast<unsigned char>(v >> 8);
                buffer[size_t(i) + 1] = static_cast<unsigned char>(v & 0xFF);
            }
            data = buffer.data();
        }
        ok = std::fwrite(data, 1, size_t(rowBytes), out) == size_t(rowBytes);
    }
    int err = ok ? 0 : errno;
    // A full disk may only show when the buffers are flushed.
    if (std::fclose(out) != 0 && ok) {
        ok = false;
        err = errno;
    }
    if (!ok) {
        *error = path + ": cannot write: " + std::strerror(err);
        // Only a partial regular file is removed, never a device such as
        // /dev/full.
        struct stat st;
        if (stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode)) std::remove(path.c_str());
    }
    return ok;
}

}  // namespace zoltool
