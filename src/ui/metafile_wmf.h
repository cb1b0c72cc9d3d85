// Windows metafiles (WMF) drawn into pixels. Kept apart from the Qt code:
// the metafile library's headers define macros (U8, U16, ...) that collide
// with Qt's.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace qv::ui {

struct WmfLimits {
    int maxSide = 16384;             // pixels a side
    int64_t maxPixels = 32 << 20;    // pixels in all
    size_t memoryBudget = 256 << 20; // bytes the library may hold at once
    int timeBudgetMs = 4000;         // playing stops after this
};

// Where the drawing goes: called once with the picture's size, returns rows
// of 32-bit 0xAARRGGBB pixels (row i at result + i * stride pixels), or null
// to give up.
using WmfCanvas = std::function<uint32_t*(int width, int height, int& stride)>;

// Draws the metafile at its own size: from the placeable header at 96 dpi,
// else its picture's extent one unit a pixel, on white; smaller (keeping its
// shape) where that size exceeds the limits. False with a short
// reason when the bytes are no metafile, are corrupt, need more than the
// limits allow or the canvas refused.
bool renderWmf(const uint8_t* data, size_t size, const WmfLimits& limits, const WmfCanvas& canvas,
               std::string& why);

}  // namespace qv::ui
