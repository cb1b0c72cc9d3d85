// The main window on Qt's offscreen platform: start splash, lists, menus,
// big buttons and the windows opened from the menu; and one search through
// the real directory against a simulated instrument.
#include "app/debug.h"
#include "app/error_messages.h"
#include "instrument_directory/capabilities.h"
#include "instrument_directory/dev_ident.h"
#include "instrument_directory/dir_source.h"
#include "scripted_host.h"
#include "sim/simulator.h"
#include "ui/big_button.h"
#include "ui/hcopy_form.h"
#include "ui/inst_file_form.h"
#include "ui/main_form.h"
#include "ui/script_form.h"
#include "ui/settings_form.h"
#include "ui/splash.h"
#include "ui/sup_devices.h"
#include "ui_fixtures.h"

#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QElapsedTimer>
#include <QLabel>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QMenuBar>
#include <QPushButton>
#include <QTableWidget>

#include <gtest/gtest.h>

#include <filesystem>

using qv::app::BigButton;
using qvtest::App;
using qvtest::FakeSource;
using qvtest::LogicEnv;
using qvtest::ScriptedHost;
using qvtest::WaitFor;

namespace {

struct Started {
    explicit Started(qv::app::InstrumentSource& src) : form(qv::app::context(), src) {
        form.show();
        clock.start();
        QObject::connect(&form, &qv::ui::MainForm::startupFinished, [this] { finishedAt = clock.elapsed(); });
    }
    void start(const std::string& user) {
        form.Start(user);
        ASSERT_TRUE(WaitFor([this] { return form.started(); }));
    }
    qv::ui::MainForm form;
    QElapsedTimer clock;
    qint64 finishedAt = -1;
};

qv::app::ScanRecord Rec(const std::string& name, const std::string& res, const std::string& type,
                        const std::string& computer = "") {
    return {name + "|RAW|x (1.0)", res, computer, type};
}

// One configured row that answers as a family of mask 1.
struct OneAnalyzer {
    OneAnalyzer() {
        App();
        env.rows({{"A|RAW|x", "1"}});
        src.records = {Rec("Analyzer", "R0", "AAA")};
    }
    LogicEnv env;
    ScriptedHost host;
    FakeSource src;
};

}  // namespace

TEST(MainForm, SplashStandsHalfASecondWhenTheWorkIsQuickAndTheWindowIsEnabledAfter) {
    OneAnalyzer f;
    Started s(f.src);
    s.start(f.env.user);
    EXPECT_GE(s.finishedAt, qv::app::SplashHandshake::kMinimumMs);
    EXPECT_LT(s.finishedAt, 3000);
    EXPECT_TRUE(s.form.isEnabled());
    EXPECT_TRUE(f.host.messages().empty());
}

TEST(MainForm, SplashClosesAtOnceWhenTheWorkOutlastsTheTimer) {
    App();
    QWidget main;
    main.show();
    auto* splash = new qv::ui::SplashStart(&main);
    QPointer<qv::ui::SplashStart> p(splash);
    bool closed = false;
    QObject::connect(splash, &qv::ui::SplashStart::closed, [&] { closed = true; });
    splash->ShowSplash();
    EXPECT_FALSE(main.isEnabled());
    QElapsedTimer t;
    t.start();
    WaitFor([] { return false; }, 700);  // the start work takes longer than the timer
    EXPECT_FALSE(p->IsClosing());
    splash->ReadyToWork();
    EXPECT_TRUE(p->IsClosing());
    EXPECT_TRUE(main.isEnabled());
    EXPECT_TRUE(WaitFor([&] { return closed; }, 2000));
}

TEST(MainForm, ListsStayParallelAndTheComputerNameShowsOnlyWithText) {
    App();
    LogicEnv env;
    env.rows({{"A|RAW|x", "1"}});
    ScriptedHost host;
    FakeSource src;
    src.records = {Rec("Analyzer", "R0", "AAA"), Rec("Network", "R1", "BBB", "lab7")};
    Started s(src);
    s.start(env.user);
    ASSERT_EQ(s.form.deviceList()->count(), 2);
    EXPECT_EQ(s.form.deviceList()->currentIndex(), 0);
    EXPECT_TRUE(s.form.ipList()->isHidden());
    EXPECT_TRUE(s.form.ipLabel()->isHidden());
    s.form.deviceList()->setCurrentIndex(1);
    EXPECT_EQ(s.form.resourceList()->currentText(), "R1");
    EXPECT_EQ(s.form.ipList()->currentText(), "lab7");
    EXPECT_FALSE(s.form.ipList()->isHidden());
    EXPECT_FALSE(s.form.ipLabel()->isHidden());
    EXPECT_EQ(s.form.logic().MyDevType, "BBB");
    // Windows take the name of the record behind the row, from the source.
    QWidget child;
    s.form.SetCaptionToInstrument(&child);
    EXPECT_EQ(child.windowTitle(), "BBB");
    EXPECT_TRUE(s.form.action("MNewTrace")->isEnabled());
    EXPECT_FALSE(s.form.action("MNewHardcopy")->isEnabled());
    // The big buttons look like their entries.
    EXPECT_TRUE(s.form.bigButton(BigButton::Trace)->available());
    EXPECT_FALSE(s.form.bigButton(BigButton::Hardcopy)->available());
}

