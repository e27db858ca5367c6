#include "Client.h"

#include "Bundle.h"
#include "Deployment.h"
#include "StateFiles.h"
#include "TaskHelper.h"

#include <QFile>

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

/// Hands the session's wishes for network access to the two services behind it.
class NetworkAccess final : public NetworkAccessLink {
public:
    NetworkAccess(iNacNetwork& network, iNacManager& manager) : m_network(network), m_manager(manager) {}

    void requestGeneralConfig(
        std::function<void(const QJsonObject& answer, const Platform::Error& error)> completion) override {
        m_network.requestGeneralConfig(std::move(completion));
    }
    void checkiNacNecessaryWithUrl(const QString& url, std::function<void(bool)> completion) override {
        m_manager.checkiNacNecessaryWithUrl(url, std::move(completion));
    }
    void executeInacTaskWithUserName(
        const QString& userName, const QString& ticket, const QJsonArray& ssids, const QString& url) override {
        m_manager.executeInacTaskWithUserName(userName, ticket, ssids, url);
    }
    void installStaticMobileconfig() override { m_manager.installStaticMobileconfig(); }

private:
    iNacNetwork& m_network;
    iNacManager& m_manager;
};

/// Lets the domain-login probe ask the server and make a session of what it finds. Main thread.
class DomainSignIn final : public DomainAccountLink {
public:
    DomainSignIn(Session& session, QenCloudLoginHelper& login) : m_session(session), m_login(login) {}

    bool hasRecord() override { return m_session.current().record.has_value(); }
    void check(const QString& account, const QString& domain, Answer answer) override {
        m_asked = m_session.asked();
        m_login.checkDomainAccount(account, domain, std::move(answer));
    }
    void signIn(const QString& userid, const QString& username, const QString& domainName,
        std::function<void(bool isSaved)> done) override {
        m_session.submit(DomainAnswer{m_asked, userid, username, domainName},
            [done = std::move(done)](const Session::Outcome& outcome) { done(outcome.isTaken); });
    }

private:
    Session& m_session;
    QenCloudLoginHelper& m_login;
    /// The session at the last question.
    AskedFor m_asked;
};

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
      networkAccess(std::make_unique<NetworkAccess>(nacServer, nac)),
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
              .networkAccess = networkAccess.get()}}),

      fileListener({.center = center,
          .config = config,
          .log = log,
          .files = QenUIFileListener::followedFiles(agentState, applicationSupport),
          .record = [this] { return session.current().record; }}),
      parlo(Platform::Paths::runtime()), processListener(watchdogWorld(login, ticketService, vpn), log),

      domainAccounts(std::make_unique<DomainSignIn>(session, login)),
      check({.log = [this](const QString& line, int type) { log.writeLog(line, type); },
          .tasks = TaskHelper::sharedInstance(),
          .center = center,
          .agentState = agentState,
          .applicationBundle = Platform::Paths::applicationBundle(),
          .accounts = domainAccounts.get()}) {
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
