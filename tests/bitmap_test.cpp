// Bitmap import and the run-length codec: real files against an
// independent decode, round trips, and hostile headers and streams.
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <functional>
#include <memory>
#include <iterator>
#include <random>

#include "bitmap/bitmap.h"
#include "kit.h"

namespace {

// A bitmap in memory without its 14-byte file header, 8-aligned.
struct Dib {
    std::vector<uint64_t> store;
    size_t bytes = 0;
    uint32_t pixelOffset = 0;  // from the info header
    ZolBitmapInfoHeader* h() { return reinterpret_cast<ZolBitmapInfoHeader*>(store.data()); }
    uint8_t* at(size_t i) { return reinterpret_cast<uint8_t*>(store.data()) + i; }
};

Dib load(const std::string& name, size_t slack = 0) {
    std::ifstream f(std::string(ZOL_TEST_DATA) + "/bmp/" + name, std::ios::binary);
    std::vector<uint8_t> file((std::istreambuf_iterator<char>(f)), {});
    Dib d;
    if (file.size() < 54) return d;
    uint32_t off;
    std::memcpy(&off, &file[10], 4);
    d.bytes = file.size() - 14;
    d.pixelOffset = off - 14;
    d.store.assign((d.bytes + slack + 7) / 8, 0);
    std::memcpy(d.store.data(), &file[14], d.bytes);
    return d;
}

kit::Image bgr(int w, int h, const char* seq = "BGR", int depth = ZOL_DEPTH_8U, int nCh = 3) {
    kit::Image im(depth, nCh, w, h);
    std::memcpy(im->channelSeq, seq, 4);
    std::memset(im->imageData, 0x5A, size_t(im->imageSize));
    return im;
}

// Picture element (x, y, c) of a 24-bit or paletted bitmap, decoded here
// straight from the file's layout.
int modelPixel(Dib& d, int x, int y, int c) {
    const ZolBitmapInfoHeader* h = d.h();
    const int H = std::abs(h->biHeight);
    const int row = h->biHeight > 0 ? H - 1 - y : y;
    const uint8_t* p = d.at(d.pixelOffset + size_t(row) * zol::dibRowSize(h->biWidth, h->biBitCount));
    if (h->biBitCount == 24) return p[3 * x + c];
    const int idx = h->biBitCount == 8 ? p[x] : h->biBitCount == 4 ? (p[x / 2] >> (x & 1 ? 0 : 4)) & 15
                                                                    : (p[x / 8] >> (7 - x % 8)) & 1;
    return *d.at(40 + 4 * idx + c);
}

int maxDiff(const ZolImage* a, const ZolImage* b) {
    int m = 0;
    for (int y = 0; y < a->height; ++y)
        for (int x = 0; x < a->width; ++x)
            for (int c = 0; c < 3; ++c) m = std::max(m, int(std::abs(kit::get(a, x, y, c) - kit::get(b, x, y, c))));
    return m;
}

// The good files hold one picture: each decodes to it exactly where its
// encoding is lossless, and within its bit precision otherwise.
TEST(BitmapImport, GoodFilesShowOnePicture) {
    struct Case {
        const char* file;
        const char* twin;  // an uncompressed file the decode must equal
        int tolerance;     // against the 24-bit picture (16-bit: five bits rounded
                           // by the writer, shifted back without replication)
    };
    const Case cases[] = {{"rgb24.bmp", "rgb24.bmp", 0},       {"rgb32.bmp", "rgb24.bmp", 0},
                          {"rgb32bf.bmp", "rgb24.bmp", 0},     {"rgb16.bmp", nullptr, 9},
                          {"rgb16-565.bmp", nullptr, 9},       {"pal8.bmp", "pal8.bmp", 255},
                          {"pal8rle.bmp", "pal8.bmp", 255},    {"pal8topdown.bmp", "pal8.bmp", 255},
                          {"pal4.bmp", "pal4.bmp", 255},       {"pal4rle.bmp", "pal4.bmp", 255},
                          {"pal1.bmp", "pal1.bmp", 255}};
    Dib ref = load("rgb24.bmp");
    kit::Image picture = bgr(127, 64);
    zolSetErrStatus(0);  // a negative status stops the import silently
    zolConvertFromDIB(ref.h(), picture);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.file);
        kit::Recorder rec;
        Dib d = load(c.file);
        kit::Image packed = bgr(127, 64), sep = bgr(127, 64);
        zolConvertFromDIB(d.h(), packed);
        EXPECT_EQ(zolConvertFromDIBSep(d.h(), d.at(d.pixelOffset), sep), 0);
        EXPECT_TRUE(rec.none());
        EXPECT_EQ(packed.bytes(), sep.bytes());
        EXPECT_LE(maxDiff(packed, picture), c.tolerance);
        if (!c.twin) continue;
        Dib t = load(c.twin);
        int bad = 0;
        for (int y = 0; y < 64; ++y)
            for (int x = 0; x < 127; ++x)
                for (int k = 0; k < 3; ++k) bad += kit::get(packed, x, y, k) != modelPixel(t, x, y, k);
        EXPECT_EQ(bad, 0);
    }
}