TEST(MainForm, MenuCaptionsAndTheSkinEntries) {
    App();
    FakeSource src;
    qv::ui::MainForm form(qv::app::context(), src);
    const std::pair<const char*, const char*> entries[] = {
        {"MFileVISARsc", "Remote Interfaces..."}, {"MFileSettings", "&Settings..."},
        {"MenuFilePath", "Directory for Saving Files..."}, {"MFileExit", "E&xit"},
        {"MNewHardcopy", "&Hardcopy..."}, {"MNewTrace", "&Trace Display..."},
        {"MNewInstFileBrow", "&File Browser..."}, {"MNewInstTables", "&Print Tables..."},
        {"MNewInstScripts", "&Scripts..."}, {"MUtilAllPollStatus", "Poll Main Status Information..."},
        {"MUtilAllInterAct", "&Interactive Control..."}, {"MUtilAllRawRead", "&Raw Reading..."},
        {"MUtilAllTimed", "&Timed Actions..."}, {"MUtilTKxVHxSetClock", "Set Instrument Clock"},
        {"IPResolver", "&IP Address Resolver..."}, {"MUtilTKxVHxCalResults", "Read &Calibration Results..."},
        {"MUtilTKxVHxSelfTest", "Read Selftest Results..."}, {"MUtilTKxVHxHardInfo", "Read Hardware Info..."},
        {"MUtilTKxVHxDiscColor", "Display &Colors..."}, {"MGLxUtilUserCorrection", "Generator User Correction..."},
        {"MUtilTKxDemodReport", "&Demodulation Result Report..."},
        {"MWinArr0", "&Cascade"}, {"MWinArr1", "Tile &Horizontally"}, {"MWinArr2", "Tile &Vertically"},
        {"MWinArr3", "&Arrange Icons"}, {"WindowSkins1", "&Skin1"}, {"WindowSkins2", "&Skin2"},
        {"WindowSkins3", "&Skin3"}, {"HelpHelp", "&Help"}, {"MHelpAbout", "&About"}};
    for (const auto& [control, caption] : entries) {
        QAction* a = form.action(control);
        ASSERT_NE(a, nullptr) << control;
        EXPECT_EQ(a->text().toStdString(), caption) << control;
    }
    // The update check is not offered: there is no page to ask.
    EXPECT_EQ(form.action("HelpUpdate"), nullptr);
    EXPECT_EQ(form.findChild<QAction*>("HelpUpdate"), nullptr);
    form.CheckSkinEntry(2);
    EXPECT_TRUE(form.action("WindowSkins2")->isChecked());
    form.action("WindowSkins3")->trigger();
    EXPECT_TRUE(form.action("WindowSkins3")->isChecked());
    EXPECT_FALSE(form.action("WindowSkins2")->isChecked());
    // The popup menus stand outside the menu bar.
    EXPECT_NE(form.action("TMZOOM"), nullptr);
    EXPECT_NE(form.action("FMRENAME"), nullptr);
}

