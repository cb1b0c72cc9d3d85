#include "ui/main_form.h"

#include "app/data_folder.h"
#include "app/debug.h"
#include "app/host.h"
#include "app/iniio.h"
#include "app/settings.h"
#include "app/standard.h"
#include "automation/status_utilities.h"
#include "families/registry.h"
#include "tables/result_report.h"
#include "ui/big_button.h"
#include "ui/error_form.h"
#include "ui/hcopy_form.h"
#include "ui/icons.h"
#include "ui/inst_file_form.h"
#include "ui/interact_form.h"
#include "ui/ip_resolve.h"
#include "ui/qt_host.h"
#include "ui/raw_form.h"
#include "ui/report_form.h"
#include "ui/rich_text_box.h"
#include "ui/remote_editor_form.h"
#include "ui/script_form.h"
#include "ui/settings_form.h"
#include "ui/splash.h"
#include "ui/table_form.h"
#include "ui/sup_devices.h"
#include "ui/text_form.h"
#include "ui/timed_form.h"
#include "ui/trace_form.h"
#include "ui/ucor_form.h"

#include <QActionGroup>
#include <QCloseEvent>
#include <QComboBox>
#include <QCoreApplication>
#include <QFrame>
#include <QGridLayout>
#include <QKeyEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMenuBar>
#include <QMessageBox>
#include <QPainter>
#include <QFontMetricsF>
#include <QTextCursor>
#include <QStatusBar>
#include <QTimer>
#include <QVBoxLayout>

#include <ctime>

