#include "StatusItem.h"

#include "Theme.h"

#include <QGuiApplication>
#include <QSystemTrayIcon>

using namespace Qt::StringLiterals;

StatusItem::StatusItem(QObject* parent) : QObject(parent) {}

StatusItem::~StatusItem() = default;

void StatusItem::setTrayAvailable(bool available) {
    if (!available)
        m_item.reset();
    if (!available || m_item)
        return;
    // One shape in a tone that stands out on light and dark panels alike: no tray tells its colour.
    m_item = std::make_unique<QSystemTrayIcon>(
        Theme::iconInSizes(u"Mav_status_icon"_s, Theme::color(Theme::Color::BrandHover)));
    m_item->setToolTip(QGuiApplication::applicationDisplayName());
    connect(m_item.get(), &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
        if (reason == QSystemTrayIcon::Trigger)
            Q_EMIT clicked();
        else if (reason == QSystemTrayIcon::Context)
            Q_EMIT menuRequested();
    });
    m_item->show();
}
