// Bitmap export: import(export(image)) for every bit count and palette
// choice, median-cut entries, nearest entries and the checks.
#include <gtest/gtest.h>

#include <cstring>

#include "bitmap/bitmap.h"
#include "kit.h"

namespace {

struct Out {
    std::vector<uint64_t> store;
    ZolBitmapInfoHeader* h() { return reinterpret_cast<ZolBitmapInfoHeader*>(store.data()); }
    uint8_t* table() { return reinterpret_cast<uint8_t*>(store.data()) + 40; }
    Out(int bits, int w, int hgt, uint32_t compression, uint32_t clrUsed = 0)
        : store((40 + 1024 + 12 + size_t(zol::dibRowSize(w, bits)) * std::abs(hgt) + 7) / 8 + 1, 0) {
        *h() = ZolBitmapInfoHeader{40, w, hgt, 1, uint16_t(bits), compression, 0, 0, 0, clrUsed, 0};
    }
};

// An 8U image whose colours are multiples of 4 (exact in a median-cut
// table), `colours` of them.
kit::Image paletteImage(int nCh, int w, int h, int colours, uint32_t seed) {
    kit::Image im(ZOL_DEPTH_8U, nCh, w, h);
    std::memcpy(im->channelSeq, nCh == 1 ? "G\0\0\0" : "BGR\0", 4);
    std::mt19937 g(seed);
    std::vector<int> pal(size_t(colours) * 3);
    for (int& v : pal) v = int(g() % 64) * 4;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const int k = (x * 7 + y * 3 + int(g() % 2)) % colours;
            for (int c = 0; c < nCh; ++c) kit::set(im, x, y, c, pal[size_t(3 * k + c)]);
        }
    return im;
}

TEST(BitmapExport, RoundTrips) {
    struct Case {
        int bits, nCh, colours, palette, mask;  // mask: bits a round trip keeps
        uint32_t compression;
    };
    const Case cases[] = {{24, 3, 4000, 0, 0xFF, 0},   {32, 3, 4000, 0, 0xFF, 0},   {16, 3, 4000, 0, 0xF8, 0},
                          {8, 3, 200, 2, 0xFF, 0},     {8, 3, 200, 2, 0xFF, 1},     {4, 3, 16, 2, 0xFF, 2},
                          {4, 1, 16, 2, 0xFF, 0},      {1, 3, 2, 2, 0xFF, 0},       {8, 1, 256, 1, 0xFF, 1},
                          {32, 3, 4000, 0, 0xFF, 3},   {16, 3, 4000, 0, 0xF8, 3}};
    for (const Case& c : cases)
        for (int w : {1, 7, 61}) {
            SCOPED_TRACE(testing::Message() << c.bits << " bits, comp " << c.compression << " w " << w);
            kit::Image im = paletteImage(c.nCh, w, 9, c.colours, uint32_t(w + c.bits));
            if (c.palette == 1)  // a linear gray table holds every level
                for (int x = 0; x < w; ++x) kit::set(im, x, 0, 0, x * 4);
            Out o(c.bits, w, 9, c.compression);
            if (c.compression == 3) {
                const uint32_t m[3] = {c.bits == 16 ? 0xF800u : 0xFF0000u, c.bits == 16 ? 0x07C0u : 0xFF00u,
                                       c.bits == 16 ? 0x003Eu : 0xFFu};
                std::memcpy(o.table(), m, 12);
            }
            kit::Recorder rec;
            zolConvertToDIB(im, o.h(), ZOL_DITHER_NONE, c.palette);
            ASSERT_TRUE(rec.none()) << rec.reports()[0].context;
            kit::Image back(ZOL_DEPTH_8U, c.nCh, w, 9);
            std::memcpy(back->channelSeq, im->channelSeq, 4);
            zolConvertFromDIB(o.h(), back);
            ASSERT_TRUE(rec.none()) << rec.reports()[0].context;
            int bad = 0;
            for (int y = 0; y < 9; ++y)
                for (int x = 0; x < w; ++x)
                    for (int k = 0; k < c.nCh; ++k)
                        bad += (kit::get(back, x, y, k) & c.mask) != (kit::get(im, x, y, k) & c.mask);
            EXPECT_EQ(bad, 0);
        }
}

