#include "io.h"
#include "progress.h"

#include "visa_log.h"

#include <arpa/inet.h>
#include <errno.h>
#include <fcntl.h>
#include <linux/magic.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <condition_variable>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace qv::visa {

Deadline Deadline::afterMs(uint32_t ms) {
    Deadline d;
    if (ms == VI_TMO_INFINITE) return d;
    d.infinite_ = false;
    d.at_ = Clock::now() + std::chrono::milliseconds(ms);
    return d;
}

uint32_t Deadline::remainingMs() const {
    if (infinite_) return UINT32_MAX;
    auto left = at_ - Clock::now();
    if (left <= Clock::duration::zero()) return 0;
    auto us = std::chrono::duration_cast<std::chrono::microseconds>(left).count();
    return uint32_t(std::min<int64_t>((us + 999) / 1000, UINT32_MAX - 1));
}

const timespec* Deadline::remaining(timespec& ts) const {
    if (infinite_) return nullptr;
    auto left = at_ - Clock::now();
    if (left < Clock::duration::zero()) left = Clock::duration::zero();
    auto ns = std::chrono::duration_cast<std::chrono::nanoseconds>(left).count();
    ts.tv_sec = ns / 1000000000;
    ts.tv_nsec = ns % 1000000000;
    return &ts;
}

void Fd::reset(int fd) {
    if (fd_ >= 0) ::close(fd_);
    fd_ = fd;
}

ViStatus waitReady(int fd, short events, const Deadline& dl) {
    for (;;) {
        pollfd p{fd, events, 0};
        timespec ts;
        int r = ppoll(&p, 1, dl.remaining(ts), nullptr);
        if (r > 0) return VI_SUCCESS;  // errors and hang-ups show in the next call
        if (r == 0) return VI_ERROR_TMO;
        if (errno != EINTR) return VI_ERROR_IO;
    }
}

namespace {

// Name look-ups can block for long in the system resolver; they run on a
// helper thread so that the caller's deadline holds. A late answer is
// dropped with the shared state.
struct Lookup {
    std::mutex m;
    std::condition_variable cv;
    bool done = false;
    int rc = 0;
    std::vector<sockaddr_storage> addrs;
    std::vector<socklen_t> lens;
};

int resolve(const std::string& host, uint16_t port, const Deadline& dl, std::vector<sockaddr_storage>& addrs,
            std::vector<socklen_t>& lens) {
    sockaddr_in v4{};
    sockaddr_in6 v6{};
    if (inet_pton(AF_INET, host.c_str(), &v4.sin_addr) == 1) {
        v4.sin_family = AF_INET;
        v4.sin_port = htons(port);
        sockaddr_storage s{};
        memcpy(&s, &v4, sizeof v4);
        addrs.push_back(s);
        lens.push_back(sizeof v4);
        return 0;
    }
    if (inet_pton(AF_INET6, host.c_str(), &v6.sin6_addr) == 1) {
        v6.sin6_family = AF_INET6;
        v6.sin6_port = htons(port);
        sockaddr_storage s{};
        memcpy(&s, &v6, sizeof v6);
        addrs.push_back(s);
        lens.push_back(sizeof v6);
        return 0;
    }
    auto state = std::make_shared<Lookup>();
    std::string portText = std::to_string(port);
    try {
        std::thread([state, host, portText] {
            addrinfo hints{};
            hints.ai_family = AF_UNSPEC;
            hints.ai_socktype = SOCK_STREAM;
            addrinfo* res = nullptr;
            int rc = getaddrinfo(host.c_str(), portText.c_str(), &hints, &res);
            std::lock_guard<std::mutex> lk(state->m);
            state->rc = rc;
            for (addrinfo* a = res; a && state->addrs.size() < 8; a = a->ai_next) {
                sockaddr_storage s{};
                memcpy(&s, a->ai_addr, std::min<size_t>(a->ai_addrlen, sizeof s));
                state->addrs.push_back(s);
                state->lens.push_back(a->ai_addrlen);
            }
            if (res) freeaddrinfo(res);
            state->done = true;
            state->cv.notify_all();
        }).detach();
    } catch (...) {
        return EAI_SYSTEM;  // no thread could be started
    }
    std::unique_lock<std::mutex> lk(state->m);
    auto ready = [&] { return state->done; };
    if (dl.infinite()) state->cv.wait(lk, ready);
    else if (!state->cv.wait_for(lk, std::chrono::milliseconds(dl.remainingMs()), ready)) return EAI_AGAIN;
    if (state->rc != 0) return state->rc;
    addrs = state->addrs;
    lens = state->lens;
    return addrs.empty() ? EAI_NONAME : 0;
}

}  // namespace

