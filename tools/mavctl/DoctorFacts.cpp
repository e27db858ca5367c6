#include "Doctor.h"
#include "FactsService.h"
#include "SystemBus.h"

using namespace Qt::StringLiterals;

namespace Doctor {

namespace {

constexpr std::chrono::milliseconds BusLimit{2000};

QVariant askBus(const QDBusConnection& bus, const QString& method, const QVariantList& arguments) {
    const QString name = u"org.freedesktop.DBus"_s;
    QDBusMessage question = QDBusMessage::createMethodCall(name, u"/org/freedesktop/DBus"_s, name, method);
    question.setArguments(arguments);
    return SystemBus::call(bus, question, BusLimit);
}

} // namespace

Finding factsService() {
    const QString subject = u"facts service"_s;
    const QString name = QString::fromLatin1(FactsProtocol::Name);
    const Facts facts(qEnvironmentVariable("MAV_FACTS_ROOT")); // as the host tools take it
    const QString found = SystemBus::ask<QString>(facts, BusLimit, {}, [name](const QDBusConnection& bus) {
        if (askBus(bus, u"NameHasOwner"_s, {name}).toBool())
            return u"running"_s;
        const bool isStartable = askBus(bus, u"ListActivatableNames"_s, {}).toStringList().contains(name);
        return isStartable ? u"not running, is started when needed"_s : QString();
    });
    if (!found.isEmpty())
        return {subject, State::Good, found};
    return {subject, State::Warning, u"none on the system bus"_s,
        u"Install the package mav again and see that the system bus runs: without the service nobody sees the rules of "
        "the packet filter, and the check of the firewall may have no answer."_s};
}

} // namespace Doctor
