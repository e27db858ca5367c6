#pragma once

#include "ClientWorld.h"

#include "ApplicationInterface.h"
#include "CustomMessageBox.h"
#include "MainViewWorld.h"
#include "MavResources.h"
#include "NotificationCenter.h"
#include "QenDetailWindow.h"
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

/// A home and a root that the running client takes for its own.
class RunningHome : public ClientFolder {
public:
    RunningHome() {
        qputenv("MAV_ROOT", machine().toLocal8Bit());
        qputenv("HOME", home().toLocal8Bit());
        qputenv("XDG_RUNTIME_DIR", file(u"run"_s).toLocal8Bit());
        QDir().mkpath(file(u"run"_s));
    }
    ~RunningHome() {
        qunsetenv("MAV_ROOT");
        for (const auto& [name, value] : m_before)
            qputenv(name, value);
    }

private:
    const std::map<const char*, QByteArray> m_before{
        {"HOME", qgetenv("HOME")}, {"XDG_RUNTIME_DIR", qgetenv("XDG_RUNTIME_DIR")}};
};

/// What the pages and windows of one client stand on, in a folder of its own; records what they ask of the application.
class ViewWorld final : public ApplicationInterface {
public:
    /// @param port  of the server in all three places of the agent's list; 0: there is no list
    explicit ViewWorld(quint16 port = 0) {
        if (port > 0)
            folder.configure(port);
    }
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
    /// The same for the left bar and the login window.
    SessionViewWorld sessionViews() {
        using namespace std::chrono_literals;
        return {.application = *this,
            .login = client.helper,
            .config = client.config,
            .device = client.device,
            .log = client.log,
            .center = center,
            .work = client.work,
            .pollInterval = 100ms,
            .codeInterval = codeInterval,
            .consoleInterval = 10s,
            .networkReader = [this](const QHostAddress&) { return network; }};
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
    void signInAs(const QString& user, LoginType type = LoginType::Account) { client.store(recordOf(user, type)); }
    std::optional<AccountModel> record() { return AccountModel::currentModel(folder.support()); }
    /// Writes the agent's choice of login methods.
    void offer(const char* otp, int qrcode, int account) {
        const QVariantMap methods{{"double_factor_auth", otp}, {"qrcode_login", qrcode}, {"pc_account_login", account}};
        QVERIFY(
            archiveRootObject(Platform::ArchiveValue::fromVariant(methods), folder.agent() + u"/userlogin.archive"_s));
    }

    ClientFolder folder;
    ClientWorld client{folder};
    Platform::NotificationCenter center;
    Platform::UserDefaults defaults{folder.file(u"defaults.plist"_s)};
    Platform::NetworkFacts network;
    Platform::Reachability reachability{[this](const QHostAddress&) { return network; }};
    std::chrono::milliseconds codeInterval{12000};

private:
    std::mutex m_mutex;
    QStringList m_alerts;
};

inline QString textFor(const char* key) {
    const QString text = localizedString(QString::fromLatin1(key));
    return text.isEmpty() ? u"no text for "_s + QString::fromLatin1(key) : text;
}

inline void press(QWidget& root, const char* button) {
    QTest::mouseClick(find<QAbstractButton>(root, button), Qt::LeftButton);
}
inline void enter(QWidget& root, const char* field) {
    QTest::keyClick(find<QLineEdit>(root, field), Qt::Key_Return);
}

/// Messages of the boxes that stand open.
inline QStringList boxTexts() {
    QStringList texts;
    for (const CustomMessageBox* box : CustomMessageBox::shown())
        texts << box->message();
    return texts;
}
