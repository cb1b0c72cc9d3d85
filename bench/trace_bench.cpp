// The trace display's figures, offscreen: the replot of a 1,000,000- and a
// 10,000,000-point trace through the window's graph next to the bare
// plotting library, the resident memory a shown 10,000,000-point trace
// costs next to the size of its values, and readings per second of a
// continuous reading with the window drawing each one: a 10,001-point
// trace from the simulated analyzer, a 1,001-point complex trace from the
// network analyzer and a 1,000,000-point scope waveform.
#include "app/context.h"
#include "app/host.h"
#include "test_support.h"
#include "instrument_io/vif.h"
#include "trace/selectors.h"
#include "trace/trace.h"
#include "ui/main_form.h"
#include "ui/qt_host.h"
#include "ui/trace_form.h"
#include "ui/trace_graph.h"

#include <qcustomplot.h>

#include <QApplication>
#include <QTimer>

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

double msSince(Clock::time_point t0) { return std::chrono::duration<double, std::milli>(Clock::now() - t0).count(); }

double median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    return v.empty() ? 0 : v[v.size() / 2];
}

// Resident memory of this process in MB (VmRSS), 0 when unknown.
double residentMB() {
    std::ifstream f("/proc/self/status");
    std::string line;
    while (std::getline(f, line))
        if (line.rfind("VmRSS:", 0) == 0) return std::atof(line.c_str() + 6) / 1024.0;
    return 0;
}

// A spectrum: noise floor near -90 dBm with three peaks, x from 1 MHz up.
void spectrum(size_t n, std::vector<double>& x, std::vector<double>& y) {
    x.resize(n);
    y.resize(n);
    uint32_t r = 12345;
    for (size_t k = 0; k < n; ++k) {
        r = r * 1664525u + 1013904223u;
        const double u = double(k) / double(n);
        double level = -90.0 + 4.0 * (double(r >> 8) / double(1u << 24) - 0.5);
        for (double c : {0.2, 0.5, 0.81}) level = std::max(level, -20.0 - 4000.0 * std::fabs(u - c));
        x[k] = 1e6 + double(k) * 1e3;
        y[k] = level;
    }
}

double replotMs(QCustomPlot* plot, int rounds) {
    std::vector<double> t;
    for (int i = 0; i < rounds; ++i) {
        const auto t0 = Clock::now();
        plot->replot(QCustomPlot::rpImmediateRefresh);
        t.push_back(msSince(t0));
    }
    return median(t);
}

// Replot times of one size: the bare library, then the window's graph.
void replotFigures(size_t n, int rounds, double targetMs) {
    std::vector<double> x, y;
    spectrum(n, x, y);
    double bare = 0;
    {
        QCustomPlot plot;
        plot.resize(1000, 600);
        plot.show();
        QCPGraph* g = plot.addGraph();
        g->setData(QVector<double>(x.begin(), x.end()), QVector<double>(y.begin(), y.end()), true);
        plot.rescaleAxes();
        plot.replot(QCustomPlot::rpImmediateRefresh);
        bare = replotMs(&plot, rounds);
    }
    qv::trace::Plot p;
    p.x = qv::trace::makeValues(std::move(x));
    p.y = qv::trace::makeValues(std::move(y));
    p.xUnit = "Hz";
    p.yUnit = "dBm";
    p.xName = "Frequency";
    p.yName = "Level";
    qv::ui::TraceGraph graph;
    graph.resize(1000, 600);
    graph.show();
    qv::ui::ShowPlot(graph, p, false, false);
    graph.replotNow();
    const double ours = replotMs(graph.customPlot(), rounds);
    const std::string name = std::to_string(n) + "-point trace replot";
    std::printf("%s, bare library = %.1f ms\n", name.c_str(), bare);
    std::printf("%s, trace graph = %.1f ms\n", name.c_str(), ours);
    std::printf("%s graph to bare ratio = %.2f\n", name.c_str(), bare > 0 ? ours / bare : 0);
    std::printf("%s to its %.0f ms target ratio = %.2f\n", name.c_str(), targetMs, ours / targetMs);
    std::fflush(stdout);
}

