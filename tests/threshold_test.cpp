// Threshold against a per-element model over every depth pair, regions,
// channels, masks on either image, tiles and in-place use; the checks.
#include <gtest/gtest.h>

#include <climits>

#include "subjects.h"

namespace {

using subj::pick;
using subj::Subject;

const int kSrc[] = {ZOL_DEPTH_8U, ZOL_DEPTH_8S, ZOL_DEPTH_16U, ZOL_DEPTH_16S, ZOL_DEPTH_32S};
const int kDst[] = {ZOL_DEPTH_1U, ZOL_DEPTH_8U,  ZOL_DEPTH_8S,
                    ZOL_DEPTH_16U, ZOL_DEPTH_16S, ZOL_DEPTH_32S};

void range(int depth, int64_t& lo, int64_t& hi) {
    switch (depth) {
        case ZOL_DEPTH_1U: lo = 0, hi = 1; break;
        case ZOL_DEPTH_8U: lo = 0, hi = 255; break;
        case ZOL_DEPTH_8S: lo = -128, hi = 127; break;
        case ZOL_DEPTH_16U: lo = 0, hi = 65535; break;
        case ZOL_DEPTH_16S: lo = -32768, hi = 32767; break;
        default: lo = INT_MIN, hi = INT_MAX;
    }
}

TEST(Threshold, AgreesWithModel) {
    for (uint32_t seed = 0; seed < 500; ++seed) {
        std::mt19937 g(seed);
        const int sd = kSrc[pick(g, 0, 4)], dd = kDst[pick(g, 0, 5)];
        subj::Options o;
        o.nCh = pick(g, 1, 4);
        o.alpha = o.nCh > 1 && !pick(g, 0, 3);
        o.order = pick(g, 0, 1);
        if (dd == ZOL_DEPTH_1U && o.nCh > 1) o.coi = pick(g, 1, o.nCh);
        Subject s, d;
        subj::build(s, g, sd, o);
        const bool inPlace = sd == dd && !pick(g, 0, 4);
        if (!inPlace) {
            if (dd == ZOL_DEPTH_1U) o = subj::Options{};
            else o.coi = s.img->roi && s.img->roi->coi ? pick(g, 1, o.nCh) : 0;
            subj::build(d, g, dd, o);
        }
        const Subject& dst = inPlace ? s : d;
        int64_t lo, hi, dlo, dhi;
        range(sd, lo, hi);
        range(dd, dlo, dhi);
        const int t = int(std::uniform_int_distribution<int64_t>(lo, hi)(g));
        int sf, df;
        const int n = subj::channelSet(s.img, sf), nd = subj::channelSet(dst.img, df);
        const std::vector<uint8_t> before = s.img.bytes(), orig = dst.img.bytes();
        std::vector<uint8_t> want = orig;
        ZolImage src0 = *s.img.get(), out = *dst.img.get();
        src0.imageData = reinterpret_cast<char*>(const_cast<uint8_t*>(before.data()));
        out.imageData = reinterpret_cast<char*>(want.data());
        if (n && nd && n == nd)
            subj::overRegion(s, inPlace ? nullptr : &d, [&](int x, int y, int dx, int dy) {
                if (inPlace) dx = x, dy = y;
                for (int c = 0; c < n; ++c)
                    kit::set(&out, dx, dy, df + c, kit::get(&src0, x, y, sf + c) >= t ? dhi : dlo);
            });
        kit::Recorder rec;
        zolThreshold(s.arg(), dst.arg(), t);
        if (n && nd && n != nd) {
            ASSERT_TRUE(rec.only(-5, "zolThreshold", "(srcChannels != dstChannels)")) << seed;
            ASSERT_EQ(orig, dst.img.bytes());
            continue;
        }
        ASSERT_TRUE(rec.none()) << "seed " << seed;
        ASSERT_EQ(want, dst.img.bytes()) << "seed " << seed;
        ASSERT_TRUE(subj::released(s) && subj::released(d)) << "seed " << seed;
        if (inPlace && s.tiles) {  // one image: its tiles are asked for writing only
            for (const kit::TileRequest& r : s.tiles->log()) ASSERT_NE(ZOL_TILE_READ, r.mode);
        }
    }
}

TEST(Threshold, ChecksInOrder) {
    kit::Image u8(ZOL_DEPTH_8U, 1, 4, 4), s8(ZOL_DEPTH_8S, 1, 4, 4), f(ZOL_DEPTH_32F, 1, 4, 4);
    kit::Image b1(ZOL_DEPTH_1U, 1, 4, 4), c3(ZOL_DEPTH_8U, 3, 4, 4), p3(ZOL_DEPTH_8U, 3, 4, 4, 1);
    kit::Image bl(ZOL_DEPTH_8U, 1, 4, 4), rgba(ZOL_DEPTH_8U, 4, 4, 4, 0, 4, true);
    bl->origin = ZOL_ORIGIN_BL;
    struct Row { ZolImage* s; ZolImage* d; int t; const char* context; };
    const Row rows[] = {
        {nullptr, u8, 0, "Incorrect Image"},
        {f, u8, 0, "(srcImage->depth == 32)"},
        {u8, f, 0, "(dstImage->depth == 32)"},
        {b1, u8, 0, "(srcImage->depth == 1)"},
        {c3, p3, 0, "((srcImage->dataOrder != dstImage->dataOrder)&& ((srcImage->nChannels != 1)&&(dstImage->nChannels != 1)))"},
        {u8, bl, 0, "(srcImage->origin != dstImage->origin)"},
        {s8, u8, 128, "((srcImage->depth == (0x80000000| 8)) && (Threshold > 127))"},
        {u8, u8, 256, "((srcImage->depth == 8) && (Threshold > 255))"},
        {u8, u8, -1, "((srcImage->depth == 8) && (Threshold < 0))"},
        {c3, u8, 0, "(srcChannels != dstChannels)"},
    };
    for (const Row& r : rows) {
        kit::Recorder rec;
        zolThreshold(r.s, r.d, r.t);
        EXPECT_TRUE(rec.only(r.s ? -5 : -9, "zolThreshold", r.context)) << r.context;
    }
    // An alpha channel chosen alone ends silently; RGBA to RGB runs on three.
    rgba.setRoi(4, 0, 0, 4, 4);
    kit::Recorder rec;
    zolThreshold(rgba, u8, 0);
    rgba.setRoi(0, 0, 0, 4, 4);
    kit::set(rgba, 0, 0, 3, 9);
    zolThreshold(rgba, c3, 0);
    EXPECT_TRUE(rec.none());
    EXPECT_EQ(255, kit::get(c3, 3, 3, 2));
    EXPECT_EQ(9, kit::get(rgba, 0, 0, 3));
}

}  // namespace