// Writers and maps: the same file into every accepted image kind, checked
// element by element against the 24-bit picture.
TEST(BitmapImport, WritersAndMaps) {
    Dib d = load("rgb24.bmp");
    struct Case {
        int depth, nCh, order, origin;
        char seq[5];  // four bytes are read
    };
    const Case cases[] = {{ZOL_DEPTH_8U, 3, 0, ZOL_ORIGIN_BL, "RGB"}, {ZOL_DEPTH_16U, 3, 1, 0, "BGR"},
                          {ZOL_DEPTH_8U, 4, 0, 0, "BGRA"},            {ZOL_DEPTH_16U, 4, 0, 1, "RGBA"},
                          {ZOL_DEPTH_8U, 1, 0, 0, "G"},               {ZOL_DEPTH_16U, 1, 0, 1, "GRAY"},
                          {ZOL_DEPTH_1U, 1, 0, 0, "G"}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.seq);
        kit::Recorder rec;
        // One column and one row more than the bitmap: they stay untouched.
        kit::Image im(c.depth, c.nCh, 128, 65, c.order);
        std::memcpy(im->channelSeq, c.seq, 4);
        im->origin = c.origin;
        std::memset(im->imageData, 0x5A, size_t(im->imageSize));
        const std::vector<uint8_t> before = im.bytes();
        zolConvertFromDIB(d.h(), im);
        ASSERT_TRUE(rec.none());
        const int scale = c.depth == ZOL_DEPTH_16U ? 256 : 1;
        int bad = 0;
        for (int y = 0; y < 65; ++y)
            for (int x = 0; x < 128; ++x) {
                const int row = c.origin == ZOL_ORIGIN_TL ? y : 64 - y;  // picture row in image row
                for (int k = 0; k < c.nCh; ++k) {
                    const int64_t got = kit::get(im, x, y, k);
                    if (x == 127 || row == 64) {
                        kit::Image untouched(c.depth, c.nCh, 128, 65, c.order);
                        std::memcpy(untouched->imageData, before.data(), before.size());
                        bad += got != kit::get(untouched, x, y, k);
                        continue;
                    }
                    const int b = modelPixel(d, x, row, 0), g = modelPixel(d, x, row, 1), r = modelPixel(d, x, row, 2);
                    const int gray = (28 * b + 151 * g + 77 * r) >> 8;
                    int64_t want;
                    if (c.nCh == 1)
                        want = c.depth == ZOL_DEPTH_1U ? gray > 127 : gray * scale;
                    else if (k == 3)
                        want = 255 * scale;
                    else
                        want = (c.seq[0] == 'R' ? (k == 0 ? r : k == 2 ? b : g) : (k == 0 ? b : k == 1 ? g : r)) * scale;
                    bad += got != want;
                }
            }
        EXPECT_EQ(bad, 0);
    }
}

// A small bitmap built in memory: header, table, pixels.
struct Built {
    std::vector<uint64_t> store = std::vector<uint64_t>(512, 0);
    ZolBitmapInfoHeader* h() { return reinterpret_cast<ZolBitmapInfoHeader*>(store.data()); }
    uint8_t* table() { return reinterpret_cast<uint8_t*>(store.data()) + 40; }
    Built(int bits, int w, int hgt, uint32_t compression, uint32_t clrUsed) {
        *h() = ZolBitmapInfoHeader{40, w, hgt, 1, uint16_t(bits), compression, 0, 0, 0, clrUsed, 0};
    }
};

