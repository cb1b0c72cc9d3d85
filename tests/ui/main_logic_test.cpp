// The start sequence and the main window's command logic, without a window.
#include "app/main_window.h"
#include "app/settings.h"
#include "scripted_host.h"
#include "ui_fixtures.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <map>

using qv::app::BigButton;
using qv::app::Icon;
using qv::app::MenuId;
using qvtest::FakeSource;
using qvtest::FakeView;
using qvtest::LogicEnv;
using qvtest::ScriptedHost;

namespace {

qv::app::ScanRecord Rec(const std::string& name, const std::string& fw, const std::string& res,
                        const std::string& type, const std::string& computer = "") {
    return {name + "|x|y (" + fw + ")", res, computer, type};
}

// A main window's logic on a recording view and a list-backed source, with
// fresh settings.
class StartSequence : public ::testing::Test {
protected:
    LogicEnv env;
    ScriptedHost host;
    FakeView view;
    FakeSource source;
    qv::app::MainLogic logic{qv::app::context(), view, source};
};
using BigButtons = StartSequence;
using WayDown = StartSequence;

}  // namespace

TEST_F(StartSequence, FirstRunWritesServerAndEscapeDefaultsAndLoadsSettings) {
    logic.Load(env.user);

    EXPECT_EQ(env.read("Servers", "ServerEntry1"), "localhost");
    EXPECT_EQ(env.read("ScanEntriesServers", "Value1"), "1");
    EXPECT_EQ(env.read("ESCAPESEQS", "VAL1"), "XYZ");
    EXPECT_EQ(env.read("ESCAPESEQS", "VAL2"), "YZX");
    auto& ctx = qv::app::context();
    EXPECT_EQ(ctx.IniFilePath, env.ini);
    EXPECT_EQ(ctx.SaveFolder, env.user);  // empty after loading: the per-user folder
    EXPECT_FALSE(ctx.TempFolder.empty());
    EXPECT_EQ(ctx.ScanList.section, "ScanEntries");
    EXPECT_EQ(ctx.ServerList.prefix, "ServerEntry");
    EXPECT_EQ(ctx.CopyHotKey.KeyCode, 67);
    EXPECT_EQ(ctx.CopyHotKey.Modifiers, 2);
    EXPECT_EQ(ctx.InterfaceNames, std::vector<std::string>{"---"});
    EXPECT_EQ(view.skinChecked, 2);
    EXPECT_EQ(source.masterLoads, 1);
    EXPECT_FALSE(view.caption.empty());
    EXPECT_EQ(view.splashShown, 1);
    EXPECT_EQ(view.splashReady, 1);
}

TEST_F(StartSequence, ServerRowIsResetWhenItsFlagIsZeroButEscapesStayWhenOneIsSet) {
    qv::app::WriteIni(env.ini, "Servers", "ServerEntry1", qv::app::Value("labserver"));
    qv::app::WriteIni(env.ini, "ScanEntriesServers", "Value1", qv::app::Value("0"));
    qv::app::WriteIni(env.ini, "ESCAPESEQS", "VAL1", qv::app::Value("0"));
    qv::app::WriteIni(env.ini, "ESCAPESEQS", "VAL2", qv::app::Value("ABC"));
    qv::app::WriteIni(env.ini, "Directory", "Save", qv::app::Value("/data/shots"));
    logic.Load(env.user);
    EXPECT_EQ(env.read("Servers", "ServerEntry1"), "localhost");
    EXPECT_EQ(env.read("ScanEntriesServers", "Value1"), "1");
    EXPECT_EQ(env.read("ESCAPESEQS", "VAL1"), "0");
    EXPECT_EQ(env.read("ESCAPESEQS", "VAL2"), "ABC");
    EXPECT_EQ(qv::app::context().SaveFolder, "/data/shots");
}

