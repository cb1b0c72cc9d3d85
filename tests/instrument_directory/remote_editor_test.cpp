// The remote interfaces editor's logic on the rows of Quilvane.ini.
#include "dir_fixture.h"
#include "app/context.h"
#include "app/iniio.h"
#include "instrument_directory/remote_editor.h"
#include "instrument_directory/visa_scan.h"
#include "scripted_host.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace qv::dir;
using qv::app::Answer;

namespace {

struct EditorFixture : ::testing::Test {
    qvtest::TempDir dir;
    std::string ini = dir.file("Quilvane.ini");
    qvtest::ScriptedHost host;
    std::string key(const char* section, const std::string& k) {
        return qv::app::ReadIni(ini, section, k, qv::app::Value(std::string())).text();
    }
};

struct TypedCase {
    std::string bus, typed, row;
};
class TypedDevice : public ::testing::TestWithParam<TypedCase> {};

TEST_P(TypedDevice, RowValueResolvesBack) {
    const auto& c = GetParam();
    std::string resource = ResourceFromTyped(c.bus, c.typed);
    const std::string row = RowValueFromResource(resource, "");
    EXPECT_EQ(row, c.row);
    // The next scan opens what the user typed (blanks are not kept).
    std::erase(resource, ' ');
    std::string entry = row;
    EXPECT_EQ(VISAScan().ResolveName(entry), resource);
}

INSTANTIATE_TEST_SUITE_P(Buses, TypedDevice,
                         ::testing::Values(TypedCase{"GPIB0", "20", "|GPIB0|20"},
                                           TypedCase{"LAN", " lab 7 ", "|LAN|lab7"},
                                           TypedCase{"RAW", "TCPIP::h::5025::SOCKET", "|RAW|TCPIP::h::5025::SOCKET"},
                                           TypedCase{"USB", "0x1::0x2::S", "|USB|0x1::0x2::S"}));

TEST_F(EditorFixture, AddedRowsGoBehindTheLastAndADeletedRowKeepsNull) {
    EditorRow a, b, c;
    EXPECT_FALSE(AddDevice(ini, "GPIB0", "  \t", "", &a));  // empty resource: nothing
    EXPECT_EQ(key("DisplayNames", "Name1"), "");
    ASSERT_TRUE(AddDevice(ini, "GPIB0", "20", "Lab", &a));
    ASSERT_TRUE(AddDevice(ini, "LAN", "127.0.0.2", "", &b));
    EXPECT_EQ(a.row, 1);
    EXPECT_EQ(b.row, 2);
    EXPECT_EQ(key("DisplayNames", "Name1"), "Lab|GPIB0|20");
    EXPECT_EQ(key("ScanEntries", "Value2"), "1");
    DeleteDevice(ini, a);
    EXPECT_EQ(key("DisplayNames", "Name1"), "NULL");
    EXPECT_EQ(key("ScanEntries", "Value1"), "0");
    const auto rows = ReadDeviceRows(ini);
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0].row, 2);
    EXPECT_EQ(DevListLine(rows[0].value), "\t|LAN|127.0.0.2");
    EXPECT_EQ(RowValueFromLine("Lab\t|GPIB0| 20"), "Lab|GPIB0|20");
    ASSERT_TRUE(AddDevice(ini, "USB", "x", "", &c));
    EXPECT_EQ(c.row, 3);
    EXPECT_EQ(key("DisplayNames", "Name1"), "NULL");
    EXPECT_EQ(key("ScanEntries", "Value1"), "0");
    EXPECT_EQ(key("DisplayNames", "Name3"), "|USB|x");
    EXPECT_EQ(key("ScanEntries", "Value3"), "1");
    // Servers follow the same rule.
    EditorRow s1, s2, s3;
    ASSERT_TRUE(AddServer(ini, "localhost", &s1));
    ASSERT_TRUE(AddServer(ini, "labpc", &s2));
    host.answers = {Answer::Yes};
    ASSERT_TRUE(DeleteServer(ini, s1));
    ASSERT_TRUE(AddServer(ini, "rack", &s3));
    EXPECT_EQ(s3.row, 3);
    EXPECT_EQ(key("Servers", "ServerEntry1"), "NULL");
}

