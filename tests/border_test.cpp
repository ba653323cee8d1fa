// The border fetchers: rectangles and rows against the per-pixel fetch at
// any distance, plain and tiled, the constant per depth, and failures.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <memory>
#include <random>

#include "core/border.h"
#include "core/image.h"
#include "kit.h"
#include "tiles.h"

namespace {

using kit::Image;
using kit::TileServer;
using zol::ownGetBorderPixel;
using Block = std::unique_ptr<void, void (*)(void*)>;

// A plain header over a block (or buffer) of the image's layout.
ZolImage viewOf(const ZolImage* im, void* data, int stride, int w, int h) {
    ZolImage v = *im;
    v.imageData = static_cast<char*>(data), v.widthStep = stride, v.width = w, v.height = h;
    return v;
}
Block rectOf(const ZolImage* im, int x, int y, int w, int h, int* stride) {
    return Block(zol::ownGetRect(im, x, y, w, h, stride), zolFree);
}
bool released(const TileServer& s) { return s.breaches().empty() && !s.held(); }

// The oracle: the per-pixel fetch on the plain image, at the element's
// width as kit::get reads it back. A rectangle takes an outer constant by
// depth (low bit, float value), a row takes it raw.
int64_t expected(const ZolImage* im, int x, int y, int c, bool rect) {
    int32_t v = ownGetBorderPixel(im, x, y, c + 1);
    const int zone = zol::ownBorderZone(im, x, y);
    if (rect && zone && (im->borderMode[zol::ownZoneSide(zone)] & 3) == 0) {
        if (im->depth == ZOL_DEPTH_1U) v &= 1;
        if (im->depth == ZOL_DEPTH_32F) {
            const float f = float(v);
            std::memcpy(&v, &f, 4);
        }
    }
    switch (im->depth) {
        case ZOL_DEPTH_1U: return v != 0;
        case ZOL_DEPTH_8U: return uint8_t(v);
        case ZOL_DEPTH_8S: return int8_t(v);
        case ZOL_DEPTH_16U: return uint16_t(v);
        case ZOL_DEPTH_16S: return int16_t(v);
        case ZOL_DEPTH_32S: return v;
        default: return uint32_t(v);
    }
}

// Random layout, contents, modes 0..7 and constants.
Image randomImage(std::mt19937& g) {
    const int depth = kit::allDepths()[g() % 7];
    const int nCh = depth == ZOL_DEPTH_1U ? 1 : 1 + int(g() % 4);
    Image im(depth, nCh, 1 + int(g() % 13), 1 + int(g() % 13), int(g() % 2), g() % 2 ? 4 : 8);
    im.randomize(g());
    for (int s = 0; s < 4; ++s)
        zolSetBorderMode(im, int(g() % 8), 1 << s, int32_t(g()) >> (g() % 32));
    return im;
}

// A start coordinate near, across, or far (either way) from an axis of n.
int randomStart(std::mt19937& g, int n) {
    const int span = 3 * n + 4, pick = int(g() % 4);
    return pick == 0 ? int(g() % (2 * span)) - span
           : pick == 1 ? -int(g() % (60 * n)) - 1
           : pick == 2 ? n + int(g() % (60 * n))
                       : int(g() % unsigned(n));
}

// The rectangle of w x h at (x, y) and the row of w elements of channel c
// fetched from `from` (the plain image or a tiled one over it) against the
// oracle; the stride rounds the row to align and 16 spare bytes follow the
// last plane (ASan checks the write).
void expectFetch(const ZolImage* plain, const ZolImage* from, int x, int y, int w, int h, int c) {
    int stride = -1;
    const Block block = rectOf(from, x, y, w, h, &stride);
    ASSERT_NE(nullptr, block);
    ASSERT_EQ(zol::ownCalcStep(plain->dataOrder, plain->depth, plain->align, plain->nChannels, w),
              stride);
    const int planes = plain->dataOrder == ZOL_DATA_ORDER_PLANE ? plain->nChannels : 1;
    std::memset(static_cast<char*>(block.get()) + size_t(planes) * h * stride, 0x5A, 16);
    const ZolImage b = viewOf(plain, block.get(), stride, w, h);
    for (int i = 0; i < h; ++i)
        for (int j = 0; j < w; ++j)
            for (int k = 0; k < plain->nChannels; ++k)
                ASSERT_EQ(expected(plain, x + j, y + i, k, true), kit::get(&b, j, i, k))
                    << "rect at " << x << "," << y << " element " << j << "," << i << "," << k;
    std::vector<uint32_t> buf(size_t(w) + 1);
    zol::ownGetBorderRow(from, x, y, c + 1, buf.data(), w);
    ZolImage r = viewOf(plain, buf.data(), w * 4 + 4, w, 1);
    r.nChannels = 1, r.dataOrder = ZOL_DATA_ORDER_PIXEL;
    for (int k = 0; k < w; ++k)
        ASSERT_EQ(expected(plain, x + k, y, c, false), kit::get(&r, k, 0, 0))
            << "row from " << x << "," << y << " element " << k;
}

}  // namespace

