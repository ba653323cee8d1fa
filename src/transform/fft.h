// Internals of the Fourier family shared with its tests: the number forms
// and the one-dimensional transforms over a prepared length.
#pragma once

#include <cstdint>

#include "core/simd.h"

namespace zol {
namespace fft {

struct Cplx {
    float re, im;
};
struct CplxI {
    int32_t re, im;
};
// A fixed-point twiddle, 14 fractional bits, as the multiply-add takes it.
struct FixTw {
    int16_t c, s, ns, c2;
};

// One dimension of a call: its length, its way (fast for a power of two of
// at least 4) and the thread's tables that serve it.
struct Dim {
    int n = 0;
    bool fast = false;
    int L = 0;           // log2 n on the fast way
    bool pow2 = false;   // a power of two of at least 2
    int log = 0;         // log2 n for a power of two
    const Cplx* twHalf = nullptr;   // length n/2
    const Cplx* twFull = nullptr;   // length n
    const FixTw* twIHalf = nullptr;
    const FixTw* twIFull = nullptr;
    const int32_t* revHalf = nullptr;
    const int32_t* revFull = nullptr;
    const Cplx* split = nullptr;
    const Cplx* dirF = nullptr;     // direct sums, length n
    const FixTw* dirI = nullptr;
};

// Unnormalised transforms of one line; tmp holds 2 n elements. The real
// forward gives the one-dimensional packing, the real inverse takes it.
// sign +1 is the negative exponent.
void realForward(float* x, const Dim& d, int sign, float* tmp);
void realInverse(float* x, const Dim& d, int sign, float* tmp);
void complexTransform(Cplx* z, const Dim& d, int sign, Cplx* tmp);
void realForward(int32_t* x, const Dim& d, int sign, int32_t* tmp);
void realInverse(int32_t* x, const Dim& d, int sign, int32_t* tmp);
void complexTransform(CplxI* z, const Dim& d, int sign, CplxI* tmp);

// The radix-4 butterflies of the float route at one position of a stage,
// over n transforms side by side: element k of each of the four runs
// belongs to transform k. The butterfly without twiddles (position 0), the
// one at an eighth of the circle (constant 0.7071067781186547), and the
// general one with the twiddles w1, w2, w3 of the position.
using BflyFn = void (*)(Cplx* a, Cplx* b, Cplx* c, Cplx* d, int64_t n);
using BflyTwFn = void (*)(Cplx* a, Cplx* b, Cplx* c, Cplx* d, int64_t n, Cplx w1, Cplx w2,
                          Cplx w3);

// Negates the imaginary parts of n complex numbers.
using ConjFn = void (*)(Cplx* z, int64_t n);
// The fixed route's butterflies without twiddles and with them.
using BflyIFn = void (*)(CplxI* a, CplxI* b, CplxI* c, CplxI* d, int64_t n);
using BflyITwFn = void (*)(CplxI* a, CplxI* b, CplxI* c, CplxI* d, int64_t n, FixTw w1,
                           FixTw w2, FixTw w3);

struct FftKernels {
    BflyFn none, eighth;
    BflyTwFn general;
    ConjFn conj;
    BflyIFn noneI;
    BflyITwFn generalI;
};

namespace plain {
void bflyNone(Cplx* a, Cplx* b, Cplx* c, Cplx* d, int64_t n);
void bflyEighth(Cplx* a, Cplx* b, Cplx* c, Cplx* d, int64_t n);
void bflyGeneral(Cplx* a, Cplx* b, Cplx* c, Cplx* d, int64_t n, Cplx w1, Cplx w2, Cplx w3);
void conj(Cplx* z, int64_t n);
void bflyNoneI(CplxI* a, CplxI* b, CplxI* c, CplxI* d, int64_t n);
void bflyGeneralI(CplxI* a, CplxI* b, CplxI* c, CplxI* d, int64_t n, FixTw w1, FixTw w2,
                  FixTw w3);
}  // namespace plain

// The table for the active form, and the form it was made for.
const FftKernels& fftKernels();
Form fftForm();
// Lets the SIMD form override the entries it covers (fft_simd.cpp).
void fftSimd(Form form, FftKernels& k);

}  // namespace fft
}  // namespace zol
