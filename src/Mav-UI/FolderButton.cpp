#include "FolderButton.h"

#include "Theme.h"
#include "WrappableText.h"

#include <QStyleOptionButton>
#include <QStylePainter>

using namespace Qt::StringLiterals;

namespace {

const QString Change = u"更改"_s;
/// Longer than any path of the system.
constexpr qsizetype LongestPath = 4096;

} // namespace

FolderButton::FolderButton(QWidget* parent) : QPushButton(parent) {
    // The path's length decides nothing about the width.
    setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
    // Enter belongs to the button that finishes the work.
    setAutoDefault(false);
    setAccessibleDescription(u"更改文件夹"_s);
}

void FolderButton::setTitle(const QString& path) {
    m_title = path;
    // Rich text, so that it wraps.
    setToolTip(u"<p>%1</p>"_s.arg(wrappable(path, LongestPath).toHtmlEscaped()));
    update();
}

QString FolderButton::shownTitle(int width) const {
    QString line = m_title;
    for (QChar& unit : line) {
        // A line break in a name is no line break here.
        if (!unit.isPrint() && !unit.isSurrogate())
            unit = QChar::ReplacementCharacter;
    }
    return fontMetrics().elidedText(line, Qt::ElideMiddle, width);
}

QSize FolderButton::sizeHint() const {
    return {Theme::CardWidth, Theme::ControlHeight};
}

QSize FolderButton::minimumSizeHint() const {
    return {0, Theme::ControlHeight};
}

void FolderButton::paintEvent(QPaintEvent*) {
    QStylePainter painter(this);
    QStyleOptionButton option;
    initStyleOption(&option);
    painter.drawControl(QStyle::CE_PushButtonBevel, option);

    QRect area = rect().adjusted(Theme::Space12, 0, -Theme::Space12, 0);
    const QSize pictureSize(Theme::SmallIconSize, Theme::SmallIconSize);
    const QPoint pictureAt(area.left(), area.center().y() - pictureSize.height() / 2 + 1);
    painter.drawPixmap(QRect(pictureAt, pictureSize),
        Theme::picture(u"folder"_s, pictureSize, devicePixelRatioF(), Theme::color(Theme::Color::SecondText)));
    constexpr int Middle = Qt::AlignVCenter | Qt::TextSingleLine;
    painter.setPen(Theme::color(Theme::Color::Brand));
    painter.drawText(area, Middle | Qt::AlignRight, Change);
    area.adjust(pictureSize.width() + Theme::Space8, 0, -fontMetrics().horizontalAdvance(Change) - Theme::Space12, 0);
    painter.setPen(Theme::color(Theme::Color::Text));
    painter.drawText(area, Middle | Qt::AlignLeft, shownTitle(area.width()));
}