TEST_F(StartSequence, NoFlaggedRowMeansNoScanAndTheNoInstrumentsQuestion) {
    env.rows({{"A|RAW|x", "0"}, {"B|RAW|y", "0"}});
    host.answers.push_back(qv::app::Answer::Ok);
    source.records = {Rec("Never", "1", "R", "AAA")};
    logic.Load(env.user);
    EXPECT_EQ(source.scans, 0);
    EXPECT_TRUE(view.rows.empty());
    EXPECT_FALSE(view.menus[MenuId::MNewHardcopy]);
    EXPECT_FALSE(view.menus[MenuId::MUtilAllRawRead]);

    logic.EndLoad();
    auto msgs = host.messages();
    ASSERT_EQ(msgs.size(), 1u);
    EXPECT_EQ(msgs[0].title, "No instruments found");
    EXPECT_EQ(msgs[0].text, "No available instruments were found!\r\nDo you want to configure an instrument now?");
    EXPECT_EQ(msgs[0].buttons, qv::app::Buttons::OkCancel);
    EXPECT_EQ(view.editorOpened, 1);  // OK opens the editor
    EXPECT_EQ(qv::app::context().CapabilityMask, 0);
    EXPECT_FALSE(view.menus[MenuId::MNewInstTables]);
}

TEST_F(StartSequence, CancelOnTheQuestionOpensNothing) {
    host.answers.push_back(qv::app::Answer::Cancel);
    logic.Load(env.user);
    logic.EndLoad();
    EXPECT_EQ(host.messages().size(), 1u);
    EXPECT_EQ(view.editorOpened, 0);
}

TEST_F(StartSequence, NoVisaShowsTheMessageDisablesTheEditorAndNeverScans) {
    env.rows({{"A|RAW|x", "1"}});
    source.visa = false;
    source.records = {Rec("A", "1", "R", "AAA")};
    logic.Load(env.user);
    auto msgs = host.messages();
    ASSERT_EQ(msgs.size(), 1u);
    EXPECT_EQ(msgs[0].title, "Visa32.dll not found!");
    EXPECT_EQ(msgs[0].text, "VISA DLL could not be found.\r\nPlease install VISA software.");
    EXPECT_EQ(msgs[0].icon, Icon::Critical);
    EXPECT_FALSE(view.menus.at(MenuId::MFileVISARsc));
    EXPECT_EQ(source.scans, 0);
    EXPECT_EQ(view.splashReady, 1);
    EXPECT_FALSE(qv::app::context().VisaPresent);
    // No question at the end, and selection events do nothing.
    logic.EndLoad();
    EXPECT_EQ(host.messages().size(), 1u);
    logic.DeviceListSelected(0);
    EXPECT_TRUE(logic.MyVISARsc.empty());
}

