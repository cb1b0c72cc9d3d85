// The result summary of a digital demodulation measurement as a report:
// 53 values, each under its fixed label.
#pragma once

#include <array>
#include <string>
#include <string_view>

namespace qv::documents {
class RichTextBox;
}

namespace qv::tables {

inline constexpr int kResultFieldCount = 53;
const std::array<const char*, kResultFieldCount>& ResultLabels();

// Clears the report ("Lucida Console", 20) and writes the labelled values;
// an answer of any other count of comma-separated fields leaves it empty.
void FormatResultTable(const std::string& answer, documents::RichTextBox& box, std::string& buffer);

// The update key on a report window: for a family with the demodulation
// report, in mode "DDEM" and a form other than "FSK", reads the summary
// ("FORM ASCII", "TRACE2:DATA? TRACE2") and formats it. False, the report
// left as it was, in any other case.
bool UpdateResultReport(const std::string& resource, std::string_view devType, documents::RichTextBox& box,
                        std::string& buffer);

}  // namespace qv::tables
