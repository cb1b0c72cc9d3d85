// quilvane-sim's command line: each --profile starts an instrument and the
// per-instrument options after it apply to it.
#pragma once

#include <string>
#include <vector>

#include "simulator.h"

namespace qv::sim {

struct CommandLine {
    SimulatorConfig simulator;
    std::string portFile;
    double lifetimeSeconds = 0;  // 0: no limit
    bool exitWithParent = false;
    bool help = false;
};

// args excludes the program name. False with a message on bad arguments.
bool parseCommandLine(const std::vector<std::string>& args, CommandLine& out, std::string& error);
std::string usageText();

}  // namespace qv::sim