TEST_F(StartSequence, SearchFillsTheListsSelectsRowZeroAndGatesMenusByMask) {
    env.rows({{"A|RAW|x", "1"}, {"B|RAW|y", "1"}, {"C|RAW|z", "1"}});
    source.records = {Rec("Analyzer", "Release) 4.40 (Release", "TCPIP0::h::inst0::INSTR", "AAA", "lab7"),
                      Rec("Network", "1.32", "TCPIP0::h::inst1::INSTR", "BBB"),
                      Rec("Unknown", "1", "TCPIP0::h::inst2::INSTR", "ZZZ")};
    logic.Load(env.user);
    ASSERT_EQ(view.rows.size(), 3u);
    EXPECT_EQ(view.rows[1].text, "Network (1.32)");
    EXPECT_EQ(view.shownIndex, 0);
    EXPECT_EQ(source.lastScanFlags, (std::vector<bool>{true, true, true}));
    EXPECT_EQ(logic.MyVISARsc, "TCPIP0::h::inst0::INSTR");
    EXPECT_EQ(logic.MyDevType, "AAA");
    EXPECT_EQ(qv::app::context().CapabilityMask, 1);
    EXPECT_TRUE(view.menus[MenuId::MNewHardcopy]);
    EXPECT_FALSE(view.menus[MenuId::MNewTrace]);
    EXPECT_FALSE(view.menus[MenuId::MNewInstTables]);
    EXPECT_TRUE(view.menus[MenuId::MUtilAllPollStatus]);
    EXPECT_TRUE(view.menus[MenuId::MNewInstScripts]);
    logic.EndLoad();
    EXPECT_TRUE(host.messages().empty());  // instruments were found

    logic.DeviceListSelected(1);  // mask 6: trace and files
    EXPECT_EQ(logic.MyFirmware, "1.32");
    EXPECT_FALSE(view.menus[MenuId::MNewHardcopy]);
    EXPECT_TRUE(view.menus[MenuId::MNewTrace]);
    EXPECT_TRUE(view.menus[MenuId::MNewInstFileBrow]);
    EXPECT_FALSE(view.menus[MenuId::MUtilTKxVHxSelfTest]);

    logic.DeviceListSelected(2);  // family without FUNCTIONS: only the general utilities
    EXPECT_EQ(qv::app::context().CapabilityMask, 0);
    for (MenuId id : {MenuId::MNewHardcopy, MenuId::MNewTrace, MenuId::MNewInstFileBrow, MenuId::MNewInstTables,
                      MenuId::MUtilTKxVHxCalResults, MenuId::MGLxUtilUserCorrection})
        EXPECT_FALSE(view.menus[id]);
    for (MenuId id : {MenuId::MUtilAllPollStatus, MenuId::MUtilAllInterAct, MenuId::MUtilAllRawRead})
        EXPECT_TRUE(view.menus[id]);

    // A new search that finds nothing leaves nothing selected: no big button
    // may act on the instrument that has gone from the list.
    logic.DeviceListSelected(0);
    source.records.clear();
    EXPECT_EQ(logic.SearchDevices(), 0);
    EXPECT_EQ(logic.MyVISARsc, "");
    EXPECT_EQ(qv::app::context().CapabilityMask, 0);
    EXPECT_FALSE(view.menus[MenuId::MNewInstTables]);
    EXPECT_FALSE(view.menus[MenuId::MUtilAllInterAct]);
    host.calls.clear();
    EXPECT_FALSE(logic.BigButtonClicked(BigButton::Scripts));
    EXPECT_FALSE(logic.BigButtonClicked(BigButton::Hardcopy));
    EXPECT_EQ(host.messages().size(), 2u);
}

// The report entry follows the family's trait, not a FUNCTIONS bit: on for
// the family that has it, off for the next selection without it, and off
// when a search leaves nothing selected.
TEST_F(StartSequence, DemodulationReportFollowsTheSelectedFamilysTrait) {
    env.rows({{"A|RAW|x", "1"}});
    source.records = {Rec("Demod", "1", "R1", "DEM"), Rec("All", "1", "R2", "ALL")};
    logic.FamilyHasReport = [](std::string_view tag) { return tag == "DEM"; };
    EXPECT_FALSE(logic.MenuEnabled(MenuId::MUtilTKxDemodReport));
    logic.Load(env.user);
    EXPECT_EQ(qv::app::context().CapabilityMask, 0);
    EXPECT_TRUE(view.menus[MenuId::MUtilTKxDemodReport]);
    logic.DeviceListSelected(1);
    EXPECT_FALSE(view.menus[MenuId::MUtilTKxDemodReport]);
    logic.DeviceListSelected(0);
    EXPECT_TRUE(logic.MenuEnabled(MenuId::MUtilTKxDemodReport));
    source.records.clear();
    logic.SearchDevices();
    EXPECT_FALSE(view.menus[MenuId::MUtilTKxDemodReport]);
}

TEST_F(StartSequence, FileRowKeepsTheMenusOfThePreviousInstrument) {
    env.rows({{"A|RAW|x", "1"}});
    source.records = {Rec("All", "1", "R1", "ALL"), {"<FILE>", "", "", ""}};
    logic.Load(env.user);
    ASSERT_EQ(view.rows.size(), 2u);
    EXPECT_EQ(qv::app::context().CapabilityMask, 63);
    logic.DeviceListSelected(1);
    EXPECT_EQ(logic.MyVISARsc, "<FILE>");
    EXPECT_EQ(logic.MyDevType, "<FILE>");
    EXPECT_EQ(logic.MyFirmware, "");
    EXPECT_EQ(qv::app::context().CapabilityMask, 63);
    EXPECT_TRUE(view.menus[MenuId::MNewHardcopy]);
    EXPECT_TRUE(view.menus[MenuId::MGLxUtilUserCorrection]);
}

