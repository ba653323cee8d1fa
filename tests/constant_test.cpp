// Constant and monadic arithmetic: the exported functions against an exact
// model, every kernel form against the plain one, which short cut takes a
// call and who reports it, the call frame, zolAbs's own channel rules,
// masks and walk, and the checks.
#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <climits>
#include <cstring>
#include <memory>
#include <random>
#include <string>

#include "arith/constant.h"
#include "core/simd.h"
#include "frames.h"
#include "kit.h"
#include "tiles.h"

namespace {

using kit::Image;
using Bytes = std::vector<uint8_t>;

enum class Fn { AddS, SubS, SubSFlip, MulS, Sqr, Abs };
constexpr Fn A = Fn::AddS, S = Fn::SubS, F = Fn::SubSFlip, M = Fn::MulS, Sq = Fn::Sqr,
             Ab = Fn::Abs;

// Each short-cut and bounding edge of 8U, 8S, 16U and 16S, and the ends of int.
const int kConstants[] = {0, 1, -1, 2, 127, 128, -127, -128, -129, 200, 254, 255, 256, -254, -255,
                          -256, 300, 509, 510, 511, 1000, 32767, 32768, -32768, -32769, 65534,
                          65535, 65536, -65534, -65535, -65536, -65537, 131069, 131070, 131071,
                          INT_MAX, INT_MIN, INT_MIN + 1};

template <class To, class From>
To pun(From x) {
    To y;
    std::memcpy(&y, &x, 4);
    return y;
}
uint32_t bitsOf(float f) { return pun<uint32_t>(f); }
float floatOf(int64_t bits) { return pun<float>(uint32_t(bits)); }

// The integer functions, or with fp the float ones.
void call(Fn fn, bool fp, ZolImage* s, ZolImage* d, int v, float f = 0) {
    switch (fn) {
        case Fn::AddS: return fp ? zolAddSFP(s, d, f) : zolAddS(s, d, v);
        case Fn::SubS: return fp ? zolSubtractSFP(s, d, f, 0) : zolSubtractS(s, d, v, 0);
        case Fn::SubSFlip: return fp ? zolSubtractSFP(s, d, f, 7) : zolSubtractS(s, d, v, 1);
        case Fn::MulS: return fp ? zolMultiplySFP(s, d, f) : zolMultiplyS(s, d, v);
        case Fn::Sqr: return zolSquare(s, d);
        case Fn::Abs: return zolAbs(s, d);
    }
}

template <class T>
T apply(Fn fn, T a, T v) {
    return fn == A ? a + v : fn == S ? a - v : fn == F ? v - a : fn == M ? a * v : a * a;
}

// Exact results clamped to the depth; bits for 1U; for 32F single precision
// through double (exact enough for one more rounding), a NaN quieted, the
// element's before the constant's. Values as kit::get gives them.
int64_t model(Fn fn, int depth, int64_t a, int64_t v, float f = 0) {
    if (depth == ZOL_DEPTH_32F) {
        const float x = floatOf(a);
        if (x != x || (fn != Sq && f != f)) return bitsOf(x != x ? x : f) | 0x00400000u;
        return bitsOf(float(apply<double>(fn, x, f)));
    }
    v &= depth == ZOL_DEPTH_1U ? 1 : -1;
    if (depth == ZOL_DEPTH_1U)
        return fn == A ? a | v : fn == S ? a & ~v & 1 : fn == F ? v & ~a & 1 : fn == M ? a & v : a;
    const int bits = (depth & 0xFF) - (depth < 0);
    const int64_t hi = (int64_t(1) << bits) - 1, lo = depth < 0 ? -hi - 1 : 0;
    if (fn == Ab) return a == lo ? a : std::abs(a);  // the most negative stays
    return std::min(hi, std::max(lo, apply<int64_t>(fn, a, v)));
}

// zolAbs by its own rules, which the frame harness can't express: a coi
// counts only on images of more than one channel, so a two-channel image
// with alpha meeting a one-channel image, both with a coi, is refused.
bool coiCounts(const ZolImage* im) { return im->roi && im->roi->coi > 0 && im->nChannels != 1; }

// The refusal context, or "" when zolAbs accepts the pair.
std::string absRefusal(const ZolImage* s, const ZolImage* d) {
    const bool as = s->alphaChannel != 0, ad = d->alphaChannel != 0;
    if (as == ad && s->nChannels != d->nChannels) return "(nChSrc != nChDst)";
    if (coiCounts(s) != coiCounts(d)) return "(nChSrcCoi != nChDstCoi)";
    if (!coiCounts(s) && s->nChannels == d->nChannels && as != ad) return "(aChSrc != aChDst)";
    return "";
}

struct Rect { int x, y, w, h; };
Rect regionOf(const ZolImage* im) {
    const ZolROI* r = im->roi;
    if (!r) return {0, 0, im->width, im->height};
    return {r->xOffset, r->yOffset, std::max(0, std::min(r->width, im->width - r->xOffset)),
            std::max(0, std::min(r->height, im->height - r->yOffset))};
}

// The destination's bytes after an accepted call.
Bytes expectAbs(const Image& s, const Image& d) {
    Bytes in = s.bytes(), out = d.bytes();
    ZolImage sv = *s.get(), dv = *d.get();
    sv.imageData = reinterpret_cast<char*>(in.data());
    dv.imageData = reinterpret_cast<char*>(out.data());
    const Rect rs = regionOf(s), rd = regionOf(d);
    int w = std::min(rs.w, rd.w), h = std::min(rs.h, rd.h);
    const ZolImage* masks[] = {s->maskROI, d->maskROI};
    for (const ZolImage* m : masks)
        if (m) w = std::min(w, regionOf(m).w), h = std::min(h, regionOf(m).h);
    int n = std::min(s->nChannels, d->nChannels);
    if (s->alphaChannel && d->alphaChannel) n = s->nChannels - 1;
    if (coiCounts(s)) n = 1;
    for (int j = 0; j < h; ++j)
        for (int i = 0; i < w; ++i) {
            bool on = true;
            for (const ZolImage* m : masks)
                on = on && (!m || kit::get(m, regionOf(m).x + i, regionOf(m).y + j, 0));
            for (int c = 0; on && c < n; ++c) {
                const int cs = coiCounts(s) ? s->roi->coi - 1 : c;
                const int cd = coiCounts(d) ? d->roi->coi - 1 : c;
                const int64_t a = kit::get(&sv, rs.x + i, rs.y + j, cs);
                kit::set(&dv, rd.x + i, rd.y + j, cd, model(Ab, d->depth, a, 0));
            }
        }
    return out;
}

}  // namespace

