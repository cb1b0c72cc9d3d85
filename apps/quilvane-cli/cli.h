// What the command line's commands share: the parsed options and the ways
// they report a failure.
#pragma once

#include "instrument_io/vif.h"

#include <cstdint>
#include <string>
#include <vector>

namespace qv::dir {
class VISAScan;
}

namespace qv::cli {

struct Options {
    uint32_t timeoutMs = 5000;
    bool timeoutGiven = false;
    std::string logFile;
    int logLevel = 2;
    std::string iniFile;  // scan, ucor, discover: the settings file
    std::string output;   // hardcopy: the file without extension; peaks, demod: the file; "-": standard output
    bool color = true;    // hardcopy
    std::vector<std::string> args;  // command word first
};

// "error: <what>: <VISA status and its text>" on standard error; returns 1.
int fail(const char* what, ViStatus s);
int fail(const char* what, const io::VIF& v);
// What the instrument's error queue holds, on standard error.
void printErrorQueue(io::VIF& v);
// fail, then after a time-out one look at the error queue.
int failWithQueue(const char* what, io::VIF& v);
long fileSize(const std::string& path);
// The user's settings file, by the rules the program uses, without
// creating any folder; empty when no home is known.
std::string userIniFile();
// Copies a file to standard output; false when it cannot be read whole.
bool copyToStdout(const std::string& file);
// Asks who the resource (args[1]) is; the record's index, -1 when it was not
// visited.
int16_t identify(const Options& o, dir::VISAScan& scan);

// The file commands (ls, get, put, mkdir, rm).
int cmdLs(const Options& o);
int cmdGet(const Options& o);
int cmdPut(const Options& o);
int cmdMkdir(const Options& o);
int cmdRm(const Options& o);

// Raw reading of a commands file into a file, and the poll-status report.
int cmdRaw(const Options& o);
int cmdStatus(const Options& o);
// script RES FILE [NAME=VALUE ...]: runs a script, Results on standard output.
int cmdScript(const Options& o);
// ucor RES FILE [options]: imports a transducer file and uploads it.
int cmdUcor(const Options& o);

// peaks RES: the peak list as tab-separated text; demod RES: the
// demodulation summary as labelled lines (RTF for an -o FILE ending in .rtf).
int cmdPeaks(const Options& o);
int cmdDemod(const Options& o);

// discover [--subnet A.B.C.*|A.B.C.D] [--mdns] [--add]: the LAN scans of the
// remote interfaces editor; "address<TAB>resource<TAB>identity" a line.
int cmdDiscover(const Options& o);

// trace RES [--trace N] [--channel N] [--png FILE]: one reading through the
// trace window's engine, its text on standard output or in -o FILE.
int cmdTrace(const Options& o);

}  // namespace qv::cli
