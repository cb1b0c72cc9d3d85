// Image files written into memory. Every writer returns false (leaving
// `out` empty) for a raster that is not valid() or a format it cannot hold.
#pragma once

#include <cstdint>
#include <vector>

#include "imaging/raster.h"

namespace qv::imaging {

// Windows bitmap, bottom-up. bitsPerPixel 24, or 8 / 4 with a palette of
// the raster's own colours (false when it has more than the depth holds).
bool writeBmp(const Raster& r, std::vector<uint8_t>& out, int bitsPerPixel = 24);
// PCX version 5, run-length encoded: 8 bits with a 256-colour palette when
// the raster has at most 256 colours, else 24 bits in three planes.
bool writePcx(const Raster& r, std::vector<uint8_t>& out);
// Through FreeImage. A raster of grey pixels only is stored as 8-bit grey.
bool writePng(const Raster& r, std::vector<uint8_t>& out);
bool writeJpeg(const Raster& r, std::vector<uint8_t>& out, int quality = 90);
// The raster as one picture record of a metafile: a placeable WMF with one
// META_STRETCHDIB, an EMF with one EMR_STRETCHDIBITS.
bool writeWmf(const Raster& r, std::vector<uint8_t>& out);
bool writeEmf(const Raster& r, std::vector<uint8_t>& out);

// Number of distinct colours, counting no further than `limit` + 1.
size_t countColors(const Raster& r, size_t limit);

}  // namespace qv::imaging
