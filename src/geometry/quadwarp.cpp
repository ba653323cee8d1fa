// The bilinear and perspective warps and their coefficient helpers: the
// quadrangle of an image's region under a mapping, its bound, and the
// mapping that takes the region onto a given quadrangle.
#include <algorithm>
#include <cmath>

#include "core/image.h"
#include "core/messages.h"
#include "core/report.h"
#include "geometry/resample.h"
#include "geometry/warp.h"

using namespace zol;
using namespace zol::geo;

namespace {

void bilinearAt(const double* c, double x, double y, double& u, double& v) {
    u = c[0] * x * y + c[1] * x + c[2] * y + c[3];
    v = c[4] * x * y + c[5] * x + c[6] * y + c[7];
}

void perspectiveAt(const double* c, double x, double y, double& u, double& v) {
    const double d = c[6] * x + c[7] * y + c[8];
    u = (c[0] * x + c[1] * y + c[2]) / d;
    v = (c[3] * x + c[4] * y + c[5]) / d;
}

// The quadrangle of the image's region under coeffs (flat, row by row).
bool quadOf(const char* func, const ZolImage* image, const double* c, double q[4][2], bool perspective) {
    if (zolCheckImageHeader(image) != 0) {
        report(zolGetErrStatus(), func, msg::kIncorrectImage);
        return false;
    }
    int x0, y0, x1, y1;
    if (!ownClippedRect(image, x0, y0, x1, y1)) {
        report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kBadRectRoi);
        return false;
    }
    if (!c || !q) {
        report(ZOL_STATUS_NULL_HEADER, func, msg::kNoContext);
        return false;
    }
    const int xs[4] = {x0, x1, x1, x0}, ys[4] = {y0, y0, y1, y1};
    for (int i = 0; i < 4; ++i) {
        if (perspective) perspectiveAt(c, xs[i], ys[i], q[i][0], q[i][1]);
        else bilinearAt(c, xs[i], ys[i], q[i][0], q[i][1]);
    }
    return true;
}

void boundOf(const char* func, const ZolImage* image, const double* c, double rect[2][2], bool perspective) {
    double q[4][2];
    zolSetErrStatus(ZOL_STATUS_OK);
    if (!quadOf(perspective ? msg::kGetPerspectiveQuad : msg::kGetBilinearQuad, image, c, q, perspective)) {
        report(ZOL_STATUS_BACKTRACE, func, msg::kNoContext);
        return;
    }
    if (!rect) return;
    rect[0][0] = rect[1][0] = q[0][0];
    rect[0][1] = rect[1][1] = q[0][1];
    for (int i = 1; i < 4; ++i) {
        rect[0][0] = std::min(rect[0][0], q[i][0]), rect[1][0] = std::max(rect[1][0], q[i][0]);
        rect[0][1] = std::min(rect[0][1], q[i][1]), rect[1][1] = std::max(rect[1][1], q[i][1]);
    }
}

// The checks shared by both Get*Transform: the region's corners in
// x0..y1 when all pass.
bool transformChecks(const char* func, const ZolImage* image, const void* c, const double q[4][2], int& x0,
                     int& y0, int& x1, int& y1) {
    if (zolCheckImageHeader(image) != 0) {
        report(zolGetErrStatus(), func, msg::kIncorrectImage);
        return false;
    }
    if (!c || !q) {
        report(ZOL_STATUS_NULL_HEADER, func, msg::kNoContext);
        return false;
    }
    const int shape = ownQuadCheck(q);
    if (shape == ZOL_STATUS_BAD_ARGUMENT || shape == ZOL_STATUS_NO_MEMORY) {
        report(ZOL_STATUS_BAD_ARGUMENT, func, shape == ZOL_STATUS_BAD_ARGUMENT ? msg::kQuadDegenerate : msg::kQuadConcave);
        return false;
    }
    if (!ownClippedRect(image, x0, y0, x1, y1)) {
        report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kBadRectRoi);
        return false;
    }
    if (x1 - x0 < 1 || y1 - y0 < 1) {
        report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kImageRectDegenerate);
        return false;
    }
    return true;
}

