#include "ToolPictures.h"

#include "ForeignPicture.h"
#include "Theme.h"
#include "ToolOpener.h"
#include "Workspace.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QPainter>
#include <QPixmapCache>
#include <QPointer>
#include <QTextBoundaryFinder>

using namespace Qt::StringLiterals;

namespace {

constexpr int MostIcons = 256;
/// Twice the size at which they are shown: sharp on dense screens, too.
constexpr int IconSide = 2 * ToolPictures::Side;
const QString DefaultPicture = u"AppIcon"_s;

/// The picture meant for tools that the part of @p icon before its first dot names; empty when there is none.
QString pictureName(const QString& icon) {
    const QString name = icon.section(u'.', 0, 0);
    if (name == DefaultPicture)
        return name;
    const QString picture = u"tools/"_s + name;
    const bool isName = !name.isEmpty() && !name.contains(u'/');
    return isName && QFile::exists(u":/images/%1.svg"_s.arg(picture)) ? picture : QString();
}

/// Draws a picture once for all tiles and the next time: a scroll must not draw every one anew.
template <typename Draw>
QPixmap drawnOnce(const QString& name, qreal scale, Draw draw) {
    const QString key = u"tool/%1@%2"_s.arg(name).arg(scale);
    QPixmap drawn;
    if (!QPixmapCache::find(key, &drawn)) {
        drawn = draw();
        QPixmapCache::insert(key, drawn);
    }
    return drawn;
}

QPixmap namedPicture(const QString& name, qreal scale) {
    return drawnOnce(name, scale, [&] {
        return Theme::picture(name, {ToolPictures::Side, ToolPictures::Side}, scale);
    });
}

/// No icon is larger than it is shown; a small one is not blown up.
QPixmap iconPixmap(const QImage& icon, qreal scale) {
    const QSize room = QSize(ToolPictures::Side, ToolPictures::Side) * scale;
    const bool fits = icon.width() <= room.width() && icon.height() <= room.height();
    QImage drawn = fits ? icon : icon.scaled(room, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    drawn.setDevicePixelRatio(scale);
    return QPixmap::fromImage(drawn);
}

QString firstSign(const QString& name) {
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, name);
    const qsizetype end = finder.toNextBoundary();
    return name.left(std::max<qsizetype>(end, 0)).toUpper();
}

} // namespace

ToolPictures::ToolPictures(QStringList dataFolders, QObject* parent)
    : QObject(parent), m_dataFolders(std::move(dataFolders)), m_icons(MostIcons), m_reader(u"tool pictures"_s) {}

ToolPictures::~ToolPictures() = default;

std::optional<QPixmap> ToolPictures::picture(const QenToolModel& tool, qreal scale) {
    if (const QString name = pictureName(tool.icon); !name.isEmpty())
        return namedPicture(name, scale);
    if (isHyperlink(tool) || tool.procName.isEmpty() || !m_workspace)
        return QPixmap();
    if (const QImage* icon = m_icons.object(tool.procName))
        return icon->isNull() ? QPixmap() : iconPixmap(*icon, scale);
    search(tool.procName);
    return std::nullopt;
}

void ToolPictures::search(const QString& application) {
    if (m_searched.contains(application))
        return;
    m_searched.insert(application);
    m_reader.async([self = QPointer(this), workspace = m_workspace, folders = m_dataFolders, application] {
        const QString file = iconFile(workspace->iconOf(application), folders);
        QImage icon = file.isEmpty() ? QImage() : readForeignPicture(file, IconSide);
        if (icon.width() > IconSide || icon.height() > IconSide)
            icon = icon.scaled(IconSide, IconSide, Qt::KeepAspectRatio, Qt::SmoothTransformation);
        Platform::mainQueue().async([self, application, icon] {
            if (self)
                self->keep(application, icon);
        });
    });
}

void ToolPictures::keep(const QString& application, const QImage& icon) {
    m_searched.remove(application);
    m_icons.insert(application, new QImage(icon));
    Q_EMIT found();
}

QString iconFile(const QString& icon, const QStringList& dataFolders) {
    if (QDir::isAbsolutePath(icon))
        return icon;
    if (icon.isEmpty() || icon.contains(u'/'))
        return {};
    // The sizes that are drawn sharp come first.
    constexpr QLatin1StringView Places[] = {"icons/hicolor/128x128/apps/%1.png"_L1,
        "icons/hicolor/96x96/apps/%1.png"_L1, "icons/hicolor/256x256/apps/%1.png"_L1,
        "icons/hicolor/512x512/apps/%1.png"_L1, "icons/hicolor/scalable/apps/%1.svg"_L1,
        "icons/hicolor/64x64/apps/%1.png"_L1, "icons/hicolor/48x48/apps/%1.png"_L1, "pixmaps/%1.png"_L1,
        "pixmaps/%1.svg"_L1, "pixmaps/%1"_L1};
    for (const QString& folder : dataFolders) {
        for (const QLatin1StringView place : Places) {
            const QString path = folder + u'/' + QString(place).arg(icon);
            if (QFileInfo(path).isFile())
                return path;
        }
    }
    return {};
}

QPixmap initialPicture(const QString& name, qreal scale) {
    const QString sign = firstSign(name);
    if (sign.trimmed().isEmpty())
        return namedPicture(DefaultPicture, scale);
    const QColor tone = Theme::tone(sign[0].unicode());
    return drawnOnce(sign + tone.name(), scale, [&] {
        QPixmap drawn(QSize(ToolPictures::Side, ToolPictures::Side) * scale);
        drawn.setDevicePixelRatio(scale);
        drawn.fill(Qt::transparent);
        QPainter painter(&drawn);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(tone);
        // As the pictures meant for tools are drawn.
        const QRectF square(3, 3, ToolPictures::Side - 6, ToolPictures::Side - 6);
        painter.drawRoundedRect(square, Theme::Space12 - 1, Theme::Space12 - 1);
        painter.setFont(Theme::font(Theme::TextSize::Page));
        painter.setPen(Theme::color(Theme::Color::Card));
        painter.drawText(square, Qt::AlignCenter | Qt::TextSingleLine, sign);
        return drawn;
    });
}
