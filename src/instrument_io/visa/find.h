// viFindRsrc's expression language and what the built-in layer can list.
#pragma once

#include <memory>
#include <regex>
#include <string>
#include <vector>

namespace qv::visa {

// Compiles a VISA search expression ("?*", "GPIB0::?*::INSTR",
// "ASRL[0-9]*::INSTR", "TCPIP?*::SOCKET|ASRL?*") into a matcher.
class FindExpression {
public:
    bool compile(const std::string& expr);
    bool matches(const std::string& resource) const;

private:
    std::shared_ptr<const std::regex> regex_;
};

// Serial ports that exist, and the resources listed in QUILVANE_VISA_RESOURCES
// (separated by ';'), which stands for configured LAN instruments.
std::vector<std::string> builtinResources();

}  // namespace qv::visa
