// The affine warps: zolWarpAffine, zolRotate, zolShear, their coefficient
// helpers, and the exact quarter turns that need no sampling.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "core/image.h"
#include "core/messages.h"
#include "core/rect.h"
#include "core/report.h"
#include "geometry/resample.h"
#include "geometry/warp.h"

using namespace zol;
using namespace zol::geo;

namespace {

constexpr double kTol = 1e-07;
constexpr double kPi = 3.14159265358979323846;

bool near(double a, double b) { return std::fabs(a - b) < kTol; }

struct Chans {
    int first, n;
};
Chans chansOf(const ZolImage* im) {
    if (im->roi && im->roi->coi) return {im->roi->coi - 1, 1};
    return {0, im->nChannels - (im->alphaChannel ? 1 : 0)};
}

// Byte address of element c of (x, y) in a plain image (the byte of the
// bit for 1U).
char* elem(const ZolImage* im, int x, int y, int c) {
    const int es = elemSize(im->depth);
    if (es == 0) return im->imageData + ptrdiff_t(im->widthStep) * y + (x >> 3);
    if (im->dataOrder == ZOL_DATA_ORDER_PIXEL)
        return im->imageData + ptrdiff_t(im->widthStep) * y + (ptrdiff_t(x) * im->nChannels + c) * es;
    return im->imageData + ptrdiff_t(im->widthStep) * (ptrdiff_t(c) * im->height + y) + ptrdiff_t(x) * es;
}

// Writes every destination pixel whose source pixel (x, y) = back(x', y')
// lies in the source rectangle: the shifts and quarter turns.
template <class Back>
void copyMapped(const ZolImage* src, ZolImage* dst, Back back) {
    int sx0, sy0, sx1, sy1, dx0, dy0, dx1, dy1;
    if (!ownClippedRect(src, sx0, sy0, sx1, sy1) || !ownClippedRect(dst, dx0, dy0, dx1, dy1)) return;
    const Chans cs = chansOf(src), cd = chansOf(dst);
    const int es = elemSize(src->depth);
    for (int y = dy0; y <= dy1; ++y)
        for (int x = dx0; x <= dx1; ++x) {
            int64_t u, v;
            back(int64_t(x), int64_t(y), u, v);
            if (u < sx0 || u > sx1 || v < sy0 || v > sy1) continue;
            if (es == 0) {
                const int b = (*elem(src, int(u), int(v), 0) >> (7 - (u & 7))) & 1;
                setBitAt(reinterpret_cast<uint8_t*>(elem(dst, 0, y, 0)), x, b);
                continue;
            }
            for (int c = 0; c < cs.n; ++c)
                std::memcpy(elem(dst, x, y, cd.first + c), elem(src, int(u), int(v), cs.first + c), size_t(es));
        }
}

// The exact rotation by a (90, 180 or 270) with whole shifts.
void exactRotate(ZolImage* src, ZolImage* dst, int a, double xShift, double yShift) {
    const char* func = msg::kRotate;
    if (!warpChecks(func, src, dst)) return;
    const Chans cs = chansOf(src), cd = chansOf(dst);
    if (cs.n != cd.n) {
        report(ZOL_STATUS_BAD_COI, func, msg::kWarpCoi);
        return;
    }
    // Wider than int: extreme shifts place the source nowhere.
    const int64_t X = int64_t(std::clamp(std::floor(xShift), -4e18, 4e18));
    const int64_t Y = int64_t(std::clamp(std::floor(yShift), -4e18, 4e18));
    if (a == 180) copyMapped(src, dst, [&](int64_t x, int64_t y, int64_t& u, int64_t& v) { u = X - x, v = Y - y; });
    else if (a == 90) copyMapped(src, dst, [&](int64_t x, int64_t y, int64_t& u, int64_t& v) { u = Y - y, v = x - X; });
    else copyMapped(src, dst, [&](int64_t x, int64_t y, int64_t& u, int64_t& v) { u = y - Y, v = X - x; });
}

void quadOf(int x0, int y0, int x1, int y1, const double c[2][3], double q[4][2]) {
    const int xs[4] = {x0, x1, x1, x0}, ys[4] = {y0, y0, y1, y1};
    for (int i = 0; i < 4; ++i) {
        q[i][0] = c[0][0] * xs[i] + c[0][1] * ys[i] + c[0][2];
        q[i][1] = c[1][0] * xs[i] + c[1][1] * ys[i] + c[1][2];
    }
}

}  // namespace