// Every 8-bit value, the wide depths at their edges and at random, float
// specials and NaNs, through every function and constant (float ones on 32F).
TEST(ConstantElements, AgainstExactModel) {
    std::mt19937 g(5);
    std::vector<int> ints(std::begin(kConstants), std::end(kConstants));
    for (int i = 0; i < 8; ++i) ints.push_back(int(g()));
    std::vector<float> floats = {0.0f, -0.0f, 1.0f, -1.0f, 0.1f, 3.0f, 1e20f, 1e-20f, FLT_MAX,
                                 -FLT_MAX, FLT_MIN, INFINITY, -INFINITY, FLT_TRUE_MIN,
                                 -FLT_TRUE_MIN, 16777216.0f};
    std::vector<int64_t> floatBits;
    for (const uint32_t nan : {0x7FC00001u, 0x7F800001u, 0xFFC00002u, 0xFF812345u})
        floats.push_back(floatOf(nan));
    for (const float x : floats) floatBits.push_back(bitsOf(x));
    const std::pair<int, std::vector<int64_t>> rows[] = {
        {ZOL_DEPTH_8U, {}},
        {ZOL_DEPTH_8S, {}},
        {ZOL_DEPTH_16U, {0, 1, 2, 255, 256, 32767, 32768, 65534, 65535}},
        {ZOL_DEPTH_16S, {-32768, -32767, -182, -181, -1, 0, 1, 181, 182, 32767}},
        {ZOL_DEPTH_32S, {INT_MIN, INT_MIN + 1, -46341, -46340, -1, 0, 1, 46340, 46341, INT_MAX}},
        {ZOL_DEPTH_32F, floatBits}};
    for (const auto& [depth, edges] : rows) {
        const int bits = depth & 0xFF;
        const bool fp = depth == ZOL_DEPTH_32F;
        std::vector<int64_t> values = edges;
        for (int i = 0; bits == 8 && i < 256; ++i) values.push_back(depth < 0 ? int8_t(i) : i);
        while (!fp && values.size() < 300) {  // sign-extended when signed
            const int64_t u = g() >> (32 - bits);
            values.push_back(depth > 0 ? u : u - (u >> (bits - 1) << bits));
        }
        const int w = int(values.size());
        Image src(depth, 1, w, 1);
        for (int i = 0; i < w; ++i) kit::set(src, i, 0, 0, values[size_t(i)]);
        for (const Fn fn : {A, S, F, M, Sq, Ab})
            for (size_t k = 0; k < (fp ? floats.size() : ints.size()) && !(fp && fn == Ab);
                 k += fn == Sq || fn == Ab ? ints.size() : 1) {
                const int v = fp ? 0 : ints[k];
                const float f = fp ? floats[k] : 0;
                Image dst(depth, 1, w, 1);
                call(fn, fp, src, dst, v, f);
                for (int i = 0; i < w; ++i)
                    ASSERT_EQ(model(fn, depth, values[size_t(i)], v, f), kit::get(dst, i, 0, 0))
                        << kit::depthName(depth) << " fn " << int(fn) << " value " << v << " / "
                        << f << " element " << values[size_t(i)];
            }
    }
}

