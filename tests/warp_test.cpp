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

// The expected destination of zolWarpAffine(src, dst, c, mode) for the
// general path, when the quadrangle's top vertex lies inside the
// destination rectangle's columns (so the scan starts at its row).
void model(const ZolImage* src, const ZolImage* dst, ZolImage* want, const double c[2][3], int mode) {
    const Box rs = regionOf(src), rd = regionOf(dst);
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
    const int iw = src->width - rs.x, ih = src->height - rs.y;
    const int n = src->roi && src->roi->coi ? 1 : src->nChannels;
    const int sc = src->roi && src->roi->coi ? src->roi->coi - 1 : 0;
    const int dc = dst->roi && dst->roi->coi ? dst->roi->coi - 1 : 0;
    auto S = [&](int64_t i, int64_t j, int k) { return kit::get(src, rs.x + int(i), rs.y + int(j), sc + k); };
    for (int y = rd.y; y < rd.y + rd.h; ++y)
        for (int x = rd.x; x < rd.x + rd.w; ++x) {
            bool in = true;
            for (int e = 0; e < 4; ++e) {
                const double* a = q[e];
                const double* b = q[(e + 1) % 4];
                const double cr = (b[0] - a[0]) * (y - a[1]) - (b[1] - a[1]) * (x - a[0]);
                in = in && (D > 0 ? cr >= 0 : cr <= 0);
            }
            if (!in) continue;
            const int64_t A16 = std::llround(A * 65536), B16 = std::llround(B * 65536);
            const int64_t E16 = std::llround(E * 65536), F16 = std::llround(F * 65536);
            const int64_t u = std::llround((anchor * B + C) * 65536) + (y - anchor) * B16 + x * A16;
            const int64_t v = std::llround((anchor * F + G) * 65536) + (y - anchor) * F16 + x * E16;
            for (int k = 0; k < n; ++k) {
                int64_t out;
                if (mode == 0) {
                    out = S(std::clamp<int64_t>((u + 32768) >> 16, 0, rs.w - 1),
                            std::clamp<int64_t>((v + 32768) >> 16, 0, rs.h - 1), k);
                } else if (src->depth == ZOL_DEPTH_16U) {
                    double ud = A * rd.x + B * y + C, vd = E * rd.x + F * y + G;
                    for (int t = rd.x; t < x; ++t) ud += A, vd += E;
                    int64_t i = int64_t(std::nearbyint(ud + 1e-7 - 0.5)), j = int64_t(std::nearbyint(vd + 1e-7 - 0.5));
                    if (mode == 1) {
                        i = std::clamp<int64_t>(i, 0, iw - 2), j = std::clamp<int64_t>(j, 0, ih - 2);
                        const double fx = ud - i, fy = vd - j;
                        const double a = S(i, j, k) + (S(i + 1, j, k) - S(i, j, k)) * fx;
                        const double b = S(i, j + 1, k) + (S(i + 1, j + 1, k) - S(i, j + 1, k)) * fx;
                        out = int64_t(std::nearbyint(a + (b - a) * fy + 1e-7));
                    } else {
                        const int64_t ib = i < 1 ? 0 : i >= iw - 2 ? iw - 4 : i - 1;
                        const int64_t jb = j < 1 ? 0 : j >= ih - 2 ? ih - 4 : j - 1;
                        const auto fu = zol::geo::cubicFactors(float(ud - ib - 1)), fv = zol::geo::cubicFactors(float(vd - jb - 1));
                        float r[4];
                        for (int m = 0; m < 4; ++m)
                            r[m] = zol::geo::cubic(float(S(ib, jb + m, k)), float(S(ib + 1, jb + m, k)),
                                                   float(S(ib + 2, jb + m, k)), float(S(ib + 3, jb + m, k)), fu);
                        out = std::clamp<int64_t>(int64_t(std::nearbyint(double(zol::geo::cubic(r[0], r[1], r[2], r[3], fv)) + 1e-7)), 0, 65535);
                    }
                } else if (mode == 1) {
                    const int64_t uc = std::clamp<int64_t>(u, 0, int64_t(iw - 1) << 16);
                    const int64_t vc = std::clamp<int64_t>(v, 0, int64_t(ih - 1) << 16);
                    const int64_t i = std::min<int64_t>(uc >> 16, iw - 2), j = std::min<int64_t>(vc >> 16, ih - 2);
                    const int64_t wx = (uc - (i << 16)) >> 2, wy = (vc - (j << 16)) >> 2;
                    const int64_t h0 = (S(i, j, k) * (16384 - wx) + S(i + 1, j, k) * wx) >> 8;
                    const int64_t h1 = (S(i, j + 1, k) * (16384 - wx) + S(i + 1, j + 1, k) * wx) >> 8;
                    out = (h0 * (16384 - wy) + h1 * wy) >> 20;
                } else {
                    const int64_t ib = u < 65536 ? 0 : (u >> 16) >= iw - 2 ? iw - 4 : (u >> 16) - 1;
                    const int64_t jb = v < 65536 ? 0 : (v >> 16) >= ih - 2 ? ih - 4 : (v >> 16) - 1;
                    int64_t r[4];
                    for (int m = 0; m < 4; ++m)
                        r[m] = (cubic8(S(ib, jb + m, k), S(ib + 1, jb + m, k), S(ib + 2, jb + m, k),
                                       S(ib + 3, jb + m, k), u - (ib << 16) - 65536) + 8) >> 4;
                    out = std::clamp<int64_t>((cubic8(r[0], r[1], r[2], r[3], v - (jb << 16) - 65536) + 8) >> 4, 0, 255);
                }
                kit::set(want, x, y, dc + k, out);
            }
        }
}

