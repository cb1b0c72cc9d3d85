// VIF against the simulated instrument, over both transports: the exact
// bytes that reach the instrument (its log is the proof), error polling,
// block transfers and their failure paths, and the I/O log.
#include "instrument_io/vif.h"
#include "test_support.h"

#include <gtest/gtest.h>

#include <dirent.h>
#include <stdlib.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <random>

using namespace qvtest;
using qv::io::VIF;
using Clock = std::chrono::steady_clock;

namespace {

enum class Transport { Socket, Vxi11 };

class Env {
public:
    static Env& get() {
        static Env env;
        return env;
    }
    SimProcess sim;
    TempDir root, temp;
    std::string log, error;

private:
    Env() {
        log = root.file("wire.log");
        sim.start({"--profile", "TKD", "--socket-port", "0", "--vxi11", "--portmapper-port", "0", "--root", root.path(),
                   "--log", log},
                  &error);
        if (sim.running()) setenv("QUILVANE_PORTMAPPER_PORT", std::to_string(sim.portmapperPort()).c_str(), 1);
        // The transfers' temporary files go here, where the tests count them.
        setenv("TMPDIR", temp.path().c_str(), 1);
    }
};

// The lines the instrument logged since the object was made.
class WireLog {
public:
    WireLog() : start_(readFile(Env::get().log).size()) {}
    std::vector<std::string> lines() const {
        std::string all = readFile(Env::get().log).substr(start_);
        std::vector<std::string> out;
        size_t pos = 0;
        while (pos < all.size()) {
            size_t nl = all.find('\n', pos);
            if (nl == std::string::npos) nl = all.size();
            out.push_back(all.substr(pos, nl - pos));
            pos = nl + 1;
        }
        return out;
    }
    // The lines without the status polls a transport adds on its own.
    std::vector<std::string> commands() const {
        std::vector<std::string> out;
        for (auto& l : lines())
            if (l != "@readstb" && l != "*STB?" && l.rfind("@link", 0) != 0 && l != "@unlink") out.push_back(l);
        return out;
    }

private:
    size_t start_;
};

int tempFiles() {
    int n = 0;
    if (DIR* d = opendir(Env::get().temp.path().c_str())) {
        while (dirent* e = readdir(d))
            if (std::string(e->d_name).rfind("BIN_IO", 0) == 0) ++n;
        closedir(d);
    }
    return n;
}

std::string pattern(size_t n) {
    std::string s(n, '\0');
    std::mt19937 g{static_cast<unsigned>(n)};
    for (auto& c : s) c = char(g());
    return s;
}

}  // namespace

class VifSim : public ::testing::TestWithParam<Transport> {
protected:
    void SetUp() override {
        ASSERT_TRUE(Env::get().sim.running()) << Env::get().error;
        // Every test starts from an instrument without faults or errors.
        VIF v;
        ASSERT_TRUE(v.OpenDevice(resource(), true, false, 1000, true));
        v.WriteString("SYST:SIM:FAULT:CLEAR;*CLS", 0);
    }
    std::string resource() const {
        return GetParam() == Transport::Socket ? Env::get().sim.socketResource() : Env::get().sim.vxi11Resource();
    }
    // An object opened the way every window opens one.
    std::unique_ptr<VIF> open() {
        auto v = std::make_unique<VIF>();
        EXPECT_TRUE(v->OpenDevice(resource(), true, false, 1000, true));
        return v;
    }
    void store(const std::string& name, const std::string& data) {
        TempDir d;
        ASSERT_TRUE(writeFile(d.file(name), data));
        auto v = open();
        ASSERT_TRUE(v->WriteFileToInstrument("MMEM:DATA '" + name + "',", d.file(name), ""));
        std::string errors;
        EXPECT_FALSE(v->PollErrors(errors, "SYST:ERR?", false)) << errors;
    }
};

