// The hardcopy dialects against the simulated instruments: the exact
// commands each family receives, the file that arrives and its format, and
// the ways a hardcopy can go wrong.
#include "hardcopy/dialect.h"
#include "hardcopy/hardcopy.h"
#include "sim/message_log.h"
#include "scripted_host.h"
#include "test_support.h"

#include <FreeImage.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>

namespace {

using qv::hardcopy::Route;
using qvtest::ScriptedHost;

// Records what the hardcopy showed; the file's bytes are kept because the
// SaveImage rule may delete the file right after.
class RecordingView : public qv::hardcopy::View {
public:
    struct Shown {
        std::string file;
        Route route;
        std::string bytes;
    };
    std::vector<Shown> shown;
    int fits = 0;
    int clipboardClears = 0;
    std::vector<int> progressSeen;

    bool showPicture(const std::string& file, Route route, std::string& why) override {
        shown.push_back({file, route, qvtest::readFile(file)});
        why = "empty";
        return !shown.back().bytes.empty();
    }
    void fitToPicture() override { ++fits; }
    void clearClipboard() override { ++clipboardClears; }
    bool progress(int percent) override {
        progressSeen.push_back(percent);
        return true;
    }
};

enum class Format { Bmp, Wmf, Emf, Png, Jpeg, Pcx };

// The format a file's first bytes announce.
bool hasFormat(const std::string& b, Format f) {
    auto u32 = [&](size_t at) {
        return b.size() < at + 4 ? 0u
                                 : uint32_t(uint8_t(b[at])) | uint32_t(uint8_t(b[at + 1])) << 8 |
                                       uint32_t(uint8_t(b[at + 2])) << 16 | uint32_t(uint8_t(b[at + 3])) << 24;
    };
    switch (f) {
        case Format::Bmp: return b.rfind("BM", 0) == 0;
        case Format::Wmf: return u32(0) == 0x9AC6CDD7u || (u32(0) & 0xFFFF) == 1 || (u32(0) & 0xFFFF) == 2;
        case Format::Emf: return u32(0) == 1 && b.compare(40, 4, " EMF") == 0;
        case Format::Png: return b.rfind("\x89PNG\r\n\x1a\n", 0) == 0;
        case Format::Jpeg: return b.rfind("\xff\xd8\xff", 0) == 0;
        case Format::Pcx: return !b.empty() && b[0] == 0x0A;
    }
    return false;
}

// Decodes a raster picture; width 0 when it cannot.
struct Decoded {
    unsigned width = 0, height = 0;
    bool grey = true;  // every pixel has equal red, green and blue
};
Decoded decode(const std::string& bytes) {
    Decoded d;
    FIMEMORY* mem = FreeImage_OpenMemory((BYTE*)bytes.data(), DWORD(bytes.size()));
    FREE_IMAGE_FORMAT fif = FreeImage_GetFileTypeFromMemory(mem, 0);
    FIBITMAP* img = fif == FIF_UNKNOWN ? nullptr : FreeImage_LoadFromMemory(fif, mem, 0);
    if (img) {
        FIBITMAP* rgb = FreeImage_ConvertTo24Bits(img);
        d.width = FreeImage_GetWidth(rgb);
        d.height = FreeImage_GetHeight(rgb);
        for (unsigned y = 0; y < d.height && d.grey; y += 3)
            for (unsigned x = 0; x < d.width; x += 3) {
                RGBQUAD c;
                FreeImage_GetPixelColor(rgb, x, y, &c);
                if (std::max({c.rgbRed, c.rgbGreen, c.rgbBlue}) - std::min({c.rgbRed, c.rgbGreen, c.rgbBlue}) > 2) {
                    d.grey = false;
                    break;
                }
            }
        FreeImage_Unload(rgb);
        FreeImage_Unload(img);
    }
    FreeImage_CloseMemory(mem);
    return d;
}

std::string logged(const std::string& command) {
    std::string s;
    qv::sim::appendEscaped(s, command);
    return s;
}

// The simulator's log from the first line after the session's opening
// (the status byte and the error queue read at open).
std::vector<std::string> dialectLines(const std::string& logFile) {
    std::vector<std::string> lines = qvtest::readLines(logFile);
    auto first = std::find_if(lines.begin(), lines.end(), [](const std::string& l) { return l != "*STB?" && l.rfind("@", 0) != 0; });
    if (first != lines.end() && *first == "SYST:ERR?") ++first;  // the queue read at open
    return {first, lines.end()};
}

struct Rig {
    qvtest::TempDir dir;
    qvtest::SimProcess sim;
    std::string log = dir.file("sim.log");
    qv::hardcopy::Request request;

