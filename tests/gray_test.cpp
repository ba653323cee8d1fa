// Gray conversion, gray to colour, the cut, jitter and dither: models of
// each formula, diffusion over tiles of several grids against the untiled
// result, and the order of the checks.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <random>
#include <vector>

#include "kit.h"

namespace {

using kit::Image;
void name(ZolImage* im, const char* model, const char* seq) {
    for (int i = 0, m = 1, q = 1; i < 4; ++i) {  // up to the terminating zero
        im->colorModel[i] = m ? model[i] : 0, m = m && model[i];
        im->channelSeq[i] = q ? seq[i] : 0, q = q && seq[i];
    }
}

TEST(Gray, ColorToGrayMatchesWeights) {
    const int S = ZOL_DEPTH_32S;
    struct Pair { int s, d, order; };
    const Pair pairs[] = {{8, 8, 0}, {8, 16, 0}, {8, 1, 0}, {16, 16, 1}, {16, 8, 0}, {16, 8, 1},
                          {16, 1, 0}, {S, 16, 1}, {S, 8, 0}, {S, 1, 0}};
    for (const Pair& p : pairs) {
        const int W = 21, H = 5;  // odd: the lone last pixel of plane order
        Image s(p.s, 3, W, H, p.order), d(p.d, 1, W, H);
        s.randomize(3);
        name(s, "RGB", "BGR"), name(d, "GRAY", "G");
        kit::Recorder rec;
        zolColorToGray(s, d);
        ASSERT_TRUE(rec.none());
        for (int y = 0; y < H; ++y)
            for (int x = 0; x < W; ++x) {
                const int64_t b = kit::get(s, x, y, 0), g = kit::get(s, x, y, 1), r = kit::get(s, x, y, 2);
                const int64_t sum = 54 * r + 183 * g + 18 * b;
                int64_t e = 0;
                if (p.s == S) {
                    const int sh = p.d == 1 ? 10 : 11;
                    const int64_t v = 109 * (r >> sh) + 366 * (g >> sh) + 37 * (b >> sh);
                    e = p.d == 1 ? v > 0x1FFFFFFF : (v >> (p.d == 16 ? 13 : 21)) & ((1 << p.d) - 1);
                } else if (p.d == 1) {
                    e = (sum >> 8) > (p.s == 8 ? 127 : 32767);
                } else if (p.s == 16 && p.d == 8) {
                    e = p.order == 0 ? sum >> 16
                        : x == W - 1 ? (109 * r + 366 * g + 37 * b) >> 17
                                     : (((109 * r) >> 16) + ((366 * g) >> 16) + ((37 * b) >> 16)) >> 1;
                } else {
                    e = p.s == 8 && p.d == 16 ? sum : sum >> 8;
                }
                ASSERT_EQ(kit::get(d, x, y, 0), e) << p.s << "->" << p.d << " order " << p.order << " at " << x;
            }
    }
}

TEST(Gray, GrayToColorWeights) {
    struct Row { int depth; float f[3]; int64_t v; int64_t out[3]; };
    const Row rows[] = {{8, {0, 0, 0}, 255, {53, 182, 17}},
                        {8, {1.0f, 0.5f, 0.25f}, 255, {255, 127, 63}},
                        {8, {1e-4f, 1e-4f, 0}, 255, {53, 182, 17}},
                        {16, {0, 0, 0}, 65535, {13951, 46847, 4735}},
                        {16, {0.5f, 0.25f, 1.0f}, 1000, {500, 250, 1000}},
                        {ZOL_DEPTH_32S, {0, 0, 0}, 1 << 20, {222976, 749888, 75648}},
                        {1, {0, 0, 0}, 1, {53, 182, 17}}};
    for (const Row& r : rows) {
        Image s(r.depth, 1, 9, 2), d(r.depth == 1 ? 8 : r.depth, 4, 9, 2);
        d.randomize(1);
        const int64_t alpha = kit::get(d, 8, 1, 3);
        name(s, "Gray", "G"), name(d, "RGB", "BGR");
        kit::set(s, 8, 1, 0, r.v);
        kit::Recorder rec;
        zolGrayToColor(s, d, r.f[0], r.f[1], r.f[2]);
        ASSERT_TRUE(rec.none());
        for (int c = 0; c < 3; ++c) EXPECT_EQ(kit::get(d, 8, 1, 2 - c), r.out[c]) << r.depth << " c " << c;
        EXPECT_EQ(kit::get(d, 8, 1, 3), alpha);
        EXPECT_EQ(kit::get(d, 0, 0, 0), 0);
    }
}

TEST(Reduce, CutsAndJitter) {
    const int S = ZOL_DEPTH_32S;
    struct Pair { int s, d; int64_t (*f)(int64_t); };
    const Pair pairs[] = {{8, 1, [](int64_t v) -> int64_t { return v > 127; }},
                          {16, 8, [](int64_t v) { return v >> 8; }},
                          {16, 1, [](int64_t v) -> int64_t { return v > 32767; }},
                          {S, 16, [](int64_t v) { return ((v >> 16) + 32768) & 0xFFFF; }},
                          {S, 8, [](int64_t v) { return ((v >> 24) + 128) & 0xFF; }},
                          {S, 1, [](int64_t v) -> int64_t { return v > 0; }}};
    for (const Pair& p : pairs)
        for (int jitter : {0, 5}) {
            const int nc = p.d == 1 ? 1 : 3, W = 33, H = 6;
            Image s(p.s, nc, W, H), d(p.d, nc, W, H), d2(p.d, nc, W, H);
            s.randomize(8);
            const auto before = s.bytes();
            kit::Recorder rec;
            std::srand(42);
            zolReduceBits(s, d, jitter, ZOL_DITHER_NONE, 8);
            std::srand(42);
            zolReduceBits(s, d2, jitter, ZOL_DITHER_NONE, 8);
            ASSERT_TRUE(rec.none());
            EXPECT_EQ(s.bytes(), before);
            EXPECT_EQ(d.bytes(), d2.bytes());  // the same seed, the same noise
            int moved = 0;
            for (int y = 0; y < H; ++y)
                for (int x = 0; x < W; ++x)
                    for (int c = 0; c < nc; ++c) {
                        const int64_t v = kit::get(s, x, y, c), got = kit::get(d, x, y, c), cut = p.f(v);
                        if (!jitter || p.d == 1) {
                            if (!jitter) { ASSERT_EQ(got, cut) << p.s << "->" << p.d; }
                            moved += got != cut;
                            continue;
                        }
                        // a cut of v' + n steps: between cut - a and cut + a + 1 (unless wrapped)
                        const int64_t lo = cut - jitter, hi = cut + jitter + 1;
                        if (p.s != S) { ASSERT_TRUE(got >= lo && got <= hi) << got << " vs " << cut; }
                        moved += got != cut;
                    }
            if (jitter) { EXPECT_GT(moved, 0) << p.s << "->" << p.d; }
        }
}

// Error diffusion written as on paper: the whole image as a grid of ints.
std::vector<int> diffuseModel(std::vector<int> g, int w, int h, int type, int bits, int level) {
    int n = ((1 << bits) - 1) >> level;
    if (!n) n = 1;
    const int top = (1 << bits) - 1;
    struct T { int dx, dy, c; };
    std::vector<T> taps;
    if (type == ZOL_DITHER_FS) taps = {{1, 0, 7}, {-1, 1, 3}, {0, 1, 5}, {1, 1, 1}};
    const int st[3][5] = {{0, 0, 0, 1560, 780}, {390, 780, 1560, 780, 390}, {195, 390, 780, 390, 195}};
    const int jj[3][5] = {{0, 0, 0, 1197, 855}, {513, 855, 1197, 855, 513}, {171, 513, 855, 513, 171}};
    for (int dy = 0; dy < 3 && type != ZOL_DITHER_FS; ++dy)
        for (int dx = -2; dx <= 2; ++dx) {
            const int c = (type == ZOL_DITHER_STUCKI ? st : jj)[dy][dx + 2];
            if (c) taps.push_back({dx, dy, c});
        }
    const int scale = type == ZOL_DITHER_FS ? 16 : 8192;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const int v = g[y * w + x], q = (v & ~n) + ((v & n) > n / 2 ? n : 0), e = v - q;
            g[y * w + x] = q;
            for (const T& t : taps) {
                const int X = x + t.dx, Y = y + t.dy;
                if (X < 0 || X >= w || Y >= h) continue;
                int& p = g[Y * w + X];
                const long num = long(p) * scale + long(t.c) * e;
                p = std::min(top, std::max(0, int(num >= 0 ? num / scale : -((-num + scale - 1) / scale))));
            }
        }
    return g;
}

