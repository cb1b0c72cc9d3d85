#include "trace_data.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace qv::sim {

namespace {

// SplitMix64: cheap, stateless noise from (trace, index).
uint64_t mix(uint64_t x) {
    x += 0x9E3779B97F4A7C15ull;
    x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9ull;
    x = (x ^ (x >> 27)) * 0x94D049BB133111EBull;
    return x ^ (x >> 31);
}

constexpr size_t kAsciiWidth = 13;  // "-8.123456E+01"

class BinaryTrace final : public Generator {
public:
    BinaryTrace(int trace, uint32_t points) : trace_(trace), points_(points) {}
    uint64_t size() const override { return uint64_t(points_) * 4; }
    void fill(uint64_t offset, uint8_t* dst, size_t n) const override {
        while (n > 0) {
            uint32_t index = uint32_t(offset / 4);
            size_t within = size_t(offset % 4);
            float v = traceValue(trace_, index, points_);
            uint32_t bits;
            std::memcpy(&bits, &v, 4);
            uint8_t le[4] = {uint8_t(bits), uint8_t(bits >> 8), uint8_t(bits >> 16), uint8_t(bits >> 24)};
            size_t take = std::min(n, 4 - within);
            std::memcpy(dst, le + within, take);
            dst += take;
            offset += take;
            n -= take;
        }
    }

private:
    int trace_;
    uint32_t points_;
};

class AsciiTrace final : public Generator {
public:
    AsciiTrace(int trace, uint32_t points) : trace_(trace), points_(points) {}
    uint64_t size() const override { return points_ ? uint64_t(points_) * (kAsciiWidth + 1) - 1 : 0; }
    void fill(uint64_t offset, uint8_t* dst, size_t n) const override {
        while (n > 0) {
            uint32_t index = uint32_t(offset / (kAsciiWidth + 1));
            size_t within = size_t(offset % (kAsciiWidth + 1));
            char text[32];
            float v = traceValue(trace_, index, points_);
            int len = std::snprintf(text, sizeof text, "%+.6E", double(v));
            if (len != int(kAsciiWidth)) {
                std::memset(text, ' ', kAsciiWidth);  // cannot happen for our value range
            }
            text[kAsciiWidth] = ',';
            size_t take = std::min(n, kAsciiWidth + 1 - within);
            std::memcpy(dst, text + within, take);
            dst += take;
            offset += take;
            n -= take;
        }
    }

private:
    int trace_;
    uint32_t points_;
};

struct Peak {
    double at, width, level;  // place 0..1, width 0..1, milliwatts
};
// Peaks shaped like a resolution filter (Gaussian) over a gently
// rolling noise floor around -90 dBm.
constexpr Peak kPeaks[] = {{0.25, 0.004, 1e-3}, {0.52, 0.010, 2e-6}, {0.81, 0.002, 5e-5}};

}  // namespace

float traceValue(int trace, uint32_t index, uint32_t points) {
    double x = points > 1 ? double(index) / double(points - 1) : 0.0;
    double milliwatts = 1e-9 * (1.0 + 0.3 * std::sin(6.0 * x));
    for (const auto& p : kPeaks) {
        double d = (x - p.at) / p.width;
        if (d * d < 200) milliwatts += p.level * std::exp(-0.5 * d * d);
    }
    double db = 10.0 * std::log10(milliwatts);
    uint64_t r = mix((uint64_t(uint32_t(trace)) << 32) | index);
    double noise = (double(r >> 11) / double(1ull << 53) - 0.5) * 3.0;
    // Later traces sit a little higher, as max-hold traces do.
    double v = db + noise + 1.5 * (trace - 1);
    return float(std::clamp(v, -200.0, 100.0));
}

std::shared_ptr<const Generator> makeBinaryTrace(int trace, uint32_t points) {
    return std::make_shared<BinaryTrace>(trace, points);
}

std::shared_ptr<const Generator> makeAsciiTrace(int trace, uint32_t points) {
    return std::make_shared<AsciiTrace>(trace, points);
}


std::vector<TracePeak> tracePeaks(int trace, uint32_t points) {
    std::vector<TracePeak> out;
    if (points == 0) return out;
    for (const auto& p : kPeaks) {
        // The top lies near the peak's centre; noise decides the exact
        // point, so look a little to either side (a bounded number of
        // points however long the trace).
        double centre = p.at * double(points - 1);
        double reach = std::min(p.width * double(points - 1), 2000.0);
        auto first = uint32_t(std::max(0.0, std::floor(centre - reach)));
        auto last = uint32_t(std::min(double(points - 1), std::ceil(centre + reach)));
        TracePeak best{first, traceValue(trace, first, points)};
        for (uint32_t i = first + 1; i <= last; ++i) {
            float v = traceValue(trace, i, points);
            if (v > best.level) best = {i, v};
        }
        bool known = false;
        for (const auto& q : out) known = known || q.index == best.index;
        if (!known) out.push_back(best);
    }
    std::sort(out.begin(), out.end(), [](const TracePeak& a, const TracePeak& b) { return a.level > b.level; });
    return out;
}

std::vector<double> demodulationSummary(std::string_view format) {
    // A clean signal: error figures of a few tenths to a few percent, the
    // atSym fields symbol numbers, power near -10 dBm, RHO near 1. The
    // modulation scales the error figures so that forms can be told apart.
    double k = 1.0;
    if (format == "BPSK" || format == "MSK") k = 0.6;
    else if (format == "8PSK") k = 1.4;
    else if (format.rfind("QAM", 0) == 0) k = 1.8;
    return {
        // EVM %: Result, Peak, atSym, Rms, Avg, StdDev, 95Pctl, Total Peak
        1.23 * k, 3.87 * k, 412, 1.21 * k, 1.19 * k, 0.08 * k, 2.35 * k, 4.02 * k,
        // magnitude error %: Result, Peak, atSym, Rms, Avg, StdDev, Total Peak
        0.85 * k, 2.61 * k, 127, 0.84 * k, 0.82 * k, 0.06 * k, 2.93 * k,
        // phase error deg, the same seven
        0.52 * k, 1.64 * k, 298, 0.51 * k, 0.50 * k, 0.04 * k, 1.81 * k,
        // carrier frequency error Hz: Result, Rms, Avg, StdDev
        12.5, 12.7, 12.4, 1.3,
        // amplitude droop dB, the same four
        -0.003, 0.004, -0.003, 0.001,
        // origin offset dB
        -52.3, -52.1, -52.4, 0.6,
        // IQ imbalance %
        0.12, 0.13, 0.12, 0.01,
        // mean power dBm: Result, Peak, atSym, Rms, Avg, StdDev, Total Peak
        -10.02, -9.95, 77, -10.01, -10.03, 0.02, -9.91,
        // RHO
        1 - 1.5e-4 * k * k, 1 - 1.6e-4 * k * k, 1 - 1.4e-4 * k * k, 1e-5,
        // trigger to sync s
        1.25e-6, 1.26e-6, 1.25e-6, 2e-9,
    };
}

}  // namespace qv::sim
