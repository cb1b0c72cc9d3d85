// The generic text window: a fixed-pitch text and a Copy button. The status
// reports open one each.
#pragma once

#include <QWidget>

#include <string>

class QPlainTextEdit;

namespace qv::ui {

class TextForm : public QWidget {
    Q_OBJECT
public:
    explicit TextForm(QWidget* parent = nullptr);
    // Shows text (CR LF or LF line ends) and redraws.
    void UpdateDisplay(const std::string& text);
    QString text() const;
    QPlainTextEdit* display() const { return TextDisplay_; }
    // The Copy button: the text onto the clipboard.
    void Copy();

private:
    QPlainTextEdit* TextDisplay_ = nullptr;
};

}  // namespace qv::ui
