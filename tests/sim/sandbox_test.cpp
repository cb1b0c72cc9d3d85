// The instrument's file system: drives, folders, and names that try to
// leave the root.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "sim_harness.h"

using qvsimtest::Harness;
namespace fs = std::filesystem;

namespace {

struct Escape {
    const char* profile;
    const char* name;
    int error;
};
std::ostream& operator<<(std::ostream& os, const Escape& e) { return os << e.profile << " " << e.name; }

class Escapes : public ::testing::TestWithParam<Escape> {};

// Every way out is refused, and nothing is written outside the root.
TEST_P(Escapes, NameCannotLeaveTheRoot) {
    qvtest::TempDir outside;
    const auto& c = GetParam();
    qv::sim::InstrumentOptions o;
    o.root = outside.file("root");
    Harness h(c.profile, o);
    std::string name = c.name;
    auto subst = [&](std::string s) {
        for (size_t at; (at = s.find("$OUT")) != std::string::npos;) s.replace(at, 4, outside.path());
        return s;
    };
    name = subst(name);
    h.send("MMEM:DATA '" + name + "',#13bad\n");
    h.send("MMEM:DATA? '" + name + "'\n");
    h.send("MMEM:MDIR '" + name + "'\n");
    h.send("MMEM:CDIR '" + name + "'\n");
    auto codes = h.drainErrors();
    ASSERT_EQ(codes.size(), 4u);
    for (int code : codes) EXPECT_TRUE(code == -256 || code == -257) << code;
    EXPECT_EQ(codes[0], c.error);
    // Only the root folder and the planted files may exist beside it.
    for (const auto& e : fs::directory_iterator(outside.path()))
        EXPECT_TRUE(e.path().filename() == "root" || e.path().filename() == "secret") << e.path();
    EXPECT_FALSE(fs::exists(outside.file("escaped")));
}

INSTANTIATE_TEST_SUITE_P(
    Names, Escapes,
    ::testing::Values(Escape{"TKD", "..\\escaped", -257}, Escape{"TKD", "D:\\..\\..\\escaped", -257},
                      Escape{"TKD", "../../escaped", -257}, Escape{"TKD", "Q:\\escaped", -257},
                      Escape{"TKD", "\\..\\escaped", -257}, Escape{"TKD", "C:..\\escaped", -257},
                      Escape{"TKD", "sub:x\\escaped", -257}, Escape{"TKD", "$OUT/escaped/x", -256},
                      Escape{"GLN", "/etc/escaped", -257}, Escape{"GLN", "/hdd/../../escaped", -257},
                      Escape{"GLN", "/var/../escaped", -257}, Escape{"TKG", "/../escaped", -257},
                      Escape{"PWE", "..", -257}, Escape{"PWE", "a/../../escaped", -257},
                      Escape{"TKD", "bad\x01name", -257}, Escape{"BJY", "..\\..\\..\\escaped", -257},
                      Escape{"TKG", "..\\escaped", -257}, Escape{"MYE", "/INT/*/../../escaped", -257},
                      Escape{"GLN", "/var/../../escaped", -257}, Escape{"GLN", "/../escaped", -257}));

// The scan family's own folder commands climb no further than the others.
TEST(Sandbox, ScanFolderCommandsStayInside) {
    qvtest::TempDir outside;
    fs::create_directory(outside.file("victim"));
    qv::sim::InstrumentOptions o;
    o.root = outside.file("root");
    Harness h("BJY", o);
    for (const char* name : {"..\\..\\..\\escaped", "..\\..\\..\\..\\escaped", "\\..\\escaped"})
        h.send(std::string("MMEM:MKD '") + name + "'\n");
    for (const char* name : {"..\\..\\..\\victim", "..\\..\\..\\..\\victim", "INT:\\..\\..\\victim"})
        h.send(std::string("MMEM:RMD '") + name + "'\n");
    EXPECT_EQ(h.drainErrors(), std::vector<int>(6, -257));
    EXPECT_TRUE(fs::is_directory(outside.file("victim")));
    EXPECT_FALSE(fs::exists(outside.file("escaped")));
}

TEST(Sandbox, SymbolicLinksAreNotFollowed) {
    qvtest::TempDir outside;
    qvtest::writeFile(outside.file("secret"), "secret");
    qv::sim::InstrumentOptions o;
    o.root = outside.file("root");
    Harness h("TKD", o);
    std::string d = h.inst->rootPath() + "/D";
    ASSERT_EQ(::symlink(outside.file("secret").c_str(), (d + "/file-link").c_str()), 0);
    ASSERT_EQ(::symlink(outside.path().c_str(), (d + "/dir-link").c_str()), 0);
    EXPECT_EQ(h.send("MMEM:DATA? 'file-link'\n"), "");
    EXPECT_EQ(h.send("MMEM:DATA? 'dir-link\\secret'\n"), "");
    h.send("MMEM:DATA 'dir-link\\new',#12xx\n");
    h.send("MMEM:CDIR 'dir-link'\n");
    auto codes = h.drainErrors();
    EXPECT_EQ(codes.size(), 4u);
    EXPECT_FALSE(fs::exists(outside.file("new")));
    // Overwriting the link replaces the link, never its target.
    h.send("MMEM:DATA 'file-link',#13new\n");
    EXPECT_EQ(qvtest::readFile(outside.file("secret")), "secret");
    EXPECT_FALSE(fs::is_symlink(d + "/file-link"));
    // A catalogue does not show links.
    EXPECT_EQ(h.send("MMEM:CAT?\n").find("dir-link"), std::string::npos);
}

struct Placement {
    const char* profile;
    const char* name;
    const char* hostPath;  // under the root
};
std::ostream& operator<<(std::ostream& os, const Placement& p) { return os << p.profile << " " << p.name; }
class Drives : public ::testing::TestWithParam<Placement> {};

TEST_P(Drives, NamesLandInTheirDriveFolder) {
    const auto& p = GetParam();
    Harness h(p.profile);
    h.send(std::string("MMEM:DATA '") + p.name + "',#12ok\n");
    EXPECT_TRUE(h.drainErrors().empty());
    EXPECT_EQ(qvtest::readFile(h.inst->rootPath() + "/" + p.hostPath), "ok");
}

INSTANTIATE_TEST_SUITE_P(
    Families, Drives,
    ::testing::Values(Placement{"TKD", "a.txt", "D/a.txt"}, Placement{"TKD", "C:\\a.txt", "C/a.txt"},
                      Placement{"TKD", "c:/a.txt", "C/a.txt"}, Placement{"TKD", "\\a.txt", "D/a.txt"},
                      Placement{"TKD", "A:a.txt", "A/a.txt"}, Placement{"TKW", "a.txt", "C/a.txt"},
                      Placement{"GLN", "a.txt", "hdd/a.txt"}, Placement{"GLN", "/var/user/a.txt", "var/user/a.txt"},
                      Placement{"MYE", "/USB_REAR/a.txt", "USB_REAR/a.txt"}, Placement{"MYE", "a.txt", "INT/a.txt"},
                      Placement{"TKG", "/a.txt", "a.txt"}, Placement{"PWE", "\\a.txt", "a.txt"},
                      Placement{"BJY", "a.txt", "INT/USERDATA/PRINT/a.txt"},
                      Placement{"BJY", "EXT:\\a.txt", "EXT/a.txt"}));

TEST(Sandbox, FolderCommandsAndCatalogue) {
    Harness h;
    EXPECT_EQ(h.send("MMEM:CDIR?;MSIS?\n"), "\"D:\\\";\"D:\"\n");
    h.send("MMEM:MDIR 'data'\n");
    h.send("MMEM:CDIR 'data'\n");
    EXPECT_EQ(h.send("MMEM:CDIR?\n"), "\"D:\\data\"\n");
    h.send("MMEM:DATA 'one.txt',#13abc\n");
    h.send("MMEM:MDIR 'inner'\n");
    h.send("MMEM:DATA 'two.txt',#210abcdefghij\n");
    std::string cat = h.send("MMEM:CAT?\n");
    EXPECT_EQ(cat.substr(0, 3), "13,");
    EXPECT_NE(cat.find(",\"inner,DIR,0\",\"one.txt,,3\",\"two.txt,,10\"\n"), std::string::npos) << cat;
    EXPECT_EQ(h.send("MMEM:CAT? 'D:\\'\n").find("one.txt"), std::string::npos);
    EXPECT_NE(h.send("MMEM:CAT? '..'\n").find("\"data,DIR,0\""), std::string::npos);
    h.send("MMEM:CDIR '..'\n");
    h.send("MMEM:RDIR 'data'\n");       // not empty
    h.send("MMEM:DEL 'data\\inner'\n");  // a folder, not a file
    h.send("MMEM:DEL 'data\\nope.txt'\n");
    EXPECT_EQ(h.drainErrors(), (std::vector<int>{-250, -257, -256}));
    h.send("MMEM:DEL 'data\\one.txt';DEL 'data\\two.txt';RDIR 'data\\inner';RDIR 'data'\n");
    EXPECT_TRUE(h.drainErrors().empty());
    EXPECT_FALSE(fs::exists(h.inst->rootPath() + "/D/data"));
    h.send("MMEM:MSIS 'C:'\n");
    EXPECT_EQ(h.send("MMEM:CDIR?\n"), "\"C:\\\"\n");
    h.send("MMEM:MSIS 'Z:'\n");
    EXPECT_EQ(h.drainErrors(), std::vector<int>{-257});
    h.send("MMEM:CDIR 'A:\\';*RST\n");
    EXPECT_EQ(h.send("MMEM:CDIR?\n"), "\"D:\\\"\n");  // *RST returns to the start folder
}

TEST(Sandbox, CurrentFolderCannotBeRemoved) {
    Harness h;
    h.send("MMEM:MDIR 'x';CDIR 'x'\n");
    h.send("MMEM:RDIR 'D:\\x'\n");
    EXPECT_EQ(h.drainErrors(), std::vector<int>{-257});
}

TEST(Sandbox, DefaultRootIsRemovedWithTheInstrument) {
    std::string root;
    {
        Harness h;
        root = h.inst->rootPath();
        h.send("MMEM:DATA 'a',#11x\n");
        EXPECT_TRUE(fs::exists(root + "/D/a"));
    }
    EXPECT_FALSE(fs::exists(root));
}

TEST(Sandbox, GivenRootIsKept) {
    qvtest::TempDir dir;
    {
        qv::sim::InstrumentOptions o;
        o.root = dir.file("keep");
        Harness h("TKD", o);
        h.send("MMEM:DATA 'a',#11x\n");
    }
    EXPECT_EQ(qvtest::readFile(dir.file("keep/D/a")), "x");
}

TEST(Sandbox, ReadersOfAFileKeepItsOldContentWhenItIsReplaced) {
    Harness h("TKD", {}, qv::sim::Session::Mode::Queued);
    h.send("MMEM:DATA 'f',#15first\n");
    h.send("MMEM:DATA? 'f'\n");
    ASSERT_NE(h.session->pending(), nullptr);
    qv::sim::ResponseMessage held = std::move(h.session->pending()->msg);
    h.session->clear();
    h.send("MMEM:DATA 'f',#16second\n");
    EXPECT_EQ(held.data.toString(), "#15first\n");
}

}  // namespace