// The trace text of a 1,000,000-point trace saved, next to the same
// numbers written by printf's shortest round-trip form.
void saveFigure(size_t n) {
    std::vector<double> x, y;
    spectrum(n, x, y);
    qv::trace::TraceData d;
    d.set(qv::trace::makeValues(x), qv::trace::makeValues(y));
    const std::string dir = "/tmp/quilvane-bench-save-" + std::to_string(::getpid());
    std::filesystem::create_directories(dir);
    const std::string ours = dir + "/trace.txt", plain = dir + "/plain.txt";
    std::string why;
    auto t0 = Clock::now();
    const bool saved = qv::trace::SaveTraceText(ours, d, '.', false, why);
    const double oursMs = msSince(t0);
    t0 = Clock::now();
    if (FILE* f = std::fopen(plain.c_str(), "w")) {
        for (size_t k = 0; k < n; ++k) std::fprintf(f, "%.15g; %.15g\r\n", x[k], y[k]);
        std::fclose(f);
    }
    const double plainMs = msSince(t0);
    std::filesystem::remove_all(dir);
    if (!saved) {
        std::printf("# trace: the trace text could not be saved: %s\n", why.c_str());
        return;
    }
    std::printf("%zu-point trace text saved = %.0f ms (printf: %.0f ms)\n", n, oursMs, plainMs);
    std::printf("%zu-point trace text save to printf ratio = %.2f\n", n, plainMs > 0 ? oursMs / plainMs : 0);
    std::fflush(stdout);
}

void memoryFigure(size_t n) {
    const double before = residentMB();
    std::vector<double> x, y;
    spectrum(n, x, y);
    const double valuesMB = double(n) * 2 * sizeof(double) / (1024.0 * 1024.0);
    qv::trace::Plot p;
    p.x = qv::trace::makeValues(std::move(x));
    p.y = qv::trace::makeValues(std::move(y));
    p.xUnit = "Hz";
    p.yUnit = "dBm";
    // As the window holds it: the reading's arrays shared with the store.
    qv::trace::shared().traceData.set(p.x, p.y);
    qv::ui::TraceGraph graph;
    graph.resize(1000, 600);
    graph.show();
    qv::ui::ShowPlot(graph, p, false, false);
    graph.replotNow();
    const double shown = residentMB();
    std::printf("%zu-point trace shown, resident growth = %.1f MiB (values %.1f MiB)\n", n, shown - before, valuesMB);
    std::printf("%zu-point trace resident growth to values ratio = %.2f\n", n, (shown - before) / valuesMB);
    std::fflush(stdout);
    qv::trace::shared().traceData.clear();
}

// The instrument list the window needs: one simulated instrument.
class OneInstrument : public qv::app::InstrumentSource {
public:
    explicit OneInstrument(std::string family) : family_(std::move(family)) {}
    bool VisaPresent() override { return true; }
    void LoadMasterDevices() override {}
    std::vector<qv::app::ScanRecord> Scan(const std::string&, int, const std::vector<bool>&,
                                          const std::vector<bool>&) override {
        return {};
    }
    void SetScanProgress(std::function<void(int)>, std::function<void(const std::string&)>) override {}
    bool RecordNames(int, const std::string&, std::string& mapped, std::string& family) const override {
        mapped.clear();
        family = family_;
        return true;
    }

private:
    std::string family_;
};

struct ContinuousCase {
    std::string what;                // "a 10001-point trace"
    std::string family;
    std::vector<std::string> simArgs;
    std::vector<std::string> setup;  // sent before the window opens
    size_t points;                   // what the graph must show
    bool complex;                    // in both plots: real and imaginary parts
    double target;                   // readings per second
    // The user's picks on the window's selectors after its load.
    std::function<void(qv::ui::TraceForm&)> pick;
};

