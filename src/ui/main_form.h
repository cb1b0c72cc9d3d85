// MainForm: the parent window of every other window (a QMdiArea), its
// menus, popup menus, the five big buttons and the three instrument lists.
// Its decisions come from qv::app::MainLogic; this class draws and wires.
#pragma once

#include "app/main_window.h"
#include "automation/status_utilities.h"

#include <QMainWindow>
#include <QMap>
#include <QPointer>

#include <array>
#include <functional>

class QAction;
class QComboBox;
class QKeyEvent;
class QLabel;
class QMdiArea;
class QMdiSubWindow;
class QMenu;
class QPoint;

namespace qv::ui {

class BigButtonWidget;
class InstFileForm;
class QtHost;
class SplashStart;
class SplashForm;
class TraceForm;

class MainForm : public QMainWindow, public qv::app::MainView {
    Q_OBJECT
public:
    MainForm(qv::app::AppContext& ctx, qv::app::InstrumentSource& source, QWidget* parent = nullptr);
    ~MainForm() override;

    // The load event: the start sequence. appDataFolder empty: made from
    // the environment.
    void Start(const std::string& appDataFolder = {});

    qv::app::MainLogic& logic() { return logic_; }
    QMdiArea* mdiArea() const { return mdi_; }
    // Menu entries by control name ("MNewHardcopy", "WindowSkins2", ...) or id.
    QAction* action(const QString& controlName) const;
    QAction* action(qv::app::MenuId id) const;
    // A menu of the bar, a popup menu or the view submenu, by its group.
    QMenu* menu(qv::app::MenuGroup group) const;
    BigButtonWidget* bigButton(qv::app::BigButton b) const;
    QComboBox* deviceList() const { return DeviceList_; }
    QComboBox* resourceList() const { return DevResourceList_; }
    QComboBox* ipList() const { return cmbIP_; }
    QLabel* ipLabel() const { return lblIP_; }
    QMenu* traceMenu() const { return menu(qv::app::MenuGroup::TracePopup); }
    QMenu* instFileMenu() const { return menu(qv::app::MenuGroup::FilePopup); }
    SplashStart* startSplash() const;
    // Through the source's records: the name of the selected instrument's
    // record (its mapped name, else its family), the record
    // field the windows use (the mapped name), and a window caption set to
    // the name ("0" without a selected row).
    std::string CurrentInstrumentName() const;
    std::string CurrentInstrumentField() const;
    void SetCaptionToInstrument(QWidget* window) const;
    // Puts a window into the work area and shows it.
    QMdiSubWindow* openChild(QWidget* w);
    // The instrument file menu over a browser window's list; its entries
    // act on that window.
    void showInstFileMenu(InstFileForm* form, const QPoint& globalPos);
    // The trace popup over a trace window; its entries act on that window.
    void showTraceMenu(TraceForm* form, const QPoint& globalPos);
    // The progress splash other windows open around long work.
    SplashForm* showProgressSplash(bool showCancel);
    // Runs the action of a big button as its click does.
    void clickBigButton(qv::app::BigButton b);
    // The hot keys of a child window; its key-up event and its toolbar
    // buttons (with the stored pair) call this.
    void HotKeyManager(qv::app::HotKeyWindow& window, int keyCode, int modifiers);
    // A key event as the hot keys count it: key code (Enter 13, Print
    // Screen 44, letters and digits as their upper-case character) and
    // modifier mask (Shift 1, Ctrl 2, Alt 4). False for other keys.
    static bool HotKeyOf(const QKeyEvent* e, int& keyCode, int& modifiers);
    // A key released in a child window: its hot key, if it is one, goes to
    // HotKeyManager.
    void HotKeyReleased(qv::app::HotKeyWindow& window, const QKeyEvent* e);
    // Whether the start sequence is over (splash gone, EndLoad done).
    bool started() const { return started_; }

    // MainView
    void SetCaption(const std::string& caption) override;
    void SetMenuEnabled(qv::app::MenuId id, bool enabled) override;
    void ClearDeviceLists() override;
    void AddDeviceRow(const qv::app::DeviceRow& row) override;
    void ShowDeviceIndex(int index) override;
    void ShowStartSplash() override;
    void StartSplashReady() override;
    void CheckSkinEntry(int which) override;
    void OpenRemoteInterfaces() override;
    void SetSearching(bool on) override;

signals:
    // The start splash has gone and EndLoad has run.
    void startupFinished();

protected:
    void closeEvent(QCloseEvent* e) override;

private:
    // What a menu entry runs; entries without one have no action.
    using MenuHandler = void (*)(MainForm&, qv::app::MenuId);
    static const std::array<MenuHandler, qv::app::kMenuIdCount>& menuHandlers();
    void buildMenus();
    void buildCentral();
    void runNewHardcopy();
    void runNewTrace();
    void runNewInstFileBrow();
    void runNewInstTables();
    void runUserCorrection();
    // The demodulation summary of the selected instrument in a report
    // window, read once at opening and again on each update.
    void runDemodReport();
    void runNewInstScripts();
    void runInterAct();
    void runRawRead();
    // A status report of the selected instrument in a new text window.
    void runStatusReport(qv::automation::StatusReport which);
    // The instrument's clock from the computer's; a short note on success.
    void runSetClock();
    // The browser window the instrument file menu acts on: the one that
    // showed it, else the active child.
    InstFileForm* fileMenuTarget() const;
    // The trace window the trace popup acts on: the one that showed it, else
    // the active child.
    TraceForm* traceMenuTarget() const;
    void buildTracePopup();
    void chooseSaveFolder();
    void arrange(int mode);
    void updateIpVisibility();
    // Opens the window of slot, or brings it up when it is open already.
    void showSingle(QPointer<QWidget>& slot, const std::function<QWidget*()>& make);
    // The remote interfaces editor; OK empties the lists and searches again.
    QWidget* makeRemoteEditor();
    void showFoundCount(int n);
    // The selected row's record: its mapped name and family. False without one.
    bool selectedRecordNames(std::string& mappedName, std::string& family) const;

    qv::app::AppContext& ctx_;
    qv::app::InstrumentSource& source_;
    qv::app::MainLogic logic_;
    QMdiArea* mdi_ = nullptr;
    QComboBox* DeviceList_ = nullptr;
    QComboBox* DevResourceList_ = nullptr;
    QComboBox* cmbIP_ = nullptr;
    QLabel* lblIP_ = nullptr;
    std::array<QAction*, qv::app::kMenuIdCount> actionById_ = {};
    std::array<QMenu*, static_cast<size_t>(qv::app::MenuGroup::Count)> menus_ = {};
    QMap<int, BigButtonWidget*> buttons_;
    QPointer<SplashStart> splash_;
    QPointer<QWidget> editor_, settings_, ipResolve_, supDevices_;
    QPointer<InstFileForm> fileMenuFor_;
    QPointer<TraceForm> traceMenuFor_;
    bool started_ = false;
    bool exiting_ = false;
    // EndLoad waits for both: the start splash gone and the load event over
    // (a message of the scan can close the splash before the scan ends).
    bool loadDone_ = false, splashGone_ = false;
    void finishStart();
    QList<QPointer<SplashForm>> progressSplashes_;
};

}  // namespace qv::ui
