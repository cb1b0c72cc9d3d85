#include "automation/console.h"

#include "app/text.h"
#include "instrument_io/vif.h"

#include <algorithm>
#include <chrono>

namespace qv::automation {

namespace {
constexpr long kAnswerLimit = 2048;

bool isBlank(const std::string& command) {
    return app::TrimBlanksTabs(command).empty();
}
}  // namespace

ConsoleOutcome SendConsoleCommand(const std::string& resource, const std::string& command,
                                  const std::function<void(const std::string& error)>& onScpiError) {
    ConsoleOutcome out;
    io::VIF device;
    // The queue's text can hold several errors, one a line: each is a row.
    device.VIFSCPIError = [&](const std::string&, const std::string& error) {
        for (const std::string& row : app::SplitClean(error, app::kCrLf)) {
            if (row.empty()) continue;
            out.status.push_back(row);
            out.scpiError = true;
            if (onScpiError) onScpiError(row);
        }
    };
    if (!device.OpenDevice(resource, true, false, 1000, true)) return out;
    out.opened = true;
    device.ConfigErrorProcessor(true, false);
    out.statusText = "---";
    const auto start = std::chrono::steady_clock::now();
    std::string answer;
    if (command.find('?') != std::string::npos) {
        device.ReadString(command, answer, kAnswerLimit, true);
        // A read that timed out leaves its blank buffer: only what arrived stays.
        out.answer = app::TrimLineEnds(answer);
    } else {
        device.WriteString(command, 1);
        // Only waits for the instrument to finish; the answer is not shown.
        device.ReadString("*OPC?", answer, kAnswerLimit, true);
    }
    const auto elapsed =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
    out.execTime = std::to_string(elapsed.count());
    return out;
}

std::string ConsoleLogLine(const std::string& command, const std::string& answer,
                           const std::vector<std::string>& status) {
    std::string line = command + ": " + app::TrimLineEnds(answer) + ": ";
    for (const std::string& row : status) line += row + " ";
    return line + app::kCrLf;
}

void CommandHistory::load(std::vector<std::string> commands) {
    std::erase_if(commands, isBlank);
    if (commands.size() > kLimit)
        commands.erase(commands.begin(), commands.end() - static_cast<std::ptrdiff_t>(kLimit));
    commands_ = std::move(commands);
    resetWalk();
}

void CommandHistory::add(const std::string& command) {
    // An empty row would end the list where it is stored.
    if (!isBlank(command)) {
        commands_.push_back(command);
        if (commands_.size() > kLimit) commands_.erase(commands_.begin());
    }
    resetWalk();
}

bool CommandHistory::up(const std::string& typing, std::string& out) {
    if (pos_ > commands_.size()) pos_ = commands_.size();
    if (pos_ == commands_.size()) typing_ = typing;
    if (pos_ == 0) return false;
    --pos_;
    out = commands_[pos_];
    return true;
}

bool CommandHistory::down(std::string& out) {
    if (pos_ >= commands_.size()) return false;
    ++pos_;
    out = pos_ == commands_.size() ? typing_ : commands_[pos_];
    return true;
}

void CommandHistory::resetWalk() {
    pos_ = commands_.size();
    typing_.clear();
}

}  // namespace qv::automation
