// viFindRsrc's expression language and what the built-in layer can list.
#pragma once

#include <bitset>
#include <string>
#include <vector>

namespace qv::visa {

// Compiles a VISA search expression ("?*", "GPIB0::?*::INSTR",
// "ASRL[0-9]*::INSTR", "TCPIP?*::SOCKET|ASRL?*") into a matcher. Matching
// runs the expression as a state machine over all its states at once, so
// its time grows with the text's length times the expression's, never
// exponentially, whatever expression a caller passes.
class FindExpression {
public:
    bool compile(const std::string& expr);
    bool matches(const std::string& resource) const;

    struct State {
        enum Kind { Chars, Split, Match } kind = Match;
        std::bitset<256> chars;  // Chars: the bytes it takes
        int out = -1, out1 = -1;
    };

private:
    std::vector<State> states_;
    int start_ = -1;
};

// Serial ports that exist, and the resources listed in QUILVANE_VISA_RESOURCES
// (separated by ';'), which stands for configured LAN instruments.
std::vector<std::string> builtinResources();

}  // namespace qv::visa
