#include "PolicyRequests.h"

#include <QFile>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace ReferenceAgent {

namespace {

/// Differs for every writing of a file; empty for a missing one.
QByteArray identityOf(const QString& path) {
    struct stat facts {};
    if (stat(QFile::encodeName(path).constData(), &facts) != 0)
        return {};
    return QByteArray::number(qulonglong(facts.st_ino)) + ' ' + QByteArray::number(qlonglong(facts.st_mtim.tv_sec)) +
        ' ' + QByteArray::number(qlonglong(facts.st_mtim.tv_nsec));
}

} // namespace

PolicyRequests::PolicyRequests(const QString& userState)
    : m_file(userState + u"/userpolicy.archive"_s), m_seen(identityOf(m_file)), m_follower(m_file) {
    // The request outlives the sign-out, so it counts only together with the record.
    m_wasThere = !m_seen.isEmpty() && QFile::exists(userState + u"/login.archive"_s);
    connect(&m_follower, &FileFollower::changed, this, &PolicyRequests::look);
}

void PolicyRequests::look() {
    const QByteArray now = identityOf(m_file);
    if (now == m_seen)
        return;
    m_seen = now;
    if (!now.isEmpty())
        Q_EMIT requested();
}

} // namespace ReferenceAgent
