// Instrument tables: the peak list an instrument stores as a file, fetched
// and turned into a three-column grid, and the grid as text.
#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

namespace qv::tables {

// A grid of three columns; row 0 is the header when the grid is not empty.
using TableRow = std::array<std::string, 3>;
using TableGrid = std::vector<TableRow>;

// "Marker", "Frequency", "Level".
const TableRow& PeakListHeader();
// The kinds of table the window offers: "Max Peak List".
inline constexpr const char* kMaxPeakList = "Max Peak List";

// A peak list file's bytes (CR LF lines, three a peak, ";" fields) as the
// header and one row a peak. False for a broken list (a line with too few
// fields, a group running past the end): grid empty then.
bool ParsePeakList(std::string_view bytes, TableGrid& grid);

// Each row: col 0 TAB col 1 TAB col 2 CR LF, the header included; "" for an
// empty grid.
std::string ListToText(const TableGrid& grid);

enum class TableRead {
    Read,      // grid replaced
    NoFile,    // nothing came from the instrument: grid as it was
    Broken,    // the file came but could not be parsed: "Error" shown, grid emptied
    Unknown,   // a kind of table this program does not know: grid as it was
};
// The update: OpenDevice(resource, true, false, 1000, true), time-out 10 s,
// "MMEM:STOR:PEAK 'C:\List.lst'", the fetch into the output file name of
// listText in saveFolder (extension ".lst"), the parse, then the local file
// deleted whatever the parse said. Messages go to app::host().
TableRead ReadSelectedTable(const std::string& resource, std::string_view name, std::string_view listText,
                            const std::string& saveFolder, TableGrid& grid);

// Save: a save dialog (default extension "txt") in folder, the overwrite
// question "File already exists. Overwrite?", then the text written as
// bytes. False when cancelled or not written (the user was told).
bool SaveTableText(const std::string& text, const std::string& folder);

}  // namespace qv::tables
