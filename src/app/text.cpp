#include "app/text.h"

namespace qv::app {

namespace {

bool isLineEnd(char c) { return c == '\n' || c == '\r' || c == '\0'; }
bool isControl(char c) { return c == '\n' || c == '\r' || c == '\t'; }

template <typename Pred>
std::string stripEndsBy(std::string_view text, Pred drop) {
    size_t end = text.size();
    while (end > 0 && drop(text[end - 1])) --end;
    size_t begin = 0;
    while (begin < end && drop(text[begin])) ++begin;
    return std::string(text.substr(begin, end - begin));
}

}  // namespace

std::string TrimBlanks(std::string_view text) {
    size_t begin = text.find_first_not_of(' ');
    if (begin == std::string_view::npos) return {};
    size_t end = text.find_last_not_of(' ');
    return std::string(text.substr(begin, end - begin + 1));
}

std::string_view TrimBlanksTabs(std::string_view text) {
    size_t begin = text.find_first_not_of(" \t");
    if (begin == std::string_view::npos) return {};
    size_t end = text.find_last_not_of(" \t");
    return text.substr(begin, end - begin + 1);
}

std::string PadText(std::string_view text, int width, int mode, std::string_view fill) {
    std::string out(text);
    size_t length = Utf8Length(text);
    if (width <= 0 || length >= static_cast<size_t>(width) || fill.empty()) return out;
    size_t firstLen = 0;
    Utf8First(fill, &firstLen);
    std::string_view unit = fill.substr(0, firstLen);
    size_t missing = static_cast<size_t>(width) - length;
    auto repeat = [&](size_t n) {
        std::string s;
        s.reserve(n * unit.size());
        for (size_t i = 0; i < n; ++i) s += unit;
        return s;
    };
    switch (mode) {
    case 0: return out + repeat(missing);
    case 1: return repeat(missing) + out;
    case 2: {
        // An odd difference leaves a half: it goes to the even neighbour.
        size_t left = missing / 2;
        if (missing % 2 == 1 && left % 2 == 1) ++left;
        return repeat(left) + out + repeat(missing - left);
    }
    default: return out;
    }
}

std::string TrimLineEnds(std::string_view text) { return stripEndsBy(TrimBlanks(text), isLineEnd); }

std::string TrimControls(std::string_view text) { return stripEndsBy(TrimBlanks(text), isControl); }

std::vector<std::string_view> SplitLineViews(std::string_view text) {
    std::vector<std::string_view> lines;
    for (;;) {
        const size_t lf = text.find('\n');
        std::string_view line = text.substr(0, lf);
        if (lf != std::string_view::npos && !line.empty() && line.back() == '\r') line.remove_suffix(1);
        lines.push_back(line);
        if (lf == std::string_view::npos) return lines;
        text.remove_prefix(lf + 1);
    }
}

std::vector<std::string> SplitClean(std::string_view text, std::string_view separator) {
    std::vector<std::string> parts;
    if (text.empty()) return parts;
    if (separator.empty()) {
        parts.push_back(TrimControls(text));
        return parts;
    }
    size_t pos = 0;
    while (true) {
        size_t next = text.find(separator, pos);
        if (next == std::string_view::npos) {
            parts.push_back(TrimControls(text.substr(pos)));
            break;
        }
        parts.push_back(TrimControls(text.substr(pos, next - pos)));
        pos = next + separator.size();
    }
    return parts;
}

std::string ToUpperAscii(std::string_view text) {
    std::string s(text);
    for (char& c : s)
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    return s;
}

std::string ToLowerAscii(std::string_view text) {
    std::string s(text);
    for (char& c : s)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return s;
}

bool EqualsNoCase(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i) {
        char x = a[i], y = b[i];
        if (x >= 'A' && x <= 'Z') x = static_cast<char>(x - 'A' + 'a');
        if (y >= 'A' && y <= 'Z') y = static_cast<char>(y - 'A' + 'a');
        if (x != y) return false;
    }
    return true;
}

uint32_t Utf8First(std::string_view text, size_t* length) {
    if (text.empty()) {
        if (length) *length = 0;
        return 0;
    }
    auto b = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
    unsigned char lead = b(0);
    size_t need = 0;
    uint32_t cp = 0;
    if (lead < 0x80) {
        need = 1;
        cp = lead;
    } else if ((lead & 0xE0) == 0xC0) {
        need = 2;
        cp = lead & 0x1F;
    } else if ((lead & 0xF0) == 0xE0) {
        need = 3;
        cp = lead & 0x0F;
    } else if ((lead & 0xF8) == 0xF0) {
        need = 4;
        cp = lead & 0x07;
    }
    bool ok = need > 0 && need <= text.size();
    for (size_t i = 1; ok && i < need; ++i) {
        if ((b(i) & 0xC0) != 0x80) ok = false;
        else cp = (cp << 6) | (b(i) & 0x3F);
    }
    // Overlong forms and surrogates count as malformed.
    static const uint32_t minimum[5] = {0, 0, 0x80, 0x800, 0x10000};
    if (ok && (cp < minimum[need] || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF))) ok = false;
    if (!ok) {
        if (length) *length = 1;
        return lead;
    }
    if (length) *length = need;
    return cp;
}

size_t Utf8Length(std::string_view text) {
    size_t count = 0;
    while (!text.empty()) {
        size_t len = 0;
        Utf8First(text, &len);
        text.remove_prefix(len);
        ++count;
    }
    return count;
}

std::string Utf8Encode(uint32_t cp) {
    std::string s;
    if (cp < 0x80) {
        s += static_cast<char>(cp);
    } else if (cp < 0x800) {
        s += static_cast<char>(0xC0 | (cp >> 6));
        s += static_cast<char>(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
        s += static_cast<char>(0xE0 | (cp >> 12));
        s += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        s += static_cast<char>(0x80 | (cp & 0x3F));
    } else if (cp <= 0x10FFFF) {
        s += static_cast<char>(0xF0 | (cp >> 18));
        s += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
        s += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        s += static_cast<char>(0x80 | (cp & 0x3F));
    }
    return s;
}

std::string_view Utf8Cut(std::string_view text, size_t maxBytes) {
    if (text.size() <= maxBytes) return text;
    size_t pos = 0;
    while (pos < maxBytes) {
        size_t len = 0;
        Utf8First(text.substr(pos), &len);
        if (pos + len > maxBytes) break;
        pos += len;
    }
    return text.substr(0, pos);
}

}  // namespace qv::app
