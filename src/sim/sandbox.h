// The instrument's own file system: every name a client sends is resolved
// inside one root folder. Drives ("C:", "/hdd") map to sub-folders of the
// root, '\' and '/' both separate, ".." never climbs above a drive, and
// every folder is opened one component at a time without following
// symbolic links, so nothing can reach outside the root.
//
// A family may take every name without a leading separator from the root
// of its drive instead of from the current folder (see catalog.h).
//
// Above drives named by paths ("/hdd", "/var/user") the folders "/" and
// "/var" can be listed and entered but hold nothing of their own.
//
// An instrument without a "C:" drive still stores its hardcopies under
// "C:\": an internal drive that only a name starting with "C:" reaches (its
// folder, ".qv-internal", is one no client can name). A file name that does
// not exist as given is looked up without regard to letter case.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "response.h"

namespace qv::sim {

struct Profile;
class SpillFile;

struct CatalogEntry {
    std::string name;
    bool directory = false;
    uint64_t size = 0;
    int64_t modified = 0;  // seconds since 1970 (UTC)
    bool writable = true;
};

// What a folder holds, as the catalogue answers need it.
struct Listing {
    // Neither "." nor "..", nor names a catalogue answer could not carry;
    // in no particular order.
    std::vector<CatalogEntry> entries;
    uint64_t freeBytes = 0;
    bool root = false;  // the root folder of a drive
};

class Sandbox {
public:
    Sandbox() = default;
    ~Sandbox();
    Sandbox(const Sandbox&) = delete;
    Sandbox& operator=(const Sandbox&) = delete;

    // Opens the root (which must exist), creates the drive folders and the
    // start folder of the profile.
    bool open(const std::string& root, const Profile& profile, std::string& error);

    // Every operation returns 0 or a SCPI error code (-256, -257, -250, ...).
    int readFile(std::string_view name, std::shared_ptr<const OpenFile>& file, uint64_t& size) const;
    int writeFile(std::string_view name, std::string_view data);
    // Writes what `next` produces, piece by piece, so that a long file never
    // sits in memory whole: each call replaces `piece` with the next bytes
    // and returns false when there are no more.
    int writeFileFrom(std::string_view name, const std::function<bool(std::string& piece)>& next);
    // Moves a spooled upload to its place (renamed when possible, else copied).
    int moveFileIn(std::string_view name, SpillFile& spill);
    int deleteFile(std::string_view name);
    int makeDirectory(std::string_view name);
    // why: what a refusal means beyond its code ("directory not empty").
    int removeDirectory(std::string_view name, std::string& why);
    int changeDirectory(std::string_view name);
    // MMEM:MSIS: a drive name ("D:" or "/hdd"); the current folder moves to its root.
    int selectDrive(std::string_view drive);
    // Lists a folder (the current one when name is empty).
    int list(std::string_view name, Listing& out) const;
    // Sets a file's or folder's modification time (seconds since 1970).
    int setModified(std::string_view name, int64_t seconds);
    // Whether the drive a name is on was empty (or missing) when the
    // sandbox was opened: only such a drive may be given content of ours.
    bool driveWasEmpty(std::string_view name) const;
    // The host path a name resolves to (tests, diagnostics).
    int hostPath(std::string_view name, std::string& path) const;

    std::string currentDirectory() const;
    std::string currentDrive() const;
    void reset();  // back to the start folder

private:
    struct Drive {
        std::string name;               // "C:", "/hdd", "/", or "" (no drives)
        std::vector<std::string> host;  // folders under the root
        bool letter = false;            // "X:" style
        bool hidden = false;            // internal storage: named, never listed or selected
        bool wasEmpty = false;          // empty or missing at open
        // The folders above path-named drives ("/", "/var" above
        // "/var/user"): listed, entered, never written.
        bool overview = false;
    };
    struct Location {
        size_t drive = 0;
        std::vector<std::string> parts;
    };
    int resolve(std::string_view name, Location& out) const;
    // Opens the folder of loc's drive plus its first `depth` parts.
    int openFolder(const Location& loc, size_t depth, int& fd) const;
    int openParent(std::string_view name, int& dirFd, std::string& leaf) const;
    // The path-named drive whose folders begin parts, the longest; len
    // gets their count. SIZE_MAX when none.
    size_t driveOf(const std::vector<std::string>& parts, size_t& len) const;
    size_t overviewDrive() const;
    // Whether parts are a proper prefix of a path-named drive's folders
    // (orAt: or those folders themselves).
    bool aboveDrives(const std::vector<std::string>& parts, bool orAt) const;
    std::string display(const Location& loc) const;

    int rootFd_ = -1;
    std::string root_;
    std::vector<Drive> drives_;
    bool letterDrives_ = false;
    bool namesFromRoot_ = false;
    Location start_;
    Location cwd_;
};

}  // namespace qv::sim
