// The console's command against the simulated instrument: what reaches the
// instrument in which order, what comes back, the error rows and the log
// line; and the history walk.
#include "automation/console.h"
#include "one_shot_sim.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

using namespace std::string_literals;
using qv::automation::CommandHistory;
using qv::automation::ConsoleLogLine;
using qv::automation::ConsoleOutcome;
using qv::automation::SendConsoleCommand;
using Lines = std::vector<std::string>;

const char* kIdentity = "Tesselhorn,GLY-6,101988/006,3.11";

struct ConsoleCase {
    const char* name;
    std::string setup;  // sent before, on a session of its own
    std::string command;
    std::string answer;
    Lines status;    // the error rows
    Lines wire;      // every message of the console's session
    long minMs = 0;  // the command time at least
};

void PrintTo(const ConsoleCase& c, std::ostream* os) {
    *os << c.name;
}

class ConsoleCommand : public oneshot::SimTest, public ::testing::WithParamInterface<ConsoleCase> {};

TEST_P(ConsoleCommand, SendsWaitsAndReports) {
    const ConsoleCase& c = GetParam();
    if (!c.setup.empty()) sim().prepare(c.setup);
    Lines seen;
    const ConsoleOutcome out =
        SendConsoleCommand(sim().resource(), c.command, [&](const std::string& error) { seen.push_back(error); });
    EXPECT_TRUE(out.opened);
    EXPECT_EQ(out.answer, c.answer);
    EXPECT_EQ(out.status, c.status);
    EXPECT_EQ(seen, c.status);
    EXPECT_EQ(out.scpiError, !c.status.empty());
    EXPECT_EQ(out.statusText, "---");
    EXPECT_EQ(sim().newMessages(), c.wire);
    // Milliseconds, a plain number; a delayed *OPC? counts in it.
    ASSERT_FALSE(out.execTime.empty());
    EXPECT_EQ(out.execTime.find_first_not_of("0123456789"), std::string::npos) << out.execTime;
    const long ms = std::atol(out.execTime.c_str());
    EXPECT_GE(ms, c.minMs);
    EXPECT_LT(ms, c.minMs + 3000);

    std::string expectedLine = c.command + ": " + c.answer + ": ";
    for (const std::string& row : c.status) expectedLine += row + " ";
    EXPECT_EQ(ConsoleLogLine(c.command, out.answer, out.status), expectedLine + "\r\n");
}

// The open drains the queue (SYST:ERR?) after its status poll (*STB?).
const Lines kOpen = {"*STB?", "SYST:ERR?"};
Lines opened(Lines rest) {
    rest.insert(rest.begin(), kOpen.begin(), kOpen.end());
    return rest;
}

