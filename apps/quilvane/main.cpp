// quilvane: the desktop program.
//   --demo               simulated instruments on loopback, throw-away settings
//   --no-visa            start as if no VISA library were installed
//   --quit-after MS      end on its own after MS milliseconds (headless runs)
//   --screenshot FILE    once started, save a picture of the main window and end
//   --measure-startup    print the time from process start to a usable window, and end
//   --measure-hardcopy   with --demo: time the hardcopy window (Update to picture drawn,
//                        file on disk to picture on screen), print it, and end
//   --measure-browser    with --demo: time the file browser listing and drawing a
//                        folder of 10,000 entries, print it, and end
//   --trigger CONTROL    once started, run a menu entry by its control name (repeatable)
//   --select N           once started, select row N of the instrument list (before the triggers)
//   --click CONTROL      after the triggers, press the button or show the tab page with this
//                        object name in any open window (repeatable, in order)
// The optional word PULSE is accepted for the trace window.
#include "app/context.h"
#include "app/host.h"
#include "demo.h"
#include "hardcopy/dialect.h"
#include "instrument_directory/dir_source.h"
#include "instrument_io/vif.h"
#include "ui/hcopy_form.h"
#include "ui/inst_file_form.h"
#include "ui/main_form.h"
#include "ui/qt_host.h"

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QAbstractItemView>
#include <QElapsedTimer>
#include <QLabel>
#include <QPalette>
#include <QStyleFactory>
#include <QScreen>
#include <QTabWidget>
#include <QTimer>

#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <unistd.h>

