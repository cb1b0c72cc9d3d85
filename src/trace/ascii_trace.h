// The parser of the TRACE.ASC file, on its own for tests and the fuzzer.
#pragma once

#include <cstddef>
#include <istream>
#include <string>
#include <vector>

namespace qv::trace {

// More values than any instrument writes: a count above it is a broken file.
inline constexpr size_t kMaxAsciiTracePoints = 50'000'000;

struct AsciiTraceParse {
    bool found = false;  // a "Values" block was read whole
    std::vector<double> x, y;
    std::string failure;  // a block that announces a bad count or ends early
};

// Lines split at ";"; a line whose first field is "Values" announces the
// count in its second; the next count lines give x (first field) and y
// (second field). Other lines are skipped; a later block replaces an
// earlier one. Lines may end in LF or CR LF.
AsciiTraceParse parseAsciiTrace(std::istream& in, char decimalMark);

}  // namespace qv::trace
