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

constexpr double kPi = 3.14159265358979323846;

// Uniform noise in [-0.5, 0.5) from (trace, index, stream).
double noise(int trace, uint32_t index, uint64_t stream = 0) {
    uint64_t r = mix((uint64_t(uint32_t(trace)) << 32 | index) ^ (stream << 56));
    return double(r >> 11) / double(1ull << 53) - 0.5;
}

// The curve as the long answers stream it.
class CurveSource final : public ValueSource {
public:
    explicit CurveSource(const TraceCurve& curve) : curve_(curve) {}
    uint64_t count() const override { return curve_.count; }
    void values(uint64_t first, size_t n, float* out) const override {
        for (size_t i = 0; i < n; ++i) out[i] = curveValue(curve_, uint32_t(first + i));
    }

private:
    TraceCurve curve_;
};

struct Peak {
    double at, width, level;  // place 0..1, width 0..1, milliwatts
};
// Peaks shaped like a resolution filter (Gaussian) over a gently
// rolling noise floor around -90 dBm.
constexpr Peak kPeaks[] = {{0.25, 0.004, 1e-3}, {0.52, 0.010, 2e-6}, {0.81, 0.002, 5e-5}};

double place(uint32_t index, uint32_t points) { return points > 1 ? double(index) / double(points - 1) : 0.0; }

// A burst switched on in the middle third of the sweep: raised-cosine
// edges of a sixtieth of the sweep each, a flat top near -20 dBm.
double zeroSpanDbm(int trace, uint32_t index, uint32_t points) {
    constexpr double kOn = 1.0 / 3, kOff = 2.0 / 3, kEdge = 1.0 / 60;
    double x = place(index, points);
    double envelope = 0;
    if (x >= kOn && x <= kOff) {
        double d = std::min(x - kOn, kOff - x);
        envelope = d >= kEdge ? 1.0 : 0.5 - 0.5 * std::cos(kPi * d / kEdge);
    }
    double milliwatts = 1e-9 + 1e-2 * envelope * (1.0 + 0.02 * noise(trace, index, 1));
    double db = 10.0 * std::log10(milliwatts) + 3.0 * noise(trace, index) * (1.0 - envelope);
    return db + 1.5 * (trace - 1);
}

double fmDeviationHz(int trace, uint32_t index, uint32_t points) {
    double t = points ? double(index) / double(points) : 0.0;
    return 25e3 * std::sin(2 * kPi * 4 * t) + 400.0 * noise(trace, index);
}

// A 1 V tone at 1 kHz (+13 dBm into 50 ohms), two harmonics and mains hum
// over a floor of about 10 uV; lines as wide as a resolution filter of a
// four-hundredth of the span, never narrower than two points.
double audioSpectrumVolts(const TraceCurve& c, uint32_t index) {
    struct Line {
        double hz, volts;
    };
    static constexpr Line kLines[] = {{1000, 1.0}, {2000, 1e-3}, {3000, 3e-4}, {50, 3e-5}};
    double span = c.stopHz - c.startHz;
    double hz = c.startHz + span * place(index, c.points);
    double width = std::max(std::abs(span) / 400, c.points > 1 ? 2 * std::abs(span) / double(c.points - 1) : 1.0);
    width = std::max(width, 1e-3);
    double power = 1e-10;  // V^2 of the floor
    for (const auto& l : kLines) {
        double d = (hz - l.hz) / width;
        if (d * d < 200) power += l.volts * l.volts * std::exp(-0.5 * d * d);
    }
    return std::sqrt(power) * (1.0 + 0.3 * noise(c.trace, index));
}

double audioLevelVolts(int trace, uint32_t index, uint32_t points) {
    return 0.5 * (1.0 + 0.2 * std::sin(2 * kPi * 3 * place(index, points))) * (1.0 + 0.02 * noise(trace, index));
}

}  // namespace

bool levelUnitFromWord(std::string_view word, LevelUnit& out) {
    static constexpr LevelUnit kAll[] = {LevelUnit::Dbm,  LevelUnit::Dbpw,   LevelUnit::Watt, LevelUnit::Dbuw,
                                         LevelUnit::Dbmw, LevelUnit::Volt,   LevelUnit::Dbua, LevelUnit::Ampere,
                                         LevelUnit::Dbpt, LevelUnit::DbuwM, LevelUnit::DbuaM, LevelUnit::Dbuv};
    for (LevelUnit u : kAll)
        if (word == levelUnitWord(u)) {
            out = u;
            return true;
        }
    return false;
}

const char* levelUnitWord(LevelUnit unit) {
    switch (unit) {
    case LevelUnit::Dbm: return "DBM";
    case LevelUnit::Dbpw: return "DBPW";
    case LevelUnit::Watt: return "WATT";
    case LevelUnit::Dbuw: return "DBUW";
    case LevelUnit::Dbmw: return "DBMW";
    case LevelUnit::Volt: return "VOLT";
    case LevelUnit::Dbua: return "DBUA";
    case LevelUnit::Ampere: return "AMPERE";
    case LevelUnit::Dbpt: return "DBPT";
    case LevelUnit::DbuwM: return "DBUW_M";
    case LevelUnit::DbuaM: return "DBUA_M";
    case LevelUnit::Dbuv: return "DBUV";
    }
    return "DBM";
}

