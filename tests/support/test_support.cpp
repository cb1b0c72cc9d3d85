#include "test_support.h"

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

namespace qvtest {

std::string binPath(const std::string& program) { return std::string(QV_BIN_DIR) + "/" + program; }

TempDir::TempDir() {
    std::string tmpl = (std::filesystem::temp_directory_path() / "qvtest.XXXXXX").string();
    std::vector<char> buf(tmpl.begin(), tmpl.end());
    buf.push_back('\0');
    if (mkdtemp(buf.data())) path_ = buf.data();
}

TempDir::~TempDir() {
    if (path_.empty()) return;
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
}

SimProcess::~SimProcess() { stop(); }

bool SimProcess::start(const std::vector<std::string>& args, std::string* error) {
    std::string portFile = dir_.file("ports");
    std::vector<std::string> argv{binPath("quilvane-sim")};
    argv.insert(argv.end(), args.begin(), args.end());
    argv.insert(argv.end(), {"--port-file", portFile, "--exit-with-parent", "--lifetime", "900"});
    pid_ = fork();
    if (pid_ == 0) {
        // The ports come through the port file; the same report on the
        // inherited standard output would stray into a benchmark's figures.
        int null = open("/dev/null", O_WRONLY);
        if (null >= 0) {
            dup2(null, STDOUT_FILENO);
            close(null);
        }
        std::vector<char*> cargv;
        for (auto& a : argv) cargv.push_back(a.data());
        cargv.push_back(nullptr);
        execv(cargv[0], cargv.data());
        _exit(127);
    }
    if (pid_ < 0) {
        if (error) *error = "fork failed";
        return false;
    }
    // The simulator writes the port file (via a rename) once it listens.
    auto until = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (std::chrono::steady_clock::now() < until) {
        int status = 0;
        if (waitpid(pid_, &status, WNOHANG) == pid_) {
            pid_ = -1;
            if (error) *error = "quilvane-sim exited early with status " + std::to_string(status);
            return false;
        }
        std::ifstream in(portFile);
        if (in) {
            std::string line;
            while (std::getline(in, line)) {
                auto eq = line.find('=');
                if (eq != std::string::npos) ports_.emplace(line.substr(0, eq), line.substr(eq + 1));
            }
            if (!ports_.empty()) return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    if (error) *error = "quilvane-sim did not write its port file";
    stop();
    return false;
}

void SimProcess::stop() {
    if (pid_ <= 0) return;
    kill(pid_, SIGTERM);
    for (int i = 0; i < 200; ++i) {
        if (waitpid(pid_, nullptr, WNOHANG) == pid_) {
            pid_ = -1;
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
    pid_ = -1;
}

std::vector<std::string> SimProcess::values(const std::string& key) const {
    std::vector<std::string> out;
    auto [b, e] = ports_.equal_range(key);
    for (auto it = b; it != e; ++it) out.push_back(it->second);
    return out;
}

static int nth(const std::vector<std::string>& v, size_t i) { return i < v.size() ? std::atoi(v[i].c_str()) : -1; }

int SimProcess::socketPort(size_t i) const { return nth(values("socket"), i); }
int SimProcess::vxi11Port(size_t i) const { return nth(values("vxi11"), i); }
int SimProcess::portmapperPort() const { return nth(values("portmapper"), 0); }
std::string SimProcess::ptyPath(size_t i) const {
    auto v = values("pty");
    return i < v.size() ? v[i] : std::string();
}
std::string SimProcess::socketResource(size_t i) const {
    return "TCPIP0::127.0.0.1::" + std::to_string(socketPort(i)) + "::SOCKET";
}
std::string SimProcess::vxi11Resource(size_t i) const {
    return "TCPIP0::127.0.0.1::inst" + std::to_string(i) + "::INSTR";
}

int openDescriptorCount() {
    int n = 0;
    if (DIR* d = opendir("/proc/self/fd")) {
        while (dirent* e = readdir(d))
            if (e->d_name[0] != '.') ++n;
        closedir(d);
        --n;  // the directory stream itself
    }
    return n;
}

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

bool writeFile(const std::string& path, const std::string& data) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << data;
    return bool(out);
}

bool fileExists(const std::string& path) { return std::filesystem::exists(path); }

std::vector<std::string> readLines(const std::string& path) {
    std::vector<std::string> lines;
    std::ifstream in(path);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

CommandResult runCommand(const std::string& command) {
    CommandResult r;
    FILE* p = popen((command + " 2>&1").c_str(), "r");
    if (!p) return r;
    char buf[512];
    while (size_t n = fread(buf, 1, sizeof buf, p)) r.output.append(buf, n);
    int status = pclose(p);
    r.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return r;
}

std::vector<std::string> labInstrumentArgs(const std::string& logSecond) {
    std::vector<std::string> a{"--profile", "TKD", "--vxi11", "--address", kNetInstruments[0],
                               "--profile", "KDC", "--vxi11", "--address", kNetInstruments[1]};
    if (!logSecond.empty()) a.insert(a.end(), {"--log", logSecond});
    a.insert(a.end(), {"--portmapper-port", "111"});
    return a;
}

bool inPrivateNet() {
    const char* v = std::getenv("QV_PRIVATE_NET");
    return v && std::string(v) == "ready";
}

}  // namespace qvtest
