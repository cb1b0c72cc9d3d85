// Catalogue answers in each family's own form, the file commands around
// them, and what the instrument refuses.
#include <fcntl.h>
#include <sys/stat.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "sim/catalog.h"
#include "sim_harness.h"

using qvsimtest::Harness;
namespace fs = std::filesystem;

namespace {

constexpr int64_t kNoon = 1795435200;  // 2026-11-23 12:00:00 UTC

// An instrument whose drives hold only what the test puts there.
qv::sim::InstrumentOptions unseeded() {
    qv::sim::InstrumentOptions o;
    o.seedFiles = false;
    return o;
}

// A known folder T at `dir` (the folder path ending in its separator):
// a sub-folder SUB with one file, a.txt (12 bytes) and b.png (3 bytes),
// all dated kNoon.
void makeKnownFolder(Harness& h, const std::string& dir) {
    const char sep = dir.back();
    const std::string t = dir + "T";
    h.send("MMEM:MDIR '" + t + "'\n");
    h.send("MMEM:MDIR '" + t + sep + "SUB'\n");
    h.send("MMEM:DATA '" + t + sep + "SUB" + sep + "inner.txt',#11x\n");
    h.send("MMEM:DATA '" + t + sep + "a.txt',#212hello world\n\n");
    h.send("MMEM:DATA '" + t + sep + "b.png',#13PNG\n");
    ASSERT_EQ(h.drainErrors(), std::vector<int>{});
    for (const char* leaf : {"SUB", "a.txt", "b.png"}) {
        std::string path;
        ASSERT_EQ(h.inst->sandboxLocked().hostPath(t + sep + leaf, path), 0);
        const struct timespec times[2] = {{kNoon, 0}, {kNoon, 0}};
        ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW), 0) << path;
    }
}

// The answer with its free-space field (the second) replaced by "<free>"
// when the expectation has one: it is the host's and changes.
std::string comparable(std::string answer, const std::string& expected) {
    if (!answer.empty() && answer.back() == '\n') answer.pop_back();
    size_t at = expected.find("<free>");
    if (at == std::string::npos) return answer;
    size_t first = answer.find(',');
    size_t second = first == std::string::npos ? first : answer.find_first_of(",;", first + 1);
    if (second == std::string::npos) return answer;
    std::string free = answer.substr(first + 1, second - first - 1);
    if (free.empty() || free.find_first_not_of("0123456789") != std::string::npos) return answer;
    return answer.substr(0, first + 1) + "<free>" + answer.substr(second);
}

struct FormCase {
    const char* tag;
    const char* dir;    // where T is made
    const char* sent;   // the queries, with any selection before them
    const char* answer; // without LF
};
std::ostream& operator<<(std::ostream& os, const FormCase& c) { return os << c.tag << " " << c.sent; }

class Forms : public ::testing::TestWithParam<FormCase> {};

TEST_P(Forms, KnownFolderAnswersInTheFamilysForm) {
    const auto& c = GetParam();
    Harness h(c.tag, unseeded());
    makeKnownFolder(h, c.dir);
    const std::string expected = c.answer;
    EXPECT_EQ(comparable(h.send(std::string(c.sent) + "\n"), expected), expected);
    EXPECT_EQ(h.drainErrors(), std::vector<int>{});
}

