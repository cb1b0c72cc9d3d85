// The VISA layer against the simulated instrument, over real loopback
// connections: what a user of viRead, viWrite and friends relies on.
#include "instrument_io/visa/visa.h"
#include "test_support.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <random>
#include <thread>

using namespace qvtest;
using Clock = std::chrono::steady_clock;

namespace {

enum class Transport { Socket, Vxi11 };

std::string name(Transport t) { return t == Transport::Socket ? "Socket" : "Vxi11"; }

// One simulator for the whole suite; each test opens its own sessions.
class SimEnv {
public:
    static SimEnv& get() {
        static SimEnv env;
        return env;
    }
    SimProcess sim;
    TempDir root;
    std::string log;
    std::string startError;

private:
    SimEnv() {
        log = root.file("wire.log");
        sim.start({"--profile", "TKD", "--socket-port", "0", "--vxi11", "--portmapper-port", "0", "--root",
                   root.path(), "--log", log},
                  &startError);
        if (sim.running()) setenv("QUILVANE_PORTMAPPER_PORT", std::to_string(sim.portmapperPort()).c_str(), 1);
    }
};

class Session {
public:
    explicit Session(const std::string& res, uint32_t tmo = 2000) {
        viOpenDefaultRM(&rm);
        status = viOpen(rm, res.c_str(), VI_NULL, 2000, &vi);
        if (status >= 0) viSetAttribute(vi, VI_ATTR_TMO_VALUE, tmo);
    }
    ~Session() {
        if (vi) viClose(vi);
        viClose(rm);
    }
    ViStatus write(const std::string& s) {
        ViUInt32 n = 0;
        return viWrite(vi, reinterpret_cast<ViConstBuf>(s.data()), ViUInt32(s.size()), &n);
    }
    ViStatus read(std::string& out, uint32_t count = 4096) {
        out.assign(count, '\0');
        ViUInt32 n = 0;
        ViStatus s = viRead(vi, reinterpret_cast<ViBuf>(out.data()), count, &n);
        out.resize(n);
        return s;
    }
    std::string query(const std::string& cmd) {
        std::string out;
        if (write(cmd + "\n") < 0 || read(out) < 0) return "<failed>";
        while (!out.empty() && out.back() == '\n') out.pop_back();
        return out;
    }
    ViSession rm = 0, vi = 0;
    ViStatus status = VI_SUCCESS;
};

std::string randomBytes(size_t n, unsigned seed) {
    std::mt19937 gen(seed);
    std::string s(n, '\0');
    for (auto& c : s) c = char(gen() & 0xFF);
    // Plenty of terminators inside, which must not end anything.
    for (size_t i = 0; i < n; i += 97) s[i] = '\n';
    return s;
}

long msSince(Clock::time_point t0) {
    return long(std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - t0).count());
}

}  // namespace

class VisaSim : public ::testing::TestWithParam<Transport> {
protected:
    void SetUp() override {
        auto& env = SimEnv::get();
        ASSERT_TRUE(env.sim.running()) << env.startError;
    }
    std::string resource() const {
        auto& env = SimEnv::get();
        return GetParam() == Transport::Socket ? env.sim.socketResource() : env.sim.vxi11Resource();
    }
    // Puts a file into the simulator's storage over the wire.
    void store(Session& s, const std::string& fileName, const std::string& data) {
        std::string len = std::to_string(data.size());
        ASSERT_GE(s.write("MMEM:DATA '" + fileName + "',#" + std::to_string(len.size()) + len + data + "\n"), 0);
        EXPECT_EQ(s.query("SYST:ERR?"), "0,\"No error\"");
    }
};

TEST_P(VisaSim, QueryAnswersEndAtTheTerminator) {
    Session s(resource());
    ASSERT_EQ(s.status, VI_SUCCESS);
    EXPECT_EQ(s.query("*IDN?").rfind("Tesselhorn,TKD-", 0), 0u);
    std::string out;
    ASSERT_GE(s.write("*IDN?;*OPC?\n"), 0);
    // A buffer smaller than the answer: the rest waits for the next read.
    ASSERT_EQ(s.read(out, 10), VI_SUCCESS_MAX_CNT);
    EXPECT_EQ(out, "Tesselhorn");
    ViStatus st = s.read(out);
    EXPECT_GE(st, 0);
    EXPECT_EQ(out.substr(out.size() - 3), ";1\n");
}

