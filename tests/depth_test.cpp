// Depth conversion and 1-bit expansion against a per-element model: every
// depth pair, both origins, both orders, whole and tiled on both sides with
// different tile sizes.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>

#include "kit.h"
#include "tiles.h"

namespace {

const int kDepths[] = {ZOL_DEPTH_8U, ZOL_DEPTH_8S, ZOL_DEPTH_16U, ZOL_DEPTH_16S, ZOL_DEPTH_32S};

int64_t clampTo(int depth, int64_t v) {
    const int bits = depth & 0xFF;
    const bool sign = depth < 0;
    const int64_t lo = sign ? -(int64_t(1) << (bits - 1)) : 0;
    const int64_t hi = sign ? (int64_t(1) << (bits - 1)) - 1 : (int64_t(1) << bits) - 1;
    return std::min(hi, std::max(lo, v));
}

// Runs f on the images, either plain or through tile servers of the given sizes.
void run(ZolImage* s, ZolImage* d, int stw, int sth, int dtw, int dth,
         const std::function<void(ZolImage*, ZolImage*)>& f) {
    if (!stw) return f(s, d);
    kit::TileServer ts(s, stw, sth), td(d, dtw, dth);
    ts.image()->roi = s->roi;  // the coi of a source selects its channel
    f(ts.image(), td.image());
    ts.image()->roi = nullptr;
    EXPECT_TRUE(ts.breaches().empty() && td.breaches().empty() && !ts.held() && !td.held());
}

struct Geometry {
    int stw, sth, dtw, dth;
};
const Geometry kGeometries[] = {{0, 0, 0, 0}, {16, 8, 8, 24}, {24, 16, 32, 8}};

TEST(DepthConvert, EveryPairAgainstModel) {
    const int W = 37, H = 19;
    for (int sd : kDepths)
        for (int dd : kDepths)
            for (const Geometry& g : kGeometries)
                for (int flip = 0; flip < 2; ++flip) {
                    SCOPED_TRACE(testing::Message() << kit::depthName(sd) << "->" << kit::depthName(dd) << " tiles "
                                                    << g.stw << " flip " << flip);
                    const int order = flip ? ZOL_DATA_ORDER_PLANE : ZOL_DATA_ORDER_PIXEL;
                    kit::Image s(sd, 3, W, H, ZOL_DATA_ORDER_PIXEL), d(dd, 3, W, H, order, ZOL_ALIGN_QWORD);
                    s.randomize(uint32_t(sd) * 7u + uint32_t(dd));
                    d.randomize(3);
                    d->origin = flip ? ZOL_ORIGIN_BL : ZOL_ORIGIN_TL;
                    d.setRoi(2, 3, 3, 4, 4);  // no effect on what is converted
                    kit::Recorder rec;
                    run(s, d, g.stw, g.sth, g.dtw, g.dth, [](ZolImage* a, ZolImage* b) { zolConvert(a, b); });
                    EXPECT_TRUE(rec.none());
                    int bad = 0;
                    for (int y = 0; y < H; ++y)
                        for (int x = 0; x < W; ++x)
                            for (int c = 0; c < 3; ++c)
                                bad += kit::get(d, x, y, c) != clampTo(dd, kit::get(s, x, flip ? H - 1 - y : y, c));
                    EXPECT_EQ(bad, 0);
                }
}

TEST(DepthConvert, BitsBothWays) {
    const int W = 45, H = 9;
    for (const Geometry& g : kGeometries)
        for (int sd : kDepths) {
            SCOPED_TRACE(testing::Message() << kit::depthName(sd) << " tiles " << g.stw);
            // A chosen channel to bits: 1 above 0.
            kit::Image s(sd, 3, W, H), bits(ZOL_DEPTH_1U, 1, W, H);
            s.randomize(uint32_t(sd) + uint32_t(g.stw));
            s.setRoi(2, 0, 0, W, H);
            run(s, bits, g.stw, g.sth, g.dtw, g.dth, [](ZolImage* a, ZolImage* b) { zolConvert(a, b); });
            int bad = 0;
            for (int y = 0; y < H; ++y)
                for (int x = 0; x < W; ++x) bad += kit::get(bits, x, y, 0) != (kit::get(s, x, y, 1) > 0);
            EXPECT_EQ(bad, 0);
            // Bits to values, alpha kept; and bits to bits turned over.
            kit::Image g4(sd, 4, W, H, ZOL_DATA_ORDER_PLANE, ZOL_ALIGN_DWORD, true), copy(ZOL_DEPTH_1U, 1, W, H);
            g4.randomize(5);
            copy->origin = ZOL_ORIGIN_BL;
            const std::vector<uint8_t> before = g4.bytes();
            kit::Image alpha(sd, 4, W, H, ZOL_DATA_ORDER_PLANE, ZOL_ALIGN_DWORD, true);
            std::memcpy(alpha->imageData, before.data(), before.size());
            const int32_t zero = int32_t(clampTo(sd, -7)), one = int32_t(clampTo(sd, 300));
            run(bits, g4, g.stw, g.sth, g.dtw, g.dth,
                [&](ZolImage* a, ZolImage* b) { zolBitonalToGray(a, b, zero, one); });
            run(bits, copy, g.stw, g.sth, g.dtw, g.dth, [](ZolImage* a, ZolImage* b) { zolConvert(a, b); });
            bad = 0;
            for (int y = 0; y < H; ++y)
                for (int x = 0; x < W; ++x) {
                    const bool on = kit::get(bits, x, y, 0);
                    for (int c = 0; c < 3; ++c) bad += kit::get(g4, x, y, c) != (on ? one : zero);
                    bad += kit::get(g4, x, y, 3) != kit::get(alpha, x, y, 3);
                    bad += kit::get(copy, x, H - 1 - y, 0) != on;
                }
            EXPECT_EQ(bad, 0);
        }
}

TEST(DepthConvert, BadInputs) {
    struct Case {
        const char* func;
        int sd, sc, dd, dc, dw;
        int32_t zero, one;
        bool roi;
        const char* context;
    };
    const Case cases[] = {
        {"zolConvert", 32, 1, 8, 1, 8, 0, 0, false, "(srcImage->depth == 32)"},
        {"zolConvert", 8, 1, 32, 1, 8, 0, 0, false, "(dstImage->depth == 32)"},
        {"zolConvert", 8, 1, 8, 1, 9, 0, 0, false, "(srcImage->width != dstImage->width)"},
        {"zolConvert", 8, 3, 1, 1, 8, 0, 0, false, "(srcImage->roi == 0)"},
        {"zolConvert", 8, 3, 1, 1, 8, 0, 0, true, "(srcImage->roi->coi == 0)"},
        {"zolConvert", 8, 3, 16, 1, 8, 0, 0, false, "srcImage->nChannels != dstImage->nChannels"},
        {"zolConvert", 1, 1, 8, 1, 8, 0, 0, false, "((srcImage->depth == 1) && (srcImage->depth != dstImage->depth))"},
        {"zolBitonalToGray", 1, 1, 8, 1, 9, 0, 0, false, "(srcImage->width != dstImage->width)"},
        {"zolBitonalToGray", 8, 1, 8, 1, 8, 0, 0, false, "(srcImage->depth != 1)"},
        {"zolBitonalToGray", 1, 1, 1, 1, 8, 0, 0, false, "(dstImage->depth == 1)"},
        {"zolBitonalToGray", 1, 1, 8, 1, 8, 256, 0, false, "((dstImage->depth == 8) && (ZeroScale > 255))"},
        {"zolBitonalToGray", 1, 1, ZOL_DEPTH_8S, 1, 8, -1, -129, false,
         "((dstImage->depth == (0x80000000| 8)) && (OneScale < -128))"},
        {"zolBitonalToGray", 1, 1, 16, 1, 8, 0, -1, false, "((dstImage->depth == 16) && (OneScale < 0))"},
        {"zolBitonalToGray", 1, 1, ZOL_DEPTH_16S, 1, 8, 32768, 0, false,
         "((dstImage->depth == (0x80000000|16)) && (ZeroScale > 32767))"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.context);
        kit::Image s(c.sd, c.sc, 8, 4), d(c.dd, c.dc, c.dw, 4);
        if (c.roi) s.setRoi(0, 0, 0, 8, 4);
        d.randomize(1);
        const std::vector<uint8_t> before = d.bytes();
        kit::Recorder rec;
        if (c.func[3] == 'C')
            zolConvert(s, d);
        else
            zolBitonalToGray(s, d, c.zero, c.one);
        EXPECT_TRUE(rec.only(ZOL_STATUS_BAD_ARGUMENT, c.func, c.context));
        EXPECT_EQ(d.bytes(), before);
    }
    kit::Image a(ZOL_DEPTH_32S, 1, 4, 4);
    kit::Recorder rec;
    zolConvert(a, a);
    zolBitonalToGray(nullptr, a, 0, 0);
    ASSERT_EQ(rec.reports().size(), 1u);
    EXPECT_EQ(rec.reports()[0].context, "Incorrect Image");
    // Any value fits 32S.
    kit::Image bits(ZOL_DEPTH_1U, 1, 4, 4);
    rec.clear();
    zolBitonalToGray(bits, a, INT32_MIN, INT32_MAX);
    EXPECT_TRUE(rec.none());
}

}  // namespace
