// Reading transducer files: the number rule, the rows taken, the three
// reductions, and what the window's Load shows.
#include "tables/transducer_import.h"

#include "app/context.h"
#include "app/main_window.h"
#include "scripted_host.h"
#include "test_support.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>

namespace {

using namespace qv::tables;

// n data lines "f<TAB>l" with f = (i + 1) * 1000 and l = i, after the given header lines.
std::string fileOf(int n, const std::string& header = "", const char* eol = "\r\n") {
    std::string s = header;
    for (int i = 0; i < n; ++i) s += std::to_string((i + 1) * 1000) + "\t" + std::to_string(i) + eol;
    return s;
}

// The levels taken, in file order (the levels are the line numbers).
std::vector<int> levelsTaken(const ImportResult& r) {
    std::vector<int> out;
    for (const UCorRow& row : r.rows) out.push_back(std::stoi(row.level));
    std::sort(out.begin(), out.end());
    return out;
}

struct NumberCase {
    const char* text;
    double value;
};
class ImportNumberRule : public ::testing::TestWithParam<NumberCase> {};
TEST_P(ImportNumberRule, Reads) {
    EXPECT_DOUBLE_EQ(ImportNumber(GetParam().text), GetParam().value) << GetParam().text;
}
INSTANTIATE_TEST_SUITE_P(Cases, ImportNumberRule,
                         ::testing::Values(NumberCase{"1,5", 1.5}, NumberCase{"1.234,5", 1234.5},
                                           NumberCase{"1,234.5", 1234.5}, NumberCase{"1.5", 1.5},
                                           NumberCase{"1,234,567.25", 1234567.25}, NumberCase{"-2,5 dB", -2.5},
                                           NumberCase{" 3e6", 3e6}, NumberCase{"abc", 0}, NumberCase{"", 0},
                                           NumberCase{"12abc", 12}));

TEST(TransducerMaxRule, FamilyAndFirmware) {
    EXPECT_EQ(TransducerMax("TKD", qv::app::FirmwareOf("Lab TKD (3.45)")), 625);
    EXPECT_EQ(TransducerMax("TKB", "3.4"), 625);
    EXPECT_EQ(TransducerMax("TKM", "3.40 SP1"), 625);
    EXPECT_EQ(TransducerMax("TKD", "3.5"), 50);
    EXPECT_EQ(TransducerMax("TKD", "13.4"), 50);
    EXPECT_EQ(TransducerMax("GLT", "3.45"), 50);
    EXPECT_EQ(TransducerMax("", "3.45"), 50);
}

struct ReduceCase {
    const char* label;
    int lines;
    int startRow;
    int method;
    int max;
    int count;
    bool reduced;
    std::vector<int> firstLevels;  // the first levels taken (file order)
    size_t taken;
};
class Reduction : public ::testing::TestWithParam<ReduceCase> {};

TEST_P(Reduction, TakesTheRowsOfTheMethod) {
    const ReduceCase& c = GetParam();
    ImportRules rules;
    rules.startRow = c.startRow;
    rules.reduceMethod = int16_t(c.method);
    const ImportResult r = ImportTransducer(fileOf(c.lines), rules, c.max);
    EXPECT_EQ(r.count, c.count);
    EXPECT_EQ(r.reduced, c.reduced);
    EXPECT_EQ(r.failures, 0);
    const std::vector<int> got = levelsTaken(r);
    ASSERT_EQ(got.size(), c.taken);
    for (size_t i = 0; i < c.firstLevels.size(); ++i) EXPECT_EQ(got[i], c.firstLevels[i]) << "position " << i;
}

INSTANTIATE_TEST_SUITE_P(
    Cases, Reduction,
    ::testing::Values(ReduceCase{"puncture_100_to_34", 100, 1, 2, 50, 100, true, {0, 3, 6, 9}, 34},
                      ReduceCase{"puncture_60_step_2", 60, 1, 2, 50, 60, true, {0, 2, 4}, 30},
                      // 125 / 50 = 2.5 rounds to 2 (ties to even): step 3.
                      ReduceCase{"puncture_tie_to_even", 125, 1, 2, 50, 125, true, {0, 3, 6}, 42},
                      ReduceCase{"exactly_max_not_reduced", 50, 1, 2, 50, 50, false, {0, 1}, 50},
                      ReduceCase{"take_first", 100, 1, 0, 50, 100, true, {0, 1}, 50},
                      ReduceCase{"take_first_from_start_row", 100, 11, 0, 50, 90, true, {10, 11}, 50},
                      ReduceCase{"take_last", 100, 1, 1, 50, 100, true, {50, 51}, 50},
                      ReduceCase{"take_last_from_the_end", 100, 60, 1, 30, 41, true, {70, 71}, 30},
                      ReduceCase{"start_row_counts", 60, 11, 2, 50, 50, false, {10, 11}, 50},
                      ReduceCase{"start_row_below_one_reads_as_first", 10, -3, 2, 50, 10, false, {0}, 10},
                      ReduceCase{"start_row_beyond_the_file", 10, 20, 2, 50, 0, false, {}, 0},
                      // Not a method of the settings window: punctured like the default.
                      ReduceCase{"unknown_method_punctures", 100, 1, 7, 50, 100, true, {0, 3}, 34},
                      ReduceCase{"max_625", 1000, 1, 2, 625, 1000, true, {0, 3}, 334}),
    [](const ::testing::TestParamInfo<ReduceCase>& i) { return std::string(i.param.label); });

TEST(TransducerImport, EmptyLinesDoNotCountForTheStartRow) {
    const std::string file = "Header A\r\n\r\n  \t \r\nHeader B\r\n100\t1\r\n\r\n200\t2\r\n\t\r\n300\t3\r\n";
    ImportRules rules;
    rules.startRow = 3;
    const ImportResult r = ImportTransducer(file, rules, 50);
    EXPECT_EQ(r.count, 3);
    ASSERT_EQ(r.rows.size(), 3u);
    EXPECT_EQ(r.rows[0].freq, "100");
    EXPECT_EQ(r.rows[2].level, "3");
    EXPECT_EQ(r.failures, 0);
}

TEST(TransducerImport, LineFeedFileReadsLikeCrLf) {
    ImportRules rules;
    const ImportResult crlf = ImportTransducer(fileOf(5, "", "\r\n"), rules, 50);
    const ImportResult lf = ImportTransducer(fileOf(5, "", "\n"), rules, 50);
    ASSERT_EQ(lf.rows.size(), 5u);
    for (size_t i = 0; i < 5; ++i) {
        EXPECT_EQ(lf.rows[i].freq, crlf.rows[i].freq);
        EXPECT_EQ(lf.rows[i].level, crlf.rows[i].level);
    }
    // A file with CR alone is one line: one row from its first two columns.
    EXPECT_EQ(ImportTransducer(fileOf(5, "", "\r"), rules, 50).rows.size(), 1u);
}

struct ColumnCase {
    const char* label;
    int16_t xCol, yCol;
    const char* file;
    std::vector<std::pair<std::string, std::string>> rows;
    int failures;
};
class Columns : public ::testing::TestWithParam<ColumnCase> {};

TEST_P(Columns, ChoiceAndFailures) {
    const ColumnCase& c = GetParam();
    ImportRules rules;
    rules.colSep = ';';
    rules.xCol = c.xCol;
    rules.yCol = c.yCol;
    const ImportResult r = ImportTransducer(c.file, rules, 50);
    EXPECT_EQ(r.failures, c.failures);
    ASSERT_EQ(r.rows.size(), c.rows.size());
    for (size_t i = 0; i < r.rows.size(); ++i) {
        EXPECT_EQ(r.rows[i].freq, c.rows[i].first);
        EXPECT_EQ(r.rows[i].level, c.rows[i].second);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Cases, Columns,
    ::testing::Values(
        ColumnCase{"first_and_last", 0, -1, "100;x;7\r\n200;y;8;9\r\n", {{"100", "7"}, {"200", "9"}}, 0},
        ColumnCase{"numbered", 3, 1, "1;2;3e6\r\n", {{"3000000", "1"}}, 0},
        ColumnCase{"out_of_range_counts", 7, 2, "1;2;3\r\n4;5;6;7;8;9;10\r\n", {{"10", "5"}}, 1},
        ColumnCase{"short_line_counts", 1, 2, "100;1\r\n200\r\n300;3\r\n", {{"100", "1"}, {"300", "3"}}, 1},
        ColumnCase{"negative_column_counts", -2, 2, "100;1\r\n", {}, 1},
        // Text reads 0: a level of 0 stays, a frequency of 0 drops the row unnoticed.
        ColumnCase{"text_values", 1, 2, "freq;level\r\n100;dB\r\n0;5\r\n", {{"100", "0"}}, 0},
        ColumnCase{
            "decimal_forms", 1, 2, "1.234,5;-1,5\r\n100000000;2\r\n", {{"100000000", "2"}, {"1234.5", "-1.5"}}, 0},
        ColumnCase{"only_empty_lines", 1, 2, "\r\n \r\n\t\r\n", {}, 0}),
    [](const ::testing::TestParamInfo<ColumnCase>& i) { return std::string(i.param.label); });

struct LevelCase {
    bool negate;
    const char* ref;
    const char* level;
};
class LevelRule : public ::testing::TestWithParam<LevelCase> {};
TEST_P(LevelRule, NegationThenReference) {
    ImportRules rules;
    rules.negate = GetParam().negate;
    rules.refLevel = GetParam().ref;
    const ImportResult r = ImportTransducer("100\t3\r\n", rules, 50);
    ASSERT_EQ(r.rows.size(), 1u);
    EXPECT_EQ(r.rows[0].level, GetParam().level);
}
INSTANTIATE_TEST_SUITE_P(Cases, LevelRule,
                         ::testing::Values(LevelCase{false, "", "3"}, LevelCase{true, "", "-3"},
                                           LevelCase{true, "0", "-3"}, LevelCase{true, "10", "13"},
                                           LevelCase{false, "10", "7"}, LevelCase{false, "1,5", "-1.5"},
                                           LevelCase{false, "3", "0"}));

TEST(TransducerImport, Messages) {
    EXPECT_EQ(ReductionMessage(100, 50, 2),
              "Size of input values exceeps maximum transducer size!\r\n\r\n   File size: 100 entries\r\n"
              "   Maximum supported size: 50\r\n\r\n   Data will be reduced (method: Puncture)");
    EXPECT_EQ(ImportFailureMessage(3), "Import failed on 3 positions");
}

TEST(TransducerLoad, ShowsReductionBeforeFailuresAndNamesTheTable) {
    qvtest::TempDir dir;
    const std::string path = dir.file("antenna.csv");
    ASSERT_TRUE(qvtest::writeFile(path, fileOf(100) + "5000000\r\n"));
    qvtest::ScriptedHost host;
    UCorTable table{{"1", "1"}};
    std::string name;
    ImportRules rules;
    rules.reduceMethod = 1;
    ASSERT_TRUE(LoadTransducerFile(path, rules, 50, table, name));
    EXPECT_EQ(table.size(), 49u);  // the last 50 lines, one of them short
    EXPECT_EQ(name, "antenna.csv");
    const auto boxes = host.messages();
    ASSERT_EQ(boxes.size(), 2u);
    EXPECT_EQ(boxes[0].title, "DATA REDUCTION");
    EXPECT_EQ(boxes[0].icon, qv::app::Icon::Information);
    EXPECT_EQ(boxes[0].text, ReductionMessage(101, 50, 1));
    EXPECT_EQ(boxes[1].title, "IMPORT ERROR");
    EXPECT_EQ(boxes[1].text, "Import failed on 1 positions");
    EXPECT_EQ(boxes[1].icon, qv::app::Icon::Critical);

    // A name the user gave stays; a file of exactly Max rows says nothing.
    host.calls.clear();
    ASSERT_TRUE(qvtest::writeFile(path, fileOf(50)));
    name = "MINE";
    ASSERT_TRUE(LoadTransducerFile(path, rules, 50, table, name));
    EXPECT_EQ(name, "MINE");
    EXPECT_EQ(table.size(), 50u);
    EXPECT_TRUE(host.messages().empty());
}

TEST(TransducerLoad, UnreadableFileLeavesTheTable) {
    qvtest::TempDir dir;
    qvtest::ScriptedHost host;
    UCorTable table{{"1", "1"}};
    std::string name;
    EXPECT_FALSE(LoadTransducerFile(dir.file("missing.txt"), ImportRules{}, 50, table, name));
    EXPECT_FALSE(LoadTransducerFile(dir.path(), ImportRules{}, 50, table, name));  // a folder
    EXPECT_EQ(table.size(), 1u);
    EXPECT_EQ(name, "");
    EXPECT_EQ(host.messages().size(), 2u);
}

TEST(TransducerImport, SettingsDriveTheRules) {
    qv::app::AppContext ctx;
    ctx.ColSep = 59;
    ctx.XCol = -1;
    ctx.YCol = 0;
    ctx.StartRow = 2;
    ctx.ReduceMethod = 1;
    const ImportRules r = RulesFromSettings(ctx, true, "5");
    const ImportResult got = ImportTransducer("head\r\n1;200\r\n", r, 50);
    ASSERT_EQ(got.rows.size(), 1u);
    EXPECT_EQ(got.rows[0].freq, "200");
    EXPECT_EQ(got.rows[0].level, "6");  // -1 negated, then 5 - (-1)
    EXPECT_EQ(r.reduceMethod, 1);
}

TEST(TransducerImport, HundredThousandLinesWellUnderTheTarget) {
    const std::string file = fileOf(100000, "Frequency\tLevel\r\n");
    ImportRules rules;
    rules.startRow = 2;
    const auto t0 = std::chrono::steady_clock::now();
    const ImportResult r = ImportTransducer(file, rules, 625);
    const auto ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0).count();
    EXPECT_EQ(r.count, 100000);
    EXPECT_EQ(r.rows.size(), 622u);  // step 161 over 100000 lines
    // Generous for a loaded machine or a sanitizer build; the bench reports the real figure.
    EXPECT_LT(ms, 2000.0);
}

}  // namespace
