// The script files as text: line preparation, the header, parameters,
// substitution, the listing of two folders and the support test.
#include "automation/script.h"
#include "instrument_directory/dev_ident.h"
#include "scripted_host.h"
#include "test_support.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

namespace {

using namespace qv::automation;

struct LineCase {
    const char* name;
    const char* raw;
    bool empty;
    bool hasColon;
    const char* keyword;
    const char* value;
};

class PrepareLineCases : public ::testing::TestWithParam<LineCase> {};

TEST_P(PrepareLineCases, SplitsKeywordAndValue) {
    const LineCase& c = GetParam();
    ScriptLine l = PrepareLine(c.raw);
    EXPECT_EQ(l.empty, c.empty);
    EXPECT_EQ(l.hasColon, c.hasColon);
    EXPECT_EQ(l.keyword, c.keyword);
    EXPECT_EQ(l.value, c.value);
}

INSTANTIATE_TEST_SUITE_P(
    Script, PrepareLineCases,
    ::testing::Values(LineCase{"CommentCutsCommand", "scpi: INIT -- starts", false, true, "scpi", "INIT"},
                      LineCase{"CommentOnly", "  -- scpi: *RST", true, false, "", ""},
                      LineCase{"CommentInsideWord", "scpi: A--B", false, true, "scpi", "A"},
                      LineCase{"UpperKeyword", "SCPI:FREQ 1", false, true, "scpi", "FREQ 1"},
                      LineCase{"FurtherColonsInValue", "scpi: SENS:FREQ:CENT 1", false, true, "scpi",
                               "SENS:FREQ:CENT 1"},
                      LineCase{"TabsAroundAndInside", "\tscpi:\tA\tB\t", false, true, "scpi", "A    B"},
                      LineCase{"TabBeforeColon", "desc\t: x", false, true, "desc", "x"},
                      LineCase{"NoColon", "  *RST  ", false, false, "", ""},
                      LineCase{"BlanksOnly", " \t ", true, false, "", ""},
                      LineCase{"EmptyValue", "name:", false, true, "name", ""}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(Script, SplitLinesReadsLfAndCrLfAlike) {
    EXPECT_EQ(SplitLines("a\r\nb\nc"), SplitLines("a\nb\r\nc\r\n"));
    EXPECT_EQ(SplitLines("a\r\n\r\nb"), (std::vector<std::string>{"a", "", "b"}));
    EXPECT_EQ(SplitLines("x\ry"), (std::vector<std::string>{"x\ry"})) << "a lone CR ends no line";
    EXPECT_TRUE(SplitLines("").empty());
}

struct ParmCase {
    const char* name;
    const char* declaration;
    const char* parmName;
    const char* value;
    const char* type;
};

class ParseParmCases : public ::testing::TestWithParam<ParmCase> {};

TEST_P(ParseParmCases, ReadsTypeNameAndDefault) {
    const ParmCase& c = GetParam();
    ScriptParm p = ParseParm(c.declaration, "/home/u/save");
    EXPECT_EQ(p.name, c.parmName);
    EXPECT_EQ(p.value, c.value);
    EXPECT_EQ(p.type, c.type);
}

INSTANTIATE_TEST_SUITE_P(
    Script, ParseParmCases,
    ::testing::Values(ParmCase{"TypedWithDefault", "INT:N = 5", "N", "5", "INT"},
                      ParmCase{"UnknownTypeIsPartOfName", "COUNT:N=1", "COUNT:N", "1", "STRING"},
                      ParmCase{"LowerTypeIsPartOfName", "int:N", "int:N", "", "STRING"},
                      ParmCase{"NoTypeNoDefault", "Source", "Source", "", "STRING"},
                      ParmCase{"EqualsInDefault", "STRING:Q=a=b", "Q", "a=b", "STRING"},
                      ParmCase{"FileDefaultGoesToSaveFolder", "FILE:T=result.dat", "T", "/home/u/save/result.dat",
                               "FILE"},
                      ParmCase{"FileWithFolderStays", "FILE:T=/tmp/r.dat", "T", "/tmp/r.dat", "FILE"},
                      ParmCase{"FileWithBackslashStays", "FILE:T=C:\\r.dat", "T", "C:\\r.dat", "FILE"},
                      ParmCase{"FileEmptyDefaultStaysEmpty", "FILE:T", "T", "", "FILE"},
                      ParmCase{"FloatWithColonInDefault", "FLOAT:F=1:2", "F", "1:2", "FLOAT"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(Script, HeaderCollectsListingKeywords) {
    ScriptEntry e;
    ReadScriptHeader(
        "name: First\r\n"
        "desc: one\n"
        "instr: TKD, TKM\n"
        "parm: INT:N=1\n"
        "scpi: *RST\n"
        "no colon here\n"
        "desc: two -- comment\n"
        "instr: gl y\n"
        "parm:\n"
        "NAME: Second\n",
        e);
    EXPECT_EQ(e.Name, "Second") << "the last name wins, keywords in any case";
    EXPECT_EQ(e.Desc, "one\r\ntwo\r\n");
    EXPECT_EQ(e.Instr, "TKD,TKM,gly,");
    EXPECT_EQ(e.Parm, "INT:N=1\r\n\r\n");
    EXPECT_EQ(SelectionText(e, false), "Second (TKD,TKM,gly)");
    EXPECT_EQ(SelectionText(IntroEntry(), true), " ");
    const std::vector<ScriptParm> rows = ScriptParms(e, "/s");
    ASSERT_EQ(rows.size(), 1u) << "a blank declaration gives no row";
    EXPECT_EQ(rows[0].name, "N");
}

struct ValueCase {
    const char* type;
    const char* text;
    bool ok;
};

class CheckParmValueCases : public ::testing::TestWithParam<ValueCase> {};

TEST_P(CheckParmValueCases, RefusesWithTheTypesMessage) {
    const ValueCase& c = GetParam();
    std::string message = "stale";
    EXPECT_EQ(CheckParmValue(c.type, c.text, message), c.ok) << c.type << " " << c.text;
    const std::string want =
        !c.ok ? (std::string(c.type) == "INT" ? "Value must be an integer!" : "Value must be an float!") : "";
    EXPECT_EQ(message, want);
}

INSTANTIATE_TEST_SUITE_P(Script, CheckParmValueCases,
                         ::testing::Values(ValueCase{"INT", "32767", true}, ValueCase{"INT", "-32768", true},
                                           ValueCase{"INT", " +12 ", true}, ValueCase{"INT", "40000", false},
                                           ValueCase{"INT", "-32769", false}, ValueCase{"INT", "1.5", false},
                                           ValueCase{"INT", "12abc", false}, ValueCase{"INT", "+-1", false},
                                           ValueCase{"FLOAT", "1E9", true}, ValueCase{"FLOAT", "-.5", true},
                                           ValueCase{"FLOAT", "1,5", false}, ValueCase{"FLOAT", "inf", false},
                                           ValueCase{"FLOAT", "", false}, ValueCase{"STRING", "any?", true},
                                           ValueCase{"FILE", "", true}));

TEST(Script, SubstitutesInGridOrderAndLeavesTheRest) {
    const std::vector<ScriptParm> parms{
        {"A", "%B%", "STRING"}, {"B", "2", "STRING"}, {"a", "low", "STRING"}, {"Self", "x%Self%", "STRING"}};
    EXPECT_EQ(Substitute("FREQ %A% %A%", parms), "FREQ 2 2") << "an earlier value is seen by a later name";
    EXPECT_EQ(Substitute("%a%/%A%/%C%/100%", parms), "low/2/%C%/100%");
    EXPECT_EQ(Substitute("%Self%", parms), "x%Self%") << "a value holding its own key is put in once";
}

// Defaults come from the file: values naming the next parameter twice would
// double the line with every parameter.
TEST(Script, SubstitutionOfNestedValuesStaysBounded) {
    std::vector<ScriptParm> parms;
    for (int i = 0; i < 40; ++i)
        parms.push_back(
            {"P" + std::to_string(i), "%P" + std::to_string(i + 1) + "%%P" + std::to_string(i + 1) + "%", "STRING"});
    const std::string out = Substitute("X %P0%", parms);
    EXPECT_LE(out.size(), size_t(1) << 20);
    EXPECT_GT(out.size(), size_t(1) << 19) << "it grows until the bound";
}

// Support through the family, an alias from the identity tables, and the
// substring rule.
TEST(Script, SupportTestUsesFamilyAliasesAndSubstrings) {
    qvtest::TempDir dir;
    const std::string ini = dir.file("VisaDevices.ini");
    qvtest::writeFile(ini, "[MASTERDEVICES]\nValue1=TKD\nValue2=GLY\n[MAPPINGS]\nTKD1=TKU\nTKD2=TKV\n");
    qv::dir::LoadMasterList(ini);
    EXPECT_EQ(FamilyAliases("TKD"), (std::vector<std::string>{"TKU", "TKV"}));
    EXPECT_TRUE(FamilyAliases("GLY").empty());

    ScriptEntry e;
    e.Instr = "tkv,XGLY,";
    EXPECT_TRUE(ScriptSupports(e, "TKD", FamilyAliases("TKD"))) << "through its alias TKV, letter case ignored";
    EXPECT_TRUE(ScriptSupports(e, "GLY", {})) << "a tag ending in the family's name serves it";
    EXPECT_FALSE(ScriptSupports(e, "TKU", {}));
    EXPECT_FALSE(ScriptSupports(e, "", {})) << "no instrument";
    EXPECT_FALSE(ScriptSupports(IntroEntry(), "TKD", {"TKU"}));
    qv::dir::ResetIdentityTables();
}

class FindScriptsTest : public ::testing::Test {
protected:
    void SetUp() override {
        ::mkdir(user.c_str(), 0755);
        ::mkdir(shipped.c_str(), 0755);
    }
    qvtest::TempDir dir;
    std::string user = dir.file("user"), shipped = dir.file("shipped");
    qvtest::ScriptedHost host;

    static std::vector<std::string> names(const std::vector<ScriptEntry>& list) {
        std::vector<std::string> out;
        for (const ScriptEntry& e : list) out.push_back(e.Name);
        return out;
    }
};

TEST_F(FindScriptsTest, UserFolderFirstNameOrderFirstOfANameWins) {
    qvtest::writeFile(shipped + "/b.txt", "name: Common\ninstr: TKD\n");
    qvtest::writeFile(shipped + "/a.TXT", "name: Shipped only\n");
    qvtest::writeFile(shipped + "/c.txt", "desc: no name\n");
    qvtest::writeFile(shipped + "/d.dat", "name: Not a script\n");
    ::mkdir((shipped + "/folder.txt").c_str(), 0755);
    qvtest::writeFile(user + "/z.txt", "name: Common\ninstr: GLY\n");
    qvtest::writeFile(user + "/y.Txt", "name: Mine\n");
    qvtest::writeFile(user + "/x.txt", "name: Mine\n");
    std::vector<std::string> unreadable;
    std::vector<ScriptEntry> list = FindScripts(user, shipped, &unreadable);
    EXPECT_EQ(names(list), (std::vector<std::string>{" ", "Mine", "Common", "Shipped only"}));
    EXPECT_EQ(list[1].File, user + "/x.txt") << "name order within a folder";
    EXPECT_EQ(list[2].Instr, "GLY,") << "the user's script hides the shipped one";
    EXPECT_EQ(list[0].Desc, IntroEntry().Desc);
    EXPECT_TRUE(unreadable.empty());
    EXPECT_TRUE(host.messages().empty());

    EXPECT_EQ(RecentIndex(list, "Shipped only"), 3);
    EXPECT_EQ(RecentIndex(list, "Gone"), 0);
    EXPECT_EQ(RecentIndex(list, ""), 0);
    EXPECT_EQ(names(FindScripts("", shipped)), (std::vector<std::string>{" ", "Shipped only", "Common"}));
}

TEST_F(FindScriptsTest, UnreadableScriptIsToldOnceAndDropped) {
    // Far too large for a script (sparse: it costs no disk); a permission
    // would not stop a test run as root.
    qvtest::writeFile(user + "/a.txt", "name: Huge\n");
    ASSERT_EQ(::truncate((user + "/a.txt").c_str(), 17L << 20), 0);
    qvtest::writeFile(user + "/b.txt", "name: Fine\n");
    std::vector<std::string> unreadable;
    std::vector<ScriptEntry> list = FindScripts(user, "", &unreadable);
    EXPECT_EQ(names(list), (std::vector<std::string>{" ", "Fine"}));
    EXPECT_EQ(unreadable, (std::vector<std::string>{user + "/a.txt"}));
    ASSERT_EQ(host.messages().size(), 1u);
    EXPECT_EQ(host.messages()[0].title, "Script Error");
    EXPECT_EQ(host.messages()[0].text, "Error during script loading");
}

}  // namespace
