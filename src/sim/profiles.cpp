#include "profiles.h"
#include "text.h"

#include <algorithm>
#include <cctype>

namespace qv::sim {

namespace {

// Mode words of the analyzer families; the network analyzers only know NWA.
const std::vector<std::string> kAnalyzerModes{"SAN", "REC", "CATV", "PNO", "ADEM"};
const std::vector<std::string> kDemodulationModes{"SAN", "REC", "CATV", "PNO", "ADEM", "DDEM"};
const std::vector<std::string> kSignalAnalyzerModes{"SAN", "REC", "CATV", "PNO", "ADEM", "NWA"};
const std::vector<std::string> kNetworkModes{"NWA"};
const std::vector<std::string> kPlainModes{"SAN"};

std::vector<Profile> buildProfiles() {
    using V = std::vector<std::string>;
    auto P = [](const char* tag, const char* kind, const char* group, const char* serial, const char* firmware,
                const char* options, V drives, const char* start, const std::vector<std::string>& modes) {
        Profile p;
        p.tag = tag;
        p.kind = kind;
        p.identity = std::string("Tesselhorn,") + tag + "-" + group + "," + serial + "," + firmware;
        p.options = options;
        p.drives = std::move(drives);
        p.startDirectory = start;
        p.modes = modes;
        p.networkAnalyzer = (modes == kNetworkModes);
        return p;
    };
    // The table follows the families table of the product: drives and start
    // folders as listed there; TKB runs a 3.4x firmware on purpose.
    return {
        P("TKD", "spectrum analyzer", "7", "100123/007", "4.40", "TR1,PA3,GT2", {"A:", "C:", "D:"}, "D:\\", kAnalyzerModes),
        P("TKM", "spectrum analyzer with demodulation", "3", "100245/003", "4.52", "TR1,PA3,DM1,DM7", {"A:", "C:", "D:"}, "D:\\", kDemodulationModes),
        P("TKB", "spectrum analyzer", "26", "100311/026", "3.45", "PA3", {"A:", "C:", "D:"}, "C:\\", kAnalyzerModes),
        P("TKW", "signal and spectrum analyzer", "43", "101877/043", "2.70", "PA3,NW1,DM1", {"A:", "C:"}, "C:\\", kSignalAnalyzerModes),
        P("TKN", "spectrum analyzer", "8", "102004/008", "1.90", "TR1", {"C:"}, "C:\\", kAnalyzerModes),
        P("TKAH", "spectrum analyzer", "13", "100870/013", "1.62", "", {"A:", "C:"}, "C:\\", kAnalyzerModes),
        P("TKA", "spectrum analyzer", "3", "830114/003", "3.93", "", {}, "", kAnalyzerModes),
        P("TKR", "spectrum analyzer", "4", "100562/004", "1.71", "TR1", {"A:", "C:"}, "C:\\", kAnalyzerModes),
        P("TKG", "handheld spectrum analyzer", "6", "101245/006", "2.10", "GP1", {"/"}, "/", kAnalyzerModes),
        P("VHJO", "EMI test receiver", "26", "100440/026", "4.73", "PS1,RF2", {"D:"}, "D:\\", kAnalyzerModes),
        P("VHK", "EMI test receiver", "30", "835012/030", "3.40", "", {}, "", kAnalyzerModes),
        P("VHY", "EMI test receiver", "3", "101317/003", "1.51", "PS1", {"A:", "C:"}, "C:\\", kAnalyzerModes),
        P("KDC", "vector network analyzer", "8", "100912/008", "1.32", "TS4,TD1", {"C:", "D:"}, "C:\\", kNetworkModes),
        P("KDE", "vector network analyzer", "4", "101633/004", "2.15", "", {}, "", kNetworkModes),
        P("KDP", "vector network analyzer", "24", "102114/024", "1.80", "TS4", {"C:"}, "C:\\", kNetworkModes),
        P("KDH", "vector network analyzer", "4", "100076/004", "1.10", "", {}, "", kNetworkModes),
        P("KDM", "vector network analyzer, older", "20", "832110/020", "3.61", "TS2", {"A:", "C:"}, "C:\\", kNetworkModes),
        P("GLEF", "vector signal generator", "6", "100512/006", "2.20", "IQ1", {}, "", kPlainModes),
        P("GLN", "signal generator", "3", "102290/003", "4.80", "FQ6,PM1", {"/hdd", "/var/user"}, "/hdd", kPlainModes),
        P("GLY", "signal generator", "6", "101988/006", "3.11", "FQ3", {"C:", "D:"}, "D:\\", kPlainModes),
        P("GLT", "signal generator", "2", "100654/002", "1.45", "", {}, "", kPlainModes),
        P("GXB", "signal generator", "1", "100219/001", "2.06", "", {}, "", kPlainModes),
        P("HUV", "radio test set", "2", "101430/002", "1.30", "", {}, "", kPlainModes),
        P("DOF", "audio analyzer", "2", "832765/002", "2.04", "", {}, "", kPlainModes),
        P("DOC", "audio analyzer", "40", "100882/040", "3.20", "AN2", {"C:", "D:"}, "C:\\", kPlainModes),
        P("MYI", "oscilloscope, binary waveforms", "104", "101540/104", "5.10", "MS1", {"C:"}, "C:\\", kPlainModes),
        P("MYE", "oscilloscope, text waveforms", "1004", "100045/004", "1.40", "",
          {"/USB_FRONT", "/USB_REAR", "/INT"}, "/INT", kPlainModes),
        P("BJY", "radio communication tester", "500", "101761/500", "3.70", "SG1,LT1", {"INT:", "EXT:"},
          "INT:\\USERDATA\\PRINT\\", kPlainModes),
        P("BJX", "radio communication tester", "200", "100333/200", "4.05", "SG1", {"C:", "D:"}, "D:\\", kPlainModes),
        P("BQS", "radio communication tester", "100", "102577/100", "1.25", "", {"INT:", "EXT:"}, "INT:\\", kPlainModes),
        P("PZB", "power sensor base unit", "2", "100711/002", "2.30", "", {"C:", "D:"}, "D:\\", kPlainModes),
        P("PWEF", "power meter", "4", "101215/004", "1.88", "", {"A:", "C:", "D:"}, "C:\\", kPlainModes),
        P("PWE", "power meter", "2", "100902/002", "2.12", "", {}, "", kPlainModes),
        // Models that pass for a family under an alias of the capability
        // file (TKU, TKV as TKD; KDZ as KDC; MYK as MYI; GLQ as GLN; KDX as
        // TKW): they behave like their family and name themselves by model.
        P("TKU", "spectrum analyzer", "7", "100731/007", "4.40", "TR1,PA3", {"A:", "C:", "D:"}, "D:\\", kAnalyzerModes),
        P("TKV", "spectrum analyzer", "13", "100788/013", "4.41", "TR1", {"A:", "C:", "D:"}, "D:\\", kAnalyzerModes),
        P("KDZ", "vector network analyzer", "8", "101004/008", "1.35", "TS4", {"C:", "D:"}, "C:\\", kNetworkModes),
        P("MYK", "oscilloscope, binary waveforms", "204", "101622/204", "5.12", "MS1", {"C:"}, "C:\\", kPlainModes),
        P("GLQ", "signal generator", "6", "102377/006", "4.82", "FQ6", {"/hdd", "/var/user"}, "/hdd", kPlainModes),
        P("KDX", "signal and spectrum analyzer", "26", "101955/026", "2.72", "PA3,NW1", {"A:", "C:"}, "C:\\",
          kSignalAnalyzerModes),
    };
}

// Screens: the hardcopy language an instrument starts with and its screen.
// A model named under an alias has its family's screen.
struct Screen {
    const char* tags;  // blank separated
    const char* format;
    int width, height;
};
constexpr Screen kScreens[] = {
    {"TKD TKM TKB TKN TKU TKV", "WMF", 1024, 768},
    {"TKW KDX", "WMF", 1280, 800},
    {"TKAH TKA TKR", "WMF", 640, 480},
    {"TKG", "PNG", 640, 480},
    {"VHJO VHK VHY", "WMF", 800, 600},
    {"KDC KDZ KDE", "EMF", 1024, 768},
    {"KDP KDH", "WMF", 1024, 768},
    {"KDM", "WMF", 640, 480},
    // The stream answer of this generator has room for 16100 bytes.
    {"GLEF", "BMP", 240, 128},
    {"GLN GLQ", "BMP", 800, 480},
    {"GLY", "BMP", 320, 240},
    {"GLT GXB", "WMF", 320, 240},
    {"HUV", "BMP", 640, 480},
    {"DOF", "PCX", 640, 480},
    {"DOC", "BMP", 800, 600},
    {"MYI MYK", "JPG", 1024, 768},
    {"MYE", "PNG", 1920, 1080},
    {"BJY", "PNG", 1024, 768},
    {"BJX BQS", "WMF", 800, 600},
    {"PZB PWEF PWE", "WMF", 320, 240},
};

void addScreens(std::vector<Profile>& profiles) {
    for (auto& p : profiles) {
        for (const auto& s : kScreens) {
            std::string tags = std::string(" ") + s.tags + " ";
            if (tags.find(" " + p.tag + " ") == std::string::npos) continue;
            p.hardcopyFormat = s.format;
            p.screenWidth = s.width;
            p.screenHeight = s.height;
        }
        // The families whose firmware has the service queries of the
        // analyzer utilities; aliases as their family.
        static const std::string kUtilities = " TKD TKM TKB TKW TKN TKAH TKA TKR VHJO VHK VHY TKU TKV KDX ";
        p.analyzerUtilities = kUtilities.find(" " + p.tag + " ") != std::string::npos;
        // User correction and instrument tables follow the capability file
        // (bits 16 and 32); every other family refuses their commands.
        static const std::string kGenerators = " GLEF GLN GLY GLT GXB GLQ ";
        static const std::string kTransducers = " TKD TKM TKB TKW TKU TKV KDX ";
        static const std::string kPeakLists = " TKD TKM TKB TKW TKN TKU TKV KDX ";
        if (kGenerators.find(" " + p.tag + " ") != std::string::npos) p.correction = Profile::Correction::Generator;
        if (kTransducers.find(" " + p.tag + " ") != std::string::npos) p.correction = Profile::Correction::Transducer;
        p.peakList = kPeakLists.find(" " + p.tag + " ") != std::string::npos;
        p.demodulation = p.tag == "TKM";
        p.analyzer = std::find(p.modes.begin(), p.modes.end(), "ADEM") != p.modes.end();
        p.extraTracePoint = p.tag == "TKG";
        p.audio = p.tag == "DOF" || p.tag == "DOC";
        p.fixedNetworkChannels = p.tag == "KDM";
        if (p.tag == "MYI" || p.tag == "MYK") p.scope = Profile::Scope::BinaryWaveforms;
        if (p.tag == "MYE") p.scope = Profile::Scope::TextWaveforms;
        // Where these firmwares put their screen shots.
        if (p.tag == "TKG") p.folders = {"/Public/Screen Shots"};
        if (p.tag == "MYE") p.folders = {"/INT/DATA"};
    }
}

}  // namespace

const std::vector<Profile>& allProfiles() {
    static const std::vector<Profile> profiles = [] {
        auto all = buildProfiles();
        addScreens(all);
        return all;
    }();
    return profiles;
}

const Profile* findProfile(std::string_view tag) {
    for (const auto& p : allProfiles())
        if (equalsIgnoreCase(p.tag, tag)) return &p;
    return nullptr;
}

std::string knownProfileTags() {
    std::string out;
    for (const auto& p : allProfiles()) {
        if (!out.empty()) out += ", ";
        out += p.tag;
    }
    return out;
}

}  // namespace qv::sim
