// The simulated measurement: a deterministic spectrum-like curve (noise
// floor, a few peaks, pseudo-random noise), produced point by point so a
// trace of any length streams without being held in memory.
#pragma once

#include <cstdint>
#include <memory>

#include "response.h"

namespace qv::sim {

// Level in dBm of point `index` of trace `trace` (1-based) out of `points`.
float traceValue(int trace, uint32_t index, uint32_t points);

// REAL,32: little-endian float32 values, 4 bytes each.
std::shared_ptr<const Generator> makeBinaryTrace(int trace, uint32_t points);
// ASCii: values in fixed-width NR3 form ("-8.123456E+01") separated by ','.
std::shared_ptr<const Generator> makeAsciiTrace(int trace, uint32_t points);

}  // namespace qv::sim
