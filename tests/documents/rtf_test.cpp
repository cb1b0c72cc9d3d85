// The report composer's output, and the reader on that output and on
// sources the composer never writes.
#include "documents/rtf_gen.h"
#include "documents/rtf_reader.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace qv::documents;

// A box that records what the composer did to it.
class FakeBox : public RichTextBox {
public:
    std::string font, source;
    int clears = 0, sets = 0, scrolls = 0;
    void setFontName(const std::string& name) override { font = name; }
    void clearText() override {
        ++clears;
        source.clear();
    }
    void setRtf(const std::string& s) override {
        ++sets;
        source = s;
    }
    const std::string& rtf() const override { return source; }
    void scrollToEnd() override { ++scrolls; }
};

struct ColorCase {
    int32_t value;
    int index;  // 0: no table entry
    uint8_t r, g, b;
};

const ColorCase kColors[] = {
    {0, 1, 0, 0, 0},          {255, 2, 255, 0, 0},          {65280, 3, 0, 255, 0},
    {16711680, 4, 0, 0, 255}, {12632256, 5, 127, 127, 127}, {49152, 6, 0, 127, 0},
    {33023, 7, 255, 128, 0},  {16777215, 8, 255, 255, 255}, {0x123456, 0, 0, 0, 0},
    {-1, 0, 0, 0, 0},
};

class Colors : public ::testing::TestWithParam<ColorCase> {};

TEST_P(Colors, TagsNameTheTableEntry) {
    const ColorCase& c = GetParam();
    const std::string fore = "\\cf" + std::to_string(c.index == 0 ? 1 : c.index);
    const std::string back = c.index == 0 ? "" : "\\highlight" + std::to_string(c.index);
    EXPECT_EQ(RunTags(false, false, false, c.value, 7, c.value), fore + back);
}

TEST_P(Colors, ReadBackAsTheTableColour) {
    const ColorCase& c = GetParam();
    FakeBox box;
    std::string buf;
    RTFInit(box, buf, "Courier", 20);
    RTFAdd(box, buf, "t", false, false, false, false, c.value, 0, c.value, true);
    RtfDocument doc;
    ASSERT_TRUE(ReadRtf(box.rtf(), doc));
    ASSERT_EQ(doc.paragraphs.size(), 1u);
    ASSERT_EQ(doc.paragraphs[0].runs.size(), 1u);
    const RtfRun& run = doc.paragraphs[0].runs[0];
    // A colour without an entry is written as black.
    const ColorCase shown = c.index == 0 ? kColors[0] : c;
    ASSERT_TRUE(run.hasColor);
    EXPECT_EQ(std::vector<int>({run.color.r, run.color.g, run.color.b}), std::vector<int>({shown.r, shown.g, shown.b}));
    EXPECT_EQ(run.hasBackground, c.index != 0);
    if (run.hasBackground) {
        EXPECT_EQ(std::vector<int>({run.background.r, run.background.g, run.background.b}),
                  std::vector<int>({c.r, c.g, c.b}));
    }
}

INSTANTIATE_TEST_SUITE_P(Rtf, Colors, ::testing::ValuesIn(kColors));

struct AlignCase {
    int align;
    const char* tag;
    RtfAlign read;
};

class Alignment : public ::testing::TestWithParam<AlignCase> {};

TEST_P(Alignment, TagAndParagraph) {
    const AlignCase& a = GetParam();
    EXPECT_EQ(RunTags(false, false, false, 0, a.align, -1), std::string("\\cf1") + a.tag);
    FakeBox box;
    std::string buf;
    RTFInit(box, buf, "Arial", 24);
    RTFAdd(box, buf, "line", true, false, false, false, 0, a.align, -1, false);
    RTFAdd(box, buf, "next", false, false, false, false, 0, 0, -1, true);
    RtfDocument doc;
    ASSERT_TRUE(ReadRtf(box.rtf(), doc));
    ASSERT_EQ(doc.paragraphs.size(), 2u);
    EXPECT_EQ(doc.paragraphs[0].align, a.read);
    EXPECT_EQ(doc.paragraphs[1].align, RtfAlign::Left);
}

INSTANTIATE_TEST_SUITE_P(Rtf, Alignment,
                         ::testing::Values(AlignCase{0, "\\ql", RtfAlign::Left}, AlignCase{1, "\\qr", RtfAlign::Right},
                                           AlignCase{2, "\\qc", RtfAlign::Center}, AlignCase{3, "", RtfAlign::Left},
                                           AlignCase{-1, "", RtfAlign::Left}));

