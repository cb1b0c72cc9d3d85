// Script runs through the real VISA layer against the simulated analyzer:
// what the instrument received (its log, line by line), what Results says,
// and that a run ends in bounded time whatever the instrument does.
#include "app/data_folder.h"
#include "automation/script.h"
#include "instrument_io/vif.h"
#include "scripted_host.h"
#include "sim/message_log.h"
#include "test_support.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cctype>
#include <chrono>

namespace {

using namespace qv::automation;
using Clock = std::chrono::steady_clock;
using Kind = qvtest::ScriptedHost::Kind;

const char* const kIdn = "Tesselhorn,TKD-7,100123/007,4.40";
const std::string kData = std::string("block\0data\r\n#", 13) + std::string(3000, 'z');

std::string logged(const std::string& command) {
    std::string s;
    qv::sim::appendEscaped(s, command);
    return s;
}

long msSince(Clock::time_point t0) {
    return long(std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - t0).count());
}

// A simulated analyzer whose D: drive holds one data file; its wire log
// shows what each run sent.
struct Rig {
    qvtest::TempDir root;
    qvtest::SimProcess sim;
    std::string log = root.file("sim.log");
    std::string error;

    Rig() {
        ::mkdir(root.file("D").c_str(), 0755);
        ::mkdir(root.file("D/USER").c_str(), 0755);
        qvtest::writeFile(root.file("D/USER/data.bin"), kData);
        sim.start({"--profile", "TKD", "--root", root.path(), "--log", log}, &error);
    }
    // The log lines a run added after `before` lines, without the session's
    // opening (status byte, error queue read, control operations).
    std::vector<std::string> linesSince(size_t before) const {
        std::vector<std::string> lines = qvtest::readLines(log);
        std::vector<std::string> out;
        bool opening = true;
        for (size_t i = before; i < lines.size(); ++i) {
            const std::string& l = lines[i];
            if (l.rfind("@", 0) == 0) continue;
            if (opening && l == "*STB?") continue;
            if (opening && l == "SYST:ERR?") {
                opening = false;
                continue;
            }
            opening = false;
            out.push_back(l);
        }
        return out;
    }
    static Rig& shared() {
        static Rig rig;
        return rig;
    }
};

struct RunCase {
    const char* name;
    std::string script;
    std::vector<std::string> sent;  // as the instrument received them
    std::string results;            // "%T" stands for the target file
    bool errors;
    bool fileArrives;
};

class ScriptRuns : public ::testing::TestWithParam<RunCase> {};

std::string withTarget(std::string text, const std::string& target) {
    for (size_t at = text.find("%T"); at != std::string::npos; at = text.find("%T", at + target.size()))
        text.replace(at, 2, target);
    return text;
}

TEST_P(ScriptRuns, SendsExactlyTheLinesAndReportsTheirResults) {
    const RunCase& c = GetParam();
    Rig& rig = Rig::shared();
    ASSERT_TRUE(rig.sim.running()) << rig.error;
    qvtest::TempDir dir;
    const std::string file = dir.file("s.txt");
    const std::string target = dir.file("out.bin");
    qvtest::writeFile(file, c.script);
    qvtest::ScriptedHost host;
    std::string streamed;
    ScriptRunHooks hooks;
    hooks.results = [&](const std::string& piece) { streamed += piece; };
    const size_t before = qvtest::readLines(rig.log).size();

    ScriptRunResult r =
        RunScript(file, {{"Target", target, "FILE"}, {"Q", "?", "STRING"}}, rig.sim.socketResource(), hooks, 2000);

    std::vector<std::string> want;
    for (const std::string& s : c.sent) want.push_back(logged(withTarget(s, target)));
    EXPECT_EQ(rig.linesSince(before), want);
    EXPECT_EQ(r.results, withTarget(c.results, target));
    EXPECT_EQ(streamed, r.results) << "every piece reaches the hook as it is appended";
    EXPECT_EQ(r.errors, c.errors);
    EXPECT_TRUE(r.ran);
    EXPECT_EQ(qvtest::fileExists(target), c.fileArrives);
    if (c.fileArrives) {
        EXPECT_EQ(qvtest::readFile(target), kData);
    }
    EXPECT_TRUE(host.messages().empty());
}