INSTANTIATE_TEST_SUITE_P(
    BelowARoot, Forms,
    ::testing::Values(
        FormCase{"TKD", "D:\\", "MMEM:CAT:LONG? 'D:\\T\\'",
                 R"(15,<free>,".,DIR,0","..,DIR,0","SUB,DIR,0","a.txt,,12","b.png,,3")"},
        FormCase{"VHJO", "D:\\", "MMEM:CDIR 'D:\\T';CAT:LONG?",
                 R"(15,<free>,".,DIR,0","..,DIR,0","SUB,DIR,0","a.txt,,12","b.png,,3")"},
        FormCase{"GLY", "D:\\", "MMEM:CAT? 'D:\\T\\'",
                 R"(15,<free>,".,DIR,0","..,DIR,0","SUB,DIR,0","a.txt,,12","b.png,,3")"},
        FormCase{"KDC", "C:\\", "MMEM:MSIS 'C:\\';CDIR 'C:\\T\\';CAT?", "15,<free>,SUB,<DIR>,,a.txt,,12,b.png,,3"},
        FormCase{"TKA", "\\", "MMEM:CDIR '\\T\\';CAT?", "15,<free>,SUB,<DIR>,,a.txt,,12,b.png,,3"},
        FormCase{"PWE", "\\", "MMEM:CDIR '\\T\\';CAT?;DCAT?",
                 R"(15,<free>,"a.txt,,12","b.png,,3";".","..","SUB")"},
        // Folders and files in one name order, "." and ".." as rows.
        FormCase{"DOC", "D:\\", "MMEM:MSIS 'D:\\';CDIR 'D:\\T\\';CAT?",
                 R"(15,<free>,".,DIR,0","..,DIR,0","a.txt,,12","b.png,,3","SUB,DIR,0")"},
        FormCase{"GLQ", "/hdd/", "MMEM:CAT? '/hdd/T/'",
                 R"(15,<free>,".,DIR,1024","..,DIR,1024","SUB,DIR,0","a.txt,,12","b.png,,3")"},
        FormCase{"GLN", "/var/user/", "MMEM:CAT? '/var/user/T/'",
                 R"(15,<free>,".,DIR,1024","..,DIR,1024","SUB,DIR,0","a.txt,,12","b.png,,3")"},
        FormCase{"BJY", "INT:\\", "MMEM:MSIS INT;CDIR '\\T';SCAN?", R"(4,D,"..","SUB",F,"a.txt","b.png")"},
        FormCase{"BQS", "EXT:\\", "MMEM:MSIS EXT;CDIR '\\T';SCAN?", R"(4,D,"..","SUB",F,"a.txt","b.png")"},
        FormCase{"MYE", "/INT/", "MMEM:DCAT? '/INT/T/*'", R"(".,,0","..,,0","SUB,,0")"},
        FormCase{"MYE", "/USB_REAR/", "MMEM:CAT? '/USB_REAR/T/*.*'", R"(15,<free>,"a.txt,,12","b.png,,3")"},
        FormCase{"TKG", "/", "MMEM:CDIR '/\\T\\';CAT:DIR?",
                 "15,<free>,SUB,DIR,0,2026-11-23,12:00:00,RW,0"},
        FormCase{"TKG", "/", "MMEM:CDIR '/\\T\\';CAT?",
                 "15,<free>,a,txt,12,2026-11-23,12:00:00,RW,0,0,1,b,png,3,2026-11-23,12:00:00,RW,0,0,1"}));

// At a drive's root the forms that mark the parent leave it out.
INSTANTIATE_TEST_SUITE_P(
    AtARoot, Forms,
    ::testing::Values(FormCase{"TKD", "D:\\", "MMEM:CAT:LONG? 'D:\\'", R"(0,<free>,"T,DIR,0")"},
                      FormCase{"PZB", "D:\\", "MMEM:CAT? 'D:\\'", R"(0,<free>,"T,DIR,0")"},
                      FormCase{"KDM", "C:\\", "MMEM:MSIS 'C:\\';CDIR 'C:\\';CAT?", "0,<free>,T,<DIR>,"},
                      FormCase{"PWE", "\\", "MMEM:CDIR '\\';CAT?;DCAT?", R"(0,<free>;".","T")"},
                      FormCase{"DOC", "C:\\", "MMEM:MSIS 'C:\\';CDIR 'C:\\';CAT?", R"(0,<free>,".,DIR,0","T,DIR,0")"},
                      FormCase{"GLN", "/hdd/", "MMEM:CAT? '/hdd/'", R"(0,<free>,".,DIR,1024","..,DIR,1024","T,DIR,0")"},
                      // Above the drives: their folders only.
                      FormCase{"GLN", "/hdd/", "MMEM:CAT? '/'",
                               R"(0,<free>,".,DIR,1024","..,DIR,1024","hdd,DIR,0","var,DIR,0")"},
                      FormCase{"GLQ", "/hdd/", "MMEM:CAT? '/var/'", R"(0,<free>,".,DIR,1024","..,DIR,1024","user,DIR,0")"},
                      FormCase{"MYE", "/INT/", "MMEM:DCAT? '/*'", R"(".,,0","..,,0","INT,,0","USB_FRONT,,0","USB_REAR,,0")"},
                      FormCase{"BJY", "INT:\\", "MMEM:MSIS INT;CDIR '\\';SCAN?", R"(2,D,"T","USERDATA",F)"},
                      FormCase{"MYE", "/INT/", "MMEM:DCAT? '/INT/*'", R"(".,,0","..,,0","DATA,,0","T,,0")"},
                      FormCase{"MYE", "/INT/", "MMEM:CDIR '/INT/T';CAT? '*.*'", R"(15,<free>,"a.txt,,12","b.png,,3")"},
                      // Without a leading separator this family means the root,
                      // not the folder it is in.
                      FormCase{"TKG", "/", "MMEM:CDIR '/\\T\\SUB\\';CDIR 'T\\';CAT:DIR?;:MMEM:CDIR?",
                               "15,<free>,SUB,DIR,0,2026-11-23,12:00:00,RW,0;\"/T\""},
                      FormCase{"TKG", "/", "MMEM:CDIR '/\\T\\';CDIR '\\';CDIR?", "\"/\""}));

