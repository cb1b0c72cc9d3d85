// IEEE 488.2 common commands.
#include <algorithm>

#include "command_table.h"
#include "instrument.h"
#include "scpi_errors.h"

namespace qv::sim {

namespace {

void idn(CommandContext& c) {
    if (c.expectParams(0, 0)) c.out.append(c.instrument.profile().identity);
}

void opt(CommandContext& c) {
    if (!c.expectParams(0, 0)) return;
    const std::string& o = c.instrument.profile().options;
    c.out.append(o.empty() ? "0" : o);
}

void rst(CommandContext& c) {
    if (!c.expectParams(0, 0)) return;
    c.instrument.resetLocked();
    c.instrument.startOperationLocked();
}

// The answers of this message and of later ones wait for the running
// operation, as the instrument takes nothing new before it ends.
void holdForOperation(CommandContext& c) {
    c.state.holdUntil = std::max(c.state.holdUntil, c.state.busyUntil);
}

void cls(CommandContext& c) {
    if (!c.expectParams(0, 0)) return;
    c.state.errors.clear();
    c.state.esr = 0;
}

void opcSet(CommandContext& c) {
    if (!c.expectParams(0, 0)) return;
    c.state.opcArmed = true;
    c.instrument.settleLocked();
}

void opcQuery(CommandContext& c) {
    if (!c.expectParams(0, 0)) return;
    holdForOperation(c);
    // A busy fault stands for an operation that takes a while: "0" until
    // its count runs out.
    auto& faults = c.state.faults;
    for (auto it = faults.begin(); it != faults.end(); ++it) {
        if (it->kind != Fault::Kind::Busy) continue;
        if (--it->value <= 0) faults.erase(it);
        c.out.append("0");
        return;
    }
    c.out.append("1");
}

void wai(CommandContext& c) {
    if (c.expectParams(0, 0)) holdForOperation(c);
}

void eseSet(CommandContext& c) {
    int64_t v = 0;
    if (c.expectParams(1, 1) && c.integerParam(0, v, 0, 255, 0)) c.state.ese = uint8_t(v);
}

void eseQuery(CommandContext& c) {
    if (c.expectParams(0, 0)) c.out.append(std::to_string(c.state.ese));
}

void esrQuery(CommandContext& c) {
    if (!c.expectParams(0, 0)) return;
    c.out.append(std::to_string(c.state.esr));
    c.state.esr = 0;  // reading clears
}

void sreSet(CommandContext& c) {
    int64_t v = 0;
    // Bit 6 cannot enable itself.
    if (c.expectParams(1, 1) && c.integerParam(0, v, 0, 255, 0)) c.state.sre = uint8_t(v & ~0x40);
}

void sreQuery(CommandContext& c) {
    if (c.expectParams(0, 0)) c.out.append(std::to_string(c.state.sre));
}

void stbQuery(CommandContext& c) {
    if (c.expectParams(0, 0)) c.out.append(std::to_string(c.instrument.statusByteLocked(c.outputPending)));
}

void tstQuery(CommandContext& c) {
    if (!c.expectParams(0, 0)) return;
    c.state.selfTestRan = true;  // DIAG:SERV:STES:RES? has results from now on
    c.out.append("0");
}

void trg(CommandContext& c) { c.expectParams(0, 0); }

}  // namespace

std::vector<CommandDef> commonCommands() {
    return {
        {"*IDN", nullptr, idn},
        {"*OPT", nullptr, opt},
        {"*RST", rst, nullptr},
        {"*CLS", cls, nullptr},
        {"*OPC", opcSet, opcQuery},
        {"*WAI", wai, nullptr},
        {"*ESE", eseSet, eseQuery},
        {"*ESR", nullptr, esrQuery},
        {"*SRE", sreSet, sreQuery},
        {"*STB", nullptr, stbQuery},
        {"*TST", nullptr, tstQuery},
        {"*TRG", trg, nullptr},
    };
}

}  // namespace qv::sim
