// Row kernel of the threshold over runs of 8U elements to 8U: 255 where
// the element is at or above t, else 0.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/simd.h"

namespace zol {

using ThresholdRunFn = void (*)(const uint8_t* s, uint8_t* d, size_t n, uint8_t t);

struct ThresholdKernels {
    ThresholdRunFn run8;
};

namespace plain {
void thresholdRun8(const uint8_t* s, uint8_t* d, size_t n, uint8_t t);
}

void thresholdSimd(Form form, ThresholdKernels& k);
const ThresholdKernels& thresholdKernels();
Form thresholdForm();

}  // namespace zol