    explicit Rig(const std::string& profile, std::vector<std::string> extra = {}) {
        std::vector<std::string> args{"--profile", profile, "--log", log};
        args.insert(args.end(), extra.begin(), extra.end());
        std::string why;
        EXPECT_TRUE(sim.start(args, &why)) << why;
        request.resource = sim.socketResource();
        request.devType = profile;
        request.listText = "Lab (" + profile + ")";
        request.saveFolder = dir.path();
        request.when = {2026, 11, 19, 9, 5, 7, 0};
        request.saveImage = true;
    }
    std::string stem() const { return dir.path() + "/Lab-" + request.devType + "@2026-11-19_09-05-07"; }
};

struct DialectCase {
    const char* family;
    const char* localExtension;  // of the file shown
    Format format;
    Route route;
    const char* extensionAfter;  // HardcopyExtension after the run, from "prev"
    std::vector<std::string> commands;
};

std::ostream& operator<<(std::ostream& os, const DialectCase& c) { return os << c.family; }

const std::vector<DialectCase> kDialects = {
    {"GLEF", "bmp", Format::Bmp, Route::Loader, "bmp", {"HCOP:DATA?"}},
    {"HUV", "bmp", Format::Bmp, Route::Loader, "bmp", {"DISP:PIXM?"}},
    {"TKW", "wmf", Format::Wmf, Route::Loader, "wmf",
     {"HCOP:DEV:LANG WMF", "*OPC?", "MMEM:NAME 'C:\\HCOPY.wmf'", "*OPC?", "SYST:ERR?", "HCOP:DEV:COL ON", "*OPC?",
      "SYST:ERR?", "HCOP:DEST 'MMEM'", "*OPC?", "SYST:ERR?", "SYST:DISP:UPD ON", "*OPC?", "SYST:ERR?", "HCOP",
      "SYST:ERR?", "*OPC?", "SYST:ERR?", "*OPC?", "SYST:DISP:UPD ON", "*OPC?", "SYST:ERR?",
      "MMEM:DATA? 'C:\\HCOPY.wmf'", "*OPC?", "SYST:ERR?"}},
    {"KDP", "wmf", Format::Wmf, Route::Loader, "wmf",
     {"HCOP:DEV:LANG WMF", "*OPC?", "MMEM:NAME 'C:\\HCOPY.wmf'", "*OPC?", "SYST:ERR?", "HCOP:DEV:COL ON", "*OPC?",
      "SYST:ERR?", "HCOP:DEST 'MMEM'", "*OPC?", "SYST:ERR?", "SYST:DISP:UPD ON", "*OPC?", "SYST:ERR?", "HCOP",
      "SYST:ERR?", "*OPC?", "SYST:ERR?", "*OPC?", "SYST:DISP:UPD ON", "*OPC?", "SYST:ERR?",
      "MMEM:DATA? 'C:\\HCOPY.wmf'", "*OPC?", "SYST:ERR?"}},
    {"TKG", "jpg", Format::Jpeg, Route::Loader, "png",
     {"MMEM:NAME '\\Public\\Screen Shots\\HCOPY.png'", "HCOP;*WAI", "MMEM:DATA? '\\Public\\Screen Shots\\HCOPY.png'"}},
    {"DOF", "pcx", Format::Pcx, Route::Shell, "pcx",
     {"HCOP:DEST PCXF,'HCOPY.pcx'", "HCOP:DEV:COL ON", "SYST:DISP:UPD ON", "HCOP;*WAI", "SYST:DISP:UPD ON",
      "MMEM:DATA? 'HCOPY.pcx'"}},
    {"DOC", "bmp", Format::Bmp, Route::Loader, "bmp",
     {"SYST:DISP:SCP?", "SYST:DISP:SCP ON", "HCOP:DEST FILE", "HCOP:DEV:COL ON", "HCOP:FILE:MOD OVER",
      "HCOP:FILE 'c:\\HCOPY.bmp'", "HCOP", "*OPC?", "MMEM:DATA? 'c:\\HCOPY.bmp'", "SYST:DISP:SCP <before>"}},
    {"GLN", "bmp", Format::Bmp, Route::Loader, "prev", {"HCOP:DEV:LANG BMP", "*OPC?", "HCOPY:DATA?"}},
    {"GLY", "bmp", Format::Bmp, Route::Loader, "prev", {"HCOP:DEV:LANG BMP", "*OPC?", "HCOPY:DATA?"}},
    {"MYI", "jpg", Format::Jpeg, Route::Loader, "jpg",
     {"HCOP:DEST 'MMEM'", "HCOP:DEV:LANG JPG", "MMEM:NAME 'C:\\HCOPY.jpg'", "HCOP:DEV:COL ON", "HCOP:IMM;*WAI",
      "MMEM:DATA? 'C:\\HCOPY.jpg'"}},
    {"MYE", "PNG", Format::Png, Route::Direct, "bmp",
     {"MMEM:CDIR '/INT/DATA'", "HCOP:DEST 'MMEM'", "HCOP:LANG PNG", "MMEM:NAME 'HCOPY'", "HCOP:COLOR:SCH COL",
      "HCOP:IMM", "*OPC?", "MMEM:DATA? '/INT/DATA/HCOPY.PNG'"}},
    {"KDC", "EMF", Format::Emf, Route::Loader, "EMF",
     {"HCOP:DEV:LANG EMF", "*OPC?", "HCOP:DEST 'MMEM'", "MMEM:NAME 'C:\\HCOPY.EMF'", "HCOP:ITEM:ALL",
      "SYST:DISP:UPD ON", "HCOP", "*OPC?", "SYST:DISP:UPD ON", "MMEM:DATA? 'C:\\HCOPY.EMF'"}},
    {"KDE", "EMF", Format::Emf, Route::Loader, "EMF",
     {"HCOP:DEV:LANG EMF", "*OPC?", "HCOP:DEST 'MMEM'", "HCOP:DEV:COL ON", "MMEM:NAME 'C:\\HCOPY.EMF'",
      "HCOP:ITEM:ALL", "SYST:DISP:UPD ON", "HCOP", "*OPC?", "SYST:DISP:UPD ON", "MMEM:DATA? 'C:\\HCOPY.EMF'"}},
    {"TKD", "WMF", Format::Wmf, Route::Loader, "WMF",
     {"HCOP:DEV:LANG WMF", "*OPC?", "HCOP:DEST 'MMEM'", "HCOP:DEV:COL ON", "MMEM:NAME 'C:\\HCOPY.WMF'",
      "HCOP:ITEM:ALL", "SYST:DISP:UPD ON", "HCOP", "*OPC?", "SYST:DISP:UPD ON", "MMEM:DATA? 'C:\\HCOPY.WMF'"}},
    {"PWE", "WMF", Format::Wmf, Route::Loader, "WMF",
     {"HCOP:DEV:LANG WMF", "*OPC?", "HCOP:DEST 'MMEM'", "HCOP:DEV:COL ON", "MMEM:NAME 'C:\\HCOPY.WMF'",
      "HCOP:ITEM:ALL", "SYST:DISP:UPD ON", "HCOP", "*OPC?", "SYST:DISP:UPD ON", "MMEM:DATA? 'C:\\HCOPY.WMF'"}},
};

class DialectTest : public ::testing::TestWithParam<DialectCase> {};

TEST_P(DialectTest, SendsItsCommandsAndShowsThePictureThatArrived) {
    const DialectCase& c = GetParam();
    ScriptedHost host;
    Rig rig(c.family);
    RecordingView view;
    qv::hardcopy::Outcome out = qv::hardcopy::GetHardcopy(rig.request, view, "prev");

    ASSERT_TRUE(out.failure.empty()) << out.failure;
    std::vector<std::string> want;
    for (std::string cmd : c.commands) want.push_back(logged(cmd));
    std::vector<std::string> got = dialectLines(rig.log);
    // The screen copy setting goes back to what the instrument said it was.
    if (!want.empty() && want.back() == "SYST:DISP:SCP <before>" && !got.empty() &&
        got.back().rfind("SYST:DISP:SCP ", 0) == 0 && got.back() != "SYST:DISP:SCP ON")
        want.back() = got.back();
    EXPECT_EQ(got, want);

    EXPECT_EQ(out.file, rig.stem() + "." + c.localExtension);
    EXPECT_TRUE(out.arrived);
    EXPECT_EQ(out.extension, c.extensionAfter);
    if (c.route == Route::Shell) {
        // Not shown here; the user was asked whether the desktop should.
        EXPECT_TRUE(view.shown.empty());
        ASSERT_EQ(host.messages().size(), 1u);
        EXPECT_EQ(host.messages()[0].title, "DISPLAY FILE?");
        EXPECT_EQ(host.messages()[0].text, "File stored in " + out.file + "\r\nDisplay it?");
    } else {
        EXPECT_TRUE(host.messages().empty()) << host.messages()[0].text;
        ASSERT_EQ(view.shown.size(), 1u);
        EXPECT_EQ(view.shown[0].route, c.route);
        EXPECT_EQ(view.fits, 1);
    }
    const std::string bytes = qvtest::readFile(out.file);
    EXPECT_TRUE(hasFormat(bytes, c.format)) << "first bytes do not announce the format";
    if (c.format != Format::Wmf && c.format != Format::Emf) {
        Decoded d = decode(bytes);
        EXPECT_GT(d.width, 40u);
        EXPECT_GT(d.height, 40u);
        EXPECT_FALSE(d.grey) << "colour is on";
    }
}

INSTANTIATE_TEST_SUITE_P(Families, DialectTest, ::testing::ValuesIn(kDialects),
                         [](const auto& info) { return std::string(info.param.family); });

// Colour off: the colour command says so and the picture has grey levels only.
class ColourOffTest : public ::testing::TestWithParam<const char*> {};

TEST_P(ColourOffTest, AsksForGreyAndGetsGrey) {
    ScriptedHost host;
    Rig rig(GetParam());
    rig.request.color = false;
    RecordingView view;
    qv::hardcopy::Outcome out = qv::hardcopy::GetHardcopy(rig.request, view, "");
    ASSERT_TRUE(out.failure.empty()) << out.failure;
    std::vector<std::string> lines = qvtest::readLines(rig.log);
    const bool scheme = std::string(GetParam()) == "MYE";
    const std::string off = scheme ? "HCOP:COLOR:SCH GRAY" : "HCOP:DEV:COL OFF";
    const std::string on = scheme ? "HCOP:COLOR:SCH COL" : "HCOP:DEV:COL ON";
    EXPECT_EQ(std::count(lines.begin(), lines.end(), off), 1);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), on), 0);
    const std::string bytes = qvtest::readFile(out.file);
    if (hasFormat(bytes, Format::Wmf) || hasFormat(bytes, Format::Emf)) return;  // vector: the loaders' tests look
    Decoded d = decode(bytes);
    ASSERT_GT(d.width, 0u);
    EXPECT_TRUE(d.grey);
}

