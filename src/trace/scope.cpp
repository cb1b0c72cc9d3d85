// Oscilloscopes: one source chosen in the channel selector, a channel (1 to
// 4) or a math trace (1 to 4); binary waveforms with a header of the x range
// for the one family, text waveforms with a header that also counts the
// points for the other.
#include "app/text.h"
#include "instrument_io/vif.h"
#include "trace/reader_support.h"
#include "trace/waveform_text.h"


namespace qv::trace {

namespace {

using namespace detail;

struct Source {
    std::string stem;  // "CHAN1", "CALC:MATH2"
    bool math = false;
};

// The selector holds the channels, then "Math 1" to "Math 4".
bool sourceOf(ReadContext& ctx, Source& source) {
    const int s = ctx.selectedChannel;
    if (s >= 0 && s <= 3) {
        source = {"CHAN" + std::to_string(s + 1), false};
        return true;
    }
    if (s >= 4 && s <= 7) {
        source = {"CALC:MATH" + std::to_string(s - 3), true};
        return true;
    }
    ctx.failure = "No waveform source is selected: choose a channel or a math trace in the channel list";
    return false;
}

// Switches the source on and waits for it. The *OPC? answer is read here:
// left in the output it would become the answer to every later question.
void switchOn(io::VIF& vif, const std::string& stem) {
    std::string answer;
    vif.ReadString(stem + ":STAT 1;*OPC?", answer, 2048);
    ask(vif, stem + ":STAT?");  // asked as the instrument expects; the answer is not needed
}

bool holdsFft(const std::string& definition) {
    return app::ToUpperAscii(definition).find("FFT") != std::string::npos;
}

void keepWaveform(ReadContext& ctx, std::vector<double> x, std::vector<double> y, const WaveHeader& h,
                  const char* xName, const char* xUnit, const std::string& yUnit) {
    ctx.reading.tracePoints = double(y.size());
    ctx.reading.axisStart = h.first;
    ctx.reading.axisStop = h.last;
    ctx.reading.traceX = makeValues(std::move(x));
    ctx.reading.traceY = makeValues(std::move(y));
    ctx.display.DisplayTrace(makePlot(ctx, xName, xUnit, "Level", yUnit, false));
}

bool readMyiTrace(ReadContext& ctx) {
    io::VIF& vif = ctx.vif;
    ctx.display.showChannelSelector(true);
    Source source;
    if (!sourceOf(ctx, source)) return false;
    vif.WriteString("FORM REAL,32");
    switchOn(vif, source.stem);
    const char* xName = "Time";
    const char* xUnit = "s";
    const char* yUnit = "V";
    std::string header;
    std::vector<float> values;
    bool ok;
    if (!source.math) {
        header = ask(vif, source.stem + ":WAV1:DATA:HEAD?");
        ok = vif.ReadFloatArray(source.stem + ":WAV1:DATA?", values, "");
    } else {
        if (holdsFft(ask(vif, source.stem + "?"))) {
            xName = "Frequency";
            xUnit = "Hz";
            yUnit = "dBm";
        }
        header = ask(vif, source.stem + ":DATA:HEAD?");
        ok = vif.ReadFloatArray(source.stem + ":DATA?", values, "");
    }
    if (!ok) {
        std::string errors;
        vif.PollErrors(errors, "SYST:ERR?", true);
        return false;
    }
    WaveHeader h;
    if (!parseWaveHeader(header, 2, h, ctx.failure)) return false;
    const size_t n = values.size();
    // The step divides by one less than the count.
    if (n < 2) {
        ctx.failure = n == 1 ? kOnePointText : kNoPointsText;
        return false;
    }
    if (headerHasNoAxis(h)) return false;
    const double step = (h.last - h.first) / double(n - 1);
    keepWaveform(ctx, steppedAxis(h.first, step, n), toDoubles(values), h, xName, xUnit, yUnit);
    return true;
}

bool readMyeTrace(ReadContext& ctx) {
    io::VIF& vif = ctx.vif;
    ctx.display.showChannelSelector(true);
    Source source;
    if (!sourceOf(ctx, source)) return false;
    switchOn(vif, source.stem);
    const std::string yUnit = unitWord("VOLT");
    const std::string header = ask(vif, source.stem + ":DATA:HEAD?");
    // Always text, whatever FORM says: no FORM goes first.
    std::string data;
    vif.ReadStringLong(source.stem + ":DATA?", data, 1000);
    WaveHeader h;
    if (!parseWaveHeader(header, 4, h, ctx.failure)) return false;
    size_t n = 0;
    // An empty answer holds no values, not one empty one.
    const size_t available = data.find_first_not_of(" \t\r\n") == std::string::npos ? 0 : fieldCount(data);
    if (!headerPointCount(h, available, n, ctx.failure)) return false;
    if (headerHasNoAxis(h)) return false;
    // The step divides by the count itself: the last point lies one step
    // before the header's last x.
    const double step = (h.last - h.first) / double(n);
    // A math source shows over time too: this family has no spectrum branch.
    keepWaveform(ctx, steppedAxis(h.first, step, n), parseWaveValues(data, n), h, "Time", "s", yUnit);
    return true;
}

}  // namespace

const Reader kMyiReader{"readMyiTrace", readMyiTrace, false};
const Reader kMyeReader{"readMyeTrace", readMyeTrace, false};

}  // namespace qv::trace
