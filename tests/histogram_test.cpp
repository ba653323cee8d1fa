// Counting, stretching and equalising against a per-pixel model over random
// regions, channel sets, masks, tiles and in-place use; the check order.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <vector>

#include "subjects.h"

namespace {

using subj::pick;
using subj::Subject;

int histSize(int depth) { return depth == ZOL_DEPTH_1U ? 2 : depth == ZOL_DEPTH_8U ? 256 : 65536; }

// A record with random keys (repeats allowed) and values; value[num-1] and
// a spare entry carry sentinels.
struct Record {
    std::vector<int32_t> key, value, factor;
    ZolLUT lut{};
    Record(std::mt19937& g, int hs) {
        const int num = pick(g, 2, 6);
        for (int i = 0; i < num; ++i) key.push_back(pick(g, 0, hs));
        std::sort(key.begin(), key.end());
        if (pick(g, 0, 1)) key.back() = hs;
        for (int i = 0; i <= num; ++i) value.push_back(pick(g, -3, 70000));
        for (int i = 0; i < num; ++i) factor.push_back(pick(g, -300, 300));
        lut = ZolLUT{num, key.data(), value.data(), factor.data(), pick(g, 0, 1)};
    }
};

// The stretch table of a record, walked level by level.
std::vector<int64_t> stretchModel(const ZolLUT& r, int hs) {
    std::vector<int64_t> t(static_cast<size_t>(hs));
    int j = -1;
    for (int i = 0; i < hs; ++i) {
        if (i < r.key[0]) { t[size_t(i)] = i; continue; }
        if (j < r.num - 1 && i == r.key[j + 1]) ++j;
        int64_t v = r.value[j];
        if (r.interpolateType) v += int64_t(i - r.key[j]) * r.factor[j];
        t[size_t(i)] = v & (hs - 1);
    }
    return t;
}

// The levels' counts a record foresees, and its equalising table.
std::vector<int64_t> equalizeModel(const ZolLUT& r, int hs, std::vector<int64_t>& cum) {
    cum.assign(size_t(hs), 0);
    for (int j = 0; j + 1 < r.num; ++j) {
        const int a = r.key[j], w = r.key[j + 1] - a;
        for (int i = a; i < a + w; ++i) cum[size_t(i)] = r.value[j] / w + (i == a + w - 1 ? r.value[j] % w : 0);
        if (w == 0 && a < hs) cum[size_t(a)] = r.value[j];
    }
    for (int i = 1; i < hs; ++i) cum[size_t(i)] += cum[size_t(i - 1)];
    std::vector<int64_t> t(static_cast<size_t>(hs));
    const int64_t total = cum.back();
    for (int i = 0; i < hs && total; ++i)
        t[size_t(i)] = hs == 256 ? 255 * cum[size_t(i)] / total
                                 : int64_t(std::trunc(double(cum[size_t(i)]) * 65535.0 / double(total)));
    for (auto& v : t) v &= hs - 1;
    return t;
}

// Sums of counts over each interval, as the records get them.
std::vector<int32_t> intervals(const ZolLUT& r, const std::vector<int64_t>& counts) {
    std::vector<int32_t> v;
    for (int j = 0; j + 1 < r.num; ++j) {
        int64_t s = 0;
        for (int i = r.key[j]; i < r.key[j + 1]; ++i) s += counts[size_t(i)];
        v.push_back(int32_t(s));
    }
    return v;
}

TEST(Histogram, CountsAgreeWithModel) {
    for (uint32_t seed = 0; seed < 300; ++seed) {
        std::mt19937 g(seed);
        const int depth = std::vector<int>{ZOL_DEPTH_1U, ZOL_DEPTH_8U, ZOL_DEPTH_16U}[size_t(seed % 3)];
        subj::Options o;
        o.nCh = depth == ZOL_DEPTH_1U ? 1 : pick(g, 1, 4);
        o.alpha = o.nCh > 1 && !pick(g, 0, 2);
        Subject s;
        subj::build(s, g, depth, o);
        const int hs = histSize(depth);
        int first;
        const int n = subj::channelSet(s.img, first);
        std::vector<std::unique_ptr<Record>> recs;
        std::vector<ZolLUT*> lut(size_t(o.nCh), nullptr);  // outside the set: never touched
        for (int k = 0; k < n; ++k) {
            recs.emplace_back(new Record(g, hs));
            lut[size_t(first + k)] = &recs.back()->lut;
        }
        std::vector<std::vector<int64_t>> counts(static_cast<size_t>(n), std::vector<int64_t>(static_cast<size_t>(hs)));
        subj::overRegion(s, nullptr, [&](int x, int y, int, int) {
            for (int k = 0; k < n; ++k) ++counts[size_t(k)][size_t(kit::get(s.img, x, y, first + k))];
        });
        std::vector<int32_t> last;
        for (auto& r : recs) last.push_back(r->lut.value[r->lut.num - 1]);
        kit::Recorder rec;
        zolComputeHisto(s.arg(), lut.data());
        ASSERT_TRUE(rec.none()) << "seed " << seed;
        for (int k = 0; k < n; ++k) {
            const ZolLUT& r = recs[size_t(k)]->lut;
            const auto want = intervals(r, counts[size_t(k)]);
            ASSERT_EQ(want, std::vector<int32_t>(r.value, r.value + r.num - 1)) << "seed " << seed;
            ASSERT_EQ(0, r.interpolateType);
            ASSERT_EQ(last[size_t(k)], r.value[r.num - 1]);
        }
        ASSERT_TRUE(subj::released(s)) << "seed " << seed;
    }
}

// Stretch and equalise write the mapped region, keep everything else, and
// equalisation updates the destination's records.
TEST(Histogram, MapsAgreeWithModel) {
    for (uint32_t seed = 0; seed < 400; ++seed) {
        std::mt19937 g(seed);
        const int depth = seed % 2 ? ZOL_DEPTH_8U : ZOL_DEPTH_16U;
        const bool equalize = seed % 4 >= 2;
        subj::Options o;
        o.nCh = pick(g, 1, 4);
        o.alpha = o.nCh > 1 && !pick(g, 0, 2);
        o.order = pick(g, 0, 1);
        Subject s, d;
        subj::build(s, g, depth, o);
        const bool inPlace = !pick(g, 0, 4);
        if (!inPlace) {
            if (!s.img->roi || !s.img->roi->coi) o.coi = 0;
            subj::build(d, g, depth, o);
        }
        const Subject& dst = inPlace ? s : d;
        const int hs = histSize(depth);
        int sf, df;
        const int n = subj::channelSet(s.img, sf);
        if (n == 0 || subj::channelSet(dst.img, df) != n) continue;
        std::vector<std::unique_ptr<Record>> recs;
        std::vector<ZolLUT*> lut(size_t(o.nCh), nullptr);
        std::vector<std::vector<int64_t>> table, cum(static_cast<size_t>(n));
        for (int k = 0; k < n; ++k) {
            recs.emplace_back(new Record(g, hs));
            if (equalize) recs.back()->lut.value[0] |= 1;  // a total that isn't 0
            lut[size_t(sf + k)] = &recs.back()->lut;
            table.push_back(equalize ? equalizeModel(recs.back()->lut, hs, cum[size_t(k)])
                                     : stretchModel(recs.back()->lut, hs));
        }
        if (equalize && df != sf) continue;  // the records the destination names were not set up
        std::vector<uint8_t> before = s.img.bytes(), want = dst.img.bytes(), orig = want;
        ZolImage src0 = *s.img.get(), out = *dst.img.get();  // the model's copies
        src0.imageData = reinterpret_cast<char*>(before.data());
        out.imageData = reinterpret_cast<char*>(want.data());
        subj::overRegion(s, inPlace ? nullptr : &d, [&](int x, int y, int dx, int dy) {
            if (inPlace) dx = x, dy = y;
            for (int k = 0; k < n; ++k)
                kit::set(&out, dx, dy, df + k, table[size_t(k)][size_t(kit::get(&src0, x, y, sf + k))]);
        });
        kit::Recorder rec;
        if (equalize) zolHistoEqualize(s.arg(), dst.arg(), lut.data());
        else zolContrastStretch(s.arg(), dst.arg(), lut.data());
        const bool zero = equalize && rec.only(ZOL_STATUS_INTERNAL, "zolHistoEqualize",
                                               "All values in histogram are zeroes");
        ASSERT_TRUE(rec.none() || zero) << "seed " << seed;
        ASSERT_EQ(zero ? orig : want, dst.img.bytes()) << "seed " << seed;
        if (equalize && !zero)
            for (int k = 0; k < n; ++k) {
                std::vector<int64_t> N(static_cast<size_t>(hs));
                for (int i = 0; i < hs; ++i)
                    N[size_t(table[size_t(k)][size_t(i)])] += cum[size_t(k)][size_t(i)] - (i ? cum[size_t(k)][size_t(i - 1)] : 0);
                const ZolLUT& r = recs[size_t(k)]->lut;
                ASSERT_EQ(intervals(r, N), std::vector<int32_t>(r.value, r.value + r.num - 1)) << "seed " << seed;
            }
        ASSERT_TRUE(subj::released(s) && subj::released(d)) << "seed " << seed;
        if (inPlace && s.tiles) {  // one image: its tiles are asked for writing only
            for (const kit::TileRequest& t : s.tiles->log()) ASSERT_NE(ZOL_TILE_READ, t.mode);
        }
    }
}

TEST(Histogram, FixedCases) {
    kit::Image a(ZOL_DEPTH_8U, 1, 10, 3);
    for (int i = 0; i < a->imageSize; ++i) a->imageData[i] = char(i % 10 * 30);  // 0 .. 270 wrapped
    int32_t key[] = {0, 128, 128, 256}, value[] = {0, 300, 7, 9}, factor[] = {2, 1, 0, 0};
    ZolLUT r{4, key, value, factor, 1};
    ZolLUT* lut[] = {&r};
    kit::Recorder rec;
    zolContrastStretch(a, a, lut);
    // Level 30 on the line 0 + 30 * 2; from 128 on the walk holds at the
    // first of the repeated keys: 300 + (i - 128), low 8 bits.
    EXPECT_EQ(60, kit::get(a, 1, 0, 0));
    EXPECT_EQ((300 + 150 - 128) & 255, kit::get(a, 5, 0, 0));
    EXPECT_TRUE(rec.none());

    // Equalisation from the record alone: 4 levels of a 2-level interval.
    int32_t k2[] = {0, 2, 256}, v2[] = {5, 0, 0};
    ZolLUT e{3, k2, v2, nullptr, 0};
    ZolLUT* le[] = {&e};
    kit::Image b(ZOL_DEPTH_8U, 1, 4, 1);
    b->imageData[1] = 1, b->imageData[2] = 2;
    zolHistoEqualize(b, b, le);
    EXPECT_EQ(255 * 2 / 5, kit::get(b, 0, 0, 0));  // level 0 holds 5/2
    EXPECT_EQ(255, kit::get(b, 1, 0, 0));
    EXPECT_EQ(255, kit::get(b, 2, 0, 0));
    EXPECT_EQ(0, v2[0]);
    EXPECT_EQ(5, v2[1]);
}

// A tile that does not come: -2 with the request's words, nothing held,
// and the tiles before it done.
TEST(Histogram, TilesThatDoNotCome) {
    kit::Image a(ZOL_DEPTH_8U, 1, 40, 20), b(ZOL_DEPTH_8U, 1, 40, 20);
    a.randomize(1), b.randomize(2);
    int32_t key[] = {0, 256}, val[2] = {};
    ZolLUT r{2, key, val, nullptr, 1};
    ZolLUT* lut[] = {&r};
    for (int which = 0; which < 3; ++which) {
        kit::TileServer ta(a, 16, 8), tb(b, 16, 8);
        ta.failAt(2), tb.failAt(2);
        const std::vector<uint8_t> before = b.bytes();
        kit::Recorder rec;
        if (which == 0) zolComputeHisto(ta.image(), lut);
        if (which == 1) zolContrastStretch(ta.image(), b, lut);   // source's tiles walked
        if (which == 2) zolContrastStretch(a, tb.image(), lut);   // destination's tiles walked
        const char* words = which == 2 ? "Error get tile to write" : "Error get tile to read";
        const char* func = which ? "zolMap" : "zolComputeHisto";
        ASSERT_EQ(which ? 2u : 1u, rec.reports().size()) << which;  // the map's, then a Backtrace
        EXPECT_EQ(func, rec.reports()[0].func);
        EXPECT_EQ(words, rec.reports()[0].context);
        EXPECT_TRUE(ta.breaches().empty() && !ta.held() && tb.breaches().empty() && !tb.held());
        EXPECT_EQ(1, r.interpolateType);  // records untouched
        EXPECT_EQ(which == 1, before != b.bytes());     // the first tile's part is done
    }
}

// The check order: each row of the table is one call and the reports it makes.
TEST(Histogram, ChecksInOrder) {
    kit::Image u8(ZOL_DEPTH_8U, 1, 4, 4), s8(ZOL_DEPTH_8S, 1, 4, 4), f32(ZOL_DEPTH_32F, 1, 4, 4);
    kit::Image p3(ZOL_DEPTH_8U, 3, 4, 4, ZOL_DATA_ORDER_PLANE), c3(ZOL_DEPTH_8U, 3, 4, 4);
    kit::Image u16(ZOL_DEPTH_16U, 1, 4, 4), rgba(ZOL_DEPTH_8U, 4, 4, 4, 0, 4, true);
    int32_t key[] = {0, 256}, bad[] = {0, 300}, down[] = {5, 4, 256}, val[3] = {};
    ZolLUT ok{2, key, val, nullptr, 0}, big{2, bad, val, nullptr, 0}, rev{3, down, val, nullptr, 0};
    ZolLUT one{1, key, val, nullptr, 0}, noKey{2, nullptr, val, nullptr, 0};
    ZolLUT* good[] = {&ok, &ok, &ok};
    ZolLUT* none[] = {nullptr};
    ZolLUT* set[][1] = {{&big}, {&rev}, {&one}, {&noKey}};
    using R = std::vector<kit::Report>;
    const std::string H = "zolComputeHisto", S = "zolContrastStretch", E = "zolHistoEqualize";
    const std::string depthH = "(srcImage->depth & ZOL_DEPTH_SIGN) || (srcImage->depth == ZOL_DEPTH_32F)";
    const std::string depthM = "srcImage->depth != ZOL_DEPTH_8U && srcImage->depth != ZOL_DEPTH_16U";
    struct Row { std::function<void()> call; R want; };
    const Row rows[] = {
        {[&] { zolComputeHisto(nullptr, good); }, {{-9, H, "Incorrect Image"}}},
        {[&] { zolComputeHisto(s8, nullptr); }, {{-5, H, "lut==0"}, {-5, H, depthH}}},
        {[&] { zolComputeHisto(f32, good); }, {{-5, H, depthH}}},
        {[&] { zolComputeHisto(u8, none); }, {{-5, H, "lut[k]==0"}}},
        {[&] { zolComputeHisto(u8, set[0]); }, {{-5, H, "lut[k]->key[lut[k]->num-1] > histSize"}}},
        {[&] { zolComputeHisto(u8, set[1]); }, {{-5, H, "lut[k]->key[i] > lut[k]->key[i+1]"}}},
        {[&] { zolComputeHisto(u8, set[2]); }, {{-5, H, "lut[k]->num < 2"}}},
        {[&] { zolComputeHisto(u8, set[3]); }, {{-5, H, "lut[k]->key==0"}}},
        {[&] { zolComputeHisto(rgba, nullptr); }, {{-5, H, "lut==0"}}},
        {[&] { zolContrastStretch(u8, nullptr, good); }, {{-9, S, "Incorrect Image"}}},
        {[&] { zolContrastStretch(u8, u16, nullptr); },
         {{-5, S, "srcImage->depth != dstImage->depth"}, {-5, S, "lut==0"}}},
        {[&] { zolContrastStretch(p3, c3, good); }, {{-5, S, "srcImage->dataOrder != dstImage->dataOrder"}}},
        {[&] { zolHistoEqualize(s8, s8, good); }, {{-5, E, depthM}}},
        {[&] { zolHistoEqualize(c3, u8, good); }, {{-24, E, "srcImage COI != dstImage COI"}}},
        {[&] { zolHistoEqualize(u8, u8, good); }, {{-3, E, "All values in histogram are zeroes"}}},
        {[&] { zolContrastStretch(u8, u8, set[2]); }, {{-5, S, "lut[k]->num < 2"}}},
        {[&] { kit::HeapFailure f(1); zolComputeHisto(u8, good); }, {{-4, H, ""}}},
        {[&] { kit::HeapFailure f(1); zolContrastStretch(u8, u8, good); }, {{-4, S, ""}}},
        {[&] { kit::HeapFailure f(2); zolHistoEqualize(u8, u8, good); }, {{-4, E, ""}}},
    };
    for (size_t i = 0; i < std::size(rows); ++i) {
        kit::Recorder rec;
        rows[i].call();
        ASSERT_EQ(rows[i].want.size(), rec.reports().size()) << "row " << i;
        for (size_t k = 0; k < rows[i].want.size(); ++k) {
            EXPECT_EQ(rows[i].want[k].status, rec.reports()[k].status) << "row " << i;
            EXPECT_EQ(rows[i].want[k].func, rec.reports()[k].func) << "row " << i;
            EXPECT_EQ(rows[i].want[k].context, rec.reports()[k].context) << "row " << i;
        }
    }
    // A leftover negative status stops all three silently; an alpha-only set too.
    for (int pass = 0; pass < 4; ++pass) {
        kit::Recorder rec;
        if (pass < 3) zolSetErrStatus(-7);
        rgba.setRoi(pass == 3 ? 4 : 0, 0, 0, 4, 4);
        val[0] = 99;
        if (pass == 0) zolComputeHisto(u8, good);
        if (pass == 1) zolContrastStretch(u8, u8, good);
        if (pass >= 2) zolHistoEqualize(pass == 2 ? u8.get() : rgba.get(), rgba, good);
        EXPECT_TRUE(rec.none()) << pass;
        EXPECT_EQ(99, val[0]) << pass;
    }
}

}  // namespace