TEST_F(BigButtons, RefusedButtonsShowFunctionNotSupportedAndAllowedOnesDoNot) {
    qv::app::context().CapabilityMask = 0;
    for (BigButton b : {BigButton::Hardcopy, BigButton::Trace, BigButton::FilesInstr, BigButton::Tables,
                        BigButton::Scripts})
        EXPECT_FALSE(logic.BigButtonClicked(b));
    auto msgs = host.messages();
    ASSERT_EQ(msgs.size(), 5u);
    for (const auto& m : msgs) {
        EXPECT_EQ(m.title, "Function not supported");
        EXPECT_EQ(m.text, "Current function not supported by this instrument");
        EXPECT_EQ(m.icon, Icon::Information);
    }
    qv::app::context().CapabilityMask = 1 | 2 | 4 | 32;
    logic.MyVISARsc = "TCPIP0::h::INSTR";
    for (BigButton b : {BigButton::Hardcopy, BigButton::Trace, BigButton::FilesInstr, BigButton::Tables,
                        BigButton::Scripts})
        EXPECT_TRUE(logic.BigButtonClicked(b));
    EXPECT_EQ(host.messages().size(), 5u);
    // Each button tests its own bit only.
    EXPECT_FALSE(qv::app::BigButtonAllowed(BigButton::Tables, 31, "R"));
    EXPECT_TRUE(qv::app::BigButtonAllowed(BigButton::Tables, 32, ""));
}

// The bits the menu entries need, as the product defines them.
TEST(MenuTable, CapabilityBitsOfTheGatedEntries) {
    const std::map<MenuId, int16_t> gated = {
        {MenuId::MNewHardcopy, 1},          {MenuId::MNewTrace, 2},           {MenuId::MNewInstFileBrow, 4},
        {MenuId::MUtilTKxVHxCalResults, 8}, {MenuId::MUtilTKxVHxSelfTest, 8}, {MenuId::MUtilTKxVHxHardInfo, 8},
        {MenuId::MUtilTKxVHxSetClock, 8},   {MenuId::MUtilTKxVHxDiscColor, 8},  {MenuId::MGLxUtilUserCorrection, 16}, {MenuId::MNewInstTables, 32}};
    for (const qv::app::MenuEntry& e : qv::app::MenuEntries()) {
        auto it = gated.find(e.id);
        EXPECT_EQ(qv::app::MenuCapabilityBit(e.id), it == gated.end() ? 0 : it->second) << e.control;
    }
    EXPECT_EQ(qv::app::FindMenuEntry("MNewTrace")->id, MenuId::MNewTrace);
    EXPECT_EQ(qv::app::FindMenuEntry("HelpUpdate"), nullptr);
    EXPECT_EQ(qv::app::MenuCapabilityBit(MenuId::Count), 0);
    EXPECT_EQ(qv::app::PlainCaption("Read &Calibration Results..."), "Read Calibration Results");
}

TEST_F(StartSequence, BeforeTheFirstSearchOnlyTheEditorAndTheGeneralEntriesAreOn) {
    for (MenuId id : {MenuId::MFileVISARsc, MenuId::MFileSettings, MenuId::IPResolver, MenuId::WindowSkins2})
        EXPECT_TRUE(logic.MenuEnabled(id));
    for (MenuId id : {MenuId::MNewHardcopy, MenuId::MNewInstTables, MenuId::MNewInstScripts,
                      MenuId::MUtilAllPollStatus, MenuId::MGLxUtilUserCorrection})
        EXPECT_FALSE(logic.MenuEnabled(id));
}

TEST_F(StartSequence, EmptyingTheListsLeavesTheTablesEntryAsItWas) {
    env.rows({{"A|RAW|x", "1"}});
    source.records = {Rec("All", "1", "R1", "ALL")};
    logic.Load(env.user);
    ASSERT_TRUE(view.menus[MenuId::MNewInstTables]);
    logic.ShowDeviceSelection(false);
    EXPECT_TRUE(view.menus[MenuId::MNewInstTables]);
    for (MenuId id : {MenuId::MNewHardcopy, MenuId::MUtilTKxVHxDiscColor, MenuId::MUtilAllRawRead,
                      MenuId::MNewInstScripts})
        EXPECT_FALSE(view.menus[id]);
    EXPECT_TRUE(view.rows.empty());
}

