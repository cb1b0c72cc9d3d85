// The broadcast's call and reply filter, the subnet field check and the
// ICMP status mapping: no network needed.
#include <gtest/gtest.h>
#include <netinet/ip_icmp.h>

#include <vector>

#include "instrument_directory/lan_discovery.h"
#include "instrument_directory/lan_scan.h"
#include "instrument_directory/ping.h"

using namespace qv::dir;

TEST(DiscoveryPacket, IsTheGetportCallForTheVxi11CoreChannel) {
    const std::vector<uint8_t> expected{
        0x21, 0x22, 0x22, 0x22,  // transaction, low byte first
        0, 0, 0, 0,              // CALL
        0, 0, 0, 2,              // RPC version 2
        0, 0x01, 0x86, 0xA0,     // program 100000
        0, 0, 0, 2,              // version 2
        0, 0, 0, 3,              // GETPORT
        0, 0, 0, 0, 0, 0, 0, 0,  // credentials NONE
        0, 0, 0, 0, 0, 0, 0, 0,  // verifier NONE
        0, 0x06, 0x07, 0xAF,     // 395183
        0, 0, 0, 1,              // version 1
        0, 0, 0, 6,              // TCP
        0, 0, 0, 0};             // port
    const auto p = DiscoveryPacket();
    EXPECT_EQ(std::vector<uint8_t>(p.begin(), p.end()), expected);
}

struct ReplyCase {
    const char* name;
    size_t size;
    std::vector<uint8_t> head;
    bool valid;
};

class DiscoveryReply : public testing::TestWithParam<ReplyCase> {};