ViStatus connectTcp(const std::string& host, uint16_t port, const Deadline& dl, Fd& out, std::string& reason) {
    std::vector<sockaddr_storage> addrs;
    std::vector<socklen_t> lens;
    int rc = resolve(host, port, dl, addrs, lens);
    if (rc == EAI_AGAIN && dl.expired()) {
        reason = "looking up host " + host + " took longer than the time-out";
        return VI_ERROR_TMO;
    }
    if (rc != 0) {
        reason = "host " + host + " not found (" + gai_strerror(rc) + ")";
        return VI_ERROR_RSRC_NFOUND;
    }
    ViStatus last = VI_ERROR_RSRC_NFOUND;
    for (size_t i = 0; i < addrs.size(); ++i) {
        Fd fd(socket(addrs[i].ss_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
        if (!fd) {
            reason = std::string("socket: ") + strerror(errno);
            return VI_ERROR_SYSTEM_ERROR;
        }
        int one = 1;
        setsockopt(fd.get(), IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
        if (connect(fd.get(), reinterpret_cast<sockaddr*>(&addrs[i]), lens[i]) != 0 && errno != EINPROGRESS) {
            reason = "connection to " + host + ":" + std::to_string(port) + " failed: " + strerror(errno);
            last = VI_ERROR_RSRC_NFOUND;
            continue;
        }
        ViStatus w = waitReady(fd.get(), POLLOUT, dl);
        if (w == VI_ERROR_TMO) {
            reason = "no answer from " + host + ":" + std::to_string(port) + " within the time-out";
            return VI_ERROR_TMO;
        }
        int err = 0;
        socklen_t len = sizeof err;
        getsockopt(fd.get(), SOL_SOCKET, SO_ERROR, &err, &len);
        if (w != VI_SUCCESS || err != 0) {
            reason = "connection to " + host + ":" + std::to_string(port) + " failed: " + strerror(err ? err : EIO);
            last = VI_ERROR_RSRC_NFOUND;
            continue;
        }
        out = std::move(fd);
        return VI_SUCCESS;
    }
    return last;
}

ViStatus sendAll(int fd, const void* data, size_t size, const Deadline& dl, bool isSocket) {
    const auto* p = static_cast<const uint8_t*>(data);
    while (size > 0) {
        ssize_t n = isSocket ? ::send(fd, p, size, MSG_NOSIGNAL) : ::write(fd, p, size);
        if (n > 0) {
            p += n;
            size -= size_t(n);
            continue;
        }
        if (n < 0 && errno == EINTR) continue;
        if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
            ViStatus w = waitReady(fd, POLLOUT, dl);
            if (w != VI_SUCCESS) return w;
            continue;
        }
        if (n < 0 && (errno == EPIPE || errno == ECONNRESET || errno == ENOTCONN || errno == EIO))
            return VI_ERROR_CONN_LOST;
        return VI_ERROR_IO;
    }
    return VI_SUCCESS;
}

ViStatus MemorySink::put(const uint8_t* data, size_t size) {
    if (size > cap_ - used_) return VI_ERROR_USER_BUF;
    memcpy(buf_ + used_, data, size);
    used_ += size;
    return VI_SUCCESS;
}

ViStatus FileSink::put(const uint8_t* data, size_t size) {
    const size_t whole = size;
    while (size > 0) {
        ssize_t n = ::write(fd_, data, size);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return VI_ERROR_FILE_IO;
        data += n;
        size -= size_t(n);
    }
    advance(whole);
    return VI_SUCCESS;
}

void FileSink::advance(uint64_t n) {
    done_ += n;
    reportTransfer(done_, total_);
}

namespace {
thread_local const TransferProgress* tlsProgress = nullptr;
}  // namespace

void setTransferProgress(const TransferProgress* observer) { tlsProgress = observer; }

void reportTransfer(uint64_t done, uint64_t total) {
    if (tlsProgress && *tlsProgress) (*tlsProgress)(done, total);
}

ViStatus readIntoFile(const char* fileName, uint32_t count, bool append, const ReadFn& read, uint32_t& got) {
    got = 0;
    if (!fileName) return VI_ERROR_FILE_ACCESS;
    int flags = O_WRONLY | O_CREAT | O_CLOEXEC | (append ? O_APPEND : O_TRUNC);
    Fd fd(::open(fileName, flags, 0644));
    if (!fd) {
        logMessage(std::string("cannot open ") + fileName + " for writing: " + strerror(errno));
        return VI_ERROR_FILE_ACCESS;
    }
    // On disk file systems, reserving the whole length at once is much
    // cheaper than growing the file page by page (tmpfs would zero the pages
    // first: there it costs). What is not used goes again below.
    struct statfs fs {};
    const bool reserved = !append && count >= (4u << 20) && fstatfs(fd.get(), &fs) == 0 &&
                          fs.f_type != TMPFS_MAGIC && fallocate(fd.get(), 0, 0, off_t(count)) == 0;
    FileSink sink(fd.get(), count);
    ViStatus s = read(sink, count, got);
    if (reserved && ftruncate(fd.get(), off_t(got)) != 0 && s >= 0) s = VI_ERROR_FILE_IO;
    if (::close(fd.release()) != 0 && s >= 0) s = VI_ERROR_FILE_IO;
    return s;
}

ViStatus writeFileInPieces(const char* fileName, uint32_t count, const WritePieceFn& write, uint32_t& written) {
    written = 0;
    if (!fileName) return VI_ERROR_FILE_ACCESS;
    Fd fd(::open(fileName, O_RDONLY | O_CLOEXEC));
    if (!fd) {
        logMessage(std::string("cannot open ") + fileName + ": " + strerror(errno));
        return VI_ERROR_FILE_ACCESS;
    }
    // Two pieces in hand, so that the last one is known to be last and
    // carries END; memory stays at two pieces whatever the size.
    constexpr size_t kPiece = 1 << 20;
    std::vector<uint8_t> cur(kPiece), ahead(kPiece);
    auto fill = [&](std::vector<uint8_t>& b, uint64_t want, size_t& n) {
        n = 0;
        while (n < want) {
            ssize_t r = ::read(fd.get(), b.data() + n, size_t(want - n));
            if (r < 0 && errno == EINTR) continue;
            if (r < 0) return false;
            if (r == 0) break;
            n += size_t(r);
        }
        return true;
    };
    uint64_t left = count;
    size_t curN = 0, aheadN = 0;
    if (!fill(cur, std::min<uint64_t>(left, kPiece), curN)) return VI_ERROR_FILE_IO;
    left -= curN;
    for (;;) {
        if (!fill(ahead, std::min<uint64_t>(left, kPiece), aheadN)) return VI_ERROR_FILE_IO;
        left -= aheadN;
        const bool last = aheadN == 0;
        uint32_t n = 0;
        ViStatus s = write(cur.data(), uint32_t(curN), last, n);
        written += n;
        reportTransfer(written, count);
        if (s < 0 || last) return s;
        cur.swap(ahead);
        curN = aheadN;
    }
}

StreamReader::StreamReader() : buf_(static_cast<uint8_t*>(std::malloc(kBufSize))) {}
StreamReader::~StreamReader() { std::free(buf_); }

void StreamReader::attach(int fd, bool isSocket) {
    fd_ = fd;
    isSocket_ = isSocket;
    pos_ = end_ = 0;
}

ViStatus StreamReader::fill(const Deadline& dl) {
    if (!buf_) return VI_ERROR_ALLOC;
    if (pos_ == end_) pos_ = end_ = 0;
    if (end_ == kBufSize) {
        memmove(buf_, buf_ + pos_, end_ - pos_);
        end_ -= pos_;
        pos_ = 0;
    }
    for (;;) {
        ssize_t n = ::read(fd_, buf_ + end_, kBufSize - end_);
        if (n > 0) {
            end_ += size_t(n);
            return VI_SUCCESS;
        }
        if (n == 0) return VI_ERROR_CONN_LOST;
        if (errno == EINTR) continue;
        if (errno == EAGAIN || errno == EWOULDBLOCK) {
            ViStatus w = waitReady(fd_, POLLIN, dl);
            if (w != VI_SUCCESS) return w;
            continue;
        }
        return (errno == ECONNRESET || errno == EIO) ? VI_ERROR_CONN_LOST : VI_ERROR_IO;
    }
}

void StreamReader::drain(uint32_t quietMs, const Deadline& dl) {
    pos_ = end_ = 0;
    for (;;) {
        Deadline quiet = Deadline::afterMs(std::min(quietMs, dl.remainingMs()));
        if (waitReady(fd_, POLLIN, quiet) != VI_SUCCESS) return;
        ssize_t n = ::read(fd_, buf_, kBufSize);
        if (n <= 0 && !(n < 0 && errno == EINTR)) return;
    }
}

ViStatus StreamReader::transfer(Sink& sink, uint64_t n, const Deadline& dl) {
    while (n > 0) {
        if (available() == 0) {
            int target = sink.spliceTarget();
            // Worth it only for large stretches; small ones go through the buffer.
            if (target >= 0 && isSocket_ && n >= 64 * 1024) {
                uint64_t moved = 0;
                bool unsupported = false;
                ViStatus s = spliceToFile(static_cast<FileSink&>(sink), n, dl, moved, unsupported);
                n -= moved;
                if (s != VI_SUCCESS) return s;
                if (unsupported) static_cast<FileSink&>(sink).disableSplice();
                continue;
            }
            ViStatus s = fill(dl);
            if (s != VI_SUCCESS) return s;
        }
        size_t take = size_t(std::min<uint64_t>(n, available()));
        ViStatus s = sink.put(data(), take);
        if (s != VI_SUCCESS) return s;
        consume(take);
        n -= take;
    }
    return VI_SUCCESS;
}

ViStatus StreamReader::spliceToFile(FileSink& sink, uint64_t n, const Deadline& dl, uint64_t& moved,
                                    bool& unsupported) {
    const int fileFd = sink.spliceTarget();
    if (!pipeRead_) {
        int p[2];
        if (pipe2(p, O_CLOEXEC | O_NONBLOCK) != 0) {
            unsupported = true;
            return VI_SUCCESS;
        }
        pipeRead_.reset(p[0]);
        pipeWrite_.reset(p[1]);
        fcntl(p[1], F_SETPIPE_SZ, 1 << 20);
    }
    while (n > 0) {
        size_t want = size_t(std::min<uint64_t>(n, 1 << 20));
        ssize_t in = splice(fd_, nullptr, pipeWrite_.get(), nullptr, want, SPLICE_F_MOVE | SPLICE_F_NONBLOCK);
        if (in == 0) return VI_ERROR_CONN_LOST;
        if (in < 0) {
            if (errno == EINTR) continue;
            if (errno == EAGAIN) {
                ViStatus w = waitReady(fd_, POLLIN, dl);
                if (w != VI_SUCCESS) return w;
                continue;
            }
            if (errno == EINVAL || errno == ENOSYS) {
                unsupported = true;
                return VI_SUCCESS;
            }
            return errno == ECONNRESET ? VI_ERROR_CONN_LOST : VI_ERROR_IO;
        }
        size_t left = size_t(in);
        while (left > 0) {
            ssize_t out = splice(pipeRead_.get(), nullptr, fileFd, nullptr, left, SPLICE_F_MOVE);
            if (out < 0 && errno == EINTR) continue;
            if (out <= 0) {
                // The file refuses splice: finish these bytes by hand.
                uint8_t tmp[65536];
                while (left > 0) {
                    ssize_t r = ::read(pipeRead_.get(), tmp, std::min(left, sizeof tmp));
                    if (r <= 0) return VI_ERROR_IO;
                    if (sink.put(tmp, size_t(r)) != VI_SUCCESS) return VI_ERROR_FILE_IO;
                    left -= size_t(r);
                }
                moved += size_t(in);
                n -= size_t(in);
                unsupported = true;
                return VI_SUCCESS;
            }
            left -= size_t(out);
            sink.advance(uint64_t(out));
        }
        moved += size_t(in);
        n -= size_t(in);
    }
    return VI_SUCCESS;
}

}  // namespace qv::visa
