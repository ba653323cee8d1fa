// Exclusive or with a constant and inversion, through the whole call frame:
// regions, channels, alpha, masks, 1-bit rows, checks and their messages.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <random>

#include "arith/logic.h"
#include "core/cpu.h"
#include "core/rect.h"
#include "kit.h"

namespace {

using kit::Image;

struct Rect {
    int x, y, w, h;
};

// The region of an image by its ROI, cut at the right and bottom edges.
Rect regionOf(const ZolImage* im) {
    if (!im->roi) return {0, 0, im->width, im->height};
    const ZolROI* r = im->roi;
    return {r->xOffset, r->yOffset, std::max(0, std::min(r->width, im->width - r->xOffset)),
            std::max(0, std::min(r->height, im->height - r->yOffset))};
}

uint32_t patternFor(int depth, uint32_t v) {
    switch (depth & 0x7FFFFFFF) {
        case 1: return v & 1;
        case 8: return v & 0xFF;
        case 16: return v & 0xFFFF;
        default: return v;
    }
}

// Per-pixel model of dst = src ^ value over the frame's rules. Works on a
// copy of the destination block; the source is read from its own block.
std::vector<uint8_t> modelXor(const ZolImage* src, const ZolImage* dst,
                              const std::vector<uint8_t>& srcBytes, uint32_t value) {
    std::vector<uint8_t> out(reinterpret_cast<const uint8_t*>(dst->imageData),
                             reinterpret_cast<const uint8_t*>(dst->imageData) + dst->imageSize);
    ZolImage srcCopy = *src, dstView = *dst;
    srcCopy.imageData = reinterpret_cast<char*>(const_cast<uint8_t*>(srcBytes.data()));
    dstView.imageData = reinterpret_cast<char*>(out.data());

    const Rect rs = regionOf(src), rd = regionOf(dst);
    int w = std::min(rs.w, rd.w), h = std::min(rs.h, rd.h);
    std::vector<const ZolImage*> masks;
    for (const ZolImage* m : {src->maskROI, dst->maskROI})
        if (m) masks.push_back(m);
    for (const ZolImage* m : masks) {
        const Rect rm = regionOf(m);
        w = std::min(w, rm.w);
        h = std::min(h, rm.h);
    }
    const int coiS = src->roi ? src->roi->coi : 0, coiD = dst->roi ? dst->roi->coi : 0;
    std::vector<std::pair<int, int>> channels;  // (src channel, dst channel)
    if (coiS || coiD) {
        channels.push_back({coiS ? coiS - 1 : 0, coiD ? coiD - 1 : 0});
    } else {
        const int n = dst->nChannels - (dst->alphaChannel ? 1 : 0);
        for (int c = 0; c < n; ++c) channels.push_back({c, c});
    }
    const int64_t pat = patternFor(dst->depth, value);
    for (int j = 0; j < h; ++j)
        for (int i = 0; i < w; ++i) {
            bool on = true;
            for (const ZolImage* m : masks) {
                const Rect rm = regionOf(m);
                on = on && kit::get(m, rm.x + i, rm.y + j, 0);
            }
            if (!on) continue;
            for (auto [cs, cd] : channels) {
                const int64_t v = kit::get(&srcCopy, rs.x + i, rs.y + j, cs) ^ pat;
                kit::set(&dstView, rd.x + i, rd.y + j, cd, v);
            }
        }
    return out;
}

// A random image configuration for one case.
struct Case {
    int depth, order, align, nCh;
    bool alpha;
};

Image makeImage(std::mt19937& g, const Case& c, int w, int h) {
    Image im(c.depth, c.nCh, w, h, c.order, c.align, c.alpha);
    im.randomize(g());
    return im;
}

void randomRoi(std::mt19937& g, Image& im, int coi, int w, int h) {
    // Offsets and sizes may reach past the image's edges.
    im.setRoi(coi, int(g() % (w + 2)), int(g() % (h + 2)), 1 + int(g() % (w + 3)),
              1 + int(g() % (h + 3)));
}

Image randomMask(std::mt19937& g, int w, int h) {
    const int mw = w + int(g() % 9), mh = h + int(g() % 4);
    Image m(ZOL_DEPTH_1U, 1, mw, mh, ZOL_DATA_ORDER_PIXEL, g() % 2 ? 4 : 8);
    m.randomize(g());
    if (g() % 2) m.setRoi(0, int(g() % 9), int(g() % 4), w, h);
    return m;
}

}  // namespace

