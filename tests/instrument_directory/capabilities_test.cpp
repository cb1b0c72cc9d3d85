// The capability file: loading the master list and aliases, the masks, the
// supported-devices table, and the shipped data file itself.
#include "dir_fixture.h"
#include "app/context.h"
#include "app/data_folder.h"
#include "instrument_directory/capabilities.h"

#include <gtest/gtest.h>

using namespace qv::dir;

namespace {

std::string writeIni(qvtest::TempDir& dir, const std::string& text) {
    const std::string path = dir.file("VisaDevices.ini");
    EXPECT_TRUE(qvtest::writeFile(path, text));
    return path;
}

struct ListCase {
    const char* name;
    std::string masterSection;
    std::vector<std::string> masters;
};

class MasterListEnds : public ::testing::TestWithParam<ListCase> {};

TEST_P(MasterListEnds, AtGapNullOrEmpty) {
    qvtest::TempDir dir;
    const std::string ini = writeIni(dir, "[MASTERDEVICES]\n" + GetParam().masterSection);
    const int16_t n = LoadMasterList(ini);
    std::vector<std::string> expected = GetParam().masters;
    if (expected.empty()) expected.push_back("");
    EXPECT_EQ(n, int16_t(expected.size()));
    EXPECT_EQ(identityTables().masters, expected);
}

INSTANTIATE_TEST_SUITE_P(Cases, MasterListEnds,
                         ::testing::Values(ListCase{"Gap", "Value1=TKD\nValue3=KDC\n", {"TKD"}},
                                           ListCase{"Null", "Value1=TKD\nValue2=NULL\nValue3=KDC\n", {"TKD"}},
                                           ListCase{"EmptyValue", "Value1=TKD\nValue2=\nValue3=KDC\n", {"TKD"}},
                                           ListCase{"Empty", "", {}},
                                           ListCase{"Two", "Value1=TKD\nValue2=KDC\n", {"TKD", "KDC"}}),
                         [](const auto& i) { return std::string(i.param.name); });

TEST(CapabilityFile, MissingFileGivesEmptyListAndNoFamily) {
    LoadMasterList("/nonexistent/VisaDevices.ini");
    EXPECT_EQ(identityTables().masters, std::vector<std::string>{""});
    ResetRecords();
    EXPECT_EQ(IdentifyAnswer("Tesselhorn,TKD-7,1,2", 0, "", true), IdentOutcome::NoMatch);
    EXPECT_EQ(deviceRecords()[0].DeviceTyp, "---");
    EXPECT_EQ(FunctionsMask("/nonexistent/VisaDevices.ini", "TKD"), 0);
    EXPECT_EQ(MasterTraces("/nonexistent/VisaDevices.ini", "TKD"), 4);
}

// Numbers read as every numeric setting does: the default only for a missing
// key, 0 for an empty or non-numeric value.
TEST(CapabilityFile, NumericKeysDefaultOnlyWhenMissing) {
    qvtest::TempDir dir;
    const std::string ini = dir.file("VisaDevices.ini");
    ASSERT_TRUE(qvtest::writeFile(ini, "[MASTERTRACES]\nAAA=3\nBBB=\nCCC=abc\n[FUNCTIONS]\nAAA=7 \nBBB=x\n"));
    EXPECT_EQ(MasterTraces(ini, "AAA"), 3);
    EXPECT_EQ(MasterTraces(ini, "BBB"), 0);
    EXPECT_EQ(MasterTraces(ini, "CCC"), 0);
    EXPECT_EQ(MasterTraces(ini, "DDD"), 4);
    EXPECT_EQ(FunctionsMask(ini, "aaa"), 7);  // names match in any case
    EXPECT_EQ(FunctionsMask(ini, "BBB"), 0);
}

TEST(CapabilityFile, AliasTableKeepsMasterOrderAndOnlyMastersWithAliases) {
    qvtest::TempDir dir;
    const std::string ini = writeIni(dir,
                                     "[MASTERDEVICES]\nValue1=AAA\nValue2=BBB\nValue3=CCC\n"
                                     "[MAPPINGS]\nAAA1=XA\nAAA2=YA\nAAA3=NULL\nAAA4=ZA\nCCC1=XC\n");
    LoadMasterList(ini);
    const IdentityTables& t = identityTables();
    ASSERT_EQ(t.aliasTable.size(), 2u);
    EXPECT_EQ(t.aliasTable[0].master, "AAA");
    EXPECT_EQ(t.aliasTable[0].aliases, (std::vector<std::string>{"XA", "YA"}));
    EXPECT_EQ(t.aliasTable[1].master, "CCC");
    EXPECT_EQ(t.aliasIndex.at("CCC"), 1);
    EXPECT_FALSE(t.hasAlias.at("BBB"));
    EXPECT_EQ(t.masterIndex.at("CCC"), 2);
}

TEST(SupportedDevices, GridTextAndClipboard) {
    qvtest::TempDir dir;
    const std::string ini = writeIni(dir,
                                     "[MASTERDEVICES]\nValue1=TKD\nValue2=NOF\nValue3=GLN\n"
                                     "[MAPPINGS]\nTKD1=TKU\nTKD2=TKV\n"
                                     "[FUNCTIONS]\nTKD=35\nGLN=abc\n");
    LoadMasterList(ini);
    const auto grid = SupportedDevicesGrid(ini);
    const std::vector<SupDevRow> expected{
        {"Device", "Hardcopy", "Trace", "Files", "Tables", "UCor"},
        {"TKD", "X", "X", "-", "X", "-"},  // 35 = 1 + 2 + 32
        {"TKU", "X", "X", "-", "X", "-"},
        {"TKV", "X", "X", "-", "X", "-"},
        {"NOF", "-", "-", "-", "-", "-"},  // no FUNCTIONS key
        {"GLN", "-", "-", "-", "-", "-"},  // not a number
    };
    EXPECT_EQ(grid, expected);
    const std::string text = SupportedDevicesText(ini);
    EXPECT_EQ(text.substr(0, text.find("\r\n")),
              "Device              Hardcopy  Trace     File      Tables    UCor      ");
    EXPECT_NE(text.find("TKU                 X         X         -         X         -         \r\n"),
              std::string::npos);
    EXPECT_EQ(SupportedDevicesClipboard({grid[0], grid[1]}),
              "Device\tHardcopy\tTrace\tFiles\tTables\tUCor\t\r\nTKD\tX\tX\t-\tX\t-\t\r\n");
}

TEST(CapabilityMask, ReservedWordsHaveNoFunctions) {
    const std::string ini = qvtest::shippedTables();
    EXPECT_EQ(CapabilityMaskFor(ini, "TKD"), 63);
    for (const char* w : {"", "NoDevice", "DeviceUnknown", "---"}) EXPECT_EQ(CapabilityMaskFor(ini, w), 0) << w;
}

// The shipped file: what the trace window, the editor and the main window
// read from it.
TEST(ShippedFile, TracesMasksAndDeviceList) {
    const std::string ini = qvtest::shippedTables();
    LoadMasterList(ini);
    const auto& masters = identityTables().masters;
    ASSERT_EQ(masters.size(), 33u);
    // No tag is swallowed by a shorter tag standing before it.
    for (size_t i = 0; i < masters.size(); ++i)
        for (size_t j = i + 1; j < masters.size(); ++j)
            EXPECT_NE(masters[j].rfind(masters[i], 0), 0u) << masters[i] << " swallows " << masters[j];
    for (const std::string& m : masters) {
        const int16_t expected = (m == "MYI" || m == "MYE") ? 4 : m.rfind("KD", 0) == 0 ? 2 : 1;
        EXPECT_EQ(MasterTraces(ini, m), expected) << m;
        EXPECT_GT(FunctionsMask(ini, m), 0) << m;
    }
    // The file browser only where a family has a listing dialect and drives.
    EXPECT_EQ(FunctionsMask(ini, "TKA") & kCapFiles, 0);
    EXPECT_EQ(FunctionsMask(ini, "GLN"), 21);
    const auto entries = DeviceEntries(ini);
    ASSERT_EQ(entries.size(), 33u);
    EXPECT_EQ(entries.front(), "TKD spectrum analyzer");
    EXPECT_EQ(SupportedDevicesGrid(ini).size(), 1u + 33u + 6u);
}

}  // namespace

namespace {

TEST(DataFolder, ProgramFolderFirstThenTheBuildTreeCopy) {
    auto& ctx = qv::app::context();
    const std::string saved = ctx.ProgramFolder;
    qvtest::TempDir dir;
    ctx.ProgramFolder = dir.path();
    // A folder without the capability file does not count.
    EXPECT_NE(qv::app::dataFolder(), dir.path());
    ASSERT_TRUE(qvtest::writeFile(dir.file("VisaDevices.ini"), "[MASTERDEVICES]\nValue1=TKD\n"));
    EXPECT_EQ(qv::app::dataFolder(), dir.path());
    EXPECT_EQ(VisaDevicesPath(), dir.file("VisaDevices.ini"));
    ctx.ProgramFolder.clear();
    // The tests run from <build>/bin, beside the copied share/quilvane.
    const std::string found = qv::app::dataFolder();
    EXPECT_TRUE(qvtest::fileExists(found + "/VisaDevices.ini")) << found;
    EXPECT_EQ(qvtest::readFile(found + "/VisaDevices.ini"), qvtest::readFile(qvtest::shippedTables()));
    ctx.ProgramFolder = saved;
}

}  // namespace
