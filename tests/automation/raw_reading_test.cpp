// Raw reading: the commands file's lines, and runs against the simulated
// instrument: binary answers near and above the limit land in the file byte
// for byte, the read sends nothing of its own, and a failed read leaves no
// file that could pass for a result.
#include "automation/raw_reading.h"
#include "one_shot_sim.h"

#include <gtest/gtest.h>

#include <chrono>

namespace {

using namespace std::string_literals;
using qv::automation::kRawReadLimit;
using qv::automation::ParseCommandsFile;
using qv::automation::RawRunResult;
using qv::automation::RunRawCommands;
using Lines = std::vector<std::string>;

struct FileCase {
    std::string bytes;
    Lines commands;
};

class CommandsFile : public ::testing::TestWithParam<FileCase> {};

TEST_P(CommandsFile, KeepsTheNonBlankLinesAsTheyStand) {
    EXPECT_EQ(ParseCommandsFile(GetParam().bytes), GetParam().commands);
}

INSTANTIATE_TEST_SUITE_P(Lines, CommandsFile,
                         ::testing::Values(FileCase{"", {}}, FileCase{"\r\n", {}},
                                           // A trailing line end adds no row; LF and CR LF read alike.
                                           FileCase{"*RST\r\nFREQ 1 GHz\r\n", {"*RST", "FREQ 1 GHz"}},
                                           FileCase{"*RST\nFREQ 1 GHz", {"*RST", "FREQ 1 GHz"}},
                                           FileCase{"A\r\n\r\n  \r\n\t\nB\n\n", {"A", "B"}},
                                           // Blanks around a command are the instrument's to judge.
                                           FileCase{"  TRAC? TRACE1 \r\n", {"  TRAC? TRACE1 "}},
                                           // Bytes go as they stand: a lone CR, a CR before the line end's
                                           // own, a NUL inside and bytes above 127.
                                           FileCase{"A\rB\r\r\nC\0D\n\xE9T\xE9\n"s, {"A\rB\r", "C\0D"s, "\xE9T\xE9"}}));

class RawRun : public oneshot::SimTest {
protected:
    qvtest::TempDir out;
    std::string target = out.file("result.bin");
    std::string fetch(const char* name) { return std::string("MMEM:DATA? 'D:\\") + name + "'"; }
};

// A block answer as the instrument sends it: header, data, LF.
std::string block(const std::string& data) {
    const std::string n = std::to_string(data.size());
    return "#" + std::to_string(n.size()) + n + data + "\n";
}

TEST_F(RawRun, StoresABinaryAnswerNearTheLimitWhole) {
    qvtest::writeFile(target, "an older result");
    const RawRunResult r = RunRawCommands(sim().resource(), {"*CLS", "  ", fetch("near.bin")}, target);
    EXPECT_TRUE(r.opened);
    EXPECT_TRUE(r.sent);
    EXPECT_TRUE(r.read);
    EXPECT_EQ(r.message, "");
    const std::string expected = block(sim().near);
    ASSERT_LT(expected.size(), size_t(kRawReadLimit));
    EXPECT_TRUE(qvtest::readFile(target) == expected) << "the file differs from the answer";
    // The blank row is skipped, and the read itself sends nothing.
    EXPECT_EQ(sim().newMessages(), (Lines{"*STB?", "SYST:ERR?", "*CLS", "MMEM:DATA? 'D:\\\\near.bin'"}));
    EXPECT_FALSE(qvtest::fileExists(target + ".part"));
}

TEST_F(RawRun, CutsAnAnswerAboveTheLimitAndSaysSo) {
    const RawRunResult r = RunRawCommands(sim().resource(), {fetch("above.bin")}, target);
    EXPECT_TRUE(r.read);
    EXPECT_NE(r.message.find("1000000"), std::string::npos) << r.message;
    const std::string stored = qvtest::readFile(target);
    EXPECT_EQ(stored.size(), size_t(kRawReadLimit));
    EXPECT_TRUE(stored == block(sim().above).substr(0, size_t(kRawReadLimit))) << "the file is not the answer's start";
}

// Nothing pending after the commands: the read runs into its bounded
// time-out, and neither the old result nor a partial file stays.
TEST_F(RawRun, AFailedReadLeavesNoFile) {
    qvtest::writeFile(target, "an older result");
    const auto t0 = std::chrono::steady_clock::now();
    const RawRunResult r = RunRawCommands(sim().resource(), {"*CLS"}, target);
    const auto took = std::chrono::steady_clock::now() - t0;
    EXPECT_TRUE(r.sent);
    EXPECT_FALSE(r.read);
    EXPECT_NE(r.message.find("could not be read"), std::string::npos) << r.message;
    EXPECT_FALSE(qvtest::fileExists(target));
    EXPECT_FALSE(qvtest::fileExists(target + ".part"));
    EXPECT_LT(took, std::chrono::seconds(20));
}

TEST(RawRunRefused, NothingToSendOrNoSession) {
    qvtest::TempDir out;
    const std::string target = out.file("r.bin");
    RawRunResult r = RunRawCommands(oneshot::kNobody, {" ", ""}, target);
    EXPECT_FALSE(r.opened);
    EXPECT_FALSE(r.message.empty());
    r = RunRawCommands(oneshot::kNobody, {"*IDN?"}, target);
    EXPECT_FALSE(r.opened);
    EXPECT_FALSE(r.sent);
    EXPECT_NE(r.message.find("could not be opened"), std::string::npos) << r.message;
    EXPECT_FALSE(qvtest::fileExists(target));
}

// An answer without a length header ends where the link marks its end:
// VXI-11 does, so a binary answer of any bytes arrives whole up to the limit
// and is cut there. (A raw socket has no such mark: its answers end at the
// first line feed.)
struct PatternCase {
    long bytes;     // asked of the instrument, the LF after them not counted
    size_t stored;  // what the file must hold
    bool cut;       // the run says the limit was reached
};

class RawOverVxi11 : public ::testing::TestWithParam<PatternCase> {
protected:
    static void SetUpTestSuite() {
        sim_ = new qvtest::SimProcess;
        sim_->start({"--profile", "TKD", "--vxi11", "--portmapper-port", "0"});
        if (sim_->running()) setenv("QUILVANE_PORTMAPPER_PORT", std::to_string(sim_->portmapperPort()).c_str(), 1);
    }
    static void TearDownTestSuite() {
        delete sim_;
        sim_ = nullptr;
    }
    static qvtest::SimProcess* sim_;
};
qvtest::SimProcess* RawOverVxi11::sim_ = nullptr;

TEST_P(RawOverVxi11, StoresAnswersWithoutHeaderByteForByte) {
    ASSERT_TRUE(sim_->running());
    qvtest::TempDir out;
    const std::string target = out.file("pattern.bin");
    const RawRunResult r =
        RunRawCommands(sim_->vxi11Resource(), {"SYST:SIM:DATA? " + std::to_string(GetParam().bytes)}, target);
    EXPECT_TRUE(r.read) << r.message;
    EXPECT_EQ(r.message.find("1000000") != std::string::npos, GetParam().cut) << r.message;
    const std::string stored = qvtest::readFile(target);
    ASSERT_EQ(stored.size(), GetParam().stored);
    size_t wrong = 0;
    for (size_t i = 0; i < stored.size(); ++i) {
        const char expected = long(i) < GetParam().bytes ? char((i * 7 + 3) & 0xFF) : '\n';
        wrong += stored[i] != expected;
    }
    EXPECT_EQ(wrong, 0u);
}

INSTANTIATE_TEST_SUITE_P(Sizes, RawOverVxi11,
                         ::testing::Values(PatternCase{998000, 998001, false}, PatternCase{999999, 1000000, true},
                                           PatternCase{1500000, 1000000, true}));

}  // namespace
