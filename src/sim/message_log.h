// The wire log of --log FILE: one line per program message as received and
// one per VXI-11 control operation. Bytes that would break the line are
// escaped C-style, and long block payloads are abbreviated, so that the log
// is an exact, line-oriented record of what arrived.
#pragma once

#include <mutex>
#include <string>
#include <string_view>

#include "message_splitter.h"

namespace qv::sim {

// '\\' -> "\\\\", LF/CR/TAB -> "\\n"/"\\r"/"\\t", other bytes below 0x20,
// 0x7F and bytes from 0x80 -> "\\xhh" (lower-case hex).
void appendEscaped(std::string& out, std::string_view bytes);
// The log line of a message (no newline). Block payloads longer than 256
// bytes appear as their first 32 bytes followed by "\\...(+N bytes)" where N
// counts the bytes left out.
std::string formatLogLine(const ProgramMessage& msg);

class MessageLog {
public:
    MessageLog() = default;
    ~MessageLog();
    MessageLog(const MessageLog&) = delete;
    MessageLog& operator=(const MessageLog&) = delete;

    bool open(const std::string& path, std::string& error);
    bool isOpen() const { return fd_ >= 0; }
    void message(const ProgramMessage& msg);
    // A control operation: "@clear", "@link inst0", ...
    void control(std::string_view op);

private:
    void writeLine(std::string line);
    int fd_ = -1;
    std::mutex mutex_;
};

}  // namespace qv::sim
