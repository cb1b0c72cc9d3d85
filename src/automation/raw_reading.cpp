#include "automation/raw_reading.h"

#include "app/standard.h"
#include "automation/script.h"

#include "instrument_io/vif.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace qv::automation {

namespace {

// Blanks, tabs and the remains of line ends send nothing worth sending.
bool isBlank(std::string_view line) {
    return line.find_first_not_of(std::string_view(" \t\r\0", 4)) == std::string_view::npos;
}

std::string visaText(const io::VIF& v) {
    return v.LastVisaStatus() < 0 ? io::VIF::DecodeVISAError(v.LastVisaStatus()) : std::string("no answer");
}

}  // namespace

std::vector<std::string> ParseCommandsFile(std::string_view bytes) {
    std::vector<std::string> commands;
    for (std::string& line : SplitLines(bytes))
        if (!isBlank(line)) commands.push_back(std::move(line));
    return commands;
}

RawRunResult RunRawCommands(const std::string& resource, const std::vector<std::string>& commands,
                            const std::string& target) {
    return RunRawCommands(resource, commands, [&target] { return target; });
}

RawRunResult RunRawCommands(const std::string& resource, const std::vector<std::string>& commands,
                            const std::function<std::string()>& chooseTarget) {
    RawRunResult r;
    bool any = false;
    for (const std::string& c : commands) any = any || !isBlank(c);
    if (!any) {
        r.message = "there are no commands to send";
        return r;
    }
    io::VIF v;
    if (!v.OpenDevice(resource, true, false, 1000, true)) {
        r.message = "the session could not be opened: " + visaText(v);
        return r;
    }
    r.opened = true;
    for (const std::string& c : commands) {
        if (isBlank(c)) continue;
        v.ClearLastVisaStatus();
        v.WriteString(c, 0);
        if (v.LastVisaStatus() < 0) {
            // The link is gone or refuses: what follows would not be the answer.
            r.message = "\"" + c + "\" could not be sent: " + visaText(v);
            return r;
        }
    }
    r.sent = true;
    const std::string target = chooseTarget ? chooseTarget() : std::string();
    if (target.empty()) return r;

    // A broken transfer never looks like a result, nor leaves an older one.
    bool answered = false;
    const bool stored = app::ReplaceThroughPart(target, [&](const std::string& part) {
        v.ClearLastVisaStatus();
        answered = v.ReadAnswerFromInstrument("", part, kRawReadLimit);
        return answered;
    });
    std::error_code ec;
    if (!stored) {
        r.message = answered ? "the answer could not be stored in " + target
                             : "the answer could not be read: " + visaText(v);
        std::filesystem::remove(target, ec);
        return r;
    }
    r.read = true;
    const auto size = std::filesystem::file_size(target, ec);
    if (!ec && size >= static_cast<uintmax_t>(kRawReadLimit))
        r.message = "the answer filled the limit of " + std::to_string(kRawReadLimit) +
                    " bytes; anything after it was not read";
    return r;
}

}  // namespace qv::automation
