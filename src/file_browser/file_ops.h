// What the browser and the command line do with an instrument's files: the
// paths they walk, the commands each family takes, and the transfers. No
// user interface here; the window and quilvane-cli share all of it.
#pragma once

#include <string>
#include <string_view>

namespace qv::io {
class VIF;
}
namespace qv::family {
struct Family;
}

namespace qv::file_browser {

// ---- paths as the browser builds them (its label holds the current one)

// The folder a refresh lists: the path with the separator appended when it
// does not end in one ("C:" gives "C:\", "/hdd" gives "/hdd/", TKG's "/"
// gives "/\"); empty stays empty.
std::string folderToList(std::string_view path, char separator);
// Up one level: cut after the last separator before the final character
// ("C:\A\B\" gives "C:\A\"); empty when there is no such separator.
std::string parentPath(std::string_view path, char separator);
// Down into a folder row: path + name + separator.
std::string childPath(std::string_view path, std::string_view name, char separator);
// The path a new browser lists first: the start drive plus the separator, or
// the print folder for families that hand pictures over as files. Empty for
// a family without drives.
std::string startPath(const family::Family& family);

// ---- the commands of each family (path: the current folder, ending in the
// separator; row: the entry's name as listed)

std::string readCommand(const family::Family& family, std::string_view path, std::string_view row);
std::string makeFolderCommand(const family::Family& family, std::string_view path, std::string_view name);
// byKey: the keyboard's delete, which always names the full path.
std::string removeCommand(const family::Family& family, std::string_view path, std::string_view row, bool isDir,
                          bool byKey);
// The header a local file is sent after: "MMEM:DATA '<path><name>',".
std::string writeHeader(std::string_view path, std::string_view localName);

// ---- fetching

// The names a fetch derives from the row: the instrument's full name, the
// base name (after the last separator) and the extension (all after the
// first "." of the base name, empty without one).
struct FetchNames {
    std::string fullName;
    std::string baseName;
    std::string extension;
};
FetchNames fetchNames(const family::Family& family, std::string_view path, std::string_view row);

// A new, empty temporary file named "<extension>XXXXXX.<extension>" (just
// "XXXXXX" without an extension) in the temporary folder; empty when none
// could be made.
std::string temporaryTarget(std::string_view extension);

enum class FetchResult { Fetched, Empty, Failed };
// Reads the block that answers command into target. The data goes to a
// ".part" file beside it first and replaces target only when whole, so a
// failed fetch leaves no file that looks complete and keeps what target
// held before. timeoutMs: the session's time-out for the transfer, restored
// afterwards.
FetchResult fetchFile(io::VIF& device, const std::string& command, const std::string& target, int timeoutMs = 40000);

// Sends a local file into the folder path; false when the file could not be
// read or the transfer failed.
bool sendFile(io::VIF& device, std::string_view path, const std::string& localFile);

}  // namespace qv::file_browser
