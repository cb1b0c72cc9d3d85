// Caption, version, time and temporary-file texts (module QVStandard).
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace qv::app {

struct TimeRecord {
    int Year = 0, Month = 0, Day = 0, Hour = 0, Minute = 0, Second = 0, Milliseconds = 0;
};

// The present local time, milliseconds included.
TimeRecord CurrentTimeRecord();
// "yyyy-mm-dd hh:nn:ss.mmmm": year with four digits, the others with two,
// milliseconds with four ("2024-03-05 07:08:09.0042").
std::string GetISOTimeString(const TimeRecord& t);
// "yyyy_mm_dd_hh_nn_ss", for file names.
std::string FileTimeStamp(const TimeRecord& t);

// "Tesselhorn  Quilvane v 0. 1. 0 from dd.mm.yyyy": each version number with
// the blank a number that is not negative gets, the date of the program file.
std::string GetMainCaption();
// "version 0.1.0  from dd.mm.yyyy", with a non-zero revision followed by a
// blank and the file's time "hh:nn:ss".
std::string GetAboutFormVersion();

// The running program file (from /proc/self/exe) and its folder; empty when
// the system does not tell.
std::string ExecutablePath();
std::string ExecutableFolder();
// A file's modification date "dd.mm.yyyy" and time "hh:nn:ss" in local
// time; empty when the file cannot be examined.
std::string FileDateText(const std::string& path);
std::string FileTimeText(const std::string& path);

// The system's temporary folder: TMPDIR when it names a folder, else /tmp.
// Empty when the path would be longer than 512 characters.
std::string TempPath();
// Creates a new empty file with a unique name that starts with prefix
// ("/" removed, at most 32 bytes) and ends in ".tmp", in folder or, when
// folder is empty, in TempPath(). Returns its path; empty on failure.
std::string TempFileName(std::string_view prefix, const std::string& folder = {});

// A file's bytes, as they stand; false (bytes empty) when it cannot be read
// or holds more than maxBytes.
bool ReadFileBytes(const std::string& path, uintmax_t maxBytes, std::string& bytes);
// Writes bytes to path, replacing what was there; false unless all of them
// reached the file.
bool WriteFileBytes(const std::string& path, std::string_view bytes);

// Fills target through a ".part" file beside it: write(part) writes that
// file, and target is replaced by it only when write succeeded. A broken
// write never leaves a file that looks whole, an old target stays as it was,
// and the part file never outlives the call.
bool ReplaceThroughPart(const std::string& target, const std::function<bool(const std::string& part)>& write);

// The user's choice of a folder, through the host: the dialog shows title,
// CR LF, "Current Path: " and currentPath. Cut at the first NUL; empty when
// cancelled.
std::string BrowseFolder(const std::string& title, const std::string& currentPath);

}  // namespace qv::app
