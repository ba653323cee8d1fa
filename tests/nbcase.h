// Random neighbourhood cases shared by the filter tests: source and
// destination frames of every layout (ROI, coi, alpha, masks, tiles, in
// place), a border-folding sample reader for per-pixel models, and the
// comparison of the destination with what a model expects.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <random>
#include <sstream>
#include <vector>

#include "kit.h"
#include "tiles.h"

namespace nbcase {

using kit::Image;

inline int64_t floorMod(int64_t a, int64_t n) { return ((a % n) + n) % n; }

// Sample (x, y, c) of the infinite plane by the header's side rules; cst
// holds the constants as the operation reads them, as sample values.
inline double sample(const ZolImage* im, int64_t x, int64_t y, int c, const double* cst) {
    const int64_t W = im->width, H = im->height;
    int side = -1;
    if (y < 0) side = 0;
    else if (y >= H) side = 1;
    else if (x < 0) side = 2;
    else if (x >= W) side = 3;
    if (side >= 0) {
        const int mode = im->borderMode[side] & 3;
        if (mode == ZOL_BORDER_CONSTANT) return cst[side];
        auto fold = [&](int64_t v, int64_t n) {
            if (v >= 0 && v < n) return v;
            if (mode == ZOL_BORDER_REPLICATE) return v < 0 ? 0 : n - 1;
            if (mode == ZOL_BORDER_WRAP) return floorMod(v, n);
            const int64_t p = floorMod(v, 2 * n);
            return p < n ? p : 2 * n - 1 - p;
        };
        x = fold(x, W);
        y = fold(y, H);
    }
    const int64_t v = kit::get(im, int(x), int(y), c);
    if (im->depth == ZOL_DEPTH_32F) {
        float f;
        const uint32_t b = uint32_t(v);
        std::memcpy(&f, &b, 4);
        return f;
    }
    return double(v);
}


// ---------------------------------------------------------------------
// Random frames

struct Side {
    Image img, mask;
    std::unique_ptr<kit::TileServer> tiles;
    ZolImage* arg() const { return tiles ? tiles->image() : img.get(); }
};

struct Case {
    std::mt19937 g;
    std::ostringstream why;
    Side s, d;
    bool inPlace = false;
    explicit Case(uint32_t seed) : g(seed) { why << "seed " << seed; }
    int pick(int n) { return int(g() % uint32_t(n)); }

    void make(Side& side, int depth, int order, int n, bool alpha, int w, int h, bool coi, int coiAt) {
        side.img = Image(depth, n, w, h, order, pick(2) ? 4 : 8, alpha);
        if (depth == ZOL_DEPTH_32F) {
            for (int y = 0; y < h; ++y)
                for (int x = 0; x < w; ++x)
                    for (int c = 0; c < n; ++c) {
                        const float f = float(int(g() % 2001) - 1000) / float(1 + pick(8));
                        uint32_t b;
                        std::memcpy(&b, &f, 4);
                        kit::set(side.img, x, y, c, b);
                    }
        } else {
            side.img.randomize(g());
        }
        for (int k = 0; k < 4; ++k) zolSetBorderMode(side.img, pick(4), 1 << k, pick(900) - 450);
        if (coi) side.img.setRoi(coiAt, pick(std::min(w, 4)), pick(std::min(h, 3)), 1 + pick(w), 1 + pick(h));
        else if (pick(2)) side.img.setRoi(0, pick(std::min(w, 5)), pick(std::min(h, 4)), 1 + pick(w + 3), 1 + pick(h + 2));
        if (pick(4) == 0) {
            side.mask = Image(ZOL_DEPTH_1U, 1, w + pick(5), h + pick(5));
            side.mask.randomize(g());
            if (pick(2)) side.mask.setRoi(0, pick(7), pick(3), w, h);
            side.img->maskROI = side.mask;
            why << " mask";
        }
        if (pick(4) == 0) {
            side.tiles = std::make_unique<kit::TileServer>(side.img.get(), 8 * (1 + pick(3)), 8 * (1 + pick(2)));
            ZolImage* t = side.tiles->image();
            if (const ZolROI* r = side.img->roi) t->roi = zolCreateROI(r->coi, r->xOffset, r->yOffset, r->width, r->height);
            t->maskROI = side.img->maskROI;
            why << " tiles";
        }
    }

