// The trace window on a simulated network analyzer and oscilloscope,
// offscreen: the selectors the load fills and the readers show, a trace and
// a channel picked as the user picks them, the units and legend of what
// comes back, and the rename on Enter.
#include "app/context.h"
#include "app/host.h"
#include "sim/message_log.h"
#include "trace/trace.h"
#include "ui/main_form.h"
#include "ui/trace_form.h"
#include "ui/trace_graph.h"
#include "scripted_host.h"
#include "ui_fixtures.h"

#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>

#include <algorithm>

#include <gtest/gtest.h>

namespace {

using Items = std::vector<std::string>;

// Rows named as the scan names them, so the rename rule sees a mapped name.
class MappedSource : public qvtest::FakeSource {
public:
    std::string mapped;
    bool RecordNames(int i, const std::string& n, std::string& m, std::string& family) const override {
        const bool ok = FakeSource::RecordNames(i, n, m, family);
        m = mapped;
        return ok;
    }
};

struct SelectorWindowRig {
    qvtest::ScriptedHost host;
    qvtest::LogicEnv env;
    qvtest::SimProcess sim;
    qvtest::TempDir dir;
    MappedSource src;
    std::string log = dir.file("sim.log");
    std::unique_ptr<qv::ui::MainForm> form;
    qv::ui::TraceForm* w = nullptr;
    size_t mark = 0;

    SelectorWindowRig(const std::string& family, const std::string& mapped, std::vector<std::string> simArgs = {}) {
        // The readers' message boxes land here; the pumping keeps the window alive.
        host.onEvents = [] { QCoreApplication::processEvents(QEventLoop::AllEvents, 5); };
        src.mapped = mapped;
        simArgs.insert(simArgs.end(), {"--log", log});
        form = qvtest::MainWindowOnSimulated(env, sim, src, family, 7, simArgs);
        qv::app::context().CopyImg = 0;
        form->action("MNewTrace")->trigger();
        w = form->findChild<qv::ui::TraceForm*>("TraceForm");
    }
    QComboBox* box(const char* name) const { return w->findChild<QComboBox*>(name); }
    Items items(const char* name) const {
        Items out;
        QComboBox* b = box(name);
        for (int i = 0; i < b->count(); ++i) out.push_back(b->itemText(i).toStdString());
        return out;
    }
    // The user's pick: the index moves, then the box says it was activated.
    void pick(const char* name, int index) {
        box(name)->setCurrentIndex(index);
        emit box(name)->activated(index);
    }
    void startLog() { mark = qvtest::readLines(log).size(); }
    Items sent() const {
        const Items lines = qvtest::readLines(log);
        Items out;
        for (size_t i = mark; i < lines.size(); ++i)
            if (lines[i] != "*STB?" && lines[i] != "SYST:ERR?" && lines[i].rfind("@", 0) != 0) out.push_back(lines[i]);
        return out;
    }
    bool wasSent(const std::string& command) const {
        const Items s = sent();
        std::string escaped;
        qv::sim::appendEscaped(escaped, command);
        return std::find(s.begin(), s.end(), escaped) != s.end();
    }
    std::vector<std::string> messages() const { return host.messageTexts(); }
};

void pressKey(QWidget* target, int key) {
    QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier);
    QApplication::sendEvent(target, &press);
    QKeyEvent release(QEvent::KeyRelease, key, Qt::NoModifier);
    QApplication::sendEvent(target, &release);
}

TEST(TraceWindowSelectors, NetworkAnalyzerListsItsChannelsAndTracesAndReadsTheComplexOne) {
    SelectorWindowRig rig("KDC", "KDC");
    qv::ui::TraceForm* w = rig.w;
    ASSERT_NE(w, nullptr);
    EXPECT_TRUE(rig.messages().empty()) << rig.messages().front();
    EXPECT_EQ(rig.items("cmbChannelName"), (Items{"1", "2"}));
    EXPECT_EQ(rig.items("cmbTraceName"), (Items{"Trc1", "Trc2"}));
    EXPECT_TRUE(rig.box("cmbChannelName")->isVisible());
    EXPECT_TRUE(rig.box("cmbTraceName")->isVisible());
    EXPECT_EQ(w->findChild<QLabel*>("lbltraceNumberVal")->text(), "1");
    // The trace list stands where the channel caption would.
    EXPECT_FALSE(w->findChild<QLabel*>("lbltraceNumberVal")->isVisible());
    EXPECT_TRUE(w->findChild<QLabel*>("lblTraceNumber")->isVisible());
    // The first trace is a magnitude in dB: one plot, no legend.
    EXPECT_EQ(w->graph()->pointCount(1), 201u);
    EXPECT_EQ(w->graph()->axisLabelFormat(1), "k\"Hz\"");
    EXPECT_FALSE(w->findChild<QLabel*>("Label1")->isVisibleTo(w));

    // The Smith chart trace: real and imaginary parts, the legend shown.
    rig.startLog();
    const uint64_t before = w->state.readings;
    rig.pick("cmbTraceName", 1);
    EXPECT_EQ(w->state.readings, before + 1);
    EXPECT_TRUE(rig.wasSent("CALC1:PAR:SEL 'Trc2'"));
    EXPECT_TRUE(w->findChild<QLabel*>("Label1")->isVisibleTo(w));
    EXPECT_EQ(w->graph()->pointCount(2), 201u);
    EXPECT_EQ(qv::trace::shared().traceData.size(), 201u);
    EXPECT_EQ(w->graph()->axisLabelFormat(2), "");

    // Another channel: selected on the instrument, its traces listed, and no
    // reading until a trace is picked.
    rig.startLog();
    rig.pick("cmbChannelName", 1);
    EXPECT_EQ(rig.sent(), (Items{"INST:SEL CHANNEL2", "CALC2:PAR:CAT?"}));
    EXPECT_EQ(w->state.readings, before + 1);
    EXPECT_EQ(rig.items("cmbTraceName"), (Items{"Trc3"}));
    EXPECT_EQ(w->findChild<QLabel*>("lbltraceNumberVal")->text(), "2");
    EXPECT_EQ(qv::trace::shared().SelectedChannel, 1);
    rig.pick("cmbTraceName", 0);
    EXPECT_TRUE(rig.wasSent("CALC2:PAR:SEL 'Trc3'"));
    EXPECT_EQ(w->state.readings, before + 2);
    EXPECT_FALSE(w->findChild<QLabel*>("Label1")->isVisibleTo(w));
    EXPECT_TRUE(rig.messages().empty()) << rig.messages().front();
}

