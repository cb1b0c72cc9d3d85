// A bare ONC RPC client over TCP or UDP for talking to the simulator's
// VXI-11 and port mapper servers byte for byte.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>

#include "oncrpc/oncrpc.h"
#include "oncrpc/vxi11.h"

namespace qvsimtest {

inline int connectTcp(int port, const char* address = "127.0.0.1") {
    int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_port = htons(uint16_t(port));
    ::inet_pton(AF_INET, address, &a.sin_addr);
    if (::connect(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) {
        ::close(fd);
        return -1;
    }
    int one = 1;
    ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    return fd;
}

// Reads until `want` bytes arrived, EOF, or timeoutMs passed.
inline std::string recvFor(int fd, size_t want, int timeoutMs) {
    std::string out;
    char buf[65536];
    while (out.size() < want) {
        pollfd p{fd, POLLIN, 0};
        if (::poll(&p, 1, timeoutMs) <= 0) break;
        ssize_t n = ::recv(fd, buf, sizeof buf, 0);
        if (n <= 0) break;
        out.append(buf, size_t(n));
    }
    return out;
}

// Reads one LF-terminated answer.
inline std::string recvLine(int fd, int timeoutMs = 2000) {
    std::string out;
    char c;
    for (;;) {
        pollfd p{fd, POLLIN, 0};
        if (::poll(&p, 1, timeoutMs) <= 0) break;
        if (::recv(fd, &c, 1, 0) != 1) break;
        out += c;
        if (c == '\n') break;
    }
    return out;
}

inline bool sendAll(int fd, const std::string& s) {
    size_t off = 0;
    while (off < s.size()) {
        ssize_t n = ::send(fd, s.data() + off, s.size() - off, MSG_NOSIGNAL);
        if (n <= 0) return false;
        off += size_t(n);
    }
    return true;
}

class RpcClient {
public:
    explicit RpcClient(int port, const char* address = "127.0.0.1") : fd_(connectTcp(port, address)) {}
    ~RpcClient() {
        if (fd_ >= 0) ::close(fd_);
    }
    bool connected() const { return fd_ >= 0; }
    int fd() const { return fd_; }

    // One call; false when no reply record came within timeoutMs.
    bool call(uint32_t prog, uint32_t vers, uint32_t proc, const qv::rpc::Bytes& args, qv::rpc::ReplyHeader& head,
              qv::rpc::Bytes& results, int timeoutMs = 3000) {
        qv::rpc::Bytes msg(4, 0);
        qv::rpc::XdrWriter w(msg);
        qv::rpc::encodeCall(w, {++xid_, prog, vers, proc});
        msg.insert(msg.end(), args.begin(), args.end());
        qv::rpc::putFragmentHeader(msg.data(), uint32_t(msg.size() - 4), true);
        if (!sendAll(fd_, std::string(msg.begin(), msg.end()))) return false;
        return readReply(head, results, timeoutMs);
    }

    bool readReply(qv::rpc::ReplyHeader& head, qv::rpc::Bytes& results, int timeoutMs) {
        qv::rpc::RecordAssembler ra(size_t(1) << 28);
        uint8_t buf[65536];
        while (!ra.hasRecord()) {
            pollfd p{fd_, POLLIN, 0};
            if (::poll(&p, 1, timeoutMs) <= 0) return false;
            ssize_t n = ::recv(fd_, buf, sizeof buf, MSG_PEEK);
            if (n <= 0) return false;
            size_t used = ra.feed(buf, size_t(n));
            ::recv(fd_, buf, used, 0);  // consume exactly one record's bytes
            if (ra.failed()) return false;
        }
        qv::rpc::Bytes rec = ra.takeRecord();
        qv::rpc::XdrReader r(rec);
        if (!qv::rpc::decodeReply(r, head) || head.xid != xid_) return false;
        results.assign(rec.begin() + long(r.pos()), rec.end());
        return true;
    }

private:
    int fd_;
    uint32_t xid_ = 0x51000;
};

// VXI-11 calls on top of it.
class Vxi11Client {
public:
    explicit Vxi11Client(int port, const char* address = "127.0.0.1") : rpc(port, address) {}

    int32_t createLink(const std::string& device, int32_t& lid, uint32_t* maxRecv = nullptr, bool lock = false) {
        qv::rpc::Bytes a, res;
        qv::rpc::XdrWriter w(a);
        qv::vxi11::CreateLinkParms p;
        p.device = device;
        p.lockDevice = lock;
        p.lockTimeout = 0;
        qv::vxi11::encode(w, p);
        qv::vxi11::CreateLinkResp resp;
        if (!callCore(qv::vxi11::kCreateLink, a, res)) return -1;
        qv::rpc::XdrReader r(res);
        if (!qv::vxi11::decode(r, resp)) return -1;
        lid = resp.lid;
        if (maxRecv) *maxRecv = resp.maxRecvSize;
        return resp.error;
    }
    int32_t write(int32_t lid, const std::string& data, bool end = true, uint32_t* size = nullptr) {
        qv::rpc::Bytes a, res;
        qv::rpc::XdrWriter w(a);
        qv::vxi11::WriteParms p;
        p.lid = lid;
        p.ioTimeout = 1000;
        p.flags = end ? qv::vxi11::kFlagEnd : 0;
        p.data = data;
        qv::vxi11::encode(w, p);
        if (!callCore(qv::vxi11::kDeviceWrite, a, res)) return -1;
        qv::rpc::XdrReader r(res);
        qv::vxi11::WriteResp resp;
        if (!qv::vxi11::decode(r, resp)) return -1;
        if (size) *size = resp.size;
        return resp.error;
    }
    int32_t read(int32_t lid, uint32_t requestSize, uint32_t ioTimeout, std::string& data, uint32_t& reason,
                 int termChar = -1) {
        qv::rpc::Bytes a, res;
        qv::rpc::XdrWriter w(a);
        qv::vxi11::ReadParms p;
        p.lid = lid;
        p.requestSize = requestSize;
        p.ioTimeout = ioTimeout;
        if (termChar >= 0) {
            p.flags = qv::vxi11::kFlagTermCharSet;
            p.termChar = uint8_t(termChar);
        }
        qv::vxi11::encode(w, p);
        if (!callCore(qv::vxi11::kDeviceRead, a, res, int(ioTimeout) + 3000)) return -1;
        qv::rpc::XdrReader r(res);
        qv::vxi11::ReadRespHead head;
        if (!qv::vxi11::decode(r, head)) return -1;
        reason = head.reason;
        data.assign(reinterpret_cast<const char*>(res.data() + r.pos()), std::min<size_t>(head.dataLength, res.size() - r.pos()));
        return head.error;
    }
    int32_t readStb(int32_t lid, uint8_t& stb) {
        qv::rpc::Bytes a, res;
        qv::rpc::XdrWriter w(a);
        qv::vxi11::encode(w, qv::vxi11::GenericParms{lid, 0, 0, 1000});
        if (!callCore(qv::vxi11::kDeviceReadStb, a, res)) return -1;
        qv::rpc::XdrReader r(res);
        qv::vxi11::ReadStbResp resp;
        if (!qv::vxi11::decode(r, resp)) return -1;
        stb = resp.stb;
        return resp.error;
    }
    int32_t generic(uint32_t proc, int32_t lid) {
        qv::rpc::Bytes a, res;
        qv::rpc::XdrWriter w(a);
        qv::vxi11::encode(w, qv::vxi11::GenericParms{lid, 0, 0, 1000});
        return errorOf(proc, a);
    }
    int32_t lock(int32_t lid) {
        qv::rpc::Bytes a;
        qv::rpc::XdrWriter w(a);
        qv::vxi11::encode(w, qv::vxi11::LockParms{lid, 0, 0});
        return errorOf(qv::vxi11::kDeviceLock, a);
    }
    int32_t linkOnly(uint32_t proc, int32_t lid) {
        qv::rpc::Bytes a;
        qv::rpc::XdrWriter w(a);
        qv::vxi11::encodeLink(w, lid);
        return errorOf(proc, a);
    }
    bool callCore(uint32_t proc, const qv::rpc::Bytes& a, qv::rpc::Bytes& res, int timeoutMs = 3000) {
        qv::rpc::ReplyHeader h;
        return rpc.call(qv::vxi11::kCoreProg, qv::vxi11::kCoreVers, proc, a, h, res, timeoutMs) && h.accepted &&
               h.acceptStat == qv::rpc::kSuccess;
    }

    RpcClient rpc;

private:
    int32_t errorOf(uint32_t proc, const qv::rpc::Bytes& a) {
        qv::rpc::Bytes res;
        if (!callCore(proc, a, res)) return -1;
        qv::rpc::XdrReader r(res);
        int32_t e = r.i32();
        return r.ok() ? e : -1;
    }
};

}  // namespace qvsimtest