TEST_P(VisaSim, BlockReadByLengthThenByOverlongCount) {
    Session s(resource());
    ASSERT_EQ(s.status, VI_SUCCESS);
    TempDir local;
    for (size_t size : {size_t(0), size_t(1), size_t(5000), size_t(300000)}) {
        std::string data = randomBytes(size, unsigned(size));
        store(s, "blk.bin", data);
        ASSERT_GE(s.write("MMEM:DATA? 'blk.bin'\n"), 0);
        std::string head;
        ASSERT_GE(s.read(head, 2), 0);
        ASSERT_EQ(head[0], '#');
        std::string digits;
        ASSERT_GE(s.read(digits, unsigned(head[1] - '0')), 0);
        ASSERT_EQ(std::stoul(digits), size);
        std::string file = local.file("out.bin");
        ViUInt32 got = 0;
        // Ten bytes more than announced: the read ends with the terminator.
        ViStatus st = viReadToFile(s.vi, file.c_str(), ViUInt32(size + 10), &got);
        EXPECT_GE(st, 0) << size;
        EXPECT_EQ(got, size + 1) << size;
        EXPECT_EQ(readFile(file), data + "\n") << size;
    }
    // Read by its exact length, the terminator stays behind and must not
    // spoil the next answer.
    store(s, "blk.bin", "ab\ncd");
    ASSERT_GE(s.write("MMEM:DATA? 'blk.bin'\n"), 0);
    std::string out;
    ASSERT_GE(s.read(out, 3), 0);
    ASSERT_EQ(out, "#15");
    ASSERT_GE(s.read(out, 5), 0);
    EXPECT_EQ(out, "ab\ncd");
    EXPECT_EQ(s.query("*OPC?"), "1");
}

TEST_P(VisaSim, WriteFromFileSendsABlockTheInstrumentStores) {
    Session s(resource());
    ASSERT_EQ(s.status, VI_SUCCESS);
    TempDir local;
    std::string data = randomBytes(2'500'000, 7);  // more than one VXI-11 write
    ASSERT_TRUE(writeFile(local.file("src.bin"), data));
    std::string len = std::to_string(data.size());
    ASSERT_EQ(viSetAttribute(s.vi, VI_ATTR_SEND_END_EN, VI_FALSE), VI_SUCCESS);
    ASSERT_GE(s.write("MMEM:DATA 'up.bin',#" + std::to_string(len.size()) + len), 0);
    ViUInt32 n = 0;
    ASSERT_GE(viWriteFromFile(s.vi, local.file("src.bin").c_str(), ViUInt32(data.size()), &n), 0);
    EXPECT_EQ(n, data.size());
    ASSERT_EQ(viSetAttribute(s.vi, VI_ATTR_SEND_END_EN, VI_TRUE), VI_SUCCESS);
    ASSERT_GE(s.write("\n"), 0);
    EXPECT_EQ(s.query("SYST:ERR?"), "0,\"No error\"");
    // Read back over the wire: what the instrument stored is what we sent.
    ASSERT_GE(s.write("MMEM:DATA? 'up.bin'\n"), 0);
    std::string head;
    ASSERT_GE(s.read(head, 9), 0);
    EXPECT_EQ(head, "#72500000");
    ViUInt32 got = 0;
    EXPECT_GE(viReadToFile(s.vi, local.file("back.bin").c_str(), ViUInt32(data.size()), &got), 0);
    EXPECT_EQ(got, data.size());
    EXPECT_TRUE(readFile(local.file("back.bin")) == data);
}

