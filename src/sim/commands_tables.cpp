// Instrument tables: the peak list stored as a file, and the digital
// demodulation mode with its result summary (the summary itself is
// answered by TRACE2 in that mode, see commands_measure.cpp).
//
// Peak list file: text with CR LF line ends, three lines a peak, fields
// separated by ';', highest peak first:
//   Peak;<n>;                 the marker number, counted from 1
//   <frequency>;Hz;           e.g. 1.250000E+09
//   <level>;dBm;              e.g. -29.01
// No header line: readers group the lines by three from the first.
#include <cstdio>
#include <string>

#include "command_table.h"
#include "instrument.h"
#include "scpi_errors.h"
#include "trace_data.h"

namespace qv::sim {

namespace {

constexpr uint32_t kMaxSummaryValues = 200;

std::string peakListText(const Instrument::State& s) {
    std::string text;
    int marker = 0;
    for (const auto& peak : tracePeaks(1, s.points)) {
        double start = double(s.startHz);
        double hz = s.points > 1 ? start + double(s.spanHz()) * double(peak.index) / double(s.points - 1)
                                 : double(s.centerHz());
        char lines[128];
        std::snprintf(lines, sizeof lines, "Peak;%d;\r\n%.6E;Hz;\r\n%.2f;dBm;\r\n", ++marker, hz, double(peak.level));
        text += lines;
    }
    return text;
}

void storePeakList(CommandContext& c) {
    if (!c.instrument.profile().peakList) {
        c.error(err::kUndefinedHeader);
        return;
    }
    std::string name;
    if (!c.expectParams(1, 1) || !c.stringParam(0, name)) return;
    if (int e = c.sandbox.writeFile(name, peakListText(c.state))) c.error(e);
}

bool demodulation(CommandContext& c) {
    if (c.instrument.profile().demodulation) return true;
    c.error(err::kUndefinedHeader);
    return false;
}

void formatSet(CommandContext& c) {
    static const char* const kForms[] = {"BPSK", "QPSK",  "OQPSK", "DQPSK", "8PSK",  "D8PSK",
                                         "MSK",  "GMSK",  "FSK",   "QAM16", "QAM32", "QAM64"};
    if (!demodulation(c) || !c.expectParams(1, 1)) return;
    // "8PSK" reads as the number 8 with the suffix PSK.
    const Parameter& p = c.unit.params[0];
    std::string form;
    if (p.type == Parameter::Type::Number && p.text.find_first_not_of("0123456789") == std::string::npos)
        form = p.text + p.unit;
    else if (!c.wordParam(0, form))
        return;
    for (const char* k : kForms)
        if (form == k) {
            c.state.demodulationFormat = form;
            return;
        }
    c.error(err::kIllegalParameterValue);
}

void formatQuery(CommandContext& c) {
    if (demodulation(c) && c.expectParams(0, 0)) c.out.append(c.state.demodulationFormat);
}

void summaryCountSet(CommandContext& c) {
    int64_t n = 53;
    if (c.expectParams(1, 1) && c.integerParam(0, n, 0, kMaxSummaryValues, 53)) c.state.summaryValues = uint32_t(n);
}

void summaryCountQuery(CommandContext& c) {
    if (c.expectParams(0, 0)) c.out.append(std::to_string(c.state.summaryValues));
}

}  // namespace

std::vector<CommandDef> tableCommands() {
    return {
        {"MMEMory:STORe:PEAK", storePeakList, nullptr},
        {"[SENSe]:DDEMod:FORMat", formatSet, formatQuery},
        {"SYSTem:SIMulator:DDEMod:COUNt", summaryCountSet, summaryCountQuery},
    };
}

}  // namespace qv::sim
