// Network analyzers that name their channels and traces: the selection
// checked against the instrument's catalogues before each reading, then the
// formatted data of the channel's active trace over its stimulus, real or
// as (re, im) pairs.
#include "app/host.h"
#include "app/text.h"
#include "app/version.h"
#include "instrument_io/vif.h"
#include "trace/reader_support.h"


namespace qv::trace {

namespace detail {

namespace {

void inform(const std::string& text) { app::host().message(QV_PRODUCT_NAME, text, app::Icon::Information); }

// A failure the user can act on, for a stimulus that does not fit the data.
std::string stimulusMismatchText(bool stimulusOk, size_t xCount, size_t yCount, const std::string& command) {
    if (!stimulusOk || xCount == 0)
        return "The network analyzer sent the trace but no stimulus values (" + command +
               "), so the trace has no frequency axis";
    return "The network analyzer sent " + std::to_string(yCount) + " trace values for " + std::to_string(xCount) +
           " stimulus values (" + command + "): neither one value per point nor a pair per point, so the trace " +
           "cannot be plotted";
}

}  // namespace

bool readNetworkData(ReadContext& ctx, int n, const std::string& dataCommand, bool selectTrace) {
    io::VIF& vif = ctx.vif;
    const std::string ch = std::to_string(n);
    if (selectTrace)
        vif.WriteString("CALC" + ch + ":PAR:SEL '" + ctx.display.traceList().text() + "'");
    std::vector<float> y;
    if (!vif.ReadFloatArray(dataCommand, y, "")) {
        inform("No trace to display.");
        return false;
    }
    if (y.empty()) {
        ctx.failure = kNoPointsText;
        return false;
    }
    const std::string stimulus = "TRAC:STIM? CH" + ch + "DATA";
    std::vector<float> x;
    const bool ok = vif.ReadFloatArray(stimulus, x, "");
    const bool real = ok && x.size() == y.size();
    // Pairs: (re, im) for every stimulus point.
    const bool complex = ok && !x.empty() && y.size() == 2 * x.size();
    if (!real && !complex) {
        ctx.failure = stimulusMismatchText(ok, x.size(), y.size(), stimulus);
        return false;
    }
    ctx.reading.tracePoints = double(y.size());
    ctx.reading.traceX = makeValues(toDoubles(x));
    ctx.reading.traceY = makeValues(toDoubles(y));
    if (real) {
        ctx.reading.axisStart = x.front();
        ctx.reading.axisStop = x.back();
        // A sweep at one frequency (CW) runs over time.
        const bool overTime = x.front() == x.back();
        ctx.display.DisplayTrace(overTime ? makePlot(ctx, "Time", "s", "Level", "dBm", false)
                                          : makePlot(ctx, "Frequency", "Hz", "Level", "dBm", false));
    } else {
        Plot p = makePlot(ctx, "Frequency", "Hz", "Real / Imag", "", false);
        p.complex = true;
        ctx.display.DisplayComplexTrace(p);
    }
    return true;
}

}  // namespace detail

namespace {

using namespace detail;

void traceError(const std::string& text) { app::host().message("Trace Error", text, app::Icon::Critical); }

// The lists read anew on a session of their own, as the window's selectors
// fill them; the reading goes on with what they then show.
void refillLists(ReadContext& ctx) {
    io::VIF own;
    openOwnVif(own, ctx.own);
    fillChannelList(own, ctx.display.channelList());
    fillTraceList(own, ctx.display.channelList(), ctx.display.traceList());
}

bool readNetworkTrace(ReadContext& ctx) {
    io::VIF& vif = ctx.vif;
    Selector& channels = ctx.display.channelList();
    Selector& traces = ctx.display.traceList();
    vif.WriteString("FORM REAL,32");
    int channel = ctx.selectedChannel;

    std::string catalogue = ask(vif, "CONF:CHAN:CAT?");
    if (!catalogueHolds(catalogue, channels.text())) {
        traceError("Channel does not exist anymore. Please select a different channel!");
        refillLists(ctx);
        channel = shared().SelectedChannel;
    }
    catalogue = ask(vif, "CALC" + channels.text() + ":PAR:CAT?");
    if (!catalogueHolds(catalogue, traces.text())) {
        traceError("Trace does not exist anymore. Please select a different trace!");
        refillLists(ctx);
        channel = shared().SelectedChannel;
    }
    ctx.display.showTraceSelector(true);
    ctx.display.showChannelSelector(true);
    const int n = channel + 1;
    return readNetworkData(ctx, n, "CALCulate" + std::to_string(n) + ":DATA?  FDATA", true);
}

}  // namespace

const Reader kNetworkReader{"readNetworkTrace", readNetworkTrace, false};

}  // namespace qv::trace