// A tile server that holds any number of tiles at once, each in its own
// buffer written back at release; indices past the grid get no tile.
struct Tiles {
    ZolImage* backing;
    ZolImage* tiled;
    int tw, th;
    std::map<std::pair<int, int>, std::vector<char>> held;
    static void cb(const ZolImage* im, int c, int r, int mode) {
        Tiles* t = static_cast<Tiles*>(im->imageTag);
        const int nc = (im->width + t->tw - 1) / t->tw, nr = (im->height + t->th - 1) / t->th;
        const ZolImage* b = t->backing;
        const int pix = (b->depth & 0xFF) / 8 * b->nChannels;
        const int step = (t->tw * pix + b->align - 1) / b->align * b->align;
        auto copy = [&](std::vector<char>& buf, bool back) {
            for (int y = 0; y < t->th && r * t->th + y < b->height; ++y)
                for (int x = 0; x < t->tw && c * t->tw + x < b->width; ++x) {
                    char* m = b->imageData + (r * t->th + y) * b->widthStep + (c * t->tw + x) * pix;
                    char* q = buf.data() + y * step + x * pix;
                    back ? std::memcpy(m, q, size_t(pix)) : std::memcpy(q, m, size_t(pix));
                }
        };
        im->tileInfo->tileData = nullptr;
        if (c < 0 || r < 0 || c >= nc || r >= nr) return;
        auto& buf = t->held[{c, r}];
        if (mode == ZOL_TILE_RELEASE) {
            copy(buf, true);
            t->held.erase({c, r});
            return;
        }
        ASSERT_TRUE(buf.empty()) << "tile held twice";
        buf.assign(size_t(step * t->th), 0);
        copy(buf, false);
        im->tileInfo->tileData = buf.data();
    }
};