    // Source and destination of one depth and layout; alpha or a coi on
    // either side; sometimes one image.
    // matched: both images carry the same channels and alpha; inPlaceOk:
    // the call may be asked to work in place.
    void frame(int depth, bool matched = false, bool inPlaceOk = true) {
        const int order = depth == ZOL_DEPTH_1U ? 0 : pick(2);
        const int n = depth == ZOL_DEPTH_1U ? 1 : 1 + pick(4);
        // Alpha on either side: n colour channels meet n with an alpha channel.
        const bool as = n > 1 && pick(3) == 0, ad = matched ? as : n > 1 && pick(3) == 0;
        const int nd = n - as + ad;
        const bool coi = depth != ZOL_DEPTH_1U && n > 1 && pick(4) == 0;
        const int w = 1 + pick(22), h = 1 + pick(14);
        why << " depth " << kit::depthName(depth) << " order " << order << " n " << n << " alpha " << as << ad
            << " coi " << coi << " size " << w << "x" << h;
        make(s, depth, order, n, as, w, h, coi && pick(3), 1 + pick(n));
        inPlace = inPlaceOk && pick(5) == 0;
        if (!inPlace) make(d, depth, order, nd, ad, w + pick(3), h + pick(3), coi && pick(3), 1 + pick(nd));
        why << (inPlace ? " in place" : "");
    }
};

// The channels a call works on: count, first channel of each image.
struct Chan {
    int n, cs, cd;
    int pix;  // samples per pixel of the computed rows (the float 3x3/5x5 rule)
};

// The destination bytes the model expects: elem(snapshot, x, y, channel)
// over the w x h region under the masks of both images.
template <class Elem>
inline std::vector<uint8_t> expected(Case& k, int w, int h, const Chan& ch, Elem elem) {
    ZolImage* dst = k.inPlace ? k.s.img.get() : k.d.img.get();
    const ZolImage* src = k.s.img.get();
    std::vector<uint8_t> snapBytes(src->imageData, src->imageData + src->imageSize);
    ZolImage snap = *src;
    snap.imageData = reinterpret_cast<char*>(snapBytes.data());
    std::vector<uint8_t> want(dst->imageData, dst->imageData + dst->imageSize);
    ZolImage view = *dst;
    view.imageData = reinterpret_cast<char*>(want.data());
    auto cornerOf = [](const ZolImage* im, int xy) { return im->roi ? (xy ? im->roi->yOffset : im->roi->xOffset) : 0; };
    for (int j = 0; j < h; ++j)
        for (int i = 0; i < w; ++i) {
            bool on = true;
            for (const ZolImage* im : {src, (const ZolImage*)dst})
                if (const ZolImage* m = im->maskROI)
                    on = on && kit::get(m, cornerOf(m, 0) + i, cornerOf(m, 1) + j, 0);
            for (int c = 0; on && c < ch.n; ++c)
                kit::set(&view, cornerOf(dst, 0) + i, cornerOf(dst, 1) + j, ch.cd + c,
                         elem(&snap, cornerOf(src, 0) + i, cornerOf(src, 1) + j, ch.cs + c));
        }
    return want;
}

inline void compare(Case& k, const std::vector<uint8_t>& want) {
    const ZolImage* dst = k.inPlace ? k.s.img.get() : k.d.img.get();
    for (const Side* sd : {&k.s, &k.d})
        if (sd->tiles) {
            EXPECT_TRUE(sd->tiles->breaches().empty() && !sd->tiles->held()) << k.why.str();
        }
    size_t at = 0;
    while (at < want.size() && uint8_t(dst->imageData[at]) == want[at]) ++at;
    EXPECT_EQ(at, want.size()) << k.why.str() << ": first difference at byte " << at;
}

// Region size by each image's ROI (cut at its edges unless `uncut`) and mask.
inline void region(const ZolImage* im, bool uncut, int& w, int& h) {
    const ZolROI* r = im->roi;
    w = std::min(w, r ? std::min(r->width, uncut ? im->width : im->width - r->xOffset) : im->width);
    h = std::min(h, r ? std::min(r->height, uncut ? im->height : im->height - r->yOffset) : im->height);
    if (const ZolImage* m = im->maskROI) {
        int mw = 1 << 30, mh = 1 << 30;
        region(m, false, mw, mh);
        w = std::min(w, mw);
        h = std::min(h, mh);
    }
}

inline int coiOf(const ZolImage* im) { return im->roi ? im->roi->coi : 0; }

// A border constant as a rectangle fetch reads it: the element's low bits
// (32F: the integer as a float).
inline double lowBits(int depth, int32_t v) {
    switch (depth) {
        case ZOL_DEPTH_1U: return v & 1;
        case ZOL_DEPTH_8U: return uint8_t(v);
        case ZOL_DEPTH_8S: return int8_t(v);
        case ZOL_DEPTH_16U: return uint16_t(v);
        case ZOL_DEPTH_16S: return int16_t(v);
        case ZOL_DEPTH_32F: return float(v);
        default: return v;
    }
}

// Fills every element of an image with small integers (floats for 32F),
// whose float sums are exact.
inline void smallIntegers(Case& k, ZolImage* im) {
    for (int y = 0; y < im->height; ++y)
        for (int x = 0; x < im->width; ++x)
            for (int c = 0; c < im->nChannels; ++c) {
                const float v = float(k.pick(2001) - 1000);
                uint32_t b;
                std::memcpy(&b, &v, 4);
                kit::set(im, x, y, c, im->depth == ZOL_DEPTH_32F ? int64_t(b) : int64_t(v));
            }
}

}  // namespace nbcase
