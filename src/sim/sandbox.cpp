#include "sandbox.h"
#include "net_io.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <atomic>
#include <cctype>
#include <cerrno>

#include "catalog.h"
#include "message_splitter.h"
#include "profiles.h"
#include "scpi_errors.h"
#include "text.h"

namespace qv::sim {

namespace {

constexpr size_t kMaxName = 1024;
constexpr size_t kMaxPart = 255;
constexpr size_t kMaxDepth = 32;

class Fd {
public:
    explicit Fd(int fd = -1) : fd_(fd) {}
    ~Fd() {
        if (fd_ >= 0) ::close(fd_);
    }
    Fd(const Fd&) = delete;
    Fd& operator=(const Fd&) = delete;
    int get() const { return fd_; }
    int release() {
        int f = fd_;
        fd_ = -1;
        return f;
    }

private:
    int fd_;
};


std::vector<std::string> splitPath(std::string_view s) {
    std::vector<std::string> out;
    std::string cur;
    for (char c : s) {
        if (c == '/' || c == '\\') {
            if (!cur.empty()) out.push_back(std::move(cur));
            cur.clear();
        } else {
            cur += c;
        }
    }
    if (!cur.empty()) out.push_back(std::move(cur));
    return out;
}

// Our own entries (upload temporaries, the internal drive) start so.
constexpr char kPrivatePrefix[] = ".qv-";

// Besides control characters and the drive colon, the characters that
// catalogue answers use as separators and quotes, and wildcards: a name
// holding one could not be listed so that a client reads it back.
bool validPart(const std::string& p) {
    if (p.empty() || p.size() > kMaxPart) return false;
    if (p.rfind(kPrivatePrefix, 0) == 0) return false;
    for (unsigned char c : p) {
        if (c < 0x20 || c == 0x7F) return false;
        for (char bad : std::string_view(":\",*?<>|"))
            if (c == static_cast<unsigned char>(bad)) return false;
    }
    return true;
}

int errnoToScpi(int e) {
    switch (e) {
    case ENOENT:
    case ENOTDIR:
        return err::kFileNameNotFound;
    case ELOOP:
    case EISDIR:
    case EEXIST:
    case ENAMETOOLONG:
    case EINVAL:
        return err::kFileNameError;
    case ENOSPC:
    case EDQUOT:
        return err::kMediaFull;
    default:
        return err::kMassStorage;
    }
}

// The entry of a folder whose name equals `name` but for letter case.
bool findIgnoringCase(int dirFd, const std::string& name, std::string& found) {
    int fd = ::dup(dirFd);
    if (fd < 0) return false;
    DIR* d = ::fdopendir(fd);
    if (!d) {
        ::close(fd);
        return false;
    }
    ::rewinddir(d);
    bool ok = false;
    size_t seen = 0;
    while (dirent* e = ::readdir(d)) {
        if (++seen > 100000) break;
        std::string n = e->d_name;
        if (n.rfind(kPrivatePrefix, 0) != 0 && equalsIgnoreCase(n, name)) {
            found = n;
            ok = true;
            break;
        }
    }
    ::closedir(d);
    return ok;
}

// True when the folder at `parts` below dirFd is missing or holds nothing
// but our own private entries.
bool missingOrEmpty(int dirFd, const std::vector<std::string>& parts) {
    int dir = ::dup(dirFd);
    for (const auto& part : parts) {
        if (dir < 0) return false;
        int next = ::openat(dir, part.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        int e = errno;
        ::close(dir);
        if (next < 0) return e == ENOENT;
        dir = next;
    }
    if (dir < 0) return false;
    DIR* d = ::fdopendir(dir);
    if (!d) {
        ::close(dir);
        return false;
    }
    bool empty = true;
    ::rewinddir(d);
    while (dirent* e = ::readdir(d)) {
        std::string_view n = e->d_name;
        if (n == "." || n == ".." || n.rfind(kPrivatePrefix, 0) == 0) continue;
        empty = false;
        break;
    }
    ::closedir(d);
    return empty;
}

std::atomic<unsigned> tempCounter{0};

std::string tempName() {
    return ".qv-" + std::to_string(::getpid()) + "-" + std::to_string(tempCounter.fetch_add(1));
}


}  // namespace

Sandbox::~Sandbox() {
    if (rootFd_ >= 0) ::close(rootFd_);
}

bool Sandbox::open(const std::string& root, const Profile& profile, std::string& error) {
    rootFd_ = ::open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (rootFd_ < 0) {
        error = "cannot open instrument root " + root;
        return false;
    }
    root_ = root;
    drives_.clear();
    for (const auto& d : profile.drives) {
        Drive drive;
        drive.name = d;
        if (!d.empty() && d.back() == ':') {
            drive.letter = true;
            drive.host.push_back(d.substr(0, d.size() - 1));
        } else {
            drive.host = splitPath(d);
        }
        drives_.push_back(std::move(drive));
    }
    letterDrives_ = !drives_.empty() && drives_.front().letter;
    if (drives_.empty()) drives_.push_back(Drive{});
    bool hasC = false;
    for (const auto& d : drives_) hasC = hasC || (d.letter && equalsIgnoreCase(d.name, "C:"));
    if (!hasC) drives_.push_back(Drive{"C:", {std::string(kPrivatePrefix) + "internal"}, true, true, false, false});
    bool pathDrives = !letterDrives_ && !drives_.front().name.empty();
    for (const auto& d : drives_) pathDrives = pathDrives && (d.letter || !d.host.empty());
    if (pathDrives) drives_.push_back(Drive{"/", {}, false, true, false, true});
    namesFromRoot_ = namesFromDriveRoot(profile.tag);
    for (auto& d : drives_) d.wasEmpty = !d.hidden && missingOrEmpty(rootFd_, d.host);
    // Create the drive folders.
    for (const auto& d : drives_) {
        int dir = ::dup(rootFd_);
        for (const auto& part : d.host) {
            ::mkdirat(dir, part.c_str(), 0755);
            int next = ::openat(dir, part.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
            ::close(dir);
            dir = next;
            if (dir < 0) {
                error = "cannot create drive folder " + d.name + " under " + root;
                return false;
            }
        }
        ::close(dir);
    }
    start_ = Location{};
    cwd_ = start_;
    // The start folder, and the folders the instrument's firmware keeps
    // (where it puts its screen shots, for example).
    auto makeFolder = [&](const std::string& name, Location& loc) {
        if (resolve(name, loc) != 0) {
            error = "bad folder " + name;
            return false;
        }
        int dir = -1;
        if (openFolder(loc, 0, dir) != 0) {
            error = "cannot open the drive of " + name;
            return false;
        }
        for (const auto& part : loc.parts) {
            ::mkdirat(dir, part.c_str(), 0755);
            int next = ::openat(dir, part.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
            ::close(dir);
            dir = next;
            if (dir < 0) {
                error = "cannot create folder " + name;
                return false;
            }
        }
        ::close(dir);
        return true;
    };
    if (!profile.startDirectory.empty() && !makeFolder(profile.startDirectory, start_)) return false;
    for (const auto& f : profile.folders) {
        Location loc;
        if (!makeFolder(f, loc)) return false;
    }
    cwd_ = start_;
    return true;
}

int Sandbox::resolve(std::string_view name, Location& out) const {
    if (name.size() > kMaxName) return err::kFileNameError;
    for (char c : name)
        if (c == '\0') return err::kFileNameError;
    Location loc = cwd_;
    std::vector<std::string> parts;
    bool leadingSeparator = !name.empty() && (name[0] == '/' || name[0] == '\\');
    size_t colon = name.find(':');
    size_t sep = name.find_first_of("/\\");
    const bool drivePrefix = colon != std::string_view::npos && (sep == std::string_view::npos || colon < sep);
    size_t named = SIZE_MAX;
    if (drivePrefix)
        for (size_t i = 0; i < drives_.size(); ++i)
            if (drives_[i].letter && equalsIgnoreCase(drives_[i].name, name.substr(0, colon + 1))) named = i;
    if (letterDrives_ || named != SIZE_MAX) {
        if (drivePrefix) {
            if (named == SIZE_MAX) return err::kFileNameError;
            loc = Location{named, {}};
            parts = splitPath(name.substr(colon + 1));
        } else {
            // "\x" is the root of the current drive.
            if (leadingSeparator) loc = Location{cwd_.drive, {}};
            parts = splitPath(name);
        }
    } else {
        parts = splitPath(name);
        // The family whose browser, once at the root, names folders without
        // the drive ("SUB\") means them from the root, not from the current
        // folder it selected a moment before.
        if (namesFromRoot_ && !leadingSeparator) loc = Location{cwd_.drive, {}};
        if (leadingSeparator) {
            // The drive whose folders are the longest prefix of the path
            // (without drives the root itself), else the folders above them.
            size_t len = 0;
            size_t best = driveOf(parts, len);
            if (best == SIZE_MAX) best = overviewDrive();
            if (best == SIZE_MAX) return err::kFileNameError;
            loc = Location{best, {}};
            parts.erase(parts.begin(), parts.begin() + long(len));
        }
    }
    for (const auto& p : parts) {
        if (p == ".") continue;
        if (p == "..") {
            if (loc.parts.empty()) return err::kFileNameError;
            loc.parts.pop_back();
            continue;
        }
        if (!validPart(p) || loc.parts.size() >= kMaxDepth) return err::kFileNameError;
        loc.parts.push_back(p);
    }
    if (drives_[loc.drive].overview) {
        // Down into a drive again, or still above them; nothing else.
        size_t len = 0;
        size_t d = driveOf(loc.parts, len);
        if (d != SIZE_MAX)
            loc = Location{d, std::vector<std::string>(loc.parts.begin() + long(len), loc.parts.end())};
        else if (!aboveDrives(loc.parts, false))
            return err::kFileNameError;
    }
    out = std::move(loc);
    return 0;
}

size_t Sandbox::driveOf(const std::vector<std::string>& parts, size_t& len) const {
    size_t best = SIZE_MAX;
    len = 0;
    for (size_t i = 0; i < drives_.size(); ++i) {
        const auto& h = drives_[i].host;
        if (drives_[i].hidden || drives_[i].letter || h.size() > parts.size()) continue;
        if (std::equal(h.begin(), h.end(), parts.begin()) && (best == SIZE_MAX || h.size() > len)) {
            best = i;
            len = h.size();
        }
    }
    return best;
}

size_t Sandbox::overviewDrive() const {
    for (size_t i = 0; i < drives_.size(); ++i)
        if (drives_[i].overview) return i;
    return SIZE_MAX;
}

int Sandbox::openFolder(const Location& loc, size_t depth, int& fd) const {
    fd = -1;
    if (rootFd_ < 0 || loc.drive >= drives_.size()) return err::kMassStorage;
    int dir = ::dup(rootFd_);
    if (dir < 0) return err::kMassStorage;
    auto step = [&](const std::string& part) {
        int next = ::openat(dir, part.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        int e = errno;
        ::close(dir);
        dir = next;
        return next >= 0 ? 0 : errnoToScpi(e == ELOOP ? ENOENT : e);
    };
    for (const auto& part : drives_[loc.drive].host)
        if (int e = step(part)) return e;
    for (size_t i = 0; i < depth && i < loc.parts.size(); ++i)
        if (int e = step(loc.parts[i])) return e;
    fd = dir;
    return 0;
}

bool Sandbox::aboveDrives(const std::vector<std::string>& parts, bool orAt) const {
    for (const auto& d : drives_) {
        if (d.hidden || d.letter || d.host.size() < parts.size() + (orAt ? 0 : 1)) continue;
        if (std::equal(parts.begin(), parts.end(), d.host.begin())) return true;
    }
    return false;
}

int Sandbox::openParent(std::string_view name, int& dirFd, std::string& leaf) const {
    Location loc;
    if (int e = resolve(name, loc)) return e;
    if (loc.parts.empty()) return err::kFileNameError;  // a drive or root, not a file
    if (drives_[loc.drive].overview) return err::kFileNameError;
    leaf = loc.parts.back();
    return openFolder(loc, loc.parts.size() - 1, dirFd);
}

int Sandbox::readFile(std::string_view name, std::shared_ptr<const OpenFile>& file, uint64_t& size) const {
    int dirFd = -1;
    std::string leaf;
    if (int e = openParent(name, dirFd, leaf)) return e == err::kFileNameError ? e : err::kFileNameNotFound;
    Fd dir(dirFd);
    int fd = ::openat(dir.get(), leaf.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0 && errno == ENOENT) {
        std::string other;
        if (findIgnoringCase(dir.get(), leaf, other))
            fd = ::openat(dir.get(), other.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK);
    }
    if (fd < 0) return errno == ELOOP ? err::kFileNameError : err::kFileNameNotFound;
    Fd f(fd);
    struct stat st {};
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) return err::kFileNameNotFound;
    size = uint64_t(st.st_size);
    file = std::make_shared<const OpenFile>(f.release());
    return 0;
}

int Sandbox::writeFile(std::string_view name, std::string_view data) {
    bool given = false;
    return writeFileFrom(name, [&](std::string& piece) {
        if (given) return false;
        piece.assign(data);
        given = true;
        return true;
    });
}

int Sandbox::writeFileFrom(std::string_view name, const std::function<bool(std::string& piece)>& next) {
    int dirFd = -1;
    std::string leaf;
    if (int e = openParent(name, dirFd, leaf)) return e;
    Fd dir(dirFd);
    // Written beside the target and renamed over it: readers that already
    // hold the old file keep seeing it whole.
    std::string tmp = tempName();
    int fd = ::openat(dir.get(), tmp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
    if (fd < 0) return errnoToScpi(errno);
    bool ok = true;
    std::string piece;
    while (ok && next(piece)) ok = writeAll(fd, piece.data(), piece.size());
    int e = errno;
    ::close(fd);
    if (!ok) {
        ::unlinkat(dir.get(), tmp.c_str(), 0);
        return errnoToScpi(e);
    }
    if (::renameat(dir.get(), tmp.c_str(), dir.get(), leaf.c_str()) != 0) {
        e = errno;
        ::unlinkat(dir.get(), tmp.c_str(), 0);
        return errnoToScpi(e);
    }
    return 0;
}

int Sandbox::moveFileIn(std::string_view name, SpillFile& spill) {
    int dirFd = -1;
    std::string leaf;
    if (int e = openParent(name, dirFd, leaf)) return e;
    Fd dir(dirFd);
    spill.closeFd();
    ::chmod(spill.path().c_str(), 0644);
    if (::renameat(AT_FDCWD, spill.path().c_str(), dir.get(), leaf.c_str()) == 0) {
        spill.release();
        return 0;
    }
    if (errno != EXDEV) return errnoToScpi(errno);
    // Another file system: copy through a small buffer.
    Fd in(::open(spill.path().c_str(), O_RDONLY | O_CLOEXEC));
    if (in.get() < 0) return err::kMassStorage;
    std::string tmp = tempName();
    int out = ::openat(dir.get(), tmp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
    if (out < 0) return errnoToScpi(errno);
    std::vector<char> buf(size_t(1) << 20);
    bool ok = true;
    int e = 0;
    for (;;) {
        ssize_t r = ::read(in.get(), buf.data(), buf.size());
        if (r < 0 && errno == EINTR) continue;
        if (r <= 0) {
            ok = r == 0;
            e = errno;
            break;
        }
        if (!writeAll(out, buf.data(), size_t(r))) {
            ok = false;
            e = errno;
            break;
        }
    }
    ::close(out);
    if (ok && ::renameat(dir.get(), tmp.c_str(), dir.get(), leaf.c_str()) == 0) return 0;
    if (ok) e = errno;
    ::unlinkat(dir.get(), tmp.c_str(), 0);
    return errnoToScpi(e);
}

int Sandbox::deleteFile(std::string_view name) {
    int dirFd = -1;
    std::string leaf;
    if (int e = openParent(name, dirFd, leaf)) return e;
    Fd dir(dirFd);
    struct stat st {};
    if (::fstatat(dir.get(), leaf.c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0) return err::kFileNameNotFound;
    if (S_ISDIR(st.st_mode)) return err::kFileNameError;
    if (::unlinkat(dir.get(), leaf.c_str(), 0) != 0) return errnoToScpi(errno);
    return 0;
}

int Sandbox::makeDirectory(std::string_view name) {
    int dirFd = -1;
    std::string leaf;
    if (int e = openParent(name, dirFd, leaf)) return e;
    Fd dir(dirFd);
    if (::mkdirat(dir.get(), leaf.c_str(), 0755) != 0) return errnoToScpi(errno);
    return 0;
}

int Sandbox::removeDirectory(std::string_view name, std::string& why) {
    why.clear();
    Location loc;
    if (int e = resolve(name, loc)) return e;
    if (loc.parts.empty() || drives_[loc.drive].overview) {
        why = "File name error;a drive cannot be removed";
        return err::kFileNameError;
    }
    // The current folder and its ancestors stay.
    if (loc.drive == cwd_.drive && loc.parts.size() <= cwd_.parts.size() &&
        std::equal(loc.parts.begin(), loc.parts.end(), cwd_.parts.begin())) {
        why = "File name error;the current directory cannot be removed";
        return err::kFileNameError;
    }
    int dirFd = -1;
    if (int e = openFolder(loc, loc.parts.size() - 1, dirFd)) return e;
    Fd dir(dirFd);
    struct stat st {};
    if (::fstatat(dir.get(), loc.parts.back().c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0) return err::kFileNameNotFound;
    if (!S_ISDIR(st.st_mode)) {
        why = "File name error;not a directory";
        return err::kFileNameError;
    }
    if (::unlinkat(dir.get(), loc.parts.back().c_str(), AT_REMOVEDIR) != 0) {
        if (errno != ENOTEMPTY && errno != EEXIST) return errnoToScpi(errno);
        why = "Mass storage error;directory not empty";
        return err::kMassStorage;
    }
    return 0;
}

int Sandbox::changeDirectory(std::string_view name) {
    Location loc;
    if (int e = resolve(name, loc)) return e;
    int fd = -1;
    if (int e = openFolder(loc, loc.parts.size(), fd)) return e;
    ::close(fd);
    cwd_ = std::move(loc);
    return 0;
}

int Sandbox::selectDrive(std::string_view drive) {
    for (size_t i = 0; i < drives_.size(); ++i) {
        std::string_view n = drives_[i].name;
        // "D:" also matches "D:\" as some clients send it.
        std::string_view d = drive;
        while (d.size() > n.size() && (d.back() == '\\' || d.back() == '/')) d.remove_suffix(1);
        if (!n.empty() && !drives_[i].hidden && equalsIgnoreCase(n, d)) {
            cwd_ = Location{i, {}};
            return 0;
        }
    }
    return err::kFileNameError;
}

int Sandbox::list(std::string_view name, Listing& out) const {
    out = Listing{};
    Location loc = cwd_;
    if (!name.empty())
        if (int e = resolve(name, loc)) return e;
    int fd = -1;
    if (int e = openFolder(loc, loc.parts.size(), fd)) return e;
    DIR* d = ::fdopendir(fd);
    if (!d) {
        ::close(fd);
        return err::kMassStorage;
    }
    out.root = loc.parts.empty();
    // The descriptor may be a duplicate of one read before (the root's):
    // they share the read position.
    ::rewinddir(d);
    while (dirent* e = ::readdir(d)) {
        std::string n = e->d_name;
        // Links, devices and names no answer could carry stay out of sight.
        if (n == "." || n == ".." || !validPart(n)) continue;
        if (drives_[loc.drive].overview) {
            std::vector<std::string> below = loc.parts;
            below.push_back(n);
            if (!aboveDrives(below, true)) continue;
        }
        struct stat st {};
        if (::fstatat(::dirfd(d), e->d_name, &st, AT_SYMLINK_NOFOLLOW) != 0) continue;
        if (!S_ISDIR(st.st_mode) && !S_ISREG(st.st_mode)) continue;
        CatalogEntry entry;
        entry.name = std::move(n);
        entry.directory = S_ISDIR(st.st_mode);
        entry.size = entry.directory ? 0 : uint64_t(st.st_size);
        entry.modified = int64_t(st.st_mtim.tv_sec);
        entry.writable = (st.st_mode & S_IWUSR) != 0;
        out.entries.push_back(std::move(entry));
        if (out.entries.size() >= 100000) break;
    }
    struct statvfs vfs {};
    out.freeBytes = ::fstatvfs(::dirfd(d), &vfs) == 0 ? uint64_t(vfs.f_bavail) * vfs.f_frsize : 0;
    ::closedir(d);
    return 0;
}

int Sandbox::setModified(std::string_view name, int64_t seconds) {
    Location loc;
    if (int e = resolve(name, loc)) return e;
    int dirFd = -1;
    if (loc.parts.empty()) return err::kFileNameError;
    if (int e = openFolder(loc, loc.parts.size() - 1, dirFd)) return e;
    Fd dir(dirFd);
    const struct timespec times[2] = {{time_t(seconds), 0}, {time_t(seconds), 0}};
    if (::utimensat(dir.get(), loc.parts.back().c_str(), times, AT_SYMLINK_NOFOLLOW) != 0) return errnoToScpi(errno);
    return 0;
}

bool Sandbox::driveWasEmpty(std::string_view name) const {
    Location loc;
    return resolve(name, loc) == 0 && loc.drive < drives_.size() && drives_[loc.drive].wasEmpty;
}

int Sandbox::hostPath(std::string_view name, std::string& path) const {
    Location loc;
    if (int e = resolve(name, loc)) return e;
    path = root_;
    for (const auto& h : drives_[loc.drive].host) path += "/" + h;
    for (const auto& p : loc.parts) path += "/" + p;
    return 0;
}

std::string Sandbox::display(const Location& loc) const {
    const Drive& d = drives_[loc.drive];
    std::string s;
    if (d.letter || d.name.empty()) {
        s = d.name + "\\";
        for (size_t i = 0; i < loc.parts.size(); ++i) s += (i ? "\\" : "") + loc.parts[i];
    } else {
        s = d.name == "/" ? "" : d.name;
        for (const auto& p : loc.parts) s += "/" + p;
        if (s.empty()) s = "/";
    }
    return s;
}

std::string Sandbox::currentDirectory() const { return display(cwd_); }

std::string Sandbox::currentDrive() const { return drives_.empty() ? std::string() : drives_[cwd_.drive].name; }

void Sandbox::reset() { cwd_ = start_; }

}  // namespace qv::sim
