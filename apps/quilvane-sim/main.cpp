// quilvane-sim: simulated SCPI instruments on loopback, for working and
// testing without hardware. A thin wrapper around qv::sim::Simulator.
#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "sim/command_line.h"
#include "sim/simulator.h"

namespace {

bool writePortFile(const std::string& path, const std::string& text) {
    // Written beside the target and renamed, so a reader never sees half.
    std::string tmp = path + ".tmp." + std::to_string(::getpid());
    FILE* f = std::fopen(tmp.c_str(), "w");
    if (!f) return false;
    bool ok = std::fwrite(text.data(), 1, text.size(), f) == text.size();
    ok = (std::fclose(f) == 0) && ok;
    if (ok && std::rename(tmp.c_str(), path.c_str()) == 0) return true;
    std::remove(tmp.c_str());
    return false;
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string> args(argv + 1, argv + argc);
    qv::sim::CommandLine cl;
    std::string error;
    if (!qv::sim::parseCommandLine(args, cl, error)) {
        std::fprintf(stderr, "quilvane-sim: %s\n(--help shows the options)\n", error.c_str());
        return 2;
    }
    if (cl.help) {
        std::fputs(qv::sim::usageText().c_str(), stdout);
        return 0;
    }

    // The signals that end us are taken synchronously by sigtimedwait below;
    // every thread started later inherits the blocked mask.
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGTERM);
    sigaddset(&stopSignals, SIGINT);
    sigaddset(&stopSignals, SIGHUP);
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);
    signal(SIGPIPE, SIG_IGN);

    if (cl.exitWithParent) {
        pid_t parent = ::getppid();
        ::prctl(PR_SET_PDEATHSIG, SIGTERM);
        if (::getppid() != parent) return 0;  // the parent is already gone
    }

    qv::sim::Simulator sim;
    // The ports are announced once the files are there: a client that
    // starts on the announcement never meets an instrument still drawing
    // its first files (which would hold back its first answer).
    cl.simulator.filesBeforeStart = true;
    if (!sim.start(cl.simulator, error)) {
        std::fprintf(stderr, "quilvane-sim: %s\n", error.c_str());
        return 1;
    }
    if (!sim.mdnsProblem().empty()) std::fprintf(stderr, "quilvane-sim: %s\n", sim.mdnsProblem().c_str());
    std::string report = sim.portReport();
    std::fputs(report.c_str(), stdout);
    std::fflush(stdout);
    if (!cl.portFile.empty() && !writePortFile(cl.portFile, report)) {
        std::fprintf(stderr, "quilvane-sim: cannot write %s\n", cl.portFile.c_str());
        sim.stop();
        return 1;
    }

    using Clock = std::chrono::steady_clock;
    bool limited = cl.lifetimeSeconds > 0;
    auto end = Clock::now() + std::chrono::milliseconds(int64_t(cl.lifetimeSeconds * 1000));
    for (;;) {
        timespec ts{3600, 0};
        if (limited) {
            auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
            if (left <= 0) break;
            ts.tv_sec = time_t(left / 1000);
            ts.tv_nsec = long(left % 1000) * 1000000L;
        }
        int sig = sigtimedwait(&stopSignals, nullptr, &ts);
        if (sig > 0) break;
        if (sig < 0 && errno != EAGAIN && errno != EINTR) break;
    }
    sim.stop();
    return 0;
}
