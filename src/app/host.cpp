#include "host.h"

namespace qv::app {

namespace {
// Answers every question with its safe choice and shows nothing: used when
// logic runs without a user (command-line tools, tests that do not care).
class SilentHost final : public Host {
public:
    Answer message(const std::string&, const std::string&, Icon, Buttons buttons) override {
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
};

SilentHost g_silent;
Host* g_host = nullptr;
}  // namespace

Host& host() { return g_host ? *g_host : g_silent; }
void setHost(Host* h) { g_host = h; }

}  // namespace qv::app
