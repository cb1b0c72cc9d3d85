// The result summary of a digital demodulation measurement as a report:
// 53 values, each under its fixed label.
#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

namespace qv::documents {
class RichTextBox;
}

namespace qv::tables {

inline constexpr int kResultFieldCount = 53;
const std::array<const char*, kResultFieldCount>& ResultLabels();

// The answer's values as "label TAB value" lines, in order; empty for any
// count of fields other than 53. Line ends around the answer are dropped.
std::vector<std::string> ResultLines(std::string_view answer);

// Clears the report ("Lucida Console", 20) and writes the labelled values;
// an answer of any other count of comma-separated fields leaves it empty.
void FormatResultTable(const std::string& answer, documents::RichTextBox& box, std::string& buffer);

enum class ResultRead {
    Read,       // answer holds the summary as the instrument sent it
    NotOpened,  // no session (the user was told)
    NoReport,   // the family has no demodulation report
    OtherMode,  // the instrument is not in "DDEM" (mode holds its word)
    FskForm,    // the demodulation form is "FSK", which has no summary
    NoAnswer,   // the summary query brought nothing
};
struct ResultSummary {
    ResultRead outcome = ResultRead::NotOpened;
    std::string mode, form, answer;
};
// The checks and the read of the update, without touching a report.
ResultSummary ReadResultSummary(const std::string& resource, std::string_view devType);

// The update key on a report window: for a family with the demodulation
// report, in mode "DDEM" and a form other than "FSK", reads the summary
// ("FORM ASCII", "TRACE2:DATA? TRACE2") and formats it; a summary that does
// not come leaves an empty report, as stale values would mislead. False, the
// report left as it was, in any other case.
bool UpdateResultReport(const std::string& resource, std::string_view devType, documents::RichTextBox& box,
                        std::string& buffer);

}  // namespace qv::tables