INSTANTIATE_TEST_SUITE_P(Families, ColourOffTest,
                         ::testing::Values("TKW", "DOF", "DOC", "MYI", "MYE", "TKD", "KDE"));

TEST(Hardcopy, SaveImageOffLeavesNoFileButTheHandheldsPng) {
    for (const char* family : {"TKD", "TKG"}) {
        ScriptedHost host;
        Rig rig(family);
        rig.request.saveImage = false;
        RecordingView view;
        qv::hardcopy::Outcome out = qv::hardcopy::GetHardcopy(rig.request, view, "");
        ASSERT_EQ(view.shown.size(), 1u) << family;
        EXPECT_FALSE(view.shown[0].bytes.empty()) << "the file was there while it was shown";
        EXPECT_FALSE(qvtest::fileExists(out.file)) << family;
        EXPECT_EQ(qvtest::fileExists(rig.stem() + ".png"), std::string(family) == "TKG");
    }
}

TEST(Hardcopy, ASecondHardcopyInTheSameSecondReplacesTheFirstFile) {
    ScriptedHost host;
    Rig rig("TKD");
    const std::string file = rig.stem() + ".WMF";
    ASSERT_TRUE(qvtest::writeFile(file, "an older picture"));
    RecordingView view;
    qv::hardcopy::GetHardcopy(rig.request, view, "");
    std::string bytes = qvtest::readFile(file);
    EXPECT_TRUE(hasFormat(bytes, Format::Wmf));
    EXPECT_GT(bytes.size(), 100u);
}

