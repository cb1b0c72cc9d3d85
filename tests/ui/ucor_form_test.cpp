// The user correction window against a simulated generator and analyzer,
// offscreen: editing the table through its input boxes, the name rule of
// the generator group, one upload of each dialect as the instrument
// received it, and a transducer file through the open dialog.
#include "ui/ucor_form.h"
#include "console_rig.h"
#include "scripted_host.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFocusEvent>
#include <QLabel>
#include <QLineEdit>
#include <QRadioButton>
#include <QToolButton>
#include <QTreeWidget>

#include <gtest/gtest.h>

namespace {

using qv::ui::UCorForm;
using qvtest::ConsoleRig;
using qvtest::ScriptedHost;

// FUNCTIONS bit 16 opens the window.
constexpr int kUserCorrection = 16;

std::vector<std::pair<std::string, std::string>> shown(const UCorForm* w) {
    std::vector<std::pair<std::string, std::string>> out;
    for (int i = 0; i < w->UCorList()->topLevelItemCount(); ++i) {
        const QTreeWidgetItem* it = w->UCorList()->topLevelItem(i);
        out.emplace_back(it->text(0).toStdString(), it->text(1).toStdString());
    }
    return out;
}

struct UCor : ::testing::Test {
    explicit UCor(const char* family = "GLN") : rig(family, kUserCorrection) {}
    ScriptedHost host;
    ConsoleRig rig;
    UCorForm* w = nullptr;
    void SetUp() override {
        w = rig.open<UCorForm>("MGLxUtilUserCorrection");
        ASSERT_NE(w, nullptr);
        host.calls.clear();
    }
    // Inserts a frequency and gives it a level by double-clicking its row.
    void addRow(const std::string& freq, const std::string& level) {
        w->UCorList()->clearSelection();
        host.inputs = {freq, level};
        w->button("lblUCorInsert")->click();
        const int row = w->selectedRow();
        ASSERT_GE(row, 0);
        emit w->UCorList()->itemDoubleClicked(w->UCorList()->topLevelItem(row), 0);
    }
};

TEST_F(UCor, InsertLevelAndDeleteKeepTheTextOrderAndTheCount) {
    EXPECT_EQ(w->windowTitle(), "User Correction - GLN");
    EXPECT_EQ(w->UCorName()->text(), "UCOR1");
    host.inputs = {"9"};
    w->button("lblUCorInsert")->click();
    ASSERT_EQ(host.calls.size(), 1u);
    EXPECT_EQ(host.calls[0].title, "FREQUENCY");
    EXPECT_EQ(host.calls[0].text, "FREQUENCY (Hz):");
    w->UCorList()->clearSelection();
    w->cmbUnitFreq()->setCurrentIndex(2);
    host.inputs = {"10"};
    w->button("lblUCorInsert")->click();
    EXPECT_EQ(host.calls.back().text, "FREQUENCY (MHz):");
    // As text "10" stands before "9"; the new row is the selected one.
    EXPECT_EQ(shown(w), (std::vector<std::pair<std::string, std::string>>{{"10", ""}, {"9", ""}}));
    EXPECT_EQ(w->selectedRow(), 0);
    EXPECT_EQ(w->UCorPointNum()->text(), "2");

    // A double click sets a missing level, once; the prompt names the unit.
    w->UCorUnit()->setCurrentIndex(2);
    host.inputs = {"1.5", "7"};
    emit w->UCorList()->itemDoubleClicked(w->UCorList()->topLevelItem(1), 0);
    EXPECT_EQ(host.calls.back().title, "VALUE");
    EXPECT_EQ(host.calls.back().text, "VALUE dB\xC2\xB5V:");
    const size_t asked = host.calls.size();
    emit w->UCorList()->itemDoubleClicked(w->UCorList()->topLevelItem(1), 0);
    EXPECT_EQ(host.calls.size(), asked);
    EXPECT_EQ(shown(w), (std::vector<std::pair<std::string, std::string>>{{"10", ""}, {"9", "1.5"}}));
    EXPECT_EQ(w->UCorList()->headerItem()->text(0).toStdString(), "Frequency/MHz");
    EXPECT_EQ(w->UCorList()->headerItem()->text(1).toStdString(), "Offset/dB\xC2\xB5V");

    // A cancelled or empty answer inserts nothing.
    host.inputs = {"\x18"};
    w->button("lblUCorInsert")->click();
    host.inputs = {""};
    w->button("lblUCorInsert")->click();
    EXPECT_EQ(w->table().size(), 2u);

    w->selectRow(0);
    w->button("lblUCorDelete")->click();
    EXPECT_EQ(shown(w), (std::vector<std::pair<std::string, std::string>>{{"9", "1.5"}}));
    EXPECT_EQ(w->UCorPointNum()->text(), "1");
    w->UCorList()->clearSelection();
    w->button("lblUCorDelete")->click();
    EXPECT_EQ(w->table().size(), 1u);
}

// Leaving the name box applies the generator group's rule.
TEST_F(UCor, GeneratorNamesMustBeginWithUcor) {
    for (const auto& [typed, kept] : {std::pair<const char*, const char*>{"ucor5", "ucor5"}, {"TEST", "UCOR1"}}) {
        host.calls.clear();
        w->UCorName()->setText(typed);
        QFocusEvent out(QEvent::FocusOut);
        QCoreApplication::sendEvent(w->UCorName(), &out);
        EXPECT_EQ(w->UCorName()->text().toStdString(), kept);
        EXPECT_EQ(host.messages().size(), std::string(typed) == kept ? 0u : 1u) << typed;
    }
    EXPECT_EQ(host.messages().at(0).text, qv::tables::kUCorNameMessage);
}

// The level unit follows each level as its text; the log writes the byte
// 0xB5 of "µ" as \xb5, so a UTF-8 "µ" (two bytes) would show.
struct GeneratorUnit {
    int unit;
    const char* levels;
};
void PrintTo(const GeneratorUnit& u, std::ostream* os) { *os << "unit " << u.unit; }
class UCorGeneratorUpload : public UCor, public ::testing::WithParamInterface<GeneratorUnit> {};

TEST_P(UCorGeneratorUpload, SendsBothListsWithTheirUnitsBetweenStateOffAndOn) {
    addRow("200", "2");
    addRow("100", "1");
    w->cmbUnitFreq()->setCurrentIndex(2);
    w->UCorUnit()->setCurrentIndex(GetParam().unit);
    host.calls.clear();
    w->button("lblUCorSend")->click();
    EXPECT_TRUE(host.messages().empty()) << host.messages().front().text;
    int at = 0;
    for (const std::string& line : {std::string("CORR:STAT OFF"), std::string("CORR:CSET:SEL 'UCOR1'"),
                                   std::string("CORR:CSET:DATA:FREQ 100MHz,200MHz"),
                                   "CORR:CSET:DATA:POW " + std::string(GetParam().levels),
                                   std::string("CORR:STAT ON")}) {
        const int next = rig.logIndex(line, at);
        ASSERT_GE(next, at) << line;
        at = next + 1;
    }
}

INSTANTIATE_TEST_SUITE_P(Units, UCorGeneratorUpload,
                         ::testing::Values(GeneratorUnit{0, "1dB,2dB"}, GeneratorUnit{2, "1dB\\xb5V,2dB\\xb5V"}));

struct UCorAnalyzer : UCor {
    UCorAnalyzer() : UCor("TKD") {}
};

TEST_F(UCorAnalyzer, AnyNameStandsAndTheUploadInterleavesPlainNumbers) {
    w->UCorName()->setText("LISN");
    QFocusEvent out(QEvent::FocusOut);
    QCoreApplication::sendEvent(w->UCorName(), &out);
    EXPECT_EQ(w->UCorName()->text(), "LISN");
    addRow("200", "2");
    addRow("100", "1");
    w->cmbUnitFreq()->setCurrentIndex(3);  // plays no part here
    w->UCorUnit()->setCurrentIndex(2);
    w->UCorScale(1)->setChecked(true);
    w->UCorComment()->setText("probe");
    host.calls.clear();
    w->button("lblUCorSend")->click();
    EXPECT_TRUE(host.messages().empty()) << host.messages().front().text;
    int at = 0;
    for (const char* line : {"CORR:TRAN:SEL 'LISN'", "CORR:TRAN:UNIT 'DBUV'", "CORR:TRAN:SCAL LOG",
                             "CORR:TRAN:COMM 'probe'", "CORR:TRAN:DATA 100,1,200,2"}) {
        const int next = rig.logIndex(line, at);
        ASSERT_GE(next, at) << line;
        at = next + 1;
    }
}

// The import through the window: the dialog starts in the save folder, the
// settings' rules and the window's negation and reference apply, an empty
// name takes the file's, and the next dialog starts where this one ended.
class UCorLoad : public UCorAnalyzer, public ::testing::WithParamInterface<const char*> {};

TEST_P(UCorLoad, ReadsTheFileIntoTheTableThroughTheOpenDialog) {
    const std::string eol = GetParam();
    const std::string folder = rig.files.path() + "/imports";
    ASSERT_EQ(std::system(("mkdir -p '" + folder + "'").c_str()), 0);
    const std::string file = folder + "/lisn.txt";
    ASSERT_TRUE(qvtest::writeFile(file, "Frequency\tOffset" + eol + eol + "200\t2,5" + eol + "100\t1" + eol + "0\t9" +
                                            eol));
    qv::app::context().StartRow = 2;
    w->UCorName()->clear();
    w->chkNegateValues()->setChecked(true);
    w->txtRefLvl()->setText("10");
    addRow("5", "5");  // cleared by the import
    host.calls.clear();
    host.fileNames = {file};
    w->button("lblUCorLoad")->click();
    ASSERT_FALSE(host.calls.empty());
    EXPECT_EQ(host.calls[0].kind, ScriptedHost::Kind::OpenFileName);
    EXPECT_EQ(host.calls[0].title, "select transducer file");
    // Negated first, then taken from the reference: 10 - (-2.5).
    EXPECT_EQ(shown(w), (std::vector<std::pair<std::string, std::string>>{{"100", "11"}, {"200", "12.5"}}));
    EXPECT_EQ(w->UCorPointNum()->text(), "2");
    EXPECT_EQ(w->UCorName()->text(), "lisn.txt");
    EXPECT_EQ(UCorForm::transducerFolder(), folder);
}

INSTANTIATE_TEST_SUITE_P(LineEnds, UCorLoad, ::testing::Values("\r\n", "\n"));

}  // namespace
