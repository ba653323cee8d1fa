// Helpers of the transform tests: samples as doubles, and direct models of
// the Fourier spectrum in its packed layout, computed in double.
#pragma once

#include <cmath>
#include <cstring>
#include <random>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "kit.h"

namespace tkit {

// work(w, h) returns the bytes of a run on that size. Two sizes run in two
// threads at once, then one after the other on this thread: the results
// must agree, whatever tables each thread keeps.
template <class Work>
void expectThreadsAgree(Work work, int w1, int h1, int w2, int h2) {
    std::vector<uint8_t> a, b;
    std::thread t1([&] { a = work(w1, h1); }), t2([&] { b = work(w2, h2); });
    t1.join();
    t2.join();
    EXPECT_EQ(a, work(w1, h1));
    EXPECT_EQ(b, work(w2, h2));
}

inline double value(const ZolImage* im, int x, int y, int c = 0) {
    const int64_t v = kit::get(im, x, y, c);
    if (im->depth != ZOL_DEPTH_32F) return double(v);
    float f;
    const uint32_t b = uint32_t(v);
    std::memcpy(&f, &b, 4);
    return f;
}

inline void setValue(ZolImage* im, int x, int y, int c, double v) {
    if (im->depth != ZOL_DEPTH_32F) return kit::set(im, x, y, c, int64_t(v));
    const float f = float(v);
    uint32_t b;
    std::memcpy(&b, &f, 4);
    kit::set(im, x, y, c, int64_t(b));
}

// Uniform integers in [lo, hi] over every channel of the whole image.
inline void fill(ZolImage* im, uint32_t seed, int lo, int hi) {
    std::mt19937 g(seed);
    std::uniform_int_distribution<int> u(lo, hi);
    for (int c = 0; c < im->nChannels; ++c)
        for (int y = 0; y < im->height; ++y)
            for (int x = 0; x < im->width; ++x) setValue(im, x, y, c, u(g));
}

// The packed spectrum of a real W x H signal f (row-major), by the direct
// double sum with kernel exp(-sign 2 pi i (ux/W + vy/H)).
inline std::vector<double> packedSpectrum(const std::vector<double>& f, int W, int H, int sign) {
    const double pi = std::acos(-1.0);
    auto F = [&](int v, int u, double* re, double* im) {
        double r = 0, i = 0;
        for (int y = 0; y < H; ++y)
            for (int x = 0; x < W; ++x) {
                const double a = -sign * 2 * pi * (double(u * x % W) / W + double(v * y % H) / H);
                r += f[size_t(y) * W + x] * std::cos(a);
                i += f[size_t(y) * W + x] * std::sin(a);
            }
        *re = r;
        *im = i;
    };
    std::vector<double> out(size_t(W) * H);
    auto at = [&](int x, int y) -> double& { return out[size_t(y) * W + x]; };
    const int KW = (W & 1) ? (W - 1) / 2 : W / 2 - 1, KH = (H & 1) ? (H - 1) / 2 : H / 2 - 1;
    double re, im;
    // Columns of the real horizontal frequencies, packed along y.
    for (int side = 0; side < 2; ++side) {
        if (side == 1 && (W & 1)) break;
        const int u = side ? W / 2 : 0, x = side ? W - 1 : 0;
        F(0, u, &re, &im);
        at(x, 0) = re;
        for (int m = 1; m <= KH; ++m) {
            F(m, u, &re, &im);
            at(x, 2 * m - 1) = re;
            at(x, 2 * m) = im;
        }
        if (!(H & 1) && H > 1) {
            F(H / 2, u, &re, &im);
            at(x, H - 1) = re;
        }
    }
    for (int k = 1; k <= KW; ++k)
        for (int y = 0; y < H; ++y) {
            F(y, k, &re, &im);
            at(2 * k - 1, y) = re;
            at(2 * k, y) = im;
        }
    // One column: the packing runs along y.
    if (W == 1 && H > 1) return packedSpectrum(f, H, 1, sign);
    return out;
}

}  // namespace tkit
