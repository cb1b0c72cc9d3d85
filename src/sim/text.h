// Letter case as SCPI knows it: headers, character parameters, drive names
// and profile tags match without regard to case (ASCII only).
#pragma once

#include <cctype>
#include <string>
#include <string_view>

namespace qv::sim {

inline char upper(char c) { return char(std::toupper(static_cast<unsigned char>(c))); }

inline std::string upperText(std::string_view text) {
    std::string out(text);
    for (char& c : out) c = upper(c);
    return out;
}

inline bool equalsIgnoreCase(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (upper(a[i]) != upper(b[i])) return false;
    return true;
}

}  // namespace qv::sim
