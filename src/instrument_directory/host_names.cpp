#include "instrument_directory/host_names.h"

#include "app/host.h"
#include "app/text.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <chrono>
#include <condition_variable>
#include <cstring>
#include <memory>
#include <mutex>
#include <thread>

namespace qv::dir {

namespace {

// Runs work on a detached helper thread and waits at most timeoutMs. The
// system resolver cannot be interrupted, so a slow name server leaves the
// thread to finish on its own while the caller goes on with a failure.
template <class Result, class Work>
bool runBounded(Work work, int timeoutMs, Result& out) {
    struct State {
        std::mutex m;
        std::condition_variable cv;
        bool done = false;
        bool ok = false;
        Result value{};
    };
    auto state = std::make_shared<State>();
    try {
        std::thread([state, work] {
            Result r{};
            bool ok = work(r);
            std::lock_guard<std::mutex> lk(state->m);
            state->ok = ok;
            state->value = std::move(r);
            state->done = true;
            state->cv.notify_all();
        }).detach();
    } catch (...) {
        return false;
    }
    std::unique_lock<std::mutex> lk(state->m);
    if (!state->cv.wait_for(lk, std::chrono::milliseconds(timeoutMs), [&] { return state->done; })) return false;
    if (!state->ok) return false;
    out = state->value;
    return true;
}

class SystemResolver : public Resolver {
public:
    bool nameToAddress(const std::string& name, std::string& dotted) override {
        if (name.empty() || name.size() > 253 || name.find('\0') != std::string::npos) return false;
        // Numeric text needs no name server and no thread.
        in_addr a{};
        if (inet_pton(AF_INET, name.c_str(), &a) == 1) {
            char buf[INET_ADDRSTRLEN] = {};
            if (!inet_ntop(AF_INET, &a, buf, sizeof buf)) return false;
            dotted = buf;
            return true;
        }
        return runBounded<std::string>(
            [name](std::string& out) {
                addrinfo hints{};
                hints.ai_family = AF_INET;
                hints.ai_socktype = SOCK_STREAM;
                addrinfo* res = nullptr;
                if (getaddrinfo(name.c_str(), "111", &hints, &res) != 0 || !res) return false;
                bool ok = false;
                if (res->ai_family == AF_INET && res->ai_addrlen >= sizeof(sockaddr_in)) {
                    sockaddr_in sin{};
                    std::memcpy(&sin, res->ai_addr, sizeof sin);
                    char buf[INET_ADDRSTRLEN] = {};
                    ok = inet_ntop(AF_INET, &sin.sin_addr, buf, sizeof buf) != nullptr;
                    if (ok) out = buf;
                }
                freeaddrinfo(res);
                return ok;
            },
            kResolveTimeoutMs, dotted);
    }

    bool addressToName(const std::string& dotted, uint16_t port, bool nameRequired, std::string& name) override {
        sockaddr_in sin{};
        sin.sin_family = AF_INET;
        sin.sin_port = htons(port);
        if (inet_pton(AF_INET, dotted.c_str(), &sin.sin_addr) != 1) return false;
        return runBounded<std::string>(
            [sin, nameRequired](std::string& out) {
                char host[NI_MAXHOST] = {};
                if (getnameinfo(reinterpret_cast<const sockaddr*>(&sin), sizeof sin, host, sizeof host, nullptr, 0,
                                nameRequired ? NI_NAMEREQD : 0) != 0)
                    return false;
                host[sizeof host - 1] = '\0';
                out = host;
                return true;
            },
            kResolveTimeoutMs, name);
    }
};

Resolver* g_resolver = nullptr;

}  // namespace

Resolver& systemResolver() {
    static SystemResolver r;
    return r;
}

Resolver& resolver() { return g_resolver ? *g_resolver : systemResolver(); }

void setResolver(Resolver* r) { g_resolver = r; }

bool CheckIP(const std::string& text) {
    std::vector<std::string> parts;
    size_t start = 0;
    for (;;) {
        size_t d = text.find('.', start);
        parts.push_back(text.substr(start, d == std::string::npos ? d : d - start));
        if (d == std::string::npos) break;
        start = d + 1;
    }
    if (parts.size() < 4) return false;
    for (const std::string& p : parts) {
        // A byte conversion: optional blanks, digits only, 0-255.
        std::string t = app::TrimBlanks(p);
        if (t.empty() || t.size() > 3) return false;
        int v = 0;
        for (char c : t) {
            if (c < '0' || c > '9') return false;
            v = v * 10 + (c - '0');
        }
        if (v > 255) return false;
    }
    return true;
}

std::string ClsIPResolve::GetHostnameByAddr(const std::string& address, int16_t port) const {
    std::string name;
    if (!resolver().addressToName(address, uint16_t(port), true, name)) return "NULL";
    name = app::TrimLineEnds(name);
    return name.empty() ? "NULL" : name;
}

std::string ClsIPResolve::GetIPFromHost(const std::string& hostName) const {
    std::string dotted;
    if (!resolver().nameToAddress(hostName, dotted)) {
        app::host().message("", "GetAddrInfo", app::Icon::Critical);
        return "";
    }
    return dotted;
}

std::string ClsIPResolve::NameToAddress(const std::string& hostName) const {
    std::string dotted;
    return resolver().nameToAddress(hostName, dotted) ? dotted : std::string();
}

std::string ClsResolve::GetIPFromHostName(const std::string& hostName) const {
    std::string dotted;
    return resolver().nameToAddress(hostName, dotted) ? dotted : std::string();
}

std::string ClsResolve::GetHostNameFromIP(const std::string& address) const {
    // The classic address parser: it takes short forms ("10.1") and has no
    // value for 255.255.255.255, its failure mark.
    const in_addr_t raw = inet_addr(address.c_str());
    if (raw == INADDR_NONE) {
        app::host().message("", "Invalid IP address", app::Icon::Critical);
        return "";
    }
    in_addr a{};
    a.s_addr = raw;
    char dotted[INET_ADDRSTRLEN] = {};
    inet_ntop(AF_INET, &a, dotted, sizeof dotted);
    std::string name;
    if (!resolver().addressToName(dotted, 0, true, name)) {
        app::host().message("", "Call to gethostbyaddr failed.", app::Icon::Critical);
        return "";
    }
    return name;
}

}  // namespace qv::dir
