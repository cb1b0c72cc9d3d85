// Pictures drawn in code: the five big buttons (up and hover state) and the
// program's own emblem. No artwork files are needed.
#pragma once

#include "app/main_window.h"

#include <QColor>
#include <QPixmap>
#include <QString>

class QToolButton;
class QWidget;

namespace qv::ui {

// A rounded tile with the button's glyph; hover lightens the tile.
// muted: the selected instrument cannot do it (the button still answers).
QPixmap BigButtonPicture(qv::app::BigButton kind, bool hover, int size = 64, qreal dpr = 1.0, bool muted = false);
// The emblem: a stylised waveform in a rounded square.
QPixmap ProgramEmblem(int size = 64);
// The glyphs of the small tool buttons of the child windows (dark on light).
enum class ToolGlyph { Update, Save, Copy, Print, NewFolder, Delete, Open, Load, Insert, Upload };
// The pictures of the instrument file browser's rows and drive box.
enum class FileGlyph { Folder, File, Drive };
QPixmap FilePicture(FileGlyph glyph, int size = 32);
QPixmap ToolPicture(ToolGlyph glyph, int size = 32);
// A tool button of the child windows' strips: its picture above its
// caption, flat until the pointer is over it. The caller places it.
QToolButton* MakeToolButton(QWidget* parent, const QString& name, const QString& caption, const QString& tip,
                            ToolGlyph glyph, int minWidth = 64);
// The accent colour of each button.
QColor ButtonColour(qv::app::BigButton kind);

}  // namespace qv::ui
