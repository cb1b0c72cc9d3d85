#include "ui/rich_text_box.h"

#include <QScrollBar>
#include <QStringDecoder>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>

namespace qv::ui {

namespace {

// The composer's text is the program's own (UTF-8); bytes from "\'hh" in a
// foreign source are rather of an 8-bit code page, read as Latin-1.
QString decodeRun(const std::string& bytes) {
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = utf8(QByteArrayView(bytes.data(), qsizetype(bytes.size())));
    if (!utf8.hasError()) return text;
    return QString::fromLatin1(bytes.data(), qsizetype(bytes.size()));
}

Qt::Alignment alignmentOf(qv::documents::RtfAlign a) {
    switch (a) {
        case qv::documents::RtfAlign::Right: return Qt::AlignRight;
        case qv::documents::RtfAlign::Center: return Qt::AlignHCenter;
        case qv::documents::RtfAlign::Left: break;
    }
    return Qt::AlignLeft;
}

QColor qcolor(const qv::documents::RtfColor& c) { return QColor(c.r, c.g, c.b); }

}  // namespace

void fillDocument(QTextDocument& target, const qv::documents::RtfDocument& doc, const QString& fontName) {
    target.clear();
    if (!fontName.isEmpty()) {
        QFont f = target.defaultFont();
        f.setFamilies({fontName});
        target.setDefaultFont(f);
    }
    QTextCursor cursor(&target);
    cursor.beginEditBlock();
    bool first = true;
    for (const auto& para : doc.paragraphs) {
        QTextBlockFormat block;
        block.setAlignment(alignmentOf(para.align));
        if (first) cursor.setBlockFormat(block);
        else cursor.insertBlock(block);
        first = false;
        for (const auto& run : para.runs) {
            QTextCharFormat f;
            f.setFontWeight(run.bold ? QFont::Bold : QFont::Normal);
            f.setFontItalic(run.italic);
            f.setFontUnderline(run.underline);
            f.setFontPointSize(run.halfPoints / 2.0);
            if (run.hasColor) f.setForeground(qcolor(run.color));
            if (run.hasBackground) f.setBackground(qcolor(run.background));
            cursor.insertText(decodeRun(run.text), f);
        }
    }
    cursor.endEditBlock();
}

RichTextEdit::RichTextEdit(QWidget* parent) : QTextEdit(parent) {
    setReadOnly(true);
    // The reader does the formatting; pasted or dropped markup has no place here.
    setAcceptRichText(false);
    setUndoRedoEnabled(false);
}

void RichTextEdit::setFontName(const std::string& name) {
    fontName_ = name;
    QFont f = font();
    f.setFamilies({QString::fromStdString(name)});
    setFont(f);
}

void RichTextEdit::clearText() {
    source_.clear();
    clear();
}

void RichTextEdit::setRtf(const std::string& source) {
    source_ = source;
    qv::documents::RtfDocument doc;
    lastReadOk_ = qv::documents::ReadRtf(source_, doc);
    fillDocument(*document(), doc, QString::fromStdString(fontName_));
}

void RichTextEdit::scrollToEnd() {
    moveCursor(QTextCursor::End);
    ensureCursorVisible();
    verticalScrollBar()->setValue(verticalScrollBar()->maximum());
    viewport()->update();
}

}  // namespace qv::ui