TEST_P(VisaSim, StatusByteShowsTheErrorQueue) {
    Session s(resource());
    ASSERT_EQ(s.status, VI_SUCCESS);
    ASSERT_GE(s.write("*CLS\n"), 0);
    ViUInt16 stb = 0xFF;
    ASSERT_EQ(viReadSTB(s.vi, &stb), VI_SUCCESS);
    EXPECT_EQ(stb & 4, 0);
    ASSERT_GE(s.write("NOSUCH:HEADER\n"), 0);
    ASSERT_EQ(viReadSTB(s.vi, &stb), VI_SUCCESS);
    EXPECT_EQ(stb & 4, 4);
    EXPECT_EQ(s.query("SYST:ERR?"), "-113,\"Undefined header\"");
}

TEST_P(VisaSim, TimeoutHoldsWithinTwentyPercent) {
    Session s(resource(), 400);
    ASSERT_EQ(s.status, VI_SUCCESS);
    ASSERT_GE(s.write("SYST:SIM:FAULT \"silent@*TST?\"\n"), 0);
    ASSERT_GE(s.write("*TST?\n"), 0);
    std::string out;
    auto t0 = Clock::now();
    EXPECT_EQ(s.read(out), VI_ERROR_TMO);
    long ms = msSince(t0);
    EXPECT_GE(ms, 400);
    EXPECT_LE(ms, 480);
    s.write("SYST:SIM:FAULT:CLEAR\n");
}

TEST_P(VisaSim, PeerDroppingMidBlockFailsInTime) {
    Session s(resource(), 1500);
    ASSERT_EQ(s.status, VI_SUCCESS);
    store(s, "drop.bin", randomBytes(200000, 3));
    ASSERT_GE(s.write("SYST:SIM:FAULT \"drop=1000@MMEM:DATA?\"\n"), 0);
    ASSERT_GE(s.write("MMEM:DATA? 'drop.bin'\n"), 0);
    TempDir local;
    std::string out;
    ASSERT_GE(s.read(out, 8), 0);
    ViUInt32 got = 0;
    auto t0 = Clock::now();
    ViStatus st = viReadToFile(s.vi, local.file("part.bin").c_str(), 200000, &got);
    EXPECT_TRUE(st == VI_ERROR_CONN_LOST || st == VI_ERROR_IO) << std::hex << st;
    EXPECT_LT(msSince(t0), 1500 * 12 / 10);
    EXPECT_LT(readFile(local.file("part.bin")).size(), 200000u);
}

TEST_P(VisaSim, ClearLeavesTheSessionUsable) {
    Session s(resource());
    ASSERT_EQ(s.status, VI_SUCCESS);
    ASSERT_GE(s.write("*IDN?\n"), 0);  // an answer nobody reads
    EXPECT_EQ(viClear(s.vi), VI_SUCCESS);
    EXPECT_EQ(s.query("*OPC?"), "1");
}

TEST_P(VisaSim, RemoteLocalReachesTheInstrumentOnlyOverVxi11) {
    Session s(resource());
    ASSERT_EQ(s.status, VI_SUCCESS);
    ViStatus st = viGpibControlREN(s.vi, VI_GPIB_REN_ADDRESS_GTL);
    if (GetParam() == Transport::Socket) {
        EXPECT_EQ(st, VI_ERROR_NSUP_OPER);
    } else {
        EXPECT_EQ(st, VI_SUCCESS);
        EXPECT_NE(readFile(SimEnv::get().log).find("@local"), std::string::npos);
    }
    EXPECT_EQ(viGpibControlREN(s.vi, 9), VI_ERROR_INV_MODE);
}

