// The listing dialects against a scripted port: the exact commands each
// family is sent, the rows its answers give, and what a broken or missing
// answer does.
#include "file_browser/catalog_text.h"
#include "file_browser/listing.h"
#include "scripted_host.h"

#include <gtest/gtest.h>

#include <deque>

namespace {

using namespace qv::file_browser;

// Records what is sent (queries marked with their report flag) and answers
// from a queue; an empty queue answers as an instrument that stays silent.
class ScriptedPort : public CatalogPort {
public:
    std::deque<std::string> answers;
    std::vector<std::string> sent;

    void write(const std::string& command) override { sent.push_back(command); }
    std::string ask(const std::string& query, bool report) override {
        sent.push_back(query + (report ? " [report]" : " [quiet]"));
        if (answers.empty()) return std::string(kMaxAnswer, ' ');
        std::string a = std::move(answers.front());
        answers.pop_front();
        return a;
    }
};

// "name:D:size" per row, folders D, files F.
std::string rows(const std::vector<InstFileEntry>& entries) {
    std::string out;
    for (const InstFileEntry& e : entries)
        out += (out.empty() ? "" : " ") + e.Name + (e.IsDir ? ":D:" : ":F:") + std::to_string(e.Size);
    return out;
}

struct Case {
    const char* tag;
    std::string path;
    std::vector<std::string> answers;
    std::vector<std::string> sent;
    std::string rows;  // "!" when the listing fails
};

void PrintTo(const Case& c, std::ostream* os) { *os << c.tag << " " << c.path; }

class Dialects : public ::testing::TestWithParam<Case> {};

TEST_P(Dialects, SendAndRead) {
    const Case& c = GetParam();
    qvtest::ScriptedHost host;
    ScriptedPort port;
    port.answers.assign(c.answers.begin(), c.answers.end());
    std::vector<InstFileEntry> entries{{"stale", false, 1}};
    bool empty = false;
    const bool ok = ListDirectory(port, c.tag, c.path, entries, empty);
    EXPECT_EQ(port.sent, c.sent);
    if (c.rows == "!") {
        EXPECT_FALSE(ok);
    } else {
        ASSERT_TRUE(ok);
        EXPECT_EQ(rows(entries), c.rows);
        EXPECT_EQ(empty, entries.empty());
    }
    EXPECT_TRUE(host.messages().empty());
}

const std::vector<std::string> kSelectC{"MMEM:MSIS 'C:\\'", "MMEM:CDIR 'C:\\'", "MMEM:CAT? [report]"};
const std::vector<std::string> kSelectCX{"MMEM:MSIS 'C:\\'", "MMEM:CDIR 'C:\\X\\'", "MMEM:CAT? [report]"};
const std::vector<std::string> kLongC{"MMEM:CAT:LONG? 'C:\\' [quiet]"};
const std::vector<std::string> kLongCA{"MMEM:CAT:LONG? 'C:\\A\\' [quiet]"};

INSTANTIATE_TEST_SUITE_P(
    Answers, Dialects,
    ::testing::Values(
        // Drive triples: folders carry no size; a trailing comma changes nothing.
        Case{"KDC", "C:\\", {"5,6,SUB,<DIR>,,a.bin,,100"}, kSelectC, "SUB:D:-1 a.bin:F:100"},
        Case{"KDM", "C:\\X\\", {" 5,6, SUB , <DIR> ,,a.bin,,100, \r\n"}, kSelectCX, "..:D:0 SUB:D:-1 a.bin:F:100"},
        Case{"TKR", "C:\\", {"0,0,a,,12.5,b,,13.5,c,,none"}, kSelectC, "a:F:12 b:F:14 c:F:0"},
        Case{"KDC", "C:\\", {"0,0,big,,2147483648"}, kSelectC, "!"},
        // Files and root folders: folders only at a drive root, the first dropped.
        Case{"PWE", "C:\\", {"0,0,\" a.txt ,,12\",\"b,,3\"", "\"C:\\\",\"S1\",\"S2\""},
             {"MMEM:MSIS 'C:\\'", "MMEM:CDIR 'C:\\'", "MMEM:CAT? [report]", "MMEM:DCAT? [report]"},
             "a.txt:F:12 b:F:3 S1:D:-1 S2:D:-1"},
        Case{"PWE", "C:\\", {"0,0,\"a,,1\"", "\"C:\\\""},
             {"MMEM:MSIS 'C:\\'", "MMEM:CDIR 'C:\\'", "MMEM:CAT? [report]", "MMEM:DCAT? [report]"}, "a:F:1"},
        Case{"PWE", "C:\\X\\", {"0,0,\"a,,1\""}, kSelectCX, "..:D:0 a:F:1"},
        Case{"PWE", "C:\\X\\", {"0,0,\"a,1\""}, kSelectCX, "!"},
        // Folders first, the instrument's own dot rows kept, no parent row.
        Case{"DOC", "C:\\X\\", {"1,2,\".,DIR,0\",\"a.txt,,5\",\"..,DIR,0\",\"SUB,DIR,0\""}, kSelectCX,
             ".:D:0 ..:D:0 SUB:D:0 a.txt:F:5"},
        // Addressed catalogues: dot rows dropped, the parent row made by the root test.
        Case{"TKD", "C:\\A\\", {"0,1000,\".,DIR,0\",\"..,DIR,0\""}, kLongCA, "..:D:0"},
        Case{"TKD", "C:\\", {"0,1000,\".,DIR,0\",\"..,DIR,0\""}, kLongC, ""},
        Case{"TKW", "C:\\", {"10,20,\"a.txt,,12\",\"SUB,DIR,0\""}, kLongC, "a.txt:F:12 SUB:D:0"},
        Case{"VHJO", "C:\\", {"0,1000"}, kLongC, ""},
        Case{"KDP", "C:\\", {""}, kLongC, ""},
        Case{"GLY", "D:\\S\\", {"0,0,\"..,DIR,0\",\"x,,-1\""}, {"MMEM:CAT? 'D:\\S\\' [report]"}, "..:D:0 x:F:-1"},
        Case{"MYI", "C:\\", {"0,0,\"x,,1\""}, {"MMEM:CAT? 'C:\\' [quiet]"}, "x:F:1"},
        Case{"GLN", "/hdd/", {"0,0,\".,DIR,1024\",\"..,DIR,1024\",\"w.wv,,2048\""}, {"MMEM:CAT? '/hdd/' [report]"},
             "..:D:0 w.wv:F:2048"},
        Case{"GLN", "/", {"0,0,\".,DIR,0\""}, {"MMEM:CAT? '/' [report]"}, ".:D:0"},
        // Scan: unquoted drive, folder without drive and final separator.
        Case{"BJY", "INT:\\", {"0,D,\"SUB\",\"..\",F,\"a.txt\","},
             {"MMEM:MSIS INT", "MMEM:CDIR '\\'", "MMEM:SCAN? [report]"}, "SUB:D:-1 a.txt:F:-1"},
        Case{"BJY", "INT:\\USERDATA\\PRINT\\", {"0,\"a.png\""},
             {"MMEM:MSIS INT", "MMEM:CDIR '\\USERDATA\\PRINT'", "MMEM:SCAN? [report]"}, "..:D:0 a.png:F:-1"},
        // Two catalogues: folders, then files.
        Case{"MYE", "/INT/", {"\".,,0\",\"..,,0\",\"data,,0\"", "9,9,\"a.csv,,100\""},
             {"MMEM:DCAT? '/INT/*' [quiet]", "MMEM:CAT? '/INT/*.*' [quiet]"}, "data:D:0 a.csv:F:100"},
        Case{"MYE", "/INT/data/", {"\"..,,0\",\"d2,,0\"", "9,9"},
             {"MMEM:DCAT? '/INT/data/*' [quiet]", "MMEM:CAT? '/INT/data/*.*' [quiet]"}, "..:D:0 d2:D:0"},
        // Two positional catalogues: groups of seven and nine after two fields.
        Case{"TKG", "", {"h,h,SUB,1,2,3,4,5,6,OTHER,1,2,3,4,5,6", "h,h,TRACE,csv,1234.9,x,x,x,x,x,x"},
             {"MMEM:CDIR '\\'", "MMEM:CAT:DIR? [quiet]", "MMEM:CAT? [quiet]"}, "SUB:D:0 OTHER:D:0 TRACE.csv:F:1234"},
        Case{"TKG", "/\\", {"", "h,h,A,b,4294967296,x,x,x,x"},
             {"MMEM:CDIR '/\\'", "MMEM:CAT:DIR? [quiet]", "MMEM:CAT? [quiet]"}, "!"},
        // No dialect: nothing is sent.
        Case{"TKB", "C:\\", {}, {}, ""}));

TEST(ListingDialect, AttachedToTheFamiliesOfTheDispatchTable) {
    const std::vector<std::pair<const char*, int>> table{
        {"KDC", 1}, {"TKA", 1}, {"TKR", 1}, {"KDM", 1}, {"PWE", 2}, {"DOC", 3},  {"TKM", 4}, {"TKD", 4},
        {"TKN", 4}, {"TKW", 4}, {"KDP", 4}, {"VHJO", 4}, {"GLY", 5}, {"PZB", 5}, {"BJX", 5}, {"GLN", 6},
        {"BJY", 7}, {"MYI", 8}, {"MYE", 9}, {"TKG", 10}, {"PWEF", 0}, {"TKAH", 0}, {"TKB", 0}, {"VHY", 0},
        {"BQS", 0}, {"KDE", 0}, {"TKD ", 0}, {"", 0}};
    for (const auto& [tag, number] : table) {
        const ListingDialect* d = listingDialectFor(tag);
        EXPECT_EQ(d ? d->number : 0, number) << tag;
    }
}

// An instrument that does not answer at all: only the long catalogue tells
// the user; the others show what the root test gives.
TEST(ListingDialect, SilentInstrument) {
    for (const char* tag : {"KDC", "PWE", "DOC", "TKD", "GLY", "GLN", "BJY", "MYI", "MYE", "TKG"}) {
        qvtest::ScriptedHost host;
        ScriptedPort port;
        std::vector<InstFileEntry> entries;
        bool empty = false;
        const bool ok = ListDirectory(port, tag, "C:\\Q\\", entries, empty);
        if (std::string(tag) == "TKD") {
            EXPECT_FALSE(ok);
            ASSERT_EQ(host.messages().size(), 1u);
            EXPECT_EQ(host.messages()[0].title, "Error");
            EXPECT_EQ(host.messages()[0].text,
                      "Unable to read files. Probably your firmware version does not yet support this feature!");
            EXPECT_EQ(host.messages()[0].icon, qv::app::Icon::Critical);
            continue;
        }
        EXPECT_TRUE(ok) << tag;
        EXPECT_TRUE(host.messages().empty()) << tag;
        EXPECT_EQ(rows(entries), std::string(tag) == "DOC" ? "" : "..:D:0") << tag;
    }
}

// Broken answers never read past their end; whatever cannot be read fails
// the whole listing rather than showing a guess.
TEST(ListingDialect, BrokenAnswersFailWithoutMessage) {
    const std::vector<std::pair<const char*, std::string>> broken{
        {"GLY", "0,0,\"a,,1\",\"b,"},           // cut inside the last element
        {"GLY", "0,0,\"a,,99999999999\""},      // beyond 32 bits
        {"GLY", "0,0,\"a,,-2147483649\""},
        {"GLY", "0,0,\"a,,1e400\""},            // beyond even a double
        {"DOC", "0,0,\"a,,1\",\"b\""},
        {"MYE", "\"d\""},
        {"PWE", "0,0,\"a.txt"},               // an unterminated quote
    };
    for (const auto& [tag, answer] : broken) {
        qvtest::ScriptedHost host;
        ScriptedPort port;
        port.answers = {answer, answer};
        std::vector<InstFileEntry> entries;
        bool empty = false;
        EXPECT_FALSE(ListDirectory(port, tag, "C:\\", entries, empty)) << tag << " " << answer;
        EXPECT_TRUE(entries.empty());
        EXPECT_TRUE(host.messages().empty());
    }
}

TEST(ListingDialect, SizesAtTheEdgesOfTheRange) {
    const std::vector<std::pair<std::string, int32_t>> sizes{
        {"2147483647", 2147483647}, {"-2147483648", -2147483648}, {"2147483647.4", 2147483647},
        {"2.5", 2}, {" 3.5E0kB", 4}, {"", 0}, {"x", 0}};
    for (const auto& [text, value] : sizes) {
        int32_t size = -7;
        EXPECT_TRUE(catalog::readSize(text, size)) << text;
        EXPECT_EQ(size, value) << text;
    }
    int32_t size = 0;
    EXPECT_FALSE(catalog::readSize("2147483647.5", size));
    EXPECT_TRUE(catalog::readSize("-2147483648.9", size, true));
    EXPECT_EQ(size, -2147483648);
}

}  // namespace
