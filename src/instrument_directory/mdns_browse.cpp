#include "instrument_directory/mdns_browse.h"

#include <arpa/inet.h>
#include <avahi-client/client.h>
#include <avahi-client/lookup.h>
#include <avahi-common/address.h>
#include <avahi-common/error.h>
#include <avahi-common/simple-watch.h>

#include <algorithm>
#include <chrono>

namespace qv::dir {

namespace {

// A flood of announcements must not grow without end: far more services
// than any lab network holds.
constexpr size_t kMaxResolvers = 1024;
// The slice of one wait: short enough for the window to stay responsive
// and a cancel to be seen at once.
constexpr int kSliceMs = 20;

int typeRank(const std::string& type) {
    const auto& types = MdnsServiceTypes();
    auto it = std::find(types.begin(), types.end(), type);
    return it == types.end() ? -1 : int(it - types.begin());
}

bool validIPv4(const std::string& address) {
    in_addr a{};
    return inet_pton(AF_INET, address.c_str(), &a) == 1;
}

struct Browse {
    std::vector<MdnsService>& found;
    AvahiClient* client = nullptr;
    size_t browsersOpen = 0;  // browsers that have not said ALL_FOR_NOW (or failed)
    size_t resolversPending = 0;
    size_t resolversStarted = 0;
    bool clientFailed = false;
    std::string clientError;

