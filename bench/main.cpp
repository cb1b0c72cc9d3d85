// quilvane-bench: throughput and latency of the VISA layer against the
// simulated instrument on loopback, each next to a baseline measured in the
// same run (block reads next to two: a plain read loop into memory, and
// splice() from a socket into a file, the limit), and the same figures for
// pyvisa-py. Every figure is one line
// "NAME = VALUE UNIT", every ratio "NAME ratio = VALUE".
#include "instrument_io/vif.h"
#include "instrument_io/visa/visa.h"
#include "test_support.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <linux/magic.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/sendfile.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point t0) { return std::chrono::duration<double>(Clock::now() - t0).count(); }

void figure(const std::string& name, double value, const char* unit) {
    std::printf("%s = %.1f %s\n", name.c_str(), value, unit);
    std::fflush(stdout);
}
void ratio(const std::string& name, double value) {
    std::printf("%s ratio = %.2f\n", name.c_str(), value);
    std::fflush(stdout);
}

// A connected loopback pair: a listening socket accepted once.
struct LoopbackPair {
    int client = -1, server = -1;
    LoopbackPair() {
        int l = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in a{};
        a.sin_family = AF_INET;
        a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        bind(l, reinterpret_cast<sockaddr*>(&a), sizeof a);
        listen(l, 1);
        socklen_t len = sizeof a;
        getsockname(l, reinterpret_cast<sockaddr*>(&a), &len);
        client = socket(AF_INET, SOCK_STREAM, 0);
        connect(client, reinterpret_cast<sockaddr*>(&a), sizeof a);
        server = accept(l, nullptr, nullptr);
        close(l);
        int one = 1;
        setsockopt(client, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
        setsockopt(server, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    }
    ~LoopbackPair() {
        close(client);
        close(server);
    }
};

// Plain TCP: bytes from one thread to another, received into memory.
double rawTcpMBps(size_t bytes) {
    LoopbackPair p;
    std::thread sender([&] {
        std::vector<char> buf(1 << 20, 'x');
        size_t left = bytes;
        while (left > 0) {
            ssize_t n = send(p.server, buf.data(), std::min(left, buf.size()), 0);
            if (n <= 0) break;
            left -= size_t(n);
        }
    });
    std::vector<char> buf(1 << 20);
    size_t got = 0;
    auto t0 = Clock::now();
    while (got < bytes) {
        ssize_t n = recv(p.client, buf.data(), buf.size(), 0);
        if (n <= 0) break;
        got += size_t(n);
    }
    double s = secondsSince(t0);
    sender.join();
    return double(got) / s / 1e6;
}

// The limit for a block read into a file: the same bytes, sent from the
// instrument's file with sendfile() as the simulator sends them, moved from
// a plain TCP socket into a file on the same file system through a pipe
// with splice(), with the same up-front reservation (not on tmpfs) and
// without any protocol. Timed from the first byte sent to the file's close.
double spliceToFileMBps(const std::string& source, size_t bytes, const std::string& target) {
    LoopbackPair p;
    // Either side stopping early must not hold the other for ever.
    timeval limit{10, 0};
    setsockopt(p.client, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    setsockopt(p.server, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
    // The clock starts before the first byte leaves, as it does for a request.
    auto t0 = Clock::now();
    std::thread sender([&] {
        int in = open(source.c_str(), O_RDONLY | O_CLOEXEC);
        if (in < 0) return;
        off_t off = 0;
        while (size_t(off) < bytes) {
            ssize_t n = sendfile(p.server, in, &off, bytes - size_t(off));
            if (n <= 0) break;
        }
        close(in);
    });
    int pipeFds[2] = {-1, -1};
    size_t moved = 0;
    int fd = open(target.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd >= 0 && pipe2(pipeFds, O_CLOEXEC) == 0) {
        fcntl(pipeFds[1], F_SETPIPE_SZ, 1 << 20);
        struct statfs fs {};
        if (fstatfs(fd, &fs) == 0 && fs.f_type != TMPFS_MAGIC) fallocate(fd, 0, 0, off_t(bytes));
        while (moved < bytes) {
            // Whatever has arrived goes on at once: waiting for a full pipe
            // would stall the sender behind a full socket buffer.
            ssize_t in = splice(p.client, nullptr, pipeFds[1], nullptr, std::min<size_t>(bytes - moved, 1 << 20),
                                SPLICE_F_MOVE | SPLICE_F_NONBLOCK);
            if (in < 0 && errno == EAGAIN) {
                pollfd pfd{p.client, POLLIN, 0};
                if (poll(&pfd, 1, 10000) > 0) continue;
            }
            if (in <= 0) break;
            for (ssize_t left = in; left > 0;) {
                ssize_t out = splice(pipeFds[0], nullptr, fd, nullptr, size_t(left), SPLICE_F_MOVE);
                if (out <= 0) {
                    moved = 0;  // a failed reference is no reference
                    in = -1;
                    break;
                }
                left -= out;
            }
            if (in < 0) break;
            moved += size_t(in);
        }
    }
    if (fd >= 0) close(fd);
    double s = secondsSince(t0);
    sender.join();
    if (pipeFds[0] >= 0) close(pipeFds[0]);
    if (pipeFds[1] >= 0) close(pipeFds[1]);
    unlink(target.c_str());
    return moved == bytes ? double(bytes) / s / 1e6 : 0;
}

// Plain TCP ping-pong with answers as long as the instrument's.
double rawPingPongPerSecond(size_t answerLength, int rounds) {
    LoopbackPair p;
    std::thread echo([&] {
        std::string answer(answerLength - 1, 'a');
        answer += '\n';
        char buf[256];
        for (int i = 0; i < rounds; ++i) {
            if (recv(p.server, buf, sizeof buf, 0) <= 0) break;
            send(p.server, answer.data(), answer.size(), 0);
        }
    });
    char buf[512];
    auto t0 = Clock::now();
    for (int i = 0; i < rounds; ++i) {
        send(p.client, "*IDN?\n", 6, 0);
        size_t got = 0;
        while (got < answerLength) {
            ssize_t n = recv(p.client, buf, sizeof buf, 0);
            if (n <= 0) break;
            got += size_t(n);
        }
    }
    double s = secondsSince(t0);
    echo.join();
    return rounds / s;
}

struct Visa {
    ViSession rm = 0, vi = 0;
    explicit Visa(const std::string& res) {
        viOpenDefaultRM(&rm);
        if (viOpen(rm, res.c_str(), VI_NULL, 5000, &vi) < 0) vi = 0;
        else viSetAttribute(vi, VI_ATTR_TMO_VALUE, 60000);
    }
    ~Visa() {
        if (vi) viClose(vi);
        viClose(rm);
    }
    bool write(const std::string& s) {
        ViUInt32 n = 0;
        return viWrite(vi, reinterpret_cast<ViConstBuf>(s.data()), ViUInt32(s.size()), &n) >= 0;
    }
};

// *IDN? round trips a second through viWrite/viRead; answerLength is set
// to what the instrument answered.
double visaRoundTrips(const std::string& res, int rounds, size_t& answerLength) {
    Visa v(res);
    if (!v.vi) return 0;
    unsigned char buf[512];
    ViUInt32 n = 0;
    auto t0 = Clock::now();
    for (int i = 0; i < rounds; ++i) {
        if (!v.write("*IDN?\n") || viRead(v.vi, buf, sizeof buf, &n) < 0) return 0;
    }
    double s = secondsSince(t0);
    answerLength = n;
    return rounds / s;
}

// A whole block answer through viReadToFile, in MB/s; 0 on failure.
double visaBlockMBps(const std::string& res, const std::string& target, uint64_t expect) {
    Visa v(res);
    if (!v.vi) return 0;
    auto t0 = Clock::now();
    if (!v.write("MMEM:DATA? 'big.bin'\n")) return 0;
    unsigned char head[16] = {};
    ViUInt32 n = 0;
    if (viRead(v.vi, head, 2, &n) < 0 || head[0] != '#') return 0;
    unsigned digits = head[1] - '0';
    if (viRead(v.vi, head + 2, digits, &n) < 0) return 0;
    uint64_t len = std::strtoull(reinterpret_cast<char*>(head + 2), nullptr, 10);
    if (len != expect) return 0;
    ViUInt32 got = 0;
    ViStatus s = viReadToFile(v.vi, target.c_str(), ViUInt32(len), &got);
    double secs = secondsSince(t0);
    unlink(target.c_str());
    if (s < 0 || got != len) return 0;
    return double(len) / secs / 1e6;
}

// The better of two runs: the first may still pay for warming caches.
// The same block through VIF::ReadFileFromInstrument, in MB/s.
double vifFileMBps(const std::string& res, const std::string& target, uint64_t expect) {
    qv::io::VIF v;
    if (!v.OpenDevice(res, true, false, 5000, true)) return 0;
    auto t0 = Clock::now();
    bool ok = v.ReadFileFromInstrument("MMEM:DATA? 'big.bin'", target, 120000);
    double secs = secondsSince(t0);
    struct stat st {};
    bool whole = stat(target.c_str(), &st) == 0 && uint64_t(st.st_size) == expect;
    unlink(target.c_str());
    return ok && whole ? double(expect) / secs / 1e6 : 0;
}

// A trace of `points` floats: seconds through the bare VISA calls (block to
// a file) and through VIF::ReadFloatArray (block to floats in memory).
bool traceSeconds(const std::string& res, const std::string& target, long points, double& visaSecs,
                  double& vifSecs) {
    {
        Visa v(res);
        if (!v.vi || !v.write("FORM REAL,32;:SYST:SIM:POIN " + std::to_string(points) + "\n")) return false;
        auto t0 = Clock::now();
        unsigned char head[16] = {};
        ViUInt32 n = 0;
        if (!v.write("TRAC? TRACE1\n") || viRead(v.vi, head, 2, &n) < 0 || head[0] != '#') return false;
        if (viRead(v.vi, head + 2, head[1] - '0', &n) < 0) return false;
        uint64_t len = std::strtoull(reinterpret_cast<char*>(head + 2), nullptr, 10);
        if (viReadToFile(v.vi, target.c_str(), ViUInt32(len + 10), &n) < 0) return false;
        visaSecs = secondsSince(t0);
        unlink(target.c_str());
    }
    qv::io::VIF v;
    if (!v.OpenDevice(res, true, false, 5000, true)) return false;
    std::vector<float> values;
    auto t0 = Clock::now();
    if (!v.ReadFloatArray("TRAC? TRACE1", values, "") || long(values.size()) != points) return false;
    vifSecs = secondsSince(t0);
    return true;
}

double peakRssMiB() {
    rusage ru{};
    getrusage(RUSAGE_SELF, &ru);
    return ru.ru_maxrss / 1024.0;
}

// The same figures for pyvisa-py, from a script run by Debian's Python.
void pyvisa(const std::string& socketRes, int pmapPort, uint64_t blockBytes, int rounds) {
    std::string script = std::string(QV_SOURCE_DIR) + "/bench/pyvisa_bench.py";
    std::string cmd = "/usr/bin/python3 " + script + " " + socketRes + " " + std::to_string(pmapPort) + " " +
                      std::to_string(blockBytes) + " " + std::to_string(rounds) + " 2>&1";
    FILE* p = popen(cmd.c_str(), "r");
    if (!p) return;
    char line[512];
    while (std::fgets(line, sizeof line, p)) std::fputs(line, stdout);
    pclose(p);
}

}  // namespace

// Shared with the other benchmarks: a file of real bytes.
bool fillFile(const std::string& path, uint64_t bytes) {
    FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) return false;
    std::vector<unsigned char> buf(1 << 20);
    for (size_t i = 0; i < buf.size(); ++i) buf[i] = static_cast<unsigned char>(i * 131 + 7);
    for (uint64_t left = bytes; left > 0;) {
        size_t n = size_t(std::min<uint64_t>(left, buf.size()));
        if (std::fwrite(buf.data(), 1, n, f) != n) {
            std::fclose(f);
            return false;
        }
        left -= n;
    }
    return std::fclose(f) == 0;
}

bool benchScan(int instruments);  // scan_bench.cpp
bool benchBrowser(uint64_t blockBytes);  // browser_bench.cpp
bool benchScript();                       // script_bench.cpp
bool benchUcor();                         // ucor_bench.cpp
bool benchTrace();                        // trace_bench.cpp
bool benchLan();                          // lan_bench.cpp
bool benchHardcopy();             // hardcopy_bench.cpp
void benchHardcopyWindow();       // hardcopy_bench.cpp

// The desktop program in demo mode, without a screen: the time it reports
// from process start to a usable main window with the demo instruments listed.
void benchStartup() {
    std::string cmd = "QT_QPA_PLATFORM=offscreen " + qvtest::binPath("quilvane") + " --demo --measure-startup 2>/dev/null";
    FILE* p = popen(cmd.c_str(), "r");
    if (!p) return;
    char line[512];
    long ms = -1, listed = -1;
    while (std::fgets(line, sizeof line, p))
        if (std::sscanf(line, "startup: %ld ms from process start to a usable main window, %ld", &ms, &listed) == 2) break;
    while (std::fgets(line, sizeof line, p)) {
    }
    pclose(p);
    if (ms < 0) {
        std::printf("# quilvane --demo did not report its start-up time\n");
        return;
    }
    figure("start-up to a usable main window (" + std::to_string(listed) + " demo instruments)", double(ms), "ms");
    ratio("start-up to its 1500 ms budget", double(ms) / 1500.0);
}

int main(int argc, char** argv) {
    uint64_t blockMiB = 256, pyBlockMiB = 256;
    int rounds = 5000;
    bool withPyvisa = true;
    bool scanOnly = false;
    bool hardcopyOnly = false;
    bool browserOnly = false;
    bool scriptOnly = false;
    bool ucorOnly = false;
    bool lanOnly = false;
    bool traceOnly = false;
    for (int i = 1; i < argc; ++i) {
        std::string a = argv[i];
        if (a == "--block-mib" && i + 1 < argc) blockMiB = std::strtoull(argv[++i], nullptr, 10);
        else if (a == "--pyvisa-block-mib" && i + 1 < argc) pyBlockMiB = std::strtoull(argv[++i], nullptr, 10);
        else if (a == "--rounds" && i + 1 < argc) rounds = std::atoi(argv[++i]);
        else if (a == "--no-pyvisa") withPyvisa = false;
        else if (a == "--scan-only" || a == "--directory-only") scanOnly = true;
        else if (a == "--hardcopy-only") hardcopyOnly = true;
        else if (a == "--browser-only") browserOnly = true;
        else if (a == "--script-only") scriptOnly = true;
        else if (a == "--ucor-only") ucorOnly = true;
        else if (a == "--lan-only") lanOnly = true;
        else if (a == "--trace-only") traceOnly = true;
        else {
            std::fprintf(stderr,
                         "usage: quilvane-bench [--block-mib N] [--pyvisa-block-mib N] [--rounds N] [--no-pyvisa] "
                         "[--directory-only] [--hardcopy-only] [--browser-only] [--script-only] [--ucor-only] "
                         "[--lan-only] [--trace-only]\n");
            return 2;
        }
    }
    // --hardcopy-only: one hardcopy per dialect, nothing else.
    if (hardcopyOnly) {
        const bool ok = benchHardcopy();
        benchHardcopyWindow();
        return ok ? 0 : 1;
    }
    // --browser-only: the file browser's figures, nothing else.
    if (browserOnly) return benchBrowser(uint64_t(blockMiB) << 20) ? 0 : 1;
    // --script-only: the script engine next to bare VIF, nothing else.
    if (scriptOnly) return benchScript() ? 0 : 1;
    // --ucor-only: the transducer import and its upload, nothing else.
    if (ucorOnly) return benchUcor() ? 0 : 1;
    // --lan-only: the LAN scans inside the lab network (it needs root).
    if (lanOnly) return benchLan() ? 0 : 1;
    // --trace-only: the trace display's replot, memory and continuous reading.
    if (traceOnly) return benchTrace() ? 0 : 1;
    // The scan first: it serves its own instruments in this process.
    const bool scanned = benchScan(50);
    benchStartup();
    if (!scanOnly) {
        benchHardcopy();
        benchHardcopyWindow();
        benchBrowser(uint64_t(blockMiB) << 20);
        benchScript();
        benchUcor();
        benchTrace();
    }
    // --directory-only: the two figures of finding instruments, nothing else.
    if (scanOnly) return scanned ? 0 : 1;
    const uint64_t blockBytes = blockMiB << 20;
    // The instrument's storage lives in memory where possible, and the block
    // holds real bytes already in the page cache: what is measured is the
    // transfer, not the instrument's disk.
    if (access("/dev/shm", W_OK) == 0) setenv("TMPDIR", "/dev/shm", 1);
    qvtest::TempDir root;
    unsetenv("TMPDIR");
    qvtest::TempDir local;
    if (!fillFile(root.file("big.bin"), blockBytes)) {
        std::fprintf(stderr, "cannot create the test file\n");
        return 1;
    }
    qvtest::SimProcess sim;
    std::string err;
    // A family without drives: names resolve straight into the root.
    if (!sim.start({"--profile", "GLT", "--socket-port", "0", "--vxi11", "--portmapper-port", "0", "--root",
                    root.path()},
                   &err)) {
        std::fprintf(stderr, "cannot start quilvane-sim: %s\n", err.c_str());
        return 1;
    }
    setenv("QUILVANE_PORTMAPPER_PORT", std::to_string(sim.portmapperPort()).c_str(), 1);
    // Received files land where a user's would: on the disk's file system.
    std::string target = local.file("out.bin");

    std::printf("# block of %llu MiB, %d round trips\n", static_cast<unsigned long long>(blockMiB), rounds);
    // Each block figure is the best of five, taken in turns, so that the
    // machine's drift over the run does not favour whichever comes first.
    double raw = 0, spliced = 0, sock = 0, vxi = 0, vifFile = 0;
    for (int turn = 0; turn < 5; ++turn) {
        raw = std::max(raw, rawTcpMBps(blockBytes));
        // The limit for a block that ends in a file: no protocol at all.
        spliced = std::max(spliced, spliceToFileMBps(root.file("big.bin"), blockBytes, target));
        sock = std::max(sock, visaBlockMBps(sim.socketResource(), target, blockBytes));
        vxi = std::max(vxi, visaBlockMBps(sim.vxi11Resource(), target, blockBytes));
        vifFile = std::max(vifFile, vifFileMBps(sim.socketResource(), target, blockBytes));
    }
    figure("raw loopback TCP throughput", raw, "MB/s");
    figure("raw loopback TCP into a file with splice()", spliced, "MB/s");
    figure("viReadToFile socket throughput", sock, "MB/s");
    ratio("viReadToFile socket throughput", sock / raw);
    ratio("viReadToFile socket to the splice() reference", sock / spliced);
    figure("viReadToFile VXI-11 throughput", vxi, "MB/s");
    ratio("viReadToFile VXI-11 throughput", vxi / raw);
    ratio("viReadToFile VXI-11 to the splice() reference", vxi / spliced);
    figure("viReadToFile peak memory", peakRssMiB(), "MiB");
    figure("VIF::ReadFileFromInstrument socket throughput", vifFile, "MB/s");
    ratio("VIF::ReadFileFromInstrument to viReadToFile", vifFile / sock);
    figure("VIF::ReadFileFromInstrument peak memory", peakRssMiB(), "MiB");
    double traceVisa = 0, traceVif = 0;
    const long points = 1000000;
    if (traceSeconds(sim.socketResource(), target, points, traceVisa, traceVif)) {
        figure("trace of 1000000 points, bare VISA calls", traceVisa * 1000, "ms");
        figure("trace of 1000000 points, VIF::ReadFloatArray", traceVif * 1000, "ms");
        ratio("VIF::ReadFloatArray to bare VISA", traceVisa / traceVif);
    } else {
        std::printf("# the trace figures failed\n");
    }
    figure("peak memory after the trace", peakRssMiB(), "MiB");

    size_t answerLength = 0;
    double rtSock = visaRoundTrips(sim.socketResource(), rounds, answerLength);
    double rtVxi = visaRoundTrips(sim.vxi11Resource(), rounds, answerLength);
    double ping = rawPingPongPerSecond(answerLength ? answerLength : 40, rounds);
    figure("raw TCP ping-pong", ping, "round trips/s");
    figure("*IDN? socket", rtSock, "round trips/s");
    ratio("*IDN? socket", rtSock / ping);
    figure("*IDN? VXI-11", rtVxi, "round trips/s");
    ratio("*IDN? VXI-11", rtVxi / ping);

    if (withPyvisa) {
        pyvisa(sim.socketResource(), sim.portmapperPort(), std::min(blockMiB, pyBlockMiB) << 20, rounds);
    }
    return 0;
}