TEST_P(VisaSim, AttributesKeepTheirPublishedSizes) {
    Session s(resource());
    ASSERT_EQ(s.status, VI_SUCCESS);
    ViUInt32 tmo = 0;
    ASSERT_EQ(viGetAttribute(s.vi, VI_ATTR_TMO_VALUE, &tmo), VI_SUCCESS);
    EXPECT_EQ(tmo, 2000u);
    // Accepted on every session, though they mean something only on GPIB.
    EXPECT_EQ(viSetAttribute(s.vi, VI_ATTR_GPIB_READDR_EN, VI_FALSE), VI_SUCCESS);
    EXPECT_EQ(viSetAttribute(s.vi, VI_ATTR_GPIB_UNADDR_EN, VI_TRUE), VI_SUCCESS);
    ViUInt32 word = 0xFFFFFFFF;  // a 16-bit boolean lands in the low half
    ASSERT_EQ(viGetAttribute(s.vi, VI_ATTR_GPIB_READDR_EN, &word), VI_SUCCESS);
    EXPECT_EQ(word & 0xFFFF, 0u);
    EXPECT_EQ(viSetAttribute(s.vi, VI_ATTR_TERMCHAR_EN, 7), VI_ERROR_NSUP_ATTR_STATE);
    EXPECT_EQ(viSetAttribute(s.vi, VI_ATTR_INTF_TYPE, 1), VI_ERROR_ATTR_READONLY);
    EXPECT_EQ(viSetAttribute(s.vi, VI_ATTR_ASRL_BAUD, 9600), VI_ERROR_NSUP_ATTR);
    char nameBuf[VI_FIND_BUFLEN] = {};
    ASSERT_EQ(viGetAttribute(s.vi, VI_ATTR_RSRC_NAME, nameBuf), VI_SUCCESS);
    EXPECT_EQ(std::string(nameBuf), resource());
}

TEST_P(VisaSim, OpenCloseCyclesLeakNoDescriptor) {
    const int cycles = 10000;
    Session warm(resource());
    ASSERT_EQ(warm.status, VI_SUCCESS);
    int before = openDescriptorCount();
    ViSession rm = 0;
    ASSERT_EQ(viOpenDefaultRM(&rm), VI_SUCCESS);
    // Each cycle is what a user action does: open, serial poll, close.
    for (int i = 0; i < cycles; ++i) {
        ViSession vi = 0;
        ASSERT_EQ(viOpen(rm, resource().c_str(), VI_NULL, 2000, &vi), VI_SUCCESS) << "cycle " << i;
        ViUInt16 stb = 0;
        ASSERT_EQ(viReadSTB(vi, &stb), VI_SUCCESS) << "cycle " << i;
        ASSERT_EQ(viClose(vi), VI_SUCCESS);
    }
    viClose(rm);
    EXPECT_EQ(openDescriptorCount(), before);
}

INSTANTIATE_TEST_SUITE_P(Transports, VisaSim, ::testing::Values(Transport::Socket, Transport::Vxi11),
                         [](const auto& info) { return name(info.param); });

TEST(VisaOpen, RefusedAndBrokenResources) {
    ViSession rm = 0, vi = 0;
    ASSERT_EQ(viOpenDefaultRM(&rm), VI_SUCCESS);
    EXPECT_EQ(viOpen(rm, "NOT A RESOURCE", VI_NULL, 500, &vi), VI_ERROR_INV_RSRC_NAME);
    EXPECT_EQ(viOpen(rm, "TCPIP::127.0.0.1::1::SOCKET", VI_NULL, 500, &vi), VI_ERROR_RSRC_NFOUND);
    EXPECT_EQ(vi, VI_NULL);
    // No vendor library is loaded in the tests: GPIB cannot be served.
    unsetenv("QUILVANE_VISA_LIBRARY");
    EXPECT_EQ(viOpen(rm, "GPIB0::20::INSTR", VI_NULL, 500, &vi), VI_ERROR_RSRC_NFOUND);
    EXPECT_EQ(viOpen(rm, "TCPIP::127.0.0.1::1::SOCKET", 0x40, 500, &vi), VI_ERROR_INV_ACC_MODE);
    EXPECT_EQ(viClose(rm), VI_SUCCESS);
    EXPECT_EQ(viClose(rm), VI_ERROR_INV_OBJECT);
    EXPECT_EQ(viClose(VI_NULL), VI_WARN_NULL_OBJECT);
}