TEST(Hardcopy, AFileThatNeverArrivesIsReportedAndNoOlderFileStandsInForIt) {
    ScriptedHost host;
    // The instrument never sends its file.
    Rig rig("TKD", {"--fault", "silent@MMEM:DATA?"});
    const std::string file = rig.stem() + ".WMF";
    ASSERT_TRUE(qvtest::writeFile(file, "an older picture"));
    RecordingView view;
    qv::hardcopy::Outcome out = qv::hardcopy::GetHardcopy(rig.request, view, "");
    EXPECT_FALSE(out.arrived);
    EXPECT_FALSE(qvtest::fileExists(file));
    EXPECT_TRUE(view.shown.empty());
    ASSERT_EQ(host.messages().size(), 1u);
    EXPECT_EQ(host.messages()[0].title, "ERROR");
    EXPECT_EQ(host.messages()[0].text, "Hardcopy FAILED (file " + file +
                                           " does not exist on PC)\rPlease make sure that this directory is writable "
                                           "and that you have the latest firmware installed on your device.");
    EXPECT_EQ(host.messages()[0].icon, qv::app::Icon::Warning);
}

// An instrument that never answers "*OPC?": one time-out, then the run ends
// with a message and leaves no file.
class SilentTest : public ::testing::TestWithParam<const char*> {};

