#include "ui/settings_form.h"

#include "app/settings.h"
#include "ui/qt_host.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QCloseEvent>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QRadioButton>
#include <QTabWidget>
#include <QVBoxLayout>

namespace qv::ui {

namespace {
QCheckBox* Check(QWidget* parent, const char* name, const char* caption) {
    auto* c = new QCheckBox(caption, parent);
    c->setObjectName(name);
    return c;
}
QRadioButton* Option(QWidget* parent, const char* name, const char* caption) {
    auto* r = new QRadioButton(caption, parent);
    r->setObjectName(name);
    return r;
}
QLineEdit* Text(QWidget* parent, const char* name, int width = 48) {
    auto* t = new QLineEdit(parent);
    t->setObjectName(name);
    t->setFixedWidth(width);
    return t;
}
}  // namespace

SettingsForm::SettingsForm(qv::app::AppContext& ctx, QWidget* parent) : QWidget(parent), ctx_(ctx) {
    setObjectName("SettingsForm");
    setWindowTitle("Settings");
    auto* v = new QVBoxLayout(this);
    SetTab_ = new QTabWidget(this);
    SetTab_->setObjectName("SetTab");
    SetTab_->addTab(directoryTab(), "Directory");
    SetTab_->addTab(hardcopyTraceTab(false), "Hardcopy ");
    SetTab_->addTab(hardcopyTraceTab(true), "Trace");
    SetTab_->addTab(ucorTab(), "User Correction");
    // The folder is chosen from the main menu; its tab stays switched off.
    SetTab_->setTabEnabled(0, false);
    SetTab_->setCurrentIndex(1);
    v->addWidget(SetTab_);
    UpdateAll();
    resize(460, 360);
}

SettingsForm::~SettingsForm() {
    if (!saved_) qv::app::SetLoadSave(2, ctx_);
}

void SettingsForm::closeEvent(QCloseEvent* e) {
    saved_ = true;
    qv::app::SetLoadSave(2, ctx_);
    QWidget::closeEvent(e);
}

QWidget* SettingsForm::directoryTab() {
    auto* w = new QWidget;
    auto* f = new QFormLayout(w);
    f->addRow("Save folder:", new QLabel(qs(ctx_.SaveFolder), w));
    f->addRow("Temp folder:", new QLabel(qs(ctx_.TempFolder), w));
    return w;
}

QWidget* SettingsForm::hardcopyTraceTab(bool trace) {
    auto* w = new QWidget;
    auto* v = new QVBoxLayout(w);
    auto* general = new QGroupBox("General", w);
    auto* g = new QVBoxLayout(general);
    auto* event = new QGroupBox(trace ? "On Trace Event" : "On Hardcopy Event", w);
    auto* e = new QVBoxLayout(event);
    if (!trace) {
        HcpyColor_ = Check(general, "HcpyColor", "Color");
        g->addWidget(HcpyColor_);
        HcpySaveImg_ = Check(event, "HcpySaveImg", "Save Image to File");
        HcpyCopyImg_ = Check(event, "HcpyCopyImg", "Copy Image to Clipboard");
        HcpyPastWrd_ = Check(event, "HcpyPastWrd", "Paste into Word");
        for (QCheckBox* c : {HcpySaveImg_, HcpyCopyImg_, HcpyPastWrd_}) e->addWidget(c);
        connect(HcpyColor_, &QCheckBox::clicked, this, [this](bool on) { ctx_.Color = on; });
        connect(HcpySaveImg_, &QCheckBox::clicked, this, [this](bool on) { ctx_.SaveImage = on; });
        connect(HcpyCopyImg_, &QCheckBox::clicked, this, [this](bool on) { ctx_.CopyImage = on; });
        connect(HcpyPastWrd_, &QCheckBox::clicked, this, [this](bool on) { ctx_.PasteWord = on; });
        general->setVisible(true);
    } else {
        general->hide();
        TracSaveDat_ = Check(event, "TracSaveDat", "Save Data to File");
        TracCopyImg_ = Check(event, "TracCopyImg", "Copy Image to Clipboard");
        TracCopyDat_ = Check(event, "TracCopyDat", "Copy Data to Clipboard");
        TracPastDat_ = Check(event, "TracPastDat", "Paste Data into Excel");
        for (QCheckBox* c : {TracSaveDat_, TracCopyImg_, TracCopyDat_, TracPastDat_}) e->addWidget(c);
        connect(TracSaveDat_, &QCheckBox::clicked, this, [this](bool on) { ctx_.SaveDat = on; });
        connect(TracPastDat_, &QCheckBox::clicked, this, [this](bool on) { ctx_.PastDat = on; });
        connect(TracCopyImg_, &QCheckBox::clicked, this, [this](bool on) {
            if (qv::app::TracCopyImgClicked(ctx_, on)) TracCopyDat_->setChecked(false);
        });
        connect(TracCopyDat_, &QCheckBox::clicked, this, [this](bool on) {
            if (qv::app::TracCopyDatClicked(ctx_, on)) TracCopyImg_->setChecked(false);
        });
    }
    v->addWidget(general);
    v->addWidget(event);
    v->addStretch();
    return w;
}

QWidget* SettingsForm::ucorTab() {
    auto* w = new QWidget;
    auto* grid = new QGridLayout(w);
    grid->setHorizontalSpacing(10);
    int r = 0;

    grid->addWidget(new QLabel("Column Separator", w), r, 0);
    auto* sepGroup = new QButtonGroup(w);
    UCorColTab_ = Option(w, "UCorColTab", "Tabulator");
    UCorColThis_ = Option(w, "UCorColThis", "");
    UCorColChar_ = Text(w, "UCorColChar", 32);
    UCorColChar_->setMaxLength(1);
    sepGroup->addButton(UCorColTab_);
    sepGroup->addButton(UCorColThis_);
    grid->addWidget(UCorColTab_, r, 1);
    auto* own = new QHBoxLayout;
    own->addWidget(UCorColThis_);
    own->addWidget(UCorColChar_);
    own->addStretch();
    grid->addLayout(own, r, 2, 1, 2);
    ++r;

    auto columnRow = [&](const char* title, QRadioButton*& first, QRadioButton*& last, QRadioButton*& thisOne,
                         QLineEdit*& value, const char* fn, const char* ln, const char* tn, const char* vn) {
        grid->addWidget(new QLabel(title, w), r, 0);
        auto* grp = new QButtonGroup(w);
        first = Option(w, fn, "1st");
        last = Option(w, ln, "Last");
        thisOne = Option(w, tn, "");
        value = Text(w, vn);
        grp->addButton(first);
        grp->addButton(last);
        grp->addButton(thisOne);
        grid->addWidget(first, r, 1);
        grid->addWidget(last, r, 2);
        auto* h = new QHBoxLayout;
        h->addWidget(thisOne);
        h->addWidget(value);
        h->addWidget(new QLabel("Column", w));
        h->addStretch();
        grid->addLayout(h, r, 3);
        ++r;
    };
    columnRow("Freq. values in", UCorXFirst_, UCorXLast_, UCorXThis_, UCorXValue_, "UCorXFirst", "UCorXLast",
              "UCorXThis", "UCorXValue");
    columnRow("Level values in", UCorYFirst_, UCorYLast_, UCorYThis_, UCorYValue_, "UCorYFirst", "UCorYLast",
              "UCorYThis", "UCorYValue");

    grid->addWidget(new QLabel("Start in Row", w), r, 0);
    UCorStartRow_ = Text(w, "UCorStartRow");
    grid->addWidget(UCorStartRow_, r, 1);
    ++r;

    grid->addWidget(new QLabel("Reduce Data:", w), r, 0);
    auto* red = new QButtonGroup(w);
    const char* names[] = {"take first", "take last", "puncture"};
    for (int i = 0; i < 3; ++i) {
        UCorRedMethod_[i] = Option(w, "UCorRedMethod", names[i]);
        red->addButton(UCorRedMethod_[i], i);
        grid->addWidget(UCorRedMethod_[i], r, 1 + i);
        connect(UCorRedMethod_[i], &QRadioButton::clicked, this, [this, i] { qv::app::UCorRedMethodClicked(ctx_, i); });
    }
    ++r;
    grid->setRowStretch(r, 1);
    grid->setColumnStretch(3, 1);

    connect(UCorColTab_, &QRadioButton::clicked, this, [this] {
        UCorColChar_->setEnabled(false);
        if (qv::app::UCorColTabClicked(ctx_, ss(UCorColChar_->text()))) refreshSeparator();
    });
    connect(UCorColThis_, &QRadioButton::clicked, this, [this] {
        UCorColChar_->setEnabled(true);
        if (qv::app::UCorColThisClicked(ctx_, ss(UCorColChar_->text()))) refreshSeparator();
    });
    connect(UCorColChar_, &QLineEdit::textEdited, this,
            [this](const QString& t) { qv::app::UCorColCharChanged(ctx_, ss(t)); });
    connect(UCorStartRow_, &QLineEdit::textEdited, this,
            [this](const QString& t) { qv::app::UCorStartRowChanged(ctx_, ss(t)); });
    connect(UCorXFirst_, &QRadioButton::clicked, this, [this] { qv::app::UCorXFirstClicked(ctx_); refreshColumns(); });
    connect(UCorXLast_, &QRadioButton::clicked, this, [this] { qv::app::UCorXLastClicked(ctx_); refreshColumns(); });
    connect(UCorXThis_, &QRadioButton::clicked, this, [this] { qv::app::UCorXThisClicked(ctx_); refreshColumns(); });
    connect(UCorYFirst_, &QRadioButton::clicked, this, [this] { qv::app::UCorYFirstClicked(ctx_); refreshColumns(); });
    connect(UCorYLast_, &QRadioButton::clicked, this, [this] { qv::app::UCorYLastClicked(ctx_); refreshColumns(); });
    connect(UCorYThis_, &QRadioButton::clicked, this, [this] { qv::app::UCorYThisClicked(ctx_); refreshColumns(); });
    connect(UCorXValue_, &QLineEdit::textEdited, this,
            [this](const QString& t) { qv::app::UCorXValueChanged(ctx_, ss(t)); });
    connect(UCorYValue_, &QLineEdit::textEdited, this,
            [this](const QString& t) { qv::app::UCorYValueChanged(ctx_, ss(t)); });
    // The column options open as laid out: the frequency in the first
    // column's own number, the level in the second.
    UCorXThis_->setChecked(true);
    UCorXValue_->setText("1");
    UCorYThis_->setChecked(true);
    UCorYValue_->setText("2");
    return w;
}

void SettingsForm::UpdateAll() {
    HcpySaveImg_->setChecked(ctx_.SaveImage != 0);
    HcpyCopyImg_->setChecked(ctx_.CopyImage != 0);
    HcpyPastWrd_->setChecked(ctx_.PasteWord != 0);
    HcpyColor_->setChecked(ctx_.Color != 0);
    TracSaveDat_->setChecked(ctx_.SaveDat != 0);
    TracCopyImg_->setChecked(ctx_.CopyImg != 0);
    TracCopyDat_->setChecked(ctx_.CopyDat != 0);
    TracPastDat_->setChecked(ctx_.PastDat != 0);
    refreshSeparator();
    UCorStartRow_->setText(QString::number(ctx_.StartRow));
    if (ctx_.ReduceMethod >= 0 && ctx_.ReduceMethod < 3) UCorRedMethod_[ctx_.ReduceMethod]->setChecked(true);
}

void SettingsForm::refreshSeparator() {
    qv::app::SeparatorView s = qv::app::SeparatorControls(ctx_);
    if (s.tabSelected) {
        UCorColTab_->setChecked(true);
        UCorColChar_->setEnabled(false);
    } else {
        UCorColChar_->setText(qs(s.charText));
        UCorColThis_->setChecked(true);
        UCorColChar_->setEnabled(true);
    }
}

void SettingsForm::refreshColumns() {
    auto apply = [](int16_t col, QRadioButton* first, QRadioButton* last, QRadioButton* thisOne, QLineEdit* value) {
        qv::app::ColumnView c = qv::app::ColumnControls(col);
        value->setEnabled(c.valueEnabled);
        switch (c.choice) {
            case qv::app::ColumnChoice::First: first->setChecked(true); break;
            case qv::app::ColumnChoice::Last: last->setChecked(true); break;
            case qv::app::ColumnChoice::This:
                thisOne->setChecked(true);
                value->setText(qs(c.valueText));
                break;
        }
    };
    apply(ctx_.XCol, UCorXFirst_, UCorXLast_, UCorXThis_, UCorXValue_);
    apply(ctx_.YCol, UCorYFirst_, UCorYLast_, UCorYThis_, UCorYValue_);
}

}  // namespace qv::ui
