#include "tables/transducer_import.h"

#include "app/context.h"
#include "app/host.h"
#include "app/numeric.h"
#include "app/standard.h"
#include "app/text.h"
#include "families/registry.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <system_error>

namespace qv::tables {

namespace {

constexpr int kSmallTable = 50;
constexpr int kLargeTable = 625;
// Transducer files are a few kilobytes; anything near this is no table.
constexpr uintmax_t kMaxFileBytes = 64u * 1024u * 1024u;
constexpr const char* kLoadTitle = "Transducer Import";

bool isCleanable(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

bool blankLine(std::string_view line) {
    return std::all_of(line.begin(), line.end(), isCleanable);
}

// The non-empty lines of the file, LF files read like CR LF files (a file
// with CR alone stays one line).
std::vector<std::string_view> dataLines(std::string_view bytes) {
    std::vector<std::string_view> lines = app::SplitLineViews(bytes);
    std::erase_if(lines, blankLine);
    return lines;
}

// The separator as bytes: codes up to 255 are the byte itself (the file is
// read as bytes), higher codes their UTF-8 form; a negative code matches
// nothing.
std::string separatorOf(int code) {
    if (code < 0) return {};
    if (code <= 0xFF) return std::string(1, static_cast<char>(static_cast<unsigned char>(code)));
    return app::Utf8Encode(static_cast<uint32_t>(code));
}

void splitColumns(std::string_view line, std::string_view sep, std::vector<std::string_view>& cols) {
    cols.clear();
    if (sep.empty()) {
        cols.push_back(line);
        return;
    }
    size_t start = 0;
    for (;;) {
        const size_t at = line.find(sep, start);
        if (at == std::string_view::npos) {
            cols.push_back(line.substr(start));
            return;
        }
        cols.push_back(line.substr(start, at - start));
        start = at + sep.size();
    }
}

// 0 first, -1 last, n the n-th; -1 as a result means outside.
long columnIndex(int col, size_t count) {
    long index = col == 0 ? 0 : col == -1 ? static_cast<long>(count) - 1 : static_cast<long>(col) - 1;
    return (index >= 0 && static_cast<size_t>(index) < count) ? index : -1;
}

// Which lines an import takes: from first to last (inclusive), every step-th.
struct Plan {
    std::vector<std::string_view> lines;
    long first = 0, last = -1, step = 1;
    int count = 0, max = 1;
    int method = 2;  // the method in effect, when reduced
    bool reduced = false;
};

Plan makePlan(std::string_view bytes, const ImportRules& rules, int max) {
    Plan p;
    p.lines = dataLines(bytes);
    p.max = std::max(1, max);
    const long lastIndex = static_cast<long>(p.lines.size()) - 1;
    // A start row below 1 would point before the file: it reads as the first.
    const long start = std::max<long>(1, rules.startRow) - 1;
    const long count = lastIndex - start + 1;
    p.count = static_cast<int>(std::clamp<long>(count, 0, INT32_MAX));
    p.first = start;
    p.last = lastIndex;
    if (count <= p.max) return p;

    p.reduced = true;
    // A method the settings window cannot set (a hand-edited file) is read
    // as puncture, the default: the table still fits the instrument and the
    // file still spans its whole range.
    p.method = (rules.reduceMethod >= 0 && rules.reduceMethod <= 2) ? rules.reduceMethod : 2;
    switch (p.method) {
        case 0:
            p.last = start + p.max - 1;
            break;
        case 1:
            p.first = lastIndex - p.max + 1;
            break;
        default:
            p.step = static_cast<long>(app::RoundHalfEven(static_cast<double>(count) / p.max)) + 1;
            break;
    }
    return p;
}

void takeRows(const Plan& p, const ImportRules& rules, UCorTable& rows, int& failures) {
    const std::string sep = separatorOf(rules.colSep);
    const double ref = ImportNumber(rules.refLevel);
    std::vector<std::string_view> cols;
    if (p.first <= p.last) rows.reserve(static_cast<size_t>((p.last - p.first) / p.step + 1));
    for (long i = p.first; i <= p.last; i += p.step) {
        const std::string_view line = p.lines[static_cast<size_t>(i)];
        if (blankLine(line)) continue;
        splitColumns(line, sep, cols);
        const long xi = columnIndex(rules.xCol, cols.size());
        const long yi = columnIndex(rules.yCol, cols.size());
        if (xi < 0 || yi < 0) {
            ++failures;
            continue;
        }
        const double freq = ImportNumber(cols[static_cast<size_t>(xi)]);
        double level = ImportNumber(cols[static_cast<size_t>(yi)]);
        if (rules.negate) level = -level;
        if (ref != 0) level = -(level - ref);
        if (freq == 0) continue;
        if (level == 0) level = 0;  // no "-0" in the table
        rows.push_back(UCorRow{app::TrimmedText(freq), app::TrimmedText(level)});
    }
    SortUCor(rows);
}

}  // namespace

ImportRules RulesFromSettings(const app::AppContext& ctx, bool negate, const std::string& refLevel) {
    ImportRules r;
    r.colSep = ctx.ColSep;
    r.xCol = ctx.XCol;
    r.yCol = ctx.YCol;
    r.startRow = ctx.StartRow;
    r.reduceMethod = ctx.ReduceMethod;
    r.negate = negate;
    r.refLevel = refLevel;
    return r;
}

int TransducerMax(std::string_view devType, std::string_view firmware) {
    const family::Family* f = family::find(devType);
    return (f && f->largeTransducerTables && firmware.starts_with("3.4")) ? kLargeTable : kSmallTable;
}

double ImportNumber(std::string_view text) {
    const size_t comma = text.find(',');
    const size_t point = text.find('.');
    std::string t;
    t.reserve(text.size());
    const bool both = comma != std::string_view::npos && point != std::string_view::npos;
    const char thousands = both ? (comma < point ? ',' : '.') : '\0';
    for (char c : text) {
        if (both && c == thousands) continue;
        t += c == ',' ? '.' : c;
    }
    return app::LeadingNumber(t);
}

const char* ReduceMethodName(int method) {
    switch (method) {
        case 0:
            return "Take first";
        case 1:
            return "Take last";
        case 2:
            return "Puncture";
        default:
            return "";
    }
}

ImportResult ImportTransducer(std::string_view bytes, const ImportRules& rules, int max) {
    const Plan p = makePlan(bytes, rules, max);
    ImportResult r;
    r.count = p.count;
    r.max = p.max;
    r.reduced = p.reduced;
    takeRows(p, rules, r.rows, r.failures);
    return r;
}

std::string ReductionMessage(int count, int max, int method) {
    return "Size of input values exceeps maximum transducer size!\r\n"
           "\r\n"
           "   File size: " +
           std::to_string(count) +
           " entries\r\n"
           "   Maximum supported size: " +
           std::to_string(max) +
           "\r\n"
           "\r\n"
           "   Data will be reduced (method: " +
           ReduceMethodName(method) + ")";
}

std::string ImportFailureMessage(int failures) {
    return "Import failed on " + std::to_string(failures) + " positions";
}

bool LoadTransducerFile(const std::string& path, const ImportRules& rules, int max, UCorTable& table,
                        std::string& name) {
    app::Host& h = app::host();
    std::string bytes;
    if (!app::ReadFileBytes(path, kMaxFileBytes, bytes)) {
        std::error_code ec;
        const uintmax_t size = std::filesystem::file_size(path, ec);
        h.message(kLoadTitle,
                  !ec && size > kMaxFileBytes
                      ? "The file " + path + " is too large for a transducer table (" + std::to_string(size) +
                            " bytes; at most " + std::to_string(kMaxFileBytes) + " are read)."
                      : "The file " + path + " could not be read.",
                  app::Icon::Critical);
        return false;
    }

    const Plan p = makePlan(bytes, rules, max);
    table.clear();
    if (p.reduced) h.message("DATA REDUCTION", ReductionMessage(p.count, p.max, p.method), app::Icon::Information);
    int failures = 0;
    takeRows(p, rules, table, failures);
    if (failures > 0) h.message("IMPORT ERROR", ImportFailureMessage(failures), app::Icon::Critical);
    if (name.empty()) name = std::filesystem::path(path).filename().string();
    return true;
}

}  // namespace qv::tables
