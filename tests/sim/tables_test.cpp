// Correction tables, the stored peak list and the demodulation summary:
// what an instrument keeps from an upload, what it answers, what it refuses.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "rpc_test_client.h"
#include "sim/profiles.h"
#include "sim/simulator.h"
#include "sim/trace_data.h"
#include "sim_harness.h"

using qvsimtest::ask;
using qvsimtest::Harness;
using qvsimtest::split;

namespace {

std::vector<double> numbers(const std::string& answer) {
    std::vector<double> out;
    for (const auto& field : split(answer, ",")) {
        char* end = nullptr;
        out.push_back(std::strtod(field.c_str(), &end));
        EXPECT_TRUE(!field.empty() && *end == '\0') << "'" << field << "'";
    }
    return out;
}

// "f1,l1,f2,l2,..." of n pairs, written as the instrument answers them.
std::string pairs(size_t n) {
    std::string s;
    for (size_t i = 0; i < n; ++i) {
        char pair[64];
        std::snprintf(pair, sizeof pair, "%s%.12g,%.12g", i ? "," : "", 1e6 + double(i) * 1234.567, -double(i % 7) - 0.25);
        s += pair;
    }
    return s;
}

// --- generator user correction ---------------------------------------------

class GeneratorUpload : public ::testing::TestWithParam<const char*> {};

TEST_P(GeneratorUpload, KeepsNamedListsInHertzAndDecibel) {
    Harness h(GetParam());
    h.send("CORR:STAT OFF\nCORR:CSET:SEL 'UCOR1'\nCORR:CSET:DATA:FREQ 100MHz,200MHz\nCORR:CSET:DATA:POW 1dB,2dB\n"
           "CORR:STAT ON\n");
    EXPECT_EQ(h.drainErrors(), std::vector<int>{});
    EXPECT_EQ(ask(h, "CORR:STAT?;CSET:SEL?;DATA:FREQ?;POW?;FREQ:POIN?"),
              "1;\"UCOR1\";100000000,200000000;1,2;2");
    h.send("CORR:CSET:SEL 'UCOR2'\n");
    EXPECT_EQ(ask(h, "CORR:CSET:DATA:FREQ:POIN?"), "0");
    h.send("CORR:CSET:SEL 'UCOR1'\n*RST\n");  // the table stays, the correction goes off
    EXPECT_EQ(ask(h, "CORR:STAT?;CSET:DATA:POW?"), "0;1,2");
}

INSTANTIATE_TEST_SUITE_P(Generators, GeneratorUpload, ::testing::Values("GLT", "GLY", "GLN", "GXB", "GLEF", "GLQ"));

struct ListCase {
    const char* command;  // sent to a table that holds 7 in each list
    const char* query;
    const char* answer;
    int error;
};
std::ostream& operator<<(std::ostream& os, const ListCase& c) { return os << c.command; }

class GeneratorLists : public ::testing::TestWithParam<ListCase> {};

TEST_P(GeneratorLists, UnitsAndRefusals) {
    Harness h("GLY");
    h.send("CORR:CSET:SEL 'UCOR1'\nCORR:CSET:DATA:FREQ 7\nCORR:CSET:DATA:POW 7\n");
    h.send(std::string(GetParam().command) + "\n");
    EXPECT_EQ(h.drainErrors(), GetParam().error ? std::vector<int>{GetParam().error} : std::vector<int>{});
    EXPECT_EQ(ask(h, GetParam().query), GetParam().answer);
}

INSTANTIATE_TEST_SUITE_P(
    Units, GeneratorLists,
    ::testing::Values(ListCase{"CORR:CSET:DATA:FREQ 1.5GHz,2kHz,3hz,4MHZ,5", "CORR:CSET:DATA:FREQ?",
                               "1500000000,2000,3,4000000,5", 0},
                      ListCase{"CORR:CSET:DATA:POW 1.5dB,-2dBm,3dB\xB5V,4dBuV,5dB\xB5V/m,6dBuA/m,7dBpW,8dBpt,9",
                               "CORR:CSET:DATA:POW?", "1.5,-2,3,4,5,6,7,8,9", 0}));

// A refused list leaves the one before it.
INSTANTIATE_TEST_SUITE_P(
    Refusals, GeneratorLists,
    ::testing::Values(ListCase{"CORR:CSET:DATA:POW 1dB,,2dB", "CORR:CSET:DATA:POW?", "7", -102},  // empty place
                      ListCase{"CORR:CSET:DATA:POW 1dBx", "CORR:CSET:DATA:POW?", "7", -131},
                      // the micro sign in UTF-8 is not the instrument's character set
                      ListCase{"CORR:CSET:DATA:POW 1dB\xC2\xB5V", "CORR:CSET:DATA:POW?", "7", -131},
                      ListCase{"CORR:CSET:DATA:FREQ 1dB", "CORR:CSET:DATA:FREQ?", "7", -131},
                      ListCase{"CORR:CSET:DATA:FREQ MAX", "CORR:CSET:DATA:FREQ?", "7", -104},
                      ListCase{"CORR:CSET:SEL ''", "CORR:CSET:SEL?", "\"UCOR1\"", -224}));

TEST(GeneratorCorrection, ListsOfDifferentLengthsKeepTheCorrectionOff) {
    Harness h("GLN");
    h.send("CORR:CSET:SEL 'UCOR3'\nCORR:CSET:DATA:FREQ 1MHz,2MHz,3MHz\nCORR:CSET:DATA:POW 1dB,2dB\nCORR:STAT ON\n");
    EXPECT_EQ(h.nextError(), "-221,\"Settings conflict;list lengths differ\"");
    EXPECT_EQ(ask(h, "CORR:STAT?"), "0");
    h.send("CORR:CSET:DATA:POW 1dB,2dB,3dB\nCORR:STAT 1\n");
    EXPECT_EQ(ask(h, "CORR:STAT?"), "1");
}

TEST(GeneratorCorrection, SelectionAndTableSizeAreEnforced) {
    Harness h("GLT");
    h.send("CORR:CSET:DATA:FREQ 1MHz\n");  // nothing selected yet
    EXPECT_EQ(h.drainErrors(), std::vector<int>{-221});
    std::string list;
    for (int i = 1; i <= 10000; ++i) list += (i > 1 ? "," : "") + std::to_string(i) + "kHz";
    h.send("CORR:CSET:SEL 'UCOR1'\nCORR:CSET:DATA:FREQ " + list + "\nCORR:CSET:DATA:FREQ " + list + ",1kHz\n");
    EXPECT_EQ(h.drainErrors(), std::vector<int>{-223});
    EXPECT_EQ(ask(h, "CORR:CSET:DATA:FREQ:POIN?"), "10000");
    // Beyond what the parser takes: refused before anything is kept.
    h.send("CORR:CSET:DATA:POW " + list + "," + list + ",1\n");
    EXPECT_EQ(h.drainErrors(), std::vector<int>{-223});
    EXPECT_EQ(ask(h, "CORR:CSET:DATA:POW:POIN?"), "0");
}

// Each table is offered where the capability file offers it: user correction
// (bit 16) in its group's dialect, peak lists (bit 32); elsewhere -113.
class TableFamilies : public ::testing::TestWithParam<qv::sim::Profile> {};

TEST_P(TableFamilies, FollowTheCapabilityFile) {
    static const auto masks = qvsimtest::functionMasks();
    static const std::string kGeneratorGroup = " GLT GLY GLN GXB GLEF GLQ ";
    const auto& p = GetParam();
    auto it = masks.find(p.tag);
    ASSERT_NE(it, masks.end()) << p.tag;
    using C = qv::sim::Profile::Correction;
    C expected = !(it->second & 16) ? C::None
                 : kGeneratorGroup.find(" " + p.tag + " ") != std::string::npos ? C::Generator
                                                                                 : C::Transducer;
    EXPECT_EQ(p.correction, expected);
    EXPECT_EQ(p.peakList, (it->second & 32) != 0);
    Harness h(p.tag);
    h.send("CORR:CSET:SEL?\nCORR:TRAN:SEL?\nMMEM:STOR:PEAK 'C:\\List.lst'\nSENS:DDEM:FORM?\n");
    std::vector<int> errors;
    for (bool has : {expected == C::Generator, expected == C::Transducer, p.peakList, p.tag == "TKM"})
        if (!has) errors.push_back(-113);
    EXPECT_EQ(h.drainErrors(), errors);
}

INSTANTIATE_TEST_SUITE_P(AllFamilies, TableFamilies, ::testing::ValuesIn(qv::sim::allProfiles()),
                         [](const auto& info) { return info.param.tag; });

// --- analyzer transducer -----------------------------------------------------

class TransducerUnits : public ::testing::TestWithParam<const char*> {};

TEST_P(TransducerUnits, UploadIsReadBack) {
    Harness h("TKD");
    h.send(std::string("CORR:TRAN:SEL 'Probe A'\nCORR:TRAN:UNIT '") + GetParam() +
           "'\nCORR:TRAN:SCAL LOG\nCORR:TRAN:COMM 'from \"cal\" lab'\nCORR:TRAN:DATA 100,1,200,2.5\n");
    EXPECT_EQ(h.drainErrors(), std::vector<int>{});
    EXPECT_EQ(ask(h, "CORR:TRAN:SEL?;UNIT?;SCAL?;COMM?;DATA?;DATA:POIN?"),
              std::string("\"Probe A\";\"") + GetParam() + "\";LOG;\"from \"\"cal\"\" lab\";100,1,200,2.5;2");
}

INSTANTIATE_TEST_SUITE_P(Units, TransducerUnits,
                         ::testing::Values("DB", "DBM", "DBUV", "DBUV/M", "DBUA", "DBUA/M", "DBPW", "DBPT"));

class TransducerRefusals : public ::testing::TestWithParam<ListCase> {};

TEST_P(TransducerRefusals, LeaveTheTableAsItWas) {
    Harness h("TKM");
    h.send("CORR:TRAN:SEL 'T1'\nCORR:TRAN:UNIT 'DBM'\nCORR:TRAN:DATA 10,1\n");
    h.send(std::string(GetParam().command) + "\n");
    EXPECT_EQ(h.drainErrors(), std::vector<int>{GetParam().error});
    EXPECT_EQ(ask(h, GetParam().query), GetParam().answer);
}

INSTANTIATE_TEST_SUITE_P(Errors, TransducerRefusals,
                         ::testing::Values(ListCase{"CORR:TRAN:UNIT 'DBW'", "CORR:TRAN:UNIT?", "\"DBM\"", -224},
                                           ListCase{"CORR:TRAN:SCAL CUBIC", "CORR:TRAN:SCAL?", "LIN", -224},
                                           ListCase{"CORR:TRAN:DATA 100,1,200", "CORR:TRAN:DATA?", "10,1", -109},
                                           ListCase{"CORR:TRAN:DATA 100MHz,1", "CORR:TRAN:DATA?", "10,1", -131},
                                           ListCase{"CORR:TRAN:DATA 100,,200,2", "CORR:TRAN:DATA?", "10,1", -102}));

TEST(Transducer, TableLimitIs625PairsAndNoValuesClearIt) {
    Harness h("TKB");
    h.send("CORR:TRAN:SEL 'BIG'\nCORR:TRAN:DATA " + pairs(625) + "\nCORR:TRAN:DATA " + pairs(626) + "\n");
    EXPECT_EQ(h.nextError(), "-223,\"Too much data;more than 625 points\"");
    EXPECT_EQ(ask(h, "CORR:TRAN:DATA:POIN?"), "625");
    h.send("CORR:TRAN:DATA \n");
    EXPECT_EQ(h.send("CORR:TRAN:DATA:POIN?;:CORR:TRAN:DATA?;:SYST:ERR?\n"), "0;;0,\"No error\"\n");
}

// --- peak list ------------------------------------------------------------

struct PeakWindow {
    const char* profile;
    int64_t centerHz, spanHz;
    uint32_t points;
};
std::ostream& operator<<(std::ostream& os, const PeakWindow& w) { return os << w.profile << " " << w.points; }

class PeakList : public ::testing::TestWithParam<PeakWindow> {};

TEST_P(PeakList, HoldsTheTracePeaksInTheFrequencyWindow) {
    const PeakWindow& w = GetParam();
    Harness h(w.profile);
    h.send("FREQ:CENT " + std::to_string(w.centerHz) + "\nFREQ:SPAN " + std::to_string(w.spanHz) +
           "\nSYST:SIM:POIN " + std::to_string(w.points) + "\nMMEM:STOR:PEAK 'C:\\List.lst'\n");
    EXPECT_EQ(h.drainErrors(), std::vector<int>{});
    std::string a = h.send("MMEM:DATA? 'C:\\List.lst'\n");
    ASSERT_GT(a.size(), 3u);
    size_t digits = size_t(a[1] - '0');
    std::string text = a.substr(2 + digits, std::stoul(a.substr(2, digits)));
    ASSERT_EQ(text.substr(text.size() - 2), "\r\n");
    auto lines = split(text.substr(0, text.size() - 2), "\r\n");
    ASSERT_EQ(lines.size(), 9u);  // three lines a peak, no header
    double previous = 100;
    for (size_t g = 0; g < 3; ++g) {
        auto m = split(lines[3 * g], ";"), f = split(lines[3 * g + 1], ";"), l = split(lines[3 * g + 2], ";");
        ASSERT_TRUE(m.size() >= 2 && f.size() >= 2 && l.size() >= 2) << g;
        EXPECT_EQ(m[1], std::to_string(g + 1));
        EXPECT_EQ(f[1], "Hz");
        EXPECT_EQ(l[1], "dBm");
        // The level is the trace's own value at the frequency named, highest first.
        double hz = std::strtod(f[0].c_str(), nullptr), dbm = std::strtod(l[0].c_str(), nullptr);
        double x = (hz - double(w.centerHz - w.spanHz / 2)) / double(w.spanHz);
        auto index = uint32_t(std::lround(x * double(w.points - 1)));
        EXPECT_NEAR(dbm, qv::sim::traceValue(1, index, w.points), 0.006) << g;
        EXPECT_LE(dbm, previous);
        previous = dbm;
        // The strongest is the peak a quarter across, near -30 dBm.
        if (g == 0) {
            EXPECT_NEAR(hz, double(w.centerHz - w.spanHz / 4), double(w.spanHz) / 100);
            EXPECT_NEAR(dbm, -30.0, 2.0);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Windows, PeakList,
                         ::testing::Values(PeakWindow{"TKD", 1500000000, 3000000000, 1001},
                                           PeakWindow{"TKN", 100000000, 20000000, 100001}));

TEST(PeakListStore, MissingFolderIsRefusedWithoutAFile) {
    Harness h("TKD");
    h.send("MMEM:STOR:PEAK 'C:\\NoSuchFolder\\List.lst'\n");
    EXPECT_EQ(h.drainErrors(), std::vector<int>{-256});
    EXPECT_FALSE(std::filesystem::exists(h.inst->rootPath() + "/C/NoSuchFolder"));
}

// --- demodulation ------------------------------------------------------------

TEST(Demodulation, OnlyTheDemodulatorHasTheMode) {
    Harness tkm("TKM"), tkd("TKD");
    tkd.send("INST:SEL DDEM\n");
    EXPECT_EQ(tkd.drainErrors(), std::vector<int>{-224});
    EXPECT_EQ(ask(tkd, "INST:SEL?"), "SAN");
    tkm.send("INST:SEL DDEM\n");
    EXPECT_EQ(ask(tkm, "INST:SEL?"), "DDEM");
    tkm.send("SENS:DDEM:FORM 9PSK\nSENS:DDEM:FORM 'QPSK'\nSENS:DDEM:FORM MSK\n*RST\n");
    EXPECT_EQ(tkm.drainErrors(), (std::vector<int>{-224, -104}));
    EXPECT_EQ(ask(tkm, "INST?;:DDEM:FORM?"), "SAN;QPSK");
    for (std::string form : {"BPSK", "8PSK", "QAM16", "FSK"})  // 8PSK arrives as a number with a suffix
        EXPECT_EQ(ask(tkm, "SENS:DDEM:FORM " + form + ";FORM?"), form);
}

TEST(Demodulation, SummaryHas53PlausibleValues) {
    Harness h("TKM");
    h.send("INST:SEL DDEM\nFORM ASCII\n");
    auto v = numbers(ask(h, "TRACE2:DATA? TRACE2"));
    ASSERT_EQ(v.size(), 53u);
    EXPECT_TRUE(v[0] > 0 && v[0] < 10 && v[1] >= v[0]);  // EVM (Result) %, its peak no smaller
    EXPECT_NEAR(v[38], -10.0, 1.0);                      // Mean Power (Result), dBm
    EXPECT_TRUE(v[45] > 0.99 && v[45] <= 1.0);           // RHO (Result)
    EXPECT_TRUE(v[52] > 0 && v[52] < 1e-3);              // Trigger to Sync (StdDev), s
    h.send("DDEM:FORM QAM16\n");
    EXPECT_GT(numbers(ask(h, "TRAC2? TRACE2"))[0], v[0]);  // a denser constellation, larger errors
    // The test switch for a wrong count, and the binary form (53 floats).
    h.send("SYST:SIM:DDEM:COUN 52\n");
    EXPECT_EQ(numbers(ask(h, "TRACE2:DATA? TRACE2")).size(), 52u);
    h.send("SYST:SIM:DDEM:COUN DEF\nFORM REAL,32\n");
    EXPECT_EQ(h.send("TRACE2:DATA? TRACE2\n").substr(0, 5), "#3212");
    h.send("INST:SEL SAN\nFORM ASCII\n");  // outside the mode trace 2 is a trace
    EXPECT_EQ(numbers(ask(h, "TRACE2:DATA? TRACE2")).size(), 1001u);
}

}  // namespace