extern "C" {

ZOL_API void zolGetAffineQuad(const ZolImage* image, const double coeffs[2][3], double quadrangle[4][2]) {
    const char* func = msg::kGetAffineQuad;
    if (zolCheckImageHeader(image) != 0) {
        report(zolGetErrStatus(), func, msg::kIncorrectImage);
        return;
    }
    int x0, y0, x1, y1;
    if (!ownClippedRect(image, x0, y0, x1, y1)) {
        report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kBadRectRoi);
        return;
    }
    if (!coeffs || !quadrangle) {
        report(ZOL_STATUS_NULL_HEADER, func, msg::kNoContext);
        return;
    }
    quadOf(x0, y0, x1, y1, coeffs, quadrangle);
}

ZOL_API void zolGetAffineBound(const ZolImage* image, const double coeffs[2][3], double rect[2][2]) {
    double q[4][2];
    zolSetErrStatus(ZOL_STATUS_OK);
    zolGetAffineQuad(image, coeffs, q);
    if (zolGetErrStatus() < 0) {
        report(ZOL_STATUS_BACKTRACE, msg::kGetAffineBound, msg::kNoContext);
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

ZOL_API void zolGetAffineTransform(const ZolImage* image, double coeffs[2][3], const double quadrangle[4][2]) {
    const char* func = msg::kGetAffineTransform;
    if (zolCheckImageHeader(image) != 0) {
        report(zolGetErrStatus(), func, msg::kIncorrectImage);
        return;
    }
    if (!coeffs || !quadrangle) {
        report(ZOL_STATUS_NULL_HEADER, func, msg::kNoContext);
        return;
    }
    const int shape = ownQuadCheck(quadrangle);
    if (shape == ZOL_STATUS_BAD_ARGUMENT) {
        report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kQuadDegenerate);
        return;
    }
    if (shape == ZOL_STATUS_NO_MEMORY) {
        report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kQuadConcave);
        return;
    }
    const double* q = &quadrangle[0][0];
    if (std::fabs((q[6] - q[4]) * (q[3] - q[1]) - (q[2] - q[0]) * (q[7] - q[5])) > kTol ||
        std::fabs((q[1] - q[7]) * (q[4] - q[2]) - (q[0] - q[6]) * (q[5] - q[3])) > kTol) {
        report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kQuadNotParallel);
        return;
    }
    int x0, y0, x1, y1;
    if (!ownClippedRect(image, x0, y0, x1, y1)) {
        report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kBadRectRoi);
        return;
    }
    const double W = x1 - x0, H = y1 - y0;
    if (W < 1 || H < 1) {
        report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kSrcRectDegenerate);
        return;
    }
    coeffs[0][0] = (q[2] - q[0]) / W;
    coeffs[1][0] = (q[3] - q[1]) / W;
    coeffs[0][1] = (q[4] - q[2]) / H;
    coeffs[1][1] = (q[5] - q[3]) / H;
    coeffs[0][2] = q[0] - coeffs[0][0] * x0 - coeffs[0][1] * y0;
    coeffs[1][2] = q[1] - coeffs[1][0] * x0 - coeffs[1][1] * y0;
}

ZOL_API void zolGetRotateShift(double xCenter, double yCenter, double angle, double* xShift,
                               double* yShift) {
    if (!xShift || !yShift) return;
    const double r = angle * (1.0 / 180.0) * kPi;
    *xShift += xCenter - xCenter * std::cos(r) - yCenter * std::sin(r);
    *yShift += xCenter * std::sin(r) + yCenter - yCenter * std::cos(r);
}

ZOL_API void zolRotate(ZolImage* srcImage, ZolImage* dstImage, double angle, double xShift,
                       double yShift, int interpolate);

