// Measurement side: instrument mode, data format and traces.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "command_table.h"
#include "commands_network.h"
#include "instrument.h"
#include "scpi_errors.h"
#include "trace_data.h"

namespace qv::sim {

namespace {

constexpr int kMaxTrace = 6;

void instSet(CommandContext& c) {
    std::string w;
    if (!c.expectParams(1, 1) || !c.wordParam(0, w)) return;
    if (networkChannelWord(c, w)) return;
    for (const auto& m : c.instrument.profile().modes)
        if (m == w) {
            c.state.mode = m;
            return;
        }
    c.error(err::kIllegalParameterValue);
}

void instQuery(CommandContext& c) {
    if (networkModeQuery(c)) return;
    if (c.expectParams(0, 0)) c.out.append(c.state.mode);
}

void formatSet(CommandContext& c) {
    std::string w;
    if (!c.expectParams(1, 2) || !c.wordParam(0, w)) return;
    if (w == "ASC" || w == "ASCII") {
        int64_t len = 0;
        if (c.paramCount() == 2 && !c.integerParam(1, len, 0, 0, 0)) return;
        c.state.asciiFormat = true;
    } else if (w == "REAL") {
        int64_t len = 32;
        if (c.paramCount() == 2 && !c.integerParam(1, len, 0, 64, 32)) return;
        if (len != 32) {
            c.error(err::kIllegalParameterValue);
            return;
        }
        c.state.asciiFormat = false;
    } else {
        c.error(err::kIllegalParameterValue);
    }
}

void formatQuery(CommandContext& c) {
    if (c.expectParams(0, 0)) c.out.append(c.state.asciiFormat ? "ASC,0" : "REAL,32");
}

// In the demodulation mode trace 2 holds the result summary; a test may
// ask for another count of values than the 53 there are.
void answerSummary(CommandContext& c) {
    std::vector<double> values = demodulationSummary(c.state.demodulationFormat);
    values.resize(c.state.summaryValues, 0.0);
    if (c.state.asciiFormat) {
        std::string s;
        for (size_t i = 0; i < values.size(); ++i) {
            char text[32];
            std::snprintf(text, sizeof text, "%s%.6E", i ? "," : "", values[i]);
            s += text;
        }
        if (s.empty()) c.emptyAnswer = true;
        c.out.append(s);
        return;
    }
    std::string bytes;
    for (double v : values) {
        float f = float(v);
        uint32_t bits;
        std::memcpy(&bits, &f, 4);
        for (int k = 0; k < 4; ++k) bytes += char(bits >> (8 * k));
    }
    c.out.appendBlockHeader(bytes.size());
    c.out.append(bytes);
}

// "TRACE<n>" (or "TRACE": 1) as analyzers name their traces; 0 when the
// word is none of them.
int traceNumber(const std::string& word) {
    if (word.rfind("TRACE", 0) != 0) return 0;
    std::string digits = word.substr(5);
    if (digits.empty()) return 1;
    if (digits.size() > 2 || digits.find_first_not_of("0123456789") != std::string::npos) return 0;
    int n = 0;
    for (char d : digits) n = n * 10 + (d - '0');
    return n;
}

void answerCurve(CommandContext& c, const TraceCurve& curve) {
    answerValues(c, curveSource(curve), c.state.asciiFormat);
}

// What a trace of the current mode holds: a spectrum, or with zero span a
// burst over time; an audio analyzer's spectrum or level over time.
TraceCurve curveFor(const CommandContext& c, int trace) {
    const auto& s = c.state;
    TraceCurve curve;
    curve.trace = trace;
    curve.points = s.points;
    curve.count = s.points;
    curve.unit = s.levelUnit;
    if (c.instrument.profile().audio) {
        curve.unit = LevelUnit::Volt;
        curve.kind = s.audioStartHz == s.audioStopHz ? TraceCurve::Kind::AudioLevel : TraceCurve::Kind::AudioSpectrum;
        curve.startHz = s.audioStartHz;
        curve.stopHz = s.audioStopHz;
        return curve;
    }
    if (c.instrument.profile().analyzer && s.spanHz() == 0) curve.kind = TraceCurve::Kind::ZeroSpan;
    // The handheld sends one value past its trace length.
    if (c.instrument.profile().extraTracePoint) ++curve.count;
    return curve;
}

void traceQuery(CommandContext& c) {
    if (networkTraceQuery(c) || !c.expectParams(0, 1)) return;
    int trace = c.suffix(0);
    if (c.paramCount() == 1) {
        std::string w;
        if (!c.wordParam(0, w)) return;
        trace = traceNumber(w);
    }
    if (trace < 1 || trace > kMaxTrace) {
        c.error(err::kIllegalParameterValue);
        return;
    }
    if (trace == 2 && c.state.mode == "DDEM") {
        answerSummary(c);
        return;
    }
    // Phase noise is answered as text pairs whatever the format says.
    if (c.state.mode == "PNO") {
        c.out.append(phaseNoiseText(trace, c.state.points));
        return;
    }
    answerCurve(c, curveFor(c, trace));
}

// The FM demodulator's deviation over the sweep, in Hz; only in ADEM mode.
void fmResultQuery(CommandContext& c) {
    if (c.state.mode != "ADEM") {
        c.error(err::kUndefinedHeader);
        return;
    }
    if (!c.expectParams(0, 1)) return;
    if (c.paramCount() == 1) {
        std::string w;
        if (!c.wordParam(0, w)) return;
        static const char* const kKinds[] = {"WRIT", "WRITE", "AVER", "AVERAGE", "MAXH", "MAXHOLD",
                                             "MINH", "MINHOLD", "VIEW"};
        bool known = false;
        for (const char* k : kKinds) known = known || w == k;
        if (!known) {
            c.error(err::kIllegalParameterValue);
            return;
        }
    }
    TraceCurve curve;
    curve.kind = TraceCurve::Kind::FmDeviation;
    curve.points = curve.count = c.state.points;
    answerCurve(c, curve);
}

// The frequency window. Setting the centre keeps the span and the reverse;
// setting start or stop keeps the other edge (pushed along if crossed).
bool hzParam(CommandContext& c, int64_t& v, int64_t def) {
    return c.expectParams(1, 1) && c.integerParam(0, v, 0, Instrument::kMaxFrequencyHz, def);
}
void queryHz(CommandContext& c, int64_t value) {
    if (c.expectParams(0, 0)) c.out.append(std::to_string(value));
}
void setWindow(Instrument::State& s, int64_t center, int64_t span) {
    s.startHz = center - span / 2;
    s.stopHz = s.startHz + span;
}
void centerSet(CommandContext& c) {
    if (networkServed(c)) return networkSweep(c, SweepItem::Center, false);
    int64_t v = 0;
    if (hzParam(c, v, Instrument::kDefaultCenterHz)) setWindow(c.state, v, c.state.spanHz());
}
void spanSet(CommandContext& c) {
    if (networkServed(c)) return networkSweep(c, SweepItem::Span, false);
    int64_t v = 0;
    if (hzParam(c, v, Instrument::kDefaultSpanHz)) setWindow(c.state, c.state.centerHz(), v);
}
void startSet(CommandContext& c) {
    if (networkServed(c)) return networkSweep(c, SweepItem::Start, false);
    int64_t v = 0;
    if (!hzParam(c, v, Instrument::State{}.startHz)) return;
    c.state.startHz = v;
    c.state.stopHz = std::max(c.state.stopHz, v);
}
void stopSet(CommandContext& c) {
    if (networkServed(c)) return networkSweep(c, SweepItem::Stop, false);
    int64_t v = 0;
    if (!hzParam(c, v, Instrument::State{}.stopHz)) return;
    c.state.stopHz = v;
    c.state.startHz = std::min(c.state.startHz, v);
}
// A network analyzer keeps a sweep per channel (SENS<ch>); the others one.
void centerQuery(CommandContext& c) {
    if (networkServed(c)) return networkSweep(c, SweepItem::Center, true);
    queryHz(c, c.state.centerHz());
}
void spanQuery(CommandContext& c) {
    if (networkServed(c)) return networkSweep(c, SweepItem::Span, true);
    queryHz(c, c.state.spanHz());
}
void startQuery(CommandContext& c) {
    if (networkServed(c)) return networkSweep(c, SweepItem::Start, true);
    queryHz(c, c.state.startHz);
}
void stopQuery(CommandContext& c) {
    if (networkServed(c)) return networkSweep(c, SweepItem::Stop, true);
    queryHz(c, c.state.stopHz);
}

bool sweepTimeFamily(CommandContext& c) {
    if (c.instrument.profile().analyzer || c.instrument.profile().audio) return true;
    c.error(err::kUndefinedHeader);
    return false;
}

constexpr double kMinSweepTimeS = 1e-6, kMaxSweepTimeS = 16000;

void sweepTimeSet(CommandContext& c) {
    double v = 0;
    if (sweepTimeFamily(c) && c.expectParams(1, 1) &&
        c.realParam(0, v, kMinSweepTimeS, kMaxSweepTimeS, Instrument::kDefaultSweepTimeS,
                    {{"S", 1}, {"MS", 1e-3}, {"US", 1e-6}, {"NS", 1e-9}, {"KS", 1e3}}))
        c.state.sweepTimeS = v;
}

void sweepTimeQuery(CommandContext& c) {
    if (!sweepTimeFamily(c) || !c.expectParams(0, 0)) return;
    char text[32];
    std::snprintf(text, sizeof text, "%.9g", c.state.sweepTimeS);
    c.out.append(text);
}

// The sweep's point count is the simulator's trace length by another name.
void sweepPointsSet(CommandContext& c) {
    if (networkServed(c)) return networkSweep(c, SweepItem::Points, false);
    int64_t v = 0;
    if (c.expectParams(1, 1) && c.integerParam(0, v, 1, Instrument::kMaxPoints, 1001)) c.state.points = uint32_t(v);
}

void sweepPointsQuery(CommandContext& c) {
    if (networkServed(c)) return networkSweep(c, SweepItem::Points, true);
    if (c.expectParams(0, 0)) c.out.append(std::to_string(c.state.points));
}

// A single sweep: it keeps the instrument busy like *RST.
void initiate(CommandContext& c) {
    if (c.expectParams(0, 0)) c.instrument.startOperationLocked();
}

}  // namespace

std::vector<CommandDef> measurementCommands() {
    return {
        {"INSTrument[:SELect]", instSet, instQuery},
        {"INITiate[:IMMediate]", initiate, nullptr},
        {"FORMat[:DATA]", formatSet, formatQuery},
        {"[SENSe#32]:FREQuency:CENTer", centerSet, centerQuery},
        {"[SENSe#32]:FREQuency:SPAN", spanSet, spanQuery},
        {"[SENSe#32]:FREQuency:STARt", startSet, startQuery},
        {"[SENSe#32]:FREQuency:STOP", stopSet, stopQuery},
        {"[SENSe]:SWEep:TIME", sweepTimeSet, sweepTimeQuery},
        {"[SENSe#32]:SWEep:POINts", sweepPointsSet, sweepPointsQuery},
        {"TRACe#16[:DATA]", nullptr, traceQuery},
        {"[SENSe]:ADEMod:FM[:TDOMain]:RESult", nullptr, fmResultQuery},
    };
}

}  // namespace qv::sim
