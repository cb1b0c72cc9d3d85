// The parsers of the VISA layer: resource names, search expressions, block
// headers and the stream framer, status texts.
#include "instrument_io/visa/find.h"
#include "instrument_io/visa/framing.h"
#include "instrument_io/visa/resource.h"
#include "instrument_io/visa/status_text.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>

using namespace qv::visa;

struct ResourceCase {
    const char* text;
    bool valid;
    ResourceKind kind;
    const char* canonical;
};

class ResourceParse : public ::testing::TestWithParam<ResourceCase> {};

TEST_P(ResourceParse, ParsesOrRefuses) {
    const auto& c = GetParam();
    Resource r;
    ASSERT_EQ(parseResource(c.text, r), c.valid) << c.text;
    if (!c.valid) return;
    EXPECT_EQ(r.kind, c.kind) << c.text;
    EXPECT_EQ(r.canonical, c.canonical) << c.text;
}

INSTANTIATE_TEST_SUITE_P(
    Forms, ResourceParse,
    ::testing::Values(
        ResourceCase{"TCPIP::192.168.1.20::INSTR", true, ResourceKind::TcpipInstr, "TCPIP0::192.168.1.20::inst0::INSTR"},
        ResourceCase{"tcpip0::fsx-lab::inst1::instr", true, ResourceKind::TcpipInstr, "TCPIP0::fsx-lab::inst1::INSTR"},
        ResourceCase{"TCPIP1::host", true, ResourceKind::TcpipInstr, "TCPIP1::host::inst0::INSTR"},
        ResourceCase{"TCPIP::[fe80::1]::INSTR", true, ResourceKind::TcpipInstr, "TCPIP0::[fe80::1]::inst0::INSTR"},
        ResourceCase{"TCPIP::10.0.0.1::5025::SOCKET", true, ResourceKind::TcpipSocket, "TCPIP0::10.0.0.1::5025::SOCKET"},
        ResourceCase{"TCPIP::host::hislip0::INSTR", true, ResourceKind::Foreign, "TCPIP0::host::hislip0::INSTR"},
        ResourceCase{"ASRL1::INSTR", true, ResourceKind::Asrl, "ASRL1::INSTR"},
        ResourceCase{"ASRL/dev/ttyUSB0::INSTR", true, ResourceKind::Asrl, "ASRL/dev/ttyUSB0::INSTR"},
        ResourceCase{"GPIB0::20::INSTR", true, ResourceKind::Foreign, "GPIB0::20::INSTR"},
        ResourceCase{"USB0::0x0AAD::0x0054::100123::INSTR", true, ResourceKind::Foreign, "USB0::0x0AAD::0x0054::100123::INSTR"},
        ResourceCase{"visa://server/GPIB0::20::INSTR", true, ResourceKind::Foreign, "visa://server/GPIB0::20::INSTR"},
        ResourceCase{"QVIB::12345::INSTR", true, ResourceKind::Foreign, "QVIB::12345::INSTR"},
        // Refused: not resource names at all.
        ResourceCase{"", false, ResourceKind::Foreign, ""},
        ResourceCase{"FOO::1::INSTR", false, ResourceKind::Foreign, ""},
        ResourceCase{"TCPIP::", false, ResourceKind::Foreign, ""},
        ResourceCase{"TCPIP::host::::INSTR", false, ResourceKind::Foreign, ""},
        ResourceCase{"TCPIP::host::70000::SOCKET", false, ResourceKind::Foreign, ""},
        ResourceCase{"TCPIP::host::0::SOCKET", false, ResourceKind::Foreign, ""},
        ResourceCase{"TCPIP::host::SOCKET", false, ResourceKind::Foreign, ""},
        ResourceCase{"TCPIPx::host::INSTR", false, ResourceKind::Foreign, ""},
        ResourceCase{"TCPIP::ho st::INSTR", false, ResourceKind::Foreign, ""},
        ResourceCase{"TCPIP::[fe80::1::INSTR", false, ResourceKind::Foreign, ""},
        ResourceCase{"ASRL0::INSTR", false, ResourceKind::Foreign, ""},
        ResourceCase{"ASRL/etc/passwd::INSTR", false, ResourceKind::Foreign, ""},
        ResourceCase{"ASRL/dev/../etc/x::INSTR", false, ResourceKind::Foreign, ""},
        ResourceCase{"visa://server", false, ResourceKind::Foreign, ""},
        ResourceCase{"TCPIP::host\n::INSTR", false, ResourceKind::Foreign, ""}));

