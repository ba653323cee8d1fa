// Scaled multiplication and alpha compositing against models written from
// their formulas with true division (one model per route), over data
// orders, regions, masks, alpha sources, in-place use and tiled images with
// different grids served through the tile group; the order of the checks.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <random>

#include "kit.h"
#include "tiles.h"

namespace {

using kit::Image;
constexpr int PX = ZOL_DATA_ORDER_PIXEL, PL = ZOL_DATA_ORDER_PLANE;
enum Route { Floating, Integer, Packed };

uint32_t topOf(int depth) { return depth == ZOL_DEPTH_8U ? 255 : 65535; }

// Colour and alpha of one pixel by the formulas of a route.
std::pair<uint32_t, uint32_t> model(Route r, int op, bool premul, uint32_t M, uint32_t A,
                                    uint32_t B, uint32_t a, uint32_t b) {
    auto d = [M](uint64_t x) { return uint32_t(x / M); };
    auto cap = [M](int64_t v) { return uint32_t(std::min<int64_t>(v, M)); };
    if (r == Floating) {
        const double s = M == 255 ? double(1.0f / 255.0f) : 1.0 / 65535.0;
        const double thr = M == 255 ? double(7.689351150474977e-06f) : 1.1641887462193043e-10;
        const double a1 = a * s, b1 = b * s, Ap = premul ? A : a1 * A, Bp = premul ? B : b1 * B;
        const double C[] = {Ap + Bp * (1 - a1), Ap * b1, Ap * (1 - b1), Ap * b1 + Bp * (1 - a1),
                            Ap * (1 - b1) + Bp * (1 - a1), Ap + Bp};
        const double Ca[] = {a1 + (1 - a1) * b1, a1 * b1, a1 * (1 - b1), b1,
                             (1 - b1) * a1 + (1 - a1) * b1, a1 + b1};
        double c = C[op];
        if (Ca[op] > thr) c = std::min(c / Ca[op], double(M));
        auto rnd = [&](double v) { return cap(int64_t(float(v + 8388608.0)) - 8388608); };
        return {rnd(c), rnd(Ca[op] * M)};
    }
    const int64_t Ap = premul ? A : d(uint64_t(A) * a), Bp = premul ? B : d(uint64_t(B) * b);
    if (r == Integer) {
        const int64_t C[] = {Ap + Bp - d(Bp * a), d(Ap * b), Ap - d(Ap * b),
                             d(Ap * b) + Bp - d(Bp * a), Ap - d(Ap * b) + Bp - d(Bp * a), Ap + Bp};
        const int64_t Ca[] = {a + b - d(uint64_t(a) * b),     d(uint64_t(a) * b),
                              a - d(uint64_t(a) * b),         b,
                              a + b - 2 * d(uint64_t(a) * b), a + b};
        return {cap(C[op]), cap(Ca[op])};
    }
    const int64_t C[] = {Ap + d((M - a) * Bp), d(b * Ap), d((M - b) * Ap),
                         d(b * Ap) + d((M - a) * Bp), d((M - b) * Ap) + d((M - a) * Bp), Ap + Bp};
    const int64_t Ca[] = {a + d(uint64_t(M - a) * b), d(uint64_t(a) * b), d(uint64_t(M - b) * a), b,
                          d(uint64_t(M - b) * a) + d(uint64_t(M - a) * b), a + b};
    return {cap(C[op]), cap(Ca[op])};
}

struct Rect { int x, y, w, h; };
Rect regionOf(const ZolImage* im) {
    const ZolROI* r = im->roi;
    if (!r) return {0, 0, im->width, im->height};
    return {r->xOffset, r->yOffset, std::min(r->width, im->width - r->xOffset),
            std::min(r->height, im->height - r->yOffset)};
}

// An image of a case, plain or served in tiles (the plain one holds the pixels).
struct Side {
    Image img;
    std::unique_ptr<kit::TileServer> tiles;
    ZolImage* arg() const { return tiles ? tiles->image() : img.get(); }
    void serve(int tw, int th) {
        tiles = std::make_unique<kit::TileServer>(img, tw, th);
        tiles->allowSeveral(true);
        if (const ZolROI* r = img->roi)
            tiles->image()->roi = zolCreateROI(r->coi, r->xOffset, r->yOffset, r->width, r->height);
    }
    void setMask(ZolImage* m) { img->maskROI = m, arg()->maskROI = m; }
    // Every request released, nothing held, no breach of the contract.
    void expectClean(int refused = 0) const {
        if (!tiles) return;
        EXPECT_TRUE(tiles->breaches().empty()) << tiles->breaches()[0];
        EXPECT_FALSE(tiles->held());
        int open = 0;
        for (const auto& r : tiles->log()) open += r.mode == ZOL_TILE_RELEASE ? -1 : 1;
        EXPECT_EQ(open, refused);
    }
};

// One compositing call on random images, checked byte for byte (padding
// and everything outside the region included) against the model.
struct Case {
    int depth = ZOL_DEPTH_8U, op = 0, premul = 0, divide = 0;
    int orderA = PX, orderB = PX, orderD = PX, colours = 3, w = 37, h = 5;
    bool inPlace = false;      // srcImageB is dstImage
    bool alphaImage = false;   // a from an image apart (so b = M - a)
    bool alphaB = true;        // srcImageB has an alpha channel
    bool alphaDst = false;     // the resulting alpha goes to an image apart
    bool rois = true, masks = false, tiles = false;
    int aA = -2, aB = -2;      // zolAlphaCompositeC constants when not -2
    uint32_t seed = 1;
    std::function<void(ZolImage* a, ZolImage* alpha)> fill;  // overrides srcImageA's pixels
    int failAt = 0;            // the n-th tile request of failSide is refused
    int failSide = 2;          // 2 dstImage, 4 the alpha destination
    int heapFailAt = 0;        // the n-th heap request fails

