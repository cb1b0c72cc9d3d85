// Uploads against simulated instruments: what arrives, in which order, in
// one command whatever its length, and what the user sees when the
// instrument refuses.
#include "instrument_io/vif.h"
#include "scripted_host.h"
#include "tables/ucor.h"
#include "test_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

using namespace qv::tables;
using qv::family::UCorGroup;

// A generator (socket) and an analyzer (socket and VXI-11), each with its
// message log, for the whole program.
struct UCorSim {
    static UCorSim& get() {
        static UCorSim env;
        return env;
    }
    qvtest::TempDir dir;
    qvtest::SimProcess sim;
    std::string error;
    // The analyzer comes first: the VXI-11 device names count from the first instrument.
    std::string analyzer(bool vxi11 = false) const { return vxi11 ? sim.vxi11Resource(0) : sim.socketResource(0); }
    std::string generator() const { return sim.socketResource(1); }
    std::string log(UCorGroup g) const { return dir.file(g == UCorGroup::Generator ? "glt.log" : "tkd.log"); }

    // The correction commands that arrived since the last call.
    std::vector<std::string> newCorrections(UCorGroup g) {
        std::vector<std::string> all = qvtest::readLines(log(g));
        size_t& seen = g == UCorGroup::Generator ? seenGen_ : seenAna_;
        std::vector<std::string> out;
        for (size_t i = std::min(seen, all.size()); i < all.size(); ++i)
            if (all[i].rfind("CORR", 0) == 0) out.push_back(all[i]);
        seen = all.size();
        return out;
    }

    // A command on a session of its own (a fault for the next upload).
    void send(const std::string& resource, const std::string& command) {
        qv::io::VIF v;
        ASSERT_TRUE(v.OpenDevice(resource, false, false, 1000, true));
        v.WriteString(command, 0);
        std::string answer;
        v.ReadString("*OPC?", answer, 100, false);
    }

private:
    UCorSim() {
        sim.start({"--profile", "TKD", "--socket-port", "0", "--vxi11", "--log", log(UCorGroup::Analyzer), "--profile",
                   "GLT", "--socket-port", "0", "--log", log(UCorGroup::Generator), "--portmapper-port", "0"},
                  &error);
        if (sim.running()) setenv("QUILVANE_PORTMAPPER_PORT", std::to_string(sim.portmapperPort()).c_str(), 1);
    }
    size_t seenGen_ = 0, seenAna_ = 0;
};

class UCorUploadSim : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(UCorSim::get().sim.running()) << UCorSim::get().error;
        UCorSim::get().newCorrections(UCorGroup::Generator);
        UCorSim::get().newCorrections(UCorGroup::Analyzer);
    }
};

UCorSettings named(const char* name, int levelUnit = 0, int freqUnit = 0) {
    UCorSettings s;
    s.name = name;
    s.levelUnit = levelUnit;
    s.freqUnit = freqUnit;
    return s;
}

const UCorTable kTwo = {{"100", "1"}, {"200", "2"}};

TEST_F(UCorUploadSim, GeneratorSequence) {
    qvtest::ScriptedHost host;
    const UploadResult r = UploadUCor(UCorSim::get().generator(), UCorGroup::Generator, kTwo, named("UCOR3", 0, 2));
    EXPECT_TRUE(r.sent) << r.message;
    EXPECT_EQ(r.errors, "");
    EXPECT_TRUE(host.messages().empty());
    EXPECT_EQ(UCorSim::get().newCorrections(UCorGroup::Generator),
              (std::vector<std::string>{"CORR:STAT OFF", "CORR:CSET:SEL 'UCOR3'", "CORR:CSET:DATA:FREQ 100MHz,200MHz",
                                        "CORR:CSET:DATA:POW 1dB,2dB", "CORR:STAT ON"}));
    // Busy around the exchange, never left on.
    std::vector<std::string> busy;
    for (const auto& c : host.calls)
        if (c.kind == qvtest::ScriptedHost::Kind::Busy) busy.push_back(c.title);
    EXPECT_EQ(busy, (std::vector<std::string>{"on", "off"}));
}

TEST_F(UCorUploadSim, AnalyzerSequence) {
    qvtest::ScriptedHost host;
    UCorSettings s = named("ANT1", 2, 3);
    s.logScale = true;
    s.comment = "horn";
    const UploadResult r = UploadUCor(UCorSim::get().analyzer(), UCorGroup::Analyzer, kTwo, s);
    EXPECT_TRUE(r.sent) << r.message;
    EXPECT_EQ(r.errors, "");
    EXPECT_EQ(UCorSim::get().newCorrections(UCorGroup::Analyzer),
              (std::vector<std::string>{"CORR:TRAN:SEL 'ANT1'", "CORR:TRAN:UNIT 'DBUV'", "CORR:TRAN:SCAL LOG",
                                        "CORR:TRAN:COMM 'horn'", "CORR:TRAN:DATA 100,1,200,2"}));
}