const std::string kDwnl = "dwnl: MMEM:DATA? 'D:\\USER\\data.bin' -> %Target%\n";

INSTANTIATE_TEST_SUITE_P(
    Script, ScriptRuns,
    ::testing::Values(RunCase{"Query",
                              "name: q\r\nscpi: *IDN?\r\n",
                              {"*IDN?", "SYST:ERR?"},
                              std::string(kIdn) + "\r\nSuccess!\r\n",
                              false,
                              false},
                      RunCase{"ParameterMakesAQuery",
                              "scpi: *IDN%Q% -- asks\n",
                              {"*IDN?", "SYST:ERR?"},
                              std::string(kIdn) + "\r\nSuccess!\r\n",
                              false,
                              false},
                      RunCase{"WriteWithTwoErrorsQueued",
                              "SCPI:SYST:SIM:ERR -221,\"Settings conflict\";:SYST:SIM:ERR -222\nscpi: *OPC?\n",
                              {"SYST:SIM:ERR -221,\"Settings conflict\";:SYST:SIM:ERR -222", "SYST:ERR?", "SYST:ERR?",
                               "SYST:ERR?", "*OPC?", "SYST:ERR?"},
                              "ERROR: -221,\"Settings conflict\"\r\nERROR: -222,\"Data out of range\"\r\n1\r\n"
                              "Script terminated with errors!\r\n",
                              true,
                              false},
                      RunCase{"Download", kDwnl, {"MMEM:DATA? 'D:\\USER\\data.bin'"}, "Success!\r\n", false, true},
                      RunCase{"DownloadSkippedAfterAnErrorLaterLinesStillSent",
                              "scpi: NOSUCH:HEADER\n" + kDwnl + "scpi: *OPC?\n",
                              {"NOSUCH:HEADER", "SYST:ERR?", "SYST:ERR?", "*OPC?", "SYST:ERR?"},
                              "ERROR: -113,\"Undefined header\"\r\nDownload: Skipped due to previous errors!1\r\n"
                              "Script terminated with errors!\r\n",
                              true,
                              false},
                      RunCase{"MissingFileFailsTheDownload",
                              "dwnl: MMEM:DATA? 'D:\\USER\\none.bin' -> %Target%\nscpi: *OPC?\n",
                              {"MMEM:DATA? 'D:\\USER\\none.bin'", "*OPC?", "SYST:ERR?", "SYST:ERR?"},
                              "ERROR: Download of file %T failed!\r\n1\r\nERROR: -256,\"File name not found\"\r\n"
                              "Script terminated with errors!\r\n",
                              true,
                              false},
                      RunCase{"DownloadWithoutArrowSendsNothing",
                              "dwnl: MMEM:DATA? 'x'\n",
                              {},
                              "ERROR: Download line \"MMEM:DATA? 'x'\" names no target file (query -> file)!\r\n"
                              "Script terminated with errors!\r\n",
                              true,
                              false}),
    [](const auto& info) { return std::string(info.param.name); });

// An answer longer than the answer buffer is cut and its rest dropped, so
// that the next answers still belong to their own commands.
TEST(Script, CutAnswerDoesNotShiftLaterAnswers) {
    Rig& rig = Rig::shared();
    ASSERT_TRUE(rig.sim.running()) << rig.error;
    qvtest::TempDir dir;
    qvtest::writeFile(dir.file("s.txt"), "scpi: FORM ASC\nscpi: TRAC? TRACE1\nscpi: FORM REAL\nscpi: *IDN?\n");
    qvtest::ScriptedHost host;
    const size_t before = qvtest::readLines(rig.log).size();
    ScriptRunResult r = RunScript(dir.file("s.txt"), {}, rig.sim.socketResource(), {}, 2000);
    EXPECT_EQ(rig.linesSince(before), (std::vector<std::string>{"FORM ASC", "SYST:ERR?", "TRAC? TRACE1", "SYST:ERR?",
                                                                "FORM REAL", "SYST:ERR?", "*IDN?", "SYST:ERR?"}));
    const size_t first = r.results.find("\r\n");
    ASSERT_NE(first, std::string::npos);
    EXPECT_EQ(first, 2048u);
    EXPECT_EQ(r.results.substr(first + 2), std::string(kIdn) + "\r\nSuccess!\r\n");
}

