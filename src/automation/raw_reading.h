// Raw reading: a list of commands sent as they stand, and what the
// instrument says after the last one streamed into a file.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace qv::automation {

inline constexpr long kRawReadLimit = 1000000;

// The commands of a commands file's bytes: one a line (LF or CR LF),
// lines that are blank dropped, the others kept unchanged.
std::vector<std::string> ParseCommandsFile(std::string_view bytes);

// What a run did.
struct RawRunResult {
    bool opened = false;
    bool sent = false;    // every command went out
    bool read = false;    // the answer reached the file
    std::string message;  // what went wrong, for a log or the command line
};
// Sends each command (blank rows skipped), then, when target is not
// empty, reads the pending answer (at most kRawReadLimit bytes) into it.
// An empty target only sends.
RawRunResult RunRawCommands(const std::string& resource, const std::vector<std::string>& commands,
                            const std::string& target);

// The same run on one session for a window that asks for the file only
// after the commands went out: chooseTarget is called once every command
// has been sent (not when the session did not open); an empty name ends the
// run there, with the answer left pending on the instrument.
RawRunResult RunRawCommands(const std::string& resource, const std::vector<std::string>& commands,
                            const std::function<std::string()>& chooseTarget);

}  // namespace qv::automation
