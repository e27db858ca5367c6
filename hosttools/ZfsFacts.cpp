#include "ZfsFacts.h"

#include "TaskHelper.h"

namespace {

constexpr double LimitSeconds = 1.0;

} // namespace

QString ZfsFacts::run(const QString& command, const QStringList& arguments) const {
    for (const char16_t* place : {u"/usr/sbin/", u"/sbin/", u"/usr/local/sbin/", u"/usr/bin/"}) {
        const QString path = QString::fromUtf16(place) + command;
        if (m_facts.resolved(path).isEmpty())
            continue;
        QString output;
        // Nothing comes back from a command that complains.
        TaskHelper(LimitSeconds).excuteTaskPath(m_facts.root() + path, arguments, &output, nullptr);
        return output;
    }
    return {};
}

Finding ZfsFacts::isEncrypted(const QString& dataset) const {
    const Finding unknown = Finding::unknown(QStringLiteral("the command zfs is missing or does not answer"));
    if (dataset.isEmpty() || dataset.startsWith(u'-'))
        return unknown;
    const QString answer =
        run(QStringLiteral("zfs"), {QStringLiteral("get"), QStringLiteral("-H"), QStringLiteral("-o"),
                                    QStringLiteral("value"), QStringLiteral("encryption"), dataset})
            .trimmed();
    if (answer.startsWith(u"aes-"))
        return Finding::yes();
    return answer == u"off" ? Finding::no(QStringLiteral("%1 is not encrypted").arg(dataset)) : unknown;
}

QStringList ZfsFacts::devices(const QString& pool) const {
    const QString listing =
        run(QStringLiteral("zpool"), {QStringLiteral("list"), QStringLiteral("-v"), QStringLiteral("-H"),
                                      QStringLiteral("-P"), QStringLiteral("-L"), pool});
    QStringList devices;
    for (const QString& line : listing.split(u'\n')) {
        const QString name = line.trimmed().section(u'\t', 0, 0);
        if (name.startsWith(u'/'))
            devices.append(name);
    }
    return devices;
}
