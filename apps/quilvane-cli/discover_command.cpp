// quilvane-cli discover: the LAN scans of the remote interfaces editor
// without the window. The port mapper broadcast by default, a subnet walk
// with --subnet, the mDNS browse with --mdns; each instrument found is one
// line on standard output, what the scan has to say goes to standard error.
#include "cli.h"

#include "app/context.h"
#include "app/main_window.h"
#include "instrument_directory/remote_editor.h"
#include "app/standard.h"
#include "instrument_directory/capabilities.h"
#include "instrument_directory/lan_scan.h"
#include "instrument_directory/mdns_browse.h"
#include "instrument_directory/ping.h"
#include "instrument_directory/visa_scan.h"

#include <stdlib.h>

#include <cstdio>
#include <filesystem>
#include <system_error>
#include <string>
#include <vector>

namespace qv::cli {

namespace {

namespace fs = std::filesystem;

// Longer waits than this are a typing mistake, not a slow network.
constexpr uint32_t kMaxDiscoverWaitMs = 600000;

int usageError(const std::string& text) {
    std::fprintf(stderr, "error: discover: %s\n", text.c_str());
    return 2;
}

struct DiscoverArgs {
    std::string subnet;  // empty: the broadcast
    bool mdns = false;
    bool add = false;
};

bool parseArgs(const Options& o, DiscoverArgs& a, std::string& why) {
    for (size_t i = 1; i < o.args.size(); ++i) {
        const std::string& opt = o.args[i];
        if (opt == "--mdns") {
            a.mdns = true;
        } else if (opt == "--add") {
            a.add = true;
        } else if (opt == "--subnet" && i + 1 < o.args.size()) {
            a.subnet = o.args[++i];
        } else {
            why = "\"" + opt + "\" is no option of discover, or it lacks its value";
            return false;
        }
    }
    if (a.mdns && !a.subnet.empty()) {
        why = "--subnet and --mdns are two different scans; give one of them";
        return false;
    }
    return true;
}

// Without --add the user's settings are only read: the scan works on a copy
// in a folder of its own, gone with the object.
class ReadOnlyCopy {
public:
    explicit ReadOnlyCopy(const std::string& ini) {
        std::string pattern = app::TempPath() + "/quilvane-discover-XXXXXX";
        if (!::mkdtemp(pattern.data())) return;
        folder_ = pattern;
        path_ = folder_ + "/Quilvane.ini";
        std::error_code ec;
        if (!ini.empty() && fs::exists(ini, ec)) fs::copy_file(ini, path_, ec);
        if (ec) path_.clear();
    }
    ~ReadOnlyCopy() {
        std::error_code ec;
        if (!folder_.empty()) fs::remove_all(folder_, ec);
    }
    ReadOnlyCopy(const ReadOnlyCopy&) = delete;
    ReadOnlyCopy& operator=(const ReadOnlyCopy&) = delete;
    const std::string& path() const { return path_; }

private:
    std::string folder_, path_;
};

}  // namespace

int cmdDiscover(const Options& o) {
    DiscoverArgs a;
    std::string why;
    if (!parseArgs(o, a, why)) return usageError(why);
    if (o.timeoutGiven && o.timeoutMs > kMaxDiscoverWaitMs)
        return usageError("--timeout takes at most " + std::to_string(kMaxDiscoverWaitMs) + " ms");
    if (!a.subnet.empty()) {
        std::string prefix;
        int single = 0;
        if (!dir::ParseIpArea(a.subnet, prefix, single))
            return usageError("--subnet " + a.subnet + ": " + dir::kIpAreaInvalid);
    }
    const std::string userIni = o.iniFile.empty() ? userIniFile() : o.iniFile;
    if (a.add && userIni.empty()) return usageError("no settings file to add to: give --ini FILE");
    ReadOnlyCopy copy(a.add ? std::string() : userIni);
    const std::string ini = a.add ? userIni : copy.path();
    if (ini.empty()) {
        std::fprintf(stderr, "error: discover: no temporary folder could be made in %s\n", app::TempPath().c_str());
        return 2;
    }
    if (a.add) {
        // The program makes its settings folder at its first start; so does --add.
        std::error_code ec;
        fs::create_directories(fs::path(ini).parent_path(), ec);
    }
    // The program's start rule: settings without a VISA server use the local one.
    app::EnsureLocalServer(ini);
    app::context().IniFilePath = ini;
    dir::LoadMasterList(dir::VisaDevicesPath());
    const std::vector<bool> serverFlags = dir::ReadServerFlags(ini);

    dir::VISAScan visa;
    dir::LanScanner scanner(ini, visa);
    scanner.hooks.addToSettings = a.add;
    const int waitMs = int(o.timeoutMs);
    dir::LanScanReport report;
    if (a.mdns) {
        std::vector<dir::MdnsService> services;
        std::string error;
        if (!dir::BrowseMdns(o.timeoutGiven ? waitMs : dir::kMdnsBrowseMs, services, error)) {
            std::fprintf(stderr, "error: discover: %s\n", error.c_str());
            return 2;
        }
        scanner.ScanCandidates(dir::CandidatesFromServices(services), report);
    } else if (!a.subnet.empty()) {
        // The address was checked above; false here has shown its reason.
        if (!scanner.VisaScanIPArea(a.subnet, dir::kEditorScanTimeoutMs, 0, serverFlags, true, report,
                                    o.timeoutGiven ? waitMs : dir::kSweepWaitMs))
            return 2;
    } else {
        dir::DiscoveryOptions options;
        if (o.timeoutGiven) options.collectMs = waitMs;
        // "Interface could not be initialized." has gone to standard error.
        if (!scanner.ScanAny(report, options)) return 2;
    }

    for (const dir::LanFound& f : report.found)
        std::printf("%s\t%s\t%s\n", f.address.c_str(), f.rowResource.c_str(), f.identity.c_str());
    std::fflush(stdout);
    const std::string summary = report.summary();
    if (!summary.empty()) std::fprintf(stderr, "%s\n", summary.c_str());
    return report.found.empty() ? 1 : 0;
}

}  // namespace qv::cli
