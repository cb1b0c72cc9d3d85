// The instrument's status at a glance: four one-shot reports, each a title
// and a text for a text window, and setting the instrument's clock.
#pragma once

#include <ctime>
#include <string>

namespace qv::automation {

enum class StatusReport { PollStatus, CalResults, HardInfo, SelfTest };

struct StatusText {
    std::string title;  // "Status Information - " and so on; the caller adds the
                        // instrument's name
    std::string text;
    bool opened = false;  // the session opened (the text is shown either way)
};
// Opens a session on resource, asks, closes. A session that does not open,
// or a query that times out, leaves its part empty ("---" where the
// report says so).
StatusText ReadStatusReport(StatusReport which, const std::string& resource);

// Writes "SYST:TIME hh,mm,ss" of when and checks the queue; false (and the
// "FUNCTION FAILED" box through the host) when the instrument refused.
bool SetInstrumentClock(const std::string& resource, std::time_t when);

}  // namespace qv::automation
