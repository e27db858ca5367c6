#include "Motion.h"

#include "BusConnection.h"

#include <QCoreApplication>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QElapsedTimer>

using namespace Qt::StringLiterals;

namespace {

/// An answer older than that is asked for again.
constexpr qint64 FreshMilliseconds = 10 * 1000;
constexpr int AnswerMilliseconds = 2000;

/// Whether the desktop's animations are on. The value comes in one more variant.
bool areAnimationsOn(const QDBusPendingCall& answer) {
    const QDBusPendingReply<QDBusVariant> reply = answer;
    if (reply.isError())
        return true;
    QVariant value = reply.value().variant();
    if (value.canConvert<QDBusVariant>())
        value = value.value<QDBusVariant>().variant();
    return value.typeId() != QMetaType::Bool || value.toBool();
}

class DesktopSetting {
public:
    bool isReduced() {
        // Without its address the library would look for a bus, and start one.
        const bool isDue = !m_asked.isValid() || m_asked.elapsed() > FreshMilliseconds;
        if (isDue && !qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS"))
            ask();
        return m_isReduced;
    }

private:
    void ask() {
        m_asked.start();
        auto question = QDBusMessage::createMethodCall(u"org.freedesktop.portal.Desktop"_s,
            u"/org/freedesktop/portal/desktop"_s, u"org.freedesktop.portal.Settings"_s, u"Read"_s);
        question.setArguments({u"org.gnome.desktop.interface"_s, u"enable-animations"_s});
        question.setAutoStartService(false);
        QObject* const context = QCoreApplication::instance();
        m_bus.find(context, [this, context, question](const QDBusConnection& bus) {
            auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(question, AnswerMilliseconds), context);
            QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher, [this, watcher] {
                m_isReduced = !areAnimationsOn(*watcher);
                watcher->deleteLater();
            });
        });
    }

    Platform::BusConnection m_bus;
    QElapsedTimer m_asked;
    bool m_isReduced = false;
};

} // namespace

bool Motion::isReduced() {
    // Never destroyed: an answer may come while the program ends.
    static auto& setting = *new DesktopSetting;
    const QByteArray wish = qgetenv("MAV_REDUCED_MOTION");
    return wish == "1" || (wish != "0" && setting.isReduced());
}