// A call that can only saturate or change nothing becomes a logic
// operation before any image check: a NULL destination names the route.
TEST(ConstantShortCuts, TakenExactlyAtTheBounds) {
    Image u8(ZOL_DEPTH_8U, 1, 2, 2), s8(ZOL_DEPTH_8S, 1, 2, 2), u16(ZOL_DEPTH_16U, 1, 2, 2);
    Image s16(ZOL_DEPTH_16S, 1, 2, 2), s32(ZOL_DEPTH_32S, 1, 2, 2), bits(ZOL_DEPTH_1U, 1, 9, 2);
    const char *And = "zolAndS", *Or = "zolOrS", *Xor = "zolXorS", *Sub = "zolSubtractS";
    const char *Mul = "zolMultiplyS", *Add = "zolAddS";
    const struct { Fn fn; ZolImage* src; int value; const char* reporter; } rows[] = {
        {S, u8, 255, And}, {S, u8, 254, Sub}, {S, u8, -255, Or}, {S, u8, -254, Sub},
        {S, u8, INT_MIN, Or}, {F, u8, 0, And}, {F, u8, 1, Sub}, {F, u8, 510, Or}, {F, u8, 509, Sub},
        {F, u8, INT_MIN, And}, {S, u16, 65535, And}, {S, u16, 65534, Sub}, {S, u16, -65535, Or},
        {S, u16, -65534, Sub}, {F, u16, 131070, Or}, {F, u16, 131069, Sub}, {S, s8, 1000, Sub},
        {F, s16, INT_MIN, Sub}, {S, bits, 0, Xor}, {S, bits, 3, And}, {F, bits, 0, And},
        {F, bits, -1, Xor}, {A, bits, 2, Or}, {A, u8, 254, Sub}, {A, u8, 255, Or},
        {A, u8, -254, Sub}, {A, u8, -255, And}, {A, u8, -65536, And}, {A, u8, INT_MIN, And},
        {A, u8, INT_MAX, Or}, {A, u16, 65535, Or}, {A, s8, INT_MAX, Sub}, {A, s32, 1, Add},
        {M, bits, 1, And}, {M, u8, 0, And}, {M, u8, INT_MIN, And}, {M, u8, 1, Mul},
        {M, u16, -1, And}, {M, s8, 0, Mul}, {Sq, bits, 0, "zolSquare"}, {Ab, bits, 0, "zolAbs"},
    };
    for (const auto& r : rows) {
        kit::Recorder rec;
        call(r.fn, false, r.src, nullptr, r.value);
        EXPECT_TRUE(rec.only(ZOL_STATUS_NULL_HEADER, r.reporter, "Incorrect Image"))
            << "fn " << int(r.fn) << " " << kit::depthName(r.src->depth) << " value " << r.value
            << ": " << (rec.none() ? "" : rec.reports()[0].func);
    }
}

