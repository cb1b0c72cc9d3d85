// The generic text window: CR LF text shows as lines, and Copy hands the
// shown text to the clipboard with the line ends other programs expect.
#include "ui/text_form.h"
#include "scripted_host.h"
#include "ui_fixtures.h"

#include <QPlainTextEdit>
#include <QPushButton>

#include <gtest/gtest.h>

TEST(TextForm, ShowsCrLfTextAsLinesAndCopiesItBack) {
    qvtest::App();
    qvtest::ScriptedHost host;
    qv::ui::TextForm w;
    EXPECT_EQ(w.windowTitle(), "generic text window");
    w.UpdateDisplay("Status: ok\r\nErrors: 0\r\n\r\nlast\nline");
    EXPECT_EQ(w.display()->document()->blockCount(), 5);
    EXPECT_EQ(w.text(), "Status: ok\nErrors: 0\n\nlast\nline");
    auto* copy = w.findChild<QPushButton*>("lblCopy");
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->text(), "Copy");
    copy->click();
    ASSERT_EQ(host.calls.size(), 1u);
    EXPECT_EQ(host.calls[0].kind, qvtest::ScriptedHost::Kind::ClipboardText);
    EXPECT_EQ(host.clipboard, "Status: ok\r\nErrors: 0\r\n\r\nlast\r\nline");
    // A new text replaces the old one.
    w.UpdateDisplay("x");
    EXPECT_EQ(w.text(), "x");
}