TEST(RtfComposer, TagsInTheirOrder) {
    EXPECT_EQ(RunTags(true, true, true, 255, 2, 0), "\\b\\i\\ul\\cf2\\highlight1\\qc");
    EXPECT_EQ(RunTags(false, true, false, 0, 1, -1), "\\i\\cf1\\qr");
    EXPECT_EQ(RunTags(false, false, true, 0, 0, 16777215), "\\ul\\cf1\\highlight8\\ql");
}

TEST(RtfComposer, RunTextIsEscapedAndEndsItsLine) {
    FakeBox box;
    std::string buf;
    RTFInit(box, buf, "Courier", 20);
    EXPECT_EQ(buf, kColorTable);
    EXPECT_EQ(box.font, "Courier");
    EXPECT_EQ(box.clears, 1);
    EXPECT_EQ(box.source, kColorTable);
    RTFAdd(box, buf, "x", false, false, false, false, 0, 0, -1, false);
    EXPECT_EQ(buf, std::string(kColorTable) + "{\\cf1\\ql x}");
    RTFAdd(box, buf, "C:\\dir\\", true, true, false, false, 255, 1, -1, false);
    EXPECT_EQ(buf, std::string(kColorTable) + "{\\cf1\\ql x}{\\b\\cf2\\qr C:\\\\dir\\\\\\par}");
}

TEST(RtfComposer, OnlyAFlushChangesTheBoxAndItUsesTheLastSize) {
    FakeBox box;
    std::string buf;
    RTFInit(box, buf, "Courier", 20);
    const int setsAfterInit = box.sets;
    RTFAdd(box, buf, "a", false, false, false, false, 0, 0, -1, false);
    EXPECT_EQ(box.sets, setsAfterInit);
    EXPECT_EQ(box.source, kColorTable);
    RTFAdd(box, buf, "b", false, false, false, false, 0, 0, -1, true);
    EXPECT_EQ(box.sets, setsAfterInit + 1);
    EXPECT_EQ(box.scrolls, 1);
    EXPECT_EQ(box.source, "{\\plain\\fs20" + buf + "}");
    // A flush of another size is the size of the next run's flush.
    RTFFlush(box, buf, 31);
    RTFAdd(box, buf, "c", false, false, false, false, 0, 0, -1, true);
    EXPECT_EQ(box.source.rfind("{\\plain\\fs31{\\colortbl", 0), 0u);
}

// The document's text, paragraphs joined by "\n".
std::string Text(const RtfDocument& doc) {
    std::string out;
    for (size_t i = 0; i < doc.paragraphs.size(); ++i) {
        if (i) out += '\n';
        for (const RtfRun& r : doc.paragraphs[i].runs) out += r.text;
    }
    return out;
}

TEST(RtfReader, AComposedReportReadsBackRunByRun) {
    FakeBox box;
    std::string buf;
    RTFInit(box, buf, "Courier", 20);
    RTFAdd(box, buf, "Name: ", false, true, false, false, 0, 0, -1, false);
    RTFAdd(box, buf, "C:\\data", true, false, false, false, 12632256, 0, 65280, false);
    RTFAdd(box, buf, "centre", true, false, true, true, 255, 2, -1, false);
    RTFAdd(box, buf, " right", false, false, false, false, 33023, 1, -1, true);
    RtfDocument doc;
    ASSERT_TRUE(ReadRtf(box.rtf(), doc));
    EXPECT_EQ(Text(doc), "Name: C:\\data\ncentre\n right");
    ASSERT_EQ(doc.paragraphs.size(), 3u);
    EXPECT_EQ(doc.paragraphs[0].align, RtfAlign::Left);
    EXPECT_EQ(doc.paragraphs[1].align, RtfAlign::Center);
    EXPECT_EQ(doc.paragraphs[2].align, RtfAlign::Right);
    const auto& p0 = doc.paragraphs[0].runs;
    ASSERT_EQ(p0.size(), 2u);
    EXPECT_TRUE(p0[0].bold);
    EXPECT_EQ(p0[0].halfPoints, 20);
    EXPECT_FALSE(p0[1].bold);
    EXPECT_EQ(p0[1].color.r, 127);
    EXPECT_TRUE(p0[1].hasBackground);
    EXPECT_EQ(p0[1].background.g, 255);
    const RtfRun& centre = doc.paragraphs[1].runs.at(0);
    EXPECT_TRUE(centre.italic && centre.underline && !centre.bold);
    EXPECT_EQ(centre.color.r, 255);
    EXPECT_EQ(doc.paragraphs[2].runs.at(0).color.g, 128);
}

