#include "zipAndUnzip.h"

#include <zlib.h>

#include <algorithm>
#include <limits>

namespace {

constexpr int WindowBits = 15;     // with the zlib header; the peer tells it from gzip by itself
constexpr int AnyHeader = 15 + 32; // zlib or gzip, whichever the data begins with
constexpr int MemoryLevel = 9;
constexpr qsizetype LargestInput = std::numeric_limits<uInt>::max() / 2;

/// A stream that is set up once: a fresh compressor clears and hands back 400 kB for each body. A reset one gives the
/// same bytes.
template <auto Reset, auto End>
class Stream {
public:
    explicit Stream(int (*start)(z_stream&)) : m_isReady(start(m_stream) == Z_OK) {}
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;
    ~Stream() {
        if (m_isReady)
            End(&m_stream);
    }

    /// Ready for @p data, or null.
    z_stream* restarted(const QByteArray& data) {
        if (data.size() > LargestInput || !m_isReady || Reset(&m_stream) != Z_OK)
            return nullptr;
        m_stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.constData()));
        m_stream.avail_in = static_cast<uInt>(data.size());
        return &m_stream;
    }

private:
    z_stream m_stream{};
    bool m_isReady;
};

int startDeflate(z_stream& stream) {
    return deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, WindowBits, MemoryLevel, Z_DEFAULT_STRATEGY);
}

int startInflate(z_stream& stream) {
    return inflateInit2(&stream, AnyHeader);
}

} // namespace

std::optional<QByteArray> zipAndUnzip::gzipDeflate(const QByteArray& data) const {
    if (data.isEmpty())
        return data;
    thread_local Stream<deflateReset, deflateEnd> deflater(startDeflate);
    z_stream* stream = deflater.restarted(data);
    if (!stream)
        return std::nullopt;
    // Room for the worst case in one piece instead of steps of 2048 bytes: the same bytes come out, without copies on
    // the way.
    QByteArray result(static_cast<qsizetype>(deflateBound(stream, static_cast<uLong>(data.size()))), Qt::Uninitialized);
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
    thread_local Stream<inflateReset, inflateEnd> inflater(startInflate);
    z_stream* stream = inflater.restarted(data);
    if (!stream)
        return std::nullopt;
    // A single byte has no half to grow by, so it cannot complete.
    const qsizetype step = data.size() / 2;
    QByteArray result(std::min(data.size() + step, LargestResult), Qt::Uninitialized);
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
