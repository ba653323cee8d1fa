// Tile requests, views and the band walk.
#include "core/tiles.h"

#include <algorithm>

#include "core/frame.h"
#include "core/image.h"
#include "core/messages.h"

namespace zol {

void ownTileSetup(const ZolImage* image, ZolImage* view, const ownRect* rect,
                  ownTileCursor* cursor) {
    *cursor = ownTileCursor{};
    const ZolTileInfo* info = image->tileInfo;
    if (!info) return;
    cursor->tiled = 1;
    cursor->tileWidth = info->width;
    cursor->tileHeight = info->height;
    view->tileInfo = nullptr;
    view->widthStep = ownTileStep(image);
    view->imageSize = view->widthStep * info->height *
                      (image->dataOrder == ZOL_DATA_ORDER_PLANE ? image->nChannels : 1);
    view->width = info->width;
    view->height = info->height;
    cursor->firstColumn = rect->x / info->width;
    cursor->row = rect->y / info->height;
    cursor->top = cursor->row * info->height;
    cursor->bottom = cursor->top + info->height;
    cursor->firstLeft = cursor->firstColumn * info->width;
    cursor->firstRight = cursor->firstLeft + info->width;
    cursor->column = cursor->firstColumn;
    cursor->left = cursor->firstLeft;
    cursor->right = cursor->firstRight;
}

namespace {

// One image taking part in a walk: its view, the view's ROI (always the
// current piece), its rectangle and where the walk stands in it.
struct Walked {
    const ZolImage* image = nullptr;
    ZolImage view{};
    ZolROI roi{};
    ownRect rect{};
    ownTileCursor cur{};
    int32_t x = 0, y = 0;
    int mode = ZOL_TILE_READ;
    const char* missing = nullptr;  // context when a tile does not come
    const char* uncleared = nullptr;  // context when a released tile stays set

    void init(const ZolImage* im) {
        image = im;
        view = *im;
        roi = ZolROI{im->roi ? im->roi->coi : 0, 0, 0, 0, 0};
        view.roi = &roi;
        ownRoiRect(im, &rect);
    }
};

const char* const kMissingSrc[2][2] = {{msg::kTileSrc, nullptr}, {msg::kTileSrcA, msg::kTileSrcB}};
const char* const kUnclearedSrc[2][2] = {{msg::kTileSrcHeld, nullptr},
                                         {msg::kTileSrcAHeld, msg::kTileSrcBHeld}};

class BandWalk {
public:
    BandWalk(const Frame& f, const WalkOptions& o, int line) : f_(f), opt_(o), line_(line) {}

    bool request(Walked& w) {
        const ZolTileInfo* info = w.image->tileInfo;
        info->callBack(w.image, w.cur.column, w.cur.row, w.mode);
        // Read again after every request: the callback may move the tile.
        w.view.imageData = static_cast<char*>(info->tileData);
        if (!w.view.imageData) {
            f_.fail(ZOL_STATUS_BAD_ARGUMENT, w.missing, line_);
            return false;
        }
        return true;
    }

    bool release(Walked& w) {
        const ZolTileInfo* info = w.image->tileInfo;
        info->callBack(w.image, w.cur.column, w.cur.row, ZOL_TILE_RELEASE);
        if (opt_.requireCleared && info->tileData) {
            f_.fail(ZOL_STATUS_BAD_ARGUMENT, w.uncleared, line_);
            return false;
        }
        return true;
    }

    // Band start: the tile row holding y, from the band's first column.
    bool enterBand(Walked& w) {
        if (!w.cur.tiled) {
            w.roi.yOffset = w.y;
            w.roi.height = w.rect.yEnd - w.y;
            return true;
        }
        if (w.y >= w.cur.bottom) {
            w.cur.row += 1;
            w.cur.top += w.cur.tileHeight;
            w.cur.bottom += w.cur.tileHeight;
        }
        w.cur.column = w.cur.firstColumn;
        if (!request(w)) return false;
        w.roi.yOffset = w.y - w.cur.top;
        w.roi.height = std::min(w.rect.yEnd, w.cur.bottom) - w.y;
        return true;
    }

