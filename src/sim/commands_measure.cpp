// Measurement side: instrument mode, data format and traces.
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "command_table.h"
#include "instrument.h"
#include "scpi_errors.h"
#include "trace_data.h"

namespace qv::sim {

namespace {

constexpr int kMaxTrace = 6;

void instSet(CommandContext& c) {
    std::string w;
    if (!c.expectParams(1, 1) || !c.wordParam(0, w)) return;
    for (const auto& m : c.instrument.profile().modes)
        if (m == w) {
            c.state.mode = m;
            return;
        }
    c.error(err::kIllegalParameterValue);
}

void instQuery(CommandContext& c) {
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

void traceQuery(CommandContext& c) {
    if (!c.expectParams(0, 1)) return;
    int trace = c.suffix(0);
    if (c.paramCount() == 1) {
        // TRACE<n>, as analyzers name their traces.
        std::string w;
        if (!c.wordParam(0, w)) return;
        if (w.rfind("TRACE", 0) != 0) {
            c.error(err::kIllegalParameterValue);
            return;
        }
        std::string digits = w.substr(5);
        trace = 1;
        if (!digits.empty()) {
            if (digits.size() > 2 || digits.find_first_not_of("0123456789") != std::string::npos) {
                c.error(err::kIllegalParameterValue);
                return;
            }
            trace = 0;
            for (char d : digits) trace = trace * 10 + (d - '0');
        }
    }
    if (trace < 1 || trace > kMaxTrace) {
        c.error(err::kIllegalParameterValue);
        return;
    }
    if (trace == 2 && c.state.mode == "DDEM") {
        answerSummary(c);
        return;
    }
    uint32_t points = c.state.points;
    if (c.state.asciiFormat) {
        c.out.appendGenerated(makeAsciiTrace(trace, points));
    } else {
        auto gen = makeBinaryTrace(trace, points);
        c.out.appendBlockHeader(gen->size());
        c.out.appendGenerated(gen);
    }
}

// The frequency window: centre and span in whole hertz, start and stop
// derived from them, as a sweeping instrument keeps them.
void setHz(CommandContext& c, int64_t& field, int64_t def) {
    int64_t v = 0;
    if (c.expectParams(1, 1) && c.integerParam(0, v, 0, Instrument::kMaxFrequencyHz, def)) field = v;
}
void queryHz(CommandContext& c, int64_t value) {
    if (c.expectParams(0, 0)) c.out.append(std::to_string(value));
}
void centerSet(CommandContext& c) { setHz(c, c.state.centerHz, Instrument::kDefaultCenterHz); }
void centerQuery(CommandContext& c) { queryHz(c, c.state.centerHz); }
void spanSet(CommandContext& c) { setHz(c, c.state.spanHz, Instrument::kDefaultSpanHz); }
void spanQuery(CommandContext& c) { queryHz(c, c.state.spanHz); }
void startQuery(CommandContext& c) { queryHz(c, c.state.centerHz - c.state.spanHz / 2); }
void stopQuery(CommandContext& c) { queryHz(c, c.state.centerHz + c.state.spanHz / 2); }

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
        {"[SENSe]:FREQuency:CENTer", centerSet, centerQuery},
        {"[SENSe]:FREQuency:SPAN", spanSet, spanQuery},
        {"[SENSe]:FREQuency:STARt", nullptr, startQuery},
        {"[SENSe]:FREQuency:STOP", nullptr, stopQuery},
        {"TRACe#16[:DATA]", nullptr, traceQuery},
    };
}

}  // namespace qv::sim