// The scan reads the rows in their numbers' order: an instrument removed
// and added again comes last, not back at the top.
struct ScanOrderCase {
    std::string name;
    std::string file;                // Quilvane.ini before the edit
    std::vector<int> remove;         // rows removed, in order
    std::vector<std::string> typed;  // RAW resources added after
    std::vector<std::string> order;  // the resources the scan visits
};
void PrintTo(const ScanOrderCase& c, std::ostream* os) { *os << c.name; }
class AddAfterRemove : public EditorFixture, public ::testing::WithParamInterface<ScanOrderCase> {};

TEST_P(AddAfterRemove, ScanOrderFollowsTheRowNumbers) {
    const ScanOrderCase& c = GetParam();
    ASSERT_TRUE(qvtest::writeFile(ini, c.file));
    for (int n : c.remove) {
        const auto rows = ReadDeviceRows(ini);
        auto it = std::find_if(rows.begin(), rows.end(), [n](const EditorRow& r) { return r.row == n; });
        ASSERT_NE(it, rows.end()) << n;
        DeleteDevice(ini, *it);
    }
    for (const std::string& t : c.typed) ASSERT_TRUE(AddDevice(ini, "RAW", t, "", nullptr));

    std::vector<bool> flags;
    qv::app::ReadFlagList({ini, "ScanEntries", "Value"}, {ini, "DisplayNames", "Name"}, flags);
    std::vector<std::string> res, names;
    VISAScan scan;
    EXPECT_TRUE(scan.ReadScanList(res, names, ini, "DisplayNames", "Name", flags, true));
    EXPECT_EQ(res, c.order);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, AddAfterRemove,
    ::testing::Values(
        ScanOrderCase{"ReaddedComesLast",
                      "[DisplayNames]\nName1=|RAW|a\nName2=|RAW|b\nName3=|RAW|c\n"
                      "[ScanEntries]\nValue1=1\nValue2=1\nValue3=1\n",
                      {1},
                      {"a"},
                      {"RAW::b", "RAW::c", "RAW::a"}},
        ScanOrderCase{"EveryRowRemoved",
                      "[DisplayNames]\nName1=|RAW|a\nName2=|RAW|b\n[ScanEntries]\nValue1=1\nValue2=1\n",
                      {1, 2},
                      {"n"},
                      {"RAW::n"}},
        // A deleted row without a flag (a file edited by hand) would end the
        // flags before the new row; the add gives it one.
        ScanOrderCase{"DeletedRowWithoutFlag",
                      "[DisplayNames]\nName1=NULL\nName2=|RAW|b\n[ScanEntries]\nValue2=1\n",
                      {},
                      {"n"},
                      {"RAW::b", "RAW::n"}},
        ScanOrderCase{"UntickedRowStaysOut",
                      "[DisplayNames]\nName1=|RAW|a\nName2=|RAW|b\n[ScanEntries]\nValue1=1\nValue2=0\n",
                      {1},
                      {"a", "m"},
                      {"RAW::a", "RAW::m"}}),
    [](const ::testing::TestParamInfo<ScanOrderCase>& info) { return info.param.name; });

TEST_F(EditorFixture, RenameAsksAndCutsANewComment) {
    EditorRow r;
    ASSERT_TRUE(AddDevice(ini, "GPIB0", "20", "", &r));
    host.inputs = {""};
    EXPECT_FALSE(RenameDevice(ini, r));
    EXPECT_EQ(key("DisplayNames", "Name1"), "|GPIB0|20");
    host.inputs = {"Analyzer bench"};
    EXPECT_TRUE(RenameDevice(ini, r));
    EXPECT_EQ(key("DisplayNames", "Name1"), "Analyz|GPIB0|20");
    ASSERT_EQ(host.calls.size(), 2u);
    EXPECT_EQ(host.calls[0].title, "COMMENT");
    EXPECT_EQ(host.calls[0].text, "Please enter a comment for this entry:");
    host.inputs = {"Second name"};
    EXPECT_TRUE(RenameDevice(ini, r));  // a row with a comment keeps the whole answer
    EXPECT_EQ(key("DisplayNames", "Name1"), "Secondname|GPIB0|20");
}

