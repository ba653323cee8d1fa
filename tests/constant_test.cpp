// Constant and monadic arithmetic: the exported functions against an exact
// model, every kernel form against the plain one, which short cut takes a
// call and who reports it, the call frame, zolAbs's own channel rules,
// masks and walk, and the checks.
#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <climits>
#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <string>

#include "arith/constant.h"
#include "core/cpu.h"
#include "frames.h"
#include "kit.h"
#include "tiles.h"

namespace {

using kit::Image;

enum class Fn { AddS, SubS, SubSFlip, MulS, Sqr, Abs };

// Each short-cut and bounding edge of 8U, 8S, 16U and 16S, and the ends of int.
const int kConstants[] = {0,      1,      -1,     2,      127,    128,    -127,    -128,
                          -129,   200,    254,    255,    256,    -254,   -255,    -256,
                          300,    509,    510,    511,    1000,   32767,  32768,   -32768,
                          -32769, 65534,  65535,  65536,  -65534, -65535, -65536,  -65537,
                          131069, 131070, 131071, INT_MAX, INT_MIN, INT_MIN + 1};

uint32_t bitsOf(float f) {
    uint32_t u;
    std::memcpy(&u, &f, 4);
    return u;
}
float floatOf(int64_t bits) {
    const uint32_t u = uint32_t(bits);
    float f;
    std::memcpy(&f, &u, 4);
    return f;
}
std::vector<uint8_t> bytesOf(const ZolImage* im) {
    const auto* p = reinterpret_cast<const uint8_t*>(im->imageData);
    return std::vector<uint8_t>(p, p + im->imageSize);
}

// The integer functions, or on 32F the float ones with the constant as float.
void call(Fn fn, ZolImage* s, ZolImage* d, int v, float f = 0) {
    const bool fp = s && s->depth == ZOL_DEPTH_32F;
    switch (fn) {
        case Fn::AddS: return fp ? zolAddSFP(s, d, f) : zolAddS(s, d, v);
        case Fn::SubS: return fp ? zolSubtractSFP(s, d, f, 0) : zolSubtractS(s, d, v, 0);
        case Fn::SubSFlip: return fp ? zolSubtractSFP(s, d, f, 7) : zolSubtractS(s, d, v, 1);
        case Fn::MulS: return fp ? zolMultiplySFP(s, d, f) : zolMultiplyS(s, d, v);
        case Fn::Sqr: return zolSquare(s, d);
        case Fn::Abs: return zolAbs(s, d);
    }
}

// Exact results clamped to the depth; bits for 1U; for 32F single precision
// through double (exact enough for one more rounding), a NaN quieted, the
// element's before the constant's. Values as kit::get gives them.
int64_t model(Fn fn, int depth, int64_t a, int64_t v, float f = 0) {
    if (depth == ZOL_DEPTH_32F) {
        const float x = floatOf(a);
        if (x != x) return bitsOf(x) | 0x00400000u;
        if (fn != Fn::Sqr && f != f) return bitsOf(f) | 0x00400000u;
        const double p = x, q = f;
        return bitsOf(float(fn == Fn::AddS ? p + q : fn == Fn::SubS ? p - q
                            : fn == Fn::SubSFlip ? q - p : fn == Fn::MulS ? p * q : p * p));
    }
    if (depth == ZOL_DEPTH_1U) {
        v &= 1;
        return fn == Fn::AddS ? a | v : fn == Fn::SubS ? a & ~v & 1
               : fn == Fn::SubSFlip ? v & ~a & 1 : fn == Fn::MulS ? a & v : a;
    }
    const int bits = depth & 0x7FFFFFFF;
    const int64_t lo = depth < 0 ? -(int64_t(1) << (bits - 1)) : 0;
    const int64_t hi = depth < 0 ? (int64_t(1) << (bits - 1)) - 1 : (int64_t(1) << bits) - 1;
    if (fn == Fn::Abs) return a == lo ? a : std::abs(a);  // the most negative stays
    const int64_t r = fn == Fn::AddS ? a + v : fn == Fn::SubS ? a - v : fn == Fn::SubSFlip ? v - a
                      : fn == Fn::MulS ? a * v : a * a;
    return std::min(hi, std::max(lo, r));
}

// A one-row image of the values through every function and constant (the
// float ones on 32F).
void checkValues(int depth, const std::vector<int64_t>& values, const std::vector<int>& ints,
                 const std::vector<float>& floats) {
    const int w = int(values.size());
    const bool fp = depth == ZOL_DEPTH_32F;
    Image src(depth, 1, w, 1);
    for (int i = 0; i < w; ++i) kit::set(src, i, 0, 0, values[size_t(i)]);
    for (const Fn fn : {Fn::AddS, Fn::SubS, Fn::SubSFlip, Fn::MulS, Fn::Sqr, Fn::Abs})
        for (size_t k = 0; k < (fp ? floats.size() : ints.size()) && !(fp && fn == Fn::Abs); ++k) {
            const int v = fp ? 0 : ints[k];
            const float f = fp ? floats[k] : 0;
            Image dst(depth, 1, w, 1);
            call(fn, src, dst, v, f);
            for (int i = 0; i < w; ++i)
                ASSERT_EQ(model(fn, depth, values[size_t(i)], v, f), kit::get(dst, i, 0, 0))
                    << kit::depthName(depth) << " fn " << int(fn) << " value " << v << " / " << f
                    << " element " << values[size_t(i)];
            if (fn == Fn::Sqr || fn == Fn::Abs) break;
        }
}

}  // namespace

