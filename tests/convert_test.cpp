// Colour-space conversions: 8-bit forms against models written from their
// formulas, wider depths pinned and round-tripped, channel addressing and
// tiles compared with the plain pixel-order result, and the checks.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <random>

#include "kit.h"
#include "tiles.h"

namespace {

using kit::Image;
using Conv = void (*)(ZolImage*, ZolImage*);
using Model = std::function<void(const int64_t* in, int64_t* out)>;

void name(ZolImage* im, const char* model, const char* seq) {
    std::memcpy(im->colorModel, model, 4);
    std::memcpy(im->channelSeq, seq, 4);
}
int64_t fl(double v) { return int64_t(std::floor(v)); }
int64_t clampI(int64_t v, int64_t lo, int64_t hi) { return v < lo ? lo : v > hi ? hi : v; }

// Degrees of the hue before truncation, as the double quotient of exact numerators.
double hueDeg(int64_t r, int64_t g, int64_t b) {
    const int64_t mx = std::max({r, g, b}), d = mx - std::min({r, g, b});
    double h = r == mx ? double(60 * (g - b)) / d : g == mx ? double(60 * (b - r)) / d + 120
                                                             : double(60 * (r - g)) / d + 240;
    return h < 0 ? h + 360 : h;
}

struct Case8 { const char* what; Conv f; const char* model; bool fromRgb; Model m; int depth = 8; };

const Case8 kCases8[] = {
    {"RGB2XYZ", zolRGB2XYZ, "XYZ", true, [](const int64_t* p, int64_t* o) {
         o[0] = fl((6758.0 * p[0] + 5859.0 * p[1] + 2956.0 * p[2] + 8192) / 16384);
         o[1] = fl((3484.0 * p[0] + 11717.0 * p[1] + 1182.0 * p[2] + 8192) / 16384);
         o[2] = std::min<int64_t>(255, fl((317.0 * p[0] + 1953.0 * p[1] + 15569.0 * p[2] + 8192) / 16384));
     }},
    {"XYZ2RGB", zolXYZ2RGB, "XYZ", false, [](const int64_t* p, int64_t* o) {
         o[0] = clampI(fl((53092.0 * p[0] - 25185.0 * p[1] - 8168.0 * p[2] + 8192) / 16384), 0, 255);
         o[1] = clampI(fl((-15880.0 * p[0] + 30736.0 * p[1] + 681.0 * p[2] + 8192) / 16384), 0, 255);
         o[2] = clampI(fl((912.0 * p[0] - 3343.0 * p[1] + 17323.0 * p[2] + 8192) / 16384), 0, 255);
     }},
    {"RGB2YUV", zolRGB2YUV, "YUV", true, [](const int64_t* p, int64_t* o) {
         const int64_t y = fl((4899.0 * p[0] + 9617.0 * p[1] + 1868.0 * p[2]) / 16384);
         o[0] = clampI(y, -128, 127) & 255, o[1] = clampI(p[2] - y, -128, 127) & 255;
         o[2] = clampI(p[0] - y, -128, 127) & 255;
     }},
    {"YUV2RGB", zolYUV2RGB, "YUV", false, [](const int64_t* q, int64_t* o) {
         const int64_t y = int8_t(q[0]), u = int8_t(q[1]), v = int8_t(q[2]);
         o[0] = clampI(y + v, 0, 255), o[2] = clampI(y + u, 0, 255);
         o[1] = clampI(y - fl((8340.0 * v + 3179.0 * u) / 16384), 0, 255);
     }, ZOL_DEPTH_8S},
    {"RGB2YCrCb", zolRGB2YCrCb, "YCr", true, [](const int64_t* p, int64_t* o) {
         const int64_t y = fl((4898.0 * p[0] + 9617.0 * p[1] + 1867.0 * p[2] + 8192) / 16384);
         o[0] = y, o[1] = fl((9246.0 * (p[2] - y) + 2097152) / 16384);
         o[2] = fl((11686.0 * (p[0] - y) + 2097152) / 16384);
     }},
    {"YCrCb2RGB", zolYCrCb2RGB, "YCr", false, [](const int64_t* p, int64_t* o) {
         o[0] = clampI(p[0] + fl((22970.0 * p[2] - 2928675) / 16384), 0, 255);
         o[1] = clampI(p[0] - fl((11700.0 * p[2] - 2210595 + 5638.0 * p[1]) / 16384), 0, 255);
         o[2] = clampI(p[0] + fl((29032.0 * p[1] - 3701580) / 16384), 0, 255);
     }},
    {"RGB2HSV", zolRGB2HSV, "HSV", true, [](const int64_t* p, int64_t* o) {
         const int64_t mx = std::max({p[0], p[1], p[2]}), d = mx - std::min({p[0], p[1], p[2]});
         o[2] = mx, o[1] = mx ? 255 * d / mx : 0;
         o[0] = o[1] ? int64_t(hueDeg(p[0], p[1], p[2])) / 2 : 0;
     }},
    {"RGB2HLS", zolRGB2HLS, "HLS", true, [](const int64_t* p, int64_t* o) {
         const int64_t mx = std::max({p[0], p[1], p[2]}), mn = std::min({p[0], p[1], p[2]});
         const int64_t d = mx - mn, s = mx + mn;
         o[1] = s / 2;
         o[2] = d == 0 ? 0 : int64_t(255.0 * d / double(s <= 255 ? s : 510 - s));
         o[0] = d == 0 ? 0 : int64_t(hueDeg(p[0], p[1], p[2])) / 2;
     }},
};

// Random pixels with the corners of the cube among them.
Image randomRgb(int depth, int w, int h, uint32_t seed) {
    Image im(depth, 3, w, h);
    im.randomize(seed);
    for (int i = 0; i < 8 && i < w; ++i)
        for (int c = 0; c < 3; ++c) kit::set(im, i, 0, c, (i >> c) & 1 ? -1 : 0);
    return im;
}

// YCrCb, HSV and HLS from RGB over every 8-bit colour; the others over
// random pixels and the corners of the cube.
TEST(Convert, EightBitFormsMatchModels) {
    for (const Case8& k : kCases8) {
        const bool all = k.fromRgb && (k.model[0] == 'H' || std::string(k.model) == "YCr");
        const int W = all ? 4096 : 256, H = all ? 4096 : 64;
        Image s = randomRgb(k.depth, W, H, 7), d(ZOL_DEPTH_8U, 3, W, H);
        if (all)
            for (int y = 0; y < H; ++y)
                for (int x = 0; x < W; ++x) {
                    auto* p = reinterpret_cast<uint8_t*>(s->imageData + y * s->widthStep + 3 * x);
                    p[0] = uint8_t(x), p[1] = uint8_t((x >> 8) | (y << 4)), p[2] = uint8_t(y >> 4);
                }
        name(s, k.fromRgb ? "RGB" : k.model, k.fromRgb ? "RGB" : k.model);
        name(d, "RGB", "RGB");
        kit::Recorder rec;
        k.f(s, d);
        ASSERT_TRUE(rec.none()) << k.what;
        for (int y = 0; y < H; ++y) {
            const auto* ps = reinterpret_cast<const uint8_t*>(s->imageData + y * s->widthStep);
            const auto* pd = reinterpret_cast<const uint8_t*>(d->imageData + y * d->widthStep);
            for (int x = 0; x < W; ++x) {
                const int64_t in[3] = {ps[3 * x], ps[3 * x + 1], ps[3 * x + 2]};
                int64_t out[3];
                k.m(in, out);
                for (int c = 0; c < 3; ++c)
                    ASSERT_EQ(pd[3 * x + c], out[c]) << k.what << " " << in[0] << "," << in[1] << "," << in[2];
            }
        }
        if (k.fromRgb) { EXPECT_EQ(std::string(d->colorModel, 3), k.model); }
    }
}

// Every conversion at every depth it takes: BGR and four-channel sources,
// plane order with the letters in another order, and tiles on either side
// give the pixel-order RGB result. A destination's planes follow its letters.
TEST(Convert, AddressingAndTilesGiveThePlainResult) {
    struct Kind { Conv f; const char* model; bool fromRgb; std::vector<std::pair<int, int>> depths; };
    const std::vector<std::pair<int, int>> lin = {{8, 8}, {16, 16}, {ZOL_DEPTH_32S, ZOL_DEPTH_32S}, {32, 32}},
                                           hsv = {{8, 8}, {16, 16}, {ZOL_DEPTH_32S, ZOL_DEPTH_32S}};
    const Kind kinds[] = {
        {zolRGB2HSV, "HSV", true, hsv}, {zolHSV2RGB, "HSV", false, hsv}, {zolRGB2HLS, "HLS", true, hsv},
        {zolHLS2RGB, "HLS", false, hsv}, {zolRGB2XYZ, "XYZ", true, lin}, {zolXYZ2RGB, "XYZ", false, lin},
        {zolRGB2YCrCb, "YCr", true, lin}, {zolYCrCb2RGB, "YCr", false, lin},
        {zolRGB2YUV, "YUV", true, {{8, ZOL_DEPTH_8S}, {16, ZOL_DEPTH_16S}, {ZOL_DEPTH_32S, ZOL_DEPTH_32S}, {32, 32}}},
        {zolYUV2RGB, "YUV", false, {{ZOL_DEPTH_8S, 8}, {ZOL_DEPTH_16S, 16}, {ZOL_DEPTH_32S, ZOL_DEPTH_32S}, {32, 32}}},
        {zolYCC2RGB, "YCC", false, {{8, 8}}}, {zolRGB2LUV, "LUV", true, {{32, 32}}},
        {zolLUV2RGB, "LUV", false, {{32, 32}}}};
    const int W = 37, H = 19;
    for (const Kind& k : kinds)
        for (auto [ds, dd] : k.depths) {
            const char* rgbSeq = "RGB";
            Image s(ds, 3, W, H), d(dd, 3, W, H);
            s.randomize(11);
            if (ds == 32)  // ordinary floats
                for (int y = 0; y < H; ++y)
                    for (int x = 0; x < W; ++x)
                        for (int c = 0; c < 3; ++c) {
                            float v = float((x * 7 + y * 13 + c * 29) % 97) / 96.0f;
                            int32_t b;
                            std::memcpy(&b, &v, 4);
                            kit::set(s, x, y, c, b);
                        }
            name(s, k.fromRgb ? "RGB" : k.model, k.fromRgb ? rgbSeq : k.model);
            name(d, "RGB", "RGB");
            k.f(s, d);
            for (int variant = 0; variant < 4; ++variant) {
                // 0: BGR pixels with a fourth channel; 1: planes "GBR"; 2, 3: tiles
                const bool plane = variant == 1;
                const int order = plane ? ZOL_DATA_ORDER_PLANE : ZOL_DATA_ORDER_PIXEL;
                const char* seq = variant == 0 || (plane && k.fromRgb) ? "BGR" : plane ? "GBR" : "RGB";
                const int map[3] = {seq[0] == 'R' ? 0 : seq[0] == 'G' ? 1 : 2,
                                    seq[1] == 'R' ? 0 : seq[1] == 'G' ? 1 : 2,
                                    seq[2] == 'R' ? 0 : seq[2] == 'G' ? 1 : 2};  // letter index -> rgb
                Image s2(ds, variant == 0 ? 4 : 3, W, H, order), d2(dd, 3, W, H, order);
                for (int y = 0; y < H; ++y)
                    for (int x = 0; x < W; ++x)
                        for (int c = 0; c < 3; ++c)
                            kit::set(s2, x, y, k.fromRgb ? c : c, kit::get(s, x, y, k.fromRgb ? map[c] : c));
                name(s2, k.fromRgb ? "RGB" : k.model, k.fromRgb ? seq : k.model);
                name(d2, "RGB", seq);
                kit::TileServer ts(s2, 8, 16), td(d2, 16, 8);
                td.allowPastGrid(true);
                kit::Recorder rec;
                k.f(variant >= 2 ? ts.image() : s2.get(), variant == 2 ? td.image() : d2.get());
                ASSERT_TRUE(rec.none()) << (rec.reports().empty() ? "" : rec.reports()[0].context);
                name(d2, "RGB", seq);
                for (int y = 0; y < H; ++y)
                    for (int x = 0; x < W; ++x)
                        for (int c = 0; c < 3; ++c)
                            ASSERT_EQ(kit::get(d2, x, y, c), kit::get(d, x, y, k.fromRgb ? c : map[c]))
                                << k.model << (k.fromRgb ? " from RGB" : " to RGB") << " depth " << (ds & 0xFF)
                                << " variant " << variant << " at " << x << "," << y << "," << c;
                EXPECT_TRUE(td.breaches().empty() && ts.breaches().empty() && !td.held() && !ts.held());
            }
        }
}

// Values the formulas pin at the depths without a model above.
TEST(Convert, PinnedValues) {
    struct Pin { Conv f; const char* model; bool fromRgb; int depth; int64_t in[3], out[3]; };
    const int S = ZOL_DEPTH_32S;
    const Pin pins[] = {
        {zolRGB2YUV, "YUV", true, 8, {255, 255, 255}, {127, 0, 0}},
        {zolYCC2RGB, "YCC", false, 8, {128, 156, 137}, {211, 211, 211}},
        {zolYCrCb2RGB, "YCr", false, 8, {76, 85, 255}, {254, 0, 0}},
        {zolRGB2HSV, "HSV", true, 8, {0, 255, 0}, {60, 255, 255}},
        {zolRGB2HSV, "HSV", true, 16, {0, 0, 65535}, {240, 65535, 65535}},
        {zolRGB2HSV, "HSV", true, S, {2147483647, -2147483647 - 1, 0}, {329, 2147483647, 2147483647}},
        {zolHSV2RGB, "HSV", false, 8, {180, 255, 200}, {200, 2, 1}},
        {zolHSV2RGB, "HSV", false, 16, {360, 65535, 1000}, {1000, 0, 0}},
        {zolRGB2HLS, "HLS", true, 16, {65535, 65535, 0}, {60, 32767, 65535}},
        {zolHLS2RGB, "HLS", false, 8, {0, 128, 255}, {255, 1, 1}},
        {zolXYZ2RGB, "XYZ", false, 16, {65535, 0, 0}, {65535, 0, 3648}},
        {zolRGB2YCrCb, "YCr", true, 16, {65535, 0, 0}, {19596, 21708, 65535}},
        {zolYCrCb2RGB, "YCr", false, 16, {0, 0, 65535}, {45939, 0, 0}},
        {zolRGB2XYZ, "XYZ", true, S, {2147483647, 2147483647, 2147483647}, {2041088717, 2147483647, 2147483647}},
        {zolYCrCb2RGB, "YCr", false, S, {0, 0, 0}, {0, 1136311522, 0}},
    };
    for (const Pin& p : pins) {
        Image s(p.depth, 3, 1, 1), d(p.depth, 3, 1, 1);
        name(s, p.fromRgb ? "RGB" : p.model, p.fromRgb ? "RGB" : p.model);
        name(d, "RGB", "RGB");
        for (int c = 0; c < 3; ++c) kit::set(s, 0, 0, c, p.in[c]);
        kit::Recorder rec;
        p.f(s, d);
        ASSERT_TRUE(rec.none());
        for (int c = 0; c < 3; ++c)
            EXPECT_EQ(kit::get(d, 0, 0, c), p.out[c] & (p.depth == S ? -1 : (1 << p.depth) - 1))
                << p.model << (p.fromRgb ? " from" : " to") << " depth " << (p.depth & 0xFF) << " c " << c;
    }
}

// There and back: drift within what each pair's rounding allows.
TEST(Convert, RoundTrips) {
    struct Trip { Conv to, back; int depth; double drift; };
    const Trip trips[] = {{zolRGB2YCrCb, zolYCrCb2RGB, 8, 3}, {zolRGB2XYZ, zolXYZ2RGB, 16, 15},
                          {zolRGB2YCrCb, zolYCrCb2RGB, 16, 3}, {zolRGB2HSV, zolHSV2RGB, 16, 65535.0 / 60 + 2},  // whole degrees of hue,
                          {zolRGB2HLS, zolHLS2RGB, 16, 65535.0 / 60 + 2}, {zolRGB2XYZ, zolXYZ2RGB, 32, 1e-4},
                          {zolRGB2YCrCb, zolYCrCb2RGB, 32, 1e-3}, {zolRGB2LUV, zolLUV2RGB, 32, 1e-3},
                          {zolRGB2YUV, zolYUV2RGB, 32, 1e-3}, {zolRGB2YCrCb, zolYCrCb2RGB, ZOL_DEPTH_32S, 256}};  // 0.1687359 is 1e-7 off
    for (const Trip& t : trips) {
        const int W = 64, H = 16;
        Image a(t.depth, 3, W, H), b(t.depth, 3, W, H), c(t.depth, 3, W, H);
        std::mt19937 g(5);
        for (int y = 0; y < H; ++y)
            for (int x = 0; x < W; ++x)
                for (int k = 0; k < 3; ++k) {
                    if (t.depth == 32) {
                        const float v = 0.05f + 0.9f * float(g() % 1000) / 1000.0f;
                        int32_t bits;
                        std::memcpy(&bits, &v, 4);
                        kit::set(a, x, y, k, bits);
                    } else {
                        kit::set(a, x, y, k, t.depth == ZOL_DEPTH_32S ? int64_t(g() >> 2) : int64_t(g() % (9u << t.depth) / 10));  // Z of XYZ clamps above 0.92 MAX
                    }
                }
        name(a, "RGB", "RGB");
        name(c, "RGB", "RGB");
        kit::Recorder rec;
        t.to(a, b);
        t.back(b, c);
        ASSERT_TRUE(rec.none()) << b->colorModel;
        for (int y = 0; y < H; ++y)
            for (int x = 0; x < W; ++x)
                for (int k = 0; k < 3; ++k) {
                    double u = double(kit::get(a, x, y, k)), v = double(kit::get(c, x, y, k));
                    if (t.depth == 32) {
                        float fu, fv;
                        int32_t bu = int32_t(kit::get(a, x, y, k)), bv = int32_t(kit::get(c, x, y, k));
                        std::memcpy(&fu, &bu, 4), std::memcpy(&fv, &bv, 4);
                        u = fu, v = fv;
                    }
                    ASSERT_LE(std::fabs(u - v), t.drift) << std::string(b->colorModel, 3) << " depth " << (t.depth & 0xFF);
                }
    }
}

TEST(Convert, FailuresInOrder) {
    Image rgb(8, 3, 4, 4), hsv(8, 3, 4, 4), four(8, 4, 4, 4), wide(16, 3, 4, 4), s8(ZOL_DEPTH_8S, 3, 4, 4),
        f32(32, 3, 4, 4), pl(8, 3, 4, 4, ZOL_DATA_ORDER_PLANE), other(8, 3, 4, 4), roi(8, 3, 4, 4);
    name(rgb, "RGB", "BGR"), name(hsv, "HSV", "HSV"), name(other, "XYZ", "RGB"), name(s8, "RGB", "RGB");
    name(roi, "RGB", "RGB"), name(f32, "RGB", "RGB"), name(wide, "RGB", "RGB");
    roi.setRoi(0, 0, 0, 4, 4);
    const std::string lng = "(src->nChannels < 3 ) || (dst->nChannels != 3 ) || (src->depth != dst->depth) || "
                            "(src->dataOrder != dst->dataOrder) || (src->origin != dst->origin)";
    struct Row { Conv f; ZolImage* s; ZolImage* d; const char* func; std::string context; };
    const Row rows[] = {
        {zolRGB2HSV, nullptr, rgb, "zolRGB2HSV", "Incorrect Image"},
        {zolRGB2HSV, hsv, four, "zolRGB2HSV", "colorModel must be RGB instead of HSV "},
        {zolRGB2XYZ, other, four, "zolRGB2XYZ", "colorModel must be RGB instead of XYZ "},
        {zolHSV2RGB, other, rgb, "zolHSV2RGB", "src-> colorModel must be HSV instead of XYZ"},
        {zolRGB2HLS, roi, hsv, "zolRGB2HLS", "src & dst roi must be NULL"},
        {zolRGB2HLS, rgb, four, "zolRGB2HLS", lng},
        {zolRGB2HLS, rgb, wide, "zolRGB2HLS", lng},
        {zolRGB2HLS, rgb, pl, "zolRGB2HLS", lng},
        {zolRGB2HSV, f32, f32, "ownRGB2HSV", "Error input depth. 32S,16U,8U are valid now"},
        {zolRGB2LUV, rgb, hsv, "ownRGB2LUV", "Error input depth. 32F is valid now"},
        {zolRGB2YUV, s8, hsv, "ownRGB2YUV", "Error input depth. 32F, 32S ,16S,8S are valid now"},
        {zolRGB2YCrCb, s8, s8, "ownRGB2YCrCb", "Error input depth. 32F, 32S ,16U,8U are valid now"},
        {zolYCC2RGB, wide, rgb, "zolYCC2RGB", "src-> colorModel must be YCC instead of RGB"},
    };
    for (const Row& r : rows) {
        name(hsv, "HSV", "HSV");
        kit::Recorder rec;
        r.f(r.s, r.d);
        ASSERT_EQ(rec.reports().size(), 1u) << r.context;
        EXPECT_EQ(rec.reports()[0].func, r.func);
        EXPECT_EQ(rec.reports()[0].context, r.context);
        if (r.context != "Incorrect Image") { EXPECT_EQ(rec.reports()[0].status, -5); }
    }
    // The model's name is written before the depth is refused.
    name(s8, "RGB", "RGB");
    Image d8(ZOL_DEPTH_8S, 3, 4, 4);
    zolRGB2HSV(s8, d8);
    EXPECT_EQ(std::string(d8->colorModel, 4), std::string("HSV", 4));
}

}  // namespace
