#include "host.h"

#include <cstdio>

namespace qv::app {

namespace {
// Answers every question with its safe choice: used when logic runs without
// a user. The silent one shows nothing (tests that do not care); the console
// one writes each message to standard error (command-line tools).
class SilentHost final : public Host {
public:
    explicit SilentHost(bool console = false) : console_(console) {}
    Answer message(const std::string& title, const std::string& text, Icon, Buttons buttons) override {
        if (console_) {
            std::string flat = text;
            for (char& c : flat)
                if (c == '\r' || c == '\n') c = ' ';
            std::fprintf(stderr, "%s: %s\n", title.c_str(), flat.c_str());
        }
        return buttons == Buttons::Ok ? Answer::Ok : (buttons == Buttons::OkCancel || buttons == Buttons::RetryCancel ? Answer::Cancel : Answer::No);
    }
    bool input(const std::string&, const std::string&, std::string&) override { return false; }
    std::string saveFileName(const std::string&, const std::string&, const std::string&, const std::string&) override { return {}; }
    std::string openFileName(const std::string&, const std::string&, const std::string&) override { return {}; }
    std::string folderName(const std::string&, const std::string&) override { return {}; }
    void clipboardText(const std::string&) override {}
    bool clipboardImage(const std::string&) override { return false; }
    void busy(bool) override {}
    void processEvents() override {}
    bool openWithShell(const std::string&) override { return false; }

private:
    bool console_;
};

SilentHost g_silent;
Host* g_host = nullptr;
}  // namespace

Host& host() { return g_host ? *g_host : g_silent; }
void setHost(Host* h) { g_host = h; }

Host& consoleHost() {
    static SilentHost console(true);
    return console;
}

}  // namespace qv::app
