// The peak list read from a simulated instrument: what is sent, what the grid
// gets, what the user is told, and that the fetched file never stays behind.
#include "tables/peak_list.h"

#include "scripted_host.h"
#include "test_support.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <ostream>
#include <string>
#include <vector>

namespace {

using namespace qv::tables;
using qvtest::ScriptedHost;

const char* const kStore = "MMEM:STOR:PEAK 'C:\\\\List.lst'";  // the log doubles backslashes
const char* const kFetch = "MMEM:DATA? 'C:\\\\List.lst'";

const std::string kTwoPeaks = "Peak;1;\r\n1.2E+08;Hz;\r\n-21.5;dBm;\r\nPeak;2;\r\n3.4E+08;Hz;\r\n-40.25;dBm;\r\n";

class PeakRead : public ::testing::Test {
protected:
    // An instrument whose C: drive holds list as C:\List.lst. The family
    // stores no peak list of its own, so the file stays as planted.
    void start(const std::string& profile, const std::string& list, const std::vector<std::string>& faults = {}) {
        ::mkdir(root.file("C").c_str(), 0755);
        if (!list.empty()) {
            ASSERT_TRUE(qvtest::writeFile(root.file("C/List.lst"), list));
        }
        std::vector<std::string> args{"--profile", profile,      "--socket-port", "0",      "--root",
                                      root.path(), "--no-files", "--log",         logFile()};
        for (const std::string& f : faults) {
            args.push_back("--fault");
            args.push_back(f);
        }
        std::string err;
        ASSERT_TRUE(sim.start(args, &err)) << err;
    }
    std::string logFile() const { return logDir.file("sim.log"); }
    // What was sent after the session's opening (status byte, error poll).
    std::vector<std::string> sentAfterOpen() {
        std::vector<std::string> lines = qvtest::readLines(logFile());
        auto it = std::find(lines.begin(), lines.end(), std::string(kStore));
        return {it, lines.end()};
    }
    bool saveFolderEmpty() const { return std::filesystem::is_empty(saveFolder.path()); }

    qvtest::TempDir root, logDir, saveFolder;
    qvtest::SimProcess sim;
};

struct ReadCase {
    const char* name;
    std::string list;
    const char* fault;  // "" for none
    TableRead outcome;
    size_t rows;          // grid rows afterwards; the grid starts with one stale row
    const char* message;  // the one message the user gets, "" for none
};
void PrintTo(const ReadCase& c, std::ostream* os) {
    *os << c.name;
}

const ReadCase kReadCases[] = {
    {"PlantedList", kTwoPeaks, "", TableRead::Read, 3, ""},
    {"BrokenList", "Peak;1;\r\n1.2E+08\r\n-21.5;dBm;\r\n", "", TableRead::Broken, 0, "Error"},
    {"CorruptBlock", kTwoPeaks, "corrupt-block@MMEM:DATA?", TableRead::NoFile, 1, ""},
};

class PeakReadCases : public PeakRead, public ::testing::WithParamInterface<ReadCase> {};

TEST_P(PeakReadCases, GridMessagesAndNoFileLeft) {
    const ReadCase& c = GetParam();
    start("TKR", c.list, *c.fault ? std::vector<std::string>{c.fault} : std::vector<std::string>{});
    ScriptedHost host;
    TableGrid grid{{"stale", "stale", "stale"}};
    EXPECT_EQ(ReadSelectedTable(sim.socketResource(), kMaxPeakList, "TKR (1.71)", saveFolder.path(), grid), c.outcome);
    EXPECT_EQ(grid.size(), c.rows);
    if (c.outcome == TableRead::Read) {
        EXPECT_EQ(grid[1], (TableRow{"1", "1.2E+08 Hz", "-21.5 dBm"}));
        EXPECT_EQ(grid[2], (TableRow{"2", "3.4E+08 Hz", "-40.25 dBm"}));
    }
    if (c.outcome == TableRead::NoFile) {
        EXPECT_EQ(grid[0][0], "stale");
    }
    bool told = false;
    for (const auto& m : host.messages())
        if (m.text == c.message) told = m.icon == qv::app::Icon::Critical;
    EXPECT_EQ(told, *c.message != '\0');
    EXPECT_TRUE(saveFolderEmpty());
    const std::vector<std::string> sent = sentAfterOpen();
    ASSERT_GE(sent.size(), 2u);
    EXPECT_EQ(sent[1], kFetch);
    // The list on the instrument stays.
    EXPECT_TRUE(qvtest::fileExists(root.file("C/List.lst")));
}

INSTANTIATE_TEST_SUITE_P(PeakRead, PeakReadCases, ::testing::ValuesIn(kReadCases),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(PeakRead, ListTheInstrumentStoresArrivesWithTheExactCommands) {
    start("TKM", "");
    ScriptedHost host;
    TableGrid grid;
    EXPECT_EQ(ReadSelectedTable(sim.socketResource(), kMaxPeakList, "TKM (4.52)", saveFolder.path(), grid),
              TableRead::Read);
    ASSERT_GE(grid.size(), 2u);
    EXPECT_EQ(grid[0], PeakListHeader());
    EXPECT_EQ(grid[1][0], "1");
    EXPECT_NE(grid[1][1].find(" Hz"), std::string::npos);
    EXPECT_NE(grid[1][2].find(" dBm"), std::string::npos);
    EXPECT_EQ(qvtest::readLines(logFile()), (std::vector<std::string>{"*STB?", "SYST:ERR?", kStore, kFetch}));
    EXPECT_TRUE(saveFolderEmpty());
    EXPECT_TRUE(host.messages().empty());
}

TEST_F(PeakRead, NoSessionLeavesGridAndSaysSo) {
    ScriptedHost host;
    TableGrid grid{{"stale", "stale", "stale"}};
    EXPECT_EQ(ReadSelectedTable("TCPIP::127.0.0.1::1::SOCKET", kMaxPeakList, "X", saveFolder.path(), grid),
              TableRead::NoFile);
    EXPECT_EQ(grid.size(), 1u);
    ASSERT_EQ(host.messages().size(), 1u);
    EXPECT_NE(host.messages()[0].text.find("could not be opened"), std::string::npos);
    EXPECT_TRUE(saveFolderEmpty());
}

TEST_F(PeakRead, CommandLinePrintsTheListAndFailsOnABrokenOne) {
    start("TKR", kTwoPeaks);
    const std::string cli = qvtest::binPath("quilvane-cli") + " --timeout 3000 peaks " + sim.socketResource();
    qvtest::CommandResult r = qvtest::runCommand(cli + " 2>/dev/null");
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_EQ(r.output, "Marker\tFrequency\tLevel\r\n1\t1.2E+08 Hz\t-21.5 dBm\r\n2\t3.4E+08 Hz\t-40.25 dBm\r\n");

    const std::string out = saveFolder.file("peaks.txt");
    ASSERT_TRUE(qvtest::writeFile(root.file("C/List.lst"), "a\r\nb\r\nc\r\n"));
    r = qvtest::runCommand(cli + " -o " + out);
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_NE(r.output.find("not a peak list"), std::string::npos) << r.output;
    EXPECT_FALSE(qvtest::fileExists(out));
}

}  // namespace