TEST_P(SilentTest, GivesUpAfterOneTimeOut) {
    ScriptedHost host;
    Rig rig(GetParam(), {"--fault", "silent@*OPC?"});
    RecordingView view;
    auto t0 = std::chrono::steady_clock::now();
    qv::hardcopy::Outcome out = qv::hardcopy::GetHardcopy(rig.request, view, "");
    double s = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    // One 2 s time-out plus the pauses before it (guarded: none; general: 0.5 s).
    EXPECT_LT(s, 4.5);
    EXPECT_NE(out.failure.find("no answer to \"*OPC?\" within 2000 ms"), std::string::npos) << out.failure;
    EXPECT_TRUE(view.shown.empty());
    EXPECT_FALSE(qvtest::fileExists(out.file));
    ASSERT_EQ(host.messages().size(), 1u);
    EXPECT_EQ(host.messages()[0].title, "Hardcopy FAILED");
    std::vector<std::string> lines = dialectLines(rig.log);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "*OPC?"), 1) << "nothing is asked after the silence";
}

INSTANTIATE_TEST_SUITE_P(Dialects, SilentTest, ::testing::Values("TKD", "TKW", "DOC", "MYE", "GLN"));

// An instrument that answers "*OPC?" with 0 for ever: each wait stops at its count.
struct BusyCase {
    const char* family;
    std::string mappedName;
    int polls;  // "*OPC?" after "HCOP"
};
std::ostream& operator<<(std::ostream& os, const BusyCase& c) { return os << c.family << "/" << c.mappedName; }
class BusyTest : public ::testing::TestWithParam<BusyCase> {};

