// The interactive console's logic: one command on a fresh session, its
// answer, time and error texts, the log line, and the command history.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace qv::automation {

struct ConsoleOutcome {
    bool opened = false;
    std::string answer;            // shown in Answer (queries only)
    std::string execTime = "---";  // milliseconds as a whole number, or "---"
    // The Status rows: one per error the queue gave, in order. Empty when
    // none came; the list then shows statusText.
    std::vector<std::string> status;
    std::string statusText;  // "---" once the session opened, else empty
    bool scpiError = false;  // an error came from the queue: Status turns red
};

// Sends one command as the console does: a query reads the answer, a
// write appends ";*WAI" and waits on "*OPC?"; the error queue is polled
// after each. onScpiError (may be empty) sees each error as it arrives.
// The time counts the send and the wait, not the open. A session that does
// not open sends nothing: opened false, answer empty, execTime "---".
ConsoleOutcome SendConsoleCommand(const std::string& resource, const std::string& command,
                                  const std::function<void(const std::string& error)>& onScpiError = {});

// "command: answer: status1 status2 \r\n" (answer cleaned).
std::string ConsoleLogLine(const std::string& command, const std::string& answer,
                           const std::vector<std::string>& status);

// The sent commands, kept across sessions: the newest last, duplicates kept,
// at most kLimit. Up and Down walk it as a shell does.
class CommandHistory {
public:
    static constexpr size_t kLimit = 100;
    // Keeps the newest kLimit; blank entries are dropped.
    void load(std::vector<std::string> commands);
    const std::vector<std::string>& commands() const { return commands_; }
    // Appends (a blank command is not kept) and ends any walk.
    void add(const std::string& command);
    // The older / newer command from the walk's position; false at the end
    // (Down past the newest gives back the line the user was typing).
    bool up(const std::string& typing, std::string& out);
    bool down(std::string& out);
    void resetWalk();

private:
    std::vector<std::string> commands_;
    size_t pos_ = 0;  // commands_.size(): not walking
    std::string typing_;
};

}  // namespace qv::automation
