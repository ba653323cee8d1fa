// zolResize and zolZoom: front ends of the resampling engine. Area
// averaging has its own engine behind zolDecimate.
#include "core/messages.h"
#include "core/report.h"
#include "geometry/resample.h"

using namespace zol;

extern "C" {

ZOL_API int zolResize(ZolImage* srcImage, ZolImage* dstImage, int xDst, int xSrc, int yDst,
                      int ySrc, int interpolate) {
    const char* func = msg::kResize;
    if (interpolate == ZOL_INTER_SUPER) {
        if (xDst > xSrc || yDst > ySrc)
            return report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kResizeSuperUp);
        zolDecimate(srcImage, dstImage, xDst, xSrc, yDst, ySrc, interpolate);
    } else {
        geo::ownResizeEngine(func, srcImage, dstImage, xDst, xSrc, yDst, ySrc, interpolate);
    }
    if (zolGetErrStatus() < 0) return report(ZOL_STATUS_BACKTRACE, func, msg::kNoContext);
    return zolGetErrStatus();
}

ZOL_API void zolZoom(ZolImage* srcImage, ZolImage* dstImage, int xDst, int xSrc, int yDst,
                     int ySrc, int interpolate) {
    const char* func = msg::kZoom;
    if (xDst < xSrc || yDst < ySrc) {
        report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kZoomShrinks);
        return;
    }
    geo::ownResizeEngine(func, srcImage, dstImage, xDst, xSrc, yDst, ySrc, interpolate);
}

}  // extern "C"
