// Spectrum analyzers and receivers: the swept or zero-span trace, the phase
// noise curve and the FM demodulation over time.
#include "app/text.h"
#include "instrument_io/vif.h"
#include "trace/reader_support.h"

#include <string_view>

namespace qv::trace {

namespace {

using namespace detail;

std::string traceNumber(const ReadContext& ctx) { return std::to_string(ctx.selectedTrace + 1); }

bool readAnalyzerTrace(ReadContext& ctx) {
    io::VIF& vif = ctx.vif;
    const Dialect& d = dialectFor(ctx.family);
    const std::string unit = unitWord(ask(vif, d.handheld ? "UNIT:POW?" : "CALC:UNIT:POW?"));
    vif.WriteString("FORM REAL,32");
    std::vector<float> values;
    if (!vif.ReadFloatArray(d.handheld ? "TRAC:DATA?" : "TRAC? TRACE" + traceNumber(ctx), values, "")) {
        std::string errors;
        vif.PollErrors(errors, "SYST:ERR?", true);
        return false;
    }
    // The handheld sends one value more than its trace has points.
    if (d.handheld && !values.empty()) values.pop_back();
    const size_t n = values.size();
    double start = askNumber(vif, "FREQ:START?");
    double stop = askNumber(vif, "FREQ:STOP?");
    const std::string spacing = ask(vif, "DISP:TRAC:X:SPAC?");
    const bool logHint = spacing == "AUTO" || spacing == "LOG";

    std::vector<double> x;
    const bool zeroSpan = start == stop;
    if (zeroSpan) {
        stop = askNumber(vif, "SENS:SWE:TIME?");
        start = 0;
        if (!linearAxis(ctx, start, stop, n, x)) return false;
    } else {
        const std::string mode = ask(vif, "INST:SEL?");
        // Some receivers space logarithmically only as spectrum analyzers.
        const bool log = logHint && !(d.logOnlyInSan && mode.rfind("SAN", 0) != 0);
        if (!(log ? logAxis(ctx, start, stop, n, x) : linearAxis(ctx, start, stop, n, x))) return false;
    }
    keepSweep(ctx, values, std::move(x), start, stop, zeroSpan, unit, logHint);
    return true;
}

bool readPhaseNoiseTrace(ReadContext& ctx) {
    std::string answer;
    if (!ctx.vif.ReadString("TRAC? TRACE" + traceNumber(ctx), answer, 100000)) {
        std::string errors;
        ctx.vif.PollErrors(errors, "SYST:ERR?", true);
        return false;
    }
    // "x,y,x,y,...": offset frequency and level in pairs; a lone last field
    // has no partner and is left out.
    std::vector<std::string_view> fields;
    std::string_view rest = answer;
    for (;;) {
        const size_t comma = rest.find(',');
        fields.push_back(rest.substr(0, comma));
        if (comma == std::string_view::npos) break;
        rest.remove_prefix(comma + 1);
    }
    const size_t n = fields.size() / 2;
    if (n == 0) {
        ctx.failure = kNoPointsText;
        return false;
    }
    std::vector<double> x(n), y(n);
    for (size_t i = 0; i < n; ++i) {
        x[i] = ParseDouble(fields[2 * i]);
        y[i] = ParseDouble(fields[2 * i + 1]);
    }
    ctx.reading.traceX = makeValues(std::move(x));
    ctx.reading.traceY = makeValues(std::move(y));
    ctx.reading.tracePoints = double(n);
    shared().ZeroSpanTrace = false;
    ctx.display.DisplayTrace(makePlot(ctx, "Frequency", "Hz", "Level", "dBm", true));
    return true;
}

bool readDemodTrace(ReadContext& ctx) {
    io::VIF& vif = ctx.vif;
    vif.WriteString("FORM REAL,32");
    std::vector<float> values;
    if (!vif.ReadFloatArray("ADEM:FM:RES? WRIT", values, "")) {
        std::string errors;
        vif.PollErrors(errors, "SYST:ERR?", true);
        return false;
    }
    const size_t n = values.size();
    const double sweepTime = ParseDouble(ask(vif, "SWE:TIME?"));
    if (n == 0) {
        ctx.failure = "Division by zero: the demodulated trace has no points";
        return false;
    }
    // The step divides by the point count, not by the count less one: the
    // last point lies one step before the sweep time.
    const double step = sweepTime / double(n);
    std::vector<double> x(n);
    for (size_t i = 0; i < n; ++i) x[i] = double(i) * step;
    ctx.reading.traceY = makeValues(toDoubles(values));
    ctx.reading.traceX = makeValues(std::move(x));
    ctx.reading.tracePoints = double(n);
    ctx.reading.axisStart = 0;
    ctx.display.DisplayTrace(makePlot(ctx, " ", "s", " ", " ", false));
    return true;
}

}  // namespace

const Reader kAnalyzerReader{"readAnalyzerTrace", readAnalyzerTrace, true};
const Reader kPhaseNoiseReader{"readPhaseNoiseTrace", readPhaseNoiseTrace, true};
const Reader kDemodReader{"readDemodTrace", readDemodTrace, false};

}  // namespace qv::trace
