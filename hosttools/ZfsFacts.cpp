#include "ZfsFacts.h"

#include "TaskHelper.h"

using namespace Qt::StringLiterals;

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
    const Finding unknown = Finding::unknown(u"the command zfs is missing or does not answer"_s);
    if (dataset.isEmpty() || dataset.startsWith(u'-'))
        return unknown;
    const QString answer = run(u"zfs"_s, {u"get"_s, u"-H"_s, u"-o"_s, u"value"_s, u"encryption"_s, dataset}).trimmed();
    if (answer.startsWith(u"aes-"))
        return Finding::yes();
    return answer == u"off" ? Finding::no(u"%1 is not encrypted"_s.arg(dataset)) : unknown;
}

QStringList ZfsFacts::devices(const QString& pool) const {
    const QString listing = run(u"zpool"_s, {u"list"_s, u"-v"_s, u"-H"_s, u"-P"_s, u"-L"_s, pool});
    QStringList devices;
    for (const QString& line : listing.split(u'\n')) {
        const QString name = line.trimmed().section(u'\t', 0, 0);
        if (name.startsWith(u'/'))
            devices.append(name);
    }
    return devices;
}
