#include "ClientWorld.h"

#include "EveryPlace.h"
#include "FileEventStream.h"
#include "FileManager.h"
#include "Files.h"
#include "UserDefaults.h"

#include <QScopeGuard>

#include <cerrno>
#include <thread>

namespace {

AccountModel account(const QString& ticket) {
    AccountModel record;
    record.setUserid(u"U-1"_s);
    record.setUsername(u"alice"_s);
    record.setTicket(ticket);
    return record;
}

SignInAnswer signIn(const AskedFor& asked, const QString& ticket) {
    const QJsonObject data{
        {u"userid"_s, u"U-1"_s}, {u"username"_s, u"alice"_s}, {u"ticket"_s, ticket}, {u"state"_s, 0}};
    return {.asked = asked, .answer = {{u"ret"_s, 0}, {u"data"_s, data}}};
}

} // namespace

/// Every call of a flow fails once, and every call from one on fails, with each error that a system can have.
class tst_SystemFaults : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void everyCall_data() {
        QTest::addColumn<QString>("flow");
        QTest::addColumn<int>("error");
        QTest::addColumn<bool>("isLasting");
        for (const char* flow : {"record", "session", "start", "archive", "defaults", "server", "list", "files"}) {
            for (const int error : {ENOSPC, EIO, EMFILE, SystemFaults::Short}) {
                addFault(flow, error, false);
                addFault(flow, error, true);
            }
            // For ever, it would be repeated for ever.
            addFault(flow, EINTR, false);
        }
        // Many calls: each kind once.
        for (const char* flow : {"log", "export"}) {
            addFault(flow, ENOSPC, true);
            addFault(flow, EMFILE, false);
            addFault(flow, EINTR, false);
            addFault(flow, SystemFaults::Short, true);
        }
    }
    void everyCall() {
        QFETCH(QString, flow);
        QFETCH(int, error);
        QFETCH(bool, isLasting);
        m_isLasting = isLasting;
        std::optional<ClientFolder> folder;
        const auto fresh = [&] {
            qputenv("MAV_ROOT", folder.emplace().machine().toLocal8Bit());
            return flowOf(flow, *folder);
        };
        everyPlace(fresh, error, isLasting);
        qunsetenv("MAV_ROOT");
    }

    /// The kernel is asked again, and what has come meanwhile is news.
    void filesAreFollowedOnceTheKernelCan() {
        const ClientFolder folder;
        const QString path = folder.file(u"tips.txt"_s);
        std::mutex mutex;
        QStringList told;
        QStringList changed;
        const auto taking = [&mutex](QStringList& list) {
            return [&mutex, &list](const auto& news) {
                const std::lock_guard lock(mutex);
                list << news;
            };
        };
        const auto all = [&mutex](const QStringList& list) {
            const std::lock_guard lock(mutex);
            return list;
        };
        SystemFaults::arm(1, EMFILE, false);
        Platform::FileEventStream stream({path}, std::chrono::milliseconds(20), taking(changed), taking(told));
        QVERIFY(SystemFaults::disarm());
        std::thread running([&stream] { stream.run(); });
        const auto end = qScopeGuard([&] {
            stream.stop();
            running.join();
        });
        QTRY_COMPARE(all(told).size(), 1);
        QVERIFY(!Platform::replaceFile(path, "new"));
        QTRY_COMPARE_WITH_TIMEOUT(all(changed), QStringList{path}, 15000);
        QCOMPARE(all(told).value(1), u"[FileEventStream] files are followed again"_s);
    }

