#include "ui/trace_form.h"

#include "app/context.h"
#include "app/functions_mask.h"
#include "app/host.h"
#include "app/iniio.h"
#include "app/numeric.h"
#include "app/standard.h"
#include "app/text.h"
#include "instrument_directory/capabilities.h"
#include "instrument_io/vif.h"
#include "ui/icons.h"
#include "ui/main_form.h"
#include "ui/printing_ops.h"
#include "ui/qt_host.h"
#include "ui/trace_graph.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QCloseEvent>
#include <QColorDialog>
#include <QComboBox>
#include <QCheckBox>
#include <QCursor>
#include <QFrame>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QPainter>
#include <QToolButton>
#include <QVBoxLayout>

#include <algorithm>

namespace qv::ui {

using qv::trace::Plot;

namespace {

// Pictures for the buttons the shared tool glyphs do not cover.
QIcon drawnIcon(const std::function<void(QPainter&)>& draw) {
    QPixmap pm(32, 32);
    pm.fill(Qt::transparent);
    QPainter p(&pm);
    p.setRenderHint(QPainter::Antialiasing);
    draw(p);
    return QIcon(pm);
}

QIcon colorIcon() {
    return drawnIcon([](QPainter& p) {
        const QColor cs[] = {QColor(230, 60, 60), QColor(60, 180, 80), QColor(60, 110, 230), QColor(240, 200, 40)};
        for (int i = 0; i < 4; ++i) {
            p.setBrush(cs[i]);
            p.setPen(Qt::NoPen);
            p.drawEllipse(QRectF(4 + (i % 2) * 12, 4 + (i / 2) * 12, 12, 12));
        }
    });
}

QIcon scaleIcon(bool horizontal) {
    return drawnIcon([horizontal](QPainter& p) {
        p.setPen(QPen(QColor(60, 80, 110), 2.5, Qt::SolidLine, Qt::RoundCap));
        if (!horizontal) p.translate(32, 0), p.rotate(90);
        p.drawLine(5, 16, 27, 16);
        p.drawLine(5, 16, 11, 10);
        p.drawLine(5, 16, 11, 22);
        p.drawLine(27, 16, 21, 10);
        p.drawLine(27, 16, 21, 22);
    });
}

std::string engFormat(const std::string& unit) { return "k\"" + unit + "\""; }

}  // namespace

bool ShowPlot(TraceGraph& graph, const Plot& plot, bool xLog, bool yLog) {
    // Step 1: engineering labels with the units; a complex trace has none on y.
    graph.setAxisLabelFormat(1, qs(engFormat(plot.xUnit)));
    graph.setAxisLabelFormat(2, plot.complex ? QString() : qs(engFormat(plot.yUnit)));
    graph.clearData();
    static const std::vector<double> kNone;
    const std::vector<double>& x = plot.x ? *plot.x : kNone;
    const std::vector<double>& y = plot.y ? *plot.y : kNone;
    // Step 4: a pair array becomes what the plots show.
    std::vector<double> first, second;
    const std::vector<double>* y1 = &y;
    const std::vector<double>* y2 = nullptr;
    if (x.size() != y.size()) {
        if (plot.complex) {
            first = qv::trace::realParts(y);
            second = qv::trace::imagParts(y);
            y1 = &first;
            y2 = &second;
        } else if (qv::trace::dialectFor(plot.family).pairsInDb) {
            first = qv::trace::complexToDb(y);
            y1 = &first;
        }
    }
    // Step 5: the ranges as they stand, for a graph that keeps them.
    double x0, x1, y0, yEnd;
    graph.axisRange(1, x0, x1);
    graph.axisRange(2, y0, yEnd);
    graph.setPlotData(1, x.data(), y1->data(), std::min(x.size(), y1->size()));
    if (y2) graph.setPlotData(2, x.data(), y2->data(), std::min(x.size(), y2->size()));
    graph.setAxisLog(1, xLog);
    const bool yLogAllowed = plot.yUnit != "dBm";
    graph.setAxisLog(2, yLogAllowed && yLog);
    if (graph.tag().isEmpty()) {
        graph.autoscale(1);
        graph.autoscale(2);
    } else {
        graph.setAxisRange(1, x0, x1);
        graph.setAxisRange(2, y0, yEnd);
    }
    graph.setTag("PLOT");
    graph.setAxisCaption(1, qs(plot.xName));
    graph.setAxisCaption(2, qs(plot.yName));
    return yLogAllowed;
}

TraceForm::TraceForm(MainForm& main, QWidget* parent) : QWidget(parent), main_(main) {
    setObjectName("TraceForm");
    setWindowTitle("Instrument Trace Data");
    auto* lay = new QVBoxLayout(this);
    lay->setContentsMargins(6, 6, 6, 6);
    lay->setSpacing(4);

    toolbar_ = new QWidget(this);
    toolbar_->setObjectName("Toolbar");
    buildToolbar(toolbar_);
    lay->addWidget(toolbar_);

    body_ = new QWidget(this);
    body_->setObjectName("TraceBody");
    auto* h = new QHBoxLayout(body_);
    h->setContentsMargins(0, 0, 0, 0);
    graph_ = new TraceGraph(body_);
    graph_->setObjectName("TraceGraph");
    graph_->setMinimumSize(320, 220);
    h->addWidget(graph_, 1);
    buildMarkFrame();
    h->addWidget(markFrame_);
    lay->addWidget(body_, 1);

    connect(graph_, &TraceGraph::cursorMoved, this, &TraceForm::cursorMoved);
    connect(graph_, &TraceGraph::mouseButton, this, &TraceForm::graphMouse);
    showLegend(false);
    resize(980, 560);
}

TraceForm::~TraceForm() = default;

QToolButton* TraceForm::addButton(QWidget* bar, const QString& name, const QString& caption, const QString& tip,
                                  int glyph) {
    QToolButton* b = MakeToolButton(bar, name, caption, tip, ToolGlyph(glyph), 56);
    bar->layout()->addWidget(b);
    return b;
}

void TraceForm::buildToolbar(QWidget* bar) {
    auto* rows = new QVBoxLayout(bar);
    rows->setContentsMargins(0, 0, 0, 0);
    rows->setSpacing(2);
    auto* buttons = new QWidget(bar);
    auto* row = new QHBoxLayout(buttons);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(2);
    connect(addButton(buttons, "imgUpdateBild", "Update", "Read the trace again", int(ToolGlyph::Update)),
            &QToolButton::clicked, this, &TraceForm::clickUpdate);
    connect(addButton(buttons, "imgCopyBild", "Copy", "Copy the trace data as text", int(ToolGlyph::Copy)),
            &QToolButton::clicked, this, &TraceForm::clickCopyText);
    connect(addButton(buttons, "imgCopyPicture", "Picture", "Copy the graph as a picture", int(ToolGlyph::Copy)),
            &QToolButton::clicked, this, [this] {
                const app::AppContext& ctx = app::context();
                main_.HotKeyManager(*this, ctx.CopyHotKey.KeyCode, ctx.CopyHotKey.Modifiers);
            });
    connect(addButton(buttons, "imgSaveBild", "Save", "Save the trace data as text", int(ToolGlyph::Save)),
            &QToolButton::clicked, this, &TraceForm::clickSave);
    connect(addButton(buttons, "imgPrintBild", "Print", "Print the graph and the markers", int(ToolGlyph::Print)),
            &QToolButton::clicked, this, &TraceForm::clickPrint);
    QToolButton* color = addButton(buttons, "imgColorBild", "Color", "Colour of the trace", int(ToolGlyph::Load));
    color->setIcon(colorIcon());
    connect(color, &QToolButton::clicked, this, &TraceForm::clickColor);
    QToolButton* sx = addButton(buttons, "imgScaleXBild", "Scale X", "Fit the x axis to the trace", 0);
    sx->setIcon(scaleIcon(true));
    connect(sx, &QToolButton::clicked, this, &TraceForm::scaleX);
    QToolButton* sy = addButton(buttons, "imgScalYBild", "Scale Y", "Fit the y axis to the trace", 0);
    sy->setIcon(scaleIcon(false));
    connect(sy, &QToolButton::clicked, this, &TraceForm::scaleY);
    row->addStretch();
    rows->addWidget(buttons);

    auto* selectors = new QWidget(bar);
    auto* s = new QHBoxLayout(selectors);
    s->setContentsMargins(4, 0, 4, 0);
    s->setSpacing(6);
    auto label = [selectors](const QString& text, const QString& name) {
        auto* l = new QLabel(text, selectors);
        l->setObjectName(name);
        return l;
    };
    lblTraceNo_ = label("Channel Name", "lblTraceNo");
    cmbChannelName_ = new QComboBox(selectors);
    cmbChannelName_->setObjectName("cmbChannelName");
    cmbChannelName_->setMinimumWidth(80);
    lblTraceNumber_ = label("Trace Name", "lblTraceNumber");
    lbltraceNumberVal_ = label("", "lbltraceNumberVal");
    cmbTraceName_ = new QComboBox(selectors);
    cmbTraceName_->setObjectName("cmbTraceName");
    cmbTraceName_->setMinimumWidth(60);
    auto check = [selectors](const QString& text, const QString& name) {
        auto* c = new QCheckBox(text, selectors);
        c->setObjectName(name);
        return c;
    };
    chkContinuous_ = check("Continuous reading", "chkContinuous");
    chkPulse_ = check("Pulse data", "chkPulse");
    chkSimulate_ = check("Simulate", "chkSimulate");
    chkNoise_ = check("Add noise", "chkNoise");
    chkXLog_ = check("X Lin/Log", "chkXLog");
    chkYlog_ = check("Y Lin/Log", "chkYlog");
    for (QWidget* w : std::initializer_list<QWidget*>{lblTraceNo_, cmbChannelName_, lblTraceNumber_,
                                                      lbltraceNumberVal_, cmbTraceName_, chkContinuous_, chkPulse_,
                                                      chkSimulate_, chkNoise_, chkXLog_, chkYlog_})
        s->addWidget(w);
    s->addStretch();
    rows->addWidget(selectors);
    // Pulse evaluation is not part of this build: its check box stays hidden.
    chkPulse_->setVisible(false);

    connect(chkContinuous_, &QCheckBox::clicked, this, [this](bool on) { state.continuousOn = on; });
    connect(chkSimulate_, &QCheckBox::clicked, this, [this](bool on) { state.simulateOn = on; });
    connect(chkNoise_, &QCheckBox::clicked, this, [this](bool on) { noiseOn = on; });
    connect(chkXLog_, &QCheckBox::clicked, this, &TraceForm::setXLog);
    connect(chkYlog_, &QCheckBox::clicked, this, &TraceForm::setYLog);
    // `activated` is the user's pick; the program's selections only move the index.
    connect(cmbTraceName_, &QComboBox::activated, this, &TraceForm::traceClicked);
    connect(cmbChannelName_, &QComboBox::activated, this, &TraceForm::channelClicked);
    channelList_.attach(cmbChannelName_);
    traceList_.attach(cmbTraceName_);
}

void TraceForm::buildMarkFrame() {
    markFrame_ = new QGroupBox("Marker", body_);
    markFrame_->setObjectName("MarkFrame");
    markFrame_->setFixedWidth(200);
    auto* g = new QGridLayout(markFrame_);
    g->setVerticalSpacing(1);
    for (int i = 0; i < 6; ++i) {
        auto* c = new QCheckBox(QString("M%1").arg(i + 1), markFrame_);
        c->setObjectName("ActMark");
        c->setProperty("index", i);
        const QColor mc = markerColor(i);
        // White on a light frame would vanish: the check box shows the colour as a swatch.
        c->setIcon(drawnIcon([mc](QPainter& p) {
            p.setPen(QPen(Qt::darkGray, 1));
            p.setBrush(mc);
            p.drawRect(8, 8, 16, 16);
        }));
        auto* x = new QLabel(markFrame_);
        x->setObjectName("lblX1");
        auto* y = new QLabel(markFrame_);
        y->setObjectName("lblY1");
        actMark_[size_t(i)] = c;
        lblX1_[size_t(i)] = x;
        lblY1_[size_t(i)] = y;
        g->addWidget(c, i * 2, 0, 2, 1);
        g->addWidget(x, i * 2, 1);
        g->addWidget(y, i * 2 + 1, 1);
        connect(c, &QCheckBox::clicked, this, [this, i] { markerClicked(i); });
    }
    label1_ = new QLabel("Real part", markFrame_);
    label1_->setObjectName("Label1");
    label2_ = new QLabel("Imaginary part", markFrame_);
    label2_->setObjectName("Label2");
    auto line = [this](const QString& name, const QColor& c) {
        auto* f = new QFrame(markFrame_);
        f->setObjectName(name);
        f->setFixedSize(28, 3);
        f->setStyleSheet(QString("background: %1;").arg(c.name()));
        return f;
    };
    line1_ = line("Line1", graph_->lineColor(1));
    line2_ = line("Line2", graph_->lineColor(2));
    g->addWidget(line1_, 12, 0);
    g->addWidget(label1_, 12, 1);
    g->addWidget(line2_, 13, 0);
    g->addWidget(label2_, 13, 1);
    g->setRowStretch(14, 1);
}

QCheckBox* TraceForm::actMark(int i) const { return i >= 0 && i < 6 ? actMark_[size_t(i)] : nullptr; }
QLabel* TraceForm::lblX1(int i) const { return i >= 0 && i < 6 ? lblX1_[size_t(i)] : nullptr; }
QLabel* TraceForm::lblY1(int i) const { return i >= 0 && i < 6 ? lblY1_[size_t(i)] : nullptr; }
QToolButton* TraceForm::button(const QString& objectName) const { return findChild<QToolButton*>(objectName); }

void TraceForm::Load() {
    // A close asked for while the load reads waits for the whole load.
    RunningAction::Scope scope(action_, WindowFrame(this));
    app::AppContext& ctx = app::context();
    // Annotations: the template, then six.
    graph_->clearAnnotations();
    AnnotationTemplate t;
    t.captionColor = BgrColor(16777215);
    t.captionAngle = 90;
    t.shapeType = 3;
    t.shapeSize = 2;
    t.shapeColor = BgrColor(65280);
    graph_->setAnnotationTemplate(t);
    for (int i = 0; i < 6; ++i) graph_->addAnnotation();

    // The names are edited in place where the instrument takes a rename;
    // Enter sends it, and what was typed is never added to the list.
    const std::string family = state.MyDevType;
    if (qv::trace::renamesInPlace(main_.CurrentInstrumentField(), family)) {
        for (QComboBox* box : {cmbChannelName_, cmbTraceName_}) {
            box->setEditable(true);
            box->setInsertPolicy(QComboBox::NoInsert);
        }
        connect(cmbChannelName_->lineEdit(), &QLineEdit::returnPressed, this,
                [this] { renameOnEnter(qv::trace::RenameWhat::Channel); });
        connect(cmbTraceName_->lineEdit(), &QLineEdit::returnPressed, this,
                [this] { renameOnEnter(qv::trace::RenameWhat::Trace); });
    }
    qv::trace::loadSelectors(selectorTarget(), family,
                             qv::dir::MasterTraces(app::VisaDevicesPath(), main_.CurrentInstrumentName()), *this,
                             state.instrumentMode);

    clickUpdate();
    if (gone()) return;

    QWidget* frame = WindowFrame(this);
    frame->move(0, 0);
    setWindowTitle("Trace - " + main_.deviceList()->currentText());
    if (QMdiArea* area = main_.mdiArea()) {
        const int frameW = frame == this ? 0 : frame->width() - width();
        const int frameH = frame == this ? 0 : frame->height() - height();
        QSize want(markFrame_->width() + 880 + frameW, 620 + frameH);
        frame->resize(want.boundedTo(area->viewport()->size()));
    }

    // The stored log settings, as if their boxes were clicked.
    chkXLog_->setChecked(ctx.Axis1Log != 0);
    setXLog(chkXLog_->isChecked());
    if (chkYlog_->isEnabled()) {
        chkYlog_->setChecked(ctx.Axis2Log != 0);
        setYLog(chkYlog_->isChecked());
    }
    loaded_ = true;
}

qv::trace::VifTarget TraceForm::selectorTarget() const {
    return {state.MyVISARsc, state.prepareVif, 1000};
}

void TraceForm::traceClicked(int index) {
    qv::trace::traceChosen(state.MyDevType, index, traceList_);
    if (isVisible()) clickUpdate();
}

void TraceForm::channelClicked(int index) {
    if (!isVisible() || index < 0) return;
    if (qv::trace::channelChosen(selectorTarget(), state.MyDevType, index, *this)) clickUpdate();
}

void TraceForm::renameOnEnter(qv::trace::RenameWhat what) {
    if (!qv::trace::renameOnEnter(selectorTarget(), main_.CurrentInstrumentField(), state.MyDevType, what, *this))
        return;
    // The channel list holds the instrument's channel numbers, never names:
    // the box shows its number again once the name is sent.
    if (what == qv::trace::RenameWhat::Channel && cmbChannelName_->currentIndex() >= 0)
        cmbChannelName_->setEditText(cmbChannelName_->itemText(cmbChannelName_->currentIndex()));
}

void TraceForm::readTrace() {
    if (action_.closeAsked()) return;
    RunningAction::Scope scope(action_, WindowFrame(this));
    qv::trace::readTrace(app::context(), state, *this);
}

void TraceForm::clickUpdate() {
    // The export steps after the reading still belong to this window.
    RunningAction::Scope scope(action_, WindowFrame(this));
    app::AppContext& ctx = app::context();
    main_.HotKeyManager(*this, ctx.UpdateHotKey.KeyCode, ctx.UpdateHotKey.Modifiers);
    if (action_.closeAsked()) return;
    onTraceEvent();
}

void TraceForm::onTraceEvent() {
    const app::AppContext& ctx = app::context();
    if (ctx.CopyImg) CopyPicture();
    // PastDat: the hand-over to a spreadsheet is not part of this build; the
    // setting is kept and does nothing here.
    if (ctx.CopyDat) clickCopyText();
    if (ctx.SaveDat) {
        const std::string path =
            app::OutputFileName(ctx.SaveFolder, main_.logic().CurrentListText(), app::CurrentTimeRecord(), ".txt");
        std::string why;
        if (qv::trace::SaveTraceText(path, qv::trace::shared().traceData, qv::trace::SystemDecimalMark(), true, why))
            lastSaved_ = path;
        else
            app::host().message("Trace", "The trace could not be saved as " + path + ": " + why,
                                app::Icon::Information);
    }
}

void TraceForm::clickCopyText() {
    QClipboard* cb = QApplication::clipboard();
    cb->clear();
    cb->setText(qs(qv::trace::TraceDataText(qv::trace::shared().traceData, qv::trace::SystemDecimalMark())));
}

void TraceForm::CopyPicture() {
    QClipboard* cb = QApplication::clipboard();
    cb->clear();
    cb->setPixmap(graph_->picture());
}

bool TraceForm::SaveTraceText(const std::string& path) {
    std::string why;
    if (qv::trace::SaveTraceText(path, qv::trace::shared().traceData, qv::trace::SystemDecimalMark(), false, why))
        return true;
    app::host().message("ERROR", "The trace could not be saved as " + path + ": " + why, app::Icon::Warning);
    return false;
}

void TraceForm::clickSave() {
    const app::AppContext& ctx = app::context();
    main_.HotKeyManager(*this, ctx.SaveHotKey.KeyCode, ctx.SaveHotKey.Modifiers);
}

void TraceForm::clickPrint() {
    // The graph and the marker read-outs beside it, on one page.
    if (ShowPrinterDialog(this)) PrintPicture(body_, 0, 0);
}

void TraceForm::clickColor() {
    if (!colorPicker_) {
        colorPicker_ = new QColorDialog(graph_->lineColor(1), this);
        colorPicker_->setObjectName("ColorPicker");
        colorPicker_->setWindowTitle("Trace colour");
        connect(colorPicker_, &QColorDialog::colorSelected, this, [this](const QColor& c) {
            graph_->setLineColor(1, c);
            line1_->setStyleSheet(QString("background: %1;").arg(c.name()));
        });
    }
    if (colorPicker_->isVisible()) {
        colorPicker_->hide();
        return;
    }
    colorPicker_->setCurrentColor(graph_->lineColor(1));
    colorPicker_->open();
}

void TraceForm::scaleX() { graph_->autoscale(1); }
void TraceForm::scaleY() { graph_->autoscale(2); }

void TraceForm::storeLogSetting(const char* key, bool on) {
    app::AppContext& ctx = app::context();
    int16_t& field = std::string_view(key) == "Axis1Log" ? ctx.Axis1Log : ctx.Axis2Log;
    field = on ? 1 : 0;
    if (!ctx.IniFilePath.empty()) app::IniItem(ctx.IniFilePath, "Trace", key, field, app::kIniSave, int16_t{0});
}

void TraceForm::setXLog(bool on) {
    chkXLog_->setChecked(on);
    graph_->setAxisLog(1, on);
    graph_->autoscale(1);
    graph_->autoscale(2);
    storeLogSetting("Axis1Log", on);
}

void TraceForm::setYLog(bool on) {
    chkYlog_->setChecked(on);
    graph_->setAxisLog(2, on);
    graph_->autoscale(1);
    graph_->autoscale(2);
    storeLogSetting("Axis2Log", on);
}

void TraceForm::popupZoom(int index) {
    switch (index) {
    case 0: graph_->setTrackMode(TraceGraph::ZoomX); break;
    case 1: graph_->setTrackMode(TraceGraph::ZoomY); break;
    case 2: graph_->setTrackMode(TraceGraph::ZoomXY); break;
    case 3:
        graph_->setTrackMode(TraceGraph::DragCursors);
        graph_->autoscale(1);
        graph_->autoscale(2);
        break;
    default: break;
    }
}

void TraceForm::popupPan(int index) {
    switch (index) {
    case 0: graph_->setTrackMode(TraceGraph::PanX); break;
    case 1: graph_->setTrackMode(TraceGraph::PanY); break;
    case 2: graph_->setTrackMode(TraceGraph::PanXY); break;
    default: break;
    }
}

void TraceForm::popupPoints() {
    pointsTicked_ = !pointsTicked_;
    graph_->setPointStyle(1, pointsTicked_ ? 10 : 0);
}

void TraceForm::popupLine() {
    lineTicked_ = !lineTicked_;
    graph_->setLineStyle(1, lineTicked_ ? 1 : 0);
}

void TraceForm::resetPlotTicks() {
    // The ticks go back (the popup shows them); the plot's styles stay as
    // they were.
    lineTicked_ = true;
    pointsTicked_ = false;
}

void TraceForm::showLegend(bool on) {
    for (QWidget* w : std::initializer_list<QWidget*>{label1_, label2_, line1_, line2_}) w->setVisible(on);
}

void TraceForm::showPlot(const Plot& plot) {
    xUnit = plot.xUnit;
    yUnit = plot.yUnit;
    const bool yLogAllowed = ShowPlot(*graph_, plot, chkXLog_->isChecked(), chkYlog_->isChecked());
    if (!yLogAllowed) chkYlog_->setChecked(false);
    chkYlog_->setEnabled(yLogAllowed);
    showLegend(plot.complex);
    resetPlotTicks();
    // Active markers follow the new trace.
    for (int i = 0; i < 6; ++i)
        if (actMark_[size_t(i)]->isChecked()) {
            const int n = i + 1;
            markerReadout(i, state.pulseShown && state.simulateOn);
            graph_->setAnnotationPosition(n, graph_->cursorX(n), graph_->cursorY(n) + 0.2);
        }
}

void TraceForm::DisplayTrace(const Plot& plot) {
    Plot p = plot;
    p.complex = false;
    showPlot(p);
}

void TraceForm::DisplayComplexTrace(const Plot& plot) {
    Plot p = plot;
    p.complex = true;
    showPlot(p);
}

void TraceForm::showTraceSelector(bool visible) {
    cmbTraceName_->setVisible(visible);
    arrangeCaptions();
}

void TraceForm::showChannelSelector(bool visible) {
    cmbChannelName_->setVisible(visible);
    lblTraceNo_->setVisible(visible);
    arrangeCaptions();
}

void TraceForm::arrangeCaptions() {
    // The trace list sits where the channel caption stands, so the two never
    // show together; the caption speaks only when no list names the channel
    // (the older network analyzer reads with both lists hidden).
    const bool traces = !cmbTraceName_->isHidden();
    const bool channels = !cmbChannelName_->isHidden();
    lblTraceNumber_->setVisible(traces || !channels);
    lbltraceNumberVal_->setVisible(!traces && !channels);
}

void TraceForm::setChannelCaption(const std::string& text) { lbltraceNumberVal_->setText(qs(text)); }

std::string TraceForm::channelCaption() const { return lbltraceNumberVal_->text().toStdString(); }

void TraceForm::hideSelectors() {
    cmbChannelName_->setVisible(false);
    cmbTraceName_->setVisible(false);
    lblTraceNo_->setVisible(false);
    arrangeCaptions();
}

void TraceForm::simulatePulseData() {
    app::host().message("Trace", "Simulated pulse data is not available in this build.", app::Icon::Information);
}

void TraceForm::openStoredData() {
    app::host().message("Trace", "Stored trace data (<FILE>) is not available in this build.",
                        app::Icon::Information);
}

std::string TraceForm::mappedName() const { return main_.CurrentInstrumentField(); }

void TraceForm::markerReadout(int i, bool pulseVolts) {
    const int n = i + 1;
    const double x = graph_->cursorX(n), y = graph_->cursorY(n);
    lblX1_[size_t(i)]->setText(qs(xUnit != "Hz" ? "Time: " + app::FormatEng(x, "#.####", "s", true)
                                                : "Freq: " + app::FormatEng(x, "#.####", "Hz", true)));
    lblY1_[size_t(i)]->setText(qs("Lvl: " + app::FormatEng(y, "#.##", pulseVolts ? "V" : yUnit, true)));
}

void TraceForm::markerClicked(int i) {
    if (i < 0 || i >= 6) return;
    const int n = i + 1;
    graph_->setCursorVisible(n, true);
    graph_->setCursorStyle(n, 8);
    if (actMark_[size_t(i)]->isChecked()) {
        graph_->placeCursorIfNew(n);
        graph_->setAnnotationText(n, QString("  M%1").arg(n));
        markerReadout(i, state.pulseShown && state.simulateOn);
        graph_->setAnnotationPosition(n, graph_->cursorX(n), graph_->cursorY(n) + 0.2);
        graph_->setAnnotationVisible(n, true);
        graph_->setCursorColor(n, markerColor(i));
    } else {
        graph_->setAnnotationVisible(n, false);
        graph_->setCursorVisible(n, false);
        lblX1_[size_t(i)]->clear();
        lblY1_[size_t(i)]->clear();
    }
}

void TraceForm::cursorMoved(int n, double x, double y) {
    if (n < 1 || n > 6) return;
    const int i = n - 1;
    graph_->setAnnotationText(n, QString("  M%1").arg(n));
    lblX1_[size_t(i)]->setText(qs(xUnit != "Hz" ? "Time: " + app::FormatEng(x, "#.####", "s", true)
                                                : "Freq: " + app::FormatEng(x, "#.####", "Hz", true)));
    lblY1_[size_t(i)]->setText(qs("Lvl: " + app::FormatEng(y, "#.##", yUnit, true)));
    graph_->setAnnotationPosition(n, x, y + 0.2);
    graph_->setAnnotationVisible(n, true);
}

void TraceForm::graphMouse(int button, int, double, double) {
    if (button == 2) main_.showTraceMenu(this, QCursor::pos());
    else if (button == 1) graph_->setTrackMode(TraceGraph::DragCursors);
}

void TraceForm::keyReleaseEvent(QKeyEvent* e) {
    RunningAction::Scope scope(action_, WindowFrame(this));
    main_.HotKeyReleased(*this, e);
    QWidget::keyReleaseEvent(e);
}

void TraceForm::closeEvent(QCloseEvent* e) {
    // A running reading ends after its pass; the window closes then.
    if (action_.deferClose(WindowFrame(this), e)) return;
    e->accept();
}

}  // namespace qv::ui
