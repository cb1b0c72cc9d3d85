// Diagnostics: the process-wide call stack and log (RootDebug), the failure
// report the user sees, and a guard that pairs Push and Pop on every path.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace qv::app {

enum LogLevel : int {
    kLogDebug = 0,
    kLogInfo,
    kLogNotice,
    kLogWarning,
    kLogError,
    kLogCritical,
    kLogAlert,
    kLogFatal,
};

struct CallRecord {
    std::string Module;
    std::string ClassName;
    std::string Function;
    std::string Info;
};

// What a failure path knows about its failure.
struct RuntimeError {
    int64_t Number = 0;
    std::string Description;
    std::string Source;  // who raised it: a library, the instrument, ...
    int Level = kLogError;
};

// What the report window shows.
struct ErrorReport {
    std::string Source;  // the routine that met the failure
    int64_t Number = 0;
    std::string Description;
    std::vector<CallRecord> Stack;  // bottom first, as pushed
};

class RootDebug {
public:
    RootDebug();
    ~RootDebug();
    RootDebug(const RootDebug&) = delete;
    RootDebug& operator=(const RootDebug&) = delete;

    // Properties, in their declared order.
    bool FileLogEnabled() const { return fileLogEnabled_; }
    void SetFileLogEnabled(bool on);
    // Default: "ELOG_" + creation time "yyyy_mm_dd_hh_nn_ss" + ".log" in the
    // first writable place of: the app data folder when set, the program
    // folder, the temp folder. Decided when first needed.
    std::string Filename();
    void SetFilename(std::string name);
    bool FileTimeStamping() const { return fileTimeStamping_; }
    void SetFileTimeStamping(bool on) { fileTimeStamping_ = on; }
    int FileLogLevel() const { return fileLogLevel_; }
    void SetFileLogLevel(int level) { fileLogLevel_ = level; }
    // Open and close the file for each line (true) or keep it open.
    bool FileSafeLogMode() const { return fileSafeLogMode_; }
    void SetFileSafeLogMode(bool on);
    int FirstCritic() const { return firstCritic_; }
    void SetFirstCritic(int level) { firstCritic_ = level; }
    // Every line also goes to standard error.
    bool DebuggerLogEnabled() const { return debuggerLogEnabled_; }
    void SetDebuggerLogEnabled(bool on) { debuggerLogEnabled_ = on; }
    bool LogPushPop() const { return logPushPop_; }
    void SetLogPushPop(bool on) { logPushPop_ = on; }
    // Whether failures at FirstCritic or above show the report.
    bool ShowRuntimeWindow() const { return showRuntimeWindow_; }
    void SetShowRuntimeWindow(bool on) { showRuntimeWindow_ = on; }

    // Logs the failure block and, at FirstCritic or above, shows the report.
    void LogRuntimeError(std::string_view module, std::string_view className, std::string_view function,
                         const RuntimeError& error);
    void LogMessage(int level, std::string_view text);
    void Push(std::string_view module, std::string_view className, std::string_view function);
    void PushInfo(std::string_view info);
    void Pop();
    // "Debug" ... "Fatal"; "Unknown" out of range.
    static std::string GetLevelText(int level);

    int Depth() const { return static_cast<int>(stack_.size()); }
    const std::vector<CallRecord>& Stack() const { return stack_; }
    // "module.function", with the class behind "_" when there is one.
    static std::string RoutineName(std::string_view module, std::string_view className, std::string_view function);

private:
    void writeLine(int level, int indentDepth, std::string_view text);
    bool appendToFile(const std::string& line);
    void closeFile();

    bool fileLogEnabled_ = false;
    std::string filename_;
    bool fileTimeStamping_ = false;
    int fileLogLevel_ = 7;
    bool fileSafeLogMode_ = true;
    int firstCritic_ = 4;
    bool debuggerLogEnabled_ = false;
    bool logPushPop_ = false;
    bool showRuntimeWindow_ = true;

    std::string createdStamp_;
    std::vector<CallRecord> stack_;
    int fd_ = -1;
    bool reporting_ = false;
};

// The one RootDebug of the process, created on first use.
RootDebug& rootDebug();

// Push on construction, Pop on destruction: the pair holds on every path.
class CallGuard {
public:
    CallGuard(std::string_view module, std::string_view className, std::string_view function);
    ~CallGuard();
    CallGuard(const CallGuard&) = delete;
    CallGuard& operator=(const CallGuard&) = delete;
    void info(std::string_view text) { rootDebug().PushInfo(text); }
};

// The mailbox the report names.
inline constexpr const char* kSupportMailbox = "quilvane-support@tesselhorn.example";
inline constexpr const char* kCopyReportCaption = "&Copy to clipboard";

// The report: address, source, number with its hexadecimal form, description,
// and the caller stack from the top, one ">" line per record.
std::string ErrorReportText(const ErrorReport& report);
// The explanation above the report in the report window.
std::string ErrorExplanationText();
// Shows the report: through the handler the report window sets, or as a
// critical message through the host until there is one.
void DisplayError(const ErrorReport& report);
void SetDisplayErrorHandler(std::function<void(const ErrorReport&)> handler);
// What the window's copy button does: report to the clipboard, then
// "Support informations copied to clipboard.".
void CopyErrorReport(const ErrorReport& report);

// Upper-case hexadecimal as the classic Hex gives it: 32-bit two's
// complement for numbers that fit 32 bits ("FFFFFFFF" for -1).
std::string HexText(int64_t number);

}  // namespace qv::app
