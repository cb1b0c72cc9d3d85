// Which attributes each interface type has, which it refuses and how, on
// real sessions with the simulated instrument (socket, VXI-11, serial line).
#include "instrument_io/visa/visa.h"
#include "test_support.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

using namespace qvtest;

namespace {

enum Transport { Socket, Vxi11, Serial };

// Two simulators for the whole suite: one on the network, one on a pty.
struct Sims {
    static Sims& get() {
        static Sims s;
        return s;
    }
    SimProcess net, line;
    std::string error;

private:
    Sims() {
        if (net.start({"--profile", "TKD", "--socket-port", "0", "--vxi11", "--portmapper-port", "0"}, &error))
            setenv("QUILVANE_PORTMAPPER_PORT", std::to_string(net.portmapperPort()).c_str(), 1);
        line.start({"--profile", "GLN", "--pty"}, &error);
    }
};

constexpr ViStatus OK = VI_SUCCESS;
constexpr ViStatus NSUP = VI_ERROR_NSUP_ATTR;
constexpr ViStatus RO = VI_ERROR_ATTR_READONLY;
constexpr ViStatus BAD = VI_ERROR_NSUP_ATTR_STATE;

struct Row {
    ViAttr attr;
    const char* name;
    ViAttrState value;  // what the set tries
    ViStatus get[3];    // socket, VXI-11, serial
    ViStatus set[3];
};

const Row kRows[] = {
    // Every session has these.
    {VI_ATTR_TMO_VALUE, "TMO_VALUE", 1500, {OK, OK, OK}, {OK, OK, OK}},
    {VI_ATTR_TERMCHAR, "TERMCHAR", 0x100, {OK, OK, OK}, {BAD, BAD, BAD}},
    {VI_ATTR_SEND_END_EN, "SEND_END_EN", 2, {OK, OK, OK}, {BAD, BAD, BAD}},
    {VI_ATTR_GPIB_UNADDR_EN, "GPIB_UNADDR_EN", 1, {OK, OK, OK}, {OK, OK, OK}},
    {VI_ATTR_FILE_APPEND_EN, "FILE_APPEND_EN", 1, {OK, OK, OK}, {OK, OK, OK}},
    {VI_ATTR_IO_PROT, "IO_PROT", 2, {OK, OK, OK}, {BAD, BAD, BAD}},
    {VI_ATTR_RSRC_NAME, "RSRC_NAME", 0, {OK, OK, OK}, {RO, RO, RO}},
    {VI_ATTR_RSRC_MANF_ID, "RSRC_MANF_ID", 0, {OK, OK, OK}, {RO, RO, RO}},
    {VI_ATTR_RM_SESSION, "RM_SESSION", 0, {OK, OK, OK}, {RO, RO, RO}},
    {VI_ATTR_INTF_NUM, "INTF_NUM", 1, {OK, OK, OK}, {RO, RO, RO}},
    // TCPIP sessions, and what only one protocol has.
    {VI_ATTR_TCPIP_HOSTNAME, "TCPIP_HOSTNAME", 0, {OK, OK, NSUP}, {RO, RO, NSUP}},
    {VI_ATTR_TCPIP_KEEPALIVE, "TCPIP_KEEPALIVE", 1, {OK, OK, NSUP}, {OK, OK, NSUP}},
    {VI_ATTR_TCPIP_NODELAY, "TCPIP_NODELAY", 3, {OK, OK, NSUP}, {BAD, BAD, NSUP}},
    {VI_ATTR_TCPIP_PORT, "TCPIP_PORT", 1, {OK, NSUP, NSUP}, {RO, RO, NSUP}},
    {VI_ATTR_TCPIP_DEVICE_NAME, "TCPIP_DEVICE_NAME", 0, {NSUP, OK, NSUP}, {RO, RO, NSUP}},
    {VI_ATTR_SUPPRESS_END_EN, "SUPPRESS_END_EN", 1, {OK, NSUP, NSUP}, {OK, NSUP, NSUP}},
    // Serial lines.
    {VI_ATTR_ASRL_BAUD, "ASRL_BAUD", 19200, {NSUP, NSUP, OK}, {NSUP, NSUP, OK}},
    {VI_ATTR_ASRL_DATA_BITS, "ASRL_DATA_BITS", 9, {NSUP, NSUP, OK}, {NSUP, NSUP, BAD}},
    {VI_ATTR_ASRL_STOP_BITS, "ASRL_STOP_BITS", 20, {NSUP, NSUP, OK}, {NSUP, NSUP, OK}},
    {VI_ATTR_ASRL_END_OUT, "ASRL_END_OUT", 1, {NSUP, NSUP, OK}, {NSUP, NSUP, BAD}},
    // Nobody's.
    {VI_ATTR_MAX_QUEUE_LENGTH, "MAX_QUEUE_LENGTH", 1, {NSUP, NSUP, NSUP}, {NSUP, NSUP, NSUP}},
};

class Attributes : public ::testing::TestWithParam<Transport> {
protected:
    void SetUp() override {
        auto& sims = Sims::get();
        ASSERT_TRUE(sims.net.running() && sims.line.running()) << sims.error;
        switch (GetParam()) {
        case Socket: resource_ = sims.net.socketResource(); break;
        case Vxi11: resource_ = sims.net.vxi11Resource(); break;
        case Serial: resource_ = "ASRL" + sims.line.ptyPath() + "::INSTR"; break;
        }
        ASSERT_EQ(viOpenDefaultRM(&rm_), VI_SUCCESS);
        ASSERT_EQ(viOpen(rm_, resource_.c_str(), VI_NULL, 2000, &vi_), VI_SUCCESS) << resource_;
    }
    void TearDown() override {
        if (vi_) viClose(vi_);
        if (rm_) viClose(rm_);
    }
    template <typename T>
    T get(ViAttr attr) {
        T v{};
        EXPECT_EQ(viGetAttribute(vi_, attr, &v), VI_SUCCESS);
        return v;
    }
    std::string text(ViAttr attr) {
        char buf[VI_FIND_BUFLEN] = {};
        EXPECT_EQ(viGetAttribute(vi_, attr, buf), VI_SUCCESS);
        return buf;
    }

