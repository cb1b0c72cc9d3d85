#include "scope_data.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "text.h"

namespace qv::sim {

namespace {

constexpr double kPi = 3.14159265358979323846;

// The signals: a 5 kHz sine of 1 V, a 2 kHz square of 0.5 V, a 1 kHz
// triangle of 0.8 V, and a 50 kHz ringing that starts at the trigger and
// dies away with 100 us, every 2 ms. A few millivolts of noise on each.
constexpr double kSineHz = 5e3, kSineV = 1.0;
constexpr double kSquareHz = 2e3, kSquareV = 0.5;
constexpr double kTriangleHz = 1e3, kTriangleV = 0.8;
constexpr double kRingHz = 50e3, kRingV = 0.8, kRingDecayS = 100e-6, kRingPeriodS = 2e-3;
constexpr double kNoiseV = 0.01;
// The spectra: a floor near -90 dBm, the sine's small distortion.
constexpr double kFloorMw = 1e-9;
constexpr double kSineHarmonics[] = {1.0, 0.006, 0.002};

double milliwatts(double volts) { return volts * volts / 2 / 50 * 1000; }  // a sine of that amplitude into 50 ohms

// Harmonic k (from 1) of channel 1..3's line spectrum, in volts of amplitude.
double harmonicVolts(int channel, int k) {
    switch (channel) {
    case 1: return k <= 3 ? kSineV * kSineHarmonics[k - 1] : 0;
    case 2: return k % 2 ? 4 * kSquareV / (kPi * k) : 0;
    case 3: return k % 2 ? 8 * kTriangleV / (kPi * kPi * k * k) : 0;
    }
    return 0;
}

double fundamentalHz(int channel) {
    switch (channel) {
    case 1: return kSineHz;
    case 2: return kSquareHz;
    case 3: return kTriangleHz;
    }
    return kRingHz;
}

// Milliwatts of a channel's spectrum at hz, lines as wide as the resolution.
double spectrumMw(int channel, double hz, double resolutionHz) {
    if (channel == 4) {
        double width = std::max(1 / (2 * kPi * kRingDecayS), resolutionHz);
        double d = (hz - kRingHz) / width;
        return milliwatts(kRingV) * 0.25 / (1 + d * d);
    }
    double f0 = fundamentalHz(channel);
    double mw = 0;
    long nearest = std::lround(hz / f0);
    for (long k = std::max(1L, nearest - 1); k <= nearest + 1; ++k) {
        double d = (hz - double(k) * f0) / resolutionHz;
        if (d * d < 200) mw += milliwatts(harmonicVolts(channel, int(std::min(k, 1L << 20)))) * std::exp(-0.5 * d * d);
    }
    return mw;
}

double sampleTime(double x0, double x1, uint32_t points, uint64_t i, SampleSpacing spacing) {
    if (spacing == SampleSpacing::Exclusive) return x0 + (x1 - x0) * double(i) / double(points);
    return points > 1 ? x0 + (x1 - x0) * double(i) / double(points - 1) : x0;
}

uint32_t peakSamples(uint32_t points) { return std::max<uint32_t>(1, points / 2); }

class ChannelRecord final : public ValueSource {
public:
    ChannelRecord(const ScopeSetup& s, int channel, SampleSpacing spacing)
        : channel_(channel), x0_(s.x0()), x1_(s.x1()), points_(s.points), peak_(s.peakDetect[size_t(channel - 1)]),
          spacing_(spacing) {}
    uint64_t count() const override { return peak_ ? 2 * uint64_t(peakSamples(points_)) : points_; }
    void values(uint64_t first, size_t n, float* out) const override {
        if (!peak_) {
            for (size_t i = 0; i < n; ++i)
                out[i] = float(channelVolts(channel_, sampleTime(x0_, x1_, points_, first + i, spacing_), first + i));
            return;
        }
        // Each sample is the least and the most of four looks across its interval.
        uint32_t samples = peakSamples(points_);
        double dt = (x1_ - x0_) / double(samples);
        for (size_t i = 0; i < n; ++i) {
            uint64_t sample = (first + i) / 2;
            double lo = 1e300, hi = -1e300;
            for (int q = 0; q < 4; ++q) {
                double v = channelVolts(channel_, x0_ + (double(sample) + q / 4.0) * dt, 4 * sample + uint64_t(q));
                lo = std::min(lo, v);
                hi = std::max(hi, v);
            }
            out[i] = float((first + i) % 2 ? hi : lo);
        }
    }

private:
    int channel_;
    double x0_, x1_;
    uint32_t points_;
    bool peak_;
    SampleSpacing spacing_;
};

class MathRecord final : public ValueSource {
public:
    MathRecord(const ScopeSetup& s, const MathExpression& e, SampleSpacing spacing)
        : e_(e), x0_(s.x0()), x1_(s.x1()), points_(s.points), topHz_(spectrumTopHz(s)), spacing_(spacing) {}
    uint64_t count() const override { return points_; }
    void values(uint64_t first, size_t n, float* out) const override {
        for (size_t i = 0; i < n; ++i) out[i] = float(value(first + i));
    }

private:
    double value(uint64_t i) const {
        if (!e_.defined) return 0;
        if (e_.spectrum) {
            double hz = sampleTime(0, topHz_, points_, i, spacing_);
            double record = x1_ - x0_;
            // Two channels: their powers add, as uncorrelated signals' do.
            double mw = kFloorMw * (1 + 0.8 * indexNoise(20, i));
            mw += spectrumMw(e_.left, hz, 1 / record);
            if (e_.op) mw += spectrumMw(e_.right, hz, 1 / record);
            return 10 * std::log10(mw);
        }
        double t = sampleTime(x0_, x1_, points_, i, spacing_);
        double a = channelVolts(e_.left, t, i);
        if (!e_.op) return a;
        double b = channelVolts(e_.right, t, i);
        switch (e_.op) {
        case '+': return a + b;
        case '-': return a - b;
        case '*': return a * b;
        case '/': return std::clamp(std::fabs(b) < 1e-9 ? 1e6 : a / b, -1e6, 1e6);
        }
        return 0;
    }

