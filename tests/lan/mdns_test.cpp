// The mDNS browse against simulated instruments that announce themselves,
// through a D-Bus system bus and an Avahi daemon of the test's own, inside
// the private lab network (its /run is private, so the daemons' sockets and
// pid files are the test's alone, and nothing leaves the namespace).
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <thread>

#include "../instrument_directory/dir_fixture.h"
#include "app/context.h"
#include "instrument_directory/lan_scan.h"
#include "instrument_directory/mdns_browse.h"

namespace {

using namespace qv::dir;
using Clock = std::chrono::steady_clock;

const std::string kA = qvtest::kNetInstruments[0];  // 10.77.0.2
const std::string kB = qvtest::kNetInstruments[1];  // 10.77.0.3

long long msSince(Clock::time_point t0) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - t0).count();
}

// A daemon run in the foreground as our child; it dies with the test
// program and is stopped (and reaped) when the object goes.
class Daemon {
public:
    ~Daemon() { stop(); }
    // stdoutPipe: the child's standard output comes back through it
    // (readLine), else it goes to the log file with standard error.
    bool start(const std::vector<std::string>& argv, const std::string& log, bool stdoutPipe = false) {
        int fds[2] = {-1, -1};
        if (stdoutPipe && ::pipe2(fds, O_CLOEXEC) != 0) return false;
        pid_ = ::fork();
        if (pid_ == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            int out = ::open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
            if (out >= 0) {
                ::dup2(out, STDERR_FILENO);
                ::dup2(stdoutPipe ? fds[1] : out, STDOUT_FILENO);
            }
            std::vector<char*> args;
            for (const auto& a : argv) args.push_back(const_cast<char*>(a.c_str()));
            args.push_back(nullptr);
            ::execvp(args[0], args.data());
            ::_exit(127);
        }
        if (stdoutPipe) {
            ::close(fds[1]);
            out_ = fds[0];
        }
        return pid_ > 0;
    }
    // One line of the child's standard output, waiting at most ms.
    bool readLine(std::string& line, int ms) {
        line.clear();
        const auto until = Clock::now() + std::chrono::milliseconds(ms);
        while (Clock::now() < until) {
            pollfd p{out_, POLLIN, 0};
            if (::poll(&p, 1, 50) <= 0) continue;
            char ch = 0;
            if (::read(out_, &ch, 1) != 1) return false;
            if (ch == '\n') return true;
            line += ch;
        }
        return false;
    }
    bool alive() { return pid_ > 0 && ::waitpid(pid_, nullptr, WNOHANG) == 0; }
    void stop() {
        if (out_ >= 0) ::close(out_);
        out_ = -1;
        if (pid_ <= 0) return;
        ::kill(pid_, SIGTERM);
        for (int i = 0; i < 200 && ::waitpid(pid_, nullptr, WNOHANG) == 0; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        if (::kill(pid_, SIGKILL) == 0) ::waitpid(pid_, nullptr, 0);
        pid_ = -1;
    }

private:
    pid_t pid_ = -1;
    int out_ = -1;
};

// A system bus that lets anyone own any name (the daemon's org.freedesktop.Avahi
// among them), on the standard path inside the private /run.
constexpr char kBusConfig[] = R"(<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>system</type>
  <listen>unix:path=/run/dbus/system_bus_socket</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow user="*"/>
    <allow own="*"/>
    <allow send_destination="*"/>
    <allow receive_sender="*"/>
  </policy>
</busconfig>
)";

// The lab link only, IPv4, no reflector, and nothing of this computer
// published: the only records are the ones the simulator announces.
constexpr char kAvahiConfig[] = R"([server]
use-ipv4=yes
use-ipv6=no
allow-interfaces=qv0
enable-dbus=yes
[wide-area]
enable-wide-area=no
[publish]
publish-addresses=no
publish-hinfo=no
publish-workstation=no
publish-domain=no
[reflector]
enable-reflector=no
)";

class Mdns : public testing::Test {
protected:
    void SetUp() override { QV_REQUIRE_PRIVATE_NET(); }

    // False with why; a test then fails, never passes quietly.
    bool startBus(std::string& why) {
        ::mkdir("/run/dbus", 0755);
        std::string conf = dir.file("bus.conf");
        std::string address;
        if (!qvtest::writeFile(conf, kBusConfig))
            why = "cannot write " + conf;
        else if (!bus.start({"dbus-daemon", "--nofork", "--nopidfile", "--config-file=" + conf, "--print-address"},
                            dir.file("bus.log"), true))
            why = "cannot start dbus-daemon";
        // The address is printed once the bus listens.
        else if (!bus.readLine(address, 10000) || address.empty())
            why = "dbus-daemon did not start: " + qvtest::readFile(dir.file("bus.log"));
        else
            return true;
        return false;
    }

