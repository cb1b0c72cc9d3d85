// A host for tests: records every call the logic makes and answers from
// queues the test fills. An empty queue gives the safe answer (Ok or Cancel,
// empty names), so a test that forgets an answer sees nothing chosen.
// Installs itself as the host for its lifetime.
#pragma once

#include "app/host.h"

#include <deque>
#include <functional>
#include <string>
#include <vector>

namespace qvtest {

class ScriptedHost final : public qv::app::Host {
public:
    enum class Kind { Message, Input, SaveFileName, OpenFileName, FolderName, ClipboardText, ClipboardImage, Busy,
                      ProcessEvents, OpenWithShell };

    struct Call {
        Kind kind;
        std::string title;  // title, or the clipboard text / path / on-off
        std::string text;   // message text, prompt, folder
        qv::app::Icon icon = qv::app::Icon::None;
        qv::app::Buttons buttons = qv::app::Buttons::Ok;
    };

    ScriptedHost() : previous_(&qv::app::host()) { qv::app::setHost(this); }
    ~ScriptedHost() override { qv::app::setHost(previous_); }
    ScriptedHost(const ScriptedHost&) = delete;
    ScriptedHost& operator=(const ScriptedHost&) = delete;

    // Answers, taken in order.
    std::deque<qv::app::Answer> answers;
    std::deque<std::string> inputs;  // an input answer; "\x18" means cancel
    std::deque<std::string> fileNames;
    bool clipboardImageResult = true;
    bool openWithShellResult = true;

    std::vector<Call> calls;
    std::string clipboard;
    // Runs inside each processEvents, as a user's click would arrive there.
    std::function<void()> onEvents;

    std::vector<Call> messages() const {
        std::vector<Call> out;
        for (const Call& c : calls)
            if (c.kind == Kind::Message) out.push_back(c);
        return out;
    }

    std::vector<std::string> messageTexts() const {
        std::vector<std::string> out;
        for (const Call& c : calls)
            if (c.kind == Kind::Message) out.push_back(c.text);
        return out;
    }
    // Calls of a kind; with a title, only those with it ("on", "off" for busy).
    size_t count(Kind kind, const char* title = nullptr) const {
        size_t n = 0;
        for (const Call& c : calls) n += c.kind == kind && (!title || c.title == title);
        return n;
    }

    qv::app::Answer message(const std::string& title, const std::string& text, qv::app::Icon icon,
                            qv::app::Buttons buttons) override {
        calls.push_back({Kind::Message, title, text, icon, buttons});
        if (!answers.empty()) {
            qv::app::Answer a = answers.front();
            answers.pop_front();
            return a;
        }
        using qv::app::Answer;
        using qv::app::Buttons;
        if (buttons == Buttons::Ok) return Answer::Ok;
        if (buttons == Buttons::YesNo || buttons == Buttons::YesNoCancel) return Answer::No;
        return Answer::Cancel;
    }
    bool input(const std::string& title, const std::string& prompt, std::string& value) override {
        calls.push_back({Kind::Input, title, prompt});
        if (inputs.empty() || inputs.front() == "\x18") {
            if (!inputs.empty()) inputs.pop_front();
            return false;
        }
        value = inputs.front();
        inputs.pop_front();
        return true;
    }
    std::string saveFileName(const std::string& title, const std::string& folder, const std::string&,
                             const std::string&) override {
        calls.push_back({Kind::SaveFileName, title, folder});
        return nextName();
    }
    std::string openFileName(const std::string& title, const std::string& folder, const std::string&) override {
        calls.push_back({Kind::OpenFileName, title, folder});
        return nextName();
    }
    std::string folderName(const std::string& title, const std::string& current) override {
        calls.push_back({Kind::FolderName, title, current});
        return nextName();
    }
    void clipboardText(const std::string& text) override {
        calls.push_back({Kind::ClipboardText, text, {}});
        clipboard = text;
    }
    bool clipboardImage(const std::string& imageFile) override {
        calls.push_back({Kind::ClipboardImage, imageFile, {}});
        return clipboardImageResult;
    }
    void busy(bool on) override { calls.push_back({Kind::Busy, on ? "on" : "off", {}}); }
    void processEvents() override {
        calls.push_back({Kind::ProcessEvents, {}, {}});
        if (onEvents) onEvents();
    }
    bool openWithShell(const std::string& path) override {
        calls.push_back({Kind::OpenWithShell, path, {}});
        return openWithShellResult;
    }

private:
    std::string nextName() {
        if (fileNames.empty()) return {};
        std::string n = fileNames.front();
        fileNames.pop_front();
        return n;
    }
    qv::app::Host* previous_;
};

}  // namespace qvtest
