// The time of one hardcopy per dialect against the simulated instruments,
// served in this process, with the pauses the dialect prescribes left out:
// what remains is our own overhead plus the instrument's answers.
#include "hardcopy/dialect.h"
#include "hardcopy/hardcopy.h"
#include "sim/simulator.h"
#include "test_support.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>

namespace {

// No window: the picture counts as shown once its file is there.
class NoWindow : public qv::hardcopy::View {
public:
    bool showPicture(const std::string& file, qv::hardcopy::Route, std::string&) override {
        return qvtest::fileExists(file);
    }
};

}  // namespace

bool benchHardcopy() {
    // One family per dialect.
    const char* families[] = {"GLEF", "HUV", "TKW", "TKG", "DOF", "DOC", "GLN", "MYI", "MYE", "KDC", "TKD"};
    qv::sim::SimulatorConfig cfg;
    for (const char* f : families) {
        qv::sim::InstrumentConfig c;
        c.profile = f;
        c.socketPort = 0;
        cfg.instruments.push_back(c);
    }
    qv::sim::Simulator sim;
    std::string error;
    if (!sim.start(cfg, error)) {
        std::fprintf(stderr, "cannot start the simulated instruments: %s\n", error.c_str());
        return false;
    }
    qvtest::TempDir dir;
    double worst = 0;
    for (size_t i = 0; i < std::size(families); ++i) {
        qv::hardcopy::Request r;
        r.resource = "TCPIP::127.0.0.1::" + std::to_string(sim.socketPort(i)) + "::SOCKET";
        r.devType = families[i];
        r.listText = std::string("Bench (") + families[i] + ")";
        r.saveFolder = dir.path();
        r.saveImage = false;
        NoWindow view;
        double best = 1e9;
        bool arrived = true;
        for (int turn = 0; turn < 3; ++turn) {
            auto t0 = std::chrono::steady_clock::now();
            qv::hardcopy::Outcome out = qv::hardcopy::GetHardcopy(r, view, "");
            double ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0).count();
            arrived = arrived && out.arrived;
            best = std::min(best, ms - out.pausedMs);
        }
        const qv::hardcopy::Dialect& d = qv::hardcopy::dialectFor(families[i]);
        if (!arrived) std::printf("# %s: the picture did not arrive\n", families[i]);
        std::printf("hardcopy %s (%.*s dialect) without its prescribed pauses = %.1f ms\n", families[i], int(d.name.size()),
                    d.name.data(), best);
        worst = std::max(worst, best);
    }
    std::printf("hardcopy overhead, worst dialect, to its 100 ms budget ratio = %.2f\n", worst / 100.0);
    std::fflush(stdout);
    return true;
}

// Figures the desktop program measures itself in demo mode, without a
// screen: the lines that begin with prefix (and comments) are printed and
// handed to onFigure; false when there was none.
bool demoFigures(const char* flag, const std::string& prefix, const std::function<void(const std::string&)>& onFigure) {
    std::string cmd = "QT_QPA_PLATFORM=offscreen " + qvtest::binPath("quilvane") + " --demo " + flag + " 2>/dev/null";
    FILE* p = popen(cmd.c_str(), "r");
    if (!p) return false;
    char line[512];
    bool any = false;
    while (std::fgets(line, sizeof line, p)) {
        std::string l = line;
        if (l.rfind("#", 0) == 0) std::fputs(line, stdout);
        if (l.rfind(prefix, 0) != 0) continue;
        std::fputs(line, stdout);
        any = true;
        onFigure(l);
    }
    pclose(p);
    std::fflush(stdout);
    return any;
}

// The window's figures: Update to picture drawn, and file on disk to
// picture on screen.
void benchHardcopyWindow() {
    const bool any = demoFigures("--measure-hardcopy", "hardcopy window", [](const std::string& l) {
        size_t eq = l.rfind("= ");
        if (l.find("from disk to screen") != std::string::npos && eq != std::string::npos)
            std::printf("%s to its 50 ms budget ratio = %.2f\n", l.substr(0, eq - 1).c_str(),
                        std::atof(l.c_str() + eq + 2) / 50.0);
    });
    if (!any) std::printf("# quilvane --demo did not report the hardcopy window's times\n");
    std::fflush(stdout);
}