    Route route() const {
        if (divide) return Floating;
        const bool plane = orderA == PL && orderD == PL && (inPlace || orderB == PL);
        return plane && !masks && aA == -2 ? Packed : Integer;
    }
};

void runCase(const Case& c) {
    SCOPED_TRACE("op " + std::to_string(c.op) + " premul " + std::to_string(c.premul) +
                 " divide " + std::to_string(c.divide) + " seed " + std::to_string(c.seed));
    std::mt19937 g(c.seed);
    const uint32_t M = topOf(c.depth);
    Side A, B, D, AA, AD;
    A.img = Image(c.depth, c.colours + 1, c.w, c.h, c.orderA, 4, true);
    D.img = Image(c.depth, c.colours + 1, c.w + 1, c.h + 2, c.orderD, 8, true);
    if (!c.inPlace)
        B.img = Image(c.depth, c.colours + c.alphaB, c.w + 3, c.h + 1, c.orderB, 4, c.alphaB);
    if (c.alphaImage) AA.img = Image(c.depth, 1, c.w + 2, c.h, c.orderA, 4, false);
    if (c.alphaDst) AD.img = Image(c.depth, 2, c.w + 4, c.h + 3, c.orderD, 4, true);
    Side* sides[] = {&A, &B, &D, &AA, &AD};  // failSide indexes these
    for (Side* s : sides)
        if (s->img.get()) s->img.randomize(g());
    if (c.fill) c.fill(A.img, AA.img);
    if (c.rois) {
        A.img.setRoi(0, 1, 0, c.w - 1, c.h);
        D.img.setRoi(0, 0, 2, c.w + 1, c.h);
        if (B.img.get()) B.img.setRoi(0, 3, 1, c.w, c.h);
        if (AD.img.get()) AD.img.setRoi(0, 3, 1, c.w + 1, c.h + 2);
    }
    Image masks[3];
    if (c.masks) {  // three masks of different sizes, each placed by its own region
        for (int i = 0; i < 3; ++i) {
            masks[i] = Image(ZOL_DEPTH_1U, 1, c.w + 9, c.h + 3);
            masks[i].randomize(g());
            masks[i].setRoi(0, 2 * i + 1, i, c.w + 2 - i, c.h + 2);
        }
    }
    if (c.tiles) {  // three grids, none of them the window's
        A.serve(24, 16);
        D.serve(16, 8);
        if (B.img.get()) B.serve(8, 24);
        if (AA.img.get()) AA.serve(8, 8);
        if (AD.img.get()) AD.serve(8, 8);  // windows cross its tiles: a written block
        sides[c.failSide]->tiles->failAt(c.failAt);
    }
    if (c.masks) {
        D.setMask(masks[0]);
        A.setMask(masks[1]);
        (c.inPlace ? D : B).setMask(masks[2]);
    }
    Side& srcB = c.inPlace ? D : B;

    // The expected destination, from the pixels before the call.
    ZolImage* exp = zolCloneImage(D.img);
    ZolImage* expA = c.alphaDst ? zolCloneImage(AD.img) : exp;
    auto del = [](ZolImage* p) {
        zolDeallocate(p, ZOL_FREE_HEADER | ZOL_FREE_DATA | ZOL_FREE_ROI);
    };
    std::unique_ptr<ZolImage, void (*)(ZolImage*)> hold(exp, del),
        holdA(c.alphaDst ? expA : nullptr, del);
    const ZolImage* imgs[] = {A.img, srcB.img, D.img, AA.img, masks[0], masks[1], masks[2], AD.img};
    Rect r[8];
    int w = 1 << 30, h = 1 << 30;
    for (int i = 0; i < 8; ++i)
        if (imgs[i]) r[i] = regionOf(imgs[i]), w = std::min(w, r[i].w), h = std::min(h, r[i].h);
    const bool constC = c.aA != -2;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            bool on = true;
            for (int i = 4; i < 7; ++i)
                if (imgs[i]) on = on && kit::get(imgs[i], r[i].x + x, r[i].y + y, 0);
            if (!on) continue;
            auto at = [&](int i, int ch) {
                return uint32_t(kit::get(imgs[i], r[i].x + x, r[i].y + y, ch));
            };
            uint32_t a = c.alphaImage ? at(3, 0) : at(0, c.colours);
            uint32_t b = c.alphaB && !c.alphaImage ? at(1, c.colours) : M - a;
            if (constC && c.aA >= 0) a = std::min<uint32_t>(c.aA, M);
            if (constC && c.aB >= 0) b = std::min<uint32_t>(c.aB, M);
            for (int k = 0; k < c.colours; ++k) {
                const auto v = model(c.route(), c.op, c.premul, M, at(0, k), at(1, k), a, b);
                kit::set(exp, r[2].x + x, r[2].y + y, k, v.first);
                if (!constC)
                    kit::set(expA, r[c.alphaDst ? 7 : 2].x + x, r[c.alphaDst ? 7 : 2].y + y,
                             c.alphaDst ? 1 : c.colours, v.second);
            }
        }
    kit::Recorder rec;
    std::unique_ptr<kit::HeapFailure> heap;
    if (c.heapFailAt) heap = std::make_unique<kit::HeapFailure>(c.heapFailAt);
    if (constC)
        zolAlphaCompositeC(A.arg(), srcB.arg(), D.arg(), c.op, c.aA, c.aB, c.premul, c.divide);
    else
        zolAlphaComposite(A.arg(), srcB.arg(), D.arg(), c.op, c.alphaImage ? AA.arg() : nullptr,
                          nullptr, c.alphaDst ? AD.arg() : nullptr, c.premul, c.divide);
    heap.reset();
    for (Side* s : sides) s->expectClean(s == sides[c.failSide] && c.failAt ? 1 : 0);
    if (c.failAt || c.heapFailAt) {
        EXPECT_TRUE(c.failAt ? rec.only(-2, "zolAlphaComposite", "ERROR in Tiling callBack")
                             : rec.only(-4, "zolAlphaComposite", "No working memory"));
        return;
    }
    EXPECT_TRUE(rec.none());
    EXPECT_EQ(D.img.bytes(), std::vector<uint8_t>(exp->imageData, exp->imageData + exp->imageSize));
    if (c.alphaDst) {
        EXPECT_EQ(AD.img.bytes(),
                  std::vector<uint8_t>(expA->imageData, expA->imageData + expA->imageSize));
    }
}