    // Piece start: move to the next tile when x has reached its right edge.
    bool enterPiece(Walked& w) {
        if (!w.cur.tiled) {
            w.roi.xOffset = w.x;
            w.roi.width = w.rect.xEnd - w.x;
            return true;
        }
        if (w.x >= w.cur.right) {
            if (!release(w)) return false;
            w.cur.left += w.cur.tileWidth;
            w.cur.right += w.cur.tileWidth;
            w.cur.column += 1;
            if (!request(w)) return false;
        }
        w.roi.xOffset = w.x - w.cur.left;
        w.roi.width = std::min(w.rect.xEnd, w.cur.right) - w.x;
        return true;
    }

private:
    const Frame& f_;
    const WalkOptions& opt_;
    int line_;
};

}  // namespace

bool ownBandWalk(const Frame& frame, int nSrc, const ZolImage* const* src, ZolImage* dst,
                 const ZolImage* mask, const Plan& plan, PieceKernel kernel, void* context,
                 const WalkOptions& options, int line) {
    // Preparation: views, rectangles and the common size.
    Walked m, d, s[kMaxFrameImages - 1];
    Walked* sv[kMaxFrameImages - 1] = {};  // view per source: its own, or the one it shares
    if (mask) {
        m.init(mask);
    } else {
        m.rect = ownRect{0, 0, 0, 0, 0x7FFFFFFF, 0x7FFFFFFF};
    }
    d.init(dst);
    d.mode = ZOL_TILE_WRITE;
    d.missing = msg::kTileDst;
    d.uncleared = msg::kTileDstHeld;
    const int names = nSrc > 1 ? 1 : 0;
    int32_t w = d.rect.width, h = d.rect.height;
    for (int i = 0; i < nSrc; ++i) {
        if (options.inPlace && src[i] == dst) {
            sv[i] = &d;
            continue;
        }
        // A source given twice is one image: one view, one tile held.
        if (options.inPlace && i > 0 && src[i] == src[0]) {
            sv[i] = sv[0];
            continue;
        }
        sv[i] = &s[i];
        s[i].init(src[i]);
        s[i].missing = kMissingSrc[names][i];
        s[i].uncleared = kUnclearedSrc[names][i];
        w = std::min(w, s[i].rect.width);
        h = std::min(h, s[i].rect.height);
    }
    w = std::min(w, m.rect.width);
    h = std::min(h, m.rect.height);
    // An empty rectangle asks for no tile at all, not even one off the grid.
    if (w <= 0 || h <= 0) return true;

    Walked* all[kMaxFrameImages + 1];  // sources that are not in place, then dst
    int n = 0;
    for (int i = 0; i < nSrc; ++i)
        if (sv[i] == &s[i]) all[n++] = &s[i];
    all[n++] = &d;
    for (int i = 0; i < n; ++i) {
        Walked& im = *all[i];
        im.rect.xEnd = im.rect.x + w;
        im.rect.yEnd = im.rect.y + h;
        ownTileSetup(im.image, &im.view, &im.rect, &im.cur);
        im.y = im.rect.y;
    }
    m.rect.xEnd = m.rect.x + w;
    m.rect.yEnd = m.rect.y + h;
    m.y = m.rect.y;

    BandWalk walk(frame, options, line);
    const ZolImage* srcViews[kMaxFrameImages - 1];
    for (int i = 0; i < nSrc; ++i) srcViews[i] = &sv[i]->view;
    const ZolImage* maskView = mask ? &m.view : nullptr;

    while (d.y < d.rect.yEnd) {
        int32_t band = 0x7FFFFFFF;
        for (int i = 0; i < n; ++i) {
            if (all[i] == &d) {  // the mask's rows come between sources and destination
                m.roi.yOffset = m.y;
                m.roi.height = m.rect.yEnd - m.y;
                band = std::min(band, m.roi.height);
            }
            if (!walk.enterBand(*all[i])) return false;
            band = std::min(band, all[i]->roi.height);
        }
        m.roi.height = band;
        for (int i = 0; i < n; ++i) {
            all[i]->roi.height = band;
            all[i]->x = all[i]->rect.x;
            all[i]->cur.left = all[i]->cur.firstLeft;
            all[i]->cur.right = all[i]->cur.firstRight;
        }
        m.x = m.rect.x;

        while (d.x < d.rect.xEnd) {
            int32_t piece = 0x7FFFFFFF;
            for (int i = 0; i < n; ++i) {
                if (all[i] == &d) {
                    m.roi.xOffset = m.x;
                    m.roi.width = m.rect.xEnd - m.x;
                    piece = std::min(piece, m.roi.width);
                }
                if (!walk.enterPiece(*all[i])) return false;
                piece = std::min(piece, all[i]->roi.width);
            }
            m.roi.width = piece;
            for (int i = 0; i < n; ++i) all[i]->roi.width = piece;
            kernel(context, srcViews, &d.view, maskView, plan);
            for (int i = 0; i < n; ++i) all[i]->x += piece;
            m.x += piece;
        }

        for (int i = 0; i < n; ++i)
            if (all[i]->cur.tiled && !walk.release(*all[i])) return false;
        for (int i = 0; i < n; ++i) all[i]->y += band;
        m.y += band;
    }
    return true;
}

}  // namespace zol
