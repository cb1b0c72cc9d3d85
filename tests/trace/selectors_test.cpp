// The selectors' steps against the simulated instruments: what the load and
// a channel change ask, in order, and what the lists hold afterwards; the
// rename on Enter; and `quilvane-cli trace` choosing as the selectors do.
#include "app/context.h"
#include "instrument_io/vif.h"
#include "trace/reader.h"
#include "trace/selectors.h"
#include "scripted_host.h"
#include "test_support.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using qv::trace::ListSelector;
using qv::trace::RenameWhat;

class ListDisplay : public qv::trace::Display {
public:
    void DisplayTrace(const qv::trace::Plot&) override {}
    void DisplayComplexTrace(const qv::trace::Plot&) override {}
    void setChannelCaption(const std::string& text) override { caption = text; }
    std::string channelCaption() const override { return caption; }
    ListSelector& channels() { return static_cast<ListSelector&>(channelList()); }
    ListSelector& traces() { return static_cast<ListSelector&>(traceList()); }
    std::string caption;
};

// One simulated instrument; only what is sent after the set-up counts, and
// of that not the session's opening (status byte, error queue).
struct SelectorRig {
    qvtest::TempDir dir;
    qvtest::SimProcess sim;
    std::string log = dir.file("sim.log");
    size_t setupLines = 0;
    qv::trace::VifTarget target;
    ListDisplay display;
    std::string family;

    SelectorRig(const std::string& fam, const std::vector<std::string>& setup) : family(fam) {
        std::string why;
        EXPECT_TRUE(sim.start({"--profile", family, "--log", log}, &why)) << why;
        if (!setup.empty()) {
            qv::io::VIF v;
            EXPECT_TRUE(v.OpenDevice(sim.socketResource(), false, false, 2000, false));
            for (const std::string& c : setup) v.WriteString(c);
            std::string answer;
            v.ReadString("*OPC?", answer);
        }
        mark();
        target.resource = sim.socketResource();
        target.prepareVif = [](qv::io::VIF& v) { v.TimeOut(2000); };
        target.openTimeoutMs = 2000;
    }
    void mark() { setupLines = qvtest::readLines(log).size(); }
    std::vector<std::string> commands() const {
        const std::vector<std::string> lines = qvtest::readLines(log);
        std::vector<std::string> out;
        for (size_t i = setupLines; i < lines.size(); ++i)
            if (lines[i] != "*STB?" && lines[i] != "SYST:ERR?" && lines[i].rfind("@", 0) != 0) out.push_back(lines[i]);
        return out;
    }
    std::string ask(const std::string& query) {
        qv::io::VIF v;
        std::string answer;
        if (v.OpenDevice(sim.socketResource(), false, false, 2000, false)) v.ReadString(query, answer);
        return answer;
    }
    void load(int masterTraces, std::string& mode) {
        qv::trace::loadSelectors(target, family, masterTraces, display, mode);
    }
};

using Items = std::vector<std::string>;

const Items kStates6{"DISPlay:TRACe1:STATe?", "DISPlay:TRACe2:STATe?", "DISPlay:TRACe3:STATe?",
                     "DISPlay:TRACe4:STATe?", "DISPlay:TRACe5:STATe?", "DISPlay:TRACe6:STATe?"};

