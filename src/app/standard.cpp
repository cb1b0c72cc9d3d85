#include "app/standard.h"

#include "app/host.h"
#include "app/numeric.h"
#include "app/text.h"
#include "app/version.h"

#include <limits.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>
#include <vector>

namespace qv::app {

namespace {

std::string padded(long value, size_t width) {
    std::string digits = std::to_string(value < 0 ? -value : value);
    if (digits.size() < width) digits.insert(0, width - digits.size(), '0');
    return value < 0 ? "-" + digits : digits;
}

bool fileTime(const std::string& path, std::tm& out) {
    struct stat st {};
    if (path.empty() || ::stat(path.c_str(), &st) != 0) return false;
    time_t t = st.st_mtime;
    return localtime_r(&t, &out) != nullptr;
}

}  // namespace

TimeRecord CurrentTimeRecord() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    std::tm tm{};
    localtime_r(&now.tv_sec, &tm);
    TimeRecord t;
    t.Year = tm.tm_year + 1900;
    t.Month = tm.tm_mon + 1;
    t.Day = tm.tm_mday;
    t.Hour = tm.tm_hour;
    t.Minute = tm.tm_min;
    t.Second = tm.tm_sec;
    t.Milliseconds = static_cast<int>(now.tv_nsec / 1000000) % 1000;
    return t;
}

std::string GetISOTimeString(const TimeRecord& t) {
    return padded(t.Year, 4) + "-" + padded(t.Month, 2) + "-" + padded(t.Day, 2) + " " + padded(t.Hour, 2) + ":" +
           padded(t.Minute, 2) + ":" + padded(t.Second, 2) + "." + padded(t.Milliseconds, 4);
}

std::string FileTimeStamp(const TimeRecord& t) {
    return padded(t.Year, 4) + "_" + padded(t.Month, 2) + "_" + padded(t.Day, 2) + "_" + padded(t.Hour, 2) + "_" +
           padded(t.Minute, 2) + "_" + padded(t.Second, 2);
}

std::string ExecutablePath() {
    std::vector<char> buf(PATH_MAX + 1);
    ssize_t n = ::readlink("/proc/self/exe", buf.data(), buf.size() - 1);
    if (n <= 0) return {};
    return std::string(buf.data(), static_cast<size_t>(n));
}

std::string ExecutableFolder() {
    std::string exe = ExecutablePath();
    size_t slash = exe.rfind('/');
    if (slash == std::string::npos) return {};
    return slash == 0 ? "/" : exe.substr(0, slash);
}

std::string FileDateText(const std::string& path) {
    std::tm tm{};
    if (!fileTime(path, tm)) return {};
    return padded(tm.tm_mday, 2) + "." + padded(tm.tm_mon + 1, 2) + "." + padded(tm.tm_year + 1900, 4);
}

std::string FileTimeText(const std::string& path) {
    std::tm tm{};
    if (!fileTime(path, tm)) return {};
    return padded(tm.tm_hour, 2) + ":" + padded(tm.tm_min, 2) + ":" + padded(tm.tm_sec, 2);
}

std::string GetMainCaption() {
    return std::string("Tesselhorn  ") + QV_PRODUCT_NAME + " v" + NumberText(QV_VERSION_MAJOR) + "." +
           NumberText(QV_VERSION_MINOR) + "." + NumberText(QV_VERSION_PATCH) + " from " +
           FileDateText(ExecutablePath());
}

std::string GetAboutFormVersion() {
    const std::string exe = ExecutablePath();
    std::string text = "version " + std::to_string(QV_VERSION_MAJOR) + "." + std::to_string(QV_VERSION_MINOR) + "." +
                       std::to_string(QV_VERSION_PATCH) + "  from " + FileDateText(exe);
    if (QV_VERSION_PATCH != 0) text += " " + FileTimeText(exe);
    return text;
}

std::string TempPath() {
    std::string folder = "/tmp";
    if (const char* env = ::getenv("TMPDIR"); env && *env) {
        struct stat st {};
        if (::stat(env, &st) == 0 && S_ISDIR(st.st_mode)) folder = env;
    }
    while (folder.size() > 1 && folder.back() == '/') folder.pop_back();
    if (folder.size() > 512) return {};
    return folder;
}

std::string TempFileName(std::string_view prefix, const std::string& folder) {
    std::string dir = folder.empty() ? TempPath() : folder;
    if (dir.empty()) return {};
    while (dir.size() > 1 && dir.back() == '/') dir.pop_back();
    std::string clean;
    for (char c : prefix)
        if (c != '/' && c != '\0') clean += c;
    clean = std::string(Utf8Cut(clean, 32));
    std::string tmpl = dir + (dir == "/" ? "" : "/") + clean + "XXXXXX.tmp";
    std::vector<char> name(tmpl.begin(), tmpl.end());
    name.push_back('\0');
    int fd = ::mkstemps(name.data(), 4);
    if (fd < 0) return {};
    ::close(fd);
    return std::string(name.data());
}

std::string BrowseFolder(const std::string& title, const std::string& currentPath) {
    std::string chosen = host().folderName(title + kCrLf + "Current Path: " + currentPath, currentPath);
    size_t nul = chosen.find('\0');
    if (nul != std::string::npos) chosen.resize(nul);
    return chosen;
}

bool ReplaceThroughPart(const std::string& target, const std::function<bool(const std::string& part)>& write) {
    const std::string part = target + ".part";
    std::remove(part.c_str());
    if (write(part) && std::rename(part.c_str(), target.c_str()) == 0) return true;
    std::remove(part.c_str());
    return false;
}

bool ReadFileBytes(const std::string& path, uintmax_t maxBytes, std::string& bytes) {
    bytes.clear();
    FILE* f = std::fopen(path.c_str(), "rb");
    if (!f) return false;
    char buf[1 << 14];
    size_t n = 0;
    bool ok = true;
    while ((n = std::fread(buf, 1, sizeof buf, f)) > 0) {
        if (bytes.size() + n > maxBytes) {
            ok = false;
            break;
        }
        bytes.append(buf, n);
    }
    ok = ok && !std::ferror(f);
    std::fclose(f);
    if (!ok) bytes.clear();
    return ok;
}

bool WriteFileBytes(const std::string& path, std::string_view bytes) {
    FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) return false;
    const bool written = std::fwrite(bytes.data(), 1, bytes.size(), f) == bytes.size();
    return (std::fclose(f) == 0) && written;
}

}  // namespace qv::app
