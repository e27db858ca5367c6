#include "Theme.h"

#include <QAbstractButton>
#include <QAbstractScrollArea>
#include <QApplication>
#include <QFile>
#include <QFocusFrame>
#include <QFontDatabase>
#include <QFontInfo>
#include <QKeyEvent>
#include <QLineEdit>
#include <QLocale>
#include <QMetaEnum>
#include <QPainter>
#include <QPalette>
#include <QPointer>
#include <QProxyStyle>
#include <QPushButton>
#include <QStyleOption>

#include <algorithm>

using namespace Qt::StringLiterals;

using Theme::Color;
using Theme::color;

namespace {

/// Beyond it, forms would be too high for a small screen.
constexpr qreal LargestTypeScale = 1.5;
/// Of Body.
constexpr int LineHeight = 20;

qreal& typeScale() {
    static qreal scale = Theme::desktopTypeScale();
    return scale;
}

/// The widget style under the style sheet: draws the focus ring outside its control and keeps menus and boxes in the
/// light look.
class ThemeStyle final : public QProxyStyle {
public:
    ThemeStyle() : QProxyStyle(u"Fusion"_s) {}

    int pixelMetric(PixelMetric metric, const QStyleOption* option, const QWidget* widget) const override {
        if (metric == PM_FocusFrameHMargin || metric == PM_FocusFrameVMargin)
            return Theme::FocusRingGap + Theme::FocusRingWidth;
        return QProxyStyle::pixelMetric(metric, option, widget);
    }

    int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
        QStyleHintReturn* returnData) const override {
        if (hint == SH_FocusFrame_Mask)
            return 0;
        // A frame beside the control would be cut by the control's card; above the window's content it is whole.
        if (hint == SH_FocusFrame_AboveWidget)
            return 1;
        return QProxyStyle::styleHint(hint, option, widget, returnData);
    }

    void drawControl(
        ControlElement element, const QStyleOption* option, QPainter* painter, const QWidget* widget) const override {
        if (element != CE_FocusFrame) {
            QProxyStyle::drawControl(element, option, painter, widget);
            return;
        }
        const qreal half = Theme::FocusRingWidth / 2.0;
        const qreal radius = Theme::CardRadius + Theme::FocusRingGap;
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        painter->setPen(QPen(Theme::color(Theme::Color::Brand), Theme::FocusRingWidth));
        painter->setBrush(Qt::NoBrush);
        painter->drawRoundedRect(QRectF(option->rect).adjusted(half, half, -half, -half), radius, radius);
        painter->restore();
    }

    void drawPrimitive(
        PrimitiveElement element, const QStyleOption* option, QPainter* painter, const QWidget* widget) const override {
        // The ring tells the focus; the dotted inner frame would tell it twice.
        if (element != PE_FrameFocusRect)
            QProxyStyle::drawPrimitive(element, option, painter, widget);
    }
};

/// What each window of the program does for the keyboard: a ring around the control that has it, and Enter presses a
/// button as Space does.
class KeyboardHelp final : public QObject {
public:
    explicit KeyboardHelp(QApplication& application) : QObject(&application) {
        connect(&application, &QApplication::focusChanged, this, [this](QWidget*, QWidget* now) { follow(now); });
        application.installEventFilter(this);
    }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        auto* button = event->type() == QEvent::KeyPress ? qobject_cast<QAbstractButton*>(watched) : nullptr;
        const auto* press = button ? static_cast<QKeyEvent*>(event) : nullptr;
        if (!press || (press->key() != Qt::Key_Return && press->key() != Qt::Key_Enter))
            return false;
        // Where a dialog has a button for it, Enter is the dialog's own business.
        const auto others = button->window()->findChildren<QPushButton*>();
        if (std::any_of(others.begin(), others.end(), [](const QPushButton* other) { return other->isDefault(); }))
            return false;
        if (!press->isAutoRepeat())
            button->click();
        return true;
    }

