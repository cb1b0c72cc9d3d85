// The trace graph on its own, offscreen: engineering labels, the marker
// palette, the plot rules (range kept over readings, no log axis in dBm,
// complex parts), cursors on the trace, zoom and pan by mouse, and the
// picture file of the command line.
#include "trace/trace.h"
#include "ui/trace_form.h"
#include "ui/trace_graph.h"
#include "ui/trace_png.h"
#include "ui_fixtures.h"

#include <qcustomplot.h>

#include <QImage>
#include <QMouseEvent>

#include <gtest/gtest.h>

namespace {

using qv::trace::Plot;
using qv::ui::TraceGraph;

Plot makePlot(std::vector<double> x, std::vector<double> y, const std::string& xUnit, const std::string& yUnit) {
    Plot p;
    p.x = qv::trace::makeValues(std::move(x));
    p.y = qv::trace::makeValues(std::move(y));
    p.xUnit = xUnit;
    p.yUnit = yUnit;
    p.xName = "Frequency";
    p.yName = "Level";
    return p;
}

std::vector<double> ramp(int n, double start, double step) {
    std::vector<double> v(static_cast<size_t>(n));
    for (int i = 0; i < n; ++i) v[size_t(i)] = start + step * i;
    return v;
}

struct LabelCase {
    std::vector<double> ticks;
    const char* unit;
    std::vector<const char*> labels;
};

class EngineeringLabelsTest : public ::testing::TestWithParam<LabelCase> {};

TEST_P(EngineeringLabelsTest, OnePrefixAndEnoughDecimals) {
    const LabelCase& c = GetParam();
    QVector<QString> got = qv::ui::EngineeringLabels(QVector<double>(c.ticks.begin(), c.ticks.end()), c.unit);
    ASSERT_EQ(got.size(), qsizetype(c.labels.size()));
    for (size_t i = 0; i < c.labels.size(); ++i) EXPECT_EQ(got[qsizetype(i)], QString::fromUtf8(c.labels[i]));
}

INSTANTIATE_TEST_SUITE_P(
    Axes, EngineeringLabelsTest,
    ::testing::Values(LabelCase{{1.5e9, 2e9, 2.5e9}, "Hz", {"1.5 GHz", "2.0 GHz", "2.5 GHz"}},
                      LabelCase{{-60, -40, -20}, "dBm", {"-60 dBm", "-40 dBm", "-20 dBm"}},
                      // A zero tick that arithmetic left at -1e-17 reads 0, not -0.
                      LabelCase{{-1e-17, 0.01, 0.02}, "s", {"0 ms", "10 ms", "20 ms"}},
                      LabelCase{{999.5e3, 1000e3, 1000.5e3}, "Hz", {"0.9995 MHz", "1.0000 MHz", "1.0005 MHz"}},
                      LabelCase{{2e-6, 4e-6}, "V", {"2 \xC2\xB5V", "4 \xC2\xB5V"}},
                      LabelCase{{0, 5}, "", {"0", "5"}}));

TEST(TraceGraph, LogLabelsTakeEachTicksOwnPrefix) {
    EXPECT_EQ(qv::ui::EngineeringLabel(1000, "Hz"), "1 kHz");
    EXPECT_EQ(qv::ui::EngineeringLabel(1.25e7, "Hz"), "12.5 MHz");
    EXPECT_EQ(qv::ui::EngineeringLabel(0.1, "s"), "100 ms");
}

TEST(TraceGraph, MarkerPaletteReadsBlueGreenRed) {
    const QColor want[] = {Qt::red, Qt::green, Qt::blue, Qt::white, Qt::magenta, Qt::cyan, Qt::black};
    for (int i = 0; i < 7; ++i) EXPECT_EQ(qv::ui::markerColor(i), want[i]) << i;
    EXPECT_EQ(qv::ui::markerColor(-1), QColor(Qt::black));
}

TEST(TraceGraph, FirstPlotScalesLaterPlotsKeepTheRangeUntilScaled) {
    qvtest::App();
    TraceGraph g;
    g.resize(600, 400);
    ShowPlot(g, makePlot(ramp(101, 0, 10), ramp(101, -100, 0.5), "Hz", "dBm"), false, false);
    EXPECT_EQ(g.tag(), "PLOT");
    EXPECT_EQ(g.pointCount(1), 101u);
    double x0, x1, y0, y1;
    g.axisRange(1, x0, x1);
    EXPECT_DOUBLE_EQ(x0, 0);
    EXPECT_DOUBLE_EQ(x1, 1000);
    g.axisRange(2, y0, y1);
    EXPECT_LE(y0, -100);
    EXPECT_GE(y1, -50);
    // The user zooms; a reading far outside the view keeps the zoomed range.
    g.setAxisRange(1, 200, 300);
    ShowPlot(g, makePlot(ramp(11, 5000, 100), ramp(11, 10, 1), "Hz", "dBm"), false, false);
    g.axisRange(1, x0, x1);
    EXPECT_DOUBLE_EQ(x0, 200);
    EXPECT_DOUBLE_EQ(x1, 300);
    g.axisRange(2, y0, y1);
    EXPECT_LE(y0, -100);
    g.autoscale(1);
    g.autoscale(2);
    g.axisRange(1, x0, x1);
    EXPECT_DOUBLE_EQ(x0, 5000);
    EXPECT_DOUBLE_EQ(x1, 6000);
    g.axisRange(2, y0, y1);
    EXPECT_LE(y0, 10);
    EXPECT_GE(y1, 20);
    EXPECT_EQ(g.axisCaption(1), "Frequency");
    EXPECT_EQ(g.axisLabelFormat(1), "k\"Hz\"");
    EXPECT_EQ(g.axisLabelFormat(2), "k\"dBm\"");
}

TEST(TraceGraph, NoLogarithmicLevelAxisInDbm) {
    qvtest::App();
    TraceGraph g;
    EXPECT_FALSE(ShowPlot(g, makePlot(ramp(10, 1, 1), ramp(10, -50, 1), "Hz", "dBm"), true, true));
    EXPECT_TRUE(g.axisLog(1));
    EXPECT_FALSE(g.axisLog(2));
    EXPECT_TRUE(ShowPlot(g, makePlot(ramp(10, 1, 1), ramp(10, 1, 1), "Hz", "V"), true, true));
    EXPECT_TRUE(g.axisLog(2));
}

TEST(TraceGraph, ComplexPairsSplitAndTheOldNetworkAnalyzerShowsDecibels) {
    qvtest::App();
    TraceGraph g;
    Plot c = makePlot({1, 2, 3}, {3, 4, -1, 0, 0, 2}, "Hz", "");
    c.complex = true;
    ShowPlot(g, c, false, false);
    ASSERT_EQ(g.pointCount(1), 3u);
    ASSERT_EQ(g.pointCount(2), 3u);
    auto d1 = g.customPlot()->graph(0)->data();
    auto d2 = g.customPlot()->graph(1)->data();
    EXPECT_DOUBLE_EQ(d1->at(1)->value, -1);
    EXPECT_DOUBLE_EQ(d2->at(2)->value, 2);
    EXPECT_EQ(g.axisLabelFormat(2), "");
    // A real reading afterwards leaves plot 2 empty.
    Plot kdm = makePlot({1, 2}, {3, 4, 0.1, 0}, "Hz", "dB");
    kdm.family = "KDM";
    ShowPlot(g, kdm, false, false);
    EXPECT_EQ(g.pointCount(2), 0u);
    ASSERT_EQ(g.pointCount(1), 2u);
    EXPECT_NEAR(g.customPlot()->graph(0)->data()->at(0)->value, 20 * std::log10(5.0), 1e-12);
    EXPECT_NEAR(g.customPlot()->graph(0)->data()->at(1)->value, -20, 1e-12);
}

TEST(TraceGraph, CursorSnapsToTheNearestPointOfTheTrace) {
    qvtest::App();
    TraceGraph g;
    ShowPlot(g, makePlot(ramp(10, 0, 1), {5, 6, 7, 8, 9, 10, 11, 12, 13, 14}, "Hz", "dBm"), false, false);
    g.setCursorPosition(3, 4.4, 0);
    EXPECT_DOUBLE_EQ(g.cursorX(3), 4);
    EXPECT_DOUBLE_EQ(g.cursorY(3), 9);
    g.setCursorPosition(3, 100, 0);
    EXPECT_DOUBLE_EQ(g.cursorX(3), 9);
}

// One left-button drag across the plot area, in widget pixels.
void drag(QWidget* w, QPointF from, QPointF to) {
    QMouseEvent press(QEvent::MouseButtonPress, from, w->mapToGlobal(from), Qt::LeftButton, Qt::LeftButton,
                      Qt::NoModifier);
    QCoreApplication::sendEvent(w, &press);
    for (int i = 1; i <= 4; ++i) {
        QPointF p = from + (to - from) * (i / 4.0);
        QMouseEvent move(QEvent::MouseMove, p, w->mapToGlobal(p), Qt::NoButton, Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(w, &move);
    }
    QMouseEvent release(QEvent::MouseButtonRelease, to, w->mapToGlobal(to), Qt::LeftButton, Qt::NoButton,
                        Qt::NoModifier);
    QCoreApplication::sendEvent(w, &release);
}

struct MouseCase {
    int mode;
    bool xChanges, yChanges, widthKept;
};

class TrackModeTest : public ::testing::TestWithParam<MouseCase> {};

TEST_P(TrackModeTest, DragActsOnTheAxesOfTheMode) {
    qvtest::App();
    TraceGraph g;
    g.resize(600, 400);
    g.show();
    ShowPlot(g, makePlot(ramp(101, 0, 1), ramp(101, 0, 1), "Hz", "V"), false, false);
    g.replotNow();
    g.setTrackMode(GetParam().mode);
    int released = 0;
    QObject::connect(&g, &TraceGraph::mouseButton, [&](int button, int, double, double) { released += button == 1; });
    double x0, x1, y0, y1;
    g.axisRange(1, x0, x1);
    g.axisRange(2, y0, y1);
    QCustomPlot* cp = g.customPlot();
    const QRect r = cp->axisRect()->rect();
    drag(cp, r.center() - QPoint(r.width() / 4, r.height() / 4), r.center() + QPoint(r.width() / 8, r.height() / 8));
    g.replotNow();
    double a0, a1, b0, b1;
    g.axisRange(1, a0, a1);
    g.axisRange(2, b0, b1);
    EXPECT_EQ(a0 != x0 || a1 != x1, GetParam().xChanges);
    EXPECT_EQ(b0 != y0 || b1 != y1, GetParam().yChanges);
    if (GetParam().widthKept) {
        EXPECT_NEAR(a1 - a0, x1 - x0, 1e-9);
    } else if (GetParam().xChanges) {
        EXPECT_LT(a1 - a0, x1 - x0);
    }
    EXPECT_EQ(released, 1);
}

INSTANTIATE_TEST_SUITE_P(Modes, TrackModeTest,
                         ::testing::Values(MouseCase{TraceGraph::ZoomX, true, false, false},
                                           MouseCase{TraceGraph::ZoomY, false, true, false},
                                           MouseCase{TraceGraph::ZoomXY, true, true, false},
                                           MouseCase{TraceGraph::PanX, true, false, true},
                                           MouseCase{TraceGraph::PanY, false, true, true},
                                           MouseCase{TraceGraph::DragCursors, false, false, true}));

TEST(TraceGraph, DraggingACursorMovesItAlongTheTrace) {
    qvtest::App();
    TraceGraph g;
    g.resize(600, 400);
    g.show();
    ShowPlot(g, makePlot(ramp(101, 0, 1), ramp(101, 100, -1), "Hz", "V"), false, false);
    g.setCursorVisible(2, true);
    g.setCursorPosition(2, 20, 0);
    g.replotNow();
    double mx = -1, my = -1;
    int moved = 0;
    QObject::connect(&g, &TraceGraph::cursorMoved, [&](int n, double x, double y) {
        moved = n;
        mx = x;
        my = y;
    });
    QCustomPlot* cp = g.customPlot();
    const double px = cp->xAxis->coordToPixel(20), py = cp->axisRect()->rect().center().y();
    drag(cp, QPointF(px, py), QPointF(cp->xAxis->coordToPixel(60), py));
    EXPECT_EQ(moved, 2);
    EXPECT_NEAR(mx, 60, 1);
    EXPECT_DOUBLE_EQ(my, 100 - mx);
    EXPECT_DOUBLE_EQ(g.cursorX(2), mx);
}

TEST(TracePng, WritesThePictureWithTheTrace) {
    qvtest::App();
    qvtest::TempDir dir;
    const std::string file = dir.file("trace.png");
    std::string why;
    ASSERT_TRUE(qv::ui::RenderTracePng(makePlot(ramp(201, 1e9, 1e6), ramp(201, -80, 0.2), "Hz", "dBm"), file, 640,
                                       400, why))
        << why;
    QImage img(QString::fromStdString(file));
    ASSERT_EQ(img.size(), QSize(640, 400));
    // The trace's colour is there: the plot was drawn, not just the frame.
    int traced = 0;
    for (int y = 0; y < img.height(); ++y)
        for (int x = 0; x < img.width(); ++x) {
            QColor c = img.pixelColor(x, y);
            traced += c.red() > 200 && c.green() > 180 && c.blue() < 120;
        }
    EXPECT_GT(traced, 100);
    EXPECT_FALSE(qv::ui::RenderTracePng(makePlot({1}, {1}, "Hz", "dBm"), file, 0, 400, why));
    EXPECT_FALSE(qv::ui::RenderTracePng(makePlot({1}, {1}, "Hz", "dBm"), dir.file("no/such/dir.png"), 64, 64, why));
}

}  // namespace