TEST(RtfReader, GroupsScopeAttributesAndPlainResets) {
    RtfDocument doc;
    ASSERT_TRUE(ReadRtf("{\\fs30\\b a{\\i\\ul b}c\\plain d\\b1 e\\b0 f}", doc));
    const auto& r = doc.paragraphs.at(0).runs;
    ASSERT_EQ(r.size(), 6u);
    EXPECT_EQ(r[0].text, "a");
    EXPECT_TRUE(r[1].bold && r[1].italic && r[1].underline);
    EXPECT_TRUE(r[2].bold && !r[2].italic && r[2].halfPoints == 30);
    EXPECT_TRUE(!r[3].bold && r[3].halfPoints == 24);
    EXPECT_TRUE(r[4].bold);
    EXPECT_FALSE(r[5].bold);
}

TEST(RtfReader, ColoursComeFromTheSourcesOwnTable) {
    RtfDocument doc;
    ASSERT_TRUE(ReadRtf("{{\\colortbl;\\red1\\green2\\blue3;}\\cf1 a\\cf2 b\\cf-1 c\\highlight1 d\\cf0 e}", doc));
    const auto& r = doc.paragraphs.at(0).runs;
    ASSERT_EQ(r.size(), 3u);
    EXPECT_TRUE(r[0].hasColor);
    EXPECT_EQ(r[0].color.b, 3);
    // Index 2 lies beyond the table, -1 before it, 0 is "automatic": no colour.
    EXPECT_EQ(r[1].text, "bc");
    EXPECT_FALSE(r[1].hasColor);
    EXPECT_EQ(r[2].text, "de");
    EXPECT_TRUE(r[2].hasBackground && !r[2].hasColor);
}

struct MalformedCase {
    const char* name;
    std::string source;
    bool ok;
    std::string text;
};

void PrintTo(const MalformedCase& m, std::ostream* os) {
    *os << m.name;
}

class Malformed : public ::testing::TestWithParam<MalformedCase> {};

TEST_P(Malformed, KeepsWhatWasRead) {
    const MalformedCase& m = GetParam();
    RtfDocument doc;
    EXPECT_EQ(ReadRtf(m.source, doc), m.ok);
    EXPECT_EQ(Text(doc), m.text);
    ASSERT_FALSE(doc.paragraphs.empty());
}

INSTANTIATE_TEST_SUITE_P(
    Rtf, Malformed,
    ::testing::Values(
        MalformedCase{"Unclosed", "{\\b bold", false, "bold"}, MalformedCase{"ExtraClose", "{a}}b", false, "ab"},
        MalformedCase{"TooDeep", std::string(100, '{') + "x" + std::string(100, '}') + "y", false, "xy"},
        MalformedCase{"DeepestAllowed", std::string(64, '{') + "x" + std::string(64, '}'), true, "x"},
        MalformedCase{"TruncatedWord", "{a\\pl", false, "a"}, MalformedCase{"LoneBackslash", "{a}\\", false, "a"},
        MalformedCase{"TruncatedHex", "{a\\'4", false, "a4"}, MalformedCase{"BadHex", "{a\\'zz}", false, "azz"},
        MalformedCase{"Escapes", "{\\'41\\{\\}\\\\\\~b}", true, "A{}\\ b"},
        MalformedCase{"HugeParameter", "{\\fs99999999999999999999 x\\cf123456789012 y}", true, "xy"},
        MalformedCase{"Unicode", "{\\u252?\\u-10179?\\u-8704?.\\u8364?x}", true,
                      "\xC3\xBC\xF0\x9F\x98\x80.\xE2\x82\xACx"},
        MalformedCase{"HiddenTables", "{{\\fonttbl{\\f0 Arial;}}{\\*\\gen me}{\\colortbl;\\red9;}a\\par b}", true,
                      "a\nb"},
        MalformedCase{"LineEnds", "{a\r\nb\\\nc}", true, "ab\nc"}),
    [](const ::testing::TestParamInfo<MalformedCase>& i) { return std::string(i.param.name); });

TEST(RtfReader, SizesStayInBounds) {
    RtfDocument doc;
    ASSERT_TRUE(ReadRtf("{\\fs99999 a\\fs0 b\\fs-4 c\\fs7 d}", doc));
    const auto& r = doc.paragraphs.at(0).runs;
    ASSERT_EQ(r.size(), 3u);
    EXPECT_EQ(r[0].halfPoints, 2000);
    EXPECT_EQ(r[1].text, "bc");
    EXPECT_EQ(r[1].halfPoints, 24);
    EXPECT_EQ(r[2].halfPoints, 7);
}

}  // namespace