TEST_P(BusyTest, EachWaitStopsAtItsCount) {
    const BusyCase& c = GetParam();
    ScriptedHost host;
    Rig rig(c.family, {"--fault", "busy=1000000"});
    rig.request.mappedName = c.mappedName;
    RecordingView view;
    qv::hardcopy::Outcome out = qv::hardcopy::GetHardcopy(rig.request, view, "");
    EXPECT_TRUE(out.failure.empty()) << out.failure;
    std::vector<std::string> lines = dialectLines(rig.log);
    auto hcop = std::find(lines.begin(), lines.end(), "HCOP");
    ASSERT_NE(hcop, lines.end());
    auto next = std::find_if(hcop + 1, lines.end(), [](const std::string& l) { return l != "*OPC?"; });
    EXPECT_EQ(next - (hcop + 1), c.polls);
    // The instrument was busy, not broken: the transfer still ran.
    EXPECT_TRUE(out.arrived);
}

INSTANTIATE_TEST_SUITE_P(Dialects, BusyTest,
                         ::testing::Values(BusyCase{"TKD", "", 5}, BusyCase{"TKD", "KDM", 5},
                                           BusyCase{"DOC", "", 50}),
                         [](const auto& info) {
                             return std::string(info.param.family) + (info.param.mappedName.empty() ? "" : "_as_KDM");
                         });

TEST(Hardcopy, TheGuardedDialectsSharedCountNeverAsksMoreThanItsLimit) {
    ScriptedHost host;
    Rig rig("TKW", {"--fault", "busy=1000000"});
    RecordingView view;
    qv::hardcopy::Outcome out = qv::hardcopy::GetHardcopy(rig.request, view, "");
    EXPECT_TRUE(out.failure.empty()) << out.failure;
    std::vector<std::string> lines = dialectLines(rig.log);
    // Waits 1 to 6 share one count: the first uses it up (5), the other
    // five ask once each; waits 7 to 9 share the count begun anew (5 + 1 + 1).
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "*OPC?"), 17);
}

TEST(Hardcopy, TheScopeGivesUpPollingAfterItsLimit) {
    ScriptedHost host;
    Rig rig("MYE", {"--fault", "busy=1000000"});
    rig.request.completionLimitMs = 300;
    RecordingView view;
    auto t0 = std::chrono::steady_clock::now();
    qv::hardcopy::Outcome out = qv::hardcopy::GetHardcopy(rig.request, view, "");
    double s = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    EXPECT_LT(s, 2.0);
    EXPECT_NE(out.failure.find("did not finish"), std::string::npos) << out.failure;
    ASSERT_FALSE(view.progressSeen.empty());
    EXPECT_EQ(view.progressSeen.back(), 100) << "the splash is closed";
    EXPECT_EQ(host.messages().size(), 1u);
}

TEST(Hardcopy, AnInstrumentThatCannotBeOpenedIsReportedAtOnce) {
    ScriptedHost host;
    qvtest::TempDir dir;
    qv::hardcopy::Request r;
    r.resource = "TCPIP::127.0.0.1::1::SOCKET";  // nobody listens there
    r.devType = "TKD";
    r.saveFolder = dir.path();
    RecordingView view;
    qv::hardcopy::Outcome out = qv::hardcopy::GetHardcopy(r, view, "WMF");
    EXPECT_NE(out.failure.find("could not be opened"), std::string::npos) << out.failure;
    ASSERT_EQ(host.messages().size(), 1u);
    EXPECT_NE(host.messages()[0].text.find("TCPIP::127.0.0.1::1::SOCKET"), std::string::npos);
    EXPECT_EQ(out.extension, "WMF");
}

TEST(Hardcopy, ALinkDroppedDuringTheTransferLeavesNoFile) {
    ScriptedHost host;
    Rig rig("TKD", {"--fault", "drop=2000@MMEM:DATA?"});
    RecordingView view;
    qv::hardcopy::Outcome out = qv::hardcopy::GetHardcopy(rig.request, view, "");
    EXPECT_FALSE(out.arrived);
    EXPECT_FALSE(qvtest::fileExists(out.file));
    EXPECT_TRUE(view.shown.empty());
    ASSERT_EQ(host.messages().size(), 1u);
    EXPECT_NE(host.messages()[0].text.find("does not exist on PC"), std::string::npos);
}

