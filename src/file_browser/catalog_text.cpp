#include "file_browser/catalog_text.h"

#include "app/numeric.h"
#include "app/text.h"

#include <cmath>
#include <limits>

namespace qv::file_browser::catalog {

namespace {

constexpr std::string_view kElementSeparator = "\",\"";

// Whether a number starts the text as the leading-number reader sees it, so
// that a number too large for a double is told from no number at all.
bool numberStarts(std::string_view text) {
    size_t i = text.find_first_not_of(" \t\r\n");
    if (i == std::string_view::npos) return false;
    if (text[i] == '+' || text[i] == '-') ++i;
    if (i < text.size() && text[i] == '.') ++i;
    return i < text.size() && text[i] >= '0' && text[i] <= '9';
}

void splitElements(std::string text, QuotedList& list) {
    list.text = std::move(text);
    list.elements = split(dropEnds(list.text), kElementSeparator);
}

}  // namespace

std::string clean(std::string_view text) { return app::TrimLineEnds(text); }

std::string_view skipField(std::string_view text) {
    size_t comma = text.find(',');
    return comma == std::string_view::npos ? text : text.substr(comma + 1);
}

std::vector<std::string_view> split(std::string_view text, std::string_view separator) {
    std::vector<std::string_view> pieces;
    if (text.empty()) return pieces;
    if (separator.empty()) {
        pieces.push_back(text);
        return pieces;
    }
    size_t from = 0;
    while (true) {
        size_t at = text.find(separator, from);
        if (at == std::string_view::npos) {
            pieces.push_back(text.substr(from));
            return pieces;
        }
        pieces.push_back(text.substr(from, at - from));
        from = at + separator.size();
    }
}

std::string_view dropEnds(std::string_view text) {
    return text.size() < 2 ? std::string_view() : text.substr(1, text.size() - 2);
}

void removeAll(std::string& text, std::string_view pattern) {
    if (pattern.empty()) return;
    size_t at = text.find(pattern);
    if (at == std::string::npos) return;
    std::string kept;
    kept.reserve(text.size());
    size_t from = 0;
    for (; at != std::string::npos; at = text.find(pattern, from)) {
        kept.append(text, from, at - from);
        from = at + pattern.size();
    }
    kept.append(text, from);
    text.swap(kept);
}

void plainQuotedList(std::string_view answer, QuotedList& list) {
    list.text.clear();
    list.elements.clear();
    std::string text = clean(answer);
    text = clean(skipField(text));
    // Only the header came: nothing is listed.
    if (text.find(',') == std::string::npos) return;
    text = clean(skipField(text));
    if (!text.empty()) splitElements(std::move(text), list);
}

void quotedListWithoutDots(std::string_view answer, bool withHeader, std::string_view dot1, std::string_view dot2,
                           QuotedList& list) {
    list.text.clear();
    list.elements.clear();
    std::string text = clean(answer);
    if (text.empty()) return;
    if (withHeader) {
        std::string_view rest = skipField(text);
        if (rest.find(',') == std::string_view::npos) return;
        text = std::string(skipField(rest));
    }
    for (std::string_view dot : {dot1, dot2})
        if (!dot.empty()) removeAll(text, ",\"" + std::string(dot) + "\"");
    for (std::string_view dot : {dot1, dot2})
        if (!dot.empty()) removeAll(text, "\"" + std::string(dot) + "\"");
    if (!text.empty() && text.front() == ',') text.erase(0, 1);
    if (!text.empty()) splitElements(std::move(text), list);
}

bool elementFields(std::string_view element, ElementFields& out) {
    size_t first = element.find(',');
    if (first == std::string_view::npos) return false;
    size_t second = element.find(',', first + 1);
    if (second == std::string_view::npos) return false;
    const size_t third = element.find(',', second + 1);
    out.name = element.substr(0, first);
    out.type = element.substr(first + 1, second - first - 1);
    out.size = element.substr(second + 1, third == std::string_view::npos ? third : third - second - 1);
    return true;
}

bool readSize(std::string_view field, int32_t& size, bool truncate) {
    double value = 0;
    if (!app::LeadingNumber(field, value) && numberStarts(field)) return false;
    value = truncate ? std::trunc(value) : app::RoundHalfEven(value);
    if (!(value >= double(std::numeric_limits<int32_t>::min()) && value <= double(std::numeric_limits<int32_t>::max())))
        return false;
    size = int32_t(value);
    return true;
}

size_t groupCount(size_t n, size_t offset, size_t width) {
    if (n < offset || width == 0) return 0;
    return size_t(app::RoundHalfEven(double(n - offset) / double(width)));
}

bool isDriveRoot(std::string_view path) { return path.size() >= 2 && path.substr(path.size() - 2) == ":\\"; }

void selectDriveAndFolder(CatalogPort& port, std::string_view path) {
    port.write("MMEM:MSIS '" + std::string(path.substr(0, 3)) + "'");
    port.write("MMEM:CDIR '" + std::string(path) + "'");
}

void addParentEntry(std::vector<InstFileEntry>& entries) { entries.push_back({"..", true, 0}); }

}  // namespace qv::file_browser::catalog
