// The simulated network analyzers: their channels and traces, and what
// they measure, a five-pole band-pass filter between two cables, as
// complex S-parameters computed point by point.
#pragma once

#include <complex>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "value_stream.h"

namespace qv::sim {

enum class SParameter { S11, S12, S21, S22 };
// Display formats; Smith and polar give (real, imaginary) pairs.
enum class NetworkFormat { Mlog, Phase, Smith, Polar, Real, Imaginary, Mlin, Swr, UnwrappedPhase };

// "S21" (upper case) and back; false if unknown.
bool sParameterFromText(std::string_view upper, SParameter& out);
const char* sParameterText(SParameter p);
// Short or long form ("MLOG", "MLOGARITHMIC"), upper case; the answer is the short form.
bool networkFormatFromWord(std::string_view upper, NetworkFormat& out);
const char* networkFormatWord(NetworkFormat f);
inline bool pairFormat(NetworkFormat f) { return f == NetworkFormat::Smith || f == NetworkFormat::Polar; }

struct NetworkTrace {
    std::string name;
    int channel = 1;
    SParameter parameter = SParameter::S21;
    NetworkFormat format = NetworkFormat::Mlog;
};

struct NetworkChannel {
    std::string name;
    double startHz = 1e9;
    double stopHz = 2e9;
    uint32_t points = 201;
    std::string active;  // the active trace's name; empty: none
};

// An analyzer's channels (by number) and traces (in creation order; a
// trace's number is its place in that order, from 1).
struct NetworkSetup {
    static constexpr int kMaxChannel = 32;
    static constexpr size_t kMaxTraces = 64;
    static constexpr size_t kMaxName = 64;
    static constexpr uint32_t kMaxPoints = 1'000'000;
    static constexpr uint32_t kDefaultPoints = 201;

    std::map<int, NetworkChannel> channels;
    std::vector<NetworkTrace> traces;
    int activeChannel = 1;
    // The length new channels get; the simulator's point setting moves it.
    uint32_t points = kDefaultPoints;

    // Power-on setup: two channels and three named traces, or the older
    // firmware's four fixed channels with one trace each.
    void reset(bool fixedChannels);
    void setAllPoints(uint32_t n);
    NetworkChannel* channel(int number);
    NetworkTrace* trace(std::string_view name);
    // The channel's active trace, nullptr when it has none.
    NetworkTrace* activeTrace(int channel);
    // Removes a trace; its channel's selection moves to the first trace left.
    void removeTrace(std::string_view name);
};

// The filter as a port of the analyzer sees it at `hz`; `index` seeds the
// measurement noise.
std::complex<double> sParameterAt(SParameter p, double hz, uint64_t index);
// One displayed value (or, for pairs, part 0 real, 1 imaginary).
double formattedValue(SParameter p, NetworkFormat f, double hz, std::complex<double> s, int part);

// The channel's stimulus in Hz, one value a point, linear from start to stop.
double stimulusHz(const NetworkChannel& ch, uint64_t point);

// A trace as the analyzer answers it: formatted (one value a point, pairs
// for Smith and polar), or complex pairs whatever the format.
std::shared_ptr<const ValueSource> networkValues(const NetworkChannel& ch, const NetworkTrace& trace, bool complexPairs);
std::shared_ptr<const ValueSource> stimulusValues(const NetworkChannel& ch);

}  // namespace qv::sim