// Random frames: ROIs, coi, alpha, masks, tiles, in-place use. 1-bit
// sources go through the logic operations; the constants take both bit
// cases, each short cut and bound.
TEST(ConstantFrames, MatchModel) {
    kit::FrameOptions o;
    o.depths = {ZOL_DEPTH_1U,  ZOL_DEPTH_8U,  ZOL_DEPTH_8S, ZOL_DEPTH_16U,
                ZOL_DEPTH_16S, ZOL_DEPTH_32S, ZOL_DEPTH_32F};
    const std::pair<int, float> constants[] = {{3, 1.5f}, {-200, -1e30f}, {40000, 0.0f},
                                               {INT_MIN, 7.0f}};
    for (const Fn fn : {A, S, F, M, Sq})
        for (const auto& [v, f] : constants) {
            o.seed += 1000;
            o.cases = fn == Sq ? 200 : 50;
            SCOPED_TRACE(testing::Message() << "fn " << int(fn) << " value " << v << " / " << f);
            kit::checkFrames(
                [&](ZolImage* s, ZolImage* d) { call(fn, s->depth == ZOL_DEPTH_32F, s, d, v, f); },
                [&](int depth, const int64_t* a) { return model(fn, depth, a[0], v, f); }, o);
            if (fn == Sq) break;
        }
}

// zolAbs against the reference: first the channel cases (which pin the
// reference too), then random pairs of every shape, accepted or not, with
// masks and tiles on either image.
TEST(ConstantAbs, ChannelRulesThenRandomFrames) {
    auto check = [](const Image& s, const Image& d, ZolImage* as, ZolImage* ad) {
        const std::string refusal = absRefusal(s, d);
        const Bytes want = refusal.empty() ? expectAbs(s, d) : d.bytes();
        kit::Recorder rec;
        zolAbs(as, ad);
        ASSERT_TRUE(refusal.empty() ? rec.none()
                                    : rec.only(ZOL_STATUS_BAD_ARGUMENT, "zolAbs", refusal));
        ASSERT_EQ(want, d.bytes());
    };
    const struct { int nS, alphaS, coiS, nD, alphaD, coiD; const char* refusal; } rows[] = {
        {4, 1, -1, 3, 0, -1, ""},  // coi -1: no ROI
        {4, 1, -1, 4, 0, -1, "(aChSrc != aChDst)"},
        {1, 0, 1, 3, 0, -1, "(nChSrc != nChDst)"},  // a coi on one channel doesn't count
        {3, 0, 2, 3, 0, -1, "(nChSrcCoi != nChDstCoi)"}, {3, 0, 2, 1, 0, 1, "(nChSrc != nChDst)"},
        {2, 1, 2, 1, 0, 1, "(nChSrcCoi != nChDstCoi)"},
        {4, 1, 4, 3, 0, 1, ""},  // the source's alpha channel, by coi
        {4, 1, -1, 2, 0, -1, ""},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(testing::Message() << r.nS << " " << r.nD << " " << r.refusal);
        Image s(ZOL_DEPTH_8S, r.nS, 5, 3, ZOL_DATA_ORDER_PIXEL, 4, r.alphaS);
        Image d(ZOL_DEPTH_8S, r.nD, 4, 3, ZOL_DATA_ORDER_PIXEL, 4, r.alphaD);
        if (r.coiS >= 0) s.setRoi(r.coiS, 1, 0, 4, 3);
        if (r.coiD >= 0) d.setRoi(r.coiD, 0, 0, 4, 3);
        s.randomize(uint32_t(r.nS + 7 * r.nD));
        ASSERT_EQ(std::string(r.refusal), absRefusal(s, d));
        check(s, d, s, d);
    }
    const int depths[] = {ZOL_DEPTH_1U,  ZOL_DEPTH_8U,  ZOL_DEPTH_8S,
                          ZOL_DEPTH_16U, ZOL_DEPTH_16S, ZOL_DEPTH_32S};
    for (uint32_t seed = 0; seed < 400; ++seed) {
        std::mt19937 g(seed);
        auto pick = [&](int n) { return int(g() % uint32_t(n)); };
        const int depth = depths[pick(6)], order = pick(2), w = 1 + pick(40), h = 1 + pick(12);
        Image img[2], masks[2];
        std::unique_ptr<kit::TileServer> servers[2];
        ZolImage* args[2];
        for (int k = 0; k < 2; ++k) {
            // Half the destinations take the source's layout, so that most
            // accepted cases have several channels.
            const bool alike = k == 1 && pick(2);
            const int n = alike ? img[0]->nChannels : depth == ZOL_DEPTH_1U ? 1 : 1 + pick(4);
            const bool alpha = alike ? img[0]->alphaChannel != 0 : n > 1 && pick(3) == 0;
            img[k] = Image(depth, n, w + pick(5), h + pick(3), order, pick(2) ? 4 : 8, alpha);
            img[k].randomize(g());
            if (pick(3)) img[k].setRoi(pick(2) ? 1 + pick(n) : 0, pick(3), pick(2), w, h);
            if (pick(3) == 0) {
                masks[k] = Image(ZOL_DEPTH_1U, 1, w + 9, h + 2);
                masks[k].randomize(g());
                if (pick(2)) masks[k].setRoi(0, pick(9), pick(3), w, h);
                img[k]->maskROI = masks[k];
            }
            args[k] = img[k];
            if (pick(3)) continue;
            servers[k] = std::make_unique<kit::TileServer>(img[k], 8 * (1 + pick(4)), 8);
            args[k] = servers[k]->image();
            if (const ZolROI* r = img[k]->roi)
                args[k]->roi = zolCreateROI(r->coi, r->xOffset, r->yOffset, r->width, r->height);
            args[k]->maskROI = img[k]->maskROI;
        }
        SCOPED_TRACE(testing::Message() << "seed " << seed << " " << kit::depthName(depth));
        check(img[0], img[1], args[0], args[1]);
        for (const auto& s : servers) ASSERT_TRUE(!s || (s->breaches().empty() && !s->held()));
    }
}