ZOL_API void zolWarpAffine(ZolImage* srcImage, ZolImage* dstImage, const double coeffs[2][3],
                           int interpolate) {
    const char* func = msg::kWarpAffine;
    if (!warpChecks(func, srcImage, dstImage)) return;
    if (!coeffs) {
        report(ZOL_STATUS_NULL_HEADER, func, msg::kNoContext);
        return;
    }
    const double a = coeffs[0][0], b = coeffs[0][1], c = coeffs[1][0], d = coeffs[1][1];
    const bool tiled = srcImage->tileInfo || dstImage->tileInfo;
    zolSetErrStatus(ZOL_STATUS_OK);
    if (std::fabs(a * d - b * c) < kTol) {
        report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kWarpSingular);
        return;
    }
    const bool diagonal = std::fabs(b) < kTol && std::fabs(c) < kTol;
    if (diagonal && near(a, 1) && near(d, 1)) {
        // A whole shift: the moved source rectangle copied where it meets
        // the destination's.
        const double fx = std::floor(coeffs[0][2]), fy = std::floor(coeffs[1][2]);
        int sx0, sy0, sx1, sy1, dx0, dy0, dx1, dy1;
        if (!ownClippedRect(srcImage, sx0, sy0, sx1, sy1) || !ownClippedRect(dstImage, dx0, dy0, dx1, dy1)) return;
        const double lx = std::max<double>(sx0 + fx, dx0), hx = std::min<double>(sx1 + fx, dx1);
        const double ly = std::max<double>(sy0 + fy, dy0), hy = std::min<double>(sy1 + fy, dy1);
        if (lx > hx || ly > hy) return;
        const int X = int(fx), Y = int(fy);  // |shift| below the image size here
        ZolROI rs{srcImage->roi ? srcImage->roi->coi : 0, int(lx) - X, int(ly) - Y, int(hx - lx) + 1, int(hy - ly) + 1};
        ZolROI rd{dstImage->roi ? dstImage->roi->coi : 0, int(lx), int(ly), int(hx - lx) + 1, int(hy - ly) + 1};
        ZolROI* keepS = srcImage->roi;
        ZolROI* keepD = dstImage->roi;
        ZolImage* keepSm = srcImage->maskROI;
        ZolImage* keepDm = dstImage->maskROI;
        srcImage->roi = &rs, dstImage->roi = &rd, srcImage->maskROI = nullptr, dstImage->maskROI = nullptr;
        zolCopy(srcImage, dstImage);
        srcImage->roi = keepS, dstImage->roi = keepD, srcImage->maskROI = keepSm, dstImage->maskROI = keepDm;
        if (zolGetErrStatus() < 0) report(ZOL_STATUS_BACKTRACE, func, msg::kNoContext);
        return;
    }
    if (diagonal && near(a, -1) && near(d, -1) && !tiled) {
        zolRotate(srcImage, dstImage, 180.0, coeffs[0][2], coeffs[1][2], interpolate);
        if (zolGetErrStatus() < 0) report(ZOL_STATUS_BACKTRACE, func, msg::kNoContext);
        return;
    }
    if (std::fabs(a) < kTol && std::fabs(d) < kTol && !tiled &&
        ((near(b, 1) && near(c, -1)) || (near(b, -1) && near(c, 1)))) {
        zolRotate(srcImage, dstImage, near(b, 1) ? 90.0 : -90.0, coeffs[0][2], coeffs[1][2], interpolate);
        if (zolGetErrStatus() < 0) report(ZOL_STATUS_BACKTRACE, func, msg::kNoContext);
        return;
    }
    double q[4][2];
    zolGetAffineQuad(srcImage, coeffs, q);
    if (zolGetErrStatus() < 0) {
        report(ZOL_STATUS_BACKTRACE, func, msg::kNoContext);
        return;
    }
    if (interpolate < 0 || interpolate > 2) {
        report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kWarpInterp);
        return;
    }
    interpolate = ownWarpSampler(srcImage, interpolate);
    ownWarpEngine(func, srcImage, dstImage, q, interpolate, kWarpAffine);
    if (zolGetErrStatus() < 0) report(ZOL_STATUS_BACKTRACE, func, msg::kNoContext);
}

ZOL_API void zolRotate(ZolImage* srcImage, ZolImage* dstImage, double angle, double xShift,
                       double yShift, int interpolate) {
    double a = angle - std::nearbyint(angle / 360) * 360;
    if (a < 0) a += 360;
    const bool tiled = srcImage && dstImage && (srcImage->tileInfo || dstImage->tileInfo);
    const int quarter = near(a, 90) ? 90 : near(a, 180) ? 180 : near(a, 270) ? 270 : 0;
    if (quarter && !tiled) {
        exactRotate(srcImage, dstImage, quarter, xShift, yShift);
        return;
    }
    double cs = std::cos(a * (1.0 / 180.0) * kPi), sn = std::sin(a * (1.0 / 180.0) * kPi);
    if (quarter) {
        // Tiled quarter turns take the general path: exact sine, cosine and
        // whole shifts keep them equal to the untiled exact rotation.
        cs = quarter == 180 ? -1 : 0, sn = quarter == 90 ? 1 : quarter == 270 ? -1 : 0;
        xShift = std::floor(xShift), yShift = std::floor(yShift);
    }
    const double c[2][3] = {{cs, sn, xShift}, {-sn, cs, yShift}};
    zolSetErrStatus(ZOL_STATUS_OK);
    zolWarpAffine(srcImage, dstImage, c, interpolate);
    if (zolGetErrStatus() < 0) report(ZOL_STATUS_BACKTRACE, msg::kRotate, msg::kNoContext);
}

ZOL_API int zolShear(ZolImage* srcImage, ZolImage* dstImage, double xShear, double yShear,
                     double xShift, double yShift, int interpolate) {
    const double c[2][3] = {{1, xShear, xShift}, {yShear, 1, yShift}};
    zolSetErrStatus(ZOL_STATUS_OK);
    zolWarpAffine(srcImage, dstImage, c, interpolate);
    if (zolGetErrStatus() < 0) return report(ZOL_STATUS_BACKTRACE, msg::kShear, msg::kNoContext);
    return zolGetErrStatus();
}

}  // extern "C"
