// Resize, zoom and decimate against per-pixel models of their arithmetic,
// on random sizes, factors, regions, channel sets, masks and tiles; a few
// properties that need no model; the reports of bad calls.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <memory>
#include <random>

#include "core/simd.h"
#include "geometry/resample.h"
#include "kit.h"
#include "tiles.h"

namespace {

using kit::Image;
using Bytes = std::vector<uint8_t>;

int pick(std::mt19937& g, int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(g); }
int64_t clampTo(int64_t v, int64_t lo, int64_t hi) { return std::max(lo, std::min(hi, v)); }

struct Rect { int x, y, w, h; };
Rect rectOf(const ZolImage* im, bool byMask) {
    const ZolROI* r = im->roi;
    Rect a{0, 0, im->width, im->height};
    if (r) a = {r->xOffset, r->yOffset, std::min(r->width, im->width - r->xOffset),
                std::min(r->height, im->height - r->yOffset)};
    if (byMask && im->maskROI) {
        const Rect m = rectOf(im->maskROI, false);
        a.w = std::min(a.w, m.w), a.h = std::min(a.h, m.h);
    }
    return a;
}
struct Args { int xD, xS, yD, yS, interp; };
int64_t index(long double u) { return std::llrint(u + 0.00001 - 0.5); }

// ---------------------------------------------------------------------
// Resize: u(i) is i additions of the step; taps and weights per axis.

struct Tap { int64_t at[4]; int w; float t; };
Tap axisTap(int mode, int i, double step, int origin, int n, int imageN) {
    long double u = 0;
    for (int k = 0; k < i; ++k) u += step;
    const int64_t id = clampTo(index(u), 0, n - 1);
    Tap p{{origin + id}, 0, 0};
    if (mode == 1) {
        int64_t base = id;
        if (n == 1) base = 0;
        else if (id == n - 1) base = n - 2, p.w = 16384;
        else p.w = int(clampTo(std::llrint((u - id) * 16384 + 0.00001 - 0.5), 0, 16384));
        p.at[0] = origin + base, p.at[1] = origin + std::min<int64_t>(base + 1, n - 1);
    } else if (mode == 2) {
        const int64_t img = origin + id;
        const int64_t base = img == 0 ? 1 : img >= imageN - 2 ? imageN - 3 : img;
        p.t = img == imageN - 1 ? 2.0f : float(u - (base - origin));
        for (int k = 0; k < 4; ++k) p.at[k] = base - 1 + k;
    }
    return p;
}
float cubicOf(const float* y, float t) {
    const float d1 = y[1] - y[0], d2 = (y[2] - y[1]) - d1, d3 = (y[3] - 2 * y[2] + y[1]) - d2;
    const float a = t + 1, b = t * a * 0.5f, c = (t - 1) * b * 0.3333333432674408f;
    return y[0] + a * d1 + b * d2 + c * d3;
}
int written(int dn, int sn, double step) {
    if (index((long double)(dn - 1) * step) <= sn - 1) return dn;
    return int(clampTo(index((long double)sn / step), 0, dn));
}
// Channel set: first, size, and whether the call ends silently.
struct Set { int first, n; bool silent; };
Set setOf(const ZolImage* im) {
    const int coi = im->roi ? im->roi->coi : 0;
    const bool silent = im->alphaChannel && (coi == im->nChannels || im->nChannels == 1);
    return {coi ? coi - 1 : 0, coi ? 1 : im->nChannels - (im->alphaChannel ? 1 : 0), silent};
}

// Writes into d (a plain view of the expected destination) what zolResize
// writes; returns false when the call must report a channel mismatch.
bool resizeModel(const ZolImage* s, ZolImage* d, Args a) {
    const int depth = s->depth;
    const Set ss = depth == 1 ? Set{0, 1, false} : setOf(s), ds = depth == 1 ? ss : setOf(d);
    if (ss.silent || ds.silent) return true;
    if (ss.n != ds.n) return false;
    int mode = a.interp;
    if (depth == 1 || s->width < 2 || s->height < 2) mode = 0;
    if (mode == 2 && (s->width < 4 || s->height < 4)) mode = 1;
    if (mode && a.xD <= a.xS && a.yD <= a.yS && a.xS % a.xD == 0 && a.yS % a.yD == 0) mode = 0;
    const Rect rs = rectOf(s, true), rd = rectOf(d, true);
    if (rs.w <= 0 || rs.h <= 0 || rd.w <= 0 || rd.h <= 0) return true;
    const double xs = double(a.xS) / a.xD, ys = double(a.yS) / a.yD;
    const int ww = written(rd.w, rs.w, xs), wh = written(rd.h, rs.h, ys);
    Image m;  // the source mask as the engine scales it
    if (s->maskROI && ww > 0 && wh > 0) {
        m = Image(1, 1, ww, wh);
        std::memset(m->imageData, 0, size_t(m->imageSize));
        auto sc = [](int n, double st) { return int(std::max(1.0L, std::nearbyint((long double)n * st))); };
        resizeModel(s->maskROI, m, {ww, sc(ww, xs), wh, sc(wh, ys), 0});
    }
    const ZolImage* dm = d->maskROI;
    for (int j = 0; j < wh; ++j) {
        const Tap ty = axisTap(mode, j, ys, rs.y, rs.h, s->height);
        for (int i = 0; i < ww; ++i) {
            if (m.get() && !kit::get(m, i, j, 0)) continue;
            if (dm && !kit::get(dm, rectOf(dm, false).x + i, rectOf(dm, false).y + j, 0)) continue;
            const Tap tx = axisTap(mode, i, xs, rs.x, rs.w, s->width);
            for (int c = 0; c < ss.n; ++c) {
                auto px = [&](int64_t x, int64_t y) { return kit::get(s, int(x), int(y), ss.first + c); };
                int64_t v;
                if (mode == 0) {
                    v = px(tx.at[0], ty.at[0]);
                } else if (mode == 1) {
                    const bool wide = depth == 16;
                    auto h = [&](int64_t y) {
                        const int64_t p = px(tx.at[0], y) >> wide, q = px(tx.at[1], y) >> wide;
                        return (p * (16384 - tx.w) + q * tx.w) >> (wide ? 14 : 8);
                    };
                    v = (h(ty.at[0]) * (16384 - ty.w) + h(ty.at[1]) * ty.w) >> (wide ? 13 : 20);
                } else {
                    float col[4], row[4];
                    for (int k = 0; k < 4; ++k) {
                        for (int l = 0; l < 4; ++l) row[l] = float(px(tx.at[l], ty.at[k]));
                        col[k] = cubicOf(row, tx.t);
                    }
                    const float r = std::nearbyint(cubicOf(col, ty.t) + 0.00001f - 0.5f);
                    v = clampTo(int64_t(r), 0, depth == 8 ? 255 : 65535);
                }
                kit::set(d, rd.x + i, rd.y + j, ds.first + c, v);
            }
        }
    }
    return true;
}

// ---------------------------------------------------------------------
// Decimate: positions in 1/256 pixel.

long double lagrange(long double a, long double b, long double c, long double d, long double t) {
    const long double P = d - a + 3 * (b - c), R = 3 * (a + c) - 6 * b, Q = -2 * a - 3 * b + 6 * c - d;
    return (P * t * t * t + R * t * t + Q * t + 6 * b) * 0.1666666716337204L;
}

bool decimateModel(const ZolImage* s, ZolImage* d, Args a, bool srcTiled) {
    const int depth = s->depth, W = s->width, H = s->height;
    const bool xWhole = a.xS % a.xD == 0, yWhole = a.yS % a.yD == 0;
    int mode = a.interp;
    if (W < 4 || H < 4 || (mode != 3 && xWhole && yWhole)) mode = 0;
    const int64_t xStep = int64_t(a.xS * 256.0 / a.xD), yStep = int64_t(a.yS * 256.0 / a.yD);
    Rect rs = rectOf(s, false), rd = rectOf(d, false);
    int outW = int(std::min<int64_t>(rd.w, int64_t(rs.w) * a.xD / a.xS));
    int outH = int(std::min<int64_t>(rd.h, int64_t(rs.h) * a.yD / a.yS));
    const int64_t x0 = 256 * rs.x + (mode == 0 && !xWhole ? 128 : 0);
    const int64_t y0 = 256 * rs.y + (mode == 0 && !yWhole ? 128 : 0);
    if (mode == 2 && !srcTiled) {
        if (!yWhole && y0 + yStep * outH + 1 > 256 * (H - 1)) --outH;
        if (!xWhole && x0 + xStep * outW + 1 > 256 * (W - 1)) --outW;
    }
    Set ss = setOf(s), ds = setOf(d);
    for (int j = 0; j < outH; ++j)
        for (int i = 0; i < outW; ++i)
            for (int c = 0; c < ss.n; ++c) {
                const int64_t X = x0 + i * xStep, Y = y0 + j * yStep;
                auto px = [&](int64_t x, int64_t y) {
                    return kit::get(s, int(clampTo(x, 0, W - 1)), int(clampTo(y, 0, H - 1)), ss.first + c);
                };
                // One direction along the axis whose factor is not whole.
                auto one = [&](bool alongX, int64_t p, int64_t other) -> long double {
                    auto at = [&](int64_t k) { return alongX ? px(k, other) : px(other, k); };
                    if (p == 0) return at(0);
                    const int64_t q = p - 1, r = q >> 8, f = q & 255;
                    if (mode == 2)
                        return std::trunc(lagrange(at(r - 1), at(r), at(r + 1), at(r + 2), f / 256.0L));
                    return ((((256 - f) * at(r) + f * at(r + 1)) >> 7) + 1) >> 1;
                };
                long double v = 0;
                if (mode == 0 || depth == 1) {
                    v = mode == 3 ? 0 : px(X >> 8, Y >> 8);
                } else if (mode != 3 && (xWhole || yWhole || X == 0 || Y == 0)) {
                    v = (xWhole || (!yWhole && X == 0 && Y != 0)) ? one(false, Y, X >> 8) : one(true, X, Y >> 8);
                } else if (mode == 1) {
                    const int64_t qx = X - 1, qy = Y - 1, fx = qx & 255, fy = qy & 255;
                    auto h = [&](int64_t y) { return (256 - fx) * px(qx >> 8, y) + fx * px((qx >> 8) + 1, y); };
                    const uint32_t t = uint32_t((256 - fy) * h(qy >> 8) + fy * h((qy >> 8) + 1));
                    v = ((t >> 15) + 1) >> 1;
                } else if (mode == 2) {
                    const int64_t qx = X - 1, qy = Y - 1, rx = qx >> 8, ry = qy >> 8;
                    long double r[4];
                    for (int k = 0; k < 4; ++k)
                        r[k] = lagrange(px(rx - 1, ry - 1 + k), px(rx, ry - 1 + k), px(rx + 1, ry - 1 + k),
                                        px(rx + 2, ry - 1 + k), (qx & 255) / 256.0L);
                    v = std::trunc(lagrange(r[0], r[1], r[2], r[3], (qy & 255) / 256.0L));
                }
                if (mode == 3) {
                    // Each sample weighs its overlap with the box in x times that in y,
                    // over 256 and cut (exact in 16U).
                    long double sum = 0;
                    for (int64_t y = Y >> 8; y <= (Y + yStep) >> 8; ++y)
                        for (int64_t x = X >> 8; x <= (X + xStep) >> 8; ++x) {
                            const int64_t wx = std::min(x * 256 + 256, X + xStep) - std::max(x * 256, X);
                            const int64_t wy = std::min(y * 256 + 256, Y + yStep) - std::max(y * 256, Y);
                            if (wx <= 0 || wy <= 0) continue;
                            sum += depth == 16 ? px(x, y) * wx * wy / 65536.0L : (px(x, y) * wx * wy) >> 8;
                        }
                    const double f = (depth == 16 ? 65536.0 : 256.0) / (double(xStep) * double(yStep));
                    v = std::trunc(double(sum) * f + 0.5);
                    if (depth == 1) v = int64_t(v) & 1;
                }
                kit::set(d, rd.x + i, rd.y + j, ds.first + c, clampTo(int64_t(v), 0, depth == 8 ? 255 : 65535));
            }
    return true;
}

// ---------------------------------------------------------------------
// Random cases

struct Side {
    Image img;
    std::unique_ptr<kit::TileServer> tiles;
    ZolImage* arg() const { return tiles ? tiles->image() : img.get(); }
};

void build(Side& side, std::mt19937& g, int depth, int order, int nCh, bool alpha, int coi, int w,
           int h, bool tiled) {
    side.img = Image(depth, nCh, w, h, order, pick(g, 0, 1) ? 4 : 8, alpha);
    side.img.randomize(g());
    if (pick(g, 0, 1)) side.img.setRoi(coi, pick(g, 0, w / 3), pick(g, 0, h / 3), pick(g, 1, w), pick(g, 1, h));
    else if (coi) side.img.setRoi(coi, 0, 0, w, h);
    if (!tiled) return;
    side.tiles = std::make_unique<kit::TileServer>(side.img, 8 * pick(g, 1, 3), 8 * pick(g, 1, 3));
    if (const ZolROI* r = side.img->roi)
        side.tiles->image()->roi = zolCreateROI(r->coi, r->xOffset, r->yOffset, r->width, r->height);
}

Image maskFor(std::mt19937& g, const ZolImage* im) {
    Image m(1, 1, im->width + 3, im->height + 3);
    m.randomize(g());
    for (int i = 0; i < m->imageSize; ++i) m->imageData[i] |= char(g());  // mostly set
    if (pick(g, 0, 1)) m.setRoi(0, pick(g, 0, 3), pick(g, 0, 3), im->width, im->height);
    return m;
}

enum Fn { Resize, Zoom, Decimate };

void checkRandom(Fn fn, uint32_t first, uint32_t count) {
    for (uint32_t seed = first; seed < first + count; ++seed) {
        std::mt19937 g(seed);
        const int depth = std::vector<int>{1, 8, 16}[size_t(pick(g, 0, 2))];
        const int order = depth == 1 ? 0 : pick(g, 0, 1);
        const int nCh = depth == 1 ? 1 : pick(g, 1, 4), alpha = nCh > 1 && !pick(g, 0, 3);
        const int coi = pick(g, 0, 2) ? 0 : pick(g, 1, nCh);
        Args a{pick(g, 1, 6), pick(g, 1, 6), pick(g, 1, 6), pick(g, 1, 6), pick(g, 0, 2)};
        if (fn == Zoom) a.xD = std::max(a.xD, a.xS), a.yD = std::max(a.yD, a.yS);
        if (fn == Decimate) a.xD = std::min(a.xD, a.xS), a.yD = std::min(a.yD, a.yS), a.interp = pick(g, 0, 3);
        const int sw = pick(g, 1, pick(g, 0, 3) ? 24 : 67), sh = pick(g, 1, pick(g, 0, 3) ? 20 : 67);
        Side s, d;
        build(s, g, depth, order, nCh, alpha, coi, sw, sh, !pick(g, 0, 3));
        build(d, g, depth, order, nCh, alpha, coi, int(clampTo(sw * a.xD / a.xS + pick(g, -2, 3), 1, 90)),
              int(clampTo(sh * a.yD / a.yS + pick(g, -2, 3), 1, 90)), !pick(g, 0, 3));
        Image masks[2];
        if (fn != Decimate && !pick(g, 0, 3)) s.img->maskROI = s.arg()->maskROI = (masks[0] = maskFor(g, s.img));
        if (fn != Decimate && !pick(g, 0, 3)) d.img->maskROI = d.arg()->maskROI = (masks[1] = maskFor(g, d.img));
        SCOPED_TRACE(testing::Message() << "seed " << seed << " depth " << depth << " " << sw << "x" << sh
                                        << " -> " << d.img->width << "x" << d.img->height << " interp "
                                        << a.interp << " factors " << a.xD << "/" << a.xS << ", " << a.yD
                                        << "/" << a.yS);
        Bytes want = d.img.bytes(), src = s.img.bytes();
        ZolImage view = *d.img.get();
        view.imageData = reinterpret_cast<char*>(want.data());
        const bool ok = fn == Decimate ? decimateModel(s.img, &view, a, s.tiles != nullptr)
                                       : resizeModel(s.img, &view, a);
        kit::Recorder rec;
        if (fn == Resize) EXPECT_EQ(ok ? 0 : -1, zolResize(s.arg(), d.arg(), a.xD, a.xS, a.yD, a.yS, a.interp));
        else if (fn == Zoom) zolZoom(s.arg(), d.arg(), a.xD, a.xS, a.yD, a.yS, a.interp);
        // Decimation counts a coi on the alpha channel as no channel.
        auto decSet = [](const ZolImage* im) {
            const Set t = setOf(im);
            return t.n == 1 && im->alphaChannel && t.first == im->nChannels - 1 ? 0 : t.n;
        };
        if (fn == Decimate) {
            const int sn = decSet(s.img), dn = decSet(d.img);
            const int r = zolDecimate(s.arg(), d.arg(), a.xD, a.xS, a.yD, a.yS, a.interp);
            EXPECT_EQ(sn == dn && sn ? 1 : -5, r);
            if (sn != dn || !sn) continue;
        } else {
            std::string log;
            for (const kit::Report& r : rec.reports()) log += std::to_string(r.status) + " " + r.context + "\n";
            EXPECT_EQ(ok ? 0u : (fn == Zoom ? 1u : 2u), rec.reports().size()) << log;
            if (!ok) {
                EXPECT_EQ("srcImage COI != dstImage COI", rec.reports()[0].context);
            }
        }
        EXPECT_EQ(want, d.img.bytes());
        EXPECT_EQ(src, s.img.bytes());
        for (const Side* x : {&s, &d})
            EXPECT_TRUE(!x->tiles || (x->tiles->breaches().empty() && !x->tiles->held()));
        if (::testing::Test::HasFailure()) return;
    }
}

}  // namespace

