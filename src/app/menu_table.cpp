#include "app/menu_table.h"

#include "app/functions_mask.h"

#include <array>

namespace qv::app {

namespace {

using G = MenuGroup;
using I = MenuId;
using N = MenuNeed;
using K = MenuKind;

constexpr bool kSep = true;

constexpr MenuEntry Row(I id, const char* control, const char* caption, G group, N need = N::Nothing,
                        int16_t bit = 0, bool separatorBefore = false, K kind = K::Action, G opens = G::Count) {
    return {id, control, caption, group, need, bit, separatorBefore, kind, opens};
}
constexpr MenuEntry Gated(I id, const char* control, const char* caption, G group, int16_t bit,
                          bool separatorBefore = false) {
    return Row(id, control, caption, group, N::Capability, bit, separatorBefore);
}

// Display colours and the popup entries have no action behind them here:
// the popups act through the child window they open over.
constexpr std::array<MenuEntry, kMenuIdCount> kEntries{{
    Row(I::MFileVISARsc, "MFileVISARsc", "Remote Interfaces...", G::File, N::Visa),
    Row(I::MFileSettings, "MFileSettings", "&Settings...", G::File),
    Row(I::MenuFilePath, "MenuFilePath", "Directory for Saving Files...", G::File),
    Row(I::MFileExit, "MFileExit", "E&xit", G::File, N::Nothing, 0, kSep),

    Gated(I::MNewHardcopy, "MNewHardcopy", "&Hardcopy...", G::Instrument, kCapHardcopy),
    Gated(I::MNewTrace, "MNewTrace", "&Trace Display...", G::Instrument, kCapTrace),
    Gated(I::MNewInstFileBrow, "MNewInstFileBrow", "&File Browser...", G::Instrument, kCapFiles),
    Gated(I::MNewInstTables, "MNewInstTables", "&Print Tables...", G::Instrument, kCapTables),
    Row(I::MNewInstScripts, "MNewInstScripts", "&Scripts...", G::Instrument, N::Resource),

    Row(I::MUtilAllPollStatus, "MUtilAllPollStatus", "Poll Main Status Information...", G::Utilities, N::Selection),
    Row(I::MUtilAllInterAct, "MUtilAllInterAct", "&Interactive Control...", G::Utilities, N::Selection),
    Row(I::MUtilAllRawRead, "MUtilAllRawRead", "&Raw Reading...", G::Utilities, N::Selection),
    // Runs a script on a schedule: it needs what the scripts need.
    Row(I::MUtilAllTimed, "MUtilAllTimed", "&Timed Actions...", G::Utilities, N::Resource),
    Row(I::IPResolver, "IPResolver", "&IP Address Resolver...", G::Utilities, N::Nothing, 0, kSep),
    Gated(I::MUtilTKxVHxCalResults, "MUtilTKxVHxCalResults", "Read &Calibration Results...", G::Utilities,
          kCapAnalyzerUtilities, kSep),
    Gated(I::MUtilTKxVHxSelfTest, "MUtilTKxVHxSelfTest", "Read Selftest Results...", G::Utilities,
          kCapAnalyzerUtilities),
    Gated(I::MUtilTKxVHxHardInfo, "MUtilTKxVHxHardInfo", "Read Hardware Info...", G::Utilities,
          kCapAnalyzerUtilities),
    Gated(I::MUtilTKxVHxSetClock, "MUtilTKxVHxSetClock", "Set Instrument Clock", G::Utilities,
          kCapAnalyzerUtilities),
    Gated(I::MUtilTKxVHxDiscColor, "MUtilTKxVHxDiscColor", "Display &Colors...", G::Utilities,
          kCapAnalyzerUtilities),
    // The demodulation summary as a report; no FUNCTIONS bit stands for it,
    // the family's trait decides.
    Row(I::MUtilTKxDemodReport, "MUtilTKxDemodReport", "&Demodulation Result Report...", G::Utilities,
        N::DemodulationReport),
    Gated(I::MGLxUtilUserCorrection, "MGLxUtilUserCorrection", "Generator User Correction...", G::Utilities,
          kCapUserCorrection, kSep),

    Row(I::MWinArr0, "MWinArr0", "&Cascade", G::Window),
    Row(I::MWinArr1, "MWinArr1", "Tile &Horizontally", G::Window),
    Row(I::MWinArr2, "MWinArr2", "Tile &Vertically", G::Window),
    Row(I::MWinArr3, "MWinArr3", "&Arrange Icons", G::Window),
    Row(I::WindowSkins1, "WindowSkins1", "&Skin1", G::Window, N::Nothing, 0, kSep, K::Check),
    Row(I::WindowSkins2, "WindowSkins2", "&Skin2", G::Window, N::Nothing, 0, false, K::Check),
    Row(I::WindowSkins3, "WindowSkins3", "&Skin3", G::Window, N::Nothing, 0, false, K::Check),

    // No update check: there is no update page to ask.
    Row(I::HelpHelp, "HelpHelp", "&Help", G::Help),
    Row(I::SupDevicesMenu, "SupDevicesMenu", "Supported &Devices...", G::Help),
    Row(I::MHelpAbout, "MHelpAbout", "&About", G::Help, N::Nothing, 0, kSep),

    Row(I::TMZOOM, "TMZOOM", "Zoom", G::TracePopup),
    Row(I::TMPAN, "TMPAN", "Pan", G::TracePopup),
    Row(I::TMPoints, "TMPoints", "Points", G::TracePopup),
    Row(I::TMLine, "TMLine", "Line", G::TracePopup),

    Row(I::FMOPEN, "FMOPEN", "Open", G::FilePopup),
    Row(I::FMSAVETO, "FMSAVETO", "Save to...", G::FilePopup),
    Row(I::FMVIEW, "FMVIEW", "View", G::FilePopup, N::Nothing, 0, false, K::Submenu, G::FileView),
    Row(I::FMVIEWMODE0, "FMVIEWMODE0", "Tiles", G::FileView),
    Row(I::FMVIEWMODE1, "FMVIEWMODE1", "Icons", G::FileView),
    Row(I::FMVIEWMODE2, "FMVIEWMODE2", "List", G::FileView),
    Row(I::FMVIEWMODE3, "FMVIEWMODE3", "Details", G::FileView),
    Row(I::FMRENAME, "FMRENAME", "Rename", G::FilePopup),
}};

constexpr std::array<MenuGroupRow, 7> kGroups{{
    {G::File, "MFile", "&File", false},
    {G::Instrument, "MNew", "&Instrument", false},
    {G::Utilities, "MUtil", "&Utilities", false},
    {G::Window, "MWin", "&Window", false},
    {G::Help, "MHelp", "&Help", false},
    {G::TracePopup, "TraceMenu", "TraceMenu", true},
    {G::FilePopup, "InstFileMenu", "InstFileMenu", true},
}};

constexpr bool SameText(const char* a, const char* b) {
    while (*a && *a == *b) ++a, ++b;
    return *a == *b;
}

// The rules the window and the logic rely on, checked when this file builds.
constexpr bool TableHolds() {
    for (size_t i = 0; i < kEntries.size(); ++i) {
        const MenuEntry& e = kEntries[i];
        // Row i is id i: look-ups by id index the table.
        if (static_cast<size_t>(e.id) != i) return false;
        // A bit exactly where a capability decides.
        if ((e.need == N::Capability) != (e.bit != 0)) return false;
        if ((e.kind == K::Submenu) != (e.opens != G::Count)) return false;
        for (size_t j = 0; j < i; ++j)
            if (SameText(kEntries[j].control, e.control)) return false;
        // An entry's menu is a menu of the bar, a popup, or a submenu opened
        // by an earlier entry.
        bool placed = false;
        for (const MenuGroupRow& g : kGroups) placed = placed || g.group == e.group;
        for (size_t j = 0; j < i; ++j) placed = placed || kEntries[j].opens == e.group;
        if (!placed) return false;
    }
    return true;
}
static_assert(TableHolds());

const MenuEntry kNoEntry{MenuId::Count, "", "", MenuGroup::Count, N::Nothing, 0, false, K::Action, G::Count};

}  // namespace

std::span<const MenuEntry> MenuEntries() { return kEntries; }

std::span<const MenuGroupRow> MenuGroups() { return kGroups; }

const MenuEntry& MenuEntryOf(MenuId id) {
    const size_t i = static_cast<size_t>(id);
    return i < kEntries.size() ? kEntries[i] : kNoEntry;
}

const MenuEntry* FindMenuEntry(std::string_view control) {
    for (const MenuEntry& e : kEntries)
        if (control == e.control) return &e;
    return nullptr;
}

std::string PlainCaption(std::string_view caption) {
    std::string out;
    for (char c : caption)
        if (c != '&') out += c;
    while (!out.empty() && out.back() == '.') out.pop_back();
    return out;
}

}  // namespace qv::app