Image copyOf(const ZolImage* im) {
    Image c(im->depth, im->nChannels, im->width, im->height, im->dataOrder, im->align);
    std::copy(im->imageData, im->imageData + im->imageSize, c->imageData);
    return c;
}

TEST(WarpAffine, MatchesModelAndTiledMatchesUntiled) {
    std::mt19937 g(61);
    int checked = 0;
    for (int round = 0; round < 600; ++round) {
        const int kind = round % 5;  // 1U, 8U c1, 8U c3 pixel, 8U c3 plane, 16U c1
        const int depth = kind == 0 ? ZOL_DEPTH_1U : kind == 4 ? ZOL_DEPTH_16U : ZOL_DEPTH_8U;
        const int nCh = kind == 2 || kind == 3 ? 3 : 1;
        const int order = kind == 3 ? ZOL_DATA_ORDER_PLANE : ZOL_DATA_ORDER_PIXEL;
        const int mode = depth == ZOL_DEPTH_1U ? 0 : pick(g, 0, 2);
        Image src(depth, nCh, pick(g, 5, 30), pick(g, 5, 30), order), dst(depth, nCh, pick(g, 5, 40), pick(g, 5, 40), order);
        src.randomize(g());
        dst.randomize(g());
        if (g() % 2) src.setRoi(0, pick(g, 0, 2), pick(g, 0, 2), pick(g, 4, src->width), pick(g, 4, src->height));
        if (g() % 2) dst.setRoi(0, pick(g, 0, 3), pick(g, 0, 3), pick(g, 3, dst->width), pick(g, 3, dst->height));
        const double ang = uni(g, 0.05, 6.2), sc = uni(g, 0.6, 1.5);
        const double c[2][3] = {{sc * std::cos(ang), sc * std::sin(ang), uni(g, -5, 30)},
                                {-sc * std::sin(ang), sc * std::cos(ang), uni(g, -5, 30)}};
        const Box rs = regionOf(src), rd = regionOf(dst);
        if (mode == 2 && (rs.w < 4 || rs.h < 4)) continue;
        // The model starts its rows at the quadrangle's top vertex.
        double top[2] = {0, 1e9};
        for (int i = 0; i < 4; ++i) {
            const double x = c[0][0] * (i == 1 || i == 2 ? rs.x + rs.w - 1 : rs.x) + c[0][1] * (i >= 2 ? rs.y + rs.h - 1 : rs.y) + c[0][2];
            const double y = c[1][0] * (i == 1 || i == 2 ? rs.x + rs.w - 1 : rs.x) + c[1][1] * (i >= 2 ? rs.y + rs.h - 1 : rs.y) + c[1][2];
            if (y < top[1]) top[0] = x, top[1] = y;
        }
        if (top[0] < rd.x || top[0] > rd.x + rd.w - 1 || top[1] > rd.y + rd.h - 1) continue;
        SCOPED_TRACE(testing::Message() << "round " << round << " kind " << kind << " mode " << mode);
        Image want = copyOf(dst), plain = copyOf(dst);
        if (dst->roi) plain.setRoi(0, dst->roi->xOffset, dst->roi->yOffset, dst->roi->width, dst->roi->height);
        model(src, dst, want, c, mode);
        kit::Recorder rec;
        zolWarpAffine(src, plain, c, mode);
        EXPECT_TRUE(rec.none());
        ASSERT_EQ(want.bytes(), plain.bytes());
        ++checked;
        // The same call through tiles on either side or both.
        kit::TileServer ts(src, 8 * pick(g, 1, 2), 8 * pick(g, 1, 2)), td(dst, 8 * pick(g, 1, 3), 8);
        for (ZolImage* t : {ts.image(), td.image()}) {
            const ZolImage* from = t == ts.image() ? src.get() : dst.get();
            if (from->roi) t->roi = zolCreateROI(0, from->roi->xOffset, from->roi->yOffset, from->roi->width, from->roi->height);
        }
        const int how = pick(g, 0, 2);
        zolWarpAffine(how == 1 ? src.get() : ts.image(), how == 0 ? dst.get() : td.image(), c, mode);
        EXPECT_TRUE(rec.none());
        ASSERT_EQ(want.bytes(), dst.bytes()) << "tiled " << how;
        EXPECT_TRUE(ts.breaches().empty() && td.breaches().empty());
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
    Image s8(ZOL_DEPTH_8S, 1, 8, 8), s8b(ZOL_DEPTH_8S, 1, 8, 8), col(ZOL_DEPTH_8U, 1, 8, 8);
    col.setRoi(0, 2, 0, 1, 8);
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
    };
    b.randomize(9);
    for (const Case& c : cases) {
        const auto before = b.bytes();
        kit::Recorder rec;
        c.call();
        ASSERT_FALSE(rec.reports().empty()) << c.ctx;
        EXPECT_EQ(rec.reports()[0].func, c.func);
        EXPECT_EQ(rec.reports()[0].context, c.ctx);
        EXPECT_EQ(before, b.bytes()) << c.ctx;
    }
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

}  // namespace
