// The console window against a simulated instrument, offscreen: what a
// query, a write, an error and a failed open show and log, Enter, the
// history across windows and the copy of the log.
#include "ui/interact_form.h"
#include "console_rig.h"
#include "scripted_host.h"
#include "app/settings.h"

#include <QComboBox>
#include <QKeyEvent>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>

#include <gtest/gtest.h>

namespace {

using qv::ui::InterActForm;
using qvtest::ConsoleRig;
using qvtest::ScriptedHost;

QColor statusColour(const InterActForm* w) { return w->Status()->palette().color(QPalette::Base); }

std::vector<std::string> listed(const InterActForm* w) {
    std::vector<std::string> out;
    for (int i = 0; i < w->CommandList()->count(); ++i) out.push_back(w->CommandList()->itemText(i).toStdString());
    return out;
}

void send(InterActForm* w, const QString& command) {
    w->CommandList()->setEditText(command);
    w->ExecuteButton()->click();
}

void key(QObject* to, QEvent::Type type, int k) {
    QKeyEvent e(type, k, Qt::NoModifier);
    QCoreApplication::sendEvent(to, &e);
}

struct Console : ::testing::Test {
    ScriptedHost host;
    ConsoleRig rig;
    InterActForm* w = nullptr;
    void SetUp() override {
        w = rig.open<InterActForm>("MUtilAllInterAct");
        ASSERT_NE(w, nullptr);
    }
};

TEST_F(Console, AQueryShowsTheAnswerItsTimeAndLogsOneLine) {
    EXPECT_EQ(w->windowTitle(), "Interactive Control - TKD");
    EXPECT_EQ(w->CommandLog(), std::vector<std::string>{""});
    send(w, "*IDN?");
    const std::string answer = w->Answer()->toPlainText().toStdString();
    EXPECT_NE(answer.find("100123/007"), std::string::npos) << answer;
    bool isNumber = false;
    w->ExecTime()->text().toInt(&isNumber);
    EXPECT_TRUE(isNumber) << w->ExecTime()->text().toStdString();
    EXPECT_NE(statusColour(w), QColor(255, 0, 0));
    ASSERT_EQ(w->CommandLog().size(), 1u);
    EXPECT_EQ(w->CommandLog()[0], "*IDN?: " + answer + ": \r\n");
    // A "?" anywhere makes a query, even inside a string argument.
    send(w, "MMEM:CAT? \"D:\\\"");
    EXPECT_EQ(rig.logCount("MMEM:CAT? \"D:\\\\\""), 1);
    EXPECT_EQ(w->CommandLog().size(), 2u);
}

TEST_F(Console, AWriteWaitsForCompletionAndShowsNoAnswer) {
    send(w, "*RST");
    const int write = rig.logIndex("*RST;*WAI");
    ASSERT_GE(write, 0);
    EXPECT_GT(rig.logIndex("*OPC?", write), write);
    EXPECT_TRUE(w->Answer()->toPlainText().isEmpty());
    EXPECT_NE(w->ExecTime()->text(), "---");
    EXPECT_EQ(w->CommandLog().back(), "*RST: : \r\n");
}

TEST_F(Console, AnErrorTurnsStatusRedAndStaysRedUntilTheNextGoodCommand) {
    send(w, "NOSUCH:HEADER 1");
    ASSERT_GE(w->Status()->count(), 1);
    const std::string error = w->Status()->item(0)->text().toStdString();
    EXPECT_NE(error, "---");
    EXPECT_EQ(statusColour(w), QColor(255, 0, 0));
    const std::string& line = w->CommandLog().back();
    ASSERT_GE(line.size(), error.size() + 3);
    EXPECT_EQ(line.substr(line.size() - error.size() - 3), error + " \r\n");
    // The skin colours applied again leave the error's red alone.
    w->applyColours();
    EXPECT_EQ(statusColour(w), QColor(255, 0, 0));
    send(w, "*IDN?");
    EXPECT_NE(statusColour(w), QColor(255, 0, 0));
    EXPECT_EQ(w->CommandList()->palette().color(QPalette::Base), w->Answer()->palette().color(QPalette::Base));
}

TEST_F(Console, AFailedOpenSendsNothingButListsAndLogsTheCommand) {
    w->MyVISARsc = qvtest::DeadResource();
    const size_t linesBefore = rig.simLog().size();
    send(w, "*IDN?");
    EXPECT_EQ(rig.simLog().size(), linesBefore);
    EXPECT_TRUE(w->Answer()->toPlainText().isEmpty());
    EXPECT_EQ(w->ExecTime()->text(), "---");
    EXPECT_EQ(w->CommandLog().back(), "*IDN?: : \r\n");
    EXPECT_EQ(listed(w), std::vector<std::string>{"*IDN?"});
}

TEST_F(Console, EnterSendsAtItsReleaseAndTheListKeepsDuplicates) {
    w->CommandList()->setEditText("*IDN?");
    key(w->CommandList(), QEvent::KeyPress, Qt::Key_Return);
    EXPECT_EQ(rig.logCount("*IDN?"), 0);
    EXPECT_EQ(w->CommandList()->count(), 0);  // the combo box did not insert by itself
    key(w->CommandList(), QEvent::KeyRelease, Qt::Key_Return);
    EXPECT_EQ(rig.logCount("*IDN?"), 1);
    send(w, "*IDN?");
    EXPECT_EQ(listed(w), (std::vector<std::string>{"*IDN?", "*IDN?"}));
    EXPECT_EQ(w->CommandLog().size(), 2u);
}

TEST_F(Console, CopyPutsTheJoinedLogOnTheClipboard) {
    w->CommandListToClip()->click();
    ASSERT_FALSE(host.calls.empty());
    EXPECT_EQ(host.calls.back().kind, ScriptedHost::Kind::ClipboardText);
    EXPECT_EQ(host.clipboard, "");
    send(w, "*RST");
    send(w, "*OPT?");
    w->CommandListToClip()->click();
    EXPECT_EQ(host.clipboard, w->CommandLog()[0] + w->CommandLog()[1]);
    EXPECT_EQ(w->CommandLog()[1], "*OPT?: TR1,PA3,GT2: \r\n");
}

// The history outlives the window: a second one lists it and walks it with
// Up and Down as a shell does, giving back the line being typed at the end.
TEST_F(Console, HistoryCarriesToTheNextWindowAndUpDownWalkIt) {
    w->MyVISARsc = qvtest::DeadResource();  // the history does not need the instrument
    for (const char* c : {"A1", "B2", "A1"}) send(w, c);
    auto* second = rig.open<InterActForm>("MUtilAllInterAct");
    ASSERT_NE(second, nullptr);
    ASSERT_NE(second, w);
    EXPECT_EQ(listed(second), (std::vector<std::string>{"A1", "B2", "A1"}));
    EXPECT_TRUE(second->CommandList()->currentText().isEmpty());
    QLineEdit* line = second->CommandList()->lineEdit();
    line->setText("typing");
    const struct {
        int key;
        const char* shows;
    } steps[] = {{Qt::Key_Up, "A1"},   {Qt::Key_Up, "B2"},     {Qt::Key_Up, "A1"},
                 {Qt::Key_Up, "A1"},   {Qt::Key_Down, "B2"},   {Qt::Key_Down, "A1"},
                 {Qt::Key_Down, "typing"}, {Qt::Key_Down, "typing"}};
    int n = 0;
    for (const auto& s : steps) {
        key(second->CommandList(), QEvent::KeyPress, s.key);
        EXPECT_EQ(second->CommandList()->currentText().toStdString(), s.shows) << "step " << n;
        ++n;
    }
    // In the settings file already, not only in memory.
    qv::app::AppContext fresh;
    fresh.IniFilePath = qv::app::context().IniFilePath;
    qv::app::LoadConsoleHistory(fresh);
    EXPECT_EQ(fresh.ConsoleHistory, (std::vector<std::string>{"A1", "B2", "A1"}));
}

}  // namespace