TEST(MainForm, ClickOnARefusedBigButtonPictureOrLabelShowsTheRefusal) {
    App();
    LogicEnv env;
    env.rows({{"A|RAW|x", "1"}});
    ScriptedHost host;
    FakeSource src;
    src.records = {Rec("Generator", "R0", "ZZZ")};  // no FUNCTIONS key: mask 0
    Started s(src);
    s.start(env.user);
    host.calls.clear();
    qv::ui::BigButtonWidget* hc = s.form.bigButton(BigButton::Hardcopy);
    ASSERT_NE(hc, nullptr);
    for (QWidget* target : {static_cast<QWidget*>(hc->picture()), static_cast<QWidget*>(hc->label())}) {
        QPointF c = QRectF(target->rect()).center();
        QMouseEvent press(QEvent::MouseButtonPress, c, target->mapToGlobal(c), Qt::LeftButton, Qt::LeftButton,
                          Qt::NoModifier);
        QMouseEvent release(QEvent::MouseButtonRelease, c, target->mapToGlobal(c), Qt::LeftButton, Qt::NoButton,
                            Qt::NoModifier);
        QCoreApplication::sendEvent(target, &press);
        QCoreApplication::sendEvent(target, &release);
    }
    auto msgs = host.messages();
    ASSERT_EQ(msgs.size(), 2u);
    EXPECT_EQ(msgs[1].title, "Function not supported");
    EXPECT_EQ(msgs[1].text, "Current function not supported by this instrument");
    EXPECT_EQ(s.form.mdiArea()->subWindowList().size(), 0);
    // The scripts button needs only a resource: it opens the script window.
    host.calls.clear();
    s.form.clickBigButton(BigButton::Scripts);
    EXPECT_TRUE(host.messages().empty());
    EXPECT_NE(s.form.findChild<qv::ui::ScriptForm*>("ScriptForm"), nullptr);
}

TEST(MainForm, NoVisaStartLeavesTheListsEmptyAndTheEditorOff) {
    App();
    LogicEnv env;
    env.rows({{"A|RAW|x", "1"}});
    ScriptedHost host;
    FakeSource src;
    src.visa = false;
    src.records = {Rec("A", "R0", "AAA")};
    Started s(src);
    s.start(env.user);
    EXPECT_EQ(s.form.deviceList()->count(), 0);
    EXPECT_FALSE(s.form.action("MFileVISARsc")->isEnabled());
    // Nothing was ever selected: every instrument function stays off.
    for (const char* entry : {"MNewHardcopy", "MNewTrace", "MNewInstTables", "MNewInstScripts", "MUtilAllInterAct",
                              "MGLxUtilUserCorrection", "MUtilTKxDemodReport"})
        EXPECT_FALSE(s.form.action(entry)->isEnabled()) << entry;
    EXPECT_TRUE(s.form.action("MFileSettings")->isEnabled());
    ASSERT_EQ(host.messages().size(), 1u);
    EXPECT_EQ(host.messages()[0].title, "Visa32.dll not found!");
}

TEST(MainForm, NoInstrumentQuestionComesAfterTheSplash) {
    App();
    LogicEnv env;
    ScriptedHost host;
    host.answers.push_back(qv::app::Answer::Ok);
    FakeSource src;
    Started s(src);
    s.start(env.user);
    ASSERT_EQ(host.messages().size(), 1u);
    EXPECT_EQ(host.messages()[0].title, "No instruments found");
    // OK opened the remote interfaces editor as a child window.
    ASSERT_EQ(s.form.mdiArea()->subWindowList().size(), 1);
    EXPECT_EQ(s.form.mdiArea()->subWindowList()[0]->widget()->windowTitle(), "Remote Interfaces");
}

// A row that cannot be reached shows its message during the scan, and the
// message closes the start splash. The window still waits for the scan: no
// "No instruments found" before the list is filled, no commands meanwhile,
// and a search asked for inside the scan does not start a second one.
TEST(MainForm, AMessageDuringTheScanDoesNotEndTheStartEarly) {
    App();
    LogicEnv env;
    env.rows({{"A|RAW|x", "1"}});
    ScriptedHost host;
    FakeSource src;
    src.records = {Rec("Analyzer", "R0", "AAA")};
    bool menusOffDuringScan = false;
    Started s(src);
    src.duringScan = [&] {
        if (src.scans > 1) return;  // a second scan: the test fails below, without recursing
        WaitFor([] { return false; }, 650);  // the splash's 500 ms pass
        qv::app::ErrorMessages(qv::app::kMessageInstrumentNotFound, "Far");
        WaitFor([] { return false; }, 400);  // its fade-out ends inside the scan
        menusOffDuringScan = !s.form.menuBar()->isEnabled();
        EXPECT_FALSE(s.form.started());
        s.form.logic().SearchDevices();  // ignored while the first one runs
    };
    s.start(env.user);
    EXPECT_EQ(src.scans, 1);
    EXPECT_TRUE(menusOffDuringScan);
    EXPECT_TRUE(s.form.menuBar()->isEnabled());
    EXPECT_EQ(s.form.deviceList()->count(), 1);
    const auto msgs = host.messages();
    ASSERT_EQ(msgs.size(), 1u);
    EXPECT_EQ(msgs[0].title, "Instrument not found");
}