TEST(BitmapImport, BitFieldsAndTables) {
    // 16-bit 5-6-5: green keeps six bits shifted left by two, no replication.
    Built b(16, 2, 1, ZOL_BI_BITFIELDS, 99);
    const uint32_t masks[3] = {0xF800, 0x07E0, 0x001F};
    std::memcpy(b.table(), masks, 12);
    const uint16_t px[2] = {0x07E0, 0xF801};
    std::memcpy(b.table() + 12, px, 4);
    kit::Image im = bgr(2, 1);
    zolConvertFromDIB(b.h(), im);
    EXPECT_EQ(kit::get(im, 0, 0, 1), 252);
    EXPECT_EQ(kit::get(im, 0, 0, 2), 0);
    EXPECT_EQ(kit::get(im, 1, 0, 2), 248);
    EXPECT_EQ(kit::get(im, 1, 0, 0), 8);
    // 32-bit fields 10-10-10: alpha is the two bits above, shifted up by 6.
    Built c(32, 1, 1, ZOL_BI_BITFIELDS, 0);
    const uint32_t m32[3] = {0x3FF00000, 0x000FFC00, 0x000003FF}, v = 0xC0000000u | (0x3FFu << 20) | 0x200;
    std::memcpy(c.table(), m32, 12);
    std::memcpy(c.table() + 12, &v, 4);
    kit::Image a = bgr(1, 1, "BGRA", ZOL_DEPTH_8U, 4);
    zolConvertFromDIB(c.h(), a);
    EXPECT_EQ(kit::get(a, 0, 0, 0), 0x80);
    EXPECT_EQ(kit::get(a, 0, 0, 2), 0xFF);
    EXPECT_EQ(kit::get(a, 0, 0, 3), 0xC0);
    // An index past a short table reads black, never past the table.
    Built p(8, 2, 1, ZOL_BI_RGB, 1);
    std::memset(p.table(), 0x77, 4);
    p.table()[4] = 0, p.table()[5] = 200;
    kit::Image q = bgr(2, 1);
    zolConvertFromDIB(p.h(), q);
    EXPECT_EQ(kit::get(q, 0, 0, 1), 0x77);
    EXPECT_EQ(kit::get(q, 1, 0, 1), 0);
}

TEST(BitmapTranslate, SharesOrCopies) {
    struct Case {
        int bits;
        std::vector<uint8_t> table;  // entries' blue=green=red values
        uint32_t compression, clrUsed;
        int nCh, depth, clone;
    };
    std::vector<uint8_t> ramp256(256), ramp16(16);
    for (int i = 0; i < 256; ++i) ramp256[i] = uint8_t(i);
    for (int i = 0; i < 16; ++i) ramp16[i] = uint8_t(17 * i);
    const Case cases[] = {{1, {0, 255}, 0, 0, 1, ZOL_DEPTH_1U, 0},   {1, {255, 0}, 0, 0, 3, ZOL_DEPTH_8U, 1},
                          {8, ramp256, 0, 256, 1, ZOL_DEPTH_8U, 0},  {8, ramp16, 0, 16, 1, ZOL_DEPTH_8U, 1 - 1},
                          {4, ramp16, 0, 0, 1, ZOL_DEPTH_8U, 1},     {8, {0, 1, 2}, 0, 3, 3, ZOL_DEPTH_8U, 1},
                          {24, {}, 0, 0, 3, ZOL_DEPTH_8U, 0},        {32, {}, 0, 0, 4, ZOL_DEPTH_8U, 0},
                          {16, {}, 0, 0, 3, ZOL_DEPTH_8U, 1}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.bits);
        Built b(c.bits, 8, -3, c.compression, c.clrUsed);
        for (size_t i = 0; i < c.table.size(); ++i) std::memset(b.table() + 4 * i, c.table[i], 3);
        kit::Recorder rec;
        int clone = -1;
        ZolImage* im = zolTranslateDIB(b.h(), &clone);
        ASSERT_NE(im, nullptr);
        EXPECT_EQ(clone, c.clone);
        EXPECT_EQ(im->nChannels, c.nCh);
        EXPECT_EQ(im->depth, c.depth);
        EXPECT_EQ(im->origin, ZOL_ORIGIN_TL);
        EXPECT_EQ(im->height, 3);
        EXPECT_EQ(im->dataOrder, clone ? ZOL_DATA_ORDER_PLANE : ZOL_DATA_ORDER_PIXEL);
        const size_t entries = c.bits <= 8 ? (c.clrUsed ? c.clrUsed : 1u << c.bits) : 0;
        if (!clone) {
            EXPECT_EQ(static_cast<void*>(im->imageData), b.table() + 4 * entries);
            // Pixels at 40 + 4*entries; only 4*entries enters the alignment.
            const bool even = (4 * entries) % 8 == 0 && zol::dibRowSize(8, c.bits) % 8 == 0;
            EXPECT_EQ(im->align, even ? 8 : 4);
        }
        zolDeallocate(im, clone ? ZOL_FREE_HEADER | ZOL_FREE_DATA : ZOL_FREE_HEADER);
    }
}

