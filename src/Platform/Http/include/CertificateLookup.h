#pragma once

#include "Queue.h"

#include <QString>

#include <chrono>

namespace Platform {

/// Where the certificates of this user are looked up.
class CertificateLookup {
public:
    virtual ~CertificateLookup() = default;
    /// Whether a certificate has exactly this label. Blocks; not on the main thread. Never for an empty label.
    virtual bool hasCertificate(const QString& label) = 0;
};

/// The tokens of every PKCS#11 module that the system or the user has configured.
///
/// Asks without signing in to a token, so it finds what the token shows to everybody, as certificates usually are. A
/// module or token that fails is passed over. Modules are loaded for one look-up and run in this process on one thread
/// for all look-ups: while a module hangs, every look-up ends at its limit with "no", and no second thread is lost.
class TokenCertificates final : public CertificateLookup {
public:
    /// @param limit  how long one look-up may take
    explicit TokenCertificates(QString queueLabel, std::chrono::milliseconds limit = std::chrono::seconds(5));

    /// Any thread but the main one.
    bool hasCertificate(const QString& label) override;

private:
    const std::chrono::milliseconds m_limit;
    /// Its destruction waits for a look-up that is still under way.
    SerialQueue m_queue;
};

} // namespace Platform
