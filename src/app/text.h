// String cleaning shared by every subsystem (module StringOp), plus the
// small ASCII and UTF-8 helpers the rest of the core builds on. Nothing here
// depends on the process locale.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace qv::app {

inline constexpr const char* kCrLf = "\r\n";

// Fills text shorter than width (counted in UTF-8 characters) with fill.
// mode 0: on the right; 1: on the left; 2: on both sides, half the difference
// on the left, rounded half to even as the classic integer conversion does.
// Longer text, an unknown mode or an empty fill leave the text as it is.
std::string PadText(std::string_view text, int width, int mode, std::string_view fill);

// Trims blanks, then removes LF, CR and NUL from the end, then from the start.
std::string TrimLineEnds(std::string_view text);

// Trims blanks, then removes LF, CR (so also CR LF) and TAB from the end,
// then from the start.
std::string TrimControls(std::string_view text);

// Splits at every separator and cleans each piece with TrimControls. Empty
// text gives no pieces; an empty separator gives the whole text as one piece.
std::vector<std::string> SplitClean(std::string_view text, std::string_view separator);
// The lines of a text file's bytes: each ends at LF or CR LF, so files
// written on Linux read like CR LF files; what follows the last line end is
// the last element (empty when the text ends with a line end).
std::vector<std::string_view> SplitLineViews(std::string_view text);

// Blanks only (the classic Trim), and blanks plus tabs.
std::string TrimBlanks(std::string_view text);
std::string_view TrimBlanksTabs(std::string_view text);

// ASCII-only case handling: names in ini files and SCPI words are ASCII, and
// the result must not change with the user's locale.
std::string ToUpperAscii(std::string_view text);
std::string ToLowerAscii(std::string_view text);
bool EqualsNoCase(std::string_view a, std::string_view b);

// Count of UTF-8 characters (a malformed byte counts as one character).
size_t Utf8Length(std::string_view text);
// The first character's code point and its byte length; a malformed or
// truncated sequence gives its first byte's value and length 1. Empty text
// gives 0 and 0.
uint32_t Utf8First(std::string_view text, size_t* length = nullptr);
std::string Utf8Encode(uint32_t codePoint);
// The longest prefix of at most maxBytes bytes that does not cut a UTF-8
// sequence in two.
std::string_view Utf8Cut(std::string_view text, size_t maxBytes);

}  // namespace qv::app
