// Copy, set and exchange against a per-pixel model over random regions,
// channel sets, masks, 1-bit offsets and tiles; the order of the checks;
// tiles and memory that fail.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <sstream>

#include "kit.h"
#include "tiles.h"

namespace {

using kit::Image;
using Bytes = std::vector<uint8_t>;

struct Rect {
    int x, y, w, h;
};
Rect regionOf(const ZolImage* im) {
    if (!im->roi) return {0, 0, im->width, im->height};
    const ZolROI* r = im->roi;
    return {r->xOffset, r->yOffset, std::max(0, std::min(r->width, im->width - r->xOffset)),
            std::max(0, std::min(r->height, im->height - r->yOffset))};
}
// Size of the channel set and its first channel.
int channelSet(const ZolImage* im, int& first) {
    const int coi = im->roi ? im->roi->coi : 0;
    first = coi ? coi - 1 : 0;
    if (coi) return im->alphaChannel && coi == im->nChannels ? 0 : 1;
    return im->nChannels - (im->alphaChannel ? 1 : 0);
}

// An image of a case, plain or served in tiles; its ROI and mask hang on
// both headers, so the plain one is the model's view of the tiled one.
struct Side {
    Image img;
    std::unique_ptr<kit::TileServer> tiles;
    ZolImage* arg() const { return tiles ? tiles->image() : img.get(); }
    void setMask(ZolImage* m) {
        img->maskROI = m;
        if (tiles) tiles->image()->maskROI = m;
    }
};

struct Case {
    Side s, d;
    Image masks[2];
    std::string text;
};

int pick(std::mt19937& g, int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(g); }

void build(Side& side, std::mt19937& g, int depth, int order, int nCh, bool alpha, int coi,
           std::ostream& text) {
    const int w = pick(g, 1, 70), h = pick(g, 1, 12);
    side.img = Image(depth, nCh, w, h, order, pick(g, 0, 1) ? 4 : 8, alpha);
    side.img.randomize(g());
    text << kit::depthName(depth) << " " << w << "x" << h << " ch" << nCh << (alpha ? "a" : "")
         << (order ? " plane" : " pixel") << " coi" << coi;
    if (pick(g, 0, 2)) {  // mostly inside, at times past the edges
        const int x = pick(g, 0, 9) ? pick(g, 0, w - 1) : w, y = pick(g, 0, h - 1);
        side.img.setRoi(coi, x, y, pick(g, 1, w + 3), pick(g, 1, h + 2));
        text << " roi" << x << "," << y << "," << side.img->roi->width << ","
             << side.img->roi->height;
    } else if (coi) {
        side.img.setRoi(coi, 0, 0, w, h);
    }
    if (!pick(g, 0, 3)) {
        side.tiles =
            std::make_unique<kit::TileServer>(side.img, 8 * pick(g, 1, 4), 8 * pick(g, 1, 4));
        if (const ZolROI* r = side.img->roi)
            side.tiles->image()->roi =
                zolCreateROI(r->coi, r->xOffset, r->yOffset, r->width, r->height);
        text << " tiled";
    }
    text << "; ";
}

Image randomMask(std::mt19937& g, std::ostream& text) {
    Image m(ZOL_DEPTH_1U, 1, pick(g, 1, 80), pick(g, 1, 14));
    m.randomize(g());
    if (pick(g, 0, 1))  // mostly set: whole mask bytes come in runs
        for (int i = 0; i < m->imageSize; ++i) m->imageData[i] |= char(g() | g());
    if (pick(g, 0, 1)) m.setRoi(0, pick(g, 0, 7), pick(g, 0, 2), pick(g, 1, 80), pick(g, 1, 14));
    text << "mask" << (m->roi ? " roi " : " ") << (m->roi ? m->roi->xOffset : 0) << "; ";
    return m;
}

// A random pair: one depth, one order (unless that is free), channel sets
// mostly of equal size, masks on either, both or neither image.
Case pairCase(uint32_t seed) {
    Case c;
    std::mt19937 g(seed);
    std::ostringstream text;
    text << "seed " << seed << ": ";
    const int depth = kit::allDepths()[size_t(pick(g, 0, 6))];
    const bool bit = depth == ZOL_DEPTH_1U;
    int nd = bit ? 1 : pick(g, 1, 4), ns = bit ? 1 : pick(g, 1, 4);
    const bool ad = !pick(g, 0, 3);
    bool as = !pick(g, 0, 3);
    const int cd = pick(g, 0, 2) ? 0 : pick(g, 1, nd);
    int cs = pick(g, 0, 2) ? 0 : pick(g, 1, ns);
    const int setD = cd ? 1 : nd - ad;
    if (pick(g, 0, 4) && setD > 0 && (cs ? 1 : ns - as) != setD) {
        if (setD == 1)
            cs = 1, as = as && ns > 1;
        else
            ns = setD + as, cs = 0;
    }
    const int od = pick(g, 0, 1), os = bit || (nd == 1 && ns == 1) ? pick(g, 0, 1) : od;
    build(c.s, g, depth, os, ns, as, cs, text);
    build(c.d, g, depth, od, nd, ad, cd, text);
    const int masks = pick(g, 0, 7);  // 0-1 source, 2-3 destination, 4 both, 5 shared
    if (masks <= 5) c.masks[0] = randomMask(g, text);
    if (masks == 4) c.masks[1] = randomMask(g, text);
    if (masks <= 1 || masks >= 4) c.s.setMask(c.masks[0]);
    if (masks >= 2 && masks <= 5) c.d.setMask(masks == 4 ? c.masks[1] : c.masks[0]);
    c.text = text.str();
    return c;
}

// The model: calls f(si, sj, sc, di, dj, dc) for every element pair the
// operation moves. False when nothing is to happen; coiFault is set when
// the channel sets differ.
template <class F>
bool forPairs(const ZolImage* s, const ZolImage* d, bool& coiFault, F f) {
    coiFault = false;
    std::vector<const ZolImage*> masks;
    for (const ZolImage* m : {s->maskROI, d->maskROI})
        if (m && (masks.empty() || masks[0] != m)) masks.push_back(m);
    const Rect rs = regionOf(s), rd = regionOf(d);
    int w = std::min(rs.w, rd.w), h = std::min(rs.h, rd.h), fs, fd;
    for (const ZolImage* m : masks) w = std::min(w, regionOf(m).w), h = std::min(h, regionOf(m).h);
    const int n = channelSet(s, fs), nd = channelSet(d, fd);
    if (w <= 0 || h <= 0 || n == 0 || nd == 0) return false;
    if (n != nd) return !(coiFault = true);
    for (int j = 0; j < h; ++j)
        for (int i = 0; i < w; ++i) {
            bool on = true;
            for (const ZolImage* m : masks)
                on = on && kit::get(m, regionOf(m).x + i, regionOf(m).y + j, 0);
            for (int k = 0; on && k < n; ++k)
                f(rs.x + i, rs.y + j, fs + k, rd.x + i, rd.y + j, fd + k);
        }
    return true;
}

// The plain image over other bytes.
ZolImage over(const ZolImage* im, Bytes& bytes) {
    ZolImage v = *im;
    v.imageData = reinterpret_cast<char*>(bytes.data());
    return v;
}

void expectContract(const Side& side) {
    if (!side.tiles) return;
    EXPECT_TRUE(side.tiles->breaches().empty()) << side.tiles->breaches().front();
    EXPECT_FALSE(side.tiles->held());
}

bool reported(const kit::Recorder& rec, std::vector<kit::Report> want) {
    const auto& got = rec.reports();
    if (got.size() != want.size()) return false;
    for (size_t i = 0; i < got.size(); ++i)
        if (got[i].status != want[i].status || got[i].func != want[i].func ||
            got[i].context != want[i].context)
            return false;
    return true;
}

// Each pair case against the model; exchange also checks that a second
// call restores both images.
void checkPairs(bool exchange, uint32_t first, uint32_t count) {
    const char* name = exchange ? "zolExchange" : "zolCopy";
    for (uint32_t seed = first; seed < first + count; ++seed) {
        Case c = pairCase(seed);
        SCOPED_TRACE(c.text);
        const Bytes src = c.s.img.bytes(), dst = c.d.img.bytes();
        Bytes ws = src, wd = dst, m0 = c.masks[0].get() ? c.masks[0].bytes() : Bytes();
        ZolImage sv = over(c.s.img, ws), dv = over(c.d.img, wd);
        bool coiFault;
        forPairs(c.s.img, c.d.img, coiFault, [&](int si, int sj, int sc, int di, int dj, int dc) {
            const int64_t a = kit::get(&sv, si, sj, sc), b = kit::get(&dv, di, dj, dc);
            kit::set(&dv, di, dj, dc, a);
            if (exchange) kit::set(&sv, si, sj, sc, b);
        });
        ZolImage* const sm = c.s.arg()->maskROI;
        ZolImage* const dm = c.d.arg()->maskROI;
        kit::Recorder rec;
        (exchange ? zolExchange : zolCopy)(c.s.arg(), c.d.arg());
        if (coiFault)
            EXPECT_TRUE(rec.only(ZOL_STATUS_BAD_COI, name, "srcImage COI != dstImage COI"));
        else
            EXPECT_TRUE(rec.none());
        EXPECT_EQ(ws, c.s.img.bytes());
        EXPECT_EQ(wd, c.d.img.bytes());
        EXPECT_EQ(m0, c.masks[0].get() ? c.masks[0].bytes() : Bytes());
        EXPECT_TRUE(sm == c.s.arg()->maskROI && dm == c.d.arg()->maskROI);
        if (exchange) {
            zolExchange(c.s.arg(), c.d.arg());
            EXPECT_EQ(src, c.s.img.bytes());
            EXPECT_EQ(dst, c.d.img.bytes());
        }
        expectContract(c.s);
        expectContract(c.d);
        if (::testing::Test::HasFailure()) return;
    }
}

}  // namespace

