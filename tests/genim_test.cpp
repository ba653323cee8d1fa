// The ring test pattern.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "kit.h"

// Rings follow sin(c * 2pi / (4 * height)) with c the squared distance to
// the centre (so a 1x1 image holds s = 0), in every depth's scaling, on a
// one-channel gray image of alignment 4 without a ROI.
TEST(Jaehne, RingsFollowTheFormula) {
    const struct { int depth; double offset, scale; } depths[] = {
        {ZOL_DEPTH_1U, 1, 0.99999}, {ZOL_DEPTH_8U, 1, 127.99999}, {ZOL_DEPTH_8S, 0, 127.99999},
        {ZOL_DEPTH_16U, 1, 32767.99999}, {ZOL_DEPTH_16S, 0, 32767.99999},
        {ZOL_DEPTH_32S, 0, 2147483647.99999}, {ZOL_DEPTH_32F, 1, 0.49999}};
    for (const auto& [depth, offset, scale] : depths) {
        for (const auto& [w, h] : {std::pair{37, 23}, {1, 1}, {8, 4}}) {
            SCOPED_TRACE(std::string(kit::depthName(depth)) + " " + std::to_string(w));
            ZolImage* im = zolCreateImageJaehne(depth, w, h);
            ASSERT_NE(nullptr, im);
            EXPECT_TRUE(im->nChannels == 1 && im->align == 4 && im->roi == nullptr);
            EXPECT_EQ(0, std::memcmp(im->colorModel, "GRAYGRAY", 8));
            for (int y = 0; y < h; ++y)
                for (int x = 0; x < w; ++x) {
                    const int c = (x - w / 2) * (x - w / 2) + (y - h / 2) * (y - h / 2);
                    const double s = std::sin(c * 6.283185307179586 / (4.0 * h));
                    const int64_t v = kit::get(im, x, y, 0);
                    float f;
                    std::memcpy(&f, &v, 4);  // the low bits, little-endian
                    // Double precision here against extended there: allow one
                    // step where the product lands next to an integer.
                    if (depth == ZOL_DEPTH_32F) EXPECT_NEAR((s + 1) * scale, f, 1e-6);
                    else EXPECT_NEAR(std::trunc((s + offset) * scale), double(v), 1.0) << x << y;
                }
            zolDeallocate(im, ZOL_FREE_HEADER | ZOL_FREE_DATA);
        }
    }
}

TEST(Jaehne, FailuresReturnNullAndLeakNothing) {
    const std::string memory = "Not enough memory to allocate ";
    const struct { int depth, width, failAt, status; std::string context; } cases[] = {
        {ZOL_DEPTH_8U, 0, 0, ZOL_STATUS_BAD_SIZE, "Incorrect image size"},
        {5, 4, 0, ZOL_STATUS_BAD_DEPTH, "Incorrect depth value in the image header"},
        {ZOL_DEPTH_8U, 4, 1, ZOL_STATUS_NO_MEMORY, memory + "header for ImageJaehne"},
        {ZOL_DEPTH_16S, 4, 2, ZOL_STATUS_NO_MEMORY, memory + "imageData for ImageJaehne"},
    };
    for (const auto& c : cases) {
        kit::Recorder rec;
        kit::HeapFailure fail(c.failAt);
        EXPECT_EQ(nullptr, zolCreateImageJaehne(c.depth, c.width, 4));
        EXPECT_TRUE(rec.only(c.status, "zolCreateImageJaehne", c.context)) << c.context;
    }
}