// Every operator, premultiplied or not, on each route, at both depths.
TEST(Composite, EveryOperatorOnEveryRoute) {
    uint32_t seed = 1;
    for (int depth : {ZOL_DEPTH_8U, ZOL_DEPTH_16U})
        for (int op = 0; op < 6; ++op)
            for (int premul = 0; premul < 2; ++premul)
                for (int route = 0; route < 3; ++route) {
                    Case c;
                    c.depth = depth, c.op = op, c.premul = premul, c.seed = seed++;
                    c.divide = route == Floating;
                    if (route == Packed) c.orderA = c.orderB = c.orderD = PL;
                    runCase(c);
                }
}

// All 8-bit colour and alpha pairs, one operator per route.
TEST(Composite, Exhaustive8BitPairs) {
    const auto pairs = [](ZolImage* a, ZolImage*) {
        for (int y = 0; y < 256; ++y)
            for (int x = 0; x < 256; ++x) kit::set(a, x, y, 0, x), kit::set(a, x, y, 1, y);
    };
    const int cases[3][4] = {{Floating, ZOL_COMPOSITE_ATOP, 1, PX},
                             {Integer, ZOL_COMPOSITE_OVER, 0, PX},
                             {Packed, ZOL_COMPOSITE_XOR, 0, PL}};
    for (const auto& k : cases) {
        Case c;
        c.colours = 1, c.w = c.h = 256, c.rois = false, c.fill = pairs;
        c.divide = k[0] == Floating, c.op = k[1], c.premul = k[2];
        c.orderA = c.orderB = c.orderD = k[3];
        runCase(c);
    }
}

