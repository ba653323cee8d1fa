// JPEG files through libjpeg.
//
// libjpeg's fatal errors call error_exit, which must not return: ours
// longjmps back to the setjmp of the step that was running. As in png.cpp,
// each such step is a plain function whose state lives in a struct owned
// by the caller and which holds no C++ object of its own.
//
// Damaged data (a file cut short, bad entropy codes) is only a warning to
// libjpeg, which then makes up gray pixels; the tool refuses such files.
#include <csetjmp>
#include <cstdio>
#include <vector>

// jpeglib.h needs size_t and FILE declared before it.
#include <jpeglib.h>

#include "files.h"

namespace zoltool {
namespace {

struct JpegError {
    jpeg_error_mgr mgr;
    std::jmp_buf jump;
    char message[JMSG_LENGTH_MAX] = "";
    bool damaged = false;
};

void onErrorExit(j_common_ptr info) {
    auto* err = reinterpret_cast<JpegError*>(info->err);
    info->err->format_message(info, err->message);
    std::longjmp(err->jump, 1);
}

// Level -1 is a warning about damaged data; the first one is kept. Other
// levels are trace messages.
void onMessage(j_common_ptr info, int level) {
    auto* err = reinterpret_cast<JpegError*>(info->err);
    if (level < 0 && !err->damaged) {
        err->damaged = true;
        info->err->format_message(info, err->message);
    }
}

void initError(JpegError* err) {
    jpeg_std_error(&err->mgr);
    err->mgr.error_exit = onErrorExit;
    err->mgr.emit_message = onMessage;
}

struct Reader {
    jpeg_decompress_struct info;
    JpegError err;
    bool created = false;
};

bool readHeader(Reader* r, FILE* in) {
    if (setjmp(r->err.jump)) return false;
    jpeg_create_decompress(&r->info);
    r->created = true;
    jpeg_stdio_src(&r->info, in);
    jpeg_read_header(&r->info, TRUE);
    return true;
}

bool readRows(Reader* r, unsigned char** rows) {
    if (setjmp(r->err.jump)) return false;
    jpeg_start_decompress(&r->info);
    while (r->info.output_scanline < r->info.output_height)
        jpeg_read_scanlines(&r->info, rows + r->info.output_scanline,
                            r->info.output_height - r->info.output_scanline);
    jpeg_finish_decompress(&r->info);
    return true;
}

struct Writer {
    jpeg_compress_struct info;
    JpegError err;
    bool created = false;
};

bool writeAll(Writer* w, FILE* out, const ZolImage* image, int quality, unsigned char** rows) {
    if (setjmp(w->err.jump)) return false;
    jpeg_create_compress(&w->info);
    w->created = true;
    jpeg_stdio_dest(&w->info, out);
    w->info.image_width = JDIMENSION(image->width);
    w->info.image_height = JDIMENSION(image->height);
    w->info.input_components = image->nChannels;
    w->info.in_color_space = image->nChannels == 1 ? JCS_GRAYSCALE : JCS_RGB;
    jpeg_set_defaults(&w->info);
    jpeg_set_quality(&w->info, quality, TRUE);
    jpeg_start_compress(&w->info, TRUE);
    while (w->info.next_scanline < w->info.image_height)
        jpeg_write_scanlines(&w->info, rows + w->info.next_scanline,
                             w->info.image_height - w->info.next_scanline);
    jpeg_finish_compress(&w->info);
    return true;
}

}  // namespace

ZolImage* readJpeg(FILE* in, const std::string& path, std::string* error) {
    Reader r;
    r.info.err = &r.err.mgr;
    initError(&r.err);
    ZolImage* image = nullptr;
    std::string why;
    if (!readHeader(&r, in)) {
        why = std::string("bad JPEG file: ") + r.err.message;
    } else if (r.info.jpeg_color_space == JCS_CMYK || r.info.jpeg_color_space == JCS_YCCK) {
        why = "CMYK JPEG files are not supported, only gray and colour";
    } else {
        const bool gray = r.info.num_components == 1;
        r.info.out_color_space = gray ? JCS_GRAYSCALE : JCS_RGB;
        image = newImage(ZOL_DEPTH_8U, gray ? 1 : 3, int(r.info.image_width),
                         int(r.info.image_height), &why);
        if (image) {
            std::vector<unsigned char*> rows(size_t(image->height));
            for (int y = 0; y < image->height; ++y) rows[size_t(y)] = fileRow(image, y);
            const bool read = readRows(&r, rows.data());
            if (!read || r.err.damaged) {
                why = std::string(read ? "damaged or truncated JPEG file: " : "bad JPEG file: ") +
                      r.err.message;
                freeImage(image);
                image = nullptr;
            }
        }
    }
    if (r.created) jpeg_destroy_decompress(&r.info);
    if (!image) *error = path + ": " + why;
    return image;
}

bool jpegCanHold(const ZolImage* image, std::string* error) {
    if (image->depth != ZOL_DEPTH_8U || (image->nChannels != 1 && image->nChannels != 3)) {
        *error = std::string("JPEG files hold 8u gray or RGB images, not ") +
                 std::to_string(image->nChannels) + " channel" +
                 (image->nChannels == 1 ? " of " : "s of ") + depthName(image->depth) +
                 " samples; write PNG for this one";
        return false;
    }
    return true;
}

bool writeJpeg(FILE* out, const ZolImage* image, int quality, std::string* error) {
    Writer w;
    w.info.err = &w.err.mgr;
    initError(&w.err);
    std::vector<unsigned char*> rows(size_t(image->height));
    for (int y = 0; y < image->height; ++y) rows[size_t(y)] = fileRow(image, y);
    const bool ok = writeAll(&w, out, image, quality, rows.data());
    if (!ok) *error = w.err.message;
    if (w.created) jpeg_destroy_compress(&w.info);
    return ok;
}

}  // namespace zoltool
