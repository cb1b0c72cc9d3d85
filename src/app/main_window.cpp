#include "app/main_window.h"

#include "app/data_folder.h"
#include "app/debug.h"
#include "app/functions_mask.h"
#include "app/host.h"
#include "app/iniio.h"
#include "app/settings.h"
#include "app/text.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace qv::app {

namespace {

constexpr const char* kModule = "MainForm";

std::string ReplaceAll(std::string s, std::string_view what, std::string_view with) {
    if (what.empty()) return s;
    size_t pos = 0;
    while ((pos = s.find(what, pos)) != std::string::npos) {
        s.replace(pos, what.size(), with);
        pos += with.size();
    }
    return s;
}

std::string Two(int n) {
    char buf[16];
    std::snprintf(buf, sizeof buf, "%02d", n);
    return buf;
}

bool MakeFolder(const std::string& path) {
    std::error_code ec;
    std::filesystem::create_directory(path, ec);
    return std::filesystem::is_directory(path, ec);
}

}  // namespace

void SetHotKeys(AppContext& ctx) {
    ctx.UpdateHotKey = kUpdateHotKey;
    ctx.CopyHotKey = kCopyHotKey;
    ctx.SaveHotKey = kSaveHotKey;
}

HotKeyActions HotKeyManagerActions(const AppContext& ctx, std::string_view tag, int keyCode, int modifiers) {
    HotKeyActions a;
    auto matches = [&](const HotKey& k) { return k.Modifiers == modifiers && k.KeyCode == keyCode; };
    if (matches(ctx.CopyHotKey)) {
        a.copyTraceImage = tag == "TRACE";
        a.copyHardcopyImage = tag == "IMAGE";
    }
    if (matches(ctx.SaveHotKey)) {
        a.saveTrace = tag == "TRACE";
        a.saveImage = tag == "IMAGE";
    }
    if (matches(ctx.UpdateHotKey))
        a.update = tag == "TRACE" || tag == "IMAGE" || tag == "INSTFILE" || tag == "REPORT";
    return a;
}

void HotKeyManager(const AppContext& ctx, HotKeyWindow& window, int keyCode, int modifiers) {
    host().busy(true);
    host().processEvents();
    const std::string tag = window.Tag();
    HotKeyActions a = HotKeyManagerActions(ctx, tag, keyCode, modifiers);
    if (a.copyTraceImage || a.copyHardcopyImage) window.CopyPicture();
    if (a.saveTrace || a.saveImage) {
        std::string filter = a.saveTrace ? std::string("*.txt") : "*." + window.ImageType();
        std::string path = host().saveFileName("Please select filename", "", "", filter);
        if (!path.empty()) {
            if (a.saveTrace) {
                // The dialog's default extension.
                if (std::filesystem::path(path).extension().empty()) path += ".txt";
                window.SaveTraceText(path);
            } else {
                if (std::filesystem::path(path).extension().empty() && !window.ImageType().empty())
                    path += "." + window.ImageType();
                window.SavePicture(path);
            }
        }
    }
    if (a.update) window.Update();
    host().busy(false);
    host().processEvents();
}

int16_t MenuCapabilityBit(MenuId id) { return MenuEntryOf(id).bit; }

bool MenuEnabledForMask(MenuId id, int16_t mask) {
    int16_t bit = MenuCapabilityBit(id);
    return bit == 0 ? true : (mask & bit) != 0;
}

MenuId BigButtonEntry(BigButton button) {
    switch (button) {
        case BigButton::Hardcopy: return MenuId::MNewHardcopy;
        case BigButton::Trace: return MenuId::MNewTrace;
        case BigButton::FilesInstr: return MenuId::MNewInstFileBrow;
        case BigButton::Tables: return MenuId::MNewInstTables;
        case BigButton::Scripts: return MenuId::MNewInstScripts;
    }
    return MenuId::Count;
}

bool BigButtonAllowed(BigButton button, int16_t mask, std::string_view myVisaRsc) {
    const MenuEntry& e = MenuEntryOf(BigButtonEntry(button));
    if (e.need == MenuNeed::Resource) return !myVisaRsc.empty();
    return e.need == MenuNeed::Capability && (mask & e.bit) != 0;
}

