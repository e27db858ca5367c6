#include "BusProbe.h"

#include <QDeadlineTimer>
#include <QFileInfo>
#include <QLocalSocket>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace Platform::BusProbe {

namespace {

/// A field of a message's header: a text of type 's' or 'o', aligned to eight bytes.
void addField(QByteArray& header, char field, char type, const QByteArray& text) {
    header.append((8 - header.size() % 8) % 8, '\0');
    const char start[] = {field, 1, type, 0, static_cast<char>(text.size()), 0, 0, 0};
    header.append(start, sizeof start).append(text).append('\0');
}

/// The first message of every client, to which the bus answers with the client's name.
QByteArray hello() {
    QByteArray fields;
    addField(fields, 1, 'o', "/org/freedesktop/DBus");
    addField(fields, 2, 's', "org.freedesktop.DBus");
    addField(fields, 3, 's', "Hello");
    addField(fields, 6, 's', "org.freedesktop.DBus");
    // Little-endian, a call, no flags, version 1, no body, number 1, length of the fields.
    const char start[] = {'l', 1, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, static_cast<char>(fields.size()), 0, 0, 0};
    fields.prepend(start, sizeof start);
    return fields.append((8 - fields.size() % 8) % 8, '\0');
}

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
    if (!signedIn.isEmpty() && (!isWelcome || !answerTo(socket, "BEGIN\r\n" + hello(), deadline).isEmpty()))
        return Answer::There;
    return deadline.hasExpired() ? Answer::Silent : Answer::Absent;
}

} // namespace Platform::BusProbe