TEST(ResizeModel, RandomCasesMatchModel) { checkRandom(Resize, 0, 600); }
TEST(ZoomModel, RandomCasesMatchModel) { checkRandom(Zoom, 1000, 200); }
TEST(DecimateModel, RandomCasesMatchModel) { checkRandom(Decimate, 2000, 600); }

// Properties that hold whatever the tables: a resize by 1 copies, a whole
// enlargement by nearest repeats pixels, area halving is the mean of four
// rounded half up, 16U linear loses the low bit, decimate halving by linear
// selects even samples, 1-bit area halving is a majority with ties to 1.
TEST(ResizeProperties, CopiesRepeatsMeansAndLowBit) {
    for (int depth : {1, 8, 16}) {
        Image s(depth, depth == 1 ? 1 : 3, 37, 23);
        s.randomize(uint32_t(depth));
        for (int interp = 0; interp < 4; ++interp) {
            Image d(depth, s->nChannels, 37, 23);
            EXPECT_EQ(0, zolResize(s, d, 5, 5, 7, 7, interp));
            for (int y = 0; y < 23; ++y)
                for (int x = 0; x < 37 * s->nChannels; ++x)
                    ASSERT_EQ(kit::get(s, x / s->nChannels, y, x % s->nChannels),
                              kit::get(d, x / s->nChannels, y, x % s->nChannels)) << depth << " " << interp;
        }
        Image up(depth, s->nChannels, 111, 46), half(depth, s->nChannels, 18, 11);
        zolZoom(s, up, 3, 1, 2, 1, ZOL_INTER_NN);
        EXPECT_EQ(1, zolDecimate(s, half, 1, 2, 1, 2, ZOL_INTER_SUPER));
        for (int c = 0; c < s->nChannels; ++c) {
            for (int y = 0; y < 46; ++y)
                for (int x = 0; x < 111; ++x) ASSERT_EQ(kit::get(s, x / 3, y / 2, c), kit::get(up, x, y, c));
            for (int y = 0; y < 11; ++y)
                for (int x = 0; x < 18; ++x) {
                    int64_t sum = 0;
                    for (int k = 0; k < 4; ++k) sum += kit::get(s, 2 * x + k % 2, 2 * y + k / 2, c);
                    ASSERT_EQ(depth == 1 ? int64_t(sum >= 2) : (sum + 2) / 4, kit::get(half, x, y, c));
                }
        }
    }
    Image white(16, 1, 9, 9), big(16, 1, 20, 20), s(8, 1, 21, 9), a(8, 1, 10, 4), b(8, 1, 10, 4);
    std::memset(white->imageData, 0xFF, size_t(white->imageSize));
    zolResize(white, big, 2, 1, 2, 1, ZOL_INTER_LINEAR);
    for (int i = 0; i < 18 * 18; ++i) ASSERT_EQ(65534, kit::get(big, i % 18, i / 18, 0));
    s.randomize(7);
    zolDecimate(s, a, 1, 2, 1, 2, ZOL_INTER_LINEAR);
    for (int i = 0; i < 40; ++i) ASSERT_EQ(kit::get(s, 2 * (i % 10), 2 * (i / 10), 0), kit::get(a, i % 10, i / 10, 0));
    zolDecimate(s, b, 2, 3, 1, 2, ZOL_INTER_NN);  // a non-whole factor starts half a pixel in
    for (int i = 0; i < 40; ++i)
        ASSERT_EQ(kit::get(s, (128 + 384 * (i % 10)) >> 8, 2 * (i / 10), 0), kit::get(b, i % 10, i / 10, 0));
}

