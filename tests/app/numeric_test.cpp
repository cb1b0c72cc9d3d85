// Number and text formatting: format texts, engineering prefixes both ways,
// numeric text, padding and cleaning, and independence of the locale.
#include "app/iniio.h"
#include "app/numeric.h"
#include "app/profile.h"
#include "app/text.h"

#include "test_support.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>
#include <locale>
#include <string>

using namespace qv::app;

namespace {

// What instruments answer to SYST:ERR?: only a code of zero by value means
// the queue is empty; a missing or unreadable code is no such promise.
TEST(ErrorCodeIsZero, ZeroByValueOnly) {
    for (const char* empty : {"0,\"No error\"", "+0,\"No error\"", "-0,\"No error\"", " 0,x", "0"})
        EXPECT_TRUE(ErrorCodeIsZero(empty)) << empty;
    for (const char* held : {"-113,\"Undefined header\"", "+10,\"x\"", "", ",0", "No error", "1E3,x"})
        EXPECT_FALSE(ErrorCodeIsZero(held)) << held;
}

struct FormatCase {
    double value;
    const char* format;
    const char* expected;
};

class FormatNumberCases : public ::testing::TestWithParam<FormatCase> {};

TEST_P(FormatNumberCases, ClassicMeaning) {
    const FormatCase& c = GetParam();
    EXPECT_EQ(FormatNumber(c.value, c.format), c.expected) << c.value << " in \"" << c.format << "\"";
}

INSTANTIATE_TEST_SUITE_P(
    Formats, FormatNumberCases,
    ::testing::Values(FormatCase{12, "#.###", "12."}, FormatCase{0.5, "#.###", ".5"},
                      FormatCase{1.23456, "#.###", "1.235"}, FormatCase{5, "#00", "05"},
                      FormatCase{123, "#00", "123"}, FormatCase{3.14159, "0.00", "3.14"},
                      FormatCase{2.5, "0", "3"}, FormatCase{-2.5, "0", "-3"}, FormatCase{1.005, "0.00", "1.01"},
                      FormatCase{-0.001, "0.00", "0.00"}, FormatCase{0.999, "0.00", "1.00"},
                      FormatCase{99.96, "#0.0", "100.0"}, FormatCase{1234567.891, "#,##0.00", "1,234,567.89"},
                      FormatCase{12345, "0.00E+00", "1.23E+04"}, FormatCase{0.000123, "0.00E+00", "1.23E-04"},
                      FormatCase{9.999, "0.0E+00", "1.0E+01"}, FormatCase{0.25, "0%", "25%"},
                      FormatCase{-5, "0;(0)", "(5)"}, FormatCase{0, "0;-0;\"zero\"", "zero"},
                      FormatCase{2.5, "", "2.5"}, FormatCase{1234, "0,", "1"}, FormatCase{7, "\"V=\"0.0", "V=7.0"},
                      FormatCase{7, "\\#0", "#7"}, FormatCase{1e20, "0", "100000000000000000000"},
                      FormatCase{1.5e-20, "0.00", "0.00"}, FormatCase{3.14159, "Fixed", "3.14"},
                      FormatCase{12.5, ".00", "12.50"}));

struct EngCase {
    double value;
    const char* format;
    bool engineering;
    const char* expected;
};

class FormatEngCases : public ::testing::TestWithParam<EngCase> {};

TEST_P(FormatEngCases, ScalesByRange) {
    const EngCase& c = GetParam();
    EXPECT_EQ(FormatEng(c.value, c.format, "Hz", c.engineering), c.expected) << c.value;
}

INSTANTIATE_TEST_SUITE_P(
    Ranges, FormatEngCases,
    ::testing::Values(EngCase{0, "0.00", true, "0 0.00 Hz"}, EngCase{12, "0.00", true, "12.00 Hz"},
                      EngCase{1500, "0.00", true, "1.50 kHz"}, EngCase{-1500, "0.00", true, "-1.50 kHz"},
                      EngCase{2.5e6, "0.00", true, "2.50 MHz"}, EngCase{3e9, "0.0", true, "3.0 GHz"},
                      EngCase{0.0047, "0.00", true, "4.70 mHz"}, EngCase{4.7e-6, "0.00", true, "4.70 µHz"},
                      EngCase{2e-9, "0", true, "2 nHz"}, EngCase{1e-12, "0.00", true, "1.00 pHz"},
                      EngCase{5e-15, "0", true, "5 fHz"}, EngCase{1e13, "0", true, "10000000000000 Hz"},
                      EngCase{1e-16, "0.0E+00", true, "1.0E-16 Hz"}, EngCase{1500, "0.00", false, "1500.00 Hz"}));

TEST(FormatEng, TextValueReadsCommaAsPoint) {
    EXPECT_EQ(FormatEng("1,5", "0.00", "V", false), "1.50 V");
    EXPECT_EQ(FormatEng("2500", "0.0", "V", true), "2.5 kV");
}

struct ParseCase {
    const char* text;
    double value;
    const char* prefix;
};

class ParseEngCases : public ::testing::TestWithParam<ParseCase> {};

TEST_P(ParseEngCases, ReadsNumberAndPrefix) {
    const ParseCase& c = GetParam();
    std::string prefix = "stale";
    EXPECT_DOUBLE_EQ(ParseEng(c.text, prefix), c.value) << c.text;
    EXPECT_EQ(prefix, c.prefix) << c.text;
}

INSTANTIATE_TEST_SUITE_P(
    Texts, ParseEngCases,
    ::testing::Values(ParseCase{"10 kHz", 10000, "k"}, ParseCase{"1.5E3", 1500, ""}, ParseCase{"3 M", 3e6, "M"},
                      ParseCase{"3 m", 0.003, "m"}, ParseCase{"2 µs", 2e-6, "µ"}, ParseCase{"2U", 2e-6, "µ"},
                      ParseCase{"7 G", 7e9, "G"}, ParseCase{"5 n", 5e-9, "n"}, ParseCase{"4p", 4e-12, "p"},
                      ParseCase{"1f", 1e-15, "f"}, ParseCase{"-20 dBm", -20, ""}, ParseCase{"1,5 K", 1500, "k"},
                      ParseCase{"\r\n 5 k\r\n", 5000, "k"}, ParseCase{"abc", 0, ""}, ParseCase{"", 0, ""},
                      ParseCase{"1.2.3 k", 0, "k"}, ParseCase{"E k", 0, "k"}));

class NumericText : public ::testing::TestWithParam<std::pair<const char*, bool>> {};

TEST_P(NumericText, Decides) { EXPECT_EQ(IsNumericText(GetParam().first), GetParam().second) << GetParam().first; }

INSTANTIATE_TEST_SUITE_P(
    Texts, NumericText,
    ::testing::Values(std::pair{"-.5", true}, std::pair{"5 s", true}, std::pair{"abc", false}, std::pair{"", false},
                      std::pair{".", false}, std::pair{"-", false}, std::pair{"1e5", true}, std::pair{"1e", false},
                      std::pair{"12%", true}, std::pair{" 3\t", true}, std::pair{"+4.", true},
                      std::pair{"1.2.3", false}, std::pair{"0x10", false}, std::pair{"s", false},
                      std::pair{"1 000", false}, std::pair{"2,5", false}));

TEST(ConvertText, ByTypeOrDefault) {
    EXPECT_EQ(ConvertText("2.5", ValueType::Int16), Value(int16_t{2}));
    EXPECT_EQ(ConvertText("3.5", ValueType::Int16), Value(int16_t{4}));
    EXPECT_EQ(ConvertText("70000", ValueType::Int16, Value(int16_t{-1})), Value(int16_t{-1}));
    EXPECT_EQ(ConvertText("70000", ValueType::Int32), Value(int32_t{70000}));
    EXPECT_EQ(ConvertText("255", ValueType::Byte), Value(uint8_t{255}));
    EXPECT_TRUE(ConvertText("256", ValueType::Byte).isMissing());
    EXPECT_EQ(ConvertText("1.5", ValueType::Single), Value(1.5f));
    EXPECT_EQ(ConvertText("5 s", ValueType::Double), Value(5.0));
    EXPECT_TRUE(ConvertText("x", ValueType::Double).isMissing()) << "no default: the result stays empty";
    EXPECT_TRUE(ConvertText("1e400", ValueType::Double).isMissing());
}

TEST(NumberTexts, TrimmedAndWithBlank) {
    EXPECT_EQ(TrimmedText(2.5), "2.5");
    EXPECT_EQ(TrimmedText(-1), "-1");
    EXPECT_EQ(TrimmedText(0.1f), "0.1");
    EXPECT_EQ(TrimmedText(0.1 + 0.2), "0.3");
    EXPECT_EQ(TrimmedText(1e20), "1E+20");
    EXPECT_EQ(TrimmedText(-0.0), "0");
    EXPECT_EQ(NumberText(5), " 5");
    EXPECT_EQ(NumberText(0), " 0");
    EXPECT_EQ(NumberText(-5), "-5");
}

struct PadCase {
    const char* text;
    int width;
    int mode;
    const char* fill;
    const char* expected;
};

class PadTextCases : public ::testing::TestWithParam<PadCase> {};

TEST_P(PadTextCases, Fills) {
    const PadCase& c = GetParam();
    EXPECT_EQ(PadText(c.text, c.width, c.mode, c.fill), c.expected);
}

INSTANTIATE_TEST_SUITE_P(
    Modes, PadTextCases,
    ::testing::Values(PadCase{"7", 3, 1, "0", "007"}, PadCase{"7", 3, 0, " ", "7  "},
                      PadCase{"ab", 5, 2, "*", "**ab*"}, PadCase{"ab", 7, 2, "*", "**ab***"},
                      PadCase{"ab", 3, 2, "*", "ab*"}, PadCase{"abcd", 2, 1, "0", "abcd"},
                      PadCase{"µ", 3, 1, "0", "00µ"}, PadCase{"x", 3, 1, "µ", "µµx"}, PadCase{"x", 3, 9, "0", "x"},
                      PadCase{"x", 3, 1, "", "x"}));

TEST(CleanText, TrimsEndsInOrder) {
    EXPECT_EQ(TrimLineEnds("  abc \r\n"), "abc ") << "blanks go first, then the line ends";
    EXPECT_EQ(TrimLineEnds(std::string("\n\0x\r\n", 5)), "x");
    EXPECT_EQ(TrimLineEnds("a\tb"), "a\tb");
    EXPECT_EQ(TrimControls(" \tval\r\n\t"), "val");
    EXPECT_EQ(SplitClean("a\t, b\r\n,,c", ","), (std::vector<std::string>{"a", "b", "", "c"}));
    EXPECT_TRUE(SplitClean("", ",").empty());
    EXPECT_EQ(SplitClean("a,b", ""), (std::vector<std::string>{"a,b"}));
}

// LF and CR LF end lines alike; a lone CR stays inside its line, and a final
// line end leaves an empty last element.
TEST(TextHelpers, SplitLineViews) {
    using V = std::vector<std::string_view>;
    EXPECT_EQ(SplitLineViews(""), V{""});
    EXPECT_EQ(SplitLineViews("a\r\nb\nc"), (V{"a", "b", "c"}));
    EXPECT_EQ(SplitLineViews("a\rb\r\n"), (V{"a\rb", ""}));
    EXPECT_EQ(SplitLineViews("\r\n\n"), (V{"", "", ""}));
}

// A locale with "," as decimal point must change nothing. Uses an installed
// German locale, or builds one in a temporary folder.
class CommaLocale : public ::testing::Test {
protected:
    void SetUp() override {
        if (!std::setlocale(LC_ALL, "de_DE.UTF-8")) {
            std::string cmd = "localedef -i de_DE -f UTF-8 " + dir.path() + "/de_DE.UTF-8 >/dev/null 2>&1";
            if (std::system(cmd.c_str()) == 0) {
                setenv("LOCPATH", dir.path().c_str(), 1);
                std::setlocale(LC_ALL, "de_DE.UTF-8");
            }
        }
        if (std::string(std::localeconv()->decimal_point) != ",")
            GTEST_SKIP() << "no locale with a decimal comma could be installed or built";
        try {
            std::locale::global(std::locale(std::setlocale(LC_ALL, nullptr)));
        } catch (...) {
        }
    }
    void TearDown() override {
        std::setlocale(LC_ALL, "C");
        std::locale::global(std::locale::classic());
        unsetenv("LOCPATH");
    }
    qvtest::TempDir dir;
};

TEST_F(CommaLocale, NumbersKeepThePoint) {
    ASSERT_EQ(std::strtod("2.5", nullptr), 2.0) << "the locale is active";
    EXPECT_EQ(LeadingNumber("2.5"), 2.5);
    EXPECT_EQ(TrimmedText(2.5), "2.5");
    EXPECT_EQ(FormatNumber(1234.5, "#,##0.00"), "1,234.50");
    EXPECT_EQ(FormatEng(0.0025, "0.0", "s", true), "2.5 ms");
    std::string prefix;
    EXPECT_DOUBLE_EQ(ParseEng("1.5 k", prefix), 1500);
    EXPECT_TRUE(IsNumericText("2.5"));

    std::string file = dir.file("t.ini");
    WriteIni(file, "A", "d", Value(2.5));
    EXPECT_EQ(ProfileRead(file, "A", "d", ""), "2.5");
    EXPECT_EQ(ReadIni(file, "A", "d", Value(0.0), Value(0.0)).number(), 2.5);
}

}  // namespace

// glibc keeps its list of LOCPATH folders for the life of the process; the
// leak checker of sanitized builds must not count that against us.
extern "C" const char* __lsan_default_suppressions() { return "leak:__argz_add_sep\n"; }
