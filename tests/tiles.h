// A tile server for tests: serves a tiled header whose pixels live in a
// plain backing image, logs every request, checks the tile contract, and can
// be told to misbehave.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "zol.h"

namespace kit {

struct TileRequest {
    int x, y, mode;
    bool operator==(const TileRequest& o) const { return x == o.x && y == o.y && mode == o.mode; }
};

class TileServer {
public:
    // Serves `backing` (a plain image the test owns, any depth/order/align)
    // as a tiled image with tiles of tileW x tileH pixels.
    TileServer(ZolImage* backing, int tileW, int tileH);
    ~TileServer();
    TileServer(const TileServer&) = delete;
    TileServer& operator=(const TileServer&) = delete;

    // The tiled header: the backing's layout, roi, mask and borders, with
    // imageData NULL and this server's tileInfo.
    ZolImage* image() const { return tiled_; }
    ZolImage* backing() const { return backing_; }

    // Every READ, WRITE and RELEASE in order.
    const std::vector<TileRequest>& log() const { return log_; }
    // The requests of all servers in the order they came, each with its server.
    static std::vector<std::pair<const TileServer*, TileRequest>>& sequence();
    void clearLog() { log_.clear(); }

    // The n-th READ/WRITE request from now (1 = the next) delivers nothing.
    void failAt(int n) { failAt_ = n; }
    // Hand out a new buffer at every request (the old one is freed at release).
    void freshBuffers(bool on) { fresh_ = on; }
    // Leave tileData set at release instead of clearing it.
    void keepTileDataAtRelease(bool on) { keep_ = on; }
    // Indices one past the grid are refused silently (tileData NULL) rather
    // than counted as a breach, for walks allowed to ask there.
    void allowPastGrid(bool on) { pastGrid_ = on; }
    // Several tiles may be held at once, each in a buffer of its own; a
    // release must come with tileData set to that tile's buffer.
    void allowSeveral(bool on) { several_ = on; }

    // Breaches of the contract seen so far: a second tile requested while
    // one is held, a release of a tile not held, indices off the grid, and
    // (checked by held()) tiles never released.
    const std::vector<std::string>& breaches() const { return breaches_; }
    bool held() const { return holding_ || !heldMany_.empty(); }

    int columns() const;
    int rows() const;

    static void callback(const ZolImage* image, int x, int y, int mode);

private:
    void request(int x, int y, int mode);
    void release(int x, int y);
    void copyTile(bool toTile, char* tile, int tx, int ty);

    ZolImage* backing_;
    ZolImage* tiled_ = nullptr;
    int tw_, th_;
    std::vector<TileRequest> log_;
    std::vector<std::string> breaches_;
    std::vector<char> buffer_;
    char* fresh_buf_ = nullptr;
    int failAt_ = 0;
    bool fresh_ = false, keep_ = false, pastGrid_ = false, several_ = false;
    std::map<std::pair<int, int>, std::pair<char*, int>> heldMany_;  // buffer, mode
    bool holding_ = false;
    int hx_ = 0, hy_ = 0, hmode_ = 0;
};

}  // namespace kit
