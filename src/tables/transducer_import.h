// Transducer import: a delimited text file of frequency and level columns
// read into a user correction table by the rules of the settings, cut down
// by one of three methods when the instrument's table is smaller.
#pragma once

#include "tables/ucor.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace qv::app {
struct AppContext;
}

namespace qv::tables {

struct ImportRules {
    int16_t colSep = 9;        // character code of the column separator
    int16_t xCol = 1;          // 0 first column, -1 last, n the n-th from 1
    int16_t yCol = 2;
    int32_t startRow = 1;      // first data row among the non-empty lines, from 1
    int16_t reduceMethod = 2;  // 0 take first, 1 take last, 2 puncture
    bool negate = false;
    std::string refLevel;      // the window's reference level text; "0" or empty: none
};
// The settings' part of the rules ([UCor]); negate and refLevel are the window's.
ImportRules RulesFromSettings(const app::AppContext& ctx, bool negate, const std::string& refLevel);

// The instrument's table size limit: 625 for the families with large
// tables when the firmware begins with "3.4", else 50.
int TransducerMax(std::string_view devType, std::string_view firmware);

// The number rule of imported values: of "," and "." the one standing first
// is a thousands separator and goes, a remaining "," is the decimal mark;
// then the decimal number at the start, 0 when there is none.
double ImportNumber(std::string_view text);

// "Take first", "Take last", "Puncture"; "" beyond.
const char* ReduceMethodName(int method);

struct ImportResult {
    UCorTable rows;        // sorted
    int count = 0;         // lines from the start row on
    int max = 0;
    bool reduced = false;  // count was above max
    int failures = 0;      // rows whose column was not there
};
// The import of a file's bytes, without any message.
ImportResult ImportTransducer(std::string_view bytes, const ImportRules& rules, int max);

// The "DATA REDUCTION" text of a reduced import, lines joined by CR LF.
std::string ReductionMessage(int count, int max, int method);
// "Import failed on <n> positions".
std::string ImportFailureMessage(int failures);

// The window's Load after its dialog: reads the file (refusing one that
// cannot be read or is too big, with a message), clears the table, shows
// "DATA REDUCTION" before the rows are taken when it reduces, fills and
// sorts the table, shows "IMPORT ERROR" for lost rows, and names an
// unnamed table after the file. False when the file could not be read
// (table unchanged).
bool LoadTransducerFile(const std::string& path, const ImportRules& rules, int max, UCorTable& table,
                        std::string& name);

}  // namespace qv::tables