bool continuousFigure(const ContinuousCase& c, int seconds) {
    qvtest::SimProcess sim;
    std::string why;
    std::vector<std::string> args{"--profile", c.family};
    args.insert(args.end(), c.simArgs.begin(), c.simArgs.end());
    if (!sim.start(args, &why)) {
        std::printf("# trace: the simulator did not start: %s\n", why.c_str());
        return false;
    }
    if (!c.setup.empty()) {
        qv::io::VIF v;
        if (!v.OpenDevice(sim.socketResource(), false, false, 2000, false)) {
            std::printf("# trace: the simulated %s did not open\n", c.family.c_str());
            return false;
        }
        for (const std::string& command : c.setup) v.WriteString(command);
        std::string answer;
        v.ReadString("*OPC?", answer);
    }
    qv::ui::QtHost host;
    qv::app::Host& previous = qv::app::host();
    qv::app::setHost(&host);
    OneInstrument source(c.family);
    qv::ui::MainForm main(qv::app::context(), source);
    auto* form = new qv::ui::TraceForm(main);
    form->state.MyVISARsc = sim.socketResource();
    form->state.MyDevType = c.family;
    form->resize(1000, 600);
    form->show();
    // The selectors as the window's load fills them, then the user's picks.
    qv::trace::loadSelectors({form->state.MyVISARsc, {}, 1000}, c.family, 4, *form, form->state.instrumentMode);
    if (c.pick) c.pick(*form);
    form->readTrace();  // the first reading opens and warms everything
    const uint64_t first = form->state.readings;
    form->state.continuousOn = true;
    QTimer::singleShot(seconds * 1000, form, [form] { form->state.continuousOn = false; });
    const auto t0 = Clock::now();
    form->readTrace();
    const double s = msSince(t0) / 1000.0;
    const uint64_t n = form->state.readings - first;
    const bool ok = n > 0 && form->graph()->pointCount(1) == c.points &&
                    form->graph()->pointCount(2) == (c.complex ? c.points : 0);
    const double rate = double(n) / s;
    std::printf("continuous reading of %s with display = %.1f readings/s (%llu in %.1f s)\n", c.what.c_str(), rate,
                static_cast<unsigned long long>(n), s);
    std::printf("continuous reading of %s to its %.0f readings/s target ratio = %.2f\n", c.what.c_str(), c.target,
                rate / c.target);
    if (!ok)
        std::printf("# trace: %s: the graph shows %zu and %zu points, %zu expected\n", c.what.c_str(),
                    form->graph()->pointCount(1), form->graph()->pointCount(2), c.points);
    std::fflush(stdout);
    delete form;
    qv::app::setHost(&previous);
    return ok;
}

}  // namespace

bool benchTrace() {
    static int argc = 1;
    static char name[] = "quilvane-bench";
    static char* argv[] = {name, nullptr};
    if (!QCoreApplication::instance()) {
        ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
        new QApplication(argc, argv);
    }
    // Memory first, while the heap holds nothing freed that the trace could reuse.
    memoryFigure(10000000);
    replotFigures(1000000, 15, 10);
    replotFigures(10000000, 7, 100);
    saveFigure(1000000);
    bool ok = continuousFigure({"a 10001-point trace", "TKD", {"--points", "10001"}, {}, 10001, false, 100, {}}, 3);
    // The network analyzer's Smith chart trace: 1,001 complex points.
    ok = continuousFigure({"a 1001-point complex trace", "KDC", {}, {"SYST:SIM:POIN 1001"}, 1001, true, 100,
                           [](qv::ui::TraceForm& f) {
                               f.traceList().select(1);
                               qv::trace::traceChosen("KDC", 1, f.traceList());
                           }},
                          3) &&
         ok;
    ok = continuousFigure({"a 1000000-point scope waveform", "MYI", {}, {"ACQ:POIN 1000000"}, 1000000, false, 10, {}},
                          5) &&
         ok;
    return ok;
}
