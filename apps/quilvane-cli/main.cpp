// quilvane-cli: one exchange with an instrument from the command line, for
// users who want to see what an instrument answers and for scripts. Every
// command goes through VIF, as the program's windows do, so --log shows the
// same I/O log a user would get from the program.
#include "cli.h"

#include "app/context.h"
#include "app/host.h"
#include "app/iniio.h"
#include "app/main_window.h"
#include "app/text.h"
#include "families/registry.h"
#include "hardcopy/dialect.h"
#include "hardcopy/hardcopy.h"
#include "instrument_directory/capabilities.h"
#include "instrument_directory/visa_scan.h"
#include "instrument_directory/remote_editor.h"
#include "instrument_io/vif.h"
#include "instrument_io/visa/status_text.h"
#include "instrument_io/visa/visa_log.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

using qv::io::VIF;
using namespace qv::cli;

namespace {

const char* const kUsage =
    "usage: quilvane-cli [--timeout MS] [--log FILE [--log-level N]] COMMAND ...\n"
    "  query RES CMD          send CMD and print the answer\n"
    "  write RES CMD          send CMD\n"
    "  stb RES                print the status byte\n"
    "  clear RES              clear the device\n"
    "  poll RES               read the error queue until it is empty\n"
    "  fetch RES CMD FILE     send CMD and store its block answer in FILE\n"
    "  send RES PREFIX FILE   send PREFIX followed by FILE as a block\n"
    "  floats RES CMD         send CMD and print its block of 32-bit floats, one a line\n"
    "  identify RES           ask who RES is and print its record, one \"Name: value\" a line\n"
    "  hardcopy RES [-o FILE] [--color on|off]\n"
    "                         fetch the instrument's screen picture and print the file's name;\n"
    "                         FILE is named without extension (the instrument's format adds it),\n"
    "                         \"-\" writes the picture to standard output\n"
    "  scan [--ini FILE]      scan the instruments configured in FILE (default: the user's\n"
    "                         Quilvane.ini) and print instrument, resource and computer name\n"
    "  ls RES PATH            list the instrument's folder PATH: name, then size in bytes or DIR\n"
    "  get RES REMOTE LOCAL   fetch the instrument's file REMOTE into LOCAL (\"-\": standard output)\n"
    "  put RES LOCAL FOLDER   send the local file LOCAL into the instrument's folder FOLDER\n"
    "  mkdir RES PATH         make the folder PATH on the instrument\n"
    "  rm RES PATH            delete the file or (empty) folder PATH on the instrument\n"
    "                         PATH as the instrument names it: D:\\USER\\x.set, /hdd/x.wv, INT:\\\n"
    "  raw RES COMMANDS_FILE OUT\n"
    "                         send the commands of COMMANDS_FILE (one a line) as they stand and\n"
    "                         store what the instrument sends after the last one in OUT\n"
    "                         (at most 1000000 bytes)\n"
    "  status RES             print the identity, the options and the error queue\n"
    "  script RES FILE [NAME=VALUE ...]\n"
    "                         run the script FILE against RES and print its results; parameters\n"
    "                         not given keep the script's defaults (a bare FILE default lands in\n"
    "                         the current folder); exit 1 when the run ended with errors, 2 when\n"
    "                         the script does not serve the identified instrument\n"
    "  ucor RES FILE [--name NAME] [--unit UNIT] [--freq-unit Hz|kHz|MHz|GHz] [--scale lin|log]\n"
    "       [--comment TEXT] [--negate] [--ref-level LEVEL] [--ini FILE]\n"
    "                         import the transducer file FILE by the [UCor] rules of the settings\n"
    "                         file and upload it as a user correction (generators) or transducer\n"
    "                         table (analyzers); defaults: UCOR1, dB, Hz, lin, empty comment;\n"
    "                         UNIT: dB, dBm, dBuV, dBuV/m, dBuA, dBuA/m, dBpW, dBpt\n"
    "  peaks RES [-o FILE]    read the instrument's peak list and print it (marker, frequency, level,\n"
    "                         tab-separated, header first) or write it to FILE\n"
    "  demod RES [-o FILE]    read the demodulation result summary (in mode DDEM) and print its 53\n"
    "                         values, \"label<TAB>value\" a line, or write them to FILE (RTF for *.rtf)\n"
    "  discover [--subnet A.B.C.*|A.B.C.D] [--mdns] [--add] [--ini FILE]\n"
    "                         find instruments on the LAN: by default the port mapper broadcast\n"
    "                         (VXI-11), --subnet walks A.B.C.1 to .255 (or the one host A.B.C.D),\n"
    "                         --mdns browses the services announced by mDNS (needs avahi-daemon);\n"
    "                         prints \"address<TAB>resource<TAB>identity\" a line, the summary on\n"
    "                         standard error; instruments already in the settings are skipped;\n"
    "                         --add writes the ones found into the settings as the editor does;\n"
    "                         --timeout sets the broadcast's collection (2500), the walk's ping\n"
    "                         wait (1000) or the browse (3000); exit 0 found, 1 none, 2 no scan\n"
    "  trace RES [--channel N] [--trace N] [--list] [-o FILE] [--png FILE]\n"
    "                         read one trace as the trace window does and print it, \"X; Y\" a\n"
    "                         line with the system's decimal mark, or write it to FILE; --png also\n"
    "                         draws it (when this build can). --channel and --trace pick as the\n"
    "                         window's selectors do, counting from 1 (default 1): a network\n"
    "                         analyzer's channel number and trace (number in the list or name),\n"
    "                         a scope's channel 1-4 or math source (5-8, or \"Math 2\"), an\n"
    "                         analyzer's trace number; --list prints the channels and traces,\n"
    "                         \"channel|trace<TAB>N<TAB>item\" a line, and reads nothing;\n"
    "                         exit 0 with data, 1 when no trace came, 2 on usage errors\n"
    "                         (a channel or trace the instrument does not have)\n"
    "RES is a VISA resource, e.g. TCPIP::192.168.1.20::INSTR or TCPIP::host::5025::SOCKET.\n"
    "--log writes every VISA call to FILE: level 1 failures, 2 calls (default), 3 calls with all data.\n";

// Opens the way the program's windows do, without draining the error queue:
// the user may want to read it.
bool open(VIF& v, const Options& o) {
    if (!o.logFile.empty()) v.ConfigDebugMode(o.logLevel, true, o.logFile, 256);
    v.TimeOut(int32_t(o.timeoutMs));
    return v.OpenDevice(o.args[1], false, false, o.timeoutMs, true);
}

int cmdQuery(VIF& v, const Options& o) {
    std::string answer;
    if (!v.ReadString(o.args[2], answer, 1 << 20, false)) return failWithQueue("query", v);
    std::printf("%s\n", answer.c_str());
    return 0;
}

int cmdWrite(VIF& v, const Options& o) {
    v.WriteString(o.args[2], 0);
    return v.LastVisaStatus() < 0 ? fail("write", v) : 0;
}

int cmdStb(VIF& v, const Options&) {
    ViUInt16 stb = 0;
    ViStatus s = viReadSTB(v.GetHandle(), &stb);
    if (s < 0) return fail("read status byte", s);
    std::printf("%u\n", unsigned(stb));
    return 0;
}

int cmdClear(VIF& v, const Options&) {
    v.ClearDevice();
    return v.LastVisaStatus() < 0 ? fail("clear", v) : 0;
}

int cmdPoll(VIF& v, const Options&) {
    std::string errors;
    bool found = v.PollErrors(errors, "SYST:ERR?", false);
    if (found && errors.empty()) return fail("poll", v);
    std::printf("%s\n", errors.empty() ? "0,\"No error\"" : errors.c_str());
    return 0;
}

int cmdFetch(VIF& v, const Options& o) {
    const std::string& file = o.args[3];
    // Why a block is no file ("Block header corrupt", ...) comes as a message.
    std::string message;
    v.VIFVIFError = [&](const std::string& m, const std::string&) { message = m; };
    // Without --timeout the wait follows the block's size, as the program's does.
    if (!v.ReadFileFromInstrument(o.args[2], file, o.timeoutGiven ? long(o.timeoutMs) : -1)) {
        if (message.empty()) return failWithQueue("fetch", v);
        std::fprintf(stderr, "error: fetch: %s\n", message.c_str());
        return 1;
    }
    std::printf("%ld bytes written to %s\n", fileSize(file), file.c_str());
    return 0;
}

int cmdSend(VIF& v, const Options& o) {
    std::string message;
    v.VIFVIFError = [&](const std::string& m, const std::string&) { message = m; };
    if (!v.WriteFileToInstrument(o.args[2], o.args[3], "")) {
        std::fprintf(stderr, "error: %s\n", message.empty() ? "send failed" : message.c_str());
        return 1;
    }
    if (v.LastVisaStatus() < 0) return fail("send", v);
    std::printf("%ld bytes sent\n", fileSize(o.args[3]));
    return 0;
}

int cmdFloats(VIF& v, const Options& o) {
    std::string message;
    v.VIFVIFError = [&](const std::string& m, const std::string&) { message = m; };
    std::vector<float> values;
    if (!v.ReadFloatArray(o.args[2], values, "")) {
        if (!message.empty()) std::fprintf(stderr, "error: %s\n", message.c_str());
        return message.empty() ? fail("floats", v) : 1;
    }
    for (float f : values) std::printf("%.9g\n", double(f));
    return 0;
}

struct Command {
    const char* name;
    size_t args;  // after the command word
    int (*run)(VIF&, const Options&);
};

const Command kCommands[] = {
    {"query", 2, cmdQuery}, {"write", 2, cmdWrite}, {"stb", 1, cmdStb},   {"clear", 1, cmdClear},
    {"poll", 1, cmdPoll},   {"fetch", 3, cmdFetch}, {"send", 3, cmdSend}, {"floats", 2, cmdFloats},
};

void printRecord(const qv::dir::VISAScan& s, int16_t i) {
    auto line = [](const char* name, const std::string& value) { std::printf("%s: %s\n", name, value.c_str()); };
    line("VISAResString", s.VISAResString(i));
    line("RawAddress", s.RawAddress(i));
    line("ComputerName", s.ComputerName(i));
    line("DeviceTyp", s.DeviceTyp(i));
    line("Mapped", s.DeviceIsMapped(i) ? "-1" : "0");
    line("DeviceMappedName", s.DeviceMappedName(i));
    line("DeviceGroup", s.DeviceGroup(i));
    line("DeviceSerial", s.DeviceSerial(i));
    line("DeviceFirmware", s.DeviceFirmware(i));
    line("DeviceInfo", s.DeviceInfo(i));
    line("IDAnswer", s.IDAnswer(i));
    line("OptionList", s.OptionList(i));
    line("Identified", s.DeviceIsIdentified(i) ? "-1" : "0");
}

int cmdIdentify(const Options& o) {
    qv::dir::VISAScan scan;
    const int16_t last = identify(o, scan);
    if (last < 0) {
        std::fprintf(stderr, "error: %s was not visited\n", o.args[1].c_str());
        return 1;
    }
    printRecord(scan, last);
    return scan.DeviceTyp(last) == qv::dir::kNoDevice ? 1 : 0;
}

// The command line has no window: a picture counts as shown once its file
// holds something.
class FileOnlyView : public qv::hardcopy::View {
public:
    bool showPicture(const std::string& file, qv::hardcopy::Route, std::string& why) override {
        why = "the file is empty";
        return fileSize(file) > 0;
    }
};

int cmdHardcopy(const Options& o) {
    qv::dir::VISAScan scan;
    const int16_t last = identify(o, scan);
    if (last < 0 || scan.DeviceTyp(last) == qv::dir::kNoDevice || scan.DeviceTyp(last) == qv::dir::kDeviceUnknown) {
        std::fprintf(stderr, "error: %s did not answer as an instrument this program knows; check the address\n",
                     o.args[1].c_str());
        return 1;
    }
    const std::string tag = scan.DeviceTyp(last);
    const qv::family::Family* family = qv::family::find(tag);
    if (family && family->picturesAsFiles) {
        std::fprintf(stderr,
                     "error: the %s keeps its screen pictures as files on its own disk; list them with the file "
                     "browser and fetch one with \"quilvane-cli fetch\"\n",
                     tag.c_str());
        return 1;
    }
    qv::hardcopy::Request r;
    r.resource = o.args[1];
    r.devType = tag;
    r.mappedName = scan.DeviceMappedName(last);
    r.listText = qv::app::DeviceListText(scan.DeviceInfo(last));
    r.saveFolder = ".";
    const bool toStdout = o.output == "-";
    if (toStdout) r.stem = qv::app::TempFileName("hcopy");
    else r.stem = o.output;
    r.color = o.color;
    r.saveImage = true;
    r.show = false;
    if (!o.logFile.empty())
        r.prepare = [&o](VIF& v) { v.ConfigDebugMode(o.logLevel, true, o.logFile, 256); };
    FileOnlyView view;
    qv::hardcopy::Outcome out = qv::hardcopy::GetHardcopy(r, view, "");
    if (!out.failure.empty()) return 1;  // the reason went to standard error
    if (!out.arrived || fileSize(out.file) <= 0) {
        std::remove(out.file.c_str());
        std::fprintf(stderr, "error: the %s sent no picture (%s)\n", tag.c_str(), out.file.c_str());
        VIF v;
        if (v.OpenDevice(o.args[1], false, false, 1000, false)) printErrorQueue(v);
        return 1;
    }
    if (!toStdout) {
        std::printf("%s\n", out.file.c_str());
        return 0;
    }
    bool ok = copyToStdout(out.file);
    // What the dialect left under the temporary stem goes: the picture, and
    // the file it arrived as when that was converted.
    std::remove(out.file.c_str());
    std::remove((r.stem + "." + std::string(qv::hardcopy::dialectFor(tag).extension)).c_str());
    std::remove(r.stem.c_str());
    if (!ok) std::fprintf(stderr, "error: the picture could not be written to standard output\n");
    return ok ? 0 : 1;
}

int cmdScan(const Options& o) {
    const std::string ini = o.iniFile.empty() ? userIniFile() : o.iniFile;
    if (ini.empty()) {
        std::fprintf(stderr, "error: no settings file: give --ini FILE\n");
        return 2;
    }
    qv::app::context().IniFilePath = ini;
    qv::dir::LoadMasterList(qv::dir::VisaDevicesPath());
    std::vector<bool> scanFlags, serverFlags;
    qv::app::ReadFlagList({ini, "ScanEntries", "Value"}, {ini, "DisplayNames", "Name"}, scanFlags);
    serverFlags = qv::dir::ReadServerFlags(ini);
    qv::dir::VISAScan scan;
    const bool all = scan.VISAScanINI(ini, int32_t(o.timeoutMs), 0, scanFlags, true, serverFlags, true);
    for (int16_t i = 0; i < scan.DeviceCount(); ++i)
        std::printf("%s\t%s\t%s\n", qv::app::DeviceListText(scan.DeviceInfo(i)).c_str(), scan.VISAResString(i).c_str(),
                    scan.ComputerName(i).c_str());
    std::fflush(stdout);
    if (!all) std::fprintf(stderr, "warning: not every configured instrument was reached\n");
    return all ? 0 : 1;
}

// Commands that open their sessions themselves; args: the least and most
// arguments after the command word.
struct DirectoryCommand {
    const char* name;
    size_t minArgs, maxArgs;
    int (*run)(const Options&);
};

const DirectoryCommand kDirectoryCommands[] = {
    {"identify", 1, 1, cmdIdentify},
    {"hardcopy", 1, 1, cmdHardcopy},
    {"scan", 0, 0, cmdScan},
    {"ls", 2, 2, cmdLs},
    {"get", 3, 3, cmdGet},
    {"put", 3, 3, cmdPut},
    {"mkdir", 2, 2, cmdMkdir},
    {"rm", 2, 2, cmdRm},
    {"raw", 3, 3, cmdRaw},
    {"status", 1, 1, cmdStatus},
    {"script", 2, 2 + 64, cmdScript},
    {"ucor", 2, 2 + 14, cmdUcor},
    {"peaks", 1, 1, cmdPeaks},
    {"demod", 1, 1, cmdDemod},
    {"discover", 0, 4, cmdDiscover},
    {"trace", 1, 1 + 7, cmdTrace},
};

bool number(const char* text, unsigned long max, unsigned long& out) {
    char* end = nullptr;
    out = std::strtoul(text, &end, 10);
    return end && *end == '\0' && end != text && out <= max;
}

}  // namespace

