// Header matching against a command table: short and long forms, optional
// nodes, numeric suffixes and their ranges.
#include <gtest/gtest.h>

#include "sim/command_table.h"
#include "sim/response.h"

namespace {

void noop(qv::sim::CommandContext&) {}

const qv::sim::CommandTable& table() {
    static const qv::sim::CommandTable t({
        {"[SENSe]:FREQuency:CENTer", noop, noop},
        {"CALCulate#4:MARKer#16[:STATe]", noop, noop},
        {"[SENSe]:BANDwidth[:RESolution]", noop, nullptr},
        {"HCOPy:DEVice:LANGuage", noop, noop},
        {"*IDN", nullptr, noop},
    });
    return t;
}

struct MatchCase {
    std::vector<std::string> nodes;
    int row;  // -1: no match
    std::vector<int> suffixes;
    int error;
};
std::ostream& operator<<(std::ostream& os, const MatchCase& c) {
    for (const auto& n : c.nodes) os << n << ':';
    return os;
}
class HeaderMatching : public ::testing::TestWithParam<MatchCase> {};

TEST_P(HeaderMatching, FindsTheRowAndSuffixes) {
    const auto& c = GetParam();
    qv::sim::HeaderMatch m;
    int error = 0;
    bool found = table().find(false, c.nodes, m, error);
    ASSERT_EQ(found, c.row >= 0) << error;
    if (found) {
        EXPECT_EQ(m.command, &table().commands()[size_t(c.row)]);
        EXPECT_EQ(m.suffixes, c.suffixes);
    } else {
        EXPECT_EQ(error, c.error);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Table, HeaderMatching,
    ::testing::Values(MatchCase{{"FREQ", "CENT"}, 0, {}, 0}, MatchCase{{"SENS", "FREQ", "CENT"}, 0, {}, 0},
                      MatchCase{{"sense", "frequency", "center"}, 0, {}, 0},
                      MatchCase{{"SENSe", "FREQ", "CENTER"}, 0, {}, 0},
                      MatchCase{{"SENS", "FREQ"}, -1, {}, -113}, MatchCase{{"SEN", "FREQ", "CENT"}, -1, {}, -113},
                      MatchCase{{"FREQ1", "CENT"}, -1, {}, -113},  // no suffix on this node
                      MatchCase{{"CALC2", "MARK3"}, 1, {2, 3}, 0}, MatchCase{{"CALC", "MARK"}, 1, {1, 1}, 0},
                      MatchCase{{"CALCULATE4", "MARKER16", "STAT"}, 1, {4, 16}, 0},
                      MatchCase{{"CALC5", "MARK"}, -1, {}, -114}, MatchCase{{"CALC0", "MARK"}, -1, {}, -114},
                      MatchCase{{"CALC1", "MARK17", "STATE"}, -1, {}, -114},
                      MatchCase{{"CALC2X", "MARK"}, -1, {}, -113}, MatchCase{{"BAND"}, 2, {}, 0},
                      MatchCase{{"SENS", "BAND", "RES"}, 2, {}, 0}, MatchCase{{"BWID"}, -1, {}, -113},
                      MatchCase{{"HCOP", "DEV", "LANG"}, 3, {}, 0},
                      MatchCase{{"HCOPY", "DEVICE", "LANGUAGE"}, 3, {}, 0},
                      MatchCase{{"HCOP", "DEV", "LANG", "EXTRA"}, -1, {}, -113}));

TEST(HeaderMatching, CommonHeadersOnlyMatchCommonRows) {
    qv::sim::HeaderMatch m;
    int error = 0;
    EXPECT_TRUE(table().find(true, {"idn"}, m, error));
    EXPECT_FALSE(table().find(false, {"IDN"}, m, error));
    EXPECT_FALSE(table().find(true, {"FREQ"}, m, error));
}

TEST(Patterns, MalformedPatternsAreRejected) {
    qv::sim::Command c;
    for (const char* bad : {"", "[SENSe", "SENSe]", "[[A]]", "A:[B", "::", "*"})
        EXPECT_FALSE(qv::sim::parsePattern(bad, c)) << bad;
    ASSERT_TRUE(qv::sim::parsePattern("[SENSe:]FREQuency", c));
    ASSERT_EQ(c.nodes.size(), 2u);
    EXPECT_TRUE(c.nodes[0].optional);
    EXPECT_EQ(c.nodes[1].shortForm, "FREQ");
    EXPECT_EQ(c.nodes[1].longForm, "FREQUENCY");
}

TEST(Patterns, EveryRowOfTheInstrumentTableParses) {
    size_t rows = qv::sim::commonCommands().size() + qv::sim::systemCommands().size() +
                  qv::sim::massMemoryCommands().size() + qv::sim::measurementCommands().size() +
                  qv::sim::hardcopyCommands().size() + qv::sim::serviceCommands().size() +
                  qv::sim::correctionCommands().size() + qv::sim::tableCommands().size() +
                  qv::sim::traceCommands().size() + qv::sim::networkCommands().size() +
                  qv::sim::scopeCommands().size();
    EXPECT_EQ(qv::sim::commandTable().commands().size(), rows);
}

// Responses made of memory, file and generated pieces read back as one
// byte string from any offset (the VXI-11 server slices them so).
class Counting final : public qv::sim::Generator {
public:
    uint64_t size() const override { return 100000; }
    void fill(uint64_t off, uint8_t* dst, size_t n) const override {
        for (size_t i = 0; i < n; ++i) dst[i] = uint8_t('a' + (off + i) % 26);
    }
};

TEST(Responses, PiecesReadBackSeamlessly) {
    FILE* f = std::tmpfile();
    ASSERT_NE(f, nullptr);
    std::string fileData(70000, 'F');
    fileData[12345] = '!';
    std::fwrite(fileData.data(), 1, fileData.size(), f);
    std::fflush(f);
    qv::sim::Response r;
    r.append("head;");
    r.appendFile(std::make_shared<qv::sim::OpenFile>(::dup(fileno(f))), 5, 60000);
    r.appendGenerated(std::make_shared<Counting>());
    r.append("\n");
    std::fclose(f);
    std::string expect = "head;" + fileData.substr(5, 60000);
    Counting c;
    std::string gen(100000, '\0');
    c.fill(0, reinterpret_cast<uint8_t*>(gen.data()), gen.size());
    expect += gen + "\n";
    ASSERT_EQ(r.size(), expect.size());
    EXPECT_EQ(r.toString(), expect);
    for (uint64_t off : {0ull, 3ull, 5ull, 59999ull, 60004ull, 60005ull, 160004ull}) {
        std::string part(1000, '\0');
        size_t n = r.copyOut(off, reinterpret_cast<uint8_t*>(part.data()), part.size());
        part.resize(n);
        EXPECT_EQ(part, expect.substr(size_t(off), 1000)) << off;
    }
    EXPECT_EQ(r.find('!', 0, r.size()), std::optional<uint64_t>(5 + 12345 - 5));
    EXPECT_EQ(r.find('!', 12346, r.size()), std::nullopt);
    EXPECT_EQ(r.find('\n', 0, r.size()), std::optional<uint64_t>(expect.size() - 1));
    EXPECT_EQ(r.find('\n', 0, 1000), std::nullopt);  // limited scan
}

}  // namespace
