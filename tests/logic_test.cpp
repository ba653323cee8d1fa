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
#include "frames.h"
#include "kit.h"

namespace {

using kit::Image;

uint32_t patternFor(int depth, uint32_t v) {
    switch (depth & 0x7FFFFFFF) {
        case 1: return v & 1;
        case 8: return v & 0xFF;
        case 16: return v & 0xFFFF;
        default: return v;
    }
}

}  // namespace

const std::vector<int> kLogicDepths = {ZOL_DEPTH_1U,  ZOL_DEPTH_8U,  ZOL_DEPTH_8S,
                                       ZOL_DEPTH_16U, ZOL_DEPTH_16S, ZOL_DEPTH_32S};

// Exclusive or and inversion over random frames: ROIs, channels, alpha,
// masks, tiles and in-place use, against the bit model of each depth.
TEST(LogicXorS, MatchesModelOverRandomFrames) {
    const uint32_t value = 0x9E3779B9u;
    kit::FrameOptions o;
    o.depths = kLogicDepths;
    o.cases = 600;
    kit::checkFrames([&](ZolImage* s, ZolImage* d) { zolXorS(s, d, value); },
                     [&](int depth, const int64_t* v) { return v[0] ^ patternFor(depth, value); }, o);
    o.seed = 10000;
    kit::checkFrames([](ZolImage* s, ZolImage* d) { zolNot(s, d); },
                     [](int, const int64_t* v) { return ~v[0]; }, o);
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