// More colours than entries: every pixel takes the entry nearest to it,
// the first of equals; the cut fills the table; white comes out as 252.
TEST(BitmapExport, MedianCutAndNearest) {
    kit::Image im(ZOL_DEPTH_8U, 3, 64, 32);
    std::memcpy(im->channelSeq, "RGB\0", 4);
    im.randomize(11);
    for (int c = 0; c < 3; ++c) kit::set(im, 0, 0, c, 255);
    Out o(4, 64, 32, 0);
    kit::Recorder rec;
    zolConvertToDIB(im, o.h(), ZOL_DITHER_NONE, ZOL_PALETTE_MEDIAN_CUT);
    ASSERT_TRUE(rec.none());
    EXPECT_EQ(o.h()->biClrUsed, 16u);
    const uint8_t* t = o.table();
    const uint8_t* px = t + 64;
    int bad = 0, maxv = 0;
    for (int i = 0; i < 16; ++i) maxv = std::max({maxv, int(t[4 * i]), int(t[4 * i + 1]), int(t[4 * i + 2])});
    for (int y = 0; y < 32; ++y)
        for (int x = 0; x < 64; ++x) {
            const int r = int(kit::get(im, x, y, 0)), g = int(kit::get(im, x, y, 1)), b = int(kit::get(im, x, y, 2));
            int best = 0, bd = INT32_MAX;
            for (int i = 0; i < 16; ++i) {
                const int d = (b - t[4 * i]) * (b - t[4 * i]) + (g - t[4 * i + 1]) * (g - t[4 * i + 1]) +
                              (r - t[4 * i + 2]) * (r - t[4 * i + 2]);
                if (d < bd) bd = d, best = i;
            }
            const uint8_t byte = px[(31 - y) * 32 + x / 2];
            bad += ((x & 1) ? byte & 15 : byte >> 4) != best;
        }
    EXPECT_EQ(bad, 0);
    EXPECT_LE(maxv, 252);
    // One white pixel alone: its entry is 252, 252, 252.
    kit::Image white(ZOL_DEPTH_8U, 3, 1, 1);
    std::memcpy(white->channelSeq, "BGR\0", 4);
    std::memset(white->imageData, 255, 3);
    Out w(8, 1, 1, 0);
    zolConvertToDIB(white, w.h(), ZOL_DITHER_NONE, ZOL_PALETTE_MEDIAN_CUT);
    EXPECT_EQ(w.h()->biClrUsed, 1u);
    EXPECT_EQ(w.table()[0] + w.table()[1] + w.table()[2], 3 * 252);
    // The caller's table with two equal entries: the first wins.
    Out k(8, 1, 1, 0, 3);
    std::memset(k.table(), 10, 8);
    std::memset(k.table() + 8, 200, 4);
    std::memset(white->imageData, 12, 3);
    zolConvertToDIB(white, k.h(), ZOL_DITHER_NONE, ZOL_PALETTE_KEEP);
    EXPECT_EQ(k.table()[12], 0);
}

TEST(BitmapExport, BadInputs) {
    struct Case {
        int depth, nCh, bits, dither, palette;
        char seq[5];  // four bytes are read
        int status;
        const char* context;
    };
    const Case cases[] = {
        {ZOL_DEPTH_8S, 3, 24, 1, 0, "BGR", -5, "(image->depth & 0x80000000)"},
        {ZOL_DEPTH_8U, 2, 24, 1, 0, "BGR", -5, "(image->nChannels != 3 && image->nChannels != 1)"},
        {ZOL_DEPTH_8U, 3, 24, 2, 0, "BGR", -5, "(dither != 8 && dither != 1 )"},
        {ZOL_DEPTH_8U, 3, 24, 1, 3, "BGR", -5, "(paletteConversion != 0 && paletteConversion != 1 && paletteConversion != 2 )"},
        {ZOL_DEPTH_8U, 3, 8, 1, 2, "G", -3, "Error of creating medcut palette"},
        {ZOL_DEPTH_8U, 3, 24, 1, 0, "YUV", -14, "image->channelSeq unsupport"},
        {ZOL_DEPTH_8U, 3, 12, 1, 0, "BGR", -5, "dib->biBitCount is bad"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.context);
        kit::Image im(c.depth, c.nCh, 4, 2);
        std::memcpy(im->channelSeq, c.seq, 4);
        Out o(c.bits, 4, 2, 0);
        kit::Recorder rec;
        zolConvertToDIB(im, o.h(), c.dither, c.palette);
        ASSERT_FALSE(rec.reports().empty());
        EXPECT_EQ(rec.reports()[0].status, c.status);
        EXPECT_EQ(rec.reports()[0].context, c.context);
    }
}

}  // namespace