// Every 8-bit value; the wide depths at their edges and at random; float
// specials. Among them the documented cases: 8U 255 - 254 = 1, 300 - 255 =
// 45, 8S 1 - 1000 = -128, 8S 1 * 200 = 127, |-128| = -128, (-12)^2 = 127.
TEST(ConstantElements, AgainstExactModel) {
    std::mt19937 g(5);
    std::vector<int> constants(std::begin(kConstants), std::end(kConstants));
    for (int i = 0; i < 8; ++i) constants.push_back(int(g()));
    std::vector<float> f = {0.0f,     -0.0f,   1.0f,         -1.0f,         0.1f,
                            3.0f,     1e20f,   1e-20f,       FLT_MAX,       -FLT_MAX,
                            FLT_MIN,  INFINITY, FLT_TRUE_MIN, -FLT_TRUE_MIN, 16777216.0f,
                            -INFINITY};
    for (const uint32_t nan : {0x7FC00001u, 0x7F800001u, 0xFFC00002u, 0xFF812345u})
        f.push_back(floatOf(nan));
    std::vector<int64_t> floatBits;
    for (const float x : f) floatBits.push_back(bitsOf(x));
    const std::pair<int, std::vector<int64_t>> rows[] = {
        {ZOL_DEPTH_8U, {}},
        {ZOL_DEPTH_8S, {}},
        {ZOL_DEPTH_16U, {0, 1, 2, 255, 256, 32767, 32768, 65534, 65535}},
        {ZOL_DEPTH_16S, {-32768, -32767, -182, -181, -1, 0, 1, 181, 182, 32767}},
        {ZOL_DEPTH_32S, {INT_MIN, INT_MIN + 1, -46341, -46340, -1, 0, 1, 46340, 46341, INT_MAX}},
        {ZOL_DEPTH_32F, floatBits}};
    for (const auto& [depth, edges] : rows) {
        const int bits = depth & 0xFF;
        std::vector<int64_t> values = edges;
        for (int i = 0; bits == 8 && i < 256; ++i) values.push_back(depth < 0 ? int8_t(i) : i);
        while (depth != ZOL_DEPTH_32F && values.size() < 300) {  // sign-extended when signed
            const int64_t u = g() >> (32 - bits);
            values.push_back(depth > 0 ? u : u - (u >> (bits - 1) << bits));
        }
        checkValues(depth, values, constants, f);
    }
}

