// Audio analyzers: the trace in volts, turned into dBm as it arrives; a
// frequency axis, or a time axis when the start and stop frequencies agree.
#include "instrument_io/vif.h"
#include "trace/reader_support.h"

namespace qv::trace {

namespace {

using namespace detail;

bool readAudioTrace(ReadContext& ctx) {
    io::VIF& vif = ctx.vif;
    // Asked as the family expects it; the graph always shows dBm.
    unitWord(ask(vif, "SENS:UNIT?"));
    vif.WriteString("FORM REAL");
    std::vector<float> values;
    if (!vif.ReadFloatArray("TRAC? TRACE", values, "V2DBM")) {
        // This family keeps its error queue behind *ERR?.
        ask(vif, "*ERR?");
        return false;
    }
    const size_t n = values.size();
    double start = askNumber(vif, "CALC:TRAN:FREQ:START?");
    double stop = askNumber(vif, "CALC:TRAN:FREQ:STOP?");
    const bool overTime = start == stop;
    if (overTime) {
        stop = askNumber(vif, "SENS:SWE:TIME?");
        start = 0;
    }
    std::vector<double> x;
    if (!linearAxis(ctx, start, stop, n, x)) return false;
    keepSweep(ctx, values, std::move(x), start, stop, overTime, "dBm", false);
    return true;
}

}  // namespace

const Reader kAudioReader{"readAudioTrace", readAudioTrace, false};

}  // namespace qv::trace
