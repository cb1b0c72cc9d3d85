// The trace window against a simulated spectrum analyzer, offscreen: the
// first reading at opening, continuous reading stopped by its box and by a
// close, markers, the level axis rule, the legend, the popup, and the
// export after the Update button.
#include "app/host.h"
#include "app/main_window.h"
#include "trace/trace.h"
#include "ui/main_form.h"
#include "ui/trace_form.h"
#include "ui/trace_graph.h"
#include "ui_fixtures.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QLabel>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QPointer>
#include <QTimer>
#include <QToolButton>

#include <filesystem>
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

namespace {

using qvtest::LogicEnv;
using qvtest::WaitFor;

// A host that lets the window's events run while a reading loops, as the
// program's own does, and records the messages.
class PumpingHost : public qv::app::Host {
public:
    PumpingHost() : previous_(&qv::app::host()) { qv::app::setHost(this); }
    ~PumpingHost() override { qv::app::setHost(previous_); }
    std::vector<std::string> messages;
    qv::app::Answer message(const std::string&, const std::string& text, qv::app::Icon,
                            qv::app::Buttons) override {
        messages.push_back(text);
        return qv::app::Answer::Ok;
    }
    bool input(const std::string&, const std::string&, std::string&) override { return false; }
    std::string saveFileName(const std::string&, const std::string&, const std::string&,
                             const std::string&) override {
        return saveAs;
    }
    std::string openFileName(const std::string&, const std::string&, const std::string&) override { return {}; }
    std::string folderName(const std::string&, const std::string&) override { return {}; }
    void clipboardText(const std::string&) override {}
    bool clipboardImage(const std::string&) override { return false; }
    void busy(bool) override {}
    void processEvents() override { QCoreApplication::processEvents(QEventLoop::AllEvents, 5); }
    bool openWithShell(const std::string&) override { return false; }
    std::string saveAs;

private:
    qv::app::Host* previous_;
};

struct TraceRig {
    PumpingHost host;
    LogicEnv env;
    qvtest::SimProcess sim;
    qvtest::TempDir saves;
    qvtest::FakeSource src;
    std::unique_ptr<qv::ui::MainForm> form;