TEST(ResourceParse, SerialBoardMapsToTtyS) {
    Resource r;
    ASSERT_TRUE(parseResource("ASRL3::INSTR", r));
    EXPECT_EQ(r.device, "/dev/ttyS2");
}

TEST(ResourceParse, RefusesOverlongText) {
    Resource r;
    EXPECT_FALSE(parseResource("TCPIP::" + std::string(300, 'a') + "::INSTR", r));
}

struct FindCase {
    const char* expr;
    const char* resource;
    bool match;
};

class FindMatch : public ::testing::TestWithParam<FindCase> {};

TEST_P(FindMatch, Matches) {
    FindExpression fx;
    ASSERT_TRUE(fx.compile(GetParam().expr)) << GetParam().expr;
    EXPECT_EQ(fx.matches(GetParam().resource), GetParam().match) << GetParam().expr << " ~ " << GetParam().resource;
}

INSTANTIATE_TEST_SUITE_P(
    Expressions, FindMatch,
    ::testing::Values(FindCase{"?*", "ASRL1::INSTR", true}, FindCase{"?*INSTR", "ASRL1::INSTR", true},
                      FindCase{"?*INSTR", "TCPIP0::h::5025::SOCKET", false},
                      FindCase{"GPIB0::?*::INSTR", "GPIB0::20::INSTR", true},
                      FindCase{"GPIB0::?*::INSTR", "GPIB1::20::INSTR", false},
                      FindCase{"gpib?*", "GPIB0::20::INSTR", true},  // matching ignores case
                      FindCase{"ASRL[0-9]*::?*INSTR", "ASRL12::INSTR", true},
                      FindCase{"ASRL[0-9]*::?*INSTR", "ASRL/dev/ttyUSB0::INSTR", false},
                      FindCase{"GPIB?*|ASRL?*", "ASRL1::INSTR", true},
                      FindCase{"(GPIB|VXI)?*INSTR", "VXI0::1::INSTR", true},
                      FindCase{"TCPIP0::127.0.0.1::?*", "TCPIP0::127x0x0x1::inst0::INSTR", false},
                      FindCase{"TCPIP0::127\\.0.0.1::?*", "TCPIP0::127.0.0.1::inst0::INSTR", true}));

TEST(FindMatch, RefusesBrokenExpressions) {
    for (const char* bad : {"", "*", "[abc", "(GPIB", "GPIB)", "a\\", "?*{VI_ATTR_MANF_ID==1}"}) {
        FindExpression fx;
        EXPECT_FALSE(fx.compile(bad)) << bad;
    }
}

TEST(BlockHeader, ReadsDefiniteIndefiniteAndBroken) {
    auto parse = [](const std::string& s) { return parseBlockHeader(reinterpret_cast<const uint8_t*>(s.data()), s.size()); };
    auto h = parse("#3123abc");
    EXPECT_EQ(h.status, BlockHeaderStatus::Definite);
    EXPECT_EQ(h.headerLength, 5u);
    EXPECT_EQ(h.dataLength, 123u);
    h = parse("#10");
    EXPECT_EQ(h.status, BlockHeaderStatus::Definite);
    EXPECT_EQ(h.dataLength, 0u);
    EXPECT_EQ(parse("#0abc").status, BlockHeaderStatus::Indefinite);
    EXPECT_EQ(parse("#9").status, BlockHeaderStatus::NeedMore);
    EXPECT_EQ(parse("#412").status, BlockHeaderStatus::NeedMore);
    EXPECT_EQ(parse("#4x2").status, BlockHeaderStatus::Invalid);
    EXPECT_EQ(parse("#a").status, BlockHeaderStatus::Invalid);
    EXPECT_EQ(parse("12").status, BlockHeaderStatus::Invalid);
    EXPECT_EQ(parse("#9999999999").dataLength, 999999999u);
}

