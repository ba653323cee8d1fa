// The runtime heap as the library uses it for pixel blocks and aligned
// blocks, with a failure switch so tests can reach every out-of-memory path.
#pragma once

#include <cstddef>

namespace zol {

void* heapAlloc(size_t bytes);
void heapFree(void* p);

// Makes the n-th heap request from now fail (1 = the next one); 0 turns
// failures off. Counted per thread.
void setHeapFailure(int n);

}  // namespace zol
