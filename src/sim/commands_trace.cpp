// How traces are shown and kept: an analyzer's level unit, x spacing and
// trace states, the trace stored as a text file, and the audio analyzers'
// unit, frequency window and short error query.
//
// Stored trace file (MMEM:STOR:TRAC n,'NAME'): text with CR LF line ends,
// fields separated by ';', numbers with a decimal comma as an instrument
// set to a German locale writes them:
//   Type;<family>;   Version;<firmware>;   Date;<dd.mm.yyyy>;   Mode;<mode>;
//   Start;<Hz>;Hz    Stop;<Hz>;Hz          x-Unit;Hz;           y-Unit;<unit>;
//   Values;<n>;      then n lines <frequency>;<level>;<level2>;
//   End;
#include <time.h>

#include <algorithm>
#include <cstdio>
#include <string>

#include "command_table.h"
#include "instrument.h"
#include "scpi_errors.h"
#include "trace_data.h"

namespace qv::sim {

namespace {

bool analyzer(CommandContext& c) {
    if (c.instrument.profile().analyzer) return true;
    c.error(err::kUndefinedHeader);
    return false;
}

bool audio(CommandContext& c) {
    if (c.instrument.profile().audio) return true;
    c.error(err::kUndefinedHeader);
    return false;
}

// ---- level unit ---------------------------------------------------------

void levelUnitSet(CommandContext& c) {
    std::string w;
    if (!analyzer(c) || !c.expectParams(1, 1) || !c.wordParam(0, w)) return;
    if (!levelUnitFromWord(w, c.state.levelUnit)) c.error(err::kIllegalParameterValue);
}

void levelUnitQuery(CommandContext& c) {
    if (analyzer(c) && c.expectParams(0, 0)) c.out.append(levelUnitWord(c.state.levelUnit));
}

// ---- x axis spacing and trace states ----------------------------------------

void spacingSet(CommandContext& c) {
    std::string w;
    if (!analyzer(c) || !c.expectParams(1, 1) || !c.wordParam(0, w)) return;
    if (w == "LIN" || w == "LINEAR") c.state.xSpacing = "LIN";
    else if (w == "LOG" || w == "LOGARITHMIC") c.state.xSpacing = "LOG";
    else if (w == "AUTO") c.state.xSpacing = "AUTO";
    else c.error(err::kIllegalParameterValue);
}

void spacingQuery(CommandContext& c) {
    if (analyzer(c) && c.expectParams(0, 0)) c.out.append(c.state.xSpacing);
}

// DISPlay[:WINDow<w>]:TRACe<t>: the trace's suffix is the second one.
int traceSuffix(const CommandContext& c) { return c.suffix(1); }

void traceStateSet(CommandContext& c) {
    bool on = false;
    if (analyzer(c) && c.expectParams(1, 1) && c.boolParam(0, on)) c.state.traceOn[traceSuffix(c) - 1] = on;
}

void traceStateQuery(CommandContext& c) {
    if (analyzer(c) && c.expectParams(0, 0)) c.out.append(c.state.traceOn[traceSuffix(c) - 1] ? "1" : "0");
}

// ---- the trace as a file --------------------------------------------------

// printf's number with a decimal comma.
std::string commaNumber(const char* format, double v) {
    char text[64];
    std::snprintf(text, sizeof text, format, v);
    std::string s = text;
    std::replace(s.begin(), s.end(), '.', ',');
    return s;
}

// Hertz with up to three decimals, trailing zeros and a bare comma dropped.
std::string commaHz(double hz) {
    std::string s = commaNumber("%.3f", hz);
    while (s.size() > 1 && s.back() == '0' && s.find(',') != std::string::npos) s.pop_back();
    if (!s.empty() && s.back() == ',') s.pop_back();
    return s;
}

bool linearUnit(LevelUnit u) { return u == LevelUnit::Watt || u == LevelUnit::Volt || u == LevelUnit::Ampere; }

std::string firmwareOf(const Profile& p) {
    size_t comma = p.identity.rfind(',');
    return comma == std::string::npos ? std::string() : p.identity.substr(comma + 1);
}

std::string dateText(int64_t clockOffsetSeconds) {
    time_t now = ::time(nullptr) + time_t(clockOffsetSeconds);
    struct tm tm {};
    if (!::localtime_r(&now, &tm)) return "01.01.1970";
    char text[32];
    std::snprintf(text, sizeof text, "%02d.%02d.%04d", tm.tm_mday, tm.tm_mon + 1, tm.tm_year + 1900);
    return text;
}

std::string modeName(const std::string& mode) {
    if (mode == "REC") return "Receiver";
    if (mode == "SAN") return "Spectrum";
    return mode;
}

void storeTrace(CommandContext& c) {
    int64_t trace = 1;
    std::string name;
    if (!analyzer(c) || !c.expectParams(2, 2) || !c.integerParam(0, trace, 1, 6, 1) || !c.stringParam(1, name))
        return;
    const auto& s = c.state;
    const Profile& p = c.instrument.profile();
    TraceCurve curve;
    curve.kind = s.spanHz() == 0 ? TraceCurve::Kind::ZeroSpan : TraceCurve::Kind::Spectrum;
    curve.trace = int(trace);
    curve.points = curve.count = s.points;
    curve.unit = s.levelUnit;
    const double start = double(s.startHz), span = double(s.spanHz());
    const char* levelFormat = linearUnit(s.levelUnit) ? "%.4E" : "%.2f";

    std::string head;
    head += "Type;" + p.tag + ";\r\n";
    head += "Version;" + firmwareOf(p) + ";\r\n";
    head += "Date;" + dateText(s.clockOffsetSeconds) + ";\r\n";
    head += "Mode;" + modeName(s.mode) + ";\r\n";
    head += "Start;" + commaHz(start) + ";Hz\r\n";
    head += "Stop;" + commaHz(double(s.stopHz)) + ";Hz\r\n";
    head += "x-Unit;Hz;\r\n";
    head += std::string("y-Unit;") + levelUnitLabel(s.levelUnit) + ";\r\n";
    head += "Values;" + std::to_string(s.points) + ";\r\n";

    // Written a few thousand lines at a time: a long trace never sits in
    // memory whole. The second level column is a detector this simulation
    // does not have; it reads 0 as on an instrument with it switched off.
    constexpr uint32_t kLinesPerPiece = 4096;
    uint32_t next = 0;
    bool headDone = false, endDone = false;
    int e = c.sandbox.writeFileFrom(name, [&](std::string& piece) {
        piece.clear();
        if (!headDone) {
            piece = head;
            headDone = true;
            return true;
        }
        if (next < curve.count) {
            uint32_t last = std::min(curve.count, next + kLinesPerPiece);
            for (; next < last; ++next) {
                double hz = curve.points > 1 ? start + span * double(next) / double(curve.points - 1) : start;
                piece += commaHz(hz) + ";" + commaNumber(levelFormat, double(curveValue(curve, next))) + ";0;\r\n";
            }
            return true;
        }
        if (endDone) return false;
        piece = "End;\r\n";
        endDone = true;
        return true;
    });
    if (e) c.error(e);
}

// ---- audio analyzers ------------------------------------------------------

void audioUnitSet(CommandContext& c) {
    static const char* const kUnits[] = {"V", "DBV", "DBU", "DBM", "W", "DBR"};
    std::string w;
    if (!audio(c) || !c.expectParams(1, 1) || !c.wordParam(0, w)) return;
    for (const char* u : kUnits)
        if (w == u) {
            c.state.audioUnit = w;
            return;
        }
    c.error(err::kIllegalParameterValue);
}

void audioUnitQuery(CommandContext& c) {
    if (audio(c) && c.expectParams(0, 0)) c.out.append(c.state.audioUnit);
}

constexpr double kMaxAudioHz = 250000;

bool audioHzParam(CommandContext& c, double& v, double def) {
    return audio(c) && c.expectParams(1, 1) &&
           c.realParam(0, v, 0, kMaxAudioHz, def, {{"HZ", 1}, {"KHZ", 1e3}});
}

void audioQueryHz(CommandContext& c, double v) {
    if (!audio(c) || !c.expectParams(0, 0)) return;
    char text[32];
    std::snprintf(text, sizeof text, "%.9g", v);
    c.out.append(text);
}

void audioStartSet(CommandContext& c) {
    double v = 0;
    if (!audioHzParam(c, v, Instrument::kDefaultAudioStartHz)) return;
    c.state.audioStartHz = v;
    c.state.audioStopHz = std::max(c.state.audioStopHz, v);
}

void audioStopSet(CommandContext& c) {
    double v = 0;
    if (!audioHzParam(c, v, Instrument::kDefaultAudioStopHz)) return;
    c.state.audioStopHz = v;
    c.state.audioStartHz = std::min(c.state.audioStartHz, v);
}

void audioStartQuery(CommandContext& c) { audioQueryHz(c, c.state.audioStartHz); }
void audioStopQuery(CommandContext& c) { audioQueryHz(c, c.state.audioStopHz); }

// The audio analyzers' error query: the code of the oldest error alone,
// "0" when there is none; it takes the entry from the queue.
void shortErrorQuery(CommandContext& c) {
    if (!audio(c) || !c.expectParams(0, 0)) return;
    auto& q = c.state.errors;
    if (q.empty()) {
        c.out.append("0");
        return;
    }
    c.out.append(std::to_string(q.front().code));
    q.pop_front();
}

}  // namespace

std::vector<CommandDef> traceCommands() {
    return {
        {"CALCulate#4:UNIT:POWer", levelUnitSet, levelUnitQuery},
        {"UNIT#4:POWer", levelUnitSet, levelUnitQuery},
        {"DISPlay[:WINDow#4]:TRACe#6:X[:SCALe]:SPACing", spacingSet, spacingQuery},
        {"DISPlay[:WINDow#4]:TRACe#6[:STATe]", traceStateSet, traceStateQuery},
        {"MMEMory:STORe#4:TRACe", storeTrace, nullptr},
        {"[SENSe]:UNIT", audioUnitSet, audioUnitQuery},
        {"CALCulate#4:TRANsform:FREQuency:STARt", audioStartSet, audioStartQuery},
        {"CALCulate#4:TRANsform:FREQuency:STOP", audioStopSet, audioStopQuery},
        {"*ERR", nullptr, shortErrorQuery},
    };
}

}  // namespace qv::sim
