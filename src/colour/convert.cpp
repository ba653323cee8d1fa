// The thirteen colour-space conversions. Each depth has its own arithmetic:
// the 8- and 16-bit linear rows are integers scaled by 2^14, the 32F rows
// use single-precision constants summed in double, the 32S rows double
// constants truncated toward zero. HSV and HLS take the hue through double
// even at 8 bits.
#include <cmath>
#include <cstdint>
#include <cstring>

#include "colour/colour.h"
#include "colour/kernels.h"
#include "core/image.h"

namespace zol {
namespace {

// ---------------------------------------------------------------------
// The row engine: three input channels to three output channels.

// Three-channel pixels on both sides, channel order fixed at compile time
// (I0..I2 and O0..O2 the element offsets of the three inputs and outputs):
// the common case, with constant strides the compiler can schedule.
template <class In, class Out, class F, int I0, int I2, int O0, int O2>
void packedPiece(const char* src, ptrdiff_t sStep, char* dst, ptrdiff_t dStep, int w, int h,
                 const F& f) {
    for (int j = 0; j < h; ++j) {
        const In* s = reinterpret_cast<const In*>(src + j * sStep);
        Out* d = reinterpret_cast<Out*>(dst + j * dStep);
        for (int i = 0; i < w; ++i, s += 3, d += 3) {
            Out o[3];
            f(s[I0], s[1], s[I2], o);
            d[O0] = o[0];
            d[1] = o[1];
            d[O2] = o[2];
        }
    }
}

template <class In, class Out, class F>
void convertPiece(const Chan (&in)[3], const Chan (&out)[3], int w, int h, const F& f) {
    const ptrdiff_t si = sizeof(In), so = sizeof(Out);
    const bool inPacked = in[0].pix == 3 * si && in[1].pix == 3 * si && in[2].pix == 3 * si &&
                          in[0].row == in[1].row && in[1].row == in[2].row;
    const bool outPacked = out[0].pix == 3 * so && out[1].pix == 3 * so &&
                           out[2].pix == 3 * so && out[0].row == out[1].row && out[1].row == out[2].row;
    if (inPacked && outPacked) {
        const int inOrder = in[1].p == in[0].p + si && in[2].p == in[0].p + 2 * si ? 0
                            : in[1].p == in[0].p - si && in[2].p == in[0].p - 2 * si ? 1 : -1;
        const int outOrder = out[1].p == out[0].p + so && out[2].p == out[0].p + 2 * so ? 0
                             : out[1].p == out[0].p - so && out[2].p == out[0].p - 2 * so ? 1 : -1;
        const char* s = inOrder ? in[2].p : in[0].p;
        char* d = outOrder ? out[2].p : out[0].p;
        if (inOrder == 0 && outOrder == 0)
            return packedPiece<In, Out, F, 0, 2, 0, 2>(s, in[0].row, d, out[0].row, w, h, f);
        if (inOrder == 1 && outOrder == 0)
            return packedPiece<In, Out, F, 2, 0, 0, 2>(s, in[0].row, d, out[0].row, w, h, f);
        if (inOrder == 0 && outOrder == 1)
            return packedPiece<In, Out, F, 0, 2, 2, 0>(s, in[0].row, d, out[0].row, w, h, f);
        if (inOrder == 1 && outOrder == 1)
            return packedPiece<In, Out, F, 2, 0, 2, 0>(s, in[0].row, d, out[0].row, w, h, f);
    }
    const char* a = in[0].p;
    const char* b = in[1].p;
    const char* c = in[2].p;
    char* x = out[0].p;
    char* y = out[1].p;
    char* z = out[2].p;
    for (int j = 0; j < h; ++j) {
        for (int i = 0; i < w; ++i) {
            Out o[3];
            f(*reinterpret_cast<const In*>(a + i * in[0].pix),
              *reinterpret_cast<const In*>(b + i * in[1].pix),
              *reinterpret_cast<const In*>(c + i * in[2].pix), o);
            *reinterpret_cast<Out*>(x + i * out[0].pix) = o[0];
            *reinterpret_cast<Out*>(y + i * out[1].pix) = o[1];
            *reinterpret_cast<Out*>(z + i * out[2].pix) = o[2];
        }
        a += in[0].row;
        b += in[1].row;
        c += in[2].row;
        x += out[0].row;
        y += out[1].row;
        z += out[2].row;
    }
}

// From RGB: inputs R, G, B by letter, outputs channels 0..2.
template <class In, class Out, class F>
void fromRgb(const ZolImage* src, const ZolImage* dst, const ColourPiece& p, const F& f) {
    Chan in[3], out[3];
    char sink[8];
    rgbChannels(src, const_cast<char*>(p.src), p.srcStep, p.srcPlane, in, sink);
    plainChannels(dst, p.dst, p.dstStep, p.dstPlane, out);
    convertPiece<In, Out>(in, out, p.width, p.height, f);
}

// To RGB: inputs channels 0..2, outputs R, G, B by letter (a missing letter
// of a plane-order destination goes to a sink).
template <class In, class Out, class F>
void toRgb(const ZolImage* src, const ZolImage* dst, const ColourPiece& p, const F& f) {
    Chan in[3], out[3];
    alignas(8) char sink[8];
    plainChannels(src, const_cast<char*>(p.src), p.srcStep, p.srcPlane, in);
    rgbChannels(dst, p.dst, p.dstStep, p.dstPlane, out, sink);
    convertPiece<In, Out>(in, out, p.width, p.height, f);
}

void writeModel(ZolImage* dst, const char (&name)[4]) {
    std::memcpy(dst->colorModel, name, 4);
    std::memcpy(dst->channelSeq, name, 4);
}

void depthFault(const char* kernel, const char* text) {
    Frame(kernel).fail(ZOL_STATUS_BAD_ARGUMENT, text);
}

constexpr char kHsvDepths[] = "Error input depth. 32S,16U,8U are valid now";
constexpr char kLinDepths[] = "Error input depth. 32F, 32S ,16U,8U are valid now";
constexpr char kYuvDepths[] = "Error input depth. 32F, 32S ,16S,8S are valid now";
constexpr char kYccDepths[] = "Error input depth. 8U is valid now";
constexpr char kLuvDepths[] = "Error input depth. 32F is valid now";

template <class T>
inline T clampTo(int64_t v, int64_t lo, int64_t hi) {
    return T(v < lo ? lo : (v > hi ? hi : v));
}
inline int32_t clampTrunc(double v, double lo, double hi) {
    return truncToI32(v < lo ? lo : (v > hi ? hi : v));
}

// ---------------------------------------------------------------------
// HSV and HLS

// Hue in degrees before truncation; d > 0. Numerators are exact in 64 bits.
inline int32_t hueOf(int64_t r, int64_t g, int64_t b, int64_t mx, int64_t d) {
    double h;
    if (r == mx) h = double(60 * (g - b)) / double(d);
    else if (g == mx) h = double(60 * (b - r)) / double(d) + 120.0;
    else h = double(60 * (r - g)) / double(d) + 240.0;
    if (h < 0) h += 360.0;
    return truncToI32(h);
}

// Exact reciprocals for 8-bit quotients: floor(n / d) = (n * kRecip[d]) >> 32
// whenever n * d < 2^32, which holds for every numerator below.
struct Reciprocals {
    uint64_t r[256];
    constexpr Reciprocals() : r() {
        for (int d = 1; d < 256; ++d) r[d] = ((uint64_t(1) << 32) + uint64_t(d) - 1) / uint64_t(d);
    }
};
constexpr Reciprocals kRecip;

// floor(n / d) for 0 <= n, n * d < 2^32 (8-bit) or by division (16-bit).
template <int64_t Max>
inline int32_t quot(int64_t n, int64_t d) {
    if (Max == 255) return int32_t((uint64_t(n) * kRecip.r[d]) >> 32);
    return int32_t(n / d);
}

// Hue at 8 and 16 bits in integers. The double quotient of the exact
// numerator, truncated after 360 is added to a negative value, is the floor
// of (numerator + 360 d) / d: a quotient that is not an integer lies at least
// 1/d away from one, far beyond the error of a double.
template <int64_t Max>
inline int32_t hueInt(int32_t r, int32_t g, int32_t b, int32_t mx, int32_t d) {
    // All three numerators, then a selection: random colours make the
    // branches of a test-and-divide unpredictable.
    int32_t nr = 60 * (g - b);
    nr += nr < 0 ? 360 * d : 0;
    const int32_t ng = 60 * (b - r) + 120 * d, nb = 60 * (r - g) + 240 * d;
    const int32_t n = r == mx ? nr : (g == mx ? ng : nb);
    return quot<Max>(n, d | (d == 0));
}

template <class T, int64_t Max>
struct RgbToHsv {
    void operator()(T r, T g, T b, T* o) const {
        if (Max <= 65535) {  // integers, exact (see hueInt)
            const int32_t R = r, G = g, B = b;
            const int32_t mx = R > G ? (R > B ? R : B) : (G > B ? G : B);
            const int32_t mn = R < G ? (R < B ? R : B) : (G < B ? G : B);
            const int32_t d = mx - mn;
            const int32_t s = quot<Max>(int64_t(Max) * d, mx | (mx == 0));  // 0 when mx is 0
            int32_t hue = hueInt<Max>(R, G, B, mx, d);
            hue = s == 0 ? 0 : hue;
            if (Max == 255) hue >>= 1;
            o[0] = T(hue);
            o[1] = T(s);
            o[2] = T(mx);
            return;
        }
        const int64_t R = r, G = g, B = b;
        const int64_t mx = R > G ? (R > B ? R : B) : (G > B ? G : B);
        const int64_t mn = R < G ? (R < B ? R : B) : (G < B ? G : B);
        const int64_t d = mx - mn;
        const int64_t s = mx == 0 ? 0 : truncToI32(double(Max) * double(d) / double(mx));
        const int32_t hue = s == 0 ? 0 : hueOf(R, G, B, mx, d);
        o[0] = T(hue);
        o[1] = T(s);
        o[2] = T(mx);
    }
};

// (R, G, B) by sector as indices into {V, p, q, u}; every sector from 6
// on, and below 0, takes the last row.
constexpr uint8_t kSector[7][3] = {{0, 3, 1}, {2, 0, 1}, {1, 0, 3}, {1, 2, 0},
                                   {3, 1, 0}, {0, 1, 2}, {0, 1, 2}};

inline void bySector(int sector, int32_t v, int32_t p, int32_t q, int32_t u, int32_t* rgb) {
    const int32_t vals[4] = {v, p, q, u};
    const uint8_t* k = kSector[unsigned(sector) < 6u ? sector : 6];
    rgb[0] = vals[k[0]];
    rgb[1] = vals[k[1]];
    rgb[2] = vals[k[2]];
}

struct HsvToRgb8 {
    void operator()(uint8_t H, uint8_t S, uint8_t V, uint8_t* o) const {
        if (S == 0) {
            o[0] = o[1] = o[2] = V;
            return;
        }
        const int32_t h = 2 * H;
        int sector = 0, f = 0;
        if (h != 360) sector = h / 60, f = h % 60;
        const int32_t v = V, t = (int32_t(S) * v) >> 8;
        const int32_t p = v - t, q = v - ((t * f * 34) >> 11), u = v - ((t * (60 - f) * 34) >> 11);
        int32_t rgb[3];
        bySector(sector, v, p, q, u, rgb);
        for (int k = 0; k < 3; ++k) o[k] = uint8_t(rgb[k]);
    }
};

template <class T, int64_t Max>
struct HsvToRgbWide {
    void operator()(T H, T S, T V, T* o) const {
        if (S == 0) {
            o[0] = o[1] = o[2] = V;
            return;
        }
        const double inv = 1.0 / double(Max), mx = double(Max);
        int sector = 0;
        double f = 0.0;
        if (H != 360) {
            const double h = double(H) * (1.0 / 60.0);
            sector = truncToI32(h);
            f = h - sector;
        }
        const double v = V, s = S;
        const int32_t p = truncToI32(v * (mx - s) * inv);
        const int32_t q = truncToI32(v * (mx - s * f) * inv);
        const int32_t u = truncToI32(v * (mx - s * (1.0 - f)) * inv);
        int32_t rgb[3];
        bySector(sector, int32_t(V), p, q, u, rgb);
        for (int k = 0; k < 3; ++k) o[k] = T(rgb[k]);
    }
};

template <class T, int64_t Max>
struct RgbToHls {
    void operator()(T r, T g, T b, T* o) const {
        const int64_t R = r, G = g, B = b;
        const int64_t mx = R > G ? (R > B ? R : B) : (G > B ? G : B);
        const int64_t mn = R < G ? (R < B ? R : B) : (G < B ? G : B);
        const int64_t d = mx - mn, s = mx + mn;
        int32_t hue = 0, sat = 0;
        if (d != 0) {
            const int64_t den = s <= Max ? s : 2 * Max - s;
            if (Max <= 65535) {  // integers, exact as for HSV
                sat = int32_t(Max * d / den);
                hue = hueInt<Max>(int32_t(R), int32_t(G), int32_t(B), int32_t(mx), int32_t(d));
            } else {
                sat = truncToI32(double(Max) * double(d) / double(den));
                hue = hueOf(R, G, B, mx, d);
            }
            if (Max == 255) hue >>= 1;
        }
        o[0] = T(hue);
        o[1] = T(s >> 1);
        o[2] = T(sat);
    }
};

struct HlsToRgb8 {
    static int32_t value(int32_t m1, int32_t m2, int32_t x) {
        if (x < 60) return m1 + (((m2 - m1) * 137 * x) >> 13);
        if (x < 180) return m2;
        if (x < 240) return m1 + (((m2 - m1) * 137 * (240 - x)) >> 13);
        return m1;
    }
    void operator()(uint8_t H, uint8_t Lv, uint8_t S, uint8_t* o) const {
        if (S == 0) {
            o[0] = o[1] = o[2] = Lv;
            return;
        }
        const int32_t h = 2 * H, L = Lv, s = S;
        const int32_t k = (L * s * 258) >> 16;
        const int32_t m2 = L <= 127 ? L + k : L + s - k;
        const int32_t m1 = 2 * L - m2;
        o[0] = uint8_t(value(m1, m2, h <= 240 ? h + 120 : h - 240));
        o[1] = uint8_t(value(m1, m2, h));
        o[2] = uint8_t(value(m1, m2, h < 120 ? h + 240 : h - 120));
    }
};

template <class T, int64_t Max, int64_t Half>
struct HlsToRgbWide {
    static double value(double m1, double m2, int64_t x) {
        const double c = 0.0166666667;
        if (x < 60) return m1 + (m2 - m1) * double(x) * c;
        if (x < 180) return m2;
        if (x < 240) return m1 + (m2 - m1) * double(240 - x) * c;
        return m1;
    }
    void operator()(T H, T Lv, T S, T* o) const {
        if (S == 0) {
            o[0] = o[1] = o[2] = Lv;
            return;
        }
        const double inv = 1.0 / double(Max), L = Lv, s = S;
        const double m2 = Lv > Half ? L + s - L * s * inv : L + L * s * inv;
        const double m1 = 2.0 * L - m2;
        const int64_t h = H;
        o[0] = T(truncToI32(value(m1, m2, h <= 240 ? h + 120 : h - 240)));
        o[1] = T(truncToI32(value(m1, m2, h)));
        o[2] = T(truncToI32(value(m1, m2, h < 120 ? h + 240 : h - 120)));
    }
};

// ---------------------------------------------------------------------
// XYZ

constexpr int32_t kXyzFix[6][3] = {{6758, 5859, 2956},    {3484, 11717, 1182},
                                   {317, 1953, 15569},    {53092, -25185, -8168},
                                   {-15880, 30736, 681},  {912, -3343, 17323}};
constexpr double kXyzD[6][3] = {{0.412453, 0.35758, 0.180423},   {0.212671, 0.71516, 0.072169},
                                {0.019334, 0.119193, 0.950227},  {3.240479, -1.53715, -0.498535},
                                {-0.969256, 1.875992, 0.041556}, {0.055648, -0.204043, 1.057311}};
constexpr float kXyzF[6][3] = {{0.412453f, 0.35758f, 0.180423f},
                               {0.212671f, 0.71516f, 0.072169f},
                               {0.019334f, 0.119193f, 0.950227f},
                               {3.240479f, -1.53715f, -0.498535f},
                               {-0.969256f, 1.875992f, 0.041556f},
                               {0.055648f, -0.204043f, 1.057311f}};

// Acc holds every sum of the depth: 32 bits at 8U and forward at 16U; the
// sums back to RGB at 16U pass 2^31 and take 64 bits.
template <class T, class Acc, int64_t Max, bool Back>
struct XyzFix {
    static constexpr int B = Back ? 3 : 0;
    static Acc row(int k, Acc a, Acc b, Acc c) {
        return (Acc(kXyzFix[B + k][0]) * a + Acc(kXyzFix[B + k][1]) * b + Acc(kXyzFix[B + k][2]) * c + 8192) >> 14;
    }
    void operator()(T a, T b, T c, T* o) const {
        const Acc x = row(0, a, b, c), y = row(1, a, b, c), z = row(2, a, b, c);
        if (Back) {
            o[0] = T(x < 0 ? 0 : x > Max ? Max : x);
            o[1] = T(y < 0 ? 0 : y > Max ? Max : y);
            o[2] = T(z < 0 ? 0 : z > Max ? Max : z);
        } else {
            o[0] = T(x);
            o[1] = T(y);
            o[2] = T(z > Max ? Max : z);
        }
    }
};

template <bool Back>
struct XyzF {
    void operator()(float a, float b, float c, float* o) const {
        const int base = Back ? 3 : 0;
        for (int k = 0; k < 3; ++k) {
            const float* m = kXyzF[base + k];
            o[k] = float(double(m[0]) * a + double(m[1]) * b + double(m[2]) * c);
        }
    }
};

template <bool Back>
struct XyzS {
    void operator()(int32_t a, int32_t b, int32_t c, int32_t* o) const {
        const int base = Back ? 3 : 0;
        for (int k = 0; k < 3; ++k) {
            const double* m = kXyzD[base + k];
            const double v = m[0] * a + m[1] * b + m[2] * c;
            o[k] = (Back || k == 2) ? clampTrunc(v, 0.0, 2147483647.0) : truncToI32(v);
        }
    }
};

// ---------------------------------------------------------------------
// YUV

template <class T, class S, int64_t Lo, int64_t Hi>
struct RgbToYuvFix {
    void operator()(T r, T g, T b, S* o) const {
        const int32_t y = (4899 * int32_t(r) + 9617 * int32_t(g) + 1868 * int32_t(b)) >> 14;
        const int32_t u = int32_t(b) - y, v = int32_t(r) - y;
        o[0] = S(y > Hi ? Hi : y);
        o[1] = S(u < Lo ? Lo : u > Hi ? Hi : u);
        o[2] = S(v < Lo ? Lo : v > Hi ? Hi : v);
    }
};

template <class S, class T, int64_t Hi>
struct YuvToRgbFix {
    void operator()(S y, S u, S v, T* o) const {
        const int32_t Y = y, U = u, V = v;
        const int32_t r = Y + V, g = Y - ((8340 * V + 3179 * U) >> 14), b = Y + U;
        o[0] = T(r < 0 ? 0 : r > Hi ? Hi : r);
        o[1] = T(g < 0 ? 0 : g > Hi ? Hi : g);
        o[2] = T(b < 0 ? 0 : b > Hi ? Hi : b);
    }
};

struct RgbToYuvF {
    void operator()(float r, float g, float b, float* o) const {
        const double y = double(0.299f) * r + double(0.587f) * g + double(0.114f) * b;
        o[0] = float(y);
        o[1] = float(double(b) - y);
        o[2] = float(double(r) - y);
    }
};

struct YuvToRgbF {
    void operator()(float y, float u, float v, float* o) const {
        o[0] = float(double(y) + v);
        o[1] = float(double(y) - double(0.509f) * v - double(0.194f) * u);
        o[2] = float(double(y) + u);
    }
};

struct RgbToYuvS {
    void operator()(int32_t r, int32_t g, int32_t b, int32_t* o) const {
        const double y = 0.299 * r + 0.587 * g + 0.114 * b;
        o[0] = clampTrunc(y, -2147483648.0, 2147483647.0);
        o[1] = clampTrunc(double(b) - y, -2147483648.0, 2147483647.0);
        o[2] = clampTrunc(double(r) - y, -2147483648.0, 2147483647.0);
    }
};

struct YuvToRgbS {
    void operator()(int32_t y, int32_t u, int32_t v, int32_t* o) const {
        o[0] = clampTrunc(double(y) + v, 0.0, 2147483647.0);
        o[1] = clampTrunc(double(y) - double(0.509f) * v - double(0.194f) * u + 0.5, 0.0,
                          2147483647.0);
        o[2] = clampTrunc(double(y) + u, 0.0, 2147483647.0);
    }
};

// ---------------------------------------------------------------------
// YCrCb

struct RgbToYcc8 {
    void operator()(uint8_t r, uint8_t g, uint8_t b, uint8_t* o) const { ycc8Pixel(r, g, b, o); }
};

struct RgbToYcc16 {
    void operator()(uint16_t r, uint16_t g, uint16_t b, uint16_t* o) const {
        const int32_t R = r, G = g, B = b;
        o[0] = uint16_t((4899 * R + 9617 * G + 1868 * B + 8192) >> 14);
        o[1] = uint16_t((-2765 * R - 5427 * G + 8192 * B + 0x20000000) >> 14);
        o[2] = uint16_t((8192 * R - 6860 * G - 1332 * B + 0x20000000) >> 14);
    }
};

struct RgbToYccF {
    void operator()(float r, float g, float b, float* o) const {
        o[0] = float(0.29899999499320984 * r + 0.5870000123977661 * g + 0.11400000005960464 * b);
        o[1] = float(-0.16873590648174286 * r - 0.3312639892101288 * g + 0.5 * b + 0.5);
        o[2] = float(0.5 * r - 0.4186875820159912 * g - 0.08131241053342819 * b + 0.5);
    }
};

struct RgbToYccS {
    void operator()(int32_t r, int32_t g, int32_t b, int32_t* o) const {
        o[0] = truncToI32(0.299 * r + 0.587 * g + 0.114 * b);
        o[1] = truncToI32(-0.1687359 * r - 0.331264 * g + 0.5 * b + 1073741823.0);
        o[2] = truncToI32(0.5 * r - 0.41868759 * g - 0.08131241 * b + 1073741823.0);
    }
};

template <class T, int64_t Hi, int64_t KR, int64_t KG, int64_t KB>
struct YccToRgbFix {
    void operator()(T y, T c1, T c2, T* o) const {
        // Every sum of both depths fits 32 bits.
        const int32_t Y = y, C1 = c1, C2 = c2;
        const int32_t r = Y + ((22970 * C2 - int32_t(KR)) >> 14);
        const int32_t g = Y - ((11700 * C2 - int32_t(KG) + 5638 * C1) >> 14);
        const int32_t b = Y + ((29032 * C1 - int32_t(KB)) >> 14);
        o[0] = T(r < 0 ? 0 : r > Hi ? Hi : r);
        o[1] = T(g < 0 ? 0 : g > Hi ? Hi : g);
        o[2] = T(b < 0 ? 0 : b > Hi ? Hi : b);
    }
};

struct YccToRgbF {
    void operator()(float y, float c1, float c2, float* o) const {
        const double r = double(1.402f) * c2 + y - double(0.701f);
        const double g = double(y) - double(0.3441363f) * c1 - double(0.7141363f) * c2 +
                         double(0.5291363f);
        const double b = double(1.772f) * c1 + y - double(0.886f);
        o[0] = float(r < 0.0 ? 0.0 : r);
        o[1] = float(g < 0.0 ? 0.0 : g);
        o[2] = float(b < 0.0 ? 0.0 : b);
    }
};

struct YccToRgbS {
    void operator()(int32_t y, int32_t c1, int32_t c2, int32_t* o) const {
        const double Y = y;
        o[0] = clampTrunc(Y + 1.402 * c2 - 1505386036.547 + 0.5, 0.0, 2147483647.0);
        o[1] = clampTrunc(Y - 0.3441362862 * c1 - 0.7141362862 * c2 + 1136311521.6488118 + 0.5,
                          0.0, 2147483647.0);
        o[2] = clampTrunc(Y + 1.772 * c1 - 1902670511.242 + 0.5, 0.0, 2147483647.0);
    }
};

// ---------------------------------------------------------------------
// PhotoYCC

constexpr uint8_t kYccOut[361] = {
    0,   1,   1,   2,   2,   3,   4,   5,   6,   7,   8,   9,   10,  11,  12,  13,  14,  15,  16,
    17,  18,  19,  20,  22,  23,  24,  25,  26,  28,  29,  30,  31,  33,  34,  35,  36,  38,  39,
    40,  41,  43,  44,  45,  47,  48,  49,  51,  52,  53,  55,  56,  57,  59,  60,  61,  63,  64,
    65,  67,  68,  70,  71,  72,  74,  75,  76,  78,  79,  81,  82,  83,  85,  86,  88,  89,  91,
    92,  93,  95,  96,  98,  99,  101, 102, 103, 105, 106, 108, 109, 111, 112, 113, 115, 116, 118,
    119, 121, 122, 123, 125, 126, 128, 129, 130, 132, 133, 134, 136, 137, 138, 140, 141, 142, 144,
    145, 146, 148, 149, 150, 152, 153, 154, 155, 157, 158, 159, 160, 162, 163, 164, 165, 166, 168,
    169, 170, 171, 172, 174, 175, 176, 177, 178, 179, 180, 182, 183, 184, 185, 186, 187, 188, 189,
    190, 191, 192, 194, 195, 196, 197, 198, 199, 200, 201, 202, 203, 204, 204, 205, 206, 207, 208,
    209, 210, 211, 212, 213, 213, 214, 215, 216, 217, 217, 218, 219, 220, 221, 221, 222, 223, 223,
    224, 225, 225, 226, 227, 227, 228, 229, 229, 230, 230, 231, 231, 232, 233, 233, 234, 234, 235,
    235, 236, 236, 236, 237, 237, 238, 238, 238, 239, 239, 240, 240, 240, 241, 241, 241, 242, 242,
    242, 242, 243, 243, 243, 244, 244, 244, 244, 245, 245, 245, 245, 245, 246, 246, 246, 246, 246,
    247, 247, 247, 247, 247, 247, 248, 248, 248, 248, 248, 248, 249, 249, 249, 249, 249, 249, 249,
    249, 249, 250, 250, 250, 250, 250, 250, 250, 250, 250, 250, 251, 251, 251, 251, 251, 251, 251,
    251, 251, 251, 251, 251, 251, 251, 252, 252, 252, 252, 252, 252, 252, 252, 252, 252, 252, 252,
    252, 252, 252, 252, 252, 253, 253, 253, 253, 253, 253, 253, 253, 253, 253, 253, 253, 253, 253,
    253, 253, 253, 253, 254, 254, 254, 254, 254, 254, 254, 254, 254, 254, 254, 254, 254, 254, 254,
    255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255};

struct PhotoYccToRgb {
    static uint8_t out(int32_t i) { return kYccOut[i < 0 ? 0 : (i > 360 ? 360 : i)]; }
    void operator()(uint8_t y, uint8_t c1, uint8_t c2, uint8_t* o) const {
        const int32_t Y = 22256 * y;
        o[0] = out((Y + 29844 * c2 - 4088627) >> 14);
        o[1] = out((Y - 7050 * c1 - 15190 * c2 + 3180790) >> 14);
        o[2] = out((Y + 36338 * c1 - 5668700) >> 14);
    }
};

// ---------------------------------------------------------------------
// LUV

constexpr double kU0 = 0.19783000648021698, kV0 = 0.46831998229026794;

struct RgbToLuv {
    void operator()(float r, float g, float b, float* o) const {
        double xyz[3];
        for (int k = 0; k < 3; ++k)
            xyz[k] = double(kXyzF[k][0]) * r + double(kXyzF[k][1]) * g + double(kXyzF[k][2]) * b;
        const double X = xyz[0], Y = xyz[1], Z = xyz[2];
        if (Y <= 0.0032900000000000004) {
            o[0] = o[1] = o[2] = 0.0f;
            return;
        }
        const double L = 116.0 * std::pow(Y * 3.03951367781155, 0.3333333432674408) - 16.0;
        const double inv = 1.0 / (X + 15.0 * Y + 3.0 * Z);
        const double u = 4.0 * X * inv, v = 9.0 * Y * inv;
        o[0] = float(L);
        o[1] = float(13.0 * L * (u - kU0));
        o[2] = float(13.0 * L * (v - kV0));
    }
};

struct LuvToRgb {
    void operator()(float l, float uu, float vv, float* o) const {
        const double t = (double(l) + 16.0) * 0.008620689623057842;
        const double Y = double(0.329f) * (t * t * t);
        double L = l;
        if (std::fabs(L) < 9.999999747378752e-06) L = 9.999999747378752e-06;
        const double u = double(uu) / (13.0 * L) + kU0;
        const double v = double(vv) / (13.0 * L) + kV0;
        const double X = 9.0 * Y * u / (4.0 * v);
        const double Z = X * (4.0 / (3.0 * u) - 0.33333298563957214) - 5.0 * Y;
        for (int k = 0; k < 3; ++k) {
            const float* m = kXyzF[3 + k];
            const double c = double(m[0]) * X + double(m[1]) * Y + double(m[2]) * Z;
            o[k] = float(c < 0.0 ? 0.0 : c);
        }
    }
};

// ---------------------------------------------------------------------
// Three-byte pixels at 8 bits go through the family's table.

template <class F, class Out>
void packed8(const uint8_t* s, uint8_t* d, size_t n, bool bgr, const F& f) {
    const int ri = bgr ? 2 : 0, bi = 2 - ri;
    for (size_t i = 0; i < n; ++i, s += 3, d += 3) {
        Out o[3];
        f(s[ri], s[1], s[bi], o);
        std::memcpy(d, o, 3);
    }
}

// True when the rows went through run: a source of three channels in pixel
// order (the destination always has three).
bool tableRows(const ZolImage* s, const ColourPiece& p, Conv8Run run) {
    if (s->dataOrder != ZOL_DATA_ORDER_PIXEL || s->nChannels != 3) return false;
    for (int y = 0; y < p.height; ++y)
        run(reinterpret_cast<const uint8_t*>(p.src + y * p.srcStep),
            reinterpret_cast<uint8_t*>(p.dst + y * p.dstStep), size_t(p.width), s->channelSeq[0] != 'R');
    return true;
}

// ---------------------------------------------------------------------
// Kernels: one per conversion, dispatching on the source depth.

constexpr char kHsvName[4] = "HSV", kHlsName[4] = "HLS", kXyzName[4] = "XYZ",
               kYuvName[4] = "YUV", kYcrName[4] = "YCr", kLuvName[4] = "LUV";

void ownRGB2HSV(void*, const ZolImage* s, ZolImage* d, const ColourPiece& p) {
    writeModel(d, kHsvName);
    switch (s->depth) {
        case ZOL_DEPTH_8U:
            if (tableRows(s, p, colourKernels().hsv8)) return;
            return fromRgb<uint8_t, uint8_t>(s, d, p, RgbToHsv<uint8_t, 255>());
        case ZOL_DEPTH_16U: return fromRgb<uint16_t, uint16_t>(s, d, p, RgbToHsv<uint16_t, 65535>());
        case ZOL_DEPTH_32S: return fromRgb<int32_t, int32_t>(s, d, p, RgbToHsv<int32_t, 2147483647>());
        default: depthFault("ownRGB2HSV", kHsvDepths);
    }
}

void ownHSV2RGB(void*, const ZolImage* s, ZolImage* d, const ColourPiece& p) {
    switch (s->depth) {
        case ZOL_DEPTH_8U:
            if (s->dataOrder == ZOL_DATA_ORDER_PIXEL && s->nChannels == 3) {
                const Conv8Run run = colourKernels().hsvBack8;
                for (int y = 0; y < p.height; ++y)
                    run(reinterpret_cast<const uint8_t*>(p.src + y * p.srcStep),
                        reinterpret_cast<uint8_t*>(p.dst + y * p.dstStep), size_t(p.width), d->channelSeq[0] != 'R');
                return;
            }
            return toRgb<uint8_t, uint8_t>(s, d, p, HsvToRgb8());
        case ZOL_DEPTH_16U: return toRgb<uint16_t, uint16_t>(s, d, p, HsvToRgbWide<uint16_t, 65535>());
        case ZOL_DEPTH_32S: return toRgb<int32_t, int32_t>(s, d, p, HsvToRgbWide<int32_t, 2147483647>());
        default: depthFault("ownHSV2RGB", kHsvDepths);
    }
}

void ownRGB2HLS(void*, const ZolImage* s, ZolImage* d, const ColourPiece& p) {
    writeModel(d, kHlsName);
    switch (s->depth) {
        case ZOL_DEPTH_8U: return fromRgb<uint8_t, uint8_t>(s, d, p, RgbToHls<uint8_t, 255>());
        case ZOL_DEPTH_16U: return fromRgb<uint16_t, uint16_t>(s, d, p, RgbToHls<uint16_t, 65535>());
        case ZOL_DEPTH_32S: return fromRgb<int32_t, int32_t>(s, d, p, RgbToHls<int32_t, 2147483647>());
        default: depthFault("ownRGB2HLS", kHsvDepths);
    }
}

void ownHLS2RGB(void*, const ZolImage* s, ZolImage* d, const ColourPiece& p) {
    switch (s->depth) {
        case ZOL_DEPTH_8U: return toRgb<uint8_t, uint8_t>(s, d, p, HlsToRgb8());
        case ZOL_DEPTH_16U:
            return toRgb<uint16_t, uint16_t>(s, d, p, HlsToRgbWide<uint16_t, 65535, 0x7fff>());
        case ZOL_DEPTH_32S:
            return toRgb<int32_t, int32_t>(s, d, p, HlsToRgbWide<int32_t, 2147483647, 0x3fffffff>());
        default: depthFault("ownHLS2RGB", kHsvDepths);
    }
}

void ownRGB2XYZ(void*, const ZolImage* s, ZolImage* d, const ColourPiece& p) {
    writeModel(d, kXyzName);
    switch (s->depth) {
        case ZOL_DEPTH_8U:
            if (tableRows(s, p, colourKernels().xyz8)) return;
            return fromRgb<uint8_t, uint8_t>(s, d, p, XyzFix<uint8_t, int32_t, 255, false>());
        case ZOL_DEPTH_16U: return fromRgb<uint16_t, uint16_t>(s, d, p, XyzFix<uint16_t, int32_t, 65535, false>());
        case ZOL_DEPTH_32S: return fromRgb<int32_t, int32_t>(s, d, p, XyzS<false>());
        case ZOL_DEPTH_32F: return fromRgb<float, float>(s, d, p, XyzF<false>());
        default: depthFault("ownRGB2XYZ", kLinDepths);
    }
}

void ownXYZ2RGB(void*, const ZolImage* s, ZolImage* d, const ColourPiece& p) {
    switch (s->depth) {
        case ZOL_DEPTH_8U: return toRgb<uint8_t, uint8_t>(s, d, p, XyzFix<uint8_t, int32_t, 255, true>());
        case ZOL_DEPTH_16U: return toRgb<uint16_t, uint16_t>(s, d, p, XyzFix<uint16_t, int64_t, 65535, true>());
        case ZOL_DEPTH_32S: return toRgb<int32_t, int32_t>(s, d, p, XyzS<true>());
        case ZOL_DEPTH_32F: return toRgb<float, float>(s, d, p, XyzF<true>());
        default: depthFault("ownXYZ2RGB", kLinDepths);
    }
}

void ownRGB2YUV(void*, const ZolImage* s, ZolImage* d, const ColourPiece& p) {
    writeModel(d, kYuvName);
    switch (s->depth) {
        case ZOL_DEPTH_8U:
            if (tableRows(s, p, colourKernels().yuv8)) return;
            return fromRgb<uint8_t, int8_t>(s, d, p, RgbToYuvFix<uint8_t, int8_t, -128, 127>());
        case ZOL_DEPTH_16U:
            return fromRgb<uint16_t, int16_t>(s, d, p, RgbToYuvFix<uint16_t, int16_t, -32768, 32767>());
        case ZOL_DEPTH_32S: return fromRgb<int32_t, int32_t>(s, d, p, RgbToYuvS());
        case ZOL_DEPTH_32F: return fromRgb<float, float>(s, d, p, RgbToYuvF());
        default: depthFault("ownRGB2YUV", kYuvDepths);
    }
}

void ownYUV2RGB(void*, const ZolImage* s, ZolImage* d, const ColourPiece& p) {
    switch (s->depth) {
        case ZOL_DEPTH_8S: return toRgb<int8_t, uint8_t>(s, d, p, YuvToRgbFix<int8_t, uint8_t, 255>());
        case ZOL_DEPTH_16S:
            return toRgb<int16_t, uint16_t>(s, d, p, YuvToRgbFix<int16_t, uint16_t, 65535>());
        case ZOL_DEPTH_32S: return toRgb<int32_t, int32_t>(s, d, p, YuvToRgbS());
        case ZOL_DEPTH_32F: return toRgb<float, float>(s, d, p, YuvToRgbF());
        default: depthFault("ownYUV2RGB", kYuvDepths);
    }
}

void ownRGB2YCrCb(void*, const ZolImage* s, ZolImage* d, const ColourPiece& p) {
    writeModel(d, kYcrName);
    switch (s->depth) {
        case ZOL_DEPTH_8U:
            if (tableRows(s, p, colourKernels().ycc8)) return;
            return fromRgb<uint8_t, uint8_t>(s, d, p, RgbToYcc8());
        case ZOL_DEPTH_16U: return fromRgb<uint16_t, uint16_t>(s, d, p, RgbToYcc16());
        case ZOL_DEPTH_32S: return fromRgb<int32_t, int32_t>(s, d, p, RgbToYccS());
        case ZOL_DEPTH_32F: return fromRgb<float, float>(s, d, p, RgbToYccF());
        default: depthFault("ownRGB2YCrCb", kLinDepths);
    }
}

void ownYCrCb2RGB(void*, const ZolImage* s, ZolImage* d, const ColourPiece& p) {
    switch (s->depth) {
        case ZOL_DEPTH_8U:
            return toRgb<uint8_t, uint8_t>(
                s, d, p, YccToRgbFix<uint8_t, 255, 2928675, 2210595, 3701580>());
        case ZOL_DEPTH_16U:
            return toRgb<uint16_t, uint16_t>(
                s, d, p, YccToRgbFix<uint16_t, 65535, 752669475, 568122915, 951306060>());
        case ZOL_DEPTH_32S: return toRgb<int32_t, int32_t>(s, d, p, YccToRgbS());
        case ZOL_DEPTH_32F: return toRgb<float, float>(s, d, p, YccToRgbF());
        default: depthFault("ownYCrCb2RGB", kLinDepths);
    }
}

void ownYCC2RGB(void*, const ZolImage* s, ZolImage* d, const ColourPiece& p) {
    if (s->depth == ZOL_DEPTH_8U) return toRgb<uint8_t, uint8_t>(s, d, p, PhotoYccToRgb());
    depthFault("ownYCC2RGB", kYccDepths);
}

void ownRGB2LUV(void*, const ZolImage* s, ZolImage* d, const ColourPiece& p) {
    writeModel(d, kLuvName);
    if (s->depth == ZOL_DEPTH_32F) return fromRgb<float, float>(s, d, p, RgbToLuv());
    depthFault("ownRGB2LUV", kLuvDepths);
}

void ownLUV2RGB(void*, const ZolImage* s, ZolImage* d, const ColourPiece& p) {
    if (s->depth == ZOL_DEPTH_32F) return toRgb<float, float>(s, d, p, LuvToRgb());
    depthFault("ownLUV2RGB", kLuvDepths);
}

void fromRgbCall(const char* func, ZolImage* src, ZolImage* dst, ColourKernel k,
                 bool checkDepth = true) {
    Frame f(func);
    if (!colourFromRgbChecks(f, src, dst, checkDepth)) return;
    ownColourWalk(f, src, dst, k, nullptr);
}

void toRgbCall(const char* func, ZolImage* src, ZolImage* dst, const char* name, ColourKernel k,
               bool checkDepth = true) {
    Frame f(func);
    if (!colourToRgbChecks(f, src, dst, name, checkDepth)) return;
    ownColourWalk(f, src, dst, k, nullptr);
}

}  // namespace

namespace plain {
void yuv8(const uint8_t* s, uint8_t* d, size_t n, bool bgr) {
    packed8<RgbToYuvFix<uint8_t, int8_t, -128, 127>, int8_t>(s, d, n, bgr, {});
}
void xyz8(const uint8_t* s, uint8_t* d, size_t n, bool bgr) {
    packed8<XyzFix<uint8_t, int32_t, 255, false>, uint8_t>(s, d, n, bgr, {});
}
void hsv8(const uint8_t* s, uint8_t* d, size_t n, bool bgr) {
    packed8<RgbToHsv<uint8_t, 255>, uint8_t>(s, d, n, bgr, {});
}
void hsvBack8(const uint8_t* s, uint8_t* d, size_t n, bool bgr) {
    const int ri = bgr ? 2 : 0, bi = 2 - ri;
    for (size_t i = 0; i < n; ++i, s += 3, d += 3) {
        uint8_t o[3];
        HsvToRgb8()(s[0], s[1], s[2], o);
        d[ri] = o[0], d[1] = o[1], d[bi] = o[2];
    }
}
}  // namespace plain
}  // namespace zol