private:
    Flow flowOf(const QString& name, ClientFolder& folder) {
        if (name == u"record")
            return recordFlow(folder);
        if (name == u"session")
            return sessionFlow(folder);
        if (name == u"start")
            return startFlow(folder);
        if (name == u"archive")
            return archiveFlow(folder);
        if (name == u"defaults")
            return defaultsFlow(folder);
        if (name == u"log")
            return logFlow(folder);
        if (name == u"list")
            return listFlow(folder);
        if (name == u"files")
            return filesFlow(folder);
        return name == u"server" ? serverFlow(folder) : exportFlow(folder);
    }

    /// One whole record stands there, the old or the new one, and the next write is whole.
    Flow recordFlow(ClientFolder& folder) {
        const auto saved = std::make_shared<bool>(false);
        return {[&folder] { QVERIFY(account(u"old"_s).save(folder.support())); },
            [&folder, saved] { *saved = account(u"new"_s).save(folder.support()); },
            [this, &folder, saved]() -> QString {
                const auto found = AccountModel::currentModel(folder.support());
                if (!found || (*saved && found->decryptTicket() != u"new"))
                    return u"the record is gone or old"_s;
                if (!account(u"next"_s).save(folder.support()))
                    return u"the next record cannot be saved"_s;
                return leftOvers(folder);
            }};
    }

    Flow sessionFlow(ClientFolder& folder) {
        const auto outcome = std::make_shared<Session::Outcome>();
        return {[&folder] { QVERIFY(account(u"old"_s).save(folder.support())); },
            [&folder, outcome] {
                Session session(folder.support());
                QSemaphore done;
                session.submit(signIn(session.asked(), u"new"_s), [&](const Session::Outcome& result) {
                    *outcome = result;
                    done.release();
                });
                QVERIFY(done.tryAcquire(1, 10000));
            },
            [this, &folder, outcome]() -> QString {
                const auto found = AccountModel::currentModel(folder.support());
                if (!found)
                    return u"the record is gone"_s;
                const bool isNew = found->decryptTicket() == u"new";
                if (outcome->isTaken && !outcome->isNotStored && !isNew)
                    return u"a sign-in that was told is not stored"_s;
                Session next(folder.support());
                return next.isSignedIn() ? leftOvers(folder) : u"nobody is signed in"_s;
            }};
    }

    /// A record that cannot be read for once is no sign-out.
    Flow startFlow(ClientFolder& folder) {
        const auto session = std::make_shared<std::unique_ptr<Session>>();
        return {[&folder] { QVERIFY(account(u"old"_s).save(folder.support())); },
            [&folder, session] {
                *session = std::make_unique<Session>(folder.support());
                (*session)->current();
            },
            [session] { return (*session)->isSignedIn() ? QString() : u"nobody is signed in"_s; }};
    }

    Flow archiveFlow(ClientFolder& folder) {
        const QString path = folder.state(u"NGNPolicy.archive"_s);
        return {[path] { QVERIFY(archiveRootObject(u"old"_s, path)); }, [path] { archiveRootObject(u"new"_s, path); },
            [this, path, &folder]() -> QString {
                const auto found = unarchiveObjectWithFile(path);
                const bool isWhole = found && (found->string() == u"old" || found->string() == u"new");
                return isWhole ? leftOvers(folder) : u"the file is damaged"_s;
            }};
    }

    Flow defaultsFlow(ClientFolder& folder) {
        const QString path = folder.file(u"defaults.plist"_s);
        return {[path] { QVERIFY(Platform::UserDefaults(path).setBool(true, u"kept"_s)); },
            [path] { Platform::UserDefaults(path).setBool(true, u"new"_s); },
            [path]() -> QString {
                Platform::UserDefaults defaults(path);
                return defaults.boolForKey(u"kept"_s) && defaults.setBool(true, u"next"_s) ? QString()
                                                                                           : u"a setting is lost"_s;
            }};
    }

    /// What is logged after the trouble is there, and the file goes on where it was.
    Flow logFlow(ClientFolder& folder) {
        const auto log = std::make_shared<std::unique_ptr<QenLogHelper>>();
        return {[] {},
            [&folder, log] {
                *log = std::make_unique<QenLogHelper>(folder.logs(), folder.file(u"size.data"_s), 4000);
                for (int line = 0; line < 30; ++line) {
                    (*log)->writeLog(QString(200, u'x'));
                    QVERIFY((*log)->drain());
                }
            },
            [&folder, log]() -> QString {
                (*log)->writeLog(u"the last line"_s);
                const QString text = folder.logText(**log);
                log->reset();
                QenLogHelper next(folder.logs(), folder.file(u"size.data"_s), 4000);
                next.writeLog(u"the next start"_s);
                return text.contains(u"the last line"_s) && folder.logText(next).contains(u"the next start"_s)
                    ? QString()
                    : u"the log has stopped"_s;
            }};
    }

    Flow serverFlow(ClientFolder& folder) {
        return {[&folder] {
                    QVERIFY((QenNetworkInfoModel{1, u"old.example"_s, 443}).saveModelRecord(folder.agent()));
                },
            [&folder] {
                QenServerConfig config(folder.agent() + u"/.QenConfig"_s, folder.support() + u"/QenCloudL"_s);
                config.readServerConfig();
                static_cast<void>((QenNetworkInfoModel{1, u"new.example"_s, 443}).saveModelRecord(folder.agent()));
            },
            [&folder]() -> QString {
                const auto found = QenNetworkInfoModel::currentNetRecord(folder.agent());
                return found && found->record_server.endsWith(u".example"_s) ? QString() : u"the server is lost"_s;
            }};
    }

    /// The agent's list and the choice between its servers have changed: a reader that fails for once reads again.
    Flow listFlow(ClientFolder& folder) {
        const auto servers = [](int port) {
            const QVariant intranet = QVariantList{u"127.0.0.1"_s, port};
            return QVariantList{intranet, QVariant(QVariantList{u"127.0.0.2"_s, port + 1})};
        };
        const auto config =
            std::make_shared<QenServerConfig>(folder.agent() + u"/.QenConfig"_s, folder.support() + u"/QenCloudL"_s);
        return {[&folder, config, servers] {
                    folder.configure(servers(10));
                    config->updateServerConfig();
                    folder.configure(servers(20));
                    QVERIFY(archiveRootObject(u"1"_s, folder.state(u"netType.archive"_s)));
                },
            [config] {
                config->updateServerConfig();
                config->AcountIP_Port();
            },
            [config]() -> QString {
                config->readServerConfig();
                return config->intranet_port() == 20 && config->AcountIP_Port() == 21 ? QString()
                                                                                      : u"an old server is asked"_s;
            }};
    }

    /// Files in several folders: once nothing fails, each one is followed, and the stream ends when it is told to.
    static Flow filesFlow(ClientFolder& folder) {
        struct Following {
            explicit Following(const QStringList& followed) : paths(followed) {}
            ~Following() {
                stream->stop();
                running.join();
            }
            void start() {
                const auto take = [this](const QStringList& changed) {
                    const std::lock_guard lock(mutex);
                    for (const QString& path : changed)
                        missing.removeAll(path);
                };
                stream.emplace(paths, std::chrono::milliseconds(10), take, [](const QString&) {});
                running = std::thread([this] { stream->run(); });
            }
            bool isMissing() {
                for (const QString& path : std::as_const(paths))
                    static_cast<void>(Platform::replaceFile(path, "new"));
                QTest::qSleep(25);
                const std::lock_guard lock(mutex);
                return !missing.isEmpty();
            }

            const QStringList paths;
            QStringList missing = paths;
            std::mutex mutex;
            std::optional<Platform::FileEventStream> stream;
            std::thread running;
        };
        const QStringList paths{folder.agent() + u"/tips.txt"_s, folder.state(u"login.archive"_s)};
        const auto following = std::make_shared<Following>(paths);
        return {[] {},
            [following] {
                following->start();
                // By somebody else, for whom nothing fails.
                std::thread([following] {
                    SystemFaults::spareThisThread();
                    // The follower's thread may come to its call late.
                    for (int i = 0; i < 100 && following->isMissing() && !SystemFaults::hasStruck(); ++i)
                        ;
                }).join();
            },
            [following]() -> QString {
                for (int i = 0; i < 100; ++i) {
                    if (!following->isMissing())
                        return {};
                }
                return u"not followed: "_s + following->missing.join(u' ');
            }};
    }

    /// It ends, with success or a text in one line, and leaves no archive half written.
    Flow exportFlow(ClientFolder& folder) {
        const auto told = std::make_shared<QStringList>();
        const QString target = folder.file(u"chosen"_s);
        return {[&folder] { QVERIFY(QDir().mkpath(folder.file(u"Library/Logs/QenCloud/v5/Logs"_s))); },
            [&folder, told, target] {
                LogWorld world;
                world.ringDirectory = folder.logs();
                world.sizeRecord = folder.file(u"size.data"_s);
                world.echo = [](const QString&) {};
                world.userName = [] { return u"alice"_s; };
                world.runScript = [](const QString&) { return Platform::Error(); };
                world.openFolder = [](const QString&) {};
                QenLogHelper log(world);
                log.zipLogsWithDirectory(
                    target, [told](bool isDone, const QString& text) { told->append(isDone ? u"done"_s : text); });
            },
            [this, told, target]() -> QString {
                const QStringList rests = QDir(target + u"/MavLogs"_s).entryList({u"zi??????"_s}, QDir::Files);
                if (!rests.isEmpty() && !m_isLasting)
                    return u"half an archive is left"_s;
                return told->isEmpty() || told->last().isEmpty() || told->last().contains(u'\n')
                    ? u"told: "_s + told->join(u'|')
                    : QString();
            }};
    }

    /// Temporary files that nobody will take away. Where nothing works any more, that does not either.
    QString leftOvers(ClientFolder& folder) const {
        return m_isLasting ? QString()
                           : QDir(folder.state({})).entryList({u".mav-*"_s}, QDir::Files | QDir::Hidden).join(u' ');
    }

    bool m_isLasting = false;
};

QTEST_GUILESS_MAIN(tst_SystemFaults)
#include "tst_SystemFaults.moc"
