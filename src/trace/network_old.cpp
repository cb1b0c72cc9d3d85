// The older network analyzer: four fixed channels without trace names; the
// instrument's active channel is the one read.
#include "app/numeric.h"
#include "app/text.h"
#include "instrument_io/vif.h"
#include "trace/reader_support.h"

#include <algorithm>

namespace qv::trace {

namespace {

using namespace detail;

bool readOldNetworkTrace(ReadContext& ctx) {
    io::VIF& vif = ctx.vif;
    vif.WriteString("FORM REAL,32");
    Selector& channels = ctx.display.channelList();
    listFixedChannels(channels);

    const std::string answer = app::TrimLineEnds(ask(vif, "INST:SEL?"));
    std::string rest = answer;
    for (size_t at; (at = rest.find("CHANNEL")) != std::string::npos;) rest.erase(at, 7);
    double number = 0;
    if (!app::LeadingNumber(rest, number)) number = 0;  // no number reads as 0, so no channel
    const int index = std::clamp(int(app::ToInt16(number)) - 1, -32768, 32767);
    shared().SelectedChannel = int16_t(index);
    ctx.display.setChannelCaption(std::to_string(index + 1));
    if (!channels.select(index)) {
        ctx.failure = "The network analyzer answered INST:SEL? with \"" + answer +
                      "\", which names none of its channels CHANNEL1 to CHANNEL4";
        return false;
    }
    const int n = index + 1;
    return readNetworkData(ctx, n, "TRAC? CH" + std::to_string(n) + "DATA", false);
}

}  // namespace

void listFixedChannels(Selector& channels) {
    channels.clear();
    for (int i = 1; i <= 4; ++i) channels.add("CHANNEL" + std::to_string(i));
}

const Reader kOldNetworkReader{"readNetworkTrace", readOldNetworkTrace, false};

}  // namespace qv::trace
