// Correction tables, the stored peak list and the demodulation summary:
// what an instrument keeps from an upload, what it answers, and what it
// refuses.
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

using qvsimtest::Harness;

namespace {

std::string ask(Harness& h, const std::string& query) {
    std::string a = h.send(query + "\n");
    if (!a.empty() && a.back() == '\n') a.pop_back();
    return a;
}

std::vector<std::string> split(const std::string& text, const std::string& sep) {
    std::vector<std::string> out;
    size_t at = 0;
    for (;;) {
        size_t next = text.find(sep, at);
        out.push_back(text.substr(at, next == std::string::npos ? std::string::npos : next - at));
        if (next == std::string::npos) return out;
        at = next + sep.size();
    }
}

// "f1,l1,f2,l2,..." of n pairs.
std::string pairs(size_t n) {
    std::string s;
    for (size_t i = 0; i < n; ++i) {
        char pair[64];
        std::snprintf(pair, sizeof pair, "%s%.12g,%.12g", i ? "," : "", 1e6 + double(i) * 1234.567,
                      -double(i % 7) - 0.25);
        s += pair;
    }
    return s;
}

// --- generator user correction ---------------------------------------------

class GeneratorUpload : public ::testing::TestWithParam<const char*> {};

TEST_P(GeneratorUpload, KeepsListsInHertzAndDecibel) {
    Harness h(GetParam());
    h.send("CORR:STAT OFF\nCORR:CSET:SEL 'UCOR1'\nCORR:CSET:DATA:FREQ 100MHz,200MHz\nCORR:CSET:DATA:POW 1dB,2dB\n"
           "CORR:STAT ON\n");
    EXPECT_EQ(h.drainErrors(), std::vector<int>{});
    EXPECT_EQ(ask(h, "CORR:STAT?"), "1");
    EXPECT_EQ(ask(h, "CORR:CSET:SEL?"), "\"UCOR1\"");
    EXPECT_EQ(ask(h, "CORR:CSET:DATA:FREQ?"), "100000000,200000000");
    EXPECT_EQ(ask(h, "CORR:CSET:DATA:POW?"), "1,2");
    EXPECT_EQ(ask(h, "CORR:CSET:DATA:FREQ:POIN?"), "2");
    // Another table starts empty; the first is still there when selected again.
    h.send("CORR:CSET:SEL 'UCOR2'\n");
    EXPECT_EQ(ask(h, "CORR:CSET:DATA:FREQ:POIN?"), "0");
    h.send("CORR:CSET:SEL 'UCOR1'\n");
    EXPECT_EQ(ask(h, "CORR:CSET:DATA:POW?"), "1,2");
    h.send("*RST\n");
    EXPECT_EQ(ask(h, "CORR:STAT?"), "0");
}

INSTANTIATE_TEST_SUITE_P(Generators, GeneratorUpload, ::testing::Values("GLT", "GLY", "GLN", "GXB", "GLEF", "GLQ"));

struct ListCase {
    const char* command;  // sent after selecting a table
    const char* query;
    const char* answer;   // "" when the command is refused
    int error;
};

std::ostream& operator<<(std::ostream& os, const ListCase& c) { return os << c.command; }

class GeneratorLists : public ::testing::TestWithParam<ListCase> {};

TEST_P(GeneratorLists, UnitsAndRefusals) {
    Harness h("GLY");
    h.send("CORR:CSET:SEL 'UCOR1'\nCORR:CSET:DATA:FREQ 7\nCORR:CSET:DATA:POW 7\n");
    h.send(std::string(GetParam().command) + "\n");
    std::vector<int> expected;
    if (GetParam().error) expected.push_back(GetParam().error);
    EXPECT_EQ(h.drainErrors(), expected);
    // A refused list leaves the one before it.
    EXPECT_EQ(ask(h, GetParam().query), *GetParam().answer ? GetParam().answer : "7");
}

INSTANTIATE_TEST_SUITE_P(
    Units, GeneratorLists,
    ::testing::Values(ListCase{"CORR:CSET:DATA:FREQ 1.5GHz,2kHz,3hz,4MHZ,5", "CORR:CSET:DATA:FREQ?",
                               "1500000000,2000,3,4000000,5", 0},
                      ListCase{"CORR:CSET:DATA:POW 1.5dB,-2dBm,3dB\xB5V,4dBuV,5dB\xB5V/m,6dBuA/m,7dBpW,8dBpt,9",
                               "CORR:CSET:DATA:POW?", "1.5,-2,3,4,5,6,7,8,9", 0},
                      ListCase{"SOUR:CORR:CSET:DATA:POW 2DB", "CORR:CSET:DATA:POW?", "2", 0}));

INSTANTIATE_TEST_SUITE_P(
    Refusals, GeneratorLists,
    ::testing::Values(ListCase{"CORR:CSET:DATA:POW 1dB,,2dB", "CORR:CSET:DATA:POW?", "", -102},  // empty place
                      ListCase{"CORR:CSET:DATA:POW 1dB,", "CORR:CSET:DATA:POW?", "", -102},
                      ListCase{"CORR:CSET:DATA:POW 1dBx", "CORR:CSET:DATA:POW?", "", -131},
                      // the micro sign as UTF-8 is not the instrument's character set
                      ListCase{"CORR:CSET:DATA:POW 1dB\xC2\xB5V", "CORR:CSET:DATA:POW?", "", -131},
                      ListCase{"CORR:CSET:DATA:FREQ 1THz", "CORR:CSET:DATA:FREQ?", "", -131},
                      ListCase{"CORR:CSET:DATA:FREQ 1dB", "CORR:CSET:DATA:FREQ?", "", -131},
                      ListCase{"CORR:CSET:DATA:FREQ MAX", "CORR:CSET:DATA:FREQ?", "", -104},
                      ListCase{"CORR:CSET:DATA:FREQ", "CORR:CSET:DATA:FREQ?", "", -109},
                      ListCase{"CORR:CSET:SEL ''", "CORR:CSET:SEL?", "\"UCOR1\"", -224}));

TEST(GeneratorCorrection, ListsOfDifferentLengthsKeepTheCorrectionOff) {
    Harness h("GLN");
    h.send("CORR:CSET:SEL 'UCOR3'\nCORR:CSET:DATA:FREQ 1MHz,2MHz,3MHz\nCORR:CSET:DATA:POW 1dB,2dB\nCORR:STAT ON\n");
    EXPECT_EQ(h.nextError(), "-221,\"Settings conflict;list lengths differ\"");
    EXPECT_EQ(ask(h, "CORR:STAT?"), "0");
    h.send("CORR:CSET:DATA:POW 1dB,2dB,3dB\nCORR:STAT 1\n");
    EXPECT_EQ(h.drainErrors(), std::vector<int>{});
    EXPECT_EQ(ask(h, "CORR:STAT?"), "1");
}

TEST(GeneratorCorrection, TableSizeAndSelectionAreEnforced) {
    Harness h("GLT");
    h.send("CORR:CSET:DATA:FREQ 1MHz\n");  // nothing selected yet
    EXPECT_EQ(h.drainErrors(), std::vector<int>{-221});
    h.send("CORR:CSET:SEL 'UCOR1'\n");
    std::string list;
    for (int i = 1; i <= 10000; ++i) list += (i > 1 ? "," : "") + std::to_string(i) + "kHz";
    h.send("CORR:CSET:DATA:FREQ " + list + "\n");
    EXPECT_EQ(h.drainErrors(), std::vector<int>{});
    EXPECT_EQ(ask(h, "CORR:CSET:DATA:FREQ:POIN?"), "10000");
    h.send("CORR:CSET:DATA:FREQ " + list + ",10001kHz\n");
    EXPECT_EQ(h.drainErrors(), std::vector<int>{-223});
    EXPECT_EQ(ask(h, "CORR:CSET:DATA:FREQ:POIN?"), "10000");
    // Far beyond any table: refused while parsing, nothing kept.
    h.send("CORR:CSET:DATA:POW " + list + "," + list + ",1\n");
    EXPECT_EQ(h.drainErrors(), std::vector<int>{-223});
    EXPECT_EQ(ask(h, "CORR:CSET:DATA:POW:POIN?"), "0");
}

// The tables are offered where the capability file offers them: user
// correction (bit 16) in the dialect of the family's group, peak lists
// (bit 32) on the analyzers that have them.
class TableFamilies : public ::testing::TestWithParam<qv::sim::Profile> {};

TEST_P(TableFamilies, FollowTheCapabilityFile) {
    static const auto masks = qvsimtest::functionMasks();
    static const std::string kGeneratorGroup = " GLT GLY GLN GXB GLEF GLQ ";
    const auto& p = GetParam();
    auto it = masks.find(p.tag);
    ASSERT_NE(it, masks.end()) << p.tag;
    using C = qv::sim::Profile::Correction;
    C expected = !(it->second & 16)                                          ? C::None
                 : kGeneratorGroup.find(" " + p.tag + " ") != std::string::npos ? C::Generator
                                                                             : C::Transducer;
    EXPECT_EQ(p.correction, expected);
    EXPECT_EQ(p.peakList, (it->second & 32) != 0);
    // The commands say the same as the flags.
    Harness h(p.tag);
    h.send("CORR:CSET:SEL?\nCORR:TRAN:SEL?\nMMEM:STOR:PEAK 'C:\\List.lst'\n");
    std::vector<int> errors;
    if (expected != C::Generator) errors.push_back(-113);
    if (expected != C::Transducer) errors.push_back(-113);
    if (!p.peakList) errors.push_back(-113);
    EXPECT_EQ(h.drainErrors(), errors);
}

INSTANTIATE_TEST_SUITE_P(AllFamilies, TableFamilies, ::testing::ValuesIn(qv::sim::allProfiles()),
                         [](const auto& info) { return info.param.tag; });

// Each group knows only its own dialect; families without user correction neither.
struct Refusal {
    const char* profile;
    const char* command;
};
class ForeignDialect : public ::testing::TestWithParam<Refusal> {};

TEST_P(ForeignDialect, IsAnUndefinedHeader) {
    Harness h(GetParam().profile);
    h.send(std::string(GetParam().command) + "\n");
    EXPECT_EQ(h.drainErrors(), std::vector<int>{-113});
}

INSTANTIATE_TEST_SUITE_P(Families, ForeignDialect,
                         ::testing::Values(Refusal{"TKD", "CORR:CSET:SEL 'UCOR1'"}, Refusal{"TKD", "CORR:STAT ON"},
                                           Refusal{"GLY", "CORR:TRAN:SEL 'T1'"}, Refusal{"TKN", "CORR:TRAN:DATA 1,2"},
                                           Refusal{"KDC", "CORR:TRAN:SEL?"}, Refusal{"MYI", "CORR:CSET:SEL?"},
                                           Refusal{"GLT", "MMEM:STOR:PEAK 'C:\\List.lst'"},
                                           Refusal{"TKAH", "MMEM:STOR:PEAK 'C:\\List.lst'"},
                                           Refusal{"TKD", "SENS:DDEM:FORM QPSK"}));

// --- analyzer transducer -----------------------------------------------------

class TransducerUnits : public ::testing::TestWithParam<const char*> {};

TEST_P(TransducerUnits, UploadIsReadBack) {
    Harness h("TKD");
    h.send(std::string("CORR:TRAN:SEL 'Probe A'\nCORR:TRAN:UNIT '") + GetParam() +
           "'\nCORR:TRAN:SCAL LOG\nCORR:TRAN:COMM 'from \"cal\" lab'\nCORR:TRAN:DATA 100,1,200,2.5\n");
    EXPECT_EQ(h.drainErrors(), std::vector<int>{});
    EXPECT_EQ(ask(h, "CORR:TRAN:SEL?"), "\"Probe A\"");
    EXPECT_EQ(ask(h, "CORR:TRAN:UNIT?"), std::string("\"") + GetParam() + "\"");
    EXPECT_EQ(ask(h, "CORR:TRAN:SCAL?"), "LOG");
    EXPECT_EQ(ask(h, "CORR:TRAN:COMM?"), "\"from \"\"cal\"\" lab\"");
    EXPECT_EQ(ask(h, "CORR:TRAN:DATA?"), "100,1,200,2.5");
    EXPECT_EQ(ask(h, "CORR:TRAN:DATA:POIN?"), "2");
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

INSTANTIATE_TEST_SUITE_P(
    Errors, TransducerRefusals,
    ::testing::Values(ListCase{"CORR:TRAN:UNIT 'DBW'", "CORR:TRAN:UNIT?", "\"DBM\"", -224},
                      ListCase{"CORR:TRAN:UNIT DBM", "CORR:TRAN:UNIT?", "\"DBM\"", -104},
                      ListCase{"CORR:TRAN:SCAL CUBIC", "CORR:TRAN:SCAL?", "LIN", -224},
                      ListCase{"CORR:TRAN:DATA 100,1,200", "CORR:TRAN:DATA?", "10,1", -109},
                      ListCase{"CORR:TRAN:DATA 100MHz,1", "CORR:TRAN:DATA?", "10,1", -131},
                      ListCase{"CORR:TRAN:DATA 100,,200,2", "CORR:TRAN:DATA?", "10,1", -102},
                      ListCase{"CORR:TRAN:DATA 1,2,3,4,5,6,7,8,9,10,11,12,13,14,15,16,17,18,19,20,21,22,23,24,"
                               "25,26,27,28,29,30,31,32,33,34,35,36,37,38,39,40,41,42,43,44,45,46,47,48,49,50,"
                               "51,52,53,54,55,56,57,58,59,60,61,62,63,64,65,66,67,68,69,70,71,72,73,74,75,76,77",
                               "CORR:TRAN:DATA:POIN?", "1", -109}));

TEST(Transducer, TableLimitIs625PairsAndNoValuesClearIt) {
    Harness h("TKB");
    h.send("CORR:TRAN:DATA 1,2\n");  // nothing selected yet
    EXPECT_EQ(h.drainErrors(), std::vector<int>{-221});
    h.send("CORR:TRAN:SEL 'BIG'\nCORR:TRAN:DATA " + pairs(625) + "\n");
    EXPECT_EQ(h.drainErrors(), std::vector<int>{});
    EXPECT_EQ(ask(h, "CORR:TRAN:DATA:POIN?"), "625");
    h.send("CORR:TRAN:DATA " + pairs(626) + "\n");
    EXPECT_EQ(h.nextError(), "-223,\"Too much data;more than 625 points\"");
    EXPECT_EQ(ask(h, "CORR:TRAN:DATA:POIN?"), "625");
    h.send("CORR:TRAN:DATA \n");
    EXPECT_EQ(h.drainErrors(), std::vector<int>{});
    EXPECT_EQ(ask(h, "CORR:TRAN:DATA:POIN?"), "0");
    EXPECT_EQ(h.send("CORR:TRAN:DATA?\n"), "\n");
}

// One command of 625 pairs (about 10 kB) over both network transports.
class LargeTransducer : public ::testing::Test {
protected:
    void SetUp() override {
        qv::sim::InstrumentConfig c;
        c.profile = "TKD";
        c.socketPort = 0;
        c.vxi11 = true;
        qv::sim::SimulatorConfig cfg;
        cfg.instruments = {c};
        std::string error;
        ASSERT_TRUE(sim.start(cfg, error)) << error;
        command = "CORR:TRAN:SEL 'BIG';:CORR:TRAN:DATA " + pairs(625) + "\n";
        ASSERT_GT(command.size(), 10000u);
    }
    qv::sim::Simulator sim;
    std::string command;
};

TEST_F(LargeTransducer, OverTheSocket) {
    int fd = qvsimtest::connectTcp(sim.socketPort(0));
    ASSERT_GE(fd, 0);
    ASSERT_TRUE(qvsimtest::sendAll(fd, command + "CORR:TRAN:DATA:POIN?;:SYST:ERR?\nCORR:TRAN:DATA?\n"));
    EXPECT_EQ(qvsimtest::recvLine(fd), "625;0,\"No error\"\n");
    std::string back = qvsimtest::recvLine(fd);
    EXPECT_EQ(back, pairs(625) + "\n");
    ::close(fd);
}

TEST_F(LargeTransducer, OverVxi11) {
    qvsimtest::Vxi11Client v(sim.vxi11Port(0));
    ASSERT_TRUE(v.rpc.connected());
    int32_t lid = 0;
    ASSERT_EQ(v.createLink("inst0", lid), 0);
    uint32_t written = 0;
    ASSERT_EQ(v.write(lid, command, true, &written), 0);
    EXPECT_EQ(written, command.size());
    ASSERT_EQ(v.write(lid, "CORR:TRAN:DATA:POIN?;:SYST:ERR?\n"), 0);
    std::string data;
    uint32_t reason = 0;
    ASSERT_EQ(v.read(lid, 1024, 2000, data, reason), 0);
    EXPECT_EQ(data, "625;0,\"No error\"\n");
}

// --- peak list ------------------------------------------------------------

struct PeakFile {
    std::vector<std::string> markers;
    std::vector<double> hz, dbm;
};

// Reads the stored file by the three-line rule; fails the test on any
// deviation from the format.
PeakFile readPeakFile(const std::string& text) {
    PeakFile f;
    EXPECT_GE(text.size(), 2u);
    EXPECT_EQ(text.substr(text.size() - 2), "\r\n");
    auto lines = split(text.substr(0, text.size() - 2), "\r\n");
    EXPECT_EQ(lines.size() % 3, 0u);
    for (size_t g = 0; g + 2 < lines.size(); g += 3) {
        auto a = split(lines[g], ";"), b = split(lines[g + 1], ";"), c = split(lines[g + 2], ";");
        EXPECT_GE(a.size(), 2u);
        EXPECT_GE(b.size(), 2u);
        EXPECT_GE(c.size(), 2u);
        if (a.size() < 2 || b.size() < 2 || c.size() < 2) return f;
        EXPECT_EQ(b[1], "Hz");
        EXPECT_EQ(c[1], "dBm");
        f.markers.push_back(a[1]);
        f.hz.push_back(std::strtod(b[0].c_str(), nullptr));
        f.dbm.push_back(std::strtod(c[0].c_str(), nullptr));
    }
    return f;
}

std::string fetch(Harness& h, const std::string& name) {
    std::string a = h.send("MMEM:DATA? '" + name + "'\n");
    if (a.size() < 3 || a[0] != '#') return "";
    size_t digits = size_t(a[1] - '0');
    return a.substr(2 + digits, std::stoul(a.substr(2, digits)));
}

struct PeakWindow {
    const char* profile;
    int64_t centerHz, spanHz;
    uint32_t points;
};
std::ostream& operator<<(std::ostream& os, const PeakWindow& w) { return os << w.profile << " " << w.points; }

class PeakList : public ::testing::TestWithParam<PeakWindow> {};

TEST_P(PeakList, HoldsTheTracePeaksInTheFrequencyWindow) {
    const PeakWindow& w = GetParam();
    qv::sim::InstrumentOptions o;
    o.seedFiles = false;
    Harness h(w.profile, o);
    h.send("FREQ:CENT " + std::to_string(w.centerHz) + "\nFREQ:SPAN " + std::to_string(w.spanHz) +
           "\nSYST:SIM:POIN " + std::to_string(w.points) + "\nMMEM:STOR:PEAK 'C:\\List.lst'\n");
    EXPECT_EQ(h.drainErrors(), std::vector<int>{});
    PeakFile f = readPeakFile(fetch(h, "C:\\List.lst"));
    ASSERT_EQ(f.markers.size(), 3u);
    auto peaks = qv::sim::tracePeaks(1, w.points);
    ASSERT_EQ(peaks.size(), 3u);
    for (size_t i = 0; i < f.markers.size(); ++i) {
        EXPECT_EQ(f.markers[i], std::to_string(i + 1));
        // The level is the trace's own value at the frequency named.
        double x = (f.hz[i] - double(w.centerHz - w.spanHz / 2)) / double(w.spanHz);
        auto index = uint32_t(std::lround(x * double(w.points - 1)));
        EXPECT_NEAR(f.dbm[i], qv::sim::traceValue(1, index, w.points), 0.006) << i;
        if (i) {
            EXPECT_LE(f.dbm[i], f.dbm[i - 1]);
        }
    }
    // The strongest peak is the one a quarter across, near -30 dBm.
    EXPECT_NEAR(f.hz[0], double(w.centerHz - w.spanHz / 4), double(w.spanHz) / 100);
    EXPECT_NEAR(f.dbm[0], -30.0, 2.0);
}

INSTANTIATE_TEST_SUITE_P(Windows, PeakList,
                         ::testing::Values(PeakWindow{"TKD", 1500000000, 3000000000, 1001},
                                           PeakWindow{"TKM", 100000000, 20000000, 625},
                                           PeakWindow{"TKN", 2000000000, 1000000000, 100001},
                                           PeakWindow{"KDX", 500000000, 1000000, 401}));

TEST(PeakListStore, MissingFolderIsRefusedWithoutAFile) {
    qv::sim::InstrumentOptions o;
    o.seedFiles = false;
    Harness h("TKD", o);
    h.send("MMEM:STOR:PEAK 'C:\\NoSuchFolder\\List.lst'\n");
    auto errors = h.drainErrors();
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_EQ(errors[0], -256);
    EXPECT_FALSE(std::filesystem::exists(h.inst->rootPath() + "/C/NoSuchFolder"));
    h.send("MMEM:STOR:PEAK\n");
    EXPECT_EQ(h.drainErrors(), std::vector<int>{-109});
}

// --- demodulation ------------------------------------------------------------

TEST(Demodulation, OnlyTheDemodulatorHasTheMode) {
    Harness tkm("TKM"), tkd("TKD");
    tkm.send("INST:SEL DDEM\n");
    EXPECT_EQ(ask(tkm, "INST:SEL?"), "DDEM");
    tkd.send("INST:SEL DDEM\n");
    EXPECT_EQ(tkd.drainErrors(), std::vector<int>{-224});
    EXPECT_EQ(ask(tkd, "INST:SEL?"), "SAN");
    tkm.send("SENS:DDEM:FORM MSK\n*RST\n");
    EXPECT_EQ(ask(tkm, "INST?"), "SAN");
    EXPECT_EQ(ask(tkm, "DDEM:FORM?"), "QPSK");
}

class DemodulationForms : public ::testing::TestWithParam<const char*> {};

TEST_P(DemodulationForms, AreKeptAndRead) {
    Harness h("TKM");
    h.send(std::string("SENS:DDEM:FORM ") + GetParam() + "\n");
    EXPECT_EQ(h.drainErrors(), std::vector<int>{});
    EXPECT_EQ(ask(h, "SENS:DDEM:FORM?"), GetParam());
}

INSTANTIATE_TEST_SUITE_P(Forms, DemodulationForms,
                         ::testing::Values("QPSK", "BPSK", "8PSK", "QAM16", "MSK", "FSK", "OQPSK"));

TEST(Demodulation, UnknownFormsAreRefused) {
    Harness h("TKM");
    h.send("SENS:DDEM:FORM 9PSK\nSENS:DDEM:FORM QAM17\nSENS:DDEM:FORM 'QPSK'\n");
    EXPECT_EQ(h.drainErrors(), (std::vector<int>{-224, -224, -104}));
    EXPECT_EQ(ask(h, "SENS:DDEM:FORM?"), "QPSK");
}

std::vector<double> numbers(const std::string& answer) {
    std::vector<double> out;
    for (const auto& field : split(answer, ",")) {
        char* end = nullptr;
        out.push_back(std::strtod(field.c_str(), &end));
        EXPECT_TRUE(end && *end == '\0' && !field.empty()) << "'" << field << "'";
    }
    return out;
}

TEST(Demodulation, SummaryHas53PlausibleValues) {
    Harness h("TKM");
    h.send("INST:SEL DDEM\nFORM ASCII\n");
    auto v = numbers(ask(h, "TRACE2:DATA? TRACE2"));
    ASSERT_EQ(v.size(), 53u);
    EXPECT_GT(v[0], 0.0);             // EVM (Result), percent
    EXPECT_LT(v[0], 10.0);
    EXPECT_GE(v[1], v[0]);            // the peak is no smaller
    EXPECT_NEAR(v[38], -10.0, 1.0);   // Mean Power (Result), dBm
    EXPECT_GT(v[45], 0.99);           // RHO (Result)
    EXPECT_LE(v[45], 1.0);
    EXPECT_GT(v[52], 0.0);            // Trigger to Sync (StdDev), seconds
    EXPECT_LT(v[52], 1e-3);
    // A coarser modulation shows larger errors.
    h.send("DDEM:FORM QAM16\n");
    auto q = numbers(ask(h, "TRAC2? TRACE2"));
    ASSERT_EQ(q.size(), 53u);
    EXPECT_GT(q[0], v[0]);
    // Outside the mode trace 2 is a trace again.
    h.send("INST:SEL SAN\n");
    EXPECT_EQ(numbers(ask(h, "TRACE2:DATA? TRACE2")).size(), 1001u);
}

TEST(Demodulation, TestSwitchChangesTheValueCount) {
    Harness h("TKM");
    h.send("INST:SEL DDEM\nSYST:SIM:DDEM:COUN 52\n");
    EXPECT_EQ(ask(h, "SYST:SIM:DDEM:COUN?"), "52");
    EXPECT_EQ(numbers(ask(h, "TRACE2:DATA? TRACE2")).size(), 52u);
    h.send("SYST:SIM:DDEM:COUN 54\n");
    EXPECT_EQ(numbers(ask(h, "TRACE2:DATA? TRACE2")).size(), 54u);
    h.send("SYST:SIM:DDEM:COUN 0\n");
    EXPECT_EQ(h.send("TRACE2:DATA? TRACE2\n"), "\n");
    // Binary format: 53 floats in a block.
    h.send("SYST:SIM:DDEM:COUN DEF\nFORM REAL,32\n");
    EXPECT_EQ(h.send("TRACE2:DATA? TRACE2\n").substr(0, 5), "#3212");
}

}  // namespace
