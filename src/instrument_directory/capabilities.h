// The capability file (VisaDevices.ini): what each family can do, how many
// channels its trace window lists, the names the remote interfaces editor
// offers, and the rows of the supported-devices table.
#pragma once

#include "app/functions_mask.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace qv::dir {

// The bits and the one reading of FUNCTIONS live in the core, where the
// main window reaches them too.
using app::kCapAnalyzerUtilities;
using app::kCapFiles;
using app::kCapHardcopy;
using app::kCapTables;
using app::kCapTrace;
using app::kCapUserCorrection;
using app::FunctionsMask;
using app::VisaDevicesPath;

// The mask of the selected instrument (its DeviceTyp); 0 for the reserved
// words and an empty selection.
int16_t CapabilityMaskFor(const std::string& visaDevicesIni, const std::string& deviceTyp);
// MASTERTRACES/<tag>, default 4.
int16_t MasterTraces(const std::string& visaDevicesIni, const std::string& tag);
// Devices/DeviceEntry1, 2, ... up to the first empty, " 1" or "NULL" value.
std::vector<std::string> DeviceEntries(const std::string& visaDevicesIni);

// One grid row: device, Hardcopy, Trace, Files, Tables, UCor.
using SupDevRow = std::array<std::string, 6>;
// The header row and one row per master of the loaded identity tables, each
// followed by a row per alias, cells "X" or "-".
std::vector<SupDevRow> SupportedDevicesGrid(const std::string& visaDevicesIni);
// The fixed-pitch text: columns padded to 20 and 10, lines ending in CR LF.
std::string SupportedDevicesText(const std::string& visaDevicesIni);
// Copy to clipboard: each cell followed by a tab, each row by CR LF.
std::string SupportedDevicesClipboard(const std::vector<SupDevRow>& grid);

}  // namespace qv::dir
