#include "zipAndUnzip.h"

#include <zlib.h>

#include <algorithm>
#include <limits>

namespace {

constexpr int WindowBits = 15;     // with the zlib header; the peer tells it from gzip by itself
constexpr int AnyHeader = 15 + 32; // zlib or gzip, whichever the data begins with
constexpr int MemoryLevel = 9;
constexpr qsizetype LargestInput = std::numeric_limits<uInt>::max() / 2;

/// A compressor that is set up once: a fresh one clears and hands back 400 kB for each body. A reset one gives the same
/// bytes.
class Deflater {
public:
    Deflater()
        : m_ready(deflateInit2(&m_stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, WindowBits, MemoryLevel,
                      Z_DEFAULT_STRATEGY) == Z_OK) {}
    Deflater(const Deflater&) = delete;
    Deflater& operator=(const Deflater&) = delete;
    ~Deflater() {
        if (m_ready)
            deflateEnd(&m_stream);
    }

    /// Ready for new data, or null.
    z_stream* restarted() { return m_ready && deflateReset(&m_stream) == Z_OK ? &m_stream : nullptr; }

private:
    z_stream m_stream{};
    bool m_ready;
};

class Inflater {
public:
    Inflater() : m_ready(inflateInit2(&m_stream, AnyHeader) == Z_OK) {}
    Inflater(const Inflater&) = delete;
    Inflater& operator=(const Inflater&) = delete;
    ~Inflater() {
        if (m_ready)
            inflateEnd(&m_stream);
    }

    z_stream* restarted() { return m_ready && inflateReset(&m_stream) == Z_OK ? &m_stream : nullptr; }

private:
    z_stream m_stream{};
    bool m_ready;
};

Bytef* bytesOf(const QByteArray& data) {
    return reinterpret_cast<Bytef*>(const_cast<char*>(data.constData()));
}

} // namespace

std::optional<QByteArray> zipAndUnzip::gzipDeflate(const QByteArray& data) const {
    if (data.isEmpty())
        return data;
    thread_local Deflater deflater;
    z_stream* stream = data.size() <= LargestInput ? deflater.restarted() : nullptr;
    if (!stream)
        return std::nullopt;
    // Room for the worst case in one piece instead of steps of 2048 bytes: the same bytes come out, without copies on
    // the way.
    QByteArray result(static_cast<qsizetype>(deflateBound(stream, static_cast<uLong>(data.size()))), Qt::Uninitialized);
    stream->next_in = bytesOf(data);
    stream->avail_in = static_cast<uInt>(data.size());
    stream->next_out = reinterpret_cast<Bytef*>(result.data());
    stream->avail_out = static_cast<uInt>(result.size());
    if (deflate(stream, Z_FINISH) != Z_STREAM_END)
        return std::nullopt;
    result.truncate(static_cast<qsizetype>(stream->total_out));
    return result;
}

std::optional<QByteArray> zipAndUnzip::gzipInflate(const QByteArray& data) const {
    if (data.isEmpty())
        return data;
    thread_local Inflater inflater;
    z_stream* stream = data.size() <= LargestInput ? inflater.restarted() : nullptr;
    if (!stream)
        return std::nullopt;
    // A single byte has no half to grow by, so it cannot complete.
    const qsizetype step = data.size() / 2;
    QByteArray result(std::min(data.size() + step, LargestResult), Qt::Uninitialized);
    stream->next_in = bytesOf(data);
    stream->avail_in = static_cast<uInt>(data.size());
    int status = Z_OK;
    qsizetype produced = 0;
    while (status == Z_OK) {
        if (produced >= result.size())
            result.resize(std::min(result.size() + step, LargestResult));
        stream->next_out = reinterpret_cast<Bytef*>(result.data()) + produced;
        stream->avail_out = static_cast<uInt>(result.size() - produced);
        status = inflate(stream, Z_SYNC_FLUSH);
        produced = static_cast<qsizetype>(stream->total_out);
    }
    if (status != Z_STREAM_END)
        return std::nullopt;
    result.truncate(produced);
    return result;
}
