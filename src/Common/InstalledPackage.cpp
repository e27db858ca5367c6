#include "InstalledPackage.h"

#include <QDir>
#include <QFile>
#include <QStringList>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 LongestLine = 64 * 1024;

/// Each form in which the database may name @p path: before or after /bin, /lib and /sbin moved below /usr.
QList<QByteArray> namesOf(const QString& path) {
    QStringList names{path};
    for (const char16_t* folder : {u"/bin/", u"/sbin/", u"/lib/"}) {
        const QString moved = u"/usr"_s + QString::fromUtf16(folder);
        if (path.startsWith(moved))
            names.append(path.mid(4));
        else if (path.startsWith(QString::fromUtf16(folder)))
            names.append(u"/usr"_s + path);
    }
    QList<QByteArray> lines;
    for (const QString& name : std::as_const(names))
        lines.append('\n' + QFile::encodeName(name) + '\n');
    return lines;
}

bool listsAny(const QString& listFile, const QList<QByteArray>& lines) {
    QFile file(listFile);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const QByteArray content = '\n' + file.readAll() + '\n';
    return std::any_of(lines.begin(), lines.end(), [&](const QByteArray& line) { return content.contains(line); });
}

InstalledPackage recordOf(const QString& root, const QString& name) {
    InstalledPackage package{name, {}, {}};
    QFile status(root + u"/var/lib/dpkg/status"_s);
    if (!status.open(QIODevice::ReadOnly))
        return package;
    const QByteArray heading = "Package: " + name.toUtf8();
    bool isInside = false;
    while (!status.atEnd()) {
        const QByteArray line = status.readLine(LongestLine).trimmed();
        if (isInside && line.isEmpty())
            break;
        if (line == heading)
            isInside = true;
        else if (isInside && line.startsWith("Version: "))
            package.version = QString::fromUtf8(line.mid(9));
        else if (isInside && line.startsWith("Maintainer: "))
            package.maintainer = QString::fromUtf8(line.mid(12));
    }
    return package;
}

} // namespace

std::optional<InstalledPackage> packageOwning(const QString& root, const QString& path) {
    if (!path.startsWith(u'/'))
        return std::nullopt;
    const QList<QByteArray> lines = namesOf(path);
    const QDir lists(root + u"/var/lib/dpkg/info"_s);
    for (const QString& file : lists.entryList({u"*.list"_s}, QDir::Files, QDir::Name)) {
        if (!listsAny(lists.filePath(file), lines))
            continue;
        // "name:architecture.list" for packages that several architectures may have side by side.
        return recordOf(root, file.chopped(5).section(u':', 0, 0));
    }
    return std::nullopt;
}
