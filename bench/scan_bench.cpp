// The time of a full scan of the configured list, as the main window runs it
// at start: 50 simulated instruments, each on its own loopback address over
// VXI-11 through one port mapper, served in this process.
#include "app/iniio.h"
#include "instrument_directory/capabilities.h"
#include "instrument_directory/visa_scan.h"
#include "sim/simulator.h"
#include "test_support.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

bool benchScan(int instruments) {
    const char* families[] = {"TKD", "KDC", "GLN", "MYE", "PWE", "TKU", "KDX"};
    qv::sim::SimulatorConfig cfg;
    std::string ini;
    qvtest::TempDir dir;
    ini = dir.file("Quilvane.ini");
    std::string names = "[DisplayNames]\n", flags = "[ScanEntries]\n";
    for (int i = 0; i < instruments; ++i) {
        qv::sim::InstrumentConfig c;
        c.profile = families[i % 7];
        c.address = "127.0.1." + std::to_string(10 + i);
        c.vxi11 = true;
        cfg.instruments.push_back(c);
        names += "Name" + std::to_string(i + 1) + "=Bench" + std::to_string(i) + "|TCPIP|" + c.address + "\n";
        flags += "Value" + std::to_string(i + 1) + "=1\n";
    }
    cfg.portmapperPort = 0;
    qv::sim::Simulator sim;
    std::string error;
    if (!sim.start(cfg, error)) {
        std::fprintf(stderr, "cannot start the simulated instruments: %s\n", error.c_str());
        return false;
    }
    if (!qvtest::writeFile(ini, names + flags + "[Servers]\nServerEntry1=localhost\n[ScanEntriesServers]\nValue1=1\n"))
        return false;
    const char* saved = std::getenv("QUILVANE_PORTMAPPER_PORT");
    const std::string savedText = saved ? saved : "";
    setenv("QUILVANE_PORTMAPPER_PORT", std::to_string(sim.portmapperPort()).c_str(), 1);

    qv::dir::LoadMasterList(qv::dir::VisaDevicesPath());
    std::vector<bool> scanFlags, serverFlags;
    qv::app::ReadFlagList({ini, "ScanEntries", "Value"}, {ini, "DisplayNames", "Name"}, scanFlags);
    qv::app::ReadFlagList({ini, "ScanEntriesServers", "Value"}, {ini, "Servers", "ServerEntry"}, serverFlags);
    qv::dir::VISAScan scan;
    const auto t0 = std::chrono::steady_clock::now();
    const bool all = scan.VISAScanINI(ini, qv::dir::kMainWindowScanTimeoutMs, 0, scanFlags, true, serverFlags, true);
    const double ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0).count();
    int identified = 0;
    for (int16_t i = 0; i < scan.DeviceCount(); ++i) identified += scan.DeviceIsIdentified(i) ? 1 : 0;

    if (saved) setenv("QUILVANE_PORTMAPPER_PORT", savedText.c_str(), 1);
    else unsetenv("QUILVANE_PORTMAPPER_PORT");
    std::printf("scan of %d instruments = %.0f ms\n", instruments, ms);
    std::printf("scan of %d instruments to its 1000 ms budget ratio = %.2f\n", instruments, ms / 1000.0);
    if (!all || identified != instruments)
        std::printf("# only %d of %d instruments were identified\n", identified, instruments);
    return all && identified == instruments;
}
