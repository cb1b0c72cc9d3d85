// The user correction table without an instrument: order, lists, commands
// and the refusals before an upload.
#include "tables/ucor.h"

#include "scripted_host.h"

#include <gtest/gtest.h>

namespace {

using namespace qv::tables;
using qv::family::UCorGroup;

UCorTable table(std::initializer_list<UCorRow> rows) {
    return UCorTable(rows);
}

std::vector<std::string> freqs(const UCorTable& t) {
    std::vector<std::string> out;
    for (const UCorRow& r : t) out.push_back(r.freq);
    return out;
}

TEST(UCorGroup, GeneratorsByFamilyEveryOtherTagAnAnalyzer) {
    for (const char* tag : {"GLT", "GLY", "GLN", "GXB", "GLEF"})
        EXPECT_EQ(UCorGroupOf(tag), UCorGroup::Generator) << tag;
    for (const char* tag : {"TKD", "TKM", "", "NoDevice", "XYZ"})
        EXPECT_EQ(UCorGroupOf(tag), UCorGroup::Analyzer) << tag;
}

struct SortCase {
    std::vector<std::string> in, out;
};
class UCorSort : public ::testing::TestWithParam<SortCase> {};

TEST_P(UCorSort, SortsAsTextStably) {
    UCorTable t;
    for (const std::string& f : GetParam().in) t.push_back({f, "L" + f});
    SortUCor(t);
    EXPECT_EQ(freqs(t), GetParam().out);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, UCorSort,
    ::testing::Values(SortCase{{"9", "10"}, {"10", "9"}}, SortCase{{"20", "100", "3"}, {"100", "20", "3"}},
                      SortCase{{"b", "A", "a", "B"}, {"A", "a", "b", "B"}},  // letters without case, ties kept
                      SortCase{{"1.5", "1,5", "1"}, {"1", "1,5", "1.5"}},
                      SortCase{{"\xC2\xB5", "z", "Z"}, {"z", "Z", "\xC2\xB5"}}));

TEST(UCorInsert, AtSelectionOrFirstThenSorted) {
    UCorTable t = table({{"300", "3"}, {"100", "1"}});
    InsertUCorRow(t, 5, "200");  // out of range: as without a selection
    EXPECT_EQ(freqs(t), (std::vector<std::string>{"100", "200", "300"}));
    EXPECT_EQ(t[1].level, "");
    InsertUCorRow(t, 1, "");  // an empty answer changes nothing
    EXPECT_EQ(t.size(), 3u);
    // Equal texts: the new row goes where the selection was, before its twin.
    InsertUCorRow(t, 1, "200");
    ASSERT_EQ(t.size(), 4u);
    EXPECT_EQ(t[1].level, "");
    EXPECT_EQ(t[2].level, "");
}

struct NameCase {
    const char* name;
    UCorGroup group;
    bool accepted;
};
class UCorName : public ::testing::TestWithParam<NameCase> {};
TEST_P(UCorName, Rule) {
    EXPECT_EQ(UCorNameAccepted(GetParam().name, GetParam().group), GetParam().accepted);
}
INSTANTIATE_TEST_SUITE_P(
    Cases, UCorName,
    ::testing::Values(NameCase{"ucor5", UCorGroup::Generator, true}, NameCase{"UCORX", UCorGroup::Generator, true},
                      NameCase{"TEST", UCorGroup::Generator, false}, NameCase{"UCO", UCorGroup::Generator, false},
                      NameCase{"", UCorGroup::Generator, false}, NameCase{"TEST", UCorGroup::Analyzer, true},
                      NameCase{"", UCorGroup::Analyzer, true}));

struct CommandCase {
    const char* label;
    UCorTable rows;
    UCorGroup group;
    UCorSettings settings;
    std::vector<std::string> commands;
};
class UCorCommands : public ::testing::TestWithParam<CommandCase> {};

TEST_P(UCorCommands, InOrderAndInTheInstrumentsCharacterSet) {
    const CommandCase& c = GetParam();
    EXPECT_EQ(UploadCommands(c.rows, c.group, c.settings), c.commands);
}

UCorSettings settings(const char* name, int level, int freq, bool log = false, const char* comment = "") {
    UCorSettings s;
    s.name = name;
    s.levelUnit = level;
    s.freqUnit = freq;
    s.logScale = log;
    s.comment = comment;
    return s;
}

const UCorTable kTwo = {{"100", "1"}, {"200", "2"}};

INSTANTIATE_TEST_SUITE_P(
    Cases, UCorCommands,
    ::testing::Values(CommandCase{"generator_MHz_dB",
                                  kTwo,
                                  UCorGroup::Generator,
                                  settings("UCOR1", 0, 2),
                                  {"CORR:STAT OFF", "CORR:CSET:SEL 'UCOR1'", "CORR:CSET:DATA:FREQ 100MHz,200MHz",
                                   "CORR:CSET:DATA:POW 1dB,2dB", "CORR:STAT ON"}},
                      CommandCase{"analyzer_ignores_freq_unit",
                                  kTwo,
                                  UCorGroup::Analyzer,
                                  settings("T1", 0, 2, false, "c"),
                                  {"CORR:TRAN:SEL 'T1'", "CORR:TRAN:UNIT 'DB'", "CORR:TRAN:SCAL LIN",
                                   "CORR:TRAN:COMM 'c'", "CORR:TRAN:DATA 100,1,200,2"}},
                      CommandCase{"generator_micro_as_latin1",
                                  kTwo,
                                  UCorGroup::Generator,
                                  settings("UCOR2", 2, 1),
                                  {"CORR:STAT OFF", "CORR:CSET:SEL 'UCOR2'", "CORR:CSET:DATA:FREQ 100kHz,200kHz",
                                   "CORR:CSET:DATA:POW 1dB\xB5V,2dB\xB5V", "CORR:STAT ON"}},
                      CommandCase{"analyzer_word_log_latin1_comment",
                                  kTwo,
                                  UCorGroup::Analyzer,
                                  settings("Antenne", 5, 0, true,
                                           "Gr\xC3\xBC\xC3\x9F"
                                           "e"),
                                  {"CORR:TRAN:SEL 'Antenne'", "CORR:TRAN:UNIT 'DBUA/M'", "CORR:TRAN:SCAL LOG",
                                   "CORR:TRAN:COMM 'Gr\xFC\xDF"
                                   "e'",
                                   "CORR:TRAN:DATA 100,1,200,2"}},
                      CommandCase{"empty_level_leaves_a_gap",
                                  {{"100", ""}, {"200", "2"}},
                                  UCorGroup::Generator,
                                  settings("UCOR1", 1, 0),
                                  {"CORR:STAT OFF", "CORR:CSET:SEL 'UCOR1'", "CORR:CSET:DATA:FREQ 100Hz,200Hz",
                                   "CORR:CSET:DATA:POW dBm,2dBm", "CORR:STAT ON"}},
                      CommandCase{"empty_level_analyzer",
                                  {{"100", ""}, {"200", "2"}},
                                  UCorGroup::Analyzer,
                                  settings("T", 7, 0),
                                  {"CORR:TRAN:SEL 'T'", "CORR:TRAN:UNIT 'DBPT'", "CORR:TRAN:SCAL LIN",
                                   "CORR:TRAN:COMM ''", "CORR:TRAN:DATA 100,,200,2"}},
                      CommandCase{"empty_analyzer_table",
                                  {},
                                  UCorGroup::Analyzer,
                                  settings("T", 0, 0),
                                  {"CORR:TRAN:SEL 'T'", "CORR:TRAN:UNIT 'DB'", "CORR:TRAN:SCAL LIN",
                                   "CORR:TRAN:COMM ''", "CORR:TRAN:DATA "}}),
    [](const ::testing::TestParamInfo<CommandCase>& i) { return std::string(i.param.label); });

struct RefusalCase {
    const char* label;
    UCorTable rows;
    UCorGroup group;
    UCorSettings settings;
    const char* mentions;  // nullptr: accepted
};
class UCorRefusal : public ::testing::TestWithParam<RefusalCase> {};

TEST_P(UCorRefusal, BeforeAnythingIsSent) {
    const RefusalCase& c = GetParam();
    const std::string why = UploadRefusal(c.rows, c.group, c.settings);
    if (!c.mentions)
        EXPECT_EQ(why, "");
    else
        EXPECT_NE(why.find(c.mentions), std::string::npos) << why;
}

INSTANTIATE_TEST_SUITE_P(
    Cases, UCorRefusal,
    ::testing::Values(
        RefusalCase{"generator_one_row",
                    {{"100", "1"}},
                    UCorGroup::Generator,
                    settings("UCOR1", 0, 0),
                    "Please enter at least two frequencies and values for User Correction"},
        RefusalCase{"analyzer_one_row", {{"100", "1"}}, UCorGroup::Analyzer, settings("T", 0, 0), nullptr},
        RefusalCase{"quote_in_name", kTwo, UCorGroup::Generator, settings("UCOR'1", 0, 0), "name"},
        RefusalCase{"quote_in_comment", kTwo, UCorGroup::Analyzer, settings("T", 0, 0, false, "it's"), "comment"},
        // The generator dialect never sends the comment.
        RefusalCase{"generator_comment_unused", kTwo, UCorGroup::Generator, settings("UCOR1", 0, 0, false, "it's"),
                    nullptr},
        RefusalCase{"outside_latin1_name", kTwo, UCorGroup::Analyzer, settings("T\xE2\x82\xAC", 0, 0), "name"},
        RefusalCase{"line_end_in_comment", kTwo, UCorGroup::Analyzer, settings("T", 0, 0, false, "a\nb"), "comment"},
        RefusalCase{"malformed_utf8_in_name", kTwo, UCorGroup::Analyzer, settings("T\xB5", 0, 0), "name"},
        RefusalCase{"outside_latin1_level",
                    {{"100", "1"}, {"200", "\xE2\x82\xAC"}},
                    UCorGroup::Generator,
                    settings("UCOR1", 0, 0),
                    "row 2"},
        RefusalCase{"latin1_accepted", kTwo, UCorGroup::Analyzer, settings("M\xC3\xBCnchen", 2, 0, false, "\xC2\xB5"),
                    nullptr}),
    [](const ::testing::TestParamInfo<RefusalCase>& i) { return std::string(i.param.label); });

TEST(UCorUpload, RefusalShowsAWarningAndOpensNothing) {
    qvtest::ScriptedHost host;
    // No simulator runs at this address: a refused upload must not even try.
    UploadResult r =
        UploadUCor("TCPIP::127.0.0.1::1::SOCKET", UCorGroup::Generator, {{"100", "1"}}, settings("UCOR1", 0, 0));
    EXPECT_FALSE(r.sent);
    ASSERT_EQ(host.messages().size(), 1u);
    EXPECT_EQ(host.messages()[0].text, "Please enter at least two frequencies and values for User Correction");
    EXPECT_EQ(host.messages()[0].icon, qv::app::Icon::Warning);
    for (const auto& c : host.calls) EXPECT_NE(c.kind, qvtest::ScriptedHost::Kind::Busy);
}

TEST(UCorUpload, ASessionThatDoesNotOpenIsNoSuccess) {
    qvtest::ScriptedHost host;
    UploadResult r = UploadUCor("TCPIP::127.0.0.1::1::SOCKET", UCorGroup::Analyzer, kTwo, settings("T", 0, 0));
    EXPECT_FALSE(r.sent);
    EXPECT_NE(r.message.find("nothing was sent"), std::string::npos) << r.message;
    ASSERT_EQ(host.messages().size(), 1u);
    EXPECT_EQ(host.messages()[0].icon, qv::app::Icon::Critical);
}

}  // namespace
