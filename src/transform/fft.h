// Internals of the Fourier family shared with its tests: the number forms
// and the one-dimensional transforms over a prepared length.
#pragma once

#include <cstdint>

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

}  // namespace fft
}  // namespace zol
