// What the reader tests share: a window that records its plots and
// selectors, and one simulated instrument with its exact command log.
#pragma once

#include "app/context.h"
#include "instrument_io/vif.h"
#include "sim/message_log.h"
#include "trace/reader.h"
#include "test_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace qvtest {

class RecordingWindow : public qv::trace::Window {
public:
    std::vector<qv::trace::Plot> plots;
    bool closed = false, selectorShown = false, channelSelectorShown = false;
    int storedDataOpened = 0;
    std::string mapped, caption;
    void DisplayTrace(const qv::trace::Plot& p) override { plots.push_back(p); }
    void DisplayComplexTrace(const qv::trace::Plot& p) override {
        plots.push_back(p);
        plots.back().complex = true;
    }
    void showTraceSelector(bool visible) override { selectorShown = visible; }
    void showChannelSelector(bool visible) override { channelSelectorShown = visible; }
    void setChannelCaption(const std::string& text) override { caption = text; }
    std::string channelCaption() const override { return caption; }
    bool gone() const override { return closed; }
    void openStoredData() override { ++storedDataOpened; }
    std::string mappedName() const override { return mapped; }
};

inline std::string logged(const std::string& command) {
    std::string s;
    qv::sim::appendEscaped(s, command);
    return s;
}

// One simulated instrument, set up through its own session, then read by
// readTrace. Only the commands after the set-up count.
struct Rig {
    TempDir dir;
    SimProcess sim;
    std::string log = dir.file("sim.log");
    qv::trace::WindowState state;
    RecordingWindow window;
    size_t setupLines = 0;

    Rig(const std::string& family, const std::vector<std::string>& setup, std::vector<std::string> extra = {}) {
        std::vector<std::string> args{"--profile", family, "--log", log};
        args.insert(args.end(), extra.begin(), extra.end());
        std::string why;
        EXPECT_TRUE(sim.start(args, &why)) << why;
        if (!setup.empty()) send(setup);
        mark();
        state.MyVISARsc = sim.socketResource();
        state.MyDevType = family;
        state.localFolder = dir.path();
        state.prepareVif = [](qv::io::VIF& v) { v.TimeOut(2000); };
    }

    // Commands on a session of their own, as another user at the instrument.
    void send(const std::vector<std::string>& commands) {
        qv::io::VIF v;
        EXPECT_TRUE(v.OpenDevice(sim.socketResource(), false, false, 2000, false));
        for (const std::string& c : commands) v.WriteString(c);
        std::string answer;
        v.ReadString("*OPC?", answer);  // every command has arrived
    }
    // From here on the log counts.
    void mark() { setupLines = readLines(log).size(); }

    void read() { qv::trace::readTrace(qv::app::context(), state, window, 2000); }

    // The commands since the mark, without the sessions' openings (status
    // byte and error queue) and connection notes.
    std::vector<std::string> commands() const {
        std::vector<std::string> lines = readLines(log), out;
        for (size_t i = setupLines; i < lines.size(); ++i)
            if (lines[i].rfind("@", 0) != 0) out.push_back(lines[i]);
        auto first = std::find_if(out.begin(), out.end(), [](const std::string& l) { return l != "*STB?"; });
        if (first != out.end() && *first == "SYST:ERR?") ++first;
        return {first, out.end()};
    }
};

}  // namespace qvtest
