// Typed access to ini files (module INIIO) and the numbered-row lists kept
// in them: prefix1, prefix2, ... in one section, "NULL" marks a deleted row
// and an empty value ends a list. Nothing here reports a failure to the user:
// missing things read as their defaults, failed writes go unnoticed and the
// program goes on with what it holds in memory.
#pragma once

#include "app/value.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace qv::app {

// A numbered-row list: which file, which section, which key prefix.
struct IniRows {
    std::string file;
    std::string section;
    std::string prefix;
    bool operator==(const IniRows&) const = default;
};

// IniItem modes.
inline constexpr int kIniDefault = 0;
inline constexpr int kIniLoad = 1;
inline constexpr int kIniSave = 2;

// "1", "TRUE" and "WAHR" in any case are true; everything else is false.
bool IniTextIsTrue(std::string_view text);

// The text that stands for a default: a string as it is, a boolean "1" or
// "0", a number its decimal text with the blank a number that is not
// negative gets (" 5"), and a missing default " 1".
std::string IniDefaultText(const Value& def);

// Reads a key. By the type of typeTemplate: boolean gives a Boolean; any
// number type gives a Double read from the start of the text ("." decimal
// point, no number gives 0); anything else, missing included, the text as a
// String.
Value ReadIni(const std::string& file, std::string_view section, std::string_view key,
              const Value& def = Value(), const Value& typeTemplate = Value());

// Writes a string as it is, a boolean as "1" or "0", a number as TrimmedText.
// A missing value writes nothing. Returns whether the file now holds it.
bool WriteIni(const std::string& file, std::string_view section, std::string_view key, const Value& value);

// Mode 0: value = def. Mode 1: value = ReadIni(file, section, key, def, def).
// Mode 2: WriteIni(value). Other modes do nothing.
void IniItem(const std::string& file, std::string_view section, std::string_view key, Value& value, int mode,
             const Value& def = Value());
// The same for the typed fields of the context. Numbers are rounded half to
// even and clamped to the field's range; a string field takes the text of
// the result (" 1" when the key is missing and def is missing).
void IniItem(const std::string& file, std::string_view section, std::string_view key, std::string& value, int mode,
             const Value& def = Value());
void IniItem(const std::string& file, std::string_view section, std::string_view key, bool& value, int mode, bool def);
void IniItem(const std::string& file, std::string_view section, std::string_view key, int16_t& value, int mode,
             int16_t def);
void IniItem(const std::string& file, std::string_view section, std::string_view key, int32_t& value, int mode,
             int32_t def);
void IniItem(const std::string& file, std::string_view section, std::string_view key, double& value, int mode,
             double def);

// Row r of a list as text, "" when it is missing.
std::string ReadRow(const IniRows& rows, int r);

// The first empty row: where the next entry goes. Deleted rows keep their
// "NULL", so an entry added again does not move up the list.
int EndRow(const std::string& file, std::string_view section, std::string_view prefix);
// The row holding value, or -1 when an empty row comes first.
int FindRow(const std::string& file, std::string_view section, std::string_view prefix, std::string_view value);
// "NULL" rows up to row limit (row 1 is always read) or the first empty row.
int CountDeletedRows(const std::string& file, std::string_view section, std::string_view prefix, int limit);
// Writes "NULL" at the row holding value and returns its number; -1 when an
// empty row comes first or value is empty (nothing is written then).
int DeleteRow(const std::string& file, std::string_view section, std::string_view prefix, std::string_view value);
// Writes value at EndRow and returns that row.
int AppendRow(const std::string& file, std::string_view section, std::string_view prefix, std::string_view value);

int EndRow(const IniRows& rows);
int FindRow(const IniRows& rows, std::string_view value);
int CountDeletedRows(const IniRows& rows, int limit);
int DeleteRow(const IniRows& rows, std::string_view value);
int AppendRow(const IniRows& rows, std::string_view value);

// One flag per live row of two parallel lists: flagRows hold "1"/"0",
// nameRows the names ("NULL" for a deleted row). flags starts as one false
// element; returns true when at least one flag was stored.
bool ReadFlagList(const IniRows& flagRows, const IniRows& nameRows, std::vector<bool>& flags);

}  // namespace qv::app
