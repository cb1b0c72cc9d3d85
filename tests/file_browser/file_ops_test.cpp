// The paths the browser walks, the commands each family takes, and the
// fetch's promise: a file that arrives whole, or none at all.
#include "families/registry.h"
#include "file_browser/file_ops.h"
#include "instrument_io/vif.h"
#include "test_support.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <filesystem>
#include <string>

namespace fb = qv::file_browser;

namespace {

const qv::family::Family& family(const char* tag) {
    const qv::family::Family* f = qv::family::find(tag);
    EXPECT_NE(f, nullptr) << tag;
    return *f;
}

struct PathCase {
    const char* path;
    char separator;
    const char* listed;  // folderToList
    const char* parent;  // parentPath
};

class Paths : public ::testing::TestWithParam<PathCase> {};

TEST_P(Paths, ListAndGoUp) {
    const PathCase& c = GetParam();
    EXPECT_EQ(fb::folderToList(c.path, c.separator), c.listed);
    EXPECT_EQ(fb::parentPath(c.path, c.separator), c.parent);
}

INSTANTIATE_TEST_SUITE_P(
    FileOps, Paths,
    ::testing::Values(PathCase{"C:", '\\', "C:\\", ""}, PathCase{"C:\\", '\\', "C:\\", ""},
                      PathCase{"C:\\A\\B\\", '\\', "C:\\A\\B\\", "C:\\A\\"},
                      PathCase{"INT:\\USERDATA\\PRINT\\", '\\', "INT:\\USERDATA\\PRINT\\", "INT:\\USERDATA\\"},
                      // The handheld's root as the browser builds it, and where ".." leads from it.
                      PathCase{"/", '\\', "/\\", ""}, PathCase{"/\\", '\\', "/\\", ""},
                      PathCase{"/hdd", '/', "/hdd/", "/"}, PathCase{"/hdd/", '/', "/hdd/", "/"},
                      PathCase{"/INT/data/", '/', "/INT/data/", "/INT/"}, PathCase{"", '\\', "", ""}));

TEST(FileOps, StartPathFollowsTheFamily) {
    EXPECT_EQ(fb::startPath(family("TKD")), "D:\\");
    EXPECT_EQ(fb::startPath(family("GLN")), "/hdd/");
    EXPECT_EQ(fb::startPath(family("TKG")), "/\\");
    EXPECT_EQ(fb::startPath(family("BJY")), "INT:\\USERDATA\\PRINT\\");
    EXPECT_EQ(fb::startPath(family("GLT")), "");
}

struct CommandCase {
    const char* tag;
    bool isDir;
    bool byKey;
    const char* remove;
};

class RemoveCommands : public ::testing::TestWithParam<CommandCase> {};

TEST_P(RemoveCommands, NameTheRowAsTheFamilyWants) {
    const CommandCase& c = GetParam();
    EXPECT_EQ(fb::removeCommand(family(c.tag), "INT:\\A\\", "x.bin", c.isDir, c.byKey), c.remove);
}

INSTANTIATE_TEST_SUITE_P(
    FileOps, RemoveCommands,
    ::testing::Values(CommandCase{"BJY", true, false, "MMEM:RMD 'x.bin'"},
                      CommandCase{"BJY", false, false, "MMEM:DEL 'x.bin'"},
                      // The keyboard's delete names the full path on every family.
                      CommandCase{"BJY", true, true, "MMEM:RDIR 'INT:\\A\\x.bin'"},
                      CommandCase{"BQS", false, true, "MMEM:DEL 'INT:\\A\\x.bin'"},
                      CommandCase{"TKD", true, false, "MMEM:RDIR 'INT:\\A\\x.bin'"},
                      CommandCase{"TKD", false, false, "MMEM:DEL 'INT:\\A\\x.bin'"},
                      CommandCase{"GLN", false, true, "MMEM:DEL 'INT:\\A\\x.bin'"}));

TEST(FileOps, ReadMakeAndWriteCommands) {
    EXPECT_EQ(fb::readCommand(family("BJY"), "INT:\\USERDATA\\PRINT\\", "x.bmp"), "MMEM:DATA? 'x.bmp'");
    EXPECT_EQ(fb::readCommand(family("TKD"), "D:\\USER\\", "x.bmp"), "MMEM:DATA? 'D:\\USER\\x.bmp'");
    EXPECT_EQ(fb::makeFolderCommand(family("BQS"), "INT:\\", "New Folder"), "MMEM:MKD 'New Folder'");
    EXPECT_EQ(fb::makeFolderCommand(family("MYE"), "/INT/", "run"), "MMEM:MDIR '/INT/run'");
    // Sending is by full path for every family.
    EXPECT_EQ(fb::writeHeader("INT:\\USERDATA\\", "a.txt"), "MMEM:DATA 'INT:\\USERDATA\\a.txt',");
}

struct NamesCase {
    const char* tag;
    const char* path;
    const char* row;
    const char* fullName;
    const char* baseName;
    const char* extension;
};

class FetchNames : public ::testing::TestWithParam<NamesCase> {};

TEST_P(FetchNames, SplitTheRow) {
    const NamesCase& c = GetParam();
    fb::FetchNames n = fb::fetchNames(family(c.tag), c.path, c.row);
    EXPECT_EQ(n.fullName, c.fullName);
    EXPECT_EQ(n.baseName, c.baseName);
    EXPECT_EQ(n.extension, c.extension);
}

INSTANTIATE_TEST_SUITE_P(FileOps, FetchNames,
                         ::testing::Values(NamesCase{"TKD", "D:\\USER\\", "screen.bmp", "D:\\USER\\screen.bmp",
                                                     "screen.bmp", "bmp"},
                                           NamesCase{"TKD", "D:\\", "a.b.c", "D:\\a.b.c", "a.b.c", "b.c"},
                                           NamesCase{"GLN", "/hdd/", "README", "/hdd/README", "README", ""},
                                           NamesCase{"BJY", "INT:\\USERDATA\\PRINT\\", "x.png", "x.png", "x.png",
                                                     "png"}));

TEST(FileOps, TemporaryTargetsEndInTheExtension) {
    const std::string withExt = fb::temporaryTarget("bmp");
    const std::string without = fb::temporaryTarget("");
    const std::string hostile = fb::temporaryTarget("../../x");
    for (const std::string* t : {&withExt, &without, &hostile}) {
        ASSERT_FALSE(t->empty());
        EXPECT_TRUE(qvtest::fileExists(*t));
        EXPECT_EQ(std::filesystem::file_size(*t), 0u);
        // Names from the instrument never lead out of the temporary folder.
        EXPECT_EQ(std::filesystem::path(*t).parent_path(), std::filesystem::temp_directory_path());
        std::filesystem::remove(*t);
    }
    const std::string name = std::filesystem::path(withExt).filename().string();
    EXPECT_EQ(name.substr(0, 3), "bmp");
    EXPECT_EQ(name.substr(name.size() - 4), ".bmp");
    EXPECT_EQ(std::filesystem::path(without).extension(), "");
}

// A fetch through the real VISA layer from the simulated instrument.
class Fetch : public ::testing::Test {
protected:
    void start(std::vector<std::string> faults = {}) {
        std::vector<std::string> args{"--profile", "TKD", "--socket-port", "0", "--root", root.path()};
        for (auto& f : faults) {
            args.push_back("--fault");
            args.push_back(f);
        }
        std::filesystem::create_directories(root.file("D"));
        payload.assign(300000, '\0');
        for (size_t i = 0; i < payload.size(); ++i) payload[i] = char(i * 7 + 1);
        ASSERT_TRUE(qvtest::writeFile(root.file("D/trace.bin"), payload));
        ASSERT_TRUE(qvtest::writeFile(root.file("D/empty.bin"), ""));
        std::string err;
        ASSERT_TRUE(sim.start(args, &err)) << err;
        ASSERT_TRUE(vif.OpenDevice(sim.socketResource(), true, false, 1000, true));
        vif.TimeOut(3000);
    }
    fb::FetchResult fetch(const char* name, const std::string& target, int timeoutMs = 2000) {
        return fb::fetchFile(vif, fb::readCommand(family("TKD"), "D:\\", name), target, timeoutMs);
    }

