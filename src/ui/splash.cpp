#include "ui/splash.h"

#include "app/context.h"
#include "app/standard.h"
#include "ui/icons.h"
#include "ui/qt_host.h"

#include <QGuiApplication>
#include <QLabel>
#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QProgressBar>
#include <QPushButton>
#include <QScreen>
#include <QVBoxLayout>

namespace qv::ui {

namespace {
constexpr int kFadeTickMs = 2;
constexpr int kSplashLimit = 180, kSplashInStep = 16, kSplashOutStep = 4;

// Platforms without per-window alpha (offscreen, minimal) complain on every
// change; the fade keeps its timing there and leaves the alpha alone.
void SetAlpha(QWidget* w, double alpha) {
    static const bool canFade = QGuiApplication::platformName() != "offscreen" &&
                                QGuiApplication::platformName() != "minimal";
    if (canFade) w->setWindowOpacity(alpha);
}

void PaintPanel(QWidget* w, QPainter& p) {
    p.setRenderHint(QPainter::Antialiasing);
    QRectF r = QRectF(w->rect()).adjusted(0.5, 0.5, -0.5, -0.5);
    QLinearGradient g(r.topLeft(), r.bottomRight());
    g.setColorAt(0, QColor(0x1d, 0x3c, 0x66));
    g.setColorAt(1, QColor(0x10, 0x22, 0x3a));
    QPainterPath path;
    path.addRoundedRect(r, 10, 10);
    p.fillPath(path, g);
    p.setPen(QPen(QColor(255, 255, 255, 60), 1));
    p.drawPath(path);
}
}  // namespace

void FadeIn(QWidget* w, int limit, int step, std::function<void()> done) {
    QPointer<QWidget> win(w);
    int top = limit == 0 ? 254 : limit;
    SetAlpha(w, 0.0);
    w->show();
    auto* t = new QTimer(w);
    auto alpha = std::make_shared<int>(0);
    QObject::connect(t, &QTimer::timeout, w, [win, t, alpha, top, step, limit, done] {
        if (!win) return;
        if (*alpha <= top) {
            SetAlpha(win, *alpha / 255.0);
            *alpha += step;
            return;
        }
        if (limit == 0) SetAlpha(win, 1.0);
        t->stop();
        t->deleteLater();
        if (done) done();
    });
    t->start(kFadeTickMs);
}

void FadeOut(QWidget* w, int step, std::function<void()> done) {
    QPointer<QWidget> win(w);
    auto* t = new QTimer(w);
    auto a = std::make_shared<int>(0);
    QObject::connect(t, &QTimer::timeout, w, [win, t, a, step, done] {
        if (!win) return;
        if (*a <= 254) {
            SetAlpha(win, std::min(win->windowOpacity(), (254 - *a) / 255.0));
            *a += step;
            return;
        }
        t->stop();
        t->deleteLater();
        if (done) done();
    });
    t->start(kFadeTickMs);
}

SplashStart::SplashStart(QWidget* mainForm)
    : QWidget(nullptr, Qt::SplashScreen | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint), main_(mainForm) {
    setAttribute(Qt::WA_TranslucentBackground);
    setFixedSize(460, 240);
    timer_.setSingleShot(true);
    connect(&timer_, &QTimer::timeout, this, [this] {
        if (handshake_.TimerFired()) closeSplash();
    });
}

void SplashStart::ShowSplash() {
    if (main_) {
        main_->setEnabled(false);
        QRect g = main_->frameGeometry();
        move(g.center() - rect().center());
    }
    clock_.start();
    timer_.start(qv::app::SplashHandshake::kMinimumMs);
    FadeIn(this, kSplashLimit, kSplashInStep);
}

void SplashStart::ReadyToWork() {
    if (handshake_.Ready()) closeSplash();
}

void SplashStart::closeSplash() {
    stood_ = clock_.elapsed();
    if (main_) main_->setEnabled(true);
    QPointer<SplashStart> self(this);
    FadeOut(this, kSplashOutStep, [self] {
        if (!self) return;
        self->hide();
        emit self->closed();
        self->deleteLater();
    });
}

void SplashStart::SetStatusText(const QString& text) {
    status_ = text;
    update();
}

void SplashStart::paintEvent(QPaintEvent*) {
    QPainter p(this);
    PaintPanel(this, p);
    p.drawPixmap(28, 28, ProgramEmblem(72));
    p.setPen(Qt::white);
    QFont f = font();
    f.setPointSizeF(f.pointSizeF() * 2.2);
    f.setBold(true);
    p.setFont(f);
    p.drawText(QRect(120, 30, 320, 44), Qt::AlignLeft | Qt::AlignVCenter, "Quilvane");
    QFont s = font();
    s.setPointSizeF(s.pointSizeF() * 1.05);
    p.setFont(s);
    p.setPen(QColor(0xbf, 0xd4, 0xea));
    p.drawText(QRect(120, 74, 320, 24), Qt::AlignLeft | Qt::AlignVCenter, "Tesselhorn instrument data transfer");
    p.drawText(QRect(28, 150, 404, 22), Qt::AlignLeft, qs(qv::app::GetAboutFormVersion()));
    p.setPen(QColor(0x7f, 0xd3, 0xff));
    p.drawText(QRect(28, 190, 404, 22), Qt::AlignLeft,
               fontMetrics().elidedText(status_, Qt::ElideMiddle, 404));
}

SplashForm::SplashForm(QWidget* mainForm)
    : QWidget(nullptr, Qt::SplashScreen | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint), main_(mainForm) {
    setAttribute(Qt::WA_TranslucentBackground);
    setFixedSize(380, 150);
    auto* lay = new QVBoxLayout(this);
    lay->setContentsMargins(20, 16, 20, 16);
    text_ = new QLabel("Please wait...", this);
    text_->setStyleSheet("color: white; font-weight: bold;");
    status_ = new QLabel(this);
    status_->setObjectName("lblStatus");
    status_->setStyleSheet("color: #bfd4ea;");
    status_->setMinimumWidth(1);
    bar_ = new QProgressBar(this);
    bar_->setRange(0, 100);
    cmdCancel_ = new QPushButton("Cancel", this);
    cmdCancel_->setObjectName("cmdCancel");
    lay->addWidget(text_);
    lay->addWidget(status_);
    lay->addWidget(bar_);
    lay->addWidget(cmdCancel_, 0, Qt::AlignRight);
    connect(cmdCancel_, &QPushButton::clicked, this, [] { qv::app::context().SplashCancelled = true; });
}

void SplashForm::ShowSplash(bool showCancel) {
    if (main_) main_->setEnabled(false);
    qv::app::context().SplashCancelled = false;
    if (QScreen* scr = QGuiApplication::primaryScreen()) move(scr->geometry().center() - rect().center());
    bar_->setValue(0);
    cmdCancel_->setVisible(showCancel);
    FadeIn(this, kSplashLimit, kSplashInStep);
}

void SplashForm::SplashSetProgessBar(int percent) {
    if (percent > 100) return;
    bar_->setValue(std::max(0, percent));
}

int SplashForm::Progress() const { return bar_->value(); }

void SplashForm::SetStatusText(const QString& text) {
    status_->setToolTip(text);  // the whole text, where the label elides it
    status_->setText(status_->fontMetrics().elidedText(text, Qt::ElideMiddle, width() - 40));
}

void SplashForm::ReadyToWork() {
    if (main_) main_->setEnabled(true);
    QPointer<SplashForm> self(this);
    FadeOut(this, kSplashOutStep, [self] {
        if (self) self->deleteLater();
    });
}

void SplashForm::paintEvent(QPaintEvent*) {
    QPainter p(this);
    PaintPanel(this, p);
}

}  // namespace qv::ui