TEST(NamingRule, ExampleAndTwoDigitFields) {
    qv::app::TimeRecord t{2006, 3, 5, 7, 8, 9, 0};
    EXPECT_EQ(qv::app::OutputFileName("/save", "KDC 1234 (1.05)", t, ".txt"), "/save/KDC1234-1.05@2006-03-05_07-08-09.txt");
    qv::app::TimeRecord u{2024, 12, 31, 23, 59, 58, 0};
    EXPECT_EQ(qv::app::OutputFileName("/s", "A (B) (C)", u, ".png"), "/s/A-B-C@2024-12-31_23-59-58.png");
    // The file stays in the folder whatever the display name holds.
    EXPECT_EQ(qv::app::OutputFileName("/s", "Bench 1/2 (TKD)", u, ".lst"), "/s/Bench1-2-TKD@2024-12-31_23-59-58.lst");
}

TEST(SelectionText, ListTextAndFirmware) {
    EXPECT_EQ(qv::app::DeviceListText("Lab|TCPIP|h (4.40)"), "Lab (4.40)");
    EXPECT_EQ(qv::app::DeviceListText("Lab|TCPIP|h"), "Lab ");
    // Records of rows without a comment part read "name (family)" already.
    EXPECT_EQ(qv::app::DeviceListText("TKD (TKD)"), "TKD (TKD)");
    EXPECT_EQ(qv::app::DeviceListText("TCPIP::h::INSTR (KDX)"), "TCPIP::h::INSTR (KDX)");
    EXPECT_EQ(qv::app::DeviceListText("-|-|- (---)"), "- (---)");
    EXPECT_EQ(qv::app::FirmwareOf("Lab (4.40 (Release))"), "4.40");
    // Without "(" the whole text is the firmware.
    EXPECT_EQ(qv::app::FirmwareOf("Plain name"), "Plain name");
}

TEST(HotKeys, PairsActOnlyOnTheirTags) {
    qv::app::AppContext ctx;
    qv::app::SetHotKeys(ctx);
    auto copyTrace = qv::app::HotKeyManagerActions(ctx, "TRACE", 67, 2);
    EXPECT_TRUE(copyTrace.copyTraceImage);
    EXPECT_FALSE(copyTrace.update);
    auto copyFile = qv::app::HotKeyManagerActions(ctx, "INSTFILE", 67, 2);
    EXPECT_FALSE(copyFile.copyTraceImage || copyFile.copyHardcopyImage || copyFile.saveTrace || copyFile.update);
    auto saveReport = qv::app::HotKeyManagerActions(ctx, "REPORT", 44, 1);
    EXPECT_FALSE(saveReport.saveTrace || saveReport.saveImage);
    EXPECT_TRUE(qv::app::HotKeyManagerActions(ctx, "IMAGE", 44, 1).saveImage);
    for (const char* tag : {"TRACE", "IMAGE", "INSTFILE", "REPORT"})
        EXPECT_TRUE(qv::app::HotKeyManagerActions(ctx, tag, 13, 1).update) << tag;
    // Wrong modifiers: nothing.
    EXPECT_FALSE(qv::app::HotKeyManagerActions(ctx, "TRACE", 13, 0).update);
}

TEST(SplashHandshake, ClosesOnWhicheverComesSecondAndOnlyOnce) {
    qv::app::SplashHandshake early;
    EXPECT_FALSE(early.Ready());
    EXPECT_TRUE(early.TimerFired());
    EXPECT_FALSE(early.Ready());
    qv::app::SplashHandshake late;
    EXPECT_FALSE(late.TimerFired());
    EXPECT_TRUE(late.Ready());
    EXPECT_TRUE(late.closed());
}

