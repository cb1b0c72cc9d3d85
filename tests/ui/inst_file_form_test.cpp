// The instrument file browser against simulated instruments, offscreen and
// through the real VISA layer: what it lists, how it walks, and what each
// file operation sends (read back from the simulator's wire log) and leaves
// on both sides.
#include "ui/hcopy_form.h"
#include "ui/inst_file_form.h"
#include "ui/main_form.h"
#include "scripted_host.h"
#include "ui_fixtures.h"

#include <QAction>
#include <QComboBox>
#include <QImage>
#include <QKeyEvent>
#include <QLabel>
#include <QListView>
#include <QLocale>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMenu>
#include <QMimeData>
#include <QProgressBar>
#include <QMouseEvent>
#include <QTimer>
#include <QToolButton>
#include <QTreeView>
#include <QTreeWidget>
#include <QUrl>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>

namespace {

namespace fs = std::filesystem;
using qv::app::Answer;
using qv::ui::InstFileForm;
using qvtest::App;
using qvtest::LogicEnv;
using qvtest::ScriptedHost;
using qvtest::WaitFor;
using Kind = ScriptedHost::Kind;

// A line of the simulator's log as it records a message: '\' doubled.
std::string wire(const std::string& text) {
    std::string out;
    for (char c : text) out += c == '\\' ? std::string("\\\\") : std::string(1, c);
    return out;
}

void seed(const std::string& root, const std::string& relative, const std::string& bytes) {
    const fs::path p = fs::path(root) / relative;
    fs::create_directories(p.parent_path());
    std::ofstream(p, std::ios::binary) << bytes;
}

std::string bytesOf(size_t n, char from = 'a') {
    std::string s(n, ' ');
    for (size_t i = 0; i < n; ++i) s[i] = char(from + i % 23);
    return s;
}

// Digit grouping as a user in the United States sees it, for the size texts.
struct UsLocale {
    UsLocale() { QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates)); }
    ~UsLocale() { QLocale::setDefault(QLocale::c()); }
};

// Temporary files go to a folder of the test's own (made after the rig,
// whose own folders would otherwise land in it).
struct OwnTemp {
    qvtest::TempDir dir;
    std::string before;
    bool had = false;
    OwnTemp() {
        if (const char* t = std::getenv("TMPDIR")) had = true, before = t;
        ::setenv("TMPDIR", dir.path().c_str(), 1);
    }
    ~OwnTemp() {
        if (had) ::setenv("TMPDIR", before.c_str(), 1);
        else ::unsetenv("TMPDIR");
    }
    std::vector<std::string> files() const {
        std::vector<std::string> out;
        for (const auto& e : fs::directory_iterator(dir.path())) out.push_back(e.path().string());
        return out;
    }
};

// The main window with one simulated instrument of a family, selected, its
// file system in a folder of the test's.
struct BrowserRig {
    LogicEnv env;
    qvtest::TempDir root, work;
    qvtest::SimProcess sim;
    qvtest::FakeSource src;
    std::unique_ptr<qv::ui::MainForm> form;
    std::string log = work.file("sim.log");
    std::string family;

    explicit BrowserRig(const std::string& fam, const std::function<void(const std::string&)>& seeds = {},
                        const std::vector<std::string>& more = {})
        : family(fam) {
        if (seeds) seeds(root.path());
        // Only the files a test puts there: the simulator's examples stay out.
        std::vector<std::string> args = {"--root", root.path(), "--log", log, "--no-files"};
        args.insert(args.end(), more.begin(), more.end());
        form = qvtest::MainWindowOnSimulated(env, sim, src, family, 7, args);
    }
    InstFileForm* open() {
        form->action("MNewInstFileBrow")->trigger();
        return form->findChild<InstFileForm*>("InstFileForm");
    }
    std::vector<std::string> lines() const { return qvtest::readLines(log); }
    int count(const std::string& line) const {
        auto l = lines();
        return int(std::count(l.begin(), l.end(), wire(line)));
    }
    std::string host(const std::string& relative) const { return (fs::path(root.path()) / relative).string(); }
};

std::vector<std::string> rowNames(InstFileForm* w) {
    std::vector<std::string> out;
    for (int i = 0; i < w->InstFiles()->rowCount(); ++i) out.push_back(w->InstFiles()->rowText(i).toStdString());
    return out;
}

int rowOf(InstFileForm* w, const std::string& name) {
    for (int i = 0; i < w->InstFiles()->rowCount(); ++i)
        if (w->InstFiles()->rowText(i).toStdString() == name) return i;
    return -1;
}

