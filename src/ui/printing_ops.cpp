#include "ui/printing_ops.h"

#include "app/host.h"

#include <QImage>
#include <QPainter>
#include <QPrintDialog>
#include <QPrinterInfo>
#include <QWidget>

#include <utility>

namespace qv::ui {

namespace {

std::function<bool(QPrinter&)>& dialogHook() {
    static std::function<bool(QPrinter&)> hook;
    return hook;
}

bool isFile(const QPrinter& p) { return p.outputFormat() == QPrinter::PdfFormat; }

// The device a printer prints to: an installed printer, or a PDF file.
void copyDevice(const QPrinter& from, QPrinter& to) {
    if (isFile(from)) {
        to.setOutputFormat(QPrinter::PdfFormat);
        to.setOutputFileName(from.outputFileName());
    } else {
        to.setPrinterName(from.printerName());
    }
}

// In the order a choice is taken over: later settings may depend on the
// earlier ones (a paper size is one the chosen tray offers).
void copySettings(const QPrinter& from, QPrinter& to) {
    to.setCopyCount(from.copyCount());
    to.setPageOrientation(from.pageLayout().orientation());
    to.setColorMode(from.colorMode());
    to.setDuplex(from.duplex());
    to.setPaperSource(from.paperSource());
    to.setPageSize(from.pageLayout().pageSize());
    to.setResolution(from.resolution());
}

void printerError(const std::string& text) {
    app::host().message("Printer Error!", text, app::Icon::None, app::Buttons::Ok);
}

std::string deviceName(const QPrinter& p) {
    if (isFile(p) && p.outputFileName().isEmpty()) return "any printer: none is installed or chosen";
    if (isFile(p)) return "the file " + p.outputFileName().toStdString();
    return p.printerName().isEmpty() ? std::string("the printer") : "the printer " + p.printerName().toStdString();
}

}  // namespace

QPrinter& Printer() {
    // Made on first use (it needs the application object) and kept to the
    // end of the run; never destroyed, as it may outlive the application.
    static QPrinter* printer = new QPrinter(QPrinter::HighResolution);
    return *printer;
}

void setPrinterDialogForTests(std::function<bool(QPrinter&)> dialog) { dialogHook() = std::move(dialog); }

QString printerToSwitchTo(const QString& current, const QString& chosen, const QStringList& installed) {
    if (chosen.compare(current, Qt::CaseInsensitive) == 0) return {};
    for (const QString& name : installed)
        if (name.compare(chosen, Qt::CaseInsensitive) == 0) return name;
    return {};
}

bool ShowPrinterDialog(QWidget* owner) {
    QPrinter& current = Printer();
    // The dialog edits a copy: a cancel must leave the printer untouched.
    QPrinter choice(QPrinter::HighResolution);
    copyDevice(current, choice);
    copySettings(current, choice);

    bool confirmed = false;
    if (dialogHook()) {
        confirmed = dialogHook()(choice);
    } else {
        QPrintDialog dialog(&choice, owner);
        // A picture is one page: no page range, no selection.
        dialog.setOptions(QAbstractPrintDialog::PrintToFile | QAbstractPrintDialog::PrintShowPageSize |
                          QAbstractPrintDialog::PrintCollateCopies);
        confirmed = dialog.exec() == QDialog::Accepted;
    }
    if (!confirmed) return false;

    if (isFile(choice)) {
        copyDevice(choice, current);
    } else {
        const QString name = isFile(current) ? QString() : current.printerName();
        const QString to = printerToSwitchTo(name, choice.printerName(), QPrinterInfo::availablePrinterNames());
        if (!to.isEmpty()) current.setPrinterName(to);
    }
    copySettings(choice, current);
    return true;
}

void PrintPicture(QWidget* pictureControl, int x, int y) {
    if (!pictureControl) {
        printerError("There is no picture to print.");
        return;
    }
    // What stands on the screen, child widgets included.
    const QImage shot = pictureControl->grab().toImage();
    if (shot.isNull()) {
        printerError("The picture could not be taken from the window.");
        return;
    }
    QPrinter& printer = Printer();
    QPainter painter;
    if (!painter.begin(&printer)) {
        printerError("Printing could not start on " + deviceName(printer) + ".");
        return;
    }
    // The picture keeps its size on screen: screen pixels to printer dots.
    const double sx = double(printer.resolution()) / pictureControl->logicalDpiX();
    const double sy = double(printer.resolution()) / pictureControl->logicalDpiY();
    const QRectF target(x, y, pictureControl->width() * sx, pictureControl->height() * sy);
    painter.drawImage(target, shot);
    const bool ended = painter.end();
    if (!ended || printer.printerState() == QPrinter::Error)
        printerError("The picture could not be sent to " + deviceName(printer) + ".");
}

}  // namespace qv::ui
