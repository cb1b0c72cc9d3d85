// The script window against a simulated instrument, offscreen: the list and
// its recent choice, the support test, the in-cell editor with its checks,
// a run's Results next to what the instrument got, and a close or a second
// Run while a run is on.
#include "ui/grid_macros.h"
#include "ui/script_form.h"
#include "scripted_host.h"
#include "script_rig.h"

#include <QComboBox>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMdiSubWindow>
#include <QPlainTextEdit>
#include <QPointer>
#include <QPushButton>
#include <QTableWidget>
#include <QToolButton>

#include <gtest/gtest.h>

namespace {

using qv::ui::ScriptForm;
using qvtest::ScriptedHost;
using qvtest::ScriptRig;
using qvtest::WaitFor;

const char* const kAsk =
    "name: Ask\n"
    "desc: Sets the event mask and reads it back.\n"
    "instr: TKD, TKM\n"
    "parm: INT:N=3\n"
    "parm: FILE:Out=x.dat\n"
    "scpi: *ESE %N%\n"
    "scpi: *ESE?\n"
    "scpi: NOSUCH -- an error on purpose\n";

ScriptForm* openScripts(ScriptRig& rig) { return rig.open<ScriptForm>("MNewInstScripts", "ScriptForm"); }

int rowOf(ScriptForm* w, const std::string& text) {
    for (int i = 0; i < w->ScriptSelection()->count(); ++i)
        if (w->ScriptSelection()->itemText(i).toStdString() == text) return i;
    return -1;
}

std::string results(ScriptForm* w) { return w->Results()->toPlainText().toStdString(); }

void key(QWidget* w, int k) {
    QKeyEvent press(QEvent::KeyPress, k, Qt::NoModifier);
    QCoreApplication::sendEvent(w, &press);
}

// Types text into the editor over row's value cell and ends with endKey.
void edit(ScriptForm* w, int row, const QString& text, int endKey) {
    w->Parameters()->setCurrentCell(row, 1);
    w->CellClicked(row, 1);
    ASSERT_TRUE(w->ParInputBox()->isVisible());
    w->ParInputBox()->setText(text);
    key(w->ParInputBox(), endKey);
}

TEST(ScriptForm, ListsAndSelectsTheRecentScript) {
    ScriptedHost host;
    ScriptRig rig;
    rig.script("a.txt", kAsk);
    rig.script("b.txt", "name: Other\ninstr: GLN\nscpi: *RST\n");
    qv::app::context().ScriptRecent = "Other";
    qv::app::context().SaveFolder = rig.work.path();
    ScriptForm* w = openScripts(rig);
    ASSERT_NE(w, nullptr);
    EXPECT_EQ(w->windowTitle(), "Scripts - " + rig.form->deviceList()->currentText());
    ASSERT_EQ(w->ScriptSelection()->count(), 3);
    EXPECT_EQ(w->ScriptSelection()->itemText(0), " ");
    EXPECT_EQ(w->ScriptSelection()->currentText(), "Other (GLN)");

    w->ScriptSelection()->setCurrentIndex(rowOf(w, "Ask (TKD,TKM)"));
    EXPECT_EQ(qv::app::context().ScriptRecent, "Ask");
    EXPECT_EQ(w->Description()->toPlainText(), "Sets the event mask and reads it back.\n");
    EXPECT_EQ(results(w), "");
    QTableWidget* g = w->Parameters();
    ASSERT_EQ(g->rowCount(), 2);
    EXPECT_EQ(g->item(0, 0)->text(), "N");
    EXPECT_EQ(g->item(0, 1)->text(), "3");
    EXPECT_EQ(g->item(0, 2)->text(), "INT");
    EXPECT_EQ(g->item(1, 2)->text(), "FILE");
    // A FILE default without a folder lands in the save folder.
    EXPECT_EQ(g->item(1, 1)->text().toStdString(), rig.work.path() + "/x.dat");
    EXPECT_TRUE(g->item(0, 1)->textAlignment() & Qt::AlignLeft);

    // A new script appears on a reload.
    rig.script("c.txt", "name: Third\ninstr: TKD\n");
    w->ReloadButton()->click();
    EXPECT_EQ(w->ScriptSelection()->count(), 4);
    EXPECT_EQ(w->ScriptSelection()->currentText(), "Ask (TKD,TKM)");
    EXPECT_TRUE(host.messages().empty());
}

struct SupportCase {
    const char* name;
    const char* instr;  // the script's instr line; null: the introduction
    bool runnable;
};

class Support : public ::testing::TestWithParam<SupportCase> {};

TEST_P(Support, DecidesWhetherRunIsEnabled) {
    ScriptedHost host;
    ScriptRig rig;
    if (GetParam().instr) rig.script("s.txt", std::string("name: S\ninstr: ") + GetParam().instr + "\nscpi: *RST\n");
    ScriptForm* w = openScripts(rig);
    ASSERT_NE(w, nullptr);
    w->ScriptSelection()->setCurrentIndex(GetParam().instr ? 1 : 0);
    EXPECT_EQ(w->Run()->isEnabled(), GetParam().runnable);
    EXPECT_EQ(results(w), GetParam().runnable ? "" : "Current Instrument not supported by this script!");
}

INSTANTIATE_TEST_SUITE_P(Scripts, Support,
                         ::testing::Values(SupportCase{"LowerCaseTag", "tkd", true},
                                           SupportCase{"OtherFamilies", "GLN, KDC", false},
                                           SupportCase{"Introduction", nullptr, false}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(ScriptForm, EditorChecksCommitsAndCancels) {
    ScriptedHost host;
    ScriptRig rig;
    rig.script("a.txt", "name: Ask\ninstr: TKD\nparm: INT:N=3\nparm: FLOAT:F=1.5\nparm: S=x\nscpi: *ESE?\n");
    ScriptForm* w = openScripts(rig);
    ASSERT_NE(w, nullptr);
    w->ScriptSelection()->setCurrentIndex(1);
    QTableWidget* g = w->Parameters();
    ASSERT_EQ(g->rowCount(), 3);

    // The editor lies over the cell it edits.
    g->setCurrentCell(2, 1);
    w->CellClicked(2, 1);
    ASSERT_TRUE(w->ParInputBox()->isVisible());
    EXPECT_EQ(w->ParInputBox()->geometry(), g->visualRect(g->model()->index(2, 1)));
    EXPECT_EQ(w->ParInputBox()->text(), "x");
    key(w->ParInputBox(), Qt::Key_Escape);
    EXPECT_FALSE(w->ParInputBox()->isVisible());

    struct Step {
        int row;
        const char* typed;
        int endKey;
        const char* cell;     // the value afterwards
        const char* refusal;  // the message, empty: none
    } steps[] = {{0, "40000", Qt::Key_Return, "3", "Value must be an integer!"},
                 {0, "-7", Qt::Key_Return, "-7", ""},
                 {1, "abc", Qt::Key_Enter, "1.5", "Value must be an float!"},
                 {1, "2.25", Qt::Key_Enter, "2.25", ""},
                 {2, "changed", Qt::Key_Escape, "x", ""},
                 {2, "", Qt::Key_Return, "x", ""},
                 {2, "hello", Qt::Key_Return, "hello", ""}};
    for (const Step& s : steps) {
        host.calls.clear();
        edit(w, s.row, s.typed, s.endKey);
        EXPECT_FALSE(w->ParInputBox()->isVisible()) << s.typed;
        EXPECT_EQ(g->item(s.row, 1)->text().toStdString(), s.cell) << s.typed;
        if (*s.refusal) {
            ASSERT_EQ(host.messages().size(), 1u) << s.typed;
            EXPECT_EQ(host.messages()[0].title, "Error");
            EXPECT_EQ(host.messages()[0].text, s.refusal);
        } else {
            EXPECT_TRUE(host.messages().empty()) << s.typed;
        }
    }
    // A click on another value cell commits the pending edit first.
    g->setCurrentCell(0, 1);
    w->CellClicked(0, 1);
    w->ParInputBox()->setText("12");
    g->setCurrentCell(2, 1);
    w->CellClicked(2, 1);
    EXPECT_EQ(g->item(0, 1)->text(), "12");
    EXPECT_TRUE(w->ParInputBox()->isVisible());
}

TEST(ScriptForm, FileRowOpensTheDialogFromItsValue) {
    ScriptedHost host;
    ScriptRig rig;
    rig.script("a.txt", "name: F\ninstr: TKD\nparm: FILE:Out=/tmp/start.dat\n");
    ScriptForm* w = openScripts(rig);
    ASSERT_NE(w, nullptr);
    w->ScriptSelection()->setCurrentIndex(1);
    host.fileNames = {"/data/chosen.png", ""};
    w->CellClicked(0, 1);
    EXPECT_FALSE(w->ParInputBox()->isVisible());
    ASSERT_EQ(host.calls.back().kind, ScriptedHost::Kind::OpenFileName);
    EXPECT_EQ(host.calls.back().text, "/tmp/start.dat");
    EXPECT_EQ(w->Parameters()->item(0, 1)->text(), "/data/chosen.png");
    // Cancel keeps the value.
    w->CellClicked(0, 1);
    EXPECT_EQ(w->Parameters()->item(0, 1)->text(), "/data/chosen.png");
}

TEST(ScriptForm, FileFilterInTheDialogsForm) {
    EXPECT_EQ(ScriptForm::QtFilter("Text (*.txt;*.ini)|*.txt;*.ini|Images (*.bmp;*.png)|*.bmp;*.png|All (*.*)|*.*"),
              "Text (*.txt *.ini);;Images (*.bmp *.png);;All (*)");
}

TEST(ScriptForm, RunShowsTheAnswersAndSendsTheCommands) {
    ScriptedHost host;
    ScriptRig rig;
    rig.script("a.txt", kAsk);
    ScriptForm* w = openScripts(rig);
    ASSERT_NE(w, nullptr);
    w->ScriptSelection()->setCurrentIndex(1);
    edit(w, 0, "7", Qt::Key_Return);
    w->Run()->click();
    EXPECT_EQ(results(w), "7\nERROR: -113,\"Undefined header\"\nScript terminated with errors!\n");
    EXPECT_EQ(w->Run()->text(), "Run");
    EXPECT_TRUE(w->Run()->isEnabled());
    // The session's opening check, then each line with its error poll; the
    // error read after NOSUCH is followed by the one that finds the queue empty.
    const std::vector<std::string> expected = {"*STB?",  "SYST:ERR?", "*ESE 7",    "SYST:ERR?", "*ESE?",
                                               "SYST:ERR?", "NOSUCH", "SYST:ERR?", "SYST:ERR?"};
    EXPECT_EQ(rig.sent(), expected);
}

TEST(ScriptForm, EmptyParameterSendsNothing) {
    ScriptedHost host;
    ScriptRig rig;
    rig.script("a.txt", "name: E\ninstr: TKD\nparm: INT:N=1\nparm: Target\nscpi: *RST\n");
    ScriptForm* w = openScripts(rig);
    ASSERT_NE(w, nullptr);
    w->ScriptSelection()->setCurrentIndex(1);
    w->Run()->click();
    ASSERT_EQ(host.messages().size(), 1u);
    EXPECT_EQ(host.messages()[0].text, "Parameter Target is empty!");
    EXPECT_EQ(w->Parameters()->currentRow(), 1);
    EXPECT_EQ(w->Parameters()->currentColumn(), 0);
    EXPECT_TRUE(rig.sent().empty());
    EXPECT_EQ(w->Run()->text(), "Run");
}

// The engine lets events run after each line: a second Run and a close of
// the window arrive in the middle of a run.
TEST(ScriptForm, SecondRunIsRefusedAndACloseWaitsForTheEnd) {
    qvtest::EventHost host;
    ScriptRig rig;
    rig.script("a.txt", "name: A\ninstr: TKD\nscpi: *ESE 5\nscpi: *ESE?\nscpi: *CLS\n");
    QPointer<ScriptForm> w = openScripts(rig);
    ASSERT_NE(w, nullptr);
    w->ScriptSelection()->setCurrentIndex(1);
    QPointer<QMdiSubWindow> sub = qobject_cast<QMdiSubWindow*>(w->parentWidget());
    ASSERT_NE(sub, nullptr);
    bool sawRunning = false;
    int lines = 0;
    host.during = [&] {
        if (!w || !w->running()) return;
        sawRunning = sawRunning || (w->Run()->text() == "Running..." && !w->Run()->isEnabled());
        if (++lines == 2) {
            w->clickRun();
            sub->close();
        }
    };
    w->clickRun();
    host.during = nullptr;
    EXPECT_TRUE(sawRunning);
    // The run went to its end, once.
    EXPECT_EQ(rig.count("*ESE 5"), 1);
    EXPECT_EQ(rig.count("*CLS"), 1);
    EXPECT_TRUE(WaitFor([&] { return sub.isNull() && w.isNull(); }));
}

TEST(GridMacros, ColourIndexAndCellSetting) {
    EXPECT_EQ(qv::ui::ColorByIndex(0), 255);
    EXPECT_EQ(qv::ui::ColorByIndex(5), 16776960);
    EXPECT_EQ(qv::ui::ColorByIndex(6), 0);
    EXPECT_EQ(qv::ui::ColorByIndex(-1), 0);
    EXPECT_EQ(qv::ui::ColorOfBgr(qv::ui::ColorByIndex(0)), QColor(Qt::red));
    EXPECT_EQ(qv::ui::ColorOfBgr(qv::ui::ColorByIndex(2)), QColor(Qt::blue));

    qvtest::App();
    QTableWidget g(1, 1);
    ASSERT_TRUE(qv::ui::SetCell(&g, 3, 2, "x", true, false, Qt::AlignRight, qv::ui::ColorByIndex(1)));
    EXPECT_EQ(g.rowCount(), 4);
    EXPECT_EQ(g.columnCount(), 3);
    EXPECT_EQ(g.currentRow(), 3);
    EXPECT_EQ(g.currentColumn(), 2);
    EXPECT_TRUE(g.item(3, 2)->font().bold());
    EXPECT_EQ(g.item(3, 2)->foreground().color(), QColor(Qt::green));
    // -1 leaves the colour set before.
    ASSERT_TRUE(qv::ui::SetCell(&g, 3, 2, "y", false, true, Qt::AlignLeft, -1, -1));
    EXPECT_EQ(g.item(3, 2)->foreground().color(), QColor(Qt::green));
    EXPECT_TRUE(g.item(3, 2)->font().italic());
    EXPECT_FALSE(qv::ui::SetCell(&g, -1, 0, "z", false, false, Qt::AlignLeft));
}

}  // namespace
