// The network analyzer readers against the simulated instruments: the
// commands of a reading in order, real and complex data, a selection that
// vanished on the instrument, refused reads; and the older four-channel
// dialect.
#include "app/context.h"
#include "app/version.h"
#include "instrument_io/vif.h"
#include "trace/reader.h"
#include "scripted_host.h"
#include "trace_rig.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>

namespace {

using qv::trace::Plot;
using qvtest::logged;
using qvtest::Rig;

std::vector<std::string> loggedAll(const std::vector<std::string>& commands) {
    std::vector<std::string> out;
    for (const std::string& c : commands) out.push_back(logged(c));
    return out;
}

std::vector<std::string> itemsOf(const qv::trace::Selector& s) {
    std::vector<std::string> out;
    for (int i = 0; i < s.count(); ++i) out.push_back(s.item(i));
    return out;
}

// What the window does at load and on a channel click: the lists from the
// instrument's catalogues, then the chosen channel and trace.
void loadLists(Rig& rig, int channel, int trace) {
    qv::io::VIF v;
    ASSERT_TRUE(qv::trace::openOwnVif(v, {rig.sim.socketResource(), {}, 2000}));
    auto& channels = rig.window.channelList();
    auto& traces = rig.window.traceList();
    qv::trace::fillChannelList(v, channels);
    ASSERT_TRUE(channels.select(channel));
    qv::trace::shared().SelectedChannel = int16_t(channel);
    qv::trace::fillTraceList(v, channels, traces);
    ASSERT_TRUE(traces.select(trace));
    rig.mark();
}

// The commands without the openings of the sessions the lists open for
// themselves (status byte, error queue).
std::vector<std::string> withoutOpenings(std::vector<std::string> sent) {
    std::erase_if(sent, [](const std::string& c) { return c == "*STB?" || c == "SYST:ERR?"; });
    return sent;
}

struct NetworkCase {
    const char* name;
    const char* family;
    std::vector<std::string> setup;
    int channel, trace;  // list positions chosen before the reading
    std::vector<std::string> commands;
    const char* xName;
    bool complex;
    size_t points;
    std::function<void(const Plot&, const Rig&)> check;
};

std::ostream& operator<<(std::ostream& os, const NetworkCase& c) { return os << c.name; }

const std::vector<NetworkCase> kNetworkCases = {
    {"FormattedMagnitude", "KDC", {}, 0, 0,
     {"INST:SEL?", "FORM REAL,32", "CONF:CHAN:CAT?", "CALC1:PAR:CAT?", "CALC1:PAR:SEL 'Trc1'",
      "CALCulate1:DATA?  FDATA", "TRAC:STIM? CH1DATA"},
     "Frequency", false, 201,
     [](const Plot& p, const Rig& rig) {
         EXPECT_EQ(p.x->front(), 1e9);
         EXPECT_EQ(p.x->back(), 2e9);
         EXPECT_EQ(rig.state.reading.axisStart, 1e9);
         EXPECT_EQ(rig.state.reading.axisStop, 2e9);
         EXPECT_EQ(p.yName, "Level");
         EXPECT_EQ(p.yUnit, "dBm");
         // A band-pass in dB: near 0 in the middle, far down at the edges.
         EXPECT_GT((*p.y)[100], -6);
         EXPECT_LT(p.y->front(), -20);
     }},
    // The Smith chart trace comes as (re, im) pairs: 402 values for 201 points.
    {"SmithTraceIsComplex", "KDE", {}, 0, 1,
     {"INST:SEL?", "FORM REAL,32", "CONF:CHAN:CAT?", "CALC1:PAR:CAT?", "CALC1:PAR:SEL 'Trc2'",
      "CALCulate1:DATA?  FDATA", "TRAC:STIM? CH1DATA"},
     "Frequency", true, 201,
     [](const Plot& p, const Rig& rig) {
         EXPECT_EQ(p.y->size(), 402u);
         EXPECT_EQ(p.yName, "Real / Imag");
         EXPECT_EQ(p.yUnit, "");
         EXPECT_EQ(rig.state.reading.tracePoints, 402);
         EXPECT_TRUE(qv::trace::shared().traceData.complex());
         // A passive reflection stays inside the unit circle.
         for (size_t i = 0; i < p.y->size(); i += 2) ASSERT_LE(std::hypot((*p.y)[i], (*p.y)[i + 1]), 1.0001) << i;
     }},
    {"SecondChannel", "KDH", {}, 1, 0,
     {"INST:SEL?", "FORM REAL,32", "CONF:CHAN:CAT?", "CALC2:PAR:CAT?", "CALC2:PAR:SEL 'Trc3'",
      "CALCulate2:DATA?  FDATA", "TRAC:STIM? CH2DATA"},
     "Frequency", false, 201, [](const Plot&, const Rig&) {}},
    // Start equal to stop: a CW sweep, shown over time.
    {"ContinuousWaveShowsAsTime", "KDP", {"SENS1:FREQ:STAR 1.5E9", "SENS1:FREQ:STOP 1.5E9", "SYST:SIM:POIN 51"}, 0,
     0,
     {"INST:SEL?", "FORM REAL,32", "CONF:CHAN:CAT?", "CALC1:PAR:CAT?", "CALC1:PAR:SEL 'Trc1'",
      "CALCulate1:DATA?  FDATA", "TRAC:STIM? CH1DATA"},
     "Time", false, 51,
     [](const Plot& p, const Rig&) {
         EXPECT_EQ(p.xUnit, "s");
         EXPECT_EQ(p.x->front(), 1.5e9);
     }},
    // A signal analyzer running as a network analyzer reads the same way.
    {"SignalAnalyzerInNetworkMode", "TKW", {"INST:SEL NWA", "SYST:SIM:POIN 1001"}, 0, 1,
     {"INST:SEL?", "FORM REAL,32", "CONF:CHAN:CAT?", "CALC1:PAR:CAT?", "CALC1:PAR:SEL 'Trc2'",
      "CALCulate1:DATA?  FDATA", "TRAC:STIM? CH1DATA"},
     "Frequency", true, 1001, [](const Plot&, const Rig&) {}},
};

class NetworkReaderTest : public ::testing::TestWithParam<NetworkCase> {};

TEST_P(NetworkReaderTest, SendsItsCommandsAndPlotsWhatCameBack) {
    const NetworkCase& c = GetParam();
    qvtest::ScriptedHost host;
    Rig rig(c.family, c.setup);
    loadLists(rig, c.channel, c.trace);
    rig.read();
    EXPECT_TRUE(host.messageTexts().empty()) << host.messageTexts().front();
    EXPECT_EQ(rig.commands(), loggedAll(c.commands));
    ASSERT_EQ(rig.window.plots.size(), 1u);
    const Plot& p = rig.window.plots.front();
    EXPECT_EQ(p.complex, c.complex);
    EXPECT_EQ(p.xName, c.xName);
    ASSERT_EQ(p.x->size(), c.points);
    EXPECT_EQ(p.y->size(), c.complex ? 2 * c.points : c.points);
    EXPECT_EQ(qv::trace::shared().traceData.size(), c.points);
    EXPECT_TRUE(rig.window.selectorShown);
    EXPECT_TRUE(rig.window.channelSelectorShown);
    c.check(p, rig);
}

INSTANTIATE_TEST_SUITE_P(Readings, NetworkReaderTest, ::testing::ValuesIn(kNetworkCases),
                         [](const auto& info) { return std::string(info.param.name); });

// ---- the selection vanished on the instrument ----

TEST(NetworkReader, ARenamedTraceIsReportedAndTheListsAreReadAnew) {
    qvtest::ScriptedHost host;
    Rig rig("KDC", {});
    loadLists(rig, 0, 0);
    rig.send({"CONF:TRAC1:NAME 'Thru'"});
    rig.mark();
    rig.read();
    ASSERT_EQ(host.messages().size(), 1u);
    EXPECT_EQ(host.messages()[0].title, "Trace Error");
    EXPECT_EQ(host.messages()[0].text, "Trace does not exist anymore. Please select a different trace!");
    EXPECT_EQ(itemsOf(rig.window.traceList()), (std::vector<std::string>{"Thru", "Trc2"}));
    // The reading goes on with what the lists now show.
    EXPECT_EQ(withoutOpenings(rig.commands()),
              loggedAll({"INST:SEL?", "FORM REAL,32", "CONF:CHAN:CAT?", "CALC1:PAR:CAT?", "CONF:CHAN:CAT?",
                         "CALC1:PAR:CAT?", "CALC1:PAR:SEL 'Thru'", "CALCulate1:DATA?  FDATA", "TRAC:STIM? CH1DATA"}));
    ASSERT_EQ(rig.window.plots.size(), 1u);
    EXPECT_EQ(rig.state.readings, 1u);
}

TEST(NetworkReader, ADeletedChannelIsReportedAndTheReadingGoesOnWithTheFirst) {
    qvtest::ScriptedHost host;
    Rig rig("KDC", {});
    loadLists(rig, 1, 0);
    rig.send({"CONF:CHAN2 OFF"});
    rig.mark();
    rig.read();
    ASSERT_EQ(host.messages().size(), 1u);
    EXPECT_EQ(host.messages()[0].title, "Trace Error");
    EXPECT_EQ(host.messages()[0].text, "Channel does not exist anymore. Please select a different channel!");
    EXPECT_EQ(itemsOf(rig.window.channelList()), (std::vector<std::string>{"1"}));
    EXPECT_EQ(qv::trace::shared().SelectedChannel, 0);
    EXPECT_EQ(withoutOpenings(rig.commands()),
              loggedAll({"INST:SEL?", "FORM REAL,32", "CONF:CHAN:CAT?", "CONF:CHAN:CAT?", "CALC1:PAR:CAT?",
                         "CALC1:PAR:CAT?", "CALC1:PAR:SEL 'Trc1'", "CALCulate1:DATA?  FDATA", "TRAC:STIM? CH1DATA"}));
    ASSERT_EQ(rig.window.plots.size(), 1u);
}

// A channel the instrument does not answer for: the failed question leaves
// a buffer of blanks, which must count as no answer, so the lists start
// again from the instrument's first channel instead of listing a blank name.
TEST(NetworkLists, AChannelWithoutAnAnswerFallsBackToTheFirstChannel) {
    Rig rig("KDC", {});
    qv::io::VIF v;
    ASSERT_TRUE(qv::trace::openOwnVif(v, {rig.sim.socketResource(), [](qv::io::VIF& f) { f.TimeOut(300); }, 2000}));
    qv::trace::ListSelector channels, traces;
    channels.add("1");
    channels.add("7");
    ASSERT_TRUE(channels.select(1));
    qv::trace::fillTraceList(v, channels, traces);
    EXPECT_EQ(itemsOf(channels), (std::vector<std::string>{"1", "2"}));
    EXPECT_EQ(itemsOf(traces), (std::vector<std::string>{"Trc1", "Trc2"}));
    EXPECT_EQ(traces.text(), "Trc1");
}

// ---- refused reads ----

TEST(NetworkReader, ARefusedDataReadSaysSoThenNoTrace) {
    qvtest::ScriptedHost host;
    Rig rig("KDC", {}, {"--fault", "silent@CALC:DATA?"});
    rig.state.prepareVif = [](qv::io::VIF& v) { v.TimeOut(300); };
    loadLists(rig, 0, 0);
    rig.read();
    EXPECT_EQ(host.messageTexts(), (std::vector<std::string>{"No trace to display.", qv::trace::kNoTraceText}));
    EXPECT_EQ(host.messages()[0].title, QV_PRODUCT_NAME);
    EXPECT_TRUE(rig.window.plots.empty());
}

// Without a stimulus the data has no axis: the reading ends with a box that
// says why, and nothing is plotted from arrays of different lengths.
TEST(NetworkReader, ARefusedStimulusEndsTheReadingWithItsReason) {
    qvtest::ScriptedHost host;
    Rig rig("KDC", {}, {"--fault", "silent@TRAC:STIM?"});
    rig.state.prepareVif = [](qv::io::VIF& v) { v.TimeOut(300); };
    rig.state.continuousOn = true;
    qv::trace::shared().traceData.set(qv::trace::makeValues({1, 2}), qv::trace::makeValues({3, 4}));
    loadLists(rig, 0, 0);
    rig.read();
    ASSERT_EQ(host.messageTexts().size(), 1u);
    EXPECT_NE(host.messageTexts()[0].find("no stimulus values (TRAC:STIM? CH1DATA)"), std::string::npos)
        << host.messageTexts()[0];
    EXPECT_TRUE(rig.window.plots.empty());
    EXPECT_EQ(qv::trace::shared().traceData.size(), 2u);
}

// ---- the older dialect ----

TEST(OldNetworkReader, ReadsTheInstrumentsActiveChannelWithoutSelectingATrace) {
    qvtest::ScriptedHost host;
    Rig rig("KDM", {"INST:SEL CHANNEL2"});
    rig.read();
    EXPECT_TRUE(host.messageTexts().empty()) << host.messageTexts().front();
    EXPECT_EQ(rig.commands(), loggedAll({"FORM REAL,32", "INST:SEL?", "TRAC? CH2DATA", "TRAC:STIM? CH2DATA"}));
    EXPECT_EQ(itemsOf(rig.window.channelList()),
              (std::vector<std::string>{"CHANNEL1", "CHANNEL2", "CHANNEL3", "CHANNEL4"}));
    EXPECT_EQ(rig.window.channelList().selected(), 1);
    EXPECT_EQ(rig.window.caption, "2");
    EXPECT_EQ(qv::trace::shared().SelectedChannel, 1);
    EXPECT_FALSE(rig.window.selectorShown);
    EXPECT_FALSE(rig.window.channelSelectorShown);
    // Channel 2 holds the Smith chart: pairs.
    ASSERT_EQ(rig.window.plots.size(), 1u);
    EXPECT_TRUE(rig.window.plots[0].complex);
    EXPECT_EQ(rig.window.plots[0].y->size(), 402u);
    EXPECT_EQ(qv::trace::shared().traceData.size(), 201u);
}

TEST(OldNetworkReader, AChannelAnswerWithoutANumberEndsTheReadingWithThatAnswer) {
    qvtest::ScriptedHost host;
    Rig rig("KDM", {}, {"--fault", "silent@INST:SEL?"});
    rig.state.prepareVif = [](qv::io::VIF& v) { v.TimeOut(300); };
    rig.read();
    ASSERT_EQ(host.messageTexts().size(), 1u);
    EXPECT_NE(host.messageTexts()[0].find("INST:SEL? with \"\""), std::string::npos) << host.messageTexts()[0];
    EXPECT_EQ(qv::trace::shared().SelectedChannel, -1);
    EXPECT_EQ(rig.window.channelList().selected(), -1);
    EXPECT_TRUE(rig.window.plots.empty());
    const std::vector<std::string> sent = rig.commands();
    EXPECT_EQ(std::count(sent.begin(), sent.end(), "TRAC? CH0DATA"), 0);
}

}  // namespace