TEST(Dither, DiffusionAndBayerWholeAndTiled) {
    const int W = 45, H = 23;
    for (int type : {ZOL_DITHER_FS, ZOL_DITHER_JJN, ZOL_DITHER_STUCKI, ZOL_DITHER_BAYER})
        for (int level : {1, 3, 8})
            for (int tiling : {0, 8, 16, 24}) {
                Image s(16, 3, W, H), d(8, 3, W, H);
                s.randomize(uint32_t(type + level));
                name(s, "RGB", "RGB"), name(d, "RGB", "RGB");
                Tiles t{d, nullptr, tiling, tiling == 16 ? 8 : tiling, {}};
                ZolImage* dst = d;
                if (tiling) {
                    t.tiled = zolCreateImageHeader(3, 0, 8, "RGB", "RGB", 0, 0, 4, W, H, nullptr, nullptr, &t,
                                                   zolCreateTileInfo(Tiles::cb, 0, t.tw, t.th));
                    dst = t.tiled;
                }
                kit::Recorder rec;
                zolReduceBits(s, dst, 0, type, level);
                ASSERT_TRUE(rec.none());
                if (tiling) {
                    EXPECT_TRUE(t.held.empty());
                    zolDeleteTileInfo(t.tiled->tileInfo);
                    zolDeallocate(t.tiled, ZOL_FREE_HEADER);
                }
                for (int c = 0; c < 3; ++c) {
                    std::vector<int> g(size_t(W * H));
                    for (int y = 0; y < H; ++y)
                        for (int x = 0; x < W; ++x) g[size_t(y * W + x)] = int(kit::get(s, x, y, c) >> 8);
                    std::vector<int> e = g;
                    if (type != ZOL_DITHER_BAYER) {
                        e = diffuseModel(g, W, H, type, 8, level);
                    } else {
                        static const int k[16] = {0, 1928, 482, 2410, 2892, 964, 3374, 1446,
                                                  723, 2651, 241, 2169, 3615, 1687, 3133, 1205};
                        const int n = level == 8 ? 1 : 255 >> level;
                        for (int y = 0; y < H; ++y)
                            for (int x = 0; x < W; ++x) {
                                const int v = g[size_t(y * W + x)], th = (k[(x & 3) * 4 + (y & 3)] << (8 - level)) >> 12;
                                e[size_t(y * W + x)] = (v & ~n) + ((v & n) > th ? n : 0);
                            }
                    }
                    for (int y = 0; y < H; ++y)
                        for (int x = 0; x < W; ++x)
                            ASSERT_EQ(kit::get(d, x, y, c), e[size_t(y * W + x)])
                                << "type " << type << " level " << level << " tiles " << tiling << " at " << x
                                << "," << y << " c " << c;
                }
            }
}

