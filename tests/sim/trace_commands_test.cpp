// What the trace readers meet on the raw protocol: spectra, zero-span
// bursts, the handheld's extra value, phase-noise text, FM deviation and
// the audio analyzers' volts, with the settings that shape them. The
// receiver's stored trace file is read end to end in the trace tests.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "sim/trace_data.h"
#include "sim_harness.h"

using qvsimtest::ask;
using qvsimtest::Harness;
using qvsimtest::split;

namespace {

// The payload of a definite block answer ("#<n><len><bytes>\n"); empty and
// a test failure when the answer is no such block.
std::string blockPayload(const std::string& a) {
    if (a.size() < 3 || a[0] != '#' || a[1] < '1' || a[1] > '9') {
        ADD_FAILURE() << "not a block: " << a.substr(0, 40);
        return {};
    }
    size_t digits = size_t(a[1] - '0');
    size_t length = std::stoul(a.substr(2, digits));
    if (a.size() != 2 + digits + length + 1 || a.back() != '\n') {
        ADD_FAILURE() << "block of " << length << " bytes in an answer of " << a.size();
        return {};
    }
    return a.substr(2 + digits, length);
}

std::vector<float> floats(const std::string& a) {
    std::string payload = blockPayload(a);
    EXPECT_EQ(payload.size() % 4, 0u);
    std::vector<float> out(payload.size() / 4);
    for (size_t i = 0; i < out.size(); ++i) {
        const auto* b = reinterpret_cast<const uint8_t*>(payload.data() + 4 * i);
        uint32_t bits = uint32_t(b[0]) | uint32_t(b[1]) << 8 | uint32_t(b[2]) << 16 | uint32_t(b[3]) << 24;
        std::memcpy(&out[i], &bits, 4);
    }
    return out;
}

// --- zero span --------------------------------------------------------------

struct ModeCase {
    const char* profile;
    const char* mode;
};
std::ostream& operator<<(std::ostream& os, const ModeCase& m) { return os << m.profile << " " << m.mode; }

class ZeroSpan : public ::testing::TestWithParam<ModeCase> {};

TEST_P(ZeroSpan, BurstFillsTheMiddleThirdOverTheNoiseFloor) {
    Harness h(GetParam().profile);
    h.send(std::string("INST ") + GetParam().mode + "\nFREQ:CENT 935000000\nFREQ:SPAN 0\nSYST:SIM:POIN 601\n");
    EXPECT_EQ(ask(h, "FREQ:STAR?;STOP?;CENT?"), "935000000;935000000;935000000");
    h.send("FORM REAL,32\n");
    auto v = floats(h.send("TRAC? TRACE1\n"));
    ASSERT_EQ(v.size(), 601u);
    for (size_t i = 0; i < v.size(); ++i) {
        double x = double(i) / 600;
        if (x > 0.36 && x < 0.64) {
            EXPECT_GT(v[i], -25.0f) << i;  // flat top near -20 dBm
        } else if (x < 0.32 || x > 0.68) {
            EXPECT_LT(v[i], -80.0f) << i;  // the floor
        }
    }
    EXPECT_EQ(h.drainErrors(), std::vector<int>{});
}

INSTANTIATE_TEST_SUITE_P(Analyzers, ZeroSpan,
                         ::testing::Values(ModeCase{"TKD", "SAN"}, ModeCase{"VHJO", "REC"}, ModeCase{"TKB", "CATV"},
                                           ModeCase{"TKW", "SAN"}));

// --- trace length -------------------------------------------------------------

struct LengthCase {
    const char* profile;
    const char* query;
    uint32_t points;
    size_t values;
};
std::ostream& operator<<(std::ostream& os, const LengthCase& c) { return os << c.profile << " " << c.query; }

class TraceLength : public ::testing::TestWithParam<LengthCase> {};

TEST_P(TraceLength, ValuesPerQuery) {
    const auto& p = GetParam();
    Harness h(p.profile);
    h.send("SENS:SWE:POIN " + std::to_string(p.points) + "\nFORM REAL,32\n");
    EXPECT_EQ(ask(h, "SYST:SIM:POIN?;:SWE:POIN?"), std::to_string(p.points) + ";" + std::to_string(p.points));
    auto v = floats(h.send(std::string(p.query) + "\n"));
    EXPECT_EQ(v.size(), p.values);
    h.send("FORM ASC\n");
    EXPECT_EQ(split(ask(h, p.query), ",").size(), p.values);
}

INSTANTIATE_TEST_SUITE_P(Families, TraceLength,
                         ::testing::Values(LengthCase{"TKG", "TRAC:DATA?", 631, 632},
                                           LengthCase{"TKG", "TRAC? TRACE1", 631, 632},
                                           LengthCase{"TKD", "TRAC? TRACE2", 631, 631},
                                           LengthCase{"DOF", "TRAC? TRACE", 631, 631},
                                           LengthCase{"VHJO", "TRAC:DATA?", 1, 1}));

TEST(TraceLength, MillionPointTraceStreams) {
    Harness h("TKD");
    h.send("FORM REAL;:SWE:POIN 1000000\n");
    h.send("TRAC? TRACE1\n");
    const auto& r = h.last.data;
    ASSERT_EQ(r.size(), 2 + 7 + 4000000u + 1);
    bool generated = false;
    for (const auto& piece : r.pieces()) generated = generated || piece.kind == qv::sim::Piece::Kind::Generated;
    EXPECT_TRUE(generated);
    float v = 0;
    ASSERT_EQ(r.copyOut(9 + 4 * 999999, reinterpret_cast<uint8_t*>(&v), 4), 4u);
    EXPECT_EQ(v, qv::sim::traceValue(1, 999999, 1000000));
    h.send("SWE:POIN 0\nSWE:POIN 50000001\n");
    EXPECT_EQ(h.drainErrors(), (std::vector<int>{-222, -222}));
}

// --- phase noise --------------------------------------------------------------

class PhaseNoise : public ::testing::TestWithParam<uint32_t> {};

TEST_P(PhaseNoise, TextPairsOfLogSpacedOffsetsAndFallingNoise) {
    uint32_t points = GetParam();
    Harness h("TKD");
    // The format does not matter: the answer is text.
    h.send("INST PNO\nFORM REAL,32\nSYST:SIM:POIN " + std::to_string(points) + "\n");
    std::string a = ask(h, "TRAC? TRACE1");
    EXPECT_LE(a.size(), 100000u);
    auto fields = split(a, ",");
    ASSERT_EQ(fields.size() % 2, 0u);
    size_t pairs = fields.size() / 2;
    EXPECT_EQ(pairs, std::min<size_t>(points, 3571));
    std::vector<double> x, y;
    for (size_t i = 0; i < fields.size(); ++i) {
        char* end = nullptr;
        double v = std::strtod(fields[i].c_str(), &end);
        ASSERT_TRUE(*end == '\0' && fields[i].find('.') != std::string::npos) << fields[i];
        (i % 2 ? y : x).push_back(v);
    }
    EXPECT_NEAR(x.front(), 10, 1e-5);
    EXPECT_NEAR(x.back(), 1e7, 1);
    // Log spacing: a constant ratio between neighbours.
    double ratio = x[1] / x[0];
    for (size_t i = 1; i < x.size(); ++i) EXPECT_NEAR(x[i] / x[i - 1], ratio, ratio * 1e-5) << i;
    EXPECT_GT(y.front(), -85);
    EXPECT_LT(y.back(), -140);
    EXPECT_GT(y.front() - y.back(), 60);
    EXPECT_EQ(h.drainErrors(), std::vector<int>{});
}

INSTANTIATE_TEST_SUITE_P(Lengths, PhaseNoise, ::testing::Values(101u, 1001u, 3571u, 10001u));

// --- FM demodulation ---------------------------------------------------------

struct DemodCase {
    const char* profile;
    const char* mode;  // nullptr: the power-on mode
    bool answers;
};
std::ostream& operator<<(std::ostream& os, const DemodCase& c) {
    return os << c.profile << " " << (c.mode ? c.mode : "-");
}

class FmResult : public ::testing::TestWithParam<DemodCase> {};

TEST_P(FmResult, AnsweredOnlyInTheDemodulationMode) {
    const auto& p = GetParam();
    Harness h(p.profile);
    if (p.mode) h.send(std::string("INST ") + p.mode + "\n");
    h.send("FORM REAL,32\nSYST:SIM:POIN 800\n");
    std::string a = h.send("ADEM:FM:RES? WRIT\n");
    if (!p.answers) {
        EXPECT_EQ(a, "");
        EXPECT_EQ(h.drainErrors(), std::vector<int>{-113});
        return;
    }
    auto v = floats(a);
    ASSERT_EQ(v.size(), 800u);
    auto [lo, hi] = std::minmax_element(v.begin(), v.end());
    EXPECT_TRUE(*hi > 20e3f && *hi < 30e3f && *lo < -20e3f) << *lo << " " << *hi;
    // A few periods of a sine: it rises through -1 kHz a few times.
    int crossings = 0;
    for (size_t i = 1; i < v.size(); ++i) crossings += (v[i - 1] < -1e3f && v[i] >= -1e3f);
    EXPECT_TRUE(crossings >= 3 && crossings <= 5) << crossings;
    EXPECT_EQ(h.drainErrors(), std::vector<int>{});
}

INSTANTIATE_TEST_SUITE_P(Modes, FmResult,
                         ::testing::Values(DemodCase{"TKD", "ADEM", true}, DemodCase{"TKW", "ADEM", true},
                                           DemodCase{"TKD", nullptr, false}, DemodCase{"TKD", "PNO", false},
                                           DemodCase{"GLN", nullptr, false}));

// --- level units ----------------------------------------------------------------

struct UnitCase {
    const char* word;
    double (*fromDbm)(double);
};
std::ostream& operator<<(std::ostream& os, const UnitCase& c) { return os << c.word; }

class LevelUnits : public ::testing::TestWithParam<UnitCase> {};

TEST_P(LevelUnits, ScaleTheTraceValues) {
    const auto& p = GetParam();
    Harness h("TKD");
    h.send(std::string("CALC:UNIT:POW ") + p.word + "\nFORM REAL,32\nSYST:SIM:POIN 1001\n");
    EXPECT_EQ(ask(h, "CALC:UNIT:POW?;:UNIT:POW?"), std::string(p.word) + ";" + p.word);
    auto v = floats(h.send("TRAC? TRACE1\n"));
    ASSERT_EQ(v.size(), 1001u);
    for (uint32_t i : {0u, 250u, 700u}) {
        double expected = p.fromDbm(qv::sim::traceValue(1, i, 1001));
        EXPECT_NEAR(v[i], expected, std::abs(expected) * 1e-4 + 1e-4) << i;
    }
    EXPECT_EQ(h.drainErrors(), std::vector<int>{});
}

INSTANTIATE_TEST_SUITE_P(
    Words, LevelUnits,
    ::testing::Values(UnitCase{"DBM", [](double d) { return d; }},
                      UnitCase{"DBUV", [](double d) { return d + 20 * std::log10(std::sqrt(0.05) / 1e-6); }},
                      UnitCase{"WATT", [](double d) { return 1e-3 * std::pow(10, d / 10); }},
                      UnitCase{"VOLT", [](double d) { return std::sqrt(50 * 1e-3 * std::pow(10, d / 10)); }},
                      UnitCase{"DBPW", [](double d) { return d + 90; }}));

// --- display settings -------------------------------------------------------------

struct SettingCase {
    const char* set;
    const char* query;
    const char* answer;
    std::vector<int> errors;
};
std::ostream& operator<<(std::ostream& os, const SettingCase& c) { return os << c.set; }

class DisplaySettings : public ::testing::TestWithParam<SettingCase> {};

TEST_P(DisplaySettings, SetAndAsk) {
    const auto& p = GetParam();
    Harness h("TKW");
    h.send(std::string(p.set) + "\n");
    EXPECT_EQ(h.drainErrors(), p.errors);
    EXPECT_EQ(ask(h, p.query), p.answer);
}

INSTANTIATE_TEST_SUITE_P(
    Analyzer, DisplaySettings,
    ::testing::Values(
        SettingCase{"", "DISP:TRAC1:STAT?;:DISP:TRAC2:STAT?;:DISP:TRAC3:STAT?;:DISP:TRAC6:STAT?", "1;1;0;0", {}},
        SettingCase{"DISP:TRAC3:STAT ON;:DISP:TRAC1:STAT 0", "DISPlay:TRACe1:STATe?;:DISPlay:TRACe3:STATe?",
                    "0;1", {}},
        SettingCase{"DISP:TRAC7:STAT ON", "DISP:TRAC6?", "0", {-114}},
        SettingCase{"", "DISP:TRAC:X:SPAC?", "LIN", {}},
        SettingCase{"DISP:TRAC:X:SPAC LOGarithmic", "DISP:TRAC:X:SPAC?", "LOG", {}},
        SettingCase{"DISP:WIND:TRAC:X:SCAL:SPAC AUTO", "DISP:TRAC:X:SPAC?", "AUTO", {}},
        SettingCase{"DISP:TRAC:X:SPAC QUAD", "DISP:TRAC:X:SPAC?", "LIN", {-224}},
        SettingCase{"", "SENS:SWE:TIME?;:SWE:TIME?", "0.02;0.02", {}},
        SettingCase{"SWE:TIME 5ms", "SENS:SWE:TIME?", "0.005", {}},
        SettingCase{"SWE:TIME 0", "SWE:TIME?", "0.02", {-222}},
        SettingCase{"FREQ:STAR 100;STOP 1000001", "FREQ:CENT?;SPAN?", "500050;999901", {}},
        SettingCase{"FREQ:STAR 100;STOP 1000001;CENT 2000000", "FREQ:STAR?;STOP?;SPAN?",
                    "1500050;2499951;999901", {}},
        SettingCase{"FREQ:STOP 5000;STAR 9000", "FREQ:STAR?;STOP?", "9000;9000", {}},
        SettingCase{"UNIT:POW DBUA_M", "CALC:UNIT:POW?", "DBUA_M", {}},
        SettingCase{"CALC:UNIT:POW HZ", "UNIT:POW?", "DBM", {-224}},
        SettingCase{"UNIT:POW VOLT;:DISP:TRAC3 ON;:SWE:TIME 1;*RST", "UNIT:POW?;:DISP:TRAC3?;:SWE:TIME?",
                    "DBM;0;0.02", {}}));

// --- audio analyzers ---------------------------------------------------------------

class AudioAnalyzer : public ::testing::TestWithParam<const char*> {};

TEST_P(AudioAnalyzer, SpectrumInPositiveVoltsWithTheToneAtPlusThirteenDbm) {
    Harness h(GetParam());
    EXPECT_EQ(ask(h, "SENS:UNIT?"), "V");
    EXPECT_EQ(ask(h, "CALC:TRAN:FREQ:STAR?;STOP?"), "20;20000");
    h.send("FORM REAL\nSYST:SIM:POIN 2001\n");
    auto v = floats(h.send("TRAC? TRACE\n"));
    ASSERT_EQ(v.size(), 2001u);
    EXPECT_TRUE(std::all_of(v.begin(), v.end(), [](float x) { return x > 0; }));
    auto top = std::max_element(v.begin(), v.end());
    // 1 V into 50 ohms is +13 dBm; the noise of the simulation moves it a little.
    double dbm = 10 * std::log10(double(*top) * double(*top) / 50 * 1000);
    EXPECT_NEAR(dbm, 13, 1.5);
    double hz = 20 + 19980.0 * double(top - v.begin()) / 2000;
    EXPECT_NEAR(hz, 1000, 30);
    EXPECT_LT(v.back(), 1e-4f);  // the floor, far from every line

    // Equal edges: a level over time.
    h.send("CALC:TRAN:FREQ:STOP 20\n");
    EXPECT_EQ(ask(h, "CALC:TRAN:FREQ:STAR?;STOP?"), "20;20");
    auto t = floats(h.send("TRAC? TRACE\n"));
    ASSERT_EQ(t.size(), 2001u);
    EXPECT_TRUE(std::all_of(t.begin(), t.end(), [](float x) { return x > 0.3f && x < 0.7f; }));
    EXPECT_EQ(ask(h, "*ERR?"), "0");
}

TEST_P(AudioAnalyzer, ShortErrorQueryTakesOneCodeAtATime) {
    Harness h(GetParam());
    h.send("SYST:SIM:ERR -222\nSENS:UNIT PARSEC\n");
    EXPECT_EQ(ask(h, "*ERR?"), "-222");
    EXPECT_EQ(ask(h, "*ERR?"), "-224");
    EXPECT_EQ(ask(h, "*ERR?"), "0");
    h.send("SYST:SIM:ERR -200\n");
    EXPECT_EQ(h.nextError(), "-200,\"Execution error\"");
}

INSTANTIATE_TEST_SUITE_P(Families, AudioAnalyzer, ::testing::Values("DOF", "DOC"));

// The commands of one kind of instrument are unknown headers on others.
class ForeignCommands : public ::testing::TestWithParam<std::pair<const char*, const char*>> {};

TEST_P(ForeignCommands, AreUndefinedHeaders) {
    Harness h(GetParam().first);
    EXPECT_EQ(h.send(std::string(GetParam().second) + "\n"), "");
    EXPECT_EQ(h.drainErrors(), std::vector<int>{-113});
}

INSTANTIATE_TEST_SUITE_P(Families, ForeignCommands,
                         ::testing::Values(std::pair{"TKD", "*ERR?"}, std::pair{"TKD", "SENS:UNIT?"},
                                           std::pair{"DOF", "CALC:UNIT:POW?"}, std::pair{"GLN", "SWE:TIME?"},
                                           std::pair{"KDC", "DISP:TRAC1:STAT?"},
                                           std::pair{"MYI", "MMEM:STOR:TRAC 1,'T.ASC'"}));

}  // namespace