TEST(Script, ParseErrorsAndIllegalCommandsAreToldAndTheRunGoesOn) {
    Rig& rig = Rig::shared();
    ASSERT_TRUE(rig.sim.running()) << rig.error;
    qvtest::TempDir dir;
    qvtest::writeFile(dir.file("s.txt"), "*RST\n\n  -- only a comment\nfoo: x\nname: n\nscpi: *OPC?\n");
    qvtest::ScriptedHost host;
    const size_t before = qvtest::readLines(rig.log).size();
    ScriptRunResult r = RunScript(dir.file("s.txt"), {}, rig.sim.socketResource(), {}, 2000);
    EXPECT_EQ(r.results, "1\r\nSuccess!\r\n");
    EXPECT_EQ(rig.linesSince(before), (std::vector<std::string>{"*OPC?", "SYST:ERR?"}));
    const auto m = host.messages();
    ASSERT_EQ(m.size(), 2u);
    EXPECT_EQ(m[0].title, "Parse Error");
    EXPECT_EQ(m[0].text, "Expecting a valid command in line 1!");
    EXPECT_EQ(m[1].title, "Illegal Command");
    EXPECT_EQ(m[1].text, "Illegal command: foo in line 4!");
    size_t events = 0;
    for (const auto& c : host.calls) events += c.kind == Kind::ProcessEvents;
    EXPECT_EQ(events, 4u) << "once after each line that is not empty";
}

TEST(Script, NothingIsSentForAnEmptyParameterOrAnUnreadableFile) {
    Rig& rig = Rig::shared();
    ASSERT_TRUE(rig.sim.running()) << rig.error;
    qvtest::TempDir dir;
    qvtest::writeFile(dir.file("s.txt"), "scpi: *RST\n");
    qvtest::ScriptedHost host;
    const size_t before = qvtest::readLines(rig.log).size();
    ScriptRunResult r =
        RunScript(dir.file("s.txt"), {{"A", "1", "INT"}, {"Span", "  ", "FLOAT"}}, rig.sim.socketResource());
    EXPECT_FALSE(r.ran);
    EXPECT_EQ(r.results, "");
    r = RunScript(dir.file("missing.txt"), {}, rig.sim.socketResource());
    EXPECT_FALSE(r.ran);
    EXPECT_TRUE(r.errors);
    EXPECT_EQ(qvtest::readLines(rig.log).size(), before);
    const auto m = host.messages();
    ASSERT_EQ(m.size(), 2u);
    EXPECT_EQ(m[0].text, "Parameter Span is empty!");
    EXPECT_EQ(m[1].title, "Script Error");
    EXPECT_EQ(m[1].text, "Error during script execution");
}

TEST(Script, SessionThatDoesNotOpenEndsTheRunAtOnce) {
    qvtest::TempDir dir;
    qvtest::writeFile(dir.file("s.txt"), "scpi: *IDN?\n");
    qvtest::ScriptedHost host;
    const Clock::time_point t0 = Clock::now();
    // Port 1 on loopback: nobody listens there.
    ScriptRunResult r = RunScript(dir.file("s.txt"), {}, "TCPIP::127.0.0.1::1::SOCKET", {}, 2000);
    EXPECT_LT(msSince(t0), 3000);
    EXPECT_FALSE(r.ran);
    EXPECT_TRUE(r.errors);
    EXPECT_EQ(r.results.rfind("ERROR: TCPIP::127.0.0.1::1::SOCKET could not be opened: VI_ERROR_", 0), 0u) << r.results;
    EXPECT_TRUE(r.results.ends_with(")\r\nScript terminated with errors!\r\n")) << r.results;
    EXPECT_TRUE(host.messages().empty());
}

