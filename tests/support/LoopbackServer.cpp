#include "LoopbackServer.h"

#include <openssl/pkcs12.h>
#include <openssl/x509.h>

#include <arpa/inet.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>

using namespace Qt::StringLiterals;

namespace {

void setTimeouts(int descriptor) {
    const timeval limit{10, 0};
    setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    setsockopt(descriptor, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
}

} // namespace

LoopbackConnection::LoopbackConnection(int descriptor, SSL_CTX* tls) : m_descriptor(descriptor) {
    if (!tls)
        return;
    m_tls = SSL_new(tls);
    SSL_set_fd(m_tls, descriptor);
    SSL_accept(m_tls);
}

LoopbackConnection::~LoopbackConnection() {
    SSL_free(m_tls);
}

QByteArray LoopbackConnection::readSome() {
    std::array<char, 16384> bytes;
    const auto count = m_tls ? SSL_read(m_tls, bytes.data(), static_cast<int>(bytes.size()))
                             : recv(m_descriptor, bytes.data(), bytes.size(), 0);
    return count > 0 ? QByteArray(bytes.data(), static_cast<qsizetype>(count)) : QByteArray();
}

QByteArray LoopbackConnection::readRequest() {
    qsizetype wanted = -1;
    for (;;) {
        const qsizetype headerEnd = m_buffer.indexOf("\r\n\r\n");
        if (headerEnd >= 0 && wanted < 0) {
            const QByteArray header = m_buffer.left(headerEnd).toLower();
            const qsizetype length = header.indexOf("content-length:");
            wanted =
                headerEnd + 4 + (length < 0 ? 0 : header.mid(length + 15).split('\r').first().trimmed().toLongLong());
        }
        if (wanted >= 0 && m_buffer.size() >= wanted) {
            const QByteArray request = m_buffer.left(wanted);
            m_buffer.remove(0, wanted);
            return request;
        }
        const QByteArray more = readSome();
        if (more.isEmpty())
            return {};
        m_buffer += more;
    }
}

bool LoopbackConnection::write(const QByteArray& bytes) {
    for (qsizetype sent = 0; sent < bytes.size();) {
        const auto left = static_cast<size_t>(bytes.size() - sent);
        const auto count = m_tls ? SSL_write(m_tls, bytes.constData() + sent, static_cast<int>(left))
                                 : send(m_descriptor, bytes.constData() + sent, left, MSG_NOSIGNAL);
        if (count <= 0)
            return false;
        sent += static_cast<qsizetype>(count);
    }
    return true;
}

void LoopbackConnection::waitForClient() {
    readSome();
}

QString LoopbackConnection::clientName() const {
    const std::unique_ptr<X509, void (*)(X509*)> certificate(
        m_tls ? SSL_get1_peer_certificate(m_tls) : nullptr, X509_free);
    std::array<char, 64> name{};
    if (certificate)
        X509_NAME_get_text_by_NID(X509_get_subject_name(certificate.get()), NID_commonName, name.data(), name.size());
    return QString::fromUtf8(name.data());
}

LoopbackServer::LoopbackServer(Handler handler, SSL_CTX* tls) : m_handler(std::move(handler)), m_tls(tls) {
    m_listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (bind(m_listener, reinterpret_cast<sockaddr*>(&address), length) != 0 || listen(m_listener, 256) != 0)
        qFatal("no loopback port");
    getsockname(m_listener, reinterpret_cast<sockaddr*>(&address), &length);
    m_port = ntohs(address.sin_port);
    m_acceptor = std::thread([this] { acceptAll(); });
}

LoopbackServer::~LoopbackServer() {
    shutdown(m_listener, SHUT_RDWR);
    m_acceptor.join();
    close(m_listener);
    {
        const std::lock_guard lock(m_mutex);
        for (const int descriptor : m_open)
            shutdown(descriptor, SHUT_RDWR);
    }
    for (std::thread& thread : m_threads)
        thread.join();
}

QString LoopbackServer::url(const QString& path) const {
    return u"%1://127.0.0.1:%2%3"_s.arg(QLatin1String(m_tls ? "https" : "http")).arg(m_port).arg(path);
}

void LoopbackServer::acceptAll() {
    for (;;) {
        const int descriptor = accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (descriptor < 0)
            return;
        ++m_accepted;
        setTimeouts(descriptor);
        const std::lock_guard lock(m_mutex);
        m_open.push_back(descriptor);
        m_threads.emplace_back([this, descriptor] {
            // A client may go in the middle of a TLS record.
            sigset_t brokenPipe;
            sigemptyset(&brokenPipe);
            sigaddset(&brokenPipe, SIGPIPE);
            pthread_sigmask(SIG_BLOCK, &brokenPipe, nullptr);
            {
                LoopbackConnection connection(descriptor, m_tls);
                m_handler(connection);
            }
            const std::lock_guard done(m_mutex);
            m_open.remove(descriptor);
            close(descriptor);
        });
    }
}

LoopbackServer::Handler LoopbackServer::always(const QByteArray& answer) {
    return [answer](LoopbackConnection& connection) {
        while (!connection.readRequest().isEmpty() && connection.write(answer)) {
        }
    };
}

QByteArray LoopbackServer::ok(const QByteArray& body, const QByteArray& extraHeaders) {
    return "HTTP/1.1 200 OK\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\n" + extraHeaders + "\r\n" +
        body;
}

TestIdentity TestIdentity::make(const char* commonName, unsigned bits, bool expired) {
    const TestIdentity identity{{EVP_RSA_gen(bits), EVP_PKEY_free}, {X509_new(), X509_free}};
    X509* certificate = identity.certificate.get();
    ASN1_INTEGER_set(X509_get_serialNumber(certificate), 1);
    X509_gmtime_adj(X509_getm_notBefore(certificate), -7200);
    X509_gmtime_adj(X509_getm_notAfter(certificate), expired ? -3600 : 3600);
    X509_NAME* name = X509_get_subject_name(certificate);
    X509_NAME_add_entry_by_txt(
        name, "CN", MBSTRING_UTF8, reinterpret_cast<const unsigned char*>(commonName), -1, -1, 0);
    X509_set_issuer_name(certificate, name);
    X509_set_pubkey(certificate, identity.key.get());
    X509_sign(certificate, identity.key.get(), EVP_sha256());
    return identity;
}

QByteArray TestIdentity::pkcs12(const char* password) const {
    const std::unique_ptr<PKCS12, void (*)(PKCS12*)> file(
        PKCS12_create(password, "client", key.get(), certificate.get(), nullptr, 0, 0, 0, 0, 0), PKCS12_free);
    unsigned char* bytes = nullptr;
    const int length = i2d_PKCS12(file.get(), &bytes);
    const QByteArray result(reinterpret_cast<const char*>(bytes), length);
    OPENSSL_free(bytes);
    return result;
}

std::shared_ptr<SSL_CTX> TestIdentity::serverContext(bool asksForCertificate) const {
    std::shared_ptr<SSL_CTX> context(SSL_CTX_new(TLS_server_method()), SSL_CTX_free);
    // A weak key is served, too: accepting it is the client's choice.
    SSL_CTX_set_security_level(context.get(), 0);
    SSL_CTX_use_certificate(context.get(), certificate.get());
    SSL_CTX_use_PrivateKey(context.get(), key.get());
    SSL_CTX_set_session_id_context(context.get(), reinterpret_cast<const unsigned char*>("t"), 1);
    if (asksForCertificate)
        SSL_CTX_set_verify(context.get(), SSL_VERIFY_PEER, [](int, X509_STORE_CTX*) { return 1; });
    return context;
}
