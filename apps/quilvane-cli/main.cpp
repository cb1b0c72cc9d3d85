// quilvane-cli: one exchange with an instrument from the command line, for
// users who want to see what an instrument answers and for scripts. Every
// command goes through VIF, as the program's windows do, so --log shows the
// same I/O log a user would get from the program.
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

namespace {

struct Options {
    uint32_t timeoutMs = 5000;
    bool timeoutGiven = false;
    std::string logFile;
    int logLevel = 2;
    std::string iniFile;  // scan: the settings file
    std::string output;   // hardcopy: the file without extension; "-": standard output
    bool color = true;    // hardcopy
    std::vector<std::string> args;  // command word first
};

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
    "RES is a VISA resource, e.g. TCPIP::192.168.1.20::INSTR or TCPIP::host::5025::SOCKET.\n"
    "--log writes every VISA call to FILE: level 1 failures, 2 calls (default), 3 calls with all data.\n";

int fail(const char* what, ViStatus s) {
    if (s >= 0) {
        std::fprintf(stderr, "error: %s failed\n", what);
        return 1;
    }
    std::fprintf(stderr, "error: %s: %s (0x%s): %s\n", what, qv::visa::statusName(s).c_str(),
                 qv::visa::statusHex(s).c_str(), qv::visa::statusText(s).c_str());
    std::string why = qv::visa::lastMessage();
    if (!why.empty()) std::fprintf(stderr, "  %s\n", why.c_str());
    return 1;
}

int fail(const char* what, const VIF& v) { return fail(what, v.LastVisaStatus()); }

// What the instrument's error queue holds, on standard error, each read
// bounded by a short time-out.
void printErrorQueue(VIF& v) {
    v.TimeOut(std::min<int32_t>(v.TimeOut(), 1000));
    std::string errors;
    v.PollErrors(errors, "SYST:ERR?", false);
    std::string lead = "  the instrument reports: ";
    for (const std::string& entry : qv::app::SplitClean(errors, "\r\n")) {
        std::fprintf(stderr, "%s%s\n", lead.c_str(), entry.c_str());
        lead.assign(lead.size(), ' ');  // further entries line up under the first
    }
}

// A command that timed out usually left its reason in the instrument's error
// queue (a missing file, an unknown header): one look there, after a device
// clear that drops a late answer, each read bounded by a short time-out.
int failWithQueue(const char* what, VIF& v) {
    const bool timedOut = v.LastVisaStatus() == VI_ERROR_TMO;
    int rc = fail(what, v);
    if (!timedOut) return rc;
    viClear(v.GetHandle());
    printErrorQueue(v);
    return rc;
}

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

long fileSize(const std::string& path) {
    struct stat st {};
    return stat(path.c_str(), &st) == 0 ? long(st.st_size) : -1;
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

// The user's settings file, by the rules the program uses, without
// creating any folder.
std::string userIniFile() {
    std::string base;
    if (const char* appdata = std::getenv("APPDATA"); appdata && *appdata) {
        base = appdata;
    } else if (const char* xdg = std::getenv("XDG_CONFIG_HOME"); xdg && *xdg) {
        base = xdg;
    } else if (const char* home = std::getenv("HOME"); home && *home) {
        base = std::string(home) + "/.config";
    } else {
        return "";
    }
    return base + "/Tesselhorn/Quilvane/Quilvane.ini";
}

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

// Asks who the resource is; the record's index, -1 when it was not visited.
int16_t identify(const Options& o, qv::dir::VISAScan& scan) {
    qv::dir::LoadMasterList(qv::dir::VisaDevicesPath());
    qv::dir::ResetRecords();
    scan.VisaScanSingleIP(o.args[1], int32_t(o.timeoutMs), 0, {true}, false);
    // The last record is the resource itself (a search may list several).
    return int16_t(scan.DeviceCount() - 1);
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

// Copies a file to standard output; false when it cannot be read whole.
bool copyToStdout(const std::string& file) {
    FILE* in = std::fopen(file.c_str(), "rb");
    if (!in) return false;
    char buf[1 << 16];
    size_t n = 0;
    bool ok = true;
    while ((n = std::fread(buf, 1, sizeof buf, in)) > 0) ok = ok && std::fwrite(buf, 1, n, stdout) == n;
    ok = ok && !std::ferror(in);
    std::fclose(in);
    return ok && std::fflush(stdout) == 0;
}

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
    qv::app::ReadFlagList({ini, "ScanEntriesServers", "Value"}, {ini, "Servers", "ServerEntry"}, serverFlags);
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
