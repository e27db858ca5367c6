#include "ClientCertificate.h"

#include "Pkcs12File.h"
#include "SystemLog.h"

#include <openssl/err.h>
#include <openssl/ssl.h>

using namespace Qt::StringLiterals;

namespace Platform {

namespace {

/// The PKCS#12 file's own certificate and its key are put into @p connection; false when any of it is unusable.
bool useIdentity(SSL* connection, const Pkcs12File& file) {
    return file.state() == Pkcs12File::State::Open && SSL_use_certificate(connection, file.certificate()) == 1 &&
        SSL_use_PrivateKey(connection, file.key()) == 1 && SSL_check_private_key(connection) == 1;
}

int onChallenge(SSL* connection, void* context) {
    const auto& askIdentity = *static_cast<const std::function<ClientIdentity()>*>(context);
    const ClientIdentity identity = askIdentity();
    if (!identity.pkcs12.isEmpty() && !useIdentity(connection, Pkcs12File(identity.pkcs12, identity.password))) {
        SSL_certs_clear(connection);
        char reason[160];
        ERR_error_string_n(ERR_peek_last_error(), reason, sizeof reason);
        systemLog(u"client certificate not usable, none is presented: %1"_s.arg(QLatin1String(reason)));
        // What stays in the error queue would be taken for a failure of the connection.
        ERR_clear_error();
    }
    return 1;
}

} // namespace

void presentOnChallenge(SSL_CTX* context, const std::function<ClientIdentity()>* identity) {
    SSL_CTX_set_cert_cb(context, onChallenge, const_cast<std::function<ClientIdentity()>*>(identity));
}

} // namespace Platform
