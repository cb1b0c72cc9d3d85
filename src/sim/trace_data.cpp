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

}  // namespace

float traceValue(int trace, uint32_t index, uint32_t points) {
    double x = points > 1 ? double(index) / double(points - 1) : 0.0;
    struct Peak {
        double at, width, level;
    };
    // Peaks shaped like a resolution filter (Gaussian) over a gently
    // rolling noise floor around -90 dBm.
    static constexpr Peak kPeaks[] = {{0.25, 0.004, 1e-3}, {0.52, 0.010, 2e-6}, {0.81, 0.002, 5e-5}};
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

}  // namespace qv::sim
