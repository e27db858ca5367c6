#include "AccountRecord.h"

#include "ArchiveStore.h"

#include <QFile>

#include <cerrno>
#include <cstdio>

#include <fcntl.h>

using namespace Qt::StringLiterals;

using Platform::fileIdentity;
using Platform::FileIdentity;

namespace {

bool moved(const QString& from, const QString& to, unsigned flags) {
    return renameat2(
               AT_FDCWD, QFile::encodeName(from).constData(), AT_FDCWD, QFile::encodeName(to).constData(), flags) == 0;
}

} // namespace

AccountRecord::AccountRecord(QString rootPath) : m_rootPath(std::move(rootPath)) {}

bool AccountRecord::isOutdated() const {
    return fileIdentity(AccountModel::modelSavePathWithCheck(false, m_rootPath)) != m_identity;
}

std::optional<AccountModel> AccountRecord::refresh() {
    // Looked at before it is read: a file that comes in between is noticed the next time.
    m_identity = fileIdentity(AccountModel::modelSavePathWithCheck(false, m_rootPath));
    return m_identity == FileIdentity() ? std::nullopt : AccountModel::currentModel(m_rootPath);
}

AccountRecord::Stored AccountRecord::replace(const std::optional<AccountModel>& record) {
    const QString path = AccountModel::modelSavePathWithCheck(record.has_value(), m_rootPath);
    if (fileIdentity(path) != m_identity)
        return Stored::Conflict;
    const QString aside = path + u".aside"_s;
    QFile::remove(aside);
    const Stored stored = record ? write(*record, path, aside) : remove(path, aside);
    // A loss of power must not bring the former record back.
    Platform::syncFolderOf(path);
    if (stored == Stored::Yes)
        m_identity = fileIdentity(path);
    return stored;
}

AccountRecord::Stored AccountRecord::write(const AccountModel& record, const QString& path, const QString& aside) {
    if (!archiveRootObject(record.encoded(), aside, Platform::Durability::Synced))
        return Stored::Failed;
    const bool isNew = m_identity == FileIdentity();
    if (!moved(aside, path, isNew ? RENAME_NOREPLACE : RENAME_EXCHANGE)) {
        const int reason = errno;
        // Not every file system can exchange two files in one step.
        if (reason == EINVAL && fileIdentity(path) == m_identity && moved(aside, path, 0))
            return Stored::Yes;
        QFile::remove(aside);
        return reason == EEXIST || reason == ENOENT ? Stored::Conflict : Stored::Failed;
    }
    // What was exchanged is looked at afterwards, so that nobody's write can come in between.
    const bool isOurs = isNew || fileIdentity(aside) == m_identity;
    if (!isOurs)
        moved(aside, path, RENAME_EXCHANGE);
    QFile::remove(aside);
    return isOurs ? Stored::Yes : Stored::Conflict;
}

AccountRecord::Stored AccountRecord::remove(const QString& path, const QString& aside) {
    if (m_identity == FileIdentity())
        return Stored::Yes;
    if (!moved(path, aside, 0))
        return errno == ENOENT ? Stored::Yes : Stored::Failed;
    if (fileIdentity(aside) != m_identity) {
        // Somebody else's: back to its place, unless there is a newer one.
        moved(aside, path, RENAME_NOREPLACE);
        QFile::remove(aside);
        return Stored::Conflict;
    }
    return QFile::remove(aside) ? Stored::Yes : Stored::Failed;
}
