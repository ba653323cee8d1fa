// The orthonormal two-dimensional cosine transform and its inverse.
//
// Two routes: a 16-bit fixed-point one for integer images of at most 16
// bits whose region is a power of two from 4 to 128 each way (4x4 and 8x8
// blocks by constant matrices with 15 fractional bits, other shapes by the
// unnormalised even/odd recursion in saturating words); and a single-precision one for everything else (and whenever the first
// declines), by the even/odd split with secant tables for powers of two
// and by the direct sum from a cosine table for any other length.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>

#include "core/context.h"
#include "core/heap.h"
#include "core/image.h"
#include "core/messages.h"
#include "core/rect.h"
#include "core/report.h"

namespace zol {
namespace dct {
namespace {

const double kPi = 3.14159265358979323846;

// ---------------------------------------------------------------------
// Thread tables: the double secant tables of the fast way and the cosine
// table of the direct way, in the thread's context.

void freeSecants(ZolThreadContext* ctx) {
    for (int i = 0; i < ctx->secantTablesDoubleCount; ++i) heapFree(ctx->secantTablesDouble[i]);
    heapFree(ctx->secantTablesDouble);
    ctx->secantTablesDouble = nullptr;
    ctx->secantTablesDoubleCount = 0;
}

void freeCosine(ZolThreadContext* ctx) {
    heapFree(ctx->cosTable);
    ctx->cosTable = nullptr;
    ctx->cosTableSize = -1;
}

// Secant tables for n = 8, 16 ... N/2, entries 0.5 / cos((2k+1) pi / (4n));
// a request for another count rebuilds them all. Table i serves n = 8 << i.
const double* const* secants(ZolThreadContext* ctx, int N) {
    int count = 0;
    for (int n = 8; n <= N / 2; n *= 2) ++count;
    if (ctx->secantTablesDoubleCount == count && ctx->secantTablesDouble)
        return reinterpret_cast<const double* const*>(ctx->secantTablesDouble);
    freeSecants(ctx);
    void** t = static_cast<void**>(heapAlloc(sizeof(void*) * size_t(std::max(count, 1))));
    if (!t) return nullptr;
    std::memset(t, 0, sizeof(void*) * size_t(std::max(count, 1)));
    ctx->secantTablesDouble = t;
    for (int i = 0; i < count; ++i) {
        const int n = 8 << i;
        double* s = static_cast<double*>(heapAlloc(sizeof(double) * size_t(n)));
        if (!s) return nullptr;
        for (int k = 0; k < n; ++k) s[k] = 0.5 / std::cos((2 * k + 1) * kPi / (4.0 * n));
        t[i] = s;
        ctx->secantTablesDoubleCount = i + 1;
    }
    return reinterpret_cast<const double* const*>(t);
}

// cos(k pi / (2N)), k = 0 .. 4N-1; one length at a time.
const float* cosines(ZolThreadContext* ctx, int N) {
    if (ctx->cosTable && ctx->cosTableSize == N) return static_cast<const float*>(ctx->cosTable);
    freeCosine(ctx);
    float* t = static_cast<float*>(heapAlloc(sizeof(float) * 4 * size_t(N)));
    if (!t) return nullptr;
    for (int k = 0; k < 4 * N; ++k) t[k] = float(std::cos(k * kPi / (2.0 * N)));
    ctx->cosTable = t;
    ctx->cosTableSize = N;
    return t;
}

// ---------------------------------------------------------------------
// One-dimensional single-precision transforms, unnormalised:
// X[k] = sum x[n] cos((2n+1) k pi / 2N), and its transpose.

// The matrix of a short length, cos((2n+1) k pi / 2N) in double.
struct Small {
    double m[8][8];
    explicit Small(int N) {
        for (int k = 0; k < N; ++k)
            for (int n = 0; n < N; ++n) m[k][n] = std::cos((2 * n + 1) * k * kPi / (2.0 * N));
    }
};

template <int N>
void smallForward(float* x) {
    static const Small s(N);
    double r[N];
    for (int k = 0; k < N; ++k) {
        double a = 0;
        for (int n = 0; n < N; ++n) a += double(x[n]) * s.m[k][n];
        r[k] = a;
    }
    for (int k = 0; k < N; ++k) x[k] = float(r[k]);
}

template <int N>
void smallInverse(float* x) {
    static const Small s(N);
    double r[N];
    for (int n = 0; n < N; ++n) {
        double a = 0;
        for (int k = 0; k < N; ++k) a += double(x[k]) * s.m[k][n];
        r[n] = a;
    }
    for (int n = 0; n < N; ++n) x[n] = float(r[n]);
}

// The eight-point kernels by their even/odd halves: the even outputs are
// the four-point transform of the mirrored sums, the odd ones a 4x4 matrix
// on the differences.
struct Eight {
    double c[8];   // cos(k pi / 16)
    double m[4][4];  // cos((2i+1)(2k+1) pi / 16)
    Eight() {
        for (int k = 0; k < 8; ++k) c[k] = std::cos(k * kPi / 16.0);
        for (int k = 0; k < 4; ++k)
            for (int i = 0; i < 4; ++i) m[k][i] = std::cos((2 * i + 1) * (2 * k + 1) * kPi / 16.0);
    }
};
const Eight& eight() {
    static const Eight e;
    return e;
}

void forward8(float* x) {
    const Eight& e = eight();
    double a[4], b[4];
    for (int i = 0; i < 4; ++i) {
        a[i] = double(x[i]) + x[7 - i];
        b[i] = double(x[i]) - x[7 - i];
    }
    // Four points: cos(pi/8) = c[2], cos(3pi/8) = c[6], cos(pi/4) = c[4].
    const double s0 = a[0] + a[3], s1 = a[1] + a[2], d0 = a[0] - a[3], d1 = a[1] - a[2];
    x[0] = float(s0 + s1);
    x[4] = float((s0 - s1) * e.c[4]);
    x[2] = float(d0 * e.c[2] + d1 * e.c[6]);
    x[6] = float(d0 * e.c[6] - d1 * e.c[2]);
    for (int k = 0; k < 4; ++k)
        x[2 * k + 1] = float(b[0] * e.m[k][0] + b[1] * e.m[k][1] + b[2] * e.m[k][2] +
                             b[3] * e.m[k][3]);
}

void inverse8(float* x) {
    const Eight& e = eight();
    const double X0 = x[0], X2 = x[2], X4 = x[4], X6 = x[6];
    const double s0 = X0 + X4 * e.c[4], s1 = X0 - X4 * e.c[4];
    const double d0 = X2 * e.c[2] + X6 * e.c[6], d1 = X2 * e.c[6] - X6 * e.c[2];
    const double ev[4] = {s0 + d0, s1 + d1, s1 - d1, s0 - d0};
    double od[4];
    for (int i = 0; i < 4; ++i)
        od[i] = double(x[1]) * e.m[0][i] + double(x[3]) * e.m[1][i] + double(x[5]) * e.m[2][i] +
                double(x[7]) * e.m[3][i];
    for (int i = 0; i < 4; ++i) {
        x[i] = float(ev[i] + od[i]);
        x[7 - i] = float(ev[i] - od[i]);
    }
}

// The halves of a fast step of size N, in tmp, and its secant table.
struct Halves {
    int h;
    float* a;
    float* b;
    const double* s;
};

Halves halves(int N, const double* const* sec, float* tmp) {
    const int h = N / 2;
    int ti = 0;
    while ((8 << ti) != h) ++ti;
    return {h, tmp, tmp + h, sec[ti]};
}

// Fast way for a power of two; tmp holds N floats.
void fastForward(float* x, int N, const double* const* sec, float* tmp) {
    switch (N) {
        case 1: return;
        case 2: return smallForward<2>(x);
        case 4: return smallForward<4>(x);
        case 8: return forward8(x);
        default: break;
    }
    const auto [h, a, b, s] = halves(N, sec, tmp);
    for (int i = 0; i < h; ++i) {
        a[i] = x[i] + x[N - 1 - i];
        b[i] = float(double(x[i] - x[N - 1 - i]) * s[i]);
    }
    // The halves recurse in x itself as scratch.
    fastForward(a, h, sec, x);
    fastForward(b, h, sec, x);
    for (int i = 0; i < h - 1; ++i) b[i] = b[i] + b[i + 1];
    for (int i = 0; i < h; ++i) {
        x[2 * i] = a[i];
        x[2 * i + 1] = b[i];
    }
}

void fastInverse(float* x, int N, const double* const* sec, float* tmp) {
    switch (N) {
        case 1: return;
        case 2: return smallInverse<2>(x);
        case 4: return smallInverse<4>(x);
        case 8: return inverse8(x);
        default: break;
    }
    const auto [h, a, b, s] = halves(N, sec, tmp);
    for (int i = 0; i < h; ++i) {
        a[i] = x[2 * i];
        b[i] = i ? x[2 * i + 1] + x[2 * i - 1] : x[1];
    }
    fastInverse(a, h, sec, x);
    fastInverse(b, h, sec, x);
    for (int i = 0; i < h; ++i) {
        const float o = float(double(b[i]) * s[i]);
        x[i] = a[i] + o;
        x[N - 1 - i] = a[i] - o;
    }
}

// Direct way from the cosine table C[j] = cos(j pi / 2N); sums in double.
void directForward(float* x, int N, const float* C, float* tmp) {
    const int h = N / 2, M = 4 * N;
    const bool odd = N & 1;
    double s0 = 0;
    for (int n = 0; n < N; ++n) s0 += x[n];
    tmp[0] = float(s0);
    for (int k = 1; k < N; ++k) {
        double acc = 0;
        for (int n = 0; n < h; ++n) {
            const double v = (k & 1) ? double(x[n]) - x[N - 1 - n] : double(x[n]) + x[N - 1 - n];
            acc += v * C[((2 * n + 1) * int64_t(k)) % M];
        }
        if (odd && !(k & 1)) acc += ((k / 2) & 1) ? -double(x[h]) : double(x[h]);
        tmp[k] = float(acc);
    }
    std::memcpy(x, tmp, sizeof(float) * size_t(N));
}

void directInverse(float* x, int N, const float* C, float* tmp) {
    const int h = N / 2, M = 4 * N;
    for (int n = 0; n < h; ++n) {
        double e = 0, o = 0;
        for (int k = 0; k < N; ++k) {
            const double t = double(x[k]) * C[((2 * n + 1) * int64_t(k)) % M];
            if (k & 1) o += t;
            else e += t;
        }
        tmp[n] = float(e + o);
        tmp[N - 1 - n] = float(e - o);
    }
    if (N & 1) {
        double m = 0;
        for (int k = 0; k < N; k += 2) m += ((k / 2) & 1) ? -double(x[k]) : double(x[k]);
        tmp[h] = float(m);
    }
    std::memcpy(x, tmp, sizeof(float) * size_t(N));
}

bool isPow2(int n) { return n > 0 && (n & (n - 1)) == 0; }

// ---------------------------------------------------------------------
// Readers and writers.

struct Plane {
    char* base;
    ptrdiff_t xs, ys;
    char* row(int y) const { return base + y * ys; }
};

template <class S>
void toFloat(const char* p, ptrdiff_t xs, int n, float* o) {
    for (int i = 0; i < n; ++i) o[i] = float(*reinterpret_cast<const S*>(p + i * xs));
}
// Nearest, ties to even, saturating; NaN gives 0.
template <class S>
void fromFloat(char* p, ptrdiff_t xs, int n, const float* v) {
    constexpr double lo = double(std::numeric_limits<S>::lowest());
    constexpr double hi = double(std::numeric_limits<S>::max());
    for (int i = 0; i < n; ++i) {
        const double r = std::nearbyint(double(v[i]));
        S s = r <= lo ? std::numeric_limits<S>::lowest()
                      : r >= hi ? std::numeric_limits<S>::max() : r == r ? S(r) : S(0);
        *reinterpret_cast<S*>(p + i * xs) = s;
    }
}
// To words: 16U above 32767 clipped.
template <class S>
void toWords(const char* p, ptrdiff_t xs, int n, int16_t* o) {
    for (int i = 0; i < n; ++i)
        o[i] = int16_t(std::min<int32_t>(*reinterpret_cast<const S*>(p + i * xs), 32767));
}
template <class S>
void fromWords(char* p, ptrdiff_t xs, int n, const int16_t* v) {
    constexpr int32_t lo = std::max<int32_t>(std::numeric_limits<S>::lowest(), -32768);
    constexpr int32_t hi = std::min<int32_t>(std::numeric_limits<S>::max(), 32767);
    for (int i = 0; i < n; ++i)
        *reinterpret_cast<S*>(p + i * xs) = S(std::min(std::max<int32_t>(v[i], lo), hi));
}

struct Conv {
    void (*toF)(const char*, ptrdiff_t, int, float*);
    void (*fromF)(char*, ptrdiff_t, int, const float*);
    void (*toW)(const char*, ptrdiff_t, int, int16_t*);
    void (*fromW)(char*, ptrdiff_t, int, const int16_t*);
};

template <class S>
constexpr Conv convFor() {
    if constexpr (sizeof(S) <= 2)
        return {toFloat<S>, fromFloat<S>, toWords<S>, fromWords<S>};
    else
        return {toFloat<S>, fromFloat<S>, nullptr, nullptr};
}

const Conv* convOf(int depth) {
    static constexpr Conv c8u = convFor<uint8_t>(), c8s = convFor<int8_t>(),
                          c16u = convFor<uint16_t>(), c16s = convFor<int16_t>(),
                          c32s = convFor<int32_t>();
    switch (depth) {
        case ZOL_DEPTH_8U: return &c8u;
        case ZOL_DEPTH_8S: return &c8s;
        case ZOL_DEPTH_16U: return &c16u;
        case ZOL_DEPTH_16S: return &c16s;
        case ZOL_DEPTH_32S: return &c32s;
        default: return nullptr;
    }
}

// ---------------------------------------------------------------------
// Single-precision route over one channel; blk holds 2 W H floats.

struct Job {
    Plane src, dst;
    const Conv *in, *out;
    int W, H;
    bool forward;
};

// Row transforms of an h x w block in place, then the block transposed
// into out (w x h).
bool passRows(ZolThreadContext* ctx, float* blk, float* out, int w, int h, bool fwd,
              float* tmp) {
    const double* const* sec = nullptr;
    const float* C = nullptr;
    if (isPow2(w)) {
        if (w >= 16 && !(sec = secants(ctx, w))) return false;
    } else if (!(C = cosines(ctx, w))) {
        return false;
    }
    // Rows in groups, so that the transposed stores fill whole cache lines.
    constexpr int kGroup = 16;
    for (int y0 = 0; y0 < h; y0 += kGroup) {
        const int n = std::min(kGroup, h - y0);
        for (int y = y0; y < y0 + n; ++y) {
            float* r = blk + int64_t(y) * w;
            if (C) (fwd ? directForward : directInverse)(r, w, C, tmp);
            else (fwd ? fastForward : fastInverse)(r, w, sec, tmp);
        }
        for (int x = 0; x < w; ++x) {
            float* o = out + int64_t(x) * h + y0;
            const float* in = blk + int64_t(y0) * w + x;
            for (int r = 0; r < n; ++r) o[r] = in[int64_t(r) * w];
        }
    }
    return true;
}

// The factors of the orthonormal transform on the unnormalised sums.
void scaleBlock(float* blk, int W, int H, double s) {
    const float f0 = float(s), f1 = float(std::sqrt(2.0) * s), f2 = float(2.0 * s);
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x) {
            float& v = blk[int64_t(y) * W + x];
            v = v * ((x == 0 && y == 0) ? f0 : (x == 0 || y == 0) ? f1 : f2);
        }
}

// The 8x8 block: rows and columns by the constant kernel.
void block8(float* b, bool fwd) {
    float col[8];
    for (int y = 0; y < 8; ++y) (fwd ? forward8 : inverse8)(b + 8 * y);
    for (int x = 0; x < 8; ++x) {
        for (int y = 0; y < 8; ++y) col[y] = b[8 * y + x];
        (fwd ? forward8 : inverse8)(col);
        for (int y = 0; y < 8; ++y) b[8 * y + x] = col[y];
    }
}

bool floatChannel(ZolThreadContext* ctx, const Job& j, float* blk, float* tmp) {
    const int W = j.W, H = j.H;
    for (int y = 0; y < H; ++y) j.in->toF(j.src.row(y), j.src.xs, W, blk + int64_t(y) * W);
    const double s = 1.0 / std::sqrt(double(W) * double(H));
    if (!j.forward) scaleBlock(blk, W, H, s);
    if (W == 8 && H == 8) {
        block8(blk, j.forward);
    } else if (int64_t(W) * H > 1) {
        float* other = blk + int64_t(W) * H;
        if (!passRows(ctx, blk, other, W, H, j.forward, tmp)) return false;
        if (!passRows(ctx, other, blk, H, W, j.forward, tmp)) return false;
    }
    if (j.forward) scaleBlock(blk, W, H, s);
    for (int y = 0; y < H; ++y) j.out->fromF(j.dst.row(y), j.dst.xs, W, blk + int64_t(y) * W);
    return true;
}

// ---------------------------------------------------------------------
// Fixed-point route: 4x4 and 8x8 blocks by the orthonormal matrices with
// 15 fractional bits, each pass rounded once; the pass between is kept in
// 32 bits so that bright blocks of 16-bit data are not clipped halfway.

struct FixMatrix {
    int32_t m[8][8];
    // Built from the left half and mirrored, so that the even rows are
    // symmetric and the odd ones antisymmetric exactly: the sums by halves
    // below then equal the full products.
    explicit FixMatrix(int N) {
        for (int k = 0; k < N; ++k)
            for (int n = 0; n < N / 2; ++n) {
                const double c = (k ? std::sqrt(2.0 / N) : std::sqrt(1.0 / N)) *
                                 std::cos((2 * n + 1) * k * kPi / (2.0 * N));
                m[k][n] = int32_t(std::lround(c * 32768.0));
                m[k][N - 1 - n] = (k & 1) ? -m[k][n] : m[k][n];
            }
    }
};

inline int32_t round15(int64_t v) { return int32_t((v + 16384) >> 15); }
inline int16_t sat16(int32_t v) { return int16_t(std::min(std::max(v, -32768), 32767)); }

// One line of N values at stride st through the matrix (forward) or its
// transpose (inverse), each output the exact sum rounded once.
template <int N, class In, class Out>
inline void fixedLine(const In* x, ptrdiff_t st, Out* y, ptrdiff_t so, const FixMatrix& M,
                      bool fwd) {
    constexpr int h = N / 2;
    if (fwd) {
        int64_t a[h], b[h];
        for (int i = 0; i < h; ++i) {
            a[i] = int64_t(x[i * st]) + x[(N - 1 - i) * st];
            b[i] = int64_t(x[i * st]) - x[(N - 1 - i) * st];
        }
        for (int k = 0; k < N; ++k) {
            const int64_t* v = (k & 1) ? b : a;
            int64_t s = 0;
            for (int i = 0; i < h; ++i) s += v[i] * M.m[k][i];
            y[k * so] = Out(round15(s));
        }
    } else {
        for (int n = 0; n < h; ++n) {
            int64_t e = 0, o = 0;
            for (int k = 0; k < N; k += 2) e += int64_t(x[k * st]) * M.m[k][n];
            for (int k = 1; k < N; k += 2) o += int64_t(x[k * st]) * M.m[k][n];
            y[n * so] = Out(round15(e + o));
            y[(N - 1 - n) * so] = Out(round15(e - o));
        }
    }
}

template <int N>
void fixedBlock(const int16_t* in, int16_t* out, bool fwd) {
    static const FixMatrix M(N);
    int32_t mid[N * N];
    for (int y = 0; y < N; ++y) fixedLine<N>(in + y * N, 1, mid + y * N, 1, M, fwd);
    int32_t col[N];
    for (int x = 0; x < N; ++x) {
        fixedLine<N>(mid + x, N, col, 1, M, fwd);
        for (int k = 0; k < N; ++k) out[k * N + x] = sat16(col[k]);
    }
}

// ---------------------------------------------------------------------
// Fixed-point route for the other powers of two: the unnormalised even/odd
// recursion in 16-bit words, every sum and product saturated, the 2-D
// factors applied once at the end.

// Lengths whose 9-bit secants still fit a word; longer ones go by floats.
constexpr int kFixMax = 128;

void freeSecants16(ZolThreadContext* ctx) {
    for (int i = 0; i < ctx->secantTables16Count; ++i) heapFree(ctx->secantTables16[i]);
    heapFree(ctx->secantTables16);
    ctx->secantTables16 = nullptr;
    ctx->secantTables16Count = 0;
}

// 512 * 0.5 / cos((2k+1) pi / (4n)), rounded, for n = 8 ... N/2; table i
// serves n = 8 << i. Another count rebuilds them all.
const int16_t* const* secants16(ZolThreadContext* ctx, int N) {
    int count = 0;
    for (int n = 8; n <= N / 2; n *= 2) ++count;
    if (ctx->secantTables16Count == count && ctx->secantTables16)
        return reinterpret_cast<const int16_t* const*>(ctx->secantTables16);
    freeSecants16(ctx);
    void** t = static_cast<void**>(heapAlloc(sizeof(void*) * size_t(std::max(count, 1))));
    if (!t) return nullptr;
    std::memset(t, 0, sizeof(void*) * size_t(std::max(count, 1)));
    ctx->secantTables16 = t;
    for (int i = 0; i < count; ++i) {
        const int n = 8 << i;
        int16_t* s = static_cast<int16_t*>(heapAlloc(sizeof(int16_t) * size_t(n)));
        if (!s) return nullptr;
        for (int k = 0; k < n; ++k)
            s[k] = int16_t(512.0 * 0.5 / std::cos((2 * k + 1) * kPi / (4.0 * n)) + 0.5);
        t[i] = s;
        ctx->secantTables16Count = i + 1;
    }
    return reinterpret_cast<const int16_t* const*>(t);
}

// cos((2n+1) k pi / 2N) with 14 fractional bits.
struct FixKernel {
    int32_t c[8][8];
    explicit FixKernel(int N) {
        for (int k = 0; k < N; ++k)
            for (int n = 0; n < N; ++n)
                c[k][n] = int32_t(std::lround(16384.0 * std::cos((2 * n + 1) * k * kPi / (2.0 * N))));
    }
};

// Lengths 4 and 8 by the constant matrix or its transpose, each output
// rounded once and saturated.
template <int N>
void fixSmall(int16_t* x, bool fwd) {
    static const FixKernel K(N);
    int16_t r[N];
    for (int k = 0; k < N; ++k) {
        int64_t s = 0;
        for (int n = 0; n < N; ++n) s += int64_t(x[n]) * (fwd ? K.c[k][n] : K.c[n][k]);
        r[k] = int16_t(std::min<int64_t>(std::max<int64_t>((s + 8192) >> 14, -32768), 32767));
    }
    std::memcpy(x, r, sizeof(r));
}

inline int16_t secMul(int32_t b, int32_t t) { return sat16((b * t + 256) >> 9); }

void fixForward(int16_t* x, int N, const int16_t* const* sec) {
    if (N == 4) return fixSmall<4>(x, true);
    if (N == 8) return fixSmall<8>(x, true);
    const int h = N / 2;
    const int16_t* t = sec[__builtin_ctz(unsigned(h)) - 3];
    int16_t a[kFixMax / 2], b[kFixMax / 2];
    for (int i = 0; i < h; ++i) {
        a[i] = sat16(int32_t(x[i]) + x[N - 1 - i]);
        b[i] = secMul(sat16(int32_t(x[i]) - x[N - 1 - i]), t[i]);
    }
    fixForward(a, h, sec);
    fixForward(b, h, sec);
    for (int i = 0; i < h - 1; ++i) b[i] = sat16(int32_t(b[i]) + b[i + 1]);
    for (int i = 0; i < h; ++i) {
        x[2 * i] = a[i];
        x[2 * i + 1] = b[i];
    }
}

void fixInverse(int16_t* x, int N, const int16_t* const* sec) {
    if (N == 4) return fixSmall<4>(x, false);
    if (N == 8) return fixSmall<8>(x, false);
    const int h = N / 2;
    const int16_t* t = sec[__builtin_ctz(unsigned(h)) - 3];
    int16_t a[kFixMax / 2], b[kFixMax / 2];
    for (int i = 0; i < h; ++i) {
        a[i] = x[2 * i];
        b[i] = i ? sat16(int32_t(x[2 * i + 1]) + x[2 * i - 1]) : x[1];
    }
    fixInverse(a, h, sec);
    fixInverse(b, h, sec);
    for (int i = 0; i < h; ++i) {
        const int32_t o = secMul(b[i], t[i]);
        x[i] = sat16(a[i] + o);
        x[N - 1 - i] = sat16(a[i] - o);
    }
}

// Rows of an h x w word block in place, then the block transposed into out.
bool fixRows(ZolThreadContext* ctx, int16_t* blk, int16_t* out, int w, int h, bool fwd) {
    const int16_t* const* sec = nullptr;
    if (w >= 16 && !(sec = secants16(ctx, w))) return false;
    for (int y = 0; y < h; ++y) (fwd ? fixForward : fixInverse)(blk + y * w, w, sec);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) out[x * h + y] = blk[y * w + x];
    return true;
}

// x * (1/sqrt 2 with 15 fractional bits), rounded by add, shifted by sh.
inline int16_t root(int32_t x, int sh, int32_t add) { return sat16((x * 23171 + add) >> sh); }

// The whole block, result in blk; other holds W H words of scratch.
bool fixBlock(ZolThreadContext* ctx, int16_t* blk, int16_t* other, int W, int H, bool fwd) {
    const int L = __builtin_ctz(unsigned(W)) + __builtin_ctz(unsigned(H)), s = L >> 1;
    const bool even = !(L & 1);
    if (!fwd) {
        // c(u) c(v) on the coefficients before the transpose of the sums.
        blk[0] = int16_t(std::min(int32_t(blk[0]) + 1, 32767) >> 1);
        for (int x = 1; x < W; ++x) blk[x] = root(blk[x], 15, 16384);
        for (int y = 1; y < H; ++y) blk[y * W] = root(blk[y * W], 15, 16384);
    }
    if (!fixRows(ctx, blk, other, W, H, fwd) || !fixRows(ctx, other, blk, H, W, fwd)) return false;
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x) {
            int16_t& v = blk[y * W + x];
            if (!fwd) v = even ? int16_t(v >> (s - 1)) : root(v, s + 14, 8192);
            else if (x == 0 && y == 0) v = even ? int16_t(v >> s) : root(v, s + 15, 16384);
            else if (x == 0 || y == 0) v = even ? root(v, s + 14, 8192) : int16_t(v >> s);
            else v = even ? int16_t(v >> (s - 1)) : root(v, s + 14, 8192);
        }
    return true;
}

