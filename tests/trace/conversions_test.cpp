// Number texts in either decimal mark, the unit words, and the trace text.
#include "app/numeric.h"
#include "trace/ascii_trace.h"
#include "trace/trace.h"
#include "test_support.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <random>
#include <sstream>

namespace {

using qv::trace::ConvertDBL;

struct ConvertCase {
    const char* text;
    double point;  // on a system whose mark is "."
    double comma;  // on a system whose mark is ","
};

std::ostream& operator<<(std::ostream& os, const ConvertCase& c) { return os << '"' << c.text << '"'; }

class ConvertDblTest : public ::testing::TestWithParam<ConvertCase> {};

TEST_P(ConvertDblTest, ReadsEitherMarkOnEitherSystem) {
    const ConvertCase& c = GetParam();
    EXPECT_DOUBLE_EQ(ConvertDBL(c.text, '.'), c.point);
    EXPECT_DOUBLE_EQ(ConvertDBL(c.text, ','), c.comma);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, ConvertDblTest,
    ::testing::Values(ConvertCase{"", 0, 0}, ConvertCase{"   ", 0, 0}, ConvertCase{"12", 12, 12},
                      ConvertCase{"12.5", 12.5, 12.5}, ConvertCase{"12,5", 12.5, 12.5},
                      ConvertCase{"-43,25", -43.25, -43.25},
                      // Both marks: the later one is the decimal mark, whichever the system uses.
                      ConvertCase{"1.234,5", 1234.5, 1234.5}, ConvertCase{"1,234.5", 1234.5, 1234.5},
                      ConvertCase{"1.234.567,25", 1234567.25, 1234567.25},
                      // Blanks anywhere are removed before reading.
                      ConvertCase{" 1 234,5 ", 1234.5, 1234.5},
                      ConvertCase{"30000000", 30000000, 30000000}, ConvertCase{"-1,5E+03", -1500, -1500},
                      ConvertCase{"abc", 0, 0}, ConvertCase{"7 dBm", 7, 7}));

TEST(ParseDouble, DropsTheFirstMarkWhenBothStand) {
    EXPECT_DOUBLE_EQ(qv::trace::ParseDouble("1.234,5"), 1234.5);
    EXPECT_DOUBLE_EQ(qv::trace::ParseDouble("1,234.5"), 1234.5);
    EXPECT_DOUBLE_EQ(qv::trace::ParseDouble("-1.5E+01"), -15);
    EXPECT_DOUBLE_EQ(qv::trace::ParseDouble("2,5"), 2.5);
    EXPECT_DOUBLE_EQ(qv::trace::ParseDouble(""), 0);
}

TEST(UnitWord, LooksUpTheUpperCasedAnswer) {
    EXPECT_EQ(qv::trace::unitWord("DBUV"), "dB\xC2\xB5V");
    EXPECT_EQ(qv::trace::unitWord("dbm"), "dBm");
    EXPECT_EQ(qv::trace::unitWord("DBUW_M"), "dBuW_M");
    EXPECT_EQ(qv::trace::unitWord("ampere"), "Amp");
    EXPECT_EQ(qv::trace::unitWord("HZ"), "HZ");
    EXPECT_EQ(qv::trace::unitWord("v"), "V");  // not in the table: upper-cased only
}

TEST(DoubleText, MatchesTheProgramsNumberTextWithTheMarkSwapped) {
    EXPECT_EQ(qv::trace::DoubleText(1000000, ','), "1000000");
    EXPECT_EQ(qv::trace::DoubleText(-43.25, ','), "-43,25");
    EXPECT_EQ(qv::trace::DoubleText(1e15, '.'), "1E+15");
    EXPECT_EQ(qv::trace::DoubleText(1.5e-6, ','), "1,5E-06");
    EXPECT_EQ(qv::trace::DoubleText(0.1 + 0.2, '.'), "0.3");
}

qv::trace::TraceData dataOf(std::vector<double> x, std::vector<double> y) {
    qv::trace::TraceData d;
    d.set(qv::trace::makeValues(std::move(x)), qv::trace::makeValues(std::move(y)));
    return d;
}

struct TextCase {
    char mark;
    bool complex;
    const char* text;
};

class TraceTextTest : public ::testing::TestWithParam<TextCase> {};

TEST_P(TraceTextTest, WritesOneLinePerPoint) {
    const TextCase& c = GetParam();
    qv::trace::TraceData d = c.complex ? dataOf({1e6, 2.5e6}, {0.5, -0.25, 1, 0}) : dataOf({1e6, 2.5e6}, {-43.25, 7});
    EXPECT_EQ(qv::trace::TraceDataText(d, c.mark), c.text);
    std::ostringstream os;
    qv::trace::WriteTraceText(os, d, c.mark);
    EXPECT_EQ(os.str(), c.text);
}

INSTANTIATE_TEST_SUITE_P(Locales, TraceTextTest,
                         ::testing::Values(TextCase{'.', false, "1000000; -43.25\r\n2500000; 7\r\n"},
                                           TextCase{',', false, "1000000; -43,25\r\n2500000; 7\r\n"},
                                           TextCase{'.', true, "1000000; 0.5; -0.25\r\n2500000; 1; 0\r\n"},
                                           TextCase{',', true, "1000000; 0,5; -0,25\r\n2500000; 1; 0\r\n"}));

// The fast writer must say exactly what DoubleText says, number by number.
TEST(TraceText, AgreesWithDoubleTextOverManyMagnitudes) {
    std::mt19937_64 rng(14);
    std::uniform_real_distribution<double> mant(-10, 10);
    std::uniform_int_distribution<int> exp10(-30, 30);
    std::vector<double> x, y;
    std::uniform_int_distribution<int> digitCount(1, 15);
    std::uniform_int_distribution<int> digit(0, 9);
    for (int i = 0; i < 30000; ++i) {
        x.push_back(mant(rng) * std::pow(10.0, exp10(rng)));
        // Values with few digits, as instruments send them, at every magnitude.
        std::string t = i % 2 ? "-" : "";
        for (int k = digitCount(rng); k > 0; --k) t += char('0' + digit(rng));
        t += "e" + std::to_string(exp10(rng));
        y.push_back(std::strtod(t.c_str(), nullptr));
    }
    // Single-precision values as the binary traces bring them.
    for (int i = 0; i < 30000; ++i) {
        x.push_back(double(float(mant(rng) * std::pow(10.0, exp10(rng) / 3))));
        y.push_back(double(float(mant(rng) * 10)));
    }
    y[1] = NAN;
    y[2] = -INFINITY;
    y[3] = 0;
    const qv::trace::TraceData d = dataOf(x, y);
    const std::string text = qv::trace::TraceDataText(d, ',');
    std::string want;
    for (size_t k = 0; k < x.size(); ++k)
        want += qv::trace::DoubleText(x[k], ',') + "; " + qv::trace::DoubleText(y[k], ',') + "\r\n";
    EXPECT_EQ(text, want);
}

TEST(TraceText, SavesAMillionPointsWhole) {
    std::vector<double> x(1000000), y(1000000);
    for (size_t k = 0; k < x.size(); ++k) {
        x[k] = 1e9 + double(k) * 1234.5678;
        y[k] = -80.0 + std::sin(double(k) * 0.001) * 30.123456789;
    }
    const qv::trace::TraceData d = dataOf(x, y);
    qvtest::TempDir dir;
    const std::string path = dir.file("trace.txt");
    std::string why;
    ASSERT_TRUE(qv::trace::SaveTraceText(path, d, '.', true, why)) << why;
    const std::string text = qvtest::readFile(path);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1000001);
    EXPECT_EQ(text.substr(text.size() - 4), "\r\n\r\n");
    EXPECT_EQ(text.rfind("1000000000; -80\r\n", 0), 0u);
    EXPECT_FALSE(qvtest::fileExists(path + ".part"));
}

