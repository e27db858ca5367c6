// Many clients in one process, each with the client's own services, watchdog and left bar, whose polls tick at their
// real intervals. On standard input "launch" launches the next one, which tells once whether it is signed in; "take"
// tells what was counted since the last time, and who was confirmed meanwhile. measure.py beside it asks.
//
// FOLDER holds the root of the facts of each computer: desktop0 and so on. usage: bench_fleet FOLDER SERVER-PORT
// CLIENTS
#include "AccountManager.h"
#include "ApplicationInterface.h"
#include "ArchiveStore.h"
#include "BenchHarness.h"
#include "ITDevice.h"
#include "MavResources.h"
#include "NotificationCenter.h"
#include "QenCloudClientProcessListener.h"
#include "QenCloudLoginHelper.h"
#include "QenCloudNGNLogin.h"
#include "QenLogHelper.h"
#include "QenMainLeftBar.h"
#include "QenServerConfig.h"
#include "StateFiles.h"
#include "TaskHelper.h"
#include "VpnComponent.h"

#include <QApplication>
#include <QJsonDocument>

#include <dlfcn.h>
#include <linux/tcp.h>
#include <netinet/in.h>
#include <unistd.h>

#include <iostream>
#include <map>
#include <mutex>
#include <thread>

using namespace Qt::StringLiterals;

