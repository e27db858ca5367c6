#include "FirewallFacts.h"
#include "PropertyList.h"
#include "PropertyListLimits.h"
#include "PropertyListText.h"
#include "Tool.h"
#include "UserFacts.h"

#include <QDir>
#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace {

QString withoutSuffix(const QString& path) {
    const QString suffix = u".plist"_s;
    return path.endsWith(suffix) ? path.chopped(suffix.size()) : path;
}

Outcome noSuchPair(const QString& domain, const QString& key) {
    return failed(u"The domain/default pair of (%1, %2) does not exist"_s.arg(domain, key));
}

/// 1 for a firewall that refuses what nothing allows, 0 for none.
Outcome firewallState(const Facts& facts) {
    const Finding finding = FirewallFacts(facts).find();
    if (finding.isUnknown())
        return failed(u"cannot tell whether a firewall is on: "_s + finding.text());
    return {finding.isYes() ? u"1\n"_s : u"0\n"_s, {}, 0};
}

/// The file that a domain names: a path with or without its suffix, or else one in the user's own settings.
QString fileOf(const QString& domain) {
    const QString own = QDir::homePath() + u"/Library/Preferences/"_s;
    const QString path = domain.startsWith(u'/') ? domain : own + domain;
    return QFileInfo(path).isFile() ? path : withoutSuffix(path) + u".plist"_s;
}

Outcome readFileValue(const QString& domain, const QString& key) {
    const QString file = fileOf(domain);
    if (!QFileInfo::exists(file))
        return key.isNull() ? failed(u"Domain %1 does not exist"_s.arg(domain)) : noSuchPair(domain, key);
    // A file that the caller names, wherever the facts are.
    const Facts::Text text = Facts({}).text(QFileInfo(file).absoluteFilePath(), Platform::PropertyListLimits::FileSize);
    if (text.state != Facts::State::Read)
        return failed(u"%1 cannot be read"_s.arg(file));
    const auto root = Platform::PropertyList::decoded(text.bytes);
    if (!root)
        return failed(u"%1 is no property list"_s.arg(file));
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
        const QString user = UserFacts(facts).lastConsoleUserShort();
        return user.isEmpty() ? noSuchPair(arguments[1], key) : Outcome{user + u'\n', {}, 0};
    }
    return readFileValue(arguments[1], key);
}