bool selectName(InstFileForm* w, const std::string& name) {
    const int row = rowOf(w, name);
    w->InstFiles()->selectRow(row);
    return row >= 0 && w->InstFiles()->selectedRow() == row;
}

// ------------------------------------------------------------ size texts

struct SizeCase {
    QLocale::Language language;
    QLocale::Territory territory;
    bool isDir;
    int32_t size;
    const char* text;
};

class SizeTexts : public ::testing::TestWithParam<SizeCase> {};

TEST_P(SizeTexts, FollowTheUsersDigitGrouping) {
    QLocale::setDefault(QLocale(GetParam().language, GetParam().territory));
    qv::file_browser::InstFileEntry e{"x", GetParam().isDir, GetParam().size};
    EXPECT_EQ(InstFileForm::SizeText(e).toStdString(), GetParam().text);
    QLocale::setDefault(QLocale::c());
}

INSTANTIATE_TEST_SUITE_P(
    Entries, SizeTexts,
    ::testing::Values(SizeCase{QLocale::English, QLocale::UnitedStates, false, 2000000, "1,953 KB"},
                      SizeCase{QLocale::German, QLocale::Germany, false, 2000000, "1.953 KB"},
                      SizeCase{QLocale::English, QLocale::UnitedStates, false, 500, "0 KB"},
                      SizeCase{QLocale::English, QLocale::UnitedStates, false, -1, "N/A"},
                      // A folder reads DIR whatever its size says.
                      SizeCase{QLocale::English, QLocale::UnitedStates, true, 4096, "DIR"}));

// ------------------------------------------------------------ opening

struct OpenCase {
    const char* family;
    const char* seedFile;  // under the simulator's root
    const char* label;
    const char* drives;  // the drive box's items, "|" between
    const char* driveShown;
    std::vector<const char*> sent;  // these messages, in this order, among what the instrument got
    std::vector<std::pair<const char*, const char*>> rows;  // name and size text, in list order
};

class Opening : public ::testing::TestWithParam<OpenCase> {};

TEST_P(Opening, ListsTheStartFolder) {
    const OpenCase& c = GetParam();
    UsLocale us;
    ScriptedHost host;
    BrowserRig rig(c.family, [&](const std::string& root) {
        if (*c.seedFile) seed(root, c.seedFile, bytesOf(2000000));
    });
    InstFileForm* w = rig.open();
    ASSERT_NE(w, nullptr);
    EXPECT_TRUE(host.messages().empty()) << host.messages()[0].text;
    EXPECT_EQ(w->InstPath()->text().toStdString(), c.label);
    QStringList items;
    for (int i = 0; i < w->InstDrives()->count(); ++i) items << w->InstDrives()->itemText(i);
    EXPECT_EQ(items.join("|").toStdString(), c.drives);
    EXPECT_EQ(w->InstDrives()->currentText().toStdString(), c.driveShown);

    const auto lines = rig.lines();
    auto at = lines.begin();
    for (const char* m : c.sent) {
        at = std::find(at, lines.end(), wire(m));
        ASSERT_NE(at, lines.end()) << "not sent (in this order): " << m;
        ++at;
    }
    ASSERT_EQ(w->InstFiles()->rowCount(), int(c.rows.size())) << ::testing::PrintToString(rowNames(w));
    for (size_t i = 0; i < c.rows.size(); ++i) {
        EXPECT_EQ(w->InstFiles()->rowText(int(i)).toStdString(), c.rows[i].first);
        EXPECT_EQ(w->InstFiles()->sizeText(int(i)).toStdString(), c.rows[i].second);
    }
    // The root node stands for a listing with rows in it.
    EXPECT_EQ(w->TreeView()->topLevelItemCount(), c.rows.empty() ? 0 : 1);
}

INSTANTIATE_TEST_SUITE_P(
    Families, Opening,
    ::testing::Values(
        OpenCase{"TKD", "D/big.bin", "D:\\", "A:|C:|D:", "D:", {"MMEM:CAT:LONG? 'D:\\'"}, {{"big.bin", "1,953 KB"}}},
        // The box shows its last drive while the listing is on the first;
        // the second listing is the print folder.
        OpenCase{"BJY",
                 "INT/USERDATA/PRINT/x.bmp",
                 "INT:\\USERDATA\\PRINT\\",
                 "INT:|EXT:",
                 "EXT:",
                 {"MMEM:MSIS INT", "MMEM:CDIR '\\'", "MMEM:SCAN?", "MMEM:MSIS INT", "MMEM:CDIR '\\USERDATA\\PRINT'",
                  "MMEM:SCAN?"},
                 {{"..", "DIR"}, {"x.bmp", "N/A"}}},
        // Only "/" is a root for this family: its first folder has a "..".
        OpenCase{"GLN",
                 "hdd/w.wv",
                 "/hdd/",
                 "/hdd|/var/user",
                 "/var/user",
                 {"MMEM:CAT? '/hdd/'"},
                 {{"..", "DIR"}, {"w.wv", "1,953 KB"}}},
        // Drives but no way to list them: nothing is asked, nothing shown.
        OpenCase{"TKB", "", "D:\\", "A:|C:|D:", "D:", {}, {}}),
    [](const auto& info) { return std::string(info.param.family); });

