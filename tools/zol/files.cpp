// Images of the zol tool and the choice of file format.
#include <strings.h>
#include <sys/stat.h>

#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstring>

#include "files.h"

namespace zoltool {

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
    if (channels != 1 && channels != 3 && channels != 4) {
        *error = "images of " + std::to_string(channels) + " channels are not supported";
        return nullptr;
    }
    if (!imageFits(depth, channels, width, height, error)) return nullptr;
    const char* model = channels == 1 ? "GRAY" : "RGB\0";
    const char* sequence = channels == 1 ? "GRAY" : channels == 3 ? "RGB\0" : "RGBA";
    zolSetErrStatus(0);
    ZolImage* image = zolCreateImageHeader(channels, channels == 4 ? 4 : 0, depth, model, sequence,
                                           ZOL_DATA_ORDER_PIXEL, ZOL_ORIGIN_TL, ZOL_ALIGN_DWORD,
                                           width, height, nullptr, nullptr, nullptr, nullptr);
    if (!image || zolGetErrStatus() < 0) {
        *error = std::string("cannot create an image header: ") + zolErrorStr(zolGetErrStatus());
        freeImage(image);
        return nullptr;
    }
    if (depth == ZOL_DEPTH_32F)
        zolAllocateImageFP(image, 0, 0);
    else
        zolAllocateImage(image, 0, 0);
    if (!image->imageData || zolGetErrStatus() < 0) {
        *error = "out of memory for " + std::to_string(image->imageSize) + " bytes of pixels";
        freeImage(image);
        return nullptr;
    }
    return image;
}

void freeImage(ZolImage* image) {
    if (image) zolDeallocate(image, ZOL_FREE_HEADER | ZOL_FREE_DATA | ZOL_FREE_ROI);
}

unsigned char* fileRow(const ZolImage* image, int n) {
    const int y = image->origin == ZOL_ORIGIN_BL ? image->height - 1 - n : n;
    return reinterpret_cast<unsigned char*>(image->imageData) + ptrdiff_t(y) * image->widthStep;
}

void removePartial(const std::string& path) {
    struct stat st;
    if (stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode)) std::remove(path.c_str());
}

Format formatOfWord(const std::string& word) {
    static const struct {
        const char* word;
        Format format;
    } kWords[] = {{"pnm", Format::Pnm}, {"pbm", Format::Pnm}, {"pgm", Format::Pnm},
                  {"ppm", Format::Pnm}, {"png", Format::Png}, {"jpeg", Format::Jpeg},
                  {"jpg", Format::Jpeg}, {"bmp", Format::Bmp}};
    for (const auto& w : kWords)
        if (strcasecmp(word.c_str(), w.word) == 0) return w.format;
    return Format::None;
}

Format formatOfName(const std::string& path) {
    const size_t dot = path.rfind('.');
    if (dot == std::string::npos || path.find('/', dot) != std::string::npos) return Format::None;
    return formatOfWord(path.substr(dot + 1));
}

const char* formatName(Format format) {
    switch (format) {
        case Format::Pnm: return "PNM";
        case Format::Png: return "PNG";
        case Format::Jpeg: return "JPEG";
        case Format::Bmp: return "BMP";
        default: return "none";
    }
}

namespace {

struct FileCloser {
    FILE* f;
    ~FileCloser() {
        if (f) std::fclose(f);
    }
};

// The PNM kind a .pbm, .pgm or .ppm name asks for ('4', '5', '6'), or 0.
char pnmKindOfName(const std::string& path) {
    const size_t dot = path.rfind('.');
    if (dot == std::string::npos) return 0;
    const std::string ext = path.substr(dot + 1);
    if (strcasecmp(ext.c_str(), "pbm") == 0) return '4';
    if (strcasecmp(ext.c_str(), "pgm") == 0) return '5';
    if (strcasecmp(ext.c_str(), "ppm") == 0) return '6';
    return 0;
}

}  // namespace

ImagePtr readImage(const std::string& path, std::string* error) {
    FileCloser in{std::fopen(path.c_str(), "rb")};
    if (!in.f) {
        *error = path + ": " + std::strerror(errno);
        return nullptr;
    }
    // One byte tells the formats apart; the reader checks the rest. Only
    // one byte is pushed back, which every stream allows, pipes included.
    const int first = std::getc(in.f);
    if (first == EOF) {
        *error = path + (std::ferror(in.f) ? ": " + std::string(std::strerror(errno))
                                           : std::string(": empty file"));
        return nullptr;
    }
    std::ungetc(first, in.f);
    ZolImage* image = nullptr;
    if (first == 'P')
        image = readPnm(in.f, path, error);
    else if (first == 0x89)
        image = readPng(in.f, path, error);
    else if (first == 0xFF)
        image = readJpeg(in.f, path, error);
    else if (first == 'B')
        image = readBmp(in.f, path, error);
    else
        *error = path + ": not a PNG, JPEG, PNM or BMP file";
    return ImagePtr(image);
}

int writeImage(const std::string& path, const ZolImage* image, const WriteOptions& options,
               std::string* error) {
    Format format = options.format;
    if (format == Format::None) format = formatOfName(path);
    if (format == Format::None) format = Format::Png;
    std::string why;
    const BmpOptions& bmp = options.bmp;
    if (format != Format::Bmp && (bmp.bits || bmp.rle || bmp.palette >= 0)) {
        *error = path + ": --bits, --rle and --palette are for BMP files (name the file .bmp "
                        "or give --format bmp)";
        return 2;
    }
    bool holds = format == Format::Pnm    ? pnmCanHold(image, &why)
                 : format == Format::Png ? pngCanHold(image, &why)
                 : format == Format::Bmp ? bmpCanHold(image, bmp, &why)
                                         : jpegCanHold(image, &why);
    if (holds && format == Format::Pnm) {
        // A .pbm, .pgm or .ppm name must get that kind of content.
        const char named = pnmKindOfName(path);
        const char kind = image->depth == ZOL_DEPTH_1U ? '4' : image->nChannels == 1 ? '5' : '6';
        if (named && named != kind) {
            why = std::string("this image is written as ") +
                  (kind == '4' ? "PBM; name the file .pbm" : kind == '5' ? "PGM; name the file .pgm"
                                                                         : "PPM; name the file .ppm");
            holds = false;
        }
    }
    if (!holds) {
        *error = path + ": " + why;
        return 2;
    }
    FILE* out = std::fopen(path.c_str(), "wb");
    if (!out) {
        *error = path + ": " + std::strerror(errno);
        return 1;
    }
    why.clear();
    bool ok = format == Format::Pnm    ? writePnm(out, image)
              : format == Format::Png ? writePng(out, image, &why)
              : format == Format::Bmp ? writeBmp(out, image, bmp, &why)
                                      : writeJpeg(out, image, options.quality, &why);
    int err = errno;
    // A full disk may only show when the buffers are flushed.
    if (std::fclose(out) != 0 && ok) {
        ok = false;
        err = errno;
    }
    if (!ok) {
        *error = path + ": cannot write: " + (why.empty() ? std::strerror(err) : why);
        removePartial(path);
        return 1;
    }
    return 0;
}

}  // namespace zoltool
