// Trace data: one reading as the readers leave it, the process-wide store
// that export and the other windows read, the one text form of trace data,
// and the number conversions the readers share.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace qv::trace {

// Arrays of a reading are shared, not copied, between the window, the store
// and the export: a 10,000,000-point trace is held once.
using Values = std::shared_ptr<const std::vector<double>>;
Values makeValues(std::vector<double> v);

// One DisplayTrace or DisplayComplexTrace call: what the graph is to show.
struct Plot {
    Values x, y;  // complex: y holds (re, im) pairs, twice as many values as x
    std::string family, xName, xUnit, yName, yUnit;
    bool complex = false;  // DisplayComplexTrace
    bool logHint = false;  // passed on; the display ignores it
};

// The members of a trace window that a reader fills.
struct Reading {
    Values traceX, traceY;
    double axisStart = 0, axisStop = 0;
    double tracePoints = 0;
};

struct TracePoint {
    double X = 0, Y = 0;
    bool IsComplex = false;
    double Re = 0, Im = 0;
};

// The last finished reading in export form. Complex when y holds twice as
// many values as x (pairs); a point is made on demand from the shared arrays.
class TraceData {
public:
    void set(Values x, Values y);
    void clear();
    size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }
    bool complex() const { return complex_; }
    TracePoint operator[](size_t k) const;

private:
    Values x_, y_;
    size_t size_ = 0;
    bool complex_ = false;
};

// Process-wide trace state, shared by every trace window (one thread: the
// thread is the lock). SelectedTrace lives in the application context.
struct Shared {
    int16_t SelectedChannel = 0;
    bool ZeroSpanTrace = false;
    TraceData traceData;
};
Shared& shared();

// The decimal mark of the user's locale (LC_NUMERIC, LC_ALL, LANG): '.' or ','.
char SystemDecimalMark();

// A double as the system writes it by default: up to 15 significant digits,
// no exponent between 1E-05 and 1E+15, the given decimal mark.
std::string DoubleText(double value, char decimalMark);

// The trace text: one line per point, "X; Y" or "X; Re; Im", each ending
// CR LF; no header. Streamed, so that a large trace is never one string.
void WriteTraceText(std::ostream& out, const TraceData& data, char decimalMark);
std::string TraceDataText(const TraceData& data, char decimalMark);
// Writes the trace text to path, replacing it; trailingEmptyLine adds one
// more CR LF (the automatic save). The file is written beside and renamed
// into place, so a failed write leaves no file that looks whole. False with
// the reason when it cannot be written.
bool SaveTraceText(const std::string& path, const TraceData& data, char decimalMark, bool trailingEmptyLine,
                   std::string& why);

// A number text whatever decimal mark it holds or the system uses: 1.234,5
// and 1,234.5 both give 1234.5; "" gives 0. decimalMark: the system's.
double ConvertDBL(std::string_view text, char decimalMark);
// Both "," and "." present: every instance of the one that comes first is
// removed; then "," becomes "."; then the leading number.
double ParseDouble(std::string_view text);
// The unit table: the answer upper-cased and looked up ("DBM" -> "dBm",
// "DBUV" -> "dBµV"); not in the table: the answer upper-cased.
std::string unitWord(std::string_view answer);

// Complex pairs: 20 log10 |z|, the real parts, the imaginary parts; one
// value per pair.
std::vector<double> complexToDb(const std::vector<double>& pairs);
std::vector<double> realParts(const std::vector<double>& pairs);
std::vector<double> imagParts(const std::vector<double>& pairs);

}  // namespace qv::trace