// Bad arguments and headers: each reports once, with its exact words and
// status, returns its own code, and writes nothing.
TEST(BitmapImport, BadInputs) {
    enum Fn { Packed, Sep, Translate };
    struct Case {
        Fn fn;
        std::function<void(ZolBitmapInfoHeader&, ZolImage*)> spoil;
        int status, ret;
        const char* context;
    };
    auto hdr = [](auto f) { return [f](ZolBitmapInfoHeader& h, ZolImage*) { f(h); }; };
    auto img = [](auto f) { return [f](ZolBitmapInfoHeader&, ZolImage* i) { f(i); }; };
    const Case cases[] = {
        {Packed, img([](ZolImage* i) { i->alphaChannel = -1; }), -5, 0, "( image->alphaChannel < 0 )"},
        {Sep, img([](ZolImage* i) { i->alphaChannel = 5; }), -5, -18, "( image->nChannels < image->alphaChannel )"},
        {Sep, img([](ZolImage* i) { i->dataOrder = 2; }), -5, -19, "( (image->dataOrder != 0) && (image->dataOrder != 1) )"},
        {Packed, img([](ZolImage* i) { i->origin = 2; }), -5, 0, "( (image->origin != 0 ) && (image->origin != 1 ) )"},
        {Sep, img([](ZolImage* i) { i->origin = 2; }), -5, -20, "( (image->origin != 0) && (image->origin != 1) )"},
        {Sep, img([](ZolImage* i) { i->align = 2; }), -5, -21, "( (image->align != 4) && (image->align != 8) )"},
        {Sep, img([](ZolImage* i) { i->widthStep = 0; }), -5, -13, "(image->widthStep <= 0)"},
        {Packed, hdr([](ZolBitmapInfoHeader& h) { h.biSize = 12; }), -5, 0, "(dib->biSize != sizeof(BITMAPINFOHEADER))"},
        {Translate, hdr([](ZolBitmapInfoHeader& h) { h.biSize = 12; }), -5, 0, "( dib->biSize != sizeof(BITMAPINFOHEADER) )"},
        {Sep, hdr([](ZolBitmapInfoHeader& h) { h.biPlanes = 2; }), -5, -5, "(dibHeader->biPlanes != 1)"},
        {Packed, hdr([](ZolBitmapInfoHeader& h) { h.biCompression = 4; }), -5, 0,
         "(dib->biCompression != 0) && (dib->biCompression != 1) && (dib->biCompression != 2) && (dib->biCompression != 3)"},
        {Sep, hdr([](ZolBitmapInfoHeader& h) { h.biCompression = 2; }), -5, -5,
         "(dibHeader->biBitCount != 4) && (dibHeader->biCompression == 2)"},
        {Translate, hdr([](ZolBitmapInfoHeader& h) { h.biCompression = 1, h.biHeight = -4; }), -5, 0,
         "(dib->biHeight < 0) && ( (dib->biCompression == 1) || (dib->biCompression == 2) )"},
        {Packed, hdr([](ZolBitmapInfoHeader& h) { h.biWidth = 9; }), -10, 0, "Image size is too small"},
        {Sep, hdr([](ZolBitmapInfoHeader& h) { h.biBitCount = 2; }), -3, -3, ""},
        {Translate, hdr([](ZolBitmapInfoHeader& h) { h.biBitCount = 2; }), -5, 0, "dib->biBitCount is bad"},
        {Packed, hdr([](ZolBitmapInfoHeader& h) { h.biBitCount = 16, h.biCompression = 1; }), -5, 0,
         "(dib->biBitCount != 8) && (dib->biCompression == 1)"},
        {Packed, img([](ZolImage* i) { std::memcpy(i->channelSeq, "YUV", 4); }), -14, 0, "image->channelSeq unsupport"},
        {Sep, img([](ZolImage* i) { i->nChannels = 2; }), -3, -3, ""},
        {Packed, hdr([](ZolBitmapInfoHeader& h) { h.biClrUsed = 300; }), -5, 0, "Incorrect colour count of DIB"},
        {Translate, hdr([](ZolBitmapInfoHeader& h) { h.biWidth = 1 << 30, h.biHeight = 8; }), -10, 0, "Incorrect size of DIB"},
        {Sep, hdr([](ZolBitmapInfoHeader& h) { h.biHeight = INT32_MIN; }), -10, -10, "Incorrect size of DIB"},
        {Sep, hdr([](ZolBitmapInfoHeader& h) { h.biCompression = 1; }), -3, -3, "Impossible to decompress RLE DIB"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.context);
        Built b(8, 8, 2, 0, 0);
        kit::Image im = bgr(8, 2);
        c.spoil(*b.h(), im);
        const std::vector<uint8_t> before = im.bytes();
        kit::Recorder rec;
        int clone = 7;
        if (c.fn == Packed) zolConvertFromDIB(b.h(), im);
        if (c.fn == Sep) {
            EXPECT_EQ(zolConvertFromDIBSep(b.h(), b.table() + 1024, im), c.ret);
        }
        if (c.fn == Translate) {
            EXPECT_EQ(zolTranslateDIB(b.h(), &clone), nullptr);
        }
        EXPECT_EQ(clone, 7);
        const std::vector<kit::Report>& r = rec.reports();
        ASSERT_FALSE(r.empty());
        EXPECT_EQ(r.back().status, c.status);
        EXPECT_EQ(r.back().context, c.context);
        EXPECT_EQ(im.bytes(), before);
    }
    kit::Recorder rec;
    zolConvertFromDIB(nullptr, nullptr);
    ASSERT_EQ(rec.reports().size(), 2u);
    EXPECT_EQ(rec.reports()[0].context, "dib==0");
    EXPECT_EQ(rec.reports()[1].context, "image==0");
}

