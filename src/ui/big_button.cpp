#include "ui/big_button.h"

#include "ui/icons.h"

#include <QEnterEvent>
#include <QLabel>
#include <QMouseEvent>
#include <QVBoxLayout>

namespace qv::ui {

BigButtonWidget::BigButtonWidget(qv::app::BigButton kind, const QString& picName, const QString& labelName,
                                 const QString& caption, QWidget* parent)
    : QWidget(parent), kind_(kind) {
    setObjectName(picName + "Button");
    setCursor(Qt::PointingHandCursor);
    setAttribute(Qt::WA_Hover);
    setToolTip(caption);
    qreal dpr = devicePixelRatioF();
    up_ = BigButtonPicture(kind, false, 56, dpr);
    over_ = BigButtonPicture(kind, true, 56, dpr);
    auto* lay = new QVBoxLayout(this);
    lay->setContentsMargins(8, 6, 8, 4);
    lay->setSpacing(4);
    pic_ = new QLabel(this);
    pic_->setObjectName(picName);
    pic_->setPixmap(up_);
    pic_->setAlignment(Qt::AlignCenter);
    lbl_ = new QLabel(caption, this);
    lbl_->setObjectName(labelName);
    lbl_->setAlignment(Qt::AlignCenter);
    lay->addWidget(pic_, 0, Qt::AlignHCenter);
    lay->addWidget(lbl_, 0, Qt::AlignHCenter);
    // The picture and the label forward their clicks to the button.
    pic_->installEventFilter(this);
    lbl_->installEventFilter(this);
    setFixedWidth(96);
    setState(false, false);
}

void BigButtonWidget::setState(bool hover, bool down) {
    hover_ = hover;
    down_ = down;
    pic_->setPixmap(hover || down ? over_ : up_);
    QString colour = down ? "#0b3d75" : (hover ? "#1d5fa8" : (available_ ? "#2b3440" : "#8a96a3"));
    lbl_->setStyleSheet(QString("color: %1; font-weight: 600; letter-spacing: 0.5px;").arg(colour));
}

void BigButtonWidget::setAvailable(bool available) {
    if (available == available_) return;
    available_ = available;
    qreal dpr = devicePixelRatioF();
    up_ = BigButtonPicture(kind_, false, 56, dpr, !available);
    over_ = BigButtonPicture(kind_, true, 56, dpr, !available);
    setState(hover_, down_);
}

void BigButtonWidget::enterEvent(QEnterEvent*) { setState(true, down_); }
void BigButtonWidget::leaveEvent(QEvent*) { setState(false, false); }

void BigButtonWidget::mousePressEvent(QMouseEvent* e) {
    if (e->button() == Qt::LeftButton) setState(hover_, true);
}

void BigButtonWidget::mouseReleaseEvent(QMouseEvent* e) {
    bool wasDown = down_;
    setState(rect().contains(e->position().toPoint()), false);
    if (e->button() == Qt::LeftButton && wasDown && rect().contains(e->position().toPoint())) emit clicked();
}

bool BigButtonWidget::eventFilter(QObject* o, QEvent* e) {
    if (e->type() == QEvent::MouseButtonPress || e->type() == QEvent::MouseButtonRelease) {
        auto* me = static_cast<QMouseEvent*>(e);
        QPointF p = mapFromGlobal(me->globalPosition());
        QMouseEvent forwarded(me->type(), p, me->globalPosition(), me->button(), me->buttons(), me->modifiers());
        if (e->type() == QEvent::MouseButtonPress) mousePressEvent(&forwarded);
        else mouseReleaseEvent(&forwarded);
        return true;
    }
    return QWidget::eventFilter(o, e);
}

}  // namespace qv::ui
