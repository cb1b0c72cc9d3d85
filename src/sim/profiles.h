// One profile per instrument family: what the simulated instrument says
// about itself and what it offers (drives, measurement modes).
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace qv::sim {

struct Profile {
    std::string tag;       // family tag, upper case ("TKD")
    std::string kind;      // what the instrument is ("spectrum analyzer")
    std::string identity;  // *IDN? answer
    std::string options;   // *OPT? answer
    // Drives as the instrument names them: "C:" style or "/hdd" style;
    // empty when the instrument has no mass storage of its own.
    std::vector<std::string> drives;
    std::string startDirectory;      // initial MMEM:CDIR, e.g. "D:\" or "/hdd"
    std::vector<std::string> modes;  // INST:SEL words; the first is the default
    bool networkAnalyzer = false;
    // The older network analyzer: four fixed channels of one unnamed trace
    // each, the active channel as its mode word (INST:SEL? CHANNEL1).
    bool fixedNetworkChannels = false;
    // An oscilloscope, and how it answers waveforms: in the data format
    // with CHAN<n>:WAV1:DATA, or always as text with CHAN<n>:DATA.
    enum class Scope { None, BinaryWaveforms, TextWaveforms };
    Scope scope = Scope::None;
    // Calibration results, hardware info and self-test results
    // (CAL:RES?, DIAG:SERV:HWIN?, DIAG:SERV:STES:RES?).
    bool analyzerUtilities = false;
    // Which correction table the instrument keeps: a generator's list of
    // frequencies and levels, or an analyzer's transducer factor.
    enum class Correction { None, Generator, Transducer };
    Correction correction = Correction::None;
    // Stores its peak list as a file (MMEM:STOR:PEAK).
    bool peakList = false;
    // Has the digital demodulation mode DDEM and its result summary.
    bool demodulation = false;
    // Has the analyzer modes (SAN REC CATV PNO ADEM) and their trace
    // settings: level unit, x spacing, sweep time, trace states.
    bool analyzer = false;
    // Answers a trace query with one value more than its trace length (TKG).
    bool extraTracePoint = false;
    // An audio analyzer: traces in volts, SENS:UNIT, CALC:TRAN:FREQ, and
    // errors through *ERR? (DOF, DOC).
    bool audio = false;
    // Folders the firmware keeps besides the start folder.
    std::vector<std::string> folders;
    // Hardcopy language after power-on ("WMF", "EMF", "BMP", "PNG", "JPG",
    // "PCX") and the screen's size in pixels.
    std::string hardcopyFormat = "WMF";
    int screenWidth = 800;
    int screenHeight = 600;
};

const std::vector<Profile>& allProfiles();
// Case-insensitive lookup; nullptr when the tag is unknown.
const Profile* findProfile(std::string_view tag);
// "TKD, TKM, ..." for error messages and usage.
std::string knownProfileTags();

}  // namespace qv::sim