// Every entry of the dispatched table equals the plain form at all lengths
// and alignments, in place too, for constants on both sides of each bound,
// and writes nothing past its run.
TEST(ConstantKernels, FormsAgree) {
    const size_t sizes[zol::kCsDepths] = {1, 1, 2, 2, 4, 4};
    // Bytes mostly from the edges, so that every element width meets its
    // extremes (0xFF.., 0x80.., 0x7F..) and floats their specials.
    std::mt19937 g(17);
    const uint8_t edges[] = {0x00, 0x01, 0x7F, 0x80, 0xFF};
    std::vector<uint8_t> a(1024), junk(1024);
    for (auto& x : a) x = g() % 3 ? edges[g() % 5] : uint8_t(g());
    for (auto& x : junk) x = uint8_t(g());
    const zol::Form saved = zol::formCap();
    zol::setFormCap(zol::Form::Plain);
    const zol::ConstKernels plain = zol::constKernels();
    for (int form = 1; form <= int(zol::cpuForm()); ++form) {
        zol::setFormCap(zol::Form(form));
        ASSERT_EQ(zol::Form(form), zol::constForm());
        const zol::ConstKernels k = zol::constKernels();
        for (int row = 0; row < zol::kCsDepths; ++row)
            for (int op = 0; op < zol::kCsOps; ++op) {
                ASSERT_EQ(!plain.run[row][op], !k.run[row][op]) << row << " " << op;
                if (!plain.run[row][op]) continue;
                for (size_t off = 0; off < 4; ++off)
                    for (size_t n = 0; n <= 200; ++n) {
                        SCOPED_TRACE(testing::Message() << zol::formName(zol::Form(form)) << " row "
                                                        << row << " op " << op << " offset " << off
                                                        << " n " << n);
                        const zol::CsValue v{kConstants[(n + off) % std::size(kConstants)],
                                             floatOf(n % 5 ? g() : bitsOf(float(n) - 99.5f))};
                        const size_t at = off * sizes[row];
                        std::vector<uint8_t> want(junk), got(junk), inPlace(a);
                        plain.run[row][op](&a[at], &want[at], n, v);
                        k.run[row][op](&a[at], &got[at], n, v);
                        ASSERT_EQ(want, got) << "value " << v.i << " / " << v.f;
                        k.run[row][op](&inPlace[at], &inPlace[at], n, v);
                        ASSERT_EQ(0, std::memcmp(&want[at], &inPlace[at], n * sizes[row]));
                    }
            }
    }
    zol::setFormCap(saved);
}

