// The logic family through the whole call frame: and, or, exclusive or of
// two images and with a constant, inversion, shifts; 1-bit rows, the flat
// pass, diversions, checks and their messages, and the kernel forms.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <memory>
#include <random>

#include "arith/logic.h"
#include "core/simd.h"
#include "core/rect.h"
#include "frames.h"
#include "kit.h"

namespace {

using kit::Image;
using PairFn = void (*)(ZolImage*, ZolImage*, ZolImage*);
using ConstFn = void (*)(ZolImage*, ZolImage*, uint32_t);

// Values as kit::get gives them; kit::set keeps the depth's low bits, which
// is all that the pattern of a constant amounts to.
int64_t shiftModel(bool left, int depth, int64_t v, uint32_t n) {
    const uint32_t w = uint32_t(depth & 0x7FFFFFFF);
    if (left) return n >= w ? 0 : int64_t(uint64_t(v) << n);
    if (depth > 0) return n >= w ? 0 : v >> n;  // unsigned: v is not negative
    return v >> std::min(n, w - 1);
}


}  // namespace

// Random frames (ROIs, coi, alpha, masks, tiles, in-place use) for every
// operation and depth. Constants have bit 0 set and clear and reach past a
// byte and a half word; shift counts hit every path: the copy, width - 1,
// width, far beyond, and a negative one.
TEST(LogicFrames, MatchModel) {
    const struct {
        PairFn pair;
        ConstFn withConst;
        int64_t (*model)(int64_t, int64_t);
    } ops[] = {{zolAnd, zolAndS, [](int64_t a, int64_t b) { return a & b; }},
               {zolOr, zolOrS, [](int64_t a, int64_t b) { return a | b; }},
               {zolXor, zolXorS, [](int64_t a, int64_t b) { return a ^ b; }}};
    kit::FrameOptions o;
    o.depths = {ZOL_DEPTH_1U, ZOL_DEPTH_8U, ZOL_DEPTH_8S, ZOL_DEPTH_16U, ZOL_DEPTH_16S, ZOL_DEPTH_32S};
    for (const auto& op : ops) {
        o.cases = 300, o.seed += 1000;
        kit::checkFrames(kit::BinaryOp(op.pair),
                         [&](int, const int64_t* v) { return op.model(v[0], v[1]); }, o);
        o.cases = 100;
        for (const uint32_t value : {0x9E3779B9u, 0x12344u, 0x1FFu}) {
            o.seed += 1000;
            kit::checkFrames([&](ZolImage* s, ZolImage* d) { op.withConst(s, d, value); },
                             [&](int, const int64_t* v) { return op.model(v[0], value); }, o);
        }
    }
    o.cases = 200;
    kit::checkFrames([](ZolImage* s, ZolImage* d) { zolNot(s, d); },
                     [](int, const int64_t* v) { return ~v[0]; }, o);
    o.cases = 40;
    for (const uint32_t n : {0u, 1u, 3u, 7u, 8u, 9u, 15u, 16u, 31u, 32u, 100u, 0xFFFFFFFFu})
        for (const bool left : {true, false}) {
            o.seed += 1000;
            SCOPED_TRACE(testing::Message() << (left ? "left " : "right ") << n);
            kit::checkFrames(
                [&](ZolImage* s, ZolImage* d) { (left ? zolLShiftS : zolRShiftS)(s, d, n); },
                [&](int depth, const int64_t* v) { return shiftModel(left, depth, v[0], n); }, o);
        }
}

// Whole, alike, unmasked images take one flat pass that writes the padding
// too (rows of 5 on 8-byte steps); a source cut by a ROI sends every form
// to the region path, which leaves it.
TEST(LogicWhole, FlatPassWritesPaddingRegionPathLeavesIt) {
    Image a(ZOL_DEPTH_8U, 1, 5, 3), b(ZOL_DEPTH_8U, 1, 5, 3), d(ZOL_DEPTH_8U, 1, 5, 3);
    a.randomize(1);
    b.randomize(2);
    const std::pair<std::function<void()>, int (*)(int, int)> runs[] = {
        {[&] { zolAnd(a, b, d); }, [](int x, int y) { return x & y; }},
        {[&] { zolXorS(a, d, 0x5A); }, [](int x, int) { return x ^ 0x5A; }},
        {[&] { zolRShiftS(a, d, 3); }, [](int x, int) { return x >> 3; }},
        {[&] { zolLShiftS(a, d, 1); }, [](int x, int) { return x << 1; }}};
    auto at = [](const Image& im, int i) { return int(uint8_t(im->imageData[i])); };
    for (const auto& [run, model] : runs) {
        d.randomize(3);
        run();
        for (int i = 0; i < d->imageSize; ++i) ASSERT_EQ(uint8_t(model(at(a, i), at(b, i))), at(d, i)) << i;
    }
    b.setRoi(0, 1, 0, 4, 3);
    const auto before = d.bytes();
    zolOr(a, b, d);
    zolXorS(b, d, 0x0F);
    zolLShiftS(b, d, 1);
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 8; ++x)
            EXPECT_EQ(x < 4 ? uint8_t(kit::get(b, x + 1, y, 0) << 1) : before[size_t(y * 8 + x)],
                      at(d, y * 8 + x)) << x << "," << y;
}

