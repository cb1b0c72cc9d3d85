#include "message_log.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace qv::sim {

namespace {
constexpr uint64_t kLongBlock = 256;
constexpr size_t kLongBlockHead = 32;
constexpr size_t kOverflowHead = 256;
}  // namespace

void appendEscaped(std::string& out, std::string_view bytes) {
    static const char hex[] = "0123456789abcdef";
    for (char ch : bytes) {
        auto c = static_cast<unsigned char>(ch);
        switch (c) {
        case '\\': out += "\\\\"; break;
        case '\n': out += "\\n"; break;
        case '\r': out += "\\r"; break;
        case '\t': out += "\\t"; break;
        default:
            if (c < 0x20 || c >= 0x7F) {
                out += "\\x";
                out += hex[c >> 4];
                out += hex[c & 15];
            } else {
                out += char(c);
            }
        }
    }
}

std::string formatLogLine(const ProgramMessage& msg) {
    std::string line;
    std::string_view text = msg.text;
    if (msg.overflowBytes > 0) {
        size_t head = std::min(text.size(), kOverflowHead);
        appendEscaped(line, text.substr(0, head));
        line += "\\...(+" + std::to_string(uint64_t(text.size() - head) + msg.overflowBytes) + " bytes)";
        return line;
    }
    size_t pos = 0;
    for (const auto& b : msg.blocks) {
        size_t dataAt = b.at + b.headerLength;
        if (dataAt > text.size() || b.at < pos) break;  // cannot happen for a splitter's message
        appendEscaped(line, text.substr(pos, dataAt - pos));
        bool inText = !b.spill && !b.spillFailed;
        uint64_t got = b.received;
        if (got > kLongBlock) {
            std::string_view head = inText ? text.substr(dataAt, kLongBlockHead) : std::string_view(b.head);
            head = head.substr(0, kLongBlockHead);
            appendEscaped(line, head);
            line += "\\...(+" + std::to_string(got - head.size()) + " bytes)";
        } else if (inText) {
            appendEscaped(line, text.substr(dataAt, size_t(got)));
        } else {
            appendEscaped(line, b.head);
        }
        pos = inText ? dataAt + size_t(std::min<uint64_t>(got, text.size() - dataAt)) : dataAt;
    }
    if (pos < text.size()) appendEscaped(line, text.substr(pos));
    return line;
}

MessageLog::~MessageLog() {
    if (fd_ >= 0) ::close(fd_);
}

bool MessageLog::open(const std::string& path, std::string& error) {
    fd_ = ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (fd_ < 0) {
        error = "cannot open log file " + path + ": " + std::strerror(errno);
        return false;
    }
    return true;
}

void MessageLog::writeLine(std::string line) {
    if (fd_ < 0) return;
    line += '\n';
    std::lock_guard<std::mutex> lock(mutex_);
    // One write per line: with O_APPEND every line lands whole, and nothing
    // waits in a buffer when the process is killed.
    const char* p = line.data();
    size_t n = line.size();
    while (n > 0) {
        ssize_t w = ::write(fd_, p, n);
        if (w < 0) {
            if (errno == EINTR) continue;
            return;
        }
        p += w;
        n -= size_t(w);
    }
}

void MessageLog::message(const ProgramMessage& msg) {
    if (fd_ >= 0) writeLine(formatLogLine(msg));
}

void MessageLog::control(std::string_view op) {
    if (fd_ < 0) return;
    std::string line;
    appendEscaped(line, op);
    writeLine(std::move(line));
}

}  // namespace qv::sim
