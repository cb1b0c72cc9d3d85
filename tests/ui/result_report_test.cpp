// The demodulation result report from the menu against a simulated
// demodulation analyzer, offscreen: the 53 labelled values at opening, the
// update key reading them again, and a modulation that has no summary
// leaving the report as it was.
#include "console_rig.h"
#include "instrument_io/vif.h"
#include "scripted_host.h"
#include "tables/result_report.h"
#include "ui/report_form.h"
#include "ui/rich_text_box.h"

#include <QAction>
#include <QStringList>

#include <gtest/gtest.h>

namespace {

using qv::ui::ReportForm;
using qvtest::ConsoleRig;
using qvtest::ScriptedHost;

bool Send(const std::string& resource, const std::string& command) {
    qv::io::VIF vif;
    return vif.OpenDevice(resource, true, false, 1000, true) && vif.WriteString(command, 0);
}

QStringList Lines(const ReportForm* w) { return w->RTFReport().toPlainText().split('\n', Qt::SkipEmptyParts); }

struct Report : ::testing::Test {
    ScriptedHost host;
    ConsoleRig rig{"TKM", 63};
    std::string resource() const { return rig.form->logic().MyVISARsc; }
    void pressUpdate(ReportForm* w) {
        const auto& key = qv::app::context().UpdateHotKey;
        rig.form->HotKeyManager(*w, key.KeyCode, key.Modifiers);
    }
};

TEST_F(Report, OpensWithTheFiftyThreeLabelledValuesAndTheUpdateKeyReadsThemAgain) {
    ASSERT_TRUE(rig.form->action("MUtilTKxDemodReport")->isEnabled());
    ASSERT_TRUE(Send(resource(), "INST:SEL DDEM"));
    ReportForm* w = rig.open<ReportForm>("MUtilTKxDemodReport");
    ASSERT_NE(w, nullptr);
    EXPECT_EQ(w->windowTitle(), "Result Report - TKM");
    EXPECT_EQ(w->Tag(), "REPORT");
    const QStringList lines = Lines(w);
    ASSERT_EQ(lines.size(), qv::tables::kResultFieldCount);
    const auto& labels = qv::tables::ResultLabels();
    for (int i = 0; i < qv::tables::kResultFieldCount; ++i)
        EXPECT_TRUE(lines[i].startsWith(QString::fromUtf8(labels[size_t(i)]))) << lines[i].toStdString();
    EXPECT_EQ(rig.logCount("TRACE2:DATA? TRACE2"), 1);

    // The update key on the window reads the summary again.
    w->RTFReport().clear();
    pressUpdate(w);
    EXPECT_EQ(rig.logCount("TRACE2:DATA? TRACE2"), 2);
    EXPECT_EQ(Lines(w).size(), qv::tables::kResultFieldCount);

    // An FSK measurement has no such summary: the report stays as it is.
    ASSERT_TRUE(Send(resource(), "SENS:DDEM:FORM FSK"));
    const QString before = w->RTFReport().toPlainText();
    pressUpdate(w);
    EXPECT_EQ(rig.logCount("TRACE2:DATA? TRACE2"), 2);
    EXPECT_EQ(w->RTFReport().toPlainText(), before);
}

}  // namespace
