// Raw reading and the status report from the command line: the same logic
// the program's windows run, so a user sees here what the windows would show.
#include "cli.h"

#include "automation/raw_reading.h"
#include "automation/status_utilities.h"

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

namespace qv::cli {

namespace {

// A commands file is a short text; anything larger is not one.
constexpr long kMaxCommandsFile = 16L << 20;

bool readCommandsFile(const std::string& path, std::string& bytes) {
    const long size = fileSize(path);
    if (size < 0 || size > kMaxCommandsFile) return false;
    std::ifstream in(path, std::ios::binary);
    if (!in) return false;
    bytes.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    return !in.bad();
}

}  // namespace

int cmdRaw(const Options& o) {
    const std::string& commandsFile = o.args[2];
    const std::string& target = o.args[3];
    std::string bytes;
    if (!readCommandsFile(commandsFile, bytes)) {
        std::fprintf(stderr, "error: %s cannot be read as a commands file (at most %ld bytes)\n",
                     commandsFile.c_str(), kMaxCommandsFile);
        return 1;
    }
    const std::vector<std::string> commands = automation::ParseCommandsFile(bytes);
    if (commands.empty()) {
        std::fprintf(stderr, "error: %s holds no commands\n", commandsFile.c_str());
        return 1;
    }
    const automation::RawRunResult r = automation::RunRawCommands(o.args[1], commands, target);
    if (!r.read) {
        std::fprintf(stderr, "error: raw: %s\n", r.message.c_str());
        return 1;
    }
    const long size = fileSize(target);
    if (size <= 0) {
        std::fprintf(stderr, "error: raw: the instrument sent nothing after the last command\n");
        return 1;
    }
    if (!r.message.empty()) std::fprintf(stderr, "warning: %s\n", r.message.c_str());
    std::printf("%zu commands sent, %ld bytes written to %s\n", commands.size(), size, target.c_str());
    return 0;
}

int cmdStatus(const Options& o) {
    const automation::StatusText t = automation::ReadStatusReport(automation::StatusReport::PollStatus, o.args[1]);
    if (!t.opened) {
        std::fprintf(stderr, "error: no session to %s could be opened\n", o.args[1].c_str());
        return 1;
    }
    // The report's lines end in CR LF for the windows; a terminal wants LF.
    std::string text;
    for (char c : t.text)
        if (c != '\r') text += c;
    std::printf("%s\n", text.c_str());
    return 0;
}

}  // namespace qv::cli
