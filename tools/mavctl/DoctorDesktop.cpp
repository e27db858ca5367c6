#include "Deployment.h"
#include "Doctor.h"
#include "SessionBus.h"
#include "X11Calls.h"

#include <QDBusVariant>
#include <QProcess>
#include <QStandardPaths>
#include <QVariant>

using namespace Qt::StringLiterals;

namespace Doctor {

namespace {

constexpr int FontTimeout = 5000; // milliseconds

QString text(const char* english) {
    return QString::fromLatin1(english);
}

bool isRunning(const QString& service) {
    return SessionBus::askBus(text("NameHasOwner"), {service}).toBool();
}

bool isStartable(const QString& service) {
    return SessionBus::askBus(text("ListActivatableNames")).toStringList().contains(service);
}

bool hasStatusNotifierHost() {
    const QString watcher = text("org.kde.StatusNotifierWatcher");
    const QVariant answer = SessionBus::ask(watcher, text("/StatusNotifierWatcher"),
        text("org.freedesktop.DBus.Properties"), text("Get"), {watcher, text("IsStatusNotifierHostRegistered")});
    return answer.value<QDBusVariant>().variant().toBool();
}

/// A tray of the X11 display, if there is one.
bool hasX11Tray() {
    namespace X11 = Platform::X11;
    QLibrary library(text("xcb"), 1);
    if (qEnvironmentVariableIsEmpty("DISPLAY") || !library.load())
        return false;
    const auto connect = reinterpret_cast<decltype(&xcb_connect)>(library.resolve("xcb_connect"));
    const auto disconnect = reinterpret_cast<decltype(&xcb_disconnect)>(library.resolve("xcb_disconnect"));
    const auto hasError =
        reinterpret_cast<decltype(&xcb_connection_has_error)>(library.resolve("xcb_connection_has_error"));
    if (!connect || !disconnect || !hasError)
        return false;
    xcb_connection_t* const connection = connect(nullptr, nullptr);
    bool isThere = false;
    if (!hasError(connection)) {
        const xcb_atom_t selection =
            X11::atom(library, connection, "_NET_SYSTEM_TRAY_S" + QByteArray::number(X11::screenOf(library)));
        isThere = selection != XCB_ATOM_NONE && X11::selectionOwner(library, connection, selection) != XCB_WINDOW_NONE;
    }
    disconnect(connection);
    return isThere;
}

} // namespace

Finding sessionBus() {
    const QString subject = text("session bus");
    if (SessionBus::askBus(text("GetId")).isValid())
        return {subject, State::Good, text("answers")};
    return {subject, State::Problem, SessionBus::isThere() ? text("does not answer") : text("none can be reached"),
        text("Log in to a graphical session, or run mavctl there: DBUS_SESSION_BUS_ADDRESS has to name its bus. "
             "Without one the client has neither ticket service nor notifications.")};
}

Finding trayHost() {
    const QString subject = text("tray host");
    if (hasStatusNotifierHost())
        return {subject, State::Good, text("registered on the session bus")};
    if (hasX11Tray())
        return {subject, State::Good, text("an X11 tray")};
    return {subject, State::Warning, text("none"),
        text("The client shows no tray item; starting it again brings its window forward. On GNOME install and "
             "enable the AppIndicator extension, elsewhere add a tray to the panel.")};
}

Finding notificationService() {
    const QString subject = text("notifications");
    const QString service = text("org.freedesktop.Notifications");
    if (isRunning(service))
        return {subject, State::Good, text("a service runs")};
    if (isStartable(service))
        return {subject, State::Good, text("a service is started when needed")};
    return {subject, State::Warning, text("no service"),
        text("Install a notification service, for example the package dunst: without one the offer to restart the "
             "computer is not shown.")};
}

Finding ticketService() {
    const QString subject = text("ticket service");
    const QString service = Deployment::TicketServiceName;
    if (isRunning(service))
        return {subject, State::Good, text("running")};
    if (isStartable(service))
        return {subject, State::Good, text("not running, is started when needed")};
    return {subject, State::Problem, text("not installed for this session"),
        u"Install the agent's session services, which bring \"%1\", and log in again: without it "
        "a sign-in has no session work."_s.arg(service)};
}

Finding chineseFonts() {
    const QString subject = text("Chinese fonts");
    const QString program = QStandardPaths::findExecutable(text("fc-list"));
    if (program.isEmpty())
        return {subject, State::Warning, text("cannot be told without fc-list"),
            text("Install the package fontconfig and run mavctl doctor again.")};
    QProcess list;
    list.start(program, {text(":lang=zh-cn"), text("family")}, QIODevice::ReadOnly);
    if (!list.waitForFinished(FontTimeout)) {
        list.kill();
        list.waitForFinished(FontTimeout);
        return {subject, State::Warning, text("fc-list does not answer"), text("Run fc-cache and try again.")};
    }
    const qsizetype count = list.readAllStandardOutput().count('\n');
    if (count > 0)
        return {subject, State::Good, u"%1 families"_s.arg(count)};
    return {subject, State::Problem, text("none"),
        text("Install the package fonts-noto-cjk: the client's texts are Chinese and show as boxes.")};
}

} // namespace Doctor