TEST_P(VifSim, OpenPollsStatusThenDrainsTheQueue) {
    {
        auto v = open();
        v->WriteString("SYST:SIM:ERR -222,\"Data out of range\"", 0);
    }
    WireLog wire;
    VIF fresh;
    int events = 0;
    fresh.VIFSCPIError = [&](const std::string&, const std::string&) { ++events; };
    ASSERT_TRUE(fresh.OpenDevice(resource(), true, false, 1000, true));
    std::vector<std::string> lines = wire.lines();
    ASSERT_GE(lines.size(), 3u);
    size_t i = GetParam() == Transport::Vxi11 ? 1 : 0;  // after "@link inst0"
    EXPECT_EQ(lines[i], GetParam() == Transport::Vxi11 ? "@readstb" : "*STB?");
    EXPECT_EQ(lines[i + 1], "SYST:ERR?");
    EXPECT_EQ(lines[i + 2], "SYST:ERR?");  // the queue held one error: two polls
    EXPECT_EQ(fresh.LastError(), "-222,\"Data out of range\"");
    EXPECT_EQ(events, 0);  // drained silently
}

TEST_P(VifSim, WriteStringModesSendExactlyThis) {
    auto v = open();
    WireLog wire;
    v->WriteString("FREQ:CENT 1E9", 0);
    v->WriteString("FREQ:SPAN 1E6", 1);
    v->WriteString("INIT", 2);
    std::vector<std::string> expect = {"FREQ:CENT 1E9", "FREQ:SPAN 1E6;*WAI", "*CLS", "INIT;*OPC"};
    EXPECT_EQ(wire.commands(), expect);
}

TEST_P(VifSim, PrepareSrqLetsModeTwoEndOnTheServiceRequest) {
    auto v = open();
    v->PrepareSRQ();
    auto t0 = Clock::now();
    v->WriteString("FORM ASC", 2);
    // The status byte turns non-zero at once; the bound (the time-out) is not reached.
    EXPECT_LT(std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - t0).count(), 1000);
    std::string stb;
    EXPECT_TRUE(v->ReadString("*STB?", stb));
    EXPECT_NE(std::stoi(stb) & 32, 0);
}

TEST_P(VifSim, PollErrorsReadsTheWholeQueue) {
    auto v = open();
    std::vector<std::pair<std::string, std::string>> events;
    v->VIFSCPIError = [&](const std::string& c, const std::string& e) { events.emplace_back(c, e); };
    v->WriteString("SYST:SIM:ERR -113,\"Undefined header\"", 0);
    v->WriteString("SYST:SIM:ERR -222,\"Data out of range\"", 0);
    v->WriteString("FORM ASC", 0);
    std::string errors;
    EXPECT_TRUE(v->PollErrors(errors));
    EXPECT_EQ(errors, "-113,\"Undefined header\"\r\n-222,\"Data out of range\"");
    EXPECT_EQ(v->LastErrorCommand(), "FORM ASC");
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].first, "FORM ASC");
    // Empty queue: nothing found, nothing raised.
    EXPECT_FALSE(v->PollErrors(errors));
    EXPECT_EQ(errors, "");
    EXPECT_EQ(events.size(), 1u);
    // Not reported when asked not to, and never after a catalogue query.
    v->WriteString("SYST:SIM:ERR -256,\"File name not found\"", 0);
    EXPECT_TRUE(v->PollErrors(errors, "SYST:ERR?", false));
    v->WriteString("SYST:SIM:ERR -256,\"File name not found\"", 0);
    std::string answer;
    ASSERT_TRUE(v->ReadString("MMEM:CAT?", answer));
    EXPECT_TRUE(v->PollErrors(errors, "SYST:ERR?", true));
    EXPECT_EQ(v->LastErrorCommand(), "MMEM:CAT?");
    EXPECT_EQ(v->LastError(), "-256,\"File name not found\"");
    EXPECT_EQ(events.size(), 1u);
}

