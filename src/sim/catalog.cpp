#include "catalog.h"

#include <algorithm>
#include <cstdio>
#include <ctime>

#include "text.h"

namespace qv::sim {

namespace {

struct FormRow {
    const char* tags;  // blank separated
    CatalogForm form;
};

// The catalogue form of each family; a model named under an alias answers
// as its family. Families not named here answer the quoted form.
constexpr FormRow kForms[] = {
    {"KDC KDZ TKA TKR KDM", CatalogForm::DriveTriples},
    {"PWE", CatalogForm::FilesAndFolderNames},
    {"DOC", CatalogForm::FoldersFirst},
    {"TKM TKD TKN TKW KDP VHJO TKU TKV KDX", CatalogForm::LongCatalog},
    {"GLN GLQ", CatalogForm::DotsSized},
    {"BJY BQS", CatalogForm::Scan},
    {"MYE", CatalogForm::TwoCatalogs},
    {"TKG", CatalogForm::Positional},
};

bool ciLess(const CatalogEntry& a, const CatalogEntry& b) {
    const std::string ua = upperText(a.name), ub = upperText(b.name);
    return ua != ub ? ua < ub : a.name < b.name;
}

// Sorted by name; folders before files when foldersFirst.
std::vector<const CatalogEntry*> ordered(const Listing& l, bool foldersFirst) {
    std::vector<const CatalogEntry*> out;
    out.reserve(l.entries.size());
    for (const auto& e : l.entries) out.push_back(&e);
    std::sort(out.begin(), out.end(), [&](const CatalogEntry* a, const CatalogEntry* b) {
        if (foldersFirst && a->directory != b->directory) return a->directory;
        return ciLess(*a, *b);
    });
    return out;
}

std::string header(const Listing& l) {
    uint64_t used = 0;
    for (const auto& e : l.entries) used += e.directory ? 0 : e.size;
    return std::to_string(used) + "," + std::to_string(l.freeBytes);
}

enum class Dots { None, BelowRoot, DotAlways, Always };

struct QuotedStyle {
    bool header = true;
    bool folders = true;
    bool files = true;
    const char* folderType = "DIR";
    Dots dots = Dots::BelowRoot;
    uint64_t dotSize = 0;
    bool foldersFirst = true;
};

std::string quotedList(const Listing& l, const QuotedStyle& s) {
    std::string out = s.header ? header(l) : std::string();
    auto row = [&](const std::string& name, const char* type, uint64_t size) {
        if (!out.empty()) out += ',';
        out += '"' + name + ',' + type + ',' + std::to_string(size) + '"';
    };
    if (s.dots == Dots::Always || s.dots == Dots::DotAlways || (s.dots == Dots::BelowRoot && !l.root))
        row(".", s.folderType, s.dotSize);
    if (s.dots == Dots::Always || ((s.dots == Dots::BelowRoot || s.dots == Dots::DotAlways) && !l.root))
        row("..", s.folderType, s.dotSize);
    for (const CatalogEntry* e : ordered(l, s.foldersFirst)) {
        if (e->directory ? !s.folders : !s.files) continue;
        row(e->name, e->directory ? s.folderType : "", e->size);
    }
    return out;
}

// "2026-11-23,12:00:00" in UTC.
std::string dateAndTime(int64_t seconds) {
    std::time_t t = std::time_t(seconds);
    std::tm tm{};
    if (!::gmtime_r(&t, &tm)) tm = std::tm{};
    char buf[40];
    std::snprintf(buf, sizeof buf, "%04d-%02d-%02d,%02d:%02d:%02d", tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday,
                  tm.tm_hour, tm.tm_min, tm.tm_sec);
    return buf;
}

}  // namespace

CatalogForm catalogFormFor(std::string_view tag) {
    for (const auto& row : kForms) {
        std::string_view tags = row.tags;
        while (!tags.empty()) {
            size_t blank = tags.find(' ');
            if (equalsIgnoreCase(tags.substr(0, blank), tag)) return row.form;
            tags = blank == std::string_view::npos ? std::string_view() : tags.substr(blank + 1);
        }
    }
    return CatalogForm::Quoted;
}

bool namesFromDriveRoot(std::string_view tag) { return catalogFormFor(tag) == CatalogForm::Positional; }

std::string catalogAnswer(CatalogForm form, const Listing& l) {
    switch (form) {
    case CatalogForm::DriveTriples: {
        std::string out = header(l);
        for (const CatalogEntry* e : ordered(l, true))
            out += e->directory ? "," + e->name + ",<DIR>," : "," + e->name + ",," + std::to_string(e->size);
        return out;
    }
    case CatalogForm::FilesAndFolderNames:
        return quotedList(l, {true, false, true, "", Dots::None, 0, true});
    case CatalogForm::FoldersFirst:
        // Folders and files mixed in name order: the client groups them.
        return quotedList(l, {true, true, true, "DIR", Dots::DotAlways, 0, false});
    case CatalogForm::DotsSized:
        return quotedList(l, {true, true, true, "DIR", Dots::Always, 1024, true});
    case CatalogForm::TwoCatalogs:
        return quotedList(l, {true, false, true, "", Dots::None, 0, true});
    case CatalogForm::Positional: {
        std::string out = header(l);
        for (const CatalogEntry* e : ordered(l, true)) {
            if (e->directory) continue;
            size_t dot = e->name.rfind('.');
            std::string base = dot == std::string::npos ? e->name : e->name.substr(0, dot);
            std::string ext = dot == std::string::npos ? std::string() : e->name.substr(dot + 1);
            out += "," + base + "," + ext + "," + std::to_string(e->size) + "," + dateAndTime(e->modified) + "," +
                   (e->writable ? "RW" : "RO") + ",0,0,1";
        }
        return out;
    }
    case CatalogForm::Quoted:
    case CatalogForm::LongCatalog:
    case CatalogForm::Scan:
        break;
    }
    return quotedList(l, QuotedStyle{});
}

std::string longCatalogAnswer(const Listing& l) { return quotedList(l, QuotedStyle{}); }

std::string folderCatalogAnswer(CatalogForm form, const Listing& l) {
    if (form == CatalogForm::TwoCatalogs) return quotedList(l, {false, true, false, "", Dots::Always, 0, true});
    // The first name stands for the folder itself; a client skips it.
    std::string out = "\".\"";
    if (!l.root) out += ",\"..\"";
    for (const CatalogEntry* e : ordered(l, true))
        if (e->directory) out += ",\"" + e->name + "\"";
    return out;
}

std::string directoryCatalogAnswer(const Listing& l) {
    std::string out = header(l);
    for (const CatalogEntry* e : ordered(l, true))
        if (e->directory)
            out += "," + e->name + ",DIR,0," + dateAndTime(e->modified) + "," + (e->writable ? "RW" : "RO") + ",0";
    return out;
}

std::string scanAnswer(const Listing& l) {
    std::vector<std::string> folders, files;
    if (!l.root) folders.push_back("..");
    for (const CatalogEntry* e : ordered(l, true)) (e->directory ? folders : files).push_back(e->name);
    std::string out = std::to_string(folders.size() + files.size()) + ",D";
    for (const auto& n : folders) out += ",\"" + n + "\"";
    out += ",F";
    for (const auto& n : files) out += ",\"" + n + "\"";
    return out;
}

std::string withoutWildcard(std::string_view path) {
    size_t sep = path.find_last_of("/\\");
    std::string_view last = sep == std::string_view::npos ? path : path.substr(sep + 1);
    if (last != "*" && last != "*.*") return std::string(path);
    return std::string(sep == std::string_view::npos ? std::string_view() : path.substr(0, sep + 1));
}

}  // namespace qv::sim
