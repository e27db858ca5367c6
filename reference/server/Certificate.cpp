#include "Certificate.h"

#include "X509Making.h"

#include <QDir>
#include <QFile>
#include <QSslCertificate>
#include <QSslKey>

using namespace Qt::StringLiterals;

namespace Reference {

namespace {

constexpr qint64 validSeconds = 10LL * 365 * 24 * 60 * 60;

bool makeIdentity(const QString& keyFile, const QString& certificateFile) {
    const Key key = makeKey();
    const Certificate certificate = makeCertificate(
        {.commonName = u"Mav reference server"_s,
            .unit = {},
            .validSeconds = validSeconds,
            .extensions = {{NID_basic_constraints, "critical,CA:FALSE"}, {NID_key_usage, "critical,digitalSignature"},
                {NID_ext_key_usage, "serverAuth"}, {NID_subject_alt_name, "DNS:localhost,IP:127.0.0.1,IP:::1"}}},
        key.get());
    return certificate && writePrivate(keyFile, pemOf(key.get())) &&
        writePrivate(certificateFile, pemOf(certificate.get()));
}

} // namespace

std::optional<QSslConfiguration> serverIdentity(const QString& folder, QString* why) {
    const QString keyFile = QDir(folder).filePath(u"server.key"_s);
    const QString certificateFile = QDir(folder).filePath(u"server.crt"_s);
    if ((!QFile::exists(keyFile) || !QFile::exists(certificateFile)) && !makeIdentity(keyFile, certificateFile)) {
        *why = u"cannot make a certificate in "_s + folder;
        return {};
    }
    QFile keyData(keyFile);
    const QList<QSslCertificate> certificates = QSslCertificate::fromPath(certificateFile);
    const QSslKey key = keyData.open(QIODevice::ReadOnly) ? QSslKey(&keyData, QSsl::Ec) : QSslKey();
    if (certificates.isEmpty() || key.isNull()) {
        *why = u"cannot read "_s + (key.isNull() ? keyFile : certificateFile);
        return {};
    }
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.setLocalCertificate(certificates.first());
    configuration.setPrivateKey(key);
    // A client is asked for a certificate and may have none; whose it is is for the operations to judge.
    configuration.setPeerVerifyMode(QSslSocket::QueryPeer);
    configuration.setCaCertificates({});
    return configuration;
}

} // namespace Reference
