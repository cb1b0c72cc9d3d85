// What a family may do: the FUNCTIONS section of VisaDevices.ini, read in
// this one place by the main window and the supported-devices table alike.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace qv::app {

// Bits of a FUNCTIONS mask.
inline constexpr int16_t kCapHardcopy = 1;
inline constexpr int16_t kCapTrace = 2;
inline constexpr int16_t kCapFiles = 4;
inline constexpr int16_t kCapAnalyzerUtilities = 8;
inline constexpr int16_t kCapUserCorrection = 16;
inline constexpr int16_t kCapTables = 32;

// dataFolder()/VisaDevices.ini.
std::string VisaDevicesPath();

// FUNCTIONS/<tag>: 0 for an empty tag, a missing key or a value that is no
// number; other values rounded half to even and held to 16 bits.
int16_t FunctionsMask(const std::string& visaDevicesIni, std::string_view tag);

}  // namespace qv::app
