#include "PolicyRequests.h"
#include "ServiceFile.h"
#include "StateWriter.h"
#include "VindorInterface.h"
#include "VpnStandIn.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QSocketNotifier>

#include <csignal>
#include <cstdio>
#include <sys/signalfd.h>

using namespace Qt::StringLiterals;
using namespace ReferenceAgent;

namespace {

struct Options {
    StateWriter::Places places;
    QString mavctl;
    QString vpn;
    QString ticketService;
    QString services;
};

/// SIGTERM and SIGINT as a descriptor. Called before any thread exists, so that all inherit the mask.
int signalDescriptor() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    return signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
}

Options readOptions() {
    QCommandLineParser parser;
    parser.setApplicationDescription(
        u"Stands for the privileged agent: its state files, its links and its VPN component, by one JSON file."_s);
    const QString beside = QCoreApplication::applicationDirPath();
    const QCommandLineOption root(u"root"_s, u"Stands before the agent's fixed folder. Default: $MAV_ROOT."_s, u"dir"_s,
        qEnvironmentVariable("MAV_ROOT"));
    const QCommandLineOption home(
        u"home"_s, u"Home of the user that is served. Default: $HOME."_s, u"dir"_s, QDir::homePath());
    const QCommandLineOption file(u"file"_s, u"The JSON file. Default: agent.json here."_s, u"file"_s, u"agent.json"_s);
    const QCommandLineOption mavctl(
        u"mavctl"_s, u"The support tool. Default: beside this program."_s, u"file"_s, beside + u"/mavctl"_s);
    const QCommandLineOption vpn(u"vpn"_s, u"Runs as the VPN component. Default: beside this program."_s, u"file"_s,
        beside + u"/mav-reference-vpn"_s);
    const QCommandLineOption service(u"ticket-service"_s, u"The ticket service. Default: beside this program."_s,
        u"file"_s, beside + u"/mav-reference-ticket-service"_s);
    const QCommandLineOption services(
        u"services"_s, u"Folder where the session bus finds services; without one the bus starts none."_s, u"dir"_s);
    parser.addOptions({root, home, file, mavctl, vpn, service, services});
    parser.addHelpOption();
    parser.process(*QCoreApplication::instance());
    return {.places = {parser.value(root), parser.value(home), QFileInfo(parser.value(file)).absoluteFilePath()},
        .mavctl = parser.value(mavctl),
        .vpn = QFileInfo(parser.value(vpn)).absoluteFilePath(),
        .ticketService = QFileInfo(parser.value(service)).absoluteFilePath(),
        .services = parser.value(services)};
}

int serve(const Options& options) {
    StateWriter writer(options.places, ArchiveTool(options.mavctl));
    VpnStandIn vpn(options.places.root + u"/Applications/Mav/Mav.app/Contents/GWD/ZelVPN"_s, options.vpn);
    VindorInterface vindor(writer.folderOf(Place::AgentState) + u"/vindor.port"_s, [&vpn] { vpn.stop(); });
    ServiceFile service(options.services, u"com.qencloud.mav.TicketService"_s);
    if (!vindor.open() ||
        (!options.services.isEmpty() && !service.write({options.ticketService, u"--file"_s, options.places.file})))
        return 1;

    FileFollower ownFile(options.places.file);
    FileFollower typedServer(writer.typedServerFile());
    PolicyRequests policy(writer.folderOf(Place::UserState));
    const auto behave = [&] {
        const Behaviour behaviour = behaviourOf(writer.applied());
        vindor.setBehaviour(behaviour);
        vpn.setAllowed(behaviour.vpnMayRun);
    };
    QObject::connect(&ownFile, &FileFollower::changed, &ownFile, [&] {
        writer.applyFile();
        behave();
    });
    QObject::connect(&typedServer, &FileFollower::changed, &typedServer, [&writer] { writer.applyTypedServer(); });
    QObject::connect(&policy, &PolicyRequests::requested, &policy, [&vpn] { vpn.request(); });
    writer.applyAll();
    behave();
    if (policy.wasThere())
        vpn.request();
    std::printf("ready\n");
    std::fflush(stdout);
    return QCoreApplication::exec();
}

} // namespace

int main(int argc, char** argv) {
    const int signalsFd = signalDescriptor();
    QCoreApplication application(argc, argv);
    QSocketNotifier onSignal(signalsFd, QSocketNotifier::Read);
    QObject::connect(&onSignal, &QSocketNotifier::activated, &application, &QCoreApplication::quit);
    return serve(readOptions());
}
