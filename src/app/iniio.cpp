#include "app/iniio.h"

#include "app/numeric.h"
#include "app/profile.h"
#include "app/text.h"

#include <cmath>

namespace qv::app {

namespace {
std::string rowKey(std::string_view prefix, int r) { return std::string(prefix) + std::to_string(r); }
}  // namespace

bool IniTextIsTrue(std::string_view text) {
    std::string upper = ToUpperAscii(text);
    return upper == "1" || upper == "TRUE" || upper == "WAHR";
}

std::string IniDefaultText(const Value& def) {
    switch (def.type()) {
    case ValueType::Missing: return " 1";
    case ValueType::String: return def.text();
    case ValueType::Boolean: return def.boolean() ? "1" : "0";
    default: return NumberText(def);
    }
}

Value ReadIni(const std::string& file, std::string_view section, std::string_view key, const Value& def,
              const Value& typeTemplate) {
    std::string text = ProfileRead(file, section, key, IniDefaultText(def));
    switch (typeTemplate.type()) {
    case ValueType::Boolean: return Value(IniTextIsTrue(text));
    case ValueType::Byte:
    case ValueType::Int16:
    case ValueType::Int32:
    case ValueType::Single:
    case ValueType::Double: return Value(LeadingNumber(text));
    default: return Value(std::move(text));
    }
}

bool WriteIni(const std::string& file, std::string_view section, std::string_view key, const Value& value) {
    if (value.isMissing()) return false;
    return ProfileWrite(file, section, key, TrimmedText(value));
}

void IniItem(const std::string& file, std::string_view section, std::string_view key, Value& value, int mode,
             const Value& def) {
    switch (mode) {
    case kIniDefault: value = def; break;
    case kIniLoad: value = ReadIni(file, section, key, def, def); break;
    case kIniSave: WriteIni(file, section, key, value); break;
    default: break;
    }
}

void IniItem(const std::string& file, std::string_view section, std::string_view key, std::string& value, int mode,
             const Value& def) {
    Value v(value);
    IniItem(file, section, key, v, mode, def);
    if (mode == kIniDefault || mode == kIniLoad) value = TrimmedText(v);
}

void IniItem(const std::string& file, std::string_view section, std::string_view key, bool& value, int mode,
             bool def) {
    Value v(value);
    IniItem(file, section, key, v, mode, Value(def));
    if (mode == kIniDefault || mode == kIniLoad) value = v.boolean();
}

void IniItem(const std::string& file, std::string_view section, std::string_view key, int16_t& value, int mode,
             int16_t def) {
    Value v(value);
    IniItem(file, section, key, v, mode, Value(def));
    if (mode == kIniDefault || mode == kIniLoad) value = ToInt16(v.number());
}

void IniItem(const std::string& file, std::string_view section, std::string_view key, int32_t& value, int mode,
             int32_t def) {
    Value v(value);
    IniItem(file, section, key, v, mode, Value(def));
    if (mode == kIniDefault || mode == kIniLoad) value = ToInt32(v.number());
}

void IniItem(const std::string& file, std::string_view section, std::string_view key, double& value, int mode,
             double def) {
    Value v(value);
    IniItem(file, section, key, v, mode, Value(def));
    if (mode == kIniDefault || mode == kIniLoad) value = v.number();
}

std::string ReadRow(const IniRows& rows, int r) { return ProfileRead(rows.file, rows.section, rowKey(rows.prefix, r), ""); }

int EndRow(const IniRows& rows) {
    for (int r = 1;; ++r)
        if (ReadRow(rows, r).empty()) return r;
}

int FindRow(const IniRows& rows, std::string_view value) {
    for (int r = 1;; ++r) {
        std::string v = ReadRow(rows, r);
        if (v == value) return r;
        if (v.empty()) return -1;
    }
}

int CountDeletedRows(const IniRows& rows, int limit) {
    int count = 0;
    for (int r = 1;; ++r) {
        std::string v = ReadRow(rows, r);
        if (v == "NULL") ++count;
        if (r >= limit || v.empty()) return count;
    }
}

int DeleteRow(const IniRows& rows, std::string_view value) {
    // The walk ends at the list's end: a value that is not listed must not
    // send it on for ever, nor mark the end of the list as deleted.
    if (value.empty()) return -1;
    for (int r = 1;; ++r) {
        std::string v = ReadRow(rows, r);
        if (v == value) {
            ProfileWrite(rows.file, rows.section, rowKey(rows.prefix, r), "NULL");
            return r;
        }
        if (v.empty()) return -1;
    }
}

int AppendRow(const IniRows& rows, std::string_view value) {
    int r = EndRow(rows);
    ProfileWrite(rows.file, rows.section, rowKey(rows.prefix, r), value);
    return r;
}

int EndRow(const std::string& file, std::string_view section, std::string_view prefix) {
    return EndRow(IniRows{file, std::string(section), std::string(prefix)});
}
int FindRow(const std::string& file, std::string_view section, std::string_view prefix, std::string_view value) {
    return FindRow(IniRows{file, std::string(section), std::string(prefix)}, value);
}
int CountDeletedRows(const std::string& file, std::string_view section, std::string_view prefix, int limit) {
    return CountDeletedRows(IniRows{file, std::string(section), std::string(prefix)}, limit);
}
int DeleteRow(const std::string& file, std::string_view section, std::string_view prefix, std::string_view value) {
    return DeleteRow(IniRows{file, std::string(section), std::string(prefix)}, value);
}
int AppendRow(const std::string& file, std::string_view section, std::string_view prefix, std::string_view value) {
    return AppendRow(IniRows{file, std::string(section), std::string(prefix)}, value);
}

bool ReadFlagList(const IniRows& flagRows, const IniRows& nameRows, std::vector<bool>& flags) {
    flags.assign(1, false);
    bool stored = false;
    int live = 0;
    for (int r = 1;; ++r) {
        const std::string value = ReadRow(flagRows, r);
        const std::string name = ReadRow(nameRows, r);
        const bool deleted = name == "NULL";
        if (!deleted) ++live;
        if (!value.empty() && r >= 2 && !deleted && live >= 2) flags.push_back(false);
        if (!deleted && !value.empty()) {
            const double n = LeadingNumber(value);
            if (n == 1.0) {
                flags.back() = true;
                stored = true;
            } else if (n == 0.0) {
                flags.back() = false;
                stored = true;
            }
        }
        if (value.empty()) return stored;
    }
}

}  // namespace qv::app