    explicit Browse(std::vector<MdnsService>& f) : found(f) {}
    bool done() const { return clientFailed || (browsersOpen == 0 && resolversPending == 0); }
};

std::string needsDaemon(int avahiError) {
    return std::string(kMdnsNeedsDaemon) + " (" + avahi_strerror(avahiError) + ")";
}

void onClient(AvahiClient* c, AvahiClientState state, void* userdata) {
    auto* b = static_cast<Browse*>(userdata);
    if (state == AVAHI_CLIENT_FAILURE) {
        b->clientFailed = true;
        b->clientError = needsDaemon(avahi_client_errno(c));
    }
}

void onResolved(AvahiServiceResolver* r, AvahiIfIndex, AvahiProtocol, AvahiResolverEvent event, const char* name,
                const char* type, const char*, const char* hostName, const AvahiAddress* address, uint16_t port,
                AvahiStringList*, AvahiLookupResultFlags, void* userdata) {
    auto* b = static_cast<Browse*>(userdata);
    if (event == AVAHI_RESOLVER_FOUND && address && address->proto == AVAHI_PROTO_INET && name && type) {
        char text[AVAHI_ADDRESS_STR_MAX] = {};
        avahi_address_snprint(text, sizeof text, address);
        MdnsService s{type, name, hostName ? hostName : "", text, port};
        // One service seen on several interfaces is one service.
        bool seen = std::any_of(b->found.begin(), b->found.end(), [&](const MdnsService& f) {
            return f.type == s.type && f.name == s.name && f.address == s.address;
        });
        if (!seen) b->found.push_back(std::move(s));
    }
    if (b->resolversPending > 0) --b->resolversPending;
    avahi_service_resolver_free(r);
}

void onBrowse(AvahiServiceBrowser*, AvahiIfIndex interface, AvahiProtocol protocol, AvahiBrowserEvent event,
              const char* name, const char* type, const char* domain, AvahiLookupResultFlags, void* userdata) {
    auto* b = static_cast<Browse*>(userdata);
    switch (event) {
    case AVAHI_BROWSER_NEW:
        if (b->resolversStarted >= kMaxResolvers || !b->client) break;
        if (avahi_service_resolver_new(b->client, interface, protocol, name, type, domain, AVAHI_PROTO_INET,
                                       AvahiLookupFlags(0), onResolved, b)) {
            ++b->resolversStarted;
            ++b->resolversPending;
        }
        break;
    case AVAHI_BROWSER_ALL_FOR_NOW:
    case AVAHI_BROWSER_FAILURE:
        // A browser that failed has nothing more to say either; the others
        // still count.
        if (b->browsersOpen > 0) --b->browsersOpen;
        break;
    case AVAHI_BROWSER_REMOVE:
    case AVAHI_BROWSER_CACHE_EXHAUSTED:
        break;
    }
}

}  // namespace

const std::vector<std::string>& MdnsServiceTypes() {
    static const std::vector<std::string> types{"_vxi-11._tcp", "_hislip._tcp", "_scpi-raw._tcp", "_lxi._tcp"};
    return types;
}

LanCandidate CandidateFromService(const MdnsService& service) {
    LanCandidate c;
    c.address = service.address;
    c.answered = true;
    const std::string& a = service.address;
    if (service.type == "_vxi-11._tcp" || service.type == "_lxi._tcp") {
        c.scanResource = c.rowResource = "LAN::" + a + "::INSTR";
    } else if (service.type == "_hislip._tcp") {
        c.scanResource = c.rowResource = "LAN::" + a + "::hislip0::INSTR";
    } else if (service.type == "_scpi-raw._tcp" && service.port != 0) {
        c.scanResource = "TCPIP::" + a + "::" + std::to_string(service.port) + "::SOCKET";
        c.rowResource = "RAW::" + c.scanResource;
    }
    return c;
}

std::vector<LanCandidate> CandidatesFromServices(const std::vector<MdnsService>& services) {
    struct Best {
        std::string address;
        int rank;
        size_t service;
    };
    std::vector<Best> best;  // in the order the addresses were first seen
    for (size_t i = 0; i < services.size(); ++i) {
        const MdnsService& s = services[i];
        int rank = typeRank(s.type);
        // The announcements come from the network: an address that does
        // not parse or a service that implies no resource is left out.
        if (rank < 0 || !validIPv4(s.address) || CandidateFromService(s).scanResource.empty()) continue;
        auto it = std::find_if(best.begin(), best.end(), [&](const Best& b) { return b.address == s.address; });
        if (it == best.end())
            best.push_back({s.address, rank, i});
        else if (rank < it->rank)
            *it = {s.address, rank, i};
    }
    std::vector<LanCandidate> out;
    out.reserve(best.size());
    for (const Best& b : best) out.push_back(CandidateFromService(services[b.service]));
    return out;
}

bool BrowseMdns(int timeoutMs, std::vector<MdnsService>& found, std::string& error,
                const std::function<void()>& processEvents, const std::function<bool()>& cancelled) {
    found.clear();
    error.clear();
    AvahiSimplePoll* poll = avahi_simple_poll_new();
    if (!poll) {
        error = needsDaemon(AVAHI_ERR_NO_MEMORY);
        return false;
    }
    Browse b(found);
    int avahiError = 0;
    // Without AVAHI_CLIENT_NO_FAIL a missing daemon fails here, at once,
    // instead of the client waiting for one to appear.
    b.client = avahi_client_new(avahi_simple_poll_get(poll), AvahiClientFlags(0), onClient, &b, &avahiError);
    if (!b.client) {
        error = needsDaemon(avahiError);
        avahi_simple_poll_free(poll);
        return false;
    }
    bool ok = true;
    for (const std::string& type : MdnsServiceTypes()) {
        if (!avahi_service_browser_new(b.client, AVAHI_IF_UNSPEC, AVAHI_PROTO_INET, type.c_str(), nullptr,
                                       AvahiLookupFlags(0), onBrowse, &b)) {
            error = "LAN (mDNS): the Avahi daemon refused to browse " + type + " (" +
                    avahi_strerror(avahi_client_errno(b.client)) + ")";
            ok = false;
            break;
        }
        ++b.browsersOpen;
    }
    using Clock = std::chrono::steady_clock;
    const auto deadline = Clock::now() + std::chrono::milliseconds(std::max(timeoutMs, 0));
    while (ok && !b.done()) {
        if (cancelled && cancelled()) break;
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        if (left <= 0) break;
        // 0 when events ran or the slice passed; anything else is the
        // poll's own failure, after which no event can come.
        if (avahi_simple_poll_iterate(poll, int(std::min<long long>(left, kSliceMs))) != 0) break;
        if (processEvents) processEvents();
    }
    if (ok && b.clientFailed) {
        error = b.clientError;
        ok = false;
    }
    // Freeing the client frees its browsers and the resolvers still pending.
    avahi_client_free(b.client);
    avahi_simple_poll_free(poll);
    return ok;
}

}  // namespace qv::dir