// A call that can only saturate or change nothing becomes a logic
// operation before any image check: a NULL destination names the route.
TEST(ConstantShortCuts, TakenExactlyAtTheBounds) {
    Image u8(ZOL_DEPTH_8U, 1, 2, 2), s8(ZOL_DEPTH_8S, 1, 2, 2), u16(ZOL_DEPTH_16U, 1, 2, 2);
    Image s16(ZOL_DEPTH_16S, 1, 2, 2), s32(ZOL_DEPTH_32S, 1, 2, 2), bits(ZOL_DEPTH_1U, 1, 9, 2);
    const char *And = "zolAndS", *Or = "zolOrS", *Xor = "zolXorS", *Sub = "zolSubtractS";
    const char* Mul = "zolMultiplyS";
    const Fn A = Fn::AddS, S = Fn::SubS, F = Fn::SubSFlip, M = Fn::MulS;
    const struct {
        Fn fn;
        ZolImage* src;
        int value;
        const char* reporter;
    } rows[] = {
        {S, u8, 255, And}, {S, u8, 254, Sub}, {S, u8, -255, Or}, {S, u8, -254, Sub},
        {S, u8, INT_MIN, Or}, {F, u8, 0, And}, {F, u8, 1, Sub}, {F, u8, 510, Or}, {F, u8, 509, Sub},
        {F, u8, INT_MIN, And}, {S, u16, 65535, And}, {S, u16, 65534, Sub}, {S, u16, -65535, Or},
        {S, u16, -65534, Sub}, {F, u16, 131070, Or}, {F, u16, 131069, Sub}, {S, s8, 1000, Sub},
        {F, s16, INT_MIN, Sub}, {S, bits, 0, Xor}, {S, bits, 3, And}, {F, bits, 0, And},
        {F, bits, -1, Xor}, {A, bits, 2, Or}, {A, u8, 254, Sub}, {A, u8, 255, Or},
        {A, u8, -254, Sub}, {A, u8, -255, And}, {A, u8, -65536, And}, {A, u8, INT_MIN, And},
        {A, u8, INT_MAX, Or}, {A, u16, 65535, Or}, {A, s8, INT_MAX, Sub}, {A, s32, 1, "zolAddS"},
        {M, bits, 1, And}, {M, u8, 0, And}, {M, u8, INT_MIN, And}, {M, u8, 1, Mul},
        {M, u16, -1, And}, {M, s8, 0, Mul},
        {Fn::Sqr, bits, 0, "zolSquare"}, {Fn::Abs, bits, 0, "zolAbs"},
    };
    for (const auto& r : rows) {
        kit::Recorder rec;
        call(r.fn, r.src, nullptr, r.value);
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
    o.cases = 50;
    const std::pair<int, float> constants[] = {{3, 1.5f}, {-200, -1e30f}, {40000, 0.0f},
                                               {INT_MIN, 7.0f}};
    for (const Fn fn : {Fn::AddS, Fn::SubS, Fn::SubSFlip, Fn::MulS})
        for (const auto& [v, f] : constants) {
            o.seed += 1000;
            SCOPED_TRACE(testing::Message() << "fn " << int(fn) << " value " << v << " / " << f);
            kit::checkFrames(
                [&](ZolImage* s, ZolImage* d) { call(fn, s, d, v, f); },
                [&](int depth, const int64_t* a) { return model(fn, depth, a[0], v, f); }, o);
        }
    o.cases = 200;
    kit::checkFrames([](ZolImage* s, ZolImage* d) { zolSquare(s, d); },
                     [](int depth, const int64_t* a) { return model(Fn::Sqr, depth, a[0], 0); }, o);
}

namespace {

// zolAbs by its own rules. The frame harness above can't express them: a
// coi counts only on images of more than one channel, so a two-channel
// image with alpha meeting a one-channel image, both with a coi, is refused
// here and accepted by the frame.
bool coiCounts(const ZolImage* im) { return im->roi && im->roi->coi > 0 && im->nChannels != 1; }

// The refusal context, or "" when zolAbs accepts the pair.
std::string absRefusal(const ZolImage* s, const ZolImage* d) {
    const bool as = s->alphaChannel != 0, ad = d->alphaChannel != 0;
    if (as == ad && s->nChannels != d->nChannels) return "(nChSrc != nChDst)";
    if (coiCounts(s) != coiCounts(d)) return "(nChSrcCoi != nChDstCoi)";
    if (!coiCounts(s) && s->nChannels == d->nChannels && as != ad) return "(aChSrc != aChDst)";
    return "";
}

struct Rect {
    int x, y, w, h;
};
Rect regionOf(const ZolImage* im) {
    if (!im->roi) return {0, 0, im->width, im->height};
    const ZolROI* r = im->roi;
    return {r->xOffset, r->yOffset, std::max(0, std::min(r->width, im->width - r->xOffset)),
            std::max(0, std::min(r->height, im->height - r->yOffset))};
}

// The destination's bytes after an accepted call, from the source's bytes.
std::vector<uint8_t> expectAbs(const ZolImage* s, std::vector<uint8_t> srcBytes,
                               const ZolImage* d) {
    std::vector<uint8_t> out = bytesOf(d);
    ZolImage sv = *s, dv = *d;
    sv.imageData = reinterpret_cast<char*>(srcBytes.data());
    dv.imageData = reinterpret_cast<char*>(out.data());
    const Rect rs = regionOf(s), rd = regionOf(d);
    int w = std::min(rs.w, rd.w), h = std::min(rs.h, rd.h);
    for (const ZolImage* m : {s->maskROI, d->maskROI})
        if (m) w = std::min(w, regionOf(m).w), h = std::min(h, regionOf(m).h);
    int n = std::min(s->nChannels, d->nChannels);
    if (s->alphaChannel && d->alphaChannel) n = s->nChannels - 1;
    if (coiCounts(s)) n = 1;
    for (int j = 0; j < h; ++j)
        for (int i = 0; i < w; ++i) {
            bool on = true;
            for (const ZolImage* m : {s->maskROI, d->maskROI})
                if (m) on = on && kit::get(m, regionOf(m).x + i, regionOf(m).y + j, 0);
            for (int c = 0; on && c < n; ++c) {
                const int cs = coiCounts(s) ? s->roi->coi - 1 : c;
                const int cd = coiCounts(d) ? d->roi->coi - 1 : c;
                const int64_t a = kit::get(&sv, rs.x + i, rs.y + j, cs);
                kit::set(&dv, rd.x + i, rd.y + j, cd, model(Fn::Abs, d->depth, a, 0));
            }
        }
    return out;
}

}  // namespace

// The documented channel cases, for the library and for the reference
// that the random cases below use.
TEST(ConstantAbs, ChannelRules) {
    const struct {
        int nS, alphaS, coiS, nD, alphaD, coiD;  // coi -1: no ROI
        const char* refusal;
    } rows[] = {
        {4, 1, -1, 3, 0, -1, ""},
        {4, 1, -1, 4, 0, -1, "(aChSrc != aChDst)"},
        {1, 0, 1, 3, 0, -1, "(nChSrc != nChDst)"},  // a coi on one channel doesn't count
        {3, 0, 2, 3, 0, -1, "(nChSrcCoi != nChDstCoi)"},
        {3, 0, 2, 1, 0, 1, "(nChSrc != nChDst)"},
        {2, 1, 2, 1, 0, 1, "(nChSrcCoi != nChDstCoi)"},
        {4, 1, 4, 3, 0, 1, ""},  // the source's alpha channel, by coi
        {4, 1, -1, 2, 0, -1, ""},
    };
    for (const auto& r : rows) {
        Image s(ZOL_DEPTH_8S, r.nS, 5, 3, ZOL_DATA_ORDER_PIXEL, 4, r.alphaS);
        Image d(ZOL_DEPTH_8S, r.nD, 4, 3, ZOL_DATA_ORDER_PIXEL, 4, r.alphaD);
        if (r.coiS >= 0) s.setRoi(r.coiS, 1, 0, 4, 3);
        if (r.coiD >= 0) d.setRoi(r.coiD, 0, 0, 4, 3);
        s.randomize(uint32_t(r.nS + 7 * r.nD));
        ASSERT_EQ(std::string(r.refusal), absRefusal(s, d)) << r.nS << " " << r.nD;
        const auto want = *r.refusal ? d.bytes() : expectAbs(s, s.bytes(), d);
        kit::Recorder rec;
        zolAbs(s, d);
        EXPECT_TRUE(*r.refusal ? rec.only(ZOL_STATUS_BAD_ARGUMENT, "zolAbs", r.refusal)
                               : rec.none());
        EXPECT_EQ(want, d.bytes()) << r.nS << " " << r.nD;
    }
}

// Random pairs of every shape, accepted or not, with masks and tiles on
// either image, against the reference.
TEST(ConstantAbs, RandomFramesMasksAndTiles) {
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
            if (pick(3) == 0) {
                servers[k] = std::make_unique<kit::TileServer>(img[k], 8 * (1 + pick(4)), 8);
                args[k] = servers[k]->image();
                if (const ZolROI* r = img[k]->roi)
                    args[k]->roi =
                        zolCreateROI(r->coi, r->xOffset, r->yOffset, r->width, r->height);
                args[k]->maskROI = img[k]->maskROI;
            }
        }
        SCOPED_TRACE(testing::Message() << "seed " << seed << " " << kit::depthName(depth));
        const std::string refusal = absRefusal(img[0], img[1]);
        const auto want =
            refusal.empty() ? expectAbs(img[0], img[0].bytes(), img[1]) : img[1].bytes();
        kit::Recorder rec;
        zolAbs(args[0], args[1]);
        if (refusal.empty()) {
            ASSERT_TRUE(rec.none()) << rec.reports()[0].context;
        } else {
            ASSERT_TRUE(rec.only(ZOL_STATUS_BAD_ARGUMENT, "zolAbs", refusal));
        }
        ASSERT_EQ(want, img[1].bytes());
        for (const auto& s : servers) {
            if (!s) continue;
            ASSERT_TRUE(s->breaches().empty() && !s->held());
        }
    }
}

