// Convolution: kernel records, 2-D and separable convolution against a
// direct per-pixel model with its own border fold, over random frames
// (depths, layouts, ROIs, coi, alpha, masks, tiles, in place).
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <cstring>
#include <memory>
#include <random>
#include <sstream>

#include "kit.h"
#include "nbcase.h"
#include "tiles.h"

namespace {

using kit::Image;
using namespace nbcase;

struct KernelDel {
    void operator()(ZolConvKernel* k) const { zolDeleteConvKernel(k); }
};
using KernelPtr = std::unique_ptr<ZolConvKernel, KernelDel>;

// ---------------------------------------------------------------------
// The model

struct Lim {
    double lo, hi;
};
Lim limOf(int depth) {
    switch (depth) {
        case ZOL_DEPTH_1U: return {0, 1};
        case ZOL_DEPTH_8U: return {0, 255};
        case ZOL_DEPTH_8S: return {-128, 127};
        case ZOL_DEPTH_16U: return {0, 65535};
        case ZOL_DEPTH_16S: return {-32768, 32767};
        default: return {-2147483648.0, 2147483647.0};
    }
}

// A kernel in the caller's terms.
struct K {
    int w, h, ax, ay, shift;
    std::vector<double> v;
    bool fp;
};

int classOf(const K& k, int depth) {
    if (k.fp || depth == ZOL_DEPTH_32S) return 2;
    const Lim l = limOf(depth);
    double mx = 0, mn = 0;
    bool small = true, prod = true;
    for (double c : k.v) {
        mx += std::max(c * l.lo, c * l.hi);
        mn += std::min(c * l.lo, c * l.hi);
        small = small && std::fabs(c + 0.5) <= 32767.5;
        prod = prod && std::max(c * l.lo, c * l.hi) <= 32767 && std::min(c * l.lo, c * l.hi) >= -32768;
    }
    if (mn > -32768 && mx < 32767 && small && prod) return 0;
    return mn > -2147483648.0 && mx < 2147483647.0 && small ? 1 : 2;
}

// Stores a combined result the way every depth takes it; isFloat: from a
// float result (rounded to nearest even first).
int64_t store(double r, bool isFloat, int depth) {
    if (depth == ZOL_DEPTH_32F) {
        const float f = float(r);
        uint32_t b;
        std::memcpy(&b, &f, 4);
        return b;
    }
    if (std::isnan(r)) return 0;
    if (depth == ZOL_DEPTH_1U) return isFloat ? (r < 0 ? 0 : r >= 1 ? 1 : std::nearbyint(r)) : r > 0;
    if (isFloat) r = std::nearbyint(r);
    const Lim l = limOf(depth);
    return int64_t(std::min(std::max(r, l.lo), l.hi));
}

// One output element of the 2-D convolution at source (x, y), channel c.
int64_t conv2d(const ZolImage* s, int x, int y, int c, const double* cst, const std::vector<K>& ks,
               int method, int pix) {
    const int depth = s->depth;
    bool anyFloat = false;
    std::vector<double> r;
    for (const K& k : ks) {
        const int cls = classOf(k, depth);
        anyFloat = anyFloat || cls > 0;
        const int n = k.w * k.h;
        double acc = 0;
        if (k.fp && (n == 9 || n == 25) && k.w == k.h && (pix == 1 || pix == 3)) {
            long double e = 0;
            for (int i = n - 1; i >= 0; --i)
                e += (long double)k.v[i] * sample(s, x + k.ax - i % k.w, y + k.ay - i / k.w, c, cst);
            acc = float(e);
        } else {
            float f = 0;
            for (int i = n - 1; i >= 0; --i) {  // the order the taps are summed in
                if (k.v[i] == 0) continue;
                const double t = k.v[i] * sample(s, x + k.ax - i % k.w, y + k.ay - i / k.w, c, cst);
                acc += t;
                f = float(double(f) + t);
            }
            if (cls == 2) acc = f;
        }
        if (k.shift && cls < 2) acc = std::floor(acc / std::ldexp(1.0, k.shift & 31));
        if (k.shift && cls == 2) {
            const int64_t q = std::fabs(acc) < 9.2e18 ? std::llrint(float(acc)) : INT64_MIN;
            acc = int32_t(uint32_t(uint64_t(q))) >> (k.shift & 31);
        }
        if (cls == 1 && ks.size() > 1) acc = float(acc);
        r.push_back(acc);
    }
    const bool flt = classOf(ks[0], depth) == 2;
    if (ks.size() == 1) {
        double v = r[0];
        if (method == ZOL_COMBINE_SUM_SQUARES) v = flt ? float(v * v) : v * v;
        if (method == ZOL_COMBINE_SQRT_SUM_SQUARES) v = std::fabs(v);
        return store(v, flt, depth);
    }
    double t = 0;
    for (size_t i = 0; i < r.size(); ++i) {
        const double q = anyFloat ? double(float(r[i] * r[i])) : r[i] * r[i];
        const double sum = anyFloat ? double(float(t + r[i])) : t + r[i];
        const double sq = anyFloat ? double(float(t + q)) : t + q;
        if (method == ZOL_COMBINE_SUM) t = i ? sum : r[i];
        else if (method == ZOL_COMBINE_MAX) t = i && !(r[i] > t) ? t : r[i];
        else if (method == ZOL_COMBINE_MIN) t = i && !(r[i] < t) ? t : r[i];
        else t = i ? sq : q;
    }
    if (method == ZOL_COMBINE_SQRT_SUM_SQUARES)
        t = anyFloat ? double(std::sqrt(float(t))) : std::nearbyint(std::sqrt(t));
    return store(t, anyFloat, depth);
}


// A random kernel: mostly small values (16-bit class), sometimes 32-bit
// or float class, sometimes larger than the image.
K randomKernel(Case& k, bool fp) {
    K r{};
    const bool big = k.pick(8) == 0;
    r.w = 1 + k.pick(big ? 30 : 5);
    r.h = 1 + k.pick(big ? 20 : 5);
    r.ax = k.pick(r.w);
    r.ay = k.pick(r.h);
    r.fp = fp;
    const int range = k.pick(3) == 0 ? (k.pick(2) ? 3000 : 3000000) : 4;
    const bool raw = k.pick(12) == 0;  // any 32-bit value
    for (int i = 0; i < r.w * r.h; ++i)
        r.v.push_back(fp    ? double(float(int(k.g() % 2001) - 1000) / 256.0f)
                      : raw ? double(int32_t(k.g()))
                            : double(k.pick(2 * range + 1) - range));
    r.shift = k.pick(3) == 0 ? k.pick(6) + (k.pick(8) == 0 ? 32 : 0) : 0;
    return r;
}

void runConv2D(uint32_t seed, bool fp) {
    Case k(seed);
    static const int kDepths[] = {ZOL_DEPTH_1U, ZOL_DEPTH_8U, ZOL_DEPTH_8S, ZOL_DEPTH_16U, ZOL_DEPTH_16S, ZOL_DEPTH_32S};
    const int depth = fp ? ZOL_DEPTH_32F : kDepths[k.pick(6)];
    k.frame(depth);
    const int nK = k.pick(4) == 0 ? 2 + k.pick(9) : 1 + k.pick(3);
    const int method = nK == 1 && k.pick(4) == 0 ? 9 : k.pick(5);
    std::vector<K> ks;
    std::vector<ZolConvKernel*> ik;
    std::vector<ZolConvKernelFP*> fk;
    for (int i = 0; i < nK; ++i) {
        ks.push_back(randomKernel(k, fp));
        const K& q = ks.back();
        std::vector<int> iv(q.v.begin(), q.v.end());
        std::vector<float> fv(q.v.begin(), q.v.end());
        if (fp) fk.push_back(zolCreateConvKernelFP(q.w, q.h, q.ax, q.ay, fv.data()));
        else ik.push_back(zolCreateConvKernel(q.w, q.h, q.ax, q.ay, iv.data(), q.shift));
        if (fp) ks.back().shift = 0;
    }
    k.why << " kernels " << nK << " method " << method;
    const ZolImage* s = k.s.img;
    const ZolImage* d = k.inPlace ? s : k.d.img.get();
    int w = 1 << 30, h = w;
    region(s, false, w, h);
    region(d, false, w, h);
    const int colours = s->nChannels - (s->alphaChannel ? 1 : 0);
    Chan ch{colours, 0, 0, s->dataOrder == ZOL_DATA_ORDER_PIXEL ? s->nChannels : 1};
    if (coiOf(s) || coiOf(d)) ch = Chan{1, std::max(coiOf(s), 1) - 1, std::max(coiOf(d), 1) - 1, 1};
    for (const ZolImage* im : {s, d})
        if (im->alphaChannel && (im->alphaChannel == coiOf(im) || im->nChannels == 1)) w = 0;
    double cst[4];
    const Lim l = limOf(depth);
    for (int i = 0; i < 4; ++i)
        cst[i] = fp ? double(float(s->borderConst[i])) : std::min(std::max(double(s->borderConst[i]), l.lo), l.hi);
    const auto want = expected(k, std::max(w, 0), std::max(h, 0), ch, [&](const ZolImage* im, int x, int y, int c) {
        return conv2d(im, x, y, c, cst, ks, method, ch.pix);
    });
    kit::Recorder rec;
    ZolImage* sa = k.s.arg();
    if (fp) zolConvolve2DFP(sa, k.inPlace ? sa : k.d.arg(), fk.data(), nK, method);
    else zolConvolve2D(sa, k.inPlace ? sa : k.d.arg(), ik.data(), nK, method);
    EXPECT_TRUE(rec.none()) << k.why.str() << ": " << (rec.none() ? "" : rec.reports()[0].context);
    compare(k, want);
    for (auto* p : ik) zolDeleteConvKernel(p);
    for (auto* p : fk) zolDeleteConvKernelFP(p);
}

TEST(Convolve2D, RandomFramesMatchTheDirectModel) {
    for (uint32_t seed = 1; seed <= 600; ++seed) runConv2D(seed, false);
}

TEST(Convolve2D, FloatKernelsMatchTheDirectModel) {
    for (uint32_t seed = 5001; seed <= 5250; ++seed) runConv2D(seed, true);
}

void runSep(uint32_t seed) {
    Case k(seed);
    static const int kDepths[] = {ZOL_DEPTH_1U, ZOL_DEPTH_8U, ZOL_DEPTH_8S, ZOL_DEPTH_16U, ZOL_DEPTH_16S, ZOL_DEPTH_32S};
    const int depth = kDepths[k.pick(6)];
    k.frame(depth);
    // The X kernel may have more rows and the Y kernel more columns: only
    // the first nCols (nRows) stored values count.
    K kx = randomKernel(k, false), ky = randomKernel(k, false);
    std::vector<int> vx(kx.v.begin(), kx.v.end()), vy(ky.v.begin(), ky.v.end());
    KernelPtr px(zolCreateConvKernel(kx.w, kx.h, kx.ax, kx.ay, vx.data(), kx.shift));
    KernelPtr py(zolCreateConvKernel(ky.w, ky.h, ky.ax, ky.ay, vy.data(), ky.shift));
    const ZolImage* s = k.s.img;
    const ZolImage* d = k.inPlace ? s : k.d.img.get();
    int w = 1 << 30, h = w;
    region(s, true, w, h);
    region(d, true, w, h);
    w = std::min(w, d->width - (d->roi ? d->roi->xOffset : 0));
    h = std::min(h, d->height - (d->roi ? d->roi->yOffset : 0));
    Chan ch{std::min(s->nChannels, d->nChannels), 0, 0, 1};
    if (s->alphaChannel && d->alphaChannel && ch.n >= 2) ch.n -= 1;
    const int cs = coiOf(s), cd = coiOf(d);
    if (cs || cd) ch = Chan{1, (cs ? cs : cd) - 1, (cd ? cd : cs) - 1, 1};
    const bool refused = (s->nChannels > 1 && cs && !cd) || (cd && !cs);
    double cst[4];
    for (int i = 0; i < 4; ++i) {  // the constants' low bits, as samples of the depth
        Image one(depth, 1, 1, 1);
        kit::set(one, 0, 0, 0, s->borderConst[i]);
        cst[i] = double(kit::get(one, 0, 0, 0));
    }
    const ZolConvKernel* X = px.get();
    const ZolConvKernel* Y = py.get();
    const auto want = expected(k, refused ? 0 : w, h, ch, [&](const ZolImage* im, int x, int y, int c) {
        uint32_t sum = 0;  // modulo 2^32, so the order of the passes does not matter
        for (int i = 0; i < X->nCols; ++i)
            for (int j = 0; j < Y->nRows; ++j)
                sum += uint32_t(X->values[i]) * uint32_t(Y->values[j]) *
                       uint32_t(int32_t(sample(im, x - X->anchorX + i, y - Y->anchorY + j, c, cst)));
        const int64_t v = int32_t(sum) >> ((X->nShiftR + Y->nShiftR) & 31);
        const Lim l = limOf(depth);
        return int64_t(std::min(std::max(double(v), l.lo), l.hi));
    });
    kit::Recorder rec;
    zolConvolveSep2D(k.s.arg(), k.inPlace ? k.s.arg() : k.d.arg(), px.get(), py.get());
    if (refused) {
        EXPECT_TRUE(rec.only(-5, "zolConvolveSep2D", "nChannels in srcImage ROI != nChannels in dstImage ROI")) << k.why.str();
    } else {
        EXPECT_TRUE(rec.none()) << k.why.str();
    }
    compare(k, want);
}

TEST(ConvolveSep2D, RandomFramesMatchTheDirectModel) {
    for (uint32_t seed = 9001; seed <= 9500; ++seed) runSep(seed);
}

// ---------------------------------------------------------------------
// Checks and their contexts

struct Check {
    const char* what;
    std::function<void()> call;
    std::vector<std::string> contexts;  // every report, in order (status -5 unless noted)
    int status = ZOL_STATUS_BAD_ARGUMENT;
};

TEST(ConvolveChecks, EveryCheckInOrderWithItsContext) {
    const int v9[9] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    const float f9[9] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    KernelPtr good(zolCreateConvKernel(3, 3, 1, 1, v9, 0));
    ZolConvKernel bad = *good;
    bad.anchorX = 3;
    ZolConvKernel noValues = *good;
    noValues.values = nullptr;
    ZolConvKernel wide = *good;
    wide.nCols = 0;
    Image a(ZOL_DEPTH_8U, 1, 8, 8), b(ZOL_DEPTH_8U, 1, 8, 8), f(ZOL_DEPTH_32F, 1, 8, 8);
    Image s16(ZOL_DEPTH_16U, 1, 8, 8), plane(ZOL_DEPTH_8U, 3, 8, 8, ZOL_DATA_ORDER_PLANE);
    Image c3(ZOL_DEPTH_8U, 3, 8, 8), c2(ZOL_DEPTH_8U, 2, 8, 8), coi(ZOL_DEPTH_8U, 3, 8, 8);
    Image bl(ZOL_DEPTH_8U, 1, 8, 8), backA(ZOL_DEPTH_8U, 1, 8, 8);
    kit::TileServer ta(backA, 8, 8), tb(b, 8, 8);
    bl->origin = ZOL_ORIGIN_BL;
    coi.setRoi(2, 0, 0, 8, 8);
    Image badRoi(ZOL_DEPTH_8U, 1, 8, 8);
    ZolROI off{0, 0, 0, 8, 8};
    ZolConvKernel* g = good.get();
    ZolConvKernel* ks[2] = {g, g};
    ZolConvKernel* withNull[2] = {g, nullptr};
    ZolConvKernel* withBad[2] = {g, &bad};
    ZolConvKernelFP* fk = zolCreateConvKernelFP(3, 3, 1, 1, f9);
    int n, m, x, y, sh, out[9], *outp = out;
    signed char cv[9], *cvp = cv;
    const std::vector<Check> table = {
        {"create: values", [&] { zolCreateConvKernel(3, 3, 1, 1, nullptr, 0); }, {"(values == 0)"}},
        {"create: size", [&] { zolCreateConvKernelChar(0, 3, 0, 0, cv, 0); }, {"(nRows<=0 || nCols<=0)"}},
        {"create: anchor", [&] { zolCreateConvKernelFP(3, 3, 1, 3, f9); },
         {"(anchorX<0 ||anchorY<0 ||nRows<=anchorY || nCols<=anchorX)"}},
        {"create: memory", [&] { kit::HeapFailure h(2); zolCreateConvKernel(3, 3, 1, 1, v9, 0); },
         {"Allocation failure"}, ZOL_STATUS_NO_MEMORY},
        {"get: kernel", [&] { zolGetConvKernel(nullptr, &n, &m, &x, &y, &outp, &sh); }, {"kernel==0"}},
        {"get: record", [&] { zolGetConvKernel(&bad, &n, &m, &x, &y, &outp, &sh); },
         {"ownBadKernel((OwnConvKernel*)kernel)"}},
        {"get: sizes both reported", [&] { zolGetConvKernel(g, nullptr, nullptr, nullptr, &y, &outp, &sh); },
         {"nRows==0", "nCols==0"}},
        {"get: anchors both reported", [&] { zolGetConvKernelChar(g, &n, &m, nullptr, nullptr, &cvp, &sh); },
         {"anchorX==0", "anchorY==0"}},
        {"get: values", [&] { zolGetConvKernelFP(fk, &n, &m, &x, &y, nullptr); }, {"values==0"}},
        {"get: shift", [&] { zolGetConvKernel(g, &n, &m, &x, &y, &outp, nullptr); }, {"nShiftR==0"}},
        {"get: leftover status", [&] { zolSetErrStatus(-3); zolGetConvKernel(g, &n, &m, &x, &y, &outp, nullptr); }, {}, -3},
        {"delete: kernel", [&] { zolDeleteConvKernelFP(nullptr); }, {"kernel==0"}},
        {"delete: values", [&] { zolDeleteConvKernel(&noValues); }, {"kernel->values==0"}},
        {"2D: header", [&] { zolConvolve2D(a, nullptr, ks, 1, 0); }, {"Incorrect Image"}, ZOL_STATUS_NULL_HEADER},
        {"2D: roi offsets", [&] { badRoi->roi = &off; off.xOffset = 8; zolConvolve2D(a, badRoi, ks, 1, 0); badRoi->roi = nullptr; },
         {"Bad ROI offsets"}, ZOL_STATUS_BAD_ROI_OFFSET},
        {"2D: kernel", [&] { zolConvolve2D(a, b, nullptr, 1, 0); }, {"kernel==0"}},
        {"2D: count", [&] { zolConvolve2D(a, b, ks, 11, 0); }, {"(nKernels<=0 || nKernels>10)"}},
        {"2D: method", [&] { zolConvolve2D(a, b, ks, 2, 5); }, {"Inadmissible method"}},
        {"2D: kernel[i]", [&] { zolConvolve2D(a, b, withNull, 2, 0); }, {"kernel[i]==0"}},
        {"2D: bad kernel", [&] { zolConvolve2D(a, b, withBad, 2, 0); }, {"Bad kernel structure"}},
        {"2D: depths", [&] { zolConvolve2D(a, s16, ks, 1, 0); }, {"Uncompatible images"}},
        {"2D: orders", [&] { zolConvolve2D(c3, plane, ks, 1, 0); }, {"Uncompatible images"}},
        {"2D: 32F", [&] { zolConvolve2D(f, f, ks, 1, 0); }, {"32F images can be processed only with FP kernel"}},
        {"2D: channels", [&] { zolConvolve2D(c3, c2, ks, 1, 0); }, {"Uncompatible images"}},
        {"2D FP: depth", [&] { zolConvolve2DFP(a, b, &fk, 1, 0); }, {"FP kernel can be used only for 32F images"}},
        {"2D: memory", [&] { kit::HeapFailure h(1); zolConvolve2D(a, b, ks, 2, 0); },
         {"Allocation failure"}, ZOL_STATUS_NO_MEMORY},
        {"2D: coi on one image", [&] { zolConvolve2D(coi, b, ks, 1, 0); }, {}, 0},
        {"2D: tile refused", [&] { tb.failAt(1); zolConvolve2D(a, tb.image(), ks, 1, 0); },
         {"(dstImage->tileInfo->tileData == ((void*)(0)))"}},
        {"2D: source tile refused", [&] { ta.failAt(1); zolConvolve2D(ta.image(), b, ks, 1, 0); },
         {"Allocation failure"}, ZOL_STATUS_NO_MEMORY},
        {"sep: tile refused, silently", [&] { tb.failAt(1); zolConvolveSep2D(a, tb.image(), g, g); }, {}, 0},
        {"sep: header", [&] { zolConvolveSep2D(nullptr, b, g, g); }, {"Incorrect Image"}, ZOL_STATUS_NULL_HEADER},
        {"sep: both kernels", [&] { zolConvolveSep2D(a, b, nullptr, nullptr); }, {"Xkernel==0", "Ykernel==0"}},
        {"sep: depth", [&] { zolConvolveSep2D(a, s16, g, g); }, {"srcImage->depth != dstImage->depth"}},
        {"sep: origin", [&] { zolConvolveSep2D(a, bl, g, g); }, {"srcImage->origin != dstImage->origin"}},
        {"sep: order", [&] { zolConvolveSep2D(c3, plane, g, g); }, {"srcImage->dataOrder != dstImage->dataOrder"}},
        {"sep: channels", [&] { zolConvolveSep2D(c3, c2, g, g); }, {"nCsrc != nCdst"}},
        {"sep: coi then width", [&] { zolConvolveSep2D(coi, c3, &wide, g); },
         {"nChannels in srcImage ROI != nChannels in dstImage ROI", "Xkernel->nCols <= 0"}},
        {"sep: 32F", [&] { zolConvolveSep2D(f, f, g, g); }, {"Unknown srcImage->depth"}},
        {"sep: leftover status", [&] { zolSetErrStatus(-3); zolConvolveSep2D(a, b, g, g); }, {}, -3},
    };
    for (const Check& c : table) {
        kit::Recorder rec;
        a.randomize(7);
        const auto before = b.bytes();
        c.call();
        ASSERT_EQ(rec.reports().size(), c.contexts.size()) << c.what;
        for (size_t i = 0; i < c.contexts.size(); ++i) {
            EXPECT_EQ(rec.reports()[i].context, c.contexts[i]) << c.what;
            EXPECT_EQ(rec.reports()[i].status, c.status) << c.what;
        }
        EXPECT_EQ(zolGetErrStatus(), c.status) << c.what;
        if (c.status) {
            EXPECT_EQ(b.bytes(), before) << c.what << ": written after a failed check";
        }
    }
    zolDeleteConvKernelFP(fk);
}

// The records keep the caller's kernel reversed with mirrored anchors, and
// give it back in the caller's terms.
TEST(ConvolveKernels, StoredReversedReadBackAsGiven) {
    kit::Recorder rec;  // clears a leftover status, which would stop the readers
    const signed char v[6] = {1, -2, 3, -4, 5, 127};
    KernelPtr k(zolCreateConvKernelChar(3, 2, 0, 1, v, 4));
    ASSERT_TRUE(k);
    EXPECT_EQ(k->anchorX, 2);
    EXPECT_EQ(k->anchorY, 0);
    for (int i = 0; i < 6; ++i) EXPECT_EQ(k->values[i], v[5 - i]);
    int n, m, x, y, sh, got[6], *gp = got;
    signed char low[6], *lp = low;
    zolGetConvKernel(k.get(), &n, &m, &x, &y, &gp, &sh);
    k->values[5] = 300;  // read back by its low 8 bits
    zolGetConvKernelChar(k.get(), &n, &m, &x, &y, &lp, &sh);
    EXPECT_EQ(std::vector<int>({n, m, x, y, sh}), std::vector<int>({3, 2, 0, 1, 4}));
    for (int i = 0; i < 6; ++i) EXPECT_EQ(got[i], v[i]);
    EXPECT_EQ(low[0], 44);
    EXPECT_TRUE(rec.none());
}

// Metamorphic checks: the impulse response is the kernel itself, and the
// separable convolution equals the 2-D one with the outer-product kernel.
TEST(ConvolveProperties, ImpulseResponseAndSeparableProduct) {
    const int kx[4] = {1, -2, 5, 3}, ky[3] = {2, -1, 4};
    int outer[12];
    for (int j = 0; j < 3; ++j)
        for (int i = 0; i < 4; ++i) outer[j * 4 + i] = ky[j] * kx[i];
    KernelPtr X(zolCreateConvKernel(4, 1, 1, 0, kx, 0)), Y(zolCreateConvKernel(1, 3, 0, 2, ky, 0));
    KernelPtr K2(zolCreateConvKernel(4, 3, 1, 2, outer, 0));
    kit::Recorder rec;
    for (int depth : {ZOL_DEPTH_8S, ZOL_DEPTH_16S, ZOL_DEPTH_32S}) {
        Image src(depth, 1, 13, 9), a(depth, 1, 13, 9), b(depth, 1, 13, 9);
        kit::set(src, 6, 4, 0, 1);
        ZolConvKernel* k = K2.get();
        zolConvolve2D(src, a, &k, 1, ZOL_COMBINE_SUM);
        zolConvolveSep2D(src, b, X.get(), Y.get());
        for (int y = 0; y < 9; ++y)
            for (int x = 0; x < 13; ++x) {
                const int i = x - 6 + 1, j = y - 4 + 2;  // the kernel's element under (x, y)
                const int64_t want = i >= 0 && i < 4 && j >= 0 && j < 3 ? outer[j * 4 + i] : 0;
                EXPECT_EQ(kit::get(a, x, y, 0), want) << kit::depthName(depth) << " " << x << "," << y;
                EXPECT_EQ(kit::get(b, x, y, 0), want) << kit::depthName(depth) << " " << x << "," << y;
            }
        // Random pixels, replicated edges: the two ways agree.
        src.randomize(depth);
        zolSetBorderMode(src, ZOL_BORDER_REPLICATE, 15, 0);
        zolConvolve2D(src, a, &k, 1, ZOL_COMBINE_SUM);
        zolConvolveSep2D(src, b, X.get(), Y.get());
        if (depth != ZOL_DEPTH_32S) {
            EXPECT_EQ(a.bytes(), b.bytes()) << kit::depthName(depth);
        }
    }
}

}  // namespace
