// The readers against the simulated instruments: the commands each one
// sends, in order, and the arrays that come back; then readTrace's loop:
// continuous reading, re-entry, a closed window, a silent instrument and the
// failures that end a reading.
#include "app/context.h"
#include "app/host.h"
#include "app/version.h"
#include "instrument_io/vif.h"
#include "sim/message_log.h"
#include "trace/reader.h"
#include "scripted_host.h"
#include "test_support.h"
#include "trace_rig.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <functional>
#include <sstream>

namespace {

using Kind = qvtest::ScriptedHost::Kind;
using qv::trace::Plot;
using qv::trace::WindowState;
using qvtest::logged;
using qvtest::RecordingWindow;
using qvtest::Rig;

const std::vector<double>& xs(const Plot& p) { return *p.x; }
const std::vector<double>& ys(const Plot& p) { return *p.y; }

struct ReaderCase {
    const char* name;
    const char* family;
    std::vector<std::string> setup;
    std::vector<std::string> commands;
    const char* xName;
    const char* xUnit;
    const char* yUnit;
    std::function<void(const Plot&, const WindowState&)> check;
};

std::ostream& operator<<(std::ostream& os, const ReaderCase& c) { return os << c.name; }

void expectLinear(const std::vector<double>& x, double start, double stop) {
    ASSERT_GE(x.size(), 2u);
    EXPECT_EQ(x.front(), start);
    EXPECT_EQ(x.back(), stop);
    const double step = (stop - start) / double(x.size() - 1);
    for (size_t i = 1; i < x.size(); ++i) ASSERT_NEAR(x[i] - x[i - 1], step, std::fabs(step) * 1e-6) << i;
}

void expectLogarithmic(const std::vector<double>& x, double start, double stop) {
    ASSERT_GE(x.size(), 3u);
    EXPECT_DOUBLE_EQ(x.front(), start);
    EXPECT_NEAR(x.back(), stop, stop * 1e-9);
    const double ratio = x[1] / x[0];
    EXPECT_GT(ratio, 1.0);
    for (size_t i = 1; i < x.size(); ++i) ASSERT_NEAR(x[i] / x[i - 1], ratio, 1e-9) << i;
}

const std::vector<std::string> kSweep{"FREQ:START 1000000", "FREQ:STOP 3000000", "SYST:SIM:POIN 401"};

const std::vector<ReaderCase> kReaders = {
    {"SweptLinear", "TKW", {"INST:SEL SAN", kSweep[0], kSweep[1], kSweep[2], "DISP:TRAC:X:SPAC LIN"},
     {"INST:SEL?", "CALC:UNIT:POW?", "FORM REAL,32", "TRAC? TRACE1", "FREQ:START?", "FREQ:STOP?",
      "DISP:TRAC:X:SPAC?", "INST:SEL?"},
     "Frequency", "Hz", "dBm",
     [](const Plot& p, const WindowState& s) {
         expectLinear(xs(p), 1e6, 3e6);
         EXPECT_EQ(ys(p).size(), 401u);
         EXPECT_EQ(s.reading.tracePoints, 401);
         EXPECT_FALSE(p.logHint);
         EXPECT_FALSE(qv::trace::shared().ZeroSpanTrace);
     }},
    {"SweptLogarithmic", "TKD", {"INST:SEL REC", kSweep[0], kSweep[1], kSweep[2], "DISP:TRAC:X:SPAC LOG"},
     {"INST:SEL?", "CALC:UNIT:POW?", "FORM REAL,32", "TRAC? TRACE1", "FREQ:START?", "FREQ:STOP?",
      "DISP:TRAC:X:SPAC?", "INST:SEL?"},
     "Frequency", "Hz", "dBm",
     [](const Plot& p, const WindowState&) {
         expectLogarithmic(xs(p), 1e6, 3e6);
         EXPECT_TRUE(p.logHint);
     }},
    // This receiver spaces logarithmically only as a spectrum analyzer.
    {"ReceiverInRecIsLinear", "VHJO", {"INST:SEL REC", kSweep[0], kSweep[1], kSweep[2], "DISP:TRAC:X:SPAC AUTO"},
     {"INST:SEL?", "CALC:UNIT:POW?", "FORM REAL,32", "TRAC? TRACE1", "FREQ:START?", "FREQ:STOP?",
      "DISP:TRAC:X:SPAC?", "INST:SEL?"},
     "Frequency", "Hz", "dBm", [](const Plot& p, const WindowState&) { expectLinear(xs(p), 1e6, 3e6); }},
    {"ReceiverInSanIsLogarithmic", "VHJO",
     {"INST:SEL SAN", kSweep[0], kSweep[1], kSweep[2], "DISP:TRAC:X:SPAC AUTO"},
     {"INST:SEL?", "CALC:UNIT:POW?", "FORM REAL,32", "TRAC? TRACE1", "FREQ:START?", "FREQ:STOP?",
      "DISP:TRAC:X:SPAC?", "INST:SEL?"},
     "Frequency", "Hz", "dBm", [](const Plot& p, const WindowState&) { expectLogarithmic(xs(p), 1e6, 3e6); }},
    {"ZeroSpan", "TKW", {"INST:SEL SAN", "FREQ:CENT 100000000", "FREQ:SPAN 0", "SENS:SWE:TIME 0.05",
                         "SYST:SIM:POIN 1001", "CALC:UNIT:POW DBUV"},
     {"INST:SEL?", "CALC:UNIT:POW?", "FORM REAL,32", "TRAC? TRACE1", "FREQ:START?", "FREQ:STOP?",
      "DISP:TRAC:X:SPAC?", "SENS:SWE:TIME?"},
     "Time", "s", "dB\xC2\xB5V",
     [](const Plot& p, const WindowState& s) {
         ASSERT_EQ(xs(p).size(), 1001u);
         EXPECT_EQ(xs(p).front(), 0.0);
         EXPECT_EQ(xs(p).back(), 0.05);
         expectLinear(xs(p), 0, 0.05);
         EXPECT_EQ(s.reading.axisStart, 0);
         EXPECT_EQ(s.reading.axisStop, 0.05);
         EXPECT_TRUE(qv::trace::shared().ZeroSpanTrace);
     }},
    // The handheld sends one value more than its trace length; it is dropped.
    {"HandheldDropsItsLastValue", "TKG", {"INST:SEL SAN", kSweep[0], kSweep[1], "SYST:SIM:POIN 631"},
     {"INST:SEL?", "UNIT:POW?", "FORM REAL,32", "TRAC:DATA?", "FREQ:START?", "FREQ:STOP?", "DISP:TRAC:X:SPAC?",
      "INST:SEL?"},
     "Frequency", "Hz", "dBm",
     [](const Plot& p, const WindowState& s) {
         EXPECT_EQ(ys(p).size(), 631u);
         EXPECT_EQ(xs(p).size(), 631u);
         EXPECT_EQ(s.reading.tracePoints, 631);
         EXPECT_EQ(qv::trace::shared().traceData.size(), 631u);
     }},
    {"PhaseNoise", "TKW", {"INST:SEL PNO", "SYST:SIM:POIN 301"}, {"INST:SEL?", "TRAC? TRACE1"}, "Frequency", "Hz",
     "dBm",
     [](const Plot& p, const WindowState& s) {
         ASSERT_EQ(xs(p).size(), 301u);
         EXPECT_EQ(s.reading.tracePoints, 301);
         EXPECT_TRUE(p.logHint);
         EXPECT_TRUE(std::is_sorted(xs(p).begin(), xs(p).end()));
         EXPECT_GT(xs(p).front(), 0);
         for (double y : ys(p)) ASSERT_LT(y, 0);  // dBc/Hz
         EXPECT_FALSE(qv::trace::shared().ZeroSpanTrace);
     }},
    {"Demodulation", "TKW", {"INST:SEL ADEM", "SENS:SWE:TIME 0.01", "SYST:SIM:POIN 500"},
     {"INST:SEL?", "FORM REAL,32", "ADEM:FM:RES? WRIT", "SWE:TIME?"}, " ", "s", " ",
     [](const Plot& p, const WindowState& s) {
         ASSERT_EQ(xs(p).size(), 500u);
         // The step divides by the point count: the last point is one step short.
         EXPECT_EQ(xs(p).front(), 0.0);
         EXPECT_NEAR(xs(p).back(), 0.01 * 499 / 500, 1e-15);
         EXPECT_EQ(s.reading.axisStart, 0);
         EXPECT_EQ(p.yName, " ");
     }},
    // The receiver's file holds its numbers with a decimal comma.
    {"AsciiFile", "VHK", {"INST:SEL SAN", kSweep[0], kSweep[1], "SYST:SIM:POIN 201", "UNIT:POW DBUV"},
     {"UNIT:POW?", "MMEM:STORE:TRAC 1,'TRACE.ASC'", "MMEM:DATA? 'TRACE.ASC'"}, "Frequency", "Hz",
     "dB\xC2\xB5V",
     [](const Plot& p, const WindowState& s) {
         expectLinear(xs(p), 1e6, 3e6);
         ASSERT_EQ(ys(p).size(), 201u);
         // A level read as thousands would be far outside any receiver's range.
         for (double y : ys(p)) ASSERT_LT(std::fabs(y), 300);
         EXPECT_TRUE(std::any_of(ys(p).begin(), ys(p).end(), [](double y) { return y != std::round(y); }));
         EXPECT_TRUE(qvtest::fileExists(s.localFolder + "/TRACE.ASC"));
     }},
    {"Audio", "DOF", {"CALC:TRAN:FREQ:START 20", "CALC:TRAN:FREQ:STOP 20000", "SYST:SIM:POIN 256"},
     {"SENS:UNIT?", "FORM REAL", "TRAC? TRACE", "CALC:TRAN:FREQ:START?", "CALC:TRAN:FREQ:STOP?"}, "Frequency",
     "Hz", "dBm",
     [](const Plot& p, const WindowState&) {
         expectLinear(xs(p), 20, 20000);
         EXPECT_FALSE(qv::trace::shared().ZeroSpanTrace);
     }},
    {"AudioOverTime", "DOC", {"CALC:TRAN:FREQ:START 1000", "CALC:TRAN:FREQ:STOP 1000", "SENS:SWE:TIME 0.2"},
     {"SENS:UNIT?", "FORM REAL", "TRAC? TRACE", "CALC:TRAN:FREQ:START?", "CALC:TRAN:FREQ:STOP?", "SENS:SWE:TIME?"},
     "Time", "s", "dBm",
     [](const Plot& p, const WindowState&) {
         expectLinear(xs(p), 0, 0.2);
         EXPECT_TRUE(qv::trace::shared().ZeroSpanTrace);
     }},
};

class ReaderTest : public ::testing::TestWithParam<ReaderCase> {};

TEST_P(ReaderTest, SendsItsCommandsAndPlotsWhatCameBack) {
    const ReaderCase& c = GetParam();
    qvtest::ScriptedHost host;
    Rig rig(c.family, c.setup);
    qv::app::context().SelectedTrace = 0;
    rig.read();
    EXPECT_TRUE(host.messageTexts().empty()) << host.messageTexts().front();
    std::vector<std::string> want;
    for (const std::string& cmd : c.commands) want.push_back(logged(cmd));
    EXPECT_EQ(rig.commands(), want);
    ASSERT_EQ(rig.window.plots.size(), 1u);
    const Plot& p = rig.window.plots.front();
    EXPECT_EQ(p.xName, c.xName);
    EXPECT_EQ(p.xUnit, c.xUnit);
    EXPECT_EQ(p.yUnit, c.yUnit);
    EXPECT_EQ(p.family, c.family);
    ASSERT_TRUE(p.x && p.y);
    EXPECT_EQ(p.x->size(), p.y->size());
    EXPECT_EQ(rig.state.readings, 1u);
    EXPECT_EQ(qv::trace::shared().traceData.size(), p.x->size());
    c.check(p, rig.state);
}

INSTANTIATE_TEST_SUITE_P(Families, ReaderTest, ::testing::ValuesIn(kReaders),
                         [](const auto& info) { return std::string(info.param.name); });

// The audio analyzer sends volts; they arrive as dBm, on the 600-ohm reference of audio levels.
TEST(AudioReader, ConvertsVoltsToDbm) {
    qvtest::ScriptedHost host;
    Rig rig("DOF", {"SYST:SIM:POIN 128"});
    std::vector<float> volts;
    {
        qv::io::VIF v;
        ASSERT_TRUE(v.OpenDevice(rig.sim.socketResource(), false, false, 2000, false));
        v.WriteString("FORM REAL");
        ASSERT_TRUE(v.ReadFloatArray("TRAC? TRACE", volts, ""));
    }
    rig.read();
    ASSERT_EQ(rig.window.plots.size(), 1u);
    const std::vector<double>& dbm = *rig.window.plots[0].y;
    ASSERT_EQ(dbm.size(), volts.size());
    for (size_t i = 0; i < dbm.size(); ++i) {
        ASSERT_GT(volts[i], 0) << i;
        ASSERT_NEAR(dbm[i], 10 * std::log10(double(volts[i]) * volts[i] / 600 / 1e-3), 1e-3) << i;
    }
}

// ---- the dispatch table ----

struct ChoiceCase {
    const char* family;
    const char* mode;
    const char* mapped;
    const qv::trace::Reader* reader;  // nullptr: "not supported"
    bool modeAsked, switchToTkw;
};

std::ostream& operator<<(std::ostream& os, const ChoiceCase& c) { return os << c.family << "/" << c.mode; }

class ChoiceTest : public ::testing::TestWithParam<ChoiceCase> {};

TEST_P(ChoiceTest, PicksTheReaderByFamilyThenByMode) {
    const ChoiceCase& c = GetParam();
    const qv::trace::Choice got = qv::trace::chooseReaderFor(c.family, c.mode, c.mapped);
    EXPECT_EQ(got.reader, c.reader);
    EXPECT_EQ(got.modeAsked, c.modeAsked);
    EXPECT_EQ(got.switchToTkw, c.switchToTkw);
}

using namespace qv::trace;
INSTANTIATE_TEST_SUITE_P(
    Table, ChoiceTest,
    ::testing::Values(ChoiceCase{"TKB", "SAN", "TKB", &kAnalyzerReader, true, false},
                      // A master family has no mapped name of its own: no switch.
                      ChoiceCase{"TKD", "SAN", "", &kAnalyzerReader, true, false},
                      ChoiceCase{"TKB", "REC", "TKB", &kAnalyzerReader, true, false},
                      ChoiceCase{"VHJO", "CATV", "VHJO", &kAnalyzerReader, true, false},
                      ChoiceCase{"TKW", "PNO", "TKW", &kPhaseNoiseReader, true, false},
                      ChoiceCase{"TKM", "ADEM", "TKM", &kDemodReader, true, false},
                      ChoiceCase{"TKW", "NWA", "TKW", &kNetworkReader, true, false},
                      // A model whose mapped name holds "KD" in an analyzer mode becomes a TKW.
                      ChoiceCase{"TKW", "SAN", "KDX", &kAnalyzerReader, true, true},
                      ChoiceCase{"KDP", "REC", "KDP", &kAnalyzerReader, true, true},
                      ChoiceCase{"TKW", "PNO", "KDX", &kPhaseNoiseReader, true, false},
                      // Mode words no reader takes.
                      ChoiceCase{"TKM", "DDEM", "TKM", nullptr, true, false},
                      ChoiceCase{"TKW", "san", "TKW", nullptr, true, false},
                      ChoiceCase{"TKD", "", "TKD", nullptr, true, false},
                      ChoiceCase{"KDP", "XYZ", "KDP", nullptr, true, false},
                      ChoiceCase{"KDE", "XYZ", "KDE", &kNetworkReader, true, false},
                      // Chosen by family, before any mode word.
                      ChoiceCase{"VHK", "SAN", "VHK", &kAsciiReader, false, false},
                      ChoiceCase{"DOF", "", "DOF", &kAudioReader, false, false},
                      ChoiceCase{"DOC", "SAN", "DOC", &kAudioReader, false, false},
                      ChoiceCase{"KDM", "SAN", "KDM", &kOldNetworkReader, false, false}));

// ---- readTrace's loop ----

TEST(ReadTrace, ContinuousReadingRunsUntilItsBoxIsCleared) {
    qvtest::ScriptedHost host;
    Rig rig("TKW", {"INST:SEL SAN", "SYST:SIM:POIN 101"});
    rig.state.continuousOn = true;
    host.onEvents = [&] {
        // The user unticks the box; a run that goes astray is stopped too.
        if (rig.state.readings == 3 || host.count(Kind::ProcessEvents) > 50) rig.state.continuousOn = false;
    };
    rig.read();
    EXPECT_EQ(rig.state.readings, 3u);
    EXPECT_EQ(rig.window.plots.size(), 3u);
    EXPECT_TRUE(host.messageTexts().empty());
    const std::vector<std::string> sent = rig.commands();
    EXPECT_EQ(std::count(sent.begin(), sent.end(), "TRAC? TRACE1"), 3);
    EXPECT_FALSE(rig.state.running);
    EXPECT_GE(host.count(Kind::Busy, "off"), 1u);
}

TEST(ReadTrace, ARequestDuringAReadingBecomesOneMorePass) {
    qvtest::ScriptedHost host;
    Rig rig("TKW", {"INST:SEL SAN", "SYST:SIM:POIN 101"});
    int nested = 0;
    host.onEvents = [&] {
        // The update key pressed while the first reading lets events through.
        if (rig.state.readings == 1 && nested == 0) {
            ++nested;
            rig.read();
            EXPECT_EQ(rig.state.readings, 1u);  // it did not read by itself
        }
    };
    rig.read();
    EXPECT_EQ(nested, 1);
    EXPECT_EQ(rig.state.readings, 2u);
    EXPECT_FALSE(rig.state.running);
    EXPECT_FALSE(rig.state.again);
}

TEST(ReadTrace, AClosedWindowEndsAContinuousReading) {
    qvtest::ScriptedHost host;
    Rig rig("TKW", {"INST:SEL SAN", "SYST:SIM:POIN 101"});
    rig.state.continuousOn = true;
    host.onEvents = [&] {
        if (rig.state.readings == 2 || host.count(Kind::ProcessEvents) > 50) rig.window.closed = true;
    };
    rig.read();
    EXPECT_EQ(rig.state.readings, 2u);
    EXPECT_TRUE(rig.state.continuousOn);
}

TEST(ReadTrace, ASilentInstrumentEndsEachPassWithinItsTimeout) {
    qvtest::ScriptedHost host;
    // Open and mode answer; the trace data never comes.
    Rig rig("TKW", {"INST:SEL SAN"}, {"--fault", "silent@TRAC?"});
    rig.state.prepareVif = [](qv::io::VIF& v) { v.TimeOut(300); };
    rig.state.continuousOn = true;
    int passes = 0;
    host.onEvents = [&] {
        // Two passes with their boxes, then the user stops it.
        if (std::ranges::count(host.messageTexts(), std::string(qv::trace::kNoTraceText)) == 2) {
            rig.state.continuousOn = false;
            ++passes;
        }
        if (host.count(Kind::ProcessEvents) > 50) rig.state.continuousOn = false;  // a test that fails must still end
    };
    const auto t0 = std::chrono::steady_clock::now();
    qv::trace::readTrace(qv::app::context(), rig.state, rig.window, 300);
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    EXPECT_GE(passes, 1);
    EXPECT_LT(seconds, 6.0);  // two passes of one 300 ms wait each, and the opening
    EXPECT_EQ(rig.state.readings, 0u);
    ASSERT_FALSE(host.messageTexts().empty());
    EXPECT_EQ(host.messageTexts().back(), qv::trace::kNoTraceText);
    EXPECT_EQ(host.messages().back().title, QV_PRODUCT_NAME);
    EXPECT_TRUE(rig.window.plots.empty());
}

TEST(ReadTrace, AOnePointTraceEndsTheRunWithItsDescription) {
    qvtest::ScriptedHost host;
    Rig rig("TKW", {"INST:SEL SAN", "SYST:SIM:POIN 1"});
    qv::trace::shared().traceData.set(qv::trace::makeValues({1, 2}), qv::trace::makeValues({3, 4}));
    rig.state.continuousOn = true;
    rig.read();
    ASSERT_EQ(host.messageTexts().size(), 1u);
    EXPECT_NE(host.messageTexts()[0].find("Division by zero"), std::string::npos) << host.messageTexts()[0];
    EXPECT_TRUE(rig.state.continuousOn);  // the box stays as the user left it
    EXPECT_TRUE(rig.window.plots.empty());
    EXPECT_EQ(qv::trace::shared().traceData.size(), 2u);  // the last reading stays
    const std::vector<std::string> sent = rig.commands();
    EXPECT_EQ(std::count(sent.begin(), sent.end(), "INST:SEL?"), 2);  // one pass only
}

TEST(ReadTrace, AModeWithoutAReaderIsNamedThenNoTrace) {
    qvtest::ScriptedHost host;
    Rig rig("TKM", {"INST:SEL DDEM"});
    rig.read();
    EXPECT_EQ(host.messageTexts(), (std::vector<std::string>{"Instrument mode DDEM is not supported!", kNoTraceText}));
    EXPECT_TRUE(rig.window.plots.empty());
}

TEST(ReadTrace, TheStoredDataEntryOpensItsDialogOnceWithoutAnInstrument) {
    qvtest::ScriptedHost host;
    WindowState state;
    RecordingWindow window;
    state.MyVISARsc = "<FILE>";
    state.MyDevType = "<FILE>";
    state.continuousOn = true;
    qv::trace::readTrace(qv::app::context(), state, window, 100);
    EXPECT_EQ(window.storedDataOpened, 1);
    EXPECT_TRUE(host.messageTexts().empty());
    EXPECT_EQ(host.count(Kind::Busy, "on"), 1u);
}

TEST(ReadTrace, AKdModelInAnAnalyzerModeIsReadAsTkwFromThenOn) {
    qvtest::ScriptedHost host;
    Rig rig("TKD", {"INST:SEL SAN", "SYST:SIM:POIN 101"});
    rig.window.mapped = "KDX";
    rig.read();
    EXPECT_EQ(rig.state.MyDevType, "TKW");
    ASSERT_EQ(rig.window.plots.size(), 1u);
    EXPECT_EQ(rig.window.plots[0].family, "TKW");
}

// ---- the command line ----

TEST(TraceCommand, PrintsTheTraceTextAndSaysWhenNoneCame) {
    Rig rig("TKW", {"INST:SEL SAN", kSweep[0], kSweep[1], "SYST:SIM:POIN 11"});
    const std::string cli = std::string(QV_BIN_DIR) + "/quilvane-cli --timeout 2000 ";
    const std::string out = rig.dir.file("t.txt");
    qvtest::CommandResult r = qvtest::runCommand("LC_ALL=C " + cli + "trace " + rig.sim.socketResource() + " -o " + out);
    ASSERT_EQ(r.exitCode, 0) << r.output;
    const std::vector<std::string> lines = qvtest::readLines(out);
    ASSERT_EQ(lines.size(), 11u);
    EXPECT_EQ(lines.front().rfind("1000000; -", 0), 0u) << lines.front();
    EXPECT_EQ(lines.back().rfind("3000000; ", 0), 0u) << lines.back();
    EXPECT_EQ(lines.front().back(), '\r');

    // The same reading drawn by the window's graph, without a display.
    const std::string png = rig.dir.file("t.png");
    r = qvtest::runCommand("env -u DISPLAY -u WAYLAND_DISPLAY " + cli + "trace " + rig.sim.socketResource() +
                           " -o - --png " + png);
    ASSERT_EQ(r.exitCode, 0) << r.output;
    const std::string image = qvtest::readFile(png);
    ASSERT_GT(image.size(), 24u);
    EXPECT_EQ(image.substr(1, 3), "PNG");
    // IHDR: width and height, big-endian, at bytes 16 and 20.
    auto be32 = [&](size_t at) {
        return (uint32_t(uint8_t(image[at])) << 24) | (uint32_t(uint8_t(image[at + 1])) << 16) |
               (uint32_t(uint8_t(image[at + 2])) << 8) | uint32_t(uint8_t(image[at + 3]));
    };
    EXPECT_EQ(be32(16), 1000u);
    EXPECT_EQ(be32(20), 600u);

    r = qvtest::runCommand(cli + "trace " + rig.sim.socketResource() + " --trace 0");
    EXPECT_EQ(r.exitCode, 2) << r.output;

    Rig modeless("TKM", {"INST:SEL DDEM"});
    r = qvtest::runCommand(cli + "trace " + modeless.sim.socketResource());
    EXPECT_EQ(r.exitCode, 1) << r.output;
    EXPECT_NE(r.output.find("Instrument mode DDEM is not supported!"), std::string::npos) << r.output;
    EXPECT_NE(r.output.find(kNoTraceText), std::string::npos) << r.output;
}

}  // namespace
