// Diagnostics and the standard messages: log lines, the failure block and
// report, the unwritable log file, ErrorMessages and ErrorLog.Txt, and the
// caption, time and temporary-file texts.
#include "app/context.h"
#include "app/debug.h"
#include "app/error_messages.h"
#include "app/standard.h"
#include "app/version.h"

#include "scripted_host.h"
#include "test_support.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <regex>
#include <sstream>
#include <string>
#include <vector>

using namespace qv::app;
using qvtest::ScriptedHost;

namespace {

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string l; std::getline(in, l);) lines.push_back(l);
    return lines;
}

TEST(RootDebugLevels, NamesAndUnknown) {
    EXPECT_EQ(RootDebug::GetLevelText(0), "Debug");
    EXPECT_EQ(RootDebug::GetLevelText(7), "Fatal");
    EXPECT_EQ(RootDebug::GetLevelText(8), "Unknown");
    EXPECT_EQ(RootDebug::GetLevelText(-1), "Unknown");
}

class DebugLog : public ::testing::Test {
protected:
    void SetUp() override {
        context() = AppContext{};
        log.SetFilename(dir.file("debug.log"));
        log.SetFileLogEnabled(true);
    }
    std::vector<std::string> lines() { return linesOf(qvtest::readFile(dir.file("debug.log"))); }
    qvtest::TempDir dir;
    ScriptedHost ui;
    RootDebug log;
};

TEST_F(DebugLog, PushPopLinesIndentByDepthAndMarkLevels) {
    log.SetLogPushPop(true);
    log.SetFileLogLevel(5);
    log.Push("VIF", "VIF", "OpenDevice");
    log.Push("VISAScan", "", "Scan");
    log.LogMessage(kLogNotice, "two dots");
    log.LogMessage(kLogCritical, "five stars");
    log.LogMessage(kLogAlert, "above the file level");
    log.Pop();
    log.Pop();
    log.Pop();  // one too many changes nothing
    EXPECT_EQ(lines(), (std::vector<std::string>{
                           "        >VIF.OpenDevice_VIF",
                           "          >VISAScan.Scan",
                           "..          two dots",
                           "*****       five stars",
                           "          <VISAScan.Scan",
                           "        <VIF.OpenDevice_VIF",
                       }));
    EXPECT_EQ(log.Depth(), 0);
    EXPECT_TRUE(ui.calls.empty());
}

TEST_F(DebugLog, KeptOpenFileGetsTheSameLines) {
    log.SetFileSafeLogMode(false);
    log.LogMessage(kLogInfo, "first\nsecond");
    log.SetFileSafeLogMode(true);
    log.LogMessage(kLogInfo, "third");
    EXPECT_EQ(lines(), (std::vector<std::string>{".       first", ".       second", ".       third"}));
}

