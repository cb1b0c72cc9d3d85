// The script engine's figure: a script of 1,000 `scpi` lines against the
// simulated analyzer, next to the same commands and error queue reads sent
// bare through VIF in the same run. The engine should add nothing a user
// could notice to the instrument's own round trips.
#include "automation/script.h"
#include "instrument_io/vif.h"
#include "test_support.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point t0) { return std::chrono::duration<double>(Clock::now() - t0).count(); }

// Writes and queries in turn, as a real script mixes settings and readings.
std::vector<std::string> benchLines(int count) {
    const char* const kinds[] = {"*ESE 0", "*IDN?", "FORM REAL", "*OPC?", "*SRE 0", "FORM?"};
    std::vector<std::string> lines;
    for (int i = 0; i < count; ++i) lines.push_back(kinds[i % std::size(kinds)]);
    return lines;
}

// Lines a second through the engine, session opening included; 0 on failure.
double engineRate(const std::string& res, const std::string& file, int count) {
    auto t0 = Clock::now();
    qv::automation::ScriptRunResult r = qv::automation::RunScript(file, {}, res, {}, 20000);
    const double s = secondsSince(t0);
    if (!r.ran || r.errors) {
        std::fprintf(stderr, "the script run failed:\n%s\n", r.results.substr(0, 2000).c_str());
        return 0;
    }
    return count / s;
}

// The same exchanges without the engine: the session opened as the engine
// opens it, each line then SYST:ERR? until "0,".
double bareRate(const std::string& res, const std::vector<std::string>& lines) {
    auto t0 = Clock::now();
    {
        // Released inside the timed span, as the engine's session is.
        qv::io::VIF v;
        if (!v.OpenDevice(res, true, false, 1000, true)) return 0;
        v.TimeOut(20000);
        std::string answer;
        for (const std::string& l : lines) {
            bool ok = l.find('?') != std::string::npos ? v.ReadString(l, answer, 2048, true) : v.WriteString(l, 0);
            for (int round = 0; ok && round < 256; ++round) {
                ok = v.ReadString("SYST:ERR?", answer, 2048, true);
                if (answer.rfind("0,", 0) == 0) break;
            }
            if (!ok) return 0;
        }
    }
    return double(lines.size()) / secondsSince(t0);
}

}  // namespace

bool benchScript() {
    constexpr int kLines = 1000;
    constexpr int kTurns = 5;
    qvtest::SimProcess sim;
    std::string err;
    if (!sim.start({"--profile", "TKD", "--socket-port", "0", "--no-files"}, &err)) {
        std::fprintf(stderr, "cannot start quilvane-sim: %s\n", err.c_str());
        return false;
    }
    qvtest::TempDir dir;
    const std::vector<std::string> lines = benchLines(kLines);
    std::string text = "name: bench\r\n";
    for (const std::string& l : lines) text += "scpi: " + l + "\r\n";
    const std::string file = dir.file("bench.txt");
    if (!qvtest::writeFile(file, text)) return false;
    const std::string res = sim.socketResource();
    // Turns alternate, and each side keeps its best: the machine is shared.
    double engine = 0, bare = 0;
    for (int turn = 0; turn < kTurns; ++turn) {
        engine = std::max(engine, engineRate(res, file, kLines));
        bare = std::max(bare, bareRate(res, lines));
    }
    if (engine <= 0 || bare <= 0) return false;
    std::printf("script engine, %d scpi lines = %.1f lines/s\n", kLines, engine);
    std::printf("bare VIF, the same commands and error queue reads = %.1f lines/s\n", bare);
    std::printf("script engine to bare VIF ratio = %.3f\n", engine / bare);
    std::fflush(stdout);
    return true;
}
