// Splits the byte stream an instrument receives into program messages. A
// message ends at LF outside quoted strings and definite-length blocks (or
// at the END flag of a VXI-11 write). Block payloads above a threshold go
// to a spool file instead of memory, so arbitrarily large MMEM:DATA uploads
// keep memory flat; the text of a message is capped as well.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace qv::sim {

// A block payload stored in a file; the file is removed when the last
// owner goes unless someone took it over with release().
class SpillFile {
public:
    SpillFile(std::string path, int fd) : path_(std::move(path)), fd_(fd) {}
    ~SpillFile();
    SpillFile(const SpillFile&) = delete;
    SpillFile& operator=(const SpillFile&) = delete;
    const std::string& path() const { return path_; }
    int fd() const { return fd_; }
    void closeFd();
    void release() { released_ = true; }

private:
    std::string path_;
    int fd_;
    bool released_ = false;
};

struct BlockSpan {
    size_t at = 0;            // offset of '#' in the message text
    size_t headerLength = 0;  // "#<n><digits>" or "#0"
    uint64_t length = 0;      // announced payload length (definite) or found (indefinite)
    uint64_t received = 0;    // payload bytes that arrived
    bool indefinite = false;
    std::shared_ptr<SpillFile> spill;  // set: the payload is in this file, not in the text
    std::string head;                  // first payload bytes of a spilled block (for the log)
    bool spillFailed = false;          // the spool file could not be written
    bool complete() const { return received == length; }
};

struct ProgramMessage {
    std::string text;  // without the final LF; spilled block payloads left out
    std::vector<BlockSpan> blocks;
    // More than the text cap arrived: text holds the first bytes only, the
    // message is not executed, and this counts the bytes dropped.
    uint64_t overflowBytes = 0;
};

class MessageSplitter {
public:
    struct Options {
        size_t maxText = size_t(8) << 20;
        uint64_t spillThreshold = uint64_t(64) << 10;
        std::string spoolDir;  // where spilled payloads go; empty: never spill
    };
    // Returns false to stop splitting (the connection is going away).
    using Sink = std::function<bool(ProgramMessage&)>;

    explicit MessageSplitter(Options options) : opt_(std::move(options)) {}
    // Consumes bytes; calls sink for each complete message. end marks the
    // end of a message (VXI-11 END). Returns false if the sink stopped it.
    bool feed(const uint8_t* data, size_t size, bool end, const Sink& sink);
    // Drops a partial message (device clear).
    void clear();
    bool idle() const { return state_ == State::Normal && text_.empty() && overflow_ == 0; }

private:
    enum class State { Normal, Quote, Hash, BlockLength, BlockData, Indefinite };
    void put(const uint8_t* p, size_t n);
    void beginDefinite();
    bool complete(const Sink& sink);

    Options opt_;
    State state_ = State::Normal;
    std::string text_;
    std::vector<BlockSpan> blocks_;
    uint64_t overflow_ = 0;
    uint8_t quote_ = 0;
    size_t hashAt_ = 0;
    int digitsWanted_ = 0;
    int digitsSeen_ = 0;
    uint64_t announced_ = 0;
    uint64_t blockLeft_ = 0;
    size_t indefiniteStart_ = 0;
};

}  // namespace qv::sim