    qvtest::TempDir root, local;
    qvtest::SimProcess sim;
    qv::io::VIF vif;
    std::string payload;
};

TEST_F(Fetch, ArrivesWholeAndRestoresTheTimeOut) {
    start();
    const std::string target = local.file("trace.bin");
    EXPECT_EQ(fetch("trace.bin", target), fb::FetchResult::Fetched);
    EXPECT_EQ(qvtest::readFile(target), payload);
    EXPECT_FALSE(qvtest::fileExists(target + ".part"));
    EXPECT_EQ(vif.TimeOut(), 3000);
    EXPECT_EQ(fetch("empty.bin", local.file("empty.bin")), fb::FetchResult::Empty);
    EXPECT_TRUE(qvtest::fileExists(local.file("empty.bin")));
}

class FetchFault : public Fetch, public ::testing::WithParamInterface<const char*> {};

TEST_P(FetchFault, LeavesNoFileThatLooksWholeAndKeepsTheOldOne) {
    start({GetParam()});
    const std::string target = local.file("trace.bin");
    ASSERT_TRUE(qvtest::writeFile(target, "what the user had"));
    EXPECT_EQ(fetch("trace.bin", target, 1500), fb::FetchResult::Failed);
    EXPECT_EQ(qvtest::readFile(target), "what the user had");
    EXPECT_FALSE(qvtest::fileExists(target + ".part"));
}

INSTANTIATE_TEST_SUITE_P(FileOps, FetchFault,
                         ::testing::Values("drop=100000@MMEM:DATA?", "corrupt-block@MMEM:DATA?",
                                           "silent@MMEM:DATA?"));

TEST_F(Fetch, AMissingFileFailsWithoutAFile) {
    start();
    const std::string target = local.file("nothing.bin");
    EXPECT_EQ(fetch("nothing.bin", target, 1000), fb::FetchResult::Failed);
    EXPECT_FALSE(qvtest::fileExists(target));
}

}  // namespace