// The quadrangle forms: checks, mode, then the engine, scanning the
// quadrangle (warpFlag 0) or every destination pixel (warpFlag 1).
void warpQuad(const char* func, ZolImage* src, ZolImage* dst, const double quad[4][2], int warpFlag,
              int interpolate, WarpKind kind) {
    if (!warpChecks(func, src, dst, &warpFlag)) return;
    if (!quad) {
        report(ZOL_STATUS_NULL_HEADER, func, msg::kNoContext);
        return;
    }
    const int shape = ownQuadCheck(quad);
    if (shape == ZOL_STATUS_BAD_ARGUMENT || shape == ZOL_STATUS_NO_MEMORY) {
        report(ZOL_STATUS_BAD_ARGUMENT, func, shape == ZOL_STATUS_BAD_ARGUMENT ? msg::kQuadDegenerate : msg::kQuadConcave);
        return;
    }
    if (interpolate < 0 || interpolate > 2) {
        report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kWarpInterp);
        return;
    }
    interpolate = ownWarpSampler(src, interpolate);
    ownWarpEngine(func, src, dst, quad, interpolate, kind, warpFlag == ZOL_WARP_FROM_QUAD);
}

}  // namespace

namespace zol {
namespace geo {

void bilinearTransform(int x0, int y0, int x1, int y1, const double quad[4][2], double c[2][4]) {
    const double* q = &quad[0][0];
    const double k = 1.0 / (double(x1 - x0) * double(y1 - y0));
    c[0][0] = (-(q[2] - q[0]) - (q[6] - q[4])) * k;
    c[0][1] = ((q[6] - q[4]) * y0 + (q[2] - q[0]) * y1) * k;
    c[0][2] = ((q[6] - q[0]) * x1 - (q[4] - q[2]) * x0) * k;
    c[0][3] = q[0] - c[0][0] * x0 * y0 - c[0][1] * x0 - c[0][2] * y0;
    c[1][0] = (-(q[3] - q[1]) - (q[7] - q[5])) * k;
    c[1][1] = ((q[7] - q[5]) * y0 + (q[3] - q[1]) * y1) * k;
    c[1][2] = ((q[7] - q[1]) * x1 - (q[5] - q[3]) * x0) * k;
    c[1][3] = q[1] - c[1][0] * x0 * y0 - c[1][1] * x0 - c[1][2] * y0;
}

void perspectiveTransform(int x0, int y0, int x1, int y1, const double quad[4][2], double c[3][3]) {
    const double* q = &quad[0][0];
    const double W = x1 - x0, H = y1 - y0;
    const double Sx = (q[4] - q[2]) + (q[0] - q[6]), Sy = (q[5] - q[3]) + (q[1] - q[7]);
    const double D = (q[6] - q[4]) * (q[5] - q[3]) - (q[4] - q[2]) * (q[7] - q[5]);
    const double g = (Sx * (q[7] - q[5]) - Sy * (q[6] - q[4])) / D;
    const double h = ((q[5] - q[3]) * Sx - (q[4] - q[2]) * Sy) / D;
    c[0][0] = (q[2] * g + (q[2] - q[0])) / W;
    c[0][1] = (q[6] * h + (q[6] - q[0])) / H;
    c[0][2] = q[0] - c[0][0] * x0 - c[0][1] * y0;
    c[1][0] = (q[3] * g + (q[3] - q[1])) / W;
    c[1][1] = (q[7] * h + (q[7] - q[1])) / H;
    c[1][2] = q[1] - c[1][0] * x0 - c[1][1] * y0;
    c[2][0] = g / W;
    c[2][1] = h / H;
    c[2][2] = 1 - c[2][0] * x0 - c[2][1] * y0;
}

}  // namespace geo
}  // namespace zol

