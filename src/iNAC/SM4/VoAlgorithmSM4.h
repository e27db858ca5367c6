#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

/// Every symmetric cipher of the client: SM4 in three modes, text in and Base64 text out, and AES in CBC mode, which is
/// what goes over the wire. "Nothing" is std::nullopt. Any thread may call.
///
/// Keys, IVs and texts count as their UTF-8 bytes. A check counts UTF-16 units, so a key of 16 characters beyond ASCII
/// has more than 16 bytes, of which the first 16 are used. Base64 has the line breaks of Base64Text::encode and is read
/// by Base64Text::decode.
class VoAlgorithmSM4 {
public:
    /// The values of type().
    static constexpr int CTR = 0;
    static constexpr int CBC = 1;
    static constexpr int ECB = 2;

    VoAlgorithmSM4() = default;
    VoAlgorithmSM4& initWithKeyCTR(const QString& key, const QString& iv) { return init(CTR, key, iv); }
    VoAlgorithmSM4& initWithKey(const QString& key, const QString& iv) { return init(CBC, key, iv); }
    VoAlgorithmSM4& initWithKey(const QString& key) { return init(ECB, key, m_iv); }
    static VoAlgorithmSM4 ctrSM4WithKey(const QString& key, const QString& iv) { return {CTR, key, iv}; }
    static VoAlgorithmSM4 cbcSM4WithKey(const QString& key, const QString& iv) { return {CBC, key, iv}; }
    static VoAlgorithmSM4 ecbSM4WithKey(const QString& key) { return {ECB, key, {}}; }

    const QString& key() const { return m_key; }
    void setKey(const QString& key) { m_key = key; }
    const QString& iv() const { return m_iv; }
    void setIv(const QString& iv) { m_iv = iv; }
    int type() const { return m_type; }
    void setType(int type) { m_type = type; }

    /// With the stored key and IV in the mode of type(); nothing for any other type.
    std::optional<QString> encryption(const QString& text) const;
    std::optional<QString> decryption(const QString& text) const;
    std::optional<QString> encryptionTextWithSM4CTRMode(const QString& text) const {
        return encryptionWithSM4CTRKey(m_key, m_iv, text);
    }
    std::optional<QString> decryptionTextWithSM4CTRMode(const QString& text) const {
        return decryptionWithSM4CTRKey(m_key, m_iv, text);
    }
    std::optional<QString> encryptionTextWithSM4CBCMode(const QString& text) const {
        return encryptionWithSM4Key(m_key, m_iv, text);
    }
    std::optional<QString> decryptionTextWithSM4CBCMode(const QString& text) const {
        return decryptionWithSM4Key(m_key, m_iv, text);
    }
    std::optional<QString> encryptionTextWithSM4ECBMode(const QString& text) const {
        return encryptionWithSM4Key(m_key, text);
    }
    std::optional<QString> decryptionTextWithSM4ECBMode(const QString& text) const {
        return decryptionWithSM4Key(m_key, text);
    }

    /// The explicit operations give nothing unless key and IV have 16 characters each and there is a text. Decryption
    /// also gives nothing for text that is no Base64 and for a result that is no UTF-8; what a wrong key leaves is
    /// whatever its last byte says. The block modes leave out a part of a block at the end.
    static std::optional<QString> encryptionWithSM4CTRKey(
        const QString& key, const QString& iv, const QString& encryptionText);
    /// Also writes the decrypted bytes to the system log.
    static std::optional<QString> decryptionWithSM4CTRKey(
        const QString& key, const QString& iv, const QString& decryptionText);
    /// Also writes the result to the system log.
    static std::optional<QString> encryptionWithSM4Key(
        const QString& key, const QString& iv, const QString& encryptionText);
    static std::optional<QString> decryptionWithSM4Key(
        const QString& key, const QString& iv, const QString& decryptionText);
    static std::optional<QString> encryptionWithSM4Key(const QString& key, const QString& encryptionText);
    static std::optional<QString> decryptionWithSM4Key(const QString& key, const QString& decryptionText);

    /// AES with the fixed IV. Without a key the built-in one is used; keys of 16, 24 and 32 characters choose the key
    /// size, any other length gives nothing. An empty text is not padded and gives an empty one.
    static std::optional<QString> EncodeAES_CBC_PKCS5Padding(
        const QString& plainText, const std::optional<QString>& key = std::nullopt);
    /// The same for bytes that are no text, as a compressed body is.
    static std::optional<QString> EncodeAES_CBC_PKCS5Padding(
        const QByteArray& plainBytes, const std::optional<QString>& key = std::nullopt);
    /// AES-128 whatever the key: its first 16 bytes count, a shorter one is filled up with zero bytes. A part of a
    /// block at the end is left out; fewer than 16 bytes, or a last byte above the length, give empty data.
    static std::optional<QByteArray> DecodeAES(
        const QByteArray& cipherBytes, const std::optional<QString>& key = std::nullopt);

private:
    VoAlgorithmSM4(int type, const QString& key, const QString& iv) : m_key(key), m_iv(iv), m_type(type) {}
    VoAlgorithmSM4& init(int type, const QString& key, const QString& iv) {
        return *this = VoAlgorithmSM4(type, key, iv);
    }

    QString m_key;
    QString m_iv;
    int m_type = CTR;
};
