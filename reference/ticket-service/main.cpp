#include "TicketService.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDBusConnection>

#include <cstdio>

using namespace Qt::StringLiterals;

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(u"Stands for the ticket service on the session bus, which starts it."_s);
    const QCommandLineOption file(u"file"_s, u"The agent's JSON file."_s, u"file"_s, u"agent.json"_s);
    parser.addOption(file);
    parser.addHelpOption();
    parser.process(application);

    TicketService service(parser.value(file));
    QDBusConnection bus = QDBusConnection::sessionBus();
    // Its end comes with the bus's.
    bus.connect({}, u"/org/freedesktop/DBus/Local"_s, u"org.freedesktop.DBus.Local"_s, u"Disconnected"_s, &application,
        SLOT(quit()));
    if (!bus.registerObject(u"/"_s, &service, QDBusConnection::ExportAllSlots) ||
        !bus.registerService(u"com.qencloud.mav.TicketService"_s)) {
        std::fprintf(stderr, "mav-reference-ticket-service: %s\n", qUtf8Printable(bus.lastError().message()));
        return 1;
    }
    return QCoreApplication::exec();
}