TEST_F(UCorUploadSim, RefusalGivesTheFailedBoxAfterEverythingWentOut) {
    UCorSim& sim = UCorSim::get();
    sim.send(sim.generator(), "SYST:SIM:FAUL 'error=-222@CORR:CSET:DATA:POW'");
    sim.newCorrections(UCorGroup::Generator);
    qvtest::ScriptedHost host;
    const UploadResult r = UploadUCor(sim.generator(), UCorGroup::Generator, kTwo, named("UCOR1"));
    sim.send(sim.generator(), "SYST:SIM:FAUL:CLE");
    EXPECT_TRUE(r.sent);
    EXPECT_NE(r.errors.find("-222"), std::string::npos) << r.errors;
    const auto boxes = host.messages();
    ASSERT_EQ(boxes.size(), 1u);
    EXPECT_EQ(boxes[0].title, "FAILED");
    EXPECT_EQ(boxes[0].icon, qv::app::Icon::Critical);
    EXPECT_EQ(boxes[0].text, "LOADING FAILED:\r\n" + r.errors);
    // The error is only read at the end: the correction was switched on anyway.
    const std::vector<std::string> sent = sim.newCorrections(UCorGroup::Generator);
    ASSERT_FALSE(sent.empty());
    EXPECT_EQ(sent.back(), "CORR:STAT ON");
}

class UCorLargeTable : public UCorUploadSim, public ::testing::WithParamInterface<bool> {};

TEST_P(UCorLargeTable, SixHundredTwentyFivePairsInOneCommand) {
    UCorTable t;
    for (int i = 0; i < 625; ++i) t.push_back({std::to_string(1000000 + i * 10000), std::to_string(i % 40) + ".5"});
    SortUCor(t);
    qvtest::ScriptedHost host;
    const UploadResult r = UploadUCor(UCorSim::get().analyzer(GetParam()), UCorGroup::Analyzer, t, named("BIG"));
    EXPECT_TRUE(r.sent) << r.message;
    EXPECT_EQ(r.errors, "");
    const std::vector<std::string> sent = UCorSim::get().newCorrections(UCorGroup::Analyzer);
    ASSERT_EQ(sent.size(), 5u);
    const std::string& data = sent.back();
    ASSERT_EQ(data.rfind("CORR:TRAN:DATA ", 0), 0u);
    EXPECT_EQ(std::count(data.begin(), data.end(), ','), 1249);
    EXPECT_EQ(data, "CORR:TRAN:DATA " + BuildUCorList(t, UCorGroup::Analyzer, false, "", ""));
}

INSTANTIATE_TEST_SUITE_P(Transports, UCorLargeTable, ::testing::Values(false, true),
                         [](const ::testing::TestParamInfo<bool>& i) { return i.param ? "Vxi11" : "Socket"; });

TEST_F(UCorUploadSim, CommandLineImportsBySettingsAndUploads) {
    qvtest::TempDir dir;
    ASSERT_TRUE(qvtest::writeFile(dir.file("Quilvane.ini"), "[UCor]\r\nColSep=59\r\nStartRow=2\r\n"));
    ASSERT_TRUE(qvtest::writeFile(dir.file("t.csv"), "Freq;Level\r\n200;2,5\n100;1\r\n"));
    const std::string cmd = "QUILVANE_PORTMAPPER_PORT=" + std::to_string(UCorSim::get().sim.portmapperPort()) + " " +
                            qvtest::binPath("quilvane-cli") + " --ini " + dir.file("Quilvane.ini") + " ucor " +
                            UCorSim::get().generator() + " " + dir.file("t.csv") +
                            " --freq-unit MHz --unit dBuV --name ucor7 --negate";
    const qvtest::CommandResult r = qvtest::runCommand(cmd);
    EXPECT_EQ(r.exitCode, 0) << r.output;
    EXPECT_EQ(UCorSim::get().newCorrections(UCorGroup::Generator),
              (std::vector<std::string>{"CORR:STAT OFF", "CORR:CSET:SEL 'ucor7'", "CORR:CSET:DATA:FREQ 100MHz,200MHz",
                                        "CORR:CSET:DATA:POW -1dB\\xb5V,-2.5dB\\xb5V", "CORR:STAT ON"}));
    // A name the generator group does not take is refused before anything is sent.
    const qvtest::CommandResult bad = qvtest::runCommand(cmd + " --name TEST");
    EXPECT_EQ(bad.exitCode, 2);
    EXPECT_NE(bad.output.find("UCOR<number>"), std::string::npos) << bad.output;
    EXPECT_TRUE(UCorSim::get().newCorrections(UCorGroup::Generator).empty());
}

}  // namespace
