// The resources that announced services imply, and the choice of one
// candidate per address among them. No network.
#include <gtest/gtest.h>

#include <cctype>

#include "instrument_directory/mdns_browse.h"

namespace {

using qv::dir::CandidateFromService;
using qv::dir::CandidatesFromServices;
using qv::dir::LanCandidate;
using qv::dir::MdnsService;

MdnsService svc(const std::string& type, const std::string& address, uint16_t port = 0) {
    return MdnsService{type, "instrument", "bench.local", address, port};
}

struct ResourceCase {
    std::string type;
    uint16_t port;
    std::string scan;  // empty: the service implies no resource
    std::string row;
};

class ServiceResource : public testing::TestWithParam<ResourceCase> {};

TEST_P(ServiceResource, MapsToTheResourceTheTypeImplies) {
    const ResourceCase& c = GetParam();
    LanCandidate got = CandidateFromService(svc(c.type, "10.1.2.3", c.port));
    EXPECT_EQ(got.address, "10.1.2.3");
    EXPECT_EQ(got.scanResource, c.scan);
    EXPECT_EQ(got.rowResource, c.row);
    // Whatever announced itself has answered: no ping before the scan.
    EXPECT_TRUE(got.answered);
}

INSTANTIATE_TEST_SUITE_P(
    Types, ServiceResource,
    testing::Values(
        // The port of a VXI-11 or LXI service is the port mapper's business.
        ResourceCase{"_vxi-11._tcp", 1024, "LAN::10.1.2.3::INSTR", "LAN::10.1.2.3::INSTR"},
        ResourceCase{"_lxi._tcp", 80, "LAN::10.1.2.3::INSTR", "LAN::10.1.2.3::INSTR"},
        ResourceCase{"_hislip._tcp", 4880, "LAN::10.1.2.3::hislip0::INSTR", "LAN::10.1.2.3::hislip0::INSTR"},
        ResourceCase{"_scpi-raw._tcp", 5025, "TCPIP::10.1.2.3::5025::SOCKET", "RAW::TCPIP::10.1.2.3::5025::SOCKET"},
        ResourceCase{"_scpi-raw._tcp", 0, "", ""},  // a socket without a port leads nowhere
        ResourceCase{"_http._tcp", 80, "", ""}),
    [](const testing::TestParamInfo<ResourceCase>& info) {
        std::string n;
        for (char ch : info.param.type + "_" + std::to_string(info.param.port))
            if (std::isalnum(static_cast<unsigned char>(ch))) n += ch;
        return n;
    });

struct ChoiceCase {
    std::string label;
    std::vector<MdnsService> services;
    std::vector<std::string> scanResources;  // of the candidates, in order
};

class CandidateChoice : public testing::TestWithParam<ChoiceCase> {};

TEST_P(CandidateChoice, OnePerAddressThroughItsBestServiceInOrderOfFirstSight) {
    std::vector<std::string> got;
    for (const LanCandidate& c : CandidatesFromServices(GetParam().services)) {
        EXPECT_TRUE(c.answered);
        got.push_back(c.scanResource);
    }
    EXPECT_EQ(got, GetParam().scanResources);
}

INSTANTIATE_TEST_SUITE_P(
    Services, CandidateChoice,
    testing::Values(
        ChoiceCase{"BetterTypeSeenLaterWinsButTheAddressKeepsItsPlace",
                   {svc("_scpi-raw._tcp", "10.0.0.9", 5025), svc("_lxi._tcp", "10.0.0.1", 80),
                    svc("_vxi-11._tcp", "10.0.0.9", 111), svc("_hislip._tcp", "10.0.0.1", 4880)},
                   {"LAN::10.0.0.9::INSTR", "LAN::10.0.0.1::hislip0::INSTR"}},
        ChoiceCase{"WorseTypeSeenLaterDoesNotReplace",
                   {svc("_hislip._tcp", "10.0.0.5", 4880), svc("_scpi-raw._tcp", "10.0.0.5", 5025),
                    svc("_lxi._tcp", "10.0.0.5", 80)},
                   {"LAN::10.0.0.5::hislip0::INSTR"}},
        ChoiceCase{"OfTwoSocketsTheFirstSeen",
                   {svc("_scpi-raw._tcp", "10.0.0.5", 5025), svc("_scpi-raw._tcp", "10.0.0.5", 5026)},
                   {"TCPIP::10.0.0.5::5025::SOCKET"}},
        // What arrives from the network may be anything: an address that
        // does not parse, a type we do not know, a socket without a port.
        // None of them takes a place in the order either.
        ChoiceCase{"UnusableServicesAreLeftOut",
                   {svc("_vxi-11._tcp", "", 0), svc("_vxi-11._tcp", "10.0.0.256", 0),
                    svc("_vxi-11._tcp", "fe80::1", 0), svc("_http._tcp", "10.0.0.7", 80),
                    svc("_scpi-raw._tcp", "10.0.0.8", 0), svc("_lxi._tcp", "10.0.0.3", 80),
                    svc("_scpi-raw._tcp", "10.0.0.8", 5025), svc("_vxi-11._tcp", "10.0.0.7", 0)},
                   {"LAN::10.0.0.3::INSTR", "TCPIP::10.0.0.8::5025::SOCKET", "LAN::10.0.0.7::INSTR"}},
        ChoiceCase{"NothingFound", {}, {}}),
    [](const testing::TestParamInfo<ChoiceCase>& info) { return info.param.label; });

}  // namespace