TEST(TraceText, AFailedSaveLeavesNoFile) {
    const qv::trace::TraceData d = dataOf({1}, {2});
    std::string why;
    EXPECT_FALSE(qv::trace::SaveTraceText("/nonexistent-folder/t.txt", d, '.', false, why));
    EXPECT_FALSE(why.empty());
}

TEST(AsciiTraceFile, ReadsTheValuesBlockInTheInstrumentsLocale) {
    std::istringstream in(
        "Type;VHK;\r\nStart;30000000;Hz\r\nValues;3;\r\n30000000;12,34;0;\r\n30500000;-1,5;0;\r\n"
        "31000000;1.234,5;0;\r\nEnd;\r\n");
    const qv::trace::AsciiTraceParse p = qv::trace::parseAsciiTrace(in, '.');
    ASSERT_TRUE(p.found) << p.failure;
    EXPECT_EQ(p.x, (std::vector<double>{30000000, 30500000, 31000000}));
    EXPECT_EQ(p.y, (std::vector<double>{12.34, -1.5, 1234.5}));
}

TEST(AsciiTraceFile, RefusesCountsTheFileDoesNotHold) {
    for (const char* text : {"Values;5;\n1;2;\n", "Values;-3;\n", "Values;1e300;\n", "Values;;\n",
                             "Values;1;\n1;2\nValues;9;\n1;2\n"}) {
        std::istringstream in(text);
        const qv::trace::AsciiTraceParse p = qv::trace::parseAsciiTrace(in, ',');
        EXPECT_FALSE(p.found) << text;
        EXPECT_TRUE(p.x.empty()) << text;
        EXPECT_FALSE(p.failure.empty()) << text;
    }
    std::istringstream none("Type;VHK;\nx;y\n");
    const qv::trace::AsciiTraceParse p = qv::trace::parseAsciiTrace(none, ',');
    EXPECT_FALSE(p.found);
    EXPECT_TRUE(p.failure.empty());
}

}  // namespace