// Three 1-bit regions at different bit offsets; bits around the region stay.
TEST(LogicPair, BitRowsWithThreeOffsets) {
    Image a(ZOL_DEPTH_1U, 1, 40, 3), b(ZOL_DEPTH_1U, 1, 40, 3), d(ZOL_DEPTH_1U, 1, 40, 3);
    a.randomize(21);
    b.randomize(22);
    d.randomize(23);
    a.setRoi(0, 3, 0, 21, 3);
    b.setRoi(0, 14, 1, 30, 2);
    d.setRoi(0, 1, 0, 25, 3);
    const auto before = d.bytes();
    ZolImage old = *d;
    old.imageData = reinterpret_cast<char*>(const_cast<uint8_t*>(before.data()));
    zolXor(a, b, d);
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 40; ++x) {
            const bool in = x >= 1 && x < 22 && y < 2;
            ASSERT_EQ(in ? kit::get(a, x + 2, y, 0) ^ kit::get(b, x + 13, y + 1, 0) : kit::get(&old, x, y, 0),
                      kit::get(d, x, y, 0)) << x << "," << y;
        }
}

// Faults are reported before anything is written: A before B at each step,
// in the function's own name, or in that of the function a constant form or
// a shift count diverts to (zolNot is zolXorS; a zero count is zolXorS, one
// at or past the width zolAndS, but the signed right shift cuts it to
// width - 1). The null source is checked before the count. Status 0: silent.
TEST(LogicChecks, ReportInOrderAndWriteNothing) {
    const ConstFn Not = [](ZolImage* s, ZolImage* d, uint32_t) { zolNot(s, d); };
    const ConstFn L = zolLShiftS, R = zolRShiftS;
    Image a(ZOL_DEPTH_8U, 3, 4, 4), b(ZOL_DEPTH_8U, 3, 4, 4), d(ZOL_DEPTH_8U, 3, 4, 4);
    Image a16(ZOL_DEPTH_16U, 3, 4, 4), plane(ZOL_DEPTH_8U, 3, 4, 4, ZOL_DATA_ORDER_PLANE);
    Image gray(ZOL_DEPTH_8U, 1, 4, 4), coi(ZOL_DEPTH_8U, 3, 4, 4), s8(ZOL_DEPTH_8S, 1, 4, 4);
    Image f1(ZOL_DEPTH_32F, 1, 4, 4), f2(ZOL_DEPTH_32F, 1, 4, 4);
    Image bits(ZOL_DEPTH_1U, 1, 9, 2), bitsPlane(ZOL_DEPTH_1U, 1, 9, 2, ZOL_DATA_ORDER_PLANE);
    coi.setRoi(2, 0, 0, 4, 4);  // one channel against three
    const Image* all[] = {&a, &b, &d, &a16, &plane, &gray, &coi, &s8, &f1, &f2};
    uint32_t seed = 0;
    for (const Image* im : all) const_cast<Image*>(im)->randomize(++seed);
    auto snapshot = [&] {
        std::vector<std::vector<uint8_t>> v;
        for (const Image* im : all) v.push_back(im->bytes());
        return v;
    };
    const int kNull = ZOL_STATUS_NULL_HEADER, kBad = ZOL_STATUS_BAD_ARGUMENT;
    const char *const kInc = "Incorrect Image", *const kNo32F = "This function does not support depth 32F";
    const char *const kDepth = "(srcImage->depth != dstImage->depth)", *const kNCh = "(nChSrc != nChDst)";
    const char* const kOrder = "(srcImage->dataOrder != dstImage->dataOrder)";
    const struct {
        PairFn pair;  // or, with no pair, the one-source form
        ConstFn one;
        ZolImage *a, *b, *d;
        uint32_t n;
        int status;
        const char *func, *context;
    } rows[] = {
        {zolAnd, nullptr, nullptr, b, d, 0, kNull, "zolAnd", kInc},
        {zolOr, nullptr, a, nullptr, d, 0, kNull, "zolOr", kInc},
        {zolXor, nullptr, a, b, nullptr, 0, kNull, "zolXor", kInc},
        {zolAnd, nullptr, a16, a16, d, 0, kBad, "zolAnd", "(srcImageA->depth != dstImage->depth)"},
        {zolOr, nullptr, a, a16, d, 0, kBad, "zolOr", "(srcImageB->depth != dstImage->depth)"},
        {zolXor, nullptr, plane, plane, d, 0, kBad, "zolXor", "(srcImageA->dataOrder != dstImage->dataOrder)"},
        {zolAnd, nullptr, a, plane, d, 0, kBad, "zolAnd", "(srcImageB->dataOrder != dstImage->dataOrder)"},
        {zolOr, nullptr, gray, gray, d, 0, kBad, "zolOr", "(nChSrcA != nChDst)"},
        {zolXor, nullptr, a, gray, d, 0, kBad, "zolXor", "(nChSrcB != nChDst)"},
        {zolAnd, nullptr, f1, f2, f1, 0, kBad, "zolAnd", kNo32F},
        {zolXor, nullptr, bits, bitsPlane, bits, 0, 0, "", ""},  // 1-bit orders may differ
        {nullptr, zolXorS, nullptr, nullptr, d, 1, kNull, "zolXorS", kInc},
        {nullptr, Not, a, nullptr, nullptr, 0, kNull, "zolXorS", kInc},
        {nullptr, zolAndS, a16, nullptr, d, 1, kBad, "zolAndS", kDepth},
        {nullptr, Not, plane, nullptr, d, 0, kBad, "zolXorS", kOrder},
        {nullptr, zolOrS, gray, nullptr, d, 1, kBad, "zolOrS", kNCh},
        {nullptr, Not, coi, nullptr, d, 0, kBad, "zolXorS", kNCh},
        {nullptr, zolOrS, f1, nullptr, f2, 1, kBad, "zolOrS", kNo32F},
        {nullptr, Not, f1, nullptr, f2, 0, kBad, "zolXorS", kNo32F},
        {nullptr, Not, bits, nullptr, bitsPlane, 0, 0, "", ""},
        {nullptr, L, nullptr, nullptr, a, 0, kBad, "zolLShiftS", "srcImage==0"},
        {nullptr, R, nullptr, nullptr, nullptr, 7, kBad, "zolRShiftS", "srcImage==0"},
        {nullptr, L, a, nullptr, nullptr, 0, kNull, "zolXorS", kInc},
        {nullptr, L, a, nullptr, nullptr, 7, kNull, "zolLShiftS", kInc},
        {nullptr, L, a, nullptr, nullptr, 8, kNull, "zolAndS", kInc},
        {nullptr, L, s8, nullptr, nullptr, 100, kNull, "zolAndS", kInc},
        {nullptr, R, a, nullptr, nullptr, 0xFFFFFFFFu, kNull, "zolAndS", kInc},
        {nullptr, R, s8, nullptr, nullptr, 100, kNull, "zolRShiftS", kInc},
        {nullptr, R, s8, nullptr, nullptr, 0xFFFFFFFFu, kNull, "zolRShiftS", kInc},
        {nullptr, L, bits, nullptr, nullptr, 1, kNull, "zolAndS", kInc},
        {nullptr, R, bits, nullptr, nullptr, 1, kNull, "zolAndS", kInc},
        {nullptr, L, f1, nullptr, f2, 0, kBad, "zolXorS", kNo32F},
        {nullptr, L, f1, nullptr, f2, 31, kBad, "zolLShiftS", kNo32F},
        {nullptr, R, f1, nullptr, f2, 0xFFFFFFFFu, kBad, "zolAndS", kNo32F},
        {nullptr, L, a, nullptr, a16, 3, kBad, "zolLShiftS", kDepth},
        {nullptr, R, a, nullptr, plane, 3, kBad, "zolRShiftS", kOrder},
        {nullptr, R, a, nullptr, gray, 3, kBad, "zolRShiftS", kNCh},
    };
    for (size_t i = 0; i < std::size(rows); ++i) {
        const auto& r = rows[i];
        const auto before = snapshot();
        kit::Recorder rec;
        r.pair ? r.pair(r.a, r.b, r.d) : r.one(r.a, r.d, r.n);
        EXPECT_TRUE(r.status ? rec.only(r.status, r.func, r.context) : rec.none()) << "row " << i;
        if (r.status) {
            EXPECT_EQ(before, snapshot()) << "row " << i;
        }
    }
}

