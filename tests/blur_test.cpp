// Box blur against the window's exact sum times the float scale, over
// random frames (every depth, layouts, ROI, coi, alpha, masks, tiles, in
// place), the rounding cases, and the checks.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "kit.h"
#include "nbcase.h"

namespace {

using kit::Image;
using namespace nbcase;

// First and last channel of an image's region (from 1); false when its
// alpha channel is in the way.
bool channels(const ZolImage* im, int& first, int& last) {
    const int coi = coiOf(im);
    first = coi ? coi : 1;
    last = coi ? coi : im->nChannels;
    if (const int a = im->alphaChannel) {
        if (last > a) return false;
        if (last == a) --last;
        if (last < first) return false;
    }
    return true;
}

void runBlur(uint32_t seed) {
    Case k(seed);
    const int depth = kit::allDepths()[size_t(k.pick(int(kit::allDepths().size())))];
    k.frame(depth);
    ZolImage* s = k.s.img;
    if (depth == ZOL_DEPTH_32S || depth == ZOL_DEPTH_32F) smallIntegers(k, s);  // exact float sums
    const bool big = k.pick(10) == 0;
    const int nc = 1 + k.pick(big ? 30 : 9), nr = 1 + k.pick(big ? 20 : 9);
    const int ax = k.pick(nc), ay = k.pick(nr);
    k.why << " window " << nc << "x" << nr << " anchor " << ax << "," << ay;
    const ZolImage* d = k.inPlace ? s : k.d.img.get();
    int w = 1 << 30, h = w;
    region(s, false, w, h);
    region(d, false, w, h);
    int fs, ls, fd, ld;
    const bool okS = channels(s, fs, ls), okD = channels(d, fd, ld);
    const bool copy = nc == 1 && nr == 1;
    int status = 0;
    if (!copy && (!okS || !okD)) status = ZOL_STATUS_BAD_ALPHA;
    else if (!copy && ls - fs != ld - fd) status = ZOL_STATUS_BAD_CHANNELS;
    const float scale = float(1.0 / (double(nc) * double(nr)));
    double cst[4];
    for (int i = 0; i < 4; ++i) cst[i] = lowBits(depth, s->borderConst[i]);
    Chan ch{ls - fs + 1, fs - 1, fd - 1, 1};
    if (status || copy) w = 0;  // the copy is zolCopy's, tested there
    const auto want = expected(k, std::max(w, 0), std::max(h, 0), ch, [&](const ZolImage* im, int x, int y, int c) -> int64_t {
        long double S = 0;
        for (int j = 0; j < nr; ++j)
            for (int i = 0; i < nc; ++i) S += sample(im, x - ax + i, y - ay + j, c, cst);
        const long double v = S * (long double)scale;
        if (depth == ZOL_DEPTH_1U) return double(S) * double(scale) >= 0.5;
        if (depth == ZOL_DEPTH_32F) {
            const float f = float(v);
            uint32_t b;
            std::memcpy(&b, &f, 4);
            return b;
        }
        return int64_t(std::nearbyint(v));
    });
    kit::Recorder rec;
    ZolImage* sa = k.s.arg();
    zolBlur(sa, k.inPlace ? sa : k.d.arg(), nc, nr, ax, ay);
    if (copy) return;
    if (status) EXPECT_TRUE(rec.reports().size() == 1 && rec.reports()[0].status == status) << k.why.str();
    else EXPECT_TRUE(rec.none()) << k.why.str() << ": " << (rec.none() ? "" : rec.reports()[0].context);
    compare(k, want);
}

TEST(Blur, RandomFramesMatchTheScaledSum) {
    for (uint32_t seed = 1; seed <= 700; ++seed) runBlur(seed);
}

TEST(Blur, Checks) {
    Image a(ZOL_DEPTH_8U, 1, 10, 1), b(ZOL_DEPTH_8U, 1, 10, 1);
    Image al(ZOL_DEPTH_8U, 4, 4, 4, 0, 4, true), c4(ZOL_DEPTH_8U, 4, 4, 4), s16(ZOL_DEPTH_16U, 1, 10, 1);
    al.setRoi(4, 0, 0, 4, 4);
    struct Row {
        ZolImage *s, *d;
        int nc, nr, ax, ay, status;
        const char* context;
    } rows[] = {
        {nullptr, b, 3, 3, 1, 1, ZOL_STATUS_NULL_HEADER, "Incorrect Image"},
        {a, s16, 3, 3, 1, 1, -5, "(srcImage->depth!=dstImage->depth)"},
        {a, b, -1, 3, 0, 1, -5, "(nRows<0||nCols<0)"},
        {a, b, 3, 3, -1, 1, -5, "(anchorX<0||anchorY<0)"},
        {a, b, 0, 0, 0, 0, -5, "(anchorX>=nCols||anchorY>=nRows)"},
        {al, c4, 3, 3, 1, 1, ZOL_STATUS_BAD_ALPHA, "bad alpha channel's number"},
        {c4, al, 3, 3, 1, 1, ZOL_STATUS_BAD_ALPHA, "bad alpha channel's number"},
    };
    for (const Row& r : rows) {
        kit::Recorder rec;
        zolBlur(r.s, r.d, r.nc, r.nr, r.ax, r.ay);
        EXPECT_TRUE(rec.only(r.status, "zolBlur", r.context)) << r.context;
    }
}

}  // namespace
