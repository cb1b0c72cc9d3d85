// The SCPI engine through its C++ interface: header forms and path rules,
// parameter types, errors and status registers, faults, traces, profiles.
#include <gtest/gtest.h>

#include <cstring>
#include <regex>

#include "sim/profiles.h"
#include "sim/trace_data.h"
#include "sim_harness.h"

using qvsimtest::Harness;

namespace {

struct Exchange {
    const char* sent;
    const char* answer;  // without the final LF; "" for none
    std::vector<int> errors;
};

std::ostream& operator<<(std::ostream& os, const Exchange& e) { return os << e.sent; }

class HeaderForms : public ::testing::TestWithParam<Exchange> {};

TEST_P(HeaderForms, AnswerAndErrors) {
    Harness h;
    std::string a = h.send(std::string(GetParam().sent) + "\n");
    std::string expected = GetParam().answer;
    EXPECT_EQ(a, expected.empty() ? "" : expected + "\n");
    EXPECT_EQ(h.drainErrors(), GetParam().errors);
}

INSTANTIATE_TEST_SUITE_P(
    ShortLongCase, HeaderForms,
    ::testing::Values(Exchange{"*IDN?", "Tesselhorn,TKD-7,100123/007,4.40", {}},
                      Exchange{"*idn?", "Tesselhorn,TKD-7,100123/007,4.40", {}},
                      Exchange{"SYST:ERR?", "0,\"No error\"", {}},
                      Exchange{"system:error:next?", "0,\"No error\"", {}},
                      Exchange{":SYSTem:ERRor?", "0,\"No error\"", {}},
                      Exchange{"INST?", "SAN", {}},
                      Exchange{"INSTRUMENT:SELECT?", "SAN", {}},
                      Exchange{"FORMat:DATA?", "ASC,0", {}},
                      Exchange{"SYSTE:ERR?", "", {-113}},             // neither short nor long
                      Exchange{"SYST:ERR", "", {-113}},               // no set form
                      Exchange{"*IDN", "", {-113}},                   // no set form
                      Exchange{"TRAC17:DATA? TRACE1", "", {-114}},
                      Exchange{"SYST:ERR?;;*OPC?", "0,\"No error\";1", {}},  // empty unit tolerated
                      Exchange{"  *OPC?  ", "1", {}},
                      Exchange{"*OPC?\r", "1", {}}));  // CR before LF is white space

INSTANTIATE_TEST_SUITE_P(
    PathRules, HeaderForms,
    ::testing::Values(Exchange{"SYST:SIM:POIN 5;POIN?", "5", {}},
                      Exchange{"SYST:SIM:POIN 7;*IDN?;POIN?", "Tesselhorn,TKD-7,100123/007,4.40;7", {}},
                      Exchange{"SYST:SIM:POIN 7;:POIN?", "", {-113}},
                      Exchange{"INST:SEL REC;SEL?", "REC", {}},
                      Exchange{"INST REC;:INST?", "REC", {}},
                      Exchange{"SYST:ERR?;:SYST:ERR?", "0,\"No error\";0,\"No error\"", {}},
                      Exchange{"SYST:ERR?;SYST:ERR?", "0,\"No error\"", {-113}},  // relative: SYST:SYST:ERR
                      Exchange{"BOGUS;*OPC?", "", {-113}},  // a command error ends the message
                      Exchange{"*ESE 300;*OPC?", "1", {-222}}));  // an execution error does not

INSTANTIATE_TEST_SUITE_P(
    Parameters, HeaderForms,
    ::testing::Values(Exchange{"SYST:SIM:POIN 1.2E3;POIN?", "1200", {}},
                      Exchange{"SYST:SIM:POIN +12;POIN?", "12", {}},
                      Exchange{"SYST:SIM:POIN .5e1;POIN?", "5", {}},
                      Exchange{"SYST:SIM:POIN 2 E 1;POIN?", "20", {}},
                      Exchange{"SYST:SIM:POIN 1.5;POIN?", "2", {}},
                      Exchange{"SYST:SIM:POIN #H10;POIN?", "16", {}},
                      Exchange{"SYST:SIM:POIN #b101;POIN?", "5", {}},
                      Exchange{"SYST:SIM:POIN #Q17;POIN?", "15", {}},
                      Exchange{"SYST:SIM:POIN MAX;POIN?", "50000000", {}},
                      Exchange{"SYST:SIM:POIN min;POIN?", "1", {}},
                      Exchange{"SYST:SIM:POIN 9;POIN DEF;POIN?", "1001", {}},
                      Exchange{"SYST:SIM:POIN 1e999", "", {-123}},
                      Exchange{"SYST:SIM:POIN 10 MHZ", "", {-131}},
                      Exchange{"SYST:SIM:POIN 0", "", {-222}},
                      Exchange{"SYST:SIM:POIN #HXYZ", "", {-121}},
                      Exchange{"*ESE", "", {-109}},
                      Exchange{"*ESE 1,2", "", {-108}},
                      Exchange{"*IDN? 1", "", {-108}},
                      Exchange{"*ESE 'x'", "", {-104}},
                      Exchange{"*ESE 1 2", "", {-103}},
                      Exchange{"*ESE @", "", {-101}},
                      Exchange{"*ESE 1,", "", {-102}},
                      Exchange{"*ESE#", "", {-101}},
                      Exchange{"SYST:SIM:ERR 5,'it''s'", "", {5}},
                      Exchange{"MMEM:DATA 'f',#9123", "", {-161}},
                      Exchange{"FORM (1,(2,3)", "", {-170}},
                      Exchange{"ABCDEFGHIJKLMNOPQRSTUVWXYZ?", "", {-112}}));

TEST(Strings, QuotesDoubledBothWays) {
    Harness h;
    h.send("SYST:SIM:ERR 5,'it''s';:SYST:SIM:ERR 6,\"say \"\"hi\"\"\"\n");
    EXPECT_EQ(h.nextError(), "5,\"it's\"");
    EXPECT_EQ(h.nextError(), "6,\"say \"\"hi\"\"\"");
}

// --- blocks -----------------------------------------------------------------

std::string blockPayload() {
    // Everything that could end or split a message if the block were not
    // honoured: LF, quotes, separators, '#', NUL, high bytes.
    std::string p = "line1\nline2;'\"#3ab\n";
    p += std::string("\0\xff\x80\r\n", 5);
    for (int i = 0; i < 40; ++i) p += char('A' + i % 26);
    return p;
}

std::string definite(const std::string& payload) {
    std::string n = std::to_string(payload.size());
    return "#" + std::to_string(n.size()) + n + payload;
}

class BlockChunks : public ::testing::TestWithParam<std::tuple<size_t, uint64_t>> {};

TEST_P(BlockChunks, UploadSurvivesAnySplitAndReadsBackExactly) {
    auto [chunk, spill] = GetParam();
    qv::sim::InstrumentOptions o;
    o.spillThreshold = spill;
    Harness h("TKD", o);
    const std::string payload = blockPayload();
    std::string msg = "MMEM:DATA 'up.bin'," + definite(payload) + "\n*OPC?\n";
    std::string answers;
    for (size_t i = 0; i < msg.size(); i += chunk) answers += h.send(msg.substr(i, chunk));
    EXPECT_EQ(answers, "1\n");
    EXPECT_TRUE(h.drainErrors().empty());
    EXPECT_EQ(qvtest::readFile(h.inst->rootPath() + "/D/up.bin"), payload);
    EXPECT_EQ(h.send("MMEM:DATA? 'up.bin'\n"), definite(payload) + "\n");
    // Spooled uploads leave nothing behind.
    EXPECT_TRUE(std::filesystem::is_empty(h.inst->spoolPath()));
}

INSTANTIATE_TEST_SUITE_P(Chunks, BlockChunks,
                         ::testing::Combine(::testing::Values(size_t(1), size_t(2), size_t(3), size_t(7), size_t(4096)),
                                            ::testing::Values(uint64_t(1) << 20, uint64_t(8))));

TEST(Blocks, IndefiniteBlockRunsToTheTerminator) {
    Harness h;
    h.send("MMEM:DATA 'ind.bin',#0ab;c'd\n");
    EXPECT_TRUE(h.drainErrors().empty());
    EXPECT_EQ(qvtest::readFile(h.inst->rootPath() + "/D/ind.bin"), "ab;c'd");
}

TEST(Strings, UnterminatedStringAtEndIsInvalidStringData) {
    // Over a stream an open string swallows LF; END closes the message.
    Harness h("TKD", {}, qv::sim::Session::Mode::Queued);
    h.send("MMEM:DATA? 'unterminated\n", true);
    EXPECT_EQ(h.errorCodes(), std::vector<int>{-151});
}

TEST(Blocks, EndInsideABlockIsInvalidBlockData) {
    Harness h("TKD", {}, qv::sim::Session::Mode::Queued);
    h.send("MMEM:DATA 'short.bin',#210abc", true);  // END with 7 of 10 bytes missing
    EXPECT_EQ(h.drainErrors(), std::vector<int>{-161});
    EXPECT_FALSE(std::filesystem::exists(h.inst->rootPath() + "/D/short.bin"));
    // The next message is parsed afresh.
    h.send("*OPC\n", true);
    EXPECT_TRUE(h.drainErrors().empty());
}

TEST(Blocks, UnspoolableUploadIsReportedNotHalfWritten) {
    qv::sim::InstrumentOptions o;
    o.spillThreshold = 4;
    Harness h("TKD", o);
    std::filesystem::remove_all(h.inst->spoolPath());  // nowhere to spool
    h.send("MMEM:DATA 'big.bin'," + definite("0123456789") + "\n");
    EXPECT_EQ(h.drainErrors(), std::vector<int>{-254});
    EXPECT_FALSE(std::filesystem::exists(h.inst->rootPath() + "/D/big.bin"));
}

// --- error queue and status --------------------------------------------------

TEST(ErrorQueue, FirstInFirstOutWithStandardTexts) {
    Harness h;
    h.send("BOGUS\n*ESE\n*ESE 1,2\n*ESE 999\nMMEM:DATA? 'missing.txt'\nMMEM:DATA? 'Q:\\x'\n");
    EXPECT_EQ(h.nextError(), "-113,\"Undefined header\"");
    EXPECT_EQ(h.nextError(), "-109,\"Missing parameter\"");
    EXPECT_EQ(h.nextError(), "-108,\"Parameter not allowed\"");
    EXPECT_EQ(h.nextError(), "-222,\"Data out of range\"");
    EXPECT_EQ(h.nextError(), "-256,\"File name not found\"");
    EXPECT_EQ(h.nextError(), "-257,\"File name error\"");
    EXPECT_EQ(h.nextError(), "0,\"No error\"");
}

TEST(ErrorQueue, OverflowKeepsTheOldestAndMarksTheLast) {
    Harness h;
    for (int i = 1; i <= 15; ++i) h.send("SYST:SIM:ERR " + std::to_string(100 + i) + "\n");
    auto q = h.inst->errorQueue();
    ASSERT_EQ(q.size(), qv::sim::Instrument::kErrorQueueSize);
    for (size_t i = 0; i + 1 < q.size(); ++i) EXPECT_EQ(q[i].code, 101 + int(i));
    EXPECT_EQ(q.back().code, -350);
    EXPECT_EQ(q.back().text, "Queue overflow");
    EXPECT_EQ(h.send(":SYST:ERR:COUN?\n"), "10\n");
}

TEST(ErrorQueue, AllReadsAndEmpties) {
    Harness h;
    h.send("SYST:SIM:ERR -222\nSYST:SIM:ERR 7,'custom'\n");
    EXPECT_EQ(h.send("SYST:ERR:ALL?\n"), "-222,\"Data out of range\",7,\"custom\"\n");
    EXPECT_EQ(h.send("SYST:ERR:ALL?\n"), "0,\"No error\"\n");
}

struct EsrCase {
    const char* trigger;
    int esr;  // after the power-on bit was read away
};
std::ostream& operator<<(std::ostream& os, const EsrCase& c) { return os << c.trigger; }
class EventStatus : public ::testing::TestWithParam<EsrCase> {};

TEST_P(EventStatus, ErrorClassSetsItsBitAndReadingClears) {
    Harness h;
    EXPECT_EQ(h.send("*ESR?\n"), "128\n");  // power on
    h.send(std::string(GetParam().trigger) + "\n");
    EXPECT_EQ(h.send("*ESR?\n"), std::to_string(GetParam().esr) + "\n");
    EXPECT_EQ(h.send("*ESR?\n"), "0\n");
}

INSTANTIATE_TEST_SUITE_P(Classes, EventStatus,
                         ::testing::Values(EsrCase{"BOGUS", 32}, EsrCase{"*ESE 300", 16},
                                           EsrCase{"SYST:SIM:ERR -410", 4}, EsrCase{"SYST:SIM:ERR -310", 8},
                                           EsrCase{"SYST:SIM:ERR 42", 8}, EsrCase{"*OPC", 1},
                                           EsrCase{"BOGUS\n*ESE 300\n*OPC", 49}, EsrCase{"*OPC?", 0}));

TEST(StatusByte, SummaryBits) {
    Harness h;
    h.send("*ESR?\n");
    EXPECT_EQ(h.send("*STB?\n"), "0\n");
    EXPECT_EQ(h.send("*IDN?;*STB?\n"), "Tesselhorn,TKD-7,100123/007,4.40;16\n");  // MAV
    h.send("BOGUS\n");
    EXPECT_EQ(h.send("*STB?\n"), "4\n");  // error queue not empty; ESB masked
    h.send("*ESE 32\n");
    EXPECT_EQ(h.send("*STB?\n"), "36\n");  // ESB now enabled
    h.send("*SRE 32\n");
    EXPECT_EQ(h.send("*STB?;*SRE?\n"), "100;32\n");  // MSS from ESB
    h.send("*CLS\n");
    EXPECT_EQ(h.send("*STB?;*ESE?\n"), "0;32\n");  // *CLS keeps the enable registers
}

// --- -410 / queued output ---------------------------------------------------

TEST(QueuedOutput, UnreadAnswerIsInterruptedButALoneTerminatorIsNot) {
    Harness h("TKD", {}, qv::sim::Session::Mode::Queued);
    h.send("*IDN?\n");
    ASSERT_NE(h.session->pending(), nullptr);
    h.send("*OPT?\n");
    EXPECT_EQ(h.errorCodes(), std::vector<int>{-410});
    auto* p = h.session->pending();
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(p->msg.data.toString(), "TR1,PA3,GT2\n");
    h.session->consume(p->remaining() - 1);  // everything but the LF
    h.send("*OPC?\n");
    EXPECT_EQ(h.errorCodes(), std::vector<int>{-410});  // no second one
    ASSERT_NE(h.session->pending(), nullptr);
    EXPECT_EQ(h.session->pending()->msg.data.toString(), "1\n");
    EXPECT_EQ(h.session->statusByte() & 0x10, 0x10);
    h.session->clear();
    EXPECT_EQ(h.session->pending(), nullptr);
    EXPECT_EQ(h.session->statusByte() & 0x10, 0);
}

TEST(QueuedOutput, EndFlagEndsAMessageWithoutLf) {
    Harness h("TKD", {}, qv::sim::Session::Mode::Queued);
    h.send("*OP");
    EXPECT_EQ(h.session->pending(), nullptr);
    h.send("C?", true);
    ASSERT_NE(h.session->pending(), nullptr);
    EXPECT_EQ(h.session->pending()->msg.data.toString(), "1\n");
}

// --- faults -------------------------------------------------------------------

TEST(Faults, ErrorFaultFollowsOnlyItsCommand) {
    Harness h;
    h.send("SYST:SIM:FAUL 'error=-300@*IDN?'\n");
    h.send("*OPT?\n");
    EXPECT_TRUE(h.drainErrors().empty());
    EXPECT_EQ(h.send("*IDN?\n"), "Tesselhorn,TKD-7,100123/007,4.40\n");
    h.send("*IDN?\n");
    EXPECT_EQ(h.drainErrors(), (std::vector<int>{-300, -300}));
    h.send("SYST:SIM:FAUL:CLE\n*IDN?\n");
    EXPECT_TRUE(h.drainErrors().empty());
}

TEST(Faults, DeliveryFaultsMarkOnlyMatchingAnswers) {
    Harness h;
    ASSERT_EQ(h.send("SYST:SIM:FAUL 'delay=250@SYSTem:ERRor:NEXT?';FAUL 'drop=3@*OPT?';FAUL 'silent@*TST?'\n"), "");
    ASSERT_TRUE(h.drainErrors().empty());
    h.send("*IDN?\n");
    EXPECT_EQ(h.last.delayMs, 0u);
    EXPECT_FALSE(h.last.dropAfter.has_value());
    EXPECT_FALSE(h.last.silent);
    h.send("SYST:ERR?\n");
    EXPECT_EQ(h.last.delayMs, 250u);
    h.send("*IDN?;*OPT?\n");
    ASSERT_TRUE(h.last.dropAfter.has_value());
    EXPECT_EQ(*h.last.dropAfter, std::strlen("Tesselhorn,TKD-7,100123/007,4.40;") + 3);
    h.send("*TST?\n");
    EXPECT_TRUE(h.last.silent);
    EXPECT_EQ(h.send("SYST:SIM:FAUL?\n"), "\"delay=250@SYSTem:ERRor:NEXT?\",\"drop=3@*OPT?\",\"silent@*TST?\"\n");
}

TEST(Faults, CorruptBlockDamagesTheHeaderOfThatAnswerOnly) {
    Harness h;
    h.send("MMEM:DATA 'a.bin',#15hello\n");
    h.send("SYST:SIM:FAUL 'corrupt-block@MMEM:DATA?'\n");
    EXPECT_EQ(h.send("MMEM:DATA? 'a.bin'\n"), "#25hello\n");  // claims two length digits
    h.send("FORM REAL;:SYST:SIM:POIN 3\n");
    EXPECT_EQ(h.send("TRAC? TRACE1\n").substr(0, 4), "#212");
}

class FaultSpecs : public ::testing::TestWithParam<const char*> {};
TEST_P(FaultSpecs, MalformedSpecIsRefused) {
    qv::sim::Fault f;
    std::string why;
    EXPECT_FALSE(qv::sim::parseFault(GetParam(), f, why));
    EXPECT_FALSE(why.empty());
    Harness h;
    h.send(std::string("SYST:SIM:FAUL '") + GetParam() + "'\n");
    EXPECT_EQ(h.drainErrors(), std::vector<int>{-224});
}
INSTANTIATE_TEST_SUITE_P(Bad, FaultSpecs,
                         ::testing::Values("delay", "delay=x", "delay=-5", "drop=", "error=0", "silent=1", "explode",
                                           "silent@", "silent@NOPE?", "delay=10@*IDN? extra"));

// --- mode, format, traces ----------------------------------------------------

struct ModeCase {
    const char* profile;
    const char* initial;
    const char* accepted;
    const char* refused;
};
class Modes : public ::testing::TestWithParam<ModeCase> {};
TEST_P(Modes, ProfileDecidesTheWords) {
    const auto& c = GetParam();
    Harness h(c.profile);
    EXPECT_EQ(h.send("INST:SEL?\n"), std::string(c.initial) + "\n");
    std::string word = c.accepted;
    h.send("INST " + word + "\n");
    for (auto& ch : word) ch = char(std::toupper(static_cast<unsigned char>(ch)));
    EXPECT_EQ(h.send("INST?\n"), word + "\n");
    h.send(std::string("INST ") + c.refused + "\n");
    EXPECT_EQ(h.drainErrors(), std::vector<int>{-224});
    h.send("*RST\n");
    EXPECT_EQ(h.send("INST?\n"), std::string(c.initial) + "\n");
}
INSTANTIATE_TEST_SUITE_P(Families, Modes,
                         ::testing::Values(ModeCase{"TKD", "SAN", "adem", "NWA"}, ModeCase{"TKW", "SAN", "NWA", "XYZ"},
                                           ModeCase{"VHJO", "SAN", "REC", "NWA"}, ModeCase{"KDC", "NWA", "NWA", "SAN"},
                                           ModeCase{"GLN", "SAN", "SAN", "REC"}));

TEST(Traces, RealBlockCarriesTheCurveAsLittleEndianFloats) {
    Harness h;
    h.send("FORM REAL,32\n");
    std::string a = h.send("TRAC:DATA? TRACE2\n");
    ASSERT_EQ(a.substr(0, 6), "#44004");
    ASSERT_EQ(a.size(), 6 + 4004 + 1);
    EXPECT_EQ(a.back(), '\n');
    for (uint32_t i : {0u, 250u, 1000u}) {
        const auto* b = reinterpret_cast<const uint8_t*>(a.data() + 6 + 4 * i);
        uint32_t bits = uint32_t(b[0]) | uint32_t(b[1]) << 8 | uint32_t(b[2]) << 16 | uint32_t(b[3]) << 24;
        float v;
        std::memcpy(&v, &bits, 4);
        EXPECT_EQ(v, qv::sim::traceValue(2, i, 1001));
    }
    EXPECT_EQ(h.send("TRAC? TRACE2\n"), a);  // deterministic
    EXPECT_NE(h.send("TRAC? TRACE1\n"), a);
    EXPECT_EQ(h.send("FORM?\n"), "REAL,32\n");
}

TEST(Traces, CurveLooksLikeASpectrum) {
    float peak = -1000, floorSum = 0;
    for (uint32_t i = 0; i < 1001; ++i) {
        float v = qv::sim::traceValue(1, i, 1001);
        peak = std::max(peak, v);
        if (i < 100) floorSum += v;
    }
    EXPECT_GT(peak, -40.0f);  // a strong carrier
    EXPECT_LT(floorSum / 100, -80.0f);  // over a low noise floor
}

TEST(Traces, AsciiHasOneValuePerPointAndFollowsPoints) {
    Harness h;
    h.send("SYST:SIM:POIN 5\n");
    std::string a = h.send("TRAC? TRACE1\n");
    ASSERT_FALSE(a.empty());
    EXPECT_EQ(a.back(), '\n');
    std::regex nr3("^(-?\\+?[0-9]\\.[0-9]{6}E[+-][0-9]{2},){4}[-+][0-9]\\.[0-9]{6}E[+-][0-9]{2}\n$");
    EXPECT_TRUE(std::regex_match(a, nr3)) << a;
    EXPECT_NEAR(std::stof(a.substr(0, 13)), qv::sim::traceValue(1, 0, 5), 1e-4);
    h.send("TRAC? TRACE7\n");
    h.send("TRAC? LIST\n");
    EXPECT_EQ(h.drainErrors(), (std::vector<int>{-224, -224}));
}

TEST(Traces, LongTraceStreamsFromAGeneratorWithTheSameBytes) {
    Harness h;
    h.send("FORM REAL;:SYST:SIM:POIN 100000\n");
    h.send("TRAC? TRACE1\n");
    const auto& pieces = h.last.data.pieces();
    bool generated = false;
    for (const auto& p : pieces) generated = generated || p.kind == qv::sim::Piece::Kind::Generated;
    EXPECT_TRUE(generated);
    std::string all = h.last.data.toString();
    ASSERT_EQ(all.size(), 2 + 6 + 400000 + 1);
    float v;
    std::memcpy(&v, all.data() + 8 + 4 * 77777, 4);
    EXPECT_EQ(v, qv::sim::traceValue(1, 77777, 100000));
}

// --- profiles --------------------------------------------------------------

class Profiles : public ::testing::TestWithParam<qv::sim::Profile> {};
TEST_P(Profiles, IdentifiesAsItsFamily) {
    const auto& p = GetParam();
    Harness h(p.tag);
    std::string idn = h.send("*IDN?\n");
    std::regex form("^Tesselhorn," + p.tag + "-[0-9A-Z]+,[0-9]{6}/[0-9]{3},[0-9]+\\.[0-9]{2}\n$");
    EXPECT_TRUE(std::regex_match(idn, form)) << idn;
    EXPECT_FALSE(h.send("*OPT?\n").empty());
    // The older network analyzer names its active channel instead.
    EXPECT_EQ(h.send("INST?\n"), p.fixedNetworkChannels ? "CHANNEL1\n" : p.networkAnalyzer ? "NWA\n" : "SAN\n");
    // The start folder exists and is where relative names go.
    h.send("MMEM:DATA 'probe.txt',#12ok\n");
    EXPECT_TRUE(h.drainErrors().empty());
}
INSTANTIATE_TEST_SUITE_P(All, Profiles, ::testing::ValuesIn(qv::sim::allProfiles()),
                         [](const auto& info) { return info.param.tag; });

TEST(ProfileTable, CoversTheFamiliesWithAnOldFirmwareAnalyzer) {
    // 33 families and 6 alias models.
    EXPECT_EQ(qv::sim::allProfiles().size(), 39u);
    EXPECT_NE(qv::sim::findProfile("tkd"), nullptr);
    EXPECT_EQ(qv::sim::findProfile("XYZ"), nullptr);
    bool old = false;
    for (const auto& p : qv::sim::allProfiles())
        old = old || ((p.tag == "TKD" || p.tag == "TKM" || p.tag == "TKB") && p.identity.find(",3.4") != std::string::npos);
    EXPECT_TRUE(old);
    std::string err;
    qv::sim::InstrumentOptions o;
    o.profile = "NOPE";
    EXPECT_EQ(qv::sim::Instrument::create(o, err), nullptr);
    EXPECT_NE(err.find("TKD, TKM"), std::string::npos);
}

}  // namespace