    MathExpression e_;
    double x0_, x1_;
    uint32_t points_;
    double topHz_;
    SampleSpacing spacing_;
};

std::string header(double x0, double x1, uint64_t samples, int perSample) {
    char text[96];
    std::snprintf(text, sizeof text, "%.4E,%.4E,%llu,%d", x0, x1, static_cast<unsigned long long>(samples), perSample);
    return text;
}

// "CH<n>" at text[at]; advances past it.
bool channelTerm(const std::string& text, size_t& at, int& channel) {
    if (text.compare(at, 2, "CH") != 0 || at + 2 >= text.size()) return false;
    char d = text[at + 2];
    if (d < '1' || d > '4') return false;
    channel = d - '0';
    at += 3;
    return true;
}

}  // namespace

bool parseMathExpression(std::string_view text, MathExpression& out) {
    std::string t;
    for (char c : text)
        if (c != ' ' && c != '\t') t += upper(c);
    MathExpression e;
    if (t.empty()) {
        out = e;
        return true;
    }
    for (const char* f : {"FFTMAG(", "FFT("}) {
        std::string prefix = f;
        if (t.size() > prefix.size() && t.compare(0, prefix.size(), prefix) == 0 && t.back() == ')') {
            t = t.substr(prefix.size(), t.size() - prefix.size() - 1);
            e.spectrum = true;
            break;
        }
    }
    size_t at = 0;
    if (!channelTerm(t, at, e.left)) return false;
    if (at < t.size()) {
        char op = t[at++];
        if (op != '+' && op != '-' && op != '*' && op != '/') return false;
        e.op = op;
        if (!channelTerm(t, at, e.right)) return false;
    }
    if (at != t.size()) return false;
    e.defined = true;
    out = e;
    return true;
}

void ScopeSetup::reset() {
    uint32_t keep = points;
    *this = ScopeSetup{};
    points = keep;
}

double channelVolts(int channel, double t, uint64_t index) {
    double noise = kNoiseV * (indexNoise(uint64_t(channel), index) + indexNoise(uint64_t(channel) + 4, index));
    switch (channel) {
    case 1: return kSineV * std::sin(2 * kPi * kSineHz * t) + noise;
    case 2: {
        double phase = kSquareHz * t - std::floor(kSquareHz * t);
        return (phase < 0.5 ? kSquareV : -kSquareV) + noise;
    }
    case 3: {
        double phase = kTriangleHz * t - std::floor(kTriangleHz * t);
        return kTriangleV * (4 * std::fabs(phase - 0.5) - 1) + noise;
    }
    case 4: {
        double since = t - kRingPeriodS * std::floor(t / kRingPeriodS);
        return kRingV * std::exp(-since / kRingDecayS) * std::sin(2 * kPi * kRingHz * since) + noise;
    }
    }
    return noise;
}

double spectrumDbm(int channel, double hz, double recordS, uint64_t index) {
    double resolution = recordS > 0 ? 1 / recordS : 1;
    return 10 * std::log10(kFloorMw * (1 + 0.8 * indexNoise(20, index)) + spectrumMw(channel, hz, resolution));
}

double spectrumTopHz(const ScopeSetup& s) { return double(s.points) / (s.x1() - s.x0()) / 2; }

std::shared_ptr<const ValueSource> channelRecord(const ScopeSetup& s, int channel, SampleSpacing spacing) {
    return std::make_shared<ChannelRecord>(s, std::clamp(channel, 1, 4), spacing);
}

std::shared_ptr<const ValueSource> mathRecord(const ScopeSetup& s, int math, SampleSpacing spacing) {
    return std::make_shared<MathRecord>(s, s.math[size_t(std::clamp(math, 1, 4) - 1)], spacing);
}

std::string channelHeader(const ScopeSetup& s, int channel) {
    if (s.peakDetect[size_t(std::clamp(channel, 1, 4) - 1)]) return header(s.x0(), s.x1(), peakSamples(s.points), 2);
    return header(s.x0(), s.x1(), s.points, 1);
}

std::string mathHeader(const ScopeSetup& s, int math) {
    const MathExpression& e = s.math[size_t(std::clamp(math, 1, 4) - 1)];
    std::string count = std::to_string(s.points);
    if (!e.defined) return "0,0," + count + ",1";
    if (!e.spectrum) return header(s.x0(), s.x1(), s.points, 1);
    char top[32];
    std::snprintf(top, sizeof top, "%.4E", spectrumTopHz(s));
    return std::string("0,") + top + "," + count + ",1";
}

}  // namespace qv::sim
