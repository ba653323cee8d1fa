#include "frames.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <random>
#include <sstream>

#include "kit.h"
#include "tiles.h"

namespace kit {

namespace {

struct Rect {
    int x, y, w, h;
};

Rect regionOf(const ZolImage* im) {
    if (!im->roi) return {0, 0, im->width, im->height};
    const ZolROI* r = im->roi;
    return {r->xOffset, r->yOffset, std::max(0, std::min(r->width, im->width - r->xOffset)),
            std::max(0, std::min(r->height, im->height - r->yOffset))};
}

bool whole(const ZolImage* im) {
    const ZolROI* r = im->roi;
    return !r || (r->xOffset == 0 && r->yOffset == 0 && r->width >= im->width &&
                  r->height >= im->height && (r->coi == 0 || im->nChannels == 1));
}

// A plain image standing for a snapshot of another's pixels.
ZolImage viewOf(const ZolImage* im, const std::vector<uint8_t>& bytes) {
    ZolImage v = *im;
    v.imageData = reinterpret_cast<char*>(const_cast<uint8_t*>(bytes.data()));
    return v;
}

// The destination block after the operation, by the frame's rules applied
// pixel by pixel to snapshots of the sources.
std::vector<uint8_t> expected(const std::vector<const ZolImage*>& src,
                              const std::vector<std::vector<uint8_t>>& srcBytes,
                              const ZolImage* dst, const ElementModel& model) {
    std::vector<uint8_t> out(reinterpret_cast<const uint8_t*>(dst->imageData),
                             reinterpret_cast<const uint8_t*>(dst->imageData) + dst->imageSize);
    ZolImage dv = viewOf(dst, out);
    std::vector<ZolImage> sv;
    for (size_t i = 0; i < src.size(); ++i) sv.push_back(viewOf(src[i], srcBytes[i]));

    std::vector<const ZolImage*> all(src.begin(), src.end());
    all.push_back(dst);
    int w = 1 << 30, h = 1 << 30;
    bool anyCoi = false;
    for (const ZolImage* im : all) {
        const Rect r = regionOf(im);
        w = std::min(w, r.w);
        h = std::min(h, r.h);
        anyCoi = anyCoi || (im->roi && im->roi->coi > 0);
        if (im->maskROI) {
            const Rect m = regionOf(im->maskROI);
            w = std::min(w, m.w);
            h = std::min(h, m.h);
        }
    }
    const int nCh = anyCoi ? 1 : dst->nChannels - (dst->alphaChannel ? 1 : 0);
    auto channel = [&](const ZolImage* im, int c) {
        return im->roi && im->roi->coi > 0 ? im->roi->coi - 1 : c;
    };
    std::vector<int64_t> vals(src.size());
    for (int j = 0; j < h; ++j)
        for (int i = 0; i < w; ++i) {
            bool on = true;
            for (const ZolImage* im : all)
                if (im->maskROI) {
                    const Rect m = regionOf(im->maskROI);
                    on = on && get(im->maskROI, m.x + i, m.y + j, 0);
                }
            if (!on) continue;
            for (int c = 0; c < nCh; ++c) {
                for (size_t k = 0; k < src.size(); ++k) {
                    const Rect r = regionOf(src[k]);
                    vals[k] = get(&sv[k], r.x + i, r.y + j, channel(src[k], c));
                }
                const Rect r = regionOf(dst);
                set(&dv, r.x + i, r.y + j, channel(dst, c), model(dst->depth, vals.data()));
            }
        }
    return out;
}

// One random configuration of the frame, run and checked.
class FrameCase {
public:
    FrameCase(uint32_t seed, int nSrc, const FrameOptions& o) : g_(seed), nSrc_(nSrc), opt_(o) {}

    void run(const std::function<void(ZolImage* const*)>& op, const ElementModel& model) {
        build();
        SCOPED_TRACE(describe_.str());
        // Snapshots of the sources, and the model's destination.
        std::vector<const ZolImage*> src;
        std::vector<std::vector<uint8_t>> bytes;
        for (int k = 0; k < nSrc_; ++k) {
            src.push_back(plain(k));
            bytes.push_back(images_[size_t(idx_[k])].bytes());
        }
        ZolImage* dst = plain(nSrc_);
        const std::vector<uint8_t> want = expected(src, bytes, dst, model);

        Recorder rec;
        ZolImage* args[3];
        for (int k = 0; k <= nSrc_; ++k) args[k] = served(k);
        op(args);
        ASSERT_TRUE(rec.none()) << rec.reports()[0].func << ": " << rec.reports()[0].context;
        for (auto& s : servers_) {
            if (!s) continue;
            ASSERT_TRUE(s->breaches().empty()) << s->breaches()[0];
            ASSERT_FALSE(s->held());
        }
        const auto* got = reinterpret_cast<const uint8_t*>(dst->imageData);
        if (!paddingMayChange()) {
            for (size_t i = 0; i < want.size(); ++i)
                ASSERT_EQ(int(want[i]), int(got[i])) << "byte " << i;
            return;
        }
        const ZolImage w = viewOf(dst, want);
        for (int y = 0; y < dst->height; ++y)
            for (int x = 0; x < dst->width; ++x)
                for (int c = 0; c < dst->nChannels; ++c)
                    ASSERT_EQ(get(&w, x, y, c), get(dst, x, y, c)) << x << "," << y << "," << c;
    }

private:
    int pick(int n) { return int(g_() % uint32_t(n)); }