std::vector<uint8_t> randomRows(std::mt19937& g, int w, int h, int bits, int kind) {
    const int stride = int(zol::dibRowSize(w, bits));
    std::vector<uint8_t> rows(size_t(stride) * h, 0);
    const int maxv = bits == 8 ? 255 : 15;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            int v = kind == 0 ? int(g() % (maxv + 1)) : kind == 1 ? 7 : kind == 2 ? (x & 1) * 9 : int(g() % 3);
            uint8_t* p = &rows[size_t(y) * stride];
            if (bits == 8)
                p[x] = uint8_t(v);
            else
                p[x / 2] |= uint8_t((v & 15) << (x & 1 ? 0 : 4));
        }
    return rows;
}

// Encode then decode gives the rows back, whatever the mix of runs; no
// code ever crosses a row end, and the stream stays within its bound.
TEST(BitmapRle, RoundTrip) {
    std::mt19937 g(19);
    for (int bits : {8, 4})
        for (int w : {1, 2, 3, 4, 5, 6, 7, 11, 127, 300, 601})
            for (int kind = 0; kind < 4; ++kind) {
                SCOPED_TRACE(testing::Message() << bits << " " << w << " " << kind);
                const int h = 3;
                std::vector<uint8_t> rows = randomRows(g, w, h, bits, kind), s(zol::ownRleBound(w, h));
                const int stride = int(zol::dibRowSize(w, bits));
                s.resize(zol::ownEncodeRLE(rows.data(), stride, w, h, bits, s.data()));
                zol::RleResult r = zol::ownDecompressRLE(s.data(), s.size(), w, h, bits);
                ASSERT_NE(r.block, nullptr) << r.context;
                int bad = 0;
                for (int y = 0; y < h; ++y)
                    for (int x = 0; x < (bits == 8 ? w : w / 2); ++x) bad += r.block[y * stride + x] != rows[y * stride + x];
                EXPECT_EQ(bad, 0);
                zolFree(r.block);
            }
}

