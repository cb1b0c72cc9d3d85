// The waveform header and value texts and the catalogue test, without an
// instrument: what parses, and what is refused before anything is allocated.
#include "trace/reader.h"
#include "trace/waveform_text.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

using namespace qv::trace;

struct HeaderCase {
    const char* text;
    size_t needed;
    bool ok;
    double first, last, samples, perSample;
};

class WaveHeaderTest : public ::testing::TestWithParam<HeaderCase> {};

TEST_P(WaveHeaderTest, ParsesWithAPointWhateverTheSystemUses) {
    const HeaderCase& c = GetParam();
    WaveHeader h;
    std::string why;
    ASSERT_EQ(parseWaveHeader(c.text, c.needed, h, why), c.ok) << why;
    if (!c.ok) {
        EXPECT_FALSE(why.empty());
        return;
    }
    EXPECT_EQ(h.first, c.first);
    EXPECT_EQ(h.last, c.last);
    EXPECT_EQ(h.samples, c.samples);
    EXPECT_EQ(h.perSample, c.perSample);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, WaveHeaderTest,
    ::testing::Values(HeaderCase{"-5.0000E-04,5.0000E-04,10000,1\n", 2, true, -5e-4, 5e-4, 10000, 1},
                      HeaderCase{"-5.0000E-04,5.0000E-04,5000,2", 4, true, -5e-4, 5e-4, 5000, 2},
                      HeaderCase{"0,0,100,1", 4, true, 0, 0, 100, 1},
                      // A decimal comma is a field separator, never a decimal mark.
                      HeaderCase{"1,5,2", 2, true, 1, 5, 2, 0},
                      HeaderCase{"-1E-3,1E-3", 4, false, 0, 0, 0, 0},
                      HeaderCase{"-1E-3", 2, false, 0, 0, 0, 0},
                      HeaderCase{"", 2, false, 0, 0, 0, 0},
                      HeaderCase{"\r\n", 2, false, 0, 0, 0, 0}));

struct CountCase {
    double samples, perSample;
    size_t available;
    bool ok;
    size_t points;
};

class PointCountTest : public ::testing::TestWithParam<CountCase> {};

TEST_P(PointCountTest, IsAWholeNumberWithinWhatCame) {
    const CountCase& c = GetParam();
    WaveHeader h;
    h.samples = c.samples;
    h.perSample = c.perSample;
    size_t n = 0;
    std::string why;
    ASSERT_EQ(headerPointCount(h, c.available, n, why), c.ok) << why;
    if (c.ok) {
        EXPECT_EQ(n, c.points);
    }
}

constexpr double kInf = std::numeric_limits<double>::infinity();
INSTANTIATE_TEST_SUITE_P(Headers, PointCountTest,
                         ::testing::Values(CountCase{1000, 2, 2000, true, 2000}, CountCase{1000, 2, 5000, true, 2000},
                                           CountCase{1000, 2, 1999, false, 0}, CountCase{1, 1, 0, false, 0}, CountCase{0, 1, 10, false, 0},
                                           CountCase{-4, 1, 10, false, 0}, CountCase{2.5, 1, 10, false, 0},
                                           CountCase{1e300, 1e300, 10, false, 0}, CountCase{kInf, 0, 10, false, 0},
                                           CountCase{1e8, 1, size_t(2e8), false, 0}));

TEST(WaveValues, TakesTheAnnouncedCountWithAPoint) {
    EXPECT_EQ(parseWaveValues("1.5E-01,-2.25,3,4", 3), (std::vector<double>{0.15, -2.25, 3}));
    EXPECT_EQ(parseWaveValues("1.5,x,2\n", 3), (std::vector<double>{1.5, 0, 2}));
    EXPECT_EQ(fieldCount(""), 1u);
    EXPECT_EQ(fieldCount("1,2,"), 3u);
}

struct HoldsCase {
    const char* answer;
    const char* item;
    bool holds;
};

class CatalogueHoldsTest : public ::testing::TestWithParam<HoldsCase> {};

TEST_P(CatalogueHoldsTest, NeedsTheItemFollowedByACommaOrTheClosingQuote) {
    EXPECT_EQ(catalogueHolds(GetParam().answer, GetParam().item), GetParam().holds);
}

INSTANTIATE_TEST_SUITE_P(Answers, CatalogueHoldsTest,
                         ::testing::Values(HoldsCase{"'1,Ch1,2,Ch2'", "2", true}, HoldsCase{"'1,Ch1,2,Ch2'", "3", false},
                                           HoldsCase{"'Trc1,S21,Trc2,S11'", "Trc2", true},
                                           HoldsCase{"'Trc1,S21,Trc2,S11'", "S11", true},
                                           HoldsCase{"'Thru,S21,Trc2,S11'", "Trc1", false},
                                           HoldsCase{"''", "Trc1", false}));

}  // namespace
