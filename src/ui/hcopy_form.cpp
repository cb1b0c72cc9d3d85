#include "ui/hcopy_form.h"

#include "app/context.h"
#include "app/host.h"
#include "families/registry.h"
#include "ui/icons.h"
#include "ui/main_form.h"
#include "ui/picture_files.h"
#include "ui/printing_ops.h"
#include "ui/qt_host.h"
#include "ui/splash.h"

#include <QApplication>
#include <QClipboard>
#include <QCloseEvent>
#include <QComboBox>
#include <QDir>
#include <QDrag>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMimeData>
#include <QScrollArea>
#include <QTimer>
#include <QToolButton>
#include <QUrl>
#include <QVBoxLayout>

namespace qv::ui {

HCopyForm::HCopyForm(MainForm& main, QWidget* parent) : QWidget(parent), main_(main) {
    setObjectName("HCopyForm");
    setWindowTitle("Hardcopy - " + main_.deviceList()->currentText());
    auto* lay = new QVBoxLayout(this);
    lay->setContentsMargins(6, 6, 6, 6);
    strip_ = new QWidget(this);
    auto* row = new QHBoxLayout(strip_);
    row->setContentsMargins(0, 0, 0, 0);
    connect(addButton("imgUpdate", "Update", "Update the hard copy", int(ToolGlyph::Update)), &QToolButton::clicked,
            this, &HCopyForm::clickUpdate);
    connect(addButton("imgSave", "Save", "Save the image", int(ToolGlyph::Save)), &QToolButton::clicked, this,
            &HCopyForm::clickSave);
    connect(addButton("imgCopy", "Copy", "Copy image to clipboard", int(ToolGlyph::Copy)), &QToolButton::clicked,
            this, &HCopyForm::clickCopy);
    connect(addButton("imgPrint", "Print", "Print the image", int(ToolGlyph::Print)), &QToolButton::clicked, this,
            &HCopyForm::clickPrint);
    row->addStretch();
    lay->addWidget(strip_);
    image_ = new QLabel;
    image_->setObjectName("HCopyImage");
    image_->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    image_->setToolTip("Drag the picture out to drop it as a file");
    image_->installEventFilter(this);
    scroll_ = new QScrollArea(this);
    scroll_->setWidget(image_);
    scroll_->setWidgetResizable(false);
    scroll_->setAlignment(Qt::AlignCenter);
    scroll_->setBackgroundRole(QPalette::Dark);
    lay->addWidget(scroll_, 1);
    resize(640, 480);
}

HCopyForm::~HCopyForm() {
    if (splash_) splash_->ReadyToWork();
}

QToolButton* HCopyForm::addButton(const QString& name, const QString& caption, const QString& tip, int glyph) {
    QToolButton* b = MakeToolButton(strip_, name, caption, tip, ToolGlyph(glyph));
    strip_->layout()->addWidget(b);
    return b;
}

QToolButton* HCopyForm::button(const QString& objectName) const { return findChild<QToolButton*>(objectName); }

void HCopyForm::GetHardcopy() {
    // An Update while a hardcopy runs (its pauses let clicks through) waits
    // for nothing: the running one brings the picture.
    if (action_.running() || action_.closeAsked()) return;
    // A window that shows a picture fetched from a family that keeps its
    // pictures as files: there is no screen copy command to send.
    const family::Family* fam = family::find(MyDevType);
    if (fam && fam->picturesAsFiles) {
        app::host().message("Hardcopy",
                            "This instrument keeps its screen pictures as files on its own disk. Open the newest "
                            "one in the file browser (Instrument, Files).",
                            app::Icon::Information);
        return;
    }
    RunningAction::Scope scope(action_, WindowFrame(this));
    app::AppContext& ctx = app::context();
    hardcopy::Request r;
    r.resource = MyVISARsc;
    r.devType = MyDevType;
    r.mappedName = main_.CurrentInstrumentField();
    r.listText = main_.deviceList()->currentText().toStdString();
    r.saveFolder = ctx.SaveFolder;
    r.color = ctx.Color != 0;
    r.saveImage = ctx.SaveImage != 0;
    r.copyImage = ctx.CopyImage != 0;
    outcome_ = hardcopy::GetHardcopy(r, *this, ctx.HardcopyExtension);
    ctx.HardcopyExtension = outcome_.extension;
}

void HCopyForm::clickUpdate() {
    app::AppContext& ctx = app::context();
    main_.HotKeyManager(*this, ctx.UpdateHotKey.KeyCode, ctx.UpdateHotKey.Modifiers);
    if (action_.closeAsked()) return;
    if (ctx.CopyImage) CopyPicture();
    // PasteWord: the hand-over to a word processor is not part of this build;
    // the setting is kept and does nothing here.
}

void HCopyForm::clickSave() {
    const app::AppContext& ctx = app::context();
    main_.HotKeyManager(*this, ctx.SaveHotKey.KeyCode, ctx.SaveHotKey.Modifiers);
}

void HCopyForm::clickCopy() {
    const app::AppContext& ctx = app::context();
    main_.HotKeyManager(*this, ctx.CopyHotKey.KeyCode, ctx.CopyHotKey.Modifiers);
}

void HCopyForm::clickPrint() {
    if (ShowPrinterDialog(this)) PrintPicture(image_, 0, 0);
}

bool HCopyForm::showPicture(const std::string& file, hardcopy::Route route, std::string& why) {
    QImage img;
    if (route == hardcopy::Route::Direct) {
        img = loadPictureDirect(file);
        if (img.isNull()) why = "the picture could not be decoded";
    } else {
        loadPicture(file, img, why);
    }
    // The direct route leaves the box empty when it fails; the loader keeps
    // the last picture.
    if (img.isNull() && route != hardcopy::Route::Direct) return false;
    picture_ = img;
    pictureFile_ = file;
    image_->setPixmap(img.isNull() ? QPixmap() : QPixmap::fromImage(img));
    return !img.isNull();
}

bool HCopyForm::showPictureFile(const std::string& file) {
    std::string why;
    if (!showPicture(file, hardcopy::Route::Loader, why)) {
        app::host().message("ERROR", "The picture " + file + " cannot be shown: " + why + ".", app::Icon::Warning);
        return false;
    }
    fitToPicture();
    return true;
}

void HCopyForm::fitToPicture() {
    image_->adjustSize();
    image_->update();
    // The picture plus a margin, the button strip and the frame; never more
    // than the work area (the picture then scrolls).
    QWidget* f = WindowFrame(this);
    const int frameH = f == this ? 0 : f->height() - height();
    QSize want(image_->width() + 120, strip_->height() + image_->height() + frameH + 120);
    if (QMdiArea* area = main_.mdiArea()) want = want.boundedTo(area->viewport()->size());
    f->resize(want);
}

void HCopyForm::setSizeTwips(int width, int height) {
    // 15 twips to the pixel at the usual 96 dots per inch.
    WindowFrame(this)->resize(width / 15, height / 15);
}

void HCopyForm::clearClipboard() { QApplication::clipboard()->clear(); }

bool HCopyForm::progress(int percent) {
    app::AppContext& ctx = app::context();
    if (percent >= 100) {
        if (splash_) splash_->ReadyToWork();
        splash_ = nullptr;
        return true;
    }
    if (!splash_) splash_ = main_.showProgressSplash(true);
    if (splash_ && percent > 0) splash_->SplashSetProgessBar(percent);
    return !ctx.SplashCancelled;
}

void HCopyForm::CopyPicture() {
    QClipboard* cb = QApplication::clipboard();
    cb->clear();
    if (!picture_.isNull()) cb->setImage(picture_);
}

std::string HCopyForm::ImageType() const { return app::context().HardcopyExtension; }

bool HCopyForm::SavePicture(const std::string& path) {
    std::string why = "there is no picture yet";
    if (!picture_.isNull() && savePicture(picture_, path, why)) return true;
    app::host().message("ERROR", "The picture could not be saved as " + path + " (" + why + ").",
                        app::Icon::Warning);
    return false;
}

void HCopyForm::keyReleaseEvent(QKeyEvent* e) {
    main_.HotKeyReleased(*this, e);
    QWidget::keyReleaseEvent(e);
}

void HCopyForm::closeEvent(QCloseEvent* e) {
    if (action_.deferClose(WindowFrame(this), e)) return;
    e->accept();
}

bool HCopyForm::eventFilter(QObject* o, QEvent* e) {
    if (o != image_) return QWidget::eventFilter(o, e);
    if (e->type() == QEvent::MouseButtonPress) {
        auto* m = static_cast<QMouseEvent*>(e);
        pressed_ = m->button() == Qt::LeftButton;
        pressAt_ = m->pos();
    } else if (e->type() == QEvent::MouseButtonRelease) {
        pressed_ = false;
    } else if (e->type() == QEvent::MouseMove && pressed_) {
        auto* m = static_cast<QMouseEvent*>(e);
        if ((m->pos() - pressAt_).manhattanLength() >= QApplication::startDragDistance()) {
            pressed_ = false;
            dragPicture();
            return true;
        }
    }
    return QWidget::eventFilter(o, e);
}

void HCopyForm::dragPicture() {
    if (picture_.isNull()) return;
    // The instrument's own file when it is still there, else the picture as
    // a PNG in a folder of ours under the temporary folder.
    QString file = qs(pictureFile_);
    if (!QFileInfo::exists(file)) {
        QDir dir(QDir::temp().filePath("quilvane-drag"));
        dir.mkpath(".");
        QString base = QFileInfo(file).completeBaseName();
        file = dir.filePath((base.isEmpty() ? QString("hardcopy") : base) + ".png");
        std::string why;
        if (!savePicture(picture_, file.toStdString(), why)) return;
    }
    auto* mime = new QMimeData;
    mime->setUrls({QUrl::fromLocalFile(QFileInfo(file).absoluteFilePath())});
    mime->setImageData(picture_);
    auto* drag = new QDrag(this);
    drag->setMimeData(mime);
    drag->setPixmap(QPixmap::fromImage(picture_.scaled(160, 120, Qt::KeepAspectRatio, Qt::SmoothTransformation)));
    drag->exec(Qt::CopyAction);
}

}  // namespace qv::ui
