#include "instrument_directory/dev_ident.h"

#include "app/iniio.h"
#include "app/text.h"

namespace qv::dir {

namespace {

IdentityTables& tables() {
    static IdentityTables t;
    return t;
}

// A list of the capability file ends at an empty value, " 1" (what a missing
// key reads as with a numeric default) or "NULL".
bool endsList(const std::string& v) { return v.empty() || v == " 1" || v == "NULL"; }

std::string readText(const std::string& file, const std::string& section, const std::string& key) {
    return app::ReadIni(file, section, key, app::Value(std::string())).text();
}

bool validIndex(int16_t index) { return index >= 0 && size_t(index) < deviceRecords().size(); }

}  // namespace

std::vector<DeviceRecord>& deviceRecords() {
    static std::vector<DeviceRecord> records(1);
    return records;
}

std::vector<int16_t>& fullListIndex() {
    static std::vector<int16_t> index;
    return index;
}

void ResetRecords() { deviceRecords().assign(1, DeviceRecord{}); }

const IdentityTables& identityTables() { return tables(); }

void ResetIdentityTables() { tables() = IdentityTables{}; }

int16_t LoadMasterList(const std::string& iniFile, const std::string& section, const std::string& keyPrefix) {
    IdentityTables& t = tables();
    t = IdentityTables{};
    int aliasElement = 0;
    // Far more than any real file; only a guard against a file that never ends.
    constexpr int kMaxRows = 30000;
    for (int n = 1; n <= kMaxRows; ++n) {
        const std::string v = readText(iniFile, section, keyPrefix + std::to_string(n));
        if (endsList(v)) break;
        if (n >= 2) t.masters.emplace_back();
        t.masters.back() = v;
        t.masterIndex[v] = int(t.masters.size()) - 1;
        if (LoadAliases(iniFile, v, aliasElement)) ++aliasElement;
    }
    return int16_t(t.masters.size());
}

bool LoadAliases(const std::string& iniFile, const std::string& master, int elementIndex) {
    IdentityTables& t = tables();
    std::string v = readText(iniFile, "MAPPINGS", master + "1");
    if (!v.empty() && elementIndex > 0) t.aliasTable.push_back(AliasElement{"", {""}});
    if (v.empty()) {
        t.hasAlias[master] = false;
        return false;
    }
    if (elementIndex < 0 || size_t(elementIndex) >= t.aliasTable.size()) return false;
    t.aliasIndex[master] = elementIndex;
    t.hasAlias[master] = true;
    AliasElement& e = t.aliasTable[size_t(elementIndex)];
    e.master = master;
    e.aliases.assign(1, "");
    constexpr int kMaxAliases = 1000;
    for (int k = 0; k < kMaxAliases && !endsList(v); ++k) {
        if (k >= 1) e.aliases.emplace_back();
        e.aliases.back() = v;
        v = readText(iniFile, "MAPPINGS", master + std::to_string(k + 2));
    }
    return true;
}

bool Identify(const std::string& answer, int16_t recordIndex, const std::vector<std::string>* customNames,
              int customIndex) {
    if (!validIndex(recordIndex)) return false;
    std::string custom;
    if (customNames && customIndex >= 0 && size_t(customIndex) < customNames->size())
        custom = (*customNames)[size_t(customIndex)];
    const IdentityTables& t = tables();
    // An empty name (the placeholder of an empty master list or alias list)
    // matches nothing: without a capability file nothing is identified.
    for (const std::string& m : t.masters) {
        if (!m.empty() && answer.starts_with(m)) {
            FillRecord(answer, recordIndex, m, custom, "");
            return true;
        }
        auto has = t.hasAlias.find(m);
        if (has == t.hasAlias.end() || !has->second) continue;
        auto idx = t.aliasIndex.find(m);
        if (idx == t.aliasIndex.end() || size_t(idx->second) >= t.aliasTable.size()) continue;
        for (const std::string& a : t.aliasTable[size_t(idx->second)].aliases) {
            if (!a.empty() && answer.starts_with(a)) {
                FillRecord(answer, recordIndex, m, custom, answer.substr(0, a.size()));
                return true;
            }
        }
    }
    FillRecord(answer, recordIndex, kNoFamily, custom, "");
    return false;
}

void FillRecord(const std::string& answer, int16_t recordIndex, const std::string& master,
                const std::string& customName, const std::string& alias) {
    if (!validIndex(recordIndex)) return;
    DeviceRecord& r = deviceRecords()[size_t(recordIndex)];
    // Split at every comma; an answer with fewer than three fields leaves
    // the missing ones empty, the family stays what matched.
    std::vector<std::string> parts;
    size_t start = 0;
    for (;;) {
        size_t c = answer.find(',', start);
        parts.push_back(app::TrimLineEnds(std::string_view(answer).substr(start, c == std::string::npos ? c : c - start)));
        if (c == std::string::npos) break;
        start = c + 1;
    }
    while (parts.size() < 3) parts.emplace_back();
    r.DeviceTyp = master;
    r.DeviceGroup = parts[0].size() > 4 ? parts[0].substr(4) : std::string();
    r.DeviceSerial = parts[1];
    r.DeviceFirmware = parts[2];
    if (!customName.empty() && customName.find('(') != std::string::npos) {
        r.DeviceInfo = customName;
    } else if (alias.empty()) {
        r.DeviceInfo = (customName.empty() ? master : customName) + " (" + master + ")";
    } else {
        r.Mapped = -1;
        r.DeviceMappedName = alias;
        r.DeviceInfo = (customName.empty() ? alias : customName) + " (" + alias + ")";
    }
    r.Identified = -1;
}

IdentOutcome IdentifyAnswer(std::string_view rawAnswer, int16_t recordIndex, const std::string& customName,
                            bool unknownInfo) {
    if (!validIndex(recordIndex)) return IdentOutcome::Empty;
    const std::string text = app::TrimLineEnds(rawAnswer);
    deviceRecords()[size_t(recordIndex)].IDAnswer = text;
    if (text.empty()) return IdentOutcome::Empty;
    if (app::ToUpperAscii(text).find(kMakerWord) == std::string::npos) {
        DeviceRecord& r = deviceRecords()[size_t(recordIndex)];
        r.DeviceTyp = kDeviceUnknown;
        if (unknownInfo) r.DeviceInfo = customName + " (" + r.DeviceTyp + ")";
        return IdentOutcome::Unknown;
    }
    // Cut up to and including the first comma; without one nothing is cut.
    const size_t comma = text.find(',');
    const std::string rest = app::TrimBlanks(comma == std::string::npos ? text : text.substr(comma + 1));
    std::vector<std::string> names{customName};
    return Identify(rest, recordIndex, &names, 0) ? IdentOutcome::Matched : IdentOutcome::NoMatch;
}

}  // namespace qv::dir
