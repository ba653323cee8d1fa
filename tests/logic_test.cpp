// The logic family through the whole call frame: and, or, exclusive or of
// two images and with a constant, inversion, shifts; regions, channels,
// alpha, masks, 1-bit rows, diversions, checks and their messages.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <memory>
#include <random>

#include "arith/logic.h"
#include "core/cpu.h"
#include "core/rect.h"
#include "frames.h"
#include "kit.h"

namespace {

using kit::Image;

const std::vector<int> kLogicDepths = {ZOL_DEPTH_1U,  ZOL_DEPTH_8U,  ZOL_DEPTH_8S,
                                       ZOL_DEPTH_16U, ZOL_DEPTH_16S, ZOL_DEPTH_32S};

// The element models work on values: kit::set keeps the low bits of the
// depth, which is all that the pattern of a constant amounts to.
int64_t shiftModel(bool left, int depth, int64_t v, uint32_t n) {
    const uint32_t w = uint32_t(depth & 0x7FFFFFFF);
    if (left) return n >= w ? 0 : int64_t(uint64_t(v) << n);
    if (depth > 0) return n >= w ? 0 : v >> n;  // unsigned: v is not negative
    return v >> std::min(n, w - 1);
}

using ConstFn = void (*)(ZolImage*, ZolImage*, uint32_t);
using PairFn = void (*)(ZolImage*, ZolImage*, ZolImage*);

}  // namespace

// Random frames: ROIs, channels, alpha, masks, tiles and in-place use, for
// every operation and depth, against the value models.
TEST(LogicFrames, PairsMatchModel) {
    const struct {
        PairFn fn;
        int64_t (*model)(int64_t, int64_t);
    } ops[] = {{zolAnd, [](int64_t a, int64_t b) { return a & b; }},
               {zolOr, [](int64_t a, int64_t b) { return a | b; }},
               {zolXor, [](int64_t a, int64_t b) { return a ^ b; }}};
    kit::FrameOptions o;
    o.depths = kLogicDepths;
    o.cases = 300;
    for (const auto& op : ops) {
        o.seed += 1000;
        kit::checkFrames(kit::BinaryOp(op.fn),
                         [&](int, const int64_t* v) { return op.model(v[0], v[1]); }, o);
    }
}

TEST(LogicFrames, ConstantsMatchModel) {
    const struct {
        ConstFn fn;
        int64_t (*model)(int64_t, int64_t);
    } ops[] = {{zolAndS, [](int64_t a, int64_t b) { return a & b; }},
               {zolOrS, [](int64_t a, int64_t b) { return a | b; }},
               {zolXorS, [](int64_t a, int64_t b) { return a ^ b; }}};
    kit::FrameOptions o;
    o.depths = kLogicDepths;
    o.cases = 100;
    // Bit 0 set and clear; values wider than a byte or a half word.
    for (const uint32_t value : {0x9E3779B9u, 0x12344u, 0x1FFu})
        for (const auto& op : ops) {
            o.seed += 1000;
            kit::checkFrames([&](ZolImage* s, ZolImage* d) { op.fn(s, d, value); },
                             [&](int, const int64_t* v) { return op.model(v[0], value); }, o);
        }
    o.cases = 200;
    kit::checkFrames([](ZolImage* s, ZolImage* d) { zolNot(s, d); },
                     [](int, const int64_t* v) { return ~v[0]; }, o);
}