// Random geometry, depths, layouts, channels and masks: the operation must
// equal the per-pixel model byte for byte, padding and alpha included.
TEST(LogicXorS, MatchesModelOverRandomFrames) {
    const int depths[] = {ZOL_DEPTH_1U,  ZOL_DEPTH_8U,  ZOL_DEPTH_8S,
                          ZOL_DEPTH_16U, ZOL_DEPTH_16S, ZOL_DEPTH_32S};
    kit::Recorder rec;
    for (uint32_t seed = 0; seed < 1500; ++seed) {
        std::mt19937 g(seed);
        Case c;
        c.depth = depths[g() % 6];
        c.order = int(g() % 2);
        c.align = g() % 2 ? 4 : 8;
        c.nCh = c.depth == ZOL_DEPTH_1U ? 1 : 1 + int(g() % 4);
        c.alpha = c.nCh > 1 && g() % 3 == 0;
        const int w = 1 + int(g() % 67), h = 1 + int(g() % 7);
        SCOPED_TRACE(testing::Message() << "seed " << seed << " depth " << kit::depthName(c.depth)
                                        << " order " << c.order << " nCh " << c.nCh << " alpha "
                                        << c.alpha << " " << w << "x" << h);
        Image src = makeImage(g, c, w, h);
        // The destination may differ in size and, where alpha allows, in
        // channel count.
        Case cd = c;
        if (c.alpha && g() % 2) cd.alpha = false, cd.nCh = c.nCh - 1;
        const bool inPlace = g() % 6 == 0;
        Image dstOwn = inPlace ? Image() : makeImage(g, cd, w + int(g() % 5), h + int(g() % 3));
        ZolImage* dst = inPlace ? src.get() : dstOwn.get();

        const int kind = int(g() % 4);  // whole, ROI, one channel, ROI elsewhere
        if (kind >= 1) randomRoi(g, src, 0, w, h);
        if (kind == 2 && c.depth != ZOL_DEPTH_1U) {
            src->roi->coi = 1 + int(g() % c.nCh);
            if (!inPlace) {
                dstOwn.setRoi(1 + int(g() % dst->nChannels), 0, 0, dst->width, dst->height);
            }
        }
        if (kind == 3 && !inPlace) randomRoi(g, dstOwn, 0, dst->width, dst->height);
        Image maskS, maskD;
        const int masks = int(g() % 4);
        if (masks & 1) maskS = randomMask(g, w, h), src->maskROI = maskS;
        if ((masks & 2) && !inPlace) maskD = randomMask(g, w, h), dst->maskROI = maskD;

        const uint32_t value = g();
        const std::vector<uint8_t> srcBytes = src.bytes();
        const std::vector<uint8_t> expected = modelXor(src, dst, srcBytes, value);
        const bool flat = !src->maskROI && !dst->maskROI && !c.alpha && !cd.alpha &&
                          zol::ownIsWholeImage(src, dst, false);
        zolXorS(src, dst, value);
        src->maskROI = nullptr;
        dst->maskROI = nullptr;
        ASSERT_TRUE(rec.none()) << rec.reports()[0].context;

        const auto* got = reinterpret_cast<const uint8_t*>(dst->imageData);
        if (!flat) {
            ASSERT_EQ(0, std::memcmp(got, expected.data(), expected.size()));
        } else {
            // The flat pass also writes the padding: with the source's
            // padding combined with the pattern.
            for (int y = 0; y < dst->height; ++y)
                for (int x = 0; x < dst->width; ++x)
                    for (int ch = 0; ch < dst->nChannels; ++ch)
                        ASSERT_EQ(kit::get(dst, x, y, ch), [&] {
                            ZolImage e = *dst;
                            e.imageData = reinterpret_cast<char*>(const_cast<uint8_t*>(expected.data()));
                            return kit::get(&e, x, y, ch);
                        }()) << x << "," << y << "," << ch;
        }
    }
}

TEST(LogicXorS, WholeImagePassWritesPaddingFromSource) {
    Image src(ZOL_DEPTH_8U, 1, 5, 3), dst(ZOL_DEPTH_8U, 1, 5, 3, ZOL_DATA_ORDER_PIXEL);
    src.randomize(7);
    dst.randomize(8);
    zolXorS(src, dst, 0x5A);
    for (int i = 0; i < src->imageSize; ++i)
        EXPECT_EQ(uint8_t(src->imageData[i] ^ 0x5A), uint8_t(dst->imageData[i])) << i;

    // A ROI past the edges at offset 0 still counts as whole; at row
    // offset 1 it is cut, and pixel (0, 0) of the regions meet.
    src.setRoi(0, 0, 1, 50, 50);
    const auto before = dst.bytes();
    zolXorS(src, dst, 0x0F);
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 5; ++x)
            EXPECT_EQ(y < 2 ? (kit::get(src, x, y + 1, 0) ^ 0x0F) : before[size_t(y * 8 + x)],
                      kit::get(dst, x, y, 0));
}

