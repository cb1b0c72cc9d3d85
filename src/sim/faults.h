// Fault injection: KIND[=VALUE][@HEADER]. The header (short or long form,
// '?' for queries) limits a fault to that command; without it the fault
// applies to every answer (or, for error=, every command). busy=N takes no
// header: the next N *OPC? queries answer 0, an operation still running.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "command_table.h"

namespace qv::sim {

struct Fault {
    enum class Kind { Delay, Drop, CorruptBlock, Silent, Error, Busy };
    Kind kind = Kind::Delay;
    int64_t value = 0;  // delay ms, drop bytes, error code, busy answers left
    std::string text;   // as given
    bool restricted = false;
    const Command* command = nullptr;
    bool query = false;
    std::vector<int> suffixes;
    std::vector<bool> suffixGiven;

    bool appliesTo(const HeaderMatch& m, bool isQuery) const;
};

// False with a readable reason when the fault text is malformed.
bool parseFault(std::string_view text, Fault& out, std::string& error);

}  // namespace qv::sim
