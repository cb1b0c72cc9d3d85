// The simulated oscilloscopes: four channels of named signals, math
// sources over them (sums, products, the spectrum of a channel), their
// time base and record length, computed sample by sample.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "value_stream.h"

namespace qv::sim {

// A math definition the simulator can evaluate: a channel, two channels
// joined by + - * /, optionally inside FFTMAG( ) or FFT( ). Empty: undefined.
struct MathExpression {
    bool defined = false;
    bool spectrum = false;
    int left = 0;   // channel 1..4
    char op = 0;    // 0: the left channel alone
    int right = 0;  // channel 1..4 when op is set
};
// Case and blanks do not matter; false when the text is none of the above.
bool parseMathExpression(std::string_view text, MathExpression& out);

struct ScopeSetup {
    static constexpr uint32_t kMaxPoints = 1'000'000;
    static constexpr uint32_t kDefaultPoints = 10'000;
    static constexpr double kDefaultScaleS = 1e-4;
    static constexpr int kDivisions = 10;

    uint32_t points = kDefaultPoints;
    double scaleS = kDefaultScaleS;  // per division
    std::array<bool, 4> channelOn{true, false, false, false};
    std::array<bool, 4> peakDetect{};
    std::array<std::string, 4> mathText{"CH1+CH2", "FFTMAG(CH1)", "", "CH1*CH2"};  // as the user wrote it
    std::array<MathExpression, 4> math{MathExpression{true, false, 1, '+', 2}, MathExpression{true, true, 1, 0, 0},
                                       MathExpression{}, MathExpression{true, false, 1, '*', 2}};
    std::array<bool, 4> mathOn{};

    // Everything but the record length, which the simulator's point setting owns.
    void reset();
    double x0() const { return -0.5 * kDivisions * scaleS; }
    double x1() const { return 0.5 * kDivisions * scaleS; }
};

// Volts of channel 1..4 at time t (seconds from the trigger); `index` seeds the noise.
double channelVolts(int channel, double t, uint64_t index);
// Level in dBm at hz of the spectrum of a channel seen over `recordS` seconds.
double spectrumDbm(int channel, double hz, double recordS, uint64_t index);
// The highest frequency of the spectrum math of a record.
double spectrumTopHz(const ScopeSetup& s);

// How the samples of a record lie between x0 and x1: the last one on x1
// (the step divides by points - 1), or one step short of it (by points).
enum class SampleSpacing { Inclusive, Exclusive };

// Channel 1..4 as its record: `points` samples, or with peak detect
// points / 2 samples of (min, max).
std::shared_ptr<const ValueSource> channelRecord(const ScopeSetup& s, int channel, SampleSpacing spacing);
// Math source m (1..4): time math on the channels' time axis, spectra in
// dBm from 0 to spectrumTopHz, undefined math all zeros.
std::shared_ptr<const ValueSource> mathRecord(const ScopeSetup& s, int math, SampleSpacing spacing);

// The header line "x0,x1,samples,values per sample" of a channel and of a math source.
std::string channelHeader(const ScopeSetup& s, int channel);
std::string mathHeader(const ScopeSetup& s, int math);

}  // namespace qv::sim