int main(int argc, char** argv) {
    // Messages of the scans ("Instrument not found", ...) reach the terminal.
    qv::app::setHost(&qv::app::consoleHost());
    Options o;
    for (int i = 1; i < argc; ++i) {
        std::string a = argv[i];
        unsigned long v = 0;
        if (a == "--timeout" && i + 1 < argc) {
            if (!number(argv[++i], 0xFFFFFFFFul, v) || v == 0) {
                std::fprintf(stderr, "error: --timeout takes milliseconds\n%s", kUsage);
                return 2;
            }
            o.timeoutMs = uint32_t(v);
            o.timeoutGiven = true;
        } else if (a == "-o" && i + 1 < argc) {
            o.output = argv[++i];
        } else if (a == "--color" && i + 1 < argc) {
            std::string c = argv[++i];
            if (c != "on" && c != "off") {
                std::fprintf(stderr, "error: --color takes on or off\n%s", kUsage);
                return 2;
            }
            o.color = c == "on";
        } else if (a == "--ini" && i + 1 < argc) {
            o.iniFile = argv[++i];
        } else if (a == "--log" && i + 1 < argc) {
            o.logFile = argv[++i];
        } else if (a == "--log-level" && i + 1 < argc) {
            if (!number(argv[++i], 3, v)) {
                std::fprintf(stderr, "error: --log-level takes 0 to 3\n%s", kUsage);
                return 2;
            }
            o.logLevel = int(v);
        } else if (a == "--help" || a == "-h") {
            std::fputs(kUsage, stdout);
            return 0;
        } else {
            o.args.push_back(a);
        }
    }
    if (o.args.empty()) {
        std::fputs(kUsage, stderr);
        return 2;
    }
    for (const DirectoryCommand& c : kDirectoryCommands) {
        if (o.args[0] != c.name) continue;
        if (o.args.size() < c.minArgs + 1 || o.args.size() > c.maxArgs + 1) {
            std::fprintf(stderr, "error: %s takes %zu arguments\n%s", c.name, c.minArgs, kUsage);
            return 2;
        }
        return c.run(o);
    }
    for (const Command& c : kCommands) {
        if (o.args[0] != c.name) continue;
        if (o.args.size() != c.args + 1) {
            std::fprintf(stderr, "error: %s takes %zu arguments\n%s", c.name, c.args, kUsage);
            return 2;
        }
        VIF vif;
        if (!open(vif, o)) return fail("open", vif);
        return c.run(vif, o);
    }
    std::fprintf(stderr, "error: unknown command \"%s\"\n%s", o.args[0].c_str(), kUsage);
    return 2;
}
