// The main window's menus as one table: each entry's id, control name,
// caption, the menu it stands in and what enables it. The logic reads the
// enabling columns (MainLogic, the big buttons); the window walks the rows
// to build its menus and binds an action to each id. Nothing else names a
// menu entry.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace qv::app {

// Every entry of the menus, in table order.
enum class MenuId : uint8_t {
    MFileVISARsc,
    MFileSettings,
    MenuFilePath,
    MFileExit,
    MNewHardcopy,
    MNewTrace,
    MNewInstFileBrow,
    MNewInstTables,
    MNewInstScripts,
    MUtilAllPollStatus,
    MUtilAllInterAct,
    MUtilAllRawRead,
    MUtilAllTimed,
    IPResolver,
    MUtilTKxVHxCalResults,
    MUtilTKxVHxSelfTest,
    MUtilTKxVHxHardInfo,
    MUtilTKxVHxSetClock,
    MUtilTKxVHxDiscColor,
    MUtilTKxDemodReport,
    MGLxUtilUserCorrection,
    MWinArr0,  // the four arrange modes, in mode order
    MWinArr1,
    MWinArr2,
    MWinArr3,
    WindowSkins1,
    WindowSkins2,
    WindowSkins3,
    HelpHelp,
    SupDevicesMenu,
    MHelpAbout,
    TMZOOM,
    TMPAN,
    TMPoints,
    TMLine,
    FMOPEN,
    FMSAVETO,
    FMVIEW,
    FMVIEWMODE0,  // the four view modes, in mode order
    FMVIEWMODE1,
    FMVIEWMODE2,
    FMVIEWMODE3,
    FMRENAME,
    Count
};
inline constexpr int kMenuIdCount = static_cast<int>(MenuId::Count);

// The menus entries stand in: the menu bar's, the popup menus outside it,
// and the view modes under FMVIEW.
enum class MenuGroup : uint8_t { File, Instrument, Utilities, Window, Help, TracePopup, FilePopup, FileView, Count };

// What an entry needs to be enabled.
enum class MenuNeed : uint8_t {
    Nothing,     // always on
    Visa,        // a VISA library: the remote interfaces editor
    Capability,  // its bit of CapabilityMask
    Selection,   // a selected instrument
    Resource,    // a selected instrument with a resource (scripts)
    DemodulationReport,  // a selected family with the demodulation result report
};

enum class MenuKind : uint8_t {
    Action,
    Check,    // a check mark; the checked entries of one menu exclude each other
    Submenu,  // opens the menu named by `opens`
};

struct MenuEntry {
    MenuId id;
    const char* control;
    const char* caption;
    MenuGroup group;
    MenuNeed need;
    int16_t bit;  // the CapabilityMask bit of a Capability entry, else 0
    bool separatorBefore;
    MenuKind kind;
    MenuGroup opens;  // Submenu rows only; Count otherwise
};

// A menu of the bar or a popup menu (a submenu is made by its entry).
struct MenuGroupRow {
    MenuGroup group;
    const char* control;
    const char* caption;
    bool popup;  // outside the menu bar
};

std::span<const MenuEntry> MenuEntries();
std::span<const MenuGroupRow> MenuGroups();
// The row of id; an empty row (no control name, needs nothing) for an id
// outside the table.
const MenuEntry& MenuEntryOf(MenuId id);
// The entry with this control name; nullptr when there is none.
const MenuEntry* FindMenuEntry(std::string_view control);
// The caption as a sentence names the function: "&Trace Display..." gives
// "Trace Display".
std::string PlainCaption(std::string_view caption);

}  // namespace qv::app
