// Descriptor I/O with deadlines: every wait of the VISA layer ends by its
// session's time-out, whatever the peer does.
#pragma once

#include "visa.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace qv::visa {

class Deadline {
public:
    using Clock = std::chrono::steady_clock;
    // VI_TMO_INFINITE waits for ever; every other value is milliseconds.
    static Deadline afterMs(uint32_t ms);
    static Deadline never() { return Deadline(); }
    bool infinite() const { return infinite_; }
    bool expired() const { return !infinite_ && Clock::now() >= at_; }
    // Milliseconds left, rounded up, 0 when expired; UINT32_MAX when infinite.
    uint32_t remainingMs() const;
    // For ppoll: nullptr when infinite.
    const struct timespec* remaining(struct timespec& ts) const;

private:
    bool infinite_ = true;
    Clock::time_point at_{};
};

// Owns a descriptor; closes it once.
class Fd {
public:
    Fd() = default;
    explicit Fd(int fd) : fd_(fd) {}
    ~Fd() { reset(); }
    Fd(Fd&& o) noexcept : fd_(o.release()) {}
    Fd& operator=(Fd&& o) noexcept {
        if (this != &o) reset(o.release());
        return *this;
    }
    Fd(const Fd&) = delete;
    Fd& operator=(const Fd&) = delete;
    int get() const { return fd_; }
    explicit operator bool() const { return fd_ >= 0; }
    int release() {
        int f = fd_;
        fd_ = -1;
        return f;
    }
    void reset(int fd = -1);

private:
    int fd_ = -1;
};

// Waits until fd is ready for events (POLLIN/POLLOUT). VI_SUCCESS, VI_ERROR_TMO,
// or VI_ERROR_IO.
ViStatus waitReady(int fd, short events, const Deadline& dl);

// Resolves host (name or numeric, IPv4 or IPv6) and connects a non-blocking
// TCP socket within the deadline. On failure, reason says why in words.
ViStatus connectTcp(const std::string& host, uint16_t port, const Deadline& dl, Fd& out, std::string& reason);

// Sends all bytes (MSG_NOSIGNAL on sockets). VI_ERROR_CONN_LOST when the peer
// went away, VI_ERROR_TMO at the deadline.
ViStatus sendAll(int fd, const void* data, size_t size, const Deadline& dl, bool isSocket);

// Where read data goes: user memory or an open file.
class Sink {
public:
    virtual ~Sink() = default;
    virtual ViStatus put(const uint8_t* data, size_t size) = 0;
    // A file descriptor data may be spliced into, or -1.
    virtual int spliceTarget() const { return -1; }
};

class MemorySink final : public Sink {
public:
    MemorySink(uint8_t* buf, size_t cap) : buf_(buf), cap_(cap) {}
    ViStatus put(const uint8_t* data, size_t size) override;

private:
    uint8_t* buf_;
    size_t cap_;
    size_t used_ = 0;
};

// total: the transfer's count, against which the bytes put are reported as
// progress (reportTransfer).
class FileSink final : public Sink {
public:
    explicit FileSink(int fd, uint64_t total = 0) : fd_(fd), total_(total) {}
    ViStatus put(const uint8_t* data, size_t size) override;
    int spliceTarget() const override { return spliceOk_ ? fd_ : -1; }
    void disableSplice() { spliceOk_ = false; }
    // Bytes that reached the file by another way (splice).
    void advance(uint64_t n);

private:
    int fd_;
    uint64_t total_ = 0;
    uint64_t done_ = 0;
    bool spliceOk_ = true;
};

// How a session reads into a sink and writes a piece, for the file operations.
using ReadFn = std::function<ViStatus(Sink& sink, uint32_t count, uint32_t& got)>;
using WritePieceFn = std::function<ViStatus(const uint8_t* data, uint32_t count, bool end, uint32_t& written)>;

// viReadToFile: opens fileName (appended to or truncated), lets read fill it
// with up to count bytes, and closes it. VI_ERROR_FILE_ACCESS when it cannot
// be opened, VI_ERROR_FILE_IO when it cannot be written; got counts the bytes
// read even then.
ViStatus readIntoFile(const char* fileName, uint32_t count, bool append, const ReadFn& read, uint32_t& got);

// viWriteFromFile: sends up to count bytes of fileName in pieces of 1 MiB;
// only the last piece ends the message. written counts what was sent.
ViStatus writeFileInPieces(const char* fileName, uint32_t count, const WritePieceFn& write, uint32_t& written);

// Buffered reading from a stream descriptor (socket or tty). Bytes that were
// read but not consumed stay for the next call. Large transfers into files
// bypass user space with splice() where the kernel allows it.
class StreamReader {
public:
    StreamReader();
    ~StreamReader();
    StreamReader(const StreamReader&) = delete;
    StreamReader& operator=(const StreamReader&) = delete;

    void attach(int fd, bool isSocket);
    size_t available() const { return end_ - pos_; }
    const uint8_t* data() const { return buf_ + pos_; }
    void consume(size_t n) { pos_ += n; }
    void discardBuffered() { pos_ = end_ = 0; }
    // Reads at least one more byte into the buffer. VI_ERROR_CONN_LOST at end
    // of stream, VI_ERROR_TMO at the deadline.
    ViStatus fill(const Deadline& dl);
    // Drops stale input: what is buffered, and what keeps arriving until the
    // line has been quiet for quietMs (never longer than the deadline).
    void drain(uint32_t quietMs, const Deadline& dl);
    // Moves exactly n bytes (buffered first) to the sink.
    ViStatus transfer(Sink& sink, uint64_t n, const Deadline& dl);

private:
    ViStatus spliceToFile(FileSink& sink, uint64_t n, const Deadline& dl, uint64_t& moved, bool& unsupported);

    static constexpr size_t kBufSize = 256 * 1024;
    int fd_ = -1;
    bool isSocket_ = false;
    uint8_t* buf_;
    size_t pos_ = 0, end_ = 0;
    Fd pipeRead_, pipeWrite_;
};

}  // namespace qv::visa
