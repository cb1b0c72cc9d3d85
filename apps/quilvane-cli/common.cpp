#include "cli.h"

#include "app/text.h"
#include "instrument_directory/capabilities.h"
#include "instrument_directory/visa_scan.h"
#include "instrument_io/visa/status_text.h"
#include "instrument_io/visa/visa_log.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace qv::cli {

int fail(const char* what, ViStatus s) {
    if (s >= 0) {
        std::fprintf(stderr, "error: %s failed\n", what);
        return 1;
    }
    std::fprintf(stderr, "error: %s: %s (0x%s): %s\n", what, qv::visa::statusName(s).c_str(),
                 qv::visa::statusHex(s).c_str(), qv::visa::statusText(s).c_str());
    std::string why = qv::visa::lastMessage();
    if (!why.empty()) std::fprintf(stderr, "  %s\n", why.c_str());
    return 1;
}

int fail(const char* what, const io::VIF& v) { return fail(what, v.LastVisaStatus()); }

// What the instrument's error queue holds, on standard error, each read
// bounded by a short time-out.
void printErrorQueue(io::VIF& v) {
    v.TimeOut(std::min<int32_t>(v.TimeOut(), 1000));
    std::string errors;
    v.PollErrors(errors, "SYST:ERR?", false);
    std::string lead = "  the instrument reports: ";
    for (const std::string& entry : qv::app::SplitClean(errors, "\r\n")) {
        std::fprintf(stderr, "%s%s\n", lead.c_str(), entry.c_str());
        lead.assign(lead.size(), ' ');  // further entries line up under the first
    }
}

// A command that timed out usually left its reason in the instrument's error
// queue (a missing file, an unknown header): one look there, after a device
// clear that drops a late answer, each read bounded by a short time-out.
int failWithQueue(const char* what, io::VIF& v) {
    const bool timedOut = v.LastVisaStatus() == VI_ERROR_TMO;
    int rc = fail(what, v);
    if (!timedOut) return rc;
    viClear(v.GetHandle());
    printErrorQueue(v);
    return rc;
}


long fileSize(const std::string& path) {
    struct stat st {};
    return stat(path.c_str(), &st) == 0 ? long(st.st_size) : -1;
}


// The user's settings file, by the rules the program uses, without
// creating any folder.
std::string userIniFile() {
    std::string base;
    if (const char* appdata = std::getenv("APPDATA"); appdata && *appdata) {
        base = appdata;
    } else if (const char* xdg = std::getenv("XDG_CONFIG_HOME"); xdg && *xdg) {
        base = xdg;
    } else if (const char* home = std::getenv("HOME"); home && *home) {
        base = std::string(home) + "/.config";
    } else {
        return "";
    }
    return base + "/Tesselhorn/Quilvane/Quilvane.ini";
}

// Asks who the resource is; the record's index, -1 when it was not visited.
int16_t identify(const Options& o, qv::dir::VISAScan& scan) {
    qv::dir::LoadMasterList(qv::dir::VisaDevicesPath());
    qv::dir::ResetRecords();
    scan.VisaScanSingleIP(o.args[1], int32_t(o.timeoutMs), 0, {true}, false);
    // The last record is the resource itself (a search may list several).
    return int16_t(scan.DeviceCount() - 1);
}


// Copies a file to standard output; false when it cannot be read whole.
bool copyToStdout(const std::string& file) {
    FILE* in = std::fopen(file.c_str(), "rb");
    if (!in) return false;
    char buf[1 << 16];
    size_t n = 0;
    bool ok = true;
    while ((n = std::fread(buf, 1, sizeof buf, in)) > 0) ok = ok && std::fwrite(buf, 1, n, stdout) == n;
    ok = ok && !std::ferror(in);
    std::fclose(in);
    return ok && std::fflush(stdout) == 0;
}

}  // namespace qv::cli
