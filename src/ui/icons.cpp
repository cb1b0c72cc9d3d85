#include "ui/icons.h"

#include <QIcon>
#include <QToolButton>

#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <algorithm>
#include <cmath>

namespace qv::ui {

using qv::app::BigButton;

QColor ButtonColour(BigButton kind) {
    switch (kind) {
        case BigButton::Hardcopy: return QColor(0x2f, 0x7d, 0xd1);
        case BigButton::Trace: return QColor(0x1f, 0x9e, 0x89);
        case BigButton::FilesInstr: return QColor(0xe0, 0x8e, 0x2b);
        case BigButton::Tables: return QColor(0x7b, 0x5c, 0xc9);
        case BigButton::Scripts: return QColor(0x4a, 0x5a, 0x6e);
    }
    return Qt::gray;
}

namespace {

void Tile(QPainter& p, const QRectF& r, QColor c, bool hover) {
    if (hover) c = c.lighter(118);
    QLinearGradient g(r.topLeft(), r.bottomLeft());
    g.setColorAt(0, c.lighter(112));
    g.setColorAt(1, c.darker(108));
    QPainterPath path;
    path.addRoundedRect(r, r.width() * 0.22, r.height() * 0.22);
    p.fillPath(path, g);
    if (hover) {
        p.setPen(QPen(QColor(255, 255, 255, 150), r.width() * 0.03));
        p.drawPath(path);
    }
}

// The white outline every picture is drawn with.
void OutlinePen(QPainter& p, qreal s) {
    p.setPen(QPen(Qt::white, s * 0.045, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    p.setBrush(Qt::NoBrush);
}

void Screen(QPainter& p, qreal s) {
    // A display with a picture (mountain and sun) on it.
    QRectF scr(s * 0.2, s * 0.24, s * 0.6, s * 0.42);
    OutlinePen(p, s);
    p.drawRoundedRect(scr, s * 0.04, s * 0.04);
    p.drawLine(QPointF(s * 0.38, s * 0.78), QPointF(s * 0.62, s * 0.78));
    p.drawLine(QPointF(s * 0.5, s * 0.66), QPointF(s * 0.5, s * 0.78));
    QPainterPath m;
    m.moveTo(s * 0.26, s * 0.6);
    m.lineTo(s * 0.4, s * 0.42);
    m.lineTo(s * 0.5, s * 0.54);
    m.lineTo(s * 0.58, s * 0.46);
    m.lineTo(s * 0.74, s * 0.6);
    p.setBrush(QColor(255, 255, 255, 200));
    p.setPen(Qt::NoPen);
    p.drawPath(m);
    p.drawEllipse(QPointF(s * 0.66, s * 0.34), s * 0.045, s * 0.045);
}

void Trace(QPainter& p, qreal s) {
    p.setPen(QPen(QColor(255, 255, 255, 120), s * 0.02));
    for (int i = 1; i < 4; ++i) {
        qreal y = s * (0.22 + 0.14 * i);
        p.drawLine(QPointF(s * 0.2, y), QPointF(s * 0.8, y));
    }
    p.setPen(QPen(Qt::white, s * 0.045, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    p.drawLine(QPointF(s * 0.2, s * 0.2), QPointF(s * 0.2, s * 0.8));
    p.drawLine(QPointF(s * 0.2, s * 0.8), QPointF(s * 0.82, s * 0.8));
    QPainterPath w;
    for (int i = 0; i <= 60; ++i) {
        qreal x = i / 60.0;
        qreal peak = std::exp(-std::pow((x - 0.55) * 9, 2));
        qreal y = 0.72 - 0.08 * std::sin(x * 40) * 0.3 - 0.42 * peak;
        QPointF pt(s * (0.24 + 0.54 * x), s * y);
        if (i == 0) w.moveTo(pt); else w.lineTo(pt);
    }
    p.setBrush(Qt::NoBrush);
    p.drawPath(w);
}

void Folder(QPainter& p, qreal s) {
    QPainterPath f;
    f.moveTo(s * 0.2, s * 0.3);
    f.lineTo(s * 0.42, s * 0.3);
    f.lineTo(s * 0.48, s * 0.37);
    f.lineTo(s * 0.8, s * 0.37);
    f.lineTo(s * 0.8, s * 0.74);
    f.lineTo(s * 0.2, s * 0.74);
    f.closeSubpath();
    p.setPen(QPen(Qt::white, s * 0.045, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    p.setBrush(QColor(255, 255, 255, 60));
    p.drawPath(f);
    // An arrow in: files travel from the instrument.
    p.drawLine(QPointF(s * 0.5, s * 0.45), QPointF(s * 0.5, s * 0.65));
    p.drawLine(QPointF(s * 0.42, s * 0.57), QPointF(s * 0.5, s * 0.65));
    p.drawLine(QPointF(s * 0.58, s * 0.57), QPointF(s * 0.5, s * 0.65));
}

void Table(QPainter& p, qreal s) {
    QRectF t(s * 0.2, s * 0.24, s * 0.6, s * 0.52);
    OutlinePen(p, s);
    p.drawRoundedRect(t, s * 0.04, s * 0.04);
    p.fillRect(QRectF(t.left(), t.top(), t.width(), s * 0.12), QColor(255, 255, 255, 170));
    p.setPen(QPen(Qt::white, s * 0.025));
    for (int i = 1; i < 3; ++i) p.drawLine(QPointF(t.left(), t.top() + s * (0.12 + 0.13 * i)), QPointF(t.right(), t.top() + s * (0.12 + 0.13 * i)));
    p.drawLine(QPointF(s * 0.4, t.top()), QPointF(s * 0.4, t.bottom()));
    p.drawLine(QPointF(s * 0.6, t.top()), QPointF(s * 0.6, t.bottom()));
}

void Script(QPainter& p, qreal s) {
    QRectF d(s * 0.24, s * 0.2, s * 0.52, s * 0.6);
    OutlinePen(p, s);
    p.drawRoundedRect(d, s * 0.05, s * 0.05);
    // A prompt and three command lines.
    p.drawLine(QPointF(s * 0.32, s * 0.32), QPointF(s * 0.38, s * 0.37));
    p.drawLine(QPointF(s * 0.38, s * 0.37), QPointF(s * 0.32, s * 0.42));
    p.setPen(QPen(QColor(255, 255, 255, 210), s * 0.035, Qt::SolidLine, Qt::RoundCap));
    p.drawLine(QPointF(s * 0.43, s * 0.42), QPointF(s * 0.66, s * 0.42));
    p.drawLine(QPointF(s * 0.32, s * 0.54), QPointF(s * 0.66, s * 0.54));
    p.drawLine(QPointF(s * 0.32, s * 0.66), QPointF(s * 0.56, s * 0.66));
}

}  // namespace

QPixmap BigButtonPicture(BigButton kind, bool hover, int size, qreal dpr, bool muted) {
    QPixmap pm(QSize(size, size) * dpr);
    pm.setDevicePixelRatio(dpr);
    pm.fill(Qt::transparent);
    QPainter p(&pm);
    p.setRenderHint(QPainter::Antialiasing);
    qreal s = size;
    Tile(p, QRectF(s * 0.04, s * 0.04, s * 0.92, s * 0.92), muted ? QColor(0xa9, 0xb3, 0xbf) : ButtonColour(kind), hover);
    switch (kind) {
        case BigButton::Hardcopy: Screen(p, s); break;
        case BigButton::Trace: Trace(p, s); break;
        case BigButton::FilesInstr: Folder(p, s); break;
        case BigButton::Tables: Table(p, s); break;
        case BigButton::Scripts: Script(p, s); break;
    }
    return pm;
}

QPixmap ProgramEmblem(int size) {
    QPixmap pm(size, size);
    pm.fill(Qt::transparent);
    QPainter p(&pm);
    p.setRenderHint(QPainter::Antialiasing);
    qreal s = size;
    Tile(p, QRectF(s * 0.04, s * 0.04, s * 0.92, s * 0.92), QColor(0x24, 0x4a, 0x7c), false);
    QPainterPath w;
    for (int i = 0; i <= 80; ++i) {
        qreal x = i / 80.0;
        qreal y = 0.5 - 0.25 * std::sin(x * 2 * M_PI * 2) * std::exp(-1.5 * x);
        QPointF pt(s * (0.18 + 0.64 * x), s * y);
        if (i == 0) w.moveTo(pt); else w.lineTo(pt);
    }
    p.setPen(QPen(QColor(0x7f, 0xd3, 0xff), s * 0.07, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    p.drawPath(w);
    return pm;
}

namespace {
// A folder: its tab and its body, filled.
void FolderPath(QPainter& p, qreal s, const QColor& fill) {
    QPainterPath f;
    f.moveTo(s * 0.1, s * 0.28);
    f.lineTo(s * 0.38, s * 0.28);
    f.lineTo(s * 0.45, s * 0.36);
    f.lineTo(s * 0.9, s * 0.36);
    f.lineTo(s * 0.9, s * 0.82);
    f.lineTo(s * 0.1, s * 0.82);
    f.closeSubpath();
    p.setBrush(fill);
    p.drawPath(f);
    p.setBrush(Qt::NoBrush);
}
// A sheet with a folded corner.
void SheetPath(QPainter& p, qreal s) {
    QPainterPath f;
    f.moveTo(s * 0.24, s * 0.1);
    f.lineTo(s * 0.6, s * 0.1);
    f.lineTo(s * 0.76, s * 0.26);
    f.lineTo(s * 0.76, s * 0.9);
    f.lineTo(s * 0.24, s * 0.9);
    f.closeSubpath();
    p.setBrush(Qt::white);
    p.drawPath(f);
    p.setBrush(Qt::NoBrush);
    p.drawLine(QPointF(s * 0.6, s * 0.1), QPointF(s * 0.6, s * 0.26));
    p.drawLine(QPointF(s * 0.6, s * 0.26), QPointF(s * 0.76, s * 0.26));
}
}  // namespace

QPixmap ToolPicture(ToolGlyph glyph, int size) {
    QPixmap pm(size, size);
    pm.fill(Qt::transparent);
    QPainter p(&pm);
    p.setRenderHint(QPainter::Antialiasing);
    const qreal s = size;
    const QColor ink(0x33, 0x44, 0x55);
    p.setPen(QPen(ink, s * 0.07, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    p.setBrush(Qt::NoBrush);
    switch (glyph) {
        case ToolGlyph::Update: {
            // A circular arrow.
            QRectF r(s * 0.2, s * 0.2, s * 0.6, s * 0.6);
            p.drawArc(r, 40 * 16, 290 * 16);
            QPointF tip(s * 0.73, s * 0.3);
            p.drawLine(tip, tip + QPointF(-s * 0.16, s * 0.0));
            p.drawLine(tip, tip + QPointF(s * 0.02, s * 0.16));
            break;
        }
        case ToolGlyph::Save: {
            // A disk with its label and shutter.
            QRectF d(s * 0.18, s * 0.18, s * 0.64, s * 0.64);
            p.drawRoundedRect(d, s * 0.06, s * 0.06);
            p.drawRect(QRectF(s * 0.32, s * 0.18, s * 0.36, s * 0.2));
            p.fillRect(QRectF(s * 0.3, s * 0.52, s * 0.4, s * 0.3), QColor(0x2f, 0x7d, 0xd1));
            break;
        }
        case ToolGlyph::Copy: {
            // Two sheets, one over the other.
            p.drawRoundedRect(QRectF(s * 0.18, s * 0.14, s * 0.42, s * 0.52), s * 0.05, s * 0.05);
            p.setBrush(Qt::white);
            p.drawRoundedRect(QRectF(s * 0.38, s * 0.34, s * 0.42, s * 0.52), s * 0.05, s * 0.05);
            break;
        }
        case ToolGlyph::Print: {
            // A printer with paper coming out.
            p.drawRect(QRectF(s * 0.3, s * 0.14, s * 0.4, s * 0.22));
            p.drawRoundedRect(QRectF(s * 0.14, s * 0.36, s * 0.72, s * 0.3), s * 0.05, s * 0.05);
            p.setBrush(Qt::white);
            p.drawRect(QRectF(s * 0.3, s * 0.56, s * 0.4, s * 0.3));
            break;
        }
        case ToolGlyph::NewFolder: {
            // A folder with a plus in its corner.
            FolderPath(p, s, QColor(0xf2, 0xc2, 0x5c));
            p.setPen(QPen(QColor(0x1f, 0x9e, 0x89), s * 0.09, Qt::SolidLine, Qt::RoundCap));
            p.drawLine(QPointF(s * 0.72, s * 0.12), QPointF(s * 0.72, s * 0.38));
            p.drawLine(QPointF(s * 0.59, s * 0.25), QPointF(s * 0.85, s * 0.25));
            break;
        }
        case ToolGlyph::Delete: {
            // A bin with its lid.
            p.drawLine(QPointF(s * 0.2, s * 0.26), QPointF(s * 0.8, s * 0.26));
            p.drawLine(QPointF(s * 0.42, s * 0.16), QPointF(s * 0.58, s * 0.16));
            QPainterPath bin;
            bin.moveTo(s * 0.27, s * 0.26);
            bin.lineTo(s * 0.32, s * 0.84);
            bin.lineTo(s * 0.68, s * 0.84);
            bin.lineTo(s * 0.73, s * 0.26);
            p.drawPath(bin);
            p.setPen(QPen(QColor(0xc8, 0x3c, 0x3c), s * 0.06, Qt::SolidLine, Qt::RoundCap));
            p.drawLine(QPointF(s * 0.43, s * 0.4), QPointF(s * 0.57, s * 0.7));
            p.drawLine(QPointF(s * 0.57, s * 0.4), QPointF(s * 0.43, s * 0.7));
            break;
        }
        case ToolGlyph::Open: {
            // A sheet with an eye-like window on it: show the file.
            SheetPath(p, s);
            p.setPen(QPen(QColor(0x2f, 0x7d, 0xd1), s * 0.06));
            p.drawEllipse(QRectF(s * 0.38, s * 0.48, s * 0.24, s * 0.24));
            break;
        }
        case ToolGlyph::Load: {
            // A sheet with an arrow coming out of it: a file read in.
            SheetPath(p, s);
            p.setPen(QPen(QColor(0x1f, 0x9e, 0x89), s * 0.08, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
            p.drawLine(QPointF(s * 0.5, s * 0.4), QPointF(s * 0.5, s * 0.78));
            p.drawLine(QPointF(s * 0.36, s * 0.64), QPointF(s * 0.5, s * 0.78));
            p.drawLine(QPointF(s * 0.64, s * 0.64), QPointF(s * 0.5, s * 0.78));
            break;
        }
        case ToolGlyph::Insert: {
            // Rows of a list with a plus beside them.
            for (qreal y : {0.28, 0.5, 0.72}) p.drawLine(QPointF(s * 0.14, s * y), QPointF(s * 0.52, s * y));
            p.setPen(QPen(QColor(0x1f, 0x9e, 0x89), s * 0.09, Qt::SolidLine, Qt::RoundCap));
            p.drawLine(QPointF(s * 0.74, s * 0.36), QPointF(s * 0.74, s * 0.64));
            p.drawLine(QPointF(s * 0.6, s * 0.5), QPointF(s * 0.88, s * 0.5));
            break;
        }
        case ToolGlyph::Upload: {
            // An arrow rising onto a bar: the table sent to the instrument.
            p.drawLine(QPointF(s * 0.18, s * 0.18), QPointF(s * 0.82, s * 0.18));
            p.setPen(QPen(QColor(0x2f, 0x7d, 0xd1), s * 0.09, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
            p.drawLine(QPointF(s * 0.5, s * 0.84), QPointF(s * 0.5, s * 0.34));
            p.drawLine(QPointF(s * 0.32, s * 0.52), QPointF(s * 0.5, s * 0.34));
            p.drawLine(QPointF(s * 0.68, s * 0.52), QPointF(s * 0.5, s * 0.34));
            break;
        }
    }
    return pm;
}

QPixmap FilePicture(FileGlyph glyph, int size) {
    QPixmap pm(size, size);
    pm.fill(Qt::transparent);
    QPainter p(&pm);
    p.setRenderHint(QPainter::Antialiasing);
    const qreal s = size;
    p.setPen(QPen(QColor(0x33, 0x44, 0x55), std::max(1.0, s * 0.05), Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    switch (glyph) {
        case FileGlyph::Folder: FolderPath(p, s, QColor(0xf2, 0xc2, 0x5c)); break;
        case FileGlyph::File: SheetPath(p, s); break;
        case FileGlyph::Drive: {
            // A drive's case with its light.
            p.setBrush(QColor(0xdd, 0xe3, 0xea));
            p.drawRoundedRect(QRectF(s * 0.1, s * 0.34, s * 0.8, s * 0.34), s * 0.06, s * 0.06);
            p.setPen(Qt::NoPen);
            p.setBrush(QColor(0x1f, 0x9e, 0x89));
            p.drawEllipse(QRectF(s * 0.7, s * 0.47, s * 0.09, s * 0.09));
            break;
        }
    }
    return pm;
}

QToolButton* MakeToolButton(QWidget* parent, const QString& name, const QString& caption, const QString& tip,
                            ToolGlyph glyph, int minWidth) {
    auto* b = new QToolButton(parent);
    b->setObjectName(name);
    b->setText(caption);
    b->setToolTip(tip);
    b->setIcon(QIcon(ToolPicture(glyph, 32)));
    b->setIconSize(QSize(32, 32));
    b->setToolButtonStyle(Qt::ToolButtonTextUnderIcon);
    b->setAutoRaise(true);
    b->setMinimumWidth(minWidth);
    return b;
}

}  // namespace qv::ui
