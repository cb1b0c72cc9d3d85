#include "ui/inst_file_form.h"

#include "app/context.h"
#include "app/error_messages.h"
#include "app/host.h"
#include "app/version.h"
#include "families/registry.h"
#include "file_browser/file_ops.h"
#include "instrument_io/vif.h"
#include "ui/hcopy_form.h"
#include "ui/icons.h"
#include "ui/main_form.h"
#include "ui/qt_host.h"

#include <QCloseEvent>
#include <QComboBox>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QListView>
#include <QLocale>
#include <QMdiSubWindow>
#include <QMimeData>
#include <QProgressBar>
#include <QAbstractTableModel>
#include <QTimer>
#include <QToolBar>
#include <QToolButton>
#include <QTreeView>
#include <QTreeWidget>
#include <QUrl>
#include <QVBoxLayout>

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace qv::ui {

namespace fb = qv::file_browser;
using qv::app::host;

// ---------------------------------------------------------------- the list

// The rows of the list: a name and a size text each, shown by both views.
// A listing replaces them all in one reset, so that a folder of thousands
// of entries costs the views one layout, not one per row.
class FileRowsModel : public QAbstractTableModel {
public:
    using QAbstractTableModel::QAbstractTableModel;

    void setRows(QVector<QPair<QString, QString>> rows) {
        beginResetModel();
        rows_ = std::move(rows);
        endResetModel();
    }
    void append(const QString& name, const QString& sizeText) {
        beginInsertRows({}, int(rows_.size()), int(rows_.size()));
        rows_.append({name, sizeText});
        endInsertRows();
    }
    QString name(int row) const { return rows_[row].first; }
    QString sizeText(int row) const { return rows_[row].second; }

    int rowCount(const QModelIndex& parent = {}) const override { return parent.isValid() ? 0 : int(rows_.size()); }
    int columnCount(const QModelIndex& parent = {}) const override { return parent.isValid() ? 0 : 2; }
    QVariant data(const QModelIndex& index, int role) const override {
        if (!index.isValid() || index.row() >= int(rows_.size())) return {};
        const auto& [name, size] = rows_[index.row()];
        const bool first = index.column() == 0;
        switch (role) {
        case Qt::DisplayRole: return first ? name : size;
        case Qt::DecorationRole: {
            if (!first) return {};
            static const QIcon folder(FilePicture(FileGlyph::Folder, 32));
            static const QIcon file(FilePicture(FileGlyph::File, 32));
            return size == "DIR" ? folder : file;
        }
        case Qt::ToolTipRole: return QString(name + "  " + size);
        case Qt::TextAlignmentRole:
            return first ? QVariant() : QVariant(int(Qt::AlignRight | Qt::AlignVCenter));
        default: return {};
        }
    }
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override {
        if (orientation != Qt::Horizontal || role != Qt::DisplayRole) return {};
        return section == 0 ? QStringLiteral("FILE") : QStringLiteral("SIZE");
    }

private:
    QVector<QPair<QString, QString>> rows_;
};


InstFileList::InstFileList(QWidget* parent) : QStackedWidget(parent) {
    setObjectName("InstFiles");
    setAcceptDrops(true);
    model_ = new FileRowsModel(this);

    list_ = new QListView(this);
    list_->setObjectName("InstFilesIcons");
    list_->setModel(model_);
    details_ = new QTreeView(this);
    details_->setObjectName("InstFilesDetails");
    details_->setModel(model_);
    // One selection for both views: the selected row survives a mode change.
    QItemSelectionModel* own = details_->selectionModel();
    details_->setSelectionModel(list_->selectionModel());
    delete own;
    details_->setRootIsDecorated(false);
    details_->setItemsExpandable(false);
    details_->setUniformRowHeights(true);
    details_->setSortingEnabled(false);
    details_->setAlternatingRowColors(true);
    details_->header()->setSectionsClickable(false);
    details_->header()->setStretchLastSection(false);
    details_->header()->setSectionResizeMode(0, QHeaderView::Stretch);
    details_->header()->setSectionResizeMode(1, QHeaderView::ResizeToContents);
    details_->setIconSize(QSize(16, 16));

    for (QAbstractItemView* v : {static_cast<QAbstractItemView*>(list_), static_cast<QAbstractItemView*>(details_)}) {
        v->setEditTriggers(QAbstractItemView::NoEditTriggers);
        v->setSelectionMode(QAbstractItemView::SingleSelection);
        v->setSelectionBehavior(QAbstractItemView::SelectRows);
        v->setDragDropMode(QAbstractItemView::NoDragDrop);
        v->installEventFilter(this);
        v->viewport()->installEventFilter(this);
        connect(v, &QAbstractItemView::doubleClicked, this, [this](const QModelIndex& i) {
            if (i.isValid()) emit rowDoubleClicked(i.row());
        });
        addWidget(v);
    }
    setViewMode(Details);
}

void InstFileList::setViewMode(int mode) {
    if (mode < Tiles || mode > Details) return;
    mode_ = mode;
    if (mode == Details) {
        setCurrentWidget(details_);
        return;
    }
    switch (mode) {
        case Tiles:
            // Big pictures with the name beside them, row after row.
            list_->setViewMode(QListView::ListMode);
            list_->setFlow(QListView::LeftToRight);
            list_->setIconSize(QSize(32, 32));
            list_->setGridSize(QSize(210, 44));
            list_->setWordWrap(false);
            break;
        case Icons:
            list_->setViewMode(QListView::IconMode);
            list_->setIconSize(QSize(32, 32));
            list_->setGridSize(QSize(104, 72));
            list_->setWordWrap(true);
            break;
        default:  // List: small pictures in columns
            list_->setViewMode(QListView::ListMode);
            list_->setFlow(QListView::TopToBottom);
            list_->setIconSize(QSize(16, 16));
            list_->setGridSize(QSize());
            list_->setWordWrap(false);
            break;
    }
    list_->setWrapping(true);
    list_->setResizeMode(QListView::Adjust);
    // Rows stay where the listing put them, and the view takes no drops:
    // those go to this widget.
    list_->setMovement(QListView::Static);
    list_->setAcceptDrops(false);
    list_->viewport()->setAcceptDrops(false);
    setCurrentWidget(list_);
}

QAbstractItemView* InstFileList::currentView() const {
    return mode_ == Details ? static_cast<QAbstractItemView*>(details_) : list_;
}

void InstFileList::clearRows() { model_->setRows({}); }

void InstFileList::addRow(const QString& name, const QString& sizeText) { model_->append(name, sizeText); }

void InstFileList::setRows(QVector<QPair<QString, QString>> rows) { model_->setRows(std::move(rows)); }

int InstFileList::rowCount() const { return model_->rowCount(); }

QString InstFileList::rowText(int row) const {
    return row >= 0 && row < rowCount() ? model_->name(row) : QString();
}

QString InstFileList::sizeText(int row) const {
    return row >= 0 && row < rowCount() ? model_->sizeText(row) : QString();
}

int InstFileList::selectedRow() const {
    const QModelIndexList rows = list_->selectionModel()->selectedRows();
    return rows.isEmpty() ? -1 : rows.first().row();
}

void InstFileList::selectRow(int row) {
    QItemSelectionModel* sel = list_->selectionModel();
    if (row < 0 || row >= rowCount()) {
        sel->clearSelection();
        return;
    }
    sel->setCurrentIndex(model_->index(row, 0), QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
}

bool InstFileList::eventFilter(QObject* o, QEvent* e) {
    if (e->type() == QEvent::KeyRelease && (o == list_ || o == details_)) {
        // The Delete key; Backspace is left alone, as it means "back" to
        // many users and a slip would cost a file.
        if (static_cast<QKeyEvent*>(e)->key() == Qt::Key_Delete) {
            emit deleteKeyReleased();
            return true;
        }
    } else if (e->type() == QEvent::MouseButtonRelease && (o == list_->viewport() || o == details_->viewport())) {
        auto* m = static_cast<QMouseEvent*>(e);
        if (m->button() == Qt::RightButton) {
            emit rightButtonReleased(m->globalPosition().toPoint());
            return true;
        }
    }
    return QStackedWidget::eventFilter(o, e);
}

namespace {
QStringList localFiles(const QMimeData* mime) {
    QStringList out;
    if (!mime || !mime->hasUrls()) return out;
    for (const QUrl& u : mime->urls())
        if (u.isLocalFile()) out << u.toLocalFile();
    return out;
}
}  // namespace

void InstFileList::dragEnterEvent(QDragEnterEvent* e) {
    if (localFiles(e->mimeData()).isEmpty()) return e->ignore();
    e->setDropAction(Qt::CopyAction);
    e->accept();
}

void InstFileList::dragMoveEvent(QDragMoveEvent* e) {
    if (localFiles(e->mimeData()).isEmpty()) return e->ignore();
    e->setDropAction(Qt::CopyAction);
    e->accept();
}

void InstFileList::dropEvent(QDropEvent* e) {
    const QStringList files = localFiles(e->mimeData());
    if (files.isEmpty()) return e->ignore();
    e->setDropAction(Qt::CopyAction);
    e->accept();
    emit filesDropped(files);
}

// ---------------------------------------------------------------- the window


InstFileForm::InstFileForm(MainForm& main, QWidget* parent) : QWidget(parent), main_(main) {
    setObjectName("InstFileForm");
    setWindowTitle("Instrument Files - " + main_.deviceList()->currentText());
    setWindowIcon(QIcon(FilePicture(FileGlyph::Folder, 32)));
    auto* lay = new QVBoxLayout(this);
    lay->setContentsMargins(6, 6, 6, 6);
    lay->setSpacing(6);

    bar_ = new QToolBar(this);
    bar_->setObjectName("ButtonBar");
    bar_->setIconSize(QSize(24, 24));
    bar_->setToolButtonStyle(Qt::ToolButtonTextUnderIcon);
    addButton("MkDir", "New Folder", "Make a folder on the instrument", int(ToolGlyph::NewFolder));
    addButton("Delete", "Delete", "Delete the selected file or folder", int(ToolGlyph::Delete));
    bar_->addSeparator();
    addButton("Open", "Open", "Fetch the selected file and show it", int(ToolGlyph::Open));
    addButton("Save", "Save", "Fetch the selected file into a file of yours", int(ToolGlyph::Save));
    bar_->addSeparator();
    addButton("Refresh", "Refresh", "List the folder again", int(ToolGlyph::Update));
    lay->addWidget(bar_);

    auto* where = new QHBoxLayout;
    drives_ = new QComboBox(this);
    drives_->setObjectName("InstDrives");
    drives_->setMinimumWidth(110);
    drives_->setToolTip("Drive");
    where->addWidget(drives_);
    path_ = new QLabel(this);
    path_->setObjectName("InstPath");
    path_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    path_->setFrameShape(QFrame::StyledPanel);
    path_->setMinimumWidth(120);
    path_->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    where->addWidget(path_, 1);
    lay->addLayout(where);

    files_ = new InstFileList(this);
    files_->setToolTip("Double-click a folder to open it; drop files here to send them to the instrument");
    lay->addWidget(files_, 1);

    // Navigation does not use it: it only carries the root node of a
    // listing, so it stays out of sight.
    tree_ = new QTreeWidget(this);
    tree_->setObjectName("TreeView");
    tree_->setHeaderHidden(true);
    tree_->hide();
    lay->addWidget(tree_);

    progress_ = new QProgressBar(this);
    progress_->setObjectName("Progress");
    progress_->setRange(0, 100);
    progress_->setValue(0);
    progress_->setTextVisible(false);
    progress_->setMaximumHeight(10);
    lay->addWidget(progress_);

    connect(drives_, &QComboBox::activated, this, &InstFileForm::chooseDrive);
    connect(files_, &InstFileList::rowDoubleClicked, this, &InstFileForm::doubleClickRow);
    connect(files_, &InstFileList::deleteKeyReleased, this, [this] { DeleteSelected(true); });
    connect(files_, &InstFileList::rightButtonReleased, this,
            [this](const QPoint& at) { main_.showInstFileMenu(this, at); });
    connect(files_, &InstFileList::filesDropped, this, [this](const QStringList& list) {
        std::vector<std::string> files;
        for (const QString& f : list) files.push_back(ss(f));
        SendFiles(files);
    });
    // 7930 by 9200 twips.
    resize(530, 615);
}

InstFileForm::~InstFileForm() = default;

QToolButton* InstFileForm::addButton(const QString& name, const QString& caption, const QString& tip, int glyph) {
    auto* b = new QToolButton(bar_);
    b->setObjectName(name);
    b->setText(caption);
    b->setToolTip(tip);
    b->setIcon(QIcon(ToolPicture(ToolGlyph(glyph), 32)));
    b->setToolButtonStyle(Qt::ToolButtonTextUnderIcon);
    b->setAutoRaise(true);
    b->setMinimumWidth(64);
    bar_->addWidget(b);
    connect(b, &QToolButton::clicked, this, [this, name] { toolbarClicked(name); });
    return b;
}

QToolButton* InstFileForm::button(const QString& objectName) const { return bar_->findChild<QToolButton*>(objectName); }

const family::Family& InstFileForm::family() const {
    // A tag the registry does not know: full paths and no drives.
    static const family::Family none{};
    const family::Family* f = family::find(MyDevType);
    return f ? *f : none;
}

std::string InstFileForm::currentPath() const { return ss(path_->text()); }

QString InstFileForm::SizeText(const fb::InstFileEntry& entry) {
    if (entry.IsDir) return "DIR";
    if (entry.Size == -1) return "N/A";
    return QLocale().toString(qlonglong(entry.Size / 1024)) + " KB";
}

void InstFileForm::Load() {
    RunningAction::Scope r(action_, WindowFrame(this));
    const std::string start = RefreshDrives();
    DirRefr(start);
    const family::Family& f = family();
    path_->setText(qs(fb::startPath(f)));
    // A family that keeps its pictures as files opens in its print folder.
    // An instrument that could not be opened or did not answer has been
    // reported already and is not asked a second time.
    if (f.picturesAsFiles && !unreachable_) DirRefr();
}

std::string InstFileForm::RefreshDrives() {
    QSignalBlocker block(drives_);
    drives_->clear();
    const family::Family* f = family::find(MyDevType);
    if (!f || f->drives.empty()) return {};
    static const QIcon drive(FilePicture(FileGlyph::Drive, 32));
    for (std::string_view d : f->drives) drives_->addItem(drive, QString::fromUtf8(d.data(), qsizetype(d.size())));
    // The last drive is shown whichever the start drive is.
    drives_->setCurrentIndex(drives_->count() - 1);
    return std::string(f->startDrive);
}

bool InstFileForm::openDevice() {
    unreachable_ = false;
    auto vif = std::make_unique<io::VIF>();
    vif->VIFProgress = [this](float percent) {
        progress_->setValue(std::clamp(int(percent), 0, 100));
        progress_->repaint();
    };
    vif->VIFSCPIError = [this](const std::string& command, const std::string& error) {
        app::ShowSCPIError(MyVISARsc, MyDevType, command, error);
    };
    // The session of the last operation closes here.
    device_ = std::move(vif);
    if (!device_->OpenDevice(MyVISARsc, true, false, 1000, true)) {
        const std::string failure = qv::io::OpenFailureText(MyVISARsc, *device_);
        device_.reset();
        unreachable_ = true;
        host().message("Instrument Files",
                       failure +
                           "\r\nCheck that it is switched on and connected and that its address is right, "
                           "then choose Refresh.",
                       app::Icon::Warning);
        return false;
    }
    device_->ConfigErrorProcessor(app::context().ErrorPollDefault, false);
    return true;
}

bool InstFileForm::DirRefr(const std::string& path) {
    RunningAction::Scope r(action_, WindowFrame(this));
    const std::string folder = path.empty() ? currentPath() : fb::folderToList(path, Separator);
    if (!openDevice()) return false;
    std::vector<fb::InstFileEntry> listed;
    bool empty = true;
    std::string unanswered;
    const bool ok = fb::ListDirectory(*device_, MyDevType, folder, listed, empty, &unanswered);
    if (!unanswered.empty()) {
        // A silent instrument is not an empty folder: the old rows stay. A
        // listing that failed on it has already said what it says.
        device_.reset();
        unreachable_ = true;
        if (ok)
            host().message("Instrument Files",
                           "The instrument did not answer \"" + unanswered + "\", so the folder " + folder +
                               " could not be listed.\r\nCheck that " + MyVISARsc +
                               " is switched on and connected, then choose Refresh.",
                           app::Icon::Warning);
        return false;
    }
    if (!ok) return false;
    entries_ = std::move(listed);
    redraw(empty);
    device_->SetRENState(6);
    return true;
}

void InstFileForm::redraw(bool empty) {
    files_->clearRows();
    tree_->clear();
    if (empty) return;
    auto* root = new QTreeWidgetItem(tree_, {"Root"});
    root->setData(0, Qt::UserRole, "Root");
    root->setExpanded(true);
    QVector<QPair<QString, QString>> rows;
    rows.reserve(qsizetype(entries_.size()));
    for (const fb::InstFileEntry& e : entries_) rows.append({qs(e.Name), SizeText(e)});
    files_->setRows(std::move(rows));
}

void InstFileForm::doubleClickRow(int row) {
    if (action_.running() || row < 0 || row >= files_->rowCount()) return;
    RunningAction::Scope r(action_, WindowFrame(this));
    const std::string name = ss(files_->rowText(row));
    const bool isDir = files_->sizeText(row) == "DIR";
    host().busy(true);
    host().processEvents();
    if (isDir && !action_.closeAsked()) {
        const std::string here = currentPath();
        path_->setText(qs(name == ".." ? fb::parentPath(here, Separator) : fb::childPath(here, name, Separator)));
        DirRefr();
    }
    host().busy(false);
}

void InstFileForm::chooseDrive(int index) {
    if (action_.running() || index < 0 || index >= drives_->count()) return;
    RunningAction::Scope r(action_, WindowFrame(this));
    const std::string drive = ss(drives_->itemText(index));
    host().busy(true);
    host().processEvents();
    if (!action_.closeAsked()) {
        path_->setText(qs(drive + Separator));
        DirRefr();
    }
    host().busy(false);
}

void InstFileForm::setViewMode(int mode) { files_->setViewMode(mode); }

void InstFileForm::toolbarClicked(const QString& tag) {
    if (tag == "Refresh") {
        if (!action_.running()) DirRefr();
    } else if (tag == "MkDir") {
        MakeFolder();
    } else if (tag == "Delete") {
        DeleteSelected(false);
    } else if (tag == "Open") {
        OpenFile(true);
    } else if (tag == "Save") {
        OpenFile(false);
    }
}

namespace {

void openInShell(const std::string& file) {
    if (host().openWithShell(file)) return;
    host().message("DISPLAY FILE",
                   "No program is set to open " + file +
                       ".\r\nThe file stays there; open it with a program of your choice.",
                   app::Icon::Information);
}

}  // namespace

void InstFileForm::OpenFile(bool Display) {
    const int row = files_->selectedRow();
    // Only a file can be fetched.
    if (action_.running() || row < 0 || files_->sizeText(row) == "DIR") return;
    RunningAction::Scope r(action_, WindowFrame(this));
    const family::Family& f = family();
    const std::string path = currentPath();
    const std::string name = ss(files_->rowText(row));
    const fb::FetchNames names = fb::fetchNames(f, path, name);

    std::string target;
    if (!Display) {
        const std::string filter =
            names.extension.empty() ? std::string("All files (*)") : "*." + names.extension + ";;All files (*)";
        target = host().saveFileName("Save instrument file as", app::context().SaveFolder, names.baseName, filter);
        // A cancelled dialog fetches nothing.
        if (target.empty()) return;
    }
    const bool temporary = target.empty();
    if (temporary) {
        target = fb::temporaryTarget(names.extension);
        if (target.empty()) {
            host().message("ERROR", "No temporary file could be made for " + name + ".", app::Icon::Critical);
            return;
        }
    }
    std::error_code ec;
    if (!openDevice()) {
        if (temporary) std::filesystem::remove(target, ec);
        return;
    }
    progress_->setValue(0);
    const fb::FetchResult got = fb::fetchFile(*device_, fb::readCommand(f, path, name), target, 40000);
    device_->TimeOut(5000);
    device_.reset();
    if (got == fb::FetchResult::Failed) {
        // The temporary file was made empty beforehand; it holds nothing.
        if (temporary) std::filesystem::remove(target, ec);
        host().message("ERROR", "FILE COULD NOT BE LOADED!", app::Icon::Critical);
        return;
    }
    if (got == fb::FetchResult::Empty) {
        host().message("EMPTY FILE", "File is empty (size 0 Byte).", app::Icon::Information);
        return;
    }
    if (Display) {
        if (f.picturesAsFiles) {
            auto* view = new HCopyForm(main_);
            view->MyVISARsc = MyVISARsc;
            view->MyDevType = MyDevType;
            main_.openChild(view);
            view->showPictureFile(target);
        } else {
            openInShell(target);
        }
        return;
    }
    if (host().message("DISPLAY FILE?", "File stored in " + target + "\r\nDisplay it?", app::Icon::Question,
                       app::Buttons::YesNo) == app::Answer::Yes)
        openInShell(target);
}

void InstFileForm::MakeFolder() {
    if (action_.running()) return;
    RunningAction::Scope r(action_, WindowFrame(this));
    if (!openDevice()) return;
    std::string name = "New Folder";
    if (host().input("DIRECTORY NAME", "Directory Name:", name) && !name.empty())
        device_->WriteString(fb::makeFolderCommand(family(), currentPath(), name), 0);
    DirRefr();
    device_.reset();
}

void InstFileForm::DeleteSelected(bool byKey) {
    const int row = files_->selectedRow();
    if (action_.running() || row < 0) return;
    RunningAction::Scope r(action_, WindowFrame(this));
    if (!openDevice()) return;
    const std::string path = currentPath();
    const std::string name = ss(files_->rowText(row));
    const bool isDir = files_->sizeText(row) == "DIR";
    const std::string question = (isDir ? "Delete directory " : "Delete ") + path + name + "?";
    if (host().message(QV_PRODUCT_NAME, question, app::Icon::Critical, app::Buttons::YesNoCancel) == app::Answer::Yes)
        device_->WriteString(fb::removeCommand(family(), path, name, isDir, byKey), 0);
    DirRefr();
    device_.reset();
}

void InstFileForm::SendFiles(const std::vector<std::string>& files) {
    if (action_.running() || files.empty()) return;
    RunningAction::Scope r(action_, WindowFrame(this));
    host().busy(true);
    host().processEvents();
    if (!action_.closeAsked() && openDevice()) {
        const std::string path = currentPath();
        std::error_code ec;
        for (const std::string& file : files)
            // A dropped folder is no file to send.
            if (std::filesystem::is_regular_file(file, ec)) fb::sendFile(*device_, path, file);
        DirRefr();
    }
    host().busy(false);
    host().processEvents();
}

void InstFileForm::keyReleaseEvent(QKeyEvent* e) {
    main_.HotKeyReleased(*this, e);
    QWidget::keyReleaseEvent(e);
}

void InstFileForm::closeEvent(QCloseEvent* e) {
    if (action_.deferClose(WindowFrame(this), e)) return;
    e->accept();
}

}  // namespace qv::ui