namespace {

using Clock = std::chrono::steady_clock;

/// After the start of the client its watchdog begins.
constexpr std::chrono::seconds WatchdogDelay{30};

/// Main thread.
void print(const QJsonObject& line) {
    std::puts(QJsonDocument(line).toJson(QJsonDocument::Compact).constData());
    std::fflush(stdout);
}

struct NoWindow final : ApplicationInterface {
    void showAlertTipForLogin(const QString&) override {}
};

struct Connection {
    QString path = {};
    Clock::time_point asked = {};
    bool isWaiting = false;
    quint32 packetsOut = 0, packetsIn = 0;
};
struct Operation {
    qint64 requests = 0, failed = 0, sent = 0, received = 0;
    QJsonArray milliseconds = {};
};
struct State {
    std::mutex mutex;
    std::map<int, Connection> connections;
    std::map<QString, Operation> operations;
    std::map<qint64, int> tenths;
    qint64 connects = 0;
};

/// Never destroyed: the network thread goes on until the process ends.
State& state() {
    static auto& known = *new State;
    return known;
}

/// Runs @p count with the connection of @p fd and what its path has come to.
template <typename Count>
void counted(int fd, Count count) {
    const std::lock_guard lock(state().mutex);
    if (const auto found = state().connections.find(fd); found != state().connections.end())
        count(found->second, state().operations[found->second.path]);
}

void begin(int fd, const QByteArray& line, Clock::time_point now) {
    const std::lock_guard lock(state().mutex);
    const auto [found, isNew] = state().connections.try_emplace(fd);
    Connection& connection = found->second;
    connection.path = QString::fromLatin1(line.split(' ').value(1).split('?').first());
    connection.asked = now;
    connection.isWaiting = true;
    state().connects += isNew ? 1 : 0;
    ++state().operations[connection.path].requests;
    ++state().tenths[connection.asked.time_since_epoch() / std::chrono::milliseconds(100)];
}

/// What happened since the last call: for each path the requests, those that failed (another status than 200, or no
/// answer), bytes and the milliseconds until each answer began; requests of each tenth of a second of the steady clock;
/// connections that are new and, at the end, open, with the TCP packets of these, acknowledgements included.
QJsonObject takeCounts() {
    const std::lock_guard lock(state().mutex);
    QJsonObject paths;
    for (const auto& [path, each] : std::exchange(state().operations, {}))
        paths.insert(path,
            QJsonObject{{"requests", each.requests}, {"failed", each.failed}, {"bytes_out", each.sent},
                {"bytes_in", each.received}, {"ms", each.milliseconds}});
    QJsonArray tenths;
    for (const auto& [tenth, requests] : std::exchange(state().tenths, {}))
        tenths.append(QJsonArray{tenth, requests});
    qint64 out = 0, in = 0;
    for (auto& [fd, each] : state().connections) {
        tcp_info info{};
        socklen_t length = sizeof info;
        getsockopt(fd, IPPROTO_TCP, TCP_INFO, &info, &length);
        out += info.tcpi_segs_out - std::exchange(each.packetsOut, info.tcpi_segs_out);
        in += info.tcpi_segs_in - std::exchange(each.packetsIn, info.tcpi_segs_in);
    }
    return {{"paths", paths}, {"tenths", tenths}, {"connects", std::exchange(state().connects, 0)},
        {"open", static_cast<qint64>(state().connections.size())}, {"packets_out", out}, {"packets_in", in}};
}

/// One desktop's client, from its services up to the bar that polls. Never destroyed, as the running client is not.
class Desktop final {
public:
    /// @param folder  of all desktops, with what the agent has left
    Desktop(const QString& folder, int number, QenLogHelper& log)
        : m_log(log), m_account(u"person%1"_s.arg(100'000 + number)), m_agent(folder),
          m_support(u"%1/desktop%2"_s.arg(folder).arg(number)) {
        m_login.setLoginBlock([this](bool isSignedIn) {
            Clock::time_point none;
            if (isSignedIn)
                m_confirmed.compare_exchange_strong(none, Clock::now());
        });
    }

    /// As the client's start, the server page and the login page do it; then the main view asks for its settings.
    void launch() {
        m_login.createSoleidAndSave();
        m_login.Get_network_type();
        Platform::after(Platform::mainQueue(), WatchdogDelay, [this] { m_watchdog.startListening(); });
        m_login.pingServerToResult(Platform::Completion<bool>([this](bool isThere) {
            if (isThere)
                Platform::globalQueue().async([this] { signIn(); });
            else
                tellSignedIn(false);
        }));
    }
    /// When the server first confirmed the session since the last call; the clock's zero if it did not.
    Clock::time_point takeConfirmed() { return m_confirmed.exchange({}); }

private:
    void signIn() {
        m_login.login({{"userid", m_account}, {"password", u"Fleet-1-pass"_s}, {"otp", u""_s}},
            [this](const QJsonObject& answer, const Platform::Error& error) {
                m_login.Get_Save_Config();
                tellSignedIn(!error && ServerAnswer::grantsSession(answer));
            });
    }
    static void tellSignedIn(bool isSignedIn) {
        Platform::mainQueue().async([isSignedIn] { print({{"signed_in", isSignedIn}}); });
    }
    QenCloudClientProcessListener::World watchdogWorld() {
        // Ticket service and VPN component are the desktop's own; no server hears of them.
        return {.getNetworkType = [this] { m_login.Get_network_type(); },
            .signIn = [this] { return m_session.current().served(); },
            .isCheckAndShow = [this] { return m_login.isCheckAndShow(); },
            .checkXPCServiceIsReInital = [] { return false; },
            .isTicketServiceRefusing = [] { return false; },
            .existZelVPN = [] {},
            .runTicketXPC = [] {},
            .reloadZelVPN = [] {},
            .vpnProcessIds = [](Platform::Error*) { return u"1"_s; }};
    }

    QenLogHelper& m_log;
    NoWindow m_window;
    const QString m_account;
    const QString m_agent;
    const QString m_support;
    const QString m_state = m_support + u'/' + StateFiles::UserFolder;
    std::atomic<Clock::time_point> m_confirmed{};
    ITDevice m_device{m_support, {.listAddresses = [] { return QMap<QString, QString>{{u"eth0"_s, u"192.0.2.7"_s}}; }}};
    QenServerConfig m_config{m_agent + u'/' + StateFiles::ServerList, m_state};
    QenAnalyseDomain m_domain;
    Session m_session{m_support};
    AccountManager m_accounts{{.config = m_config,
        .domain = m_domain,
        .device = m_device,
        .log = m_log,
        .applicationSupport = m_support,
        .userid = [this] { return m_session.current().record.value_or(AccountModel()).userid(); }}};
    QenCloudNGNLogin m_server{m_accounts};
    VpnComponent m_vpn{{.tasks = TaskHelper::sharedInstance(),
        .executable = u"/no/such/vpn"_s,
        .accessAndStop = [](const AgentStopped& done) { done({.access = AgentStop::NoAccess}); }}};
    QenCloudLoginHelper m_login{{.session = m_session,
        .server = m_server,
        .accounts = m_accounts,
        .device = m_device,
        .log = m_log,
        .vpn = m_vpn,
        .userState = m_state,
        .agentState = m_agent,
        .links = {}}};
    QenCloudClientProcessListener m_watchdog{watchdogWorld(), m_log};
    Platform::TaskGroup m_work;
    QenMainLeftBar m_leftBar{{.application = m_window,
        .login = m_login,
        .config = m_config,
        .device = m_device,
        .log = m_log,
        .center = Platform::NotificationCenter::defaultCenter(),
        .work = m_work}};
};

void printCounts(const std::vector<Desktop*>& desktops) {
    QJsonArray confirmed;
    for (Desktop* desktop : desktops) {
        if (const auto moment = desktop->takeConfirmed(); moment != Clock::time_point())
            confirmed.append(std::chrono::duration<double>(moment.time_since_epoch()).count());
    }
    QJsonObject counts = takeCounts();
    counts.insert(u"confirmed"_s, confirmed);
    print(counts);
}

} // namespace

// In the place of the system's, for every library of the process.
#define REAL(name) reinterpret_cast<decltype(&name)>(dlsym(RTLD_NEXT, #name))

extern "C" ssize_t send(int fd, const void* bytes, size_t size, int flags) {
    static const auto real = REAL(send);
    const auto now = Clock::now();
    const ssize_t length = real(fd, bytes, size, flags);
    const auto text = QByteArray::fromRawData(static_cast<const char*>(bytes), std::max<ssize_t>(length, 0));
    if (text.startsWith("GET /") || text.startsWith("POST /"))
        begin(fd, text.left(text.indexOf('\n')), now);
    if (length > 0)
        counted(fd, [length](Connection&, Operation& operation) { operation.sent += length; });
    return length;
}

extern "C" ssize_t recv(int fd, void* bytes, size_t size, int flags) {
    static const auto real = REAL(recv);
    const ssize_t length = real(fd, bytes, size, flags);
    // What is only looked at comes again.
    if (length <= 0 || (flags & MSG_PEEK) != 0)
        return length;
    counted(fd, [&](Connection& connection, Operation& operation) {
        operation.received += length;
        if (!std::exchange(connection.isWaiting, false))
            return;
        const std::chrono::duration<double, std::milli> after = Clock::now() - connection.asked;
        operation.milliseconds.append(after.count());
        if (!QByteArray::fromRawData(static_cast<char*>(bytes), length).startsWith("HTTP/1.1 200"))
            ++operation.failed;
    });
    return length;
}

extern "C" int close(int fd) {
    static const auto real = REAL(close);
    counted(fd, [fd](Connection& connection, Operation& operation) {
        operation.failed += connection.isWaiting;
        state().connections.erase(fd);
    });
    return real(fd);
}

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    initMavResources();
    Bench::check(argc == 4, "usage: bench_fleet FOLDER SERVER-PORT CLIENTS");
    const QString folder = QString::fromLocal8Bit(argv[1]);
    const QVariant pair = QVariantList{u"127.0.0.1"_s, QByteArray(argv[2]).toInt()};
    const auto servers = Platform::ArchiveValue::fromVariant(QVariantList{pair, pair, pair});
    Bench::check(archiveRootObject(servers, folder + u'/' + StateFiles::ServerList), "no server list");
    QenLogHelper log(folder + u"/logs"_s, folder + u"/logs.data"_s);
    std::vector<Desktop*> desktops;
    for (int number = 0; number < QByteArray(argv[3]).toInt(); ++number)
        desktops.push_back(new Desktop(folder, number, log));
    print({{"clients", static_cast<int>(desktops.size())}});
    std::thread([&] {
        size_t launched = 0;
        for (std::string line; std::getline(std::cin, line);) {
            if (line == "take")
                Platform::mainQueue().async([&] { printCounts(desktops); });
            else if (line == "launch")
                Platform::mainQueue().async([desktop = desktops.at(launched++)] { desktop->launch(); });
        }
        // The clients go on until the process ends.
        std::_Exit(0);
    }).detach();
    return QApplication::exec();
}