// Cut corner products in 8U area averaging move a result only now and then:
// a large image makes sure it happens.
TEST(DecimateArea, LargeFractionalBoxesMatchModel) {
    for (int depth : {8, 16}) {
        Image s(depth, 1, 203, 197), d(depth, 1, 152, 140);
        s.randomize(uint32_t(depth));
        Bytes want = d.bytes();
        ZolImage view = *d.get();
        view.imageData = reinterpret_cast<char*>(want.data());
        decimateModel(s, &view, {3, 4, 5, 7, ZOL_INTER_SUPER}, false);
        EXPECT_EQ(1, zolDecimate(s, d, 3, 4, 5, 7, ZOL_INTER_SUPER));
        EXPECT_EQ(want, d.bytes());
    }
}

// Every report of a bad call, in order, with the result; the destination
// stays as it was.
TEST(GeometryReports, EachBadCallReportsExactly) {
    Image a(8, 3, 12, 10), b(8, 3, 8, 8), c16(16, 3, 8, 8), s8(ZOL_DEPTH_8S, 1, 8, 8),
        t8(ZOL_DEPTH_8S, 1, 8, 8), f(32, 1, 8, 8), g(32, 1, 8, 8), one(8, 1, 8, 8),
        al(8, 4, 8, 8, 0, 4, true), pl(8, 3, 8, 8, ZOL_DATA_ORDER_PLANE);
    a.randomize(1), al.setRoi(4, 0, 0, 8, 8);
    kit::TileServer tb(b, 8, 8), ta(a, 8, 8);
    constexpr int kVoid = 99;
    const std::string R = "zolResize", Z = "zolZoom", D = "zolDecimate";
    const std::string sup = "(interpolate == ZOL_INTER_SUPER) && (xDst > xSrc || yDst > ySrc)";
    const std::string interp = "interpolate != ZOL_INTER_NN && interpolate != ZOL_INTER_LINEAR && interpolate != ZOL_INTER_CUBIC";
    const std::string depths = "srcImage->depth != ZOL_DEPTH_1U && srcImage->depth != ZOL_DEPTH_8U && srcImage->depth != ZOL_DEPTH_16U";
    struct Row { std::function<int()> call; int result; std::vector<std::string> reports; };
    const std::vector<Row> rows = {
        {[&] { return zolResize(nullptr, b, 1, 1, 1, 1, 0); }, -1, {"-9 " + R + " Incorrect Image", "-1 " + R + " "}},
        {[&] { return zolResize(a, c16, 0, 1, 1, 0, 5); }, -1,
         {"-5 " + R + " " + interp, "-5 " + R + " srcImage->depth != dstImage->depth", "-5 " + R + " xDst <= 0 || xSrc <= 0",
          "-5 " + R + " yDst <= 0 || ySrc <= 0", "-1 " + R + " "}},
        {[&] { return zolResize(f, g, 1, 1, 1, 1, 0); }, -1, {"-5 " + R + " " + depths, "-1 " + R + " "}},
        {[&] { return zolResize(a, pl, 1, 1, 1, 1, 0); }, -1, {"-5 " + R + " srcImage->dataOrder != dstImage->dataOrder", "-1 " + R + " "}},
        {[&] { return zolResize(a, a, 1, 1, 1, 1, 0); }, -1, {"-5 " + R + " This function isn`t in-plase function", "-1 " + R + " "}},
        {[&] { return zolResize(a, one, 1, 1, 1, 1, 0); }, -1, {"-2 " + R + " srcImage COI != dstImage COI", "-1 " + R + " "}},
        {[&] { return zolResize(a, b, 2, 1, 1, 1, 3); }, -5, {"-5 " + R + " " + sup}},
        {[&] { return zolResize(a, a, 1, 2, 1, 2, 3); }, -1, {"-5 " + D + " srcImage == dstImage", "-1 " + R + " "}},
        {[&] { return zolResize(a, tb.image(), 1, 1, 1, 1, 1); }, -1, {"-2 " + R + " Error get tile to write", "-1 " + R + " "}},
        {[&] { zolSetErrStatus(-3); return zolResize(a, b, 1, 1, 1, 1, 1); }, -1, {"-1 " + R + " "}},
        {[&] { zolResize(al, one, 1, 1, 1, 1, 0); return zolGetErrStatus(); }, 0, {}},
        {[&] { zolZoom(a, b, 1, 2, 1, 1, 0); return kVoid; }, kVoid, {"-5 " + Z + " xDst < xSrc || yDst < ySrc"}},
        {[&] { zolZoom(a, b, 2, 1, 2, 1, 3); return kVoid; }, kVoid, {"-5 " + Z + " " + interp}},
        {[&] { return zolDecimate(a, nullptr, 1, 2, 1, 2, 0); }, -9, {"-9 " + D + " Incorrect Image"}},
        {[&] { return zolDecimate(a, a, 2, 1, 0, 0, 7); }, -5,
         {"-5 " + D + " srcImage == dstImage", "-5 " + D + " interpolate != ZOL_INTER_NN, ZOL_INTER_LINEAR, ZOL_INTER_CUBIC or ZOL_INTER_SUPER",
          "-5 " + D + " yDst <= 0", "-5 " + D + " ySrc <= 0", "-5 " + D + " xDst > xSrc"}},
        {[&] { return zolDecimate(a, pl, 1, -1, 1, 1, 0); }, -5,
         {"-5 " + D + " srcImage->dataOrder != dstImage->dataOrder", "-5 " + D + " xSrc <= 0", "-5 " + D + " xDst > xSrc"}},
        {[&] { return zolDecimate(al, c16, 1, 1, 1, 1, 0); }, -5,
         {"-5 " + D + " srcImage->depth != dstImage->depth", "-5 " + D + " nChannelsSrc == 0", "-5 " + D + " nChannelsSrc != nChannelsDst"}},
        {[&] { return zolDecimate(s8, t8, 1, 2, 1, 2, 3); }, 0, {"-5 " + D + " srcImage->depth is wrong"}},
        {[&] { return zolDecimate(a, tb.image(), 1, 1, 1, 1, 0); }, 0, {"-3 " + D + " dstImage->tileInfo->callBack crash"}},
        {[&] { return zolDecimate(ta.image(), b, 1, 1, 1, 1, 1); }, 0, {"-3 " + D + " srcImage->tileInfo->callBack crash"}},
    };
    b.randomize(2);
    for (size_t i = 0; i < rows.size(); ++i) {
        tb.failAt(1), ta.failAt(1);
        const Bytes before = b.bytes(), before1 = one.bytes();
        kit::Recorder rec;
        EXPECT_EQ(rows[i].result, rows[i].call()) << "row " << i;
        std::vector<std::string> got;
        for (const kit::Report& r : rec.reports()) got.push_back(std::to_string(r.status) + " " + r.func + " " + r.context);
        EXPECT_EQ(rows[i].reports, got) << "row " << i;
        EXPECT_TRUE(before == b.bytes() && before1 == one.bytes()) << "row " << i;
        EXPECT_FALSE(tb.held() || ta.held()) << "row " << i;
    }
}