TEST(CopyModel, RandomCasesMatchModel) { checkPairs(false, 0, 700); }
TEST(ExchangeModel, RandomCasesMatchModelAndTwiceRestores) { checkPairs(true, 1000, 500); }

// Values past every range, and floats whose bits must survive (a
// signalling NaN with a payload among them).
TEST(SetModel, RandomCasesMatchModel) {
    const int64_t values[] = {0,     1,     5,      -1,      127,     128,
                              255,   300,   -129,   -200,    32767,   40000,
                              65536, 70000, -40000, INT_MIN, INT_MAX, 0x12345678};
    const uint32_t floats[] = {0x7FA00001u, 0xFFC12345u, 0x80000000u, 0x7F800000u, 0x3FC00000u};
    for (uint32_t seed = 2000; seed < 2500; ++seed) {
        std::mt19937 g(seed);
        std::ostringstream text;
        Case c;
        const int depth = kit::allDepths()[size_t(pick(g, 0, 6))];
        const int n = depth == ZOL_DEPTH_1U ? 1 : pick(g, 1, 4);
        build(c.d, g, depth, pick(g, 0, 1), n, !pick(g, 0, 3), pick(g, 0, 2) ? 0 : pick(g, 1, n),
              text);
        if (!pick(g, 0, 2)) c.masks[0] = randomMask(g, text), c.d.setMask(c.masks[0]);
        const int64_t v = values[size_t(pick(g, 0, 17))];
        const uint32_t f = floats[size_t(pick(g, 0, 4))];
        SCOPED_TRACE(text.str() + " value " + std::to_string(depth == ZOL_DEPTH_32F ? f : v));
        const auto clamp = [&](int64_t lo, int64_t hi) { return std::max(lo, std::min(hi, v)); };
        const int64_t stored = depth == ZOL_DEPTH_1U    ? clamp(0, 1)
                               : depth == ZOL_DEPTH_8U  ? clamp(0, 255)
                               : depth == ZOL_DEPTH_8S  ? clamp(-128, 127)
                               : depth == ZOL_DEPTH_16U ? clamp(0, 65535)
                               : depth == ZOL_DEPTH_16S ? clamp(-32768, 32767)
                               : depth == ZOL_DEPTH_32F ? int64_t(f)
                                                        : v;
        Bytes want = c.d.img.bytes(), m0 = c.masks[0].get() ? c.masks[0].bytes() : Bytes();
        ZolImage wv = over(c.d.img, want);
        bool unused;
        forPairs(c.d.img, c.d.img, unused,
                 [&](int, int, int, int di, int dj, int dc) { kit::set(&wv, di, dj, dc, stored); });
        kit::Recorder rec;
        if (depth == ZOL_DEPTH_32F) {
            float x;
            std::memcpy(&x, &f, 4);
            zolSetFP(c.d.arg(), x);
            EXPECT_EQ(ZOL_DEPTH_32F, c.d.arg()->depth);
        } else {
            zolSet(c.d.arg(), int(v));
        }
        EXPECT_TRUE(rec.none());
        EXPECT_EQ(want, c.d.img.bytes());
        if (c.masks[0].get()) {
            EXPECT_EQ(m0, c.masks[0].bytes());
        }
        EXPECT_EQ(c.masks[0].get(), c.d.arg()->maskROI);
        expectContract(c.d);
        if (HasFailure()) return;
    }
}

