#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <openssl/ssl.h>

#include <atomic>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <thread>

using namespace Qt::StringLiterals;

/// One connection as its server sees it; every call blocks for at most ten seconds.
class LoopbackConnection final {
public:
    LoopbackConnection(int descriptor, SSL_CTX* tls);
    ~LoopbackConnection();

    /// The next request with its body; empty when the client closed.
    QByteArray readRequest();
    bool write(const QByteArray& bytes);
    /// Blocks until the client closes or sends more.
    void waitForClient();
    /// Common name of the certificate that the client presented; empty without one.
    QString clientName() const;

private:
    QByteArray readSome();

    const int m_descriptor;
    SSL* m_tls = nullptr;
    QByteArray m_buffer;
};

/// Listens on 127.0.0.1 and runs one handler a connection, each on a thread of its own, so that a misbehaviour is
/// exactly what the handler writes. The connection closes when its handler returns.
class LoopbackServer final {
public:
    using Handler = std::function<void(LoopbackConnection&)>;

    explicit LoopbackServer(Handler handler, SSL_CTX* tls = nullptr);
    ~LoopbackServer();

    quint16 port() const { return m_port; }
    QString url(const QString& path = u"/"_s) const;
    int accepted() const { return m_accepted; }

    /// Answers every request of a connection with @p answer.
    static Handler always(const QByteArray& answer);
    /// A complete answer of status 200 and @p extraHeaders (each with its line end).
    static QByteArray ok(const QByteArray& body, const QByteArray& extraHeaders = {});

private:
    void acceptAll();

    const Handler m_handler;
    SSL_CTX* const m_tls;
    int m_listener = -1;
    quint16 m_port = 0;
    std::atomic<int> m_accepted{0};
    std::mutex m_mutex;
    std::list<int> m_open;
    std::list<std::thread> m_threads;
    std::thread m_acceptor;
};

/// A key with a certificate that signed itself, made afresh.
struct TestIdentity {
    std::shared_ptr<EVP_PKEY> key;
    std::shared_ptr<X509> certificate;

    static TestIdentity make(const char* commonName, unsigned bits = 2048, bool expired = false);
    QByteArray pkcs12(const char* password) const;
    std::shared_ptr<SSL_CTX> serverContext(bool asksForCertificate = false) const;
};