// The same pixels in pixel and plane order take the integer and the packed
// routes; alpha images apart, srcImageB without alpha, in place, masks.
TEST(Composite, RoutesSourcesAndShapes) {
    uint32_t seed = 100;
    for (int op = 0; op < 6; ++op)
        for (int variant = 0; variant < 6; ++variant) {
            Case c;
            c.op = op, c.seed = seed++, c.depth = variant & 1 ? ZOL_DEPTH_16U : ZOL_DEPTH_8U;
            c.orderA = c.orderB = c.orderD = PL;
            if (variant == 0) c.orderB = PX;                    // one image in pixel order
            if (variant == 1) c.alphaImage = true;              // b = M - a though srcB has alpha
            if (variant == 2) c.alphaB = false;                 // b = M - a
            if (variant == 3) c.inPlace = true;                 // alpha read before written
            if (variant == 4) c.masks = true, c.orderA = PX;    // three masks combined
            if (variant == 5) c.inPlace = true, c.orderD = PX;  // integer route in place
            runCase(c);
        }
}

TEST(Composite, TiledImagesWithDifferentGrids) {
    uint32_t seed = 200;
    for (int op : {ZOL_COMPOSITE_OVER, ZOL_COMPOSITE_XOR})
        for (int variant = 0; variant < 4; ++variant) {
            Case c;
            c.op = op, c.seed = seed++, c.tiles = true, c.w = 61, c.h = 29;
            c.orderA = c.orderB = c.orderD = variant & 1 ? PL : PX;
            c.inPlace = variant == 2;
            c.alphaImage = c.alphaDst = variant == 3;
            c.masks = variant == 1;
            runCase(c);
        }
    // A tile refused mid-walk, also inside a window that takes several
    // tiles: what is held is released, -2 is reported; no memory: -4.
    for (int n : {1, 3, 7, 0}) {
        Case c;
        c.tiles = c.alphaDst = true, c.w = 61, c.h = 29, c.failAt = n, c.failSide = 4;
        if (n == 1) c.failSide = 2;
        if (n == 0) c.heapFailAt = 1;
        runCase(c);
    }
}