TEST_P(VifSim, PollAfterCommandTurnsErrorsIntoFailures) {
    auto v = open();
    v->TimeOut(300);
    v->ConfigErrorProcessor(true, true);
    std::string answer;
    EXPECT_TRUE(v->ReadString("*IDN?", answer));
    EXPECT_FALSE(v->ReadString("NOSUCH?", answer));
    // VXI-11 instruments add -420 for the read that found no answer.
    EXPECT_EQ(v->LastError().rfind("-113,\"Undefined header\"", 0), 0u) << v->LastError();
}

TEST_P(VifSim, ReadStringCleansAndBlankCommandOnlyReads) {
    auto v = open();
    std::string answer;
    ASSERT_TRUE(v->ReadString("*IDN?", answer));
    EXPECT_EQ(answer.rfind("Tesselhorn,TKD-", 0), 0u);
    EXPECT_NE(answer.back(), '\n');
    WireLog wire;
    v->WriteString("*OPC?", 0);
    ASSERT_TRUE(v->ReadString("   ", answer));
    EXPECT_EQ(answer, "1");
    EXPECT_EQ(wire.commands(), std::vector<std::string>{"*OPC?"});  // the blank command sent nothing
}

TEST_P(VifSim, ReadStringLongGathersAnAnswerOfExactChunks) {
    auto v = open();
    v->TimeOut(300);
    std::string idn;
    ASSERT_TRUE(v->ReadString("*IDN?", idn));
    // A chunk as long as the answer with its LF: the read saw the end, so
    // the text is whole without one more read waiting for the time-out.
    std::string answer;
    auto t0 = Clock::now();
    ASSERT_TRUE(v->ReadStringLong("*IDN?", answer, long(idn.size() + 1)));
    EXPECT_EQ(answer, idn + "\n");
    EXPECT_LT(std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - t0).count(), 250);
    ASSERT_TRUE(v->ReadStringLong("*IDN?", answer, 7));
    EXPECT_EQ(answer, idn + "\n");
}

TEST_P(VifSim, FloatArrayFromATrace) {
    auto v = open();
    v->WriteString("FORM REAL,32;:SYST:SIM:POIN 1001", 0);
    std::vector<float> values{1.0f};
    std::string info;
    v->VIFInformation = [&](const std::string& m) { info = m; };
    int before = tempFiles();
    ASSERT_TRUE(v->ReadFloatArray("TRAC? TRACE1", values, ""));
    EXPECT_EQ(values.size(), 1001u);
    EXPECT_EQ(info, "1001 float values transfered");
    for (float f : values) EXPECT_TRUE(std::isfinite(f) && f > -200 && f < 50);
    EXPECT_EQ(tempFiles(), before);
}

TEST_P(VifSim, FloatArrayWithoutHashFailsAndKeepsTheArray) {
    auto v = open();
    std::vector<float> values{1.0f, 2.0f};
    std::string message;
    v->VIFVIFError = [&](const std::string& m, const std::string&) { message = m; };
    int before = tempFiles();
    EXPECT_FALSE(v->ReadFloatArray("*IDN?", values, ""));
    EXPECT_EQ(message, "Reading binary header FAILED (no # found)");
    EXPECT_EQ(values, (std::vector<float>{1.0f, 2.0f}));
    EXPECT_EQ(tempFiles(), before);
}

// A file moves in one VISA call; the progress event still walks from the
// first bytes to 100, never backwards, both ways.
TEST_P(VifSim, FileTransfersRaiseProgress) {
    const std::string data = pattern(3 << 20);
    TempDir local;
    ASSERT_TRUE(writeFile(local.file("up.bin"), data));
    auto v = open();
    std::vector<float> seen;
    v->VIFProgress = [&](float p) { seen.push_back(p); };
    ASSERT_TRUE(v->WriteFileToInstrument("MMEM:DATA 'progress.bin',", local.file("up.bin"), ""));
    const std::vector<float> up = seen;
    seen.clear();
    ASSERT_TRUE(v->ReadFileFromInstrument("MMEM:DATA? 'progress.bin'", local.file("down.bin")));
    EXPECT_TRUE(readFile(local.file("down.bin")) == data);
    for (const std::vector<float>* run : {&up, static_cast<const std::vector<float>*>(&seen)}) {
        ASSERT_GE(run->size(), 2u);
        EXPECT_TRUE(std::is_sorted(run->begin(), run->end()));
        EXPECT_LT(run->front(), 100.0f);
        EXPECT_EQ(run->back(), 100.0f);
    }
}

