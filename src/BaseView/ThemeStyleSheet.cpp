#include "Theme.h"

#include <QHash>

using namespace Qt::StringLiterals;

namespace Theme {

namespace {

// Names between percent signs are filled in from the values.
constexpr auto Template = R"(
* { outline: none; }
QWidget { color: %text%; font-size: %body%px; }
QToolTip { background: %text%; color: %card%; border: none; padding: 4px 8px; font-size: %note%px; }

#ground, QStackedWidget > QWidget { background: %ground%; }
#titleArea, #headLine { background: %card%; border: none; border-bottom: 1px solid %line%; }
#leftBar { background: %card%; border: none; border-right: 1px solid %line%; }
#boxGround { background: %card%; }
PageCard { background: %card%; border: 1px solid %line%; border-radius: %cardRadius%px; }
#overviewCard, #detailCard { background: %card%; border: 1px solid %line%; border-radius: %cardRadius%px; }
#boxGround QStackedWidget > QWidget { background: transparent; }
PageCard QStackedWidget, PageCard QStackedWidget > QWidget { background: transparent; }

QLabel { background: transparent; }
QLabel[textRole="note"] { font-size: %note%px; color: %second%; }
QLabel[textRole="second"] { color: %second%; }
QLabel[textRole="hint"] { font-size: %note%px; color: %second%; }
QLabel[textRole="heading"] { font-size: %heading%px; font-weight: 500; }
QLabel[textRole="page"] { font-size: %page%px; font-weight: 500; }
QLabel[textRole="state"] { font-size: %state%px; font-weight: 500; }
QLabel[textRole="link"] { color: %brand%; }
QLabel[textRole="warn"] { color: %attention%; }
QLabel[textRole="safe"] { color: %safeText%; }
QLabel[textRole="failed"] { color: %danger%; }
QLabel[textRole="error"] { font-size: %note%px; color: %danger%; }

QLineEdit { background: %card%; border: 1px solid %line%; border-radius: %cardRadius%px; padding: 0 11px;
            min-height: %fieldInner%px; max-height: %fieldInner%px; selection-background-color: %brand%;
            selection-color: %card%; }
QLineEdit:hover { border-color: %hint%; }
QLineEdit:focus { border-color: %brand%; }
QLineEdit[faulty="true"] { border-color: %danger%; }
QLineEdit:disabled { background: %ground%; color: %second%; }

QPushButton { min-height: %control%px; max-height: %control%px; border: none; border-radius: %buttonRadius%px;
              padding: 0 16px; }
QPushButton[kind="primary"] { background: %brand%; color: %card%; font-weight: 500; }
QPushButton[kind="primary"]:hover { background: %brandHover%; }
QPushButton[kind="primary"]:pressed { background: %brandPressed%; }
QPushButton[kind="primary"]:disabled { background: %brandDisabled%; }
QPushButton[kind="outline"] { background: %card%; color: %text%; border: 1px solid %line%;
                              min-height: %fieldInner%px; max-height: %fieldInner%px; }
QPushButton[kind="outline"]:hover { border-color: %brand%; color: %brand%; }
QPushButton[kind="outline"]:pressed { border-color: %brandPressed%; color: %brandPressed%; background: %tint%; }
QPushButton[kind="outline"]:disabled { color: %hint%; }
QPushButton[kind="text"] { background: transparent; color: %brand%; padding: 0 2px; min-height: 28px; max-height: 28px; }
QPushButton[kind="text"]:hover { text-decoration: underline; }
QPushButton[kind="text"]:pressed { color: %brandPressed%; }
QPushButton[kind="text"]:disabled { color: %hint%; }
QToolButton[kind="icon"] { background: transparent; border: none; border-radius: %buttonRadius%px; padding: 6px; }
QToolButton[kind="icon"]:hover, QToolButton[kind="icon"]:open { background: %ground%; }
QToolButton[kind="icon"]:pressed { background: %tint%; }
QToolButton::menu-indicator { image: none; }
QToolButton[kind="segment"] { background: transparent; border: none; border-radius: %buttonRadius%px; padding: 0 16px;
                              min-height: %segment%px; max-height: %segment%px; color: %second%; }
QToolButton[kind="segment"]:hover { color: %brand%; }
QToolButton[kind="segment"]:checked { background: %tint%; color: %brandPressed%; font-weight: 500; }
QToolButton[kind="tab"] { background: transparent; border: none; border-radius: %buttonRadius%px; padding: 8px 0;
                          min-width: %tabWidth%px; font-size: %note%px; color: %second%; }
QToolButton[kind="tab"]:hover { color: %text%; background: %ground%; }
QToolButton[kind="tab"]:checked { background: %tint%; color: %brandPressed%; }
QToolButton[kind="outline"] { background: %card%; color: %text%; border: 1px solid %line%; border-radius: %buttonRadius%px;
                              padding: 0 16px; min-height: %fieldInner%px; max-height: %fieldInner%px; }
QToolButton[kind="outline"]:hover { border-color: %brand%; color: %brand%; }
QToolButton[kind="outline"]:pressed { border-color: %brandPressed%; color: %brandPressed%; background: %tint%; }
QToolButton[kind="outline"]:disabled { color: %hint%; }
QToolButton[kind="textTool"] { background: transparent; color: %brand%; border: none; padding: 0 2px; min-height: 28px; }
QToolButton[kind="textTool"]:hover { text-decoration: underline; }
QToolButton[kind="textTool"]:pressed { color: %brandPressed%; }
QToolButton[kind="picture"] { background: transparent; border: none; padding: 0; }
#devicePanel { background: %card%; border: none; border-right: 1px solid %line%; }
#alertTip { background: %text%; color: %card%; border-radius: %buttonRadius%px; padding: 8px 12px; font-size: %note%px; }

QMenu { background: %card%; border: 1px solid %line%; padding: 8px 0; }
QMenu::item { padding: 8px 24px 8px 16px; min-width: 168px; background: transparent; }
QMenu::item:selected { background: %tint%; color: %brandPressed%; }
QMenu::item:disabled { color: %hint%; background: transparent; }
QMenu::separator { height: 1px; background: %line%; margin: 8px 0; }

QListView { background: transparent; border: none; }
#overviewTree, #detailTree, #checkRows, #messageArea, #toolsArea, #toolsGrid { background: transparent; border: none; }
#helpTopics::item, #trustListView::item { padding: 8px 12px; border-radius: %buttonRadius%px; color: %text%; }
#helpTopics::item:hover, #trustListView::item:hover { background: %ground%; }
#helpTopics::item:selected, #trustListView::item:selected { background: %tint%; color: %brandPressed%; }
QTextBrowser { background: %card%; border: none; }
QScrollBar:vertical { background: transparent; width: 12px; margin: 0; }
QScrollBar::handle:vertical { background: %hint%; border-radius: 4px; min-height: 32px; margin: 2px; }
QScrollBar::add-line, QScrollBar::sub-line { height: 0; }
QScrollBar::add-page, QScrollBar::sub-page { background: transparent; }
)";

QString pixels(TextSize size) {
    return QString::number(static_cast<int>(size));
}

} // namespace