void notifyFunctionNotSupported() {
    host().message("Function not supported", "Current function not supported by this instrument", Icon::Information,
                   Buttons::Ok);
}

std::string DeviceListText(std::string_view info) {
    size_t bar = info.find('|');
    // Without a display entry the text already reads "name (family)".
    if (bar == std::string_view::npos) return std::string(info);
    std::string out(info.substr(0, bar));
    out += ' ';
    size_t paren = info.find('(');
    if (paren != std::string_view::npos) out += info.substr(paren);
    return out;
}

std::string FirmwareOf(std::string_view listText) {
    size_t paren = listText.find('(');
    std::string fw(paren == std::string_view::npos ? listText : listText.substr(paren + 1));
    fw = TrimLineEnds(fw);
    fw = TrimLineEnds(ReplaceAll(fw, "(Release)", ""));
    fw = TrimLineEnds(ReplaceAll(fw, ")", ""));
    return fw;
}

std::string OutputFileName(const std::string& saveFolder, std::string_view listText, const TimeRecord& t,
                           std::string_view extension) {
    std::string name = ReplaceAll(std::string(listText), "(", "-");
    name = ReplaceAll(name, ")", "");
    name = ReplaceAll(name, " ", "");
    // A display name may hold the folder separator ("Bench 1/2"): it would
    // send the file into a folder that does not exist.
    name = ReplaceAll(name, "/", "-");
    return saveFolder + "/" + name + "@" + std::to_string(t.Year) + "-" + Two(t.Month) + "-" + Two(t.Day) + "_" +
           Two(t.Hour) + "-" + Two(t.Minute) + "-" + Two(t.Second) + std::string(extension);
}

void EnsureLocalServer(const std::string& ini) {
    if (ReadIni(ini, "ScanEntriesServers", "Value1", Value("0")).text() == "0" ||
        ReadIni(ini, "Servers", "ServerEntry1", Value("NULL")).text() == "NULL") {
        WriteIni(ini, "Servers", "ServerEntry1", Value("localhost"));
        WriteIni(ini, "ScanEntriesServers", "Value1", Value("1"));
    }
}

std::string MakeAppDataFolder() {
    std::string base;
    const char* appdata = std::getenv("APPDATA");
    if (appdata && *appdata) {
        base = appdata;
    } else {
        const char* xdg = std::getenv("XDG_CONFIG_HOME");
        if (xdg && *xdg) {
            base = xdg;
        } else {
            const char* home = std::getenv("HOME");
            if (!home || !*home) return {};
            base = std::string(home) + "/.config";
            MakeFolder(base);
        }
    }
    while (base.size() > 1 && base.back() == '/') base.pop_back();
    std::string maker = base + "/Tesselhorn";
    if (!MakeFolder(maker)) return {};
    std::string folder = maker + "/Quilvane";
    if (!MakeFolder(folder)) return {};
    return folder;
}

bool SplashHandshake::Ready() {
    ready_ = true;
    if (fired_ && !closed_) return closed_ = true;
    return false;
}

bool SplashHandshake::TimerFired() {
    fired_ = true;
    if (ready_ && !closed_) return closed_ = true;
    return false;
}

MainLogic::MainLogic(AppContext& ctx, MainView& view, InstrumentSource& source)
    : ctx_(ctx), view_(view), source_(source) {
    // Nothing is selected before the first search: of the instrument
    // functions only the editor is on.
    for (const MenuEntry& e : MenuEntries())
        menuState_[static_cast<int>(e.id)] = e.need == MenuNeed::Nothing || e.need == MenuNeed::Visa;
}

bool MainLogic::MenuEnabled(MenuId id) const {
    const int i = static_cast<int>(id);
    return i >= 0 && i < kMenuIdCount && menuState_[i];
}

void MainLogic::setMenu(MenuId id, bool enabled) {
    const int i = static_cast<int>(id);
    if (i < 0 || i >= kMenuIdCount) return;
    menuState_[i] = enabled;
    view_.SetMenuEnabled(id, enabled);
}

