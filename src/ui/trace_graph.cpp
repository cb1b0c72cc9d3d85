#include "ui/trace_graph.h"

#include <qcustomplot.h>

#include <QMouseEvent>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>

namespace qv::ui {

QColor BgrColor(uint32_t bgr) { return QColor(int(bgr & 0xFF), int((bgr >> 8) & 0xFF), int((bgr >> 16) & 0xFF)); }

QColor markerColor(int i) {
    static constexpr uint32_t kPalette[] = {255, 65280, 16711680, 16777215, 16711935, 16776960};
    return BgrColor(i >= 0 && i < 6 ? kPalette[i] : 0);
}

namespace {

const char* prefixFor(int exp3) {
    switch (exp3) {
    case -15: return "f";
    case -12: return "p";
    case -9: return "n";
    case -6: return "\xC2\xB5";
    case -3: return "m";
    case 3: return "k";
    case 6: return "M";
    case 9: return "G";
    case 12: return "T";
    default: return "";
    }
}

int exponent3(double magnitude) {
    if (!(magnitude > 0) || !std::isfinite(magnitude)) return 0;
    int e = static_cast<int>(std::floor(std::log10(magnitude) / 3.0)) * 3;
    return std::clamp(e, -15, 12);
}

QString withUnit(const QString& number, int exp3, const QString& unit) {
    const QString suffix = QString::fromUtf8(prefixFor(exp3)) + unit;
    return suffix.isEmpty() ? number : number + " " + suffix;
}

// Drops trailing zeros of a fixed-point text ("1.500" -> "1.5", "2.000" -> "2").
QString trimZeros(QString s) {
    if (!s.contains('.')) return s;
    while (s.endsWith('0')) s.chop(1);
    if (s.endsWith('.')) s.chop(1);
    return s;
}

// Linear axes: one prefix for all ticks.
class EngTicker : public QCPAxisTicker {
public:
    explicit EngTicker(QString unit) : unit_(std::move(unit)) {}

protected:
    QVector<QString> createLabelVector(const QVector<double>& ticks, const QLocale&, QChar, int) override {
        return EngineeringLabels(ticks, unit_);
    }

private:
    QString unit_;
};

class EngLogTicker : public QCPAxisTickerLog {
public:
    explicit EngLogTicker(QString unit) : unit_(std::move(unit)) {}

protected:
    QString getTickLabel(double tick, const QLocale&, QChar, int) override { return EngineeringLabel(tick, unit_); }

private:
    QString unit_;
};

// A format text k"unit": engineering labels with that unit.
bool parseFormat(const QString& format, QString& unit) {
    unit.clear();
    if (!format.startsWith('k')) return false;
    const qsizetype open = format.indexOf('"');
    const qsizetype close = format.lastIndexOf('"');
    if (open >= 0 && close > open) unit = format.mid(open + 1, close - open - 1);
    return true;
}

}  // namespace

QVector<QString> EngineeringLabels(const QVector<double>& ticks, const QString& unit) {
    double biggest = 0, step = 0;
    for (qsizetype i = 0; i < ticks.size(); ++i) {
        biggest = std::max(biggest, std::fabs(ticks[i]));
        if (i > 0) {
            const double d = std::fabs(ticks[i] - ticks[i - 1]);
            if (d > 0 && (step == 0 || d < step)) step = d;
        }
    }
    const int e = exponent3(biggest);
    const double scale = std::pow(10.0, e);
    int decimals = 0;
    if (step > 0) decimals = std::clamp(static_cast<int>(std::ceil(-std::log10(step / scale) - 1e-9)), 0, 9);
    QVector<QString> out;
    out.reserve(ticks.size());
    for (double t : ticks) {
        double v = t / scale;
        // A tick at zero computed as -1e-17 must not read "-0".
        if (step > 0 && std::fabs(t) < step * 1e-6) v = 0;
        out.push_back(withUnit(QString::number(v, 'f', decimals), e, unit));
    }
    return out;
}

QString EngineeringLabel(double value, const QString& unit) {
    const int e = exponent3(std::fabs(value));
    return withUnit(trimZeros(QString::number(value / std::pow(10.0, e), 'f', 3)), e, unit);
}

// The library's widget with the mouse handling of the track modes.
class TraceCanvas : public QCustomPlot {
public:
    TraceCanvas(TraceGraph& owner, QWidget* parent) : QCustomPlot(parent), owner_(owner) {}

protected:
    void mousePressEvent(QMouseEvent* e) override {
        if (owner_.trackMode_ == TraceGraph::DragCursors && e->button() == Qt::LeftButton) {
            dragging_ = owner_.cursorNear(e->position().x());
            if (dragging_) return;
        }
        QCustomPlot::mousePressEvent(e);
    }
    void mouseMoveEvent(QMouseEvent* e) override {
        if (dragging_) {
            owner_.dragCursorTo(dragging_, e->position().x());
            return;
        }
        QCustomPlot::mouseMoveEvent(e);
    }
    void mouseReleaseEvent(QMouseEvent* e) override {
        if (dragging_) {
            owner_.dragCursorTo(dragging_, e->position().x());
            dragging_ = 0;
        } else {
            QCustomPlot::mouseReleaseEvent(e);
        }
        int button = e->button() == Qt::LeftButton ? 1 : e->button() == Qt::RightButton ? 2 : 4;
        Qt::KeyboardModifiers m = e->modifiers();
        int shift = (m & Qt::ShiftModifier ? 1 : 0) | (m & Qt::ControlModifier ? 2 : 0) | (m & Qt::AltModifier ? 4 : 0);
        emit owner_.mouseButton(button, shift, xAxis->pixelToCoord(e->position().x()),
                                yAxis->pixelToCoord(e->position().y()));
    }

private:
    TraceGraph& owner_;
    int dragging_ = 0;
};

TraceGraph::TraceGraph(QWidget* parent) : QWidget(parent) {
    auto* lay = new QVBoxLayout(this);
    lay->setContentsMargins(0, 0, 0, 0);
    plot_ = new TraceCanvas(*this, this);
    plot_->setObjectName("TraceCanvas");
    lay->addWidget(plot_);
    // An instrument's screen: a dark plot area, so that white captions and
    // the marker palette stand out.
    plot_->axisRect()->setBackground(QColor(12, 16, 24));
    for (QCPAxis* a : {plot_->xAxis, plot_->yAxis}) {
        a->grid()->setPen(QPen(QColor(70, 78, 92), 0, Qt::DotLine));
        a->grid()->setZeroLinePen(QPen(QColor(100, 108, 122), 0, Qt::SolidLine));
    }
    const QColor colors[2] = {QColor(250, 220, 40), QColor(60, 200, 255)};
    for (int i = 0; i < 2; ++i) {
        QCPGraph* g = plot_->addGraph();
        g->setPen(QPen(colors[i], 1));
        // Min and max of every pixel column are drawn: each peak stays visible.
        g->setAdaptiveSampling(true);
    }
    for (int n = 1; n <= kCursors; ++n) {
        Cursor& c = cursors_[size_t(n - 1)];
        c.tracer = new QCPItemTracer(plot_);
        c.tracer->setInterpolating(false);
        c.tracer->setVisible(false);
        c.color = markerColor(n - 1);
        applyCursorStyle(c);
    }
    plot_->setInteraction(QCP::iRangeZoom, true);
    plot_->axisRect()->setRangeZoom(Qt::Horizontal | Qt::Vertical);
    setTrackMode(DragCursors);
}

TraceGraph::~TraceGraph() = default;

QCustomPlot* TraceGraph::customPlot() const { return plot_; }

QCPAxis* TraceGraph::axis(int axis) const { return axis == 1 ? plot_->xAxis : axis == 2 ? plot_->yAxis : nullptr; }

QCPGraph* TraceGraph::graph(int plot) const {
    return plot == 1 || plot == 2 ? plot_->graph(plot - 1) : nullptr;
}

TraceGraph::Cursor* TraceGraph::cursor(int n) { return n >= 1 && n <= kCursors ? &cursors_[size_t(n - 1)] : nullptr; }
const TraceGraph::Cursor* TraceGraph::cursor(int n) const {
    return n >= 1 && n <= kCursors ? &cursors_[size_t(n - 1)] : nullptr;
}
TraceGraph::Annotation* TraceGraph::annotation(int n) {
    return n >= 1 && n <= annotationCount() ? &annotations_[size_t(n - 1)] : nullptr;
}
const TraceGraph::Annotation* TraceGraph::annotation(int n) const {
    return n >= 1 && n <= annotationCount() ? &annotations_[size_t(n - 1)] : nullptr;
}

void TraceGraph::requestReplot() { plot_->replot(QCustomPlot::rpQueuedReplot); }
void TraceGraph::replotNow() { plot_->replot(QCustomPlot::rpImmediateRefresh); }

void TraceGraph::setPlotData(int plot, const double* x, const double* y, size_t n) {
    QCPGraph* g = graph(plot);
    if (!g) return;
    // Built in place and handed over whole: the library's container is the
    // only copy the graph keeps.
    QVector<QCPGraphData> points(static_cast<qsizetype>(n));
    QCPGraphData* p = points.data();
    for (size_t k = 0; k < n; ++k) p[k] = QCPGraphData(x[k], y[k]);
    g->data()->set(points, true);
    requestReplot();
}

size_t TraceGraph::pointCount(int plot) const {
    QCPGraph* g = graph(plot);
    return g ? static_cast<size_t>(g->dataCount()) : 0;
}

void TraceGraph::clearData() {
    for (int p = 1; p <= 2; ++p) graph(p)->data()->clear();
    requestReplot();
}

void TraceGraph::axisRange(int a, double& min, double& max) const {
    min = max = 0;
    if (QCPAxis* ax = axis(a)) {
        min = ax->range().lower;
        max = ax->range().upper;
    }
}

void TraceGraph::setAxisRange(int a, double min, double max) {
    if (QCPAxis* ax = axis(a)) ax->setRange(min, max);
    requestReplot();
}

void TraceGraph::autoscale(int a) {
    QCPAxis* ax = axis(a);
    if (!ax) return;
    bool found = false;
    QCPRange all;
    for (int p = 1; p <= 2; ++p) {
        QCPGraph* g = graph(p);
        if (!g->visible() || g->dataCount() == 0) continue;
        bool ok = false;
        const QCP::SignDomain domain = ax->scaleType() == QCPAxis::stLogarithmic ? QCP::sdPositive : QCP::sdBoth;
        QCPRange r = a == 1 ? g->getKeyRange(ok, domain) : g->getValueRange(ok, domain);
        if (!ok) continue;
        if (!found) all = r;
        else all.expand(r);
        found = true;
    }
    if (!found) return;
    if (all.lower == all.upper) {
        const double d = all.lower == 0 ? 1 : std::fabs(all.lower) * 0.05;
        all.lower -= d;
        all.upper += d;
    } else if (a == 2) {
        // A little room above and below the trace.
        if (ax->scaleType() == QCPAxis::stLogarithmic) {
            all.lower /= 1.2;
            all.upper *= 1.2;
        } else {
            const double d = (all.upper - all.lower) * 0.05;
            all.lower -= d;
            all.upper += d;
        }
    }
    ax->setRange(all);
    requestReplot();
}

void TraceGraph::setAxisCaption(int a, const QString& caption) {
    if (QCPAxis* ax = axis(a)) ax->setLabel(caption);
    requestReplot();
}

QString TraceGraph::axisCaption(int a) const {
    QCPAxis* ax = axis(a);
    return ax ? ax->label() : QString();
}

void TraceGraph::setAxisLabelFormat(int a, const QString& format) {
    if (a != 1 && a != 2) return;
    format_[a - 1] = format;
    applyTicker(a);
}

void TraceGraph::setAxisLog(int a, bool on) {
    if (a != 1 && a != 2) return;
    log_[a - 1] = on;
    axis(a)->setScaleType(on ? QCPAxis::stLogarithmic : QCPAxis::stLinear);
    applyTicker(a);
}

bool TraceGraph::axisLog(int a) const { return (a == 1 || a == 2) && log_[a - 1]; }

void TraceGraph::applyTicker(int a) {
    QString unit;
    const bool eng = parseFormat(format_[a - 1], unit);
    QSharedPointer<QCPAxisTicker> t;
    if (log_[a - 1]) t = eng ? QSharedPointer<QCPAxisTicker>(new EngLogTicker(unit))
                             : QSharedPointer<QCPAxisTicker>(new QCPAxisTickerLog);
    else t = eng ? QSharedPointer<QCPAxisTicker>(new EngTicker(unit)) : QSharedPointer<QCPAxisTicker>(new QCPAxisTicker);
    axis(a)->setTicker(t);
    requestReplot();
}

QVector<QString> TraceGraph::tickLabels(int a) const {
    QCPAxis* ax = axis(a);
    return ax ? ax->tickVectorLabels() : QVector<QString>();
}

void TraceGraph::setLineColor(int plot, const QColor& c) {
    if (QCPGraph* g = graph(plot)) {
        QPen pen = g->pen();
        pen.setColor(c);
        g->setPen(pen);
        QCPScatterStyle s = g->scatterStyle();
        s.setPen(QPen(c));
        s.setBrush(c);
        g->setScatterStyle(s);
    }
    requestReplot();
}

QColor TraceGraph::lineColor(int plot) const {
    QCPGraph* g = graph(plot);
    return g ? g->pen().color() : QColor();
}

void TraceGraph::setLineStyle(int plot, int style) {
    QCPGraph* g = graph(plot);
    if (!g) return;
    lineStyle_[plot - 1] = style;
    g->setLineStyle(style == 0 ? QCPGraph::lsNone : QCPGraph::lsLine);
    requestReplot();
}

int TraceGraph::lineStyle(int plot) const { return plot == 1 || plot == 2 ? lineStyle_[plot - 1] : 0; }

void TraceGraph::setPointStyle(int plot, int style) {
    QCPGraph* g = graph(plot);
    if (!g) return;
    pointStyle_[plot - 1] = style;
    const QColor c = g->pen().color();
    g->setScatterStyle(style == 0 ? QCPScatterStyle(QCPScatterStyle::ssNone)
                                  : QCPScatterStyle(QCPScatterStyle::ssDisc, c, c, 3));
    requestReplot();
}

int TraceGraph::pointStyle(int plot) const { return plot == 1 || plot == 2 ? pointStyle_[plot - 1] : 0; }

void TraceGraph::applyCursorStyle(Cursor& c) {
    c.tracer->setPen(QPen(c.color, 1));
    c.tracer->setBrush(Qt::NoBrush);
    c.tracer->setStyle(c.style == 0   ? QCPItemTracer::tsNone
                       : c.style == 6 ? QCPItemTracer::tsPlus
                                      : QCPItemTracer::tsCrosshair);
    c.tracer->setSize(12);
    c.tracer->setVisible(c.visible);
}

void TraceGraph::setCursorPosition(int n, double x, double y) {
    Cursor* c = cursor(n);
    if (!c) return;
    c->placed = true;
    QCPGraph* g = graph(1);
    if (g->dataCount() > 0) {
        // On the trace: the nearest point of plot 1.
        c->tracer->setGraph(g);
        c->tracer->setGraphKey(x);
        c->tracer->updatePosition();
    } else {
        c->tracer->setGraph(nullptr);
        c->tracer->position->setCoords(x, y);
    }
    requestReplot();
}

double TraceGraph::cursorX(int n) const {
    const Cursor* c = cursor(n);
    if (!c) return 0;
    if (c->tracer->graph()) c->tracer->updatePosition();
    return c->tracer->position->key();
}

double TraceGraph::cursorY(int n) const {
    const Cursor* c = cursor(n);
    if (!c) return 0;
    if (c->tracer->graph()) c->tracer->updatePosition();
    return c->tracer->position->value();
}

void TraceGraph::setCursorColor(int n, const QColor& color) {
    if (Cursor* c = cursor(n)) {
        c->color = color;
        applyCursorStyle(*c);
        requestReplot();
    }
}

QColor TraceGraph::cursorColor(int n) const {
    const Cursor* c = cursor(n);
    return c ? c->color : QColor();
}

void TraceGraph::setCursorStyle(int n, int style) {
    if (Cursor* c = cursor(n)) {
        c->style = style;
        applyCursorStyle(*c);
        requestReplot();
    }
}

void TraceGraph::setCursorVisible(int n, bool on) {
    if (Cursor* c = cursor(n)) {
        c->visible = on;
        c->tracer->setVisible(on);
        requestReplot();
    }
}

bool TraceGraph::cursorVisible(int n) const {
    const Cursor* c = cursor(n);
    return c && c->visible;
}

void TraceGraph::placeCursorIfNew(int n) {
    Cursor* c = cursor(n);
    if (!c || c->placed) return;
    const QCPRange r = plot_->xAxis->range();
    const double x = plot_->xAxis->scaleType() == QCPAxis::stLogarithmic && r.lower > 0
                         ? r.lower * std::pow(r.upper / r.lower, n / 7.0)
                         : r.lower + (r.upper - r.lower) * n / 7.0;
    setCursorPosition(n, x, plot_->yAxis->range().center());
}

int TraceGraph::cursorNear(double px) const {
    int best = 0;
    double bestDistance = 6;  // pixels
    for (int n = 1; n <= kCursors; ++n) {
        const Cursor& c = cursors_[size_t(n - 1)];
        if (!c.visible) continue;
        const double d = std::fabs(plot_->xAxis->coordToPixel(cursorX(n)) - px);
        if (d <= bestDistance) {
            bestDistance = d;
            best = n;
        }
    }
    return best;
}

void TraceGraph::dragCursorTo(int n, double px) {
    setCursorPosition(n, plot_->xAxis->pixelToCoord(px), plot_->yAxis->range().center());
    plot_->replot(QCustomPlot::rpImmediateRefresh);
    emit cursorMoved(n, cursorX(n), cursorY(n));
}

void TraceGraph::clearAnnotations() {
    for (Annotation& a : annotations_) {
        plot_->removeItem(a.text);
        plot_->removeItem(a.shape);
    }
    annotations_.clear();
    requestReplot();
}

int TraceGraph::addAnnotation() {
    Annotation a;
    a.text = new QCPItemText(plot_);
    a.text->setColor(template_.captionColor);
    a.text->setRotation(-template_.captionAngle);
    a.text->setPositionAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    a.text->setClipToAxisRect(true);
    a.text->setVisible(false);
    a.shape = new QCPItemTracer(plot_);
    a.shape->setStyle(template_.shapeType == 0 ? QCPItemTracer::tsNone : QCPItemTracer::tsSquare);
    a.shape->setSize(2.0 + 2.0 * template_.shapeSize);
    a.shape->setPen(QPen(template_.shapeColor));
    a.shape->setBrush(template_.shapeColor);
    a.shape->setVisible(false);
    annotations_.push_back(a);
    return annotationCount();
}

void TraceGraph::setAnnotationText(int n, const QString& text) {
    if (Annotation* a = annotation(n)) a->text->setText(text);
    requestReplot();
}

QString TraceGraph::annotationText(int n) const {
    const Annotation* a = annotation(n);
    return a ? a->text->text() : QString();
}

void TraceGraph::setAnnotationPosition(int n, double x, double y) {
    if (Annotation* a = annotation(n)) {
        a->text->position->setCoords(x, y);
        a->shape->position->setCoords(x, y);
    }
    requestReplot();
}

void TraceGraph::setAnnotationVisible(int n, bool on) {
    if (Annotation* a = annotation(n)) {
        a->text->setVisible(on);
        a->shape->setVisible(on);
    }
    requestReplot();
}

bool TraceGraph::annotationVisible(int n) const {
    const Annotation* a = annotation(n);
    return a && a->text->visible();
}

void TraceGraph::setTrackMode(int mode) {
    if (mode < DragCursors || mode > ZoomY) mode = DragCursors;
    trackMode_ = mode;
    QCPAxisRect* r = plot_->axisRect();
    const bool pan = mode == PanXY || mode == PanX || mode == PanY;
    const bool zoom = mode == ZoomXY || mode == ZoomX || mode == ZoomY;
    plot_->setInteraction(QCP::iRangeDrag, pan);
    r->setRangeDrag(mode == PanX ? Qt::Horizontal : mode == PanY ? Qt::Vertical : Qt::Horizontal | Qt::Vertical);
    plot_->setSelectionRectMode(zoom ? QCP::srmZoom : QCP::srmNone);
    // The rubber band zooms the axes set here; the wheel too.
    r->setRangeZoomAxes(mode == ZoomY ? nullptr : plot_->xAxis, mode == ZoomX ? nullptr : plot_->yAxis);
    plot_->setCursor(pan ? Qt::OpenHandCursor : zoom ? Qt::CrossCursor : Qt::ArrowCursor);
}

QPixmap TraceGraph::picture() {
    const QSize s = plot_->size().width() > 50 ? plot_->size() : QSize(800, 500);
    return plot_->toPixmap(s.width(), s.height());
}

}  // namespace qv::ui
