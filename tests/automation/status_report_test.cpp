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
  const char *name;
  std::string setup;
  StatusReport which;
  std::string title;
  std::string text;
};

void PrintTo(const ReportCase &c, std::ostream *os) { *os << c.name; }

class StatusReportText : public oneshot::SimTest,
                         public ::testing::WithParamInterface<ReportCase> {};

TEST_P(StatusReportText, IsExact) {
  const ReportCase &c = GetParam();
  if (!c.setup.empty())
    sim().prepare(c.setup);
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
    ::testing::Values(
        ReportCase{"PollStatusWithErrors",
                   "SYST:SIM:ERR -222,'Data out of range';:SYST:SIM:ERR -221,'Settings conflict'",
                   StatusReport::PollStatus, "Status Information - ",
                   kId + "OPTIONS:\r\nFQ3\r\nERRORS:\r\n"
                         "-222,\"Data out of range\"\r\n-221,\"Settings conflict\""},
        // *OPT? never answers: it counts as empty, as does the queue.
        ReportCase{"PollStatusSilentOptions", "SYST:SIM:FAULT 'silent@*OPT?'",
                   StatusReport::PollStatus, "Status Information - ",
                   kId + "OPTIONS:\r\n---\r\nERRORS:\r\n---"}),
    [](const auto &info) { return std::string(info.param.name); });

TEST(StatusReportFailedOpen, ShowsTheEmptyReport) {
  struct Expect {
    StatusReport which;
    std::string text;
  };
  for (const Expect &e : {
           Expect{StatusReport::PollStatus,
                  "DEVICE ID:\r\n\r\nOPTIONS:\r\n---\r\nERRORS:\r\n---"},
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

} // namespace
