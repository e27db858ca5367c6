#include "WipedBytes.h"

#include <QStringDecoder>

#include <openssl/crypto.h>

using namespace Qt::StringLiterals;

WipedBytes::~WipedBytes() {
    if (!m_bytes.isEmpty())
        OPENSSL_cleanse(m_bytes.data(), size());
}

std::optional<QString> WipedBytes::text(qsizetype length) const {
    QStringDecoder decoder(
        QStringDecoder::Utf8, QStringDecoder::Flag::Stateless | QStringDecoder::Flag::ConvertInitialBom);
    QString decoded = decoder(QByteArrayView(m_bytes).first(length < 0 ? m_bytes.size() : length));
    if (decoder.hasError())
        return std::nullopt;
    return decoded.isNull() ? u""_s : decoded;
}
