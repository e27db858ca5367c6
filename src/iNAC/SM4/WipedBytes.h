#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

/// Owns the bytes of a key or a plain text and overwrites them when it goes. Takes a temporary, so that no shared copy
/// stays behind.
class WipedBytes {
public:
    explicit WipedBytes(QByteArray&& bytes) : m_bytes(std::move(bytes)) {}
    WipedBytes(const WipedBytes&) = delete;
    WipedBytes& operator=(const WipedBytes&) = delete;
    ~WipedBytes();

    /// The first @p length bytes as UTF-8, by default all; nothing when they are none. A byte order mark is a character
    /// like any other.
    std::optional<QString> text(qsizetype length = -1) const;

    const QByteArray& bytes() const { return m_bytes; }
    const unsigned char* data() const { return reinterpret_cast<const unsigned char*>(m_bytes.constData()); }
    unsigned char* data() { return reinterpret_cast<unsigned char*>(m_bytes.data()); }
    std::size_t size() const { return static_cast<std::size_t>(m_bytes.size()); }

private:
    QByteArray m_bytes;
};