void MainLogic::setMenus(std::initializer_list<MenuNeed> needs, bool enabled) {
    for (const MenuEntry& e : MenuEntries())
        for (MenuNeed n : needs)
            if (e.need == n) setMenu(e.id, enabled);
}

void MainLogic::Load(const std::string& appDataFolder) {
    CallGuard guard(kModule, "", "Form_Load");
    view_.SetCaption(GetMainCaption());

    const std::string folder = appDataFolder.empty() ? MakeAppDataFolder() : appDataFolder;
    // A per-user folder that cannot be made: the program folder, as when
    // no per-user folder is named at all.
    ctx_.AppDataFolder = folder.empty() ? ProgramFolderOf(ctx_) : folder;
    ctx_.IniFilePath = ctx_.AppDataFolder + "/Quilvane.ini";
    SetRowLocators(ctx_);

    const std::string& ini = ctx_.IniFilePath;
    EnsureLocalServer(ini);
    if (ReadIni(ini, kEscapeSeqSection, "VAL1", Value("0")).text() == "0" &&
        ReadIni(ini, kEscapeSeqSection, "VAL2", Value("0")).text() == "0") {
        WriteIni(ini, kEscapeSeqSection, "VAL1", Value("XYZ"));
        WriteIni(ini, kEscapeSeqSection, "VAL2", Value("YZX"));
    }

    source_.LoadMasterDevices();
    SetLoadSave(1, ctx_);
    if (ctx_.SaveFolder.empty()) ctx_.SaveFolder = ctx_.AppDataFolder;
    if (ctx_.TempFolder.empty()) {
        const char* tmp = std::getenv("tmp");
        const char* temp = std::getenv("temp");
        ctx_.TempFolder = (tmp && *tmp) ? tmp : (temp ? temp : "");
        // Linux names neither variable as a rule; the system's temp folder then.
        if (ctx_.TempFolder.empty()) ctx_.TempFolder = TempPath();
    }
    SetHotKeys(ctx_);
    ctx_.InterfaceNames = {"---"};
    ctx_.ServerNames = {"---"};
    view_.CheckSkinEntry(2);

    view_.ShowStartSplash();
    if (source_.VisaPresent()) {
        ctx_.VisaPresent = true;
        ReadFlagList(ctx_.ScanList, ctx_.DisplayList, ctx_.ScanEntryFlags);
        ReadFlagList(ctx_.ServerFlagList, ctx_.ServerList, ctx_.ServerEntryFlags);
        SearchDevices();
        view_.StartSplashReady();
        ApplyCapabilities("");
        ctx_.SelectedTrace = 0;
    } else {
        ctx_.VisaPresent = false;
        host().message("Visa32.dll not found!", "VISA DLL could not be found.\r\nPlease install VISA software.",
                       Icon::Critical, Buttons::Ok);
        setMenus({MenuNeed::Visa}, false);
        view_.StartSplashReady();
    }
}

void MainLogic::ShowDeviceSelection(bool enabled) {
    rows_.clear();
    listIndex_ = -1;
    view_.ClearDeviceLists();
    // Every instrument function follows the list but the tables, which
    // keep their state through a refill; scripts need only a selected
    // instrument and follow it too.
    for (const MenuEntry& e : MenuEntries())
        if (e.need == MenuNeed::Capability || e.need == MenuNeed::Selection || e.need == MenuNeed::Resource)
            if (e.id != MenuId::MNewInstTables) setMenu(e.id, enabled);
    setMenus({MenuNeed::DemodulationReport}, enabled && hasReport(MyDevType));
}

bool MainLogic::hasReport(std::string_view tag) const { return FamilyHasReport && FamilyHasReport(tag); }

