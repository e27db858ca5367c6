#pragma once

#include <QByteArray>
#include <QString>

namespace Reference {

/// A random text of letters and digits for tickets and temporary passwords. The process ends when the system has no
/// randomness.
QString randomText(int length);
QByteArray randomBytes(int length);

/// PBKDF2 with SHA-256 over the password's UTF-8 bytes.
QByteArray passwordHash(const QString& password, const QByteArray& salt);
QByteArray sha256(const QString& text);
/// Takes the same time wherever the two differ.
bool sameBytes(const QByteArray& a, const QByteArray& b);

/// Whether `code` is right now. @param secret  six digits: a fixed code; else a Base32 secret of a time-based code
/// (six digits, 30 seconds, SHA-1, one step of tolerance either way)
bool isCurrentCode(const QString& secret, const QString& code, qint64 secondsSinceEpoch);
/// Whether `secret` can serve as one of the two.
bool isUsableCodeSecret(const QString& secret);

} // namespace Reference
