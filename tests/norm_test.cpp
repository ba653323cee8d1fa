// Norms against the defined sums over random regions, channel sets, masks
// on either image and tiles; closed forms; a sum whose order shows; checks.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>

#include "subjects.h"

namespace {

using subj::pick;
using subj::Subject;

// The norm as defined, or -1 for a zero denominator. Bytes and 16-bit
// magnitudes are summed per row in integers, 16-bit squares and all of 32S
// element by element in doubles, in walk order.
double model(const Subject& a, const Subject* b, int type) {
    int ax, ay, w, h, bx = 0, by = 0, bw, bh, af, bf = 0, m[2][4];
    a.region(ax, ay, w, h);
    if (b) b->region(bx, by, bw, bh), w = std::min(w, bw), h = std::min(h, bh);
    const Subject* ms[2] = {&a, b};
    for (int k = 0; k < 2; ++k) {
        if (!ms[k] || !ms[k]->maskRegion(m[k][0], m[k][1], m[k][2], m[k][3])) { ms[k] = nullptr; continue; }
        if (b || !ms[k]->mask->roi) w = std::min(w, m[k][2]), h = std::min(h, m[k][3]);
    }
    const int n = subj::channelSet(a.img, af, false);
    if (b) subj::channelSet(b->img, bf, false);
    const int depth = a.img->depth, kind = type & 7;
    const bool plane = a.img->dataOrder == ZOL_DATA_ORDER_PLANE, elementwise = depth == ZOL_DEPTH_32S ||
                       ((depth == ZOL_DEPTH_16U || depth == ZOL_DEPTH_16S) && kind == 4);
    double sum[2] = {}, row[2];
    int64_t mx[2] = {};
    auto on = [&](int i, int j) {
        for (int k = 0; k < 2; ++k)
            if (ms[k] && (m[k][0] + i >= ms[k]->mask->width || m[k][1] + j >= ms[k]->mask->height ||
                          i >= m[k][2] || j >= m[k][3] || !ms[k]->maskBit(m[k][0] + i, m[k][1] + j)))
                return false;
        return true;
    };
    auto add = [&](int i, int j, int c) {
        if (!on(i, j)) return;
        const int64_t va = kit::get(a.img, ax + i, ay + j, af + c);
        const int64_t vb = b ? kit::get(b->img, bx + i, by + j, bf + c) : 0;
        const int64_t t[2] = {std::llabs(va - vb), std::llabs(vb)};
        for (int k = 0; k < 2; ++k) {
            mx[k] = std::max(mx[k], t[k]);
            const double term = kind == 4 ? double(t[k]) * double(t[k]) : double(t[k]);
            (elementwise ? sum[k] : row[k]) += term;
        }
    };
    auto endRow = [&] { for (int k = 0; k < 2; ++k) if (!elementwise) sum[k] += row[k]; };
    for (int c = 0; c < (plane ? n : 1); ++c)
        for (int j = 0; j < h; ++j) {
            row[0] = row[1] = 0;
            for (int i = 0; i < w; ++i)
                for (int cc = 0; cc < (plane ? 1 : n); ++cc) add(i, j, plane ? c : cc);
            endRow();
        }
    double r[2];
    for (int k = 0; k < 2; ++k) {
        r[k] = kind == 1 ? (depth == ZOL_DEPTH_1U ? (mx[k] ? 1.0 : 0.0) : double(mx[k])) : sum[k];
        if (kind == 4) r[k] = std::sqrt(r[k]);
    }
    if (!(type & 8)) return r[0];
    return r[1] > DBL_MIN ? r[0] / r[1] : -1.0;
}

TEST(Norm, AgreesWithModel) {
    const int depths[] = {ZOL_DEPTH_1U, ZOL_DEPTH_8U, ZOL_DEPTH_8S, ZOL_DEPTH_16U, ZOL_DEPTH_16S, ZOL_DEPTH_32S};
    for (uint32_t seed = 0; seed < 500; ++seed) {
        std::mt19937 g(seed);
        const int depth = depths[seed % 6];
        subj::Options o;
        o.nCh = depth == ZOL_DEPTH_1U ? 1 : pick(g, 1, 4);
        o.alpha = o.nCh > 1 && !pick(g, 0, 2);
        o.order = pick(g, 0, 1);
        Subject a, b;
        subj::build(a, g, depth, o);
        const bool two = pick(g, 0, 3);
        if (two) {
            o.coi = a.img->roi && a.img->roi->coi ? pick(g, 1, o.nCh) : 0;
            subj::build(b, g, depth, o);
            if (!pick(g, 0, 3)) {  // equal elements in places, so relative norms meet small values
                int x, y, w, h;
                b.region(x, y, w, h);
                for (int i = 0; i < b.img->imageSize; i += 3) b.img->imageData[i] = 0;
            }
        }
        const int types[] = {1, 2, 4, 9, 10, 12};
        const int type = types[pick(g, 0, two ? 5 : 2)];
        const double want = model(a, two ? &b : nullptr, type);
        kit::Recorder rec;
        const double got = zolNorm(a.arg(), two ? b.arg() : nullptr, type);
        if (want < 0) {
            ASSERT_TRUE(rec.only(-5, "zolNorm", "Zero divided")) << "seed " << seed;
            ASSERT_EQ(0.0, got);
        } else {
            ASSERT_TRUE(rec.none()) << "seed " << seed;
            ASSERT_EQ(want, got) << "seed " << seed << " type " << type;
        }
        ASSERT_TRUE(subj::released(a) && subj::released(b)) << "seed " << seed;
    }
}

TEST(Norm, ClosedForms) {
    kit::Image a(ZOL_DEPTH_8U, 1, 10, 10), p(ZOL_DEPTH_8U, 2, 1, 1), z(ZOL_DEPTH_8U, 1, 10, 10);
    std::memset(a->imageData, 255, size_t(a->imageSize));
    kit::set(p, 0, 0, 0, 3), kit::set(p, 0, 0, 1, 4);
    kit::Recorder rec;
    EXPECT_EQ(25500.0, zolNorm(a, nullptr, ZOL_NORM_L1));
    EXPECT_EQ(5.0, zolNorm(p, nullptr, ZOL_NORM_L2));
    EXPECT_EQ(255.0, zolNorm(a, z, ZOL_NORM_MAX));
    EXPECT_EQ(0.0, zolNorm(a, a, ZOL_NORM_L2 | ZOL_NORM_RELATIVE));
    EXPECT_EQ(1.0, zolNorm(z, a, ZOL_NORM_L1 | ZOL_NORM_RELATIVE));
    EXPECT_TRUE(rec.none());
    // |-128 - 127| and |INT_MIN - INT_MAX| are exact.
    kit::Image s8a(ZOL_DEPTH_8S, 1, 1, 1), s8b(ZOL_DEPTH_8S, 1, 1, 1);
    kit::set(s8a, 0, 0, 0, -128), kit::set(s8b, 0, 0, 0, 127);
    EXPECT_EQ(255.0, zolNorm(s8a, s8b, ZOL_NORM_L1));
    EXPECT_EQ(128.0, zolNorm(s8a, nullptr, ZOL_NORM_MAX));
    kit::Image ia(ZOL_DEPTH_32S, 1, 1, 1), ib(ZOL_DEPTH_32S, 1, 1, 1);
    kit::set(ia, 0, 0, 0, INT32_MIN), kit::set(ib, 0, 0, 0, INT32_MAX);
    EXPECT_EQ(4294967295.0, zolNorm(ia, ib, ZOL_NORM_MAX));
    // RGBA: alpha counts only through a coi.
    kit::Image rgba(ZOL_DEPTH_8U, 4, 2, 1, ZOL_DATA_ORDER_PIXEL, 4, true);
    std::memset(rgba->imageData, 1, 8);
    EXPECT_EQ(6.0, zolNorm(rgba, nullptr, ZOL_NORM_L1));
    rgba.setRoi(4, 0, 0, 2, 1);
    EXPECT_EQ(2.0, zolNorm(rgba, nullptr, ZOL_NORM_L1));
    // 1-bit: a single differing bit at the images' own offsets.
    kit::Image b1(ZOL_DEPTH_1U, 1, 20, 2), b2(ZOL_DEPTH_1U, 1, 20, 2);
    b1.setRoi(0, 3, 0, 9, 2), b2.setRoi(0, 6, 0, 9, 2);
    EXPECT_EQ(0.0, zolNorm(b1, b2, ZOL_NORM_MAX));
    kit::set(b2, 6 + 8, 1, 0, 1);
    EXPECT_EQ(1.0, zolNorm(b1, b2, ZOL_NORM_MAX));
    EXPECT_EQ(1.0, zolNorm(b1, b2, ZOL_NORM_L1));
    EXPECT_EQ(1.0, zolNorm(b1, b2, ZOL_NORM_L1 | ZOL_NORM_RELATIVE));
    EXPECT_TRUE(rec.none());
}

// 32S magnitudes past 2^53 are added one by one in doubles.
TEST(Norm, OrderOfAdditionsPast2To53) {
    kit::Image a(ZOL_DEPTH_32S, 1, 2100, 2100);
    std::mt19937 g(3);
    for (int i = 0; i + 4 <= a->imageSize; i += 4) {
        const int32_t v = int32_t(0x7F000000u + g() % 0xFFFFFF);
        std::memcpy(a->imageData + i, &v, 4);
    }
    Subject s;
    s.img = std::move(a);
    const double want = model(s, nullptr, ZOL_NORM_L1);
    long double exact = 0;
    for (int y = 0; y < 2100; ++y)
        for (int x = 0; x < 2100; ++x) exact += (long double)kit::get(s.img, x, y, 0);
    ASSERT_NE(double(exact), want);
    EXPECT_EQ(want, zolNorm(s.img, nullptr, ZOL_NORM_L1));
}

TEST(Norm, ChecksInOrder) {
    kit::Image u8(ZOL_DEPTH_8U, 1, 4, 4), s8(ZOL_DEPTH_8S, 1, 4, 4), f(ZOL_DEPTH_32F, 1, 4, 4);
    kit::Image pl(ZOL_DEPTH_8U, 1, 4, 4, ZOL_DATA_ORDER_PLANE), c3(ZOL_DEPTH_8U, 3, 4, 4), z(ZOL_DEPTH_8U, 1, 4, 4);
    struct Row { ZolImage* a; ZolImage* b; int type; int status; const char* context; };
    const Row rows[] = {
        {nullptr, u8, 1, -9, "Incorrect Image"},
        {f, u8, 1, -17, "srcImageA->depth=32F"},
        {u8, f, 1, -17, "srcImageA->depth=32F"},
        {u8, pl, 1, -19, "srcImageA->dataOrder!=srcImageB->dataOrder"},
        {u8, nullptr, 9, -5, "normType unknown"},
        {u8, s8, 1, -5, "(srcImageA->depth!=srcImageB->depth)"},
        {u8, u8, 3, -5, "normType unknown"},
        {u8, c3, 2, -15, ""},
        {u8, z, 10, -5, "Zero divided"},
    };
    for (const Row& r : rows) {
        kit::Recorder rec;
        EXPECT_EQ(0.0, zolNorm(r.a, r.b, r.type));
        EXPECT_TRUE(rec.only(r.status, "zolNorm", r.context)) << r.context;
    }
    // The temporary mask's header, then its pixels, not to be had.
    kit::Image m(ZOL_DEPTH_1U, 1, 4, 4);
    u8->maskROI = m;
    for (int n : {1, 2}) {
        kit::Recorder rec;
        kit::HeapFailure fail(n);
        EXPECT_EQ(0.0, zolNorm(u8, nullptr, 2));
        EXPECT_TRUE(n == 1 ? rec.only(-9, "zolNorm", "Null pointer for mask") : rec.only(-112, "zolNorm", " "))
            << n;
    }
    u8->maskROI = nullptr;
    // A handler that clears the status lets an unknown type go on (to 0.0).
    const ZolReportHandler old = zolRedirectError(
        [](int, const char*, const char*, const char*, int) { zolSetErrStatus(0); return 0; });
    EXPECT_EQ(0.0, zolNorm(u8, nullptr, 3));
    EXPECT_EQ(0, zolGetErrStatus());
    zolRedirectError(old);
}

}  // namespace
