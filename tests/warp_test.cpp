// Affine warps against a per-pixel model (inside test by cross products,
// inverse map, the samplers' arithmetic), tiled against untiled, quarter
// turns, the coefficient helpers' round trips, and the bad calls.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <memory>
#include <random>

#include "geometry/resample.h"
#include "kit.h"
#include "tiles.h"

namespace {

using kit::Image;

double uni(std::mt19937& g, double lo, double hi) { return std::uniform_real_distribution<double>(lo, hi)(g); }
int pick(std::mt19937& g, int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(g); }

struct Box { int x, y, w, h; };
Box regionOf(const ZolImage* im) {
    const ZolROI* r = im->roi;
    if (!r) return {0, 0, im->width, im->height};
    return {r->xOffset, r->yOffset, std::min(r->width, im->width - r->xOffset),
            std::min(r->height, im->height - r->yOffset)};
}

int64_t cubic8(int64_t y0, int64_t y1, int64_t y2, int64_t y3, int64_t t) {
    const int64_t a3 = ((11 * (y3 - y0) * 63550) >> 18) + 8 * (y1 - y2);
    const int64_t a2 = 8 * (y0 + y2) - 16 * y1;
    const int64_t a1 = ((-1398101 * y0 - 11 * y3 * 63550) >> 18) + 16 * y2 - 8 * y1;
    const int64_t p1 = ((a3 * t) >> 16) + a2;
    const int64_t p2 = ((p1 * t) >> 16) + a1;
    return ((p2 * t) >> 16) + 16 * y1;
}

// The source region as the samplers see it: limits counted from the
// region's start, the first channel taking part.
struct Src {
    const ZolImage* im;
    Box r;
    int iw, ih, sc;
    int64_t operator()(int64_t i, int64_t j, int k) const { return kit::get(im, r.x + int(i), r.y + int(j), sc + k); }
};
Src srcOf(const ZolImage* im) {
    const Box r = regionOf(im);
    return {im, r, im->width - r.x, im->height - r.y, im->roi && im->roi->coi ? im->roi->coi - 1 : 0};
}

// The 8U cubic over the 4 x 4 samples from (ib, jb), fractions in 16.16.
int64_t cubicFixed(const Src& S, int64_t ib, int64_t jb, int64_t t, int64_t w, int k) {
    int64_t r[4];
    for (int m = 0; m < 4; ++m)
        r[m] = (cubic8(S(ib, jb + m, k), S(ib + 1, jb + m, k), S(ib + 2, jb + m, k), S(ib + 3, jb + m, k), t) + 8) >> 4;
    return std::clamp<int64_t>((cubic8(r[0], r[1], r[2], r[3], w) + 8) >> 4, 0, 255);
}

// The 16.16 samplers (u, v relative to the region; nearest already offset
// by one half).
int64_t fixedSample(const Src& S, int64_t u, int64_t v, int k, int mode) {
    if (mode == 0)
        return S(std::clamp<int64_t>(u >> 16, 0, S.r.w - 1), std::clamp<int64_t>(v >> 16, 0, S.r.h - 1), k);
    if (mode == 1) {
        const int64_t uc = std::clamp<int64_t>(u, 0, int64_t(S.iw - 1) << 16);
        const int64_t vc = std::clamp<int64_t>(v, 0, int64_t(S.ih - 1) << 16);
        const int64_t i = std::min<int64_t>(uc >> 16, S.iw - 2), j = std::min<int64_t>(vc >> 16, S.ih - 2);
        const int64_t wx = (uc - (i << 16)) >> 2, wy = (vc - (j << 16)) >> 2;
        const int64_t h0 = (S(i, j, k) * (16384 - wx) + S(i + 1, j, k) * wx) >> 8;
        const int64_t h1 = (S(i, j + 1, k) * (16384 - wx) + S(i + 1, j + 1, k) * wx) >> 8;
        return (h0 * (16384 - wy) + h1 * wy) >> 20;
    }
    const int64_t ib = u < 65536 ? 0 : (u >> 16) >= S.iw - 2 ? S.iw - 4 : (u >> 16) - 1;
    const int64_t jb = v < 65536 ? 0 : (v >> 16) >= S.ih - 2 ? S.ih - 4 : (v >> 16) - 1;
    return cubicFixed(S, ib, jb, u - (ib << 16) - 65536, v - (jb << 16) - 65536, k);
}

// The double samplers at (u, v), the region starting at source position
// (ox, oy) of u and v: nearest round(u + 1e-7), linear and cubic from
// round(u + 1e-7 - 0.5).
int64_t dIndex(double u, int mode) { return int64_t(std::nearbyint(u + 1e-7 - (mode ? 0.5 : 0.0))); }
int64_t doubleSample(const Src& S, double u, double v, int ox, int oy, int k, int mode) {
    const int64_t top = S.im->depth == ZOL_DEPTH_8U ? 255 : 65535;
    int64_t i = dIndex(u, mode) - ox, j = dIndex(v, mode) - oy;
    if (mode == 0) return S(std::clamp<int64_t>(i, 0, S.r.w - 1), std::clamp<int64_t>(j, 0, S.r.h - 1), k);
    if (mode == 1) {
        i = std::clamp<int64_t>(i, 0, S.iw - 2), j = std::clamp<int64_t>(j, 0, S.ih - 2);
        const double fx = u - double(i + ox), fy = v - double(j + oy);
        const double a = S(i, j, k) + (S(i + 1, j, k) - S(i, j, k)) * fx;
        const double b = S(i, j + 1, k) + (S(i + 1, j + 1, k) - S(i, j + 1, k)) * fx;
        return std::clamp<int64_t>(int64_t(std::nearbyint(a + (b - a) * fy + 1e-7)), 0, top);
    }
    const int64_t ib = i < 1 ? 0 : i >= S.iw - 2 ? S.iw - 4 : i - 1;
    const int64_t jb = j < 1 ? 0 : j >= S.ih - 2 ? S.ih - 4 : j - 1;
    const double t = u - double(ib + ox) - 1, w = v - double(jb + oy) - 1;
    if (top == 255) return cubicFixed(S, ib, jb, std::llrint(t * 65536), std::llrint(w * 65536), k);
    const auto fu = zol::geo::cubicFactors(float(t)), fv = zol::geo::cubicFactors(float(w));
    float r[4];
    for (int m = 0; m < 4; ++m)
        r[m] = zol::geo::cubic(float(S(ib, jb + m, k)), float(S(ib + 1, jb + m, k)), float(S(ib + 2, jb + m, k)),
                               float(S(ib + 3, jb + m, k)), fu);
    return std::clamp<int64_t>(int64_t(std::nearbyint(double(zol::geo::cubic(r[0], r[1], r[2], r[3], fv)) + 1e-7)), 0, top);
}

// Whether (x, y) lies in the quadrangle (edges included), by the signs of
// the cross products of its edges.
bool inside(const double q[4][2], double x, double y) {
    int pos = 0, neg = 0;
    for (int e = 0; e < 4; ++e) {
        const double* a = q[e];
        const double* b = q[(e + 1) % 4];
        const double cr = (b[0] - a[0]) * (y - a[1]) - (b[1] - a[1]) * (x - a[0]);
        pos += cr >= 0, neg += cr <= 0;
    }
    return pos == 4 || neg == 4;
}

// The expected destination of zolWarpAffine(src, dst, c, mode) for the
// general path, when the quadrangle's top vertex lies inside the
// destination rectangle's columns (so the scan starts at its row).
void model(const ZolImage* src, const ZolImage* dst, ZolImage* want, const double c[2][3], int mode) {
    const Src S = srcOf(src);
    const Box rs = S.r, rd = regionOf(dst);
    double q[4][2];
    const int xs[4] = {rs.x, rs.x + rs.w - 1, rs.x + rs.w - 1, rs.x}, ys[4] = {rs.y, rs.y, rs.y + rs.h - 1, rs.y + rs.h - 1};
    for (int i = 0; i < 4; ++i)
        q[i][0] = c[0][0] * xs[i] + c[0][1] * ys[i] + c[0][2], q[i][1] = c[1][0] * xs[i] + c[1][1] * ys[i] + c[1][2];
    const double* p = &q[0][0];
    const double D = (p[2] - p[0]) * (p[5] - p[3]) - (p[4] - p[2]) * (p[3] - p[1]);
    const double A = (p[5] - p[3]) * (rs.w - 1) / D, B = -(p[4] - p[2]) * (rs.w - 1) / D;
    const double E = -(p[3] - p[1]) * (rs.h - 1) / D, F = (p[2] - p[0]) * (rs.h - 1) / D;
    const double C = -A * p[0] - B * p[1], G = -E * p[0] - F * p[1];
    double minY = q[0][1];
    for (int i = 1; i < 4; ++i) minY = std::min(minY, q[i][1]);
    const int anchor = int(std::max(std::ceil(minY), double(rd.y)));
    const int n = src->roi && src->roi->coi ? 1 : src->nChannels;
    const int dc = dst->roi && dst->roi->coi ? dst->roi->coi - 1 : 0;
    for (int y = rd.y; y < rd.y + rd.h; ++y)
        for (int x = rd.x; x < rd.x + rd.w; ++x) {
            if (!inside(q, x, y)) continue;
            const int64_t A16 = std::llround(A * 65536), B16 = std::llround(B * 65536);
            const int64_t E16 = std::llround(E * 65536), F16 = std::llround(F * 65536);
            const int64_t u = std::llround((anchor * B + C) * 65536) + (y - anchor) * B16 + x * A16;
            const int64_t v = std::llround((anchor * F + G) * 65536) + (y - anchor) * F16 + x * E16;
            double ud = A * rd.x + B * y + C, vd = E * rd.x + F * y + G;
            for (int t = rd.x; t < x; ++t) ud += A, vd += E;
            for (int k = 0; k < n; ++k) {
                const bool dbl = src->depth == ZOL_DEPTH_16U && mode > 0;
                const int64_t half = mode == 0 ? 32768 : 0;
                kit::set(want, x, y, dc + k, dbl ? doubleSample(S, ud, vd, 0, 0, k, mode) : fixedSample(S, u + half, v + half, k, mode));
            }
        }
}

Image copyOf(const ZolImage* im) {
    Image c(im->depth, im->nChannels, im->width, im->height, im->dataOrder, im->align);
    std::copy(im->imageData, im->imageData + im->imageSize, c->imageData);
    return c;
}

// Source and destination of a layout (1U, 8U c1, 8U c3 pixel, 8U c3 plane,
// 16U c1), random contents, regions at times, and a mode.
struct Pair {
    Image src, dst;
    int mode;
    Box rs, rd;
};
Pair randomPair(std::mt19937& g, int layout) {
    const int depth = layout == 0 ? ZOL_DEPTH_1U : layout == 4 ? ZOL_DEPTH_16U : ZOL_DEPTH_8U;
    const int nCh = layout == 2 || layout == 3 ? 3 : 1, order = layout == 3 ? ZOL_DATA_ORDER_PLANE : ZOL_DATA_ORDER_PIXEL;
    Pair p{Image(depth, nCh, pick(g, 5, 30), pick(g, 5, 30), order), Image(depth, nCh, pick(g, 5, 40), pick(g, 5, 40), order),
           depth == ZOL_DEPTH_1U ? 0 : pick(g, 0, 2), {}, {}};
    p.src.randomize(g());
    p.dst.randomize(g());
    if (g() % 2) p.src.setRoi(0, pick(g, 0, 2), pick(g, 0, 2), pick(g, 4, p.src->width), pick(g, 4, p.src->height));
    if (g() % 2) p.dst.setRoi(0, pick(g, 0, 3), pick(g, 0, 3), pick(g, 3, p.dst->width), pick(g, 3, p.dst->height));
    p.rs = regionOf(p.src), p.rd = regionOf(p.dst);
    return p;
}

// The call on plain images, then through tiles on either side or both,
// each time against the model's destination.
void expectModel(std::mt19937& g, Pair& p, const std::function<void(ZolImage*)>& model,
                 const std::function<void(ZolImage*, ZolImage*)>& call) {
    Image want = copyOf(p.dst), plain = copyOf(p.dst);
    if (const ZolROI* r = p.dst->roi) plain.setRoi(0, r->xOffset, r->yOffset, r->width, r->height);
    model(want);
    kit::Recorder rec;
    call(p.src, plain);
    EXPECT_TRUE(rec.none());
    ASSERT_EQ(want.bytes(), plain.bytes());
    kit::TileServer ts(p.src, 8 * pick(g, 1, 2), 8 * pick(g, 1, 2)), td(p.dst, 8 * pick(g, 1, 3), 8);
    for (ZolImage* t : {ts.image(), td.image()})
        if (const ZolROI* r = (t == ts.image() ? p.src : p.dst)->roi) t->roi = zolCreateROI(0, r->xOffset, r->yOffset, r->width, r->height);
    const int how = pick(g, 0, 2);
    call(how == 1 ? p.src.get() : ts.image(), how == 0 ? p.dst.get() : td.image());
    EXPECT_TRUE(rec.none());
    ASSERT_EQ(want.bytes(), p.dst.bytes()) << "tiled " << how;
    EXPECT_TRUE(ts.breaches().empty() && td.breaches().empty());
}

TEST(WarpAffine, MatchesModelAndTiledMatchesUntiled) {
    std::mt19937 g(61);
    int checked = 0;
    for (int round = 0; round < 600; ++round) {
        Pair p = randomPair(g, round % 5);
        const Box rs = p.rs, rd = p.rd;
        const double ang = uni(g, 0.05, 6.2), sc = uni(g, 0.6, 1.5);
        const double c[2][3] = {{sc * std::cos(ang), sc * std::sin(ang), uni(g, -5, 30)},
                                {-sc * std::sin(ang), sc * std::cos(ang), uni(g, -5, 30)}};
        if (p.mode == 2 && (rs.w < 4 || rs.h < 4)) continue;
        // The model starts its rows at the quadrangle's top vertex.
        double top[2] = {0, 1e9};
        for (int i = 0; i < 4; ++i) {
            const double x = c[0][0] * (i == 1 || i == 2 ? rs.x + rs.w - 1 : rs.x) + c[0][1] * (i >= 2 ? rs.y + rs.h - 1 : rs.y) + c[0][2];
            const double y = c[1][0] * (i == 1 || i == 2 ? rs.x + rs.w - 1 : rs.x) + c[1][1] * (i >= 2 ? rs.y + rs.h - 1 : rs.y) + c[1][2];
            if (y < top[1]) top[0] = x, top[1] = y;
        }
        if (top[0] < rd.x || top[0] > rd.x + rd.w - 1 || top[1] > rd.y + rd.h - 1) continue;
        SCOPED_TRACE(testing::Message() << "round " << round << " mode " << p.mode);
        expectModel(g, p, [&](ZolImage* want) { model(p.src, p.dst, want, c, p.mode); },
                    [&](ZolImage* s, ZolImage* d) { zolWarpAffine(s, d, c, p.mode); });
        ++checked;
    }
    EXPECT_GT(checked, 150);
}

TEST(WarpAffine, QuarterTurnsShiftsAndRotateShift) {
    std::mt19937 g(5);
    for (int depth : {ZOL_DEPTH_1U, ZOL_DEPTH_8U, ZOL_DEPTH_16U}) {
        const int n = depth == ZOL_DEPTH_1U ? 1 : 3;
        Image a(depth, n, 13, 13), b(depth, n, 13, 13);
        a.randomize(g());
        const auto orig = a.bytes();
        // Four turns of 90 about the centre, through -270 and 450 too.
        for (double ang : {90.0, -270.0, 450.0, 90.0}) {
            double xs = 0, ys = 0;
            zolGetRotateShift(6, 6, ang, &xs, &ys);
            kit::Recorder rec;
            zolRotate(a, b, ang, xs + 1e-9, ys + 1e-9, ZOL_INTER_CUBIC);
            EXPECT_TRUE(rec.none());
            std::swap(a, b);
        }
        EXPECT_EQ(a.bytes(), orig) << depth;
        // A tiled quarter turn equals the untiled exact one.
        Image c(depth, n, 13, 13), d(depth, n, 13, 13);
        zolRotate(a, c, 270, 12.5, 0, ZOL_INTER_LINEAR);
        kit::TileServer td(d, 8, 8);
        zolRotate(a, td.image(), 270, 12.5, 0, ZOL_INTER_LINEAR);
        EXPECT_EQ(c.bytes(), d.bytes()) << depth;
    }
    // Extreme matrices write nothing and report nothing.
    Image e(ZOL_DEPTH_8U, 1, 9, 7), f(ZOL_DEPTH_8U, 1, 9, 7);
    e.randomize(4);
    const auto zeros = f.bytes();
    for (const double huge : {1e30, -3e9, 1e15})
        for (int mode : {0, 1, 2}) {
            const double m[2][3] = {{0.6, 0.8, huge}, {-0.8, 0.6, 3}};
            kit::Recorder rec;
            zolWarpAffine(e, f, m, mode);
            EXPECT_TRUE(rec.none());
            EXPECT_EQ(f.bytes(), zeros);
        }
    // A shift of 2.7 copies by 2; -0.5 by -1.
    Image s(ZOL_DEPTH_8U, 1, 9, 7), d(ZOL_DEPTH_8U, 1, 9, 7);
    s.randomize(1);
    const double sh[2][3] = {{1, 0, 2.7}, {0, 1, -0.5}};
    zolWarpAffine(s, d, sh, ZOL_INTER_LINEAR);
    for (int y = 0; y < 7; ++y)
        for (int x = 0; x < 9; ++x)
            EXPECT_EQ(kit::get(d, x, y, 0), x >= 2 && y <= 5 ? kit::get(s, x - 2, y + 1, 0) : 0);
}

TEST(WarpAffine, HelpersRoundTrip) {
    Image im(ZOL_DEPTH_8U, 1, 20, 10);
    im.setRoi(0, 3, 2, 40, 5);  // cut to 17 x 5
    const double c[2][3] = {{0.8, -0.3, 4.5}, {0.25, 1.1, -2}};
    double q[4][2], back[2][3], r[2][2];
    kit::Recorder rec;
    zolGetAffineQuad(im, c, q);
    EXPECT_DOUBLE_EQ(q[2][0], 0.8 * 19 - 0.3 * 6 + 4.5);
    zolGetAffineTransform(im, back, q);
    zolGetAffineBound(im, c, r);
    EXPECT_TRUE(rec.none());
    for (int i = 0; i < 6; ++i) EXPECT_NEAR(back[i / 3][i % 3], c[i / 3][i % 3], 1e-12);
    for (int i = 0; i < 4; ++i) {
        EXPECT_TRUE(r[0][0] <= q[i][0] && q[i][0] <= r[1][0]);
        EXPECT_TRUE(r[0][1] <= q[i][1] && q[i][1] <= r[1][1]);
    }
}

TEST(WarpAffine, BadCallsReport) {
    Image a(ZOL_DEPTH_8U, 1, 8, 8), b(ZOL_DEPTH_8U, 1, 8, 8), w16(ZOL_DEPTH_16U, 1, 8, 8);
    Image s8(ZOL_DEPTH_8S, 1, 8, 8), s8b(ZOL_DEPTH_8S, 1, 8, 8), col(ZOL_DEPTH_8U, 1, 8, 8), row(ZOL_DEPTH_8U, 1, 8, 8);
    col.setRoi(0, 2, 0, 1, 8);
    row.setRoi(0, 0, 5, 8, 1);
    const double huge[4][2] = {{0, 0}, {1e13, 0}, {7, 7}, {0, 7}}, pc[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    const double rot[2][3] = {{0.9, 0.3, 1}, {-0.3, 0.9, 2}}, sing[2][3] = {{1, 2, 0}, {2, 4, 0}};
    const double para[4][2] = {{0, 0}, {4, 1}, {5, 5}, {1, 4}}, trap[4][2] = {{0, 0}, {4, 0}, {3, 3}, {1, 3}};
    const double concave[4][2] = {{0, 0}, {4, 0}, {1, 1}, {0, 4}}, flat[4][2] = {{0, 0}, {1, 1}, {2, 2}, {0, 3}};
    double out[2][3];
    struct Case { std::function<void()> call; const char* func; const char* ctx; };
    const Case cases[] = {
        {[&] { zolWarpAffine(a, w16, rot, 1); }, "zolWarpAffine", "srcImage->depth != dstImage->depth"},
        {[&] { zolWarpAffine(s8, s8b, rot, 1); }, "zolWarpAffine", "(srcImage->depth & ZOL_DEPTH_SIGN) || (srcImage->depth == ZOL_DEPTH_32F)"},
        {[&] { zolWarpAffine(a, a, rot, 1); }, "zolWarpAffine", "This function is not in-place function"},
        {[&] { zolWarpAffine(a, b, sing, 1); }, "zolWarpAffine", "Determinant of transform matrix == 0.0"},
        {[&] { zolWarpAffine(a, b, rot, 3); }, "zolWarpAffine", "interpolate < 0 || interpolate > 2"},
        {[&] { zolWarpAffine(col, b, rot, 1); }, "zolWarpAffine", "srcImage Rectangle ROI is degenerate to length or point"},
        {[&] { zolGetAffineTransform(a, out, trap); }, "zolGetAffineTransform", "Quadrangle is not parallelogram"},
        {[&] { zolGetAffineTransform(a, out, concave); }, "zolGetAffineTransform", "Quadrangle is concave"},
        {[&] { zolGetAffineTransform(a, out, flat); }, "zolGetAffineTransform", "Quadrangle is degenerate to triangle or length or point"},
        {[&] { zolGetAffineTransform(col, out, para); }, "zolGetAffineTransform", "srcImage Rectangle ROI is degenerate to length or point"},
        {[&] { zolWarpBilinearQ(a, w16, para, 0, 1); }, "zolWarpBilinearQ", "srcImage->depth != dstImage->depth"},
        {[&] { zolWarpPerspectiveQ(a, b, para, 2, 1); }, "zolWarpPerspectiveQ", "warpFlag != 0 && warpFlag != 1"},
        {[&] { zolWarpBilinearQ(b, b, para, 0, 1); }, "zolWarpBilinearQ", "This function is not in-place function"},
        {[&] { zolWarpBilinearQ(a, b, concave, 1, 1); }, "zolWarpBilinearQ", "Quadrangle is concave"},
        {[&] { zolWarpPerspectiveQ(a, b, flat, 0, 1); }, "zolWarpPerspectiveQ", "Quadrangle is degenerate to triangle or length or point"},
        {[&] { zolWarpPerspectiveQ(a, b, para, 0, 3); }, "zolWarpPerspectiveQ", "interpolate < 0 || interpolate > 2"},
        {[&] { zolWarpBilinearQ(col, b, para, 0, 1); }, "zolWarpBilinearQ", "srcImage Rectangle ROI is degenerate to length or point"},
        {[&] { zolWarpPerspectiveQ(a, row, para, 1, 2); }, "zolWarpPerspectiveQ", "dstImage Rectangle ROI is degenerate to length or point"},
        {[&] { zolWarpPerspective(a, b, pc, 5, 1); }, "zolWarpPerspective", ""},
        {[&] { zolWarpBilinear(a, b, nullptr, 0, 1); }, "zolWarpBilinear", ""},
        {[&] { zolWarpBilinearQ(a, b, huge, 0, 1); }, nullptr, nullptr},  // writes nothing, reports nothing
        {[&] { zolWarpPerspectiveQ(a, b, huge, 1, 1); }, nullptr, nullptr},
    };
    b.randomize(9);
    for (const Case& c : cases) {
        const auto before = b.bytes();
        kit::Recorder rec;
        c.call();
        EXPECT_EQ(before, b.bytes()) << c.ctx;
        if (!c.func) {
            EXPECT_TRUE(rec.none());
            continue;
        }
        ASSERT_FALSE(rec.reports().empty()) << c.ctx;
        // The failed condition comes first; a wrapper's empty report last.
        const kit::Report& r = *c.ctx ? rec.reports().front() : rec.reports().back();
        EXPECT_EQ(r.func, c.func);
        EXPECT_EQ(r.context, c.ctx);
    }
    // A source of one column is legal with the quadrangle in the source, and
    // samples nearest from that column whatever the mode.
    col.randomize(3);
    kit::Recorder rec;
    zolWarpBilinearQ(col, b, para, 1, ZOL_INTER_CUBIC);
    EXPECT_TRUE(rec.none());
    int changed = 0;
    for (int i = 0; i < 64; ++i) {
        bool fromColumn = false;
        for (int k = 0; k < 8; ++k) fromColumn = fromColumn || kit::get(b, i % 8, i / 8, 0) == kit::get(col, 2, k, 0);
        changed += fromColumn;
    }
    EXPECT_GT(changed, 3);
}

// Quadrangle from coefficients and back, for both mappings, on a region
// that sits off the origin and is cut by the image; every corner is
// checked against the mapping formula itself.
TEST(WarpProjective, HelpersRoundTrip) {
    Image im(ZOL_DEPTH_8U, 1, 20, 10);
    im.setRoi(0, 3, 2, 40, 5);  // cut to 17 x 5: corners (3, 2) and (19, 6)
    const double xs[4] = {3, 19, 19, 3}, ys[4] = {2, 2, 6, 6};
    const double quads[][4][2] = {{{1, 2}, {30, -3}, {26, 14}, {-4, 11}},   // general convex
                                  {{2, 1}, {12, 1}, {9, 8}, {4, 8}},        // trapezium
                                  {{-4, 11}, {26, 14}, {30, -3}, {1, 2}}};  // other way round
    for (const auto& q : quads) {
        kit::Recorder rec;
        double b[2][4], p[3][3], qb[4][2], qp[4][2], rb[2][2], rp[2][2];
        zolGetBilinearTransform(im, b, q);
        zolGetPerspectiveTransform(im, p, q);
        zolGetBilinearQuad(im, b, qb);
        zolGetPerspectiveQuad(im, p, qp);
        zolGetBilinearBound(im, b, rb);
        zolGetPerspectiveBound(im, p, rp);
        EXPECT_TRUE(rec.none());
        for (int i = 0; i < 4; ++i) {
            const double x = xs[i], y = ys[i], d = p[2][0] * x + p[2][1] * y + p[2][2];
            EXPECT_NEAR(b[0][0] * x * y + b[0][1] * x + b[0][2] * y + b[0][3], q[i][0], 1e-9);
            EXPECT_NEAR(b[1][0] * x * y + b[1][1] * x + b[1][2] * y + b[1][3], q[i][1], 1e-9);
            EXPECT_NEAR((p[0][0] * x + p[0][1] * y + p[0][2]) / d, q[i][0], 1e-9);
            EXPECT_NEAR((p[1][0] * x + p[1][1] * y + p[1][2]) / d, q[i][1], 1e-9);
            for (int k = 0; k < 2; ++k) {
                EXPECT_NEAR(qb[i][k], q[i][k], 1e-9);
                EXPECT_NEAR(qp[i][k], q[i][k], 1e-9);
                EXPECT_TRUE(rb[0][k] <= qb[i][k] && qb[i][k] <= rb[1][k]);
                EXPECT_TRUE(rp[0][k] <= qp[i][k] && qp[i][k] <= rp[1][k]);
            }
        }
        for (int k = 0; k < 2; ++k) {  // the bound is reached
            EXPECT_TRUE(rb[0][k] == qb[0][k] || rb[0][k] == qb[1][k] || rb[0][k] == qb[2][k] || rb[0][k] == qb[3][k]);
            EXPECT_TRUE(rp[1][k] == qp[0][k] || rp[1][k] == qp[1][k] || rp[1][k] == qp[2][k] || rp[1][k] == qp[3][k]);
        }
    }
    // A parallelogram is affine: no perspective row, no xy term.
    const double para[4][2] = {{0, 0}, {4, 1}, {5, 5}, {1, 4}};
    double b[2][4], p[3][3];
    zolGetBilinearTransform(im, b, para);
    zolGetPerspectiveTransform(im, p, para);
    EXPECT_NEAR(b[0][0], 0, 1e-12);
    EXPECT_NEAR(b[1][0], 0, 1e-12);
    EXPECT_NEAR(p[2][0], 0, 1e-12);
    EXPECT_NEAR(p[2][1], 0, 1e-12);
}

TEST(WarpProjective, HelpersBadCallsReport) {
    Image a(ZOL_DEPTH_8U, 1, 8, 8), col(ZOL_DEPTH_8U, 1, 8, 8), out_(ZOL_DEPTH_8U, 1, 8, 8);
    col.setRoi(0, 2, 0, 1, 8);
    out_.setRoi(0, 20, 0, 3, 3);
    const double good[4][2] = {{0, 0}, {4, 1}, {5, 5}, {1, 4}};
    const double concave[4][2] = {{0, 0}, {4, 0}, {1, 1}, {0, 4}}, flat[4][2] = {{0, 0}, {1, 1}, {1, 1}, {0, 3}};
    const double bc[2][4] = {{0, 1, 0, 0}, {0, 0, 1, 0}}, pc[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    double b[2][4], p[3][3], q[4][2], r[2][2];
    const double sentinel = -12345.5;
    struct Case { std::function<void()> call; const char* func; const char* ctx; };
    const Case cases[] = {
        {[&] { zolGetBilinearTransform(a, b, concave); }, "zolGetBilinearTransform", "Quadrangle is concave"},
        {[&] { zolGetPerspectiveTransform(a, p, flat); }, "zolGetPerspectiveTransform", "Quadrangle is degenerate to triangle or length or point"},
        {[&] { zolGetBilinearTransform(col, b, good); }, "zolGetBilinearTransform", "image Rectangle ROI is degenerate to length or point"},
        {[&] { zolGetPerspectiveTransform(col, p, good); }, "zolGetPerspectiveTransform", "image Rectangle ROI is degenerate to length or point"},
        {[&] { zolGetPerspectiveTransform(out_, p, good); }, "zolGetPerspectiveTransform", "Bad rect ROI"},
        {[&] { zolGetBilinearQuad(out_, bc, q); }, "zolGetBilinearQuad", "Bad rect ROI"},
        {[&] { zolGetPerspectiveQuad(nullptr, pc, q); }, "zolGetPerspectiveQuad", "Incorrect Image"},
        {[&] { zolGetPerspectiveBound(out_, pc, r); }, "zolGetPerspectiveBound", ""},
        {[&] { zolGetBilinearBound(out_, bc, r); }, "zolGetBilinearBound", ""},
    };
    for (const Case& c : cases) {
        for (double* v : {&b[0][0], &p[0][0], &q[0][0], &r[0][0]}) v[0] = sentinel;
        kit::Recorder rec;
        c.call();
        ASSERT_FALSE(rec.reports().empty()) << c.ctx;
        EXPECT_EQ(rec.reports().back().func, c.func);
        EXPECT_EQ(rec.reports().back().context, c.ctx);
        for (double* v : {&b[0][0], &p[0][0], &q[0][0], &r[0][0]}) EXPECT_EQ(v[0], sentinel) << c.ctx;
    }
}

// The expected destination of the bilinear (kind 1) or perspective (kind
// 2) warp by the quadrangle q with warpFlag flag (0: q in the destination,
// its pixels written; 1: q in the source, every pixel whose sample lies in
// the source region written).
void projModel(const ZolImage* src, const ZolImage* dst, ZolImage* want, const double q[4][2], int flag, int kind,
               int mode) {
    const Src S = srcOf(src);
    const Box rs = S.r, rd = regionOf(dst);
    const int n = src->roi && src->roi->coi ? 1 : src->nChannels, dc = dst->roi && dst->roi->coi ? dst->roi->coi - 1 : 0;
    // Forward maps of the local rectangle onto q, from the helpers.
    double F[3][3], Bc[2][4];
    Image local(ZOL_DEPTH_8U, 1, flag ? rd.w : rs.w, flag ? rd.h : rs.h);
    zolGetPerspectiveTransform(local, F, q);
    zolGetBilinearTransform(local, Bc, q);
    const double *f = &F[0][0], *p = &q[0][0];
    // Rows of the chains: numerators and denominator (perspective), or L, N, M (bilinear).
    double K[9] = {f[8] * f[4] - f[5] * f[7], f[2] * f[7] - f[8] * f[1], f[5] * f[1] - f[2] * f[4],
                   f[5] * f[6] - f[8] * f[3], f[8] * f[0] - f[6] * f[2], f[2] * f[3] - f[0] * f[5],
                   f[3] * f[7] - f[6] * f[4], f[6] * f[1] - f[7] * f[0], f[4] * f[0] - f[1] * f[3]};
    if (flag) std::copy(f, f + 9, K);
    const double W = rs.w - 1, H = rs.h - 1, Sx = (p[6] - p[4]) + (p[2] - p[0]), Sy = (p[7] - p[5]) + (p[3] - p[1]);
    const double A = (p[6] - p[4]) * (p[3] - p[1]) - (p[2] - p[0]) * (p[7] - p[5]);
    const double B = (p[4] - p[2]) * (p[1] - p[7]) - (p[0] - p[6]) * (p[5] - p[3]);
    const double E = (p[3] - p[1]) * (p[0] - p[6]) - (p[2] - p[0]) * (p[1] - p[7]);
    const bool o = (p[1] - p[7]) * (p[6] - p[4]) - (p[0] - p[6]) * (p[7] - p[5]) > 0, plus = (o && A > 0) || (!o && A < 0);
    const int kase = std::fabs(A) > 1e-10 ? (std::fabs(B) > 1e-10 ? 0 : 2) : (std::fabs(B) > 1e-10 ? 1 : 3);
    const double dA = kase == 1 || kase == 3 ? 1 : A, dB = kase >= 2 ? 1 : B, dE = kase == 3 ? E : 1;  // divisors in use
    const double m = 1.0 / (2.0 * dA / W), bh = dB / H;
    double Q[10] = {-Sy * m, Sx * m, 0, -(dA / W) / bh, (p[1] - p[7]) * W * W / dA, -Sy / bh, -(p[0] - p[6]) * W * W / dA, Sx / bh};
    if (kase == 0) Q[2] = -E * m - (Q[0] * p[0] + Q[1] * p[1]);
    if (kase == 1 || kase == 2) {
        const double Q1[8] = {Sy, -Sx, (kase == 1 ? E : -E) - (Sy * p[0] - Sx * p[1]), 0, -(p[1] - p[7]) * W, -Sy * H / dB, (p[0] - p[6]) * W, Sx * H / dB};
        const double Q2[8] = {Sy, -Sx, Q1[2], 0, -Sy * W / dA, (p[3] - p[1]) * H, Sx * W / dA, -(p[2] - p[0]) * H};
        std::copy(kase == 1 ? Q1 : Q2, (kase == 1 ? Q1 : Q2) + 8, Q);
    }
    if (kase == 3) {
        const double Q3[8] = {0, 0, 0, 0, -(p[1] - p[7]) * W / dE, -(p[3] - p[1]) * H / dE, (p[0] - p[6]) * W / dE, (p[2] - p[0]) * H / dE};
        std::copy(Q3, Q3 + 8, Q);
    }
    Q[8] = -(Q[4] * p[0] + Q[6] * p[1]), Q[9] = -(Q[5] * p[0] + Q[7] * p[1]);
    if (kind == 1 && !flag) {
        const double L[9] = {Q[0], Q[1], Q[2], Q[4], Q[6], Q[8], Q[5], Q[7], Q[9]};
        std::copy(L, L + 9, K);
    }
    int64_t c[8];
    for (int r = 0; r < 8; ++r) c[r] = std::llround(Bc[r / 4][r % 4] * 65536);
    const int64_t half = mode == 0 ? 32768 : 0;
    for (int y = rd.y; y < rd.y + rd.h; ++y) {
        double ch[3];
        bool started = false;  // chains start at the row's first pixel written (its first column, flag 1)
        for (int x = rd.x; x < rd.x + rd.w; ++x) {
            if (!flag && !inside(q, x, y)) continue;
            const double X = flag ? x - rd.x : x, Y = flag ? y - rd.y : y;
            for (int r = 0; r < 3; ++r) ch[r] = started ? ch[r] + K[3 * r] : K[3 * r] * X + K[3 * r + 1] * Y + K[3 * r + 2];
            started = true;
            double u = ch[1], v = ch[2];
            if (kind == 2) u = ch[0] * (1.0 / ch[2]), v = ch[1] * (1.0 / ch[2]);
            else if (kase == 0) u = ch[0] + (plus ? 1 : -1) * std::sqrt(std::max(ch[0] * ch[0] - ch[1], 0.0)), v = Q[3] * u + ch[2];
            else if (kase == 1) u = ch[1] / ch[0];
            else if (kase == 2) v = ch[2] / ch[0];
            const int64_t fu = c[3] + int64_t(Y) * c[2] + int64_t(X) * (c[1] + int64_t(Y) * c[0]) + half - (int64_t(rs.x) << 16);
            const int64_t fv = c[7] + int64_t(Y) * c[6] + int64_t(X) * (c[5] + int64_t(Y) * c[4]) + half - (int64_t(rs.y) << 16);
            const bool fixed = flag && kind == 1, dbl = !fixed || (src->depth == ZOL_DEPTH_16U && mode > 0);
            if (fixed) u = fu / 65536.0, v = fv / 65536.0;
            const int ox = flag && !fixed ? rs.x : 0, oy = flag && !fixed ? rs.y : 0;
            const int64_t i = fixed ? fu >> 16 : dIndex(u, mode) - ox, j = fixed ? fv >> 16 : dIndex(v, mode) - oy;
            if (flag && (i < 0 || i >= rs.w || j < 0 || j >= rs.h)) continue;
            for (int k = 0; k < n; ++k)
                kit::set(want, x, y, dc + k, dbl ? doubleSample(S, u, v, ox, oy, k, mode) : fixedSample(S, fu, fv, k, mode));
        }
    }
}

// Shapes of quadrangles in the unit square: general, trapezia with
// parallel top and bottom or left and right sides, a parallelogram, and a
// general one running the other way round.
const double kShapes[][4][2] = {{{0.1, 0.05}, {0.9, 0.2}, {1, 0.95}, {0, 0.8}}, {{0.25, 0}, {0.75, 0}, {1, 1}, {0, 1}},
                                {{0, 0.2}, {1, 0}, {1, 1}, {0, 0.8}}, {{0.2, 0}, {1, 0.1}, {0.8, 1}, {0, 0.9}},
                                {{0, 0.8}, {1, 0.95}, {0.9, 0.2}, {0.1, 0.05}}};

void warpQ(int kind, ZolImage* s, ZolImage* d, const double q[4][2], int flag, int mode) {
    if (kind == 1) zolWarpBilinearQ(s, d, q, flag, mode);
    else zolWarpPerspectiveQ(s, d, q, flag, mode);
}

TEST(WarpProjective, MatchesModelAndTiledMatchesUntiled) {
    std::mt19937 g(67);
    for (int round = 0; round < 800; ++round) {
        const int kind = 1 + round % 2, flag = (round / 2) % 2;
        Pair p = randomPair(g, (round / 4) % 5);
        if (p.rs.w < 4 || p.rs.h < 4 || p.rd.w < 2 || p.rd.h < 2) continue;
        // In the destination (flag 0) or the source (flag 1), partly outside at times.
        const Box& on = flag ? p.rs : p.rd;
        const auto& shape = kShapes[pick(g, 0, 4)];
        const double sx = on.w * uni(g, 0.5, 1.4), sy = on.h * uni(g, 0.5, 1.4);
        const double ox = on.x + uni(g, -3, 0.3 * on.w), oy = on.y + uni(g, -3, 0.3 * on.h);
        double q[4][2];
        for (int i = 0; i < 4; ++i) q[i][0] = ox + sx * shape[i][0], q[i][1] = oy + sy * shape[i][1];
        SCOPED_TRACE(testing::Message() << "round " << round << " kind " << kind << " flag " << flag << " mode " << p.mode);
        expectModel(g, p, [&](ZolImage* want) { projModel(p.src, p.dst, want, q, flag, kind, p.mode); },
                    [&](ZolImage* s, ZolImage* d) { warpQ(kind, s, d, q, flag, p.mode); });
    }
}

// The square-root inverse checked by geometry alone: pixels whose values
// name their source position land within two pixels of where the bilinear
// map takes that position, either way round.
TEST(WarpProjective, BilinearSamplesComeFromTheMappedPosition) {
    Image src(ZOL_DEPTH_16U, 1, 30, 20);
    for (int i = 0; i < 600; ++i) kit::set(src, i % 30, i / 30, 0, 1 + i);
    for (int s : {0, 4}) {
        Image dst(ZOL_DEPTH_16U, 1, 41, 33);
        double q[4][2], c[2][4];
        for (int i = 0; i < 8; ++i) q[i / 2][i % 2] = (40 - 8 * (i % 2)) * kShapes[s][i / 2][i % 2];
        zolGetBilinearTransform(src, c, q);
        zolWarpBilinearQ(src, dst, q, 0, ZOL_INTER_NN);
        int written = 0;
        for (int y = 0; y < 33; ++y)
            for (int x = 0; x < 41; ++x)
                if (const int64_t val = kit::get(dst, x, y, 0)) {
                    const double i = double((val - 1) % 30), j = double((val - 1) / 30);
                    ++written;
                    ASSERT_LT(std::hypot(c[0][0] * i * j + c[0][1] * i + c[0][2] * j + c[0][3] - x,
                                         c[1][0] * i * j + c[1][1] * i + c[1][2] * j + c[1][3] - y), 2.0) << x << "," << y;
                }
        EXPECT_GT(written, 400);
    }
}

// An affine matrix with exact positions gives the same pixels through all
// three warps; linear rounds halves up; the coefficient forms equal the
// quadrangle forms on the quadrangle of their helpers.
TEST(WarpProjective, AgreesWithAffineAndQuadForms) {
    const double mats[][2][3] = {{{2, 0, 1.5}, {0, 2, 3}}, {{0, -2, 40}, {2, 0, -3}}, {{0.5, 0, 2}, {0, 0.5, 1}}};
    for (int depth : {ZOL_DEPTH_1U, ZOL_DEPTH_8U, ZOL_DEPTH_16U})
        for (const auto& m : mats)
            for (int mode = 0; mode <= (depth == ZOL_DEPTH_16U ? 2 : 0); ++mode) {
                Image src(depth, 1, 23, 17), a(depth, 1, 45, 41), p(depth, 1, 45, 41), b(depth, 1, 45, 41);
                src.randomize(7);
                src.setRoi(0, 3, 2, 17, 13);
                const double pc[3][3] = {{m[0][0], m[0][1], m[0][2]}, {m[1][0], m[1][1], m[1][2]}, {0, 0, 1}};
                const double bc[2][4] = {{0, m[0][0], m[0][1], m[0][2]}, {0, m[1][0], m[1][1], m[1][2]}};
                zolWarpAffine(src, a, m, mode);
                EXPECT_EQ(zolWarpPerspective(src, p, pc, 0, mode) + zolWarpBilinear(src, b, bc, 0, mode), 0);
                EXPECT_EQ(a.bytes(), p.bytes()) << depth << " " << m[0][0] << " mode " << mode;
                EXPECT_EQ(a.bytes(), b.bytes()) << depth << " " << m[0][0] << " mode " << mode;
            }
    for (int depth : {ZOL_DEPTH_8U, ZOL_DEPTH_16U}) {
        Image s(depth, 1, 6, 3), d(depth, 1, 11, 3);
        for (int x = 0; x < 18; ++x) kit::set(s, x % 6, x / 6, 0, (x % 6) * (x % 6) + 10 * (x / 6));  // odd steps
        const double twice[3][3] = {{2, 0, 0}, {0, 1, 0}, {0, 0, 1}};
        zolWarpPerspective(s, d, twice, 0, ZOL_INTER_LINEAR);
        for (int x = 1; x < 11; x += 2)
            EXPECT_EQ(kit::get(d, x, 1, 0), (kit::get(s, x / 2, 1, 0) + kit::get(s, x / 2 + 1, 1, 0) + 1) / 2) << x;
    }
    const double pc[3][3] = {{0.9, 0.2, 2.5}, {-0.1, 1.1, 1.25}, {0.004, -0.003, 1}};
    const double bc[2][4] = {{0.01, 0.9, 0.2, 2.5}, {-0.006, -0.1, 1.1, 1.25}};
    for (int flag : {0, 1}) {
        Image src(ZOL_DEPTH_8U, 3, 27, 21), c1(ZOL_DEPTH_8U, 3, 33, 29), q1(ZOL_DEPTH_8U, 3, 33, 29);
        src.randomize(3);
        src.setRoi(0, 2, 1, 20, 17);
        c1.setRoi(0, 4, 3, 21, 19);
        q1.setRoi(0, 4, 3, 21, 19);
        double q[4][2];
        zolGetPerspectiveQuad(flag ? c1.get() : src.get(), pc, q);
        zolWarpPerspectiveQ(src, q1, q, flag, ZOL_INTER_LINEAR);
        zolGetBilinearQuad(flag ? c1.get() : src.get(), bc, q);
        zolWarpBilinearQ(src, q1, q, flag, ZOL_INTER_CUBIC);
        EXPECT_EQ(zolWarpPerspective(src, c1, pc, flag, ZOL_INTER_LINEAR) + zolWarpBilinear(src, c1, bc, flag, ZOL_INTER_CUBIC), 0);
        EXPECT_EQ(c1.bytes(), q1.bytes()) << flag;
    }
}

}  // namespace
