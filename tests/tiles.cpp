#include "tiles.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <map>

namespace kit {

namespace {
std::map<const ZolTileInfo*, TileServer*>& registry() {
    static std::map<const ZolTileInfo*, TileServer*> r;
    return r;
}

int bitsOf(int depth) { return depth & 0x7FFFFFFF; }

// Row step of a tile, by the layout formula.
size_t tileStep(const ZolImage* im, int tw) {
    const size_t bits = size_t(tw) * size_t(bitsOf(im->depth)) *
                        size_t(im->dataOrder == ZOL_DATA_ORDER_PIXEL ? im->nChannels : 1);
    const size_t a = size_t(im->align) * 8;
    return ((bits + a - 1) & ~(a - 1)) >> 3;
}
}  // namespace

TileServer::TileServer(ZolImage* backing, int tileW, int tileH)
    : backing_(backing), tw_(tileW), th_(tileH) {
    ZolTileInfo* info = zolCreateTileInfo(&TileServer::callback, 0, tileW, tileH);
    tiled_ = zolCreateImageHeader(backing->nChannels, backing->alphaChannel, backing->depth,
                                  backing->colorModel, backing->channelSeq, backing->dataOrder,
                                  backing->origin, backing->align, backing->width,
                                  backing->height, nullptr, nullptr, nullptr, info);
    std::memcpy(tiled_->borderMode, backing->borderMode, sizeof tiled_->borderMode);
    std::memcpy(tiled_->borderConst, backing->borderConst, sizeof tiled_->borderConst);
    registry()[info] = this;
    const size_t planes = backing->dataOrder == ZOL_DATA_ORDER_PLANE ? size_t(backing->nChannels) : 1;
    buffer_.resize(tileStep(backing, tileW) * size_t(tileH) * planes);
}

TileServer::~TileServer() {
    registry().erase(tiled_->tileInfo);
    std::free(fresh_buf_);
    for (auto& h : heldMany_) std::free(h.second.first);
    zolDeallocate(tiled_, ZOL_FREE_HEADER | ZOL_FREE_TILE | ZOL_FREE_ROI);
}

std::vector<std::pair<const TileServer*, TileRequest>>& TileServer::sequence() {
    static std::vector<std::pair<const TileServer*, TileRequest>> all;
    return all;
}

int TileServer::columns() const { return (backing_->width + tw_ - 1) / tw_; }
int TileServer::rows() const { return (backing_->height + th_ - 1) / th_; }

void TileServer::callback(const ZolImage* image, int x, int y, int mode) {
    auto it = registry().find(image->tileInfo);
    if (it == registry().end()) return;
    TileServer* s = it->second;
    if (image != s->tiled_) s->breaches_.push_back("callback given another header");
    if (mode == ZOL_TILE_RELEASE) s->release(x, y);
    else s->request(x, y, mode);
}

void TileServer::request(int x, int y, int mode) {
    log_.push_back({x, y, mode});
    sequence().push_back({this, log_.back()});
    ZolTileInfo* info = tiled_->tileInfo;
    if (mode != ZOL_TILE_READ && mode != ZOL_TILE_WRITE)
        breaches_.push_back("unknown mode " + std::to_string(mode));
    if (several_ && heldMany_.count({x, y}))
        breaches_.push_back("tile " + std::to_string(x) + "," + std::to_string(y) +
                            " requested twice");
    if (holding_)
        breaches_.push_back("tile " + std::to_string(x) + "," + std::to_string(y) +
                            " requested while " + std::to_string(hx_) + "," +
                            std::to_string(hy_) + " is held");
    const bool off = x < 0 || y < 0 || x >= columns() || y >= rows();
    if (off && !(pastGrid_ && x <= columns() && y <= rows()))
        breaches_.push_back("tile " + std::to_string(x) + "," + std::to_string(y) + " off the grid");
    if (off || (failAt_ > 0 && --failAt_ == 0)) {
        info->tileData = nullptr;
        return;
    }
    if (several_) {
        char* own = static_cast<char*>(std::malloc(buffer_.size()));
        std::memset(own, 0xA5, buffer_.size());
        heldMany_[{x, y}] = {own, mode};
        info->tileData = own;
        copyTile(true, own, x, y);
        return;
    }
    char* buf = buffer_.data();
    if (fresh_) {
        std::free(fresh_buf_);
        fresh_buf_ = static_cast<char*>(std::malloc(buffer_.size()));
        buf = fresh_buf_;
    }
    // Bytes beyond the image stay poisoned: results must not depend on them.
    std::memset(buf, 0xA5, buffer_.size());
    info->tileData = buf;
    holding_ = true;
    hx_ = x;
    hy_ = y;
    hmode_ = mode;
    copyTile(true, buf, x, y);
}

void TileServer::release(int x, int y) {
    log_.push_back({x, y, ZOL_TILE_RELEASE});
    sequence().push_back({this, log_.back()});
    if (several_) {
        auto it = heldMany_.find({x, y});
        if (it == heldMany_.end() || tiled_->tileInfo->tileData != it->second.first) {
            breaches_.push_back("release of tile " + std::to_string(x) + "," + std::to_string(y) +
                                " not held or with another buffer");
            return;
        }
        if (it->second.second == ZOL_TILE_WRITE) copyTile(false, it->second.first, x, y);
        std::free(it->second.first);
        heldMany_.erase(it);
        tiled_->tileInfo->tileData = nullptr;
        return;
    }
    if (!holding_ || x != hx_ || y != hy_) {
        breaches_.push_back("release of tile " + std::to_string(x) + "," + std::to_string(y) +
                            " not held");
        return;
    }
    if (hmode_ == ZOL_TILE_WRITE) copyTile(false, static_cast<char*>(tiled_->tileInfo->tileData), hx_, hy_);
    holding_ = false;
    if (!keep_) tiled_->tileInfo->tileData = nullptr;
    if (fresh_) {
        std::free(fresh_buf_);
        fresh_buf_ = nullptr;
        if (keep_) tiled_->tileInfo->tileData = nullptr;  // never leave a freed pointer
    }
}

// Copies the part of the held tile that lies in the image, into the tile
// buffer or back into the backing image.
void TileServer::copyTile(bool toTile, char* tile, int tx, int ty) {
    const ZolImage* b = backing_;
    const int x0 = tx * tw_, y0 = ty * th_;
    const int w = std::min(tw_, b->width - x0), h = std::min(th_, b->height - y0);
    const bool pixel = b->dataOrder == ZOL_DATA_ORDER_PIXEL;
    const int planes = pixel ? 1 : b->nChannels;
    const size_t ts = tileStep(b, tw_);
    const int bits = bitsOf(b->depth) * (pixel ? b->nChannels : 1);
    for (int p = 0; p < planes; ++p)
        for (int r = 0; r < h; ++r) {
            char* img = b->imageData + (size_t(p) * b->height + size_t(y0 + r)) * b->widthStep +
                        size_t(x0) * bits / 8;
            char* t = tile + (size_t(p) * th_ + size_t(r)) * ts;
            char* to = toTile ? t : img;
            const char* from = toTile ? img : t;
            const size_t allBits = size_t(w) * bits;
            std::memcpy(to, from, allBits / 8);
            if (allBits % 8) {  // a 1-bit row ending inside a byte
                const uint8_t m = uint8_t(0xFF00u >> (allBits % 8));
                uint8_t& d = reinterpret_cast<uint8_t&>(to[allBits / 8]);
                d = uint8_t((d & ~m) | (uint8_t(from[allBits / 8]) & m));
            }
        }
}

}  // namespace kit