INSTANTIATE_TEST_SUITE_P(
    Simulator, ConsoleCommand,
    ::testing::Values(ConsoleCase{"Query", "", "*IDN?", kIdentity, {}, opened({"*IDN?", "SYST:ERR?"})},
                      ConsoleCase{"WriteWaitsOnOpc",
                                  "SYST:SIM:FAULT 'delay=400@*OPC?'",
                                  "*RST",
                                  "",
                                  {},
                                  opened({"*RST;*WAI", "SYST:ERR?", "*OPC?", "SYST:ERR?"}),
                                  400},
                      // Two errors of one command: a row each, in the queue's order.
                      ConsoleCase{"WriteWithErrors",
                                  "",
                                  "SYST:SIM:ERR -222,'Data out of range';FREQ:BOGUS 1",
                                  "",
                                  {"-222,\"Data out of range\"", "-113,\"Undefined header\""},
                                  opened({"SYST:SIM:ERR -222,'Data out of range';FREQ:BOGUS 1;*WAI", "SYST:ERR?",
                                          "SYST:ERR?", "SYST:ERR?", "*OPC?", "SYST:ERR?"})},
                      // A "?" anywhere makes a query; an error of it comes with the answer.
                      ConsoleCase{"QueryWithError",
                                  "",
                                  "SYST:SIM:ERR -222,'Data out of range';*IDN?",
                                  kIdentity,
                                  {"-222,\"Data out of range\""},
                                  opened({"SYST:SIM:ERR -222,'Data out of range';*IDN?", "SYST:ERR?", "SYST:ERR?"})},
                      // An answer that never comes leaves nothing of the read's buffer.
                      ConsoleCase{"QueryNeverAnswered",
                                  "SYST:SIM:FAULT 'silent@*IDN?'",
                                  "*IDN?",
                                  "",
                                  {},
                                  opened({"*IDN?", "SYST:ERR?"}),
                                  5000},
                      // Errors left from before are drained by the open, not shown.
                      ConsoleCase{"StaleErrorsDrained",
                                  "SYST:SIM:ERR -221,'Settings conflict'",
                                  "*OPT?",
                                  "FQ3",
                                  {},
                                  {"*STB?", "SYST:ERR?", "SYST:ERR?", "*OPT?", "SYST:ERR?"}}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(ConsoleCommandFailedOpen, SendsNothingAndKeepsTheFieldsEmpty) {
    bool called = false;
    const ConsoleOutcome out =
        SendConsoleCommand(oneshot::kNobody, "*IDN?", [&](const std::string&) { called = true; });
    EXPECT_FALSE(out.opened);
    EXPECT_EQ(out.answer, "");
    EXPECT_EQ(out.execTime, "---");
    EXPECT_TRUE(out.status.empty());
    EXPECT_EQ(out.statusText, "");
    EXPECT_FALSE(called);
    EXPECT_EQ(ConsoleLogLine("*IDN?", out.answer, out.status), "*IDN?: : \r\n");
}

TEST(ConsoleLogLine, CleansTheAnswerOfBlanksAndLineEnds) {
    // What a timed-out read leaves (its blank buffer) does not reach the log.
    EXPECT_EQ(ConsoleLogLine("X?", std::string(2048, ' '), {}), "X?: : \r\n");
    EXPECT_EQ(ConsoleLogLine("X?", "  \r\n1,2\n\0"s, {"-100,\"e\""}), "X?: 1,2: -100,\"e\" \r\n");
}

// The history walk, step by step: Up and Down from the typed line.
struct Step {
    char key;          // 'u' up, 'd' down, 'a' add, 'r' reset
    std::string text;  // the typed line (up) or the command (add)
    bool ok;
    std::string shown;  // what the field shows after the step ("" if !ok)
};

class HistoryWalk : public ::testing::TestWithParam<std::vector<Step>> {};

TEST_P(HistoryWalk, WalksAsAShellDoes) {
    CommandHistory h;
    h.load({"A", "B", "C"});
    int n = 0;
    for (const Step& s : GetParam()) {
        SCOPED_TRACE("step " + std::to_string(++n));
        std::string out = "untouched";
        bool ok = true;
        if (s.key == 'u')
            ok = h.up(s.text, out);
        else if (s.key == 'd')
            ok = h.down(out);
        else if (s.key == 'a')
            h.add(s.text);
        else
            h.resetWalk();
        EXPECT_EQ(ok, s.ok);
        if (s.key == 'u' || s.key == 'd') {
            EXPECT_EQ(out, s.ok ? s.shown : "untouched");
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Steps, HistoryWalk,
                         ::testing::Values(
                             // Up to the oldest and stop there; Down back to the typed line.
                             std::vector<Step>{{'u', "typed", true, "C"},
                                               {'u', "C", true, "B"},
                                               {'u', "B", true, "A"},
                                               {'u', "A", false, ""},
                                               {'d', "", true, "B"},
                                               {'d', "", true, "C"},
                                               {'d', "", true, "typed"},
                                               {'d', "", false, ""}},
                             // Adding ends the walk; the new command is the first one up, a
                             // duplicate too.
                             std::vector<Step>{{'u', "", true, "C"},
                                               {'u', "", true, "B"},
                                               {'a', "B", true, ""},
                                               {'u', "", true, "B"},
                                               {'u', "", true, "C"},
                                               {'u', "", true, "B"}},
                             // The line typed at the start of a walk is the one given back,
                             // not what was shown during it.
                             std::vector<Step>{{'u', "first", true, "C"},
                                               {'u', "ignored", true, "B"},
                                               {'d', "", true, "C"},
                                               {'d', "", true, "first"},
                                               {'r', "", true, ""},
                                               {'u', "second", true, "C"},
                                               {'d', "", true, "second"}}));

TEST(CommandHistory, KeepsTheNewestHundredAndNoBlankEntry) {
    CommandHistory h;
    std::vector<std::string> many(150, "  ");
    for (int i = 0; i < 150; i += 2) many[size_t(i)] = "C" + std::to_string(i);
    h.load(many);  // 75 commands, the blank ones dropped
    for (int i = 0; i < 30; ++i) h.add("D");
    h.add(" \t");
    ASSERT_EQ(h.commands().size(), CommandHistory::kLimit);
    EXPECT_EQ(h.commands().front(), "C10");
    EXPECT_EQ(h.commands().back(), "D");
}

}  // namespace
