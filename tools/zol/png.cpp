// PNG files through libpng.
//
// libpng reports a damaged file by calling our error function, which must
// not return: it longjmps back to the setjmp of the step that was running.
// A longjmp skips destructors, so each step that calls libpng is a plain
// function whose state lives in a struct owned by its caller, holds no C++
// object of its own, and only reads or writes that struct after setjmp.
// The caller frees what the struct holds, whichever way the step ended.
#include <png.h>

#include <csetjmp>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "files.h"

namespace zoltool {
namespace {

struct PngState {
    png_structp png = nullptr;
    png_infop info = nullptr;
    char message[200] = "";
};

void onError(png_structp png, png_const_charp message) {
    auto* state = static_cast<PngState*>(png_get_error_ptr(png));
    std::snprintf(state->message, sizeof state->message, "%s", message);
    png_longjmp(png, 1);
}

// Warnings (an unknown profile, a bad ancillary chunk) leave the pixels
// intact; the tool stays quiet about them.
void onWarning(png_structp, png_const_charp) {}

struct PngHeader {
    png_uint_32 width = 0, height = 0;
    int bitDepth = 0, channels = 0;
    bool bitmap = false;  // 1-bit gray without transparency: read as 1U
};

// Reads the header and sets the transforms that map the file onto 8- or
// 16-bit gray, RGB or RGBA, or 1-bit gray.
bool readHeader(PngState* s, FILE* in, PngHeader* h) {
    if (setjmp(png_jmpbuf(s->png))) return false;
    png_init_io(s->png, in);
    png_read_info(s->png, s->info);
    const int type = png_get_color_type(s->png, s->info);
    const int depth = png_get_bit_depth(s->png, s->info);
    const bool transparent = png_get_valid(s->png, s->info, PNG_INFO_tRNS) != 0;
    h->bitmap = type == PNG_COLOR_TYPE_GRAY && depth == 1 && !transparent;
    if (!h->bitmap) {
        if (type == PNG_COLOR_TYPE_PALETTE) png_set_palette_to_rgb(s->png);
        if (type == PNG_COLOR_TYPE_GRAY && depth < 8) png_set_expand_gray_1_2_4_to_8(s->png);
        if (transparent) png_set_tRNS_to_alpha(s->png);
        // Gray with alpha has no image of its own: it becomes RGBA.
        if (type == PNG_COLOR_TYPE_GRAY_ALPHA || (type == PNG_COLOR_TYPE_GRAY && transparent))
            png_set_gray_to_rgb(s->png);
        if (depth == 16) png_set_swap(s->png);  // big-endian on disk, native in memory
    }
    png_set_interlace_handling(s->png);
    png_read_update_info(s->png, s->info);
    h->width = png_get_image_width(s->png, s->info);
    h->height = png_get_image_height(s->png, s->info);
    h->bitDepth = png_get_bit_depth(s->png, s->info);
    h->channels = png_get_channels(s->png, s->info);
    return true;
}

bool readRows(PngState* s, png_bytep* rows) {
    if (setjmp(png_jmpbuf(s->png))) return false;
    png_read_image(s->png, rows);
    // Up to the end chunk, so that a file cut after its pixels is refused too.
    png_read_end(s->png, nullptr);
    return true;
}

bool writeAll(PngState* s, FILE* out, const ZolImage* image, png_bytep* rows) {
    if (setjmp(png_jmpbuf(s->png))) return false;
    png_init_io(s->png, out);
    const int channels = image->nChannels;
    const int type = image->depth == ZOL_DEPTH_1U ? PNG_COLOR_TYPE_GRAY
                     : channels == 1             ? PNG_COLOR_TYPE_GRAY
                     : channels == 3             ? PNG_COLOR_TYPE_RGB
                                                 : PNG_COLOR_TYPE_RGB_ALPHA;
    const int bits = image->depth == ZOL_DEPTH_1U ? 1 : image->depth;
    png_set_IHDR(s->png, s->info, png_uint_32(image->width), png_uint_32(image->height), bits,
                 type, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(s->png, s->info);
    if (bits == 16) png_set_swap(s->png);
    png_write_image(s->png, rows);
    png_write_end(s->png, nullptr);
    return true;
}

// The image's rows in file order.
std::vector<png_bytep> rowsOf(const ZolImage* image) {
    std::vector<png_bytep> rows(size_t(image->height));
    for (int y = 0; y < image->height; ++y) rows[size_t(y)] = fileRow(image, y);
    return rows;
}

}  // namespace

ZolImage* readPng(FILE* in, const std::string& path, std::string* error) {
    PngState s;
    s.png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &s, onError, onWarning);
    if (s.png) s.info = png_create_info_struct(s.png);
    if (!s.info) {
        png_destroy_read_struct(&s.png, nullptr, nullptr);
        *error = path + ": out of memory for the PNG reader";
        return nullptr;
    }
    PngHeader h;
    ZolImage* image = nullptr;
    std::string why;
    if (!readHeader(&s, in, &h)) {
        why = std::string("bad PNG file: ") + s.message;
    } else if (h.width > png_uint_32(INT32_MAX) || h.height > png_uint_32(INT32_MAX)) {
        why = "the image is too large";
    } else {
        const int depth = h.bitmap ? ZOL_DEPTH_1U : h.bitDepth == 16 ? ZOL_DEPTH_16U : ZOL_DEPTH_8U;
        image = newImage(depth, h.channels, int(h.width), int(h.height), &why);
        if (image) {
            std::vector<png_bytep> rows = rowsOf(image);
            if (!readRows(&s, rows.data())) {
                why = std::string("bad or truncated PNG file: ") + s.message;
                freeImage(image);
                image = nullptr;
            }
        }
    }
    png_destroy_read_struct(&s.png, &s.info, nullptr);
    if (!image) *error = path + ": " + why;
    return image;
}

bool pngCanHold(const ZolImage* image, std::string* error) {
    const int depth = image->depth;
    if (depth != ZOL_DEPTH_1U && depth != ZOL_DEPTH_8U && depth != ZOL_DEPTH_16U) {
        *error = std::string("PNG files cannot hold ") + depthName(depth) +
                 " samples (only 1u, 8u and 16u)";
        return false;
    }
    const int channels = image->nChannels;
    if ((depth == ZOL_DEPTH_1U && channels != 1) ||
        (channels != 1 && channels != 3 && channels != 4)) {
        *error = "PNG files cannot hold " + std::to_string(channels) + " channels of " +
                 depthName(depth) + " samples";
        return false;
    }
    return true;
}

bool writePng(FILE* out, const ZolImage* image, std::string* error) {
    PngState s;
    s.png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &s, onError, onWarning);
    if (s.png) s.info = png_create_info_struct(s.png);
    bool ok = false;
    if (!s.info) {
        *error = "out of memory for the PNG writer";
    } else {
        std::vector<png_bytep> rows = rowsOf(image);
        ok = writeAll(&s, out, image, rows.data());
        if (!ok) *error = s.message;
    }
    png_destroy_write_struct(&s.png, &s.info);
    return ok;
}

}  // namespace zoltool