TEST(BitmapRle, EncoderCodes) {
    struct Case {
        int bits, w;
        std::vector<uint8_t> row, stream;
    };
    std::vector<uint8_t> long8(300, 9), long8s{255, 9, 45, 9, 0, 0, 0, 1};
    const Case cases[] = {
        {8, 4, {5, 5, 5, 5}, {4, 5, 0, 0, 0, 1}},
        {8, 3, {1, 2, 3}, {1, 1, 1, 2, 1, 3, 0, 0, 0, 1}},
        {8, 300, long8, long8s},
        {8, 8, {1, 2, 3, 4, 5, 6, 6, 6}, {0, 5, 1, 2, 3, 4, 5, 0, 1, 6, 1, 6, 1, 6, 0, 0, 0, 1}},
        {8, 6, {1, 2, 3, 3, 4, 4}, {1, 1, 1, 2, 2, 3, 1, 4, 1, 4, 0, 0, 0, 1}},
        // 4 bits: an alternating run from an odd x continues the nibbles.
        {4, 9, {0x1A, 0xBA, 0xBA, 0xBA, 0xB0}, {1, 0x10, 8, 0xAB, 0, 0, 0, 1}},
    };
    for (const Case& c : cases) {
        std::vector<uint8_t> s(zol::ownRleBound(c.w, 1));
        s.resize(zol::ownEncodeRLE(c.row.data(), 0, c.w, 1, c.bits, s.data()));
        EXPECT_EQ(s, c.stream) << c.bits << " " << c.w;
    }
}

// Hostile streams: each fault is refused with its words before any write.
TEST(BitmapRle, HostileStreams) {
    struct Case {
        int bits, w, h;
        std::vector<uint8_t> s;
        const char* context;  // nullptr: decodes
    };
    const Case cases[] = {
        {8, 4, 1, {4, 1, 0, 1}, nullptr},
        {8, 4, 2, {4, 1, 0, 0, 2, 1, 0, 1}, nullptr},  // end of bitmap in the last row
        {8, 4, 1, {5, 1, 0, 0, 0, 1}, "Incorrect format of BI_RLE8 DIB (mismatch biHeight or biWidth)"},
        {8, 4, 1, {0, 5, 1, 2, 3, 4, 5, 0}, "Incorrect format of BI_RLE8 DIB (mismatch biHeight or biWidth)"},
        {8, 4, 1, {3, 1, 0, 0}, "Incorrect format of BI_RLE8 DIB (mismatch biWidth)"},
        {8, 4, 3, {4, 1, 0, 0, 0, 1}, "Incorrect format of BI_RLE8 DIB (mismatch biHeight)"},
        {8, 4, 2, {0, 2, 5, 0}, "Incorrect format of BI_RLE8 DIB (bad Delta command)"},
        {8, 4, 2, {0, 2, 0, 3}, "Incorrect format of BI_RLE8 DIB (bad Delta command)"},
        {8, 4, 1, {4, 1, 0, 0, 4, 1}, "Incorrect format of BI_RLE8 DIB (mismatch biHeight or biWidth)"},
        {8, 4, 1, {0, 4, 1, 2}, "Incorrect format of BI_RLE8 DIB (mismatch biHeight or biWidth)"},  // data cut
        {8, 4, 1, {4}, "Incorrect format of BI_RLE8 DIB (mismatch biHeight or biWidth)"},
        {4, 3, 1, {4, 0x12, 0, 0}, "Incorrect format of BI_RLE4 DIB (mismatch biHeight or biWidth)"},
        {4, 3, 1, {0, 3, 0x12, 0x30, 0, 1}, nullptr},
    };
    for (const Case& c : cases) {
        // The stream alone on the heap, so the sanitizer sees any read past it.
        std::unique_ptr<uint8_t[]> s(new uint8_t[c.s.size()]);
        std::memcpy(s.get(), c.s.data(), c.s.size());
        zol::RleResult r = zol::ownDecompressRLE(s.get(), c.s.size(), c.w, c.h, c.bits);
        EXPECT_EQ(r.context == nullptr, c.context == nullptr);
        if (c.context && r.context) {
            EXPECT_STREQ(r.context, c.context);
        }
        zolFree(r.block);
    }
}

