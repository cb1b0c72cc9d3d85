// The private-profile reader and writer: matching, blanks, line ends, cut
// values, writes that keep the file's other lines, and writes that fail
// without harming the old file.
#include "app/profile.h"

#include "test_support.h"

#include <gtest/gtest.h>

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

using namespace qv::app;

namespace {

struct ReadCase {
    const char* name;
    std::string content;
    const char* section;
    const char* key;
    const char* def;
    std::string expected;
};

class ProfileReadCases : public ::testing::TestWithParam<ReadCase> {};

TEST_P(ProfileReadCases, ReadsTheValue) {
    const ReadCase& c = GetParam();
    qvtest::TempDir dir;
    std::string file = dir.file("t.ini");
    ASSERT_TRUE(qvtest::writeFile(file, c.content));
    EXPECT_EQ(ProfileRead(file, c.section, c.key, c.def), c.expected);
}

INSTANTIATE_TEST_SUITE_P(
    Rules, ProfileReadCases,
    ::testing::Values(
        ReadCase{"NamesIgnoreCase", "[Hardcopy]\nSaveImage=1\n", "hardCOPY", "saveimage", "d", "1"},
        ReadCase{"CrLfLines", "[A]\r\nx=one\r\ny=two\r\n", "A", "y", "d", "two"},
        ReadCase{"LoneCrLines", "[A]\rx=one\ry=two", "A", "y", "d", "two"},
        ReadCase{"ValueKeepsLaterEquals", "[A]\nexpr=a=b=c\n", "A", "expr", "d", "a=b=c"},
        ReadCase{"BlanksAroundNamesAndValue", "  [ A ]  \n\t key \t=  two words \t\n", "A", "key", "d", "two words"},
        ReadCase{"EmptyValueIsNotMissing", "[A]\nkey=\n", "A", "key", "d", ""},
        ReadCase{"MissingKeyGivesDefault", "[A]\nkey=1\n", "A", "other", "dflt", "dflt"},
        ReadCase{"MissingSectionGivesDefault", "[A]\nkey=1\n", "B", "key", "dflt", "dflt"},
        ReadCase{"DefaultLosesTrailingBlanks", "", "A", "key", " 1  ", " 1"},
        ReadCase{"SameKeyInOtherSection", "[A]\nk=1\n[B]\nk=2\n", "B", "k", "d", "2"},
        ReadCase{"FirstOccurrenceWins", "[A]\nk=1\n[a]\nk=2\nK=3\n", "A", "k", "d", "1"},
        ReadCase{"KeyOnlyInRepeatedSection", "[A]\nx=1\n[B]\n[a]\nk=2\n", "A", "k", "d", "2"},
        ReadCase{"ByteOrderMarkSkipped", "\xEF\xBB\xBF[A]\nk=v\n", "A", "k", "d", "v"},
        ReadCase{"KeysBeforeSectionsBelongToNone", "k=0\n[A]\n", "A", "k", "d", "d"},
        ReadCase{"LineWithoutEqualsIgnored", "[A]\nk\nk=v\n", "A", "k", "d", "v"},
        ReadCase{"QuotesKept", "[A]\nk=\"q\"\n", "A", "k", "d", "\"q\""},
        ReadCase{"LastLineWithoutLineEnd", "[A]\nk=v", "A", "k", "d", "v"},
        ReadCase{"UnclosedSectionHeader", "[A\nk=v\n", "A", "k", "d", "v"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(Profile, MissingFileGivesDefault) {
    qvtest::TempDir dir;
    EXPECT_EQ(ProfileRead(dir.file("none.ini"), "A", "k", "fallback"), "fallback");
    EXPECT_EQ(ProfileRead(dir.path(), "A", "k", "folder"), "folder");
}

TEST(Profile, LongValuesAreCutTo749Bytes) {
    qvtest::TempDir dir;
    std::string file = dir.file("t.ini");
    // The cut never splits a two-byte character: 748 bytes of "x" then "µ"
    // would end in half a character at 749.
    std::string split = std::string(748, 'x') + "µµ";
    ASSERT_TRUE(qvtest::writeFile(file, "[A]\nlong=" + std::string(800, 'v') + "\nsplit=" + split + "\n"));
    EXPECT_EQ(ProfileRead(file, "A", "long", ""), std::string(749, 'v'));
    EXPECT_EQ(ProfileRead(file, "A", "split", ""), std::string(748, 'x'));
    EXPECT_EQ(ProfileRead(file, "A", "none", std::string(900, 'd')), std::string(749, 'd'));
}

TEST(Profile, WriteCreatesFileSectionAndKey) {
    qvtest::TempDir dir;
    std::string file = dir.file("new.ini");
    ASSERT_TRUE(ProfileWrite(file, "Servers", "ServerEntry1", "localhost"));
    EXPECT_EQ(qvtest::readFile(file), "[Servers]\nServerEntry1=localhost\n");
    ASSERT_TRUE(ProfileWrite(file, "Other", "k", "a=b"));
    EXPECT_EQ(ProfileRead(file, "other", "K", ""), "a=b");
}

TEST(Profile, WriteKeepsOtherLinesOrderAndLineEnds) {
    qvtest::TempDir dir;
    std::string file = dir.file("t.ini");
    const std::string before = "; kept comment\r\n[A]\r\nx = 1\r\ny=2\r\n\r\n[B]\r\nz=3\r\n";
    ASSERT_TRUE(qvtest::writeFile(file, before));

    ASSERT_TRUE(ProfileWrite(file, "a", "X", "changed"));  // in place, the file's spelling of the key
    ASSERT_TRUE(ProfileWrite(file, "A", "new", "n"));      // after A's last line, before the blank line
    ASSERT_TRUE(ProfileWrite(file, "C", "c", "3"));        // new section at the end
    EXPECT_EQ(qvtest::readFile(file),
              "; kept comment\r\n[A]\r\nx=changed\r\ny=2\r\nnew=n\r\n\r\n[B]\r\nz=3\r\n[C]\r\nc=3\r\n");
}

TEST(Profile, WriteAfterLastLineWithoutLineEnd) {
    qvtest::TempDir dir;
    std::string file = dir.file("t.ini");
    ASSERT_TRUE(qvtest::writeFile(file, "[A]\nx=1"));
    ASSERT_TRUE(ProfileWrite(file, "A", "y", "2"));
    ASSERT_TRUE(ProfileWrite(file, "B", "z", "3"));
    EXPECT_EQ(qvtest::readFile(file), "[A]\nx=1\ny=2\n[B]\nz=3\n");
}

struct RefusedCase {
    const char* name;
    const char* section;
    const char* key;
    const char* value;
};

class ProfileRefusedWrites : public ::testing::TestWithParam<RefusedCase> {};

TEST_P(ProfileRefusedWrites, LeaveTheFileAsItWas) {
    const RefusedCase& c = GetParam();
    qvtest::TempDir dir;
    std::string file = dir.file("t.ini");
    ASSERT_TRUE(qvtest::writeFile(file, "[A]\nk=v\n"));
    EXPECT_FALSE(ProfileWrite(file, c.section, c.key, c.value));
    EXPECT_EQ(qvtest::readFile(file), "[A]\nk=v\n");
}

INSTANTIATE_TEST_SUITE_P(
    Structure, ProfileRefusedWrites,
    ::testing::Values(RefusedCase{"EmptySection", " ", "k", "v"}, RefusedCase{"EmptyKey", "A", "", "v"},
                      RefusedCase{"BracketInSection", "A]x", "k", "v"}, RefusedCase{"EqualsInKey", "A", "k=j", "v"},
                      RefusedCase{"KeyLooksLikeSection", "A", "[B]", "v"},
                      RefusedCase{"LineEndInValue", "A", "k", "one\ntwo"},
                      RefusedCase{"LineEndInKey", "A", "k\r", "v"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(Profile, ReadSeesExternalRewriteWithSameSizeAndTime) {
    qvtest::TempDir dir;
    std::string file = dir.file("t.ini");
    ASSERT_TRUE(qvtest::writeFile(file, "[A]\nk=one\n"));
    struct stat st {};
    ASSERT_EQ(stat(file.c_str(), &st), 0);
    EXPECT_EQ(ProfileRead(file, "A", "k", ""), "one");

    // Another program rewrites the file in place and keeps its time stamp.
    ASSERT_TRUE(qvtest::writeFile(file, "[A]\nk=two\n"));
    timespec times[2] = {st.st_atim, st.st_mtim};
    ASSERT_EQ(utimensat(AT_FDCWD, file.c_str(), times, 0), 0);
    EXPECT_EQ(ProfileRead(file, "A", "k", ""), "two");
}

TEST(Profile, ReadSeesChangeOfAnOldFileThatKeepsItsTime) {
    qvtest::TempDir dir;
    std::string file = dir.file("t.ini");
    ASSERT_TRUE(qvtest::writeFile(file, "[A]\nk=one\n"));
    // An old file: its stamp is trusted by the cache.
    timespec old[2] = {{1000000000, 0}, {1000000000, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, file.c_str(), old, 0), 0);
    EXPECT_EQ(ProfileRead(file, "A", "k", ""), "one");
    ASSERT_TRUE(qvtest::writeFile(file, "[A]\nk=two\n"));
    ASSERT_EQ(utimensat(AT_FDCWD, file.c_str(), old, 0), 0);
    EXPECT_EQ(ProfileRead(file, "A", "k", ""), "two");
}

TEST(Profile, FollowsSymbolicLinkAndKeepsMode) {
    qvtest::TempDir dir;
    std::string target = dir.file("real.ini");
    std::string link = dir.file("link.ini");
    ASSERT_TRUE(qvtest::writeFile(target, "[A]\nk=1\n"));
    ASSERT_EQ(chmod(target.c_str(), 0600), 0);
    ASSERT_EQ(symlink(target.c_str(), link.c_str()), 0);
    ASSERT_TRUE(ProfileWrite(link, "A", "k", "2"));
    struct stat st {};
    ASSERT_EQ(lstat(link.c_str(), &st), 0);
    EXPECT_TRUE(S_ISLNK(st.st_mode));
    ASSERT_EQ(stat(target.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);
    EXPECT_EQ(qvtest::readFile(target), "[A]\nk=2\n");
}

int entriesIn(const std::string& folder) {
    int n = 0;
    if (DIR* d = opendir(folder.c_str())) {
        while (dirent* e = readdir(d))
            if (std::string(e->d_name) != "." && std::string(e->d_name) != "..") ++n;
        closedir(d);
    }
    return n;
}

// A full disk, as the kernel reports it for a file size limit: the write of
// the new content fails half-way.
TEST(Profile, FailedWriteLeavesOldFileWhole) {
    qvtest::TempDir dir;
    std::string file = dir.file("t.ini");
    const std::string before = "[A]\nk=old\n" + std::string(5000, ';') + "\n";
    ASSERT_TRUE(qvtest::writeFile(file, before));
    EXPECT_EQ(ProfileRead(file, "A", "k", ""), "old");

    rlimit saved{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &saved), 0);
    auto previous = signal(SIGXFSZ, SIG_IGN);
    rlimit small = saved;
    small.rlim_cur = 4096;
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    bool written = ProfileWrite(file, "A", "k", "new");
    setrlimit(RLIMIT_FSIZE, &saved);
    signal(SIGXFSZ, previous);

    EXPECT_FALSE(written);
    EXPECT_EQ(qvtest::readFile(file), before);
    EXPECT_EQ(entriesIn(dir.path()), 1) << "the temporary file is removed";
    EXPECT_EQ(ProfileRead(file, "A", "k", ""), "old");
}

TEST(Profile, WriteUnderAFileFailsQuietly) {
    qvtest::TempDir dir;
    std::string blocker = dir.file("plain");
    ASSERT_TRUE(qvtest::writeFile(blocker, "x"));
    EXPECT_FALSE(ProfileWrite(blocker + "/t.ini", "A", "k", "v"));
    EXPECT_FALSE(ProfileWrite(dir.file("missing/t.ini"), "A", "k", "v"));
    EXPECT_EQ(qvtest::readFile(blocker), "x");
}

TEST(Profile, ReadOnlyFolderLeavesOldFileWhole) {
    if (geteuid() == 0) GTEST_SKIP() << "folder permissions do not stop root; the full-disk test covers the path";
    qvtest::TempDir dir;
    std::string file = dir.file("t.ini");
    ASSERT_TRUE(qvtest::writeFile(file, "[A]\nk=old\n"));
    ASSERT_EQ(chmod(dir.path().c_str(), 0555), 0);
    EXPECT_FALSE(ProfileWrite(file, "A", "k", "new"));
    chmod(dir.path().c_str(), 0755);
    EXPECT_EQ(qvtest::readFile(file), "[A]\nk=old\n");
}

TEST(Profile, ListsSectionsAndKeysOnce) {
    qvtest::TempDir dir;
    std::string file = dir.file("t.ini");
    ASSERT_TRUE(qvtest::writeFile(file, "[A]\nx=1\ny=2\n[B]\nz=3\n[a]\nX=4\nw=5\n"));
    EXPECT_EQ(ProfileSections(file), (std::vector<std::string>{"A", "B"}));
    EXPECT_EQ(ProfileKeys(file, "a"), (std::vector<std::string>{"x", "y", "w"}));
}

}  // namespace
