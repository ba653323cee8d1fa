// Rank filters against a per-pixel model that sorts the window read
// through the border fold, over random frames and adversarial data; the
// checks with their exact contexts; the small cases where rank filters
// differ from what one might guess.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "kit.h"
#include "nbcase.h"

namespace {

using kit::Image;
using namespace nbcase;

// A border constant as the rank filters read it: the element's low bits.
double lowBits(int depth, int32_t v) {
    switch (depth) {
        case ZOL_DEPTH_1U: return v & 1;
        case ZOL_DEPTH_8U: return uint8_t(v);
        case ZOL_DEPTH_8S: return int8_t(v);
        case ZOL_DEPTH_16U: return uint16_t(v);
        case ZOL_DEPTH_16S: return int16_t(v);
        default: return v;
    }
}

using Filter = void (*)(ZolImage*, ZolImage*, int, int, int, int);
const Filter kFilters[] = {zolMaxFilter, zolMinFilter, zolMedianFilter};

// Values that break signed/unsigned confusion and biased comparisons.
std::vector<int64_t> extremes(int depth) {
    switch (depth) {
        case ZOL_DEPTH_1U: return {0, 1};
        case ZOL_DEPTH_8U: return {0, 1, 127, 128, 129, 254, 255};
        case ZOL_DEPTH_8S: return {0x80, 0x81, 0xFF, 0, 1, 0x7F};
        case ZOL_DEPTH_16U: return {0, 1, 0x7FFF, 0x8000, 0x8001, 0xFFFF};
        case ZOL_DEPTH_16S: return {0x8000, 0xFFFF, 0, 1, 0x7FFF};
        default: return {0x80000000, 0xFFFFFFFF, 0, 1, 0x7FFFFFFF, 0x80000001};
    }
}

void runRank(uint32_t seed) {
    Case k(seed);
    static const int kDepths[] = {ZOL_DEPTH_1U, ZOL_DEPTH_8U, ZOL_DEPTH_8S, ZOL_DEPTH_16U, ZOL_DEPTH_16S, ZOL_DEPTH_32S};
    const int depth = kDepths[k.pick(6)];
    k.frame(depth, true, false);
    const int op = k.pick(3);
    const bool big = k.pick(10) == 0;
    const int nc = 1 + k.pick(big ? 30 : 9), nr = 1 + k.pick(big ? 20 : 9);
    const int ax = k.pick(3) == 0 ? (k.pick(2) ? 0 : nc - 1) : k.pick(nc);
    const int ay = k.pick(3) == 0 ? (k.pick(2) ? 0 : nr - 1) : k.pick(nr);
    ZolImage* s = k.s.img;
    const int kind = k.pick(4);  // 0: all equal, 1: extremes, else random
    const std::vector<int64_t> ext = extremes(depth);
    if (kind < 2)
        for (int y = 0; y < s->height; ++y)
            for (int x = 0; x < s->width; ++x)
                for (int c = 0; c < s->nChannels; ++c)
                    kit::set(s, x, y, c, kind == 0 ? ext[1] : ext[k.pick(int(ext.size()))]);
    k.why << " op " << op << " window " << nc << "x" << nr << " anchor " << ax << "," << ay << " kind " << kind;
    const ZolImage* d = k.d.img;
    int w = 1 << 30, h = w;
    region(s, false, w, h);
    region(d, false, w, h);
    const int cs = coiOf(s), cd = coiOf(d);
    const int colours = s->nChannels - (s->alphaChannel ? 1 : 0);
    const int ns = (cs ? 1 : s->nChannels) - (s->alphaChannel ? 1 : 0);
    const int nd = (cd ? 1 : d->nChannels) - (d->alphaChannel ? 1 : 0);
    Chan ch{colours, 0, 0, 1};
    if (cs || cd) ch = Chan{1, std::max(cs, 1) - 1, std::max(cd, 1) - 1, 1};
    if (ns != nd || ns <= 0) w = 0;
    double cst[4];
    for (int i = 0; i < 4; ++i) cst[i] = lowBits(depth, s->borderConst[i]);
    std::vector<double> win;
    const auto want = expected(k, std::max(w, 0), std::max(h, 0), ch, [&](const ZolImage* im, int x, int y, int c) {
        win.clear();
        for (int j = 0; j < nr; ++j)
            for (int i = 0; i < nc; ++i) win.push_back(sample(im, x - ax + i, y - ay + j, c, cst));
        std::sort(win.begin(), win.end());
        const double v = op == 0 ? win.back() : op == 1 ? win.front() : win[win.size() / 2];
        return int64_t(v);
    });
    kit::Recorder rec;
    kFilters[op](k.s.arg(), k.d.arg(), nc, nr, ax, ay);
    if (ns != nd) {
        EXPECT_TRUE(rec.only(ZOL_STATUS_BAD_ARGUMENT, op == 0 ? "zolMaxFilter" : op == 1 ? "zolMinFilter" : "zolMedianFilter",
                             "Number of interset channel input and output Image is not equal."))
            << k.why.str();
    } else {
        EXPECT_TRUE(rec.none()) << k.why.str() << ": " << (rec.none() ? "" : rec.reports()[0].context);
    }
    compare(k, want);
}

TEST(Rank, RandomFramesMatchTheSortedWindow) {
    for (uint32_t seed = 1; seed <= 900; ++seed) runRank(seed);
}

// The median's paths (column network, histogram, selection) meet at the
// sizes where the choice changes; each must give the sorted window's value
// on wide rows too, where the histogram slides far.
TEST(Rank, MedianPathsAgreeOnWideRows) {
    for (int depth : {ZOL_DEPTH_8U, ZOL_DEPTH_8S, ZOL_DEPTH_16U}) {
        for (int n : {1, 3}) {
            for (auto [nc, nr] : {std::pair{3, 3}, {5, 5}, {6, 5}, {4, 7}, {2, 2}, {9, 1}, {1, 9}}) {
                Image s(depth, n, 150, 12), d(depth, n, 150, 12);
                s.randomize(uint32_t(depth * 100 + nc * 10 + nr));
                zolSetBorderMode(s, ZOL_BORDER_REFLECT, 15, 0);
                zolMedianFilter(s, d, nc, nr, nc / 2, nr / 2);
                std::vector<int64_t> win;
                int bad = 0;
                for (int y = 0; y < 12; ++y)
                    for (int x = 0; x < 150; ++x)
                        for (int c = 0; c < n; ++c) {
                            win.clear();
                            for (int j = 0; j < nr; ++j)
                                for (int i = 0; i < nc; ++i) {
                                    const int xx = x - nc / 2 + i, yy = y - nr / 2 + j;
                                    const int fx = xx < 0 ? -xx - 1 : xx >= 150 ? 299 - xx : xx;
                                    const int fy = yy < 0 ? -yy - 1 : yy >= 12 ? 23 - yy : yy;
                                    win.push_back(kit::get(s, fx, fy, c));
                                }
                            std::nth_element(win.begin(), win.begin() + win.size() / 2, win.end());
                            bad += kit::get(d, x, y, c) != win[win.size() / 2];
                        }
                EXPECT_EQ(bad, 0) << kit::depthName(depth) << " n " << n << " " << nc << "x" << nr;
            }
        }
    }
}

// Cases whose answer a plausible implementation gets wrong.
TEST(Rank, SmallCasesWithKnownAnswers) {
    // 2x2 window of 1, 2, 3, 4: the upper middle, 3.
    Image a(ZOL_DEPTH_8U, 1, 2, 2), b(ZOL_DEPTH_8U, 1, 2, 2);
    for (int i = 0; i < 4; ++i) kit::set(a, i % 2, i / 2, 0, i + 1);
    zolMedianFilter(a, b, 2, 2, 0, 0);
    EXPECT_EQ(kit::get(b, 0, 0, 0), 3);
    // A constant of 300 reads 44 on 8U; the max of a dark image shows it.
    zolSetBorderMode(a, ZOL_BORDER_CONSTANT, 15, 300);
    for (int i = 0; i < 4; ++i) kit::set(a, i % 2, i / 2, 0, 0);
    zolMaxFilter(a, b, 3, 3, 1, 1);
    EXPECT_EQ(kit::get(b, 1, 1, 0), 44);
    // 1-bit: a constant of 2 reads 0; a 2x1 window with one bit set gives
    // 1, a 3x1 window with one bit set gives 0.
    Image p(ZOL_DEPTH_1U, 1, 5, 1), q(ZOL_DEPTH_1U, 1, 5, 1);
    zolSetBorderMode(p, ZOL_BORDER_CONSTANT, 15, 2);
    kit::set(p, 2, 0, 0, 1);
    zolMedianFilter(p, q, 2, 1, 0, 0);
    EXPECT_EQ(kit::get(q, 1, 0, 0), 1);
    EXPECT_EQ(kit::get(q, 2, 0, 0), 1);
    zolMedianFilter(p, q, 3, 1, 1, 0);
    EXPECT_EQ(kit::get(q, 2, 0, 0), 0);
    kit::set(p, 4, 0, 0, 1);
    zolMaxFilter(p, q, 1, 1, 0, 0);
    EXPECT_EQ(kit::get(q, 4, 0, 0), 1);
    zolMinFilter(p, q, 2, 1, 0, 0);
    EXPECT_EQ(kit::get(q, 4, 0, 0), 0);  // the border beyond reads 0
    // A status left negative by an earlier call stops the filter silently.
    zolSetErrStatus(-3);
    kit::set(a, 0, 0, 0, 9);
    kit::set(b, 0, 0, 0, 77);
    zolMaxFilter(a, b, 1, 1, 0, 0);
    EXPECT_EQ(kit::get(b, 0, 0, 0), 77);
    zolSetErrStatus(0);
    // A window that cannot fit in memory ends the call, not the process.
    zolMedianFilter(a, b, 0x7FFFFFFF, 0x7FFFFFFF, 5, 5);
    zolMaxFilter(a, b, 1 << 20, 1 << 20, 0, 0);
    EXPECT_EQ(kit::get(b, 0, 0, 0), 77);
}

TEST(Rank, ChecksReportInOrder) {
    Image a(ZOL_DEPTH_8U, 3, 4, 4), b(ZOL_DEPTH_8U, 3, 4, 4), s16(ZOL_DEPTH_16U, 3, 4, 4);
    Image f(ZOL_DEPTH_32F, 3, 4, 4), g(ZOL_DEPTH_32F, 3, 4, 4), one(ZOL_DEPTH_8U, 1, 4, 4);
    Image al(ZOL_DEPTH_8U, 3, 4, 4, 0, 4, true), pl(ZOL_DEPTH_8U, 3, 4, 4, ZOL_DATA_ORDER_PLANE);
    Image i32(ZOL_DEPTH_32S, 3, 4, 4), j32(ZOL_DEPTH_32S, 3, 4, 4);
    Image c(ZOL_DEPTH_8U, 3, 4, 4), e(ZOL_DEPTH_8U, 3, 4, 4);
    c.setRoi(2, 0, 0, 4, 4);
    struct Row {
        ZolImage *s, *d;
        int nc, nr, ax, ay;
        int status;
        const char* context;
    } rows[] = {
        {nullptr, b, 3, 3, 1, 1, ZOL_STATUS_NULL_HEADER, "Incorrect Image"},
        {a, b, 3, 3, 3, 9, -5, "(anchorX>=nCols)||(anchorX<0)"},
        {a, b, 3, 3, -1, 1, -5, "(anchorX>=nCols)||(anchorX<0)"},
        {a, a, 3, 3, 1, 3, -5, "(anchorY>=nRows)||(anchorY<0)"},
        {a, a, 3, 3, 1, 1, -5, "(srcImage==dstImage)"},
        {a, s16, 3, 3, 1, 1, -5, "srcImage->depth!=dstImage->depth"},
        {f, g, 3, 3, 1, 1, -5, "srcImage->depth==32"},
        {a, one, 3, 3, 1, 1, -5, "srcImage->nChannels!=dstImage->nChannels"},
        {a, al, 3, 3, 1, 1, -5, "srcImage->alphaChannel!=dstImage->alphaChannel"},
        {a, pl, 3, 3, 1, 1, -5, "srcImage->dataOrder!=dstImage->dataOrder"},
        {c, e, 3, 3, 1, 1, -5, "Number of interset channel input and output Image is not equal."},
    };
    for (const Row& r : rows) {
        for (Filter fn : kFilters) {
            kit::Recorder rec;
            const auto before = b.bytes();
            fn(r.s, r.d, r.nc, r.nr, r.ax, r.ay);
            ASSERT_EQ(rec.reports().size(), 1u) << r.context;
            EXPECT_EQ(rec.reports()[0].status, r.status) << r.context;
            EXPECT_EQ(rec.reports()[0].context, r.context);
            EXPECT_EQ(b.bytes(), before) << r.context;
        }
    }
    // 32S is accepted: the test is of the value 32, not of the size.
    kit::Recorder rec;
    zolMaxFilter(i32, j32, 3, 3, 1, 1);
    EXPECT_TRUE(rec.none());
}

}  // namespace