// One channel through words (2 W H of them); false if tables fail.
bool fixedChannel(ZolThreadContext* ctx, const Job& j, int16_t* words) {
    const int W = j.W, H = j.H;
    int16_t* res = words + W * H;
    for (int y = 0; y < H; ++y) j.in->toW(j.src.row(y), j.src.xs, W, words + y * W);
    if (W == H && W == 4) {
        fixedBlock<4>(words, res, j.forward);
    } else if (W == H && W == 8) {
        fixedBlock<8>(words, res, j.forward);
    } else {
        if (!fixBlock(ctx, words, res, W, H, j.forward)) return false;
        res = words;
    }
    for (int y = 0; y < H; ++y) j.out->fromW(j.dst.row(y), j.dst.xs, W, res + y * W);
    return true;
}

Plane planeOf(const ZolImage* im, int x0, int y0, int ch) {
    const ptrdiff_t size = elemSize(im->depth);
    Plane p;
    p.ys = im->widthStep;
    if (im->dataOrder == ZOL_DATA_ORDER_PIXEL) {
        p.xs = size * im->nChannels;
        p.base = im->imageData + y0 * p.ys + x0 * p.xs + ch * size;
    } else {
        p.xs = size;
        p.base = im->imageData + (ptrdiff_t(ch) * im->height + y0) * p.ys + x0 * size;
    }
    return p;
}