TEST(LogicNot, InvertsEveryDepthAndKeepsAlpha) {
    // 8S: 0 gives -1 and -128 gives 127; on a 1-bit image only the region changes.
    Image s8(ZOL_DEPTH_8S, 1, 2, 1), d8(ZOL_DEPTH_8S, 1, 2, 1);
    kit::set(s8, 0, 0, 0, 0);
    kit::set(s8, 1, 0, 0, -128);
    zolNot(s8, d8);
    EXPECT_EQ(-1, kit::get(d8, 0, 0, 0));
    EXPECT_EQ(127, kit::get(d8, 1, 0, 0));

    Image bits(ZOL_DEPTH_1U, 1, 20, 2);
    bits.setRoi(0, 3, 1, 9, 1);
    zolNot(bits, bits);
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 20; ++x)
            EXPECT_EQ(y == 1 && x >= 3 && x < 12 ? 1 : 0, kit::get(bits, x, y, 0)) << x << "," << y;

    // An alpha channel is neither read nor written unless selected.
    Image rgba(ZOL_DEPTH_16U, 4, 3, 2, ZOL_DATA_ORDER_PIXEL, 8, true);
    rgba.randomize(3);
    const auto before = rgba.bytes();
    zolNot(rgba, rgba);
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 3; ++x) {
            ZolImage b = *rgba;
            b.imageData = reinterpret_cast<char*>(const_cast<uint8_t*>(before.data()));
            for (int c = 0; c < 3; ++c) EXPECT_EQ(kit::get(&b, x, y, c) ^ 0xFFFF, kit::get(rgba, x, y, c));
            EXPECT_EQ(kit::get(&b, x, y, 3), kit::get(rgba, x, y, 3));
        }
    rgba.setRoi(4, 0, 0, 3, 2);  // a coi of nChannels selects the alpha channel itself
    zolNot(rgba, rgba);
    ZolImage b = *rgba;
    b.imageData = reinterpret_cast<char*>(const_cast<uint8_t*>(before.data()));
    EXPECT_EQ(kit::get(&b, 2, 1, 3) ^ 0xFFFF, kit::get(rgba, 2, 1, 3));
}

// Faults are reported in the name of zolXorS, before anything is written.
TEST(LogicXorS, ChecksReportInOrderAndWriteNothing) {
    Image a8(ZOL_DEPTH_8U, 3, 4, 4), b8(ZOL_DEPTH_8U, 3, 4, 4), a16(ZOL_DEPTH_16U, 3, 4, 4);
    Image plane(ZOL_DEPTH_8U, 3, 4, 4, ZOL_DATA_ORDER_PLANE), gray(ZOL_DEPTH_8U, 1, 4, 4);
    Image f32(ZOL_DEPTH_32F, 1, 4, 4), f32b(ZOL_DEPTH_32F, 1, 4, 4);
    Image bitA(ZOL_DEPTH_1U, 1, 9, 2), bitB(ZOL_DEPTH_1U, 1, 9, 2, ZOL_DATA_ORDER_PLANE);
    b8.randomize(1);
    struct Row {
        ZolImage* src;
        ZolImage* dst;
        int status;
        const char* context;
    } rows[] = {
        {nullptr, b8, ZOL_STATUS_NULL_HEADER, "Incorrect Image"},
        {a8, nullptr, ZOL_STATUS_NULL_HEADER, "Incorrect Image"},
        {a16, b8, ZOL_STATUS_BAD_ARGUMENT, "(srcImage->depth != dstImage->depth)"},
        {plane, b8, ZOL_STATUS_BAD_ARGUMENT, "(srcImage->dataOrder != dstImage->dataOrder)"},
        {gray, b8, ZOL_STATUS_BAD_ARGUMENT, "(nChSrc != nChDst)"},
        {f32, f32b, ZOL_STATUS_BAD_ARGUMENT, "This function does not support depth 32F"},
    };
    for (const Row& r : rows) {
        kit::Recorder rec;
        const auto before = b8.bytes();
        zolNot(r.src, r.dst);
        EXPECT_TRUE(rec.only(r.status, "zolXorS", r.context)) << r.context;
        EXPECT_EQ(before, b8.bytes());
    }
    // 1-bit images may differ in data order; a coi choosing one channel
    // against three is a count mismatch.
    kit::Recorder rec;
    zolNot(bitA, bitB);
    EXPECT_TRUE(rec.none());
    a8.setRoi(2, 0, 0, 4, 4);
    zolNot(a8, b8);
    EXPECT_TRUE(rec.only(ZOL_STATUS_BAD_ARGUMENT, "zolXorS", "(nChSrc != nChDst)"));
}

