// The rank engine shared by the rank filters and morphology: max, min and
// the median of a rectangular window, per channel, over the neighbourhood
// walk (regions, masks, tiles, borders).
#pragma once

#include <cstdint>

#include "zol.h"

namespace zol {

enum RankOp { kRankMax = 0, kRankMin = 1, kRankMedian = 2 };

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
    int srcCoi, dstCoi;          // the channel of a single-channel pass (from 1), or 0
    int colours;                 // channels per pixel that take part
};

// Runs the job; false when scratch or a tile could not be had (the parts
// done stay written).
bool ownRankRun(const RankJob& job);

}  // namespace zol