using namespace zol;

ZOL_API void zolRGB2HSV(ZolImage* src, ZolImage* dst) { fromRgbCall("zolRGB2HSV", src, dst, ownRGB2HSV); }
ZOL_API void zolHSV2RGB(ZolImage* src, ZolImage* dst) { toRgbCall("zolHSV2RGB", src, dst, "HSV", ownHSV2RGB); }
ZOL_API void zolRGB2HLS(ZolImage* src, ZolImage* dst) { fromRgbCall("zolRGB2HLS", src, dst, ownRGB2HLS); }
ZOL_API void zolHLS2RGB(ZolImage* src, ZolImage* dst) { toRgbCall("zolHLS2RGB", src, dst, "HLS", ownHLS2RGB); }
ZOL_API void zolRGB2XYZ(ZolImage* src, ZolImage* dst) { fromRgbCall("zolRGB2XYZ", src, dst, ownRGB2XYZ); }
ZOL_API void zolXYZ2RGB(ZolImage* src, ZolImage* dst) { toRgbCall("zolXYZ2RGB", src, dst, "XYZ", ownXYZ2RGB); }
ZOL_API void zolRGB2YUV(ZolImage* src, ZolImage* dst) { fromRgbCall("zolRGB2YUV", src, dst, ownRGB2YUV, false); }
ZOL_API void zolYUV2RGB(ZolImage* src, ZolImage* dst) { toRgbCall("zolYUV2RGB", src, dst, "YUV", ownYUV2RGB, false); }
ZOL_API void zolRGB2YCrCb(ZolImage* src, ZolImage* dst) { fromRgbCall("zolRGB2YCrCb", src, dst, ownRGB2YCrCb); }
ZOL_API void zolYCrCb2RGB(ZolImage* src, ZolImage* dst) { toRgbCall("zolYCrCb2RGB", src, dst, "YCr", ownYCrCb2RGB); }
ZOL_API void zolYCC2RGB(ZolImage* src, ZolImage* dst) { toRgbCall("zolYCC2RGB", src, dst, "YCC", ownYCC2RGB); }
ZOL_API void zolRGB2LUV(ZolImage* src, ZolImage* dst) { fromRgbCall("zolRGB2LUV", src, dst, ownRGB2LUV); }
ZOL_API void zolLUV2RGB(ZolImage* src, ZolImage* dst) { toRgbCall("zolLUV2RGB", src, dst, "LUV", ownLUV2RGB); }