TEST(CatalogForms, ListingsLeaveOutNamesNoFormCouldCarry) {
    Harness h("TKD", unseeded());
    const std::string d = h.inst->rootPath() + "/D/";
    for (const char* odd : {"a,b.txt", "q\"uote", "star*", "bell\x07"}) qvtest::writeFile(d + odd, "x");
    ::mkfifo((d + "fifo").c_str(), 0600);
    qvtest::writeFile(d + "plain.txt", "x");
    EXPECT_EQ(comparable(h.send("MMEM:CAT:LONG? 'D:\\'\n"), "<free>"), R"(1,<free>,"plain.txt,,1")");
}

struct Refusal {
    const char* tag;
    const char* dir;  // where T is made
    const char* sent;
    int error;
    const char* text;  // the SYST:ERR? text, or "" when any
};
std::ostream& operator<<(std::ostream& os, const Refusal& r) { return os << r.tag << " " << r.sent; }

class Refusals : public ::testing::TestWithParam<Refusal> {};

TEST_P(Refusals, ErrorNumberAndNoAnswer) {
    const auto& r = GetParam();
    Harness h(r.tag, unseeded());
    makeKnownFolder(h, r.dir);
    EXPECT_EQ(h.send(std::string(r.sent) + "\n"), "");
    const std::string err = h.nextError();
    EXPECT_EQ(err.substr(0, err.find(',')), std::to_string(r.error));
    if (*r.text) {
        EXPECT_EQ(err, std::to_string(r.error) + ",\"" + r.text + "\"");
    }
    EXPECT_EQ(h.nextError(), "0,\"No error\"");
}

INSTANTIATE_TEST_SUITE_P(
    QueriesTheFamilyLacks, Refusals,
    ::testing::Values(Refusal{"TKB", "D:\\", "MMEM:CAT:LONG? 'D:\\'", -113, ""}, Refusal{"TKD", "D:\\", "MMEM:SCAN?", -113, ""},
                      Refusal{"TKD", "D:\\", "MMEM:DCAT?", -113, ""}, Refusal{"TKD", "D:\\", "MMEM:CAT:DIR?", -113, ""},
                      Refusal{"TKD", "D:\\", "MMEM:MKD 'x'", -113, ""}, Refusal{"TKD", "D:\\", "MMEM:RMD 'T'", -113, ""},
                      // Only the scan families take the drive unquoted.
                      Refusal{"TKD", "D:\\", "MMEM:MSIS D", -104, ""}));

// The folders above path-named drives hold nothing of their own.
INSTANTIATE_TEST_SUITE_P(
    AboveTheDrives, Refusals,
    ::testing::Values(Refusal{"GLN", "/hdd/", "MMEM:MDIR '/x'", -257, ""},
                      Refusal{"GLN", "/hdd/", "MMEM:MDIR '/var/x'", -257, ""},
                      Refusal{"GLN", "/hdd/", "MMEM:DATA '/var/x.txt',#11x", -257, ""},
                      Refusal{"GLN", "/hdd/", "MMEM:CDIR '/var';DATA 'x.txt',#11x", -257, ""},
                      Refusal{"GLN", "/hdd/", "MMEM:RDIR '/var'", -257, "File name error;a drive cannot be removed"},
                      Refusal{"GLN", "/hdd/", "MMEM:DEL '/var'", -257, ""},
                      Refusal{"MYE", "/INT/", "MMEM:MDIR '/NEW'", -257, ""}));