// The progress splash is a window of its own: its Cancel button works while
// the main window is disabled.
TEST(MainForm, ProgressSplashCancelWorksWhileTheWindowIsDisabled) {
    App();
    LogicEnv env;
    ScriptedHost host;
    FakeSource src;
    Started s(src);
    s.start(env.user);
    QPointer<qv::ui::SplashForm> sp = s.form.showProgressSplash(true);
    EXPECT_FALSE(s.form.isEnabled());
    auto* cancel = sp->findChild<QPushButton*>("cmdCancel");
    ASSERT_NE(cancel, nullptr);
    EXPECT_TRUE(cancel->isEnabled());
    cancel->click();
    EXPECT_TRUE(qv::app::context().SplashCancelled);
    sp->ReadyToWork();
    EXPECT_TRUE(s.form.isEnabled());
    EXPECT_TRUE(WaitFor([&] { return sp.isNull(); }));
}

// Settings, the resolver and the editor exist once; their menu entries bring
// an open one up instead of making another.
TEST(MainForm, SingleWindowsOpenOnce) {
    OneAnalyzer f;
    Started s(f.src);
    s.start(f.env.user);
    for (const char* entry : {"MFileSettings", "IPResolver", "MFileVISARsc", "SupDevicesMenu"}) {
        s.form.action(entry)->trigger();
        s.form.action(entry)->trigger();
    }
    EXPECT_EQ(s.form.mdiArea()->subWindowList().size(), 4);
}

TEST(SettingsForm, CopyBoxesExcludeEachOtherAndClosingWritesTheFile) {
    App();
    LogicEnv env;
    auto& ctx = qv::app::context();
    ctx.IniFilePath = env.ini;
    ctx.CopyImg = 1;
    ctx.CopyDat = 0;
    auto* f = new qv::ui::SettingsForm(ctx);
    auto* img = f->findChild<QCheckBox*>("TracCopyImg");
    auto* dat = f->findChild<QCheckBox*>("TracCopyDat");
    ASSERT_TRUE(img && dat);
    EXPECT_TRUE(img->isChecked());
    dat->click();
    EXPECT_TRUE(dat->isChecked());
    EXPECT_FALSE(img->isChecked());
    EXPECT_EQ(ctx.CopyImg, 0);
    EXPECT_EQ(ctx.CopyDat, 1);
    EXPECT_EQ(env.read("Trace", "CopyDat"), "");  // nothing written before the window closes
    f->close();
    delete f;
    EXPECT_EQ(env.read("Trace", "CopyDat"), "1");
    EXPECT_EQ(env.read("Trace", "CopyImg"), "0");
}

TEST(SupDevices, GridFollowsTheDataFileAndCopiesWithTabs) {
    App();
    LogicEnv env;
    ScriptedHost host;
    // The window shows the master list read at start.
    qv::dir::LoadMasterList(env.data.file("VisaDevices.ini"));
    qv::ui::SupDevices w(QString::fromStdString(env.data.file("VisaDevices.ini")));
    QTableWidget* g = w.grid();
    ASSERT_GE(g->rowCount(), 3);
    EXPECT_EQ(g->horizontalHeaderItem(0)->text(), "Device");
    EXPECT_EQ(g->item(0, 0)->text(), "AAA");
    EXPECT_EQ(g->item(0, 1)->text(), "X");
    EXPECT_EQ(g->item(0, 2)->text(), "-");
    w.copyToClipboard();
    EXPECT_EQ(host.clipboard.rfind("Device\tHardcopy\tTrace\tFiles\tTables\tUCor\t\r\n", 0), 0u);
    EXPECT_NE(host.clipboard.find("BBB\t-\tX\tX\t-\t-\t\r\n"), std::string::npos);
    qv::dir::ResetIdentityTables();
}

