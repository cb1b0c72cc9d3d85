// The simulator on real loopback connections: raw socket, VXI-11, port
// mapper, pseudo-terminal, fault injection on the wire, and shutdown.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <thread>

#include "rpc_test_client.h"
#include "sim/simulator.h"
#include "test_support.h"

using namespace qvsimtest;
using qvtest::readFile;
using qvtest::TempDir;
using Clock = std::chrono::steady_clock;

namespace {

const std::string kIdn = "Tesselhorn,TKD-7,100123/007,4.40\n";

qv::sim::InstrumentConfig instrument(const std::string& profile = "TKD") {
    qv::sim::InstrumentConfig c;
    c.profile = profile;
    return c;
}

// One analyzer over VXI-11 only.
void startOneVxi11(qv::sim::Simulator& sim) {
    qv::sim::SimulatorConfig cfg;
    auto a = instrument();
    a.vxi11 = true;
    cfg.instruments = {a};
    std::string error;
    ASSERT_TRUE(sim.start(cfg, error)) << error;
}

class Running : public ::testing::Test {
protected:
    void SetUp() override {
        auto a = instrument();
        a.socketPort = 0;
        a.vxi11 = true;
        a.logFile = logDir.file("log");
        auto b = instrument("KDC");
        b.vxi11 = true;
        cfg.instruments = {a, b};
        cfg.portmapperPort = 0;
        std::string error;
        ASSERT_TRUE(sim.start(cfg, error)) << error;
    }
    std::string log() { return readFile(logDir.file("log")); }

