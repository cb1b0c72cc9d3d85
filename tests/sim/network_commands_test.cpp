// The network analyzers as a program on the raw protocol meets them:
// catalogues and their changes, trace selection, data counts by format,
// the stimulus, the older four-channel dialect, and the refusals.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "sim_harness.h"

using qvsimtest::ask;
using qvsimtest::blockFloats;
using qvsimtest::Harness;
using qvsimtest::split;

namespace {

std::vector<double> textValues(const std::string& a) {
    std::vector<double> out;
    for (const auto& s : split(a, ",")) out.push_back(std::strtod(s.c_str(), nullptr));
    return out;
}

// --- catalogues --------------------------------------------------------------

struct CatalogueCase {
    const char* name;
    std::vector<const char*> commands;
    const char* channels;  // CONF:CHAN:CAT?
    const char* channel1;  // CALC1:PAR:CAT?
    const char* channel2;  // CALC2:PAR:CAT?
};
std::ostream& operator<<(std::ostream& os, const CatalogueCase& c) { return os << c.name; }

class Catalogues : public ::testing::TestWithParam<CatalogueCase> {};
TEST_P(Catalogues, AnswerWhatTheCommandsMade) {
    const auto& c = GetParam();
    Harness h("KDC");
    for (const char* cmd : c.commands) h.send(std::string(cmd) + "\n");
    EXPECT_TRUE(h.drainErrors().empty());
    EXPECT_EQ(ask(h, "CONF:CHAN:CAT?"), c.channels);
    EXPECT_EQ(ask(h, "CALC1:PAR:CAT?"), c.channel1);
    EXPECT_EQ(ask(h, "CALCulate2:PARameter:CATalog?"), c.channel2);
}
INSTANTIATE_TEST_SUITE_P(
    Network, Catalogues,
    ::testing::Values(
        CatalogueCase{"Default", {}, "'1,Ch1,2,Ch2'", "'Trc1,S21,Trc2,S11'", "'Trc3,S22'"},
        CatalogueCase{"NewTrace", {"CALC2:PAR:SDEF 'Thru','S12'"}, "'1,Ch1,2,Ch2'", "'Trc1,S21,Trc2,S11'",
                      "'Trc3,S22,Thru,S12'"},
        CatalogueCase{"Deleted", {"CALC1:PAR:DEL 'Trc1'"}, "'1,Ch1,2,Ch2'", "'Trc2,S11'", "'Trc3,S22'"},
        CatalogueCase{"Renamed",
                      {"CONF:TRAC2:NAME 'Refl'", "CONF:CHAN2:NAME 'Output'"},
                      "'1,Ch1,2,Output'", "'Trc1,S21,Refl,S11'", "'Trc3,S22'"},
        // Numbers follow creation order: after deleting trace 1, Trc2 is number 1.
        CatalogueCase{"NumbersMoveUp", {"CALC1:PAR:DEL 'Trc1'", "CONF:TRAC1:NAME 'First'"}, "'1,Ch1,2,Ch2'",
                      "'First,S11'", "'Trc3,S22'"},
        CatalogueCase{"ChannelDeletedWithItsTraces",
                      {"CONF:CHAN3 ON", "CALC3:PAR:SDEF 'X','S21'", "CONF:CHAN2:STAT OFF"}, "'1,Ch1,3,Ch3'",
                      "'Trc1,S21,Trc2,S11'", ""},
        CatalogueCase{"EmptyChannel", {"CALC2:PAR:DEL 'Trc3'"}, "'1,Ch1,2,Ch2'", "'Trc1,S21,Trc2,S11'", "''"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(NetworkCatalogue, MissingChannelIsAnErrorWithoutAnswer) {
    Harness h("KDP");
    EXPECT_EQ(h.send("CALC3:PAR:CAT?\n"), "");
    EXPECT_EQ(h.drainErrors(), std::vector<int>{-114});
    // Deleting channel 2 makes its catalogue fail the same way.
    h.send("CONF:CHAN2 OFF\n");
    EXPECT_EQ(h.send("CALC2:PAR:CAT?\n"), "");
    EXPECT_EQ(h.drainErrors(), std::vector<int>{-114});
    // The analyzer keeps its last channel.
    h.send("CONF:CHAN1 OFF\n");
    EXPECT_EQ(h.drainErrors(), std::vector<int>{-221});
    EXPECT_EQ(ask(h, "CONF:CHAN:CAT?"), "'1,Ch1'");
}

TEST(NetworkCatalogue, SelectionRefusesTracesOfOtherChannels) {
    Harness h("KDE");
    EXPECT_EQ(ask(h, "CALC1:PAR:SEL?"), "'Trc1'");
    h.send("CALC1:PAR:SEL 'Trc3'\n");  // Trc3 lives in channel 2
    EXPECT_EQ(h.drainErrors(), std::vector<int>{-224});
    EXPECT_EQ(ask(h, "CALC1:PAR:SEL?"), "'Trc1'");
    h.send("CALC1:PAR:SEL 'Trc2'\n");
    EXPECT_EQ(ask(h, "CALC1:PAR:SEL?"), "'Trc2'");
    EXPECT_EQ(ask(h, "CALC1:FORM?"), "SMIT");
    // Renaming the selected trace keeps it selected; duplicates are refused.
    h.send("CONF:TRAC2:NAME 'Match'\n");
    EXPECT_EQ(ask(h, "CALC1:PAR:SEL?"), "'Match'");
    h.send("CONF:TRAC2:NAME 'Trc3'\n");
    EXPECT_EQ(h.drainErrors(), std::vector<int>{-224});
    EXPECT_EQ(ask(h, "CONF:TRAC2:NAME?"), "'Match'");
    EXPECT_EQ(h.send("CONF:TRAC9:NAME?\n"), "");
    EXPECT_EQ(h.drainErrors(), std::vector<int>{-114});
}

// --- data -------------------------------------------------------------------

struct CountCase {
    const char* format;
    size_t perPoint;
};
std::ostream& operator<<(std::ostream& os, const CountCase& c) { return os << c.format; }

class FormattedData : public ::testing::TestWithParam<CountCase> {};
TEST_P(FormattedData, OneValueAPointOrPairsForSmithAndPolar) {
    const auto& c = GetParam();
    Harness h("KDH");
    h.send(std::string("CALC1:FORM ") + c.format + "\n");
    EXPECT_TRUE(h.drainErrors().empty());
    auto text = textValues(ask(h, "CALCulate1:DATA?  FDATA"));
    EXPECT_EQ(text.size(), 201 * c.perPoint);
    h.send("FORM REAL,32\n");
    auto binary = blockFloats(ask(h, "CALC1:DATA? FDATA"));
    ASSERT_EQ(binary.size(), text.size());
    for (size_t i = 0; i < text.size(); ++i) EXPECT_NEAR(binary[i], text[i], 1e-5 * (1 + std::fabs(text[i])));
    // Complex data are pairs whatever the format.
    EXPECT_EQ(blockFloats(ask(h, "CALC1:DATA? SDATA")).size(), 402u);
}
INSTANTIATE_TEST_SUITE_P(Formats, FormattedData,
                         ::testing::Values(CountCase{"MLOG", 1}, CountCase{"PHAS", 1}, CountCase{"SMIT", 2},
                                           CountCase{"POL", 2}, CountCase{"REAL", 1}, CountCase{"IMAG", 1},
                                           CountCase{"MLIN", 1}, CountCase{"SWR", 1}, CountCase{"UPH", 1}),
                         [](const auto& info) { return std::string(info.param.format); });

TEST(NetworkData, LooksLikeABandPassFilter) {
    Harness h("KDC");
    h.send("FORM REAL,32\n");
    auto s21 = blockFloats(ask(h, "CALC1:DATA? FDATA"));  // MLOG over 1..2 GHz
    ASSERT_EQ(s21.size(), 201u);
    EXPECT_NEAR(s21[100], -1.0, 0.4);  // pass band in the middle
    EXPECT_LT(s21[0], -50);           // skirts
    EXPECT_LT(s21[200], -50);
    EXPECT_GT(s21[0], -70);  // leakage floor near -60 dB
    auto pairs = blockFloats(ask(h, "CALC1:DATA? SDATA"));
    ASSERT_EQ(pairs.size(), 402u);
    EXPECT_NEAR(20 * std::log10(std::hypot(pairs[200], pairs[201])), s21[100], 1e-3);
    // The reflection: small in the pass band, near 1 outside.
    h.send("CALC1:PAR:SEL 'Trc2'\n");
    auto s11 = blockFloats(ask(h, "CALC1:DATA? FDATA"));  // Smith pairs
    ASSERT_EQ(s11.size(), 402u);
    EXPECT_LT(std::hypot(s11[200], s11[201]), 0.3);
    EXPECT_GT(std::hypot(s11[0], s11[1]), 0.9);
    EXPECT_LE(std::hypot(s11[0], s11[1]), 1.0);
    // The unwrapped phase is the phase plus whole turns, and keeps falling
    // through the sweep (the cables' delay).
    h.send("CALC1:PAR:SEL 'Trc1';:CALC1:FORM PHAS\n");
    auto wrapped = blockFloats(ask(h, "CALC1:DATA? FDATA"));
    h.send("CALC1:FORM UPH\n");
    auto phase = blockFloats(ask(h, "CALC1:DATA? FDATA"));
    ASSERT_EQ(phase.size(), 201u);
    ASSERT_EQ(wrapped.size(), 201u);
    EXPECT_LT(phase[200] - phase[0], -1000);
    for (size_t i = 0; i < phase.size(); ++i) {
        ASSERT_LE(std::fabs(wrapped[i]), 180.001f);
        EXPECT_NEAR(std::remainder(double(phase[i]) - wrapped[i], 360.0), 0, 1e-2) << i;
    }
}

TEST(NetworkData, WithoutActiveTraceThereIsNoAnswer) {
    Harness h("KDC");
    h.send("CALC2:PAR:DEL 'Trc3'\n");
    EXPECT_EQ(h.send("CALC2:DATA? FDATA\n"), "");
    EXPECT_EQ(h.drainErrors(), std::vector<int>{-221});
}

struct StimulusCase {
    const char* setup;
    double first, last;
    size_t count;
};
std::ostream& operator<<(std::ostream& os, const StimulusCase& c) { return os << c.setup; }

class Stimulus : public ::testing::TestWithParam<StimulusCase> {};
TEST_P(Stimulus, RunsLinearlyFromStartToStop) {
    const auto& c = GetParam();
    Harness h("KDZ");
    h.send(std::string(c.setup) + "\n");
    EXPECT_TRUE(h.drainErrors().empty());
    auto hz = textValues(ask(h, "TRAC:STIM? CH2DATA"));
    ASSERT_EQ(hz.size(), c.count);
    EXPECT_DOUBLE_EQ(hz.front(), c.first);
    EXPECT_DOUBLE_EQ(hz.back(), c.last);
    for (size_t i = 1; i < hz.size(); ++i) EXPECT_NEAR(hz[i] - hz[i - 1], (c.last - c.first) / double(c.count - 1), 1e3);
}
INSTANTIATE_TEST_SUITE_P(
    Sweeps, Stimulus,
    ::testing::Values(StimulusCase{"*CLS", 1e9, 2e9, 201},
                      StimulusCase{"SENS2:FREQ:CENT 3 GHZ;SPAN 200 MHZ;:SENS2:SWE:POIN 11", 2.9e9, 3.1e9, 11},
                      // Equal start and stop: the continuous-wave case.
                      StimulusCase{"SENS2:FREQ:STAR 1.2GHZ;STOP 1.2GHZ", 1.2e9, 1.2e9, 201},
                      StimulusCase{"SYST:SIM:POIN 1001", 1e9, 2e9, 1001}));

TEST(NetworkData, ChannelsKeepTheirOwnSweep) {
    Harness h("KDC");
    h.send("SENS2:FREQ:STAR 100 MHZ;:SENS2:SWE:POIN 5\n");
    EXPECT_EQ(ask(h, "SENS1:FREQ:STAR?"), "1000000000");
    EXPECT_EQ(ask(h, "SENS2:FREQ:STAR?"), "100000000");
    EXPECT_EQ(ask(h, "SENS1:SWE:POIN?"), "201");
    // Without a suffix the active channel is meant.
    h.send("INST:SEL CHANNEL2\n");
    EXPECT_EQ(ask(h, "SENS:SWE:POIN?"), "5");
    EXPECT_EQ(ask(h, "INST:SEL?"), "NWA");
    h.send("SENS2:SWE:POIN 1000001\n");
    EXPECT_EQ(h.drainErrors(), std::vector<int>{-222});
}

// --- the older dialect ---------------------------------------------------------

struct OldChannelCase {
    int channel;
    const char* format;
    size_t values;
};
std::ostream& operator<<(std::ostream& os, const OldChannelCase& c) { return os << "CH" << c.channel; }

class FixedChannels : public ::testing::TestWithParam<OldChannelCase> {};
TEST_P(FixedChannels, AnswerTheirTraceAndNameTheActiveChannel) {
    const auto& c = GetParam();
    Harness h("KDM");
    EXPECT_EQ(ask(h, "INST:SEL?"), "CHANNEL1");
    std::string n = std::to_string(c.channel);
    h.send("INST:SEL CHANNEL" + n + "\n");
    EXPECT_EQ(ask(h, "INST:SEL?"), "CHANNEL" + n);
    EXPECT_EQ(ask(h, "CALC" + n + ":FORM?"), c.format);
    h.send("FORM REAL,32\n");
    EXPECT_EQ(blockFloats(ask(h, "TRAC? CH" + n + "DATA")).size(), c.values);
    EXPECT_EQ(blockFloats(ask(h, "TRAC:STIM? CH" + n + "DATA")).size(), 201u);
    EXPECT_TRUE(h.drainErrors().empty());
}
INSTANTIATE_TEST_SUITE_P(Kdm, FixedChannels,
                         ::testing::Values(OldChannelCase{1, "MLOG", 201}, OldChannelCase{2, "SMIT", 402},
                                           OldChannelCase{3, "PHAS", 201}, OldChannelCase{4, "MLOG", 201}));

TEST(FixedChannels, KnowNoCataloguesAndNoFifthChannel) {
    Harness h("KDM");
    for (const char* q : {"CONF:CHAN:CAT?", "CALC1:PAR:CAT?", "CONF:TRAC1:NAME?"}) {
        EXPECT_EQ(h.send(std::string(q) + "\n"), "") << q;
        EXPECT_EQ(h.drainErrors(), std::vector<int>{-113}) << q;
    }
    h.send("INST:SEL CHANNEL5\n");
    EXPECT_EQ(h.drainErrors(), std::vector<int>{-224});
    EXPECT_EQ(h.send("TRAC? CH5DATA\n"), "");
    EXPECT_EQ(h.drainErrors(), std::vector<int>{-224});
    h.send("*RST\n");
    EXPECT_EQ(ask(h, "INST?"), "CHANNEL1");
}

// --- who serves the network commands -----------------------------------------

struct RefusalCase {
    const char* profile;
    const char* mode;  // sent before, or empty
    bool served;
};
std::ostream& operator<<(std::ostream& os, const RefusalCase& c) { return os << c.profile << " " << c.mode; }

class NetworkFamilies : public ::testing::TestWithParam<RefusalCase> {};
TEST_P(NetworkFamilies, ServeOrRefuseTheNetworkCommands) {
    const auto& c = GetParam();
    Harness h(c.profile);
    if (*c.mode) h.send(std::string("INST:SEL ") + c.mode + "\n");
    for (const char* q : {"CONF:CHAN:CAT?", "CALC1:PAR:CAT?", "CALC1:DATA? FDATA", "TRAC:STIM? CH1DATA"}) {
        std::string a = h.send(std::string(q) + "\n");
        EXPECT_EQ(!a.empty(), c.served) << q;
        EXPECT_EQ(h.drainErrors(), c.served ? std::vector<int>{} : std::vector<int>{-113}) << q;
    }
}
INSTANTIATE_TEST_SUITE_P(Families, NetworkFamilies,
                         ::testing::Values(RefusalCase{"KDC", "", true}, RefusalCase{"TKW", "NWA", true},
                                           RefusalCase{"KDX", "NWA", true}, RefusalCase{"TKW", "", false},
                                           RefusalCase{"TKW", "SAN", false}, RefusalCase{"TKD", "", false},
                                           RefusalCase{"MYI", "", false}, RefusalCase{"GLN", "", false}));

}  // namespace
