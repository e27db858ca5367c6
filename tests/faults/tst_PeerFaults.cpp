#include "CheckWorld.h"
#include "ClientWorld.h"

#include "EveryPlace.h"
#include "LoopbackServer.h"
#include "MavResources.h"
#include "QenCheckRound.h"
#include "QuitSequence.h"
#include "ReferenceServer.h"

#include <QLoggingCategory>

#include <sys/resource.h>

#include <cerrno>

using namespace std::chrono_literals;

namespace {

/// Beyond it, a flow is met at random places only. The nightly checks want more.
int firstPlaces() {
    constexpr int Few = 4;
    const int wanted = qEnvironmentVariableIntValue("MAV_FAULT_PLACES");
    return wanted > 0 ? wanted : Few;
}

constexpr int Long = 25000; // milliseconds, more than a sign-in takes

QString operation(const char* name) {
    return u"/api/public/clientlogin/"_s + QString::fromLatin1(name);
}

bool isGranted(const Outcome& outcome) {
    return !outcome.error && ServerAnswer::ret(outcome.answer) == 0;
}

/// One request in bounded time, and whether it was answered well; nothing when it was not answered once.
std::optional<bool> asked(quint16 port) {
    Outcome outcome;
    Platform::HttpSession session;
    session.sendForJson({.url = u"http://127.0.0.1:%1/qen/ping"_s.arg(port), .timeout = 2.0}, outcome.completion());
    const bool isAnswered = outcome.wait(4000);
    return isAnswered && outcome.calls == 1 ? std::optional(!outcome.error) : std::nullopt;
}

/// The first request of a process that has @p left more descriptors, and the second one when there are more again.
int askWithout(quint16 port, int left) {
    rlimit whole{};
    getrlimit(RLIMIT_NOFILE, &whole);
    const int next = dup(STDOUT_FILENO);
    close(next);
    rlimit tight = whole;
    tight.rlim_cur = static_cast<rlim_t>(next + left);
    setrlimit(RLIMIT_NOFILE, &tight);
    const auto first = asked(port);
    setrlimit(RLIMIT_NOFILE, &whole);
    // Ended here: whatever stands still waits for ever.
    std::_Exit(!first ? 2 : asked(port) == true ? 0 : 3);
}

} // namespace

/// Every call of what the client does with others fails: with its server, with the host tools, with the agent.
class tst_PeerFaults : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() {
        initMavResources();
        QLoggingCategory::setFilterRules(u"mav.console=false"_s);
        m_server.addAccount(u"lin"_s, u"Passw0rd!"_s);
        QVERIFY2(m_server.start(), qPrintable(m_server.lastError()));
    }
    void init() { m_server.clearFaults(); }
    void cleanup() { Platform::HostTools::setFolders({}); }

    void aFirstRequestWithoutDescriptors() {
        // The sanitizers ask the kernel what may be read, for which they need a pipe.
#ifdef __SANITIZE_ADDRESS__
        constexpr int Fewest = 8;
#else
        constexpr int Fewest = 0;
#endif
        for (int left = Fewest; left < 10; ++left) {
            const int outcome = QProcess::execute(QCoreApplication::applicationFilePath(),
                {u"--ask"_s, QString::number(m_server.httpPort()), QString::number(left)});
            QVERIFY2(outcome == 0, qPrintable(u"%1 left: %2"_s.arg(left).arg(outcome)));
        }
    }

    void everyCall_data() {
        QTest::addColumn<QString>("flow");
        QTest::addColumn<int>("error");
        QTest::addColumn<bool>("isLasting");
        for (const char* flow : {"sign-in", "refused", "ended", "checks", "quit"}) {
            for (const int error : {ENOSPC, EIO, EMFILE, ECONNRESET, SystemFaults::Short}) {
                // The checks talk to nobody and store nothing.
                if (qstrcmp(flow, "checks") == 0 && (error == ECONNRESET || error == ENOSPC))
                    continue;
                addFault(flow, error, false);
                addFault(flow, error, true);
            }
            // For ever, it would be repeated for ever.
            addFault(flow, EINTR, false);
        }
    }
    void everyCall() {
        QFETCH(QString, flow);
        QFETCH(int, error);
        QFETCH(bool, isLasting);
        m_isLasting = isLasting;
        const bool isRefused = flow == u"refused";
        const QJsonObject data{{"state", isRefused ? 0 : -4}, {"userid", "lin"}, {"ticket", "T"}};
        const QJsonObject answer{{"ret", isRefused ? 1 : 0}, {"data", data}};
        if (isRefused || flow == u"ended")
            QVERIFY(m_server.fault(
                operation(isRefused ? "account_login" : "ticket_auth"), {{"kind", "json"}, {"json", answer}}, 1000));
        const auto make = [&] {
            return flow == u"checks" ? checkFlow()
                : flow == u"quit"    ? quitFlow()
                : flow == u"ended"   ? endedFlow()
                                     : signInFlow(isRefused);
        };
        // What the process makes once is made.
        const Flow first = make();
        first.prepare();
        first.run();
        QCOMPARE(first.wrong(), QString());
        everyPlace(make, error, isLasting, firstPlaces() / (flow == u"quit" ? 2 : 1));
    }

