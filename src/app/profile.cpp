#include "app/profile.h"

#include "app/text.h"

#include <fcntl.h>
#include <limits.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <ctime>

namespace qv::app {

namespace {

constexpr size_t npos = static_cast<size_t>(-1);

std::string indexKey(std::string_view section, std::string_view key) {
    return ToLowerAscii(section) + "\n" + ToLowerAscii(key);
}

bool hasLineEnd(std::string_view s) { return s.find_first_of("\r\n") != std::string_view::npos; }

}  // namespace

ProfileDocument::ProfileDocument(std::string content) : content_(std::move(content)) { parse(); }

void ProfileDocument::parse() {
    lines_.clear();
    index_.clear();
    sectionIndex_.clear();
    const std::string& c = content_;
    size_t pos = 0;
    // A byte order mark belongs to no line's text.
    if (c.compare(0, 3, "\xEF\xBB\xBF") == 0) pos = 3;
    size_t currentSection = npos;
    std::string currentLower;
    while (pos < c.size()) {
        Line line;
        line.begin = pos;
        size_t end = c.find_first_of("\r\n", pos);
        if (end == std::string::npos) end = c.size();
        line.end = end;
        if (end < c.size()) line.eolLength = (c[end] == '\r' && end + 1 < c.size() && c[end + 1] == '\n') ? 2 : 1;
        pos = end + line.eolLength;

        std::string_view text = TrimBlanksTabs(std::string_view(c).substr(line.begin, line.end - line.begin));
        size_t lineIndex = lines_.size();
        if (!text.empty() && text[0] == '[') {
            size_t close = text.find(']');
            std::string_view name = text.substr(1, close == std::string_view::npos ? std::string_view::npos : close - 1);
            line.kind = Kind::Section;
            line.name = std::string(TrimBlanksTabs(name));
            currentSection = lineIndex;
            currentLower = ToLowerAscii(line.name);
            sectionIndex_.emplace(currentLower, lineIndex);
        } else if (size_t eq = text.find('='); eq != std::string_view::npos) {
            line.kind = Kind::Key;
            line.name = std::string(TrimBlanksTabs(text.substr(0, eq)));
            line.value = std::string(TrimBlanksTabs(text.substr(eq + 1)));
            if (currentSection != npos && !line.name.empty())
                index_.emplace(currentLower + "\n" + ToLowerAscii(line.name), lineIndex);
        }
        line.section = currentSection;
        lines_.push_back(std::move(line));
    }
}

bool ProfileDocument::find(std::string_view section, std::string_view key, std::string& value) const {
    auto it = index_.find(indexKey(TrimBlanksTabs(section), TrimBlanksTabs(key)));
    if (it == index_.end()) return false;
    value = lines_[it->second].value;
    return true;
}

std::string ProfileDocument::lineEnd() const {
    for (const Line& l : lines_) {
        if (l.eolLength == 2) return "\r\n";
        if (l.eolLength == 1) return std::string(1, content_[l.end]);
    }
    return "\n";
}

bool ProfileDocument::set(std::string_view section, std::string_view key, std::string_view value) {
    section = TrimBlanksTabs(section);
    key = TrimBlanksTabs(key);
    if (section.empty() || key.empty()) return false;
    if (hasLineEnd(section) || section.find(']') != std::string_view::npos) return false;
    if (hasLineEnd(key) || key.find('=') != std::string_view::npos || key[0] == '[') return false;
    if (hasLineEnd(value)) return false;

    auto it = index_.find(indexKey(section, key));
    if (it != index_.end()) {
        const Line& l = lines_[it->second];
        std::string text = l.name + "=" + std::string(value);
        content_.replace(l.begin, l.end - l.begin, text);
        parse();
        return true;
    }
    const std::string eol = lineEnd();
    auto sec = sectionIndex_.find(ToLowerAscii(section));
    if (sec != sectionIndex_.end()) {
        // After the section's last line that is not blank.
        size_t last = sec->second;
        for (size_t i = sec->second + 1; i < lines_.size() && lines_[i].kind != Kind::Section; ++i) {
            const Line& l = lines_[i];
            if (!TrimBlanksTabs(std::string_view(content_).substr(l.begin, l.end - l.begin)).empty()) last = i;
        }
        const Line& after = lines_[last];
        std::string text = std::string(key) + "=" + std::string(value) + eol;
        if (after.eolLength == 0) {
            content_.append(eol);
            content_.append(key.data(), key.size()).append("=").append(value.data(), value.size());
        } else {
            content_.insert(after.end + after.eolLength, text);
        }
        parse();
        return true;
    }
    if (!content_.empty() && content_.back() != '\n' && content_.back() != '\r') content_ += eol;
    content_ += "[" + std::string(section) + "]" + eol + std::string(key) + "=" + std::string(value) + eol;
    parse();
    return true;
}

std::vector<std::string> ProfileDocument::sections() const {
    std::vector<std::string> out;
    for (size_t i = 0; i < lines_.size(); ++i) {
        if (lines_[i].kind != Kind::Section) continue;
        auto it = sectionIndex_.find(ToLowerAscii(lines_[i].name));
        if (it != sectionIndex_.end() && it->second == i) out.push_back(lines_[i].name);
    }
    return out;
}

std::vector<std::string> ProfileDocument::keys(std::string_view section) const {
    std::vector<std::string> out;
    std::string lower = ToLowerAscii(TrimBlanksTabs(section));
    for (size_t i = 0; i < lines_.size(); ++i) {
        const Line& l = lines_[i];
        if (l.kind != Kind::Key || l.section == npos || l.name.empty()) continue;
        if (ToLowerAscii(lines_[l.section].name) != lower) continue;
        auto it = index_.find(lower + "\n" + ToLowerAscii(l.name));
        if (it != index_.end() && it->second == i) out.push_back(l.name);
    }
    return out;
}

// ---------------------------------------------------------------------------
// Files and the cache

namespace {

enum class LoadResult { Missing, Loaded, Refused };

struct Stamp {
    dev_t dev = 0;
    ino_t ino = 0;
    off_t size = 0;
    timespec mtime{}, ctime{};
    bool operator==(const Stamp& o) const {
        return dev == o.dev && ino == o.ino && size == o.size && mtime.tv_sec == o.mtime.tv_sec &&
               mtime.tv_nsec == o.mtime.tv_nsec && ctime.tv_sec == o.ctime.tv_sec && ctime.tv_nsec == o.ctime.tv_nsec;
    }
};

struct CacheEntry {
    Stamp stamp;
    bool settled = false;  // changed long enough ago that its stamp is trustworthy
    ProfileDocument doc;
    uint64_t lastUse = 0;
};

constexpr size_t kCacheFiles = 32;
std::unordered_map<std::string, CacheEntry> g_cache;
uint64_t g_useCounter = 0;

Stamp stampOf(const struct stat& st) {
    Stamp s;
    s.dev = st.st_dev;
    s.ino = st.st_ino;
    s.size = st.st_size;
    s.mtime = st.st_mtim;
    s.ctime = st.st_ctim;
    return s;
}

bool settledNow(const Stamp& s) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    const time_t latest = s.mtime.tv_sec > s.ctime.tv_sec ? s.mtime.tv_sec : s.ctime.tv_sec;
    return now.tv_sec - latest > 2;
}

bool readWhole(const std::string& path, size_t limit, std::string& out) {
    out.clear();
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    char buf[65536];
    bool ok = true;
    while (true) {
        ssize_t n = ::read(fd, buf, sizeof buf);
        if (n < 0) {
            if (errno == EINTR) continue;
            ok = false;
            break;
        }
        if (n == 0) break;
        if (out.size() + static_cast<size_t>(n) > limit) {
            ok = false;
            break;
        }
        out.append(buf, static_cast<size_t>(n));
    }
    ::close(fd);
    return ok;
}

void evictIfFull() {
    while (g_cache.size() > kCacheFiles) {
        auto oldest = g_cache.begin();
        for (auto it = g_cache.begin(); it != g_cache.end(); ++it)
            if (it->second.lastUse < oldest->second.lastUse) oldest = it;
        g_cache.erase(oldest);
    }
}

// Finds the current document of a file through the cache.
LoadResult load(const std::string& path, const ProfileDocument*& doc) {
    doc = nullptr;
    struct stat st {};
    if (path.empty()) return LoadResult::Missing;
    if (::stat(path.c_str(), &st) != 0) {
        const int err = errno;
        g_cache.erase(path);
        return err == ENOENT || err == ENOTDIR ? LoadResult::Missing : LoadResult::Refused;
    }
    if (!S_ISREG(st.st_mode) || static_cast<size_t>(st.st_size) > kProfileMaxFileSize) {
        g_cache.erase(path);
        return LoadResult::Refused;
    }
    Stamp stamp = stampOf(st);
    auto it = g_cache.find(path);
    if (it != g_cache.end() && it->second.settled && it->second.stamp == stamp) {
        it->second.lastUse = ++g_useCounter;
        doc = &it->second.doc;
        return LoadResult::Loaded;
    }
    std::string content;
    if (!readWhole(path, kProfileMaxFileSize, content)) {
        g_cache.erase(path);
        return LoadResult::Refused;
    }
    if (it == g_cache.end() || it->second.doc.content() != content) {
        CacheEntry& e = g_cache[path];
        e.doc = ProfileDocument(std::move(content));
        it = g_cache.find(path);
    }
    it->second.stamp = stamp;
    it->second.settled = settledNow(stamp);
    it->second.lastUse = ++g_useCounter;
    doc = &it->second.doc;
    evictIfFull();
    // Eviction never removes the entry just used: it has the newest mark.
    return LoadResult::Loaded;
}

bool writeAll(int fd, const std::string& data) {
    size_t done = 0;
    while (done < data.size()) {
        ssize_t n = ::write(fd, data.data() + done, data.size() - done);
        if (n < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        done += static_cast<size_t>(n);
    }
    return true;
}

// Writes content to a temporary file beside target and renames it over
// target. mode is the permission the file gets.
bool replaceFile(const std::string& target, const std::string& content, mode_t mode) {
    size_t slash = target.rfind('/');
    std::string folder = slash == std::string::npos ? "." : (slash == 0 ? "/" : target.substr(0, slash));
    std::string base = slash == std::string::npos ? target : target.substr(slash + 1);
    std::string tmpl = folder + (folder == "/" ? "" : "/") + "." + base + ".XXXXXX";
    std::vector<char> name(tmpl.begin(), tmpl.end());
    name.push_back('\0');
    int fd = ::mkostemp(name.data(), O_CLOEXEC);
    if (fd < 0) return false;
    bool ok = writeAll(fd, content) && ::fchmod(fd, mode) == 0 && ::fsync(fd) == 0;
    if (::close(fd) != 0) ok = false;
    if (ok && ::rename(name.data(), target.c_str()) != 0) ok = false;
    if (!ok) ::unlink(name.data());
    return ok;
}

// The file a write goes to: a symbolic link is followed so that the link
// itself stays in place.
std::string writeTarget(const std::string& path) {
    struct stat st {};
    if (::lstat(path.c_str(), &st) == 0 && S_ISLNK(st.st_mode)) {
        char resolved[PATH_MAX];
        if (::realpath(path.c_str(), resolved)) return resolved;
    }
    return path;
}

}  // namespace

std::string ProfileRead(const std::string& file, std::string_view section, std::string_view key,
                        std::string_view def) {
    const ProfileDocument* doc = nullptr;
    std::string value;
    if (load(file, doc) == LoadResult::Loaded && doc->find(section, key, value))
        return std::string(Utf8Cut(value, kProfileMaxValue));
    size_t end = def.find_last_not_of(' ');
    def = end == std::string_view::npos ? std::string_view() : def.substr(0, end + 1);
    return std::string(Utf8Cut(def, kProfileMaxValue));
}

bool ProfileWrite(const std::string& file, std::string_view section, std::string_view key,
                  std::string_view value) {
    return ProfileWriteKeys(file, section, {{std::string(key), std::string(value)}});
}

bool ProfileWriteKeys(const std::string& file, std::string_view section,
                      const std::vector<std::pair<std::string, std::string>>& keys) {
    if (file.empty()) return false;
    const std::string target = writeTarget(file);
    const ProfileDocument* current = nullptr;
    LoadResult r = load(target, current);
    if (r == LoadResult::Refused) return false;
    ProfileDocument doc = current ? *current : ProfileDocument();
    for (const auto& [key, value] : keys)
        if (!doc.set(section, key, value)) return false;
    if (current && doc.content() == current->content()) return true;

    mode_t mode = 0644;
    struct stat st {};
    if (::stat(target.c_str(), &st) == 0) {
        // A file its owner made read-only stays as it is, although the
        // rename could replace it.
        if (::access(target.c_str(), W_OK) != 0) return false;
        mode = st.st_mode & 07777;
    }
    if (!replaceFile(target, doc.content(), mode)) return false;

    // The cache takes the new text at once; its stamp is the new file's.
    if (::stat(target.c_str(), &st) == 0) {
        CacheEntry& e = g_cache[target];
        e.doc = std::move(doc);
        e.stamp = stampOf(st);
        e.settled = settledNow(e.stamp);
        e.lastUse = ++g_useCounter;
        evictIfFull();
    } else {
        g_cache.erase(target);
    }
    return true;
}

std::vector<std::string> ProfileSections(const std::string& file) {
    const ProfileDocument* doc = nullptr;
    if (load(file, doc) != LoadResult::Loaded) return {};
    return doc->sections();
}

std::vector<std::string> ProfileKeys(const std::string& file, std::string_view section) {
    const ProfileDocument* doc = nullptr;
    if (load(file, doc) != LoadResult::Loaded) return {};
    return doc->keys(section);
}

void ProfileCacheClear() { g_cache.clear(); }

}  // namespace qv::app
