#include "Paths.h"

#include <QDir>
#include <QStandardPaths>

#include <pwd.h>
#include <unistd.h>

#include <array>
#include <optional>

using namespace Qt::StringLiterals;

namespace Platform::Paths {

namespace {

/// User and home folder of an account. @p lookup is getpwuid_r or getpwnam_r with its first argument bound.
template <typename Lookup>
std::optional<std::pair<uid_t, QString>> account(Lookup lookup) {
    passwd record{};
    passwd* found = nullptr;
    std::array<char, 16384> buffer;
    if (lookup(&record, buffer.data(), buffer.size(), &found) != 0 || !found)
        return std::nullopt;
    return std::pair(found->pw_uid, QFile::decodeName(found->pw_dir));
}

} // namespace

QString rooted(const QString& fixedPath) {
    return qEnvironmentVariable("MAV_ROOT") + fixedPath;
}

QString home() {
    const QString fromEnvironment = qEnvironmentVariable("HOME");
    if (!fromEnvironment.isEmpty())
        return fromEnvironment;
    const auto own = account([](auto... rest) { return getpwuid_r(geteuid(), rest...); });
    return own ? own->second : QString();
}

QString homeForUser(const QString& userName) {
    const QByteArray name = userName.toLocal8Bit();
    const auto known = account([&](auto... rest) { return getpwnam_r(name.constData(), rest...); });
    // The client's own user lives where $HOME says, so that a moved home holds all of its files.
    return known && known->first == geteuid() ? home() : known ? known->second : QString();
}

QString library() {
    return home() + u"/Library"_s;
}

QString applicationSupport() {
    return library() + u"/Application Support"_s;
}

QString userState() {
    return applicationSupport() + u"/QenCloudL"_s;
}

QString desktop() {
    return QStandardPaths::writableLocation(QStandardPaths::DesktopLocation);
}

QString localLibrary() {
    return rooted(u"/Library"_s);
}

QString agentState() {
    return rooted(u"/Library/Application Support/QenCloud"_s);
}

QString users() {
    return rooted(u"/Users"_s);
}

QString applicationBundle() {
    return rooted(u"/Applications/Mav/Mav.app"_s);
}

QString runtime() {
    const QString fromEnvironment = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (!fromEnvironment.isEmpty())
        return fromEnvironment + u"/mav"_s;
    return QDir::tempPath() + u"/mav-runtime-%1"_s.arg(geteuid());
}

} // namespace Platform::Paths
