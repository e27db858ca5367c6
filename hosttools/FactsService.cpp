#include "FactsService.h"

#include "SystemBus.h"

#include <QDBusArgument>
#include <QDBusConnectionInterface>

using namespace Qt::StringLiterals;

namespace {

using TextMap = QMap<QString, QString>;

constexpr qsizetype LongestText = 200;

FilterAnswer failedBy(const char* code) {
    return {u"service."_s + QLatin1StringView(code), {}, {}};
}

Finding findingOf(const TextMap& answer, const QString& family) {
    const QString word = answer.value(family);
    const QString code = answer.value(family + u".code"_s).left(LongestText);
    const QString subject = answer.value(family + u".subject"_s).left(LongestText);
    return word == u"refused" ? Finding::yes()
        : word == u"open"     ? Finding::no(code, subject)
                              : Finding::unknown(code, subject);
}

/// Root's word counts, and that of the service's own user.
bool isTrusted(const Facts& facts, uint user) {
    const QByteArray start = QByteArray(FactsProtocol::User) + ':';
    for (const QByteArray& line : facts.text(u"/etc/passwd"_s).bytes.split('\n')) {
        if (line.startsWith(start))
            return user == 0 || line.split(':').value(2) == QByteArray::number(user);
    }
    return user == 0;
}

FilterAnswer ask(const Facts& facts, const QDBusConnection& bus, SystemBus::Milliseconds limit) {
    using namespace FactsProtocol;
    const auto text = [](const char* latin) { return QString::fromLatin1(latin); };
    const auto askBus = [&](const char* method, const QVariantList& arguments) {
        QDBusMessage question = QDBusMessage::createMethodCall(
            text("org.freedesktop.DBus"), text("/org/freedesktop/DBus"), text("org.freedesktop.DBus"), text(method));
        question.setArguments(arguments);
        return SystemBus::call(bus, question, limit);
    };
    // Asked by its connection's own name: nobody else can answer, whoever has the service's name by then.
    askBus("StartServiceByName", {text(Name), 0U});
    const QString owner = askBus("GetNameOwner", {text(Name)}).toString();
    const QDBusMessage reply = bus.call(QDBusMessage::createMethodCall(owner.isEmpty() ? text(Name) : owner, text(Path),
                                            text(Interface), text(Question)),
        QDBus::Block, static_cast<int>(limit.count()));
    if (reply.type() != QDBusMessage::ReplyMessage) {
        const bool isLate = reply.errorName() == u"org.freedesktop.DBus.Error.NoReply" ||
            reply.errorName() == u"org.freedesktop.DBus.Error.Timeout";
        return failedBy(isLate ? "late" : "missing");
    }
    bool isNumber = false;
    const uint user = askBus("GetConnectionUnixUser", {owner}).toUInt(&isNumber);
    if (!isNumber || !isTrusted(facts, user))
        return failedBy("foreign");
    const QVariant content = reply.arguments().value(0);
    const bool isMap =
        content.canConvert<QDBusArgument>() && content.value<QDBusArgument>().currentSignature() == u"a{ss}";
    const TextMap answer = isMap ? qdbus_cast<TextMap>(content) : TextMap();
    if (answer.value(u"version"_s) != QLatin1StringView(Version))
        return failedBy("version");
    return {{}, findingOf(answer, u"ip"_s), findingOf(answer, u"ip6"_s)};
}

} // namespace

FilterAnswer askFactsService(const Facts& facts, std::chrono::milliseconds limit) {
    if (!SystemBus::isThere(facts))
        return failedBy("missing");
    return SystemBus::ask<FilterAnswer>(
        facts, limit, failedBy("late"), [facts, limit](const QDBusConnection& bus) { return ask(facts, bus, limit); });
}
