#include "mdns_announce.h"

#include <avahi-client/client.h>
#include <avahi-client/publish.h>
#include <avahi-common/address.h>
#include <avahi-common/alternative.h>
#include <avahi-common/error.h>
#include <avahi-common/malloc.h>
#include <avahi-common/simple-watch.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "net_io.h"

namespace qv::sim {

namespace {
// Another publisher holding our names makes us pick new ones; a few tries,
// not an endless dance with a publisher that takes every name we pick.
constexpr int kMaxRenames = 10;
// The longest a poll slice sleeps; stop() wakes it at once anyway.
constexpr int kSliceMs = 500;

std::string hostLabel(const std::string& address) {
    std::string label = "qvsim-" + address;
    for (char& ch : label)
        if (ch == '.') ch = '-';
    return label;
}
}  // namespace

std::string mdnsHostName(const std::string& address) { return hostLabel(address) + ".local"; }

struct MdnsAnnouncer::Impl {
    enum class State { Starting, Established, Failed };

    std::mutex m;
    std::condition_variable changed;
    State state = State::Starting;
    std::string why;
    bool stopRequested = false;
    AvahiSimplePoll* poll = nullptr;  // set and cleared under m, so stop() may wake it
    std::thread thread;

    // Owned by the thread from here on.
    std::vector<MdnsServiceRecord> services;
    std::vector<std::pair<std::string, std::string>> hosts;  // address, host label
    AvahiClient* client = nullptr;
    AvahiEntryGroup* group = nullptr;
    int renames = 0;

    void run();
    void settle(State s, const std::string& text = {}) {
        std::lock_guard<std::mutex> lock(m);
        if (state == State::Starting || s == State::Failed) {
            state = s;
            if (s == State::Failed) why = text;
        }
        changed.notify_all();
    }
    void fail(const std::string& text) {
        settle(State::Failed, text);
        if (poll) avahi_simple_poll_quit(poll);
    }
    void publish(AvahiClient* c);
    bool addAll(AvahiEntryGroup* g, int& avahiError);
    bool rename();

