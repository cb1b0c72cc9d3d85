// Shared by the test programs: a simulated instrument in a child process,
// temporary folders, and the process's open descriptor count.
#pragma once

#include <sys/types.h>

#include <cstdlib>

#include <map>
#include <string>
#include <vector>

namespace qvtest {

// Path of a program built beside the tests (quilvane-sim, quilvane-cli).
std::string binPath(const std::string& program);

// A fresh folder under the system temp folder, removed with its contents
// when the object goes.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    const std::string& path() const { return path_; }
    std::string file(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

// quilvane-sim run as a child process. start() adds --port-file,
// --exit-with-parent and a lifetime cap, and waits until the ports are known.
class SimProcess {
public:
    SimProcess() = default;
    ~SimProcess();
    SimProcess(const SimProcess&) = delete;
    SimProcess& operator=(const SimProcess&) = delete;

    bool start(const std::vector<std::string>& args, std::string* error = nullptr);
    void stop();
    bool running() const { return pid_ > 0; }
    pid_t pid() const { return pid_; }

    // Ports from the port file, in the order the instruments were given.
    int socketPort(size_t instrument = 0) const;
    int vxi11Port(size_t instrument = 0) const;
    int portmapperPort() const;
    std::string ptyPath(size_t instrument = 0) const;
    // Resource strings for the first instrument.
    std::string socketResource(size_t instrument = 0) const;
    std::string vxi11Resource(size_t instrument = 0) const;

private:
    pid_t pid_ = -1;
    TempDir dir_;
    std::multimap<std::string, std::string> ports_;
    std::vector<std::string> values(const std::string& key) const;
};

// Count of open descriptors of this process.
int openDescriptorCount();

// Reads a whole file; empty when it cannot be read.
std::string readFile(const std::string& path);
// The lines of a file, without their line ends.
std::vector<std::string> readLines(const std::string& path);

// Runs a shell command; its output (stderr too) and its exit code (-1 when it
// did not exit normally).
struct CommandResult {
    std::string output;
    int exitCode = -1;
};
CommandResult runCommand(const std::string& command);
bool writeFile(const std::string& path, const std::string& data);
bool fileExists(const std::string& path);

// The small lab network of scripts/private-net, which runs the test
// programs of the LAN folders: this computer on 10.77.1.1/16, four addresses
// for simulated instruments, all inside a network namespace of their own.
inline constexpr char kNetHost[] = "10.77.1.1";
inline constexpr char kNetBroadcast[] = "10.77.255.255";
inline constexpr const char* kNetInstruments[] = {"10.77.0.2", "10.77.0.3", "10.77.0.4", "10.77.0.5"};
// True inside that namespace.
bool inPrivateNet();
// The simulator's arguments for the two VXI-11 instruments most LAN tests
// meet: a TKD on kNetInstruments[0], a KDC on kNetInstruments[1] (its
// messages logged to logSecond when given), their port mapper on port 111.
std::vector<std::string> labInstrumentArgs(const std::string& logSecond = "");
}  // namespace qvtest

// Skips a test outside the private network (no root, no namespaces); in CI
// that is a failure, as the machine there has both.
#define QV_REQUIRE_PRIVATE_NET()                                                          \
    do {                                                                                  \
        if (!qvtest::inPrivateNet()) {                                                    \
            if (const char* ci = std::getenv("CI"); ci && std::string(ci) == "true")      \
                FAIL() << "needs the private network of scripts/private-net (root)";      \
            GTEST_SKIP() << "needs the private network of scripts/private-net (root)";    \
        }                                                                                 \
    } while (0)

namespace qvtest {

}  // namespace qvtest
