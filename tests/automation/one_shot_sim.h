// The simulated instruments the console, raw reading and status tests talk
// to, one set per test program: a signal generator with a message log to
// read back what arrived and a D: drive holding files near and above the
// raw read limit, and an analyzer for its service queries.
#pragma once

#include "instrument_io/vif.h"
#include "test_support.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <random>
#include <string>
#include <vector>

namespace oneshot {

// Random bytes: binary answers hold every byte value, LF and NUL included.
inline std::string randomBytes(size_t n, unsigned seed) {
    std::mt19937 gen(seed);
    std::string s(n, '\0');
    for (char& c : s) c = char(gen() & 0xFF);
    return s;
}

struct Sim {
    static Sim& get() {
        static Sim env;
        return env;
    }
    qvtest::TempDir root;
    qvtest::SimProcess sim;
    std::string error;
    std::string near, above;  // the contents of D:\near.bin, D:\above.bin

    std::string resource() const { return sim.socketResource(0); }
    std::string analyzer() const { return sim.socketResource(1); }
    std::string logPath() const { return root.file("messages.log"); }

    // The messages that arrived since the last call.
    std::vector<std::string> newMessages() {
        std::vector<std::string> all = qvtest::readLines(logPath());
        std::vector<std::string> fresh(all.begin() + long(std::min(seen_, all.size())), all.end());
        seen_ = all.size();
        return fresh;
    }

    // Sends setup commands on a session of its own (faults, queued errors),
    // then forgets their messages.
    void prepare(const std::string& commands) {
        qv::io::VIF v;
        ASSERT_TRUE(v.OpenDevice(resource(), false, false, 1000, true));
        v.WriteString(commands, 0);
        std::string answer;
        v.ReadString("*OPC?", answer, 100, false);
        newMessages();
    }

private:
    size_t seen_ = 0;
    Sim() {
        const std::string d = root.file("D");
        ::mkdir(d.c_str(), 0755);
        near = randomBytes(999000, 1);
        above = randomBytes(1000000, 2);
        qvtest::writeFile(d + "/near.bin", near);
        qvtest::writeFile(d + "/above.bin", above);
        sim.start({"--profile", "GLY", "--socket-port", "0", "--root", root.path(), "--log", logPath(), "--profile",
                   "TKD", "--socket-port", "0", "--no-files"},
                  &error);
    }
};

// Starts every test with no faults, an empty error queue and a fresh log.
class SimTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(Sim::get().sim.running()) << Sim::get().error;
        Sim::get().prepare("SYST:SIM:FAULT:CLEAR;*CLS");
    }
    Sim& sim() { return Sim::get(); }
};

// A resource where nothing listens.
inline const char* kNobody = "TCPIP::127.0.0.1::1::SOCKET";

}  // namespace oneshot
