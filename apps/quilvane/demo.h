// Demo mode: simulated instruments on loopback and a throw-away settings
// folder whose rows point at them. The user's own settings stay untouched.
#pragma once

#include "sim/simulator.h"

#include <string>

namespace qv::demo {

class DemoSetup {
public:
    DemoSetup() = default;
    ~DemoSetup();  // stops the instruments and removes the folder
    DemoSetup(const DemoSetup&) = delete;
    DemoSetup& operator=(const DemoSetup&) = delete;

    // Starts the instruments, makes the folder, writes the rows, and points
    // APPDATA and QUILVANE_PORTMAPPER_PORT at them. False with a reason.
    bool start(std::string& error);
    // The folder that stands for APPDATA.
    const std::string& folder() const { return folder_; }
    int instrumentCount() const;
    // The folder that holds instrument i's files; empty when there is none.
    std::string instrumentRoot(size_t i);

private:
    qv::sim::Simulator sim_;
    std::string folder_;
};

}  // namespace qv::demo
