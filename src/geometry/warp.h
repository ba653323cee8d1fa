// The warp engine: a source rectangle mapped onto a quadrangle of the
// destination through an inverse mapping, written row by row over a scan
// table of the quadrangle clipped to the destination rectangle, or every
// pixel of the destination rectangle through a forward mapping from a
// quadrangle of the source. The affine, bilinear and perspective warps
// share it.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/simd.h"

#include "zol.h"

namespace zol {
namespace geo {

// 1 or 0 for a good quadrangle (by the way round it runs), -5 for one
// degenerate to a triangle, a segment or a point, -4 for a concave one.
int ownQuadCheck(const double q[4][2]);

// The image's rectangle cut to the image, inclusive corners; false when
// empty.
bool ownClippedRect(const ZolImage* im, int& x0, int& y0, int& x1, int& y1);

// The sampling a warp uses over the source's own rectangle: nearest for
// 1-bit images and regions of one row or column, linear where cubic lacks
// four samples each way, else interpolate.
int ownWarpSampler(const ZolImage* src, int interpolate);

// Kinds of mapping.
enum WarpKind { kWarpAffine = 0, kWarpBilinear = 1, kWarpPerspective = 2 };

// Maps the source region onto quad (destination coordinates) and writes
// the destination pixels inside it; or, fromQuad, maps the destination
// region onto quad (source coordinates) and writes every destination pixel
// whose sample lies in the source region. Reports under func and leaves
// its outcome in the thread's status.
void ownWarpEngine(const char* func, const ZolImage* src, ZolImage* dst, const double quad[4][2],
                   int interpolate, WarpKind kind, bool fromQuad = false);

// The header checks shared by the warps (depths, origins, orders, signed
// depths, warpFlag when given, in place): each runs and reports; false
// when any failed.
bool warpChecks(const char* func, const ZolImage* src, const ZolImage* dst, const int* warpFlag = nullptr);

// The coefficients taking the rectangle (x0, y0)..(x1, y1) onto quad.
void bilinearTransform(int x0, int y0, int x1, int y1, const double quad[4][2], double c[2][4]);
void perspectiveTransform(int x0, int y0, int x1, int y1, const double quad[4][2], double c[3][3]);

// The row pass of the perspective scan for 8U pixels of n interleaved
// channels (1 or 3), linear, with no test per pixel: for each k, r = 1 /
// dn[k], u = nu[k] r, v = nv[k] r, and pixel k of out is the linear sample
// at (u, v) from the plane s (rows `row` bytes apart; source position (ox,
// oy) at s; limits iw, ih), indices clamped. avail is the number of bytes
// from s that may be read.
using PerspectiveRow = void (*)(const double* nu, const double* nv, const double* dn, int count,
                                const uint8_t* s, ptrdiff_t row, int n, int iw, int ih, int ox, int oy,
                                ptrdiff_t avail, uint8_t* out);
void perspectiveLinear8(const double* nu, const double* nv, const double* dn, int count, const uint8_t* s,
                        ptrdiff_t row, int n, int iw, int ih, int ox, int oy, ptrdiff_t avail, uint8_t* out);

// The affine row of 8U pixels of n interleaved channels (1 or 3), linear,
// in 16.16: pixel k of out samples position (u + k A, v + k E) of the plane
// s (rows `row` bytes apart, limits iw, ih), clamped into it, with 14-bit
// weights and truncating shifts. avail as above.
using AffineRow = void (*)(int64_t u, int64_t v, int64_t A, int64_t E, int count, const uint8_t* s,
                           ptrdiff_t row, int n, int iw, int ih, ptrdiff_t avail, uint8_t* out);
void affineLinear8(int64_t u, int64_t v, int64_t A, int64_t E, int count, const uint8_t* s, ptrdiff_t row,
                   int n, int iw, int ih, ptrdiff_t avail, uint8_t* out);
// The same row, cubic: the 4 x 4 samples from column clamp(u / 2^16 - 1, 0,
// iw - 4) and the like row, the 8-bit cubic of 4 fractional bits across
// each row and then down the column, rounded and clamped; iw, ih at least 4.
void affineCubic8(int64_t u, int64_t v, int64_t A, int64_t E, int count, const uint8_t* s, ptrdiff_t row,
                  int n, int iw, int ih, ptrdiff_t avail, uint8_t* out);

// The warp kernels by form: the plain ones above, or Highway forms that
// give the same bytes (warp_simd.cpp).
struct WarpKernels {
    PerspectiveRow perspectiveLinear8;
    AffineRow affineLinear8;
    AffineRow affineCubic8;
};
void warpSimd(Form form, WarpKernels& k);
const WarpKernels& warpKernels();
// The form the family picks now.
Form warpForm();

}  // namespace geo
}  // namespace zol
