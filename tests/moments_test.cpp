// Moments against the defined double-precision row sums over random
// regions, channels, masks and tiles; closed forms; the order of the
// additions where it shows; checks and readers.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstring>
#include <functional>

#include "subjects.h"
#include "tiles.h"

namespace {

using subj::pick;
using subj::Subject;

double valueAt(const ZolImage* im, int x, int y, int c) {
    const int64_t v = kit::get(im, x, y, c);
    if (im->depth != ZOL_DEPTH_32F) return double(v);
    float f;
    const uint32_t bits = uint32_t(v);
    std::memcpy(&f, &bits, 4);
    return f;
}

// The moments as defined: per row, sums of p, p*x, p*x*x, p*x*x*x in
// order of x, then scaled by powers of y.
void model(const Subject& s, double M[4][4]) {
    int x0, y0, w, h, mx = 0, my = 0, mw, mh;
    s.region(x0, y0, w, h);
    const bool masked = s.maskRegion(mx, my, mw, mh);
    if (masked) w = std::min(w, mw), h = std::min(h, mh);
    const int c = s.img->nChannels == 1 ? 0 : s.img->roi->coi - 1;
    std::memset(M, 0, sizeof(double) * 16);
    for (int j = 0; j < h; ++j) {
        double S[4] = {}, y = y0 + j;
        for (int i = 0; i < w; ++i) {
            if (masked && !s.maskBit(mx + i, my + j)) continue;
            const double p = valueAt(s.img, x0 + i, y0 + j, c), x = x0 + i;
            S[0] += p, S[1] += p * x, S[2] += p * x * x, S[3] += p * x * x * x;
        }
        for (int m = 0; m < 4; ++m) M[m][0] += S[m];
        for (int m = 0; m < 3; ++m) M[m][1] += y * S[m];
        for (int m = 0; m < 2; ++m) M[m][2] += y * y * S[m];
        M[0][3] += y * y * y * S[0];
    }
}

TEST(Moments, AgreeWithModel) {
    for (uint32_t seed = 0; seed < 350; ++seed) {
        std::mt19937 g(seed);
        const int depth = kit::allDepths()[seed % 7];
        subj::Options o;
        o.nCh = depth == ZOL_DEPTH_1U ? 1 : pick(g, 1, 3);
        if (o.nCh > 1) o.coi = pick(g, 1, o.nCh);
        Subject s;
        subj::build(s, g, depth, o);
        if (depth == ZOL_DEPTH_32F)  // ordinary numbers, no NaN
            for (int i = 0; i + 4 <= s.img->imageSize; i += 4) {
                const float f = float(pick(g, -100000, 100000)) / 7.0f;
                std::memcpy(s.img->imageData + i, &f, 4);
            }
        double M[4][4];
        model(s, M);
        int x0, y0, w, h;
        s.region(x0, y0, w, h);
        ZolROI* roi = s.arg()->roi;
        ZolMomentState st;
        std::memset(&st, 0x5A, sizeof st);
        const ZolMomentState before = st;
        kit::Recorder rec;
        zolMoments(s.arg(), &st);
        ASSERT_TRUE(rec.none()) << "seed " << seed;
        ASSERT_EQ(roi, s.arg()->roi);
        ASSERT_TRUE(subj::released(s)) << "seed " << seed;
        int mx, my, mw, mh;
        if (s.maskRegion(mx, my, mw, mh)) w = std::min(w, mw), h = std::min(h, mh);
        if (w < 1 || h < 1) {
            ASSERT_EQ(0, std::memcmp(&before, &st, sizeof st)) << "seed " << seed;
            ASSERT_EQ(0.0, zolSpatialMoment(s.arg(), 1, 0));
            continue;
        }
        // Tiles add per tile: another order, exact only where sums are integers.
        const bool inexact = s.tiles && (depth == ZOL_DEPTH_32S || depth == ZOL_DEPTH_32F);
        for (int m = 0; m < 4; ++m)
            for (int n = 0; m + n < 4; ++n) {
                const double v = st.entry[m][n].value;
                if (inexact) ASSERT_NEAR(M[m][n], v, 1e-12 * std::fabs(M[m][n]) + 1e-9) << seed;
                else ASSERT_EQ(M[m][n], v) << "seed " << seed << " m" << m << n;
                ASSERT_EQ(v, zolSpatialMoment(s.arg(), m, n)) << "seed " << seed;
                double am = 1.0, bn = 1.0;
                for (int k = 0; k < m; ++k) am *= 1.0 / w;
                for (int k = 0; k < n; ++k) bn *= 1.0 / h;
                ASSERT_EQ(am * bn, st.entry[m][n].scale);
                ASSERT_EQ(v / (std::pow(double(w), m) * std::pow(double(h), n)),
                          zolNormalizedSpatialMoment(s.arg(), m, n));
                ASSERT_EQ(zolGetCentralMoment(&st, m, n), zolCentralMoment(s.arg(), m, n));
            }
        ASSERT_TRUE(rec.none()) << "seed " << seed;
    }
}

// One bright pixel and a ramp, at an offset: image coordinates, and
// central moments of a point that are exactly 0.
TEST(Moments, ClosedForms) {
    kit::Image a(ZOL_DEPTH_16S, 2, 9, 7);
    kit::set(a, 3, 2, 1, -5);
    a.setRoi(2, 3, 2, 6, 5);
    ZolMomentState st;
    zolMoments(a, &st);
    const double want[4][4] = {{-5, -10, -20, -40}, {-15, -30, -60}, {-45, -90}, {-135}};
    for (int m = 0; m < 4; ++m)
        for (int n = 0; m + n < 4; ++n) {
            EXPECT_EQ(want[m][n], zolGetSpatialMoment(&st, m, n));
            EXPECT_EQ(m + n ? 0.0 : -5.0, zolGetCentralMoment(&st, m, n)) << m << n;
        }
    // All zero: the centre is the middle of the region's size.
    kit::Image z(ZOL_DEPTH_8U, 1, 6, 4);
    zolMoments(z, &st);
    EXPECT_EQ(0.0, zolGetCentralMoment(&st, 2, 0));
    st.entry[1][0].value = 1.0;  // then xc = 0.5 / (1/6) = 3: M20 - 3 * M10
    EXPECT_EQ(-3.0, zolGetCentralMoment(&st, 2, 0));
    // A ramp p = x: M00 = 3 * sum x, M10 = 3 * sum x^2, M20 = 3 * sum x^3.
    kit::Image r(ZOL_DEPTH_32S, 1, 10, 3);
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 10; ++x) kit::set(r, x, y, 0, x);
    EXPECT_EQ(3 * 45.0, zolSpatialMoment(r, 0, 0));
    EXPECT_EQ(3 * 285.0, zolSpatialMoment(r, 1, 0));
    EXPECT_EQ(45.0 * 3.0, zolSpatialMoment(r, 0, 1));  // rows 0, 1, 2 each 45
    EXPECT_EQ(6075.0 - 855.0 * (1.0 / 135.0) * 855.0, zolCentralMoment(r, 2, 0));
}