// Each scratch block that cannot be had ends the call with a report, and
// a call whose blocks all come writes what the model says.
TEST(GeometryMemory, FailedAllocationsAreReported) {
    Image s(8, 3, 40, 30), d(8, 3, 61, 47), m(1, 1, 40, 30), e(8, 3, 31, 22);
    s.randomize(3), m.randomize(4);
    s->maskROI = m;
    for (int n = 1; n < 12; ++n) {
        kit::HeapFailure fail(n);
        kit::Recorder rec;
        const int r = zolResize(s, d, 3, 2, 3, 2, ZOL_INTER_CUBIC);
        std::string log;
        for (const kit::Report& x : rec.reports()) log += std::to_string(x.status) + " " + x.func + " " + x.context + "\n";
        EXPECT_TRUE(r == 0 ? rec.none() : r == -1 && rec.reports().back().func == "zolResize") << n << log;
        s->maskROI = nullptr;
        zolSetErrStatus(0);
        const int q = zolDecimate(s, e, 3, 4, 5, 7, ZOL_INTER_SUPER);
        EXPECT_TRUE(q == 1 || (q == 0 && rec.reports().back().status == -4)) << n;
        s->maskROI = m;
    }
}

// Every SIMD form this CPU runs gives the plain row passes' bytes, on all
// lengths up to 67 and a long row, with rows in range and the bytes past
// each output unchanged; the 8U horizontal pass also with taps that are
// not adjacent (one channel of three) and with a read limit.
TEST(ResampleForms, RowPassesEqualPlain) {
    using namespace zol;
    using namespace zol::geo;
    const Form saved = formCap();
    std::mt19937 g(99);
    int ran = 0;
    for (int f = 1; f < kForms; ++f) {
        if (!formRuns(Form(f))) continue;
        ++ran;
        setFormCap(Form(f));
        ASSERT_EQ(Form(f), resampleForm());
        const ResampleKernels& k = resampleKernels();
        for (int n : {0, 1, 2, 3, 5, 7, 8, 9, 15, 16, 17, 31, 33, 63, 67, 4099}) {
            SCOPED_TRACE(testing::Message() << formName(Form(f)) << " n " << n);
            std::vector<uint16_t> h[2];
            std::vector<float> c[4];
            std::vector<uint8_t> src(size_t(3 * n + 16));
            const size_t len = static_cast<size_t>(n);
            std::vector<int32_t> x0(len), x1(len);
            std::vector<int16_t> w(len);
            for (auto& r : h) for (int i = 0; i < n; ++i) r.push_back(uint16_t(g() % 32768));
            for (auto& r : c) for (int i = 0; i < n; ++i) r.push_back(float(int(g() % 140000) - 70000) / 8);
            for (auto& b : src) b = uint8_t(g());
            const int stride = 1 + int(g() % 3), v = int(g() % 16385);
            for (int i = 0, at = 0; i < n; ++i, at = std::min(at + int(g() % 3), 2 * n)) {
                x0[size_t(i)] = at, w[size_t(i)] = int16_t(g() % 5 ? g() % 16385 : 0);
                x1[size_t(i)] = at + (w[size_t(i)] || g() % 2 ? stride : 0);
            }
            const float* cr[4] = {c[0].data(), c[1].data(), c[2].data(), c[3].data()};
            const CubicFactors cf = cubicFactors(float(g() % 256) / 256);
            std::vector<uint8_t> a8(len + 8, 7), b8 = a8;
            std::vector<uint16_t> a16(len + 8, 7), b16 = a16, ah(a16), bh(a16);
            const ptrdiff_t avail = ptrdiff_t(src.size()) - ptrdiff_t(g() % 6);
            k.linearH8(src.data(), x0.data(), x1.data(), w.data(), n, 1, ah.data(), avail);
            linearRowH(src.data(), x0.data(), x1.data(), w.data(), n, 1, bh.data(), avail);
            EXPECT_EQ(bh, ah);
            std::vector<float> fa(len), fb(len), fc(len), ca(len + 8, 7.0f), cb(ca);
            for (size_t i = 0; i < len; ++i) {
                const CubicFactors t = cubicFactors(float(g() % 512) / 256 - 1);
                fa[i] = t.a, fb[i] = t.b, fc[i] = t.c;
            }
            k.cubicH8(src.data(), x0.data(), stride, fa.data(), fb.data(), fc.data(), n, ca.data(), avail - 3 * stride);
            cubicRowH8(src.data(), x0.data(), stride, fa.data(), fb.data(), fc.data(), n, cb.data(), avail - 3 * stride);
            EXPECT_EQ(cb, ca);
            std::vector<uint16_t> q[2] = {h[0], h[1]};  // 8U horizontal results stay below 16321
            for (auto& r : q) for (auto& x : r) x = uint16_t(x % 16321);
            k.linearV8(q[0].data(), q[1].data(), v, n, a8.data());
            linearRowV(q[0].data(), q[1].data(), v, n, b8.data());
            EXPECT_EQ(b8, a8);
            k.linearV16(h[0].data(), h[1].data(), v, n, a16.data());
            linearRowV(h[0].data(), h[1].data(), v, n, b16.data());
            EXPECT_EQ(b16, a16);
            k.cubicV8(cr, cf, n, a8.data());
            cubicRowV(cr, cf, n, b8.data());
            EXPECT_EQ(b8, a8);
            k.cubicV16(cr, cf, n, a16.data());
            cubicRowV(cr, cf, n, b16.data());
            EXPECT_EQ(b16, a16);
        }
    }
    setFormCap(saved);
    if (!ran) GTEST_SKIP() << "this CPU runs no SIMD form of this build";
}
