#include "Secrets.h"

#include <QCryptographicHash>
#include <QMessageAuthenticationCode>
#include <QtEndian>

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/rand.h>

#include <algorithm>
#include <optional>

using namespace Qt::StringLiterals;

namespace Reference {

namespace {

constexpr int hashRounds = 20000; // few: the accounts are made up, and tests sign in by the hundred
constexpr int codeDigits = 6;
constexpr int codeStepSeconds = 30;

bool isFixedCode(const QString& secret) {
    return secret.size() == codeDigits &&
        std::all_of(secret.begin(), secret.end(), [](QChar c) { return c >= u'0' && c <= u'9'; });
}

std::optional<QByteArray> fromBase32(const QString& text) {
    QByteArray out;
    quint32 bits = 0;
    int count = 0;
    for (const QChar c : text.toUpper()) {
        const auto value = "ABCDEFGHIJKLMNOPQRSTUVWXYZ234567"_L1.indexOf(c);
        if (value < 0)
            return {};
        bits = (bits << 5) | quint32(value);
        count += 5;
        if (count >= 8) {
            count -= 8;
            out += char((bits >> count) & 0xff);
        }
    }
    return out;
}

QString codeOfStep(const QByteArray& key, quint64 step) {
    const quint64 bigEndian = qToBigEndian(step);
    const QByteArray message(reinterpret_cast<const char*>(&bigEndian), sizeof bigEndian);
    const QByteArray mac = QMessageAuthenticationCode::hash(message, key, QCryptographicHash::Sha1);
    const int offset = mac.back() & 0x0f;
    const quint32 number = qFromBigEndian<quint32>(mac.constData() + offset) & 0x7fffffff;
    return QString::number(number % 1000000).rightJustified(codeDigits, u'0');
}

} // namespace

QByteArray randomBytes(int length) {
    QByteArray bytes(length, Qt::Uninitialized);
    if (RAND_bytes(reinterpret_cast<unsigned char*>(bytes.data()), length) != 1)
        qFatal("no random numbers");
    return bytes;
}

QString randomText(int length) {
    // 64 characters would fit six bits; the two that stand for nothing are drawn again.
    static const QByteArray alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
    QString text;
    while (text.size() < length) {
        for (const char c : randomBytes(length)) {
            const int index = c & 0x3f;
            if (index < alphabet.size() && text.size() < length)
                text += QLatin1Char(alphabet[index]);
        }
    }
    return text;
}

QByteArray passwordHash(const QString& password, const QByteArray& salt) {
    const QByteArray text = password.toUtf8();
    QByteArray hash(32, Qt::Uninitialized);
    if (PKCS5_PBKDF2_HMAC(text.constData(), int(text.size()), reinterpret_cast<const unsigned char*>(salt.constData()),
            int(salt.size()), hashRounds, EVP_sha256(), int(hash.size()),
            reinterpret_cast<unsigned char*>(hash.data())) != 1)
        qFatal("no password hash");
    return hash;
}

QByteArray sha256(const QString& text) {
    return QCryptographicHash::hash(text.toUtf8(), QCryptographicHash::Sha256);
}

bool sameBytes(const QByteArray& a, const QByteArray& b) {
    return a.size() == b.size() && !a.isEmpty() && CRYPTO_memcmp(a.constData(), b.constData(), size_t(a.size())) == 0;
}

bool isUsableCodeSecret(const QString& secret) {
    const auto key = fromBase32(secret);
    return isFixedCode(secret) || (key && key->size() >= 10);
}

bool isCurrentCode(const QString& secret, const QString& code, qint64 secondsSinceEpoch) {
    if (isFixedCode(secret))
        return sameBytes(secret.toUtf8(), code.toUtf8());
    const auto key = fromBase32(secret);
    if (!key || key->isEmpty())
        return false;
    bool right = false;
    for (int drift = -1; drift <= 1; ++drift)
        right |=
            sameBytes(codeOfStep(*key, quint64(secondsSinceEpoch / codeStepSeconds + drift)).toUtf8(), code.toUtf8());
    return right;
}

} // namespace Reference