extern "C" {

ZOL_API void zolGetBilinearQuad(const ZolImage* image, const double coeffs[2][4], double quadrangle[4][2]) {
    quadOf(msg::kGetBilinearQuad, image, coeffs ? &coeffs[0][0] : nullptr, quadrangle, false);
}

ZOL_API void zolGetPerspectiveQuad(const ZolImage* image, const double coeffs[3][3], double quadrangle[4][2]) {
    quadOf(msg::kGetPerspectiveQuad, image, coeffs ? &coeffs[0][0] : nullptr, quadrangle, true);
}

ZOL_API void zolGetBilinearBound(const ZolImage* image, const double coeffs[2][4], double rect[2][2]) {
    boundOf(msg::kGetBilinearBound, image, coeffs ? &coeffs[0][0] : nullptr, rect, false);
}

ZOL_API void zolGetPerspectiveBound(const ZolImage* image, const double coeffs[3][3], double rect[2][2]) {
    boundOf(msg::kGetPerspectiveBound, image, coeffs ? &coeffs[0][0] : nullptr, rect, true);
}

ZOL_API void zolGetBilinearTransform(const ZolImage* image, double coeffs[2][4], const double quadrangle[4][2]) {
    int x0, y0, x1, y1;
    if (!transformChecks(msg::kGetBilinearTransform, image, coeffs, quadrangle, x0, y0, x1, y1)) return;
    bilinearTransform(x0, y0, x1, y1, quadrangle, coeffs);
}

ZOL_API void zolGetPerspectiveTransform(const ZolImage* image, double coeffs[3][3], const double quadrangle[4][2]) {
    int x0, y0, x1, y1;
    if (!transformChecks(msg::kGetPerspectiveTransform, image, coeffs, quadrangle, x0, y0, x1, y1)) return;
    perspectiveTransform(x0, y0, x1, y1, quadrangle, coeffs);
}

ZOL_API void zolWarpBilinearQ(ZolImage* srcImage, ZolImage* dstImage, const double quadrangle[4][2],
                              int warpFlag, int interpolate) {
    warpQuad(msg::kWarpBilinearQ, srcImage, dstImage, quadrangle, warpFlag, interpolate, kWarpBilinear);
}

ZOL_API void zolWarpPerspectiveQ(ZolImage* srcImage, ZolImage* dstImage, const double quadrangle[4][2],
                                 int warpFlag, int interpolate) {
    warpQuad(msg::kWarpPerspectiveQ, srcImage, dstImage, quadrangle, warpFlag, interpolate, kWarpPerspective);
}

ZOL_API int zolWarpBilinear(ZolImage* srcImage, ZolImage* dstImage, const double coeffs[2][4], int warpFlag,
                            int interpolate) {
    const char* func = msg::kWarpBilinear;
    double q[4][2];
    zolSetErrStatus(ZOL_STATUS_OK);
    zolGetBilinearQuad(warpFlag != 0 ? dstImage : srcImage, coeffs, q);
    if (zolGetErrStatus() < 0) return report(ZOL_STATUS_BACKTRACE, func, msg::kNoContext);
    zolWarpBilinearQ(srcImage, dstImage, q, warpFlag, interpolate);
    if (zolGetErrStatus() < 0) return report(ZOL_STATUS_BACKTRACE, func, msg::kNoContext);
    return zolGetErrStatus();
}

ZOL_API int zolWarpPerspective(ZolImage* srcImage, ZolImage* dstImage, const double coeffs[3][3], int warpFlag,
                               int interpolate) {
    const char* func = msg::kWarpPerspective;
    double q[4][2];
    zolSetErrStatus(ZOL_STATUS_OK);
    zolGetPerspectiveQuad(warpFlag != 0 ? dstImage : srcImage, coeffs, q);
    if (zolGetErrStatus() < 0) return report(ZOL_STATUS_BACKTRACE, func, msg::kNoContext);
    zolWarpPerspectiveQ(srcImage, dstImage, q, warpFlag, interpolate);
    if (zolGetErrStatus() < 0) return report(ZOL_STATUS_BACKTRACE, func, msg::kNoContext);
    return zolGetErrStatus();
}

}  // extern "C"
