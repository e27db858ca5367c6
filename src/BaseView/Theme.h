#pragma once

#include <QColor>
#include <QIcon>
#include <QPixmap>
#include <QSize>
#include <QString>

class QApplication;
class QFont;
class QWidget;

/// Every value of the look, once: colours, type, space, shape, motion. The style sheet is made from them.
///
/// Forms name a role by a dynamic property and never a value: "textRole" (note, body, heading, page, state, second,
/// hint, error) on labels, "kind" (primary, outline, text, icon) on buttons. Main thread.
namespace Theme {

enum class Color {
    Ground,
    Card,
    Line,
    Text,
    SecondText,
    Hint,
    Brand,
    BrandHover,
    BrandPressed,
    BrandDisabled,
    BrandTint,
    Safe,
    SafeText,
    Attention,
    Danger
};

enum class TextSize { Note = 12, Body = 14, Heading = 16, Page = 20, State = 28 };

/// Space and shape, in device-independent pixels.
inline constexpr int Space4 = 4;
inline constexpr int Space8 = 8;
inline constexpr int Space12 = 12;
inline constexpr int Space16 = 16;
inline constexpr int Space24 = 24;
inline constexpr int Space32 = 32;
inline constexpr int CardRadius = 8;
inline constexpr int ButtonRadius = 6;
inline constexpr int ControlHeight = 36;
inline constexpr int CardWidth = 380;
inline constexpr int BoxWidth = 420;
inline constexpr int LeftBarWidth = 96;
inline constexpr int IconSize = 20;
inline constexpr int SmallIconSize = 16;
inline constexpr int FocusRingWidth = 2;
inline constexpr int FocusRingGap = 2;
inline constexpr int MotionMilliseconds = 120;
inline constexpr QSize MainWindowSize{960, 640};
inline constexpr QSize MainWindowLeastSize{880, 600};
inline constexpr QSize HelpWindowSize{920, 600};
inline constexpr QSize LoginWindowSize{720, 480};

QColor color(Color name);
/// One of a few tones for things that are told apart by them, each dark enough for white signs.
QColor tone(size_t index);
/// The desktop's sans with a Chinese fallback.
QFont font(TextSize size);
/// The style sheet with every value filled in; no placeholder is left in it.
QString styleSheet();

/// Style, palette, font and style sheet for the whole program: the light look, whatever the desktop's scheme.
void apply(QApplication& application);

/// The picture ":/images/<name>.svg" drawn sharply for @p scale; null when there is none.
/// @param tint  replaces the picture's "currentColor"
QPixmap picture(const QString& name, QSize size, qreal scale, const QColor& tint = {});
/// The same as an icon that is drawn afresh for each size and scale.
QIcon icon(const QString& name, const QColor& tint = {});
/// The same in a row of fixed sizes, for trays and task bars: they ask which sizes there are and take nothing else.
QIcon iconInSizes(const QString& name, const QColor& tint = {});

/// Gives a widget another role after it was shown, e.g. setRole(label, "textRole", "error").
void setRole(QWidget* widget, const char* property, const QString& role);

} // namespace Theme
