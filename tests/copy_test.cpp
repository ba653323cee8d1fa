// Copy, set and exchange against a per-pixel model over random regions,
// channel sets, masks, 1-bit offsets and tiles; the order of the checks;
// tiles and memory that fail.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <functional>
#include <memory>
#include <random>

#include "kit.h"
#include "tiles.h"

namespace {

using kit::Image;
using Bytes = std::vector<uint8_t>;
enum Op { Copy, Exchange, Set };

struct Rect { int x, y, w, h; };
Rect regionOf(const ZolImage* im) {
    const ZolROI* r = im->roi;
    if (!r) return {0, 0, im->width, im->height};
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
int pick(std::mt19937& g, int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(g); }
Bytes bytesOf(const Image& im) { return im.get() ? im.bytes() : Bytes(); }
bool released(const kit::TileServer* t) { return !t || (t->breaches().empty() && !t->held()); }

// An image of a case, plain or served in tiles; its ROI and mask hang on
// both headers, so the plain one is the model's view of the tiled one.
struct Side {
    Image img;
    std::unique_ptr<kit::TileServer> tiles;
    ZolImage* arg() const { return tiles ? tiles->image() : img.get(); }
    void setMask(ZolImage* m) { img->maskROI = m, arg()->maskROI = m; }
};
struct Case {
    Side s, d;
    Image masks[2];
    uint32_t spare;  // picks the value to set
};

void build(Side& side, std::mt19937& g, int depth, int order, int nCh, bool alpha, int coi) {
    const int w = pick(g, 1, 70), h = pick(g, 1, 12);
    side.img = Image(depth, nCh, w, h, order, pick(g, 0, 1) ? 4 : 8, alpha);
    side.img.randomize(g());
    if (pick(g, 0, 2)) {  // mostly inside, at times past the edges
        const int x = pick(g, 0, 9) ? pick(g, 0, w - 1) : w, y = pick(g, 0, h - 1);
        side.img.setRoi(coi, x, y, pick(g, 1, w + 3), pick(g, 1, h + 2));
    } else if (coi) {
        side.img.setRoi(coi, 0, 0, w, h);
    }
    if (!pick(g, 0, 3)) {
        const int tw = 8 * pick(g, 1, 4);
        side.tiles = std::make_unique<kit::TileServer>(side.img, tw, 8 * pick(g, 1, 4));
        if (const ZolROI* r = side.img->roi)
            side.tiles->image()->roi =
                zolCreateROI(r->coi, r->xOffset, r->yOffset, r->width, r->height);
    }
}

Image randomMask(std::mt19937& g) {
    Image m(ZOL_DEPTH_1U, 1, pick(g, 1, 80), pick(g, 1, 14));
    m.randomize(g());
    if (pick(g, 0, 1))  // mostly set: whole mask bytes come in runs
        for (int i = 0; i < m->imageSize; ++i) m->imageData[i] |= char(g() | g());
    if (pick(g, 0, 1)) m.setRoi(0, pick(g, 0, 7), pick(g, 0, 2), pick(g, 1, 80), pick(g, 1, 14));
    return m;
}

// A random pair: one depth, one order (unless that is free), channel sets
// mostly of equal size, masks on either, both or neither image.
Case pairCase(uint32_t seed) {
    Case c;
    std::mt19937 g(seed);
    const int depth = kit::allDepths()[size_t(pick(g, 0, 6))];
    const bool bit = depth == ZOL_DEPTH_1U;
    int nd = bit ? 1 : pick(g, 1, 4), ns = bit ? 1 : pick(g, 1, 4);
    const bool ad = !pick(g, 0, 3);
    bool as = !pick(g, 0, 3);
    const int cd = pick(g, 0, 2) ? 0 : pick(g, 1, nd);
    int cs = pick(g, 0, 2) ? 0 : pick(g, 1, ns);
    const int setD = cd ? 1 : nd - ad;
    if (pick(g, 0, 4) && setD > 0 && (cs ? 1 : ns - as) != setD) {
        if (setD == 1) cs = 1, as = as && ns > 1;
        else ns = setD + as, cs = 0;
    }
    const int od = pick(g, 0, 1), os = bit || (nd == 1 && ns == 1) ? pick(g, 0, 1) : od;
    build(c.s, g, depth, os, ns, as, cs);
    build(c.d, g, depth, od, nd, ad, cd);
    const int masks = pick(g, 0, 7);  // 0-1 source, 2-3 destination, 4 both, 5 shared
    if (masks <= 5) c.masks[0] = randomMask(g);
    if (masks == 4) c.masks[1] = randomMask(g);
    if (masks <= 1 || masks >= 4) c.s.setMask(c.masks[0]);
    if (masks >= 2 && masks <= 5) c.d.setMask(masks == 4 ? c.masks[1] : c.masks[0]);
    c.spare = g();
    return c;
}

// The reports as "status func context" lines.
std::string logOf(const kit::Recorder& rec) {
    std::string s;
    for (const kit::Report& r : rec.reports())
        s += std::to_string(r.status) + " " + r.func + " " + r.context + "\n";
    return s;
}

// Each case against the model; masks and their bytes stay, tiles go back,
// and a second exchange restores both images. Set takes values past every
// range and floats whose bits must survive (a signalling NaN among them).
void checkModel(Op op, uint32_t first, uint32_t count) {
    const char* const names[] = {"zolCopy", "zolExchange", "zolSet"};
    const int64_t values[] = {0, 1, 5, -1, 127, 128, 255, 300, -129, -200, 32767, 40000, 65536,
                              70000, -40000, INT_MIN, INT_MAX, 0x12345678};
    const uint32_t floats[] = {0x7FA00001u, 0xFFC12345u, 0x80000000u, 0x7F800000u, 0x3FC00000u};
    for (uint32_t seed = first; seed < first + count; ++seed) {
        Case c = pairCase(seed);
        const ZolImage *s = op == Set ? c.d.img.get() : c.s.img.get(), *d = c.d.img.get();
        const int depth = d->depth, bits = depth & ~ZOL_DEPTH_SIGN, sign = depth < 0;
        const int64_t v = values[c.spare % 18], hi = (int64_t(1) << (bits - sign)) - 1;
        const uint32_t f = floats[c.spare / 18 % 5];  // stored as is, else v saturated
        const int64_t stored =
            depth == ZOL_DEPTH_32F ? f : std::max(sign ? -hi - 1 : 0, std::min(hi, v));
        SCOPED_TRACE(testing::Message() << "seed " << seed << " value " << stored);
        const Bytes src = c.s.img.bytes(), dst = c.d.img.bytes(), m0 = bytesOf(c.masks[0]);
        Bytes ws = src, wd = dst;
        ZolImage sv = *c.s.img.get(), dv = *d;
        sv.imageData = reinterpret_cast<char*>(ws.data());
        dv.imageData = reinterpret_cast<char*>(wd.data());
        // The model: each element pair of the common region under every mask
        // over channel sets of one size, else a COI fault.
        std::vector<const ZolImage*> masks;
        for (const ZolImage* m : {s->maskROI, d->maskROI})
            if (m && (masks.empty() || masks[0] != m)) masks.push_back(m);
        const Rect rs = regionOf(s), rd = regionOf(d);
        int w = std::min(rs.w, rd.w), h = std::min(rs.h, rd.h), fs, fd;
        for (const ZolImage* m : masks)
            w = std::min(w, regionOf(m).w), h = std::min(h, regionOf(m).h);
        const int n = channelSet(s, fs), nd = channelSet(d, fd);
        const bool coiFault = w > 0 && h > 0 && n && nd && n != nd;
        for (int j = 0; j < h && n == nd; ++j)
            for (int i = 0; i < w; ++i) {
                bool on = true;
                for (const ZolImage* m : masks)
                    on = on && kit::get(m, regionOf(m).x + i, regionOf(m).y + j, 0);
                for (int k = 0, x = rd.x + i, y = rd.y + j; on && k < n; ++k) {
                    const int64_t old = kit::get(&dv, x, y, fd + k);
                    const int sx = rs.x + i, sy = rs.y + j;
                    kit::set(&dv, x, y, fd + k, op == Set ? stored : kit::get(&sv, sx, sy, fs + k));
                    if (op == Exchange) kit::set(&sv, sx, sy, fs + k, old);
                }
            }
        ZolImage *const sm = c.s.arg()->maskROI, *const dm = c.d.arg()->maskROI;
        kit::Recorder rec;
        float fv;
        std::memcpy(&fv, &f, 4);
        if (op != Set) (op == Exchange ? zolExchange : zolCopy)(c.s.arg(), c.d.arg());
        else if (depth == ZOL_DEPTH_32F) zolSetFP(c.d.arg(), fv);
        else zolSet(c.d.arg(), int(v));
        EXPECT_TRUE(coiFault ? rec.only(-24, names[op], "srcImage COI != dstImage COI")
                             : rec.none()) << logOf(rec);
        EXPECT_EQ(ws, c.s.img.bytes());
        EXPECT_EQ(wd, c.d.img.bytes());
        EXPECT_EQ(m0, bytesOf(c.masks[0]));
        EXPECT_TRUE(sm == c.s.arg()->maskROI && dm == c.d.arg()->maskROI);
        EXPECT_EQ(depth, c.d.arg()->depth);
        if (op == Exchange) {
            zolExchange(c.s.arg(), c.d.arg());
            EXPECT_TRUE(src == c.s.img.bytes() && dst == c.d.img.bytes());
        }
        EXPECT_TRUE(released(c.s.tiles.get()) && released(c.d.tiles.get()));
        if (::testing::Test::HasFailure()) return;
    }
}

}  // namespace

TEST(CopyModel, RandomCasesMatchModel) { checkModel(Copy, 0, 700); }
TEST(ExchangeModel, RandomCasesMatchModelAndTwiceRestores) { checkModel(Exchange, 1000, 500); }
TEST(SetModel, RandomCasesMatchModel) { checkModel(Set, 2000, 500); }

// Depth, origin and order each report and go on; a header fault ends the
// call at once; so does a status left by an earlier call (not in zolSet),
// or one image given twice. Nothing is written. zolSetFP's inner zolSet
// refusal is backtraced and the depth put back.
TEST(CopyChecks, OrderOfChecksAndSilentStops) {
    Image a(ZOL_DEPTH_8U, 3, 9, 5), b(ZOL_DEPTH_16U, 3, 9, 5, ZOL_DATA_ORDER_PLANE);
    Image c(ZOL_DEPTH_8U, 3, 9, 5), f(ZOL_DEPTH_32F, 1, 4, 4);
    b->origin = ZOL_ORIGIN_BL;
    a.randomize(1), b.randomize(2), c.randomize(3);
    const Bytes ba = a.bytes(), bb = b.bytes(), bc = c.bytes();
    ZolImage bad = *f.get();
    bad.imageData = nullptr;
    const auto stale = [&](auto fn) {
        zolSetErrStatus(ZOL_STATUS_NO_CONVERGENCE), fn(a, c), zolSetErrStatus(0);
    };
    const auto mismatch = [](std::string fn) {
        return "-5 " + fn + " srcImage->depth != dstImage->depth\n-5 " + fn +
               " srcImage->origin != dstImage->origin\n-5 " + fn +
               " srcImage->dataOrder != dstImage->dataOrder\n";
    };
    const std::pair<std::function<void()>, std::string> cases[] = {
        {[&] { zolCopy(a, b); }, mismatch("zolCopy")},
        {[&] { zolExchange(a, b); }, mismatch("zolExchange")},
        {[&] { zolCopy(a, nullptr); }, "-9 zolCopy Incorrect Image\n"},
        {[&] { zolExchange(a, nullptr); }, "-9 zolExchange Incorrect Image\n"},
        {[&] { stale(zolCopy), stale(zolExchange), zolCopy(a, a), zolExchange(a, a); }, ""},
        {[&] { zolSet(f, 1); }, "-17 zolSet You should use zolSetFP for this image\n"},
        {[&] { zolSetFP(a, 1); }, "-17 zolSetFP You should use zolSet for this image\n"},
        {[&] { zolSetFP(nullptr, 1); }, "-5 zolSetFP dstImage==0\n"},
        {[&] { zolSetFP(&bad, 1); }, "-12 zolSet Incorrect Image\n-1 zolSetFP \n"},
    };
    for (const auto& [call, want] : cases) {
        kit::Recorder rec;
        call();
        EXPECT_EQ(want, logOf(rec));
    }
    EXPECT_TRUE(ba == a.bytes() && bb == b.bytes() && bc == c.bytes());
    EXPECT_EQ(ZOL_DEPTH_32F, bad.depth);
    zolSetErrStatus(ZOL_STATUS_NO_CONVERGENCE);
    zolSet(c, 9);
    EXPECT_EQ(9, kit::get(c, 8, 4, 2));
}

namespace {
int zeroHandlerCalls = 0;
int returnZero(int, const char*, const char*, const char*, int) { return ++zeroHandlerCalls, 0; }
}  // namespace

// Faults on two images of 40 x 20 (3 x 3 cells of 16 x 8 when tiled): a
// tile refused at the first or a middle request, each allocation failing
// (the masks' product and the 1-bit copy's image of the mask, header and
// pixels; the exchange's tile buffer), and a handler returning 0 at the
// guarded sites, which then go on without using what is missing. The
// cells of the second image written (bit k for cell k in row order) hold
// the first's pixels (7 for set), the others are untouched; masks go back
// in place, every tile is given back, nothing leaks (sanitizer).
TEST(CopyFaults, TilesMemoryAndHandlers) {
    const std::string w = " Error get tile to write\n", r = " Error get tile to read\n";
    const struct {
        Op op;
        bool bit, tileA, tileB, zero;
        int failA, failB, heap, written;
        std::string want;
    } cases[] = {
        {Copy, 0, 0, 1, 0, 0, 1, 0, 0, "-2 zolCopy" + w},
        {Copy, 0, 0, 1, 0, 0, 4, 0, 0x7, "-2 zolCopy" + w},
        {Copy, 0, 1, 0, 0, 2, 0, 0, 0x1, "-2 zolCopy" + r},
        {Copy, 0, 1, 1, 0, 2, 0, 0, 0x1, "-1 zolCopy \n"},  // the source's gather
        {Exchange, 0, 0, 1, 0, 0, 1, 0, 0, "-2 zolExchange" + w},
        {Exchange, 0, 0, 1, 0, 0, 3, 0, 0x3, "-2 zolExchange" + w},
        // The first image's write-back is a nested copy.
        {Exchange, 0, 1, 1, 0, 2, 0, 0, 0x1, "-2 zolCopy" + w + "-1 zolExchange \n"},
        {Set, 0, 0, 1, 0, 0, 3, 0, 0x3, "-2 zolSet" + w},
        {Copy, 1, 0, 0, 0, 0, 0, 1, 0, "-1 zolCopy \n"},
        {Copy, 1, 0, 0, 0, 0, 0, 2, 0, "-1 zolCopy \n"},
        {Copy, 1, 0, 0, 0, 0, 0, 3, 0, "-1 zolCopy \n"},
        {Copy, 1, 0, 0, 0, 0, 0, 4, 0, "-1 zolCopy \n"},
        {Exchange, 0, 1, 1, 0, 0, 0, 1, 0, "-1 zolExchange \n"},
        {Copy, 0, 1, 1, 1, 2, 0, 0, 0x1FD, ""},
        {Exchange, 0, 1, 1, 1, 2, 0, 0, -1, ""},
        {Exchange, 0, 1, 1, 1, 0, 0, 1, 0, ""},
    };
    Image m1(ZOL_DEPTH_1U, 1, 40, 20), m2(ZOL_DEPTH_1U, 1, 40, 20);
    m1.randomize(7), m2.randomize(8);
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << "case " << (&c - cases));
        zeroHandlerCalls = 0;
        const int depth = c.bit ? ZOL_DEPTH_1U : ZOL_DEPTH_8U;
        Image a(depth, 1, 40, 20), b(depth, 1, 40, 20);
        a.randomize(5), b.randomize(6);
        const Bytes a0 = a.bytes(), b0 = b.bytes();
        if (c.bit) a->maskROI = m1, b->maskROI = m2;
        kit::TileServer ta(a, 16, 8), tb(b, 16, 8);
        ZolImage *A = c.tileA ? ta.image() : a.get(), *B = c.tileB ? tb.image() : b.get();
        ta.failAt(c.failA), tb.failAt(c.failB);
        kit::Recorder rec;
        if (c.zero) zolRedirectError(returnZero);
        {
            kit::HeapFailure fail(c.heap);
            if (c.op == Set) zolSet(B, 7);
            else (c.op == Copy ? zolCopy : zolExchange)(A, B);
        }
        EXPECT_EQ(c.want, logOf(rec));
        Bytes want = b0;
        for (int i = 0; i < int(want.size()) && c.written > 0; ++i)
            if (c.written >> (i / 40 / 8 * 3 + i % 40 / 16) & 1) want[i] = c.op == Set ? 7 : a0[i];
        EXPECT_TRUE(c.written < 0 || want == b.bytes());
        EXPECT_EQ(c.zero, zeroHandlerCalls > 0);
        EXPECT_TRUE(a->maskROI == (c.bit ? m1.get() : nullptr) &&
                    b->maskROI == (c.bit ? m2.get() : nullptr));
        EXPECT_TRUE(released(&ta) && released(&tb));
    }
    zolSetErrStatus(0);
}
