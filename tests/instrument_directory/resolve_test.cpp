// Entry texts to resources, hosts of resources, addresses and names.
#include "dir_fixture.h"
#include "instrument_directory/visa_scan.h"
#include "scripted_host.h"

#include <gtest/gtest.h>

using namespace qv::dir;

namespace {

struct NameCase {
    std::string entry, resource, rest;
};

class ResolveNames : public ::testing::TestWithParam<NameCase> {};

TEST_P(ResolveNames, GivesResourceAndLeavesLastField) {
    std::string entry = GetParam().entry;
    EXPECT_EQ(VISAScan().ResolveName(entry), GetParam().resource);
    EXPECT_EQ(entry, GetParam().rest);
}

INSTANTIATE_TEST_SUITE_P(
    Forms, ResolveNames,
    ::testing::Values(NameCase{"x|gpib|20", "GPIB::20::0::INSTR", "20"},
                      NameCase{"x|GPIB0|20", "GPIB0::20::INSTR", "20"},
                      NameCase{"x|RAW|TCPIP::host::INSTR", "RAW::TCPIP::host::INSTR", "TCPIP::host::INSTR"},
                      NameCase{"Lab|lan|lab7", "LAN::lab7::INSTR", "lab7"},
                      NameCase{"|USB|0x1234::0x5678::SN1", "USB::0x1234::0x5678::SN1::INSTR", "0x1234::0x5678::SN1"},
                      NameCase{"a|b|c|d", "B::c|d::INSTR", "c|d"},
                      NameCase{"only one|field", "only one|field", "field"},
                      NameCase{"TCPIP::1.2.3.4::INSTR", "TCPIP::1.2.3.4::INSTR", "TCPIP::1.2.3.4::INSTR"},
                      NameCase{"NULL", "NULL", "NULL"}, NameCase{"", "", ""}));

TEST(CustomName, IsTheEntryWhole) {
    VISAScan s;
    EXPECT_EQ(s.getCustomName("Lab|GPIB0|20"), "Lab|GPIB0|20");
    EXPECT_EQ(s.getCustomName("NULL"), "NULL");
    EXPECT_EQ(s.getCustomName(""), "");
}

TEST(ResourceHostPart, FromTwoPastTheFirstColon) {
    EXPECT_EQ(ResourceHost("LAN::lab7::INSTR"), "lab7");
    EXPECT_EQ(ResourceHost("TCPIP::127.0.0.2::inst1::INSTR"), "127.0.0.2");
    EXPECT_EQ(ResourceHost("TCPIP::host"), "");
    EXPECT_EQ(ResourceHost("nothing"), "");
    EXPECT_EQ(ResourceHost("A:"), "");
}

TEST(CheckIPText, FourByteParts) {
    EXPECT_TRUE(CheckIP("192.168.0.1"));
    EXPECT_TRUE(CheckIP("1.2.3.4.5"));
    EXPECT_FALSE(CheckIP("lab7"));
    EXPECT_FALSE(CheckIP("300.1.1.1"));
    EXPECT_FALSE(CheckIP("1.2.3"));
    EXPECT_FALSE(CheckIP("1.2.3."));
    EXPECT_FALSE(CheckIP("1.-2.3.4"));
}

TEST(RawIPAddress, OnlyNetworkResourcesAndThroughTheResolver) {
    qvtest::FakeResolver r;
    r.names["lab7"] = "127.0.0.7";
    VISAScan s;
    EXPECT_EQ(s.getRawIPAddress("LAN::lab7::INSTR"), "127.0.0.7");
    EXPECT_EQ(s.getRawIPAddress("QVIB::127.0.0.9::INSTR"), "127.0.0.9");
    EXPECT_EQ(s.getRawIPAddress("TCPIP::nowhere.invalid::INSTR"), "");
    EXPECT_EQ(s.getRawIPAddress("GPIB0::20::INSTR"), "");
}

TEST(HostNames, ReverseFailureIsNullAndNamesAreCleaned) {
    qvtest::FakeResolver r;
    r.reverse["127.0.0.5"] = "bench5\r\n";
    qv::dir::ClsIPResolve ip;
    EXPECT_EQ(ip.GetHostnameByAddr("127.0.0.5", 111), "bench5");
    EXPECT_EQ(ip.GetHostnameByAddr("127.0.0.6", 111), "NULL");
}

// The resolver window's reverse look-up parses addresses the classic way:
// short forms are whole addresses, and the all-ones address is its failure mark.
TEST(HostNames, ReverseLookUpOfTheResolverWindow) {
    qvtest::FakeResolver r;
    qvtest::ScriptedHost host;
    r.reverse["10.0.0.1"] = "short";
    r.reverse["10.1.2.3"] = "lab7";
    qv::dir::ClsResolve res;
    EXPECT_EQ(res.GetHostNameFromIP("10.1.2.3"), "lab7");
    EXPECT_EQ(res.GetHostNameFromIP("10.1"), "short");
    EXPECT_TRUE(host.messages().empty());
    EXPECT_EQ(res.GetHostNameFromIP("255.255.255.255"), "");
    EXPECT_EQ(res.GetHostNameFromIP("lab7"), "");
    EXPECT_EQ(res.GetHostNameFromIP("10.9.9.9"), "");
    const auto msgs = host.messages();
    ASSERT_EQ(msgs.size(), 3u);
    EXPECT_EQ(msgs[0].text, "Invalid IP address");
    EXPECT_EQ(msgs[1].text, "Invalid IP address");
    EXPECT_EQ(msgs[2].text, "Call to gethostbyaddr failed.");
}

// The system resolver: numeric text needs no look-up, and "localhost" is
// answered from the local files.
TEST(SystemResolver, NumericAndLocalhost) {
    std::string dotted;
    ASSERT_TRUE(systemResolver().nameToAddress("127.0.0.3", dotted));
    EXPECT_EQ(dotted, "127.0.0.3");
    EXPECT_FALSE(systemResolver().nameToAddress("", dotted));
    EXPECT_FALSE(systemResolver().nameToAddress("127.0.0.300", dotted) && dotted == "127.0.0.300");
    if (systemResolver().nameToAddress("localhost", dotted)) {
        EXPECT_EQ(dotted.rfind("127.", 0), 0u);
    }
}

TEST(Ping, LoopbackAnswersAndBadTextFails) {
    std::string bad = "not an address";
    EXPECT_FALSE(Ping(bad));
    EXPECT_EQ(bad, "ip bad destination");
    std::string lo = "127.0.0.1";
    ASSERT_TRUE(Ping(lo, 1000)) << lo;
    EXPECT_EQ(lo.rfind("Ping erfolgreich!", 0), 0u);
    EXPECT_NE(lo.find(" ms "), std::string::npos);
}

TEST(Ping, StatusTexts) {
    EXPECT_EQ(PingStatusText(0), "Ping erfolgreich!");
    EXPECT_EQ(PingStatusText(100), "ping timeout");
    EXPECT_EQ(PingStatusText(11010), "ip req timed out");
    EXPECT_EQ(PingStatusText(11255), "ip pending");
    EXPECT_EQ(PingStatusText(12345), "unknown msg returned");
}

}  // namespace
