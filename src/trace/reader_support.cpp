#include "trace/reader_support.h"

#include "app/numeric.h"
#include "instrument_io/vif.h"

#include <cmath>

namespace qv::trace::detail {

std::string ask(io::VIF& vif, const std::string& query) {
    std::string answer;
    if (!vif.ReadString(query, answer, 2048)) return {};
    return answer;
}

double askNumber(io::VIF& vif, const std::string& query) { return app::LeadingNumber(ask(vif, query)); }

std::vector<double> toDoubles(const std::vector<float>& values) { return {values.begin(), values.end()}; }

namespace {

bool enoughPoints(ReadContext& ctx, size_t n) {
    if (n >= 2) return true;
    ctx.failure = n == 1 ? kOnePointText : kNoPointsText;
    return false;
}

}  // namespace

bool linearAxis(ReadContext& ctx, double start, double stop, size_t n, std::vector<double>& x) {
    if (!enoughPoints(ctx, n)) return false;
    const double step = (stop - start) / double(n - 1);
    x.resize(n);
    for (size_t i = 0; i < n; ++i) x[i] = double(i) * step + start;
    // i * step drifts by rounding; the axis must end where the instrument says.
    x[n - 1] = stop;
    return true;
}

bool logAxis(ReadContext& ctx, double start, double stop, size_t n, std::vector<double>& x) {
    if (!enoughPoints(ctx, n)) return false;
    if (start == 0) {
        ctx.failure = "Division by zero: the logarithmic axis cannot start at 0 Hz";
        return false;
    }
    if (start < 0 || stop <= 0) {
        ctx.failure = "Invalid logarithm: the logarithmic axis runs from " + app::TrimmedText(start) + " Hz to " +
                      app::TrimmedText(stop) + " Hz, and only positive frequencies have a logarithm";
        return false;
    }
    const double first = std::log10(start);
    const double step = std::log10(stop / start) / double(n - 1);
    x.resize(n);
    for (size_t i = 0; i < n; ++i) x[i] = std::pow(10.0, first + double(i) * step);
    return true;
}

Plot makePlot(const ReadContext& ctx, const char* xName, const char* xUnit, const char* yName, std::string yUnit,
              bool logHint) {
    Plot p;
    p.x = ctx.reading.traceX;
    p.y = ctx.reading.traceY;
    p.family = ctx.family;
    p.xName = xName;
    p.xUnit = xUnit;
    p.yName = yName;
    p.yUnit = std::move(yUnit);
    p.logHint = logHint;
    return p;
}

void keepSweep(ReadContext& ctx, const std::vector<float>& values, std::vector<double> x, double start, double stop,
               bool overTime, const std::string& yUnit, bool logHint) {
    ctx.reading.traceY = makeValues(toDoubles(values));
    ctx.reading.traceX = makeValues(std::move(x));
    ctx.reading.tracePoints = double(values.size());
    ctx.reading.axisStart = start;
    ctx.reading.axisStop = stop;
    shared().ZeroSpanTrace = overTime;
    ctx.display.DisplayTrace(overTime ? makePlot(ctx, "Time", "s", "Level", yUnit, logHint)
                                      : makePlot(ctx, "Frequency", "Hz", "Level", yUnit, logHint));
}

}  // namespace qv::trace::detail