// Constants are capped, alpha is never written, there is no packed route.
TEST(Composite, ConstantAlphas) {
    uint32_t seed = 300;
    for (int op = 0; op < 6; ++op) {
        Case c;
        c.op = op, c.seed = seed++, c.orderA = c.orderB = c.orderD = op & 2 ? PX : PL;
        c.aA = op & 1 ? -1 : 300, c.aB = op < 3 ? 77 : -1, c.tiles = op == 4;
        runCase(c);
    }
}

// Scaled multiplication: every 8-bit pair, then random 16-bit images with
// mixed orders, coi, masks and tiles against floor(a * b / M).
TEST(MultiplyScale, Exhaustive8BitPairs) {
    Image a(ZOL_DEPTH_8U, 1, 256, 256), b(ZOL_DEPTH_8U, 1, 256, 256, PL),
        d(ZOL_DEPTH_8U, 1, 256, 256);
    for (int y = 0; y < 256; ++y)
        for (int x = 0; x < 256; ++x) kit::set(a, x, y, 0, x), kit::set(b, x, y, 0, y);
    kit::Recorder rec;
    zolMultiplyScale(a, b, d);
    zolMultiplySScale(b, b, 300);  // 300 is 255: unchanged
    for (int y = 0; y < 256; ++y)
        for (int x = 0; x < 256; ++x) {
            ASSERT_EQ(kit::get(d, x, y, 0), x * y / 255) << x << " " << y;
            ASSERT_EQ(kit::get(b, x, y, 0), y);
        }
    EXPECT_TRUE(rec.none());
}

TEST(MultiplyScale, RegionsMasksCoiAndTiles) {
    for (uint32_t seed = 0; seed < 48; ++seed) {
        std::mt19937 g(seed);
        const int depth = seed & 1 ? ZOL_DEPTH_16U : ZOL_DEPTH_8U, M = int(topOf(depth));
        const bool coi = seed % 6 == 2, constant = seed % 4 == 3, masks = seed % 3 == 1;
        Side A, B, D;
        A.img = Image(depth, 4, 41, 9, seed & 2 ? PL : PX, 4, true);   // RGBA
        B.img = Image(depth, 3, 43, 8, seed & 4 ? PL : PX, 8, false);
        D.img = Image(depth, 4, 40, 10, seed & 8 ? PL : PX, 4, true);
        for (Side* s : {&A, &B, &D}) s->img.randomize(g());
        A.img.setRoi(coi ? 2 : 0, 3, 1, 37, 8);
        B.img.setRoi(coi ? 3 : 0, 1, 0, 40, 8);
        D.img.setRoi(coi ? 1 : 0, 2, 2, 39, 9);
        Image m[2];
        for (auto& k : m)
            k = Image(ZOL_DEPTH_1U, 1, 45, 11), k.randomize(g()), k.setRoi(0, 3, 1, 40, 9);
        if (seed % 5 < 3) A.serve(16, 8), D.serve(8, 16), B.serve(24, 24);
        if (masks) D.setMask(m[0]), A.setMask(m[1]);
        const int value = int(g() % (M + 40)) - 20;
        ZolImage* exp = zolCloneImage(D.img);
        const Rect ra = regionOf(A.img), rb = regionOf(B.img), rd = regionOf(D.img);
        for (int y = 0; y < 8; ++y)
            for (int x = 0; x < 37; ++x) {
                if (masks && !(kit::get(m[0], 3 + x, 1 + y, 0) && kit::get(m[1], 3 + x, 1 + y, 0)))
                    continue;
                for (int k = 0; k < (coi ? 1 : 3); ++k) {
                    const int64_t f = constant ? std::clamp(value, 0, M)
                                               : kit::get(B.img, rb.x + x, rb.y + y, coi ? 2 : k);
                    kit::set(exp, rd.x + x, rd.y + y, coi ? 0 : k,
                             kit::get(A.img, ra.x + x, ra.y + y, coi ? 1 : k) * f / M);
                }
            }
        kit::Recorder rec;
        if (constant) zolMultiplySScale(A.arg(), D.arg(), value);
        else zolMultiplyScale(A.arg(), B.arg(), D.arg());
        EXPECT_TRUE(rec.none()) << seed;
        for (Side* s : {&A, &B, &D}) s->expectClean();
        EXPECT_EQ(D.img.bytes(),
                  std::vector<uint8_t>(exp->imageData, exp->imageData + exp->imageSize))
            << "seed " << seed;
        zolDeallocate(exp, ZOL_FREE_HEADER | ZOL_FREE_DATA | ZOL_FREE_ROI);
    }
}