    void build() {
        const int depth = opt_.depths[size_t(pick(int(opt_.depths.size())))];
        const int order = pick(2), align = pick(2) ? 4 : 8;
        const int nCh = depth == ZOL_DEPTH_1U ? 1 : 1 + pick(4);
        const bool alpha = nCh > 1 && pick(3) == 0;
        const int w = 1 + pick(67), h = 1 + pick(opt_.tiles ? 20 : 7);
        describe_ << kit::depthName(depth) << (order ? " plane" : " pixel") << " align " << align
                  << " " << w << "x" << h << " nCh " << nCh << (alpha ? " alpha" : "");

        // Which distinct image each argument is: in place shares them.
        for (int k = 0; k <= nSrc_; ++k) slot_[k] = k;
        if (opt_.inPlace && pick(4) == 0) {
            const int kind = pick(nSrc_ == 1 ? 1 : 4);
            if (nSrc_ == 1) slot_[0] = 1;
            else if (kind == 0) slot_[0] = 2;             // A = dst
            else if (kind == 1) slot_[1] = 2;             // B = dst
            else if (kind == 2) slot_[0] = slot_[1] = 2;  // A = B = dst
            else slot_[1] = 0;                            // A = B
            describe_ << " in-place " << kind;
        }
        const bool coi = depth != ZOL_DEPTH_1U && pick(4) == 0;
        for (int k = 0; k <= nSrc_; ++k) {
            if (slot_[k] != k) continue;
            idx_[k] = int(images_.size());
            // Alpha may be on one side only: n channels with alpha meet n-1 without.
            const bool a = alpha && pick(2);
            const int n = alpha && !a ? nCh - 1 : nCh;
            images_.emplace_back(depth, n, w + pick(4), h + pick(3), order, align, a);
            Image& im = images_.back();
            im.randomize(g_());
            if (coi) im.setRoi(1 + pick(n), pick(3), pick(3), w, h);
            else if (pick(2)) im.setRoi(0, pick(7), pick(5), 1 + pick(w + 4), 1 + pick(h + 3));
            describe_ << " | img" << k << " " << n << "ch" << (a ? "+a" : "");
            if (im->roi)
                describe_ << " roi(" << im->roi->coi << "," << im->roi->xOffset << ","
                          << im->roi->yOffset << "," << im->roi->width << ","
                          << im->roi->height << ")";
            if (opt_.masks && pick(3) == 0) {
                masks_.emplace_back(ZOL_DEPTH_1U, 1, w + pick(9), h + pick(4),
                                    ZOL_DATA_ORDER_PIXEL, pick(2) ? 4 : 8);
                Image& m = masks_.back();
                m.randomize(g_());
                if (pick(2)) {  // long runs of set and clear bits, as real masks have
                    bool on = pick(2);
                    for (int i = 0; i < m->imageSize; ++i) {
                        if (pick(6) == 0) on = !on;
                        if (pick(8)) m->imageData[i] = char(on ? 0xFF : 0);
                    }
                }
                if (pick(2)) m.setRoi(0, pick(9), pick(3), w, h);
                im->maskROI = m;
                describe_ << " mask";
            }
        }
        for (int k = 0; k <= nSrc_; ++k) idx_[k] = idx_[slot_[k]];
        servers_.resize(images_.size());
        for (size_t i = 0; i < images_.size(); ++i)
            if (opt_.tiles && pick(3) == 0) {
                const int tw = 8 * (1 + pick(8)), th = 8 * (1 + pick(4));
                servers_[i] = std::make_unique<TileServer>(images_[i].get(), tw, th);
                if (pick(2)) servers_[i]->freshBuffers(true);
                ZolImage* t = servers_[i]->image();
                if (const ZolROI* r = images_[i]->roi)
                    t->roi = zolCreateROI(r->coi, r->xOffset, r->yOffset, r->width, r->height);
                t->maskROI = images_[i]->maskROI;
                describe_ << " | image " << i << " tiles " << tw << "x" << th;
            }
    }

    // The distinct image behind argument k, plain or as served in tiles.
    ZolImage* plain(int k) { return images_[size_t(idx_[k])].get(); }
    ZolImage* served(int k) {
        const auto& s = servers_[size_t(idx_[k])];
        return s ? s->image() : plain(k);
    }

    // The whole-image pass may write the destination's padding.
    bool paddingMayChange() const {
        const ZolImage* d = images_[size_t(idx_[nSrc_])].get();
        for (const Image& im : images_)
            if (im->maskROI || im->alphaChannel || !whole(im.get()) || im->width != d->width ||
                im->height != d->height)
                return false;
        return true;
    }

    std::mt19937 g_;
    int nSrc_;
    const FrameOptions& opt_;
    int slot_[3] = {0, 1, 2};  // argument k is the same image as argument slot_[k]
    int idx_[3] = {0, 0, 0};   // argument k's image in images_
    std::vector<Image> images_, masks_;
    std::vector<std::unique_ptr<TileServer>> servers_;
    std::ostringstream describe_;
};

void checkAll(int nSrc, const std::function<void(ZolImage* const*)>& op,
              const ElementModel& model, const FrameOptions& o) {
    for (int i = 0; i < o.cases; ++i) {
        const uint32_t seed = o.seed + uint32_t(i);
        SCOPED_TRACE(testing::Message() << "case seed " << seed);
        {
            FrameCase c(seed, nSrc, o);
            c.run(op, model);
        }
        TileServer::sequence().clear();
        if (testing::Test::HasFatalFailure()) return;
    }
}

}  // namespace

void checkFrames(const UnaryOp& op, const ElementModel& model, const FrameOptions& o) {
    checkAll(1, [&](ZolImage* const* a) { op(a[0], a[1]); }, model, o);
}

void checkFrames(const BinaryOp& op, const ElementModel& model, const FrameOptions& o) {
    checkAll(2, [&](ZolImage* const* a) { op(a[0], a[1], a[2]); }, model, o);
}

}  // namespace kit
