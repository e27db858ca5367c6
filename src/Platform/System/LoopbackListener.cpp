#include "LoopbackListener.h"

#include "Files.h"

#include <QRegularExpression>

#include <algorithm>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace Platform {

namespace {

/// Of four hundred thousand sockets; beyond, nobody is trusted.
constexpr qint64 LongestTable = 64 << 20;

/// A socket that listens (0A) at an address that takes connections to 127.0.0.1, as the kernel prints it; then the
/// port, and four columns later the user.
const QString Listener =
    u"^\\s*\\d+: (?:0100007F|0{8}|0{32}|0{16}FFFF00000100007F):%1 \\S+ 0A(?:\\s+\\S+){3}\\s+(\\d+)\\s"_s;

QByteArray table(const QString& path) {
    return readFile(path, LongestTable).value_or(QByteArray());
}

} // namespace

QList<uint> listenersAt(quint16 port, const QByteArray& tcp, const QByteArray& tcp6) {
    const QRegularExpression listener(Listener.arg(port, 4, 16, QChar(u'0')),
        QRegularExpression::MultilineOption | QRegularExpression::CaseInsensitiveOption);
    const QString tables = QString::fromLatin1(tcp + '\n' + tcp6);
    QList<uint> users;
    for (const QRegularExpressionMatch& found : listener.globalMatch(tables))
        users << found.captured(1).toUInt();
    return users;
}

bool isTrustedListener(quint16 port) {
    const QList<uint> users = listenersAt(port, table(u"/proc/net/tcp"_s), table(u"/proc/net/tcp6"_s));
    return !users.isEmpty() &&
        std::all_of(users.begin(), users.end(), [own = geteuid()](uint user) { return user == 0 || user == own; });
}

} // namespace Platform
