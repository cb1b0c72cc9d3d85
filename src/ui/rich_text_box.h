// The rich text box reports are shown in: a read-only text view that reads
// the RTF source the composer gives it into its document and keeps that
// source as it came.
#pragma once

#include "documents/rtf_gen.h"
#include "documents/rtf_reader.h"

#include <QTextEdit>

#include <string>

namespace qv::ui {

class RichTextEdit : public QTextEdit, public qv::documents::RichTextBox {
    Q_OBJECT
public:
    explicit RichTextEdit(QWidget* parent = nullptr);

    // RichTextBox
    void setFontName(const std::string& name) override;
    void clearText() override;
    // A source the reader finds malformed still shows what could be read.
    void setRtf(const std::string& source) override;
    const std::string& rtf() const override { return source_; }
    void scrollToEnd() override;

    const std::string& fontName() const { return fontName_; }
    // Whether the last source read without a fault.
    bool lastReadOk() const { return lastReadOk_; }

private:
    std::string source_;
    std::string fontName_;
    bool lastReadOk_ = true;
};

// Fills a document with what a reader made of a source: one block per
// paragraph, one fragment per run, sizes in points.
void fillDocument(QTextDocument& target, const qv::documents::RtfDocument& doc, const QString& fontName);

}  // namespace qv::ui
