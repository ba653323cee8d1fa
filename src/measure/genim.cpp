// The ring test pattern: concentric rings whose frequency rises with the
// distance from the centre, a ready input for filters and resampling.
#include <cmath>
#include <cstdint>
#include <cstring>

#include "core/image.h"
#include "core/messages.h"
#include "core/report.h"

namespace zol {
namespace {

// The pattern computed once per pixel, in extended precision, and stored by
// a per-depth writer.
template <class Store>
void fillRings(ZolImage* image, Store store) {
    const int cx = image->width / 2, cy = image->height / 2;
    // The divisor uses the height alone, whatever the width.
    const long double scale = (long double)6.283185307179586 / (4.0L * image->height);
    for (int y = 0; y < image->height; ++y) {
        char* row = image->imageData + ptrdiff_t(y) * image->widthStep;
        const int64_t dy = int64_t(y) - cy;
        for (int x = 0; x < image->width; ++x) {
            const int64_t dx = int64_t(x) - cx;
            const int64_t c = dx * dx + dy * dy;
            const long double s = std::sin((long double)c * scale);
            store(row, x, s);
        }
    }
}

template <class T>
void put(char* row, int x, T v) {
    std::memcpy(row + ptrdiff_t(x) * ptrdiff_t(sizeof(T)), &v, sizeof v);
}

}  // namespace
}  // namespace zol

using namespace zol;

extern "C" ZOL_API ZolImage* zolCreateImageJaehne(int depth, int width, int height) {
    if (width <= 0 || height <= 0) {
        report(ZOL_STATUS_BAD_SIZE, msg::kCreateImageJaehne, zolErrorStr(ZOL_STATUS_BAD_SIZE));
        return nullptr;
    }
    if (!isKnownDepth(depth)) {
        report(ZOL_STATUS_BAD_DEPTH, msg::kCreateImageJaehne, zolErrorStr(ZOL_STATUS_BAD_DEPTH));
        return nullptr;
    }
    static const char kGray[4] = {'G', 'R', 'A', 'Y'};
    ZolImage* image = zolCreateImageHeader(1, 0, depth, kGray, kGray, ZOL_DATA_ORDER_PIXEL,
                                           ZOL_ORIGIN_TL, ZOL_ALIGN_DWORD, width, height, nullptr,
                                           nullptr, nullptr, nullptr);
    if (!image) {
        report(ZOL_STATUS_NO_MEMORY, msg::kCreateImageJaehne, msg::kJaehneNoHeader);
        return nullptr;
    }
    if (depth == ZOL_DEPTH_32F) zolAllocateImageFP(image, 1, 0.0f);
    else zolAllocateImage(image, 1, 0);
    if (!image->imageData) {
        zolDeallocate(image, ZOL_FREE_HEADER);
        report(ZOL_STATUS_NO_MEMORY, msg::kCreateImageJaehne, msg::kJaehneNoData);
        return nullptr;
    }
    // Truncation toward zero is the conversion to an integer type.
    switch (depth) {
        case ZOL_DEPTH_1U:
            fillRings(image, [](char* row, int x, long double s) {
                if (int((s + 1.0L) * (long double)0.99999))
                    row[x >> 3] = char(row[x >> 3] | (0x80 >> (x & 7)));
            });
            break;
        case ZOL_DEPTH_8U:
            fillRings(image, [](char* row, int x, long double s) {
                put(row, x, uint8_t(int((s + 1.0L) * (long double)127.99999)));
            });
            break;
        case ZOL_DEPTH_8S:
            fillRings(image, [](char* row, int x, long double s) {
                put(row, x, int8_t(int(s * (long double)127.99999)));
            });
            break;
        case ZOL_DEPTH_16U:
            fillRings(image, [](char* row, int x, long double s) {
                put(row, x, uint16_t(int((s + 1.0L) * (long double)32767.99999)));
            });
            break;
        case ZOL_DEPTH_16S:
            fillRings(image, [](char* row, int x, long double s) {
                put(row, x, int16_t(int(s * (long double)32767.99999)));
            });
            break;
        case ZOL_DEPTH_32S:
            fillRings(image, [](char* row, int x, long double s) {
                put(row, x, int32_t(s * (long double)2147483647.99999));
            });
            break;
        default:  // 32F
            fillRings(image, [](char* row, int x, long double s) {
                put(row, x, float((s + 1.0L) * (long double)0.49999));
            });
            break;
    }
    return image;
}
