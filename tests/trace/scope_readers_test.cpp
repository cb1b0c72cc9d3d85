// The oscilloscope readers against the simulated instruments: channel and
// math sources, binary and text waveforms with their headers, and the
// headers that cannot make an axis.
#include "app/context.h"
#include "trace/reader.h"
#include "scripted_host.h"
#include "trace_rig.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>

namespace {

using qv::trace::Plot;
using qvtest::logged;
using qvtest::Rig;

struct ScopeCase {
    const char* name;
    const char* family;
    std::vector<std::string> setup;
    int source;  // SelectedChannel: 0-3 channels, 4-7 math
    std::vector<std::string> commands;
    const char* xName;
    const char* xUnit;
    const char* yUnit;
    size_t points;
    double first, last;  // the x axis' ends
};

std::ostream& operator<<(std::ostream& os, const ScopeCase& c) { return os << c.name; }

const std::vector<ScopeCase> kScopeCases = {
    {"BinaryChannel", "MYI", {}, 0,
     {"FORM REAL,32", "CHAN1:STAT 1;*OPC?", "CHAN1:STAT?", "CHAN1:WAV1:DATA:HEAD?", "CHAN1:WAV1:DATA?"}, "Time", "s",
     "V", 10000, -5e-4, 5e-4},
    // A channel that was off is switched on first.
    {"BinaryChannelSwitchedOn", "MYI", {"ACQ:POIN 2000", "TIM:SCAL 1E-3"}, 3,
     {"FORM REAL,32", "CHAN4:STAT 1;*OPC?", "CHAN4:STAT?", "CHAN4:WAV1:DATA:HEAD?", "CHAN4:WAV1:DATA?"}, "Time", "s",
     "V", 2000, -5e-3, 5e-3},
    {"BinaryTimeMath", "MYI", {"CHAN2:STAT ON"}, 4,
     {"FORM REAL,32", "CALC:MATH1:STAT 1;*OPC?", "CALC:MATH1:STAT?", "CALC:MATH1?", "CALC:MATH1:DATA:HEAD?",
      "CALC:MATH1:DATA?"},
     "Time", "s", "V", 10000, -5e-4, 5e-4},
    // "Math 2" is the spectrum of channel 1: fmax = points / span / 2.
    {"BinarySpectrumMath", "MYI", {}, 5,
     {"FORM REAL,32", "CALC:MATH2:STAT 1;*OPC?", "CALC:MATH2:STAT?", "CALC:MATH2?", "CALC:MATH2:DATA:HEAD?",
      "CALC:MATH2:DATA?"},
     "Frequency", "Hz", "dBm", 10000, 0, 10000 / 1e-3 / 2},
    // The text family's step divides by the count: the last point is one step short.
    {"TextChannel", "MYE", {}, 0, {"CHAN1:STAT 1;*OPC?", "CHAN1:STAT?", "CHAN1:DATA:HEAD?", "CHAN1:DATA?"}, "Time", "s",
     "V", 10000, -5e-4, 5e-4 - 1e-3 / 10000},
    // Peak detect: 5000 samples of two values each.
    {"TextPeakDetect", "MYE", {"CHAN2:TYPE PDET"}, 1,
     {"CHAN2:STAT 1;*OPC?", "CHAN2:STAT?", "CHAN2:DATA:HEAD?", "CHAN2:DATA?"}, "Time", "s", "V", 10000, -5e-4,
     5e-4 - 1e-3 / 10000},
    // This family shows even its spectrum math over time.
    {"TextMathShowsAsTime", "MYE", {}, 5,
     {"CALC:MATH2:STAT 1;*OPC?", "CALC:MATH2:STAT?", "CALC:MATH2:DATA:HEAD?", "CALC:MATH2:DATA?"}, "Time", "s", "V",
     10000, 0, 10000 / 1e-3 / 2 * (1 - 1.0 / 10000)},
};

class ScopeReaderTest : public ::testing::TestWithParam<ScopeCase> {};

TEST_P(ScopeReaderTest, SendsItsCommandsAndPlotsWhatCameBack) {
    const ScopeCase& c = GetParam();
    qvtest::ScriptedHost host;
    Rig rig(c.family, c.setup);
    // A text answer that fills its last 1000-byte chunk exactly ends with
    // the time-out of one more read; keep that short.
    rig.state.prepareVif = [](qv::io::VIF& v) { v.TimeOut(500); };
    qv::trace::shared().SelectedChannel = int16_t(c.source);
    rig.read();
    EXPECT_TRUE(host.messageTexts().empty()) << host.messageTexts().front();
    std::vector<std::string> want;
    for (const std::string& cmd : c.commands) want.push_back(logged(cmd));
    EXPECT_EQ(rig.commands(), want);
    ASSERT_EQ(rig.window.plots.size(), 1u);
    const Plot& p = rig.window.plots.front();
    EXPECT_EQ(p.xName, c.xName);
    EXPECT_EQ(p.xUnit, c.xUnit);
    EXPECT_EQ(p.yName, "Level");
    EXPECT_EQ(p.yUnit, c.yUnit);
    EXPECT_FALSE(p.complex);
    ASSERT_EQ(p.x->size(), c.points);
    ASSERT_EQ(p.y->size(), c.points);
    EXPECT_NEAR(p.x->front(), c.first, 1e-12 * std::max(1.0, std::fabs(c.last)));
    EXPECT_NEAR(p.x->back(), c.last, 1e-9 * std::max(1e-3, std::fabs(c.last)));
    EXPECT_EQ(rig.state.reading.tracePoints, double(c.points));
    EXPECT_EQ(qv::trace::shared().traceData.size(), c.points);
    EXPECT_TRUE(rig.window.channelSelectorShown);
    // Real data, not a flat line.
    const auto [lo, hi] = std::minmax_element(p.y->begin(), p.y->end());
    EXPECT_GT(*hi - *lo, 0.1);
}

INSTANTIATE_TEST_SUITE_P(Sources, ScopeReaderTest, ::testing::ValuesIn(kScopeCases),
                         [](const auto& info) { return std::string(info.param.name); });

// Channel 1 is a 1 V sine: both transfers carry it.
TEST(ScopeReader, BothFamiliesCarryTheSameSine) {
    for (const char* family : {"MYI", "MYE"}) {
        SCOPED_TRACE(family);
        qvtest::ScriptedHost host;
        Rig rig(family, {});
        rig.state.prepareVif = [](qv::io::VIF& v) { v.TimeOut(500); };
        qv::trace::shared().SelectedChannel = 0;
        rig.read();
        ASSERT_EQ(rig.window.plots.size(), 1u);
        const std::vector<double>& y = *rig.window.plots[0].y;
        const auto [lo, hi] = std::minmax_element(y.begin(), y.end());
        EXPECT_NEAR(*hi, 1.0, 0.15);
        EXPECT_NEAR(*lo, -1.0, 0.15);
    }
}

// An undefined math trace has data but both header x values 0: no axis, so
// no trace, and the previous one stays.
TEST(ScopeReader, AHeaderWithoutAnAxisGivesNoTraceAndKeepsThePlot) {
    for (const char* family : {"MYI", "MYE"}) {
        SCOPED_TRACE(family);
        qvtest::ScriptedHost host;
        Rig rig(family, {"ACQ:POIN 100"});
        qv::trace::shared().traceData.set(qv::trace::makeValues({1, 2}), qv::trace::makeValues({3, 4}));
        qv::trace::shared().SelectedChannel = 6;  // Math 3
        rig.read();
        EXPECT_EQ(host.messageTexts(), std::vector<std::string>{qv::trace::kNoTraceText});
        EXPECT_TRUE(rig.window.plots.empty());
        EXPECT_EQ(qv::trace::shared().traceData.size(), 2u);
        const std::vector<std::string> sent = rig.commands();
        EXPECT_NE(std::find(sent.begin(), sent.end(), "CALC:MATH3:DATA:HEAD?"), sent.end());
    }
}

// Waveforms that cannot be placed on an axis end the reading with a box
// that says why; never a crash, never a plot.
struct BrokenCase {
    const char* name;
    const char* family;
    std::vector<std::string> setup, extra;
    const char* says;
};

std::ostream& operator<<(std::ostream& os, const BrokenCase& c) { return os << c.name; }

class BrokenWaveformTest : public ::testing::TestWithParam<BrokenCase> {};

TEST_P(BrokenWaveformTest, EndsTheReadingWithItsReason) {
    const BrokenCase& c = GetParam();
    qvtest::ScriptedHost host;
    Rig rig(c.family, c.setup, c.extra);
    rig.state.prepareVif = [](qv::io::VIF& v) { v.TimeOut(300); };
    rig.state.continuousOn = true;
    qv::trace::shared().SelectedChannel = 0;
    rig.read();
    ASSERT_EQ(host.messageTexts().size(), 1u);
    EXPECT_NE(host.messageTexts()[0].find(c.says), std::string::npos) << host.messageTexts()[0];
    EXPECT_TRUE(rig.window.plots.empty());
    EXPECT_EQ(rig.state.readings, 0u);
}

INSTANTIATE_TEST_SUITE_P(
    Headers, BrokenWaveformTest,
    ::testing::Values(
        BrokenCase{"BinaryWithoutHeader", "MYI", {}, {"--fault", "silent@CHAN:WAV:DATA:HEAD?"}, "no waveform header"},
        BrokenCase{"TextWithoutHeader", "MYE", {}, {"--fault", "silent@CHAN:DATA:HEAD?"}, "no waveform header"},
        // The header announces 10000 points; no data came.
        BrokenCase{"TextWithoutData", "MYE", {}, {"--fault", "silent@CHAN:DATA?"}, "no values came"},
        BrokenCase{"BinaryOnePoint", "MYI", {"ACQ:POIN 1"}, {}, "one point"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(ScopeReader, ASourceOutsideTheListIsNamed) {
    qvtest::ScriptedHost host;
    Rig rig("MYI", {});
    qv::trace::shared().SelectedChannel = 8;
    rig.read();
    ASSERT_EQ(host.messageTexts().size(), 1u);
    EXPECT_NE(host.messageTexts()[0].find("No waveform source is selected"), std::string::npos);
    EXPECT_TRUE(rig.commands().empty());
}

}  // namespace
