// Random subjects for the measuring families: an image with or without a
// ROI at odd offsets, a coi, an alpha channel, a mask with a ROI of its
// own, served plain or in tiles; and the model's view of its region.
#pragma once

#include <algorithm>
#include <memory>
#include <random>

#include "kit.h"
#include "tiles.h"

namespace subj {

inline int pick(std::mt19937& g, int lo, int hi) {
    return std::uniform_int_distribution<int>(lo, hi)(g);
}

struct Subject {
    kit::Image img, mask;
    std::unique_ptr<kit::TileServer> tiles;
    ZolImage* arg() const { return tiles ? tiles->image() : img.get(); }

    // Region (x, y, w, h) of an image cut to it; the mask's, or false without one.
    static void regionOf(const ZolImage* im, int& x, int& y, int& w, int& h) {
        const ZolROI* r = im->roi;
        x = r ? r->xOffset : 0, y = r ? r->yOffset : 0;
        w = r ? std::max(0, std::min(r->width, im->width - x)) : im->width;
        h = r ? std::max(0, std::min(r->height, im->height - y)) : im->height;
    }
    void region(int& x, int& y, int& w, int& h) const { regionOf(img, x, y, w, h); }
    bool maskRegion(int& x, int& y, int& w, int& h) const {
        if (mask.get()) regionOf(mask, x, y, w, h);
        return mask.get() != nullptr;
    }
    bool maskBit(int mx, int my) const { return kit::get(mask, mx, my, 0) != 0; }
};

struct Options {
    int nCh = 1;       // channels, alpha included
    bool alpha = false;
    int coi = -1;      // -1: chosen at random
    int order = -1;    // -1: chosen at random
};

// A subject of the given depth; roughly a third each get a ROI, a mask,
// tiles.
inline void build(Subject& s, std::mt19937& g, int depth, Options o) {
    const int w = pick(g, 1, 45), h = pick(g, 1, 11);
    const int order = o.order >= 0 ? o.order : pick(g, 0, 1);
    s.img = kit::Image(depth, o.nCh, w, h, order, pick(g, 0, 1) ? 4 : 8, o.alpha);
    s.img.randomize(g());
    const int coi = o.coi >= 0 ? o.coi : (o.nCh > 1 && !pick(g, 0, 2) ? pick(g, 1, o.nCh) : 0);
    if (pick(g, 0, 2) || coi) {
        const int x = pick(g, 0, w - 1), y = pick(g, 0, h - 1);
        s.img.setRoi(coi, x, y, pick(g, 1, w + 3), pick(g, 1, h + 2));
    }
    if (!pick(g, 0, 2)) {
        s.mask = kit::Image(ZOL_DEPTH_1U, 1, pick(g, 1, 50), pick(g, 1, 13));
        s.mask.randomize(g());
        if (pick(g, 0, 1)) s.mask.setRoi(0, pick(g, 0, 9), pick(g, 0, 2), pick(g, 1, 50), 13);
        s.img->maskROI = s.mask;
    }
    if (!pick(g, 0, 2)) {
        s.tiles = std::make_unique<kit::TileServer>(s.img, 8 * pick(g, 1, 3), 8 * pick(g, 1, 2));
        if (const ZolROI* r = s.img->roi)
            s.tiles->image()->roi = zolCreateROI(r->coi, r->xOffset, r->yOffset, r->width, r->height);
        s.tiles->image()->maskROI = s.mask.get();
    }
}

// The channel set's first channel and size (0 for the alpha channel alone,
// where the family ends silently).
inline int channelSet(const ZolImage* im, int& first, bool alphaAloneEnds = true) {
    const int coi = im->roi ? im->roi->coi : 0;
    first = coi ? coi - 1 : 0;
    if (alphaAloneEnds && im->alphaChannel && (coi == im->nChannels || (!coi && im->nChannels == 1)))
        return 0;
    return coi ? 1 : im->nChannels - (im->alphaChannel ? 1 : 0);
}

// Calls f(i, j) for every pixel of the common region the masks select,
// with each image's corner in (sx, sy), (dx, dy).
template <class F>
inline void overRegion(const Subject& s, const Subject* d, F f) {
    int sx, sy, w, h, dx = 0, dy = 0, dw, dh, m[2][4];
    s.region(sx, sy, w, h);
    if (d) d->region(dx, dy, dw, dh), w = std::min(w, dw), h = std::min(h, dh);
    const Subject* ms[2] = {&s, d && d->mask.get() != s.mask.get() ? d : nullptr};
    for (int k = 0; k < 2; ++k)
        if (ms[k] && ms[k]->maskRegion(m[k][0], m[k][1], m[k][2], m[k][3]))
            w = std::min(w, m[k][2]), h = std::min(h, m[k][3]);
        else ms[k] = nullptr;
    for (int j = 0; j < h; ++j)
        for (int i = 0; i < w; ++i) {
            bool on = true;
            for (int k = 0; k < 2; ++k)
                if (ms[k]) on = on && ms[k]->maskBit(m[k][0] + i, m[k][1] + j);
            if (on) f(sx + i, sy + j, dx + i, dy + j);
        }
}

inline bool released(const Subject& s) {
    return !s.tiles || (s.tiles->breaches().empty() && !s.tiles->held());
}

}  // namespace subj
