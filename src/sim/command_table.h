// The SCPI command tree as a table: each row is a header pattern and the
// handlers of its set and query forms. Patterns use the usual notation:
// upper case is the short form, the whole word the long form, [NODE] is
// optional, and a trailing '#' (optionally followed by the largest value)
// marks a node that takes a numeric suffix: "CALCulate#4:MARKer#16[:STATe]".
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace qv::sim {

class CommandContext;
using Handler = void (*)(CommandContext&);

struct CommandDef {
    const char* pattern;
    Handler set;    // nullptr: no set form
    Handler query;  // nullptr: no query form
};

struct PatternNode {
    std::string shortForm;  // upper case
    std::string longForm;   // upper case
    bool optional = false;
    bool suffix = false;
    int maxSuffix = 0;
};

struct Command {
    std::string pattern;
    bool common = false;
    std::vector<PatternNode> nodes;
    Handler set = nullptr;
    Handler query = nullptr;
};

struct HeaderMatch {
    const Command* command = nullptr;
    std::vector<int> suffixes;        // one per suffix node of the pattern, 1 when omitted
    std::vector<bool> suffixGiven;    // which of them the header spelt out
};

class CommandTable {
public:
    explicit CommandTable(const std::vector<CommandDef>& defs);
    // Finds the command for a header's nodes. On failure returns false with
    // -113 (no such header) or -114 (a suffix out of range).
    bool find(bool common, const std::vector<std::string>& nodes, HeaderMatch& match, int& error) const;
    const std::vector<Command>& commands() const { return commands_; }

private:
    std::vector<Command> commands_;
};

// The instrument's command tree.
const CommandTable& commandTable();
// Rows of each group; commandTable() joins them.
std::vector<CommandDef> commonCommands();
std::vector<CommandDef> systemCommands();
std::vector<CommandDef> massMemoryCommands();
std::vector<CommandDef> measurementCommands();
std::vector<CommandDef> hardcopyCommands();
std::vector<CommandDef> serviceCommands();
std::vector<CommandDef> correctionCommands();
std::vector<CommandDef> tableCommands();
std::vector<CommandDef> traceCommands();
std::vector<CommandDef> networkCommands();
std::vector<CommandDef> scopeCommands();

// Parses a pattern ("[SENSe:]FREQuency:CENTer") into nodes; false if malformed.
bool parsePattern(std::string_view pattern, Command& out);

}  // namespace qv::sim