    std::string resource_;
    ViSession rm_ = 0, vi_ = 0;
};

}  // namespace

TEST_P(Attributes, EachInterfaceTypeAnswersItsOwn) {
    const int t = GetParam();
    for (const Row& row : kRows) {
        SCOPED_TRACE(row.name);
        char buf[VI_FIND_BUFLEN] = {};
        EXPECT_EQ(viGetAttribute(vi_, row.attr, buf), row.get[t]);
        EXPECT_EQ(viSetAttribute(vi_, row.attr, row.value), row.set[t]);
    }
}

TEST_P(Attributes, ValuesDescribeTheSession) {
    const Transport t = GetParam();
    EXPECT_EQ(text(VI_ATTR_RSRC_NAME), resource_);
    EXPECT_EQ(text(VI_ATTR_RSRC_CLASS), t == Socket ? "SOCKET" : "INSTR");
    EXPECT_EQ(get<ViUInt16>(VI_ATTR_INTF_TYPE), t == Serial ? VI_INTF_ASRL : VI_INTF_TCPIP);
    EXPECT_EQ(get<ViUInt32>(VI_ATTR_RM_SESSION), rm_);
    // Streams have no END signal: their reads end at the terminator.
    EXPECT_EQ(get<ViUInt16>(VI_ATTR_TERMCHAR_EN), t == Socket ? VI_TRUE : VI_FALSE);
    EXPECT_EQ(get<ViUInt8>(VI_ATTR_TERMCHAR), '\n');
    if (t == Socket) {
        EXPECT_EQ(get<ViUInt16>(VI_ATTR_TCPIP_PORT), Sims::get().net.socketPort());
    } else if (t == Vxi11) {
        EXPECT_EQ(text(VI_ATTR_TCPIP_DEVICE_NAME), "inst0");
    } else {
        EXPECT_EQ(get<ViUInt16>(VI_ATTR_ASRL_END_IN), VI_ASRL_END_TERMCHAR);
    }
    if (t != Serial) {
        EXPECT_EQ(text(VI_ATTR_TCPIP_HOSTNAME), "127.0.0.1");
    }
}

// A value refused leaves the one before, also where the line itself refuses it.
TEST_P(Attributes, RefusedValueKeepsTheOldOne) {
    ASSERT_EQ(viSetAttribute(vi_, VI_ATTR_TMO_VALUE, 1500), VI_SUCCESS);
    EXPECT_EQ(viSetAttribute(vi_, VI_ATTR_TMO_VALUE, 0x100000000ull), VI_ERROR_NSUP_ATTR_STATE);
    EXPECT_EQ(get<ViUInt32>(VI_ATTR_TMO_VALUE), 1500u);
    if (GetParam() == Serial) {
        ASSERT_EQ(viSetAttribute(vi_, VI_ATTR_ASRL_BAUD, 19200), VI_SUCCESS);
        EXPECT_EQ(viSetAttribute(vi_, VI_ATTR_ASRL_BAUD, 12345), VI_ERROR_NSUP_ATTR_STATE);
        EXPECT_EQ(get<ViUInt32>(VI_ATTR_ASRL_BAUD), 19200u);
        // The line still works at the old setting.
        std::string q = "*IDN?\n";
        ViUInt32 n = 0;
        ASSERT_EQ(viWrite(vi_, reinterpret_cast<ViConstBuf>(q.data()), ViUInt32(q.size()), &n), VI_SUCCESS);
        char answer[256] = {};
        EXPECT_GE(viRead(vi_, reinterpret_cast<ViBuf>(answer), sizeof answer - 1, &n), VI_SUCCESS);
        EXPECT_EQ(std::string(answer).rfind("Tesselhorn,GLN-", 0), 0u) << answer;
    }
}

INSTANTIATE_TEST_SUITE_P(Interfaces, Attributes, ::testing::Values(Socket, Vxi11, Serial), [](const auto& info) {
    return std::string(info.param == Socket ? "Socket" : info.param == Vxi11 ? "Vxi11" : "Serial");
});
