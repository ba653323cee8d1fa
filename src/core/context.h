// The per-thread context: the library's only mutable state outside images.
#pragma once

#include <cstdint>

#include "zol.h"

namespace zol {

// Per-thread tables and work buffers of the Fourier family, owned by it;
// NULL until its first call.
struct FftCache {
    void* tables;
};

struct ZolThreadContext {
    int32_t status;
    int32_t errMode;
    ZolReportHandler reportHandler;
    int32_t cosTableSize;
    void* cosTable;
    int32_t secantTables16Count;
    void** secantTables16;
    int32_t secantTablesDoubleCount;
    void** secantTablesDouble;
    FftCache fftCache;
};

// The calling thread's context, created on first use. Never NULL: if its
// storage cannot be had the process ends.
ZolThreadContext* ownGetContext();

// Release of the transform caches at thread exit, in this order.
void ownFftFreeTables(ZolThreadContext* ctx);
void ownDctFreeTables(ZolThreadContext* ctx);

}  // namespace zol