TEST(LogicChecks, MaskEdgeCases) {
    Image src(ZOL_DEPTH_8U, 1, 8, 4), dst(ZOL_DEPTH_8U, 1, 8, 4);
    Image m1(ZOL_DEPTH_1U, 1, 8, 4), m2(ZOL_DEPTH_1U, 1, 8, 4);
    Image f1(ZOL_DEPTH_32F, 1, 8, 4), f2(ZOL_DEPTH_32F, 1, 8, 4);
    m1.randomize(5);
    m2.randomize(6);
    src->maskROI = f1->maskROI = m1;
    dst->maskROI = f2->maskROI = m2;
    // Two masks whose regions have no common size: nothing happens, silently.
    m2.setRoi(0, 8, 0, 4, 4);
    kit::Recorder rec;
    const auto before = dst.bytes();
    zolNot(src, dst);
    EXPECT_TRUE(rec.none());
    EXPECT_EQ(before, dst.bytes());
    // No memory for the combined mask: reported, nothing written.
    m2.setRoi(0, 0, 0, 8, 4);
    {
        kit::HeapFailure fail(1);
        zolNot(src, dst);
    }
    EXPECT_TRUE(rec.only(ZOL_STATUS_NO_MEMORY, "zolXorS", "Out of memory"));
    EXPECT_EQ(before, dst.bytes());
    // A combined mask on a refused depth is released (LSan watches).
    rec.clear();
    zolNot(f1, f2);
    EXPECT_TRUE(rec.only(ZOL_STATUS_BAD_ARGUMENT, "zolXorS", "This function does not support depth 32F"));
    f1->maskROI = f2->maskROI = src->maskROI = dst->maskROI = nullptr;
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