TEST(LogicXorS, MaskEdgeCases) {
    Image src(ZOL_DEPTH_8U, 1, 8, 4), dst(ZOL_DEPTH_8U, 1, 8, 4);
    Image m1(ZOL_DEPTH_1U, 1, 8, 4), m2(ZOL_DEPTH_1U, 1, 8, 4);
    m1.randomize(5);
    m2.randomize(6);
    // Two masks whose regions have no common size: nothing happens, silently.
    m2.setRoi(0, 8, 0, 4, 4);
    src->maskROI = m1;
    dst->maskROI = m2;
    {
        kit::Recorder rec;
        const auto before = dst.bytes();
        zolNot(src, dst);
        EXPECT_TRUE(rec.none());
        EXPECT_EQ(before, dst.bytes());
    }
    // No memory for the combined mask: reported, nothing written.
    m2.setRoi(0, 0, 0, 8, 4);
    {
        kit::Recorder rec;
        kit::HeapFailure fail(1);
        zolNot(src, dst);
        EXPECT_TRUE(rec.only(ZOL_STATUS_NO_MEMORY, "zolXorS", "Out of memory"));
    }
    // A combined mask on a refused depth is released (LSan watches).
    Image f1(ZOL_DEPTH_32F, 1, 8, 4), f2(ZOL_DEPTH_32F, 1, 8, 4);
    f1->maskROI = m1;
    f2->maskROI = m2;
    {
        kit::Recorder rec;
        zolNot(f1, f2);
        EXPECT_TRUE(rec.only(ZOL_STATUS_BAD_ARGUMENT, "zolXorS", "This function does not support depth 32F"));
    }
    f1->maskROI = f2->maskROI = src->maskROI = dst->maskROI = nullptr;
}

// The dispatched byte kernels equal the plain form for every length and
// alignment, in place and out of place.
TEST(LogicKernels, FormsAgree) {
    std::mt19937 g(11);
    std::vector<uint8_t> src(300), a(300), b(300);
    for (auto& v : src) v = uint8_t(g());
    const zol::Form saved = zol::formCap();
    for (int form = 0; form <= int(zol::cpuForm()); ++form) {
        zol::setFormCap(zol::Form(form));
        const auto run = zol::logicKernels().xorConstRun;
        for (size_t off = 0; off < 4; ++off)
            for (size_t n = 0; n + off <= 200; n += 1 + n / 16) {
                const uint32_t p = g();
                zol::plain::xorConstRun(src.data() + off, a.data() + off, n, p);
                run(src.data() + off, b.data() + off, n, p);
                ASSERT_EQ(0, std::memcmp(a.data(), b.data(), a.size())) << form << " " << n;
                std::vector<uint8_t> inPlace(src);
                run(inPlace.data() + off, inPlace.data() + off, n, p);
                ASSERT_EQ(0, std::memcmp(inPlace.data() + off, a.data() + off, n));
            }
    }
    zol::setFormCap(saved);
}

// The bit-run copy changes only the run's bits and reads only bytes that
// hold bits of the run (the source lies in a block of exactly those bytes,
// so the sanitizers see any stray read).
TEST(BitRows, CopyTouchesOnlyTheRun) {
    std::mt19937 g(4);
    for (int sb = 0; sb < 8; ++sb)
        for (int db = 0; db < 8; ++db)
            for (int n = 1; n <= 40; ++n) {
                const size_t srcLen = size_t((sb + n + 7) / 8);
                std::unique_ptr<uint8_t[]> src(new uint8_t[srcLen]);
                for (size_t i = 0; i < srcLen; ++i) src[i] = uint8_t(g());
                uint8_t dst[8], want[8];
                for (int i = 0; i < 8; ++i) dst[i] = want[i] = uint8_t(g());
                for (int i = 0; i < n; ++i) zol::setBitAt(want, db + i, zol::bitAt(src.get(), sb + i));
                zol::ownCopyBitRow(src.get(), dst, sb, db, n);
                ASSERT_EQ(0, std::memcmp(dst, want, 8)) << sb << " " << db << " " << n;
            }
}
