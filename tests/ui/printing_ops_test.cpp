// Printing: the choice made in the dialog and what lands on the page. Pages
// are printed to PDF and rendered back to pixels at 72 dpi (one pixel a
// point), so the test looks at the page as paper would show it.
#include "scripted_host.h"
#include "ui/printing_ops.h"
#include "ui_fixtures.h"

#include <QLabel>
#include <QPageLayout>
#include <QPixmap>
#include <QPrinter>
#include <QWidget>

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <functional>
#include <memory>

using qvtest::App;
using qvtest::ScriptedHost;
using qvtest::TempDir;

namespace {

// A dialog that prints in colour to the file and confirms. (The printer is
// one for the whole run: a test sets what it relies on.)
std::function<bool(QPrinter&)> toPdf(const std::string& file) {
    return [file](QPrinter& p) {
        p.setOutputFormat(QPrinter::PdfFormat);
        p.setOutputFileName(QString::fromStdString(file));
        p.setColorMode(QPrinter::Color);
        return true;
    };
}

struct HookReset {
    ~HookReset() { qv::ui::setPrinterDialogForTests({}); }
};

bool fileExists(const std::string& path) { return std::ifstream(path).good(); }

// The page as a 72 dpi picture; null when the renderer failed.
QImage renderPage(const TempDir& dir, const std::string& pdf) {
    std::string cmd = "timeout 60 pdftoppm -r 72 -png -singlefile '" + pdf + "' '" + dir.file("page") + "'";
    if (std::system(cmd.c_str()) != 0) return {};
    return QImage(QString::fromStdString(dir.file("page.png")));
}

// ---- what lands on the page ----------------------------------------------------

struct Patch {
    int x, y, w, h;  // in the control, screen pixels
    QRgb colour;
};

struct ControlCase {
    const char* name;
    std::function<QWidget*()> make;  // 200 x 100 screen pixels, white where no patch is
    std::vector<Patch> patches;
    int x, y;                        // where it is printed, printer dots
};

QWidget* pictureLabel() {
    QImage img(200, 100, QImage::Format_RGB32);
    img.fill(Qt::white);
    for (int y = 0; y < 50; ++y)
        for (int x = 0; x < 100; ++x) img.setPixel(x, y, qRgb(200, 30, 30));
    for (int y = 50; y < 100; ++y)
        for (int x = 100; x < 200; ++x) img.setPixel(x, y, qRgb(30, 160, 60));
    auto* label = new QLabel;
    label->setPixmap(QPixmap::fromImage(img));
    label->setContentsMargins(0, 0, 0, 0);
    label->setFixedSize(200, 100);
    return label;
}

QWidget* panelWithChildren() {
    auto* panel = new QWidget;
    panel->setFixedSize(200, 100);
    panel->setAutoFillBackground(true);
    QPalette white;
    white.setColor(QPalette::Window, Qt::white);
    panel->setPalette(white);
    auto child = [panel](int x, int y, QColor c) {
        auto* w = new QWidget(panel);
        w->setGeometry(x, y, 60, 40);
        w->setAutoFillBackground(true);
        QPalette p;
        p.setColor(QPalette::Window, c);
        w->setPalette(p);
    };
    child(20, 10, QColor(40, 60, 200));
    child(120, 50, QColor(230, 180, 20));
    return panel;
}

class PrintPicture : public ::testing::TestWithParam<ControlCase> {};

TEST_P(PrintPicture, PutsWhatTheControlShowsAtItsPlaceAndSize) {
    App();
    HookReset reset;
    TempDir dir;
    const std::string pdf = dir.file("out.pdf");
    qv::ui::setPrinterDialogForTests(toPdf(pdf));
    ASSERT_TRUE(qv::ui::ShowPrinterDialog(nullptr));
    std::unique_ptr<QWidget> control(GetParam().make());
    control->show();
    ScriptedHost host;
    qv::ui::PrintPicture(control.get(), GetParam().x, GetParam().y);
    EXPECT_TRUE(host.messages().empty()) << host.messages().front().text;

    QImage page = renderPage(dir, pdf);
    ASSERT_FALSE(page.isNull()) << "pdftoppm could not render " << pdf;
    // Where the picture must stand, in points.
    const QPrinter& printer = qv::ui::Printer();
    const QRectF printable = printer.pageLayout().paintRect(QPageLayout::Point);
    const double dotToPt = 72.0 / printer.resolution();
    const double pxToPt = 72.0 / control->logicalDpiX();
    const double left = printable.x() + GetParam().x * dotToPt, top = printable.y() + GetParam().y * dotToPt;
    auto pageAt = [&](double cx, double cy) {
        return page.pixel(static_cast<int>(left + cx * pxToPt), static_cast<int>(top + cy * pxToPt));
    };
    auto near = [](QRgb a, QRgb b) {
        return std::abs(qRed(a) - qRed(b)) < 24 && std::abs(qGreen(a) - qGreen(b)) < 24 &&
               std::abs(qBlue(a) - qBlue(b)) < 24;
    };
    for (const Patch& p : GetParam().patches) {
        QRgb got = pageAt(p.x + p.w / 2.0, p.y + p.h / 2.0);
        EXPECT_TRUE(near(got, p.colour)) << std::hex << "patch at " << std::dec << p.x << "," << p.y << ": got "
                                         << std::hex << (got & 0xFFFFFF) << " want " << (p.colour & 0xFFFFFF);
        // Its corners stand where the control's do, at the control's size.
        EXPECT_TRUE(near(pageAt(p.x + 3, p.y + 3), p.colour));
        EXPECT_TRUE(near(pageAt(p.x + p.w - 3, p.y + p.h - 3), p.colour));
    }
    // Nothing else on the page: just outside the picture it is white.
    EXPECT_TRUE(near(pageAt(-4, 50), qRgb(255, 255, 255)));
    EXPECT_TRUE(near(pageAt(204, 50), qRgb(255, 255, 255)));
    EXPECT_TRUE(near(pageAt(100, 104), qRgb(255, 255, 255)));
}

INSTANTIATE_TEST_SUITE_P(
    Controls, PrintPicture,
    ::testing::Values(
        ControlCase{"PictureAtTheCorner", pictureLabel,
                    {{0, 0, 100, 50, qRgb(200, 30, 30)}, {100, 50, 100, 50, qRgb(30, 160, 60)}}, 0, 0},
        ControlCase{"PictureMovedOnThePage", pictureLabel,
                    {{0, 0, 100, 50, qRgb(200, 30, 30)}, {100, 50, 100, 50, qRgb(30, 160, 60)}}, 1200, 600},
        ControlCase{"ChildWidgets", panelWithChildren,
                    {{20, 10, 60, 40, qRgb(40, 60, 200)}, {120, 50, 60, 40, qRgb(230, 180, 20)}}, 0, 0}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(PrintPictureFailure, APrinterThatCannotStartShowsThePrinterError) {
    App();
    HookReset reset;
    qv::ui::setPrinterDialogForTests(toPdf("/nonexistent-folder/x/out.pdf"));
    ASSERT_TRUE(qv::ui::ShowPrinterDialog(nullptr));
    std::unique_ptr<QWidget> control(pictureLabel());
    ScriptedHost host;
    qv::ui::PrintPicture(control.get(), 0, 0);
    qv::ui::PrintPicture(nullptr, 0, 0);
    ASSERT_EQ(host.messages().size(), 2u);
    for (const auto& m : host.messages()) {
        EXPECT_EQ(m.title, "Printer Error!");
        EXPECT_EQ(m.buttons, qv::app::Buttons::Ok);
    }
    EXPECT_NE(host.messages()[0].text.find("/nonexistent-folder/x/out.pdf"), std::string::npos);
}

// ---- the choice --------------------------------------------------------------

TEST(ShowPrinterDialog, ConfirmTakesTheSettingsAndTheNextDialogStartsFromThem) {
    App();
    HookReset reset;
    TempDir dir;
    const std::string pdf = dir.file("first.pdf");
    qv::ui::setPrinterDialogForTests([&](QPrinter& p) {
        toPdf(pdf)(p);
        p.setCopyCount(3);
        p.setPageOrientation(QPageLayout::Landscape);
        p.setColorMode(QPrinter::GrayScale);
        p.setPaperSource(QPrinter::Manual);
        p.setPageSize(QPageSize(QPageSize::A5));
        p.setResolution(300);
        return true;
    });
    ASSERT_TRUE(qv::ui::ShowPrinterDialog(nullptr));
    const QPrinter& printer = qv::ui::Printer();
    EXPECT_EQ(printer.outputFileName().toStdString(), pdf);
    EXPECT_EQ(printer.copyCount(), 3);
    EXPECT_EQ(printer.pageLayout().orientation(), QPageLayout::Landscape);
    EXPECT_EQ(printer.colorMode(), QPrinter::GrayScale);
    EXPECT_EQ(printer.paperSource(), QPrinter::Manual);
    EXPECT_EQ(printer.pageLayout().pageSize().id(), QPageSize::A5);
    EXPECT_EQ(printer.resolution(), 300);

    // The dialog opens on the current choice.
    bool sawChoice = false;
    qv::ui::setPrinterDialogForTests([&](QPrinter& p) {
        sawChoice = p.outputFileName().toStdString() == pdf && p.copyCount() == 3 &&
                    p.pageLayout().orientation() == QPageLayout::Landscape &&
                    p.pageLayout().pageSize().id() == QPageSize::A5 && p.colorMode() == QPrinter::GrayScale;
        return true;
    });
    ASSERT_TRUE(qv::ui::ShowPrinterDialog(nullptr));
    EXPECT_TRUE(sawChoice);
    EXPECT_EQ(printer.copyCount(), 3);  // confirmed unchanged: still the same
}

TEST(ShowPrinterDialog, CancelChangesNothingAndPrintsNothing) {
    App();
    HookReset reset;
    TempDir dir;
    const std::string kept = dir.file("kept.pdf"), other = dir.file("other.pdf");
    qv::ui::setPrinterDialogForTests([&](QPrinter& p) {
        toPdf(kept)(p);
        p.setCopyCount(2);
        p.setPageOrientation(QPageLayout::Portrait);
        p.setPageSize(QPageSize(QPageSize::A4));
        return true;
    });
    ASSERT_TRUE(qv::ui::ShowPrinterDialog(nullptr));
    qv::ui::setPrinterDialogForTests([&](QPrinter& p) {
        toPdf(other)(p);
        p.setCopyCount(7);
        p.setPageOrientation(QPageLayout::Landscape);
        p.setPageSize(QPageSize(QPageSize::Letter));
        return false;
    });
    EXPECT_FALSE(qv::ui::ShowPrinterDialog(nullptr));
    const QPrinter& printer = qv::ui::Printer();
    EXPECT_EQ(printer.outputFileName().toStdString(), kept);
    EXPECT_EQ(printer.copyCount(), 2);
    EXPECT_EQ(printer.pageLayout().orientation(), QPageLayout::Portrait);
    EXPECT_EQ(printer.pageLayout().pageSize().id(), QPageSize::A4);
    EXPECT_FALSE(fileExists(other));
    EXPECT_FALSE(fileExists(kept));
}

struct NameCase {
    const char* name;
    const char* current;
    const char* chosen;
    const char* switchTo;  // empty: the current printer stays
};

class PrinterToSwitchTo : public ::testing::TestWithParam<NameCase> {};

TEST_P(PrinterToSwitchTo, FollowsTheInstalledNameInAnyCase) {
    const QStringList installed = {"Lab-Laser", "Office Color", "PDF"};
    EXPECT_EQ(qv::ui::printerToSwitchTo(GetParam().current, GetParam().chosen, installed).toStdString(),
              std::string(GetParam().switchTo));
}

INSTANTIATE_TEST_SUITE_P(Names, PrinterToSwitchTo,
                         ::testing::Values(NameCase{"UpperCaseKeeps", "Lab-Laser", "LAB-LASER", ""},
                                           NameCase{"LowerCaseKeeps", "Lab-Laser", "lab-laser", ""},
                                           NameCase{"SameNameKeeps", "Lab-Laser", "Lab-Laser", ""},
                                           NameCase{"OtherTakesInstalledSpelling", "Lab-Laser", "office color",
                                                    "Office Color"},
                                           NameCase{"FromNoPrinter", "", "pdf", "PDF"},
                                           NameCase{"UnknownKeeps", "Lab-Laser", "Gone Printer", ""}),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