// An instrument that stops answering: every read ends at the session's
// time-out, downloads are skipped, and the run ends.
TEST(Script, NeverAnsweringInstrumentEndsInBoundedTime) {
    Rig rig;  // its own: the fault stays with the instrument
    ASSERT_TRUE(rig.sim.running()) << rig.error;
    qvtest::TempDir dir;
    qvtest::writeFile(dir.file("s.txt"),
                      "scpi: *IDN?\nscpi: SYST:SIM:FAULT \"silent\"\nscpi: *IDN?\n" + kDwnl + "scpi: *OPC?\n");
    qvtest::ScriptedHost host;
    const Clock::time_point t0 = Clock::now();
    ScriptRunResult r =
        RunScript(dir.file("s.txt"), {{"Target", dir.file("t.bin"), "FILE"}}, rig.sim.socketResource(), {}, 300);
    EXPECT_LT(msSince(t0), 4000);
    EXPECT_EQ(r.results, std::string(kIdn) +
                             "\r\nERROR: no answer to SYST:ERR?\r\n"
                             "ERROR: no answer to *IDN?\r\nERROR: no answer to SYST:ERR?\r\n"
                             "Download: Skipped due to previous errors!"
                             "ERROR: no answer to *OPC?\r\nERROR: no answer to SYST:ERR?\r\n"
                             "Script terminated with errors!\r\n");
    EXPECT_FALSE(qvtest::fileExists(dir.file("t.bin")));
}

// Every shipped script runs against the simulated analyzer without an error.
class ShippedScripts : public ::testing::TestWithParam<const char*> {};

TEST_P(ShippedScripts, RunCleanOnTheSimulator) {
    Rig& rig = Rig::shared();
    ASSERT_TRUE(rig.sim.running()) << rig.error;
    qvtest::ScriptedHost host;
    const std::vector<ScriptEntry> list = FindScripts("", qv::app::dataFolder() + "/Scripts");
    const ScriptEntry* e = nullptr;
    for (const ScriptEntry& x : list)
        if (x.Name == GetParam()) e = &x;
    ASSERT_NE(e, nullptr) << GetParam() << " is not shipped in " << qv::app::dataFolder();
    EXPECT_TRUE(ScriptSupports(*e, "TKD", {}));
    if (e->Parm.find("Center") != std::string::npos) {
        qv::io::VIF v;
        std::string answer;
        ASSERT_TRUE(v.OpenDevice(rig.sim.socketResource(), true, false, 1000, true));
        v.TimeOut(500);
        if (!v.ReadString("FREQ:CENT?", answer)) GTEST_SKIP() << "the simulator does not know FREQ:CENT? yet";
    }
    qvtest::TempDir dir;
    std::vector<ScriptParm> parms = ScriptParms(*e, dir.path());
    for (ScriptParm& p : parms)
        if (p.name == "Source") p.value = "D:\\USER\\data.bin";
    ScriptRunResult r = RunScript(e->File, parms, rig.sim.socketResource(), {}, 2000);
    EXPECT_TRUE(r.ran);
    EXPECT_FALSE(r.errors) << r.results;
    EXPECT_TRUE(r.results.ends_with("Success!\r\n")) << r.results;
    EXPECT_TRUE(host.messages().empty());
    for (const ScriptParm& p : parms)
        if (p.type == "FILE") {
            EXPECT_EQ(qvtest::readFile(p.value), kData) << p.value;
        }
}

INSTANTIATE_TEST_SUITE_P(Script, ShippedScripts,
                         ::testing::Values("Identify the instrument", "Fetch a file", "Preset, centre and span"),
                         [](const auto& info) {
                             std::string n;
                             for (const char* p = info.param; *p; ++p)
                                 if (std::isalnum(static_cast<unsigned char>(*p))) n += *p;
                             return n;
                         });

}  // namespace
