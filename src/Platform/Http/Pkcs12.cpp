#include "Pkcs12.h"

#include "Pkcs12File.h"

#include <openssl/err.h>

namespace Platform {

Pkcs12File::Pkcs12File(const QByteArray& file, const QString& password) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(file.constData());
    const std::unique_ptr<PKCS12, Release> parsed(d2i_PKCS12(nullptr, &bytes, static_cast<long>(file.size())));
    QByteArray secret = password.toUtf8();
    EVP_PKEY* key = nullptr;
    X509* own = nullptr;
    STACK_OF(X509)* others = nullptr;
    const bool isVerified = parsed && PKCS12_verify_mac(parsed.get(), secret.constData(), -1) == 1;
    const bool isOpen = isVerified && PKCS12_parse(parsed.get(), secret.constData(), &key, &own, &others) == 1;
    OPENSSL_cleanse(secret.data(), static_cast<size_t>(secret.size()));
    m_key.reset(key);
    m_certificate.reset(own);
    m_others.reset(others);
    if (parsed && !isVerified)
        m_state = State::WrongPassword;
    else if (isOpen && key && own)
        m_state = State::Open;
}

namespace Pkcs12 {

namespace {

QByteArray derOf(X509* certificate) {
    QByteArray der(i2d_X509(certificate, nullptr), Qt::Uninitialized);
    auto* bytes = reinterpret_cast<unsigned char*>(der.data());
    i2d_X509(certificate, &bytes);
    return der;
}

} // namespace

int open(const QByteArray& file, const QString& password, QList<QByteArray>* certificates) {
    const Pkcs12File opened(file, password);
    // What stays in the error queue would be taken for the failure of somebody else's call.
    ERR_clear_error();
    if (opened.state() != Pkcs12File::State::Open)
        return opened.state() == Pkcs12File::State::WrongPassword ? VerifyFailure : CannotDecode;
    *certificates = {derOf(opened.certificate())};
    for (int i = 0; i < sk_X509_num(opened.others()); ++i)
        certificates->append(derOf(sk_X509_value(opened.others(), i)));
    return Success;
}

} // namespace Pkcs12

} // namespace Platform