    bool startAvahi(std::string& why) {
        ::mkdir("/run/avahi-daemon", 0755);
        std::string conf = dir.file("avahi.conf");
        if (!qvtest::writeFile(conf, kAvahiConfig)) {
            why = "cannot write " + conf;
            return false;
        }
        if (!avahi.start({"avahi-daemon", "--no-drop-root", "--no-chroot", "--no-rlimits", "--no-proc-title", "-f", conf},
                         dir.file("avahi.log"))) {
            why = "cannot start avahi-daemon";
            return false;
        }
        // Ready once a client gets through to it.
        const auto t0 = Clock::now();
        std::vector<MdnsService> found;
        while (msSince(t0) < 10000) {
            if (!avahi.alive()) break;
            if (BrowseMdns(0, found, why)) return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        why = "avahi-daemon did not come up (" + why + "): " + qvtest::readFile(dir.file("avahi.log"));
        return false;
    }

    qvtest::TempDir dir;
    Daemon bus;
    Daemon avahi;
};

MdnsService* findService(std::vector<MdnsService>& found, const std::string& type, const std::string& address) {
    auto it = std::find_if(found.begin(), found.end(),
                           [&](const MdnsService& s) { return s.type == type && s.address == address; });
    return it == found.end() ? nullptr : &*it;
}

TEST_F(Mdns, FindsIdentifiesAndAddsTheAnnouncedInstrumentsAndForgetsThemWhenTheyGo) {
    std::string why;
    ASSERT_TRUE(startBus(why)) << why;
    ASSERT_TRUE(startAvahi(why)) << why;
    qvtest::loadShippedTables();
    qvtest::ScriptedHost host;
    qvtest::FakeResolver resolver;
    const std::string ini = dir.file("Quilvane.ini");
    qv::app::context().IniFilePath = ini;
    ASSERT_TRUE(qvtest::writeFile(ini, "[Servers]\nServerEntry1=localhost\n[ScanEntriesServers]\nValue1=1\n"));
    qvtest::SimProcess sim;
    // kA has VXI-11 and a socket (VXI-11 is the better of the two); kB a socket only.
    ASSERT_TRUE(sim.start({"--profile", "TKD", "--vxi11", "--socket-port", "0", "--address", kA, "--profile", "KDC",
                           "--socket-port", "0", "--address", kB, "--portmapper-port", "111", "--mdns"},
                          &why))
        << why;
    ResetRecords();

    std::vector<MdnsService> found;
    const auto t0 = Clock::now();
    ASSERT_TRUE(BrowseMdns(8000, found, why)) << why;
    // It ends once the daemon has told all it knows, not at the time-out.
    EXPECT_LT(msSince(t0), 7000);
    ASSERT_EQ(found.size(), 3u);
    MdnsService* vxi = findService(found, "_vxi-11._tcp", kA);
    MdnsService* rawA = findService(found, "_scpi-raw._tcp", kA);
    MdnsService* rawB = findService(found, "_scpi-raw._tcp", kB);
    ASSERT_TRUE(vxi && rawA && rawB);
    EXPECT_EQ(vxi->port, sim.vxi11Port(0));
    EXPECT_EQ(rawA->port, sim.socketPort(0));
    EXPECT_EQ(rawB->port, sim.socketPort(1));
    EXPECT_EQ(vxi->name, "TKD simulated 1");
    EXPECT_EQ(rawB->name, "KDC simulated 2");
    EXPECT_EQ(rawB->host, "qvsim-10-77-0-3.local");

    // The same path as the broadcast's hosts: identified and added.
    VISAScan scan;
    LanScanner lan(ini, scan);
    LanScanReport report;
    lan.ScanCandidates(CandidatesFromServices(found), report);
    ASSERT_EQ(report.found.size(), 2u) << report.summary();
    std::sort(report.found.begin(), report.found.end(),
              [](const LanFound& x, const LanFound& y) { return x.address < y.address; });
    EXPECT_EQ(report.found[0].rowResource, "LAN::" + kA + "::INSTR");
    EXPECT_EQ(report.found[0].identity, "TKD (TKD)");
    EXPECT_EQ(report.found[1].rowResource, "RAW::TCPIP::" + kB + "::" + std::to_string(sim.socketPort(1)) + "::SOCKET");
    EXPECT_EQ(ReadDeviceRows(ini).size(), 2u);

    // A simulator that ends withdraws its services: they go within the
    // second mDNS leaves a withdrawn record, not after their lifetime.
    sim.stop();
    const auto t1 = Clock::now();
    do {
        ASSERT_TRUE(BrowseMdns(3000, found, why)) << why;
    } while (!found.empty() && msSince(t1) < 5000);
    EXPECT_TRUE(found.empty()) << found.front().name;
}

// Without a daemon the browse says so at once, whether the system bus is
// missing altogether or only the daemon on it.
class MdnsWithoutDaemon : public Mdns, public testing::WithParamInterface<bool> {};

TEST_P(MdnsWithoutDaemon, FailsAtOnceWithTheMessage) {
    std::string why;
    if (GetParam()) {
        ASSERT_TRUE(startBus(why)) << why;
    }
    std::vector<MdnsService> found{MdnsService{"_lxi._tcp", "stale", "", "10.0.0.1", 80}};
    std::string error;
    const auto t0 = Clock::now();
    EXPECT_FALSE(BrowseMdns(5000, found, error));
    EXPECT_LT(msSince(t0), 1000);
    EXPECT_EQ(error.rfind(kMdnsNeedsDaemon, 0), 0u) << error;
    // The library's reason follows the message.
    EXPECT_GT(error.size(), std::string(kMdnsNeedsDaemon).size() + 3);
    EXPECT_TRUE(found.empty());
}

INSTANTIATE_TEST_SUITE_P(Bus, MdnsWithoutDaemon, testing::Bool(),
                         [](const testing::TestParamInfo<bool>& i) { return i.param ? "BusOnly" : "NoBus"; });

TEST_F(Mdns, SimulatorWithoutDaemonSaysSoOnceAndServesAllTheSame) {
    qvtest::CommandResult r = qvtest::runCommand(qvtest::binPath("quilvane-sim") + " --profile TKD --vxi11 --address " +
                                                 kA + " --mdns --lifetime 1");
    EXPECT_EQ(r.exitCode, 0) << r.output;
    size_t first = r.output.find("mDNS: no Avahi daemon");
    EXPECT_NE(first, std::string::npos) << r.output;
    EXPECT_EQ(r.output.find("mDNS", first + 1), std::string::npos) << r.output;
    EXPECT_NE(r.output.find("vxi11="), std::string::npos) << r.output;
}

}  // namespace