private:
    void follow(QWidget* widget) {
        const bool hasRing = qobject_cast<QAbstractButton*>(widget) || qobject_cast<QLineEdit*>(widget) ||
            qobject_cast<QAbstractScrollArea*>(widget);
        // The frame lives in the control's window and dies with it.
        if (hasRing && !m_frame) {
            m_frame = new QFocusFrame(widget);
            m_frame->setObjectName(u"focusRing"_s);
            m_frame->setAttribute(Qt::WA_TransparentForMouseEvents);
        }
        if (m_frame)
            m_frame->setWidget(hasRing ? widget : nullptr);
    }

    QPointer<QFocusFrame> m_frame;
};

QPalette lightPalette() {
    QPalette palette(color(Color::Text), color(Color::Card), color(Color::Card), color(Color::SecondText),
        color(Color::SecondText), color(Color::Text), color(Color::Card), color(Color::Card), color(Color::Ground));
    constexpr std::pair<QPalette::ColorRole, Color> Roles[] = {{QPalette::Highlight, Color::Brand},
        {QPalette::HighlightedText, Color::Card}, {QPalette::Link, Color::Brand},
        {QPalette::LinkVisited, Color::BrandPressed}, {QPalette::PlaceholderText, Color::Hint},
        {QPalette::ToolTipBase, Color::Text}, {QPalette::ToolTipText, Color::Card}, {QPalette::Mid, Color::Line}};
    for (const auto& [role, name] : Roles)
        palette.setColor(role, color(name));
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(QPalette::Disabled, role, color(Color::Hint));
    return palette;
}

} // namespace

qreal Theme::desktopTypeScale() {
    const QFontInfo wanted(QFontDatabase::systemFont(QFontDatabase::GeneralFont));
    return std::clamp(wanted.pixelSize() / static_cast<qreal>(TextSize::Body), 1.0, LargestTypeScale);
}

int Theme::pixels(TextSize size) {
    return qRound(static_cast<int>(size) * typeScale());
}

int Theme::roomFor(int height, int lines) {
    return height + qRound(lines * LineHeight * (typeScale() - 1));
}

QString Theme::styleSheet() {
    QFile file(u":/theme.qss"_s);
    return file.open(QIODevice::ReadOnly) ? filledIn(QString::fromUtf8(file.readAll())) : QString();
}

QString Theme::filledIn(QString sheet) {
    const auto fill = [&sheet](const char* name, const QString& value) {
        sheet.replace(u"%%1%"_s.arg(QLatin1StringView(name)), value);
    };
    const auto colors = QMetaEnum::fromType<Color>();
    for (int index = 0; index < colors.keyCount(); ++index)
        fill(colors.key(index), color(static_cast<Color>(colors.value(index))).name());
    const auto sizes = QMetaEnum::fromType<TextSize>();
    for (int index = 0; index < sizes.keyCount(); ++index)
        fill(sizes.key(index), QString::number(pixels(static_cast<TextSize>(sizes.value(index)))));
    const std::pair<const char*, int> lengths[] = {{"CardRadius", CardRadius}, {"ButtonRadius", ButtonRadius},
        {"ControlHeight", roomFor(ControlHeight)}, {"Segment", roomFor(ControlHeight - Space4)},
        {"TextButton", roomFor(ControlHeight - Space8)}, {"TabWidth", LeftBarWidth - Space24},
        {"CardInner", roomFor(CardWidth, 8) - 2},
        // Within its one-pixel line.
        {"FieldInner", roomFor(ControlHeight) - 2}};
    for (const auto& [name, length] : lengths)
        fill(name, QString::number(length));
    return sheet;
}

void Theme::apply(QApplication& application, qreal scale) {
    typeScale() = scale;
    QLocale::setDefault(QLocale(QLocale::Chinese, QLocale::China));
    application.setStyle(new ThemeStyle);
    application.setPalette(lightPalette());
    application.setFont(font(TextSize::Body));
    application.setStyleSheet(styleSheet());
    application.setWindowIcon(iconInSizes(u"mark"_s));
    static const QPointer<KeyboardHelp> help(new KeyboardHelp(application));
}
