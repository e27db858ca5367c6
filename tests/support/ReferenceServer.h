#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>

/// One management server of our own for a test: a process in a temporary folder, ended with this object.
///
/// Everything here is synchronous, needs no running event loop and may be used from any one thread. Nothing throws; a
/// call that cannot be carried out answers false or an empty value and `lastError()` says why. The forms of actions and
/// faults are told in reference/server/README.md.
class ReferenceServer {
public:
    struct Reply {
        int status = 0; ///< 0: no answer within the limit
        QByteArray body;
        QJsonObject json() const;
    };
    using Headers = QList<QPair<QByteArray, QByteArray>>;

    ReferenceServer();
    ~ReferenceServer();
    ReferenceServer(const ReferenceServer&) = delete;
    ReferenceServer& operator=(const ReferenceServer&) = delete;

    /// Seeds an account at the next start. @param otp  six digits as a fixed code, or a Base32 secret; empty: none
    void addAccount(const QString& userid, const QString& password, const QString& otp = {}, const QString& mail = {});

    /// Starts the server and waits for its ready line. A second start after `stop()` uses the same folder and the same
    /// ports again, so a client sees its server come back.
    bool start();
    /// Ends the server. @return its exit status, -1 when it was not running or had to be killed
    int stop();
    bool isRunning() const;

    quint16 httpPort() const { return m_httpPort; }
    QString folder() const;
    /// The program that is started.
    static QString program();
    QString lastError() const { return m_lastError; }

    /// An operator's action, e.g. action("block_user", {{"userid", "lin"}}).
    bool action(const QString& name, QJsonObject fields = {});
    /// The next `count` answers of `path` ("*" for every path) fail as told, e.g. {{"kind", "status"}, {"status",
    /// 500}}.
    bool fault(const QString& path, QJsonObject how, int count = 1);
    bool clearFaults();

    /// Accounts, devices, sessions, scans, mails, settings and faults as the operator sees them.
    QJsonObject state();
    /// The first entry of `list` in `state()` whose `key` is `value`; empty when there is none.
    QJsonObject find(const QString& list, const QString& key, const QString& value);
    /// Requests received, oldest first, operator calls left out. @param path  only those of this path; empty: all
    QJsonArray requests(const QString& path = {});
    /// Waits until at least `count` requests of `path` were received.
    bool waitForRequests(const QString& path, int count, int timeoutMs = 5000);
    /// The raw body of an entry of `requests()`.
    static QByteArray bodyOf(const QJsonObject& request);

    Reply get(const QString& pathAndQuery, int timeoutMs = 5000);
    Reply post(const QString& pathAndQuery, const QByteArray& body, const Headers& headers = {}, int timeoutMs = 5000);

private:
    Reply exchange(
        const QByteArray& method, const QString& target, const QByteArray& body, const Headers& headers, int timeoutMs);
    bool postJson(const QString& path, const QJsonObject& body);

    QTemporaryDir m_folder;
    QProcess m_process;
    QStringList m_accounts;
    quint16 m_httpPort = 0;
    quint16 m_httpsPort = 0;
    QString m_lastError;
};
