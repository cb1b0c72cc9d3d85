#include "demo.h"

#include "app/iniio.h"
#include "sim/instrument.h"

#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <system_error>

namespace qv::demo {

namespace {

struct DemoInstrument {
    const char* family;
    const char* comment;
    bool vxi11;  // else a raw socket
};

// One of each family the demo shows, over both LAN transports.
constexpr DemoInstrument kInstruments[] = {
    {"TKD", "Demo spectrum analyzer", true},
    {"KDC", "Demo network analyzer", true},
    {"MYI", "Demo oscilloscope", true},
    {"MYE", "Demo oscilloscope, full HD", false},
    {"GLN", "Demo signal generator", false},
    {"DOC", "Demo audio analyzer", false},
    {"TKM", "Demo modulation analyzer", true},
};

}  // namespace

DemoSetup::~DemoSetup() {
    sim_.stop();
    if (!folder_.empty()) {
        std::error_code ec;
        std::filesystem::remove_all(folder_, ec);
    }
}

int DemoSetup::instrumentCount() const { return static_cast<int>(sim_.instrumentCount()); }

std::string DemoSetup::instrumentRoot(size_t i) {
    qv::sim::Instrument* inst = sim_.instrument(i);
    return inst ? inst->rootPath() : std::string();
}

bool DemoSetup::start(std::string& error) {
    qv::sim::SimulatorConfig cfg;
    for (const DemoInstrument& d : kInstruments) {
        qv::sim::InstrumentConfig c;
        c.profile = d.family;
        c.address = "127.0.0.1";
        if (d.vxi11) c.vxi11 = true;
        else c.socketPort = 0;
        cfg.instruments.push_back(c);
    }
    cfg.portmapperPort = 0;
    if (!sim_.start(cfg, error)) return false;
    // The modulation analyzer starts in digital demodulation, so that its
    // result report has a summary to show.
    for (size_t i = 0; i < sim_.instrumentCount(); ++i)
        if (std::string_view(kInstruments[i].family) == "TKM")
            if (qv::sim::Instrument* inst = sim_.instrument(i)) {
                qv::sim::ProgramMessage select;
                select.text = "INST:SEL DDEM";
                qv::sim::ResponseMessage ignored;
                inst->execute(select, false, ignored);
            }

    std::string tmpl = (std::filesystem::temp_directory_path() / "quilvane-demo-XXXXXX").string();
    if (!::mkdtemp(tmpl.data())) {
        error = "cannot make a temporary settings folder";
        return false;
    }
    folder_ = tmpl;
    std::filesystem::create_directories(folder_ + "/Tesselhorn/Quilvane");
    const std::string ini = folder_ + "/Tesselhorn/Quilvane/Quilvane.ini";
    // VXI-11 devices share one address and are told apart by instK, in the
    // order they were started.
    int vxiIndex = 0, row = 1;
    for (size_t i = 0; i < sim_.instrumentCount(); ++i) {
        const DemoInstrument& d = kInstruments[i];
        std::string resource =
            d.vxi11 ? "TCPIP0::127.0.0.1::inst" + std::to_string(vxiIndex++) + "::INSTR"
                    : "TCPIP0::127.0.0.1::" + std::to_string(sim_.socketPort(i)) + "::SOCKET";
        // RAW rows hand the resource to VISA as it stands.
        qv::app::WriteIni(ini, "DisplayNames", "Name" + std::to_string(row),
                          qv::app::Value(std::string(d.comment) + "|RAW|" + resource));
        qv::app::WriteIni(ini, "ScanEntries", "Value" + std::to_string(row), qv::app::Value("1"));
        ++row;
    }
    qv::app::WriteIni(ini, "Servers", "ServerEntry1", qv::app::Value("localhost"));
    qv::app::WriteIni(ini, "ScanEntriesServers", "Value1", qv::app::Value("1"));
    ::setenv("APPDATA", folder_.c_str(), 1);
    ::setenv("QUILVANE_PORTMAPPER_PORT", std::to_string(sim_.portmapperPort()).c_str(), 1);
    return true;
}

}  // namespace qv::demo
