#include "visa_log.h"

#include <cstdio>
#include <cstdlib>
#include <mutex>

namespace qv::visa {

namespace {
std::mutex g_mutex;
std::function<void(const std::string&)> g_handler;
thread_local std::string t_last;
}  // namespace

void setLogHandler(std::function<void(const std::string&)> handler) {
    std::lock_guard<std::mutex> lk(g_mutex);
    g_handler = std::move(handler);
}

void logMessage(const std::string& line) {
    t_last = line;
    std::lock_guard<std::mutex> lk(g_mutex);
    if (g_handler) {
        g_handler(line);
        return;
    }
    static const bool toStderr = [] {
        const char* v = std::getenv("QUILVANE_VISA_DEBUG");
        return v && *v && *v != '0';
    }();
    if (toStderr) std::fprintf(stderr, "visa: %s\n", line.c_str());
}

std::string lastMessage() { return t_last; }
void clearLastMessage() { t_last.clear(); }

}  // namespace qv::visa
