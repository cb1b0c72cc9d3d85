#include "command_table.h"

#include <cctype>

#include "scpi_errors.h"
#include "text.h"

namespace qv::sim {

namespace {

bool equalsUpper(std::string_view received, const std::string& form) {
    if (received.size() != form.size()) return false;
    for (size_t i = 0; i < received.size(); ++i)
        if (upper(received[i]) != form[i]) return false;
    return true;
}

// Outcome of matching one received mnemonic against one pattern node.
enum class NodeMatch { No, Yes, SuffixOutOfRange };

NodeMatch matchNode(const PatternNode& node, std::string_view received, int& suffix, bool& given) {
    suffix = 1;
    given = false;
    if (!node.suffix) {
        return equalsUpper(received, node.shortForm) || equalsUpper(received, node.longForm) ? NodeMatch::Yes
                                                                                           : NodeMatch::No;
    }
    size_t end = received.size();
    while (end > 0 && std::isdigit(static_cast<unsigned char>(received[end - 1]))) --end;
    std::string_view base = received.substr(0, end);
    if (!equalsUpper(base, node.shortForm) && !equalsUpper(base, node.longForm)) return NodeMatch::No;
    if (end == received.size()) return NodeMatch::Yes;
    std::string_view digits = received.substr(end);
    if (digits.size() > 6) return NodeMatch::SuffixOutOfRange;
    int v = 0;
    for (char c : digits) v = v * 10 + (c - '0');
    suffix = v;
    given = true;
    if (v < 1 || (node.maxSuffix > 0 && v > node.maxSuffix)) return NodeMatch::SuffixOutOfRange;
    return NodeMatch::Yes;
}

// Backtracking over optional nodes; patterns are short, so this is cheap.
bool matchFrom(const Command& cmd, size_t pi, const std::vector<std::string>& nodes, size_t ri,
               std::vector<int>& suffixes, std::vector<bool>& given, bool& suffixError) {
    if (ri == nodes.size()) {
        for (size_t k = pi; k < cmd.nodes.size(); ++k) {
            if (!cmd.nodes[k].optional) return false;
            if (cmd.nodes[k].suffix) {
                suffixes.push_back(1);
                given.push_back(false);
            }
        }
        return true;
    }
    if (pi == cmd.nodes.size()) return false;
    const PatternNode& node = cmd.nodes[pi];
    size_t mark = suffixes.size();
    int suffix = 1;
    bool g = false;
    NodeMatch m = matchNode(node, nodes[ri], suffix, g);
    if (m == NodeMatch::SuffixOutOfRange) suffixError = true;
    if (m == NodeMatch::Yes) {
        if (node.suffix) {
            suffixes.push_back(suffix);
            given.push_back(g);
        }
        if (matchFrom(cmd, pi + 1, nodes, ri + 1, suffixes, given, suffixError)) return true;
        suffixes.resize(mark);
        given.resize(mark);
    }
    if (node.optional) {
        if (node.suffix) {
            suffixes.push_back(1);
            given.push_back(false);
        }
        if (matchFrom(cmd, pi + 1, nodes, ri, suffixes, given, suffixError)) return true;
        suffixes.resize(mark);
        given.resize(mark);
    }
    return false;
}

}  // namespace

bool parsePattern(std::string_view pattern, Command& out) {
    out.nodes.clear();
    out.pattern = std::string(pattern);
    size_t i = 0;
    if (!pattern.empty() && pattern[0] == '*') {
        out.common = true;
        PatternNode n;
        for (char c : pattern) n.shortForm += upper(c);
        n.longForm = n.shortForm;
        out.nodes.push_back(std::move(n));
        return pattern.size() > 1;
    }
    bool optional = false;
    while (i < pattern.size()) {
        char c = pattern[i];
        if (c == ':') {
            ++i;
            continue;
        }
        if (c == '[') {
            if (optional) return false;
            optional = true;
            ++i;
            continue;
        }
        if (c == ']') {
            if (!optional) return false;
            optional = false;
            ++i;
            continue;
        }
        PatternNode n;
        n.optional = optional;
        while (i < pattern.size() && std::isalpha(static_cast<unsigned char>(pattern[i]))) {
            char ch = pattern[i++];
            if (std::isupper(static_cast<unsigned char>(ch))) n.shortForm += ch;
            n.longForm += upper(ch);
        }
        if (n.longForm.empty()) return false;
        if (i < pattern.size() && pattern[i] == '#') {
            ++i;
            n.suffix = true;
            while (i < pattern.size() && std::isdigit(static_cast<unsigned char>(pattern[i])))
                n.maxSuffix = n.maxSuffix * 10 + (pattern[i++] - '0');
        }
        if (n.shortForm.empty()) n.shortForm = n.longForm;
        out.nodes.push_back(std::move(n));
    }
    return !optional && !out.nodes.empty();
}

CommandTable::CommandTable(const std::vector<CommandDef>& defs) {
    for (const auto& d : defs) {
        Command c;
        if (!parsePattern(d.pattern, c)) continue;  // a broken row is a programming error; tests catch it
        c.set = d.set;
        c.query = d.query;
        commands_.push_back(std::move(c));
    }
}

bool CommandTable::find(bool common, const std::vector<std::string>& nodes, HeaderMatch& match, int& error) const {
    bool suffixError = false;
    for (const auto& c : commands_) {
        if (c.common != common) continue;
        if (common) {
            // The received node lacks the '*' the pattern keeps.
            if (nodes.size() == 1 && equalsUpper(nodes[0], c.nodes[0].shortForm.substr(1))) {
                match = HeaderMatch{&c, {}, {}};
                return true;
            }
            continue;
        }
        std::vector<int> suffixes;
        std::vector<bool> given;
        if (matchFrom(c, 0, nodes, 0, suffixes, given, suffixError)) {
            match = HeaderMatch{&c, std::move(suffixes), std::move(given)};
            return true;
        }
    }
    error = suffixError ? err::kSuffixOutOfRange : err::kUndefinedHeader;
    return false;
}

const CommandTable& commandTable() {
    static const CommandTable table = [] {
        std::vector<CommandDef> all;
        for (auto group : {commonCommands(), systemCommands(), massMemoryCommands(), measurementCommands(),
                           hardcopyCommands(), serviceCommands(), correctionCommands(), tableCommands(), traceCommands(),
                           networkCommands(), scopeCommands()})
            all.insert(all.end(), group.begin(), group.end());
        return CommandTable(all);
    }();
    return table;
}

}  // namespace qv::sim
