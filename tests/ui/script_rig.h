// The main window with one simulated instrument selected and a scripts
// folder of the test's own, for the script and timed-action windows.
#pragma once

#include "app/context.h"
#include "app/host.h"
#include "ui/main_form.h"
#include "ui_fixtures.h"

#include <QAction>

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace qvtest {

// A line of the simulator's log as it records a message: '\' doubled.
inline std::string wireLine(const std::string& text) {
    std::string out;
    for (char c : text) out += c == '\\' ? std::string("\\\\") : std::string(1, c);
    return out;
}

struct ScriptRig {
    LogicEnv env;
    TempDir work, scripts;
    SimProcess sim;
    FakeSource src;
    std::unique_ptr<qv::ui::MainForm> form;
    std::string log = work.file("sim.log");

    explicit ScriptRig(const std::string& family = "TKD") {
        form = MainWindowOnSimulated(env, sim, src, family, 7, {"--root", work.path(), "--log", log, "--no-files"});
        // The start read the settings: only the test's scripts are listed.
        qv::app::context().ScriptFolder = scripts.path();
        qv::app::context().ScriptRecent.clear();
    }
    void script(const std::string& file, const std::string& text) const { writeFile(scripts.file(file), text); }
    template <class Form>
    Form* open(const char* menuEntry, const char* objectName) {
        QAction* a = form->action(menuEntry);
        EXPECT_TRUE(a && a->isEnabled()) << menuEntry;
        if (a) a->trigger();
        return form->findChild<Form*>(objectName);
    }
    // The messages the instrument got (control operations left out).
    std::vector<std::string> sent() const {
        std::vector<std::string> out;
        for (const std::string& l : readLines(log))
            if (l.rfind("@", 0) != 0) out.push_back(l);
        return out;
    }
    int count(const std::string& message) const {
        auto l = sent();
        return int(std::count(l.begin(), l.end(), wireLine(message)));
    }
};

// Records messages like the scripted host, but lets events run when the
// logic asks (a running script keeps the window alive), and calls `during`
// at each such point.
class EventHost final : public qv::app::Host {
public:
    EventHost() : previous_(&qv::app::host()) { qv::app::setHost(this); }
    ~EventHost() override { qv::app::setHost(previous_); }
    EventHost(const EventHost&) = delete;
    EventHost& operator=(const EventHost&) = delete;

    std::vector<std::pair<std::string, std::string>> messages;  // title, text
    std::function<void()> during;
    int pauses = 0;

    qv::app::Answer message(const std::string& title, const std::string& text, qv::app::Icon,
                            qv::app::Buttons) override {
        messages.emplace_back(title, text);
        return qv::app::Answer::Ok;
    }
    bool input(const std::string&, const std::string&, std::string&) override { return false; }
    std::string saveFileName(const std::string&, const std::string&, const std::string&,
                             const std::string&) override {
        return {};
    }
    std::string openFileName(const std::string&, const std::string&, const std::string&) override { return {}; }
    std::string folderName(const std::string&, const std::string&) override { return {}; }
    void clipboardText(const std::string&) override {}
    bool clipboardImage(const std::string&) override { return false; }
    void busy(bool) override {}
    void processEvents() override {
        ++pauses;
        QCoreApplication::processEvents();
        if (during) during();
    }
    bool openWithShell(const std::string&) override { return false; }

private:
    qv::app::Host* previous_;
};

}  // namespace qvtest
