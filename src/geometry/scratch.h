// Scratch blocks of one call from the library's allocator, all released
// together. A request that cannot be met (or whose size does not fit an
// int) gives NULL and marks the whole scratch failed.
#pragma once

#include <climits>
#include <cstdint>

#include "zol.h"

namespace zol {
namespace geo {

class Scratch {
public:
    Scratch() = default;
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;
    ~Scratch() {
        for (int i = 0; i < n_; ++i) zolFree(blocks_[i]);
    }

    template <class T>
    T* take(int64_t count) {
        const int64_t bytes = count * int64_t(sizeof(T)) + 16;  // room for vector tails
        void* p = nullptr;
        if (ok_ && n_ < kMax && count >= 0 && bytes <= INT_MAX) p = zolMalloc(int(bytes));
        if (!p) {
            ok_ = false;
            return nullptr;
        }
        blocks_[n_++] = p;
        return static_cast<T*>(p);
    }
    bool ok() const { return ok_; }

private:
    static constexpr int kMax = 16;
    void* blocks_[kMax] = {};
    int n_ = 0;
    bool ok_ = true;
};

}  // namespace geo
}  // namespace zol
