// The LAN scans of the remote interfaces editor inside the small lab network
// of scripts/private-net: a walk of 10.77.0.* where three simulated VXI-11
// instruments answer, next to 25.5 s (255 pings of 100 ms one after the
// other, the floor of a walk that waits for each host in turn), and the
// port mapper broadcast. Outside that network the benchmark runs itself
// again through the script; where that is impossible (no root, no network
// namespaces) it says so and measures nothing.
#include "app/context.h"
#include "instrument_directory/capabilities.h"
#include "instrument_directory/lan_scan.h"
#include "instrument_directory/visa_scan.h"
#include "test_support.h"

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

constexpr double kSequentialFloorMs = 255 * 100.0;
constexpr int kInstruments = 3;

double msSince(std::chrono::steady_clock::time_point t0) {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0).count();
}

// A settings file with the local VISA server and no instruments: nothing
// is skipped as configured.
bool freshIni(const qvtest::TempDir& dir, const std::string& name, std::string& ini) {
    ini = dir.file(name);
    return qvtest::writeFile(ini, "[Servers]\nServerEntry1=localhost\n[ScanEntriesServers]\nValue1=1\n");
}

// Runs this program again inside the lab network; returns only when that
// could not be started.
void reexecInPrivateNet(const char* why) {
    const std::string script = std::string(QV_SOURCE_DIR) + "/scripts/private-net";
    char self[4096];
    const ssize_t n = readlink("/proc/self/exe", self, sizeof self - 1);
    if (n <= 0 || access(script.c_str(), X_OK) != 0) {
        std::printf("# LAN scans skipped: %s, and %s cannot be run\n", why, script.c_str());
        return;
    }
    self[n] = '\0';
    std::fflush(stdout);
    std::vector<char*> argv{const_cast<char*>(script.c_str()), self, const_cast<char*>("--lan-only"), nullptr};
    execv(argv[0], argv.data());
    std::printf("# LAN scans skipped: %s could not be started\n", script.c_str());
}

}  // namespace

// True when the figures were taken and the walk found the three instruments,
// or when the lab network is not to be had (skipped, said why).
bool benchLan() {
    const char* net = std::getenv("QV_PRIVATE_NET");
    const std::string state = net ? net : "";
    if (state == "unavailable") {
        std::printf("# LAN scans skipped: the lab network needs root and network namespaces (unshare --net)\n");
        return true;
    }
    if (state != "ready") {
        reexecInPrivateNet("not inside the lab network");
        return true;
    }

    // The lab network's port mapper is the simulator's, on the real port.
    unsetenv("QUILVANE_PORTMAPPER_PORT");
    const char* families[kInstruments] = {"TKD", "KDC", "GLN"};
    std::vector<std::string> args;
    for (int i = 0; i < kInstruments; ++i)
        args.insert(args.end(), {"--profile", families[i], "--vxi11", "--address", qvtest::kNetInstruments[i]});
    args.insert(args.end(), {"--portmapper-port", "111"});
    qvtest::SimProcess sim;
    std::string why;
    if (!sim.start(args, &why)) {
        std::fprintf(stderr, "cannot start the simulated instruments on the lab network: %s\n", why.c_str());
        return false;
    }
    qvtest::TempDir dir;
    std::string walkIni, anyIni;
    if (!freshIni(dir, "walk.ini", walkIni) || !freshIni(dir, "any.ini", anyIni)) {
        std::fprintf(stderr, "cannot write the settings files in %s\n", dir.path().c_str());
        return false;
    }
    qv::dir::LoadMasterList(qv::dir::VisaDevicesPath());

    // The walk, as the editor's "LAN (subnet)" runs it, with nobody to
    // answer a message.
    qv::app::context().IniFilePath = walkIni;
    qv::dir::VISAScan walkScan;
    qv::dir::LanScanner walker(walkIni, walkScan);
    qv::dir::LanScanReport walk;
    auto t0 = std::chrono::steady_clock::now();
    const bool walked = walker.VisaScanIPArea("10.77.0.*", qv::dir::kEditorScanTimeoutMs, 0, {true}, true, walk);
    const double walkMs = msSince(t0);
    const int walkFound = int(walk.found.size());
    std::printf("LAN walk of 10.77.0.* (%d instruments answer) = %.0f ms\n", kInstruments, walkMs);
    std::printf("LAN walk to the sequential floor of %.1f s ratio = %.3f\n", kSequentialFloorMs / 1000.0,
                walkMs / kSequentialFloorMs);
    std::printf("LAN walk to its 3000 ms budget ratio = %.2f\n", walkMs / 3000.0);
    std::printf("LAN walk instruments found = %d (of %d)\n", walkFound, kInstruments);
    if (walk.pingUnavailable) std::printf("# the walk had no ICMP socket and probed by TCP connects\n");

    // The broadcast, as "LAN (any)" runs it: the collection time is fixed,
    // the identification follows.
    qv::app::context().IniFilePath = anyIni;
    qv::dir::VISAScan anyScan;
    qv::dir::LanScanner broadcaster(anyIni, anyScan);
    qv::dir::LanScanReport any;
    t0 = std::chrono::steady_clock::now();
    const bool broadcast = broadcaster.ScanAny(any);
    const double anyMs = msSince(t0);
    if (broadcast) {
        std::printf("LAN broadcast (%d ms collection) and identification = %.0f ms\n", qv::dir::kDiscoveryCollectMs,
                    anyMs);
        std::printf("LAN broadcast instruments found = %d (of %d)\n", int(any.found.size()), kInstruments);
    } else {
        std::printf("# the broadcast could not be sent: %s\n", qv::dir::kInterfaceNotInitialized);
    }
    return walked && walkFound == kInstruments && broadcast;
}
