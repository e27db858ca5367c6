#pragma once

#include <QColor>
#include <QIcon>
#include <QPixmap>
#include <QSize>
#include <QString>

class QApplication;
class QFont;
class QLabel;
class QWidget;

/// Every value of the look, once: colours, type, space, shape, motion. The style sheet is made from them.
///
/// Forms name a role by a dynamic property and never a value: "textRole" (note, body, heading, page, state, second,
/// hint, error) on labels, "kind" (primary, outline, text, icon) on buttons. Main thread.
namespace Theme {
Q_NAMESPACE

/// The style sheet calls colours and type sizes by these names.
enum class Color : QRgb {
    Ground = 0xF5F7FA,
    Card = 0xFFFFFF,
    Line = 0xE5E8EF,
    Text = 0x1D2433,
    SecondText = 0x5B6577,
    Hint = 0x98A2B3,
    Brand = 0x2468F2,
    BrandHover = 0x4B85F5,
    BrandPressed = 0x1B52C4,
    BrandDisabled = 0xB9CEFB,
    BrandTint = 0xECF2FE,
    Safe = 0x17A673,
    SafeText = 0x0E7F57,
    Attention = 0xF46F16,
    Danger = 0xD6362B
};
Q_ENUM_NS(Color)

enum class TextSize { Note = 12, Body = 14, Heading = 16, Page = 20, State = 28 };
Q_ENUM_NS(TextSize)

/// How many times as large as ours the desktop wants type to be. A dense screen needs none of it: that scales windows.
qreal desktopTypeScale();
/// In pixels, as large as it is drawn.
int pixels(TextSize size);
/// @p height of what holds @p lines of text, with the room that larger type takes.
int roomFor(int height, int lines = 1);

/// Space and shape, in device-independent pixels.
inline constexpr int Space4 = 4, Space8 = 8, Space12 = 12, Space16 = 16, Space24 = 24, Space32 = 32;
inline constexpr int CardRadius = 8, ButtonRadius = 6;
inline constexpr int ControlHeight = 36;
inline constexpr int CardWidth = 380, BoxWidth = 420, LeftBarWidth = 96;
inline constexpr int IconSize = 20, SmallIconSize = 16;
inline constexpr int FocusRingWidth = 2, FocusRingGap = 2;
inline constexpr QSize MainWindowSize{960, 640}, MainWindowLeastSize{880, 600};
inline constexpr QSize HelpWindowSize{920, 600}, LoginWindowSize{720, 480};

inline QColor color(Color name) {
    return QColor(static_cast<QRgb>(name));
}
/// One of a few tones for things that are told apart by them, each dark enough for white signs.
QColor tone(size_t index);
/// The desktop's sans with a Chinese fallback.
QFont font(TextSize size);
/// The style sheet with every value filled in; no placeholder is left in it.
QString styleSheet();
/// @p sheet with the values in the place of their names, which stand between percent signs.
QString filledIn(QString sheet);

/// Style, palette, font and style sheet for the whole program: the light look, whatever the desktop's scheme. Once for
/// all windows that are made from then on.
void apply(QApplication& application, qreal typeScale = desktopTypeScale());

/// The picture ":/images/<name>.svg" drawn sharply for @p scale; null when there is none.
/// @param tint  replaces the picture's "currentColor"
QPixmap picture(const QString& name, QSize size, qreal scale, const QColor& tint = {});
/// Puts the picture, @p side points large and as sharp as its screen, into @p label.
void setPicture(QLabel* label, const QString& name, int side, const QColor& tint = {});
/// The same as an icon that is drawn afresh for each size and scale.
/// @param hover  the picture under the pointer, of buttons that raise themselves; empty: the same
QIcon icon(const QString& name, const QColor& tint = {}, const QString& hover = {});
/// The same in a row of fixed sizes, for trays and task bars: they ask which sizes there are and take nothing else.
QIcon iconInSizes(const QString& name, const QColor& tint = {});

/// Gives a widget another role after it was shown, e.g. setRole(label, "textRole", "error").
void setRole(QWidget* widget, const char* property, const QString& role);

} // namespace Theme
