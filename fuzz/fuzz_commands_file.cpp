// A commands file is whatever the user picks: any bytes must split into
// commands without a crash, and the commands must be exactly the file's
// non-blank lines.
#include "automation/raw_reading.h"

#include <cstdint>
#include <string>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const std::vector<std::string> commands = qv::automation::ParseCommandsFile(bytes);
    size_t total = 0;
    for (const std::string& c : commands) {
        // A command is a line: it never holds a line feed and is never blank.
        if (c.empty() || c.find('\n') != std::string::npos) __builtin_trap();
        if (c.find_first_not_of(std::string_view(" \t\r\0", 4)) == std::string::npos) __builtin_trap();
        total += c.size();
    }
    if (total > size) __builtin_trap();
    // Written back with CR LF line ends the commands read as themselves: one
    // CR of a line end is taken, a CR the command holds is kept.
    std::string joined;
    for (const std::string& c : commands) joined += c + "\r\n";
    if (qv::automation::ParseCommandsFile(joined) != commands) __builtin_trap();
    return 0;
}
