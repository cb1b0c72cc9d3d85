// Typed ini access, the numbered-row lists, SetLoadSave and the rules of
// the settings window.
#include "app/context.h"
#include "app/iniio.h"
#include "app/profile.h"
#include "app/settings.h"

#include "test_support.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace qv::app;

namespace {

class BooleanText : public ::testing::TestWithParam<std::pair<const char*, bool>> {};

TEST_P(BooleanText, ReadsAsBoolean) {
    qvtest::TempDir dir;
    std::string file = dir.file("t.ini");
    ASSERT_TRUE(ProfileWrite(file, "A", "flag", GetParam().first));
    Value v = ReadIni(file, "A", "flag", Value(""), Value(false));
    ASSERT_EQ(v.type(), ValueType::Boolean);
    EXPECT_EQ(v.boolean(), GetParam().second) << GetParam().first;
}

INSTANTIATE_TEST_SUITE_P(Texts, BooleanText,
                         ::testing::Values(std::pair{"wahr", true}, std::pair{"True", true}, std::pair{"1", true},
                                           std::pair{" 1", true}, std::pair{"0", false}, std::pair{"yes", false},
                                           std::pair{"-1", false}, std::pair{"", false}, std::pair{"10", false}));

TEST(ReadIni, MissingDefaultGivesBlankOne) {
    qvtest::TempDir dir;
    Value v = ReadIni(dir.file("none.ini"), "Script", "Recent");
    ASSERT_TRUE(v.isString());
    EXPECT_EQ(v.text(), " 1");
}

TEST(ReadIni, NumberDefaultsCarryTheSignBlank) {
    EXPECT_EQ(IniDefaultText(Value(int16_t{5})), " 5");
    EXPECT_EQ(IniDefaultText(Value(0)), " 0");
    EXPECT_EQ(IniDefaultText(Value(-3)), "-3");
    EXPECT_EQ(IniDefaultText(Value(2.5)), " 2.5");
    qvtest::TempDir dir;
    // A string template keeps the default's text as it is.
    EXPECT_EQ(ReadIni(dir.file("none.ini"), "A", "k", Value(7), Value("")).text(), " 7");
}

struct NumberCase {
    const char* text;
    double expected;
};

class NumberText_ : public ::testing::TestWithParam<NumberCase> {};

TEST_P(NumberText_, ReadsLeadingDecimalNumber) {
    qvtest::TempDir dir;
    std::string file = dir.file("t.ini");
    ASSERT_TRUE(ProfileWrite(file, "A", "n", GetParam().text));
    Value v = ReadIni(file, "A", "n", Value(0), Value(int16_t{0}));
    ASSERT_EQ(v.type(), ValueType::Double);
    EXPECT_DOUBLE_EQ(v.number(), GetParam().expected) << GetParam().text;
}

INSTANTIATE_TEST_SUITE_P(Texts, NumberText_,
                         ::testing::Values(NumberCase{"2.5", 2.5}, NumberCase{"2.5abc", 2.5}, NumberCase{"abc", 0},
                                           NumberCase{"-1.5E2", -150}, NumberCase{".5", 0.5}, NumberCase{"+7", 7},
                                           NumberCase{"2,5", 2}, NumberCase{"1e", 1}, NumberCase{"1e999", 0}));

TEST(WriteIni, WritesByType) {
    qvtest::TempDir dir;
    std::string file = dir.file("t.ini");
    WriteIni(file, "A", "b", Value(true));
    WriteIni(file, "A", "i", Value(-1));
    WriteIni(file, "A", "d", Value(2.5));
    WriteIni(file, "A", "f", Value(0.1f));
    WriteIni(file, "A", "s", Value(" as is"));
    EXPECT_FALSE(WriteIni(file, "A", "m", Value()));
    EXPECT_EQ(qvtest::readFile(file), "[A]\nb=1\ni=-1\nd=2.5\nf=0.1\ns= as is\n");
}

TEST(IniItem, ModesSetReadAndWrite) {
    qvtest::TempDir dir;
    std::string file = dir.file("t.ini");
    int16_t v = 42;
    IniItem(file, "A", "k", v, kIniDefault, int16_t{3});
    EXPECT_EQ(v, 3);
    IniItem(file, "A", "k", v, kIniLoad, int16_t{9});
    EXPECT_EQ(v, 9);
    v = -7;
    IniItem(file, "A", "k", v, kIniSave, int16_t{0});
    EXPECT_EQ(ProfileRead(file, "A", "k", ""), "-7");
    ProfileWrite(file, "A", "k", "2.5");  // rounded half to even
    IniItem(file, "A", "k", v, kIniLoad, int16_t{0});
    EXPECT_EQ(v, 2);
    ProfileWrite(file, "A", "k", "99999");  // clamped to the field
    IniItem(file, "A", "k", v, kIniLoad, int16_t{0});
    EXPECT_EQ(v, 32767);
}

class RowList : public ::testing::Test {
protected:
    void rows(const std::vector<std::string>& values) {
        for (size_t i = 0; i < values.size(); ++i)
            ASSERT_TRUE(ProfileWrite(file, "L", "Row" + std::to_string(i + 1), values[i]));
    }
    qvtest::TempDir dir;
    std::string file = dir.file("rows.ini");
    IniRows list{file, "L", "Row"};
};

// A deleted row stays deleted: what is added goes behind the last row.
TEST_F(RowList, AppendGoesBehindTheLastRow) {
    rows({"A", "NULL", "B"});
    EXPECT_EQ(EndRow(list), 4);
    EXPECT_EQ(AppendRow(list, "C"), 4);
    EXPECT_EQ(ReadRow(list, 2), "NULL");
    EXPECT_EQ(ReadRow(list, 4), "C");
    EXPECT_EQ(AppendRow(list, "D"), 5);
}

TEST_F(RowList, FindStopsAtFirstEmptyRow) {
    rows({"A", "", "B"});
    EXPECT_EQ(FindRow(list, "A"), 1);
    EXPECT_EQ(FindRow(list, "B"), -1);
    EXPECT_EQ(FindRow(list, "a"), -1) << "values compare exactly";
}

TEST_F(RowList, DeleteMarksRowAndRefusesUnlisted) {
    rows({"A", "B"});
    EXPECT_EQ(DeleteRow(list, "B"), 2);
    EXPECT_EQ(ReadRow(list, 2), "NULL");
    const std::string before = qvtest::readFile(file);
    EXPECT_EQ(DeleteRow(list, "Z"), -1);
    EXPECT_EQ(DeleteRow(list, ""), -1);
    EXPECT_EQ(qvtest::readFile(file), before);
}

TEST_F(RowList, CountDeletedRowsUpToLimit) {
    rows({"NULL", "A", "NULL", "NULL", "B"});
    EXPECT_EQ(CountDeletedRows(list, 100), 3);
    EXPECT_EQ(CountDeletedRows(list, 3), 2);
    EXPECT_EQ(CountDeletedRows(list, 0), 1) << "row 1 is always read";
}

struct FlagCase {
    const char* name;
    std::vector<std::pair<std::string, std::string>> rows;  // value, name
    std::vector<bool> flags;
    bool result;
};

class FlagList : public ::testing::TestWithParam<FlagCase> {};

TEST_P(FlagList, OneFlagPerLiveRow) {
    const FlagCase& c = GetParam();
    qvtest::TempDir dir;
    std::string file = dir.file("q.ini");
    for (size_t i = 0; i < c.rows.size(); ++i) {
        std::string r = std::to_string(i + 1);
        if (!c.rows[i].first.empty()) ProfileWrite(file, "ScanEntries", "Value" + r, c.rows[i].first);
        if (!c.rows[i].second.empty()) ProfileWrite(file, "DisplayNames", "Name" + r, c.rows[i].second);
    }
    std::vector<bool> flags{true, true, true};
    bool result = ReadFlagList({file, "ScanEntries", "Value"}, {file, "DisplayNames", "Name"}, flags);
    EXPECT_EQ(flags, c.flags);
    EXPECT_EQ(result, c.result);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, FlagList,
    ::testing::Values(
        FlagCase{"DeletedRowSkipped", {{"1", "A"}, {"0", "NULL"}, {"0", "B"}}, {true, false}, true},
        FlagCase{"EmptyFirstValue", {{"", "A"}, {"1", "B"}}, {false}, false},
        FlagCase{"DeletedFirstRow", {{"0", "NULL"}, {"1", "B"}, {"1", "C"}}, {true, true}, true},
        FlagCase{"OtherValueStoresNothing", {{"1", "A"}, {"2", "B"}, {"0", "C"}}, {true, false, false}, true},
        FlagCase{"NoRowsAtAll", {}, {false}, false},
        FlagCase{"ParallelListsWithDeletedServer", {{"1", "host1"}, {"NULL", "NULL"}, {"1", "host3"}, {"0", "host4"}},
                 {true, true, false}, true}),
    [](const auto& info) { return std::string(info.param.name); });

class Settings : public ::testing::Test {
protected:
    void SetUp() override {
        ctx.IniFilePath = dir.file("Quilvane.ini");
        ctx.ProgramFolder = "/opt/quilvane";
    }
    qvtest::TempDir dir;
    AppContext ctx;
};

TEST_F(Settings, LoadOfFreshFileGivesDefaults) {
    ctx.CopyImage = 0;
    ctx.ColSep = 44;
    SetLoadSave(1, ctx);
    EXPECT_TRUE(ctx.ErrorPollDefault);
    EXPECT_EQ(ctx.CopyImage, 1);
    EXPECT_EQ(ctx.Color, 1);
    EXPECT_EQ(ctx.ColSep, 9);
    EXPECT_EQ(ctx.YCol, 2);
    EXPECT_EQ(ctx.ReduceMethod, 2);
    EXPECT_EQ(ctx.SaveFolder, "");
    // The shipped scripts, found wherever the data files are.
    EXPECT_TRUE(qvtest::fileExists(ctx.ScriptFolder + "/identify.txt")) << ctx.ScriptFolder;
    EXPECT_EQ(ctx.ScriptRecent, " 1");
    EXPECT_EQ(qvtest::readFile(ctx.IniFilePath), "") << "loading writes nothing";
}

TEST_F(Settings, SaveWritesTableOrderAndLoadsBack) {
    ctx.SaveImage = 1;
    ctx.CopyImg = 0;
    ctx.CopyDat = 1;
    ctx.XCol = -1;
    ctx.StartRow = 12;
    ctx.SaveFolder = "/data/save";
    ctx.ScriptRecent = "/data/run.txt";
    ctx.SelectedDeviceNumber = 1;
    ctx.DeviceListIndex = [] { return 3; };
    SetLoadSave(2, ctx);
    const std::string text = qvtest::readFile(ctx.IniFilePath);
    const char* order[] = {"[Hardcopy]\nSaveImage=1\nCopyImage=1\nPasteWord=0\nColor=1\n",
                           "[Trace]\nSaveDat=0\nCopyImg=0\nCopyDat=1\n", "[UCor]\nColSep=9\nXCol=-1\n",
                           "[Scan]\nIncludeQVIB=0\n", "[Directory]\nSave=/data/save\nTemp=\n",
                           "[Script]\nDirectory=\nRecent=/data/run.txt\n", "[SelectedDevice]\nNumber=3\n"};
    size_t at = 0;
    for (const char* part : order) {
        size_t found = text.find(part, at);
        ASSERT_NE(found, std::string::npos) << part << " in\n" << text;
        at = found;
    }

    AppContext back;
    back.IniFilePath = ctx.IniFilePath;
    SetLoadSave(1, back);
    EXPECT_EQ(back.SaveImage, 1);
    EXPECT_EQ(back.CopyDat, 1);
    EXPECT_EQ(back.CopyImg, 0);
    EXPECT_EQ(back.XCol, -1);
    EXPECT_EQ(back.StartRow, 12);
    EXPECT_EQ(back.SaveFolder, "/data/save");
    EXPECT_EQ(back.ScriptRecent, "/data/run.txt");
    EXPECT_EQ(back.SelectedDeviceNumber, 3);
}

TEST_F(Settings, CopyBoxesExcludeEachOther) {
    ctx.CopyImg = 1;
    EXPECT_TRUE(TracCopyDatClicked(ctx, true));
    EXPECT_EQ(ctx.CopyDat, 1);
    EXPECT_EQ(ctx.CopyImg, 0);
    EXPECT_FALSE(TracCopyDatClicked(ctx, false));
    EXPECT_EQ(ctx.CopyImg, 0) << "unticking leaves the other alone";
    EXPECT_TRUE(TracCopyImgClicked(ctx, true));
    EXPECT_EQ(ctx.CopyDat, 0);
}

TEST_F(Settings, ColumnsNeverBothFirstOrBothLast) {
    ctx.YCol = 0;
    UCorXFirstClicked(ctx);
    EXPECT_EQ(ctx.XCol, 0);
    EXPECT_EQ(ctx.YCol, -1);
    UCorXLastClicked(ctx);
    EXPECT_EQ(ctx.XCol, -1);
    EXPECT_EQ(ctx.YCol, 0);
    ctx.YCol = 4;
    UCorXFirstClicked(ctx);
    EXPECT_EQ(ctx.YCol, 4);
    UCorYValueChanged(ctx, "7");
    EXPECT_EQ(ctx.YCol, 7);
    ColumnView view = ColumnControls(ctx.YCol);
    EXPECT_EQ(view.choice, ColumnChoice::This);
    EXPECT_TRUE(view.valueEnabled);
    EXPECT_EQ(view.valueText, "7");
    EXPECT_EQ(ColumnControls(-1).choice, ColumnChoice::Last);
    EXPECT_FALSE(ColumnControls(0).valueEnabled);
}

TEST_F(Settings, SeparatorAndStartRow) {
    EXPECT_FALSE(UCorColThisClicked(ctx, ""));
    EXPECT_EQ(ctx.ColSep, 9);
    EXPECT_TRUE(UCorColThisClicked(ctx, ";x"));
    EXPECT_EQ(ctx.ColSep, ';');
    EXPECT_EQ(SeparatorControls(ctx).charText, ";");
    EXPECT_FALSE(SeparatorControls(ctx).tabSelected);
    UCorColCharChanged(ctx, "§");
    EXPECT_EQ(ctx.ColSep, 0xA7);
    EXPECT_EQ(SeparatorControls(ctx).charText, "§");
    EXPECT_TRUE(UCorColTabClicked(ctx, "§"));
    EXPECT_TRUE(SeparatorControls(ctx).tabSelected);

    UCorStartRowChanged(ctx, "3.6");
    EXPECT_EQ(ctx.StartRow, 4);
    UCorStartRowChanged(ctx, "abc");
    EXPECT_EQ(ctx.StartRow, 4);
    UCorStartRowChanged(ctx, "-5");
    EXPECT_EQ(ctx.StartRow, -5);
}

TEST(Context, RowLocatorsFollowIniFile) {
    AppContext ctx;
    ctx.IniFilePath = "/home/u/.config/Tesselhorn/Quilvane/Quilvane.ini";
    SetRowLocators(ctx);
    EXPECT_EQ(ctx.ScanList, (IniRows{ctx.IniFilePath, "ScanEntries", "Value"}));
    EXPECT_EQ(ctx.DisplayList, (IniRows{ctx.IniFilePath, "DisplayNames", "Name"}));
    EXPECT_EQ(ctx.ServerFlagList, (IniRows{ctx.IniFilePath, "ScanEntriesServers", "Value"}));
    EXPECT_EQ(ctx.ServerList, (IniRows{ctx.IniFilePath, "Servers", "ServerEntry"}));
    EXPECT_EQ(ctx.InterfaceNames, std::vector<std::string>{"---"});
}

}  // namespace
