#include "tables/result_report.h"

#include "app/error_messages.h"
#include "app/host.h"
#include "documents/rtf_gen.h"
#include "families/registry.h"
#include "instrument_io/vif.h"

namespace qv::tables {

namespace {

constexpr const char* kFont = "Lucida Console";
constexpr int16_t kFontSize = 20;

// Blanks, CR, LF and NUL around an answer: instruments pad with any of them.
std::string_view stripAnswer(std::string_view text) {
    auto junk = [](char c) { return c == ' ' || c == '\r' || c == '\n' || c == '\0'; };
    while (!text.empty() && junk(text.front())) text.remove_prefix(1);
    while (!text.empty() && junk(text.back())) text.remove_suffix(1);
    return text;
}

// A value goes into RTF source, where braces would open or close groups and
// control bytes would end the line; a number never holds them.
std::string cleanValue(std::string_view field) {
    std::string value(stripAnswer(field));
    for (char& c : value)
        if (c == '{' || c == '}' || static_cast<unsigned char>(c) < 0x20) c = '?';
    return value;
}

// The 53 values, or false for any other count.
bool splitValues(std::string_view answer, std::vector<std::string>& values) {
    values.clear();
    answer = stripAnswer(answer);
    size_t start = 0;
    while (true) {
        if (values.size() == size_t(kResultFieldCount)) return false;  // a 54th field follows
        const size_t comma = answer.find(',', start);
        values.push_back(cleanValue(answer.substr(start, comma == std::string_view::npos ? comma : comma - start)));
        if (comma == std::string_view::npos) break;
        start = comma + 1;
    }
    return values.size() == size_t(kResultFieldCount);
}

}  // namespace

const std::array<const char*, kResultFieldCount>& ResultLabels() {
    static const std::array<const char*, kResultFieldCount> labels = {
        "EVM (Result)",
        "EVM (Peak)",
        "EVM (atSym)",
        "EVM (Rms)",
        "EVM (Avg)",
        "EVM (StdDev)",
        "EVM (95Pctl)",
        "EVM (Total Peak)",
        "Mag Err (Result)",
        "Mag Err (Peak)",
        "Mag Err (atSym)",
        "Mag Err (Rms)",
        "Mag Err (Avg)",
        "Mag Err (StdDev)",
        "Mag Err (Total Peak)",
        "Phase Err (Result)",
        "Phase Err (Peak)",
        "Phase Err (atSym)",
        "Phase Err (Rms)",
        "Phase Err (Avg)",
        "Phase Err (StdDev)",
        "Phase Err (Total Peak)",
        "Carrier Freq Err (Result)",
        "Carrier Freq Err (Rms)",
        "Carrier Freq Err (Avg)",
        "Carrier Freq Err (StdDev)",
        "Ampt Droop (Result)",
        "Ampt Droop (Rms)",
        "Ampt Droop (Avg)",
        "Ampt Droop (StdDev)",
        "Origin Offset (Result)",
        "Origin Offset (Rms)",
        "Origin Offset (Avg)",
        "Origin Offset (StdDev)",
        "IQ Imbalance (Result)",
        "IQ Imbalance (Rms)",
        "IQ Imbalance (Avg)",
        "IQ Imbalance (StdDev)",
        "Mean Power (Result)",
        "Mean Power (Peak)",
        "Mean Power (atSym)",
        "Mean Power (Rms)",
        "Mean Power (Avg)",
        "Mean Power (StdDev)",
        "Mean Power (Total Peak)",
        "RHO (Result)",
        "RHO (Rms)",
        "RHO (Avg)",
        "RHO (StdDev)",
        "Trigger to Sync (Result)",
        "Trigger to Sync (Rms)",
        "Trigger to Sync (Avg)",
        "Trigger to Sync (StdDev)",
    };
    return labels;
}

std::vector<std::string> ResultLines(std::string_view answer) {
    std::vector<std::string> values;
    if (!splitValues(answer, values)) return {};
    std::vector<std::string> lines;
    lines.reserve(values.size());
    for (size_t i = 0; i < values.size(); ++i) lines.push_back(std::string(ResultLabels()[i]) + "\t" + values[i]);
    return lines;
}

void FormatResultTable(const std::string& answer, documents::RichTextBox& box, std::string& buffer) {
    documents::RTFInit(box, buffer, kFont, kFontSize);
    std::vector<std::string> values;
    if (!splitValues(answer, values)) return;
    const auto& labels = ResultLabels();
    documents::RTFAdd(box, buffer, labels[0], false, true, false, false, 0, 0, -1, true);
    documents::RTFAdd(box, buffer, values[0], true, false, false, false, 0, 0, -1, true);
    // One redraw for the plain lines, not 52.
    for (size_t i = 1; i < values.size(); ++i)
        documents::RTFAdd(box, buffer, std::string(labels[i]) + "\t" + values[i], true, false, false, false, 0, 0, -1,
                          i + 1 == values.size());
}

ResultSummary ReadResultSummary(const std::string& resource, std::string_view devType) {
    ResultSummary r;
    const family::Family* f = family::find(devType);
    if (!f || !f->demodulationReport) {
        r.outcome = ResultRead::NoReport;
        return r;
    }
    io::VIF device;
    device.VIFSCPIError = [&](const std::string& command, const std::string& error) {
        app::ShowSCPIError(resource, devType, command, error);
    };
    if (!device.OpenDevice(resource, true, false, 1000, true)) {
        app::host().message("Report", io::OpenFailureText(resource, device), app::Icon::Warning);
        r.outcome = ResultRead::NotOpened;
        return r;
    }
    std::string text;
    device.ReadString("INST:SEL?", text, 2048, true);
    r.mode = std::string(stripAnswer(text));
    if (r.mode != "DDEM") {
        r.outcome = ResultRead::OtherMode;
        return r;
    }
    text.clear();
    device.ReadString("SENS:DDEM:FORM?", text, 2048, true);
    r.form = std::string(stripAnswer(text));
    if (r.form == "FSK") {
        r.outcome = ResultRead::FskForm;
        return r;
    }
    device.WriteString("FORM ASCII", 0);
    const bool read = device.ReadString("TRACE2:DATA? TRACE2", r.answer, 5000, true);
    r.outcome = read && !stripAnswer(r.answer).empty() ? ResultRead::Read : ResultRead::NoAnswer;
    return r;
}

bool UpdateResultReport(const std::string& resource, std::string_view devType, documents::RichTextBox& box,
                        std::string& buffer) {
    const ResultSummary r = ReadResultSummary(resource, devType);
    if (r.outcome != ResultRead::Read && r.outcome != ResultRead::NoAnswer) return false;
    FormatResultTable(r.answer, box, buffer);
    return true;
}

}  // namespace qv::tables
