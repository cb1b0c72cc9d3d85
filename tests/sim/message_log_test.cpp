// The wire log: one line per message, escaped, long blocks abbreviated.
#include <gtest/gtest.h>

#include "sim/message_log.h"
#include "sim_harness.h"

using qvsimtest::Harness;

namespace {

struct LogCase {
    std::string sent;  // without the terminating LF
    std::string line;
};
std::ostream& operator<<(std::ostream& os, const LogCase& c) { return os << c.line; }

std::string block(size_t n, char fill = 'x') {
    std::string d = std::to_string(n);
    return "#" + std::to_string(d.size()) + d + std::string(n, fill);
}

class LogLines : public ::testing::TestWithParam<LogCase> {};

// Through a real instrument so that the splitter's view of the message is
// what is logged; with and without spooling of blocks.
TEST_P(LogLines, MessageIsOneExactLine) {
    for (uint64_t spill : {uint64_t(1) << 20, uint64_t(16)}) {
        qvtest::TempDir dir;
        qv::sim::InstrumentOptions o;
        o.logFile = dir.file("log");
        o.spillThreshold = spill;
        Harness h("TKD", o);
        h.send(GetParam().sent + "\n");
        EXPECT_EQ(qvtest::readFile(dir.file("log")), GetParam().line + "\n") << "spill " << spill;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Escaping, LogLines,
    ::testing::Values(LogCase{"*IDN?", "*IDN?"}, LogCase{"*IDN?\r", "*IDN?\\r"}, LogCase{"A\tB", "A\\tB"},
                      LogCase{"SYST:SIM:ERR 1,'a\\b'", "SYST:SIM:ERR 1,'a\\\\b'"},
                      LogCase{std::string("X\x01\x7f\x80\xff", 5), "X\\x01\\x7f\\x80\\xff"},
                      LogCase{"MMEM:DATA 'f',#14a\nb\x02", "MMEM:DATA 'f',#14a\\nb\\x02"},
                      LogCase{"SYST:SIM:ERR 1,'x\ny'", "SYST:SIM:ERR 1,'x\\ny'"},
                      LogCase{"MMEM:DATA 'f'," + block(256), "MMEM:DATA 'f'," + block(256)},
                      LogCase{"MMEM:DATA 'f'," + block(300) + ";*OPC",
                              "MMEM:DATA 'f',#3300" + std::string(32, 'x') + "\\...(+268 bytes);*OPC"},
                      LogCase{"MMEM:DATA 'f',#0" + std::string(300, 'y'),
                              "MMEM:DATA 'f',#0" + std::string(32, 'y') + "\\...(+268 bytes)"}));

TEST(Log, MessagesInOrderAndControlOperations) {
    qvtest::TempDir dir;
    qv::sim::InstrumentOptions o;
    o.logFile = dir.file("log");
    Harness h("TKD", o);
    h.send("*RST\n*IDN?;*OPT?\n\nBOGUS\n");
    h.inst->log().control("@clear");
    h.send("*CLS", false);
    h.send("\n");
    EXPECT_EQ(qvtest::readFile(dir.file("log")), "*RST\n*IDN?;*OPT?\nBOGUS\n@clear\n*CLS\n");
}

TEST(Log, AppendsToAnExistingLog) {
    qvtest::TempDir dir;
    qvtest::writeFile(dir.file("log"), "earlier\n");
    qv::sim::InstrumentOptions o;
    o.logFile = dir.file("log");
    Harness h("TKD", o);
    h.send("*CLS\n");
    EXPECT_EQ(qvtest::readFile(dir.file("log")), "earlier\n*CLS\n");
}

TEST(Log, OverlongMessageIsLoggedShortAndReported) {
    qvtest::TempDir dir;
    qv::sim::InstrumentOptions o;
    o.logFile = dir.file("log");
    Harness h("TKD", o);
    std::string huge(size_t(9) << 20, 'A');
    h.send(huge + "\n*OPC?\n");
    EXPECT_EQ(h.answers.size(), 1u);  // the next message still works
    EXPECT_EQ(h.drainErrors(), std::vector<int>{-223});
    std::string log = qvtest::readFile(dir.file("log"));
    EXPECT_EQ(log, std::string(256, 'A') + "\\...(+" + std::to_string(huge.size() - 256) + " bytes)\n*OPC?\n*CLS\n");
}

}  // namespace
