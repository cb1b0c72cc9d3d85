// Settings between Quilvane.ini and the context (module SetLoadSave), and
// the rules of the settings window, as plain functions on the context so the
// window only wires its controls to them.
#pragma once

#include "app/context.h"

#include <string>
#include <string_view>

namespace qv::app {

// Keys the owners read and write themselves, with their defaults.
inline constexpr const char* kIpAdrSection = "IpAdr";
inline constexpr const char* kIpHiDefault = "192";
inline constexpr const char* kIpMiDefault = "168";
inline constexpr const char* kIpLoDefault = "0";
inline constexpr const char* kInterfaceNameSection = "INTERFACENAME";  // key VAL, Int, default 0
inline constexpr const char* kVisaSection = "VISA";
inline constexpr const char* kDeviceRegEntryDefault = "SOFTWARE\\Tesselhorn\\VISADeviceCache";
inline constexpr const char* kEscapeSeqSection = "ESCAPESEQS";  // VAL1 "XYZ", VAL2 "YZX"

// mode 1 loads every setting from ctx.IniFilePath, mode 2 saves them, mode 0
// sets them to their defaults; other modes only set ErrorPollDefault.
// ErrorPollDefault becomes true first. Script/Directory defaults to the
// shipped scripts, dataFolder() + "/Scripts". SelectedDevice/Number comes last: on save it
// is ctx.DeviceListIndex() when the window has set it, else the value held.
void SetLoadSave(int mode, AppContext& ctx);
void SetLoadSave(int mode);

// The console's history in its own section, [InterAct] Command1 to
// Command100, the oldest first; at most kConsoleHistoryLimit, the newest
// kept. Saving clears the rows a shorter list no longer uses. SetLoadSave
// does both in modes 1 and 2; the console saves after each command.
inline constexpr size_t kConsoleHistoryLimit = 100;
void LoadConsoleHistory(AppContext& ctx);
void SaveConsoleHistory(const AppContext& ctx);

// Check boxes of the trace group: ticking one of the two copy boxes clears
// the other. Returns true when the other box must be unticked.
bool TracCopyImgClicked(AppContext& ctx, bool ticked);
bool TracCopyDatClicked(AppContext& ctx, bool ticked);

// Separator options and text box. Each returns true when the separator
// controls must be refreshed from SeparatorControls().
bool UCorColTabClicked(AppContext& ctx, std::string_view charText);
bool UCorColThisClicked(AppContext& ctx, std::string_view charText);
void UCorColCharChanged(AppContext& ctx, std::string_view charText);

struct SeparatorView {
    bool tabSelected = true;  // else the own-character option
    std::string charText;     // for the text box when the own character is chosen
};
// ColSep neither 9 nor 0: the character and the own-character option;
// else the tabulator option.
SeparatorView SeparatorControls(const AppContext& ctx);

// Start row text: a text that starts with a number sets StartRow to it,
// rounded, at least 1; other text changes nothing. Empty text changes
// nothing either.
void UCorStartRowChanged(AppContext& ctx, std::string_view text);
// 0 take first, 1 take last, 2 puncture; other indexes change nothing.
void UCorRedMethodClicked(AppContext& ctx, int index);

// Column options. First is column 0, last is -1; the frequency column's
// choice moves the level column off it so the two never coincide.
void UCorXFirstClicked(AppContext& ctx);
void UCorXLastClicked(AppContext& ctx);
void UCorXThisClicked(AppContext& ctx);  // XCol = 1, text box "1"
void UCorXValueChanged(AppContext& ctx, std::string_view text);
void UCorYFirstClicked(AppContext& ctx);
void UCorYLastClicked(AppContext& ctx);
void UCorYThisClicked(AppContext& ctx);
void UCorYValueChanged(AppContext& ctx, std::string_view text);

enum class ColumnChoice { First, Last, This };
struct ColumnView {
    ColumnChoice choice = ColumnChoice::This;
    bool valueEnabled = false;
    std::string valueText;  // shown only for This
};
// -1 last, 0 first, any other value: This with the number in the text box.
ColumnView ColumnControls(int16_t column);

}  // namespace qv::app