QString styleSheet() {
    const QHash<QString, QString> values{
        {u"ground"_s, color(Color::Ground).name()},
        {u"card"_s, color(Color::Card).name()},
        {u"line"_s, color(Color::Line).name()},
        {u"text"_s, color(Color::Text).name()},
        {u"second"_s, color(Color::SecondText).name()},
        {u"hint"_s, color(Color::Hint).name()},
        {u"brand"_s, color(Color::Brand).name()},
        {u"brandHover"_s, color(Color::BrandHover).name()},
        {u"brandPressed"_s, color(Color::BrandPressed).name()},
        {u"brandDisabled"_s, color(Color::BrandDisabled).name()},
        {u"tint"_s, color(Color::BrandTint).name()},
        {u"safeText"_s, color(Color::SafeText).name()},
        {u"attention"_s, color(Color::Attention).name()},
        {u"danger"_s, color(Color::Danger).name()},
        {u"note"_s, pixels(TextSize::Note)},
        {u"body"_s, pixels(TextSize::Body)},
        {u"heading"_s, pixels(TextSize::Heading)},
        {u"page"_s, pixels(TextSize::Page)},
        {u"state"_s, pixels(TextSize::State)},
        {u"cardRadius"_s, QString::number(CardRadius)},
        {u"buttonRadius"_s, QString::number(ButtonRadius)},
        {u"control"_s, QString::number(ControlHeight)},
        {u"segment"_s, QString::number(ControlHeight - Space4)},
        {u"tabWidth"_s, QString::number(LeftBarWidth - Space24)},
        // Within its one-pixel line.
        {u"fieldInner"_s, QString::number(ControlHeight - 2)},
    };
    QString sheet = QString::fromUtf8(Template);
    for (auto value = values.cbegin(); value != values.cend(); ++value)
        sheet.replace(u'%' + value.key() + u'%', value.value());
    return sheet;
}

} // namespace Theme
