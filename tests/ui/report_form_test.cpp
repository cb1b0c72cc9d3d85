// The report window offscreen: what the composer writes shows with its
// attributes in the text document, the source saves as an RTF document, and
// released keys reach the hot keys once.
#include "app/context.h"
#include "documents/rtf_gen.h"
#include "documents/rtf_reader.h"
#include "ui/main_form.h"
#include "ui/report_form.h"
#include "ui/rich_text_box.h"
#include "scripted_host.h"
#include "ui_fixtures.h"

#include <QCoreApplication>
#include <QKeyEvent>
#include <QTextBlock>
#include <QTextDocument>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

namespace {

using namespace qv::documents;
using qvtest::App;
using qvtest::ScriptedHost;

// Every fragment of the document in order, with the alignment of its block.
struct Fragment {
    QString text;
    QTextCharFormat format;
    Qt::Alignment align;
};

std::vector<Fragment> Fragments(const QTextDocument& doc) {
    std::vector<Fragment> out;
    for (QTextBlock b = doc.begin(); b.isValid(); b = b.next())
        for (auto it = b.begin(); !it.atEnd(); ++it)
            out.push_back({it.fragment().text(), it.fragment().charFormat(), b.blockFormat().alignment()});
    return out;
}

size_t Entries(const std::string& folder) {
    size_t n = 0;
    for ([[maybe_unused]] const auto& e : std::filesystem::directory_iterator(folder)) ++n;
    return n;
}

std::string ReadFile(const std::string& path) {
    std::ifstream f(path, std::ios::binary);
    std::stringstream s;
    s << f.rdbuf();
    return s.str();
}

TEST(ReportForm, ShowsTheComposedReportWithItsAttributes) {
    App();
    qv::ui::ReportForm w(nullptr);
    EXPECT_EQ(w.windowTitle(), "Instrument Table Reports");
    EXPECT_EQ(w.Tag(), "REPORT");
    qv::ui::RichTextEdit& box = w.RTFReport();
    EXPECT_TRUE(box.isReadOnly());
    RTFInit(box, w.RTFBuf, "Courier New", 20);
    RTFAdd(box, w.RTFBuf, "Serial: ", false, true, false, false, 0, 0, -1, false);
    RTFAdd(box, w.RTFBuf, "C:\\x", true, false, true, false, 12632256, 0, 255, false);
    // Not flushed yet: the box still shows nothing.
    EXPECT_EQ(box.toPlainText(), "");
    RTFAdd(box, w.RTFBuf, "End", false, false, false, true, 16711680, 1, -1, true);
    EXPECT_EQ(box.rtf(), "{\\plain\\fs20" + w.RTFBuf + "}");
    EXPECT_TRUE(box.lastReadOk());
    EXPECT_EQ(box.toPlainText(), "Serial: C:\\x\nEnd");

    const std::vector<Fragment> f = Fragments(*box.document());
    ASSERT_EQ(f.size(), 3u);
    EXPECT_EQ(f[0].text, "Serial: ");
    EXPECT_EQ(f[0].format.fontWeight(), QFont::Bold);
    EXPECT_EQ(f[0].format.foreground().color(), QColor(0, 0, 0));
    EXPECT_DOUBLE_EQ(f[0].format.fontPointSize(), 10.0);
    EXPECT_EQ(f[0].align & Qt::AlignHorizontal_Mask, Qt::AlignLeft);
    EXPECT_TRUE(f[1].format.fontItalic());
    EXPECT_NE(f[1].format.fontWeight(), QFont::Bold);
    EXPECT_EQ(f[1].format.foreground().color(), QColor(127, 127, 127));
    EXPECT_EQ(f[1].format.background().color(), QColor(255, 0, 0));
    EXPECT_TRUE(f[2].format.fontUnderline());
    EXPECT_EQ(f[2].format.foreground().color(), QColor(0, 0, 255));
    EXPECT_EQ(f[2].format.background().style(), Qt::NoBrush);
    EXPECT_EQ(f[2].align & Qt::AlignHorizontal_Mask, Qt::AlignRight);

    // A new report starts from the colour table again.
    RTFInit(box, w.RTFBuf, "Courier New", 20);
    EXPECT_EQ(w.RTFBuf, kColorTable);
    EXPECT_EQ(box.toPlainText(), "");
}

TEST(ReportForm, SavesTheReportAsADocumentThatReadsTheSame) {
    App();
    ScriptedHost host;
    qvtest::TempDir dir;
    qv::ui::ReportForm w(nullptr);
    RTFInit(w.RTFReport(), w.RTFBuf, "Courier New", 22);
    RTFAdd(w.RTFReport(), w.RTFBuf, "Temp", true, true, false, false, 255, 2, 65280, false);
    RTFAdd(w.RTFReport(), w.RTFBuf, "25 \xC2\xB0" "C \xE2\x82\xAC", false, false, false, false, 49152, 0, -1, true);

    host.fileNames.push_back(dir.file("report"));
    ASSERT_TRUE(w.SaveRtf());
    const std::string saved = ReadFile(dir.file("report.rtf"));
    EXPECT_EQ(saved.rfind("{\\rtf1", 0), 0u);
    EXPECT_NE(saved.find("{\\f0\\fnil Courier New;}"), std::string::npos);
    EXPECT_NE(saved.find(std::string("}") + kColorTable + "\n\\plain\\fs22 {"), std::string::npos);
    // Office programs read the non-ASCII text only as escapes.
    EXPECT_NE(saved.find("25 \\u176?C \\u8364?"), std::string::npos);
    for (char c : saved) EXPECT_GE(static_cast<unsigned char>(c), 0x0A) << "control or high byte in the file";

    RtfDocument shown, file;
    ASSERT_TRUE(ReadRtf(w.RTFReport().rtf(), shown));
    ASSERT_TRUE(ReadRtf(saved, file));
    ASSERT_EQ(file.paragraphs.size(), shown.paragraphs.size());
    for (size_t p = 0; p < shown.paragraphs.size(); ++p) {
        EXPECT_EQ(file.paragraphs[p].align, shown.paragraphs[p].align);
        ASSERT_EQ(file.paragraphs[p].runs.size(), shown.paragraphs[p].runs.size());
        for (size_t r = 0; r < shown.paragraphs[p].runs.size(); ++r) {
            const RtfRun &a = shown.paragraphs[p].runs[r], &b = file.paragraphs[p].runs[r];
            EXPECT_EQ(a.text, b.text);
            EXPECT_EQ(a.bold, b.bold);
            EXPECT_EQ(a.halfPoints, b.halfPoints);
            EXPECT_EQ(a.color.g, b.color.g);
            EXPECT_EQ(a.hasBackground, b.hasBackground);
        }
    }
    EXPECT_TRUE(host.messages().empty());
    // Nothing besides the document stays behind.
    EXPECT_EQ(Entries(dir.path()), 1u);
}

TEST(ReportForm, ACancelledOrFailedSaveWritesNothing) {
    App();
    ScriptedHost host;
    qvtest::TempDir dir;
    qv::ui::ReportForm w(nullptr);
    RTFInit(w.RTFReport(), w.RTFBuf, "Arial", 20);
    EXPECT_FALSE(w.SaveRtf());  // the dialog answers nothing
    EXPECT_TRUE(host.messages().empty());
    EXPECT_FALSE(w.SaveRtfTo(dir.file("missing/report.rtf")));
    ASSERT_EQ(host.messages().size(), 1u);
    EXPECT_EQ(host.messages()[0].icon, qv::app::Icon::Warning);
    EXPECT_EQ(Entries(dir.path()), 0u);
}

TEST(ReportForm, ReleasedKeysReachTheHotKeysOnceFromWindowAndText) {
    App();
    ScriptedHost host;
    qvtest::FakeSource src;
    qv::ui::MainForm main(qv::app::context(), src);
    qv::app::SetHotKeys(qv::app::context());
    qv::ui::ReportForm w(&main);
    int updates = 0;
    w.setUpdateAction([&] { ++updates; });
    QKeyEvent update(QEvent::KeyRelease, Qt::Key_Return, Qt::ShiftModifier);
    QKeyEvent other(QEvent::KeyRelease, Qt::Key_Return, Qt::NoModifier);
    QCoreApplication::sendEvent(&w.RTFReport(), &update);
    EXPECT_EQ(updates, 1);
    QCoreApplication::sendEvent(&w, &update);
    EXPECT_EQ(updates, 2);
    QCoreApplication::sendEvent(&w.RTFReport(), &other);
    EXPECT_EQ(updates, 2);
    qv::app::context() = qv::app::AppContext{};
}

}  // namespace