// Every count that decides a path: the copy, each width - 1 and width, and
// counts far beyond, a negative one included.
TEST(LogicFrames, ShiftsMatchModelForEveryCount) {
    kit::FrameOptions o;
    o.depths = kLogicDepths;
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

// The dyadic and shift flat passes write the padding too; a source cut by
// a ROI sends all of them to the region path, which leaves it.
TEST(LogicPair, WholeImagePassWritesPadding) {
    Image a(ZOL_DEPTH_8U, 1, 5, 3), b(ZOL_DEPTH_8U, 1, 5, 3), d(ZOL_DEPTH_8U, 1, 5, 3);
    a.randomize(1);
    b.randomize(2);
    d.randomize(3);
    zolAnd(a, b, d);
    for (int i = 0; i < d->imageSize; ++i)
        ASSERT_EQ(uint8_t(a->imageData[i] & b->imageData[i]), uint8_t(d->imageData[i])) << i;
    zolRShiftS(a, d, 3);
    for (int i = 0; i < d->imageSize; ++i)
        ASSERT_EQ(uint8_t(a->imageData[i]) >> 3, uint8_t(d->imageData[i])) << i;

    b.setRoi(0, 1, 0, 4, 3);
    const auto before = d.bytes();
    zolOr(a, b, d);
    zolLShiftS(b, d, 1);
    for (int y = 0; y < 3; ++y)
        for (int x = 4; x < 8; ++x)
            EXPECT_EQ(before[size_t(y * 8 + x)], uint8_t(d->imageData[y * 8 + x])) << x << "," << y;
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
            const int64_t want = in ? kit::get(a, x + 2, y, 0) ^ kit::get(b, x + 13, y + 1, 0)
                                    : kit::get(&old, x, y, 0);
            ASSERT_EQ(want, kit::get(d, x, y, 0)) << x << "," << y;
        }
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

// The dyadic forms check A before B at each step, in their own names; the
// constant forms as zolXorS, in theirs.
TEST(LogicPair, ChecksReportInOrderAndWriteNothing) {
    Image a(ZOL_DEPTH_8U, 3, 4, 4), b(ZOL_DEPTH_8U, 3, 4, 4), d(ZOL_DEPTH_8U, 3, 4, 4);
    Image a16(ZOL_DEPTH_16U, 3, 4, 4), plane(ZOL_DEPTH_8U, 3, 4, 4, ZOL_DATA_ORDER_PLANE);
    Image gray(ZOL_DEPTH_8U, 1, 4, 4), f1(ZOL_DEPTH_32F, 1, 4, 4), f2(ZOL_DEPTH_32F, 1, 4, 4);
    d.randomize(1);
    const char* const kIncorrect = "Incorrect Image";
    const struct {
        ZolImage *a, *b, *d;
        int status;
        const char* context;
    } rows[] = {
        {nullptr, b, d, ZOL_STATUS_NULL_HEADER, kIncorrect},
        {a, nullptr, d, ZOL_STATUS_NULL_HEADER, kIncorrect},
        {a, b, nullptr, ZOL_STATUS_NULL_HEADER, kIncorrect},
        {a16, a16, d, ZOL_STATUS_BAD_ARGUMENT, "(srcImageA->depth != dstImage->depth)"},
        {a, a16, d, ZOL_STATUS_BAD_ARGUMENT, "(srcImageB->depth != dstImage->depth)"},
        {plane, plane, d, ZOL_STATUS_BAD_ARGUMENT, "(srcImageA->dataOrder != dstImage->dataOrder)"},
        {a, plane, d, ZOL_STATUS_BAD_ARGUMENT, "(srcImageB->dataOrder != dstImage->dataOrder)"},
        {gray, gray, d, ZOL_STATUS_BAD_ARGUMENT, "(nChSrcA != nChDst)"},
        {a, gray, d, ZOL_STATUS_BAD_ARGUMENT, "(nChSrcB != nChDst)"},
        {f1, f2, f1, ZOL_STATUS_BAD_ARGUMENT, "This function does not support depth 32F"},
    };
    const std::pair<PairFn, const char*> pairs[] = {
        {zolAnd, "zolAnd"}, {zolOr, "zolOr"}, {zolXor, "zolXor"}};
    const auto before = d.bytes();
    for (const auto& [fn, name] : pairs)
        for (const auto& r : rows) {
            kit::Recorder rec;
            fn(r.a, r.b, r.d);
            EXPECT_TRUE(rec.only(r.status, name, r.context)) << name << " " << r.context;
            EXPECT_EQ(before, d.bytes());
        }
    const std::pair<ConstFn, const char*> consts[] = {{zolAndS, "zolAndS"}, {zolOrS, "zolOrS"}};
    const char* const kDepth = "(srcImage->depth != dstImage->depth)";
    const char* const kNo32F = "This function does not support depth 32F";
    for (const auto& [fn, name] : consts) {
        kit::Recorder rec;
        fn(a16, d, 1);
        EXPECT_TRUE(rec.only(ZOL_STATUS_BAD_ARGUMENT, name, kDepth));
        rec.clear();
        fn(f1, f2, 1);
        EXPECT_TRUE(rec.only(ZOL_STATUS_BAD_ARGUMENT, name, kNo32F));
    }
    // 1-bit images may differ in data order.
    Image bitA(ZOL_DEPTH_1U, 1, 9, 2), bitB(ZOL_DEPTH_1U, 1, 9, 2, ZOL_DATA_ORDER_PLANE);
    kit::Recorder rec;
    zolXor(bitA, bitB, bitA);
    EXPECT_TRUE(rec.none());
}

// The shifts' pre-check and diversions decide whose name a failure carries.
TEST(LogicShift, DiversionsReportInTheirNames) {
    Image u8(ZOL_DEPTH_8U, 1, 4, 2), s8(ZOL_DEPTH_8S, 1, 4, 2), bits(ZOL_DEPTH_1U, 1, 9, 2);
    Image u16(ZOL_DEPTH_16U, 1, 4, 2), plane(ZOL_DEPTH_8U, 1, 4, 2, ZOL_DATA_ORDER_PLANE);
    Image rgb(ZOL_DEPTH_8U, 3, 4, 2), f1(ZOL_DEPTH_32F, 1, 4, 2), f2(ZOL_DEPTH_32F, 1, 4, 2);
    const char* const kL = "zolLShiftS";
    const char* const kR = "zolRShiftS";
    const char* const kNull = "Incorrect Image";
    const char* const kNo32F = "This function does not support depth 32F";
    const int kNullHeader = ZOL_STATUS_NULL_HEADER, kBad = ZOL_STATUS_BAD_ARGUMENT;
    const struct {
        bool left;
        ZolImage *src, *dst;
        uint32_t n;
        int status;
        const char* func;
        const char* context;
    } rows[] = {
        {true, nullptr, u8, 0, kBad, kL, "srcImage==0"},  // before the count
        {false, nullptr, nullptr, 7, kBad, kR, "srcImage==0"},
        {true, u8, nullptr, 0, kNullHeader, "zolXorS", kNull},
        {true, u8, nullptr, 7, kNullHeader, kL, kNull},
        {true, u8, nullptr, 8, kNullHeader, "zolAndS", kNull},
        {true, s8, nullptr, 100, kNullHeader, "zolAndS", kNull},
        {false, u8, nullptr, 0xFFFFFFFFu, kNullHeader, "zolAndS", kNull},
        {false, s8, nullptr, 100, kNullHeader, kR, kNull},  // cut to 7
        {false, s8, nullptr, 0xFFFFFFFFu, kNullHeader, kR, kNull},
        {true, bits, nullptr, 1, kNullHeader, "zolAndS", kNull},
        {false, bits, nullptr, 1, kNullHeader, "zolAndS", kNull},
        {true, f1, f2, 0, kBad, "zolXorS", kNo32F},
        {true, f1, f2, 31, kBad, kL, kNo32F},
        {false, f1, f2, 31, kBad, kR, kNo32F},
        {true, f1, f2, 32, kBad, "zolAndS", kNo32F},
        {false, f1, f2, 0xFFFFFFFFu, kBad, "zolAndS", kNo32F},
        {true, u8, u16, 3, kBad, kL, "(srcImage->depth != dstImage->depth)"},
        {false, u8, plane, 3, kBad, kR, "(srcImage->dataOrder != dstImage->dataOrder)"},
        {false, rgb, u8, 3, kBad, kR, "(nChSrc != nChDst)"},
    };
    u8.randomize(1);
    const auto before = u8.bytes();
    for (const auto& r : rows) {
        kit::Recorder rec;
        (r.left ? zolLShiftS : zolRShiftS)(r.src, r.dst, r.n);
        EXPECT_TRUE(rec.only(r.status, r.func, r.context))
            << (r.left ? "left " : "right ") << r.n << " " << r.context;
        EXPECT_EQ(before, u8.bytes());
    }
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

namespace {

// One call of a table entry: sources a and b, destination d, n elements, p
// the pattern or the count.
using Call = std::function<void(const zol::LogicKernels&, const uint8_t* a, const uint8_t* b,
                                uint8_t* d, size_t n, uint32_t p)>;

Call constCall(zol::ConstRunFn zol::LogicKernels::*m) {
    return [m](const zol::LogicKernels& k, const uint8_t* a, const uint8_t*, uint8_t* d, size_t n,
               uint32_t p) { (k.*m)(a, d, n, p); };
}
Call pairCall(zol::PairRunFn zol::LogicKernels::*m) {
    return [m](const zol::LogicKernels& k, const uint8_t* a, const uint8_t* b, uint8_t* d,
               size_t n, uint32_t) { (k.*m)(a, b, d, n); };
}
template <class T>
Call shiftCall(zol::ShiftRunFn<T> zol::LogicKernels::*m) {
    return [m](const zol::LogicKernels& k, const uint8_t* a, const uint8_t*, uint8_t* d, size_t n,
               uint32_t c) {
        (k.*m)(reinterpret_cast<const T*>(a), reinterpret_cast<T*>(d), n, c);
    };
}

}  // namespace

// Every entry of the dispatched table equals the plain form for all lengths
// and alignments, in place and out of place, and writes nothing beyond its
// run. Shift runs are typed, so their offsets count elements.
TEST(LogicKernels, FormsAgree) {
    using K = zol::LogicKernels;
    const struct {
        const char* name;
        size_t size;     // element size
        uint32_t width;  // of a shifted element; 0 for the bit operations
        Call call;
    } entries[] = {
        {"andConstRun", 1, 0, constCall(&K::andConstRun)},
        {"orConstRun", 1, 0, constCall(&K::orConstRun)},
        {"xorConstRun", 1, 0, constCall(&K::xorConstRun)},
        {"andRun", 1, 0, pairCall(&K::andRun)},
        {"orRun", 1, 0, pairCall(&K::orRun)},
        {"xorRun", 1, 0, pairCall(&K::xorRun)},
        {"shl8", 1, 8, shiftCall(&K::shl8)},
        {"shl16", 2, 16, shiftCall(&K::shl16)},
        {"shl32", 4, 32, shiftCall(&K::shl32)},
        {"shr8u", 1, 8, shiftCall(&K::shr8u)},
        {"shr8s", 1, 8, shiftCall(&K::shr8s)},
        {"shr16u", 2, 16, shiftCall(&K::shr16u)},
        {"shr16s", 2, 16, shiftCall(&K::shr16s)},
        {"shr32s", 4, 32, shiftCall(&K::shr32s)},
    };
    std::mt19937 g(11);
    std::vector<uint8_t> a(1024), b(1024), junk(1024);
    for (auto* v : {&a, &b, &junk})
        for (auto& x : *v) x = uint8_t(g());
    const zol::Form saved = zol::formCap();
    zol::setFormCap(zol::Form::Plain);
    const K plain = zol::logicKernels();
    for (int form = 1; form <= int(zol::cpuForm()); ++form) {
        zol::setFormCap(zol::Form(form));
        ASSERT_EQ(zol::Form(form), zol::logicForm());
        const K k = zol::logicKernels();
        for (const auto& e : entries)
            for (size_t off = 0; off < 4; ++off)
                for (size_t n = 0; n <= 200; ++n) {
                    SCOPED_TRACE(testing::Message() << e.name << " " << form << " offset " << off
                                                    << " n " << n);
                    const uint32_t p = e.width ? 1 + g() % (e.width - 1) : uint32_t(g());
                    const size_t at = off * e.size;
                    std::vector<uint8_t> want(junk), got(junk), inPlace(a);
                    e.call(plain, a.data() + at, b.data() + at, want.data() + at, n, p);
                    e.call(k, a.data() + at, b.data() + at, got.data() + at, n, p);
                    ASSERT_EQ(want, got);
                    e.call(k, inPlace.data() + at, b.data() + at, inPlace.data() + at, n, p);
                    ASSERT_TRUE(std::equal(want.begin() + ptrdiff_t(at),
                                           want.begin() + ptrdiff_t(at + n * e.size),
                                           inPlace.begin() + ptrdiff_t(at)));
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