TEST(PreMultiplyAlpha, PixelAlphaConstantCoiMaskTiles) {
    for (uint32_t seed = 0; seed < 16; ++seed) {
        const int depth = seed & 1 ? ZOL_DEPTH_16U : ZOL_DEPTH_8U, M = int(topOf(depth));
        Side s;
        s.img = Image(depth, 4, 30, 20, seed & 2 ? PL : PX, 4, true);
        s.img.randomize(seed);
        s.img.setRoi(seed % 3 == 0 ? 2 : 0, 1, 2, 27, 17);
        Image m(ZOL_DEPTH_1U, 1, 28, 18);
        m.randomize(seed + 7);
        if (seed & 4) s.serve(16, 8);
        if (seed & 8) s.setMask(m);
        const int value = seed % 5 == 1 ? 300 : seed % 5 == 2 ? 99 : -1;
        ZolImage* exp = zolCloneImage(s.img);
        for (int y = 0; y < 17; ++y)
            for (int x = 0; x < 27; ++x) {
                if ((seed & 8) && !kit::get(m, x, y, 0)) continue;
                const int64_t p = value < 0 ? kit::get(s.img, x + 1, y + 2, 3) : std::min(value, M);
                for (int k = 0; k < 3; ++k)
                    if (seed % 3 != 0 || k == 1)
                        kit::set(exp, x + 1, y + 2, k, kit::get(s.img, x + 1, y + 2, k) * p / M);
                if (value >= 0) kit::set(exp, x + 1, y + 2, 3, p);
            }
        kit::Recorder rec;
        zolPreMultiplyAlpha(s.arg(), value);
        EXPECT_TRUE(rec.none());
        s.expectClean();
        EXPECT_EQ(s.img.bytes(),
                  std::vector<uint8_t>(exp->imageData, exp->imageData + exp->imageSize))
            << "seed " << seed;
        zolDeallocate(exp, ZOL_FREE_HEADER | ZOL_FREE_DATA | ZOL_FREE_ROI);
    }
}

