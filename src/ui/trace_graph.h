// TraceGraph: the trace window's graph. Everything the trace subsystem asks
// of a graph goes through these operations (two plots, two axes, six
// cursors, six annotations, track modes, two events, a picture); the
// plotting library stays behind them.
#pragma once

#include <QColor>
#include <QPixmap>
#include <QString>
#include <QVector>
#include <QWidget>

#include <array>
#include <cstddef>
#include <cstdint>

class QCustomPlot;
class QCPAxis;
class QCPGraph;
class QCPItemText;
class QCPItemTracer;

namespace qv::ui {

class TraceCanvas;

// A colour as the marker palette gives it: 0xBBGGRR.
QColor BgrColor(uint32_t bgr);
// The marker palette: red, green, blue, white, magenta, cyan; black beyond.
QColor markerColor(int i);

// Tick labels with one engineering prefix for the whole axis (chosen by the
// largest tick) and as many decimals as tell neighbouring ticks apart:
// "1.5 GHz", "-40 dBm", "20 ms".
QVector<QString> EngineeringLabels(const QVector<double>& ticks, const QString& unit);
// One value with its own prefix and at most three decimals (log axes).
QString EngineeringLabel(double value, const QString& unit);

// What new annotations look like.
struct AnnotationTemplate {
    QColor captionColor = Qt::white;
    double captionAngle = 90;  // degrees, counter-clockwise
    int shapeType = 3;         // 0: none, else a small filled marker
    int shapeSize = 2;
    QColor shapeColor = Qt::green;
};

class TraceGraph : public QWidget {
    Q_OBJECT
public:
    static constexpr int kCursors = 6;
    static constexpr int kAnnotations = 6;

    // Track modes: what a mouse drag on the plot area does.
    enum TrackMode {
        DragCursors = 2,
        PanXY = 3,
        PanX = 4,
        PanY = 5,
        ZoomXY = 6,
        ZoomX = 7,
        ZoomY = 8,
    };

    explicit TraceGraph(QWidget* parent = nullptr);
    ~TraceGraph() override;

    // Plots 1 and 2: n points taken from x and y once, into the graph's own
    // store (x ascending, as every reading delivers it).
    void setPlotData(int plot, const double* x, const double* y, size_t n);
    size_t pointCount(int plot) const;
    void clearData();

    // Axes: 1 is x, 2 is y.
    void axisRange(int axis, double& min, double& max) const;
    void setAxisRange(int axis, double min, double max);
    void autoscale(int axis);
    void setAxisCaption(int axis, const QString& caption);
    QString axisCaption(int axis) const;
    // k"Hz": engineering labels with the unit behind; empty: plain numbers.
    void setAxisLabelFormat(int axis, const QString& format);
    QString axisLabelFormat(int axis) const { return axis == 1 ? format_[0] : format_[1]; }
    void setAxisLog(int axis, bool on);
    bool axisLog(int axis) const;
    // The labels the axis shows now (after a replot).
    QVector<QString> tickLabels(int axis) const;

    // Plot styles: line 0 none, 1 solid; points 0 none, 10 dots.
    void setLineColor(int plot, const QColor& c);
    QColor lineColor(int plot) const;
    void setLineStyle(int plot, int style);
    int lineStyle(int plot) const;
    void setPointStyle(int plot, int style);
    int pointStyle(int plot) const;

    // Cursors 1..6: a crosshair on a point of plot 1 (it snaps to the trace
    // when there is one).
    void setCursorPosition(int n, double x, double y);
    double cursorX(int n) const;
    double cursorY(int n) const;
    void setCursorColor(int n, const QColor& c);
    QColor cursorColor(int n) const;
    // 0 none, 6 small cross, anything else a crosshair over the whole plot.
    void setCursorStyle(int n, int style);
    void setCursorVisible(int n, bool on);
    bool cursorVisible(int n) const;
    // A cursor shown for the first time stands at its own share of the x
    // range (cursor n at n/7 of it), so that six cursors do not overlap.
    void placeCursorIfNew(int n);

    // Annotations 1..count.
    void clearAnnotations();
    int addAnnotation();
    int annotationCount() const { return static_cast<int>(annotations_.size()); }
    void setAnnotationTemplate(const AnnotationTemplate& t) { template_ = t; }
    void setAnnotationText(int n, const QString& text);
    QString annotationText(int n) const;
    void setAnnotationPosition(int n, double x, double y);
    void setAnnotationVisible(int n, bool on);
    bool annotationVisible(int n) const;

    void setTrackMode(int mode);
    int trackMode() const { return trackMode_; }

    // The control's picture as it stands.
    QPixmap picture();
    // Redraws now (the window's operations redraw on the next paint).
    void replotNow();

    // "" until the first plot, "PLOT" from then on: a tagged graph keeps
    // its ranges over a new reading.
    QString tag() const { return tag_; }
    void setTag(const QString& t) { tag_ = t; }

    QCustomPlot* customPlot() const;

signals:
    void cursorMoved(int n, double x, double y);
    // button: 1 left, 2 right, 4 middle; shift: 1 Shift, 2 Ctrl, 4 Alt; x, y
    // in the axes' units. Sent on release, after any zoom or pan it ended.
    void mouseButton(int button, int shift, double x, double y);

private:
    friend class TraceCanvas;
    struct Cursor {
        QCPItemTracer* tracer = nullptr;
        bool visible = false;
        bool placed = false;
        int style = 8;
        QColor color = Qt::red;
    };
    struct Annotation {
        QCPItemText* text = nullptr;
        QCPItemTracer* shape = nullptr;
    };
    QCPAxis* axis(int axis) const;
    QCPGraph* graph(int plot) const;
    Cursor* cursor(int n);
    const Cursor* cursor(int n) const;
    Annotation* annotation(int n);
    const Annotation* annotation(int n) const;
    void applyTicker(int axis);
    void applyCursorStyle(Cursor& c);
    void requestReplot();
    // Cursor dragging in track mode 2: the cursor whose vertical line lies
    // within a few pixels of px, else 0.
    int cursorNear(double px) const;
    void dragCursorTo(int n, double px);

    TraceCanvas* plot_ = nullptr;
    std::array<Cursor, kCursors> cursors_{};
    std::vector<Annotation> annotations_;
    AnnotationTemplate template_;
    QString format_[2];
    bool log_[2] = {false, false};
    int lineStyle_[2] = {1, 1};
    int pointStyle_[2] = {0, 0};
    int trackMode_ = DragCursors;
    QString tag_;
};

}  // namespace qv::ui
