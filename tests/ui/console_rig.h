// The main window with one simulated instrument selected, for the windows
// that talk to it directly: the console, raw reading, the status reports.
#pragma once

#include "ui/main_form.h"
#include "ui_fixtures.h"

#include <QAction>
#include <QMdiArea>
#include <QMdiSubWindow>

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <memory>
#include <string>

namespace qvtest {

struct ConsoleRig {
    LogicEnv env;
    SimProcess sim;
    TempDir files;
    FakeSource src;
    std::unique_ptr<qv::ui::MainForm> form;
    std::string log = files.file("sim.log");

    explicit ConsoleRig(const std::string& family = "TKD", int functions = 15) {
        form = MainWindowOnSimulated(env, sim, src, family, functions, {"--log", log});
        qv::app::context().SaveFolder = files.path();
    }
    // Chooses a menu entry and gives back the window it opened, if any.
    template <class W>
    W* open(const char* entry) {
        const int before = int(form->mdiArea()->subWindowList().size());
        form->action(entry)->trigger();
        const auto subs = form->mdiArea()->subWindowList();
        if (int(subs.size()) == before) return nullptr;
        return qobject_cast<W*>(subs.back()->widget());
    }
    std::vector<std::string> simLog() const { return readLines(log); }
    int logCount(const std::string& line) const {
        auto lines = simLog();
        return int(std::count(lines.begin(), lines.end(), line));
    }
    // The index of the first log line equal to line at or after from; -1: none.
    int logIndex(const std::string& line, int from = 0) const {
        auto lines = simLog();
        for (int i = std::max(0, from); i < int(lines.size()); ++i)
            if (lines[size_t(i)] == line) return i;
        return -1;
    }
};

// A resource nobody answers on: the session does not open.
inline std::string DeadResource() { return "TCPIP::127.0.0.1::1::SOCKET"; }

}  // namespace qvtest