// The checks in their order: each row is a call and the one report it gives
// (status 1: a silent end that keeps the earlier status); nothing is written.
TEST(AlphaFamily, ChecksInOrder) {
    const int U8 = ZOL_DEPTH_8U;
    Image rgba(U8, 4, 8, 8, PX, 4, true), rgb(U8, 3, 8, 8), one(U8, 1, 8, 8, PX, 4, true),
        s8(ZOL_DEPTH_8S, 4, 8, 8, PX, 4, true), u16(ZOL_DEPTH_16U, 4, 8, 8, PX, 4, true),
        coi(U8, 4, 8, 8, PX, 4, true), gray(U8, 2, 8, 8), m1(ZOL_DEPTH_1U, 1, 8, 8),
        m2(ZOL_DEPTH_1U, 1, 8, 8), masked(U8, 4, 8, 8, PX, 4, true);
    coi.setRoi(2, 0, 0, 8, 8);
    masked->maskROI = m1;
    rgba->maskROI = m2;
    const std::string ac = "zolAlphaComposite", mul = "zolMultiplyScale";
    const std::string chA = "(srcImageA->nChannels - (srcImageA->alphaChannel != 0)) != "
                            "(dstImage->nChannels - (dstImage->alphaChannel != 0))";
    struct Row { std::function<void()> call; int status; std::string func, context; };
    const Row rows[] = {
        {[&] { zolAlphaComposite(nullptr, nullptr, nullptr, 9, 0, 0, 0, 9, 9); }, -5, ac,
         "dstImage==0"},
        {[&] { zolAlphaComposite(nullptr, rgba, rgba, 0, 0, 0, 0, 0, 0); }, -5, ac, "srcImageA==0"},
        {[&] { zolAlphaComposite(rgba, one, s8, 9, 0, 0, 0, 0, 0); }, 1, ac, ""},
        {[&] { zolAlphaComposite(rgba, rgba, s8, 9, 0, 0, 0, 0, 0); }, -5, ac,
         "dstImage->depth != 8 && dstImage->depth != 16"},
        {[&] { zolAlphaComposite(u16, rgba, rgba, 0, 0, 0, 0, 0, 0); }, -5, ac,
         "srcImageA->depth != dstImage->depth"},
        {[&] { zolAlphaComposite(coi, rgba, rgba, 0, 0, 0, 0, 0, 0); }, -5, ac,
         "srcImageA->roi->coi > 0 && dstImage->roi == 0"},
        {[&] { zolAlphaComposite(gray, rgba, rgba, 9, 0, 0, 0, 0, 0); }, -5, ac, chA},
        {[&] { zolAlphaComposite(rgb, rgb, rgb, 9, 0, 0, 0, 0, 0); }, -5, ac,
         "srcImageA->alphaChannel < 1"},
        {[&] { zolAlphaComposite(rgba, rgba, rgba, 0, 0, 0, rgb, 9, 0); }, -5, ac,
         "alphaImageDst->alphaChannel < 1"},
        {[&] { zolAlphaComposite(rgba, rgba, rgba, 6, 0, 0, 0, 0, 0); }, -5, ac,
         "compositeType != 0 && compositeType != 1 && compositeType != 2 && compositeType != 3 && "
         "compositeType != 4 && compositeType != 5"},
        {[&] { zolAlphaComposite(rgba, rgba, rgba, 0, 0, 0, 0, 2, 0); }, -5, ac,
         "premulAlpha != 0 && premulAlpha != 1"},
        {[&] { zolAlphaComposite(rgba, rgba, rgba, 0, 0, 0, 0, 0, -1); }, -5, ac,
         "divideMode != 0 && divideMode != 1"},
        {[&] {
             zolSetErrStatus(-7);
             zolAlphaComposite(rgba, masked, masked, 0, 0, 0, 0, 0, 0);
         },
         -1, ac, "Bad masks for images"},
        {[&] { zolAlphaCompositeC(rgb, rgb, rgb, 0, -1, 5, 0, 0); }, -5, "zolAlphaCompositeC",
         "srcImageA->alphaChannel < 1"},
        {[&] { zolPreMultiplyAlpha(rgb, -1); }, -5, "zolPreMultiplyAlpha",
         "image->alphaChannel < 1"},
        {[&] { zolMultiplyScale(rgba, rgba, nullptr); }, -5, mul, "dstImage==0"},
        {[&] { zolMultiplyScale(rgba, one, rgba); }, 1, mul, ""},
        {[&] { zolMultiplySScale(rgba, s8, 1); }, -5, "zolMultiplySScale",
         "dstImage->depth != 8 && dstImage->depth != 16"},
        {[&] { zolMultiplySScale(coi, rgba, 1); }, -5, "zolMultiplySScale",
         "srcImage->roi->coi > 0 && dstImage->roi == 0"},
        {[&] { zolMultiplyScale(gray, rgba, rgba); }, -5, mul, chA},
    };
    for (const Row& r : rows) {
        rgba.randomize(5), rgb.randomize(6);
        const auto before = rgba.bytes(), before3 = rgb.bytes();
        kit::Recorder rec;
        zolSetErrStatus(-7);
        r.call();
        if (r.status == 1) EXPECT_TRUE(rec.none() && zolGetErrStatus() == -7) << r.context;
        else EXPECT_TRUE(rec.reports().size() == 1 && rec.reports()[0].status == r.status &&
                         rec.reports()[0].func == r.func && rec.reports()[0].context == r.context)
            << r.context;
        EXPECT_EQ(rgba.bytes(), before) << r.context;
        EXPECT_EQ(rgb.bytes(), before3) << r.context;
    }
}

}  // namespace
