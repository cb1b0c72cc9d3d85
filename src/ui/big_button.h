// A big button of the main window: picture, hover picture and label; a
// click on any of them runs the same action.
#pragma once

#include "app/main_window.h"

#include <QPixmap>
#include <QWidget>

class QLabel;

namespace qv::ui {

class BigButtonWidget : public QWidget {
    Q_OBJECT
public:
    BigButtonWidget(qv::app::BigButton kind, const QString& picName, const QString& labelName,
                    const QString& caption, QWidget* parent = nullptr);
    qv::app::BigButton kind() const { return kind_; }
    QLabel* picture() const { return pic_; }
    QLabel* label() const { return lbl_; }
    bool hovered() const { return hover_; }
    // Whether the selected instrument can do it; only the look changes.
    void setAvailable(bool available);
    bool available() const { return available_; }

signals:
    void clicked();

protected:
    void enterEvent(QEnterEvent*) override;
    void leaveEvent(QEvent*) override;
    void mousePressEvent(QMouseEvent*) override;
    void mouseReleaseEvent(QMouseEvent*) override;
    bool eventFilter(QObject* o, QEvent* e) override;

private:
    void setState(bool hover, bool down);

    qv::app::BigButton kind_;
    QLabel* pic_;
    QLabel* lbl_;
    QPixmap up_, over_;
    bool available_ = true;
    bool hover_ = false;
    bool down_ = false;
};

}  // namespace qv::ui
