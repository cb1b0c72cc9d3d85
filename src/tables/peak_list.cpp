#include "tables/peak_list.h"

#include "app/error_messages.h"
#include "app/host.h"
#include "app/main_window.h"
#include "app/numeric.h"
#include "app/standard.h"
#include "app/text.h"
#include "instrument_io/vif.h"

#include <cstdio>
#include <filesystem>
#include <system_error>

namespace qv::tables {

namespace {

namespace fs = std::filesystem;

constexpr const char* kTitle = "Tables";
// The instrument's own name for the list; the file on the instrument stays.
constexpr const char* kStoreCommand = "MMEM:STOR:PEAK 'C:\\List.lst'";
constexpr const char* kFetchCommand = "MMEM:DATA? 'C:\\List.lst'";
constexpr int32_t kTransferTimeoutMs = 10000;
// A peak list is a few kilobytes; a local file beyond this is no peak list,
// and reading it into memory would only hurt.
constexpr uintmax_t kMaxListBytes = 16u << 20;

// The first two ";" fields of a line; false when it has fewer.
bool firstTwoFields(std::string_view line, std::string_view& f0, std::string_view& f1) {
    const size_t a = line.find(';');
    if (a == std::string_view::npos) return false;
    const size_t b = line.find(';', a + 1);
    f0 = line.substr(0, a);
    f1 = line.substr(a + 1, b == std::string_view::npos ? std::string_view::npos : b - a - 1);
    return true;
}

}  // namespace

const TableRow& PeakListHeader() {
    static const TableRow header{"Marker", "Frequency", "Level"};
    return header;
}

bool ParsePeakList(std::string_view bytes, TableGrid& grid) {
    grid.clear();
    grid.push_back(PeakListHeader());
    // Lines end in CR LF, or a bare LF: a list passed through a Linux tool
    // reads the same.
    const std::vector<std::string_view> lines = app::SplitLineViews(bytes);
    // Three lines a peak. A final line end leaves one empty element behind,
    // which the rounding drops.
    const double groups = app::RoundHalfEven(double(lines.size() - 1) / 3.0);
    const size_t count = groups > 0 ? size_t(groups) : 0;
    if (count > lines.size() / 3) {
        grid.clear();
        return false;
    }
    grid.reserve(count + 1);
    for (size_t g = 0; g < count; ++g) {
        std::string_view markerHead, marker, freq, freqUnit, level, levelUnit;
        if (!firstTwoFields(lines[3 * g], markerHead, marker) || !firstTwoFields(lines[3 * g + 1], freq, freqUnit) ||
            !firstTwoFields(lines[3 * g + 2], level, levelUnit)) {
            grid.clear();
            return false;
        }
        TableRow row;
        row[0] = std::string(marker);
        row[1] = std::string(freq) + " " + std::string(freqUnit);
        row[2] = std::string(level) + " " + std::string(levelUnit);
        grid.push_back(std::move(row));
    }
    return true;
}

std::string ListToText(const TableGrid& grid) {
    std::string text;
    for (const TableRow& row : grid) {
        text += row[0];
        text += '\t';
        text += row[1];
        text += '\t';
        text += row[2];
        text += "\r\n";
    }
    return text;
}

TableRead ReadSelectedTable(const std::string& resource, std::string_view name, std::string_view listText,
                            const std::string& saveFolder, TableGrid& grid) {
    if (name != kMaxPeakList) return TableRead::Unknown;
    io::VIF device;
    device.VIFSCPIError = [&resource](const std::string& command, const std::string& error) {
        app::ShowSCPIError(resource, "", command, error);
    };
    // Why a fetch brought no file ("File not found on instrument", ...).
    std::string fault;
    device.VIFVIFError = [&fault](const std::string& message, const std::string&) { fault = message; };
    if (!device.OpenDevice(resource, true, false, 1000, true)) {
        app::host().message(kTitle, io::OpenFailureText(resource, device), app::Icon::Warning);
        return TableRead::NoFile;
    }
    device.TimeOut(kTransferTimeoutMs);
    const std::string local = app::OutputFileName(saveFolder, listText, app::CurrentTimeRecord(), ".lst");
    device.WriteString(kStoreCommand, 0);
    const bool fetched = device.ReadFileFromInstrument(kFetchCommand, local, kTransferTimeoutMs);
    // The fetch removes what it could not finish, but a header that never
    // arrived leaves the target alone; the file goes here on every path.
    std::error_code ec;
    const bool present = fs::is_regular_file(local, ec);
    std::string bytes;
    const bool readable = fetched && present && app::ReadFileBytes(local, kMaxListBytes, bytes);
    if (present) std::remove(local.c_str());
    if (!fetched || !present) {
        // A refused store or a missing file waits in the error queue: the
        // user learns why the grid stayed.
        std::string errors;
        device.PollErrors(errors, "SYST:ERR?", true);
        if (!fault.empty())
            app::host().message(kTitle, "The peak list could not be read: " + fault + ".", app::Icon::Warning);
        return TableRead::NoFile;
    }
    if (!readable || !ParsePeakList(bytes, grid)) {
        grid.clear();
        app::host().message(kTitle, "Error", app::Icon::Critical);
        return TableRead::Broken;
    }
    return TableRead::Read;
}

bool SaveTableText(const std::string& text, const std::string& folder) {
    std::string path = app::host().saveFileName("Save Table", folder, "", "Text files (*.txt);;All files (*)");
    if (path.empty()) return false;
    if (fs::path(path).extension().empty()) path += ".txt";
    std::error_code ec;
    if (fs::exists(path, ec)) {
        const app::Answer a = app::host().message("File already exists", "File already exists. Overwrite?",
                                                  app::Icon::Question, app::Buttons::OkCancel);
        if (a != app::Answer::Ok) return false;
    }
    if (!app::ReplaceThroughPart(path, [&text](const std::string& part) { return app::WriteFileBytes(part, text); })) {
        app::host().message(kTitle, "The file " + path + " could not be written.", app::Icon::Critical);
        return false;
    }
    return true;
}

}  // namespace qv::tables
