#include "Client.h"

#include "Bundle.h"
#include "Deployment.h"
#include "StateFiles.h"
#include "TaskHelper.h"

#include <QFile>

#include <functional>
#include <future>

using namespace Qt::StringLiterals;

namespace {

/// The look-up and the agent's two answers, each at its limit.
constexpr std::chrono::seconds LongestStop{14};

/// Content of a resource of the application bundle; empty without one.
QByteArray bundledFile(const QString& name, const QString& type) {
    constexpr qint64 LargestFile = 1 << 20;
    // The toolkit's file: where no bundle is installed the resource stands in the program.
    QFile file(Platform::resourcePath(name, type));
    return file.open(QIODevice::ReadOnly) ? file.read(LargestFile) : QByteArray();
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

/// Makes each of them what its class's sharedInstance() gives.
template <typename... Objects>
void share(Objects&... objects) {
    (Platform::Shared<Objects>::set(objects), ...);
}

NetworkAccessLink networkAccessLink(iNacNetwork& network, iNacManager& manager) {
    return {
        .requestGeneralConfig = std::bind_front(&iNacNetwork::requestGeneralConfig, &network),
        .checkiNacNecessaryWithUrl = std::bind_front(&iNacManager::checkiNacNecessaryWithUrl, &manager),
        .executeInacTaskWithUserName = std::bind_front(&iNacManager::executeInacTaskWithUserName, &manager),
        .installStaticMobileconfig = std::bind_front(&iNacManager::installStaticMobileconfig, &manager),
    };
}

/// Lets the domain-login probe ask the server and make a session of what it finds. Main thread.
DomainAccountLink domainAccountLink(Session& session, QenCloudLoginHelper& login) {
    /// The session at the last question.
    const auto asked = std::make_shared<AskedFor>();
    return {
        .hasRecord = [&session] { return session.current().record.has_value(); },
        .check =
            [&session, &login, asked](const QString& account, const QString& domain, DomainAccountLink::Answer answer) {
                *asked = session.asked();
                login.checkDomainAccount(account, domain, std::move(answer));
            },
        .signIn =
            [&session, asked](const QString& userid, const QString& username, const QString& domainName,
                std::function<void(bool)> done) {
                session.submit(DomainAnswer{*asked, userid, username, domainName},
                    [done = std::move(done)](const Session::Outcome& outcome) { done(outcome.isTaken); });
            },
    };
}

} // namespace

Client::Client()
    : log(LogWorld::system()), center(Platform::NotificationCenter::defaultCenter()),
      defaults(Deployment::userDefaultsFile()),

      config(agentState + u'/' + StateFiles::ServerList, userState),

      session(applicationSupport),
      accounts({.config = config,
          .domain = domain,
          .device = device,
          .log = log,
          .applicationSupport = applicationSupport,
          .userid = [this] { return session.current().record.value_or(AccountModel()).userid(); }}),
      server(accounts), ticketService(log), agentLink(agentState + u'/' + StateFiles::VindorPort),
      vpn({.tasks = TaskHelper::sharedInstance(),
          .executable = Deployment::vpnExecutable(),
          .accessAndStop = [this](AgentStopped done) { agentLink.accessAndStop(std::move(done)); }}),
      nacServer(config, log, [] { return bundledFile(u"client"_s, u"p12"_s); }),
      certificates(Deployment::CertificateQueueLabel), nac({.network = nacServer,
                                                           .log = log,
                                                           .certificates = certificates,
                                                           .userState = userState,
                                                           .facts = nacFacts(device)}),
      networkAccess(networkAccessLink(nacServer, nac)),
      login({.session = session,
          .server = server,
          .accounts = accounts,
          .device = device,
          .log = log,
          .vpn = vpn,
          .userState = userState,
          .agentState = agentState,
          .links = {.runTicketXPC = [this] { ticketService.runTicketXPC(); },
              .closeNgnServerXpc = [this] { ticketService.closeNgnServerXpc(); },
              .networkAccess = &networkAccess}}),

      fileListener({.center = center,
          .config = config,
          .log = log,
          .files = QenUIFileListener::followedFiles(agentState, applicationSupport),
          .record = [this] { return session.current().record; }}),
      parlo(Platform::Paths::runtime()), processListener(watchdogWorld(login, ticketService, vpn), log),

      check({.log = [this](const QString& line, int type) { log.writeLog(line, type); },
          .tasks = TaskHelper::sharedInstance(),
          .center = center,
          .agentState = agentState,
          .applicationBundle = Platform::Paths::applicationBundle(),
          .accounts = domainAccountLink(session, login)}) {
    share(device, log, config, domain, accounts, server, ticketService, nacServer, nac, login, fileListener, parlo,
        processListener, check);
}

QenCheckRound::World Client::round() {
    return {.log = [this](const QString& line, int type) { log.writeLog(line, type); },
        .center = center,
        .checkWithModel = [this](const QenCheckModelPointer& model) { check.checkWithModel(model); },
        .agentState = agentState,
        .catalogue = Platform::resourcePath(u"QenCheck"_s, u"plist"_s)};
}