// Every depth, order and mode combination, at any position and size:
// rectangle, row and pixel equal the per-pixel fetch, plain and through tiles.
TEST(BorderFetch, RectAndRowMatchPixelFetch) {
    for (uint32_t seed = 0; seed < 1500 && !HasFailure(); ++seed) {
        std::mt19937 g(seed);
        Image im = randomImage(g);
        const int W = im->width, H = im->height;
        SCOPED_TRACE(testing::Message() << "seed " << seed << " " << kit::depthName(im->depth)
                                        << " " << W << "x" << H << " nCh " << im->nChannels);
        const int x = randomStart(g, W), y = randomStart(g, H);
        const int w = int(g() % unsigned(3 * W + 5)), h = int(g() % unsigned(3 * H + 5));
        const int c = int(g() % unsigned(im->nChannels)), sizes[] = {8, 16, 24};
        expectFetch(im, im, x, y, w, h, c);
        TileServer ts(im, sizes[g() % 3], sizes[g() % 3]);
        ts.freshBuffers(g() % 2);
        expectFetch(im, ts.image(), x, y, w, h, c);
        EXPECT_EQ(ownGetBorderPixel(im, x, y, c + 1), ownGetBorderPixel(ts.image(), x, y, c + 1));
        EXPECT_TRUE(released(ts));
    }
}

// At the ends of the int range the fetch equals one a whole number of
// periods nearer: 64-bit folding, no overflow (UBSan).
TEST(BorderFetch, ExtremeCoordinatesFoldLikeNearOnes) {
    const auto near = [](int64_t v, int n) {
        const int64_t p = ((v % (2 * n)) + 2 * n) % (2 * n);
        return int(v < 0 ? p - 32 * n : p + 10 * n);
    };
    for (uint32_t seed = 0; seed < 60; ++seed) {
        std::mt19937 g(seed);
        Image im = randomImage(g);
        for (int s = 0; s < 4; ++s) im->borderMode[s] = 1 + int(g() % 3);
        const int x = g() % 2 ? INT_MIN : INT_MAX - 5, y = g() % 2 ? INT_MIN + 1 : INT_MAX;
        int s1 = 0, s2 = 0;
        const Block far = rectOf(im, x, y, 12, 1, &s1);
        const Block ref = rectOf(im, near(x, im->width), near(y, im->height), 12, 1, &s2);
        const ZolImage a = viewOf(im, far.get(), s1, 12, 1), b = viewOf(im, ref.get(), s2, 12, 1);
        for (int j = 0; j < 12; ++j)
            for (int c = 0; c < im->nChannels; ++c)
                EXPECT_EQ(kit::get(&b, j, 0, c), kit::get(&a, j, 0, c)) << seed << " at " << j;
    }
}