// Depth, origin and order each report and go on: the last one stands and
// nothing is written. A header fault ends the call at once; so does a
// status left by an earlier call (not in zolSet), or one image given twice.
TEST(CopyChecks, OrderOfChecksAndSilentStops) {
    Image a(ZOL_DEPTH_8U, 3, 9, 5), b(ZOL_DEPTH_16U, 3, 9, 5, ZOL_DATA_ORDER_PLANE);
    Image c(ZOL_DEPTH_8U, 3, 9, 5);
    b->origin = ZOL_ORIGIN_BL;
    a.randomize(1), b.randomize(2), c.randomize(3);
    const Bytes ba = a.bytes(), bb = b.bytes(), bc = c.bytes();
    for (auto [fn, name] : {std::pair(zolCopy, "zolCopy"), std::pair(zolExchange, "zolExchange")}) {
        kit::Recorder rec;
        fn(a, b);
        EXPECT_TRUE(reported(rec, {{-5, name, "srcImage->depth != dstImage->depth"},
                                   {-5, name, "srcImage->origin != dstImage->origin"},
                                   {-5, name, "srcImage->dataOrder != dstImage->dataOrder"}}));
        rec.clear();
        fn(a, nullptr);
        EXPECT_TRUE(rec.only(ZOL_STATUS_NULL_HEADER, name, "Incorrect Image"));
        zolSetErrStatus(ZOL_STATUS_NO_CONVERGENCE);
        fn(a, c);
        zolSetErrStatus(0);
        fn(a, a);
        EXPECT_EQ(1u, rec.reports().size());
    }
    EXPECT_TRUE(ba == a.bytes() && bb == b.bytes() && bc == c.bytes());
    zolSetErrStatus(ZOL_STATUS_NO_CONVERGENCE);
    zolSet(c, 9);
    EXPECT_EQ(9, kit::get(c, 8, 4, 2));
}

