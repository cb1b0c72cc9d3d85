// MMEM:CAT? answers. Only the plain form lives here for now; the families'
// own listing dialects grow beside it.
#include <algorithm>

#include "sandbox.h"

namespace qv::sim {

namespace {
std::string quoteInner(const std::string& s) {
    std::string out;
    for (char c : s) {
        out += c;
        if (c == '"') out += '"';
    }
    return out;
}
}  // namespace

std::string formatCatalog(std::vector<CatalogEntry> entries, uint64_t freeBytes) {
    std::sort(entries.begin(), entries.end(), [](const CatalogEntry& a, const CatalogEntry& b) {
        if (a.directory != b.directory) return a.directory;
        return a.name < b.name;
    });
    uint64_t used = 0;
    for (const auto& e : entries) used += e.size;
    std::string out = std::to_string(used) + "," + std::to_string(freeBytes);
    for (const auto& e : entries) {
        out += ",\"";
        out += quoteInner(e.name);
        out += e.directory ? ",DIR,0\"" : ",," + std::to_string(e.size) + "\"";
    }
    return out;
}

}  // namespace qv::sim
