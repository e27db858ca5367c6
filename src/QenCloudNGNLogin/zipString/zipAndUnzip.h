#pragma once

#include <QByteArray>

#include <optional>

/// Compresses a request body before it is enciphered and expands a response after it is deciphered.
///
/// Has no state: an instance is made for each call. Any thread may call.
class zipAndUnzip {
public:
    /// What gzipInflate gives at most, in bytes: four times the largest response that is accepted. A stream that
    /// expands to more yields nothing.
    static constexpr qsizetype LargestResult = 64 * 1024 * 1024;

    /// A stream with the zlib header, not the gzip one. Empty input comes back unchanged; nothing when the compressor
    /// cannot be initialised.
    std::optional<QByteArray> gzipDeflate(const QByteArray& data) const;

    /// Takes a zlib or a gzip stream; what follows its end is ignored. Empty input comes back unchanged; nothing for
    /// anything but a complete stream.
    std::optional<QByteArray> gzipInflate(const QByteArray& data) const;
};
