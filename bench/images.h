// Benchmark inputs shared by every family: 1920x1080 images of random
// contents, made with the library's own calls.
#pragma once

#include <random>

#include "zol.h"

namespace bench {

constexpr int kW = 1920, kH = 1080;

// A new pixel-order image of random contents, or NULL. Float images get
// ordinary numbers: random bits would bring denormals and their slow paths
// into the timing.
inline ZolImage* randomImage(int depth, int channels, unsigned seed) {
    static const char kModel[4] = {'B', 'E', 'N', 'C'};
    ZolImage* im = zolCreateImageHeader(channels, 0, depth, kModel, kModel, ZOL_DATA_ORDER_PIXEL,
                                        ZOL_ORIGIN_TL, ZOL_ALIGN_DWORD, kW, kH, nullptr, nullptr,
                                        nullptr, nullptr);
    if (!im) return nullptr;
    if (depth == ZOL_DEPTH_32F) zolAllocateImageFP(im, 0, 0.0f);
    else zolAllocateImage(im, 0, 0);
    if (!im->imageData) {
        zolDeallocate(im, ZOL_FREE_HEADER);
        return nullptr;
    }
    std::mt19937 g(seed);
    if (depth == ZOL_DEPTH_32F) {
        std::uniform_real_distribution<float> u(-1000.0f, 1000.0f);
        auto* p = reinterpret_cast<float*>(im->imageData);
        for (int i = 0; i < im->imageSize / 4; ++i) p[i] = u(g);
    } else {
        for (int i = 0; i < im->imageSize; ++i) im->imageData[i] = char(g());
    }
    return im;
}

}  // namespace bench
