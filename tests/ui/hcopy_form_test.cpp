// The hardcopy window against simulated instruments, offscreen: opening it
// fetches the picture, and Update, Save, Copy act on what it shows.
#include "hardcopy/hardcopy.h"
#include "ui/hcopy_form.h"
#include "ui/inst_file_form.h"
#include "ui/main_form.h"
#include "ui/picture_files.h"
#include "scripted_host.h"
#include "ui_fixtures.h"

#include <QApplication>
#include <QClipboard>
#include <QLabel>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QToolButton>

#include <fstream>
#include <gtest/gtest.h>

namespace {

using qvtest::App;
using qvtest::LogicEnv;
using qvtest::ScriptedHost;
using qvtest::WaitFor;

// The main window with one simulated instrument of a family, selected.
struct WindowRig {
    LogicEnv env;
    qvtest::SimProcess sim;
    qvtest::TempDir saves;
    qvtest::FakeSource src;
    std::unique_ptr<qv::ui::MainForm> form;
    std::string log = saves.file("sim.log");

    explicit WindowRig(const std::string& family) {
        form = qvtest::MainWindowOnSimulated(env, sim, src, family, 7, {"--log", log});
        qv::app::context().SaveFolder = saves.path();
    }
    qv::ui::HCopyForm* openHardcopy() {
        form->action("MNewHardcopy")->trigger();
        return form->findChild<qv::ui::HCopyForm*>("HCopyForm");
    }
    int logCount(const std::string& line) const {
        auto lines = qvtest::readLines(log);
        return int(std::count(lines.begin(), lines.end(), line));
    }
};

TEST(HCopyForm, OpeningFetchesThePictureSizesTheWindowAndCopiesIt) {
    ScriptedHost host;
    WindowRig rig("MYE");
    QApplication::clipboard()->clear();
    qv::ui::HCopyForm* w = rig.openHardcopy();
    ASSERT_NE(w, nullptr);
    EXPECT_TRUE(host.messages().empty()) << host.messages()[0].text;
    EXPECT_EQ(w->windowTitle(), "Hardcopy - Lab (MYE)");
    ASSERT_FALSE(w->picture().isNull());
    EXPECT_EQ(w->picture().size(), QSize(1920, 1080));
    EXPECT_EQ(w->HCopyImage()->size(), QSize(1920, 1080));
    // The scope's PNG takes the direct route; the save dialog then offers bmp.
    EXPECT_EQ(qv::app::context().HardcopyExtension, "bmp");
    // CopyImage is on by default: the new picture is on the clipboard.
    EXPECT_EQ(QApplication::clipboard()->image().size(), QSize(1920, 1080));
    // SaveImage is off by default: no file stays behind.
    EXPECT_FALSE(qvtest::fileExists(w->lastOutcome().file));
    for (const char* name : {"imgUpdate", "imgSave", "imgCopy", "imgPrint"}) EXPECT_NE(w->button(name), nullptr);
}

TEST(HCopyForm, UpdateFetchesAgainAndReplacesTheClipboard) {
    ScriptedHost host;
    WindowRig rig("TKD");
    qv::ui::HCopyForm* w = rig.openHardcopy();
    ASSERT_NE(w, nullptr);
    ASSERT_FALSE(w->picture().isNull());
    EXPECT_EQ(rig.logCount("HCOP"), 1);
    QApplication::clipboard()->setText("something else");
    w->button("imgUpdate")->click();
    EXPECT_EQ(rig.logCount("HCOP"), 2);
    EXPECT_FALSE(QApplication::clipboard()->image().isNull());
    EXPECT_EQ(QApplication::clipboard()->image().size(), w->picture().size());
}

TEST(HCopyForm, CopyPutsThePictureOnTheClipboard) {
    ScriptedHost host;
    WindowRig rig("TKD");
    qv::ui::HCopyForm* w = rig.openHardcopy();
    ASSERT_NE(w, nullptr);
    QApplication::clipboard()->clear();
    w->button("imgCopy")->click();
    EXPECT_EQ(QApplication::clipboard()->image(), w->picture().convertToFormat(QApplication::clipboard()->image().format()));
}

// Save writes the picture in the format the name's extension gives, whatever
// the instrument sent.
class HCopySaveTest : public ::testing::TestWithParam<const char*> {};

TEST_P(HCopySaveTest, WritesTheFormatTheExtensionNames) {
    ScriptedHost host;
    WindowRig rig("TKD");
    qv::ui::HCopyForm* w = rig.openHardcopy();
    ASSERT_NE(w, nullptr);
    ASSERT_FALSE(w->picture().isNull());
    const std::string target = rig.saves.file(std::string("saved.") + GetParam());
    host.fileNames = {target};
    w->button("imgSave")->click();
    ASSERT_EQ(host.calls.size() > 0, true);
    auto dialog = std::find_if(host.calls.begin(), host.calls.end(), [](const ScriptedHost::Call& c) {
        return c.kind == ScriptedHost::Kind::SaveFileName;
    });
    ASSERT_NE(dialog, host.calls.end());
    EXPECT_EQ(dialog->title, "Please select filename");
    QImage back;
    std::string why;
    ASSERT_TRUE(qv::ui::loadPicture(target, back, why)) << why;
    EXPECT_EQ(back.size(), w->picture().size());
}

INSTANTIATE_TEST_SUITE_P(Formats, HCopySaveTest, ::testing::Values("bmp", "png", "jpg", "wmf", "EMF", "pcx"));

TEST(HCopyForm, TheFamilyThatKeepsPicturesAsFilesOpensTheFileBrowserInstead) {
    ScriptedHost host;
    WindowRig rig("BJY");
    EXPECT_EQ(rig.openHardcopy(), nullptr);
    EXPECT_EQ(rig.logCount("HCOP"), 0);
    auto* browser = rig.form->findChild<qv::ui::InstFileForm*>("InstFileForm");
    ASSERT_NE(browser, nullptr);
    EXPECT_EQ(browser->currentPath(), "INT:\\USERDATA\\PRINT\\");
    EXPECT_TRUE(host.messages().empty()) << host.messages()[0].text;
}

}  // namespace
