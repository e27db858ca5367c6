#include "BusConnection.h"

#include <QDeadlineTimer>
#include <QFileInfo>
#include <QLocalSocket>
#include <QPointer>
#include <QUuid>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace Platform {

namespace {

enum class Answer { There, Absent, Silent };

/// The first message of every client, a call of Hello to which the bus answers with the client's name: little-endian,
/// no flags, version 1, no body, number 1, and the fields path, interface, member and destination.
constexpr char Hello[] = "l\1\0\1\0\0\0\0\1\0\0\0m\0\0\0"
                         "\1\1o\0\25\0\0\0/org/freedesktop/DBus\0\0\0"
                         "\2\1s\0\24\0\0\0org.freedesktop.DBus\0\0\0\0"
                         "\3\1s\0\5\0\0\0Hello\0\0\0"
                         "\6\1s\0\24\0\0\0org.freedesktop.DBus\0\0\0";
static_assert(sizeof Hello == 128);

/// Whether @p socket is connected to the bus: false for an address of another kind.
bool setServer(QLocalSocket& socket, const QString& address) {
    const QString first = address.section(u';', 0, 0);
    if (!first.startsWith("unix:"_L1))
        return false;
    for (const QString& part : first.mid(5).split(u',')) {
        const bool isAbstract = part.startsWith("abstract="_L1);
        if (!isAbstract && !part.startsWith("path="_L1))
            continue;
        if (isAbstract)
            socket.setSocketOptions(QLocalSocket::AbstractNamespaceOption);
        socket.setServerName(QString::fromUtf8(QByteArray::fromPercentEncoding(part.section(u'=', 1).toUtf8())));
        return true;
    }
    return false;
}

/// Sends @p words; what came back until @p deadline, empty for nothing.
QByteArray answerTo(QLocalSocket& socket, const QByteArray& words, QDeadlineTimer deadline) {
    socket.write(words);
    while (socket.bytesToWrite() > 0 && socket.waitForBytesWritten(static_cast<int>(deadline.remainingTime()))) {
    }
    socket.waitForReadyRead(static_cast<int>(deadline.remainingTime()));
    return socket.readAll();
}

/// Where the environment said at the first call that the session bus is; empty when it said nothing.
QString sessionAddress() {
    static const QString address = [] {
        const QString named = qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS");
        const QString usual = qEnvironmentVariable("XDG_RUNTIME_DIR") + u"/bus"_s;
        return named.isEmpty() && QFileInfo::exists(usual) ? u"unix:path="_s + usual : named;
    }();
    return address;
}

/// Whether a bus lets anybody in, asked without the library, whose own question has no limit of ours: signs in and away
/// again. An address that names no socket of this machine is left to the library: There.
Answer probe(const QString& address, std::chrono::milliseconds limit) {
    const QDeadlineTimer deadline(limit);
    QLocalSocket socket;
    if (!setServer(socket, address))
        return Answer::There;
    socket.connectToServer();
    if (!socket.waitForConnected(static_cast<int>(limit.count())))
        return deadline.hasExpired() ? Answer::Silent : Answer::Absent;
    const QByteArray user = QByteArray::number(geteuid()).toHex();
    const QByteArray signedIn = answerTo(socket, QByteArray(1, '\0') + "AUTH EXTERNAL " + user + "\r\n", deadline);
    // What is no welcome is for the library to understand.
    const bool isWelcome = signedIn.startsWith("OK");
    if (!signedIn.isEmpty() &&
        (!isWelcome || !answerTo(socket, "BEGIN\r\n" + QByteArray(Hello, sizeof Hello), deadline).isEmpty()))
        return Answer::There;
    return deadline.hasExpired() ? Answer::Silent : Answer::Absent;
}

} // namespace

BusConnection::BusConnection(QString address, std::chrono::milliseconds limit)
    : m_address(address.isEmpty() ? sessionAddress() : std::move(address)), m_limit(limit), m_queue(u"bus"_s) {}

BusConnection::~BusConnection() {
    m_queue.drain();
    if (!m_name.isEmpty())
        QDBusConnection::disconnectFromBus(m_name);
}

QDBusConnection BusConnection::connection() {
    const std::lock_guard lock(m_mutex);
    if (const QDBusConnection known(m_name); known.isConnected())
        return known;
    if (!m_name.isEmpty())
        QDBusConnection::disconnectFromBus(m_name);
    m_name = QUuid::createUuid().toString();
    // The library would wait for half a minute, and every other connection of the process with it.
    const auto answer = probe(m_address, m_limit);
    m_isSilent = answer == Answer::Silent;
    if (answer != Answer::There)
        return QDBusConnection(m_name);
    return m_address.isEmpty() ? QDBusConnection::connectToBus(QDBusConnection::SessionBus, m_name)
                               : QDBusConnection::connectToBus(m_address, m_name);
}

QDBusMessage BusConnection::call(const QDBusMessage& message, std::chrono::milliseconds limit) {
    return connection().call(message, QDBus::Block, static_cast<int>(limit.count()));
}

void BusConnection::find(QObject* receiver, std::function<void(const QDBusConnection&)> found) {
    m_queue.async([this, guard = QPointer(receiver), found = std::move(found)] {
        mainQueue().async([guard, found, bus = connection()] {
            if (guard)
                found(bus);
        });
    });
}

bool activateRunningApplication(BusConnection& bus, const QString& identifier) {
    auto message = QDBusMessage::createMethodCall(
        identifier, applicationObjectPath(identifier), u"org.freedesktop.Application"_s, u"Activate"_s);
    // An owner that has just gone must not be started again by the bus.
    message.setAutoStartService(false);
    message.setArguments({QVariantMap()});
    return bus.call(message).type() == QDBusMessage::ReplyMessage;
}

QString applicationObjectPath(const QString& identifier) {
    return u'/' + QString(identifier).replace(u'.', u'/').replace(u'-', u'_');
}

} // namespace Platform
