#include "net_io.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/sendfile.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>

namespace qv::sim {

namespace {
constexpr size_t kGather = 256 * 1024;
}

WaitResult waitFor(int fd, short events, int stopFd, int timeoutMs) {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs < 0 ? 0 : timeoutMs);
    for (;;) {
        pollfd p[2] = {{fd, events, 0}, {stopFd, POLLIN, 0}};
        int wait = -1;
        if (timeoutMs >= 0) {
            // Rounded up: waking a little early would cut a delay short.
            auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
            wait = int(std::max<int64_t>(0, left.count()));
        }
        int r = ::poll(p, stopFd >= 0 ? 2 : 1, wait);
        if (r < 0) {
            if (errno == EINTR) continue;
            return WaitResult::Stopped;  // poll itself failing: give up rather than spin
        }
        if (stopFd >= 0 && (p[1].revents & POLLIN)) return WaitResult::Stopped;
        if (r == 0) return WaitResult::Timeout;
        if (p[0].revents) return WaitResult::Ready;
    }
}

bool sleepUnlessStopped(int stopFd, uint32_t ms) {
    if (ms == 0) return !isStopped(stopFd);
    pollfd p{stopFd, POLLIN, 0};
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
    for (;;) {
        auto now = std::chrono::steady_clock::now();
        if (now >= deadline) return true;
        auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - now);
        int r = ::poll(&p, stopFd >= 0 ? 1 : 0, int(left.count()));
        if (r > 0) return false;
        if (r < 0 && errno != EINTR) return false;
    }
}

bool isStopped(int stopFd) {
    if (stopFd < 0) return false;
    pollfd p{stopFd, POLLIN, 0};
    return ::poll(&p, 1, 0) > 0;
}

namespace {

// The interface names of /proc/PID/net/dev, sorted; false when unreadable.
bool interfaceNames(const char* path, std::vector<std::string>& names, std::string& why) {
    names.clear();
    FILE* f = std::fopen(path, "re");
    if (!f) {
        why = std::string("cannot read ") + path + ": " + std::strerror(errno);
        return false;
    }
    char line[512];
    int lineNo = 0;
    while (std::fgets(line, sizeof line, f) && lineNo < 10000) {
        if (++lineNo <= 2) continue;  // two header lines
        const char* colon = std::strchr(line, ':');
        if (!colon) continue;
        const char* start = line;
        while (start < colon && *start == ' ') ++start;
        names.emplace_back(start, size_t(colon - start));
    }
    std::fclose(f);
    std::sort(names.begin(), names.end());
    return true;
}

}  // namespace

bool inPrivateNetworkNamespace(std::string* why) {
    auto refuse = [&](const std::string& reason) {
        if (why) *why = reason;
        return false;
    };
    struct stat self{}, init{};
    if (::stat("/proc/self/ns/net", &self) != 0)
        return refuse(std::string("cannot read /proc/self/ns/net: ") + std::strerror(errno));
    if (::stat("/proc/1/ns/net", &init) == 0) {
        if (self.st_ino == init.st_ino && self.st_dev == init.st_dev)
            return refuse("this process shares the network namespace of PID 1, the machine's own network");
        return true;
    }
    // PID 1's link is often closed to us (another user namespace, a process
    // that is not dumpable), but /proc/1/net still shows its interfaces. Two
    // namespaces cannot share an interface, so different lists prove
    // different namespaces; ours is read twice so that an interface coming
    // or going meanwhile is not taken for proof.
    std::string reason;
    std::vector<std::string> before, theirs, after;
    if (!interfaceNames("/proc/self/net/dev", before, reason) || !interfaceNames("/proc/1/net/dev", theirs, reason) ||
        !interfaceNames("/proc/self/net/dev", after, reason))
        return refuse("cannot compare this process's network with PID 1's: " + reason);
    if (before != after) return refuse("the network interfaces changed while they were compared with PID 1's");
    if (before == theirs)
        return refuse("this process sees the same network interfaces as PID 1, so it is taken to be on the "
                      "machine's own network");
    return true;
}

