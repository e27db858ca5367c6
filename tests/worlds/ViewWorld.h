#pragma once

#include "ClientWorld.h"

#include "ApplicationInterface.h"
#include "MainViewWorld.h"
#include "MavResources.h"
#include "NotificationCenter.h"
#include "Reachability.h"
#include "ReferenceServer.h"
#include "StringTable.h"
#include "Theme.h"
#include "UserDefaults.h"
#include "WidgetDriving.h"

#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

#include <mutex>

using namespace Qt::StringLiterals;

/// What the pages of one client stand on, in a folder of its own; records what they ask of the application.
class ViewWorld final : public ApplicationInterface {
public:
    static void prepareApplication() {
        initMavResources();
        QVERIFY(installStringTable());
        Theme::apply(*qApp);
    }

    MainViewWorld views() {
        using namespace std::chrono_literals;
        return {.application = *this,
            .login = client.helper,
            .config = client.config,
            .log = client.log,
            .center = center,
            .defaults = defaults,
            .reachability = reachability,
            .work = client.work,
            .applicationSupport = folder.support(),
            .agentState = folder.agent(),
            .probeDelay = 50ms,
            .ticketInterval = 100ms};
    }
    void showAlertTipForLogin(const QString& text) override {
        const std::lock_guard lock(m_mutex);
        m_alerts << text;
    }
    QStringList alerts() {
        const std::lock_guard lock(m_mutex);
        return m_alerts;
    }
    void clearAlerts() {
        const std::lock_guard lock(m_mutex);
        m_alerts.clear();
    }
    void signInAs(const QString& user) {
        AccountModel record;
        record.setUserid(user);
        record.setTicket(u"T"_s);
        record.setLoginType(LoginType::Account);
        client.store(record);
    }

    ClientFolder folder;
    ClientWorld client{folder};
    Platform::NotificationCenter center;
    Platform::UserDefaults defaults{folder.file(u"defaults.plist"_s)};
    Platform::Reachability reachability{[](const QHostAddress&) { return Platform::NetworkFacts(); }};

private:
    std::mutex m_mutex;
    QStringList m_alerts;
};

inline QString textFor(const char* key) {
    const QString text = localizedString(QString::fromLatin1(key));
    return text.isEmpty() ? u"no text for "_s + QString::fromLatin1(key) : text;
}

inline void press(QWidget& root, const char* button) {
    QTest::mouseClick(find<QPushButton>(root, button), Qt::LeftButton);
}
inline void enter(QWidget& root, const char* field) {
    QTest::keyClick(find<QLineEdit>(root, field), Qt::Key_Return);
}
