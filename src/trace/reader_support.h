// What the readers share: the short questions, the x axes and the texts of
// the failures that end a reading.
#pragma once

#include "trace/reader.h"

#include <string>
#include <vector>

namespace qv::trace::detail {

inline constexpr const char* kOnePointText = "Division by zero: the trace has one point, so its x step cannot be computed";
inline constexpr const char* kNoPointsText = "The instrument sent a trace without values";

// The answer to a query (at most 2048 characters); empty when none came.
std::string ask(io::VIF& vif, const std::string& query);
// An axis answer: its leading number with "." as decimal mark; 0 when none.
double askNumber(io::VIF& vif, const std::string& query);

std::vector<double> toDoubles(const std::vector<float>& values);

// n points from start to stop, the last exactly stop. False with
// ctx.failure set when n cannot make an axis (fewer than two points).
bool linearAxis(ReadContext& ctx, double start, double stop, size_t n, std::vector<double>& x);
// n points spaced logarithmically from start to stop. Both must be above 0.
bool logAxis(ReadContext& ctx, double start, double stop, size_t n, std::vector<double>& x);

// The plot of a reading as the readers hand it to the display.
Plot makePlot(const ReadContext& ctx, const char* xName, const char* xUnit, const char* yName, std::string yUnit,
              bool logHint);

// A swept or timed trace kept as the reading (values, x, points, axis ends,
// whether it runs over time) and plotted over "Time" in s or "Frequency" in Hz.
void keepSweep(ReadContext& ctx, const std::vector<float>& values, std::vector<double> x, double start, double stop,
               bool overTime, const std::string& yUnit, bool logHint);

}  // namespace qv::trace::detail

namespace qv::trace::detail {

// The network analyzers' common end of a reading: the active trace selected
// where traces have names, the data, the stimulus, and the plot, real or
// complex. n: the channel number of the commands.
bool readNetworkData(ReadContext& ctx, int n, const std::string& dataCommand, bool selectTrace);

}  // namespace qv::trace::detail
