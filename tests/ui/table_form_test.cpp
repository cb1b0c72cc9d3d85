// The tables window against a simulated analyzer, offscreen: one read of
// the peak list into the grid, the text on the clipboard, and the save with
// its overwrite question.
#include "ui/table_form.h"
#include "console_rig.h"
#include "scripted_host.h"

#include <QComboBox>
#include <QTableWidget>
#include <QToolButton>

#include <gtest/gtest.h>

#include <filesystem>

namespace {

using qv::ui::TableForm;
using qvtest::ConsoleRig;
using qvtest::ScriptedHost;

// FUNCTIONS bit 32 opens the window.
constexpr int kTables = 32;

std::vector<std::string> filesIn(const std::string& folder) {
    std::vector<std::string> out;
    for (const auto& e : std::filesystem::directory_iterator(folder)) out.push_back(e.path().filename().string());
    return out;
}

struct Tables : ::testing::Test {
    ScriptedHost host;
    ConsoleRig rig{"TKD", kTables};
    TableForm* w = nullptr;
    void SetUp() override {
        w = rig.open<TableForm>("MNewInstTables");
        ASSERT_NE(w, nullptr);
        host.calls.clear();
    }
};

TEST_F(Tables, OneReadFillsTheGridUnderItsHeaderAndLeavesNoLocalFile) {
    EXPECT_EQ(w->windowTitle(), "Tables");
    EXPECT_EQ(w->ListSelection()->currentText(), "Max Peak List");
    EXPECT_EQ(w->TableView()->rowCount(), 0);
    const auto before = filesIn(rig.files.path());
    w->button("imgUpdate")->click();
    // The log writes a backslash doubled.
    EXPECT_GE(rig.logIndex("MMEM:STOR:PEAK 'C:\\\\List.lst'"), 0);
    const qv::tables::TableGrid& g = w->grid();
    ASSERT_GE(g.size(), 2u) << "no peak came";
    EXPECT_EQ(g[0], qv::tables::PeakListHeader());
    // The view shows the header as its header and every peak as a row.
    QTableWidget* v = w->TableView();
    ASSERT_EQ(v->rowCount(), int(g.size()) - 1);
    for (int c = 0; c < 3; ++c) {
        EXPECT_EQ(v->horizontalHeaderItem(c)->text().toStdString(), g[0][size_t(c)]);
        for (int r = 0; r < v->rowCount(); ++r)
            EXPECT_EQ(v->item(r, c)->text().toStdString(), g[size_t(r) + 1][size_t(c)]) << r << "," << c;
    }
    // The first peak reads as a marker, a frequency and a level with units.
    EXPECT_FALSE(g[1][0].empty());
    EXPECT_NE(g[1][1].find(' '), std::string::npos);
    EXPECT_NE(g[1][2].find(' '), std::string::npos);
    EXPECT_EQ(filesIn(rig.files.path()), before);
    EXPECT_EQ(host.messages().size(), 0u);
}

TEST_F(Tables, CopyPutsTheGridWithItsHeaderLineOnTheClipboard) {
    w->button("imgUpdate")->click();
    ASSERT_GE(w->grid().size(), 2u);
    w->button("imgCopy")->click();
    EXPECT_EQ(host.clipboard, w->ListToText());
    EXPECT_EQ(host.clipboard.rfind("Marker\tFrequency\tLevel\r\n", 0), 0u);
    // One line a row.
    size_t lines = 0;
    for (size_t at = host.clipboard.find("\r\n"); at != std::string::npos; at = host.clipboard.find("\r\n", at + 2))
        ++lines;
    EXPECT_EQ(lines, w->grid().size());
}

TEST_F(Tables, SaveAsksBeforeOverwritingAndCancelKeepsTheFile) {
    w->button("imgUpdate")->click();
    ASSERT_GE(w->grid().size(), 2u);
    const std::string target = rig.files.file("peaks.txt");
    ASSERT_TRUE(qvtest::writeFile(target, "old"));
    host.calls.clear();
    host.fileNames = {target};
    host.answers = {qv::app::Answer::Cancel};
    w->button("imgSave")->click();
    ASSERT_EQ(host.messages().size(), 1u);
    EXPECT_EQ(host.messages()[0].text, "File already exists. Overwrite?");
    EXPECT_EQ(qvtest::readFile(target), "old");

    host.fileNames = {target};
    host.answers = {qv::app::Answer::Ok};
    w->button("imgSave")->click();
    EXPECT_EQ(qvtest::readFile(target), w->ListToText());
}

}  // namespace