TEST_P(VifSim, FileFromInstrumentWholeEmptyAndCut) {
    std::string data = pattern(300000);
    store("whole.bin", data);
    store("empty.bin", "");
    TempDir local;
    auto v = open();
    ASSERT_TRUE(v->ReadFileFromInstrument("MMEM:DATA? 'whole.bin'", local.file("w.bin")));
    EXPECT_TRUE(readFile(local.file("w.bin")) == data);
    // "#10": nothing to read, success, an empty file.
    ASSERT_TRUE(writeFile(local.file("e.bin"), "old content"));
    ASSERT_TRUE(v->ReadFileFromInstrument("MMEM:DATA? 'empty.bin'", local.file("e.bin")));
    EXPECT_EQ(readFile(local.file("e.bin")), "");
    // The instrument drops the line halfway: a failure in time, and no file
    // that pretends to be whole.
    v->WriteString("SYST:SIM:FAULT \"drop=5000@MMEM:DATA?\"", 0);
    auto t0 = Clock::now();
    EXPECT_FALSE(v->ReadFileFromInstrument("MMEM:DATA? 'whole.bin'", local.file("cut.bin"), 2000));
    EXPECT_LT(std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - t0).count(), 2400);
    EXPECT_FALSE(fileExists(local.file("cut.bin")));
}

TEST_P(VifSim, BlockShorterThanAnnouncedFailsInTime) {
    std::string data = pattern(20000);
    data[0] = '7';  // read as a sixth length digit: 200007 bytes announced
    store("short.bin", data);
    TempDir local;
    auto v = open();
    // The header claims one digit more than it has: far more is announced
    // than follows. The read ends early (at END) or by its time-out, and
    // either way it is a failure.
    v->WriteString("SYST:SIM:FAULT \"corrupt-block@MMEM:DATA?\"", 0);
    std::string message;
    v->VIFVIFError = [&](const std::string& m, const std::string&) { message = m; };
    auto t0 = Clock::now();
    EXPECT_FALSE(v->ReadFileFromInstrument("MMEM:DATA? 'short.bin'", local.file("short.bin"), 500));
    EXPECT_LT(std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - t0).count(), 1000);
    EXPECT_FALSE(fileExists(local.file("short.bin")));
    // Over VXI-11 the message ends early; on a socket the time-out speaks.
    EXPECT_EQ(message, GetParam() == Transport::Vxi11 ? "Block shorter than announced" : "");
    std::string idn;
    ASSERT_TRUE(v->ReadString("*IDN?", idn));
    EXPECT_EQ(idn.rfind("Tesselhorn,TKD-", 0), 0u) << idn;
}

