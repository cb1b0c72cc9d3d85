// The simulated instruments on the private lab network: each answers the
// discovery broadcast once, from its own address, and is then reached
// through the VISA layer as an instrument on the LAN would be.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <map>

#include "instrument_directory/lan_discovery.h"
#include "instrument_io/visa/visa.h"
#include "sim/profiles.h"
#include "test_support.h"

using namespace qvtest;

namespace {

struct Datagram {
    std::string from;
    std::vector<uint8_t> bytes;
};

// The call the program broadcasts.
std::vector<uint8_t> discoveryCall() {
    auto packet = qv::dir::DiscoveryPacket();
    return std::vector<uint8_t>(packet.begin(), packet.end());
}

// Sends the call from host:localPort to to:111 and collects every reply
// for collectMs.
std::vector<Datagram> callAndCollect(const std::string& to, const std::vector<uint8_t>& call, uint16_t localPort,
                                     int collectMs = 400) {
    std::vector<Datagram> got;
    int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return got;
    int one = 1;
    ::setsockopt(fd, SOL_SOCKET, SO_BROADCAST, &one, sizeof one);
    ::setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_port = htons(localPort);
    ::inet_pton(AF_INET, kNetHost, &a.sin_addr);
    sockaddr_in dest{};
    dest.sin_family = AF_INET;
    dest.sin_port = htons(111);
    ::inet_pton(AF_INET, to.c_str(), &dest.sin_addr);
    if (::bind(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0 ||
        ::sendto(fd, call.data(), call.size(), 0, reinterpret_cast<sockaddr*>(&dest), sizeof dest) < 0) {
        ADD_FAILURE() << "cannot send to " << to << ": " << std::strerror(errno);
        ::close(fd);
        return got;
    }
    auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(collectMs);
    for (;;) {
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(until - std::chrono::steady_clock::now());
        if (left.count() <= 0) break;
        pollfd p{fd, POLLIN, 0};
        if (::poll(&p, 1, int(left.count())) <= 0) continue;
        uint8_t buf[2048];
        sockaddr_in from{};
        socklen_t len = sizeof from;
        ssize_t n = ::recvfrom(fd, buf, sizeof buf, 0, reinterpret_cast<sockaddr*>(&from), &len);
        if (n < 0) continue;
        char text[INET_ADDRSTRLEN] = {};
        ::inet_ntop(AF_INET, &from.sin_addr, text, sizeof text);
        got.push_back({text, std::vector<uint8_t>(buf, buf + n)});
    }
    ::close(fd);
    return got;
}

uint32_t lastWord(const std::vector<uint8_t>& b) {
    size_t n = b.size();
    return n < 4 ? 0 : uint32_t(b[n - 4]) << 24 | uint32_t(b[n - 3]) << 16 | uint32_t(b[n - 2]) << 8 | b[n - 1];
}

// TKD on 10.77.0.2 and KDC on 10.77.0.3 (VXI-11), and GLN on loopback,
// which no broadcast on the lab network reaches; our port mapper on 111.
class LabNetwork : public ::testing::Test {
protected:
    void SetUp() override {
        QV_REQUIRE_PRIVATE_NET();
        std::string error;
        ASSERT_TRUE(sim.start({"--profile", "TKD", "--vxi11", "--address", kNetInstruments[0], "--profile", "KDC",
                               "--vxi11", "--address", kNetInstruments[1], "--profile", "GLN", "--vxi11",
                               "--portmapper-port", "111"},
                              &error))
            << error;
        vxi11Port[kNetInstruments[0]] = uint32_t(sim.vxi11Port(0));
        vxi11Port[kNetInstruments[1]] = uint32_t(sim.vxi11Port(1));
    }
    SimProcess sim;
    std::map<std::string, uint32_t> vxi11Port;
};

struct CallCase {
    const char* to;
    std::vector<std::string> senders;  // each once, sorted
};
std::ostream& operator<<(std::ostream& os, const CallCase& c) { return os << c.to; }

class DiscoveryCall : public LabNetwork, public ::testing::WithParamInterface<CallCase> {};

TEST_P(DiscoveryCall, OneReplyPerInstrumentFromItsOwnAddress) {
    std::vector<Datagram> replies = callAndCollect(GetParam().to, discoveryCall(), 4241);
    std::vector<std::string> senders;
    for (const auto& r : replies) {
        senders.push_back(r.from);
        ASSERT_EQ(r.bytes.size(), 28u) << r.from;
        EXPECT_EQ(std::vector<uint8_t>(r.bytes.begin(), r.bytes.begin() + 4),
                  (std::vector<uint8_t>{0x21, 0x22, 0x22, 0x22}))
            << r.from;
        EXPECT_EQ(lastWord(r.bytes), vxi11Port[r.from]) << r.from;
    }
    std::sort(senders.begin(), senders.end());
    EXPECT_EQ(senders, GetParam().senders);
}

INSTANTIATE_TEST_SUITE_P(
    Destinations, DiscoveryCall,
    ::testing::Values(CallCase{kNetBroadcast, {kNetInstruments[0], kNetInstruments[1]}},
                      CallCase{"255.255.255.255", {kNetInstruments[0], kNetInstruments[1]}},
                      // A unicast is answered by that address's own socket alone.
                      CallCase{kNetInstruments[1], {kNetInstruments[1]}},
                      // No instrument's: the computer's own address, and a lab
                      // address that has no broadcast address of its own.
                      CallCase{kNetHost, {}}, CallCase{kNetInstruments[2], {}}));

TEST_F(LabNetwork, VisaOpensEachInstrumentByItsAddress) {
    ::unsetenv("QUILVANE_PORTMAPPER_PORT");  // port 111, as on a real network
    ViSession rm = 0;
    ASSERT_EQ(viOpenDefaultRM(&rm), VI_SUCCESS);
    for (auto [address, tag] : {std::pair{kNetInstruments[0], "TKD"}, std::pair{kNetInstruments[1], "KDC"}}) {
        std::string resource = std::string("TCPIP::") + address + "::INSTR";
        ViSession vi = 0;
        ASSERT_EQ(viOpen(rm, resource.c_str(), VI_NULL, 2000, &vi), VI_SUCCESS) << resource;
        ViUInt32 n = 0;
        EXPECT_EQ(viWrite(vi, reinterpret_cast<ViConstBuf>("*IDN?\n"), 6, &n), VI_SUCCESS);
        std::string answer(256, '\0');
        EXPECT_GE(viRead(vi, reinterpret_cast<ViBuf>(answer.data()), ViUInt32(answer.size()), &n), VI_SUCCESS);
        answer.resize(n);
        while (!answer.empty() && answer.back() == '\n') answer.pop_back();
        EXPECT_EQ(answer, qv::sim::findProfile(tag)->identity) << resource;
        viClose(vi);
    }
    viClose(rm);
}

}  // namespace
