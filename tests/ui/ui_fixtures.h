// Fakes for the main window's logic: a view that records what it was told
// and an instrument source that answers from a list. Plus a private data
// folder with a VisaDevices.ini of known masks, and the offscreen Qt
// application the window tests need.
#pragma once

#include "app/context.h"
#include "app/iniio.h"
#include "app/main_window.h"
#include "test_support.h"
#include "ui/main_form.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QCoreApplication>
#include <QElapsedTimer>

#include <cstdlib>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace qvtest {

class FakeView : public qv::app::MainView {
public:
    std::string caption;
    std::map<qv::app::MenuId, bool> menus;
    std::vector<qv::app::DeviceRow> rows;
    int shownIndex = -1;
    int splashShown = 0, splashReady = 0, editorOpened = 0, skinChecked = 0;

    void SetCaption(const std::string& c) override { caption = c; }
    void SetMenuEnabled(qv::app::MenuId id, bool e) override { menus[id] = e; }
    void ClearDeviceLists() override {
        rows.clear();
        shownIndex = -1;
    }
    void AddDeviceRow(const qv::app::DeviceRow& r) override { rows.push_back(r); }
    void ShowDeviceIndex(int i) override { shownIndex = i; }
    void ShowStartSplash() override { ++splashShown; }
    void StartSplashReady() override { ++splashReady; }
    void CheckSkinEntry(int which) override { skinChecked = which; }
    void OpenRemoteInterfaces() override { ++editorOpened; }
};

class FakeSource : public qv::app::InstrumentSource {
public:
    bool visa = true;
    std::vector<qv::app::ScanRecord> records;
    int scans = 0, masterLoads = 0;
    std::vector<bool> lastScanFlags;
    // Runs inside the scan, as events let through by a real one would.
    std::function<void()> duringScan;

    bool VisaPresent() override { return visa; }
    void LoadMasterDevices() override { ++masterLoads; }
    std::vector<qv::app::ScanRecord> Scan(const std::string&, int, const std::vector<bool>& flags,
                                          const std::vector<bool>&) override {
        ++scans;
        lastScanFlags = flags;
        if (status) status("Fake@" + std::to_string(scans));
        if (duringScan) duringScan();
        return records;
    }
    void SetScanProgress(std::function<void(int)>, std::function<void(const std::string&)> s) override {
        status = std::move(s);
    }
    // Row i is record i, named by its family.
    bool RecordNames(int i, const std::string&, std::string& mapped, std::string& family) const override {
        if (i < 0 || i >= static_cast<int>(records.size())) return false;
        mapped.clear();
        family = records[static_cast<size_t>(i)].type;
        return true;
    }
    std::function<void(const std::string&)> status;
};

// A data folder with its own FUNCTIONS masks, set as the program folder,
// and a fresh per-user folder; the context goes back to its defaults.
class LogicEnv {
public:
    LogicEnv() {
        qv::app::context() = qv::app::AppContext{};
        std::ofstream f(data.file("VisaDevices.ini"));
        f << "[MASTERDEVICES]\nValue1=AAA\nValue2=BBB\nValue3=ALL\n"
             "[FUNCTIONS]\nAAA=1\nBBB=6\nALL=63\n";
        f.close();
        qv::app::context().ProgramFolder = data.path();
        user = appdata.path() + "/Tesselhorn/Quilvane";
        std::string cmd = "mkdir -p '" + user + "'";
        (void)std::system(cmd.c_str());
        ini = user + "/Quilvane.ini";
    }
    ~LogicEnv() { qv::app::context() = qv::app::AppContext{}; }
    // Rows of DisplayNames with their flags.
    void rows(const std::vector<std::pair<std::string, std::string>>& nameFlag) const {
        int n = 1;
        for (const auto& [name, flag] : nameFlag) {
            qv::app::WriteIni(ini, "DisplayNames", "Name" + std::to_string(n), qv::app::Value(name));
            qv::app::WriteIni(ini, "ScanEntries", "Value" + std::to_string(n), qv::app::Value(flag));
            ++n;
        }
    }
    std::string read(const char* section, const char* key) const {
        return qv::app::ReadIni(ini, section, key, qv::app::Value("")).text();
    }
    TempDir data, appdata;
    std::string user, ini;
};

// One offscreen application for the whole test program.
inline QApplication& App() {
    static int argc = 1;
    static char name[] = "test_ui";
    static char* argv[] = {name, nullptr};
    static QApplication* app = [] {
        ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
        return new QApplication(argc, argv);
    }();
    return *app;
}

// Runs events until cond holds or ms pass; returns cond.
inline bool WaitFor(const std::function<bool()>& cond, int ms = 5000) {
    QElapsedTimer t;
    t.start();
    while (!cond() && t.elapsed() < ms) QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    return cond();
}

// A main window that has found one simulated instrument of `family` (with
// this FUNCTIONS mask) and selected it; simArgs follow "--profile family".
inline std::unique_ptr<qv::ui::MainForm> MainWindowOnSimulated(LogicEnv& env, SimProcess& sim, FakeSource& src,
                                                               const std::string& family, int functions,
                                                               std::vector<std::string> simArgs) {
    App();
    std::ofstream(env.data.file("VisaDevices.ini"))
        << "[MASTERDEVICES]\nValue1=" << family << "\n[FUNCTIONS]\n" << family << "=" << functions << "\n";
    simArgs.insert(simArgs.begin(), {"--profile", family});
    std::string why;
    EXPECT_TRUE(sim.start(simArgs, &why)) << why;
    env.rows({{"Lab|TCPIP|x", "1"}});
    src.records = {{"Lab|TCPIP|x (" + family + ")", sim.socketResource(), "", family}};
    auto form = std::make_unique<qv::ui::MainForm>(qv::app::context(), src);
    form->show();
    form->Start(env.user);
    EXPECT_TRUE(WaitFor([&] { return form->started(); }));
    form->logic().DeviceListSelected(0);
    return form;
}

}  // namespace qvtest
