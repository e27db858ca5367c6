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

QElapsedTimer lastAsked;
bool isReducedByDesktop = false;

/// Whether the desktop's animations are on. The value comes in one more variant.
bool areAnimationsOn(const QDBusPendingReply<QDBusVariant>& reply) {
    if (reply.isError())
        return true;
    QVariant value = reply.value().variant();
    if (value.canConvert<QDBusVariant>())
        value = value.value<QDBusVariant>().variant();
    return value.typeId() != QMetaType::Bool || value.toBool();
}

void askDesktop() {
    lastAsked.start();
    auto question = QDBusMessage::createMethodCall(u"org.freedesktop.portal.Desktop"_s,
        u"/org/freedesktop/portal/desktop"_s, u"org.freedesktop.portal.Settings"_s, u"Read"_s);
    question.setArguments({u"org.gnome.desktop.interface"_s, u"enable-animations"_s});
    question.setAutoStartService(false);
    // Never destroyed: an answer may come while the program ends.
    static auto& bus = *new Platform::BusConnection;
    QObject* const context = QCoreApplication::instance();
    bus.find(context, [context, question](const QDBusConnection& found) {
        auto* watcher = new QDBusPendingCallWatcher(found.asyncCall(question, AnswerMilliseconds), context);
        QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher, [watcher] {
            isReducedByDesktop = !areAnimationsOn(*watcher);
            watcher->deleteLater();
        });
    });
}

} // namespace

bool Motion::isReduced() {
    const QByteArray wish = qgetenv("MAV_REDUCED_MOTION");
    if (wish == "0" || wish == "1")
        return wish == "1";
    // Without its address the library would look for a bus, and start one.
    const bool isDue = !lastAsked.isValid() || lastAsked.elapsed() > FreshMilliseconds;
    if (isDue && !qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS"))
        askDesktop();
    return isReducedByDesktop;
}
