#include "Files.h"
#include "FirewallFacts.h"
#include "PropertyList.h"
#include "PropertyListLimits.h"
#include "PropertyListText.h"
#include "Tool.h"
#include "UserFacts.h"

#include <QDir>
#include <QFileInfo>

namespace {

QString withoutSuffix(const QString& path) {
    const QString suffix = QStringLiteral(".plist");
    return path.endsWith(suffix) ? path.chopped(suffix.size()) : path;
}

Outcome noSuchPair(const QString& domain, const QString& key) {
    return failed(QStringLiteral("The domain/default pair of (%1, %2) does not exist").arg(domain, key));
}

/// 1 for a firewall that refuses what nothing allows, 0 for none.
Outcome firewallState(const Facts& facts) {
    const Finding finding = FirewallFacts(facts).find();
    if (finding.isUnknown())
        return failed(QStringLiteral("cannot tell whether a firewall is on: ") + finding.reason);
    return {finding.isYes() ? QStringLiteral("1\n") : QStringLiteral("0\n"), {}, 0};
}

/// The file that a domain names: a path with or without its suffix, or else one in the user's own settings.
QString fileOf(const QString& domain) {
    const QString own = QDir::homePath() + QStringLiteral("/Library/Preferences/");
    const QString path = domain.startsWith(u'/') ? domain : own + domain;
    return QFileInfo(path).isFile() ? path : withoutSuffix(path) + QStringLiteral(".plist");
}

Outcome readFileValue(const QString& domain, const QString& key) {
    const QString file = fileOf(domain);
    if (!QFileInfo::exists(file))
        return key.isNull() ? failed(QStringLiteral("Domain %1 does not exist").arg(domain)) : noSuchPair(domain, key);
    const auto bytes = Platform::readFile(file, Platform::PropertyListLimits::FileSize);
    if (!bytes)
        return failed(QStringLiteral("%1 cannot be read").arg(file));
    const auto root = Platform::PropertyList::decoded(*bytes);
    if (!root)
        return failed(QStringLiteral("%1 is no property list").arg(file));
    if (key.isNull())
        return {propertyListText(*root) + u'\n', {}, 0};
    const Platform::ArchiveValue value = root->isDictionary() ? root->value(key) : Platform::ArchiveValue();
    return value.isNothing() ? noSuchPair(domain, key) : Outcome{propertyListText(value) + u'\n', {}, 0};
}

} // namespace

Outcome runDefaults(const Facts& facts, const QStringList& arguments) {
    if (arguments.size() < 2 || arguments.size() > 3 || arguments[0] != u"read" || arguments[1].isEmpty())
        return notUnderstood("defaults read FILE [KEY]");
    const QString domain = withoutSuffix(arguments[1]);
    const QString key = arguments.value(2);
    // Two settings of the system are no files here but facts.
    if (domain == u"/Library/Preferences/com.apple.alf" && key == u"globalstate")
        return firewallState(facts);
    if (domain == u"/Library/Preferences/com.apple.loginwindow" && key == u"lastUserName") {
        const QString user = UserFacts(facts).lastConsoleUser();
        return user.isEmpty() ? noSuchPair(arguments[1], key) : Outcome{user + u'\n', {}, 0};
    }
    return readFileValue(arguments[1], key);
}
