// The selectors' steps, shared by the trace window and the command line.
#include "trace/selectors.h"

#include "app/context.h"
#include "app/text.h"
#include "instrument_io/vif.h"

#include <algorithm>
#include <charconv>

namespace qv::trace {

namespace {

constexpr const char* kNetworkMode = "NWA";
// A channel count out of reason is held to a list one can scroll.
constexpr int kMaxChannels = 64;

bool open(io::VIF& vif, const VifTarget& target) { return openOwnVif(vif, target); }

// The older network analyzer has four fixed channels and no catalogues.
bool hasCatalogues(const std::string& family) { return !dialectFor(family).fixedChannels; }

std::string askMode(const VifTarget& target) {
    io::VIF vif;
    std::string answer;
    if (open(vif, target) && vif.ReadString("INST:SEL?", answer, 2048)) return app::TrimLineEnds(answer);
    return {};
}

void fillCatalogues(const VifTarget& target, const std::string& family, Display& display) {
    if (!hasCatalogues(family)) return;
    {
        io::VIF vif;
        if (open(vif, target)) fillChannelList(vif, display.channelList());
    }
    io::VIF vif;
    if (open(vif, target)) fillTraceList(vif, display.channelList(), display.traceList());
}

void fillTraceCatalogue(const VifTarget& target, const std::string& family, Display& display) {
    if (!hasCatalogues(family)) return;
    io::VIF vif;
    if (open(vif, target)) fillTraceList(vif, display.channelList(), display.traceList());
}

}  // namespace

void fillActiveTraces(const VifTarget& target, int count, Selector& traces) {
    io::VIF vif;
    std::vector<int> numbers;
    if (open(vif, target)) numbers = activeTraces(vif, count);
    traces.clear();
    for (int n : numbers) traces.add(std::to_string(n));
    // No trace on the instrument's display: the list stays empty and the
    // reading asks for the first trace.
    if (traces.count() > 0) traces.select(0);
    app::context().SelectedTrace = 0;
}

void loadSelectors(const VifTarget& target, const std::string& family, int masterTraces, Display& display,
                   std::string& instrumentMode) {
    Selector& channels = display.channelList();
    Selector& traces = display.traceList();
    const Dialect& d = dialectFor(family);

    channels.clear();
    const int n = std::clamp(masterTraces, 0, kMaxChannels);
    for (int i = 1; i <= n; ++i) channels.add(std::to_string(i));
    if (d.mathChannels)
        for (int i = 1; i <= 4; ++i) channels.add("Math " + std::to_string(i));
    traces.clear();
    for (int i = 1; i <= 4; ++i) traces.add(std::to_string(i));
    traces.select(0);
    app::context().SelectedTrace = static_cast<int16_t>(traces.selected() >= 0 ? traces.selected() : 1);

    if (d.modeAtLoad) {
        instrumentMode = askMode(target);
        if (instrumentMode != kNetworkMode && d.activeTraces > 0) fillActiveTraces(target, d.activeTraces, traces);
    } else if (d.activeTraces > 0) {
        fillActiveTraces(target, d.activeTraces, traces);
    }
    if (d.networkAtLoad) instrumentMode = kNetworkMode;

    if (instrumentMode == kNetworkMode) {
        fillCatalogues(target, family, display);
    } else if (channels.count() > 0) {
        channels.select(0);
    }
    // The reading goes on with what the list shows, whatever an earlier
    // window left in the shared selection.
    shared().SelectedChannel = 0;
    if (channels.selected() >= 0) display.setChannelCaption(channels.text());
}

bool channelChosen(const VifTarget& target, const std::string& family, int index, Display& display) {
    Selector& channels = display.channelList();
    if (index < 0 || index >= channels.count()) return false;
    if (channels.selected() != index) channels.select(index);
    shared().SelectedChannel = static_cast<int16_t>(index);
    display.setChannelCaption(channels.item(index));

    const Dialect& d = dialectFor(family);
    std::string mode;
    if (d.networkChannels) {
        mode = kNetworkMode;
        {
            io::VIF vif;
            if (open(vif, target)) vif.WriteString("INST:SEL CHANNEL" + std::to_string(index + 1));
        }
        fillTraceCatalogue(target, family, display);
    } else {
        if (d.modeAtLoad) mode = askMode(target);
        if (mode == kNetworkMode) {
            // A signal analyzer running as a network analyzer: its displayed
            // spectrum traces say nothing about network channels, the
            // channel's catalogue does.
            fillTraceCatalogue(target, family, display);
        } else if (d.activeTraces > 0) {
            fillActiveTraces(target, d.activeTraces, display.traceList());
        }
    }
    return mode != kNetworkMode;
}

void traceChosen(const std::string& family, int index, Selector& traces) {
    int16_t selected = static_cast<int16_t>(index);
    if (dialectFor(family).realTraceNumbers) {
        // The list holds the instrument's trace numbers; in mode "NWA" it
        // holds names, and the position is what counts.
        const std::string text = traces.item(index);
        int number = 0;
        const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), number);
        if (ec == std::errc() && end == text.data() + text.size() && number >= 1 && number <= 32767)
            selected = static_cast<int16_t>(number - 1);
    }
    app::context().SelectedTrace = selected;
}

bool renamesInPlace(std::string_view mappedName, std::string_view family) {
    return mappedName.rfind("KD", 0) == 0 && !dialectFor(family).fixedChannels;
}

std::string renameCommand(RenameWhat what, const std::string& caption, const std::string& text) {
    return std::string(what == RenameWhat::Channel ? "CONF:CHAN" : "CONF:TRAC") + caption + ":NAME '" + text + "'";
}

bool renameOnEnter(const VifTarget& target, std::string_view mappedName, const std::string& family,
                   RenameWhat what, Display& display) {
    if (!renamesInPlace(mappedName, family)) return false;
    const Selector& list = what == RenameWhat::Channel ? display.channelList() : display.traceList();
    io::VIF vif;
    if (!open(vif, target)) return false;
    return vif.WriteString(renameCommand(what, display.channelCaption(), list.text()));
}

}  // namespace qv::trace
