// The demodulation summary read from a simulated analyzer: which states
// rewrite the report, what is sent, and the command line's demod.
#include "tables/result_report.h"

#include "documents/rtf_gen.h"
#include "documents/rtf_reader.h"
#include "instrument_io/vif.h"
#include "scripted_host.h"
#include "test_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <string>
#include <vector>

namespace {

using namespace qv::tables;

class SourceBox : public qv::documents::RichTextBox {
public:
    std::string source;
    void setFontName(const std::string&) override {}
    void clearText() override { source.clear(); }
    void setRtf(const std::string& s) override { source = s; }
    const std::string& rtf() const override { return source; }
    void scrollToEnd() override {}
};

size_t shownLineCount(const std::string& source) {
    qv::documents::RtfDocument doc;
    if (!qv::documents::ReadRtf(source, doc)) return 0;
    return size_t(std::count_if(doc.paragraphs.begin(), doc.paragraphs.end(),
                                [](const auto& p) { return !p.runs.empty() && !p.runs[0].text.empty(); }));
}

class ResultRead : public ::testing::Test {
protected:
    void start(const std::string& profile) {
        std::string err;
        ASSERT_TRUE(sim.start({"--profile", profile, "--socket-port", "0", "--no-files", "--log", logFile()}, &err))
            << err;
    }
    // Commands on a session of the test's own; the log forgets them.
    void prepare(const std::string& commands) {
        qv::io::VIF v;
        ASSERT_TRUE(v.OpenDevice(sim.socketResource(), false, false, 1000, true));
        v.WriteString(commands, 0);
        std::string answer;
        ASSERT_TRUE(v.ReadString("*OPC?", answer, 100, false));
        seen = qvtest::readLines(logFile()).size();
    }
    // What the update sent, without the session's opening and error polls.
    std::vector<std::string> sent() const {
        std::vector<std::string> lines = qvtest::readLines(logFile());
        std::vector<std::string> out;
        for (size_t i = seen; i < lines.size(); ++i)
            if (lines[i] != "*STB?" && lines[i] != "SYST:ERR?") out.push_back(lines[i]);
        return out;
    }
    std::string logFile() const { return logDir.file("sim.log"); }

    qvtest::TempDir logDir;
    qvtest::SimProcess sim;
    size_t seen = 0;
};

struct StateCase {
    const char* name;
    const char* profile;
    const char* setup;  // "" for none
    bool rewritten;
    size_t lines;  // shown when rewritten
    std::vector<std::string> sent;
};

void PrintTo(const StateCase& c, std::ostream* os) {
    *os << c.name;
}

const StateCase kStates[] = {
    {"DdemQpsk",
     "TKM",
     "INST:SEL DDEM;:SENS:DDEM:FORM QPSK",
     true,
     53,
     {"INST:SEL?", "SENS:DDEM:FORM?", "FORM ASCII", "TRACE2:DATA? TRACE2"}},
    // The report is rewritten, empty: 52 values are no summary.
    {"DdemFiftyTwoValues",
     "TKM",
     "INST:SEL DDEM;:SENS:DDEM:FORM QPSK;:SYST:SIM:DDEM:COUN 52",
     true,
     0,
     {"INST:SEL?", "SENS:DDEM:FORM?", "FORM ASCII", "TRACE2:DATA? TRACE2"}},
    {"DdemFsk", "TKM", "INST:SEL DDEM;:SENS:DDEM:FORM FSK", false, 0, {"INST:SEL?", "SENS:DDEM:FORM?"}},
    {"Spectrum", "TKM", "INST:SEL SAN", false, 0, {"INST:SEL?"}},
    {"OtherFamily", "TKD", "", false, 0, {}},
};

class ResultStates : public ResultRead, public ::testing::WithParamInterface<StateCase> {};

TEST_P(ResultStates, RewritesOnlyInDdemWithASummary) {
    const StateCase& c = GetParam();
    start(c.profile);
    if (*c.setup) prepare(c.setup);
    qvtest::ScriptedHost host;
    SourceBox box;
    std::string buffer = "{old}";
    box.source = "{\\rtf1 old report}";
    EXPECT_EQ(UpdateResultReport(sim.socketResource(), c.profile, box, buffer), c.rewritten);
    if (c.rewritten) {
        EXPECT_EQ(shownLineCount(box.source), c.lines);
    } else {
        EXPECT_EQ(box.source, "{\\rtf1 old report}");
        EXPECT_EQ(buffer, "{old}");
    }
    EXPECT_EQ(sent(), c.sent);
    EXPECT_TRUE(host.messages().empty());
}

INSTANTIATE_TEST_SUITE_P(ResultRead, ResultStates, ::testing::ValuesIn(kStates),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(ResultRead, CommandLinePrintsFiftyThreeLinesOrSaysWhyNot) {
    start("TKM");
    const std::string cli = qvtest::binPath("quilvane-cli") + " --timeout 3000 demod " + sim.socketResource();
    qvtest::CommandResult r = qvtest::runCommand(cli);
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_NE(r.output.find("not DDEM"), std::string::npos) << r.output;

    prepare("INST:SEL DDEM;:SENS:DDEM:FORM QPSK");
    r = qvtest::runCommand(cli + " 2>&1");
    EXPECT_EQ(r.exitCode, 0) << r.output;
    EXPECT_EQ(std::count(r.output.begin(), r.output.end(), '\n'), 53);
    EXPECT_EQ(r.output.rfind("EVM (Result)\t", 0), 0u) << r.output;
    EXPECT_NE(r.output.find("\nTrigger to Sync (StdDev)\t"), std::string::npos);

    const std::string rtf = logDir.file("summary.rtf");
    r = qvtest::runCommand(cli + " -o " + rtf + " 2>&1");
    EXPECT_EQ(r.exitCode, 0) << r.output;
    EXPECT_EQ(shownLineCount(qvtest::readFile(rtf)), 53u);
}

}  // namespace