namespace {

// Seconds the process has run, from the kernel's start time (10 ms steps).
double ProcessAgeMs() {
    std::ifstream stat("/proc/self/stat"), up("/proc/uptime");
    std::string s((std::istreambuf_iterator<char>(stat)), {});
    double uptime = 0;
    up >> uptime;
    size_t close = s.rfind(')');
    if (close == std::string::npos) return -1;
    std::istringstream rest(s.substr(close + 2));
    std::string field;
    // Field 22 (starttime) is the 20th after the command name.
    for (int i = 3; i <= 22 && rest >> field; ++i) {}
    double ticks = static_cast<double>(::sysconf(_SC_CLK_TCK));
    return (uptime - std::stod(field) / ticks) * 1000.0;
}

void LightLook(QApplication& app) {
    app.setStyle(QStyleFactory::create("Fusion"));
    QPalette p = app.palette();
    // Only the active and inactive groups: disabled entries keep their grey.
    for (QPalette::ColorGroup g : {QPalette::Active, QPalette::Inactive}) {
        p.setColor(g, QPalette::Window, QColor(0xf4, 0xf6, 0xf9));
        p.setColor(g, QPalette::Base, Qt::white);
        p.setColor(g, QPalette::AlternateBase, QColor(0xf0, 0xf3, 0xf7));
        p.setColor(g, QPalette::Button, QColor(0xf7, 0xf8, 0xfa));
        p.setColor(g, QPalette::Highlight, QColor(0x2f, 0x7d, 0xd1));
        p.setColor(g, QPalette::HighlightedText, Qt::white);
        p.setColor(g, QPalette::WindowText, QColor(0x22, 0x2b, 0x36));
        p.setColor(g, QPalette::Text, QColor(0x22, 0x2b, 0x36));
        p.setColor(g, QPalette::ButtonText, QColor(0x22, 0x2b, 0x36));
    }
    p.setColor(QPalette::Disabled, QPalette::Window, QColor(0xf4, 0xf6, 0xf9));
    p.setColor(QPalette::Disabled, QPalette::Button, QColor(0xf4, 0xf6, 0xf9));
    app.setPalette(p);
}

// The file browser listing a folder of 10,000 entries on the first demo
// instrument and drawing it, the best of five: the session, the catalogue,
// the parse and the list repainted.
void MeasureBrowser(qv::ui::MainForm* form, const std::string& root) {
    const std::string crowd = root + "/D/crowd";
    if (root.empty() || ::mkdir(crowd.c_str(), 0755) != 0) {
        std::printf("# no folder for the crowd on the demo instrument\n");
        return;
    }
    // Three-character names, so that the whole catalogue fits one answer.
    const char* digits = "0123456789abcdefghijklmnopqrstuvwxyz";
    for (int i = 0; i < 10000; ++i) {
        const std::string name{digits[i / 1296], digits[i / 36 % 36], digits[i % 36]};
        if (FILE* f = std::fopen((crowd + "/" + name).c_str(), "wb")) std::fclose(f);
    }
    form->deviceList()->setCurrentIndex(0);
    form->action("MNewInstFileBrow")->trigger();
    QList<qv::ui::InstFileForm*> windows = form->findChildren<qv::ui::InstFileForm*>();
    if (windows.isEmpty()) {
        std::printf("# the browser did not open\n");
        return;
    }
    qv::ui::InstFileForm* w = windows.last();
    double best = 1e9;
    int rows = 0;
    for (int turn = 0; turn < 5; ++turn) {
        QElapsedTimer t;
        t.start();
        w->DirRefr("D:\\crowd\\");
        w->InstFiles()->currentView()->viewport()->repaint();
        best = std::min(best, t.nsecsElapsed() / 1e6);
        rows = w->InstFiles()->rowCount();
    }
    std::printf("browser window: listing and drawing a folder of 10000 entries (%d rows) = %.1f ms\n", rows, best);
    std::fflush(stdout);
}

// The hardcopy window's own times, each the best of five: from the Update
// click to the picture drawn (the dialect's prescribed pauses left out), and
// from the file on disk to the picture on screen.
void MeasureHardcopy(qv::ui::MainForm* form) {
    qv::app::context().SaveImage = 1;  // the file stays for the second figure
    for (const char* family : {"MYE", "TKD"}) {
        int row = form->deviceList()->findText(QString("(") + family + ")", Qt::MatchContains);
        if (row < 0) {
            std::printf("# no %s instrument listed\n", family);
            continue;
        }
        form->deviceList()->setCurrentIndex(row);
        form->action("MNewHardcopy")->trigger();
        QList<qv::ui::HCopyForm*> windows = form->findChildren<qv::ui::HCopyForm*>();
        if (windows.isEmpty() || windows.last()->picture().isNull()) {
            std::printf("# %s: no picture\n", family);
            continue;
        }
        qv::ui::HCopyForm* w = windows.last();
        double update = 1e9, load = 1e9;
        for (int turn = 0; turn < 5; ++turn) {
            QElapsedTimer t;
            t.start();
            w->clickUpdate();
            w->HCopyImage()->repaint();
            update = std::min(update, t.nsecsElapsed() / 1e6 - w->lastOutcome().pausedMs);
            const std::string file = w->lastOutcome().file;
            std::string why;
            t.restart();
            w->showPicture(file, qv::hardcopy::dialectFor(family).route, why);
            w->fitToPicture();
            w->HCopyImage()->repaint();
            load = std::min(load, t.nsecsElapsed() / 1e6);
        }
        const QSize s = w->picture().size();
        std::printf("hardcopy window %s: Update click to picture drawn = %.1f ms\n", family, update);
        std::printf("hardcopy window %s: %dx%d %s from disk to screen = %.1f ms\n", family, s.width(), s.height(),
                    std::string(qv::hardcopy::dialectFor(family).extension).c_str(), load);
    }
    std::fflush(stdout);
}

// --click: a button is pressed, a tab page is brought to the front.
bool ClickControl(const QString& name) {
    for (QWidget* top : QApplication::topLevelWidgets()) {
        QWidget* w = top->objectName() == name ? top : top->findChild<QWidget*>(name);
        if (!w) continue;
        if (auto* b = qobject_cast<QAbstractButton*>(w)) {
            b->click();
            return true;
        }
        for (QWidget* p = w->parentWidget(); p; p = p->parentWidget())
            if (auto* tabs = qobject_cast<QTabWidget*>(p); tabs && tabs->indexOf(w) >= 0) {
                tabs->setCurrentWidget(w);
                return true;
            }
    }
    return false;
}

void Usage() {
    std::puts("usage: quilvane [--demo] [--no-visa] [--quit-after MS] [--screenshot FILE] [--measure-startup] [--measure-hardcopy] [--measure-browser] [--select N] [--trigger CONTROL] [--click CONTROL] [PULSE]");
}

}  // namespace

