// A stand-in for the port mappers of a lab network, for the discovery
// tests: it answers every call with a scripted list of replies, each from
// a given address of the private lab network, well formed or not.
// It binds the wildcard address, so it starts only inside that network.
#pragma once

#include <netinet/in.h>

#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace qvtest {

struct FakeReply {
    std::string from;  // the sender address the caller sees
    enum class Kind {
        Valid,       // 28 bytes: the call's first four bytes, accepted, success, port last
        Short27,     // the valid reply without its last byte
        Long29,      // the valid reply and one zero byte more
        SwappedXid,  // the call's first four bytes in reverse order (21 22 22 22 becomes 22 22 22 21)
        Duplicate,   // the valid reply twice
        Silent,      // nothing
    } kind = Kind::Valid;
    uint32_t port = 1024;  // the port the reply names
};

// The reply bytes of one kind to one call (empty for Silent; Duplicate
// gives one copy, sent twice). A call shorter than four bytes is padded
// with zeros for its transaction bytes.
std::vector<uint8_t> fakeReplyBytes(const FakeReply& reply, const std::vector<uint8_t>& call);

struct ReceivedCall {
    std::vector<uint8_t> bytes;
    std::string from;  // sender address
    uint16_t fromPort = 0;
};

class FakePortmapResponder {
public:
    FakePortmapResponder() = default;
    ~FakePortmapResponder() { stop(); }
    FakePortmapResponder(const FakePortmapResponder&) = delete;
    FakePortmapResponder& operator=(const FakePortmapResponder&) = delete;

    // Binds UDP 0.0.0.0:port (SO_REUSEADDR; 0: a free port) and answers in
    // a thread of its own. False, with the reason, outside the private
    // network, for an address that is not IPv4, or when the bind fails.
    bool start(std::vector<FakeReply> replies, uint16_t port = 111, std::string* error = nullptr);
    // Ends the thread; safe to call twice.
    void stop();
    uint16_t port() const { return port_; }
    std::vector<ReceivedCall> calls() const;

private:
    void run();

    int fd_ = -1;
    int stopFd_ = -1;
    uint16_t port_ = 0;
    std::vector<FakeReply> replies_;
    std::vector<in_addr> sources_;  // parsed from replies_[i].from
    std::thread thread_;
    mutable std::mutex mutex_;
    std::vector<ReceivedCall> calls_;
};

}  // namespace qvtest
