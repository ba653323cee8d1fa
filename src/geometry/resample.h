// The resampling engine behind zolResize and zolZoom, and its samplers:
// the coordinate rule, the per-axis tables and the row kernels of nearest,
// linear (14-bit weights, truncating shifts) and cubic (float) sampling.
// The warps reuse the samplers; decimation has arithmetic of its own and
// shares none of this.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>

#include "core/simd.h"
#include "zol.h"

namespace zol {
namespace geo {

constexpr int kInterNN = ZOL_INTER_NN;
constexpr int kInterLinear = ZOL_INTER_LINEAR;
constexpr int kInterCubic = ZOL_INTER_CUBIC;

// The sample index of a coordinate: round(u + 0.00001 - 0.5), to nearest,
// so for practical purposes the floor of u + 0.00001.
inline int64_t sampleIndex(long double u) { return std::llrint(u + 0.00001 - 0.5); }

// 14-bit weight of the second sample at fraction f = u - index.
inline int linearWeight(long double f) { return int(std::llrint(f * 16384 + 0.00001 - 0.5)); }

// Linear passes: the horizontal result is kept in 16 bits, the vertical one
// is the sample. 16-bit samples are halved first so that the products fit
// 32 bits; their low bit is lost.
inline unsigned linearH(uint8_t a, uint8_t b, int w) {
    return unsigned(a * (16384 - w) + b * w) >> 8;
}
inline unsigned linearH(uint16_t a, uint16_t b, int w) {
    return unsigned((a >> 1) * (16384 - w) + (b >> 1) * w) >> 14;
}
template <class T>
inline T linearV(unsigned h0, unsigned h1, int v);
// Horizontal results stay below 2^15 and weights at most 2^14, so the
// products are those of signed 16-bit numbers and their sum fits 31 bits.
template <>
inline uint8_t linearV<uint8_t>(unsigned h0, unsigned h1, int v) {
    return uint8_t((int32_t(int16_t(h0)) * int16_t(16384 - v) + int32_t(int16_t(h1)) * int16_t(v)) >> 20);
}
template <>
inline uint16_t linearV<uint16_t>(unsigned h0, unsigned h1, int v) {
    return uint16_t((int32_t(int16_t(h0)) * int16_t(16384 - v) + int32_t(int16_t(h1)) * int16_t(v)) >> 13);
}

// The cubic through y0..y3 at t = -1, 0, 1, 2, by forward differences, in
// float with every operation rounded (no fused multiply-add): at t = 0 it
// gives y1 and at t = 2 it gives y3 exactly. The factors a, b, c depend on
// t alone, so tables hold them per position.
struct CubicFactors {
    float a, b, c;
};
inline CubicFactors cubicFactors(float t) {
    const float a = t + 1.0f;
    const float b = (t * a) * 0.5f;
    const float c = ((t - 1.0f) * b) * 0.3333333432674408f;
    return {a, b, c};
}
inline float cubic(float y0, float y1, float y2, float y3, CubicFactors f) {
    const float d1 = y1 - y0;
    const float d2 = (y2 - y1) - d1;
    const float d3 = ((y3 - 2.0f * y2) + y1) - d2;
    return ((y0 + f.a * d1) + f.b * d2) + f.c * d3;
}

// The sample from the last cubic: round(p + 0.00001 - 0.5) to nearest even,
// clamped. Adding and taking away 1.5 * 2^23 rounds a float below 2^22 in
// magnitude (a cubic of 16-bit samples stays far below) to an integer as
// the default rounding mode does, and unlike a call to the maths library
// it widens to vectors.
template <class T>
inline T cubicSample(float p) {
    constexpr float kMagic = 12582912.0f;
    constexpr int32_t hi = sizeof(T) == 1 ? 255 : 65535;
    int32_t r = int32_t(((p + 0.00001f) - 0.5f + kMagic) - kMagic);
    r = r < 0 ? 0 : r;
    return T(r > hi ? hi : r);
}

// One axis of a resampling: per destination column (or row) the source
// samples it reads, in image coordinates, taps() per entry, and the weight
// of the interpolation.
struct Axis {
    int mode = kInterNN;
    int count = 0;
    int32_t* tap = nullptr;   // taps() entries per position
    int16_t* w = nullptr;     // linear: 16384 - w, w per position
    CubicFactors* f = nullptr;  // cubic: the factors of t per position
    int taps() const { return mode == kInterNN ? 1 : mode == kInterLinear ? 2 : 4; }
    // Bytes of storage the tables of n positions take.
    static int64_t bytesFor(int mode, int64_t n);
};

// Fills the tables of n positions u(i) = i * step, accumulated, over a
// source rectangle [origin, origin + extent) of an image of imageExtent
// samples, into memory of Axis::bytesFor(mode, n) bytes.
void buildAxis(Axis& axis, void* memory, int mode, int n, double step, int origin, int extent,
               int imageExtent);

// Row kernels over contiguous rows of n-channel pixels: xo holds taps()
// element offsets per destination pixel (the pixel's first channel).
void nnRow(const uint8_t* s, const int32_t* xo, int count, int n, uint8_t* out);
void nnRow(const uint16_t* s, const int32_t* xo, int count, int n, uint16_t* out);
// Linear takes its taps and the second weight as separate arrays: x0, x1
// element offsets and w per destination pixel. avail is the number of
// elements from s that may be read (a vector form reads a little ahead).
void linearRowH(const uint8_t* s, const int32_t* x0, const int32_t* x1, const int16_t* w,
                int count, int n, uint16_t* out, ptrdiff_t avail);
void linearRowH(const uint16_t* s, const int32_t* x0, const int32_t* x1, const int16_t* w,
                int count, int n, uint16_t* out, ptrdiff_t avail);
void linearRowV(const uint16_t* h0, const uint16_t* h1, int v, int count, uint8_t* out);
void linearRowV(const uint16_t* h0, const uint16_t* h1, int v, int count, uint16_t* out);
void cubicRowH(const uint8_t* s, const int32_t* xo, const CubicFactors* f, int count, int n,
               float* out);
void cubicRowH(const uint16_t* s, const int32_t* xo, const CubicFactors* f, int count, int n,
               float* out);
// 8U cubic element by element: the four taps of element e start at t0[e]
// and lie step elements apart; its factors are a[e], b[e], c[e]. avail as
// for the linear pass.
void cubicRowH8(const uint8_t* s, const int32_t* t0, int step, const float* a, const float* b,
                const float* c, int count, float* out, ptrdiff_t avail);
void cubicRowV(const float* const* h, CubicFactors f, int count, uint8_t* out);
void cubicRowV(const float* const* h, CubicFactors f, int count, uint16_t* out);

// The horizontal 8U linear pass and the vertical passes by form: the plain ones above, or Highway forms that
// give the same bytes (resample_simd.cpp).
struct ResampleKernels {
    void (*linearH8)(const uint8_t* s, const int32_t* x0, const int32_t* x1, const int16_t* w,
                     int count, int n, uint16_t* out, ptrdiff_t avail);
    void (*cubicH8)(const uint8_t* s, const int32_t* t0, int step, const float* a, const float* b,
                    const float* c, int count, float* out, ptrdiff_t avail);
    void (*linearV8)(const uint16_t* h0, const uint16_t* h1, int v, int count, uint8_t* out);
    void (*linearV16)(const uint16_t* h0, const uint16_t* h1, int v, int count, uint16_t* out);
    void (*cubicV8)(const float* const* h, CubicFactors f, int count, uint8_t* out);
    void (*cubicV16)(const float* const* h, CubicFactors f, int count, uint16_t* out);
};
void resampleSimd(Form form, ResampleKernels& k);
const ResampleKernels& resampleKernels();
// The form the family picks now.
Form resampleForm();

// The engine: checks, mode adjustment, masks, tables and the walk over
// tiles, reporting under func. Leaves its outcome in the thread's status.
void ownResizeEngine(const char* func, ZolImage* srcImage, ZolImage* dstImage, int xDst,
                     int xSrc, int yDst, int ySrc, int interpolate);

}  // namespace geo
}  // namespace zol
