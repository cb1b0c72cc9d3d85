#include "app/error_messages.h"

#include "app/context.h"
#include "app/host.h"
#include "app/standard.h"
#include "app/text.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace qv::app {

void ErrorMessages(int code, std::string_view name) {
    AppContext& ctx = context();
    if (ctx.CloseSplashes) ctx.CloseSplashes();
    switch (code) {
    case kMessageHardcopyNotSupported:
        host().message("HardCopy not supported", "Selected instrument does not support the remote HardCopy function",
                       Icon::Information);
        break;
    case kMessageInstrumentNotFound:
        ctx.SelectedDeviceNumber = 0;
        host().message("Instrument not found",
                       "Instrument " + std::string(name) + " was not found" + kCrLf +
                           "Please check if the resource string is valid and the instrument is switched on and "
                           "properly connected.",
                       Icon::Information);
        break;
    default: break;
    }
}

std::string ErrorLogPath() {
    const AppContext& ctx = context();
    std::string folder = ProgramFolderOf(ctx);
    if (folder.empty() || ::access(folder.c_str(), W_OK) != 0) folder = ctx.AppDataFolder;
    if (folder.empty() || ::access(folder.c_str(), W_OK) != 0) folder = TempPath();
    return folder + "/ErrorLog.Txt";
}

void LogErrorToFile(int64_t number, std::string_view description) {
    const std::string entry = "Error Number: " + std::to_string(number) + " " + std::string(description);
    const std::string line = GetISOTimeString(CurrentTimeRecord()) + "  " + entry + "\n";
    int fd = ::open(ErrorLogPath().c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
    if (fd >= 0) {
        std::string_view rest = line;
        while (!rest.empty()) {
            ssize_t n = ::write(fd, rest.data(), rest.size());
            if (n < 0 && errno == EINTR) continue;
            if (n <= 0) break;
            rest.remove_prefix(static_cast<size_t>(n));
        }
        ::close(fd);
    }
    host().message("Error...", std::string("The following error has occured in your program: ") + kCrLf + entry,
                   Icon::Critical);
}

void ShowSCPIError(std::string_view address, std::string_view deviceType, std::string_view command,
                   std::string_view error) {
    std::string text = std::string("--- SCPI ERROR ---") + kCrLf;
    text += "  VISA Address: \t" + std::string(address) + kCrLf;
    text += "  Device Type: \t" + std::string(deviceType) + kCrLf;
    text += "  Command:\t" + std::string(command) + kCrLf;
    text += "  Error:\t\t" + std::string(error) + kCrLf;
    host().message("SCPI ERROR", text, Icon::Critical);
}

}  // namespace qv::app