TEST(Folders, AppDataIsHonouredElseTheConfigFolder) {
    qvtest::TempDir a, x;
    const char* oldA = std::getenv("APPDATA");
    const char* oldX = std::getenv("XDG_CONFIG_HOME");
    std::string keepA = oldA ? oldA : "", keepX = oldX ? oldX : "";
    ::setenv("APPDATA", a.path().c_str(), 1);
    EXPECT_EQ(qv::app::MakeAppDataFolder(), a.path() + "/Tesselhorn/Quilvane");
    EXPECT_TRUE(std::filesystem::is_directory(a.path() + "/Tesselhorn/Quilvane"));
    // A second run over existing folders changes nothing.
    EXPECT_EQ(qv::app::MakeAppDataFolder(), a.path() + "/Tesselhorn/Quilvane");
    ::setenv("APPDATA", "", 1);
    ::setenv("XDG_CONFIG_HOME", x.path().c_str(), 1);
    EXPECT_EQ(qv::app::MakeAppDataFolder(), x.path() + "/Tesselhorn/Quilvane");
    if (oldA) ::setenv("APPDATA", keepA.c_str(), 1); else ::unsetenv("APPDATA");
    if (oldX) ::setenv("XDG_CONFIG_HOME", keepX.c_str(), 1); else ::unsetenv("XDG_CONFIG_HOME");
}

TEST_F(WayDown, ExitWritesTheSettingsAndTheSelectedRow) {
    env.rows({{"A|RAW|x", "1"}});
    source.records = {Rec("A", "1", "R1", "AAA"), Rec("B", "2", "R2", "BBB")};
    logic.Load(env.user);
    logic.DeviceListSelected(1);
    qv::app::context().CopyDat = 1;
    logic.Exit();
    EXPECT_EQ(env.read("SelectedDevice", "Number"), "1");
    EXPECT_EQ(env.read("Trace", "CopyDat"), "1");
}

namespace {
class FakeChild : public qv::app::HotKeyWindow {
public:
    explicit FakeChild(std::string tag) : tag_(std::move(tag)) {}
    std::string Tag() const override { return tag_; }
    void CopyPicture() override { ++copies; }
    std::string ImageType() const override { return "png"; }
    bool SaveTraceText(const std::string& p) override { saved.push_back("text:" + p); return true; }
    bool SavePicture(const std::string& p) override { saved.push_back("picture:" + p); return true; }
    void Update() override { ++updates; }
    int copies = 0, updates = 0;
    std::vector<std::string> saved;

private:
    std::string tag_;
};
}  // namespace

TEST(HotKeys, ManagerRunsThePairsOnTheWindowAndACancelledSaveSaysNothing) {
    qv::app::AppContext ctx;
    qv::app::SetHotKeys(ctx);
    ScriptedHost host;
    FakeChild trace("TRACE");
    host.fileNames.push_back("/tmp/points");
    qv::app::HotKeyManager(ctx, trace, 44, 1);  // Shift + Print Screen
    ASSERT_EQ(trace.saved.size(), 1u);
    EXPECT_EQ(trace.saved[0], "text:/tmp/points.txt");
    ASSERT_EQ(host.calls.front().kind, ScriptedHost::Kind::Busy);
    bool asked = false;
    for (const auto& c : host.calls)
        if (c.kind == ScriptedHost::Kind::SaveFileName) asked = c.title == "Please select filename";
    EXPECT_TRUE(asked);

    qv::app::HotKeyManager(ctx, trace, 44, 1);  // cancelled: no file, no message
    EXPECT_EQ(trace.saved.size(), 1u);
    EXPECT_TRUE(host.messages().empty());

    FakeChild image("IMAGE");
    host.fileNames.push_back("/tmp/shot");
    qv::app::HotKeyManager(ctx, image, 44, 1);
    qv::app::HotKeyManager(ctx, image, 67, 2);
    qv::app::HotKeyManager(ctx, image, 13, 1);
    EXPECT_EQ(image.saved, std::vector<std::string>{"picture:/tmp/shot.png"});
    EXPECT_EQ(image.copies, 1);
    EXPECT_EQ(image.updates, 1);

    FakeChild files("INSTFILE");
    qv::app::HotKeyManager(ctx, files, 67, 2);
    qv::app::HotKeyManager(ctx, files, 44, 1);
    EXPECT_EQ(files.copies, 0);
    EXPECT_TRUE(files.saved.empty());
    EXPECT_EQ(host.calls.back().kind, ScriptedHost::Kind::ProcessEvents);
}