TEST_P(DiscoveryReply, OnlyExactlySizedRepliesWithOurTransactionCount) {
    const ReplyCase& c = GetParam();
    std::vector<uint8_t> reply(c.size, 0);
    std::copy(c.head.begin(), c.head.end(), reply.begin());
    if (c.size >= 28) {
        reply[26] = 0x03;
        reply[27] = 0xFF;
    }
    uint32_t port = 0;
    EXPECT_EQ(IsDiscoveryReply(reply.data(), reply.size(), &port), c.valid);
    if (c.valid) {
        EXPECT_EQ(port, 0x3FFu);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Cases, DiscoveryReply,
    testing::Values(ReplyCase{"Valid", 28, {0x21, 0x22, 0x22, 0x22}, true},
                    ReplyCase{"Short27", 27, {0x21, 0x22, 0x22, 0x22}, false},
                    ReplyCase{"Long29", 29, {0x21, 0x22, 0x22, 0x22}, false},
                    ReplyCase{"BigEndianTransaction", 28, {0x22, 0x22, 0x22, 0x21}, false},
                    ReplyCase{"OtherTransaction", 28, {0x21, 0x22, 0x22, 0x23}, false},
                    ReplyCase{"Empty", 0, {}, false}),
    [](const testing::TestParamInfo<ReplyCase>& i) { return std::string(i.param.name); });

struct AreaCase {
    const char* text;
    bool valid;
    const char* prefix;
    int single;
};

class IpArea : public testing::TestWithParam<AreaCase> {};

TEST_P(IpArea, FourFieldsOnlyTheLastMayBeAStar) {
    const AreaCase& c = GetParam();
    std::string prefix = "untouched";
    int single = -2;
    ASSERT_EQ(ParseIpArea(c.text, prefix, single), c.valid) << c.text;
    if (c.valid) {
        EXPECT_EQ(prefix, c.prefix);
        EXPECT_EQ(single, c.single);
    } else {
        EXPECT_EQ(prefix, "untouched");
    }
}

INSTANTIATE_TEST_SUITE_P(Cases, IpArea,
                         testing::Values(AreaCase{"192.168.0.*", true, "192.168.0.", -1},
                                         AreaCase{"10.77.0.5", true, "10.77.0.", 5},
                                         AreaCase{"10.77.0.255", true, "10.77.0.", 255},
                                         AreaCase{" 10. 77.0 .*", true, "10.77.0.", -1},
                                         AreaCase{"010.77.0.*", true, "10.77.0.", -1},
                                         AreaCase{"10.77.*.5", false, "", 0}, AreaCase{"10.77.0", false, "", 0},
                                         AreaCase{"10.77.0.1.2", false, "", 0}, AreaCase{"256.1.1.*", false, "", 0},
                                         AreaCase{"10.77.0.256", false, "", 0}, AreaCase{"a.b.c.*", false, "", 0},
                                         AreaCase{"10..0.*", false, "", 0}, AreaCase{"-1.2.3.*", false, "", 0},
                                         AreaCase{"1.2.3.**", false, "", 0}, AreaCase{"", false, "", 0}));

struct IcmpCase {
    uint8_t type, code;
    const char* text;
};

class IcmpMapping : public testing::TestWithParam<IcmpCase> {};

TEST_P(IcmpMapping, LinuxMessagesGetTheStatusTexts) {
    const IcmpCase& c = GetParam();
    const int status = IcmpErrorStatus(c.type, c.code);
    if (!*c.text) {
        EXPECT_EQ(status, -1);
        return;
    }
    EXPECT_EQ(PingStatusText(status), c.text);
}

INSTANTIATE_TEST_SUITE_P(Cases, IcmpMapping,
                         testing::Values(IcmpCase{ICMP_DEST_UNREACH, ICMP_NET_UNREACH, "ip dest net unreachable"},
                                         IcmpCase{ICMP_DEST_UNREACH, ICMP_HOST_UNREACH, "ip dest host unreachable"},
                                         IcmpCase{ICMP_DEST_UNREACH, ICMP_PROT_UNREACH, "ip dest prot unreachable"},
                                         IcmpCase{ICMP_DEST_UNREACH, ICMP_PORT_UNREACH, "ip dest port unreachable"},
                                         IcmpCase{ICMP_DEST_UNREACH, ICMP_FRAG_NEEDED, "ip packet too_big"},
                                         IcmpCase{ICMP_DEST_UNREACH, ICMP_PKT_FILTERED, "ip dest host unreachable"},
                                         IcmpCase{ICMP_TIME_EXCEEDED, ICMP_EXC_TTL, "ip ttl expired transit"},
                                         IcmpCase{ICMP_TIME_EXCEEDED, ICMP_EXC_FRAGTIME, "ip ttl expired reassem"},
                                         IcmpCase{ICMP_PARAMETERPROB, 0, "ip param_problem"},
                                         IcmpCase{ICMP_SOURCE_QUENCH, 0, "ip source quench"},
                                         IcmpCase{ICMP_REDIRECT, 0, ""}, IcmpCase{ICMP_ECHO, 0, ""}));

TEST(LanScanReport, NamesTheHostsWithoutANameOnceAtTheEnd) {
    LanScanReport r;
    r.answered = 3;
    r.found.push_back(LanFound{"10.0.0.2", "", "LAN::10.0.0.2::INSTR", "Alpha (TKD)", "Alpha", true});
    r.added.push_back(EditorRow{4, "Alpha|LAN|10.0.0.2", true});
    r.unnamed = {"10.0.0.2", "10.0.0.9"};
    r.skippedConfigured = {"10.0.0.3"};
    const std::string s = r.summary();
    EXPECT_NE(s.find("1 instrument found, 1 added: 10.0.0.2 Alpha (TKD)."), std::string::npos) << s;
    EXPECT_NE(s.find("Already configured: 10.0.0.3."), std::string::npos) << s;
    EXPECT_NE(s.find("No name found for 10.0.0.2, 10.0.0.9."), std::string::npos) << s;
    EXPECT_EQ(LanScanReport{}.summary(), "No instruments found.");
    LanScanReport known;
    known.answered = 2;
    known.skippedConfigured = {"10.0.0.3", "10.0.0.4"};
    EXPECT_EQ(known.summary(), "No new instruments found. Already configured: 10.0.0.3, 10.0.0.4.");
}
