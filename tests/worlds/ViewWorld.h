#pragma once

#include "SessionWorld.h"

#include "MainViewWorld.h"
#include "Reachability.h"
#include "StringTable.h"
#include "UserDefaults.h"

using namespace Qt::StringLiterals;

/// What the pages of one client stand on, in a folder of its own; records what they ask of the application.
class ViewWorld final : public SessionWorld {
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
    QStringList alerts() { return told(); }
    void signInAs(const QString& user) {
        AccountModel record;
        record.setUserid(user);
        record.setTicket(u"T"_s);
        record.setLoginType(LoginType::Account);
        client.store(record);
    }

    Platform::UserDefaults defaults{folder.file(u"defaults.plist"_s)};
    Platform::Reachability reachability{[](const QHostAddress&) { return Platform::NetworkFacts(); }};
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
