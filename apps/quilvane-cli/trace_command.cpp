// quilvane-cli trace: one reading through the trace window's own engine,
// written as the window's trace text, optionally drawn into a PNG.
#include "cli.h"

#include "app/context.h"
#include "instrument_directory/visa_scan.h"
#include "trace/reader.h"
#include "ui/trace_png.h"

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
    trace::Plot last;

private:
    std::string mapped_;
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

}  // namespace

int cmdTrace(const Options& o) {
    int traceNo = 1, channelNo = 1;
    std::string png;
    for (size_t i = 2; i < o.args.size(); ++i) {
        const std::string& opt = o.args[i];
        if (i + 1 >= o.args.size()) return usageError(opt + " takes a value");
        const std::string& value = o.args[++i];
        if (opt == "--trace") {
            if (!positive(value, traceNo)) return usageError("--trace takes a number from 1");
        } else if (opt == "--channel") {
            if (!positive(value, channelNo)) return usageError("--channel takes a number from 1");
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
    ctx.SelectedTrace = int16_t(traceNo - 1);
    trace::shared().SelectedChannel = int16_t(channelNo - 1);
    trace::WindowState state;
    state.MyVISARsc = o.args[1];
    state.MyDevType = scan.DeviceTyp(last);
    state.prepareVif = [&o](io::VIF& v) {
        if (!o.logFile.empty()) v.ConfigDebugMode(o.logLevel, true, o.logFile, 256);
        v.TimeOut(int32_t(o.timeoutMs));
    };
    RecordingWindow window(scan.DeviceMappedName(last));
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