TEST(SetChecks, DepthsNullImagesAndRestoredDepth) {
    Image f(ZOL_DEPTH_32F, 1, 4, 4), u(ZOL_DEPTH_8U, 1, 4, 4);
    ZolImage bad = *f.get();
    bad.imageData = nullptr;  // refused by the inner zolSet, backtraced, depth put back
    const struct {
        std::function<void()> call;
        std::vector<kit::Report> want;
    } cases[] = {
        {[&] { zolSet(f, 1); }, {{-17, "zolSet", "You should use zolSetFP for this image"}}},
        {[&] { zolSetFP(u, 1); }, {{-17, "zolSetFP", "You should use zolSet for this image"}}},
        {[&] { zolSetFP(nullptr, 1); }, {{-5, "zolSetFP", "dstImage==0"}}},
        {[&] { zolSetFP(&bad, 1); }, {{-12, "zolSet", "Incorrect Image"}, {-1, "zolSetFP", ""}}},
    };
    for (const auto& c : cases) {
        kit::Recorder rec;
        c.call();
        EXPECT_TRUE(reported(rec, c.want)) << rec.reports().size() << " " << (&c - cases);
    }
    EXPECT_EQ(ZOL_DEPTH_32F, bad.depth);
}

namespace {
// Two 8U images of 40 x 20 (3 x 3 tiles of 16 x 8 when tiled).
struct TiledPair {
    Image a{ZOL_DEPTH_8U, 1, 40, 20}, b{ZOL_DEPTH_8U, 1, 40, 20};
    std::unique_ptr<kit::TileServer> ta, tb;
    Bytes a0, b0;
    TiledPair(bool tileA, bool tileB) {
        a.randomize(5), b.randomize(6);
        a0 = a.bytes(), b0 = b.bytes();
        if (tileA) ta = std::make_unique<kit::TileServer>(a, 16, 8);
        if (tileB) tb = std::make_unique<kit::TileServer>(b, 16, 8);
    }
    ZolImage* A() const { return ta ? ta->image() : a.get(); }
    ZolImage* B() const { return tb ? tb->image() : b.get(); }
    void expectReleased() const {
        for (auto* t : {ta.get(), tb.get()})
            if (t) {
                EXPECT_TRUE(t->breaches().empty() && !t->held());
            }
    }
};

int zeroHandlerCalls = 0;
int returnZero(int, const char*, const char*, const char*, int) { return ++zeroHandlerCalls, 0; }
}  // namespace

