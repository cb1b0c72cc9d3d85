// The raw reading window against a simulated instrument, offscreen: the
// command list, commands files with either line end, and runs into a file
// on one session (send, ask for the file, read).
#include "ui/raw_form.h"
#include "console_rig.h"
#include "scripted_host.h"

#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>

#include <gtest/gtest.h>

namespace {

using qv::ui::RawForm;
using qvtest::ConsoleRig;
using qvtest::ScriptedHost;

std::vector<std::string> rows(const RawForm* w) {
    std::vector<std::string> out;
    for (int i = 0; i < w->lstCommands()->count(); ++i) out.push_back(w->lstCommands()->item(i)->text().toStdString());
    return out;
}

int count(const ScriptedHost& h, ScriptedHost::Kind k) {
    return int(std::count_if(h.calls.begin(), h.calls.end(), [k](const ScriptedHost::Call& c) { return c.kind == k; }));
}

struct Raw : ::testing::Test {
    ScriptedHost host;
    ConsoleRig rig;
    RawForm* w = nullptr;
    void SetUp() override {
        w = rig.open<RawForm>("MUtilAllRawRead");
        ASSERT_NE(w, nullptr);
        host.calls.clear();  // the start sequence's own
    }
};

TEST_F(Raw, AddTakesTrimmedTextIncludingThePromptAndSkipsBlanks) {
    EXPECT_EQ(w->windowTitle(), "Raw Reading - TKD");
    EXPECT_EQ(w->txtCommand()->text(), RawForm::kCommandPrompt);
    w->button("lblAdd")->click();
    w->txtCommand()->setText("   ");
    w->button("lblAdd")->click();
    w->txtCommand()->setText("  FORM ASC  ");
    emit w->txtCommand()->returnPressed();
    EXPECT_EQ(rows(w), (std::vector<std::string>{RawForm::kCommandPrompt, "FORM ASC"}));
}

// Either line end, a trailing one and blank lines: the same rows, and the
// caption names the file.
class RawLoad : public Raw, public ::testing::WithParamInterface<const char*> {};

TEST_P(RawLoad, ReadsTheCommandsOfEitherLineEnd) {
    const std::string eol = GetParam();
    const std::string file = rig.files.file("cmds.txt");
    ASSERT_TRUE(qvtest::writeFile(file, "*RST" + eol + "  " + eol + eol + "SYST:SIM:TEXT? 10" + eol));
    w->txtCommand()->setText("OLD");
    w->button("lblAdd")->click();
    host.fileNames = {file};
    w->button("cmdOpenCommandsFile")->click();
    EXPECT_EQ(rows(w), (std::vector<std::string>{"*RST", "SYST:SIM:TEXT? 10"}));
    EXPECT_EQ(w->windowTitle(), "Loaded: cmds.txt");
    // The next dialog starts where this one ended.
    EXPECT_EQ(RawForm::commandsFolder(), rig.files.path());
}

INSTANTIATE_TEST_SUITE_P(LineEnds, RawLoad, ::testing::Values("\n", "\r\n"));

TEST_F(Raw, AnEmptyListAsksForNothing) {
    w->button("lblExecute")->click();
    EXPECT_TRUE(host.calls.empty());
}

TEST_F(Raw, CancellingTheFileDialogLeavesTheCommandsSentAndNothingRead) {
    w->txtCommand()->setText("*IDN?");
    w->button("lblAdd")->click();
    w->button("lblExecute")->click();
    EXPECT_EQ(rig.logCount("*IDN?"), 1);
    ASSERT_EQ(count(host, ScriptedHost::Kind::SaveFileName), 1);
    EXPECT_EQ(count(host, ScriptedHost::Kind::Message), 0);
    EXPECT_EQ(count(host, ScriptedHost::Kind::Busy), 0);
}

// The answer to the last command reaches the file only if the read happens
// on the session that sent it, after the dialog.
TEST_F(Raw, ARunSendsAsksThenReadsIntoTheFileWhichItReplaces) {
    const std::string target = rig.files.file("out.bin");
    ASSERT_TRUE(qvtest::writeFile(target, std::string(5000, 'x')));
    for (const char* c : {"*CLS", "SYST:SIM:TEXT? 300000"}) {
        w->txtCommand()->setText(c);
        w->button("lblAdd")->click();
    }
    host.fileNames = {target};
    w->button("lblExecute")->click();
    const int cls = rig.logIndex("*CLS");
    ASSERT_GE(cls, 0);
    EXPECT_GT(rig.logIndex("SYST:SIM:TEXT? 300000", cls), cls);
    const std::string got = qvtest::readFile(target);
    ASSERT_EQ(got.size(), 300001u);  // the data and its LF
    for (size_t i = 0; i < 300000; i += 997) ASSERT_EQ(got[i], char('A' + i % 26)) << i;
    const auto msgs = host.messages();
    ASSERT_EQ(msgs.size(), 1u);
    EXPECT_EQ(msgs[0].text, "FINISHED.");
    // The dialog came first, then the busy pointer around the read.
    std::vector<ScriptedHost::Kind> order;
    for (const auto& c : host.calls)
        if (c.kind != ScriptedHost::Kind::ProcessEvents) order.push_back(c.kind);
    EXPECT_EQ(order, (std::vector<ScriptedHost::Kind>{ScriptedHost::Kind::SaveFileName, ScriptedHost::Kind::Busy,
                                                      ScriptedHost::Kind::Busy, ScriptedHost::Kind::Message}));
    EXPECT_EQ(host.calls.front().title, "Please specify file to store data in");
}

TEST_F(Raw, ASessionThatDoesNotOpenSaysSoWithoutAskingForAFile) {
    auto* dead = new RawForm("x", [] { return qvtest::DeadResource(); });
    rig.form->openChild(dead);
    dead->button("lblAdd")->click();
    dead->button("lblExecute")->click();
    EXPECT_EQ(count(host, ScriptedHost::Kind::SaveFileName), 0);
    ASSERT_EQ(host.messages().size(), 1u);
    EXPECT_EQ(host.messages()[0].icon, qv::app::Icon::Warning);
}

}  // namespace
