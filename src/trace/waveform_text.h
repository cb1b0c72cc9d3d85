// The oscilloscopes' waveform texts: the header that gives the x range
// (and, for the text family, the point count) and the comma-separated
// values. Plain functions on the answers, so that they are tested and
// fuzzed without an instrument. Numbers always have "." as decimal mark,
// whatever the system uses.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace qv::trace {

// The most values a waveform text may announce: ten times the largest
// record an instrument of these families keeps.
inline constexpr size_t kMaxWaveformPoints = 10'000'000;

struct WaveHeader {
    double first = 0;  // x of the first point (field 0)
    double last = 0;   // x of the last point (field 1)
    // Fields 2 and 3: samples and values per sample; 0 when the header has
    // fewer fields.
    double samples = 0, perSample = 0;
    size_t fields = 0;
};

// Splits the header at ",". False with a description in `failure` when it
// holds fewer than `needed` fields (an empty answer has one empty field).
bool parseWaveHeader(std::string_view text, size_t needed, WaveHeader& header, std::string& failure);

// Both x values 0: the instrument has no axis for this source.
inline bool headerHasNoAxis(const WaveHeader& h) { return h.first == 0 && h.last == 0; }

// The number of comma-separated fields of a text ("" is one field).
size_t fieldCount(std::string_view text);

// The point count of the text family: samples times values per sample.
// False with a description when that is not a whole number from 1 to the
// number of values the data holds (`available`), so nothing is allocated
// beyond what came.
bool headerPointCount(const WaveHeader& h, size_t available, size_t& points, std::string& failure);

// The first `points` fields of the data as numbers. The caller has checked
// that the text holds at least that many fields.
std::vector<double> parseWaveValues(std::string_view text, size_t points);

// x(i) = i * step + first for `points` points.
std::vector<double> steppedAxis(double first, double step, size_t points);

}  // namespace qv::trace
