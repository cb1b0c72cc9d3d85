// Listings through the real VISA layer against the simulated instrument, on
// both of its transports: what arrives, what a silent instrument does, and
// that a catalogue cut at the buffer's end does not spoil the next answer.
#include "file_browser/listing.h"
#include "instrument_io/vif.h"
#include "scripted_host.h"
#include "test_support.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <chrono>
#include <cstdlib>

namespace {

using namespace qv::file_browser;
using Clock = std::chrono::steady_clock;

// One simulated signal generator for the whole program; its D: drive holds
// a folder, a file of five bytes, and a folder whose catalogue is longer
// than one answer may be.
struct Env {
    static Env& get() {
        static Env env;
        return env;
    }
    qvtest::TempDir root;
    qvtest::SimProcess sim;
    std::string error;

private:
    Env() {
        const std::string d = root.file("D");
        ::mkdir(d.c_str(), 0755);
        ::mkdir((d + "/SUB").c_str(), 0755);
        ::mkdir((d + "/MANY").c_str(), 0755);
        qvtest::writeFile(d + "/a.txt", "hello");
        // Each row is 70 characters: ,"<64 characters>,,0"
        for (size_t n = 0; n * 70 < kMaxAnswer + 5000; ++n)
            qvtest::writeFile(d + "/MANY/" + std::to_string(10000 + n) + std::string(59, 'x'), "");
        sim.start({"--profile", "GLY", "--socket-port", "0", "--vxi11", "--portmapper-port", "0", "--root",
                   root.path()},
                  &error);
        if (sim.running()) setenv("QUILVANE_PORTMAPPER_PORT", std::to_string(sim.portmapperPort()).c_str(), 1);
    }
};

std::string rows(const std::vector<InstFileEntry>& entries) {
    std::string out;
    for (const InstFileEntry& e : entries)
        out += (out.empty() ? "" : " ") + e.Name + (e.IsDir ? ":D:" : ":F:") + std::to_string(e.Size);
    return out;
}

long msSince(Clock::time_point t0) {
    return long(std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - t0).count());
}

class ListingSession : public ::testing::TestWithParam<bool> {
protected:
    void SetUp() override {
        ASSERT_TRUE(Env::get().sim.running()) << Env::get().error;
        const std::string resource = GetParam() ? Env::get().sim.vxi11Resource() : Env::get().sim.socketResource();
        ASSERT_TRUE(device.OpenDevice(resource, true, false, 1000, true));
        device.WriteString("SYST:SIM:FAULT:CLEAR;*CLS", 0);
        device.TimeOut(400);
    }
    qv::io::VIF device;
    std::vector<InstFileEntry> entries;
    bool empty = false;
    std::string unanswered = "stale";
};

TEST_P(ListingSession, ListsFoldersAndKeepsCatalogueErrorsQuiet) {
    ASSERT_TRUE(ListDirectory(device, "GLY", "D:\\", entries, empty, &unanswered));
    EXPECT_EQ(rows(entries), "MANY:D:0 SUB:D:0 a.txt:F:5");
    EXPECT_EQ(unanswered, "");
    ASSERT_TRUE(ListDirectory(device, "GLY", "D:\\SUB\\", entries, empty, &unanswered));
    EXPECT_EQ(rows(entries), "..:D:0");

    // A folder that is not there: the instrument queues an error and gives
    // no answer. The catalogue query's error raises no event.
    std::vector<std::string> events;
    device.ConfigErrorProcessor(true, false);
    device.VIFSCPIError = [&](const std::string& command, const std::string&) { events.push_back(command); };
    ASSERT_TRUE(ListDirectory(device, "GLY", "D:\\NOPE\\", entries, empty, &unanswered));
    EXPECT_EQ(rows(entries), "..:D:0");
    EXPECT_EQ(unanswered, "MMEM:CAT? 'D:\\NOPE\\'");
    EXPECT_EQ(device.LastErrorCommand(), "MMEM:CAT? 'D:\\NOPE\\'");
    EXPECT_NE(device.LastError().find("-256"), std::string::npos) << device.LastError();
    EXPECT_TRUE(events.empty());
}

TEST_P(ListingSession, SilentInstrumentIsToldApartFromAnEmptyFolder) {
    device.WriteString("SYST:SIM:FAULT \"silent@MMEM:CAT?\"", 0);
    Clock::time_point t0 = Clock::now();
    ASSERT_TRUE(ListDirectory(device, "GLY", "D:\\", entries, empty, &unanswered));
    EXPECT_LT(msSince(t0), 3000);
    EXPECT_TRUE(empty);
    EXPECT_EQ(unanswered, "MMEM:CAT? 'D:\\'");

    // The long catalogue is unknown to this instrument: no answer, and the
    // user hears about it.
    qvtest::ScriptedHost host;
    t0 = Clock::now();
    EXPECT_FALSE(ListDirectory(device, "TKD", "D:\\", entries, empty, &unanswered));
    EXPECT_LT(msSince(t0), 3000);
    EXPECT_EQ(unanswered, "MMEM:CAT:LONG? 'D:\\'");
    EXPECT_EQ(host.messages().size(), 1u);
}

TEST_P(ListingSession, CutCatalogueDoesNotSpoilTheNextAnswer) {
    const Clock::time_point t0 = Clock::now();
    ListDirectory(device, "GLY", "D:\\MANY\\", entries, empty, &unanswered);
    EXPECT_LT(msSince(t0), 3000);
    EXPECT_EQ(unanswered, "");
    std::string idn;
    ASSERT_TRUE(device.ReadString("*IDN?", idn));
    EXPECT_EQ(idn.rfind("Tesselhorn,GLY", 0), 0u) << idn.substr(0, 80);
}

INSTANTIATE_TEST_SUITE_P(Transports, ListingSession, ::testing::Values(false, true),
                         [](const auto& info) { return info.param ? "Vxi11" : "Socket"; });

}  // namespace
