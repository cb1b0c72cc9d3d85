// The demodulation summary as a report: 53 labelled values or nothing.
#include "tables/result_report.h"

#include "documents/rtf_gen.h"
#include "documents/rtf_reader.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace qv::tables;
using qv::documents::RichTextBox;

class FakeBox : public RichTextBox {
public:
    std::string font, source;
    int clears = 0;
    void setFontName(const std::string& name) override { font = name; }
    void clearText() override {
        ++clears;
        source.clear();
    }
    void setRtf(const std::string& s) override { source = s; }
    const std::string& rtf() const override { return source; }
    void scrollToEnd() override {}
};

std::string answerOf(int count, const std::string& end = "\n") {
    std::string a;
    for (int i = 0; i < count; ++i) a += (i ? "," : "") + std::to_string(i) + ".5";
    return a + end;
}

// The shown document's paragraphs as plain text lines.
std::vector<std::string> shownLines(const FakeBox& box) {
    qv::documents::RtfDocument doc;
    EXPECT_TRUE(qv::documents::ReadRtf(box.source, doc));
    std::vector<std::string> lines;
    for (const auto& p : doc.paragraphs) {
        std::string line;
        for (const auto& r : p.runs) line += r.text;
        if (!line.empty()) lines.push_back(line);
    }
    return lines;
}

TEST(ResultReport, FiftyThreeValuesEachUnderItsLabel) {
    FakeBox box;
    std::string buffer;
    FormatResultTable(answerOf(53, "\r\n"), box, buffer);
    EXPECT_EQ(box.font, "Lucida Console");
    EXPECT_NE(box.source.find("\\fs20"), std::string::npos);
    const std::vector<std::string> lines = shownLines(box);
    ASSERT_EQ(lines.size(), 53u);
    EXPECT_EQ(lines[0], "EVM (Result)0.5");  // bold label, then its value on the same line
    EXPECT_EQ(lines[22], "Carrier Freq Err (Result)\t22.5");
    EXPECT_EQ(lines[38], "Mean Power (Result)\t38.5");
    EXPECT_EQ(lines[52], "Trigger to Sync (StdDev)\t52.5");  // no line end carried into the value

    qv::documents::RtfDocument doc;
    ASSERT_TRUE(qv::documents::ReadRtf(box.source, doc));
    ASSERT_FALSE(doc.paragraphs[0].runs.empty());
    EXPECT_TRUE(doc.paragraphs[0].runs[0].bold);
    EXPECT_FALSE(doc.paragraphs[1].runs[0].bold);
}

class WrongCount : public ::testing::TestWithParam<std::string> {};

TEST_P(WrongCount, LeavesAnEmptyReport) {
    FakeBox box;
    std::string buffer;
    FormatResultTable(answerOf(53), box, buffer);
    ASSERT_FALSE(shownLines(box).empty());
    FormatResultTable(GetParam(), box, buffer);
    EXPECT_TRUE(shownLines(box).empty());
    EXPECT_TRUE(ResultLines(GetParam()).empty());
}

INSTANTIATE_TEST_SUITE_P(ResultReport, WrongCount,
                         ::testing::Values(answerOf(52), answerOf(54), "", answerOf(53) + ","));

TEST(ResultReport, SecondUpdateReplacesTheFirst) {
    FakeBox box;
    std::string buffer;
    FormatResultTable(answerOf(53), box, buffer);
    std::string second = answerOf(53);
    second.replace(0, 3, "9.25");
    FormatResultTable(second, box, buffer);
    const std::vector<std::string> lines = shownLines(box);
    ASSERT_EQ(lines.size(), 53u);
    EXPECT_EQ(lines[0], "EVM (Result)9.25");
}

TEST(ResultReport, ValuesCannotBreakTheRtfSource) {
    std::string answer = answerOf(53);
    answer.replace(0, 3, "}{\\b x\t");
    FakeBox box;
    std::string buffer;
    FormatResultTable(answer, box, buffer);
    const std::vector<std::string> lines = shownLines(box);
    ASSERT_EQ(lines.size(), 53u);
    EXPECT_EQ(lines[0], "EVM (Result)??\\b x?");
    const std::vector<std::string> plain = ResultLines(answer);
    ASSERT_EQ(plain.size(), 53u);
    EXPECT_EQ(plain[1], "EVM (Peak)\t1.5");
}

}  // namespace
