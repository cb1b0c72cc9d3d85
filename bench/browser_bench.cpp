// The file browser's figures: parsing a full catalogue, listing a folder of
// 10,000 entries from the simulated instrument, and fetching a large file
// through the browser's path next to the bare VISA calls of the same run.
#include "families/registry.h"
#include "file_browser/file_ops.h"
#include "file_browser/listing.h"
#include "instrument_io/vif.h"
#include "instrument_io/visa/visa.h"
#include "test_support.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

bool fillFile(const std::string& path, uint64_t bytes);  // main.cpp
bool demoFigures(const char* flag, const std::string& prefix,
                 const std::function<void(const std::string&)>& onFigure);  // hardcopy_bench.cpp

namespace {

using Clock = std::chrono::steady_clock;
namespace fb = qv::file_browser;

double msSince(Clock::time_point t0) { return std::chrono::duration<double, std::milli>(Clock::now() - t0).count(); }

// Answers every query with the same catalogue.
class FixedPort : public fb::CatalogPort {
public:
    explicit FixedPort(std::string answer) : answer_(std::move(answer)) {}
    void write(const std::string&) override {}
    std::string ask(const std::string&, bool) override { return answer_; }

private:
    std::string answer_;
};

// Three-character names, so that 10,000 entries fit one answer.
std::string shortName(int i) {
    const char* digits = "0123456789abcdefghijklmnopqrstuvwxyz";
    std::string n(3, '0');
    for (int k = 2; k >= 0; --k, i /= 36) n[size_t(k)] = digits[i % 36];
    return n;
}

void parseFigure() {
    // A long catalogue of 100,000 characters, as many entries as fit.
    std::string answer = "123456,7890";
    int entries = 0;
    for (int i = 0; answer.size() < fb::kMaxAnswer - 32; ++i, ++entries)
        answer += ",\"file" + std::to_string(i) + ".dat,," + std::to_string(1000 + i) + "\"";
    FixedPort port(answer);
    std::vector<fb::InstFileEntry> out;
    bool empty = false;
    const int runs = 200;
    bool ok = true;
    auto t0 = Clock::now();
    for (int r = 0; r < runs; ++r) ok = fb::ListDirectory(port, "TKD", "D:\\", out, empty) && ok;
    const double perThousand = msSince(t0) / runs / (entries / 1000.0);
    if (!ok || int(out.size()) != entries) std::printf("# the catalogue of %d entries did not parse whole\n", entries);
    std::printf("listing parse, %zu-character catalogue of %d entries = %.3f ms per 1000 entries\n", answer.size(),
                entries, perThousand);
    std::printf("listing parse to its 1 ms per 1000 entries budget ratio = %.3f\n", perThousand);
}

// The bare VISA calls: the query, the block header, viReadToFile. MB/s.
double visaFetchMBps(const std::string& res, const std::string& command, const std::string& target, uint64_t expect) {
    ViSession rm = 0, vi = 0;
    if (viOpenDefaultRM(&rm) < 0) return 0;
    double mbps = 0;
    if (viOpen(rm, res.c_str(), VI_NULL, 5000, &vi) >= 0) {
        viSetAttribute(vi, VI_ATTR_TMO_VALUE, 120000);
        const std::string line = command + "\n";
        ViUInt32 n = 0;
        auto t0 = Clock::now();
        unsigned char head[24] = {};
        if (viWrite(vi, reinterpret_cast<ViConstBuf>(line.data()), ViUInt32(line.size()), &n) >= 0 &&
            viRead(vi, head, 2, &n) >= 0 && head[0] == '#' && viRead(vi, head + 2, head[1] - '0', &n) >= 0) {
            const uint64_t len = std::strtoull(reinterpret_cast<char*>(head + 2), nullptr, 10);
            ViUInt32 got = 0;
            if (len == expect && viReadToFile(vi, target.c_str(), ViUInt32(len), &got) >= 0 && got == len)
                mbps = double(len) / (msSince(t0) / 1000.0) / 1e6;
        }
        viClose(vi);
    }
    viClose(rm);
    unlink(target.c_str());
    return mbps;
}

// The browser's fetch: a new session opened as the window opens it, the
// family's read command, the file written beside its target and renamed.
double browserFetchMBps(const std::string& res, const std::string& command, const std::string& target,
                        uint64_t expect) {
    qv::io::VIF v;
    if (!v.OpenDevice(res, true, false, 1000, true)) return 0;
    auto t0 = Clock::now();
    const bool ok = fb::fetchFile(v, command, target) == fb::FetchResult::Fetched;
    const double secs = msSince(t0) / 1000.0;
    struct stat st {};
    const bool whole = stat(target.c_str(), &st) == 0 && uint64_t(st.st_size) == expect;
    unlink(target.c_str());
    return ok && whole ? double(expect) / secs / 1e6 : 0;
}

}  // namespace

