// The neighbourhood driver shared by the rank filters, morphology and the
// fixed filters: max, min, the median of a rectangular window, or one of
// the fixed 3x3 and 5x5 filters, per channel, over the neighbourhood walk
// (regions, masks, tiles, borders).
#pragma once

#include <cstdint>

#include "core/neighbour.h"
#include "zol.h"

namespace zol {

enum RankOp { kRankMax = 0, kRankMin = 1, kRankMedian = 2, kRankFixed = 3 };

struct RankJob {
    const ZolImage* src;
    const int32_t* borderConst;  // the side constants the source is read with
    int sx, sy;                  // the source region's corner
    ZolImage* dst;
    int dx, dy;
    const ZolImage* mask;        // combined mask placed at the region, or NULL
    int w, h;                    // the common region, above 0
    int nCols, nRows, ax, ay;
    int op;
    int filter;                  // kRankFixed: ZOL_FILTER_*
    int srcCoi, dstCoi;          // the channel of a single-channel pass (from 1), or 0
    int colours;                 // channels per pixel that take part
};

// How the job's lanes lie, worked out once for the drivers.
struct RankCall {
    RankJob job;
    Reach reach;
    NbLane lane;
    int pix;     // samples per pixel in the lane
    int srcPix;  // elements per pixel of the window
    int nLanes;
    int srcCh[64], dstCh[64];
    NbSink sink;
};

// The fixed filters' driver for a depth (filter/fixed.cpp).
NbDriver ownFixedDriver(int depth);

// Runs the job; false when scratch or a tile could not be had (the parts
// done stay written).
bool ownRankRun(const RankJob& job);

}  // namespace zol
