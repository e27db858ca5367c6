#include "zipAndUnzip.h"

#include <zlib.h>

#include <algorithm>
#include <limits>
#include <mutex>

namespace {

constexpr int WindowBits = 15;     // with the zlib header; the peer tells it from gzip by itself
constexpr int AnyHeader = 15 + 32; // zlib or gzip, whichever the data begins with
constexpr int MemoryLevel = 9;
constexpr qsizetype LargestInput = std::numeric_limits<uInt>::max() / 2;

/// One for all threads, set up once: a fresh compressor clears and hands back 400 kB for each body, and each thread
/// would keep as much. A reset one gives the same bytes.
struct Compressor {
    Compressor() = default;
    Compressor(const Compressor&) = delete;
    Compressor& operator=(const Compressor&) = delete;

    std::mutex mutex;
    z_stream stream{};
    bool isReady =
        deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, WindowBits, MemoryLevel, Z_DEFAULT_STRATEGY) == Z_OK;
};

void setInput(z_stream& stream, const QByteArray& data) {
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.constData()));
    stream.avail_in = static_cast<uInt>(data.size());
}

} // namespace

std::optional<QByteArray> zipAndUnzip::gzipDeflate(const QByteArray& data) const {
    if (data.isEmpty())
        return data;
    // Never destroyed: a worker thread may be compressing while the process ends.
    static auto& compressor = *new Compressor;
    const std::lock_guard lock(compressor.mutex);
    z_stream& stream = compressor.stream;
    if (data.size() > LargestInput || !compressor.isReady || deflateReset(&stream) != Z_OK)
        return std::nullopt;
    setInput(stream, data);
    // Room for the worst case in one piece instead of steps of 2048 bytes: the same bytes come out.
    QByteArray result(
        static_cast<qsizetype>(deflateBound(&stream, static_cast<uLong>(data.size()))), Qt::Uninitialized);
    stream.next_out = reinterpret_cast<Bytef*>(result.data());
    stream.avail_out = static_cast<uInt>(result.size());
    if (deflate(&stream, Z_FINISH) != Z_STREAM_END)
        return std::nullopt;
    result.truncate(static_cast<qsizetype>(stream.total_out));
    return result;
}

std::optional<QByteArray> zipAndUnzip::gzipInflate(const QByteArray& data) const {
    if (data.isEmpty())
        return data;
    z_stream stream{};
    setInput(stream, data);
    if (data.size() > LargestInput || inflateInit2(&stream, AnyHeader) != Z_OK)
        return std::nullopt;
    // A single byte has no half to grow by, so it cannot complete.
    const qsizetype step = data.size() / 2;
    QByteArray result;
    int status = Z_OK;
    for (qsizetype size = data.size() + step; status == Z_OK; size += step) {
        result.resize(std::min(size, LargestResult));
        stream.next_out = reinterpret_cast<Bytef*>(result.data()) + stream.total_out;
        stream.avail_out = static_cast<uInt>(result.size()) - static_cast<uInt>(stream.total_out);
        status = inflate(&stream, Z_SYNC_FLUSH);
    }
    result.truncate(static_cast<qsizetype>(stream.total_out));
    return inflateEnd(&stream) == Z_OK && status == Z_STREAM_END ? std::optional(result) : std::nullopt;
}
