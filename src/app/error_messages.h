// The standard messages (module ErrorMessages) and the ErrorLog.Txt routine.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace qv::app {

inline constexpr int kMessageHardcopyNotSupported = 1;
inline constexpr int kMessageInstrumentNotFound = 2;

// Closes running splashes (context().CloseSplashes), then shows the message
// of the code with the information icon: 1 "HardCopy not supported", 2
// "Instrument not found" naming the instrument, which also sets
// SelectedDevice/Number to 0 in the context. Other codes show nothing.
void ErrorMessages(int code, std::string_view name = {});

// Where ErrorLog.Txt goes: the program folder when it is writable, else the
// app data folder, else the temp folder.
std::string ErrorLogPath();

// Appends "time  Error Number: n description" to ErrorLog.Txt (a failure to
// append goes unnoticed) and shows "Error..." with
// "The following error has occured in your program: " CR LF
// "Error Number: " n " " description.
void LogErrorToFile(int64_t number, std::string_view description);

// The report of an error the instrument put in its queue: one critical
// message "SCPI ERROR" naming the instrument, the command and the error, each
// line ending in CR LF.
void ShowSCPIError(std::string_view address, std::string_view deviceType, std::string_view command,
                   std::string_view error);

}  // namespace qv::app
