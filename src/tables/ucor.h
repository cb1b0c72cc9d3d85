// User correction tables: one list of frequency and level pairs, both held
// as the text the user typed, uploaded to a generator as a correction list
// or to an analyzer as a transducer factor.
#pragma once

#include "families/registry.h"

#include <array>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace qv::io {
class VIF;
}

namespace qv::tables {

struct UCorRow {
    std::string freq;
    std::string level;  // empty until the user sets it
};
using UCorTable = std::vector<UCorRow>;

// A level unit: the text of the list (UTF-8, "dBµV") and the word the
// analyzer dialect sends ("DBUV").
struct LevelUnit {
    const char* text;
    const char* word;
};
inline constexpr int kLevelUnitCount = 8;
const std::array<LevelUnit, kLevelUnitCount>& LevelUnits();
// "Hz", "kHz", "MHz", "GHz" in list order.
const std::array<const char*, 4>& FreqUnits();

// The upload dialect of a family: Generator for the generator group, Analyzer
// for every other tag, unknown ones included.
family::UCorGroup UCorGroupOf(std::string_view devType);

// Ascending by the frequency text as text ("10" before "9"); rows with the
// same text keep their order.
void SortUCor(UCorTable& table);

// "Frequency/MHz" and "Offset/dBµV".
std::string FreqColumnHeader(std::string_view freqUnit);
std::string LevelColumnHeader(std::string_view levelUnit);

// Where Insert puts a new row: at the selected row, or at 0 without a
// selection (a negative or out-of-range index). The table is sorted after.
void InsertUCorRow(UCorTable& table, int selected, const std::string& freq);

// A value list as the upload sends it (UTF-8; the upload converts it):
// analyzer "100,1.5,200,2" (isFreq plays no part); generator with isFreq
// "100MHz,200MHz", without "1.5dB,2dB". An empty level leaves an empty place.
std::string BuildUCorList(const UCorTable& table, family::UCorGroup group, bool isFreq, std::string_view freqUnit,
                          std::string_view levelUnit);

// The name rule of the generator group: the first four characters in upper
// case are "UCOR". Any name stands for the analyzer group.
bool UCorNameAccepted(std::string_view name, family::UCorGroup group);
inline constexpr const char* kUCorNameMessage = "Please note that the name of the table should be UCOR<number>";
inline constexpr const char* kUCorDefaultName = "UCOR1";

// What the upload sends besides the table.
struct UCorSettings {
    std::string name = kUCorDefaultName;
    int levelUnit = 0;  // index into LevelUnits()
    int freqUnit = 0;   // index into FreqUnits()
    bool logScale = false;
    std::string comment;
};

// The commands of an upload in their order, as the instrument receives them:
// converted to the instrument's character set (Latin-1, "µ" as the byte 0xB5).
std::vector<std::string> UploadCommands(const UCorTable& table, family::UCorGroup group, const UCorSettings& s);

// Why an upload is refused before anything is sent; empty when it may go.
// Covers the generator group's two-row minimum (its message, as the window
// shows it), a quote in the name or the comment, and characters the
// instrument's character set cannot carry.
std::string UploadRefusal(const UCorTable& table, family::UCorGroup group, const UCorSettings& s);

struct UploadResult {
    bool sent = false;    // the session opened and every command went out
    std::string errors;   // the instrument's error queue text after the upload, empty when clean
    std::string message;  // what went wrong, for a log or the command line; empty on success
};
// The whole upload: refusal check (a warning box through the host), busy
// pointer, OpenDevice(resource, true, false, 1000, true), the commands, then
// the error poll; errors found show "LOADING FAILED:" CR LF + text under
// "FAILED". Messages go to app::host(). prepare, when given, sees the
// session before it opens (a log, a time-out).
UploadResult UploadUCor(const std::string& resource, family::UCorGroup group, const UCorTable& table,
                        const UCorSettings& s, const std::function<void(io::VIF&)>& prepare = {});

}  // namespace qv::tables
