#include "instrument_directory/capabilities.h"

#include "app/iniio.h"
#include "app/numeric.h"
#include "app/text.h"
#include "instrument_directory/dev_ident.h"

namespace qv::dir {

namespace {

// An integer key: def when the key is missing; a value that is no number
// (or empty) reads as 0, as every numeric setting does.
int16_t readInt16(const std::string& file, const std::string& section, const std::string& key, int16_t def) {
    return app::ToInt16(app::ReadIni(file, section, key, app::Value(def), app::Value(def)).number());
}

// The columns of the table in their order: bits 1, 2, 4, 32, 16.
constexpr int16_t kColumnBits[5] = {kCapHardcopy, kCapTrace, kCapFiles, kCapTables, kCapUserCorrection};

SupDevRow rowFor(const std::string& name, int16_t mask) {
    SupDevRow row;
    row[0] = name;
    for (int c = 0; c < 5; ++c) row[size_t(c) + 1] = (mask & kColumnBits[c]) ? "X" : "-";
    return row;
}

}  // namespace

int16_t CapabilityMaskFor(const std::string& visaDevicesIni, const std::string& deviceTyp) {
    if (deviceTyp.empty() || deviceTyp == kNoDevice || deviceTyp == kDeviceUnknown || deviceTyp == kNoFamily)
        return 0;
    return FunctionsMask(visaDevicesIni, deviceTyp);
}

int16_t MasterTraces(const std::string& visaDevicesIni, const std::string& tag) {
    return readInt16(visaDevicesIni, "MASTERTRACES", tag, 4);
}

std::vector<std::string> DeviceEntries(const std::string& visaDevicesIni) {
    std::vector<std::string> out;
    for (int n = 1; n <= 10000; ++n) {
        std::string v =
            app::ReadIni(visaDevicesIni, "Devices", "DeviceEntry" + std::to_string(n), app::Value(std::string())).text();
        if (v.empty() || v == " 1" || v == "NULL") break;
        out.push_back(std::move(v));
    }
    return out;
}

std::vector<SupDevRow> SupportedDevicesGrid(const std::string& visaDevicesIni) {
    std::vector<SupDevRow> grid{SupDevRow{"Device", "Hardcopy", "Trace", "Files", "Tables", "UCor"}};
    const IdentityTables& t = identityTables();
    for (const std::string& family : t.masters) {
        if (family.empty()) continue;
        const int16_t mask = FunctionsMask(visaDevicesIni, family);
        grid.push_back(rowFor(family, mask));
        for (const AliasElement& e : t.aliasTable) {
            if (e.master != family) continue;
            for (const std::string& alias : e.aliases)
                if (!alias.empty()) grid.push_back(rowFor(alias, mask));
        }
    }
    return grid;
}

std::string SupportedDevicesText(const std::string& visaDevicesIni) {
    std::vector<SupDevRow> grid = SupportedDevicesGrid(visaDevicesIni);
    grid[0][3] = "File";  // the text form's header says "File"
    std::string out;
    for (const SupDevRow& row : grid) {
        out += app::PadText(row[0], 20, 0, " ");
        for (size_t c = 1; c < row.size(); ++c) out += app::PadText(row[c], 10, 0, " ");
        out += app::kCrLf;
    }
    return out;
}

std::string SupportedDevicesClipboard(const std::vector<SupDevRow>& grid) {
    std::string out;
    for (const SupDevRow& row : grid) {
        for (const std::string& cell : row) out += cell + "\t";
        out += app::kCrLf;
    }
    return out;
}

}  // namespace qv::dir
