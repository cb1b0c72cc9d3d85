// The two routines behind every Print button: choosing the printer, and
// printing what a control shows.
#pragma once

#include <QPrinter>
#include <QStringList>

#include <functional>

class QWidget;

namespace qv::ui {

// The program's one printer: a choice made stands for the next print of the run;
// nothing of it is saved.
QPrinter& Printer();
// Lets the user choose printer and settings over owner; true when confirmed,
// and Printer() then holds the choice. Cancel leaves Printer() as it was.
bool ShowPrinterDialog(QWidget* owner);
// Prints what the control shows (child widgets included) with its top left corner
// at x, y on one page, at the size it has on screen; a failure shows a message box
// with the error's description, title "Printer Error!" and OK.
// x and y are in the printer's dots, from the top left of its printable area.
void PrintPicture(QWidget* pictureControl, int x, int y);
// Tests and scripted runs replace the dialog: the function gets the printer state as
// the dialog would (a QPrinter to edit) and returns whether the user confirmed.
void setPrinterDialogForTests(std::function<bool(QPrinter&)> dialog);  // empty: the real QPrintDialog

// Which installed printer a confirmed choice makes current: the installed
// name equal to the chosen one in any letter case; empty (the current
// printer stays as it is, settings and all) when the chosen name is the
// current one in any letter case or no installed printer has it.
QString printerToSwitchTo(const QString& current, const QString& chosen, const QStringList& installed);

}  // namespace qv::ui