// Listing and drawing come from the desktop program in demo mode, as the
// window does them: a new session (which waits for the last one to close),
// the catalogue, the parse, the rows drawn.
static void windowFigure() {
    const bool any = demoFigures("--measure-browser", "browser window", [](const std::string& l) {
        const size_t eq = l.rfind("= ");
        if (eq != std::string::npos)
            std::printf("browser window listing and drawing to its 200 ms budget ratio = %.2f\n",
                        std::atof(l.c_str() + eq + 2) / 200.0);
    });
    if (!any) std::printf("# quilvane --demo did not report the browser's time\n");
}

bool benchBrowser(uint64_t blockBytes) {
    parseFigure();
    windowFigure();
    const qv::family::Family* tkd = qv::family::find("TKD");
    if (!tkd) return false;
    // The instrument's storage in memory where possible: what is measured is
    // the transfer, not the instrument's disk.
    if (access("/dev/shm", W_OK) == 0) setenv("TMPDIR", "/dev/shm", 1);
    qvtest::TempDir root;
    unsetenv("TMPDIR");
    qvtest::TempDir local;
    const std::string drive = root.file("D");
    const std::string crowd = drive + "/crowd";
    if (mkdir(drive.c_str(), 0755) != 0 || mkdir(crowd.c_str(), 0755) != 0 ||
        !fillFile(drive + "/big.bin", blockBytes)) {
        std::fprintf(stderr, "cannot prepare the instrument's files\n");
        return false;
    }
    for (int i = 0; i < 10000; ++i) fillFile(crowd + "/" + shortName(i), 0);
    qvtest::SimProcess sim;
    std::string err;
    if (!sim.start({"--profile", "TKD", "--socket-port", "0", "--root", root.path()}, &err)) {
        std::fprintf(stderr, "cannot start quilvane-sim: %s\n", err.c_str());
        return false;
    }
    const std::string res = sim.socketResource();

    // Listing the crowded folder through the real session, no drawing.
    double best = 1e9;
    size_t listed = 0;
    for (int turn = 0; turn < 5; ++turn) {
        qv::io::VIF v;
        if (!v.OpenDevice(res, true, false, 1000, true)) break;
        std::vector<fb::InstFileEntry> entries;
        bool empty = false;
        auto t0 = Clock::now();
        fb::ListDirectory(v, "TKD", "D:\\crowd\\", entries, empty);
        best = std::min(best, msSince(t0));
        listed = entries.size();
    }
    std::printf("listing a folder of 10000 entries from the simulated instrument (%zu rows) = %.1f ms\n", listed, best);

    const std::string command = fb::readCommand(*tkd, "D:\\", "big.bin");
    const std::string target = local.file("big.bin");
    double raw = 0, browser = 0;
    // Best of five, taken in turns, so that the machine's drift favours neither.
    for (int turn = 0; turn < 5; ++turn) {
        raw = std::max(raw, visaFetchMBps(res, command, target, blockBytes));
        browser = std::max(browser, browserFetchMBps(res, command, target, blockBytes));
    }
    std::printf("# fetch of %llu MiB\n", static_cast<unsigned long long>(blockBytes >> 20));
    std::printf("fetch, bare VISA calls = %.1f MB/s\n", raw);
    std::printf("fetch through the browser's path = %.1f MB/s\n", browser);
    std::printf("browser fetch to bare VISA ratio = %.2f\n", raw > 0 ? browser / raw : 0.0);
    std::fflush(stdout);
    return raw > 0 && browser > 0;
}
