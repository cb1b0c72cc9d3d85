// The peak list: the file's parse into the grid, the grid as text, and the
// save with its overwrite question.
#include "tables/peak_list.h"

#include "scripted_host.h"
#include "test_support.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

namespace {

using namespace qv::tables;
using qvtest::ScriptedHost;

struct ParseCase {
    const char* name;
    std::string bytes;
    bool ok;
    size_t rows;  // header included; 0 for a broken list
};
void PrintTo(const ParseCase& c, std::ostream* os) {
    *os << c.name;
}

const std::string kThree =
    "Peak;1;\r\n100000000;Hz;\r\n-20.5;dBm;\r\n"
    "Peak;2;\r\n200000000;Hz;\r\n-30.25;dBm;\r\n"
    "Peak;3;\r\n300000000;Hz;\r\n-40;dBm;\r\n";

std::string withoutCr(const std::string& s) {
    std::string out;
    for (char c : s)
        if (c != '\r') out += c;
    return out;
}

const ParseCase kParseCases[] = {
    {"ThreeWithFinalLineEnd", kThree, true, 4},
    {"ThreeWithoutFinalLineEnd", kThree.substr(0, kThree.size() - 2), true, 4},
    {"LfOnly", withoutCr(kThree), true, 4},
    {"EmptyFile", "", true, 1},
    {"OneBlankLineAfter", kThree + "\r\n", true, 4},
    // The third peak's level line is missing: its group ends on the empty
    // element after the last line end.
    {"GroupCutShort", kThree.substr(0, kThree.rfind("-40;")), false, 0},
    {"ShortLine", "Peak;1;\r\n100000000\r\n-20;dBm;\r\n", false, 0},
    {"MarkerLineWithoutField1", "Peak\r\n1;Hz\r\n2;dB\r\n", false, 0},
};

class Parse : public ::testing::TestWithParam<ParseCase> {};

TEST_P(Parse, RowsOrEmptyGrid) {
    const ParseCase& c = GetParam();
    TableGrid grid{{"old", "old", "old"}};
    EXPECT_EQ(ParsePeakList(c.bytes, grid), c.ok);
    ASSERT_EQ(grid.size(), c.rows);
    if (c.rows > 0) {
        EXPECT_EQ(grid[0], PeakListHeader());
    }
}

INSTANTIATE_TEST_SUITE_P(PeakList, Parse, ::testing::ValuesIn(kParseCases),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(PeakList, TextHasHeaderAndCrLfRows) {
    TableGrid grid;
    ASSERT_TRUE(ParsePeakList(kThree, grid));
    EXPECT_EQ(ListToText(grid),
              "Marker\tFrequency\tLevel\r\n"
              "1\t100000000 Hz\t-20.5 dBm\r\n"
              "2\t200000000 Hz\t-30.25 dBm\r\n"
              "3\t300000000 Hz\t-40 dBm\r\n");
    EXPECT_EQ(ListToText({}), "");
}

struct SaveCase {
    const char* name;
    bool exists;
    qv::app::Answer answer;
    bool saved;
};
void PrintTo(const SaveCase& c, std::ostream* os) {
    *os << c.name;
}

class Save : public ::testing::TestWithParam<SaveCase> {};

TEST_P(Save, OverwriteOnlyWhenConfirmed) {
    const SaveCase& c = GetParam();
    qvtest::TempDir dir;
    ScriptedHost host;
    const std::string chosen = dir.file("peaks");  // no extension: ".txt" follows
    const std::string target = chosen + ".txt";
    if (c.exists) {
        ASSERT_TRUE(qvtest::writeFile(target, "before"));
    }
    host.fileNames.push_back(chosen);
    host.answers.push_back(c.answer);
    EXPECT_EQ(SaveTableText("a\tb\tc\r\n", dir.path()), c.saved);
    EXPECT_EQ(qvtest::readFile(target), c.saved ? "a\tb\tc\r\n" : "before");
    EXPECT_EQ(host.messages().size(), c.exists ? 1u : 0u);
    if (c.exists) {
        EXPECT_EQ(host.messages()[0].title, "File already exists");
        EXPECT_EQ(host.messages()[0].text, "File already exists. Overwrite?");
        EXPECT_EQ(host.messages()[0].buttons, qv::app::Buttons::OkCancel);
    }
    EXPECT_FALSE(qvtest::fileExists(target + ".part"));
}

INSTANTIATE_TEST_SUITE_P(PeakList, Save,
                         ::testing::Values(SaveCase{"NewFile", false, qv::app::Answer::Ok, true},
                                           SaveCase{"OverwriteOk", true, qv::app::Answer::Ok, true},
                                           SaveCase{"OverwriteCancel", true, qv::app::Answer::Cancel, false}),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
