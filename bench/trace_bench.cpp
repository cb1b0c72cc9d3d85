// The trace display's figures, offscreen: the replot of a 1,000,000- and a
// 10,000,000-point trace through the window's graph next to the bare
// plotting library, the resident memory a shown 10,000,000-point trace
// costs next to the size of its values, and readings per second of a
// continuous reading of a 10,001-point trace from the simulated analyzer
// with the window drawing each one.
#include "app/context.h"
#include "app/host.h"
#include "test_support.h"
#include "trace/trace.h"
#include "ui/main_form.h"
#include "ui/qt_host.h"
#include "ui/trace_form.h"
#include "ui/trace_graph.h"

#include <qcustomplot.h>

#include <QApplication>
#include <QTimer>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
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

// The instrument list the window needs: one simulated analyzer.
class OneInstrument : public qv::app::InstrumentSource {
public:
    bool VisaPresent() override { return true; }
    void LoadMasterDevices() override {}
    std::vector<qv::app::ScanRecord> Scan(const std::string&, int, const std::vector<bool>&,
                                          const std::vector<bool>&) override {
        return {};
    }
    void SetScanProgress(std::function<void(int)>, std::function<void(const std::string&)>) override {}
    bool RecordNames(int, const std::string&, std::string& mapped, std::string& family) const override {
        mapped.clear();
        family = "TKD";
        return true;
    }
};

bool continuousFigure(int points, int seconds) {
    qvtest::SimProcess sim;
    std::string why;
    if (!sim.start({"--profile", "TKD", "--points", std::to_string(points)}, &why)) {
        std::printf("# trace: the simulator did not start: %s\n", why.c_str());
        return false;
    }
    qv::ui::QtHost host;
    qv::app::Host& previous = qv::app::host();
    qv::app::setHost(&host);
    OneInstrument source;
    qv::ui::MainForm main(qv::app::context(), source);
    auto* form = new qv::ui::TraceForm(main);
    form->state.MyVISARsc = sim.socketResource();
    form->state.MyDevType = "TKD";
    form->resize(1000, 600);
    form->show();
    form->readTrace();  // the first reading opens and warms everything
    const uint64_t first = form->state.readings;
    form->state.continuousOn = true;
    QTimer::singleShot(seconds * 1000, form, [form] { form->state.continuousOn = false; });
    const auto t0 = Clock::now();
    form->readTrace();
    const double s = msSince(t0) / 1000.0;
    const uint64_t n = form->state.readings - first;
    const bool ok = n > 0 && form->graph()->pointCount(1) == size_t(points);
    std::printf("continuous reading of a %d-point trace with display = %.1f readings/s (%llu in %.1f s)\n", points,
                double(n) / s, static_cast<unsigned long long>(n), s);
    std::printf("continuous reading to its 100 readings/s target ratio = %.2f\n", double(n) / s / 100.0);
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
    return continuousFigure(10001, 3);
}