// One search through the real directory: a simulated analyzer on a socket.
TEST(MainFormWithSimulator, FindsTheSimulatedAnalyzerAndEnablesItsFunctions) {
    App();
    qv::sim::Simulator sim;
    qv::sim::SimulatorConfig cfg;
    qv::sim::InstrumentConfig c;
    c.profile = "TKD";
    c.socketPort = 0;
    cfg.instruments.push_back(c);
    std::string why;
    ASSERT_TRUE(sim.start(cfg, why)) << why;
    qv::app::context() = qv::app::AppContext{};
    qvtest::TempDir appdata;
    std::string user = appdata.path() + "/Tesselhorn/Quilvane";
    std::filesystem::create_directories(user);
    std::string ini = user + "/Quilvane.ini";
    std::string res = "TCPIP0::127.0.0.1::" + std::to_string(sim.socketPort(0)) + "::SOCKET";
    qv::app::WriteIni(ini, "DisplayNames", "Name1", qv::app::Value("Bench|RAW|" + res));
    qv::app::WriteIni(ini, "ScanEntries", "Value1", qv::app::Value("1"));
    ScriptedHost host;
    qv::dir::DirectorySource src;
    Started s(src);
    s.start(user);
    ASSERT_EQ(s.form.deviceList()->count(), 1) << (host.messages().empty() ? "" : host.messages()[0].text);
    EXPECT_EQ(s.form.resourceList()->currentText().toStdString(), res);
    EXPECT_EQ(s.form.logic().MyDevType, "TKD");
    QWidget child;
    s.form.SetCaptionToInstrument(&child);
    EXPECT_EQ(child.windowTitle(), "TKD");
    EXPECT_EQ(s.form.CurrentInstrumentField(), "");  // a master family has no mapped name
    int16_t mask = qv::dir::FunctionsMask(qv::dir::VisaDevicesPath(), "TKD");
    EXPECT_NE(mask, 0);
    EXPECT_EQ(qv::app::context().CapabilityMask, mask);
    EXPECT_EQ(s.form.action("MNewHardcopy")->isEnabled(), (mask & 1) != 0);
    EXPECT_TRUE(host.messages().empty());
    qv::app::context() = qv::app::AppContext{};
}

TEST(MainForm, KeyEventsBecomeTheHotKeyPairs) {
    App();
    int key = 0, mods = 0;
    QKeyEvent ctrlC(QEvent::KeyRelease, Qt::Key_C, Qt::ControlModifier);
    ASSERT_TRUE(qv::ui::MainForm::HotKeyOf(&ctrlC, key, mods));
    EXPECT_EQ(key, 67);
    EXPECT_EQ(mods, 2);
    QKeyEvent shiftEnter(QEvent::KeyRelease, Qt::Key_Enter, Qt::ShiftModifier | Qt::KeypadModifier);
    ASSERT_TRUE(qv::ui::MainForm::HotKeyOf(&shiftEnter, key, mods));
    EXPECT_EQ(key, 13);
    EXPECT_EQ(mods, 1);
    QKeyEvent shiftPrint(QEvent::KeyRelease, Qt::Key_Print, Qt::ShiftModifier);
    ASSERT_TRUE(qv::ui::MainForm::HotKeyOf(&shiftPrint, key, mods));
    EXPECT_EQ(key, 44);
    QKeyEvent f1(QEvent::KeyRelease, Qt::Key_F1, Qt::NoModifier);
    EXPECT_FALSE(qv::ui::MainForm::HotKeyOf(&f1, key, mods));
}

namespace {

struct HardcopyCase {
    const char* family;
    const char* says;  // what the user reads where the hardcopy button leads
};

class HardcopyButton : public ::testing::TestWithParam<HardcopyCase> {};

// The registry decides where a hardcopy goes: a family that hands its
// pictures over as files goes to the file browser; every other family to
// the hardcopy window; here both meet a resource nobody answers at.
TEST_P(HardcopyButton, GoesWhereTheFamilyHandsItsPicturesOver) {
    App();
    LogicEnv env;
    qv::app::WriteIni(env.data.file("VisaDevices.ini"), "FUNCTIONS", GetParam().family, qv::app::Value("5"));
    env.rows({{"A|RAW|x", "1"}});
    ScriptedHost host;
    FakeSource src;
    src.records = {Rec("Tester", "R0", GetParam().family)};
    Started s(src);
    s.start(env.user);
    host.calls.clear();
    s.form.clickBigButton(BigButton::Hardcopy);
    auto msgs = host.messages();
    ASSERT_EQ(msgs.size(), 1u);
    EXPECT_NE(msgs[0].text.find(GetParam().says), std::string::npos) << msgs[0].text;
    const bool asFiles = std::string(GetParam().family) == "BJY";
    EXPECT_EQ(s.form.findChild<qv::ui::HCopyForm*>() != nullptr, !asFiles);
    EXPECT_EQ(s.form.findChild<qv::ui::InstFileForm*>() != nullptr, asFiles);
}

INSTANTIATE_TEST_SUITE_P(Families, HardcopyButton,
                         ::testing::Values(HardcopyCase{"BJY", "The instrument R0 could not be opened"},
                                           HardcopyCase{"BJX", "The instrument R0 could not be opened"}),
                         [](const auto& info) { return std::string(info.param.family); });

}  // namespace
