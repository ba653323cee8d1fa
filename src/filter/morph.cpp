// Morphology with a square structuring element of side 2r + 1, r the number
// of iterations: dilation (largest, OR for 1-bit), erosion (smallest, AND),
// opening and closing, in one pass with the whole window, never r passes of
// 3x3.
//
// The operation looks one pixel beyond the region, into the image or its
// border, and repeats that ring outwards. The region with its ring is
// fetched once into a block; a header over the block whose borders
// replicate its edge is then exactly that padded source, and the rank
// engine runs from it. The block is a copy, which makes in-place use safe.
// Opening and closing run the first stage into a copy of the block, whose
// ring stays unfiltered, and the second stage from there.
#include <algorithm>
#include <cstring>

#include "core/border.h"
#include "core/frame.h"
#include "core/image.h"
#include "core/messages.h"
#include "core/rect.h"
#include "core/report.h"
#include "filter/rank.h"

namespace zol {

namespace morph {

enum Kind { kDilate, kErode, kOpen, kClose };

// Owns a zolMalloc block.
struct Block {
    void* p = nullptr;
    ~Block() { zolFree(p); }
};

void front(const char* func, ZolImage* src, ZolImage* dst, int r, Kind kind) {
    zolSetErrStatus(0);
    const Frame f(func);
    if (!f.headersOk({src, dst})) return;
    if (r < 1) return void(f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kMorphIterations));
    const int depth = src->depth;
    if (depth != ZOL_DEPTH_1U && depth != ZOL_DEPTH_8U && depth != ZOL_DEPTH_16U)
        return void(f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kMorphDepth));
    if (depth != dst->depth) return void(f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kMorphDepths));
    if (src->dataOrder != dst->dataOrder)
        return void(f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kMorphOrders));
    if (src->origin != dst->origin) return void(f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kMorphOrigins));
    const int sCoi = src->roi ? src->roi->coi : 0;
    const int dCoi = dst->roi ? dst->roi->coi : 0;
    const int sCount = (sCoi > 0 ? 1 : src->nChannels) - (src->alphaChannel ? 1 : 0);
    const int dCount = (dCoi > 0 ? 1 : dst->nChannels) - (dst->alphaChannel ? 1 : 0);
    if (sCount != dCount) return void(f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kMorphChannels));
    if (sCoi != dCoi) return void(f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kMorphCois));

    ownRect rc[2];
    int w, h;
    commonSize(src, dst, rc, &w, &h);
    if (w <= 0 || h <= 0 || sCount <= 0) return;
    const int64_t K = 2 * int64_t(r) + 1;
    const int64_t pixBytes = depth == ZOL_DEPTH_1U ? 1 : elemSize(depth) * src->nChannels;
    // A window far beyond the region adds nothing the ring does not give,
    // but the rank engine would still fetch it: such a call is out of memory.
    if (K > 0x7FFFFFFF || (w + K) * (h + K) * pixBytes > (int64_t(1) << 29))
        return void(zolSetErrStatus(ZOL_STATUS_NO_MEMORY));

    int state = 0;
    ZolImage* made = ownCombineMasks(src->maskROI, dst->maskROI, nullptr, &state);
    struct Release {
        ZolImage* m;
        ~Release() {
            if (m) zolDeallocate(m, ZOL_FREE_HEADER | ZOL_FREE_DATA);
        }
    } release{state == kMaskMade ? made : nullptr};
    if (state == kMaskNoMemory) return void(zolSetErrStatus(ZOL_STATUS_NO_MEMORY));
    if (state == kMaskEmpty) return;
    const ZolImage* mask = made ? made : src->maskROI ? src->maskROI : dst->maskROI;

    // The region with its ring: 1-bit borders read any non-zero constant as 1.
    int32_t cst[4];
    for (int i = 0; i < 4; ++i)
        cst[i] = depth == ZOL_DEPTH_1U ? src->borderConst[i] != 0 : src->borderConst[i];
    int stride = 0;
    Block padded, stage;
    padded.p = ownGetRectWith(src, cst, rc[0].x - 1, rc[0].y - 1, w + 2, h + 2, &stride);
    if (!padded.p) return void(zolSetErrStatus(ZOL_STATUS_NO_MEMORY));
    const int planes = src->dataOrder == ZOL_DATA_ORDER_PLANE ? src->nChannels : 1;
    const int64_t bytes = int64_t(stride) * (h + 2) * planes;
    ZolImage pad = *src;
    pad.width = w + 2;
    pad.height = h + 2;
    pad.widthStep = stride;
    pad.imageSize = int32_t(bytes);
    pad.imageData = static_cast<char*>(padded.p);
    pad.dataBase = nullptr;
    pad.roi = nullptr;
    pad.maskROI = nullptr;
    pad.tileInfo = nullptr;
    pad.imageTag = nullptr;
    for (int i = 0; i < 4; ++i) pad.borderMode[i] = ZOL_BORDER_REPLICATE;

    const int first = kind == kOpen ? kRankMin : kind == kClose ? kRankMax : -1;
    const int last = kind == kDilate || kind == kOpen ? kRankMax : kRankMin;
    RankJob J{&pad, pad.borderConst, 1, 1, dst, rc[1].x, rc[1].y, mask, w, h,
              int(K), int(K), r, r, last, 0, sCoi, sCoi, sCount};
    ZolImage mid = pad;
    if (first >= 0) {
        stage.p = zolMalloc(int(bytes + 16));
        if (!stage.p) return void(zolSetErrStatus(ZOL_STATUS_NO_MEMORY));
        std::memcpy(stage.p, padded.p, size_t(bytes));
        mid.imageData = static_cast<char*>(stage.p);
        RankJob S = J;
        S.dst = &mid;
        S.dx = S.dy = 1;
        S.mask = nullptr;
        S.op = first;
        if (!ownRankRun(S)) return void(zolSetErrStatus(ZOL_STATUS_NO_MEMORY));
        J.src = &mid;
    }
    if (!ownRankRun(J)) zolSetErrStatus(ZOL_STATUS_NO_MEMORY);
}

}  // namespace morph

}  // namespace zol

using namespace zol;

void zolDilate(ZolImage* srcImage, ZolImage* dstImage, int nIterations) {
    morph::front(msg::kDilate, srcImage, dstImage, nIterations, morph::kDilate);
}
void zolErode(ZolImage* srcImage, ZolImage* dstImage, int nIterations) {
    morph::front(msg::kErode, srcImage, dstImage, nIterations, morph::kErode);
}
void zolOpen(ZolImage* srcImage, ZolImage* dstImage, int nIterations) {
    morph::front(msg::kOpen, srcImage, dstImage, nIterations, morph::kOpen);
}
void zolClose(ZolImage* srcImage, ZolImage* dstImage, int nIterations) {
    morph::front(msg::kClose, srcImage, dstImage, nIterations, morph::kClose);
}