// The stricter walk of zolAbs: a callback that keeps tileData at release
// fails it after the first piece, on either side, while the ordinary walk
// takes the same callback.
TEST(ConstantAbs, WantsClearedTiles) {
    Image a(ZOL_DEPTH_16S, 1, 16, 8), b(ZOL_DEPTH_16S, 1, 16, 8);
    a.randomize(3);
    kit::TileServer sb(b, 8, 8), sc(a, 8, 8);
    sb.keepTileDataAtRelease(true);
    sc.keepTileDataAtRelease(true);
    const std::string kept = "Image->tileInfo->tileData != ((void*)(0)))";
    kit::Recorder rec;
    zolAbs(a, sb.image());
    EXPECT_TRUE(rec.only(ZOL_STATUS_BAD_ARGUMENT, "zolAbs", "(dst" + kept));
    rec.clear();
    zolAbs(sc.image(), b);
    EXPECT_TRUE(rec.only(ZOL_STATUS_BAD_ARGUMENT, "zolAbs", "(src" + kept));
    rec.clear();
    zolSetErrStatus(0);
    zolAddS(a, sb.image(), 1000);
    EXPECT_TRUE(rec.none());
    for (int x = 0; x < 16; ++x)
        ASSERT_EQ(model(A, ZOL_DEPTH_16S, kit::get(a, x, 3, 0), 1000), kit::get(b, x, 3, 0));
}

