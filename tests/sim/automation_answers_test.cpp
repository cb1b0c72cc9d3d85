// What the console, raw reading, scripts and status windows send: busy
// operations behind *WAI and *OPC?, the error queue's forms, the service
// queries, the clock, long pattern answers and a query that never answers.
#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <map>
#include <sstream>
#include <thread>

#include "rpc_test_client.h"
#include "sim/profiles.h"
#include "sim/simulator.h"
#include "sim_harness.h"

using qvsimtest::Harness;
using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

namespace {

qv::sim::InstrumentOptions busyFor(uint32_t ms) {
    qv::sim::InstrumentOptions o;
    o.opcDelayMs = ms;
    return o;
}

// Messages in order; the delay of the last one's answer says whether it
// waited for the operation.
struct Busy {
    const char* name;
    std::vector<std::string> messages;
    std::string answer;  // of the last message
    bool waits;
};
std::ostream& operator<<(std::ostream& os, const Busy& b) { return os << b.name; }

class BusyOperations : public ::testing::TestWithParam<Busy> {};

TEST_P(BusyOperations, AnswersWaitOnlyBehindWaiOrOpc) {
    Harness h("TKD", busyFor(400));
    std::string a;
    for (const auto& m : GetParam().messages) a = h.send(m + "\n");
    EXPECT_EQ(a, GetParam().answer);
    if (GetParam().waits) {
        EXPECT_GT(h.last.delayMs, 250u);
        EXPECT_LE(h.last.delayMs, 400u);
    } else {
        EXPECT_EQ(h.last.delayMs, 0u);
    }
    EXPECT_TRUE(h.errorCodes().empty());
}

INSTANTIATE_TEST_SUITE_P(
    Cases, BusyOperations,
    ::testing::Values(Busy{"ResetWaiThenOpc", {"*RST;*WAI", "*OPC?"}, "1\n", true},
                      Busy{"ResetWaiThenOtherQuery", {"*RST;*WAI", "*IDN?"}, "Tesselhorn,TKD-7,100123/007,4.40\n", true},
                      Busy{"InitOpcInOneMessage", {"INIT;*OPC?"}, "1\n", true},
                      Busy{"ResetWithoutWaiOverlaps", {"*RST", "*IDN?"}, "Tesselhorn,TKD-7,100123/007,4.40\n", false},
                      Busy{"OpcWithNothingRunning", {"*OPC?"}, "1\n", false}));

TEST(BusyOperations, OpcBitIsSetWhenTheOperationEnds) {
    Harness h("TKD", busyFor(150));
    h.send("*CLS;*ESE 1;*SRE 32\n");
    h.send("INIT;*OPC\n");
    EXPECT_EQ(h.send("*ESR?\n"), "0\n");
    std::this_thread::sleep_for(200ms);
    EXPECT_EQ(h.inst->statusByte(false) & 0x60, 0x60);  // event summary and service request
    EXPECT_EQ(h.send("*ESR?\n"), "1\n");
}

TEST(BusyOperations, DelayIsSetAtRunTimeAndBounded) {
    Harness h;
    EXPECT_EQ(h.send("SYST:SIM:OPCD 250;OPCD?\n"), "250\n");
    h.send("*RST;*WAI\n");
    EXPECT_EQ(h.send("*OPC?\n"), "1\n");
    EXPECT_GT(h.last.delayMs, 100u);
    h.send("SYST:SIM:OPCD 600001\n");
    EXPECT_EQ(h.drainErrors(), std::vector<int>{-222});
}

// --- the error queue ------------------------------------------------------

struct Queue {
    bool signedNumbers;
    std::vector<std::string> answers;
};
class ErrorQueue : public ::testing::TestWithParam<Queue> {};

TEST_P(ErrorQueue, EachPollTakesTheNextThenNoError) {
    qv::sim::InstrumentOptions o;
    o.signedErrors = GetParam().signedNumbers;
    Harness h("TKD", o);
    h.send("SYST:SIM:ERR -113;:SYST:SIM:ERR -222,\"Data out of range;FREQ 9E12\";:SYST:SIM:ERR 5,\"Device\"\n");
    for (const auto& expected : GetParam().answers) EXPECT_EQ(h.nextError(), expected);
}

INSTANTIATE_TEST_SUITE_P(
    Forms, ErrorQueue,
    ::testing::Values(Queue{false,
                            {"-113,\"Undefined header\"", "-222,\"Data out of range;FREQ 9E12\"", "5,\"Device\"",
                             "0,\"No error\"", "0,\"No error\""}},
                      Queue{true,
                            {"-113,\"Undefined header\"", "-222,\"Data out of range;FREQ 9E12\"", "+5,\"Device\"",
                             "+0,\"No error\"", "+0,\"No error\""}}));

TEST(ErrorQueue, SignIsSwitchedAtRunTime) {
    Harness h;
    EXPECT_EQ(h.send("SYST:SIM:SIGN ON;SIGN?;:SYST:ERR?\n"), "1;+0,\"No error\"\n");
    EXPECT_EQ(h.send("SYST:SIM:SIGN OFF;:SYST:ERR:ALL?\n"), "0,\"No error\"\n");
}

// --- service queries --------------------------------------------------------

// Families whose FUNCTIONS carry the analyzer utilities bit (8), aliases
// through [MAPPINGS]: the simulator answers on exactly these.
std::map<std::string, bool> utilityFamilies() {
    std::map<std::string, bool> out;
    for (const auto& [tag, mask] : qvsimtest::functionMasks()) out[tag] = (mask & 8) != 0;
    return out;
}

class ServiceQueries : public ::testing::TestWithParam<qv::sim::Profile> {};

TEST_P(ServiceQueries, OfferedExactlyWhereTheCapabilityFileSaysSo) {
    static const auto families = utilityFamilies();
    const auto& p = GetParam();
    auto it = families.find(p.tag);
    ASSERT_NE(it, families.end()) << p.tag;
    EXPECT_EQ(p.analyzerUtilities, it->second);
    Harness h(p.tag);
    for (const char* q : {"CAL:RES?", "DIAG:SERV:HWIN?", "DIAG:SERV:STES:RES?"}) {
        std::string a = h.send(std::string(q) + "\n");
        if (p.analyzerUtilities) {
            EXPECT_EQ(a.back(), '\n') << q;
            EXPECT_TRUE(h.drainErrors().empty()) << q;
        } else {
            EXPECT_EQ(a, "") << q;
            EXPECT_EQ(h.drainErrors(), std::vector<int>{-113}) << q;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(AllFamilies, ServiceQueries, ::testing::ValuesIn(qv::sim::allProfiles()),
                         [](const auto& info) { return info.param.tag; });

std::vector<std::string> split(const std::string& s, char sep) {
    std::vector<std::string> out;
    std::stringstream ss(s);
    std::string part;
    while (std::getline(ss, part, sep)) out.push_back(part);
    return out;
}

TEST(ServiceQueries, HardwareRecordsHaveBothFormsAndLongNames) {
    Harness h("VHJO");
    std::string a = h.send("DIAG:SERV:HWIN?\n");
    ASSERT_FALSE(a.empty());
    a.pop_back();
    int bare = 0, longNames = 0;
    for (const auto& record : split(a, ',')) {
        auto fields = split(record, '|');
        if (fields.size() == 1) ++bare;
        else EXPECT_EQ(fields.size(), 4u) << record;
        if (fields[0].size() > 15) ++longNames;
    }
    EXPECT_GE(bare, 1);
    EXPECT_GE(longNames, 1);
    EXPECT_NE(a.find("|100440|"), std::string::npos);  // the identity's serial number
}

TEST(ServiceQueries, SelfTestResultsAppearOnlyAfterASelfTest) {
    Harness h("TKD");
    EXPECT_EQ(h.send("DIAG:SERV:STES:RES?\n"), "\n");
    EXPECT_EQ(h.send("*TST?\n"), "0\n");
    std::string a = h.send("DIAG:SERV:STES:RES?\n");
    EXPECT_EQ(a.rfind("Selftest passed,", 0), 0u) << a;
    EXPECT_GE(split(a, ',').size(), 5u);
    EXPECT_EQ(h.send("*RST;*IDN?;:DIAG:SERV:STES:RES?\n").substr(0, 33), "Tesselhorn,TKD-7,100123/007,4.40;");
}

// --- the clock ------------------------------------------------------------

int secondsOf(const std::string& hms) {
    auto f = split(hms, ',');
    if (f.size() != 3) return -1;
    return std::stoi(f[0]) * 3600 + std::stoi(f[1]) * 60 + std::stoi(f[2]);
}

struct ClockSet {
    const char* command;
    bool accepted;
};
std::ostream& operator<<(std::ostream& os, const ClockSet& c) { return os << c.command; }
class ClockSetting : public ::testing::TestWithParam<ClockSet> {};

TEST_P(ClockSetting, RangeChecksLeaveTheClockAloneOnError) {
    Harness h;
    h.send("SYST:TIME 10,20,30;:SYST:DATE 2024,2,28\n");
    h.send(std::string(GetParam().command) + "\n");
    std::string time = h.send("SYST:TIME?\n");
    std::string date = h.send("SYST:DATE?\n");
    if (GetParam().accepted) {
        EXPECT_TRUE(h.drainErrors().empty());
    } else {
        EXPECT_EQ(h.drainErrors(), std::vector<int>{-222});
        EXPECT_EQ(date, "2024,2,28\n");
        int t = secondsOf(time.substr(0, time.size() - 1));
        EXPECT_GE(t, 10 * 3600 + 20 * 60 + 30);
        EXPECT_LE(t, 10 * 3600 + 20 * 60 + 32) << time;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Values, ClockSetting,
    ::testing::Values(ClockSet{"SYST:TIME 0,0,0", true}, ClockSet{"SYST:TIME 23,59,59", true},
                      ClockSet{"SYST:TIME 09,05,07", true}, ClockSet{"SYST:DATE 2024,2,29", true},
                      ClockSet{"SYST:TIME 24,0,0", false}, ClockSet{"SYST:TIME 0,60,0", false},
                      ClockSet{"SYST:TIME 0,0,60", false}, ClockSet{"SYST:TIME -1,0,0", false},
                      ClockSet{"SYST:TIME 1,2", false}, ClockSet{"SYST:TIME 1,2,3,4", false},
                      ClockSet{"SYST:TIME", false}, ClockSet{"SYST:DATE 2023,2,29", false},
                      ClockSet{"SYST:DATE 2024,13,1", false}));

TEST(ClockSetting, SetTimeRunsOnAndRollsTheDate) {
    Harness h;
    h.send("SYST:DATE 2024,12,31;:SYST:TIME 23,59,59\n");
    std::this_thread::sleep_for(1100ms);
    std::string time = h.send("SYST:TIME?\n");
    EXPECT_TRUE(time == "0,0,0\n" || time == "0,0,1\n") << time;
    EXPECT_EQ(h.send("SYST:DATE?\n"), "2025,1,1\n");
}

// --- long answers -----------------------------------------------------------

struct Long {
    const char* query;
    int64_t n;
};
std::ostream& operator<<(std::ostream& os, const Long& l) { return os << l.query << l.n; }
class LongAnswers : public ::testing::TestWithParam<Long> {};

TEST_P(LongAnswers, PatternOfExactlyNBytesThenTheTerminator) {
    Harness h;
    const bool binary = std::string(GetParam().query) == "DATA";
    std::string a = h.send("SYST:SIM:" + std::string(GetParam().query) + "? " + std::to_string(GetParam().n) + "\n");
    ASSERT_EQ(int64_t(a.size()), GetParam().n + 1);
    EXPECT_EQ(a.back(), '\n');
    size_t bad = 0;
    for (int64_t i = 0; i < GetParam().n; ++i) {
        uint8_t want = binary ? uint8_t((i * 7 + 3) & 0xFF) : uint8_t('A' + i % 26);
        if (uint8_t(a[size_t(i)]) != want) ++bad;
    }
    EXPECT_EQ(bad, 0u);
}

INSTANTIATE_TEST_SUITE_P(Sizes, LongAnswers,
                         ::testing::Values(Long{"DATA", 0}, Long{"DATA", 1}, Long{"DATA", 999999}, Long{"DATA", 1000000},
                                           Long{"DATA", 1500000}, Long{"DATA", 2000000}, Long{"TEXT", 1000000},
                                           Long{"TEXT", 2000000}));

TEST(LongAnswers, AboveTheLimitIsOutOfRange) {
    Harness h;
    EXPECT_EQ(h.send("SYST:SIM:DATA? 2000001\n"), "");
    EXPECT_EQ(h.drainErrors(), std::vector<int>{-222});
}

// --- on the wire: real waits, a hang and a device clear ---------------------

class OnTheWire : public ::testing::Test {
protected:
    void SetUp() override {
        qv::sim::InstrumentConfig c;
        c.profile = "TKD";
        c.socketPort = 0;
        c.vxi11 = true;
        c.opcDelayMs = 300;
        qv::sim::SimulatorConfig cfg;
        cfg.instruments = {c};
        std::string error;
        ASSERT_TRUE(sim.start(cfg, error)) << error;
    }
    qv::sim::Simulator sim;
};

TEST_F(OnTheWire, SocketOpcAnswersAfterTheResetAndALongAnswerComesWhole) {
    int fd = qvsimtest::connectTcp(sim.socketPort(0));
    ASSERT_GE(fd, 0);
    auto t0 = Clock::now();
    ASSERT_TRUE(qvsimtest::sendAll(fd, "*RST;*WAI\n*OPC?\n"));
    EXPECT_EQ(qvsimtest::recvLine(fd), "1\n");
    EXPECT_GE(Clock::now() - t0, 280ms);
    ASSERT_TRUE(qvsimtest::sendAll(fd, "SYST:SIM:DATA? 1500000\n"));
    std::string a = qvsimtest::recvFor(fd, 1500001, 2000);
    ASSERT_EQ(a.size(), 1500001u);
    EXPECT_EQ(uint8_t(a[1499999]), uint8_t((1499999 * 7 + 3) & 0xFF));
    ::close(fd);
}

TEST_F(OnTheWire, HangingQueryTimesOutWithoutErrorAndClearFreesTheLink) {
    qvsimtest::Vxi11Client v(sim.vxi11Port(0));
    int32_t lid = 0;
    ASSERT_EQ(v.createLink("inst0", lid), 0);
    ASSERT_EQ(v.write(lid, "SYST:SIM:HANG?\n"), 0);
    std::string data;
    uint32_t reason = 0;
    EXPECT_EQ(v.read(lid, 100, 200, data, reason), qv::vxi11::kIoTimeout);
    uint8_t stb = 0;
    EXPECT_EQ(v.readStb(lid, stb), 0);
    EXPECT_EQ(stb & 0x10, 0);  // no message available
    EXPECT_EQ(v.generic(qv::vxi11::kDeviceClear, lid), 0);
    ASSERT_EQ(v.write(lid, "*IDN?\n"), 0);
    EXPECT_EQ(v.read(lid, 1000, 1000, data, reason), 0);
    EXPECT_EQ(data, "Tesselhorn,TKD-7,100123/007,4.40\n");
    EXPECT_TRUE(sim.instrument(0)->errorQueue().empty());
}

}  // namespace

namespace {

// The frequency window a script sets and reads back: short and long forms,
// the optional SENSe node, the reset, and values out of range.
struct Window {
    const char* name;
    std::vector<std::string> messages;
    std::string answer;  // of the last message
    std::vector<int> errors;
};
std::ostream& operator<<(std::ostream& os, const Window& w) { return os << w.name; }

class FrequencyWindow : public ::testing::TestWithParam<Window> {};

TEST_P(FrequencyWindow, SetAndReadBack) {
    Harness h("TKD");
    std::string a;
    for (const auto& m : GetParam().messages) a = h.send(m + "\n");
    EXPECT_EQ(a, GetParam().answer);
    EXPECT_EQ(h.errorCodes(), GetParam().errors);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, FrequencyWindow,
    ::testing::Values(Window{"CenterShortForm", {"FREQ:CENT 1E9", "FREQ:CENT?"}, "1000000000\n", {}},
                      Window{"SpanLongFormWithSense", {"SENSE:FREQUENCY:SPAN 10E6", "FREQ:SPAN?"}, "10000000\n", {}},
                      Window{"StartAndStopFollow", {"FREQ:CENT 100E6;:FREQ:SPAN 20E6", "FREQ:STAR?;STOP?"},
                             "90000000;110000000\n", {}},
                      Window{"ResetRestores", {"FREQ:CENT 2E9", "*RST", "FREQ:CENT?"}, "1500000000\n", {}},
                      Window{"NegativeRefused", {"FREQ:SPAN -1", "FREQ:SPAN?"}, "3000000000\n", {-222}}));

}  // namespace
