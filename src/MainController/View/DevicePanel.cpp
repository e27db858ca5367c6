#include "DevicePanel.h"

#include "Bundle.h"
#include "DeviceFactRow.h"
#include "ITDevice.h"
#include "Theme.h"

#include <QAccessible>
#include <QClipboard>
#include <QFrame>
#include <QGuiApplication>
#include <QLabel>

using namespace Qt::StringLiterals;

namespace {

constexpr int AlertTipMilliseconds = 1500;
/// What the server is told of every device of this client.
const QString DeviceType = u"PC"_s;

struct DeviceFacts {
    QString name;
    QString systemVersion;
    QString ip;
    QString mac;
};

DeviceFacts readDeviceFacts(ITDevice& device) {
    const ITDevice::Addresses addresses = device.addresses();
    return {device.machineName(), device.osVersion(), addresses.ip.join(u';'), addresses.mac.join(u';')};
}

} // namespace

DevicePanel::DevicePanel(Rows rows, QFrame* panel)
    : QObject(panel), m_rows(rows), m_panel(panel), m_alertTip(new QLabel(panel->window())) {
    m_alertTip->setObjectName(u"alertTip"_s);
    m_alertTip->hide();
    m_alertTipEnd.setSingleShot(true);
    connect(&m_alertTipEnd, &QTimer::timeout, m_alertTip, &QWidget::hide);
    connect(m_rows.name, &DeviceFactRow::copyPressed, this, &DevicePanel::copyDeviceName);
    connect(m_rows.type, &DeviceFactRow::copyPressed, this, &DevicePanel::copyDeviceType);
    connect(m_rows.systemVersion, &DeviceFactRow::copyPressed, this, &DevicePanel::copySystemVersion);
    connect(m_rows.clientVersion, &DeviceFactRow::copyPressed, this, &DevicePanel::copyMacVersion);
    connect(m_rows.ip, &DeviceFactRow::copyPressed, this, &DevicePanel::copyIPAddress);
    connect(m_rows.mac, &DeviceFactRow::copyPressed, this, &DevicePanel::copyMacAddress);
}

void DevicePanel::load(ITDevice& device, Platform::TaskGroup& work) {
    m_rows.clientVersion->setValue(Platform::infoValue(u"CFBundleVersion"_s));
    m_rows.type->setValue(DeviceType);
    const auto show = m_answers.wrapped([this](const DeviceFacts& facts) {
        m_rows.name->setValue(facts.name);
        m_rows.systemVersion->setValue(facts.systemVersion);
        m_rows.ip->setValue(facts.ip);
        m_rows.mac->setValue(facts.mac);
    });
    Platform::globalQueue().async([show, busy = work.token(), &device] { show(readDeviceFacts(device)); });
}

void DevicePanel::copy(const DeviceFactRow& row) {
    QGuiApplication::clipboard()->clear();
    QGuiApplication::clipboard()->setText(row.value());
    showAlertTip(u"已复制%1"_s.arg(row.label()));
}

void DevicePanel::showAlertTip(const QString& text) {
    m_alertTip->setText(text);
    m_alertTip->adjustSize();
    m_alertTip->move((m_panel->width() - m_alertTip->width()) / 2,
        m_panel->window()->height() - m_alertTip->height() - Theme::Space16);
    m_alertTip->show();
    m_alertTip->raise();
    m_alertTipEnd.start(AlertTipMilliseconds);
    QAccessibleEvent told(m_alertTip, QAccessible::Alert);
    QAccessible::updateAccessibility(&told);
}