// The stricter walk: a tiled image used as both is read and written, and
// a callback that keeps tileData at release fails after the first piece,
// while the ordinary walk takes the same callback.
TEST(ConstantAbs, WalkReadsWritesAndWantsClearedTiles) {
    const int R = ZOL_TILE_READ, W = ZOL_TILE_WRITE, X = ZOL_TILE_RELEASE;
    Image a(ZOL_DEPTH_16S, 1, 16, 8), b(ZOL_DEPTH_16S, 1, 16, 8);
    a.randomize(3);
    const auto want = expectAbs(a, a.bytes(), a);
    kit::Recorder rec;
    {
        kit::TileServer sa(a, 16, 8);
        zolAbs(sa.image(), sa.image());
        const std::vector<kit::TileRequest> log = {{0, 0, R}, {0, 0, W}, {0, 0, X}, {0, 0, X}};
        EXPECT_EQ(log, sa.log());
    }
    EXPECT_TRUE(rec.none());
    EXPECT_EQ(want, a.bytes());

    kit::TileServer sb(b, 8, 8), sc(a, 8, 8);
    sb.keepTileDataAtRelease(true);
    sc.keepTileDataAtRelease(true);
    zolAbs(a, sb.image());
    EXPECT_TRUE(rec.only(ZOL_STATUS_BAD_ARGUMENT, "zolAbs",
                         "(dstImage->tileInfo->tileData != ((void*)(0)))"));
    rec.clear();
    zolAbs(sc.image(), b);
    EXPECT_TRUE(rec.only(ZOL_STATUS_BAD_ARGUMENT, "zolAbs",
                         "(srcImage->tileInfo->tileData != ((void*)(0)))"));
    rec.clear();
    zolSetErrStatus(0);
    zolAddS(a, sb.image(), 1000);
    EXPECT_TRUE(rec.none());
    for (int x = 0; x < 16; ++x)
        ASSERT_EQ(model(Fn::AddS, ZOL_DEPTH_16S, kit::get(a, x, 3, 0), 1000), kit::get(b, x, 3, 0));
}

