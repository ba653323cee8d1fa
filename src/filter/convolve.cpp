// 2-D convolution with one to ten kernels whose results combine per pixel.
//
// Each kernel runs in the narrowest arithmetic class its worst-case sums
// allow for the depth: 16-bit integers, 32-bit integers (both exact, so
// they agree), or a float sum rounded after every tap. A row is computed in
// chunks: each kernel accumulates one tap at a time across the chunk (flat
// loops the compiler vectorises), is shifted, and folds into the total;
// the stored row then goes out through the neighbourhood walk's sink.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>

#include "core/frame.h"
#include "core/image.h"
#include "core/messages.h"
#include "core/rect.h"
#include "core/report.h"
#include "filter/convolve.h"

namespace zol {

namespace conv {

constexpr int kMaxKernels = 10;
constexpr int kChunk = 512;  // output elements per pass: accumulators stay in L1

// The range of a depth's samples.
struct Range {
    int64_t lo, hi;
};

Range rangeOf(int depth) {
    switch (depth) {
        case ZOL_DEPTH_1U: return {0, 1};
        case ZOL_DEPTH_8U: return {0, 255};
        case ZOL_DEPTH_8S: return {-128, 127};
        case ZOL_DEPTH_16U: return {0, 65535};
        case ZOL_DEPTH_16S: return {-32768, 32767};
        default: return {INT32_MIN, INT32_MAX};
    }
}

// 0: 16-bit sums, 1: 32-bit sums, 2: float sums; by the worst cases of the
// kernel over the depth's range.
int classOf(const int32_t* v, int64_t n, int depth) {
    if (depth == ZOL_DEPTH_32S || depth == ZOL_DEPTH_32F) return 2;
    const Range r = rangeOf(depth);
    const double lo = double(r.lo), hi = double(r.hi);
    double sumMax = 0, sumMin = 0;
    bool fits16 = true, products16 = true;
    for (int64_t i = 0; i < n; ++i) {
        const double c = v[i];
        sumMax += c > 0 ? c * hi : c * lo;
        sumMin += c > 0 ? c * lo : c * hi;
        fits16 = fits16 && c >= -32768 && c <= 32767;
        products16 = products16 && std::max(c * lo, c * hi) <= 32767 &&
                     std::min(c * lo, c * hi) >= -32768;
    }
    if (sumMin > -32768 && sumMax < 32767 && fits16 && products16) return 0;
    if (sumMin > -2147483648.0 && sumMax < 2147483647.0 && fits16) return 1;
    return 2;
}

// One kernel of the call.
template <class C>
struct Work {
    int cls;
    int kw, kh, ax, ay;
    int32_t shift;
    const C* v;     // stored values
    bool once;      // float 3x3 / 5x5 on pixel steps 1 and 3: one rounding
    int rowAt;      // index of its first row pointer
};

// The float class's shift: to the nearest integer, the low 32 bits of the
// 64-bit integer shifted arithmetically, back to float.
inline float shiftFloat(float f, int s) {
    int64_t q = INT64_MIN;  // what the conversion gives for NaN and beyond 64 bits
    if (std::fabs(f) < 9.2e18f) q = std::llrint(f);
    const int32_t lo = int32_t(uint32_t(uint64_t(q)));
    return float(lo >> (s & 31));
}

// Stores of a result into a sample of the depth.
template <class T>
inline T storeInt(int64_t v, const Range& r, bool bits) {
    if (bits) return T(v > 0);
    return T(v < r.lo ? r.lo : v > r.hi ? r.hi : v);
}

template <class T>
inline T storeFloat(float f, const Range& r, int depth) {
    if constexpr (std::is_same_v<T, float>) {
        (void)r, (void)depth;
        return f;
    } else {
        if (std::isnan(f)) return T(0);
        if (depth == ZOL_DEPTH_1U) return T(f < 0 ? 0 : f >= 1.0f ? 1 : std::nearbyint(f));
        if (f <= float(r.lo)) return T(r.lo);
        if (f >= float(r.hi)) return T(r.hi);  // 32S: 2^31 and above
        return T(std::llrint(f));
    }
}

// acc[e] = (first ? 0 : acc[e]) + sum over i < KW of c[i] * s[e + i * P]:
// KW taps of one kernel row per pass, so the accumulator is read and
// written once for KW taps. The integer classes never overflow A.
template <class A, class T, int KW>
void rowTaps(A* __restrict acc, const T* __restrict s, const int32_t* c, int P, int n, bool first) {
    A k[KW];
    for (int i = 0; i < KW; ++i) k[i] = A(c[i]);
    if (first) {
        for (int e = 0; e < n; ++e) {
            A v = A(k[0] * A(s[e]));
#pragma GCC unroll 8
            for (int i = 1; i < KW; ++i) v = A(v + A(k[i] * A(s[e + i * P])));
            acc[e] = v;
        }
    } else {
        for (int e = 0; e < n; ++e) {
            A v = acc[e];
#pragma GCC unroll 8
            for (int i = 0; i < KW; ++i) v = A(v + A(k[i] * A(s[e + i * P])));
            acc[e] = v;
        }
    }
}

// A whole KW x KH kernel in one pass: the sum of an element stays in a
// register over all its taps.
template <class A, class T, int KW, int KH>
void wholeTaps(A* __restrict acc, const T* const* rows, int x0, const int32_t* c, int P, int n) {
    A k[KH * KW];
    const T* __restrict r[KH];
    for (int i = 0; i < KH * KW; ++i) k[i] = A(c[i]);
    for (int j = 0; j < KH; ++j) r[j] = rows[j] + x0;
    for (int e = 0; e < n; ++e) {
        A v = 0;
#pragma GCC unroll 8
        for (int j = 0; j < KH; ++j)
#pragma GCC unroll 8
            for (int i = 0; i < KW; ++i) v = A(v + A(k[j * KW + i] * A(r[j][e + i * P])));
        acc[e] = v;
    }
}

// One kernel row of any width, in passes of up to seven taps.
template <class A, class T>
void rowInt(A* acc, const T* s, const int32_t* c, int kw, int P, int n, bool first) {
    for (int i = 0; i < kw;) {
        const int t = std::min(kw - i, 7);
        const T* si = s + int64_t(i) * P;
        switch (t) {
            case 1: rowTaps<A, T, 1>(acc, si, c + i, P, n, first); break;
            case 2: rowTaps<A, T, 2>(acc, si, c + i, P, n, first); break;
            case 3: rowTaps<A, T, 3>(acc, si, c + i, P, n, first); break;
            case 4: rowTaps<A, T, 4>(acc, si, c + i, P, n, first); break;
            case 5: rowTaps<A, T, 5>(acc, si, c + i, P, n, first); break;
            case 6: rowTaps<A, T, 6>(acc, si, c + i, P, n, first); break;
            default: rowTaps<A, T, 7>(acc, si, c + i, P, n, first); break;
        }
        first = false;
        i += t;
    }
}

// The float class: the product and the sum in double, rounded to float
// after each tap.
template <class T>
void tapFloat(float* __restrict acc, const T* __restrict s, double c, int n) {
    // Which of two NaN operands an addition passes on depends on the order
    // the compiler picks; a NaN sum is the default quiet NaN in every form.
    const float nan = std::numeric_limits<float>::quiet_NaN();
    for (int e = 0; e < n; ++e) {
        const double v = double(acc[e]) + c * double(s[e]);
        acc[e] = v == v ? float(v) : nan;
    }
}

}  // namespace conv

namespace convk::plain {
void whole3x3(int16_t* acc, const uint8_t* const* rows, int x0, const int32_t* c, int P, int n) {
    conv::wholeTaps<int16_t, uint8_t, 3, 3>(acc, rows, x0, c, P, n);
}
void whole5x5(int16_t* acc, const uint8_t* const* rows, int x0, const int32_t* c, int P, int n) {
    conv::wholeTaps<int16_t, uint8_t, 5, 5>(acc, rows, x0, c, P, n);
}
void row(int16_t* acc, const uint8_t* s, const int32_t* c, int kw, int P, int n, bool first) {
    conv::rowInt(acc, s, c, kw, P, n, first);
}
void store(uint8_t* __restrict out, const int16_t* __restrict a, int n, int lo, int hi) {
    const int16_t l = int16_t(lo), h = int16_t(hi);
    for (int e = 0; e < n; ++e) {
        int16_t r = a[e];
        r = r < l ? l : r;
        r = r > h ? h : r;
        out[e] = uint8_t(r);
    }
}
void tap(float* acc, const float* s, double c, int n) { conv::tapFloat(acc, s, c, n); }
}  // namespace convk::plain

namespace {
ConvKernels makeTable(Form form) {
    namespace p = convk::plain;
    ConvKernels k{p::whole3x3, p::whole5x5, p::row,    p::store,
                  p::tap,      p::sepColumn, p::sepRow, p::sepRow};
    convSimd(form, k);
    return k;
}
}  // namespace

const ConvKernels& convKernels() { return tableForActiveForm(makeTable); }
Form convForm() { return activeForm(); }

namespace conv {

template <class T, class C>
struct Call {
    Work<C> work[kMaxKernels];
    int nK, method;
    bool allClass0;
    Reach reach;
    int depth;
    Range range;
    NbLane lane;
    int pix;               // samples per pixel in the lane
    int srcPix;            // elements per pixel of the window
    int nLanes;
    int srcCh[64], dstCh[64];
    NbSink sink;
    const T** rowPtr;      // one per kernel row
    T* out;                // one output row
};

// The results of kernel k over elements [e0, e0 + n) of row y into r:
// int32_t for the integer classes, float for the float class.
template <class T, class C>
void kernelChunk(const Call<T, C>& c, const Work<C>& k, int e0, int n, int16_t* a16, int32_t* a32,
                 float* af) {
    const T* const* rows = c.rowPtr + k.rowAt;
    const int P = c.pix;
    const int x0 = (c.reach.left - k.ax) * P + e0;
    if (k.cls == 2 && k.once) {
        // Extended precision, one rounding.
        for (int e = 0; e < n; ++e) {
            long double s = 0;
            for (int j = 0; j < k.kh; ++j)
                for (int i = 0; i < k.kw; ++i)
                    s += (long double)k.v[j * k.kw + i] * (long double)rows[j][x0 + i * P + e];
            af[e] = float(s);
        }
        return;
    }
    bool integer = false;
    if constexpr (std::is_same_v<C, int32_t>) {
        if (k.cls < 2) {
            integer = true;
            const ConvKernels& K = convKernels();
            constexpr bool u8 = std::is_same_v<T, uint8_t>;
            if (u8 && k.cls == 0 && k.kw == 3 && k.kh == 3) {
                if constexpr (u8) K.whole3x3(a16, rows, x0, k.v, P, n);
            } else if (u8 && k.cls == 0 && k.kw == 5 && k.kh == 5) {
                if constexpr (u8) K.whole5x5(a16, rows, x0, k.v, P, n);
            } else if (u8 && k.cls == 0) {
                if constexpr (u8)
                    for (int j = 0; j < k.kh; ++j)
                        K.row(a16, rows[j] + x0, k.v + int64_t(j) * k.kw, k.kw, P, n, j == 0);
            } else if (k.kw == 3 && k.kh == 3) {
                if (k.cls == 0) wholeTaps<int16_t, T, 3, 3>(a16, rows, x0, k.v, P, n);
                else wholeTaps<int32_t, T, 3, 3>(a32, rows, x0, k.v, P, n);
            } else if (k.kw == 5 && k.kh == 5 && k.cls == 0) {
                wholeTaps<int16_t, T, 5, 5>(a16, rows, x0, k.v, P, n);
            } else
            for (int j = 0; j < k.kh; ++j) {
                const int32_t* v = k.v + int64_t(j) * k.kw;
                if (k.cls == 0) rowInt(a16, rows[j] + x0, v, k.kw, P, n, j == 0);
                else rowInt(a32, rows[j] + x0, v, k.kw, P, n, j == 0);
            }
        }
    }
    if (!integer) {
        // The float class, tap by tap in stored order; zero taps are skipped.
        std::fill(af, af + n, 0.0f);
        for (int j = 0; j < k.kh; ++j) {
            const T* s = rows[j] + x0;
            for (int i = 0; i < k.kw; ++i, s += P) {
                const C v = k.v[j * k.kw + i];
                if (v == 0) continue;
                if constexpr (std::is_same_v<T, float>) convKernels().tap(af, s, double(v), n);
                else tapFloat(af, s, double(v), n);
            }
        }
    }
    if (!k.shift) return;
    const int sh = k.shift & 31;
    if (k.cls == 0) for (int e = 0; e < n; ++e) a16[e] = int16_t(a16[e] >> sh);
    else if (k.cls == 1) for (int e = 0; e < n; ++e) a32[e] >>= sh;
    else for (int e = 0; e < n; ++e) af[e] = shiftFloat(af[e], k.shift);
}

// One output row of n elements into c.out.
template <class T, class C>
void convRow(Call<T, C>& c, int n) {
    alignas(32) int16_t a16[kChunk];
    alignas(32) int32_t a32[kChunk];
    alignas(32) float af[kChunk];
    alignas(32) int64_t ti[kChunk];
    alignas(32) float tf[kChunk];
    const bool bits = c.depth == ZOL_DEPTH_1U;
    for (int e0 = 0; e0 < n; e0 += kChunk) {
        const int m = std::min(kChunk, n - e0);
        T* out = c.out + e0;
        if (c.nK == 1) {
            const Work<C>& k = c.work[0];
            kernelChunk(c, k, e0, m, a16, a32, af);
            if (k.cls == 2) {
                for (int e = 0; e < m; ++e) {
                    float r = af[e];
                    if (c.method == ZOL_COMBINE_SUM_SQUARES) r = r * r;
                    else if (c.method == ZOL_COMBINE_SQRT_SUM_SQUARES) r = std::fabs(r);
                    out[e] = storeFloat<T>(r, c.range, c.depth);
                }
            } else if (c.method == ZOL_COMBINE_SUM_SQUARES) {
                for (int e = 0; e < m; ++e) {
                    const int64_t r = k.cls == 0 ? a16[e] : a32[e];
                    out[e] = storeInt<T>(r * r, c.range, bits);
                }
            } else if (k.cls == 0) {
                if (c.method == ZOL_COMBINE_SQRT_SUM_SQUARES)
                    for (int e = 0; e < m; ++e) a16[e] = int16_t(a16[e] < 0 ? -a16[e] : a16[e]);
                if (bits) {
                    for (int e = 0; e < m; ++e) out[e] = T(a16[e] > 0);
                } else {
                    // Branch-free clamps over flat rows: vector min and max.
                    if constexpr (std::is_same_v<T, uint8_t>) {
                        convKernels().store(out, a16, m, int(c.range.lo), int(c.range.hi));
                    } else {
                        const int lo = int(c.range.lo), hi = int(c.range.hi);
                        for (int e = 0; e < m; ++e) {
                            int r = a16[e];
                            r = r < lo ? lo : r;
                            r = r > hi ? hi : r;
                            out[e] = T(r);
                        }
                    }
                }
            } else {
                const bool abs = c.method == ZOL_COMBINE_SQRT_SUM_SQUARES;
                for (int e = 0; e < m; ++e) {
                    int64_t r = a32[e];
                    if (abs) r = r < 0 ? -r : r;
                    out[e] = storeInt<T>(r, c.range, bits);
                }
            }
            continue;
        }
        // Several kernels: 64-bit integer totals when all are 16-bit class,
        // float totals otherwise.
        for (int k = 0; k < c.nK; ++k) {
            const Work<C>& w = c.work[k];
            kernelChunk(c, w, e0, m, a16, a32, af);
            if (c.allClass0) {
                for (int e = 0; e < m; ++e) {
                    const int64_t r = a16[e];
                    int64_t& t = ti[e];
                    switch (c.method) {
                        case ZOL_COMBINE_SUM: t = k ? t + r : r; break;
                        case ZOL_COMBINE_MAX: t = k && !(r > t) ? t : r; break;
                        case ZOL_COMBINE_MIN: t = k && !(r < t) ? t : r; break;
                        default: t = k ? t + r * r : r * r; break;
                    }
                }
                continue;
            }
            for (int e = 0; e < m; ++e) {
                const float r = w.cls == 0 ? float(a16[e]) : w.cls == 1 ? float(a32[e]) : af[e];
                float& t = tf[e];
                switch (c.method) {
                    case ZOL_COMBINE_SUM: t = k ? t + r : r; break;
                    case ZOL_COMBINE_MAX: t = k && !(r > t) ? t : r; break;
                    case ZOL_COMBINE_MIN: t = k && !(r < t) ? t : r; break;
                    default: t = k ? t + r * r : r * r; break;
                }
            }
        }
        const bool root = c.method == ZOL_COMBINE_SQRT_SUM_SQUARES;
        if (c.allClass0) {
            for (int e = 0; e < m; ++e) {
                int64_t t = ti[e];
                if (root) t = int64_t(std::nearbyint(std::sqrt(double(t))));
                out[e] = storeInt<T>(t, c.range, bits);
            }
        } else {
            for (int e = 0; e < m; ++e)
                out[e] = storeFloat<T>(root ? std::sqrt(tf[e]) : tf[e], c.range, c.depth);
        }
    }
}

template <class T, class C>
bool drive(void* context, const NbPiece& p) {
    Call<T, C>& c = *static_cast<Call<T, C>*>(context);
    const Reach& R = c.reach;
    const int P = c.pix;
    const int64_t count = (int64_t(p.w) + R.left + R.right - 1) * P;
    const int n = p.w * P;
    NbScratch outMem;
    c.out = outMem.get<T>(n);
    if (!c.out) return false;
    for (int l = 0; l < c.nLanes; ++l) {
        NbRows<T> rows;
        NbSink sink;
        if (!nbLane(rows, sink, p, c, l, count, R.top + R.bottom)) return false;
        for (int y = 0; y < p.h; ++y) {
            for (int k = 0; k < c.nK; ++k) {
                const Work<C>& w = c.work[k];
                for (int j = 0; j < w.kh; ++j)
                    c.rowPtr[w.rowAt + j] = rows.row(y + R.top - w.ay + j);
            }
            convRow(c, n);
            nbStoreRow(p, sink, y, c.out);
        }
    }
    return true;
}

// Codes of the common operation.
enum { kDone = 0, kSilent = 1, kBadCount = 2, kBadImages = 3, kNoMemory = 4, kBadDepth = 5 };

struct Side {
    ZolImage local;
    ownRect rect;
    int coi;
};

template <class T, class C, class K>
int run(ZolImage* src, ZolImage* dst, K** kernels, int nK, int method, bool fp) {
    if (nK < 1 || nK > kMaxKernels) return kBadCount;
    Side s[2];
    ZolImage* img[2] = {src, dst};
    int w = 0x7FFFFFFF, h = 0x7FFFFFFF;
    const Range range = rangeOf(src->depth);
    for (int i = 0; i < 2; ++i) {
        s[i].local = *img[i];
        for (int32_t& v : s[i].local.borderConst)
            if (src->depth != ZOL_DEPTH_32S && src->depth != ZOL_DEPTH_32F)
                v = int32_t(std::clamp<int64_t>(v, range.lo, range.hi));
        ownRoiRect(img[i], &s[i].rect);
        s[i].coi = img[i]->roi ? img[i]->roi->coi : 0;
        w = std::min(w, s[i].rect.width);
        h = std::min(h, s[i].rect.height);
        if (const ZolImage* m = img[i]->maskROI) {
            int mw, mh, mx;
            ownRoiData(m, &mw, &mh, 0, &mx);
            w = std::min(w, mw);
            h = std::min(h, mh);
        }
    }
    if (w <= 0 || h <= 0) return kDone;
    int colours[2];
    for (int i = 0; i < 2; ++i) {
        const ZolImage* im = img[i];
        const int a = im->alphaChannel;
        if (a && (a == s[i].coi || im->nChannels == 1)) return kSilent;
        colours[i] = im->nChannels - (a ? 1 : 0);
    }
    if (!s[0].coi && !s[1].coi && colours[0] != colours[1]) return kBadImages;
    if (s[0].coi && !s[1].coi) s[1].coi = 1;
    if (s[1].coi && !s[0].coi) s[0].coi = 1;

    int state = 0;
    ZolImage* made = ownCombineMasks(src->maskROI, dst->maskROI, nullptr, &state);
    if (state == kMaskNoMemory) return kNoMemory;
    if (state == kMaskEmpty) return kDone;
    struct Release {
        ZolImage* m;
        ~Release() {
            if (m) zolDeallocate(m, ZOL_FREE_HEADER | ZOL_FREE_DATA);
        }
    } release{state == kMaskMade ? made : nullptr};

    Call<T, C> c{};
    c.nK = nK;
    c.method = method;
    c.depth = src->depth;
    c.range = range;
    c.reach = ownKernelReach(kernels, nK);
    const bool plane = src->dataOrder == ZOL_DATA_ORDER_PLANE;
    const bool coi = s[0].coi > 0;
    if (src->depth == ZOL_DEPTH_1U) c.lane = NbLane::Bits;
    else if (plane) c.lane = NbLane::Plane;
    else if (coi) c.lane = NbLane::Channel;
    else c.lane = NbLane::Flat;
    c.pix = c.lane == NbLane::Flat ? src->nChannels : 1;
    c.srcPix = plane ? 1 : src->nChannels;
    c.nLanes = 1;
    c.srcCh[0] = coi ? s[0].coi - 1 : 0;
    c.dstCh[0] = coi ? s[1].coi - 1 : 0;
    if (c.lane == NbLane::Plane && !coi) {
        c.nLanes = std::min(colours[0], 64);
        for (int l = 0; l < c.nLanes; ++l) c.srcCh[l] = c.dstCh[l] = l;
    }
    c.sink = NbSink{c.lane, c.pix, plane ? 1 : dst->nChannels,
                    c.lane == NbLane::Flat ? colours[0] : 1, 0};

    int64_t rows = 0;
    c.allClass0 = true;
    for (int k = 0; k < nK; ++k) {
        const K* kr = kernels[k];
        Work<C>& wk = c.work[k];
        const int64_t n = int64_t(kr->nCols) * kr->nRows;
        if constexpr (std::is_same_v<C, float>) wk.cls = 2;
        else wk.cls = classOf(kr->values, n, src->depth);
        wk.kw = kr->nCols;
        wk.kh = kr->nRows;
        wk.ax = kr->anchorX;
        wk.ay = kr->anchorY;
        if constexpr (std::is_same_v<C, float>) wk.shift = 0;
        else wk.shift = kr->nShiftR;
        wk.v = kr->values;
        wk.once = fp && ((wk.kw == 3 && wk.kh == 3) || (wk.kw == 5 && wk.kh == 5)) &&
                  (c.pix == 1 || c.pix == 3);
        wk.rowAt = int(rows);
        rows += wk.kh;
        c.allClass0 = c.allClass0 && wk.cls == 0;
    }
    NbScratch rowMem;
    c.rowPtr = rowMem.get<const T*>(rows);
    if (!c.rowPtr) return kNoMemory;

    const ZolImage* mask = made ? made : src->maskROI ? src->maskROI : dst->maskROI;
    NbCall call{src, s[0].local.borderConst, s[0].rect.x, s[0].rect.y, dst, s[1].rect.x,
                s[1].rect.y, mask, w, h, c.reach};
    const int st = ownNeighbourWalk(call, &drive<T, C>, &c);
    return st == kNbOk ? kDone : st == kNbNoTile ? -1 : kNoMemory;
}

template <class K>
void front(const char* func, ZolImage* src, ZolImage* dst, K** kernel, int nK, int method,
           bool fp) {
    const Frame f(func);
    if (!f.headersOk({src, dst})) return;
    for (const ZolImage* im : {src, dst}) {
        const ZolROI* r = im->roi;
        if (r && (r->xOffset < 0 || r->yOffset < 0 || r->xOffset >= im->width ||
                  r->yOffset >= im->height))
            return void(f.fail(ZOL_STATUS_BAD_ROI_OFFSET, msg::kBadRoiOffsets));
    }
    if (!kernel) return void(f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kKernelNull));
    if (nK <= 0 || nK > kMaxKernels) return void(f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kNKernels));
    if (nK > 1 && (method < 0 || method > 4))
        return void(f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kBadMethod));
    for (int i = 0; i < nK; ++i) {
        if (!kernel[i]) return void(f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kKernelINull));
        if (ownBadKernel(kernel[i])) return void(f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kBadKernel));
    }
    if (src->depth != dst->depth || src->dataOrder != dst->dataOrder)
        return void(f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kUncompatible));
    const bool f32 = src->depth == ZOL_DEPTH_32F;
    if (!fp && (f32 || dst->depth == ZOL_DEPTH_32F))
        return void(f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kNeedFPKernel));
    if (fp && !(f32 && dst->depth == ZOL_DEPTH_32F))
        return void(f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kFPKernelOnly32F));
    if (nK == 1) method = method >= 0 && method <= 4 ? method : ZOL_COMBINE_SUM;

    int code;
    if constexpr (std::is_same_v<K, ZolConvKernelFP>) {
        code = run<float, float>(src, dst, kernel, nK, method, true);
    } else {
        switch (src->depth) {
            case ZOL_DEPTH_1U:
            case ZOL_DEPTH_8U: code = run<uint8_t, int32_t>(src, dst, kernel, nK, method, false); break;
            case ZOL_DEPTH_8S: code = run<int8_t, int32_t>(src, dst, kernel, nK, method, false); break;
            case ZOL_DEPTH_16U: code = run<uint16_t, int32_t>(src, dst, kernel, nK, method, false); break;
            case ZOL_DEPTH_16S: code = run<int16_t, int32_t>(src, dst, kernel, nK, method, false); break;
            case ZOL_DEPTH_32S: code = run<int32_t, int32_t>(src, dst, kernel, nK, method, false); break;
            default: code = kBadDepth; break;
        }
    }
    switch (code) {
        case kBadCount: f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kBadFilterCount); break;
        case kBadImages: f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kUncompatible); break;
        case kNoMemory: f.fail(ZOL_STATUS_NO_MEMORY, msg::kAllocationFailure); break;
        case kBadDepth: f.fail(ZOL_STATUS_BAD_DEPTH, msg::kBadDepths); break;
        case -1: f.fail(ZOL_STATUS_BAD_ARGUMENT, msg::kTileDst); break;
        default: break;
    }
}

}  // namespace conv

}  // namespace zol

using namespace zol;

void zolConvolve2D(ZolImage* srcImage, ZolImage* dstImage, ZolConvKernel** kernel, int nKernels,
                   int combineMethod) {
    conv::front(msg::kConvolve2D, srcImage, dstImage, kernel, nKernels, combineMethod, false);
}

void zolConvolve2DFP(ZolImage* srcImage, ZolImage* dstImage, ZolConvKernelFP** kernel,
                     int nKernels, int combineMethod) {
    conv::front(msg::kConvolve2DFP, srcImage, dstImage, kernel, nKernels, combineMethod, true);
}
