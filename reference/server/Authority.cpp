#include "Authority.h"

#include "Secrets.h"

#include <QDir>
#include <QFile>

#include <openssl/pkcs12.h>

using namespace Qt::StringLiterals;

namespace Reference {

namespace {

constexpr qint64 validSeconds = 20LL * 365 * 24 * 60 * 60;
constexpr int passwordLength = 16;

const QString rootName = u"ca-root"_s;
const QString intermediateName = u"ca-sub"_s;

QByteArray contentOf(const QString& name) {
    QFile file(name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool isWhole(const QDir& folder) {
    for (const QString& name : {rootName, intermediateName}) {
        if (!folder.exists(name + u".key"_s) || !folder.exists(name + u".crt"_s))
            return false;
    }
    return true;
}

CertificatePlan plan(const QString& commonName, const char* constraints) {
    return {.commonName = commonName,
        .unit = {},
        .validSeconds = validSeconds,
        .extensions = {{NID_basic_constraints, constraints}, {NID_key_usage, "critical,keyCertSign,cRLSign"},
            {NID_subject_key_identifier, "hash"}}};
}

QByteArray pkcs12Of(const QString& password, EVP_PKEY* key, X509* certificate, const QList<X509*>& chain) {
    const std::unique_ptr<STACK_OF(X509), Freed<[](STACK_OF(X509) * stack) { sk_X509_free(stack); }>> others(
        sk_X509_new_null());
    for (X509* other : chain)
        sk_X509_push(others.get(), other);
    const std::unique_ptr<PKCS12, Freed<PKCS12_free>> file(
        PKCS12_create(password.toUtf8().constData(), "Mav", key, certificate, others.get(), 0, 0, 0, 0, 0));
    unsigned char* bytes = nullptr;
    const int length = file ? i2d_PKCS12(file.get(), &bytes) : 0;
    const QByteArray content(reinterpret_cast<const char*>(bytes), length > 0 ? length : 0);
    OPENSSL_free(bytes);
    return content;
}

} // namespace

bool Authority::make(const QString& base) {
    const Key rootKey = makeKey();
    const Certificate root = makeCertificate(plan(u"Mav reference root CA"_s, "critical,CA:TRUE"), rootKey.get());
    const Key subKey = makeKey();
    CertificatePlan below = plan(u"Mav reference intermediate CA"_s, "critical,CA:TRUE,pathlen:0");
    below.issuer = root.get();
    below.issuerKey = rootKey.get();
    const Certificate sub = root ? makeCertificate(below, subKey.get()) : Certificate();
    return sub && writePrivate(base + rootName + u".key"_s, pemOf(rootKey.get())) &&
        writePrivate(base + rootName + u".crt"_s, pemOf(root.get())) &&
        writePrivate(base + intermediateName + u".key"_s, pemOf(subKey.get())) &&
        writePrivate(base + intermediateName + u".crt"_s, pemOf(sub.get()));
}

Authority::Signer Authority::read(const QString& file) {
    return {keyFromPem(contentOf(file + u".key"_s)), certificateFromPem(contentOf(file + u".crt"_s))};
}

std::optional<Authority> Authority::open(const QString& folder, QString* why) {
    const QString base = folder + u'/';
    if (!isWhole(QDir(folder)) && !make(base)) {
        *why = u"cannot make a certificate authority in "_s + folder;
        return {};
    }
    Signer root = read(base + rootName);
    Signer intermediate = read(base + intermediateName);
    if (!root || !intermediate) {
        *why = u"cannot read the certificate authority in "_s + folder;
        return {};
    }
    return Authority(std::move(root), std::move(intermediate));
}

std::optional<Authority::Issued> Authority::issue(
    const QString& userid, const QString& deviceid, qint64 lifetime) const {
    const Key key = makeKey();
    const Certificate certificate =
        makeCertificate({.commonName = userid,
                            .unit = deviceid,
                            .validSeconds = lifetime,
                            .extensions = {{NID_basic_constraints, "critical,CA:FALSE"},
                                {NID_key_usage, "critical,digitalSignature"}, {NID_ext_key_usage, "clientAuth"},
                                {NID_subject_key_identifier, "hash"}, {NID_authority_key_identifier, "keyid:always"}},
                            .issuer = m_intermediate.certificate.get(),
                            .issuerKey = m_intermediate.key.get()},
            key.get());
    if (!certificate)
        return {};
    Issued issued{.serial = serialOf(certificate.get()),
        .commonName = userid,
        .pkcs12 = {},
        .password = randomText(passwordLength)};
    issued.pkcs12 = pkcs12Of(
        issued.password, key.get(), certificate.get(), {m_intermediate.certificate.get(), m_root.certificate.get()});
    if (issued.pkcs12.isEmpty())
        return {};
    return issued;
}

} // namespace Reference
