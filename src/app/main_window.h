// The main window's own logic: the start sequence from the load event to the
// first usable instrument, the selection of the instrument list, capability
// gating of menus and big buttons, the hot key pairs, the naming rule of
// output files and the way down. The window itself (in the toolkit layer)
// implements MainView and only mirrors what this logic decides; the
// instrument search comes in through InstrumentSource, because the
// directory lies above this core.
#pragma once

#include "app/context.h"
#include "app/menu_table.h"
#include "app/standard.h"

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace qv::app {

// The five big buttons of the main window.
enum class BigButton { Hardcopy, Trace, FilesInstr, Tables, Scripts };

// One row of the three parallel lists.
struct DeviceRow {
    std::string text;      // "SELECTED INSTRUMENT": name before "|", a blank, "(" to the end
    std::string resource;  // "INTERFACE"
    std::string computer;  // "COMPUTER NAME"
    std::string type;      // family tag of the record
};

// What a scan found, record by record, as VISAScan gives it.
struct ScanRecord {
    std::string deviceInfo;  // "name|...(firmware)"
    std::string resource;
    std::string computer;
    std::string type;
};

class InstrumentSource {
public:
    virtual ~InstrumentSource() = default;
    // Whether a VISA library is there.
    virtual bool VisaPresent() = 0;
    // Reads the master list of VisaDevices.ini (start step 6).
    virtual void LoadMasterDevices() = 0;
    // VISAScanINI over the configured rows with the given flags.
    virtual std::vector<ScanRecord> Scan(const std::string& iniFile, int timeoutMs,
                                         const std::vector<bool>& scanFlags,
                                         const std::vector<bool>& serverFlags) = 0;
    // Where the scans report: percent done (0-100) and the entry being
    // visited (the custom name, "@" and the entry). Either may be empty.
    virtual void SetScanProgress(std::function<void(int)> percent,
                                 std::function<void(const std::string&)> status) = 0;
    // The record behind row listIndex of the last scan's list (the row shows
    // rowResource): its mapped name (empty for a master family) and its
    // family. False when no record stands behind the row.
    virtual bool RecordNames(int listIndex, const std::string& rowResource, std::string& mappedName,
                             std::string& family) const = 0;
};

class MainView {
public:
    virtual ~MainView() = default;
    virtual void SetCaption(const std::string& caption) = 0;
    virtual void SetMenuEnabled(MenuId id, bool enabled) = 0;
    // Mirrors of the three lists: emptied and refilled together.
    virtual void ClearDeviceLists() = 0;
    virtual void AddDeviceRow(const DeviceRow& row) = 0;
    // Shows row index in all three lists without raising the selection logic;
    // the computer name label follows the shown text.
    virtual void ShowDeviceIndex(int index) = 0;
    // The start splash: shown in step 12, told that the work is done in
    // step 13; when it goes away the window calls EndLoad.
    virtual void ShowStartSplash() = 0;
    virtual void StartSplashReady() = 0;
    // The skin step: the built-in look, with WindowSkins2 checked.
    virtual void CheckSkinEntry(int which) = 0;
    // Opens the remote interfaces editor as MFileVISARsc does.
    virtual void OpenRemoteInterfaces() = 0;
    // A search runs: the window takes no commands until it ends (a message
    // of the scan may close the splash that otherwise keeps them out).
    virtual void SetSearching(bool on) {}
};

// The hot key pairs (modifier mask, key code).
inline constexpr HotKey kUpdateHotKey{1, 13};  // Shift + Enter
inline constexpr HotKey kCopyHotKey{2, 67};    // Ctrl + C
inline constexpr HotKey kSaveHotKey{1, 44};    // Shift + Print Screen
void SetHotKeys(AppContext& ctx);

// What a key event in a child window asks for; several may hold at once.
struct HotKeyActions {
    bool copyTraceImage = false;
    bool copyHardcopyImage = false;
    bool saveTrace = false;
    bool saveImage = false;
    bool update = false;  // readTrace / GetHardcopy / OpenFile(false) / report re-read, by tag
};
// tag is "TRACE", "IMAGE", "REPORT" or "INSTFILE".
HotKeyActions HotKeyManagerActions(const AppContext& ctx, std::string_view tag, int keyCode, int modifiers);

// A child window as the hot keys see it. The windows of the later
// functions implement what their tag needs; the rest stays a no-op.
class HotKeyWindow {
public:
    virtual ~HotKeyWindow() = default;
    virtual std::string Tag() const = 0;
    // Copy pair: TRACE puts its graph's image on the clipboard, IMAGE its picture.
    virtual void CopyPicture() {}
    // Save pair: the picture's file type ("png", ...) for IMAGE.
    virtual std::string ImageType() const { return {}; }
    // TRACE writes one line per point ("x; y", or "x; real; imaginary").
    virtual bool SaveTraceText(const std::string& path) { return false; }
    virtual bool SavePicture(const std::string& path) { return false; }
    // Update pair: read the trace again, fetch the hardcopy again, list the
    // folder again, or read the report again.
    virtual void Update() {}
};

// The hot keys of a child window: busy pointer, pending events, then the
// copy, save and update pairs in that order, each when modifiers and key
// code both match. A cancelled file dialog ends the save without a word.
void HotKeyManager(const AppContext& ctx, HotKeyWindow& window, int keyCode, int modifiers);

// The bit of CapabilityMask a menu entry needs; 0 for entries that need
// no capability.
int16_t MenuCapabilityBit(MenuId id);
// Enabled state of a menu entry for a mask with an instrument selected.
bool MenuEnabledForMask(MenuId id, int16_t mask);
// The menu entry a big button stands for: its rule and its look.
MenuId BigButtonEntry(BigButton button);
// Whether a big button may run its action; false means "Function not supported".
bool BigButtonAllowed(BigButton button, int16_t mask, std::string_view myVisaRsc);
// The information message "Function not supported".
void notifyFunctionNotSupported();

// The list text of one scan record: everything before the first "|", a
// blank, and everything from the first "(" on ("Lab (TKD)"); a text without
// "|" as it stands.
std::string DeviceListText(std::string_view deviceInfo);
// The firmware part of a list text: behind the first "(" (the whole text
// when there is none), "(Release)" and ")" removed, trimmed.
std::string FirmwareOf(std::string_view listText);

// The output file rule: SaveFolder/name@yyyy-mm-dd_hh-nn-ss + extension, the
// name being the list text with "(" as "-", ")" and blanks removed.
std::string OutputFileName(const std::string& saveFolder, std::string_view listText, const TimeRecord& when,
                           std::string_view extension);

// Per-user folder: $APPDATA/Tesselhorn/Quilvane when APPDATA is set (folders
// created), else $XDG_CONFIG_HOME or ~/.config + /Tesselhorn/Quilvane
// (created as well, a Linux desktop has no writable program folder).
// Returns the folder; empty when it cannot be made.
std::string MakeAppDataFolder();
// Settings that name no ticked VISA server get the local one as server 1,
// as the program's first start writes it.
void EnsureLocalServer(const std::string& iniFile);

// The start splash handshake: it closes when both the 500 ms timer has
// fired and the start work is done, whichever comes second.
class SplashHandshake {
public:
    static constexpr int kMinimumMs = 500;
    // Each returns true when the splash must close now.
    bool Ready();
    bool TimerFired();
    bool closed() const { return closed_; }

private:
    bool ready_ = false, fired_ = false, closed_ = false;
};

class MainLogic {
public:
    MainLogic(AppContext& ctx, MainView& view, InstrumentSource& source);

    // Steps 1 to 13 of the load event. appDataFolder: the per-user folder;
    // empty: made from the environment (MakeAppDataFolder()) after step 1.
    void Load(const std::string& appDataFolder);
    // The search; returns the number of rows. A search asked for while one
    // runs (from an event let through by the scan) does nothing.
    int SearchDevices();
    // The selection logic of DeviceList (the window calls it on a change).
    void DeviceListSelected(int index);
    void ApplyCapabilities(std::string_view tag);
    void ShowDeviceSelection(bool enabled);
    // Called when the start splash has gone.
    void EndLoad();
    // A big button: true when its action may run, else the refusal message.
    bool BigButtonClicked(BigButton button);
    // The way down: all settings written.
    void Exit();

    // The selection, handed to each window as it opens.
    std::string MyVISARsc, MyDevType, MyFirmware;
    // Whether a family tag has the demodulation result report. The family
    // registry lies above this core, so the window sets it; unset, no family
    // has one.
    std::function<bool(std::string_view tag)> FamilyHasReport;
    const std::vector<DeviceRow>& Rows() const { return rows_; }
    int ListIndex() const { return listIndex_; }
    // The list text of the selected row ("" without one): the naming rule's name.
    std::string CurrentListText() const;
    // Whether a menu entry is enabled right now (as last set; at first
    // every instrument function is off, the editor and the entries that
    // need nothing on).
    bool MenuEnabled(MenuId id) const;

private:
    void setMenu(MenuId id, bool enabled);
    // Every entry that needs one of these.
    void setMenus(std::initializer_list<MenuNeed> needs, bool enabled);
    void disableFunctions(bool includeGeneral);
    // A search that leaves the list empty leaves nothing selected.
    void selectNothing();
    bool hasReport(std::string_view tag) const;

    AppContext& ctx_;
    MainView& view_;
    InstrumentSource& source_;
    std::vector<DeviceRow> rows_;
    int listIndex_ = -1;
    bool searching_ = false;
    bool menuState_[kMenuIdCount] = {};
};

}  // namespace qv::app
