// Every kernel-table entry of every form this CPU runs against the plain
// entry, byte for byte: lengths 0 to 67 and a long run, four alignments,
// out of place and in place, on data drawn mostly from the edges of each
// element width (and float specials), with the bytes after every run
// checked unchanged.
//
// A family with a SIMD form adds its table here: a function listing its
// entries, and a line in kFamilies.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "arith/alpha.h"
#include "arith/constant.h"
#include "arith/copy.h"
#include "arith/dyadic.h"
#include "arith/logic.h"
#include "colour/kernels.h"
#include "core/simd.h"
#include "filter/convolve.h"
#include "measure/moments.h"
#include "measure/norm.h"
#include "measure/threshold.h"
#include "filter/rank.h"
#include "geometry/mirror.h"
#include "geometry/warp.h"

namespace {

using Bytes = std::vector<uint8_t>;

// What a call may need beyond its runs, drawn afresh for every call.
struct Param {
    uint32_t bits;  // logic patterns and shift counts
    int32_t i;      // integer constants
    float f;        // float constants
};

// One entry of a table: a and b are the sources (b unused by one-source
// kernels), d the destination, n elements of size bytes each.
struct Entry {
    std::string name;
    size_t size;
    bool pair;
    std::function<void(const uint8_t* a, const uint8_t* b, uint8_t* d, size_t n, const Param& p)>
        call;
    bool inPlace = true;  // false where d holds fewer bytes than a (colour to gray)
};

template <class T>
Entry shiftEntry(const char* name, zol::ShiftRunFn<T> fn) {
    return {name, sizeof(T), false,
            [fn](const uint8_t* a, const uint8_t*, uint8_t* d, size_t n, const Param& p) {
                // 0 < count < width; other counts never reach the kernels.
                fn(reinterpret_cast<const T*>(a), reinterpret_cast<T*>(d), n,
                   1 + p.bits % (8 * sizeof(T) - 1));
            }};
}

std::vector<Entry> logicEntries() {
    const zol::LogicKernels& k = zol::logicKernels();
    std::vector<Entry> e;
    for (auto [name, fn] : {std::pair{"and", k.andRun}, {"or", k.orRun}, {"xor", k.xorRun}})
        e.push_back({name, 1, true,
                     [fn = fn](const uint8_t* a, const uint8_t* b, uint8_t* d, size_t n,
                               const Param&) { fn(a, b, d, n); }});
    for (auto [name, fn] : {std::pair{"andPattern", k.andConstRun},
                            {"orPattern", k.orConstRun}, {"xorPattern", k.xorConstRun}})
        e.push_back({name, 1, false,
                     [fn = fn](const uint8_t* a, const uint8_t*, uint8_t* d, size_t n,
                               const Param& p) { fn(a, d, n, p.bits); }});
    e.push_back(shiftEntry("shl8", k.shl8));
    e.push_back(shiftEntry("shl16", k.shl16));
    e.push_back(shiftEntry("shl32", k.shl32));
    e.push_back(shiftEntry("shr8u", k.shr8u));
    e.push_back(shiftEntry("shr8s", k.shr8s));
    e.push_back(shiftEntry("shr16u", k.shr16u));
    e.push_back(shiftEntry("shr16s", k.shr16s));
    e.push_back(shiftEntry("shr32s", k.shr32s));
    return e;
}

constexpr size_t kRowSizes[] = {1, 1, 2, 2, 4, 4};  // 8U 8S 16U 16S 32S 32F
constexpr const char* kRowNames[] = {"8u", "8s", "16u", "16s", "32s", "32f"};

std::vector<Entry> dyadicEntries() {
    const zol::DyadicKernels& k = zol::dyadicKernels();
    static const char* const ops[] = {"add", "sub", "mul"};
    std::vector<Entry> e;
    for (int row = 0; row < zol::kDyDepths; ++row)
        for (int op = 0; op < zol::kDyOps; ++op)
            e.push_back({std::string(ops[op]) + kRowNames[row], kRowSizes[row], true,
                         [fn = k.run[row][op]](const uint8_t* a, const uint8_t* b, uint8_t* d,
                                               size_t n, const Param&) { fn(a, b, d, n); }});
    e.push_back({"andNot", 4, true,
                 [fn = k.andNot](const uint8_t* a, const uint8_t* b, uint8_t* d, size_t n,
                                 const Param&) {
                     fn(reinterpret_cast<const uint32_t*>(a), reinterpret_cast<const uint32_t*>(b),
                        reinterpret_cast<uint32_t*>(d), n);
                 }});
    return e;
}

std::vector<Entry> constantEntries() {
    const zol::ConstKernels& k = zol::constKernels();
    static const char* const ops[] = {"sub", "subRev", "add", "mul", "sqr", "abs"};
    std::vector<Entry> e;
    for (int row = 0; row < zol::kCsDepths; ++row)
        for (int op = 0; op < zol::kCsOps; ++op) {
            const zol::ConstRunFn fn = k.run[row][op];
            // The same holes in every form: the front end relies on them.
            if (!fn) {
                e.push_back({std::string(ops[op]) + kRowNames[row], kRowSizes[row], false, nullptr});
                continue;
            }
            e.push_back({std::string(ops[op]) + kRowNames[row], kRowSizes[row], false,
                         [fn](const uint8_t* a, const uint8_t*, uint8_t* d, size_t n,
                              const Param& p) { fn(a, d, n, zol::CsValue{p.i, p.f}); }});
        }
    return e;
}

// The convolution kernels read taps beyond the run (up to 24 bytes); each
// works on a copy of its sources, so in place means the same numbers.
std::vector<Entry> convEntries() {
    const zol::ConvKernels& k = zol::convKernels();
    std::vector<Entry> e;
    auto copy = [](const uint8_t* a, size_t n) { return Bytes(a, a + n + 32); };
    for (int P : {1, 3}) {
        const std::string p = std::to_string(P);
        for (auto [name, fn] : {std::pair{"whole3x3/", k.whole3x3}, {"whole5x5/", k.whole5x5}})
            e.push_back({name + p, 2, false,
                         [fn = fn, P, copy](const uint8_t* a, const uint8_t*, uint8_t* d, size_t n,
                                            const Param& q) {
                             const Bytes s = copy(a, n);
                             const uint8_t* rows[5] = {&s[0], &s[1], &s[5], &s[2], &s[7]};
                             int32_t c[25];
                             for (int i = 0; i < 25; ++i) c[i] = int8_t(q.bits >> (i % 4 * 8)) % 5;
                             std::vector<int16_t> acc(n + 1);
                             fn(acc.data(), rows, 1, c, P, int(n));
                             std::memcpy(d, acc.data(), 2 * n);
                         }});
        e.push_back({"row/" + p, 2, true,
                     [fn = k.row, P, copy](const uint8_t* a, const uint8_t* b, uint8_t* d, size_t n,
                                           const Param& q) {
                         const Bytes s = copy(a, n);
                         std::vector<int16_t> acc(n + 1);
                         std::memcpy(acc.data(), b, 2 * n);  // b's bytes: what is added to
                         const int32_t c[7] = {1, -1, 3, int32_t(q.bits % 9) - 4, 0, 2, -7};
                         fn(acc.data(), s.data(), c, int(1 + q.bits % 7), P, int(n), q.bits & 1);
                         std::memcpy(d, acc.data(), 2 * n);
                     }});
        // Row sums within 16 bits: line values and taps kept small.
        e.push_back({"sepRowShort/" + p, 1, false,
                     [fn = k.sepRowShort, P, copy](const uint8_t* a, const uint8_t*, uint8_t* d,
                                                   size_t n, const Param& q) {
                         const Bytes s = copy(a, n);
                         std::vector<int16_t> t(n + 32);
                         for (size_t u = 0; u < t.size(); ++u) t[u] = int16_t(s[u] * 16 - 2040);
                         const int32_t c[7] = {1, 2, -1, int32_t(q.bits % 3), 1, -2, 1};
                         fn(d, t.data(), c, int(1 + q.bits % 7), P, int(n), int(q.bits >> 8 & 31),
                            0, q.bits & 2 ? 1 : 255);
                     }});
        e.push_back({"sepRow/" + p, 1, false,
                     [fn = k.sepRow, P, copy](const uint8_t* a, const uint8_t*, uint8_t* d,
                                              size_t n, const Param& q) {
                         const Bytes s = copy(a, n);  // 16-bit line values from bytes
                         std::vector<int16_t> t(n + 32);
                         for (size_t u = 0; u < t.size(); ++u) t[u] = int16_t(s[u] * 251 - 32000);
                         const int32_t c[7] = {1, 2, int32_t(q.bits % 301) - 150, -3, 1, 4, 9};
                         const bool bit = q.bits & 2;  // 1U or 8U
                         fn(d, t.data(), c, int(1 + q.bits % 7), P, int(n), int(q.bits >> 8 & 31),
                            0, bit ? 1 : 255);
                     }});
    }
    e.push_back({"store", 1, false,
                 [fn = k.store](const uint8_t* a, const uint8_t*, uint8_t* d, size_t n,
                                const Param& q) {
                     std::vector<int16_t> v(n + 1);
                     for (size_t u = 0; u < n; ++u) v[u] = int16_t(a[u] * 251 - 32000);
                     fn(d, v.data(), int(n), 0, q.bits & 1 ? 1 : 255);
                 }});
    e.push_back({"sepColumn", 2, false,
                 [fn = k.sepColumn, copy](const uint8_t* a, const uint8_t*, uint8_t* d, size_t n,
                                          const Param& q) {
                     const Bytes s = copy(a, n);
                     const uint8_t* rows[12];
                     int32_t c[12];
                     for (int j = 0; j < 12; ++j) rows[j] = &s[size_t(j)], c[j] = int32_t(q.bits >> j % 8 & 7) - 3;
                     std::vector<int16_t> t(n + 1);
                     fn(t.data(), rows, c, int(1 + q.bits % 12), int64_t(n));
                     std::memcpy(d, t.data(), 2 * n);
                 }});
    e.push_back({"tap", 4, true,
                 [fn = k.tap](const uint8_t* a, const uint8_t* b, uint8_t* d, size_t n,
                              const Param& q) {
                     std::vector<float> acc(n + 1), s(n + 1);
                     std::memcpy(acc.data(), b, 4 * n);
                     std::memcpy(s.data(), a, 4 * n);
                     fn(acc.data(), s.data(), double(q.f), int(n));
                     std::memcpy(d, acc.data(), 4 * n);
                 }});
    return e;
}

// The swap changes both runs: d, a copy of a, takes b's bytes and b's
// copy takes a's, which are then folded into d so that one comparison
// sees both.
std::vector<Entry> copyEntries() {
    const zol::CopyKernels& k = zol::copyKernels();
    std::vector<Entry> e;
    // 8-byte patterns, and every so often one repeated byte.
    e.push_back({"fill", 1, false,
                 [fn = k.fillRow](const uint8_t*, const uint8_t*, uint8_t* d, size_t n,
                                  const Param& p) {
                     const uint64_t pattern = p.bits % 4 ? uint64_t(p.bits) * 0x9E3779B97F4A7C15ull
                                                         : (p.bits >> 8 & 0xFF) * 0x0101010101010101ull;
                     fn(d, n, pattern);
                 }});
    e.push_back({"swap", 1, false,
                 [fn = k.swapRow](const uint8_t* a, const uint8_t* b, uint8_t* d, size_t n,
                                  const Param&) {
                     std::memmove(d, a, n);
                     Bytes other(b, b + n);
                     fn(d, other.data(), n);
                     for (size_t i = 0; i < n; ++i) d[i] = uint8_t(d[i] + 3 * other[i]);
                 }});
    return e;
}

// Three-byte pixels; the twist's matrix comes from the call's bits, its
// sums within 32 bits as the front end guarantees.
std::vector<Entry> colourEntries() {
    const zol::ColourKernels& k = zol::colourKernels();
    std::vector<Entry> e;
    e.push_back({"ycc8", 3, false, [fn = k.ycc8](const uint8_t* a, const uint8_t*, uint8_t* d, size_t n,
                                                 const Param& p) { fn(a, d, n, p.bits & 1); }});
    e.push_back({"gray8", 3, false, [fn = k.gray8](const uint8_t* a, const uint8_t*, uint8_t* d, size_t n,
                                                   const Param& p) { fn(a, d, n, p.bits & 1); },
                 false});
    for (auto [name, fn] : {std::pair{"yuv8", k.yuv8}, {"xyz8", k.xyz8}, {"hsv8", k.hsv8}, {"hsvBack8", k.hsvBack8}})
        e.push_back({name, 3, false, [fn = fn](const uint8_t* a, const uint8_t*, uint8_t* d, size_t n,
                                               const Param& p) { fn(a, d, n, p.bits & 1); }});
    e.push_back({"twist8", 3, false, [fn = k.twist8](const uint8_t* a, const uint8_t*, uint8_t* d,
                                                     size_t n, const Param& p) {
                     std::mt19937 g(p.bits);
                     zol::Twist8 t;
                     for (auto& row : t.m)
                         for (int32_t& v : row)  // 16-bit weights at times: another route
                             v = p.bits & 2 ? int32_t(g() % 65536) - 32768 : int32_t(g() % (1u << 21)) - (1 << 20);
                     t.shift = int(p.bits % 32);
                     t.offset = std::max(-512, std::min(512, p.i));
                     fn(a, d, n, t);
                 }});
    return e;
}

// Compositing rows read colours A, B from a, b and take b, a as the alphas;
// they write a scratch row, copied to d, since their output is never a source.
template <class T>
std::vector<Entry> alphaDepth(const zol::AlphaKernels& k, const char* depth) {
    std::vector<Entry> e;
    for (int r = 0; r < zol::kRoutes; ++r)
        for (int op = 0; op < zol::kOperators; ++op) {
            const std::string name = std::string(depth) + " route " + std::to_string(r) + " op " +
                                     std::to_string(op);
            for (int pm = 0; pm < 2; ++pm)
                e.push_back({name + (pm ? " premul" : ""), sizeof(T), true,
                             [fn = zol::colourRow<T>(k, op, zol::CompositeRoute(r), pm)](
                                 const uint8_t* a, const uint8_t* b, uint8_t* d, size_t n,
                                 const Param&) {
                                 std::vector<T> out(n + 1);
                                 const T* A = reinterpret_cast<const T*>(a);
                                 const T* B = reinterpret_cast<const T*>(b);
                                 fn(int(n), A, B, B, A, out.data());
                                 std::memcpy(d, out.data(), n * sizeof(T));
                             }});
            e.push_back(
                {name + " alpha", sizeof(T), true,
                 [fn = zol::alphaRow<T>(k, op, zol::CompositeRoute(r))](
                     const uint8_t* a, const uint8_t* b, uint8_t* d, size_t n, const Param&) {
                     std::vector<T> out(n + 1);
                     fn(int(n), reinterpret_cast<const T*>(a), reinterpret_cast<const T*>(b),
                        out.data());
                     std::memcpy(d, out.data(), n * sizeof(T));
                 }});
        }
    return e;
}

std::vector<Entry> alphaEntries() {
    const zol::AlphaKernels& k = zol::alphaKernels();
    std::vector<Entry> e = alphaDepth<uint8_t>(k, "8u");
    for (Entry& x : alphaDepth<uint16_t>(k, "16u")) e.push_back(std::move(x));
    // RGBA rows that write every byte, so in-place calls compare too.
    const zol::RgbaAlphas hows[] = {{0, 0, 0, 0, true}, {1, 2, 77, 0, true}, {0, 1, 0, 200, true}};
    for (int r = 1; r < zol::kRoutes; ++r)
        for (int op = 0; op < zol::kOperators; ++op)
            for (int pm = 0; pm < 2; ++pm)
                for (const zol::RgbaAlphas& how : hows)
                    e.push_back({"rgba route " + std::to_string(r) + " op " + std::to_string(op) +
                                     (pm ? " premul" : "") + " from " + std::to_string(how.aFrom) +
                                     std::to_string(how.bFrom),
                                 4, true,
                                 [fn = k.rgba8[r][op][pm], how](
                                     const uint8_t* a, const uint8_t* b, uint8_t* d, size_t n,
                                     const Param&) { fn(int(n), a, b, d, how); }});
    e.push_back({"mulScale8u", 1, true,
                 [fn = k.mul8](const uint8_t* a, const uint8_t* b, uint8_t* d, size_t n,
                               const Param&) { fn(d, a, b, n); }});
    e.push_back({"mulSScale8u", 1, false,
                 [fn = k.mulS8](const uint8_t* a, const uint8_t*, uint8_t* d, size_t n,
                                const Param& p) { fn(d, a, p.bits & 0xFF, n); }});
    return e;
}

// A measure's result fills the destination's n bytes, its 8 bytes repeated.
void putResult(uint8_t* d, size_t n, uint64_t r) {
    for (size_t k = 0; k < n; ++k) d[k] = uint8_t(r >> (8 * (k & 7)));
}

std::vector<Entry> normEntries() {
    const zol::NormKernels& k = zol::normKernels();
    std::vector<Entry> e;
    for (auto [name, fn] : {std::pair{"sum8", k.sum8}, {"sumSq8", k.sumSq8}, {"max8", k.max8}})
        e.push_back({name, 1, false,
                     [fn = fn](const uint8_t* a, const uint8_t*, uint8_t* d, size_t n,
                               const Param&) { putResult(d, n, fn(a, n)); }});
    for (auto [name, fn] : {std::pair{"sumDiff8", k.sumDiff8}, {"sumSqDiff8", k.sumSqDiff8},
                            {"maxDiff8", k.maxDiff8}})
        e.push_back({name, 1, true,
                     [fn = fn](const uint8_t* a, const uint8_t* b, uint8_t* d, size_t n,
                               const Param&) { putResult(d, n, fn(a, b, n)); }});
    return e;
}

std::vector<Entry> momentEntries() {
    return {{"rows8", 1, false,
             [fn = zol::momentKernels().rows8](const uint8_t* a, const uint8_t*, uint8_t* d,
                                               size_t n, const Param& p) {
                 int64_t r[4] = {};
                 fn(a, n, int64_t(p.bits % 5000), r);  // sums far inside 64 bits
                 putResult(d, n, uint64_t(r[0] ^ r[1] * 3 ^ r[2] * 5 ^ r[3] * 7));
             }}};
}

std::vector<Entry> thresholdEntries() {
    return {{"run8", 1, false,
             [fn = zol::thresholdKernels().run8](const uint8_t* a, const uint8_t*, uint8_t* d,
                                                 size_t n, const Param& p) {
                 fn(a, d, n, uint8_t(p.bits));
             }}};
}

// The rank kernels read up to 22 bytes beyond the run, from a copy.
std::vector<Entry> rankEntries() {
    const zol::RankKernels& k = zol::rankKernels();
    std::vector<Entry> e;
    using Call = std::function<void(const uint8_t*, uint8_t*, size_t, int, uint32_t)>;
    auto entry = [&](const std::string& name, Call fn) {
        e.push_back({name, 1, false, [fn](const uint8_t* a, const uint8_t*, uint8_t* d, size_t n, const Param& q) {
                         const Bytes s(a, a + n + 32);
                         fn(s.data(), d, n, 0, q.bits);
                     }});
    };
    for (int P : {1, 3}) {
        const std::string p = "/" + std::to_string(P);
        entry("median3" + p, [fn = k.median3, P](const uint8_t* s, uint8_t* d, size_t n, int, uint32_t) {
            const uint8_t* rows[3] = {s, s + 5, s + 9};
            Bytes lo(n + 8), mi(n + 8), hi(n + 8);
            fn(d, rows, P, int(n), lo.data(), mi.data(), hi.data());
        });
        entry("median5" + p, [fn = k.median5, P](const uint8_t* s, uint8_t* d, size_t n, int, uint32_t) {
            const uint8_t* rows[5] = {s, s + 1, s + 3, s + 6, s + 10};
            fn(d, rows, P, int(n));
        });
        for (auto [name, fn] : {std::pair{"hmax", k.hmax}, {"hmin", k.hmin}})
            entry(name + p, [fn = fn, P](const uint8_t* s, uint8_t* d, size_t n, int, uint32_t bits) {
                fn(d, s, int(1 + bits % 8), P, int(n));
            });
    }
    for (auto [name, fn] : {std::pair{"vmax", k.vmax}, {"vmin", k.vmin}})
        entry(name, [fn = fn](const uint8_t* s, uint8_t* d, size_t n, int, uint32_t bits) {
            const uint8_t* rows[7];
            for (int j = 0; j < 7; ++j) rows[j] = s + 3 * j;
            fn(d, rows, int(1 + bits % 7), int64_t(n));
        });
    return e;
}

std::vector<Entry> mirrorEntries() {
    std::vector<Entry> e;
    for (int ch : {1, 3, 4})
        e.push_back({"reverse8 c" + std::to_string(ch), size_t(ch), false,
                     [ch, fn = zol::geo::mirrorKernels().reverse8](
                         const uint8_t* a, const uint8_t*, uint8_t* d, size_t n,
                         const Param&) { fn(a, d, int(n), ch); },
                     false});
    return e;
}

// The run as a plane of 5-pixel rows of 1 or 3 channels (the last word
// read at its very end), sampled at positions spread over it and past its
// edges.
std::vector<Entry> warpEntries() {
    std::vector<Entry> e;
    for (int ch : {1, 3})
        e.push_back({"perspectiveLinear8 c" + std::to_string(ch), 1, false,
                     [ch, fn = zol::geo::warpKernels().perspectiveLinear8](const uint8_t* a, const uint8_t*, uint8_t* d,
                                                                            size_t n, const Param& p) {
                         const int ih = int(n) / (5 * ch), count = int(n) / ch;
                         if (ih < 2) return;
                         std::vector<double> nu(n), nv(n), dn(n);
                         for (int k = 0; k < count; ++k) {
                             dn[k] = 0.5 + double((p.bits >> (k % 24)) & 7) / 8;
                             nu[k] = (double(k % 9) * 0.61 - 1.2) * dn[k];
                             nv[k] = (double(k % 13) * double(ih) / 11.0 - 0.7) * dn[k];
                         }
                         fn(nu.data(), nv.data(), dn.data(), count, a, 5 * ch, ch, 5, ih, int(p.bits % 3), 0,
                            ptrdiff_t(n), d);
                     },
                     false});
    // Affine rows over the same plane: steps across it, along it, and (linear)
    // so far that positions leave the 32-bit range of the lanes. Cubic rows
    // stay within a few pixels of the plane, as the warps' positions do: far
    // away the plain cubic's 64-bit sums would overflow.
    const zol::geo::WarpKernels& k = zol::geo::warpKernels();
    for (bool cubic : {false, true})
        for (int ch : {1, 3})
            e.push_back({std::string(cubic ? "affineCubic8 c" : "affineLinear8 c") + std::to_string(ch), 1, false,
                         [ch, cubic, fn = cubic ? k.affineCubic8 : k.affineLinear8](
                             const uint8_t* a, const uint8_t*, uint8_t* d, size_t n, const Param& p) {
                             const int ih = int(n) / (5 * ch), count = int(n) / ch;
                             if (ih < (cubic ? 4 : 2)) return;
                             auto pick = [&](int64_t extent, int sel) {
                                 const int64_t span = (extent << 16) / count, r = int64_t(p.bits % 65536) - 32768;
                                 const int64_t steps[4] = {cubic ? r * 8 / count : r, span, -span,
                                                           cubic ? span / 2 : (int64_t(1) << 22) + p.bits % 999};
                                 return steps[sel & 3];
                             };
                             const int64_t A = pick(7, int(p.bits >> 3)), E = pick(ih + 2, int(p.bits >> 5));
                             // From before the near edge, or beyond the far one when stepping back.
                             const int64_t u = (A < 0 ? int64_t(6) << 16 : -65536) + (p.bits >> 7 & 0x1FFFF);
                             const int64_t v = (E < 0 ? int64_t(ih) << 16 : -65536) + (p.bits >> 11 & 0x1FFFF);
                             fn(u, v, A, E, count, a, 5 * ch, ch, 5, ih, ptrdiff_t(n), d);
                         },
                         false});
    return e;
}

struct Family {
    const char* name;
    std::vector<Entry> (*entries)();
    zol::Form (*picked)();
};

const Family kFamilies[] = {
    {"logic", logicEntries, zol::logicForm},
    {"dyadic", dyadicEntries, zol::dyadicForm},
    {"constant", constantEntries, zol::constForm},
    {"copy", copyEntries, zol::copyForm},
    {"convolution", convEntries, zol::convForm},
    {"colour", colourEntries, zol::colourForm},
    {"alpha", alphaEntries, zol::alphaForm},
    {"norm", normEntries, zol::normForm},
    {"moments", momentEntries, zol::momentsForm},
    {"threshold", thresholdEntries, zol::thresholdForm},
    {"rank", rankEntries, zol::rankForm},
    {"mirror", mirrorEntries, zol::geo::mirrorForm},
    {"warp", warpEntries, zol::geo::warpForm},
};

// Bytes mostly from the edges of 8-, 16- and 32-bit elements, which makes
// saturation, sign changes, float zeros, infinities and NaNs common. Runs
// are cut from it at random places.
struct Pool {
    Bytes bytes = Bytes(1 << 16);
    explicit Pool(std::mt19937& g) {
        static const uint8_t edges[] = {0x00, 0x01, 0x7F, 0x80, 0xFF, 0xC0};
        for (auto& x : bytes) x = g() % 3 ? edges[g() % std::size(edges)] : uint8_t(g());
    }
    Bytes cut(std::mt19937& g, size_t n) const {
        const size_t at = g() % (bytes.size() - n);
        return Bytes(bytes.begin() + ptrdiff_t(at), bytes.begin() + ptrdiff_t(at + n));
    }
};

// Constants on both sides of each bound an element width has, the ends of
// int, and random ones; floats from random bits (NaNs among them) or
// ordinary values.
Param drawParam(std::mt19937& g) {
    static const int32_t edges[] = {0,      1,      -1,     127,     128,     -128,    -129,
                                    255,    256,    -255,   -256,    -257,    510,     511,
                                    32767,  32768,  -32768, -32769,  65535,   65536,   -65535,
                                    -65536, 131071, INT_MAX, INT_MIN, INT_MIN + 1};
    Param p;
    p.bits = uint32_t(g());
    p.i = g() % 4 ? edges[g() % std::size(edges)] : int32_t(g());
    if (g() % 2) {
        const uint32_t u = uint32_t(g());
        std::memcpy(&p.f, &u, 4);
    } else {
        p.f = float(int(g() % 2001) - 1000) / 8.0f;
    }
    return p;
}

TEST(SimdForms, EveryEntryEqualsPlain) {
    const zol::Form saved = zol::formCap();
    std::vector<size_t> lengths;
    for (size_t n = 0; n <= 67; ++n) lengths.push_back(n);
    lengths.push_back(4099);
    constexpr size_t kSlack = 64;  // canary bytes after the longest run
    std::mt19937 g(2024);
    const Pool pool(g);
    int formsRun = 0;
    for (int f = 1; f < zol::kForms; ++f) {
        const zol::Form form = zol::Form(f);
        if (!zol::formRuns(form)) continue;
        ++formsRun;
        for (const Family& fam : kFamilies) {
            zol::setFormCap(zol::Form::Plain);
            const std::vector<Entry> plain = fam.entries();
            zol::setFormCap(form);
            ASSERT_EQ(form, fam.picked()) << fam.name;
            const std::vector<Entry> simd = fam.entries();
            ASSERT_EQ(plain.size(), simd.size());
            for (size_t i = 0; i < plain.size(); ++i) {
                const Entry &want = plain[i], &got = simd[i];
                ASSERT_EQ(!want.call, !got.call) << fam.name << " " << want.name;
                if (!want.call) continue;
                for (size_t off = 0; off < 4; ++off)
                    for (size_t n : lengths) {
                        SCOPED_TRACE(testing::Message()
                                     << zol::formName(form) << " " << fam.name << " "
                                     << want.name << " offset " << off << " n " << n);
                        const size_t at = off * want.size, bytes = n * want.size;
                        const size_t total = at + bytes + kSlack;
                        const Bytes a = pool.cut(g, total), b = pool.cut(g, total);
                        const Bytes junk = pool.cut(g, total);
                        const Param p = drawParam(g);
                        Bytes w(junk), o(junk), onA(a), onB(b);
                        want.call(&a[at], &b[at], &w[at], n, p);
                        got.call(&a[at], &b[at], &o[at], n, p);
                        ASSERT_EQ(w, o) << "param " << p.bits << " " << p.i << " " << p.f;
                        if (!want.inPlace) continue;
                        got.call(&onA[at], &b[at], &onA[at], n, p);
                        ASSERT_EQ(0, std::memcmp(&w[at], &onA[at], bytes)) << "in place of a";
                        if (!want.pair) continue;
                        got.call(&a[at], &onB[at], &onB[at], n, p);
                        ASSERT_EQ(0, std::memcmp(&w[at], &onB[at], bytes)) << "in place of b";
                    }
            }
        }
    }
    zol::setFormCap(saved);
    if (formsRun == 0) GTEST_SKIP() << "this CPU runs no SIMD form of this build";
}

}  // namespace
