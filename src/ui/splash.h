// The two splash windows: SplashStart stands over the main window for at
// least 500 ms and until the start work is done; SplashForm shows progress
// around long work and lets the user cancel it.
#pragma once

#include "app/main_window.h"

#include <QElapsedTimer>
#include <QPointer>
#include <QTimer>
#include <QWidget>
#include <functional>

class QLabel;
class QProgressBar;
class QPushButton;

namespace qv::ui {

// Fades a window's opacity. limit and step on the 0..255 scale: fade in
// runs from 0 up to the last step below limit; fade out from 254 down.
// Runs on timers, so events keep flowing; done runs at the end.
void FadeIn(QWidget* w, int limit, int step, std::function<void()> done = {});
void FadeOut(QWidget* w, int step, std::function<void()> done = {});

class SplashStart : public QWidget {
    Q_OBJECT
public:
    explicit SplashStart(QWidget* mainForm);
    void ShowSplash();
    void ReadyToWork();
    // Milliseconds from ShowSplash to the moment it began closing.
    qint64 StoodMs() const { return stood_; }
    bool IsClosing() const { return handshake_.closed(); }
    // The line under the title: what the start work is doing now.
    void SetStatusText(const QString& text);

signals:
    // The splash has gone: the main window runs EndLoad.
    void closed();

protected:
    void paintEvent(QPaintEvent*) override;

private:
    void closeSplash();

    QPointer<QWidget> main_;
    QTimer timer_;
    qv::app::SplashHandshake handshake_;
    QElapsedTimer clock_;
    qint64 stood_ = -1;
    QString status_ = "Looking for instruments...";
};

class SplashForm : public QWidget {
    Q_OBJECT
public:
    explicit SplashForm(QWidget* mainForm);
    void ShowSplash(bool showCancel);
    void SplashSetProgessBar(int percent);
    void ReadyToWork();
    int Progress() const;
    // The status text under "Please wait...": the entry being visited.
    void SetStatusText(const QString& text);

protected:
    void paintEvent(QPaintEvent*) override;

private:
    QPointer<QWidget> main_;
    QLabel* text_;
    QLabel* status_;
    QProgressBar* bar_;
    QPushButton* cmdCancel_;
};

}  // namespace qv::ui
