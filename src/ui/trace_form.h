// TraceForm: the window that reads traces from the selected instrument and
// shows them: selectors, continuous reading, the graph with six markers,
// the popup's zoom and pan, and the export buttons. The reading itself is
// qv::trace::readTrace; this window is the Window it reads into.
#pragma once

#include "app/main_window.h"
#include "trace/reader.h"
#include "trace/selectors.h"
#include "ui/combo_selector.h"
#include "ui/running_action.h"

#include <QString>
#include <QWidget>

#include <array>
#include <string>

class QCheckBox;
class QColorDialog;
class QComboBox;
class QFrame;
class QGroupBox;
class QLabel;
class QToolButton;

namespace qv::ui {

class MainForm;
class TraceGraph;

// DisplayTrace and DisplayComplexTrace on the graph alone: label formats,
// the data (magnitude in dB for a pair array of the old network analyzer,
// real and imaginary parts of a complex reading), log flags, the
// range-keeping tag rule, the captions. xLog/yLog: the check boxes; the y
// axis is never logarithmic in dBm. Returns whether a log y axis is allowed
// for this unit.
bool ShowPlot(TraceGraph& graph, const qv::trace::Plot& plot, bool xLog, bool yLog);

class TraceForm : public QWidget, public qv::trace::Window, public qv::app::HotKeyWindow {
    Q_OBJECT
public:
    explicit TraceForm(MainForm& main, QWidget* parent = nullptr);
    ~TraceForm() override;

    // What readTrace reads and writes: resource, family, mode, flags, the
    // last reading.
    qv::trace::WindowState state;
    std::string MyFirmware;
    bool noiseOn = false;
    std::string xUnit, yUnit;

    // The load step: selectors filled, the first reading, caption and size,
    // the stored log settings applied.
    void Load();
    // readTrace with this window (the Update hot key lands here).
    void readTrace();
    // The Update picture button: a reading, then the "on trace event" steps.
    void clickUpdate();
    // "On trace event": picture to the clipboard, trace text to the
    // clipboard, trace text saved under the automatic name, each when its
    // setting is on. The hand-over to a spreadsheet is not in this build.
    void onTraceEvent();
    void clickCopyText();
    void clickSave();
    void clickPrint();
    void clickColor();
    void scaleX();
    void scaleY();
    void setXLog(bool on);
    void setYLog(bool on);
    // The popup's entries: zoom 0..3 (X, Y, XY, reset), pan 0..2 (X, Y, XY),
    // points and line (each flips its tick).
    void popupZoom(int index);
    void popupPan(int index);
    void popupPoints();
    void popupLine();
    bool pointsTicked() const { return pointsTicked_; }
    bool lineTicked() const { return lineTicked_; }
    // A marker's check box clicked (i = 0..5).
    void markerClicked(int i);
    // The selectors' events, as a click or Enter in the box gives them.
    void channelClicked(int index);
    void traceClicked(int index);
    void renameOnEnter(qv::trace::RenameWhat what);

    TraceGraph* graph() const { return graph_; }
    QCheckBox* actMark(int i) const;
    QLabel* lblX1(int i) const;
    QLabel* lblY1(int i) const;
    QToolButton* button(const QString& objectName) const;
    bool running() const { return action_.running(); }
    // The file the last automatic save wrote ("" before one).
    const std::string& lastSavedFile() const { return lastSaved_; }

    // qv::trace::Window
    void DisplayTrace(const qv::trace::Plot& plot) override;
    void DisplayComplexTrace(const qv::trace::Plot& plot) override;
    void showTraceSelector(bool visible) override;
    void showChannelSelector(bool visible) override;
    void setChannelCaption(const std::string& text) override;
    std::string channelCaption() const override;
    qv::trace::Selector& channelList() override { return channelList_; }
    qv::trace::Selector& traceList() override { return traceList_; }
    bool gone() const override { return action_.closeAsked(); }
    void hideSelectors() override;
    void simulatePulseData() override;
    void openStoredData() override;
    std::string mappedName() const override;

    // qv::app::HotKeyWindow
    std::string Tag() const override { return "TRACE"; }
    void CopyPicture() override;
    bool SaveTraceText(const std::string& path) override;
    void Update() override { readTrace(); }

protected:
    void keyReleaseEvent(QKeyEvent* e) override;
    void closeEvent(QCloseEvent* e) override;

private:
    void buildToolbar(QWidget* bar);
    void buildMarkFrame();
    QToolButton* addButton(QWidget* bar, const QString& name, const QString& caption, const QString& tip, int glyph);
    // Where the selector steps open their VIFs: this window's instrument.
    qv::trace::VifTarget selectorTarget() const;
    void showLegend(bool on);
    // Which of the trace list's caption and the channel caption show.
    void arrangeCaptions();
    // Step 12 of every plot: Line ticked, Points not.
    void resetPlotTicks();
    void showPlot(const qv::trace::Plot& plot);
    // Read-outs of marker i from its cursor.
    void markerReadout(int i, bool pulseVolts);
    void cursorMoved(int n, double x, double y);
    void graphMouse(int button, int shift, double x, double y);
    void storeLogSetting(const char* key, bool on);

    MainForm& main_;
    RunningAction action_;
    QWidget* toolbar_ = nullptr;
    QWidget* body_ = nullptr;
    TraceGraph* graph_ = nullptr;
    QComboBox* cmbChannelName_ = nullptr;
    QComboBox* cmbTraceName_ = nullptr;
    QLabel* lblTraceNo_ = nullptr;
    QLabel* lblTraceNumber_ = nullptr;
    QLabel* lbltraceNumberVal_ = nullptr;
    ComboSelector channelList_{nullptr};
    ComboSelector traceList_{nullptr};
    QCheckBox* chkContinuous_ = nullptr;
    QCheckBox* chkPulse_ = nullptr;
    QCheckBox* chkSimulate_ = nullptr;
    QCheckBox* chkNoise_ = nullptr;
    QCheckBox* chkXLog_ = nullptr;
    QCheckBox* chkYlog_ = nullptr;
    QGroupBox* markFrame_ = nullptr;
    std::array<QCheckBox*, 6> actMark_{};
    std::array<QLabel*, 6> lblX1_{}, lblY1_{};
    QLabel* label1_ = nullptr;
    QLabel* label2_ = nullptr;
    QFrame* line1_ = nullptr;
    QFrame* line2_ = nullptr;
    QColorDialog* colorPicker_ = nullptr;
    bool pointsTicked_ = false;
    bool lineTicked_ = true;
    bool loaded_ = false;
    std::string lastSaved_;
};

}  // namespace qv::ui
