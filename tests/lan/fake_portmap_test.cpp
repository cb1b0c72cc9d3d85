// The fake port mapper sends what each scripted kind promises, from the
// address it names; the discovery tests' verdicts rest on these bytes.
#include "fake_portmap.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstring>

#include "test_support.h"

using namespace qvtest;
using Kind = FakeReply::Kind;
using Bytes = std::vector<uint8_t>;

namespace {

// The start of a port mapper call: transaction 21 22 22 22, CALL, RPC 2.
const Bytes kCall{0x21, 0x22, 0x22, 0x22, 0, 0, 0, 0, 0, 0, 0, 2};
// Accepted, success, port 0x10E1 (4321).
const Bytes kValid{0x21, 0x22, 0x22, 0x22, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0,
                   0,    0,    0,    0,    0, 0, 0, 0, 0, 0, 0, 0, 0x10, 0xE1};

Bytes with(Bytes b, size_t at, Bytes part) {
    std::copy(part.begin(), part.end(), b.begin() + long(at));
    return b;
}

struct KindCase {
    Kind kind;
    std::vector<Bytes> expected;  // the datagrams, in order
};
std::ostream& operator<<(std::ostream& os, const KindCase& c) { return os << int(c.kind); }

class FakeKinds : public ::testing::TestWithParam<KindCase> {};

TEST_P(FakeKinds, SendsItsBytesFromItsAddress) {
    QV_REQUIRE_PRIVATE_NET();
    FakePortmapResponder fake;
    std::string error;
    ASSERT_TRUE(fake.start({{kNetInstruments[2], GetParam().kind, 4321}}, 111, &error)) << error;

    int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ASSERT_GE(fd, 0);
    int one = 1;
    ::setsockopt(fd, SOL_SOCKET, SO_BROADCAST, &one, sizeof one);
    sockaddr_in local{};
    local.sin_family = AF_INET;
    ::inet_pton(AF_INET, kNetHost, &local.sin_addr);
    sockaddr_in dest{};
    dest.sin_family = AF_INET;
    dest.sin_port = htons(111);
    ::inet_pton(AF_INET, kNetBroadcast, &dest.sin_addr);
    ASSERT_EQ(::bind(fd, reinterpret_cast<sockaddr*>(&local), sizeof local), 0);
    socklen_t len = sizeof local;
    ::getsockname(fd, reinterpret_cast<sockaddr*>(&local), &len);
    ASSERT_EQ(::sendto(fd, kCall.data(), kCall.size(), 0, reinterpret_cast<sockaddr*>(&dest), sizeof dest),
              ssize_t(kCall.size()));

    std::vector<Bytes> got;
    auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(300);
    while (std::chrono::steady_clock::now() < until) {
        pollfd p{fd, POLLIN, 0};
        if (::poll(&p, 1, 20) <= 0) continue;
        uint8_t buf[256];
        sockaddr_in from{};
        len = sizeof from;
        ssize_t n = ::recvfrom(fd, buf, sizeof buf, 0, reinterpret_cast<sockaddr*>(&from), &len);
        if (n < 0) continue;
        char text[INET_ADDRSTRLEN] = {};
        ::inet_ntop(AF_INET, &from.sin_addr, text, sizeof text);
        EXPECT_STREQ(text, kNetInstruments[2]);
        EXPECT_EQ(ntohs(from.sin_port), 111);
        got.emplace_back(buf, buf + n);
    }
    ::close(fd);
    EXPECT_EQ(got, GetParam().expected);

    auto calls = fake.calls();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].bytes, kCall);
    EXPECT_EQ(calls[0].from, kNetHost);
    EXPECT_EQ(calls[0].fromPort, ntohs(local.sin_port));
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, FakeKinds,
    ::testing::Values(KindCase{Kind::Valid, {kValid}},
                      KindCase{Kind::Short27, {Bytes(kValid.begin(), kValid.end() - 1)}},
                      KindCase{Kind::Long29, {with(Bytes(29, 0), 0, kValid)}},
                      KindCase{Kind::SwappedXid, {with(kValid, 0, {0x22, 0x22, 0x22, 0x21})}},
                      KindCase{Kind::Duplicate, {kValid, kValid}}, KindCase{Kind::Silent, {}}));

}  // namespace