TEST_F(EditorFixture, LocalhostDeletionAsksFirst) {
    EditorRow local, lab;
    ASSERT_TRUE(AddServer(ini, "localhost", &local));
    ASSERT_TRUE(AddServer(ini, "labpc", &lab));
    host.answers = {Answer::No};
    EXPECT_FALSE(DeleteServer(ini, local));
    EXPECT_EQ(ReadServerRows(ini).size(), 2u);
    const auto msgs = host.messages();
    ASSERT_EQ(msgs.size(), 1u);
    EXPECT_EQ(msgs[0].title, "Delete localhost?");
    EXPECT_EQ(msgs[0].text,
              "By deleting localhost, instruments connected to the local PC\r\nwill NOT be scanned any more.");
    EXPECT_TRUE(DeleteServer(ini, lab));  // no question for another server
    EXPECT_EQ(host.messages().size(), 1u);
    EXPECT_EQ(key("Servers", "ServerEntry2"), "NULL");
    EXPECT_EQ(key("ScanEntriesServers", "Value2"), "0");
    host.answers = {Answer::Yes};
    EXPECT_TRUE(DeleteServer(ini, local));
    EXPECT_TRUE(ReadServerRows(ini).empty());
}

TEST_F(EditorFixture, IncludeQVIBStoresAndWarnsWhenTurnedOn) {
    auto stored = [&] { return qv::app::ReadIni(ini, "Scan", "IncludeQVIB", qv::app::Value("")).text(); };
    SetIncludeQVIB(ini, true);
    EXPECT_EQ(stored(), "1");
    EXPECT_EQ(qv::app::context().IncludeQVIB, 1);
    ASSERT_EQ(host.messages().size(), 1u);
    EXPECT_EQ(host.messages()[0].title, "Include QVIB Passport");
    SetIncludeQVIB(ini, false);
    EXPECT_EQ(stored(), "0");
    EXPECT_EQ(qv::app::context().IncludeQVIB, 0);
    EXPECT_EQ(host.messages().size(), 1u);
}

TEST_F(EditorFixture, OkWritesFlagsSettingsAndReportsLostRows) {
    EditorRow a, s;
    ASSERT_TRUE(AddDevice(ini, "GPIB0", "20", "A", &a));
    ASSERT_TRUE(AddServer(ini, "localhost", &s));
    a.checked = false;
    EditorRow lost{7, "Gone|GPIB0|9", true};
    EditorSettings set;
    set.interfaceIndex = 3;
    set.ipHi = "10";
    EXPECT_FALSE(ApplyEditor(ini, {a, lost}, {s}, set));
    EXPECT_EQ(key("ScanEntries", "Value1"), "0");
    EXPECT_EQ(key("ScanEntriesServers", "Value1"), "1");
    EXPECT_EQ(key("INTERFACENAME", "VAL"), "3");
    const auto msgs = host.messages();
    ASSERT_EQ(msgs.size(), 1u);
    EXPECT_EQ(msgs[0].text,
              "Internal error at setting the scan array: no device found in the ini file: Gone\t|GPIB0|9");
    const EditorSettings back = ReadEditorSettings(ini);
    EXPECT_EQ(back.ipHi, "10");
    EXPECT_EQ(back.ipMi, "168");
    EXPECT_EQ(back.interfaceIndex, 3);
}

TEST_F(EditorFixture, SettingsDefaults) {
    const EditorSettings s = ReadEditorSettings(ini);
    EXPECT_EQ(s.ipHi + "." + s.ipMi + "." + s.ipLo, "192.168.0");
    EXPECT_EQ(s.interfaceIndex, 0);
}

}  // namespace
