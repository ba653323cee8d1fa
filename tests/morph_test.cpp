// Morphology against a per-pixel model of the padded source (the ring one
// pixel beyond the region, repeated outwards) over random frames, in place
// included; identities on binary images; the checks with their contexts.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <vector>

#include "kit.h"
#include "nbcase.h"

namespace {

using kit::Image;
using namespace nbcase;

using Op = void (*)(ZolImage*, ZolImage*, int);
const Op kOps[] = {zolDilate, zolErode, zolOpen, zolClose};
const char* const kNames[] = {"zolDilate", "zolErode", "zolOpen", "zolClose"};

void runMorph(uint32_t seed) {
    Case k(seed);
    static const int kDepths[] = {ZOL_DEPTH_1U, ZOL_DEPTH_8U, ZOL_DEPTH_16U};
    const int depth = kDepths[k.pick(3)];
    k.frame(depth, true, true);
    const int op = k.pick(4), r = 1 + k.pick(k.pick(6) ? 3 : 12);
    k.why << " op " << op << " r " << r;
    ZolImage* s = k.s.img;
    if (k.pick(3) == 0)  // binary-looking data: runs of the depth's extremes
        for (int y = 0; y < s->height; ++y)
            for (int x = 0; x < s->width; ++x)
                for (int c = 0; c < s->nChannels; ++c) kit::set(s, x, y, c, k.pick(3) ? 0 : 0xFFFF);
    const ZolImage* d = k.inPlace ? s : k.d.img.get();
    int w = 1 << 30, h = w;
    region(s, false, w, h);
    region(d, false, w, h);
    const int cs = coiOf(s), cd = coiOf(d);
    const int ns = (cs ? 1 : s->nChannels) - (s->alphaChannel ? 1 : 0);
    const int nd = (cd ? 1 : d->nChannels) - (d->alphaChannel ? 1 : 0);
    const char* refusal = ns != nd ? "SRC and DST number of channels are different"
                          : cs != cd ? "SRC and DST COI are different" : nullptr;
    Chan ch{s->nChannels - (s->alphaChannel ? 1 : 0), 0, 0, 1};
    if (cs) ch = Chan{1, cs - 1, cs - 1, 1};
    if (refusal || ns <= 0) w = 0;
    double cst[4];
    for (int i = 0; i < 4; ++i)
        cst[i] = depth == ZOL_DEPTH_1U ? s->borderConst[i] != 0 : depth == ZOL_DEPTH_8U ? uint8_t(s->borderConst[i]) : uint16_t(s->borderConst[i]);
    const int X0 = s->roi ? s->roi->xOffset : 0, Y0 = s->roi ? s->roi->yOffset : 0;
    const bool dil = op == 0 || op == 3;  // the first (or only) stage takes the largest
    const auto want = expected(k, std::max(w, 0), std::max(h, 0), ch, [&](const ZolImage* im, int x, int y, int c) {
        auto P = [&](int u, int v) {
            return sample(im, std::clamp(u, X0 - 1, X0 + w), std::clamp(v, Y0 - 1, Y0 + h), c, cst);
        };
        auto window = [&](const std::function<double(int, int)>& f, int u, int v, bool mx) {
            double t = f(u, v);
            for (int j = -r; j <= r; ++j)
                for (int i = -r; i <= r; ++i) t = mx ? std::max(t, f(u + i, v + j)) : std::min(t, f(u + i, v + j));
            return t;
        };
        if (op < 2) return int64_t(window(P, x, y, dil));
        auto S = [&](int u, int v) {
            const bool inside = u >= X0 && u < X0 + w && v >= Y0 && v < Y0 + h;
            return inside ? window(P, u, v, dil) : P(u, v);
        };
        return int64_t(window(S, x, y, !dil));
    });
    kit::Recorder rec;
    zolSetErrStatus(-7);  // a failure left by another call does not stop morphology
    ZolImage* sa = k.s.arg();
    kOps[op](sa, k.inPlace ? sa : k.d.arg(), r);
    if (refusal) EXPECT_TRUE(rec.only(ZOL_STATUS_BAD_ARGUMENT, kNames[op], refusal)) << k.why.str();
    else EXPECT_TRUE(rec.none() && zolGetErrStatus() == 0) << k.why.str();
    compare(k, want);
}

TEST(Morph, RandomFramesMatchThePaddedModel) {
    for (uint32_t seed = 1; seed <= 500; ++seed) runMorph(seed);
}

// Opening a binary image twice changes nothing the second time.
TEST(Morph, OpeningIsIdempotent) {
    for (int depth : {ZOL_DEPTH_1U, ZOL_DEPTH_8U}) {
        const int64_t one = depth == ZOL_DEPTH_1U ? 1 : 255;
        Image a(depth, 1, 40, 30), b(depth, 1, 40, 30), c(depth, 1, 40, 30);
        a.randomize(depth);
        for (int y = 0; y < 30; ++y)
            for (int x = 0; x < 40; ++x) kit::set(a, x, y, 0, kit::get(a, x, y, 0) % 3 == 0 ? one : 0);
        zolOpen(a, b, 2);
        zolOpen(b, c, 2);
        EXPECT_EQ(b.bytes(), c.bytes()) << kit::depthName(depth);
    }
}

TEST(Morph, ChecksReportInOrder) {
    Image a(ZOL_DEPTH_8U, 3, 4, 4), b(ZOL_DEPTH_8U, 3, 4, 4), s16(ZOL_DEPTH_16U, 3, 4, 4);
    Image f(ZOL_DEPTH_32F, 3, 4, 4), i8(ZOL_DEPTH_8S, 3, 4, 4), one(ZOL_DEPTH_8U, 1, 4, 4);
    Image pl(ZOL_DEPTH_8U, 3, 4, 4, ZOL_DATA_ORDER_PLANE), org(ZOL_DEPTH_8U, 3, 4, 4);
    Image c1(ZOL_DEPTH_8U, 3, 4, 4), c2(ZOL_DEPTH_8U, 3, 4, 4);
    org->origin = ZOL_ORIGIN_BL;
    c1.setRoi(1, 0, 0, 4, 4);
    c2.setRoi(2, 0, 0, 4, 4);
    struct Row {
        ZolImage *s, *d;
        int n, status;
        const char* context;
    } rows[] = {
        {a, nullptr, 1, ZOL_STATUS_NULL_HEADER, "Incorrect Image"},
        {a, b, 0, -5, "Illegal number of of iterations"},
        {f, f, 1, -5, "Illegal image depth"},
        {i8, i8, 1, -5, "Illegal image depth"},
        {a, s16, 1, -5, "SRC and DST depth are different"},
        {a, pl, 1, -5, "SRC and DST order are different"},
        {a, org, 1, -5, "SRC and DST orign are different"},
        {a, one, 1, -5, "SRC and DST number of channels are different"},
        {c1, c2, 1, -5, "SRC and DST COI are different"},
    };
    for (const Row& r : rows)
        for (int op = 0; op < 4; ++op) {
            kit::Recorder rec;
            const auto before = b.bytes();
            kOps[op](r.s, r.d, r.n);
            EXPECT_TRUE(rec.only(r.status, kNames[op], r.context)) << r.context;
            EXPECT_EQ(b.bytes(), before) << r.context;
        }
}

}  // namespace
