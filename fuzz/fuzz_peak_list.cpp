// Peak list files come from instruments: any bytes must give either a grid
// of a header and whole rows built from the file's own bytes, or a failure
// with an empty grid; the result summary's split must never misplace a label.
#include "tables/peak_list.h"
#include "tables/result_report.h"

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

using namespace qv::tables;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    TableGrid grid{{"stale", "stale", "stale"}};
    const bool ok = ParsePeakList(bytes, grid);
    if (!ok && !grid.empty()) std::abort();
    if (ok && (grid.empty() || grid[0] != PeakListHeader())) std::abort();
    // Every peak takes three lines of the file.
    size_t lines = 1;
    for (char c : bytes) lines += c == '\n';
    if (ok && (grid.size() - 1) * 3 > lines) std::abort();
    const std::string text = ListToText(grid);
    if (grid.empty() != text.empty()) std::abort();

    const std::vector<std::string> result = ResultLines(bytes);
    if (!result.empty()) {
        if (result.size() != size_t(kResultFieldCount)) std::abort();
        for (size_t i = 0; i < result.size(); ++i)
            if (result[i].rfind(std::string(ResultLabels()[i]) + "\t", 0) != 0) std::abort();
    }
    return 0;
}
