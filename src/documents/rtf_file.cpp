#include "documents/rtf_file.h"

#include "documents/rtf_gen.h"

#include <cstdint>
#include <cstdio>
#include <cstring>

namespace qv::documents {

namespace {

// Length of the UTF-8 sequence at s[i] and its code point; 0 when the bytes
// there are no well-formed sequence.
size_t utf8At(std::string_view s, size_t i, uint32_t& cp) {
    const auto b0 = static_cast<unsigned char>(s[i]);
    size_t len = 0;
    uint32_t min = 0;
    if (b0 >= 0xC2 && b0 <= 0xDF) {
        len = 2, cp = b0 & 0x1F, min = 0x80;
    } else if (b0 >= 0xE0 && b0 <= 0xEF) {
        len = 3, cp = b0 & 0x0F, min = 0x800;
    } else if (b0 >= 0xF0 && b0 <= 0xF4) {
        len = 4, cp = b0 & 0x07, min = 0x10000;
    } else {
        return 0;
    }
    if (i + len > s.size()) return 0;
    for (size_t k = 1; k < len; ++k) {
        const auto b = static_cast<unsigned char>(s[i + k]);
        if ((b & 0xC0) != 0x80) return 0;
        cp = (cp << 6) | (b & 0x3F);
    }
    if (cp < min || cp > 0x10FFFF || (cp >= 0xD800 && cp < 0xE000)) return 0;
    return len;
}

void unicodeWord(std::string& out, uint32_t unit) {
    // Signed 16-bit as the format has it; "?" stands in for old readers.
    const int v = unit > 32767 ? int(unit) - 65536 : int(unit);
    out += "\\u" + std::to_string(v) + "?";
}

// Escapes what is beyond ASCII; everything else is already RTF.
std::string escapeHigh(std::string_view s) {
    std::string out;
    out.reserve(s.size());
    for (size_t i = 0; i < s.size();) {
        const auto b = static_cast<unsigned char>(s[i]);
        if (b < 0x80) {
            out += s[i++];
            continue;
        }
        uint32_t cp = 0;
        if (const size_t len = utf8At(s, i, cp)) {
            if (cp >= 0x10000) {
                cp -= 0x10000;
                unicodeWord(out, 0xD800 + (cp >> 10));
                unicodeWord(out, 0xDC00 + (cp & 0x3FF));
            } else {
                unicodeWord(out, cp);
            }
            i += len;
        } else {
            char hex[5];
            std::snprintf(hex, sizeof hex, "\\'%02x", b);
            out += hex;
            ++i;
        }
    }
    return out;
}

}  // namespace

std::string RtfFileText(std::string_view source, std::string_view fontName) {
    std::string font;
    for (char c : fontName)
        if (c != '{' && c != '}' && c != ';' && c != '\\') font += c;
    std::string out = "{\\rtf1\\ansi\\ansicpg1252\\deff0{\\fonttbl{\\f0\\fnil " + font + ";}}";
    // The flushed form "{\plain\fsN" + colour table + runs + "}": the table
    // moves into the header where office programs look for it.
    constexpr std::string_view kPlain = "{\\plain\\fs";
    const std::string_view table = kColorTable;
    size_t digits = kPlain.size();
    while (digits < source.size() && source[digits] >= '0' && source[digits] <= '9') ++digits;
    if (source.substr(0, kPlain.size()) == kPlain && digits > kPlain.size() &&
        source.substr(digits, table.size()) == table && source.back() == '}') {
        out += table;
        out += "\n\\plain\\fs";
        out += source.substr(kPlain.size(), digits - kPlain.size());
        out += " ";
        out += escapeHigh(source.substr(digits + table.size()));
    } else {
        out += "\n";
        out += escapeHigh(source);
        out += "}";
    }
    return out;
}

}  // namespace qv::documents