    TraceRig() {
        form = qvtest::MainWindowOnSimulated(env, sim, src, "TKD", 7, {"--points", "501"});
        qv::app::context().SaveFolder = saves.path();
        qv::app::context().CopyImg = 0;
    }
    qv::ui::TraceForm* open() {
        form->action("MNewTrace")->trigger();
        return form->findChild<qv::ui::TraceForm*>("TraceForm");
    }
};

std::string fileText(const std::string& path) {
    std::ifstream f(path, std::ios::binary);
    std::stringstream s;
    s << f.rdbuf();
    return s.str();
}

qv::trace::Plot plotOf(std::vector<double> x, std::vector<double> y, const std::string& xUnit,
                       const std::string& yUnit) {
    qv::trace::Plot p;
    p.x = qv::trace::makeValues(std::move(x));
    p.y = qv::trace::makeValues(std::move(y));
    p.xUnit = xUnit;
    p.yUnit = yUnit;
    return p;
}

TEST(TraceForm, OpeningReadsTheTraceIntoGraphAndStore) {
    TraceRig rig;
    qv::ui::TraceForm* w = rig.open();
    ASSERT_NE(w, nullptr);
    EXPECT_TRUE(rig.host.messages.empty()) << rig.host.messages.front();
    EXPECT_EQ(w->windowTitle(), "Trace - Lab (TKD)");
    EXPECT_EQ(w->graph()->pointCount(1), 501u);
    EXPECT_EQ(qv::trace::shared().traceData.size(), 501u);
    EXPECT_EQ(w->graph()->axisLabelFormat(1), "k\"Hz\"");
    EXPECT_EQ(w->graph()->axisLabelFormat(2), "k\"dBm\"");
    EXPECT_FALSE(w->graph()->axisCaption(1).isEmpty());
    // Tick labels carry prefix and unit.
    w->graph()->replotNow();
    const QVector<QString> xl = w->graph()->tickLabels(1);
    ASSERT_FALSE(xl.isEmpty());
    EXPECT_TRUE(xl.front().endsWith("Hz")) << xl.front().toStdString();
    EXPECT_TRUE(w->graph()->tickLabels(2).front().endsWith(" dBm"));
    // A level in dBm: no log y axis.
    auto* ylog = w->findChild<QCheckBox*>("chkYlog");
    EXPECT_FALSE(ylog->isEnabled());
    EXPECT_FALSE(w->findChild<QCheckBox*>("chkPulse")->isVisible());
    EXPECT_EQ(w->Tag(), "TRACE");
}

TEST(TraceForm, ContinuousReadingStopsWhenItsBoxIsClickedAgain) {
    TraceRig rig;
    qv::ui::TraceForm* w = rig.open();
    ASSERT_NE(w, nullptr);
    auto* box = w->findChild<QCheckBox*>("chkContinuous");
    box->click();
    ASSERT_TRUE(w->state.continuousOn);
    const uint64_t before = w->state.readings;
    // The loop lets events through: the second click lands inside it.
    QTimer stopper;
    QObject::connect(&stopper, &QTimer::timeout, [&] {
        if (w->state.readings >= before + 5 && box->isChecked()) box->click();
    });
    stopper.start(10);
    w->button("imgUpdateBild")->click();
    EXPECT_FALSE(w->state.continuousOn);
    EXPECT_FALSE(w->running());
    EXPECT_GE(w->state.readings, before + 5);
    EXPECT_TRUE(rig.host.messages.empty());
}

TEST(TraceForm, ClosingDuringContinuousReadingEndsTheLoopAndTheWindow) {
    TraceRig rig;
    QPointer<qv::ui::TraceForm> w = rig.open();
    ASSERT_TRUE(w);
    w->findChild<QCheckBox*>("chkContinuous")->click();
    const uint64_t before = w->state.readings;
    bool closedWhileRunning = false;
    QTimer closer;
    QObject::connect(&closer, &QTimer::timeout, [&] {
        if (w && w->state.readings >= before + 3 && w->running() && !closedWhileRunning) {
            closedWhileRunning = true;
            qv::ui::WindowFrame(w)->close();
        }
    });
    closer.start(10);
    w->readTrace();
    EXPECT_TRUE(closedWhileRunning);
    EXPECT_TRUE(WaitFor([&] { return w.isNull(); }, 3000));
    EXPECT_TRUE(rig.form->mdiArea()->subWindowList().isEmpty());
}

// The main window closed by the user while a trace window reads
// continuously: it waits, hidden, for the reading to end, and is deleted
// only then, never under the trace window's loop.
TEST(TraceForm, ClosingTheMainWindowWaitsForAContinuousReading) {
    TraceRig rig;
    QPointer<qv::ui::TraceForm> w = rig.open();
    ASSERT_TRUE(w);
    QPointer<qv::ui::MainForm> main(rig.form.release());
    main->setAttribute(Qt::WA_DeleteOnClose);
    w->findChild<QCheckBox*>("chkContinuous")->click();
    const uint64_t before = w->state.readings;
    bool asked = false, hiddenWhileWaiting = false;
    QTimer closer;
    QObject::connect(&closer, &QTimer::timeout, [&] {
        if (w && w->state.readings >= before + 2 && w->running() && !asked) {
            asked = true;
            main->close();
            hiddenWhileWaiting = main && !main->isVisible();
        }
    });
    closer.start(10);
    w->readTrace();
    EXPECT_TRUE(asked);
    EXPECT_TRUE(hiddenWhileWaiting);
    EXPECT_TRUE(WaitFor([&] { return w.isNull() && main.isNull(); }, 3000));
}

struct MarkerCase {
    const char* xUnit;
    const char* yUnit;
    const char* xPrefix;
    const char* readX;
    const char* readY;
};

class MarkerReadout : public ::testing::TestWithParam<MarkerCase> {};

TEST_P(MarkerReadout, FollowsTheUnitsOfTheReading) {
    TraceRig rig;
    qv::ui::TraceForm* w = rig.open();
    ASSERT_NE(w, nullptr);
    const MarkerCase& c = GetParam();
    w->DisplayTrace(plotOf({0.0015, 0.0025, 0.0035}, {-10.5, -20.25, -30.5}, c.xUnit, c.yUnit));
    w->graph()->setCursorPosition(6, 0.0025, 0);
    w->actMark(5)->click();
    EXPECT_EQ(w->lblX1(5)->text().toStdString(), std::string(c.xPrefix) + c.readX);
    EXPECT_EQ(w->lblY1(5)->text().toStdString(), std::string("Lvl: ") + c.readY);
    EXPECT_EQ(w->graph()->annotationText(6), "  M6");
    EXPECT_TRUE(w->graph()->annotationVisible(6));
    EXPECT_EQ(w->graph()->cursorColor(6), QColor(Qt::cyan));
    // The cursor moved by the mouse: the same read-outs from the new point.
    emit w->graph()->cursorMoved(6, 0.0035, -30.5);
    EXPECT_EQ(w->lblY1(5)->text().toStdString(), std::string("Lvl: -30.5 ") + c.yUnit);
    w->actMark(5)->click();
    EXPECT_TRUE(w->lblX1(5)->text().isEmpty());
    EXPECT_FALSE(w->graph()->annotationVisible(6));
    EXPECT_FALSE(w->graph()->cursorVisible(6));
}

INSTANTIATE_TEST_SUITE_P(Units, MarkerReadout,
                         ::testing::Values(MarkerCase{"Hz", "dBm", "Freq: ", "2.5 mHz", "-20.25 dBm"},
                                           MarkerCase{"s", "V", "Time: ", "2.5 ms", "-20.25 V"},
                                           // Anything but Hz is a time axis.
                                           MarkerCase{"", "dB", "Time: ", "2.5 ms", "-20.25 dB"}));

TEST(TraceForm, LevelAxisRuleAndLegendFollowEachReading) {
    TraceRig rig;
    qv::ui::TraceForm* w = rig.open();
    ASSERT_NE(w, nullptr);
    auto* ylog = w->findChild<QCheckBox*>("chkYlog");
    auto* legend = w->findChild<QLabel*>("Label1");
    w->DisplayTrace(plotOf({1, 2}, {1, 2}, "Hz", "V"));
    EXPECT_TRUE(ylog->isEnabled());
    ylog->click();
    EXPECT_TRUE(w->graph()->axisLog(2));
    EXPECT_EQ(qv::app::context().Axis2Log, 1);
    EXPECT_EQ(rig.env.read("Trace", "Axis2Log"), "1");
    w->DisplayTrace(plotOf({1, 2}, {-1, -2}, "Hz", "dBm"));
    EXPECT_FALSE(ylog->isEnabled());
    EXPECT_FALSE(ylog->isChecked());
    EXPECT_FALSE(w->graph()->axisLog(2));
    w->DisplayTrace(plotOf({1, 2}, {1, 2}, "Hz", "V"));
    EXPECT_TRUE(ylog->isEnabled());
    EXPECT_FALSE(ylog->isChecked());
    EXPECT_FALSE(legend->isVisibleTo(w));
    w->DisplayComplexTrace(plotOf({1, 2}, {1, 0, 0, 1}, "Hz", ""));
    EXPECT_TRUE(legend->isVisibleTo(w));
    EXPECT_TRUE(w->findChild<QLabel*>("Label2")->isVisibleTo(w));
    w->DisplayTrace(plotOf({1, 2}, {1, 2}, "Hz", "V"));
    EXPECT_FALSE(legend->isVisibleTo(w));
}

TEST(TraceForm, PopupEntriesSetModesAndEachPlotResetsTheTicks) {
    TraceRig rig;
    qv::ui::TraceForm* w = rig.open();
    ASSERT_NE(w, nullptr);
    const int zoom[] = {7, 8, 6};
    for (int i = 0; i < 3; ++i) {
        w->popupZoom(i);
        EXPECT_EQ(w->graph()->trackMode(), zoom[i]);
    }
    const int pan[] = {4, 5, 3};
    for (int i = 0; i < 3; ++i) {
        w->popupPan(i);
        EXPECT_EQ(w->graph()->trackMode(), pan[i]);
    }
    w->graph()->setAxisRange(1, 5, 6);
    w->popupZoom(3);
    EXPECT_EQ(w->graph()->trackMode(), 2);
    double x0, x1;
    w->graph()->axisRange(1, x0, x1);
    EXPECT_NE(x0, 5);
    w->popupPoints();
    w->popupLine();
    EXPECT_EQ(w->graph()->pointStyle(1), 10);
    EXPECT_EQ(w->graph()->lineStyle(1), 0);
    EXPECT_FALSE(w->lineTicked());
    EXPECT_TRUE(w->pointsTicked());
    // A new plot ticks Line again and leaves the styles as they are.
    w->DisplayTrace(plotOf({1, 2}, {1, 2}, "Hz", "V"));
    EXPECT_TRUE(w->lineTicked());
    EXPECT_FALSE(w->pointsTicked());
    // The popup's entries act on the window it opened over.
    rig.form->findChild<QAction*>("TMPAN1")->trigger();
    EXPECT_EQ(w->graph()->trackMode(), 5);
    EXPECT_EQ(w->graph()->lineStyle(1), 0);
}

TEST(TraceForm, UpdateButtonSavesAndCopiesTheTraceTextTheHotKeyDoesNot) {
    TraceRig rig;
    qv::ui::TraceForm* w = rig.open();
    ASSERT_NE(w, nullptr);
    qv::app::AppContext& ctx = qv::app::context();
    ctx.SaveDat = 1;
    ctx.CopyDat = 1;
    QApplication::clipboard()->clear();
    w->button("imgUpdateBild")->click();
    const std::string file = w->lastSavedFile();
    ASSERT_FALSE(file.empty());
    EXPECT_EQ(std::filesystem::path(file).parent_path().string(), rig.saves.path());
    const std::string name = std::filesystem::path(file).filename().string();
    EXPECT_EQ(name.rfind("Lab-TKD@", 0), 0u) << name;
    EXPECT_EQ(name.size(), std::string("Lab-TKD@2024-01-01_00-00-00.txt").size()) << name;
    const std::string text =
        qv::trace::TraceDataText(qv::trace::shared().traceData, qv::trace::SystemDecimalMark());
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 501);
    EXPECT_EQ(fileText(file), text + "\r\n");
    EXPECT_EQ(QApplication::clipboard()->text().toStdString(), text);
    // The update key reads again but exports nothing.
    std::filesystem::remove(file);
    QApplication::clipboard()->clear();
    const uint64_t before = w->state.readings;
    w->Update();
    EXPECT_EQ(w->state.readings, before + 1);
    EXPECT_FALSE(std::filesystem::exists(file));
    EXPECT_TRUE(QApplication::clipboard()->text().isEmpty());
    // The save dialog's path writes the same lines without the empty one.
    rig.host.saveAs = rig.saves.file("chosen.txt");
    w->button("imgSaveBild")->click();
    EXPECT_EQ(fileText(rig.host.saveAs),
              qv::trace::TraceDataText(qv::trace::shared().traceData, qv::trace::SystemDecimalMark()));
}

}  // namespace
