#include "ui/trace_png.h"

#include "ui/trace_form.h"
#include "ui/trace_graph.h"

#include <qcustomplot.h>

#include <QApplication>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace qv::ui {

namespace {

// The widgets need an application; a command-line tool has none, and no
// display either.
bool ensureApplication(std::string& why) {
    if (qobject_cast<QApplication*>(QCoreApplication::instance())) return true;
    if (QCoreApplication::instance()) {
        why = "the process runs a non-graphical application";
        return false;
    }
    static int argc = 1;
    static char name[] = "quilvane-cli";
    static char* argv[] = {name, nullptr};
    ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
    // Drawing offscreen needs no runtime folder: the warning about a
    // missing one would only puzzle a user of the command line.
    static QtMessageHandler previous = qInstallMessageHandler(
        [](QtMsgType type, const QMessageLogContext& context, const QString& text) {
            if (type == QtWarningMsg && text.startsWith("QStandardPaths:")) return;
            if (previous) previous(type, context, text);
        });
    new QApplication(argc, argv);  // lives as long as the process
    return true;
}

}  // namespace

bool RenderTracePng(const qv::trace::Plot& plot, const std::string& path, int width, int height, std::string& why) {
    if (width < 16 || height < 16 || width > 16384 || height > 16384) {
        why = "the picture size must lie between 16 and 16384 pixels";
        return false;
    }
    if (!ensureApplication(why)) return false;
    TraceGraph graph;
    graph.resize(width, height);
    ShowPlot(graph, plot, false, false);
    if (plot.complex) {
        // The window shows its legend beside the graph; a picture carries it inside.
        QCustomPlot* cp = graph.customPlot();
        cp->graph(0)->setName("Real part");
        cp->graph(1)->setName("Imaginary part");
        cp->legend->setVisible(true);
    }
    // Written beside and renamed into place: a failed write leaves no
    // picture that looks whole.
    const QString target = QString::fromStdString(path), part = target + ".part";
    if (!graph.customPlot()->savePng(part, width, height)) {
        QFile::remove(part);
        why = "the file " + path + " could not be written";
        return false;
    }
    if (std::rename(part.toLocal8Bit().constData(), target.toLocal8Bit().constData()) != 0) {
        QFile::remove(part);
        why = "the file " + path + " could not be written";
        return false;
    }
    return true;
}

}  // namespace qv::ui