// Bytes a header implies: itself, its table and its pixels (a stream of
// at most biSizeImage bytes, and never longer than two bytes a pixel).
size_t impliedBytes(const ZolBitmapInfoHeader& h) {
    const uint64_t w = h.biWidth > 0 ? uint64_t(h.biWidth) : 0, hh = uint64_t(std::abs(int64_t(h.biHeight)));
    uint64_t entries = h.biClrUsed;
    if (h.biBitCount <= 8 && h.biBitCount && !entries) entries = uint64_t(1) << h.biBitCount;
    if ((h.biBitCount == 16 || h.biBitCount == 32) && (h.biCompression == 0 || h.biCompression == 3))
        entries = h.biCompression ? 3 : 0;
    if (entries > 256) return 40;  // refused before the table is read
    uint64_t pixels = ((w * h.biBitCount + 31) / 32) * 4 * hh;
    if (h.biCompression == 1 || h.biCompression == 2) {
        pixels = 2 * w * hh + 2 * hh + 2;
        if (h.biSizeImage && h.biSizeImage < pixels) pixels = h.biSizeImage;
    }
    if (pixels > (uint64_t(1) << 31)) return 40 + 4 * entries;  // refused as too big
    return size_t(40 + 4 * entries + pixels);
}

// The malformed files and seeded mutations of the good ones: a status or
// a picture, never a read or write outside the blocks (run under the
// sanitizer preset).
TEST(BitmapImport, MalformedAndMutatedFiles) {
    for (const char* name : {"badbitcount.bmp", "badrle.bmp", "badrle4.bmp", "badwidth.bmp"}) {
        SCOPED_TRACE(name);
        Dib d = load(name);
        kit::Recorder rec;
        kit::Image im = bgr(127, 64);
        const std::vector<uint8_t> before = im.bytes();
        EXPECT_NE(zolConvertFromDIBSep(d.h(), d.at(d.pixelOffset), im), 0);
        EXPECT_EQ(im.bytes(), before);
    }
    std::mt19937 g(2024);
    const char* seeds[] = {"pal1.bmp", "pal4rle.bmp", "pal8rle.bmp", "rgb16-565.bmp", "rgb32bf.bmp", "shortfile.bmp"};
    int decoded = 0;
    for (int round = 0; round < 1500; ++round) {
        Dib d = load(seeds[round % 6]);
        const size_t n = 1 + g() % 6;
        for (size_t i = 0; i < n; ++i) *d.at(round % 2 ? g() % 56 : g() % d.bytes) = uint8_t(g());
        // A block exactly as long as the mutated header claims, so that
        // the sanitizer catches any read past what the header implies.
        const size_t claim = impliedBytes(*d.h());
        if (claim > (size_t(1) << 24)) continue;
        std::vector<uint8_t> block(std::max(claim, size_t(40)), 0);
        std::memcpy(block.data(), d.at(0), std::min(block.size(), d.bytes));
        auto* h = reinterpret_cast<ZolBitmapInfoHeader*>(block.data());
        kit::Recorder rec;
        kit::Image im = bgr(300, 300);
        zolSetErrStatus(0);
        zolConvertFromDIB(h, im);
        decoded += zolGetErrStatus() == 0;
        int clone = 0;
        zolSetErrStatus(0);
        if (ZolImage* t = zolTranslateDIB(h, &clone)) zolDeallocate(t, clone ? 3 : 1);
    }
    EXPECT_GT(decoded, 100);
}

}  // namespace