// Faults are reported before anything is written, in order and with their
// names; sister depths are refused before the header checks. zolAbs's own
// mask: no memory for either block of it, and an empty common region ends
// the call silently before the depth is looked at.
TEST(ConstantChecks, ReportInOrderAndWriteNothing) {
    Image u8(ZOL_DEPTH_8U, 3, 4, 4), s8(ZOL_DEPTH_8S, 3, 4, 4), f32(ZOL_DEPTH_32F, 3, 4, 4);
    Image f32a(ZOL_DEPTH_32F, 3, 4, 4), gray32(ZOL_DEPTH_32F, 1, 4, 4), s32(ZOL_DEPTH_32S, 3, 4, 4);
    Image plane(ZOL_DEPTH_8U, 3, 4, 4, ZOL_DATA_ORDER_PLANE), bits(ZOL_DEPTH_1U, 1, 9, 2);
    Image bitsPlane(ZOL_DEPTH_1U, 1, 9, 2, ZOL_DATA_ORDER_PLANE);
    Image* all[] = {&u8, &s8, &f32, &f32a, &gray32, &s32, &plane, &bits, &bitsPlane};
    std::vector<Bytes> before;
    for (Image* im : all) im->randomize(uint32_t(before.size())), before.push_back(im->bytes());
    const int kBad = ZOL_STATUS_BAD_ARGUMENT, kNull = ZOL_STATUS_NULL_HEADER;
    const std::string kNul = "srcImage==0", kIncorrect = "Incorrect Image";
    const std::string kUse = "For processing ";
    const std::string kDepth = "(srcImage->depth != dstImage->depth)";
    const std::string kOrder = "(srcImage->dataOrder != dstImage->dataOrder)";
    const struct { Fn fn; bool fp; ZolImage *src, *dst; int status; std::string func, ctx; }
        rows[] = {
        {A, 0, nullptr, u8, kBad, "zolAddS", kNul}, {F, 0, nullptr, u8, kBad, "zolSubtractS", kNul},
        {M, 0, nullptr, u8, kBad, "zolMultiplyS", kNul},
        {M, 1, nullptr, f32, kBad, "zolMultiplySFP", kNul},
        {Sq, 0, nullptr, u8, kNull, "zolSquare", kIncorrect},
        {Ab, 0, nullptr, u8, kNull, "zolAbs", kIncorrect},
        {A, 0, f32a, nullptr, kBad, "zolAddS", kUse + "depth 32F use function zolAddSFP"},
        {S, 0, f32a, nullptr, kBad, "zolSubtractS", kUse + "depth 32F use function zolSubtractSFP"},
        {M, 0, f32a, nullptr, kBad, "zolMultiplyS", kUse + "depth 32F use function zolMultiplySFP"},
        {A, 1, bits, nullptr, kBad, "zolAddSFP", kUse + "this depth use function zolAddS"},
        {F, 1, s8, u8, kBad, "zolSubtractSFP", kUse + "this depth use function zolSubtractS"},
        {M, 1, u8, u8, kBad, "zolMultiplySFP", kUse + "this depth use function zolMultiplyS"},
        {A, 0, s32, f32, kBad, "zolAddS", kDepth}, {A, 0, s8, u8, kBad, "zolSubtractS", kDepth},
        {Sq, 0, u8, s8, kBad, "zolSquare", kDepth}, {M, 0, plane, u8, kBad, "zolMultiplyS", kOrder},
        {Ab, 0, bitsPlane, bits, kBad, "zolAbs", kOrder},
        {S, 1, gray32, f32, kBad, "zolSubtractSFP", "(nChSrc != nChDst)"},
        {Ab, 0, f32a, f32, kBad, "zolAbs", "This function does not support depth 32F"},
    };
    for (const auto& r : rows) {
        kit::Recorder rec;
        call(r.fn, r.fp, r.src, r.dst, 3, 1.0f);
        EXPECT_TRUE(rec.only(r.status, r.func, r.ctx)) << r.func << " " << r.ctx;
        for (size_t i = 0; i < before.size(); ++i) EXPECT_EQ(before[i], all[i]->bytes()) << r.ctx;
    }
    kit::Recorder rec;
    zolSquare(bitsPlane, bits);  // a 1-bit square copies across data orders
    EXPECT_TRUE(rec.none());
    Image m1(ZOL_DEPTH_1U, 1, 4, 4), m2(ZOL_DEPTH_1U, 1, 4, 4);
    f32a->maskROI = m1;
    f32->maskROI = m2;
    for (const int n : {1, 2, 0}) {  // no memory for either block; then an empty region
        if (!n) m1.setRoi(0, 4, 0, 4, 4);
        rec.clear();
        kit::HeapFailure fail(n);
        zolAbs(f32a, f32);
        EXPECT_TRUE(n ? rec.only(ZOL_STATUS_NO_MEMORY, "zolAbs", "Out of memory") : rec.none());
    }
    EXPECT_EQ(before[2], f32.bytes());
    f32a->maskROI = f32->maskROI = nullptr;
}
