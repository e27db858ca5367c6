#include "BusProbe.h"

#include <QDeadlineTimer>
#include <QFileInfo>
#include <QLocalSocket>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace Platform::BusProbe {

namespace {

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

} // namespace

QString sessionAddress() {
    static const QString address = [] {
        const QString named = qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS");
        const QString usual = qEnvironmentVariable("XDG_RUNTIME_DIR") + u"/bus"_s;
        return named.isEmpty() && QFileInfo::exists(usual) ? u"unix:path="_s + usual : named;
    }();
    return address;
}

Answer ask(const QString& address, std::chrono::milliseconds limit) {
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

} // namespace Platform::BusProbe