// Row sums past 2^53: the additions in order of x, not an exact sum.
TEST(Moments, OrderOfAdditionsPast2To53) {
    kit::Image a(ZOL_DEPTH_16U, 1, 40000, 2);
    std::mt19937 g(5);
    for (int x = 0; x < 40000; ++x) kit::set(a, x, 1, 0, 40000 + int(g() % 25000));
    a.setRoi(0, 30000, 0, 10000, 2);
    Subject s;
    s.img = std::move(a);
    double M[4][4];
    model(s, M);
    long double exact = 0;
    for (int x = 30000; x < 40000; ++x) exact += (long double)kit::get(s.img, x, 1, 0) * x * x * x;
    ASSERT_NE(double(exact), M[3][0]);  // the order shows here
    EXPECT_EQ(M[3][0], zolSpatialMoment(s.img, 3, 0));
    EXPECT_EQ(M[1][2], zolSpatialMoment(s.img, 1, 2));
    ZolMomentState st;
    zolMoments(s.img, &st);
    EXPECT_EQ(M[3][0], st.entry[3][0].value);
    EXPECT_EQ(M[2][1], st.entry[2][1].value);
}

TEST(Moments, ChecksAndReaders) {
    kit::Image c3(ZOL_DEPTH_8U, 3, 4, 4), one(ZOL_DEPTH_8U, 1, 4, 4);
    ZolMomentState st{};
    struct Row { std::function<double()> call; const char* func; const char* context; int status; };
    const Row rows[] = {
        {[&] { zolMoments(nullptr, &st); return 0.0; }, "zolMoments", "Incorrect Image", -9},
        {[&] { zolMoments(c3, &st); return 0.0; }, "zolMoments", "Only one channel can be proceed", -5},
        {[&] { return zolSpatialMoment(one, 2, 2); }, "zolSpatialMoment", "Illegal order of moment", -5},
        {[&] { return zolNormalizedCentralMoment(one, -1, 0); }, "zolNormalizedCentralMoment", "Illegal order of moment", -5},
        {[&] { return zolGetNormalizedSpatialMoment(&st, 4, 0); }, "zolGetSpatialMoment", "Illegal order of moment", -5},
        {[&] { return zolGetCentralMoment(&st, 0, 4); }, "zolGetCentralMoment", "Illegal order of moment", -5},
        {[&] { return zolGetNormalizedCentralMoment(nullptr, 1, 1); }, "zolGetNormalizedCentralMoment", "state==0", -5},
    };
    for (const Row& r : rows) {
        kit::Recorder rec;
        EXPECT_EQ(0.0, r.call());
        EXPECT_TRUE(rec.only(r.status, r.func, r.context)) << r.func << " " << r.context;
    }
    // coi 2 measures the second channel; a failed call leaves the state.
    kit::set(c3, 1, 1, 1, 9);
    c3.setRoi(2, 0, 0, 4, 4);
    EXPECT_EQ(9.0, zolSpatialMoment(c3, 0, 0));
    c3.setRoi(2, 0, 0, 0, 4);
    st.entry[0][0].value = 42.0;
    kit::Recorder rec;
    zolMoments(c3, &st);
    EXPECT_EQ(42.0, st.entry[0][0].value);
    EXPECT_EQ(1u, rec.reports().size());
    // A tile that does not come: -2, the state as it was, nothing held.
    kit::Image big(ZOL_DEPTH_8U, 1, 30, 20);
    kit::TileServer t(big, 16, 8);
    t.failAt(3);
    kit::Recorder rec2;
    zolMoments(t.image(), &st);
    EXPECT_TRUE(rec2.only(-2, "zolMoments", "Error get tile to read"));
    EXPECT_EQ(42.0, st.entry[0][0].value);
    EXPECT_TRUE(t.breaches().empty() && !t.held());
}

}  // namespace
