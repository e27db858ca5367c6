#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

/// PKCS#12 files: a private key with its certificates, under a password.
namespace Platform::Pkcs12 {

/// Result codes, the platform's numbers.
constexpr int Success = 0;
/// The password is wrong or the file was changed.
constexpr int VerifyFailure = -25264;
/// No PKCS#12 file, one without a key and its certificate, or one whose password takes over a million rounds to check.
constexpr int CannotDecode = -26275;

/// Opens @p file with @p password. Any thread.
/// @param certificates  DER: the key's own first, then the others of the file; left alone on failure
int open(const QByteArray& file, const QString& password, QList<QByteArray>* certificates);

} // namespace Platform::Pkcs12
