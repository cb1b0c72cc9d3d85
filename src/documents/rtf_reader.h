// Reads the RTF subset the report composer writes (groups, \plain, \fsN,
// \b \i \ul, \cfN, \highlightN, \ql \qr \qc, \par, \colortbl, "\\") into
// paragraphs of styled runs. Anything else is skipped; the source is never
// trusted (bounded depth, no read past its end).
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
  std::string text; // bytes as written (Latin-1 where not ASCII)
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
  std::vector<RtfParagraph> paragraphs; // at least one
};

// false when the source is not RTF as the composer writes it (unbalanced
// groups, nesting beyond a bound); doc then holds what was read.
bool ReadRtf(std::string_view source, RtfDocument &doc);

} // namespace qv::documents
