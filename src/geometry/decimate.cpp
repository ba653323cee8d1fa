// zolDecimate: reduction with positions in 1/256 pixel, and the only
// area-averaging route. Its rounding is its own: linear weights of 8 bits
// on q = p - 1 with ((v >> 15) + 1) >> 1, cubic in extended precision cut
// toward zero, area with fractional edge weights.
#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>

#include "core/border.h"
#include "core/image.h"
#include "core/messages.h"
#include "core/rect.h"
#include "core/report.h"

namespace zol {
namespace {

constexpr int kNN = ZOL_INTER_NN, kLinear = ZOL_INTER_LINEAR, kCubic = ZOL_INTER_CUBIC,
              kSuper = ZOL_INTER_SUPER;

struct DecChans {
    int first, n;
};

// nChannels less alpha; a coi counts 1 if it lies within that, else 0.
DecChans decChans(const ZolImage* im) {
    const int count = im->nChannels - (im->alphaChannel ? 1 : 0);
    const int coi = im->roi ? im->roi->coi : 0;
    if (coi > 0) return {coi - 1, coi <= count ? 1 : 0};
    return {0, count};
}

struct Dec {
    ZolImage* src;
    ZolImage* dst;
    int mode;
    bool xWhole, yWhole;
    int64_t xStep, yStep, x0, y0;
    int outW, outH;
    DecChans cs, cd;
    ownRect rs, rd;
};

// The source samples of a piece: image pixel (x, y), clamped to the
// image, lies at (x - bx, y - by) of the block.
struct Block {
    const uint8_t* data;
    ptrdiff_t step, plane;
    int bx, by, W, H;
};

// The Lagrange cubic through a, b, c, d at r - 1 .. r + 2, at t in [0, 1).
inline long double lagrange(long double a, long double b, long double c, long double d,
                            long double t) {
    const long double P = (d - a) + 3 * (b - c);
    const long double R = 3 * (a + c) - 6 * b;
    const long double Q = ((-2 * a - 3 * b) + 6 * c) - d;
    const long double t2 = t * t, t3 = t2 * t;
    return (((P * t3 + R * t2) + Q * t) + 6 * b) * 0.1666666716337204L;
}

// v cut toward zero, then clamped to the depth's range; a cast cuts.
template <class T, class F>
inline T cutClamp(F v) {
    const F hi = sizeof(T) == 1 ? 255 : 65535;
    if (!(v > F(-1))) return 0;
    if (v >= hi + 1) return T(hi);
    return T(int32_t(v));
}

// Reads of one channel of the block, clamped to the image.
template <class T>
struct Reader {
    const uint8_t* base;  // the channel's first element in the block
    ptrdiff_t step;
    int pix, bx, by, W, H;
    unsigned operator()(int64_t x, int64_t y) const {
        x = std::clamp<int64_t>(x, 0, W - 1);
        y = std::clamp<int64_t>(y, 0, H - 1);
        T v;
        std::memcpy(&v, base + (y - by) * step + (x - bx) * pix * ptrdiff_t(sizeof(T)), sizeof v);
        return v;
    }
};

struct BitReader {
    const uint8_t* base;
    ptrdiff_t step;
    int bx, by, W, H;
    int64_t operator()(int64_t x, int64_t y) const {
        x = std::clamp<int64_t>(x, 0, W - 1);
        y = std::clamp<int64_t>(y, 0, H - 1);
        return bitAt(base + (y - by) * step, x - bx);
    }
};

// The kernels on one position (px, py); S reads a sample.
template <class S>
unsigned linearAlongX(const S& s, int64_t px, int64_t py) {
    const int64_t row = py >> 8;
    if (px == 0) return s(0, row);
    const int64_t q = px - 1, r = q >> 8;
    const unsigned f = unsigned(q & 255);
    const uint32_t v = (256 - f) * s(r, row) + f * s(r + 1, row);
    return ((v >> 7) + 1) >> 1;
}
template <class S>
unsigned linearAlongY(const S& s, int64_t px, int64_t py) {
    const int64_t col = px >> 8;
    if (py == 0) return s(col, 0);
    const int64_t q = py - 1, r = q >> 8;
    const unsigned f = unsigned(q & 255);
    const uint32_t v = (256 - f) * s(col, r) + f * s(col, r + 1);
    return ((v >> 7) + 1) >> 1;
}
template <class S>
unsigned linearBoth(const S& s, int64_t px, int64_t py) {
    if (py == 0) return linearAlongX(s, px, py);
    if (px == 0) return linearAlongY(s, px, py);
    const int64_t qx = px - 1, rx = qx >> 8, qy = py - 1, ry = qy >> 8;
    const unsigned fx = unsigned(qx & 255), fy = unsigned(qy & 255);
    auto h = [&](int64_t row) { return (256 - fx) * s(rx, row) + fx * s(rx + 1, row); };
    // A 16-bit sum reaches 32 bits; unsigned arithmetic keeps the low 16
    // bits of the result as the signed form does.
    const uint32_t v = (256 - fy) * h(ry) + fy * h(ry + 1);
    return ((v >> 15) + 1) >> 1;
}

template <class T, class S>
T cubicAlongX(const S& s, int64_t px, int64_t py) {
    const int64_t row = py >> 8;
    if (px == 0) return T(s(0, row));
    const int64_t q = px - 1, r = q >> 8;
    const long double t = (q & 255) * 0.00390625L;
    return cutClamp<T>(lagrange(s(r - 1, row), s(r, row), s(r + 1, row), s(r + 2, row), t));
}
template <class T, class S>
T cubicAlongY(const S& s, int64_t px, int64_t py) {
    const int64_t col = px >> 8;
    if (py == 0) return T(s(col, 0));
    const int64_t q = py - 1, r = q >> 8;
    const long double t = (q & 255) * 0.00390625L;
    return cutClamp<T>(lagrange(s(col, r - 1), s(col, r), s(col, r + 1), s(col, r + 2), t));
}
template <class T, class S>
T cubicBoth(const S& s, int64_t px, int64_t py) {
    if (py == 0) return cubicAlongX<T>(s, px, py);
    if (px == 0) return cubicAlongY<T>(s, px, py);
    const int64_t qx = px - 1, rx = qx >> 8, qy = py - 1, ry = qy >> 8;
    const long double tx = (qx & 255) * 0.00390625L, ty = (qy & 255) * 0.00390625L;
    long double v[4];
    for (int k = 0; k < 4; ++k) {
        const int64_t row = ry - 1 + k;
        v[k] = lagrange(s(rx - 1, row), s(rx, row), s(rx + 1, row), s(rx + 2, row), tx);
    }
    return cutClamp<T>(lagrange(v[0], v[1], v[2], v[3], ty));
}

// The weighted sum of the box at (px, py) of xStep x yStep position units:
// inner samples count 256, edges their weights, corners the product of two
// weights over 256, cut.
template <class S>
int64_t areaSum(const S& s, int64_t px, int64_t py, int64_t xStep, int64_t yStep) {
    const int64_t top = py >> 8, bottom = (py + yStep) >> 8;
    const int64_t left = px >> 8, right = (px + xStep) >> 8;
    const int64_t wTop = 256 - (py & 255), wBottom = (py + yStep) & 255;
    const int64_t wLeft = 256 - (px & 255), wRight = (px + xStep) & 255;
    int64_t sum = 0;
    for (int64_t y = top + 1; y < bottom; ++y) {
        for (int64_t x = left + 1; x < right; ++x) sum += s(x, y) * 256;
        sum += s(left, y) * wLeft;
        if (wRight) sum += s(right, y) * wRight;
    }
    for (int64_t x = left + 1; x < right; ++x) {
        sum += s(x, top) * wTop;
        if (wBottom) sum += s(x, bottom) * wBottom;
    }
    sum += (s(left, top) * wTop * wLeft) >> 8;
    if (wRight) sum += (s(right, top) * wTop * wRight) >> 8;
    if (wBottom) sum += (s(left, bottom) * wBottom * wLeft) >> 8;
    if (wRight && wBottom) sum += (s(right, bottom) * wBottom * wRight) >> 8;
    return sum;
}

// The destination piece at written (ox, oy), pw x ph, row 0 at drow with
// 1U pixels from bit dbit.
struct Piece {
    uint8_t* data;
    ptrdiff_t step, plane;
    int64_t dbit;
    int ox, oy, pw, ph;
};

// Runs f(px, py) -> sample over the piece, writing each result.
template <class T, class F>
void fill(const Dec& d, const Piece& p, int channel, F&& f) {
    const bool pixelOrder = d.dst->dataOrder == ZOL_DATA_ORDER_PIXEL;
    const int dpix = pixelOrder ? d.dst->nChannels : 1;
    const int dc = d.cd.first + channel;
    uint8_t* base = p.data + (pixelOrder ? dc * ptrdiff_t(sizeof(T)) : dc * p.plane);
    for (int y = 0; y < p.ph; ++y) {
        const int64_t py = d.y0 + int64_t(p.oy + y) * d.yStep;
        uint8_t* row = base + ptrdiff_t(y) * p.step;
        int64_t px = d.x0 + int64_t(p.ox) * d.xStep;
        for (int x = 0; x < p.pw; ++x, px += d.xStep) {
            const T v = T(f(px, py));
            std::memcpy(row + ptrdiff_t(x) * dpix * ptrdiff_t(sizeof(T)), &v, sizeof v);
        }
    }
}

// Area averaging a row of boxes at a time. Per destination row, each
// source column gets its sum over the box's inner rows and its weighted
// column sum; a box adds up the weighted sums of its middle columns, and
// its left and right columns and corners apart. 8U keeps the corners' cut products; 16U works in units
// of 1/65536, in which its fractional weights are exact, and converts once.
template <class T>
void areaRows(const Dec& d, const Block& b, const Piece& p) {
    const bool pixelOrder = d.src->dataOrder == ZOL_DATA_ORDER_PIXEL;
    const int pix = pixelOrder ? d.src->nChannels : 1, planes = pixelOrder ? 1 : d.cs.n;
    const int dpix = pixelOrder ? d.dst->nChannels : 1;
    const int64_t px0 = d.x0 + int64_t(p.ox) * d.xStep;
    const int cols = int(((px0 + int64_t(p.pw) * d.xStep) >> 8) - (px0 >> 8)) + 1;
    const int64_t xl = px0 >> 8;  // first column of the first box
    const int64_t n = int64_t(cols + 1) * pix;
    struct Arrays {
        int64_t *inner, *col;
        ~Arrays() { zolFree(inner); }
    } a{static_cast<int64_t*>(n * 16 <= INT_MAX ? zolMalloc(int(n * 16)) : nullptr), nullptr};
    if (!a.inner) {
        report(ZOL_STATUS_NO_MEMORY, msg::kDecimate, msg::kOutOfMemory);
        return;
    }
    a.col = a.inner + n;
    const double box = double(d.xStep) * double(d.yStep);
    for (int pl = 0; pl < planes; ++pl) {
        const uint8_t* base = b.data + (pixelOrder ? 0 : (d.cs.first + pl) * b.plane);
        // Element e of source row y, e counted from column xl; columns past
        // the image are never weighted, so they read as 0.
        const int64_t have = std::min<int64_t>(cols, b.bx + int64_t(b.W) - xl) * pix;
        auto row = [&](int64_t y) {
            return reinterpret_cast<const T*>(base + (y - b.by) * b.step) + (xl - b.bx) * pix;
        };
        for (int y = 0; y < p.ph; ++y) {
            const int64_t py = d.y0 + int64_t(p.oy + y) * d.yStep;
            const int64_t top = py >> 8, bottom = (py + d.yStep) >> 8;
            const int64_t wTop = 256 - (py & 255), wBottom = (py + d.yStep) & 255;
            if (bottom - top < 2) std::fill(a.inner, a.inner + n, 0);
            for (int64_t r = top + 1; r < bottom; ++r) {
                const T* s = row(r);
                if (r == top + 1) std::copy(s, s + have, a.inner);
                else for (int64_t e = 0; e < have; ++e) a.inner[e] += s[e];
            }
            const T* st = row(top);
            const T* sb = wBottom ? row(bottom) : st;
            for (int64_t e = 0; e < have; ++e)
                a.col[e] = a.inner[e] * 256 + st[e] * wTop + (wBottom ? sb[e] * wBottom : 0);
            for (int64_t e = have; e < n; ++e) a.col[e] = 0;
            uint8_t* drow = p.data + ptrdiff_t(y) * p.step +
                            (pixelOrder ? d.cd.first * ptrdiff_t(sizeof(T)) : (d.cd.first + pl) * p.plane);
            int64_t px = px0;
            for (int x = 0; x < p.pw; ++x, px += d.xStep) {
                const int64_t left = (px >> 8) - xl, right = ((px + d.xStep) >> 8) - xl;
                const int64_t wLeft = 256 - (px & 255), wRight = (px + d.xStep) & 255;
                for (int c = 0; c < (pixelOrder ? d.cs.n : 1); ++c) {
                    const int64_t el = left * pix + (pixelOrder ? d.cs.first + c : 0);
                    const int64_t er = right * pix + (pixelOrder ? d.cs.first + c : 0);
                    int64_t mid = 0;
                    for (int64_t e = el + pix; e < er; e += pix) mid += a.col[e];
                    double v;
                    if (sizeof(T) == 2) {
                        const int64_t w = 256 * mid + wLeft * a.col[el] + (wRight ? wRight * a.col[er] : 0);
                        v = double(w) / 65536.0 * (65536.0 / box) + 0.5;
                    } else {
                        int64_t w = mid + a.inner[el] * wLeft + ((st[el] * wTop * wLeft) >> 8);
                        if (wBottom) w += (sb[el] * wBottom * wLeft) >> 8;
                        if (wRight) {
                            w += a.inner[er] * wRight + ((st[er] * wTop * wRight) >> 8);
                            if (wBottom) w += (sb[er] * wBottom * wRight) >> 8;
                        }
                        v = double(w) * (256.0 / box) + 0.5;
                    }
                    const T out = cutClamp<T>(v);
                    std::memcpy(drow + (ptrdiff_t(x) * dpix + c) * ptrdiff_t(sizeof(T)), &out, sizeof out);
                }
            }
        }
    }
}

// Area averaging by whole factors: every weight is 256, so a box is the
// plain sum of kx x ky samples, taken as column sums over ky rows first.
// The final step is the same double arithmetic as in the general case.
template <class T>
void areaWhole(const Dec& d, const Block& b, const Piece& p) {
    const bool pixelOrder = d.src->dataOrder == ZOL_DATA_ORDER_PIXEL;
    const int pix = pixelOrder ? d.src->nChannels : 1, planes = pixelOrder ? 1 : d.cs.n;
    const int dpix = pixelOrder ? d.dst->nChannels : 1, nc = pixelOrder ? d.cs.n : 1;
    const int64_t kx = d.xStep >> 8, ky = d.yStep >> 8;
    const int64_t xl = (d.x0 >> 8) + int64_t(p.ox) * kx;
    const int64_t n = int64_t(p.pw) * kx * pix;
    // Column sums, then the box sums of one channel.
    uint32_t* col = static_cast<uint32_t*>(n * 8 + 16 <= INT_MAX ? zolMalloc(int(n * 8 + 16)) : nullptr);
    if (!col) {
        report(ZOL_STATUS_NO_MEMORY, msg::kDecimate, msg::kOutOfMemory);
        return;
    }
    // 8U weighs a sample 256 and scales by 256 / box, 16U weighs it 1 and
    // scales by 65536 / box; both are the sum times g, rounded once.
    const double g = 65536.0 / (double(d.xStep) * double(d.yStep));
    const int64_t kk = kx * ky;
    const bool pow2 = (kk & (kk - 1)) == 0;
    const int shift = __builtin_ctzll(uint64_t(kk));
    for (int pl = 0; pl < planes; ++pl) {
        const uint8_t* base = b.data + (pixelOrder ? 0 : (d.cs.first + pl) * b.plane);
        for (int y = 0; y < p.ph; ++y) {
            const int64_t top = (d.y0 >> 8) + int64_t(p.oy + y) * ky;
            for (int64_t r = 0; r < ky; ++r) {
                const T* __restrict s =
                    reinterpret_cast<const T*>(base + (top + r - b.by) * b.step) + (xl - b.bx) * pix;
                uint32_t* __restrict c = col;
                if (r == 0) for (int64_t e = 0; e < n; ++e) c[e] = s[e];
                else for (int64_t e = 0; e < n; ++e) c[e] += s[e];
            }
            uint8_t* drow = p.data + ptrdiff_t(y) * p.step +
                            (pixelOrder ? d.cd.first * ptrdiff_t(sizeof(T)) : (d.cd.first + pl) * p.plane);
            if (pow2 && kx == 2 && pix == 3 && nc == 3 && dpix == 3) {
                // Three-channel pixels on both sides: all channels in one pass.
                const uint32_t* __restrict src = col;
                T* __restrict out = reinterpret_cast<T*>(drow);
                const uint32_t halfBox = uint32_t(kk >> 1);
                for (int x = 0; x < p.pw; ++x, src += 6, out += 3) {
                    out[0] = T((src[0] + src[3] + halfBox) >> shift);
                    out[1] = T((src[1] + src[4] + halfBox) >> shift);
                    out[2] = T((src[2] + src[5] + halfBox) >> shift);
                }
                continue;
            }
            for (int c = 0; c < nc; ++c) {
                const uint32_t* __restrict src = col + (pixelOrder ? d.cs.first + c : 0);
                uint32_t* __restrict sum = col + n;
                const int pw = p.pw;
                if (kx == 2 && pix == 1) {
                    for (int x = 0; x < pw; ++x) sum[x] = src[2 * x] + src[2 * x + 1];
                } else if (kx == 2) {
                    for (int x = 0; x < pw; ++x) sum[x] = src[2 * x * pix] + src[(2 * x + 1) * pix];
                } else {
                    for (int x = 0; x < pw; ++x) {
                        uint32_t t = 0;
                        for (int64_t k = 0; k < kx; ++k) t += src[(x * kx + k) * pix];
                        sum[x] = t;
                    }
                }
                // The mean of samples cannot pass the range: the cast alone cuts.
                // Sums stay below 2^31, so they convert as signed numbers.
                T* __restrict out = reinterpret_cast<T*>(drow) + c;
                const int32_t* __restrict ssum = reinterpret_cast<const int32_t*>(sum);
                if (pow2 && dpix == 1) {
                    // A box of 2^k samples: the double steps are exact, and
                    // equal a rounding shift.
                    const int32_t halfBox = int32_t(kk >> 1);
                    for (int x = 0; x < pw; ++x) out[x] = T((ssum[x] + halfBox) >> shift);
                } else if (pow2) {
                    const int32_t halfBox = int32_t(kk >> 1);
                    for (int x = 0; x < pw; ++x) out[ptrdiff_t(x) * dpix] = T((ssum[x] + halfBox) >> shift);
                } else if (dpix == 1) {
                    for (int x = 0; x < pw; ++x) out[x] = T(int32_t(double(ssum[x]) * g + 0.5));
                } else {
                    for (int x = 0; x < pw; ++x) out[ptrdiff_t(x) * dpix] = T(int32_t(double(ssum[x]) * g + 0.5));
                }
            }
        }
    }
    zolFree(col);
}

template <class T>
void runPiece(const Dec& d, const Block& b, const Piece& p) {
    // Whole factors whose box sums fit 31 bits take the plain sums.
    if (d.mode == kSuper && !(d.xStep & 255) && !(d.yStep & 255) &&
        (d.xStep >> 8) * (d.yStep >> 8) <= 32768)
        return areaWhole<T>(d, b, p);
    if (d.mode == kSuper) return areaRows<T>(d, b, p);
    const bool pixelOrder = d.src->dataOrder == ZOL_DATA_ORDER_PIXEL;
    for (int c = 0; c < d.cs.n; ++c) {
        const int sc = d.cs.first + c;
        const Reader<T> s{b.data + (pixelOrder ? sc * ptrdiff_t(sizeof(T)) : sc * b.plane), b.step,
                          pixelOrder ? d.src->nChannels : 1, b.bx, b.by, b.W, b.H};
        switch (d.mode) {
            case kNN: fill<T>(d, p, c, [&](int64_t px, int64_t py) { return s(px >> 8, py >> 8); }); break;
            case kLinear:
                if (d.xWhole) fill<T>(d, p, c, [&](int64_t px, int64_t py) { return linearAlongY(s, px, py); });
                else if (d.yWhole) fill<T>(d, p, c, [&](int64_t px, int64_t py) { return linearAlongX(s, px, py); });
                else fill<T>(d, p, c, [&](int64_t px, int64_t py) { return linearBoth(s, px, py); });
                break;
            case kCubic:
                if (d.xWhole) fill<T>(d, p, c, [&](int64_t px, int64_t py) { return cubicAlongY<T>(s, px, py); });
                else if (d.yWhole) fill<T>(d, p, c, [&](int64_t px, int64_t py) { return cubicAlongX<T>(s, px, py); });
                else fill<T>(d, p, c, [&](int64_t px, int64_t py) { return cubicBoth<T>(s, px, py); });
                break;
            default: break;
        }
    }
}

void runBits(const Dec& d, const Block& b, const Piece& p) {
    const BitReader s{b.data, b.step, b.bx, b.by, b.W, b.H};
    for (int y = 0; y < p.ph; ++y) {
        const int64_t py = d.y0 + int64_t(p.oy + y) * d.yStep;
        uint8_t* row = p.data + ptrdiff_t(y) * p.step;
        int64_t px = d.x0 + int64_t(p.ox) * d.xStep;
        for (int x = 0; x < p.pw; ++x, px += d.xStep) {
            unsigned v;
            if (d.mode == kSuper) {
                // A mean of one half or more rounds to 1.
                const int64_t w = areaSum(s, px, py, d.xStep, d.yStep);
                v = unsigned(int64_t(double(w) * (256.0 / (double(d.xStep) * double(d.yStep))) + 0.5) & 1);
            } else {
                v = s(px >> 8, py >> 8);
            }
            setBitAt(row, p.dbit + x, int(v));
        }
    }
}

// The source rows (or columns) a run of n positions from p0 may read.
void span(int64_t p0, int64_t n, int64_t step, int extent, int& lo, int& hi) {
    const int64_t first = ((p0 - 1) >> 8) - 1;
    const int64_t last = ((p0 + (n - 1) * step + step) >> 8) + 2;
    lo = int(std::clamp<int64_t>(first, 0, extent - 1));
    hi = int(std::clamp<int64_t>(last, 0, extent - 1));
}

Piece pieceAt(const ZolImage* im, char* base, ptrdiff_t step, ptrdiff_t planeRows, int x, int y) {
    Piece p{};
    p.step = step;
    p.plane = step * planeRows;
    p.data = reinterpret_cast<uint8_t*>(base) + ptrdiff_t(y) * step;
    const int b = elemSize(im->depth);
    if (b == 0) p.dbit = x;
    else p.data += ptrdiff_t(x) * b * (im->dataOrder == ZOL_DATA_ORDER_PIXEL ? im->nChannels : 1);
    return p;
}

// Walks the destination's tiles (bands when only the source is tiled) and
// runs the kernel on each piece. 1 when done, 0 after a report.
int decimateWalk(const Dec& d) {
    const char* func = msg::kDecimate;
    ZolImage* dst = d.dst;
    ZolImage* src = d.src;
    int cw = d.outW, ch = d.outH, gx = 0, gy = 0;
    if (dst->tileInfo) cw = dst->tileInfo->width, ch = dst->tileInfo->height, gx = d.rd.x, gy = d.rd.y;
    else if (src->tileInfo) cw = 512, ch = 64;
    for (int64_t top = int64_t(gy) / ch * ch; top < int64_t(gy) + d.outH; top += ch) {
        const int oy = int(std::max<int64_t>(top, gy) - gy);
        const int ph = int(std::min<int64_t>(top + ch, int64_t(gy) + d.outH) - gy) - oy;
        for (int64_t left = int64_t(gx) / cw * cw; left < int64_t(gx) + d.outW; left += cw) {
            const int ox = int(std::max<int64_t>(left, gx) - gx);
            const int pw = int(std::min<int64_t>(left + cw, int64_t(gx) + d.outW) - gx) - ox;
            const int col = int(left / cw), row = int(top / ch);
            Piece p;
            if (dst->tileInfo) {
                dst->tileInfo->callBack(dst, col, row, ZOL_TILE_WRITE);
                char* tile = static_cast<char*>(dst->tileInfo->tileData);
                if (!tile) {
                    report(ZOL_STATUS_INTERNAL, func, msg::kDecDstTile);
                    return 0;
                }
                p = pieceAt(dst, tile, ownTileStep(dst), dst->tileInfo->height,
                            d.rd.x + ox - int(left), d.rd.y + oy - int(top));
            } else {
                p = pieceAt(dst, dst->imageData, dst->widthStep, dst->height, d.rd.x + ox,
                            d.rd.y + oy);
            }
            p.ox = ox, p.oy = oy, p.pw = pw, p.ph = ph;
            Block b{reinterpret_cast<const uint8_t*>(src->imageData), src->widthStep,
                    ptrdiff_t(src->widthStep) * src->height, 0, 0, src->width, src->height};
            void* block = nullptr;
            if (src->tileInfo) {
                int xl, xh, yl, yh, stride = 0;
                span(d.x0 + ox * d.xStep, pw, d.xStep, src->width, xl, xh);
                span(d.y0 + oy * d.yStep, ph, d.yStep, src->height, yl, yh);
                block = ownGetRect(src, xl, yl, xh - xl + 1, yh - yl + 1, &stride);
                if (!block) {
                    if (dst->tileInfo) dst->tileInfo->callBack(dst, col, row, ZOL_TILE_RELEASE);
                    report(ZOL_STATUS_INTERNAL, func, msg::kDecSrcTile);
                    return 0;
                }
                b = Block{static_cast<const uint8_t*>(block), stride,
                          ptrdiff_t(stride) * (yh - yl + 1), xl, yl, src->width, src->height};
            }
            switch (dst->depth) {
                case ZOL_DEPTH_1U: runBits(d, b, p); break;
                case ZOL_DEPTH_8U: runPiece<uint8_t>(d, b, p); break;
                default: runPiece<uint16_t>(d, b, p);
            }
            zolFree(block);
            if (dst->tileInfo) dst->tileInfo->callBack(dst, col, row, ZOL_TILE_RELEASE);
            if (zolGetErrStatus() < 0) return 0;  // a scratch row could not be had
        }
    }
    return 1;
}

int ownDecimateEngine(ZolImage* src, ZolImage* dst, int xDst, int xSrc, int yDst, int ySrc,
                      int interpolate) {
    if (src->depth != ZOL_DEPTH_1U && src->depth != ZOL_DEPTH_8U && src->depth != ZOL_DEPTH_16U) {
        report(ZOL_STATUS_BAD_ARGUMENT, msg::kDecimate, msg::kDecDepth);
        return 0;
    }
    Dec d;
    d.src = src;
    d.dst = dst;
    d.xWhole = xSrc % xDst == 0;
    d.yWhole = ySrc % yDst == 0;
    int mode = interpolate;
    if (src->width < 4 || src->height < 4) mode = kNN;
    else if (mode != kSuper && d.xWhole && d.yWhole) mode = kNN;
    d.mode = mode;
    d.xStep = int64_t(double(xSrc) * 256.0 / double(xDst));
    d.yStep = int64_t(double(ySrc) * 256.0 / double(yDst));
    d.cs = decChans(src);
    d.cd = decChans(dst);
    ownRoiRect(src, &d.rs);
    ownRoiRect(dst, &d.rd);
    // Sizes in 64 bits: width * xDst overflows an int for large factors.
    d.outW = int(std::max<int64_t>(0, std::min<int64_t>(d.rd.width, int64_t(d.rs.width) * xDst / xSrc)));
    d.outH = int(std::max<int64_t>(0, std::min<int64_t>(d.rd.height, int64_t(d.rs.height) * yDst / ySrc)));
    d.x0 = 256 * int64_t(d.rs.x);
    d.y0 = 256 * int64_t(d.rs.y);
    if (mode == kNN && !d.yWhole) d.y0 += 128;
    if (mode == kNN && !d.xWhole) d.x0 += 128;
    if (mode == kCubic && !src->tileInfo) {
        // The last row or column whose samples would run out stays unwritten.
        if (!d.yWhole && d.y0 + d.yStep * d.outH + 1 > 256 * int64_t(src->height - 1)) --d.outH;
        if (!d.xWhole && d.x0 + d.xStep * d.outW + 1 > 256 * int64_t(src->width - 1)) --d.outW;
    }
    if (d.outW <= 0 || d.outH <= 0) return 1;
    return decimateWalk(d);
}

}  // namespace
}  // namespace zol

