// The oscilloscopes on the raw protocol: headers and waveforms of both
// dialects, peak detect, math definitions and the spectrum source, the
// record length up to a million points, and fast NR3 text.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "sim/scope_data.h"
#include "sim/value_stream.h"
#include "sim_harness.h"

using qvsimtest::ask;
using qvsimtest::blockFloats;
using qvsimtest::Harness;
using qvsimtest::split;

namespace {

std::vector<double> numbers(const std::string& a) {
    std::vector<double> out;
    for (const auto& s : split(a, ",")) out.push_back(std::strtod(s.c_str(), nullptr));
    return out;
}

// --- headers -------------------------------------------------------------------

struct HeaderCase {
    const char* profile;
    const char* setup;
    const char* query;
    const char* header;
};
std::ostream& operator<<(std::ostream& os, const HeaderCase& c) { return os << c.profile << " " << c.setup; }

class Headers : public ::testing::TestWithParam<HeaderCase> {};
TEST_P(Headers, DescribeTheRecord) {
    const auto& c = GetParam();
    Harness h(c.profile);
    h.send(std::string(c.setup) + "\n");
    EXPECT_TRUE(h.drainErrors().empty());
    EXPECT_EQ(ask(h, c.query), c.header);
}
INSTANTIATE_TEST_SUITE_P(
    Scopes, Headers,
    ::testing::Values(
        HeaderCase{"MYI", "*CLS", "CHAN1:WAV1:DATA:HEAD?", "-5.0000E-04,5.0000E-04,10000,1"},
        HeaderCase{"MYK", "TIM:SCAL 2E-3;:ACQ:POIN 500", "CHAN1:WAV1:DATA:HEAD?", "-1.0000E-02,1.0000E-02,500,1"},
        HeaderCase{"MYE", "CHAN2:STAT ON", "CHAN2:DATA:HEAD?", "-5.0000E-04,5.0000E-04,10000,1"},
        HeaderCase{"MYE", "CHAN2:STAT ON;:CHAN2:TYPE PDET", "CHAN2:DATA:HEAD?", "-5.0000E-04,5.0000E-04,5000,2"},
        // Time math over the channels' axis; the spectrum from 0 to points / record / 2.
        HeaderCase{"MYI", "CALC:MATH1:STAT 1", "CALC:MATH1:DATA:HEAD?", "-5.0000E-04,5.0000E-04,10000,1"},
        HeaderCase{"MYI", "CALC:MATH2:STAT 1", "CALC:MATH2:DATA:HEAD?", "0,5.0000E+06,10000,1"},
        HeaderCase{"MYE", "CALC:MATH2:STAT 1;:ACQ:POIN 2000", "CALC:MATH2:DATA:HEAD?", "0,1.0000E+06,2000,1"},
        HeaderCase{"MYI", "CALC:MATH3:STAT 1", "CALC:MATH3:DATA:HEAD?", "0,0,10000,1"}));

TEST(ScopeData, ChannelsThatAreOffGiveNoWaveform) {
    Harness h("MYI");
    EXPECT_EQ(ask(h, "CHAN2:STAT?"), "0");
    EXPECT_EQ(h.send("CHAN2:WAV1:DATA?\n"), "");
    EXPECT_EQ(h.drainErrors(), std::vector<int>{-221});
    EXPECT_EQ(ask(h, "CHAN2:STAT 1;*OPC?"), "1");
    EXPECT_EQ(ask(h, "CHAN2:STAT?"), "1");
    EXPECT_EQ(numbers(ask(h, "CHAN2:WAV1:DATA?")).size(), 10000u);
}

TEST(ScopeData, UndefinedMathHasZerosAndTheOthersTheirShapes) {
    Harness h("MYI");
    h.send("FORM REAL,32;:CALC:MATH1:STAT 1;:CALC:MATH2:STAT 1;:CALC:MATH3:STAT 1\n");
    auto zeros = blockFloats(ask(h, "CALC:MATH3:DATA?"));
    ASSERT_EQ(zeros.size(), 10000u);
    for (float v : zeros) ASSERT_EQ(v, 0.0f);
    // CH1 + CH2: a 1 V sine on a 0.5 V square.
    auto sum = blockFloats(ask(h, "CALC:MATH1:DATA?"));
    ASSERT_EQ(sum.size(), 10000u);
    float hi = *std::max_element(sum.begin(), sum.end()), lo = *std::min_element(sum.begin(), sum.end());
    EXPECT_NEAR(hi, 1.5, 0.1);
    EXPECT_NEAR(lo, -1.5, 0.1);
    // FFTMAG(CH1): the peak at 5 kHz, +10 dBm, over a floor far below.
    auto spectrum = blockFloats(ask(h, "CALC:MATH2:DATA?"));
    ASSERT_EQ(spectrum.size(), 10000u);
    size_t peak = size_t(std::max_element(spectrum.begin(), spectrum.end()) - spectrum.begin());
    double hzPerPoint = 5e6 / 9999;
    EXPECT_NEAR(double(peak) * hzPerPoint, 5e3, 1.5 * hzPerPoint);
    EXPECT_NEAR(spectrum[peak], 10, 1);
    EXPECT_NEAR(spectrum[5000], -90, 5);
    // The second harmonic stands out of the floor.
    EXPECT_GT(spectrum[size_t(std::lround(10e3 / hzPerPoint))], -50);
}

TEST(ScopeData, MathDefinitionsReadBackAndRefuseNonsense) {
    Harness h("MYE");
    EXPECT_EQ(ask(h, "CALC:MATH1?"), "\"CH1+CH2\"");
    EXPECT_EQ(ask(h, "CALC:MATH2?"), "\"FFTMAG(CH1)\"");
    EXPECT_EQ(ask(h, "CALC:MATH3?"), "\"\"");
    EXPECT_EQ(ask(h, "CALC:MATH4?"), "\"CH1*CH2\"");
    h.send("CALC:MATH3 \"fft(ch3)\"\n");
    EXPECT_EQ(ask(h, "CALC:MATH3?"), "\"fft(ch3)\"");
    h.send("CALC:MATH3:STAT ON;:ACQ:POIN 1000\n");
    EXPECT_EQ(ask(h, "CALC:MATH3:DATA:HEAD?"), "0,5.0000E+05,1000,1");
    h.send("CALC:MATH3 \"CH5+CH1\"\n");
    EXPECT_EQ(h.drainErrors(), std::vector<int>{-224});
    EXPECT_EQ(ask(h, "CALC:MATH3?"), "\"fft(ch3)\"");
}

// --- values and formats ------------------------------------------------------

TEST(ScopeData, TextFamilyAnswersTextWhateverTheFormat) {
    Harness h("MYE");
    h.send("FORM REAL,32;:CHAN1:TYPE PDET\n");
    std::string a = ask(h, "CHAN1:DATA?");
    ASSERT_FALSE(a.empty());
    EXPECT_NE(a[0], '#');
    auto v = numbers(a);
    ASSERT_EQ(v.size(), 10000u);  // 5000 (min, max) pairs
    for (size_t i = 0; i < v.size(); i += 2) ASSERT_LE(v[i], v[i + 1]) << i;
    EXPECT_NEAR(*std::max_element(v.begin(), v.end()), 1.0, 0.05);
    for (const auto& s : split(a.substr(0, 200), ",")) EXPECT_EQ(s.find_first_not_of("+-.0123456789E"), std::string::npos) << s;
}

TEST(ScopeData, MillionPointRecordStreamsWhole) {
    Harness h("MYI");
    h.send("ACQ:POIN 1000000;:FORM REAL,32\n");
    EXPECT_EQ(ask(h, "ACQ:POIN?"), "1000000");
    auto v = blockFloats(ask(h, "CHAN1:WAV1:DATA?"));
    ASSERT_EQ(v.size(), 1000000u);
    // The sine: 5 periods over the record, so 10 crossings of the 0.2 V bands.
    int crossings = 0;
    bool high = v[0] > 0;
    for (float x : v)
        if (high ? x < -0.2f : x > 0.2f) {
            high = !high;
            ++crossings;
        }
    EXPECT_NEAR(crossings, 10, 1);
    h.send("ACQ:POIN 1000001\n");
    EXPECT_EQ(h.drainErrors(), std::vector<int>{-222});
    h.send("SYST:SIM:POIN 3000000\n");  // the record reaches only so far
    EXPECT_EQ(ask(h, "ACQ:POIN?"), "1000000");
}

TEST(ScopeFamilies, OthersRefuseScopeCommands) {
    for (const char* profile : {"TKD", "KDC", "GLN"}) {
        Harness h(profile);
        for (const char* q : {"CHAN1:STAT?", "CALC:MATH1?", "ACQ:POIN?", "CHAN1:WAV1:DATA:HEAD?"}) {
            EXPECT_EQ(h.send(std::string(q) + "\n"), "") << profile << " " << q;
            EXPECT_EQ(h.drainErrors(), std::vector<int>{-113}) << profile << " " << q;
        }
    }
    // Each scope answers only its own waveform commands.
    Harness binary("MYI"), text("MYE");
    EXPECT_EQ(binary.send("CHAN1:DATA?\n"), "");
    EXPECT_EQ(text.send("CHAN1:WAV1:DATA?\n"), "");
    EXPECT_EQ(binary.drainErrors(), std::vector<int>{-113});
    EXPECT_EQ(text.drainErrors(), std::vector<int>{-113});
}

// --- NR3 text ------------------------------------------------------------------

TEST(Nr3, ReadsBackAsTheValueToSevenDigits) {
    std::mt19937 random(7);
    std::uniform_real_distribution<double> exponent(-40, 38), mantissa(-1, 1);
    char text[qv::sim::kNr3Width + 1] = {};
    for (int i = 0; i < 200000; ++i) {
        float v = float(mantissa(random) * std::pow(10.0, exponent(random)));
        qv::sim::writeNr3(double(v), text);
        char reference[32];
        std::snprintf(reference, sizeof reference, "%+.6E", double(v));
        ASSERT_EQ(std::strlen(reference), qv::sim::kNr3Width);
        if (std::strcmp(text, reference) == 0) continue;
        // Only a tie in the eighth digit may round the other way.
        double mine = std::strtod(text, nullptr), exact = double(v);
        double unit = std::pow(10.0, std::floor(std::log10(std::fabs(exact))) - 6);
        ASSERT_LE(std::fabs(mine - exact), 0.5 * unit * (1 + 1e-9)) << text << " vs " << reference;
    }
    for (double v : {0.0, -0.0, 1.0, -1.0, 9.9999996, 1e-45, -3.4e38}) {
        std::snprintf(text, sizeof text, "%s", "");
        qv::sim::writeNr3(v, text);
        char reference[32];
        std::snprintf(reference, sizeof reference, "%+.6E", v == 0 ? 0.0 : v);
        EXPECT_STREQ(text, reference);
    }
}

}  // namespace
