// The status reports against the simulated instrument: their exact texts,
// what a query that never answers leaves, and what a session that does not
// open shows.
#include "automation/status_utilities.h"
#include "one_shot_sim.h"

#include <gtest/gtest.h>

#include <chrono>

namespace {

using qv::automation::ReadStatusReport;
using qv::automation::StatusReport;
using qv::automation::StatusText;

struct ReportCase {
    const char* name;
    std::string setup;
    StatusReport which;
    std::string title;
    std::string text;
};

void PrintTo(const ReportCase& c, std::ostream* os) {
    *os << c.name;
}

class StatusReportText : public oneshot::SimTest, public ::testing::WithParamInterface<ReportCase> {};

TEST_P(StatusReportText, IsExact) {
    const ReportCase& c = GetParam();
    if (!c.setup.empty()) sim().prepare(c.setup);
    const auto t0 = std::chrono::steady_clock::now();
    const StatusText t = ReadStatusReport(c.which, sim().resource());
    EXPECT_TRUE(t.opened);
    EXPECT_EQ(t.title, c.title);
    EXPECT_EQ(t.text, c.text);
    // A query that never answers costs one time-out, not more.
    EXPECT_LT(std::chrono::steady_clock::now() - t0, std::chrono::seconds(12));
}

const std::string kId = "DEVICE ID:\r\nTesselhorn,GLY-6,101988/006,3.11\r\n";

INSTANTIATE_TEST_SUITE_P(
    Simulator, StatusReportText,
    ::testing::Values(ReportCase{"PollStatusWithErrors",
                                 "SYST:SIM:ERR -222,'Data out of range';:SYST:SIM:ERR -221,'Settings conflict'",
                                 StatusReport::PollStatus, "Status Information - ",
                                 kId + "OPTIONS:\r\nFQ3\r\nERRORS:\r\n"
                                       "-222,\"Data out of range\"\r\n-221,\"Settings conflict\""},
                      // *OPT? never answers: it counts as empty, as does the queue.
                      ReportCase{"PollStatusSilentOptions", "SYST:SIM:FAULT 'silent@*OPT?'", StatusReport::PollStatus,
                                 "Status Information - ", kId + "OPTIONS:\r\n---\r\nERRORS:\r\n---"}),
    [](const auto& info) { return std::string(info.param.name); });

// The analyzer's service reports, and a family that refuses them: its
// query errs and never answers, which reads as an empty answer.
struct ServiceCase {
    const char* name;
    bool analyzer;
    StatusReport which;
    std::string title;
    std::string text;
};

void PrintTo(const ServiceCase& c, std::ostream* os) {
    *os << c.name;
}

class ServiceReport : public oneshot::SimTest, public ::testing::WithParamInterface<ServiceCase> {};

TEST_P(ServiceReport, IsExact) {
    const ServiceCase& c = GetParam();
    const StatusText t = ReadStatusReport(c.which, c.analyzer ? sim().analyzer() : sim().resource());
    EXPECT_TRUE(t.opened);
    EXPECT_EQ(t.title, c.title);
    EXPECT_EQ(t.text, c.text);
}

INSTANTIATE_TEST_SUITE_P(
    Simulator, ServiceReport,
    ::testing::Values(ServiceCase{"Calibration", true, StatusReport::CalResults, "Calibration Results - ",
                                  "Total Calibration Status: PASSED\r\n"
                                  "Date (dd/mm/yyyy): 14/03/2024\r\nTime: 09:12:44\r\n"
                                  "Runtime: 00.52\r\nIF Gain: PASSED\r\nIF Filter: PASSED\r\n"
                                  "Bandwidth: PASSED\r\nFrequency Response: PASSED\r\n"
                                  "Reference Level: PASSED\r\nLog Linearity: PASSED\r\n"
                                  "Temperature at calibration: 38.5 C"},
                      // Names padded to 15 before the first "|"; longer ones stay, and a
                      // record without "|" is padded as a whole.
                      ServiceCase{"HardwareInfo", true, StatusReport::HardInfo, "Hardware Info - ",
                                  "RF attenuator  |1093.8013.02|100123|2.1\r\n"
                                  "IF board       |1093.7904.02|100123|3.2\r\n"
                                  "Front end 2 GHz to 7 GHz|1093.8107.03|100987|1.4\r\n"
                                  "Reference oscillator|1093.8213.02|101004|1.0\r\n"
                                  "Power supply   \r\n"
                                  "Processor board|1091.2520.05|102233|4.7\r\n"
                                  "Fan controller "},
                      ServiceCase{"CalibrationRefused", false, StatusReport::CalResults, "Calibration Results - ", ""},
                      ServiceCase{"SelfTestRefused", false, StatusReport::SelfTest, "Selftest Results - ",
                                  "Selftest has not been executed yet."}),
    [](const auto& info) { return std::string(info.param.name); });

// The results are empty until a self-test ran; the empty answer is the
// fixed sentence, the results one a line.
class SelfTestReport : public oneshot::SimTest {};

TEST_F(SelfTestReport, BeforeAndAfterARun) {
    StatusText t = ReadStatusReport(StatusReport::SelfTest, sim().analyzer());
    EXPECT_EQ(t.title, "Selftest Results - ");
    EXPECT_EQ(t.text, "Selftest has not been executed yet.");
    {
        qv::io::VIF v;
        ASSERT_TRUE(v.OpenDevice(sim().analyzer(), false, false, 1000, true));
        std::string answer;
        ASSERT_TRUE(v.ReadString("*TST?", answer, 100, false));
    }
    t = ReadStatusReport(StatusReport::SelfTest, sim().analyzer());
    EXPECT_EQ(t.text.substr(0, 40), "Selftest passed\r\nIF filter: passed\r\nAtte");
    EXPECT_EQ(t.text.find(','), std::string::npos);
}

TEST(StatusReportFailedOpen, ShowsTheEmptyReport) {
    struct Expect {
        StatusReport which;
        std::string text;
    };
    for (const Expect& e : {
             Expect{StatusReport::PollStatus, "DEVICE ID:\r\n\r\nOPTIONS:\r\n---\r\nERRORS:\r\n---"},
             Expect{StatusReport::CalResults, ""},
             Expect{StatusReport::HardInfo, ""},
             Expect{StatusReport::SelfTest, "Selftest has not been executed yet."},
         }) {
        const StatusText t = ReadStatusReport(e.which, oneshot::kNobody);
        EXPECT_FALSE(t.opened);
        EXPECT_EQ(t.text, e.text);
        EXPECT_FALSE(t.title.empty());
    }
}

}  // namespace
