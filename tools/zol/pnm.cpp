// Binary PBM, PGM and PPM files. Every size taken from a file is checked
// before it is used: a hostile header yields a message, never a huge
// allocation or an overrun.
//
// 16-bit samples are big-endian on disk and native in memory. A PBM 1 is
// black, while a 1U pixel 1 is the bright value, so bits are inverted on the
// way in and out: a picture looks the same in the file as it does in memory.
#include <sys/stat.h>

#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

#include "files.h"

namespace zoltool {
namespace {

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

// Clears the bits of a 1-bit row past its last pixel.
void clearPadBits(unsigned char* row, int width) {
    if (width % 8) row[width / 8] &= static_cast<unsigned char>(0xFF00 >> (width % 8));
}

}  // namespace

ZolImage* readPnm(FILE* in, const std::string& path, std::string* error) {
    auto fail = [&](const std::string& why) -> ZolImage* {
        *error = path + ": " + why;
        return nullptr;
    };

    const int p = std::getc(in), n = std::getc(in);
    if (std::ferror(in)) return fail(std::strerror(errno));
    if (p != 'P' || n < '1' || n > '7') return fail("not a PNM file");
    if (n <= '3') return fail("plain (text) PNM files are not supported, only P4, P5 and P6");
    if (n == '7') return fail("PAM files are not supported, only P4, P5 and P6");
    const int after = std::getc(in);
    if (!isSpace(after) && after != '#') return fail("not a PNM file");
    std::ungetc(after, in);

    const bool bitmap = n == '4';
    const int channels = n == '6' ? 3 : 1;
    int width = 0, height = 0, maxval = 1;
    std::string why;
    if (!readField(in, "width", false, &width, &why) ||
        !readField(in, "height", bitmap, &height, &why) ||
        (!bitmap && !readField(in, "maxval", true, &maxval, &why)))
        return fail(why);
    if (width == 0 || height == 0) return fail("width and height must be positive");
    if (!bitmap && maxval != 255 && maxval != 65535)
        return fail("maxval " + std::to_string(maxval) + " is not supported, only 255 and 65535");
    const int depth = bitmap ? ZOL_DEPTH_1U : maxval == 255 ? ZOL_DEPTH_8U : ZOL_DEPTH_16U;

    if (!imageFits(depth, channels, width, height, &why)) return fail(why);
    // Refuse a short regular file before allocating for it.
    const int64_t rowBytes = diskRowBytes(depth, channels, width);
    const int64_t left = bytesLeft(in);
    if (left >= 0 && left < rowBytes * height)
        return fail("truncated: " + std::to_string(rowBytes * height) +
                    " bytes of pixels expected, " + std::to_string(left) + " present");

    ZolImage* image = newImage(depth, channels, width, height, &why);
    if (!image) return fail(why);
    for (int y = 0; y < height; ++y) {
        unsigned char* row = fileRow(image, y);
        if (std::fread(row, 1, size_t(rowBytes), in) != size_t(rowBytes)) {
            freeImage(image);
            return fail(std::ferror(in) ? std::string("read error") : "truncated pixel data");
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

bool pnmCanHold(const ZolImage* image, std::string* error) {
    const int depth = image->depth;
    if (depth != ZOL_DEPTH_1U && depth != ZOL_DEPTH_8U && depth != ZOL_DEPTH_16U) {
        *error = std::string("PNM files cannot hold ") + depthName(depth) +
                 " samples (only 1u, 8u and 16u)";
        return false;
    }
    if (depth != ZOL_DEPTH_1U && image->nChannels != 1 && image->nChannels != 3) {
        *error = "PNM files hold 1 or 3 channels, not " + std::to_string(image->nChannels) +
                 "; write PNG for this one";
        return false;
    }
    return true;
}

bool writePnm(FILE* out, const ZolImage* image) {
    const int depth = image->depth;
    const int64_t rowBytes = diskRowBytes(depth, image->nChannels, image->width);
    std::vector<unsigned char> buffer(size_t(rowBytes) + 1);
    bool ok;
    if (depth == ZOL_DEPTH_1U)
        ok = std::fprintf(out, "P4\n%d %d\n", image->width, image->height) > 0;
    else
        ok = std::fprintf(out, "P%c\n%d %d\n%d\n", image->nChannels == 1 ? '5' : '6',
                          image->width, image->height, depth == ZOL_DEPTH_8U ? 255 : 65535) > 0;
    for (int y = 0; ok && y < image->height; ++y) {
        const unsigned char* row = fileRow(image, y);
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
    return ok;
}

}  // namespace zoltool
