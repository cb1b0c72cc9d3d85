#include "automation/status_utilities.h"

#include "app/host.h"
#include "app/numeric.h"
#include "app/text.h"
#include "instrument_io/vif.h"

#include <cstdio>

namespace qv::automation {

namespace {

// The answer, or empty when the query failed: a read that timed out leaves
// its blank buffer, and what arrived of it is no answer to show.
std::string query(io::VIF& v, const std::string& command, long limit) {
    std::string answer;
    if (!v.ReadString(command, answer, limit, true)) return {};
    return app::TrimLineEnds(answer);
}

std::string commasToLines(const std::string& text) {
    std::string out;
    out.reserve(text.size());
    for (char c : text) {
        if (c == ',')
            out += app::kCrLf;
        else
            out += c;
    }
    return out;
}

// Each record as "name           |rest": the names padded to one column.
std::string padRecords(const std::string& answer) {
    if (answer.empty()) return {};
    const std::string lines = commasToLines(answer);
    std::string out;
    size_t pos = 0;
    while (true) {
        const size_t end = lines.find(app::kCrLf, pos);
        const std::string line = lines.substr(pos, end == std::string::npos ? std::string::npos : end - pos);
        const size_t bar = line.find('|');
        out += app::PadText(line.substr(0, bar), 15, 0, " ");
        if (bar != std::string::npos) out += line.substr(bar);
        if (end == std::string::npos) break;
        out += app::kCrLf;
        pos = end + 2;
    }
    return out;
}

StatusText pollStatus(io::VIF& v) {
    StatusText t;
    t.title = "Status Information - ";
    t.text = "DEVICE ID:\r\n" + query(v, "*IDN?", 2048);
    std::string options = query(v, "*OPT?", 2048);
    if (options.empty()) options = "---";
    t.text += "\r\nOPTIONS:\r\n" + options;
    std::string errors;
    v.PollErrors(errors, "SYST:ERR?", true);
    t.text += "\r\nERRORS:\r\n" + (errors.empty() ? std::string("---") : errors);
    return t;
}

}  // namespace

StatusText ReadStatusReport(StatusReport which, const std::string& resource) {
    io::VIF v;
    // Not tested: a session that did not open leaves every answer empty, and
    // the report still shows what it has.
    const bool opened = v.OpenDevice(resource, which != StatusReport::PollStatus, false, 1000, true);
    StatusText t;
    switch (which) {
        case StatusReport::PollStatus:
            t = pollStatus(v);
            break;
        case StatusReport::CalResults:
            t.title = "Calibration Results - ";
            t.text = commasToLines(query(v, "CAL:RES?", 1000000));
            break;
        case StatusReport::HardInfo:
            t.title = "Hardware Info - ";
            t.text = padRecords(query(v, "DIAG:SERV:HWIN?", 1000));
            break;
        case StatusReport::SelfTest: {
            const std::string answer = query(v, "DIAG:SERV:STES:RES?", 1000000);
            t.title = "Selftest Results - ";
            t.text = answer.empty() ? std::string("Selftest has not been executed yet.") : commasToLines(answer);
            break;
        }
    }
    t.opened = opened;
    return t;
}

bool SetInstrumentClock(const std::string& resource, std::time_t when) {
    auto failed = [] {
        app::host().message("FUNCTION FAILED", "Setting time FAILED!", app::Icon::Critical);
        return false;
    };
    std::tm local{};
    if (!localtime_r(&when, &local)) return failed();
    char hms[16];
    std::snprintf(hms, sizeof hms, "%02d,%02d,%02d", local.tm_hour, local.tm_min, local.tm_sec);
    io::VIF v;
    // Errors left from before are drained, so that the one read below is ours.
    if (!v.OpenDevice(resource, true, false, 1000, true)) return failed();
    v.ClearLastVisaStatus();
    v.WriteString(std::string("SYST:TIME ") + hms, 0);
    if (v.LastVisaStatus() < 0) return failed();
    std::string answer;
    // No answer is no confirmation.
    if (!v.ReadString("SYST:ERR?", answer, 2048, false)) return failed();
    if (!app::ErrorCodeIsZero(app::TrimLineEnds(answer))) return failed();
    return true;
}

}  // namespace qv::automation
