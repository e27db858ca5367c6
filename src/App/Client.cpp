#include "Client.h"

#include "Bundle.h"
#include "Deployment.h"
#include "Files.h"
#include "Paths.h"
#include "StateFiles.h"
#include "TaskHelper.h"

#include <future>

using namespace Qt::StringLiterals;

namespace {

/// The look-up and the agent's two answers, each at its limit.
constexpr std::chrono::seconds LongestStop{14};

/// Content of a resource of the application bundle; empty without one.
QByteArray bundledFile(const QString& name, const QString& type) {
    constexpr qint64 LargestFile = 1 << 20;
    return Platform::readFile(Platform::resourcePath(name, type), LargestFile).value_or(QByteArray());
}

iNacManager::Facts nacFacts(ITDevice& device) {
    return {
        .userName = [&device] { return device.userName(); },
        .machineName = [&device] { return device.machineName(); },
        .uuid = [&device] { return device.uuid(); },
        .macAddresses = [&device] { return device.macAddresses(); },
        .homeForUser = Platform::Paths::homeForUser,
        .profileTemplate = [] { return bundledFile(u"RTMDMNetwork"_s, u"mobileconfig"_s); },
    };
}

/// The watchdog may wait, and a stop that came after the reload would end what it started.
void stopAndWait(QenCloudLoginHelper& login) {
    const auto stopped = std::make_shared<std::promise<void>>();
    login.existZelVPN([stopped] { stopped->set_value(); });
    stopped->get_future().wait_for(LongestStop);
}

QenCloudClientProcessListener::World watchdogWorld(
    QenCloudLoginHelper& login, QenCloudTicketHelper& ticketService, VpnComponent& vpn) {
    return {
        .getNetworkType = [&login] { login.Get_network_type(); },
        .signIn = [&login] { return login.session().current().served(); },
        .isCheckAndShow = [&login] { return login.isCheckAndShow(); },
        .checkXPCServiceIsReInital = [&ticketService] { return ticketService.checkXPCServiceIsReInital(); },
        .isTicketServiceRefusing = [&ticketService] { return ticketService.isRefusing(); },
        .existZelVPN = [&login] { stopAndWait(login); },
        .runTicketXPC = [&ticketService] { ticketService.runTicketXPC(); },
        .reloadZelVPN = [&login] { login.reloadZelVPN(); },
        .vpnProcessIds = [&vpn](Platform::Error* error) { return vpn.processIds(error); },
    };
}

} // namespace

ClientPlaces ClientPlaces::standard() {
    return {.applicationSupport = Platform::Paths::applicationSupport(),
        .userState = Platform::Paths::userState(),
        .agentState = Platform::Paths::agentState(),
        .applicationBundle = Platform::Paths::applicationBundle(),
        .vpnExecutable = Deployment::vpnExecutable(),
        .runtime = Platform::Paths::runtime()};
}

Client::Client(const ClientPlaces& where)
    : places(where), log(LogWorld::system()), center(Platform::NotificationCenter::defaultCenter()),
      defaults(Deployment::userDefaultsFile()),

      config(places.agentState + u'/' + StateFiles::ServerList, places.userState),

      session(places.applicationSupport),
      accounts({.config = config,
          .domain = domain,
          .device = device,
          .log = log,
          .applicationSupport = places.applicationSupport,
          .userid = [this] { return session.current().record.value_or(AccountModel()).userid(); }}),
      server(accounts), ticketService(log), agentLink(places.agentState + u'/' + StateFiles::VindorPort),
      vpn({.tasks = TaskHelper::sharedInstance(),
          .executable = places.vpnExecutable,
          .accessAndStop = [this](AgentStopped done) { agentLink.accessAndStop(std::move(done)); }}),
      nacServer(config, log, [] { return bundledFile(u"client"_s, u"p12"_s); }),
      certificates(Deployment::CertificateQueueLabel), nac({.network = nacServer,
                                                           .log = log,
                                                           .certificates = certificates,
                                                           .userState = places.userState,
                                                           .facts = nacFacts(device)}),
      networkAccess(nacServer, nac), login({.session = session,
                                         .server = server,
                                         .accounts = accounts,
                                         .device = device,
                                         .log = log,
                                         .vpn = vpn,
                                         .userState = places.userState,
                                         .agentState = places.agentState,
                                         .links = {.runTicketXPC = [this] { ticketService.runTicketXPC(); },
                                             .closeNgnServerXpc = [this] { ticketService.closeNgnServerXpc(); },
                                             .networkAccess = &networkAccess}}),

      fileListener({.center = center,
          .config = config,
          .log = log,
          .agentState = places.agentState,
          .applicationSupport = places.applicationSupport,
          .record = [this] { return session.current().record; }}),
      parlo(places.runtime), processListener(watchdogWorld(login, ticketService, vpn), log),

      domainAccounts(session, login), check({.log = [this](const QString& line, int type) { log.writeLog(line, type); },
                                          .tasks = TaskHelper::sharedInstance(),
                                          .center = center,
                                          .agentState = places.agentState,
                                          .applicationBundle = places.applicationBundle,
                                          .accounts = &domainAccounts}) {
    using Platform::Shared;
    Shared<ITDevice>::set(device);
    Shared<QenLogHelper>::set(log);
    Shared<QenServerConfig>::set(config);
    Shared<QenAnalyseDomain>::set(domain);
    Shared<AccountManager>::set(accounts);
    Shared<QenCloudNGNLogin>::set(server);
    Shared<QenCloudTicketHelper>::set(ticketService);
    Shared<iNacNetwork>::set(nacServer);
    Shared<iNacManager>::set(nac);
    Shared<QenCloudLoginHelper>::set(login);
    Shared<QenUIFileListener>::set(fileListener);
    Shared<QenUIParloManager>::set(parlo);
    Shared<QenCloudClientProcessListener>::set(processListener);
    Shared<QenCheck>::set(check);
}

QenCheckRound::World Client::round() {
    return {.log = [this](const QString& line, int type) { log.writeLog(line, type); },
        .center = center,
        .checkWithModel = [this](const QenCheckModelPointer& model) { check.checkWithModel(model); },
        .agentState = places.agentState,
        .catalogue = Platform::resourcePath(u"QenCheck"_s, u"plist"_s)};
}