int main(int argc, char** argv) {
    bool demo = false, noVisa = false, measure = false, measureHardcopy = false, measureBrowser = false;
    int quitAfter = -1;
    int selectRow = -1;
    QString screenshot;
    QStringList triggers, clicks;
    for (int i = 1; i < argc; ++i) {
        std::string a = argv[i];
        if (a == "--demo") demo = true;
        else if (a == "--no-visa") noVisa = true;
        else if (a == "--measure-startup") measure = true;
        else if (a == "--measure-hardcopy") measureHardcopy = true;
        else if (a == "--measure-browser") measureBrowser = true;
        else if (a == "--quit-after" && i + 1 < argc) quitAfter = std::atoi(argv[++i]);
        else if (a == "--screenshot" && i + 1 < argc) screenshot = argv[++i];
        else if (a == "--trigger" && i + 1 < argc) triggers << argv[++i];
        else if (a == "--click" && i + 1 < argc) clicks << argv[++i];
        else if (a == "--select" && i + 1 < argc) selectRow = std::atoi(argv[++i]);
        else if (a == "--help" || a == "-h") return Usage(), 0;
        else if (a == "PULSE") {}
        else if (a.rfind("-", 0) == 0 && a.rfind("-platform", 0) != 0 && a != "-display") {
            std::fprintf(stderr, "quilvane: unknown option %s\n", a.c_str());
            Usage();
            return 2;
        }
    }

    std::unique_ptr<qv::demo::DemoSetup> demoSetup;
    if (demo) {
        demoSetup = std::make_unique<qv::demo::DemoSetup>();
        std::string why;
        if (!demoSetup->start(why)) {
            std::fprintf(stderr, "quilvane: demo instruments could not start: %s\n", why.c_str());
            return 1;
        }
    }
    if (noVisa) qv::io::setVisaAvailable(false);

    QApplication app(argc, argv);
    QApplication::setApplicationName("Quilvane");
    QApplication::setOrganizationName("Tesselhorn");
    LightLook(app);

    qv::ui::QtHost host;
    qv::app::setHost(&host);
    qv::dir::DirectorySource source(&qv::io::visaAvailable);
    auto* form = new qv::ui::MainForm(qv::app::context(), source);
    form->setAttribute(Qt::WA_DeleteOnClose);
    host.setParent(form);

    QObject::connect(form, &qv::ui::MainForm::startupFinished, form, [&] {
        if (measure) {
            std::printf("startup: %.0f ms from process start to a usable main window, %d instruments listed\n",
                        ProcessAgeMs(), form->deviceList()->count());
            for (int i = 0; i < form->deviceList()->count(); ++i)
                std::printf("  %s  %s\n", form->deviceList()->itemText(i).toUtf8().constData(),
                            form->resourceList()->itemText(i).toUtf8().constData());
            std::fflush(stdout);
            QTimer::singleShot(0, form, &QWidget::close);
        }
        if (measureBrowser) {
            MeasureBrowser(form, demoSetup ? demoSetup->instrumentRoot(0) : std::string());
            QTimer::singleShot(0, form, &QWidget::close);
        }
        if (measureHardcopy) {
            MeasureHardcopy(form);
            QTimer::singleShot(0, form, &QWidget::close);
        }
        // The picture, once: of the window, or of the screen while a message
        // box is up. Boxes still open afterwards would hold the program, so
        // they are closed, then the window.
        auto shoot = [form, screenshot](bool withBox) {
            static bool taken = false;
            if (taken) return;
            taken = true;
            QPixmap shot = withBox ? form->screen()->grabWindow(0) : form->grab();
            bool ok = shot.save(screenshot);
            std::fprintf(ok ? stdout : stderr, ok ? "screenshot: %s\n" : "screenshot failed: %s\n",
                         screenshot.toUtf8().constData());
            auto* closer = new QTimer(form);
            QObject::connect(closer, &QTimer::timeout, form, [form] {
                if (QWidget* m = QApplication::activeModalWidget()) m->close();
                else form->close();
            });
            closer->start(50);
        };
        // A trigger that opens a message box waits inside the box's own event
        // loop: the box is then what there is to see.
        if (!screenshot.isEmpty())
            QTimer::singleShot(1500, form, [shoot] {
                if (QApplication::activeModalWidget()) shoot(true);
            });
        if (selectRow >= 0) form->deviceList()->setCurrentIndex(selectRow);
        for (const QString& t : triggers)
            if (QAction* a = form->action(t)) a->trigger();
            else std::fprintf(stderr, "quilvane: no menu entry %s\n", t.toUtf8().constData());
        for (const QString& c : clicks)
            if (!ClickControl(c)) std::fprintf(stderr, "quilvane: no button or tab page %s\n", c.toUtf8().constData());
        // Let the fade and the last layout pass finish before the picture.
        if (!screenshot.isEmpty()) QTimer::singleShot(300, form, [shoot] { shoot(false); });
    });
    if (quitAfter >= 0) QTimer::singleShot(quitAfter, form, &QWidget::close);

    form->show();
    // The load event: the start sequence runs once the window is on screen.
    QTimer::singleShot(0, form, [form] { form->Start(); });
    int rc = app.exec();
    qv::app::setHost(nullptr);
    return rc;
}
