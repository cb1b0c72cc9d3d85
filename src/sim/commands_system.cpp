// SYSTem subsystem, including the simulator's own control commands.
#include "command_table.h"
#include "instrument.h"
#include "scpi_errors.h"

namespace qv::sim {

namespace {

std::string errorEntry(const QueuedError& e) { return std::to_string(e.code) + "," + quoted(e.text); }

void errorNext(CommandContext& c) {
    if (!c.expectParams(0, 0)) return;
    auto& q = c.state.errors;
    if (q.empty()) {
        c.out.append("0,\"No error\"");
        return;
    }
    c.out.append(errorEntry(q.front()));
    q.pop_front();
}

void errorAll(CommandContext& c) {
    if (!c.expectParams(0, 0)) return;
    auto& q = c.state.errors;
    if (q.empty()) {
        c.out.append("0,\"No error\"");
        return;
    }
    std::string s;
    for (const auto& e : q) {
        if (!s.empty()) s += ',';
        s += errorEntry(e);
    }
    q.clear();
    c.out.append(s);
}

void errorCount(CommandContext& c) {
    if (c.expectParams(0, 0)) c.out.append(std::to_string(c.state.errors.size()));
}

void version(CommandContext& c) {
    if (c.expectParams(0, 0)) c.out.append("1999.0");
}

void faultAdd(CommandContext& c) {
    std::string faultText, why;
    if (!c.expectParams(1, 1) || !c.stringParam(0, faultText)) return;
    Fault f;
    if (!parseFault(faultText, f, why)) {
        c.error(err::kIllegalParameterValue);
        return;
    }
    c.state.faults.push_back(std::move(f));
}

void faultQuery(CommandContext& c) {
    if (!c.expectParams(0, 0)) return;
    std::string s;
    for (const auto& f : c.state.faults) {
        if (!s.empty()) s += ',';
        s += quoted(f.text);
    }
    c.out.append(s.empty() ? "\"\"" : s);
}

void faultClear(CommandContext& c) {
    if (c.expectParams(0, 0)) c.state.faults.clear();
}

void simError(CommandContext& c) {
    int64_t code = 0;
    if (!c.expectParams(1, 2) || !c.integerParam(0, code, -32768, 32767, 0)) return;
    std::string text;
    if (c.paramCount() == 2 && !c.stringParam(1, text)) return;
    if (code == 0) {
        c.error(err::kIllegalParameterValue);
        return;
    }
    c.instrument.pushErrorLocked(int(code), text);
}

void pointsSet(CommandContext& c) {
    int64_t v = 0;
    if (c.expectParams(1, 1) && c.integerParam(0, v, 1, Instrument::kMaxPoints, 1001)) c.state.points = uint32_t(v);
}

void pointsQuery(CommandContext& c) {
    if (c.expectParams(0, 0)) c.out.append(std::to_string(c.state.points));
}

}  // namespace

std::vector<CommandDef> systemCommands() {
    return {
        {"SYSTem:ERRor[:NEXT]", nullptr, errorNext},
        {"SYSTem:ERRor:ALL", nullptr, errorAll},
        {"SYSTem:ERRor:COUNt", nullptr, errorCount},
        {"SYSTem:VERSion", nullptr, version},
        {"SYSTem:SIMulator:FAULt", faultAdd, faultQuery},
        {"SYSTem:SIMulator:FAULt:CLEar", faultClear, nullptr},
        {"SYSTem:SIMulator:ERRor", simError, nullptr},
        {"SYSTem:SIMulator:POINts", pointsSet, pointsQuery},
    };
}

}  // namespace qv::sim
