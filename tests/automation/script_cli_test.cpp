// quilvane-cli script against the simulated analyzer: parameters from the
// command line, the family check, Results on standard output, exit codes.
#include "test_support.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace {

struct CliCase {
    const char* name;
    const char* script;
    const char* args;  // after RES FILE; %D stands for the test's folder
    int exitCode;
    const char* out;  // standard output, exactly
    const char* err;  // a part of standard error; empty: nothing there
};

class ScriptCli : public ::testing::TestWithParam<CliCase> {
protected:
    static void SetUpTestSuite() {
        root = new qvtest::TempDir;
        ::mkdir(root->file("D").c_str(), 0755);
        qvtest::writeFile(root->file("D/x.set"), "settings");
        sim = new qvtest::SimProcess;
        sim->start({"--profile", "TKU", "--root", root->path()});
    }
    static void TearDownTestSuite() {
        delete sim;
        delete root;
    }
    static qvtest::TempDir* root;
    static qvtest::SimProcess* sim;
};
qvtest::TempDir* ScriptCli::root = nullptr;
qvtest::SimProcess* ScriptCli::sim = nullptr;

std::string replaced(std::string text, const std::string& key, const std::string& by) {
    for (size_t at = text.find(key); at != std::string::npos; at = text.find(key, at + by.size()))
        text.replace(at, key.size(), by);
    return text;
}

TEST_P(ScriptCli, RunsWithItsParametersAndExitsByTheResult) {
    const CliCase& c = GetParam();
    ASSERT_TRUE(sim->running());
    qvtest::TempDir dir;
    qvtest::writeFile(dir.file("s.txt"), c.script);
    const std::string args = replaced(c.args, "%D", dir.path());
    qvtest::CommandResult r =
        qvtest::runCommand("{ cd " + dir.path() + " && " + qvtest::binPath("quilvane-cli") + " script " +
                           sim->socketResource() + " s.txt " + args + " >out.txt 2>err.txt; }");
    const std::string out = qvtest::readFile(dir.file("out.txt")), err = qvtest::readFile(dir.file("err.txt"));
    EXPECT_EQ(r.exitCode, c.exitCode) << err;
    EXPECT_EQ(out, replaced(c.out, "%D", dir.path()));
    if (*c.err) {
        EXPECT_NE(err.find(c.err), std::string::npos) << err;
    } else {
        EXPECT_EQ(err, "");
    }
}

const char* const kFetch =
    "name: f\ninstr: TKD\nparm: STRING:Source\nparm: FILE:Target=got.set\nparm: INT:N=1\n"
    "dwnl: MMEM:DATA? '%Source%' -> %Target%\nscpi: *ESE %N%\nscpi: *ESE?\n";

// The simulated instrument is a TKU, an alias of the TKD family.
INSTANTIATE_TEST_SUITE_P(
    Script, ScriptCli,
    ::testing::Values(CliCase{"ParametersAndAliasFamily", kFetch, "Source='D:\\x.set' N=4", 0, "4\nSuccess!\n", ""},
                      CliCase{"InstrumentErrorExitsOne", "instr: TKD\nscpi: NOSUCH\n", "", 1,
                              "ERROR: -113,\"Undefined header\"\nScript terminated with errors!\n", ""},
                      CliCase{"UnknownParameter", kFetch, "Source=a Nope=1", 2, "", "no parameter \"Nope\""},
                      CliCase{"IntegerRefused", kFetch, "Source=a N=40000", 2, "", "N: Value must be an integer!"},
                      CliCase{"EmptyParameter", kFetch, "", 2, "", "parameter \"Source\" is empty"},
                      CliCase{"OtherFamilyRefused", "instr: GLY, KDC\nscpi: *RST\n", "", 2, "",
                              "serves GLY,KDC, not the TKD at"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(ScriptCli, FetchedFileLandsInTheCurrentFolder) {
    ASSERT_TRUE(sim->running());
    qvtest::TempDir dir;
    qvtest::writeFile(dir.file("s.txt"), kFetch);
    qvtest::CommandResult r = qvtest::runCommand("cd " + dir.path() + " && " + qvtest::binPath("quilvane-cli") +
                                                 " script " + sim->socketResource() + " s.txt 'Source=D:\\x.set'");
    EXPECT_EQ(r.exitCode, 0) << r.output;
    EXPECT_EQ(qvtest::readFile(dir.file("got.set")), "settings");
}

}  // namespace