using namespace zol;

extern "C" {

ZOL_API int zolDecimate(ZolImage* srcImage, ZolImage* dstImage, int xDst, int xSrc, int yDst,
                        int ySrc, int interpolate) {
    const char* func = msg::kDecimate;
    for (const ZolImage* im : {srcImage, dstImage}) {
        if (zolCheckImageHeader(im) != 0) {
            const int status = zolGetErrStatus();
            report(status, func, msg::kIncorrectImage);
            return status;
        }
    }
    auto check = [&](bool failed, const char* context) {
        if (failed) report(ZOL_STATUS_BAD_ARGUMENT, func, context);
    };
    const DecChans cs = decChans(srcImage), cd = decChans(dstImage);
    check(srcImage == dstImage, msg::kDecSame);
    check(srcImage->depth != dstImage->depth, msg::kCopyDepth);
    check(srcImage->origin != dstImage->origin, msg::kCopyOrigin);
    check(srcImage->dataOrder != dstImage->dataOrder, msg::kCopyOrder);
    check(cs.n == 0, msg::kDecNChSrc0);
    check(cd.n == 0, msg::kDecNChDst0);
    check(cs.n != cd.n, msg::kDecNCh);
    check(interpolate < kNN || interpolate > kSuper, msg::kDecInterp);
    check(xDst <= 0, msg::kDecXDst);
    check(xSrc <= 0, msg::kDecXSrc);
    check(yDst <= 0, msg::kDecYDst);
    check(ySrc <= 0, msg::kDecYSrc);
    check(xDst > xSrc, msg::kDecXUp);
    check(yDst > ySrc, msg::kDecYUp);
    const int status = zolGetErrStatus();
    if (status < 0) return status;
    return ownDecimateEngine(srcImage, dstImage, xDst, xSrc, yDst, ySrc, interpolate);
}

}  // extern "C"