// Faults are reported before anything is written, in the documented order
// and names; sister depths are refused before the header checks.
TEST(ConstantChecks, ReportInOrderAndWriteNothing) {
    Image u8(ZOL_DEPTH_8U, 3, 4, 4), s8(ZOL_DEPTH_8S, 3, 4, 4), f32(ZOL_DEPTH_32F, 3, 4, 4);
    Image f32a(ZOL_DEPTH_32F, 3, 4, 4), gray32(ZOL_DEPTH_32F, 1, 4, 4), s32(ZOL_DEPTH_32S, 3, 4, 4);
    Image plane(ZOL_DEPTH_8U, 3, 4, 4, ZOL_DATA_ORDER_PLANE), bits(ZOL_DEPTH_1U, 1, 9, 2);
    Image bitsPlane(ZOL_DEPTH_1U, 1, 9, 2, ZOL_DATA_ORDER_PLANE);
    uint32_t seed = 0;
    for (Image* im : {&u8, &s8, &f32, &f32a, &s32, &bits}) im->randomize(++seed);
    const int kBad = ZOL_STATUS_BAD_ARGUMENT, kNull = ZOL_STATUS_NULL_HEADER;
    const char* const kIncorrect = "Incorrect Image";
    const char* const kDepth = "(srcImage->depth != dstImage->depth)";
    const char* const kOrder = "(srcImage->dataOrder != dstImage->dataOrder)";
    const struct {
        std::function<void()> fn;
        ZolImage* dst;  // checked unchanged
        int status;
        const char *func, *context;
    } rows[] = {
        {[&] { zolAddS(nullptr, u8, 1); }, u8, kBad, "zolAddS", "srcImage==0"},
        {[&] { zolSubtractS(nullptr, u8, 1, 1); }, u8, kBad, "zolSubtractS", "srcImage==0"},
        {[&] { zolMultiplyS(nullptr, u8, 1); }, u8, kBad, "zolMultiplyS", "srcImage==0"},
        {[&] { zolMultiplySFP(nullptr, f32, 1); }, f32, kBad, "zolMultiplySFP", "srcImage==0"},
        {[&] { zolSquare(nullptr, u8); }, u8, kNull, "zolSquare", kIncorrect},
        {[&] { zolAbs(nullptr, u8); }, u8, kNull, "zolAbs", kIncorrect},
        {[&] { zolAddS(f32a, nullptr, 1); }, f32, kBad, "zolAddS",
         "For processing depth 32F use function zolAddSFP"},
        {[&] { zolSubtractS(f32a, nullptr, 1, 0); }, f32, kBad, "zolSubtractS",
         "For processing depth 32F use function zolSubtractSFP"},
        {[&] { zolMultiplyS(f32a, nullptr, 0); }, f32, kBad, "zolMultiplyS",
         "For processing depth 32F use function zolMultiplySFP"},
        {[&] { zolAddSFP(bits, nullptr, 1); }, u8, kBad, "zolAddSFP",
         "For processing this depth use function zolAddS"},
        {[&] { zolSubtractSFP(s8, u8, 1, 1); }, u8, kBad, "zolSubtractSFP",
         "For processing this depth use function zolSubtractS"},
        {[&] { zolMultiplySFP(u8, u8, 1); }, u8, kBad, "zolMultiplySFP",
         "For processing this depth use function zolMultiplyS"},
        {[&] { zolAddS(s32, f32, 1); }, f32, kBad, "zolAddS", kDepth},
        {[&] { zolAddS(s8, u8, 1); }, u8, kBad, "zolSubtractS", kDepth},
        {[&] { zolSquare(u8, s8); }, s8, kBad, "zolSquare", kDepth},
        {[&] { zolMultiplyS(plane, u8, 3); }, u8, kBad, "zolMultiplyS", kOrder},
        {[&] { zolAbs(bitsPlane, bits); }, bits, kBad, "zolAbs", kOrder},
        {[&] { zolSubtractSFP(gray32, f32, 1, 0); }, f32, kBad, "zolSubtractSFP",
         "(nChSrc != nChDst)"},
        {[&] { zolAbs(f32a, f32); }, f32, kBad, "zolAbs",
         "This function does not support depth 32F"},
    };
    for (const auto& r : rows) {
        const auto before = bytesOf(r.dst);
        kit::Recorder rec;
        r.fn();
        EXPECT_TRUE(rec.only(r.status, r.func, r.context)) << r.func << " " << r.context;
        EXPECT_EQ(before, bytesOf(r.dst)) << r.context;
    }
    kit::Recorder rec;
    zolSquare(bitsPlane, bits);  // a 1-bit square copies across data orders
    EXPECT_TRUE(rec.none());

    // No memory for either block of a combined mask; and zolAbs ends
    // silently on an empty common mask region, before it looks at the depth.
    Image m1(ZOL_DEPTH_1U, 1, 4, 4), m2(ZOL_DEPTH_1U, 1, 4, 4);
    f32a->maskROI = m1;
    f32->maskROI = m2;
    const auto before = f32.bytes();
    for (const int n : {1, 2}) {
        for (const bool abs : {true, false}) {
            rec.clear();
            kit::HeapFailure fail(n);
            abs ? zolAbs(f32a, f32) : zolAddSFP(f32a, f32, 1.0f);
            EXPECT_TRUE(
                rec.only(ZOL_STATUS_NO_MEMORY, abs ? "zolAbs" : "zolAddSFP", "Out of memory"));
        }
    }
    m1.setRoi(0, 4, 0, 4, 4);  // cut to width 0
    rec.clear();
    zolAbs(f32a, f32);
    EXPECT_TRUE(rec.none());
    EXPECT_EQ(before, f32.bytes());
    f32a->maskROI = f32->maskROI = nullptr;
}
