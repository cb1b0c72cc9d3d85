// The host port: how logic talks to the user without knowing the toolkit.
// The Qt layer implements it for the program; tests use a scripted fake
// that records every call and answers from a queue.
#pragma once

#include <string>
#include <vector>

namespace qv::app {

enum class Icon { None, Information, Question, Warning, Critical };

enum class Buttons { Ok, OkCancel, YesNo, YesNoCancel, RetryCancel };

enum class Answer { Ok, Cancel, Yes, No, Retry };

class Host {
public:
    virtual ~Host() = default;
    // A message box; returns the button pressed.
    virtual Answer message(const std::string& title, const std::string& text, Icon icon,
                           Buttons buttons = Buttons::Ok) = 0;
    // An input box; false when cancelled.
    virtual bool input(const std::string& title, const std::string& prompt, std::string& value) = 0;
    // File dialogs: empty when cancelled. filter as "Images (*.png *.bmp)".
    virtual std::string saveFileName(const std::string& title, const std::string& folder,
                                     const std::string& suggestion, const std::string& filter) = 0;
    virtual std::string openFileName(const std::string& title, const std::string& folder,
                                     const std::string& filter) = 0;
    virtual std::string folderName(const std::string& title, const std::string& current) = 0;
    virtual void clipboardText(const std::string& text) = 0;
    // An image file's picture onto the clipboard; false when it cannot be read.
    virtual bool clipboardImage(const std::string& imageFile) = 0;
    virtual void busy(bool on) = 0;
    // Lets pending events run once (timers, clicks between two steps).
    virtual void processEvents() = 0;
    virtual bool openWithShell(const std::string& path) = 0;
};

// The host the logic uses; a silent one until the program or a test sets it.
Host& host();
void setHost(Host* h);
// A host for command-line tools: messages go to standard error, questions
// get their safe answer (Cancel, No), input and dialogs are cancelled.
Host& consoleHost();

}  // namespace qv::app