TEST(TraceWindowSelectors, EnterRenamesOnTheInstrumentAndTypedTextIsNeverAdded) {
    SelectorWindowRig rig("KDC", "KDC");
    ASSERT_NE(rig.w, nullptr);
    QComboBox* traces = rig.box("cmbTraceName");
    QComboBox* channels = rig.box("cmbChannelName");
    ASSERT_TRUE(traces->isEditable());
    ASSERT_TRUE(channels->isEditable());
    rig.startLog();
    traces->lineEdit()->setText("Thru");
    pressKey(traces, Qt::Key_A);  // other keys send nothing
    EXPECT_TRUE(rig.sent().empty());
    pressKey(traces, Qt::Key_Return);
    channels->lineEdit()->setText("Filter");
    pressKey(channels, Qt::Key_Enter);
    EXPECT_EQ(rig.sent(), (Items{"CONF:TRAC1:NAME 'Thru'", "CONF:CHAN1:NAME 'Filter'"}));
    EXPECT_EQ(rig.items("cmbTraceName"), (Items{"Trc1", "Trc2"}));
    EXPECT_EQ(rig.items("cmbChannelName"), (Items{"1", "2"}));
    // The channel box goes back to the channel's number.
    EXPECT_EQ(channels->currentText(), "1");
}

TEST(TraceWindowSelectors, OnlyModelsTakingARenameHaveEditableBoxes) {
    SelectorWindowRig rig("KDC", "");
    ASSERT_NE(rig.w, nullptr);
    EXPECT_FALSE(rig.box("cmbTraceName")->isEditable());
    rig.startLog();
    pressKey(rig.box("cmbTraceName"), Qt::Key_Return);
    EXPECT_TRUE(rig.sent().empty());
}

TEST(TraceWindowSelectors, ScopeChannelThenTheFftMathSource) {
    SelectorWindowRig rig("MYI", "", {});
    qv::ui::TraceForm* w = rig.w;
    ASSERT_NE(w, nullptr);
    EXPECT_TRUE(rig.messages().empty()) << rig.messages().front();
    EXPECT_EQ(rig.items("cmbChannelName"), (Items{"1", "2", "3", "4", "Math 1", "Math 2", "Math 3", "Math 4"}));
    EXPECT_TRUE(rig.box("cmbChannelName")->isVisible());
    EXPECT_FALSE(rig.box("cmbTraceName")->isVisible());
    EXPECT_FALSE(rig.box("cmbChannelName")->isEditable());
    // Neither the trace list's caption nor a second channel caption beside the list.
    EXPECT_FALSE(w->findChild<QLabel*>("lblTraceNumber")->isVisible());
    EXPECT_FALSE(w->findChild<QLabel*>("lbltraceNumberVal")->isVisible());
    EXPECT_EQ(w->xUnit, "s");
    EXPECT_EQ(w->yUnit, "V");
    EXPECT_EQ(w->graph()->pointCount(1), 10000u);

    rig.startLog();
    const uint64_t before = w->state.readings;
    rig.pick("cmbChannelName", 5);
    EXPECT_EQ(w->state.readings, before + 1);
    EXPECT_EQ(qv::trace::shared().SelectedChannel, 5);
    EXPECT_EQ(w->findChild<QLabel*>("lbltraceNumberVal")->text(), "Math 2");
    EXPECT_TRUE(rig.wasSent("CALC:MATH2:DATA?"));
    EXPECT_EQ(w->xUnit, "Hz");
    EXPECT_EQ(w->yUnit, "dBm");
    EXPECT_EQ(w->graph()->axisLabelFormat(1), "k\"Hz\"");
    EXPECT_EQ(rig.box("cmbChannelName")->currentText(), "Math 2");
    EXPECT_TRUE(rig.messages().empty()) << rig.messages().front();
}

}  // namespace