TEST_F(DebugLog, TimeStampsGoInFront) {
    log.SetFileTimeStamping(true);
    log.LogMessage(kLogDebug, "stamped");
    ASSERT_EQ(lines().size(), 1u);
    EXPECT_TRUE(std::regex_match(lines()[0], std::regex(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{4}         stamped)")))
        << lines()[0];
}

TEST_F(DebugLog, RuntimeErrorWritesBlockAndShowsReport) {
    log.Push("VIF", "VIF", "OpenDevice");
    log.PushInfo("TCPIP::10.0.0.1::INSTR");
    log.Push("VIF", "VIF", "ReadSTB");
    log.LogRuntimeError("VIF", "VIF", "ReadSTB",
                        RuntimeError{-1073807339, "Timeout expired\nbefore the operation completed", "VISA", kLogError});
    std::vector<std::string> l = lines();
    ASSERT_EQ(l.size(), 6u);
    const std::string prefix = "****        ";  // four stars, padding to the text column, depth 2
    EXPECT_TRUE(l[0].rfind(prefix + "TIME        : ", 0) == 0) << l[0];
    EXPECT_EQ(l[1], prefix + "SOURCE      : VIF.ReadSTB_VIF");
    EXPECT_EQ(l[2], prefix + "DESCRIPTION : Timeout expired");
    EXPECT_EQ(l[3], prefix + "              before the operation completed");
    EXPECT_EQ(l[4], prefix + "ERROR NUMBER: -1073807339 (BFFF0015)");
    EXPECT_EQ(l[5], prefix + "ERROR SOURCE: VISA");

    const auto shown = ui.messages();
    ASSERT_EQ(shown.size(), 1u);
    const auto& m = shown[0];
    EXPECT_EQ(m.icon, Icon::Critical);
    EXPECT_NE(m.text.find("Quilvane has encounted a problem and needs to close."), std::string::npos);
    EXPECT_NE(m.text.find("NUMBER      : -1073807339 = &HBFFF0015\r\n"), std::string::npos);
    EXPECT_NE(m.text.find("CALLER STACK:\r\n>VIF.ReadSTB_VIF\r\n>VIF.OpenDevice_VIF  TCPIP::10.0.0.1::INSTR\r\n"),
              std::string::npos)
        << m.text;
}

TEST_F(DebugLog, FailureBelowFirstCriticIsOnlyLogged) {
    log.SetFirstCritic(6);
    log.LogRuntimeError("M", "", "F", RuntimeError{5, "minor", "", kLogError});
    EXPECT_TRUE(ui.calls.empty());
    EXPECT_EQ(lines().size(), 5u);
    log.SetFirstCritic(4);
    log.SetShowRuntimeWindow(false);
    log.LogRuntimeError("M", "", "F", RuntimeError{5, "quiet", "", kLogFatal});
    EXPECT_TRUE(ui.calls.empty());
}

TEST_F(DebugLog, UnwritableFileTellsOnceAndStopsLogging) {
    std::string blocker = dir.file("plain");
    ASSERT_TRUE(qvtest::writeFile(blocker, "x"));
    log.SetFilename(blocker + "/debug.log");  // a path under a file: no one can create it
    log.SetFileLogEnabled(true);
    log.LogMessage(kLogInfo, "lost");
    log.LogMessage(kLogInfo, "lost too");
    ASSERT_EQ(ui.messages().size(), 1u);
    EXPECT_EQ(ui.messages()[0].text, "Could not access debugger file " + blocker + "/debug.log");
    EXPECT_FALSE(log.FileLogEnabled());
}

TEST(RootDebugDefaults, PropertiesAndFileName) {
    qvtest::TempDir dir;
    context() = AppContext{};
    context().AppDataFolder = dir.path();
    RootDebug log;
    EXPECT_FALSE(log.FileLogEnabled());
    EXPECT_FALSE(log.FileTimeStamping());
    EXPECT_EQ(log.FileLogLevel(), 7);
    EXPECT_TRUE(log.FileSafeLogMode());
    EXPECT_EQ(log.FirstCritic(), 4);
    EXPECT_TRUE(log.ShowRuntimeWindow());
    EXPECT_TRUE(std::regex_match(log.Filename(),
                                 std::regex(dir.path() + R"(/ELOG_\d{4}_\d\d_\d\d_\d\d_\d\d_\d\d\.log)")))
        << log.Filename();
    context() = AppContext{};
}

TEST(CallGuard, PairsPushAndPopOnEveryPath) {
    const int before = rootDebug().Depth();
    auto early = [](bool leave) {
        CallGuard g("VIF", "VIF", "OpenDevice");
        if (leave) return rootDebug().Depth();
        CallGuard inner("VIF", "VIF", "Write");
        return rootDebug().Depth();
    };
    EXPECT_EQ(early(true), before + 1);
    EXPECT_EQ(early(false), before + 2);
    EXPECT_EQ(rootDebug().Depth(), before);
}

TEST(ErrorMessages, StandardTextsAfterSplashCloses) {
    context() = AppContext{};
    ScriptedHost ui;
    size_t callsWhenClosed = 99;
    context().CloseSplashes = [&] { callsWhenClosed = ui.calls.size(); };
    context().SelectedDeviceNumber = 4;

    ErrorMessages(kMessageHardcopyNotSupported);
    EXPECT_EQ(callsWhenClosed, 0u) << "the splash goes before the message";
    ErrorMessages(kMessageInstrumentNotFound, "TCPIP::10.0.0.9::INSTR");
    ASSERT_EQ(ui.messages().size(), 2u);
    EXPECT_EQ(ui.messages()[0].title, "HardCopy not supported");
    EXPECT_EQ(ui.messages()[0].text, "Selected instrument does not support the remote HardCopy function");
    EXPECT_EQ(ui.messages()[0].icon, Icon::Information);
    EXPECT_EQ(ui.messages()[1].title, "Instrument not found");
    EXPECT_EQ(ui.messages()[1].text,
              "Instrument TCPIP::10.0.0.9::INSTR was not found\r\nPlease check if the resource string is valid and "
              "the instrument is switched on and properly connected.");
    EXPECT_EQ(ui.messages()[1].icon, Icon::Information);
    EXPECT_EQ(context().SelectedDeviceNumber, 0);
    context() = AppContext{};
}

TEST(ErrorLogTxt, AppendsAndTells) {
    qvtest::TempDir dir;
    context() = AppContext{};
    context().ProgramFolder = dir.path();
    ScriptedHost ui;
    LogErrorToFile(53, "Skin file not found");
    LogErrorToFile(7, "Out of memory");
    std::vector<std::string> l = linesOf(qvtest::readFile(dir.file("ErrorLog.Txt")));
    ASSERT_EQ(l.size(), 2u);
    EXPECT_NE(l[0].find("Error Number: 53 Skin file not found"), std::string::npos);
    ASSERT_EQ(ui.messages().size(), 2u);
    EXPECT_EQ(ui.messages()[0].title, "Error...");
    EXPECT_EQ(ui.messages()[0].text,
              "The following error has occured in your program: \r\nError Number: 53 Skin file not found");
    context() = AppContext{};
}

TEST(Standard, TimeTexts) {
    TimeRecord t{2024, 3, 5, 7, 8, 9, 42};
    EXPECT_EQ(GetISOTimeString(t), "2024-03-05 07:08:09.0042");
    EXPECT_EQ(FileTimeStamp(t), "2024_03_05_07_08_09");
    TimeRecord now = CurrentTimeRecord();
    EXPECT_GE(now.Year, 2024);
    EXPECT_LT(now.Milliseconds, 1000);
}

TEST(Standard, CaptionAndVersion) {
    std::string number = R"((?: \d+))";
    EXPECT_TRUE(std::regex_match(GetMainCaption(), std::regex("Tesselhorn  " QV_PRODUCT_NAME " v" + number + "\\." +
                                                              number + "\\." + number + R"( from \d\d\.\d\d\.\d{4})")))
        << GetMainCaption();
    EXPECT_TRUE(std::regex_match(GetAboutFormVersion(),
                                 std::regex(R"(version \d+\.\d+\.\d+  from \d\d\.\d\d\.\d{4}( \d\d:\d\d:\d\d)?)")))
        << GetAboutFormVersion();
    EXPECT_NE(GetMainCaption().find(" v " + std::to_string(QV_VERSION_MAJOR) + ". "), std::string::npos);
}

TEST(Standard, TempFileNameCreatesUniqueFiles) {
    qvtest::TempDir dir;
    std::string a = TempFileName("hc/x", dir.path());
    std::string b = TempFileName("hc/x", dir.path());
    ASSERT_FALSE(a.empty());
    EXPECT_NE(a, b);
    EXPECT_EQ(a.rfind(dir.path() + "/hcx", 0), 0u) << a;
    EXPECT_EQ(a.substr(a.size() - 4), ".tmp");
    struct stat st {};
    EXPECT_EQ(stat(a.c_str(), &st), 0);
    EXPECT_EQ(TempFileName("x", dir.file("missing")), "");
}

TEST(Standard, BrowseFolderAsksTheHost) {
    ScriptedHost ui;
    ui.fileNames.push_back(std::string("/data\0junk", 10));
    EXPECT_EQ(BrowseFolder("Save to", "/home"), "/data");
    ASSERT_EQ(ui.calls.size(), 1u);
    EXPECT_EQ(ui.calls[0].title, "Save to\r\nCurrent Path: /home");
}

}  // namespace

TEST(ErrorReportFallback, YesCopiesTheReport) {
    ScriptedHost host;
    host.answers = {Answer::Yes};
    ErrorReport report;
    report.Source = "VIF.OpenDevice_VIF";
    report.Number = 440;
    report.Description = "Automation error";
    DisplayError(report);
    ASSERT_EQ(host.messages().size(), 2u);
    EXPECT_EQ(host.messages()[0].icon, Icon::Critical);
    EXPECT_EQ(host.clipboard, ErrorReportText(report));
    EXPECT_EQ(host.messages()[1].text, "Support informations copied to clipboard.");
}
