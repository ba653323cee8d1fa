// Kernel records: made, read back and freed in the caller's terms, stored
// reversed with mirrored anchors so that the convolutions walk them forward.
#include <climits>

#include "core/messages.h"
#include "core/report.h"
#include "filter/convolve.h"

namespace zol {

namespace {

template <class K, class V, class In>
K* create(const char* func, int nCols, int nRows, int ax, int ay, const In* values) {
    if (!values) return report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kKValuesNull), nullptr;
    if (nRows <= 0 || nCols <= 0)
        return report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kKSize), nullptr;
    if (ax < 0 || ay < 0 || nRows <= ay || nCols <= ax)
        return report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kKAnchor), nullptr;
    const int64_t n = int64_t(nCols) * nRows;
    K* k = nullptr;
    V* v = nullptr;
    if (n * int64_t(sizeof(V)) <= INT_MAX) {
        k = static_cast<K*>(zolMalloc(int(sizeof(K))));
        v = static_cast<V*>(zolMalloc(int(n * int64_t(sizeof(V)))));
    }
    if (!k || !v) {
        zolFree(k);
        zolFree(v);
        return report(ZOL_STATUS_NO_MEMORY, func, msg::kAllocationFailure), nullptr;
    }
    k->nCols = nCols;
    k->nRows = nRows;
    k->anchorX = nCols - 1 - ax;
    k->anchorY = nRows - 1 - ay;
    for (int64_t i = 0; i < n; ++i) v[i] = V(values[n - 1 - i]);
    k->values = v;
    return k;
}

// The checks of the readers, in order; true when the fields may be written.
template <class K, class Out>
bool readable(const char* func, const K* k, int* nCols, int* nRows, int* ax, int* ay,
              Out** values) {
    if (!k) return report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kKernelNull), false;
    if (ownBadKernel(k))
        return report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kBadKernelRecord), false;
    if (!nRows) report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kOutNRows);
    if (!nCols) report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kOutNCols);
    if (zolGetErrStatus() < 0) return false;
    if (!ax) report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kOutAnchorX);
    if (!ay) report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kOutAnchorY);
    if (zolGetErrStatus() < 0) return false;
    if (!values) return report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kOutValues), false;
    return true;
}

template <class K, class Out>
void write(const K* k, int* nCols, int* nRows, int* ax, int* ay, Out** values) {
    *nCols = k->nCols;
    *nRows = k->nRows;
    *ax = k->nCols - 1 - k->anchorX;
    *ay = k->nRows - 1 - k->anchorY;
    const int64_t n = int64_t(k->nCols) * k->nRows;
    Out* out = *values;
    for (int64_t i = 0; i < n; ++i) out[i] = Out(k->values[n - 1 - i]);
}

template <class K>
void destroy(const char* func, K* k) {
    if (!k) return void(report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kKernelNull));
    if (!k->values) return void(report(ZOL_STATUS_BAD_ARGUMENT, func, msg::kKernelValuesNull));
    zolFree(k->values);
    zolFree(k);
}

}  // namespace

}  // namespace zol

using namespace zol;

ZolConvKernel* zolCreateConvKernel(int nCols, int nRows, int anchorX, int anchorY,
                                   const int* values, int nShiftR) {
    ZolConvKernel* k = create<ZolConvKernel, int32_t>(msg::kCreateConvKernel, nCols, nRows,
                                                      anchorX, anchorY, values);
    if (k) k->nShiftR = nShiftR;
    return k;
}

ZolConvKernel* zolCreateConvKernelChar(int nCols, int nRows, int anchorX, int anchorY,
                                       const signed char* values, int nShiftR) {
    ZolConvKernel* k = create<ZolConvKernel, int32_t>(msg::kCreateConvKernelChar, nCols, nRows,
                                                      anchorX, anchorY, values);
    if (k) k->nShiftR = nShiftR;
    return k;
}

ZolConvKernelFP* zolCreateConvKernelFP(int nCols, int nRows, int anchorX, int anchorY,
                                       const float* values) {
    return create<ZolConvKernelFP, float>(msg::kCreateConvKernelFP, nCols, nRows, anchorX,
                                          anchorY, values);
}

void zolGetConvKernel(const ZolConvKernel* kernel, int* nCols, int* nRows, int* anchorX,
                      int* anchorY, int** values, int* nShiftR) {
    const char* f = msg::kGetConvKernel;
    if (!readable(f, kernel, nCols, nRows, anchorX, anchorY, values)) return;
    if (!nShiftR) return void(report(ZOL_STATUS_BAD_ARGUMENT, f, msg::kOutShift));
    write(kernel, nCols, nRows, anchorX, anchorY, values);
    *nShiftR = kernel->nShiftR;
}

void zolGetConvKernelChar(const ZolConvKernel* kernel, int* nCols, int* nRows, int* anchorX,
                          int* anchorY, signed char** values, int* nShiftR) {
    const char* f = msg::kGetConvKernelChar;
    if (!readable(f, kernel, nCols, nRows, anchorX, anchorY, values)) return;
    if (!nShiftR) return void(report(ZOL_STATUS_BAD_ARGUMENT, f, msg::kOutShift));
    write(kernel, nCols, nRows, anchorX, anchorY, values);
    *nShiftR = kernel->nShiftR;
}

void zolGetConvKernelFP(const ZolConvKernelFP* kernel, int* nCols, int* nRows, int* anchorX,
                        int* anchorY, float** values) {
    if (!readable(msg::kGetConvKernelFP, kernel, nCols, nRows, anchorX, anchorY, values)) return;
    write(kernel, nCols, nRows, anchorX, anchorY, values);
}

void zolDeleteConvKernel(ZolConvKernel* kernel) { destroy(msg::kDeleteConvKernel, kernel); }

void zolDeleteConvKernelFP(ZolConvKernelFP* kernel) {
    destroy(msg::kDeleteConvKernelFP, kernel);
}
