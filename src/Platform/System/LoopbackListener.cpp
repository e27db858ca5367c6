#include "LoopbackListener.h"

#include <QFile>

#include <algorithm>

#include <unistd.h>

namespace Platform {

namespace {

constexpr qint64 LongestTable = 8 << 20;
// Columns of a line.
constexpr qsizetype LocalAddress = 1;
constexpr qsizetype State = 3;
constexpr qsizetype User = 7;
constexpr char Listening[] = "0A";

/// Addresses that take connections to 127.0.0.1, as the kernel prints them.
constexpr const char* Reachable[] = {
    "0100007F", "00000000", "00000000000000000000000000000000", "0000000000000000FFFF00000100007F"};

void addListeners(const QByteArray& table, const QByteArray& port, QList<uint>& users) {
    for (const QByteArray& line : table.split('\n')) {
        const QList<QByteArray> columns = line.simplified().split(' ');
        if (columns.size() <= User || columns[State] != Listening)
            continue;
        const qsizetype colon = columns[LocalAddress].indexOf(':');
        const QByteArray address = columns[LocalAddress].left(colon);
        const bool isReachable = std::any_of(std::begin(Reachable), std::end(Reachable),
            [&address](const char* reachable) { return address == reachable; });
        if (isReachable && columns[LocalAddress].mid(colon + 1) == port)
            users << columns[User].toUInt();
    }
}

QByteArray table(const char* path) {
    QFile file(QString::fromLatin1(path));
    return file.open(QIODevice::ReadOnly) ? file.read(LongestTable) : QByteArray();
}

} // namespace

QList<uint> listenersAt(quint16 port, const QByteArray& tcp, const QByteArray& tcp6) {
    const QByteArray printed = QByteArray::number(port, 16).toUpper().rightJustified(4, '0');
    QList<uint> users;
    addListeners(tcp, printed, users);
    addListeners(tcp6, printed, users);
    return users;
}

bool isTrustedListener(quint16 port) {
    const QList<uint> users = listenersAt(port, table("/proc/net/tcp"), table("/proc/net/tcp6"));
    return !users.isEmpty() &&
        std::all_of(users.begin(), users.end(), [own = geteuid()](uint user) { return user == 0 || user == own; });
}

} // namespace Platform