namespace {

// The system's mark follows the user's locale; a comma locale is built into
// a private folder so the test needs nothing installed.
TEST(SystemDecimalMark, FollowsTheLocaleOfTheEnvironment) {
    qvtest::TempDir dir;
    const qvtest::CommandResult r =
        qvtest::runCommand("localedef -i de_DE -f UTF-8 " + dir.path() + "/de_DE.UTF-8 2>&1");
    if (r.exitCode != 0 || !qvtest::fileExists(dir.path() + "/de_DE.UTF-8")) GTEST_SKIP() << "localedef: " << r.output;
    const char* keep[] = {"LOCPATH", "LC_ALL", "LC_NUMERIC", "LANG"};
    std::vector<std::pair<std::string, std::string>> saved;
    for (const char* k : keep)
        if (const char* v = std::getenv(k)) saved.emplace_back(k, v);
    for (const char* k : keep) unsetenv(k);
    setenv("LOCPATH", dir.path().c_str(), 1);
    setenv("LANG", "de_DE.UTF-8", 1);
    EXPECT_EQ(qv::trace::SystemDecimalMark(), ',');
    setenv("LC_NUMERIC", "C", 1);  // the numeric category wins over LANG
    EXPECT_EQ(qv::trace::SystemDecimalMark(), '.');
    setenv("LC_ALL", "de_DE.UTF-8", 1);  // and LC_ALL over both
    EXPECT_EQ(qv::trace::SystemDecimalMark(), ',');
    setenv("LC_ALL", "xx_NOWHERE", 1);
    EXPECT_EQ(qv::trace::SystemDecimalMark(), '.');
    for (const char* k : keep) unsetenv(k);
    for (const auto& [k, v] : saved) setenv(k.c_str(), v.c_str(), 1);
}

}  // namespace
