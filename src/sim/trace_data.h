// The simulated measurement: deterministic curves (a spectrum with noise
// floor, peaks and noise; a burst over time; an FM deviation; an audio
// spectrum; a phase-noise curve), produced point by point so a trace of any
// length streams without being held in memory.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "value_stream.h"

namespace qv::sim {

// Level in dBm of point `index` of trace `trace` (1-based) out of `points`.
float traceValue(int trace, uint32_t index, uint32_t points);

// The units an analyzer shows levels in. Logarithmic ones are offsets of
// dBm; WATT, VOLT and AMPERE are linear (50 ohms). The field units take a
// transducer of 0 dB, so per metre reads like the bare unit.
enum class LevelUnit { Dbm, Dbpw, Watt, Dbuw, Dbmw, Volt, Dbua, Ampere, Dbpt, DbuwM, DbuaM, Dbuv };
// From the SCPI word ("DBM", "DBUV", ...; upper case); false if unknown.
bool levelUnitFromWord(std::string_view word, LevelUnit& out);
const char* levelUnitWord(LevelUnit unit);   // "DBUV"
const char* levelUnitLabel(LevelUnit unit);  // "dBuV", as a stored trace file names it
double levelFromDbm(double dbm, LevelUnit unit);

// What one trace query answers, value by value.
struct TraceCurve {
    enum class Kind {
        Spectrum,       // traceValue in the level unit
        ZeroSpan,       // noise floor and an RF burst in the middle third, level unit
        FmDeviation,    // Hz over time: a few periods of a sine plus noise
        AudioSpectrum,  // volts over startHz..stopHz: a 1 kHz tone, harmonics, hum
        AudioLevel,     // volts over time (an audio analyzer's time trace)
    };
    Kind kind = Kind::Spectrum;
    int trace = 1;
    uint32_t points = 1001;  // the curve's length
    uint32_t count = 1001;   // values answered (the handheld answers one more)
    LevelUnit unit = LevelUnit::Dbm;
    double startHz = 20, stopHz = 20000;  // AudioSpectrum
};
float curveValue(const TraceCurve& curve, uint32_t index);

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

// The curve's values for a REAL,32 block or an ASCii list (answerValues).
std::shared_ptr<const ValueSource> curveSource(const TraceCurve& curve);

// A phase-noise trace as text, whatever the data format: pairs of offset
// frequency (Hz, log spaced 10 Hz .. 10 MHz) and noise (dBc/Hz), in NR3
// with '.' separated by ','. As many pairs as points, but never more text
// than kMaxPhaseNoiseText: readers take at most that much.
constexpr size_t kMaxPhaseNoiseText = 100000;
uint32_t phaseNoisePairs(uint32_t points);
std::string phaseNoiseText(int trace, uint32_t points);

}  // namespace qv::sim
