#include "StatusItem.h"

#include "Theme.h"

#include <QGuiApplication>
#include <QSystemTrayIcon>

namespace {

/// One shape in a tone that stands out on light and dark panels alike: no tray tells its colour.
QIcon templatePicture() {
    const QColor tone = Theme::color(Theme::Color::BrandHover);
    QIcon icon;
    // The tray asks which sizes there are and takes nothing else.
    for (const int side : {16, 22, 24, 32, 48, 64})
        icon.addPixmap(Theme::picture(QStringLiteral("Mav_status_icon"), {side, side}, 1, tone));
    return icon;
}

} // namespace

StatusItem::StatusItem(QObject* parent) : QObject(parent) {}

StatusItem::~StatusItem() = default;

void StatusItem::setTrayAvailable(bool available) {
    if (!available)
        m_item.reset();
    else if (!m_item)
        makeItem();
}

void StatusItem::makeItem() {
    m_item = std::make_unique<QSystemTrayIcon>(templatePicture());
    m_item->setToolTip(QGuiApplication::applicationDisplayName());
    connect(m_item.get(), &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
        if (reason == QSystemTrayIcon::Trigger)
            Q_EMIT clicked();
        else if (reason == QSystemTrayIcon::Context)
            Q_EMIT menuRequested();
    });
    m_item->show();
}