// A block whose header is corrupt, or which goes on after its announced
// length, becomes neither a file nor an array, whichever reader meets it; the
// reason is named, and the next command gets its own answer.
TEST_P(VifSim, BlockThatDoesNotEndWhereItsHeaderSaysIsNoResult) {
    // The first data byte is no digit: raised by one, the digit count takes it
    // into the length field.
    store("blk.bin", "A" + pattern(3999));
    const int before = tempFiles();
    TempDir local;
    auto v = open();
    v->TimeOut(1000);
    std::string message;
    v->VIFVIFError = [&](const std::string& m, const std::string&) { message = m; };
    struct Case {
        const char* name;
        bool corrupt;          // the simulator raises the digit count
        const char* query;
        const char* fileText;  // the file readers' message
        const char* floatText;
    };
    const Case cases[] = {
        {"length field holds a data byte", true, "MMEM:DATA? 'blk.bin'", "Block header corrupt",
         "Reading binary header length FAILED"},
        {"more follows the block", false, "MMEM:DATA? 'blk.bin';*OPC?", "Block longer than announced",
         "Reading binary data FAILED"},
    };
    enum Reader { File, Direct, Floats, IQ };
    for (const Case& c : cases) {
        for (Reader r : {File, Direct, Floats, IQ}) {
            SCOPED_TRACE(std::string(c.name) + ", reader " + std::to_string(int(r)));
            v->WriteString(c.corrupt ? "SYST:SIM:FAULT \"corrupt-block@MMEM:DATA?\"" : "SYST:SIM:FAULT:CLEAR", 0);
            message.clear();
            const std::string target = local.file("blk.bin");
            ASSERT_TRUE(writeFile(target, "old content"));
            std::vector<float> values{1.0f}, qValues{2.0f};
            switch (r) {
            case File:
                EXPECT_FALSE(v->ReadFileFromInstrument(c.query, target, -1));
                EXPECT_EQ(message, c.fileText);
                EXPECT_FALSE(fileExists(target));
                break;
            case Direct:
                EXPECT_FALSE(v->RdFilFrmInstr(c.query, target, -1));
                EXPECT_EQ(message, c.fileText);
                EXPECT_FALSE(fileExists(target));
                break;
            case Floats:
                EXPECT_FALSE(v->ReadFloatArray(c.query, values, ""));
                EXPECT_EQ(message, c.floatText);
                EXPECT_EQ(values, std::vector<float>{1.0f});
                break;
            case IQ:
                EXPECT_FALSE(v->ReadIQArray(c.query, values, qValues, 100, 10, -1));
                EXPECT_EQ(message, "");  // this reader fails silently
                EXPECT_EQ(values, std::vector<float>{1.0f});
                break;
            }
            v->WriteString("SYST:SIM:FAULT:CLEAR", 0);
            std::string idn, errors;
            ASSERT_TRUE(v->ReadString("*IDN?", idn));
            EXPECT_EQ(idn.rfind("Tesselhorn,TKD-", 0), 0u) << idn;
            // Nothing of the broken answer was left to be interrupted.
            EXPECT_FALSE(v->PollErrors(errors, "SYST:ERR?", false)) << errors;
        }
    }
    // The same file, whole, still reads.
    ASSERT_TRUE(v->ReadFileFromInstrument("MMEM:DATA? 'blk.bin'", local.file("whole.bin")));
    EXPECT_EQ(readFile(local.file("whole.bin")).size(), 4000u);
    EXPECT_EQ(tempFiles(), before);
}

TEST_P(VifSim, FileToInstrumentArrivesAsOneBlock) {
    TempDir local;
    std::string data = pattern(70000);
    data[10] = '\n';  // terminators inside the data change nothing
    ASSERT_TRUE(writeFile(local.file("up.bin"), data));
    auto v = open();
    WireLog wire;
    ASSERT_TRUE(v->WriteFileToInstrument("MMEM:DATA 'up.bin',", local.file("up.bin"), ""));
    std::string sync;
    ASSERT_TRUE(v->ReadString("*OPC?", sync));  // the instrument has seen all before it
    std::vector<std::string> cmds = wire.commands();
    ASSERT_EQ(cmds.size(), 2u);
    EXPECT_EQ(cmds[0].rfind("MMEM:DATA 'up.bin',#570000", 0), 0u) << cmds[0];
    ASSERT_TRUE(v->ReadFileFromInstrument("MMEM:DATA? 'up.bin'", local.file("back.bin")));
    EXPECT_TRUE(readFile(local.file("back.bin")) == data);
    // A missing local file: a message, nothing sent.
    std::string message, command;
    v->VIFVIFError = [&](const std::string& m, const std::string& c) { message = m, command = c; };
    EXPECT_FALSE(v->WriteFileToInstrument("MMEM:DATA ", local.file("nope.bin"), ""));
    EXPECT_EQ(message, "File nope.bin not found on local harddisc");
    EXPECT_EQ(command, "MMEM:DATA 'nope.bin'");
}