int MainLogic::SearchDevices() {
    if (searching_) return static_cast<int>(rows_.size());
    CallGuard guard(kModule, "", "SearchDevices");
    ReadFlagList(ctx_.ScanList, ctx_.DisplayList, ctx_.ScanEntryFlags);
    bool any = false;
    for (bool f : ctx_.ScanEntryFlags) any = any || f;
    if (!any) {
        ShowDeviceSelection(false);
        selectNothing();
        return 0;
    }
    searching_ = true;
    view_.SetSearching(true);
    ReadFlagList(ctx_.ServerFlagList, ctx_.ServerList, ctx_.ServerEntryFlags);
    host().busy(true);
    host().processEvents();
    std::vector<ScanRecord> found = source_.Scan(ctx_.IniFilePath, 5000, ctx_.ScanEntryFlags, ctx_.ServerEntryFlags);
    host().busy(false);
    host().processEvents();
    ShowDeviceSelection(false);
    for (const ScanRecord& r : found) {
        DeviceRow row{DeviceListText(r.deviceInfo), r.resource, r.computer, r.type};
        rows_.push_back(row);
        view_.AddDeviceRow(row);
    }
    searching_ = false;
    view_.SetSearching(false);
    if (!rows_.empty()) DeviceListSelected(0);
    else selectNothing();
    return static_cast<int>(rows_.size());
}

void MainLogic::selectNothing() {
    MyVISARsc.clear();
    MyDevType.clear();
    MyFirmware.clear();
    disableFunctions(true);
}

void MainLogic::disableFunctions(bool includeGeneral) {
    ctx_.CapabilityMask = 0;
    setMenus({MenuNeed::Capability, MenuNeed::DemodulationReport}, false);
    if (includeGeneral) setMenus({MenuNeed::Selection, MenuNeed::Resource}, false);
}

void MainLogic::DeviceListSelected(int index) {
    if (!ctx_.VisaPresent) return;
    if (index < 0 || index >= static_cast<int>(rows_.size())) return;
    CallGuard guard(kModule, "", "DeviceList_Click");
    listIndex_ = index;
    view_.ShowDeviceIndex(index);
    const DeviceRow& row = rows_[index];
    // A list text carries the blank of the "name (firmware)" join.
    if (TrimLineEnds(row.text) == "<FILE>") {
        MyVISARsc = "<FILE>";
        MyDevType = "<FILE>";
        MyFirmware.clear();
        return;
    }
    MyVISARsc = row.resource;
    MyDevType = row.type;
    MyFirmware = FirmwareOf(row.text);
    ApplyCapabilities(MyDevType);
    setMenus({MenuNeed::Resource}, !MyVISARsc.empty());
}

void MainLogic::ApplyCapabilities(std::string_view tag) {
    if (tag.empty()) return;
    ctx_.CapabilityMask = FunctionsMask(VisaDevicesPath(), tag);
    for (const MenuEntry& e : MenuEntries())
        if (e.need == MenuNeed::Capability) setMenu(e.id, MenuEnabledForMask(e.id, ctx_.CapabilityMask));
    setMenus({MenuNeed::DemodulationReport}, hasReport(tag));
    setMenus({MenuNeed::Selection}, true);
}

void MainLogic::EndLoad() {
    if (!ctx_.VisaPresent) return;
    bool noResource = listIndex_ < 0 || rows_[listIndex_].resource.empty();
    if (rows_.empty() || noResource) {
        Answer a = host().message("No instruments found",
                                  "No available instruments were found!\r\nDo you want to configure an instrument now?",
                                  Icon::None, Buttons::OkCancel);
        if (a == Answer::Ok) view_.OpenRemoteInterfaces();
        disableFunctions(false);
    }
}

bool MainLogic::BigButtonClicked(BigButton button) {
    if (BigButtonAllowed(button, ctx_.CapabilityMask, MyVISARsc)) return true;
    notifyFunctionNotSupported();
    return false;
}

std::string MainLogic::CurrentListText() const {
    if (listIndex_ < 0 || listIndex_ >= static_cast<int>(rows_.size())) return {};
    return rows_[listIndex_].text;
}

void MainLogic::Exit() {
    bool own = !ctx_.DeviceListIndex;
    if (own) ctx_.DeviceListIndex = [this] { return listIndex_; };
    SetLoadSave(2, ctx_);
    if (own) ctx_.DeviceListIndex = nullptr;
}

}  // namespace qv::app