// A peer that accepts connections and never says a word: the open must end
// by its own time-out.
TEST(VisaOpen, SilentPortMapperEndsInTime) {
    int l = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(bind(l, reinterpret_cast<sockaddr*>(&a), sizeof a), 0);
    ASSERT_EQ(listen(l, 4), 0);
    socklen_t len = sizeof a;
    getsockname(l, reinterpret_cast<sockaddr*>(&a), &len);
    std::string saved = getenv("QUILVANE_PORTMAPPER_PORT") ? getenv("QUILVANE_PORTMAPPER_PORT") : "";
    setenv("QUILVANE_PORTMAPPER_PORT", std::to_string(ntohs(a.sin_port)).c_str(), 1);
    ViSession rm = 0, vi = 0;
    viOpenDefaultRM(&rm);
    auto t0 = Clock::now();
    EXPECT_EQ(viOpen(rm, "TCPIP::127.0.0.1::INSTR", VI_NULL, 300, &vi), VI_ERROR_TMO);
    long ms = msSince(t0);
    EXPECT_GE(ms, 300);
    EXPECT_LE(ms, 360);
    viClose(rm);
    close(l);
    if (saved.empty()) unsetenv("QUILVANE_PORTMAPPER_PORT");
    else setenv("QUILVANE_PORTMAPPER_PORT", saved.c_str(), 1);
}

TEST(VisaFind, ListsConfiguredResourcesByExpression) {
    setenv("QUILVANE_VISA_RESOURCES", "TCPIP0::127.0.0.1::inst0::INSTR;TCPIP0::127.0.0.1::5025::SOCKET;GPIB0::7::INSTR", 1);
    ViSession rm = 0;
    viOpenDefaultRM(&rm);
    ViFindList list = 0;
    ViUInt32 count = 0;
    char desc[VI_FIND_BUFLEN] = {};
    ASSERT_EQ(viFindRsrc(rm, "TCPIP?*", &list, &count, desc), VI_SUCCESS);
    EXPECT_EQ(count, 2u);
    EXPECT_STREQ(desc, "TCPIP0::127.0.0.1::inst0::INSTR");
    ASSERT_EQ(viFindNext(list, desc), VI_SUCCESS);
    EXPECT_STREQ(desc, "TCPIP0::127.0.0.1::5025::SOCKET");
    EXPECT_EQ(viFindNext(list, desc), VI_ERROR_RSRC_NFOUND);
    EXPECT_EQ(viFindRsrc(rm, "USB?*", &list, &count, desc), VI_ERROR_RSRC_NFOUND);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(viFindRsrc(rm, "(((", &list, &count, desc), VI_ERROR_INV_EXPR);
    viClose(rm);  // closes the find list with it
    EXPECT_EQ(viFindNext(list, desc), VI_ERROR_INV_OBJECT);
    unsetenv("QUILVANE_VISA_RESOURCES");
}

TEST(VisaSerial, PtyCarriesASession) {
    SimProcess sim;
    std::string err;
    ASSERT_TRUE(sim.start({"--profile", "GLN", "--pty"}, &err)) << err;
    ASSERT_FALSE(sim.ptyPath().empty());
    Session s("ASRL" + sim.ptyPath() + "::INSTR");
    ASSERT_EQ(s.status, VI_SUCCESS);
    EXPECT_EQ(viSetAttribute(s.vi, VI_ATTR_ASRL_BAUD, 115200), VI_SUCCESS);
    EXPECT_EQ(s.query("*IDN?").rfind("Tesselhorn,GLN-", 0), 0u);
    ViUInt16 stb = 0;
    EXPECT_EQ(viReadSTB(s.vi, &stb), VI_SUCCESS);
    // A block with terminators inside travels whole over the line.
    ASSERT_GE(s.write("FORM REAL,32;:SYST:SIM:POIN 300\n"), 0);
    ASSERT_GE(s.write("TRAC? TRACE1\n"), 0);
    std::string out;
    ASSERT_GE(s.read(out, 20000), 0);
    EXPECT_EQ(out.substr(0, 6), "#41200");
    EXPECT_EQ(out.size(), 6u + 1200u + 1u);
}
