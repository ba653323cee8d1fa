// The neighbourhood driver shared by the rank filters, morphology and the
// fixed filters: max, min, the median of a rectangular window, or one of
// the fixed 3x3 and 5x5 filters, per channel, over the neighbourhood walk
// (regions, masks, tiles, borders).
#pragma once

#include <algorithm>
#include <cstdint>

#include "core/neighbour.h"
#include "core/simd.h"
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

// The regions of src and dst in r[0] and r[1], and the width and height
// they and the images' masks have in common.
inline void commonSize(const ZolImage* src, const ZolImage* dst, ownRect r[2], int* w, int* h) {
    ownRoiRect(src, &r[0]);
    ownRoiRect(dst, &r[1]);
    *w = std::min(r[0].width, r[1].width);
    *h = std::min(r[0].height, r[1].height);
    for (const ZolImage* im : {src, dst})
        if (const ZolImage* m = im->maskROI) {
            int mw, mh, mx;
            ownRoiData(m, &mw, &mh, 0, &mx);
            *w = std::min(*w, mw);
            *h = std::min(*h, mh);
        }
}

// The channels of interest of a rank or fixed filter call and the
// channels per pixel that take part, with their checks made (failures go
// to f).
class Frame;
struct RankColours {
    int srcCoi, dstCoi, count;
};
RankColours ownRankColours(const Frame& f, const ZolImage* src, const ZolImage* dst);

// The fixed filters' driver for a depth (filter/fixed.cpp).
NbDriver ownFixedDriver(int depth);

// The exchanges that bring the middle of 25 values to place 12: Batcher's
// merge sort of 32, with the seven padding values and every exchange that
// cannot reach place 12 taken out. Each exchange puts the smaller value at
// its first index.
inline constexpr uint8_t kMid25[113][2] = {
    {0, 1}, {2, 3}, {4, 5}, {6, 7}, {8, 9}, {10, 11}, {12, 13}, {14, 15}, {16, 17}, {18, 19},
    {20, 21}, {22, 23}, {0, 2}, {1, 3}, {4, 6}, {5, 7}, {8, 10}, {9, 11}, {12, 14}, {13, 15},
    {16, 18}, {17, 19}, {20, 22}, {21, 23}, {1, 2}, {5, 6}, {9, 10}, {13, 14}, {17, 18}, {21, 22},
    {0, 4}, {1, 5}, {2, 6}, {3, 7}, {8, 12}, {9, 13}, {10, 14}, {11, 15}, {16, 20}, {17, 21},
    {18, 22}, {19, 23}, {2, 4}, {3, 5}, {10, 12}, {11, 13}, {18, 20}, {19, 21}, {1, 2}, {3, 4},
    {5, 6}, {9, 10}, {11, 12}, {13, 14}, {17, 18}, {19, 20}, {21, 22}, {0, 8}, {1, 9}, {2, 10},
    {3, 11}, {4, 12}, {5, 13}, {6, 14}, {7, 15}, {16, 24}, {4, 8}, {5, 9}, {6, 10}, {7, 11},
    {20, 24}, {2, 4}, {3, 5}, {6, 8}, {7, 9}, {10, 12}, {11, 13}, {18, 20}, {19, 21}, {22, 24},
    {1, 2}, {3, 4}, {5, 6}, {7, 8}, {9, 10}, {11, 12}, {13, 14}, {17, 18}, {19, 20}, {21, 22},
    {23, 24}, {0, 16}, {1, 17}, {2, 18}, {3, 19}, {4, 20}, {5, 21}, {6, 22}, {7, 23}, {8, 24},
    {8, 16}, {9, 17}, {10, 18}, {11, 19}, {12, 20}, {13, 21}, {6, 10}, {7, 11}, {12, 16}, {13, 17},
    {10, 12}, {11, 13}, {11, 12}
};

// The hot 8-bit row kernels of the rank filters, in a table per form: the
// plain forms in rank.cpp, overridden by the SIMD forms of rank_simd.cpp.
// Every form gives the same bits; SIMD forms leave tails to the plain ones.
namespace rankk {
// out[e] = median of the 3x3 (5x5) window whose column i is
// rows[j][e + i * P]; lo, mi, hi: scratch of n + 2P bytes for the plain form.
using Median3Fn = void (*)(uint8_t* out, const uint8_t* const* rows, int P, int n, uint8_t* lo,
                           uint8_t* mi, uint8_t* hi);
using Median5Fn = void (*)(uint8_t* out, const uint8_t* const* rows, int P, int n);
// v[e] = largest (smallest) of rows[j][e], j < nr.
using VerticalFn = void (*)(uint8_t* v, const uint8_t* const* rows, int nr, int64_t count);
// out[e] = largest (smallest) of v[e + i * P], i < nc, nc <= 8.
using HorizontalFn = void (*)(uint8_t* out, const uint8_t* v, int nc, int P, int n);
namespace plain {
void median3(uint8_t* out, const uint8_t* const* rows, int P, int n, uint8_t* lo, uint8_t* mi,
             uint8_t* hi);
void median5(uint8_t* out, const uint8_t* const* rows, int P, int n);
void vmax(uint8_t* v, const uint8_t* const* rows, int nr, int64_t count);
void vmin(uint8_t* v, const uint8_t* const* rows, int nr, int64_t count);
void hmax(uint8_t* out, const uint8_t* v, int nc, int P, int n);
void hmin(uint8_t* out, const uint8_t* v, int nc, int P, int n);
}  // namespace plain
}  // namespace rankk

struct RankKernels {
    rankk::Median3Fn median3;
    rankk::Median5Fn median5;
    rankk::VerticalFn vmax, vmin;
    rankk::HorizontalFn hmax, hmin;
};

const RankKernels& rankKernels();
void rankSimd(Form form, RankKernels& k);
Form rankForm();

// Runs the job; false when scratch or a tile could not be had (the parts
// done stay written).
bool ownRankRun(const RankJob& job);

}  // namespace zol