const char* levelUnitLabel(LevelUnit unit) {
    switch (unit) {
    case LevelUnit::Dbm: return "dBm";
    case LevelUnit::Dbpw: return "dBpW";
    case LevelUnit::Watt: return "W";
    case LevelUnit::Dbuw: return "dBuW";
    case LevelUnit::Dbmw: return "dBmW";
    case LevelUnit::Volt: return "V";
    case LevelUnit::Dbua: return "dBuA";
    case LevelUnit::Ampere: return "A";
    case LevelUnit::Dbpt: return "dBpT";
    case LevelUnit::DbuwM: return "dBuW/m";
    case LevelUnit::DbuaM: return "dBuA/m";
    case LevelUnit::Dbuv: return "dBuV";
    }
    return "dBm";
}

double levelFromDbm(double dbm, LevelUnit unit) {
    // 50 ohms: 0 dBm is 223.6 mV, 107 dBuV, 73 dBuA.
    constexpr double kDbuvOfDbm = 106.9897;
    constexpr double kDbuaOfDbm = kDbuvOfDbm - 33.9794;  // 20 log10(50)
    constexpr double kDbptOfDbua = 1.9827;               // 1 uA/m is 1.2566 pT in air
    switch (unit) {
    case LevelUnit::Dbm:
    case LevelUnit::Dbmw: return dbm;
    case LevelUnit::Dbpw: return dbm + 90;
    case LevelUnit::Dbuw:
    case LevelUnit::DbuwM: return dbm + 30;
    case LevelUnit::Dbuv: return dbm + kDbuvOfDbm;
    case LevelUnit::Dbua:
    case LevelUnit::DbuaM: return dbm + kDbuaOfDbm;
    case LevelUnit::Dbpt: return dbm + kDbuaOfDbm + kDbptOfDbua;
    case LevelUnit::Watt: return std::pow(10.0, (dbm - 30) / 10);
    case LevelUnit::Volt: return std::sqrt(50 * std::pow(10.0, (dbm - 30) / 10));
    case LevelUnit::Ampere: return std::sqrt(std::pow(10.0, (dbm - 30) / 10) / 50);
    }
    return dbm;
}

float traceValue(int trace, uint32_t index, uint32_t points) {
    double x = place(index, points);
    double milliwatts = 1e-9 * (1.0 + 0.3 * std::sin(6.0 * x));
    for (const auto& p : kPeaks) {
        double d = (x - p.at) / p.width;
        if (d * d < 200) milliwatts += p.level * std::exp(-0.5 * d * d);
    }
    double db = 10.0 * std::log10(milliwatts);
    // Later traces sit a little higher, as max-hold traces do.
    double v = db + noise(trace, index) * 3.0 + 1.5 * (trace - 1);
    return float(std::clamp(v, -200.0, 100.0));
}

float curveValue(const TraceCurve& c, uint32_t index) {
    double v = 0;
    switch (c.kind) {
    case TraceCurve::Kind::Spectrum:
        v = c.unit == LevelUnit::Dbm ? double(traceValue(c.trace, index, c.points))
                                     : levelFromDbm(traceValue(c.trace, index, c.points), c.unit);
        break;
    case TraceCurve::Kind::ZeroSpan:
        v = levelFromDbm(std::clamp(zeroSpanDbm(c.trace, index, c.points), -200.0, 100.0), c.unit);
        break;
    case TraceCurve::Kind::FmDeviation: v = fmDeviationHz(c.trace, index, c.points); break;
    case TraceCurve::Kind::AudioSpectrum: v = audioSpectrumVolts(c, index); break;
    case TraceCurve::Kind::AudioLevel: v = audioLevelVolts(c.trace, index, c.points); break;
    }
    return float(v);
}

std::shared_ptr<const ValueSource> curveSource(const TraceCurve& curve) {
    return std::make_shared<CurveSource>(curve);
}

uint32_t phaseNoisePairs(uint32_t points) {
    // A pair is two values and two separators, less the last separator.
    constexpr uint32_t kMaxPairs = uint32_t((kMaxPhaseNoiseText + 1) / (2 * (kNr3Width + 1)));
    return std::min(points, kMaxPairs);
}

std::string phaseNoiseText(int trace, uint32_t points) {
    // Near-in flicker (1/f^3), then 1/f^2 down to a floor of -150 dBc/Hz,
    // with spurs at 300 Hz and 2 MHz offset.
    struct Spur {
        double decade, db;
    };
    static constexpr Spur kSpurs[] = {{2.4771, 15}, {6.3010, 12}};
    uint32_t n = phaseNoisePairs(points);
    double spacing = n > 1 ? 6.0 / double(n - 1) : 6.0;
    double spurWidth = std::max(0.01, 1.5 * spacing);
    std::string out;
    out.reserve(size_t(n) * 2 * (kNr3Width + 1));
    for (uint32_t i = 0; i < n; ++i) {
        double decade = 1.0 + (n > 1 ? 6.0 * double(i) / double(n - 1) : 0.0);
        double hz = std::pow(10.0, decade);
        double dbc = 10.0 * std::log10(1e-4 / (hz * hz * hz) + 1e-5 / (hz * hz) + 1e-15);
        for (const auto& s : kSpurs) {
            double d = (decade - s.decade) / spurWidth;
            if (d * d < 200) dbc += s.db * std::exp(-0.5 * d * d);
        }
        dbc += 2.0 * noise(trace, i, 2) + 1.5 * (trace - 1);
        char x[kNr3Width], y[kNr3Width];
        writeNr3(hz, x);
        writeNr3(dbc, y);
        if (i) out += ',';
        out.append(x, kNr3Width);
        out += ',';
        out.append(y, kNr3Width);
    }
    return out;
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
