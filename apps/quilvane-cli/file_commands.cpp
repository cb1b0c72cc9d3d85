// The instrument's files from the command line: the file browser's listing
// dialects, paths and commands, one command a call. Each command lists the
// folder it works in first, as the browser does: that selects the folder on
// families that name files relative to it, and tells a missing file at once
// instead of after a transfer's time-out.
#include "cli.h"

#include "families/registry.h"
#include "file_browser/file_ops.h"
#include "file_browser/listing.h"
#include "instrument_directory/capabilities.h"
#include "instrument_directory/visa_scan.h"
#include "app/text.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <system_error>

namespace qv::cli {

namespace {

namespace fb = qv::file_browser;
using io::VIF;

// The instrument's family and an open session, as the browser opens one.
struct Session {
    const family::Family* family = nullptr;
    VIF vif;
};

bool openSession(const Options& o, Session& s) {
    dir::VISAScan scan;
    const int16_t last = identify(o, scan);
    const std::string tag = last < 0 ? std::string() : scan.DeviceTyp(last);
    s.family = family::find(tag);
    if (!s.family) {
        std::fprintf(stderr, "error: %s did not answer as an instrument this program knows; check the address\n",
                     o.args[1].c_str());
        return false;
    }
    if (!o.logFile.empty()) s.vif.ConfigDebugMode(o.logLevel, true, o.logFile, 256);
    s.vif.TimeOut(int32_t(o.timeoutMs));
    // Errors left from before are drained, so that what follows is ours.
    if (!s.vif.OpenDevice(o.args[1], true, false, o.timeoutMs, true)) {
        fail("open", s.vif);
        return false;
    }
    s.vif.ConfigErrorProcessor(false, false);
    return true;
}

// A folder as the listing wants it: ending in the family's separator.
std::string folderArg(const family::Family& f, std::string path) {
    if (path.empty() || path.back() != f.separator) path += f.separator;
    return path;
}

// Splits "D:\USER\x.bin" into "D:\USER\" and "x.bin"; false without a folder.
bool splitArg(const family::Family& f, std::string path, std::string& folder, std::string& name) {
    while (path.size() > 1 && path.back() == f.separator) path.pop_back();
    const size_t cut = path.rfind(f.separator);
    if (cut == std::string::npos || cut + 1 >= path.size()) return false;
    folder = path.substr(0, cut + 1);
    name = path.substr(cut + 1);
    return true;
}

// Whatever the instrument put in its error queue: printed, and true when
// there was anything.
bool refused(VIF& v, const std::string& what) {
    v.TimeOut(std::min<int32_t>(v.TimeOut(), 2000));
    std::string errors;
    v.PollErrors(errors, "SYST:ERR?", false);
    if (errors.empty()) return false;
    std::fprintf(stderr, "error: the instrument refused %s:\n", what.c_str());
    for (const std::string& e : app::SplitClean(errors, "\r\n")) std::fprintf(stderr, "  %s\n", e.c_str());
    return true;
}

// Lists folder; false (with the reason printed) when it cannot be read.
bool listFolder(Session& s, const std::string& folder, std::vector<fb::InstFileEntry>& entries) {
    if (!fb::listingDialectFor(s.family->tag)) {
        std::fprintf(stderr, "error: this program knows no way to list the folders of the %s\n",
                     std::string(s.family->tag).c_str());
        return false;
    }
    bool empty = true;
    std::string unanswered;
    const bool ok = fb::ListDirectory(s.vif, s.family->tag, folder, entries, empty, &unanswered);
    if (!unanswered.empty()) {
        std::fprintf(stderr, "error: the instrument did not answer \"%s\"\n", unanswered.c_str());
        viClear(s.vif.GetHandle());
        printErrorQueue(s.vif);
        return false;
    }
    if (refused(s.vif, "to list " + folder)) return false;
    if (!ok) {
        std::fprintf(stderr, "error: the listing of %s could not be read\n", folder.c_str());
        return false;
    }
    return true;
}

const fb::InstFileEntry* findEntry(const std::vector<fb::InstFileEntry>& entries, const std::string& name) {
    for (const auto& e : entries)
        if (e.Name == name) return &e;
    return nullptr;
}

// The entry a path names, with the listing of its folder.
struct Located {
    std::string folder, name;
    std::vector<fb::InstFileEntry> entries;
    const fb::InstFileEntry* entry = nullptr;
};

// Opens the session, lists the folder of path and finds its entry; prints
// why not.
bool openAndLocate(const Options& o, const std::string& path, Session& s, Located& at) {
    if (!openSession(o, s)) return false;
    if (!splitArg(*s.family, path, at.folder, at.name)) {
        std::fprintf(stderr, "error: %s names no folder; give the full path, e.g. %sNAME\n", path.c_str(),
                     fb::startPath(*s.family).c_str());
        return false;
    }
    if (!listFolder(s, at.folder, at.entries)) return false;
    at.entry = findEntry(at.entries, at.name);
    if (!at.entry) {
        std::fprintf(stderr, "error: there is no %s in %s\n", at.name.c_str(), at.folder.c_str());
        return false;
    }
    return true;
}

}  // namespace

int cmdLs(const Options& o) {
    Session s;
    if (!openSession(o, s)) return 1;
    std::vector<fb::InstFileEntry> entries;
    if (!listFolder(s, folderArg(*s.family, o.args[2]), entries)) return 1;
    for (const auto& e : entries) {
        if (e.Name == "." || e.Name == "..") continue;
        if (e.IsDir) std::printf("%s\tDIR\n", e.Name.c_str());
        else if (e.Size < 0) std::printf("%s\tN/A\n", e.Name.c_str());
        else std::printf("%s\t%d\n", e.Name.c_str(), int(e.Size));
    }
    return 0;
}

int cmdGet(const Options& o) {
    Session s;
    Located at;
    if (!openAndLocate(o, o.args[2], s, at)) return 1;
    const std::string& folder = at.folder;
    const std::string& name = at.name;
    if (at.entry->IsDir) {
        std::fprintf(stderr, "error: %s%s is a folder\n", folder.c_str(), name.c_str());
        return 1;
    }
    const bool toStdout = o.args[3] == "-";
    std::string target = o.args[3];
    std::error_code ec;
    if (toStdout) target = fb::temporaryTarget(fb::fetchNames(*s.family, folder, name).extension);
    else if (std::filesystem::is_directory(target, ec)) target = (std::filesystem::path(target) / name).string();
    if (target.empty()) {
        std::fprintf(stderr, "error: no temporary file could be made\n");
        return 1;
    }
    std::string message;
    s.vif.VIFVIFError = [&](const std::string& m, const std::string&) { message = m; };
    const std::string command = fb::readCommand(*s.family, folder, name);
    const fb::FetchResult r = fb::fetchFile(s.vif, command, target, int(std::max<uint32_t>(o.timeoutMs, 40000)));
    if (r == fb::FetchResult::Failed) {
        if (toStdout) std::filesystem::remove(target, ec);
        if (!message.empty()) std::fprintf(stderr, "error: get: %s\n", message.c_str());
        else failWithQueue("get", s.vif);
        return 1;
    }
    if (!toStdout) {
        std::printf("%ld bytes written to %s\n", fileSize(target), target.c_str());
        return 0;
    }
    const bool ok = copyToStdout(target);
    std::filesystem::remove(target, ec);
    if (!ok) std::fprintf(stderr, "error: the file could not be written to standard output\n");
    return ok ? 0 : 1;
}

int cmdPut(const Options& o) {
    const std::string& local = o.args[2];
    std::error_code ec;
    if (!std::filesystem::is_regular_file(local, ec)) {
        std::fprintf(stderr, "error: %s is no file that can be read\n", local.c_str());
        return 1;
    }
    Session s;
    if (!openSession(o, s)) return 1;
    const std::string folder = folderArg(*s.family, o.args[3]);
    std::string message;
    s.vif.VIFVIFError = [&](const std::string& m, const std::string&) { message = m; };
    const bool sent = fb::sendFile(s.vif, folder, local);
    if (!sent || s.vif.LastVisaStatus() < 0) {
        if (!message.empty()) std::fprintf(stderr, "error: put: %s\n", message.c_str());
        return message.empty() ? fail("put", s.vif) : 1;
    }
    if (refused(s.vif, "the file")) return 1;
    std::printf("%ld bytes sent to %s%s\n", fileSize(local), folder.c_str(),
                std::filesystem::path(local).filename().string().c_str());
    return 0;
}

int cmdMkdir(const Options& o) {
    Session s;
    if (!openSession(o, s)) return 1;
    std::string folder, name;
    if (!splitArg(*s.family, o.args[2], folder, name)) {
        std::fprintf(stderr, "error: %s names no folder to make it in\n", o.args[2].c_str());
        return 1;
    }
    // The listing selects the folder for families that name the new one relative to it.
    std::vector<fb::InstFileEntry> entries;
    if (fb::listingDialectFor(s.family->tag) && !listFolder(s, folder, entries)) return 1;
    const std::string command = fb::makeFolderCommand(*s.family, folder, name);
    s.vif.WriteString(command, 0);
    if (s.vif.LastVisaStatus() < 0) return fail("mkdir", s.vif);
    return refused(s.vif, "\"" + command + "\"") ? 1 : 0;
}

int cmdRm(const Options& o) {
    Session s;
    Located at;
    if (!openAndLocate(o, o.args[2], s, at)) return 1;
    const std::string command = fb::removeCommand(*s.family, at.folder, at.name, at.entry->IsDir, false);
    s.vif.WriteString(command, 0);
    if (s.vif.LastVisaStatus() < 0) return fail("rm", s.vif);
    return refused(s.vif, "\"" + command + "\"") ? 1 : 0;
}

}  // namespace qv::cli