bool parseListenAddress(const std::string& text, in_addr& out, std::string& error) {
    const std::string rule = "only loopback addresses (127.x.x.x) are allowed";
    if (::inet_pton(AF_INET, text.c_str(), &out) != 1) {
        error = "'" + text + "' is not an IPv4 address; " + rule;
        return false;
    }
    uint32_t host = ntohl(out.s_addr);
    if ((host >> 24) == 127) return true;
    if (host == INADDR_ANY || host == INADDR_BROADCAST || (host >> 28) == 0xE) {
        error = "'" + text + "' is not a unicast address; " + rule;
        return false;
    }
    std::string why;
    if (!inPrivateNetworkNamespace(&why)) {
        error = "'" + text + "': " + rule + " outside a private network namespace, and " + why;
        return false;
    }
    return true;
}

bool StreamWriter::write(const void* data, size_t size, bool more) {
    const auto* p = static_cast<const uint8_t*>(data);
    while (size > 0) {
        ssize_t n = socket_ ? ::send(fd_, p, size, MSG_NOSIGNAL | MSG_DONTWAIT | (more ? MSG_MORE : 0))
                            : ::write(fd_, p, size);
        if (n > 0) {
            p += n;
            size -= size_t(n);
            continue;
        }
        if (n < 0 && errno == EINTR) continue;
        if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
            if (waitFor(fd_, POLLOUT, stop_, stallMs_) != WaitResult::Ready) return false;
            continue;
        }
        return false;
    }
    return true;
}

bool StreamWriter::sendFile(int fileFd, uint64_t offset, uint64_t length) {
    off_t off = off_t(offset);
    uint64_t left = length;
    bool fallback = false;
    std::vector<char> buf;
    while (left > 0) {
        if (!fallback) {
            ssize_t n = ::sendfile(fd_, fileFd, &off, size_t(std::min<uint64_t>(left, 1u << 30)));
            if (n > 0) {
                left -= uint64_t(n);
                continue;
            }
            if (n == 0) break;  // the file shrank
            if (errno == EINTR) continue;
            if (errno == EAGAIN) {
                if (waitFor(fd_, POLLOUT, stop_, stallMs_) != WaitResult::Ready) return false;
                continue;
            }
            if (errno != EINVAL && errno != ENOSYS) return false;
            fallback = true;  // a descriptor sendfile cannot write to
        }
        if (buf.empty()) buf.resize(kGather);
        ssize_t r = ::pread(fileFd, buf.data(), size_t(std::min<uint64_t>(left, buf.size())), off);
        if (r < 0 && errno == EINTR) continue;
        if (r <= 0) break;
        if (!write(buf.data(), size_t(r))) return false;
        off += r;
        left -= uint64_t(r);
    }
    // The length was announced: keep the framing even if the file shrank.
    if (left > 0) {
        std::vector<char> zeros(size_t(std::min<uint64_t>(left, kGather)), '\0');
        while (left > 0) {
            size_t n = size_t(std::min<uint64_t>(left, zeros.size()));
            if (!write(zeros.data(), n)) return false;
            left -= n;
        }
    }
    return true;
}

bool StreamWriter::sendResponse(std::string_view prefix, const Response& r, uint64_t offset, uint64_t length,
                                std::string_view suffix) {
    std::string gather(prefix);
    auto flush = [&](bool more) {
        if (gather.empty()) return true;
        bool ok = write(gather.data(), gather.size(), more);
        gather.clear();
        return ok;
    };
    uint64_t base = 0, end = offset + length;
    for (const auto& p : r.pieces()) {
        uint64_t psize = p.size();
        uint64_t from = std::max(offset, base), to = std::min(end, base + psize);
        base += psize;
        if (from >= to) continue;
        uint64_t in = from - (base - psize);
        uint64_t n = to - from;
        switch (p.kind) {
        case Piece::Kind::Memory:
            if (gather.size() + n > kGather && !flush(true)) return false;
            if (n > kGather) {
                if (!write(p.bytes.data() + in, size_t(n), true)) return false;
            } else {
                gather.append(p.bytes, size_t(in), size_t(n));
            }
            break;
        case Piece::Kind::File:
            if (!flush(true) || !sendFile(p.file->fd(), p.fileOffset + in, n)) return false;
            break;
        case Piece::Kind::Generated:
            while (n > 0) {
                if (gather.size() >= kGather && !flush(true)) return false;
                size_t take = size_t(std::min<uint64_t>(n, kGather - gather.size()));
                size_t at = gather.size();
                gather.resize(at + take);
                p.gen->fill(in, reinterpret_cast<uint8_t*>(gather.data() + at), take);
                in += take;
                n -= take;
            }
            break;
        }
    }
    gather.append(suffix);
    return flush(false);
}

