// Number texts as instruments and their files write them, and the level
// unit words. Instruments set to another locale write "12,5" or "1.234,5";
// every conversion here copes with either mark and never reads past its text.
#include "app/numeric.h"
#include "app/text.h"
#include "trace/trace.h"

#include <algorithm>
#include <array>
#include <utility>

namespace qv::trace {

namespace {

// The leading number of a text whose decimal mark is mark; garbage gives 0.
double leadingNumber(std::string_view text, char mark) {
    if (mark == '.') return app::LeadingNumber(text);
    std::string s(text);
    std::replace(s.begin(), s.end(), '.', '\x01');  // a point is no mark here
    std::replace(s.begin(), s.end(), mark, '.');
    return app::LeadingNumber(s);
}

}  // namespace

double ConvertDBL(std::string_view text, char decimalMark) {
    const char mark = decimalMark == ',' ? ',' : '.';
    const char thousands = mark == ',' ? '.' : ',';
    std::string s;
    s.reserve(text.size());
    for (char c : text)
        if (c != ' ') s += c;
    if (s.empty()) return 0;
    const size_t lastMark = s.rfind(mark), lastThousands = s.rfind(thousands);
    const bool hasMark = lastMark != std::string::npos, hasThousands = lastThousands != std::string::npos;
    if (hasThousands && !hasMark) {
        std::replace(s.begin(), s.end(), thousands, mark);
    } else if (hasThousands && hasMark) {
        // The later of the two is the real decimal mark; the earlier kind groups digits.
        const char earlier = lastMark > lastThousands ? thousands : mark;
        s.erase(std::remove(s.begin(), s.end(), earlier), s.end());
        if (earlier == mark) std::replace(s.begin(), s.end(), thousands, mark);
    }
    return leadingNumber(s, mark);
}

double ParseDouble(std::string_view text) {
    std::string s(text);
    const size_t comma = s.find(','), point = s.find('.');
    if (comma != std::string::npos && point != std::string::npos) {
        const char first = comma < point ? ',' : '.';
        s.erase(std::remove(s.begin(), s.end(), first), s.end());
    }
    std::replace(s.begin(), s.end(), ',', '.');
    return app::LeadingNumber(s);
}

std::string unitWord(std::string_view answer) {
    static constexpr std::array<std::pair<std::string_view, std::string_view>, 12> kUnits{{
        {"DBM", "dBm"},
        {"DBPW", "dBPw"},
        {"WATT", "W"},
        {"DBUW", "dBuW"},
        {"DBMW", "dBmW"},
        {"VOLT", "V"},
        {"DBUA", "dBuA"},
        {"AMPERE", "Amp"},
        {"DBPT", "dBPT"},
        {"DBUW_M", "dBuW_M"},
        {"DBUA_M", "dBuA_M"},
        {"DBUV", "dB\xC2\xB5V"},
    }};
    const std::string upper = app::ToUpperAscii(answer);
    for (const auto& [word, shown] : kUnits)
        if (upper == word) return std::string(shown);
    return upper;
}

}  // namespace qv::trace
