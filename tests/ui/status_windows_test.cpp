// The status reports from the Utilities menu, each in a new text window,
// and setting the instrument's clock, against a simulated analyzer.
#include "ui/interact_form.h"
#include "ui/text_form.h"
#include "console_rig.h"
#include "scripted_host.h"

#include <QComboBox>
#include <QPushButton>
#include <QStatusBar>

#include <gtest/gtest.h>

#include <regex>

namespace {

using qvtest::ConsoleRig;
using qvtest::ScriptedHost;

struct Report {
    const char* entry;
    const char* caption;
    std::vector<std::string> lines;  // lines of the text, in order (not necessarily all)
};

void PrintTo(const Report& r, std::ostream* os) { *os << r.entry; }

class StatusWindow : public ::testing::TestWithParam<Report> {};

TEST_P(StatusWindow, OpensATextWindowWithTheReport) {
    ScriptedHost host;
    ConsoleRig rig;
    const Report& r = GetParam();
    auto* w = rig.open<qv::ui::TextForm>(r.entry);
    ASSERT_NE(w, nullptr);
    EXPECT_EQ(w->windowTitle().toStdString(), r.caption);
    const QStringList shown = w->text().split('\n');
    int at = 0;
    for (const std::string& want : r.lines) {
        while (at < shown.size() && shown[at].toStdString() != want) ++at;
        EXPECT_LT(at, shown.size()) << "missing or out of order: \"" << want << "\" in\n" << w->text().toStdString();
    }
    EXPECT_TRUE(host.messages().empty());
}

INSTANTIATE_TEST_SUITE_P(
    Reports, StatusWindow,
    ::testing::Values(
        Report{"MUtilAllPollStatus",
               "Status Information - TKD",
               {"DEVICE ID:", "Tesselhorn,TKD-7,100123/007,4.40", "OPTIONS:", "TR1,PA3,GT2", "ERRORS:", "---"}},
        Report{"MUtilTKxVHxCalResults",
               "Calibration Results - TKD",
               {"Total Calibration Status: PASSED", "Runtime: 00.52", "Temperature at calibration: 38.5 C"}},
        // Names padded to 15 before the "|"; longer ones stay as they are.
        Report{"MUtilTKxVHxHardInfo",
               "Hardware Info - TKD",
               {"RF attenuator  |1093.8013.02|100123|2.1", "Front end 2 GHz to 7 GHz|1093.8107.03|100987|1.4",
                "Power supply   "}},
        Report{"MUtilTKxVHxSelfTest", "Selftest Results - TKD", {"Selftest has not been executed yet."}}),
    [](const ::testing::TestParamInfo<Report>& i) { return std::string(i.param.entry); });

TEST(StatusWindows, SelfTestResultsOnceTheConsoleRanOne) {
    ScriptedHost host;
    ConsoleRig rig;
    auto* console = rig.open<qv::ui::InterActForm>("MUtilAllInterAct");
    ASSERT_NE(console, nullptr);
    console->CommandList()->setEditText("*TST?");
    console->ExecuteButton()->click();
    auto* w = rig.open<qv::ui::TextForm>("MUtilTKxVHxSelfTest");
    ASSERT_NE(w, nullptr);
    EXPECT_TRUE(w->text().startsWith("Selftest passed\nIF filter: passed\n")) << w->text().toStdString();
}

TEST(StatusWindows, SetClockSendsTheTimeAndNotesItInTheStatusBar) {
    ScriptedHost host;
    ConsoleRig rig;
    rig.form->action("MUtilTKxVHxSetClock")->trigger();
    bool sent = false;
    for (const std::string& l : rig.simLog())
        sent = sent || std::regex_match(l, std::regex("SYST:TIME [0-2][0-9],[0-5][0-9],[0-5][0-9]"));
    EXPECT_TRUE(sent);
    EXPECT_TRUE(host.messages().empty());
    EXPECT_TRUE(rig.form->statusBar()->currentMessage().startsWith("Instrument clock set to"));
    EXPECT_EQ(rig.form->mdiArea()->subWindowList().size(), 0);
    // No instrument to set: the failure box, and no claim of success.
    rig.form->statusBar()->clearMessage();
    rig.form->logic().MyVISARsc = qvtest::DeadResource();
    rig.form->action("MUtilTKxVHxSetClock")->trigger();
    ASSERT_EQ(host.messages().size(), 1u);
    EXPECT_EQ(host.messages()[0].title, "FUNCTION FAILED");
    EXPECT_TRUE(rig.form->statusBar()->currentMessage().isEmpty());
}

}  // namespace
