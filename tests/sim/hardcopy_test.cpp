// Hardcopies as the program fetches them: every family's command sequence,
// the picture taken the program's way (a file from the instrument's storage,
// a block, a raw stream, a pixmap), decoded with outside decoders.
#include <gtest/gtest.h>

#include <algorithm>

#include "../imaging/decode.h"
#include "imaging/image_files.h"
#include "sim/profiles.h"
#include "sim_harness.h"

using qvsimtest::Harness;

namespace {

enum class Fetch { File, Block, Stream, Pixmap };

struct Family {
    std::string tag;
    std::string format;  // WMF EMF BMP PNG JPG PCX
    // Commands in order; "{COLOR}" is the colour step, "{SCHEME}" its
    // colour scheme form; a command ending in '?' is a query whose answer is
    // read and dropped, except "SYST:DISP:SCP?", which is restored after.
    std::vector<std::string> commands;
    std::string fetch;
    Fetch how = Fetch::File;
    bool colorStep = true;
};

std::ostream& operator<<(std::ostream& os, const Family& f) { return os << f.tag; }

Family general(const std::string& tag, const std::string& ext, bool colorStep = true) {
    Family f{tag, ext, {"HCOP:DEV:LANG " + ext, "*OPC?", "HCOP:DEST 'MMEM'"}, "", Fetch::File, colorStep};
    if (colorStep) f.commands.push_back("{COLOR}");
    for (const char* c : {"MMEM:NAME 'C:\\HCOPY.", "HCOP:ITEM:ALL", "SYST:DISP:UPD ON", "HCOP", "*OPC?",
                          "SYST:DISP:UPD ON"})
        f.commands.push_back(c);
    f.commands[f.commands.size() - 6] += ext + "'";
    f.fetch = "MMEM:DATA? 'C:\\HCOPY." + ext + "'";
    return f;
}

Family guarded(const std::string& tag) {
    return {tag,
            "WMF",
            {"HCOP:DEV:LANG WMF", "*OPC?", "MMEM:NAME 'C:\\HCOPY.wmf'", "*OPC?", "SYST:ERR?", "{COLOR}", "*OPC?",
             "SYST:ERR?", "HCOP:DEST 'MMEM'", "*OPC?", "SYST:ERR?", "SYST:DISP:UPD ON", "*OPC?", "SYST:ERR?", "HCOP",
             "SYST:ERR?", "*OPC?", "SYST:ERR?", "*OPC?", "SYST:DISP:UPD ON", "*OPC?", "SYST:ERR?"},
            "MMEM:DATA? 'C:\\HCOPY.wmf'"};
}

std::vector<Family> families() {
    std::vector<Family> all;
    for (const char* t : {"TKD", "TKM", "TKB", "TKN", "TKAH", "TKA", "TKR", "VHJO", "VHK", "VHY", "KDH", "KDM", "GLT",
                          "GXB", "BJX", "BQS", "PZB", "PWEF", "PWE"})
        all.push_back(general(t, "WMF"));
    all.push_back(general("KDC", "EMF", false));
    all.push_back(general("KDE", "EMF"));
    all.push_back(guarded("TKW"));
    all.push_back(guarded("KDP"));
    all.push_back({"TKG",
                   "PNG",
                   {"MMEM:NAME '\\Public\\Screen Shots\\HCOPY.png'", "HCOP;*WAI"},
                   "MMEM:DATA? '\\Public\\Screen Shots\\HCOPY.png'",
                   Fetch::File,
                   false});
    all.push_back({"DOF",
                   "PCX",
                   {"HCOP:DEST PCXF,'HCOPY.pcx'", "{COLOR}", "SYST:DISP:UPD ON", "HCOP;*WAI", "SYST:DISP:UPD ON"},
                   "MMEM:DATA? 'HCOPY.pcx'"});
    all.push_back({"DOC",
                   "BMP",
                   {"SYST:DISP:SCP?", "SYST:DISP:SCP ON", "HCOP:DEST FILE", "{COLOR}", "HCOP:FILE:MOD OVER",
                    "HCOP:FILE 'c:\\HCOPY.bmp'", "HCOP", "*OPC?"},
                   "MMEM:DATA? 'c:\\HCOPY.bmp'"});
    for (const char* t : {"GLN", "GLY"})
        all.push_back({t, "BMP", {"HCOP:DEV:LANG BMP", "*OPC?"}, "HCOPY:DATA?", Fetch::Block, false});
    all.push_back({"MYI",
                   "JPG",
                   {"HCOP:DEST 'MMEM'", "HCOP:DEV:LANG JPG", "MMEM:NAME 'C:\\HCOPY.jpg'", "{COLOR}", "HCOP:IMM;*WAI"},
                   "MMEM:DATA? 'C:\\HCOPY.jpg'"});
    all.push_back({"MYE",
                   "PNG",
                   {"MMEM:CDIR '/INT/DATA'", "HCOP:DEST 'MMEM'", "HCOP:LANG PNG", "MMEM:NAME 'HCOPY'", "{SCHEME}",
                    "HCOP:IMM", "*OPC?"},
                   "MMEM:DATA? '/INT/DATA/HCOPY.PNG'"});
    all.push_back({"GLEF", "BMP", {}, "HCOP:DATA?", Fetch::Stream, false});
    all.push_back({"HUV", "BMP", {}, "DISP:PIXM?", Fetch::Pixmap, false});
    return all;
}

// The data of a definite-length block answer ("#<n><len><data>\n").
bool blockData(const std::string& answer, std::vector<uint8_t>& data) {
    if (answer.size() < 3 || answer[0] != '#' || answer[1] < '1' || answer[1] > '9') return false;
    size_t digits = size_t(answer[1] - '0');
    if (answer.size() < 2 + digits) return false;
    size_t len = std::stoul(answer.substr(2, digits));
    size_t at = 2 + digits;
    if (answer.size() != at + len + 1 || answer.back() != '\n') return false;
    data.assign(answer.begin() + long(at), answer.begin() + long(at + len));
    return true;
}

// Runs a family's sequence and fetches the picture as the program does.
std::vector<uint8_t> takeHardcopy(Harness& h, const Family& f, bool color) {
    std::string keptScreenCopy;
    for (const auto& cmd : f.commands) {
        std::string c = cmd;
        if (c == "{COLOR}") c = color ? "HCOP:DEV:COL ON" : "HCOP:DEV:COL OFF";
        if (c == "{SCHEME}") c = color ? "HCOP:COLOR:SCH COL" : "HCOP:COLOR:SCH GRAY";
        std::string a = h.send(c + "\n");
        if (c.back() == '?') {
            EXPECT_FALSE(a.empty()) << c;
        }
        if (c == "SYST:DISP:SCP?") keptScreenCopy = a.substr(0, a.find('\n'));
        if (c == "*OPC?") {
            EXPECT_EQ(a, "1\n");
        }
    }
    std::string answer = h.send(f.fetch + "\n");
    if (!keptScreenCopy.empty()) h.send("SYST:DISP:SCP " + keptScreenCopy + "\n");
    std::vector<uint8_t> file;
    switch (f.how) {
    case Fetch::Stream:
        file.assign(answer.begin(), answer.end());
        break;
    case Fetch::Pixmap:
        // The program puts the first ten bytes of the bitmap back.
        EXPECT_TRUE(blockData(answer, file));
        file.insert(file.begin(), {'B', 'M', 0, 0, 0, 0, 0, 0, 0, 0});
        break;
    default:
        EXPECT_TRUE(blockData(answer, file)) << answer.substr(0, 40);
    }
    return file;
}

class FamilyHardcopy : public ::testing::TestWithParam<Family> {};

TEST_P(FamilyHardcopy, IsAValidPictureOfTheScreen) {
    const Family& f = GetParam();
    const qv::sim::Profile* profile = qv::sim::findProfile(f.tag);
    ASSERT_TRUE(profile);
    for (bool color : {true, false}) {
        if (!color && !f.colorStep) continue;
        SCOPED_TRACE(color ? "colour on" : "colour off");
        Harness h(f.tag);
        std::vector<uint8_t> file = takeHardcopy(h, f, color);
        EXPECT_EQ(h.drainErrors(), std::vector<int>{});
        ASSERT_FALSE(file.empty());
        int width = 0, height = 0;
        bool grey = false;
        std::string why;
        if (f.format == "WMF") {
            qvimagetest::WmfInfo info;
            ASSERT_TRUE(qvimagetest::walkWmf(file, info, why)) << why;
            width = info.width;
            height = info.height;
            auto colors = qvimagetest::wmfColors(file, info);
            grey = std::all_of(colors.begin(), colors.end(), qvimagetest::colorRefGrey);
            // Drawn, not a wrapped bitmap.
            EXPECT_TRUE(std::any_of(info.records.begin(), info.records.end(), [](auto& r) { return r.type == 0x0325; }));
            EXPECT_FALSE(std::any_of(info.records.begin(), info.records.end(), [](auto& r) { return r.type == 0x0F43; }));
        } else if (f.format == "EMF") {
            qvimagetest::EmfInfo info;
            ASSERT_TRUE(qvimagetest::walkEmf(file, info, why)) << why;
            width = info.boundsRight + 1;
            height = info.boundsBottom + 1;
            auto colors = qvimagetest::emfColors(file, info);
            grey = std::all_of(colors.begin(), colors.end(), qvimagetest::colorRefGrey);
            std::string svg;
            ASSERT_TRUE(qvimagetest::emfToSvg(file, svg));
            EXPECT_NE(svg.find("<path"), std::string::npos);
            EXPECT_EQ(svg.find("<image"), std::string::npos);
        } else {
            qv::imaging::Raster r;
            FREE_IMAGE_FORMAT found;
            ASSERT_TRUE(qvimagetest::decodeRaster(file, r, found));
            const FREE_IMAGE_FORMAT expected = f.format == "BMP"   ? FIF_BMP
                                               : f.format == "PNG" ? FIF_PNG
                                               : f.format == "JPG" ? FIF_JPEG
                                                                   : FIF_PCX;
            EXPECT_EQ(found, expected);
            width = r.width;
            height = r.height;
            grey = r.greyOnly();
            // A screen, not an empty picture: some variety of pixels.
            EXPECT_GT(qv::imaging::countColors(r, 64), 4u);
        }
        EXPECT_EQ(width, profile->screenWidth);
        EXPECT_EQ(height, profile->screenHeight);
        EXPECT_EQ(grey, !color);
        if (f.how == Fetch::Stream) {
            EXPECT_EQ(file.size(), 16100u);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Dialects, FamilyHardcopy, ::testing::ValuesIn(families()),
                         [](const auto& info) { return info.param.tag; });

TEST(Hardcopy, ScreenSizesTheProgramCountsOn) {
    EXPECT_EQ(qv::sim::findProfile("MYE")->screenWidth, 1920);
    EXPECT_EQ(qv::sim::findProfile("MYE")->screenHeight, 1080);
    // Every profile makes a picture in its own language.
    for (const auto& p : qv::sim::allProfiles()) {
        Harness h(p.tag);
        std::string a = h.send("HCOP:DATA?\n");
        EXPECT_FALSE(a.empty()) << p.tag;
        EXPECT_EQ(h.drainErrors(), std::vector<int>{}) << p.tag;
        EXPECT_EQ(h.send("HCOP:DEV:LANG?\n"), p.hardcopyFormat + "\n");
    }
}

// ---------------------------------------------------------------------------
// Settings, names and errors

struct Exchange {
    const char* family;
    const char* sent;
    const char* answer;  // without LF; "" for none
    std::vector<int> errors;
};

std::ostream& operator<<(std::ostream& os, const Exchange& e) { return os << e.family << " " << e.sent; }

class HardcopySettings : public ::testing::TestWithParam<Exchange> {};

TEST_P(HardcopySettings, AnswerAndErrors) {
    const auto& e = GetParam();
    Harness h(e.family);
    std::string a = h.send(std::string(e.sent) + "\n");
    EXPECT_EQ(a, *e.answer ? std::string(e.answer) + "\n" : "");
    EXPECT_EQ(h.drainErrors(), e.errors);
}

INSTANTIATE_TEST_SUITE_P(
    Commands, HardcopySettings,
    ::testing::Values(
        Exchange{"TKD", "HCOPY:DEVICE:LANGUAGE emf;:HCOP:LANG?", "EMF", {}},
        Exchange{"TKD", "HCOP:LANG JPEG;LANG?", "JPG", {}},
        Exchange{"TKD", "HCOP:DEV:LANG TIFF", "", {-224}},
        Exchange{"TKD", "HCOP:DEV:COL OFF;COL?", "0", {}},
        Exchange{"TKD", "HCOP:DEV:COL 1;COL?", "1", {}},
        Exchange{"TKD", "HCOP:DEV:COL MAYBE", "", {-224}},
        Exchange{"TKD", "HCOP:DEV:COL 'ON'", "", {-104}},
        Exchange{"MYE", "HCOP:COLOR:SCH GRAY;SCH?;:HCOP:DEV:COL?", "GRAY;0", {}},
        Exchange{"MYE", "HCOP:COL:SCH PINK", "", {-224}},
        Exchange{"TKD", "HCOP:DEST 'MMEM';DEST?", "\"MMEM\"", {}},
        Exchange{"DOC", "HCOP:DEST FILE;DEST?", "\"FILE\"", {}},
        Exchange{"TKD", "HCOP:DEST 'SYST:COMM:PRIN';DEST?", "\"PRIN\"", {}},
        Exchange{"TKD", "HCOP:DEST 'NOWHERE'", "", {-224}},
        Exchange{"DOF", "HCOP:DEST PCXF", "", {-109}},
        Exchange{"DOF", "HCOP:DEST PCXF,'A.PCX';:HCOP:LANG?;:MMEM:NAME?", "PCX;\"A.PCX\"", {}},
        Exchange{"TKD", "HCOP:DEST 'MMEM','X'", "", {-108}},
        Exchange{"TKD", "MMEM:NAME 'Q:\\HCOPY.WMF'", "", {-257}},
        Exchange{"TKD", "HCOP:FILE:NAME 'C:\\A.WMF';:MMEM:NAME?", "\"C:\\A.WMF\"", {}},
        Exchange{"DOC", "HCOP:FILE:MODE OVERWRITE;MODE?", "OVER", {}},
        Exchange{"DOC", "HCOP:FILE:MOD SOMETIMES", "", {-224}},
        Exchange{"TKD", "HCOP:IMM 1", "", {-108}},
        Exchange{"TKD", "HCOP:ITEM:ALL?", "", {-113}},
        Exchange{"TKD", "SYST:DISP:UPD OFF;UPD?", "0", {}},
        // The screen copy answer is a value the command takes back.
        Exchange{"DOC", "SYST:DISP:SCP?;SCP 0;SCP ON;SCP?", "0;1", {}},
        Exchange{"TKD", "*RST;:HCOP:DEV:LANG?;COL?", "WMF;1", {}}),
    [](const auto& info) { return "Case" + std::to_string(info.index); });

TEST(Hardcopy, FileNamesAsTheInstrumentTakesThem) {
    Harness h("TKD");
    // Any letter case fetches the file; a name without extension gets the
    // language's in upper case.
    h.send("HCOP:DEV:LANG WMF;:MMEM:NAME 'c:\\Shot';:HCOP\n");
    EXPECT_EQ(h.send("MMEM:DATA? 'C:\\SHOT.wmf'\n").substr(0, 1), "#");
    EXPECT_EQ(h.drainErrors(), std::vector<int>{});
    // NEW refuses to overwrite, OVER does.
    h.send("HCOP:FILE:MOD NEW;:HCOP\n");
    EXPECT_EQ(h.drainErrors(), std::vector<int>{-257});
    h.send("HCOP:FILE:MOD OVER;:HCOP\n");
    EXPECT_EQ(h.drainErrors(), std::vector<int>{});
    // A printer destination keeps nothing.
    h.send("HCOP:DEST 'PRIN';:MMEM:NAME 'C:\\PRINTED.WMF';:HCOP\n");
    h.send("MMEM:DATA? 'C:\\PRINTED.WMF'\n");
    EXPECT_EQ(h.drainErrors(), std::vector<int>{-256});
}

TEST(Hardcopy, InstrumentsWithoutDrivesKeepTheirPicturesOutOfSight) {
    Harness h("PWE");
    h.send("MMEM:NAME 'C:\\HCOPY.WMF';:HCOP\n");
    EXPECT_EQ(h.send("MMEM:DATA? 'c:\\hcopy.wmf'\n").substr(0, 1), "#");
    EXPECT_EQ(h.drainErrors(), std::vector<int>{});
    // The internal drive is neither listed nor selectable nor named otherwise.
    std::string cat = h.send("MMEM:CAT?\n");
    EXPECT_EQ(cat.find("HCOPY"), std::string::npos) << cat;
    EXPECT_EQ(cat.find(".qv"), std::string::npos) << cat;
    h.send("MMEM:MSIS 'C:'\n");
    h.send("MMEM:DATA? '.qv-internal/HCOPY.WMF'\n");
    h.send("MMEM:DATA? '/.qv-internal/HCOPY.WMF'\n");
    EXPECT_EQ(h.drainErrors(), (std::vector<int>{-257, -257, -257}));
}

TEST(Hardcopy, DisplayOffAndScreenCopyChangeThePicture) {
    Harness h("DOC");
    auto picture = [&] { return h.send("HCOP:DEV:LANG BMP;:HCOP:DATA?\n"); };
    std::string normal = picture();
    h.send("SYST:DISP:UPD OFF\n");
    std::string off = picture();
    h.send("SYST:DISP:UPD ON;:SYST:DISP:SCP ON\n");
    std::string marked = picture();
    EXPECT_NE(normal, off);
    EXPECT_NE(normal, marked);
    EXPECT_EQ(normal.size(), off.size());
}

// ---------------------------------------------------------------------------
// The busy fault

TEST(BusyFault, OpcAnswersZeroForTheGivenCount) {
    qv::sim::InstrumentOptions o;
    o.faults = {"busy=3"};
    Harness h("TKD", o);
    std::vector<std::string> answers;
    for (int i = 0; i < 5; ++i) answers.push_back(h.send("*OPC?\n"));
    EXPECT_EQ(answers, (std::vector<std::string>{"0\n", "0\n", "0\n", "1\n", "1\n"}));
    // At run time too, and "for ever" is a very large count.
    h.send("SYST:SIM:FAULT 'busy=4611686018427387904'\n");
    for (int i = 0; i < 100; ++i) ASSERT_EQ(h.send("*OPC?\n"), "0\n");
    h.send("SYST:SIM:FAULT:CLEAR\n");
    EXPECT_EQ(h.send("*OPC?\n"), "1\n");
    EXPECT_EQ(h.drainErrors(), std::vector<int>{});
}

TEST(BusyFault, MalformedOnesAreRefusedAndSilenceStillWorks) {
    qv::sim::Fault f;
    std::string why;
    for (const char* bad : {"busy", "busy=0", "busy=-1", "busy=x", "busy=2@*OPC?", "busy=99999999999999999999"})
        EXPECT_FALSE(qv::sim::parseFault(bad, f, why)) << bad;
    qv::sim::InstrumentOptions o;
    o.faults = {"silent@*OPC?"};
    Harness h("TKD", o);
    h.send("*OPC?\n");
    EXPECT_TRUE(h.last.silent);
}

}  // namespace