private:
    /// A client in a folder of its own, and what it was told.
    struct Client {
        explicit Client(quint16 port) : folder(port) {}
        void signIn(Outcome& outcome) {
            client.emplace(folder);
            client->helper.login({{"userid", "lin"}, {"password", "Passw0rd!"}}, outcome.completion());
            outcome.wait(Long);
        }
        void poll(Outcome& outcome) {
            client->helper.checkTicketStatus(outcome.completion());
            outcome.wait(Long);
        }
        bool isStored() const {
            const auto record = AccountModel::currentModel(folder.support());
            return record && record->userid() == u"lin" && !record->decryptTicket().isEmpty();
        }

        ClientFolder folder;
        std::optional<ClientWorld> client;
        Outcome signingIn;
        Outcome polling;
        bool isSignedIn = false;
    };

    /// Whoever is told that he is signed in is, with a whole record, and nobody else; and the next one can sign in.
    Flow signInFlow(bool isRefused) {
        const auto world = std::make_shared<Client>(m_server.httpPort());
        return {[] {},
            [world] {
                world->signIn(world->signingIn);
                if (world->client->helper.iflogin())
                    world->poll(world->polling);
                world->isSignedIn = world->client->helper.iflogin();
                world->client.reset();
            },
            [this, world, isRefused]() -> QString {
                const bool isTold = isGranted(world->signingIn);
                if (world->signingIn.calls != 1 || world->polling.calls != (isTold ? 1 : 0))
                    return u"%1 answers and %2"_s.arg(world->signingIn.calls).arg(world->polling.calls);
                if (isTold != world->isSignedIn || isTold != world->isStored() || (isRefused && isTold))
                    return u"told %1, signed in %2, stored %3"_s.arg(isTold)
                        .arg(world->isSignedIn)
                        .arg(world->isStored());
                if (const QString files = leftOvers(world->folder); !files.isEmpty())
                    return files;
                Outcome next;
                world->signIn(next);
                world->client.reset();
                return isGranted(next) == isRefused ? u"the next sign-in is odd"_s : QString();
            }};
    }

    /// A session that the server has ended is over, here and for the next start.
    Flow endedFlow() {
        const auto world = std::make_shared<Client>(m_server.httpPort());
        return {[world] {
                    QVERIFY(recordOf(u"lin"_s).save(world->folder.support()));
                    world->client.emplace(world->folder);
                },
            [world] { world->poll(world->polling); },
            [this, world]() -> QString {
                const bool isTold = isGranted(world->polling);
                auto& session = world->client->session;
                if (world->polling.calls != 1 || session.isSignedIn() == isTold)
                    return u"%1 answers, told %2"_s.arg(world->polling.calls).arg(isTold);
                QSemaphore done;
                session.submit(TicketTimeOut{}, [&done](const Session::Outcome&) { done.release(); });
                if (!done.tryAcquire(1, Long) || world->isStored() == isTold)
                    return u"the file says something else"_s;
                world->client.reset();
                return leftOvers(world->folder);
            }};
    }

    /// A computer that meets nothing: whatever fails, no check passes, and the round ends.
    Flow checkFlow() {
        struct World {
            CheckWorld computer;
            TaskHelper tasks{1.0};
            QenCheck check{computer.checks(tasks)};
            QenCheckRound round{{.log = computer.log(),
                .center = computer.center,
                .checkWithModel = [this](const QenCheckModelPointer& model) { check.checkWithModel(model); },
                .agentState = computer.agent(),
                .catalogue = u":/bundle/QenCheck.plist"_s,
                .closingDelay = 1ms}};
            int closings = 0;
            QString text;
        };
        const auto world = std::make_shared<World>();
        connect(&world->round, &QenCheckRound::completed, &world->round,
            [world = world.get()](const CheckLook::Closing& closing) {
                ++world->closings;
                world->text = closing.stateText;
            });
        const auto wrong = [world]() -> QString {
            // A policy that could not be read is asked for again.
            static_cast<void>(QTest::qWaitFor([&] { return world->closings > 0; }, Long));
            if (world->closings != 1)
                return u"the round has ended %1 times"_s.arg(world->closings);
            QStringList passed;
            for (const auto& node : world->round.dataSource()) {
                for (const auto& check : node->leafArr()) {
                    if (!check->isWarn())
                        passed << check->title();
                }
            }
            return world->round.warnCount() == 2 && passed.isEmpty() ? QString()
                                                                     : world->text + u": "_s + passed.join(u' ');
        };
        const auto round = [world] {
            world->closings = 0;
            world->round.dataSource().empty() ? world->round.getDataFromPlist() : world->round.recheck();
            static_cast<void>(QTest::qWaitFor([&] { return world->closings > 0; }, 3000));
        };
        return {[world] {
                    world->computer.policy({{"is_disk_encrypt", "1"}, {"firewall", "1"}}, u".archive"_s);
                    world->computer.tool(u"fdesetup"_s, "echo 'FileVault is On.'; echo 'for a part' >&2");
                    world->computer.tool(u"defaults"_s, "echo 111111111111110");
                    world->computer.tool(u"mav-hosttools"_s, R"(echo '{"state":"off","code":"disk.plain"}')");
                },
            round,
            [wrong, round]() -> QString {
                const QString first = wrong();
                round();
                return first.isEmpty() ? wrong() : first;
            }};
    }

    /// The client ends once, at the latest at the limit, and its log is written; the next quit stops the component.
    Flow quitFlow() {
        struct World {
            ClientFolder folder;
            VindorClient agent{folder.file(u"vindor.port"_s), 1.0};
            ClientWorld client{folder, {}, [this](AgentStopped done) { agent.accessAndStop(std::move(done)); },
                folder.file(u"ZelVPN"_s)};
        };
        const auto world = std::make_shared<World>();
        const auto ends = std::make_shared<std::atomic<int>>(0);
        const auto isDrained = std::make_shared<bool>(false);
        const auto quit = [world, ends, isDrained] {
            *ends = 0;
            runQuitSequence(
                world->client.helper, world->client.log, world->client.vpn, [ends] { ++*ends; }, 8s);
            static_cast<void>(QTest::qWaitFor([&] { return *ends > 0; }, Long));
            *isDrained = world->client.log.drain();
        };
        return {[this, world] {
                    QDir().mkpath(world->folder.file(u"tools"_s));
                    put(world->folder.file(u"tools/ps"_s),
                        "#!/bin/sh\necho alice 1 " + world->folder.file(u"ZelVPN"_s).toUtf8(), true);
                    put(world->folder.file(u"vindor.port"_s), QByteArray::number(m_agent.port()));
                    Platform::HostTools::setFolders({world->folder.file(u"tools"_s)});
                },
            quit,
            [this, world, quit, ends, isDrained]() -> QString {
                if (*ends != 1 || !*isDrained)
                    return u"%1 ends, log %2"_s.arg(*ends).arg(*isDrained);
                m_stops = 0;
                quit();
                return *ends == 1 && m_stops > 0 &&
                        world->client.logText().contains(u"[appdelegate] QenCloud Vindor Stop Success!!!"_s)
                    ? QString()
                    : u"the next quit stops %1 times, %2 ends"_s.arg(m_stops).arg(*ends);
            }};
    }

    /// Temporary files that nobody will take away. Where nothing works any more, that does not either.
    QString leftOvers(const ClientFolder& folder) const {
        return m_isLasting ? QString()
                           : QDir(folder.state({})).entryList({u".mav-*"_s}, QDir::Files | QDir::Hidden).join(u' ');
    }

    ReferenceServer m_server;
    std::atomic<int> m_stops{0};
    const LoopbackServer m_agent{[this](LoopbackConnection& connection) {
        SystemFaults::spareThisThread();
        for (QByteArray request = connection.readRequest(); !request.isEmpty(); request = connection.readRequest()) {
            m_stops += request.contains("/stop ") ? 1 : 0;
            connection.write(LoopbackServer::ok(R"({"code":0,"token":"t"})"));
        }
    }};
    bool m_isLasting = false;
};

int main(int argc, char** argv) {
    if (argc == 4 && qstrcmp(argv[1], "--ask") == 0)
        return askWithout(QByteArray(argv[2]).toUShort(), QByteArray(argv[3]).toInt());
    QCoreApplication application(argc, argv);
    tst_PeerFaults test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_PeerFaults.moc"