INSTANTIATE_TEST_SUITE_P(
    MissingOrBad, Refusals,
    ::testing::Values(Refusal{"TKD", "D:\\", "MMEM:CAT:LONG? 'D:\\nope\\'", -256, ""},
                      Refusal{"TKD", "D:\\", "MMEM:CAT? 'D:\\T\\a.txt'", -256, ""},
                      Refusal{"TKD", "D:\\", "MMEM:CDIR 'D:\\T\\a.txt'", -256, ""},
                      Refusal{"TKD", "D:\\", "MMEM:DATA? 'D:\\T\\nope.txt'", -256, ""},
                      Refusal{"TKD", "D:\\", "MMEM:DEL 'D:\\T\\nope.txt'", -256, ""},
                      Refusal{"TKD", "D:\\", "MMEM:RDIR 'D:\\T\\nope'", -256, ""},
                      Refusal{"TKD", "D:\\", "MMEM:MDIR 'D:\\nope\\x'", -256, ""},
                      Refusal{"TKD", "D:\\", "MMEM:DATA 'D:\\nope\\x.txt',#11x", -256, ""},
                      Refusal{"TKD", "D:\\", "MMEM:RDIR 'D:\\T'", -250, "Mass storage error;directory not empty"},
                      Refusal{"TKD", "D:\\", "MMEM:RDIR 'D:\\T\\a.txt'", -257, "File name error;not a directory"},
                      Refusal{"TKD", "D:\\", "MMEM:RDIR 'D:\\'", -257, "File name error;a drive cannot be removed"},
                      Refusal{"TKD", "D:\\", "MMEM:DEL 'D:\\T\\SUB'", -257, ""},
                      Refusal{"TKD", "D:\\", "MMEM:MDIR 'D:\\T'", -257, ""},
                      Refusal{"TKD", "D:\\", "MMEM:DATA 'D:\\a,b.txt',#11x", -257, ""},
                      Refusal{"TKD", "D:\\", "MMEM:DATA? 'D:\\T\\*.txt'", -257, ""},
                      Refusal{"BJY", "INT:\\", "MMEM:CDIR '\\T';RMD 'SUB'", -250, "Mass storage error;directory not empty"},
                      Refusal{"BJY", "INT:\\", "MMEM:CDIR '\\T';RMD 'nope'", -256, ""},
                      Refusal{"BJY", "INT:\\", "MMEM:CDIR '\\T';DATA? 'nope.txt'", -256, ""},
                      Refusal{"BJY", "INT:\\", "MMEM:MSIS NOPE", -257, ""},
                      // A wildcard only as the last component.
                      Refusal{"MYE", "/INT/", "MMEM:DCAT? '/INT/*/T/*'", -257, ""},
                      Refusal{"MYE", "/INT/", "MMEM:CAT? '/INT/T/a*.*'", -257, ""},
                      Refusal{"MYE", "/INT/", "MMEM:DCAT? '/INT/nope/*'", -256, ""}));

// Every catalogue form and folder command stays inside the instrument.
INSTANTIATE_TEST_SUITE_P(
    Escapes, Refusals,
    ::testing::Values(Refusal{"TKD", "D:\\", "MMEM:CAT:LONG? 'D:\\..\\..\\'", -257, ""},
                      Refusal{"GLN", "/hdd/", "MMEM:CAT? '/hdd/../../'", -257, ""},
                      Refusal{"GLN", "/hdd/", "MMEM:CAT? '/etc/'", -257, ""},
                      Refusal{"GLN", "/hdd/", "MMEM:CAT? '/var/../../'", -257, ""},
                      Refusal{"GLN", "/hdd/", "MMEM:CDIR '/hdd';CDIR '..'", -257, ""},
                      Refusal{"MYE", "/INT/", "MMEM:DCAT? '/INT/../../*'", -257, ""},
                      Refusal{"BJY", "INT:\\", "MMEM:SCAN? '..\\..\\..\\..'", -257, ""},
                      Refusal{"TKG", "/", "MMEM:CDIR '..\\'", -257, ""},
                      Refusal{"TKG", "/", "MMEM:CDIR '/\\T';CAT:DIR? '..\\..'", -257, ""}));

