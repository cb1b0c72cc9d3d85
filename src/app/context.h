// The application context (module Global): the process-wide values every
// window reads. Plain data, no owner but the process; the start sequence
// fills it in order. Folders are held without a trailing "/".
#pragma once

#include "app/iniio.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace qv::app {

// A hot key: modifier mask and key code.
struct HotKey {
    int16_t Modifiers = 0;
    int16_t KeyCode = 0;
};

struct AppContext {
    // Folders and files.
    std::string ProgramFolder;  // where the program's shipped data lies; empty: the executable's folder
    std::string AppDataFolder;
    std::string IniFilePath;
    std::string SaveFolder;
    std::string TempFolder;
    std::string ScriptFolder;
    std::string ScriptRecent;

    bool VisaPresent = false;
    int16_t CapabilityMask = 0;
    bool SplashCancelled = false;
    bool ErrorPollDefault = false;

    std::vector<bool> ScanEntryFlags{false};
    std::vector<bool> ServerEntryFlags{false};
    // "---" in element 0 means the list is empty.
    std::vector<std::string> InterfaceNames{"---"};
    std::vector<std::string> ServerNames{"---"};

    IniRows ScanList, DisplayList, ServerFlagList, ServerList;

    HotKey UpdateHotKey, CopyHotKey, SaveHotKey;

    // Index of the selected trace, shared by every trace window; the start
    // sequence sets it back to the first.
    int16_t SelectedTrace = 0;

    // Settings of Quilvane.ini, with their defaults.
    // [Hardcopy]
    int16_t SaveImage = 0;
    int16_t CopyImage = 1;
    int16_t PasteWord = 0;
    int16_t Color = 1;
    // The extension of the last hardcopy: what the save dialog proposes.
    std::string HardcopyExtension;
    // [Trace]
    int16_t SaveDat = 0;
    int16_t CopyImg = 1;
    int16_t CopyDat = 0;
    int16_t PastDat = 0;
    int16_t Axis1Log = 0;
    int16_t Axis2Log = 0;
    // [UCor]
    int16_t ColSep = 9;
    int16_t XCol = 1;
    int16_t YCol = 2;
    int32_t StartRow = 1;
    int16_t ReduceMethod = 2;
    // [Scan]
    int16_t IncludeQVIB = 0;
    // [InterAct] Command1..: the console's last commands, the oldest first.
    std::vector<std::string> ConsoleHistory;
    // [SelectedDevice] Number: the list index at the last save.
    int32_t SelectedDeviceNumber = 0;

    // Set by the windows when they exist; the logic calls them if set.
    // The current row of the instrument list (saved as SelectedDevice/Number).
    std::function<int32_t()> DeviceListIndex;
    // Closes a running progress splash and start splash.
    std::function<void()> CloseSplashes;
};

// The one context of the process.
AppContext& context();

// The four row lists, in IniFilePath: ScanEntries/Value, DisplayNames/Name,
// ScanEntriesServers/Value, Servers/ServerEntry.
void SetRowLocators(AppContext& ctx);

// The program folder: ctx.ProgramFolder when set, else the executable's.
std::string ProgramFolderOf(const AppContext& ctx);

}  // namespace qv::app