namespace qv::ui {

namespace {
// The work area: while it holds no window it shows the emblem and a hint.
class WorkArea : public QMdiArea {
public:
    using QMdiArea::QMdiArea;

protected:
    void paintEvent(QPaintEvent* e) override {
        QMdiArea::paintEvent(e);
        if (!subWindowList().isEmpty()) return;
        QPainter p(viewport());
        p.setRenderHint(QPainter::Antialiasing);
        QRect r = viewport()->rect();
        p.setOpacity(0.35);
        QPixmap emblem = ProgramEmblem(96);
        QPoint at(r.center().x() - 48, r.center().y() - 80);
        p.drawPixmap(at, emblem);
        p.setOpacity(1.0);
        p.setPen(QColor(0x7a, 0x88, 0x99));
        QFont f = font();
        f.setPointSizeF(f.pointSizeF() * 1.15);
        p.setFont(f);
        p.drawText(QRect(r.left(), at.y() + 110, r.width(), 24), Qt::AlignCenter,
                   "Choose an instrument above, then a function.");
    }
};
}  // namespace

using qv::app::BigButton;
using qv::app::MenuEntry;
using qv::app::MenuGroup;
using qv::app::MenuId;
using qv::app::MenuKind;
using qv::automation::StatusReport;

MainForm::MainForm(qv::app::AppContext& ctx, qv::app::InstrumentSource& source, QWidget* parent)
    : QMainWindow(parent),
      ctx_(ctx),
      source_(source),
      logic_(ctx, *this, source) {
    setObjectName("MainForm");
    setWindowIcon(QIcon(ProgramEmblem(64)));
    resize(1200, 780);
    logic_.FamilyHasReport = [](std::string_view tag) {
        const qv::family::Family* f = qv::family::find(tag);
        return f && f->demodulationReport;
    };
    buildMenus();
    buildCentral();
    for (int i = 0; i < static_cast<int>(MenuId::Count); ++i)
        SetMenuEnabled(static_cast<MenuId>(i), logic_.MenuEnabled(static_cast<MenuId>(i)));
    ctx_.DeviceListIndex = [this] { return logic_.ListIndex(); };
    ctx_.CloseSplashes = [this] {
        if (splash_ && !splash_->IsClosing()) splash_->ReadyToWork();
        for (const QPointer<SplashForm>& s : progressSplashes_)
            if (s) s->ReadyToWork();
        progressSplashes_.clear();
    };
    qv::app::SetDisplayErrorHandler([this](const qv::app::ErrorReport& r) { ErrorForm::DisplayError(r, this); });
}

MainForm::~MainForm() {
    source_.SetScanProgress(nullptr, nullptr);
    ctx_.DeviceListIndex = nullptr;
    ctx_.CloseSplashes = nullptr;
    qv::app::SetDisplayErrorHandler(nullptr);
    if (splash_) delete splash_.data();
    for (const QPointer<SplashForm>& s : progressSplashes_)
        if (s) delete s.data();
}

const std::array<MainForm::MenuHandler, qv::app::kMenuIdCount>& MainForm::menuHandlers() {
    struct Row {
        MenuId id;
        MenuHandler run;
    };
    static constexpr MenuHandler arrange = [](MainForm& f, MenuId id) {
        f.arrange(static_cast<int>(id) - static_cast<int>(MenuId::MWinArr0));
    };
    // Skins come with the appearance subsystem; until then every entry
    // keeps the built-in look and only the check mark moves.
    static constexpr MenuHandler skin = [](MainForm& f, MenuId id) {
        f.CheckSkinEntry(static_cast<int>(id) - static_cast<int>(MenuId::WindowSkins1) + 1);
        f.statusBar()->showMessage("Skins are not available in this build; the built-in look stays.", 4000);
    };
    static constexpr MenuHandler viewMode = [](MainForm& f, MenuId id) {
        if (InstFileForm* w = f.fileMenuTarget())
            w->setViewMode(static_cast<int>(id) - static_cast<int>(MenuId::FMVIEWMODE0));
    };
    // Display colours, the trace popup and rename (instruments offer no
    // rename) have no action here.
    static const Row rows[] = {
        {MenuId::MFileVISARsc, [](MainForm& f, MenuId) { f.OpenRemoteInterfaces(); }},
        {MenuId::TMPoints,
         [](MainForm& f, MenuId) {
             if (TraceForm* w = f.traceMenuTarget()) w->popupPoints();
         }},
        {MenuId::TMLine,
         [](MainForm& f, MenuId) {
             if (TraceForm* w = f.traceMenuTarget()) w->popupLine();
         }},
        {MenuId::MFileSettings,
         [](MainForm& f, MenuId) { f.showSingle(f.settings_, [&f] { return new SettingsForm(f.ctx_); }); }},
        {MenuId::MenuFilePath, [](MainForm& f, MenuId) { f.chooseSaveFolder(); }},
        {MenuId::MFileExit, [](MainForm& f, MenuId) { f.close(); }},
        {MenuId::MNewHardcopy, [](MainForm& f, MenuId) { f.runNewHardcopy(); }},
        {MenuId::MNewTrace, [](MainForm& f, MenuId) { f.runNewTrace(); }},
        {MenuId::MNewInstFileBrow, [](MainForm& f, MenuId) { f.runNewInstFileBrow(); }},
        {MenuId::MNewInstTables, [](MainForm& f, MenuId) { f.runNewInstTables(); }},
        {MenuId::MNewInstScripts, [](MainForm& f, MenuId) { f.runNewInstScripts(); }},
        {MenuId::FMOPEN,
         [](MainForm& f, MenuId) {
             if (InstFileForm* w = f.fileMenuTarget()) w->OpenFile(true);
         }},
        {MenuId::FMSAVETO,
         [](MainForm& f, MenuId) {
             if (InstFileForm* w = f.fileMenuTarget()) w->OpenFile(false);
         }},
        {MenuId::FMVIEWMODE0, viewMode},
        {MenuId::FMVIEWMODE1, viewMode},
        {MenuId::FMVIEWMODE2, viewMode},
        {MenuId::FMVIEWMODE3, viewMode},
        {MenuId::MUtilAllPollStatus, [](MainForm& f, MenuId) { f.runStatusReport(StatusReport::PollStatus); }},
        {MenuId::MUtilAllInterAct, [](MainForm& f, MenuId) { f.runInterAct(); }},
        {MenuId::MUtilAllRawRead, [](MainForm& f, MenuId) { f.runRawRead(); }},
        {MenuId::MUtilAllTimed,
         [](MainForm& f, MenuId) {
             auto* form = new TimedForm(f);
             form->MyVISARsc = f.logic_.MyVISARsc;
             form->MyDevType = f.logic_.MyDevType;
             form->Load();
             // Its own height, as far as the work area has room for it.
             QMdiSubWindow* sub = f.openChild(form);
             sub->resize(sub->size().boundedTo(f.mdi_->viewport()->size()));
         }},
        {MenuId::IPResolver, [](MainForm& f, MenuId) { f.showSingle(f.ipResolve_, [] { return new IPResolve; }); }},
        {MenuId::MUtilTKxVHxCalResults, [](MainForm& f, MenuId) { f.runStatusReport(StatusReport::CalResults); }},
        {MenuId::MUtilTKxVHxSelfTest, [](MainForm& f, MenuId) { f.runStatusReport(StatusReport::SelfTest); }},
        {MenuId::MUtilTKxVHxHardInfo, [](MainForm& f, MenuId) { f.runStatusReport(StatusReport::HardInfo); }},
        {MenuId::MUtilTKxVHxSetClock, [](MainForm& f, MenuId) { f.runSetClock(); }},
        {MenuId::MUtilTKxDemodReport, [](MainForm& f, MenuId) { f.runDemodReport(); }},
        {MenuId::MGLxUtilUserCorrection, [](MainForm& f, MenuId) { f.runUserCorrection(); }},
        {MenuId::MWinArr0, arrange},
        {MenuId::MWinArr1, arrange},
        {MenuId::MWinArr2, arrange},
        {MenuId::MWinArr3, arrange},
        {MenuId::WindowSkins1, skin},
        {MenuId::WindowSkins2, skin},
        {MenuId::WindowSkins3, skin},
        {MenuId::HelpHelp,
         [](MainForm&, MenuId) {
             std::string manual = qv::app::dataFolder() + "/Quilvane.pdf";
             if (!qv::app::host().openWithShell(manual))
                 qv::app::host().message("Help", "The manual Quilvane.pdf is not installed with this build.",
                                         qv::app::Icon::Information);
         }},
        {MenuId::SupDevicesMenu,
         [](MainForm& f, MenuId) { f.showSingle(f.supDevices_, [] { return new SupDevices; }); }},
        {MenuId::MHelpAbout,
         [](MainForm& f, MenuId) {
             QMessageBox::about(&f, "About Quilvane",
                                QString("<b>Quilvane</b><br>Tesselhorn<br>%1").arg(qs(qv::app::GetAboutFormVersion())));
         }},
    };
    static const auto table = [] {
        std::array<MenuHandler, qv::app::kMenuIdCount> t{};
        for (const Row& r : rows) t[static_cast<size_t>(r.id)] = r.run;
        return t;
    }();
    return table;
}

QAction* MainForm::action(MenuId id) const {
    const size_t i = static_cast<size_t>(id);
    return i < actionById_.size() ? actionById_[i] : nullptr;
}

QAction* MainForm::action(const QString& controlName) const {
    const MenuEntry* e = qv::app::FindMenuEntry(controlName.toStdString());
    return e ? action(e->id) : nullptr;
}

QMenu* MainForm::menu(MenuGroup group) const {
    const size_t i = static_cast<size_t>(group);
    return i < menus_.size() ? menus_[i] : nullptr;
}

void MainForm::buildMenus() {
    // The menus of the bar in table order; the popup menus stand outside it
    // (the hidden POPUPS menu).
    for (const qv::app::MenuGroupRow& g : qv::app::MenuGroups()) {
        QMenu* m = g.popup ? new QMenu(g.caption, this) : menuBar()->addMenu(g.caption);
        m->setObjectName(g.control);
        menus_[static_cast<size_t>(g.group)] = m;
    }
    std::array<QActionGroup*, static_cast<size_t>(MenuGroup::Count)> checkGroups = {};
    const auto& handlers = menuHandlers();
    for (const MenuEntry& e : qv::app::MenuEntries()) {
        QMenu* parent = menu(e.group);
        if (!parent) continue;
        if (e.separatorBefore) parent->addSeparator();
        QAction* a = nullptr;
        if (e.kind == MenuKind::Submenu) {
            QMenu* sub = parent->addMenu(e.caption);
            if (static_cast<size_t>(e.opens) < menus_.size()) menus_[static_cast<size_t>(e.opens)] = sub;
            a = sub->menuAction();
        } else {
            a = parent->addAction(e.caption);
        }
        a->setObjectName(e.control);
        actionById_[static_cast<size_t>(e.id)] = a;
        if (e.kind == MenuKind::Check) {
            a->setCheckable(true);
            QActionGroup*& exclusive = checkGroups[static_cast<size_t>(e.group)];
            if (!exclusive) exclusive = new QActionGroup(this);
            exclusive->addAction(a);
        }
        if (MenuHandler run = handlers[static_cast<size_t>(e.id)])
            connect(a, &QAction::triggered, this, [this, run, id = e.id] { run(*this, id); });
    }
    buildTracePopup();
}

void MainForm::buildTracePopup() {
    // Zoom and pan are families of entries: each stands in the popup under
    // its table row, and acts on the trace window the popup opened over.
    struct Choice {
        const char* control;
        const char* caption;
    };
    const auto addChoices = [this](MenuId entry, std::initializer_list<Choice> choices, bool zoom) {
        QAction* row = action(entry);
        QMenu* popup = traceMenu();
        if (!row || !popup) return;
        const QList<QAction*> all = popup->actions();
        const qsizetype at = all.indexOf(row);
        QAction* before = at >= 0 && at + 1 < all.size() ? all[at + 1] : nullptr;
        // The table's rows keep their places; the pan family stands apart
        // from the zoom family above it.
        if (!zoom) popup->insertSeparator(before);
        int index = 0;
        for (const Choice& c : choices) {
            auto* a = new QAction(c.caption, popup);
            a->setObjectName(c.control);
            popup->insertAction(before, a);
            connect(a, &QAction::triggered, this, [this, index, zoom] {
                if (TraceForm* w = traceMenuTarget()) zoom ? w->popupZoom(index) : w->popupPan(index);
            });
            ++index;
        }
        // The row itself heads its family.
        QFont f = row->font();
        f.setBold(true);
        row->setFont(f);
    };
    addChoices(MenuId::TMZOOM,
               {{"TMZOOM0", "Zoom X"}, {"TMZOOM1", "Zoom Y"}, {"TMZOOM2", "Zoom XY"}, {"TMZOOM3", "Reset"}}, true);
    addChoices(MenuId::TMPAN, {{"TMPAN0", "Pan X"}, {"TMPAN1", "Pan Y"}, {"TMPAN2", "Pan XY"}}, false);
}

void MainForm::buildCentral() {
    auto* central = new QWidget(this);
    auto* v = new QVBoxLayout(central);
    v->setContentsMargins(0, 0, 0, 0);
    v->setSpacing(0);

    auto* header = new QFrame(central);
    header->setObjectName("Header");
    header->setStyleSheet(
        "#Header { background: qlineargradient(x1:0,y1:0,x2:0,y2:1, stop:0 #ffffff, stop:1 #eef2f7);"
        " border-bottom: 1px solid #cfd8e3; }"
        "#Header QLabel[role=\"caption\"] { color: #5b6b7f; font-size: 8pt; font-weight: 600; letter-spacing: 1px; }");
    auto* h = new QHBoxLayout(header);
    h->setContentsMargins(16, 10, 16, 10);
    h->setSpacing(18);

    auto* lists = new QGridLayout;
    lists->setHorizontalSpacing(14);
    lists->setVerticalSpacing(4);
    auto caption = [header](const QString& text, const QString& name) {
        auto* l = new QLabel(text, header);
        l->setObjectName(name);
        l->setProperty("role", "caption");
        return l;
    };
    DeviceList_ = new QComboBox(header);
    DeviceList_->setObjectName("DeviceList");
    DeviceList_->setMinimumWidth(230);
    DevResourceList_ = new QComboBox(header);
    DevResourceList_->setObjectName("DevResourceList");
    DevResourceList_->setMinimumWidth(200);
    cmbIP_ = new QComboBox(header);
    cmbIP_->setObjectName("cmbIP");
    cmbIP_->setMinimumWidth(120);
    for (QComboBox* c : {DeviceList_, DevResourceList_, cmbIP_}) {
        c->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
        c->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    }
    lblIP_ = caption("COMPUTER NAME", "lblIP");
    lists->addWidget(caption("SELECTED INSTRUMENT", "lblDevice"), 0, 0);
    lists->addWidget(caption("INTERFACE", "lblInterface"), 0, 1);
    lists->addWidget(lblIP_, 0, 2);
    lists->addWidget(DeviceList_, 1, 0);
    lists->addWidget(DevResourceList_, 1, 1);
    lists->addWidget(cmbIP_, 1, 2);
    lists->setColumnStretch(0, 3);
    lists->setColumnStretch(1, 2);
    lists->setColumnStretch(2, 0);  // hidden without a computer name: no room kept
    auto* listBox = new QVBoxLayout;
    listBox->addStretch();
    listBox->addLayout(lists);
    listBox->addStretch();
    h->addLayout(listBox, 1);

    auto* sep = new QFrame(header);
    sep->setFrameShape(QFrame::VLine);
    sep->setStyleSheet("color: #d5dde7;");
    h->addWidget(sep);

    struct Def {
        BigButton kind;
        const char* pic;
        const char* lbl;
        const char* text;
    } defs[] = {{BigButton::Hardcopy, "imgHCBild", "lblHC", "Hardcopy"},
                {BigButton::Trace, "imgTraceBild", "lblTrace", "Trace"},
                {BigButton::FilesInstr, "imgFilesInstrBild", "lblFilesInstr", "Files"},
                {BigButton::Tables, "imgTablesBild", "lblTables", "Tables"},
                {BigButton::Scripts, "imgScriptsBild", "lblScripts", "Scripts"}};
    for (const Def& d : defs) {
        auto* b = new BigButtonWidget(d.kind, d.pic, d.lbl, d.text, header);
        buttons_.insert(static_cast<int>(d.kind), b);
        connect(b, &BigButtonWidget::clicked, this, [this, k = d.kind] { clickBigButton(k); });
        h->addWidget(b);
    }
    v->addWidget(header);

    mdi_ = new WorkArea(central);
    mdi_->setObjectName("MdiArea");
    mdi_->setBackground(QColor(0xe4, 0xe9, 0xf0));
    v->addWidget(mdi_, 1);
    setCentralWidget(central);

    auto onList = [this](int i) {
        if (i >= 0) logic_.DeviceListSelected(i);
    };
    // A new row in any of the three is a choice of the instrument, whether
    // the user or the program sets it.
    connect(DeviceList_, &QComboBox::currentIndexChanged, this, onList);
    connect(DevResourceList_, &QComboBox::currentIndexChanged, this, onList);
    connect(cmbIP_, &QComboBox::currentIndexChanged, this, onList);
    updateIpVisibility();
    statusBar()->showMessage("Starting...");
}

BigButtonWidget* MainForm::bigButton(BigButton b) const { return buttons_.value(static_cast<int>(b)); }

SplashStart* MainForm::startSplash() const { return splash_; }

void MainForm::Start(const std::string& appDataFolder) {
    logic_.Load(appDataFolder);
    loadDone_ = true;
    if (splashGone_) finishStart();
    if (!ctx_.VisaPresent)
        statusBar()->showMessage("No VISA: instrument functions are off.");
    else
        showFoundCount(static_cast<int>(logic_.Rows().size()));
}

void MainForm::showFoundCount(int n) {
    statusBar()->showMessage(n == 1 ? QString("1 instrument found.") : QString("%1 instruments found.").arg(n));
}

void MainForm::SetCaption(const std::string& caption) { setWindowTitle(qs(caption)); }

void MainForm::SetMenuEnabled(MenuId id, bool enabled) {
    if (QAction* a = action(id)) a->setEnabled(enabled);
    // The big buttons look like their menu entries; a click still goes to
    // the capability test, which refuses with its message.
    for (auto it = buttons_.cbegin(); it != buttons_.cend(); ++it)
        if (qv::app::BigButtonEntry(static_cast<BigButton>(it.key())) == id) it.value()->setAvailable(enabled);
}

void MainForm::ClearDeviceLists() {
    QSignalBlocker b1(DeviceList_), b2(DevResourceList_), b3(cmbIP_);
    DeviceList_->clear();
    DevResourceList_->clear();
    cmbIP_->clear();
    updateIpVisibility();
}

void MainForm::AddDeviceRow(const qv::app::DeviceRow& row) {
    QSignalBlocker b1(DeviceList_), b2(DevResourceList_), b3(cmbIP_);
    DeviceList_->addItem(qs(row.text));
    DevResourceList_->addItem(qs(row.resource));
    cmbIP_->addItem(qs(row.computer));
}

void MainForm::ShowDeviceIndex(int index) {
    QSignalBlocker b1(DeviceList_), b2(DevResourceList_), b3(cmbIP_);
    DeviceList_->setCurrentIndex(index);
    DevResourceList_->setCurrentIndex(index);
    cmbIP_->setCurrentIndex(index);
    updateIpVisibility();
}

void MainForm::updateIpVisibility() {
    bool show = !cmbIP_->currentText().isEmpty();
    cmbIP_->setVisible(show);
    lblIP_->setVisible(show);
}

void MainForm::ShowStartSplash() {
    splash_ = new SplashStart(this);
    connect(splash_, &SplashStart::closed, this, [this] {
        splashGone_ = true;
        if (loadDone_) finishStart();
    });
    splash_->ShowSplash();
    source_.SetScanProgress(nullptr, [this](const std::string& t) {
        if (splash_ && !splash_->IsClosing()) splash_->SetStatusText(qs(t));
    });
    qv::app::host().processEvents();
}

void MainForm::finishStart() {
    if (started_) return;
    logic_.EndLoad();
    started_ = true;
    emit startupFinished();
}

void MainForm::SetSearching(bool on) {
    menuBar()->setEnabled(!on);
    if (QWidget* c = centralWidget()) c->setEnabled(!on);
}

void MainForm::StartSplashReady() {
    if (splash_) splash_->ReadyToWork();
}

void MainForm::CheckSkinEntry(int which) {
    int n = 1;
    for (MenuId id : {MenuId::WindowSkins1, MenuId::WindowSkins2, MenuId::WindowSkins3})
        if (QAction* a = action(id)) a->setChecked(n++ == which);
}

void MainForm::showSingle(QPointer<QWidget>& slot, const std::function<QWidget*()>& make) {
    if (!slot) {
        slot = make();
        openChild(slot);
        return;
    }
    // These windows exist once: a second click brings the open one up.
    if (auto* sub = qobject_cast<QMdiSubWindow*>(slot->parentWidget())) {
        sub->showNormal();
        mdi_->setActiveSubWindow(sub);
    }
}

void MainForm::OpenRemoteInterfaces() {
    if (ctx_.VisaPresent) showSingle(editor_, [this] { return makeRemoteEditor(); });
}

QWidget* MainForm::makeRemoteEditor() {
    std::string regEntry = qv::app::ReadIni(ctx_.IniFilePath, qv::app::kVisaSection, "DeviceRegEntry",
                                            qv::app::Value(qv::app::kDeviceRegEntryDefault))
                               .text();
    auto* ed = new VISARscEditor_new(ctx_);
    ed->UpdateList(regEntry);
    connect(ed, &VISARscEditor_new::accepted, this, [this] {
        QPointer<SplashForm> progress = showProgressSplash(false);
        logic_.ShowDeviceSelection(false);
        source_.SetScanProgress(
            [progress](int p) {
                if (progress) progress->SplashSetProgessBar(p);
            },
            [progress](const std::string& t) {
                if (progress) progress->SetStatusText(qs(t));
            });
        // The editor closes first; the search follows once it has gone.
        QTimer::singleShot(0, this, [this, progress] {
            int n = logic_.SearchDevices();
            source_.SetScanProgress(nullptr, nullptr);
            if (progress) progress->ReadyToWork();
            showFoundCount(n);
        });
    });
    return ed;
}

SplashForm* MainForm::showProgressSplash(bool showCancel) {
    // A window of its own, not a child: the main window is disabled while
    // it stands, and its Cancel button must stay usable.
    auto* s = new SplashForm(this);
    progressSplashes_.append(s);
    s->ShowSplash(showCancel);
    return s;
}

QMdiSubWindow* MainForm::openChild(QWidget* w) {
    w->setAttribute(Qt::WA_DeleteOnClose);
    // The window's own size, plus the frame and title the work area adds.
    QSize want = w->size().expandedTo(w->sizeHint());
    QMdiSubWindow* sub = mdi_->addSubWindow(w);
    sub->resize(want + QSize(12, 36));
    sub->setAttribute(Qt::WA_DeleteOnClose);
    sub->setWindowIcon(w->windowIcon().isNull() ? windowIcon() : w->windowIcon());
    sub->show();
    w->setFocus();
    return sub;
}

bool MainForm::selectedRecordNames(std::string& mappedName, std::string& family) const {
    const int i = logic_.ListIndex();
    const auto& rows = logic_.Rows();
    if (i < 0 || i >= static_cast<int>(rows.size())) return false;
    return source_.RecordNames(i, rows[i].resource, mappedName, family);
}

std::string MainForm::CurrentInstrumentField() const {
    std::string mapped, family;
    return selectedRecordNames(mapped, family) ? mapped : std::string();
}

std::string MainForm::CurrentInstrumentName() const {
    std::string mapped, family;
    if (!selectedRecordNames(mapped, family)) return {};
    // A master family has no mapped name of its own: its tag names it.
    return mapped.empty() ? family : mapped;
}

void MainForm::SetCaptionToInstrument(QWidget* window) const {
    std::string name = logic_.ListIndex() < 0 ? std::string("0") : CurrentInstrumentName();
    window->setWindowTitle(qs(name));
}

void MainForm::HotKeyManager(qv::app::HotKeyWindow& window, int keyCode, int modifiers) {
    qv::app::HotKeyManager(ctx_, window, keyCode, modifiers);
}

bool MainForm::HotKeyOf(const QKeyEvent* e, int& keyCode, int& modifiers) {
    int k = e->key();
    if (k == Qt::Key_Return || k == Qt::Key_Enter) keyCode = 13;
    else if (k == Qt::Key_Print) keyCode = 44;
    else if ((k >= Qt::Key_A && k <= Qt::Key_Z) || (k >= Qt::Key_0 && k <= Qt::Key_9)) keyCode = k;
    else return false;
    Qt::KeyboardModifiers m = e->modifiers();
    modifiers = (m & Qt::ShiftModifier ? 1 : 0) | (m & Qt::ControlModifier ? 2 : 0) | (m & Qt::AltModifier ? 4 : 0);
    return true;
}

void MainForm::HotKeyReleased(qv::app::HotKeyWindow& window, const QKeyEvent* e) {
    int code = 0, mods = 0;
    if (HotKeyOf(e, code, mods)) HotKeyManager(window, code, mods);
}

void MainForm::runNewHardcopy() {
    // Some families hand their pictures over as files: the browser fetches them.
    const qv::family::Family* f = qv::family::find(logic_.MyDevType);
    if (f && f->picturesAsFiles) return runNewInstFileBrow();
    auto* form = new HCopyForm(*this);
    openChild(form);
    qv::app::host().processEvents();
    QPointer<HCopyForm> alive(form);
    form->MyVISARsc = logic_.MyVISARsc;
    form->MyDevType = logic_.MyDevType;
    form->MyFirmware = logic_.MyFirmware;
    form->GetHardcopy();
    if (alive && ctx_.CopyImage) alive->CopyPicture();
    // PasteWord waits for the word processor hand-over, which this build lacks.
}
void MainForm::runNewTrace() {
    auto* form = new TraceForm(*this);
    form->state.MyVISARsc = logic_.MyVISARsc;
    form->state.MyDevType = logic_.MyDevType;
    openChild(form);
    qv::app::host().processEvents();
    QPointer<TraceForm> alive(form);
    form->Load();
    if (!alive || alive->gone()) return;
    alive->MyFirmware = logic_.MyFirmware;
    // The export settings once more for the new window (the spreadsheet
    // hand-over belongs to the Update button only).
    alive->onTraceEvent();
}
void MainForm::runNewInstFileBrow() {
    auto* form = new InstFileForm(*this);
    form->MyVISARsc = logic_.MyVISARsc;
    form->MyDevType = logic_.MyDevType;
    const qv::family::Family* f = qv::family::find(logic_.MyDevType);
    form->Separator = f ? f->separator : '\\';
    // Its own height, as far as the work area has room for it.
    QMdiSubWindow* sub = openChild(form);
    sub->resize(sub->size().boundedTo(mdi_->viewport()->size()));
    qv::app::host().processEvents();
    form->Load();
}

InstFileForm* MainForm::fileMenuTarget() const {
    if (fileMenuFor_) return fileMenuFor_;
    // The current child, which stays current while a popup has the focus.
    QMdiSubWindow* sub = mdi_->currentSubWindow();
    return sub ? qobject_cast<InstFileForm*>(sub->widget()) : nullptr;
}

TraceForm* MainForm::traceMenuTarget() const {
    if (traceMenuFor_) return traceMenuFor_;
    QMdiSubWindow* sub = mdi_->currentSubWindow();
    return sub ? qobject_cast<TraceForm*>(sub->widget()) : nullptr;
}

void MainForm::showTraceMenu(TraceForm* form, const QPoint& globalPos) {
    QMenu* m = traceMenu();
    if (!m || !form) return;
    traceMenuFor_ = form;
    // The ticks show the state of the window the menu opens over.
    static const QIcon tick = [] {
        QPixmap pm(16, 16);
        pm.fill(Qt::transparent);
        QPainter p(&pm);
        p.setRenderHint(QPainter::Antialiasing);
        p.setPen(QPen(QColor(40, 60, 90), 2));
        p.drawPolyline(QPolygonF({QPointF(3, 8.5), QPointF(6.5, 12), QPointF(13, 4)}));
        return QIcon(pm);
    }();
    if (QAction* a = action(MenuId::TMPoints)) a->setIcon(form->pointsTicked() ? tick : QIcon());
    if (QAction* a = action(MenuId::TMLine)) a->setIcon(form->lineTicked() ? tick : QIcon());
    m->exec(globalPos);
    traceMenuFor_ = nullptr;
}

void MainForm::showInstFileMenu(InstFileForm* form, const QPoint& globalPos) {
    QMenu* m = instFileMenu();
    if (!m) return;
    fileMenuFor_ = form;
    m->exec(globalPos);
    fileMenuFor_ = nullptr;
}
void MainForm::runInterAct() {
    auto* form = new InterActForm(CurrentInstrumentName());
    form->MyVISARsc = logic_.MyVISARsc;
    form->MyDevType = logic_.MyDevType;
    form->MyFirmware = logic_.MyFirmware;
    openChild(form);
    form->CommandList()->setFocus();
}

void MainForm::runRawRead() {
    // The run takes the selection of its own moment, not of the opening.
    openChild(new RawForm(CurrentInstrumentName(), [this] { return logic_.MyVISARsc; }));
}

void MainForm::runStatusReport(StatusReport which) {
    qv::app::host().busy(true);
    const qv::automation::StatusText report = qv::automation::ReadStatusReport(which, logic_.MyVISARsc);
    qv::app::host().busy(false);
    auto* form = new TextForm;
    form->setWindowTitle(qs(report.title + CurrentInstrumentName()));
    form->UpdateDisplay(report.text);
    openChild(form);
}

void MainForm::runSetClock() {
    const std::time_t now = std::time(nullptr);
    // A refusal has told the user itself.
    if (!qv::automation::SetInstrumentClock(logic_.MyVISARsc, now)) return;
    char at[16] = {};
    std::tm local{};
    localtime_r(&now, &local);
    std::strftime(at, sizeof at, "%H:%M:%S", &local);
    statusBar()->showMessage(QString("Instrument clock set to %1.").arg(at), 5000);
}

void MainForm::runNewInstTables() {
    auto* form = new TableForm(*this);
    form->MyVISARsc = logic_.MyVISARsc;
    form->MyDevType = logic_.MyDevType;
    form->MyFirmware = logic_.MyFirmware;
    openChild(form);
}

void MainForm::runUserCorrection() {
    auto* form = new UCorForm(CurrentInstrumentName());
    form->MyVISARsc = logic_.MyVISARsc;
    form->MyDevType = logic_.MyDevType;
    form->MyFirmware = logic_.MyFirmware;
    openChild(form);
}

void MainForm::runDemodReport() {
    auto* form = new ReportForm(this);
    form->setObjectName("DemodReport");
    form->setWindowTitle(qs("Result Report - " + CurrentInstrumentName()));
    form->MyVISARsc = logic_.MyVISARsc;
    form->MyDevType = logic_.MyDevType;
    form->MyFirmware = logic_.MyFirmware;
    // The update hot key reads the summary again; the action lives in the
    // window it acts on.
    auto update = [form] {
        qv::app::host().busy(true);
        const bool read =
            qv::tables::UpdateResultReport(form->MyVISARsc, form->MyDevType, form->RTFReport(), form->RTFBuf);
        qv::app::host().busy(false);
        return read;
    };
    form->setUpdateAction([update] { update(); });
    QPointer<ReportForm> alive(form);
    openChild(form);
    qv::app::host().processEvents();
    // An instrument in another mode has nothing to report: say why the
    // window stays empty.
    const bool read = alive && update();
    if (alive) {
        RichTextEdit& box = alive->RTFReport();
        // One tab stop past the longest label keeps the values in one
        // column, whatever font stands in for the report's (10 points).
        QFont font = box.fontName().empty() ? box.font() : QFont(qs(box.fontName()));
        font.setPointSizeF(10);
        const QFontMetricsF metrics(font);
        qreal labelWidth = 0;
        for (const char* label : qv::tables::ResultLabels())
            labelWidth = std::max(labelWidth, metrics.horizontalAdvance(QString::fromUtf8(label)));
        box.setTabStopDistance(labelWidth + 16);
        // The composer leaves the view at the end; a report is read from the top.
        box.moveCursor(QTextCursor::Start);
    }
    if (alive && !read)
        statusBar()->showMessage(
            "No demodulation result summary: the instrument must be in digital demodulation (DDEM) with a "
            "modulation other than FSK. Press the update key when it is.",
            8000);
}
void MainForm::runNewInstScripts() {
    auto* form = new ScriptForm(*this);
    form->MyVISARsc = logic_.MyVISARsc;
    form->MyDevType = logic_.MyDevType;
    form->MyFirmware = logic_.MyFirmware;
    openChild(form);
    form->Load();
}

void MainForm::clickBigButton(BigButton b) {
    if (!logic_.BigButtonClicked(b)) return;
    switch (b) {
        case BigButton::Hardcopy: runNewHardcopy(); break;
        case BigButton::Trace: runNewTrace(); break;
        case BigButton::FilesInstr: runNewInstFileBrow(); break;
        case BigButton::Tables: runNewInstTables(); break;
        case BigButton::Scripts: runNewInstScripts(); break;
    }
}

void MainForm::chooseSaveFolder() {
    std::string f = qv::app::BrowseFolder("Path to store hardcopies and trace data", ctx_.SaveFolder);
    if (!f.empty()) ctx_.SaveFolder = f;
}

void MainForm::arrange(int mode) {
    QList<QMdiSubWindow*> wins = mdi_->subWindowList();
    if (mode == 0) return mdi_->cascadeSubWindows();
    if (mode == 3) {
        // Minimised windows in a row along the bottom.
        int x = 0;
        for (QMdiSubWindow* w : wins)
            if (w->isMinimized()) {
                w->move(x, mdi_->viewport()->height() - w->height());
                x += w->width();
            }
        return;
    }
    QList<QMdiSubWindow*> open;
    for (QMdiSubWindow* w : wins)
        if (!w->isMinimized()) open << w;
    if (open.isEmpty()) return;
    QRect area = mdi_->viewport()->rect();
    int n = open.size();
    for (int i = 0; i < n; ++i) {
        open[i]->showNormal();
        if (mode == 1)  // one above the other
            open[i]->setGeometry(0, area.height() * i / n, area.width(), area.height() / n);
        else  // side by side
            open[i]->setGeometry(area.width() * i / n, 0, area.width() / n, area.height());
    }
}

void MainForm::closeEvent(QCloseEvent* e) {
    // A child whose action is still running (a continuous trace, a
    // hardcopy, a script) defers its own close and ends that action first.
    // The main window waits for it, hidden, instead of being deleted under
    // the child's loop.
    bool waiting = false;
    for (QMdiSubWindow* sub : mdi_->subWindowList())
        if (!sub->close()) waiting = true;
    if (waiting) {
        hide();
        e->ignore();
        QTimer::singleShot(50, this, &QWidget::close);
        return;
    }
    if (!exiting_) {
        exiting_ = true;
        logic_.Exit();
    }
    e->accept();
    QCoreApplication::quit();
}

}  // namespace qv::ui