// The scan family's names are relative to the current folder; the full
// "INT:\..." forms reach the same files.
TEST(ScanFamily, RelativeAndFullNames) {
    Harness h("BJY", unseeded());
    const std::string print = h.inst->rootPath() + "/INT/USERDATA/PRINT/";
    h.send("MMEM:MSIS INT;CDIR '\\USERDATA\\PRINT'\n");
    EXPECT_EQ(h.send("MMEM:CDIR?;MSIS?\n"), "\"INT:\\USERDATA\\PRINT\";\"INT:\"\n");
    h.send("MMEM:MKD 'n';MKD 'm'\n");
    h.send("MMEM:DATA 'INT:\\USERDATA\\PRINT\\f.txt',#13abc\n");
    h.send("MMEM:DATA 'n\\g.txt',#12de\n");
    EXPECT_EQ(h.send("MMEM:SCAN?\n"), "4,D,\"..\",\"m\",\"n\",F,\"f.txt\"\n");
    EXPECT_EQ(h.send("MMEM:DATA? 'f.txt'\n"), "#13abc\n");
    EXPECT_EQ(h.send("MMEM:DATA? 'INT:\\USERDATA\\PRINT\\n\\g.txt'\n"), "#12de\n");
    h.send("MMEM:RMD 'm';DEL 'f.txt';DEL 'INT:\\USERDATA\\PRINT\\n\\g.txt';RDIR 'INT:\\USERDATA\\PRINT\\n'\n");
    EXPECT_EQ(h.drainErrors(), std::vector<int>{});
    EXPECT_TRUE(fs::is_empty(print));
    EXPECT_EQ(h.send("MMEM:SCAN?\n"), "1,D,\"..\",F\n");
    // The other drive, by word or by string.
    h.send("MMEM:MSIS EXT;MKD 'x';:MMEM:MSIS 'INT:'\n");
    EXPECT_TRUE(fs::is_directory(h.inst->rootPath() + "/EXT/x"));
    EXPECT_EQ(h.send("MMEM:CDIR?\n"), "\"INT:\\\"\n");
    EXPECT_EQ(h.drainErrors(), std::vector<int>{});
}

// Entered from above, a drive is the drive itself; other folders of the
// instrument's root stay out of sight.
TEST(CatalogForms, FoldersAboveTheDrivesLeadIntoThem) {
    Harness h("GLN", unseeded());
    qvtest::writeFile(h.inst->rootPath() + "/junk.txt", "x");
    std::filesystem::create_directories(h.inst->rootPath() + "/var/cache");
    EXPECT_EQ(comparable(h.send("MMEM:CDIR '/';CAT?\n"), "<free>"),
              R"(0,<free>,".,DIR,1024","..,DIR,1024","hdd,DIR,0","var,DIR,0")");
    EXPECT_EQ(comparable(h.send("MMEM:CDIR 'var';CAT?\n"), "<free>"),
              R"(0,<free>,".,DIR,1024","..,DIR,1024","user,DIR,0")");
    h.send("MMEM:CDIR 'user';DATA 'x.txt',#11x\n");
    EXPECT_EQ(h.send("MMEM:CDIR?;DATA? '/var/user/x.txt'\n"), "\"/var/user\";#11x\n");
    EXPECT_EQ(h.drainErrors(), std::vector<int>{});
}

TEST(CatalogForms, WildcardOnlyAsTheLastComponent) {
    using qv::sim::withoutWildcard;
    EXPECT_EQ(withoutWildcard("/INT/DATA/*"), "/INT/DATA/");
    EXPECT_EQ(withoutWildcard("/INT/*.*"), "/INT/");
    EXPECT_EQ(withoutWildcard("*"), "");
    EXPECT_EQ(withoutWildcard("/INT/a*"), "/INT/a*");
    EXPECT_EQ(withoutWildcard("/INT/*/x"), "/INT/*/x");
    EXPECT_EQ(withoutWildcard("/INT/*.csv"), "/INT/*.csv");
}

TEST(CatalogForms, AliasesAnswerAsTheirFamily) {
    for (auto [alias, family] : std::vector<std::pair<const char*, const char*>>{
             {"TKU", "TKD"}, {"TKV", "TKD"}, {"KDZ", "KDC"}, {"MYK", "MYI"}, {"GLQ", "GLN"}, {"KDX", "TKW"}})
        EXPECT_EQ(qv::sim::catalogFormFor(alias), qv::sim::catalogFormFor(family)) << alias;
}

}  // namespace
