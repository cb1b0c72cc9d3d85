// The transducer import's figure: a file of 100,000 lines read and cut down
// to an analyzer's large table, as the user correction window's Load does,
// then the reduced table uploaded to the simulated analyzer in one command.
#include "app/host.h"
#include "tables/transducer_import.h"
#include "tables/ucor.h"
#include "test_support.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

double msSince(Clock::time_point t0) {
    return std::chrono::duration<double, std::milli>(Clock::now() - t0).count();
}

double median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    return v.empty() ? 0 : v[v.size() / 2];
}

// A header line, then frequencies from 9 kHz up in even steps with an
// antenna factor that rises with frequency, tab separated, CR LF.
std::string transducerText(int lines) {
    std::string s = "Frequency/Hz\tFactor/dB\r\n";
    s.reserve(size_t(lines) * 28);
    char line[64];
    for (int i = 0; i < lines; ++i) {
        const double f = 9000.0 + double(i) * 30000.0;
        const double factor = 20.0 * std::log10(f / 1e6 + 1.0) + 0.25 * std::sin(i * 0.01);
        std::snprintf(line, sizeof line, "%.0f\t%.3f\r\n", f, factor);
        s += line;
    }
    return s;
}

}  // namespace

bool benchUcor() {
    constexpr int kLines = 100000;
    constexpr int kRuns = 7;
    constexpr double kTargetMs = 200.0;
    qvtest::TempDir dir;
    const std::string file = dir.file("transducer.txt");
    if (!qvtest::writeFile(file, transducerText(kLines))) {
        std::fprintf(stderr, "cannot write the transducer file\n");
        return false;
    }
    qv::tables::ImportRules rules;
    rules.startRow = 2;
    const int max = qv::tables::TransducerMax("TKD", "3.45");
    std::vector<double> imports;
    qv::tables::UCorTable table;
    for (int run = 0; run < kRuns; ++run) {
        std::string name = "T1";
        const auto t0 = Clock::now();
        // The window's Load: the file read, the reduction, the rows sorted.
        if (!qv::tables::LoadTransducerFile(file, rules, max, table, name)) return false;
        imports.push_back(msSince(t0));
    }
    const double importMs = median(imports);
    std::printf("transducer import, %d lines to %zu points = %.1f ms\n", kLines, table.size(), importMs);
    std::printf("transducer import to its %.0f ms target ratio = %.3f\n", kTargetMs, importMs / kTargetMs);
    std::fflush(stdout);

    qvtest::SimProcess sim;
    std::string err;
    if (!sim.start({"--profile", "TKD", "--socket-port", "0", "--no-files"}, &err)) {
        std::fprintf(stderr, "cannot start quilvane-sim: %s\n", err.c_str());
        return false;
    }
    qv::tables::UCorSettings s;
    s.name = "BENCH";
    std::vector<double> uploads;
    bool clean = true;
    for (int run = 0; run < kRuns; ++run) {
        const auto t0 = Clock::now();
        const qv::tables::UploadResult r =
            qv::tables::UploadUCor(sim.socketResource(), qv::family::UCorGroup::Analyzer, table, s);
        uploads.push_back(msSince(t0));
        if (!r.sent) {
            std::fprintf(stderr, "the upload failed: %s\n", r.message.c_str());
            return false;
        }
        if (!r.errors.empty()) {
            clean = false;
            if (run == 0) std::fprintf(stderr, "the simulated analyzer refused the table: %s\n", r.errors.c_str());
        }
    }
    std::printf("upload of the %zu points to the simulated analyzer (socket, error poll included) = %.1f ms%s\n",
                table.size(), median(uploads), clean ? "" : " (refused by the instrument)");
    std::fflush(stdout);
    return clean;
}
