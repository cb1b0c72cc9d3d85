// Instrument identity (module QVDevIdent): the family names and aliases from
// the capability file, the process-wide instrument records, and the rules that
// turn an identification answer into a record.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace qv::dir {

// Reserved family words.
inline constexpr const char* kNoDevice = "NoDevice";
inline constexpr const char* kDeviceUnknown = "DeviceUnknown";
inline constexpr const char* kNoFamily = "---";
// Placeholders a record shows before (or without) an identity.
inline constexpr const char* kInfoPlaceholderIni = "-|-|- (---)";
inline constexpr const char* kInfoPlaceholderBus = "----- (---)";
// The maker word searched in the upper-cased answer.
inline constexpr const char* kMakerWord = "TESSELHORN";

// One visited resource; fields in their fixed order.
struct DeviceRecord {
    std::string VISAResString;     // 1: as opened, with any visa://server/ prefix
    std::string RawAddress;        // 2: host part of a LAN, QVIB or TCP resource
    std::string ComputerName;      // 3: the text behind |IP| of the scan entry
    std::string DeviceTyp = kNoDevice;  // 4
    int16_t Mapped = 0;            // 5: -1 when reached through an alias
    std::string DeviceMappedName;  // 6
    std::string DeviceGroup;       // 7
    std::string DeviceSerial;      // 8
    std::string DeviceFirmware;    // 9
    std::string DeviceInfo;        // 10
    std::string IDAnswer;          // 11
    std::string OptionList;        // 12
    int16_t Identified = 0;        // 13: -1 once Fill has run
};

// The one record array of the process (shared by every VISAScan) and the
// full-list index (item k: running number of the scan entry of record k).
std::vector<DeviceRecord>& deviceRecords();
std::vector<int16_t>& fullListIndex();
// Back to one empty record.
void ResetRecords();

// The identity tables, read-only once loaded.
struct AliasElement {
    std::string master;
    std::vector<std::string> aliases;
};
struct IdentityTables {
    std::vector<std::string> masters{""};
    std::vector<AliasElement> aliasTable{AliasElement{"", {""}}};
    std::map<std::string, bool> hasAlias;
    std::map<std::string, int> aliasIndex;
    std::map<std::string, int> masterIndex;
};
const IdentityTables& identityTables();
void ResetIdentityTables();

// Reads MASTERDEVICES/Value<n> (and each master's MAPPINGS) from iniFile.
// Returns the number of masters (upper bound + 1; 1 for an empty list).
int16_t LoadMasterList(const std::string& iniFile, const std::string& section = "MASTERDEVICES",
                       const std::string& keyPrefix = "Value");
// Reads MAPPINGS/<master>1, <master>2, ... into aliasTable[elementIndex].
// True when the master has aliases and the element index was used.
bool LoadAliases(const std::string& iniFile, const std::string& master, int elementIndex);

// answer: the identification answer without its maker field ("TKD-7,1/2,4.40").
// First match in master order wins; prefixes are case-sensitive. Fills the
// record either way (master "---" when nothing fits). customNames may be null.
// An index outside the record array changes nothing and returns false.
bool Identify(const std::string& answer, int16_t recordIndex, const std::vector<std::string>* customNames = nullptr,
              int customIndex = 0);
// Fills fields 4 and 6-10 and 13 of one record from the answer.
void FillRecord(const std::string& answer, int16_t recordIndex, const std::string& master,
                const std::string& customName, const std::string& alias);

// What one identification answer gave.
enum class IdentOutcome { Empty, Unknown, Matched, NoMatch };
// Steps 2-7 and 9 of identifying a resource, without the session: cleans the
// raw answer, stores IDAnswer, decides maker and family. When
// unknownInfo is true (VISAScanINI) an unknown maker also sets DeviceInfo to
// customName + " (DeviceUnknown)".
IdentOutcome IdentifyAnswer(std::string_view rawAnswer, int16_t recordIndex, const std::string& customName,
                            bool unknownInfo);

}  // namespace qv::dir
