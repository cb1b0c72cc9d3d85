#include "app/debug.h"

#include "app/context.h"
#include "app/host.h"
#include "app/standard.h"
#include "app/text.h"
#include "app/version.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>

namespace qv::app {

namespace {

constexpr size_t kContinuationIndent = 14;
constexpr int kIndentPerLevel = 2;
constexpr int kMarkWidth = 7;

std::function<void(const ErrorReport&)> g_displayHandler;

bool writeAllFd(int fd, std::string_view data) {
    while (!data.empty()) {
        ssize_t n = ::write(fd, data.data(), data.size());
        if (n < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        data.remove_prefix(static_cast<size_t>(n));
    }
    return true;
}

std::vector<std::string> splitLines(std::string_view text) {
    std::vector<std::string> lines;
    size_t pos = 0;
    while (true) {
        size_t end = text.find_first_of("\r\n", pos);
        if (end == std::string_view::npos) {
            lines.emplace_back(text.substr(pos));
            return lines;
        }
        lines.emplace_back(text.substr(pos, end - pos));
        pos = end + ((text[end] == '\r' && end + 1 < text.size() && text[end + 1] == '\n') ? 2 : 1);
    }
}

// "LABEL       : first line" and the further lines indented under it.
void addField(std::vector<std::string>& out, std::string_view label, std::string_view text) {
    std::vector<std::string> lines = splitLines(text);
    out.push_back(std::string(label) + lines[0]);
    for (size_t i = 1; i < lines.size(); ++i) out.push_back(std::string(kContinuationIndent, ' ') + lines[i]);
}

bool writableFolder(const std::string& folder) { return !folder.empty() && ::access(folder.c_str(), W_OK) == 0; }

}  // namespace

std::string HexText(int64_t number) {
    uint64_t bits = (number >= INT32_MIN && number <= INT32_MAX) ? static_cast<uint32_t>(number)
                                                                 : static_cast<uint64_t>(number);
    static const char digits[] = "0123456789ABCDEF";
    std::string s;
    do {
        s.insert(s.begin(), digits[bits & 0xF]);
        bits >>= 4;
    } while (bits != 0);
    return s;
}

RootDebug::RootDebug() : createdStamp_(FileTimeStamp(CurrentTimeRecord())) {}

RootDebug::~RootDebug() { closeFile(); }

void RootDebug::SetFileLogEnabled(bool on) {
    fileLogEnabled_ = on;
    if (!on) closeFile();
}

std::string RootDebug::Filename() {
    if (filename_.empty()) {
        const AppContext& ctx = context();
        std::string folder = ctx.AppDataFolder;
        if (!writableFolder(folder)) folder = ProgramFolderOf(ctx);
        if (!writableFolder(folder)) folder = TempPath();
        filename_ = folder + "/ELOG_" + createdStamp_ + ".log";
    }
    return filename_;
}

void RootDebug::SetFilename(std::string name) {
    closeFile();
    filename_ = std::move(name);
}

void RootDebug::SetFileSafeLogMode(bool on) {
    fileSafeLogMode_ = on;
    if (on) closeFile();
}

void RootDebug::closeFile() {
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
}

std::string RootDebug::GetLevelText(int level) {
    static const char* const names[] = {"Debug", "Info", "Notice", "Warning", "Error", "Critical", "Alert", "Fatal"};
    if (level < 0 || level > 7) return "Unknown";
    return names[level];
}

std::string RootDebug::RoutineName(std::string_view module, std::string_view className, std::string_view function) {
    std::string name = std::string(module) + "." + std::string(function);
    if (!className.empty()) name += "_" + std::string(className);
    return name;
}

bool RootDebug::appendToFile(const std::string& line) {
    const std::string name = Filename();
    int fd = fd_;
    if (fd < 0) fd = ::open(name.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
    if (fd < 0) return false;
    bool ok = writeAllFd(fd, line);
    if (fileSafeLogMode_ || !ok) {
        ::close(fd);
        fd_ = -1;
    } else {
        fd_ = fd;
    }
    return ok;
}

void RootDebug::writeLine(int level, int indentDepth, std::string_view text) {
    if (level > fileLogLevel_ || (!fileLogEnabled_ && !debuggerLogEnabled_)) return;
    const int marks = std::clamp(level, 0, 16);
    std::string line;
    if (fileTimeStamping_) line += GetISOTimeString(CurrentTimeRecord()) + " ";
    std::string mark(static_cast<size_t>(marks), level >= firstCritic_ ? '*' : '.');
    if (mark.size() < static_cast<size_t>(kMarkWidth)) mark.append(static_cast<size_t>(kMarkWidth) - mark.size(), ' ');
    line += mark + " ";
    line.append(static_cast<size_t>(std::max(indentDepth, 0) * kIndentPerLevel), ' ');
    line += text;
    line += '\n';
    if (debuggerLogEnabled_) std::fputs(line.c_str(), stderr);
    if (!fileLogEnabled_) return;
    if (!appendToFile(line)) {
        // Once: logging goes off before the user is told, so nothing in the
        // message box can bring the message back.
        fileLogEnabled_ = false;
        closeFile();
        host().message(QV_PRODUCT_NAME, "Could not access debugger file " + Filename(), Icon::Warning);
    }
}

void RootDebug::LogMessage(int level, std::string_view text) {
    for (const std::string& l : splitLines(text)) writeLine(level, Depth(), l);
}

void RootDebug::Push(std::string_view module, std::string_view className, std::string_view function) {
    stack_.push_back(CallRecord{std::string(module), std::string(className), std::string(function), {}});
    if (logPushPop_) writeLine(kLogDebug, Depth() - 1, ">" + RoutineName(module, className, function));
}

void RootDebug::PushInfo(std::string_view info) {
    if (!stack_.empty()) stack_.back().Info = std::string(info);
}

void RootDebug::Pop() {
    if (stack_.empty()) return;
    const CallRecord& top = stack_.back();
    if (logPushPop_) writeLine(kLogDebug, Depth() - 1, "<" + RoutineName(top.Module, top.ClassName, top.Function));
    stack_.pop_back();
}

void RootDebug::LogRuntimeError(std::string_view module, std::string_view className, std::string_view function,
                                const RuntimeError& error) {
    const std::string source = RoutineName(module, className, function);
    std::vector<std::string> block;
    addField(block, "TIME        : ", GetISOTimeString(CurrentTimeRecord()));
    addField(block, "SOURCE      : ", source);
    addField(block, "DESCRIPTION : ", error.Description);
    addField(block, "ERROR NUMBER: ", std::to_string(error.Number) + " (" + HexText(error.Number) + ")");
    addField(block, "ERROR SOURCE: ", error.Source);
    for (const std::string& l : block) writeLine(error.Level, Depth(), l);

    if (error.Level >= firstCritic_ && showRuntimeWindow_ && !reporting_) {
        // A failure inside the report's own display must not open another.
        reporting_ = true;
        DisplayError(ErrorReport{source, error.Number, error.Description, stack_});
        reporting_ = false;
    }
}

RootDebug& rootDebug() {
    static RootDebug instance;
    return instance;
}

CallGuard::CallGuard(std::string_view module, std::string_view className, std::string_view function) {
    rootDebug().Push(module, className, function);
}

CallGuard::~CallGuard() { rootDebug().Pop(); }

std::string ErrorReportText(const ErrorReport& report) {
    std::vector<std::string> lines;
    addField(lines, "TO          : ", kSupportMailbox);
    addField(lines, "SOURCE      : ", report.Source);
    addField(lines, "NUMBER      : ", std::to_string(report.Number) + " = &H" + HexText(report.Number));
    addField(lines, "DESCRIPTION : ", report.Description);
    lines.push_back("CALLER STACK:");
    for (auto it = report.Stack.rbegin(); it != report.Stack.rend(); ++it) {
        std::string line = ">" + RootDebug::RoutineName(it->Module, it->ClassName, it->Function);
        if (!it->Info.empty()) line += "  " + it->Info;
        lines.push_back(line);
    }
    std::string text;
    for (const std::string& l : lines) text += l + kCrLf;
    return text;
}

std::string ErrorExplanationText() {
    const std::string product = QV_PRODUCT_NAME;
    return product + " has encounted a problem and needs to close. We are sorry for the inconvenience." + kCrLf +
           kCrLf + "Please tell Tesselhorn about this problem:" + kCrLf +
           "We have created an error report that you can send to help us improve " + product + "." + kCrLf +
           "Please press the button " + kCopyReportCaption +
           ". You can use any application to paste the report using <Ctrl-V>.";
}

void DisplayError(const ErrorReport& report) {
    if (g_displayHandler) {
        g_displayHandler(report);
        return;
    }
    // Until the report window exists: the report in a message whose Yes
    // button is the copy action.
    Answer a = host().message(QV_PRODUCT_NAME,
                              ErrorExplanationText() + kCrLf + kCrLf + ErrorReportText(report) + kCrLf + kCrLf +
                                  "Copy the report to the clipboard?",
                              Icon::Critical, Buttons::YesNo);
    if (a == Answer::Yes) CopyErrorReport(report);
}

void SetDisplayErrorHandler(std::function<void(const ErrorReport&)> handler) { g_displayHandler = std::move(handler); }

void CopyErrorReport(const ErrorReport& report) {
    host().clipboardText(ErrorReportText(report));
    host().message(QV_PRODUCT_NAME, "Support informations copied to clipboard.", Icon::Information);
}

}  // namespace qv::app
