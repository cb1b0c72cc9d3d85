// The timed-actions window against a simulated instrument, offscreen: a
// script run on a short schedule until its count, a close that stops the
// schedule, and the refusals that name the field.
#include "ui/timed_form.h"
#include "scripted_host.h"
#include "script_rig.h"

#include <QComboBox>
#include <QDateTime>
#include <QLabel>
#include <QLineEdit>
#include <QMdiSubWindow>
#include <QPlainTextEdit>
#include <QPointer>
#include <QPushButton>
#include <QRadioButton>
#include <QTableWidget>

#include <gtest/gtest.h>

namespace {

using qv::ui::TimedForm;
using qvtest::ScriptedHost;
using qvtest::ScriptRig;
using qvtest::WaitFor;

const char* const kProbe = "name: Probe\ninstr: TKD\nparm: INT:N=4\nscpi: *ESE %N%\nscpi: *ESE?\n";

TimedForm* openTimed(ScriptRig& rig) { return rig.open<TimedForm>("MUtilAllTimed", "TimedForm"); }

void set(TimedForm* w, const char* name, const QString& text) {
    auto* e = w->findChild<QLineEdit*>(name);
    ASSERT_NE(e, nullptr) << name;
    e->setText(text);
}

void choose(TimedForm* w, const char* option) {
    auto* r = w->findChild<QRadioButton*>(option);
    ASSERT_NE(r, nullptr) << option;
    r->setChecked(true);
}

TEST(TimedForm, RunsTheScriptOnScheduleUntilItsCount) {
    ScriptedHost host;
    ScriptRig rig;
    rig.script("p.txt", kProbe);
    TimedForm* w = openTimed(rig);
    ASSERT_NE(w, nullptr);
    w->findChild<QTableWidget*>("ActionParameters")->item(0, 1)->setText("9");
    set(w, "RepeatEveryValue", "0.3");
    choose(w, "StopAfterCountOption");
    set(w, "StopAfterCount", "3");
    const qint64 t0 = QDateTime::currentMSecsSinceEpoch();
    ASSERT_TRUE(w->Start()) << (host.messages().empty() ? "" : host.messages()[0].text);
    EXPECT_TRUE(w->active());
    EXPECT_FALSE(w->StartButton()->isEnabled());
    ASSERT_TRUE(WaitFor([&] { return !w->active(); }, 10000));
    const qint64 took = QDateTime::currentMSecsSinceEpoch() - t0;
    EXPECT_EQ(w->count(), 3);
    EXPECT_EQ(rig.count("*ESE 9"), 3);
    EXPECT_EQ(rig.count("*ESE?"), 3);
    // Three runs 0.3 s apart: the third starts at 0.6 s.
    EXPECT_GE(took, 550);
    EXPECT_LT(took, 8000);
    const QString log = w->RunLog()->toPlainText();
    EXPECT_EQ(log.count("Success!"), 3) << log.toStdString();
    EXPECT_TRUE(log.contains("#3  Success!  - 9")) << log.toStdString();
    EXPECT_EQ(w->Status()->text(), "Finished - 3 done");
    EXPECT_TRUE(w->StartButton()->isEnabled());
    EXPECT_TRUE(host.messages().empty());
}

TEST(TimedForm, ClosingTheWindowStopsTheSchedule) {
    ScriptedHost host;
    ScriptRig rig;
    rig.script("p.txt", kProbe);
    QPointer<TimedForm> w = openTimed(rig);
    ASSERT_NE(w, nullptr);
    set(w, "RepeatEveryValue", "0.2");
    choose(w, "StopAfterCountOption");
    set(w, "StopAfterCount", "1000");
    ASSERT_TRUE(w->Start());
    ASSERT_TRUE(WaitFor([&] { return w->count() >= 2; }, 10000));
    EXPECT_TRUE(w->Status()->text().startsWith("Next run: ")) << w->Status()->text().toStdString();
    qobject_cast<QMdiSubWindow*>(w->parentWidget())->close();
    ASSERT_TRUE(WaitFor([&] { return w.isNull(); }));
    const int runs = rig.count("*ESE?");
    // Some intervals later nothing more has been sent.
    WaitFor([] { return false; }, 800);
    EXPECT_EQ(rig.count("*ESE?"), runs);
    EXPECT_GE(runs, 2);
}

// The engine lets events run after each line: a close arriving in the middle
// of a run lets that run end, then closes, and starts nothing more.
TEST(TimedForm, CloseDuringARunWaitsForItsEnd) {
    qvtest::EventHost host;
    ScriptRig rig;
    rig.script("p.txt", kProbe);
    QPointer<TimedForm> w = openTimed(rig);
    ASSERT_NE(w, nullptr);
    QPointer<QMdiSubWindow> sub = qobject_cast<QMdiSubWindow*>(w->parentWidget());
    set(w, "RepeatEveryValue", "0.2");
    ASSERT_TRUE(w->Start());
    host.during = [&] {
        if (w && w->running() && sub) sub->close();
    };
    ASSERT_TRUE(WaitFor([&] { return w.isNull(); }, 10000));
    host.during = nullptr;
    EXPECT_EQ(rig.count("*ESE 4"), 1);
    EXPECT_EQ(rig.count("*ESE?"), 1);
    WaitFor([] { return false; }, 600);
    EXPECT_EQ(rig.count("*ESE?"), 1);
}

TEST(TimedForm, StopEndsTheScheduleAndStartIsOfferedAgain) {
    ScriptedHost host;
    ScriptRig rig;
    rig.script("p.txt", kProbe);
    TimedForm* w = openTimed(rig);
    ASSERT_NE(w, nullptr);
    choose(w, "StartIn");
    set(w, "StartInValue", "1");
    w->findChild<QComboBox*>("StartInUnit")->setCurrentIndex(1);  // minutes
    ASSERT_TRUE(w->Start());
    EXPECT_TRUE(w->Status()->text().startsWith("Next run: ")) << w->Status()->text().toStdString();
    w->StopButton()->click();
    EXPECT_FALSE(w->active());
    EXPECT_EQ(w->Status()->text(), "Stopped - 0 done");
    EXPECT_TRUE(w->StartButton()->isEnabled());
    EXPECT_TRUE(rig.sent().empty());
}

struct RefusalCase {
    const char* name;
    void (*setup)(TimedForm*);
    const char* message;
};

class Refusals : public ::testing::TestWithParam<RefusalCase> {};

TEST_P(Refusals, NameTheFieldAndStartNothing) {
    ScriptedHost host;
    ScriptRig rig;
    rig.script("p.txt", kProbe);
    rig.script("q.txt", "name: Other\ninstr: GLN\nscpi: *RST\n");
    TimedForm* w = openTimed(rig);
    ASSERT_NE(w, nullptr);
    GetParam().setup(w);
    EXPECT_FALSE(w->Start());
    EXPECT_FALSE(w->active());
    ASSERT_EQ(host.messages().size(), 1u);
    EXPECT_EQ(host.messages()[0].title, "Timed actions");
    EXPECT_EQ(host.messages()[0].text, GetParam().message);
}

INSTANTIATE_TEST_SUITE_P(
    Fields, Refusals,
    ::testing::Values(
        RefusalCase{"RepeatNotANumber", [](TimedForm* w) { set(w, "RepeatEveryValue", "abc"); },
                    "Repeat every: \"abc\" is not a number."},
        RefusalCase{"ParameterRefused",
                    [](TimedForm* w) {
                        w->findChild<QTableWidget*>("ActionParameters")->item(0, 1)->setText("40000");
                    },
                    "Action: N: Value must be an integer!"},
        RefusalCase{"OtherFamily",
                    [](TimedForm* w) {
                        auto* c = w->findChild<QComboBox*>("ActionScript");
                        c->setCurrentIndex(c->findText("Other (GLN)"));
                    },
                    "Action: Current Instrument not supported by this script!"}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