    TempDir logDir;
    qv::sim::SimulatorConfig cfg;
    qv::sim::Simulator sim;
};

// --- raw socket ------------------------------------------------------------

TEST_F(Running, SocketAnswersEachMessageAsItComes) {
    int fd = connectTcp(sim.socketPort(0));
    ASSERT_GE(fd, 0);
    ASSERT_TRUE(sendAll(fd, "*IDN?\n"));
    EXPECT_EQ(recvLine(fd), kIdn);
    // Two messages in one segment: two answers, nothing interrupted.
    ASSERT_TRUE(sendAll(fd, "*IDN?\n*OPC?\n:SYST:ERR?\n"));
    EXPECT_EQ(recvLine(fd), kIdn);
    EXPECT_EQ(recvLine(fd), "1\n");
    EXPECT_EQ(recvLine(fd), "0,\"No error\"\n");
    ::close(fd);
    EXPECT_EQ(sim.socketPort(1), -1);
}

TEST_F(Running, SocketMovesLargeFilesBothWays) {
    std::string payload(size_t(6) << 20, '\0');
    for (size_t i = 0; i < payload.size(); ++i) payload[i] = char((i * 131) >> 7);
    int fd = connectTcp(sim.socketPort(0));
    ASSERT_TRUE(sendAll(fd, "MMEM:DATA 'big.bin',#7" + std::to_string(payload.size()) + payload + "\n*OPC?\n"));
    EXPECT_EQ(recvLine(fd, 10000), "1\n");
    ASSERT_TRUE(sendAll(fd, "MMEM:DATA? 'big.bin'\n"));
    std::string expect = "#7" + std::to_string(payload.size()) + payload + "\n";
    std::string got = recvFor(fd, expect.size(), 10000);
    EXPECT_TRUE(got == expect) << "got " << got.size() << " bytes";
    ::close(fd);
    // The log abbreviates the upload.
    EXPECT_NE(log().find("MMEM:DATA 'big.bin',#76291456"), std::string::npos);
}

TEST_F(Running, DropFaultClosesAfterThatManyBytes) {
    std::string error;
    ASSERT_TRUE(sim.instrument(0)->addFault("drop=10@*IDN?", error)) << error;
    int fd = connectTcp(sim.socketPort(0));
    ASSERT_TRUE(sendAll(fd, "*OPC?\n"));
    EXPECT_EQ(recvLine(fd), "1\n");
    ASSERT_TRUE(sendAll(fd, "*IDN?\n"));
    EXPECT_EQ(recvFor(fd, 1000, 2000), kIdn.substr(0, 10));  // then EOF, long before the timeout
    char c;
    EXPECT_EQ(::recv(fd, &c, 1, 0), 0);
    ::close(fd);
}

TEST_F(Running, SilentFaultNeverAnswersButKeepsTheConnection) {
    int fd = connectTcp(sim.socketPort(0));
    ASSERT_TRUE(sendAll(fd, "SYST:SIM:FAUL 'silent@*IDN?'\n*IDN?\n"));
    EXPECT_EQ(recvFor(fd, 1, 300), "");
    ASSERT_TRUE(sendAll(fd, "*OPC?\n"));
    EXPECT_EQ(recvLine(fd), "1\n");
    ::close(fd);
}

TEST_F(Running, DelayFaultHoldsTheAnswer) {
    int fd = connectTcp(sim.socketPort(0));
    ASSERT_TRUE(sendAll(fd, "SYST:SIM:FAUL 'delay=200'\n"));
    auto t0 = Clock::now();
    ASSERT_TRUE(sendAll(fd, "*OPC?\n"));
    EXPECT_EQ(recvLine(fd), "1\n");
    EXPECT_GE(Clock::now() - t0, std::chrono::milliseconds(200));
    ::close(fd);
}

// --- VXI-11 ---------------------------------------------------------------

TEST_F(Running, Vxi11LinkWriteReadStatusUnlink) {
    Vxi11Client v(sim.vxi11Port(0));
    ASSERT_TRUE(v.rpc.connected());
    int32_t lid = 0;
    uint32_t maxRecv = 0;
    ASSERT_EQ(v.createLink("inst0", lid, &maxRecv), 0);
    EXPECT_NE(lid, 0);
    EXPECT_EQ(maxRecv, 1048576u);
    uint32_t written = 0;
    EXPECT_EQ(v.write(lid, "*IDN?\n", true, &written), 0);
    EXPECT_EQ(written, 6u);
    uint8_t stb = 0;
    EXPECT_EQ(v.readStb(lid, stb), 0);
    EXPECT_EQ(stb & 0x10, 0x10);  // an answer waits
    std::string data;
    uint32_t reason = 0;
    EXPECT_EQ(v.read(lid, 1024, 1000, data, reason), 0);
    EXPECT_EQ(data, kIdn);
    EXPECT_EQ(reason, qv::vxi11::kReasonEnd);
    EXPECT_EQ(v.readStb(lid, stb), 0);
    EXPECT_EQ(stb & 0x10, 0);
    EXPECT_EQ(v.generic(qv::vxi11::kDeviceRemote, lid), 0);
    EXPECT_TRUE(sim.instrument(0)->remote());
    EXPECT_EQ(v.generic(qv::vxi11::kDeviceLocal, lid), 0);
    EXPECT_FALSE(sim.instrument(0)->remote());
    EXPECT_EQ(v.generic(qv::vxi11::kDeviceClear, lid), 0);
    EXPECT_EQ(v.generic(qv::vxi11::kDeviceTrigger, lid), 0);
    EXPECT_EQ(v.linkOnly(qv::vxi11::kDestroyLink, lid), 0);
    EXPECT_EQ(v.write(lid, "*IDN?\n"), qv::vxi11::kInvalidLinkId);
    EXPECT_EQ(log(), "@link inst0\n*IDN?\n@readstb\n@readstb\n@remote\n@local\n@clear\n@trigger\n@unlink\n");
}

TEST_F(Running, Vxi11ReadHonoursRequestSizeTermCharAndTimeout) {
    Vxi11Client v(sim.vxi11Port(0));
    int32_t lid = 0;
    ASSERT_EQ(v.createLink("inst0", lid), 0);
    std::string data, all;
    uint32_t reason = 0;
    // A message may arrive in pieces; it runs until END.
    ASSERT_EQ(v.write(lid, "*IDN?;", false), 0);
    ASSERT_EQ(v.write(lid, "*OPC?", true), 0);
    ASSERT_EQ(v.read(lid, 10, 1000, data, reason), 0);
    EXPECT_EQ(data, kIdn.substr(0, 10));
    EXPECT_EQ(reason, qv::vxi11::kReasonReqCnt);
    ASSERT_EQ(v.read(lid, 1000, 1000, data, reason, ';'), 0);
    EXPECT_EQ(data, kIdn.substr(10, kIdn.size() - 11) + ";");
    EXPECT_EQ(reason, qv::vxi11::kReasonChr);
    ASSERT_EQ(v.read(lid, 1000, 1000, data, reason, ';'), 0);
    EXPECT_EQ(data, "1\n");
    EXPECT_EQ(reason, qv::vxi11::kReasonEnd);
    // Nothing to read: a timeout after io_timeout, and -420 in the queue.
    auto t0 = Clock::now();
    EXPECT_EQ(v.read(lid, 1000, 100, data, reason), qv::vxi11::kIoTimeout);
    EXPECT_GE(Clock::now() - t0, std::chrono::milliseconds(100));
    auto q = sim.instrument(0)->errorQueue();
    ASSERT_EQ(q.size(), 1u);
    EXPECT_EQ(q[0].code, -420);
}

TEST_F(Running, Vxi11SlicesAFileAnswerByRequestSize) {
    std::string payload(100000, '\0');
    for (size_t i = 0; i < payload.size(); ++i) payload[i] = char(i * 7 + 1);  // '~' every 256 bytes
    qvtest::writeFile(sim.instrument(0)->rootPath() + "/D/f.bin", payload);
    Vxi11Client v(sim.vxi11Port(0));
    int32_t lid = 0;
    ASSERT_EQ(v.createLink("inst0", lid), 0);
    ASSERT_EQ(v.write(lid, "MMEM:DATA? 'f.bin'\n"), 0);
    std::string all, data;
    uint32_t reason = 0;
    int reads = 0;
    do {
        ASSERT_EQ(v.read(lid, 4096, 1000, data, reason, reads == 3 ? '~' : -1), 0);
        all += data;
        ++reads;
        if (reads == 4) {
            EXPECT_EQ(reason, qv::vxi11::kReasonChr);  // the term char inside the file
            EXPECT_EQ(all.back(), '~');
        } else if (!(reason & qv::vxi11::kReasonEnd)) {
            EXPECT_EQ(reason, qv::vxi11::kReasonReqCnt);
        }
    } while (!(reason & qv::vxi11::kReasonEnd) && reads < 100);
    EXPECT_EQ(all, "#6100000" + payload + "\n");
}

TEST_F(Running, Vxi11DelayedAnswerTimesOutThenArrives) {
    Vxi11Client v(sim.vxi11Port(0));
    int32_t lid = 0;
    ASSERT_EQ(v.createLink("inst0", lid), 0);
    ASSERT_EQ(v.write(lid, "SYST:SIM:FAUL 'delay=300@*OPC?'\n"), 0);
    ASSERT_EQ(v.write(lid, "*OPC?\n"), 0);
    std::string data;
    uint32_t reason = 0;
    EXPECT_EQ(v.read(lid, 100, 50, data, reason), qv::vxi11::kIoTimeout);
    EXPECT_EQ(v.read(lid, 100, 2000, data, reason), 0);
    EXPECT_EQ(data, "1\n");
    EXPECT_TRUE(sim.instrument(0)->errorQueue().empty());  // waiting for a late answer is no -420
}

// A query the network analyzer refuses (a channel it does not have)
// leaves nothing to read: the read times out and the next answer is clean.
TEST_F(Running, Vxi11RefusedQueryLeavesNothingToRead) {
    Vxi11Client v(sim.vxi11Port(1));
    int32_t lid = 0;
    ASSERT_EQ(v.createLink("inst1", lid), 0);
    ASSERT_EQ(v.write(lid, "CALC3:PAR:CAT?\n"), 0);
    std::string data;
    uint32_t reason = 0;
    EXPECT_EQ(v.read(lid, 1000, 100, data, reason), qv::vxi11::kIoTimeout);
    EXPECT_EQ(data, "");
    ASSERT_EQ(v.write(lid, "CALC1:PAR:CAT?\n"), 0);
    EXPECT_EQ(v.read(lid, 1000, 1000, data, reason), 0);
    EXPECT_EQ(data, "'Trc1,S21,Trc2,S11'\n");
    // The read with nothing to answer counts as unterminated, as it would anyway.
    auto errors = sim.instrument(1)->errorQueue();
    ASSERT_EQ(errors.size(), 2u);
    EXPECT_EQ(errors[0].code, -114);
    EXPECT_EQ(errors[1].code, -420);
}

TEST_F(Running, Vxi11DropFaultClosesTheConnection) {
    Vxi11Client v(sim.vxi11Port(0));
    int32_t lid = 0;
    ASSERT_EQ(v.createLink("inst0", lid), 0);
    ASSERT_EQ(v.write(lid, "SYST:SIM:FAUL 'drop=5@*IDN?'\n*IDN?\n"), 0);
    std::string data;
    uint32_t reason = 0;
    EXPECT_EQ(v.read(lid, 1000, 1000, data, reason), 0);
    EXPECT_EQ(data, kIdn.substr(0, 5));
    EXPECT_EQ(reason, 0u);
    char c;
    EXPECT_EQ(::recv(v.rpc.fd(), &c, 1, 0), 0);
}

TEST_F(Running, Vxi11DeviceNamesSelectInstrumentsOfTheAddress) {
    Vxi11Client v(sim.vxi11Port(1));  // any VXI-11 port of the address serves all of them
    int32_t lid0 = 0, lid1 = 0, bad = 0;
    ASSERT_EQ(v.createLink("inst1", lid1), 0);
    ASSERT_EQ(v.createLink("inst0", lid0), 0);
    EXPECT_NE(lid0, lid1);
    for (const char* name : {"inst2", "gpib0,1", "hislip0", "inst", "instX", ""})
        EXPECT_EQ(v.createLink(name, bad), qv::vxi11::kDeviceNotAccessible) << name;
    std::string data;
    uint32_t reason = 0;
    ASSERT_EQ(v.write(lid1, "*IDN?\n"), 0);
    ASSERT_EQ(v.read(lid1, 1000, 1000, data, reason), 0);
    EXPECT_EQ(data.substr(0, 15), "Tesselhorn,KDC-");
    ASSERT_EQ(v.write(lid0, "*IDN?\n"), 0);
    ASSERT_EQ(v.read(lid0, 1000, 1000, data, reason), 0);
    EXPECT_EQ(data, kIdn);
}

TEST_F(Running, Vxi11LockKeepsOtherLinksOut) {
    Vxi11Client a(sim.vxi11Port(0)), b(sim.vxi11Port(0));
    int32_t la = 0, lb = 0;
    ASSERT_EQ(a.createLink("inst0", la), 0);
    ASSERT_EQ(b.createLink("inst0", lb), 0);
    EXPECT_EQ(a.lock(la), 0);
    EXPECT_EQ(b.write(lb, "*CLS\n"), qv::vxi11::kDeviceLocked);
    EXPECT_EQ(b.lock(lb), qv::vxi11::kDeviceLocked);
    EXPECT_EQ(b.linkOnly(qv::vxi11::kDeviceUnlock, lb), qv::vxi11::kNoLockHeld);
    EXPECT_EQ(a.write(la, "*CLS\n"), 0);
    EXPECT_EQ(a.linkOnly(qv::vxi11::kDeviceUnlock, la), 0);
    EXPECT_EQ(b.write(lb, "*CLS\n"), 0);
    // A lock goes with its connection.
    EXPECT_EQ(b.lock(lb), 0);
    ::shutdown(b.rpc.fd(), SHUT_RDWR);
    for (int i = 0; i < 100 && sim.instrument(0)->lockOwner() != 0; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_EQ(sim.instrument(0)->lockOwner(), 0);
}

struct RpcFault {
    uint32_t prog, vers, proc;
    bool truncateArgs;
    uint32_t acceptStat;
};
class Vxi11Rpc : public ::testing::TestWithParam<RpcFault> {};

TEST_P(Vxi11Rpc, MalformedCallsGetTheRightReply) {
    qv::sim::Simulator sim;
    ASSERT_NO_FATAL_FAILURE(startOneVxi11(sim));
    RpcClient c(sim.vxi11Port(0));
    qv::rpc::Bytes args, res;
    qv::rpc::XdrWriter w(args);
    qv::vxi11::encode(w, qv::vxi11::CreateLinkParms{0, false, 0, "inst0"});
    if (GetParam().truncateArgs) args.resize(6);
    qv::rpc::ReplyHeader h;
    ASSERT_TRUE(c.call(GetParam().prog, GetParam().vers, GetParam().proc, args, h, res));
    EXPECT_TRUE(h.accepted);
    EXPECT_EQ(h.acceptStat, GetParam().acceptStat);
    // The connection survives a refused call.
    ASSERT_TRUE(c.call(qv::vxi11::kCoreProg, 1, 0, {}, h, res));
    EXPECT_EQ(h.acceptStat, qv::rpc::kSuccess);
}

INSTANTIATE_TEST_SUITE_P(Calls, Vxi11Rpc,
                         ::testing::Values(RpcFault{0x0607AF, 1, 10, false, qv::rpc::kSuccess},
                                           RpcFault{0x0607B0, 1, 10, false, qv::rpc::kProgUnavail},
                                           RpcFault{0x0607AF, 2, 10, false, qv::rpc::kProgMismatch},
                                           RpcFault{0x0607AF, 1, 99, false, qv::rpc::kProcUnavail},
                                           RpcFault{0x0607AF, 1, 10, true, qv::rpc::kGarbageArgs}));

TEST(Vxi11Records, OversizedRecordIsRefused) {
    qv::sim::Simulator sim;
    ASSERT_NO_FATAL_FAILURE(startOneVxi11(sim));
    int fd = connectTcp(sim.vxi11Port(0));
    uint8_t hdr[4];
    qv::rpc::putFragmentHeader(hdr, 0x7FFFFFF0u, true);  // 2 GiB announced
    ASSERT_TRUE(sendAll(fd, std::string(reinterpret_cast<char*>(hdr), 4)));
    char c;
    pollfd p{fd, POLLIN, 0};
    ASSERT_EQ(::poll(&p, 1, 2000), 1);
    EXPECT_EQ(::recv(fd, &c, 1, 0), 0);  // closed at once, nothing allocated
    ::close(fd);
}

// --- port mapper ------------------------------------------------------------

TEST_F(Running, PortmapperGivesTheFirstVxi11PortOverTcpAndUdp) {
    ASSERT_GT(sim.portmapperPort(), 0);
    auto getport = [](uint32_t prog, uint32_t vers, uint32_t prot) {
        qv::rpc::Bytes a;
        qv::rpc::XdrWriter w(a);
        qv::rpc::encodeMapping(w, {prog, vers, prot, 0});
        return a;
    };
    RpcClient c(sim.portmapperPort());
    qv::rpc::ReplyHeader h;
    qv::rpc::Bytes res;
    ASSERT_TRUE(c.call(100000, 2, 3, getport(0x0607AF, 1, 6), h, res));
    qv::rpc::XdrReader r(res);
    EXPECT_EQ(int(r.u32()), sim.vxi11Port(0));
    ASSERT_TRUE(c.call(100000, 2, 3, getport(0x0607AF, 1, 17), h, res));
    EXPECT_EQ(qv::rpc::getBE32(res.data()), 0u);  // no UDP service
    ASSERT_TRUE(c.call(100000, 2, 3, getport(100003, 3, 6), h, res));
    EXPECT_EQ(qv::rpc::getBE32(res.data()), 0u);

    // The same over UDP, on the same port number.
    int u = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(uint16_t(sim.portmapperPort()));
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    qv::rpc::Bytes msg;
    qv::rpc::XdrWriter w(msg);
    qv::rpc::encodeCall(w, {77, 100000, 2, 3});
    auto args = getport(0x0607AF, 1, 6);
    msg.insert(msg.end(), args.begin(), args.end());
    ASSERT_EQ(::sendto(u, msg.data(), msg.size(), 0, reinterpret_cast<sockaddr*>(&to), sizeof to), ssize_t(msg.size()));
    pollfd p{u, POLLIN, 0};
    ASSERT_EQ(::poll(&p, 1, 2000), 1);
    uint8_t buf[512];
    ssize_t n = ::recv(u, buf, sizeof buf, 0);
    qv::rpc::XdrReader ur(buf, size_t(n));
    qv::rpc::ReplyHeader uh;
    ASSERT_TRUE(qv::rpc::decodeReply(ur, uh));
    EXPECT_EQ(uh.xid, 77u);
    EXPECT_EQ(int(ur.u32()), sim.vxi11Port(0));
    ::close(u);
}

// --- shutdown ---------------------------------------------------------------

TEST(Shutdown, StopReturnsPromptlyWithBusyClients) {
    qv::sim::SimulatorConfig cfg;
    auto a = instrument();
    a.socketPort = 0;
    a.vxi11 = true;
    cfg.instruments = {a};
    auto sim = std::make_unique<qv::sim::Simulator>();
    std::string error;
    ASSERT_TRUE(sim->start(cfg, error)) << error;
    std::string root = sim->instrument(0)->rootPath();
    int idle = connectTcp(sim->socketPort(0));
    int slow = connectTcp(sim->socketPort(0));
    ASSERT_TRUE(sendAll(slow, "SYST:SIM:FAUL 'delay=60000@*OPC?'\n*OPC?\n"));
    Vxi11Client v(sim->vxi11Port(0));
    int32_t lid = 0;
    ASSERT_EQ(v.createLink("inst0", lid), 0);
    // A read that would wait a minute for an answer.
    std::thread reader([&] {
        std::string d;
        uint32_t r;
        v.read(lid, 100, 60000, d, r);
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    auto t0 = Clock::now();
    sim->stop();
    EXPECT_LT(Clock::now() - t0, std::chrono::seconds(1));
    reader.join();
    EXPECT_FALSE(std::filesystem::exists(root));
    char c;
    EXPECT_EQ(::recv(idle, &c, 1, 0), 0);
    ::close(idle);
    ::close(slow);
}

TEST(Start, RefusesWhatItCannotServe) {
    struct Case {
        const char* why;
        std::function<void(qv::sim::SimulatorConfig&)> change;
    };
    std::vector<Case> cases = {
        {"non-loopback address", [](auto& c) { c.instruments[0].address = "10.1.2.3"; }},
        {"unknown profile", [](auto& c) { c.instruments[0].profile = "NOPE"; }},
        {"rpcbind without VXI-11", [](auto& c) { c.rpcbind = true; }},
        {"both port mappers", [](auto& c) {
             c.rpcbind = true;
             c.portmapperPort = 0;
         }},
        {"no instrument", [](auto& c) { c.instruments.clear(); }},
    };
    for (const auto& k : cases) {
        qv::sim::SimulatorConfig cfg;
        cfg.instruments = {instrument()};
        k.change(cfg);
        qv::sim::Simulator sim;
        std::string error;
        EXPECT_FALSE(sim.start(cfg, error)) << k.why;
        EXPECT_FALSE(error.empty()) << k.why;
    }
    // A port in use is reported, not fought over.
    qv::sim::SimulatorConfig cfg;
    cfg.instruments = {instrument()};
    qv::sim::Simulator first, second;
    std::string error;
    ASSERT_TRUE(first.start(cfg, error));
    cfg.instruments[0].socketPort = first.socketPort(0);
    EXPECT_FALSE(second.start(cfg, error));
    EXPECT_NE(error.find("cannot listen"), std::string::npos) << error;
}

TEST(Start, SecondAddressGetsItsOwnListeners) {
    qv::sim::SimulatorConfig cfg;
    auto a = instrument();
    a.vxi11 = true;
    auto b = instrument("GLN");
    b.vxi11 = true;
    b.address = "127.0.0.2";
    cfg.instruments = {a, b};
    cfg.portmapperPort = 0;
    qv::sim::Simulator sim;
    std::string error;
    ASSERT_TRUE(sim.start(cfg, error)) << error;
    int fd = connectTcp(sim.vxi11Port(1), "127.0.0.2");
    ASSERT_GE(fd, 0);
    ::close(fd);
    EXPECT_LT(connectTcp(sim.vxi11Port(1), "127.0.0.1"), 0);
    // Each address has its port mapper, pointing at its own first VXI-11
    // instrument, and "inst0" there is that instrument.
    for (int i : {0, 1}) {
        const char* addr = i ? "127.0.0.2" : "127.0.0.1";
        int pm = connectTcp(sim.portmapperPort(), addr);
        ASSERT_GE(pm, 0) << addr;
        qv::rpc::Bytes msg(4, 0);
        qv::rpc::XdrWriter w(msg);
        qv::rpc::encodeCall(w, {9, 100000, 2, 3});
        qv::rpc::encodeMapping(w, {0x0607AF, 1, 6, 0});
        qv::rpc::putFragmentHeader(msg.data(), uint32_t(msg.size() - 4), true);
        ASSERT_TRUE(sendAll(pm, std::string(msg.begin(), msg.end())));
        std::string reply = recvFor(pm, 4 + 24 + 4, 2000);
        ASSERT_EQ(reply.size(), 32u);
        EXPECT_EQ(int(qv::rpc::getBE32(reinterpret_cast<const uint8_t*>(reply.data()) + 28)), sim.vxi11Port(i)) << addr;
        ::close(pm);
    }
    Vxi11Client g(sim.vxi11Port(1), "127.0.0.2");
    int32_t lid = 0;
    EXPECT_EQ(g.createLink("inst1", lid), qv::vxi11::kDeviceNotAccessible);
    ASSERT_EQ(g.createLink("inst0", lid), 0);
    ASSERT_EQ(g.write(lid, "*IDN?\n"), 0);
    std::string data;
    uint32_t reason = 0;
    ASSERT_EQ(g.read(lid, 1000, 1000, data, reason), 0);
    EXPECT_EQ(data.substr(0, 15), "Tesselhorn,GLN-");
}

// --- pseudo-terminal --------------------------------------------------------

TEST(Pty, SerialLineFramesLikeTheSocket) {
    qv::sim::SimulatorConfig cfg;
    auto a = instrument();
    a.pty = true;
    cfg.instruments = {a};
    qv::sim::Simulator sim;
    std::string error;
    ASSERT_TRUE(sim.start(cfg, error)) << error;
    ASSERT_EQ(sim.socketPort(0), -1);
    std::string path = sim.ptyPath(0);
    ASSERT_EQ(path.rfind("/dev/pts/", 0), 0u) << path;
    int fd = ::open(path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    ASSERT_GE(fd, 0);
    termios t{};
    ::tcgetattr(fd, &t);
    ::cfmakeraw(&t);
    ::tcsetattr(fd, TCSANOW, &t);
    std::string msg = "MMEM:DATA 'p.bin',#13a\nb\n*IDN?\n";
    ASSERT_EQ(::write(fd, msg.data(), msg.size()), ssize_t(msg.size()));
    std::string got;
    char buf[256];
    while (got.find('\n') == std::string::npos) {
        pollfd p{fd, POLLIN, 0};
        if (::poll(&p, 1, 2000) <= 0) break;
        ssize_t n = ::read(fd, buf, sizeof buf);
        if (n <= 0) break;
        got.append(buf, size_t(n));
    }
    EXPECT_EQ(got, kIdn);
    EXPECT_EQ(readFile(sim.instrument(0)->rootPath() + "/D/p.bin"), "a\nb");
    ::close(fd);
}

}  // namespace