TEST(Dither, BayerPinnedOnRamp) {
    Image s(16, 1, 4, 4), d(8, 1, 4, 4);
    name(s, "GRAY", "G"), name(d, "GRAY", "G");
    for (int i = 0; i < 16; ++i) kit::set(s, i % 4, i / 4, 0, (16 * i) << 8);
    zolReduceBits(s, d, 0, ZOL_DITHER_BAYER, 1);
    const int expect[16] = {0, 0, 127, 0, 127, 127, 127, 127, 128, 128, 255, 128, 128, 255, 255, 255};
    for (int i = 0; i < 16; ++i) EXPECT_EQ(kit::get(d, i % 4, i / 4, 0), expect[i]) << i;
}

TEST(Gray, FailuresInOrder) {
    Image rgb(8, 3, 4, 4), gray(8, 1, 4, 4), g16(16, 1, 4, 4), rgb16(16, 3, 4, 4), s8(ZOL_DEPTH_8S, 3, 4, 4),
        gray3(8, 3, 4, 4), one(16, 1, 4, 4), bit(1, 1, 4, 4), roi(16, 1, 4, 4), test(16, 3, 4, 4);
    name(rgb, "RGB", "RGB"), name(gray, "GRAY", "G"), name(g16, "Gray", "G"), name(rgb16, "RGB", "BGR");
    name(s8, "RGB", "RGB"), name(gray3, "GRAY", "GGG"), name(one, "GRAY", "G"), name(bit, "GRAY", "G");
    name(roi, "GRAY", "G");
    roi.setRoi(0, 0, 0, 4, 4);
    using F = std::function<void()>;
    struct Row { F f; const char* func; const char* context; };
    const Row rows[] = {
        {[&] { zolColorToGray(gray, gray); }, "zolColorToGray", "colorModel must be RGB instead of GRAY "},
        {[&] { zolColorToGray(rgb, rgb); }, "zolColorToGray", "colorModel must be GRAY instead of RGB "},
        {[&] { zolColorToGray(rgb, gray3); }, "zolColorToGray",
         "(dst-> dataOrder == ZOL_DATA_ORDER_PIXEL) && (dst-> nChannels != 1)"},
        {[&] { zolColorToGray(s8, gray); }, "ownColorToGray",
         "Error in-out depth. 32S,16U,8U=> 16U,8U,1U are valid now"},
        {[&] { zolGrayToColor(gray, gray, 0, 0, 0); }, "zolGrayToColor", "colorModel must be RGB instead of GRAY "},
        {[&] { zolGrayToColor(rgb, rgb, 0, 0, 0); }, "zolGrayToColor", "colorModel must be GRAY instead of RGB "},
        {[&] { zolGrayToColor(g16, rgb, 0, 0, 0); }, "zolGrayToColor", "src-> depth != dst-> depth && src-> depth != 1U"},
        {[&] { zolGrayToColor(bit, rgb16, 0, 0, 0); }, "zolGrayToColor", "src-> depth == dst-> depth && dst-> depth != 8U"},
        {[&] { zolReduceBits(nullptr, nullptr, 9, 1, 0); }, "zolReduceBits", "(jitterType<0)||( jitterType >= 9)"},
        {[&] { zolReduceBits(roi, gray, 0, 1, 0); }, "zolReduceBits", "src & dst roi must be NULL"},
        {[&] { zolReduceBits(test, gray, 0, 1, 0); }, "zolReduceBits",
         "(src->nChannels != dst->nChannels)||(src->dataOrder != dst->dataOrder)||(src->origin != dst->origin)"},
        {[&] { zolReduceBits(test, rgb, 0, 2, 0); }, "zolReduceBits",
         "colorModel, (channelSeq)  must be RGB,(RGB,BGR) or GRAY,(G) when dithering mode is set on"},
        {[&] { zolReduceBits(gray, gray, 0, 1, 0); }, "ownReduceBits", "Error out depth. 8U to 1U conversion is valid now"},
        {[&] { zolReduceBits(one, g16, 1, 1, 0); }, "ownjitter_rect", "Error out depth. 16U to 8U,1U conversion is valid now"},
        {[&] { zolReduceBits(one, bit, 0, 2, 0); }, "own_dither_rect", "errDepthForDithering"},
        {[&] { zolReduceBits(one, gray, 0, 3, 0); }, "own_dither_rect", "errDitherOption"},
    };
    for (const Row& r : rows) {
        kit::Recorder rec;
        r.f();
        ASSERT_EQ(rec.reports().size(), 1u) << r.context;
        EXPECT_EQ(rec.reports()[0].func, r.func);
        EXPECT_EQ(rec.reports()[0].context, r.context);
        EXPECT_EQ(rec.reports()[0].status, -5);
    }
}

}  // namespace
