// PKCS #12 files from any bytes: what opens holds certificates, and what does not leaves nothing behind.

#include "Fuzzing.h"
#include "Pkcs12.h"

#include <openssl/err.h>
#include <openssl/x509.h>

void fuzz(const QByteArray& input) {
    namespace Pkcs12 = Platform::Pkcs12;
    for (const char* password : {"482915", ""}) {
        QList<QByteArray> certificates;
        const int status = Pkcs12::open(input, QString::fromLatin1(password), &certificates);
        require((status == Pkcs12::Success) == !certificates.isEmpty(), "opened without a certificate");
        for (const QByteArray& der : certificates) {
            const auto* begin = reinterpret_cast<const unsigned char*>(der.constData());
            X509* certificate = d2i_X509(nullptr, &begin, static_cast<long>(der.size()));
            require(certificate, "a certificate that is none");
            X509_free(certificate);
        }
        require(ERR_peek_error() == 0, "a failure is left to somebody else");
    }
}