Listener::~Listener() { close(); }

void Listener::close() {
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
}

bool Listener::open(const in_addr& address, int port, std::string& error) {
    fd_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd_ < 0) {
        error = std::string("socket: ") + std::strerror(errno);
        return false;
    }
    int one = 1;
    ::setsockopt(fd_, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr = address;
    a.sin_port = htons(uint16_t(port));
    char text[INET_ADDRSTRLEN] = {};
    ::inet_ntop(AF_INET, &address, text, sizeof text);
    if (::bind(fd_, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0 || ::listen(fd_, 64) != 0) {
        error = std::string("cannot listen on ") + text + ":" + std::to_string(port) + ": " + std::strerror(errno);
        close();
        return false;
    }
    socklen_t len = sizeof a;
    ::getsockname(fd_, reinterpret_cast<sockaddr*>(&a), &len);
    port_ = ntohs(a.sin_port);
    return true;
}

bool ConnectionPool::start(int listenFd, int stopFd, size_t maxConnections, Handler handler) {
    listenFd_ = listenFd;
    stopFd_ = stopFd;
    max_ = maxConnections;
    handler_ = std::move(handler);
    return startThread(acceptor_, [this] { acceptLoop(); });
}

void ConnectionPool::reap(bool all) {
    for (auto it = workers_.begin(); it != workers_.end();) {
        if (all || it->done->load()) {
            if (it->thread.joinable()) it->thread.join();
            it = workers_.erase(it);
        } else {
            ++it;
        }
    }
}

void ConnectionPool::acceptLoop() {
    blockSigpipe();
    for (;;) {
        if (waitFor(listenFd_, POLLIN, stopFd_, -1) != WaitResult::Ready) break;
        int fd = ::accept4(listenFd_, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd < 0) continue;
        // Blocking with short timeouts: see receive(). Sends that must not
        // block pass MSG_DONTWAIT; sendfile() returns at the timeout.
        timeval slice{0, kPollSliceMs * 1000};
        ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &slice, sizeof slice);
        ::setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &slice, sizeof slice);
        reap(false);
        if (workers_.size() >= max_) {
            ::close(fd);
            continue;
        }
        int one = 1;
        ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
        auto done = std::make_shared<std::atomic<bool>>(false);
        Worker w{std::thread(), done};
        if (!startThread(w.thread, [this, fd, done] {
                blockSigpipe();
                handler_(fd);
                ::close(fd);
                done->store(true);
            })) {
            ::close(fd);  // out of threads: turned away like an excess connection
            continue;
        }
        workers_.push_back(std::move(w));
    }
    reap(true);
}

void ConnectionPool::join() {
    if (acceptor_.joinable()) acceptor_.join();
}

ssize_t receive(int fd, void* buf, size_t size, int stopFd) {
    for (;;) {
        ssize_t n = ::recv(fd, buf, size, 0);
        if (n >= 0) return n;
        if (errno == EINTR) continue;
        if (errno != EAGAIN && errno != EWOULDBLOCK) return -1;
        if (isStopped(stopFd)) return -1;
    }
}

void blockSigpipe() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

bool writeAll(int fd, const void* data, size_t n) {
    const auto* p = static_cast<const uint8_t*>(data);
    while (n > 0) {
        ssize_t w = ::write(fd, p, n);
        if (w < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        p += w;
        n -= size_t(w);
    }
    return true;
}

}  // namespace qv::sim
