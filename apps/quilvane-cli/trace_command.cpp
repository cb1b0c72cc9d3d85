// quilvane-cli trace: one reading through the trace window's own engine,
// written as the window's trace text, optionally drawn into a PNG.
#include "cli.h"

#include "app/context.h"
#include "instrument_directory/capabilities.h"
#include "instrument_directory/visa_scan.h"
#include "trace/reader.h"
#include "trace/selectors.h"
#include "ui/trace_png.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>

namespace qv::cli {

namespace {

int usageError(const std::string& text) {
    std::fprintf(stderr, "error: trace: %s\n", text.c_str());
    return 2;
}

// The window as the command line has it: no controls, the last plot kept.
class RecordingWindow : public trace::Window {
public:
    explicit RecordingWindow(std::string mapped) : mapped_(std::move(mapped)) {}
    void DisplayTrace(const trace::Plot& plot) override { last = plot; }
    void DisplayComplexTrace(const trace::Plot& plot) override {
        last = plot;
        last.complex = true;
    }
    std::string mappedName() const override { return mapped_; }
    void setChannelCaption(const std::string& text) override { caption_ = text; }
    std::string channelCaption() const override { return caption_; }
    trace::Plot last;

private:
    std::string mapped_;
    std::string caption_;
};

// The picture is drawn offscreen by the trace window's own graph.
bool renderPng(const trace::Plot& plot, const std::string& path, std::string& why) {
    constexpr int kWidth = 1000, kHeight = 600;
    return ui::RenderTracePng(plot, path, kWidth, kHeight, why);
}

bool positive(const std::string& text, int& out) {
    char* end = nullptr;
    const long v = std::strtol(text.c_str(), &end, 10);
    if (end == text.c_str() || *end != '\0' || v < 1 || v > 32767) return false;
    out = int(v);
    return true;
}

// Lower case without blanks: "Math 2", "math2" and "MATH 2" name one item.
std::string folded(const std::string& text) {
    std::string out;
    for (char c : text)
        if (c != ' ') out += char(std::tolower(static_cast<unsigned char>(c)));
    return out;
}

// The item a --channel or --trace value names: an item of that text first
// (the network analyzers' channel numbers, trace names, "Math 2"), else the
// item at that position counted from 1. -1: none.
int findItem(const trace::Selector& list, const std::string& value) {
    for (int i = 0; i < list.count(); ++i)
        if (folded(list.item(i)) == folded(value)) return i;
    int n = 0;
    if (positive(value, n) && n <= list.count()) return n - 1;
    return -1;
}

std::string itemsText(const trace::Selector& list) {
    std::string out;
    for (int i = 0; i < list.count(); ++i) out += (i ? ", " : "") + list.item(i);
    return out.empty() ? "none" : out;
}

void printList(const char* what, const trace::Selector& list) {
    for (int i = 0; i < list.count(); ++i) std::printf("%s\t%d\t%s\n", what, i + 1, list.item(i).c_str());
}

}  // namespace

int cmdTrace(const Options& o) {
    int traceNo = 1, channelNo = 1;
    std::string png, channelText, traceText;
    bool list = false;
    for (size_t i = 2; i < o.args.size(); ++i) {
        const std::string& opt = o.args[i];
        if (opt == "--list") {
            list = true;
            continue;
        }
        if (i + 1 >= o.args.size()) return usageError(opt + " takes a value");
        const std::string& value = o.args[++i];
        // A name is taken where the list holds names (a trace name, "Math 2").
        const bool named = !value.empty() && !std::isdigit(static_cast<unsigned char>(value[0]));
        if (opt == "--trace") {
            if (!named && !positive(value, traceNo)) return usageError("--trace takes a number from 1 or a name");
            traceText = value;
        } else if (opt == "--channel") {
            if (!named && !positive(value, channelNo)) return usageError("--channel takes a number from 1 or a name");
            channelText = value;
        } else if (opt == "--png") {
            png = value;
        } else {
            return usageError("unknown option " + opt);
        }
    }

    dir::VISAScan scan;
    const int16_t last = identify(o, scan);
    if (last < 0 || scan.DeviceTyp(last) == dir::kNoDevice || scan.DeviceTyp(last) == dir::kDeviceUnknown) {
        std::fprintf(stderr, "error: %s did not answer as an instrument this program knows; check the address\n",
                     o.args[1].c_str());
        return 1;
    }
    app::AppContext& ctx = app::context();
    trace::WindowState state;
    state.MyVISARsc = o.args[1];
    state.MyDevType = scan.DeviceTyp(last);
    state.prepareVif = [&o](io::VIF& v) {
        if (!o.logFile.empty()) v.ConfigDebugMode(o.logLevel, true, o.logFile, 256);
        v.TimeOut(int32_t(o.timeoutMs));
    };
    const std::string mapped = scan.DeviceMappedName(last);
    RecordingWindow window(mapped);

    // The selectors as the window's load leaves them, then the user's picks
    // as clicks on them.
    const trace::VifTarget target{state.MyVISARsc, state.prepareVif, o.timeoutMs};
    const std::string& family = state.MyDevType;
    const int masterTraces = dir::MasterTraces(dir::VisaDevicesPath(), mapped.empty() ? family : mapped);
    trace::loadSelectors(target, family, masterTraces, window, state.instrumentMode);
    const trace::Dialect& d = trace::dialectFor(family);
    const bool named = state.instrumentMode == "NWA";
    trace::Selector& channels = window.channelList();
    trace::Selector& traces = window.traceList();
    if (d.fixedChannels) {
        // Its reader lists the four fixed channels before it reads; the
        // window's user picks among those, so the command line does too.
        trace::listFixedChannels(channels);
        channels.select(0);
    }
    if (!channelText.empty()) {
        if (named || d.networkChannels || d.mathChannels) {
            const int index = findItem(channels, channelText);
            if (index < 0)
                return usageError("channel " + channelText + " does not exist; the instrument has channels " +
                                  itemsText(channels));
            trace::channelChosen(target, family, index, window);
        } else {
            // The analyzers read the trace number; the channel is kept as given.
            if (!positive(channelText, channelNo)) return usageError("--channel takes a number from 1 for this instrument");
            trace::shared().SelectedChannel = int16_t(channelNo - 1);
        }
    }
    if (list) {
        printList("channel", channels);
        printList("trace", traces);
        std::fflush(stdout);
        return 0;
    }
    if (named) {
        const int index = traceText.empty() ? (traces.count() > 0 ? 0 : -1) : findItem(traces, traceText);
        if (index < 0)
            return usageError("trace " + (traceText.empty() ? std::string("1") : traceText) +
                              " does not exist; channel " + channels.text() + " has traces " + itemsText(traces));
        traces.select(index);
        trace::traceChosen(family, index, traces);
    } else if (!traceText.empty()) {
        // The instrument's own trace number, as the list of displayed traces
        // would give it.
        if (!positive(traceText, traceNo)) return usageError("--trace takes a number from 1 for this instrument");
        ctx.SelectedTrace = int16_t(traceNo - 1);
    }

    trace::readTrace(ctx, state, window, o.timeoutMs);
    if (state.readings == 0) return 1;  // the reason went to standard error

    const trace::TraceData& data = trace::shared().traceData;
    const char mark = trace::SystemDecimalMark();
    if (o.output.empty() || o.output == "-") {
        trace::WriteTraceText(std::cout, data, mark);
        std::cout.flush();
        if (!std::cout) {
            std::fprintf(stderr, "error: the trace could not be written to standard output\n");
            return 1;
        }
    } else {
        std::string why;
        if (!trace::SaveTraceText(o.output, data, mark, false, why)) {
            std::fprintf(stderr, "error: %s could not be written: %s\n", o.output.c_str(), why.c_str());
            return 1;
        }
    }
    if (!png.empty()) {
        std::string why;
        if (!renderPng(window.last, png, why)) {
            std::fprintf(stderr, "error: --png: %s\n", why.c_str());
            return 1;
        }
    }
    return 0;
}

}  // namespace qv::cli
