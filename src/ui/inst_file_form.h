// InstFileForm: the child window in which the user walks an instrument's
// file system, fetches files, sends local ones by drag and drop, and makes
// and removes folders. The folder knowledge (listings, commands, paths)
// lives in src/file_browser; this class draws, asks and wires.
#pragma once

#include "app/main_window.h"
#include "file_browser/listing.h"
#include "ui/running_action.h"

#include <QStackedWidget>
#include <QWidget>

#include <memory>
#include <string>
#include <vector>

class QAbstractItemView;
class QComboBox;
class QLabel;
class QListView;
class QProgressBar;
class QToolBar;
class QToolButton;
class QTreeView;
class QTreeWidget;

namespace qv::io {
class VIF;
}
namespace qv::family {
struct Family;
}

namespace qv::ui {

class MainForm;
class FileRowsModel;

// The list of the current folder ("InstFiles"): columns FILE and SIZE, rows
// in listing order, and four ways of showing them. The details mode is a
// tree view, the others a list view; both show one model and one selection.
class InstFileList : public QStackedWidget {
    Q_OBJECT
public:
    enum ViewMode { Tiles = 0, Icons = 1, List = 2, Details = 3 };

    explicit InstFileList(QWidget* parent = nullptr);

    void setViewMode(int mode);
    int viewMode() const { return mode_; }
    // The view that shows the rows in the current mode.
    QAbstractItemView* currentView() const;
    QListView* listView() const { return list_; }
    QTreeView* detailsView() const { return details_; }

    void clearRows();
    void addRow(const QString& name, const QString& sizeText);
    // Replaces every row at once.
    void setRows(QVector<QPair<QString, QString>> rows);
    int rowCount() const;
    QString rowText(int row) const;
    QString sizeText(int row) const;
    // The selected row, -1 without one.
    int selectedRow() const;
    void selectRow(int row);

signals:
    void rowDoubleClicked(int row);
    void deleteKeyReleased();
    void rightButtonReleased(const QPoint& globalPos);
    // Local files dropped on the list, as absolute paths in drop order.
    void filesDropped(const QStringList& files);

protected:
    bool eventFilter(QObject* o, QEvent* e) override;
    void dragEnterEvent(QDragEnterEvent* e) override;
    void dragMoveEvent(QDragMoveEvent* e) override;
    void dropEvent(QDropEvent* e) override;

private:
    FileRowsModel* model_ = nullptr;
    QListView* list_ = nullptr;
    QTreeView* details_ = nullptr;
    int mode_ = Details;
};

class InstFileForm : public QWidget, public qv::app::HotKeyWindow {
    Q_OBJECT
public:
    explicit InstFileForm(MainForm& main, QWidget* parent = nullptr);
    ~InstFileForm() override;

    // Set by the main window before Load.
    std::string MyVISARsc, MyDevType;
    char Separator = '\\';

    // The window's start: the drive box, the first listing, and for a
    // family that hands its pictures over as files its print folder.
    void Load();

    // Refills the drive box for MyDevType; returns the drive to start on.
    std::string RefreshDrives();
    // Lists a folder (empty: the one in the path label) and redraws the
    // list. False when nothing was redrawn; the label may have moved.
    bool DirRefr(const std::string& path = {});
    // Fetches the selected file: to a file the user names (Display false)
    // or to a temporary one that is then shown.
    void OpenFile(bool Display);
    void MakeFolder();
    // Deletes the selected row after asking; byKey: the keyboard's delete,
    // which always names the full path.
    void DeleteSelected(bool byKey);
    // Sends local files into the current folder, then lists it once.
    void SendFiles(const std::vector<std::string>& files);
    // A double click on a row: into a folder, or up for "..".
    void doubleClickRow(int row);
    // A choice in the drive box.
    void chooseDrive(int index);
    void setViewMode(int mode);

    // The path label's text: the current folder.
    std::string currentPath() const;
    QLabel* InstPath() const { return path_; }
    QComboBox* InstDrives() const { return drives_; }
    InstFileList* InstFiles() const { return files_; }
    QTreeWidget* TreeView() const { return tree_; }
    QProgressBar* Progress() const { return progress_; }
    QToolButton* button(const QString& objectName) const;
    // The listing last drawn.
    const std::vector<qv::file_browser::InstFileEntry>& entries() const { return entries_; }
    // An operation is running (its events may let clicks through).
    bool running() const { return action_.running(); }

    // HotKeyWindow
    std::string Tag() const override { return "INSTFILE"; }
    void Update() override { OpenFile(false); }

    // The size text of a row: "DIR", "N/A" for an unknown size, else whole
    // KiB with the user's digit grouping and " KB".
    static QString SizeText(const qv::file_browser::InstFileEntry& entry);

protected:
    void keyReleaseEvent(QKeyEvent* e) override;
    void closeEvent(QCloseEvent* e) override;

private:
    // One operation at a time; a close asked for meanwhile waits for its end.
    QToolButton* addButton(const QString& name, const QString& caption, const QString& tip, int glyph);
    // A new session for one operation, opened and configured; false (after
    // telling the user) when the instrument cannot be opened.
    bool openDevice();
    void toolbarClicked(const QString& tag);
    void redraw(bool empty);
    const qv::family::Family& family() const;

    MainForm& main_;
    QLabel* path_ = nullptr;
    QComboBox* drives_ = nullptr;
    InstFileList* files_ = nullptr;
    QTreeWidget* tree_ = nullptr;
    QToolBar* bar_ = nullptr;
    QProgressBar* progress_ = nullptr;
    std::unique_ptr<qv::io::VIF> device_;
    std::vector<qv::file_browser::InstFileEntry> entries_;
    RunningAction action_;
    // The last operation could not open the instrument or got no answer.
    bool unreachable_ = false;
};

}  // namespace qv::ui
