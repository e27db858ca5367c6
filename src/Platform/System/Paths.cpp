#include "Paths.h"

#include <QDir>

#include <pwd.h>
#include <unistd.h>

#include <vector>

using namespace Qt::StringLiterals;

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
    return home() + u"/Library"_s;
}

QString applicationSupport() {
    return library() + u"/Application Support"_s;
}

QString userState() {
    return applicationSupport() + u"/QenCloudL"_s;
}

QString desktop() {
    return home() + u"/Desktop"_s;
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
