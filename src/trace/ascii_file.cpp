// The receiver that stores its trace as a text file: the file is written on
// the instrument, fetched into the current folder and parsed. Its numbers
// follow the instrument's locale, so they go through ConvertDBL.
#include "app/numeric.h"
#include "instrument_io/vif.h"
#include "trace/ascii_trace.h"
#include "trace/reader_support.h"

#include <algorithm>
#include <cstdio>
#include <fstream>

namespace qv::trace {

namespace {

// Field k of a ";"-separated line; empty when the line has fewer.
std::string_view field(std::string_view line, size_t k) {
    for (size_t i = 0; i < k; ++i) {
        const size_t semi = line.find(';');
        if (semi == std::string_view::npos) return {};
        line.remove_prefix(semi + 1);
    }
    return line.substr(0, line.find(';'));
}

}  // namespace

AsciiTraceParse parseAsciiTrace(std::istream& in, char decimalMark) {
    AsciiTraceParse out;
    // A broken block spoils the file: no half of it is shown as a trace.
    auto broken = [&out](std::string why) {
        out = AsciiTraceParse{};
        out.failure = std::move(why);
        return out;
    };
    std::string line;
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (field(line, 0) != "Values") continue;
        const double announced = app::LeadingNumber(field(line, 1));
        if (!(announced >= 1 && announced <= double(kMaxAsciiTracePoints)))
            return broken("TRACE.ASC announces " + std::string(field(line, 1)) + " values");
        const size_t n = size_t(announced);
        std::vector<double> x, y;
        // Grown line by line: a count the file does not hold costs nothing.
        x.reserve(std::min<size_t>(n, 1 << 16));
        y.reserve(std::min<size_t>(n, 1 << 16));
        while (x.size() < n && std::getline(in, line)) {
            if (!line.empty() && line.back() == '\r') line.pop_back();
            x.push_back(ConvertDBL(field(line, 0), decimalMark));
            y.push_back(ConvertDBL(field(line, 1), decimalMark));
        }
        if (x.size() < n)
            return broken("TRACE.ASC ends after " + std::to_string(x.size()) + " of its " + std::to_string(n) +
                          " values");
        out.found = true;
        out.x = std::move(x);
        out.y = std::move(y);
    }
    return out;
}

namespace {

bool readAsciiTrace(ReadContext& ctx) {
    io::VIF& vif = ctx.vif;
    const std::string unit = unitWord(detail::ask(vif, "UNIT:POW?"));
    vif.WriteString("MMEM:STORE:TRAC 1,'TRACE.ASC'");
    const std::string local = ctx.localFolder + "/TRACE.ASC";
    // A transfer that fails must not leave the last reading's file to be read as new.
    std::remove(local.c_str());
    vif.ReadFileFromInstrument("MMEM:DATA? 'TRACE.ASC'", local);
    std::ifstream in(local, std::ios::binary);
    if (!in) {
        ctx.failure = "The trace file " + local + " could not be read: the instrument did not send TRACE.ASC";
        return false;
    }
    AsciiTraceParse parsed = parseAsciiTrace(in, ctx.decimalMark);
    if (!parsed.failure.empty()) {
        ctx.failure = parsed.failure;
        return false;
    }
    // A file without a "Values" block shows the arrays of the last reading.
    if (parsed.found) {
        ctx.reading.traceX = makeValues(std::move(parsed.x));
        ctx.reading.traceY = makeValues(std::move(parsed.y));
    } else {
        if (!ctx.reading.traceX) ctx.reading.traceX = makeValues({});
        if (!ctx.reading.traceY) ctx.reading.traceY = makeValues({});
    }
    ctx.display.DisplayTrace(detail::makePlot(ctx, "Frequency", "Hz", "Level", unit, false));
    return true;
}

}  // namespace

const Reader kAsciiReader{"readAsciiTrace", readAsciiTrace, false};

}  // namespace qv::trace
