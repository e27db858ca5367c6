#include "Facts.h"

#include <QDir>
#include <QFile>

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

/// A regular file opened for reading; -1 with errno set otherwise.
int openRegular(const QString& path) {
    // A pipe with nobody at its other end must not hold us up.
    const int descriptor = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    struct stat status {};
    if (descriptor < 0 || (::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode)))
        return descriptor;
    ::close(descriptor);
    errno = EINVAL;
    return -1;
}

Facts::State stateOf(int error) {
    if (error == ENOENT || error == ENOTDIR)
        return Facts::State::Missing;
    return error == EACCES || error == EPERM ? Facts::State::Denied : Facts::State::Unusable;
}

} // namespace

Facts::Facts(const QString& root) : m_root(root.isEmpty() ? root : QDir(root).canonicalPath()) {
    if (m_root == u"/")
        m_root.clear();
    else if (m_root.isEmpty() && !root.isEmpty())
        m_root = root; // does not exist: no fact does
}

Facts::Text Facts::text(const QString& path, qsizetype limit) const {
    const int descriptor = openRegular(m_root + path);
    if (descriptor < 0)
        return {stateOf(errno), {}};
    Text text{State::Read, {}};
    char buffer[8192];
    ssize_t count = 0;
    while ((count = ::read(descriptor, buffer, sizeof buffer)) > 0 && text.bytes.size() + count <= limit)
        text.bytes.append(buffer, count);
    const int error = errno;
    ::close(descriptor);
    if (count < 0)
        return {stateOf(error), {}};
    return count > 0 ? Text{State::Unusable, {}} : text;
}

QByteArray Facts::tail(const QString& path, qsizetype count, qsizetype unit) const {
    const int descriptor = openRegular(m_root + path);
    if (descriptor < 0)
        return {};
    struct stat status {};
    QByteArray bytes;
    if (::fstat(descriptor, &status) == 0) {
        const off_t whole = status.st_size - status.st_size % unit;
        const off_t start = std::max<off_t>(0, whole - count);
        bytes.resize(static_cast<qsizetype>(whole - start));
        const ssize_t got = ::pread(descriptor, bytes.data(), static_cast<size_t>(bytes.size()), start);
        bytes.resize(std::max<ssize_t>(0, got - got % unit));
    }
    ::close(descriptor);
    return bytes;
}

QString Facts::line(const QString& path) const {
    return QString::fromUtf8(text(path).bytes.split('\n').constFirst()).trimmed();
}

bool Facts::exists(const QString& path) const {
    struct stat status {};
    return ::lstat(QFile::encodeName(m_root + path).constData(), &status) == 0;
}

QStringList Facts::names(const QString& path) const {
    return QDir(m_root + path)
        .entryList(QDir::AllEntries | QDir::System | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name)
        .mid(0, MostNames);
}

QString Facts::resolved(const QString& path) const {
    const QString target = QFileInfo(m_root + path).canonicalFilePath();
    if (m_root.isEmpty())
        return target;
    return target.startsWith(m_root + u'/') ? target.mid(m_root.size()) : QString();
}

bool Facts::serviceIsActive(const QString& name) const {
    // The service manager keeps one dangling link for every unit that has started and neither stopped nor failed; the
    // other manager, an entry for each started service.
    return exists(u"/run/systemd/units/invocation:%1.service"_s.arg(name)) || exists(u"/run/openrc/started/"_s + name);
}
