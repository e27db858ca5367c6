#include "Facts.h"

#include <QDir>
#include <QFile>

#include <cerrno>

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr int MostTries = 100;

Facts::State stateOf(int error) {
    if (error == ENOENT || error == ENOTDIR)
        return Facts::State::Missing;
    return error == EACCES || error == EPERM ? Facts::State::Denied : Facts::State::Unusable;
}

/// As a shell reads the value of an assignment.
QString unquoted(const QString& text) {
    QString value;
    QChar quote;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        const bool isQuote = c == u'"' || c == u'\'';
        if (c == u'\\' && quote != u'\'' && i + 1 < text.size())
            value += text.at(++i);
        else if (isQuote && (quote.isNull() || c == quote))
            quote = quote.isNull() ? c : QChar();
        else
            value += c;
    }
    return value;
}

} // namespace

Facts::Facts(const QString& root) : m_root(root.isEmpty() ? root : QDir(root).canonicalPath()) {
    if (m_root == u"/")
        m_root.clear();
    else if (m_root.isEmpty() && !root.isEmpty())
        m_root = root; // does not exist: no fact does
}

int Facts::openBelow(const QString& path, int flags) const {
    const QByteArray name = QFile::encodeName(path);
    if (m_root.isEmpty())
        return ::open(name.constData(), flags | O_CLOEXEC);
    const int root = ::open(QFile::encodeName(m_root).constData(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    open_how how{};
    how.flags = static_cast<quint64>(flags) | O_CLOEXEC;
    how.resolve = RESOLVE_IN_ROOT;
    int descriptor = -1;
    // Something that is renamed anywhere meanwhile makes the kernel unsure about "..", which it says.
    for (int tries = 0; tries < MostTries && descriptor < 0 && (tries == 0 || errno == EAGAIN); ++tries)
        descriptor = static_cast<int>(::syscall(SYS_openat2, root, name.constData(), &how, sizeof how));
    const int error = errno;
    if (root >= 0)
        ::close(root);
    errno = error;
    return descriptor;
}

/// A regular file opened for reading; -1 with errno set otherwise.
int Facts::openRegular(const QString& path) const {
    // A pipe with nobody at its other end must not hold us up.
    const int descriptor = openBelow(path, O_RDONLY | O_NONBLOCK | O_NOCTTY);
    struct stat status {};
    if (descriptor < 0 || (::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode)))
        return descriptor;
    ::close(descriptor);
    errno = EINVAL;
    return -1;
}

Facts::Text Facts::text(const QString& path, qsizetype limit) const {
    const int descriptor = openRegular(path);
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
    const int descriptor = openRegular(path);
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

QMap<QString, QString> Facts::variables(const QString& path) const {
    QMap<QString, QString> found;
    for (const QByteArray& rawLine : text(path).bytes.split('\n')) {
        const QString entry = QString::fromUtf8(rawLine).trimmed();
        const qsizetype sign = entry.indexOf(u'=');
        if (sign > 0 && !entry.startsWith(u'#'))
            found.insert(entry.left(sign), unquoted(entry.mid(sign + 1)));
    }
    return found;
}

QStringList Facts::names(const QString& path) const {
    return QDir(m_root + path)
        .entryList(QDir::AllEntries | QDir::System | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name)
        .mid(0, MostNames);
}

QString Facts::resolved(const QString& path) const {
    const int descriptor = openBelow(path, O_PATH);
    if (descriptor < 0)
        return {};
    const QString target = QFile::symLinkTarget(u"/proc/self/fd/%1"_s.arg(descriptor));
    ::close(descriptor);
    return target.mid(m_root.size());
}

bool Facts::serviceIsActive(const QString& name) const {
    // The service manager keeps one dangling link for every unit that has started and neither stopped nor failed; the
    // other manager, an entry for each started service.
    return exists(u"/run/systemd/units/invocation:%1.service"_s.arg(name)) || exists(u"/run/openrc/started/"_s + name);
}

bool Facts::servicesShow() const {
    return exists(u"/run/systemd/units"_s) || exists(u"/run/openrc"_s);
}

std::optional<bool> Facts::kernelHas(const QByteArray& module) const {
    const Text loaded = text(u"/proc/modules"_s);
    const QString release = line(u"/proc/sys/kernel/osrelease"_s);
    const Text builtIn = text(u"/lib/modules/%1/modules.builtin"_s.arg(release));
    if (loaded.bytes.startsWith(module + ' ') || loaded.bytes.contains('\n' + module + ' ') ||
        builtIn.bytes.contains('/' + module + ".ko"))
        return true;
    return loaded.state == State::Read && builtIn.state == State::Read ? std::optional(false) : std::nullopt;
}
