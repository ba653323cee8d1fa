// The ring test pattern.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "kit.h"

namespace {
struct Owned {
    ZolImage* p;
    ~Owned() { zolDeallocate(p, ZOL_FREE_HEADER | ZOL_FREE_DATA); }
};

float asFloat(int64_t bits) {
    const uint32_t b = uint32_t(bits);
    float f;
    std::memcpy(&f, &b, 4);
    return f;
}
}  // namespace

TEST(Jaehne, HeaderAndSinglePixelValues) {
    // A 1x1 image has c = 0 and s = 0 at its only pixel.
    const struct {
        int depth;
        int64_t value;
    } one[] = {{ZOL_DEPTH_1U, 0},  {ZOL_DEPTH_8U, 127},  {ZOL_DEPTH_8S, 0},
               {ZOL_DEPTH_16U, 32767}, {ZOL_DEPTH_16S, 0}, {ZOL_DEPTH_32S, 0}};
    for (const auto& c : one) {
        Owned im{zolCreateImageJaehne(c.depth, 1, 1)};
        ASSERT_NE(nullptr, im.p);
        EXPECT_EQ(c.value, kit::get(im.p, 0, 0, 0)) << kit::depthName(c.depth);
        EXPECT_EQ(1, im.p->nChannels);
        EXPECT_EQ(0, std::memcmp(im.p->colorModel, "GRAY", 4));
        EXPECT_EQ(0, std::memcmp(im.p->channelSeq, "GRAY", 4));
        EXPECT_EQ(4, im.p->align);
        EXPECT_EQ(nullptr, im.p->roi);
    }
    Owned f{zolCreateImageJaehne(ZOL_DEPTH_32F, 1, 1)};
    EXPECT_EQ(float(0.49999), asFloat(kit::get(f.p, 0, 0, 0)));
}

// Rings are symmetric about the centre, whose value is that of s = 0, and
// follow sin(c * 2pi / (4 * height)) in every depth's scaling.
TEST(Jaehne, RingsFollowTheFormula) {
    const int w = 37, h = 23, cx = w / 2, cy = h / 2;
    for (int depth : kit::allDepths()) {
        SCOPED_TRACE(kit::depthName(depth));
        Owned im{zolCreateImageJaehne(depth, w, h)};
        ASSERT_NE(nullptr, im.p);
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                const double c = double((x - cx) * (x - cx) + (y - cy) * (y - cy));
                const double s = std::sin(c * 6.283185307179586 / (4.0 * h));
                const int64_t v = kit::get(im.p, x, y, 0);
                // Double precision here against extended there: allow one
                // step where the product lands next to an integer.
                double want;
                switch (depth) {
                    case ZOL_DEPTH_1U: want = std::trunc((s + 1) * 0.99999); break;
                    case ZOL_DEPTH_8U: want = std::trunc((s + 1) * 127.99999); break;
                    case ZOL_DEPTH_8S: want = std::trunc(s * 127.99999); break;
                    case ZOL_DEPTH_16U: want = std::trunc((s + 1) * 32767.99999); break;
                    case ZOL_DEPTH_16S: want = std::trunc(s * 32767.99999); break;
                    case ZOL_DEPTH_32S: want = std::trunc(s * 2147483647.99999); break;
                    default: want = (s + 1) * 0.49999; break;
                }
                if (depth == ZOL_DEPTH_32F) EXPECT_NEAR(want, asFloat(v), 1e-6);
                else if (depth == ZOL_DEPTH_32S) EXPECT_NEAR(want, double(v), 2.0);
                else EXPECT_NEAR(want, double(v), 1.0) << x << "," << y;
                if (x > 0 && 2 * cx - x < w) {
                    EXPECT_EQ(v, kit::get(im.p, 2 * cx - x, y, 0));
                }
            }
    }
    // The ring spacing follows the height alone.
    Owned a{zolCreateImageJaehne(ZOL_DEPTH_8U, 4, 8)}, b{zolCreateImageJaehne(ZOL_DEPTH_8U, 8, 4)};
    EXPECT_NE(kit::get(a.p, 0, 4, 0), kit::get(b.p, 4, 0, 0));
}

TEST(Jaehne, FailuresReturnNullAndLeakNothing) {
    kit::Recorder rec;
    EXPECT_EQ(nullptr, zolCreateImageJaehne(ZOL_DEPTH_8U, 0, 5));
    EXPECT_TRUE(rec.only(ZOL_STATUS_BAD_SIZE, "zolCreateImageJaehne", "Incorrect image size"));
    rec.clear();
    EXPECT_EQ(nullptr, zolCreateImageJaehne(5, 4, 4));
    EXPECT_TRUE(rec.only(ZOL_STATUS_BAD_DEPTH, "zolCreateImageJaehne",
                         "Incorrect depth value in the image header"));
    rec.clear();
    {
        kit::HeapFailure fail(1);
        EXPECT_EQ(nullptr, zolCreateImageJaehne(ZOL_DEPTH_8U, 4, 4));
    }
    EXPECT_TRUE(rec.only(ZOL_STATUS_NO_MEMORY, "zolCreateImageJaehne",
                         "Not enough memory to allocate header for ImageJaehne"));
    rec.clear();
    {
        kit::HeapFailure fail(2);
        EXPECT_EQ(nullptr, zolCreateImageJaehne(ZOL_DEPTH_16S, 4, 4));
    }
    EXPECT_TRUE(rec.only(ZOL_STATUS_NO_MEMORY, "zolCreateImageJaehne",
                         "Not enough memory to allocate imageData for ImageJaehne"));
}