    static void onClient(AvahiClient* c, AvahiClientState s, void* self);
    static void onGroup(AvahiEntryGroup* g, AvahiEntryGroupState s, void* self);
};

bool MdnsAnnouncer::Impl::addAll(AvahiEntryGroup* g, int& avahiError) {
    for (const auto& [address, label] : hosts) {
        AvahiAddress a{};
        if (!avahi_address_parse(address.c_str(), AVAHI_PROTO_INET, &a)) {
            avahiError = AVAHI_ERR_INVALID_ADDRESS;
            return false;
        }
        // No reverse record: the computer's own daemon may hold the reverse
        // name of that address already.
        std::string name = label + ".local";
        avahiError = avahi_entry_group_add_address(g, AVAHI_IF_UNSPEC, AVAHI_PROTO_INET, AVAHI_PUBLISH_NO_REVERSE,
                                                   name.c_str(), &a);
        if (avahiError < 0) return false;
    }
    for (const auto& s : services) {
        std::string host;
        for (const auto& [address, label] : hosts)
            if (address == s.address) host = label + ".local";
        avahiError = avahi_entry_group_add_service(g, AVAHI_IF_UNSPEC, AVAHI_PROTO_INET, AvahiPublishFlags(0),
                                                   s.instance.c_str(), s.type.c_str(), nullptr, host.c_str(), s.port,
                                                   static_cast<const char*>(nullptr));
        if (avahiError < 0) return false;
    }
    avahiError = avahi_entry_group_commit(g);
    return avahiError >= 0;
}

bool MdnsAnnouncer::Impl::rename() {
    if (++renames > kMaxRenames) return false;
    for (auto& s : services) {
        char* n = avahi_alternative_service_name(s.instance.c_str());
        if (!n) return false;
        s.instance = n;
        avahi_free(n);
    }
    for (auto& h : hosts) {
        char* n = avahi_alternative_host_name(h.second.c_str());
        if (!n) return false;
        h.second = n;
        avahi_free(n);
    }
    return true;
}

void MdnsAnnouncer::Impl::publish(AvahiClient* c) {
    if (!group) {
        group = avahi_entry_group_new(c, onGroup, this);
        if (!group) {
            fail(std::string("mDNS: the Avahi daemon refused an entry group (") + avahi_strerror(avahi_client_errno(c)) +
                 ")");
            return;
        }
    }
    if (!avahi_entry_group_is_empty(group)) return;
    for (;;) {
        int err = 0;
        if (addAll(group, err)) return;
        avahi_entry_group_reset(group);
        // A name another program of this computer publishes already.
        if (err == AVAHI_ERR_COLLISION && rename()) continue;
        fail(std::string("mDNS: the Avahi daemon refused the services (") + avahi_strerror(err) + ")");
        return;
    }
}

void MdnsAnnouncer::Impl::onClient(AvahiClient* c, AvahiClientState s, void* self) {
    auto* impl = static_cast<Impl*>(self);
    switch (s) {
    case AVAHI_CLIENT_S_RUNNING:
        impl->publish(c);
        break;
    case AVAHI_CLIENT_S_COLLISION:
    case AVAHI_CLIENT_S_REGISTERING:
        // The daemon is renaming its own host: our records go and come
        // back once it runs again.
        if (impl->group) avahi_entry_group_reset(impl->group);
        break;
    case AVAHI_CLIENT_FAILURE:
        impl->fail(std::string("mDNS: lost the Avahi daemon (") + avahi_strerror(avahi_client_errno(c)) + ")");
        break;
    case AVAHI_CLIENT_CONNECTING:
        break;
    }
}

void MdnsAnnouncer::Impl::onGroup(AvahiEntryGroup* g, AvahiEntryGroupState s, void* self) {
    auto* impl = static_cast<Impl*>(self);
    switch (s) {
    case AVAHI_ENTRY_GROUP_ESTABLISHED:
        impl->settle(State::Established);
        break;
    case AVAHI_ENTRY_GROUP_COLLISION:
        // Someone on the network holds one of our names: new names, again.
        avahi_entry_group_reset(g);
        if (!impl->rename()) {
            impl->fail("mDNS: every name tried is taken on the network");
            break;
        }
        impl->publish(avahi_entry_group_get_client(g));
        break;
    case AVAHI_ENTRY_GROUP_FAILURE:
        impl->fail(std::string("mDNS: the Avahi daemon dropped the services (") +
                   avahi_strerror(avahi_client_errno(avahi_entry_group_get_client(g))) + ")");
        break;
    case AVAHI_ENTRY_GROUP_UNCOMMITED:
    case AVAHI_ENTRY_GROUP_REGISTERING:
        break;
    }
}

void MdnsAnnouncer::Impl::run() {
    blockSigpipe();
    AvahiSimplePoll* p = avahi_simple_poll_new();
    if (!p) {
        settle(State::Failed, "mDNS: out of memory");
        return;
    }
    {
        std::lock_guard<std::mutex> lock(m);
        poll = p;
    }
    int err = 0;
    // Without AVAHI_CLIENT_NO_FAIL a missing daemon fails here at once.
    client = avahi_client_new(avahi_simple_poll_get(p), AvahiClientFlags(0), onClient, this, &err);
    if (!client)
        settle(State::Failed, std::string("mDNS: no Avahi daemon to announce through (") + avahi_strerror(err) + ")");
    for (;;) {
        {
            std::lock_guard<std::mutex> lock(m);
            if (stopRequested || state == State::Failed) break;
        }
        if (avahi_simple_poll_iterate(p, kSliceMs) != 0) break;
    }
    // Freeing the client frees the group, which withdraws the services.
    if (client) avahi_client_free(client);
    client = nullptr;
    group = nullptr;
    {
        std::lock_guard<std::mutex> lock(m);
        poll = nullptr;
    }
    avahi_simple_poll_free(p);
}

MdnsAnnouncer::MdnsAnnouncer() : impl_(std::make_unique<Impl>()) {}

MdnsAnnouncer::~MdnsAnnouncer() { stop(); }

bool MdnsAnnouncer::start(const std::vector<MdnsServiceRecord>& services, int waitMs, std::string& why) {
    Impl& s = *impl_;
    if (s.thread.joinable()) {
        why = "mDNS: already announcing";
        return false;
    }
    if (services.empty()) {
        why = "mDNS: nothing to announce";
        return false;
    }
    s.state = Impl::State::Starting;
    s.why.clear();
    s.stopRequested = false;
    s.renames = 0;
    s.services = services;
    s.hosts.clear();
    for (const auto& r : services) {
        bool seen = false;
        for (const auto& h : s.hosts) seen = seen || h.first == r.address;
        if (!seen) s.hosts.emplace_back(r.address, hostLabel(r.address));
    }
    if (!startThread(s.thread, [&s] { s.run(); })) {
        why = "mDNS: cannot start the announcing thread";
        return false;
    }
    std::unique_lock<std::mutex> lock(s.m);
    s.changed.wait_for(lock, std::chrono::milliseconds(std::max(waitMs, 0)),
                       [&s] { return s.state != Impl::State::Starting; });
    if (s.state != Impl::State::Failed) return true;
    why = s.why;
    lock.unlock();
    s.thread.join();
    return false;
}

void MdnsAnnouncer::stop() {
    Impl& s = *impl_;
    {
        std::lock_guard<std::mutex> lock(s.m);
        s.stopRequested = true;
        if (s.poll) avahi_simple_poll_wakeup(s.poll);
    }
    if (s.thread.joinable()) s.thread.join();
}

}  // namespace qv::sim
