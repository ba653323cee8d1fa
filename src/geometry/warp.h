// The warp engine: a source rectangle mapped onto a quadrangle of the
// destination through an inverse mapping, written row by row over a scan
// table of the quadrangle clipped to the destination rectangle. The affine
// front ends use it; the bilinear and perspective warps are to share it.
#pragma once

#include <cstdint>

#include "zol.h"

namespace zol {
namespace geo {

// 1 or 0 for a good quadrangle (by the way round it runs), -5 for one
// degenerate to a triangle, a segment or a point, -4 for a concave one.
int ownQuadCheck(const double q[4][2]);

// Kinds of mapping.
enum WarpKind { kWarpAffine = 0, kWarpBilinear = 1, kWarpPerspective = 2 };

// Maps the source region onto quad (destination coordinates) and writes
// the destination pixels inside it, reporting under func. Leaves its
// outcome in the thread's status.
void ownWarpEngine(const char* func, const ZolImage* src, ZolImage* dst, const double quad[4][2],
                   int interpolate, WarpKind kind);

// The coefficients taking the rectangle (x0, y0)..(x1, y1) onto quad.
void bilinearTransform(int x0, int y0, int x1, int y1, const double quad[4][2], double c[2][4]);
void perspectiveTransform(int x0, int y0, int x1, int y1, const double quad[4][2], double c[3][3]);

}  // namespace geo
}  // namespace zol