TEST_P(VifSim, ByteArrayInPiecesIsOneValidBlock) {
    auto v = open();
    std::vector<uint8_t> bytes(1000);
    for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = uint8_t(i);
    std::vector<float> progress;
    v->VIFProgress = [&](float p) { progress.push_back(p); };
    int before = tempFiles();
    ASSERT_TRUE(v->WriteByteArray("MMEM:DATA 'arr.bin',#41000", bytes, 300, ""));
    EXPECT_EQ(progress.size(), 3u);  // three full pieces of 300, then 100
    EXPECT_EQ(tempFiles(), before);
    std::string errors;
    EXPECT_FALSE(v->PollErrors(errors, "SYST:ERR?", false)) << errors;
    TempDir local;
    ASSERT_TRUE(v->ReadFileFromInstrument("MMEM:DATA? 'arr.bin'", local.file("arr.bin")));
    EXPECT_TRUE(readFile(local.file("arr.bin")) == std::string(bytes.begin(), bytes.end()));
}

TEST_P(VifSim, TimeoutOfAFileReadFollowsItsSizeAboveAFloor) {
    store("t.bin", pattern(500000));
    store("peaks.bin", pattern(300));
    TempDir local;
    auto v = open();
    v->TimeOut(4321);
    const std::string session = std::to_string(v->GetHandle());
    const std::string setTmo = "  viSetAttribute(" + session + ",1073676314,";
    auto logOf = [&](const char* name, auto&& call) {
        v->ConfigDebugMode(2, false, local.file(name), 16);
        EXPECT_TRUE(call()) << readFile(local.file(name));
        return readFile(local.file(name));
    };
    // One millisecond per 100 bytes unless given, never below 100 ms; then
    // the object's time-out again.
    std::string log = logOf("big.log", [&] { return v->ReadFileFromInstrument("MMEM:DATA? 't.bin'", local.file("t.bin")); });
    EXPECT_NE(log.find(setTmo + "5000)"), std::string::npos) << log;
    EXPECT_NE(log.find("  viReadToFile(" + session + "," + local.file("t.bin") + ",500000,0x0)"), std::string::npos);
    EXPECT_NE(log.find(setTmo + "4321)"), std::string::npos);
    log = logOf("given.log", [&] { return v->ReadFileFromInstrument("MMEM:DATA? 't.bin'", local.file("t.bin"), 777); });
    EXPECT_NE(log.find(setTmo + "777)"), std::string::npos) << log;
    log = logOf("small.log", [&] { return v->ReadFileFromInstrument("MMEM:DATA? 'peaks.bin'", local.file("p.bin")); });
    EXPECT_NE(log.find(setTmo + "100)"), std::string::npos) << log;
    log = logOf("answer.log", [&] {
        return v->ReadAnswerFromInstrument("MMEM:DATA? 'peaks.bin'", local.file("a.bin"), 306);  // "#3300" + data + LF
    });
    EXPECT_NE(log.find(setTmo + "100)"), std::string::npos) << log;
    EXPECT_EQ(readFile(local.file("a.bin")), "#3300" + pattern(300) + "\n");
    // The direct reader logs nothing; the floor shows in the time-out it leaves set.
    ASSERT_TRUE(v->RdFilFrmInstr("MMEM:DATA? 'peaks.bin'", local.file("d.bin"), -1));
    ViUInt32 tmo = 0;
    ASSERT_EQ(viGetAttribute(v->GetHandle(), VI_ATTR_TMO_VALUE, &tmo), VI_SUCCESS);
    EXPECT_EQ(tmo, 100u);
    EXPECT_TRUE(readFile(local.file("d.bin")) == pattern(300));
}

