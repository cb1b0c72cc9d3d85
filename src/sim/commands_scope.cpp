// Oscilloscopes: record length, time base, channels and math sources, and
// their waveforms with a header line. One family answers waveforms in the
// data format (CHAN<n>:WAV1:DATA?), the other always as text
// (CHAN<n>:DATA?), where peak detect makes each sample a (min, max) pair.
#include <cstdio>
#include <string>

#include "command_table.h"
#include "instrument.h"
#include "scpi_errors.h"

namespace qv::sim {

namespace {

bool scope(CommandContext& c) {
    if (c.instrument.profile().scope != Profile::Scope::None) return true;
    c.error(err::kUndefinedHeader);
    return false;
}

bool dialect(CommandContext& c, Profile::Scope wanted) {
    if (c.instrument.profile().scope == wanted) return true;
    c.error(err::kUndefinedHeader);
    return false;
}

bool textDialect(const CommandContext& c) { return c.instrument.profile().scope == Profile::Scope::TextWaveforms; }

// The text family's header divides the record by its sample count, the
// binary one's by one less.
SampleSpacing spacing(const CommandContext& c) {
    return textDialect(c) ? SampleSpacing::Exclusive : SampleSpacing::Inclusive;
}

size_t slot(const CommandContext& c, size_t suffix = 0) { return size_t(c.suffix(suffix) - 1); }

// ---- acquisition ------------------------------------------------------------

void pointsSet(CommandContext& c) {
    int64_t n = 0;
    if (scope(c) && c.expectParams(1, 1) &&
        c.integerParam(0, n, 1, ScopeSetup::kMaxPoints, ScopeSetup::kDefaultPoints))
        c.state.scope.points = uint32_t(n);
}

void pointsQuery(CommandContext& c) {
    if (scope(c) && c.expectParams(0, 0)) c.out.append(std::to_string(c.state.scope.points));
}

void scaleSet(CommandContext& c) {
    double v = 0;
    if (scope(c) && c.expectParams(1, 1) &&
        c.realParam(0, v, 1e-12, 1000, ScopeSetup::kDefaultScaleS,
                    {{"S", 1}, {"MS", 1e-3}, {"US", 1e-6}, {"NS", 1e-9}, {"PS", 1e-12}}))
        c.state.scope.scaleS = v;
}

void scaleQuery(CommandContext& c) {
    if (!scope(c) || !c.expectParams(0, 0)) return;
    char text[32];
    std::snprintf(text, sizeof text, "%.6E", c.state.scope.scaleS);
    c.out.append(text);
}

// ---- channels ---------------------------------------------------------------

void channelStateSet(CommandContext& c) {
    bool on = false;
    if (scope(c) && c.expectParams(1, 1) && c.boolParam(0, on)) c.state.scope.channelOn[slot(c)] = on;
}

void channelStateQuery(CommandContext& c) {
    if (scope(c) && c.expectParams(0, 0)) c.out.append(c.state.scope.channelOn[slot(c)] ? "1" : "0");
}

void channelTypeSet(CommandContext& c) {
    std::string w;
    if (!dialect(c, Profile::Scope::TextWaveforms) || !c.expectParams(1, 1) || !c.wordParam(0, w)) return;
    if (w == "SAMP" || w == "SAMPLE") c.state.scope.peakDetect[slot(c)] = false;
    else if (w == "PDET" || w == "PDETECT") c.state.scope.peakDetect[slot(c)] = true;
    else c.error(err::kIllegalParameterValue);
}

void channelTypeQuery(CommandContext& c) {
    if (dialect(c, Profile::Scope::TextWaveforms) && c.expectParams(0, 0))
        c.out.append(c.state.scope.peakDetect[slot(c)] ? "PDET" : "SAMP");
}

// A channel that is off has no waveform: an error and no answer at all.
bool channelOn(CommandContext& c) {
    if (c.state.scope.channelOn[slot(c)]) return true;
    c.error(err::kSettingsConflict, "Settings conflict;channel is off");
    return false;
}

void answerHeader(CommandContext& c, const std::string& line) { c.out.append(line); }

// Text answers ignore the data format.
void answerRecord(CommandContext& c, std::shared_ptr<const ValueSource> record) {
    answerValues(c, std::move(record), textDialect(c) || c.state.asciiFormat);
}

void binaryHeaderQuery(CommandContext& c) {
    if (dialect(c, Profile::Scope::BinaryWaveforms) && c.expectParams(0, 0) && channelOn(c))
        answerHeader(c, channelHeader(c.state.scope, c.suffix(0)));
}

void binaryDataQuery(CommandContext& c) {
    if (dialect(c, Profile::Scope::BinaryWaveforms) && c.expectParams(0, 0) && channelOn(c))
        answerRecord(c, channelRecord(c.state.scope, c.suffix(0), spacing(c)));
}

void textHeaderQuery(CommandContext& c) {
    if (dialect(c, Profile::Scope::TextWaveforms) && c.expectParams(0, 0) && channelOn(c))
        answerHeader(c, channelHeader(c.state.scope, c.suffix(0)));
}

void textDataQuery(CommandContext& c) {
    if (dialect(c, Profile::Scope::TextWaveforms) && c.expectParams(0, 0) && channelOn(c))
        answerRecord(c, channelRecord(c.state.scope, c.suffix(0), spacing(c)));
}

// ---- math -----------------------------------------------------------------

void mathDefine(CommandContext& c) {
    std::string text;
    if (!scope(c) || !c.expectParams(1, 1) || !c.stringParam(0, text)) return;
    MathExpression e;
    if (text.size() > 64 || !parseMathExpression(text, e)) {
        c.error(err::kIllegalParameterValue);
        return;
    }
    c.state.scope.mathText[slot(c)] = text;
    c.state.scope.math[slot(c)] = e;
}

void mathDefinitionQuery(CommandContext& c) {
    if (scope(c) && c.expectParams(0, 0)) c.out.append(quoted(c.state.scope.mathText[slot(c)]));
}

void mathStateSet(CommandContext& c) {
    bool on = false;
    if (scope(c) && c.expectParams(1, 1) && c.boolParam(0, on)) c.state.scope.mathOn[slot(c)] = on;
}

void mathStateQuery(CommandContext& c) {
    if (scope(c) && c.expectParams(0, 0)) c.out.append(c.state.scope.mathOn[slot(c)] ? "1" : "0");
}

bool mathOn(CommandContext& c) {
    if (c.state.scope.mathOn[slot(c)]) return true;
    c.error(err::kSettingsConflict, "Settings conflict;math is off");
    return false;
}

void mathHeaderQuery(CommandContext& c) {
    if (scope(c) && c.expectParams(0, 0) && mathOn(c)) answerHeader(c, mathHeader(c.state.scope, c.suffix(0)));
}

void mathDataQuery(CommandContext& c) {
    if (scope(c) && c.expectParams(0, 0) && mathOn(c))
        answerRecord(c, mathRecord(c.state.scope, c.suffix(0), spacing(c)));
}

}  // namespace

std::vector<CommandDef> scopeCommands() {
    return {
        {"ACQuire:POINts[:VALue]", pointsSet, pointsQuery},
        {"TIMebase:SCALe", scaleSet, scaleQuery},
        {"CHANnel#4[:STATe]", channelStateSet, channelStateQuery},
        {"CHANnel#4:TYPE", channelTypeSet, channelTypeQuery},
        {"CHANnel#4:WAVeform#1:DATA:HEADer", nullptr, binaryHeaderQuery},
        {"CHANnel#4:WAVeform#1:DATA[:VALues]", nullptr, binaryDataQuery},
        {"CHANnel#4:DATA:HEADer", nullptr, textHeaderQuery},
        {"CHANnel#4:DATA[:VALues]", nullptr, textDataQuery},
        {"CALCulate:MATH#4:STATe", mathStateSet, mathStateQuery},
        {"CALCulate:MATH#4:DATA:HEADer", nullptr, mathHeaderQuery},
        {"CALCulate:MATH#4:DATA[:VALues]", nullptr, mathDataQuery},
        {"CALCulate:MATH#4[:EXPRession][:DEFine]", mathDefine, mathDefinitionQuery},
    };
}

}  // namespace qv::sim
