// Descriptor I/O for the simulator's servers. Every wait also watches the
// simulator's stop descriptor and has a bound, so no thread can hang.
#pragma once

#include <netinet/in.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "response.h"

namespace qv::sim {

// How long a peer may leave a send stuck before we give up on it.
constexpr int kStallLimitMs = 300'000;

enum class WaitResult { Ready, Timeout, Stopped };
// Waits for events on fd, or the stop descriptor, at most timeoutMs (-1: no
// limit other than stop).
WaitResult waitFor(int fd, short events, int stopFd, int timeoutMs);
// Sleeps ms unless stop comes first; false when stopped.
bool sleepUnlessStopped(int stopFd, uint32_t ms);
bool isStopped(int stopFd);

// True only when this process provably runs in a network namespace other
// than PID 1's, i.e. not on the machine's own network: its namespace inode
// differs from PID 1's, or (when that link cannot be read) the two list
// different interfaces. why: the reason when false.
bool inPrivateNetworkNamespace(std::string* why = nullptr);

// An address the servers may listen on: loopback always, any other unicast
// IPv4 address only inside a private network namespace, so that nothing
// ever listens on a network outside the machine. error names the address.
bool parseListenAddress(const std::string& text, in_addr& out, std::string& error);

// Writes to a connected stream (socket or terminal) with bounded waits.
class StreamWriter {
public:
    StreamWriter(int fd, int stopFd, bool socket, int stallLimitMs = kStallLimitMs)
        : fd_(fd), stop_(stopFd), socket_(socket), stallMs_(stallLimitMs) {}
    bool write(const void* data, size_t size, bool more = false);
    // Sends bytes [offset, offset+length) of a response, preceded by prefix
    // and followed by suffix; small pieces are gathered into one send and
    // file pieces go through sendfile().
    bool sendResponse(std::string_view prefix, const Response& r, uint64_t offset, uint64_t length,
                      std::string_view suffix);

private:
    bool sendFile(int fileFd, uint64_t offset, uint64_t length);
    int fd_;
    int stop_;
    bool socket_;
    int stallMs_;
};

// A TCP listening socket on a loopback address.
class Listener {
public:
    Listener() = default;
    ~Listener();
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;
    bool open(const in_addr& address, int port, std::string& error);
    int fd() const { return fd_; }
    int port() const { return port_; }
    void close();

private:
    int fd_ = -1;
    int port_ = 0;
};

// Accepts connections on a listener and runs each in its own thread, up to
// a bound; further connections are closed at once.
class ConnectionPool {
public:
    using Handler = std::function<void(int fd)>;
    ConnectionPool() = default;
    ~ConnectionPool() { join(); }
    ConnectionPool(const ConnectionPool&) = delete;
    ConnectionPool& operator=(const ConnectionPool&) = delete;
    bool start(int listenFd, int stopFd, size_t maxConnections, Handler handler);
    // Call after the stop descriptor fired.
    void join();

private:
    struct Worker {
        std::thread thread;
        std::shared_ptr<std::atomic<bool>> done;
    };
    void acceptLoop();
    void reap(bool all);

    int listenFd_ = -1;
    int stopFd_ = -1;
    size_t max_ = 0;
    Handler handler_;
    std::thread acceptor_;
    std::vector<Worker> workers_;
};

// Receives from a connection accepted by ConnectionPool: a blocking recv
// that wakes every kPollSliceMs to look at the stop descriptor, which
// costs one system call per message instead of two. 0 at EOF, -1 on error
// or stop.
constexpr int kPollSliceMs = 100;
ssize_t receive(int fd, void* buf, size_t size, int stopFd);

// std::thread reports a failure to start by throwing; here it is a bool.
template <class F>
bool startThread(std::thread& t, F&& f) {
    try {
        t = std::thread(std::forward<F>(f));
        return true;
    } catch (...) {
        return false;
    }
}

// Blocks SIGPIPE in the calling thread: sendfile() on a closed socket must
// not kill a process that embeds the simulator.
void blockSigpipe();

// Writes all bytes to a file, retrying after interruptions.
bool writeAll(int fd, const void* data, size_t n);

}  // namespace qv::sim
