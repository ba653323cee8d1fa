// The frame-variation harness: element-wise operations run on random
// configurations of the call frame (depths, layouts, sizes 1..67, ROIs at
// odd offsets, one channel, alpha on either side, up to three masks, tiled
// images with tile sizes of their own, in-place use) and are compared byte
// for byte with a per-pixel model.
#pragma once

#include <functional>
#include <vector>

#include "zol.h"

namespace kit {

// The destination element for the given source elements, all as kit::get
// gives them (bits for 32F, 0/1 for 1-bit); the result is stored by
// kit::set, so only its low bits of the depth's width count.
using ElementModel = std::function<int64_t(int depth, const int64_t* src)>;

// The operation under test on one or two sources.
using UnaryOp = std::function<void(ZolImage* src, ZolImage* dst)>;
using BinaryOp = std::function<void(ZolImage* a, ZolImage* b, ZolImage* dst)>;

struct FrameOptions {
    std::vector<int> depths;  // drawn from for each case
    int cases = 400;
    uint32_t seed = 0;        // first case's seed; case i uses seed + i
    bool tiles = true;
    bool masks = true;
    bool inPlace = true;
};

// Runs the cases; a failure names the case's seed and configuration, and
// the case can be rerun alone with cases = 1 and that seed.
void checkFrames(const UnaryOp& op, const ElementModel& model, const FrameOptions& options);
void checkFrames(const BinaryOp& op, const ElementModel& model, const FrameOptions& options);

}  // namespace kit
