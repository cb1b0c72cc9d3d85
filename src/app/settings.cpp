#include "app/settings.h"

#include "app/data_folder.h"
#include "app/iniio.h"
#include "app/numeric.h"
#include "app/profile.h"
#include "app/text.h"

#include <limits>

namespace qv::app {

void SetLoadSave(int mode, AppContext& ctx) {
    ctx.ErrorPollDefault = true;
    if (mode != kIniDefault && mode != kIniLoad && mode != kIniSave) return;
    const std::string& f = ctx.IniFilePath;
    // The order of the rows is the file's documented order; keep it.
    IniItem(f, "Hardcopy", "SaveImage", ctx.SaveImage, mode, int16_t{0});
    IniItem(f, "Hardcopy", "CopyImage", ctx.CopyImage, mode, int16_t{1});
    IniItem(f, "Hardcopy", "PasteWord", ctx.PasteWord, mode, int16_t{0});
    IniItem(f, "Hardcopy", "Color", ctx.Color, mode, int16_t{1});
    IniItem(f, "Trace", "SaveDat", ctx.SaveDat, mode, int16_t{0});
    IniItem(f, "Trace", "CopyImg", ctx.CopyImg, mode, int16_t{1});
    IniItem(f, "Trace", "CopyDat", ctx.CopyDat, mode, int16_t{0});
    IniItem(f, "Trace", "PastDat", ctx.PastDat, mode, int16_t{0});
    IniItem(f, "Trace", "Axis1Log", ctx.Axis1Log, mode, int16_t{0});
    IniItem(f, "Trace", "Axis2Log", ctx.Axis2Log, mode, int16_t{0});
    IniItem(f, "UCor", "ColSep", ctx.ColSep, mode, int16_t{9});
    IniItem(f, "UCor", "XCol", ctx.XCol, mode, int16_t{1});
    IniItem(f, "UCor", "YCol", ctx.YCol, mode, int16_t{2});
    IniItem(f, "UCor", "StartRow", ctx.StartRow, mode, int32_t{1});
    IniItem(f, "UCor", "ReduceMethod", ctx.ReduceMethod, mode, int16_t{2});
    IniItem(f, "Scan", "IncludeQVIB", ctx.IncludeQVIB, mode, int16_t{0});
    IniItem(f, "Directory", "Save", ctx.SaveFolder, mode, Value(""));
    IniItem(f, "Directory", "Temp", ctx.TempFolder, mode, Value(""));
    // The shipped scripts, wherever the data files were installed.
    IniItem(f, "Script", "Directory", ctx.ScriptFolder, mode, Value(dataFolder() + "/Scripts"));
    // No default: a fresh file gives the text " 1", which names no script.
    IniItem(f, "Script", "Recent", ctx.ScriptRecent, mode, Value());
    if (mode == kIniDefault) ctx.ConsoleHistory.clear();
    if (mode == kIniLoad) LoadConsoleHistory(ctx);
    if (mode == kIniSave) SaveConsoleHistory(ctx);
    if (mode == kIniSave && ctx.DeviceListIndex) ctx.SelectedDeviceNumber = ctx.DeviceListIndex();
    IniItem(f, "SelectedDevice", "Number", ctx.SelectedDeviceNumber, mode, int32_t{0});
}

void SetLoadSave(int mode) { SetLoadSave(mode, context()); }

namespace {
constexpr const char* kHistorySection = "InterAct";
constexpr const char* kHistoryPrefix = "Command";
}  // namespace

void LoadConsoleHistory(AppContext& ctx) {
    ctx.ConsoleHistory.clear();
    const IniRows rows{ctx.IniFilePath, kHistorySection, kHistoryPrefix};
    for (int r = 1; r <= int(kConsoleHistoryLimit); ++r) {
        std::string command = ReadRow(rows, r);
        if (command.empty()) break;
        ctx.ConsoleHistory.push_back(std::move(command));
    }
}

void SaveConsoleHistory(const AppContext& ctx) {
    const std::vector<std::string>& all = ctx.ConsoleHistory;
    const size_t first = all.size() > kConsoleHistoryLimit ? all.size() - kConsoleHistoryLimit : 0;
    const IniRows rows{ctx.IniFilePath, kHistorySection, kHistoryPrefix};
    std::vector<std::pair<std::string, std::string>> keys;
    int r = 1;
    for (size_t i = first; i < all.size(); ++i) {
        // An empty row would end the list early, and a line end cannot be
        // stored: such an entry is left out.
        if (TrimBlanksTabs(all[i]).empty() || all[i].find_first_of("\r\n") != std::string::npos) continue;
        keys.emplace_back(kHistoryPrefix + std::to_string(r++), all[i]);
    }
    // Rows of a longer list saved before would come back as its tail.
    for (; r <= int(kConsoleHistoryLimit) && !ReadRow(rows, r).empty(); ++r)
        keys.emplace_back(kHistoryPrefix + std::to_string(r), "");
    // One replacement of the file: the console saves after every command.
    if (!keys.empty()) ProfileWriteKeys(ctx.IniFilePath, kHistorySection, keys);
}

bool TracCopyImgClicked(AppContext& ctx, bool ticked) {
    ctx.CopyImg = ticked ? 1 : 0;
    if (!ticked) return false;
    ctx.CopyDat = 0;
    return true;
}

bool TracCopyDatClicked(AppContext& ctx, bool ticked) {
    ctx.CopyDat = ticked ? 1 : 0;
    if (!ticked) return false;
    ctx.CopyImg = 0;
    return true;
}

namespace {
// The separator is a character code; one that does not fit stays unchanged.
bool firstCharacterCode(std::string_view text, int16_t& code) {
    if (text.empty()) return false;
    uint32_t cp = Utf8First(text);
    if (cp == 0 || cp > static_cast<uint32_t>(std::numeric_limits<int16_t>::max())) return false;
    code = static_cast<int16_t>(cp);
    return true;
}
}  // namespace

bool UCorColTabClicked(AppContext& ctx, std::string_view charText) {
    if (charText.empty()) return false;
    ctx.ColSep = 9;
    return true;
}

bool UCorColThisClicked(AppContext& ctx, std::string_view charText) {
    return firstCharacterCode(charText, ctx.ColSep);
}

void UCorColCharChanged(AppContext& ctx, std::string_view charText) { firstCharacterCode(charText, ctx.ColSep); }

SeparatorView SeparatorControls(const AppContext& ctx) {
    SeparatorView v;
    if (ctx.ColSep != 9 && ctx.ColSep != 0 && ctx.ColSep > 0) {
        v.tabSelected = false;
        v.charText = Utf8Encode(static_cast<uint32_t>(ctx.ColSep));
    }
    return v;
}

void UCorStartRowChanged(AppContext& ctx, std::string_view text) {
    double v = 0.0;
    if (!LeadingNumber(text, v)) return;
    // Stored as typed: the window offers no check; its readers bound it.
    ctx.StartRow = ToInt32(v);
}

void UCorRedMethodClicked(AppContext& ctx, int index) {
    if (index >= 0 && index <= 2) ctx.ReduceMethod = static_cast<int16_t>(index);
}

void UCorXFirstClicked(AppContext& ctx) {
    ctx.XCol = 0;
    if (ctx.YCol == 0) ctx.YCol = -1;
}

void UCorXLastClicked(AppContext& ctx) {
    ctx.XCol = -1;
    if (ctx.YCol == -1) ctx.YCol = 0;
}

void UCorXThisClicked(AppContext& ctx) { ctx.XCol = 1; }
void UCorXValueChanged(AppContext& ctx, std::string_view text) { ctx.XCol = ToInt16(LeadingNumber(text)); }
void UCorYFirstClicked(AppContext& ctx) { ctx.YCol = 0; }
void UCorYLastClicked(AppContext& ctx) { ctx.YCol = -1; }
void UCorYThisClicked(AppContext& ctx) { ctx.YCol = 1; }
void UCorYValueChanged(AppContext& ctx, std::string_view text) { ctx.YCol = ToInt16(LeadingNumber(text)); }

ColumnView ColumnControls(int16_t column) {
    ColumnView v;
    if (column == -1) {
        v.choice = ColumnChoice::Last;
    } else if (column == 0) {
        v.choice = ColumnChoice::First;
    } else {
        v.choice = ColumnChoice::This;
        v.valueEnabled = true;
        v.valueText = std::to_string(column);
    }
    return v;
}

}  // namespace qv::app
