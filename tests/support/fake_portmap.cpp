#include "fake_portmap.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "test_support.h"

namespace qvtest {

namespace {

void putU32(std::vector<uint8_t>& out, uint32_t v) {
    for (int shift = 24; shift >= 0; shift -= 8) out.push_back(uint8_t(v >> shift));
}

// Sends from the wildcard socket with the given source address, so that
// one socket speaks for every simulated sender.
void sendFrom(int fd, const in_addr& source, const sockaddr_in& to, const std::vector<uint8_t>& bytes) {
    iovec iov{const_cast<uint8_t*>(bytes.data()), bytes.size()};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(in_pktinfo))] = {};
    msghdr m{};
    m.msg_name = const_cast<sockaddr_in*>(&to);
    m.msg_namelen = sizeof to;
    m.msg_iov = &iov;
    m.msg_iovlen = 1;
    m.msg_control = control;
    m.msg_controllen = sizeof control;
    cmsghdr* c = CMSG_FIRSTHDR(&m);
    c->cmsg_level = IPPROTO_IP;
    c->cmsg_type = IP_PKTINFO;
    c->cmsg_len = CMSG_LEN(sizeof(in_pktinfo));
    in_pktinfo info{};
    info.ipi_spec_dst = source;
    std::memcpy(CMSG_DATA(c), &info, sizeof info);
    ::sendmsg(fd, &m, MSG_DONTWAIT);
}

}  // namespace

std::vector<uint8_t> fakeReplyBytes(const FakeReply& reply, const std::vector<uint8_t>& call) {
    using Kind = FakeReply::Kind;
    if (reply.kind == Kind::Silent) return {};
    std::vector<uint8_t> out(4, 0);
    std::copy_n(call.begin(), std::min<size_t>(4, call.size()), out.begin());
    if (reply.kind == Kind::SwappedXid) std::reverse(out.begin(), out.end());
    putU32(out, 1);  // REPLY
    putU32(out, 0);  // MSG_ACCEPTED
    putU32(out, 0);  // verifier AUTH_NONE
    putU32(out, 0);  // of length 0
    putU32(out, 0);  // SUCCESS
    putU32(out, reply.port);
    if (reply.kind == Kind::Short27) out.pop_back();
    if (reply.kind == Kind::Long29) out.push_back(0);
    return out;
}

bool FakePortmapResponder::start(std::vector<FakeReply> replies, uint16_t port, std::string* error) {
    auto fail = [&](const std::string& why) {
        if (error) *error = why;
        stop();
        return false;
    };
    stop();
    // The wildcard address of the machine's own network is a real LAN.
    if (!inPrivateNet()) return fail("the fake port mapper runs only inside the private network");
    sources_.clear();
    for (const auto& r : replies) {
        in_addr a{};
        if (::inet_pton(AF_INET, r.from.c_str(), &a) != 1) return fail("'" + r.from + "' is not an IPv4 address");
        sources_.push_back(a);
    }
    replies_ = std::move(replies);
    {
        std::lock_guard<std::mutex> lock(mutex_);
        calls_.clear();
    }
    fd_ = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    stopFd_ = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (fd_ < 0 || stopFd_ < 0) return fail(std::string("socket: ") + std::strerror(errno));
    int one = 1;
    ::setsockopt(fd_, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_ANY);
    a.sin_port = htons(port);
    if (::bind(fd_, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0)
        return fail("cannot bind 0.0.0.0:" + std::to_string(port) + ": " + std::strerror(errno));
    socklen_t len = sizeof a;
    ::getsockname(fd_, reinterpret_cast<sockaddr*>(&a), &len);
    port_ = ntohs(a.sin_port);
    try {
        thread_ = std::thread([this] { run(); });
    } catch (...) {
        return fail("cannot start the responder's thread");
    }
    return true;
}

void FakePortmapResponder::run() {
    uint8_t buf[9000];
    for (;;) {
        pollfd p[2] = {{fd_, POLLIN, 0}, {stopFd_, POLLIN, 0}};
        // Bounded, though the stop descriptor wakes it at once.
        int r = ::poll(p, 2, 200);
        if (r < 0 && errno != EINTR) return;
        if (p[1].revents) return;
        if (r <= 0 || !(p[0].revents & POLLIN)) continue;
        sockaddr_in from{};
        socklen_t len = sizeof from;
        ssize_t n = ::recvfrom(fd_, buf, sizeof buf, MSG_DONTWAIT, reinterpret_cast<sockaddr*>(&from), &len);
        if (n < 0) continue;
        ReceivedCall call;
        call.bytes.assign(buf, buf + n);
        char text[INET_ADDRSTRLEN] = {};
        ::inet_ntop(AF_INET, &from.sin_addr, text, sizeof text);
        call.from = text;
        call.fromPort = ntohs(from.sin_port);
        {
            // Recorded before answering: a caller holding a reply finds its call.
            std::lock_guard<std::mutex> lock(mutex_);
            calls_.push_back(call);
        }
        for (size_t i = 0; i < replies_.size(); ++i) {
            std::vector<uint8_t> bytes = fakeReplyBytes(replies_[i], call.bytes);
            if (bytes.empty()) continue;
            sendFrom(fd_, sources_[i], from, bytes);
            if (replies_[i].kind == FakeReply::Kind::Duplicate) sendFrom(fd_, sources_[i], from, bytes);
        }
    }
}

void FakePortmapResponder::stop() {
    if (stopFd_ >= 0) {
        uint64_t one = 1;
        ssize_t w = ::write(stopFd_, &one, sizeof one);
        (void)w;
    }
    if (thread_.joinable()) thread_.join();
    if (fd_ >= 0) ::close(fd_);
    if (stopFd_ >= 0) ::close(stopFd_);
    fd_ = stopFd_ = -1;
}

std::vector<ReceivedCall> FakePortmapResponder::calls() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return calls_;
}

}  // namespace qvtest