// A tile that does not come, at the first and at a middle request: the
// cells done stay written, later ones untouched, every tile given back.
TEST(CopyFaults, TilesThatDoNotCome) {
    enum Op { Copy, Exchange, Set };
    const struct {
        Op op;
        bool tileA, tileB, failA;
        int at;
        std::vector<kit::Report> want;
    } cases[] = {
        {Copy, false, true, false, 1, {{-2, "zolCopy", "Error get tile to write"}}},
        {Copy, false, true, false, 4, {{-2, "zolCopy", "Error get tile to write"}}},
        {Copy, true, false, true, 2, {{-2, "zolCopy", "Error get tile to read"}}},
        {Copy, true, true, true, 2, {{-1, "zolCopy", ""}}},  // the source's gather
        {Exchange, false, true, false, 1, {{-2, "zolExchange", "Error get tile to write"}}},
        {Exchange, false, true, false, 3, {{-2, "zolExchange", "Error get tile to write"}}},
        // The first image's write-back is a nested copy.
        {Exchange,
         true,
         true,
         true,
         2,
         {{-2, "zolCopy", "Error get tile to write"}, {-1, "zolExchange", ""}}},
        {Set, false, true, false, 3, {{-2, "zolSet", "Error get tile to write"}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << "case " << (&c - cases));
        TiledPair p(c.tileA, c.tileB);
        (c.failA ? p.ta : p.tb)->failAt(c.at);
        kit::Recorder rec;
        if (c.op == Copy)
            zolCopy(p.A(), p.B());
        else if (c.op == Exchange)
            zolExchange(p.A(), p.B());
        else
            zolSet(p.B(), 7);
        EXPECT_TRUE(reported(rec, c.want));
        if (!c.failA) {  // one request of b per cell, in row order
            EXPECT_EQ(c.at == 1 ? p.b0[0] : c.op == Set ? 7 : p.a0[0], p.b.bytes()[0]);
            EXPECT_EQ(p.b0.back(), p.b.bytes().back());
        }
        p.expectReleased();
    }
}

// Each allocation of the family failing in turn: the masks' product
// (header, pixels), the 1-bit copy's image of the mask (header, pixels),
// the exchange's tile buffer. -1 with an empty context, nothing written,
// masks back in place; leaks would show under the sanitizer.
TEST(CopyFaults, MemoryThatRunsOut) {
    Image m1(ZOL_DEPTH_1U, 1, 40, 20), m2(ZOL_DEPTH_1U, 1, 40, 20);
    Image s(ZOL_DEPTH_1U, 1, 30, 5), d(ZOL_DEPTH_1U, 1, 30, 5);
    m1.randomize(7), m2.randomize(8), s.randomize(1), d.randomize(2);
    d->maskROI = m1;
    for (int k = 0; k < 5; ++k) {
        TiledPair p(k == 4, k == 4);
        p.a->maskROI = m1, p.b->maskROI = m2;
        const Bytes d0 = d.bytes();
        kit::Recorder rec;
        {
            kit::HeapFailure fail(k == 4 ? 1 : k % 2 + 1);
            if (k < 2)
                zolCopy(p.A(), p.B());
            else if (k < 4)
                zolCopy(s, d);
            else
                zolExchange(p.A(), p.B());
        }
        EXPECT_TRUE(reported(rec, {{-1, k == 4 ? "zolExchange" : "zolCopy", ""}})) << k;
        EXPECT_TRUE(p.b0 == p.b.bytes() && d0 == d.bytes()) << k;
        EXPECT_EQ(m1.get(), d->maskROI);
    }
}

// A handler that returns 0 lets the guarded sites go on; nothing missing
// is used, and every tile still goes back.
TEST(CopyFaults, GuardedSitesGoOnWhenTheHandlerReturnsZero) {
    const ZolReportHandler previous = zolRedirectError(returnZero);
    zeroHandlerCalls = 0;
    {
        TiledPair p(true, true);
        p.ta->failAt(2);
        zolCopy(p.A(), p.B());
        EXPECT_EQ(p.a0.back(), p.b.bytes().back());  // the walk went on to the last cell
        p.expectReleased();
    }
    {
        TiledPair p(true, true);
        p.ta->failAt(2);
        zolExchange(p.A(), p.B());
        p.expectReleased();
    }
    {
        TiledPair p(true, true);
        kit::HeapFailure fail(1);
        zolExchange(p.A(), p.B());
        EXPECT_EQ(p.b0, p.b.bytes());
    }
    zolRedirectError(previous);
    zolSetErrStatus(0);
    EXPECT_GE(zeroHandlerCalls, 4);
}
