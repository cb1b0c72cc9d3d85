// Reads the RTF subset the report composer writes (groups, \plain, \fsN,
// \b \i \ul, \cfN, \highlightN, \ql \qr \qc, \par, \colortbl, "\\") into
// paragraphs of styled runs. An alignment word sets the alignment of the
// paragraph it stands in. Other words are skipped, the font and colour tables
// and "\*" groups show no text; the source is never trusted (bounded depth,
// no read past its end, colour indexes outside the table mean no colour).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace qv::documents {

struct RtfColor {
    uint8_t r = 0, g = 0, b = 0;
};

struct RtfRun {
    // Bytes as written: the composer's text as it came (UTF-8 in this
    // program); "\'hh" gives its byte, "\uN" its character in UTF-8.
    std::string text;
    bool bold = false, italic = false, underline = false;
    int halfPoints = 24;
    bool hasColor = false;
    RtfColor color;
    bool hasBackground = false;
    RtfColor background;
};

enum class RtfAlign { Left, Right, Center };

struct RtfParagraph {
    RtfAlign align = RtfAlign::Left;
    std::vector<RtfRun> runs;
};

struct RtfDocument {
    std::vector<RtfParagraph> paragraphs;  // at least one
};

// false when the source is not RTF as the composer writes it (unbalanced
// groups, nesting beyond a bound); doc then holds what was read.
bool ReadRtf(std::string_view source, RtfDocument& doc);

}  // namespace qv::documents
