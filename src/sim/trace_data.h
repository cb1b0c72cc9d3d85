// The simulated measurement: a deterministic spectrum-like curve (noise
// floor, a few peaks, pseudo-random noise), produced point by point so a
// trace of any length streams without being held in memory.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "response.h"

namespace qv::sim {

// Level in dBm of point `index` of trace `trace` (1-based) out of `points`.
float traceValue(int trace, uint32_t index, uint32_t points);

// The peaks of a trace as a peak search finds them: the highest point
// near each peak of the curve, highest level first.
struct TracePeak {
    uint32_t index = 0;
    float level = 0;  // dBm
};
std::vector<TracePeak> tracePeaks(int trace, uint32_t points);

// The result summary of a digital demodulation measurement for a
// modulation ("QPSK", "8PSK", ...): 53 values in the order the instrument
// answers them (EVM, magnitude and phase error, carrier frequency error,
// amplitude droop, origin offset, IQ imbalance, mean power, RHO, trigger
// to sync).
std::vector<double> demodulationSummary(std::string_view format);

// REAL,32: little-endian float32 values, 4 bytes each.
std::shared_ptr<const Generator> makeBinaryTrace(int trace, uint32_t points);
// ASCii: values in fixed-width NR3 form ("-8.123456E+01") separated by ','.
std::shared_ptr<const Generator> makeAsciiTrace(int trace, uint32_t points);

}  // namespace qv::sim