TEST(Hardcopy, TheAudioPcxIsOpenedByTheDesktopOnYes) {
    ScriptedHost host;
    host.answers = {qv::app::Answer::Yes};
    Rig rig("DOF");
    RecordingView view;
    qv::hardcopy::Outcome out = qv::hardcopy::GetHardcopy(rig.request, view, "");
    auto shell = std::find_if(host.calls.begin(), host.calls.end(),
                              [](const ScriptedHost::Call& c) { return c.kind == ScriptedHost::Kind::OpenWithShell; });
    ASSERT_NE(shell, host.calls.end());
    EXPECT_EQ(shell->title, out.file);
    EXPECT_TRUE(view.shown.empty());
}

TEST(Hardcopy, AnUnknownFamilyTakesTheGeneralDialect) {
    EXPECT_EQ(&qv::hardcopy::dialectFor("XYZ"), &qv::hardcopy::generalDialect());
    EXPECT_EQ(&qv::hardcopy::dialectFor("BJY"), &qv::hardcopy::generalDialect());
    EXPECT_EQ(qv::hardcopy::dialectFor("KDC").extension, "EMF");
    EXPECT_FALSE(qv::hardcopy::dialectFor("KDC").colourStep);
}

TEST(Hardcopy, TheFileNameFollowsTheNamingRule) {
    ScriptedHost host;
    Rig rig("TKD");
    rig.request.listText = "TKD (Lab room)";
    RecordingView view;
    qv::hardcopy::Outcome out = qv::hardcopy::GetHardcopy(rig.request, view, "");
    EXPECT_EQ(out.file, rig.dir.path() + "/TKD-Labroom@2026-11-19_09-05-07.WMF");
}

}  // namespace

namespace {

// The command line runs the same hardcopy: the file it names, standard
// output, and a refusal.
qvtest::CommandResult cli(const std::string& args, const std::string& environment = {}) {
    return qvtest::runCommand(environment + qvtest::binPath("quilvane-cli") + " " + args);
}

TEST(HardcopyCli, WritesTheFamilysFormatUnderTheGivenNameAndSaysSo) {
    Rig rig("TKD");
    const std::string stem = rig.dir.file("bench");
    qvtest::CommandResult r = cli("hardcopy " + rig.request.resource + " -o " + stem + " --color off");
    ASSERT_EQ(r.exitCode, 0) << r.output;
    EXPECT_NE(r.output.find(stem + ".WMF"), std::string::npos) << r.output;
    EXPECT_TRUE(hasFormat(qvtest::readFile(stem + ".WMF"), Format::Wmf));
    std::vector<std::string> lines = qvtest::readLines(rig.log);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "HCOP:DEV:COL OFF"), 1);
}

TEST(HardcopyCli, WritesThePictureToStandardOutputAndLeavesNoFiles) {
    Rig rig("TKG");
    qvtest::TempDir scratch;
    qvtest::CommandResult r =
        cli("hardcopy " + rig.request.resource + " -o - 2>/dev/null", "TMPDIR=" + scratch.path() + " ");
    ASSERT_EQ(r.exitCode, 0);
    EXPECT_TRUE(hasFormat(r.output, Format::Jpeg));
    EXPECT_GT(decode(r.output).width, 40u);
    // Neither the JPEG nor the PNG it was made from stays behind.
    EXPECT_TRUE(qvtest::runCommand("ls -A " + scratch.path()).output.empty());
}

TEST(HardcopyCli, AnInstrumentThatStopsAnsweringEndsWithAReason) {
    Rig rig("TKD", {"--fault", "silent@*OPC?"});
    qvtest::CommandResult r = cli("hardcopy " + rig.request.resource + " -o " + rig.dir.file("x"));
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_NE(r.output.find("stopped answering"), std::string::npos) << r.output;
    EXPECT_FALSE(qvtest::fileExists(rig.dir.file("x.WMF")));
}

}  // namespace