bool roiInside(const ZolImage* im, int w, int h) {
    const ZolROI* r = im->roi;
    if (!r) return true;
    return r->xOffset >= 0 && r->yOffset >= 0 && w >= 0 && h >= 0 &&
           int64_t(r->xOffset) + w <= im->width && int64_t(r->yOffset) + h <= im->height;
}

}  // namespace

void freeTables(ZolThreadContext* ctx) {
    freeSecants(ctx);
    freeSecants16(ctx);
    freeCosine(ctx);
}

void run(ZolImage* src, ZolImage* dst, int flags) {
    const char* name = msg::kDCT2D;
    ZolThreadContext* ctx = ownGetContext();
    if (flags & ZOL_DCT_FREE) return freeTables(ctx);
    auto fail = [&](const char* context, int line = __builtin_LINE()) {
        report(ZOL_STATUS_BAD_ARGUMENT, name, context, __builtin_FILE(), line);
    };
    if (!src) fail(msg::kDctSrcNull);
    if (!dst) fail(msg::kDctDstNull);
    if (ctx->status < 0) return;
    if (src == dst) return fail(msg::kDctInPlace);
    if (src->depth == ZOL_DEPTH_1U || dst->depth == ZOL_DEPTH_1U) return fail(msg::kDct1U);
    if (src->depth == ZOL_DEPTH_32F || dst->depth == ZOL_DEPTH_32F) return fail(msg::kDct32F);
    if (src->alphaChannel != 0 && src->alphaChannel != src->nChannels) return fail(msg::kDctAlpha);
    const int srcCoi = src->roi ? src->roi->coi : 0;
    if (src->alphaChannel != 0 && (src->nChannels == 1 || srcCoi == src->nChannels))
        return fail(msg::kDctAlphaCoi);
    const int W = src->roi ? src->roi->width : src->width;
    const int H = src->roi ? src->roi->height : src->height;
    // Beyond the documented conditions, an image the transform could not
    // address safely is refused the same way: a bad header, pixels not in
    // memory, a destination region that would run past its image, or a
    // source coi without a destination coi.
    const bool compatible =
        src->nChannels == dst->nChannels && !src->roi == !dst->roi && src->width == dst->width &&
        src->height == dst->height && roiInside(src, W, H) && roiInside(dst, W, H) &&
        (!dst->roi || (dst->roi->width >= 0 && dst->roi->height >= 0 &&
                       int64_t(dst->roi->xOffset) + dst->roi->width <= dst->width &&
                       int64_t(dst->roi->yOffset) + dst->roi->height <= dst->height)) &&
        src->dataOrder == dst->dataOrder && zolCheckImageHeader(src) == 0 &&
        zolCheckImageHeader(dst) == 0 && src->imageData && dst->imageData &&
        (srcCoi <= 0 || (dst->roi->coi > 0 && dst->roi->coi <= dst->nChannels)) &&
        srcCoi <= src->nChannels;
    if (!compatible) {
        // The header check may have left its own status; this report stands.
        return fail(msg::kDctCompatible);
    }
    const int dir = flags & 3;
    if (dir == 0 || dir == 3 || W == 0 || H == 0) return;

    Job job{};
    job.in = convOf(src->depth);
    job.out = convOf(dst->depth);
    job.W = W;
    job.H = H;
    job.forward = dir == 1;
    if (!job.in || !job.out) return fail(msg::kDctCompatible);

    const int x0s = src->roi ? src->roi->xOffset : 0, y0s = src->roi ? src->roi->yOffset : 0;
    const int x0d = dst->roi ? dst->roi->xOffset : 0, y0d = dst->roi ? dst->roi->yOffset : 0;
    int first[2] = {0, 0}, count = src->nChannels - (src->alphaChannel != 0);
    if (srcCoi > 0) {
        first[0] = srcCoi - 1;
        first[1] = dst->roi->coi - 1;
        count = 1;
    }

    // The fixed route takes powers of two from 4 to 128 each way, depths up
    // to 16 bits; it declines (to single precision) when memory or tables
    // cannot be had. ZOL_DCT_WORK_IN_SRC changes nothing: the words are
    // always a copy and the source stays as it was.
    const bool fixed = isPow2(W) && isPow2(H) && W >= 4 && H >= 4 && W <= kFixMax &&
                       H <= kFixMax && job.in->toW && job.out->fromW;
    if (fixed) {
        int16_t small[2 * 64];
        int16_t* words = W * H <= 64 ? small
                                     : static_cast<int16_t*>(heapAlloc(sizeof(int16_t) * size_t(2 * W * H)));
        bool done = words != nullptr;
        for (int c = 0; done && c < count; ++c) {
            job.src = planeOf(src, x0s, y0s, first[0] + c);
            job.dst = planeOf(dst, x0d, y0d, first[1] + c);
            done = fixedChannel(ctx, job, words);
        }
        if (words != small) heapFree(words);
        if (done) return;
    }
    const int64_t n = int64_t(W) * H;
    float* blk = static_cast<float*>(heapAlloc(sizeof(float) * size_t(2 * n)));
    float* tmp = static_cast<float*>(heapAlloc(sizeof(float) * size_t(2 * std::max(W, H))));
    if (blk && tmp) {
        for (int c = 0; c < count; ++c) {
            job.src = planeOf(src, x0s, y0s, first[0] + c);
            job.dst = planeOf(dst, x0d, y0d, first[1] + c);
            // Tables that cannot be had end the call silently.
            if (!floatChannel(ctx, job, blk, tmp)) break;
        }
    }
    heapFree(blk);
    heapFree(tmp);
}

}  // namespace dct

void ownDctFreeTables(ZolThreadContext* ctx) { dct::freeTables(ctx); }

}  // namespace zol

using namespace zol;

ZOL_API void zolDCT2D(ZolImage* srcImage, ZolImage* dstImage, int flags) {
    dct::run(srcImage, dstImage, flags);
}
