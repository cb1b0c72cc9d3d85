// A child window whose action runs on the GUI thread and lets events
// through meanwhile. A close asked for during the action would delete the
// window under the action's feet: it hides the window instead, and the
// window closes once the outermost action has ended.
#pragma once

#include <QCloseEvent>
#include <QMdiSubWindow>
#include <QPointer>
#include <QTimer>
#include <QWidget>

namespace qv::ui {

// What closes a child window: its frame in the work area, or the window
// itself when it stands alone.
inline QWidget* WindowFrame(QWidget* window) {
    auto* sub = qobject_cast<QMdiSubWindow*>(window->parentWidget());
    return sub ? static_cast<QWidget*>(sub) : window;
}

class RunningAction {
public:
    bool running() const { return depth_ > 0; }
    bool closeAsked() const { return closeAsked_; }

    // From closeEvent: true when the close waits for the action (the event
    // is then ignored and the frame hidden).
    bool deferClose(QWidget* frame, QCloseEvent* e) {
        if (!running()) return false;
        closeAsked_ = true;
        frame->hide();
        e->ignore();
        return true;
    }

    // An action begins and ends; frame: the widget whose close ends the
    // window. end is true when it closes the window (a close was asked for).
    void begin() { ++depth_; }
    bool end(QWidget* frame) {
        if (--depth_ > 0 || !closeAsked_) return false;
        if (frame) QTimer::singleShot(0, frame, &QWidget::close);
        return true;
    }

    // One action as a scope, for windows that outlive their actions.
    class Scope {
    public:
        Scope(RunningAction& a, QWidget* frame) : a_(a), frame_(frame) { a_.begin(); }
        ~Scope() { a_.end(frame_.data()); }
        Scope(const Scope&) = delete;
        Scope& operator=(const Scope&) = delete;

    private:
        RunningAction& a_;
        QPointer<QWidget> frame_;
    };

private:
    int depth_ = 0;
    bool closeAsked_ = false;
};

}  // namespace qv::ui
