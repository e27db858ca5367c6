#include "ZfsFacts.h"

using namespace Qt::StringLiterals;

namespace {

constexpr std::chrono::milliseconds Limit{1000};

} // namespace

Finding ZfsFacts::isEncrypted(const QString& dataset) {
    if (!m_encryption) {
        m_encryption.emplace();
        const QStringList arguments{
            u"get"_s, u"-H"_s, u"-o"_s, u"name,value"_s, u"-t"_s, u"filesystem,volume"_s, u"encryption"_s};
        const QByteArray listing = runHostCommand(m_facts, u"zfs"_s, arguments, Limit).output;
        for (const QByteArray& line : listing.split('\n'))
            m_encryption->insert(
                QString::fromUtf8(line.split('\t').value(0)), QString::fromUtf8(line.split('\t').value(1)));
    }
    const QString answer = m_encryption->value(dataset);
    if (answer.startsWith(u"aes-"))
        return Finding::yes();
    return answer == u"off" ? Finding::no(u"disk.plain"_s, dataset) : Finding::unknown(u"disk.zfs-silent"_s, dataset);
}

QStringList ZfsFacts::devices(const QString& pool) {
    if (!m_pools)
        m_pools = runHostCommand(m_facts, u"zpool"_s, {u"list"_s, u"-v"_s, u"-H"_s, u"-P"_s, u"-L"_s}, Limit).output;
    QStringList devices;
    QString current;
    for (const QByteArray& line : m_pools->split('\n')) {
        const QString name = QString::fromUtf8(line).trimmed().section(u'\t', 0, 0);
        if (!line.startsWith('\t'))
            current = name;
        else if (current == pool && name.startsWith(u'/'))
            devices.append(name);
    }
    return devices;
}