// The documented readings: W = 4 sequences, the corner follows the top
// side, rectangles wholly left or above, the constant by depth (1U: its
// low bit in a rectangle, raw in a row; 32F: its value as a float).
TEST(BorderFetch, DocumentedReadings) {
    Image im(ZOL_DEPTH_8U, 1, 4, 2), bit(ZOL_DEPTH_1U, 1, 3, 3), fp(ZOL_DEPTH_32F, 1, 2, 2);
    for (int x = 0; x < 4; ++x) kit::set(im, x, 0, 0, x), kit::set(im, x, 1, 0, 10 + x);
    uint8_t row[14];
    for (const auto& [mode, want] : {std::pair(ZOL_BORDER_REFLECT, "\3\3\2\1\0\0\1\2\3\3\2\1\0\0"),
                                     std::pair(ZOL_BORDER_WRAP, "\3\0\1\2\3\0\1\2\3\0\1\2\3\0")}) {
        zolSetBorderMode(im, mode, 15, 0);
        zol::ownGetBorderRow(im, -5, 0, 1, row, 14);
        EXPECT_EQ(0, std::memcmp(want, row, 14)) << mode;
    }
    zolSetBorderMode(im, ZOL_BORDER_CONSTANT, ZOL_SIDE_TOP, 300);
    EXPECT_EQ(300, ownGetBorderPixel(im, -1, -1, 1));
    int stride = 0;
    Block b = rectOf(im, -6, -2, 5, 4, &stride);
    const auto* p = static_cast<const uint8_t*>(b.get());
    EXPECT_EQ(44, p[1]);                                                   // top band, corner
    EXPECT_EQ(0, std::memcmp("\x0c\x0d\x0a\x0b\x0c", p + 3 * stride, 5));  // wholly left
    b = rectOf(im, -3, -5, 9, 3, &stride);
    EXPECT_EQ(44, static_cast<const uint8_t*>(b.get())[2 * stride + 8]);  // wholly above
    zolSetBorderMode(bit, ZOL_BORDER_CONSTANT, 15, 2);
    b = rectOf(bit, -20, 0, 9, 1, &stride);
    EXPECT_EQ(0, static_cast<const uint8_t*>(b.get())[0] | static_cast<const uint8_t*>(b.get())[1]);
    zol::ownGetBorderRow(bit, -20, 0, 1, row, 9);
    EXPECT_TRUE(row[0] == 0xFF && (row[1] & 0x80));
    zolSetBorderMode(fp, ZOL_BORDER_CONSTANT, 15, 3);
    b = rectOf(fp, 5, 0, 1, 1, &stride);
    EXPECT_EQ(3.0f, *static_cast<const float*>(b.get()));
}

// A tile that does not come, or no memory, or a bad layout or size: the
// rectangle is NULL with nothing leaked or held; pixel and row reads give
// zeros without a release.
TEST(BorderFetch, Failures) {
    Image im(ZOL_DEPTH_16U, 2, 40, 20);
    im.randomize(9);
    zolSetBorderMode(im, ZOL_BORDER_REFLECT, 15, 0);
    int stride = 0;
    for (int n = 1; n <= 12; ++n) {
        TileServer ts(im, 16, 8);
        ts.failAt(n);
        EXPECT_EQ(nullptr, zol::ownGetRect(ts.image(), -30, -10, 70, 30, &stride)) << n;
        EXPECT_TRUE(released(ts));
    }
    ZolImage bad = *im.get();
    bad.align = 2;
    EXPECT_EQ(nullptr, zol::ownGetRect(&bad, 0, 0, 1, 1, &stride));
    EXPECT_EQ(nullptr, zol::ownGetRect(im, 0, 0, -1, 1, &stride));
    {
        kit::HeapFailure fail(1);
        EXPECT_EQ(nullptr, zol::ownGetRect(im, 0, 0, 4, 4, &stride));
    }
    TileServer ts(im, 16, 8);
    ts.failAt(1);
    EXPECT_EQ(0, zol::ownGetTiledPixel(ts.image(), 3, 3, 2));
    EXPECT_EQ(1u, ts.log().size());
    ts.failAt(2);
    uint16_t row[40];
    zol::ownGetTiledRow(ts.image(), 0, 9, 1, row, 0, 40, 1);
    for (int x = 0; x < 40; ++x)
        EXPECT_EQ(x >= 16 && x < 32 ? 0 : kit::get(im, x, 9, 0), row[x]) << x;
    EXPECT_TRUE(released(ts));
}
