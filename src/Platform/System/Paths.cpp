#include "Paths.h"

#include <QDir>

#include <pwd.h>
#include <unistd.h>

#include <vector>

namespace Platform::Paths {

namespace {

struct Account {
    bool known = false;
    uid_t user = 0;
    QString home;
};

/// @p lookup is getpwuid_r or getpwnam_r with its first argument bound.
template <typename Lookup>
Account lookUp(Lookup lookup) {
    passwd record{};
    passwd* found = nullptr;
    std::vector<char> buffer(16384);
    if (lookup(&record, buffer.data(), buffer.size(), &found) != 0 || !found)
        return {};
    return {true, found->pw_uid, QFile::decodeName(found->pw_dir)};
}

} // namespace

QString rooted(const QString& fixedPath) {
    return qEnvironmentVariable("MAV_ROOT") + fixedPath;
}

QString home() {
    const QString fromEnvironment = qEnvironmentVariable("HOME");
    if (!fromEnvironment.isEmpty())
        return fromEnvironment;
    return lookUp([](auto... rest) { return getpwuid_r(geteuid(), rest...); }).home;
}

QString homeForUser(const QString& userName) {
    const QByteArray name = userName.toLocal8Bit();
    const Account account = lookUp([&](auto... rest) { return getpwnam_r(name.constData(), rest...); });
    // The client's own user lives where $HOME says, so that a moved home holds all of its files.
    return account.known && account.user == geteuid() ? home() : account.home;
}

QString library() {
    return home() + QStringLiteral("/Library");
}

QString applicationSupport() {
    return library() + QStringLiteral("/Application Support");
}

QString userState() {
    return applicationSupport() + QStringLiteral("/QenCloudL");
}

QString desktop() {
    return home() + QStringLiteral("/Desktop");
}

QString localLibrary() {
    return rooted(QStringLiteral("/Library"));
}

QString agentState() {
    return rooted(QStringLiteral("/Library/Application Support/QenCloud"));
}

QString users() {
    return rooted(QStringLiteral("/Users"));
}

QString applicationBundle() {
    return rooted(QStringLiteral("/Applications/Mav/Mav.app"));
}

QString vpnExecutable() {
    return applicationBundle() + QStringLiteral("/Contents/GWD/ZelVPN");
}

QString runtime() {
    const QString fromEnvironment = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (!fromEnvironment.isEmpty())
        return fromEnvironment + QStringLiteral("/mav");
    return QDir::tempPath() + QStringLiteral("/mav-runtime-%1").arg(geteuid());
}

} // namespace Platform::Paths