Items concat(Items a, const Items& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

struct LoadCase {
    const char* name;
    const char* family;
    Items setup;
    Items commands;
    const char* mode;
    Items channels;
    Items traces;
};

std::ostream& operator<<(std::ostream& os, const LoadCase& c) { return os << c.name; }

class SelectorLoad : public ::testing::TestWithParam<LoadCase> {};

TEST_P(SelectorLoad, AsksTheFamilysQuestionsAndFillsBothLists) {
    const LoadCase& c = GetParam();
    qvtest::ScriptedHost host;
    SelectorRig rig(c.family, c.setup);
    qv::trace::shared().SelectedChannel = 5;  // left by another window
    std::string mode;
    rig.load(4, mode);
    EXPECT_EQ(rig.commands(), c.commands);
    EXPECT_EQ(mode, c.mode);
    EXPECT_EQ(rig.display.channels().items, c.channels);
    EXPECT_EQ(rig.display.traces().items, c.traces);
    EXPECT_EQ(rig.display.channels().selected(), 0);
    EXPECT_EQ(rig.display.caption, c.channels.front());
    EXPECT_EQ(qv::trace::shared().SelectedChannel, 0);
    EXPECT_EQ(qv::app::context().SelectedTrace, 0);
    EXPECT_TRUE(host.messageTexts().empty());
}

const Items kOneToFour{"1", "2", "3", "4"};

INSTANTIATE_TEST_SUITE_P(
    Families, SelectorLoad,
    ::testing::Values(
        LoadCase{"NetworkAnalyzerFromItsCatalogues", "KDC", {}, {"CONF:CHAN:CAT?", "CALC1:PAR:CAT?"}, "NWA",
                 {"1", "2"}, {"Trc1", "Trc2"}},
        // A signal analyzer running as a network analyzer: catalogues, no display traces.
        LoadCase{"SignalAnalyzerInNetworkMode", "TKW", {"INST:SEL NWA"},
                 {"INST:SEL?", "CONF:CHAN:CAT?", "CALC1:PAR:CAT?"}, "NWA", {"1", "2"}, {"Trc1", "Trc2"}},
        LoadCase{"SignalAnalyzerInSpectrumMode", "TKW", {"INST:SEL SAN", "DISP:TRAC2:STAT OFF", "DISP:TRAC4:STAT ON"},
                 concat({"INST:SEL?"}, kStates6), "SAN", kOneToFour, {"1", "4"}},
        // The older network analyzer has no catalogues: nothing is asked.
        LoadCase{"OldNetworkAnalyzer", "KDM", {}, {}, "", kOneToFour, kOneToFour},
        LoadCase{"ScopeWithMathSources", "MYI", {}, {}, "",
                 {"1", "2", "3", "4", "Math 1", "Math 2", "Math 3", "Math 4"}, kOneToFour}),
    [](const auto& info) { return std::string(info.param.name); });

struct ChannelCase {
    const char* name;
    const char* family;
    Items setup;
    int index;
    Items commands;
    bool update;
    Items traces;  // empty: as the load left them
};

std::ostream& operator<<(std::ostream& os, const ChannelCase& c) { return os << c.name; }

class SelectorChannel : public ::testing::TestWithParam<ChannelCase> {};

TEST_P(SelectorChannel, SelectsOnTheInstrumentAndSaysWhetherAReadingFollows) {
    const ChannelCase& c = GetParam();
    qvtest::ScriptedHost host;
    SelectorRig rig(c.family, c.setup);
    std::string mode;
    rig.load(4, mode);
    const Items before = rig.display.traces().items;
    rig.mark();
    // A click: the list's index moves first, then the event.
    rig.display.channels().select(c.index);
    EXPECT_EQ(qv::trace::channelChosen(rig.target, rig.family, c.index, rig.display), c.update);
    EXPECT_EQ(rig.commands(), c.commands);
    EXPECT_EQ(qv::trace::shared().SelectedChannel, c.index);
    EXPECT_EQ(rig.display.caption, rig.display.channels().item(c.index));
    EXPECT_EQ(rig.display.traces().items, c.traces.empty() ? before : c.traces);
}

INSTANTIATE_TEST_SUITE_P(
    Families, SelectorChannel,
    ::testing::Values(
        ChannelCase{"NetworkAnalyzer", "KDC", {}, 1, {"INST:SEL CHANNEL2", "CALC2:PAR:CAT?"}, false, {"Trc3"}},
        ChannelCase{"OldNetworkAnalyzer", "KDM", {}, 2, {"INST:SEL CHANNEL3"}, false, {}},
        ChannelCase{"SignalAnalyzerInNetworkMode", "TKW", {"INST:SEL NWA"}, 1, {"INST:SEL?", "CALC2:PAR:CAT?"},
                    false, {"Trc3"}},
        ChannelCase{"SignalAnalyzerInSpectrumMode", "TKW", {"INST:SEL SAN"}, 1, concat({"INST:SEL?"}, kStates6),
                    true, {"1", "2"}},
        ChannelCase{"SpectrumAnalyzer", "TKD", {}, 2,
                    {"DISPlay:TRACe1:STATe?", "DISPlay:TRACe2:STATe?", "DISPlay:TRACe3:STATe?"}, true, {"1", "2"}},
        ChannelCase{"ScopeMathSource", "MYI", {}, 5, {}, true, {}}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(SelectorTrace, TheInstrumentsNumberWhereTheListHoldsNumbersElseThePosition) {
    ListSelector numbers;
    for (const char* s : {"1", "3", "6"}) numbers.add(s);
    qv::trace::traceChosen("TKD", 1, numbers);
    EXPECT_EQ(qv::app::context().SelectedTrace, 2);
    qv::trace::traceChosen("TKW", 2, numbers);
    EXPECT_EQ(qv::app::context().SelectedTrace, 5);
    // A signal analyzer in network mode lists names: the position counts.
    ListSelector names;
    for (const char* s : {"Trc1", "Trc2"}) names.add(s);
    qv::trace::traceChosen("TKW", 1, names);
    EXPECT_EQ(qv::app::context().SelectedTrace, 1);
    qv::trace::traceChosen("KDC", 1, numbers);
    EXPECT_EQ(qv::app::context().SelectedTrace, 1);
}

struct RenameRule {
    const char* mapped;
    const char* family;
    bool renames;
};

class SelectorRenameRule : public ::testing::TestWithParam<RenameRule> {};

TEST_P(SelectorRenameRule, MappedNameBeginsWithKdAndTheFamilyIsNotTheOldOne) {
    EXPECT_EQ(qv::trace::renamesInPlace(GetParam().mapped, GetParam().family), GetParam().renames);
}

INSTANTIATE_TEST_SUITE_P(Names, SelectorRenameRule,
                         ::testing::Values(RenameRule{"KDC", "KDC", true}, RenameRule{"KDZ", "KDC", true},
                                           RenameRule{"KDX", "TKW", true}, RenameRule{"KDM", "KDM", false},
                                           RenameRule{"XKDC", "KDC", false}, RenameRule{"", "KDC", false},
                                           RenameRule{"TKW", "TKW", false}));

TEST(SelectorRename, EnterSendsTheTypedNameForTheCaptionsNumber) {
    qvtest::ScriptedHost host;
    SelectorRig rig("KDC", {});
    std::string mode;
    rig.load(2, mode);
    rig.display.channels().select(1);
    qv::trace::channelChosen(rig.target, "KDC", 1, rig.display);
    ASSERT_EQ(rig.display.caption, "2");
    rig.mark();
    rig.display.channels().edited = "Reflection";
    EXPECT_TRUE(qv::trace::renameOnEnter(rig.target, "KDC", "KDC", RenameWhat::Channel, rig.display));
    rig.display.traces().edited = "Thru";
    EXPECT_TRUE(qv::trace::renameOnEnter(rig.target, "KDC", "KDC", RenameWhat::Trace, rig.display));
    EXPECT_EQ(rig.commands(), (Items{"CONF:CHAN2:NAME 'Reflection'", "CONF:TRAC2:NAME 'Thru'"}));
    EXPECT_EQ(rig.ask("CONF:CHAN2:NAME?"), "'Reflection'");
    EXPECT_EQ(rig.ask("CONF:TRAC2:NAME?"), "'Thru'");

    // Not for the old network analyzer, nor a model whose mapped name says otherwise.
    rig.mark();
    EXPECT_FALSE(qv::trace::renameOnEnter(rig.target, "KDM", "KDM", RenameWhat::Channel, rig.display));
    EXPECT_FALSE(qv::trace::renameOnEnter(rig.target, "TKW", "TKW", RenameWhat::Trace, rig.display));
    EXPECT_TRUE(rig.commands().empty());
}

// ---- the command line ----

std::string cli() { return std::string(QV_BIN_DIR) + "/quilvane-cli --timeout 2000 "; }

TEST(TraceCommandSelectors, ListsAndChoosesAsTheSelectorsDo) {
    SelectorRig rig("KDC", {"SYST:SIM:POIN 51"});
    const std::string res = rig.sim.socketResource();
    qvtest::CommandResult r = qvtest::runCommand(cli() + "trace " + res + " --channel 1 --list");
    ASSERT_EQ(r.exitCode, 0) << r.output;
    EXPECT_EQ(r.output, "channel\t1\t1\nchannel\t2\t2\ntrace\t1\tTrc1\ntrace\t2\tTrc2\n");

    // Channel 2 is chosen as a click would: the instrument selects it, and
    // its first trace is read.
    rig.mark();
    r = qvtest::runCommand("LC_ALL=C " + cli() + "trace " + res + " --channel 2");
    ASSERT_EQ(r.exitCode, 0) << r.output;
    EXPECT_EQ(std::count(r.output.begin(), r.output.end(), '\n'), 51) << r.output;
    const Items sent = rig.commands();
    EXPECT_NE(std::find(sent.begin(), sent.end(), "INST:SEL CHANNEL2"), sent.end());
    EXPECT_NE(std::find(sent.begin(), sent.end(), "CALC2:PAR:SEL 'Trc3'"), sent.end());

    // The complex trace by its name: one line a point.
    r = qvtest::runCommand("LC_ALL=C " + cli() + "trace " + res + " --trace Trc2");
    ASSERT_EQ(r.exitCode, 0) << r.output;
    EXPECT_EQ(std::count(r.output.begin(), r.output.end(), '\n'), 51) << r.output;

    r = qvtest::runCommand(cli() + "trace " + res + " --channel 3");
    EXPECT_EQ(r.exitCode, 2);
    EXPECT_NE(r.output.find("channel 3 does not exist; the instrument has channels 1, 2"), std::string::npos)
        << r.output;
    r = qvtest::runCommand(cli() + "trace " + res + " --channel 2 --trace 2");
    EXPECT_EQ(r.exitCode, 2);
    EXPECT_NE(r.output.find("trace 2 does not exist; channel 2 has traces Trc3"), std::string::npos) << r.output;
}

// The older network analyzer's four fixed channels, whatever the settings
// list for its model: the instrument selects the channel, the reader reads it.
TEST(TraceCommandSelectors, OldNetworkAnalyzerReadsTheFixedChannelChosen) {
    SelectorRig rig("KDM", {"SYST:SIM:POIN 21"});
    const std::string res = rig.sim.socketResource();
    for (const char* pick : {"3", "channel3"}) {
        rig.mark();
        const qvtest::CommandResult r = qvtest::runCommand("LC_ALL=C " + cli() + "trace " + res + " --channel " + pick);
        ASSERT_EQ(r.exitCode, 0) << pick << ": " << r.output;
        const Items sent = rig.commands();
        const auto select = std::find(sent.begin(), sent.end(), "INST:SEL CHANNEL3");
        ASSERT_NE(select, sent.end()) << pick;
        EXPECT_NE(std::find(select, sent.end(), "TRAC? CH3DATA"), sent.end()) << pick;
        EXPECT_EQ(std::count(r.output.begin(), r.output.end(), '\n'), 21) << r.output;
    }
    const qvtest::CommandResult r = qvtest::runCommand(cli() + "trace " + res + " --channel 5");
    EXPECT_EQ(r.exitCode, 2);
    EXPECT_NE(r.output.find("CHANNEL1, CHANNEL2, CHANNEL3, CHANNEL4"), std::string::npos) << r.output;
}

TEST(TraceCommandSelectors, ScopeMathSourceByNameOrPosition) {
    SelectorRig rig("MYI", {"ACQ:POIN 1000"});
    const std::string res = rig.sim.socketResource();
    for (const char* pick : {"'Math 2'", "6"}) {
        rig.mark();
        const qvtest::CommandResult r = qvtest::runCommand("LC_ALL=C " + cli() + "trace " + res + " --channel " + pick);
        ASSERT_EQ(r.exitCode, 0) << pick << ": " << r.output;
        const Items sent = rig.commands();
        EXPECT_NE(std::find(sent.begin(), sent.end(), "CALC:MATH2:DATA?"), sent.end()) << pick;
        // The FFT's axis starts at 0 Hz.
        EXPECT_EQ(r.output.rfind("0; ", 0), 0u) << r.output.substr(0, 80);
    }
    const qvtest::CommandResult r = qvtest::runCommand(cli() + "trace " + res + " --channel 9");
    EXPECT_EQ(r.exitCode, 2);
    EXPECT_NE(r.output.find("1, 2, 3, 4, Math 1, Math 2, Math 3, Math 4"), std::string::npos) << r.output;
}

}  // namespace