// ------------------------------------------------------------ walking

TEST(InstFileForm, WalksDownIntoAFolderUpByDotDotAndOntoAnotherDrive) {
    ScriptedHost host;
    BrowserRig rig("TKD", [](const std::string& root) {
        seed(root, "D/SUB/inner.txt", "inner");
        seed(root, "D/top.txt", "top");
        seed(root, "C/onc.txt", "c");
    });
    InstFileForm* w = rig.open();
    ASSERT_NE(w, nullptr);
    QTreeView* view = w->InstFiles()->detailsView();
    const int sub = rowOf(w, "SUB");
    ASSERT_GE(sub, 0);
    ASSERT_TRUE(WaitFor([&] { return view->isVisible() && view->visualRect(view->model()->index(sub, 0)).isValid(); }));
    // A real double click: press, release, press again as a double click.
    const QPoint at = view->visualRect(view->model()->index(sub, 0)).center();
    for (QEvent::Type t : {QEvent::MouseButtonPress, QEvent::MouseButtonRelease, QEvent::MouseButtonDblClick}) {
        QMouseEvent e(t, at, view->viewport()->mapToGlobal(at), Qt::LeftButton,
                      t == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(view->viewport(), &e);
    }
    EXPECT_EQ(w->currentPath(), "D:\\SUB\\");
    EXPECT_EQ(rowNames(w), (std::vector<std::string>{"..", "inner.txt"}));
    EXPECT_EQ(rig.count("MMEM:CAT:LONG? 'D:\\SUB\\'"), 1);

    w->doubleClickRow(0);
    EXPECT_EQ(w->currentPath(), "D:\\");
    EXPECT_EQ(rowOf(w, ".."), -1);
    EXPECT_GE(rowOf(w, "top.txt"), 0);
    // A file row goes nowhere.
    w->doubleClickRow(rowOf(w, "top.txt"));
    EXPECT_EQ(w->currentPath(), "D:\\");

    // Another drive: its root.
    emit w->InstDrives()->activated(1);
    EXPECT_EQ(w->currentPath(), "C:\\");
    EXPECT_EQ(rig.count("MMEM:CAT:LONG? 'C:\\'"), 1);
    EXPECT_EQ(rowNames(w), std::vector<std::string>{"onc.txt"});
    EXPECT_TRUE(host.messages().empty());
}

TEST(InstFileForm, GoingUpFromTheSlashDriveEmptiesThePathAndListsTheTop) {
    ScriptedHost host;
    BrowserRig rig("TKG", [](const std::string& root) { seed(root, "top.dat", "x"); });
    InstFileForm* w = rig.open();
    ASSERT_NE(w, nullptr);
    EXPECT_EQ(w->currentPath(), "/\\");
    ASSERT_GE(w->InstFiles()->rowCount(), 1);
    EXPECT_EQ(w->InstFiles()->rowText(0), "..");
    w->doubleClickRow(0);
    EXPECT_EQ(w->currentPath(), "");
    EXPECT_EQ(rig.count("MMEM:CDIR '\\'"), 1);
    EXPECT_EQ(rowOf(w, ".."), -1);
    EXPECT_GE(rowOf(w, "top.dat"), 0);
    EXPECT_TRUE(host.messages().empty());
}

// ------------------------------------------------------------ fetching

struct FetchCase {
    const char* family;
    const char* file;  // under the simulator's root, in the start folder
    const char* row;
    const char* command;
};

class Fetching : public ::testing::TestWithParam<FetchCase> {};

TEST_P(Fetching, SavesTheInstrumentsBytesWhereTheUserSaid) {
    const FetchCase& c = GetParam();
    const std::string bytes = bytesOf(70000, 'A');
    ScriptedHost host;
    BrowserRig rig(c.family, [&](const std::string& root) { seed(root, c.file, bytes); });
    InstFileForm* w = rig.open();
    ASSERT_NE(w, nullptr);
    ASSERT_TRUE(selectName(w, c.row)) << ::testing::PrintToString(rowNames(w));
    const std::string target = rig.work.file("saved.bin");
    host.fileNames = {target};
    host.answers = {Answer::No};
    w->button("Save")->click();

    EXPECT_EQ(qvtest::readFile(target), bytes);
    EXPECT_EQ(rig.count(c.command), 1);
    // The transfer moved the bar to its end.
    EXPECT_EQ(w->Progress()->value(), 100);
    auto msgs = host.messages();
    ASSERT_EQ(msgs.size(), 1u);
    EXPECT_EQ(msgs[0].title, "DISPLAY FILE?");
    EXPECT_EQ(msgs[0].text, "File stored in " + target + "\r\nDisplay it?");
    EXPECT_EQ(msgs[0].buttons, qv::app::Buttons::YesNo);
    // No means no display.
    EXPECT_TRUE(std::none_of(host.calls.begin(), host.calls.end(),
                             [](const ScriptedHost::Call& call) { return call.kind == Kind::OpenWithShell; }));
}

INSTANTIATE_TEST_SUITE_P(
    Families, Fetching,
    ::testing::Values(FetchCase{"TKD", "D/a.bin", "a.bin", "MMEM:DATA? 'D:\\a.bin'"},
                      // Names relative to the folder the listing selected.
                      FetchCase{"BJY", "INT/USERDATA/PRINT/x.bmp", "x.bmp", "MMEM:DATA? 'x.bmp'"},
                      FetchCase{"GLN", "hdd/w.wv", "w.wv", "MMEM:DATA? '/hdd/w.wv'"}),
    [](const auto& info) { return std::string(info.param.family); });

TEST(InstFileForm, OpenShowsATemporaryCopyAndSaysSoWhenNoProgramTakesIt) {
    ScriptedHost host;
    host.openWithShellResult = false;
    BrowserRig rig("TKD", [](const std::string& root) { seed(root, "D/trace.csv", "1;2\n3;4\n"); });
    InstFileForm* w = rig.open();
    ASSERT_NE(w, nullptr);
    OwnTemp temp;
    ASSERT_TRUE(selectName(w, "trace.csv"));
    w->button("Open")->click();
    auto shell = std::find_if(host.calls.begin(), host.calls.end(),
                              [](const ScriptedHost::Call& call) { return call.kind == Kind::OpenWithShell; });
    ASSERT_NE(shell, host.calls.end());
    const std::string shown = shell->title;
    EXPECT_EQ(fs::path(shown).parent_path(), fs::path(temp.dir.path()));
    EXPECT_EQ(fs::path(shown).extension(), ".csv");
    EXPECT_EQ(qvtest::readFile(shown), "1;2\n3;4\n");
    auto msgs = host.messages();
    ASSERT_EQ(msgs.size(), 1u);
    EXPECT_NE(msgs[0].text.find(shown), std::string::npos) << msgs[0].text;
}

TEST(InstFileForm, OpenOfAPictureFromTheFileFamilyShowsItInAHardcopyWindow) {
    QImage picture(120, 80, QImage::Format_RGB32);
    picture.fill(Qt::darkCyan);
    ScriptedHost host;
    BrowserRig rig("BJY", [&](const std::string& root) {
        fs::create_directories(fs::path(root) / "INT/USERDATA/PRINT");
        ASSERT_TRUE(picture.save(QString::fromStdString(root + "/INT/USERDATA/PRINT/shot.bmp")));
    });
    InstFileForm* w = rig.open();
    ASSERT_NE(w, nullptr);
    ASSERT_TRUE(selectName(w, "shot.bmp"));
    OwnTemp temp;
    w->OpenFile(true);
    auto* shown = rig.form->findChild<qv::ui::HCopyForm*>("HCopyForm");
    ASSERT_NE(shown, nullptr);
    EXPECT_EQ(shown->picture().size(), QSize(120, 80));
    EXPECT_EQ(shown->picture().pixelColor(5, 5), QColor(Qt::darkCyan));
    EXPECT_TRUE(host.messages().empty());
    // That window's Update has no screen copy command to send to this family:
    // it says where new pictures are and keeps the one it shows.
    shown->GetHardcopy();
    auto msgs = host.messages();
    ASSERT_EQ(msgs.size(), 1u);
    EXPECT_NE(msgs[0].text.find("file browser"), std::string::npos);
    EXPECT_EQ(shown->picture().pixelColor(5, 5), QColor(Qt::darkCyan));
}

// A link that drops in the middle of the file leaves nothing that looks
// like the file, whether it was going to a named or a temporary file.
class FetchFailure : public ::testing::TestWithParam<bool> {};

TEST_P(FetchFailure, LeavesNoFileBehind) {
    const bool display = GetParam();
    ScriptedHost host;
    BrowserRig rig("TKD", [](const std::string& root) { seed(root, "D/big.bin", bytesOf(300000)); },
                   {"--fault", "drop=1000@MMEM:DATA?"});
    InstFileForm* w = rig.open();
    ASSERT_NE(w, nullptr);
    OwnTemp temp;
    ASSERT_TRUE(selectName(w, "big.bin"));
    const std::string target = rig.work.file("big.bin");
    if (!display) host.fileNames = {target};
    w->OpenFile(display);
    auto msgs = host.messages();
    ASSERT_EQ(msgs.size(), 1u);
    EXPECT_EQ(msgs[0].title, "ERROR");
    EXPECT_EQ(msgs[0].text, "FILE COULD NOT BE LOADED!");
    EXPECT_EQ(msgs[0].icon, qv::app::Icon::Critical);
    EXPECT_FALSE(fs::exists(target));
    EXPECT_FALSE(fs::exists(target + ".part"));
    EXPECT_TRUE(temp.files().empty()) << temp.files()[0];
}

INSTANTIATE_TEST_SUITE_P(Targets, FetchFailure, ::testing::Values(false, true),
                         [](const auto& info) { return std::string(info.param ? "Temporary" : "Named"); });

TEST(InstFileForm, ACancelledSaveDialogFetchesNothing) {
    ScriptedHost host;
    BrowserRig rig("TKD", [](const std::string& root) { seed(root, "D/a.bin", "abc"); });
    InstFileForm* w = rig.open();
    ASSERT_NE(w, nullptr);
    OwnTemp temp;
    ASSERT_TRUE(selectName(w, "a.bin"));
    w->Update();  // the Update hot key: the save variant
    EXPECT_EQ(rig.count("MMEM:DATA? 'D:\\a.bin'"), 0);
    EXPECT_TRUE(host.messages().empty());
    EXPECT_TRUE(temp.files().empty());
}

// ------------------------------------------------------------ folders and deleting

struct MkDirCase {
    const char* name;
    const char* family;
    const char* input;  // "\x18": cancelled
    const char* command;  // "" when nothing may be sent
    const char* made;     // the folder that must exist afterwards, under the root
};

class MakeFolder : public ::testing::TestWithParam<MkDirCase> {};

TEST_P(MakeFolder, SendsTheFamilysCommandAndListsAgain) {
    const MkDirCase& c = GetParam();
    ScriptedHost host;
    BrowserRig rig(c.family, [](const std::string& root) { seed(root, "INT/USERDATA/PRINT/keep.txt", "k"); });
    InstFileForm* w = rig.open();
    ASSERT_NE(w, nullptr);
    const size_t before = rig.lines().size();
    host.inputs = {c.input};
    w->button("MkDir")->click();
    auto ask = std::find_if(host.calls.begin(), host.calls.end(),
                            [](const ScriptedHost::Call& call) { return call.kind == Kind::Input; });
    ASSERT_NE(ask, host.calls.end());
    EXPECT_EQ(ask->title, "DIRECTORY NAME");
    EXPECT_EQ(ask->text, "Directory Name:");

    const auto lines = rig.lines();
    const std::vector<std::string> after(lines.begin() + long(before), lines.end());
    auto isMake = [](const std::string& l) { return l.rfind("MMEM:MDIR", 0) == 0 || l.rfind("MMEM:MKD", 0) == 0; };
    if (*c.command) {
        EXPECT_EQ(std::count(after.begin(), after.end(), wire(c.command)), 1);
        EXPECT_TRUE(fs::is_directory(rig.host(c.made))) << c.made;
        EXPECT_GE(rowOf(w, c.input), 0);
        EXPECT_EQ(w->InstFiles()->sizeText(rowOf(w, c.input)), "DIR");
    } else {
        EXPECT_TRUE(std::none_of(after.begin(), after.end(), isMake));
    }
    // Listed again either way: the listing's last query comes after.
    const std::string listing = wire(c.family == std::string("BJY") ? "MMEM:SCAN?" : "MMEM:CAT:LONG? 'D:\\'");
    EXPECT_EQ(std::count(after.begin(), after.end(), listing), 1);
    EXPECT_TRUE(host.messages().empty());
}

INSTANTIATE_TEST_SUITE_P(
    Cases, MakeFolder,
    ::testing::Values(MkDirCase{"FullPath", "TKD", "NEWDIR", "MMEM:MDIR 'D:\\NEWDIR'", "D/NEWDIR"},
                      MkDirCase{"Relative", "BJY", "NEWDIR", "MMEM:MKD 'NEWDIR'", "INT/USERDATA/PRINT/NEWDIR"},
                      MkDirCase{"Cancelled", "TKD", "\x18", "", ""},
                      MkDirCase{"EmptyName", "BJY", "", "", ""}),
    [](const auto& info) { return std::string(info.param.name); });

struct DeleteCase {
    const char* name;
    const char* family;
    bool byKey;
    const char* row;
    bool isDir;
    Answer answer;
    const char* question;
    const char* command;  // "" when nothing may be sent
    const char* hostPath;  // what the row is, under the root
};

class Deleting : public ::testing::TestWithParam<DeleteCase> {};

TEST_P(Deleting, AsksThenSendsTheFamilysCommandAndListsAgain) {
    const DeleteCase& c = GetParam();
    ScriptedHost host;
    BrowserRig rig(c.family, [&](const std::string& root) {
        if (c.isDir) fs::create_directories(fs::path(root) / c.hostPath);
        else seed(root, c.hostPath, "gone soon");
    });
    InstFileForm* w = rig.open();
    ASSERT_NE(w, nullptr);
    ASSERT_TRUE(selectName(w, c.row)) << ::testing::PrintToString(rowNames(w));
    host.answers = {c.answer};
    if (c.byKey) {
        QTreeView* view = w->InstFiles()->detailsView();
        QKeyEvent press(QEvent::KeyPress, Qt::Key_Delete, Qt::NoModifier);
        QKeyEvent release(QEvent::KeyRelease, Qt::Key_Delete, Qt::NoModifier);
        QCoreApplication::sendEvent(view, &press);
        QCoreApplication::sendEvent(view, &release);
    } else {
        w->button("Delete")->click();
    }
    auto msgs = host.messages();
    ASSERT_EQ(msgs.size(), 1u);
    EXPECT_EQ(msgs[0].title, "Quilvane");
    EXPECT_EQ(msgs[0].text, c.question);
    EXPECT_EQ(msgs[0].icon, qv::app::Icon::Critical);
    EXPECT_EQ(msgs[0].buttons, qv::app::Buttons::YesNoCancel);
    const bool yes = *c.command != '\0';
    if (yes) {
        EXPECT_EQ(rig.count(c.command), 1);
    }
    for (const std::string& l : rig.lines()) {
        const bool removal = l.rfind("MMEM:DEL", 0) == 0 || l.rfind("MMEM:RDIR", 0) == 0 || l.rfind("MMEM:RMD", 0) == 0;
        if (removal) {
            EXPECT_EQ(l, wire(c.command));
        }
    }
    EXPECT_EQ(fs::exists(rig.host(c.hostPath)), !yes);
    // Listed again whatever the answer.
    EXPECT_EQ(rowOf(w, c.row) >= 0, !yes);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, Deleting,
    ::testing::Values(
        DeleteCase{"RelativeFileByButton", "BJY", false, "x.bmp", false, Answer::Yes,
                   "Delete INT:\\USERDATA\\PRINT\\x.bmp?", "MMEM:DEL 'x.bmp'", "INT/USERDATA/PRINT/x.bmp"},
        DeleteCase{"RelativeFolderByButton", "BJY", false, "OLD", true, Answer::Yes,
                   "Delete directory INT:\\USERDATA\\PRINT\\OLD?", "MMEM:RMD 'OLD'", "INT/USERDATA/PRINT/OLD"},
        // The keyboard names the full path even where the buttons do not.
        DeleteCase{"FullFileByKey", "BJY", true, "x.bmp", false, Answer::Yes, "Delete INT:\\USERDATA\\PRINT\\x.bmp?",
                   "MMEM:DEL 'INT:\\USERDATA\\PRINT\\x.bmp'", "INT/USERDATA/PRINT/x.bmp"},
        DeleteCase{"FileByButton", "TKD", false, "a.bin", false, Answer::Yes, "Delete D:\\a.bin?",
                   "MMEM:DEL 'D:\\a.bin'", "D/a.bin"},
        DeleteCase{"FolderByKey", "TKD", true, "SUB", true, Answer::Yes, "Delete directory D:\\SUB?",
                   "MMEM:RDIR 'D:\\SUB'", "D/SUB"},
        DeleteCase{"AnsweredNo", "TKD", false, "a.bin", false, Answer::No, "Delete D:\\a.bin?", "", "D/a.bin"}),
    [](const auto& info) { return std::string(info.param.name); });

// ------------------------------------------------------------ dropping

struct DropCase {
    const char* family;
    const char* folder;    // the instrument's name of the start folder
    const char* hostDir;   // the same under the root
    const char* listing;   // the listing's last query
};

class Dropping : public ::testing::TestWithParam<DropCase> {};

TEST_P(Dropping, SendsEachFileAsABlockAndListsOnce) {
    const DropCase& c = GetParam();
    ScriptedHost host;
    BrowserRig rig(c.family, [&](const std::string& root) { fs::create_directories(fs::path(root) / c.hostDir); });
    InstFileForm* w = rig.open();
    ASSERT_NE(w, nullptr);
    qvtest::TempDir local;
    const std::vector<std::string> names = {"one.txt", "two.bin", "three.dat"};
    QList<QUrl> urls;
    for (size_t i = 0; i < names.size(); ++i) {
        seed(local.path(), names[i], bytesOf(1000 + 40000 * i, char('a' + i)));
        urls << QUrl::fromLocalFile(QString::fromStdString(local.file(names[i])));
    }
    const size_t before = rig.lines().size();
    QMimeData mime;
    mime.setUrls(urls);
    const QPoint at = w->InstFiles()->rect().center();
    QDragEnterEvent enter(at, Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(w->InstFiles(), &enter);
    EXPECT_TRUE(enter.isAccepted());
    QDropEvent drop(QPointF(at), Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(w->InstFiles(), &drop);
    EXPECT_TRUE(drop.isAccepted());

    const auto lines = rig.lines();
    const std::vector<std::string> after(lines.begin() + long(before), lines.end());
    size_t lastBlock = 0;
    int blocks = 0;
    for (size_t i = 0; i < after.size(); ++i)
        if (after[i].rfind("MMEM:DATA '", 0) == 0 && blocks < 3) {
            const std::string head = wire(std::string("MMEM:DATA '") + c.folder + names[size_t(blocks)] + "',#");
            EXPECT_EQ(after[i].rfind(head, 0), 0u) << after[i];
            ++blocks;
            lastBlock = i;
        }
    EXPECT_EQ(blocks, 3);
    EXPECT_EQ(std::count(after.begin() + long(lastBlock), after.end(), wire(c.listing)), 1);
    EXPECT_EQ(std::count(after.begin(), after.begin() + long(lastBlock), wire(c.listing)), 0);
    for (size_t i = 0; i < names.size(); ++i) {
        EXPECT_EQ(qvtest::readFile(rig.host(std::string(c.hostDir) + "/" + names[i])),
                  qvtest::readFile(local.file(names[i])))
            << names[i];
        EXPECT_GE(rowOf(w, names[i]), 0) << names[i];
    }
    EXPECT_TRUE(host.messages().empty());

    // Anything but local files is not taken.
    const size_t sent = rig.lines().size();
    QMimeData other;
    other.setText("D:\\a.bin");
    other.setUrls({QUrl("https://example.org/a.bin")});
    QDragEnterEvent refused(at, Qt::CopyAction, &other, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(w->InstFiles(), &refused);
    EXPECT_FALSE(refused.isAccepted());
    QDropEvent ignored(QPointF(at), Qt::CopyAction, &other, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(w->InstFiles(), &ignored);
    EXPECT_EQ(rig.lines().size(), sent);
}

INSTANTIATE_TEST_SUITE_P(
    Families, Dropping,
    ::testing::Values(DropCase{"TKD", "D:\\", "D", "MMEM:CAT:LONG? 'D:\\'"},
                      // Full paths here too, unlike this family's other commands.
                      DropCase{"BJY", "INT:\\USERDATA\\PRINT\\", "INT/USERDATA/PRINT", "MMEM:SCAN?"}),
    [](const auto& info) { return std::string(info.param.family); });

// ------------------------------------------------------------ when the instrument fails

TEST(InstFileForm, AnInstrumentThatCannotBeOpenedIsNamedOnceAndTheRowsStay) {
    ScriptedHost host;
    BrowserRig rig("TKD", [](const std::string& root) { seed(root, "D/a.bin", "a"); });
    InstFileForm* w = rig.open();
    ASSERT_NE(w, nullptr);
    const auto rows = rowNames(w);
    ASSERT_FALSE(rows.empty());
    rig.sim.stop();
    w->button("Refresh")->click();
    auto msgs = host.messages();
    ASSERT_EQ(msgs.size(), 1u);
    EXPECT_NE(msgs[0].text.find(w->MyVISARsc), std::string::npos) << msgs[0].text;
    EXPECT_NE(msgs[0].text.find("switched on"), std::string::npos) << msgs[0].text;
    EXPECT_EQ(rowNames(w), rows);
    EXPECT_EQ(w->currentPath(), "D:\\");
}

struct SilentCase {
    const char* family;
    const char* fault;
    const char* says;  // the one message
};

class SilentInstrument : public ::testing::TestWithParam<SilentCase> {};

// The window is opened on an instrument that answers, then pointed at one
// that does not answer its catalogue query.
TEST_P(SilentInstrument, IsToldOnceAndTheOldRowsStay) {
    const SilentCase& c = GetParam();
    ScriptedHost host;
    qvtest::TempDir quietRoot;
    BrowserRig rig(c.family,
                   [](const std::string& root) {
                       seed(root, "D/a.bin", "a");
                       seed(root, "INT/USERDATA/PRINT/a.bin", "a");
                   },
                   {"--profile", c.family, "--root", quietRoot.path(), "--fault", c.fault});
    InstFileForm* w = rig.open();
    ASSERT_NE(w, nullptr);
    const auto rows = rowNames(w);
    ASSERT_GE(rowOf(w, "a.bin"), 0);
    const std::string path = w->currentPath();
    w->MyVISARsc = rig.sim.socketResource(1);
    w->button("Refresh")->click();
    auto msgs = host.messages();
    ASSERT_EQ(msgs.size(), 1u);
    EXPECT_NE(msgs[0].text.find(c.says), std::string::npos) << msgs[0].text;
    EXPECT_EQ(rowNames(w), rows);
    EXPECT_EQ(w->currentPath(), path);
}

INSTANTIATE_TEST_SUITE_P(
    Families, SilentInstrument,
    ::testing::Values(
        // A listing that would read the silence as an empty folder.
        SilentCase{"BJY", "silent@MMEM:SCAN?", "The instrument did not answer \"MMEM:SCAN?\""},
        // A listing that reports the silence itself.
        SilentCase{"TKD", "silent@MMEM:CAT:LONG?", "Unable to read files."}),
    [](const auto& info) { return std::string(info.param.family); });

// ------------------------------------------------------------ the popup menu

TEST(InstFileForm, TheRightButtonShowsTheFileMenuWhoseEntriesActOnThisWindow) {
    ScriptedHost host;
    BrowserRig rig("TKD", [](const std::string& root) { seed(root, "D/a.bin", "a"); });
    InstFileForm* w = rig.open();
    ASSERT_NE(w, nullptr);
    EXPECT_EQ(w->InstFiles()->viewMode(), qv::ui::InstFileList::Details);
    QTreeView* view = w->InstFiles()->detailsView();
    bool shown = false;
    QTimer::singleShot(0, [&] {
        QMenu* menu = rig.form->instFileMenu();
        shown = menu->isVisible();
        rig.form->action("FMVIEWMODE1")->trigger();
        menu->close();
    });
    const QPoint at = view->viewport()->rect().center();
    QMouseEvent release(QEvent::MouseButtonRelease, at, view->viewport()->mapToGlobal(at), Qt::RightButton,
                        Qt::NoButton, Qt::NoModifier);
    QCoreApplication::sendEvent(view->viewport(), &release);
    EXPECT_TRUE(shown);
    EXPECT_EQ(w->InstFiles()->viewMode(), qv::ui::InstFileList::Icons);
    EXPECT_EQ(w->InstFiles()->currentView(), w->InstFiles()->listView());
    EXPECT_EQ(w->InstFiles()->listView()->viewMode(), QListView::IconMode);

    // With the window active, the entries reach it without the right button:
    // "Save to..." asks for a file name.
    rig.form->mdiArea()->setActiveSubWindow(qobject_cast<QMdiSubWindow*>(w->parentWidget()));
    ASSERT_TRUE(selectName(w, "a.bin"));
    rig.form->action("FMVIEWMODE3")->trigger();
    EXPECT_EQ(w->InstFiles()->currentView(), w->InstFiles()->detailsView());
    rig.form->action("FMSAVETO")->trigger();
    EXPECT_TRUE(std::any_of(host.calls.begin(), host.calls.end(),
                            [](const ScriptedHost::Call& call) { return call.kind == Kind::SaveFileName; }));
}

}  // namespace