// Feeds the answer in pieces of every size and checks where the message ends.
class Framer : public ::testing::TestWithParam<size_t> {
protected:
    size_t endOf(const std::string& s) {
        ResponseFramer f;
        size_t pos = 0;
        while (pos < s.size()) {
            size_t n = std::min(GetParam(), s.size() - pos);
            bool ended = false;
            pos += f.scan(reinterpret_cast<const uint8_t*>(s.data()) + pos, n, '\n', ended);
            if (ended) return pos;
        }
        return std::string::npos;
    }
};

TEST_P(Framer, EndsAtTerminatorOutsideBlocks) {
    EXPECT_EQ(endOf("Tesselhorn,TKD-7,100123/007,4.40\nnext"), 33u);
    std::string block = "#15a\nb\nc\n";  // LFs inside the five data bytes do not end it
    EXPECT_EQ(endOf(block + "x"), block.size());
    EXPECT_EQ(endOf("1,2,#13\n\n\n\nrest"), 11u);
    EXPECT_EQ(endOf("#0ab\ncd"), 5u);         // indefinite: the first LF ends it
    EXPECT_EQ(endOf("a#5\n"), 4u);            // '#' inside a word is text
    EXPECT_EQ(endOf("O'Brien,Model\n"), 14u);  // a lone quote does not hide the end
    EXPECT_EQ(endOf("#10\n"), 4u);
}

INSTANTIATE_TEST_SUITE_P(ChunkSizes, Framer, ::testing::Values(1, 2, 3, 7, 64));

TEST(Framer, KnowsWhenOnlyTheTerminatorIsLeft) {
    ResponseFramer f;
    std::string s = "#14abcd";
    bool ended = false;
    f.scan(reinterpret_cast<const uint8_t*>(s.data()), 3, '\n', ended);
    EXPECT_EQ(f.rawRemaining(), 4u);
    f.skipRaw(4);
    EXPECT_TRUE(f.awaitingTerminator());
}

TEST(StatusText, NamesAndTexts) {
    EXPECT_EQ(statusText(VI_ERROR_TMO), "Timeout expired before operation completed.");
    EXPECT_EQ(statusText(ViStatus(0xBFFF0039)), "Unknown VISA error (0xBFFF0039)");
    EXPECT_EQ(statusText(VI_ERROR_RSRC_LOCKED).substr(0, 10), " Specified");
    EXPECT_EQ(statusText(VI_ERROR_SYSTEM_ERROR), "Unknown system error (miscellaneouserror).");
    EXPECT_EQ(statusName(VI_ERROR_CONN_LOST), "VI_ERROR_CONN_LOST");
    EXPECT_EQ(statusHex(VI_ERROR_TMO), "BFFF0015");
    EXPECT_EQ(ViStatus(VI_ERROR_INV_SETUP), ViStatus(0xBFFF003A));
}

// Expressions that make a backtracking matcher take exponential time must
// still be decided at once.
TEST(FindMatch, PathologicalExpressionsStayFast) {
    std::string text(200, 'a');
    for (const char* e : {"?*?*?*?*?*?*?*?*?*?*?*?*b", "(a*)*b", "(a|aa)*b", "?*\\?*\\?*\\?\\\x01`?0\x17k?????"}) {
        FindExpression fx;
        ASSERT_TRUE(fx.compile(e)) << e;
        auto t0 = std::chrono::steady_clock::now();
        EXPECT_FALSE(fx.matches(text)) << e;
        EXPECT_LT(std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - t0).count(), 50);
    }
    FindExpression fx;
    ASSERT_TRUE(fx.compile("(a|aa)*"));
    EXPECT_TRUE(fx.matches(text));
}