TEST_P(VifSim, ReadAnswerWithoutCommandReadsWhatIsWaiting) {
    auto v = open();
    std::string idn;
    ASSERT_TRUE(v->ReadString("*IDN?", idn));
    TempDir local;
    v->WriteString("*IDN?", 0);
    v->ConfigDebugMode(2, false, local.file("io.log"), 16);
    ASSERT_TRUE(v->ReadAnswerFromInstrument("", local.file("idn.txt"), long(idn.size() + 1)));
    EXPECT_EQ(readFile(local.file("idn.txt")), idn + "\n");
    // The empty command sent nothing, not even a bare LF.
    std::string log = readFile(local.file("io.log"));
    EXPECT_EQ(log.find("viWrite("), std::string::npos) << log;
}

TEST_P(VifSim, IoLogLevels) {
    TempDir local;
    auto v = open();
    // Level 1: failures only, one line each.
    v->ConfigDebugMode(1, false, local.file("l1.log"), 0);
    std::string answer;
    v->ReadString("*IDN?", answer);
    v->TimeOut(200);
    v->ReadString("", answer);  // nothing waiting: the read times out
    EXPECT_EQ(readFile(local.file("l1.log")), "!!>> 0xBFFF0015: Timeout expired before operation completed.\n");
    // Level 2: call, result, content with at most DebugDumpLimit bytes.
    v->ConfigDebugMode(2, false, local.file("l2.log"), 4);
    v->WriteString("*CLS", 0);
    std::string session = std::to_string(v->GetHandle());
    EXPECT_EQ(readFile(local.file("l2.log")),
              "  viWrite(" + session + ",<BUFFER>,5,0x0)\n"
              "  >> returnCount: 5\n"
              "  >> 5 b Content\n"
              "00000000:   2A 43 4C 53" + std::string(36, ' ') + " >>  *CLS\n"
              "\n");
    // Level 3: the whole buffer, whatever the limit.
    v->ConfigDebugMode(3, false, local.file("l3.log"), 4);
    v->WriteString("*CLS", 0);
    EXPECT_NE(readFile(local.file("l3.log")).find(" 2A 43 4C 53 0A "), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(Transports, VifSim, ::testing::Values(Transport::Socket, Transport::Vxi11),
                         [](const auto& info) { return info.param == Transport::Socket ? "Socket" : "Vxi11"; });

TEST(Vif, OpenFailsWhenNobodyAnswersAndCleanUpDoesNotClose) {
    VIF v;
    EXPECT_FALSE(v.OpenDevice("TCPIP::127.0.0.1::1::SOCKET", true, false, 300, true));
    EXPECT_FALSE(v.InstOpen());
    EXPECT_EQ(v.GetHandle(), 0u);
    std::string answer;
    EXPECT_FALSE(v.ReadString("*IDN?", answer));
}

TEST(Vif, WithoutVisaNothingHappens) {
    qv::io::setVisaAvailable(false);
    {
        VIF v;
        EXPECT_FALSE(v.VISAFound());
        EXPECT_FALSE(v.OpenDevice(Env::get().sim.socketResource(), true, false, 1000, true));
        std::string errors;
        EXPECT_FALSE(v.PollErrors(errors));
        EXPECT_FALSE(v.WriteString("*CLS", 0));
    }
    qv::io::setVisaAvailable(true);
}

TEST(Vif, DecodeAndPrintable) {
    EXPECT_EQ(VIF::DecodeVISAError(ViStatus(0xBFFF0015)), "Timeout expired before operation completed.");
    EXPECT_EQ(VIF::DecodeVISAError(ViStatus(0xBFFF0039)), "Unknown VISA error (0xBFFF0039)");
    EXPECT_EQ(VIF::DebugbPrintable(127), '.');
    EXPECT_EQ(VIF::DebugbPrintable(200), char(200));
    EXPECT_EQ(VIF::TrimAll("  \r\n\tOK\r\n  "), "OK");
    EXPECT_EQ(VIF::TrimAll(" \r\n "), "");
}
